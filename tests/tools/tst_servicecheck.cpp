// The checks on services that are wrong in one thing each, and the program on walls.

#include "support/Nested.h"

#include <Check.h>

#include <adapter/DeviceBackend.h>
#include <service/HWInfo.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <algorithm>
#include <stdexcept>

using namespace ServiceCheck;
using Adapter::Answer;
using Adapter::Call;
using Simulator::CallJournal;
using Simulator::VirtualWall;

namespace {

bool g_hasHardwareService = true;

} // namespace

// In place of the adapter's: a host may have no such service.
HWInfo *HWInfo::getInstance()
{
    static HWInfo instance;
    return g_hasHardwareService ? &instance : nullptr;
}

namespace {

/// The virtual wall with something wrong.
class SpoiledBackend : public Adapter::DeviceBackend
{
public:
    explicit SpoiledBackend(Adapter::DeviceBackend &wall) : m_wall(wall) {}

    QList<Adapter::DeviceInfo> devices() override
    {
        QList<Adapter::DeviceInfo> list = m_wall.devices();
        if (spoilDevices)
            spoilDevices(list);
        return list;
    }
    Answer answer(const Call &call) override
    {
        const Adapter::Operation &operation = *Adapter::findOperation(call.operation);
        if (operation.isChange())
            ++changes;
        if (swallow && swallow(call))
            return {true, QVariantMap(), {}};
        Answer answer = m_wall.answer(call);
        if (spoil)
            spoil(call, answer);
        return answer;
    }
    QtPromise::QPromise<bool> upload(const Call &call) override
    {
        return spoilUpload ? spoilUpload() : DeviceBackend::upload(call);
    }

