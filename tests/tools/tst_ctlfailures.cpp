#include "Program.h"

#include <QtCore/QRandomGenerator>
#include <QtGui/QImage>
#include <QtGui/QImageReader>
#include <QtTest/QtTest>

#include <csignal>
#include <functional>
#include <sys/stat.h>

using namespace TestSupport;

namespace {

QJsonObject fault(const char *type, const char *operation)
{
    return {{QStringLiteral("type"), QLatin1String(type)}, {QStringLiteral("operation"), QLatin1String(operation)}};
}

} // namespace

/// Every exit code, and bad input: one line with the name and the reason, and no partly written file.
class CtlFailuresTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void everyCodeIsReached_data();
    void everyCodeIsReached();
    void everyCodeIsExplained();
    void settingsThatCannotBeReadLeaveTheOthers();
    void anUnreadableConfigurationIsNamed();
    void listsOfNumbersAreCompared();
    void aNameOfTwoScreensNamesNone();
    void manyRefusalsAreCutShort();
    void photosThatCannotBeMeasuredAreRefused();
    void wrongCommandLinesTouchNoDevice_data();
    void wrongCommandLinesTouchNoDevice();
    void damagedFilesAreRefused_data();
    void damagedFilesAreRefused();
    void damagedSnapshotsAreRefused_data();
    void damagedSnapshotsAreRefused();
    void aSnapshotOfAnotherWallIsRefused();
    void aFullDiskIsTold_data();
    void aFullDiskIsTold();
    void onlyOrdinaryFilesAreReplaced_data();
    void onlyOrdinaryFilesAreReplaced();
    void aFullStandardOutputIsTold();
    void aWatchedDirectoryCanBeWritten();
    void failedReadsLeaveTheOldFile();
    void signalsEndTheWorkBetweenTwoRequests_data();
    void signalsEndTheWorkBetweenTwoRequests();
    void aClosedTerminalDoesNotEndWhatNohupStarted();
    void aFileThatEndsTooEarlyNamesTheRowsBefore();
    void theProgressBarGoesBeforeTheResult_data();
    void theProgressBarGoesBeforeTheResult();

private:
    /// small.json with faults of a device.
    void wallWith(const QString &name, int device, const QJsonArray &faults);

    Program m_program;
    QMap<int, QString> m_reached; ///< Exit codes that were seen.
};

void CtlFailuresTest::wallWith(const QString &name, int device, const QJsonArray &faults)
{
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("small.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    QJsonObject entry = devices.at(device).toObject();
    entry.insert(QStringLiteral("faults"), faults);
    devices.replace(device, entry);
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(name, QJsonDocument(wall).toJson()));
}

void CtlFailuresTest::initTestCase()
{
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json"),
                        m_program.path(QStringLiteral("small.json"))));
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/same-id.json"),
                        m_program.path(QStringLiteral("same-id.json"))));
    for (const char *line : {"--wall small.json read main main.npy", "--wall small.json read sign sign.npy",
                             "--wall small.json read main main.json", "--wall small.json read main main.png",
                             "--wall small.json snapshot main main.snapshot"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0, run.all());
    }
    wallWith(QStringLiteral("refuses.json"), 1,
             {fault("noAnswer", "ScreenInfo::setBrightness"),
              fault("noAnswer", "CabinetInfoOperator::setCabSingleBrightness"),
              fault("noAnswer", "Correctionop::uploadCoefficientAsync"),
              fault("noAnswer", "Correctionop::uploadCoefficient"), fault("noAnswer", "Correctionop::loadCoefficient"),
              fault("noAnswer", "Correctionop::clearCabinetsMultilayerCoefficient")});
    wallWith(QStringLiteral("refuses-saving.json"), 1, {fault("noAnswer", "Correctionop::saveCabinetsCoeffcient")});
    wallWith(QStringLiteral("empty-reply.json"), 0, {fault("truncateReply", "CabinetInfoOperator::getCabinetsBaseInfo")});
    wallWith(QStringLiteral("unlisted.json"), 0, {fault("truncateReply", "CabinetInfoOperator::getAllCabinetsInfo")});
    QVERIFY(m_program.write(QStringLiteral("nothing.json"), "{\"format\": \"led-wall\", \"version\": 1, \"devices\": []}"));
    QVERIFY(
        m_program.write(QStringLiteral("bad-wall.json"), "{\"format\": \"led-wall\", \"version\": 1, \"devices\": [{}]}"));
    QVERIFY(m_program.write(QStringLiteral("gamma.json"), "{\"red\": [1], \"pink\": [2]}"));
    QVERIFY(m_program.write(QStringLiteral("twice.json"), "{\"red\": [1], \"red\": [2]}"));
    QVERIFY(m_program.run("--wall small.json record calls.jsonl effect main 3").exit == 0);
    QByteArray percent = m_program.content(QStringLiteral("small.json"));
    wallWith(QStringLiteral("refuses-reads.json"), 2,
             {fault("noAnswer", "CabinetInfoOperator::getCabinetBrightnessRange"),
              fault("noAnswer", "Correctionop::getCabinetEffectMode"), fault("noAnswer", "ScreenInfo::getGammaAllList"),
              fault("noAnswer", "ScreenInfo::setCheckerBoardImage(responseHeader)")});
    QVERIFY(m_program.write(QStringLiteral("no-gamma.json"), "{}"));
    QVERIFY(m_program.write(QStringLiteral("empty-gamma.json"), "{\"red\": [1], \"blue\": []}"));
    QVERIFY(m_program.write(QStringLiteral("numbers.json"), "[1,2,3]"));
    QVERIFY(m_program.folder().mkdir(QStringLiteral("shots")));
    const QByteArray plan = "{\"format\": \"correction-plan\", \"version\": 1, \"interval\": 0, \"x\": 2147483647, "
                            "\"y\": 0, \"width\": 1, \"height\": 1, \"shots\": []}";
    QVERIFY(m_program.write(QStringLiteral("shots/plan.json"), plan));
    QVERIFY(m_program.folder().mkdir(QStringLiteral("texts")));
    QVERIFY(m_program.write(QStringLiteral("texts/plan.json"),
                            QByteArray(plan).replace("\"shots\"", "\"homography\": [\"1\"], \"shots\"")));
    QVERIFY(m_program.write(QStringLiteral("percent.json"), percent.replace("\"main\"", "\"50%1%2\"")));
}

