#include <simulator/WallFile.h>

#include "CabinetGrid.h"
#include "device/Planes.h"
#include "faults/Personalities.h"
#include "files/DiskFiles.h"
#include "json/JsonReader.h"
#include "json/JsonText.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QMap>
#include <QtCore/QSaveFile>
#include <QtCore/QSet>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <algorithm>
#include <cctype>
#include <limits>
#include <map>
#include <optional>
#include <type_traits>
#include <utility>

namespace Simulator {

namespace {

constexpr int version = 1;
constexpr qint64 largestFile = 1LL << 30;
constexpr int largestInt = std::numeric_limits<int>::max();

/// A reader with what the entries of a wall need to know of each other.
struct Reader : JsonReader {
    using JsonReader::JsonReader;
    int gridsTotal = 0;          ///< Cabinets that came from grids, in the whole wall.
    QMap<int, int> gridCabinets; ///< Those of the present device's sub-screens, by sub-screen.
};

// The contents of a wall file are laid down once, by tables: a Table names an object's entries, a rule says how the value of
// an entry is read and written. Rules that make a member from one value take the member, rules that need more take the
// whole owner.

/// The table of the objects that hold a T.
template <typename T>
struct Table;

/// Stands for the owner itself in place of one of its members.
struct Whole {
};

/// When an entry must be there (and is always written).
constexpr auto never = [](const auto &) { return false; };
constexpr auto always = [](const auto &) { return true; };

template <typename T, typename TableOfT = Table<T>>
void readObject(Reader &reader, const QJsonValue &value, T &target);
template <typename T, typename TableOfT = Table<T>>
QByteArray writeObject(const T &value, int depth);

// Rules

struct Text {
    bool mayBeEmpty = true;

    void read(Reader &reader, const QJsonValue &value, QString &text) const
    {
        if (!value.isString() || (!mayBeEmpty && value.toString().isEmpty()))
            return reader.expected(what(), value);
        text = value.toString();
    }
    QByteArray write(const QString &text, int) const { return JsonText::text(text); }
    QString what() const { return mayBeEmpty ? QStringLiteral("a text") : QStringLiteral("a text that is not empty"); }
};

/// A cabinet's id.
struct DecimalText {
    void read(Reader &reader, const QJsonValue &value, QString &text) const
    {
        const QString digits = value.toString();
        const bool isDecimal = std::all_of(digits.cbegin(), digits.cend(),
                                           [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); });
        bool isNumber = false;
        digits.toULongLong(&isNumber);
        if (!isDecimal || !isNumber)
            return reader.expected(what(), value);
        text = digits;
    }
    QByteArray write(const QString &text, int) const { return JsonText::text(text); }
    QString what() const { return QStringLiteral("a text that is a decimal number below 2^64"); }
};

struct OneOf {
    const char *kind;
    QStringList names;

    void read(Reader &reader, const QJsonValue &value, QString &text) const
    {
        if (!value.isString() || !names.contains(value.toString()))
            return reader.expected(what(), value);
        text = value.toString();
    }
    QByteArray write(const QString &text, int) const { return JsonText::text(text); }
    QString what() const { return QStringLiteral("%1 (%2)").arg(QLatin1String(kind), names.join(QLatin1String(", "))); }
};

template <typename Enum>
struct Enumeration {
    QVector<std::pair<const char *, Enum>> names;

    void read(Reader &reader, const QJsonValue &value, Enum &target) const
    {
        for (const auto &name : names) {
            if (value.isString() && value.toString() == QLatin1String(name.first)) {
                target = name.second;
                return;
            }
        }
        reader.expected(what(), value);
    }
    QByteArray write(Enum value, int) const
    {
        for (const auto &name : names) {
            if (name.second == value)
                return JsonText::text(QLatin1String(name.first));
        }
        return QByteArray::number(static_cast<int>(value)); // which reading refuses
    }
    QString what() const
    {
        QStringList list;
        for (const auto &name : names)
            list += QLatin1String(name.first);
        return QStringLiteral("one of ") + list.join(QLatin1String(", "));
    }
};

struct Bool {
    void read(Reader &reader, const QJsonValue &value, bool &target) const
    {
        if (!value.isBool())
            return reader.expected(what(), value);
        target = value.toBool();
    }
    QByteArray write(bool value, int) const { return value ? "true" : "false"; }
    QString what() const { return QStringLiteral("true or false"); }
};

struct Integer {
    qint64 least;
    qint64 most;

