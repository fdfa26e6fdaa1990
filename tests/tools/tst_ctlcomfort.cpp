#include "Program.h"

#include <QtTest/QtTest>

#include <csignal>

using namespace TestSupport;

namespace {

/// Runs Python with NumPy. The package of a distribution belongs to the distribution's Python.
Run python(const Program &program, const QByteArray &script)
{
    const auto run = [&](const QString &interpreter, const QByteArray &text) {
        QProcess process;
        process.setWorkingDirectory(program.path(QString()));
        process.start(interpreter, {QStringLiteral("-c"), QString::fromUtf8(text)});
        Run result;
        if (process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit)
            result.exit = process.exitCode();
        result.out = process.readAllStandardOutput();
        result.error = process.readAllStandardError();
        return result;
    };
    const bool isFirst = run(QStringLiteral("python3"), "import numpy").exit == 0;
    return run(isFirst ? QStringLiteral("python3") : QStringLiteral("/usr/bin/python3"), script);
}

} // namespace

/// What makes the program comfortable: the configuration file, archives of NumPy, reading beside a writer, settings in
/// snapshots, hints, and a line about a long discovery.
class CtlComfortTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void theConfigurationFileNamesTheWall();
    void theConfigurationFileIsChecked_data();
    void theConfigurationFileIsChecked();
    void switchesOfTheConfigurationFile();

    void numpyReadsArchives();
    void archivesOfNumpyAreRead();
    void archivesAreRefused_data();
    void archivesAreRefused();

    void snapshotsHoldSettings();
    void unreadableSettingsAreNamed();
    void effectModesOfCabinetsAreNotOverwritten();
    void snapshotsWithoutSettingsAreRestored();
    void differentSettingsAreFound();

    void verbsAreNamedInErrors_data();
    void verbsAreNamedInErrors();
    void hintsSuitTheVerb_data();
    void hintsSuitTheVerb();

    void readersWorkBesideAWriter();
    void namesAreNotRunByTheCompletion();
    void aLongDiscoveryIsShown();

private:
    void configure(const QByteArray &text)
    {
        QVERIFY(m_program.folder().mkpath(QStringLiteral("config")));
        QVERIFY(m_program.write(QStringLiteral("config/correctionctl.ini"), text));
    }

    Program m_program;
};

void CtlComfortTest::initTestCase()
{
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json"),
                        m_program.path(QStringLiteral("small.json"))));
    QCOMPARE(m_program.run("--wall small.json wall create wall").exit, 0);
}

void CtlComfortTest::theConfigurationFileNamesTheWall()
{
    const auto screens = [this](const char *arguments, const QStringList &environment = {}) {
        const Run run = m_program.run(words(arguments), environment);
        return run.exit == 0 ? run.out : run.all();
    };
    QVERIFY(screens("screens").contains("arena-main")); // the demo
    configure("; a comment\nwall=small.json\n");
    QVERIFY(screens("screens").contains("\nmain "));
    QVERIFY(screens("--no-config screens").contains("arena-main"));
    QVERIFY(screens("screens --no-config").contains("arena-main"));
    QVERIFY(screens("--wall uhd screens").contains("uhd"));
    QVERIFY(screens("screens", {QStringLiteral("CORRECTION_WALL=uhd")}).contains("uhd"));
    QVERIFY(screens("--wall demo screens", {QStringLiteral("CORRECTION_WALL=uhd")}).contains("arena-main"));
    QVERIFY(screens("record calls.jsonl screens").contains("\nmain "));
    QVERIFY(screens("replay calls.jsonl screens").contains("\nmain "));

    // A wall that is chosen elsewhere takes the place of a backend, too.
    configure("[General]\nbackend=nosuch.so\n");
    const Run backend = m_program.run("screens");
    QVERIFY2(backend.exit == 69 && backend.error.contains("nosuch.so"), backend.all());
    QVERIFY(screens("--wall demo screens").contains("arena-main"));
    QVERIFY(screens("screens", {QStringLiteral("CORRECTION_WALL=uhd")}).contains("uhd"));
    QVERIFY(screens("wall describe").contains("led-wall"));

    configure("expect=\"devices=3,cabinets=9\"\nwall=small.json\n");
    QVERIFY(screens("screens").contains("\nmain "));
    configure("expect=devices=3,cabinets=8\nwall=small.json\n");
    const Run expected = m_program.run("screens");
    QVERIFY2(expected.exit == 21 && expected.error.contains("the wall has 9 cabinets, expected are 8"), expected.all());
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("config/correctionctl.ini"))));
}

