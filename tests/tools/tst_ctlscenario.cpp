#include "Program.h"

#include <QtCore/QRandomGenerator>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

using namespace TestSupport;

/// A night's work over many calls of the program, and the sessions that the pages show.
class CtlScenarioTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aNightOnAWall();
    void pagesShowTrueSessions_data();
    void pagesShowTrueSessions();
};

/// Make a wall, calibrate it, break it, restore it from a snapshot, and verify with a comparison: each step a process.
void CtlScenarioTest::aNightOnAWall()
{
    Program program;
    const auto expect = [&program](int exit, const char *line, const char *said) {
        const Run run = program.run(line);
        const QByteArray output = run.out + run.error;
        if (run.exit == exit && output.contains(said))
            return true;
        qWarning("%s: %s", line, run.all().constData());
        return false;
    };
    QVERIFY(expect(0, "--wall demo wall create arena", "arena: a wall directory, made from demo"));
    QVERIFY(expect(0, "--wall arena read arena-main delivered.npy", "768x512 chroma pixels"));

    // Calibrate: two rectangles of random values, one of them over both controllers and at no cabinet's corner.
    QRandomGenerator random(20240229);
    QByteArray text;
    for (int i = 0; i < 301 * 157 * 9; ++i)
        text += (i == 0 ? "[" : ",") + QByteArray::number(random.bounded(65536));
    QVERIFY(program.write(QStringLiteral("correction.json"), text + ']'));
    QVERIFY(expect(0, "--wall arena write arena-main correction.json --rect 233,71,301x157 --save",
                   "written and saved from correction.json"));
    QVERIFY(expect(0, "--wall arena write arena-main correction.json --rect 0,300,301x157 --device left", "not kept"));
    QVERIFY(expect(0, "--wall arena diff correction.json --screen arena-main --rect 233,71,301x157",
                   "0 of 47257 pixels differ"));
    // What was not saved was lost when the process ended.
    QVERIFY(
        expect(20, "--wall arena diff correction.json --screen arena-main --rect 0,300,301x157", "of 47257 pixels differ"));
    QVERIFY(expect(0, "--wall arena read arena-main calibrated.npy", "calibrated.npy"));
    QVERIFY(
        expect(20, "diff delivered.npy calibrated.npy --picture changed.png", "of 393216 pixels differ, worst in channel"));
    QVERIFY(program.exists(QStringLiteral("changed.png")));
    QVERIFY(expect(0, "--wall arena snapshot arena-main good.snapshot", "24 cabinets kept in good.snapshot"));

    // Break: everything is as delivered again, also for the next process.
    QVERIFY(expect(0, "--wall arena clear arena-main", "chroma coefficients cleared"));
    QVERIFY(expect(0, "--wall arena diff delivered.npy --screen arena-main", "0 of 393216 pixels differ"));

    // A dry run of the restore changes nothing, the restore everything.
    QVERIFY(expect(0, "--wall arena restore good.snapshot --save --dry-run",
                   "dry run: 26 requests, 7.1 MB of data, for 2 devices and 24 cabinets; nothing sent"));
    QVERIFY(expect(0, "--wall arena diff delivered.npy --screen arena-main", "0 of 393216 pixels differ"));
    QVERIFY(
        expect(0, "--wall arena restore good.snapshot --save", "24 cabinets written, verified, saved from good.snapshot"));
    QVERIFY(expect(0, "--wall arena diff calibrated.npy --screen arena-main", "0 of 393216 pixels differ"));
    QVERIFY(expect(0, "--wall arena read arena-main restored.npy", "restored.npy"));
    QCOMPARE(program.content(QStringLiteral("restored.npy")), program.content(QStringLiteral("calibrated.npy")));
    QCOMPARE(program.files().filter(QStringLiteral(".npy")).size(), 3); // no temporary file is left
}

void CtlScenarioTest::pagesShowTrueSessions_data()
{
    QTest::addColumn<QString>("page");
    QTest::addColumn<int>("sessions");
    QMap<QString, int> sessions{{QStringLiteral("docs/correctionctl.md"), 5},
                                {QStringLiteral("docs/walls.md"), 1},
                                {QStringLiteral("docs/calibration.md"), 1},
                                {QStringLiteral("docs/service-check.md"), 1},
                                {QStringLiteral("docs/guides/backend.md"), 1}};
    for (const char *const folder : {"", "docs/", "docs/guides/"}) {
        const QString path = QString::fromLatin1(folder);
        const QStringList files = QDir(QStringLiteral(SOURCE_DIR "/") + path).entryList({QStringLiteral("*.md")});
        for (const QString &file : files)
            QTest::newRow(qPrintable(path + file)) << path + file << sessions.take(path + file);
    }
    QVERIFY2(sessions.isEmpty(), qPrintable(sessions.keys().join(QLatin1Char(' '))));
}

/// Runs the `console` blocks of a page in one folder, line after line, and compares what is printed. A block of JSON below
/// the name of a file is that file.
void CtlScenarioTest::pagesShowTrueSessions()
{
    QFETCH(QString, page);
    QFETCH(int, sessions);
#ifndef SERVICE_CHECK
    if (page == QLatin1String("docs/service-check.md") || page == QLatin1String("docs/guides/backend.md"))
        QSKIP("service-check is not built");
#endif
    QFile file(QStringLiteral(SOURCE_DIR "/") + page);
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    Program program;
    QVERIFY(QFile::link(QStringLiteral(CORRECTIONCTL), program.path(QStringLiteral("correctionctl"))));
#ifdef SERVICE_CHECK
    QVERIFY(QFile::link(QStringLiteral(SERVICE_CHECK), program.path(QStringLiteral("service-check"))));
    QVERIFY(QFile::link(QStringLiteral(LITTLE_BACKEND), program.path(QStringLiteral("little-backend.so"))));
#endif
    static const QRegularExpression named(QStringLiteral("^`([a-z]+\\.json)`:\n\n```json\n(.*?)```$"),
                                          QRegularExpression::DotMatchesEverythingOption
                                              | QRegularExpression::MultilineOption);
    for (auto it = named.globalMatch(text); it.hasNext();) {
        const auto match = it.next();
        QVERIFY(program.write(match.captured(1), match.captured(2).toUtf8()));
    }
    const QStringList parts = text.split(QStringLiteral("```console\n"));
    for (const QString &part : parts.mid(1)) {
        const QStringList lines = part.section(QStringLiteral("```"), 0, 0).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QVERIFY(lines.value(0).startsWith(QLatin1String("$ ")));
        QStringList printed;
        for (const QString &line : lines) {
            if (!line.startsWith(QLatin1String("$ ")))
                continue;
            QProcess shell;
            shell.setWorkingDirectory(program.path(QString()));
            shell.setProcessChannelMode(QProcess::MergedChannels);
            shell.start(QStringLiteral("sh"), {QStringLiteral("-c"), QStringLiteral("PATH=.:$PATH; ") + line.mid(2)});
            QVERIFY(shell.waitForFinished(-1));
            printed += line;
            printed += QString::fromUtf8(shell.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        }
        QCOMPARE(printed.join(QLatin1Char('\n')), lines.join(QLatin1Char('\n')));
    }
    QCOMPARE(parts.size() - 1, sessions);
}

QTEST_GUILESS_MAIN(CtlScenarioTest)
#include "tst_ctlscenario.moc"
