#include "Program.h"

#include <QtTest/QtTest>

using namespace TestSupport;

/// Walls where several devices have a cabinet of the same id. The library knows cabinets by their ids alone, so a request
/// for one would reach the other: verbs that read warn, verbs that change something refuse.
class CtlAmbiguousTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void verbsThatWriteAreRefused_data();
    void verbsThatWriteAreRefused();
    void everyVerbThatWritesIsTried();
    void verbsThatReadWarn_data();
    void verbsThatReadWarn();
    void allDevicesAreNamed_data();
    void allDevicesAreNamed();
    void otherScreensAreWritten();
    void aQuietLogHidesNothing();
    void theDoctorFindsIt();
    void aWallInOrderHasNoWarning();

private:
    /// small.json with other ids: the first of each device's grid.
    void wallOf(const QString &name, const QList<int> &firstIds);

    Program m_program;
    QStringList m_refused; ///< Verbs that were seen to refuse.
};

void CtlAmbiguousTest::wallOf(const QString &name, const QList<int> &firstIds)
{
    const QByteArray text = m_program.content(QStringLiteral("small.json"));
    QJsonObject wall = QJsonDocument::fromJson(text).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    for (int i = 0; i < firstIds.size(); ++i) {
        QJsonObject device = devices.at(i).toObject();
        QJsonObject screen = device.value(QStringLiteral("screens")).toArray().at(0).toObject();
        QJsonObject subScreen = screen.value(QStringLiteral("subScreens")).toArray().at(0).toObject();
        QJsonObject grid = subScreen.value(QStringLiteral("grid")).toObject();
        grid.insert(QStringLiteral("firstId"), firstIds[i]);
        subScreen.insert(QStringLiteral("grid"), grid);
        screen.insert(QStringLiteral("subScreens"), QJsonArray{subScreen});
        device.insert(QStringLiteral("screens"), QJsonArray{screen});
        devices.replace(i, device);
    }
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(name, QJsonDocument(wall).toJson()));
}

void CtlAmbiguousTest::initTestCase()
{
    for (const char *name : {"small.json", "same-id.json"})
        QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/") + QLatin1String(name),
                            m_program.path(QLatin1String(name))));
    for (const char *line : {"--wall small.json read main main.npy", "--wall small.json cabinet 1 read one.npy",
                             "--wall small.json snapshot main main.snapshot"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0, run.all());
    }
    QVERIFY(m_program.write(QStringLiteral("gamma.json"), "{\"red\": [1, 2]}"));
    QVERIFY(m_program.write(QStringLiteral("seven.cfg"), "brightness=7\n"));
}

