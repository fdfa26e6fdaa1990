// Replies without bounds: nested deeper than a stack is, or too long for a log. The device service is one of this test's
// own.

#include "cabinet/DeviceReply.h"
#include "support/LogCapture.h"
#include "support/Nested.h"
#include "values/Nesting.h"

#include <Correction/CabinetInfo.h>
#include <Correction/CabinetV4.h>
#include <Correction/Coefficient.h>
#include <Correction/ScreenManager.h>
#include <Correction/SubScreenV4.h>

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>

#include <QtTest/QtTest>

#include <functional>
#include <memory>
#include <optional>

using namespace Correction;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;

namespace {

using Headers = QMap<QString, QString>;

/// Given away with the first call, so that nothing but the caller holds it.
QVariantMap nextReply;
Headers nextHeaders;

bool giveAway(QVariantMap &reply)
{
    reply = QVariantMap();
    reply.swap(nextReply);
    return true;
}

/// `levels` containers inside one another, the outermost a map with two entries.
QVariantMap nested(int levels, const QString &kinds)
{
    QVariant inner = TestSupport::nested(levels - 1, kinds);
    QVariantMap outermost{{QStringLiteral("a"), QVariant(1)}, {QStringLiteral("in"), QVariant()}};
    outermost.last().swap(inner);
    return outermost;
}

template <class Map>
QString printed(const Map &map)
{
    QString text;
    QDebug(&text) << map;
    return text.trimmed();
}

QString placedId = QStringLiteral("7");

/// The query of a refresh whose reply has a nested container in it.
QString deepQuery;

/// In place of the screen's name, given away with the reply. Invalid: a name.
QVariant deepName;

bool addNested(QVariantMap &reply, const char *query)
{
    if (deepQuery == QLatin1String(query))
        reply.insert(QStringLiteral("z"), nested(30000, QStringLiteral("mlh")));
    return true;
}

} // namespace

// These have priority over those of the virtual wall, which serves everything else.
bool CabinetInfoOperator::clearModuleCoefficient(const QString &, QVariantMap &, QVariantMap &reply, int)
{
    return giveAway(reply);
}
bool CabinetInfoOperator::setModuleflags(const QString &, const QVariantList &, QVariantMap &reply)
{
    return giveAway(reply);
}
bool CabinetInfoOperator::setCabSingleBrightness(const QString &, const QString &, QVariantMap &, QVariantMap &reply)
{
    return giveAway(reply);
}
bool Correctionop::loadCoefficient(const QString &, const QString &, QVariantList &reply)
{
    QVariantMap block;
    giveAway(block);
    reply.append(block);
    return true;
}
bool ScreenInfo::setCheckerBoardImage(const QString &, const QVariantMap &, QVariantMap &reply, Headers &headers)
{
    headers.swap(nextHeaders);
    giveAway(reply);
    return false;
}

// Discovery finds one device with one cabinet.
QList<HttpDeviceInfo> HttpProxy::getDeviceList()
{
    return {{QStringLiteral("A"), QStringLiteral("A")}};
}
bool HWInfo::getHWInfo(const QString &, QVariantMap &reply, bool)
{
    reply = {{QStringLiteral("customName"), QStringLiteral("named")}};
    return addNested(reply, "getHWInfo");
}
bool ScreenInfo::getScreens(const QString &, QVariantMap &reply, bool)
{
    const QVariantMap cabinet{{QStringLiteral("cabinetID"), placedId},
                              {QStringLiteral("outputID"), QStringLiteral("1")},
                              {QStringLiteral("size.width"), 4},
                              {QStringLiteral("size.height"), 3}};
    const QVariantMap subScreen{{QStringLiteral("cabinets"), QVariantList{cabinet}}};
    reply = {{QStringLiteral("screenUUID"), QStringLiteral("s")}, {QStringLiteral("subScreens"), QVariantList{subScreen}}};
    if (deepName.isValid())
        reply[QStringLiteral("screenName")].swap(deepName);
    return addNested(reply, "getScreens");
}
bool CabinetInfoOperator::getAllCabinetsInfo(const QString &, QVariantList &reply, bool)
{
    QVariantMap cabinet{{QStringLiteral("id"), QStringLiteral("7")}, {QStringLiteral("outputID"), QStringLiteral("1")}};
    addNested(cabinet, "getAllCabinetsInfo");
    reply = {cabinet};
    return true;
}
bool CabinetInfoOperator::getCabAllFlags(const QString &, QVariantList &reply)
{
    QVariantMap card{{QStringLiteral("id"), QStringLiteral("0")}};
    addNested(card, "getCabAllFlags");
    reply = {
        QVariantMap{{QStringLiteral("id"), QStringLiteral("7")}, {QStringLiteral("recvcardflags"), QVariantList{card}}}};
    return true;
}

