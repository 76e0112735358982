// What the store keeps secret: a data folder only its owner can read,
// sessions that end when they should, and password hashes that tell
// nothing, not even by their time, about which names exist.
#include "CloudDiskService.h"
#include "clouddisk_store_p.h"
#include "clouddisksupport.h"

#include <QDirIterator>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QtTest>

#include <sys/stat.h>

using namespace cloudsupport;
using clouddisk::Service;

namespace {

int modeOf(const QString& path)
{
    struct stat st{};
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0)
        return -1;
    return int(st.st_mode & 0777);
}

// Runs one statement on the store beside the service.
QVariant peek(const QString& dataDir, const QString& sql, const QVariantList& values = {})
{
    QVariant out;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase("QSQLITE", "peek");
        db.setDatabaseName(dataDir + "/clouddisk.sqlite");
        db.open();
        QSqlQuery q(db);
        q.prepare(sql);
        for (const QVariant& v : values)
            q.addBindValue(v);
        if (q.exec() && q.next())
            out = q.value(0);
    }
    QSqlDatabase::removeDatabase("peek");
    return out;
}

// "alice-pw" as earlier versions hashed it: PBKDF2-SHA256, 20,000 iterations.
const QString kOldAliceHash = QStringLiteral(
    "pbkdf2-sha256$20000$00112233445566778899aabbccddeeff$d4d140792f8777006466cf9d8ec4042b8b4be4bf43f25e309f3fc533b9d65cce");

struct Umask
{
    mode_t was;
    explicit Umask(mode_t m) : was(::umask(m)) {}
    ~Umask() { ::umask(was); }
};

} // namespace

class tst_clouddisk_secrets : public QObject
{
    Q_OBJECT

private slots:
    // ---- the data folder

    void everythingOwnerOnlyWhateverTheUmask()
    {
        const Umask open(0);
        QTemporaryDir dir;
        Cloud c(dir.path() + "/data");
        const QString data = dir.path() + "/data";
        QCOMPARE(modeOf(data), 0700);
        QCOMPARE(modeOf(data + "/clouddisk.sqlite"), 0600);
        QCOMPARE(modeOf(data + "/clouddisk.sqlite-wal"), 0600);
        QCOMPARE(modeOf(data + "/contents"), 0700);
        QCOMPARE(modeOf(data + "/tmp"), 0700);
        QCOMPARE(modeOf(data + "/run"), 0700);
        int files = 0;
        QDirIterator it(data + "/contents", QDir::AllEntries | QDir::NoDotAndDotDot, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            const QString path = it.next();
            QCOMPARE(modeOf(path), it.fileInfo().isDir() ? 0700 : 0600);
            files += it.fileInfo().isFile();
        }
        QCOMPARE(files, 7);
    }

