#include "support/Allocations.h"
#include "support/LogCapture.h"

#include <Correction/CabinetBaseInfo.h>
#include <Correction/CabinetInfo.h>
#include <Correction/CoefficientFactory.h>
#include <Correction/CoefficientPtr.h>
#include <Correction/RequestParser.h>

#include <QtCore/QVariant>

#include <functional>
#include <memory>
#include <new>
#include <optional>

using namespace Correction;

using Values = QVector<unsigned short>;

/// What an operation does when memory runs out in its middle: `std::bad_alloc` passes through, nothing leaks, and the
/// objects can be used further.
class tst_Exhaustion : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
#ifndef COUNTS_ALLOCATIONS
        QSKIP("needs the C library's own allocator");
#endif
        // Qt's own log stream cannot run out of memory; the library's lines are not what is tested here.
        QLoggingCategory::setFilterRules(QStringLiteral("correction=false"));
    }
    // The test library installs its own handler before the first test and takes it away after the last.
    void init()
    {
        m_log.emplace();
    }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void gridConstructors();
    void factory();
    void copiesOfGrids();
    void pasteIntoASharedGrid();
    void pasteOfAGrid();
    void cuts();
    void averages();
    void texts();
    void chromaReplies();
    void cabinetCopies();
    void baseInfoReplies();

private:
    void exhaust(const std::function<void()> &operation, const std::function<void()> &verify);

    std::optional<TestSupport::LogCapture> m_log;
};

/// Runs `operation` with its first, second, ... allocation failing until it runs through; `verify` is called after every
/// failure. What `operation` makes it releases itself, so that every block it got must be back. Sharing alone may give
/// back more.
void tst_Exhaustion::exhaust(const std::function<void()> &operation, const std::function<void()> &verify)
{
#ifdef COUNTS_ALLOCATIONS
    operation(); // objects that are created once
    bool done = false;
    for (int allowed = 0; !done; ++allowed) {
        QVERIFY(allowed < 10000);
        bool other = false;
        Allocations::liveBlocks = 0;
        Allocations::untilFailure = allowed;
        Allocations::armed = true;
        try {
            operation();
            done = true;
        } catch (const std::bad_alloc &) {
        } catch (...) {
            other = true;
        }
        Allocations::armed = false;
        const bool failed = Allocations::untilFailure < 0;
        QVERIFY(!other);
        QCOMPARE(done, !failed); // every failure is passed on, and each comes from an allocation
        QCOMPARE(Allocations::liveBlocks, qint64(0));
        verify();
        if (QTest::currentTestFailed()) {
            qWarning("after %d allocations", allowed);
            return;
        }
    }
#else
    Q_UNUSED(operation)
    Q_UNUSED(verify)
#endif
}

namespace {

Values counted(int count)
{
    Values values(count);
    for (int i = 0; i < count; ++i)
        values[i] = static_cast<unsigned short>(i + 1);
    return values;
}

void nothing() {}

} // namespace

void tst_Exhaustion::gridConstructors()
{
    exhaust([] { Coefficient(3, 2); }, nothing);
    exhaust([] { LowGrayCoefficient(3, 2); }, nothing);
    exhaust([] { MultilayerCoefficient(3, 2, 5); }, nothing);
}

void tst_Exhaustion::factory()
{
    exhaust([] { CoefficientPtr(CoefficientFactory::getCoefficient(enCommonCoefficient, 2, 3)); }, nothing);
    exhaust([] { CoefficientPtr(CoefficientFactory::getCoefficient(enMultilayerCoefficient, 2, 3)); }, nothing);
}

void tst_Exhaustion::copiesOfGrids()
{
    Coefficient chroma(2, 1);
    Values values = counted(18);
    chroma.setCoefficient(values);
    exhaust([&] { CoefficientPtr(chroma.getCopy()); }, [&] { QCOMPARE(chroma.getCoefficient(), counted(18)); });
    LowGrayCoefficient lowGray(2, 1);
    exhaust([&] { CoefficientPtr(lowGray.getCopy()); }, nothing);
    MultilayerCoefficient multilayer(2, 1, 4);
    exhaust([&] { CoefficientPtr(multilayer.getCopy()); }, nothing);
}

void tst_Exhaustion::pasteIntoASharedGrid()
{
    Values values = counted(18);
    Coefficient original(2, 1);
    original.setCoefficient(values);
    Values pixel(9, 500);
    exhaust(
        [&] {
            Coefficient grid(original);
            grid.setPartCoefficient(QRect(0, 0, 1, 1), pixel);
        },
        [&] {
            QCOMPARE(original.getCoefficient(), counted(18));
            QCOMPARE(values, counted(18));
        });

    QByteArray bytes(32, 'a');
    MultilayerCoefficient multilayer(2, 1);
    multilayer.setCoefficient(bytes);
    QByteArray block(16, 'b');
    exhaust(
        [&] {
            MultilayerCoefficient grid(multilayer);
            grid.setPartCoefficient(QRect(1, 0, 1, 1), block);
        },
        [&] { QCOMPARE(multilayer.getCoefficient(), QByteArray(32, 'a')); });
}

