#include "Program.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

using namespace TestSupport;

namespace {

QJsonObject outcome(const char *device, const char *operation, int done, int refused, const char *reason)
{
    return {{QStringLiteral("device"), QLatin1String(device)},
            {QStringLiteral("operation"), QLatin1String(operation)},
            {QStringLiteral("done"), done},
            {QStringLiteral("refused"), refused},
            {QStringLiteral("reason"), QLatin1String(reason)}};
}

const char *const missing = "correctionctl: warning: device B is left out: it did not answer HWInfo::getHWInfo (fault: no "
                            "answer), ScreenInfo::getScreens (fault: no answer)\n";

} // namespace

/// Devices that do not answer, that refuse, and that cannot save: what the program reports of them.
class CtlIncompleteTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void aMissingDeviceIsNamed_data();
    void aMissingDeviceIsNamed();
    void aScreenWithAMissingDeviceIsRefused_data();
    void aScreenWithAMissingDeviceIsRefused();
    void partsThatAreThereAreWritten_data();
    void partsThatAreThereAreWritten();
    void showNamesWhatIsMissing();
    void anyCauseOfAMissingDeviceIsFound_data();
    void anyCauseOfAMissingDeviceIsFound();
    void warningsOfTheLibraryAreShown();
    void warningsAfterDiscoveryAreShown();
    void whatWasDoneIsListed_data();
    void whatWasDoneIsListed();
    void settingsThatWereMadeAreListed();
    void theReasonOfAFailedSaveIsShown();
    void aRecordingOnAFullDiskFails();
    void verifyFindsAChange();
    void incompleteRepliesAreNotTakenForValues_data();
    void incompleteRepliesAreNotTakenForValues();
    void settingsOfIncompleteRepliesAreUnknown();
    void textsThatEndEarlyAreIncomplete();
    void blocksThatCoverACabinetAreComplete();
    void settingsAreNotTheCauseOfALaterFailure();
    void cabinetsThatAreLeftOutAreNamed();
    void aScreenWithoutSomeOfItsCabinetsIsRefused_data();
    void aScreenWithoutSomeOfItsCabinetsIsRefused();

private:
    void wallWith(const QString &name, int device, const QString &entry, const QJsonValue &value);
    Run limited(const QString &arguments, int blocks) const;

    Program m_program;
};

void CtlIncompleteTest::wallWith(const QString &name, int device, const QString &entry, const QJsonValue &value)
{
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("small.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    QJsonObject object = devices.at(device).toObject();
    object.insert(entry, value);
    devices.replace(device, object);
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(name, QJsonDocument(wall).toJson()));
}

/// Runs with a limit on the size of files, in blocks of 512 bytes, as on a full disk.
Run CtlIncompleteTest::limited(const QString &arguments, int blocks) const
{
    QProcess process;
    process.setWorkingDirectory(m_program.path(QString()));
    process.start(
        QStringLiteral("sh"),
        {QStringLiteral("-c"),
         QStringLiteral("trap '' XFSZ; export GCOV_PREFIX=/dev/null GCOV_ERROR_FILE=/dev/null; ulimit -f %1; exec '%2' %3")
             .arg(blocks)
             .arg(QStringLiteral(CORRECTIONCTL), arguments)});
    Run run;
    run.exit = process.waitForFinished(-1) ? process.exitCode() : -1;
    run.out = process.readAllStandardOutput();
    run.error = process.readAllStandardError();
    return run;
}

void CtlIncompleteTest::initTestCase()
{
    for (const char *name : {"small.json", "one-silent.json"})
        QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/") + QLatin1String(name),
                            m_program.path(QLatin1String(name))));
    for (const char *line :
         {"--wall small.json read main main.npy", "--wall small.json read main half.npy --rect 0,0,32x16",
          "--wall small.json snapshot main main.snapshot", "--wall small.json snapshot main half.snapshot --device A"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0, run.all());
    }
    wallWith(QStringLiteral("refuses.json"), 1, QStringLiteral("personality"), QStringLiteral("refuses writes"));
}