void CtlFailuresTest::everyCodeIsReached_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exit");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *name, int exit, const char *arguments, const char *said) {
        QTest::newRow(name) << QString::fromLatin1(arguments) << exit << QString::fromLatin1(said);
    };
    row("a grid that does not fit into the cabinet", 1, "--wall small.json cabinet 1 write main.npy",
        "main.npy: 64x16 pixels at 0,0 do not fit into its 16x8: enArgumentMismatch (1)");
    row("a rectangle outside the screen", 2, "--wall small.json read main x.npy --rect 60,0,5x1",
        "rectangle 60,0,5x1 is outside screen main, which is 0,0,64x16: enOutOfRange (2)");
    row("a place marker in a file's name", 4, "--wall small.json cabinet 1 config put %1%2%3",
        "sending the configuration %1%2%3: enFileError (4)");
    row("a place marker in a screen's name", 2, "--wall percent.json brightness 50%1%2 10001",
        "screen 50%1%2: brightness 10001 is outside 0 to 10000: enOutOfRange (2)");
    row("a brightness out of range", 2, "--wall small.json brightness main 10001", "brightness 10001 is outside 0 to 10000");
    row("a cabinet's brightness out of range", 2, "--wall small.json cabinet 1 brightness 10001",
        "brightness 10001 is outside 0 to 10000");
    row("an empty reply", 3, "--wall empty-reply.json cabinet 1 support", "enInvalidParameter (3)");
    row("a configuration file that is not there", 4, "--wall small.json cabinet 1 config put nosuch.cfg",
        "sending the configuration nosuch.cfg: enFileError (4)");
    row("the only device that is addressed refuses", 5, "--wall refuses.json brightness main 5 --device B",
        "device B refused ScreenInfo::setBrightness (fault: no answer): enTimeout (5)");
    row("a device that refuses a cabinet's setting, which the library answers with success", 5,
        "--wall refuses.json cabinet 5 brightness 5",
        "device B refused CabinetInfoOperator::setCabSingleBrightness (fault: no answer): enTimeout (5)");
    row("a device that refuses a read", 5, "--wall refuses.json read main x.npy",
        "reading cabinet 5 of device B: device B refused Correctionop::loadCoefficient (fault: no answer): enTimeout (5)");
    row("a device that refuses a setting", 21, "--wall refuses.json brightness main 5",
        "the library logged: setBrightness timeout. device:B");
    row("a device that refuses what the library answers with success", 21,
        "--wall refuses.json clear main --type multilayer",
        "screen main: clearing multilayer coefficients: device B refused Correctionop::clearCabinetsMultilayerCoefficient");
    row("a device that refuses an upload", 21, "--wall refuses.json write main main.npy",
        "writing 0,0,64x16 (before it, nothing was written): device B refused Correctionop::uploadCoefficientAsync");
    row("a device that refuses a restore", 21, "--wall refuses.json restore main.snapshot",
        "cabinet 5 of device B (before it, 4 of 8 cabinets are written, nothing is saved)");
    row("a device that refuses to save a restore", 21, "--wall refuses-saving.json restore main.snapshot --save",
        "saving 4 cabinets of device B (before it, 8 of 8 cabinets are written, 4 saved)");
    row("a device that refuses a snapshot", 21, "--wall refuses.json snapshot main x.snapshot",
        "reading cabinet 5 of device B: device B refused Correctionop::loadCoefficient (fault: no answer), no snapshot "
        "written");
    row("fewer devices than expected", 21, "--wall small.json clear main --expect devices=4",
        "the wall has 3 devices, expected are 4. Nothing was sent");
    row("more cabinets than expected", 21, "--wall small.json screens --expect devices=3,cabinets=8",
        "the wall has 9 cabinets, expected are 8. Nothing was sent");
    row("a wall without devices", 6, "--wall nothing.json screens", "discovering the screens: enNoDevice (6)");
    row("a kind that cannot be applied", 7, "--wall small.json apply main --type chroma",
        "applying chroma coefficients: enNotSupported (7)");
    row("a cabinet that its device does not list", 8, "--wall unlisted.json screens", "enCabinetNotFound (8)");
    row("another conversation", 20, "replay calls.jsonl effect main 4", "differs from the recording");
    row("a recording that is none", 65, "replay main.npy screens", "main.npy: ");
    row("a recording that is not there", 66, "replay nosuch.jsonl screens", "nosuch.jsonl: No such file");
    row("a file that is not there", 66, "--wall small.json write main nosuch.npy", "nosuch.npy: No such file");
    row("a directory instead of a file", 66, "--wall small.json gamma main .", ".: is a directory");
    row("gamma of another colour", 65, "--wall small.json gamma main gamma.json",
        "gamma.json: unknown key \"pink\", known are red, green, blue");
    row("gamma with a colour twice", 65, "--wall small.json gamma main twice.json",
        "twice.json: 1: the key \"red\" is there twice");
    row("a cabinet of two devices", 67, "--wall same-id.json save main",
        "save: screen main: cabinet 4 is on device A and on device B; requests for it reach device A only");
    row("gamma without a colour", 65, "--wall small.json gamma main no-gamma.json",
        "no-gamma.json: expected an object with \"red\", \"green\" or \"blue\"");
    row("gamma without numbers", 65, "--wall small.json gamma main empty-gamma.json",
        "empty-gamma.json: blue: expected a list of numbers, got none");
    row("a snapshot that is a directory", 66, "--wall small.json restore shots", "shots: is a directory");
    row("a snapshot that is not there", 66, "--wall small.json restore nosuch.snapshot", "nosuch.snapshot: No such file");
    row("grids of two sizes", 65, "diff main.npy sign.npy", "main.npy has 64x16 pixels of 9 values, sign.npy has ");
    row("a list with too few numbers", 65, "diff numbers.json main.npy", "numbers.json: 3 numbers; the other side has 9216");
    row("a list with too few numbers on the other side", 65, "diff main.npy numbers.json",
        "numbers.json: 3 numbers; the other side has 9216");
    row("lists of different lengths", 65, "diff numbers.json main.json", "main.json: 9216 numbers; the other side has 3");
    row("a picture of differences that is not a .png", 64, "diff main.npy main.npy --picture x.csv",
        "--picture x.csv: expected a .png");
    row("a picture of the wall that is not a .png", 64, "--wall small.json wall render main x.csv",
        "x.csv: expected a .png");
    row("light that is not .npy", 64, "report main.csv", "main.csv: files of light end in .npy");
    row("a plan of a screen beyond the numbers", 65, "measure --from shots x.npy",
        "the screen ends beyond the greatest place");
    row("a plan with texts for numbers", 65, "measure --from texts x.npy", "plan.json: homography[0]: expected a number");
    row("photos where a file is", 73, "--wall small.json measure main x.npy --photos main.npy",
        "main.npy: the directory cannot be made");
    row("a camera before two screens", 64, "--wall small.json measure main+sign x.npy",
        "main+sign: a camera sees one screen at a time");
    row("an unknown screen", 68, "--wall small.json show nosuch", "screen \"nosuch\": unknown; the wall has main, sign");
    row("an unknown cabinet", 68, "--wall small.json cabinet 77 info", "cabinet \"77\": unknown");
    row("an unknown device", 68, "--wall small.json show main --device Z",
        "device \"Z\": unknown in screen main; it has A, B");
    row("a cabinet of another screen", 68, "--wall small.json save main --cabinet 9",
        "cabinet \"9\": unknown in screen main");
    row("an unknown module", 68, "--wall small.json cabinet 1 module flag 9=x", "module \"9\": unknown");
    row("an unknown wall", 69, "--wall nosuch screens", "nosuch");
    row("a wall file with several mistakes, one a line", 69, "--wall bad-wall.json screens",
        "bad-wall.json: devices[0].key: expected a text that is not empty, got nothing\n  bad-wall.json: "
        "devices[0].screens");
    row("a wall file with mistakes", 69, "--wall bad-wall.json screens", "bad-wall.json: devices[0]");
    row("a directory that cannot be written, found out before the devices are asked", 73,
        "--wall refuses.json read main nosuch/x.npy", "nosuch/x.npy: ");
    row("a configuration that cannot be put there", 73, "--wall small.json cabinet 1 config get nosuch/x.cfg",
        "nosuch/x.cfg: ");
}