    std::function<void(QList<Adapter::DeviceInfo> &)> spoilDevices;
    std::function<void(const Call &, Answer &)> spoil;
    std::function<bool(const Call &)> swallow; ///< Whether to return true and to do nothing.
    std::function<QtPromise::QPromise<bool>()> spoilUpload;
    int changes = 0; ///< Calls of operations that change a device or lock it.

private:
    Adapter::DeviceBackend &m_wall;
};

/// A service with one fault.
struct Fault {
    Finding finding;
    const char *operation; ///< Where it is to be found.
    std::function<void(SpoiledBackend &)> spoil;
};

using SpoilReply = std::function<void(const Call &, Answer &)>;

std::function<void(SpoiledBackend &)> inAnswer(const char *operation, const SpoilReply &spoil)
{
    return [=](SpoiledBackend &backend) {
        backend.spoil = [=](const Call &call, Answer &answer) {
            if (call.operation == QLatin1String(operation))
                spoil(call, answer);
        };
    };
}

/// Damages the reply of one operation, a map.
std::function<void(SpoiledBackend &)> inMap(const char *operation, const std::function<void(QVariantMap &)> &spoil)
{
    return inAnswer(operation, [=](const Call &, Answer &answer) {
        QVariantMap map = answer.reply.toMap();
        spoil(map);
        answer.reply = map;
    });
}

/// Damages the last map in the reply of one operation, a list. Without `spoil` it is left out.
std::function<void(SpoiledBackend &)> inLast(const char *operation, const std::function<void(QVariantMap &)> &spoil)
{
    return inAnswer(operation, [=](const Call &, Answer &answer) {
        QVariantList list = answer.reply.toList();
        QVariantMap map = list.takeLast().toMap();
        if (spoil) {
            spoil(map);
            list.append(map);
        }
        answer.reply = list;
    });
}

/// Damages the last cabinet that getScreens places.
QVariant withLastPlaced(const QVariant &reply, const std::function<void(QVariantMap &)> &spoil)
{
    QVariantMap screen = reply.toMap();
    QVariantList subScreens = screen.value(QStringLiteral("subScreens")).toList();
    QVariantMap subScreen = subScreens.takeLast().toMap();
    QVariantList cabinets = subScreen.value(QStringLiteral("cabinets")).toList();
    QVariantMap cabinet = cabinets.takeLast().toMap();
    if (spoil) {
        spoil(cabinet);
        cabinets.append(cabinet);
    }
    subScreen.insert(QStringLiteral("cabinets"), cabinets);
    subScreens.append(subScreen);
    screen.insert(QStringLiteral("subScreens"), subScreens);
    return screen;
}

std::function<void(SpoiledBackend &)> inLastPlaced(const std::function<void(QVariantMap &)> &spoil)
{
    return inAnswer("ScreenInfo::getScreens",
                    [=](const Call &, Answer &answer) { answer.reply = withLastPlaced(answer.reply, spoil); });
}

/// Gives the last cabinet of device B another id, wherever it is named.
std::function<void(SpoiledBackend &)> lastCabinetOfBIs(const QString &id)
{
    return [=](SpoiledBackend &backend) {
        backend.spoil = [=](const Call &call, Answer &answer) {
            if (call.deviceKey != QLatin1String("B"))
                return;
            if (call.operation == QLatin1String("ScreenInfo::getScreens"))
                answer.reply = withLastPlaced(
                    answer.reply, [&](QVariantMap &cabinet) { cabinet.insert(QStringLiteral("cabinetID"), id); });
            if (call.operation == QLatin1String("CabinetInfoOperator::getAllCabinetsInfo")
                || call.operation == QLatin1String("CabinetInfoOperator::getCabAllFlags")) {
                QVariantList list = answer.reply.toList();
                QVariantMap last = list.takeLast().toMap();
                last.insert(QStringLiteral("id"), id);
                answer.reply = list << last;
            }
        };
    };
}

void changeBlock(QVariantMap &block, int rows, const std::function<void(QByteArray &)> &change)
{
    QByteArray bytes = QByteArray::fromBase64(block.value(QStringLiteral("coefficients")).toString().toLatin1());
    change(bytes);
    block.insert(QStringLiteral("coefficients"), QString::fromLatin1(bytes.toBase64()));
    block.insert(QStringLiteral("area.size.height"), block.value(QStringLiteral("area.size.height")).toInt() + rows);
}

std::function<void(SpoiledBackend &)> swallowed(const char *operation, bool onlyEverySecond)
{
    return [=](SpoiledBackend &backend) {
        backend.swallow = [=, calls = 0](const Call &call) mutable {
            return call.operation == QLatin1String(operation) && (!onlyEverySecond || ++calls % 2 == 0);
        };
    };
}

constexpr char range[] = "CabinetInfoOperator::getCabinetBrightnessRange";
constexpr char load[] = "Correctionop::loadCoefficient";
constexpr char listing[] = "CabinetInfoOperator::getAllCabinetsInfo";
constexpr char flags[] = "CabinetInfoOperator::getCabAllFlags";

const QVector<Fault> &faults()
{
    static const QVector<Fault> all{
        {Finding::NullInstance, "HWInfo::getHWInfo", [](SpoiledBackend &) { g_hasHardwareService = false; }},
        {Finding::Exception, "Correctionop::getCabinetEffectMode",
         inAnswer(
             "Correctionop::getCabinetEffectMode",
             [](const Call &, Answer &answer) { answer.error = std::make_exception_ptr(std::runtime_error("broken")); })},
        {Finding::FalseAnswer, "CabinetInfoOperator::getConfigFile",
         inAnswer("CabinetInfoOperator::getConfigFile", [](const Call &, Answer &answer) { answer.result = false; })},
        {Finding::PromiseRejected, "Correctionop::uploadCoefficientAsync",
         [](SpoiledBackend &backend) {
             backend.spoilUpload = [] { return QtPromise::QPromise<bool>::reject(std::runtime_error("broken")); };
         }},
        {Finding::PromiseNeverSettled, "Correctionop::uploadCoefficientAsync",
         [](SpoiledBackend &backend) {
             backend.spoilUpload = [] { return QtPromise::QPromise<bool>([](const QtPromise::QPromiseResolve<bool> &) {}); };
         }},
        {Finding::WrongType, range,
         inMap(range, [](QVariantMap &map) { map[QStringLiteral("brightness.max")] = QStringLiteral("much"); })},
        {Finding::MissingKey, range, inMap(range, [](QVariantMap &map) { map.remove(QStringLiteral("brightness.max")); })},
        {Finding::NotBase64, "CabinetInfoOperator::getConfigFile",
         inMap("CabinetInfoOperator::getConfigFile",
               [](QVariantMap &map) { map[QStringLiteral("config")] = QStringLiteral("#AAA"); })},
        {Finding::EmptyReply, "CabinetInfoOperator::getCabinetsBaseInfo",
         inLast("CabinetInfoOperator::getCabinetsBaseInfo", nullptr)},
        {Finding::NoHeaders, "ScreenInfo::setCheckerBoardImage(responseHeader)",
         inAnswer("ScreenInfo::setCheckerBoardImage(responseHeader)",
                  [](const Call &, Answer &answer) { answer.headers.remove(QStringLiteral("Content-Type")); })},
        {Finding::EmptyDeviceList, "HttpProxy::getDeviceList",
         [](SpoiledBackend &backend) { backend.spoilDevices = [](QList<Adapter::DeviceInfo> &list) { list.clear(); }; }},
        {Finding::DuplicateDevice, "HttpProxy::getDeviceList",
         [](SpoiledBackend &backend) {
             backend.spoilDevices = [](QList<Adapter::DeviceInfo> &list) { list.append(list.first()); };
         }},
        {Finding::DuplicateId, listing, lastCabinetOfBIs(QStringLiteral("1"))},
        {Finding::BadId, nullptr, lastCabinetOfBIs(QStringLiteral("B-4"))},
        {Finding::NotListed, "ScreenInfo::getScreens", inLast(listing, nullptr)},
        {Finding::NotPlaced, "ScreenInfo::getScreens", inLastPlaced(nullptr)},
        {Finding::NoFlags, flags, inLast(flags, nullptr)},
        {Finding::EmptyRectangle, "ScreenInfo::getScreens",
         inLastPlaced([](QVariantMap &cabinet) { cabinet[QStringLiteral("size.width")] = 0; })},
        {Finding::BlockOutside, load, inLast(load, [](QVariantMap &block) { block[QStringLiteral("area.point.x")] = 1; })},
        {Finding::ShortBlock, load,
         inLast(load, [](QVariantMap &block) { changeBlock(block, 0, [](QByteArray &bytes) { bytes.chop(18); }); })},
        {Finding::LongBlock, load,
         inLast(load, [](QVariantMap &block) { changeBlock(block, 0, [](QByteArray &bytes) { bytes.append(18, '\0'); }); })},
        {Finding::NotCovered, load,
         inLast(load, [](QVariantMap &block) { changeBlock(block, -1, [](QByteArray &bytes) { bytes.chop(16 * 18); }); })},
        {Finding::NotKept, "CabinetInfoOperator::setCabinetFlag", swallowed("CabinetInfoOperator::setCabinetFlag", false)},
        {Finding::NotRestored, "CabinetInfoOperator::setCabinetFlag",
         swallowed("CabinetInfoOperator::setCabinetFlag", true)},
        {Finding::TooDeep, range,
         inMap(range, [](QVariantMap &map) { map.insert(QStringLiteral("zz"), TestSupport::nested(100000)); })},
    };
    return all;
}

bool needsWriting(Finding finding)
{
    return finding == Finding::PromiseRejected || finding == Finding::PromiseNeverSettled || finding == Finding::NotKept
           || finding == Finding::NotRestored;
}

/// Everything that the wall's devices hold, line by line.
QStringList stateOfWall()
{
    const VirtualWall &wall = VirtualWall::instance();
    QStringList state{QString::fromUtf8(Simulator::wallToJson(wall.wall()))};
    const auto add = [&state](const QVariant &value) { state += CallJournal::describe(value); };
    for (const Simulator::Device &device : wall.pluggedDevices()) {
        const QString &key = device.key;
        for (const auto channel : {Simulator::Channel::Red, Simulator::Channel::Green, Simulator::Channel::Blue})
            add(QVariant::fromValue(wall.state().settings(key).gamma[static_cast<std::size_t>(channel)]));
        Simulator::DeviceSettings::fields([&](const char *, auto member, Adapter::Operation::Id, const char *) {
            add(wall.state().settings(key).*member);
        });
        add(wall.state().imageMode(key));
        add(int(wall.state().pattern(key).type));
        add(wall.state().lockOwner(key));
        for (const Simulator::Cabinet &cabinet : device.subScreens.first().cabinets) {
            const QString &id = cabinet.id;
            for (const auto kind : {Simulator::Kind::Chroma, Simulator::Kind::Multilayer, Simulator::Kind::LowGray})
                for (const auto store : {Simulator::Store::Working, Simulator::Store::User, Simulator::Store::Factory,
                                         Simulator::Store::Module, Simulator::Store::Flash})
                    add(QString::fromLatin1(wall.state().plane(key, id, kind, store).toBase64()));
            for (const auto channel : {Simulator::Channel::Red, Simulator::Channel::Green, Simulator::Channel::Blue})
                add(QVariant::fromValue(wall.state().gamma(key, id, channel)));
            add(wall.state().brightness(key, id));
            add(wall.state().effectMode(key, id));
            add(wall.state().multilayerParameter(key, id));
            add(wall.state().multilayerParameters(key, id));
            add(QString::fromLatin1(wall.state().configFile(key, id).toBase64()));
        }
    }
    return state;
}

/// "finding operation" of every BAD line.
QStringList findingsOf(const Report &report)
{
    QStringList found;
    for (const Line &line : report.lines()) {
        if (line.status == Line::Bad)
            found += line.finding + QLatin1Char(' ') + line.operation;
    }
    found.removeDuplicates();
    found.sort();
    return found;
}

QByteArray fileText(const char *name)
{
    QFile file(QStringLiteral(SOURCE_DIR "/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct Run {
    int exit = -1;
    QByteArray out;
    QByteArray error;
};

Run runProgram(const QString &arguments, const QString &program = QStringLiteral(SERVICE_CHECK))
{
    QProcess process;
    process.start(program, arguments.split(QLatin1Char(' '), Qt::SkipEmptyParts));
    Run run;
    if (process.waitForFinished(-1) && process.exitStatus() == QProcess::NormalExit)
        run.exit = process.exitCode();
    run.out = process.readAllStandardOutput();
    run.error = process.readAllStandardError();
    return run;
}

/// The names of the findings that a run printed as lines.
QStringList namesIn(const QByteArray &out)
{
    QStringList names;
    const QStringList lines = QString::fromUtf8(out).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(QLatin1String("BAD ")))
            names += line.section(QLatin1Char('['), -1).chopped(1);
    }
    names.removeDuplicates();
    names.sort();
    return names;
}

} // namespace

