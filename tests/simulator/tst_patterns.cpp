// The test images of devices on the pictures of their screen.

#include "PartTests.h"

using namespace PartTests;

class tst_Patterns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { setUpWall(); }

    void cleanupTestCase() { wall().reset(); }

    void drawsACheckerboardOverTwoDevices()
    {
        // A board of 11 x 2 at 0,0 with squares of 3 x 1: A shows columns 3 3 2, B the rest, 1 2, in the last its last
        // one.
        Map reply;
        const auto board = [](const Map &region, int firstW, int lastW, const List &colors) {
            return map({{"regionRect", region},
                        {"firstSquareW", firstW},
                        {"firstSquareH", 1},
                        {"squareW", 3},
                        {"squareH", 1},
                        {"lastSquareColumnW", lastW},
                        {"lastSquareRowH", 1},
                        {"regionColor", colors}});
        };
        const Map red = colorMap(255, 0, 0);
        const Map blue = colorMap(0, 0, 255);
        const QMap<QRgb, char> letters{{0xffff0000, 'r'}, {0xff0000ff, 'b'}};
        QVERIFY(screens().setCheckerBoardImage(a, board(rectMap(0, 0, 8, 2), 3, 2, {red, blue}), reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("rrrbbbrr.... bbbrrrbb...."));
        QVERIFY(screens().setCheckerBoardImage(b, board(rectMap(0, 0, 3, 2), 1, 2, {red, blue}), reply = {}));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("rrrbbbrrrbb. bbbrrrbbbrr."));
        QCOMPARE(wall().state().pattern(a).type, Pattern::Checkers);
        QVERIFY(screens().setCorrectClearImage(a, {}));
        QCOMPARE(wall().state().pattern(a).type, Pattern::Clear);
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("........rbb. ........brr."));
    }

    void drawsOneSquareAndThreeColours()
    {
        Map reply;
        const QMap<QRgb, char> letters{{0xff010000, 'x'}, {0xff020000, 'y'}, {0xff030000, 'z'}};
        Map request = map({{"regionRect", rectMap(1, 0, 2, 2)},
                           {"firstSquareW", 2},
                           {"firstSquareH", 2},
                           {"squareW", 5},
                           {"squareH", 5},
                           {"lastSquareColumnW", 2},
                           {"lastSquareRowH", 2},
                           {"regionColor", List{colorMap(1, 0, 0), colorMap(2, 0, 0), colorMap(3, 0, 0)}}});
        QVERIFY(screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines(".xx......... .xx........."));
        for (const char *key : {"firstSquareW", "squareW", "lastSquareColumnW", "firstSquareH", "squareH", "lastSquareRowH"})
            request[QString::fromLatin1(key)] = 1;
        request[QStringLiteral("regionRect")] = rectMap(-1, 0, 6, 4);
        QVERIFY(screens().setCheckerBoardImage(a, request, reply = {}));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("yzxyz....... zxyzx......."));
    }

    void drawsAPixelImage()
    {
        Map reply;
        const QMap<QRgb, char> letters{{0xff00ff00, 'g'}};
        const Map request = map({{"regionrect", rectMap(1, 0, 7, 2)},
                                 {"singlerect", rectMap(1, 1, 2, 1)},
                                 {"color", colorMap(0, 255, 0)},
                                 {"intervalX", 1},
                                 {"intervalY", 0}});
        QVERIFY(screens().setPixelImage(a, request, reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("............ ..gg..gg...."));
        QCOMPARE(wall().state().pattern(a).request, request);
        Map dark = request;
        dark[QStringLiteral("singlerect")] = rectMap(0, 0, 0, 1);
        QVERIFY(screens().setPixelImage(b, dark, reply = {}));
        dark[QStringLiteral("singlerect")] = rectMap(0, 0, 1, 1);
        dark[QStringLiteral("intervalX")] = -1;
        QVERIFY(screens().setPixelImage(a, dark, reply = {}));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), letters), lines("............ ............"));
    }

    void refusesPatternsThatCannotBeDrawn()
    {
        Map reply;
        Map request = map({{"regionRect", rectMap(0, 0, 8, 2)},
                           {"firstSquareW", 1},
                           {"firstSquareH", 1},
                           {"squareW", 0},
                           {"squareH", 1},
                           {"lastSquareColumnW", 1},
                           {"lastSquareRowH", 1},
                           {"regionColor", List{colorMap(0, 0, 256)}}});
        QVERIFY(!screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(lastNote(), QStringLiteral("squareW is not positive"));
        request[QStringLiteral("squareW")] = 1;
        QVERIFY(!screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(lastNote(), QStringLiteral("regionColor.b is 256"));
        request[QStringLiteral("regionColor")] = List();
        QVERIFY(!screens().setCheckerBoardImage(a, request, reply));
        QCOMPARE(lastNote(), QStringLiteral("regionColor is empty"));
        QCOMPARE(wall().state().pattern(a).type, Pattern::None);
    }

    void drawsOnlyOntoCabinets()
    {
        Device device = gridDevice(a, QPoint(0, 0), 3, 1, QSize(2, 1));
        device.subScreens[0].cabinets.removeAt(1);
        wall().setDevices({device});
        const Map request = map({{"regionrect", rectMap(0, 0, 6, 1)},
                                 {"singlerect", rectMap(0, 0, 6, 1)},
                                 {"color", colorMap(0, 255, 0)},
                                 {"intervalX", 0},
                                 {"intervalY", 0}});
        Map reply;
        QVERIFY(screens().setPixelImage(a, request, reply));
        QCOMPARE(rows(wall().pictures().pattern(QStringLiteral("screen")), {{0xff00ff00, 'g'}}), lines("gg..gg"));
    }
};

QTEST_GUILESS_MAIN(tst_Patterns)
#include "tst_patterns.moc"
