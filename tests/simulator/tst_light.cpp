// The light of the virtual wall and what a camera sees of it.

#include "PhotoFiles.h"
#include "support/PythonCheck.h"

#include <service/Correctionop.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTemporaryDir>
#include <QtCore/QtEndian>
#include <QtTest/QtTest>

#include <cmath>
#include <functional>
#include <limits>
#include <random>

using namespace Simulator;
using TestSupport::writeFile;

using Map = QMap<QString, QVariant>;
using Change = std::function<void(Device &)>;

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(Simulator::Camera)

namespace {

const QString a = QStringLiteral("A");
const QString screenId = QStringLiteral("screen");

VirtualWall &wall()
{
    return VirtualWall::instance();
}

/// A device of one cabinet "1" of 4 x 2 pixels, two modules "0" and "1" of 2 x 2 pixels.
Device smallDevice(const Leds &leds)
{
    Device device;
    device.key = a;
    device.screenId = screenId;
    device.brightnessDefault = device.brightnessMax;
    device.leds = leds;
    Cabinet cabinet;
    cabinet.id = QStringLiteral("1");
    cabinet.size = QSize(4, 2);
    cabinet.receivingCards = {
        {QStringLiteral("0"),
         QString(),
         QRect(0, 0, 4, 2),
         {{QStringLiteral("0"), QString(), QRect(0, 0, 2, 2)}, {QStringLiteral("1"), QString(), QRect(2, 0, 2, 2)}}}};
    device.subScreens = {{QPoint(), {cabinet}}};
    return device;
}

QVector<quint16> unity(int unit)
{
    const auto one = static_cast<quint16>(unit);
    return {one, 0, 0, 0, one, 0, 0, 0, one};
}

Map rectMap(const QRect &rect)
{
    return {{QStringLiteral("x"), rect.x()},
            {QStringLiteral("y"), rect.y()},
            {QStringLiteral("width"), rect.width()},
            {QStringLiteral("height"), rect.height()}};
}

Map colorMap(int red, int green, int blue)
{
    return {{QStringLiteral("r"), red}, {QStringLiteral("g"), green}, {QStringLiteral("b"), blue}};
}

Map pixelsRequest(const QRect &block, int interval, const Map &color)
{
    return {{QStringLiteral("regionrect"), rectMap(QRect(0, 0, 1000, 1000))},
            {QStringLiteral("singlerect"), rectMap(block)},
            {QStringLiteral("color"), color},
            {QStringLiteral("intervalX"), interval},
            {QStringLiteral("intervalY"), interval}};
}

/// Fills the whole device with one colour.
bool show(const QString &deviceKey, int red, int green, int blue)
{
    Map reply;
    return ScreenInfo::getInstance()->setPixelImage(
        deviceKey, pixelsRequest(QRect(0, 0, 1000, 1000), 0, colorMap(red, green, blue)), reply);
}

Photo photo(const Camera &camera = Camera())
{
    return wall().pictures().photograph(screenId, camera);
}

/// Y of a photosite.
double luminance(const Photo &photo, int x, int y)
{
    const int index = (y * photo.size.width() + x) * 3 + 1;
    return static_cast<double>(photo.xyz.at(static_cast<std::size_t>(index)));
}

/// Y of all photosites, rounded, as rows.
QStringList luminances(const Photo &photo)
{
    QStringList rows;
    for (int y = 0; y < photo.size.height(); ++y) {
        QStringList row;
        for (int x = 0; x < photo.size.width(); ++x)
            row += QString::number(luminance(photo, x, y), 'g', 6);
        rows += row.join(QLatin1Char(' '));
    }
    return rows;
}

QStringList rows(const char *row, int count)
{
    QStringList result;
    for (int i = 0; i < count; ++i)
        result += QString::fromLatin1(row);
    return result;
}

/// X, Y, Z of primaries at some drives.
std::array<double, 3> mixed(const Leds &leds, double red, double green, double blue)
{
    std::array<double, 3> xyz{};
    const std::array<Primary, 3> primaries{leds.red, leds.green, leds.blue};
    const std::array<double, 3> drives{red, green, blue};
    for (std::size_t i = 0; i < 3; ++i) {
        const double y = primaries[i].luminance * drives[i];
        xyz[0] += y * primaries[i].x / primaries[i].y;
        xyz[1] += y;
        xyz[2] += y * (1 - primaries[i].x - primaries[i].y) / primaries[i].y;
    }
    return xyz;
}

/// Whether every pixel of the photograph has this light, to a millionth.
bool isEverywhere(const Photo &photo, const std::array<double, 3> &xyz)
{
    for (std::size_t i = 0; i < photo.xyz.size(); ++i) {
        if (std::abs(static_cast<double>(photo.xyz[i]) - xyz[i % 3]) > 1e-6 * (1 + xyz[i % 3]))
            return false;
    }
    return !photo.isNull();
}

/// A device of 32 x 32 pixels, one cabinet without modules, LEDs all alike.
Device evenField()
{
    Device device = smallDevice(ledPreset(QStringLiteral("even")));
    device.subScreens[0].cabinets[0].size = QSize(32, 32);
    device.subScreens[0].cabinets[0].receivingCards.clear();
    return device;
}

} // namespace

