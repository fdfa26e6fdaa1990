// The presets: what they hold, and what the library finds when it discovers them.

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>
#include <support/LogCapture.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <memory>

using namespace Correction;
using Simulator::ClockMode;
using Simulator::VirtualWall;
using Simulator::WallDescription;

namespace {

VirtualWall &wall()
{
    return VirtualWall::instance();
}

WallDescription preset(const char *name)
{
    WallDescription description;
    return Simulator::presetWall(QString::fromLatin1(name), description) ? description : WallDescription();
}

QByteArray unityPixel()
{
    QByteArray pixel(18, '\0');
    for (const int diagonal : {0, 4, 8})
        pixel[2 * diagonal + 1] = '\x80';
    return pixel;
}

/// What the library logs when it makes the sub-screens of these devices.
QStringList newSubScreens(std::initializer_list<const char *> devices)
{
    QStringList lines;
    for (const char *key : devices)
        lines += QStringLiteral("Cannot find SubScreen. SubScreen key: %1").arg(QLatin1String(key));
    return lines;
}

} // namespace

class TestPresets : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void init();
    void cleanup();

    void theFilesAreAsTheyWouldBeWritten_data();
    void theFilesAreAsTheyWouldBeWritten();
    void theyAreFoundWhole_data();
    void theyAreFoundWhole();
    void demoIsTwoControllersSideBySide();
    void uhdCoversItsPixelsExactly();
    void stadiumHasTenThousandCabinets();
    void brokenIsFoundAsFarAsItAnswers();

    void loadTakesPresetsAndFiles();
    void loadRefusesEverythingElse();

private:
    std::unique_ptr<TestSupport::LogCapture> m_log;
};

void TestPresets::initTestCase()
{
    m_log = std::make_unique<TestSupport::LogCapture>();
}

void TestPresets::cleanupTestCase()
{
    m_log.reset();
}

void TestPresets::init()
{
    wall().reset();
    wall().timeline().setClock(ClockMode::Stepped);
    m_log->clear();
}

void TestPresets::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
}

void TestPresets::theFilesAreAsTheyWouldBeWritten_data()
{
    QTest::addColumn<QString>("name");
    for (const QString &name : Simulator::presetNames())
        QTest::newRow(qPrintable(name)) << name;
    QCOMPARE(QDir(QStringLiteral(SIMULATOR_SOURCES "/walls")).entryList({QStringLiteral("*.json")}).size(),
             Simulator::presetNames().size());
}

void TestPresets::theFilesAreAsTheyWouldBeWritten()
{
    QFETCH(QString, name);
    WallDescription description;
    QVERIFY(Simulator::presetWall(name, description));
    QFile file(QStringLiteral(SIMULATOR_SOURCES "/walls/%1.json").arg(name));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(QString::fromUtf8(Simulator::wallToJson(description)), QString::fromUtf8(file.readAll()));
    QCOMPARE(description.defaultPixels[0], unityPixel());
}

void TestPresets::theyAreFoundWhole_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("devices");
    QTest::addColumn<QStringList>("screens");
    QTest::addColumn<QList<QSize>>("sizes");
    QTest::addColumn<int>("cabinets");

    QTest::newRow("demo") << QStringLiteral("demo") << 2 << QStringList{QStringLiteral("Arena, main wall")}
                          << QList<QSize>{QSize(768, 512)} << 24;
    QTest::newRow("uneven") << QStringLiteral("uneven") << 2 << QStringList{QStringLiteral("Uneven wall")}
                            << QList<QSize>{QSize(768, 512)} << 24;
    QTest::newRow("uhd") << QStringLiteral("uhd") << 8 << QStringList{QStringLiteral("UHD wall")}
                         << QList<QSize>{QSize(3840, 2160)} << 510;
    QTest::newRow("stadium") << QStringLiteral("stadium") << 16
                             << QStringList{QStringLiteral("Cube over the field"), QStringLiteral("North stand"),
                                            QStringLiteral("Ribbon around the field"), QStringLiteral("South stand")}
                             << QList<QSize>{QSize(3200, 1600), QSize(3200, 3200), QSize(48000, 320), QSize(3200, 3200)}
                             << 10000;
}

