// Walls as files: what is read, written and refused, with which messages; and the presets.

#include "support/Allocations.h"

#include <adapter/Operations.h>
#include <adapter/journal/Journal.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <functional>
#include <random>

using namespace Simulator;

namespace {

/// JSON with single quotes.
QByteArray json(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

/// Of all types, as wall files have them.
QByteArray faultNames()
{
    QByteArrayList names;
#define FAULT(type, name, calls, note, about) names += name;
#include <simulator/FaultTypes.def>
    return names.join(", ");
}

/// A wall file with one device that has `device` among its entries and `subScreen` as those of its only sub-screen.
QByteArray wallWith(const char *device, const char *subScreen = "'cabinets': []", const char *wall = "'seed': 1")
{
    return json("{'format': 'led-wall', 'version': 1, WALL, 'devices': [{'key': 'A', DEVICE, 'screens': "
                "[{'id': 's', 'name': 'S', 'subScreens': [{SUBSCREEN}]}]}]}")
        .replace("SUBSCREEN", json(subScreen))
        .replace("DEVICE", json(device))
        .replace("WALL", json(wall));
}

QByteArray wallWithCabinets(const char *cabinets, const char *device = "'label': ''")
{
    return wallWith(device, (QByteArray("'cabinets': [") + cabinets + "]").constData());
}

QByteArray wallWithEvents(const char *events)
{
    return wallWith("'label': ''", "'cabinets': []", (QByteArray("'events': [") + events + "]").constData());
}

/// The problems that parseWall() reports of a text; null where it accepts it. The description must stay as it
/// was, or be there.
QString problems(const QByteArray &text)
{
    WallDescription before;
    before.title = QStringLiteral("before");
    WallDescription wall = before;
    QString error;
    const bool accepted = parseWall(text, QStringLiteral("a.json"), wall, &error);
    if (accepted)
        return error.isEmpty() ? QString() : QStringLiteral("accepted, but ") + error;
    return wall == before ? error : QStringLiteral("refused, but changed the description");
}

Fault sampleFault()
{
    Fault fault;
    fault.type = Fault::Status;
    fault.operation = QStringLiteral("ScreenInfo::setCheckerBoardImage(responseHeader)");
    fault.target = QStringLiteral("7");
    fault.after = 2;
    fault.times = 3;
    fault.milliseconds = 40;
    fault.key = QStringLiteral("coefficients");
    fault.status = QStringLiteral("503");
    return fault;
}

/// A description in which every field differs from its default.
WallDescription sampleWall()
{
    Module module{QStringLiteral("m \"1\""), QString::fromUtf8("Fl\xc3\xa4gge\n"), QRect(1, 2, 3, 4)};
    ReceivingCard card{QStringLiteral("c"), QStringLiteral("card"), QRect(1, 1, 30, 20), {module}};
    Cabinet cabinet;
    cabinet.id = QStringLiteral("007");
    cabinet.outputId = QStringLiteral("3");
    cabinet.position = QPoint(-5, 6);
    cabinet.size = QSize(64, 32);
    cabinet.flag = QStringLiteral("cabinet");
    cabinet.receivingCards = {card};
    cabinet.placed = false;
    cabinet.listed = false;

    Device device;
    device.key = QStringLiteral("A");
    device.label = QStringLiteral("label");
    device.customName = QStringLiteral("custom");
    device.screenId = QStringLiteral("screen");
    device.screenName = QStringLiteral("Screen");
    device.useScreenName = false;
    device.screenPosition = QPoint(100, -200);
    device.subScreens = {{QPoint(7, 8), {cabinet}}, {QPoint(), {}}};
    device.allowDuplicateIds = true;
    device.allowOverlaps = true;
    device.brightnessMin = 1;
    device.brightnessMax = 99;
    device.brightnessDefault = 50;
    device.multilayerCorrection = false;
    device.multilayerCorrectionLayers = 257;
    device.fineGrayscale = false;
    device.xBitPlus = false;
    device.magicGray = true;
    device.multilayerBytesPerPixel = 20;
    device.checkerboardSupported = false;
    device.leds = ledPreset(QStringLiteral("worn"));
    device.leds.seed = 2;
    device.coefficientUnit = 16384;
    device.personality = QStringLiteral("slow");
    device.timing = {1, 2, 1LL << 40, true};
    Fault late;
    late.type = Fault::LateAnswer;
    device.faults = {sampleFault(), late, Fault()};

    Event event;
    event.at = 1000000000;
    event.type = Event::AddFault;
    event.deviceKey = QStringLiteral("A");
    event.name = QStringLiteral("name");
    event.fault = sampleFault();

    WallDescription wall;
    wall.title = QStringLiteral("title");
    wall.devices = {device};
    wall.events = {event};
    wall.seed = 1ULL << 53;
    wall.chaos = 0.1;
    wall.replyBlockHeight = 16;
    wall.defaultPixels = {QByteArray("\x00\x80", 2), QByteArray("\x01"), QByteArray("\xff\xfe\x00", 3)};
    return wall;
}

/// The JSON Schema in docs/.
QJsonObject schema()
{
    QFile file(QStringLiteral(SIMULATOR_SOURCES "/../docs/wall.schema.json"));
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

QJsonObject definition(const QString &name)
{
    return name.isEmpty() ? schema() : schema()[QLatin1String("$defs")].toObject()[name].toObject();
}

using Change = std::function<void(WallDescription &)>;

} // namespace

Q_DECLARE_METATYPE(Change)

class TestWallFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyFieldCountsAndRoundTrips_data();
    void everyFieldCountsAndRoundTrips();
    void goodTextsAreAccepted_data();
    void goodTextsAreAccepted();
    void problemsAreNamed_data();
    void problemsAreNamed();
    void allProblemsAreNamedAtOnce();
    void equalKeysLeakNothing_data();
    void equalKeysLeakNothing();
    void gridsMakeCabinets();
    void anythingRegularIsWrittenAsAGrid_data();
    void anythingRegularIsWrittenAsAGrid();
    void textsForPeople();
    void filesRoundTrip();
    void unreadableFilesAreRefused();
    void whatCannotBeReadAgainIsNotWritten();
    void operationsAreThoseOfTheService();
    void damagedTextsAreRefusedOrRead();
    void aSchemaMayBeNamed();
    void theSchemasAreThoseOfThePages();
    void theSchemaKnowsTheSameKeys_data();
    void theSchemaKnowsTheSameKeys();
    void theSchemaKnowsTheSameNames_data();
    void theSchemaKnowsTheSameNames();
    void theSchemaTakesTheNamesOfOperations();
};

void TestWallFile::everyFieldCountsAndRoundTrips_data()
{
    QTest::addColumn<Change>("change");
    const auto row = [](const char *name, const Change &change) { QTest::newRow(name) << change; };
    const auto device = [&](const char *name, const std::function<void(Device &)> &change) {
        row(name, [=](WallDescription &wall) { change(wall.devices[0]); });
    };
    const auto cabinet = [&](const char *name, const std::function<void(Cabinet &)> &change) {
        device(name, [=](Device &each) { change(each.subScreens[0].cabinets[0]); });
    };
    const auto fault = [&](const char *name, const std::function<void(Fault &)> &change) {
        device(name, [=](Device &each) { change(each.faults[0]); });
    };
    row("title", [](WallDescription &wall) { wall.title.clear(); });
    row("a title that is not valid Unicode", [](WallDescription &wall) { wall.title = QChar(0xd800); });
    row("devices", [](WallDescription &wall) {
        wall.devices.append(gridDevice(QStringLiteral("B"), QPoint(0, 0), 3, 2, QSize(5, 7), 4));
    });
    row("events", [](WallDescription &wall) { wall.events.clear(); });
    row("event time", [](WallDescription &wall) { wall.events[0].at = 0; });
    row("event type", [](WallDescription &wall) { wall.events[0].type = Event::Rename; });
    row("event name", [](WallDescription &wall) { wall.events[0].name.clear(); });
    row("event fault", [](WallDescription &wall) { wall.events[0].fault = Fault(); });
    row("seed", [](WallDescription &wall) { wall.seed = 0; });
    row("chaos", [](WallDescription &wall) { wall.chaos = 1.0 / 3; });
    row("block height", [](WallDescription &wall) { wall.replyBlockHeight = 0; });
    for (std::size_t kind = 0; kind < 3; ++kind)
        row("default pixel", [=](WallDescription &wall) { wall.defaultPixels[kind].clear(); });
    row("device key", [](WallDescription &wall) {
        wall.devices[0].key = QStringLiteral("other");
        wall.events[0].deviceKey = QStringLiteral("other");
    });
    device("label", [](Device &d) { d.label.clear(); });
    device("custom name", [](Device &d) { d.customName.clear(); });
    device("screen id", [](Device &d) { d.screenId.clear(); });
    device("screen name", [](Device &d) { d.screenName.clear(); });
    device("use screen name", [](Device &d) { d.useScreenName = true; });
    device("screen position", [](Device &d) { d.screenPosition = QPoint(); });
    device("sub-screens", [](Device &d) { d.subScreens.removeLast(); });
    device("sub-screen position", [](Device &d) { d.subScreens[0].position.rx() = 0; });
    device("duplicate ids", [](Device &d) { d.allowDuplicateIds = false; });
    device("overlaps", [](Device &d) { d.allowOverlaps = false; });
    device("least brightness", [](Device &d) { d.brightnessMin = 0; });
    device("greatest brightness", [](Device &d) { d.brightnessMax = 10000; });
    device("default brightness", [](Device &d) { d.brightnessDefault = 99; });
    device("multilayer correction", [](Device &d) { d.multilayerCorrection = true; });
    device("layers", [](Device &d) { d.multilayerCorrectionLayers = 4; });
    device("fine grayscale", [](Device &d) { d.fineGrayscale = true; });
    device("xBitPlus", [](Device &d) { d.xBitPlus = true; });
    device("magic gray", [](Device &d) { d.magicGray = false; });
    device("bytes of a pixel", [](Device &d) { d.multilayerBytesPerPixel = 16; });
    device("checkerboard", [](Device &d) { d.checkerboardSupported = true; });
    device("LEDs", [](Device &d) { d.leds = Leds(); });
    for (const QString &name : ledPresetNames())
        device("a preset of LEDs", [=](Device &d) { d.leds = ledPreset(name); });
    const auto leds = [&](const char *name, double Leds::*member) {
        device(name, [=](Device &d) { d.leds.*member = 1.0 / 3; });
    };
    leds("pixel luminance", &Leds::pixelLuminance);
    leds("pixel wavelength", &Leds::pixelWavelength);
    leds("module luminance", &Leds::moduleLuminance);
    leds("module wavelength", &Leds::moduleWavelength);
    leds("module seam", &Leds::moduleSeam);
    leds("cabinet seam", &Leds::cabinetSeam);
    leds("dead pixels", &Leds::deadPixels);
    leds("stuck pixels", &Leds::stuckPixels);
    leds("low gray", &Leds::lowGrayBelow);
    device("LED seed", [](Device &d) { d.leds.seed = 1ULL << 53; });
    device("red LEDs", [](Device &d) { d.leds.red = {0.7, 0.3, 1e5}; });
    device("green LEDs", [](Device &d) { d.leds.green.x = 0.25; });
    device("blue LEDs", [](Device &d) { d.leds.blue.luminance = 0.0; });
    device("oldest cabinet, a value of the default", [](Device &d) { d.leds.oldest.green = 1.0; });
    device("oldest cabinet, as by default", [](Device &d) { d.leds.oldest = Ageing(); });
    device("unit of coefficients", [](Device &d) { d.coefficientUnit = 65535; });
    device("personality", [](Device &d) { d.personality.clear(); });
    device("latency", [](Device &d) { d.timing.latency = 0; });
    device("jitter", [](Device &d) { d.timing.jitter = 0; });
    device("bandwidth", [](Device &d) { d.timing.bytesPerSecond = 0; });
    device("thread", [](Device &d) { d.timing.settleInThread = false; });
    device("faults", [](Device &d) { d.faults.clear(); });
    for (int type = Fault::NoAnswer; type <= Fault::Restart; ++type)
        fault("fault type", [=](Fault &f) {
            f.key.clear();
            f.type = static_cast<Fault::Type>(type);
        });
    fault("operation", [](Fault &f) { f.operation.clear(); });
    fault("target", [](Fault &f) { f.target.clear(); });
    fault("after", [](Fault &f) { f.after = 0; });
    fault("times", [](Fault &f) { f.times = -1; });
    fault("milliseconds", [](Fault &f) { f.milliseconds = 0; });
    fault("key", [](Fault &f) { f.key.clear(); });
    fault("status", [](Fault &f) { f.status = QStringLiteral("404"); });
    cabinet("id", [](Cabinet &c) { c.id = QStringLiteral("18446744073709551615"); });
    cabinet("output", [](Cabinet &c) { c.outputId.clear(); });
    cabinet("position", [](Cabinet &c) { c.position.ry() = 0; });
    cabinet("size", [](Cabinet &c) { c.size.rwidth() += 1; });
    cabinet("flag", [](Cabinet &c) { c.flag.clear(); });
    cabinet("placed", [](Cabinet &c) { c.placed = true; });
    cabinet("listed", [](Cabinet &c) { c.listed = true; });
    cabinet("cards", [](Cabinet &c) { c.receivingCards.clear(); });
    cabinet("card id", [](Cabinet &c) { c.receivingCards[0].id.clear(); });
    cabinet("card flag", [](Cabinet &c) { c.receivingCards[0].flag.clear(); });
    cabinet("card place", [](Cabinet &c) { c.receivingCards[0].rect.setWidth(29); });
    cabinet("modules", [](Cabinet &c) { c.receivingCards[0].modules.clear(); });
    cabinet("module id", [](Cabinet &c) { c.receivingCards[0].modules[0].id = QStringLiteral("x"); });
    cabinet("module flag", [](Cabinet &c) { c.receivingCards[0].modules[0].flag.clear(); });
    cabinet("module place", [](Cabinet &c) { c.receivingCards[0].modules[0].rect.setTop(1); });
}

void TestWallFile::everyFieldCountsAndRoundTrips()
{
    QFETCH(Change, change);
    WallDescription wall = sampleWall();
    change(wall);
    QVERIFY(wall != sampleWall());

    const QByteArray text = wallToJson(wall);
    WallDescription again;
    QString error;
    QVERIFY2(parseWall(text, QStringLiteral("a.json"), again, &error), qPrintable(error));
    QVERIFY2(again == wall, text.constData());
    QCOMPARE(wallToJson(again), text);
}

void TestWallFile::goodTextsAreAccepted_data()
{
    QTest::addColumn<QByteArray>("text");
    const QByteArray good = wallWith("'label': 'A'");
    QTest::newRow("the least wall") << json("{'format': 'led-wall', 'version': 1, 'devices': []}");
    QTest::newRow("one device") << good;
    QTest::newRow("with a byte order mark") << "\xef\xbb\xbf" + good;
    QTest::newRow("with line breaks of another system") << QByteArray(good).replace(", ", ",\r\n");
    QTest::newRow("an integer with a point") << wallWith("'brightnessMin': 1.0");
    QTest::newRow("the greatest seed") << wallWith("'label': ''", "'cabinets': []", "'seed': 9007199254740992");
    QTest::newRow("one key in several objects")
        << wallWithCabinets("{'id': '1', 'outputId': 'id', 'position': {'x': 0, 'y': 0}, 'size': {'width': 1, 'height': 1}, "
                            "'receivingCards': [{'id': 'a \\' id', 'rect': {'x': 0, 'y': 0, 'width': 1, 'height': 1}}]}");
    QTest::newRow("neighbours touch") << wallWithCabinets(
        "{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 4, 'height': 2}}, "
        "{'id': '2', 'outputId': '1', 'position': {'x': 4, 'y': 0}, 'size': {'width': 4, 'height': 2}}, "
        "{'id': '3', 'outputId': '1', 'position': {'x': 0, 'y': 2}, 'size': {'width': 8, 'height': 2}}");
    // Rows so long that a comparison of all pairs would not end.
    QTest::newRow("a column of 200000 cabinets")
        << wallWith("'label': ''", "'grid': {'columns': 1, 'rows': 200000, 'cabinetSize': {'width': 1, 'height': 1}}");
    QTest::newRow("a row of 200000 cabinets")
        << wallWith("'label': ''", "'grid': {'columns': 200000, 'rows': 1, 'cabinetSize': {'width': 1, 'height': 1}}");
    QTest::newRow("a cabinet that is not placed lies on another one")
        << wallWithCabinets("{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 4, 'height': 2}}, "
                            "{'id': '2', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 4, 'height': 2}, "
                            "'placed': false}");
    QTest::newRow("a device that overlaps")
        << wallWithCabinets("{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 4, 'height': 2}}, "
                            "{'id': '2', 'outputId': '1', 'position': {'x': 3, 'y': 1}, 'size': {'width': 4, 'height': 2}}",
                            "'allowOverlaps': true");
    QTest::newRow("a device with one id twice")
        << wallWithCabinets("{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 4, 'height': 2}}, "
                            "{'id': '1', 'outputId': '1', 'position': {'x': 4, 'y': 1}, 'size': {'width': 4, 'height': 2}}",
                            "'allowDuplicateIds': true");
}

void TestWallFile::goodTextsAreAccepted()
{
    QFETCH(QByteArray, text);
    QCOMPARE(problems(text), QString());
}

void TestWallFile::problemsAreNamed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, const QByteArray &text, const char *problem) {
        QTest::newRow(name) << text << QStringLiteral("a.json: ") + QString::fromLatin1(json(problem));
    };
    const QByteArray good = wallWith("'label': 'A'");

    row("an empty file", "", "the file is empty");
    row("nothing but blanks", " \n", "the file is empty");
    row("nothing but a byte order mark", "\xef\xbb\xbf", "the file is empty");
    row("not JSON at all", "wall", "1:2: not valid JSON: illegal value");
    row("a picture", QByteArray("\x89PNG\r\n\x1a\n\x00", 9), "1:2: not valid JSON: illegal value");
    row("cut short", good.left(20) + "\n  \xc3\xa4", "2:4: not valid JSON: unterminated string");
    row("a number that nothing can hold", wallWith("'brightnessMin': 1e999"), "1:96: not valid JSON: illegal number");
    row("nested too deep", QByteArray(100000, '['), "1:1026: not valid JSON: too deeply nested document");
    row("a list", "[]", "expected an object, got a list");
    row("a key twice", "{\n" + json("'title': 'a',\n'title': 'b',\n") + wallWith("'label': 'A'").mid(1),
        "3: the key 'title' is there twice");
    row("keys twice in several lines",
        "{\n" + json("'title': 'a',\n'title': 'b',\n'replyBlockHeight': 1,\n'replyBlockHeight': 2,\n")
            + wallWith("'label': 'A'").mid(1),
        "3: the key 'title' is there twice\na.json: 5: the key 'replyBlockHeight' is there twice");
    row("a key twice, with blanks before the colons",
        "{\n" + json("'title' : 'a',\n'title'\t\r\n : 'b',\n") + wallWith("'label': 'A'").mid(1),
        "3: the key 'title' is there twice");
    row("another format", json("{'format': 'movie', 'version': 1, 'frames': 3}"),
        "format: expected 'led-wall', got 'movie'");
    row("no format", json("{'version': 1}"), "format: expected 'led-wall', got nothing");
    row("another version", json("{'format': 'led-wall', 'version': 2, 'new': true}"),
        "version: this program reads version 1, the file has 2");
    row("a version between", json("{'format': 'led-wall', 'version': 1.5}"),
        "version: this program reads version 1, the file has 1.5");
    row("a version that is none", json("{'format': 'led-wall', 'version': '1'}"), "version: expected the number 1, got '1'");
    row("no version", json("{'format': 'led-wall'}"), "version: expected the number 1, got nothing");
    row("no devices", json("{'format': 'led-wall', 'version': 1}"), "devices: expected a list, got nothing");
    row("an object for a list", json("{'format': 'led-wall', 'version': 1, 'devices': {}}"),
        "devices: expected a list, got an object");
    row("a number for an object", json("{'format': 'led-wall', 'version': 1, 'devices': [7]}"),
        "devices[0]: expected an object, got 7");

    row("a misspelt key", wallWith("'lable': 'x'"), "devices[0]: unknown key 'lable', did you mean 'label'?");
    row("a key in capitals", wallWith("'LABEL': 'x'"), "devices[0]: unknown key 'LABEL', did you mean 'label'?");
    row("a key that is like no other", wallWith("'timing': {'colour': 1}"),
        "devices[0].timing: unknown key 'colour', known are latency, jitter, bytesPerSecond, settleInThread");
    row("a key with too many additional characters", wallWith("'timing': {'xxxxlatency': 1}"),
        "devices[0].timing: unknown key 'xxxxlatency', known are latency, jitter, bytesPerSecond, settleInThread");
    row("a key of endless length", wallWith(("'timing': {'" + QByteArray(100000, 'x') + "': 1}").constData()),
        ("devices[0].timing: unknown key '" + QByteArray(63, 'x')
         + "..., known are latency, jitter, bytesPerSecond, settleInThread")
            .constData());

    row("a number for a text", wallWith("'label': 7"), "devices[0].label: expected a text, got 7");
    row("null for a text", wallWith("'label': null"), "devices[0].label: expected a text, got null");
    row("a text for true or false", wallWith("'xBitPlus': 'yes'"), "devices[0].xBitPlus: expected true or false, got 'yes'");
    row("a text for a number", wallWith("'brightnessMin': '1'"),
        "devices[0].brightnessMin: expected an integer that is not negative, got '1'");
    row("a fraction", wallWith("'brightnessMin': 1.5"),
        "devices[0].brightnessMin: expected an integer that is not negative, got 1.5");
    row("a negative number", wallWith("'timing': {'jitter': -1}"),
        "devices[0].timing.jitter: expected an integer that is not negative, got -1");
    row("a number above all integers", wallWith("'brightnessMin': 1e300"),
        "devices[0].brightnessMin: expected an integer that is not negative, got 1e+300");
    row("an integer too large", wallWith("'timing': {'latency': 2147483648}"),
        "devices[0].timing.latency: expected an integer of at most 1000000000, got 2147483648");
    row("a seed that readers do not keep", wallWith("'label': ''", "'cabinets': []", "'seed': 9007199254740993"),
        "seed: expected an integer of at most 9007199254740992, got 9007199254740993");
    row("an unknown preset of LEDs", wallWith("'leds': 'bright'"),
        "devices[0].leds: expected a preset of LEDs (even, fresh, mixed, worn), got 'bright'");
    row("an unknown preset in an object", wallWith("'leds': {'preset': 'bright'}"),
        "devices[0].leds.preset: expected a preset of LEDs (even, fresh, mixed, worn), got 'bright'");
    row("LEDs of another type", wallWith("'leds': 3"), "devices[0].leds: expected an object or the name of a preset, got 3");
    row("more than light", wallWith("'leds': {'red': {'x': 0.75, 'y': 0.5, 'luminance': 1}}"),
        "devices[0].leds.red.y: expected at most 1 - x (0.25), got 0.5");
    row("light of no height", wallWith("'leds': {'red': {'x': 0.5, 'y': 0, 'luminance': 1}}"),
        "devices[0].leds.red.y: expected a number from 0.001 to 1, got 0");
    row("a colour that does not age", wallWith("'leds': {'oldest': {'red': 1, 'green': 1}}"),
        "devices[0].leds.oldest.blue: expected a number from 0 to 1, got nothing");
    row("more defects than pixels", wallWith("'leds': {'deadPixels': 0.75, 'stuckPixels': 0.5}"),
        "devices[0].leds.stuckPixels: expected at most 1 - deadPixels (0.25), got 0.5");
    row("no unit", wallWith("'coefficientUnit': 0"), "devices[0].coefficientUnit: expected a positive integer, got 0");
    row("a share above one", wallWith("'label': ''", "'cabinets': []", "'chaos': 1.01"),
        "chaos: expected a number from 0 to 1, got 1.01");
    row("an odd number of digits", wallWith("'label': ''", "'cabinets': []", "'defaultPixels': {'lowGray': '008'}"),
        "defaultPixels.lowGray: expected a text of hexadecimal digits, two for each byte, got '008'");
    row("digits that are none", wallWith("'label': ''", "'cabinets': []", "'defaultPixels': {'chroma': '0g'}"),
        "defaultPixels.chroma: expected a text of hexadecimal digits, two for each byte, got '0g'");
    row("a long text is cut", wallWith(("'xBitPlus': '" + QByteArray(100, 'x') + "'").constData()),
        ("devices[0].xBitPlus: expected true or false, got '" + QByteArray(63, 'x') + "...").constData());

    row("a device without key", QByteArray(good).replace("\"key\": \"A\", ", ""),
        "devices[0].key: expected a text that is not empty, got nothing");
    row("an empty key", QByteArray(good).replace("\"A\", \"label", "\"\", \"label"),
        "devices[0].key: expected a text that is not empty, got ''");
    const int start = good.indexOf("{\"key\"");
    const QByteArray device = good.mid(start, good.size() - 2 - start);
    row("a key twice in the wall", good.left(good.size() - 2) + ", " + device + "]}",
        "devices[1].key: expected a key that no other device has, got 'A'");
    row("two screens", QByteArray(good).replace("'subScreens': [{}]}]", "").replace("}]}]}]}", "}]}, {}]}]}"),
        "devices[0].screens: expected a list of one screen, got a list");
    row("a personality that is not a text", wallWith("'personality': 3"),
        "devices[0].personality: expected a personality (obedient, slow, silent, refuses writes, rejects uploads, damaged "
        "blocks, short replies, answers 404, vanishes in refresh, forgets on restart), got 3");
    row("an unknown personality", wallWith("'personality': 'lazy'"),
        "devices[0].personality: expected a personality (obedient, slow, silent, refuses writes, rejects uploads, damaged "
        "blocks, short replies, answers 404, vanishes in refresh, forgets on restart), got 'lazy'");
    row("an unknown fault", wallWith("'faults': [{'type': 'noAnswer'}, {'type': 'NoAnswer'}]"),
        ("devices[0].faults[1].type: expected one of " + faultNames() + ", got 'NoAnswer'").constData());
    row("a late answer without a time", wallWith("'faults': [{'type': 'lateAnswer'}]"),
        "devices[0].faults[0].milliseconds: expected an integer that is not negative, got nothing");
    row("a status without a status", wallWith("'faults': [{'type': 'status'}]"),
        "devices[0].faults[0].status: expected a text that is not empty, got nothing");
    row("less than all calls", wallWith("'faults': [{'type': 'vanish', 'times': -2}]"),
        "devices[0].faults[0].times: expected an integer of at least -1, got -2");
    row("brightness upside down", wallWith("'brightnessMin': 10, 'brightnessMax': 9"),
        "devices[0].brightnessMax: expected at least brightnessMin (10), got 9");
    row("a default brightness out of range", wallWith("'brightnessMax': 100"),
        "devices[0].brightnessDefault: expected an integer from brightnessMin (0) to brightnessMax (100), got 5000");

    row("an event of nobody", wallWithEvents("{'at': 0, 'type': 'plug', 'device': 'B'}"),
        "events[0].device: expected the key of a device of this wall, got 'B'");
    row("an event without a time", wallWithEvents("{'type': 'plug', 'device': 'A'}"),
        "events[0].at: expected an integer that is not negative, got nothing");
    row("an unknown event", wallWithEvents("{'at': 0, 'type': 'explode', 'device': 'A'}"),
        "events[0].type: expected one of unplug, plug, rename, restart, addFault, clearFaults, got 'explode'");
    row("a new name without a name", wallWithEvents("{'at': 0, 'type': 'rename', 'device': 'A'}"),
        "events[0].name: expected a text, got nothing");
    row("a new fault without a fault", wallWithEvents("{'at': 0, 'type': 'addFault', 'device': 'A'}"),
        "events[0].fault: expected an object, got nothing");

    const auto cabinet = [](const char *entries) {
        return QByteArray("{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 64, 'height': 32}, ")
               + entries + "}";
    };
    const auto placed = [](const char *id, const char *position, const char *size) {
        return QByteArray("{'id': '") + id + "', 'outputId': '1', 'position': {" + position + "}, 'size': {" + size + "}}";
    };
    const char *const origin = "'x': 0, 'y': 0";
    const char *const small = "'width': 4, 'height': 2";
    row("a negative width", wallWithCabinets(placed("1", origin, "'width': -64, 'height': 64").constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].size.width: expected a positive integer, got -64");
    row("no width", wallWithCabinets(placed("1", origin, "'height': 64").constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].size.width: expected a positive integer, got nothing");
    row("a place too far", wallWithCabinets(placed("1", "'x': 0, 'y': -100000001", small).constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].position.y: expected an integer of at least -100000000, got "
        "-100000001");
    row("planes that nothing can hold", wallWithCabinets(placed("1", origin, "'width': 20000, 'height': 6000").constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].size: expected a cabinet whose coefficients take less than 2 GiB, "
        "got 20000x6000 pixels of 18 bytes");
    row("multilayer planes that nothing can hold",
        wallWithCabinets(placed("1", origin, "'width': 4000, 'height': 600").constData(), "'multilayerBytesPerPixel': 900"),
        "devices[0].screens[0].subScreens[0].cabinets[0].size: expected a cabinet whose coefficients take less than 2 GiB, "
        "got 4000x600 pixels of 900 bytes");
    for (const char *id : {"", "x", "-1", " 1", "1.0", "0x1", "18446744073709551616"}) {
        row(id, wallWithCabinets(placed(id, origin, small).constData()),
            (QByteArray("devices[0].screens[0].subScreens[0].cabinets[0].id: expected a text that is a decimal number below "
                        "2^64, got '")
             + id + "'")
                .constData());
    }
    row("an id that is not a string",
        wallWithCabinets(placed("1", origin, small).replace("'1', 'out", "1, 'out").constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].id: expected a text that is a decimal number below 2^64, got 1");
    row("an id twice",
        wallWithCabinets((placed("7", origin, small) + ", " + placed("007", "'x': 4, 'y': 0", small)).constData()),
        "devices[0].screens[0].subScreens[0].cabinets[1].id: expected an id that no other cabinet of the device has, got "
        "'007'");
    row("cabinets on top of each other",
        wallWithCabinets((placed("1", "'x': 3, 'y': 1", small) + ", " + placed("2", "'x': 9, 'y': 9", small) + ", "
                          + placed("3", origin, small))
                             .constData()),
        "devices[0].screens[0].subScreens[0].cabinets[2].position: cabinet 3 lies on cabinet 1");
    row("overlaps in any order",
        wallWithCabinets((placed("1", "'x': 20, 'y': 0", "'width': 4, 'height': 9") + ", "
                          + placed("2", "'x': 10, 'y': 0", "'width': 9, 'height': 2") + ", "
                          + placed("3", "'x': 0, 'y': 1", "'width': 11, 'height': 1") + ", "
                          + placed("4", "'x': 0, 'y': 2", "'width': 20, 'height': 1") + ", "
                          + placed("5", "'x': 0, 'y': 8", "'width': 21, 'height': 9"))
                             .constData()),
        "devices[0].screens[0].subScreens[0].cabinets[2].position: cabinet 3 lies on cabinet 2\n"
        "a.json: devices[0].screens[0].subScreens[0].cabinets[4].position: cabinet 5 lies on cabinet 1");
    row("a card outside",
        wallWithCabinets(cabinet("'receivingCards': [{'id': '0', 'rect': {'x': 1, 'y': 0, 'width': 64, "
                                 "'height': 32}}]")
                             .constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].receivingCards[0].rect: expected a place inside the cabinet of "
        "64x32, "
        "got 64x32 at (1, 0)");
    row("a card that begins before the cabinet",
        wallWithCabinets(
            cabinet("'receivingCards': [{'id': '0', 'rect': {'x': 0, 'y': -1, 'width': 64, 'height': 32}}]").constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].receivingCards[0].rect.y: expected an integer that is not "
        "negative, "
        "got -1");
    const QByteArray card = "'receivingCards': [{'id': '0', 'rect': {'x': 0, 'y': 0, 'width': 9, 'height': 9}, 'modules': ["
                            "{'id': 'a', 'rect': {'x': 0, 'y': 0, 'width': 9, 'height': 9}}, ";
    row("a module outside",
        wallWithCabinets(
            cabinet((card + "{'id': 'b', 'rect': {'x': 0, 'y': 30, 'width': 9, 'height': 9}}]}]").constData()).constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].receivingCards[0].modules[1].rect: expected a place inside the "
        "cabinet of 64x32, got 9x9 at (0, 30)");
    row("a module's id twice",
        wallWithCabinets(
            cabinet((card + "{'id': 'a', 'rect': {'x': 0, 'y': 9, 'width': 9, 'height': 9}}]}]").constData()).constData()),
        "devices[0].screens[0].subScreens[0].cabinets[0].receivingCards[0].modules[1].id: expected an id that no other "
        "module "
        "of the cabinet has, got 'a'");

    const auto grid = [](const char *entries) {
        return wallWith("'label': ''",
                        (QByteArray("'grid': {'cabinetSize': {'width': 64, 'height': 64}, ") + entries + "}").constData());
    };
    row("a grid without rows", grid("'columns': 3"),
        "devices[0].screens[0].subScreens[0].grid.rows: expected a positive integer, got nothing");
    row("a grid wider than all walls", grid("'columns': 10000000, 'rows': 1"),
        "devices[0].screens[0].subScreens[0].grid: expected a grid of at most 100000000 pixels in width and height, got "
        "640000000x64");
    row("a grid of too many cabinets", grid("'columns': 100000, 'rows': 11"),
        "devices[0].screens[0].subScreens[0].grid: expected at most 1000000 cabinets in the grids of a wall");
    row("a grid of too many modules",
        grid("'columns': 1, 'rows': 1, 'cards': {'columns': 1, 'rows': 1, 'modules': {'columns': 101, 'rows': 100}}"),
        "devices[0].screens[0].subScreens[0].grid: expected at most 10000 modules in a cabinet");
    row("a grid of unknown outputs", grid("'columns': 1, 'rows': 1, 'outputs': 'random'"),
        "devices[0].screens[0].subScreens[0].grid.outputs: expected one of rows, columns, got 'random'");
    row("a cabinet with an id of the grid",
        wallWith("'label': ''", ("'grid': {'columns': 3, 'rows': 1, 'cabinetSize': {'width': 4, 'height': 2}}, 'cabinets': ["
                                 + placed("4", "'x': 0, 'y': 2", small) + ", " + placed("3", "'x': 4, 'y': 2", small) + "]")
                                    .constData()),
        "devices[0].screens[0].subScreens[0].cabinets[1].id: expected an id that no other cabinet of the device has, got "
        "'3'");
    row("grids on top of each other",
        wallWith("'allowDuplicateIds': true",
                 "'grid': {'columns': 1, 'rows': 1, 'cabinetSize': {'width': 4, 'height': 2}}}, "
                 "{'grid': {'columns': 1, 'rows': 1, 'cabinetSize': {'width': 4, 'height': 2}}"),
        "devices[0].screens[0].subScreens[1].grid: cabinet 1 lies on cabinet 1");
}

void TestWallFile::problemsAreNamed()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, problem);
    QCOMPARE(problems(text), problem);
}

