#include "Program.h"

#include <QtCore/QtEndian>
#include <QtGui/QImage>
#include <QtGui/QImageReader>
#include <QtTest/QtTest>

#include <algorithm>

using namespace TestSupport;

namespace {

/// The bytes of a `.npy` file of 9 values a pixel, made without the program.
QByteArray npy(int width, int height, quint16 (*value)(int x, int y, int k), const QByteArray &type = "<u2", int length = 9)
{
    QByteArray header = "{'descr': '" + type + "', 'fortran_order': False, 'shape': (" + QByteArray::number(height) + ", "
                        + QByteArray::number(width) + ", " + QByteArray::number(length) + "), }";
    header = header.leftJustified(117, ' ') + '\n';
    QByteArray bytes = QByteArray("\x93NUMPY\x01\x00", 8) + char(header.size()) + '\0' + header;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            for (int k = 0; k < length; ++k) {
                const quint16 number = value(x, y, k);
                bytes += char(number & 0xff);
                if (type == "<u2")
                    bytes += char(number >> 8);
            }
        }
    }
    return bytes;
}

quint16 slope(int x, int y, int k)
{
    return quint16(x * 1000 + y * 50 + k);
}

quint16 slopeMovedBy5And3(int x, int y, int k)
{
    return slope(x - 5, y - 3, k);
}

quint16 asDelivered(int, int, int k)
{
    return k % 4 == 0 ? 32768 : 0;
}

quint16 smallBytes(int x, int y, int k)
{
    return quint16((x + y + k) & 0xff);
}

/// The values behind the header.
QByteArray valuesOf(const QByteArray &file)
{
    return file.size() < 10 ? QByteArray() : file.mid(10 + quint8(file[8]) + 256 * quint8(file[9]));
}

} // namespace

/// Every verb as a user calls it; what it prints and writes.
class CtlVerbsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void everyVerbAnswers_data();
    void everyVerbAnswers();
    void everyDocumentFollowsTheSchema();
    void writingVerbsSendNothingInADryRun_data();
    void writingVerbsSendNothingInADryRun();
    void aDryRunIsSummedUp_data();
    void aDryRunIsSummedUp();
    void onlyTouchedCabinetsAreSaved_data();
    void onlyTouchedCabinetsAreSaved();
    void whatIsNotKeptIsTold_data();
    void whatIsNotKeptIsTold();

    void aReadGivesWhatWasWritten();
    void anyRectangleIsCutOutOfWholeCabinets();
    void aDirectReadServesACorner();
    void theJsonTextIsTheLibrarys();
    void aPreviewShowsOneChannel();
    void lowGrayAndMultilayerAreWritten();
    void joinedScreensActAsOne();
    void partsOfAScreenAreChosen();
    void gammaTablesTravelOneByOne();
    void cabinetGammaKeepsItsColours();
    void severalSettingsAreCheckedBeforeTheFirstIsSent();
    void aPartOfACabinetIsWritten();
    void theLastOfOverlappingCabinetsCounts();
    void pixelsWithoutACabinetAreTold();
    void configurationsTravel();
    void moduleFlashKeepsCoefficients();
    void groupsStoreAndShow();
    void everyFormKeepsTheValues_data();
    void everyFormKeepsTheValues();
    void pipesCarryFiles_data();
    void pipesCarryFiles();
    void picturesAreDrawn();
    void picturesHaveAScaleAndAWidth();
    void aDescriptionMakesAWall();
    void changesAreWatched();
    void aConversationIsReplayed();
    void optionsStandBeforeARecordingsFile();
    void theDoctorExplains();

    void namesOfDevicesDoNotControlTheTerminal();
    void settingsAreNumbersAndSwitches();
    void cabinetsAreSortedByNumber();
    void theEnvironmentNamesTheWall();
    void quietPrintsNothing();
    void verbosePrintsTheLibrarysLines();
    void colourStaysOffOutsideATerminal();
    void helpIsThereForEveryWord();

private:
    /// On the wall directory, whose saved state lasts.
    Run onWall(const QStringList &arguments) const
    {
        return m_program.run(QStringList{QStringLiteral("--wall"), QStringLiteral("wall")} + arguments);
    }
    Run onWall(const char *arguments) const { return onWall(words(arguments)); }
    void newWall();
    /// All values of a screen, through a file.
    QByteArray held(const char *screen = "main");

    Program m_program;
    Program m_documents; ///< What --json printed, for the schema.
    QStringList m_answered;
};

void CtlVerbsTest::initTestCase()
{
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json"),
                        m_program.path(QStringLiteral("small.json"))));
    QVERIFY(m_program.write(QStringLiteral("main.npy"), npy(64, 16, slope)));
    QVERIFY(m_program.write(QStringLiteral("one.npy"), npy(16, 8, slope)));
    QVERIFY(m_program.write(QStringLiteral("part.npy"), npy(30, 10, slopeMovedBy5And3)));
    QVERIFY(m_program.write(QStringLiteral("multi.npy"), npy(64, 16, smallBytes, "|u1", 16)));
    QVERIFY(m_program.write(QStringLiteral("gamma.json"), "{\"red\": [1, 2], \"green\": [3, 4], \"blue\": [5, 6]}"));
    QVERIFY(m_program.write(QStringLiteral("seven.cfg"), "brightness=7\n"));
    const Run recorded = m_program.run("--wall small.json record night.jsonl brightness main 4000");
    QVERIFY2(recorded.exit == 0, recorded.all());
    const Run kept = m_program.run("--wall small.json snapshot main main.snapshot");
    QVERIFY2(kept.exit == 0, kept.all());
    newWall();
}

void CtlVerbsTest::newWall()
{
    QDir(m_program.path(QStringLiteral("wall"))).removeRecursively();
    const Run made = m_program.run("--wall small.json wall create wall");
    QVERIFY2(made.exit == 0, made.all());
}

QByteArray CtlVerbsTest::held(const char *screen)
{
    const Run run = onWall(QStringList{QStringLiteral("read"), QLatin1String(screen), QStringLiteral("held.npy")});
    return run.exit == 0 ? valuesOf(m_program.content(QStringLiteral("held.npy"))) : run.all();
}