class tst_ServiceCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void aGoodServiceIsGood();
    void everyFaultIsFoundByItsName_data();
    void everyFaultIsFoundByItsName();
    void everyFindingHasAFault();
    void likeFaultsOfAReplyAreOneLine();
    void aRefusedLockKeepsFromWriting();
    void nothingIsWrittenBackWithoutUpload();
    void aDeviceWithoutACheckerboardIsGood();
    void aDeviceThatIsFoundLateIsChecked();
    void nothingIsChangedWithoutWrite();
    void whatIsWrittenIsPutBack();
    void everyOperationIsAskedInTheEnd();

    void theProgramOnWalls_data();
    void theProgramOnWalls();
    void theProgramsExitCodes_data();
    void theProgramsExitCodes();
    void theDocumentFollowsTheSchema();
    void theDocumentationNamesEveryFinding();
    void theManualPageHasEveryOption();
    void aServiceIsCheckedWithoutTheAdapter();

private:
    QString check(const Options &options, Report &report) { return Check(options, report).run(); }
    Options options(bool write = false) const
    {
        Options options;
        options.write = write;
        options.search = 0;
        options.timeout = 5000;
        return options;
    }

    Adapter::DeviceBackend *m_wall = nullptr;
    std::unique_ptr<SpoiledBackend> m_backend;
};

