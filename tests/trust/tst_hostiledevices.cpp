// Devices that send far more than any real one: long strings, endless lists, very many cabinets, deep nesting, rectangles at
// the limits of 32 bits. Every operation ends with a result code, and nothing is kept of the reply. With
// CORRECTION_TRUST_ALL the replies have their full size, and the time and memory of each are printed; otherwise a hundredth
// of it.

#include "support/Nested.h"
#include "trust/OperationTable.h"
#include "trust/Options.h"

#include <adapter/Operations.h>
#include <adapter/Recorder.h>
#include <adapter/journal/Journal.h>

#include <Correction/CabinetManager.h>

#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <ctime>
#include <limits>
#include <malloc.h>

using namespace Trust;
using TestSupport::nested;

namespace {

using Edit = std::function<void(const QString &operation, const QString &device, QVariant &reply)>;

/// The device service without faults, except for the replies that `edit` changes.
class HostileBackend : public FaultyBackend
{
public:
    Edit edit;

    Adapter::Answer answer(const Adapter::Call &call) override
    {
        Adapter::Answer answer = FaultyBackend::answer(call);
        if (edit)
            edit(call.operation, call.deviceKey, answer.reply);
        calls.clear();
        return answer;
    }
};

constexpr int least = std::numeric_limits<int>::min();
constexpr int greatest = std::numeric_limits<int>::max();

/// MiB of the process, as the kernel counts them; -1 where it does not.
double statusValue(const char *name)
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(name))
            return line.simplified().split(' ').value(1).toDouble() / 1024;
    }
    return -1;
}

void restartPeak()
{
    QFile file(QStringLiteral("/proc/self/clear_refs"));
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

/// Copies of one value share it.
QVariantList copies(const QVariant &value, int count)
{
    QVariantList list;
    list.reserve(count);
    for (int i = 0; i < count; ++i)
        list.append(value);
    return list;
}

/// A copy with a deep container in the place of this number: the value of a key, or an element of a list. Counts the number
/// down, below 0 where it has met the place.
QVariant withDepth(const QVariant &value, int &place, int levels, const QString &containers)
{
    const auto edit = [&](auto container) {
        for (QVariant &each : container) {
            if (place-- == 0)
                each = nested(levels, containers);
            else if (place >= 0)
                each = withDepth(each, place, levels, containers);
        }
        return QVariant(container);
    };
    if (value.userType() == QMetaType::QVariantMap)
        return edit(value.toMap());
    return value.userType() == QMetaType::QVariantList ? edit(value.toList()) : value;
}

} // namespace

class tst_HostileDevices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void cleanupTestCase();

    void largeReplies_data();
    void largeReplies();
    void aMillionCabinets();
    void deepNesting_data();
    void deepNesting();
    void deepNestingAnywhereInARefresh_data();
    void deepNestingAnywhereInARefresh();
    void extremeRectangles();

private:
    void measure(const QString &name, const std::function<void()> &operation);

    const int m_scale = isLong() ? 100 : 1;
    QTemporaryDir m_directory;
    const QString m_path = m_directory.filePath(QStringLiteral("config"));
    HostileBackend m_backend;
    double m_longest = 0;
    double m_largest = 0;
    int m_walls = 0;
};

void tst_HostileDevices::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("correction*=false"));
    Adapter::setBackend(&m_backend);
}

void tst_HostileDevices::cleanup()
{
    m_backend.edit = nullptr;
}

void tst_HostileDevices::cleanupTestCase()
{
    Adapter::setBackend(nullptr);
    if (isLong()) {
        qInfo("measured: at most %.0f s of processor time and %.1f GiB with the reply itself (debug build), %d walls with "
              "extreme rectangles",
              m_longest, m_largest / 1024, m_walls);
    } else {
        qInfo("measured: replies of a hundredth of the size, %d walls with extreme rectangles", m_walls);
    }
}