void CtlComfortTest::theConfigurationFileIsChecked_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("complaint");
    const auto row = [](const char *name, const char *text, const char *complaint) {
        QTest::newRow(name) << QByteArray(text) << QByteArray(complaint);
    };
    row("an unknown key", "wal=demo\n", "wal: unknown key; the keys are color, wall, backend, expect, quiet, verbose\n");
    row("json", "json=true\n", "json: unknown key");
    row("no-config", "no-config=true\n", "no-config: unknown key");
    row("a key in a section", "[walls]\nwall=demo\n", "walls/wall: unknown key");
    row("no value", "wall=\n", "wall: has no value");
    row("a switch", "quiet=yes\n", "quiet: expected true or false, got \"yes\"");
    row("a colour", "color=red\n", "color: expected auto or always or never, got \"red\"");
    row("counts", "expect=3\n", "expect: expected ");
    row("two places", "wall=demo\nbackend=b.so\n", "wall and backend exclude each other");
    row("not an INI file", "wall\n", "not an INI file");
}

void CtlComfortTest::theConfigurationFileIsChecked()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, complaint);
    configure(text);
    const Run run = m_program.run("screens");
    QVERIFY2(run.exit == 65, run.all());
    QVERIFY2(run.error.contains("config/correctionctl.ini: " + complaint), run.all());
    QCOMPARE(run.out, QByteArray());
    QCOMPARE(m_program.run("--no-config screens").exit, 0);
    QCOMPARE(m_program.run("screens --help").exit, 0);
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("config/correctionctl.ini"))));
}

void CtlComfortTest::switchesOfTheConfigurationFile()
{
    configure("quiet=true\nverbose=true\ncolor=always\n");
    const Run quiet = m_program.run("--wall small.json screens");
    QCOMPARE(quiet.out, QByteArray());
    QVERIFY2(quiet.error.contains("debug: start getDeviceList"), quiet.all());
    configure("quiet=false\nverbose=false\ncolor=always\n");
    QVERIFY(m_program.run("--wall small.json screens").out.startsWith("\x1b[1mID"));
    QVERIFY(m_program.run(words("--wall small.json screens"), {QStringLiteral("NO_COLOR=1")}).out.startsWith("ID"));
    configure("color=never\n");
    QVERIFY(m_program.run("--wall small.json screens").out.startsWith("ID"));
    QVERIFY(QFile::remove(m_program.path(QStringLiteral("config/correctionctl.ini"))));
}

void CtlComfortTest::numpyReadsArchives()
{
    QCOMPARE(m_program.run("--wall small.json read main a.npy").exit, 0);
    QCOMPARE(m_program.run("--wall small.json read main a.npz").exit, 0);
    const QByteArray first = m_program.content(QStringLiteral("a.npz"));
    const Run same = python(m_program, "import numpy as np\n"
                                       "z = np.load('a.npz')\n"
                                       "assert z.files == ['coefficients'], z.files\n"
                                       "a = z['coefficients']\n"
                                       "assert a.shape == (16, 64, 9) and a.dtype == np.uint16, (a.shape, a.dtype)\n"
                                       "assert np.array_equal(a, np.load('a.npy')) and a.max() > 0\n"
                                       "import zipfile\n"
                                       "assert zipfile.ZipFile('a.npz').testzip() is None\n");
    QVERIFY2(same.exit == 0, same.all());
    QVERIFY(first.size() < m_program.content(QStringLiteral("a.npy")).size() / 4); // compressed
    QCOMPARE(m_program.run("--wall small.json read main a.npz").exit, 0);
    QCOMPARE(m_program.content(QStringLiteral("a.npz")), first);
}