struct Cabinet final : CabinetV4 { // may be deleted
    using CabinetV4::CabinetV4;
};

class tst_DeviceReplies : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void deepRepliesNeedNoDeepStack_data();
    void deepRepliesNeedNoDeepStack();
    void theDeepestReplyIsWhole();
    void longRepliesAreCutInTheLog_data();
    void longRepliesAreCutInTheLog();
    void longHeadersAreCutInTheLog();
    void deepRepliesOfARefresh_data();
    void deepRepliesOfARefresh();
    void deepValuesInPlaceOfTextsOfARefresh_data();
    void deepValuesInPlaceOfTextsOfARefresh();
    void longIdsOfARefreshAreCutInTheLog();

private:
    QString loggedReply();

    std::optional<TestSupport::LogCapture> m_log;
    std::unique_ptr<Cabinet> m_cabinet;
};

void tst_DeviceReplies::init()
{
    m_log.emplace();
    auto info = std::make_unique<CabinetInfo>();
    info->id = QStringLiteral("1");
    info->deviceKey = QStringLiteral("A");
    info->rect = QRect(0, 0, 2, 1);
    info->rvCardList.append(new RvCardInfo);
    m_cabinet = std::make_unique<Cabinet>(info.release());
    nextReply.clear();
    nextHeaders.clear();
}

void tst_DeviceReplies::cleanup()
{
    m_cabinet.reset();
    ScreenManager::releaseInstance();
    VERIFY_NO_CRITICAL(*m_log);
    QCOMPARE(m_log->takeWarning(), QStringList());
    m_log.reset();
}

/// What an operation that logs its reply prints of `nextReply`.
QString tst_DeviceReplies::loggedReply()
{
    m_log->takeDebug();
    if (m_cabinet->clearModuleCoefficient(1) != enSuccess)
        return QString();
    const QString line = m_log->takeDebug().value(0);
    const QString before = QStringLiteral("clearModuleCoefficient  deviceKey: \"A\"  res : ");
    return line.startsWith(before) ? line.mid(before.size()) : QString();
}

void tst_DeviceReplies::deepRepliesNeedNoDeepStack_data()
{
    QTest::addColumn<QString>("operation");
    QTest::addColumn<QString>("kinds");
    QTest::addColumn<int>("code");
    for (const char *kinds : {"m", "l", "h", "ml", "mlh"}) {
        const auto add = [&](const char *operation, int code) {
            QTest::addRow("%s, %s", operation, kinds)
                << QString::fromLatin1(operation) << QString::fromLatin1(kinds) << code;
        };
        add("logged", 0);
        add("logged flags", 0);
        add("ignored", 0);
        add("a list", 1);
        add("logged after false", 5);
    }
}

void tst_DeviceReplies::deepRepliesNeedNoDeepStack()
{
    QFETCH(QString, operation);
    QFETCH(QString, kinds);
    QFETCH(int, code);
    int result = -1;
    TestSupport::onSmallStack([&] {
        nextReply = nested(30000, kinds);
        Coefficient grid(2, 1);
        QList<CabinetsModuleFlag> flags{CabinetsModuleFlag()};
        if (operation == QLatin1String("logged"))
            result = m_cabinet->clearModuleCoefficient(1);
        else if (operation == QLatin1String("logged flags"))
            result = m_cabinet->setModuleflags(flags);
        else if (operation == QLatin1String("ignored"))
            result = m_cabinet->setBrightness(5);
        else if (operation == QLatin1String("a list"))
            result = m_cabinet->tryGetCoefficients(grid);
        else
            result = SubScreenV4(QStringLiteral("A")).isCheckerboardlImage();
    });
    QCOMPARE(result, code);
    QCOMPARE(m_log->takeWarning(),
             QStringList(QStringLiteral("reply nested deeper than 100 levels: the rest is left out. device:A")));
    const int lines = operation == QLatin1String("a list") ? 1 : operation == QLatin1String("logged after false") ? 2 : 0;
    QCOMPARE(m_log->takeCritical().size(), lines);
    m_log->takeDebug();
}

