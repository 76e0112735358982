// A second process for the store tests.
//   pfd_storewriter STORE TAG ROUNDS
//       writes the store the way dialogs in several host processes would:
//       pins and recent projects, many times over, as fast as it can.
//   pfd_storewriter STORE --op OPERATION [--fsize-limit BYTES]
//       makes one change (pin, recent, lastpath, remove, rename), optionally
//       under a file-size limit with SIGXFSZ ignored, so that writes past the
//       limit fail as on a full disk instead of killing the process.
#include "fileInfoJsonUtil.h"

#include <QCoreApplication>
#include <QStringList>

#ifdef Q_OS_UNIX
#include <csignal>
#include <sys/resource.h>
#endif

namespace {

FileInfo record(const QString& name, const QString& path, const QString& type)
{
    FileInfo info;
    info.name = name;
    info.type = type;
    info.path = path;
    info.datetime = QStringLiteral("2024-01-01 10:00:00");
    return info;
}

int oneChange(const QString& store, const QString& op, qint64 limit)
{
#ifdef Q_OS_UNIX
    if (limit >= 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        struct rlimit rl;
        getrlimit(RLIMIT_FSIZE, &rl);
        rl.rlim_cur = rlim_t(limit);
        if (setrlimit(RLIMIT_FSIZE, &rl) != 0)
            return 3;
    }
#else
    if (limit >= 0)
        return 3;
#endif
    // Every change makes the store longer, except removal.
    const QString longName = QStringLiteral("一个名字很长的新文件夹-%1").arg(QString(40, QLatin1Char('x')));
    if (op == QLatin1String("pin"))
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("OftenUse"),
                                                record(longName, QStringLiteral("/new/") + longName, QStringLiteral("文件夹")));
    else if (op == QLatin1String("recent"))
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, QStringLiteral("RecentFile"),
                                                record(longName + QStringLiteral(".GCFX"), QStringLiteral("/new/") + longName + QStringLiteral(".GCFX"), QStringLiteral("GCFX 文件")));
    else if (op == QLatin1String("lastpath"))
        fileInfoJsonUtil::UpdateJsonFromLastPath(store, QStringLiteral("/new/") + longName);
    else if (op == QLatin1String("remove"))
        fileInfoJsonUtil::RemoveFileInfoFromJson(store, QStringLiteral("OftenUse"), QStringLiteral("/pins/3"));
    else if (op == QLatin1String("rename"))
        fileInfoJsonUtil::RenameFileInfoInJson(store, QStringLiteral("OftenUse"), QStringLiteral("/pins/3"), longName,
                                               QStringLiteral("/pins/") + longName);
    else
        return 2;
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    const QString store = args.at(1);
    if (args.at(2) == QLatin1String("--op")) {
        const int at = args.indexOf(QStringLiteral("--fsize-limit"));
        return oneChange(store, args.at(3), at > 0 && at + 1 < args.size() ? args.at(at + 1).toLongLong() : -1);
    }
    const QString tag = args.at(2);
    const int rounds = args.at(3).toInt();
    for (int i = 0; i < rounds; ++i) {
        FileInfo info = record(QStringLiteral("%1-%2").arg(tag).arg(i), QStringLiteral("/projects/%1/%2").arg(tag).arg(i),
                               (i % 2) ? QStringLiteral("文件夹") : QStringLiteral("GCFX 文件"));
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, (i % 2) ? QStringLiteral("OftenUse") : QStringLiteral("RecentFile"), info);
        if (i % 5 == 0)
            fileInfoJsonUtil::UpdateJsonFromLastPath(store, info.path);
    }
    return 0;
}
