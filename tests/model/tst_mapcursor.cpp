#include "model/MapCursor.h"

#include <QtTest/QtTest>

#include <random>

using namespace Correction;

/// Cursor and filler avoid searches; their results are those of the map's own functions.
class tst_MapCursor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyOrderOfKeysIsFound();
    void everyOrderOfKeysIsFilledIn();
    void aMapThatIsSharedStaysAsItWas();
    void presentKeysAreNotAdded();
    void aChangedMapIsSearchedAgain();
};

namespace {

using Map = QMap<QString, int>;

/// Few keys, so that repeats, neighbours and keys that are not there all come up.
QString anyKey(std::mt19937 &random)
{
    return QString::number(random() % 24);
}

Map anyMap(std::mt19937 &random)
{
    Map map;
    for (auto count = random() % 16; count > 0; --count)
        map.insert(anyKey(random), int(random() % 1000));
    return map;
}

} // namespace

void tst_MapCursor::everyOrderOfKeysIsFound()
{
    std::mt19937 random(1);
    for (int round = 0; round < 2000; ++round) {
        const Map map = anyMap(random);
        MapCursor<int> cursor(map);
        for (int i = 0; i < 40; ++i) {
            // In order for a while, then anywhere.
            const QStringList keys = i % 20 < 10 ? QStringList(map.keys()) : QStringList{anyKey(random)};
            for (const QString &key : keys) {
                const auto expected = map.constFind(key);
                const int *const found = cursor.find(key);
                QCOMPARE(found != nullptr, expected != map.cend());
                if (found)
                    QCOMPARE(*found, *expected);
            }
        }
    }
}

void tst_MapCursor::everyOrderOfKeysIsFilledIn()
{
    std::mt19937 random(2);
    for (int round = 0; round < 2000; ++round) {
        Map filled = anyMap(random);
        Map expected = filled;
        expected.detach();
        MapFiller<int> filler(filled);
        for (int i = 0; i < 40; ++i) {
            const QString key = anyKey(random);
            const int value = int(random() % 1000);
            filler.insert(key, value);
            expected.insert(key, value);
            QCOMPARE(filled, expected);
        }
    }
}

void tst_MapCursor::aMapThatIsSharedStaysAsItWas()
{
    Map filled{{QStringLiteral("a"), 1}, {QStringLiteral("c"), 3}};
    const Map before = filled;
    MapFiller<int> filler(filled);
    filler.insert(QStringLiteral("b"), 2);
    filler.insert(QStringLiteral("d"), 4);
    QCOMPARE(before, (Map{{QStringLiteral("a"), 1}, {QStringLiteral("c"), 3}}));
    QCOMPARE(filled.keys().join(QString()), QStringLiteral("abcd"));
}

void tst_MapCursor::presentKeysAreNotAdded()
{
    std::mt19937 random(3);
    for (int round = 0; round < 2000; ++round) {
        Map filled = anyMap(random);
        Map expected = filled;
        expected.detach();
        MapFiller<int> filler(filled);
        for (int i = 0; i < 40; ++i) {
            // As numbers in order for a while, then anywhere.
            const QString key = i % 20 < 10 ? QString::number(round % 10 + i) : anyKey(random);
            const bool isNew = !expected.contains(key);
            QCOMPARE(filler.add(key, i), isNew);
            if (isNew)
                expected.insert(key, i);
            QCOMPARE(filled, expected);
        }
    }
}

void tst_MapCursor::aChangedMapIsSearchedAgain()
{
    Map filled;
    MapFiller<int> filler(filled);
    QVERIFY(filler.add(QStringLiteral("b"), 2));
    QVERIFY(filler.add(QStringLiteral("d"), 4));
    filled.clear();
    filled.insert(QStringLiteral("e"), 5);
    filler.searchAgain();
    QVERIFY(filler.add(QStringLiteral("d"), 6));
    QVERIFY(!filler.add(QStringLiteral("e"), 7));
    QCOMPARE(filled, (Map{{QStringLiteral("d"), 6}, {QStringLiteral("e"), 5}}));
}

QTEST_GUILESS_MAIN(tst_MapCursor)
#include "tst_mapcursor.moc"
