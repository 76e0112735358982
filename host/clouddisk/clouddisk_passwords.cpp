// Password hashes: Argon2id through libsodium for every hash written;
// PBKDF2-SHA256 hashes of earlier versions are still checked, and replaced
// at the user's next sign-in.
#include "clouddisk_store_p.h"

#include <QCryptographicHash>
#include <QMessageAuthenticationCode>
#include <QtEndian>

#include <sodium.h>

#include <atomic>
#include <mutex>

namespace clouddisk {
namespace store {

namespace {

// Argon2id with 19 MiB and two passes: a sign-in costs tens of milliseconds
// and a guess on a graphics card about as much memory, while a server that
// checks a few passwords at once stays small.
constexpr unsigned long long kOpsLimit = 2;
constexpr size_t kMemLimit = 19u << 20;

std::atomic<int> g_argon2Runs{0};
std::atomic<int> g_pbkdf2Runs{0};

bool sodiumReady()
{
    static const bool ready = sodium_init() >= 0;
    return ready;
}

QByteArray pbkdf2Sha256(const QByteArray& password, const QByteArray& salt, int iterations)
{
    ++g_pbkdf2Runs;
    // One 32-byte block is all a 32-byte key needs.
    QMessageAuthenticationCode mac(QCryptographicHash::Sha256, password);
    QByteArray block = salt;
    char index[4];
    qToBigEndian<quint32>(1, index);
    block.append(index, 4);
    mac.addData(block);
    QByteArray u = mac.result();
    QByteArray out = u;
    for (int i = 1; i < iterations; ++i) {
        mac.reset();
        mac.addData(u);
        u = mac.result();
        for (int j = 0; j < out.size(); ++j)
            out[j] = char(out[j] ^ u[j]);
    }
    return out;
}

bool pbkdf2Matches(const QString& password, const QString& stored)
{
    const QStringList parts = stored.split(QLatin1Char('$'));
    if (parts.size() != 4)
        return false;
    bool ok = false;
    const int iterations = parts[1].toInt(&ok);
    if (!ok || iterations < 1 || iterations > 10000000)
        return false;
    const QByteArray salt = QByteArray::fromHex(parts[2].toLatin1());
    const QByteArray expected = QByteArray::fromHex(parts[3].toLatin1());
    const QByteArray got = pbkdf2Sha256(password.toUtf8(), salt, iterations);
    return got.size() == expected.size() && sodium_memcmp(got.constData(), expected.constData(), size_t(got.size())) == 0;
}

bool argon2Matches(const QString& password, const QString& stored)
{
    ++g_argon2Runs;
    const QByteArray pw = password.toUtf8();
    const QByteArray str = stored.toLatin1();
    return crypto_pwhash_str_verify(str.constData(), pw.constData(), (unsigned long long)pw.size()) == 0;
}

// A hash of a password no one has, for the sign-ins of names no one has.
const QString& noOnesHash()
{
    static const QString hash = hashPassword(randomHex(16));
    return hash;
}

} // namespace

QString hashPassword(const QString& password)
{
    if (!sodiumReady())
        return QString();
    ++g_argon2Runs;
    const QByteArray pw = password.toUtf8();
    char out[crypto_pwhash_STRBYTES];
    if (crypto_pwhash_str_alg(out, pw.constData(), (unsigned long long)pw.size(), kOpsLimit, kMemLimit,
                              crypto_pwhash_ALG_ARGON2ID13)
        != 0)
        return QString();
    return QString::fromLatin1(out);
}

PasswordMatch passwordMatches(const QString& password, const QString& stored)
{
    if (!sodiumReady())
        return PasswordMatch::No;
    if (stored.startsWith(QLatin1String("pbkdf2-sha256$")))
        return pbkdf2Matches(password, stored) ? PasswordMatch::YesButRehash : PasswordMatch::No;
    if (!stored.startsWith(QLatin1String("$argon2id$")) || !argon2Matches(password, stored))
        return PasswordMatch::No;
    const QByteArray str = stored.toLatin1();
    return crypto_pwhash_str_needs_rehash(str.constData(), kOpsLimit, kMemLimit) == 0 ? PasswordMatch::Yes
                                                                                      : PasswordMatch::YesButRehash;
}

void checkAgainstNoOne(const QString& password)
{
    if (sodiumReady())
        argon2Matches(password, noOnesHash());
}

PasswordWork passwordWork()
{
    return PasswordWork{g_argon2Runs.load(), g_pbkdf2Runs.load()};
}

} // namespace store
} // namespace clouddisk
