// Coefficients by rectangle: what a sub-screen sends, pastes and logs.

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/CoefficientPtr.h>
#include <Correction/SubScreenV4.h>

#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>
#include <support/Rectangles.h>
#include <support/StubCabinet.h>
#include <support/Values.h>

#include <QtPromise>

#include <QtCore/QRandomGenerator>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

using namespace Correction;
using Simulator::VirtualWall;
using TestSupport::base64;
using TestSupport::fromCorners;
using TestSupport::numbered;
using TestSupport::partition;
using TestSupport::randomBytes;
using TestSupport::valuesOf;

namespace {

using Values = QVector<unsigned short>;

const QString deviceKey = QStringLiteral("A");
constexpr int valuesPerPixel = 9;
constexpr int intMax = std::numeric_limits<int>::max();
constexpr int intMin = std::numeric_limits<int>::min();

Coefficient gridOf(int columns, int rows, Values values)
{
    Coefficient grid(columns, rows);
    const EnumErrorCode code = grid.setCoefficient(values);
    Q_ASSERT(code == enSuccess);
    Q_UNUSED(code);
    return grid;
}

Coefficient numberedGrid(int columns, int rows, int first = 1)
{
    return gridOf(columns, rows, numbered(columns * rows * valuesPerPixel, first));
}

/// The values of a rectangle of a dense plane, row by row.
Values cutOut(const Values &plane, int columns, const QRect &rect)
{
    Values values;
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        for (int i = rect.left() * valuesPerPixel; i < (rect.right() + 1) * valuesPerPixel; ++i)
            values.append(plane[y * columns * valuesPerPixel + i]);
    }
    return values;
}

/// The area of a block as requests hold it.
QString areaText(const QRect &rect)
{
    return QStringLiteral("{\"point\": {\"x\": int %1, \"y\": int %2}, \"size\": {\"height\": int %3, \"width\": int %4}}")
        .arg(rect.x())
        .arg(rect.y())
        .arg(rect.height())
        .arg(rect.width());
}

/// The line of a cabinet's own upload.
QString uploadLine(const char *operation, const QString &cabinet, const QRect &area, const QString &text)
{
    return QStringLiteral("Correctionop::%1(\"A\", \"%2\", [{\"area\": %3, \"coefficients\": \"%4\"}])")
        .arg(QLatin1String(operation), cabinet, areaText(area), text);
}

/// A cabinet's entry of the upload for the whole device.
QString entryText(qint64 cid, const QRect &area, const QString &text)
{
    return QStringLiteral("{\"cid\": qlonglong %1, \"coefficientList\": [{\"area\": %2, \"coefficient\": \"%3\"}]}")
        .arg(QString::number(cid), areaText(area), text);
}

QString asyncLine(const char *operation, const QStringList &entries)
{
    return QStringLiteral("Correctionop::%1(\"A\", [%2])").arg(QLatin1String(operation), entries.join(QStringLiteral(", ")));
}

QString loadLine(const QString &cabinet)
{
    return QStringLiteral("Correctionop::loadCoefficient(\"A\", \"%1\")").arg(cabinet);
}

/// The end of a grid's own lines.
QString gridItems(const QRect &rect, int columns, int rows)
{
    return QStringLiteral("x: %1 y: %2 w: %3 h: %4 m_pixelCol: %5 m_pixelRow: %6")
        .arg(rect.x())
        .arg(rect.y())
        .arg(rect.width())
        .arg(rect.height())
        .arg(columns)
        .arg(rows);
}

QString pasteLine(const QRect &rect, int columns, int rows)
{
    return QStringLiteral("Correction::Coefficient::setPartCoefficient ") + gridItems(rect, columns, rows);
}

QString cutLine(const QRect &rect, int columns, int rows)
{
    return QStringLiteral("Correction::Coefficient::tryGetPart ") + gridItems(rect, columns, rows);
}

QString pasteRefusal(const QRect &rect, int columns, int rows)
{
    return QStringLiteral("x + w > m_pixelCol || y + h > m_pixelRow: ") + gridItems(rect, columns, rows);
}

QString cutRefusal(const QRect &rect, int columns, int rows)
{
    return QStringLiteral("Correction::Coefficient::tryGetPart ") + pasteRefusal(rect, columns, rows);
}

/// What a host's own cabinet returns. The registry runs no destructors, so the cabinet itself only refers to it.
struct CabinetBehaviour {
    QRect rect;
    QString id;
    std::function<EnumErrorCode(int)> describe; ///< gets the number of calls before
    std::function<EnumErrorCode(ICoefficient &)> read;
    std::function<EnumErrorCode(const QPoint &, ICoefficient &)> write;
    int described = 0;
};

class ForeignCabinet : public TestSupport::StubCabinet
{
public:
    explicit ForeignCabinet(CabinetBehaviour &behaviour) : m_behaviour(&behaviour) {}

    EnumErrorCode GetCabinetInfo(CabinetInfo &info) override
    {
        const int before = m_behaviour->described++;
        const EnumErrorCode code = m_behaviour->describe ? m_behaviour->describe(before) : enSuccess;
        if (code == enSuccess) {
            info.id = m_behaviour->id;
            info.rect = m_behaviour->rect;
        }
        return code;
    }
    EnumErrorCode tryGetCoefficients(ICoefficient &grid) override
    {
        return m_behaviour->read ? m_behaviour->read(grid) : enSuccess;
    }
    EnumErrorCode setCoefficients(const QPoint &position, ICoefficient &grid) override
    {
        return m_behaviour->write ? m_behaviour->write(position, grid) : enSuccess;
    }

private:
    CabinetBehaviour *m_behaviour;
};

/// A host's own grid: of any kind, with cuts and pastes that the test decides on.
class ForeignGrid : public IChromaCoefficient
{
public:
    explicit ForeignGrid(EnumCoefficientType type) : m_type(type) {}

    std::function<ICoefficient *(const QRect &)> onCut;
    std::function<EnumErrorCode(const QRect &, ICoefficient &)> onPaste;
    QVector<QRect> cuts;
    QVector<QRect> pastes;

    using IChromaCoefficient::setPartCoefficient;
    int getPixelRow() override { return 0; }
    void setPixelRow(int) override {}
    int getPixelCol() override { return 0; }
    void setPixelCol(int) override {}
    int getPixelLength() override { return valuesPerPixel; }
    ICoefficient *getCopy() override { return nullptr; }
    EnumCoefficientType getType() override { return m_type; }
    EnumErrorCode setPartCoefficient(const QRect &rect, ICoefficient &source) override
    {
        pastes.append(rect);
        return onPaste ? onPaste(rect, source) : enSuccess;
    }
    ICoefficient *tryGetPart(const QRect &rect) override
    {
        cuts.append(rect);
        return onCut ? onCut(rect) : nullptr;
    }
    QString toBase64() override { return QString(); }
    EnumErrorCode tryGetAvg(Values &) override { return enNotSupported; }
    EnumErrorCode toByteArray(QByteArray &) override { return enNotSupported; }
    Values getCoefficient() override { return Values(); }
    EnumErrorCode setCoefficient(Values &) override { return enNotSupported; }
    EnumErrorCode setPartCoefficient(const QRect &, Values &) override { return enNotSupported; }
    QString toJsonData() override { return QString(); }

private:
    EnumCoefficientType m_type;
};

/// A block of a class unknown to the library, which therefore only releases its storage.
class ForeignBlock : public ICoefficient
{
public:
    ForeignBlock(EnumCoefficientType type, int columns, int rows) : m_type(type), m_columns(columns), m_rows(rows) {}

    int getPixelRow() override { return m_rows; }
    void setPixelRow(int rows) override { m_rows = rows; }
    int getPixelCol() override { return m_columns; }
    void setPixelCol(int columns) override { m_columns = columns; }
    int getPixelLength() override { return 1; }
    ICoefficient *getCopy() override { return nullptr; }
    EnumCoefficientType getType() override { return m_type; }
    EnumErrorCode setPartCoefficient(const QRect &, ICoefficient &) override { return enNotSupported; }
    ICoefficient *tryGetPart(const QRect &) override { return nullptr; }
    QString toBase64() override { return QStringLiteral("anything"); }

private:
    EnumCoefficientType m_type;
    int m_columns;
    int m_rows;
};
static_assert(std::is_trivially_destructible<ForeignBlock>::value, "nobody runs its destructor");

EnumErrorCode codeOf(const QtPromise::QPromise<EnumErrorCode> &promise)
{
    EnumErrorCode code = EnumErrorCode(-1);
    promise.then([&code](EnumErrorCode value) { code = value; }).wait();
    return code;
}

enum class Operation { Read, Write, WriteAsync };

} // namespace

Q_DECLARE_METATYPE(Operation)

