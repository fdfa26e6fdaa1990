#pragma once

#include <QtCore/qglobal.h>

/// Marks a class of the device service. The host defines these classes, the library only refers to them, so their symbols
/// must be visible on both sides of the boundary: the same attribute serves for defining and for using.
#define CORRECTION_SERVICE_API Q_DECL_EXPORT
