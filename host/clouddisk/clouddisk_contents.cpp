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
        m_ok = m_file.open(QIODevice::WriteOnly | QIODevice::Truncate);
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
    // stops this process leaves either no blob or a whole one.
    QString finish()
    {
        if (!m_ok || !m_file.flush())
            return QString();
        m_file.close();
        const QString target = m_db.blobPath(m_blob);
        if (!QDir().mkpath(QFileInfo(target).absolutePath()) || !QFile::rename(m_file.fileName(), target))
            return QString();
        m_placed = true;
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
        Node parent;
        // The folder may have gone while the bytes travelled.
        if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE id = ?").arg(kNodeColumns), {folder.id})
            || !q.next() || !nodeFrom(q).folder) {
            *error = msgNoFolder;
            return false;
        }
        parent = nodeFrom(q);
        const QString mtime = store::now();
        if (!store::exec(q, QStringLiteral("SELECT %1 FROM nodes WHERE parent = ? AND name = ?").arg(kNodeColumns),
                         {folder.id, name})) {
            *error = msgBusy;
            return false;
        }
        if (q.next()) {
            Node existing = nodeFrom(q);
            if (existing.folder) {
                *error = msgNameIsFolder;
                return false;
            }
            oldBlob = existing.blob;
            if (!store::exec(q, QStringLiteral("UPDATE nodes SET size = ?, mtime = ?, blob = ? WHERE id = ?"),
                             {size, mtime, blob, existing.id})) {
                *error = msgBusy;
                return false;
            }
            existing.size = size;
            existing.mtime = mtime;
            existing.blob = blob;
            *out = existing;
        } else {
            Node n;
            n.id = store::insert(q,
                                 QStringLiteral("INSERT INTO nodes(parent, owner, enterprise, name, folder, size,"
                                                " mtime, blob) VALUES (?, ?, ?, ?, 0, ?, ?, ?)"),
                                 {parent.id, nullable(parent.owner), nullable(parent.enterprise), name, size, mtime,
                                  blob});
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
        }
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
    auto* file = qobject_cast<QFileDevice*>(source);
    if (!file || !writer.copyFrom(file)) {
        QByteArray buf(int(kChunk), Qt::Uninitialized);
        for (;;) {
            const qint64 n = source->read(buf.data(), buf.size());
            if (n < 0)
                return fail(QStringLiteral("cannot read the contents"));
            if (n == 0 && (source->atEnd() || !source->waitForReadyRead(-1)))
                break;
            if (!writer.write(buf.constData(), n))
                return fail(QStringLiteral("cannot write the contents"));
        }
    }
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

} // namespace clouddisk