/// At full size time and memory are printed, and have bounds.
void tst_HostileDevices::measure(const QString &name, const std::function<void()> &operation)
{
    malloc_trim(0);
    const double before = statusValue("VmRSS:");
    restartPeak();
    const std::clock_t start = std::clock();
    operation();
    const double seconds = double(std::clock() - start) / CLOCKS_PER_SEC; // of the processor
    const double peak = statusValue("VmHWM:") - before;
    m_longest = std::max(m_longest, seconds);
    m_largest = std::max(m_largest, peak);
    if (isLong()) {
        qInfo("%s: %.2f s, %.0f MiB", qPrintable(name), seconds, peak);
        QVERIFY2(seconds < 60 && peak < 2048, qPrintable(name));
    }
}

void tst_HostileDevices::largeReplies_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("row");
    QTest::addColumn<QString>("what");
    QTest::addColumn<int>("code");
    const auto row = [](const char *name, const char *operation, const char *rowName, int code) {
        QTest::newRow(name) << text(operation) << text(rowName) << text(name) << code;
    };
    const char *const load = "Correctionop::loadCoefficient";
    const char *const read = "ICabinet::tryGetCoefficients chroma";
    row("a block of 100 MB", load, read, enSuccess);
    row("10 million blocks", load, read, enSuccess);
    row("10 million empty maps", load, read, enArgumentMismatch);
    row("10 million numbers", load, read, enArgumentMismatch);
    row("a configuration file of 100 MB", "CabinetInfoOperator::getConfigFile", "ICabinet::getConfigFile", enSuccess);
    row("a string of 100 MB that is not read", "CabinetInfoOperator::setModuleflags", "ICabinet::setModuleflags", enSuccess);
    row("a gamma table of 10 million entries", "ScreenInfo::getGammaAllList", "ISubScreen::getGammaTable", enSuccess);
    row("10 million cards", "Correctionop::getFlashCheckCode", "ICabinet::getFlashCheckInfo", enSuccess);
    row("features of 10 million cabinets", "CabinetInfoOperator::getCabinetsBaseInfo", "ISubScreen::getScreenSupport",
        enSuccess);
    row("an id of 1 MB", "CabinetInfoOperator::getAllCabinetsInfo", "ScreenManager::refreshScreen", enCabinetNotFound);
    row("a screen's name of 100 MB", "ScreenInfo::getScreens", "ScreenManager::refreshScreen", enSuccess);
}

void tst_HostileDevices::largeReplies()
{
    QFETCH(QString, operation);
    QFETCH(QString, row);
    QFETCH(QString, what);
    QFETCH(int, code);
    const auto found = std::find_if(Trust::operations().cbegin(), Trust::operations().cend(),
                                    [&](const Row &candidate) { return candidate.name == row; });
    QVERIFY(found != Trust::operations().cend());
    const int characters = 1000000 * m_scale;
    const int entries = 100000 * m_scale;

    Host host(m_path);
    QVERIFY(bool(host.group));
    bool isSent = false;
    m_backend.edit = [&](const QString &called, const QString &, QVariant &reply) {
        if (called != operation)
            return;
        isSent = true;
        QVariantMap map = reply.toMap();
        if (what == text("a block of 100 MB")) {
            QVariantMap block = reply.toList().at(0).toMap();
            block[text("coefficients")] = QString(characters, QLatin1Char('A'));
            reply = QVariantList{block};
        } else if (what == text("10 million blocks")) {
            reply = copies(reply.toList().at(0), entries);
        } else if (what == text("10 million empty maps")) {
            reply = copies(QVariantMap(), entries);
        } else if (what == text("10 million numbers")) {
            reply = copies(5, entries);
        } else if (what == text("a configuration file of 100 MB")) {
            reply = QVariantMap{{text("config"), QString(characters, QLatin1Char('A'))}};
        } else if (what == text("a string of 100 MB that is not read")) {
            reply = QVariantMap{{text("note"), QString(characters, QLatin1Char('A'))}};
        } else if (what == text("a gamma table of 10 million entries")) {
            map[text("redGamma")] = copies(5, entries);
            reply = map;
        } else if (what == text("10 million cards") || what == text("features of 10 million cabinets")) {
            reply = copies(reply.toList().at(0), entries);
        } else if (what == text("an id of 1 MB")) {
            QVariantMap cabinet = reply.toList().at(0).toMap();
            cabinet[text("id")] = QString(characters / m_scale, QLatin1Char('7'));
            reply = QVariantList{cabinet};
        } else {
            map[text("screenName")] = QString(characters, QLatin1Char('x'));
            reply = map;
        }
    };
    int got = -1;
    measure(what, [&] { got = found->run(host); });
    QVERIFY(isSent);
    QCOMPARE(got, code);
    m_backend.edit = nullptr;
    host.variables = Variables();
    Host again(m_path);
    QVERIFY(bool(again.group));
}

