#include "Program.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

using namespace TestSupport;

/// A program that is built with a device service of its own: what needs the virtual wall is refused before anything is sent,
/// and is not offered.
class CtlOwnServiceTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void theServiceIsReached();
    void whatNeedsTheVirtualWallIsRefused_data();
    void whatNeedsTheVirtualWallIsRefused();
    void whatIsRefusedIsNotOffered();
    void completionOffersNothingThatIsRefused_data();
    void completionOffersNothingThatIsRefused();
    void helpOfWhatIsRefusedIsRefused_data();
    void helpOfWhatIsRefusedIsRefused();
    void aMissingDeviceIsNamed();
    void calibrationTakesFilesAlone();

private:
    /// The operations that the service was called with.
    QStringList calls() const;

    Program m_program{QStringLiteral(OWN_SERVICE)};
};

void CtlOwnServiceTest::initTestCase()
{
    QVERIFY(QFile::copy(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json"),
                        m_program.path(QStringLiteral("small.json"))));
    const Run run = m_program.run("read main main.npy");
    QVERIFY2(run.exit == 0, run.all());
}

QStringList CtlOwnServiceTest::calls() const
{
    QStringList operations;
    const QList<QByteArray> lines = m_program.content(QStringLiteral("calls.jsonl")).split('\n');
    for (const QByteArray &line : lines) {
        const QJsonObject call = QJsonDocument::fromJson(line).object();
        if (call.contains(QStringLiteral("operation")))
            operations.append(call.value(QStringLiteral("operation")).toString());
    }
    return operations;
}

/// The file that the other tests check exists when a request is sent.
void CtlOwnServiceTest::theServiceIsReached()
{
    const Run run = m_program.run("clear main");
    QVERIFY2(run.exit == 0, run.all());
    QCOMPARE(calls().count(QStringLiteral("Correctionop::clearCabinetsUserCoefficient")), 2);
    // What is uploaded stays: the service goes on when this program ends.
    const Run write = m_program.run("write main main.npy");
    QVERIFY2(write.exit == 0 && !write.out.contains("not saved"), write.all());
}

void CtlOwnServiceTest::whatNeedsTheVirtualWallIsRefused_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QString>("refused");
    const auto row = [](const char *arguments, const char *refused) {
        QTest::newRow(arguments) << QString::fromLatin1(arguments) << QString::fromLatin1(refused);
    };
    row("--wall demo clear main", "--wall");
    row("--wall=demo clear main", "--wall");
    row("clear --wall demo main", "--wall");
    row("clear main --wall demo", "--wall");
    row("clear main --wall=demo", "--wall");
    row("--quiet --wall demo clear main", "--wall");
    row("--json clear main --wall demo", "--wall");
    row("--wall small.json write main main.npy --save", "--wall");
    row("--wall demo cabinet 7 brightness 4000", "--wall");
    row("cabinet 7 brightness 4000 --wall demo", "--wall");
    row("cabinet --wall demo 7 brightness 4000", "--wall");
    row("--wall demo group 1 2 clear", "--wall");
    row("--wall demo pattern clear main", "--wall");
    row("--wall demo screens", "--wall");
    row("--wall demo doctor", "--wall");
    row("--wall demo watch --count 1", "--wall");
    row("--backend x.so clear main", "--backend");
    row("clear main --backend x.so:A", "--backend");
    row("clear main --dry-run", "--dry-run");
    row("clear --dry-run main", "--dry-run");
    row("clear main --dry-run=true", "--dry-run");
    row("set main brightness=4000 --dry-run", "--dry-run");
    row("cabinet 7 brightness 4000 --dry-run", "--dry-run");
    row("group 1 2 clear --dry-run", "--dry-run");
    row("pattern clear main --dry-run", "--dry-run");
    row("record new.jsonl clear main", "record");
    row("record new.jsonl --wall demo clear main", "record");
    row("--json record new.jsonl clear main", "record");
    row("replay new.jsonl clear main", "replay");
    row("wall create made", "wall create");
    row("wall describe", "wall describe");
    row("wall describe new.json", "wall describe");
    row("wall render main new.png", "wall render");
    row("wall", "wall");
    row("wall nosuch", "wall");
    row("wall create", "wall create");
}

void CtlOwnServiceTest::whatNeedsTheVirtualWallIsRefused()
{
    QFETCH(QString, arguments);
    QFETCH(QString, refused);
    const QStringList before = m_program.files();
    const Run run = m_program.run(arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 64, run.all());
    QVERIFY2(run.error.contains(refused.toUtf8() + ": not offered here; this program was built with a device"), run.all());
    QCOMPARE(calls(), QStringList());
    QCOMPARE(m_program.files(), before);
}

