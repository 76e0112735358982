// The directory service's answer as any bytes: the listing's result must be
// exactly what Qt's JSON reader makes of it, by the fast scanner (when it
// answers) and by the whole listing.
#include "fuzzsupport.h"

#include "FileInfo.h"
#include "listing.h"
#include "pathstyle.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace {

bool isDriveRootKind(const QString& type)
{
    return type == kindword::localDisk() || type == kindword::removableDisk()
           || type == kindword::ramDisk() || type == kindword::cdRom();
}

// The listing rules written out plainly over QJsonDocument.
QList<FileInfo> reference(const QByteArray& json, const QString& prefix, bool driveList)
{
    QList<FileInfo> list;
    QJsonParseError err;
    const QJsonDocument doc = QJsonDocument::fromJson(json, &err);
    if (err.error != QJsonParseError::NoError || doc.isEmpty() || !doc.isArray())
        return list;
    for (const QJsonValue& row : doc.array()) {
        if (!row.isArray())
            continue;
        const QJsonArray items = row.toArray();
        FileInfo f;
        f.name = items.at(0).toString();
        f.datetime = items.at(1).toString();
        f.type = items.at(2).toString();
        f.size = items.at(3).toString();
        f.symLinkTarget = items.at(4).toString();
        f.path = prefix + QLatin1Char('/') + f.name;
        if (driveList)
            f.displayName = items.at(5).toString() + QStringLiteral(" (%1)").arg(f.name);
        if (isDriveRootKind(f.type))
            f.path = pfd::driveRootPath(f.name);
        list.append(f);
    }
    return list;
}

bool same(const FileInfo& a, const FileInfo& b)
{
    return a.name == b.name && a.size == b.size && a.type == b.type && a.datetime == b.datetime
           && a.path == b.path && a.symLinkTarget == b.symLinkTarget && a.displayName == b.displayName;
}

void checkSame(const QList<FileInfo>& got, const QList<FileInfo>& want)
{
    FUZZ_CHECK(got.size() == want.size());
    for (int i = 0; i < got.size(); ++i)
        FUZZ_CHECK(same(got.at(i), want.at(i)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray json(reinterpret_cast<const char*>(data), int(size));
    for (bool driveList : {false, true}) {
        const QString prefix = driveList ? QString() : QStringLiteral("D:");
        const QList<FileInfo> want = reference(json, prefix, driveList);
        QList<FileInfo> scanned;
        if (pfd::scanDirRows(json, prefix, driveList, scanned))
            checkSame(scanned, want);
        else
            FUZZ_CHECK(scanned.isEmpty());
        checkSame(pfd::parseDirRows(json, prefix, driveList), want);
    }
    return 0;
}
