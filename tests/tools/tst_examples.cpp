#include "Program.h"

#include <QtTest/QtTest>

using namespace TestSupport;

/// The examples as they are, and on walls where something is wrong: a message and the exit code 1.
class ExamplesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void whatIsRightIsPrinted_data();
    void whatIsRightIsPrinted();
    void whatIsWrongIsSaid_data();
    void whatIsWrongIsSaid();
    void readmeShowsTheShortHost();

private:
    Program m_host{QStringLiteral(FIRST_HOST)};
    Program m_unplugged{QStringLiteral(UNPLUGGED)};
};

void ExamplesTest::initTestCase()
{
    const Program tool;
    const auto make = [&](const QString &name, const QByteArray &bytes) {
        return m_host.write(name, bytes) && m_unplugged.write(name, bytes);
    };
    QFile file(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(make(QStringLiteral("small.json"), file.readAll()));
    QVERIFY(make(QStringLiteral("nothing.json"), "{\"format\": \"led-wall\", \"version\": 1, \"devices\": []}"));

    // The demo wall with something about its devices.
    const Run described = tool.run("--wall demo wall describe");
    QVERIFY2(described.exit == 0, described.all());
    const auto with = [&](const char *name, const QString &key, const QJsonValue &value) {
        QJsonObject wall = QJsonDocument::fromJson(described.out).object();
        QJsonArray devices = wall.value(QStringLiteral("devices")).toArray();
        for (int i = 0; i < devices.size(); ++i) {
            QJsonObject device = devices.at(i).toObject();
            device.insert(key, value);
            devices.replace(i, device);
        }
        wall.insert(QStringLiteral("devices"), devices);
        return make(QLatin1String(name), QJsonDocument(wall).toJson());
    };
    QVERIFY(with("silent.json", QStringLiteral("personality"), QStringLiteral("silent")));
    const auto fault = [](const char *operation) {
        return QJsonArray{QJsonObject{{QStringLiteral("type"), QStringLiteral("noAnswer")},
                                      {QStringLiteral("operation"), QLatin1String(operation)}}};
    };
    QVERIFY(with("refuses.json", QStringLiteral("faults"), fault("Correctionop::uploadCoefficientAsync")));
    QVERIFY(with("forgets.json", QStringLiteral("faults"), fault("Correctionop::saveCabinetsCoeffcient")));
}

void ExamplesTest::whatIsRightIsPrinted_data()
{
    QTest::addColumn<bool>("first");
    QTest::addColumn<QByteArray>("printed");
    QTest::newRow("first host") << true
                                << QByteArray("correction: Cannot find SubScreen. SubScreen key: left\n"
                                              "correction: Cannot find SubScreen. SubScreen key: right\n"
                                              "written and saved\n");
    QTest::newRow("unplugged") << false
                               << QByteArray("correction: Cannot find SubScreen. SubScreen key: A\n"
                                             "correction: Cannot find SubScreen. SubScreen key: B\n"
                                             "correction: call uploadCoefficientAsync() timeout. device:B\n"
                                             "written: 5 (5 is a timeout), changes: 1\n"
                                             "correction: Cannot find SubScreen. SubScreen key: A\n"
                                             "the screen is 128 pixels wide, saved: 0\n");
}

void ExamplesTest::whatIsRightIsPrinted()
{
    QFETCH(bool, first);
    QFETCH(QByteArray, printed);
    const Run run = (first ? m_host : m_unplugged).run(QStringList());
    QVERIFY2(run.exit == 0, run.all());
    QCOMPARE(run.out + run.error, printed);
}

void ExamplesTest::whatIsWrongIsSaid_data()
{
    QTest::addColumn<bool>("first");
    QTest::addColumn<QString>("wall");
    QTest::addColumn<QByteArray>("said");
    const auto row = [](const char *title, bool first, const char *wall, const char *said) {
        QTest::newRow(title) << first << QString::fromLatin1(wall) << QByteArray(said);
    };
    const char *const none = "no screen was found (code 0): is a device there, and does it answer?\n";
    const char *const noDevice = "no screen was found (code 6): is a device there, and does it answer?\n";
    row("first host, silent devices", true, "silent.json", none);
    row("first host, no device", true, "nothing.json", noDevice);
    row("first host, a wall that does not exist", true, "nosuch.json", "nosuch.json");
    row("first host, a small screen", true, "small.json", "the screen is too small\n");
    row("first host, devices that refuse uploads", true, "refuses.json", "writing failed: code 5\n");
    row("first host, devices that refuse to save", true, "forgets.json", "saving failed: code 5\n");
    row("unplugged, silent devices", false, "silent.json", none);
    row("unplugged, no device", false, "nothing.json", noDevice);
    row("unplugged, a wall that does not exist", false, "nosuch.json", "nosuch.json");
    row("unplugged, a screen of another id", false, "small.json", none);
}

void ExamplesTest::whatIsWrongIsSaid()
{
    QFETCH(bool, first);
    QFETCH(QString, wall);
    QFETCH(QByteArray, said);
    const Run run = (first ? m_host : m_unplugged).run(QStringList{wall});
    QVERIFY2(run.exit == 1, run.all());
    QVERIFY2(run.error.contains(said), run.all());
}

/// Its code and what it prints. It stays short.
void ExamplesTest::readmeShowsTheShortHost()
{
    QFile readme(QStringLiteral(SOURCE_DIR "/README.md"));
    QFile source(QStringLiteral(SOURCE_DIR "/examples/00-short-host.cpp"));
    QVERIFY(readme.open(QIODevice::ReadOnly) && source.open(QIODevice::ReadOnly));
    const QByteArray page = readme.readAll();
    const QByteArray code = source.readAll();
    QVERIFY(page.contains("```cpp\n" + code + "```\n"));
    const Run run = Program(QStringLiteral(SHORT_HOST)).run(QStringList());
    QVERIFY2(run.exit == 0, run.all());
    const QByteArray printed = (run.out + run.error).trimmed().replace("\n", "\n    ");
    QVERIFY2(page.contains("It prints\n\n    " + printed + "\n\n"), run.all());
    const int lines = code.mid(code.indexOf("\n{\n")).count('\n') - 3; // of main()
    QVERIFY2(lines <= 17, QByteArray::number(lines));
    QVERIFY2(page.count('\n') <= 120, QByteArray::number(page.count('\n')));
}

QTEST_GUILESS_MAIN(ExamplesTest)
#include "tst_examples.moc"
