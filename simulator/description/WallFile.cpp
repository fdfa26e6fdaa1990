#include <simulator/WallFile.h>

#include "CabinetGrid.h"
#include "device/Planes.h"
#include "faults/Personalities.h"

#include <adapter/json/SaveFile.h>
#include <adapter/json/Table.h>

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

// What a wall file holds is laid down once, by these tables.
namespace Json {

using namespace Simulator;

namespace {

constexpr int largestInt = std::numeric_limits<int>::max();

/// A reader with what the entries of a wall need to know of each other.
struct WallReader : Reader {
    using Reader::Reader;
    int gridsTotal = 0;          ///< Cabinets that came from grids, in the whole wall.
    QMap<int, int> gridCabinets; ///< Those of the present device's sub-screens, by sub-screen.
};

/// Every reader here is one that parseWall() made.
WallReader &wallReader(Reader &reader)
{
    return static_cast<WallReader &>(reader);
}

/// A cabinet's id.
struct DecimalText : Text {
    void read(Reader &reader, const QJsonValue &value, QString &text) const
    {
        const QString digits = value.toString();
        const bool isDecimal = std::all_of(digits.cbegin(), digits.cend(),
                                           [](QChar c) { return c >= QLatin1Char('0') && c <= QLatin1Char('9'); });
        bool isNumber = false;
        static_cast<void>(digits.toULongLong(&isNumber));
        if (!isDecimal || !isNumber)
            return reader.expected(what(), value);
        text = digits;
    }
    QString what() const { return QStringLiteral("a text that is a decimal number below 2^64"); }
    bool showsDefault() const { return false; }
    void describe(Schema &schema, const QString &value) const
    {
        Text::describe(schema, value);
        schema.entries(R"("pattern": "^[0-9]+$")");
    }
};

struct Number {
    double least;
    double most;

    void read(Reader &reader, const QJsonValue &value, double &target) const
    {
        if (!value.isDouble() || value.toDouble() < least || value.toDouble() > most)
            return reader.expected(what(), value);
        target = value.toDouble();
    }
    void write(Writer &out, double value) const { out.number(value); }
    QString what() const { return QStringLiteral("a number from %1 to %2").arg(least).arg(most); }
    bool showsDefault() const { return true; }
    void describe(Schema &schema, double) const
    {
        schema.entries(R"("type": "number")");
        schema.out.key("minimum");
        schema.out.number(least);
        schema.out.key("maximum");
        schema.out.number(most);
    }
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
    void write(Writer &out, const QByteArray &bytes) const { out.text(QString::fromLatin1(bytes.toHex())); }
    QString what() const { return QStringLiteral("a text of hexadecimal digits, two for each byte"); }
    bool showsDefault() const { return false; }
    void describe(Schema &schema, const QByteArray &) const
    {
        Text().describe(schema, QString());
        schema.entries(R"("pattern": "^([0-9a-fA-F]{2})*$")");
    }
};

const Integer length{1, longestLength};
const Integer lengthOrNone{0, longestLength};
const Integer place{-longestLength, longestLength};
const Integer count{0, largestInt};
const Integer milliseconds{0, 1'000'000'000}; // so that microseconds add up safely
const Integer bigCount{0, largestNumber};
const Number share{0, 1};
const Number spread{0, 1};
const Number nanometres{0, 100};
const Number factor{0, 2};

struct PointProxy {
    explicit PointProxy(const QPoint &point = QPoint()) : x(point.x()), y(point.y()) {}
    QPoint toValue() const { return QPoint(x, y); }
    int x;
    int y;
};

struct SizeProxy {
    explicit SizeProxy(const QSize &size = QSize()) : width(size.width()), height(size.height()) {}
    QSize toValue() const { return QSize(width, height); }
    int width;
    int height;
};

struct RectProxy {
    explicit RectProxy(const QRect &rect = QRect()) : x(rect.x()), y(rect.y()), width(rect.width()), height(rect.height()) {}
    QRect toValue() const { return QRect(x, y, width, height); }
    int x;
    int y;
    int width;
    int height;
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

/// The screen that a device drives, kept in the device itself.
struct Screen;

} // namespace

// Tables of small things

template <>
struct Table<PointProxy> {
    static constexpr char name[] = "point";
    static constexpr char about[] = "A place.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("x", "A coordinate in pixels.", &PointProxy::x, place, always);
        field("y", "A coordinate in pixels.", &PointProxy::y, place, always);
    }
};

template <>
struct Table<SizeProxy> {
    static constexpr char name[] = "size";
    static constexpr char about[] = "A size.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("width", "A length in pixels.", &SizeProxy::width, length, always);
        field("height", "A length in pixels.", &SizeProxy::height, length, always);
    }
};

template <>
struct Table<RectProxy> {
    static constexpr char name[] = "rect";
    static constexpr char about[] = "A place within a cabinet.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("x", "A coordinate or length within a cabinet, in pixels.", &RectProxy::x, lengthOrNone, always);
        field("y", "A coordinate or length within a cabinet, in pixels.", &RectProxy::y, lengthOrNone, always);
        field("width", "A coordinate or length within a cabinet, in pixels.", &RectProxy::width, lengthOrNone, always);
        field("height", "A coordinate or length within a cabinet, in pixels.", &RectProxy::height, lengthOrNone, always);
    }
};