void CtlComfortTest::archivesOfNumpyAreRead()
{
    const Run made = python(m_program, "import numpy as np\n"
                                       "a = np.arange(16 * 64 * 9, dtype='<u2').reshape(16, 64, 9)\n"
                                       "np.save('n.npy', a)\n"
                                       "np.savez('n-stored.npz', a)\n"
                                       "np.savez_compressed('n-compressed.npz', a)\n"
                                       "np.savez('n-named.npz', other=a[:2], coefficients=a)\n"
                                       "np.savez('n-wide.npz', coefficients=np.asfortranarray(a.astype('>i8')))\n");
    QVERIFY2(made.exit == 0, made.all());
    for (const char *name : {"n-stored.npz", "n-compressed.npz", "n-named.npz", "n-wide.npz"}) {
        const Run run = m_program.run(QStringList{QStringLiteral("diff"), QStringLiteral("n.npy"), QLatin1String(name)});
        QVERIFY2(run.exit == 0 && run.out == "0 of 1024 pixels differ\n", run.all());
    }
}

void CtlComfortTest::archivesAreRefused_data()
{
    QTest::addColumn<QByteArray>("script");
    QTest::addColumn<QByteArray>("complaint");
    const auto row = [](const char *name, const char *script, const char *complaint) {
        QTest::newRow(name) << QByteArray(script) << QByteArray(complaint);
    };
    row("several arrays", "np.savez(f, a, a)",
        "holds several arrays (arr_0, arr_1); the one to write must be called coefficients, once: np.savez(path, "
        "coefficients=a)");
    row("no array", "zipfile.ZipFile(f, 'w').writestr('a.txt', 'text')", "holds no array");
    row("nothing", "zipfile.ZipFile(f, 'w').close()", "holds no array");
    row("the same name twice",
        "z = zipfile.ZipFile(f, 'w')\nfor i in range(2): z.writestr('coefficients.npy', 'x')\nz.close()",
        "holds several arrays (coefficients, coefficients)");
    row("floating point", "np.savez(f, coefficients=a.astype('f8'))",
        "coefficients.npy: values of the type '<f8': coefficients are whole numbers");
    row("not a .npy inside", "zipfile.ZipFile(f, 'w').writestr('b.npy', 'text')", "b.npy: not a NumPy file");
    row("not an archive", "open(f, 'wb').write(b'PK\\3\\4 and more')", "not a ZIP archive, or damaged: ");
    row("an empty file", "open(f, 'wb').close()", "not a ZIP archive, or damaged: ");
}

void CtlComfortTest::archivesAreRefused()
{
    QFETCH(QByteArray, script);
    QFETCH(QByteArray, complaint);
    const Run made = python(m_program, "import numpy as np, warnings, zipfile\nwarnings.simplefilter('ignore')\n"
                                       "f = 'bad.npz'\na = np.zeros((16, 64, 9), '<u2')\n"
                                           + script + '\n');
    QVERIFY2(made.exit == 0, made.all());
    const Run run = m_program.run("--wall small.json write main bad.npz");
    QVERIFY2(run.exit == 65, run.all());
    QVERIFY2(run.error.contains("bad.npz: " + complaint), run.all());
}

