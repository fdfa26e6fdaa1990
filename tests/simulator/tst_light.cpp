// The light of the virtual wall and what a camera sees of it.

#include <service/Correctionop.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QtEndian>
#include <QtTest/QtTest>

using namespace Simulator;

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

} // namespace

class TestLight : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { wall().reset(); }
    void clearedCoefficientsChangeNothing_data();
    void clearedCoefficientsChangeNothing();
    void defaultPixelsOfTheWallGoFirst();
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

QTEST_GUILESS_MAIN(TestLight)

#include "tst_light.moc"