class TestLight : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { wall().reset(); }
    void clearedCoefficientsChangeNothing_data();
    void clearedCoefficientsChangeNothing();
    void defaultPixelsOfTheWallGoFirst();
    void eachPartOfTheFormulaAlone_data();
    void eachPartOfTheFormulaAlone();
    void agesAreThoseOfCabinets();
    void modulesAndPixelsSpread();
    void wavelengthsShiftTheColour();
    void seedsKeysAndIdsMakeOtherLight();
    void theSameOnEveryMachine();
    void coefficientsAreAMatrix_data();
    void coefficientsAreAMatrix();
    void lowGrayValuesBelowTheirDrive();
    void gammaAndBrightnessComeFirst();
    void unpluggedDevicesAreDark();
    void gapsAreDark();
    void unknownScreensHaveNoPhoto();
    void photositesShareTheLight();
    void blurSpreadsTheLight();
    void noiseHasItsDeviation();
    void sensorsClipAndRound();
    void tiltedViewsComeWithTheirHomography();
    void impossibleCameras_data();
    void impossibleCameras();
    void picturesAreSRgb();
    void planesAreNumPyFiles();
    void agreesWithNumPy();
};

void TestLight::clearedCoefficientsChangeNothing_data()
{
    QTest::addColumn<QString>("preset");
    QTest::addColumn<int>("unit");
    QTest::addColumn<QVector<quint16>>("pixel");
    QTest::newRow("no LEDs: zeros") << QString() << 32768 << QVector<quint16>(9);
    QTest::newRow("even") << QStringLiteral("even") << 32768 << unity(32768);
    QTest::newRow("worn, another unit") << QStringLiteral("worn") << 4097 << unity(4097);
}

void TestLight::clearedCoefficientsChangeNothing()
{
    QFETCH(QString, preset);
    QFETCH(int, unit);
    QFETCH(QVector<quint16>, pixel);
    Device device = smallDevice(ledPreset(preset));
    device.coefficientUnit = unit;
    wall().setDevices({device});

    QVector<quint16> plane;
    for (int i = 0; i < 8; ++i)
        plane += pixel;
    const QString id = QStringLiteral("1");
    QCOMPARE(wall().state().chroma(a, id), plane);
    QCOMPARE(wall().state().lowGray(a, id), plane);
    QCOMPARE(wall().state().multilayer(a, id), QByteArray(8 * 16, '\0'));

    // The same by the service, and where what was written is lost.
    QByteArray bytes(2 * plane.size(), '\0');
    qToLittleEndian<quint16>(plane.constData(), plane.size(), bytes.data());
    QList<QVariant> reply;
    QVERIFY(Correctionop::getInstance()->loadCoefficient(a, id, reply));
    QCOMPARE(reply.size(), 1);
    QCOMPARE(QByteArray::fromBase64(reply[0].toMap()[QStringLiteral("coefficients")].toString().toLatin1()), bytes);
    QVERIFY(wall().state().setChroma(a, id, QVector<quint16>(8 * 9, 5)));
    QVERIFY(wall().state().chroma(a, id) != plane);
    QVERIFY(wall().restartDevice(a));
    QCOMPARE(wall().state().chroma(a, id), plane);
}

void TestLight::defaultPixelsOfTheWallGoFirst()
{
    WallDescription description;
    description.devices = {smallDevice(ledPreset(QStringLiteral("even")))};
    description.defaultPixels[0] = QByteArray("\x07\x00", 2);
    wall().setWall(description);
    const QString id = QStringLiteral("1");
    QCOMPARE(wall().state().chroma(a, id).mid(0, 9), QVector<quint16>({7, 0, 0, 0, 0, 0, 0, 0, 0}));
    QCOMPARE(wall().state().lowGray(a, id).mid(0, 9), unity(32768));
}

void TestLight::eachPartOfTheFormulaAlone_data()
{
    QTest::addColumn<Change>("change");
    QTest::addColumn<bool>("isLit");
    QTest::addColumn<QStringList>("expected");
    const auto row = [](const char *name, bool isLit, const QStringList &expected, const Change &change) {
        QTest::newRow(name) << change << isLit << expected;
    };
    row("even", true, rows("1000 1000 1000 1000", 2), [](Device &) {});
    row("dark", false, rows("0 0 0 0", 2), [](Device &) {});
    row("no LEDs: zeros are dark", true, rows("0 0 0 0", 2), [](Device &d) { d.leds = Leds(); });
    row("luminance", true, rows("1500 1500 1500 1500", 2), [](Device &d) {
        d.leds.red.luminance = 600;
        d.leds.green.luminance = 800;
        d.leds.blue.luminance = 100;
    });
    row("seams of cabinets: a corner has two", true, rows("250 500 500 250", 2),
        [](Device &d) { d.leds.cabinetSeam = 0.5; });
    row("seams of modules, those of cabinets in place of them", true, rows("1000 500 500 1000", 2),
        [](Device &d) { d.leds.moduleSeam = 0.5; });
    row("seams of rows", true,
        {QStringLiteral("1000 1000"), QStringLiteral("500 500"), QStringLiteral("500 500"), QStringLiteral("500 500"),
         QStringLiteral("1000 1000")},
        [](Device &d) {
            d.leds.moduleSeam = 0.5;
            Cabinet &cabinet = d.subScreens[0].cabinets[0];
            cabinet.size = QSize(2, 5);
            cabinet.receivingCards[0].modules = {{QStringLiteral("0"), QString(), QRect(0, 0, 2, 2)},
                                                 {QStringLiteral("1"), QString(), QRect(0, 2, 2, 1)},
                                                 {QStringLiteral("2"), QString(), QRect(0, 3, 2, 2)}};
        });
    row("dead", true, rows("0 0 0 0", 2), [](Device &d) { d.leds.deadPixels = 1; });
    row("stuck", false, rows("1000 1000 1000 1000", 2), [](Device &d) { d.leds.stuckPixels = 1; });
    row("overlapping modules: the first one counts", true, rows("1000 1000 500 1000", 2), [](Device &d) {
        d.leds.moduleSeam = 0.5;
        QList<Module> &modules = d.subScreens[0].cabinets[0].receivingCards[0].modules;
        modules[0].rect = QRect(-1, -1, 4, 9);
        modules[1].rect = QRect(0, 0, 3, 2);
    });
}

