#pragma once

#include <QtCore/qglobal.h>

/// Marks a class of the library's boundary.
#if defined(CORRECTION_LIBRARY)
#define CORRECTION_EXPORT Q_DECL_EXPORT
#else
#define CORRECTION_EXPORT Q_DECL_IMPORT
#endif
