#include "CabinetFixture.h"

#include <Correction/CabinetV4.h>

#include <QtCore/QRandomGenerator>

#include <limits>
#include <optional>

using namespace Correction;
using namespace CabinetTests;

namespace {

constexpr int least = std::numeric_limits<int>::min();
constexpr int greatest = std::numeric_limits<int>::max();

const char *const checkOperation = "Correctionop::getFlashCheckCode";
const char *const noBaseInfo = "call getScreenBaseInfo() fail. result.length()<=0 ";

// The allowances once more, in integers of 64 bits alone: what 32-bit arithmetic drops is dropped at the end of each
// step.

qint64 wrapped(quint64 number)
{
    const quint64 rest = number % 4294967296u;
    return rest < 2147483648u ? qint64(rest) : qint64(rest) - 4294967296;
}

qint64 product(qint64 a, qint64 b, qint64 c)
{
    return wrapped(quint64(a) * quint64(b) * quint64(c)); // unsigned: the lost part is a multiple of 2^32
}

qint64 roundedUp(qint64 number, qint64 divisor)
{
    const qint64 quotient = number / divisor;
    return number > 0 && number % divisor != 0 ? quotient + 1 : quotient;
}

qint64 forType(qint64 allowance, int type)
{
    return type == 3 ? wrapped(quint64(3 * allowance)) : allowance;
}

qint64 clearTime(qint64 width, qint64 height, int type)
{
    const qint64 bytes = product(2, width, height);
    return forType(wrapped(quint64(roundedUp(bytes, 32768) * 1500 + roundedUp(bytes, 128) * 10)), type);
}

qint64 reloadTime(qint64 width, qint64 height, int type)
{
    return forType(roundedUp(product(16, width, height), 128) * 3 / 2 + 100, type);
}

qint64 saveTime(qint64 width, qint64 height, qint64 modules, int type)
{
    const qint64 bytes = product(16, width, height);
    const qint64 tenths = bytes / 32768 * 20000 + roundedUp(bytes, 128) * 37;
    return forType(wrapped(quint64(tenths / 10 * modules)), type);
}

Map moduleReply(int width, int height, int x = 0, int y = 0, int code = 0)
{
    return {{QStringLiteral("size.w"), width},
            {QStringLiteral("size.h"), height},
            {QStringLiteral("point.x"), x},
            {QStringLiteral("point.y"), y},
            {QStringLiteral("checkCode"), code}};
}

Map cardReply(int card, int output, const List &modules)
{
    return {{QStringLiteral("rvcardId"), card},
            {QStringLiteral("outputId"), output},
            {QStringLiteral("flashCheckResults"), modules}};
}

/// A check reply with one card, whose modules all have the size of the first.
List checkReply(int width, int height, int modules)
{
    List results;
    for (int i = 0; i < modules; ++i)
        results.append(moduleReply(width, height));
    return listOf(cardReply(1, 1, results));
}

QString cardRow(const char *key, int output, int card)
{
    return row({QStringLiteral("getFlashCheckCode "), QStringLiteral("deviceKey:"), quoted("'%1'").arg(QLatin1String(key)),
                QStringLiteral(" out.outPutId : "), QString::number(output), QStringLiteral("out.rxcardId:"),
                QString::number(card)});
}

QString moduleRow(int x, int y, bool good)
{
    return row({QStringLiteral("getFlashCheckCode.flashList "), QStringLiteral("x: "), QString::number(x),
                QStringLiteral("y: "), QString::number(y), QStringLiteral(" checkInfo.resutlt :"),
                good ? QStringLiteral("true") : QStringLiteral("false")});
}

/// A description whose first receiving card has these edges.
std::unique_ptr<CabinetInfo> withCard(int left, int top, int right, int bottom)
{
    auto info = description();
    info->rvCardList.first()->rect.setCoords(left, top, right, bottom);
    return info;
}

/// A cabinet that implements the flash check itself.
class CheckedCabinet : public CabinetV4
{
public:
    CheckedCabinet(EnumErrorCode code, const QList<RxCardFlashCheckInfo> &cards)
        : CabinetV4(description(QStringLiteral("%2")).release()), m_code(code), m_cards(cards)
    {
    }
    EnumErrorCode getFlashCheckInfo(QList<RxCardFlashCheckInfo> &cards) override
    {
        wasEmpty = cards.isEmpty();
        ++checks;
        cards.append(m_cards);
        return m_code;
    }

    int checks = 0;
    bool wasEmpty = false;

private:
    EnumErrorCode m_code;
    QList<RxCardFlashCheckInfo> m_cards;
};

using ModuleOperation = EnumErrorCode (ICabinet::*)(int);

struct Row {
    const char *name;
    ModuleOperation operation;
    bool checksFirst;
};

const Row rows[] = {{"clearModuleCoefficient", &ICabinet::clearModuleCoefficient, false},
                    {"saveModuleCoefficient", &ICabinet::saveModuleCoefficient, true},
                    {"reloadModuleCoefficient", &ICabinet::reloadModuleCoefficient, true}};

} // namespace

class CabinetModuleFlashTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_log.reset(); }
    void init();
    void cleanup();

    void flashChecksAreRead();
    void flashChecksAreAppended();
    void flashChecksOfOtherKinds_data();
    void flashChecksOfOtherKinds();
    void aRefusedFlashCheckAppendsNothing();
    void theWallsOwnFlashCheckIsRead();

    void flashIsSupportedWhenEveryModuleIsGood_data();
    void flashIsSupportedWhenEveryModuleIsGood();
    void flashSupportAsksTheCabinetsOwnCheck_data();
    void flashSupportAsksTheCabinetsOwnCheck();

    void allowancesOfKnownSizes_data();
    void allowancesOfKnownSizes();
    void allowancesOfAnySize_data();
    void allowancesOfAnySize();
    void allowancesOfRandomSizes();
    void savingCountsTheModulesOfTheFirstCard_data();
    void savingCountsTheModulesOfTheFirstCard();
    void theTypeIsPassedThrough_data();
    void theTypeIsPassedThrough();

    void theReplyIsLogged_data() { operations(); }
    void theReplyIsLogged();
    void aRefusalIsReported_data() { operations(); }
    void aRefusalIsReported();
    void aRefusedCheckIsReported_data() { operations(); }
    void aRefusedCheckIsReported();
    void theCodeOfTheCabinetsOwnCheckIsPassedOn_data() { operations(); }
    void theCodeOfTheCabinetsOwnCheckIsPassedOn();
    void aCheckWithoutCardsIsNotSupported_data() { operations(); }
    void aCheckWithoutCardsIsNotSupported();
    void aFirstCardWithoutModulesIsNotSupported_data() { operations(); }
    void aFirstCardWithoutModulesIsNotSupported();
    void badModulesAreNoObstacle_data() { operations(); }
    void badModulesAreNoObstacle();
    void onlyTheFirstCardMustHaveModules_data() { operations(); }
    void onlyTheFirstCardMustHaveModules();
    void aCabinetWithoutCards_data() { operations(); }
    void aCabinetWithoutCards();
    void idsAreSentAsUnsignedNumbers_data();
    void idsAreSentAsUnsignedNumbers();
    void flashIsSavedReloadedAndClearedOnTheDevice();

    void moduleFlagsAreSentInOrder();
    void noModuleFlagsAreRefused();
    void refusedModuleFlagsAreReported();
    void moduleFlagsLogTheWholeReply();
    void moduleFlagsReachTheModules();

    void supportIsReadFromTheFirstMap_data();
    void supportIsReadFromTheFirstMap();
    void anEmptySupportReplyIsRefused();
    void aRefusedSupportChangesNothing();

private:
    static void operations();
    static const Row &current();
    static EnumErrorCode run(ICabinet &cabinet, int type) { return (cabinet.*current().operation)(type); }
    static QString service() { return QStringLiteral("CabinetInfoOperator::") + QLatin1String(current().name); }
    static QString check(const char *key = "A")
    {
        return quoted("Correctionop::getFlashCheckCode('%1', '12', {})").arg(QLatin1String(key));
    }
    /// "call <operation>.getFlashCheckInfo()<end>"
    static QString checkMessage(const char *end)
    {
        return QStringLiteral("call ") + QLatin1String(current().name) + QStringLiteral(".getFlashCheckInfo()")
               + QLatin1String(end);
    }

    /// The allowance that the last call of the journal was given; least when it was given none.
    static int sentAllowance();

    std::optional<TestSupport::LogCapture> m_log; // made after the test library has installed its own handler
};

void CabinetModuleFlashTest::initTestCase()
{
    m_log.emplace();
    showDebugLines();
    // The oracle itself, at values that are known.
    QCOMPARE(clearTime(128, 64, 0), qint64(2780));
    QCOMPARE(reloadTime(128, 64, 0), qint64(1636));
    QCOMPARE(saveTime(64, 32, 8, 0), qint64(23576));
    QCOMPARE(saveTime(32, 32, 8, 0), qint64(3784));
    QCOMPARE(product(2, 32768, 32768), qint64(least));
    QCOMPARE(product(16, 65536, 65536), qint64(0));
}

void CabinetModuleFlashTest::init()
{
    wall().reset();
    m_log->clear();
}

void CabinetModuleFlashTest::cleanup()
{
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void CabinetModuleFlashTest::operations()
{
    QTest::addColumn<int>("index");
    int index = 0;
    for (const Row &each : rows)
        QTest::newRow(each.name) << index++;
}

const Row &CabinetModuleFlashTest::current()
{
    const int *const index = static_cast<const int *>(QTest::qData("index", qMetaTypeId<int>()));
    return rows[*index];
}

int CabinetModuleFlashTest::sentAllowance()
{
    const QList<Simulator::Call> calls = wall().journal().calls();
    if (calls.isEmpty() || calls.last().extra.userType() != QMetaType::Int)
        return least;
    return calls.last().extra.toInt();
}

// Flash check

void CabinetModuleFlashTest::flashChecksAreRead()
{
    wall()
        .scripts()
        .on(QLatin1String(checkOperation))
        .answer(List{cardReply(3, 7, List{moduleReply(16, 8, -1, 2, 0), moduleReply(32, 4, 5, -6, 9)}),
                     cardReply(-1, greatest, List()), cardReply(0, 0, List{moduleReply(0, 0, 0, 0, -1)})});
    CabinetV4 cabinet(description().release());
    QList<RxCardFlashCheckInfo> cards;
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enSuccess);
    QCOMPARE(cards.size(), 3);
    QCOMPARE(cards.at(0).rxcardId, 3);
    QCOMPARE(cards.at(0).outPutId, 7);
    QCOMPARE(cards.at(0).flashList.size(), 2);
    QCOMPARE(cards.at(0).flashList.at(0).size, QSize(16, 8));
    QCOMPARE(cards.at(0).flashList.at(0).point, QPoint(-1, 2));
    QCOMPARE(cards.at(0).flashList.at(0).resutlt, true);
    QCOMPARE(cards.at(0).flashList.at(0).rect, QRect());
    QCOMPARE(cards.at(0).flashList.at(1).size, QSize(32, 4));
    QCOMPARE(cards.at(0).flashList.at(1).point, QPoint(5, -6));
    QCOMPARE(cards.at(0).flashList.at(1).resutlt, false);
    QCOMPARE(cards.at(1).rxcardId, -1);
    QCOMPARE(cards.at(1).outPutId, greatest);
    QCOMPARE(cards.at(1).flashList.size(), 0);
    QCOMPARE(cards.at(2).flashList.size(), 1);
    QCOMPARE(cards.at(2).flashList.at(0).resutlt, false);

    QCOMPARE(wall().journal().transcript(), QStringList(check()));
    QCOMPARE(m_log->takeDebug(), QStringList({cardRow("A", 7, 3), moduleRow(-1, 2, true), moduleRow(5, -6, false),
                                              cardRow("A", greatest, -1), cardRow("A", 0, 0), moduleRow(0, 0, false)}));
}

void CabinetModuleFlashTest::flashChecksAreAppended()
{
    wall().scripts().on(QLatin1String(checkOperation)).answer(listOf(cardReply(2, 2, listOf(moduleReply(1, 1)))));
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    RxCardFlashCheckInfo earlier;
    earlier.rxcardId = 8;
    earlier.outPutId = 9;
    FlashCheckInfo module;
    module.point = QPoint(4, 5);
    earlier.flashList.append(module);
    QList<RxCardFlashCheckInfo> cards{earlier};
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enSuccess);
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enSuccess);
    QCOMPARE(cards.size(), 3);
    QCOMPARE(cards.at(0).rxcardId, 8);
    QCOMPARE(cards.at(0).flashList.size(), 1);
    QCOMPARE(cards.at(1).rxcardId, 2);
    QCOMPARE(cards.at(2).rxcardId, 2);

    // The whole list is logged each time, with what was in it before.
    const QStringList before{cardRow("%2", 9, 8), moduleRow(4, 5, false)};
    const QStringList added{cardRow("%2", 2, 2), moduleRow(0, 0, true)};
    QCOMPARE(m_log->takeDebug(), before + added + before + added + added);
}

