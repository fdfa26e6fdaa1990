#pragma once

#include <QtCore/qglobal.h>

#if defined(ADAPTER_LIBRARY)
#define ADAPTER_API Q_DECL_EXPORT
#else
#define ADAPTER_API Q_DECL_IMPORT
#endif
