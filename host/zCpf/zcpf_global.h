#pragma once
#include <QtCore/qglobal.h>

#if defined(ZCPF_LIBRARY)
#define ZCPF_EXPORT Q_DECL_EXPORT
#else
#define ZCPF_EXPORT Q_DECL_IMPORT
#endif