void CtlFailuresTest::everyCodeIsReached()
{
    QFETCH(QString, arguments);
    QFETCH(int, exit);
    QFETCH(QString, said);
    const QStringList before = m_program.files();
    // QJsonDocument of Qt 5.15 loses the first of two lists with the same key; LeakSanitizer would report it.
    const QStringList environment = arguments.contains(QLatin1String("twice.json"))
                                        ? QStringList{QStringLiteral("ASAN_OPTIONS=detect_leaks=0")}
                                        : QStringList();
    const Run run = m_program.run(arguments.split(QLatin1Char(' ')), environment);
    QVERIFY2(run.exit == exit, run.all());
    QVERIFY2(run.error.contains(said.toUtf8()), run.all());
    QVERIFY2(run.error.startsWith("correctionctl: "), run.all());
    QCOMPARE(m_program.files(), before);
    const Run json = m_program.json(arguments.split(QLatin1Char(' ')));
    QCOMPARE(json.document().value(QStringLiteral("exit")).toInt(), exit);
    QVERIFY(!json.document().value(QStringLiteral("message")).toString().isEmpty());
    m_reached.insert(exit, arguments);
}

void CtlFailuresTest::settingsThatCannotBeReadLeaveTheOthers()
{
    const Run run = m_program.run("--wall refuses-reads.json show sign");
    QVERIFY2(run.exit == 0, run.all());
    const QString text = QString::fromUtf8(run.out).simplified();
    for (const char *line : {"brightness unknown: enTimeout (5)", "effect unknown: enTimeout (5)",
                             "gamma unknown: enTimeout (5)", "devices answer"})
        QVERIFY2(text.contains(QLatin1String(line)), run.all());
    const QJsonObject data = m_program.json("--wall refuses-reads.json show sign").data();
    QVERIFY(data.contains(QStringLiteral("cabinets")));
    for (const char *key : {"brightness", "effect", "gamma"})
        QVERIFY2(!data.contains(QLatin1String(key)), key);
    const Run kept = m_program.run("--wall refuses-reads.json snapshot sign sign.snapshot");
    QVERIFY2(kept.exit == 0, kept.all());
    for (const char *line : {"device C: its effect mode cannot be read: enTimeout (5)",
                             "device C: its gamma tables cannot be read: enTimeout (5)"})
        QVERIFY2(kept.error.contains(line), kept.all());
    // A brightness of an unknown range is left to the device.
    const Run set = m_program.run("--wall refuses-reads.json brightness sign 4000");
    QVERIFY2(set.exit == 0 && set.out.contains("4000"), set.all());
    QCOMPARE(m_program.run("--wall refuses-reads.json brightness sign 10001").exit, 5);
    const Run features = m_program.run("--wall refuses-reads.json features sign");
    QVERIFY2(features.exit == 0, features.all());
    QVERIFY2(QString::fromUtf8(features.out).simplified().contains(QStringLiteral("checkerboard on device C enTimeout")),
             features.all());
}

void CtlFailuresTest::anUnreadableConfigurationIsNamed()
{
    const Program program;
    const QString path = program.path(QStringLiteral("config/correctionctl.ini"));
    QVERIFY(QDir().mkpath(path));
    const Run run = program.run("--wall demo screens");
    QVERIFY2(run.exit == 66, run.all());
    QVERIFY2(run.error.contains(path.toUtf8() + ": is not a file; --no-config works without it"), run.all());
    QCOMPARE(program.run("--no-config --wall demo screens").exit, 0);

    // A link to a file that is not there, such as on a drive that is not mounted.
    QVERIFY(QDir().rmdir(path));
    QVERIFY(QFile::link(QStringLiteral("nowhere.ini"), path));
    const Run link = program.run("screens");
    QVERIFY2(link.exit == 66, link.all());
    QVERIFY2(link.error.contains(path.toUtf8() + ": No such file or directory; --no-config works without it"), link.all());
    // A folder that is a file holds no configuration.
    const QString folder = program.path(QStringLiteral("config"));
    QVERIFY(QDir(folder).removeRecursively() && program.write(QStringLiteral("config"), ""));
    QCOMPARE(program.run("--wall demo screens").exit, 0);
}

void CtlFailuresTest::listsOfNumbersAreCompared()
{
    const Run same = m_program.run("diff main.json main.json");
    QVERIFY2(same.exit == 0 && same.out.contains("0 of 1024 pixels differ"), same.all());
    const Run one = m_program.run("diff numbers.json numbers.json");
    QVERIFY2(one.exit == 0 && one.out.contains("0 of 3 pixels differ"), one.all());
}

