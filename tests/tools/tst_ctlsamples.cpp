// Files of every form as they were written before: they are read, and the same commands write the same bytes.

#include "Program.h"

#include <adapter/journal/Journal.h>

#include <QtCore/QDirIterator>
#include <QtTest/QtTest>

using TestSupport::Program;
using TestSupport::Run;
using TestSupport::words;

namespace {

const QString samples = QStringLiteral(SOURCE_DIR "/tests/tools/samples/");

QByteArray sample(const QString &name)
{
    QFile file(samples + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QStringList filesOf(const QString &folder)
{
    QStringList names;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        names += QDir(folder).relativeFilePath(it.next());
    names.sort();
    return names;
}

} // namespace

class CtlSamplesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aWallFile()
    {
        const Program program;
        const Run run = program.run({QStringLiteral("--wall"), samples + QStringLiteral("every-entry.json"),
                                     QStringLiteral("wall"), QStringLiteral("describe")});
        QVERIFY2(run.exit == 0, run.all().constData());
        QVERIFY(run.out.size() > 2000);
        QCOMPARE(run.out, sample(QStringLiteral("every-entry.json")));
    }

    void aWallDirectory_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("version 2") << QStringLiteral("wall-2");
        QTest::newRow("version 3") << QStringLiteral("wall");
    }
    void aWallDirectory()
    {
        QFETCH(const QString, name);
        const Program program;
        copyWall(program, name);
        const Run run = program.json("--wall wall show main");
        QVERIFY2(run.exit == 0, run.all().constData());
        QCOMPARE(run.out, sample(QStringLiteral("show.json")));
        QCOMPARE(program.run("--wall wall snapshot main again.snapshot").exit, 0);
        QCOMPARE(program.content(QStringLiteral("again.snapshot")), sample(QStringLiteral("main.snapshot")));
    }

    void aSnapshot_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("version 1") << QStringLiteral("main-1.snapshot");
        QTest::newRow("version 2") << QStringLiteral("main.snapshot");
    }
    void aSnapshot()
    {
        QFETCH(const QString, name);
        const Program program;
        copyWall(program, QStringLiteral("wall"));
        QVERIFY(program.write(QStringLiteral("main.snapshot"), sample(name)));
        QCOMPARE(program.run("--wall wall clear main").exit, 0);
        const Run run = program.run("--wall wall restore main.snapshot --save");
        QVERIFY2(run.exit == 0, run.all().constData());
        QCOMPARE(program.run("--wall wall snapshot main again.snapshot").exit, 0);
        QCOMPARE(program.content(QStringLiteral("again.snapshot")), sample(QStringLiteral("main.snapshot")));

        // A changed byte of a cabinet.
        QByteArray damaged = sample(name);
        const int at = damaged.indexOf('\n', damaged.indexOf('\n') + 1) + 100;
        damaged[at] = char(damaged[at] ^ 1);
        QVERIFY(program.write(QStringLiteral("damaged.snapshot"), damaged));
        const Run refused = program.run("--wall wall restore damaged.snapshot --save");
        QCOMPARE(refused.exit, 65);
        QVERIFY2(refused.all().contains("cabinet 1: damaged, its checksum does not match"), refused.all().constData());
    }

    void aJournal()
    {
        const Program program;
        QVERIFY(program.write(QStringLiteral("journal.jsonl"), sample(QStringLiteral("journal.jsonl"))));
        QVERIFY(program.write(QStringLiteral("gamma.json"), sample(QStringLiteral("gamma.json"))));
        const Run run =
            program.run("replay journal.jsonl set main brightness=4000 abl=on gamma=gamma.json multilayer=1,2:3,4,5");
        QVERIFY2(run.exit == 0, run.all().constData());

        QString error;
        const QList<Adapter::Call> calls = Adapter::readJournal(samples + QStringLiteral("journal.jsonl"), &error);
        QCOMPARE(error, QString());
        QByteArray again = Adapter::journalHeader(QStringLiteral("virtual wall"));
        for (const Adapter::Call &call : calls)
            again += Adapter::journalLine(call);
        QCOMPARE(again, sample(QStringLiteral("journal.jsonl")));
    }

    void areMadeAgain()
    {
        const Program program;
        for (const char *const name : {"gamma.json", "config.bin", "pixels.json", "wall/wall.json"}) {
            const QString file = QLatin1String(name);
            QVERIFY(program.write(QFileInfo(file).fileName(), sample(file)));
        }
        for (const char *const command :
             {"--wall wall.json wall create wall", "--wall wall write main pixels.json --save",
              "--wall wall cabinet 1 flag upper-left",
              "--wall wall cabinet 2 module flag 0=Fl\xc3\xa4"
              "che 1=\"x\"",
              "--wall wall cabinet 1 config put config.bin",
              "--wall wall set main brightness=4000 abl=on xbit=1:on effect=2 gamma=gamma.json multilayer=1,2:3,4,5",
              "--wall wall cabinet 2 brightness 77", "--wall wall cabinet 2 gamma gamma.json",
              "--wall wall cabinet 1 module save", "--wall wall multilayer main 1:2 3:4 --v2"}) {
            const Run run = program.run(words(command), {QStringLiteral("LC_ALL=C.UTF-8")});
            QVERIFY2(run.exit == 0, command + run.all());
        }
        const QStringList names = filesOf(samples + QStringLiteral("wall"));
        QCOMPARE(names.size(), 6);
        QCOMPARE(filesOf(program.path(QStringLiteral("wall"))), names);
        for (const QString &name : names)
            QCOMPARE(program.content(QStringLiteral("wall/") + name), sample(QStringLiteral("wall/") + name));
    }

private:
    /// Copies a sample to "wall".
    static void copyWall(const Program &program, const QString &from)
    {
        const QStringList names = filesOf(samples + from);
        QCOMPARE(names.size(), 6);
        for (const QString &name : names) {
            QVERIFY(program.folder().mkpath(QFileInfo(QStringLiteral("wall/") + name).path()));
            QVERIFY(program.write(QStringLiteral("wall/") + name, sample(from + QLatin1Char('/') + name)));
        }
    }
};

QTEST_GUILESS_MAIN(CtlSamplesTest)
#include "tst_ctlsamples.moc"
