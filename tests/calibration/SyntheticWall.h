#pragma once

#include <calibration/Measurement.h>
#include <calibration/Seams.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

/// Uneven walls for the tests, and photos of them. Shares no code with the library.
namespace SyntheticWall {

using Calibration::lightLength;

/// How uneven: standard deviations of the luminances, and the light of the outermost pixels of a module.
struct Unevenness {
    double pixels = 0.06;
    double modules = 0.08;
    double seams = 0.12;
    double colours = 0.01; ///< Of the light of the two other LEDs that is mixed into each LED's.
};

constexpr int moduleSize = 16;

/// Nominal light of the three LEDs.
inline std::array<double, lightLength> nominalLight()
{
    constexpr double chromaticities[3][3] = {{0.695, 0.305, 240}, {0.190, 0.720, 680}, {0.135, 0.045, 80}};
    std::array<double, lightLength> light{};
    for (unsigned led = 0; led < 3; ++led) {
        const double *const from = chromaticities[led];
        light[3 * led] = from[2] * from[0] / from[1];
        light[3 * led + 1] = from[2];
        light[3 * led + 2] = from[2] * (1 - from[0] - from[1]) / from[1];
    }
    return light;
}

inline Calibration::Seams seamsOf(const QSize &size)
{
    Calibration::Seams seams;
    for (int x = moduleSize; x < size.width(); x += moduleSize)
        seams.columns.append(x);
    for (int y = moduleSize; y < size.height(); y += moduleSize)
        seams.rows.append(y);
    return seams;
}

inline Calibration::Measurement make(const QSize &size, const Unevenness &unevenness = Unevenness(), unsigned seed = 1)
{
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    const auto cut = [&] { return std::max(-3.0, std::min(3.0, normal(random))); };
    const int modulesInARow = (size.width() + moduleSize - 1) / moduleSize;
    std::vector<std::array<double, 6>> modules(std::size_t(modulesInARow * ((size.height() + moduleSize - 1) / moduleSize)));
    for (auto &module : modules) {
        for (double &value : module)
            value = cut();
    }
    const auto nominal = nominalLight();
    Calibration::Measurement wall(size);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const auto &module = modules[std::size_t(y / moduleSize * modulesInARow + x / moduleSize)];
            const auto isOuter = [](int at) { return at % moduleSize == 0 || at % moduleSize == moduleSize - 1; };
            const double edge = isOuter(x) || isOuter(y) ? 1 - unevenness.seams : 1;
            for (unsigned led = 0; led < 3; ++led) {
                const double factor = edge * (1 + unevenness.modules * module[led]) * (1 + unevenness.pixels * cut());
                const double foreign = unevenness.colours * (1.5 + 0.3 * module[3 + led] + 0.1 * cut());
                for (unsigned i = 0; i < 3; ++i) {
                    const double others = nominal[(3 * led + 3 + i) % 9] + nominal[(3 * led + 6 + i) % 9];
                    wall.pixel(x, y)[3 * led + i] =
                        static_cast<float>(factor * (nominal[3 * led + i] + foreign * others / 2));
                }
            }
        }
    }
    return wall;
}

/// Solves a system of three equations by Gaussian elimination with pivots; `columns` holds the matrix column by column.
inline std::array<double, 3> solved(const std::array<double, 9> &columns, const std::array<double, 3> &right)
{
    double m[3][4];
    for (unsigned row = 0; row < 3; ++row) {
        for (unsigned column = 0; column < 3; ++column)
            m[row][column] = columns[3 * column + row];
        m[row][3] = right[row];
    }
    for (int column = 0; column < 3; ++column) {
        int pivot = column;
        for (int row = column + 1; row < 3; ++row)
            pivot = std::abs(m[row][column]) > std::abs(m[pivot][column]) ? row : pivot;
        std::swap(m[column], m[pivot]);
        for (int row = 0; row < 3; ++row) {
            if (row == column)
                continue;
            const double factor = m[row][column] / m[column][column];
            for (int i = column; i < 4; ++i)
                m[row][i] -= factor * m[column][i];
        }
    }
    return {m[0][3] / m[0][0], m[1][3] / m[1][1], m[2][3] / m[2][2]};
}

/// What the wall's LEDs give for full red, green and blue behind the coefficients: drive_out = M * drive_in, row by row.
inline Calibration::Measurement corrected(const Calibration::Measurement &leds, const QVector<unsigned short> &values,
                                          int unit = 32768)
{
    Calibration::Measurement shown(leds.size());
    for (int y = 0; y < leds.size().height(); ++y) {
        for (int x = 0; x < leds.size().width(); ++x) {
            const unsigned short *const matrix = values.constData() + (y * leds.size().width() + x) * 9;
            const float *const light = leds.pixel(x, y);
            for (int input = 0; input < 3; ++input) {
                for (int i = 0; i < 3; ++i) {
                    double sum = 0;
                    for (int led = 0; led < 3; ++led)
                        sum += std::min(1.0, double(matrix[3 * led + input]) / unit) * double(light[3 * led + i]);
                    shown.pixel(x, y)[3 * input + i] = static_cast<float>(sum);
                }
            }
        }
    }
    return shown;
}

} // namespace SyntheticWall