void TestWallFile::allProblemsAreNamedAtOnce()
{
    const QByteArray text =
        wallWith("'label': 1, 'label': 2, 'xbitPlus': true, 'faults': [{'type': 'none', 'operation': 'Correctionop::load'}]",
                 "'position': {'x': 1}, 'cabinets': [{'id': '1', 'outputId': 1, 'position': [], 'size': {'width': 0, "
                 "'height': 1.5}}]");
    const QStringList lines = problems(text).split(QLatin1Char('\n'));
    QStringList places;
    for (const QString &line : lines)
        places += line.section(QStringLiteral(": "), 1, 1);
    const QString cabinet = QStringLiteral("devices[0].screens[0].subScreens[0].cabinets[0].");
    QCOMPARE(
        places,
        QStringList({QStringLiteral("1"), QStringLiteral("devices[0].label"), QStringLiteral("devices[0].faults[0].type"),
                     QStringLiteral("devices[0].faults[0].operation"),
                     QStringLiteral("devices[0].screens[0].subScreens[0].position.y"), cabinet + QStringLiteral("outputId"),
                     cabinet + QStringLiteral("position"), cabinet + QStringLiteral("size.width"),
                     cabinet + QStringLiteral("size.height"), QStringLiteral("devices[0]")}));
}

void TestWallFile::equalKeysLeakNothing_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, const QByteArray &text, const char *expected) {
        QTest::newRow(name) << text << QString::fromLatin1(json(expected));
    };
    row("lists", wallWith("'label': ''", "'cabinets': [], 'cabinets': []"), "a.json: 1: the key 'cabinets' is there twice");
    row("three of them", wallWith("'faults': [{}], 'faults': [']'], 'label': '', 'faults': []"),
        "a.json: 1: the key 'faults' is there twice\na.json: 1: the key 'faults' is there twice");
    row("objects over lines, with quotes and commas",
        "{" + json("'x\\'': {'a,': [1,\n'}'],\n'b': {}},\n'\\u0078\\'': 1,") + wallWith("'label': ''").mid(1),
        "a.json: 4: the key 'x\\'' is there twice\na.json: unknown key 'x\\'', known are $schema, format, version, title, "
        "seed, chaos, replyBlockHeight, defaultPixels, devices, events");
    row("a text that ends later", json("{'a': [1], 'b': 2, 'a': 3,\n'c': }"),
        "a.json: 2:7: not valid JSON: object is missing after a comma");
    row("brackets out of place", json("]{'a': [1], 'a': 2}"), "a.json: 1:2: not valid JSON: illegal value");
    row("a string that does not end", json("{'a': [1], 'a': 2, 'b\\'"), "a.json: 1:24: not valid JSON: unterminated string");
}

