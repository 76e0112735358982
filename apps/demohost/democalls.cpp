#include "democalls.h"

#include "projecttypes.h"

#include <QCoreApplication>
#include <QLibraryInfo>
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