void CtlComfortTest::snapshotsHoldSettings()
{
    QVERIFY(m_program.write(QStringLiteral("red.json"), "{\"red\": [1, 2, 3]}"));
    QVERIFY(m_program.write(QStringLiteral("other.json"), "{\"red\": [9], \"green\": [8]}"));
    QCOMPARE(m_program.run("--wall wall set main effect=3 gamma=red.json").exit, 0);
    const Run kept = m_program.run("--wall wall snapshot main main.snapshot");
    QVERIFY2(kept.exit == 0, kept.all());
    QVERIFY2(kept.out.contains("\nsettings kept: effect mode of 2 devices, gamma tables of 2 devices\n"), kept.all());
    QVERIFY2(kept.out.contains("\nnot kept: green and blue gamma tables of device A: it has none\n"), kept.all());
    QVERIFY2(kept.out.contains("\nnot kept: low-gray and multilayer coefficients, brightness, x-bit"), kept.all());
    const QJsonObject data = m_program.json("--wall wall snapshot main again.snapshot").data();
    QCOMPARE(data.value(QStringLiteral("settings")).toArray(), (QJsonArray{QStringLiteral("A"), QStringLiteral("B")}));
    QCOMPARE(data.value(QStringLiteral("notKept")).toArray().size(), 4);

    QCOMPARE(m_program.run("--wall wall set main effect=1 gamma=other.json").exit, 0);
    const Run without = m_program.run("--wall wall restore main.snapshot");
    QVERIFY2(without.exit == 0
                 && without.out.contains("settings not changed: --settings sets effect mode of 2 devices, gamma"),
             without.all());
    QCOMPARE(m_program.run("--wall wall effect main").out, QByteArray("1\n"));
    const Run dry = m_program.run("--wall wall restore main.snapshot --settings --dry-run");
    QVERIFY2(dry.exit == 0 && dry.out.contains("Correctionop::setScreenEffectMode"), dry.all());
    QCOMPARE(m_program.run("--wall wall effect main").out, QByteArray("1\n"));
    const Run with = m_program.run("--wall wall restore main.snapshot --settings");
    QVERIFY2(with.exit == 0, with.all());
    QVERIFY2(with.out.contains("\nsettings set: effect mode of 2 devices, gamma tables of 2 devices\n"), with.all());
    QVERIFY2(with.out.contains("\nnot set: green and blue gamma tables of device B: it had none\n"), with.all());
    QCOMPARE(m_program.run("--wall wall effect main").out, QByteArray("3\n"));
    const QJsonObject gamma = m_program.json("--wall wall gamma main").data().value(QStringLiteral("gamma")).toObject();
    QCOMPARE(gamma.value(QStringLiteral("red")).toArray(), (QJsonArray{1, 2, 3}));
    const Run verified = m_program.run("--wall wall verify main.snapshot");
    // There was no green table, and one was set since.
    QVERIFY2(verified.exit == 20, verified.all());
    QVERIFY2(verified.error.contains("settings differ: gamma tables of device A, gamma tables of device B"), verified.all());
}

void CtlComfortTest::unreadableSettingsAreNamed()
{
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("small.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    QJsonObject second = devices.at(1).toObject();
    second.insert(QStringLiteral("faults"),
                  QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("noAnswer")},
                                         {QStringLiteral("operation"), QStringLiteral("ScreenInfo::getGammaAllList")}}});
    devices.replace(1, second);
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(QStringLiteral("refuses.json"), QJsonDocument(wall).toJson()));
    const Run run = m_program.run("--wall refuses.json snapshot main refused.snapshot");
    QVERIFY2(run.exit == 0, run.all());
    QVERIFY2(run.error.contains("warning: device B: its gamma tables cannot be read: enTimeout (5)"), run.all());
    QVERIFY2(run.out.contains("\nsettings kept: effect mode of 2 devices\n"), run.all());
    QVERIFY2(run.out.contains("\nnot kept: gamma tables of device A: it has none\n"), run.all());
    QVERIFY2(run.out.contains("\nnot kept: gamma tables of device B: it does not report them\n"), run.all());
    const QByteArray file = m_program.content(QStringLiteral("refused.snapshot"));
    QVERIFY2(
        file.contains("{\"blue\":[],\"device\":\"A\",\"effect\":0,\"green\":[],\"red\":[]},{\"device\":\"B\",\"effect\":0}"),
        file.left(200));
    const Run verified = m_program.run("--wall small.json verify refused.snapshot");
    QVERIFY2(verified.exit == 0, verified.all());
    QVERIFY2(verified.out.contains("not compared: gamma tables of device B: not in the snapshot\n"), verified.all());
    QVERIFY2(!verified.out.contains("not compared: gamma tables of device A"), verified.all());
    const Run restored = m_program.run("--wall small.json restore refused.snapshot --settings");
    QVERIFY2(restored.exit == 0 && restored.out.contains("\nsettings set: effect mode of 2 devices\n"), restored.all());
    QVERIFY2(restored.out.contains("\nnot set: gamma tables of device A: it had none\n"), restored.all());
    QVERIFY2(restored.out.contains("\nnot set: gamma tables of device B: not in the snapshot\n"), restored.all());
    const Run part = m_program.run("--wall small.json snapshot main part.snapshot --cabinet 1");
    QVERIFY2(part.out.contains("not kept: effect mode and gamma tables of the devices, because --cabinet chooses a part"),
             part.all());
    QVERIFY(!part.out.contains("settings kept"));
}