void TestWallFile::equalKeysLeakNothing()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, expected);
    QCOMPARE(problems(text), expected);
#ifdef COUNTS_ALLOCATIONS
    Allocations::liveBlocks = 0;
    Allocations::armed = true;
    problems(text);
    Allocations::armed = false;
    QCOMPARE(Allocations::liveBlocks, qint64(0));
#endif
}

void TestWallFile::gridsMakeCabinets()
{
    const QByteArray text = wallWith("'label': ''", "'position': {'x': 5, 'y': 0}, 'grid': {'columns': 3, 'rows': 2, "
                                                    "'cabinetSize': {'width': 7, 'height': 4}, 'firstId': 10, 'outputs': "
                                                    "'columns', 'firstOutput': 8, 'cards': {'columns': 2, 'rows': 1, "
                                                    "'modules': {'columns': 1, 'rows': 2}}}, 'cabinets': [{'id': '1', "
                                                    "'outputId': '', 'position': {'x': 0, 'y': 8}, 'size': {'width': 1, "
                                                    "'height': 1}}]");
    WallDescription wall;
    QString error;
    QVERIFY2(parseWall(text, QString(), wall, &error), qPrintable(error));
    const SubScreen subScreen = wall.devices.value(0).subScreens.value(0);
    QCOMPARE(subScreen.position, QPoint(5, 0));
    QCOMPARE(subScreen.cabinets.size(), 7);
    for (int i = 0; i < 6; ++i) {
        const Cabinet &cabinet = subScreen.cabinets[i];
        QCOMPARE(cabinet.id, QString::number(10 + i));
        QCOMPARE(cabinet.outputId, QString::number(8 + i % 3));
        QCOMPARE(cabinet.position, QPoint(i % 3 * 7, i / 3 * 4));
        QCOMPARE(cabinet.size, QSize(7, 4));
        QVERIFY(cabinet.placed);
        const QList<ReceivingCard> cards{
            {QStringLiteral("0"),
             QString(),
             QRect(0, 0, 3, 4),
             {{QStringLiteral("0"), QString(), QRect(0, 0, 3, 2)}, {QStringLiteral("1"), QString(), QRect(0, 2, 3, 2)}}},
            {QStringLiteral("1"),
             QString(),
             QRect(3, 0, 4, 4),
             {{QStringLiteral("2"), QString(), QRect(3, 0, 4, 2)}, {QStringLiteral("3"), QString(), QRect(3, 2, 4, 2)}}}};
        QCOMPARE(cabinet.receivingCards, cards);
    }
    QCOMPARE(subScreen.cabinets[6].id, QStringLiteral("1"));
    QVERIFY(subScreen.cabinets[6].receivingCards.isEmpty());
}

