#include "Program.h"

#include <QtTest/QtTest>

using namespace TestSupport;

/// Walls where several devices have a cabinet of the same id. The library identifies cabinets by their ids alone, so a
/// request for one would reach the other: verbs that change something refuse, and so do snapshots and measurements of the
/// whole screen. The others warn.
class CtlAmbiguousTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void verbsThatWriteAreRefused_data();
    void verbsThatWriteAreRefused();
    void verbsThatReadWarn_data();
    void verbsThatReadWarn();
    void allDevicesAreNamed_data();
    void allDevicesAreNamed();
    void otherScreensAreWritten();
    void aQuietLogHidesNothing();
    void theDoctorFindsIt();
    void aWallInOrderHasNoWarning();

private:
    /// A wall file with other ids: the first of each device's grid.
    void wallOf(const QString &name, const QByteArray &original, const QList<int> &firstIds);
    /// The table's examples of the verbs that read the wall or of those that change it; as rows of test data.
    void addExamples(bool changing);

    Program m_program;
    QJsonArray m_verbs;
};

void CtlAmbiguousTest::wallOf(const QString &name, const QByteArray &original, const QList<int> &firstIds)
{
    QJsonObject wall = QJsonDocument::fromJson(original).object();
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
    // The examples work on the preset that is the default. They are tried on the same wall with one id twice, and need the
    // files that some of them make.
    wallOf(QStringLiteral("demo.json"), m_program.run("wall describe").out, {1, 12});
    QVERIFY(m_program.write(QStringLiteral("curves.json"), "{\"red\": [1, 2]}"));
    for (const char *line : {"read arena-main before.npy", "read arena-main part.npy --rect 100,40,300x150",
                             "snapshot arena-main before.snapshot --device left", "cabinet 7 read seven.npy",
                             "cabinet 7 config get seven.cfg"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0, run.all());
    }
    m_verbs = m_program.json("verbs").data().value(QStringLiteral("verbs")).toArray();
}

void CtlAmbiguousTest::addExamples(bool changing)
{
    QTest::addColumn<QStringList>("arguments");
    int rows = 0;
    for (const QJsonValue &value : qAsConst(m_verbs)) {
        const QJsonObject verb = value.toObject();
        const QString name = verb.value(QStringLiteral("name")).toString();
        const bool reachesDevices = !verb.value(QStringLiteral("operations")).toArray().isEmpty();
        // Watching does not end by itself, and the doctor has a test of its own.
        if (!reachesDevices || name == QLatin1String("watch") || name == QLatin1String("doctor"))
            continue;
        // A snapshot and a measurement change nothing that lasts, but what they keep is to be written to the whole screen.
        const bool isKept = name == QLatin1String("snapshot") || name == QLatin1String("measure");
        if ((verb.value(QStringLiteral("writes")).toBool() || isKept) != changing)
            continue;
        QString example = verb.value(QStringLiteral("example")).toString().remove(QLatin1Char('\''));
        example.replace(QLatin1String("snapshot arena-main before"), QLatin1String("snapshot arena-main new"));
        QTest::newRow(qPrintable(name)) << QStringList(example.split(QLatin1Char(' ')).mid(1));
        ++rows;
    }
    QVERIFY2(rows > 12, qPrintable(QString::number(rows)));
}

void CtlAmbiguousTest::verbsThatWriteAreRefused_data()
{
    addExamples(true);
    // The same with options.
    for (const char *arguments :
         {"write arena-main before.npy --device right --cabinet 15", "write arena-main before.npy --dry-run",
          "save arena-main --device left", "clear arena-main --cabinet 1", "cabinet 12 save", "group 1 12 show user"})
        QTest::newRow(arguments) << words(arguments);
}

void CtlAmbiguousTest::verbsThatWriteAreRefused()
{
    QFETCH(QStringList, arguments);
    const Run run = m_program.json(words("--wall demo.json record calls.jsonl") + arguments);
    QVERIFY2(run.exit == 67, run.all());
    QCOMPARE(run.document().value(QStringLiteral("result")).toString(), QStringLiteral("ambiguous"));
    QVERIFY2(run.document()
                 .value(QStringLiteral("message"))
                 .toString()
                 .endsWith(QLatin1String(": screen arena-main: cabinet 12 is on device left and on device right; requests "
                                         "for it reach device left only. Nothing was sent")),
             run.all());

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
    QVERIFY2(calls > 6, qPrintable(QString::number(calls)));
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("calls.jsonl"))));
    QVERIFY(!m_program.exists(QStringLiteral("new.snapshot")));
}

void CtlAmbiguousTest::verbsThatReadWarn_data()
{
    addExamples(false);
    // Verbs that set something print it where its value is not given.
    for (const char *arguments : {"cabinets arena-main", "brightness arena-main", "gamma arena-main", "effect arena-main",
                                  "cabinet 12 brightness", "cabinet 12 effect", "cabinet 12 flag", "cabinet 12 gamma"})
        QTest::newRow(arguments) << words(arguments);
}

void CtlAmbiguousTest::verbsThatReadWarn()
{
    QFETCH(QStringList, arguments);
    const QString sentence =
        QStringLiteral("cabinet 12 is on device left and on device right; requests for it reach device left only");
    const QStringList line = words("--wall demo.json") + arguments;
    const Run text = m_program.run(line);
    // A comparison fails with 20 where pixels of the unreachable cabinet differ.
    QVERIFY2(text.exit == 0 || (text.exit == 20 && arguments.first() == QLatin1String("diff")), text.all());
    QVERIFY2(text.error.startsWith("correctionctl: warning: " + sentence.toUtf8() + '\n'), text.all());
    QCOMPARE(text.error.count('\n') == 1, text.exit == 0);
    QVERIFY(!m_program.run(line + words("--quiet")).error.contains("warning"));
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
    wallOf(QStringLiteral("other.json"), m_program.content(QStringLiteral("small.json")), firstIds);
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