void tst_ServiceCheck::initTestCase()
{
    QLoggingCategory::setFilterRules(QStringLiteral("correction.adapter.warning=false"));
    QVERIFY(VirtualWall::instance().load(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json")));
    m_wall = Adapter::backend();
    QVERIFY(m_wall);
}

void tst_ServiceCheck::init()
{
    VirtualWall &wall = VirtualWall::instance();
    QVERIFY(wall.load(QStringLiteral(SOURCE_DIR "/tests/tools/walls/small.json")));
    // Something of everything that is written back, and different values in every store.
    int number = 0;
    for (const Simulator::Device &device : wall.pluggedDevices()) {
        for (const Simulator::Cabinet &cabinet : device.subScreens.first().cabinets) {
            for (const auto store : {Simulator::Store::Working, Simulator::Store::User, Simulator::Store::Factory,
                                     Simulator::Store::Module, Simulator::Store::Flash}) {
                QVector<quint16> values = wall.state().chroma(device.key, cabinet.id, store);
                std::generate(values.begin(), values.end(), [&number] { return quint16(++number); });
                QVERIFY(wall.state().setChroma(device.key, cabinet.id, values, store));
            }
            QVERIFY(wall.state().setConfigFile(device.key, cabinet.id, "the configuration"));
            QVERIFY(wall.state().setGamma(device.key, cabinet.id, Simulator::Channel::Red, {0, 10, ++number}));
            QVERIFY(wall.state().setGamma(device.key, cabinet.id, Simulator::Channel::Green, {0, 11, ++number}));
            QVERIFY(wall.state().setGamma(device.key, cabinet.id, Simulator::Channel::Blue, {0, 12, ++number}));
        }
        QVERIFY(wall.state().setGamma(device.key, Simulator::Channel::Red, {0, 20, 30}));
        QVERIFY(wall.state().setGamma(device.key, Simulator::Channel::Green, {0, 21, 31}));
        QVERIFY(wall.state().setGamma(device.key, Simulator::Channel::Blue, {0, 22, 0}));
    }
    wall.journal().clear();
    g_hasHardwareService = true;
    m_backend = std::make_unique<SpoiledBackend>(*m_wall);
    Adapter::setBackend(m_backend.get());
}

void tst_ServiceCheck::cleanup()
{
    m_backend.reset();
}

void tst_ServiceCheck::aGoodServiceIsGood()
{
    for (const bool write : {false, true}) {
        Report report;
        Options all = options(write);
        all.allCabinets = true;
        QCOMPARE(check(all, report), QString());
        QCOMPARE(findingsOf(report), QStringList());
        QStringList named;
        for (const Line &line : report.lines())
            named += line.operation;
        for (const Adapter::Operation &operation : Adapter::operations())
            QVERIFY2(named.contains(operation.name), qPrintable(operation.name));
        const int cabinets = VirtualWall::instance().pluggedDevices().first().subScreens.first().cabinets.size();
        QVERIFY(cabinets > 1);
        QCOMPARE(int(std::count_if(report.lines().begin(), report.lines().end(),
                                   [](const Line &line) {
                                       return line.operation == QLatin1String(load) && line.device == QLatin1String("A");
                                   })),
                 cabinets);
    }
}

void tst_ServiceCheck::everyFaultIsFoundByItsName_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < faults().size(); ++i)
        QTest::newRow(findingRow(faults()[i].finding).name) << i;
}