void TestWallFile::anythingRegularIsWrittenAsAGrid_data()
{
    QTest::addColumn<QByteArray>("subScreen");
    QTest::addColumn<bool>("regular");
    const auto row = [](const char *name, const char *subScreen, bool regular) {
        QTest::newRow(name) << json(subScreen) << regular;
    };
    row("one cabinet", "'grid': {'columns': 1, 'rows': 1, 'cabinetSize': {'width': 7, 'height': 5}}", true);
    row("a row", "'grid': {'columns': 9, 'rows': 1, 'cabinetSize': {'width': 7, 'height': 5}, 'firstId': 0}", true);
    row("a column", "'grid': {'columns': 1, 'rows': 9, 'cabinetSize': {'width': 7, 'height': 5}, 'firstOutput': 0}", true);
    row("outputs by column",
        "'grid': {'columns': 3, 'rows': 2, 'cabinetSize': {'width': 7, 'height': 5}, 'outputs': 'columns', 'firstOutput': "
        "4}",
        true);
    row("cards without modules",
        "'grid': {'columns': 3, 'rows': 2, 'cabinetSize': {'width': 7, 'height': 5}, 'cards': {'columns': 2, 'rows': 3}}",
        true);
    row("cards with modules",
        "'grid': {'columns': 3, 'rows': 2, 'cabinetSize': {'width': 7, 'height': 5}, 'cards': {'columns': 2, 'rows': 2, "
        "'modules': {'columns': 3, 'rows': 2}}}",
        true);
    row("another id",
        "'cabinets': [{'id': '01', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 1, 'height': 1}}]",
        false);
    row("a flag",
        "'cabinets': [{'id': '1', 'outputId': '1', 'flag': 'f', 'position': {'x': 0, 'y': 0}, 'size': {'width': 1, "
        "'height': 1}}]",
        false);
    row("a gap",
        "'cabinets': [{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 1, 'height': 1}}, {'id': "
        "'2', "
        "'outputId': '1', 'position': {'x': 2, 'y': 0}, 'size': {'width': 1, 'height': 1}}]",
        false);
    row("no cabinet", "'cabinets': []", false);
}

