// Operations inside operations: from inside every call that an operation makes to the device service, and from the event
// loop of a write, every operation of the library is tried. The pairs are generated from the table of operations.

#include "trust/OperationTable.h"
#include "trust/Options.h"

#include "support/LogCapture.h"

#include <Correction/CabinetManager.h>

#include <QtCore/QTemporaryDir>

#include <algorithm>
#include <optional>

using namespace Trust;

class tst_Reentrancy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void cleanupTestCase();

    void insideEveryCall_data() { outerRows(); }
    void insideEveryCall();
    void fromTheEventLoopOfAWrite_data();
    void fromTheEventLoopOfAWrite();
    void removalsInsideEveryCall_data() { outerRows(); }
    void removalsInsideEveryCall();

private:
    static void outerRows();
    bool isChosen();
    Model expected(const Row &row, Host &host, QString &result);

    QTemporaryDir m_directory;
    const QString m_path = m_directory.filePath(QStringLiteral("config"));
    const QString m_innerPath = m_directory.filePath(QStringLiteral("inner"));
    FaultyBackend m_backend;
    int m_pairs = 0;
    int m_cases = 0;
    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
};

void tst_Reentrancy::initTestCase()
{
    m_log.emplace();
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
    Adapter::setBackend(&m_backend);
}

void tst_Reentrancy::init()
{
    m_log->clear();
}

void tst_Reentrancy::cleanup()
{
    m_backend.hookedCall = -1;
    m_backend.settlesLater = false;
    VERIFY_NO_CRITICAL(*m_log);
}

void tst_Reentrancy::cleanupTestCase()
{
    Adapter::setBackend(nullptr);
    m_log.reset();
    qInfo("measured: %d operations inside one another, %d cases", int(operations().size()), m_cases);
}

void tst_Reentrancy::outerRows()
{
    QTest::addColumn<int>("index");
    for (size_t i = 0; i < operations().size(); ++i)
        QTest::newRow(qPrintable(operations()[i].name)) << int(i);
}

/// Whether the next pair is tried: in the short form every fifth one.
bool tst_Reentrancy::isChosen()
{
    const bool isChosen = isLong() || m_pairs % 5 == 0;
    ++m_pairs;
    m_cases += isChosen;
    return isChosen;
}

/// What the operation does alone.
Model tst_Reentrancy::expected(const Row &row, Host &host, QString &result)
{
    Model model{Fault()};
    model.output = row.output(host);
    result = resultOf([&] { return row.expect(model); });
    m_log->clear();
    return model;
}

namespace {

/// Whether the operation is one of this interface.
bool isOf(const Row &row, const char *interface)
{
    return row.name.startsWith(text(interface) + text("::"));
}

/// Whether the operation is a refresh, which removes the objects that others use.
bool isRefresh(const Row &row)
{
    return row.name == text("ScreenManager::refreshScreen");
}

} // namespace

/// Both operations have the result, the calls and the output that they have alone.
void tst_Reentrancy::insideEveryCall()
{
    QFETCH(int, index);
    const Row &outer = operations()[size_t(index)];
    const bool isWrite = isOf(outer, "IScreen") && outer.name.contains(text("::setCoefficients"));
    Model alone{Fault()};
    outer.expect(alone);
    for (int position = 0; position < alone.calls.size(); ++position) {
        // Behind the list of devices a refresh has removed everything; with the first call to the second device there are
        // the objects of the first one again.
        const bool isPart = isRefresh(outer) && position > 0;
        const bool hasFirstDevice = isPart && position > alone.calls.indexOf(text("HWInfo::getHWInfo B")) - 1;
        for (const Row &inner : operations()) {
            if (isPart && !inner.name.startsWith(text("ScreenManager::"))
                && (!hasFirstDevice || !(isOf(inner, "ISubScreen") || isOf(inner, "ICabinet"))))
                continue;
            if (!isChosen())
                continue;
            Host host(m_path);
            QVERIFY(bool(host.group));
            Host used(host, m_innerPath);
            QString outerResult;
            QString innerResult;
            const Model outerModel = expected(outer, host, outerResult);
            const Model innerModel = expected(inner, used, innerResult);

            QString innerGot = text("not run");
            QString innerOutput;
            m_backend.calls.clear();
            m_backend.hookedCall = position;
            m_backend.hook = [&] {
                if (hasFirstDevice)
                    used.find();
                innerGot = resultOf([&] { return inner.run(used); });
                innerOutput = inner.output(used);
            };
            const QString outerGot = resultOf([&] { return outer.run(host); });
            QStringList lines = m_log->takeCritical();
            QStringList calls = m_backend.calls;
            const QString context = QStringLiteral("%1 inside call %2").arg(inner.name).arg(position);
            QVERIFY2(outerGot == outerResult, qPrintable(context + text(": outer ") + outerGot));
            QVERIFY2(innerGot == innerResult, qPrintable(context + text(": inner ") + innerGot));
            QStringList expectedCalls = alone.calls.mid(0, position + 1) + innerModel.calls + alone.calls.mid(position + 1);
            if (isWrite) { // an inner write runs the event loop, and with it the next device's upload
                calls.sort();
                expectedCalls.sort();
            }
            QVERIFY2(calls == expectedCalls, qPrintable(context + text(": calls ") + calls.join(text(", "))));
            QVERIFY2(innerOutput == innerModel.output, qPrintable(context + text(": inner output ") + innerOutput));
            // These two change what the host sees afterwards.
            if (!isRefresh(inner) && inner.name != text("ICabinet::setFlag")) {
                const QString output = outer.output(host);
                QVERIFY2(output == outerModel.output, qPrintable(context + text(": outer output ") + output));
            }
            // A refresh logs one line for each new sub-screen.
            for (const QString &key : deviceKeys)
                lines.removeAll(text("Cannot find SubScreen. SubScreen key: ") + key);
            QVERIFY2(lines.isEmpty(), qPrintable(context + text(": lines ") + lines.join(text(" | "))));
            m_log->clear();
        }
    }
    // The wall is usable afterwards.
    Host host(m_path);
    m_log->clear();
    QVERIFY(bool(host.group));
}