class tst_SubScreenTransfer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void cleanupTestCase();

    void aReadLandsInTheSubScreensFrame();
    void aReadSaysWhatItDoes();
    void aReadOfACabinetFarInsideLandsAtItsColumn();
    void aReadLeavesTheRestOfTheGridAlone();
    void aReadAsksTheMeetingCabinetsOnlyAndInIdOrder();
    void kindsThatCannotBeRead_data();
    void kindsThatCannotBeRead();
    void aCabinetTooLargeForAGridIsNotRead_data();
    void aCabinetTooLargeForAGridIsNotRead();
    void aCabinetThatDoesNotAnswerEndsTheRead();
    void aGridThatACabinetSpoiledCannotBeCut();
    void aGridThatIsTooSmallRefusesTheBlock();
    void aForeignGridsOwnCodeIsPassedOn();
    void aForeignCabinetFillsTheGrid();

    void aWriteTakesBlocksInTheRequestsFrame();
    void writesOfEveryKindGoToTheirOwnOperation_data();
    void writesOfEveryKindGoToTheirOwnOperation();
    void aBlockOfAnUnknownKindIsNotWritten();
    void aBlockWhoseTextDoesNotFitIsNotWritten();
    void aFailedCabinetEndsTheWriteAndTheFirstKeepsItsValues();
    void aBlockThatTheCabinetRefusesSendsNothing();

    void anAsyncWriteIsOneUploadForAllCabinets();
    void anAsyncWriteSaysWhatItDoes();
    void anAsyncWriteOfEveryKindGoesToItsOwnOperation_data();
    void anAsyncWriteOfEveryKindGoesToItsOwnOperation();
    void theThreadIsNamedBeforeAMultilayerUpload();
    void anAsyncWriteOfAnUnknownKindIsSevenAfterAllBlocksWereCut();
    void theCidIsTheRecordsIdAsANumber_data();
    void theCidIsTheRecordsIdAsANumber();
    void uploadsThatFail_data();
    void uploadsThatFail();
    void theEventLoopRunsWhileAnUploadIsPending();
    void anUploadMaySettleOnAnotherThread();
    void nothingIsUploadedWhenALaterBlockCannotBeCut();

    void aRectangleThatMeetsNothing_data();
    void aRectangleThatMeetsNothing();
    void aSubScreenWithoutCabinetsDoesNothing_data();
    void aSubScreenWithoutCabinetsDoesNothing();
    void anUnknownCabinetEndsEveryOperation_data();
    void anUnknownCabinetEndsEveryOperation();
    void aCabinetWithoutDescriptionEndsEveryOperation_data();
    void aCabinetWithoutDescriptionEndsEveryOperation();
    void anyCodeOfTheRectangleIsPassedOnOrThree_data();
    void anyCodeOfTheRectangleIsPassedOnOrThree();
    void aCabinetThatLosesItsDescriptionOnTheWay_data();
    void aCabinetThatLosesItsDescriptionOnTheWay();
    void aCabinetThatLeavesTheRegistryOnTheWay_data();
    void aCabinetThatLeavesTheRegistryOnTheWay();
    void aGridThatGivesNoBlockIsThree_data();
    void aGridThatGivesNoBlockIsThree();
    void theCutMessageNamesTheMapsAndTheRecordsId_data();
    void theCutMessageNamesTheMapsAndTheRecordsId();
    void aDeviceKeyWithPlaceholdersStaysAKey();

    void onlyOneBlockIsAliveAtATimeInARead();
    void onlyOneBlockIsAliveAtATimeInAWrite_data();
    void onlyOneBlockIsAliveAtATimeInAWrite();
    void exhaustedMemoryPassesThroughAndLeaksNothing_data();
    void exhaustedMemoryPassesThroughAndLeaksNothing();
    void noOtherExceptionOfTheServiceLeaves_data();
    void noOtherExceptionOfTheServiceLeaves();

    void absurdRectanglesDoNoHarm_data();
    void absurdRectanglesDoNoHarm();
    void absurdCabinetsDoNoHarm_data();
    void absurdCabinetsDoNoHarm();
    void aGridThatLiesAboutItsSizeGivesZerosWithAWarning();

    void randomWallsTakeRandomRectangles_data();
    void randomWallsTakeRandomRectangles();
    void randomWallsAreReadBack_data();
    void randomWallsAreReadBack();

private:
    static VirtualWall &wall() { return VirtualWall::instance(); }
    /// A cabinet on the wall, in the registry and in the sub-screen.
    void place(const QString &id, const QRect &rect);
    /// A cabinet in the registry and in the sub-screen alone.
    void enlist(const QString &id, const QRect &rect, const QString &recordId);
    CabinetBehaviour &placeForeign(const QString &id, const QRect &rect);
    void plugIn();
    EnumErrorCode run(Operation operation, const QRect &rect, ICoefficient &grid);
    void verifyBounds(const QRect &rect);

    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
    std::unique_ptr<SubScreenV4> m_subScreen;
    // The registry releases cabinets without their records.
    std::vector<std::unique_ptr<CabinetInfo>> m_records;
    std::vector<std::unique_ptr<CabinetBehaviour>> m_behaviours;
    Simulator::Device m_device;
};

void tst_SubScreenTransfer::init()
{
    wall().reset();
    m_device = Simulator::Device();
    m_device.key = deviceKey;
    m_device.subScreens = {Simulator::SubScreen()};
    m_subScreen = std::make_unique<SubScreenV4>(deviceKey);
    m_log.emplace();
}

void tst_SubScreenTransfer::cleanup()
{
    m_subScreen.reset();
    CabinetManager::getInstance()->removeCabinets();
    m_records.clear();
    m_behaviours.clear();
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_SubScreenTransfer::cleanupTestCase()
{
    m_log.reset();
}

void tst_SubScreenTransfer::enlist(const QString &id, const QRect &rect, const QString &recordId)
{
    auto record = std::make_unique<CabinetInfo>();
    record->id = recordId;
    record->deviceKey = deviceKey;
    record->rect = rect;
    QVERIFY(CabinetManager::getInstance()->addCabinet(id, new CabinetV4(record.get())));
    m_records.push_back(std::move(record));
    QVERIFY(m_subScreen->addCabinet(id, QString()));
}

void tst_SubScreenTransfer::place(const QString &id, const QRect &rect)
{
    enlist(id, rect, id);
    Simulator::Cabinet cabinet;
    cabinet.id = id;
    cabinet.position = rect.topLeft();
    cabinet.size = rect.size();
    m_device.subScreens[0].cabinets.append(cabinet);
}

CabinetBehaviour &tst_SubScreenTransfer::placeForeign(const QString &id, const QRect &rect)
{
    m_behaviours.push_back(std::make_unique<CabinetBehaviour>());
    CabinetBehaviour &behaviour = *m_behaviours.back();
    behaviour.rect = rect;
    behaviour.id = id;
    CabinetManager::getInstance()->addCabinet(id, new ForeignCabinet(behaviour));
    m_subScreen->addCabinet(id, QString());
    return behaviour;
}

void tst_SubScreenTransfer::plugIn()
{
    wall().setDevices({m_device});
}

EnumErrorCode tst_SubScreenTransfer::run(Operation operation, const QRect &rect, ICoefficient &grid)
{
    switch (operation) {
    case Operation::Read:
        return m_subScreen->tryGetCoefficients(rect, grid);
    case Operation::Write:
        return m_subScreen->setCoefficients(rect, grid);
    case Operation::WriteAsync:
        break;
    }
    return codeOf(m_subScreen->setCoefficientsAsync(rect, grid));
}

// Reading

void tst_SubScreenTransfer::aReadLandsInTheSubScreensFrame()
{
    place(QStringLiteral("1"), QRect(100, 50, 4, 3));
    place(QStringLiteral("2"), QRect(104, 50, 4, 3));
    plugIn();
    const Values first = numbered(4 * 3 * 9, 1);
    const Values second = numbered(4 * 3 * 9, 5000);
    QVERIFY(wall().state().setChroma(deviceKey, QStringLiteral("1"), first));
    QVERIFY(wall().state().setChroma(deviceKey, QStringLiteral("2"), second));

    // Columns 3 to 5 and rows 1 and 2 of the sub-screen, into a grid over the whole sub-screen.
    Coefficient grid(8, 3);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(103, 51, 3, 2), grid), enSuccess);

    Values expected(8 * 3 * 9, 0);
    for (int row = 1; row < 3; ++row) {
        for (int k = 0; k < 9; ++k) {
            expected[(row * 8 + 3) * 9 + k] = first[(row * 4 + 3) * 9 + k];
            expected[(row * 8 + 4) * 9 + k] = second[(row * 4 + 0) * 9 + k];
            expected[(row * 8 + 5) * 9 + k] = second[(row * 4 + 1) * 9 + k];
        }
    }
    QCOMPARE(grid.getCoefficient(), expected);
    // Whole cabinets are read, even for a corner.
    QCOMPARE(wall().journal().transcript(), QStringList({loadLine(QStringLiteral("1")), loadLine(QStringLiteral("2"))}));
}

