// The pages: their C++ is that of sources which are compiled, their walls can be opened, and their links lead somewhere.

#include "support/PythonCheck.h"

#include <simulator/CallJournal.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <algorithm>

namespace {

QString sourcePath(const QString &name)
{
    return QStringLiteral(SOURCE_DIR "/") + name;
}

QString contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

/// README.md, the pages beside it, and all below docs/.
QStringList pages()
{
    const QStringList pattern{QStringLiteral("*.md")};
    QStringList paths;
    const QStringList beside = QDir(sourcePath(QString())).entryList(pattern, QDir::Files);
    for (const QString &name : beside)
        paths += sourcePath(name);
    QDirIterator docs(sourcePath(QStringLiteral("docs")), pattern, QDir::Files, QDirIterator::Subdirectories);
    while (docs.hasNext())
        paths += docs.next();
    paths.sort();
    return paths;
}

/// A page without its blocks of code, fenced or indented, and without the code inside its sentences. Names of headings keep
/// theirs.
QString proseOf(const QString &text)
{
    QStringList prose;
    bool fenced = false;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.trimmed().startsWith(QLatin1String("```")))
            fenced = !fenced;
        else if (!fenced && !line.startsWith(QLatin1String("    ")))
            prose += line;
    }
    return prose.join(QLatin1Char('\n'));
}

/// The anchors of a page's headings: small letters, digits and underscores, with hyphens for blanks.
QStringList anchorsOf(const QString &text)
{
    static const QRegularExpression heading(QStringLiteral("^#+ +(.*)$"), QRegularExpression::MultilineOption);
    static const QRegularExpression dropped(QStringLiteral("[^\\w -]"), QRegularExpression::UseUnicodePropertiesOption);
    QStringList anchors;
    const QString prose = proseOf(text);
    for (auto it = heading.globalMatch(prose); it.hasNext();)
        anchors += it.next().captured(1).toLower().remove(dropped).replace(QLatin1Char(' '), QLatin1Char('-'));
    return anchors;
}

/// The targets of the links and pictures of a page that are no addresses on the web.
QStringList linksOf(const QString &text)
{
    static const QRegularExpression code(QStringLiteral("`[^`]*`"));
    static const QRegularExpression link(QStringLiteral("\\]\\(([^)]*)\\)"));
    QStringList links;
    const QString prose = proseOf(text).remove(code);
    for (auto it = link.globalMatch(prose); it.hasNext();) {
        const QString target = it.next().captured(1);
        if (!target.contains(QLatin1String("://")))
            links += target;
    }
    return links;
}

/// The page or file that a link leads to. Empty when there is none, or none of its anchor there.
QString targetOf(const QString &page, const QString &link)
{
    const QString file = link.section(QLatin1Char('#'), 0, 0);
    const QString anchor = link.section(QLatin1Char('#'), 1);
    const QString path = file.isEmpty() ? page : QDir::cleanPath(QFileInfo(page).dir().filePath(file));
    if (!QFileInfo::exists(path) || (link.contains(QLatin1Char('#')) && !anchorsOf(contentOf(path)).contains(anchor)))
        return {};
    return path;
}

/// The blocks of a language, without the indentation of their fences.
QStringList blocksOf(const QString &text, const QString &language)
{
    static const QString pattern = QStringLiteral("^( *)```%1\n(.*?)^\\1```$");
    const QRegularExpression block(pattern.arg(language),
                                   QRegularExpression::DotMatchesEverythingOption | QRegularExpression::MultilineOption);
    QStringList blocks;
    for (auto matches = block.globalMatch(text); matches.hasNext();) {
        const auto match = matches.next();
        QString code = match.captured(2);
        code.replace(QRegularExpression(QLatin1Char('^') + match.captured(1), QRegularExpression::MultilineOption),
                     QString());
        blocks += code;
    }
    return blocks;
}

/// Whether a source has these lines, one after another, as they are or indented.
bool holds(const QString &source, const QString &code)
{
    static const QRegularExpression lineStart(QStringLiteral("^(?=.)"), QRegularExpression::MultilineOption);
    const QString lines = QLatin1Char('\n') + source;
    QString body = code;
    for (int depth = 0; depth < 4; ++depth) {
        if (!code.trimmed().isEmpty() && lines.contains(QLatin1Char('\n') + body))
            return true;
        body.replace(lineStart, QStringLiteral("    "));
    }
    return false;
}

