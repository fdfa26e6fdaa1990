#pragma once

#include <QtCore/qglobal.h>

#if defined(SIMULATOR_LIBRARY)
#define SIMULATOR_API Q_DECL_EXPORT
#else
#define SIMULATOR_API Q_DECL_IMPORT
#endif
