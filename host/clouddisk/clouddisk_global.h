#pragma once
#include <QtCore/qglobal.h>

#if defined(CLOUDDISK_LIBRARY)
#define CLOUDDISK_EXPORT Q_DECL_EXPORT
#else
#define CLOUDDISK_EXPORT Q_DECL_IMPORT
#endif