void CtlAmbiguousTest::verbsThatWriteAreRefused_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : {"write main main.npy",
                                  "write main main.npy --save",
                                  "write main one.npy --device B --cabinet 6",
                                  "write main main.npy --dry-run",
                                  "save main",
                                  "save main --device A",
                                  "apply main",
                                  "clear main",
                                  "clear main --cabinet 1",
                                  "clear main+sign",
                                  "solid main",
                                  "restore main.snapshot",
                                  "snapshot main new.snapshot",
                                  "set main brightness=1",
                                  "brightness main 1",
                                  "gamma main gamma.json",
                                  "effect main 1",
                                  "xbit main 1 on",
                                  "abl main on",
                                  "multilayer main 1 2 3 4",
                                  "lock main",
                                  "unlock main",
                                  "pattern pixel main",
                                  "pattern checkerboard main",
                                  "pattern mode main 1",
                                  "pattern clear main",
                                  "cabinet 4 write one.npy",
                                  "cabinet 1 write one.npy",
                                  "cabinet 4 save",
                                  "cabinet 4 apply",
                                  "cabinet 4 brightness 1",
                                  "cabinet 4 effect 1",
                                  "cabinet 4 gamma gamma.json",
                                  "cabinet 4 flag x",
                                  "cabinet 4 serial-flag x",
                                  "cabinet 4 config put seven.cfg",
                                  "cabinet 4 module save",
                                  "cabinet 4 module reload",
                                  "cabinet 4 module clear",
                                  "cabinet 4 module flag 0=x",
                                  "group 4 save user",
                                  "group 1 4 show user",
                                  "group 4 5 clear",
                                  "group 4 average put",
                                  "group 4 solid"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlAmbiguousTest::verbsThatWriteAreRefused()
{
    QFETCH(QString, arguments);
    const Run run = m_program.json(words("--wall same-id.json record calls.jsonl") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 67, run.all());
    QCOMPARE(run.document().value(QStringLiteral("result")).toString(), QStringLiteral("ambiguous"));
    QVERIFY2(run.document()
                 .value(QStringLiteral("message"))
                 .toString()
                 .endsWith(QLatin1String(": screen main: cabinet 4 is on device A and on device B; requests for it reach "
                                         "device A only. Nothing was sent")),
             run.all());
    m_refused.append(run.document().value(QStringLiteral("verb")).toString());

    const QStringList discovery{QStringLiteral("HttpProxy::initialize"),
                                QStringLiteral("HttpProxy::getDeviceList"),
                                QStringLiteral("HWInfo::getHWInfo"),
                                QStringLiteral("ScreenInfo::getScreens"),
                                QStringLiteral("CabinetInfoOperator::getAllCabinetsInfo"),
                                QStringLiteral("CabinetInfoOperator::getCabAllFlags")};
    int calls = 0;
    const QList<QByteArray> lines = m_program.content(QStringLiteral("calls.jsonl")).split('\n');
    for (const QByteArray &line : lines) {
        const QString operation = QJsonDocument::fromJson(line).object().value(QStringLiteral("operation")).toString();
        QVERIFY2(operation.isEmpty() || discovery.contains(operation), line);
        calls += operation.isEmpty() ? 0 : 1;
    }
    QVERIFY(calls > 10);
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("calls.jsonl"))));
    QVERIFY(!m_program.exists(QStringLiteral("new.snapshot")));
}

void CtlAmbiguousTest::everyVerbThatWritesIsTried()
{
    if (m_refused.size() < 40)
        QSKIP("the verbs were not run");
    const QJsonArray verbs = m_program.json("verbs").data().value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &verb : verbs) {
        const QString name = verb.toObject().value(QStringLiteral("name")).toString();
        QVERIFY2(!verb.toObject().value(QStringLiteral("writes")).toBool() || m_refused.contains(name), qPrintable(name));
    }
}

