#include "support/LogCapture.h"
#include "support/StubCabinet.h"

#include <Correction/CabinetManager.h>
#include <Correction/Coefficient.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>
#include <Correction/ScreenManager.h>
#include <Correction/ScreenReader.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>
#include <simulator/VirtualWall.h>

#include <limits>
#include <optional>

using namespace Correction;

namespace {

/// The first value of a pixel of the wall, different for each, and what the grids hold before they are read.
constexpr unsigned short valueAt(int x, int y)
{
    return static_cast<unsigned short>(1000 + 100 * y + x);
}
constexpr unsigned short untouched = 7;

} // namespace

/// The wall: two devices of 2 x 2 cabinets of 4 x 3 pixels, with a gap of 5 columns between them.
///
///     A: x 0 to 7, y 0 to 5        B: x 13 to 20, y 0 to 5
class tst_ScreenReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void anyRectangleIsRead_data();
    void anyRectangleIsRead();
    void holesAreOptional();
    void progressIsReported();
    void aRectangleWithoutACabinetIsAllHole();
    void anExceptionOfTheCallbackEndsTheRead();
    void devicesAreListed();

    void anEmptyRectangleIsRefused();
    void aGridOfAnotherSizeIsRefused_data();
    void aGridOfAnotherSizeIsRefused();
    void otherKindsCannotBeRead();
    void theCodeOfAHostsGridIsPassedOn();
    void aSilentDeviceIsATimeout();
    void aCabinetThatCannotBeListedFails();
    void aCabinetThatTheCallbackRemovesFails();
    void sizesThatNoGridHoldsFail_data();
    void sizesThatNoGridHoldsFail();

private:
    IScreen &screen() { return *ScreenManager::getInstance()->tryGetScreen(QStringLiteral("screen")); }
    QStringList loads() const { return m_wall.journal().transcript().filter(QStringLiteral("loadCoefficient")); }

    Simulator::VirtualWall &m_wall = Simulator::VirtualWall::instance();
    std::optional<TestSupport::LogCapture> m_log;
};

namespace {

/// A grid over `rect` that holds `untouched` everywhere.
Coefficient gridFor(const QRect &rect)
{
    Coefficient grid(rect.width(), rect.height());
    QVector<unsigned short> values(rect.width() * rect.height() * chromaPixelLength, untouched);
    grid.setCoefficient(values);
    return grid;
}

unsigned short firstValue(Coefficient &grid, int x, int y)
{
    return grid.getCoefficient().value((y * grid.getPixelCol() + x) * chromaPixelLength);
}

} // namespace

void tst_ScreenReader::init()
{
    m_log.emplace();
    m_wall.reset();
    m_wall.setDevices({Simulator::gridDevice(QStringLiteral("B"), QPoint(13, 0), 2, 2, QSize(4, 3), 11),
                       Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 2, QSize(4, 3), 1)});
    QCOMPARE(ScreenManager::getInstance()->refreshScreen(), enSuccess);
    const QRect whole(0, 0, 21, 6);
    Coefficient grid(whole.width(), whole.height());
    QVector<unsigned short> values;
    for (int y = 0; y < whole.height(); ++y) {
        for (int x = 0; x < whole.width(); ++x) {
            values.append(valueAt(x, y));
            values.resize(values.size() + chromaPixelLength - 1);
        }
    }
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(screen().setCoefficients(whole, grid), enSuccess);
    m_wall.journal().clear();
    m_log->clear();
}

void tst_ScreenReader::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
    m_log.reset();
    m_wall.reset();
    CabinetManager::getInstance()->removeCabinets();
}

void tst_ScreenReader::anyRectangleIsRead_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::addColumn<int>("cabinets");
    QTest::newRow("the whole screen") << QRect(0, 0, 21, 6) << 8;
    QTest::newRow("one pixel") << QRect(6, 4, 1, 1) << 1;
    QTest::newRow("begins inside of both devices") << QRect(1, 1, 19, 4) << 8;
    QTest::newRow("one device, not from its corner") << QRect(15, 2, 4, 2) << 4;
    QTest::newRow("a cabinet as a whole") << QRect(4, 3, 4, 3) << 1;
    QTest::newRow("reaches beyond the screen") << QRect(-3, -2, 30, 20) << 8;
}

void tst_ScreenReader::anyRectangleIsRead()
{
    QFETCH(QRect, rect);
    QFETCH(int, cabinets);
    Coefficient grid = gridFor(rect);
    QRegion holes;
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(rect, grid, &holes), enSuccess);
    QCOMPARE(loads().size(), cabinets); // each once
    const QRegion wall = QRegion(0, 0, 8, 6) + QRegion(13, 0, 8, 6);
    QCOMPARE(holes, QRegion(rect) - wall);
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        for (int x = rect.left(); x <= rect.right(); ++x) {
            QCOMPARE(firstValue(grid, x - rect.left(), y - rect.top()),
                     wall.contains(QPoint(x, y)) ? valueAt(x, y) : untouched);
        }
    }
}

