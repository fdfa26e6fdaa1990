// The plain reference that the benchmarks compare with does the same as the library, on random data.

#include "bench/Reference.h"
#include "support/LogCapture.h"

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <memory>

using Correction::Coefficient;
using Correction::CoefficientPtr;
using Reference::Values;
using Simulator::CallJournal;
using Simulator::VirtualWall;

class TestReference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void encodesAndDecodesAlike_data();
    void encodesAndDecodesAlike();
    void jsonIsAlike_data();
    void jsonIsAlike();
    void cutsAndPastesAlike_data();
    void cutsAndPastesAlike();
    void averagesAlike_data();
    void averagesAlike();
    void writesAlike_data();
    void writesAlike();
    void readsAlike_data();
    void readsAlike();
    void logsAlike();

private:
    static void sizes();
    Values randomValues(const QSize &size);
    QRect randomPart(const QSize &size);
    Correction::IScreen *makeWall(Reference::SubScreen &subScreen);

    QRandomGenerator m_random{1};
    std::unique_ptr<TestSupport::LogCapture> m_log;
    QRect m_screen;
};

void TestReference::initTestCase()
{
    m_log = std::make_unique<TestSupport::LogCapture>();
    // The reference's own lines, which are those of the default category, but for the one that is compared.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
}

void TestReference::init()
{
    m_random.seed(1);
    m_log->clear();
}

void TestReference::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
}

void TestReference::sizes()
{
    QTest::addColumn<QSize>("size");
    for (const QSize &size :
         {QSize(1, 1), QSize(2, 1), QSize(1, 3), QSize(7, 5), QSize(64, 32), QSize(65, 31), QSize(128, 128)})
        QTest::addRow("%d columns, %d rows", size.width(), size.height()) << size;
}

/// Numbers of one to five digits alike.
Values TestReference::randomValues(const QSize &size)
{
    Values values(size.width() * size.height() * Reference::Grid::pixelLength);
    for (unsigned short &value : values)
        value = static_cast<unsigned short>(m_random.bounded(65536) >> m_random.bounded(16));
    return values;
}

QRect TestReference::randomPart(const QSize &size)
{
    const int x = m_random.bounded(size.width());
    const int y = m_random.bounded(size.height());
    return QRect(x, y, 1 + m_random.bounded(size.width() - x), 1 + m_random.bounded(size.height() - y));
}

/// Two rows of cabinets of one device, away from the origin, and the same for the reference.
Correction::IScreen *TestReference::makeWall(Reference::SubScreen &subScreen)
{
    const QString key = QStringLiteral("A");
    const Simulator::Device device = Simulator::gridDevice(key, QPoint(30, 20), 3, 2, QSize(16, 12), 8);
    VirtualWall::instance().reset();
    VirtualWall::instance().setDevices({device});
    m_screen = device.rect();
    for (const Simulator::Cabinet &placed : device.subScreens.constFirst().cabinets) {
        Reference::Cabinet cabinet;
        cabinet.id = placed.id;
        cabinet.deviceKey = key;
        cabinet.rect = QRect(device.screenPosition + device.subScreens.constFirst().position + placed.position, placed.size);
        cabinet.modules.append(new Reference::Part{QStringLiteral("0"), QString(), QRect(0, 0, 8, 6)});
        subScreen.add(cabinet);
    }
    auto *const manager = Correction::ScreenManager::getInstance();
    const bool refreshed = manager->refreshScreen() == Correction::enSuccess;
    // The line of every new sub-screen.
    const bool quiet = m_log->takeCritical() == QStringList(QStringLiteral("Cannot find SubScreen. SubScreen key: A"));
    return refreshed && quiet ? manager->tryGetScreen(device.screenId) : nullptr;
}

void TestReference::encodesAndDecodesAlike_data()
{
    sizes();
}

void TestReference::encodesAndDecodesAlike()
{
    QFETCH(QSize, size);
    Values values = randomValues(size);
    Coefficient grid(size.width(), size.height());
    QCOMPARE(grid.setCoefficient(values), Correction::enSuccess);
    const QString text = grid.toBase64();
    QCOMPARE(Reference::encode(values), text);
    QCOMPARE(Reference::decode(text), values);

    QVariantList reply{QVariantMap{{QStringLiteral("area.point.x"), 2},
                                   {QStringLiteral("area.point.y"), 1},
                                   {QStringLiteral("area.size.width"), size.width()},
                                   {QStringLiteral("area.size.height"), size.height()},
                                   {QStringLiteral("coefficients"), text}}};
    const QSize cabinet = size + QSize(3, 2);
    Coefficient read;
    QCOMPARE(Correction::RequestParser::toCabinetChromaCoefficient(QRect(QPoint(), cabinet), reply, read),
             Correction::enSuccess);
    const Reference::Grid expected = Reference::parse(cabinet, reply);
    QCOMPARE(expected.columns, read.getPixelCol());
    QCOMPARE(expected.rows, read.getPixelRow());
    QCOMPARE(expected.values, read.getCoefficient());
}

void TestReference::jsonIsAlike_data()
{
    sizes();
}

void TestReference::jsonIsAlike()
{
    QFETCH(QSize, size);
    Values values = randomValues(size);
    Coefficient grid(size.width(), size.height());
    QCOMPARE(grid.setCoefficient(values), Correction::enSuccess);
    QCOMPARE(Reference::json(values), grid.toJsonData());
}

void TestReference::cutsAndPastesAlike_data()
{
    sizes();
}