void CtlAmbiguousTest::verbsThatReadWarn_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments :
         {"screens", "tree", "show main", "cabinets", "cabinets sign", "features main", "support main", "read main x.npy",
          "brightness main", "gamma main", "effect main", "cabinet 4 info", "cabinet 4 brightness", "cabinet 4 effect",
          "cabinet 4 flag", "cabinet 4 gamma"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlAmbiguousTest::verbsThatReadWarn()
{
    QFETCH(QString, arguments);
    const QString sentence = QStringLiteral("cabinet 4 is on device A and on device B; requests for it reach device A only");
    const QStringList line = words("--wall same-id.json") + arguments.split(QLatin1Char(' '));
    const Run text = m_program.run(line);
    QVERIFY2(text.exit == 0, text.all());
    QCOMPARE(text.error, "correctionctl: warning: " + sentence.toUtf8() + '\n');
    QCOMPARE(m_program.run(line + words("--quiet")).error, QByteArray());
    const QJsonArray warnings{
        QJsonObject{{QStringLiteral("kind"), QStringLiteral("ambiguousCabinet")}, {QStringLiteral("message"), sentence}}};
    QCOMPARE(m_program.json(line).document().value(QStringLiteral("warnings")).toArray(), warnings);
}

void CtlAmbiguousTest::allDevicesAreNamed_data()
{
    QTest::addColumn<QList<int>>("firstIds");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("said");
    QTest::newRow("a device that has no id of its own")
        << QList<int>{1, 1, 9} << QStringLiteral("clear main")
        << QStringLiteral("cabinets 1, 2, 3, 4 are on device A and on device B; requests for them reach device A only");
    QTest::newRow("two screens, the first of them")
        << QList<int>{1, 5, 4} << QStringLiteral("clear main")
        << QStringLiteral("screen main: cabinet 4 is on device A and on device C; requests");
    QTest::newRow("two screens, the second of them")
        << QList<int>{1, 5, 4} << QStringLiteral("clear sign")
        << QStringLiteral("screen sign: cabinet 4 is on device A and on device C; requests");
    QTest::newRow("two screens, a cabinet of the first of them")
        << QList<int>{1, 5, 4} << QStringLiteral("cabinet 1 save")
        << QStringLiteral("screen main: cabinet 4 is on device A and on device C; requests");
    QTest::newRow("three devices") << QList<int>{1, 4, 4} << QStringLiteral("clear sign")
                                   << QStringLiteral("cabinet 4 is on device A and on device B and on device C; requests");
}

void CtlAmbiguousTest::allDevicesAreNamed()
{
    QFETCH(QList<int>, firstIds);
    QFETCH(QString, arguments);
    QFETCH(QString, said);
    wallOf(QStringLiteral("other.json"), firstIds);
    const Run run = m_program.run(words("--wall other.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 67 && run.error.contains(said.toUtf8()), run.all());
    // Also where the library's lines are shown.
    const Run verbose = m_program.run(words("-v --wall other.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(verbose.exit == 67 && verbose.error.contains(said.toUtf8()), verbose.all());
}

void CtlAmbiguousTest::otherScreensAreWritten()
{
    for (const char *line : {"--wall same-id.json clear sign", "--wall same-id.json cabinet 9 save",
                             "--wall same-id.json snapshot sign sign.snapshot"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0 && run.error.contains("warning: cabinet 4 is on"), run.all());
    }
}

/// The name of a device without an id of its own comes from the log: without it the verb refuses as well.
void CtlAmbiguousTest::aQuietLogHidesNothing()
{
    const Run run = m_program.run(words("--wall same-id.json clear main"), {QStringLiteral("QT_LOGGING_RULES=*=false")});
    QVERIFY2(run.exit == 67 && run.error.contains("cabinet 4 is on device A and on another device; requests"), run.all());
}

void CtlAmbiguousTest::theDoctorFindsIt()
{
    const Run run = m_program.run("--wall same-id.json doctor report.json");
    QVERIFY2(run.exit == 67, run.all());
    QVERIFY2(run.out.contains("BAD  cabinet 4 is on device A and on device B; requests for it reach device A only: "
                              "ambiguous (67)\n"),
             run.all());
    QVERIFY2(run.out.contains("ambiguous (67): Several devices have a cabinet of the same id"), run.all());
    const QJsonObject report = QJsonDocument::fromJson(m_program.content(QStringLiteral("report.json"))).object();
    int bad = 0;
    const QJsonArray steps = report.value(QStringLiteral("steps")).toArray();
    for (const QJsonValue &step : steps)
        bad += step.toObject().value(QStringLiteral("good")).toBool() ? 0 : 1;
    QCOMPARE(bad, 1);
}

void CtlAmbiguousTest::aWallInOrderHasNoWarning()
{
    const Run run = m_program.json("--wall small.json screens");
    QVERIFY(run.document().contains(QStringLiteral("warnings")));
    QCOMPARE(run.document().value(QStringLiteral("warnings")).toArray(), QJsonArray());
    QCOMPARE(run.error, QByteArray());
}

QTEST_GUILESS_MAIN(CtlAmbiguousTest)
#include "tst_ctlambiguous.moc"
