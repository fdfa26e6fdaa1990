#include "Program.h"

#include <adapter/Operations.h>

#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtTest/QtTest>

#include <algorithm>

using namespace TestSupport;

namespace {

/// The operations that a header declares in a class: names of pure virtual functions, or of all public ones.
QStringList operationsOf(const QString &className, bool pureOnly)
{
    QFile file(QStringLiteral(SOURCE_DIR "/include/Correction/") + className + QStringLiteral(".h"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QString text = QString::fromUtf8(file.readAll());
    text.remove(QRegularExpression(QStringLiteral("//[^\n]*")));
    text = text.section(QStringLiteral("class CORRECTION_EXPORT ") + className, 1).section(QStringLiteral("private:"), 0, 0);
    static const QRegularExpression pure(QStringLiteral("virtual [^;{]*?([A-Za-z0-9]+)\\([^;]*\\)\\s*=\\s*0;"));
    static const QRegularExpression any(QStringLiteral("([A-Za-z0-9_]+)\\([^;{}]*\\)[^;{}]*;"));
    QStringList names;
    auto matches = (pureOnly ? pure : any).globalMatch(text);
    while (matches.hasNext()) {
        const QString name = matches.next().captured(1);
        if (name != className && !name.startsWith(QLatin1String("operator")))
            names.append(className + QStringLiteral("::") + name);
    }
    names.removeDuplicates();
    return names;
}

} // namespace

/// The one table of verbs: what it reaches of the library, and what is made from it.
class CtlDocumentsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void everyOperationOfTheLibraryIsReached();
    void noOperationIsInvented();
    void everyWritingOperationOfTheServiceIsHeldBack();
    void theManualPageIsWellFormed();
    void theManualPageNamesEverything();
    void bashCompletes_data();
    void bashCompletes();
    void zshCompletes();
    void everyExampleWorks();

private:
    QStringList verbs() const;

    Program m_program;
    QJsonObject m_table;
};

void CtlDocumentsTest::initTestCase()
{
    m_table = m_program.json("verbs").data();
    QVERIFY(m_table.value(QStringLiteral("verbs")).toArray().size() > 40);
}

QStringList CtlDocumentsTest::verbs() const
{
    QStringList names;
    const QJsonArray list = m_table.value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &verb : list)
        names.append(verb.toObject().value(QStringLiteral("name")).toString());
    return names;
}

void CtlDocumentsTest::everyOperationOfTheLibraryIsReached()
{
    QStringList declared;
    for (const char *name : {"IScreen", "ISubScreen", "ICabinet", "ICabinets"})
        declared += operationsOf(QLatin1String(name), true);
    for (const char *name : {"ScreenManager", "CabinetManager"})
        declared += operationsOf(QLatin1String(name), false);
    // The counts of the interfaces as they are: an operation that this test could not read would be missing here.
    QCOMPARE(declared.filter(QStringLiteral("IScreen::")).size(), 34);
    QCOMPARE(declared.filter(QStringLiteral("ISubScreen::")).size(), 29);
    QCOMPARE(declared.filter(QStringLiteral("ICabinet::")).size(), 26);
    QCOMPARE(declared.filter(QStringLiteral("ICabinets::")).size(), 10);

    QStringList reached;
    const QJsonArray list = m_table.value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &verb : list) {
        const QJsonArray operations = verb.toObject().value(QStringLiteral("operations")).toArray();
        for (const QJsonValue &operation : operations)
            reached.append(operation.toString());
    }
    const QStringList excused{
        QStringLiteral("IScreen::removeSubScreens"),       // the destructor of a screen does the same
        QStringLiteral("ISubScreen::removeCabinets"),      // a sub-screen without cabinets leaves the selection as a whole
        QStringLiteral("ScreenManager::releaseInstance"),  // the program ends with its manager
        QStringLiteral("CabinetManager::addCabinet"),      // discovery fills the registry
        QStringLiteral("CabinetManager::removeCabinet"),   // discovery empties the registry
        QStringLiteral("CabinetManager::removeCabinets")}; // discovery empties the registry
    QStringList missing;
    for (const QString &operation : qAsConst(declared)) {
        if (!reached.contains(operation) && !excused.contains(operation))
            missing.append(operation);
        QVERIFY2(!(reached.contains(operation) && excused.contains(operation)), qPrintable(operation));
    }
    QCOMPARE(missing, QStringList());
    // Nothing that only the building of objects needs is excused beyond these.
    for (const QString &operation : excused)
        QVERIFY2(declared.contains(operation), qPrintable(operation));
}