void tst_Exhaustion::pasteOfAGrid()
{
    Values values = counted(18);
    LowGrayCoefficient original(2, 1);
    original.setCoefficient(values);
    LowGrayCoefficient source(1, 1);
    exhaust(
        [&] {
            LowGrayCoefficient grid(original);
            grid.setPartCoefficient(QRect(1, 0, 1, 1), source);
        },
        [&] {
            QCOMPARE(original.getCoefficient(), counted(18));
            QCOMPARE(source.getCoefficient(), Values(9, 0));
        });
}

void tst_Exhaustion::cuts()
{
    const QRect rect(0, 0, 1, 2);
    Coefficient chroma(2, 2);
    exhaust([&] { CoefficientPtr(chroma.tryGetPart(rect)); }, nothing);
    LowGrayCoefficient lowGray(2, 2);
    exhaust([&] { CoefficientPtr(lowGray.tryGetPart(rect)); }, nothing);
    MultilayerCoefficient multilayer(2, 2, 3);
    exhaust([&] { CoefficientPtr(multilayer.tryGetPart(rect)); }, nothing);
}

void tst_Exhaustion::averages()
{
    Coefficient grid(2, 2);
    Values average{1, 2};
    Values out;
    exhaust(
        [&] {
            out = average;
            grid.tryGetAvg(out);
            out = Values();
        },
        [&] {
            // Either unchanged, or already replaced and released.
            QVERIFY(out == average || out.isEmpty());
            out = Values();
            QCOMPARE(average, (Values{1, 2}));
        });
}

void tst_Exhaustion::texts()
{
    Coefficient chroma(2, 2);
    exhaust([&] { chroma.toBase64(); }, nothing);
    exhaust([&] { chroma.toJsonData(); }, nothing);
    MultilayerCoefficient multilayer(2, 2, 3);
    exhaust([&] { multilayer.toBase64(); }, nothing);
}

void tst_Exhaustion::chromaReplies()
{
    Values values = counted(18);
    Coefficient source(2, 1);
    source.setCoefficient(values);
    const auto block = [](int x, const QString &text) {
        return QVariantMap{{QStringLiteral("area.point.x"), x},
                           {QStringLiteral("area.size.width"), 1},
                           {QStringLiteral("area.size.height"), 1},
                           {QStringLiteral("coefficients"), text}};
    };
    QList<QVariant> reply{block(0, source.toBase64()), block(1, source.toBase64() + QStringLiteral("\n\u00e9"))};
    const QList<QVariant> before = reply;
    exhaust(
        [&] {
            Coefficient target(1, 1);
            RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, target);
        },
        [&] { QCOMPARE(reply, before); });

    Coefficient target(1, 1);
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 2, 1), reply, target), enSuccess);
    QCOMPARE(target.getCoefficient(), counted(9) + counted(9));
}

namespace {

template <class Part>
void append(QList<Part *> &list, int count)
{
    for (int i = 0; i < count; ++i) {
        auto part = std::make_unique<Part>();
        part->id = QString::number(i);
        list.append(part.get());
        part.release();
    }
}

} // namespace

void tst_Exhaustion::cabinetCopies()
{
    CabinetInfo source;
    source.id = QStringLiteral("1");
    append(source.rvCardList, 3);
    append(source.moduleList, 5);
    exhaust([&] { CabinetInfo copy(source); },
            [&] {
                QCOMPARE(source.rvCardList.size(), 3);
                QCOMPARE(source.moduleList.size(), 5);
            });
    exhaust(
        [&] {
            CabinetInfo target;
            append(target.rvCardList, 2);
            append(target.moduleList, 2);
            target = source;
        },
        [&] {
            QCOMPARE(source.rvCardList.size(), 3);
            QCOMPARE(source.moduleList.size(), 5);
        });
}

void tst_Exhaustion::baseInfoReplies()
{
    QList<QVariant> reply{
        QVariantMap{{QStringLiteral("functionTable"), QVariantMap{{QStringLiteral("xBitPlus"), QStringLiteral("true")},
                                                                  {QStringLiteral("multilayerCorrectionLayer"), 3}}}}};
    const QList<QVariant> before = reply;
    exhaust(
        [&] {
            CabinetBaseInfo info;
            info.pasrseJson(reply);
        },
        [&] { QCOMPARE(reply, before); });
}

QTEST_GUILESS_MAIN(tst_Exhaustion)
#include "tst_exhaustion.moc"