void TestWallFile::anythingRegularIsWrittenAsAGrid()
{
    QFETCH(QByteArray, subScreen);
    QFETCH(bool, regular);
    WallDescription wall;
    QString error;
    QVERIFY2(parseWall(wallWith("'label': ''", subScreen.constData()), QString(), wall, &error), qPrintable(error));
    const QByteArray text = wallToJson(wall);
    QCOMPARE(text.contains("\"grid\""), regular);
    WallDescription again;
    QVERIFY2(parseWall(text, QString(), again, &error), qPrintable(error));
    QVERIFY2(again == wall, text.constData());
}

void TestWallFile::textsForPeople()
{
    WallDescription wall;
    Device device = gridDevice(QStringLiteral("A"), QPoint(3, 0), 2, 1, QSize(4, 2));
    device.faults = {Fault()};
    wall.devices = {device};
    QCOMPARE(
        QString::fromUtf8(wallToJson(wall)),
        QString::fromUtf8(json("{\n"
                               "  'format': 'led-wall',\n"
                               "  'version': 1,\n"
                               "  'devices': [\n"
                               "    {\n"
                               "      'key': 'A',\n"
                               "      'label': 'Device A',\n"
                               "      'customName': 'Wall A',\n"
                               "      'faults': [{'type': 'noAnswer'}],\n"
                               "      'screens': [\n"
                               "        {\n"
                               "          'id': 'screen',\n"
                               "          'name': 'Screen',\n"
                               "          'position': {'x': 3, 'y': 0},\n"
                               "          'subScreens': [\n"
                               "            {\n"
                               "              'grid': {\n"
                               "                'columns': 2,\n"
                               "                'rows': 1,\n"
                               "                'cabinetSize': {'width': 4, 'height': 2},\n"
                               "                'cards': {'columns': 1, 'rows': 1, 'modules': {'columns': 2, 'rows': 2}}\n"
                               "              }\n"
                               "            }\n"
                               "          ]\n"
                               "        }\n"
                               "      ]\n"
                               "    }\n"
                               "  ]\n"
                               "}\n")));
}

