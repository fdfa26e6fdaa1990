// How much memory is allocated at once during transfers of coefficients, counted exactly. The device service is one of this
// test's own: it keeps only what the test checks.

#include "support/Allocations.h"
#include "support/LogCapture.h"

#include <Correction/CabinetManager.h>
#include <Correction/CabinetV4.h>
#include <Correction/Coefficient.h>
#include <Correction/ScreenReader.h>
#include <Correction/ScreenV4.h>
#include <Correction/SubScreenV4.h>

#include <service/Correctionop.h>

#include <QtTest/QtTest>

#include <memory>
#include <optional>
#include <vector>

using namespace Correction;

namespace {

constexpr int cabinets = 12;
constexpr QSize size(16, 16);
constexpr int blockBytes = 16 * 16 * 9 * 2;
const QString key = QStringLiteral("A");

/// What the service sees.
struct Service {
    QString text;       ///< a cabinet's grid, for reads
    QSize block = size; ///< of that text
    int calls = 0;
    int liveAtUpload = 0;
} service;

void watch()
{
    ++service.calls;
#ifdef COUNTS_ALLOCATIONS
    service.liveAtUpload = Allocations::liveLarge;
#endif
}

} // namespace

// These have priority over those of the virtual wall, which serves everything else.
bool Correctionop::uploadCoefficient(const QString &, const QString &, const QVariantList &, QVariantMap &)
{
    watch();
    return true;
}

QtPromise::QPromise<bool> Correctionop::uploadCoefficientAsync(const QString &, const QVariantList &)
{
    watch();
    return QtPromise::resolve(true);
}

bool Correctionop::loadCoefficient(const QString &, const QString &, QVariantList &reply)
{
    watch();
    QVariantMap block;
    block.insert(QStringLiteral("area.size.width"), service.block.width());
    block.insert(QStringLiteral("area.size.height"), service.block.height());
    block.insert(QStringLiteral("coefficients"), service.text);
    reply.append(block);
    return true;
}

class tst_Memory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void aWriteByCabinetsKeepsOneBlockAndItsText();
    void aWriteByDeviceKeepsTheTextsOnly();
    void aReadKeepsOneCabinetsGrid();
    void aReadOfOnePixelKeepsOneGrid_data();
    void aReadOfOnePixelKeepsOneGrid();
    void aReadOverTheScreenAddsThePartOfEachDevice();
    void aScreenReaderKeepsOneCabinetsGridAndAPart();
    void aPasteAllocatesNothing();

private:
    /// Runs `operation` and returns how many large blocks were allocated at once.
    template <class Operation>
    int mostAlive(Operation operation);

    std::vector<std::unique_ptr<CabinetInfo>> m_records; // the registry releases cabinets without them
    std::unique_ptr<ScreenV4> m_screen;
    QRect m_rect;
    Coefficient m_grid;
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_Memory::initTestCase()
{
#ifndef COUNTS_ALLOCATIONS
    QSKIP("needs the C library's own allocator");
#endif
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
}

void tst_Memory::init()
{
    m_log.emplace();
    m_rect = QRect(0, 0, cabinets * size.width(), size.height());
    m_grid = Coefficient(m_rect.width(), m_rect.height());
    service = Service();
    service.text = Coefficient(size.width(), size.height()).toBase64();
    m_screen = std::make_unique<ScreenV4>();
    auto subScreen = std::make_unique<SubScreenV4>(key);
    for (int i = 0; i < cabinets; ++i) {
        auto record = std::make_unique<CabinetInfo>();
        record->id = QString::number(i + 1);
        record->deviceKey = key;
        record->rect = QRect(QPoint(i * size.width(), 0), size);
        QVERIFY(CabinetManager::getInstance()->addCabinet(record->id, new CabinetV4(record.get())));
        QVERIFY(subScreen->addCabinet(record->id, QString()));
        m_records.push_back(std::move(record));
    }
    QVERIFY(m_screen->addSubScreen(key, subScreen.release()));
}

void tst_Memory::cleanup()
{
    m_screen.reset();
    CabinetManager::getInstance()->removeCabinets();
    m_records.clear();
    VERIFY_NO_CRITICAL(*m_log);
    m_log.reset();
}

