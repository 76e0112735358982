#pragma once
#include <QtCore/qglobal.h>

#if defined(MQCORE_LIBRARY)
#define MQCORE_EXPORT Q_DECL_EXPORT
#else
#define MQCORE_EXPORT Q_DECL_IMPORT
#endif