void tst_ScreenReader::holesAreOptional()
{
    const QRect rect(5, 1, 10, 2);
    Coefficient grid = gridFor(rect);
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(rect, grid), enSuccess);
    QCOMPARE(firstValue(grid, 0, 0), valueAt(5, 1));
    QCOMPARE(firstValue(grid, 3, 0), untouched);
}

void tst_ScreenReader::progressIsReported()
{
    const QRect rect(3, 0, 11, 1); // of the upper cabinets: both of A, the left one of B
    Coefficient grid = gridFor(rect);
    QStringList reports;
    QStringList loadsBefore;
    const auto onProgress = [&](const ScreenReader::Progress &progress) {
        reports.append(QStringLiteral("%1/%2 %3/%4 %5")
                           .arg(progress.cabinetsRead)
                           .arg(progress.cabinets)
                           .arg(progress.pixelsRead)
                           .arg(progress.pixels)
                           .arg(progress.next ? progress.next->deviceKey + progress.next->id : QStringLiteral("end")));
        loadsBefore.append(QString::number(loads().size()));
    };
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(rect, grid, nullptr, onProgress), enSuccess);
    QCOMPARE(reports, QStringList({QStringLiteral("0/3 0/36 A1"), QStringLiteral("1/3 12/36 A2"),
                                   QStringLiteral("2/3 24/36 B11"), QStringLiteral("3/3 36/36 end")}));
    QCOMPARE(loadsBefore.join(QLatin1Char(' ')), QStringLiteral("0 1 2 3"));
}

void tst_ScreenReader::aRectangleWithoutACabinetIsAllHole()
{
    const QRect rect(9, 1, 3, 2);
    Coefficient grid = gridFor(rect);
    QRegion holes(0, 0, 1, 1); // replaced
    int reports = 0;
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(rect, grid, &holes,
                                                       [&](const ScreenReader::Progress &progress) {
                                                           ++reports;
                                                           QCOMPARE(progress.cabinets, 0);
                                                           QVERIFY(!progress.next);
                                                       }),
             enSuccess);
    QCOMPARE(reports, 1);
    QCOMPARE(holes, QRegion(rect));
    QCOMPARE(firstValue(grid, 0, 0), untouched);
    QCOMPARE(loads(), QStringList());
}

void tst_ScreenReader::anExceptionOfTheCallbackEndsTheRead()
{
    struct Enough {
    };
    const QRect rect(0, 0, 8, 3);
    Coefficient grid = gridFor(rect);
    const auto onProgress = [](const ScreenReader::Progress &progress) {
        if (progress.cabinetsRead == 1)
            throw Enough();
    };
    bool thrown = false;
    try {
        ScreenReader(screen()).tryGetCoefficients(rect, grid, nullptr, onProgress);
    } catch (const Enough &) {
        thrown = true;
    }
    QVERIFY(thrown);
    QCOMPARE(loads().size(), 1);
    QCOMPARE(firstValue(grid, 3, 2), valueAt(3, 2)); // stays
    QCOMPARE(firstValue(grid, 4, 2), untouched);
}

void tst_ScreenReader::devicesAreListed()
{
    QStringList keys{QStringLiteral("former")};
    QCOMPARE(ScreenReader(screen()).tryGetDeviceKeys(keys), enSuccess);
    QCOMPARE(keys, QStringList({QStringLiteral("A"), QStringLiteral("B")}));
    ScreenV4 empty;
    QCOMPARE(ScreenReader(empty).tryGetDeviceKeys(keys), enSuccess);
    QCOMPARE(keys, QStringList());
    QCOMPARE(m_wall.journal().transcript(), QStringList());
}

void tst_ScreenReader::anEmptyRectangleIsRefused()
{
    Coefficient grid(0, 0);
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(), grid), enOutOfRange);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("read of an empty rectangle. screen: screen")});
    QCOMPARE(loads(), QStringList());
}

void tst_ScreenReader::aGridOfAnotherSizeIsRefused_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("too narrow") << QSize(3, 2);
    QTest::newRow("too wide") << QSize(5, 2);
    QTest::newRow("too low") << QSize(4, 1);
    QTest::newRow("too high") << QSize(4, 3);
}

void tst_ScreenReader::aGridOfAnotherSizeIsRefused()
{
    QFETCH(QSize, size);
    Coefficient grid(size.width(), size.height());
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(2, 2, 4, 2), grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(),
             QStringList{QStringLiteral("read into a grid of another size. screen: screen grid w:%1 h:%2 rect w:4 h:2")
                             .arg(size.width())
                             .arg(size.height())});
    QCOMPARE(loads(), QStringList());
}

void tst_ScreenReader::otherKindsCannotBeRead()
{
    LowGrayCoefficient lowGray(4, 3);
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(0, 0, 4, 3), lowGray), enNotSupported);
    QCOMPARE(m_log->takeCritical(),
             QStringList{QStringLiteral("Failed to create coefficient. cabinet key: 1 Coefficient type:2")});
    QCOMPARE(m_wall.journal().transcript(), QStringList());

    MultilayerCoefficient multilayer(4, 3);
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(0, 0, 4, 3), multilayer), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Failed to get coefficient. cabinet key: 1 code: 1")});
}

