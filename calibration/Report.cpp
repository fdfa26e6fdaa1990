#include <calibration/Report.h>

#include "Logging.h"

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Calibration {
namespace {

cmsCIELab labOf(const Target::Xyz &xyz, const Target::Xyz &white)
{
    const cmsCIEXYZ colour{xyz.x, xyz.y, xyz.z};
    const cmsCIEXYZ reference{white.x, white.y, white.z};
    cmsCIELab lab;
    cmsXYZ2Lab(&reference, &lab, &colour);
    return lab;
}

/// Colour differences to what a target shows for an input.
class Difference
{
public:
    Difference(const Target &target, Input input)
        : m_white(target.xyz(Input::White)), m_wanted(labOf(target.xyz(input), m_white))
    {
    }

    double of(const float *xyz) const
    {
        const cmsCIELab lab = labOf({double(xyz[0]), double(xyz[1]), double(xyz[2])}, m_white);
        return cmsCIE2000DeltaE(&m_wanted, &lab, 1, 1, 1);
    }

private:
    Target::Xyz m_white;
    cmsCIELab m_wanted;
};

bool isKnown(const float *xyz)
{
    return std::isfinite(xyz[0]) && std::isfinite(xyz[1]) && std::isfinite(xyz[2]);
}

/// The value below which this share of the values is. The values are reordered.
double quantile(QVector<float> &values, double share)
{
    float *const at = values.data() + static_cast<int>(std::ceil(share * (values.size() - 1)));
    std::nth_element(values.data(), at, values.data() + values.size());
    return double(*at);
}

/// Contrasts of the seams of one direction.
class SeamContrasts
{
public:
    SeamContrasts(const LightImage &shown, bool isColumn) : m_shown(shown), m_isColumn(isColumn) {}

    void measure(const QVector<int> &lines, const QVector<int> &crossing)
    {
        const int lineCount = m_isColumn ? m_shown.size.width() : m_shown.size.height();
        const int length = m_isColumn ? m_shown.size.height() : m_shown.size.width();
        int last = 0;
        for (int i = 0; i < lines.size(); ++i) {
            const int seam = lines[i];
            const int next = std::min(i + 1 < lines.size() ? lines[i + 1] : lineCount, lineCount);
            if (seam <= last || seam >= next)
                continue;
            int begin = 0;
            for (int j = 0; j <= crossing.size(); ++j) {
                const int end = std::min(j < crossing.size() ? crossing[j] : length, length);
                if (end > begin)
                    measureStretch(seam, last, next, begin, end);
                begin = std::max(begin, end);
            }
            last = seam;
        }
    }

    QVector<double> contrasts;

private:
    void measureStretch(int seam, int first, int next, int begin, int end)
    {
        constexpr int beyond = 4;
        const std::array<double, 4> means{meanOf(seam - 1, seam, begin, end), meanOf(seam, seam + 1, begin, end),
                                          meanOf(std::max(seam - 1 - beyond, first), seam - 1, begin, end),
                                          meanOf(seam + 1, std::min(seam + 1 + beyond, next), begin, end)};
        double least = std::numeric_limits<double>::max();
        double greatest = 0;
        double sum = 0;
        int count = 0;
        for (const double mean : means) {
            if (std::isnan(mean)) // a part of one line, or without light that is known
                continue;
            least = std::min(least, mean);
            greatest = std::max(greatest, mean);
            sum += mean;
            ++count;
        }
        if (count > 1 && sum > 0)
            contrasts.append((greatest - least) / (sum / count));
    }

    double meanOf(int first, int last, int begin, int end) const
    {
        double sum = 0;
        int count = 0;
        for (int line = first; line < last; ++line) {
            for (int i = begin; i < end; ++i) {
                const int x = m_isColumn ? line : i;
                const int y = m_isColumn ? i : line;
                const float *const xyz = m_shown.xyz.constData() + (qint64(y) * m_shown.size.width() + x) * 3;
                if (isKnown(xyz)) {
                    sum += double(xyz[1]);
                    ++count;
                }
            }
        }
        return count > 0 ? sum / count : std::numeric_limits<double>::quiet_NaN();
    }

    const LightImage &m_shown;
    bool m_isColumn;
};

/// From blue at -1 through white to red at 1.
QRgb heat(double value)
{
    const int rest = static_cast<int>(std::lround(255 * (1 - std::min(std::abs(value), 1.0))));
    return value < 0 ? qRgb(rest, rest, 255) : qRgb(255, rest, rest);
}

template <class ValueOf>
QImage mapOf(const LightImage &shown, ValueOf valueOf)
{
    QImage image(shown.size, QImage::Format_RGB32);
    if (image.isNull())
        return image;
    const float *xyz = shown.xyz.constData();
    for (int y = 0; y < image.height(); ++y) {
        auto *const line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x, xyz += 3)
            line[x] = isKnown(xyz) ? heat(valueOf(xyz)) : qRgb(0, 0, 0);
    }
    return image;
}

} // namespace

