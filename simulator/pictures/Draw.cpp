#include "Draw.h"

#include "Canvas.h"
#include "Font.h"
#include "HeatMap.h"
#include "Legend.h"
#include "Parts.h"
#include "Projection.h"
#include "TestImage.h"

#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtGui/QColor>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace Simulator {

namespace {

constexpr QRgb black = 0xff000000;
// Places

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
    const QString id = Font::drawable(part.cabinet->id);
    const QRect idRect = centred(whole.adjusted(0, 0, -1, -1), id, large ? 3 : 2);
    add(idRect, id, white);

    bool anyCard = false;
    for (const ReceivingCard &card : part.cabinet->receivingCards) {
        const QRect cardRect = placed(card.rect).adjusted(1, 1, -2, -2);
        if (!largeEnough(cardRect, smallestCard))
            continue;
        anyCard = true;
        canvas.fill(cardRect, gapColor);
        canvas.outline(cardRect, frameColor);
        if (large) {
            const QString text = QStringLiteral("card ") + Font::drawable(card.id);
            add(corner(cardRect, Qt::TopLeftCorner, text), text, noteColor);
        }
        for (const Module &module : card.modules) {
            const QRect tile = placed(module.rect).adjusted(1, 1, -1, -1) & cardRect.adjusted(2, 2, -2, -2);
            if (!largeEnough(tile, smallestModule))
                continue;
            canvas.fill(tile, color);
            const QString text = Font::drawable(module.id);
            add(centred(tile, text, 1), text, noteColor);
        }
    }
    if (large) {
        const QString output = QStringLiteral("output ") + Font::drawable(part.cabinet->outputId);
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
            outputs += Font::drawable(cabinet.outputId);
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
    QString text = Font::drawable(device.key);
    if (device.label != device.key && !device.label.isEmpty())
        text += QStringLiteral(" (%1)").arg(Font::drawable(device.label));
    return text
           + QStringLiteral(": %1, %2, %3")
                 .arg(counted(cabinets, "cabinet"), sizeText(device.rect().size()), outputsText(device));
}

// Heat maps

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

} // namespace

QImage drawLayout(const WallState &screen, int maxWidth)
{
    const QVector<Part> parts = partsOf(screen);
    if (parts.isEmpty())
        return QImage();
    const Projection map(unitedRect(parts), maxWidth, parts.first().rect.width());

    QVector<int> cabinets(screen.devices.size());
    for (const Part &part : parts)
        ++cabinets[part.device];
    const Device &first = screen.devices.first().description;
    const QString title =
        QStringLiteral("%1: %2 pixels, %3, %4")
            .arg(Font::drawable(first.useScreenName ? first.screenName : first.customName), sizeText(map.screen().size()),
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
    for (int i = 0; i < map.strips(); ++i) {
        const QRect strip = map.strip(i);
        canvas.enter(QRect(map.place(i), strip.size()), map.place(i) - strip.topLeft());
        for (const Part &part : parts) {
            if (map.rect(part.rect).intersects(strip))
                drawCabinet(canvas, map, part, deviceColor(part.device));
        }
    }
    canvas.leave();
    captionStrips(canvas, map);

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
    HeatMap map(Projection(unitedRect(parts), maxWidth, parts.first().rect.width()), channelText(kind, channel));
    if (map.isNull())
        return QImage();
    eachPlane(screen, parts, kind, channel, [&](const Part &part, const uchar *value, int step) {
        map.add(part.rect, [&value, kind, step] { return valueAt(std::exchange(value, value + step), kind); });
    });
    return map.drawn(range);
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
        const TestImage image(device.plugged ? device.pattern : Pattern(), frame.size());
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