void CtlOwnServiceTest::whatIsRefusedIsNotOffered()
{
    const QJsonArray verbs = m_program.json("verbs").data().value(QStringLiteral("verbs")).toArray();
    QVERIFY(verbs.size() > 40);
    QByteArray all = m_program.run("--help").out + m_program.run("--man").out + m_program.run("verbs").out;
    for (const QJsonValue &verb : verbs)
        all += m_program
                   .run(verb.toObject()
                            .value(QStringLiteral("name"))
                            .toString()
                            .replace(QRegularExpression(QStringLiteral("^(cabinet|group)")), QStringLiteral("\\1 1"))
                            .split(QLatin1Char(' '))
                        + words("--help"))
                   .out;
    QVERIFY(all.contains("usage: correctionctl clear SCREEN") && all.contains("usage: correctionctl cabinet CID write"));
    QString text = QString::fromUtf8(all).remove(QLatin1Char('\\'));
    for (const char *name : {"--wall", "--backend", "--dry-run", "\\brecord\\b", "\\breplay\\b",
                             "\\bwall (create|describe|render|\\.\\.\\.)", "virtual wall", "preset"}) {
        const auto found = QRegularExpression(QLatin1String(name)).match(text);
        QVERIFY2(!found.hasMatch(), qPrintable(text.mid(found.capturedStart() - 100, 200)));
    }
}

void CtlOwnServiceTest::completionOffersNothingThatIsRefused_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("offered");
    const auto row = [](const char *typed, const char *offered) {
        QTest::newRow(typed) << QString::fromLatin1(typed)
                             << QString::fromLatin1(offered).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    row("--w", "");
    row("re", "read restore report");
    row("wa", "watch");
    row("clear main --d", "--device");
    row("clear ", "main sign");
}

void CtlOwnServiceTest::completionOffersNothingThatIsRefused()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, offered);
    QCOMPARE(m_program.complete(typed), offered);
}

void CtlOwnServiceTest::helpOfWhatIsRefusedIsRefused_data()
{
    QTest::addColumn<QString>("arguments");
    for (const char *arguments : {"wall --help", "wall create --help", "help wall", "help record", "replay --help"})
        QTest::newRow(arguments) << QString::fromLatin1(arguments);
}

void CtlOwnServiceTest::helpOfWhatIsRefusedIsRefused()
{
    QFETCH(QString, arguments);
    const Run run = m_program.run(arguments.split(QLatin1Char(' ')));
    QVERIFY2(run.exit == 64 && run.error.contains(": not offered here"), run.all());
}

/// Calls of this service cannot be observed: the devices that it lists are compared with those of the screens.
void CtlOwnServiceTest::aMissingDeviceIsNamed()
{
    const QByteArray whole = m_program.content(QStringLiteral("small.json"));
    QFile part(QStringLiteral(SOURCE_DIR "/tests/tools/walls/one-silent.json"));
    QVERIFY(part.open(QIODevice::ReadOnly));
    QVERIFY(m_program.write(QStringLiteral("small.json"), part.readAll()));
    const Run screens = m_program.run("screens");
    QVERIFY2(screens.exit == 0 && screens.error.contains("warning: device B is left out: it did not answer about itself"),
             screens.all());
    QCOMPARE(m_program.run("save main").exit, 21);
    QVERIFY(!calls().contains(QStringLiteral("Correctionop::saveCabinetsCoeffcient")));
    // Without a report of the library the program has no result.
    const Run brightness = m_program.run("cabinet 9 brightness 4000");
    QVERIFY2(brightness.out.contains("4000 sent; the library does not report whether the device took it"), brightness.all());
    const Run cleared = m_program.run("clear sign --type multilayer --device C");
    QVERIFY2(cleared.exit == 5, cleared.all());
    QVERIFY(m_program.write(QStringLiteral("small.json"), whole));
}

/// No camera is known: the plan is for a real one, and its photos are files.
void CtlOwnServiceTest::calibrationTakesFilesAlone()
{
    const Run refused = m_program.run("measure main never.npy");
    QVERIFY2(refused.exit == 64 && refused.error.contains("no camera for a device service: --plan DIRECTORY writes"),
             refused.all());
    QVERIFY(!calls().contains(QStringLiteral("ScreenInfo::setPixelImage")));
    QCOMPARE(m_program.run("measure main never.npy --camera sensor").exit, 64);
    const Run plan = m_program.run("measure main --plan shots");
    QVERIFY2(plan.exit == 0 && plan.out.contains("green-1-1.npy"), plan.all());

    // Photos of an ideal camera, made by the program with the virtual wall.
    const Program wall;
    QVERIFY(wall.write(QStringLiteral("small.json"), m_program.content(QStringLiteral("small.json"))));
    const QString photos = m_program.path(QStringLiteral("photos"));
    const Run seen = wall.run(words("--wall small.json measure main seen.npy --photos") + QStringList{photos});
    QVERIFY2(seen.exit == 0, seen.all());
    for (const char *line : {"measure --from photos seen.npy", "calibrate seen.npy corrected.npy", "report seen.npy",
                             "write main corrected.npy --save"}) {
        const Run run = m_program.run(line);
        QVERIFY2(run.exit == 0, run.all());
    }
    QCOMPARE(m_program.content(QStringLiteral("seen.npy")), wall.content(QStringLiteral("seen.npy")));
}

QTEST_GUILESS_MAIN(CtlOwnServiceTest)
#include "tst_ctlownservice.moc"