    template <typename Number>
    void read(Reader &reader, const QJsonValue &value, Number &target) const
    {
        const QVariant number = value.toVariant(); // a QJsonValue itself gives integers as double only
        const qint64 integer = number.toLongLong();
        const bool isInteger = value.isDouble() && number.userType() == QMetaType::LongLong;
        if (!isInteger || integer < least)
            return reader.expected(what(), value);
        if (integer > most)
            return reader.expected(QStringLiteral("an integer of at most %1").arg(most), value);
        target = static_cast<Number>(integer);
    }
    template <typename Number>
    QByteArray write(Number value, int) const
    {
        return QByteArray::number(value);
    }
    QString what() const
    {
        if (least == 1)
            return QStringLiteral("a positive integer");
        return least == 0 ? QStringLiteral("an integer that is not negative")
                          : QStringLiteral("an integer of at least %1").arg(least);
    }
};

/// From 0 to 1.
struct Share {
    void read(Reader &reader, const QJsonValue &value, double &target) const
    {
        if (!value.isDouble() || value.toDouble() < 0 || value.toDouble() > 1)
            return reader.expected(what(), value);
        target = value.toDouble();
    }
    QByteArray write(double value, int) const { return JsonText::number(value); }
    QString what() const { return QStringLiteral("a number from 0 to 1"); }
};

struct HexBytes {
    void read(Reader &reader, const QJsonValue &value, QByteArray &bytes) const
    {
        const QByteArray digits = value.toString().toUtf8();
        if (!value.isString() || digits.size() % 2 != 0 || !std::all_of(digits.cbegin(), digits.cend(), [](char c) {
                return std::isxdigit(static_cast<unsigned char>(c)) != 0;
            }))
            return reader.expected(what(), value);
        bytes = QByteArray::fromHex(digits);
    }
    QByteArray write(const QByteArray &bytes, int) const { return JsonText::text(QString::fromLatin1(bytes.toHex())); }
    QString what() const { return QStringLiteral("a text of hexadecimal digits, two for each byte"); }
};

struct Object {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, T &target) const
    {
        readObject(reader, value, target);
    }
    template <typename T>
    QByteArray write(const T &value, int depth) const
    {
        return writeObject(value, depth);
    }
    QString what() const { return QStringLiteral("an object"); }
};

/// An object that may be left out.
struct OptionalObject : Object {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, std::optional<T> &target) const
    {
        readObject(reader, value, target.emplace());
    }
    template <typename T>
    QByteArray write(const std::optional<T> &value, int depth) const
    {
        return writeObject(*value, depth);
    }
};

/// A value whose object is that of another type: Proxy(value) and toValue().
template <typename Proxy>
struct As : Object {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, T &target) const
    {
        Proxy proxy(target);
        readObject(reader, value, proxy);
        target = proxy.toValue();
    }
    template <typename T>
    QByteArray write(const T &value, int depth) const
    {
        return writeObject(Proxy(value), depth);
    }
};

/// A list of objects.
struct Objects {
    template <typename T>
    void read(Reader &reader, const QJsonValue &value, QList<T> &list) const
    {
        if (!value.isArray())
            return reader.expected(what(), value);
        const QJsonArray array = value.toArray();
        list.reserve(list.size() + array.size());
        for (int i = 0; i < array.size(); ++i) {
            const JsonReader::At at(reader, i);
            list.append(T());
            readObject(reader, array.at(i), list.last());
        }
    }
    template <typename T>
    QByteArray write(const QList<T> &list, int depth) const
    {
        QVector<QByteArray> elements;
        for (const T &element : list)
            elements += writeObject(element, depth + 1);
        return JsonText::list(elements, depth);
    }
    QString what() const { return QStringLiteral("a list"); }
};

// Tables of small things

const Integer length{1, longestLength};
const Integer lengthOrNone{0, longestLength};
const Integer place{-longestLength, longestLength};
const Integer count{0, largestInt};
const Integer milliseconds{0, 1'000'000'000}; // so that microseconds add up safely
const Integer bigCount{0, largestNumber};

struct PointProxy {
    explicit PointProxy(const QPoint &point = QPoint()) : x(point.x()), y(point.y()) {}
    QPoint toValue() const { return QPoint(x, y); }
    int x;
    int y;
};

template <>
struct Table<PointProxy> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("x", &PointProxy::x, place, always);
        field("y", &PointProxy::y, place, always);
    }
};