void CtlComfortTest::effectModesOfCabinetsAreNotOverwritten()
{
    QCOMPARE(m_program.run("--wall small.json wall create modes").exit, 0);
    QCOMPARE(m_program.run("--wall modes effect main 1").exit, 0);
    QCOMPARE(m_program.run("--wall modes cabinet 3 effect 2").exit, 0);
    const Run kept = m_program.run("--wall modes snapshot main modes.snapshot");
    QVERIFY2(kept.exit == 0, kept.all());
    const Run set = m_program.run("--wall modes restore modes.snapshot --settings");
    QVERIFY2(set.exit == 0, set.all());
    QCOMPARE(m_program.run("--wall modes cabinet 3 effect").out, QByteArray("2\n"));
    QVERIFY2(set.out.contains("\nnot set: effect mode of device A: not in the snapshot\n"), set.all());
    QVERIFY2(set.out.contains("\nsettings set: effect mode of 1 device\n"), set.all());
    QVERIFY2(kept.out.contains("\nsettings kept: effect mode of 1 device\n"), kept.all());
    QVERIFY2(kept.out.contains("\nnot kept: effect mode of device A: its cabinets do not all report the same one\n"),
             kept.all());

    // A cabinet whose mode changed since, behind one whose mode is the same.
    QCOMPARE(m_program.run("--wall modes effect main 1").exit, 0);
    QCOMPARE(m_program.run("--wall modes snapshot main modes.snapshot").exit, 0);
    QCOMPARE(m_program.run("--wall modes cabinet 3 effect 2").exit, 0);
    const Run run = m_program.run("--wall modes verify modes.snapshot");
    QVERIFY2(run.exit == 20 && run.error.contains("settings differ: effect mode of device A"), run.all());
}

void CtlComfortTest::snapshotsWithoutSettingsAreRestored()
{
    const QString samples = QStringLiteral(SOURCE_DIR "/tests/tools/samples/");
    QVERIFY(QFile::copy(samples + QStringLiteral("main-1.snapshot"), m_program.path(QStringLiteral("old.snapshot"))));
    QVERIFY(QFile::copy(samples + QStringLiteral("every-entry.json"), m_program.path(QStringLiteral("old.json"))));
    QVERIFY(QFile::copy(samples + QStringLiteral("wall/wall.json"), m_program.path(QStringLiteral("old-wall.json"))));
    const Run run = m_program.run("--wall old-wall.json restore old.snapshot --settings");
    QVERIFY2(run.exit == 0 && run.out.contains("the snapshot holds no settings"), run.all());
}

void CtlComfortTest::differentSettingsAreFound()
{
    QCOMPARE(m_program.run("--wall wall set main effect=2 gamma=red.json").exit, 0);
    QCOMPARE(m_program.run("--wall wall snapshot main different.snapshot").exit, 0);
    QCOMPARE(m_program.run("--wall wall verify different.snapshot").exit, 0);
    QCOMPARE(m_program.run("--wall wall effect main 4 --device B").exit, 0);
    const Run run = m_program.run("--wall wall verify different.snapshot");
    QVERIFY2(run.exit == 20 && run.error.contains("different.snapshot: settings differ: effect mode of device B"),
             run.all());
    QCOMPARE(
        m_program.json("--wall wall verify different.snapshot").data().value(QStringLiteral("differingSettings")).toArray(),
        (QJsonArray{QStringLiteral("effect mode of device B")}));
}

