#pragma once
#include <QtCore/qglobal.h>

#if defined(ZBASECONTROL_LIBRARY)
#define ZBASECONTROL_EXPORT Q_DECL_EXPORT
#else
#define ZBASECONTROL_EXPORT Q_DECL_IMPORT
#endif
