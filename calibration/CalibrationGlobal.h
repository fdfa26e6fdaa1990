#pragma once

#include <QtCore/qglobal.h>

#if defined(CALIBRATION_LIBRARY)
#define CALIBRATION_API Q_DECL_EXPORT
#else
#define CALIBRATION_API Q_DECL_IMPORT
#endif