void TestWallFile::filesRoundTrip()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("wall.json"));
    QString error;
    QVERIFY2(writeWall(path, sampleWall(), &error), qPrintable(error));
    WallDescription wall;
    QVERIFY2(readWall(path, wall, &error), qPrintable(error));
    QVERIFY(wall == sampleWall());
}

void TestWallFile::unreadableFilesAreRefused()
{
    const QTemporaryDir folder;
    const QString missing = folder.filePath(QStringLiteral("missing.json"));
    WallDescription wall = sampleWall();
    QString error;
    QVERIFY(!readWall(missing, wall, &error));
    QCOMPARE(error, missing + QStringLiteral(": no such file"));
    QVERIFY(!readWall(folder.path(), wall, &error));
    QCOMPARE(error, folder.path() + QStringLiteral(": a directory, no wall file"));
    QVERIFY(!readWall(QStringLiteral("/dev/zero"), wall, &error));
    QCOMPARE(error, QStringLiteral("/dev/zero: no regular file"));

    const QString huge = folder.filePath(QStringLiteral("huge.json"));
    QFile file(huge);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.resize((1LL << 30) + 1));
    QVERIFY(!readWall(huge, wall, &error));
    QCOMPARE(error, huge + QStringLiteral(": larger than 1 GiB"));
    QVERIFY(file.resize(0));
    QVERIFY(!readWall(huge, wall, &error));
    QCOMPARE(error, huge + QStringLiteral(": the file is empty"));

    QVERIFY(file.setPermissions(QFileDevice::WriteOwner));
    if (!QFileInfo(huge).isReadable()) { // The superuser reads everything.
        QVERIFY(!readWall(huge, wall, &error));
        QCOMPARE(error, huge + QStringLiteral(": Permission denied"));
    }
    QVERIFY(!readWall(missing, wall));
    QVERIFY(wall == sampleWall());
}