struct SizeProxy {
    explicit SizeProxy(const QSize &size = QSize()) : width(size.width()), height(size.height()) {}
    QSize toValue() const { return QSize(width, height); }
    int width;
    int height;
};

template <>
struct Table<SizeProxy> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("width", &SizeProxy::width, length, always);
        field("height", &SizeProxy::height, length, always);
    }
};

struct RectProxy {
    explicit RectProxy(const QRect &rect = QRect()) : x(rect.x()), y(rect.y()), width(rect.width()), height(rect.height()) {}
    QRect toValue() const { return QRect(x, y, width, height); }
    int x;
    int y;
    int width;
    int height;
};

template <>
struct Table<RectProxy> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("x", &RectProxy::x, lengthOrNone, always);
        field("y", &RectProxy::y, lengthOrNone, always);
        field("width", &RectProxy::width, lengthOrNone, always);
        field("height", &RectProxy::height, lengthOrNone, always);
    }
};

/// WallDescription::defaultPixels.
struct PixelsProxy {
    using Pixels = std::array<QByteArray, 3>;
    explicit PixelsProxy(const Pixels &pixels = Pixels()) : chroma(pixels[0]), multilayer(pixels[1]), lowGray(pixels[2]) {}
    Pixels toValue() const { return {chroma, multilayer, lowGray}; }
    QByteArray chroma;
    QByteArray multilayer;
    QByteArray lowGray;
};

template <>
struct Table<PixelsProxy> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("chroma", &PixelsProxy::chroma, HexBytes());
        field("multilayer", &PixelsProxy::multilayer, HexBytes());
        field("lowGray", &PixelsProxy::lowGray, HexBytes());
    }
};

// Tables of cabinets

template <>
struct Table<Module> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", &Module::id, Text(), always);
        field("flag", &Module::flag, Text());
        field("rect", &Module::rect, As<RectProxy>(), always);
    }
};

template <>
struct Table<ReceivingCard> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", &ReceivingCard::id, Text(), always);
        field("flag", &ReceivingCard::flag, Text());
        field("rect", &ReceivingCard::rect, As<RectProxy>(), always);
        field("modules", &ReceivingCard::modules, Objects());
    }
};

template <>
struct Table<Cabinet> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", &Cabinet::id, DecimalText(), always);
        field("outputId", &Cabinet::outputId, Text(), always);
        field("flag", &Cabinet::flag, Text());
        field("placed", &Cabinet::placed, Bool());
        field("listed", &Cabinet::listed, Bool());
        field("position", &Cabinet::position, As<PointProxy>(), always);
        field("size", &Cabinet::size, As<SizeProxy>(), always);
        field("receivingCards", &Cabinet::receivingCards, Objects());
    }
    static void check(Reader &reader, const Cabinet &cabinet)
    {
        const QRect whole(QPoint(), cabinet.size);
        const auto checkInside = [&](const QRect &rect) {
            const JsonReader::At at(reader, "rect");
            const bool isInside = rect.x() + rect.width() <= whole.width() && rect.y() + rect.height() <= whole.height();
            if (cabinet.size.isValid() && !isInside) {
                reader.problem(QStringLiteral("expected a place inside the cabinet of %1x%2, got %3x%4 at (%5, %6)")
                                   .arg(whole.width())
                                   .arg(whole.height())
                                   .arg(rect.width())
                                   .arg(rect.height())
                                   .arg(rect.x())
                                   .arg(rect.y()));
            }
        };
        QSet<QString> ids;
        const JsonReader::At atCards(reader, "receivingCards");
        for (int i = 0; i < cabinet.receivingCards.size(); ++i) {
            const JsonReader::At atCard(reader, i);
            const ReceivingCard &card = cabinet.receivingCards[i];
            checkInside(card.rect);
            const JsonReader::At atModules(reader, "modules");
            for (int j = 0; j < card.modules.size(); ++j) {
                const JsonReader::At atModule(reader, j);
                checkInside(card.modules[j].rect);
                const JsonReader::At atId(reader, "id");
                if (ids.contains(card.modules[j].id))
                    reader.expected(QStringLiteral("an id that no other module of the cabinet has"), card.modules[j].id);
                ids.insert(card.modules[j].id);
            }
        }
    }
};

template <>
struct Table<ModuleGrid> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("columns", &ModuleGrid::columns, length, always);
        field("rows", &ModuleGrid::rows, length, always);
    }
};