void tst_ServiceCheck::everyFaultIsFoundByItsName()
{
    QFETCH(int, index);
    const Fault &fault = faults()[index];
    Options checked = options(needsWriting(fault.finding));
    if (fault.finding == Finding::PromiseNeverSettled)
        checked.timeout = 20;
    fault.spoil(*m_backend);
    Report report;
    const QString none = check(checked, report);
    QCOMPARE(none.isEmpty(), fault.finding != Finding::EmptyDeviceList);

    QVERIFY(report.count(Line::Bad) > 0);
    for (const Line &line : report.lines()) {
        if (line.status != Line::Bad)
            continue;
        QCOMPARE(line.finding, QLatin1String(findingRow(fault.finding).name));
        if (fault.operation && !(needsWriting(fault.finding) && line.operation.endsWith(QLatin1String("Async"))))
            QCOMPARE(line.operation, QLatin1String(fault.operation));
        QVERIFY(!line.text.isEmpty());
        QVERIFY2(!line.consequence.isEmpty(), qPrintable(line.toString()));
    }
}

void tst_ServiceCheck::everyFindingHasAFault()
{
    for (int i = 0; i < int(Finding::Count); ++i) {
        QCOMPARE(int(std::count_if(faults().begin(), faults().end(),
                                   [i](const Fault &fault) { return int(fault.finding) == i; })),
                 1);
    }
}