void CtlVerbsTest::everyVerbAnswers_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("printed"); // some of the text
    const auto row = [](const char *arguments, const char *printed) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(printed);
    };
    row("screens", "main  Main wall  0,0,64x16         2         8");
    row("tree", "    cabinet 6 48,0,16x8");
    row("show main", "brightness      not readable; range 0 to 10000, default 5000");
    row("show Sign", "rect            64,0,16x16");
    row("cabinets", " 9  sign    C       64,0,16x16");
    row("cabinets main", " 8  main    B       48,8,16x8");
    row("features main", "checkerBoardltFeature     yes");
    row("support main", "B       yes              4  yes             yes         no");
    row("read main all.npy", "main: 64x16 chroma pixels at 0,0 read into all.npy");
    row("read main part2.json --rect 1,1,3x3", "main: 3x3 chroma pixels at 1,1 read into part2.json");
    row("write main main.npy", "not kept: the virtual wall small.json forgets everything");
    row("write main main.npy --save", "written and saved from main.npy");
    row("write main main.npy --one-by-one", "written from main.npy");
    row("save main", "main: chroma coefficients saved");
    row("apply main", "main: lowgray coefficients applied");
    row("clear main --type multilayer", "main: multilayer coefficients cleared");
    row("solid main", "main: chroma coefficients fixed");
    row("diff main.npy main.npy", "0 of 1024 pixels differ");
    row("snapshot main again.snapshot", "8 cabinets kept in again.snapshot, 18.4 kB of coefficients");
    row("verify main.snapshot", "main: 8 cabinets as in main.snapshot");
    row("show main --expect devices=3,cabinets=9", "brightness      not readable; range 0 to 10000, default 5000");
    row("restore main.snapshot --save", "8 cabinets written, verified, saved from main.snapshot");
    row("restore main.snapshot --no-verify", "8 cabinets written from main.snapshot");
    row("set main brightness=4000 abl=on xbit=1:on effect=2 gamma=gamma.json multilayer=1,2:3,4,5", "xbit        1 on");
    row("brightness main", "0 to 10000, default 5000");
    row("brightness main 4000", "brightness  4000");
    row("gamma main", "entries; --json prints them");
    row("gamma main gamma.json", "gamma  red 2, green 2, blue 2 entries");
    row("effect main", "0");
    row("effect main 3", "effect   3");
    row("xbit main 1 on", "xbit  1 on");
    row("abl main off", "abl  off");
    row("multilayer main 1:2 3 4 5", "multilayer  1:2 3 4 5");
    row("multilayer main 1:2 3 --v2", "multilayer  1:2 3");
    row("lock main", "main: locked");
    row("unlock main", "main: unlocked");
    row("pattern pixel main --interval-x 3 --color #00ff00", "main: pixel over 0,0,64x16");
    row("pattern checkerboard main --square 5x5 --rect 1,1,20x10", "main: checkerboard over 1,1,20x10");
    row("pattern mode main 1", "main: mode 1 over 0,0,64x16");
    row("pattern clear main", "main: clear over 0,0,64x16");
    row("measure main measured.npy", "main: 64x16 pixels measured with 3 test images into measured.npy");
    row("measure main sensor.npy --camera sensor --photos photos --picture white.png",
        "27 photos and plan.json kept in photos");
    row("measure main --plan shots", "shots/plan.json: the plan");
    row("measure --from photos again.npy", "photos: 64x16 pixels measured with 27 test images into again.npy");
    row("calibrate measured.npy corrected.npy --keep-target target.json", "corrected.npy: coefficients of 64x16 pixels");
    row("report measured.npy again.npy --target target.json --picture maps.png", "maps of white drawn into maps.png");
    row("cabinet 7 info", "rect             32,8,16x8");
    row("cabinet 7 read seven.npy", "cabinet 7 of device B: 16x8 chroma pixels at 0,0 read into seven.npy");
    row("cabinet 7 write one.npy --save", "cabinet 7 of device B: 16x8 chroma pixels at 0,0 written and saved from one.npy");
    row("cabinet 7 save", "cabinet 7 of device B: saved");
    row("cabinet 7 apply", "cabinet 7 of device B: applied");
    row("cabinet 7 brightness", "0 to 10000, default 5000");
    row("cabinet 7 brightness 4000", "brightness set to 4000");
    row("cabinet 7 effect", "0");
    row("cabinet 7 effect 2", "effect set to 2");
    row("cabinet 7 gamma", "entries; --json prints them");
    row("cabinet 7 gamma gamma.json", "gamma set to red 2, green 2, blue 2 entries");
    row("cabinet 7 flag", "");
    row("cabinet 7 flag calibrated", "flag set to calibrated");
    row("cabinet 7 serial-flag B7-0042", "serial-flag set to B7-0042");
    row("cabinet 7 flags", "     3  8,4,8x4");
    row("cabinet 7 config get got.cfg", "configuration read into got.cfg");
    row("cabinet 7 config put seven.cfg", "configuration sent from seven.cfg");
    row("cabinet 7 flash", "   0       2  8,4,8x4  good");
    row("cabinet 7 module save", "saved into the modules' flash memory");
    row("cabinet 7 module reload --mode 3", "loaded from the modules' flash memory");
    row("cabinet 7 module clear", "modules' flash memory cleared");
    row("cabinet 7 module flag 0=good 3=replaced", "module flags set to 0=good 3=replaced");
    row("cabinet 7 support", "magicGray      no");
    row("group 1 2 8 save user", "cabinets 1 2 8: save user coefficients");
    row("group 1 2 8 show factory", "cabinets 1 2 8: show factory coefficients");
    row("group 1 2 8 clear", "cabinets 1 2 8: clear user coefficients");
    row("group 1 2 average get", "(0 averages): the library sends nothing for this so far");
    row("group 1 2 average put", "cabinets 1 2: put averaged coefficients");
    row("group 1 2 solid", "cabinets 1 2: fix coefficients: the library sends nothing for this so far");
    row("wall create made", "made: a wall directory, made from small.json");
    row("wall describe", "\"format\": \"led-wall\"");
    row("wall describe described.json", "described.json: written");
    row("wall render main layout.png", "main: layout drawn into layout.png");
    row("wall render main pattern.png --what pattern", "the picture is black: the virtual wall starts with this program");
    row("replay night.jsonl brightness main 4000", "0 of the recording left");
    row("record more.jsonl effect main 3", "effect   3");
    row("replay --quiet night.jsonl brightness main 4000", "");
    row("doctor report.json", "no trouble found");
    row("verbs", "doctor");
}

void CtlVerbsTest::everyVerbAnswers()
{
    QFETCH(QString, arguments);
    QFETCH(QString, printed);
    QStringList line{QStringLiteral("--wall"), QStringLiteral("small.json")};
    line += arguments.split(QLatin1Char(' '));
    const Run text = m_program.run(line);
    QVERIFY2(text.exit == 0, text.all());
    QVERIFY2(text.out.contains(printed.toUtf8()), text.all());
    QCOMPARE(text.error, QByteArray());

    // Things that can be created only once are created again.
    if (arguments.startsWith(QLatin1String("wall create")))
        QVERIFY(QDir(m_program.path(QStringLiteral("made"))).removeRecursively());
    if (arguments.startsWith(QLatin1String("record")))
        QVERIFY(QFile::remove(m_program.path(QStringLiteral("more.jsonl"))));
    const Run json = m_program.json(line);
    QVERIFY2(json.exit == 0, json.all());
    QCOMPARE(json.document().value(QStringLiteral("exit")).toInt(-1), 0);
    m_answered.append(json.document().value(QStringLiteral("verb")).toString());
    QVERIFY(m_documents.write(QStringLiteral("%1.json").arg(m_answered.size(), 3, 10, QLatin1Char('0')), json.out));
}

/// Runs behind the verbs, whose documents it checks; in a run of single tests there are none.
void CtlVerbsTest::everyDocumentFollowsTheSchema()
{
    if (m_answered.size() < 50)
        QSKIP("the verbs were not run");
    const Run table = m_program.json("verbs");
    QVERIFY(m_documents.write(QStringLiteral("verbs.json"), table.out));
    // What verbs print when they fail, and with other options.
    QVERIFY(m_documents.write(QStringLiteral("failed.json"), m_program.json("--wall small.json show nosuch").out));
    QVERIFY(m_documents.write(QStringLiteral("usage.json"), m_program.json("nosuch").out));
    QVERIFY(m_documents.write(QStringLiteral("different.json"),
                              m_program.json("--wall small.json diff main.npy --screen main").out));
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/same-id.json"),
                        m_program.path(QStringLiteral("same-id.json"))));
    QVERIFY(m_documents.write(QStringLiteral("ambiguous.json"), m_program.json("--wall same-id.json screens").out));
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/one-silent.json"),
                        m_program.path(QStringLiteral("one-silent.json"))));
    QVERIFY(m_documents.write(QStringLiteral("missing.json"), m_program.json("--wall one-silent.json show main").out));
    QVERIFY(m_documents.write(QStringLiteral("refused.json"), m_program.json("--wall one-silent.json clear sign").out));
    QVERIFY(m_documents.write(QStringLiteral("dry.json"), m_program.json("--wall small.json save main --dry-run").out));
    QVERIFY(m_documents.write(QStringLiteral("short.json"), m_program.json("calibrate measured.npy --luminance 9999").out));
    QProcess checker;
    checker.start(QStringLiteral("python3"),
                  {QStringLiteral(SOURCE_DIR "/tests/tools/check_documents.py"),
                   QStringLiteral(SOURCE_DIR "/docs/correctionctl.schema.json"), m_documents.path(QString())});
    QVERIFY2(checker.waitForFinished(-1) && checker.exitCode() == 0,
             checker.readAllStandardOutput() + checker.readAllStandardError());
    const QJsonArray verbs = table.data().value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &verb : verbs) {
        const QString name = verb.toObject().value(QStringLiteral("name")).toString();
        const bool elsewhere =
            name == QLatin1String("record") || name == QLatin1String("replay") || name == QLatin1String("watch");
        QVERIFY2(elsewhere || m_answered.contains(name), qPrintable(name + QStringLiteral(" was never called")));
    }
}

