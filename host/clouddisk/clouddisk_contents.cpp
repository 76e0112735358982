// Storing contents: written whole under a temporary name, renamed into
// place, and only then named by a record; uploads stream into them.
#include "clouddisk_replies_p.h"
#include "clouddisk_service_p.h"

#include <QDir>
#include <QFile>
#include <QFileDevice>
#include <QJsonDocument>
#include <QFileInfo>
#include <QIODevice>
#include <QSqlError>
#include <QSqlQuery>

namespace clouddisk {

// Writes the bytes to a temporary file, flushes them to disk and renames
// them into the contents folder; only then may a record name them.
class Service::Private::ContentsWriter
{
public:
    explicit ContentsWriter(store::Db& db)
        : m_db(db)
        , m_blob(db.newBlobName())
        , m_file(db.tmpPathFor(m_blob))
    {
        m_ok = m_file.open(QIODevice::WriteOnly | QIODevice::Truncate) && store::restrictToOwner(m_file);
    }
    ~ContentsWriter() { discard(); }
    bool write(const char* data, qint64 size)
    {
        if (!m_ok || size < 0)
            return m_ok = false;
        qint64 done = 0;
        while (done < size) {
            const qint64 n = m_file.write(data + done, size - done);
            if (n <= 0)
                return m_ok = false;
            done += n;
        }
        m_size += size;
        return true;
    }
    // Copies the rest of a local file; false when it cannot here (nothing
    // copied) or on a failure (then m_ok is false too).
    bool copyFrom(QFileDevice* source)
    {
        if (!m_ok || !source || source->handle() < 0 || !m_file.flush())
            return false;
        const qint64 n = store::copyFileData(source->handle(), m_file.handle());
        if (n == -1)
            return false;
        if (n < 0)
            return m_ok = false;
        m_size += n;
        return true;
    }
    bool ok() const { return m_ok; }
    // The blob's name once it is complete and in place, else empty. The
    // rename comes only after the last byte was written, so whatever
    // stops this process leaves either no blob or a whole one; the bytes
    // and the folder's new entry are on the disk before a record (and so
    // a reply) names them.
    QString finish()
    {
        if (!m_ok || !m_file.flush() || !store::syncHandle(m_file.handle(), m_file.fileName()))
            return QString();
        m_file.close();
        const QString target = m_db.blobPath(m_blob);
        const QString folder = QFileInfo(target).absolutePath();
        const bool newFolder = !QFileInfo(folder).isDir();
        if (!store::makePrivateFolder(folder) || (newFolder && !store::syncFolder(m_db.contentsDir())))
            return QString();
        if (!QFile::rename(m_file.fileName(), target))
            return QString();
        m_placed = true;
        if (!store::syncFolder(folder))
            return QString();
        return m_blob;
    }
    // Removes what was written (also a blob already placed but never
    // recorded).
    void discard()
    {
        if (m_file.isOpen())
            m_file.close();
        if (!m_kept) {
            QFile::remove(m_file.fileName());
            if (m_placed)
                QFile::remove(m_db.blobPath(m_blob));
        }
        m_ok = false;
    }
    void keep() { m_kept = true; }
    // The name finish() gave.
    QString blob() const { return m_placed ? m_blob : QString(); }
    qint64 size() const { return m_size; }

private:
    store::Db& m_db;
    QString m_blob;
    QFile m_file;
    qint64 m_size = 0;
    bool m_ok = false;
    bool m_placed = false;
    bool m_kept = false;
};

bool Service::Private::recordContents(QSqlQuery& q, qint64 folderId, const QString& name, const QString& blob,
                                      qint64 size, Node* out, QString* oldBlob, QString* error)
{
    // The folder may have gone while the bytes travelled: then nothing is
    // recorded, and the caller refuses.
    if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE id = ?").arg(kNodeColumns), {folderId})) {
        *error = msgBusy;
        return false;
    }
    if (!q.next() || !nodeFrom(q).folder) {
        *error = msgNoFolder;
        return false;
    }
    const Node parent = nodeFrom(q);
    const QString mtime = store::now();
    if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE parent = ? AND name = ?").arg(kNodeColumns),
                     {folderId, name})) {
        *error = msgBusy;
        return false;
    }
    if (q.next()) {
        Node existing = nodeFrom(q);
        if (existing.folder) {
            *error = msgNameIsFolder;
            return false;
        }
        *oldBlob = existing.blob;
        if (!store::exec(q, QStringLiteral("UPDATE nodes SET size = ?, mtime = ?, blob = ? WHERE id = ?"),
                         {size, mtime, blob, existing.id})) {
            *error = msgBusy;
            return false;
        }
        existing.size = size;
        existing.mtime = mtime;
        existing.blob = blob;
        *out = existing;
        return true;
    }
    Node n;
    n.id = store::insert(q,
                         QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size, mtime, blob)"
                                        " VALUES (?, ?, ?, ?, 0, ?, ?, ?)"),
                         {parent.id, nullable(parent.owner), nullable(parent.enterprise), name, size, mtime, blob});
    if (n.id < 0) {
        *error = msgBusy;
        return false;
    }
    n.parent = parent.id;
    n.owner = parent.owner;
    n.enterprise = parent.enterprise;
    n.name = name;
    n.size = size;
    n.mtime = mtime;
    n.blob = blob;
    *out = n;
    return true;
}

