#include "Solve.h"

#include "Matrix.h"

#include <algorithm>

namespace Calibration {
namespace {

/// Pixels that are calculated together, value by value, so that the compiler makes vectors of them.
constexpr int lanes = 64;

struct Block {
    float light[lightLength][lanes];
    float values[lightLength][lanes];
    int live[lanes];
    int clipped[lanes];
};

void transposeIn(const float *light, int pixels, Block &block)
{
    for (int p = 0; p < pixels; ++p) {
        for (int i = 0; i < lightLength; ++i)
            block.light[i][p] = light[p * lightLength + i];
    }
}

/// Cramer's rule: row i of the inverse is the cross product of the two other colours, divided by the determinant.
void solveBlock(Block &block, const float *target, float unit)
{
    for (int p = 0; p < lanes; ++p) {
        const float rx = block.light[0][p], ry = block.light[1][p], rz = block.light[2][p];
        const float gx = block.light[3][p], gy = block.light[4][p], gz = block.light[5][p];
        const float bx = block.light[6][p], by = block.light[7][p], bz = block.light[8][p];
        const float r0 = gy * bz - gz * by, r1 = gz * bx - gx * bz, r2 = gx * by - gy * bx;
        const float g0 = by * rz - bz * ry, g1 = bz * rx - bx * rz, g2 = bx * ry - by * rx;
        const float b0 = ry * gz - rz * gy, b1 = rz * gx - rx * gz, b2 = rx * gy - ry * gx;
        const float determinant = rx * r0 + ry * r1 + rz * r2;
        const float scale = (std::abs(rx) + std::abs(ry) + std::abs(rz)) * (std::abs(gx) + std::abs(gy) + std::abs(gz))
                            * (std::abs(bx) + std::abs(by) + std::abs(bz));
        // False for NaN and infinities, too.
        const int live = block.live[p] & int(std::abs(determinant) > float(Colours::leastIndependence) * scale)
                         & int(scale < std::numeric_limits<float>::max());
        const float factor = 1 / (live ? determinant : 1.0F);
        block.live[p] = live;
        int clipped = 0;
        const auto put = [&](int index, float a0, float a1, float a2, int column) {
            const float *const t = target + 3 * column;
            const float exact = (a0 * t[0] + a1 * t[1] + a2 * t[2]) * factor;
            clipped |= int(exact < -0.5F) | int(exact >= 65535.5F);
            const float value = std::min(std::max(exact, 0.0F), 65535.0F) + 0.5F;
            block.values[index][p] = live ? value : (index % 4 == 0 ? unit : 0.0F);
        };
        put(0, r0, r1, r2, 0);
        put(1, r0, r1, r2, 1);
        put(2, r0, r1, r2, 2);
        put(3, g0, g1, g2, 0);
        put(4, g0, g1, g2, 1);
        put(5, g0, g1, g2, 2);
        put(6, b0, b1, b2, 0);
        put(7, b0, b1, b2, 1);
        put(8, b0, b1, b2, 2);
        block.clipped[p] = clipped & live;
    }
}

void transposeOut(const Block &block, int pixels, unsigned short *values)
{
    for (int p = 0; p < pixels; ++p) {
        for (int i = 0; i < lightLength; ++i)
            values[p * lightLength + i] = static_cast<unsigned short>(static_cast<int>(block.values[i][p]));
    }
}

} // namespace

void solve(const float *light, const PixelState *states, int pixels, const double *target, int unit, unsigned short *values,
           Summary &summary)
{
    float scaled[lightLength];
    std::copy_n(target, lightLength, scaled);
    Block block{};
    for (int first = 0; first < pixels; first += lanes) {
        const int count = std::min(lanes, pixels - first);
        transposeIn(light + qint64(first) * lightLength, count, block);
        for (int p = 0; p < lanes; ++p)
            block.live[p] = p < count && states[first + p] == PixelState::Live ? 1 : 0;
        solveBlock(block, scaled, float(unit));
        transposeOut(block, count, values + qint64(first) * lightLength);
        for (int p = 0; p < count; ++p) {
            summary.corrected += block.live[p];
            summary.clipped += block.clipped[p];
        }
    }
    summary.leftAlone += pixels - summary.corrected;
}

} // namespace Calibration