template <>
struct Table<CardGrid> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("columns", &CardGrid::columns, length, always);
        field("rows", &CardGrid::rows, length, always);
        field("modules", &CardGrid::modules, OptionalObject(),
              [](const CardGrid &grid) { return grid.modules.has_value(); });
    }
};

template <>
struct Table<CabinetGrid> {
    template <typename Field>
    static void fields(Field &field)
    {
        using Outputs = Enumeration<CabinetGrid::Outputs>;
        field("columns", &CabinetGrid::columns, length, always);
        field("rows", &CabinetGrid::rows, length, always);
        field("cabinetSize", &CabinetGrid::cabinetSize, As<SizeProxy>(), always);
        field("firstId", &CabinetGrid::firstId, bigCount);
        field("outputs", &CabinetGrid::outputs, Outputs{{{"rows", CabinetGrid::Rows}, {"columns", CabinetGrid::Columns}}});
        field("firstOutput", &CabinetGrid::firstOutput, lengthOrNone);
        field("cards", &CabinetGrid::cards, OptionalObject());
    }
};

/// The cabinets of a sub-screen that make up a grid.
struct Grid : Object {
    void read(Reader &reader, const QJsonValue &value, SubScreen &subScreen) const
    {
        CabinetGrid grid;
        const int problems = reader.problemCount();
        readObject(reader, value, grid);
        if (reader.problemCount() != problems) // Wrong numbers make no grid, and no further problems.
            return;
        const qint64 columns = grid.columns;
        const qint64 rows = grid.rows;
        if (columns * grid.cabinetSize.width() > longestLength || rows * grid.cabinetSize.height() > longestLength)
            reader.problem(QStringLiteral("expected a grid of at most %1 pixels in width and height, got %2x%3")
                               .arg(longestLength)
                               .arg(columns * grid.cabinetSize.width())
                               .arg(rows * grid.cabinetSize.height()));
        else if (columns * rows > mostCabinets - reader.gridsTotal)
            reader.problem(QStringLiteral("expected at most %1 cabinets in the grids of a wall").arg(mostCabinets));
        else if (grid.partsOfCabinet() > mostModulesOfCabinet)
            reader.problem(QStringLiteral("expected at most %1 modules in a cabinet").arg(mostModulesOfCabinet));
        else
            subScreen.cabinets += gridCabinets(grid);
        reader.gridsTotal += subScreen.cabinets.size();
        reader.gridCabinets.insert(reader.index(), subScreen.cabinets.size());
    }
    QByteArray write(const SubScreen &subScreen, int depth) const
    {
        const std::optional<CabinetGrid> grid = gridOf(subScreen.cabinets);
        return grid ? writeObject(*grid, depth) : QByteArray();
    }
};

/// The others, one by one.
struct Cabinets : Objects {
    void read(Reader &reader, const QJsonValue &value, SubScreen &subScreen) const
    {
        Objects::read(reader, value, subScreen.cabinets);
    }
    QByteArray write(const SubScreen &subScreen, int depth) const
    {
        return gridOf(subScreen.cabinets) ? QByteArray() : Objects::write(subScreen.cabinets, depth);
    }
};

template <>
struct Table<SubScreen> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("position", &SubScreen::position, As<PointProxy>());
        field("grid", Whole(), Grid());
        field("cabinets", Whole(), Cabinets());
    }
};

// Tables of devices

template <>
struct Table<Timing> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("latency", &Timing::latency, milliseconds);
        field("jitter", &Timing::jitter, milliseconds);
        field("bytesPerSecond", &Timing::bytesPerSecond, bigCount);
        field("settleInThread", &Timing::settleInThread, Bool());
    }
};

template <>
struct Table<Fault> {
    template <typename Field>
    static void fields(Field &field)
    {
        const Enumeration<Fault::Type> types{{{"noAnswer", Fault::NoAnswer},
                                              {"lateAnswer", Fault::LateAnswer},
                                              {"rejectUpload", Fault::RejectUpload},
                                              {"neverSettle", Fault::NeverSettle},
                                              {"truncateReply", Fault::TruncateReply},
                                              {"shuffleReply", Fault::ShuffleReply},
                                              {"missingKey", Fault::MissingKey},
                                              {"wrongType", Fault::WrongType},
                                              {"dirtyBase64", Fault::DirtyBase64},
                                              {"status", Fault::Status},
                                              {"vanish", Fault::Vanish},
                                              {"restart", Fault::Restart}}};
        const auto type = [](Fault::Type wanted) { return [=](const Fault &fault) { return fault.type == wanted; }; };
        field("type", &Fault::type, types, always);
        field("operation", &Fault::operation, OneOf{"an operation's name", operationNames()});
        field("target", &Fault::target, Text{false});
        field("after", &Fault::after, count);
        field("times", &Fault::times, Integer{-1, largestInt});
        field("milliseconds", &Fault::milliseconds, milliseconds, type(Fault::LateAnswer));
        field("key", &Fault::key, Text());
        field("status", &Fault::status, Text{false}, type(Fault::Status));
    }
};