void CabinetModuleFlashTest::flashChecksOfOtherKinds_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<QString>("expected"); // card@output and, for each module, x,y wxh and the result of the check
    const QString results = QStringLiteral("flashCheckResults");
    QTest::newRow("no card") << QVariant(List()) << QString();
    QTest::newRow("an empty map") << QVariant(listOf(Map())) << QStringLiteral("0@0");
    QTest::newRow("a number instead of a card") << QVariant(List{5}) << QStringLiteral("0@0");
    QTest::newRow("nothing instead of a card") << QVariant(listOf(QVariant())) << QStringLiteral("0@0");
    QTest::newRow("a map instead of the modules")
        << QVariant(listOf(Map{{results, Map{{QStringLiteral("0"), 1}}}})) << QStringLiteral("0@0");
    QTest::newRow("a number instead of the modules") << QVariant(listOf(Map{{results, 5}})) << QStringLiteral("0@0");
    QTest::newRow("a module without keys")
        << QVariant(listOf(Map{{results, listOf(Map())}})) << QStringLiteral("0@0 0,0 0x0 good");
    QTest::newRow("a number instead of a module")
        << QVariant(listOf(Map{{results, List{5}}})) << QStringLiteral("0@0 0,0 0x0 good");
    QTest::newRow("texts of numbers") << QVariant(
        listOf(Map{{QStringLiteral("rvcardId"), QStringLiteral("3")},
                   {QStringLiteral("outputId"), QStringLiteral("out")},
                   {results, listOf(Map{{QStringLiteral("size.w"), QStringLiteral("4")},
                                        {QStringLiteral("point.y"), QStringLiteral("-5")},
                                        {QStringLiteral("checkCode"), QStringLiteral("6")}})}}))
                                      << QStringLiteral("3@0 0,-5 4x0 bad");
    QTest::newRow("nested maps instead of flat keys")
        << QVariant(listOf(Map{{results, listOf(Map{{QStringLiteral("size"), Map{{QStringLiteral("w"), 4}}}})}}))
        << QStringLiteral("0@0 0,0 0x0 good");
    QTest::newRow("a check code that is not a number")
        << QVariant(listOf(Map{{results, listOf(Map{{QStringLiteral("checkCode"), QStringLiteral("good")}})}}))
        << QStringLiteral("0@0 0,0 0x0 good");
    QTest::newRow("the least and the greatest numbers")
        << QVariant(listOf(cardReply(least, greatest, listOf(moduleReply(least, greatest, greatest, least, least)))))
        << QStringLiteral("-2147483648@2147483647 2147483647,-2147483648 -2147483648x2147483647 bad");
}

void CabinetModuleFlashTest::flashChecksOfOtherKinds()
{
    QFETCH(QVariant, reply);
    QFETCH(QString, expected);
    wall().scripts().on(QLatin1String(checkOperation)).answer(reply);
    CabinetV4 cabinet(description().release());
    QList<RxCardFlashCheckInfo> cards;
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enSuccess);
    QStringList texts;
    for (const RxCardFlashCheckInfo &card : qAsConst(cards)) {
        texts += QStringLiteral("%1@%2").arg(card.rxcardId).arg(card.outPutId);
        for (const FlashCheckInfo &module : card.flashList) {
            texts += QStringLiteral("%1,%2").arg(module.point.x()).arg(module.point.y());
            texts += QStringLiteral("%1x%2").arg(module.size.width()).arg(module.size.height());
            texts += module.resutlt ? QStringLiteral("good") : QStringLiteral("bad");
        }
    }
    QCOMPARE(row(texts), expected);
}

void CabinetModuleFlashTest::aRefusedFlashCheckAppendsNothing()
{
    wall().scripts().on(QLatin1String(checkOperation)).answerFalseWith(checkReply(1, 1, 1));
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QList<RxCardFlashCheckInfo> cards{RxCardFlashCheckInfo()};
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enTimeout);
    QCOMPARE(cards.size(), 1);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call getFlashCheckCode() fail. timeout. device:%2")));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetModuleFlashTest::theWallsOwnFlashCheckIsRead()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(64, 32), 12)});
    QVERIFY(wall().state().setFlashCheckCode(QStringLiteral("A"), QStringLiteral("12"), QStringLiteral("2"), 5));
    CabinetV4 cabinet(description().release());
    QList<RxCardFlashCheckInfo> cards;
    QCOMPARE(cabinet.getFlashCheckInfo(cards), enSuccess);
    QCOMPARE(cards.size(), 1);
    QCOMPARE(cards.at(0).flashList.size(), 4);
    for (int i = 0; i < 4; ++i)
        QCOMPARE(cards.at(0).flashList.at(i).resutlt, i != 2);
    QCOMPARE(cards.at(0).flashList.at(3).point, QPoint(32, 16));
    QCOMPARE(cards.at(0).flashList.at(3).size, QSize(32, 16));
    QCOMPARE(cabinet.IsSupportFlash(), enNotSupported);
    QVERIFY(wall().state().setFlashCheckCode(QStringLiteral("A"), QStringLiteral("12"), QStringLiteral("2"), 0));
    QCOMPARE(cabinet.IsSupportFlash(), enSuccess);
    QCOMPARE(wall().journal().notes(), QStringList());
}

// Flash support

