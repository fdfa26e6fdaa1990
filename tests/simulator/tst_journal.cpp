// The journal as JSON Lines: written whole, appended while the wall is in use, read strictly.

#include <adapter/Operations.h>
#include <adapter/journal/Journal.h>
#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>
#include <support/Maps.h>

#include <QtPromise>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <thread>
#include <vector>

#include <sys/resource.h>

using namespace Simulator;
using Quorvex::Communicator::HttpDevice::HttpProxy;
using TestSupport::map;

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Headers = QMap<QString, QString>;

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString one = QStringLiteral("1");
const QString whole = QStringLiteral("255");
const char *const header = "{\"journal\": \"led-wall\", \"version\": 1}\n";

VirtualWall &wall()
{
    return VirtualWall::instance();
}

/// A text with every single quote turned into a double one.
QByteArray quoted(const char *text)
{
    return QByteArray(text).replace('\'', '"');
}

List uploadRequest(qlonglong cabinet, int size)
{
    const QByteArray bytes(size * size * 18, 'c');
    const Map area = map({{"size", map({{"height", size}, {"width", size}})}, {"point", map({{"x", 0}, {"y", 0}})}});
    const Map block = map({{"area", area}, {"coefficient", QString::fromLatin1(bytes.toBase64())}});
    return {map({{"cid", cabinet}, {"coefficientList", List{block}}})};
}

QtPromise::QPromise<bool> upload(const QString &deviceKey, qlonglong cabinet = 1, int size = 4)
{
    return Correctionop::getInstance()->uploadCoefficientAsync(deviceKey, uploadRequest(cabinet, size));
}

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString &path, const QByteArray &content)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), qint64(content.size()));
}

/// All of a call, as text.
QString fullText(const Call &call)
{
    QStringList headers;
    for (auto it = call.headers.cbegin(); it != call.headers.cend(); ++it)
        headers += it.key() + QLatin1Char('=') + it.value();
    return QStringLiteral("%1 %2 = %3 %4 [%5] %6+%7 settled %8 rejected %9")
               .arg(QString::number(call.number), CallJournal::describe(call), QString::number(call.result),
                    CallJournal::describe(call.reply), headers.join(QLatin1String(", ")), QString::number(call.time),
                    QString::number(call.duration), QString::number(call.settled), QString::number(call.rejected))
           + QLatin1String(call.deviceKey.isNull() ? " no device" : "")
           + QLatin1String(call.target.isNull() ? " no target" : "") + QStringLiteral(" -- ") + call.note;
}

QStringList fullTexts(const QList<Call> &calls)
{
    QStringList texts;
    for (const Call &call : calls)
        texts += fullText(call);
    return texts;
}

QList<qint64> numbersOf(const QList<Call> &calls)
{
    QList<qint64> numbers;
    for (const Call &call : calls)
        numbers += call.number;
    return numbers;
}

/// One of every sort of call.
void converse()
{
    Map map1;
    List list;
    Headers headers;
    HttpProxy::getInstance()->initialize(true);
    HttpProxy::getInstance()->getDeviceList();
    HWInfo::getInstance()->getHWInfo(a, map1, true);
    CabinetInfoOperator::getInstance()->getAllCabinetsInfo(a, list, false);
    Correctionop::getInstance()->loadCoefficient(a, one, list = {});
    Correctionop::getInstance()->loadCoefficient(QString(), QString(), list = {});
    upload(a);
    upload(a, 77);
    ScreenInfo::getInstance()->setGammaTable(a, whole,
                                             map({{"type", 1}, {"gammaTable", QVariant::fromValue(QList<int>{0, 5, 10})}}));
    ScreenInfo::getInstance()->setCheckerBoardImage(a, {}, map1 = {}, headers);
    wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync"), b).times(1).reject();
    upload(b).fail([] { return false; });
}

/// What a child process does: writes a journal without end, and each call's number to its output after the call.
[[noreturn]] void recordForEver(const QString &path)
{
    QString error;
    wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(32, 32))});
    if (!wall().journal().recordTo(path, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        std::exit(1);
    }
    for (int i = 1;; ++i) {
        upload(a, 1, 32);
        std::printf("%d\n", i);
        std::fflush(stdout);
    }
}

} // namespace

