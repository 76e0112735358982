#include "collation.h"

#include <QCollator>
#include <QLocale>

namespace pfd {

void configureChineseCollator(QCollator& collator)
{
    collator.setLocale(QLocale(QLocale::Chinese, QLocale::China));
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    collator.setNumericMode(true);
    collator.setIgnorePunctuation(true);
}

} // namespace pfd