void CtlComfortTest::verbsAreNamedInErrors_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("verb");
    QTest::addColumn<QString>("message");
    const auto row = [](const char *arguments, const char *verb, const char *message) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(verb)
                                 << QString::fromLatin1(message);
    };
    row("read main", "read", "read: FILE is required");
    row("cabinet x info", "cabinet info", "cabinet info: CID: expected a cabinet id, a decimal number, got \"x\"");
    row("pattern mode main 300", "pattern mode", "pattern mode: MODE: expected a number from 0 to 255, got \"300\"");
    row("record a.jsonl", "record", "record: which verb? See `correctionctl record --help`");
    row("record a.jsonl read main", "read", "read: FILE is required");
    row("record a.jsonl replay b.jsonl screens", "replay", "replay: only one of record and replay at a time");
    row("pattern", "", "pattern: a verb is missing");
    row("nothing", "", "\"nothing\" is not a verb or option");
}

void CtlComfortTest::verbsAreNamedInErrors()
{
    QFETCH(QString, arguments);
    QFETCH(QString, verb);
    QFETCH(QString, message);
    const QJsonObject document = m_program.json(arguments.split(QLatin1Char(' '))).document();
    QCOMPARE(document.value(QStringLiteral("exit")).toInt(), 64);
    QCOMPARE(document.value(QStringLiteral("verb")).toString(), verb);
    QCOMPARE(document.value(QStringLiteral("message")).toString(), message);
}

void CtlComfortTest::hintsSuitTheVerb_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exit");
    QTest::addColumn<QByteArray>("hint");
    const auto row = [](const char *arguments, int exit, const char *hint) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << exit << QByteArray(hint);
    };
    row("--wall small.json apply main --type chroma", 7, "Only low-gray coefficients can be applied.\n");
    row("diff a.npy n.npy", 20, "`diff --picture` draws where.\n");
    row("--wall wall verify hint.snapshot", 20, "`restore` writes the snapshot back.\n");
    row("replay hint.jsonl effect main 4", 20, "record the conversation again if the difference is wanted.\n");
    row("--wall small.json screens --expect devices=4", 21,
        "Check power and network of the devices that are missing or refused.\n");
    row("--wall small.json show main --expect devices=4", 21, "--device chooses the parts that are there.\n");
}

void CtlComfortTest::hintsSuitTheVerb()
{
    QFETCH(QString, arguments);
    QFETCH(int, exit);
    QFETCH(QByteArray, hint);
    if (!m_program.exists(QStringLiteral("hint.snapshot"))) {
        QCOMPARE(m_program.run("--wall wall snapshot main hint.snapshot").exit, 0);
        QCOMPARE(m_program.run("--wall wall effect main 7").exit, 0);
        QCOMPARE(m_program.run("record hint.jsonl --wall small.json effect main 3").exit, 0);
    }
    const Run run = m_program.run(arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == exit, run.all());
    QVERIFY2(run.error.contains(hint), run.all());
}