void CtlFailuresTest::aNameOfTwoScreensNamesNone()
{
    QByteArray wall = m_program.content(QStringLiteral("small.json"));
    QVERIFY(
        m_program.write(QStringLiteral("same-name.json"), wall.replace("\"name\": \"Sign\"", "\"name\": \"Main wall\"")));
    const Run run = m_program.run(words("--wall same-name.json save") + QStringList{QStringLiteral("Main wall")});
    QVERIFY2(run.exit == 68, run.all());
    QVERIFY2(run.error.contains("screen \"Main wall\": 2 screens have this name; take one of the ids main, sign"),
             run.all());
}

void CtlFailuresTest::manyRefusalsAreCutShort()
{
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("refuses-reads.json"))).object();
    const QString text = QString::fromUtf8(
        QJsonDocument(wall.value(QStringLiteral("devices")).toArray().at(0).toObject()).toJson(QJsonDocument::Compact));
    QJsonArray devices;
    for (int i = 0; i < 17; ++i) {
        QString copy = text;
        copy.replace(QStringLiteral("\"key\":\"A\""), QStringLiteral("\"key\":\"D%1\"").arg(i));
        copy.replace(QStringLiteral("\"cabinetSize\":"), QStringLiteral("\"firstId\":%1,\"cabinetSize\":").arg(4 * i + 1));
        QJsonObject device = QJsonDocument::fromJson(copy.toUtf8()).object();
        QJsonArray screens = device.value(QStringLiteral("screens")).toArray();
        QJsonObject screen = screens.at(0).toObject();
        screen.insert(QStringLiteral("position"), QJsonObject{{QStringLiteral("x"), 32 * i}, {QStringLiteral("y"), 0}});
        screens.replace(0, screen);
        device.insert(QStringLiteral("screens"), screens);
        device.insert(QStringLiteral("faults"),
                      QJsonArray{fault("noAnswer", "Correctionop::clearCabinetsMultilayerCoefficient")});
        devices.append(device);
    }
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(QStringLiteral("many.json"), QJsonDocument(wall).toJson()));
    const Run run = m_program.run("--wall many.json clear main --type multilayer");
    QVERIFY2(run.exit == 5, run.all());
    QCOMPARE(run.error.count(" refused Correctionop::clearCabinetsMultilayerCoefficient (fault: no answer)"), 8);
    QVERIFY2(run.error.contains(", 9 more: enTimeout (5)"), run.all());
    QCOMPARE(run.error.count(": Correctionop::clearCabinetsMultilayerCoefficient: 0 carried out, 1 refused"), 16);
    QVERIFY2(run.error.contains("\n  and 1 more\n"), run.all());
    const Run json = m_program.json("--wall many.json clear main --type multilayer");
    QCOMPARE(json.data().value(QStringLiteral("requests")).toArray().size(), 17);
}

void CtlFailuresTest::photosThatCannotBeMeasuredAreRefused()
{
    const Run photos = m_program.run("--wall small.json measure main seen.npy --photos photos");
    QVERIFY2(photos.exit == 0, photos.all());
    const QDir folder(m_program.path(QStringLiteral("photos")));
    const QStringList names = folder.entryList({QStringLiteral("*.npy")});
    QCOMPARE(names.size(), 3);
    const auto change = [&](const std::function<void(QByteArray &)> &photo) {
        for (const QString &name : names) {
            QByteArray bytes = m_program.content(QStringLiteral("photos/") + name);
            photo(bytes);
            QVERIFY(m_program.write(QStringLiteral("photos/") + name, bytes));
        }
    };
    change([](QByteArray &photo) {
        const int header = photo.indexOf('\n') + 1;
        photo = photo.left(header) + QByteArray(photo.size() - header, '\0');
    });
    const Run dark = m_program.run("measure --from photos dark.npy");
    QVERIFY2(dark.exit == 65, dark.all());
    QVERIFY2(dark.error.contains("photos: no pixel of the photos shines in red, green and blue"), dark.all());
    change([](QByteArray &photo) { photo.replace("(16, 64, 3)", "(32, 32, 3)"); });
    const Run size = m_program.run("measure --from photos dark.npy");
    QVERIFY2(size.exit == 65, size.all());
    QVERIFY2(size.error.contains(": 32x32 photosites for 64x16 pixels: plan.json needs a \"homography\""), size.all());
    QVERIFY(!m_program.exists(QStringLiteral("dark.npy")));
}

/// Each code that the help lists is met in these tests, but for those of memory and of the program's own mistakes.
void CtlFailuresTest::everyCodeIsExplained()
{
    if (m_reached.size() < 10)
        QSKIP("the codes were not reached");
    const QString help = QString::fromUtf8(m_program.run("--help").out);
    const QStringList lines =
        help.section(QStringLiteral("exit codes:\n"), 1).section(QStringLiteral("\n\n"), 0, 0).split(QLatin1Char('\n'));
    QStringList missing;
    for (const QString &line : lines) {
        const int code = line.simplified().section(QLatin1Char(' '), 0, 0).toInt();
        const QList<int> elsewhere{0, 64, 70, 71, 130}; // success, other rows of this program, and what cannot be provoked
        if (!elsewhere.contains(code) && !m_reached.contains(code))
            missing.append(QString::number(code));
    }
    QVERIFY(lines.size() > 15);
    QCOMPARE(missing, QStringList());
}