void tst_SubScreenTransfer::aReadSaysWhatItDoes()
{
    place(QStringLiteral("1"), QRect(100, 50, 4, 3));
    place(QStringLiteral("2"), QRect(104, 50, 4, 3));
    place(QStringLiteral("3"), QRect(108, 50, 4, 3));
    plugIn();
    Coefficient grid(12, 3);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(103, 51, 3, 9), grid), enSuccess);
    QCOMPARE(m_log->takeDebug(),
             QStringList({
                 QStringLiteral("Correction::SubScreenV4::tryGetCoefficients insRect x: 103 y: 51 w: 1 h 2"),
                 pasteLine(QRect(0, 0, 4, 3), 4, 3),
                 cutLine(QRect(3, 1, 1, 2), 4, 3),
                 pasteLine(QRect(3, 1, 1, 2), 12, 3),
                 QStringLiteral("Correction::SubScreenV4::tryGetCoefficients insRect x: 104 y: 51 w: 2 h 2"),
                 pasteLine(QRect(0, 0, 4, 3), 4, 3),
                 cutLine(QRect(0, 1, 2, 2), 4, 3),
                 pasteLine(QRect(4, 1, 2, 2), 12, 3),
             }));
}

void tst_SubScreenTransfer::aReadOfACabinetFarInsideLandsAtItsColumn()
{
    place(QStringLiteral("1"), QRect(-7, 20, 100, 1));
    place(QStringLiteral("2"), QRect(93, 20, 2, 1));
    plugIn();
    const Values values = numbered(2 * 9);
    QVERIFY(wall().state().setChroma(deviceKey, QStringLiteral("2"), values));
    for (const int left : {93, 94}) {
        Coefficient grid(102, 1);
        QCOMPARE(m_subScreen->tryGetCoefficients(QRect(left, 20, 1, 1), grid), enSuccess);
        Values expected(102 * 9, 0);
        for (int k = 0; k < 9; ++k)
            expected[(100 + left - 93) * 9 + k] = values[(left - 93) * 9 + k];
        QCOMPARE(grid.getCoefficient(), expected);
    }
}

void tst_SubScreenTransfer::aReadLeavesTheRestOfTheGridAlone()
{
    // A hole between the cabinets.
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    place(QStringLiteral("2"), QRect(4, 0, 2, 1));
    plugIn();
    Coefficient grid = numberedGrid(6, 1);
    Values expected = grid.getCoefficient();
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(-3, -3, 8, 9), grid), enSuccess);
    for (const int column : {0, 1, 4}) {
        for (int k = 0; k < 9; ++k)
            expected[column * 9 + k] = 0;
    }
    QCOMPARE(grid.getCoefficient(), expected);
}

void tst_SubScreenTransfer::aReadAsksTheMeetingCabinetsOnlyAndInIdOrder()
{
    place(QStringLiteral("2"), QRect(0, 0, 2, 2));
    place(QStringLiteral("10"), QRect(2, 0, 2, 2));
    place(QStringLiteral("3"), QRect(4, 0, 2, 2));
    place(QStringLiteral("4"), QRect(6, 0, 2, 2));
    plugIn();
    Coefficient grid(8, 2);
    // The rectangle ends right before cabinet 4.
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(1, 1, 5, 1), grid), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList({loadLine(QStringLiteral("10")), loadLine(QStringLiteral("2")), loadLine(QStringLiteral("3"))}));
}

void tst_SubScreenTransfer::kindsThatCannotBeRead_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("low-gray") << 2;
    QTest::newRow("three") << 3;
    QTest::newRow("negative") << -1;
    QTest::newRow("multilayer") << 1;
}

void tst_SubScreenTransfer::kindsThatCannotBeRead()
{
    QFETCH(int, kind);
    place(QStringLiteral("7"), QRect(0, 0, 2, 2));
    plugIn();
    ForeignGrid grid{EnumCoefficientType(kind)};
    const EnumErrorCode code = m_subScreen->tryGetCoefficients(QRect(0, 0, 1, 1), grid);
    QCOMPARE(grid.pastes, QVector<QRect>());
    if (kind == enMultilayerCoefficient) {
        // The grid can be made; no multilayer reply can be parsed into it.
        QCOMPARE(code, enArgumentMismatch);
        QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get coefficient. cabinet key: 7 code: 1")));
        QCOMPARE(wall().journal().transcript(),
                 QStringList(QStringLiteral("Correctionop::loadMultilayerCoefficient(\"A\", \"7\")")));
    } else {
        QCOMPARE(code, enNotSupported);
        QCOMPARE(m_log->takeCritical(),
                 QStringList(QStringLiteral("Failed to create coefficient. cabinet key: 7 Coefficient type:%1").arg(kind)));
        QCOMPARE(wall().journal().transcript(), QStringList());
    }
    QCOMPARE(m_log->takeDebug().value(0),
             QStringLiteral("Correction::SubScreenV4::tryGetCoefficients insRect x: 0 y: 0 w: 1 h 1"));
}

void tst_SubScreenTransfer::aCabinetTooLargeForAGridIsNotRead_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("more values than a container holds") << QRect(0, 0, 50000, 50000);
    QTest::newRow("a product that wraps to a small number") << QRect(0, 0, 1 << 16, 1 << 16);
    QTest::newRow("the widest row") << QRect(0, 0, intMax, 1);
    QTest::newRow("a negative width") << QRect(QPoint(5, 0), QPoint(0, 3));
}

void tst_SubScreenTransfer::aCabinetTooLargeForAGridIsNotRead()
{
    QFETCH(QRect, rect);
    enlist(QStringLiteral("1"), rect, QStringLiteral("1"));
    Coefficient grid(4, 4);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(2, 0, 1, 1), grid), enNotSupported);
    QCOMPARE(m_log->takeCritical(),
             QStringList(QStringLiteral("Failed to create coefficient. cabinet key: 1 Coefficient type:0")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_SubScreenTransfer::aCabinetThatDoesNotAnswerEndsTheRead()
{
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    place(QStringLiteral("2"), QRect(1, 0, 1, 1));
    place(QStringLiteral("3"), QRect(2, 0, 1, 1));
    plugIn();
    for (const char *id : {"1", "2", "3"})
        QVERIFY(wall().state().setChroma(deviceKey, QString::fromLatin1(id), numbered(9, 100 * (*id - '0'))));
    wall().scripts().on(QStringLiteral("Correctionop::loadCoefficient"), deviceKey, QStringLiteral("2")).answerFalse();

    Coefficient grid = numberedGrid(3, 1);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(0, 0, 3, 1), grid), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get coefficient. cabinet key: 2 code: 5")));
    QCOMPARE(wall().journal().transcript(), QStringList({loadLine(QStringLiteral("1")), loadLine(QStringLiteral("2"))}));
    // Earlier values stay.
    QCOMPARE(grid.getCoefficient(), numbered(9, 100) + numbered(18, 10));
}

void tst_SubScreenTransfer::aGridThatACabinetSpoiledCannotBeCut()
{
    CabinetBehaviour &cabinet = placeForeign(QStringLiteral("9"), QRect(0, 0, 4, 4));
    cabinet.read = [](ICoefficient &grid) {
        grid.setPixelCol(3);
        return enSuccess;
    };
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(2, 1, 2, 2), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(),
             QStringList({cutRefusal(QRect(2, 1, 2, 2), 3, 4), QStringLiteral("Failed to tryGetPart")}));
    QCOMPARE(grid.pastes, QVector<QRect>());
}

void tst_SubScreenTransfer::aGridThatIsTooSmallRefusesTheBlock()
{
    place(QStringLiteral("1"), QRect(0, 0, 2, 2));
    place(QStringLiteral("2"), QRect(2, 0, 2, 2));
    plugIn();
    QVERIFY(wall().state().setChroma(deviceKey, QStringLiteral("1"), numbered(36, 500)));
    // Laid out over the request instead of the sub-screen.
    Coefficient grid(2, 2);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(0, 0, 4, 2), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList({pasteRefusal(QRect(2, 0, 2, 2), 2, 2),
                                                 QStringLiteral("Failed to set part of coefficient. cabinet key: 2")}));
    QCOMPARE(grid.getCoefficient(), numbered(36, 500));
}

void tst_SubScreenTransfer::aForeignGridsOwnCodeIsPassedOn()
{
    place(QStringLiteral("1"), QRect(10, 20, 3, 3));
    place(QStringLiteral("2"), QRect(13, 20, 3, 3));
    plugIn();
    ForeignGrid grid(enCommonCoefficient);
    grid.onPaste = [](const QRect &, ICoefficient &) { return enFileError; };
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(11, 21, 5, 2), grid), enFileError);
    QCOMPARE(grid.pastes, QVector<QRect>({QRect(1, 1, 2, 2)}));
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set part of coefficient. cabinet key: 1")));
    QCOMPARE(wall().journal().transcript(), QStringList(loadLine(QStringLiteral("1"))));
}