void CtlVerbsTest::writingVerbsSendNothingInADryRun_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QStringList>("sent"); // devices and operations
    const auto row = [](const char *arguments, const char *sent) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments)
                                 << QString::fromLatin1(sent).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    row("write main main.npy --save", "A:Correctionop::uploadCoefficientAsync B:Correctionop::uploadCoefficientAsync "
                                      "A:Correctionop::saveCabinetsCoeffcient B:Correctionop::saveCabinetsCoeffcient");
    row("write main one.npy --one-by-one --device B --cabinet 6", "B:Correctionop::uploadCoefficient");
    row("write main main.npy --type lowgray",
        "A:Correctionop::uploadLowGrayCoefficientAsync B:Correctionop::uploadLowGrayCoefficientAsync");
    row("write main multi.npy --type multilayer",
        "A:Correctionop::uploadMultilayerCoefficientAsync B:Correctionop::uploadMultilayerCoefficientAsync");
    row("save main --device A", "A:Correctionop::saveCabinetsCoeffcient");
    row("save main --device A --type lowgray", "A:Correctionop::saveCabinetsLowgrayCoeffcient");
    row("save main --device A --type multilayer", "A:Correctionop::saveCabinetsMultilayerCoeffcient");
    row("apply main", "A:Correctionop::applyCabinetsLowgrayCoeffcient B:Correctionop::applyCabinetsLowgrayCoeffcient");
    row("clear sign", "C:Correctionop::clearCabinetsUserCoefficient");
    row("clear sign --type lowgray", "C:Correctionop::clearCabinetsLowgrayCoefficient");
    row("clear sign --type multilayer", "C:Correctionop::clearCabinetsMultilayerCoefficient");
    row("solid sign", "C:Correctionop::setMutiCabinetSolid");
    row("restore main.snapshot --save",
        "A:Correctionop::uploadCoefficient A:Correctionop::uploadCoefficient A:Correctionop::uploadCoefficient "
        "A:Correctionop::uploadCoefficient B:Correctionop::uploadCoefficient B:Correctionop::uploadCoefficient "
        "B:Correctionop::uploadCoefficient B:Correctionop::uploadCoefficient A:Correctionop::saveCabinetsCoeffcient "
        "B:Correctionop::saveCabinetsCoeffcient");
    row("set sign brightness=1 effect=2 xbit=1:off abl=on",
        "C:ScreenInfo::setBrightness C:Correctionop::setScreenEffectMode "
        "C:Correctionop::setScreenXBit C:Correctionop::setScreenABLEnable");
    row("brightness main 4000", "A:ScreenInfo::setBrightness B:ScreenInfo::setBrightness");
    row("gamma sign gamma.json", "C:ScreenInfo::setGammaTable C:ScreenInfo::setGammaTable C:ScreenInfo::setGammaTable");
    row("effect sign 3", "C:Correctionop::setScreenEffectMode");
    row("xbit sign 1 on", "C:Correctionop::setScreenXBit");
    row("abl sign on", "C:Correctionop::setScreenABLEnable");
    row("multilayer sign 1 2 3 4", "C:Correctionop::setCabinetsMultilayerParameter");
    row("multilayer sign 1 --v2", "C:Correctionop::setCabinetsMultilayerParameterV2");
    row("lock sign", "C:HWInfo::lock");
    row("unlock sign", "C:HWInfo::unLock");
    row("pattern pixel sign", "C:ScreenInfo::setPixelImage");
    row("pattern checkerboard sign", "C:ScreenInfo::setCheckerBoardImage");
    row("pattern mode sign 1", "C:ScreenInfo::setPixelImageMode");
    row("pattern clear sign", "C:ScreenInfo::setCorrectClearImage");
    row("cabinet 7 write one.npy", "B:Correctionop::uploadCoefficient");
    row("cabinet 7 write one.npy --type lowgray", "B:Correctionop::uploadLowgrayCoefficient");
    row("cabinet 7 save", "B:Correctionop::saveCabinetsCoeffcient");
    row("cabinet 7 apply", "B:Correctionop::applyCabinetsLowgrayCoeffcient");
    row("cabinet 7 brightness 1", "B:CabinetInfoOperator::setCabSingleBrightness");
    row("cabinet 7 effect 1", "B:Correctionop::setCabinetEffectMode");
    row("cabinet 7 gamma gamma.json",
        "B:CabinetInfoOperator::setCabinetGammaCustomValue B:CabinetInfoOperator::setCabinetGammaCustomValue "
        "B:CabinetInfoOperator::setCabinetGammaCustomValue");
    row("cabinet 7 flag x", "B:CabinetInfoOperator::setCabinetFlag");
    row("cabinet 7 serial-flag x", "B:CabinetInfoOperator::setCabinetSnflags");
    row("cabinet 7 config put seven.cfg", "B:CabinetInfoOperator::setSingleConfigFile");
    row("cabinet 7 module save", "B:CabinetInfoOperator::saveModuleCoefficient");
    row("cabinet 7 module reload", "B:CabinetInfoOperator::reloadModuleCoefficient");
    row("cabinet 7 module clear", "B:CabinetInfoOperator::clearModuleCoefficient");
    row("cabinet 7 module flag 0=x", "B:CabinetInfoOperator::setModuleflags");
    row("group 1 8 save user", "A:Correctionop::saveCabinetsCoeffcient B:Correctionop::saveCabinetsCoeffcient");
    row("group 1 save factory", "A:Correctionop::saveCabinetsFactoryCoefficient");
    row("group 1 save module", "A:Correctionop::saveCabinetsModuleCoefficient");
    row("group 1 show user", "A:Correctionop::showCabinetsCoefficient");
    row("group 1 show factory", "A:Correctionop::showCabinetsFactoryCoefficient");
    row("group 1 show module", "A:Correctionop::showCabinetsModuleCoefficient");
    row("group 1 clear", "A:Correctionop::clearCabinetsUserCoefficient");
    row("group 1 average put", "");
    row("group 1 solid", "");
}

void CtlVerbsTest::writingVerbsSendNothingInADryRun()
{
    QFETCH(QString, arguments);
    QFETCH(QStringList, sent);
    const auto state = [this] {
        QByteArray all;
        const QDir wall(m_program.path(QStringLiteral("wall")));
        for (const QString &name : wall.entryList(QDir::Files, QDir::Name))
            all += name.toUtf8() + m_program.content(QStringLiteral("wall/") + name);
        return all;
    };
    const QByteArray before = state();
    const Run run = m_program.json(words("--wall wall --dry-run") + arguments.split(QLatin1Char(' ')));
    // The option follows its verb.
    QCOMPARE(run.exit, 64);
    const Run dry = m_program.json(words("--wall wall") + arguments.split(QLatin1Char(' ')) + words("--dry-run"));
    QVERIFY2(dry.exit == 0, dry.all());
    QStringList held;
    const QJsonArray requests = dry.document().value(QStringLiteral("dryRun")).toArray();
    for (const QJsonValue &request : requests)
        held.append(request.toObject().value(QStringLiteral("device")).toString() + QLatin1Char(':')
                    + request.toObject().value(QStringLiteral("operation")).toString());
    QCOMPARE(held, sent);
    QCOMPARE(state(), before);
    // Nothing is done, and nothing is saved.
    const QJsonObject data = dry.data();
    QVERIFY2(!data.value(QStringLiteral("saved")).toBool(), dry.all());
    QVERIFY2(!data.contains(QStringLiteral("done"))
                 || data.value(QStringLiteral("done")).toString().startsWith(QLatin1String("dry run: ")),
             dry.all());
    const Run text = onWall(arguments.split(QLatin1Char(' ')) + words("--dry-run"));
    QCOMPARE(text.out.count("would send to "), sent.size());
    QVERIFY2(text.out.contains("nothing sent"), text.all());
}

void CtlVerbsTest::aDryRunIsSummedUp_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("total");
    QTest::newRow("a screen") << QStringLiteral("write main main.npy --save --dry-run")
                              << QStringLiteral("4 requests, 18.4 kB of data, for 2 devices and 8 cabinets");
    QTest::newRow("a rectangle in a cabinet") << QStringLiteral("write main one.npy --rect 20,4,16x8 --dry-run")
                                              << QStringLiteral("2 requests, 2.3 kB of data, for 2 devices and 4 cabinets");
    QTest::newRow("cabinet after cabinet") << QStringLiteral("restore main.snapshot --dry-run")
                                           << QStringLiteral("8 requests, 18.4 kB of data, for 2 devices and 8 cabinets");
    QTest::newRow("a setting") << QStringLiteral("cabinet 7 brightness 1 --dry-run")
                               << QStringLiteral("1 request, 0 B of data, for 1 device and 1 cabinet");
    QTest::newRow("a file") << QStringLiteral("cabinet 7 config put seven.cfg --dry-run")
                            << QStringLiteral("1 request, 13 B of data, for 1 device and 1 cabinet");
}