void tst_HostileDevices::aMillionCabinets()
{
    const int count = 10000 * m_scale;
    m_backend.edit = [&](const QString &called, const QString &device, QVariant &reply) {
        if (device != deviceKeys[0])
            return;
        const auto made = [count](const std::function<QVariantMap(int)> &make) {
            QVariantList list;
            list.reserve(count);
            for (int i = 1; i <= count; ++i)
                list.append(make(i));
            return list;
        };
        if (called == text("CabinetInfoOperator::getAllCabinetsInfo")) {
            reply = made([](int i) { return QVariantMap{{text("id"), QString::number(i)}, {text("outputID"), text("1")}}; });
        } else if (called == text("CabinetInfoOperator::getCabAllFlags")) {
            reply = made([](int i) { return QVariantMap{{text("id"), QString::number(i)}}; });
        } else if (called == text("ScreenInfo::getScreens")) {
            QVariantMap screen = reply.toMap();
            const QVariantList cabinets = made([](int i) {
                return QVariantMap{{text("cabinetID"), QString::number(i)},
                                   {text("outputID"), text("1")},
                                   {text("position.x"), 2 * (i % 1000)},
                                   {text("position.y"), i / 1000},
                                   {text("size.width"), 2},
                                   {text("size.height"), 1}};
            });
            screen[text("subScreens")] = QVariantList{QVariantMap{{text("cabinets"), cabinets}}};
            reply = screen;
        }
    };
    EnumErrorCode code = enTimeout;
    auto *const manager = ScreenManager::getInstance();
    measure(text("a refresh of a million cabinets"), [&] { code = manager->refreshScreen(); });
    QCOMPARE(code, enSuccess);
    IScreen *const screen = manager->tryGetScreen(text("s"));
    QVERIFY(screen);
    QRect rect;
    measure(text("their rectangle"), [&] { code = screen->tryGetRect(rect); });
    QCOMPARE(code, enSuccess);
    QCOMPARE(rect.width(), 2000);
    Coefficient grid(4, 2);
    measure(text("a write of four of them"), [&] { code = screen->setCoefficients(QRect(0, 1, 4, 2), grid); });
    QCOMPARE(code, enSuccess);
    measure(text("a save of all"), [&] { code = screen->saveParameter(enSaveCommonCoefficient); });
    QCOMPARE(code, enSuccess);
    m_backend.edit = nullptr;
    measure(text("the refresh that removes them"), [&] { code = manager->refreshScreen(); });
    QCOMPARE(code, enSuccess);
    QVERIFY(!CabinetManager::getInstance()->tryGetCabinet(text("5")));
}

void tst_HostileDevices::deepNesting_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("what");
    for (const char *what : {"inside", "another form", "recorded"}) {
        for (size_t i = 0; i < Trust::operations().size(); ++i)
            QTest::addRow("%s, %s", qPrintable(Trust::operations()[i].name), what) << int(i) << text(what);
    }
}