/// The sources that a page may show: the examples, and the one of its name in this folder. All of them are compiled.
QStringList sourcesFor(const QString &page)
{
    QStringList sources;
    QDirIterator examples(sourcePath(QStringLiteral("examples")), {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                          QDir::Files, QDirIterator::Subdirectories);
    while (examples.hasNext())
        sources += contentOf(examples.next());
    const QString own = QStringLiteral("pages/%1.cpp").arg(QFileInfo(page).completeBaseName());
    if (QStringLiteral(PAGE_SOURCES).split(QLatin1Char(',')).contains(own))
        sources += contentOf(sourcePath(QStringLiteral("tests/") + own));
    return sources;
}

/// The least wall with the entries of a fragment in the outermost object that may have them all. Empty when there is none.
QJsonObject wallWith(const QJsonObject &fragment)
{
    const QJsonObject schema = QJsonDocument::fromJson(Simulator::wallSchema()).object();
    QJsonObject whole{{QStringLiteral("id"), QStringLiteral("1")},
                      {QStringLiteral("outputId"), QStringLiteral("1")},
                      {QStringLiteral("position"), QJsonObject{{QStringLiteral("x"), 0}, {QStringLiteral("y"), 0}}},
                      {QStringLiteral("size"), QJsonObject{{QStringLiteral("width"), 4}, {QStringLiteral("height"), 2}}}};
    const auto mayHold = [&](const QString &name) {
        const QJsonObject object =
            name.isEmpty() ? schema : schema.value(QStringLiteral("$defs")).toObject().value(name).toObject();
        const QStringList known = object.value(QStringLiteral("properties")).toObject().keys();
        const QStringList keys = fragment.keys();
        return std::all_of(keys.begin(), keys.end(), [&](const QString &key) { return known.contains(key); });
    };
    static const QStringList names{QString(), QStringLiteral("device"), QStringLiteral("screen"),
                                   QStringLiteral("subScreen"), QStringLiteral("cabinet")};
    const auto found = std::find_if(names.begin(), names.end(), mayHold);
    if (found == names.end())
        return {};
    const auto filled = [&](const QString &name, QJsonObject object) {
        if (name == *found) {
            for (auto entry = fragment.begin(); entry != fragment.end(); ++entry)
                object.insert(entry.key(), entry.value());
        }
        return object;
    };
    whole = filled(names[4], whole);
    // Beside a grid there is no cabinet.
    whole =
        filled(names[3], names[3] == *found ? QJsonObject() : QJsonObject{{QStringLiteral("cabinets"), QJsonArray{whole}}});
    whole = filled(names[2], {{QStringLiteral("id"), QStringLiteral("s")},
                              {QStringLiteral("name"), QStringLiteral("S")},
                              {QStringLiteral("subScreens"), QJsonArray{whole}}});
    whole = filled(names[1], {{QStringLiteral("key"), QStringLiteral("A")}, {QStringLiteral("screens"), QJsonArray{whole}}});
    return filled(names[0], {{QStringLiteral("format"), QStringLiteral("led-wall")},
                             {QStringLiteral("version"), 1},
                             {QStringLiteral("devices"), QJsonArray{whole}}});
}

/// The text of the wall that a block of JSON is, or is a part of. Null, without an error, for other documents: a journal,
/// which is read from a file, and the state of a device, which is shortened.
QByteArray wallOf(const QString &block, const QString &journalPath, QString &error)
{
    if (block.startsWith(QLatin1String("{\"journal\""))) {
        if (!TestSupport::writeFile(journalPath, block.toUtf8()))
            error = journalPath;
        else if (Simulator::CallJournal::read(journalPath, &error).isEmpty() && error.isEmpty())
            error = QStringLiteral("a journal without calls");
        return QByteArray();
    }
    const bool isWhole = block.startsWith(QLatin1Char('{'));
    QJsonParseError syntax{};
    const QByteArray text = isWhole ? block.toUtf8() : '{' + block.toUtf8() + '}';
    const QJsonObject object = QJsonDocument::fromJson(text, &syntax).object();
    if (syntax.error != QJsonParseError::NoError) {
        error = syntax.errorString() + QLatin1Char('\n') + block;
        return QByteArray();
    }
    if (object.value(QStringLiteral("format")) == QLatin1String("led-wall-state"))
        return QByteArray();
    if (isWhole)
        return text;
    const QJsonObject wall = wallWith(object);
    if (wall.isEmpty())
        error = QStringLiteral("no part of a wall has these keys:\n") + block;
    return wall.isEmpty() ? QByteArray() : QJsonDocument(wall).toJson();
}

} // namespace

