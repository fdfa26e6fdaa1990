#include "Solve.h"

#include "Matrix.h"

#include <algorithm>
#include <limits>

// Highway compiles this file once for every instruction set, each time into another HWY_NAMESPACE, and picks the best one at
// run time.
#define HWY_WANT_AVX3_DL // the newest of them, which is left out unless asked for
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "calibration/Solve.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Calibration {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

constexpr hn::ScalableTag<float> d{};
constexpr hn::Rebind<int32_t, decltype(d)> i32{};
constexpr hn::Rebind<uint16_t, decltype(d)> u16{};
constexpr hn::Rebind<uint8_t, decltype(d)> u8{};
using V = hn::Vec<decltype(d)>;
constexpr size_t mostLanes = hn::MaxLanes(d);

/// A colour of each pixel.
struct Colour {
    V x;
    V y;
    V z;
};

HWY_INLINE Colour cross(const Colour &a, const Colour &b)
{
    return {hn::MulSub(a.y, b.z, hn::Mul(a.z, b.y)), hn::MulSub(a.z, b.x, hn::Mul(a.x, b.z)),
            hn::MulSub(a.x, b.y, hn::Mul(a.y, b.x))};
}

HWY_INLINE V dot(const Colour &a, const Colour &b)
{
    return hn::MulAdd(a.x, b.x, hn::MulAdd(a.y, b.y, hn::Mul(a.z, b.z)));
}

HWY_INLINE V sizeOf(const Colour &colour)
{
    return hn::Add(hn::Abs(colour.x), hn::Add(hn::Abs(colour.y), hn::Abs(colour.z)));
}

/// As many pixels as a vector has lanes.
HWY_INLINE void solveLanes(const float *light, const uint8_t *states, const float *target, float unit, uint16_t *values,
                           Summary &summary)
{
    const size_t lanes = hn::Lanes(d);

    // Nine values of each pixel to nine vectors: X, Y and Z apart first, then red, green and blue.
    HWY_ALIGN float apart[lightLength * mostLanes];
    for (size_t i = 0; i < 3; ++i) {
        V x, y, z;
        hn::LoadInterleaved3(d, light + 3 * i * lanes, x, y, z);
        hn::Store(x, d, apart + i * lanes);
        hn::Store(y, d, apart + (3 + i) * lanes);
        hn::Store(z, d, apart + (6 + i) * lanes);
    }
    Colour red, green, blue;
    hn::LoadInterleaved3(d, apart, red.x, green.x, blue.x);
    hn::LoadInterleaved3(d, apart + 3 * lanes, red.y, green.y, blue.y);
    hn::LoadInterleaved3(d, apart + 6 * lanes, red.z, green.z, blue.z);

    // Cramer's rule: a row of the inverse is the cross product of the two other colours, divided by the determinant. The
    // comparisons are false for NaN.
    const Colour rows[3] = {cross(green, blue), cross(blue, red), cross(red, green)};
    const V determinant = dot(red, rows[0]);
    const V scale = hn::Mul(sizeOf(red), hn::Mul(sizeOf(green), sizeOf(blue)));
    const auto isLive = hn::RebindMask(d, hn::Eq(hn::PromoteTo(i32, hn::LoadU(u8, states)), hn::Zero(i32)));
    const auto isIndependent = hn::Gt(hn::Abs(determinant), hn::Mul(hn::Set(d, float(Colours::leastIndependence)), scale));
    const auto isFinite = hn::Lt(scale, hn::Set(d, std::numeric_limits<float>::max()));
    const auto isCorrected = hn::And(isLive, hn::And(isIndependent, isFinite));
    const V factor = hn::Div(hn::Set(d, 1), hn::IfThenElse(isCorrected, determinant, hn::Set(d, 1)));

    const V half = hn::Set(d, 0.5F);
    const V greatest = hn::Set(d, 65535);
    auto isClipped = hn::Lt(half, hn::Zero(d));
    HWY_ALIGN uint16_t columns[lightLength * mostLanes];
    for (size_t column = 0; column < 3; ++column) {
        const Colour wanted{hn::Set(d, target[3 * column]), hn::Set(d, target[3 * column + 1]),
                            hn::Set(d, target[3 * column + 2])};
        const auto valuesOf = [&](size_t row) HWY_ATTR {
            const V exact = hn::Add(hn::Mul(dot(rows[row], wanted), factor), half);
            isClipped = hn::Or(isClipped, hn::Or(hn::Lt(exact, hn::Zero(d)), hn::Ge(exact, hn::Set(d, 65536))));
            const V clipped = hn::Min(hn::Max(exact, hn::Zero(d)), greatest);
            const V value = hn::IfThenElse(isCorrected, clipped, hn::Set(d, row == column ? unit : 0));
            return hn::DemoteTo(u16, hn::ConvertTo(i32, value));
        };
        hn::StoreInterleaved3(valuesOf(0), valuesOf(1), valuesOf(2), u16, columns + 3 * column * lanes);
    }
    // Values of one column, pixel by pixel, to those of all columns.
    for (size_t i = 0; i < 3; ++i) {
        hn::StoreInterleaved3(hn::Load(u16, columns + i * lanes), hn::Load(u16, columns + (3 + i) * lanes),
                              hn::Load(u16, columns + (6 + i) * lanes), u16, values + 3 * i * lanes);
    }
    summary.corrected += int(hn::CountTrue(d, isCorrected));
    summary.clipped += int(hn::CountTrue(d, hn::And(isCorrected, isClipped)));
}

void solveAll(const float *light, const uint8_t *states, int pixels, const float *target, float unit, uint16_t *values,
              Summary &summary)
{
    const auto lanes = int(hn::Lanes(d));
    int done = 0;
    for (; done + lanes <= pixels; done += lanes)
        solveLanes(light + qint64(done) * lightLength, states + done, target, unit, values + qint64(done) * lightLength,
                   summary);
    const int rest = pixels - done;
    if (rest == 0)
        return;
    HWY_ALIGN float lastLight[lightLength * mostLanes] = {};
    HWY_ALIGN uint8_t lastStates[mostLanes] = {};
    HWY_ALIGN uint16_t lastValues[lightLength * mostLanes];
    std::copy_n(light + qint64(done) * lightLength, rest * lightLength,
                lastLight); // the other lanes are black: not corrected
    std::copy_n(states + done, rest, lastStates);
    solveLanes(lastLight, lastStates, target, unit, lastValues, summary);
    std::copy_n(lastValues, rest * lightLength, values + qint64(done) * lightLength);
}

} // namespace HWY_NAMESPACE
} // namespace Calibration
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace Calibration {

HWY_EXPORT(solveAll);

void solve(const float *light, const PixelState *states, int pixels, const double *target, int unit, unsigned short *values,
           Summary &summary)
{
    static_assert(sizeof(PixelState) == 1 && PixelState::Live == PixelState(0), "states are compared as bytes");
    float scaled[lightLength];
    std::transform(target, target + lightLength, scaled, [](double value) { return float(value); });
    HWY_DYNAMIC_DISPATCH(solveAll)
    (light, reinterpret_cast<const uint8_t *>(states), pixels, scaled, float(unit), values, summary);
    summary.leftAlone = pixels - summary.corrected;
}

} // namespace Calibration

#endif // HWY_ONCE