/// Every reply of every operation has a deep container in it, or is one itself, of another form than the operation has:
/// recursion over it would overflow the stack of 512 KiB. Operations without a reply get one as well.
void tst_HostileDevices::deepNesting()
{
    QFETCH(int, index);
    QFETCH(QString, what);
    const Row &row = Trust::operations()[size_t(index)];
    Host host(m_path);
    QVERIFY(bool(host.group));
    const bool isOtherForm = what == text("another form");
    Model model{isOtherForm ? Fault{Kind::OtherForm, 0, true} : Fault()};
    const int expected = row.expect(model);
    const int levels = isLong() ? 100000 : 5000;
    m_backend.edit = [&](const QString &called, const QString &, QVariant &reply) {
        const Adapter::Form form = Adapter::findOperation(called)->reply;
        if (isOtherForm || form == Adapter::Form::None) {
            reply = nested(levels, form == Adapter::Form::Map ? text("ml") : text("lm"));
        } else if (reply.userType() == QMetaType::QVariantList) {
            QVariantList list = reply.toList();
            QVariantMap element = list.at(0).toMap();
            element.insert(text("zz"), nested(levels));
            list[0].clear();
            list[0] = element;
            reply.clear();
            reply = list;
        } else {
            QVariantMap map = reply.toMap();
            map.insert(text("zz"), nested(levels));
            reply.clear();
            reply = map;
        }
    };
    const QString path = m_directory.filePath(text("deep.jsonl"));
    QFile::remove(path);
    QString error;
    Adapter::Recorder recorder(m_backend);
    const bool isRecorded = what == text("recorded");
    if (isRecorded) {
        QVERIFY2(recorder.open(path, error), qPrintable(error));
        Adapter::setBackend(&recorder);
    }
    int code = -1;
    QList<Adapter::Call> calls;
    bool isWhole = true;
    TestSupport::onSmallStack([&] {
        code = row.run(host);
        if (isRecorded) {
            Adapter::setBackend(&m_backend);
            isWhole = recorder.close(error);
            calls = Adapter::readJournal(path, &error);
        }
    });
    Adapter::setBackend(&m_backend);
    QCOMPARE(code, expected);
    QVERIFY2(isWhole && error.isNull(), qPrintable(error));
    if (isRecorded)
        QCOMPARE(calls.size(), model.calls.size());
    for (const Adapter::Call &call : qAsConst(calls)) {
        const bool isReply = call.reply.isValid() && !call.operation.startsWith(text("HttpProxy::"));
        QCOMPARE(!call.note.isEmpty(), isReply);
    }
}

void tst_HostileDevices::deepNestingAnywhereInARefresh_data()
{
    QTest::addColumn<QString>("operation");
    for (const char *operation :
         {"ScreenInfo::getScreens", "CabinetInfoOperator::getAllCabinetsInfo", "CabinetInfoOperator::getCabAllFlags"})
        QTest::newRow(operation) << text(operation);
}

/// A refresh reads its replies in place and limits only those in which it met something unexpected: here at every place.
void tst_HostileDevices::deepNestingAnywhereInARefresh()
{
    QFETCH(QString, operation);
    const auto &rows = Trust::operations();
    const auto refresh = std::find_if(rows.begin(), rows.end(),
                                      [](const Row &row) { return row.name == text("ScreenManager::refreshScreen"); });
    QVERIFY(refresh != rows.end());
    Host host(m_path);
    QVERIFY(bool(host.group));
    int place = 0;
    int left = 0;
    QString containers;
    m_backend.edit = [&](const QString &called, const QString &, QVariant &reply) {
        if (called != operation)
            return;
        left = place;
        QVariant edited = withDepth(reply, left, isLong() ? 100000 : 5000, containers);
        reply.swap(edited);
    };
    do {
        for (const char *each : {"m", "l", "h"}) {
            containers = text(each);
            TestSupport::onSmallStack([&] { refresh->run(host); });
        }
        ++place;
    } while (left < 0);
    QVERIFY2(place > 5, qPrintable(QString::number(place)));
    m_backend.edit = nullptr;
    QCOMPARE(refresh->run(host), int(enSuccess));
}