void TestWallFile::whatCannotBeReadAgainIsNotWritten()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("wall.json"));
    QVERIFY(writeWall(path, sampleWall()));

    WallDescription twice = sampleWall();
    twice.devices.append(twice.devices.first());
    QString error;
    QVERIFY(!writeWall(path, twice, &error));
    QCOMPARE(error, path + QStringLiteral(": devices[1].key: expected a key that no other device has, got \"A\""));
    WallDescription noNumber = sampleWall();
    noNumber.chaos = qQNaN();
    noNumber.devices[0].faults[0].type = static_cast<Fault::Type>(15);
    QVERIFY(!writeWall(path, noNumber, &error));
    QCOMPARE(error.count(QLatin1Char('\n')), 1);
    QVERIFY(error.startsWith(path + QStringLiteral(": chaos: expected a number from 0 to 1, got null\n")));
    WallDescription wall;
    QVERIFY(readWall(path, wall));
    QVERIFY(wall == sampleWall());

    const QString nowhere = folder.filePath(QStringLiteral("no/such/folder.json"));
    QVERIFY(!writeWall(nowhere, sampleWall(), &error));
    QCOMPARE(error, nowhere + QStringLiteral(": No such file or directory"));
}

// Every operation of a device is accepted, and nothing else.
void TestWallFile::operationsAreThoseOfTheService()
{
    QStringList expected;
    for (const Adapter::Operation &operation : Adapter::operations()) {
        if (operation.address != Adapter::Address::Wall)
            expected += operation.name;
    }
    expected.sort();
    QVERIFY(expected.size() > 50);

    const QString problem = problems(wallWith("'faults': [{'type': 'noAnswer', 'operation': 'HttpProxy::getDeviceList'}]"));
    QCOMPARE(problem, QStringLiteral("a.json: devices[0].faults[0].operation: expected an operation's name (%1), got "
                                     "\"HttpProxy::getDeviceList\"")
                          .arg(expected.join(QStringLiteral(", "))));
}