void TestLight::eachPartOfTheFormulaAlone()
{
    QFETCH(Change, change);
    QFETCH(bool, isLit);
    QFETCH(QStringList, expected);
    Device device = smallDevice(ledPreset(QStringLiteral("even")));
    change(device);
    wall().setDevices({device});
    QVERIFY(!isLit || show(a, 255, 255, 255));
    QCOMPARE(luminances(photo()), expected);
}

void TestLight::agesAreThoseOfCabinets()
{
    Device device = smallDevice(ledPreset(QStringLiteral("even")));
    device.leds.oldest = {0.5, 0.75, 0.25};
    Cabinet other = device.subScreens[0].cabinets[0];
    other.id = QStringLiteral("2");
    other.position = QPoint(4, 0);
    device.subScreens[0].cabinets += other;
    wall().setDevices({device});
    const auto factorsOf = [&](int x) {
        std::array<double, 3> factors{};
        const std::array<double, 3> nominal{device.leds.red.luminance, device.leds.green.luminance,
                                            device.leds.blue.luminance};
        for (std::size_t i = 0; i < 3; ++i) {
            if (!show(a, i == 0 ? 255 : 0, i == 1 ? 255 : 0, i == 2 ? 255 : 0))
                return factors;
            factors[i] = luminance(photo(), x, 0) / nominal[i];
        }
        return factors;
    };
    const auto first = factorsOf(0);
    const auto last = factorsOf(7);
    QVERIFY(first[0] != last[0]);
    for (const auto &factors : {first, last}) {
        const double age = (1 - factors[0]) / 0.5; // of one cabinet the same for all colours
        QVERIFY(age > 0 && age < 1);
        QVERIFY(std::abs(factors[1] - (1 - age * 0.25)) < 1e-6);
        QVERIFY(std::abs(factors[2] - (1 - age * 0.75)) < 1e-6);
    }
    QCOMPARE(factorsOf(3), first);
    QCOMPARE(factorsOf(4), last);
}

void TestLight::modulesAndPixelsSpread()
{
    Device device = evenField();
    device.leds.pixelLuminance = 0.05;
    wall().setDevices({device});
    QVERIFY(show(a, 0, 255, 0));
    const Photo field = photo();
    double sum = 0;
    double squares = 0;
    for (int i = 0; i < 1024; ++i) {
        const double factor = luminance(field, i % 32, i / 32) / device.leds.green.luminance - 1;
        sum += factor;
        squares += factor * factor;
    }
    QVERIFY2(std::abs(sum / 1024) < 0.005, qPrintable(QString::number(sum / 1024)));
    QVERIFY2(std::abs(std::sqrt(squares / 1024) - 0.05) < 0.004, qPrintable(QString::number(std::sqrt(squares / 1024))));

    device = smallDevice(ledPreset(QStringLiteral("even")));
    device.leds.moduleLuminance = 0.05;
    wall().setDevices({device});
    QVERIFY(show(a, 0, 255, 0));
    const Photo modules = photo();
    QVERIFY(luminance(modules, 1, 0) != luminance(modules, 2, 0));
    for (int y = 0; y < 2; ++y) {
        for (int x = 0; x < 4; ++x)
            QCOMPARE(luminance(modules, x, y), luminance(modules, x / 2 * 2, 0));
    }
}

void TestLight::wavelengthsShiftTheColour()
{
    for (const auto member : {&Leds::pixelWavelength, &Leds::moduleWavelength}) {
        Device device = smallDevice(ledPreset(QStringLiteral("even")));
        device.leds.*member = 2;
        wall().setDevices({device});
        const std::array<Primary, 3> primaries{device.leds.red, device.leds.green, device.leds.blue};
        const std::array<double, 3> slopes{-1.0, -0.0028 / 0.0080, -0.0036 / 0.0023};
        for (std::size_t i = 0; i < 3; ++i) {
            QVERIFY(show(a, i == 0 ? 255 : 0, i == 1 ? 255 : 0, i == 2 ? 255 : 0));
            const Photo shifted = photo();
            const double sum = static_cast<double>(shifted.xyz[0] + shifted.xyz[1] + shifted.xyz[2]);
            const double dx = static_cast<double>(shifted.xyz[0]) / sum - primaries[i].x;
            const double dy = static_cast<double>(shifted.xyz[1]) / sum - primaries[i].y;
            QVERIFY(std::abs(dx) > 1e-5);
            QVERIFY2(std::abs(dy - dx * slopes[i]) < 1e-6, qPrintable(QString::number(dy / dx)));
            QVERIFY(std::abs(luminance(shifted, 0, 0) - primaries[i].luminance) < 1e-4); // not the luminance
        }
    }
}

void TestLight::seedsKeysAndIdsMakeOtherLight()
{
    QVector<std::vector<float>> lights;
    const auto take = [&](const Device &device) {
        wall().setDevices({device});
        QVERIFY(show(device.key, 255, 255, 255));
        const Photo taken = photo();
        for (const auto &other : qAsConst(lights))
            QVERIFY(other != taken.xyz);
        lights += taken.xyz;
    };
    Device device = smallDevice(ledPreset(QStringLiteral("mixed")));
    take(device);
    device.leds.seed = 2;
    take(device);
    device.key = QStringLiteral("B");
    take(device);
    device.subScreens[0].cabinets[0].id = QStringLiteral("2");
    take(device);
    device.subScreens[0].cabinets[0].receivingCards[0].modules[0].id = QStringLiteral("x");
    take(device);
}