void CabinetModuleFlashTest::flashIsSupportedWhenEveryModuleIsGood_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("message");
    const Map good = moduleReply(1, 1);
    const Map bad = moduleReply(1, 1, 0, 0, 5);
    const QString noModules = QStringLiteral("call IsSupportFlash().flashList.lenth == 0  fail device:%2");
    QTest::newRow("one good module") << QVariant(listOf(cardReply(0, 0, listOf(good)))) << 0 << QString();
    QTest::newRow("many good modules on two cards")
        << QVariant(List{cardReply(0, 0, List{good, good, good}), cardReply(1, 0, List{good, good})}) << 0 << QString();
    QTest::newRow("one bad module") << QVariant(listOf(cardReply(0, 0, listOf(bad)))) << 7 << QString();
    QTest::newRow("a negative check code")
        << QVariant(listOf(cardReply(0, 0, listOf(moduleReply(1, 1, 0, 0, -1))))) << 7 << QString();
    QTest::newRow("the last module is bad")
        << QVariant(List{cardReply(0, 0, List{good, good}), cardReply(1, 0, List{good, bad})}) << 7 << QString();
    QTest::newRow("no card") << QVariant(List()) << 7 << QStringLiteral("call IsSupportFlash().lenth == 0  fail device:%2");
    QTest::newRow("a card without modules") << QVariant(listOf(cardReply(0, 0, List()))) << 7 << noModules;
    QTest::newRow("a second card without modules")
        << QVariant(List{cardReply(0, 0, listOf(good)), cardReply(1, 0, List())}) << 7 << noModules;
    QTest::newRow("a bad module before a card without modules")
        << QVariant(List{cardReply(0, 0, listOf(bad)), cardReply(1, 0, List())}) << 7 << QString();
    QTest::newRow("a card without modules before a bad module")
        << QVariant(List{cardReply(0, 0, List()), cardReply(1, 0, listOf(bad))}) << 7 << noModules;
}

void CabinetModuleFlashTest::flashIsSupportedWhenEveryModuleIsGood()
{
    QFETCH(QVariant, reply);
    QFETCH(int, code);
    QFETCH(QString, message);
    wall().scripts().on(QLatin1String(checkOperation)).answer(reply);
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QCOMPARE(int(cabinet.IsSupportFlash()), code);
    QCOMPARE(m_log->takeCritical(), message.isEmpty() ? QStringList() : QStringList(message));
    QCOMPARE(wall().journal().transcript(), QStringList(check("%2")));
}

void CabinetModuleFlashTest::flashSupportAsksTheCabinetsOwnCheck_data()
{
    QTest::addColumn<int>("code");
    for (int code = 0; code <= 8; ++code)
        QTest::newRow(qPrintable(QStringLiteral("code %1").arg(code))) << code;
}

void CabinetModuleFlashTest::flashSupportAsksTheCabinetsOwnCheck()
{
    QFETCH(int, code);
    RxCardFlashCheckInfo card;
    FlashCheckInfo module;
    module.resutlt = true;
    card.flashList.append(module);
    CheckedCabinet cabinet{EnumErrorCode(code), {card}};
    QCOMPARE(int(cabinet.IsSupportFlash()), code);
    QCOMPARE(cabinet.checks, 1);
    QVERIFY(cabinet.wasEmpty);
    QCOMPARE(m_log->takeCritical(),
             code == 0 ? QStringList() : QStringList(QStringLiteral("call IsSupportFlash() fail. timeout. device:%2")));
    QCOMPARE(wall().journal().transcript(), QStringList());
}

// Allowances

void CabinetModuleFlashTest::allowancesOfKnownSizes_data()
{
    QTest::addColumn<int>("index"); // operation
    QTest::addColumn<int>("width");
    QTest::addColumn<int>("height");
    QTest::addColumn<int>("modules");
    QTest::addColumn<int>("type");
    QTest::addColumn<int>("allowance");
    QTest::newRow("clearing a card of 128 x 64") << 0 << 128 << 64 << 1 << 0 << 2780;
    QTest::newRow("clearing it with type 3") << 0 << 128 << 64 << 1 << 3 << 8340;
    QTest::newRow("clearing a single pixel") << 0 << 1 << 1 << 1 << 0 << 1510;
    QTest::newRow("clearing exactly one sector") << 0 << 128 << 128 << 1 << 0 << 1500 + 2560;
    QTest::newRow("clearing one pixel more") << 0 << 16385 << 1 << 1 << 0 << 3000 + 2570;
    QTest::newRow("clearing a card of no size") << 0 << 0 << 0 << 1 << 3 << 0;
    QTest::newRow("clearing a card of negative height") << 0 << 128 << -129 << 1 << 0 << -1500 - 2580;
    QTest::newRow("clearing a card whose bytes wrap to the least number")
        << 0 << 32768 << 32768 << 1 << 0 << -65536 * 1500 - 16777216 * 10;
    QTest::newRow("the same with type 3") << 0 << 32768 << 32768 << 1 << 3 << 3 * (-65536 * 1500 - 16777216 * 10);
    QTest::newRow("clearing a card whose bytes wrap to nothing") << 0 << 65536 << 65536 << 1 << 0 << 0;
    QTest::newRow("reloading a card of 128 x 64") << 2 << 128 << 64 << 1 << 0 << 1636;
    QTest::newRow("reloading it with type 3") << 2 << 128 << 64 << 1 << 3 << 4908;
    QTest::newRow("reloading a single pixel cuts the half") << 2 << 1 << 1 << 1 << 0 << 101;
    QTest::newRow("reloading nine pixels") << 2 << 9 << 1 << 1 << 0 << 103;
    QTest::newRow("reloading seventeen pixels cuts the half") << 2 << 17 << 1 << 1 << 0 << 104;
    QTest::newRow("reloading a card of no size") << 2 << 0 << 0 << 1 << 0 << 100;
    QTest::newRow("reloading a card of negative width cuts towards zero") << 2 << -8 << 1 << 1 << 0 << 99;
    QTest::newRow("reloading a card whose bytes wrap to the least number")
        << 2 << 134217728 << 1 << 1 << 0 << -25165824 + 100;
    QTest::newRow("saving 8 modules of 64 x 32") << 1 << 64 << 32 << 8 << 0 << 23576;
    QTest::newRow("saving them with type 3") << 1 << 64 << 32 << 8 << 3 << 70728;
    QTest::newRow("saving 8 modules of 32 x 32 counts no sector") << 1 << 32 << 32 << 8 << 0 << 3784;
    QTest::newRow("saving one pixel") << 1 << 1 << 1 << 1 << 0 << 3;
    QTest::newRow("saving modules of no size") << 1 << 0 << 0 << 5 << 0 << 0;
    QTest::newRow("saving modules of negative width") << 1 << -64 << 32 << 2 << 0 << -2947 * 2;
    QTest::newRow("saving a module short of two sectors") << 1 << 4095 << 1 << 1 << 0 << 3894;
    // 65535 sectors and 16777216 pages: 131070000 + 62075699.2, times 12.
    QTest::newRow("saving so many modules that the product wraps")
        << 1 << 134217727 << 1 << 12 << 0 << int(193145699LL * 12 - 4294967296LL);
}