bool Service::Private::commitContents(const Node& folder, const QString& name, const QString& blob, qint64 size,
                                      Node* out, QString* error)
{
    QString oldBlob;
    // Two servers may store the same name in one folder at once: the one
    // that commits second runs again and replaces what the first stored.
    const bool stored = store::retrying([&] {
        oldBlob.clear();
        store::Transaction t(db);
        if (!t.ok()) {
            *error = msgBusy;
            return false;
        }
        QSqlQuery q(t.db());
        if (!recordContents(q, folder.id, name, blob, size, out, &oldBlob, error))
            return false;
        if (!t.commit()) {
            *error = msgBusy;
            return false;
        }
        return true;
    });
    if (!stored)
        return false;
    if (!oldBlob.isEmpty())
        QFile::remove(db.blobPath(oldBlob)); // a leftover is cleaned at the next start
    return true;
}

// --- Upload ------------------------------------------------------------------------

Service::Upload::~Upload() = default;

bool Service::Upload::writeFrom(QIODevice* source)
{
    if (!source || !source->isReadable())
        return false;
    QByteArray buf(int(kChunk), Qt::Uninitialized);
    for (;;) {
        const qint64 n = source->read(buf.data(), buf.size());
        if (n < 0)
            return false;
        if (n == 0)
            return true;
        if (!write(buf.constData(), n))
            return false;
    }
}

namespace {

class UploadImpl : public Service::Upload
{
public:
    UploadImpl(Service::Private* d, const Node& folder, const QString& name)
        : m_d(d)
        , m_folder(folder)
        , m_name(name)
        , m_writer(d->db)
    {
    }
    ~UploadImpl() override { abort(); }

    bool write(const char* data, qint64 size) override { return !m_done && m_writer.write(data, size); }

    bool writeFrom(QIODevice* source) override
    {
        if (m_done)
            return false;
        auto* file = qobject_cast<QFileDevice*>(source);
        if (file && m_writer.copyFrom(file))
            return true;
        return m_writer.ok() && Upload::writeFrom(source);
    }

    QJsonObject commit() override
    {
        if (m_done)
            return refuse(msgStoreFailed);
        m_done = true;
        const QString blob = m_writer.finish();
        if (blob.isEmpty()) {
            m_writer.discard();
            return refuse(msgStoreFailed);
        }
        Node stored;
        QString error;
        if (!m_d->commitContents(m_folder, m_name, blob, m_writer.size(), &stored, &error)) {
            m_writer.discard();
            return refuse(error);
        }
        m_writer.keep();
        JsonWriter w;
        replies::beginSuccess(w, QStringLiteral("上传成功"));
        replies::writeNode(w, stored);
        replies::endReply(w);
        return QJsonDocument::fromJson(w.bytes()).object();
    }

    void abort() override
    {
        m_done = true;
        m_writer.discard();
    }

private:
    Service::Private* m_d;
    Node m_folder;
    QString m_name;
    Service::Private::ContentsWriter m_writer;
    bool m_done = false;
};

} // namespace

std::unique_ptr<Service::Upload> Service::Private::newUpload(const Node& folder, const QString& name)
{
    return std::make_unique<UploadImpl>(this, folder, name);
}

namespace {

// Fills the writer with what `source` holds, to its end; inside the kernel
// where it can be.
bool fill(Service::Private::ContentsWriter& writer, QIODevice* source)
{
    auto* file = qobject_cast<QFileDevice*>(source);
    if (file && writer.copyFrom(file))
        return true;
    if (!writer.ok())
        return false;
    QByteArray buf(int(kChunk), Qt::Uninitialized);
    for (;;) {
        const qint64 n = source->read(buf.data(), buf.size());
        if (n < 0)
            return false;
        if (n == 0 && (source->atEnd() || !source->waitForReadyRead(-1)))
            return true;
        if (!writer.write(buf.constData(), n))
            return false;
    }
}

// Why a local name cannot come into the cloud, for the admin's messages.
QString localNameRefusal(const QString& name)
{
    const QString why = nameRefusal(name);
    if (why.isEmpty())
        return QString();
    return why == msgNameHasControls
               ? QStringLiteral("its name holds control or text-direction characters")
               : QStringLiteral("its name is not allowed in the cloud (empty, too long, \".\", \"..\","
                                " or holding \"/\" or \"\\\")");
}

} // namespace

