#pragma once
#include <QtCore/qglobal.h>

#if defined(OSGI_LIBRARY)
#define OSGI_EXPORT Q_DECL_EXPORT
#else
#define OSGI_EXPORT Q_DECL_IMPORT
#endif
