// Replies without bounds: nested deeper than a stack is, or too long for a log. The device service is one of this test's
// own.

#include "cabinet/DeviceReply.h"
#include "support/LogCapture.h"

#include <Correction/CabinetInfo.h>
#include <Correction/CabinetV4.h>
#include <Correction/Coefficient.h>
#include <Correction/SubScreenV4.h>

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/ScreenInfo.h>

#include <QtCore/QThread>
#include <QtTest/QtTest>

#include <functional>
#include <memory>
#include <optional>

using namespace Correction;

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

/// `levels` containers inside one another, the outermost a map.
QVariantMap nested(int levels, const QString &kinds)
{
    QVariant inner;
    for (int level = levels; level > 1; --level) {
        QVariant outer;
        const QChar kind = kinds[level % kinds.size()];
        if (kind == QLatin1Char('m')) {
            QVariantMap map{{QStringLiteral("in"), QVariant()}};
            map.first().swap(inner);
            outer = map;
        } else if (kind == QLatin1Char('l')) {
            QVariantList list{QVariant(1), QVariant()};
            list.last().swap(inner);
            outer = list;
        } else {
            QVariantHash hash{{QStringLiteral("in"), QVariant()}};
            hash.begin()->swap(inner);
            outer = hash;
        }
        inner.swap(outer);
    }
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

} // namespace

// These stand before those of the virtual wall, which answers everything else.
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

private:
    QString loggedReply();

    std::optional<TestSupport::LogCapture> m_log;
    std::unique_ptr<CabinetV4> m_cabinet;
};

void tst_DeviceReplies::init()
{
    m_log.emplace();
    auto info = std::make_unique<CabinetInfo>();
    info->id = QStringLiteral("1");
    info->deviceKey = QStringLiteral("A");
    info->rect = QRect(0, 0, 2, 1);
    info->rvCardList.append(new RvCardInfo);
    m_cabinet = std::make_unique<CabinetV4>(info.release());
    nextReply.clear();
    nextHeaders.clear();
}

void tst_DeviceReplies::cleanup()
{
    m_cabinet.reset();
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
    const std::unique_ptr<QThread> thread(QThread::create([&] {
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
    }));
    thread->setStackSize(512 * 1024);
    thread->start();
    thread->wait();
    QCOMPARE(result, code);
    QCOMPARE(m_log->takeWarning(),
             QStringList(QStringLiteral("reply nested deeper than 100 levels: the rest is left out. device:A")));
    const int lines = operation == QLatin1String("a list") ? 1 : operation == QLatin1String("logged after false") ? 2 : 0;
    QCOMPARE(m_log->takeCritical().size(), lines);
    m_log->takeDebug();
}

void tst_DeviceReplies::theDeepestReplyIsWhole()
{
    nextReply = nested(maxReplyDepth, QStringLiteral("mlh"));
    const QString whole = printed(nextReply);
    QCOMPARE(loggedReply(), whole);

    nextReply = nested(maxReplyDepth + 1, QStringLiteral("mlh"));
    QVERIFY(!loggedReply().isEmpty());
    QCOMPARE(m_log->takeWarning().size(), 1);
}

void tst_DeviceReplies::longRepliesAreCutInTheLog_data()
{
    QTest::addColumn<QVariantMap>("whole");
    QTest::addColumn<QVariantMap>("tooLong");
    const QString key = QStringLiteral("key");
    const int room = maxLoggedReply - key.size();
    const auto of = [&](const QVariant &value) { return QVariantMap{{key, value}}; };
    const QString text(room, QLatin1Char('x'));
    QTest::newRow("a text") << of(text) << of(QString(100 * room, QLatin1Char('x')));
    QTest::newRow("bytes") << of(QByteArray(room, 'x')) << of(QByteArray(room + 1, 'x'));
    QTest::newRow("texts") << of(QStringList{text}) << of(QStringList{text, text});
    QVariantList list;
    for (int i = 0; i < room / loggedValueLength; ++i)
        list.append(1000000000 + i);
    QTest::newRow("numbers") << of(list) << of(list + list + list);
    QVariantMap map;
    for (int i = 0; i < room / (8 + loggedValueLength); ++i)
        map.insert(QStringLiteral("%1").arg(i, 8), i);
    QVariantMap longer = map;
    longer.insert(QStringLiteral("%1").arg(-1, 8), -1);
    QTest::newRow("a map") << of(map) << of(longer);
}

void tst_DeviceReplies::longRepliesAreCutInTheLog()
{
    QFETCH(QVariantMap, whole);
    QFETCH(QVariantMap, tooLong);
    nextReply = whole;
    const QString expected = printed(whole);
    QVERIFY(loggedReply() == expected); // too long to be printed twice

    nextReply = tooLong;
    const QString cut = loggedReply();
    const QString end = QStringLiteral(" (cut)");
    QVERIFY2(cut.endsWith(end), qPrintable(cut.right(100)));
    QVERIFY2(cut.size() < 2 * maxLoggedReply, qPrintable(QString::number(cut.size())));
    QCOMPARE(cut.left(20), expected.left(20));
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
        QVERIFY2(line.size() < 2 * maxLoggedReply, qPrintable(QString::number(line.size())));
    }
    QVERIFY(lines[0].contains(printed(QVariantMap{{key, 1}})));
}

QTEST_GUILESS_MAIN(tst_DeviceReplies)
#include "tst_devicereplies.moc"