void TestWallFile::damagedTextsAreRefusedOrRead()
{
    const QByteArray whole = wallToJson(sampleWall());
    for (int length = 0; length < whole.size() - 2; ++length) // The last brace is followed by a line break.
        QVERIFY2(problems(whole.left(length)).startsWith(QLatin1String("a.json: ")), qPrintable(QString::number(length)));

    std::mt19937 random(1);
    const QByteArray replacements("\"{}[],:0-9.e\\ntrua\xff\x00", 20);
    const auto below = [&](int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    int refused = 0;
    for (int round = 0; round < 2000; ++round) {
        QByteArray text = whole;
        for (int changes = 1 + below(3); changes > 0; --changes)
            text[below(text.size())] = replacements[below(replacements.size())];
        const QString said = problems(text); // An accepted text changes nothing else, a refused one has a reason.
        QVERIFY2(said.isNull() || said.startsWith(QLatin1String("a.json: ")), text.constData());
        refused += said.isNull() ? 0 : 1;
    }
    QVERIFY(refused > 0 && refused < 2000);
}

void TestWallFile::aSchemaMayBeNamed()
{
    WallDescription wall;
    const QByteArray named = json("{'$schema': './wall.schema.json', 'format': 'led-wall', 'version': 1, 'devices': []}");
    QVERIFY(parseWall(named, QStringLiteral("a.json"), wall, nullptr));
    QVERIFY(!wallToJson(wall).contains("$schema"));
    QCOMPARE(problems(json("{'$schema': 7, 'format': 'led-wall', 'version': 1, 'devices': []}")),
             QStringLiteral("a.json: $schema: expected a text, got 7"));
}

void TestWallFile::theSchemasAreThoseOfThePages()
{
    QFile wall(QStringLiteral(SIMULATOR_SOURCES "/../docs/wall.schema.json"));
    QVERIFY(wall.open(QIODevice::ReadOnly));
    QCOMPARE(wallSchema(), wall.readAll());
    QFile journal(QStringLiteral(SIMULATOR_SOURCES "/../docs/journal.schema.json"));
    QVERIFY(journal.open(QIODevice::ReadOnly));
    QCOMPARE(Adapter::journalSchema(), journal.readAll());
}

void TestWallFile::theSchemaKnowsTheSameKeys_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("text"); // a wall with an object ODD where the definition applies
    const auto row = [](const char *name, const QByteArray &text) {
        QTest::newRow(*name ? name : "the wall") << QString::fromLatin1(name) << text;
    };
    const auto cabinet = [](const char *entry) {
        return wallWithCabinets(
            (QByteArray("{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {'width': 9, "
                        "'height': 9}, ")
             + entry + "}")
                .constData());
    };
    const auto grid = [](const char *entry) {
        return wallWith("'label': ''", (QByteArray("'grid': {'columns': 1, 'rows': 1, 'cabinetSize': {'width': 9, 'height': "
                                                   "9}, 'cards': {'columns': 1, 'rows': 1, ")
                                        + entry + "}}")
                                           .constData());
    };
    row("", json("{'format': 'led-wall', 'version': 1, ODD}"));
    row("device", json("{'format': 'led-wall', 'version': 1, 'devices': [{ODD}]}"));
    row("screen", json("{'format': 'led-wall', 'version': 1, 'devices': [{'key': 'A', 'screens': [{ODD}]}]}"));
    row("subScreen", wallWith("'label': ''", "ODD"));
    row("grid", wallWith("'label': ''", "'grid': {ODD}"));
    row("cards",
        wallWith("'label': ''", "'grid': {'columns': 1, 'rows': 1, 'cabinetSize': {'width': 9, 'height': 9}, 'cards': "
                                "{ODD}}"));
    row("modules", grid("'modules': {ODD}"));
    row("cabinet", wallWithCabinets("{ODD}"));
    row("receivingCard", cabinet("'receivingCards': [{ODD}]"));
    row("module", cabinet("'receivingCards': [{'id': '', 'rect': {'x': 0, 'y': 0, 'width': 1, 'height': 1}, 'modules': "
                          "[{ODD}]}]"));
    row("rect", cabinet("'receivingCards': [{'id': '', 'rect': {ODD}}]"));
    row("point", wallWith("'label': ''", "'position': {ODD}"));
    row("size", wallWithCabinets("{'id': '1', 'outputId': '1', 'position': {'x': 0, 'y': 0}, 'size': {ODD}}"));
    row("pixels", wallWith("'label': ''", "'cabinets': []", "'defaultPixels': {ODD}"));
    row("leds", wallWith("'leds': {ODD}"));
    row("primary", wallWith("'leds': {'green': {ODD}}"));
    row("ageing", wallWith("'leds': {'oldest': {ODD}}"));
    row("timing", wallWith("'timing': {ODD}"));
    row("fault", wallWith("'faults': [{ODD}]"));
    row("event", wallWithEvents("{ODD}"));

    int objects = 1;
    const QJsonObject definitions = schema()[QLatin1String("$defs")].toObject();
    for (const QJsonValue &each : definitions)
        objects += each.toObject()[QLatin1String("type")] == QLatin1String("object") ? 1 : 0;
    QCOMPARE(objects, 20); // the rows
}

// For an object of one unknown key the problem lists all known keys, and those that are missing.
void TestWallFile::theSchemaKnowsTheSameKeys()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, text);
    QStringList known;
    QStringList needed;
    const QStringList lines = problems(text.replace("ODD", "\"????????????????\": 1")).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        const QString place = line.section(QStringLiteral(": "), 1, 1);
        if (line.contains(QLatin1String("unknown key")))
            known = line.section(QStringLiteral(", known are "), 1).split(QStringLiteral(", "));
        else if (line.endsWith(QLatin1String("got nothing")))
            needed += place.section(QLatin1Char('.'), -1);
    }
    known.sort();
    needed.sort();

    const QJsonObject object = definition(name);
    QCOMPARE(object[QLatin1String("additionalProperties")], QJsonValue(false));
    QCOMPARE(object[QLatin1String("properties")].toObject().keys(), known);
    QStringList required;
    const QJsonArray list = object[QLatin1String("required")].toArray();
    for (const QJsonValue &each : list)
        required += each.toString();
    required.removeAll(QStringLiteral("format")); // The text has them: without them nothing else is read.
    required.removeAll(QStringLiteral("version"));
    required.sort();
    QCOMPARE(required, needed);
}

void TestWallFile::theSchemaKnowsTheSameNames_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char *name, const char *key, const QByteArray &text) {
        QTest::newRow(name) << QString::fromLatin1(name) << QString::fromLatin1(key) << text;
    };
    row("device", "personality", wallWith("'personality': '?'"));
    row("leds", "preset", wallWith("'leds': {'preset': '?'}"));
    row("leds", "preset", wallWith("'leds': '?'"));
    row("fault", "type", wallWith("'faults': [{'type': '?'}]"));
    row("event", "type", wallWithEvents("{'at': 0, 'device': 'A', 'type': '?'}"));
    row("grid", "outputs",
        wallWith("'label': ''",
                 "'grid': {'columns': 1, 'rows': 1, 'cabinetSize': {'width': 9, 'height': 9}, 'outputs': '?'}"));
}

void TestWallFile::theSchemaKnowsTheSameNames()
{
    QFETCH(QString, name);
    QFETCH(QString, key);
    QFETCH(QByteArray, text);
    const QJsonObject properties = definition(name)[QLatin1String("properties")].toObject();
    QStringList names;
    const QJsonArray list = properties[key].toObject()[QLatin1String("enum")].toArray();
    for (const QJsonValue &each : list)
        names += each.toString();
    QVERIFY(!names.isEmpty());
    const QString joined = names.join(QStringLiteral(", "));
    const QString problem = problems(text);
    QVERIFY2(problem.contains(QStringLiteral("expected one of %1, got").arg(joined))
                 || problem.contains(QStringLiteral(" (%1), got").arg(joined)),
             qPrintable(problem));
}

void TestWallFile::theSchemaTakesTheNamesOfOperations()
{
    const QJsonObject properties = definition(QStringLiteral("fault"))[QLatin1String("properties")].toObject();
    const QRegularExpression pattern(properties[QLatin1String("operation")].toObject()[QLatin1String("pattern")].toString());
    QVERIFY(pattern.isValid());
    for (const Adapter::Operation &operation : Adapter::operations())
        QVERIFY2(pattern.match(operation.name).hasMatch(), qPrintable(operation.name));
    for (const char *wrong : {"", "loadCoefficient", "Correctionop::", "Correctionop::load Coefficient"})
        QVERIFY2(!pattern.match(QLatin1String(wrong)).hasMatch(), wrong);
}

QTEST_GUILESS_MAIN(TestWallFile)

#include "tst_wallfile.moc"
