#include "addresscompletion.h"

#include "collation.h"
#include "listing.h"
#include "pathstyle.h"

#include <QCollator>

#include <algorithm>

namespace pfd {

TypedPathSplit splitTypedPath(const QString& text)
{
    int sep = text.lastIndexOf(QLatin1Char('/'));
    if (isWindowsStylePath(text))
        sep = qMax(sep, text.lastIndexOf(QLatin1Char('\\')));
    if (sep < 0)
        return {};
    return {text.left(sep + 1), text.mid(sep + 1)};
}

QStringList completionFolderNames(const QString& folder)
{
    if (folder.isEmpty())
        return {};
    QStringList names;
    const QList<FileInfo> rows = getFilesByPath(folder);
    for (const FileInfo& f : rows) {
        // A Windows shortcut is a file: a typed path cannot pass through it.
        if (f.isFolder()
            || (f.isShortcut() && !f.name.endsWith(QLatin1String(".lnk"), Qt::CaseInsensitive)
                && f.isShortcutToFolder()))
            names << f.name;
    }
    QCollator collator;
    configureChineseCollator(collator);
    std::sort(names.begin(), names.end(),
              [&collator](const QString& a, const QString& b) { return collator.compare(a, b) < 0; });
    return names;
}

} // namespace pfd
