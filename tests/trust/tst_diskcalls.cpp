// Every call to the system, and every allocation, that requests to a wall on disk make fails, once or from there on. What is
// answered true is there when the wall is opened again, what is answered false changed nothing and has a reason. The opening
// and making of walls is in tests/simulator/tst_diskfailures.cpp, too.

#include "support/Allocations.h"

#include "simulator/DiskSteps.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "trust/DiskWork.h"
#include "trust/Options.h"
#include "trust/Process.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <cerrno>
#include <new>
#include <random>
#include <sched.h>
#include <sys/mount.h>

using namespace Simulator;
using DiskWork::differences;
using DiskWork::kept;
using DiskWork::Kept;
using Trust::isLong;

namespace {

struct Failure {
    int error; ///< As for DiskSteps::failAt().
    bool isLasting;
};

const Failure failures[] = {{EIO, false},    {EIO, true},   {ENOSPC, false}, {ENOSPC, true}, {EINTR, false},
                            {EACCES, false}, {EROFS, true}, {0, false},      {0, true}};

/// Without what the cabinets show.
Kept saved(Kept values)
{
    for (auto it = values.begin(); it != values.end();)
        it = it.key().contains(QStringLiteral("plane")) && it.key().endsWith(QStringLiteral(" 0")) ? values.erase(it) : ++it;
    return values;
}

/// A wall on disk after some requests, and the next requests.
struct Batch {
    Batch(const QString &parent, int size, quint32 usedSeed, int count) : seed(usedSeed), first(count + 1)
    {
        directory = parent + QStringLiteral("/wall");
        copy = parent + QStringLiteral("/copy");
        VirtualWall wall;
        wall.journal().setLimit(1);
        QDir(directory).removeRecursively();
        QDir(copy).removeRecursively();
        QString error;
        if (!wall.create(directory, DiskWork::wallOfSize(size), &error))
            qFatal("%s", qPrintable(error));
        for (int number = 1; number <= count; ++number)
            DiskWork::request(wall, seed, number);
        wall.close();
        files = TestSupport::filesBelow(directory);
        TestSupport::restoreFiles(copy, files);
    }
    /// A wall in memory that is as one that opens the directory.
    void loadReference(VirtualWall &wall) const
    {
        QString error;
        if (!wall.loadReadOnly(copy, &error))
            qFatal("%s", qPrintable(error));
        wall.journal().setLimit(1);
    }

    QString directory;
    QString copy;
    TestSupport::Files files;
    quint32 seed;
    int first;
};

} // namespace

class tst_DiskCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCallMayFail();
    void everyAllocationMayFail();
    void aSmallDiskMayBeFull_data();
    void aSmallDiskMayBeFull();

private:
    void failCall(const Batch &batch, int requests, int step, const Failure &failure, bool &isReached);

    int m_answers = 0;
    int m_refusals = 0;
    int m_opensRefused = 0;
};

void tst_DiskCalls::failCall(const Batch &batch, int requests, int step, const Failure &failure, bool &isReached)
{
    TestSupport::LogCapture log(DiskWork::logCategory);
    TestSupport::restoreFiles(batch.directory, batch.files);
    VirtualWall reference;
    batch.loadReference(reference);
    VirtualWall wall;
    QString error;
    DiskSteps::watch(batch.directory.toLocal8Bit(), DiskSteps::Everything);
    DiskSteps::failAt(step, failure.error, failure.isLasting);
    bool isOpen = wall.open(batch.directory, &error);
    if (!isOpen) {
        ++m_opensRefused;
        isReached = DiskSteps::count() >= step;
        DiskSteps::watch(QByteArray());
        QVERIFY(isReached && failure.error != 0);
        QVERIFY2(error.startsWith(batch.directory) && error.contains(qt_error_string(failure.error)), qPrintable(error));
        QVERIFY(wall.pluggedDevices().isEmpty());
        QVERIFY2(wall.open(batch.directory, &error), qPrintable(error));
    }
    wall.journal().setLimit(1);
    // A later save could mend what the failure did, so half of the cases end with the request that met it.
    const bool endsThere = step % 2 == 0;
    int next = batch.first;
    for (; next < batch.first + requests && !(endsThere && isOpen && DiskSteps::count() >= step); ++next) {
        log.clear();
        wall.journal().clear();
        if (DiskWork::request(wall, batch.seed, next)) {
            ++m_answers;
            QVERIFY(DiskWork::request(reference, batch.seed, next));
            continue;
        }
        ++m_refusals;
        const QList<Call> calls = wall.journal().calls();
        QVERIFY2(!calls.isEmpty() ? !calls.last().note.isEmpty() : !log.takeWarning().isEmpty(), "no reason");
        QVERIFY(isOpen && DiskSteps::count() >= step && failure.error != 0);
    }
    if (isOpen)
        isReached = DiskSteps::count() >= step;
    DiskSteps::watch(QByteArray());

    QString difference = differences(kept(reference), kept(wall));
    QVERIFY2(difference.isNull(), qPrintable(QStringLiteral("in memory: ") + difference));
    QVERIFY(DiskWork::ask(wall)); // once anything is answered true, the disk holds what memory does
    if (!endsThere)
        QVERIFY(DiskWork::request(wall, batch.seed, next) && DiskWork::request(reference, batch.seed, next));
    wall.reset();
    QVERIFY2(wall.open(batch.directory, &error), qPrintable(error));
    DiskWork::restart(reference);
    difference = differences(kept(reference), kept(wall));
    QVERIFY2(difference.isNull(), qPrintable(QStringLiteral("on disk: ") + difference));
    QCOMPARE(DiskWork::leftovers(batch.directory), QString());
}

