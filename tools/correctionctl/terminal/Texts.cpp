#include "Texts.h"

#include <QtCore/QRegularExpression>

#include <limits>

namespace Ctl {

namespace {

const QLatin1String kindNames[] = {QLatin1String("chroma"), QLatin1String("multilayer"), QLatin1String("lowgray")};

std::optional<int> toInt(const QString &digits)
{
    bool good = false;
    const int number = digits.toInt(&good, 10);
    return good ? std::optional<int>(number) : std::nullopt;
}

} // namespace

std::optional<qint64> parseNumber(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\A-?[0-9]+\\z"));
    bool good = false;
    const qint64 number = text.toLongLong(&good, 10);
    return good && form.match(text).hasMatch() ? std::optional<qint64>(number) : std::nullopt;
}

std::optional<QRect> parseRect(const QString &text)
{
    static const QRegularExpression form(QStringLiteral("\\A(-?[0-9]+),(-?[0-9]+),([0-9]+)x([0-9]+)\\z"));
    const auto match = form.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const auto x = toInt(match.captured(1));
    const auto y = toInt(match.captured(2));
    const auto width = toInt(match.captured(3));
    const auto height = toInt(match.captured(4));
    if (!x || !y || !width || !height || *width == 0 || *height == 0)
        return std::nullopt;
    constexpr qint64 greatest = std::numeric_limits<int>::max();
    if (qint64(*x) + *width - 1 > greatest || qint64(*y) + *height - 1 > greatest)
        return std::nullopt;
    return QRect(*x, *y, *width, *height);
}

std::optional<QSize> parseSize(const QString &text)
{
    const auto rect = parseRect(QStringLiteral("0,0,") + text);
    return rect ? std::optional<QSize>(rect->size()) : std::nullopt;
}

std::optional<QColor> parseColor(const QString &text)
{
    const QColor color(text);
    return color.isValid() && color.alpha() == 255 ? std::optional<QColor>(color) : std::nullopt;
}

std::optional<Correction::EnumCoefficientType> parseKind(const QString &text)
{
    for (int kind = 0; kind < 3; ++kind) {
        if (text == kindNames[kind])
            return Correction::EnumCoefficientType(kind);
    }
    return std::nullopt;
}

QString rectText(const QRect &rect)
{
    return QStringLiteral("%1,%2,%3x%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height());
}

QString sizeText(const QSize &size)
{
    return QStringLiteral("%1x%2").arg(size.width()).arg(size.height());
}

QString kindText(int kind)
{
    return kind >= 0 && kind < 3 ? QString(kindNames[kind]) : QString::number(kind);
}

QString counted(qint64 number, const char *thing)
{
    return QStringLiteral("%1 %2%3").arg(QString::number(number), QLatin1String(thing),
                                         QLatin1String(number == 1 ? "" : "s"));
}

QString bytesText(double bytes)
{
    const char *const units[] = {"B", "kB", "MB", "GB"};
    int unit = 0;
    for (; bytes >= 1000 && unit < 3; ++unit)
        bytes /= 1000;
    return QStringLiteral("%1 %2").arg(bytes, 0, 'f', unit == 0 ? 0 : 1).arg(QLatin1String(units[unit]));
}

QString printable(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (const QChar character : text) {
        const ushort code = character.unicode();
        if (character == QLatin1Char('\n'))
            result += QStringLiteral("\\n");
        else if (character.category() == QChar::Other_Control)
            result += QStringLiteral("\\x%1").arg(code, 2, 16, QLatin1Char('0'));
        else if ((code >= 0x200e && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e)
                 || (code >= 0x2066 && code <= 0x2069))
            result += QStringLiteral("\\u%1").arg(code, 4, 16, QLatin1Char('0'));
        else
            result += character;
    }
    return result;
}

QString complaint(const Parameter &parameter, const QString &text)
{
    const auto expected = [&text](const QString &what) { return QStringLiteral("expected %1, got \"%2\"").arg(what, text); };
    switch (parameter.value) {
    case Value::Number: {
        const auto number = parseNumber(text);
        if (!number || *number < parameter.least || *number > parameter.greatest)
            return expected(QStringLiteral("a number from %1 to %2").arg(parameter.least).arg(parameter.greatest));
        return {};
    }
    case Value::Cabinet:
        if (const auto number = parseNumber(text); !number || *number < 0)
            return expected(QStringLiteral("a cabinet id, a decimal number"));
        return {};
    case Value::OnOff:
    case Value::Kind:
    case Value::Choice:
        if (!parameter.choiceList().contains(text))
            return expected(parameter.choiceList().join(QStringLiteral(" or ")));
        return {};
    case Value::Rect:
        if (text != QLatin1String("all") && !parseRect(text))
            return expected(QStringLiteral("a rectangle X,Y,WxH in pixels, or all"));
        return {};
    case Value::Size:
        if (!parseSize(text))
            return expected(QStringLiteral("a size WxH in pixels"));
        return {};
    case Value::Color:
        if (!parseColor(text))
            return expected(QStringLiteral("a colour as #RRGGBB or by name"));
        return {};
    case Value::Pair:
        if (text.indexOf(QLatin1Char('=')) < 1)
            return expected(QStringLiteral("NAME=VALUE"));
        return {};
    case Value::Layer: {
        const auto value = parseNumber(text.section(QLatin1Char(':'), 0, 0));
        const auto bits =
            parseNumber(text.contains(QLatin1Char(':')) ? text.section(QLatin1Char(':'), 1) : QStringLiteral("0"));
        constexpr qint64 greatest = std::numeric_limits<quint32>::max();
        if (!value || *value < 0 || *value > greatest || !bits || *bits < 0 || *bits > 255)
            return expected(QStringLiteral("a layer as VALUE or VALUE:BITS, bits from 0 to 255"));
        return {};
    }
    case Value::Counts: {
        static const QRegularExpression form(
            QStringLiteral("\\A(devices|cabinets)=[0-9]{1,9}(,(?!\\1)(devices|cabinets)=[0-9]{1,9})?\\z"));
        if (!form.match(text).hasMatch())
            return expected(QStringLiteral("devices=N,cabinets=N, or one of them"));
        return {};
    }
    case Value::Screen:
    case Value::Device:
    case Value::File:
    case Value::Directory:
        return text.isEmpty() ? QStringLiteral("expected a text that is not empty") : QString();
    case Value::None:
    case Value::Text:
        break;
    }
    return {};
}

} // namespace Ctl
