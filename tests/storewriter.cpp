// Writes the store the way dialogs in several host processes would: pins
// and recent projects, many times over, as fast as it can.
#include "fileInfoJsonUtil.h"

#include <QCoreApplication>
#include <QStringList>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() < 4)
        return 2;
    const QString store = args.at(1);
    const QString tag = args.at(2);
    const int rounds = args.at(3).toInt();
    for (int i = 0; i < rounds; ++i) {
        FileInfo info;
        info.name = QStringLiteral("%1-%2").arg(tag).arg(i);
        info.type = (i % 2) ? QStringLiteral("文件夹") : QStringLiteral("GCFX 文件");
        info.path = QStringLiteral("/projects/%1/%2").arg(tag).arg(i);
        info.datetime = QStringLiteral("2024-01-01 10:00:00");
        fileInfoJsonUtil::WriteJsonFromFileInfo(store, (i % 2) ? QStringLiteral("OftenUse") : QStringLiteral("RecentFile"), info);
        if (i % 5 == 0)
            fileInfoJsonUtil::UpdateJsonFromLastPath(store, info.path);
    }
    return 0;
}
