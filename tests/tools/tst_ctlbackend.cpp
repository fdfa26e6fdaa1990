#include "Program.h"

#include <QtTest/QtTest>

using namespace TestSupport;

/// correctionctl and service-check on a backend that is loaded: the HTTP example's, with its device in a process of its own.
class CtlBackendTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void aScreenIsWrittenSavedAndRead();
    void aDryRunSendsNothing();
    void whatIsRecordedIsReplayedOnTheVirtualWall();
    void theDoctorShowsTheCalls();
    void nothingIsSaidOfAVirtualWall();
    void aVanishedDeviceIsAnError();
    void whatCannotBeLoadedIsAnError_data();
    void whatCannotBeLoadedIsAnError();
    void whatNeedsTheWallIsRefused_data();
    void whatNeedsTheWallIsRefused();
    void serviceCheckFindsNothingInWhatTheDeviceAnswers();

private:
    Run run(const QStringList &arguments) const { return m_program.run(m_backend + arguments); }
    Run run(const char *arguments) const { return run(words(arguments)); }

    Program m_program;
    QProcess m_device;
    QStringList m_backend;
};

void CtlBackendTest::initTestCase()
{
    m_device.start(QStringLiteral(LITTLE_DEVICE), QStringList());
    QVERIFY(m_device.waitForReadyRead(-1));
    const QString url = QString::fromUtf8(m_device.readLine().trimmed());
    m_backend = QStringList{QStringLiteral("--backend"), QStringLiteral(HTTP_PLUGIN ":A=") + url};
    QByteArray values = "[";
    for (int i = 0; i < 8 * 4 * 9; ++i)
        values += (i ? "," : "") + QByteArray::number(i * 201);
    QVERIFY(m_program.write(QStringLiteral("slope.json"), values + "]"));
}

void CtlBackendTest::cleanupTestCase()
{
    m_device.closeWriteChannel();
    m_device.waitForFinished(-1);
}

void CtlBackendTest::aScreenIsWrittenSavedAndRead()
{
    const Run written = run("write little slope.json --save");
    QVERIFY2(written.exit == 0 && written.out.contains("written and saved"), written.all());
    const Run read = run("read little read.json");
    QVERIFY2(read.exit == 0, read.all());
    const auto valuesOf = [this](const char *name) {
        const QJsonDocument document = QJsonDocument::fromJson(m_program.content(QLatin1String(name)));
        return document.isArray() ? document.array() : document.object().value(QStringLiteral("values")).toArray();
    };
    QCOMPARE(valuesOf("slope.json").size(), 8 * 4 * 9);
    const Run compared = run("diff slope.json --screen little");
    QVERIFY2(compared.exit == 0, compared.all());
}

void CtlBackendTest::aDryRunSendsNothing()
{
    QVERIFY(run("write little slope.json").exit == 0);
    QVERIFY(m_program.write(QStringLiteral("black.json"), "[" + QByteArray("0,").repeated(8 * 4 * 9 - 1) + "0]"));
    const Run dry = run("write little black.json --save --dry-run");
    QVERIFY2(dry.exit == 0
                 && dry.out.contains("dry run: 2 requests, 576 B of data, for 1 device and 1 cabinet; nothing sent"),
             dry.all());
    QVERIFY2(dry.out.contains("would send to A: Correctionop::uploadCoefficientAsync(\"A\", [{\"cid\": qlonglong 1"),
             dry.all());
    QVERIFY(run("diff slope.json --screen little").exit == 0);
}

void CtlBackendTest::whatIsRecordedIsReplayedOnTheVirtualWall()
{
    const Run recorded = run("record night.jsonl write little slope.json --save");
    QVERIFY2(recorded.exit == 0, recorded.all());
    const Run replayed = m_program.run("replay night.jsonl write little slope.json --save");
    QVERIFY2(replayed.exit == 0 && replayed.out.contains("0 of the recording left"), replayed.all());
    const Run other = m_program.run("replay night.jsonl clear little");
    QVERIFY2(other.exit != 0 && other.error.contains("differs from the recording"), other.all());
    const Run again = run("record night.jsonl screens");
    QVERIFY2(again.exit != 0 && again.error.contains("night.jsonl: holds something already"), again.all());
}