void CtlIncompleteTest::aMissingDeviceIsNamed_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments :
         {"screens", "tree", "show main", "cabinets", "features main", "read main x.npy", "brightness main",
          "brightness main 5", "effect main 3", "cabinet 1 save", "pattern clear main", "diff half.npy --screen main"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlIncompleteTest::aMissingDeviceIsNamed()
{
    QFETCH(QString, arguments);
    const QStringList line = words("--wall one-silent.json") + arguments.split(QLatin1Char(' '));
    const Run text = m_program.run(line);
    QVERIFY2(text.exit == 0, text.all());
    QCOMPARE(text.error, QByteArray(missing));
    const QJsonArray warnings = m_program.json(line).document().value(QStringLiteral("warnings")).toArray();
    QCOMPARE(warnings.size(), 1);
    QCOMPARE(warnings.at(0).toObject().value(QStringLiteral("kind")).toString(), QStringLiteral("missingDevice"));
}

void CtlIncompleteTest::aScreenWithAMissingDeviceIsRefused_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("said");
    for (const char *arguments : {"snapshot main x.snapshot", "save main", "clear main", "apply main", "solid main",
                                  "write main half.npy", "write main half.npy --save", "clear sign"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments)
                                 << QStringLiteral("device B is missing and may be a part");
    QTest::newRow("restore") << QStringLiteral("restore main.snapshot")
                             << QStringLiteral("cabinet \"5\": not found, and device B is missing");
}

void CtlIncompleteTest::aScreenWithAMissingDeviceIsRefused()
{
    QFETCH(QString, arguments);
    QFETCH(QString, said);
    const QStringList before = m_program.files();
    const Run run = m_program.json(words("--wall one-silent.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 21, run.all());
    QCOMPARE(run.document().value(QStringLiteral("result")).toString(), QStringLiteral("incomplete"));
    QVERIFY2(run.document().value(QStringLiteral("message")).toString().contains(said), run.all());
    // Nothing was sent.
    QVERIFY(!run.data().contains(QStringLiteral("requests")));
    QCOMPARE(m_program.files(), before);
}

void CtlIncompleteTest::partsThatAreThereAreWritten_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : {"write main half.npy --save --device A", "clear main --cabinet 1",
                                  "snapshot main part.snapshot --device A", "restore half.snapshot"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlIncompleteTest::partsThatAreThereAreWritten()
{
    QFETCH(QString, arguments);
    const Run run = m_program.run(words("--wall one-silent.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 0 && run.error == missing, run.all());
}

void CtlIncompleteTest::showNamesWhatIsMissing()
{
    const Run text = m_program.run("--wall one-silent.json show main");
    QVERIFY2(text.out.contains("devices answer  all but B\n"), text.all());
    QCOMPARE(m_program.json("--wall one-silent.json show main").data().value(QStringLiteral("devicesAnswer")),
             QJsonValue(false));
}

void CtlIncompleteTest::anyCauseOfAMissingDeviceIsFound_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation :
         {"ScreenInfo::getScreens", "CabinetInfoOperator::getAllCabinetsInfo", "CabinetInfoOperator::getCabAllFlags"})
        QTest::newRow(operation) << QString::fromLatin1(operation);
}

void CtlIncompleteTest::anyCauseOfAMissingDeviceIsFound()
{
    QFETCH(QString, operation);
    wallWith(QStringLiteral("one.json"), 1, QStringLiteral("faults"),
             QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("noAnswer")},
                                    {QStringLiteral("operation"), operation}}});
    // With any logging rules.
    for (const char *rules : {"", "*=false"}) {
        const Run run =
            m_program.run(words("--wall one.json screens"), {QStringLiteral("QT_LOGGING_RULES=") + QLatin1String(rules)});
        QVERIFY2(run.exit == 0
                     && run.error.contains("warning: device B is left out: it did not answer " + operation.toUtf8()
                                           + " (fault: no answer)"),
                 run.all());
    }
}

void CtlIncompleteTest::warningsOfTheLibraryAreShown()
{
    wallWith(QStringLiteral("odd.json"), 1, QStringLiteral("faults"),
             QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("wrongType")},
                                    {QStringLiteral("key"), QStringLiteral("customName")},
                                    {QStringLiteral("operation"), QStringLiteral("HWInfo::getHWInfo")}}});
    const Run run = m_program.json("--wall odd.json screens");
    QVERIFY2(run.exit == 0 && run.error.contains("warning: HWInfo::getHWInfo: device B: reply[\"customName\"]"), run.all());
    const QJsonArray warnings = run.document().value(QStringLiteral("warnings")).toArray();
    QCOMPARE(warnings.size(), 1);
    QCOMPARE(warnings.at(0).toObject().value(QStringLiteral("kind")).toString(), QStringLiteral("library"));
}

