// Every operation of the library with a device service that fails: at every call that the operation makes, in every way,
// once or from there on. The cases are generated from the table of operations, and everything is compared with its models.

#include "trust/OperationTable.h"

#include "support/LogCapture.h"

#include <adapter/Operations.h>

#include <QtCore/QSet>
#include <QtCore/QTemporaryDir>

#include <optional>

using namespace Trust;

namespace {

QString recordOf(const QString &result, const QStringList &calls, const QStringList &lines, const QStringList &warnings,
                 int mismatches, const QString &output)
{
    return QStringList{text("result: ") + result,
                       text("calls: ") + calls.join(text(", ")),
                       text("lines: ") + lines.join(text(" | ")),
                       text("warnings: ") + warnings.join(text(" | ")),
                       QStringLiteral("mismatches: %1").arg(mismatches),
                       text("output: ") + output}
        .join(QLatin1Char('\n'));
}

} // namespace

class tst_ServiceFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void everyPosition_data();
    void everyPosition();
    void everyServiceOperationIsCalled();

private:
    void run(const Row &row, const Fault &fault, Host &host);

    QTemporaryDir m_directory;
    const QString m_path = m_directory.filePath(QStringLiteral("config"));
    FaultyBackend m_backend;
    int m_calls = 0;
    int m_cases = 0;
    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
    std::optional<TestSupport::LogCapture> m_adapterLog;
};

void tst_ServiceFaults::initTestCase()
{
    m_log.emplace();
    m_adapterLog.emplace("correction.adapter");
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=true"));
    Adapter::setBackend(&m_backend);
}

void tst_ServiceFaults::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
}

void tst_ServiceFaults::cleanupTestCase()
{
    Adapter::setBackend(nullptr);
    m_adapterLog.reset();
    m_log.reset();
    qInfo("measured: %d operations, %d calls, %d cases", int(operations().size()), m_calls, m_cases);
}

/// Runs an operation with a fault and compares everything with the model.
void tst_ServiceFaults::run(const Row &row, const Fault &fault, Host &host)
{
    host.reset();
    Model model(fault);
    model.output = row.output(host);
    QString result = resultOf([&] { return row.expect(model); });
    const QString expected = recordOf(result, model.calls, model.lines, model.warnings, model.mismatches, model.output);

    m_log->clear();
    m_adapterLog->clear();
    m_backend.calls.clear();
    m_backend.fault = fault;
    result = resultOf([&] { return row.run(host); });
    QCoreApplication::processEvents(); // nothing is started later
    m_backend.fault = Fault();
    const QStringList calls = m_backend.calls;
    const QStringList lines = m_log->takeCritical();
    const QStringList warnings = m_log->takeWarning();
    const int mismatches = m_adapterLog->takeWarning().size();
    const QString output = row.output(host);
    m_log->clear();
    QCOMPARE(recordOf(result, calls, lines, warnings, mismatches, output), expected);
}

void tst_ServiceFaults::everyPosition_data()
{
    QTest::addColumn<int>("index");
    for (size_t i = 0; i < operations().size(); ++i)
        QTest::newRow(qPrintable(operations()[i].name)) << int(i);
}

void tst_ServiceFaults::everyPosition()
{
    QFETCH(int, index);
    const Row &row = operations()[size_t(index)];
    {
        Host host(m_path);
        QVERIFY(bool(host.group));
        run(row, Fault(), host);
        m_calls += m_backend.calls.size();
        QVERIFY(!m_backend.calls.isEmpty());
    }
    const int before = m_cases;
    for (const auto &kind : kinds) {
        for (const bool lasting : {false, true}) {
            for (int first = 0;; ++first) {
                const Fault fault{kind.first, first, lasting};
                Model model(fault);
                resultOf([&] { return row.expect(model); });
                if (first >= model.calls.size())
                    break;
                if (!model.isReached)
                    continue;
                ++m_cases;
                Host host(m_path);
                run(row, fault, host);
                if (!QTest::currentTestFailed())
                    run(row, Fault(), host); // the same objects can be used further
                if (QTest::currentTestFailed()) {
                    qWarning("call %d %s: %s", first, lasting ? "and all later ones" : "alone", qPrintable(kind.second));
                    m_log->clear();
                    return;
                }
            }
        }
    }
    QVERIFY(m_cases > before);
}

void tst_ServiceFaults::everyServiceOperationIsCalled()
{
    QSet<QString> called;
    for (const Row &row : operations()) {
        Model model{Fault()};
        row.expect(model);
        for (const QString &call : qAsConst(model.calls))
            called.insert(call.section(QLatin1Char(' '), 0, 0));
    }
    for (const Adapter::Operation &operation : Adapter::operations())
        QVERIFY2(called.contains(operation.name), qPrintable(operation.name));
}

QTEST_GUILESS_MAIN(tst_ServiceFaults)
#include "tst_servicefaults.moc"