void CtlFailuresTest::wrongCommandLinesTouchNoDevice_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *arguments, const char *said) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(said);
    };
    row("nosuch", "\"nosuch\" is not a verb or option");
    row("nosuch --help", "\"nosuch\" is not a verb or option");
    row("screnes", "\"screnes\" is not a verb or option; did you mean \"screens\"?");
    row("cabinet 1 confg", "\"confg\" is not a verb or option; did you mean \"config\"?");
    row("pattern nosuch --help", "\"nosuch\" is not a verb or option");
    row("--quiet", "a verb is missing");
    row("cabinet", "cabinet: CID is required");
    row("cabinet 1", "cabinet: a verb is missing");
    row("cabinet 1 nosuch", "cabinet: \"nosuch\" is not a verb or option");
    row("cabinet x info", "cabinet info: CID: expected a cabinet id, a decimal number, got \"x\"");
    row("screens more", "screens: The following argument was not expected: more");
    row("screens --dry-run", "screens: The following argument was not expected: --dry-run");
    row("read main", "read: FILE is required");
    row("read main x.npy --rect 1,2,3", "expected a rectangle X,Y,WxH in pixels, or all, got \"1,2,3\"");
    row("read main x.npy --rect 1,2,0x3", "expected a rectangle");
    row("read main x.npy --rect 2147483647,0,2x1", "expected a rectangle");
    row("read main x.npy --rect 99999999999,0,2x1", "expected a rectangle");
    row("screens --expect devices=x", "--expect: expected devices=N,cabinets=N, or one of them, got \"devices=x\"");
    row("screens --expect devices=1,devices=1", "expected devices=N,cabinets=N");
    row("screens --expect rows=1", "expected devices=N,cabinets=N");
    row("write main x.npy --type grey", "expected chroma or lowgray or multilayer, got \"grey\"");
    row("read main x.npy --type lowgray", "expected chroma, got \"lowgray\"");
    row("cabinet 1 read x.npy --type multilayer", "expected chroma, got \"multilayer\"");
    row("diff a.npy --screen main --type lowgray", "expected chroma, got \"lowgray\"");
    row("read main x.txt", "x.txt: files of coefficients end in .npy, .npz, .csv, .json, .png or .tif");
    row("read main x.png --channel 9", "--channel 9: chroma pixels have the values 0 to 8");
    row("cabinet 1 read x.png --channel 9", "--channel 9: chroma pixels have the values 0 to 8");
    row("brightness main x", "VALUE: expected a number from 0 to 2147483647, got \"x\"");
    row("brightness main -1", "brightness");
    row("brightness main 2147483648", "expected a number");
    row("abl main maybe", "expected on or off, got \"maybe\"");
    row("pattern mode main 256", "expected a number from 0 to 255");
    row("pattern checkerboard main --color white", "a checkerboard has at least two colours");
    row("pattern checkerboard main --color nocolour", "expected a colour");
    row("multilayer main 1 2 3", "multilayer: 3 layers given, a multilayer parameter set has 4");
    row("multilayer main 1:256 2 3 4", "bits from 0 to 255");
    row("set main brightness", "expected NAME=VALUE");
    row("set main effect=1 abl=on effect=2", "effect=2: effect is set twice");
    row("set main multilayer=1,2", "set: 2 layers given, a multilayer parameter set has 4");
    row("set main colour=red", "colour=red: the settings are");
    row("diff a.npy", "compare A with another file B or with --screen SCREEN");
    row("diff a.npy b.npy --rect all", "--rect and --type belong to --screen");
    row("wall create demo", "demo: a preset has this name, which --wall would take instead; take another name, or ./demo");
    row("write main x.npy --save=some", "--save: expected no value or all");
    row("write main x.npy --one-by-one=no", "one-by-one");
    row("screens --quiet=false", "quiet");
    row("record x.jsonl", "record: which verb?");
    row("record x.jsonl replay y.jsonl screens", "only one of record and replay at a time");
    row("--completion fish", "expected bash or zsh");
    row("group 1 2 save nowhere", "expected user or factory or module");
}

void CtlFailuresTest::wrongCommandLinesTouchNoDevice()
{
    QFETCH(QString, arguments);
    QFETCH(QString, said);
    const QStringList before = m_program.files();
    // The wall does not exist: a program that opened it would print that.
    QStringList line = arguments.split(QLatin1Char(' '));
    if (!arguments.startsWith(QLatin1String("--completion")))
        line = words("--wall nosuch") + line;
    const Run run = m_program.run(line);
    QVERIFY2(run.exit == 64, run.all());
    QVERIFY2(run.error.contains(said.toUtf8()), run.all());
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(m_program.files(), before);
}