void CabinetModuleFlashTest::allowancesOfKnownSizes()
{
    QFETCH(int, width);
    QFETCH(int, height);
    QFETCH(int, modules);
    QFETCH(int, type);
    QFETCH(int, allowance);
    wall().scripts().on(service()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(width, height, modules));
    CabinetV4 cabinet(withCard(0, 0, width - 1, height - 1).release());
    QCOMPARE(run(cabinet, type), enSuccess);
    QStringList lines;
    if (current().checksFirst)
        lines += check();
    lines += quoted("CabinetInfoOperator::%1('A', {'cids': [qulonglong 12], 'type': int %2}, int %3)")
                 .arg(QLatin1String(current().name), QString::number(type), QString::number(allowance));
    QCOMPARE(wall().journal().transcript(), lines);
}

void CabinetModuleFlashTest::allowancesOfAnySize_data()
{
    QTest::addColumn<int>("left");
    QTest::addColumn<int>("top");
    QTest::addColumn<int>("right");
    QTest::addColumn<int>("bottom");
    QTest::newRow("an ordinary card not at the origin") << 128 << 64 << 255 << 191;
    QTest::newRow("a large card") << 0 << 0 << 3839 << 2159;
    QTest::newRow("a product that wraps once") << 0 << 0 << 46340 << 46340;
    QTest::newRow("a product that wraps often") << 0 << 0 << 1000002 << 999982;
    QTest::newRow("the greatest sizes") << 1 << 1 << greatest << greatest;
    QTest::newRow("the greatest width, a height of one") << 1 << 0 << greatest << 0;
    QTest::newRow("one pixel more than the greatest width") << 0 << 0 << greatest << 0;
    QTest::newRow("edges at both ends") << least << least << greatest << greatest;
    QTest::newRow("a width beyond all integers") << least << 0 << 0 << 0;
    QTest::newRow("the least size") << greatest << 0 << -2 << 0;
    QTest::newRow("negative edges") << -200 << -100 << -73 << -37;
    QTest::newRow("a negative width") << 10 << 0 << 5 << 99;
    QTest::newRow("negative sizes") << 10 << 10 << 5 << 5;
}

void CabinetModuleFlashTest::allowancesOfAnySize()
{
    QFETCH(int, left);
    QFETCH(int, top);
    QFETCH(int, right);
    QFETCH(int, bottom);
    const qint64 width = wrapped(quint64(qint64(right) - left + 1));
    const qint64 height = wrapped(quint64(qint64(bottom) - top + 1));
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(withCard(left, top, right, bottom).release());
    for (int type : {0, 1, 2, 3, 4, -3, greatest}) {
        wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(1, 1, 1));
        QCOMPARE(cabinet.clearModuleCoefficient(type), enSuccess);
        QCOMPARE(sentAllowance(), int(clearTime(width, height, type)));
        QCOMPARE(cabinet.reloadModuleCoefficient(type), enSuccess);
        QCOMPARE(sentAllowance(), int(reloadTime(width, height, type)));
        for (int modules : {1, 2, 11, 12, 35, 300}) {
            wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(int(width), int(height), modules));
            QCOMPARE(cabinet.saveModuleCoefficient(type), enSuccess);
            QCOMPARE(sentAllowance(), int(saveTime(width, height, modules, type)));
        }
    }
}

void CabinetModuleFlashTest::allowancesOfRandomSizes()
{
    wall().scripts().on(QString()).answer(Map());
    wall().journal().setLimit(2);
    QRandomGenerator random(7);
    for (int i = 0; i < 400; ++i) {
        // Of all magnitudes, and of both signs now and then.
        const int width = (int(random.generate() >> 1) >> random.bounded(31)) * (random.bounded(8) == 0 ? -1 : 1);
        const int height = (int(random.generate() >> 1) >> random.bounded(31)) * (random.bounded(8) == 0 ? -1 : 1);
        const int modules = 1 + random.bounded(40);
        const int type = random.bounded(5);
        wall().scripts().clear();
        wall().scripts().on(QString()).answer(Map());
        wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(width, height, modules));
        CabinetV4 cabinet(withCard(1, 1, width, height).release());
        QCOMPARE(cabinet.clearModuleCoefficient(type), enSuccess);
        QCOMPARE(sentAllowance(), int(clearTime(width, height, type)));
        QCOMPARE(cabinet.reloadModuleCoefficient(type), enSuccess);
        QCOMPARE(sentAllowance(), int(reloadTime(width, height, type)));
        QCOMPARE(cabinet.saveModuleCoefficient(type), enSuccess);
        QCOMPARE(sentAllowance(), int(saveTime(width, height, modules, type)));
        m_log->clear();
    }
}

void CabinetModuleFlashTest::savingCountsTheModulesOfTheFirstCard_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::newRow("one and none") << 1 << 0;
    QTest::newRow("one and nine") << 1 << 9;
    QTest::newRow("three and one") << 3 << 1;
}

void CabinetModuleFlashTest::savingCountsTheModulesOfTheFirstCard()
{
    QFETCH(int, first);
    QFETCH(int, second);
    List firstModules;
    for (int i = 0; i < first; ++i)
        firstModules.append(i == 0 ? moduleReply(64, 32) : moduleReply(500, 500)); // only the first one's size counts
    List secondModules;
    for (int i = 0; i < second; ++i)
        secondModules.append(moduleReply(500, 500));
    wall()
        .scripts()
        .on(QLatin1String(checkOperation))
        .answer(List{cardReply(0, 0, firstModules), cardReply(1, 0, secondModules)});
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::saveModuleCoefficient")).answer(Map());
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.saveModuleCoefficient(0), enSuccess);
    QCOMPARE(sentAllowance(), 2947 * first);
}

void CabinetModuleFlashTest::theTypeIsPassedThrough_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("type");
    int index = 0;
    for (const Row &each : rows) {
        for (int type : {0, 1, 2, 3, 4, -3, least, greatest})
            QTest::newRow(qPrintable(QStringLiteral("%1, type %2").arg(QLatin1String(each.name)).arg(type)))
                << index << type;
        ++index;
    }
}