void tst_ServiceCheck::likeFaultsOfAReplyAreOneLine()
{
    inAnswer(flags, [](const Call &call, Answer &answer) {
        QVariantList list = answer.reply.toList();
        for (QVariant &cabinet : list) {
            QVariantMap map = cabinet.toMap();
            map.remove(QStringLiteral("flag"));
            cabinet = map;
        }
        if (call.deviceKey == QLatin1String("A"))
            answer.reply = list;
    })(*m_backend);
    Report report;
    check(options(), report);
    QStringList bad;
    for (const Line &line : report.lines()) {
        if (line.status == Line::Bad)
            bad += line.toString();
    }
    QCOMPARE(bad, QStringList(QStringLiteral("BAD  CabinetInfoOperator::getCabAllFlags: device A: reply[0][\"flag\"] is "
                                             "missing (and 3 more): it is read as 0, empty or false [missing-key]")));
}

void tst_ServiceCheck::aRefusedLockKeepsFromWriting()
{
    inAnswer("HWInfo::lock", [](const Call &, Answer &answer) { answer.result = false; })(*m_backend);
    Report report;
    check(options(true), report);
    QCOMPARE(findingsOf(report), QStringList(QStringLiteral("false-answer HWInfo::lock")));
    QCOMPARE(m_backend->changes, VirtualWall::instance().pluggedDevices().size()); // the locks
}

void tst_ServiceCheck::nothingIsWrittenBackWithoutUpload()
{
    swallowed("Correctionop::uploadCoefficient", false)(*m_backend);
    const QStringList before = stateOfWall();
    Report report;
    check(options(true), report);
    QCOMPARE(findingsOf(report), QStringList(QStringLiteral("not-kept Correctionop::uploadCoefficient")));
    QCOMPARE(stateOfWall(), before); // no other store was shown
}

void tst_ServiceCheck::aDeviceWithoutACheckerboardIsGood()
{
    inAnswer("ScreenInfo::setCheckerBoardImage(responseHeader)", [](const Call &, Answer &answer) {
        answer.result = false;
        answer.headers = {{QStringLiteral("HttpResponse_StateCode"), QStringLiteral("404")}};
    })(*m_backend);
    Report report;
    Options all = options(true);
    all.unrestored = true;
    check(all, report);
    QCOMPARE(findingsOf(report), QStringList());
    QVERIFY(std::any_of(report.lines().begin(), report.lines().end(), [](const Line &line) {
        return line.status == Line::Skip && line.operation == QLatin1String("ScreenInfo::setCheckerBoardImage");
    }));
}

void tst_ServiceCheck::aDeviceThatIsFoundLateIsChecked()
{
    int asked = 0;
    m_backend->spoilDevices = [&asked](QList<Adapter::DeviceInfo> &list) {
        if (++asked < 3)
            list.clear();
    };
    Report report;
    Options patient = options();
    patient.search = 60000;
    QCOMPARE(check(patient, report), QString());
    QCOMPARE(findingsOf(report), QStringList());
    QCOMPARE(asked, 3);
}

void tst_ServiceCheck::nothingIsChangedWithoutWrite()
{
    const QStringList before = stateOfWall();
    Report report;
    check(options(), report);
    QCOMPARE(m_backend->changes, 0);
    QCOMPARE(stateOfWall(), before);
}

void tst_ServiceCheck::whatIsWrittenIsPutBack()
{
    const QStringList before = stateOfWall();
    Report report;
    check(options(true), report);
    QVERIFY(m_backend->changes > 0);
    QCOMPARE(stateOfWall(), before);
    QCOMPARE(VirtualWall::instance().journal().notes(), QStringList());
    for (const Line &line : report.lines()) {
        if (line.status == Line::Skip)
            QVERIFY2(line.text.contains(QLatin1String("--unrestored")), qPrintable(line.toString()));
    }
}