void TestLight::theSameOnEveryMachine()
{
    Device device = smallDevice(ledPreset(QStringLiteral("worn")));
    wall().setDevices({device});
    QVERIFY(show(a, 255, 255, 255));
    const Photo taken = photo();
    QStringList values;
    for (const std::size_t i : {0U, 1U, 2U, 12U, 13U, 14U, 21U, 22U, 23U})
        values += QString::number(static_cast<double>(taken.xyz[i]), 'g', 9);
    QCOMPARE(values.join(QLatin1Char(' ')),
             QStringLiteral(
                 "586.593994 634.257141 716.802002 597.140198 582.264343 711.453674 672.710205 669.716064 722.770264"));
}

void TestLight::coefficientsAreAMatrix_data()
{
    QTest::addColumn<QVector<quint16>>("matrix");
    QTest::addColumn<int>("unit");
    QTest::addColumn<QVector<int>>("color");
    QTest::addColumn<QVector<double>>("drives");
    const auto row = [](const char *name, const QVector<quint16> &matrix, int unit, const QVector<int> &color,
                        const QVector<double> &drives) { QTest::newRow(name) << matrix << unit << color << drives; };
    row("unity", unity(32768), 32768, {255, 51, 0}, {1, 0.2, 0});
    row("halves of another unit", unity(500), 1000, {255, 51, 0}, {0.5, 0.1, 0});
    row("red into green", {0, 0, 0, 16384, 0, 0, 0, 0, 0}, 32768, {255, 255, 255}, {0, 0.5, 0});
    row("green into red", {0, 16384, 0, 0, 0, 0, 0, 0, 0}, 32768, {0, 255, 0}, {0.5, 0, 0});
    row("blue into green", {0, 0, 0, 0, 0, 16384, 0, 0, 0}, 32768, {255, 255, 102}, {0, 0.2, 0});
    row("no more than an LED gives", {65535, 65535, 65535, 0, 65535, 0, 0, 0, 65535}, 32768, {255, 255, 51}, {1, 1, 0.4});
}

void TestLight::coefficientsAreAMatrix()
{
    QFETCH(QVector<quint16>, matrix);
    QFETCH(int, unit);
    QFETCH(QVector<int>, color);
    QFETCH(QVector<double>, drives);
    Device device = smallDevice(ledPreset(QStringLiteral("even")));
    device.coefficientUnit = unit;
    wall().setDevices({device});
    QVERIFY(show(a, color[0], color[1], color[2]));
    QVector<quint16> plane;
    for (int i = 0; i < 8; ++i)
        plane += matrix;
    QVERIFY(wall().state().setChroma(a, QStringLiteral("1"), plane));
    const Photo taken = photo();
    const auto expected = mixed(device.leds, drives[0], drives[1], drives[2]);
    for (std::size_t i = 0; i < taken.xyz.size(); ++i)
        QVERIFY(std::abs(static_cast<double>(taken.xyz[i]) - expected[i % 3]) < 0.02);
    // What is saved only does not shine.
    QVERIFY(wall().state().setChroma(a, QStringLiteral("1"), QVector<quint16>(72), Store::User));
    QVERIFY(photo().xyz == taken.xyz);
}

void TestLight::lowGrayValuesBelowTheirDrive()
{
    Device device = smallDevice(ledPreset(QStringLiteral("even")));
    device.leds.lowGrayBelow = 10.0 / 255;
    wall().setDevices({device});
    const QString id = QStringLiteral("1");
    QVector<quint16> half;
    for (int i = 0; i < 8; ++i)
        half += unity(16384);
    QVERIFY(wall().state().setLowGray(a, id, half));
    QVERIFY(show(a, 9, 9, 9));
    QVERIFY(isEverywhere(photo(), mixed(device.leds, 4.5 / 255, 4.5 / 255, 4.5 / 255)));
    QVERIFY(show(a, 10, 9, 0)); // the greatest drive counts
    QVERIFY(isEverywhere(photo(), mixed(device.leds, 10.0 / 255, 9.0 / 255, 0)));
}

void TestLight::gammaAndBrightnessComeFirst()
{
    Device device = smallDevice(ledPreset(QStringLiteral("even")));
    device.brightnessDefault = device.brightnessMax / 4;
    wall().setDevices({device});
    QVERIFY(show(a, 255, 102, 0));
    QVERIFY(isEverywhere(photo(), mixed(device.leds, 0.25, 0.1, 0)));
    // Not rounded to levels.
    QVERIFY(show(a, 1, 1, 1));
    QVERIFY(isEverywhere(photo(), mixed(device.leds, 0.25 / 255, 0.25 / 255, 0.25 / 255)));
    QVERIFY(wall().state().setGamma(a, Channel::Red, {0, 1023, 0}));
    QVERIFY(show(a, 51, 0, 0));
    QVERIFY(isEverywhere(photo(), mixed(device.leds, 0.25 * 0.4, 0, 0)));
}

