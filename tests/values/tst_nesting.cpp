// Values nested deeper than the stack is.

#include "support/Allocations.h"

#include "support/Nested.h"

#include <QtTest/QtTest>

using namespace TestSupport;

class tst_Nesting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void limitsWhatIsDeeper_data();
    void limitsWhatIsDeeper();
    void leavesTheRestAsItIs();
    void otherOwnersKeepTheWhole();
    void releasesWithoutADeepStack_data();
    void releasesWithoutADeepStack();
    void aSharedValueIsReleasedByItsLastOwner();
    void releasesWithoutMemory();
    void visitsMapsListsAndHashes();
};

void tst_Nesting::limitsWhatIsDeeper_data()
{
    QTest::addColumn<QString>("kinds");
    for (const char *kinds : {"m", "l", "h", "ml", "mlh"})
        QTest::newRow(kinds) << QString::fromLatin1(kinds);
}

void tst_Nesting::limitsWhatIsDeeper()
{
    QFETCH(QString, kinds);
    QVariant value = nested(Nesting::deepest, kinds);
    QVERIFY(!Nesting::limit(value));
    QCOMPARE(levelsOf(value), Nesting::deepest);

    value = nested(Nesting::deepest + 1, kinds);
    QVERIFY(Nesting::limit(value));
    QCOMPARE(levelsOf(value), Nesting::deepest);
    QVERIFY(!Nesting::limit(value));

    int levels = 0;
    onSmallStack([&] {
        QVariant deep = nested(30000, kinds);
        if (Nesting::limit(deep))
            levels = levelsOf(deep);
    });
    QCOMPARE(levels, Nesting::deepest);
}

void tst_Nesting::leavesTheRestAsItIs()
{
    QVariantMap map{
        {QStringLiteral("a"), 1}, {QStringLiteral("deep"), nested(200)}, {QStringLiteral("z"), QVariantList{2, 3}}};
    QVERIFY(Nesting::limit(map));
    QCOMPARE(map.value(QStringLiteral("a")), QVariant(1));
    QCOMPARE(map.value(QStringLiteral("z")), QVariant(QVariantList{2, 3}));
    QCOMPARE(levelsOf(map.value(QStringLiteral("deep"))), Nesting::deepest - 1);

    QVariantList list{QStringLiteral("text"), nested(200)};
    QVERIFY(Nesting::limit(list));
    QCOMPARE(list.at(0), QVariant(QStringLiteral("text")));
    QCOMPARE(levelsOf(list.at(1)), Nesting::deepest - 1);

    QVariant text = QStringLiteral("text");
    QVERIFY(!Nesting::limit(text));
    QCOMPARE(text, QVariant(QStringLiteral("text")));
}

void tst_Nesting::otherOwnersKeepTheWhole()
{
    const QVariant whole = nested(500);
    QVariant limited = whole;
    QVERIFY(Nesting::limit(limited));
    QCOMPARE(levelsOf(limited), Nesting::deepest);
    QCOMPARE(levelsOf(whole), 500);
}

void tst_Nesting::releasesWithoutADeepStack_data()
{
    limitsWhatIsDeeper_data();
}

void tst_Nesting::releasesWithoutADeepStack()
{
    QFETCH(QString, kinds);
    QVariant value;
    onSmallStack([&] {
        value = nested(30000, kinds);
        Nesting::release(value);
    });
    QVERIFY(!value.isValid());

    value = 5;
    Nesting::release(value);
    QVERIFY(!value.isValid());
}

void tst_Nesting::aSharedValueIsReleasedByItsLastOwner()
{
    int levels = 0;
    onSmallStack([&] {
        QVariant last = nested(30000);
        QVariant first = last;
        Nesting::release(first);
        levels = levelsOf(last);
        Nesting::release(last);
    });
    QCOMPARE(levels, 30000);
}

void tst_Nesting::releasesWithoutMemory()
{
#ifndef COUNTS_ALLOCATIONS
    QSKIP("needs the C library's own allocator");
#else
    bool failed = true;
    for (int round = 0; failed; ++round) {
        QVERIFY(round < 10000);
        Allocations::liveBlocks = 0;
        Allocations::armed = true;
        QVariant value = nested(Nesting::deepest + 50, QStringLiteral("mlh"));
        const int made = Allocations::allocations;
        Allocations::untilFailure = round;
        Nesting::release(value);
        failed = Allocations::untilFailure < 0;
        Allocations::untilFailure = -1;
        Allocations::armed = false;
        QVERIFY(!value.isValid());
        QVERIFY(made > 0 && (failed || round > 0));
        if (round >= 3) // some objects are created once
            QCOMPARE(Allocations::liveBlocks, std::int64_t(0));
    }
#endif
}

void tst_Nesting::visitsMapsListsAndHashes()
{
    const auto size = [](const QVariant &value) {
        int entries = -1;
        Nesting::visit(value, [&](const auto &held) { entries = held.size(); });
        return entries;
    };
    QCOMPARE(size(QVariantMap{{QStringLiteral("a"), 1}, {QStringLiteral("b"), 2}}), 2);
    QCOMPARE(size(QVariantList{1, 2, 3}), 3);
    QCOMPARE(size(QVariantHash{{QStringLiteral("a"), 1}}), 1);
    QCOMPARE(size(QStringList{QStringLiteral("a")}), -1);
    QCOMPARE(size(QVariant()), -1);
}

QTEST_GUILESS_MAIN(tst_Nesting)
#include "tst_nesting.moc"