void CtlIncompleteTest::warningsAfterDiscoveryAreShown()
{
    const QString base = QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo");
    wallWith(QStringLiteral("odd.json"), 1, QStringLiteral("faults"),
             QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("wrongType")},
                                    {QStringLiteral("key"), QStringLiteral("functionTable")},
                                    {QStringLiteral("operation"), base}}});
    const Run run = m_program.json("--wall odd.json support main");
    const QString place = base + QStringLiteral(": device B: reply[0][\"functionTable\"]");
    QVERIFY2(run.exit == 0 && run.error.contains("correctionctl: warning: " + place.toUtf8()), run.all());
    const QJsonArray warnings = run.document().value(QStringLiteral("warnings")).toArray();
    QCOMPARE(warnings.size(), 1);
    QVERIFY(warnings.at(0).toObject().value(QStringLiteral("message")).toString().startsWith(place));

    // Not without end.
    QJsonArray devices;
    for (int i = 1; i <= 18; ++i) {
        const QJsonObject part{
            {QStringLiteral("id"), QString::number(i)},
            {QStringLiteral("outputId"), QStringLiteral("1")},
            {QStringLiteral("position"), QJsonObject{{QStringLiteral("x"), 8 * i}, {QStringLiteral("y"), 0}}},
            {QStringLiteral("size"), QJsonObject{{QStringLiteral("width"), 8}, {QStringLiteral("height"), 8}}}};
        const QJsonObject subScreen{{QStringLiteral("cabinets"), QJsonArray{part}}};
        devices.append(QJsonObject{
            {QStringLiteral("key"), QStringLiteral("D%1").arg(i)},
            {QStringLiteral("faults"), QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("wrongType")},
                                                              {QStringLiteral("key"), QStringLiteral("functionTable")},
                                                              {QStringLiteral("operation"), base}}}},
            {QStringLiteral("screens"), QJsonArray{QJsonObject{{QStringLiteral("id"), QStringLiteral("main")},
                                                               {QStringLiteral("name"), QStringLiteral("Main")},
                                                               {QStringLiteral("subScreens"), QJsonArray{subScreen}}}}}});
    }
    const QJsonObject wall{{QStringLiteral("format"), QStringLiteral("led-wall")},
                           {QStringLiteral("version"), 1},
                           {QStringLiteral("devices"), devices}};
    QVERIFY(m_program.write(QStringLiteral("many.json"), QJsonDocument(wall).toJson()));
    const Run many = m_program.run("--wall many.json support main");
    QVERIFY2(many.exit == 0, many.all());
    QCOMPARE(many.error.count("correctionctl: warning: CabinetInfoOperator::getCabinetsBaseInfo: device D"), 16);
    QVERIFY2(many.error.contains("correctionctl: warning: 2 more; --verbose shows them"), many.all());
}