void TestLight::unpluggedDevicesAreDark()
{
    Leds leds = ledPreset(QStringLiteral("even"));
    leds.stuckPixels = 1;
    wall().setDevices({smallDevice(leds)});
    QVERIFY(isEverywhere(photo(), mixed(leds, 1, 1, 1)));
    QVERIFY(show(a, 0, 255, 0));
    QCOMPARE(wall().pictures().pattern(screenId).pixel(0, 0), qRgb(0, 255, 0));
    QVERIFY(wall().unplug(a));
    QVERIFY(isEverywhere(photo(), {}));
    QCOMPARE(wall().pictures().pattern(screenId).pixel(0, 0), qRgb(0, 0, 0));
    QVERIFY(wall().plug(a));
    QVERIFY(isEverywhere(photo(), mixed(leds, 1, 1, 1)));
}

void TestLight::gapsAreDark()
{
    Device left = smallDevice(ledPreset(QStringLiteral("even")));
    Device right = left;
    right.key = QStringLiteral("B");
    right.subScreens[0].cabinets[0].id = QStringLiteral("2");
    right.screenPosition = QPoint(5, 1);
    wall().setDevices({left, right});
    QVERIFY(show(a, 0, 255, 0));
    QVERIFY(show(right.key, 255, 0, 0));
    QCOMPARE(luminances(photo()),
             QStringList({QStringLiteral("662 662 662 662 0 0 0 0 0"), QStringLiteral("662 662 662 662 0 270 270 270 270"),
                          QStringLiteral("0 0 0 0 0 270 270 270 270")}));
    // An overlap shows the later device.
    right.screenPosition = QPoint(1, 1);
    wall().setDevices({left, right});
    QVERIFY(show(a, 0, 255, 0));
    QVERIFY(show(right.key, 255, 0, 0));
    QCOMPARE(luminances(photo())[1], QStringLiteral("662 270 270 270 270"));
}

void TestLight::unknownScreensHaveNoPhoto()
{
    wall().setDevices({smallDevice(Leds())});
    QVERIFY(!photo().isNull());
    QVERIFY(wall().pictures().photograph(QStringLiteral("other")).isNull());
    Device empty = smallDevice(Leds());
    empty.subScreens.clear();
    wall().setDevices({empty});
    QVERIFY(photo().isNull());
    QVERIFY(photo().image(1).isNull());
}

void TestLight::photositesShareTheLight()
{
    wall().setDevices({smallDevice(ledPreset(QStringLiteral("mixed")))});
    QVERIFY(show(a, 255, 255, 255));
    const Photo exact = photo();
    Camera camera;
    camera.photosites = 3;
    const Photo taken = photo(camera);
    QCOMPARE(taken.size, QSize(12, 6));
    QCOMPARE(taken.homography, (Homography{{3, 0, 0, 0, 3, 0, 0, 0, 1}}));
    QCOMPARE(exact.homography, (Homography{{1, 0, 0, 0, 1, 0, 0, 0, 1}}));
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 12; ++x)
            QVERIFY(std::abs(luminance(taken, x, y) - luminance(exact, x / 3, y / 3)) < 1e-3);
    }
}

void TestLight::blurSpreadsTheLight()
{
    wall().setDevices({evenField()});
    Map reply;
    QVERIFY(
        ScreenInfo::getInstance()->setPixelImage(a, pixelsRequest(QRect(16, 16, 1, 1), 999, colorMap(0, 255, 0)), reply));
    Camera camera;
    camera.photosites = 1;
    camera.blur = 0.5;
    camera.fullScale = 662;
    const Photo taken = photo(camera);
    // A pixel of width 1 and a Gaussian of 0.5: erf(0.5 / (0.5 sqrt 2)) at the middle, and half the rest of what is
    // within 1.5.
    const double middle = std::erf(1 / std::sqrt(2.0));
    const double beside = (std::erf(3 / std::sqrt(2.0)) - middle) / 2;
    QVERIFY(std::abs(luminance(taken, 16, 16) / 662 - middle * middle) < 1e-6);
    QVERIFY(std::abs(luminance(taken, 17, 16) / 662 - middle * beside) < 1e-6);
    QVERIFY(std::abs(luminance(taken, 15, 17) / 662 - beside * beside) < 1e-6);
    double sum = 0;
    for (int i = 0; i < 1024; ++i)
        sum += luminance(taken, i % 32, i / 32);
    QVERIFY(std::abs(sum / 662 - 1) < 1e-3); // no light is lost
    QVERIFY(show(a, 0, 255, 0));
    camera.photosites = 5; // nor does it gather anywhere
    const Photo field = photo(camera);
    for (int x = 20; x < 140; ++x)
        QVERIFY(std::abs(luminance(field, x, x + 1) / 662 - 1) < 2e-4);
}

void TestLight::noiseHasItsDeviation()
{
    wall().setDevices({evenField()});
    QVERIFY(show(a, 0, 255, 0));
    const auto deviation = [](const Photo &taken) {
        double sum = 0;
        double squares = 0;
        const int count = taken.size.width() * taken.size.height();
        for (int i = 0; i < count; ++i) {
            const double value = luminance(taken, i % taken.size.width(), i / taken.size.width());
            sum += value;
            squares += value * value;
        }
        return std::sqrt(squares / count - sum / count * (sum / count)) / 1324;
    };
    Camera camera;
    camera.photosites = 2;
    camera.fullScale = 1324;
    camera.shotNoise = 0.02;
    const Photo taken = photo(camera);
    QVERIFY(std::abs(deviation(taken) - 0.02 * std::sqrt(0.5)) < 0.0007);
    QVERIFY(photo(camera).xyz == taken.xyz);
    camera.seed = 2;
    QVERIFY(photo(camera).xyz != taken.xyz);
    camera.readNoise = 0.03;
    QVERIFY(std::abs(deviation(photo(camera)) - std::sqrt(0.03 * 0.03 + 0.02 * 0.02 / 2)) < 0.0015);
    camera.shotNoise = 0;
    QVERIFY(std::abs(deviation(photo(camera)) - 0.03) < 0.0015);
}

