#include "support/LogCapture.h"

#include <Correction/CabinetAvgCoefficient.h>
#include <Correction/Coefficient.h>

#include <memory>
#include <optional>
#include <type_traits>

using namespace Correction;

static_assert(std::is_base_of<ICabinetCoefficient, CabinetAvgCoefficient>::value, "interface");
static_assert(std::is_abstract<ICabinetCoefficient>::value && sizeof(ICabinetCoefficient) == sizeof(void *),
              "the interface holds no data");
static_assert(!std::has_virtual_destructor<ICabinetCoefficient>::value, "interface");
static_assert(!std::has_virtual_destructor<CabinetAvgCoefficient>::value, "interface");
static_assert(!std::is_default_constructible<CabinetAvgCoefficient>::value, "always of one cabinet");

class tst_CabinetAvgCoefficient : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The test library installs its own handler before the first test and takes it away after the last.
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void knowsItsDevice_data();
    void knowsItsDevice();
    void storesNothing();
    void isUsedThroughItsInterface();
    void releasesItsTextsAndNoGrid();

private:
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_CabinetAvgCoefficient::knowsItsDevice_data()
{
    QTest::addColumn<QString>("deviceKey");
    QTest::addColumn<QString>("cabinetId");
    QTest::newRow("key and id") << QStringLiteral("device A") << QStringLiteral("17");
    QTest::newRow("the same text twice") << QStringLiteral("7") << QStringLiteral("7");
    QTest::newRow("empty key") << QString(QLatin1String("")) << QStringLiteral("17");
    QTest::newRow("null texts") << QString() << QString();
    QTest::newRow("a key with a placeholder") << QStringLiteral("%1 %2") << QStringLiteral("1");
}

void tst_CabinetAvgCoefficient::knowsItsDevice()
{
    QFETCH(QString, deviceKey);
    QFETCH(QString, cabinetId);
    CabinetAvgCoefficient average(deviceKey, cabinetId);
    QCOMPARE(average.getDeciceKey(), deviceKey);
    QCOMPARE(average.getDeciceKey().isNull(), deviceKey.isNull());
}

void tst_CabinetAvgCoefficient::storesNothing()
{
    CabinetAvgCoefficient average(QStringLiteral("device"), QStringLiteral("1"));
    Coefficient grid(2, 2);
    const QRect block(0, 0, 2, 2);
    QCOMPARE(average.add(block, &grid), false);
    QCOMPARE(average.add(block, nullptr), false);
    QVERIFY(!average.tryGetCoefficient(block));
    QVERIFY(!average.tryGetCoefficient(QRect()));
    QVERIFY(average.toJsonData().isNull());
    QCOMPARE(average.getDeciceKey(), QStringLiteral("device"));
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_CabinetAvgCoefficient::isUsedThroughItsInterface()
{
    CabinetAvgCoefficient average(QStringLiteral("device"), QStringLiteral("1"));
    ICabinetCoefficient &interface = average;
    Coefficient grid;
    QCOMPARE(interface.getDeciceKey(), QStringLiteral("device"));
    QCOMPARE(interface.add(QRect(0, 0, 1, 1), &grid), false);
    QVERIFY(!interface.tryGetCoefficient(QRect(0, 0, 1, 1)));
    QVERIFY(interface.toJsonData().isNull());
}

void tst_CabinetAvgCoefficient::releasesItsTextsAndNoGrid()
{
    // Each text is shared with the object alone, so it is detached again once the object has released it.
    QString key = QStringLiteral("device").repeated(3);
    QString id = QStringLiteral("12").repeated(3);
    Coefficient grid(2, 1);
    {
        CabinetAvgCoefficient average(key, id);
        QVERIFY(!key.isDetached());
        QVERIFY(!id.isDetached());
        average.add(QRect(0, 0, 2, 1), &grid);
    }
    QVERIFY(key.isDetached());
    QVERIFY(id.isDetached());
    QCOMPARE(grid.getPixelCol(), 2);
    QCOMPARE(grid.getCoefficient(), QVector<unsigned short>(18, 0));
}

QTEST_GUILESS_MAIN(tst_CabinetAvgCoefficient)
#include "tst_cabinetavgcoefficient.moc"
