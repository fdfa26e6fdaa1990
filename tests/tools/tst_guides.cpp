#include "Program.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

using namespace TestSupport;

/// The guides: their code is part of the examples, and what they say that an example prints is what it prints.
class GuidesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void codeIsPartOfAnExample_data() { pages(); }
    void codeIsPartOfAnExample();
    void outputIsThatOfTheExample_data();
    void outputIsThatOfTheExample();

private:
    static void pages();
    static QString read(const QString &path);
};

void GuidesTest::pages()
{
    QTest::addColumn<QString>("page");
    const QStringList files = QDir(QStringLiteral(SOURCE_DIR "/docs/guides")).entryList({QStringLiteral("*.md")});
    for (const QString &file : files)
        QTest::newRow(qPrintable(file)) << QStringLiteral("docs/guides/") + file;
    QTest::newRow("abi.md") << QStringLiteral("docs/abi.md");
}

QString GuidesTest::read(const QString &path)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

void GuidesTest::codeIsPartOfAnExample()
{
    QFETCH(QString, page);
    const QDir examples(QStringLiteral(SOURCE_DIR "/examples"));
    QString code;
    for (const QString &file : examples.entryList({QStringLiteral("*.cpp")}))
        code += read(QStringLiteral("examples/") + file);
    QVERIFY(!code.isEmpty());
    static const QRegularExpression block(QStringLiteral("```cpp\n(.*?)```"),
                                          QRegularExpression::DotMatchesEverythingOption);
    for (auto it = block.globalMatch(read(page)); it.hasNext();) {
        const QString quoted = it.next().captured(1);
        QVERIFY2(code.contains(QLatin1Char('\n') + quoted), qPrintable(quoted));
    }
}

void GuidesTest::outputIsThatOfTheExample_data()
{
    QTest::addColumn<QString>("page");
    QTest::addColumn<QString>("program");
    const auto row = [](const char *name, const char *page, const char *program) {
        QTest::newRow(name) << QStringLiteral("docs/guides/") + QLatin1String(page) << QString::fromLatin1(program);
    };
    row("01-first-host", "getting-started.md", FIRST_HOST);
    row("04-frames", "coordinates.md", FRAMES);
    row("05-refresh", "lifetimes.md", REFRESH);
    row("06-event-loop", "waiting.md", EVENT_LOOP);
    row("08-record", "hardware.md", RECORD);
}

void GuidesTest::outputIsThatOfTheExample()
{
    QFETCH(QString, page);
    QFETCH(QString, program);
    const QString name = QString::fromLatin1(QTest::currentDataTag());
    const QString begin = QStringLiteral("[`examples/%1.cpp`](../../examples/%1.cpp) prints\n\n").arg(name);
    const QString text = read(page);
    QCOMPARE(text.count(begin), 1);
    QStringList printed;
    const QStringList lines = text.section(begin, 1).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.startsWith(QLatin1String("    ")))
            break;
        printed += line.mid(4);
    }
    const Run run = Program(program).run(QStringList());
    QVERIFY2(run.exit == 0, run.all());
    QCOMPARE(QString::fromUtf8(run.out + run.error), printed.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

QTEST_GUILESS_MAIN(GuidesTest)
#include "tst_guides.moc"
