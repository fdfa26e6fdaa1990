#include "Cases.h"

#include <Correction/Coefficient.h>
#include <calibration/Coefficients.h>

#include <cstring>
#include <memory>

namespace Bench {
namespace {

constexpr QSize size4K(3840, 2160);
constexpr int pixels4K = size4K.width() * size4K.height();

/// Keeps the compiler from removing the computation of a value.
void use(const void *place)
{
    asm volatile("" : : "g"(place) : "memory");
}

/// Nominal LEDs whose luminances differ by up to 10 % (xorshift).
Calibration::Measurement randomMeasurement()
{
    constexpr float nominal[Calibration::lightLength] = {547, 240, 0, 179, 680, 85, 240, 80, 1458};
    QVector<float> values(pixels4K * Calibration::lightLength);
    quint64 random = 88172645463325252;
    float factor = 1;
    for (int i = 0; i < values.size(); ++i) {
        if (i % 3 == 0) {
            random ^= random << 13;
            random ^= random >> 7;
            random ^= random << 17;
            factor = 1 - 0.1F * float(random >> 40) / float(1 << 24);
        }
        values[i] = factor * nominal[i % Calibration::lightLength];
    }
    return Calibration::Measurement(size4K, values);
}

Pass calculate4K()
{
    const auto grid = std::make_shared<Correction::Coefficient>(size4K.width(), size4K.height());
    const Calibration::Target target = Calibration::targetOf(Calibration::rec709(), 700);
    return [measurement = randomMeasurement(), target, grid] {
        if (Calibration::calculate(measurement, target, *grid) != Correction::enSuccess)
            qFatal("no coefficients");
    };
}

Pass readAndWrite4K()
{
    return [measurement = randomMeasurement(),
            values = std::make_shared<QVector<unsigned short>>(pixels4K * Calibration::lightLength)] {
        const auto *const bytes = reinterpret_cast<const unsigned char *>(measurement.values().constData());
        const size_t size = size_t(measurement.values().size()) * sizeof(float);
        quint64 all = 0;
        for (size_t i = 0; i + sizeof all <= size; i += sizeof all) {
            quint64 word;
            std::memcpy(&word, bytes + i, sizeof word);
            all |= word;
        }
        use(&all);
        std::memset(values->data(), 1, size_t(values->size()) * sizeof(unsigned short));
        use(values->data());
    };
}

} // namespace

QVector<Case> calibrationCases()
{
    Case coefficients;
    coefficients.name = QStringLiteral("coefficients of a 4K measurement");
    coefficients.measure = Measure::Warm;
    coefficients.library = calculate4K;
    coefficients.limit = readAndWrite4K;
    coefficients.limitIs = QStringLiteral("one read of the measurement, one write of the grid");
    coefficients.timesLimit = 3;
    coefficients.memory = 2.0 * pixels4K * Calibration::lightLength * (sizeof(float) + sizeof(unsigned short));
    return {coefficients};
}

} // namespace Bench