void TestPresets::theyAreFoundWhole()
{
    QFETCH(QString, name);
    QFETCH(int, devices);
    QFETCH(QStringList, screens);
    QFETCH(QList<QSize>, sizes);
    QFETCH(int, cabinets);

    QString error;
    QVERIFY2(wall().load(name, &error), qPrintable(error));
    QCOMPARE(wall().pluggedDevices().size(), devices);
    ScreenManager &manager = *ScreenManager::getInstance();
    QCOMPARE(manager.refreshScreen(), enSuccess);
    QStringList expected;
    for (const Simulator::Device &device : wall().pluggedDevices())
        expected += newSubScreens({device.key.toLatin1().constData()});
    QCOMPARE(m_log->takeCritical(), expected);
    const QMap<QString, QString> names = manager.getNameMapping();
    QCOMPARE(QStringList(names.values()), screens);

    QList<QSize> found;
    QSet<QString> keys;
    int count = 0;
    for (const QString &id : names.keys()) {
        IScreen &screen = *manager.tryGetScreen(id);
        QRect rect;
        QCOMPARE(screen.tryGetRect(rect), enSuccess);
        QCOMPARE(rect.topLeft(), QPoint(0, 0));
        found += rect.size();
        QList<CabinetInfo> infos;
        QCOMPARE(screen.tryGetAllCabinetInfoList(infos), enSuccess);
        count += infos.size();
        qint64 area = 0; // Cabinets do not overlap, so equal areas mean that they leave no gap.
        for (const CabinetInfo &info : qAsConst(infos)) {
            keys.insert(info.deviceKey);
            area += static_cast<qint64>(info.rect.width()) * info.rect.height();
            QVERIFY(CabinetManager::getInstance()->tryGetCabinet(info.id));
        }
        QCOMPARE(area, static_cast<qint64>(rect.width()) * rect.height());
    }
    QCOMPARE(found, sizes);
    QCOMPARE(count, cabinets);
    QCOMPARE(keys.size(), devices);
    QCOMPARE(wall().journal().notes(), QStringList());
}

void TestPresets::demoIsTwoControllersSideBySide()
{
    const WallDescription demo = preset("demo");
    const QSize cabinet(128, 128);
    auto left = Simulator::gridDevice(QStringLiteral("left"), QPoint(0, 0), 3, 4, cabinet, 1);
    auto right = Simulator::gridDevice(QStringLiteral("right"), QPoint(384, 0), 3, 4, cabinet, 13);
    for (Simulator::Device *device : {&left, &right}) {
        device->screenId = QStringLiteral("arena-main");
        device->screenName = QStringLiteral("Arena, main wall");
    }
    QVERIFY(demo.devices == QList<Simulator::Device>({left, right}));
}

void TestPresets::uhdCoversItsPixelsExactly()
{
    QVERIFY(wall().load(QStringLiteral("uhd")));
    int low = 0;
    QSet<QString> ids;
    for (const Simulator::Device &device : wall().pluggedDevices()) {
        for (const Simulator::SubScreen &subScreen : device.subScreens) {
            for (const Simulator::Cabinet &cabinet : subScreen.cabinets) {
                ids.insert(cabinet.id);
                QVERIFY(cabinet.size == QSize(128, 128) || cabinet.size == QSize(128, 112));
                if (cabinet.size.height() == 128)
                    continue;
                ++low;
                QCOMPARE((device.screenPosition + subScreen.position + cabinet.position).y(), 2160 - 112);
            }
        }
    }
    QCOMPARE(low, 30);
    QCOMPARE(ids.size(), 510);
}

void TestPresets::stadiumHasTenThousandCabinets()
{
    const WallDescription stadium = preset("stadium");
    QCOMPARE(stadium.devices.size(), 16);
    QSet<QString> ids;
    for (const Simulator::Device &device : stadium.devices) {
        for (const Simulator::SubScreen &subScreen : device.subScreens) {
            for (const Simulator::Cabinet &cabinet : subScreen.cabinets) {
                ids.insert(cabinet.id);
                QCOMPARE(cabinet.receivingCards.size(), 2);
                QSet<QString> modules;
                qint64 area = 0;
                for (const Simulator::ReceivingCard &card : cabinet.receivingCards) {
                    for (const Simulator::Module &module : card.modules) {
                        QVERIFY(card.rect.contains(module.rect));
                        modules.insert(module.id);
                        area += module.rect.width() * module.rect.height();
                    }
                }
                QCOMPARE(modules.size(), 16);
                QCOMPARE(area, static_cast<qint64>(cabinet.size.width()) * cabinet.size.height());
            }
        }
    }
    QCOMPARE(ids.size(), 10000);
}