void tst_DiskCalls::everyCallMayFail()
{
    const int batches = isLong() ? 8 : DiskWork::wallSizes;
    constexpr int requests = 6;
    const QTemporaryDir folder(TestSupport::folderTemplate());
    int cases = 0;
    for (int turn = 0; turn < batches; ++turn) {
        const Batch batch(folder.path(), turn % DiskWork::wallSizes, static_cast<quint32>(turn), 20 + turn);
        for (int kind = 0; kind < int(std::size(failures)); ++kind) {
            bool isReached = true;
            const int stride = !isLong()                                               ? 41
                               : turn % DiskWork::wallSizes == DiskWork::wallSizes - 1 ? 5
                                                                                       : 1; // large planes
            for (int step = isLong() ? 1 : 1 + (7 * kind + turn) % stride; isReached; step += stride) {
                failCall(batch, requests, step, failures[kind], isReached);
                DiskSteps::watch(QByteArray());
                cases += isReached ? 1 : 0;
                if (QTest::currentTestFailed()) {
                    QFAIL(qPrintable(QStringLiteral("batch %1, call %2, %3%4")
                                         .arg(turn)
                                         .arg(step)
                                         .arg(qt_error_string(failures[kind].error))
                                         .arg(QLatin1String(failures[kind].isLasting ? ", lasting" : ""))));
                }
            }
        }
    }
    QVERIFY(m_refusals > 10 && m_opensRefused > 5);
    qInfo("measured: %d calls failed in %d ways; of %d requests %d answered true, the others and %d openings false with a "
          "reason",
          cases, int(std::size(failures)), m_answers + m_refusals, m_answers, m_opensRefused);
}

void tst_DiskCalls::everyAllocationMayFail()
{
#if !defined(COUNTS_ALLOCATIONS)
    QSKIP("another allocator");
#elif !defined(CORRECTION_BUNDLED_QTPROMISE)
    QSKIP("with QtPromise an upload that runs out of memory may wait forever");
#else
    const int requests = isLong() ? 24 : 6;
    const int stride = isLong() ? 1 : 19;
    const QTemporaryDir folder(TestSupport::folderTemplate());
    int thrown = 0;
    int failed = 0;
    for (int turn = 0; turn < requests; ++turn) {
        const Batch batch(folder.path(), turn % DiskWork::wallSizes, 1000 + static_cast<quint32>(turn), 10);
        const int number = batch.first + 2;
        const auto prepare = [&](VirtualWall &wall) {
            for (int each = batch.first; each < number; ++each)
                DiskWork::request(wall, batch.seed, each);
        };
        Kept live[2]; // without and with the request
        Kept restarted[2];
        for (const int which : {0, 1}) {
            VirtualWall reference;
            batch.loadReference(reference);
            prepare(reference);
            QVERIFY(which == 0 || DiskWork::request(reference, batch.seed, number));
            live[which] = kept(reference);
            DiskWork::restart(reference);
            restarted[which] = kept(reference);
        }
        bool isReached = true;
        for (int allocation = turn % stride; isReached; allocation += stride) {
            const QByteArray context =
                "request " + QByteArray::number(turn) + ", allocation " + QByteArray::number(allocation) + ": ";
            TestSupport::restoreFiles(batch.directory, batch.files);
            VirtualWall wall;
            QString error;
            QVERIFY2(wall.open(batch.directory, &error), context + error.toLocal8Bit());
            wall.journal().setLimit(1);
            prepare(wall);
            bool isThrown = false;
            bool result = false;
            Allocations::untilFailure = allocation;
            Allocations::armed = true;
            try {
                result = DiskWork::request(wall, batch.seed, number);
            } catch (const std::bad_alloc &) {
                isThrown = true;
            }
            Allocations::armed = false;
            isReached = Allocations::untilFailure < 0;
            Allocations::untilFailure = -1;
            thrown += isThrown ? 1 : 0;
            failed += isReached ? 1 : 0;
            QVERIFY2(isReached || result, context);
            const Kept now = kept(wall);
            const int which = now == live[1] ? 1 : 0;
            QVERIFY2(now == live[which], context + differences(live[0], now).toLocal8Bit());
            QVERIFY2(!result || which == 1 || live[0] == live[1], context + "lost");
            VirtualWall left; // as if the process was killed now
            QVERIFY2(left.loadReadOnly(batch.directory, &error), context + error.toLocal8Bit());
            QString difference = differences(restarted[which], kept(left));
            QVERIFY2(difference.isNull(), context + "on disk: " + difference.toLocal8Bit());
            QVERIFY2(DiskWork::ask(wall), context);
            wall.reset();
            QVERIFY2(wall.open(batch.directory, &error), context + error.toLocal8Bit());
            difference = differences(restarted[which], kept(wall));
            QVERIFY2(difference.isNull(), context + "opened again: " + difference.toLocal8Bit());
            QCOMPARE(DiskWork::leftovers(batch.directory), QString());
        }
    }
    QVERIFY(thrown > 10);
    qInfo("measured: %d allocations of %d requests failed, %d of them passed through as std::bad_alloc", failed, requests,
          thrown);
#endif
}