template <>
struct Table<PixelsProxy> {
    static constexpr char name[] = "pixels";
    static constexpr char about[] = "The pixel that cleared and never written planes consist of; zeros where there is none.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("chroma", "Raw bytes, two hexadecimal digits each; 16-bit values low byte first.", &PixelsProxy::chroma,
              HexBytes());
        field("multilayer", "Raw bytes, two hexadecimal digits each; 16-bit values low byte first.",
              &PixelsProxy::multilayer, HexBytes());
        field("lowGray", "Raw bytes, two hexadecimal digits each; 16-bit values low byte first.", &PixelsProxy::lowGray,
              HexBytes());
    }
};

// Tables of cabinets

template <>
struct Table<Module> {
    static constexpr char name[] = "module";
    static constexpr char about[] = "A module of a receiving card.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", "Unique within the cabinet.", &Module::id, Text(), always);
        field("flag", "Free text.", &Module::flag, Text());
        field("rect", "", &Module::rect, As<RectProxy>(), always);
    }
};

template <>
struct Table<ReceivingCard> {
    static constexpr char name[] = "receivingCard";
    static constexpr char about[] = "A receiving card.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", "Free text; flash check replies give it as a number.", &ReceivingCard::id, Text(), always);
        field("flag", "Free text.", &ReceivingCard::flag, Text());
        field("rect", "", &ReceivingCard::rect, As<RectProxy>(), always);
        field("modules", "Its modules.", &ReceivingCard::modules, Objects());
    }
};

template <>
struct Table<Cabinet> {
    static constexpr char name[] = "cabinet";
    static constexpr char about[] = "A cabinet.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", "A decimal number below 2^64, unique within the device.", &Cabinet::id, DecimalText(), always);
        field("outputId", "The device's output that it hangs on.", &Cabinet::outputId, Text(), always);
        field("flag", "Free text.", &Cabinet::flag, Text());
        field("placed", "false: the device lists the cabinet, but does not place it.", &Cabinet::placed, Bool());
        field("listed", "false: the device places the cabinet, but does not list it.", &Cabinet::listed, Bool());
        field("position", "Relative to the sub-screen.", &Cabinet::position, As<PointProxy>(), always);
        field("size", "", &Cabinet::size, As<SizeProxy>(), always);
        field("receivingCards", "Receiving cards.", &Cabinet::receivingCards, Objects());
    }
    static void check(Reader &reader, const Cabinet &cabinet)
    {
        const QRect whole(QPoint(), cabinet.size);
        const auto checkInside = [&](const QRect &rect) {
            const Reader::At at(reader, "rect");
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
        const Reader::At atCards(reader, "receivingCards");
        for (int i = 0; i < cabinet.receivingCards.size(); ++i) {
            const Reader::At atCard(reader, i);
            const ReceivingCard &card = cabinet.receivingCards[i];
            checkInside(card.rect);
            const Reader::At atModules(reader, "modules");
            for (int j = 0; j < card.modules.size(); ++j) {
                const Reader::At atModule(reader, j);
                checkInside(card.modules[j].rect);
                const Reader::At atId(reader, "id");
                if (ids.contains(card.modules[j].id))
                    reader.expected(QStringLiteral("an id that no other module of the cabinet has"), card.modules[j].id);
                ids.insert(card.modules[j].id);
            }
        }
    }
};