void tst_SubScreenTransfer::aForeignCabinetFillsTheGrid()
{
    const Values values = numbered(3 * 2 * 9);
    QVector<QSize> asked;
    CabinetBehaviour &cabinet = placeForeign(QStringLiteral("1"), QRect(5, 6, 3, 2));
    cabinet.read = [&](ICoefficient &grid) {
        asked.append(QSize(grid.getPixelCol(), grid.getPixelRow()));
        Values copy = values;
        return dynamic_cast<IChromaCoefficient &>(grid).setCoefficient(copy);
    };
    CabinetBehaviour &failing = placeForeign(QStringLiteral("2"), QRect(8, 6, 1, 1));
    failing.read = [](ICoefficient &) { return EnumErrorCode(77); };

    Coefficient grid(4, 2);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(6, 7, 2, 1), grid), enSuccess);
    QCOMPARE(asked, QVector<QSize>({QSize(3, 2)}));
    Values expected(4 * 2 * 9, 0);
    for (int k = 0; k < 18; ++k)
        expected[(4 + 1) * 9 + k] = values[(3 + 1) * 9 + k];
    QCOMPARE(grid.getCoefficient(), expected);

    QCOMPARE(int(m_subScreen->tryGetCoefficients(QRect(8, 6, 1, 1), grid)), 77);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get coefficient. cabinet key: 2 code: 77")));
}

// Writing, cabinet by cabinet

void tst_SubScreenTransfer::aWriteTakesBlocksInTheRequestsFrame()
{
    place(QStringLiteral("2"), QRect(100, 50, 4, 3));
    place(QStringLiteral("10"), QRect(104, 50, 4, 3));
    place(QStringLiteral("3"), QRect(108, 50, 4, 3));
    plugIn();
    // Reaches above the cabinets: the first row of the grid is over none.
    const QRect rect(103, 49, 3, 3);
    Coefficient grid = numberedGrid(3, 3);
    const Values values = grid.getCoefficient();
    QCOMPARE(m_subScreen->setCoefficients(rect, grid), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList({
                                                uploadLine("uploadCoefficient", QStringLiteral("10"), QRect(0, 0, 2, 2),
                                                           base64(cutOut(values, 3, QRect(1, 1, 2, 2)))),
                                                uploadLine("uploadCoefficient", QStringLiteral("2"), QRect(3, 0, 1, 2),
                                                           base64(cutOut(values, 3, QRect(0, 1, 1, 2)))),
                                            }));
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList({
                                     cutLine(QRect(1, 1, 2, 2), 3, 3),
                                     QStringLiteral("Correction::CabinetV4::setCoefficients deviceKey: \"A\""),
                                     cutLine(QRect(0, 1, 1, 2), 3, 3),
                                     QStringLiteral("Correction::CabinetV4::setCoefficients deviceKey: \"A\""),
                                 }));
    QCOMPARE(grid.getCoefficient(), values);
}

void tst_SubScreenTransfer::writesOfEveryKindGoToTheirOwnOperation_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("asyncOperation");
    QTest::newRow("chroma") << 0 << QStringLiteral("uploadCoefficient") << QStringLiteral("uploadCoefficientAsync");
    QTest::newRow("multilayer") << 1 << QStringLiteral("uploadMultilayerCoefficient")
                                << QStringLiteral("uploadMultilayerCoefficientAsync");
    QTest::newRow("low-gray") << 2 << QStringLiteral("uploadLowgrayCoefficient")
                              << QStringLiteral("uploadLowGrayCoefficientAsync");
}

namespace {

/// A grid of any kind, one row of three pixels, with the text of its two right pixels.
struct AnyGrid {
    CoefficientPtr grid;
    QString rightPixels;

    explicit AnyGrid(int kind)
    {
        Values values = numbered(27);
        if (kind == enCommonCoefficient) {
            auto *const chroma = new Coefficient(3, 1);
            grid.reset(chroma);
            chroma->setCoefficient(values);
            rightPixels = base64(values.mid(9));
        } else if (kind == enLowgrayCoefficient) {
            auto *const lowGray = new LowGrayCoefficient(3, 1);
            grid.reset(lowGray);
            lowGray->setCoefficient(values);
            rightPixels = base64(values.mid(9));
        } else {
            QByteArray bytes;
            for (int i = 0; i < 48; ++i)
                bytes.append(static_cast<char>(200 + i));
            auto *const multilayer = new MultilayerCoefficient(3, 1);
            grid.reset(multilayer);
            multilayer->setCoefficient(bytes);
            rightPixels = base64(bytes.mid(16));
        }
    }
};

} // namespace

void tst_SubScreenTransfer::writesOfEveryKindGoToTheirOwnOperation()
{
    QFETCH(int, kind);
    QFETCH(QString, operation);
    place(QStringLiteral("4"), QRect(0, 0, 2, 1));
    plugIn();
    const AnyGrid any(kind);
    QCOMPARE(m_subScreen->setCoefficients(QRect(-1, 0, 3, 1), *any.grid), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(uploadLine(operation.toLatin1().constData(), QStringLiteral("4"),
                                                                   QRect(0, 0, 2, 1), any.rightPixels)));
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(base64(wall().state().plane(deviceKey, QStringLiteral("4"), Simulator::Kind(kind))), any.rightPixels);
}

void tst_SubScreenTransfer::aBlockOfAnUnknownKindIsNotWritten()
{
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    place(QStringLiteral("2"), QRect(2, 0, 2, 1));
    plugIn();
    ForeignGrid grid(EnumCoefficientType(5));
    grid.onCut = [](const QRect &rect) { return new ForeignBlock(EnumCoefficientType(5), rect.width(), rect.height()); };
    QCOMPARE(m_subScreen->setCoefficients(QRect(0, 0, 4, 1), grid), enNotSupported);
    QCOMPARE(grid.cuts, QVector<QRect>({QRect(0, 0, 2, 1)}));
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set cabinet coefficient. sreenId:1 cabinetId:1")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_SubScreenTransfer::aBlockWhoseTextDoesNotFitIsNotWritten()
{
    constexpr int columns = 30000;
    constexpr int rows = 27000;
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    place(QStringLiteral("2"), QRect(2, 0, columns, rows));
    ForeignGrid grid(enMultilayerCoefficient);
    grid.onCut = [](const QRect &rect) {
        // Those of the block that is too large stay unwritten, so that they take address space only.
        QByteArray bytes(rect.width() * rect.height(), Qt::Uninitialized);
        bytes[0] = bytes[1] = 0; // all of the small block
        auto *const block = new MultilayerCoefficient(0, 0, 1);
        block->setPixelCol(rect.width());
        block->setPixelRow(rect.height());
        block->setCoefficient(bytes);
        return block;
    };
    const QString tooLong = QStringLiteral("base64 text too long. bytes:%1").arg(columns * rows);
    QCOMPARE(codeOf(m_subScreen->setCoefficientsAsync(QRect(0, 0, columns + 2, rows), grid)), enInvalidParameter);
    QCOMPARE(wall().journal().transcript(), QStringList()); // not even the block that fits: one request carries both
    QCOMPARE(m_log->takeCritical(), QStringList(tooLong));

    QCOMPARE(m_subScreen->setCoefficients(QRect(2, 0, columns, rows), grid), enInvalidParameter);
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeCritical(),
             QStringList({tooLong, QStringLiteral("Failed to set cabinet coefficient. sreenId:2 cabinetId:2")}));
}

