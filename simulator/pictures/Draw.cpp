#include "Draw.h"

#include "Canvas.h"
#include "Font.h"
#include "Parts.h"
#include "TestImage.h"

#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtGui/QColor>

#include <algorithm>
#include <array>
#include <vector>

namespace Simulator {

namespace {

constexpr QRgb black = 0xff000000;
constexpr QRgb white = 0xffffffff;
constexpr QRgb background = 0xff202020;
constexpr QRgb quiet = 0xffb0b0b0; ///< Text that comes second.

// Places

/// Where the pixels of a screen, which is not empty, lie in its map.
class Projection
{
public:
    Projection(const QRect &screen, int maxWidth) : m_screen(screen), m_size(screen.size())
    {
        if (maxWidth > 0 && maxWidth < screen.width()) {
            const qint64 height = (qint64(screen.height()) * maxWidth + screen.width() / 2) / screen.width();
            m_size = QSize(maxWidth, static_cast<int>(std::max<qint64>(height, 1)));
        }
    }

    const QRect &screen() const { return m_screen; }
    QSize size() const { return m_size; }
    int x(int screenX) const { return along(qint64(screenX) - m_screen.left(), m_size.width(), m_screen.width()); }
    int y(int screenY) const { return along(qint64(screenY) - m_screen.top(), m_size.height(), m_screen.height()); }
    /// Neighbours stay neighbours: both of them end where the pixel between them lies.
    QRect rect(const QRect &rect) const
    {
        const QPoint corner(x(rect.left()), y(rect.top()));
        return QRect(corner, QSize(x(rect.right() + 1) - corner.x(), y(rect.bottom() + 1) - corner.y()));
    }

private:
    static int along(qint64 distance, qint64 mapLength, qint64 length)
    {
        return static_cast<int>(distance * mapLength / length);
    }

    QRect m_screen;
    QSize m_size;
};

// Legends

constexpr int leastLegendWidth = 280;

/// The measures of a legend below a map.
struct Legend {
    int width;
    int scale;
    int margin;
    int lineHeight;