namespace {

/// A host's grid of chroma kind that takes no block.
class RefusingGrid : public ICoefficient
{
public:
    int getPixelRow() override { return 3; }
    void setPixelRow(int) override {}
    int getPixelCol() override { return 4; }
    void setPixelCol(int) override {}
    int getPixelLength() override { return chromaPixelLength; }
    ICoefficient *getCopy() override { return nullptr; }
    EnumCoefficientType getType() override { return enCommonCoefficient; }
    EnumErrorCode setPartCoefficient(const QRect &, ICoefficient &) override { return enOutOfRange; }
    ICoefficient *tryGetPart(const QRect &) override { return nullptr; }
    QString toBase64() override { return QString(); }
};

} // namespace

void tst_ScreenReader::theCodeOfAHostsGridIsPassedOn()
{
    RefusingGrid grid;
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(2, 0, 4, 3), grid), enOutOfRange);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Failed to set part of coefficient. cabinet key: 1")});
    QCOMPARE(loads().size(), 1);
}

void tst_ScreenReader::aSilentDeviceIsATimeout()
{
    m_wall.scripts().on(QStringLiteral("Correctionop::loadCoefficient"), QStringLiteral("B")).answerFalse();
    const QRect rect(0, 0, 21, 3);
    Coefficient grid = gridFor(rect);
    QRegion holes;
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(rect, grid, &holes), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Failed to get coefficient. cabinet key: 11 code: 5")});
    QCOMPARE(holes, QRegion(8, 0, 5, 3));            // known before
    QCOMPARE(firstValue(grid, 7, 2), valueAt(7, 2)); // read before
    QCOMPARE(firstValue(grid, 13, 0), untouched);
}

void tst_ScreenReader::aCabinetThatCannotBeListedFails()
{
    screen().tryGetSubScreen(QStringLiteral("B"))->addCabinet(QStringLiteral("99"), QString());
    const QStringList lines{QStringLiteral("Connot find cabinet by id. deviceKey: B cid: 99"),
                            QStringLiteral("Failed to set correction mode. SubScreen key: B code: 3"),
                            QStringLiteral("Failed to list the cabinets. screen: screen code: 3")};
    Coefficient grid = gridFor(QRect(0, 0, 1, 1));
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(0, 0, 1, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), lines);
    QStringList keys{QStringLiteral("former")};
    QCOMPARE(ScreenReader(screen()).tryGetDeviceKeys(keys), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), lines);
    QCOMPARE(keys, QStringList{QStringLiteral("former")});
}

void tst_ScreenReader::aCabinetThatTheCallbackRemovesFails()
{
    Coefficient grid = gridFor(QRect(0, 0, 8, 3));
    const auto onProgress = [](const ScreenReader::Progress &) {
        CabinetManager::getInstance()->removeCabinet(QStringLiteral("2"));
    };
    QCOMPARE(ScreenReader(screen()).tryGetCoefficients(QRect(0, 0, 8, 3), grid, nullptr, onProgress), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList{QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 2")});
}

void tst_ScreenReader::sizesThatNoGridHoldsFail_data()
{
    QTest::addColumn<int>("right");
    QTest::addColumn<int>("bottom");
    QTest::addColumn<qint64>("pixels");
    constexpr int most = std::numeric_limits<int>::max() - 1;
    QTest::newRow("their pixels do not fit into 64 bits together")
        << most << most << qint64(std::numeric_limits<int>::max());
    QTest::newRow("a negative width") << -4 << 20 << qint64(0);
}

void tst_ScreenReader::sizesThatNoGridHoldsFail()
{
    QFETCH(int, right);
    QFETCH(int, bottom);
    QFETCH(qint64, pixels);
    struct Odd : TestSupport::StubCabinet {
        Odd(int right, int bottom) : m_right(right), m_bottom(bottom) {}
        EnumErrorCode GetCabinetInfo(CabinetInfo &info) override
        {
            info.id = QStringLiteral("901");
            info.rect.setCoords(0, 0, m_right, m_bottom);
            return enSuccess;
        }
        int m_right;
        int m_bottom;
    };
    ScreenV4 odd;
    auto *const subScreen = new SubScreenV4(QStringLiteral("H"));
    odd.addSubScreen(QStringLiteral("H"), subScreen);
    for (int id = 901; id < 906; ++id) {
        QVERIFY(CabinetManager::getInstance()->addCabinet(QString::number(id), new Odd(right, bottom)));
        subScreen->addCabinet(QString::number(id), QString());
    }
    const QRect rect(-2, 5, 4, 4); // in the rectangle of a negative width, too
    Coefficient grid = gridFor(rect);
    qint64 reported = -1;
    QCOMPARE(ScreenReader(odd).tryGetCoefficients(
                 rect, grid, nullptr, [&](const ScreenReader::Progress &progress) { reported = progress.pixels; }),
             enNotSupported);
    QCOMPARE(reported, 5 * pixels);
    QCOMPARE(m_log->takeCritical(),
             QStringList{QStringLiteral("Failed to create coefficient. cabinet key: 901 Coefficient type:0")});
}

QTEST_GUILESS_MAIN(tst_ScreenReader)
#include "tst_screenreader.moc"