void CtlFailuresTest::damagedFilesAreRefused_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *title, const char *name, const QByteArray &bytes, const char *said) {
        QTest::newRow(title) << QString::fromLatin1(name) << bytes << QString::fromLatin1(said);
    };
    const QByteArray npy = m_program.content(QStringLiteral("main.npy"));
    const QByteArray json = m_program.content(QStringLiteral("main.json"));
    const QByteArray png = m_program.content(QStringLiteral("main.png"));
    const auto changed = [](QByteArray bytes, const QByteArray &from, const QByteArray &to) {
        return bytes.replace(from, to);
    };
    row("an empty .npy", "x.npy", QByteArray(), "not a NumPy file");
    row("a .npy that is something else", "x.npy", json, "not a NumPy file");
    row("a .npy cut inside its magic", "x.npy", npy.left(7), "cut short inside its header");
    row("a .npy cut inside its length", "x.npy", npy.left(9), "cut short inside its header");
    row("a .npy cut inside its header", "x.npy", npy.left(60), "cut short inside its header");
    row("a .npy cut inside its values", "x.npy", npy.left(npy.size() - 1), "cut short: ");
    row("a .npy with something behind it", "x.npy", npy + '\0', "1 bytes too many");
    row("a .npy of another version", "x.npy", npy.left(6) + '\x04' + npy.mid(7), "format version 4.0");
    row("a .npy of fractions", "x.npy", changed(npy, "<u2", "<f2"), "values of the type '<f2'");
    row("a .npy of bytes", "x.npy", changed(npy, "<u2", "|u1").left(128 + 64 * 16 * 9), "values of 8 bits; chroma");
    row("a .npy of four extents", "x.npy", changed(npy, "(16, 64, 9), }", "(16, 8, 8, 9)}"), "shape (16, 8, 8, 9)");
    row("a .npy of no rows", "x.npy", changed(npy, "(16, 64, 9)", "(00, 64, 9)"), "shape (0, 64, 9)");
    row("a .npy of endless columns", "x.npy", changed(npy, "(16, 64, 9), }  ", "(16, 99999999, 9)}"),
        "shape (16, 99999999, 9); a grid has at most 2147483647 values");
    row("a .npy of huge columns", "x.npy", changed(npy, "(16, 64, 9), }     ", "(16,9999999999,9),}"),
        "shape (16, 9999999999, 9)");
    row("a .npy without a key", "x.npy", changed(npy, "'descr': '<u2', ", "                "), "not a dictionary");
    row("a .npy with a key twice", "x.npy", changed(npy, "'fortran_order': False", "'descr': '<u2'        "),
        "not a dictionary");
    row("a .npy of other pixels", "x.npy", m_program.content(QStringLiteral("sign.npy")),
        "16x16 pixels; the rectangle has 64x16");
    row("a .npy of 8 values a pixel", "x.npy", changed(npy, "64, 9", "72, 8"), "72x16 pixels");
    row("an empty .json", "x.json", QByteArray(), "cut short at byte 0");
    row("a .json of an object", "x.json", "{}", "not a JSON array of numbers");
    row("a .json cut short", "x.json", json.left(json.size() - 1), "cut short at byte");
    row("a .json with a number too large", "x.json", "[65536]", "expected a number from 0 to 65535 at byte");
    row("a .json with a negative number", "x.json", "[-1]", "expected a number from 0 to 65535 at byte 1");
    row("a .json with a fraction", "x.json", "[1.5]", "expected \",\" at byte 2");
    row("a .json with a leading zero", "x.json", "[01]", "expected a number from 0 to 65535 at byte");
    row("a .json with a comma too many", "x.json", "[1,]", "expected a number from 0 to 65535 at byte");
    row("a .json with something behind it", "x.json", json + " x", "something behind the array");
    row("a .json of too few numbers", "x.json", "[1, 2, 3]", "3 numbers; the rectangle of 64x16 pixels needs 9216");
    row("an empty .png", "x.png", QByteArray(), "not a PNG picture, or cut short");
    row("a .png cut short", "x.png", png.left(20), "not a PNG picture, or cut short");
    row("a .png that is something else", "x.png", npy, "not a PNG picture, or cut short");
    row("a .png with holes", "x.png", png.left(40) + png.right(12), "a damaged PNG picture");
    row("a .png of one channel", "x.png", png, "1 value for each pixel; chroma needs 9; a name with %");
    row("an empty .csv", "x.csv", QByteArray(), "no pixels");
    row("a .csv of a header", "x.csv", "x,y,0\n", "no pixels");
    row("a .csv without values", "x.csv", "0,0\n", "line 1: 2 fields; expected x, y and the values");
    row("a .csv of lines that differ", "x.csv", "0,0,1\n1,0,1,2\n", "line 2: 4 fields");
    row("a .csv with a negative number", "x.csv", "0,0,-1\n", "line 1: \"-1\"; expected a whole number from 0 to 65535");
    row("a .csv with a number too large", "x.csv", "x,y,0\n0,0,65536\n", "line 2: \"65536\"");
    row("a .csv with a fraction", "x.csv", "0,0,1.5\n", "line 1: \"1.5\"");
    row("a .csv with a field too little", "x.csv", "0,0,1\n1,0,\n", "line 2: \"\"");
    row("a .csv that leaves a pixel out", "x.csv", "0,0,1\n1,0,1\n0,1,1\n0,2,1\n",
        "line 4: pixel 0,2; expected 1,1: pixels come row by row");
    row("a .csv cut short", "x.csv", "0,0,1\n1,0,1\n0,1,1\n", "its last row has 1 pixels, the others 2");
    row("a .csv of other pixels", "x.csv", "x;y;0\n0;0;1\n1;0;1\n", "2x1 pixels; the rectangle has 64x16");
    if (QImageReader::supportedImageFormats().contains("tiff")) {
        row("an empty .tif", "x.tif", QByteArray(), "not a TIFF picture");
        row("a .tif cut short", "x.tif", QByteArray("II*\0\x08\0\0\0", 8), "a damaged TIFF picture");
    }
}

void CtlFailuresTest::damagedFilesAreRefused()
{
    QFETCH(QString, name);
    QFETCH(QByteArray, bytes);
    QFETCH(QString, said);
    QVERIFY(m_program.write(name, bytes));
    const QStringList before = m_program.files();
    const Run run = m_program.run(words("--wall small.json write main") + QStringList{name});
    QVERIFY2(run.exit == 65, run.all());
    QVERIFY2(run.error.contains(QByteArray("correctionctl: write: " + name.toUtf8() + ": "))
                 && run.error.contains(said.toUtf8()),
             run.all());
    if (!said.contains(QLatin1String("damaged"))) // the decoder adds a line of its own
        QCOMPARE(run.error.count('\n'), 2);       // the line, and what to do next
    QCOMPARE(m_program.files(), before);
    QVERIFY(QFile::remove(m_program.path(name)));
}

void CtlFailuresTest::damagedSnapshotsAreRefused_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("said");
    const QByteArray good = m_program.content(QStringLiteral("main.snapshot"));
    const int values = good.indexOf('\n', good.indexOf('\n') + 1) + 1;
    QByteArray flipped = good;
    flipped[values + 100] = char(flipped[values + 100] ^ 1);
    const auto row = [](const char *title, const QByteArray &bytes, const char *said) {
        QTest::newRow(title) << bytes << QString::fromLatin1(said);
    };
    row("empty", QByteArray(), "cut short");
    row("something else", m_program.content(QStringLiteral("main.npy")), "not a snapshot");
    row("one bit flipped", flipped, "cabinet 1: damaged, its checksum does not match");
    row("cut inside a cabinet", good.left(values + 100), "cut short");
    row("cut behind a cabinet", good.left(good.indexOf("{\"bytes\"", values)), "cut short");
    row("without its last line", good.left(good.indexOf("{\"end\"")), "cut short");
    row("with something behind it", good + '\n', "its last line is missing or damaged");
    row("another version", QByteArray(good).replace("\"version\":2", "\"version\":3"), "a snapshot of version 3");
    row("a cabinet of another size", QByteArray(good).replace("\"width\":16", "\"width\":15"), "its line is damaged");
    row("another cabinet", QByteArray(good).replace("\"cabinet\":\"2\"", "\"cabinet\":\"1\""),
        "damaged, the checksum of its lines does not match");
    row("a huge cabinet",
        QByteArray(good).replace("\"width\":16", "\"width\":1600000").replace("\"bytes\":2304", "\"bytes\":230400000"),
        "cut short");
}

void CtlFailuresTest::damagedSnapshotsAreRefused()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, said);
    QVERIFY(m_program.write(QStringLiteral("x.snapshot"), bytes));
    // Nothing is sent, not even the part before the damage.
    const Run run = m_program.json("--wall small.json restore x.snapshot --dry-run");
    QVERIFY2(run.exit == 65, run.all());
    QVERIFY2(run.error.contains("x.snapshot: ") && run.error.contains(said.toUtf8()), run.all());
    QVERIFY(!run.document().contains(QStringLiteral("dryRun")));
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("x.snapshot"))));
}