void CtlDocumentsTest::noOperationIsInvented()
{
    const QJsonArray list = m_table.value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &verb : list) {
        const QJsonArray operations = verb.toObject().value(QStringLiteral("operations")).toArray();
        for (const QJsonValue &value : operations) {
            const QString operation = value.toString();
            const QString className = operation.section(QStringLiteral("::"), 0, 0);
            QVERIFY2(operationsOf(className, false).contains(operation), qPrintable(operation));
        }
    }
}

/// By the service's own headers: all operations change a device but those that load, get and list.
void CtlDocumentsTest::everyWritingOperationOfTheServiceIsHeldBack()
{
    int writing = 0;
    for (const char *className : {"Correctionop", "CabinetInfoOperator", "ScreenInfo", "HWInfo"}) {
        QFile header(QStringLiteral(SOURCE_DIR "/service/%1.h").arg(QLatin1String(className)));
        QVERIFY(header.open(QIODevice::ReadOnly));
        static const QRegularExpression declaration(
            QStringLiteral("(?:bool|QPromise<bool>) ([a-zA-Z0-9]+)\\(const QString &deviceKey"));
        auto matches = declaration.globalMatch(QString::fromUtf8(header.readAll()));
        while (matches.hasNext()) {
            const QString name = matches.next().captured(1);
            if (name.startsWith(QLatin1String("get")) || name.startsWith(QLatin1String("load")))
                continue;
            const QString operation = QStringLiteral("%1::%2").arg(QLatin1String(className), name);
            const Adapter::Operation *const known = Adapter::findOperation(operation);
            QVERIFY2(known && known->isChange(), qPrintable(operation));
            ++writing;
        }
    }
    QVERIFY2(writing >= 42, qPrintable(QString::number(writing)));
}

void CtlDocumentsTest::theManualPageIsWellFormed()
{
    const Run run = m_program.run("--man");
    QCOMPARE(run.exit, 0);
    QVERIFY(m_program.write(QStringLiteral("correctionctl.1"), run.out));
    QProcess man;
    man.setWorkingDirectory(m_program.path(QString()));
    man.start(QStringLiteral("groff"), words("-man -Tutf8 -ww -P-cbou correctionctl.1"));
    QVERIFY(man.waitForFinished(-1));
    const QByteArray page = man.readAllStandardOutput();
    QCOMPARE(man.readAllStandardError(), QByteArray());
    QVERIFY(page.contains("EXIT STATUS") && page.contains("correctionctl cabinet 7 config get seven.cfg"));
}

void CtlDocumentsTest::theManualPageNamesEverything()
{
    const QString page = QString::fromUtf8(m_program.run("--man").out).remove(QLatin1Char('\\'));
    const QJsonArray list = m_table.value(QStringLiteral("verbs")).toArray();
    for (const QJsonValue &verb : list) {
        for (const char *entry : {"help", "usage", "example"}) {
            const QString text = verb.toObject().value(QLatin1String(entry)).toString();
            QVERIFY2(page.contains(text), qPrintable(text));
        }
    }
    for (const char *code :
         {"0 (enSuccess)", "5 (enTimeout)", "8 (enCabinetNotFound)", "20 (different)", "64 (usage)", "130 (interrupted)"})
        QVERIFY2(page.contains(QLatin1String(code)), code);
}