void tst_SubScreenTransfer::aFailedCabinetEndsTheWriteAndTheFirstKeepsItsValues()
{
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    place(QStringLiteral("2"), QRect(1, 0, 1, 1));
    place(QStringLiteral("3"), QRect(2, 0, 1, 1));
    plugIn();
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficient"), deviceKey, QStringLiteral("2")).answerFalse();
    Coefficient grid = numberedGrid(3, 1);
    QCOMPARE(m_subScreen->setCoefficients(QRect(0, 0, 3, 1), grid), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set cabinet coefficient. sreenId:2 cabinetId:2")));
    QCOMPARE(wall().journal().transcript(),
             QStringList({
                 uploadLine("uploadCoefficient", QStringLiteral("1"), QRect(0, 0, 1, 1), base64(numbered(9, 1))),
                 uploadLine("uploadCoefficient", QStringLiteral("2"), QRect(0, 0, 1, 1), base64(numbered(9, 10))),
             }));
    QCOMPARE(wall().state().chroma(deviceKey, QStringLiteral("1")), numbered(9, 1));
    QCOMPARE(wall().state().chroma(deviceKey, QStringLiteral("2")), Values(9, 0));
    QCOMPARE(wall().state().chroma(deviceKey, QStringLiteral("3")), Values(9, 0));
}

void tst_SubScreenTransfer::aBlockThatTheCabinetRefusesSendsNothing()
{
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    plugIn();
    ForeignGrid grid(enCommonCoefficient);
    // One column more than requested.
    grid.onCut = [](const QRect &rect) { return new Coefficient(rect.width() + 1, rect.height()); };
    QCOMPARE(m_subScreen->setCoefficients(QRect(0, 0, 2, 1), grid), enArgumentMismatch);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set cabinet coefficient. sreenId:1 cabinetId:1")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

// Writing, one upload for the device

void tst_SubScreenTransfer::anAsyncWriteIsOneUploadForAllCabinets()
{
    place(QStringLiteral("2"), QRect(100, 50, 4, 3));
    place(QStringLiteral("10"), QRect(104, 50, 4, 3));
    place(QStringLiteral("3"), QRect(108, 50, 4, 3));
    plugIn();
    Coefficient grid = numberedGrid(3, 3);
    const Values values = grid.getCoefficient();
    const QtPromise::QPromise<EnumErrorCode> promise = m_subScreen->setCoefficientsAsync(QRect(103, 49, 3, 3), grid);
    QVERIFY(promise.isFulfilled());
    QCOMPARE(codeOf(promise), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(asyncLine("uploadCoefficientAsync",
                                   {entryText(10, QRect(0, 0, 2, 2), base64(cutOut(values, 3, QRect(1, 1, 2, 2)))),
                                    entryText(2, QRect(3, 0, 1, 2), base64(cutOut(values, 3, QRect(0, 1, 1, 2))))})));
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(grid.getCoefficient(), values);
}

void tst_SubScreenTransfer::anAsyncWriteSaysWhatItDoes()
{
    place(QStringLiteral("1"), QRect(100, 50, 4, 3));
    place(QStringLiteral("2"), QRect(200, 50, 4, 3));
    place(QStringLiteral("3"), QRect(104, 50, 4, 3));
    plugIn();
    Coefficient grid = numberedGrid(3, 3);
    QCOMPARE(codeOf(m_subScreen->setCoefficientsAsync(QRect(103, 49, 3, 3), grid)), enSuccess);
    QCOMPARE(m_log->takeDebug(), QStringList({
                                     QStringLiteral(" cabInfo.rect.intersects  100 50 4 3"),
                                     QStringLiteral(" inRect 103 50 1 2"),
                                     QStringLiteral(" yuan Rect 103 49 3 3"),
                                     cutLine(QRect(0, 1, 1, 2), 3, 3),
                                     QStringLiteral(" cabInfo.rect.intersects  200 50 4 3"),
                                     QStringLiteral(" cabInfo.rect.intersects  104 50 4 3"),
                                     QStringLiteral(" inRect 104 50 2 2"),
                                     QStringLiteral(" yuan Rect 103 49 3 3"),
                                     cutLine(QRect(1, 1, 2, 2), 3, 3),
                                 }));
}

void tst_SubScreenTransfer::anAsyncWriteOfEveryKindGoesToItsOwnOperation_data()
{
    writesOfEveryKindGoToTheirOwnOperation_data();
}

void tst_SubScreenTransfer::anAsyncWriteOfEveryKindGoesToItsOwnOperation()
{
    QFETCH(int, kind);
    QFETCH(QString, asyncOperation);
    place(QStringLiteral("4"), QRect(0, 0, 2, 1));
    plugIn();
    const AnyGrid any(kind);
    const QtPromise::QPromise<EnumErrorCode> promise = m_subScreen->setCoefficientsAsync(QRect(-1, 0, 3, 1), *any.grid);
    QVERIFY(promise.isFulfilled());
    QCOMPARE(codeOf(promise), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList(asyncLine(asyncOperation.toLatin1().constData(),
                                                                  {entryText(4, QRect(0, 0, 2, 1), any.rightPixels)})));
    QCOMPARE(wall().journal().notes(), QStringList());
    QCOMPARE(base64(wall().state().plane(deviceKey, QStringLiteral("4"), Simulator::Kind(kind))), any.rightPixels);
}

void tst_SubScreenTransfer::theThreadIsNamedBeforeAMultilayerUpload()
{
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    plugIn();
    QStringList before;
    const QString operation = QStringLiteral("Correctionop::uploadMultilayerCoefficientAsync");
    wall().scripts().on(operation).run([&](const Simulator::Call &) { before = m_log->takeDebug(); });
    MultilayerCoefficient grid(1, 1);
    QCOMPARE(codeOf(m_subScreen->setCoefficientsAsync(QRect(0, 0, 1, 1), grid)), enSuccess);
    const auto thread = reinterpret_cast<quintptr>(QThread::currentThreadId());
    QCOMPARE(before.value(before.size() - 1), QStringLiteral("setCoefficientsAsync thread id =%1").arg(quint64(thread)));
    QCOMPARE(before.size(), 5);
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void tst_SubScreenTransfer::anAsyncWriteOfAnUnknownKindIsSevenAfterAllBlocksWereCut()
{
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    place(QStringLiteral("2"), QRect(2, 0, 2, 1));
    plugIn();
    ForeignGrid grid(EnumCoefficientType(3));
    grid.onCut = [](const QRect &rect) { return new Coefficient(rect.width(), rect.height()); };
    const QtPromise::QPromise<EnumErrorCode> promise = m_subScreen->setCoefficientsAsync(QRect(1, 0, 9, 1), grid);
    QVERIFY(promise.isFulfilled());
    QCOMPARE(codeOf(promise), enNotSupported);
    QCOMPARE(grid.cuts, QVector<QRect>({QRect(0, 0, 1, 1), QRect(1, 0, 2, 1)}));
    QCOMPARE(wall().journal().transcript(), QStringList());
    for (const QString &line : m_log->takeDebug())
        QVERIFY2(!line.contains(QLatin1String("thread")), qPrintable(line));
}

void tst_SubScreenTransfer::theCidIsTheRecordsIdAsANumber_data()
{
    QTest::addColumn<QString>("record");
    QTest::addColumn<qint64>("cid");
    QTest::newRow("a small number") << QStringLiteral("12") << qint64(12);
    QTest::newRow("larger than 32 bits") << QStringLiteral("9876543210") << Q_INT64_C(9876543210);
    QTest::newRow("negative") << QStringLiteral("-3") << qint64(-3);
    QTest::newRow("digits and a letter") << QStringLiteral("12a") << qint64(0);
    QTest::newRow("hexadecimal") << QStringLiteral("0x10") << qint64(0);
    QTest::newRow("empty") << QString() << qint64(0);
    QTest::newRow("larger than 64 bits") << QStringLiteral("99999999999999999999") << qint64(0);
}

void tst_SubScreenTransfer::theCidIsTheRecordsIdAsANumber()
{
    QFETCH(QString, record);
    QFETCH(qint64, cid);
    enlist(QStringLiteral("555"), QRect(0, 0, 1, 1), record);
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).resolveWith(true);
    Coefficient grid = numberedGrid(1, 1);
    QCOMPARE(codeOf(m_subScreen->setCoefficientsAsync(QRect(0, 0, 1, 1), grid)), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(asyncLine("uploadCoefficientAsync", {entryText(cid, QRect(0, 0, 1, 1), base64(numbered(9)))})));
}

void tst_SubScreenTransfer::uploadsThatFail_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("how");
    const char *const names[] = {"chroma", "multilayer", "low-gray"};
    for (int kind = 0; kind < 3; ++kind) {
        for (const char *how : {"fulfilled with false", "rejected", "rejected with a number"})
            QTest::addRow("%s %s", names[kind], how) << kind << QString::fromLatin1(how);
#ifdef CORRECTION_BUNDLED_QTPROMISE
        // QtPromise asserts that there is a cause.
        QTest::addRow("%s rejected without a cause", names[kind]) << kind << QStringLiteral("rejected without a cause");
#endif
    }
}

void tst_SubScreenTransfer::uploadsThatFail()
{
    QFETCH(int, kind);
    QFETCH(QString, how);
    const QString operations[] = {QStringLiteral("uploadCoefficientAsync"),
                                  QStringLiteral("uploadMultilayerCoefficientAsync"),
                                  QStringLiteral("uploadLowGrayCoefficientAsync")};
    place(QStringLiteral("4"), QRect(0, 0, 2, 1));
    plugIn();
    Simulator::Script &script = wall().scripts().on(QStringLiteral("Correctionop::") + operations[kind]);
    if (how == QLatin1String("rejected"))
        script.reject();
    else if (how == QLatin1String("rejected with a number"))
        script.rejectWith(std::make_exception_ptr(1));
    else if (how == QLatin1String("rejected without a cause"))
        script.rejectWith(std::exception_ptr());
    else
        script.resolveWith(false);
    const AnyGrid any(kind);
    const QtPromise::QPromise<EnumErrorCode> promise = m_subScreen->setCoefficientsAsync(QRect(-1, 0, 3, 1), *any.grid);
    QVERIFY(promise.isFulfilled());
    QCOMPARE(codeOf(promise), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call %1() timeout. device:A").arg(operations[kind])));
    QCOMPARE(wall().journal().calls().size(), 1);
}

void tst_SubScreenTransfer::theEventLoopRunsWhileAnUploadIsPending()
{
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    plugIn();
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();

    // The upload settles once five events, each posted by the one before, have run and a deferred deletion was done.
    int ticks = 0;
    bool deleted = false;
    const auto settleWhenDone = [&] {
        if (ticks == 5 && deleted)
            QVERIFY(wall().uploads().settle(deviceKey, true));
    };
    std::function<void()> tick = [&] {
        QCOMPARE(wall().uploads().pendingDevices(), QStringList(deviceKey));
        if (++ticks < 5)
            QMetaObject::invokeMethod(this, tick, Qt::QueuedConnection);
        settleWhenDone();
    };
    auto *object = new QObject;
    QObject::connect(object, &QObject::destroyed, this, [&] {
        deleted = true;
        settleWhenDone();
    });
    object->deleteLater();
    QTimer::singleShot(0, this, [&] { QMetaObject::invokeMethod(this, tick, Qt::QueuedConnection); });

    Coefficient grid = numberedGrid(1, 1);
    const QtPromise::QPromise<EnumErrorCode> promise = m_subScreen->setCoefficientsAsync(QRect(0, 0, 1, 1), grid);
    QVERIFY(promise.isFulfilled());
    QCOMPARE(ticks, 5);
    QVERIFY(deleted);
    QCOMPARE(codeOf(promise), enSuccess);
    QCOMPARE(wall().state().chroma(deviceKey, QStringLiteral("1")), numbered(9));
}

void tst_SubScreenTransfer::anUploadMaySettleOnAnotherThread()
{
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    plugIn();
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
    std::thread settler;
    QTimer::singleShot(0, this, [&] { settler = std::thread([] { wall().uploads().settle(deviceKey, true); }); });
    Coefficient grid = numberedGrid(1, 1);
    const QtPromise::QPromise<EnumErrorCode> promise = m_subScreen->setCoefficientsAsync(QRect(0, 0, 1, 1), grid);
    settler.join();
    QVERIFY(promise.isFulfilled());
    QCOMPARE(codeOf(promise), enSuccess);
    QCOMPARE(wall().state().chroma(deviceKey, QStringLiteral("1")), numbered(9));
}

void tst_SubScreenTransfer::nothingIsUploadedWhenALaterBlockCannotBeCut()
{
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    place(QStringLiteral("2"), QRect(2, 0, 2, 1));
    plugIn();
    // The grid covers only the first cabinet's part of the rectangle.
    Coefficient grid = numberedGrid(2, 1);
    QCOMPARE(codeOf(m_subScreen->setCoefficientsAsync(QRect(0, 0, 4, 1), grid)), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList({cutRefusal(QRect(2, 0, 2, 1), 2, 1),
                                                 QStringLiteral("Failed to get part coefficient. sreenId:2 cabinetId:2")}));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

// All three operations

namespace {

void addOperationRows()
{
    QTest::newRow("reading") << Operation::Read;
    QTest::newRow("writing") << Operation::Write;
    QTest::newRow("writing in one upload") << Operation::WriteAsync;
}

} // namespace

void tst_SubScreenTransfer::aRectangleThatMeetsNothing_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<QRect>("rect");
    const struct {
        const char *name;
        QRect rect;
    } rects[] = {
        {"a null rectangle", QRect()},        {"a null rectangle inside", QRect(11, 11, 0, 0)},
        {"right of it", QRect(14, 10, 5, 4)}, {"left of it", QRect(6, 10, 4, 4)},
        {"above", QRect(10, 0, 4, 10)},       {"below", QRect(10, 14, 4, 1)},
        {"in the hole", QRect(16, 12, 2, 2)}, {"far away", QRect(intMax - 5, intMin, 3, 3)},
    };
    for (const auto &each : rects) {
        QTest::addRow("reading, %s", each.name) << Operation::Read << each.rect;
        QTest::addRow("writing, %s", each.name) << Operation::Write << each.rect;
        QTest::addRow("writing in one upload, %s", each.name) << Operation::WriteAsync << each.rect;
    }
}

void tst_SubScreenTransfer::aRectangleThatMeetsNothing()
{
    QFETCH(Operation, operation);
    QFETCH(QRect, rect);
    place(QStringLiteral("1"), QRect(10, 10, 4, 4));
    place(QStringLiteral("2"), QRect(20, 10, 4, 4));
    plugIn();
    // Not even the kind matters.
    ForeignGrid grid(EnumCoefficientType(9));
    QCOMPARE(run(operation, rect, grid), enSuccess);
    QCOMPARE(grid.cuts, QVector<QRect>());
    QCOMPARE(grid.pastes, QVector<QRect>());
    QCOMPARE(wall().journal().transcript(), QStringList());
    QStringList lines;
    if (operation == Operation::WriteAsync) {
        lines << QStringLiteral(" cabInfo.rect.intersects  10 10 4 4")
              << QStringLiteral(" cabInfo.rect.intersects  20 10 4 4") << QStringLiteral("setCoefficientsAsync cid is 0 ");
    }
    QCOMPARE(m_log->takeDebug(), lines);
}

void tst_SubScreenTransfer::aSubScreenWithoutCabinetsDoesNothing_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::aSubScreenWithoutCabinetsDoesNothing()
{
    QFETCH(Operation, operation);
    ForeignGrid grid(EnumCoefficientType(9));
    QCOMPARE(run(operation, QRect(0, 0, 10, 10), grid), enSuccess);
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), operation == Operation::WriteAsync
                                     ? QStringList(QStringLiteral("setCoefficientsAsync cid is 0 "))
                                     : QStringList());
}

