// Each personality as a host sees it: through the library, with its codes and log lines, and through the service.

#include "SeamFixture.h"

#include <Correction/CabinetManager.h>
#include <Correction/Correction.h>
#include <simulator/Personalities.h>
#include <support/LogCapture.h>

#include <QtTest/QtTest>

#include <memory>

using namespace Simulator;
using namespace WallTests;
using Correction::ScreenManager;

namespace {

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString three = QStringLiteral("3");

/// The small wall, whose device B has a personality.
WallDescription wallWith(const QString &personality)
{
    WallDescription description = smallWall();
    description.devices[1].personality = personality;
    return description;
}

} // namespace

class tst_Personalities : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        m_log = std::make_unique<TestSupport::LogCapture>();
        ScreenManager::getInstance()->init();
    }
    void init()
    {
        wall().reset();
        wall().timeline().setClock(ClockMode::Skipping);
        m_log->clear();
    }
    void cleanup() { VERIFY_NO_CRITICAL(*m_log); }
    void cleanupTestCase()
    {
        wall().reset();
        m_log.reset();
    }

    void hasTheseNames()
    {
        QCOMPARE(
            personalityNames(),
            (QStringList{QStringLiteral("obedient"), QStringLiteral("slow"), QStringLiteral("silent"),
                         QStringLiteral("refuses writes"), QStringLiteral("rejects uploads"),
                         QStringLiteral("damaged blocks"), QStringLiteral("short replies"), QStringLiteral("answers 404"),
                         QStringLiteral("vanishes in refresh"), QStringLiteral("forgets on restart")}));
    }

    /// A refresh, a write over both devices, a save, a read of B's cabinet, and the query for the checkerboard.
    void aHostSeesIt_data()
    {
        QTest::addColumn<QString>("said");
        const auto row = [](const char *personality, const char *said) {
            QTest::newRow(personality) << QString::fromLatin1(said).replace(QLatin1Char('\''), QLatin1Char('"'));
        };
        const char *const healthy = "Cannot find SubScreen. SubScreen key: A\n"
                                    "Cannot find SubScreen. SubScreen key: B\n"
                                    "refresh: 0, width: 12\n"
                                    "write: 0\n"
                                    "save: 0\n"
                                    "read: 0, as written: yes\n"
                                    "checkerboard: 0, yes\n";
        row("obedient", healthy);
        row("slow", healthy);
        row("forgets on restart", healthy);
        row("silent", "Cannot find SubScreen. SubScreen key: A\n"
                      "getScreens error 'B'\n"
                      "refresh: 0, width: 8\n"
                      "write: 0\n"
                      "save: 0\n"
                      "no cabinet\n"
                      "checkerboard: 0, yes\n");
        row("refuses writes", "Cannot find SubScreen. SubScreen key: A\n"
                              "Cannot find SubScreen. SubScreen key: B\n"
                              "refresh: 0, width: 12\n"
                              "call uploadCoefficientAsync() timeout. device:B\n"
                              "write: 5\n"
                              "saveCabinetsCoeffcient timeout. device:B\n"
                              "Failed to save subscreen parameter. SubScreen key: B code: 5 save type: 0\n"
                              "save: 5\n"
                              "read: 0, as written: no\n"
                              "checkerboard: 0, yes\n");
        row("rejects uploads", "Cannot find SubScreen. SubScreen key: A\n"
                               "Cannot find SubScreen. SubScreen key: B\n"
                               "refresh: 0, width: 12\n"
                               "call uploadCoefficientAsync() timeout. device:B\n"
                               "write: 5\n"
                               "save: 0\n"
                               "read: 0, as written: no\n"
                               "checkerboard: 0, yes\n");
        row("damaged blocks", "Cannot find SubScreen. SubScreen key: A\n"
                              "Cannot find SubScreen. SubScreen key: B\n"
                              "refresh: 0, width: 12\n"
                              "write: 0\n"
                              "save: 0\n"
                              "read: 0, as written: no\n" // what is not base64 is left out
                              "checkerboard: 0, yes\n");
        row("short replies", "Cannot find SubScreen. SubScreen key: A\n"
                             "Cannot find SubScreen. SubScreen key: B\n"
                             "refresh: 0, width: 8\n" // B's only cabinet is the half that is missing
                             "write: 0\n"
                             "save: 0\n"
                             "no cabinet\n"
                             "checkerboard: 0, yes\n");
        row("answers 404", "Cannot find SubScreen. SubScreen key: A\n"
                           "Cannot find SubScreen. SubScreen key: B\n"
                           "refresh: 0, width: 12\n"
                           "call uploadCoefficientAsync() timeout. device:B\n"
                           "write: 5\n"
                           "saveCabinetsCoeffcient timeout. device:B\n"
                           "Failed to save subscreen parameter. SubScreen key: B code: 5 save type: 0\n"
                           "save: 5\n"
                           "read: 5, as written: no\n"
                           "call isCheckerboardlImage() fail. timeout. device : 'B'  responseHeader:  "
                           "QMap(('Content-Type', 'application/json')('HttpResponse_StateCode', '404')) result : QMap()\n"
                           "checkerboard: 0, no\n");
        row("vanishes in refresh", "Cannot find SubScreen. SubScreen key: A\n"
                                   "getScreens error 'B'\n"
                                   "refresh: 0, width: 8\n"
                                   "write: 0\n"
                                   "save: 0\n"
                                   "no cabinet\n"
                                   "checkerboard: 0, yes\n");
    }

    void aHostSeesIt()
    {
        wall().setWall(wallWith(QString::fromLatin1(QTest::currentDataTag())));
        QStringList said;
        const auto say = [&](const QString &line) {
            const QStringList critical = m_log->takeCritical();
            for (const QString &each : critical)
                said += each.trimmed() + QLatin1Char('\n');
            said += line + QLatin1Char('\n');
        };
        auto *const manager = ScreenManager::getInstance();
        const int refreshed = manager->refreshScreen();
        Correction::IScreen *const screen = manager->tryGetScreen(QStringLiteral("screen"));
        QVERIFY(screen);
        QRect rect;
        screen->tryGetRect(rect);
        say(QStringLiteral("refresh: %1, width: %2").arg(refreshed).arg(rect.width()));

        Correction::Coefficient grid(12, 2);
        QVector<unsigned short> values = plane(12 * 2, 1234);
        grid.setCoefficient(values);
        say(QStringLiteral("write: %1").arg(screen->setCoefficients(QRect(0, 0, 12, 2), grid)));
        QCOMPARE(wall().state().chroma(a, QStringLiteral("2")), plane(8, 1234)); // the neighbour is not affected
        say(QStringLiteral("save: %1").arg(screen->saveParameter(Correction::enSaveCommonCoefficient)));
        QCOMPARE(wall().state().chroma(a, QStringLiteral("2"), Store::User), plane(8, 1234));
        if (Correction::ICabinet *const cabinet = Correction::CabinetManager::getInstance()->tryGetCabinet(three)) {
            Correction::Coefficient read(4, 2);
            const int code = cabinet->tryGetCoefficients(read);
            const bool same = read.getCoefficient() == plane(8, 1234);
            say(QStringLiteral("read: %1, as written: %2")
                    .arg(code)
                    .arg(same ? QStringLiteral("yes") : QStringLiteral("no")));
        } else {
            say(QStringLiteral("no cabinet"));
        }
        QMap<QString, bool> features;
        const int asked = screen->getFeatures(features);
        const bool board = features.value(QStringLiteral("checkerBoardltFeature"));
        say(QStringLiteral("checkerboard: %1, %2").arg(asked).arg(board ? QStringLiteral("yes") : QStringLiteral("no")));
        QTEST(said.join(QString()), "said");
    }

    // At the service

    void theSlowOneTakesItsTime()
    {
        wall().timeline().setClock(ClockMode::Stepped);
        wall().setWall(wallWith(QStringLiteral("slow")));
        QVERIFY(ask("A"));
        QCOMPARE(lastCall().duration, qint64(0));
        QVERIFY(ask("B"));
        QVERIFY(lastCall().duration >= 200000 && lastCall().duration <= 300100);
        const Promise promise = upload("B", 3, 1);
        wall().timeline().advance(199);
        QVERIFY(promise.isPending());
        wall().timeline().advance(102);
        QVERIFY(promise.isFulfilled());
    }

    void theSlowOneMayBeSlowerStill()
    {
        WallDescription description = wallWith(QStringLiteral("slow"));
        description.devices[1].timing.latency = 1000;
        description.devices[1].timing.bytesPerSecond = 1;
        wall().setWall(description);
        QVERIFY(ask("B"));
        QVERIFY(lastCall().duration >= 1200000 + 6000000); // six characters, one a second
    }

    void theSilentOneAnswersNothing()
    {
        wall().setWall(wallWith(QStringLiteral("silent")));
        QCOMPARE(discovered(), (QStringList{a, b})); // the search finds it
        QVERIFY(!ask("B"));
        QVERIFY(!save("B", 3));
        bool taken = true;
        upload("B", 3, 1).then([&](bool value) { taken = value; }).wait();
        QVERIFY(!taken);
        const QList<Call> calls = wall().journal().calls();
        for (const Call &call : calls)
            QCOMPARE(call.note, call.deviceKey == b ? QStringLiteral("fault: no answer") : QString());
    }

    void theRefusingOneRefusesWritesAlone()
    {
        wall().setWall(wallWith(QStringLiteral("refuses writes")));
        QVERIFY(!save("B", 3));
        Map reply;
        QVERIFY(!CabinetInfoOperator::getInstance()->setCabinetGammaCustomValue(b, three, {}, reply));
        QCOMPARE(lastCall().note, QStringLiteral("fault: no answer"));
        List list;
        QVERIFY(CabinetInfoOperator::getInstance()->getCabAllFlags(b, list));
        QVERIFY(Correctionop::getInstance()->loadCoefficient(b, three, list = {}));
        QVERIFY(CabinetInfoOperator::getInstance()->getCabinetGammaCustomValue(b, three, reply = {}));
        QVERIFY(HWInfo::getInstance()->unLock(b, {}));
    }

    void theRejectingOneRejectsPromises()
    {
        wall().setWall(wallWith(QStringLiteral("rejects uploads")));
        QVERIFY(upload("B", 3, 1).isRejected());
        QVERIFY(lastCall().rejected);
        QCOMPARE(lastCall().note, QStringLiteral("fault: upload rejected"));
        QVERIFY(save("B", 3));
    }

    void theDamagedOneSendsDirtyTexts()
    {
        wall().setWall(wallWith(QStringLiteral("damaged blocks")));
        List reply;
        QVERIFY(Correctionop::getInstance()->loadCoefficient(b, three, reply));
        QVERIFY(reply[0].toMap().value(QStringLiteral("coefficients")).toString().startsWith(QLatin1Char('!')));
    }

    void theShortOneSendsHalfLists()
    {
        WallDescription description = smallWall();
        description.devices[0].personality = QStringLiteral("short replies");
        wall().setWall(description);
        List reply;
        QVERIFY(CabinetInfoOperator::getInstance()->getAllCabinetsInfo(a, reply, true));
        QCOMPARE(reply.size(), 1);
    }

    void theOneThatAnswers404IsFoundAllTheSame()
    {
        wall().setWall(wallWith(QStringLiteral("answers 404")));
        QVERIFY(ask("B"));
        QVERIFY(!save("B", 3));
        QCOMPARE(lastCall().note, QStringLiteral("fault: status 404"));
        Map reply;
        Headers headers;
        QVERIFY(!ScreenInfo::getInstance()->setCheckerBoardImage(b, {}, reply, headers));
        QCOMPARE(headers.value(QStringLiteral("HttpResponse_StateCode")), QStringLiteral("404"));
        QVERIFY(!HWInfo::getInstance()->lock(b, {}, reply));
    }

    void theVanishingOneVanishesInEveryRefreshThatReachesIt()
    {
        wall().setWall(wallWith(QStringLiteral("vanishes in refresh")));
        auto *const manager = ScreenManager::getInstance();
        QSignalSpy changed(manager, &ScreenManager::signal_screenChanged);
        for (int i = 1; i <= 2; ++i) {
            wall().journal().clear();
            QCOMPARE(int(manager->refreshScreen()), 0);
            QCOMPARE(changed.count(), 2 * i - 1);
            QCOMPARE(wall().journal().calls().last().operation, QStringLiteral("ScreenInfo::getScreens"));
            QCOMPARE(wall().journal().calls().last().note, QStringLiteral("fault: device vanished"));
            QCOMPARE(discovered(), QStringList{a});
            QVERIFY(wall().plug(b));
        }
        QCOMPARE(m_log->takeCritical().filter(QStringLiteral("getScreens error")).size(), 2);
    }

    void anUnknownOneObeys()
    {
        wall().setWall(wallWith(QStringLiteral("no such personality")));
        QVERIFY(ask("B"));
        QVERIFY(upload("B", 3, 1).isFulfilled());
    }

private:
    std::unique_ptr<TestSupport::LogCapture> m_log;
};

QTEST_GUILESS_MAIN(tst_Personalities)
#include "tst_personalities.moc"
