#include "TestImage.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace Simulator {

namespace {

using Map = QMap<QString, QVariant>;

constexpr QRgb black = 0xff000000;
constexpr int dark = -1;

int number(const Map &map, const char *key)
{
    return map.value(QString::fromLatin1(key)).toInt();
}

QRgb color(const QVariant &value)
{
    const Map map = value.toMap();
    return qRgb(number(map, "r"), number(map, "g"), number(map, "b"));
}

/// An axis of `length` pixels on which `squareAt` returns the number of each pixel of the region, counted from its start.
template <typename SquareAt>
QVector<int> axis(int length, int regionStart, int regionLength, SquareAt squareAt)
{
    QVector<int> squares(length, dark);
    const qint64 end = std::min<qint64>(qint64(regionStart) + regionLength, length);
    for (int i = std::max(regionStart, 0); i < end; ++i)
        squares[i] = squareAt(qint64(i) - regionStart);
    return squares;
}

/// Lit blocks of `block` pixels from `first` on, with `interval` dark ones of the same size between two.
QVector<int> blocks(int length, int regionStart, int regionLength, int first, int block, int interval)
{
    const qint64 period = qint64(block) * (qint64(interval) + 1);
    return axis(length, regionStart, regionLength,
                [=](qint64 i) { return block > 0 && period > 0 && i >= first && (i - first) % period < block ? 0 : dark; });
}

/// Squares: the first, those of the ordinary size, the last; numbered modulo `colors`.
QVector<int> squares(int length, int regionStart, int regionLength, int first, int ordinary, int last, int colors)
{
    const qint64 lastStart = qint64(regionLength) - last;
    return axis(length, regionStart, regionLength, [=](qint64 i) {
        if (i < first)
            return 0;
        const qint64 between = std::max<qint64>(std::min(i, lastStart) - first, 0);
        const qint64 before = i < lastStart ? between / ordinary : (between + ordinary - 1) / ordinary;
        return static_cast<int>((1 + before) % colors);
    });
}

/// The greatest level of the smallest word of 8 or more bits that holds every entry of the tables.
int fullScale(const std::array<const QList<int> *, 3> &tables)
{
    int greatest = 0;
    for (const QList<int> *table : tables) {
        for (const int entry : *table)
            greatest = std::max(greatest, entry);
    }
    int scale = 255;
    while (scale < greatest)
        scale = scale * 2 + 1;
    return scale;
}

/// What a table makes of a level, 0 to 255: 255 times the entry, or the value between two.
double entryAt(const QList<int> &table, int level)
{
    const qint64 position = qint64(level) * (table.size() - 1);
    const int index = static_cast<int>(position / 255);
    const int beyond = static_cast<int>(position % 255);
    const double entry = std::max(table[index], 0);
    const double next = std::max(table[std::min(index + 1, table.size() - 1)], 0);
    return entry * (255 - beyond) + next * beyond;
}

} // namespace

TestImage::TestImage(const Pattern &pattern, const QSize &frame)
    : m_columns(frame.width(), dark), m_rows(frame.height(), dark), m_palette{black}
{
    switch (pattern.type) {
    case Pattern::Pixels:
        readPixels(pattern.request, frame);
        break;
    case Pattern::Checkers:
        readCheckers(pattern.request, frame);
        break;
    case Pattern::None:
    case Pattern::Clear:
        break;
    }
}

void TestImage::readPixels(const Map &request, const QSize &frame)
{
    const Map region = request.value(QStringLiteral("regionrect")).toMap();
    const Map block = request.value(QStringLiteral("singlerect")).toMap();
    m_columns = blocks(frame.width(), number(region, "x"), number(region, "width"), number(block, "x"),
                       number(block, "width"), number(request, "intervalX"));
    m_rows = blocks(frame.height(), number(region, "y"), number(region, "height"), number(block, "y"),
                    number(block, "height"), number(request, "intervalY"));
    m_palette += color(request.value(QStringLiteral("color")));
}

void TestImage::readCheckers(const Map &request, const QSize &frame)
{
    const Map region = request.value(QStringLiteral("regionRect")).toMap();
    const QList<QVariant> colors = request.value(QStringLiteral("regionColor")).toList();
    const int squareW = number(request, "squareW");
    const int squareH = number(request, "squareH");
    if (colors.isEmpty() || squareW <= 0 || squareH <= 0)
        return;
    m_columns = squares(frame.width(), number(region, "x"), number(region, "width"), number(request, "firstSquareW"),
                        squareW, number(request, "lastSquareColumnW"), colors.size());
    m_rows = squares(frame.height(), number(region, "y"), number(region, "height"), number(request, "firstSquareH"), squareH,
                     number(request, "lastSquareRowH"), colors.size());
    for (const QVariant &each : colors)
        m_palette += color(each);
}

void TestImage::draw(Canvas &canvas, const QPoint &place, const QRect &part, const Palette &palette) const
{
    // The colours twice over, so that the sum of two numbers needs no remainder.
    const QVector<QRgb> colors = palette.mid(1) + palette.mid(1);
    const int *const columns = m_columns.constData() + part.x();
    const QRgb *above = nullptr;
    for (int y = 0; y < part.height(); ++y) {
        QRgb *const line = canvas.row(place.y() + y) + place.x();
        const int row = m_rows[part.y() + y];
        if (above && row == m_rows[part.y() + y - 1]) {
            std::copy_n(above, part.width(), line);
        } else if (row == dark) {
            std::fill_n(line, part.width(), palette[0]);
        } else {
            const QRgb *const colorAt = colors.constData() + row;
            for (int x = 0; x < part.width(); ++x)
                line[x] = columns[x] == dark ? palette[0] : colorAt[columns[x]];
        }
        above = line;
    }
}

EffectiveLevels::EffectiveLevels(const DeviceState &device, const CabinetState &cabinet)
{
    for (std::size_t i = 0; i < m_tables.size(); ++i)
        m_tables[i] = cabinet.gamma[i].isEmpty() ? &device.settings.gamma[i] : &cabinet.gamma[i];
    m_scale = fullScale(m_tables);

    const int most = device.description.brightnessMax;
    const int least = std::min(std::max(device.description.brightnessMin, 0), most);
    m_brightness = most > 0 ? std::min(std::max(cabinet.brightness, least), most) : 1;
    m_full = static_cast<double>(m_scale) * (most > 0 ? most : 1);
}

double EffectiveLevels::at(std::size_t channel, int level) const
{
    const QList<int> &table = *m_tables[channel];
    const double light = table.isEmpty() ? static_cast<double>(level * m_scale) : entryAt(table, level);
    return light * m_brightness / m_full; // One division: halves come out exact.
}

TestImage::Palette lit(const TestImage::Palette &palette, const DeviceState &device, const CabinetState &cabinet)
{
    const EffectiveLevels levels(device, cabinet);
    const auto shown = [&](std::size_t channel, int level) {
        return static_cast<int>(std::floor(levels.at(channel, level) + 0.5));
    };
    TestImage::Palette result;
    result.reserve(palette.size());
    for (const QRgb each : palette)
        result += qRgb(shown(0, qRed(each)), shown(1, qGreen(each)), shown(2, qBlue(each)));
    return result;
}

} // namespace Simulator
