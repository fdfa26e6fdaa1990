#include "ForeignGrids.h"
#include "support/LogCapture.h"

#include <Correction/CoefficientFactory.h>
#include <Correction/CoefficientPtr.h>

#include <cstdlib>
#include <new>
#include <optional>
#include <type_traits>
#include <utility>

using namespace Correction;

namespace {

/// What `::operator new` has handed out on this thread and not taken back (Qt Test has a thread of its own); allocations of
/// Qt's containers go past it.
thread_local int liveBlocks = 0;

} // namespace

void *operator new(std::size_t size)
{
    void *const block = std::malloc(size ? size : 1);
    if (!block)
        throw std::bad_alloc();
    ++liveBlocks;
    return block;
}
void operator delete(void *block) noexcept
{
    if (block)
        --liveBlocks;
    std::free(block);
}
void operator delete(void *block, std::size_t) noexcept
{
    operator delete(block);
}

static_assert(sizeof(CoefficientPtr) == sizeof(ICoefficient *), "no more than a pointer");
static_assert(std::is_nothrow_move_constructible<CoefficientPtr>::value, "kept in containers");
static_assert(!std::is_copy_constructible<CoefficientPtr>::value, "one owner");

class tst_CoefficientPtr : public QObject
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

    void releasesStorageAndValuesOfAKind_data();
    void releasesStorageAndValuesOfAKind();
    void ownsWhatTheLibraryMakes_data();
    void ownsWhatTheLibraryMakes();
    void resetReleasesTheFormerGrid();
    void releaseHandsTheGridOut();
    void acceptsNull();
    void releasesTheStorageOfAForeignGridOnly();
    void releasesAGridDerivedFromAKind();

private:
    std::optional<TestSupport::LogCapture> m_log;
};

namespace {

enum Kind { Chroma, LowGray, MultiLayer };

void kindRows()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("chroma") << int(Chroma);
    QTest::newRow("low-gray") << int(LowGray);
    QTest::newRow("multilayer") << int(MultiLayer);
}

template <class Grid, class Values>
void releases()
{
    // Shared by the grid and this vector only, so it is detached when the grid's destructor has run.
    Values values(4 * Grid().getPixelLength(), 1);
    QVERIFY(values.isDetached());
    const int before = liveBlocks;
    {
        auto *const grid = new Grid(2, 2);
        const CoefficientPtr owner(grid);
        QCOMPARE(grid->setCoefficient(values), enSuccess);
        QVERIFY(!values.isDetached());
        QCOMPARE(liveBlocks, before + 1);
    }
    QCOMPARE(liveBlocks, before);
    QVERIFY(values.isDetached());
}

ICoefficient *newGrid(int kind)
{
    switch (kind) {
    case Chroma:
        return new Coefficient(2, 2);
    case LowGray:
        return new LowGrayCoefficient(2, 2);
    default:
        return new MultilayerCoefficient(2, 2);
    }
}

} // namespace

void tst_CoefficientPtr::releasesStorageAndValuesOfAKind_data()
{
    kindRows();
}

void tst_CoefficientPtr::releasesStorageAndValuesOfAKind()
{
    QFETCH(int, kind);
    switch (kind) {
    case Chroma:
        releases<Coefficient, QVector<unsigned short>>();
        break;
    case LowGray:
        releases<LowGrayCoefficient, QVector<unsigned short>>();
        break;
    default:
        releases<MultilayerCoefficient, QByteArray>();
    }
}

void tst_CoefficientPtr::ownsWhatTheLibraryMakes_data()
{
    kindRows();
}

void tst_CoefficientPtr::ownsWhatTheLibraryMakes()
{
    QFETCH(int, kind);
    const auto makeAndRelease = [&] {
        const CoefficientPtr grid(newGrid(kind));
        const CoefficientPtr copy(grid->getCopy());
        const CoefficientPtr part(grid->tryGetPart(QRect(0, 0, 1, 2)));
        QVERIFY(copy && part);
        QCOMPARE(part->getPixelCol(), 1);
        const CoefficientPtr made(CoefficientFactory::getCoefficient(grid->getType(), 1, 1));
        QCOMPARE(bool(made), kind != LowGray);
    };
    makeAndRelease(); // with what the first log line makes and keeps
    m_log->clear();
    const int before = liveBlocks;
    makeAndRelease();
    m_log->clear();
    QCOMPARE(liveBlocks, before);
}

void tst_CoefficientPtr::resetReleasesTheFormerGrid()
{
    QVector<unsigned short> values(9, 1);
    auto *const first = new Coefficient;
    first->setCoefficient(values);
    CoefficientPtr owner(first);
    owner.reset(new LowGrayCoefficient);
    QVERIFY(values.isDetached());
    QCOMPARE(owner->getType(), enLowgrayCoefficient);
    CoefficientPtr other = std::move(owner);
    QVERIFY(!owner);
    QCOMPARE(other->getType(), enLowgrayCoefficient);
}

void tst_CoefficientPtr::releaseHandsTheGridOut()
{
    auto *const grid = new Coefficient(3, 1);
    CoefficientPtr owner(grid);
    QCOMPARE(owner.release(), static_cast<ICoefficient *>(grid));
    QVERIFY(!owner);
    QCOMPARE(grid->getPixelCol(), 3);
    owner.reset(grid);
}

void tst_CoefficientPtr::acceptsNull()
{
    const int before = liveBlocks;
    CoefficientDeleter()(nullptr);
    {
        CoefficientPtr owner;
        QVERIFY(!owner);
        owner.reset(CoefficientFactory::getCoefficient(enLowgrayCoefficient, 1, 1));
        QVERIFY(!owner);
        owner.reset();
    }
    QCOMPARE(liveBlocks, before);
}

void tst_CoefficientPtr::releasesTheStorageOfAForeignGridOnly()
{
    static bool destroyed;
    destroyed = false;
    // The grid is not the first base: its address is not that of its storage.
    struct Other {
        virtual int other() { return padding[0]; }
        int padding[4] = {};
    };
    struct Foreign : Other, ForeignGrids::LowGray {
        ~Foreign() { destroyed = true; }
    };
    const int before = liveBlocks;
    {
        auto *const grid = new Foreign;
        QVERIFY(static_cast<void *>(static_cast<ICoefficient *>(grid)) != static_cast<void *>(grid));
        const CoefficientPtr owner(grid);
        QCOMPARE(owner->getType(), enLowgrayCoefficient);
    }
    QVERIFY(!destroyed);
    QCOMPARE(liveBlocks, before);
}

void tst_CoefficientPtr::releasesAGridDerivedFromAKind()
{
    struct Named : MultilayerCoefficient {
        using MultilayerCoefficient::MultilayerCoefficient;
        int number = 0;
    };
    QByteArray bytes(32, 'x');
    const int before = liveBlocks;
    {
        auto *const grid = new Named(2, 1);
        const CoefficientPtr owner(grid);
        QCOMPARE(grid->setCoefficient(bytes), enSuccess);
        QVERIFY(!bytes.isDetached());
    }
    QVERIFY(bytes.isDetached());
    QCOMPARE(liveBlocks, before);
}

QTEST_GUILESS_MAIN(tst_CoefficientPtr)
#include "tst_coefficientptr.moc"