void CtlVerbsTest::aDryRunIsSummedUp()
{
    QFETCH(QString, arguments);
    QFETCH(QString, total);
    const Run run = onWall(arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 0 && run.out.endsWith("\ndry run: " + total.toUtf8() + "; nothing sent\n"), run.all());
}

void CtlVerbsTest::onlyTouchedCabinetsAreSaved_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QByteArray>("saved"); // the requests' cabinets
    QTest::newRow("a rectangle in two cabinets")
        << QStringLiteral("write main one.npy --rect 20,0,16x8 --save") << QByteArray("[qlonglong 2] [qlonglong 5]");
    QTest::newRow("a rectangle, all saved")
        << QStringLiteral("write main one.npy --rect 20,0,16x8 --save=all")
        << QByteArray("[qlonglong 1, qlonglong 2, qlonglong 3, qlonglong 4] [qlonglong 5, qlonglong 6, qlonglong 7, "
                      "qlonglong 8]");
    QTest::newRow("the whole screen")
        << QStringLiteral("write main main.npy --save")
        << QByteArray("[qlonglong 1, qlonglong 2, qlonglong 3, qlonglong 4] [qlonglong 5, qlonglong 6, qlonglong 7, "
                      "qlonglong 8]");
    QTest::newRow("a part that is chosen, all saved")
        << QStringLiteral("write main one.npy --rect 48,0,16x8 --device B --save=all")
        << QByteArray("[qlonglong 5, qlonglong 6, qlonglong 7, qlonglong 8]");
}

void CtlVerbsTest::onlyTouchedCabinetsAreSaved()
{
    QFETCH(QString, arguments);
    QFETCH(QByteArray, saved);
    const Run run = onWall(arguments.split(QLatin1Char(' ')) + words("--dry-run"));
    QVERIFY2(run.exit == 0, run.all());
    QList<QByteArray> lists;
    const QList<QByteArray> lines = run.out.split('\n');
    for (const QByteArray &line : lines) {
        const int from = line.indexOf("{\"cids\": ");
        if (line.contains("saveCabinetsCoeffcient") && from > 0)
            lists.append(line.mid(from + 9).chopped(2));
    }
    QCOMPARE(lists.join(' '), saved);
}

void CtlVerbsTest::whatIsNotKeptIsTold_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("forgotten"); // on a wall directory; empty for what is kept there
    const auto row = [](const char *arguments, const char *forgotten) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(forgotten);
    };
    const char *const ends = "not kept: the virtual wall forgets it when this program ends\n";
    const char *const saves = "not kept: the virtual wall forgets it when this program ends; --save keeps it\n";
    row("write main main.npy", saves);
    row("write main main.npy --save", "");
    row("restore main.snapshot", saves);
    row("restore main.snapshot --save", "");
    row("cabinet 7 write one.npy", saves);
    row("cabinet 7 write one.npy --save", "");
    row("save main", "");
    row("clear main", "");
    row("apply main", ends);
    row("set main effect=2 abl=on", "");
    row("brightness main 4000", "");
    row("lock main", ends);
    row("unlock main", ends);
    row("pattern pixel main", ends);
    row("pattern checkerboard main", ends);
    row("pattern mode main 1", ends);
    row("pattern clear main", ends);
    row("cabinet 7 effect 2", "");
    row("cabinet 7 flag x", "");
    row("cabinet 7 module save", "");
    row("cabinet 7 module reload", ends);
    row("group 1 2 show user", ends);
    row("group 1 2 save user", "");
}

void CtlVerbsTest::whatIsNotKeptIsTold()
{
    QFETCH(QString, arguments);
    QFETCH(QString, forgotten);
    const QStringList line = arguments.split(QLatin1Char(' '));
    const Run lasting = onWall(line);
    QVERIFY2(lasting.exit == 0 && lasting.out.contains("not kept") != forgotten.isEmpty(), lasting.all());
    QVERIFY2(lasting.out.endsWith(forgotten.toUtf8()), lasting.all());
    const Run json = m_program.json(words("--wall wall") + line);
    QCOMPARE(json.document().value(QStringLiteral("kept")), QJsonValue(forgotten.isEmpty()));
    const Run file = m_program.run(words("--wall small.json") + line);
    QVERIFY2(
        file.out.endsWith("not kept: the virtual wall small.json forgets everything when this program ends; `wall create` "
                          "makes a wall that keeps what is saved\n"),
        file.all());
}

void CtlVerbsTest::aReadGivesWhatWasWritten()
{
    newWall();
    QVERIFY(onWall("write main main.npy --save").exit == 0);
    QCOMPARE(held(), valuesOf(npy(64, 16, slope)));
}

void CtlVerbsTest::anyRectangleIsCutOutOfWholeCabinets()
{
    newWall();
    QVERIFY(onWall("write main main.npy --save").exit == 0);
    // Over both devices, beginning at no corner.
    const Run run = onWall("read main cut.npy --rect 27,3,21x9");
    QVERIFY2(run.exit == 0, run.all());
    const QByteArray expected = npy(21, 9, [](int x, int y, int k) { return slope(x + 27, y + 3, k); });
    QCOMPARE(valuesOf(m_program.content(QStringLiteral("cut.npy"))), valuesOf(expected));
    QVERIFY(m_program.content(QStringLiteral("cut.npy")).contains("'shape': (9, 21, 9)"));
    // The same place is written and nothing around it.
    QVERIFY(onWall("write main part.npy --rect 20,2,30x10 --save").exit == 0);
    const QByteArray both = npy(64, 16, [](int x, int y, int k) {
        return x >= 20 && x < 50 && y >= 2 && y < 12 ? slopeMovedBy5And3(x - 20, y - 2, k) : slope(x, y, k);
    });
    QCOMPARE(held(), valuesOf(both));
}

void CtlVerbsTest::aDirectReadServesACorner()
{
    newWall();
    QVERIFY(onWall("write main main.npy --save").exit == 0);
    QVERIFY(onWall("read main direct.npy --direct").exit == 0);
    QCOMPARE(valuesOf(m_program.content(QStringLiteral("direct.npy"))), valuesOf(npy(64, 16, slope)));
    // A part of a sub-screen that begins elsewhere does not fit into its own grid.
    const Run inside = onWall("read main inside.npy --direct --rect 20,3,12x13");
    QCOMPARE(inside.exit, 3);
    QVERIFY(!m_program.exists(QStringLiteral("inside.npy")));
}

void CtlVerbsTest::theJsonTextIsTheLibrarys()
{
    newWall();
    QVERIFY(onWall("write main main.npy --save").exit == 0);
    QVERIFY(onWall("read main two.json --rect 1,2,2x1").exit == 0);
    QByteArray expected;
    for (int x = 1; x <= 2; ++x) {
        for (int k = 0; k < 9; ++k)
            expected += (expected.isEmpty() ? "[" : ",") + QByteArray::number(slope(x, 2, k));
    }
    QCOMPARE(m_program.content(QStringLiteral("two.json")), expected + ']');
    QVERIFY(onWall("write main two.json --rect 40,9,2x1 --save").exit == 0);
    QVERIFY(onWall("read main back.json --rect 40,9,2x1").exit == 0);
    QCOMPARE(m_program.content(QStringLiteral("back.json")), expected + ']');
}

void CtlVerbsTest::aPreviewShowsOneChannel()
{
    newWall();
    QVERIFY(onWall("write main main.npy --save").exit == 0);
    QVERIFY(onWall("read main five.png --channel 5").exit == 0);
    const QImage picture(m_program.path(QStringLiteral("five.png")));
    QCOMPARE(picture.size(), QSize(64, 16));
    QCOMPARE(picture.format(), QImage::Format_Grayscale16);
    for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 64; ++x)
            QCOMPARE(reinterpret_cast<const quint16 *>(picture.constScanLine(y))[x], slope(x, y, 5));
    }
}