/// The screen that a device drives, kept in the device itself.
struct Screen;

template <>
struct Table<Screen> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", &Device::screenId, Text(), always);
        field("name", &Device::screenName, Text(), always);
        field("useName", &Device::useScreenName, Bool());
        field("position", &Device::screenPosition, As<PointProxy>());
        field("subScreens", &Device::subScreens, Objects(), always);
    }
};

/// A list of one, for devices with several screens to come.
struct Screens : Objects {
    void read(Reader &reader, const QJsonValue &value, Device &device) const
    {
        const QJsonArray array = value.toArray();
        if (array.size() != 1)
            return reader.expected(what(), value);
        reader.gridCabinets.clear();
        const JsonReader::At at(reader, 0);
        readObject<Device, Table<Screen>>(reader, array.first(), device);
    }
    QByteArray write(const Device &device, int depth) const
    {
        return JsonText::list({writeObject<Device, Table<Screen>>(device, depth + 1)}, depth);
    }
    QString what() const { return QStringLiteral("a list of one screen"); }
};

template <>
struct Table<Device> {
    template <typename Field>
    static void fields(Field &field)
    {
        field("key", &Device::key, Text{false}, always);
        field("label", &Device::label, Text());
        field("customName", &Device::customName, Text());
        field("personality", &Device::personality, OneOf{"a personality", personalityNames()});
        field("timing", &Device::timing, Object());
        field("faults", &Device::faults, Objects());
        field("brightnessMin", &Device::brightnessMin, count);
        field("brightnessMax", &Device::brightnessMax, count);
        field("brightnessDefault", &Device::brightnessDefault, count);
        field("multilayerCorrection", &Device::multilayerCorrection, Bool());
        field("multilayerCorrectionLayers", &Device::multilayerCorrectionLayers, count);
        field("multilayerBytesPerPixel", &Device::multilayerBytesPerPixel, length);
        field("fineGrayscale", &Device::fineGrayscale, Bool());
        field("xBitPlus", &Device::xBitPlus, Bool());
        field("magicGray", &Device::magicGray, Bool());
        field("checkerboardSupported", &Device::checkerboardSupported, Bool());
        field("allowDuplicateIds", &Device::allowDuplicateIds, Bool());
        field("allowOverlaps", &Device::allowOverlaps, Bool());
        field("screens", Whole(), Screens(), always);
    }
    static void check(Reader &reader, const Device &device)
    {
        checkBrightness(reader, device);
        const QVector<Placed> cabinets = placedCabinets(reader, device);
        checkPlanes(reader, device, cabinets);
        if (!device.allowDuplicateIds)
            checkIds(reader, cabinets);
        if (!device.allowOverlaps)
            checkOverlaps(reader, cabinets);
    }

private:
    /// A cabinet and where the file has it.
    struct Placed {
        const Cabinet *cabinet;
        QRect rect; ///< Relative to the screen.
        int subScreen;
        int index; ///< Of the list "cabinets"; negative for one of the grid.
    };

    static QVector<Placed> placedCabinets(const Reader &reader, const Device &device)
    {
        QVector<Placed> result;
        for (int i = 0; i < device.subScreens.size(); ++i) {
            const SubScreen &subScreen = device.subScreens[i];
            for (int j = 0; j < subScreen.cabinets.size(); ++j) {
                const Cabinet &cabinet = subScreen.cabinets[j];
                result.append({&cabinet, QRect(subScreen.position + cabinet.position, cabinet.size), i,
                               j - reader.gridCabinets.value(i)});
            }
        }
        return result;
    }

