#pragma once
#include <QtCore/qglobal.h>

#if defined(SHAREDINTERFACE_LIBRARY)
#define SHAREDINTERFACE_EXPORT Q_DECL_EXPORT
#else
#define SHAREDINTERFACE_EXPORT Q_DECL_IMPORT
#endif