void CtlVerbsTest::lowGrayAndMultilayerAreWritten()
{
    const Run lowGray = m_program.run("--wall small.json write main main.npy --type lowgray --save");
    QVERIFY2(lowGray.exit == 0, lowGray.all());
    const Run multilayer = m_program.run("--wall small.json write main multi.npy --type multilayer --save");
    QVERIFY2(multilayer.exit == 0, multilayer.all());
}

void CtlVerbsTest::joinedScreensActAsOne()
{
    newWall();
    QVERIFY(m_program.write(QStringLiteral("joined.npy"), npy(80, 16, slope)));
    const Run run = onWall("write main+sign joined.npy --save");
    QVERIFY2(run.exit == 0, run.all());
    QCOMPARE(held("main+sign"), valuesOf(npy(80, 16, slope)));
    QCOMPARE(held(), valuesOf(npy(64, 16, slope)));
    QCOMPARE(onWall("show main+main").exit, 68);
    QVERIFY(onWall("show main+sign").out.contains("Main wall + Sign"));
}

void CtlVerbsTest::partsOfAScreenAreChosen()
{
    newWall();
    QCOMPARE(onWall("write main main.npy --save --device B").exit, 65); // B is 32 pixels wide
    QVERIFY(m_program.write(QStringLiteral("half.npy"), npy(32, 16, slope)));
    const Run run = onWall("write main half.npy --save --device B");
    QVERIFY2(run.exit == 0, run.all());
    const QByteArray expected =
        npy(64, 16, [](int x, int y, int k) { return x < 32 ? asDelivered(x, y, k) : slope(x - 32, y, k); });
    QCOMPARE(held(), valuesOf(expected));
    QVERIFY(onWall("clear main --cabinet 6").exit == 0);
    const QByteArray cleared = npy(64, 16, [](int x, int y, int k) {
        return x < 32 || (x >= 48 && y < 8) ? asDelivered(x, y, k) : slope(x - 32, y, k);
    });
    QCOMPARE(held(), valuesOf(cleared));
}

void CtlVerbsTest::gammaTablesTravelOneByOne()
{
    newWall();
    QVERIFY(onWall("gamma main gamma.json").exit == 0);
    const Run run = m_program.json("--wall wall gamma main");
    const QJsonObject gamma = run.data().value(QStringLiteral("gamma")).toObject();
    QCOMPARE(gamma, QJsonDocument::fromJson(m_program.content(QStringLiteral("gamma.json"))).object());
}

void CtlVerbsTest::cabinetGammaKeepsItsColours()
{
    newWall();
    QVERIFY(onWall("cabinet 7 gamma gamma.json").exit == 0);
    const QJsonObject gamma = m_program.json("--wall wall cabinet 7 gamma").data().value(QStringLiteral("gamma")).toObject();
    QCOMPARE(gamma, QJsonDocument::fromJson(m_program.content(QStringLiteral("gamma.json"))).object());
}

void CtlVerbsTest::severalSettingsAreCheckedBeforeTheFirstIsSent()
{
    newWall();
    for (const char *last :
         {"brightness=10001", "brightness=much", "xbit=1", "abl=yes", "gamma=nosuch.json", "multilayer=1,2", "colour=red"}) {
        const Run run = onWall(words("set main effect=5") + QStringList{QLatin1String(last)});
        QVERIFY2(run.exit != 0, last);
        QCOMPARE(onWall("effect main").out, QByteArray("0\n"));
    }
    QCOMPARE(onWall("set main effect=5 brightness=9999").exit, 0);
    QCOMPARE(onWall("effect main").out, QByteArray("5\n"));
}

void CtlVerbsTest::aPartOfACabinetIsWritten()
{
    newWall();
    QVERIFY(m_program.write(QStringLiteral("corner.npy"), npy(3, 2, slope)));
    const Run run = onWall("cabinet 9 write corner.npy --x 13 --y 14 --save");
    QVERIFY2(run.exit == 0, run.all());
    const QByteArray expected = npy(
        16, 16, [](int x, int y, int k) { return x >= 13 && y >= 14 ? slope(x - 13, y - 14, k) : asDelivered(x, y, k); });
    QCOMPARE(held("sign"), valuesOf(expected));
}

void CtlVerbsTest::theLastOfOverlappingCabinetsCounts()
{
    const QByteArray size("\"cabinetSize\": {\"width\": 16, \"height\": 16}");
    QVERIFY(m_program.write(
        QStringLiteral("over.json"),
        "{\"format\": \"led-wall\", \"version\": 1, \"devices\": [{\"key\": \"A\", \"allowOverlaps\": true, \"screens\": "
        "[{\"id\": "
        "\"main\", \"name\": \"Main\", \"subScreens\": [{\"grid\": {\"columns\": 1, \"rows\": 1, "
            + size + "}}, {\"position\": {\"x\": 8, \"y\": 0}, \"grid\": {\"columns\": 1, \"rows\": 1, \"firstId\": 2, "
            + size + "}}]}]}]}"));
    QCOMPARE(m_program.run("--wall over.json wall create over").exit, 0);
    QVERIFY(m_program.write(QStringLiteral("lower.npy"), npy(16, 16, slope)));
    for (const char *const write : {"cabinet 1 write lower.npy --save", "cabinet 2 write lower.npy --save"})
        QCOMPARE(m_program.run(QByteArray("--wall over ") + write).exit, 0);
    QCOMPARE(m_program.run("--wall over read main both.npy").exit, 0);
    const auto both = [](int x, int y, int k) { return slope(x < 8 ? x : x - 8, y, k); };
    QCOMPARE(m_program.content(QStringLiteral("both.npy")), npy(24, 16, both));
    const Run run = m_program.run("--wall over diff both.npy --screen main");
    QVERIFY2(run.exit == 0 && run.out == "0 of 384 pixels differ\n", run.all());
}

void CtlVerbsTest::pixelsWithoutACabinetAreTold()
{
    // Sign is three cabinets further right: a gap of 48 columns.
    QByteArray wall = m_program.content(QStringLiteral("small.json"));
    QVERIFY(m_program.write(QStringLiteral("gap.json"),
                            wall.replace("{\"x\": 64,", "{\"x\": 112,").replace("\"sign\"", "\"main\"")));
    QVERIFY(m_program.write(QStringLiteral("over.npy"), npy(50, 2, slope)));
    const Run over = m_program.run("--wall gap.json write main over.npy --rect 63,3,50x2");
    QVERIFY2(over.exit == 0 && over.out.contains("\n96 pixels without a cabinet: not written\n"), over.all());
    const Run beside = m_program.run("--wall gap.json write main over.npy --rect 62,3,50x2");
    QVERIFY2(beside.exit == 0 && beside.out.contains("\n96 pixels without a cabinet: not written\n"), beside.all());
    QVERIFY(m_program.write(QStringLiteral("inside.npy"), npy(48, 2, slope)));
    const Run inside = m_program.run("--wall gap.json record gap.jsonl write main inside.npy --rect 64,3,48x2");
    QVERIFY2(inside.exit == 2 && inside.error.contains("screen main: no cabinet in 64,3,48x2: enOutOfRange (2)"),
             inside.all());
    QVERIFY(!m_program.content(QStringLiteral("gap.jsonl")).contains("uploadCoefficient"));
    QVERIFY(!m_program.run("--wall gap.json write main inside.npy --rect 0,3,48x2").out.contains("without a cabinet"));

    // A comparison leaves them out: here all values differ, and the picture shows its background where no cabinet is.
    const Run differs = m_program.json("--wall gap.json diff over.npy --screen main --rect 63,3,50x2 --picture gap.png");
    QCOMPARE(differs.exit, 20);
    QCOMPARE(differs.data().value(QStringLiteral("pixels")).toInt(), 4);
    QCOMPARE(differs.data().value(QStringLiteral("differing")).toInt(), 4);
    QCOMPARE(differs.data().value(QStringLiteral("withoutCabinet")).toInt(), 96);
    const QImage picture(m_program.path(QStringLiteral("gap.png")));
    QVERIFY(picture.pixel(0, 1) != 0xff202020 && picture.pixel(49, 1) != 0xff202020);
    QVERIFY(picture.pixel(1, 1) == 0xff202020 && picture.pixel(48, 1) == 0xff202020);
    QVERIFY(m_program.run("--wall gap.json read main same.npy --rect 63,3,50x2").exit == 0);
    QCOMPARE(m_program.run("--wall gap.json diff inside.npy --screen main --rect 64,3,48x2").exit, 2);
    const Run same = m_program.run("--wall gap.json diff same.npy --screen main --rect 63,3,50x2");
    QVERIFY2(same.exit == 0 && same.out == "96 pixels without a cabinet: left out\n0 of 4 pixels differ\n", same.all());
    QCOMPARE(over.exit, 0);
    QCOMPARE(m_program.json("--wall gap.json write main over.npy --rect 63,3,50x2")
                 .data()
                 .value(QStringLiteral("withoutCabinet")),
             QJsonValue(96));
}