void tst_Reentrancy::fromTheEventLoopOfAWrite_data()
{
    QTest::addColumn<int>("index");
    for (size_t i = 0; i < operations().size(); ++i) {
        const QString &name = operations()[i].name;
        if (name.startsWith(text("ISubScreen::setCoefficientsAsync")) || name.startsWith(text("IScreen::setCoefficients")))
            QTest::newRow(qPrintable(name)) << int(i);
    }
}

void tst_Reentrancy::fromTheEventLoopOfAWrite()
{
    QFETCH(int, index);
    const Row &outer = operations()[size_t(index)];
    Model alone{Fault()};
    outer.expect(alone);
    m_backend.settlesLater = true;
    for (int position = 0; position < alone.calls.size(); ++position) {
        for (const Row &inner : operations()) {
            if (!isChosen())
                continue;
            Host host(m_path);
            QVERIFY(bool(host.group));
            Host used(host, m_innerPath);
            QString outerResult;
            QString innerResult;
            expected(outer, host, outerResult);
            const Model innerModel = expected(inner, used, innerResult);

            QString innerGot = text("not run");
            QString innerOutput;
            m_backend.calls.clear();
            m_backend.hookedCall = position;
            m_backend.hook = [&] {
                QMetaObject::invokeMethod(
                    this,
                    [&] {
                        innerGot = resultOf([&] { return inner.run(used); });
                        innerOutput = inner.output(used);
                    },
                    Qt::QueuedConnection);
            };
            const QString outerGot = resultOf([&] { return outer.run(host); });
            QStringList lines = m_log->takeCritical();
            QStringList calls = m_backend.calls;
            const QString context = QStringLiteral("%1 after call %2").arg(inner.name).arg(position);
            QVERIFY2(outerGot == outerResult, qPrintable(context + text(": outer ") + outerGot));
            QVERIFY2(innerGot == innerResult, qPrintable(context + text(": inner ") + innerGot));
            QStringList expectedCalls = alone.calls + innerModel.calls; // in any order
            calls.sort();
            expectedCalls.sort();
            QVERIFY2(calls == expectedCalls, qPrintable(context + text(": calls ") + calls.join(text(", "))));
            QVERIFY2(innerOutput == innerModel.output, qPrintable(context + text(": inner output ") + innerOutput));
            for (const QString &key : deviceKeys)
                lines.removeAll(text("Cannot find SubScreen. SubScreen key: ") + key);
            QVERIFY2(lines.isEmpty(), qPrintable(context + text(": lines ") + lines.join(text(" | "))));
            m_log->clear();
        }
    }
}

/// What others use is removed inside a call: the operation ends with its usual result, or with that of a cabinet, a device
/// or a screen that is not there.
void tst_Reentrancy::removalsInsideEveryCall()
{
    QFETCH(int, index);
    const Row &outer = operations()[size_t(index)];
    Model alone{Fault()};
    const int usual = outer.expect(alone);
    auto *const manager = ScreenManager::getInstance();
    auto *const cabinets = CabinetManager::getInstance();
    const QVector<QPair<const char *, std::function<void(Host &)>>> removals{
        {"CabinetManager::removeCabinets", [=](Host &) { cabinets->removeCabinets(); }},
        {"CabinetManager::removeCabinet", [=](Host &) { cabinets->removeCabinet(text("1")); }},
        {"IScreen::removeSubScreens", [](Host &host) { host.screen->removeSubScreens(); }},
        {"IScreen::removeSubScreen", [](Host &host) { host.screen->removeSubScreen(deviceKeys[0]); }},
        {"ISubScreen::removeCabinets", [](Host &host) { host.subScreen->removeCabinets(); }},
        {"ISubScreen::removeCabinet", [](Host &host) { host.subScreen->removeCabinet(text("1")); }},
        {"ISubScreen::addCabinet", [](Host &host) { host.subScreen->addCabinet(text("9"), text("unknown")); }},
    };
    for (int position = 0; position < alone.calls.size(); ++position) {
        for (const auto &removal : removals) {
            if (isRefresh(outer) && position > 0 && !QByteArray(removal.first).startsWith("CabinetManager"))
                continue; // the refresh has removed the host's objects
            ++m_cases;
            Host host(m_path);
            QVERIFY(bool(host.group));
            m_backend.calls.clear();
            m_backend.hookedCall = position;
            m_backend.hook = [&] { removal.second(host); };
            const QString got = resultOf([&] { return outer.run(host); });
            const QString context =
                QStringLiteral("%1 inside call %2: %3").arg(QLatin1String(removal.first)).arg(position).arg(got);
            QVERIFY2(m_backend.hookedCall == -1, qPrintable(context + text(": not removed")));
            QVERIFY2(got == QString::number(usual) || got == QString::number(enInvalidParameter), qPrintable(context));
            // A failure is logged.
            QVERIFY2(got == QString::number(usual) || !m_log->takeCritical().isEmpty(), qPrintable(context));
            m_log->clear();
        }
    }
    Host host(m_path);
    m_log->clear();
    QVERIFY(bool(host.group));
    QCOMPARE(ScreenManager::getInstance(), manager);
}

QTEST_GUILESS_MAIN(tst_Reentrancy)
#include "tst_reentrancy.moc"
