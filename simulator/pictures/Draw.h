#pragma once

#include "device/WallState.h"

#include <simulator/PictureTypes.h>

#include <QtGui/QImage>

/// The pictures of Pictures. All devices of `screen` are on one screen.
namespace Simulator {

QImage drawLayout(const WallState &screen, int maxWidth);
QImage drawCoefficients(const WallState &screen, Kind kind, int channel, ValueRange range, int maxWidth);
ValueRange rangeOfCoefficients(const WallState &screen, Kind kind, int channel);
QImage drawPatterns(const WallState &screen, Light light);

} // namespace Simulator
