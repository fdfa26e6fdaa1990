// Every operation of the library with its first, second, ... allocation failing until it runs through, those of the device
// service that it calls included. The operations are those of the table.

#include "support/Allocations.h"

#include "support/Nested.h"
#include "trust/OperationTable.h"

#include <Correction/CabinetManager.h>

#include <QtCore/QLoggingCategory>
#include <QtCore/QScopedValueRollback>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <memory>
#include <optional>

using namespace Trust;

namespace {

#ifdef COUNTS_ALLOCATIONS
/// With memory of its own: whether the library's strings are released is counted.
QString unshared(const QString &string)
{
    return QString(string.constData(), string.size());
}

/// A device with one cabinet, which has a receiving card with some modules.
class OneCabinet : public Adapter::DeviceBackend
{
public:
    QList<Adapter::DeviceInfo> devices() override
    {
        Adapter::DeviceInfo device;
        device.key = text("A");
        return {device};
    }
    Adapter::Answer answer(const Adapter::Call &call) override
    {
        const QScopedValueRollback<bool> pause(Allocations::armed, false); // the replies are the device's
        const QVariantMap place{{text("cabinetID"), text("1")}, {text("outputID"), text("1")}};
        const QVariantMap subScreen{{text("cabinets"), QVariantList{place}}};
        QVariantList flags;
        for (int i = 0; i < modules; ++i)
            flags.append(QVariantMap{{text("id"), text("m")}});
        const QVariantMap card{{text("id"), text("c")}, {text("moduleflags"), flags}};
        Adapter::Answer answer;
        answer.reply = isDeep ? TestSupport::nested(Nesting::deepest + 20, text("lm")) : QVariantMap();
        if (call.operation.endsWith(text("getScreens")))
            answer.reply = QVariantMap{{text("screenUUID"), text("S")}, {text("subScreens"), QVariantList{subScreen}}};
        else if (call.operation.endsWith(text("getAllCabinetsInfo")))
            answer.reply = QVariantList{QVariantMap{{text("id"), text("1")}, {text("outputID"), text("1")}}};
        else if (call.operation.endsWith(text("getCabAllFlags")))
            answer.reply = QVariantList{QVariantMap{{text("id"), text("1")}, {text("recvcardflags"), QVariantList{card}}}};
        return answer;
    }

    int modules = 0;
    bool isDeep = false; ///< The replies that a refresh can do without.
};
#endif

} // namespace

class tst_OutOfMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void everyAllocation_data();
    void everyAllocation();
    void listsThatTheHostKeepsAreRefilled();
    void deepRepliesOfARefresh();

private:
    QTemporaryDir m_directory;
    const QString m_path = m_directory.filePath(QStringLiteral("config"));
    FaultyBackend m_backend;
    int m_failures = 0;
    int m_exceptions = 0;
};

void tst_OutOfMemory::initTestCase()
{
#ifndef COUNTS_ALLOCATIONS
    QSKIP("needs the C library's own allocator");
#endif
#ifndef CORRECTION_BUNDLED_QTPROMISE
    QSKIP("with QtPromise a write that runs out of memory may wait forever");
#endif
    // Qt's own log stream crashes when memory runs out; the library's lines are not what is tested here.
    QLoggingCategory::setFilterRules(QStringLiteral("correction*=false"));
    Adapter::setBackend(&m_backend);
}

void tst_OutOfMemory::cleanupTestCase()
{
    Adapter::setBackend(nullptr);
    if (m_failures > 0) // not skipped
        qInfo("measured: %d operations, %d failed allocations, %d of them passed through as std::bad_alloc",
              int(operations().size()), m_failures, m_exceptions);
}

void tst_OutOfMemory::everyAllocation_data()
{
    QTest::addColumn<int>("index");
    for (size_t i = 0; i < operations().size(); ++i)
        QTest::newRow(qPrintable(operations()[i].name)) << int(i);
}