class tst_Pages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void codeIsCompiled()
    {
        int blocks = 0;
        const QStringList paths = pages();
        for (const QString &page : paths) {
            const QStringList sources = sourcesFor(page);
            const QStringList all = blocksOf(contentOf(page), QStringLiteral("cpp"));
            for (const QString &code : all) {
                const bool isCompiled =
                    std::any_of(sources.begin(), sources.end(), [&](const QString &source) { return holds(source, code); });
                QVERIFY2(isCompiled,
                         qPrintable(page + QStringLiteral(": neither in tests/pages/ nor in examples/:\n") + code));
                ++blocks;
            }
        }
        QVERIFY2(blocks >= 11, QByteArray::number(blocks));
    }

    void wallsCanBeOpened()
    {
        const QTemporaryDir folder;
        int walls = 0;
        const QStringList paths = pages();
        for (const QString &page : paths) {
            const QStringList all = blocksOf(contentOf(page), QStringLiteral("json"));
            for (const QString &block : all) {
                QString error;
                const QByteArray wall = wallOf(block, folder.filePath(QStringLiteral("journal.jsonl")), error);
                QVERIFY2(error.isEmpty(), qPrintable(page + QStringLiteral(": ") + error));
                if (wall.isNull())
                    continue;
                const QString path = folder.filePath(QStringLiteral("%1.json").arg(++walls));
                QVERIFY(TestSupport::writeFile(path, wall));
                Simulator::VirtualWall opened;
                QVERIFY2(opened.load(path, &error), qPrintable(page + QStringLiteral(": ") + error));
                QVERIFY(!opened.pluggedDevices().isEmpty());
            }
        }
        QVERIFY2(walls >= 8, QByteArray::number(walls));

        const auto validate = [&] {
            QProcess python;
            python.setProcessChannelMode(QProcess::MergedChannels);
            python.start(QStringLiteral("python3"), {QStringLiteral("-c"), QStringLiteral(R"(
import json, pathlib, sys, jsonschema
validator = jsonschema.Draft202012Validator(json.load(open(sys.argv[1])))
walls = list(pathlib.Path(sys.argv[2]).glob("*.json"))
problems = [f"{wall.name}: {error.message}" for wall in walls for error in validator.iter_errors(json.loads(wall.read_text()))]
print(len(walls), "walls,", len(problems), "problems", *problems, sep="\n")
)"),
                                                     sourcePath(QStringLiteral("docs/wall.schema.json")), folder.path()});
            python.waitForFinished(60000);
            return QString::fromUtf8(python.readAll()).simplified();
        };
        QCOMPARE(validate(), QStringLiteral("%1 walls, 0 problems").arg(walls));
        QVERIFY(TestSupport::writeFile(folder.filePath(QStringLiteral("odd.json")),
                                       "{\"format\": \"led-wall\", \"version\": 1, \"devices\": [], \"leds\": \"mixed\"}"));
        QVERIFY(validate().startsWith(QStringLiteral("%1 walls, 1 problems odd.json: ").arg(walls + 1)));
    }

    void linksLeadSomewhere()
    {
        const QStringList all = pages();
        QStringList broken;
        QSet<QString> targets;
        int links = 0;
        for (const QString &page : all) {
            const QStringList ofPage = linksOf(contentOf(page));
            for (const QString &link : ofPage) {
                const QString target = targetOf(page, link);
                if (target.isEmpty())
                    broken += page + QStringLiteral(": ") + link;
                if (target != page)
                    targets += target;
                ++links;
            }
        }
        QVERIFY2(broken.isEmpty(), qPrintable(broken.join(QLatin1Char('\n'))));
        QVERIFY2(links > 100, QByteArray::number(links));
        // No page is left that none leads to.
        for (const QString &page : all)
            QVERIFY2(targets.contains(page) || page.endsWith(QLatin1String("/README.md")), qPrintable(page));
    }

    /// The files and folders that CONTRIBUTING.md names, from the repository's root.
    void placesAreThere()
    {
        static const QRegularExpression place(QStringLiteral("`((?:[\\w.-]+/)+[\\w.-]*)(?: [^`]*)?`"));
        const QString page = contentOf(sourcePath(QStringLiteral("CONTRIBUTING.md")));
        int places = 0;
        for (auto it = place.globalMatch(page); it.hasNext(); ++places) {
            const QString path = it.next().captured(1);
            QVERIFY2(path.startsWith(QLatin1String("build/")) || QFileInfo::exists(sourcePath(path)), qPrintable(path));
        }
        QVERIFY2(places > 60, QByteArray::number(places));
    }

    void faultsAreFound()
    {
        const QString linked =
            QStringLiteral("# A `b`: C-d, e\n[x](docs/walls.md) `[y](z)` ![p](q.png)\n\n    [in](code)\n\n"
                           "```cpp\n[](int) {}(1);\n```\n## Two\n[s]\n(r) [w](https://example.org/)\n");
        QCOMPARE(linksOf(linked), (QStringList{QStringLiteral("docs/walls.md"), QStringLiteral("q.png")}));
        QCOMPARE(anchorsOf(linked), (QStringList{QStringLiteral("a-b-c-d-e"), QStringLiteral("two")}));
        const QString readme = sourcePath(QStringLiteral("README.md"));
        QCOMPARE(targetOf(readme, QStringLiteral("docs/walls.md#presets")), sourcePath(QStringLiteral("docs/walls.md")));
        QCOMPARE(targetOf(readme, QStringLiteral("#try-it")), readme);
        QCOMPARE(targetOf(readme, QStringLiteral("docs/walls.md#no-such")), QString());
        QCOMPARE(targetOf(readme, QStringLiteral("docs/nosuch.md")), QString());
        QCOMPARE(targetOf(sourcePath(QStringLiteral("docs/walls.md")), QStringLiteral("docs/walls.md")), QString());

        const QString page =
            QStringLiteral("- text\n\n  ```cpp\n  int a = 1;\n\n  int b = 2;\n  ```\n\n```cpp\nint c;\n```\n");
        const QStringList blocks = blocksOf(page, QStringLiteral("cpp"));
        QCOMPARE(blocks, (QStringList{QStringLiteral("int a = 1;\n\nint b = 2;\n"), QStringLiteral("int c;\n")}));
        QVERIFY(holds(QStringLiteral("void f()\n{\n    int a = 1;\n\n    int b = 2;\n}\n"), blocks[0]));
        QVERIFY(holds(blocks[0], blocks[0]));
        QVERIFY(!holds(QStringLiteral("void f()\n{\n    int a = 1;\n    int b = 2;\n}\n"), blocks[0])); // another line
        QVERIFY(!holds(QStringLiteral("    // int c;\n"), blocks[1]));
        QVERIFY(!holds(QStringLiteral("int c;\n"), QString()));

        QString error;
        Simulator::WallDescription wall;
        const QByteArray striped = wallOf(QStringLiteral("\"leds\": \"striped\"\n"), QString(), error);
        QCOMPARE(error, QString());
        QVERIFY(!Simulator::parseWall(striped, QStringLiteral("a.json"), wall, &error));
        QVERIFY2(error.contains(QLatin1String("devices[0].leds")), qPrintable(error));
        for (const char *const block : {"\"led\": \"mixed\"\n", "\"leds\": mixed\n", "{\"leds\": \"mixed\"\n"}) {
            error.clear();
            QVERIFY(wallOf(QString::fromLatin1(block), QString(), error).isNull());
            QVERIFY(!error.isEmpty());
        }
    }
};

QTEST_GUILESS_MAIN(tst_Pages)
#include "tst_pages.moc"