void tst_ServiceCheck::everyOperationIsAskedInTheEnd()
{
    Options all = options(true);
    all.unrestored = true;
    all.device = QStringLiteral("B");
    Report report;
    QCOMPARE(check(all, report), QString());
    QCOMPARE(findingsOf(report), QStringList());
    QCOMPARE(report.count(Line::Skip), 0);
    QCOMPARE(VirtualWall::instance().journal().notes(), QStringList());
    for (const Call &call : VirtualWall::instance().journal().calls())
        QVERIFY2(call.deviceKey.isEmpty() || call.deviceKey == QLatin1String("B"), qPrintable(call.operation));
}

void tst_ServiceCheck::theProgramOnWalls_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<QStringList>("names");
    QTest::newRow("demo") << QStringLiteral("--wall demo --write --all-cabinets") << QStringList();
    QTest::newRow("the default") << QString() << QStringList();
    QTest::newRow("uhd") << QStringLiteral("--wall uhd") << QStringList();
    const QStringList faults{QStringLiteral("duplicate-id"), QStringLiteral("false-answer"), QStringLiteral("not-listed"),
                             QStringLiteral("not-placed")};
    QTest::newRow("broken") << QStringLiteral("--wall broken") << faults;
    QTest::newRow("broken, written to") << QStringLiteral("--wall broken --write") << faults;
    QTest::newRow("the good device of broken") << QStringLiteral("--wall broken --write --device obedient") << QStringList();
}

void tst_ServiceCheck::theProgramOnWalls()
{
    QFETCH(QString, arguments);
    QFETCH(QStringList, names);
    const Run run = runProgram(arguments);
    QCOMPARE(namesIn(run.out), names);
    QCOMPARE(run.exit, names.isEmpty() ? 0 : 1);
    QCOMPARE(run.error, QByteArray());
    QVERIFY(run.out.contains(names.isEmpty() ? " OK, 0 BAD, " : " SKIP\n"));
}

void tst_ServiceCheck::theProgramsExitCodes_data()
{
    QTest::addColumn<QString>("arguments");
    QTest::addColumn<int>("exit");
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("help") << QStringLiteral("--help") << 0 << QByteArray("--all-cabinets");
    QTest::newRow("an unknown option") << QStringLiteral("--nosuch") << 64 << QByteArray("--nosuch");
    QTest::newRow("a negative time") << QStringLiteral("--timeout -1") << 64 << QByteArray("--timeout");
    QTest::newRow("unrestored without write") << QStringLiteral("--unrestored --device left") << 64 << QByteArray("--write");
    QTest::newRow("unrestored without a device") << QStringLiteral("--unrestored --write") << 64 << QByteArray("--device");
    QTest::newRow("an unknown wall") << QStringLiteral("--wall nosuch") << 69 << QByteArray("nosuch");
    QTest::newRow("an unknown device") << QStringLiteral("--device nosuch") << 69
                                       << QByteArray("there is no device nosuch, only left, right");
}

void tst_ServiceCheck::theProgramsExitCodes()
{
    QFETCH(QString, arguments);
    QFETCH(int, exit);
    QFETCH(QByteArray, text);
    const Run run = runProgram(arguments);
    QCOMPARE(run.exit, exit);
    QVERIFY2((run.out + run.error).contains(text), run.out + run.error);
}