class Journal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        wall().reset();
        wall().timeline().setClock(ClockMode::Stepped);
        WallDescription description;
        description.devices = {gridDevice(a, QPoint(0, 0), 2, 1, QSize(4, 4)),
                               gridDevice(b, QPoint(8, 0), 1, 1, QSize(4, 4))};
        wall().setWall(description); // Its time begins at 0.
    }
    void cleanup()
    {
        wall().reset();
        QCoreApplication::processEvents();
    }

    void readsBackWhatItWrote()
    {
        converse();
        const QString path = m_folder.filePath(QStringLiteral("whole.jsonl"));
        QString error = QStringLiteral("old");
        QVERIFY2(wall().journal().save(path, &error), qPrintable(error));
        QCOMPARE(contentOf(path), wall().journal().jsonLines());
        const QList<Call> calls = CallJournal::read(path, &error);
        QCOMPARE(error, QString());
        QCOMPARE(calls.size(), 11);
        QCOMPARE(fullTexts(calls), fullTexts(wall().journal().calls()));
        QCOMPARE(calls[9].headers.value(QStringLiteral("HttpResponse_StateCode")), QStringLiteral("200"));
        QVERIFY(calls[10].rejected);
    }

    void writesReadableLines()
    {
        Map reply;
        HttpProxy::getInstance()->initialize(false);
        wall().timeline().advance(2);
        Device device = gridDevice(a, QPoint(0, 0), 2, 1, QSize(4, 4));
        device.timing.latency = 3;
        wall().addDevice(device);
        Correctionop::getInstance()->setScreenXBit(a, whole, map({{"mode", 3}, {"xbitEnable", true}}), reply);
        Correctionop::getInstance()->setScreenXBit(a, whole, {}, reply);
        const QList<QByteArray> lines = wall().journal().jsonLines().split('\n');
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines[0], quoted("{'journal': 'led-wall', 'version': 1, 'source': 'virtual wall'}"));
        QCOMPARE(lines[1], quoted("{'number': 1, 'time': 0, 'duration': 0, 'operation': 'HttpProxy::initialize', "
                                  "'extra': false, 'result': true}"));
        QCOMPARE(lines[2],
                 quoted("{'number': 2, 'time': 2000, 'duration': 3000, 'operation': 'Correctionop::setScreenXBit', "
                        "'device': 'A', 'target': '255', 'request': {'mode': 3, 'xbitEnable': true}, "
                        "'result': true, 'reply': {}}"));
        QCOMPARE(lines[3],
                 quoted("{'number': 3, 'time': 5000, 'duration': 3000, 'operation': 'Correctionop::setScreenXBit', "
                        "'device': 'A', 'target': '255', 'request': {}, 'result': false, "
                        "'note': 'mode is missing'}"));
        QCOMPARE(lines[4], QByteArray());
    }

    void keepsLongTextsWhole()
    {
        wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(256, 256))});
        const QString recorded = m_folder.filePath(QStringLiteral("recorded.jsonl"));
        QVERIFY(wall().journal().recordTo(recorded));
        upload(a, 1, 256);
        QVERIFY(wall().journal().recordTo(QString()));
        const QString saved = m_folder.filePath(QStringLiteral("saved.jsonl"));
        QVERIFY(wall().journal().save(saved));
        for (const QString &path : {recorded, saved}) {
            QVERIFY(QFileInfo(path).size() > 1000000);
            const QList<Call> calls = CallJournal::read(path);
            QCOMPARE(calls.size(), 1);
            QVERIFY(calls[0].request == QVariant(uploadRequest(1, 256)));
        }
    }

    void aFailedSaveLeavesTheOldFile()
    {
        QString error;
        const QString path = m_folder.filePath(QStringLiteral("no/such/folder.jsonl"));
        QVERIFY(!wall().journal().save(path, &error));
        QVERIFY2(error.startsWith(path + QStringLiteral(": ")), qPrintable(error));
    }

    // Recording

    void recordsEachCallWhenItIsAnswered()
    {
        Map reply;
        Correctionop::getInstance()->setScreenXBit(a, whole, {}, reply);
        const QString path = m_folder.filePath(QStringLiteral("growing.jsonl"));
        QString error;
        QVERIFY2(wall().journal().recordTo(path, &error), qPrintable(error));
        QCOMPARE(contentOf(path).count('\n'), 1);
        converse();
        QCOMPARE(fullTexts(CallJournal::read(path, &error)), fullTexts(wall().journal().calls().mid(1)));
        QCOMPARE(error, QString());
        QVERIFY(wall().journal().recordTo(QString(), &error));
        Correctionop::getInstance()->setScreenXBit(a, whole, {}, reply);
        QCOMPARE(CallJournal::read(path).size(), 11);
    }

    void recordsOverlappingUploadsInTheOrderOfTheirEnds()
    {
        const QString path = m_folder.filePath(QStringLiteral("overlapping.jsonl"));
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        upload(a); // Began before the recording, which must not hold it.
        QVERIFY(wall().journal().recordTo(path));
        upload(a);
        upload(b);
        upload(b);
        QCOMPARE(CallJournal::read(path).size(), 0);
        QVERIFY(wall().uploads().settle(a, true));
        QCOMPARE(CallJournal::read(path).size(), 0);
        QVERIFY(wall().uploads().settle(b, true));
        QCOMPARE(numbersOf(CallJournal::read(path)), QList<qint64>{3});
        QVERIFY(wall().uploads().settle(a, false));
        const QByteArray lines = contentOf(path);
        QVERIFY(lines.indexOf("{\"number\": 3") < lines.indexOf("{\"number\": 2"));
        QCOMPARE(numbersOf(CallJournal::read(path)), (QList<qint64>{2, 3}));

        QString error;
        QVERIFY(wall().journal().recordTo(QString(), &error));
        const QList<Call> calls = CallJournal::read(path, &error);
        QCOMPARE(error, QString());
        QCOMPARE(numbersOf(calls), (QList<qint64>{2, 3, 4}));
        QVERIFY(calls[0].settled && !calls[0].result);
        QVERIFY(calls[1].settled && calls[1].result);
        QVERIFY(!calls[2].settled && !calls[2].result);
        QVERIFY(wall().uploads().settle(b, true));
        QCOMPARE(CallJournal::read(path).size(), 3);
    }

    void recordsWhatTheJournalDoesNotKeep()
    {
        const QString path = m_folder.filePath(QStringLiteral("unlimited.jsonl"));
        wall().journal().setLimit(0);
        QVERIFY(wall().journal().recordTo(path));
        converse();
        wall().journal().clear();
        QVERIFY(wall().journal().calls().isEmpty());
        const QList<Call> calls = CallJournal::read(path);
        QCOMPARE(calls.size(), 11);
        QVERIFY(calls[1].result);
    }

    void recordsOnlyToNewFiles()
    {
        const QString first = m_folder.filePath(QStringLiteral("first.jsonl"));
        const QString second = m_folder.filePath(QStringLiteral("second.jsonl"));
        write(second, "precious");
        QString error;
        QVERIFY(wall().journal().recordTo(first, &error));
        QVERIFY(!wall().journal().recordTo(second, &error));
        QCOMPARE(error, second + QStringLiteral(": holds something already"));
        QCOMPARE(contentOf(second), QByteArray("precious"));
        QVERIFY(!wall().journal().recordTo(m_folder.filePath(QStringLiteral("no/folder.jsonl")), &error));
        HttpProxy::getInstance()->initialize(true);
        QCOMPARE(CallJournal::read(first).size(), 1); // It goes on.
    }

    void resetEndsARecording()
    {
        const QString path = m_folder.filePath(QStringLiteral("reset.jsonl"));
        QVERIFY(wall().journal().recordTo(path));
        wall().scripts().on(QStringLiteral("Correctionop::uploadCoefficientAsync")).settleLater();
        upload(a).fail([] { return false; });
        wall().reset();
        HttpProxy::getInstance()->initialize(true);
        const QList<Call> calls = CallJournal::read(path);
        QCOMPARE(calls.size(), 1);
        QVERIFY(calls[0].rejected);
        QCOMPARE(wall().journal().calls().first().number, qint64(1));
    }

    void aFullDiskEndsTheFileBeforeTheCallAndIsTold_data()
    {
        QTest::addColumn<bool>("lastByteOnly");
        QTest::newRow("a part of a line is missing") << false;
        QTest::newRow("the last byte of a line is missing") << true;
    }
    void aFullDiskEndsTheFileBeforeTheCallAndIsTold()
    {
        QFETCH(bool, lastByteOnly);
        if (!QFile::exists(QStringLiteral("/dev/full")))
            QSKIP("needs /dev/full");
        QString error;
        QVERIFY(!wall().journal().recordTo(QStringLiteral("/dev/full"), &error));
        QCOMPARE(error, QStringLiteral("/dev/full: No space left on device"));

        const QString path = m_folder.filePath(QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(wall().journal().recordTo(path));
        HttpProxy::getInstance()->initialize(true);
        const auto size = static_cast<rlim_t>(contentOf(path).size());
        rlimit old{};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &old), 0);
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        const auto line = static_cast<rlim_t>(Adapter::journalLine(wall().journal().calls().first()).size());
        const rlimit low{size + (lastByteOnly ? line - 1 : 20), old.rlim_max}; // The next line is as long as the first.
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &low), 0);
        HttpProxy::getInstance()->initialize(true);
        HttpProxy::getInstance()->initialize(false);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &old), 0);
        std::signal(SIGXFSZ, handler);

        QCOMPARE(CallJournal::read(path, &error).size(), 1);
        QCOMPARE(error, QString());
        QCOMPARE(wall().journal().calls().value(1).note, QStringLiteral("not recorded"));
        QCOMPARE(wall().journal().calls().value(2).note, QStringLiteral("not recorded"));
        QVERIFY(!wall().journal().recordTo(QString(), &error));
        QCOMPARE(error, path + QStringLiteral(": call 2 and those that ended after it are missing: File too large"));
    }

    void survivesAKilledProcess()
    {
        for (int round = 0; round < 10; ++round) {
            const QString path = m_folder.filePath(QStringLiteral("killed%1.jsonl").arg(round));
            QProcess child;
            child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
            child.start(QStringLiteral(JOURNAL_PROGRAM), {QStringLiteral("--record"), path});
            int told = 0;
            while (told < 5 + round) {
                QVERIFY(child.canReadLine() || child.waitForReadyRead(-1));
                while (child.canReadLine())
                    told = child.readLine().toInt();
            }
            child.kill();
            QVERIFY(child.waitForFinished(-1));

            QString error;
            const QList<Call> calls = CallJournal::read(path, &error);
            const QString cutShort = QStringLiteral("%1: line %2: cut short").arg(path).arg(calls.size() + 2);
            QVERIFY2(error.isNull() || error.startsWith(cutShort), qPrintable(error));
            QVERIFY2(calls.size() >= told, qPrintable(QStringLiteral("%1 of %2").arg(calls.size()).arg(told)));
            for (const Call &call : calls)
                QVERIFY(call.result && call.request == QVariant(uploadRequest(1, 32)));
        }
    }

    void manyThreadsRecordWholeLines()
    {
        const QString path = m_folder.filePath(QStringLiteral("threads.jsonl"));
        QVERIFY(wall().journal().recordTo(path));
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([] {
                for (int j = 0; j < 100; ++j) {
                    List list;
                    Correctionop::getInstance()->loadCoefficient(a, one, list);
                }
            });
        }
        for (int i = 0; i < 10; ++i)
            QVERIFY(wall().journal().jsonLines().startsWith("{\"journal\""));
        for (std::thread &thread : threads)
            thread.join();
        QString error;
        QCOMPARE(fullTexts(CallJournal::read(path, &error)), fullTexts(wall().journal().calls()));
        QCOMPARE(error, QString());
    }

    // Reading

    void tellsWhereAFileIsCutShort()
    {
        converse();
        const QByteArray journal = wall().journal().jsonLines();
        const int lastLine = journal.lastIndexOf('\n', -2) + 1;
        const QString path = m_folder.filePath(QStringLiteral("cut.jsonl"));
        QString error;
        for (int size = lastLine; size <= journal.size(); ++size) {
            write(path, journal.left(size));
            const int calls = CallJournal::read(path, &error).size();
            const bool isWhole = size >= journal.size() - 1; // Only the line feed is missing.
            QCOMPARE(calls, isWhole ? 11 : 10);
            if (isWhole || size == lastLine)
                QCOMPARE(error, QString());
            else
                QCOMPARE(error, QStringLiteral("%1: line 12: cut short after %2 bytes").arg(path).arg(size - lastLine));
            QCOMPARE(wall().replay().start(path, &error), error.isNull());
        }
    }

    void takesAnyOrderOfLinesAndBlankOnes()
    {
        const QString path = m_folder.filePath(QStringLiteral("order.jsonl"));
        write(path, quoted("{'version':1,'journal':'led-wall','source':'mine','started':'2020-01-01T00:00:00Z'}\r\n"
                           "\n{'operation':'HttpProxy::getDeviceList','number':9,'result':false}\r\n"
                           "{'result':true,'operation':'HttpProxy::initialize','extra':true,'number':2}\n\n"));
        QString error;
        const QList<Call> calls = CallJournal::read(path, &error);
        QCOMPARE(error, QString());
        QCOMPARE(numbersOf(calls), (QList<qint64>{2, 9}));
        QCOMPARE(CallJournal::describe(calls[0]), QStringLiteral("HttpProxy::initialize(bool true)"));
        QVERIFY(calls[1].deviceKey.isNull() && calls[1].target.isNull() && calls[1].settled);
    }

    void theDocumentedExampleIsAJournal()
    {
        const QByteArray page = contentOf(QFINDTESTDATA("../../docs/journal.md"));
        const int start = page.indexOf("```json\n");
        QVERIFY(start >= 0);
        const QString path = m_folder.filePath(QStringLiteral("documented.jsonl"));
        write(path, page.mid(start + 8, page.indexOf("```", start + 8) - start - 8));
        QString error;
        const QList<Call> calls = CallJournal::read(path, &error);
        QCOMPARE(error, QString());
        QCOMPARE(numbersOf(calls), (QList<qint64>{1, 2, 3, 4}));
        QVERIFY(calls[2].rejected);
        QCOMPARE(CallJournal::describe(calls[2].request),
                 QString::fromUtf8(quoted("[{'cid': qlonglong 1, 'coefficientList': []}]")));
    }

    void recordedCallsHoldWhatTheTableSays()
    {
        converse();
        const QList<Call> calls = wall().journal().calls();
        for (const Call &call : calls) {
            const Adapter::Operation *const operation = Adapter::findOperation(call.operation);
            QVERIFY2(operation, qPrintable(call.operation));
            const bool hasTarget =
                operation->address == Adapter::Address::Screen || operation->address == Adapter::Address::Cabinet;
            QCOMPARE(!call.target.isNull(), hasTarget);
            QCOMPARE(call.request.isValid(), operation->request != Adapter::Form::None);
            const bool hasExtra = operation->extra != Adapter::Extra::None && operation->extra != Adapter::Extra::Headers;
            QCOMPARE(call.extra.isValid(), hasExtra);
        }
    }

    void namesWhatIsWrong_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<int>("calls");
        QTest::addColumn<QString>("problem");
        const auto raw = [](const char *name, const QByteArray &content, int calls, const char *problem) {
            QTest::newRow(name) << content << calls << QString::fromUtf8(quoted(problem));
        };
        raw("an empty file", "", 0, "empty, not even a header");
        raw("a blank line before the header", QByteArray("\n") + header, 0, "line 1: byte 1: not valid JSON: illegal value");
        raw("not JSON", "led wall\n", 0, "line 1: byte 1: not valid JSON: illegal value");
        raw("a header that is not a map", "[1]\n", 0, "line 1: expected an object, got a list");
        raw("a call without header", quoted("{'number': 1, 'operation': 'x', 'result': true}\n"), 0,
            "line 1: journal: expected 'led-wall', got nothing");
        raw("another format", quoted("{'journal': 'tape', 'version': 1}\n"), 0,
            "line 1: journal: expected 'led-wall', got 'tape'");
        raw("another version", quoted("{'journal': 'led-wall', 'version': 2}\n"), 0,
            "line 1: version: this program reads version 1, the file has 2");
        raw("a version that is none", quoted("{'journal': 'led-wall', 'version': '1'}\n"), 0,
            "line 1: version: expected the number 1, got '1'");
        raw("an unknown key in the header", quoted("{'journal': 'led-wall', 'version': 1, 'author': 'x'}\n"), 0,
            "line 1: unknown key 'author', known are journal, version, source, started");

        const auto line = [&](const char *name, const char *text, const char *problem) {
            raw(name, header + quoted("{'number': 1, 'operation': 'x', 'result': true}\n") + quoted(text) + '\n', 1,
                problem);
        };
        line("two wrong lines",
             "{'number': 2, 'operation': 1, 'result': true}\n{'number': 0, 'operation': 'x', 'result': true}",
             "line 3: operation: expected a text, got 1");
        line("a line that is not JSON", "{'number': 2,, }", "line 3: byte 14: not valid JSON: unterminated object");
        const QByteArray brackets(100000, '[');
        line("a line of brackets", brackets, "line 3: byte 1025: not valid JSON: too deeply nested document");
        line("a line of braces", QByteArray("{'a':").repeated(100000),
             "line 3: byte 5121: not valid JSON: too deeply nested document");
        line("a line that is not an object", "7", "line 3: byte 1: not valid JSON: illegal value");
        line("two values on a line", "{} {}", "line 3: byte 3: not valid JSON: garbage at the end of the document");
        line("text that is not UTF-8", "{'operation': '\xff'}", "line 3: byte 15: not valid JSON: invalid UTF8 string");
        line("no number", "{'operation': 'x', 'result': true}", "line 3: number: expected a positive integer, got nothing");
        line("number zero", "{'number': 0, 'operation': 'x', 'result': true}",
             "line 3: number: expected a positive integer, got 0");
        line("a fraction for a number", "{'number': 1.5, 'operation': 'x', 'result': true}",
             "line 3: number: expected a positive integer, got 1.5");
        line("two keys without a comma", "{'number': 2 'number': 3}",
             "line 3: byte 14: not valid JSON: unterminated object");
        line("a key twice, the first one with a list",
             "{'number': 2, 'request': [{'a': '[,'}, 1], 'request'\t\r : 1, 'operation': 'x', 'result': true}",
             "line 3: byte 43: the key 'request' is there twice");
        line("a number twice", "{'number': 1, 'operation': 'x', 'result': true}", "line 3: number: 1 is there already");
        line("no operation", "{'number': 2, 'result': true}", "line 3: operation: expected a text, got nothing");
        line("an operation that is not a string", "{'number': 2, 'operation': 1, 'result': true}",
             "line 3: operation: expected a text, got 1");
        line("a device that is not a string", "{'number': 2, 'operation': 'x', 'device': null, 'result': true}",
             "line 3: device: expected a text, got null");
        line("no result", "{'number': 2, 'operation': 'x'}", "line 3: result: expected true or false, got nothing");
        line("a result that is none", "{'number': 2, 'operation': 'x', 'result': 1}",
             "line 3: result: expected true or false, got 1");
        line("an unknown key", "{'number': 2, 'operation': 'x', 'result': true, 'reqest': {}}",
             "line 3: unknown key 'reqest', did you mean 'request'?");
        line("a key that is nearer to the second of two", "{'number': 2, 'operation': 'x', 'result': true, 'resply': {}}",
             "line 3: unknown key 'resply', did you mean 'reply'?");
        line("a time before the start", "{'number': 2, 'operation': 'x', 'result': true, 'time': -1}",
             "line 3: time: expected an integer that is not negative, got -1");
        line("headers that are no map", "{'number': 2, 'operation': 'x', 'result': true, 'headers': []}",
             "line 3: headers: expected an object, got a list");
        line("a header that is not a string", "{'number': 2, 'operation': 'x', 'result': true, 'headers': {'Age': 3}}",
             "line 3: headers.Age: expected a text, got 3");
        line("a key that is there twice",
             "{'number': 2, 'operation': 'x', 'result': true, 'target': '1', '\\u0074arget': '2'}",
             "line 3: byte 63: the key 'target' is there twice");
        line("a value of no type deep in a request",
             "{'number': 2, 'operation': 'x', 'result': true, 'request': [{'area': {'x': 1.5}}]}",
             "line 3: request[0].area.x: 1.5 is not a 32-bit integer and needs a '$type'");
        line("a wrong value of a type",
             "{'number': 2, 'operation': 'x', 'result': true, 'reply': {'$type': 'uint', "
             "'value': []}}",
             "line 3: reply.value: expected an integer from 0 to 4294967295, got a list");
        line("true of a pending upload", "{'number': 2, 'operation': 'x', 'result': true, 'settled': false}",
             "line 3: result: true, but the promise was not fulfilled");
        line("true of a rejected upload", "{'number': 2, 'operation': 'x', 'result': true, 'rejected': true}",
             "line 3: result: true, but the promise was not fulfilled");
        line("a rejection of a pending upload",
             "{'number': 2, 'operation': 'x', 'result': false, 'settled': false, 'rejected': true}",
             "line 3: rejected: true, but 'settled' is false");
    }
    void namesWhatIsWrong()
    {
        QFETCH(QByteArray, content);
        QFETCH(int, calls);
        QFETCH(QString, problem);
        const QString path = m_folder.filePath(QStringLiteral("broken.jsonl"));
        write(path, content);
        QString error;
        QCOMPARE(CallJournal::read(path, &error).size(), calls);
        QCOMPARE(error, path + QStringLiteral(": ") + problem);
        QVERIFY(!wall().replay().start(path, &error));
        QCOMPARE(error, path + QStringLiteral(": ") + problem);
        QVERIFY(HttpProxy::getInstance()->getDeviceList().size() == 2); // No replay runs.
    }

    void tellsThatAFileIsMissing()
    {
        QString error;
        const QString inNoFolder = m_folder.filePath(QStringLiteral("no/folder.jsonl"));
        QVERIFY(!wall().journal().recordTo(inNoFolder, &error));
        QCOMPARE(error, inNoFolder + QStringLiteral(": No such file or directory"));
        const QString path = m_folder.filePath(QStringLiteral("nowhere.jsonl"));
        QVERIFY(CallJournal::read(path, &error).isEmpty());
        QCOMPARE(error, path + QStringLiteral(": No such file or directory"));
        QVERIFY(CallJournal::read(m_folder.path(), &error).isEmpty());
        QVERIFY2(error.startsWith(m_folder.path() + QStringLiteral(": ")), qPrintable(error));
    }

    // For people

    void alignsTheTranscript()
    {
        QVERIFY(HttpProxy::getInstance()->getDeviceList().size() == 2);
        Map reply;
        Correctionop::getInstance()->setScreenXBit(a, whole, {}, reply);
        upload(a);
        const QStringList lines = wall().journal().readableTranscript().split(QLatin1Char('\n'));
        QCOMPARE(lines.size(), 5);
        QVERIFY(lines[4].isEmpty());
        const int operation = lines[0].indexOf(QStringLiteral("operation"));
        QCOMPARE(lines[1].indexOf(QStringLiteral("HttpProxy::getDeviceList")), operation);
        QCOMPARE(lines[2].indexOf(QStringLiteral("Correctionop::setScreenXBit")), operation);
        QCOMPARE(lines[3].indexOf(QStringLiteral("Correctionop::uploadCoefficientAsync")), operation);
        QCOMPARE(lines[2].indexOf(QStringLiteral("false")), lines[0].indexOf(QStringLiteral("answer")));
        QCOMPARE(lines[2].indexOf(QStringLiteral("mode is missing")), lines[0].indexOf(QStringLiteral("note")));
        QCOMPARE(lines[2].indexOf(QStringLiteral("A  ")), lines[0].indexOf(QStringLiteral("device")));
        QCOMPARE(lines[2].indexOf(QStringLiteral("255")), lines[0].indexOf(QStringLiteral("target")));
        QVERIFY(lines[1].startsWith(QStringLiteral("0.000000 s  0.000 ms")));
        QVERIFY2(lines[3].size() < 250 && lines[3].contains(QStringLiteral("...")), qPrintable(lines[3]));
    }

    void theTranscriptShowsEveryPartOfACall()
    {
        QList<Call> calls;
        const auto add = [&](const char *operation) -> Call & {
            calls += Call();
            calls.last().operation = QString::fromLatin1(operation);
            return calls.last();
        };
        Call &refused = add("A::refused");
        refused.time = 1500000;
        refused.duration = 2500;
        refused.deviceKey = QStringLiteral("left");
        refused.target = QStringLiteral("255");
        refused.request = Map{{QStringLiteral("mode"), 1}};
        refused.note = QStringLiteral("a\nb");
        Call &both = add("A::both");
        both.result = true;
        both.request = Map{{QStringLiteral("mode"), 1}};
        both.extra = 2780;
        both.reply = List{1};
        both.headers = {{QStringLiteral("x"), QStringLiteral("1")}, {QStringLiteral("y"), QStringLiteral("2")}};
        Call &extra = add("A::extra");
        extra.rejected = true;
        extra.extra = true;
        add("A::pending").settled = false;
        const char *const expected = R"(
      time  duration  device  target  operation   request                    answer                     note
1.500000 s  2.500 ms  left    255     A::refused  {"mode": int 1}            false                      a\nb
0.000000 s  0.000 ms                  A::both     {"mode": int 1}, int 2780  true, [int 1], x: 1, y: 2
0.000000 s  0.000 ms                  A::extra    bool true                  rejected
0.000000 s                            A::pending                             pending
)";
        QCOMPARE(QLatin1Char('\n') + Adapter::readableTranscript(calls), QString::fromLatin1(expected));
    }

private:
    QTemporaryDir m_folder;
};

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.value(1) == QStringLiteral("--record"))
        recordForEver(arguments.value(2));
    Journal test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_journal.moc"