template <>
struct Table<ModuleGrid> {
    static constexpr char name[] = "modules";
    static constexpr char about[] = "A regular grid of modules over each card, numbered from \"0\" through the whole "
                                    "cabinet, card by card. Left out: no modules.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("columns", "A length in pixels.", &ModuleGrid::columns, length, always);
        field("rows", "A length in pixels.", &ModuleGrid::rows, length, always);
    }
};

template <>
struct Table<CardGrid> {
    static constexpr char name[] = "cards";
    static constexpr char about[] =
        "A regular grid of receiving cards over each cabinet, numbered from \"0\" row by row. Left out: no cards.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("columns", "A length in pixels.", &CardGrid::columns, length, always);
        field("rows", "A length in pixels.", &CardGrid::rows, length, always);
        field("modules", "", &CardGrid::modules, OptionalObject(),
              [](const CardGrid &grid) { return grid.modules.has_value(); });
    }
};

template <>
struct Table<CabinetGrid> {
    static constexpr char name[] = "grid";
    static constexpr char about[] =
        "A regular grid of equal cabinets with its top-left corner at the sub-screen's position.";
    template <typename Field>
    static void fields(Field &field)
    {
        using Outputs = Enumeration<CabinetGrid::Outputs>;
        field("columns", "Cabinets side by side.", &CabinetGrid::columns, length, always);
        field("rows", "Cabinets on top of each other.", &CabinetGrid::rows, length, always);
        field("cabinetSize", "", &CabinetGrid::cabinetSize, As<SizeProxy>(), always);
        field("firstId", "The cabinet ids count up from here, row by row.", &CabinetGrid::firstId, bigCount);
        field("outputs", "Whether the cabinets of a row or those of a column hang on one output.", &CabinetGrid::outputs,
              Outputs{{{"rows", CabinetGrid::Rows}, {"columns", CabinetGrid::Columns}}});
        field("firstOutput", "Output of the first row or column; they count up.", &CabinetGrid::firstOutput, lengthOrNone);
        field("cards", "", &CabinetGrid::cards, OptionalObject());
    }
};

namespace {

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
        else if (columns * rows > mostCabinets - wallReader(reader).gridsTotal)
            reader.problem(QStringLiteral("expected at most %1 cabinets in the grids of a wall").arg(mostCabinets));
        else if (grid.partsOfCabinet() > mostModulesOfCabinet)
            reader.problem(QStringLiteral("expected at most %1 modules in a cabinet").arg(mostModulesOfCabinet));
        else
            subScreen.cabinets += gridCabinets(grid);
        wallReader(reader).gridsTotal += subScreen.cabinets.size();
        wallReader(reader).gridCabinets.insert(reader.index(), subScreen.cabinets.size());
    }
    static bool isAbsent(const SubScreen &subScreen) { return !gridOf(subScreen.cabinets); }
    void write(Writer &out, const SubScreen &subScreen) const { writeObject(out, *gridOf(subScreen.cabinets)); }
    void describe(Schema &schema, const SubScreen &) const { schema.reference<CabinetGrid>(); }
};

/// The others, one by one.
struct Cabinets : Objects {
    void read(Reader &reader, const QJsonValue &value, SubScreen &subScreen) const
    {
        Objects::read(reader, value, subScreen.cabinets);
    }
    static bool isAbsent(const SubScreen &subScreen) { return !Grid::isAbsent(subScreen); }
    void write(Writer &out, const SubScreen &subScreen) const { Objects::write(out, subScreen.cabinets); }
    void describe(Schema &schema, const SubScreen &subScreen) const { Objects::describe(schema, subScreen.cabinets); }
};

} // namespace

template <>
struct Table<SubScreen> {
    static constexpr char name[] = "subScreen";
    static constexpr char about[] = "A placed set of cabinets: those of a grid, then others one by one.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("position", "Relative to the screen's position; by default (0, 0).", &SubScreen::position, As<PointProxy>());
        field("grid", "", Whole(), Grid());
        field("cabinets", "Cabinets one by one.", Whole(), Cabinets());
    }
};

// Tables of devices