/// Cabinets whose places and sizes are at the limits, in every combination.
void tst_HostileDevices::extremeRectangles()
{
    const QVector<int> numbers =
        isLong() ? QVector<int>{least, least + 1, -1, 0, 1, greatest - 1, greatest} : QVector<int>{least, -1, 1, greatest};
    QVector<Row> rows;
    for (const Row &row : Trust::operations()) {
        if (!row.name.startsWith(text("ScreenManager::")))
            rows.append(row);
    }
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    m_backend.edit = [&](const QString &called, const QString &, QVariant &reply) {
        if (called == text("ScreenInfo::getScreens")) {
            QVariantMap screen = reply.toMap();
            QVariantMap part = screen.value(text("subScreens")).toList().at(0).toMap();
            QVariantList cabinets = part.value(text("cabinets")).toList();
            QVariantMap cabinet = cabinets.at(0).toMap();
            cabinet[text("position.x")] = x;
            cabinet[text("position.y")] = y;
            cabinet[text("size.width")] = width;
            cabinet[text("size.height")] = height;
            cabinets[0] = cabinet;
            part[text("cabinets")] = cabinets;
            screen[text("subScreens")] = QVariantList{part};
            reply = screen;
        } else if (called == text("CabinetInfoOperator::getCabAllFlags")) {
            QVariantList list = reply.toList();
            QVariantMap cabinet = list.at(0).toMap();
            QVariantMap card = cabinet.value(text("recvcardflags")).toList().at(0).toMap();
            card[text("x")] = x;
            card[text("y")] = y;
            card[text("width")] = width;
            card[text("height")] = height;
            cabinet[text("recvcardflags")] = QVariantList{card};
            list[0] = cabinet;
            reply = list;
        } else if (called == text("Correctionop::loadCoefficient")) {
            QVariantMap block = reply.toList().at(0).toMap();
            block[text("area.point.x")] = x;
            block[text("area.point.y")] = y;
            block[text("area.size.width")] = width;
            block[text("area.size.height")] = height;
            reply = QVariantList{block};
        } else if (called == text("Correctionop::getFlashCheckCode")) {
            QVariantMap card = reply.toList().at(0).toMap();
            QVariantMap module = card.value(text("flashCheckResults")).toList().at(0).toMap();
            module[text("size.w")] = width;
            module[text("size.h")] = height;
            module[text("point.x")] = x;
            module[text("point.y")] = y;
            card[text("flashCheckResults")] = QVariantList{module};
            reply = QVariantList{card};
        }
    };
    measure(text("extreme rectangles"), [&] {
        for (const int a : numbers) {
            x = a;
            for (const int b : numbers) {
                y = b;
                for (const int c : numbers) {
                    width = c;
                    for (const int d : numbers) {
                        height = d;
                        ++m_walls;
                        Host host(m_path);
                        QVERIFY(bool(host.group));
                        for (const Row &row : qAsConst(rows)) {
                            const int code = row.run(host);
                            QVERIFY2(code >= enSuccess && code <= enCabinetNotFound,
                                     qPrintable(QStringLiteral("%1: %2 for %3,%4 %5x%6")
                                                    .arg(row.name)
                                                    .arg(code)
                                                    .arg(x)
                                                    .arg(y)
                                                    .arg(width)
                                                    .arg(height)));
                        }
                    }
                }
            }
        }
    });
    m_backend.edit = nullptr;
    Host host(m_path);
    QVERIFY(bool(host.group));
}

QTEST_GUILESS_MAIN(tst_HostileDevices)
#include "tst_hostiledevices.moc"