/// A writer that is stopped in the middle of its work holds the lock.
void CtlComfortTest::readersWorkBesideAWriter()
{
    QCOMPARE(m_program.run("--wall small.json wall create busy").exit, 0);
    QCOMPARE(m_program.run("--wall busy read main before.npy").exit, 0);
    QProcess writer;
    m_program.start(writer, words("--wall busy -v write main before.npy --save"));
    writer.setReadChannel(QProcess::StandardError);
    QByteArray printed;
    while (!printed.contains("getDeviceList") && writer.waitForReadyRead(-1))
        printed += writer.readAllStandardError();
    ::kill(pid_t(writer.processId()), SIGSTOP);
    QVERIFY(m_program.exists(QStringLiteral("busy/lock")));
    for (const char *arguments :
         {"screens", "tree", "show main", "read main beside.npy", "snapshot main beside.snapshot", "verify beside.snapshot",
          "brightness main", "clear main --dry-run", "doctor", "wall describe", "wall render main beside.png"}) {
        const Run run = m_program.run(QStringList{QStringLiteral("--wall"), QStringLiteral("busy")} + words(arguments));
        QVERIFY2(run.exit == 0, arguments + run.all());
    }
    for (const char *arguments : {"clear main", "brightness main 3", "restore beside.snapshot", "lock main"}) {
        const Run run = m_program.run(QStringList{QStringLiteral("--wall"), QStringLiteral("busy")} + words(arguments));
        QVERIFY2(run.exit == 69 && run.error.contains("the wall is in use by process"), arguments + run.all());
    }
    ::kill(pid_t(writer.processId()), SIGCONT);
    QVERIFY(writer.waitForFinished(-1));
    QCOMPARE(writer.exitCode(), 0);
}

/// Names come from devices, and compgen expands words.
void CtlComfortTest::namesAreNotRunByTheCompletion()
{
    QByteArray wall = m_program.content(QStringLiteral("small.json"));
    wall.replace("\"id\": \"sign\"", "\"id\": \"$(touch ran) two words\"");
    QVERIFY(m_program.write(QStringLiteral("names.json"), wall));
    const QStringList offered = m_program.complete(QStringLiteral("--wall names.json show "));
    QVERIFY2(offered.contains(QStringLiteral("\\$\\(touch\\ ran\\)\\ two\\ words")),
             qPrintable(offered.join(QLatin1Char('\n'))));
    QVERIFY(offered.contains(QStringLiteral("main")));
    QVERIFY(!m_program.exists(QStringLiteral("ran")));
}

void CtlComfortTest::aLongDiscoveryIsShown()
{
    if (QProcess::execute(QStringLiteral("script"), words("-qec true /dev/null")) != 0)
        QSKIP("no pseudo-terminals here", "");
    QJsonObject wall = QJsonDocument::fromJson(m_program.content(QStringLiteral("small.json"))).object();
    QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
    QJsonObject second = devices.at(1).toObject();
    second.insert(QStringLiteral("faults"),
                  QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("lateAnswer")},
                                         {QStringLiteral("operation"), QStringLiteral("ScreenInfo::getScreens")},
                                         {QStringLiteral("milliseconds"), 4000}}});
    devices.replace(1, second);
    wall.insert(QStringLiteral("devices"), devices);
    QVERIFY(m_program.write(QStringLiteral("slow.json"), QJsonDocument(wall).toJson()));
    const auto printedBy = [this](const QString &arguments) {
        QProcess process;
        process.setWorkingDirectory(m_program.path(QString()));
        process.start(QStringLiteral("script"),
                      {QStringLiteral("-qec"),
                       QStringLiteral("'%1' --wall slow.json %2").arg(QStringLiteral(CORRECTIONCTL), arguments),
                       QStringLiteral("/dev/null")});
        return process.waitForFinished(-1) ? process.readAllStandardOutput() : QByteArray();
    };
    const QByteArray printed = printedBy(QStringLiteral("screens"));
    QVERIFY2(printed.contains("\r\x1b[Kdiscovering the screens, 1 of 3 devices queried, waiting for device B (2 s)"),
             printed);
    QVERIFY2(printed.contains("\r\x1b[K\x1b[1mID"), printed); // erased before the result
    const QByteArray quiet = printedBy(QStringLiteral("screens --quiet"));
    QVERIFY2(!quiet.contains("discovering"), quiet);
    QVERIFY(!m_program.run("--wall slow.json screens").error.contains("discovering"));
}

QTEST_GUILESS_MAIN(CtlComfortTest)
#include "tst_ctlcomfort.moc"
