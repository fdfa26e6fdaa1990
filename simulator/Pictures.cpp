#include "Pictures.h"

#include "WallStore.h"

#include <QtCore/QVector>

#include <algorithm>
#include <array>
#include <limits>

namespace Simulator {

namespace {

constexpr QRgb black = 0xff000000;
constexpr QRgb white = 0xffffffff;
constexpr QRgb noCabinet = 0xff202020;

/// A picture of the screen; null when there is nothing to show or it is too large.
QImage canvas(const QRect &screen, QRgb background, const QSize &leastSize = QSize(0, 0), int legendHeight = 0)
{
    if (screen.isEmpty())
        return QImage();
    QImage image(screen.size().expandedTo(leastSize) + QSize(0, legendHeight), QImage::Format_RGB32);
    if (!image.isNull())
        image.fill(background);
    return image;
}

QRect screenRect(const QList<Device> &devices)
{
    QRect united;
    for (const Device &device : devices)
        united |= device.rect();
    return united;
}

void fill(QImage &image, const QRect &rect, QRgb color)
{
    const QRect part = rect & image.rect();
    for (int y = part.top(); y <= part.bottom(); ++y) {
        auto *const line = reinterpret_cast<QRgb *>(image.scanLine(y));
        std::fill(line + part.left(), line + part.right() + 1, color);
    }
}

/// Calls `visit` with each cabinet of a device and its rectangle, in picture coordinates; cabinets of no size are left
/// out.
template <typename Visit>
void eachCabinet(const Device &device, const QRect &screen, Visit visit)
{
    const QRect picture(QPoint(0, 0), screen.size());
    for (const SubScreen &subScreen : device.subScreens) {
        for (const Cabinet &cabinet : subScreen.cabinets) {
            const QPoint place = device.screenPosition + subScreen.position + cabinet.position - screen.topLeft();
            const QRect rect(place, cabinet.size);
            if (!rect.isEmpty() && picture.contains(rect))
                visit(cabinet, rect);
        }
    }
}

// Numbers

constexpr int glyphWidth = 5;
constexpr int glyphHeight = 7;
constexpr int glyphStep = glyphWidth + 1;

using Glyph = std::array<quint8, glyphHeight>;

/// The rows of a digit, five bits each; a minus sign for every other character.
const Glyph &glyph(QChar character)
{
    static constexpr std::array<Glyph, 10> digits{{{0x0e, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0e},
                                                   {0x04, 0x0c, 0x04, 0x04, 0x04, 0x04, 0x0e},
                                                   {0x0e, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1f},
                                                   {0x1f, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0e},
                                                   {0x02, 0x06, 0x0a, 0x12, 0x1f, 0x02, 0x02},
                                                   {0x1f, 0x10, 0x1e, 0x01, 0x01, 0x11, 0x0e},
                                                   {0x06, 0x08, 0x10, 0x1e, 0x11, 0x11, 0x0e},
                                                   {0x1f, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08},
                                                   {0x0e, 0x11, 0x11, 0x0e, 0x11, 0x11, 0x0e},
                                                   {0x0e, 0x11, 0x11, 0x0f, 0x01, 0x02, 0x0c}}};
    static constexpr Glyph other{0x00, 0x00, 0x00, 0x1f, 0x00, 0x00, 0x00};
    const ushort digit = static_cast<ushort>(character.unicode() - '0');
    return digit < digits.size() ? digits[digit] : other;
}

int textWidth(const QString &text, int scale)
{
    return (text.size() * glyphStep - 1) * scale;
}

void drawText(QImage &image, const QPoint &place, const QString &text, int scale, QRgb color)
{
    for (int i = 0; i < text.size(); ++i) {
        const Glyph &rows = glyph(text[i]);
        for (int y = 0; y < glyphHeight; ++y) {
            for (int x = 0; x < glyphWidth; ++x) {
                const QPoint dot(i * glyphStep + x, y);
                if (rows[static_cast<std::size_t>(y)] >> (glyphWidth - 1 - x) & 1)
                    fill(image, QRect(place + dot * scale, QSize(scale, scale)), color);
            }
        }
    }
}

// Colours

QRgb deviceColor(int index)
{
    static constexpr std::array<QRgb, 8> colors{0xff1f5f9f, 0xff9f4f1f, 0xff2f7f3f, 0xff8f2f6f,
                                                0xff6f6f1f, 0xff5f3f9f, 0xff1f7f7f, 0xff9f2f2f};
    return colors[static_cast<std::size_t>(index) % colors.size()];
}

/// The colour scale, from 0 (dark) to 255 (bright).
QRgb heat(int level)
{
    struct Stop {
        int red, green, blue;
    };
    static constexpr std::array<Stop, 5> stops{
        {{13, 8, 135}, {126, 3, 168}, {204, 71, 120}, {248, 149, 64}, {240, 249, 33}}};
    const int place = level * 4;
    const std::size_t stop = static_cast<std::size_t>(std::min(place / 255, 3));
    const int part = place - static_cast<int>(stop) * 255;
    const auto mix = [part](int from, int to) { return from + (to - from) * part / 255; };
    const Stop &from = stops[stop];
    const Stop &to = stops[stop + 1];
    return qRgb(mix(from.red, to.red), mix(from.green, to.green), mix(from.blue, to.blue));
}

int heatLevel(int value, int least, int greatest)
{
    return greatest > least ? static_cast<int>(qint64(value - least) * 255 / (greatest - least)) : 0;
}

// Patterns

using Map = QMap<QString, QVariant>;

int number(const Map &map, const char *key)
{
    return map.value(QString::fromLatin1(key)).toInt();
}

QRgb color(const QVariant &value)
{
    const Map map = value.toMap();
    return qRgb(number(map, "r"), number(map, "g"), number(map, "b"));
}

constexpr int dark = -1;

/// A test image as a device draws it: the square at column c and row r has colour number (c + r) mod N.
struct Drawing {
    QVector<int> columns; ///< The square's column for each pixel column of the device's frame, or `dark`.
    QVector<int> rows;
    QVector<QRgb> colors;