    void folderOthersCanReadIsRefusedSayingWhy()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        { Cloud c(data); }
        QVERIFY(::chmod(QFile::encodeName(data).constData(), 0755) == 0);
        QString error;
        QVERIFY(!Service::open(data, &error));
        QVERIFY2(error.contains(data) && error.contains("other accounts") && error.contains("0755"), qPrintable(error));
        QCOMPARE(modeOf(data), 0755); // a server refuses; it does not change what the operator made
        // The database readable by others, in a private folder, too.
        QVERIFY(::chmod(QFile::encodeName(data).constData(), 0700) == 0);
        QVERIFY(::chmod(QFile::encodeName(data + "/clouddisk.sqlite").constData(), 0644) == 0);
        QVERIFY(!Service::open(data, &error));
        QVERIFY2(error.contains("clouddisk.sqlite"), qPrintable(error));
        // A host's own folder is made private instead.
        auto s = Service::open(data, &error, Service::OthersAccess::Withdraw);
        QVERIFY2(s, qPrintable(error));
        QCOMPARE(modeOf(data + "/clouddisk.sqlite"), 0600);
        s.reset();
        QVERIFY(Service::open(data, &error));
    }

    // ---- sessions

    void sessionsLiveInTheStore()
    {
        QTemporaryDir dir;
        const QString data = dir.path() + "/data";
        QString token;
        qint64 bob = -1;
        {
            Cloud c(data);
            bob = c.bob;
            token = c.service->createSession(c.bob);
            QCOMPARE(token.size(), 64);
            QVERIFY(QRegularExpression("^[0-9a-f]{64}$").match(token).hasMatch());
        }
        // Another process on the folder, or the same after a restart.
        auto s = Service::open(data);
        QCOMPARE(s->sessionUser(token), bob);
        // Only a hash is kept.
        QCOMPARE(peek(data, "SELECT count(*) FROM sessions WHERE hash = ?", {token}).toInt(), 0);
        QCOMPARE(peek(data, "SELECT count(*) FROM sessions").toInt(), 1);
    }

    void passwordChangeEndsTheUsersSessions()
    {
        Cloud c;
        const QString bobs = c.service->createSession(c.bob);
        const QString bobsOther = c.service->createSession(c.bob);
        const QString alices = c.service->createSession(c.alice);
        QVERIFY(c.service->setPassword(c.bob, "new-pw"));
        QCOMPARE(c.service->sessionUser(bobs), qint64(-1));
        QCOMPARE(c.service->sessionUser(bobsOther), qint64(-1));
        QCOMPARE(c.service->sessionUser(alices), c.alice);
    }

    void endingAUsersSessionsOnPurpose()
    {
        Cloud c;
        const QString a = c.service->createSession(c.alice);
        const QString b = c.service->createSession(c.alice);
        const QString bobs = c.service->createSession(c.bob);
        QCOMPARE(c.service->endSessions(c.alice), 2);
        QCOMPARE(c.service->sessionUser(a), qint64(-1));
        QCOMPARE(c.service->sessionUser(b), qint64(-1));
        QCOMPARE(c.service->sessionUser(bobs), c.bob);
        QCOMPARE(c.service->endSessions(c.alice), 0);
    }

    void sessionUnusedForADayEnds()
    {
        Cloud c;
        const QString token = c.service->createSession(c.alice);
        const qint64 dayAndMinuteAgo = QDateTime::currentSecsSinceEpoch() - 24 * 3600 - 60;
        peek(c.dataDir(), "UPDATE sessions SET used = ?", {dayAndMinuteAgo});
        QCOMPARE(c.service->sessionUser(token), qint64(-1));
        QCOMPARE(peek(c.dataDir(), "SELECT count(*) FROM sessions").toInt(), 0);
    }

    void manySignInsKeepAFewSessionsPerUser()
    {
        Cloud c;
        const QString first = c.service->createSession(c.alice);
        for (int i = 0; i < 70; ++i)
            QVERIFY(!c.service->createSession(c.alice).isEmpty());
        QCOMPARE(peek(c.dataDir(), "SELECT count(*) FROM sessions WHERE user = ?", {c.alice}).toInt(), 64);
        QCOMPARE(c.service->sessionUser(first), qint64(-1));
    }

    // ---- passwords

    void hashesAreArgon2id()
    {
        Cloud c;
        const QString hash = peek(c.dataDir(), "SELECT pwhash FROM users WHERE id = ?", {c.alice}).toString();
        QVERIFY2(hash.startsWith("$argon2id$v=19$m=19456,t=2,p=1$"), qPrintable(hash));
        QCOMPARE(c.service->checkPassword("alice", "alice-pw"), c.alice);
        QCOMPARE(c.service->checkPassword("alice", "alice-PW"), qint64(-1));
    }

    void unknownNameCostsWhatAWrongPasswordCosts()
    {
        Cloud c;
        c.service->checkPassword("nobody", "x"); // the first one also makes the stand-in hash
        const auto work = [] { return clouddisk::store::passwordWork(); };
        const clouddisk::store::PasswordWork before = work();
        QCOMPARE(c.service->checkPassword("alice", "wrong"), qint64(-1));
        const clouddisk::store::PasswordWork wrong = work();
        QCOMPARE(c.service->checkPassword("nobody", "wrong"), qint64(-1));
        const clouddisk::store::PasswordWork unknown = work();
        // One Argon2id check each, nothing else.
        QCOMPARE(wrong.argon2id - before.argon2id, 1);
        QCOMPARE(unknown.argon2id - wrong.argon2id, 1);
        QCOMPARE(wrong.pbkdf2, before.pbkdf2);
        QCOMPARE(unknown.pbkdf2, wrong.pbkdf2);
    }

    void oldHashIsReplacedAtTheNextSignIn()
    {
        Cloud c;
        peek(c.dataDir(), "UPDATE users SET pwhash = ? WHERE id = ?", {kOldAliceHash, c.alice});
        // A wrong password changes nothing.
        QCOMPARE(c.service->checkPassword("alice", "nope"), qint64(-1));
        QVERIFY(peek(c.dataDir(), "SELECT pwhash FROM users WHERE id = ?", {c.alice}).toString().startsWith("pbkdf2"));
        QCOMPARE(c.service->checkPassword("alice", "alice-pw"), c.alice);
        const QString now = peek(c.dataDir(), "SELECT pwhash FROM users WHERE id = ?", {c.alice}).toString();
        QVERIFY2(now.startsWith("$argon2id$"), qPrintable(now));
        QCOMPARE(c.service->checkPassword("alice", "alice-pw"), c.alice);
        QCOMPARE(c.service->checkPassword("alice", "nope"), qint64(-1));
    }
};

QTEST_GUILESS_MAIN(tst_clouddisk_secrets)
#include "tst_clouddisk_secrets.moc"