    /// Runs `report` at a cabinet, or at an entry of it.
    template <typename Report>
    static void at(Reader &reader, const Placed &placed, const char *entry, Report report)
    {
        const JsonReader::At atScreens(reader, "screens");
        const JsonReader::At atScreen(reader, 0);
        const JsonReader::At atSubScreens(reader, "subScreens");
        const JsonReader::At atSubScreen(reader, placed.subScreen);
        if (placed.index < 0) {
            const JsonReader::At atGrid(reader, "grid");
            return report();
        }
        const JsonReader::At atCabinets(reader, "cabinets");
        const JsonReader::At atCabinet(reader, placed.index);
        const JsonReader::At atEntry(reader, entry);
        report();
    }

    static void checkBrightness(Reader &reader, const Device &device)
    {
        const int least = device.brightnessMin;
        const int most = device.brightnessMax;
        if (least > most) {
            const JsonReader::At atMax(reader, "brightnessMax");
            reader.expected(QStringLiteral("at least brightnessMin (%1)").arg(least), most);
        } else if (device.brightnessDefault < least || device.brightnessDefault > most) {
            const JsonReader::At atDefault(reader, "brightnessDefault");
            reader.expected(QStringLiteral("an integer from brightnessMin (%1) to brightnessMax (%2)").arg(least).arg(most),
                            device.brightnessDefault);
        }
    }

    static void checkPlanes(Reader &reader, const Device &device, const QVector<Placed> &cabinets)
    {
        const int bytesPerPixel = std::max(device.multilayerBytesPerPixel, 2 * valuesPerPixel);
        int gridReported = -1;
        for (const Placed &placed : cabinets) {
            const QSize size = placed.cabinet->size;
            if (!size.isValid() || Planes::fits(size, bytesPerPixel)
                || (placed.index < 0 && gridReported == placed.subScreen))
                continue;
            if (placed.index < 0)
                gridReported = placed.subScreen;
            at(reader, placed, "size", [&] {
                reader.problem(
                    QStringLiteral("expected a cabinet whose coefficients take less than 2 GiB, got %1x%2 pixels of "
                                   "%3 bytes")
                        .arg(size.width())
                        .arg(size.height())
                        .arg(bytesPerPixel));
            });
        }
    }

    static void checkIds(Reader &reader, const QVector<Placed> &cabinets)
    {
        QSet<qulonglong> ids; // Requests may name a cabinet by its number.
        for (const Placed &placed : cabinets) {
            const QString &id = placed.cabinet->id;
            if (id.isEmpty())
                continue;
            const qulonglong number = id.toULongLong();
            if (ids.contains(number))
                at(reader, placed, "id",
                   [&] { reader.expected(QStringLiteral("an id that no other cabinet of the device has"), id); });
            ids.insert(number);
        }
    }

    static void checkOverlaps(Reader &reader, const QVector<Placed> &cabinets)
    {
        // From left to right.
        QVector<int> order;
        for (int i = 0; i < cabinets.size(); ++i) {
            if (cabinets[i].cabinet->placed && cabinets[i].cabinet->size.isValid())
                order.append(i);
        }
        std::stable_sort(order.begin(), order.end(),
                         [&](int a, int b) { return cabinets[a].rect.left() < cabinets[b].rect.left(); });
        QMap<int, int> overlapped; // the later one of each pair by its place in the file, with the earlier one
        // Those met so far that the present one may reach, by their tops. No two of them share a row of pixels: what ended
        // further left, and the later one of a pair, is left out. So each cabinet is looked at a few times only.
        std::map<int, int> met;
        for (const int index : qAsConst(order)) {
            const QRect &rect = cabinets[index].rect;
            bool isReported = false;
            for (auto it = met.upper_bound(rect.bottom()); it != met.begin() && !isReported;) {
                --it;
                const QRect &other = cabinets[it->second].rect;
                if (other.bottom() < rect.top())
                    break;
                const bool overlaps = other.right() >= rect.left();
                isReported = overlaps && it->second < index;
                if (overlaps)
                    overlapped.insert(std::max(index, it->second), std::min(index, it->second));
                if (!isReported)
                    it = met.erase(it);
            }
            if (!isReported)
                met.emplace(rect.top(), index);
        }
        for (auto it = overlapped.cbegin(); it != overlapped.cend(); ++it) {
            at(reader, cabinets[it.key()], "position", [&] {
                reader.problem(QStringLiteral("cabinet %1 lies on cabinet %2")
                                   .arg(cabinets[it.key()].cabinet->id, cabinets[it.value()].cabinet->id));
            });
        }
    }
};

// Tables of walls