template <>
struct Table<Primary> {
    static constexpr char name[] = "primary";
    static constexpr char about[] = "The light of the LEDs of one colour at full drive.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("x", "CIE 1931 chromaticity.", &Primary::x, Number{0, 1}, always);
        field("y", "CIE 1931 chromaticity.", &Primary::y, Number{0.001, 1}, always);
        field("luminance", "In cd/m2.", &Primary::luminance, Number{0, 100'000}, always);
    }
    static void check(Reader &reader, const Primary &primary)
    {
        if (primary.x + primary.y > 1) {
            const Reader::At atY(reader, "y");
            reader.expected(QStringLiteral("at most 1 - x (%1)").arg(1 - primary.x), primary.y);
        }
    }
};

template <>
struct Table<Ageing> {
    static constexpr char name[] = "ageing";
    static constexpr char about[] = "Luminance factors of the oldest cabinet; the ages of the cabinets are spread evenly.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("red", "Of the red LEDs.", &Ageing::red, share, always);
        field("green", "Of the green LEDs.", &Ageing::green, share, always);
        field("blue", "Of the blue LEDs.", &Ageing::blue, share, always);
    }
};

template <>
struct Table<Leds> {
    static constexpr char name[] = "leds";
    static constexpr char about[] = "How the pixels shine (docs/light.md). What is left out is as in the preset.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("preset", "Where the entries that are left out come from; by default even.", &Leds::preset, presets(),
              written);
        field("seed", "Seed of all random numbers of the LEDs.", &Leds::seed, bigCount);
        field("red", "", &Leds::red, Object());
        field("green", "", &Leds::green, Object());
        field("blue", "", &Leds::blue, Object());
        field("pixelLuminance", "Spread of luminance from pixel to pixel: relative standard deviation.",
              &Leds::pixelLuminance, spread);
        field("pixelWavelength", "Spread of wavelength from pixel to pixel: standard deviation in nm.",
              &Leds::pixelWavelength, nanometres);
        field("moduleLuminance", "Spread of luminance from module to module.", &Leds::moduleLuminance, spread);
        field("moduleWavelength", "Spread of wavelength from module to module, in nm.", &Leds::moduleWavelength, nanometres);
        field("moduleSeam", "Luminance factor of the outer rows and columns of modules.", &Leds::moduleSeam, factor);
        field("cabinetSeam", "Likewise of cabinets, in place of that of modules.", &Leds::cabinetSeam, factor);
        field("oldest", "", &Leds::oldest, Object());
        field("deadPixels", "Share of the pixels that are always dark.", &Leds::deadPixels, share);
        field("stuckPixels", "Share of the pixels that always shine at full drive.", &Leds::stuckPixels, share);
        field("lowGrayBelow", "Drive below which the low-gray values are used in place of the chroma values.",
              &Leds::lowGrayBelow, share);
    }
    static void check(Reader &reader, const Leds &leds)
    {
        if (leds.deadPixels + leds.stuckPixels > 1) {
            const Reader::At atStuck(reader, "stuckPixels");
            reader.expected(QStringLiteral("at most 1 - deadPixels (%1)").arg(1 - leds.deadPixels), leds.stuckPixels);
        }
    }
    static OneOf presets() { return OneOf{"a preset of LEDs", ledPresetNames()}; }
};

namespace {

/// The name of a preset, or an object.
struct LedsRule : Object {
    void read(Reader &reader, const QJsonValue &value, Leds &leds) const
    {
        QString preset = ledPresetNames().constFirst();
        if (value.isString()) {
            Table<Leds>::presets().read(reader, value, preset);
            leds = ledPreset(preset);
        } else if (value.isObject()) {
            const QJsonObject object = value.toObject();
            leds = ledPreset(object.value(QLatin1String("preset")).toString(preset));
            readObject(reader, object, leds);
        } else {
            reader.expected(what(), value);
        }
    }
    static bool isAbsent(const Leds &leds) { return leds.preset.isEmpty(); }
    void write(Writer &out, const Leds &leds) const
    {
        const Leds preset = ledPreset(leds.preset);
        if (leds == preset)
            out.text(leds.preset);
        else
            writeObject(out, leds, preset);
    }
    QString what() const { return QStringLiteral("an object or the name of a preset"); }
    void describe(Schema &schema, const Leds &) const
    {
        schema.out.key("anyOf");
        schema.out.open('[');
        schema.out.next();
        schema.out.open('{');
        Table<Leds>::presets().describe(schema, QString());
        schema.out.close('}');
        schema.out.next();
        schema.out.open('{');
        schema.reference<Leds>();
        schema.out.close('}');
        schema.out.close(']');
    }
};

} // namespace