void CtlDocumentsTest::bashCompletes_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QStringList>("offered");
    const auto row = [](const char *typed, const char *offered) {
        QTest::newRow(typed) << QString::fromLatin1(typed)
                             << QString::fromLatin1(offered).split(QLatin1Char(' '), Qt::SkipEmptyParts);
    };
    row("sna", "snapshot");
    row("pattern ", "pixel checkerboard mode clear");
    row("cabinet 7 con", "config");
    row("cabinet 7 config ", "get put");
    row("cabinet 7 module ", "save reload clear flag");
    row("group 1 2 sh", "show");
    row("group 1 2 show ", "user factory module");
    row("set main br", "brightness=");
    row("set main abl=on ef", "effect=");
    row("cabinet 7 module flag ", "");
    row("xbit main 1 ", "on off");
    row("read main x.npy --ty", "--type");
    row("read main x.npy --type ", "chroma");
    row("write main x.npy --type ", "chroma lowgray multilayer");
    row("--wall demo show arena-main --device ", "left right");
    row("--wall=stadium show north --device ribbon-", "ribbon-1 ribbon-2 ribbon-3 ribbon-4 ribbon-5 ribbon-6");
    row("--wall demo cabinet 2", "2 20 21 22 23 24");
    row("--wall demo group 1 2 1", "1 10 11 12 13 14 15 16 17 18 19");
    row("--wall demo write arena-main x.npy --cabinet 2", "2 20 21 22 23 24");
    row("save main --dr", "--dry-run");
    row("screens --dr", "");
    row("--wall st", "stadium");
    row("--wall demo screens --verb", "--verbose");
    row("--wall demo show ", "arena-main");
    row("record a.jsonl snap", "snapshot");
    row("record a.jsonl pattern ch", "checkerboard");
    row("wall render arena-main x.png --what ", "layout coefficients pattern");
}

void CtlDocumentsTest::bashCompletes()
{
    QFETCH(QString, typed);
    QFETCH(QStringList, offered);
    QCOMPARE(m_program.complete(typed), offered);
}

void CtlDocumentsTest::zshCompletes()
{
    QVERIFY(m_program.write(QStringLiteral("_correctionctl"), m_program.run("--completion zsh").out));
    // The walk is shared with bash; here its own shell runs it, with the words that compadd would get.
    QVERIFY(m_program.write(QStringLiteral("ask.zsh"),
                            "compadd() { [[ $1 == -- ]] && shift; print -l -- \"$@\"; }\n_files() { print files; }\n"
                            "words=(correctionctl cabinet 7 config '')\nCURRENT=5\n. ./_correctionctl\n"
                            "words=(correctionctl read main '')\nCURRENT=4\n_correctionctl\n"
                            "words=(correctionctl read main x --type '')\nCURRENT=6\n_correctionctl\n"
                            "correctionctl() { $PROGRAM \"$@\"; }\n"
                            "words=(correctionctl --wall demo read main x --device '')\nCURRENT=8\n_correctionctl\n"));
    QProcess zsh;
    zsh.setWorkingDirectory(m_program.path(QString()));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PROGRAM"), QStringLiteral(CORRECTIONCTL));
    zsh.setProcessEnvironment(environment);
    zsh.start(QStringLiteral("zsh"), {QStringLiteral("-f"), QStringLiteral("ask.zsh")});
    QVERIFY2(zsh.waitForStarted(-1), "zsh is not installed");
    QVERIFY(zsh.waitForFinished(-1));
    QCOMPARE(zsh.readAllStandardError(), QByteArray());
    QCOMPARE(zsh.readAllStandardOutput(), QByteArray("get\nput\nfiles\nchroma\nleft\nright\n"));
}

/// Every example of the help works on the default wall.
void CtlDocumentsTest::everyExampleWorks()
{
    // Another folder: an example may find what an earlier one made, and nothing else but these.
    const Program fresh;
    QVERIFY(fresh.write(QStringLiteral("curves.json"), "{\"red\": [1, 2, 3]}"));
    QCOMPARE(fresh.run("read arena-main before.npy").exit, 0);
    const QJsonArray list = m_table.value(QStringLiteral("verbs")).toArray();
    QVERIFY(list.size() > 50);
    for (const QJsonValue &verb : list) {
        const QString name = verb.toObject().value(QStringLiteral("name")).toString();
        QString example = verb.toObject().value(QStringLiteral("example")).toString().remove(QLatin1Char('\''));
        QVERIFY2(example.startsWith(QLatin1String("correctionctl ")), qPrintable(example));
        QVERIFY2(example.contains(name.section(QLatin1Char(' '), -1)), qPrintable(example));
        QStringList line = example.split(QLatin1Char(' ')).mid(1);
        const bool endless = name == QLatin1String("watch");
        if (endless)
            line += words("--count nothing");
        const Run run = fresh.run(line);
        QVERIFY2(run.exit == 0 || (endless && run.error.contains("got \"nothing\"")),
                 (example.toUtf8() + '\n' + run.all()).constData());
    }
}

QTEST_GUILESS_MAIN(CtlDocumentsTest)
#include "tst_ctldocuments.moc"