    QRgb at(int x, int y) const
    {
        const int column = columns[x];
        const int row = rows[y];
        return column == dark || row == dark ? black : colors[(column + row) % colors.size()];
    }
};

/// An axis of `length` pixels on which `squareAt` tells the square for each pixel of the region, counted from its
/// start.
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

/// Squares: the first, those of the ordinary size, the last.
QVector<int> squares(int length, int regionStart, int regionLength, int first, int ordinary, int last)
{
    const qint64 lastStart = qint64(regionLength) - last;
    return axis(length, regionStart, regionLength, [=](qint64 i) {
        if (i < first)
            return 0;
        const qint64 between = std::max<qint64>(std::min(i, lastStart) - first, 0);
        const qint64 before = i < lastStart ? between / ordinary : (between + ordinary - 1) / ordinary;
        return static_cast<int>(1 + before);
    });
}

Drawing drawing(const Pattern &pattern, const QSize &frame)
{
    const Map &request = pattern.request;
    Drawing result{QVector<int>(frame.width(), dark), QVector<int>(frame.height(), dark), {}};
    if (pattern.type == Pattern::Pixels) {
        const Map region = request.value(QStringLiteral("regionrect")).toMap();
        const Map block = request.value(QStringLiteral("singlerect")).toMap();
        result.columns = blocks(frame.width(), number(region, "x"), number(region, "width"), number(block, "x"),
                                number(block, "width"), number(request, "intervalX"));
        result.rows = blocks(frame.height(), number(region, "y"), number(region, "height"), number(block, "y"),
                             number(block, "height"), number(request, "intervalY"));
        result.colors += color(request.value(QStringLiteral("color")));
    } else if (pattern.type == Pattern::Checkers) {
        const Map region = request.value(QStringLiteral("regionRect")).toMap();
        result.columns =
            squares(frame.width(), number(region, "x"), number(region, "width"), number(request, "firstSquareW"),
                    number(request, "squareW"), number(request, "lastSquareColumnW"));
        result.rows = squares(frame.height(), number(region, "y"), number(region, "height"), number(request, "firstSquareH"),
                              number(request, "squareH"), number(request, "lastSquareRowH"));
        const QList<QVariant> colors = request.value(QStringLiteral("regionColor")).toList();
        for (const QVariant &each : colors)
            result.colors += color(each);
    }
    return result;
}

} // namespace

QList<Device> devicesOf(const QList<Device> &devices, const QString &screenId)
{
    QList<Device> result;
    for (const Device &device : devices) {
        if (device.screenId == screenId)
            result += device;
    }
    return result;
}

QImage drawLayout(const QList<Device> &devices)
{
    const QRect screen = screenRect(devices);
    QImage image = canvas(screen, noCabinet);
    for (int i = 0; i < devices.size() && !image.isNull(); ++i) {
        eachCabinet(devices[i], screen, [&](const Cabinet &cabinet, const QRect &rect) {
            fill(image, rect, white);
            fill(image, rect.adjusted(0, 0, -1, -1), deviceColor(i));
            const int scale =
                std::min({(rect.width() - 3) / std::max(textWidth(cabinet.id, 1), 1), (rect.height() - 3) / glyphHeight, 3});
            if (scale > 0) {
                const QSize size(textWidth(cabinet.id, scale), glyphHeight * scale);
                const QPoint place((rect.width() - size.width()) / 2, (rect.height() - size.height()) / 2);
                drawText(image, rect.topLeft() + place, cabinet.id, scale, white);
            }
        });
    }
    return image;
}

QImage drawCoefficients(const QList<Device> &devices, Kind kind, int channel,
                        const std::function<QByteArray(const Device &, const Cabinet &)> &plane)
{
    constexpr int leastWidth = 96;
    constexpr int margin = 4;
    constexpr int barHeight = 8;
    constexpr int legendHeight = margin + barHeight + margin + glyphHeight + margin;

    /// The values of a cabinet at `channel`.
    struct Part {
        QRect rect;
        QVector<int> values;
    };
    const QRect screen = screenRect(devices);
    QVector<Part> parts;
    int least = std::numeric_limits<int>::max();
    int greatest = std::numeric_limits<int>::min();
    for (const Device &device : devices) {
        const int valueSize = kind == Kind::Multilayer ? 1 : 2;
        const int pixelSize = kind == Kind::Multilayer ? device.multilayerBytesPerPixel : valueSize * valuesPerPixel;
        if (channel < 0 || channel >= pixelSize / valueSize)
            return QImage();
        eachCabinet(device, screen, [&](const Cabinet &cabinet, const QRect &rect) {
            const QByteArray bytes = plane(device, cabinet);
            Part part{rect, {}};
            for (int i = channel * valueSize; i < bytes.size(); i += pixelSize) {
                const int high = valueSize == 2 ? static_cast<uchar>(bytes[i + 1]) : 0;
                const int value = static_cast<uchar>(bytes[i]) | high << 8;
                least = std::min(least, value);
                greatest = std::max(greatest, value);
                part.values += value;
            }
            if (part.values.size() == rect.width() * rect.height()) // Otherwise the cabinet has changed meanwhile.
                parts += part;
        });
    }

    QImage image = canvas(screen, noCabinet, QSize(leastWidth, 0), legendHeight);
    if (image.isNull() || parts.isEmpty())
        return image;
    for (const Part &part : qAsConst(parts)) {
        for (int y = 0; y < part.rect.height(); ++y) {
            auto *const line = reinterpret_cast<QRgb *>(image.scanLine(part.rect.y() + y));
            for (int x = 0; x < part.rect.width(); ++x) {
                const int value = part.values[y * part.rect.width() + x];
                line[part.rect.x() + x] = heat(heatLevel(value, least, greatest));
            }
        }
    }

    const int barWidth = image.width() - 2 * margin;
    const int barTop = image.height() - legendHeight + margin;
    for (int x = 0; x < barWidth; ++x)
        fill(image, QRect(margin + x, barTop, 1, barHeight), heat(heatLevel(x, 0, barWidth - 1)));
    const int textTop = barTop + barHeight + margin;
    const QString greatestText = QString::number(greatest);
    drawText(image, QPoint(margin, textTop), QString::number(least), 1, white);
    drawText(image, QPoint(margin + barWidth - textWidth(greatestText, 1), textTop), greatestText, 1, white);
    return image;
}

QImage drawPatterns(const QList<Device> &devices, const std::function<Pattern(const Device &)> &pattern)
{
    const QRect screen = screenRect(devices);
    QImage image = canvas(screen, black);
    for (int i = 0; i < devices.size() && !image.isNull(); ++i) {
        const QRect frame = devices[i].rect();
        const QPoint corner = frame.topLeft() - screen.topLeft();
        const Drawing shown = drawing(pattern(devices[i]), frame.size());
        eachCabinet(devices[i], screen, [&](const Cabinet &, const QRect &rect) {
            for (int y = rect.top(); y <= rect.bottom(); ++y) {
                auto *const line = reinterpret_cast<QRgb *>(image.scanLine(y));
                for (int x = rect.left(); x <= rect.right(); ++x)
                    line[x] = shown.at(x - corner.x(), y - corner.y());
            }
        });
    }
    return image;
}

} // namespace Simulator
