#include <calibration/Plan.h>

#include "Logging.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Calibration {
namespace {

constexpr int mostInterval = 31;

QColor colorOf(Led led)
{
    return QColor(led == Led::Red ? 255 : 0, led == Led::Green ? 255 : 0, led == Led::Blue ? 255 : 0);
}

/// A homography as plain numbers.
struct Homography {
    explicit Homography(const QTransform &t)
        : m{t.m11(), t.m21(), t.m31(), t.m12(), t.m22(), t.m32(), t.m13(), t.m23(), t.m33()}
    {
    }

    double scaleAt(double x, double y) const { return m[6] * x + m[7] * y + m[8]; }
    QPointF map(double x, double y) const
    {
        const double scale = scaleAt(x, y);
        return QPointF((m[0] * x + m[1] * y + m[2]) / scale, (m[3] * x + m[4] * y + m[5]) / scale);
    }

    std::array<double, 9> m;
};

/// A photo between its photosites' centres.
class Sampler
{
public:
    explicit Sampler(const LightImage &photo)
        : m_width(photo.size.width()), m_height(photo.size.height()), m_xyz(photo.xyz.constData())
    {
    }

    /// Whether a point is between photosites' centres.
    bool holds(const QPointF &at) const
    {
        constexpr double border = 0.5 - 1e-6;
        return at.x() >= border && at.y() >= border && at.x() <= m_width - border && at.y() <= m_height - border;
    }

    /// Adds the light at a point of the photo.
    void addTo(std::array<double, 3> &sum, const QPointF &at) const
    {
        const double x = std::min(std::max(at.x() - 0.5, 0.0), m_width - 1.0);
        const double y = std::min(std::max(at.y() - 0.5, 0.0), m_height - 1.0);
        const int left = static_cast<int>(x);
        const int top = static_cast<int>(y);
        const qint64 right = left + 1 < m_width ? 3 : 0;
        const qint64 below = top + 1 < m_height ? 3 * qint64(m_width) : 0;
        const double dx = x - left;
        const double dy = y - top;
        const float *const at00 = m_xyz + 3 * (qint64(top) * m_width + left);
        for (unsigned i = 0; i < sum.size(); ++i) {
            const float *const from = at00 + i;
            sum[i] += (1 - dy) * ((1 - dx) * from[0] + dx * from[right])
                      + dy * ((1 - dx) * from[below] + dx * from[below + right]);
        }
    }

private:
    int m_width;
    int m_height;
    const float *m_xyz;
};

} // namespace

Plan::Plan(const QRect &screen, int interval) : m_screen(screen), m_interval(interval)
{
    if (screen.isEmpty() || interval < 0 || interval > mostInterval)
        return;
    for (const Led led : {Led::Red, Led::Green, Led::Blue}) {
        for (int y = 0; y <= interval && y < screen.height(); ++y) {
            for (int x = 0; x <= interval && x < screen.width(); ++x) {
                Shot shot{led, QPoint(x, y), Correction::DrawingParameter()};
                shot.image.screenPartRect = screen.adjusted(x, y, 0, 0);
                shot.image.pixelBlockInRect = QRect(0, 0, 1, 1);
                shot.image.color = colorOf(led);
                shot.image.pixelBlockIntervalX = interval;
                shot.image.pixelBlockIntervalY = interval;
                m_shots.append(shot);
            }
        }
    }
}

int Plan::intervalFor(double spread, double leak)
{
    if (!(spread > 0))
        return 0;
    int interval = 0;
    while (interval < mostInterval && std::erfc((interval + 1) / (2 * std::sqrt(2.0) * spread)) > leak)
        ++interval;
    return interval;
}

bool Plan::isLit(const Shot &shot, const QPoint &pixel) const
{
    const QPoint from = pixel - shot.phase;
    const int period = m_interval + 1;
    return QRect(QPoint(), m_screen.size()).contains(pixel) && from.x() >= 0 && from.y() >= 0 && from.x() % period == 0
           && from.y() % period == 0;
}

Correction::EnumErrorCode Plan::check(int shot, const LightImage &photo, const Measurement &measurement) const
{
    QString error;
    if (shot < 0 || shot >= m_shots.size())
        error = QStringLiteral("there is no shot %1; the plan has %2").arg(shot).arg(m_shots.size());
    else if (!photo.isValid())
        error = QStringLiteral("the photo has not three values for each of its points");
    else if (measurement.size() != m_screen.size())
        error = QStringLiteral("the measurement has another size than the screen");
    if (error.isEmpty())
        return Correction::enSuccess;
    qCCritical(log, "Plan::takeApart: %s", qPrintable(error));
    return Correction::enOutOfRange;
}