    /// For lines of up to `mostCharacters`: as large as suits the picture and lets them fit, if anything does.
    Legend(const QSize &map, int mostCharacters) : width(std::max(map.width(), leastLegendWidth))
    {
        const int suiting = width < 640 ? 1 : width < 2000 ? 2 : width < 3600 ? 3 : 4;
        const int fitting = width / ((mostCharacters + 2) * Font::advance);
        scale = std::max(std::min(suiting, fitting), 1);
        margin = Font::advance * scale;
        lineHeight = (Font::height + 3) * scale;
    }
    int innerWidth() const { return width - 2 * margin; }
    int right() const { return width - margin; }
};

QString sizeText(const QSize &size)
{
    return QStringLiteral("%1 x %2").arg(size.width()).arg(size.height());
}

QString counted(int count, const char *thing)
{
    return QStringLiteral("%1 %2%3").arg(count).arg(QLatin1String(thing), QLatin1String(count == 1 ? "" : "s"));
}

// Layout

/// Colours far apart from those of the neighbours in number.
QRgb deviceColor(int index)
{
    constexpr int firstHue = 211;
    constexpr int hueStep = 137; // The golden angle: hues repeat as late as possible.
    return QColor::fromHsv(static_cast<int>((firstHue + qint64(index) * hueStep) % 360), 175, index % 2 ? 125 : 150).rgb();
}

constexpr int labelPadding = 2; ///< Around a text, times its scale.
constexpr int labelHeight = Font::capHeight + 2 * labelPadding;

/// The place of a text in the middle of `rect`, as large as it fits, at most `greatestScale`. Null where it does not fit.
QRect centred(const QRect &rect, const QString &text, int greatestScale)
{
    const QSize unit(textWidth(text, 1) + 2 * labelPadding, labelHeight);
    const int scale = std::min({rect.width() / unit.width(), rect.height() / unit.height(), greatestScale});
    if (scale < 1 || text.isEmpty())
        return QRect();
    const QSize size = unit * scale;
    return QRect(rect.topLeft() + QPoint((rect.width() - size.width()) / 2, (rect.height() - size.height()) / 2), size);
}

/// The place of a text of scale 1 in a corner of `rect`. Null where it does not fit.
QRect corner(const QRect &rect, Qt::Corner corner, const QString &text)
{
    constexpr int distance = 3;
    QRect place(QPoint(0, 0), QSize(textWidth(text, 1) + 2 * labelPadding, labelHeight));
    const QRect inner = rect.adjusted(distance, distance, -distance, -distance);
    if (corner == Qt::TopLeftCorner)
        place.moveTopLeft(inner.topLeft());
    else
        place.moveBottomLeft(inner.bottomLeft());
    return inner.contains(place) ? place : QRect();
}

void drawCabinet(Canvas &canvas, const Projection &map, const Part &part, QRgb color)
{
    constexpr int smallestOutlined = 4;
    constexpr int smallestBrightlyOutlined = 24;
    constexpr int smallestCard = 16;
    constexpr int smallestModule = 8;
    constexpr int smallestWithNotes = 96;

    const QRect whole = map.rect(part.rect);
    canvas.fill(whole, color);
    if (std::min(whole.width(), whole.height()) < smallestOutlined)
        return;

    const auto placed = [&](const QRect &inCabinet) {
        return map.rect(inCabinet.translated(part.rect.topLeft()) & part.rect);
    };
    const auto largeEnough = [](const QRect &rect, int smallest) {
        return std::min(rect.width(), rect.height()) >= smallest;
    };

    const QRgb gapColor = blend(color, black, 75);
    const QRgb frameColor = blend(color, white, 90);
    const QRgb noteColor = blend(color, white, 150);

    // Texts are written after everything is drawn, and none over another.
    struct Label {
        QRect rect;
        QString text;
        QRgb color;
    };
    QVector<Label> labels;
    const auto add = [&](const QRect &rect, const QString &text, QRgb textColor) {
        const bool free =
            std::none_of(labels.cbegin(), labels.cend(), [&](const Label &label) { return label.rect.intersects(rect); });
        if (free && !rect.isEmpty())
            labels += {rect, text, textColor};
    };
    const bool large = largeEnough(whole, smallestWithNotes);
    const QRect idRect = centred(whole.adjusted(0, 0, -1, -1), part.cabinet->id, large ? 3 : 2);
    add(idRect, part.cabinet->id, white);

    bool anyCard = false;
    for (const ReceivingCard &card : part.cabinet->receivingCards) {
        const QRect cardRect = placed(card.rect).adjusted(1, 1, -2, -2);
        if (!largeEnough(cardRect, smallestCard))
            continue;
        anyCard = true;
        canvas.fill(cardRect, gapColor);
        canvas.outline(cardRect, frameColor);
        if (large)
            add(corner(cardRect, Qt::TopLeftCorner, QStringLiteral("card ") + card.id), QStringLiteral("card ") + card.id,
                noteColor);
        for (const Module &module : card.modules) {
            const QRect tile = placed(module.rect).adjusted(1, 1, -1, -1) & cardRect.adjusted(2, 2, -2, -2);
            if (!largeEnough(tile, smallestModule))
                continue;
            canvas.fill(tile, color);
            add(centred(tile, module.id, 1), module.id, noteColor);
        }
    }
    if (large) {
        const QString output = QStringLiteral("output ") + part.cabinet->outputId;
        add(corner(whole.adjusted(1, 1, -2, -2), Qt::BottomLeftCorner, output), output, noteColor);
    }
    // The line to the right and below is shared with the neighbours.
    const QRgb lineColor = largeEnough(whole, smallestBrightlyOutlined) ? white : blend(color, black, 140);
    canvas.fill(QRect(whole.right(), whole.top(), 1, whole.height()), lineColor);
    canvas.fill(QRect(whole.left(), whole.bottom(), whole.width(), 1), lineColor);

    if (anyCard)
        canvas.fill(idRect, gapColor);
    for (const Label &label : qAsConst(labels)) {
        const int scale = label.rect.height() / labelHeight;
        canvas.write(label.rect.topLeft() + QPoint(labelPadding, labelPadding) * scale, label.text, scale, label.color);
    }
}

/// The device's outputs in the order of its cabinets; numbers that follow each other as "1-4".
QString outputsText(const Device &device)
{
    constexpr int mostCharacters = 20;
    QStringList outputs;
    for (const SubScreen &subScreen : device.subScreens) {
        for (const Cabinet &cabinet : subScreen.cabinets)
            outputs += cabinet.outputId;
    }
    outputs.removeDuplicates();

    QStringList runs;
    for (int first = 0; first < outputs.size();) {
        int end = first + 1;
        while (end < outputs.size() && outputs[end] == QString::number(outputs[end - 1].toLongLong() + 1))
            ++end;
        runs += end - first == 1 ? outputs[first] : outputs[first] + u'-' + outputs[end - 1];
        first = end;
    }
    const QString text = runs.join(QStringLiteral(", "));
    if (text.size() > mostCharacters)
        return counted(outputs.size(), "output");
    return QLatin1String(outputs.size() == 1 ? "output " : "outputs ") + text;
}

QString deviceText(const Device &device, int cabinets)
{
    QString text = device.key;
    if (device.label != device.key && !device.label.isEmpty())
        text += QStringLiteral(" (%1)").arg(device.label);
    return text
           + QStringLiteral(": %1, %2, %3")
                 .arg(counted(cabinets, "cabinet"), sizeText(device.rect().size()), outputsText(device));
}

// Heat maps

/// The colour scale, from 0 (dark) to 255 (bright).
QRgb heat(int level)
{
    static constexpr std::array<QRgb, 5> stops{0xff0d0887, 0xff7e03a8, 0xffcc4778, 0xfff89540, 0xfff0f921};
    const int place = level * 4;
    const std::size_t stop = static_cast<std::size_t>(std::min(place / 255, 3));
    return blend(stops[stop], stops[stop + 1], place - static_cast<int>(stop) * 255);
}

int heatLevel(int value, const ValueRange &range)
{
    const int inside = std::min(std::max(value, range.least), range.greatest);
    return range.greatest > range.least
               ? static_cast<int>((qint64(inside) - range.least) * 255 / (qint64(range.greatest) - range.least))
               : 0;
}

int bytesPerValue(Kind kind)
{
    return kind == Kind::Multilayer ? 1 : 2;
}

bool hasChannel(const WallState &screen, Kind kind, int channel)
{
    return channel >= 0 && std::all_of(screen.devices.cbegin(), screen.devices.cend(), [&](const DeviceState &device) {
               return channel < (kind == Kind::Multilayer ? device.description.multilayerBytesPerPixel : valuesPerPixel);
           });
}

/// Calls `visit` with each part and a pointer to the first of its values at `channel`, low byte first, and the distance in
/// bytes from pixel to pixel.
template <typename Visit>
void eachPlane(const WallState &screen, const QVector<Part> &parts, Kind kind, int channel, Visit visit)
{
    for (const Part &part : parts) {
        const DeviceState &device = screen.devices[part.device];
        const auto cabinet = device.cabinets.constFind(part.cabinet->id);
        if (cabinet == device.cabinets.cend())
            continue;
        const Planes &planes = cabinet->planes(kind);
        // Two cabinets may have one id, and one may be too large for a plane.
        if (planes.size() != part.rect.size() || planes.bytesPerPixel() < (channel + 1) * bytesPerValue(kind))
            continue;
        const QByteArray bytes = planes.bytes(Store::Working, screen.defaultPixel(kind, device.description));
        visit(part, reinterpret_cast<const uchar *>(bytes.constData()) + qptrdiff(channel) * bytesPerValue(kind),
              planes.bytesPerPixel());
    }
}

int valueAt(const uchar *bytes, Kind kind)
{
    return kind == Kind::Multilayer ? bytes[0] : bytes[0] | bytes[1] << 8;
}

struct Statistics {
    ValueRange range;
    qint64 count = 0;
    qint64 sum = 0;