template <>
struct Table<Event> {
    template <typename Field>
    static void fields(Field &field)
    {
        const Enumeration<Event::Type> types{{{"unplug", Event::Unplug},
                                              {"plug", Event::Plug},
                                              {"rename", Event::Rename},
                                              {"restart", Event::Restart},
                                              {"addFault", Event::AddFault},
                                              {"clearFaults", Event::ClearFaults}}};
        const auto type = [](Event::Type wanted) { return [=](const Event &event) { return event.type == wanted; }; };
        field("at", &Event::at, milliseconds, always);
        field("type", &Event::type, types, always);
        field("device", &Event::deviceKey, Text{false}, always);
        field("name", &Event::name, Text(), type(Event::Rename));
        field("fault", &Event::fault, Object(), type(Event::AddFault));
    }
};

const char formatName[] = "led-wall";

/// What makes a file a wall file; read before everything else.
struct Format {
    void read(Reader &reader, const QJsonValue &value, const WallDescription &) const
    {
        if (value.toString() != QLatin1String(formatName))
            reader.expected(what(), value);
    }
    QByteArray write(const WallDescription &, int) const { return JsonText::text(QLatin1String(formatName)); }
    QString what() const { return QStringLiteral("\"%1\"").arg(QLatin1String(formatName)); }
};

struct Version {
    void read(Reader &reader, const QJsonValue &value, const WallDescription &) const
    {
        if (!value.isDouble())
            reader.expected(what(), value);
        else if (value != QJsonValue(version))
            reader.problem(QStringLiteral("this program reads version %1, the file has %2")
                               .arg(QString::number(version), QString::fromUtf8(JsonText::number(value.toDouble()))));
    }
    QByteArray write(const WallDescription &, int) const { return QByteArray::number(version); }
    QString what() const { return QStringLiteral("the number %1").arg(version); }
};

/// The whole file.
template <>
struct Table<WallDescription> {
    template <typename Field>
    static void header(Field &field)
    {
        field("format", Whole(), Format(), always);
        field("version", Whole(), Version(), always);
    }
    template <typename Field>
    static void fields(Field &field)
    {
        header(field);
        field("title", &WallDescription::title, Text());
        field("seed", &WallDescription::seed, bigCount);
        field("chaos", &WallDescription::chaos, Share());
        field("replyBlockHeight", &WallDescription::replyBlockHeight, lengthOrNone);
        field("defaultPixels", &WallDescription::defaultPixels, As<PixelsProxy>());
        field("devices", &WallDescription::devices, Objects(), always);
        field("events", &WallDescription::events, Objects());
    }
    static void check(Reader &reader, const WallDescription &wall)
    {
        QSet<QString> keys;
        for (int i = 0; i < wall.devices.size(); ++i) {
            const QString &key = wall.devices[i].key;
            if (!key.isEmpty() && keys.contains(key)) {
                const JsonReader::At atDevices(reader, "devices");
                const JsonReader::At atDevice(reader, i);
                const JsonReader::At atKey(reader, "key");
                reader.expected(QStringLiteral("a key that no other device has"), key);
            }
            keys.insert(key);
        }
        for (int i = 0; i < wall.events.size(); ++i) {
            const QString &key = wall.events[i].deviceKey;
            if (!key.isEmpty() && !keys.contains(key)) {
                const JsonReader::At atEvents(reader, "events");
                const JsonReader::At atEvent(reader, i);
                const JsonReader::At atKey(reader, "device");
                reader.expected(QStringLiteral("the key of a device of this wall"), key);
            }
        }
    }
};

// Objects

/// Reads the entries that a table names.
template <typename T>
class FieldReader
{
public:
    FieldReader(Reader &reader, const QJsonObject &object, T &target) : m_reader(reader), m_object(object), m_target(target)
    {
    }

    template <typename Member, typename Owner, typename Rule, typename Needed = decltype(never)>
    void operator()(const char *key, Member Owner::*member, const Rule &rule, const Needed &needed = never)
    {
        take(key, rule, needed, m_target.*member);
    }
    template <typename Rule, typename Needed = decltype(never)>
    void operator()(const char *key, Whole, const Rule &rule, const Needed &needed = never)
    {
        take(key, rule, needed, m_target);
    }
    /// When all fields were named.
    void finish() const
    {
        if (m_found != m_object.size())
            m_reader.unknownKeys(m_object, m_keys);
    }

private:
    template <typename Rule, typename Needed, typename Target>
    void take(const char *key, const Rule &rule, const Needed &needed, Target &target)
    {
        m_keys += QLatin1String(key);
        const JsonReader::At at(m_reader, key);
        const auto it = m_object.constFind(QLatin1String(key));
        if (it != m_object.constEnd()) {
            ++m_found;
            rule.read(m_reader, *it, target);
        } else if (needed(std::as_const(m_target))) {
            m_reader.expected(rule.what(), QJsonValue::Undefined);
        }
    }

