#pragma once
#include <QtCore/qglobal.h>

#if defined(PROJECTFILEDIALOG_LIBRARY)
#define PFD_EXPORT Q_DECL_EXPORT
#else
#define PFD_EXPORT Q_DECL_IMPORT
#endif