template <>
struct Table<Timing> {
    static constexpr char name[] = "timing";
    static constexpr char about[] = "How long the device takes to answer; added to what its personality has.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("latency", "Before every answer.", &Timing::latency, milliseconds);
        field("jitter", "Up to this much is added to each latency.", &Timing::jitter, milliseconds);
        field("bytesPerSecond", "For the characters of a call's request and reply; 0: no limit.", &Timing::bytesPerSecond,
              bigCount);
        field("settleInThread", "Uploads with a promise settle from a thread of the wall.", &Timing::settleInThread, Bool());
    }
};

template <>
struct Table<Fault> {
    static constexpr char name[] = "fault";
    static constexpr char about[] = "Something that goes wrong when the device is called.";
    template <typename Field>
    static void fields(Field &field)
    {
        const Enumeration<Fault::Type> types{{
#define FAULT(type, name, calls, note, about) {name, Fault::type},
#include <simulator/FaultTypes.def>
        }};
        using Of = Where<Fault, Fault::Type>;
        field("type", "What goes wrong (docs/faults.md).", &Fault::type, types, always);
        field("operation", "The operation (docs/service.md); left out: every one.", &Fault::operation,
              OneOf{"an operation's name", operationNames(), R"(^[A-Za-z]+::[A-Za-z0-9]+(\(responseHeader\))?$)"});
        field("target", "Cabinet id or screen selector; left out: any.", &Fault::target, Text{false});
        field("after", "The first calls that match and are left alone.", &Fault::after, count);
        field("times", "How many calls after those go wrong; -1: all.", &Fault::times, Integer{-1, largestInt});
        field("milliseconds", "How much longer a late answer takes.", &Fault::milliseconds, milliseconds,
              Of{"type", "lateAnswer", &Fault::type, Fault::LateAnswer});
        field("key", "The entry that is missing or of a wrong type; left out: a randomly chosen one.", &Fault::key, Text());
        field("status", "The status that is answered, such as \"404\".", &Fault::status, Text{false},
              Of{"type", "status", &Fault::type, Fault::Status});
    }
};

template <>
struct Table<Screen> {
    static constexpr char name[] = "screen";
    static constexpr char about[] = "A device's part of a screen. Devices with the same id make up one screen.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("id", "Screen id.", &Device::screenId, Text(), always);
        field("name", "Screen name.", &Device::screenName, Text(), always);
        field("useName", "false: the screen is called by the device's customName.", &Device::useScreenName, Bool());
        field("position", "Origin of the device's sub-screens on the screen; by default (0, 0).", &Device::screenPosition,
              As<PointProxy>());
        field("subScreens", "The cabinets, in placed sets.", &Device::subScreens, Objects(), always);
    }
};

namespace {

/// A list of one, for devices with several screens to come.
struct Screens : Objects {
    void read(Reader &reader, const QJsonValue &value, Device &device) const
    {
        const QJsonArray array = value.toArray();
        if (array.size() != 1)
            return reader.expected(what(), value);
        wallReader(reader).gridCabinets.clear();
        const Reader::At at(reader, 0);
        readObject<Device, Table<Screen>>(reader, array.first(), device);
    }
    void write(Writer &out, const Device &device) const
    {
        out.open('[');
        writeObject<Device, Table<Screen>>(out, device);
        out.close(']');
    }
    QString what() const { return QStringLiteral("a list of one screen"); }
    void describe(Schema &schema, const Device &) const
    {
        schema.entries(R"("type": "array", "minItems": 1, "maxItems": 1)");
        schema.out.key("items");
        schema.out.open('{');
        schema.reference<Device, Table<Screen>>();
        schema.out.close('}');
    }
};

} // namespace