void CtlIncompleteTest::whatWasDoneIsListed_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QJsonArray>("requests");
    const char *const reason = "fault: no answer";
    const auto row = [reason](const char *arguments, const char *operation) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments)
                                 << QJsonArray{outcome("A", operation, 1, 0, ""), outcome("B", operation, 0, 1, reason)};
    };
    row("save main", "Correctionop::saveCabinetsCoeffcient");
    row("clear main", "Correctionop::clearCabinetsUserCoefficient");
    row("clear main --type multilayer", "Correctionop::clearCabinetsMultilayerCoefficient");
    row("brightness main 5", "ScreenInfo::setBrightness");
    QTest::newRow("restore") << QStringLiteral("restore main.snapshot")
                             << QJsonArray{outcome("A", "Correctionop::uploadCoefficient", 4, 0, ""),
                                           outcome("B", "Correctionop::uploadCoefficient", 0, 1, reason)};
}

void CtlIncompleteTest::whatWasDoneIsListed()
{
    QFETCH(QString, arguments);
    QFETCH(QJsonArray, requests);
    const Run run = m_program.json(words("--wall refuses.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 21, run.all());
    QCOMPARE(run.data().value(QStringLiteral("requests")).toArray(), requests);
    for (const QJsonValue &value : qAsConst(requests)) {
        const QJsonObject entry = value.toObject();
        const QString line =
            QStringLiteral("  device %1: %2: %3 carried out, %4 refused\n")
                .arg(entry.value(QStringLiteral("device")).toString(), entry.value(QStringLiteral("operation")).toString())
                .arg(entry.value(QStringLiteral("done")).toInt())
                .arg(entry.value(QStringLiteral("refused")).toInt());
        QVERIFY2(run.error.contains(line.toUtf8()), run.all());
    }
}

void CtlIncompleteTest::settingsThatWereMadeAreListed()
{
    wallWith(QStringLiteral("noabl.json"), 1, QStringLiteral("faults"),
             QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("noAnswer")},
                                    {QStringLiteral("operation"), QStringLiteral("Correctionop::setScreenABLEnable")}}});
    const Run run = m_program.json("--wall noabl.json set main effect=2 abl=on brightness=5");
    QVERIFY2(run.exit == 21, run.all());
    const QJsonArray settings = run.data().value(QStringLiteral("settings")).toArray();
    QCOMPARE(settings.size(), 1);
    QCOMPARE(settings.at(0).toObject().value(QStringLiteral("name")).toString(), QStringLiteral("effect"));
    QVERIFY2(run.error.contains("(set before it: effect)"), run.all());
}

void CtlIncompleteTest::theReasonOfAFailedSaveIsShown()
{
    QVERIFY(m_program.run("--wall small.json wall create wall").exit == 0);
    QByteArray noise = m_program.content(QStringLiteral("main.npy"));
    QRandomGenerator random(1);
    for (int i = noise.size() - 64 * 16 * 18; i < noise.size(); ++i)
        noise[i] = char(random.bounded(256));
    QVERIFY(m_program.write(QStringLiteral("noise.npy"), noise));
    const Run run = limited(QStringLiteral("--wall wall write main noise.npy --save"), 4);
    QVERIFY2(run.exit == 21, run.all());
    QVERIFY2(run.error.contains("everything is written, but saving failed: device A refused "
                                "Correctionop::saveCabinetsCoeffcient (not saved: ")
                 && run.error.contains("cannot be written: File too large)"),
             run.all());
    QVERIFY2(!run.error.contains("power and network"), run.all());
    QVERIFY2(run.error.contains("  device B: Correctionop::uploadCoefficientAsync: 1 carried out, 0 refused\n"), run.all());
}

void CtlIncompleteTest::aRecordingOnAFullDiskFails()
{
    const Run run = limited(QStringLiteral("--wall small.json record full.jsonl show main"), 1);
    QVERIFY2(run.exit == 73, run.all());
    QVERIFY2(run.error.contains("full.jsonl: call ") && run.error.contains("are missing: File too large"), run.all());
}

