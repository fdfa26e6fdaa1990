#include "CabinetLight.h"

#include "Numbers.h"

#include <QtCore/QtEndian>

#include <algorithm>

namespace Simulator {

namespace {

/// The shift of x and y for each nm, about the slope of the spectral locus at 625, 525 and 467 nm.
struct Slope {
    double x;
    double y;
};
constexpr std::array<Slope, 3> slopes{{{0.0016, -0.0016}, {0.0080, -0.0028}, {-0.0023, 0.0036}}};

constexpr double leastY = 0.001;

// What hashes of a cabinet are chained with.
constexpr quint64 ageNumber = 1;
constexpr quint64 moduleNumbers = 2;
constexpr quint64 pixelNumbers = 3;
/// And hashes of pixels, besides 2 * channel for the luminance and 2 * channel + 1 for the wavelength.
constexpr quint64 defectNumber = 6;

double factor(double spread, quint64 hash)
{
    return spread == 0.0 ? 1.0 : std::max(1.0 + spread * Numbers::normal(hash), 0.0);
}

double shift(double spread, quint64 hash)
{
    return spread == 0.0 ? 0.0 : spread * Numbers::normal(hash);
}

double valueAt(const uchar *values, int index)
{
    return qFromLittleEndian<quint16>(values + 2 * index);
}

} // namespace

CabinetLight::CabinetLight(const WallState &screen, const DeviceState &device, const Cabinet &cabinet,
                           const TestImage &image)
    : m_image(image),
      m_leds(device.description.leds.preset.isEmpty() ? Leds() : device.description.leds), m_primaries{m_leds.red,
                                                                                                       m_leds.green,
                                                                                                       m_leds.blue},
      m_size(cabinet.size), m_unit(device.description.coefficientUnit),
      m_batchAt(static_cast<std::size_t>(cabinet.size.width()))
{
    const auto state = device.cabinets.constFind(cabinet.id);
    // Two cabinets may have one id, and one may be too large for a plane.
    m_isDark = !device.plugged || state == device.cabinets.cend() || state->planes(Kind::Chroma).size() != m_size;
    if (m_isDark)
        return;

    m_hash = Numbers::chained(Numbers::chained(Numbers::chained(0, m_leds.seed), device.description.key), cabinet.id);
    m_pixelsHash = Numbers::chained(m_hash, pixelNumbers);
    const double age = Numbers::share(Numbers::chained(m_hash, ageNumber));
    const std::array<double, 3> oldest{m_leds.oldest.red, m_leds.oldest.green, m_leds.oldest.blue};
    for (std::size_t channel = 0; channel < oldest.size(); ++channel)
        m_ageing[channel] = 1.0 - age * (1.0 - oldest[channel]);

    m_batches.push_back(batch(QString(), QRect()));
    for (const ReceivingCard &card : cabinet.receivingCards) {
        for (const Module &module : card.modules)
            m_batches.push_back(batch(module.id, module.rect));
    }

    const EffectiveLevels levels(device, *state);
    for (const QRgb color : image.palette())
        m_drives.push_back(
            {levels.at(0, qRed(color)) / 255.0, levels.at(1, qGreen(color)) / 255.0, levels.at(2, qBlue(color)) / 255.0});
    m_chroma = values(screen, device, *state, Kind::Chroma);
    m_lowGray = values(screen, device, *state, Kind::LowGray);
}

CabinetLight::Batch CabinetLight::batch(const QString &moduleId, const QRect &rect) const
{
    const quint64 hash = Numbers::chained(Numbers::chained(m_hash, moduleNumbers), moduleId);
    Batch batch{rect.left(), rect.right(), rect.top(), rect.bottom(), {}, {}};
    for (std::size_t channel = 0; channel < m_primaries.size(); ++channel) {
        batch.luminance[channel] = m_primaries[channel].luminance * m_ageing[channel]
                                   * factor(m_leds.moduleLuminance, Numbers::chained(hash, 2 * channel));
        batch.shift[channel] = shift(m_leds.moduleWavelength, Numbers::chained(hash, 2 * channel + 1));
    }
    return batch;
}

CabinetLight::Values CabinetLight::values(const WallState &screen, const DeviceState &device, const CabinetState &cabinet,
                                          Kind kind) const
{
    const Planes &planes = cabinet.planes(kind);
    const Plane &plane = planes.stored(Store::Working);
    if (!plane.isEmpty())
        return {plane.bytes(), planes.bytesPerPixel()};
    return {Planes(QSize(1, 1), planes.bytesPerPixel()).bytes(Store::Working, screen.defaultPixel(kind, device.description)),
            0};
}

void CabinetLight::findBatches(int y)
{
    std::fill(m_batchAt.begin(), m_batchAt.end(), 0);
    for (std::size_t i = 1; i < m_batches.size(); ++i) {
        const Batch &batch = m_batches[i];
        if (y < batch.top || y > batch.bottom)
            continue;
        const int end = std::min(batch.right, m_size.width() - 1);
        for (int x = std::max(batch.left, 0); x <= end; ++x) {
            std::size_t &at = m_batchAt[static_cast<std::size_t>(x)];
            if (at == 0)
                at = i;
        }
    }
}

CabinetLight::Drives CabinetLight::corrected(const Drives &drives, qptrdiff pixel) const
{
    const bool isLow = std::max({drives[0], drives[1], drives[2]}) < m_leds.lowGrayBelow;
    const uchar *const matrix = (isLow ? m_lowGray : m_chroma).at(pixel);
    Drives result;
    for (int row = 0; row < 3; ++row) {
        const double sum = valueAt(matrix, 3 * row) * drives[0] + valueAt(matrix, 3 * row + 1) * drives[1]
                           + valueAt(matrix, 3 * row + 2) * drives[2];
        result[static_cast<std::size_t>(row)] = std::min(sum / m_unit, 1.0);
    }
    return result;
}

void CabinetLight::shine(quint64 hash, const Batch &batch, double seam, const Drives &drives, float *xyz) const
{
    std::array<double, 3> light{};
    for (std::size_t channel = 0; channel < drives.size(); ++channel) {
        if (drives[channel] == 0.0)
            continue;
        const Primary &primary = m_primaries[channel];
        const double luminance = batch.luminance[channel]
                                 * factor(m_leds.pixelLuminance, Numbers::chained(hash, 2 * channel)) * seam
                                 * drives[channel];
        const double nm = batch.shift[channel] + shift(m_leds.pixelWavelength, Numbers::chained(hash, 2 * channel + 1));
        const double x = std::min(std::max(primary.x + slopes[channel].x * nm, 0.0), 1.0);
        const double y = std::min(std::max(primary.y + slopes[channel].y * nm, leastY), 1.0);
        const double z = std::max(1.0 - x - y, 0.0);
        light[0] += luminance * x / y;
        light[1] += luminance;
        light[2] += luminance * z / y;
    }
    for (std::size_t i = 0; i < light.size(); ++i)
        xyz[i] = static_cast<float>(light[i]);
}

void CabinetLight::writeRow(int y, const QPoint &place, float *xyz)
{
    if (m_isDark) {
        std::fill_n(xyz, 3 * m_size.width(), 0.0F);
        return;
    }
    findBatches(y);
    const bool hasDefects = m_leds.deadPixels > 0.0 || m_leds.stuckPixels > 0.0;
    const auto seam = [&](int at, int end, int first, int last) {
        return at == 0 || at == end ? m_leds.cabinetSeam : at == first || at == last ? m_leds.moduleSeam : 1.0;
    };
    for (int x = 0; x < m_size.width(); ++x, xyz += 3) {
        const qptrdiff pixel = qptrdiff(y) * m_size.width() + x;
        const quint64 hash = Numbers::chained(m_pixelsHash, static_cast<quint64>(pixel));
        const double defect = hasDefects ? Numbers::share(Numbers::chained(hash, defectNumber)) : 1.0;
        const Drives &given = m_drives[static_cast<std::size_t>(m_image.colorAt(place.x() + x, place.y() + y))];
        Drives drives{};
        if (defect >= m_leds.deadPixels + m_leds.stuckPixels)
            drives = corrected(given, pixel);
        else if (defect >= m_leds.deadPixels)
            drives = {1.0, 1.0, 1.0};
        const Batch &batch = m_batches[m_batchAt[static_cast<std::size_t>(x)]];
        const bool isModule = m_batchAt[static_cast<std::size_t>(x)] > 0;
        const double columnSeam = seam(x, m_size.width() - 1, isModule ? batch.left : -1, isModule ? batch.right : -1);
        const double rowSeam = seam(y, m_size.height() - 1, isModule ? batch.top : -1, isModule ? batch.bottom : -1);
        shine(hash, batch, columnSeam * rowSeam, drives, xyz);
    }
}

} // namespace Simulator
