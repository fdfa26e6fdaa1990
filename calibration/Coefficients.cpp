#include <calibration/Coefficients.h>

#include "Logging.h"
#include "Solve.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Calibration {
namespace {

constexpr int greatestValue = 65535;

/// `enSuccess`, or the code and its line.
Correction::EnumErrorCode check(const char *function, const Measurement &measurement, Correction::IChromaCoefficient &grid,
                                int unit)
{
    if (measurement.isEmpty() || grid.getPixelCol() != measurement.size().width()
        || grid.getPixelRow() != measurement.size().height()) {
        qCCritical(log, "%s: the measurement has %d x %d pixels, the grid %d x %d", function, measurement.size().width(),
                   measurement.size().height(), grid.getPixelCol(), grid.getPixelRow());
        return Correction::enOutOfRange;
    }
    if (unit < 1 || unit > greatestValue) {
        qCCritical(log, "%s: a unit of %d is outside 1 to %d", function, unit, greatestValue);
        return Correction::enInvalidParameter;
    }
    return Correction::enSuccess;
}

/// The grid's values, out of the grid, so that they can be overwritten in place.
QVector<unsigned short> takeValues(Correction::IChromaCoefficient &grid, const QSize &size)
{
    QVector<unsigned short> values = grid.getCoefficient();
    QVector<unsigned short> none;
    grid.setPixelCol(0);
    grid.setPixelRow(0);
    grid.setCoefficient(none);
    grid.setPixelCol(size.width());
    grid.setPixelRow(size.height());
    return values;
}

/// Multiplies the light of an LED in the lines beside a seam by factors that fade from `factor` at the seam to 1.
class Feathering
{
public:
    Feathering(Measurement &measurement, bool isColumn) : m_measurement(measurement), m_isColumn(isColumn) {}

    /// `seam` is the first line behind the seam, which has `width` lines on both sides; it runs from `begin` to `end`.
    void close(int seam, int width, int begin, int end)
    {
        for (int led = 0; led < 3; ++led) {
            const double before = meanOf(led, seam - width, seam, begin, end);
            const double behind = meanOf(led, seam, seam + width, begin, end);
            if (!(before > 0) || !(behind > 0))
                continue;
            const double step = std::log(behind / before) / 2;
            for (int distance = 0; distance < width; ++distance) {
                const double part = step * (1 - (distance + 0.5) / width);
                multiply(led, seam - 1 - distance, begin, end, std::exp(part));
                multiply(led, seam + distance, begin, end, std::exp(-part));
            }
        }
    }

private:
    QPoint at(int line, int along) const { return m_isColumn ? QPoint(line, along) : QPoint(along, line); }

    double meanOf(int led, int firstLine, int lastLine, int begin, int end) const
    {
        double sum = 0;
        int count = 0;
        for (int line = firstLine; line < lastLine; ++line) {
            for (int i = begin; i < end; ++i) {
                const QPoint pixel = at(line, i);
                if (!m_measurement.isUsable(pixel.x(), pixel.y()))
                    continue;
                sum += double(std::as_const(m_measurement).pixel(pixel.x(), pixel.y())[3 * led + 1]);
                ++count;
            }
        }
        return count > 0 ? sum / count : 0;
    }

    void multiply(int led, int line, int begin, int end, double factor)
    {
        for (int i = begin; i < end; ++i) {
            const QPoint pixel = at(line, i);
            float *const light = m_measurement.pixel(pixel.x(), pixel.y()) + 3 * led;
            for (int value = 0; value < 3; ++value)
                light[value] = static_cast<float>(double(light[value]) * factor);
        }
    }

    Measurement &m_measurement;
    bool m_isColumn;
};

} // namespace

Correction::EnumErrorCode calculate(const Measurement &measurement, const Target &target,
                                    Correction::IChromaCoefficient &grid, int unit, Summary *summary)
{
    const auto checked = check("calculate", measurement, grid, unit);
    if (checked != Correction::enSuccess)
        return checked;
    if (!target.isValid()) {
        qCCritical(log, "calculate: the target's colours are not finite, or not independent of each other");
        return Correction::enInvalidParameter;
    }

    std::array<double, lightLength> scaled{};
    for (unsigned i = 0; i < scaled.size(); ++i)
        scaled[i] = target.light[i] * unit;
    const QSize size = measurement.size();
    const int pixels = measurement.states().size();
    QVector<unsigned short> values = takeValues(grid, size);
    if (values.size() != pixels * lightLength || !values.isDetached())
        values = QVector<unsigned short>(pixels * lightLength);
    Summary found;
    solve(measurement.values().constData(), measurement.states().constData(), pixels, scaled.data(), unit, values.data(),
          found);
    if (summary)
        *summary = found;
    return grid.setCoefficient(values);
}

Measurement predicted(const Measurement &measurement, Correction::IChromaCoefficient &grid, int unit)
{
    const QVector<unsigned short> values = grid.getCoefficient();
    if (check("predicted", measurement, grid, unit) != Correction::enSuccess)
        return Measurement();
    if (values.size() != measurement.values().size()) {
        qCCritical(log, "predicted: the grid has not nine values for each of its pixels");
        return Measurement();
    }
    Measurement shown = measurement;
    const float *from = measurement.values().constData();
    const unsigned short *value = values.constData();
    float *to = shown.pixel(0, 0);
    for (int i = 0; i < measurement.states().size(); ++i) {
        for (int input = 0; input < 3; ++input) {
            double sum[3] = {};
            for (int led = 0; led < 3; ++led) {
                const double drive = std::min(double(value[3 * led + input]) / unit, 1.0);
                for (int j = 0; j < 3; ++j)
                    sum[j] += drive * double(from[3 * led + j]);
            }
            for (int j = 0; j < 3; ++j)
                to[3 * input + j] = static_cast<float>(sum[j]);
        }
        from += lightLength;
        to += lightLength;
        value += lightLength;
    }
    return shown;
}

Measurement feathered(const Measurement &measurement, const Seams &seams, int width)
{
    Measurement result = measurement;
    const auto closeAll = [&](const QVector<int> &lines, int lineCount, const QVector<int> &crossing, int length,
                              bool isColumn) {
        Feathering feathering(result, isColumn);
        int last = 0;
        for (int i = 0; i < lines.size(); ++i) {
            const int seam = lines[i];
            const int next = std::min(i + 1 < lines.size() ? lines[i + 1] : lineCount, lineCount);
            const int room = std::min({width, seam - last, next - seam});
            last = std::max(seam, last);
            if (room <= 0)
                continue;
            int begin = 0;
            for (int j = 0; j <= crossing.size(); ++j) {
                const int end = std::min(j < crossing.size() ? crossing[j] : length, length);
                if (end > begin)
                    feathering.close(seam, room, begin, end);
                begin = std::max(begin, end);
            }
        }
    };
    const QSize size = measurement.size();
    closeAll(seams.columns, size.width(), seams.rows, size.height(), true);
    closeAll(seams.rows, size.height(), seams.columns, size.width(), false);
    return result;
}

} // namespace Calibration