void CabinetModuleFlashTest::theTypeIsPassedThrough()
{
    QFETCH(int, type);
    wall().scripts().on(service()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(64, 32, 1));
    CabinetV4 cabinet(description().release());
    QCOMPARE(run(cabinet, type), enSuccess);
    const QList<Simulator::Call> calls = wall().journal().calls();
    QCOMPARE(calls.last().request.toMap().value(QStringLiteral("type")), QVariant(type));
    const int once[] = {2780, 2947, 1636};
    QFETCH(int, index);
    QCOMPARE(sentAllowance(), type == 3 ? 3 * once[index] : once[index]);
}

// Clearing, saving, reloading

void CabinetModuleFlashTest::theReplyIsLogged()
{
    wall().scripts().on(service()).answer(Map{{QStringLiteral("b"), 2}, {QStringLiteral("a"), QStringLiteral("x")}});
    wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(64, 32, 1));
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QCOMPARE(run(cabinet, 0), enSuccess);
    QStringList lines;
    if (current().checksFirst)
        lines << cardRow("%2", 1, 1) << moduleRow(0, 0, true);
    lines += row({QLatin1String(current().name) + QLatin1Char(' '), QStringLiteral("deviceKey:"), QStringLiteral("\"%2\""),
                  QStringLiteral(" res :"), quoted("QMap(('a', QVariant(QString, 'x'))('b', QVariant(int, 2)))")});
    QCOMPARE(m_log->takeDebug(), lines);
}

void CabinetModuleFlashTest::aRefusalIsReported()
{
    wall().scripts().on(service()).answerFalseWith(Map{{QStringLiteral("a"), 1}});
    wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(64, 32, 1));
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QCOMPARE(run(cabinet, 0), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call ") + QLatin1String(current().name)
                                                + QStringLiteral("() fail. timeout. device:%2")));
    const QStringList debug = m_log->takeDebug();
    QCOMPARE(debug.size(), current().checksFirst ? 2 : 0); // the check's own rows
    QCOMPARE(wall().journal().transcript().size(), current().checksFirst ? 2 : 1);
}