double ciede2000(const Lab &one, const Lab &other)
{
    const cmsCIELab first{one.l, one.a, one.b};
    const cmsCIELab second{other.l, other.a, other.b};
    return cmsCIE2000DeltaE(&first, &second, 1, 1, 1);
}

Report reportOf(const LightImage &shown, const Target &target, Input input, const Seams &seams)
{
    Report report;
    if (!shown.isValid() || !target.isValid()) {
        qCCritical(log, "reportOf: %s",
                   shown.isValid() ? "the target's colours are not finite, or not independent of each other"
                                   : "there are not three values for each point");
        return report;
    }

    const Difference difference(target, input);
    QVector<float> differences;
    differences.reserve(shown.xyz.size() / 3);
    double sum = 0;
    double squares = 0; // about the first luminance, so that nothing is lost
    double first = 0;
    for (const float *xyz = shown.xyz.constBegin(); xyz != shown.xyz.constEnd(); xyz += 3) {
        if (!isKnown(xyz))
            continue;
        const auto luminance = double(xyz[1]);
        if (differences.isEmpty()) {
            first = luminance;
            report.luminanceLeast = luminance;
            report.luminanceGreatest = luminance;
        }
        sum += luminance - first;
        squares += (luminance - first) * (luminance - first);
        report.luminanceLeast = std::min(report.luminanceLeast, luminance);
        report.luminanceGreatest = std::max(report.luminanceGreatest, luminance);
        differences.append(static_cast<float>(difference.of(xyz)));
    }
    report.pixels = differences.size();
    if (differences.isEmpty())
        return report;
    const double shift = sum / report.pixels;
    report.luminanceMean = first + shift;
    const double deviation = std::sqrt(std::max(squares / report.pixels - shift * shift, 0.0));
    report.luminanceDeviation = report.luminanceMean > 0 ? deviation / report.luminanceMean : 0;
    report.differenceMedian = quantile(differences, 0.5);
    report.difference95 = quantile(differences, 0.95);
    report.differenceWorst = quantile(differences, 1);

    SeamContrasts columns(shown, true);
    columns.measure(seams.columns, seams.rows);
    SeamContrasts rows(shown, false);
    rows.measure(seams.rows, seams.columns);
    const QVector<double> contrasts = columns.contrasts + rows.contrasts;
    for (const double contrast : contrasts) {
        report.seamMean += contrast / contrasts.size();
        report.seamWorst = std::max(report.seamWorst, contrast);
    }
    return report;
}

QImage luminanceMap(const LightImage &shown, double luminance, double range)
{
    if (!shown.isValid() || !(luminance > 0) || !(range > 0))
        return QImage();
    return mapOf(shown, [=](const float *xyz) { return (double(xyz[1]) / luminance - 1) / range; });
}

QImage differenceMap(const LightImage &shown, const Target &target, Input input, double greatest)
{
    if (!shown.isValid() || !target.isValid() || !(greatest > 0))
        return QImage();
    const Difference difference(target, input);
    return mapOf(shown, [&](const float *xyz) { return difference.of(xyz) / greatest; });
}

} // namespace Calibration