void tst_OutOfMemory::everyAllocation()
{
#ifdef COUNTS_ALLOCATIONS
    QFETCH(int, index);
    const Row &row = operations()[size_t(index)];
    const bool isUpload = row.name.contains(text("::setCoefficientsAsync")) || row.name.startsWith(text("IScreen::setCoef"));
    const bool isScreenWrite = row.name.startsWith(text("IScreen::setCoefficients"));
    // Others change the host's variables, a file or the screens step by step.
    const bool isWhole = (row.name.startsWith(text("ICabinet::")) || row.name.startsWith(text("ISubScreen::")))
                         && row.name != text("ISubScreen::tryGetCoefficients") && row.name != text("ICabinet::getConfigFile")
                         && !row.name.startsWith(text("ICabinet::tryGetCoefficients"));

    std::optional<Host> host(m_path);
    QVERIFY(bool(host->group));
    Model alone{Fault()};
    const int usual = row.expect(alone);
    const QString outputBefore = unshared(row.output(*host));
    m_backend.calls.clear();

    // Warm-up rounds without a failure come first: some objects are created once.
    bool isDone = false;
    int failures = 0;
    for (int round = -3; !isDone; ++round) {
        QVERIFY(round < 20000);
        int code = -1;
        bool isOther = false;

        Allocations::liveBlocks = 0;
        Allocations::untilFailure = round;
        Allocations::armed = true;
        try {
            code = row.run(*host);
        } catch (const std::bad_alloc &) {
        } catch (...) {
            isOther = true;
        }
        const bool failed = round >= 0 && Allocations::untilFailure < 0;
        Allocations::untilFailure = -1;
        const qint64 liveAfter = Allocations::liveBlocks;
        Allocations::armed = false;
        QStringList calls;
        for (const QString &call : qAsConst(m_backend.calls))
            calls.append(unshared(call));
        const QString output = unshared(row.output(*host));
        Allocations::armed = true;
        Allocations::liveBlocks = liveAfter;
        for (int turn = 0; turn < 20; ++turn) { // what is left of a write
            QCoreApplication::sendPostedEvents();
            QCoreApplication::processEvents();
        }
        host.emplace(m_path); // the same objects again, with memory enough
        m_backend.calls.clear();
        const qint64 live = Allocations::liveBlocks;
        Allocations::armed = false;

        const QByteArray context = QByteArray("after allocation ") + QByteArray::number(round);
        QVERIFY2(!isOther, context);
        QVERIFY2(bool(host->group), context);
        // An upload whose promise could not be made counts as rejected.
        QVERIFY2(code == -1 || code == usual || (isUpload && code == enTimeout), context);
        QVERIFY2(code == usual || failed, context);
        if (isScreenWrite) { // every device is tried
            for (const QString &call : calls)
                QVERIFY2(alone.calls.contains(call), context);
            QVERIFY2(calls.size() <= alone.calls.size(), context);
        } else {
            QVERIFY2(alone.calls.mid(0, calls.size()) == calls, context);
        }
        if (code == usual) {
            QVERIFY2(calls.size() == alone.calls.size(), context);
            QVERIFY2(output == alone.output || alone.output.isEmpty(), context);
        } else if (isWhole) {
            QVERIFY2(output == outputBefore || output == alone.output, context);
        }
        if (round >= 0 && row.name != text("ScreenManager::init")) // which connects objects once more in each round
            QVERIFY2(live == 0, context + ": " + QByteArray::number(live) + " blocks");
        isDone = round >= 0 && !failed;
        failures += failed;
        m_exceptions += failed && code == -1 ? 1 : 0;
    }
    QVERIFY(failures > 0);
    m_failures += failures;
#endif
}

void tst_OutOfMemory::listsThatTheHostKeepsAreRefilled()
{
#ifdef COUNTS_ALLOCATIONS
    OneCabinet backend;
    Adapter::setBackend(&backend);
    Correction::ScreenManager &manager = *Correction::ScreenManager::getInstance();
    const auto cabinet = [] { return Correction::CabinetManager::getInstance()->tryGetCabinet(text("1")); };
    bool failed = true;
    for (int round = 0; failed; ++round) {
        QVERIFY(round < 20000);
        backend.modules = 5;
        QCOMPARE(manager.refreshScreen(), Correction::enSuccess);
        const QList<Correction::ModuleInfo *> kept = cabinet()->getCabAllFlags();
        QCOMPARE(kept.size(), 5);
        backend.modules = 2;
        failed = false;
        Allocations::untilFailure = round;
        Allocations::armed = true;
        try {
            manager.refreshScreen();
        } catch (const std::bad_alloc &) {
            failed = true;
        }
        failed = failed || Allocations::untilFailure < 0;
        Allocations::untilFailure = -1;
        Allocations::armed = false;
        QCOMPARE(manager.refreshScreen(), Correction::enSuccess);
        QCOMPARE(cabinet()->getCabAllFlags().size(), 2);
        QCOMPARE(kept.size(), 5);
    }
    Adapter::setBackend(&m_backend);
#endif
}

/// What is too deep is released even where memory runs out for the list of its parts.
void tst_OutOfMemory::deepRepliesOfARefresh()
{
#ifdef COUNTS_ALLOCATIONS
    OneCabinet backend;
    Adapter::setBackend(&backend);
    Correction::ScreenManager &manager = *Correction::ScreenManager::getInstance();
    int thrown = 0;
    int finished = 0;
    bool failed = true;
    for (int round = 0; failed; ++round) {
        QVERIFY(round < 20000);
        backend.isDeep = true;
        int code = -1;
        Allocations::untilFailure = round;
        Allocations::armed = true;
        try {
            code = manager.refreshScreen();
        } catch (const std::bad_alloc &) {
            ++thrown;
        }
        Allocations::armed = false;
        failed = Allocations::untilFailure < 0;
        Allocations::untilFailure = -1;
        QVERIFY2(code == Correction::enSuccess || (failed && code == -1), qPrintable(QString::number(round)));
        finished += failed && code == Correction::enSuccess;
        backend.isDeep = false;
        QCOMPARE(manager.refreshScreen(), Correction::enSuccess);
        QVERIFY(Correction::CabinetManager::getInstance()->tryGetCabinet(text("1")));
    }
    QVERIFY(thrown > 0);
    QVERIFY(finished > 0); // the failure was that of a release
    Adapter::setBackend(&m_backend);
#endif
}

QTEST_GUILESS_MAIN(tst_OutOfMemory)
#include "tst_outofmemory.moc"
