#include <calibration/Measurement.h>

#include "Logging.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Calibration {

Q_LOGGING_CATEGORY(log, "correction")

namespace {

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

/// 0 for a size that cannot be held.
int pixelsOf(const QSize &size)
{
    // Qt's containers hold less than 2 GiB, their header included.
    constexpr qint64 most = (std::numeric_limits<int>::max() - 64) / qint64(lightLength * sizeof(float));
    if (size.width() <= 0 || size.height() <= 0)
        return 0;
    const qint64 pixels = qint64(size.width()) * size.height();
    return pixels <= most ? static_cast<int>(pixels) : 0;
}

bool areFinite(const float *light)
{
    return std::all_of(light, light + lightLength, [](float value) { return std::isfinite(value); });
}

} // namespace

Measurement::Measurement(const QSize &size) : Measurement(size, QVector<float>(pixelsOf(size) * lightLength, unknown)) {}

Measurement::Measurement(const QSize &size, const QVector<float> &values)
{
    const int pixels = pixelsOf(size);
    if (pixels == 0 || values.size() != pixels * lightLength)
        return;
    m_size = size;
    m_values = values;
    m_states.fill(PixelState::Live, pixels);
}

void Measurement::setState(const QRect &rect, PixelState state)
{
    const QRect part = rect & QRect(QPoint(), m_size);
    for (int y = part.top(); y <= part.bottom(); ++y)
        std::fill_n(m_states.data() + indexOf(part.left(), y), part.width(), state);
}

int Measurement::count(PixelState state) const
{
    return static_cast<int>(std::count(m_states.cbegin(), m_states.cend(), state));
}

bool Measurement::isUsable(int x, int y) const
{
    return state(x, y) == PixelState::Live && areFinite(pixel(x, y));
}

int Measurement::markDead(double share)
{
    const auto isFinite = [this](int i) { return areFinite(m_values.constData() + qint64(i) * lightLength); };
    std::array<float, 3> least{};
    for (unsigned led = 0; led < least.size(); ++led) {
        QVector<float> luminances;
        luminances.reserve(m_states.size());
        for (int i = 0; i < m_states.size(); ++i) {
            if (m_states[i] == PixelState::Live && isFinite(i))
                luminances.append(m_values[i * lightLength + static_cast<int>(3 * led) + 1]);
        }
        if (luminances.isEmpty())
            break;
        auto *const middle = luminances.data() + luminances.size() / 2;
        std::nth_element(luminances.data(), middle, luminances.data() + luminances.size());
        least[led] = static_cast<float>(*middle * share);
    }

    int marked = 0;
    for (int i = 0; i < m_states.size(); ++i) {
        if (m_states[i] != PixelState::Live)
            continue;
        const float *const light = m_values.constData() + qint64(i) * lightLength;
        if (isFinite(i) && light[1] >= least[0] && light[4] >= least[1] && light[7] >= least[2])
            continue;
        m_states[i] = PixelState::Dead;
        ++marked;
    }
    return marked;
}

LightImage Measurement::shown(Input input) const
{
    LightImage image{m_size, QVector<float>(m_states.size() * 3, unknown)};
    float *to = image.xyz.data();
    const float *light = m_values.constData();
    for (const PixelState state : m_states) {
        if (state == PixelState::Live && areFinite(light)) {
            for (int i = 0; i < 3; ++i)
                to[i] =
                    input == Input::White ? light[i] + light[3 + i] + light[6 + i] : light[3 * static_cast<int>(input) + i];
        }
        to += 3;
        light += lightLength;
    }
    return image;
}

} // namespace Calibration