void CtlBackendTest::theDoctorShowsTheCalls()
{
    const Run doctor = m_program.json(m_backend + words("doctor"));
    QCOMPARE(doctor.data().value(QStringLiteral("service")).toString(), QStringLiteral("backend"));
    QStringList operations;
    for (const QJsonValue step : doctor.data().value(QStringLiteral("steps")).toArray()) {
        for (const QJsonValue call : step.toObject().value(QStringLiteral("calls")).toArray())
            operations += call.toObject().value(QStringLiteral("request")).toString();
    }
    QVERIFY2(operations.contains(QStringLiteral("ScreenInfo::getScreens(\"A\", bool true)")), doctor.all());
    // The device serves no settings, and returns false for them.
    QVERIFY2(doctor.exit == 5 && doctor.error.contains("answered false: device A"), doctor.all());
}

void CtlBackendTest::nothingIsSaidOfAVirtualWall()
{
    const Run written = run("write little slope.json");
    QVERIFY2(written.exit == 0 && !written.all().contains("virtual") && !written.all().contains("not saved"), written.all());
}

void CtlBackendTest::aVanishedDeviceIsAnError()
{
    QProcess device;
    device.start(QStringLiteral(LITTLE_DEVICE), QStringList());
    QVERIFY(device.waitForReadyRead(-1));
    const QString url = QString::fromUtf8(device.readLine().trimmed());
    const QStringList backend{QStringLiteral("--backend"), QStringLiteral(HTTP_PLUGIN ":A=") + url};
    QVERIFY(m_program.run(backend + words("write little slope.json")).exit == 0);
    device.closeWriteChannel();
    QVERIFY(device.waitForFinished(-1));
    const Run gone = m_program.run(backend + words("write little slope.json"));
    QVERIFY2(gone.exit != 0 && !gone.error.isEmpty(), gone.all());
    const Run doctor = m_program.run(backend + words("doctor"));
    QVERIFY2(doctor.out.contains("Connection refused"), doctor.all());
}

void CtlBackendTest::whatCannotBeLoadedIsAnError_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("reason");
    QTest::newRow("no file") << QStringLiteral("none.so") << QStringLiteral("none.so: no such file");
    QTest::newRow("no plug-in") << QStringLiteral("slope.json") << QStringLiteral("slope.json");
    QTest::newRow("no configuration") << QStringLiteral(HTTP_PLUGIN) << QStringLiteral("the configuration lists no device");
    QTest::newRow("bad configuration") << QStringLiteral(HTTP_PLUGIN ":A") << QStringLiteral("\"A\" is not KEY=URL");
}

void CtlBackendTest::whatCannotBeLoadedIsAnError()
{
    QFETCH(QString, source);
    QFETCH(QString, reason);
    const Run run = m_program.run(QStringList{QStringLiteral("--backend"), source, QStringLiteral("screens")});
    QVERIFY2(run.exit == 69, run.all());
    QVERIFY2(run.error.contains(reason.toUtf8()), run.all());
    QVERIFY2(run.out.isEmpty(), run.all());
}

void CtlBackendTest::whatNeedsTheWallIsRefused_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : {"--wall demo screens", "screens --wall demo", "replay night.jsonl screens",
                                  "wall describe", "wall create made", "wall render little little.png"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlBackendTest::whatNeedsTheWallIsRefused()
{
    QFETCH(QString, arguments);
    const Run refused = run(arguments.split(QLatin1Char(' ')));
    QVERIFY2(refused.exit == 64 && refused.error.contains("--backend"), refused.all());
    QVERIFY(!m_program.exists(QStringLiteral("made")));
}

void CtlBackendTest::serviceCheckFindsNothingInWhatTheDeviceAnswers()
{
    const Program check(QStringLiteral(SERVICE_CHECK));
    const Run found = check.run(m_backend);
    QVERIFY2(found.out.contains("OK   Correctionop::loadCoefficient: device A: cabinet 1: true"), found.all());
    for (const QByteArray &line : found.out.split('\n')) // it does not serve everything
        QVERIFY2(!line.startsWith("BAD") || line.endsWith("[false-answer]"), found.all());
    const Run document = check.json(m_backend);
    QCOMPARE(document.document().value(QStringLiteral("service")).toString(), QStringLiteral("backend"));
    const Run both = check.run(m_backend + words("--wall demo"));
    QVERIFY2(both.exit == 64, both.all());
    const Run none = check.run(words("--backend none.so"));
    QVERIFY2(none.exit == 69 && none.error.contains("none.so: no such file"), none.all());
}

QTEST_GUILESS_MAIN(CtlBackendTest)

#include "tst_ctlbackend.moc"