    Reader &m_reader;
    const QJsonObject &m_object;
    T &m_target;
    QStringList m_keys;
    int m_found = 0;
};

/// Writes them.
template <typename T>
class FieldWriter
{
public:
    FieldWriter(const T &value, int depth) : m_value(value), m_depth(depth) {}

    template <typename Member, typename Owner, typename Rule, typename Needed = decltype(never)>
    void operator()(const char *key, Member Owner::*member, const Rule &rule, const Needed &needed = never)
    {
        if (needed(m_value) || !(m_value.*member == m_default.*member))
            add(key, rule.write(m_value.*member, m_depth + 1));
    }
    template <typename Rule, typename Needed = decltype(never)>
    void operator()(const char *key, Whole, const Rule &rule, const Needed & = never)
    {
        add(key, rule.write(m_value, m_depth + 1));
    }
    QByteArray object() const { return JsonText::object(m_entries, m_depth); }

private:
    void add(const char *key, const QByteArray &value)
    {
        if (!value.isEmpty())
            m_entries += JsonText::entry(key, value);
    }

    const T &m_value;
    const T m_default{};
    int m_depth;
    QVector<QByteArray> m_entries;
};

template <typename TableOfT, typename T, typename = void>
struct HasCheck : std::false_type {
};
template <typename TableOfT, typename T>
struct HasCheck<TableOfT, T, std::void_t<decltype(TableOfT::check(std::declval<Reader &>(), std::declval<const T &>()))>>
    : std::true_type {
};

template <typename T, typename TableOfT>
void readObject(Reader &reader, const QJsonValue &value, T &target)
{
    if (!value.isObject())
        return reader.expected(Object().what(), value);
    const QJsonObject object = value.toObject();
    FieldReader<T> field(reader, object, target);
    TableOfT::fields(field);
    field.finish();
    if constexpr (HasCheck<TableOfT, T>::value)
        TableOfT::check(reader, target);
}

template <typename T, typename TableOfT>
QByteArray writeObject(const T &value, int depth)
{
    FieldWriter<T> field(value, depth);
    TableOfT::fields(field);
    return field.object();
}

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

} // namespace

bool parseWall(const QByteArray &json, const QString &source, WallDescription &wall, QString *error)
{
    Reader reader(source);
    WallDescription read;
    QJsonObject object;
    if (reader.parse(json, object)) {
        const int problems = reader.problemCount();
        FieldReader<WallDescription> header(reader, object, read);
        Table<WallDescription>::header(header);
        if (reader.problemCount() == problems) // Of another format nothing else could be understood.
            readObject(reader, object, read);
    }
    if (!reader.isGood())
        return fail(error, reader.problems());
    wall = read;
    return true;
}

bool readWall(const QString &path, WallDescription &wall, QString *error)
{
    const auto cannotRead = [&](const QString &reason) { return fail(error, path + QLatin1String(": ") + reason); };
    const QFileInfo info(path);
    if (!info.exists())
        return cannotRead(QStringLiteral("no such file"));
    if (info.isDir())
        return cannotRead(QStringLiteral("a directory, no wall file"));
    if (!info.isFile())
        return cannotRead(QStringLiteral("no regular file"));
    if (info.size() > largestFile)
        return cannotRead(QStringLiteral("larger than 1 GiB"));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return cannotRead(file.errorString());
    const QByteArray json = file.readAll();
    if (file.error() != QFile::NoError)
        return cannotRead(file.errorString());
    return parseWall(json, path, wall, error);
}

QByteArray wallToJson(const WallDescription &wall)
{
    return writeObject(wall, 0) + '\n';
}

bool writeWall(const QString &path, const WallDescription &wall, QString *error)
{
    const QByteArray json = wallToJson(wall);
    WallDescription again;
    if (!parseWall(json, path, again, error))
        return false;
    QSaveFile file(path);
    const bool isWritten = file.open(QIODevice::WriteOnly) && file.write(json) == json.size();
    QString reason = file.errorString();
    return (isWritten && Disk::commit(file, reason)) || fail(error, path + QLatin1String(": ") + reason);
}

} // namespace Simulator