void CabinetModuleFlashTest::aRefusedCheckIsReported()
{
    wall().scripts().on(service()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answerFalse();
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    if (!current().checksFirst) {
        QCOMPARE(run(cabinet, 0), enSuccess);
        QCOMPARE(wall().journal().transcript().size(), 1);
        return;
    }
    QCOMPARE(run(cabinet, 0), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList({QStringLiteral("call getFlashCheckCode() fail. timeout. device:%2"),
                                                 checkMessage(" fail. timeout. device:%2")}));
    QCOMPARE(wall().journal().transcript(), QStringList(check("%2")));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetModuleFlashTest::theCodeOfTheCabinetsOwnCheckIsPassedOn()
{
    RxCardFlashCheckInfo card;
    FlashCheckInfo module;
    module.size = QSize(64, 32);
    card.flashList.append(module);
    wall().scripts().on(service()).answer(Map());
    for (int code = 0; code <= 8; ++code) {
        wall().journal().clear();
        CheckedCabinet cabinet{EnumErrorCode(code), {card}};
        if (!current().checksFirst) {
            QCOMPARE(run(cabinet, 0), enSuccess);
            QCOMPARE(cabinet.checks, 0);
            continue;
        }
        QCOMPARE(int(run(cabinet, 0)), code);
        QCOMPARE(cabinet.checks, 1);
        QVERIFY(cabinet.wasEmpty);
        if (code == 0) {
            QCOMPARE(wall().journal().transcript().size(), 1);
        } else {
            QCOMPARE(m_log->takeCritical(), QStringList(checkMessage(" fail. timeout. device:%2")));
            QCOMPARE(wall().journal().transcript(), QStringList());
        }
    }
}

void CabinetModuleFlashTest::aCheckWithoutCardsIsNotSupported()
{
    wall().scripts().on(service()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answer(List());
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    if (!current().checksFirst) {
        QCOMPARE(run(cabinet, 0), enSuccess);
        return;
    }
    QCOMPARE(run(cabinet, 0), enNotSupported);
    QCOMPARE(m_log->takeCritical(), QStringList(checkMessage(".lenth == 0  fail device:%2")));
    QCOMPARE(wall().journal().transcript(), QStringList(check("%2")));
}

void CabinetModuleFlashTest::aFirstCardWithoutModulesIsNotSupported()
{
    wall().scripts().on(service()).answer(Map());
    wall()
        .scripts()
        .on(QLatin1String(checkOperation))
        .answer(List{cardReply(0, 0, List()), cardReply(1, 0, listOf(moduleReply(1, 1)))});
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    if (!current().checksFirst) {
        QCOMPARE(run(cabinet, 0), enSuccess);
        return;
    }
    QCOMPARE(run(cabinet, 0), enNotSupported);
    QCOMPARE(m_log->takeCritical(), QStringList(checkMessage(".flashList.lenth == 0  fail device:%2")));
    QCOMPARE(wall().journal().transcript(), QStringList(check("%2")));
}

void CabinetModuleFlashTest::badModulesAreNoObstacle()
{
    wall().scripts().on(service()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answer(listOf(cardReply(0, 0, listOf(moduleReply(64, 32, 0, 0, 5)))));
    CabinetV4 cabinet(description().release());
    QCOMPARE(run(cabinet, 0), enSuccess);
    QCOMPARE(wall().journal().transcript().size(), current().checksFirst ? 2 : 1);
}

void CabinetModuleFlashTest::onlyTheFirstCardMustHaveModules()
{
    wall().scripts().on(service()).answer(Map());
    wall()
        .scripts()
        .on(QLatin1String(checkOperation))
        .answer(List{cardReply(0, 0, listOf(moduleReply(64, 32))), cardReply(1, 0, List())});
    CabinetV4 cabinet(description().release());
    QCOMPARE(run(cabinet, 0), enSuccess);
    QCOMPARE(wall().journal().transcript().size(), current().checksFirst ? 2 : 1);
}

void CabinetModuleFlashTest::aCabinetWithoutCards()
{
    wall().scripts().on(service()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(64, 32, 1));
    auto info = description();
    qDeleteAll(info->rvCardList);
    info->rvCardList.clear();
    CabinetV4 cabinet(info.release());
    if (current().operation == &ICabinet::saveModuleCoefficient) { // takes its sizes from the check
        QCOMPARE(run(cabinet, 0), enSuccess);
        QCOMPARE(sentAllowance(), 2947);
    } else {
        QCOMPARE(run(cabinet, 0), enInvalidParameter);
        QCOMPARE(wall().journal().transcript(), QStringList());
        QCOMPARE(m_log->takeDebug(), QStringList());
    }
}

void CabinetModuleFlashTest::idsAreSentAsUnsignedNumbers_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("number");
    QTest::newRow("the greatest number") << QStringLiteral("18446744073709551615") << QStringLiteral("18446744073709551615");
    QTest::newRow("one more is no number") << QStringLiteral("18446744073709551616") << QStringLiteral("0");
    QTest::newRow("leading zeros are decimal") << QStringLiteral("0017") << QStringLiteral("17");
    QTest::newRow("a word") << QStringLiteral("twelve") << QStringLiteral("0");
    QTest::newRow("a negative number") << QStringLiteral("-5") << QStringLiteral("0");
    QTest::newRow("a null text") << QString() << QStringLiteral("0");
}

void CabinetModuleFlashTest::idsAreSentAsUnsignedNumbers()
{
    QFETCH(QString, id);
    QFETCH(QString, number);
    wall().scripts().on(QString()).answer(Map());
    wall().scripts().on(QLatin1String(checkOperation)).answer(checkReply(64, 32, 1));
    CabinetV4 cabinet(description(QStringLiteral("A"), id).release());
    QCOMPARE(cabinet.clearModuleCoefficient(0), enSuccess);
    QCOMPARE(cabinet.saveModuleCoefficient(0), enSuccess);
    QCOMPARE(cabinet.reloadModuleCoefficient(0), enSuccess);
    QList<CabinetsModuleFlag> flags{CabinetsModuleFlag()};
    QCOMPARE(cabinet.setModuleflags(flags), enSuccess);
    QStringList lines = wall().journal().transcript();
    QCOMPARE(lines.size(), 6); // two of them checks
    lines.removeAt(3);
    lines.removeAt(1);
    const QString begin = QStringLiteral("CabinetInfoOperator::");
    const QString request = quoted("('A', {'cids': [qulonglong %1], 'type': int 0}, ").arg(number);
    QCOMPARE(lines, QStringList({begin + QStringLiteral("clearModuleCoefficient") + request + QStringLiteral("int 2780)"),
                                 begin + QStringLiteral("saveModuleCoefficient") + request + QStringLiteral("int 2947)"),
                                 begin + QStringLiteral("reloadModuleCoefficient") + request + QStringLiteral("int 1636)"),
                                 begin
                                     + quoted("setModuleflags('A', [{'id': qulonglong %1, 'moduleflags': "
                                              "[{'flag': '', 'id': ''}]}])")
                                           .arg(number)}));
}

void CabinetModuleFlashTest::flashIsSavedReloadedAndClearedOnTheDevice()
{
    const QString key = QStringLiteral("A");
    const QString id = QStringLiteral("12");
    wall().setDevices({Simulator::gridDevice(key, QPoint(0, 0), 1, 1, QSize(2, 2), 12)});
    QVector<quint16> values;
    for (int i = 0; i < 36; ++i)
        values.append(quint16(1000 + i));
    const QVector<quint16> zeros(36, 0);
    QVERIFY(wall().state().setChroma(key, id, values));
    CabinetV4 cabinet(description().release());
    QCOMPARE(cabinet.saveModuleCoefficient(0), enSuccess);
    QCOMPARE(wall().state().chroma(key, id, Simulator::Store::Flash), values);
    QVERIFY(wall().state().setChroma(key, id, zeros));
    QCOMPARE(cabinet.reloadModuleCoefficient(0), enSuccess);
    QCOMPARE(wall().state().chroma(key, id), values);
    QCOMPARE(cabinet.clearModuleCoefficient(0), enSuccess);
    QCOMPARE(wall().state().chroma(key, id, Simulator::Store::Flash), zeros);
    QCOMPARE(wall().state().chroma(key, id), values);
    QCOMPARE(wall().journal().notes(), QStringList());
}

// Module flags

void CabinetModuleFlashTest::moduleFlagsAreSentInOrder()
{
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::setModuleflags")).answer(Map());
    CabinetInfo *const info = description().release();
    CabinetV4 cabinet(info);
    const QStringList before = contentOf(*info);
    QList<CabinetsModuleFlag> flags;
    for (const char *id : {"11", "10", "no number", "11", "%1"}) {
        CabinetsModuleFlag flag;
        flag.id = QString::fromUtf8(id);
        flag.flag = QStringLiteral("flag ") + QString::number(flags.size());
        flags.append(flag);
    }
    QCOMPARE(cabinet.setModuleflags(flags), enSuccess);
    QCOMPARE(wall().journal().transcript(),
             QStringList(quoted("CabinetInfoOperator::setModuleflags('A', [{'id': qulonglong 12, 'moduleflags': ["
                                "{'flag': 'flag 0', 'id': '11'}, {'flag': 'flag 1', 'id': '10'}, "
                                "{'flag': 'flag 2', 'id': 'no number'}, {'flag': 'flag 3', 'id': '11'}, "
                                "{'flag': 'flag 4', 'id': '%1'}]}])")));
    QCOMPARE(flags.size(), 5);
    QCOMPARE(contentOf(*info), before);
}

void CabinetModuleFlashTest::noModuleFlagsAreRefused()
{
    wall().scripts().on(QString()).answer(Map());
    CabinetV4 cabinet(description().release());
    QList<CabinetsModuleFlag> flags;
    QCOMPARE(cabinet.setModuleflags(flags), enArgumentMismatch);
    QCOMPARE(wall().journal().transcript(), QStringList());
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetModuleFlashTest::refusedModuleFlagsAreReported()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::setModuleflags"))
        .answerFalseWith(Map{{QStringLiteral("a"), 1}});
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QList<CabinetsModuleFlag> flags{CabinetsModuleFlag()};
    QCOMPARE(cabinet.setModuleflags(flags), enTimeout);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call setModuleflags() fail. timeout. device:%2")));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetModuleFlashTest::moduleFlagsLogTheWholeReply()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::setModuleflags"))
        .answer(Map{{QStringLiteral("b"), 2}, {QStringLiteral("a"), QStringLiteral("x")}});
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    QList<CabinetsModuleFlag> flags{CabinetsModuleFlag()};
    QCOMPARE(cabinet.setModuleflags(flags), enSuccess);
    QCOMPARE(m_log->takeDebug(), QStringList(row({QStringLiteral("setModuleflags "), QStringLiteral("deviceKey:"),
                                                  QStringLiteral("\"%2\""), QStringLiteral(" res :"),
                                                  quoted("QMap(('a', QVariant(QString, 'x'))('b', QVariant(int, 2)))")})));
}

void CabinetModuleFlashTest::moduleFlagsReachTheModules()
{
    wall().setDevices({Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 1, 1, QSize(4, 3), 12)});
    CabinetV4 cabinet(description().release());
    CabinetsModuleFlag flag;
    flag.id = QStringLiteral("3");
    flag.flag = QStringLiteral("replaced");
    QList<CabinetsModuleFlag> flags{flag};
    QCOMPARE(cabinet.setModuleflags(flags), enSuccess);
    QCOMPARE(wall().state().moduleFlag(QStringLiteral("A"), QStringLiteral("12"), QStringLiteral("3")),
             QStringLiteral("replaced"));
    QCOMPARE(wall().journal().notes(), QStringList());
}