namespace {

/// The line of an operation that could not get the sub-screen's rectangle.
QString rectLine(Operation operation)
{
    return operation == Operation::Read ? QStringLiteral("Failed to get screen rect. id:A")
                                        : QStringLiteral("Cabinet info is empty. id:A");
}

} // namespace

void tst_SubScreenTransfer::anUnknownCabinetEndsEveryOperation_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::anUnknownCabinetEndsEveryOperation()
{
    QFETCH(Operation, operation);
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    QVERIFY(m_subScreen->addCabinet(QStringLiteral("2"), QString()));
    plugIn();
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(run(operation, QRect(0, 0, 1, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 2"), rectLine(operation)}));
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(grid.cuts, QVector<QRect>());
}

void tst_SubScreenTransfer::aCabinetWithoutDescriptionEndsEveryOperation_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::aCabinetWithoutDescriptionEndsEveryOperation()
{
    QFETCH(Operation, operation);
    QVERIFY(CabinetManager::getInstance()->addCabinet(QStringLiteral("6"), new CabinetV4(nullptr)));
    QVERIFY(m_subScreen->addCabinet(QStringLiteral("6"), QString()));
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(run(operation, QRect(0, 0, 1, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Cabinet info is empty. id:6"), rectLine(operation)}));
}

void tst_SubScreenTransfer::anyCodeOfTheRectangleIsPassedOnOrThree_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::addColumn<int>("code");
    QTest::newRow("reading passes it on") << Operation::Read << 8;
    QTest::newRow("writing passes it on") << Operation::Write << 8;
    QTest::newRow("writing in one upload answers 3") << Operation::WriteAsync << 3;
}

void tst_SubScreenTransfer::anyCodeOfTheRectangleIsPassedOnOrThree()
{
    QFETCH(Operation, operation);
    QFETCH(int, code);
    placeForeign(QStringLiteral("5"), QRect(0, 0, 1, 1)).describe = [](int) { return enCabinetNotFound; };
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(int(run(operation, QRect(0, 0, 1, 1), grid)), code);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Cabinet info is empty. id:5"), rectLine(operation)}));
}

void tst_SubScreenTransfer::aCabinetThatLosesItsDescriptionOnTheWay_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::aCabinetThatLosesItsDescriptionOnTheWay()
{
    QFETCH(Operation, operation);
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    plugIn();
    placeForeign(QStringLiteral("5"), QRect(1, 0, 1, 1)).describe = [](int before) {
        return before == 0 ? enSuccess : enFileError;
    };
    Coefficient grid = numberedGrid(2, 1);
    // All return the cabinet's own code, the upload for the whole device as well.
    QCOMPARE(run(operation, QRect(0, 0, 2, 1), grid), enFileError);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Cabinet info is empty. id:5")));
    QCOMPARE(wall().journal().calls().size(), operation == Operation::WriteAsync ? 0 : 1);
}

void tst_SubScreenTransfer::aCabinetThatLeavesTheRegistryOnTheWay_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::aCabinetThatLeavesTheRegistryOnTheWay()
{
    QFETCH(Operation, operation);
    placeForeign(QStringLiteral("1"), QRect(0, 0, 1, 1)).describe = [](int before) {
        if (before == 1)
            CabinetManager::getInstance()->removeCabinet(QStringLiteral("2"));
        return enSuccess;
    };
    place(QStringLiteral("2"), QRect(1, 0, 1, 1));
    plugIn();
    Coefficient grid = numberedGrid(2, 1);
    QCOMPARE(run(operation, QRect(0, 0, 2, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Connot find cabinet by id. deviceKey: A cid: 2")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_SubScreenTransfer::aGridThatGivesNoBlockIsThree_data()
{
    QTest::addColumn<Operation>("operation");
    QTest::newRow("writing") << Operation::Write;
    QTest::newRow("writing in one upload") << Operation::WriteAsync;
}

void tst_SubScreenTransfer::aGridThatGivesNoBlockIsThree()
{
    QFETCH(Operation, operation);
    place(QStringLiteral("1"), QRect(10, 0, 2, 1));
    place(QStringLiteral("2"), QRect(12, 0, 2, 1));
    plugIn();
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(run(operation, QRect(9, -1, 9, 9), grid), enInvalidParameter);
    QCOMPARE(grid.cuts, QVector<QRect>({QRect(1, 1, 2, 1)}));
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get part coefficient. sreenId:1 cabinetId:1")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

void tst_SubScreenTransfer::theCutMessageNamesTheMapsAndTheRecordsId_data()
{
    aGridThatGivesNoBlockIsThree_data();
}

void tst_SubScreenTransfer::theCutMessageNamesTheMapsAndTheRecordsId()
{
    QFETCH(Operation, operation);
    enlist(QStringLiteral("map%2"), QRect(0, 0, 1, 1), QStringLiteral("record%1"));
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(run(operation, QRect(0, 0, 1, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(),
             QStringList(QStringLiteral("Failed to get part coefficient. sreenId:map%2 cabinetId:record%1")));
    if (operation == Operation::Write) {
        grid.onCut = [](const QRect &) { return new Coefficient(1, 1); };
        QCOMPARE(run(operation, QRect(0, 0, 1, 1), grid), enTimeout); // no such device
        QCOMPARE(m_log->takeCritical(),
                 QStringList(QStringLiteral("Failed to set cabinet coefficient. sreenId:map%2 cabinetId:record%1")));
    }
}

void tst_SubScreenTransfer::aDeviceKeyWithPlaceholdersStaysAKey()
{
    m_subScreen = std::make_unique<SubScreenV4>(QStringLiteral("%2%1"));
    m_log->clear();
    QVERIFY(m_subScreen->addCabinet(QStringLiteral("%1"), QString()));
    ForeignGrid grid(enCommonCoefficient);
    QCOMPARE(m_subScreen->tryGetCoefficients(QRect(0, 0, 1, 1), grid), enInvalidParameter);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("Connot find cabinet by id. deviceKey: %2%1 cid: %1"),
                                                 QStringLiteral("Failed to get screen rect. id:%2%1")}));
}

// Memory

void tst_SubScreenTransfer::onlyOneBlockIsAliveAtATimeInARead()
{
    // Grids share their values with the vectors that were passed in or out: values that are no longer shared belong to a
    // released grid.
    std::vector<Values> wholes;
    std::vector<Values> blocks;
    const auto allReleased = [&] {
        for (const std::vector<Values> *list : {&wholes, &blocks}) {
            for (const Values &values : *list) {
                if (!values.isDetached())
                    return false;
            }
        }
        return true;
    };
    const auto read = [&](ICoefficient &grid) {
        if (!allReleased())
            return EnumErrorCode(99);
        wholes.push_back(Values(4 * 9, 3));
        return static_cast<Coefficient &>(grid).setCoefficient(wholes.back());
    };
    for (int i = 0; i < 4; ++i)
        placeForeign(QString::number(i), QRect(i * 2, 0, 2, 2)).read = read;
    ForeignGrid grid(enCommonCoefficient);
    grid.onPaste = [&](const QRect &rect, ICoefficient &block) {
        if (wholes.back().isDetached()) // or the check above could never fail
            return EnumErrorCode(98);
        blocks.push_back(static_cast<Coefficient &>(block).getCoefficient());
        return blocks.back().isDetached() ? EnumErrorCode(97) : rect.x() == 6 ? EnumErrorCode(42) : enSuccess;
    };
    // Not the first row: the block of a whole cabinet shares its values.
    QCOMPARE(int(m_subScreen->tryGetCoefficients(QRect(1, 1, 9, 9), grid)), 42);
    QCOMPARE(int(blocks.size()), 4);
    QVERIFY(allReleased());
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to set part of coefficient. cabinet key: 3")));
}

void tst_SubScreenTransfer::onlyOneBlockIsAliveAtATimeInAWrite_data()
{
    aGridThatGivesNoBlockIsThree_data();
}

void tst_SubScreenTransfer::onlyOneBlockIsAliveAtATimeInAWrite()
{
    QFETCH(Operation, operation);
    std::vector<Values> blocks;
    const auto allReleased = [&] {
        for (const Values &values : blocks) {
            if (!values.isDetached())
                return false;
        }
        return true;
    };
    int shared = 0;
    for (int i = 0; i < 4; ++i) {
        placeForeign(QString::number(i), QRect(i * 2, 0, 2, 2)).write = [&](const QPoint &, ICoefficient &) {
            shared += blocks.back().isDetached() ? 0 : 1;
            return enSuccess;
        };
    }
    ForeignGrid grid(enCommonCoefficient);
    grid.onCut = [&](const QRect &rect) -> ICoefficient * {
        if (!allReleased() || rect.x() == 5) // refuses the last one
            return nullptr;
        blocks.push_back(Values(rect.width() * rect.height() * 9, 3));
        auto *const block = new Coefficient(rect.width(), rect.height());
        block->setCoefficient(blocks.back());
        return block;
    };
    QCOMPARE(run(operation, QRect(1, 0, 9, 9), grid), enInvalidParameter);
    QCOMPARE(grid.cuts, QVector<QRect>({QRect(0, 0, 1, 2), QRect(1, 0, 2, 2), QRect(3, 0, 2, 2), QRect(5, 0, 2, 2)}));
    QCOMPARE(int(blocks.size()), 3);
    QVERIFY(allReleased());
    if (operation == Operation::Write)
        QCOMPARE(shared, 3);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("Failed to get part coefficient. sreenId:3 cabinetId:3")));
}

void tst_SubScreenTransfer::exhaustedMemoryPassesThroughAndLeaksNothing_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::exhaustedMemoryPassesThroughAndLeaksNothing()
{
    QFETCH(Operation, operation);
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    plugIn();
    const QString operations[] = {QStringLiteral("loadCoefficient"), QStringLiteral("uploadCoefficient"),
                                  QStringLiteral("uploadCoefficientAsync")};
    const QString called = QStringLiteral("Correctionop::") + operations[int(operation)];
    wall().scripts().on(called).times(1).throwException(std::make_exception_ptr(std::bad_alloc()));
    Coefficient grid = numberedGrid(1, 1);
    QVERIFY_EXCEPTION_THROWN(run(operation, QRect(0, 0, 1, 1), grid), std::bad_alloc);
    QCOMPARE(run(operation, QRect(0, 0, 1, 1), grid), enSuccess);
    QCOMPARE(wall().journal().calls().size(), 2);
}

void tst_SubScreenTransfer::noOtherExceptionOfTheServiceLeaves_data()
{
    QTest::addColumn<Operation>("operation");
    addOperationRows();
}

void tst_SubScreenTransfer::noOtherExceptionOfTheServiceLeaves()
{
    QFETCH(Operation, operation);
    place(QStringLiteral("1"), QRect(0, 0, 1, 1));
    plugIn();
    wall().scripts().on(QString(), deviceKey).throwException(std::make_exception_ptr(std::runtime_error("broken")));
    Coefficient grid = numberedGrid(1, 1);
    QCOMPARE(run(operation, QRect(0, 0, 1, 1), grid), enTimeout);
    const QString lines[] = {QStringLiteral("Failed to get coefficient. cabinet key: 1 code: 5"),
                             QStringLiteral("Failed to set cabinet coefficient. sreenId:1 cabinetId:1"),
                             QStringLiteral("call uploadCoefficientAsync() timeout. device:A")};
    QCOMPARE(m_log->takeCritical(),
             QStringList({QStringLiteral("the device service threw an exception"), lines[int(operation)]}));
}

// Numbers

namespace {

struct NamedRect {
    const char *name;
    QRect rect;
};

const NamedRect absurdRects[] = {
    {"everything", fromCorners(intMin, intMin, intMax, intMax)},
    {"half of everything", fromCorners(-1, -1, intMax, intMax)},
    {"the other half", fromCorners(intMin, intMin, 0, 0)},
    {"a width that wraps", fromCorners(intMin, 0, 1, 3)},
    {"corners exchanged", fromCorners(3, 3, 0, 0)},
    {"extreme corners exchanged", fromCorners(intMax, intMax, intMin, intMin)},
    {"one axis exchanged", fromCorners(3, 0, 0, 3)},
    {"largest width", fromCorners(0, 0, intMax - 1, 0)},
    {"largest corner", fromCorners(intMax, intMax, intMax, intMax)},
};

} // namespace

void tst_SubScreenTransfer::absurdRectanglesDoNoHarm_data()
{
    QTest::addColumn<QRect>("rect");
    for (const NamedRect &each : absurdRects)
        QTest::newRow(each.name) << each.rect;
}

void tst_SubScreenTransfer::verifyBounds(const QRect &rect)
{
    // For any rectangle calls return a known code and access nothing outside the buffers; the
    // sanitizers check the latter. Small grids, and one of the rectangle's size.
    for (const Operation operation : {Operation::Read, Operation::Write, Operation::WriteAsync}) {
        Coefficient grid = numberedGrid(4, 4);
        const int code = run(operation, rect, grid);
        QVERIFY2(code >= enSuccess && code <= enCabinetNotFound, qPrintable(QString::number(code)));
        if (operation != Operation::Read)
            QCOMPARE(grid.getCoefficient(), numbered(4 * 4 * 9));
        grid.setPixelCol(intMax);
        grid.setPixelRow(intMax);
        const int again = run(operation, rect, grid);
        QVERIFY2(again >= enSuccess && again <= enCabinetNotFound, qPrintable(QString::number(again)));
    }
    m_log->clear();
}

void tst_SubScreenTransfer::absurdRectanglesDoNoHarm()
{
    QFETCH(QRect, rect);
    place(QStringLiteral("1"), QRect(0, 0, 2, 4));
    place(QStringLiteral("2"), QRect(2, 0, 2, 4));
    plugIn();
    verifyBounds(rect);
}

void tst_SubScreenTransfer::absurdCabinetsDoNoHarm_data()
{
    absurdRectanglesDoNoHarm_data();
}

void tst_SubScreenTransfer::absurdCabinetsDoNoHarm()
{
    QFETCH(QRect, rect);
    place(QStringLiteral("1"), QRect(0, 0, 2, 4));
    plugIn();
    enlist(QStringLiteral("2"), rect, QStringLiteral("2"));
    verifyBounds(QRect(0, 0, 4, 4));
    verifyBounds(rect);
}

void tst_SubScreenTransfer::aGridThatLiesAboutItsSizeGivesZerosWithAWarning()
{
    place(QStringLiteral("1"), QRect(0, 0, 2, 1));
    plugIn();
    Coefficient grid = numberedGrid(1, 1);
    grid.setPixelCol(2);
    QCOMPARE(m_subScreen->setCoefficients(QRect(0, 0, 2, 1), grid), enSuccess);
    QCOMPARE(m_log->takeWarning().size(), 1);
    QCOMPARE(wall().state().chroma(deviceKey, QStringLiteral("1")), numbered(9) + Values(9, 0));
}

// Random walls against plain loops

namespace {

struct RandomCabinet {
    QString id;
    QRect rect;
    QByteArray plane; ///< what the wall must hold
};

QVector<RandomCabinet> randomCabinets(QRandomGenerator &random)
{
    const QRect area(random.bounded(-50, 50), random.bounded(-50, 50), random.bounded(1, 24), random.bounded(1, 18));
    QVector<QRect> parts;
    partition(area, random.bounded(9), random, parts);
    QVector<RandomCabinet> cabinets;
    QSet<QString> ids;
    for (const QRect &part : qAsConst(parts)) {
        QString id;
        do {
            id = QString::number(random.bounded(1, 200));
        } while (ids.contains(id));
        // Holes here and there.
        if (!cabinets.isEmpty() && random.bounded(6) == 0)
            continue;
        ids.insert(id);
        cabinets.append({id, part, QByteArray()});
    }
    return cabinets;
}

QRect randomRect(const QRect &around, QRandomGenerator &random)
{
    const int left = random.bounded(around.left() - 4, around.right() + 3);
    const int top = random.bounded(around.top() - 4, around.bottom() + 3);
    return QRect(left, top, random.bounded(1, around.width() + 6), random.bounded(1, around.height() + 6));
}

QRect boundsOf(const QVector<RandomCabinet> &cabinets)
{
    int left = intMax;
    int top = intMax;
    int right = intMin;
    int bottom = intMin;
    for (const RandomCabinet &cabinet : cabinets) {
        left = qMin(left, cabinet.rect.left());
        top = qMin(top, cabinet.rect.top());
        right = qMax(right, cabinet.rect.right());
        bottom = qMax(bottom, cabinet.rect.bottom());
    }
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

} // namespace

void tst_SubScreenTransfer::randomWallsTakeRandomRectangles_data()
{
    QTest::addColumn<quint32>("seed");
    QTest::addColumn<int>("kind");
    const char *const names[] = {"chroma", "multilayer", "low-gray"};
    for (quint32 seed = 1; seed <= 20; ++seed)
        QTest::addRow("%s, seed %u", names[seed % 3], seed) << seed << int(seed % 3);
}

void tst_SubScreenTransfer::randomWallsTakeRandomRectangles()
{
    QFETCH(quint32, seed);
    QFETCH(int, kind);
    QRandomGenerator random(seed);
    const int pixelBytes = kind == enMultilayerCoefficient ? 16 : 18;
    const auto wallKind = Simulator::Kind(kind);

    QVector<RandomCabinet> cabinets = randomCabinets(random);
    for (const RandomCabinet &cabinet : qAsConst(cabinets))
        place(cabinet.id, cabinet.rect);
    plugIn();
    for (RandomCabinet &cabinet : cabinets) {
        cabinet.plane = randomBytes(cabinet.rect.width() * cabinet.rect.height() * pixelBytes, random);
        QVERIFY(wall().state().setPlane(deviceKey, cabinet.id, wallKind, cabinet.plane));
    }

    const QRect bounds = boundsOf(cabinets);
    for (int round = 0; round < 6; ++round) {
        const QRect rect = randomRect(bounds, random);
        QByteArray bytes = randomBytes(rect.width() * rect.height() * pixelBytes, random);
        CoefficientPtr grid;
        if (kind == enMultilayerCoefficient) {
            auto *const multilayer = new MultilayerCoefficient(rect.width(), rect.height());
            grid.reset(multilayer);
            QCOMPARE(multilayer->setCoefficient(bytes), enSuccess);
        } else if (kind == enLowgrayCoefficient) {
            auto *const lowGray = new LowGrayCoefficient(rect.width(), rect.height());
            grid.reset(lowGray);
            Values values = valuesOf(bytes);
            QCOMPARE(lowGray->setCoefficient(values), enSuccess);
        } else {
            auto *const chroma = new Coefficient(rect.width(), rect.height());
            grid.reset(chroma);
            Values values = valuesOf(bytes);
            QCOMPARE(chroma->setCoefficient(values), enSuccess);
        }
        QCOMPARE(run(round % 2 ? Operation::Write : Operation::WriteAsync, rect, *grid), enSuccess);

        for (RandomCabinet &cabinet : cabinets) {
            for (int y = 0; y < cabinet.rect.height(); ++y) {
                for (int x = 0; x < cabinet.rect.width(); ++x) {
                    const int column = cabinet.rect.x() + x - rect.x();
                    const int row = cabinet.rect.y() + y - rect.y();
                    if (column < 0 || column >= rect.width() || row < 0 || row >= rect.height())
                        continue;
                    for (int k = 0; k < pixelBytes; ++k)
                        cabinet.plane[(y * cabinet.rect.width() + x) * pixelBytes + k] =
                            bytes[(row * rect.width() + column) * pixelBytes + k];
                }
            }
            QCOMPARE(wall().state().plane(deviceKey, cabinet.id, wallKind), cabinet.plane);
        }
    }
    QCOMPARE(wall().journal().notes(), QStringList());
}

void tst_SubScreenTransfer::randomWallsAreReadBack_data()
{
    QTest::addColumn<quint32>("seed");
    for (quint32 seed = 100; seed < 120; ++seed)
        QTest::addRow("seed %u", seed) << seed;
}

void tst_SubScreenTransfer::randomWallsAreReadBack()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    const QVector<RandomCabinet> cabinets = randomCabinets(random);
    for (const RandomCabinet &cabinet : cabinets)
        place(cabinet.id, cabinet.rect);
    plugIn();
    wall().state().setReplyBlockHeight(int(seed % 4));

    // The whole wall at once, then read back whole and in rectangles.
    const QRect bounds = boundsOf(cabinets);
    const Values written = valuesOf(randomBytes(bounds.width() * bounds.height() * 18, random));
    Coefficient source = gridOf(bounds.width(), bounds.height(), written);
    QCOMPARE(run(seed % 2 ? Operation::Write : Operation::WriteAsync, bounds, source), enSuccess);

    for (int round = 0; round < 6; ++round) {
        const QRect rect = round == 0 ? bounds : randomRect(bounds, random);
        Values expected(written.size(), 7);
        for (const RandomCabinet &cabinet : cabinets) {
            for (int y = cabinet.rect.top(); y <= cabinet.rect.bottom(); ++y) {
                for (int x = cabinet.rect.left(); x <= cabinet.rect.right(); ++x) {
                    if (x < rect.left() || x > rect.right() || y < rect.top() || y > rect.bottom())
                        continue;
                    const int first = ((y - bounds.y()) * bounds.width() + x - bounds.x()) * 9;
                    for (int i = first; i < first + 9; ++i)
                        expected[i] = written[i];
                }
            }
        }
        Coefficient grid = gridOf(bounds.width(), bounds.height(), Values(written.size(), 7));
        QCOMPARE(m_subScreen->tryGetCoefficients(rect, grid), enSuccess);
        QCOMPARE(grid.getCoefficient(), expected);
    }
    QCOMPARE(wall().journal().notes(), QStringList());
}

QTEST_GUILESS_MAIN(tst_SubScreenTransfer)
#include "tst_subscreentransfer.moc"
