#pragma once
#include <QtCore/qglobal.h>

#if defined(ZCONTROL_LIBRARY)
#define ZCONTROL_EXPORT Q_DECL_EXPORT
#else
#define ZCONTROL_EXPORT Q_DECL_IMPORT
#endif
