#pragma once
// Names are ordered as a Chinese reader expects: case-insensitive, numbers
// by value (file2 before file10), punctuation ignored.
#include "pfd_global.h"

class QCollator;

namespace pfd {
PFD_EXPORT void configureChineseCollator(QCollator& collator);
} // namespace pfd