// Support

void CabinetModuleFlashTest::supportIsReadFromTheFirstMap_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<QString>("expected"); // the five fields in declared order
    const QString table = QStringLiteral("functionTable");
    const Map all{{QStringLiteral("multilayercorrection"), true},
                  {QStringLiteral("multilayerCorrectionLayer"), 4},
                  {QStringLiteral("fineGrayscale"), true},
                  {QStringLiteral("xBitPlus"), true},
                  {QStringLiteral("magicGray"), true}};
    QTest::newRow("all features") << QVariant(listOf(Map{{table, all}})) << QStringLiteral("1 4 1 1 1");
    QTest::newRow("one by one: multilayer")
        << QVariant(listOf(Map{{table, Map{{QStringLiteral("multilayercorrection"), true}}}}))
        << QStringLiteral("1 0 0 0 0");
    QTest::newRow("one by one: fine grayscale")
        << QVariant(listOf(Map{{table, Map{{QStringLiteral("fineGrayscale"), true}}}})) << QStringLiteral("0 0 1 0 0");
    QTest::newRow("one by one: x-bit") << QVariant(listOf(Map{{table, Map{{QStringLiteral("xBitPlus"), true}}}}))
                                       << QStringLiteral("0 0 0 1 0");
    QTest::newRow("one by one: magic gray")
        << QVariant(listOf(Map{{table, Map{{QStringLiteral("magicGray"), true}}}})) << QStringLiteral("0 0 0 0 1");
    QTest::newRow("257 layers are one") << QVariant(
        listOf(Map{{table, Map{{QStringLiteral("multilayerCorrectionLayer"), 257}}}}))
                                        << QStringLiteral("0 1 0 0 0");
    QTest::newRow("no table") << QVariant(listOf(Map())) << QStringLiteral("0 0 0 0 0");
    QTest::newRow("the keys beside the table") << QVariant(listOf(all)) << QStringLiteral("0 0 0 0 0");
    QTest::newRow("a table that is none") << QVariant(listOf(Map{{table, 5}})) << QStringLiteral("0 0 0 0 0");
    QTest::newRow("an element that is not a map") << QVariant(List{5}) << QStringLiteral("0 0 0 0 0");
    QTest::newRow("further elements do not count")
        << QVariant(List{Map(), Map{{table, all}}}) << QStringLiteral("0 0 0 0 0");
}

void CabinetModuleFlashTest::supportIsReadFromTheFirstMap()
{
    QFETCH(QVariant, reply);
    QFETCH(QString, expected);
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo")).answer(reply);
    CabinetV4 cabinet(description().release());
    CabinetBaseInfo support;
    support.multilayercorrection = support.fineGrayscale = support.xBitPlus = support.magicGray = true;
    support.multilayerCorrectionLayer = 99;
    QCOMPARE(cabinet.getCabinetSupport(support), enSuccess);
    QCOMPARE(QStringLiteral("%1 %2 %3 %4 %5")
                 .arg(int(support.multilayercorrection))
                 .arg(int(support.multilayerCorrectionLayer))
                 .arg(int(support.fineGrayscale))
                 .arg(int(support.xBitPlus))
                 .arg(int(support.magicGray)),
             expected);
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("CabinetInfoOperator::getCabinetsBaseInfo('A')")));
}

void CabinetModuleFlashTest::anEmptySupportReplyIsRefused()
{
    wall().scripts().on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo")).answer(List());
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    CabinetBaseInfo support;
    support.multilayerCorrectionLayer = 99;
    support.magicGray = true;
    QCOMPARE(cabinet.getCabinetSupport(support), enInvalidParameter);
    QCOMPARE(int(support.multilayerCorrectionLayer), 99);
    QVERIFY(support.magicGray);
    QCOMPARE(m_log->takeCritical(),
             QStringList({QLatin1String(noBaseInfo), QStringLiteral("call getScreenSupport.pasrseJson() fail. device:%2")}));
    QCOMPARE(m_log->takeDebug(), QStringList());
}

void CabinetModuleFlashTest::aRefusedSupportChangesNothing()
{
    wall()
        .scripts()
        .on(QStringLiteral("CabinetInfoOperator::getCabinetsBaseInfo"))
        .answerFalseWith(listOf(Map{{QStringLiteral("functionTable"), Map{{QStringLiteral("xBitPlus"), true}}}}));
    CabinetV4 cabinet(description(QStringLiteral("%2")).release());
    CabinetBaseInfo support;
    support.multilayerCorrectionLayer = 99;
    QCOMPARE(cabinet.getCabinetSupport(support), enTimeout);
    QCOMPARE(int(support.multilayerCorrectionLayer), 99);
    QVERIFY(!support.xBitPlus);
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("call getScreenSupport() fail. timeout. device:%2")));
    QCOMPARE(wall().journal().transcript(), QStringList(quoted("CabinetInfoOperator::getCabinetsBaseInfo('%2')")));
}

QTEST_GUILESS_MAIN(CabinetModuleFlashTest)
#include "tst_cabinetmoduleflash.moc"