void TestReference::cutsAndPastesAlike()
{
    QFETCH(QSize, size);
    for (int round = 0; round < 20; ++round) {
        Values values = randomValues(size);
        const QRect part = randomPart(size);
        Coefficient grid(size.width(), size.height());
        QCOMPARE(grid.setCoefficient(values), Correction::enSuccess);
        Reference::Grid reference(size.width(), size.height(), values);

        const CoefficientPtr block(grid.tryGetPart(part));
        QVERIFY(block);
        const Reference::Grid referenceBlock = Reference::cut(reference, part);
        QCOMPARE(referenceBlock.columns, block->getPixelCol());
        QCOMPARE(referenceBlock.rows, block->getPixelRow());
        QCOMPARE(referenceBlock.values, static_cast<Coefficient &>(*block).getCoefficient());

        Values fresh = randomValues(part.size());
        QCOMPARE(grid.setPartCoefficient(part, fresh), Correction::enSuccess);
        Reference::paste(reference, part, Reference::Grid(part.width(), part.height(), fresh));
        QCOMPARE(reference.values, grid.getCoefficient());
    }
}

void TestReference::averagesAlike_data()
{
    sizes();
}

void TestReference::averagesAlike()
{
    QFETCH(QSize, size);
    Values values = randomValues(size);
    Coefficient grid(size.width(), size.height());
    QCOMPARE(grid.setCoefficient(values), Correction::enSuccess);
    Values means;
    QCOMPARE(grid.tryGetAvg(means), Correction::enSuccess);
    QCOMPARE(Reference::average(Reference::Grid(size.width(), size.height(), values)), means);
}

void TestReference::writesAlike_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("the whole wall") << QRect(30, 20, 48, 24);
    QTest::newRow("over all cabinets, whole ones and parts") << QRect(35, 23, 40, 20);
    QTest::newRow("inside one cabinet") << QRect(50, 25, 3, 2);
    QTest::newRow("over the edge of the wall") << QRect(20, 10, 20, 15);
}

void TestReference::writesAlike()
{
    QFETCH(QRect, rect);
    Reference::SubScreen subScreen(QStringLiteral("A"));
    Correction::IScreen *const screen = makeWall(subScreen);
    QVERIFY(screen);
    QCOMPARE(subScreen.rect(), m_screen);
    Values values = randomValues(rect.size());
    Coefficient grid(rect.width(), rect.height());
    QCOMPARE(grid.setCoefficient(values), Correction::enSuccess);
    VirtualWall::instance().journal().clear();
    QCOMPARE(screen->setCoefficients(rect, grid), Correction::enSuccess);

    const QList<Simulator::Call> calls = VirtualWall::instance().journal().calls();
    QCOMPARE(calls.size(), 1);
    QCOMPARE(calls.constFirst().operation, QStringLiteral("Correctionop::uploadCoefficientAsync"));
    const QVariantList request = subScreen.uploadOf(rect, Reference::Grid(rect.width(), rect.height(), values));
    QCOMPARE(CallJournal::describe(request), CallJournal::describe(calls.constFirst().request));
}

void TestReference::readsAlike_data()
{
    QTest::addColumn<QRect>("rect");
    QTest::newRow("the whole wall") << QRect(30, 20, 48, 24);
    QTest::newRow("its top-left part") << QRect(30, 20, 25, 14);
}

void TestReference::readsAlike()
{
    QFETCH(QRect, rect);
    Reference::SubScreen subScreen(QStringLiteral("A"));
    Correction::IScreen *const screen = makeWall(subScreen);
    QVERIFY(screen);
    Values written = randomValues(m_screen.size());
    Coefficient all(m_screen.width(), m_screen.height());
    QCOMPARE(all.setCoefficient(written), Correction::enSuccess);
    QCOMPARE(screen->setCoefficients(m_screen, all), Correction::enSuccess);
    VirtualWall::instance().state().setReplyBlockHeight(5);

    Coefficient read(rect.width(), rect.height());
    QCOMPARE(screen->tryGetCoefficients(rect, read), Correction::enSuccess);
    VirtualWall::instance().journal().clear();
    QCOMPARE(screen->tryGetCoefficients(rect, read), Correction::enSuccess);
    QMap<QString, QVariantList> replies;
    for (const Simulator::Call &call : VirtualWall::instance().journal().calls())
        replies.insert(call.target, call.reply.toList());
    QVERIFY(!replies.isEmpty());

    Reference::Grid reference(rect.width(), rect.height());
    Reference::read(
        subScreen, rect, [&replies](const QString &, const QString &id) { return replies.value(id); }, reference);
    QCOMPARE(reference.values, read.getCoefficient());
    QCOMPARE(reference.values, Reference::cut(Reference::Grid(m_screen.width(), m_screen.height(), written),
                                              rect.translated(-m_screen.topLeft()))
                                   .values);
}

void TestReference::logsAlike()
{
    Coefficient grid(3, 2);
    Values wrong(1, 0);
    QCOMPARE(grid.setCoefficient(wrong), Correction::enOutOfRange);
    const QStringList lines = m_log->takeDebug();
    QCOMPARE(lines.size(), 1);

    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=true"));
    QTest::ignoreMessage(QtDebugMsg, qPrintable(lines.constFirst()));
    Reference::logLine(3 * 2 * Reference::Grid::pixelLength, 3, 2);
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
}

QTEST_GUILESS_MAIN(TestReference)
#include "tst_reference.moc"