void TestLight::sensorsClipAndRound()
{
    wall().setDevices({evenField()});
    QVERIFY(show(a, 0, 255, 0));
    Camera camera;
    camera.photosites = 1;
    camera.fullScale = 500;
    QCOMPARE(luminance(photo(camera), 3, 3), 500.0);
    camera.fullScale = 1200;
    camera.bits = 2; // 0, 400, 800, 1200
    QCOMPARE(luminance(photo(camera), 3, 3), 800.0);
    QVERIFY(show(a, 0, 255 * 599 / 662, 0));
    QCOMPARE(luminance(photo(camera), 3, 3), 400.0);
    camera.readNoise = 1;
    const Photo noisy = photo(camera);
    QVERIFY(std::all_of(noisy.xyz.cbegin(), noisy.xyz.cend(), [](float value) { return value >= 0 && value <= 1200; }));
}

void TestLight::tiltedViewsComeWithTheirHomography()
{
    wall().setDevices({evenField()});
    Map reply;
    QVERIFY(ScreenInfo::getInstance()->setPixelImage(a, pixelsRequest(QRect(24, 6, 1, 1), 999, colorMap(0, 255, 0)), reply));
    Camera camera;
    camera.photosites = 8;
    camera.blur = 0.3;
    camera.view = Camera::tilted(QSize(32, 32), 0.25);
    const Photo taken = photo(camera);
    const auto map = [&](double x, double y) {
        const Homography &h = taken.homography;
        const double w = h[6] * x + h[7] * y + h[8];
        return QPointF((h[0] * x + h[1] * y + h[2]) / w, (h[3] * x + h[4] * y + h[5]) / w);
    };
    // The left edge stays, the right one is lower by a fifth, in the middle.
    QCOMPARE(map(0, 32), QPointF(0, 256));
    QCOMPARE(map(32, 0), QPointF(256, 25.6));
    QCOMPARE(map(32, 32), QPointF(256, 230.4));
    // The light is where the homography has the pixel's middle.
    QPointF sum;
    double total = 0;
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            total += luminance(taken, x, y);
            sum += luminance(taken, x, y) * QPointF(x + 0.5, y + 0.5);
        }
    }
    const QPointF off = sum / total - map(24.5, 6.5);
    QVERIFY2(std::abs(off.x()) < 0.2 && std::abs(off.y()) < 0.2, qPrintable(QString::number(off.x())));
    // What looks past the screen is dark.
    QVERIFY(show(a, 255, 255, 255));
    const Photo field = photo(camera);
    QCOMPARE(luminance(field, 250, 5), 0.0);
    QVERIFY(std::abs(luminance(field, 230, 128) - 1000) < 1);
}

void TestLight::impossibleCameras_data()
{
    QTest::addColumn<Camera>("camera");
    const auto row = [](const char *name, auto Camera::*member, auto value) {
        Camera camera;
        camera.photosites = 2;
        camera.*member = value;
        QTest::newRow(name) << camera;
    };
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    row("negative photosites", &Camera::photosites, -1);
    row("too many photosites", &Camera::photosites, 33);
    row("negative blur", &Camera::blur, -0.1);
    row("blur that is not a number", &Camera::blur, nan);
    row("too much blur", &Camera::blur, 16.5);
    row("no full scale", &Camera::fullScale, 0.0);
    row("infinite full scale", &Camera::fullScale, infinity);
    row("negative shot noise", &Camera::shotNoise, -1.0);
    row("read noise that is not a number", &Camera::readNoise, nan);
    row("negative bits", &Camera::bits, -1);
    row("too many bits", &Camera::bits, 25);
    row("a view of no area", &Camera::view, Homography{{1, 0, 0, 1, 0, 0, 0, 0, 1}});
    row("a view that is not a number", &Camera::view, Homography{{1, 0, 0, 0, 1, 0, 0, nan, 1}});
    row("an infinite view", &Camera::view, Homography{{infinity, 0, 0, 0, 1, 0, 0, 0, 1}});
}

void TestLight::impossibleCameras()
{
    QFETCH(Camera, camera);
    wall().setDevices({smallDevice(Leds())});
    QVERIFY(photo(camera).isNull());
    Camera possible;
    possible.photosites = 2;
    QVERIFY(!photo(possible).isNull());
}

void TestLight::picturesAreSRgb()
{
    Photo given;
    given.size = QSize(5, 1);
    given.xyz = {95.047F, 100, 108.883F, 9.5047F, 10, 10.8883F, 0, 0, 0, 1000, 1000, 1000, 41.24F, 21.26F, 1.93F};
    const QImage image = given.image(100);
    QCOMPARE(image.size(), given.size);
    QCOMPARE(QColor(image.pixel(0, 0)), QColor(255, 255, 255));
    QCOMPARE(QColor(image.pixel(1, 0)), QColor(89, 89, 89)); // 1.055 * 0.1^(1/2.4) - 0.055
    QCOMPARE(QColor(image.pixel(2, 0)), QColor(0, 0, 0));
    QCOMPARE(QColor(image.pixel(3, 0)), QColor(255, 255, 255));
    QCOMPARE(QColor(image.pixel(4, 0)), QColor(255, 0, 0)); // the red of sRGB
    QCOMPARE(QColor(given.image(1000).pixel(0, 0)), QColor(89, 89, 89));
    QVERIFY(given.image(0).isNull());
    QVERIFY(given.image(std::numeric_limits<double>::quiet_NaN()).isNull());
}

