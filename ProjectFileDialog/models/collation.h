#pragma once
// Names are ordered as a Chinese reader expects: case-insensitive, numbers
// by value (file2 before file10), punctuation ignored.
#include "pfd_global.h"

#include <QCollatorSortKey>
#include <QString>

#include <functional>
#include <vector>

class QCollator;

namespace pfd {
PFD_EXPORT void configureChineseCollator(QCollator& collator);

// The Chinese collator's sort keys of n names (nameAt(i) for i below n), in
// that order. A long list is shared among the machine's cores, each with a
// collator of its own; keys made so compare exactly as one collator's would.
PFD_EXPORT std::vector<QCollatorSortKey> chineseSortKeys(int n, const std::function<const QString&(int)>& nameAt);
} // namespace pfd