void CtlVerbsTest::configurationsTravel()
{
    newWall();
    QVERIFY(onWall("cabinet 7 config put seven.cfg").exit == 0);
    QVERIFY(m_program.write(QStringLiteral("there.cfg"), "old and longer than what comes"));
    QVERIFY(onWall("cabinet 7 config get there.cfg").exit == 0);
    QCOMPARE(m_program.content(QStringLiteral("there.cfg")), QByteArray("brightness=7\n"));
    // A file that it creates has the permissions of other new files.
    QVERIFY(onWall("cabinet 7 config get new.cfg").exit == 0);
    QCOMPARE(QFile::permissions(m_program.path(QStringLiteral("new.cfg"))),
             QFile::permissions(m_program.path(QStringLiteral("there.cfg"))));
    QCOMPARE(m_program.files().filter(QStringLiteral("there.cfg")), QStringList{QStringLiteral("there.cfg")});
}

void CtlVerbsTest::moduleFlashKeepsCoefficients()
{
    newWall();
    QVERIFY(onWall("cabinet 1 write one.npy --save").exit == 0);
    QVERIFY(onWall("cabinet 1 module save").exit == 0);
    QVERIFY(onWall("clear main").exit == 0);
    QVERIFY(onWall("record flash.jsonl cabinet 1 module reload --mode 3").exit == 0);
    QVERIFY(m_program.content(QStringLiteral("flash.jsonl")).contains("reloadModuleCoefficient"));
}

void CtlVerbsTest::groupsStoreAndShow()
{
    newWall();
    QVERIFY(onWall("write main main.npy --save").exit == 0);
    QVERIFY(onWall("group 1 8 save factory").exit == 0);
    const Run unknown = onWall("group 1 77 show user");
    QCOMPARE(unknown.exit, 68);
    QVERIFY2(unknown.error.contains("cabinet \"77\": unknown"), unknown.all());
    QCOMPARE(onWall("group 1 1 show user").exit, 64);
}

void CtlVerbsTest::everyFormKeepsTheValues_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QStringList>("files");
    const auto pictures = [](const char *pattern) {
        QStringList names;
        for (int k = 0; k < 9; ++k)
            names += QString::fromLatin1(pattern).arg(k);
        return names;
    };
    QTest::newRow("npz") << QStringLiteral("form.npz") << QStringList(QStringLiteral("form.npz"));
    QTest::newRow("csv") << QStringLiteral("form.csv") << QStringList(QStringLiteral("form.csv"));
    QTest::newRow("png") << QStringLiteral("form-%.png") << pictures("form-%1.png");
    QTest::newRow("tiff") << QStringLiteral("form-%.tif") << pictures("form-%1.tif");
}

void CtlVerbsTest::everyFormKeepsTheValues()
{
    QFETCH(QString, name);
    QFETCH(QStringList, files);
    if (name.endsWith(QLatin1String(".tif")) && !QImageReader::supportedImageFormats().contains("tiff"))
        QSKIP("Qt's plug-in for TIFF (qt5-image-formats-plugins) is not installed");
    QVERIFY(m_program.write(QStringLiteral("values.npy"), npy(64, 16, slope)));
    QCOMPARE(m_program.run("--wall small.json wall create forms").exit, 0);
    QCOMPARE(m_program.run("--wall forms write main values.npy --save").exit, 0);
    const QStringList target{QStringLiteral("main"), name};
    Run run = m_program.run(words("--wall forms read") + target);
    QVERIFY2(run.exit == 0, run.all());
    for (const QString &file : qAsConst(files))
        QVERIFY2(m_program.exists(file), qPrintable(file));
    run = m_program.run(QStringList{QStringLiteral("diff"), QStringLiteral("values.npy"), name});
    QVERIFY2(run.exit == 0 && run.out.contains("0 of 1024 pixels differ"), run.all());
    run = m_program.run(words("--wall small.json write") + target);
    QVERIFY2(run.exit == 0, run.all());
    for (const QString &file : qAsConst(files))
        QVERIFY(QFile::remove(m_program.path(file)));
    QVERIFY(QDir(m_program.path(QStringLiteral("forms"))).removeRecursively());
}

void CtlVerbsTest::pipesCarryFiles_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("out");
    QTest::addColumn<QByteArray>("error");
    const auto row = [](const char *line, const QByteArray &out, const QByteArray &error) {
        QTest::newRow(line) << QString::fromLatin1(line) << out << error;
    };
    const QByteArray same = "0 of 1024 pixels differ\n";
    row("ctl read main - 2>said | cmp - whole.npy; cat said", "main: 64x16 chroma pixels at 0,0 read into -\n", "");
    row("ctl read main /dev/stdout 2>said | cmp - whole.npy; cat said",
        "main: 64x16 chroma pixels at 0,0 read into /dev/stdout\n", "");
    row("ctl --json read main - 2>said | cmp - whole.npy; grep -c chroma said", "1\n", "");
    row("ctl read main whole.csv -q; ctl diff whole.npy - <whole.csv", same, "");
    row("ctl diff whole.npy - <whole.npy", same, "");
    row("cat whole.npy | ctl diff /dev/stdin whole.npy", same, "");
    row("ctl diff <(cat whole.csv) <(cat whole.npy)", same, "");
    row("ctl read main whole.json -q; ctl diff whole.npy - <whole.json", same, "");
    row("ctl read main whole.npz -q; ctl diff whole.npy - <whole.npz", same, "");
    row("ctl write main - -q <whole.npy", "", "");
    row("ctl diff - --screen main <whole.npy", same, "");
    row("ctl diff - --screen main <whole.json", same, "");
    row("ctl cabinet 1 read one.npy -q; ctl cabinet 1 write - -q <one.npy", "", "");
    row("ctl wall describe - 2>said | cmp - <(ctl wall describe); cat said", "-: written\n", "");
    row("ctl read main - >/dev/full", "", "correctionctl: read: -: No space left on device\n");
    row("ctl snapshot main -", "", "correctionctl: snapshot: -: this kind of file cannot be written to a pipe\n");
    row("echo nothing | ctl write main -", "",
        "correctionctl: write: -: not a NumPy file: it does not begin with \\x93NUMPY\n");
}

void CtlVerbsTest::pipesCarryFiles()
{
    QFETCH(QString, line);
    QFETCH(QByteArray, out);
    QFETCH(QByteArray, error);
    QCOMPARE(m_program.run("--wall small.json read main whole.npy").exit, 0);
    QProcess bash;
    bash.setWorkingDirectory(m_program.path(QString()));
    bash.start(QStringLiteral("bash"),
               {QStringLiteral("-c"),
                QStringLiteral("ctl() { '%1' --wall small.json \"$@\"; }; ").arg(QStringLiteral(CORRECTIONCTL)) + line});
    QVERIFY(bash.waitForFinished(-1));
    QCOMPARE(bash.readAllStandardOutput(), out);
    const QByteArray said = bash.readAllStandardError();
    QVERIFY2(error.isEmpty() ? !said.contains("correctionctl:") : said.contains(error), said);
    QVERIFY(!m_program.exists(QStringLiteral("-")));
}

void CtlVerbsTest::picturesAreDrawn()
{
    for (const char *what : {"layout", "coefficients", "pattern"}) {
        const Run run =
            m_program.run(words("--wall small.json wall render main drawn.png --what") + QStringList{QLatin1String(what)});
        QVERIFY2(run.exit == 0, run.all());
        const QImage picture(m_program.path(QStringLiteral("drawn.png")));
        QVERIFY(picture.width() >= 64 && picture.height() >= 16);
    }
}

