#include "Sensor.h"

#include "Numbers.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Simulator {

namespace {

constexpr int mostPhotosites = 32;
constexpr double greatestBlur = 16.0;
constexpr int mostBits = 24;
constexpr qint64 mostOfPhoto = qint64(1) << 27;

double determinant(const Homography &h)
{
    return h[0] * (h[4] * h[8] - h[5] * h[7]) - h[1] * (h[3] * h[8] - h[5] * h[6]) + h[2] * (h[3] * h[7] - h[4] * h[6]);
}

bool isPossible(const Camera &camera)
{
    const auto isIn = [](double value, double most) { return value >= 0.0 && value <= most; };
    return camera.photosites > 0 && camera.photosites <= mostPhotosites && isIn(camera.blur, greatestBlur)
           && std::isfinite(camera.fullScale) && camera.fullScale > 0.0 && isIn(camera.shotNoise, 1.0)
           && isIn(camera.readNoise, 1.0) && camera.bits >= 0 && camera.bits <= mostBits
           && std::all_of(camera.view.cbegin(), camera.view.cend(), [](double each) { return std::isfinite(each); })
           && std::isnormal(determinant(camera.view));
}

Homography inverse(const Homography &h)
{
    const double d = determinant(h);
    return {{(h[4] * h[8] - h[5] * h[7]) / d, (h[2] * h[7] - h[1] * h[8]) / d, (h[1] * h[5] - h[2] * h[4]) / d,
             (h[5] * h[6] - h[3] * h[8]) / d, (h[0] * h[8] - h[2] * h[6]) / d, (h[2] * h[3] - h[0] * h[5]) / d,
             (h[3] * h[7] - h[4] * h[6]) / d, (h[1] * h[6] - h[0] * h[7]) / d, (h[0] * h[4] - h[1] * h[3]) / d}};
}

/// How much of the light of the pixels around a place falls there, along one axis. A pixel shines evenly from its whole
/// width, so the weights of all pixels add up to 1 everywhere.
class Weights
{
public:
    explicit Weights(double blur) : m_blur(blur), m_reach(static_cast<int>(std::ceil(4.0 * blur))), m_weights(taps()) {}

    std::size_t taps() const { return 2 * static_cast<std::size_t>(m_reach) + 1; }
    /// The pixel that the first weight belongs to.
    int first() const { return m_first; }
    const std::vector<double> &weights() const { return m_weights; }
    /// `place` must be near the screen.
    void moveTo(double place)
    {
        if (place == m_place)
            return;
        m_place = place;
        m_first = static_cast<int>(std::floor(place)) - m_reach;
        if (m_blur == 0.0) {
            m_weights[0] = 1.0;
            return;
        }
        const double unit = m_blur * std::sqrt(2.0);
        double before = std::erf((m_first - place) / unit);
        for (std::size_t i = 0; i < m_weights.size(); ++i) {
            const double after = std::erf((m_first + static_cast<int>(i) + 1 - place) / unit);
            m_weights[i] = (after - before) / 2.0;
            before = after;
        }
    }

private:
    double m_blur;
    int m_reach;
    int m_first = 0;
    double m_place = std::numeric_limits<double>::quiet_NaN();
    std::vector<double> m_weights;
};

/// The values of a photosite.
class Response
{
public:
    explicit Response(const Camera &camera)
        : m_camera(camera), m_hash(Numbers::chained(0, camera.seed)), m_levels((1 << camera.bits) - 1)
    {
    }
    float value(double light, std::size_t number) const
    {
        double share = light / m_camera.fullScale;
        if (m_camera.shotNoise > 0.0 || m_camera.readNoise > 0.0) {
            const double variance =
                m_camera.shotNoise * m_camera.shotNoise * share + m_camera.readNoise * m_camera.readNoise;
            share += std::sqrt(variance) * Numbers::normal(Numbers::chained(m_hash, number));
        }
        share = std::min(std::max(share, 0.0), 1.0);
        if (m_camera.bits > 0)
            share = std::floor(share * m_levels + 0.5) / m_levels;
        return static_cast<float>(share * m_camera.fullScale);
    }

private:
    const Camera &m_camera;
    quint64 m_hash;
    double m_levels;
};

} // namespace

Photo sensed(const QSize &screen, const std::vector<float> &light, const Camera &camera)
{
    Photo photo;
    const qint64 sites = camera.photosites;
    if (!isPossible(camera) || screen.width() * sites * (screen.height() * sites) > mostOfPhoto)
        return photo;
    photo.size = screen * camera.photosites;
    for (std::size_t i = 0; i < 9; ++i)
        photo.homography[i] = i < 6 ? camera.view[i] * camera.photosites : camera.view[i];
    const Homography back = inverse(photo.homography);
    const Homography &there = photo.homography;

    const std::size_t width = static_cast<std::size_t>(photo.size.width());
    photo.xyz.resize(3 * width * static_cast<std::size_t>(photo.size.height()));
    const Response response(camera);
    std::vector<Weights> columns(width, Weights(camera.blur)); // Of the last row: a straight view needs them once.
    Weights rows(camera.blur);
    const double margin = 4.0 * camera.blur + 1.0;

    std::size_t number = 0;
    for (int row = 0; row < photo.size.height(); ++row) {
        for (std::size_t column = 0; column < width; ++column) {
            const double u = static_cast<double>(column) + 0.5;
            const double v = row + 0.5;
            const double w = back[6] * u + back[7] * v + back[8];
            const double x = (back[0] * u + back[1] * v + back[2]) / w;
            const double y = (back[3] * u + back[4] * v + back[5]) / w;
            std::array<double, 3> sum{};
            // False for NaN as well.
            const bool isNear = x > -margin && x < screen.width() + margin && y > -margin && y < screen.height() + margin
                                && there[6] * x + there[7] * y + there[8] > 0.0;
            if (isNear) {
                Weights &across = columns[column];
                across.moveTo(x);
                rows.moveTo(y);
                const int begin = std::max(across.first(), 0);
                const int end = std::min(across.first() + static_cast<int>(across.taps()), screen.width());
                for (std::size_t j = 0; j < rows.taps(); ++j) {
                    const int lightRow = rows.first() + static_cast<int>(j);
                    if (lightRow < 0 || lightRow >= screen.height())
                        continue;
                    const double rowWeight = rows.weights()[j];
                    const float *const line =
                        light.data() + 3 * static_cast<std::size_t>(lightRow) * static_cast<std::size_t>(screen.width());
                    for (int i = begin; i < end; ++i) {
                        const double weight = rowWeight * across.weights()[static_cast<std::size_t>(i - across.first())];
                        for (std::size_t k = 0; k < 3; ++k)
                            sum[k] += weight * static_cast<double>(line[3 * static_cast<std::size_t>(i) + k]);
                    }
                }
            }
            for (std::size_t k = 0; k < 3; ++k, ++number)
                photo.xyz[number] = response.value(sum[k], number);
        }
    }
    return photo;
}

} // namespace Simulator