void TestLight::planesAreNumPyFiles()
{
    Photo given;
    given.size = QSize(2, 1);
    given.xyz = {1.0F, -2.0F, 0.5F, 0, 3, 4};
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("plane.npy"));
    QString error;
    QVERIFY2(given.writeNpy(path, &error), qPrintable(error));
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray bytes = file.readAll();
    QByteArray header = "{'descr': '<f4', 'fortran_order': False, 'shape': (1, 2, 3), }";
    header = header.leftJustified(128 - 10 - 1, ' ') + '\n';
    QCOMPARE(bytes.left(128), QByteArray("\x93NUMPY\x01\x00\x76\x00", 10) + header);
    QCOMPARE(bytes.mid(128), QByteArray::fromHex("0000803f000000c00000003f000000000000404000008040"));
    QVERIFY(!given.writeNpy(folder.filePath(QStringLiteral("none/plane.npy")), &error));
    QVERIFY2(error.contains(QLatin1String("none/plane.npy: ")), qPrintable(error));
}

namespace {

QJsonArray gammaOf(const std::function<QList<int>(Channel)> &table)
{
    QJsonArray tables;
    for (const Channel channel : {Channel::Red, Channel::Green, Channel::Blue}) {
        QJsonArray entries;
        for (const int entry : table(channel))
            entries += entry;
        tables += entries;
    }
    return tables;
}

/// Photographs the wall as it is, with each camera; the scene as check_light.py reads it.
QJsonObject scene(const QDir &folder, const QString &name, const QVector<Camera> &cameras)
{
    static const char *const types[] = {"none", "pixels", "checkers", "none"};
    const State &state = wall().state();
    QJsonObject devices;
    for (const Device &device : wall().pluggedDevices()) {
        QJsonObject cabinets;
        for (const Cabinet &cabinet : device.subScreens[0].cabinets) {
            const QString file = name + device.key + cabinet.id;
            if (!writeFile(folder.filePath(file + QStringLiteral(".chroma")),
                           state.plane(device.key, cabinet.id, Kind::Chroma))
                || !writeFile(folder.filePath(file + QStringLiteral(".low")),
                              state.plane(device.key, cabinet.id, Kind::LowGray)))
                return {};
            cabinets.insert(cabinet.id, QJsonObject{{QStringLiteral("brightness"), state.brightness(device.key, cabinet.id)},
                                                    {QStringLiteral("gamma"), gammaOf([&](Channel channel) {
                                                         return state.gamma(device.key, cabinet.id, channel);
                                                     })},
                                                    {QStringLiteral("chroma"), file + QStringLiteral(".chroma")},
                                                    {QStringLiteral("lowGray"), file + QStringLiteral(".low")}});
        }
        const Pattern pattern = state.pattern(device.key);
        devices.insert(device.key,
                       QJsonObject{{QStringLiteral("pattern"),
                                    QJsonObject{{QStringLiteral("type"), QString::fromLatin1(types[pattern.type])},
                                                {QStringLiteral("request"), QJsonObject::fromVariantMap(pattern.request)}}},
                                   {QStringLiteral("gamma"), gammaOf([&](Channel channel) {
                                        return state.settings(device.key).gamma[static_cast<std::size_t>(channel)];
                                    })},
                                   {QStringLiteral("cabinets"), cabinets}});
    }
    QJsonArray photos;
    for (const Camera &camera : cameras) {
        const QString file = QStringLiteral("%1-%2").arg(name).arg(photos.size());
        const QJsonObject written = PhotoFiles::written(folder, file, photo(camera), camera);
        if (written.isEmpty())
            return {};
        photos += written;
    }
    return {{QStringLiteral("devices"), devices}, {QStringLiteral("photos"), photos}};
}

/// Two devices, one of them with several cabinets, cards, and pixels without a module.
WallDescription variedWall()
{
    Device left = smallDevice(ledPreset(QStringLiteral("worn")));
    left.leds.deadPixels = 0.05;
    left.leds.stuckPixels = 0.03;
    left.leds.seed = 12345678901234;
    left.leds.blue = {0.14, 0.002, 60}; // some shifts end at the least y
    left.leds.lowGrayBelow = 0.06;
    left.brightnessMin = 10;
    left.brightnessMax = 777;
    left.brightnessDefault = 700;
    Cabinet &first = left.subScreens[0].cabinets[0];
    first.size = QSize(15, 10);
    first.receivingCards = {
        {QStringLiteral("0"),
         QString(),
         QRect(0, 0, 8, 10),
         {{QString::fromUtf8("m\xc3\xb6"), QString(), QRect(0, 0, 8, 5)},
          {QStringLiteral("1"), QString(), QRect(0, 5, 8, 4)}}},
        {QStringLiteral("1"),
         QString(),
         QRect(8, 0, 7, 10),
         {{QStringLiteral("2"), QString(), QRect(8, 0, 4, 10)}, {QStringLiteral("3"), QString(), QRect(10, 2, 5, 6)}}}};
    Cabinet second = first;
    second.id = QStringLiteral("22");
    second.position = QPoint(16, 2);
    second.size = QSize(7, 9);
    second.receivingCards.clear();
    left.subScreens[0].cabinets += second;
    Device right = smallDevice(ledPreset(QStringLiteral("mixed")));
    right.key = QString::fromUtf8("Ger\xc3\xa4t B");
    right.coefficientUnit = 10000;
    right.screenPosition = QPoint(24, -3);
    right.subScreens[0].cabinets[0].id = QStringLiteral("3");
    right.subScreens[0].cabinets[0].size = QSize(11, 12);
    WallDescription wall;
    wall.devices = {left, right};
    return wall;
}

} // namespace

