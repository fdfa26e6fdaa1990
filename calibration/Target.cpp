#include <calibration/Target.h>

#include "Matrix.h"

#include <algorithm>
#include <limits>

namespace Calibration {
namespace {

constexpr Chromaticity d65 = {0.3127, 0.3290};

Vector xyzOf(const Chromaticity &colour)
{
    return {colour.x / colour.y, 1, (1 - colour.x - colour.y) / colour.y};
}

Chromaticity chromaticityOf(const Vector &xyz)
{
    const double sum = xyz[0] + xyz[1] + xyz[2];
    return {xyz[0] / sum, xyz[1] / sum};
}

/// Calls `use` with the nine values of each usable pixel.
template <class Use>
void forEachUsable(const Measurement &measurement, Use use)
{
    for (int y = 0; y < measurement.size().height(); ++y) {
        for (int x = 0; x < measurement.size().width(); ++x) {
            if (measurement.isUsable(x, y))
                use(measurement.pixel(x, y));
        }
    }
}

/// Index of the first value, in ascending order, that is not among the share to leave out at the lower end.
int indexBeyond(double share, int count)
{
    return static_cast<int>(std::min(std::max(share, 0.0) * count, count - 1.0));
}

} // namespace

Primaries sRgb()
{
    return rec709();
}

Primaries rec709()
{
    return {{0.64, 0.33}, {0.30, 0.60}, {0.15, 0.06}, d65};
}

Primaries dciP3()
{
    return {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, {0.314, 0.351}};
}

Primaries rec2020()
{
    return {{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}, d65};
}

Target::Xyz Target::xyz(Input input) const
{
    if (input == Input::White)
        return {light[0] + light[3] + light[6], light[1] + light[4] + light[7], light[2] + light[5] + light[8]};
    const double *const from = light + 3 * static_cast<int>(input);
    return {from[0], from[1], from[2]};
}

bool Target::isValid() const
{
    return Colours(light).areIndependent();
}

Target targetOf(const Primaries &primaries, double luminance)
{
    Target target;
    if (!(luminance > 0) || !std::isfinite(luminance))
        return target;
    double light[lightLength];
    int index = 0;
    for (const Chromaticity &colour : {primaries.red, primaries.green, primaries.blue}) {
        for (const double value : xyzOf(colour))
            light[index++] = value;
    }
    const Colours colours(light);
    if (!colours.areIndependent())
        return target;
    const Vector amounts = colours.amountsOf(xyzOf(primaries.white));
    if (!(amounts[0] > 0 && amounts[1] > 0 && amounts[2] > 0))
        return target;
    for (unsigned i = 0; i < unsigned(lightLength); ++i)
        target.light[i] = light[i] * amounts[i / 3] * luminance;
    return target;
}

Primaries commonPrimaries(const Measurement &measurement, double share)
{
    double mean[lightLength] = {};
    int pixels = 0;
    forEachUsable(measurement, [&](const float *light) {
        for (int i = 0; i < lightLength; ++i)
            mean[i] += light[i];
        ++pixels;
    });
    if (pixels == 0)
        return {};
    for (double &value : mean)
        value /= pixels;
    const auto meanOf = [&mean](int led) { return Vector{mean[3 * led], mean[3 * led + 1], mean[3 * led + 2]}; };

    // Each colour is mixed from the mean LEDs: one of its own, and of the two others as little as makes the amounts of all
    // pixels' LEDs positive. What one of the two adds changes what the other must add; this settles within a few turns.
    constexpr int turns = 4;
    std::array<Vector, 3> colours;
    for (int own = 0; own < 3; ++own) {
        const std::array<int, 2> others{(own + 1) % 3, (own + 2) % 3};
        std::array<double, 2> added{};
        const auto mixed = [&] {
            Vector mixture = meanOf(own);
            for (unsigned i = 0; i < 3; ++i)
                mixture[i] += added[0] * meanOf(others[0])[i] + added[1] * meanOf(others[1])[i];
            return mixture;
        };
        for (int turn = 0; turn < turns; ++turn) {
            std::array<QVector<float>, 2> missing;
            const Vector mixture = mixed();
            forEachUsable(measurement, [&](const float *light) {
                const Colours pixel(light);
                if (!pixel.areIndependent())
                    return;
                const Vector amounts = pixel.amountsOf(mixture);
                for (unsigned i = 0; i < 2; ++i) {
                    const auto other = unsigned(others[i]);
                    missing[i].append(static_cast<float>(amounts[other] / pixel.amountsOf(meanOf(others[i]))[other]));
                }
            });
            for (unsigned i = 0; i < 2; ++i) {
                if (missing[i].isEmpty())
                    continue;
                float *const limit = missing[i].data() + indexBeyond(share, missing[i].size());
                std::nth_element(missing[i].data(), limit, missing[i].data() + missing[i].size());
                added[i] = std::max(added[i] - double(*limit), 0.0);
            }
        }
        colours[unsigned(own)] = mixed();
    }
    return {chromaticityOf(colours[0]), chromaticityOf(colours[1]), chromaticityOf(colours[2]),
            chromaticityOf({mean[0] + mean[3] + mean[6], mean[1] + mean[4] + mean[7], mean[2] + mean[5] + mean[8]})};
}

Reach::Reach(const Measurement &measurement, const Primaries &primaries)
{
    constexpr double tolerance = 0.5 / 32768;
    const Target unit = targetOf(primaries, 1);
    if (!unit.isValid())
        return;
    forEachUsable(measurement, [&](const float *light) {
        const Colours pixel(light);
        if (!pixel.areIndependent()) {
            m_limits.append(0);
            return;
        }
        Vector white{};
        double least = 0;
        for (int i = 0; i < 3; ++i) {
            const Vector amounts = pixel.amountsOf({unit.light[3 * i], unit.light[3 * i + 1], unit.light[3 * i + 2]});
            for (unsigned led = 0; led < 3; ++led) {
                white[led] += std::max(amounts[led], 0.0);
                least = std::min(least, amounts[led]);
            }
        }
        const double greatest = std::max({white[0], white[1], white[2]});
        m_limits.append(static_cast<float>(1 / greatest));
        m_outsideGamut += least < -tolerance * greatest ? 1 : 0;
    });
    std::sort(m_limits.begin(), m_limits.end());
}

int Reach::fallingShort(double luminance) const
{
    return static_cast<int>(std::lower_bound(m_limits.cbegin(), m_limits.cend(), luminance) - m_limits.cbegin());
}

double Reach::luminanceFor(double share) const
{
    return m_limits.isEmpty() ? 0 : double(m_limits[indexBeyond(share, m_limits.size())]);
}

} // namespace Calibration