    void add(int value)
    {
        range.least = count == 0 ? value : std::min(range.least, value);
        range.greatest = count == 0 ? value : std::max(range.greatest, value);
        sum += value;
        ++count;
    }
};

/// The values that meet in the picture pixels of a map.
struct Sums {
    std::vector<quint64> sums;
    std::vector<quint32> counts;
    Statistics statistics;
};

Sums summedUp(const WallState &screen, const QVector<Part> &parts, const Projection &map, Kind kind, int channel)
{
    const std::size_t width = static_cast<std::size_t>(map.size().width());
    const std::size_t pixels = width * static_cast<std::size_t>(map.size().height());
    Sums result{std::vector<quint64>(pixels), std::vector<quint32>(pixels), {}};
    std::vector<std::size_t> columns;
    eachPlane(screen, parts, kind, channel, [&](const Part &part, const uchar *value, int step) {
        columns.clear();
        for (int x = part.rect.left(); x <= part.rect.right(); ++x)
            columns.push_back(static_cast<std::size_t>(map.x(x)));
        Statistics statistics = result.statistics;
        for (int y = part.rect.top(); y <= part.rect.bottom(); ++y) {
            const std::size_t row = static_cast<std::size_t>(map.y(y)) * width;
            for (const std::size_t column : columns) {
                const int number = valueAt(value, kind);
                value += step;
                result.sums[row + column] += static_cast<quint64>(number);
                ++result.counts[row + column];
                statistics.add(number);
            }
        }
        result.statistics = statistics;
    });
    return result;
}

QString channelText(Kind kind, int channel)
{
    static constexpr std::array<const char *, 3> colors{"red", "green", "blue"};
    const auto colorName = [](int index) { return QLatin1String(colors[static_cast<std::size_t>(index)]); };
    switch (kind) {
    case Kind::Multilayer:
        return QStringLiteral("Multilayer, byte %1").arg(channel);
    case Kind::LowGray:
        return QStringLiteral("Low gray, value %1").arg(channel);
    case Kind::Chroma:
        break;
    }
    const int output = channel / 3;
    const int input = channel % 3;
    const QString text = QStringLiteral("Chroma, value %1 ").arg(channel);
    if (input == output)
        return text + QStringLiteral("(%1)").arg(colorName(output));
    return text + QStringLiteral("(%1 into %2)").arg(colorName(input), colorName(output));
}

/// The colour scale with its ticks: numbers at even distances, as many as find room and differ.
void drawScale(Canvas &canvas, const Legend &legend, int top, const ValueRange &range)
{
    const int barHeight = 10 * legend.scale;
    const int tickHeight = 3 * legend.scale;
    const int width = legend.innerWidth();
    for (int x = 0; x < width; ++x)
        canvas.fill(QRect(legend.margin + x, top, 1, barHeight), heat(heatLevel(x, {0, width - 1})));

    const int gap = 4 * Font::advance * legend.scale;
    const int widest = std::max(textWidth(QString::number(range.least), legend.scale),
                                textWidth(QString::number(range.greatest), legend.scale));
    int steps = 8;
    while (steps > 1 && (qint64(range.greatest) - range.least < steps || (widest + gap) * (steps + 1) > width))
        steps /= 2;
    if (range.least == range.greatest)
        steps = 0;
    for (int i = 0; i <= steps; ++i) {
        const qint64 part = steps == 0 ? 0 : (qint64(range.greatest) - range.least) * i / steps;
        const QString text = QString::number(range.least + part);
        const int x = legend.margin + (steps == 0 ? 0 : (width - legend.scale) * i / steps);
        const int textX = std::min(std::max(x - (textWidth(text, legend.scale) - legend.scale) / 2, legend.margin),
                                   legend.right() - textWidth(text, legend.scale));
        canvas.fill(QRect(x, top + barHeight, legend.scale, tickHeight), white);
        canvas.write(QPoint(textX, top + barHeight + tickHeight + 2 * legend.scale), text, legend.scale, white);
    }
}

} // namespace

QImage drawLayout(const WallState &screen, int maxWidth)
{
    const QVector<Part> parts = partsOf(screen);
    if (parts.isEmpty())
        return QImage();
    const Projection map(unitedRect(parts), maxWidth);

    QVector<int> cabinets(screen.devices.size());
    for (const Part &part : parts)
        ++cabinets[part.device];
    const Device &first = screen.devices.first().description;
    const QString title = QStringLiteral("%1: %2 pixels, %3, %4")
                              .arg(first.useScreenName ? first.screenName : first.customName, sizeText(map.screen().size()),
                                   counted(screen.devices.size(), "device"), counted(parts.size(), "cabinet"));
    constexpr int indent = 2; // Characters, for the device's colour.
    constexpr int gap = 3;
    QStringList texts;
    int longest = 0;
    for (int i = 0; i < screen.devices.size(); ++i) {
        texts += deviceText(screen.devices[i].description, cabinets[i]);
        longest = std::max(longest, indent + texts.last().size());
    }
    const Legend legend(map.size(), std::max(longest, title.size()));

    // As many columns as the longest text allows.
    const int character = Font::advance * legend.scale;
    const int columns = std::max((legend.innerWidth() / character + gap) / (longest + gap), 1);
    const int lines = (texts.size() + columns - 1) / columns;
    const int columnWidth = columns == 1 ? legend.innerWidth() : longest * character;
    const int legendHeight = 2 * legend.margin + legend.lineHeight * lines + Font::height * legend.scale;

    Canvas canvas(QSize(legend.width, map.size().height() + legendHeight), background);
    if (canvas.isNull())
        return QImage();
    for (const Part &part : parts)
        drawCabinet(canvas, map, part, deviceColor(part.device));

    const QPoint corner(legend.margin, map.size().height() + legend.margin);
    canvas.write(corner, fitted(title, legend.scale, legend.innerWidth()), legend.scale, white);
    const QSize swatch(Font::capHeight * legend.scale, Font::capHeight * legend.scale);
    for (int i = 0; i < texts.size(); ++i) {
        const QPoint place =
            corner + QPoint(i / lines * (columnWidth + gap * character), (1 + i % lines) * legend.lineHeight);
        canvas.fill(QRect(place, swatch), deviceColor(i));
        const QString text = fitted(texts[i], legend.scale, columnWidth - indent * character);
        canvas.write(place + QPoint(indent * character, 0), text, legend.scale, quiet);
    }
    return canvas.image();
}

QImage drawCoefficients(const WallState &screen, Kind kind, int channel, ValueRange range, int maxWidth)
{
    const QVector<Part> parts = partsOf(screen);
    if (parts.isEmpty() || !hasChannel(screen, kind, channel))
        return QImage();
    const Projection map(unitedRect(parts), maxWidth);
    constexpr int mostCharacters = 52; // In the line of numbers.
    const Legend legend(map.size(), mostCharacters);
    const int legendHeight = 2 * legend.margin + 2 * legend.lineHeight + (10 + 3 + 2 + Font::capHeight) * legend.scale;
    Canvas canvas(QSize(legend.width, map.size().height() + legendHeight), background);
    if (canvas.isNull())
        return QImage();

    const Sums sums = summedUp(screen, parts, map, kind, channel);
    const Statistics &statistics = sums.statistics;
    const QPoint corner(legend.margin, map.size().height() + legend.margin);
    canvas.write(corner, fitted(channelText(kind, channel), legend.scale, legend.innerWidth()), legend.scale, white);
    if (statistics.count == 0)
        return canvas.image();
    if (range.isEmpty())
        range = statistics.range;

    std::vector<QRgb> colors(1 << (8 * bytesPerValue(kind)));
    for (std::size_t i = 0; i < colors.size(); ++i)
        colors[i] = heat(heatLevel(static_cast<int>(i), range));
    std::size_t i = 0;
    for (int y = 0; y < map.size().height(); ++y) {
        QRgb *const line = canvas.row(y);
        for (int x = 0; x < map.size().width(); ++x, ++i) {
            const quint32 count = sums.counts[i];
            if (count == 1)
                line[x] = colors[sums.sums[i]];
            else if (count > 1)
                line[x] = colors[(sums.sums[i] + count / 2) / count];
        }
    }

    const QString pixels = QStringLiteral("%1 pixels: %2 to %3, mean %4")
                               .arg(QString::number(statistics.count), QString::number(statistics.range.least),
                                    QString::number(statistics.range.greatest),
                                    QString::number(double(statistics.sum) / double(statistics.count), 'f', 1));
    canvas.write(corner + QPoint(0, legend.lineHeight), fitted(pixels, legend.scale, legend.innerWidth()), legend.scale,
                 quiet);
    drawScale(canvas, legend, corner.y() + 2 * legend.lineHeight, range);
    return canvas.image();
}

ValueRange rangeOfCoefficients(const WallState &screen, Kind kind, int channel)
{
    Statistics statistics;
    if (hasChannel(screen, kind, channel)) {
        eachPlane(screen, partsOf(screen), kind, channel, [&](const Part &part, const uchar *value, int step) {
            const qint64 pixels = qint64(part.rect.width()) * part.rect.height();
            for (qint64 i = 0; i < pixels; ++i, value += step)
                statistics.add(valueAt(value, kind));
        });
    }
    return statistics.range;
}

QImage drawPatterns(const WallState &screen, Light light)
{
    const QVector<Part> parts = partsOf(screen);
    const QRect whole = unitedRect(parts);
    Canvas canvas(whole.size(), black);
    for (int i = 0; i < screen.devices.size() && !canvas.isNull(); ++i) {
        const DeviceState &device = screen.devices[i];
        const QRect frame = device.description.rect();
        const TestImage image(device.pattern, frame.size());
        for (const Part &part : parts) {
            if (part.device != i)
                continue;
            const auto cabinet = device.cabinets.constFind(part.cabinet->id);
            const bool own = light == Light::Effective && cabinet != device.cabinets.cend();
            image.draw(canvas, part.rect.topLeft() - whole.topLeft(), part.rect.translated(-frame.topLeft()),
                       own ? lit(image.palette(), device, *cabinet) : image.palette());
        }
    }
    return canvas.image();
}

} // namespace Simulator