void TestLight::agreesWithNumPy()
{
    QTemporaryDir temporary;
    const QDir folder(temporary.path());
    const WallDescription description = variedWall();
    wall().setWall(description);
    const QByteArray file = wallToJson(description);
    QVERIFY(!file.contains("\"grid\""));
    QVERIFY(writeFile(folder.filePath(QStringLiteral("wall.json")), file));
    const QString b = description.devices[1].key;

    std::mt19937 random(5);
    State &state = wall().state();
    for (const Device &device : description.devices) {
        for (const Cabinet &cabinet : device.subScreens[0].cabinets) {
            QVector<quint16> values(cabinet.size.width() * cabinet.size.height() * 9);
            for (int i = 0; i < values.size(); ++i) {
                const bool isDiagonal = i % 9 % 4 == 0;
                values[i] = static_cast<quint16>(random() % static_cast<unsigned>(device.coefficientUnit / 4)
                                                 + static_cast<unsigned>(isDiagonal ? device.coefficientUnit * 7 / 8 : 0));
            }
            if (device.key == a)
                QVERIFY(state.setChroma(a, cabinet.id, values));
            std::reverse(values.begin(), values.end());
            QVERIFY(state.setLowGray(device.key, cabinet.id, values));
        }
    }
    QVERIFY(state.setGamma(a, Channel::Green, {0, 100, 3000}));
    QVERIFY(state.setGamma(a, QStringLiteral("22"), Channel::Red, {0, 20, 90, 255}));

    Camera sensor;
    sensor.photosites = 3;
    sensor.blur = 0.6;
    sensor.view = Camera::tilted(QSize(35, 15), 0.1);
    sensor.fullScale = 800;
    sensor.shotNoise = 0.01;
    sensor.readNoise = 0.002;
    sensor.seed = 99;
    Camera rounding;
    rounding.photosites = 2;
    rounding.bits = 8;
    rounding.view = {{0.9, 0.03, 1.0, -0.02, 0.95, 0.5, 0, 0.002, 1.1}};

    QJsonArray scenes;
    Map reply;
    QVERIFY(ScreenInfo::getInstance()->setPixelImage(a, pixelsRequest(QRect(1, 0, 2, 3), 1, colorMap(255, 180, 90)), reply));
    const Map checkers{
        {QStringLiteral("regionRect"), rectMap(QRect(1, 0, 9, 11))},
        {QStringLiteral("regionColor"), QList<QVariant>{colorMap(255, 0, 0), colorMap(0, 255, 80), colorMap(30, 30, 255)}},
        {QStringLiteral("squareW"), 2},
        {QStringLiteral("squareH"), 3},
        {QStringLiteral("firstSquareW"), 1},
        {QStringLiteral("firstSquareH"), 2},
        {QStringLiteral("lastSquareColumnW"), 1},
        {QStringLiteral("lastSquareRowH"), 2}};
    QVERIFY(ScreenInfo::getInstance()->setCheckerBoardImage(b, checkers, reply));
    scenes += scene(folder, QStringLiteral("colours"), {Camera(), sensor, rounding});
    QVERIFY(show(a, 12, 9, 15) && show(b, 20, 4, 7)); // drives on both sides of those of low gray
    scenes += scene(folder, QStringLiteral("gray"), {Camera()});
    QVERIFY(show(a, 255, 255, 255) && show(b, 255, 255, 255));
    scenes += scene(folder, QStringLiteral("white"), {Camera(), sensor});
    QVERIFY(writeFile(folder.filePath(QStringLiteral("scenes.json")), QJsonDocument(scenes).toJson()));

    TestSupport::PythonCheck check(QStringLiteral(SOURCE_DIR "/tests/simulator/check_light.py"),
                                   {QStringLiteral(SOURCE_DIR "/docs/light.md"), temporary.path()});
    const int good = check.run();
    QVERIFY2(good == 0, check.output());
    QVERIFY2(check.output().contains("6 photographs, 0 problems"), check.output());

    // It notices other coefficients, another wall, and a photograph of another moment.
    QVERIFY2(
        check.notices(folder.filePath(QStringLiteral("whiteA1.chroma")),
                      [](QByteArray &bytes) {
                          for (int pixel = 0; pixel < bytes.size(); pixel += 18) {
                              for (const auto &each : {std::make_pair(1, 3), std::make_pair(2, 6), std::make_pair(5, 7)}) {
                                  for (int byte = 0; byte < 2; ++byte)
                                      std::swap(bytes.data()[pixel + 2 * each.first + byte],
                                                bytes.data()[pixel + 2 * each.second + byte]);
                              }
                          }
                      }),
        check.output());
    QVERIFY2(check.notices(folder.filePath(QStringLiteral("wall.json")),
                           [](QByteArray &bytes) { bytes.replace("\"leds\": \"mixed\"", "\"leds\": \"fresh\""); }),
             check.output());
    QVERIFY2(check.notices(folder.filePath(QStringLiteral("colours-1.npy")),
                           [](QByteArray &bytes) {
                               for (int at = 128; at + 12 <= bytes.size(); at += 12) { // X and Z exchanged
                                   for (int byte = 0; byte < 4; ++byte)
                                       std::swap(bytes.data()[at + byte], bytes.data()[at + 8 + byte]);
                               }
                           }),
             check.output());
    QCOMPARE(check.run(), 0);
}

QTEST_GUILESS_MAIN(TestLight)

#include "tst_light.moc"