void tst_ServiceCheck::theDocumentFollowsTheSchema()
{
    for (const char *arguments :
         {"--json", "--json --wall broken --write", "--json --device nosuch", "--json --wall nosuch"}) {
        const Run run = runProgram(QLatin1String(arguments));
        const QJsonObject document = QJsonDocument::fromJson(run.out).object();
        QCOMPARE(document.value(QStringLiteral("exit")).toInt(-1), run.exit);
        QCOMPARE(document.value(QStringLiteral("write")).toBool(), QByteArray(arguments).contains("--write"));
        int bad = 0;
        for (const QJsonValue line : document.value(QStringLiteral("lines")).toArray())
            bad += line.toObject().value(QStringLiteral("status")) == QLatin1String("BAD");
        QCOMPARE(document.value(QStringLiteral("summary")).toObject().value(QStringLiteral("bad")).toInt(-1), bad);
        QCOMPARE(bad > 0, run.exit == 1);

        // The schema takes the document, and none with an entry of a wrong type or name.
        QProcess python;
        python.start(QStringLiteral("python3"), {QStringLiteral("-c"), QStringLiteral(R"(
import copy, json, sys, jsonschema
document = json.load(sys.stdin)
validator = jsonschema.Draft202012Validator(json.load(open(sys.argv[1])))
validator.check_schema(validator.schema)
validator.validate(document)
for part in [document, document["summary"]] + document["lines"][:1]:
    for key in list(part):
        kept = part.pop(key)
        assert not validator.is_valid(document), "without " + key
        part[key] = [["no such value"]]
        assert not validator.is_valid(document), "any " + key
        part[key] = kept
    part["additional"] = 1
    assert not validator.is_valid(document), "additional"
    del part["additional"]
)"),
                                                 QStringLiteral(SOURCE_DIR "/docs/service-check.schema.json")});
        python.write(run.out);
        python.closeWriteChannel();
        QVERIFY2(python.waitForFinished(-1) && python.exitCode() == 0, python.readAllStandardError());
    }
}

void tst_ServiceCheck::theDocumentationNamesEveryFinding()
{
    const QJsonObject schema = QJsonDocument::fromJson(fileText("docs/service-check.schema.json")).object();
    const QJsonArray names = schema.value(QStringLiteral("$defs"))
                                 .toObject()
                                 .value(QStringLiteral("finding"))
                                 .toObject()
                                 .value(QStringLiteral("enum"))
                                 .toArray();
    QCOMPARE(names.size(), int(Finding::Count) + 1); // and the empty one of lines that are not BAD
    const QByteArray page = fileText("docs/service-check.md");
    for (int i = 0; i < int(Finding::Count); ++i) {
        const char *const name = findingRow(Finding(i)).name;
        QVERIFY2(names.contains(QLatin1String(name)), name);
        QVERIFY2(page.contains("| `" + QByteArray(name) + "` |"), name);
    }
}

void tst_ServiceCheck::theManualPageHasEveryOption()
{
    const auto found = [](const char *pattern, const QByteArray &text) {
        const QRegularExpression option(QLatin1String(pattern), QRegularExpression::MultilineOption);
        QStringList names;
        for (auto matches = option.globalMatch(QString::fromUtf8(text)); matches.hasNext();)
            names += matches.next().captured(1);
        names.sort();
        return names;
    };
    QFile manual(QStringLiteral(SERVICE_CHECK_MANUAL));
    QVERIFY(manual.open(QIODevice::ReadOnly));
    const QStringList options = found("^  (?:-h,)?(--[a-z-]+)", runProgram(QStringLiteral("--help")).out);
    QVERIFY(options.contains(QStringLiteral("--all-cabinets")));
    QCOMPARE(found("^fB(?:-hfR, fB)?(--[a-z-]+)fR", manual.readAll().replace('\\', QByteArray())), options);

    const Run page = runProgram(QStringLiteral("-man -Tutf8 -ww -P-cbou ") + manual.fileName(), QStringLiteral("groff"));
    QCOMPARE(page.error, QByteArray());
    QVERIFY(page.out.contains("EXIT STATUS"));
}

/// A program that is linked with a service that defines the classes itself.
void tst_ServiceCheck::aServiceIsCheckedWithoutTheAdapter()
{
    const QString program = QStringLiteral(SERVICE_CHECK_DIRECT);
    const Run run = runProgram(QStringLiteral("--write"), program);
    QCOMPARE(run.exit, 1);
    QCOMPARE(namesIn(run.out), QStringList(QStringLiteral("false-answer")));
    QVERIFY2(run.out.contains("BAD  HWInfo::getHWInfo: device direct: returned false: "), run.out);
    QCOMPARE(runProgram(QStringLiteral("--wall demo"), program).exit, 64);
    const Run libraries = runProgram(program, QStringLiteral("ldd"));
    QCOMPARE(libraries.exit, 0);
    QVERIFY2(!libraries.out.contains("adapter"), libraries.out);
}

QTEST_GUILESS_MAIN(tst_ServiceCheck)
#include "tst_servicecheck.moc"