template <class Operation>
int tst_Memory::mostAlive(Operation operation)
{
#ifdef COUNTS_ALLOCATIONS
    Allocations::allocations = 0;
    Allocations::largeSize = blockBytes;
    Allocations::liveLarge = 0;
    Allocations::mostLarge = 0;
    Allocations::untilFailure = -1;
    Allocations::armed = true;
    operation();
    Allocations::armed = false;
    return Allocations::mostLarge;
#else
    operation();
    return -1;
#endif
}

void tst_Memory::aWriteByCabinetsKeepsOneBlockAndItsText()
{
    EnumErrorCode code = enTimeout;
    const int most = mostAlive([&] { code = m_screen->tryGetSubScreen(key)->setCoefficients(m_rect, m_grid); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(service.calls, cabinets);
    QCOMPARE(service.liveAtUpload, 2);
    QCOMPARE(most, 2);
}

void tst_Memory::aWriteByDeviceKeepsTheTextsOnly()
{
    EnumErrorCode code = enTimeout;
    const int most = mostAlive([&] { code = m_screen->setCoefficients(m_rect, m_grid); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(service.calls, 1);
    QCOMPARE(service.liveAtUpload, cabinets);
    QCOMPARE(most, cabinets + 1); // and the block that the last text is made of
}

void tst_Memory::aReadKeepsOneCabinetsGrid()
{
    EnumErrorCode code = enTimeout;
    const int most = mostAlive([&] { code = m_screen->tryGetSubScreen(key)->tryGetCoefficients(m_rect, m_grid); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(service.calls, cabinets);
    QCOMPARE(most, 1);
}

void tst_Memory::aReadOfOnePixelKeepsOneGrid_data()
{
    QTest::addColumn<QSize>("block");
    QTest::newRow("the device sends the whole cabinet") << size;
    QTest::newRow("the device sends a pixel") << QSize(1, 1);
}

void tst_Memory::aReadOfOnePixelKeepsOneGrid()
{
    QFETCH(QSize, block);
    Coefficient sent(block.width(), block.height());
    QVector<unsigned short> values(block.width() * block.height() * 9);
    for (int i = 0; i < values.size(); ++i)
        values[i] = static_cast<unsigned short>(i + 1);
    QCOMPARE(sent.setCoefficient(values), enSuccess);
    service.text = sent.toBase64();
    service.block = block;
    EnumErrorCode code = enTimeout;
    const int most =
        mostAlive([&] { code = m_screen->tryGetSubScreen(key)->tryGetCoefficients(QRect(0, 0, 1, 1), m_grid); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(service.calls, 1);
    QCOMPARE(m_grid.getCoefficient().mid(0, 18), values.mid(0, 9) + QVector<unsigned short>(9, 0));
    QCOMPARE(most, 1);
}

void tst_Memory::aReadOverTheScreenAddsThePartOfEachDevice()
{
    EnumErrorCode code = enTimeout;
    const int most = mostAlive([&] { code = m_screen->tryGetCoefficients(m_rect, m_grid); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(service.calls, cabinets);
    QCOMPARE(most, 2);
}

void tst_Memory::aScreenReaderKeepsOneCabinetsGridAndAPart()
{
    Coefficient part(m_rect.width() - 2, m_rect.height() - 2); // cuts every cabinet at an edge
    ScreenReader reader(*m_screen);
    EnumErrorCode code = enTimeout;
    const int most = mostAlive([&] { code = reader.tryGetCoefficients(m_rect.adjusted(1, 1, -1, -1), part); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(service.calls, cabinets);
    QCOMPARE(most, 1); // the parts are smaller than a cabinet
}

void tst_Memory::aPasteAllocatesNothing()
{
    // Neither for the values nor for its debug line, which is off.
    QVector<unsigned short> values(size.width() * size.height() * 9, 7);
    const QRect rect(QPoint(3, 0), size);
    EnumErrorCode code = enTimeout;
    mostAlive([&] { code = m_grid.setPartCoefficient(rect, values); });
    QCOMPARE(code, enSuccess);
#ifdef COUNTS_ALLOCATIONS
    QCOMPARE(Allocations::allocations, 0);
#endif
}

QTEST_GUILESS_MAIN(tst_Memory)
#include "tst_memory.moc"