void tst_DeviceReplies::theDeepestReplyIsWhole()
{
    nextReply = nested(Nesting::deepest, QStringLiteral("mlh"));
    const QString whole = printed(nextReply);
    QCOMPARE(loggedReply(), whole);

    nextReply = nested(Nesting::deepest + 1, QStringLiteral("mlh"));
    QVERIFY(!loggedReply().isEmpty());
    QCOMPARE(m_log->takeWarning().size(), 1);

    // No more than the levels beyond the limit is left out.
    const QString level = QStringLiteral("\"in\"");
    nextReply = nested(Nesting::deepest, QStringLiteral("m"));
    const int levels = loggedReply().count(level);
    QVERIFY(levels >= Nesting::deepest - 1);
    nextReply = nested(2 * Nesting::deepest, QStringLiteral("m"));
    QCOMPARE(loggedReply().count(level), Nesting::deepest);
    QCOMPARE(m_log->takeWarning().size(), 1);
}

void tst_DeviceReplies::longRepliesAreCutInTheLog_data()
{
    QTest::addColumn<QVariantMap>("whole");
    QTest::addColumn<QVariantMap>("tooLong");
    const QString key = QStringLiteral("key");
    const auto of = [&](const QVariant &value) { return QVariantMap{{key, value}}; };
    const auto room = [&](const QVariant &empty) { return maxLoggedReply - printed(of(empty)).size(); };
    const auto text = [](int length) { return QString(length, QLatin1Char('x')); };

    const int characters = room(QString());
    QTest::newRow("a string") << of(text(characters)) << of(text(characters + 1));
    QTest::newRow("a very long string") << of(text(characters)) << of(text(10 * characters));
    const int escapes = characters / 2; // "\n" takes two characters
    QTest::newRow("line feeds") << of(QString(escapes, QLatin1Char('\n'))) << of(QString(escapes + 1, QLatin1Char('\n')));
    const int pairs = characters / 2;
    const QString pair = QString::fromUcs4(U"\U0001F600", 1);
    QTest::newRow("surrogate pairs") << of(pair.repeated(pairs)) << of(pair.repeated(pairs + 1));
    const int bytes = room(QByteArray());
    QTest::newRow("bytes") << of(QByteArray(bytes, 'x')) << of(QByteArray(bytes + 1, 'x'));
    QTest::newRow("bytes as hexadecimal digits") << of(QByteArray(bytes / 4, '\1')) << of(QByteArray(bytes / 4 + 1, '\1'));
    const int inList = room(QStringList{QString()});
    QTest::newRow("a list of strings") << of(QStringList{text(inList)}) << of(QStringList{text(inList), QString()});

    const auto list = [](int count, const QVariant &value) {
        QVariantList values;
        for (int i = 0; i < count; ++i)
            values.append(value);
        return values;
    };
    QTest::newRow("numbers") << of(list(33000, 1000000000)) << of(list(50000, 1000000000));
    QTest::newRow("empty strings") << of(list(1000, QString())) << of(list(2000000, QString()));
    QTest::newRow("empty maps") << of(list(1000, QVariantMap())) << of(list(2000000, QVariantMap()));
    QVariantMap map;
    for (int i = 0; map.size() < 30000; ++i)
        map.insert(QStringLiteral("%1").arg(i, 8), i);
    QVariantMap longer = map;
    for (int i = 0; longer.size() < 60000; ++i)
        longer.insert(QStringLiteral("%1").arg(100000000 + i), i);
    QTest::newRow("a map") << map << longer;
    QTest::newRow("a map in a map") << of(map) << of(longer);
    QVariantMap manyTypes{{QStringLiteral("bool"), true},
                          {QStringLiteral("double"), 0.5},
                          {QStringLiteral("invalid"), QVariant()},
                          {QStringLiteral("long"), Q_INT64_C(-5000000000)},
                          {QStringLiteral("bytes"), QByteArray("\1f\xff")},
                          {QStringLiteral("escapes \" \n"), QStringLiteral("\t\x7f\x2028")},
                          {QStringLiteral("hash"), QVariantHash{{key, QStringList{key, key}}}},
                          {QStringLiteral("numbers"), QVariant::fromValue(QList<int>{1, 2})},
                          {QStringLiteral("empty"), QVariantList{QVariantMap(), QVariantHash(), QStringList()}}};
    QVariantMap manyTypesTooLong = manyTypes;
    manyTypesTooLong.insert(QStringLiteral("z"), text(maxLoggedReply));
    QTest::newRow("many types") << manyTypes << manyTypesTooLong;
}