void CtlIncompleteTest::verifyFindsAChange()
{
    QVERIFY(m_program.run("--wall small.json wall create verified").exit == 0);
    QCOMPARE(m_program.run("--wall verified verify main.snapshot").exit, 0);
    QVERIFY(m_program.write(QStringLiteral("one.json"), "[1, 2, 3, 4, 5, 6, 7, 8, 9]"));
    QVERIFY(m_program.run("--wall verified write main one.json --rect 20,10,1x1 --save").exit == 0);
    const Run run = m_program.json("--wall verified verify main.snapshot");
    QVERIFY2(run.exit == 20 && run.error.contains("main.snapshot: 1 of 8 cabinets differ: 4"), run.all());
    QCOMPARE(run.data().value(QStringLiteral("differing")).toArray(), QJsonArray{QStringLiteral("4")});
}

void CtlIncompleteTest::incompleteRepliesAreNotTakenForValues_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exit");
    QTest::addColumn<QString>("lacks");
    const QString load = QStringLiteral("Correctionop::loadCoefficient");
    const auto fault = [](const char *type, const QString &operation, const char *key = nullptr) {
        QJsonObject object{{QStringLiteral("type"), QLatin1String(type)}, {QStringLiteral("operation"), operation}};
        if (key)
            object.insert(QStringLiteral("key"), QLatin1String(key));
        return object;
    };
    const auto row = [](const QJsonObject &wrong, const char *arguments, int exit, const char *lacks) {
        QTest::addRow("%s, %s", qPrintable(wrong.value(QStringLiteral("type")).toString()), arguments)
            << wrong << QString::fromLatin1(arguments) << exit << QString::fromLatin1(lacks);
    };
    const char *const none = "whole blocks for 0 of the cabinet's 128 pixels";
    // Of three blocks, of three, three and two rows, the first is left.
    const char *const first = "whole blocks for 48 of the cabinet's 128 pixels";
    row(fault("truncateReply", load), "read main x.npy", 3, first);
    row(fault("truncateReply", load), "read main x.csv", 3, first);
    row(fault("truncateReply", load), "read main x.npy --direct", 3, first);
    row(fault("truncateReply", load), "snapshot main x.snapshot", 21, first);
    row(fault("truncateReply", load), "verify main.snapshot", 3, first);
    row(fault("truncateReply", load), "restore main.snapshot", 3, first);
    row(fault("truncateReply", load), "diff main.npy --screen main", 3, first);
    row(fault("truncateReply", load), "cabinet 5 read x.npy", 3, first);
    row(fault("truncateReply", load), "doctor", 3, first);
    row(fault("missingKey", load, "area.size.width"), "read main x.npy", 3, none);
    row(fault("wrongType", load, "area.size.height"), "read main x.npy", 3, none);
    row(fault("dirtyBase64", load), "read main x.npy", 3, none);
    for (const char *type : {"missingKey", "wrongType"}) {
        row(fault(type, QStringLiteral("CabinetInfoOperator::getConfigFile")), "cabinet 5 config get x.bin", 3,
            "it has no \"config\"");
        row(fault(type, QStringLiteral("Correctionop::getCabinetEffectMode")), "cabinet 5 effect", 3, "it has no \"mode\"");
        row(fault(type, QStringLiteral("Correctionop::getCabinetEffectMode")), "effect main --device B", 3,
            "it has no \"mode\"");
    }
}