void tst_DiskCalls::aSmallDiskMayBeFull_data()
{
    QTest::addColumn<QByteArray>("limits");
    QTest::newRow("few bytes") << QByteArray("size=300k");
    QTest::newRow("few files") << QByteArray("size=4m,nr_inodes=12");
}

void tst_DiskCalls::aSmallDiskMayBeFull()
{
    QFETCH(QByteArray, limits);
    constexpr int notHere = -1;
    constexpr int isWrong = -2;
    const int rounds = isLong() ? 500 : 25;
    const QTemporaryDir folder(TestSupport::folderTemplate());
    const QString disk = folder.path();
    Process process([&](int output) {
        const auto put = [](const char *path, const QByteArray &text) {
            QFile file(QString::fromLatin1(path));
            return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) == text.size();
        };
        const QByteArray user = QByteArray::number(::getuid());
        const QByteArray group = QByteArray::number(::getgid());
        if (::unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !put("/proc/self/setgroups", "deny")
            || !put("/proc/self/uid_map", "0 " + user + " 1") || !put("/proc/self/gid_map", "0 " + group + " 1")
            || ::mount("none", QFile::encodeName(disk).constData(), "tmpfs", 0, limits.constData()) != 0)
            return writeNumber(output, notHere);
        const auto fail = [&](const QString &text) {
            std::fprintf(stderr, "%s\n", qPrintable(text));
            writeNumber(output, isWrong);
        };
        const TestSupport::LogCapture log(DiskWork::logCategory);
        std::mt19937 random(1);
        const QString directory = disk + QStringLiteral("/wall");
        VirtualWall wall;
        VirtualWall reference;
        QString error;
        if (!wall.create(directory, DiskWork::wallOfSize(1), &error))
            return fail(error);
        reference.setWall(DiskWork::wallOfSize(1));
        wall.journal().setLimit(1);
        reference.journal().setLimit(1);
        int answered = 0;
        int number = 0;
        for (int round = 0; round < rounds; ++round) {
            QStringList ballast;
            const auto addBallast = [&](qint64 bytes) {
                ballast += disk + QStringLiteral("/ballast") + QString::number(ballast.size());
                QFile file(ballast.last());
                return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)
                       && (bytes == 0 || file.write(QByteArray(int(bytes), '\0')) == bytes);
            };
            const bool isFew = limits.contains("inodes");
            while (addBallast(isFew ? 0 : 8192)) {
            }
            for (int freed = int(random() % 4); freed > 0 && !ballast.isEmpty(); --freed)
                QFile::remove(ballast.takeLast());
            for (int each = int(random() % 4); each >= 0; --each) {
                ++number;
                const bool isDone = DiskWork::request(wall, 7, number);
                answered += isDone ? 1 : 0;
                if (isDone && !DiskWork::request(reference, 7, number))
                    return fail(QStringLiteral("refused in memory"));
                const QString difference = differences(kept(reference), kept(wall));
                if (!difference.isNull())
                    return fail(QStringLiteral("in memory: ") + difference);
                VirtualWall left; // a later save could mend what this one did
                if (!left.loadReadOnly(directory, &error))
                    return fail(error);
                if (saved(kept(left)) != saved(kept(reference)))
                    return fail(QStringLiteral("saved: ") + differences(saved(kept(left)), saved(kept(reference))));
            }
            for (const QString &file : qAsConst(ballast))
                QFile::remove(file);
            if (!DiskWork::ask(wall))
                return fail(QStringLiteral("not usable when there is space again"));
            wall.reset();
            if (!wall.open(directory, &error))
                return fail(error);
            wall.journal().setLimit(1);
            DiskWork::restart(reference);
            const QString difference = differences(kept(reference), kept(wall));
            if (!difference.isNull())
                return fail(QStringLiteral("on disk: ") + difference);
        }
        writeNumber(output, answered);
        writeNumber(output, number - answered);
    });
    const QVector<int> counts = process.finish();
    if (counts.value(0) == notHere)
        QSKIP("no file systems of its own for a process on this machine");
    QCOMPARE(counts.size(), 2);
    QVERIFY(counts[0] > 10 && counts[1] > 10);
    qInfo("measured: on a full file system with %s %d requests answered true, %d false", limits.constData(), counts[0],
          counts[1]);
}

QTEST_GUILESS_MAIN(tst_DiskCalls)
#include "tst_diskcalls.moc"