void tst_DeviceReplies::longRepliesAreCutInTheLog()
{
    QFETCH(QVariantMap, whole);
    QFETCH(QVariantMap, tooLong);
    const QString expected = printed(whole);
    QVERIFY2(expected.size() <= maxLoggedReply, qPrintable(QString::number(expected.size())));
    nextReply = whole;
    QVERIFY(loggedReply() == expected); // too long to be printed twice

    const QString all = printed(tooLong);
    QVERIFY2(all.size() > maxLoggedReply, qPrintable(QString::number(all.size())));
    nextReply = tooLong;
    QVERIFY(loggedReply() == all.left(maxLoggedReply) + QStringLiteral(" (cut)"));
}

void tst_DeviceReplies::longHeadersAreCutInTheLog()
{
    const QString key = QStringLiteral("Server");
    nextHeaders.insert(key, QString(10 * maxLoggedReply, QLatin1Char('x')));
    nextReply.insert(key, 1);
    QCOMPARE(SubScreenV4(QStringLiteral("A")).isCheckerboardlImage(), enTimeout);
    const QStringList lines = m_log->takeCritical();
    QCOMPARE(lines.size(), 2);
    for (const QString &line : lines) {
        QVERIFY(line.contains(QLatin1String("(cut)")));
        QVERIFY2(line.size() < maxLoggedReply + 1000, qPrintable(QString::number(line.size())));
    }
    QVERIFY(lines[0].contains(printed(QVariantMap{{key, 1}})));
}

void tst_DeviceReplies::deepRepliesOfARefresh_data()
{
    QTest::addColumn<QString>("query");
    for (const char *query : {"getHWInfo", "getScreens", "getAllCabinetsInfo", "getCabAllFlags"})
        QTest::newRow(query) << QString::fromLatin1(query);
}

void tst_DeviceReplies::deepValuesInPlaceOfTextsOfARefresh_data()
{
    QTest::addColumn<QString>("kind");
    for (const char *kind : {"m", "l", "h"})
        QTest::newRow(kind) << QString::fromLatin1(kind);
}

void tst_DeviceReplies::deepValuesInPlaceOfTextsOfARefresh()
{
    QFETCH(QString, kind);
    ScreenManager *const manager = ScreenManager::getInstance();
    EnumErrorCode result = enTimeout;
    TestSupport::onSmallStack([&] {
        deepName = TestSupport::nested(30000, kind);
        result = manager->refreshScreen();
    });
    QVERIFY(!deepName.isValid());
    QCOMPARE(result, enSuccess);
    QCOMPARE(m_log->takeWarning(),
             QStringList(QStringLiteral("reply nested deeper than 100 levels: the rest is left out. device:A")));
    delete manager->tryGetScreen(QStringLiteral("s")); // screens outlive the manager
    m_log->takeCritical();                             // a line about the sub-screen that did not exist before
    m_log->takeDebug();
}

void tst_DeviceReplies::deepRepliesOfARefresh()
{
    QFETCH(QString, query);
    ScreenManager *const manager = ScreenManager::getInstance();
    EnumErrorCode result = enTimeout;
    TestSupport::onSmallStack([&] {
        deepQuery = query;
        result = manager->refreshScreen();
    });
    deepQuery.clear();
    QCOMPARE(result, enSuccess);
    QCOMPARE(m_log->takeWarning(),
             QStringList(QStringLiteral("reply nested deeper than 100 levels: the rest is left out. device:A")));
    QCOMPARE(manager->getNameMapping(), (QMap<QString, QString>{{QStringLiteral("s"), QStringLiteral("named")}}));
    QRect rect;
    QCOMPARE(manager->tryGetScreen(QStringLiteral("s"))->tryGetRect(rect), enSuccess);
    QCOMPARE(rect, QRect(0, 0, 4, 3));
    delete manager->tryGetScreen(QStringLiteral("s")); // screens outlive the manager
    m_log->takeCritical();                             // a line about the sub-screen that did not exist before
    m_log->takeDebug();
}

void tst_DeviceReplies::longIdsOfARefreshAreCutInTheLog()
{
    placedId = QString(10 * maxLoggedReply, QLatin1Char('7'));
    QCOMPARE(ScreenManager::getInstance()->refreshScreen(), enCabinetNotFound);
    placedId = QStringLiteral("7");
    delete ScreenManager::getInstance()->tryGetScreen(QStringLiteral("s"));
    const QStringList lines = m_log->takeCritical();
    QVERIFY(lines.last().contains(QLatin1String("(cut)")));
    for (const QString &line : lines)
        QVERIFY2(line.size() < maxLoggedReply + 1000, qPrintable(QString::number(line.size())));
    m_log->takeDebug();
}

QTEST_GUILESS_MAIN(tst_DeviceReplies)
#include "tst_devicereplies.moc"