Correction::EnumErrorCode Plan::takeApart(int shot, const LightImage &photo, Measurement &measurement) const
{
    const auto checked = check(shot, photo, measurement);
    if (checked != Correction::enSuccess)
        return checked;
    if (photo.size != m_screen.size()) {
        qCCritical(log, "Plan::takeApart: the photo has another size than the screen, and no homography is given");
        return Correction::enOutOfRange;
    }
    const Shot &from = m_shots[shot];
    for (int y = from.phase.y(); y < m_screen.height(); y += m_interval + 1) {
        for (int x = from.phase.x(); x < m_screen.width(); x += m_interval + 1) {
            const float *const xyz = photo.xyz.constData() + (qint64(y) * photo.size.width() + x) * 3;
            std::copy_n(xyz, 3, measurement.pixel(x, y) + 3 * static_cast<int>(from.led));
        }
    }
    return Correction::enSuccess;
}

Correction::EnumErrorCode Plan::takeApart(int shot, const LightImage &photo, const QTransform &toPhoto,
                                          Measurement &measurement) const
{
    const auto checked = check(shot, photo, measurement);
    if (checked != Correction::enSuccess)
        return checked;

    const int period = m_interval + 1;
    const Homography homography(toPhoto);
    // Squares at the border reach half a period beyond the screen.
    const QRectF reached = QRectF(QPointF(), QSizeF(m_screen.size())).adjusted(-period, -period, period, period);
    double greatest = 0; // photosites for a pixel, along an axis
    bool isUsable = toPhoto.isInvertible();
    const double sign = homography.scaleAt(0, 0) > 0 ? 1 : -1;
    for (const QPointF &corner : {reached.topLeft(), reached.topRight(), reached.bottomLeft(), reached.bottomRight()}) {
        // Negated comparisons: NaN is not usable either.
        isUsable = isUsable && !(homography.scaleAt(corner.x(), corner.y()) * sign <= 1e-9)
                   && std::isfinite(homography.scaleAt(corner.x(), corner.y()));
        if (!isUsable)
            break;
        const QPointF at = homography.map(corner.x(), corner.y());
        for (const QPointF &step : {QPointF(1, 0), QPointF(0, 1)}) {
            const QPointF moved = homography.map(corner.x() + step.x(), corner.y() + step.y()) - at;
            const double length = std::hypot(moved.x(), moved.y());
            isUsable = isUsable && std::isfinite(length);
            greatest = std::max(greatest, length);
        }
    }
    if (!isUsable) {
        qCCritical(log, "Plan::takeApart: the homography has no inverse, or maps a part of the screen to infinity");
        return Correction::enInvalidParameter;
    }

    // Points at most half a photosite apart, at the middles of equal parts of the square. With wider steps their beat with
    // the photosites of a tilted view is visible in the sums.
    constexpr double mostPoints = 1024;
    const int points = static_cast<int>(std::min(std::max(std::ceil(2 * greatest * period - 1e-6), 1.0), mostPoints));
    const double step = double(period) / points;
    const Sampler sampler(photo);
    const Shot &from = m_shots[shot];
    for (int row = from.phase.y(); row < m_screen.height(); row += period) {
        for (int column = from.phase.x(); column < m_screen.width(); column += period) {
            std::array<double, 3> sum{};
            const auto inPhoto = [&](double dx, double dy) { return homography.map(column + 0.5 + dx, row + 0.5 + dy); };
            bool isSeen = sampler.holds(inPhoto(0, 0));
            for (int j = 0; isSeen && j < points; ++j) {
                const double dy = (j + 0.5) * step - 0.5 * period;
                for (int i = 0; isSeen && i < points; ++i) {
                    const double dx = (i + 0.5) * step - 0.5 * period;
                    QPointF at = inPhoto(dx, dy);
                    for (const QPointF &opposite : {QPointF(-dx, dy), QPointF(dx, -dy), QPointF(-dx, -dy)}) {
                        if (sampler.holds(at))
                            break;
                        at = inPhoto(opposite.x(), opposite.y());
                    }
                    isSeen = sampler.holds(at); // not on a photo smaller than a pixel
                    if (isSeen)
                        sampler.addTo(sum, at);
                }
            }
            float *const light = measurement.pixel(column, row) + 3 * static_cast<int>(from.led);
            for (unsigned i = 0; i < sum.size(); ++i)
                light[i] = isSeen ? static_cast<float>(sum[i] * step * step) : std::numeric_limits<float>::quiet_NaN();
        }
    }
    return Correction::enSuccess;
}

} // namespace Calibration