void CtlIncompleteTest::incompleteRepliesAreNotTakenForValues()
{
    QFETCH(QJsonObject, fault);
    QFETCH(QString, arguments);
    QFETCH(int, exit);
    QFETCH(QString, lacks);
    wallWith(QStringLiteral("bad.json"), 1, QStringLiteral("faults"), QJsonArray{fault});
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("bad.json"))).object();
    wall.insert(QStringLiteral("replyBlockHeight"), 3);
    QVERIFY(m_program.write(QStringLiteral("bad.json"), QJsonDocument(wall).toJson()));
    const QStringList before = m_program.files();
    const Run run = m_program.run(words("--wall bad.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == exit, run.all());
    const QString said = arguments == QLatin1String("doctor")
                             ? QStringLiteral(" -- fault: truncated reply; incomplete reply: ") + lacks
                             : QStringLiteral("device B sent an incomplete reply to %1: %2")
                                   .arg(fault.value(QStringLiteral("operation")).toString(), lacks);
    QVERIFY2((run.out + run.error).contains(said.toUtf8()), run.all());
    QCOMPARE(m_program.files(), before);
}

void CtlIncompleteTest::settingsOfIncompleteRepliesAreUnknown()
{
    wallWith(QStringLiteral("nomode.json"), 1, QStringLiteral("faults"),
             QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("missingKey")},
                                    {QStringLiteral("operation"), QStringLiteral("Correctionop::getCabinetEffectMode")}}});
    const Run show = m_program.json("--wall nomode.json show main --device B");
    QVERIFY2(show.exit == 0 && !show.data().contains(QStringLiteral("effect")), show.all());
    const Run snapshot = m_program.json("--wall nomode.json snapshot main nomode.snapshot");
    QVERIFY2(snapshot.exit == 0, snapshot.all());
    QVERIFY2(snapshot.error.contains("warning: device B: its effect mode cannot be read: enInvalidParameter (3)"),
             snapshot.all());
    QCOMPARE(snapshot.data().value(QStringLiteral("settings")).toArray(), QJsonArray{QStringLiteral("A")});
}

void CtlIncompleteTest::textsThatEndEarlyAreIncomplete()
{
    const Run recorded = m_program.run("--wall small.json record whole.jsonl read main whole.npy");
    QVERIFY2(recorded.exit == 0, recorded.all());
    QString journal = QString::fromUtf8(m_program.content(QStringLiteral("whole.jsonl")));
    journal.replace(QRegularExpression(QStringLiteral("(\"coefficients\": \"[^\"]*)[^\"]{24}\"")),
                    QStringLiteral("\\1\"")); // a pixel
    QVERIFY(m_program.write(QStringLiteral("cut.jsonl"), journal.toUtf8()));
    const Run run = m_program.run("replay cut.jsonl read main cut.npy");
    QVERIFY2(run.exit == 3, run.all());
    // Ends with the first cabinet, and names that one.
    QVERIFY2(run.error.contains(
                 "reading cabinet 1 of device A: device A sent an incomplete reply to Correctionop::loadCoefficient: "
                 "whole blocks for 0 of the cabinet's 128 pixels"),
             run.all());
    QVERIFY(!m_program.files().contains(QStringLiteral("cut.npy")));
}

void CtlIncompleteTest::blocksThatCoverACabinetAreComplete()
{
    for (const int height : {0, 1, 3, 5, 8}) {
        wallWith(QStringLiteral("bands.json"), 1, QStringLiteral("label"), QStringLiteral("Bands"));
        QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("bands.json"))).object();
        wall.insert(QStringLiteral("replyBlockHeight"), height);
        QVERIFY(m_program.write(QStringLiteral("bands.json"), QJsonDocument(wall).toJson()));
        const Run run = m_program.run("--wall bands.json read main bands.npy");
        QVERIFY2(run.exit == 0, run.all());
        QCOMPARE(m_program.content(QStringLiteral("bands.npy")), m_program.content(QStringLiteral("main.npy")));
    }
}