void CtlVerbsTest::picturesHaveAScaleAndAWidth()
{
    constexpr QRgb dark = 0xff0d0887;
    constexpr QRgb bright = 0xfff0f921;
    constexpr QRgb background = 0xff202020;
    const auto drawn = [this] {
        return QImage(m_program.path(QStringLiteral("drawn.png"))).convertToFormat(QImage::Format_RGB32);
    };
    // Delivered is 32768: below the range, and above it.
    for (const char *range : {"40000:50000", "100:32768"}) {
        const Run run = m_program.run(words("--wall small.json wall render main drawn.png --what coefficients --range")
                                      + QStringList{QLatin1String(range)});
        QVERIFY2(run.exit == 0, run.all());
        QCOMPARE(drawn().pixel(5, 5), qstrcmp(range, "100:32768") == 0 ? bright : dark);
    }
    for (const char *what : {"layout", "coefficients"}) {
        const Run run = m_program.run(words("--wall small.json wall render main drawn.png --width 32 --what")
                                      + QStringList{QLatin1String(what)});
        QVERIFY2(run.exit == 0, run.all());
        QVERIFY(drawn().pixel(16, 3) != background);
        QCOMPARE(drawn().pixel(33, 3), background);
    }
    QCOMPARE(m_program.run("--wall small.json wall render main drawn.png --width 32 --what pattern").exit, 0);
    QCOMPARE(drawn().size(), QSize(32, 8));
    for (const char *wrong : {"--what coefficients --range 5:5", "--what coefficients --range 5", "--range 5:6",
                              "--what coefficients --range 5:70000 --width 0"}) {
        const Run run = m_program.run(words("--wall small.json wall render main drawn.png") + words(wrong));
        QVERIFY2(run.exit == 64, wrong + run.all());
    }

    // The largest difference of a pixel's values: 0, 100 in one, 50 and 20 in two.
    QVERIFY(m_program.write(QStringLiteral("left.npy"), npy(3, 2, [](int, int, int) { return quint16(1000); })));
    QVERIFY(m_program.write(QStringLiteral("right.npy"), npy(3, 2, [](int x, int y, int k) {
                                return quint16(x == 1 && y == 0 && k == 4   ? 1100
                                               : x == 2 && y == 1 && k == 8 ? 950
                                               : x == 2 && y == 1 && k == 0 ? 1020
                                                                            : 1000);
                            })));
    QCOMPARE(m_program.run("diff left.npy right.npy --picture drawn.png").exit, 20);
    QImage picture = drawn();
    QCOMPARE(picture.width(), 280);
    QCOMPARE(picture.pixel(0, 0), dark);
    QCOMPARE(picture.pixel(1, 0), bright);
    QCOMPARE(picture.pixel(2, 0), dark);
    QVERIFY(picture.pixel(2, 1) != dark && picture.pixel(2, 1) != bright && picture.pixel(2, 1) != background);
    QCOMPARE(picture.pixel(3, 0), background);
    int lettered = 0;
    for (int x = 0; x < 280; ++x)
        lettered += picture.pixel(x, 2 + 6 + 3) == 0xffffffff ? 1 : 0;
    QVERIFY(lettered > 20);                       // the title
    QCOMPARE(picture.pixel(6, 2 + 6 + 24), dark); // both ends of the scale
    QCOMPARE(picture.pixel(280 - 7, 2 + 6 + 24), bright);
    QCOMPARE(m_program.run("diff left.npy left.npy --picture drawn.png --width 2").exit, 0);
    QCOMPARE(drawn().pixel(1, 0), dark);
    QCOMPARE(drawn().pixel(2, 0), background);
}

void CtlVerbsTest::aDescriptionMakesAWall()
{
    QVERIFY(m_program.run("--wall small.json wall describe copy.json").exit == 0);
    const Run original = m_program.json("--wall small.json tree");
    const Run copy = m_program.json("--wall copy.json tree");
    QVERIFY(original.exit == 0);
    QCOMPARE(copy.out, original.out);
}

void CtlVerbsTest::changesAreWatched()
{
    // However fast the program is: some changes come before it sees them, some during discovery, some later.
    QJsonArray events;
    const QString at = QStringLiteral("at");
    bool there = true;
    for (int time = 1; time < 200000; time *= 4, there = !there) {
        events.append(QJsonObject{{at, time},
                                  {QStringLiteral("type"), QStringLiteral("rename")},
                                  {QStringLiteral("device"), QStringLiteral("A")},
                                  {QStringLiteral("name"), QStringLiteral("Arena")}});
        events.append(QJsonObject{{at, 2 * time},
                                  {QStringLiteral("type"), there ? QStringLiteral("unplug") : QStringLiteral("plug")},
                                  {QStringLiteral("device"), QStringLiteral("B")}});
    }
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("small.json"))).object();
    wall.insert(QStringLiteral("events"), events);
    QVERIFY(m_program.write(QStringLiteral("events.json"), QJsonDocument(wall).toJson()));
    const Run text = m_program.run("--wall events.json watch --count 2");
    QVERIFY2(text.exit == 0, text.all());
    QList<QByteArray> lines = text.out.split('\n');
    std::sort(lines.begin(), lines.end());
    QCOMPARE(lines, QList<QByteArray>(
                        {"", "device A: its screen is called \"Arena\"", "the screens changed: discover them again"}));
    const Run json = m_program.json("--wall events.json watch --count 2");
    QVERIFY2(json.exit == 0, json.all());
    QCOMPARE(json.out.count('\n'), 2);
    QVERIFY(m_documents.write(QStringLiteral("watch.jsonl"), json.out));

    // Without a count it goes on until Ctrl-C, which is its ordinary end.
    QProcess process;
    m_program.start(process, words("--wall events.json watch"));
    QVERIFY(process.waitForStarted(-1));
    QByteArray printed;
    while (printed.count('\n') < 2 && process.waitForReadyRead(-1))
        printed += process.readAllStandardOutput();
    process.terminate();
    QVERIFY(process.waitForFinished(-1));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 0);
    QVERIFY(!process.readAllStandardError().contains("Ctrl-C"));

    // Or until a change cannot be written.
    QProcess full;
    full.setStandardOutputFile(QStringLiteral("/dev/full"));
    m_program.start(full, words("--wall events.json watch"));
    QVERIFY(full.waitForFinished(-1));
    QCOMPARE(full.exitCode(), 73);
    QVERIFY(full.readAllStandardError().contains("standard output does not take what is written"));
}

void CtlVerbsTest::aConversationIsReplayed()
{
    const Run same = m_program.run("replay night.jsonl brightness main 4000");
    QVERIFY2(same.exit == 0, same.all());
    const Run other = m_program.run("replay night.jsonl brightness main 4001");
    QCOMPARE(other.exit, 20);
    QVERIFY2(other.error.contains("4000") && other.error.contains("4001"), other.all());
    const Run shorter = m_program.json("replay night.jsonl screens");
    QVERIFY2(shorter.exit == 0, shorter.all());
    QVERIFY(shorter.document().value(QStringLiteral("replay")).toObject().value(QStringLiteral("remaining")).toInt() > 0);
}

void CtlVerbsTest::optionsStandBeforeARecordingsFile()
{
    const Run recorded = m_program.json("record --wall small.json -q before.jsonl effect sign 3");
    QVERIFY2(recorded.exit == 0, recorded.all());
    QCOMPARE(recorded.document().value(QStringLiteral("verb")).toString(), QStringLiteral("effect"));
    QVERIFY(m_program.content(QStringLiteral("before.jsonl")).contains("setScreenEffectMode"));
    const Run replayed = m_program.run("replay --expect devices=3 before.jsonl effect sign 3");
    QVERIFY2(replayed.exit == 0 && replayed.out.contains("0 of the recording left"), replayed.all());
    QCOMPARE(m_program.run("replay --expect devices=4 before.jsonl effect sign 3").exit, 21);
}

