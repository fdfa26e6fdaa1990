// The wall as a whole: devices, discovery, reset.

#include "PartTests.h"

#include <atomic>
#include <thread>

using namespace PartTests;

class tst_VirtualWall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

    void aResetForgetsEverything()
    {
        wall().journal().setLimit(0);
        wall().scripts().on(QString()).answerFalse();
        wall().state().setReplyBlockHeight(1);
        wall().state().setDefaultPixel(Kind::Chroma, "x");
        HttpProxy::getInstance()->initialize(true);
        wall().reset();
        QVERIFY(wall().pluggedDevices().isEmpty());
        QVERIFY(HttpProxy::getInstance()->getDeviceList().isEmpty());
        QCOMPARE(wall().journal().calls().size(), 1);
        wall().setDevices({gridDevice(a, QPoint(0, 0), 1, 1, QSize(1, 2))});
        List reply;
        QVERIFY(correction().loadCoefficient(a, one, reply));
        QCOMPARE(reply.size(), 1);
        QCOMPARE(wall().state().chroma(a, one), chromaValues(2, 0));
        QVERIFY(!wall().state().isDiscovering());
    }

    void describesTheWallAsDevicesDo()
    {
        wall().setDevices({});
        Device device;
        device.key = a;
        device.label = QStringLiteral("left");
        device.customName = QStringLiteral("custom");
        device.screenId = QStringLiteral("s");
        device.screenName = QStringLiteral("Screen");
        device.screenPosition = QPoint(10, 20);
        device.multilayerCorrectionLayers = 3;
        const ReceivingCard card{
            QStringLiteral("5"), QStringLiteral("cf"), QRect(0, 1, 2, 3), {{one, QStringLiteral("mf"), QRect(1, 2, 3, 4)}}};
        const Cabinet cabinet{QStringLiteral("7"), two, QPoint(3, 4), QSize(8, 6), QStringLiteral("f"), {card}};
        device.subScreens = {{QPoint(1, 2), {cabinet}}};
        wall().addDevice(device);

        QCOMPARE(device.rect(), QRect(14, 26, 8, 6));
        const QList<HttpDeviceInfo> found = HttpProxy::getInstance()->getDeviceList();
        QCOMPARE(found.size(), 1);
        QCOMPARE(found[0].key, a);
        QCOMPARE(found[0].label, QStringLiteral("left"));

        Map reply;
        List list;
        QVERIFY(HWInfo::getInstance()->getHWInfo(a, reply, true));
        QCOMPARE(CallJournal::describe(reply), quoted("{'customName': 'custom'}"));
        QVERIFY(screens().getScreens(a, reply = {}, true));
        QCOMPARE(CallJournal::describe(reply),
                 quoted("{'expendInfo.isAllowSingleDev': bool true, 'position.x': int 10, 'position.y': int 20, "
                        "'screenName': 'Screen', 'screenUUID': 's', 'subScreens': [{'cabinets': ["
                        "{'cabinetID': '7', 'outputID': '2', 'position.x': int 3, 'position.y': int 4, "
                        "'size.height': int 6, 'size.width': int 8}], "
                        "'position.x': int 1, 'position.y': int 2}]}"));
        QVERIFY(cabinets().getAllCabinetsInfo(a, list, true));
        QCOMPARE(CallJournal::describe(list), quoted("[{'id': '7', 'outputID': '2'}]"));
        QVERIFY(cabinets().getCabAllFlags(a, list = {}));
        QCOMPARE(CallJournal::describe(list),
                 quoted("[{'flag': 'f', 'id': '7', 'recvcardflags': [{'flag': 'cf', 'height': int 3, 'id': '5', "
                        "'moduleflags': [{'flag': 'mf', 'height': int 4, 'id': '1', 'width': int 3, "
                        "'x': int 1, 'y': int 2}], 'width': int 2, 'x': int 0, 'y': int 1}]}]"));
        QVERIFY(cabinets().getCabinetsBaseInfo(a, list = {}));
        QCOMPARE(CallJournal::describe(list),
                 quoted("[{'functionTable': {'fineGrayscale': bool true, 'magicGray': bool false, "
                        "'multilayerCorrectionLayer': uint 3, 'multilayercorrection': bool true, "
                        "'xBitPlus': bool true}}]"));
        QVERIFY(wall().state().setFlashCheckCode(a, QStringLiteral("7"), one, 9));
        QVERIFY(correction().getFlashCheckCode(a, QStringLiteral("7"), {}, list = {}));
        QCOMPARE(CallJournal::describe(list),
                 quoted("[{'flashCheckResults': [{'checkCode': int 9, 'point.x': int 1, 'point.y': int 2, "
                        "'size.h': int 4, 'size.w': int 3}], 'outputId': int 2, 'rvcardId': int 5}]"));
    }

    void buildsGrids()
    {
        const Device device = gridDevice(QStringLiteral("K"), QPoint(5, 6), 2, 2, QSize(8, 4), 10);
        QCOMPARE(device.rect(), QRect(5, 6, 16, 8));
        QCOMPARE(device.subScreens.size(), 1);
        const QList<Cabinet> all4 = device.subScreens[0].cabinets;
        QCOMPARE(all4.size(), 4);
        QCOMPARE(all4[3].id, QStringLiteral("13"));
        QCOMPARE(all4[3].outputId, two);
        QCOMPARE(all4[3].position, QPoint(8, 4));
        QCOMPARE(all4[2].position, QPoint(0, 4));
        QCOMPARE(all4[1].receivingCards.size(), 1);
        QCOMPARE(all4[1].receivingCards[0].rect, QRect(0, 0, 8, 4));
        QCOMPARE(all4[1].receivingCards[0].modules[3].id, QStringLiteral("3"));
        QCOMPARE(all4[1].receivingCards[0].modules[3].rect, QRect(4, 2, 4, 2));
    }

    void tellsWhenDevicesComeAndGo()
    {
        QSignalSpy changed(HttpProxy::getInstance(), &HttpProxy::deviceChanged);
        wall().addDevice(gridDevice(QStringLiteral("C"), QPoint(0, 9), 1, 1, QSize(2, 2), 20));
        QCOMPARE(changed.size(), 1);
        QCOMPARE(wall().pluggedDevices().size(), 3);
        Device other = gridDevice(a, QPoint(0, 0), 1, 1, QSize(2, 2), 50);
        other.screenId = QStringLiteral("other");
        wall().addDevice(other);
        QCOMPARE(changed.size(), 2);
        QCOMPARE(wall().pluggedDevices().size(), 3);
        QCOMPARE(wall().pluggedDevices()[0].subScreens[0].cabinets[0].id, QStringLiteral("50"));
        QCOMPARE(wall().screenIds(), (QStringList{QStringLiteral("other"), QStringLiteral("screen")}));
        QVERIFY(wall().removeDevice(b));
        QCOMPARE(changed.size(), 3);
        QCOMPARE(HttpProxy::getInstance()->getDeviceList().size(), 2);
        QVERIFY(!wall().removeDevice(b));
        QCOMPARE(changed.size(), 3);
        wall().setDevices({});
        QCOMPARE(changed.size(), 4);
        QVERIFY(HttpProxy::getInstance()->getDeviceList().isEmpty());
    }

    void signalsAreEmittedWithoutTheLock()
    {
        int seen = -1;
        const auto connection = connect(HttpProxy::getInstance(), &HttpProxy::deviceChanged,
                                        [&] { seen = HttpProxy::getInstance()->getDeviceList().size(); });
        wall().removeDevice(a);
        disconnect(connection);
        QCOMPARE(seen, 1);
    }

    void renamesScreens()
    {
        QSignalSpy renamed(&screens(), &ScreenInfo::signal_screenNameChanged);
        QVERIFY(wall().renameScreen(b, QStringLiteral("Lobby")));
        QCOMPARE(renamed.size(), 1);
        QCOMPARE(renamed[0], (QList<QVariant>{b, QStringLiteral("Lobby")}));
        Map reply;
        QVERIFY(screens().getScreens(b, reply, true));
        QCOMPARE(reply.value(QStringLiteral("screenName")), QVariant(QStringLiteral("Lobby")));
        QVERIFY(!wall().renameScreen(QStringLiteral("C"), one));
        QCOMPARE(renamed.size(), 1);
    }

    void remembersWhetherDiscoveryRuns()
    {
        QVERIFY(!wall().state().isDiscovering());
        HttpProxy::getInstance()->initialize(true);
        QVERIFY(wall().state().isDiscovering());
        HttpProxy::getInstance()->initialize(false);
        QVERIFY(!wall().state().isDiscovering());
    }

    void isUsableFromManyThreads()
    {
        constexpr int rounds = 200;
        std::atomic<int> failures{0};
        const auto use = [&](const QString &device, const QString &cabinet) {
            for (int i = 0; i < rounds; ++i) {
                Map reply;
                List blocks;
                const List request = blockRequest(QRect(0, 0, 4, 2), chromaBytes(8, static_cast<quint16>(i)));
                const bool done = correction().uploadCoefficient(device, cabinet, request, reply)
                                  && correction().loadCoefficient(device, cabinet, blocks);
                const QVariant expected = request[0].toMap().value(QStringLiteral("coefficients"));
                if (!done || blocks.value(0).toMap().value(QStringLiteral("coefficients")) != expected)
                    ++failures;
            }
        };
        std::thread left(use, a, one);
        std::thread right(use, b, QStringLiteral("3"));
        for (int i = 0; i < rounds; ++i) {
            wall().scripts().on(QStringLiteral("HWInfo::lock")).answerFalse();
            wall().pictures().pattern(QStringLiteral("screen"));
        }
        left.join();
        right.join();
        QCOMPARE(failures.load(), 0);
        QCOMPARE(wall().journal().calls().size(), 4 * rounds);
        QCOMPARE(wall().journal().notes(), QStringList());
    }
};

QTEST_GUILESS_MAIN(tst_VirtualWall)
#include "tst_virtualwall.moc"