void CtlFailuresTest::aSnapshotOfAnotherWallIsRefused()
{
    const Run run = m_program.run("--wall demo restore main.snapshot");
    QVERIFY2(run.exit == 65, run.all());
    QVERIFY2(
        run.error.contains(
            "main.snapshot: cabinet 1 of device A with 16x8 pixels; the wall has cabinet 1 of device left with 128x128"),
        run.all());
}

void CtlFailuresTest::aFullDiskIsTold_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments :
         {"read main big.npy", "read main big.json", "read main big.png", "snapshot main big.snapshot", "doctor big.json",
          "wall describe big.json", "wall render main big.png"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlFailuresTest::aFullDiskIsTold()
{
    QFETCH(QString, arguments);
    // A limit on the size of files simulates a full disk: 512 bytes. The preview's values are random, to make it larger.
    // A build for coverage leaves its figures out: they would be cut short, too.
    const QString values = QStringLiteral("noise.npy");
    QVERIFY(m_program.run("--wall small.json wall create noise").exit == 0);
    QByteArray noise = m_program.content(QStringLiteral("main.npy"));
    QRandomGenerator random(1);
    for (int i = noise.size() - 64 * 16 * 18; i < noise.size(); ++i)
        noise[i] = char(random.bounded(256));
    QVERIFY(m_program.write(values, noise));
    QVERIFY(m_program.run("--wall noise write main noise.npy --save").exit == 0);
    const QStringList before = m_program.files();
    QProcess process;
    process.setWorkingDirectory(m_program.path(QString()));
    process.start(
        QStringLiteral("sh"),
        {QStringLiteral("-c"),
         QStringLiteral(
             "trap '' XFSZ; export GCOV_PREFIX=/dev/null GCOV_ERROR_FILE=/dev/null; ulimit -f 1; exec '%1' --wall noise %2")
             .arg(QStringLiteral(CORRECTIONCTL), arguments)});
    QVERIFY(process.waitForFinished(-1));
    const QByteArray error = process.readAllStandardError();
    QVERIFY2(process.exitCode() == 73, error);
    QVERIFY2(error.contains(arguments.section(QLatin1Char(' '), -1).toUtf8() + ": File too large"), error);
    QCOMPARE(m_program.files(), before);
    QVERIFY(QDir(m_program.path(QStringLiteral("noise"))).removeRecursively());
}

void CtlFailuresTest::onlyOrdinaryFilesAreReplaced_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : {"snapshot main pipe.npy", "read main pipe.npy", "doctor pipe.npy",
                                  "wall describe pipe.npy", "cabinet 1 config get pipe.npy"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlFailuresTest::onlyOrdinaryFilesAreReplaced()
{
    QFETCH(QString, arguments);
    // A pipe is an example of what is not a file: renaming would replace /dev/null by one.
    const QByteArray pipe = QFile::encodeName(m_program.path(QStringLiteral("pipe.npy")));
    QVERIFY(::mkfifo(pipe.constData(), 0600) == 0);
    const Run run = m_program.run(words("--wall small.json") + arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 73 && run.error.contains("pipe.npy: is not an ordinary file"), run.all());
    struct stat there = {};
    QVERIFY(::stat(pipe.constData(), &there) == 0 && S_ISFIFO(there.st_mode));
    QVERIFY(QFile::remove(QFile::decodeName(pipe)));
}

void CtlFailuresTest::aFullStandardOutputIsTold()
{
    for (const char *line : {"--wall small.json tree", "--help", "read --help", "--man", "--completion bash"}) {
        QProcess process;
        process.setStandardOutputFile(QStringLiteral("/dev/full"));
        m_program.start(process, words(line));
        QVERIFY(process.waitForFinished(-1));
        QCOMPARE(process.exitCode(), 73);
        QVERIFY2(process.readAllStandardError().contains("standard output does not take what is written"), line);
    }
}

void CtlFailuresTest::aWatchedDirectoryCanBeWritten()
{
    QVERIFY(m_program.run("--wall small.json wall create wall").exit == 0);
    const Run twice = m_program.run("--wall small.json wall create wall");
    QVERIFY2(twice.exit == 73, twice.all());
    QProcess watching;
    m_program.start(watching, words("--wall wall -v watch"));
    QVERIFY(watching.waitForStarted(-1));
    QByteArray printed;
    watching.setReadChannel(QProcess::StandardError);
    while (!printed.contains("getDeviceList") && watching.waitForReadyRead(-1))
        printed += watching.readAllStandardError();
    const Run written = m_program.run("--wall wall clear main"); // what only reads takes no lock
    QVERIFY2(written.exit == 0, written.all());
    watching.terminate();
    QVERIFY(watching.waitForFinished(-1));
}

void CtlFailuresTest::failedReadsLeaveTheOldFile()
{
    QVERIFY(m_program.write(QStringLiteral("old.npy"), "what was there"));
    QVERIFY(m_program.write(QStringLiteral("old.snapshot"), "what was there"));
    QCOMPARE(m_program.run("--wall refuses.json read main old.npy").exit, 5);
    QCOMPARE(m_program.run("--wall refuses.json snapshot main old.snapshot").exit, 21);
    QCOMPARE(m_program.content(QStringLiteral("old.npy")), QByteArray("what was there"));
    QCOMPARE(m_program.content(QStringLiteral("old.snapshot")), QByteArray("what was there"));
    QCOMPARE(m_program.files().filter(QStringLiteral("old.")).size(), 2);
}

void CtlFailuresTest::signalsEndTheWorkBetweenTwoRequests_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<int>("after");
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("begun");
    QTest::addColumn<QByteArray>("said");
    QTest::addColumn<int>("signal");
    QTest::newRow("a restore, in its second upload")
        << QStringLiteral("Correctionop::uploadCoefficient") << 1 << QStringLiteral("restore main.snapshot --no-verify")
        << QByteArray("CabinetV4::setCoefficients") << QByteArray("2 of 8 cabinets are written, nothing is saved") << SIGINT;
    QTest::newRow("a write, in its only upload, before it saves")
        << QStringLiteral("Correctionop::uploadCoefficientAsync") << 0 << QStringLiteral("write main main.npy --save")
        << QByteArray("setCoefficients thread id") << QByteArray("rows 0 to 15 are written, nothing is saved") << SIGHUP;
    QTest::newRow("discovery") << QStringLiteral("ScreenInfo::getScreens") << 0 << QStringLiteral("screens")
                               << QByteArray("start getScreens") << QByteArray("nothing was sent but queries") << SIGTERM;
    QTest::newRow("the doctor, in its second step")
        << QStringLiteral("ScreenInfo::getScreens") << 0 << QStringLiteral("doctor report.json")
        << QByteArray("start getDeviceList") << QByteArray("2 steps done, no report written") << SIGINT;
}

void CtlFailuresTest::signalsEndTheWorkBetweenTwoRequests()
{
    QFETCH(QString, operation);
    QFETCH(int, after);
    QFETCH(QString, arguments);
    QFETCH(QByteArray, begun);
    QFETCH(QByteArray, said);
    QFETCH(int, signal);
    // The request takes as long as it takes to press Ctrl-C; the log shows when it has begun.
    QJsonObject late = fault("lateAnswer", operation.toUtf8().constData());
    late.insert(QStringLiteral("after"), after);
    late.insert(QStringLiteral("milliseconds"), 2000);
    wallWith(QStringLiteral("late.json"), 0, {late});
    const QStringList before = m_program.files();
    std::signal(SIGHUP, SIG_DFL); // also where the tests themselves were started by nohup(1)
    QProcess process;
    m_program.start(process, words("--wall late.json -v") + arguments.split(QLatin1Char(' ')));
    process.setReadChannel(QProcess::StandardError);
    QByteArray printed;
    while (printed.count(begun) < after + 1 && process.waitForReadyRead(-1))
        printed += process.readAllStandardError();
    ::kill(pid_t(process.processId()), signal);
    QVERIFY(process.waitForFinished(-1));
    printed += process.readAllStandardError();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 130, printed);
    QVERIFY2(printed.contains("interrupted; " + said), printed);
    QVERIFY2(printed.contains("\ncorrectionctl: ends after the request under way; Ctrl-C again ends at once\n"), printed);
    QCOMPARE(m_program.files(), before);
}

