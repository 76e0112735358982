#include "democalls.h"

#include "projecttypes.h"

#include "SharedInterface.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QSaveFile>
#include <QTranslator>

namespace demo {

QString runOpen(QWidget* parent, const QString& workspace, OpenFileType type)
{
    QVector<QStringList> groups = openGroups();
    const QString caption = type == ChooseFolder ? QStringLiteral("选择文件夹") : QString();
    return zFileDialog::getOpenFileName(parent, workspace, groups.data(), groups.size(), QString(), false, caption,
                                        true, type);
}

QString runSave(QWidget* parent, const QString& workspace)
{
    QVector<QStringList> groups = saveGroups();
    return zFileDialog::getSaveFileName(parent, workspace, QStringLiteral("新建预算工程"), groups.data(),
                                        groups.size(), true, QString(), QString(), true);
}

QString saveProject(const QString& path)
{
    if (path.isEmpty())
        return QString();
    QDir().mkpath(QFileInfo(path).absolutePath());
    QSaveFile project(path);
    const QByteArray contents = QStringLiteral("演示宿主保存的工程 %1\n")
                                    .arg(QDateTime::currentDateTime().toString(Qt::ISODate))
                                    .toUtf8();
    if (!project.open(QIODevice::WriteOnly) || project.write(contents) != contents.size() || !project.commit())
        return QStringLiteral("未能写入工程：%1").arg(project.errorString());
    // A save into a cloud hands back a path under the application's cloud
    // staging folder and names the cloud file it stands for; the upload
    // takes it from there.
    const QString staging = QDir::cleanPath(SharedInterface::GetAppPath() + QStringLiteral("/cfg/DownloadCloudDiskFile"));
    const QString cloudFile = zFileDialog::GetFilePath();
    const bool inCloud = QDir::cleanPath(QFileInfo(path).absoluteFilePath()).startsWith(staging + QLatin1Char('/'))
                         && (zFileDialog::IsGrYunPanFile(cloudFile) || zFileDialog::IsQyYunPanFile(cloudFile));
    if (!inCloud)
        return QStringLiteral("已写入工程");
    return zFileDialog::SaveToYunPanData(path) ? QStringLiteral("已写入工程并上传到云盘")
                                               : QStringLiteral("已写入工程，上传云盘失败");
}

bool loadToolkitTranslations(QCoreApplication* app)
{
    auto* translator = new QTranslator(app);
    if (!translator->load(QStringLiteral("qtbase_zh_CN"), QLibraryInfo::location(QLibraryInfo::TranslationsPath))) {
        delete translator;
        return false;
    }
    return app->installTranslator(translator);
}

} // namespace demo