void TestPresets::brokenIsFoundAsFarAsItAnswers()
{
    QVERIFY(wall().load(QStringLiteral("broken")));
    QCOMPARE(wall().pluggedDevices().size(), 4);
    ScreenManager &manager = *ScreenManager::getInstance();
    QCOMPARE(manager.refreshScreen(), enCabinetNotFound);
    QCOMPARE(m_log->takeCritical(),
             newSubScreens({"obedient"}) + QStringList{QStringLiteral("getScreens error \"silent\"")}
                 + newSubScreens({"twins", "unplaced"})
                 + QStringList{
                     QStringLiteral(" deviceInfo.deviceKey :  \"Lists a cabinet without a place, places one that it does "
                                    "not list\" screenInfo:   \"9-1\"")});
    IScreen *const screen = manager.tryGetScreen(QStringLiteral("broken"));
    QVERIFY(screen);

    // The silent device is left out, so is the cabinet without a place; of two cabinets with one id the last one counts. The
    // refresh ended at the cabinet that is placed but not listed.
    QList<CabinetInfo> infos;
    QCOMPARE(screen->tryGetAllCabinetInfoList(infos), enSuccess);
    QStringList found;
    for (const CabinetInfo &info : qAsConst(infos)) {
        found += QStringLiteral("%1 %2 at %3").arg(info.deviceKey, info.id).arg(info.rect.x());
        QCOMPARE(info.rect.size(), QSize(64, 64));
    }
    QCOMPARE(found, QStringList({QStringLiteral("obedient 1 at 0"), QStringLiteral("obedient 2 at 64"),
                                 QStringLiteral("twins 7 at 448"), QStringLiteral("twins 8 at 512"),
                                 QStringLiteral("unplaced 5 at 256")}));
}

void TestPresets::loadTakesPresetsAndFiles()
{
    for (const QString &name : Simulator::presetNames()) {
        QVERIFY(wall().load(name));
        WallDescription description;
        QVERIFY(Simulator::presetWall(name, description));
        QVERIFY(wall().wall() == description);
    }
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("mine.json"));
    WallDescription mine = preset("demo");
    mine.title = QStringLiteral("mine");
    QVERIFY(Simulator::writeWall(path, mine));
    QString error;
    QVERIFY2(wall().load(path, &error), qPrintable(error));
    QVERIFY(wall().wall() == mine);
}

void TestPresets::loadRefusesEverythingElse()
{
    QVERIFY(wall().load(QStringLiteral("demo")));
    QString error;
    QVERIFY(!wall().load(QStringLiteral("Demo"), &error));
    QCOMPARE(error, QStringLiteral("Demo: no such file or directory, and no preset (demo, uhd, stadium, broken, uneven)"));
    QVERIFY(!wall().load(QString(), &error));
    QCOMPARE(error, QStringLiteral(": no such file or directory, and no preset (demo, uhd, stadium, broken, uneven)"));
    const QTemporaryDir folder;
    QVERIFY(!wall().load(folder.path(), &error));
    QVERIFY2(error.startsWith(folder.path()), qPrintable(error));
    const QString path = folder.filePath(QStringLiteral("bad.json"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{}") == 2);
    file.close();
    QVERIFY(!wall().load(path, &error));
    QCOMPARE(error, path + QStringLiteral(": format: expected \"led-wall\", got nothing\n") + path
                        + QStringLiteral(": version: expected the number 1, got nothing"));
    QVERIFY(!wall().load(path));
    QVERIFY(wall().wall() == preset("demo"));
}

QTEST_GUILESS_MAIN(TestPresets)

#include "tst_presets.moc"
