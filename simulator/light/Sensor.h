#pragma once

#include <simulator/Camera.h>

namespace Simulator {

/// What the sensor of a camera sees of a screen: `light` has X, Y and Z of each of its pixels. Null for a camera that
/// cannot be, and for more than 2^27 photosites.
Photo sensed(const QSize &screen, const std::vector<float> &light, const Camera &camera);

} // namespace Simulator