qint64 Service::storeFile(qint64 parentId, const QString& name, QIODevice* source, QString* error)
{
    const auto fail = [error](const QString& why) { return failed(error, why, qint64(-1)); };
    if (!acceptableName(name))
        return fail(QStringLiteral("invalid file name"));
    Node parent;
    if (!d->node(parentId, &parent) || !parent.folder)
        return fail(QStringLiteral("no folder %1").arg(parentId));
    if (!source || !source->isReadable())
        return fail(QStringLiteral("cannot read the contents"));
    Private::ContentsWriter writer(d->db);
    if (!fill(writer, source))
        return fail(QStringLiteral("cannot write the contents"));
    const QString blob = writer.finish();
    if (blob.isEmpty())
        return fail(QStringLiteral("cannot write the contents"));
    Node stored;
    QString why;
    if (!d->commitContents(parent, name, blob, writer.size(), &stored, &why))
        return fail(why);
    writer.keep();
    return stored.id;
}

qint64 Service::importFolder(qint64 parentId, const QString& localDir, QString* error)
{
    const auto fail = [error](const QString& why) {
        return failed(error, why + QStringLiteral("; nothing was imported"), qint64(-1));
    };
    const QFileInfo top(localDir);
    if (!top.isDir())
        return failed(error, QStringLiteral("%1 is not a folder").arg(localDir), qint64(-1));
    Node target;
    if (!d->node(parentId, &target) || !target.folder)
        return failed(error, QStringLiteral("no folder %1").arg(parentId), qint64(-1));

    // Everything to import, every name checked before anything is written.
    struct Entry
    {
        int parent; // index in entries, or -1 for the target folder
        QString name;
        QString local;
        bool folder;
        std::unique_ptr<Private::ContentsWriter> contents;
        qint64 cloudId = -1;
    };
    std::vector<Entry> entries;
    QVector<QPair<QString, int>> pending{{top.absoluteFilePath(), -1}};
    while (!pending.isEmpty()) {
        const auto [dir, index] = pending.takeFirst();
        const QFileInfoList found =
            QDir(dir).entryInfoList(QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                                    QDir::Name);
        for (const QFileInfo& fi : found) {
            if (fi.isSymLink() || (!fi.isDir() && !fi.isFile()))
                continue; // links are not followed; devices and pipes hold no project
            const QString why = localNameRefusal(fi.fileName());
            if (!why.isEmpty())
                return fail(QStringLiteral("cannot import %1: %2").arg(fi.absoluteFilePath(), why));
            entries.push_back(Entry{index, fi.fileName(), fi.absoluteFilePath(), fi.isDir(), nullptr});
            if (fi.isDir())
                pending.append({fi.absoluteFilePath(), int(entries.size()) - 1});
        }
    }

    // The contents, written whole and flushed; none recorded yet.
    qint64 files = 0;
    for (Entry& e : entries) {
        if (e.folder)
            continue;
        QFile f(e.local);
        if (!f.open(QIODevice::ReadOnly))
            return fail(QStringLiteral("cannot read %1").arg(e.local));
        e.contents = std::make_unique<Private::ContentsWriter>(d->db);
        if (!fill(*e.contents, &f) || e.contents->finish().isEmpty())
            return fail(QStringLiteral("cannot store %1").arg(e.local));
        ++files;
    }

    // One transaction records it all, or nothing; the contents written
    // above go with the writers when it does not commit.
    QStringList replaced;
    const qint64 recorded = store::retrying([&]() -> qint64 {
        replaced.clear();
        store::Transaction t(d->db);
        if (!t.ok())
            return fail(QStringLiteral("database busy"));
        QSqlQuery q(t.db());
        for (Entry& e : entries) {
            const qint64 folderId = e.parent < 0 ? parentId : entries[size_t(e.parent)].cloudId;
            if (e.folder) {
                if (!store::exec(q, QStringLiteral("SELECT id, folder FROM nodes WHERE parent = ? AND name = ?"),
                                 {folderId, e.name}))
                    return fail(q.lastError().text());
                if (q.next()) {
                    if (q.value(1).toInt() == 0)
                        return fail(QStringLiteral("cannot import %1: a file of that name is in the way in the cloud")
                                        .arg(e.local));
                    e.cloudId = q.value(0).toLongLong();
                    continue;
                }
                e.cloudId = store::insert(q,
                                          QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder,"
                                                         " size, mtime) VALUES (?, ?, ?, ?, 1, 0, ?)"),
                                          {folderId, nullable(target.owner), nullable(target.enterprise), e.name,
                                           store::now()});
                if (e.cloudId < 0)
                    return fail(q.lastError().text());
                continue;
            }
            Node stored;
            QString oldBlob;
            QString why;
            if (!d->recordContents(q, folderId, e.name, e.contents->blob(), e.contents->size(), &stored, &oldBlob, &why))
                return fail(QStringLiteral("cannot import %1: %2")
                                .arg(e.local, why == msgNameIsFolder ? QStringLiteral("a folder of that name is in the way in the cloud")
                                                                     : QStringLiteral("the store refused it (%1)").arg(why)));
            if (!oldBlob.isEmpty())
                replaced << oldBlob;
        }
        if (!t.commit())
            return fail(QStringLiteral("database busy"));
        return files;
    });
    if (recorded < 0)
        return -1;
    for (Entry& e : entries) {
        if (e.contents)
            e.contents->keep();
    }
    for (const QString& blob : qAsConst(replaced))
        QFile::remove(d->db.blobPath(blob));
    return files;
}

} // namespace clouddisk