template <>
struct Table<Device> {
    static constexpr char name[] = "device";
    static constexpr char about[] = "A controller with all that it drives.";
    template <typename Field>
    static void fields(Field &field)
    {
        field("key", "Device key, unique in the wall: first argument of every operation.", &Device::key, Text{false},
              always);
        field("label", "What discovery shows.", &Device::label, Text());
        field("customName", "Custom name of the hardware information.", &Device::customName, Text());
        field("personality", "How the device behaves (docs/faults.md).", &Device::personality,
              OneOf{"a personality", personalityNames()});
        field("timing", "", &Device::timing, Object());
        field("faults", "What goes wrong; of those that apply to a call the last one counts.", &Device::faults, Objects());
        field("brightnessMin", "Lower brightness requests are refused.", &Device::brightnessMin, count);
        field("brightnessMax", "Higher brightness requests are refused.", &Device::brightnessMax, count);
        field("brightnessDefault", "Brightness until one is set; from brightnessMin to brightnessMax.",
              &Device::brightnessDefault, count);
        field("multilayerCorrection", "Feature: multilayer correction.", &Device::multilayerCorrection, Bool());
        field("multilayerCorrectionLayers", "Feature: its layers.", &Device::multilayerCorrectionLayers, count);
        field("multilayerBytesPerPixel", "Length of a pixel in multilayer planes.", &Device::multilayerBytesPerPixel,
              length);
        field("fineGrayscale", "Feature.", &Device::fineGrayscale, Bool());
        field("xBitPlus", "Feature.", &Device::xBitPlus, Bool());
        field("magicGray", "Feature.", &Device::magicGray, Bool());
        field("checkerboardSupported", "false: checkerboard requests are refused.", &Device::checkerboardSupported, Bool());
        field("leds", "How the pixels shine: a preset's name, or an object. Left out: evenly.", &Device::leds, LedsRule());
        field("coefficientUnit", "The chroma or low-gray value that stands for 1.", &Device::coefficientUnit,
              Integer{1, 65535});
        field("allowDuplicateIds", "Several cabinets may have one id.", &Device::allowDuplicateIds, Bool());
        field("allowOverlaps", "Cabinets may lie on top of each other.", &Device::allowOverlaps, Bool());
        field("screens", "The screen that the device drives, or its part of one. Exactly one.", Whole(), Screens(), always);
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

    static QVector<Placed> placedCabinets(Reader &reader, const Device &device)
    {
        QVector<Placed> result;
        for (int i = 0; i < device.subScreens.size(); ++i) {
            const SubScreen &subScreen = device.subScreens[i];
            for (int j = 0; j < subScreen.cabinets.size(); ++j) {
                const Cabinet &cabinet = subScreen.cabinets[j];
                result.append({&cabinet, QRect(subScreen.position + cabinet.position, cabinet.size), i,
                               j - wallReader(reader).gridCabinets.value(i)});
            }
        }
        return result;
    }

    /// Runs `report` at a cabinet, or at an entry of it.
    template <typename Report>
    static void at(Reader &reader, const Placed &placed, const char *entry, Report report)
    {
        const Reader::At atScreens(reader, "screens");
        const Reader::At atScreen(reader, 0);
        const Reader::At atSubScreens(reader, "subScreens");
        const Reader::At atSubScreen(reader, placed.subScreen);
        if (placed.index < 0) {
            const Reader::At atGrid(reader, "grid");
            return report();
        }
        const Reader::At atCabinets(reader, "cabinets");
        const Reader::At atCabinet(reader, placed.index);
        const Reader::At atEntry(reader, entry);
        report();
    }

    static void checkBrightness(Reader &reader, const Device &device)
    {
        const int least = device.brightnessMin;
        const int most = device.brightnessMax;
        if (least > most) {
            const Reader::At atMax(reader, "brightnessMax");
            reader.expected(QStringLiteral("at least brightnessMin (%1)").arg(least), most);
        } else if (device.brightnessDefault < least || device.brightnessDefault > most) {
            const Reader::At atDefault(reader, "brightnessDefault");
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
    static constexpr char name[] = "event";
    static constexpr char about[] = "Something that happens to a device by itself.";
    template <typename Field>
    static void fields(Field &field)
    {
        const Enumeration<Event::Type> types{{{"unplug", Event::Unplug},
                                              {"plug", Event::Plug},
                                              {"rename", Event::Rename},
                                              {"restart", Event::Restart},
                                              {"addFault", Event::AddFault},
                                              {"clearFaults", Event::ClearFaults}}};
        using Of = Where<Event, Event::Type>;
        field("at", "Since the wall was set up.", &Event::at, milliseconds, always);
        field("type", "", &Event::type, types, always);
        field("device", "The device's key.", &Event::deviceKey, Text{false}, always);
        field("name", "The new screen name.", &Event::name, Text(), Of{"type", "rename", &Event::type, Event::Rename});
        field("fault", "The fault that is added.", &Event::fault, Object(),
              Of{"type", "addFault", &Event::type, Event::AddFault});
    }
};

/// Read for the sake of editors, and dropped.
struct SchemaLink : Text {
    void read(Reader &reader, const QJsonValue &value, const WallDescription &) const
    {
        QString dropped;
        Text::read(reader, value, dropped);
    }
    bool isAbsent(const WallDescription &) const { return true; }
    void write(Writer &, const WallDescription &) const {}
    bool showsDefault() const { return false; }
    void describe(Schema &schema, const WallDescription &) const { Text::describe(schema, QString()); }
};

/// The whole file.
template <>
struct Table<WallDescription> {
    static constexpr char name[] = "wall";
    static constexpr char about[] = "A virtual LED wall. All lengths are pixels.";
    template <typename Field>
    static void header(Field &field)
    {
        field("format", "", Whole(), Format{"led-wall"}, always);
        field("version", "", Whole(), Version{1}, always);
    }
    template <typename Field>
    static void fields(Field &field)
    {
        field("$schema", "The schema of this file, for editors. It is not written.", Whole(), SchemaLink());
        header(field);
        field("title", "Free text.", &WallDescription::title, Text());
        field("seed", "Seed of all random numbers.", &WallDescription::seed, bigCount);
        field("chaos", "Share of the calls that meet a random fault.", &WallDescription::chaos, share);
        field("replyBlockHeight", "Loaded coefficients come in bands of this many rows; 0: in one block.",
              &WallDescription::replyBlockHeight, lengthOrNone);
        field("defaultPixels", "", &WallDescription::defaultPixels, As<PixelsProxy>());
        field("devices", "The devices, in the order in which discovery lists them.", &WallDescription::devices, Objects(),
              always);
        field("events", "What happens, in any order; those of one moment in the order of the list.",
              &WallDescription::events, Objects());
    }
    static void check(Reader &reader, const WallDescription &wall)
    {
        QSet<QString> keys;
        for (int i = 0; i < wall.devices.size(); ++i) {
            const QString &key = wall.devices[i].key;
            if (!key.isEmpty() && keys.contains(key)) {
                const Reader::At atDevices(reader, "devices");
                const Reader::At atDevice(reader, i);
                const Reader::At atKey(reader, "key");
                reader.expected(QStringLiteral("a key that no other device has"), key);
            }
            keys.insert(key);
        }
        for (int i = 0; i < wall.events.size(); ++i) {
            const QString &key = wall.events[i].deviceKey;
            if (!key.isEmpty() && !keys.contains(key)) {
                const Reader::At atEvents(reader, "events");
                const Reader::At atEvent(reader, i);
                const Reader::At atKey(reader, "device");
                reader.expected(QStringLiteral("the key of a device of this wall"), key);
            }
        }
    }
};

} // namespace Json

namespace Simulator {

namespace {

constexpr qint64 largestFile = 1LL << 30;

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

} // namespace

bool parseWall(const QByteArray &json, const QString &source, WallDescription &wall, QString *error)
{
    Json::WallReader reader(source);
    WallDescription read;
    QJsonObject object;
    if (reader.parse(json, object)) {
        const int problems = reader.problemCount();
        Json::FieldReader<WallDescription> header(reader, object, read);
        Json::Table<WallDescription>::header(header);
        if (reader.problemCount() == problems) // Of another format nothing else could be understood.
            Json::readObject(reader, object, read);
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
    Json::Writer out;
    Json::writeObject(out, wall);
    return Json::layOut(out.json()) + '\n';
}

QByteArray wallSchema()
{
    using Table = Json::Table<WallDescription>;
    Json::Schema schema;
    schema.out.open('{');
    schema.entries(R"("$schema": "https://json-schema.org/draft/2020-12/schema", "title": "LED wall")");
    schema.entries(R"("$comment": "docs/walls.md explains it. The reader also checks what a schema cannot say: unique keys )"
                   "and ids, cards and modules inside their cabinets, cabinets that do not overlap.\"");
    schema.describe<WallDescription, Table>();
    return schema.finish();
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
    return (isWritten && Json::commit(file, reason)) || fail(error, path + QLatin1String(": ") + reason);
}

} // namespace Simulator