void CtlIncompleteTest::settingsAreNotTheCauseOfALaterFailure()
{
    QJsonArray faults;
    for (const char *operation : {"ScreenInfo::getGammaAllList", "Correctionop::loadCoefficient"})
        faults.append(QJsonObject{{QStringLiteral("type"), QStringLiteral("noAnswer")},
                                  {QStringLiteral("operation"), QLatin1String(operation)}});
    wallWith(QStringLiteral("mute.json"), 1, QStringLiteral("faults"), faults);
    const Run run = m_program.run("--wall mute.json snapshot main x.snapshot");
    QVERIFY2(run.exit == 21 && run.error.contains("device B refused Correctionop::loadCoefficient"), run.all());
    QVERIFY2(run.error.contains("warning: device B: its gamma tables cannot be read: enTimeout (5)"), run.all());
    QVERIFY2(!run.error.contains("the library logged: getGammaTable"), run.all());
}

void CtlIncompleteTest::cabinetsThatAreLeftOutAreNamed()
{
    const auto warningsWith = [this](const char *operation) {
        wallWith(QStringLiteral("short.json"), 1, QStringLiteral("faults"),
                 QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("truncateReply")},
                                        {QStringLiteral("operation"), QLatin1String(operation)}}});
        const Run run = m_program.json("--wall short.json screens");
        return qMakePair(run.exit, run.document().value(QStringLiteral("warnings")).toArray());
    };
    const auto expected = [](const char *message) {
        return qMakePair(0, QJsonArray{QJsonObject{{QStringLiteral("kind"), QStringLiteral("missingCabinet")},
                                                   {QStringLiteral("message"), QLatin1String(message)}}});
    };
    QCOMPARE(warningsWith("CabinetInfoOperator::getCabAllFlags"),
             expected("left out: cabinets 7, 8 of device B, which the device places on a screen, but does not describe "
                      "completely"));
    QCOMPARE(warningsWith("ScreenInfo::getScreens"),
             expected("left out: cabinets 5, 6, 7, 8 of device B, which the device lists, but places on no screen"));

    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("small.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    const QJsonObject screen{{QStringLiteral("id"), QStringLiteral("main")},
                             {QStringLiteral("name"), QStringLiteral("Main wall")},
                             {QStringLiteral("subScreens"), QJsonArray()}};
    devices.append(
        QJsonObject{{QStringLiteral("key"), QStringLiteral("spare")}, {QStringLiteral("screens"), QJsonArray{screen}}});
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(QStringLiteral("spare.json"), QJsonDocument(wall).toJson()));
    const Run spare = m_program.run("--wall spare.json write main main.npy");
    QVERIFY2(spare.exit == 0 && spare.error == "correctionctl: warning: device spare lists no cabinets and places none\n",
             spare.all());
}

void CtlIncompleteTest::aScreenWithoutSomeOfItsCabinetsIsRefused_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exit");
    for (const char *arguments : {"write main main.npy", "snapshot main x.snapshot", "clear main", "save main"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << 21;
    QTest::newRow("doctor") << QStringLiteral("doctor") << 21;
    for (const char *arguments : {"write main half.npy --device A", "save main --device B", "brightness main 5"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << 0;
}

void CtlIncompleteTest::aScreenWithoutSomeOfItsCabinetsIsRefused()
{
    QFETCH(QString, arguments);
    QFETCH(int, exit);
    wallWith(QStringLiteral("short.json"), 1, QStringLiteral("faults"),
             QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("truncateReply")},
                                    {QStringLiteral("operation"), QStringLiteral("CabinetInfoOperator::getCabAllFlags")}}});
    const Run run = m_program.run(words("--wall short.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == exit, run.all());
    const QByteArray said =
        arguments == QLatin1String("doctor")
            ? "BAD  left out: cabinets 7, 8 of device B: incomplete (21)\n"
            : "screen main: cabinets 7, 8 of device B are missing and may be a part of it. Nothing was sent";
    QCOMPARE((run.out + run.error).contains(said), exit != 0);
}

QTEST_GUILESS_MAIN(CtlIncompleteTest)
#include "tst_ctlincomplete.moc"