void CtlFailuresTest::aClosedTerminalDoesNotEndWhatNohupStarted()
{
    QJsonObject late = fault("lateAnswer", "Correctionop::uploadCoefficientAsync");
    late.insert(QStringLiteral("milliseconds"), 2000);
    wallWith(QStringLiteral("late.json"), 0, {late});
    QProcess process;
    std::signal(SIGHUP, SIG_IGN); // as nohup(1): the program inherits it
    m_program.start(process, words("--wall late.json -v write main main.npy --save"));
    QVERIFY(process.waitForStarted(-1));
    std::signal(SIGHUP, SIG_DFL);
    process.setReadChannel(QProcess::StandardError);
    QByteArray printed;
    while (!printed.contains("setCoefficients thread id") && process.waitForReadyRead(-1))
        printed += process.readAllStandardError();
    ::kill(pid_t(process.processId()), SIGHUP);
    QVERIFY(process.waitForFinished(-1));
    printed += process.readAllStandardError();
    QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0, printed);
}

void CtlFailuresTest::aFileThatEndsTooEarlyNamesTheRowsBefore()
{
    QVERIFY(m_program.write(QStringLiteral("demo.json"), m_program.run("wall describe").out));
    QCOMPARE(m_program.run("read arena-main demo.npy").exit, 0);
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("demo.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    QJsonObject device = devices.first().toObject();
    QJsonObject late = fault("lateAnswer", "Correctionop::uploadCoefficientAsync");
    late.insert(QStringLiteral("milliseconds"), 2000);
    device.insert(QStringLiteral("faults"), QJsonArray{late});
    devices.replace(0, device);
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(QStringLiteral("demo.json"), QJsonDocument(wall).toJson()));
    // The file is cut while the first rows are on their way.
    QProcess process;
    m_program.start(process, words("--wall demo.json -v write arena-main demo.npy"));
    process.setReadChannel(QProcess::StandardError);
    QByteArray printed;
    while (!printed.contains("setCoefficients thread id") && process.waitForReadyRead(-1))
        printed += process.readAllStandardError();
    QVERIFY(QFile::resize(m_program.path(QStringLiteral("demo.npy")), 4096));
    QVERIFY(process.waitForFinished(-1));
    printed += process.readAllStandardError();
    QCOMPARE(process.exitCode(), 66);
    QVERIFY2(printed.contains("(before it, rows 0 to 127 are written, nothing is saved): demo.npy: was cut short"), printed);
}

/// script(1) runs the program on a terminal of its own.
void CtlFailuresTest::theProgressBarGoesBeforeTheResult_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("bar");
    QTest::newRow("read") << QStringLiteral("read main slow.npy") << QByteArray("\r\x1b[Kreading  ");
    QTest::newRow("snapshot") << QStringLiteral("snapshot main slow.snapshot") << QByteArray("\r\x1b[Ksnapshot  ");
    QTest::newRow("restore") << QStringLiteral("restore main.snapshot") << QByteArray("\r\x1b[Krestore  ");
}

void CtlFailuresTest::theProgressBarGoesBeforeTheResult()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, bar);
    if (QProcess::execute(QStringLiteral("script"), words("-qec true /dev/null")) != 0)
        QSKIP("no pseudo-terminals here", "");
    // Each of the first device's four cabinets takes long enough that the bar is there before the last.
    QJsonObject late = fault("lateAnswer", "Correctionop::loadCoefficient");
    late.insert(QStringLiteral("milliseconds"), 400);
    wallWith(QStringLiteral("creeping.json"), 0, {late});
    QProcess process;
    process.setWorkingDirectory(m_program.path(QString()));
    process.start(QStringLiteral("script"),
                  {QStringLiteral("-qec"),
                   QStringLiteral("'%1' --wall creeping.json %2").arg(QStringLiteral(CORRECTIONCTL), arguments),
                   QStringLiteral("/dev/null")});
    QVERIFY2(process.waitForFinished(-1), "script is not there");
    const QByteArray printed = process.readAllStandardOutput();
    QVERIFY2(process.exitCode() == 0, printed);
    QVERIFY2(printed.contains(bar), printed);
    QVERIFY2(printed.contains(" left\r\x1b[Kmain: "), printed);
}

QTEST_GUILESS_MAIN(CtlFailuresTest)
#include "tst_ctlfailures.moc"