void CtlVerbsTest::theDoctorExplains()
{
    const Run run = m_program.run("--wall broken doctor broken.json");
    QCOMPARE(run.exit, 8);
    // A report belongs into a file: no line is too long to be read.
    const QList<QByteArray> lines = m_program.run("doctor").out.split('\n');
    for (const QByteArray &line : lines)
        QVERIFY2(line.size() < 1000, line);
    QVERIFY2(run.out.contains("BAD  discovering the screens: enCabinetNotFound (8), answered false: device silent"),
             run.all());
    QVERIFY2(run.out.contains("CabinetInfoOperator::getAllCabinetsInfo(\"obedient\", bool true)"), run.all());
    QVERIFY2(run.out.contains("enCabinetNotFound (8): A screen places a cabinet that its device does not list."), run.all());
    const QJsonObject report = QJsonDocument::fromJson(m_program.content(QStringLiteral("broken.json"))).object();
    QCOMPARE(report.value(QStringLiteral("verdict")).toString(),
             QStringLiteral("1 step failed; answered false: device silent"));
    QVERIFY(report.value(QStringLiteral("steps")).toArray().size() > 5);
    // The cause is the line about it, not one of the ordinary lines before.
    const Run screens = m_program.run("--wall broken screens");
    QCOMPARE(screens.exit, 8);
    QVERIFY2(screens.error.contains("the library logged: getScreens error \"silent\""), screens.all());
}

void CtlVerbsTest::namesOfDevicesDoNotControlTheTerminal()
{
    QByteArray wall = m_program.content(QStringLiteral("small.json"));
    wall.replace("\"Main wall\"", "\"Ma\\u001b[31min\\nwall\\u009b\\u202egn\"");
    wall.replace("\"Sign\"", "\"Größe Большой\"");
    QVERIFY(m_program.write(QStringLiteral("control.json"), wall));
    for (const char *line : {"--wall control.json screens", "--wall control.json tree", "--wall control.json show main",
                             "--wall control.json show main+sign"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0 && run.out.contains("Ma\\x1b[31min\\nwall\\x9b\\u202egn"), run.all());
        QVERIFY2(!run.out.contains('\x1b') && !run.out.contains("\xc2\x9b") && !run.out.contains("\xe2\x80\xae"), run.all());
    }
    // Letters stay.
    QVERIFY(m_program.run("--wall control.json screens").out.contains("Größe Большой"));
    // Messages, too.
    const Run unknown = m_program.run(
        {QStringLiteral("--wall"), QStringLiteral("control.json"), QStringLiteral("show"), QStringLiteral("x\x1b[2Jy\nz")});
    QVERIFY2(unknown.error.contains("screen \"x\\x1b[2Jy\\nz\": unknown") && !unknown.error.contains('\x1b'), unknown.all());
}

void CtlVerbsTest::settingsAreNumbersAndSwitches()
{
    const QJsonArray settings = m_program.json("--wall small.json set main brightness=4000 effect=2 abl=on")
                                    .data()
                                    .value(QStringLiteral("settings"))
                                    .toArray();
    QCOMPARE(settings.size(), 3);
    const auto value = [&settings](int index) { return settings.at(index).toObject().value(QStringLiteral("value")); };
    QCOMPARE(value(0), QJsonValue(4000));
    QCOMPARE(value(1), QJsonValue(2));
    QCOMPARE(value(2), QJsonValue(true));
    const QJsonArray cabinet =
        m_program.json("--wall small.json cabinet 7 effect 3").data().value(QStringLiteral("settings")).toArray();
    QCOMPARE(cabinet.at(0).toObject().value(QStringLiteral("value")), QJsonValue(3));
}

void CtlVerbsTest::cabinetsAreSortedByNumber()
{
    const QJsonArray cabinets = m_program.json("cabinets").data().value(QStringLiteral("cabinets")).toArray();
    QCOMPARE(cabinets.size(), 24);
    for (int i = 0; i < 24; ++i)
        QCOMPARE(cabinets.at(i).toObject().value(QStringLiteral("id")).toString(), QString::number(i + 1));
    const QByteArray tree = m_program.run("tree").out;
    QVERIFY(tree.indexOf("cabinet 2 ") < tree.indexOf("cabinet 10 "));
}

void CtlVerbsTest::theEnvironmentNamesTheWall()
{
    const QStringList wall{QStringLiteral("CORRECTION_WALL=small.json")};
    QVERIFY(m_program.run(words("screens"), wall).out.contains("Main wall"));
    QVERIFY(m_program.run(words("--wall demo screens"), wall).out.contains("Arena"));
    QVERIFY(m_program.run(words("replay night.jsonl brightness main 4000"), wall).exit == 0);
    QCOMPARE(m_program.run(words("screens"), {QStringLiteral("CORRECTION_WALL=nosuch")}).exit, 69);
}

void CtlVerbsTest::quietPrintsNothing()
{
    const Run run = m_program.run("--wall small.json -q screens");
    QCOMPARE(run.exit, 0);
    QCOMPARE(run.out + run.error, QByteArray());
    const Run failed = m_program.run("--wall small.json -q show nosuch");
    QCOMPARE(failed.out, QByteArray());
    QVERIFY(!failed.error.isEmpty());
}

void CtlVerbsTest::verbosePrintsTheLibrarysLines()
{
    const Run run = m_program.run("--wall small.json -v screens");
    QVERIFY2(run.error.contains("debug: start getDeviceList"), run.all());
    const Run ruled =
        m_program.run(words("--wall small.json -v screens"), {QStringLiteral("QT_LOGGING_RULES=correction.debug=false")});
    QVERIFY2(!ruled.error.contains("debug:") && ruled.error.contains("critical:"), ruled.all());
}

void CtlVerbsTest::colourStaysOffOutsideATerminal()
{
    QVERIFY(!m_program.run("--wall small.json screens").out.contains('\x1b'));
    // `script` gives the program a terminal, where the system has any to give.
    if (QProcess::execute(QStringLiteral("script"), words("-qec true /dev/null")) != 0)
        QSKIP("no pseudo-terminals here", "");
    const QString line = QStringLiteral("'%1' --wall small.json screens").arg(QStringLiteral(CORRECTIONCTL));
    const auto onTerminal = [&](const QString &variable) {
        QProcess process;
        process.setWorkingDirectory(m_program.path(QString()));
        process.start(QStringLiteral("env"), {QStringLiteral("TERM=xterm"), variable, QStringLiteral("script"),
                                              QStringLiteral("-qec"), line, QStringLiteral("/dev/null")});
        process.waitForFinished(-1);
        return process.readAllStandardOutput();
    };
    QVERIFY(onTerminal(QStringLiteral("NO_COLOR=")).contains("\x1b[1mID"));
    const QByteArray plain = onTerminal(QStringLiteral("NO_COLOR=1"));
    QVERIFY(plain.contains("ID") && !plain.contains('\x1b'));
}

void CtlVerbsTest::helpIsThereForEveryWord()
{
    const QJsonArray verbs = m_program.json("verbs").data().value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &value : verbs) {
        const QJsonObject verb = value.toObject();
        QStringList line = verb.value(QStringLiteral("name")).toString().split(QLatin1Char(' '));
        if (line.first() == QLatin1String("cabinet") || line.first() == QLatin1String("group"))
            line.insert(1, QStringLiteral("1"));
        const Run run = m_program.run(line + words("--help"));
        QVERIFY2(run.exit == 0, run.all());
        for (const char *entry : {"help", "usage", "example"})
            QVERIFY2(run.out.contains(verb.value(QLatin1String(entry)).toString().toUtf8()), run.all());
    }
    QVERIFY(m_program.run("cabinet info --help").out.contains("usage: correctionctl cabinet CID info"));
    QVERIFY(m_program.run("help cabinet config get").out.contains("usage: correctionctl cabinet CID config get FILE"));
    QVERIFY(m_program.run("cabinet 1 --help").out.contains("cabinet CID config get FILE"));
    QVERIFY(m_program.run("help brightness").out.contains("usage: correctionctl brightness SCREEN [VALUE]"));
    const Run overview = m_program.run("help");
    QVERIFY2(overview.exit == 0 && overview.out.contains("exit codes:"), overview.all());
    QCOMPARE(m_program.run("").out, overview.out);
    const Run version = m_program.run("--version");
    QVERIFY2(version.exit == 0
                 && QRegularExpression(QStringLiteral("\\Acorrectionctl \\d+\\.\\d+\\.\\d+\n\\z"))
                        .match(QString::fromUtf8(version.out))
                        .hasMatch(),
             version.all());
}

QTEST_GUILESS_MAIN(CtlVerbsTest)
#include "tst_ctlverbs.moc"
