// A host that runs for weeks: refreshes with devices that come and go, and small writes. Memory and handles of the process
// must not grow after a warm-up. The speed is reported and decides nothing.

#include "trust/Options.h"

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>
#include <QtTest/QTest>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>

using namespace Correction;
using Trust::numberOf;

namespace {

// Sanitizers and emulators have memory of their own in the process, which grows.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(RUNS_IN_EMULATOR)
constexpr bool isMemoryOwn = false;
#else
constexpr bool isMemoryOwn = true;
#endif

struct Usage {
    qint64 resident = 0;  ///< bytes
    qint64 allocated = 0; ///< bytes; a leak may fit into memory that was resident before
    int files = 0;
    int threads = 0;
    int objects = 0;
};

Usage usage()
{
    Usage now;
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (statm.open(QIODevice::ReadOnly))
        now.resident = statm.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
    const auto heap = mallinfo2();
    now.allocated = qint64(heap.uordblks + heap.hblkhd);
    now.files =
        QDir(QStringLiteral("/proc/self/fd")).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
    now.threads = QDir(QStringLiteral("/proc/self/task")).entryList(QDir::Dirs | QDir::NoDotAndDotDot).size();
    const QList<QObject *> roots{ScreenManager::getInstance(), &Simulator::VirtualWall::instance(),
                                 QCoreApplication::instance()};
    for (const QObject *root : roots)
        now.objects += root->findChildren<QObject *>().size();
    return now;
}

/// Repeats an operation, and compares what the process uses after the warm-up with what it uses later.
class Trial
{
public:
    template <typename Operation>
    void run(int count, Operation operation)
    {
        const int part = std::max(1, std::min(1000, count / 10));
        const int warmUp = count / 5 | 1; // with every device there, as at all later moments
        const int step = std::max(1, count / 100) * 2;
        QElapsedTimer time;
        for (int i = 0; i < count; ++i) {
            if (i == warmUp || i == count - part)
                time.start();
            operation(i);
            if (QTest::currentTestFailed())
                return;
            if (i == warmUp + part - 1)
                m_first = time.nsecsElapsed();
            if (i < warmUp || (i - warmUp) % step != 0)
                continue;
            const Usage now = usage();
            if (i == warmUp)
                m_before = now;
            m_most.resident = std::max(m_most.resident, now.resident);
            m_most.allocated = std::max(m_most.allocated, now.allocated);
            m_most.files = std::max(m_most.files, now.files);
            m_most.threads = std::max(m_most.threads, now.threads);
            m_most.objects = std::max(m_most.objects, now.objects);
        }
        m_last = time.nsecsElapsed();
    }

    void check(const char *what, int count) const
    {
        QVERIFY(m_before.resident > 0 && (m_before.allocated > 0 || !isMemoryOwn) && m_before.files > 0
                && m_before.threads > 0);
        qInfo("measured: %d %s: %.1f MiB resident, at most %+.2f %%; %.1f MiB allocated, at most %+.2f %%; %d files, %d "
              "threads, %d objects, at most %+d, %+d, %+d; the last of them take %.2f times as long as the first",
              count, what, double(m_before.resident) / 1048576, growth(m_before.resident, m_most.resident),
              double(m_before.allocated) / 1048576, growth(m_before.allocated, m_most.allocated), m_before.files,
              m_before.threads, m_before.objects, m_most.files - m_before.files, m_most.threads - m_before.threads,
              m_most.objects - m_before.objects, double(m_last) / double(std::max<qint64>(1, m_first)));
        QVERIFY2(growth(m_before.resident, m_most.resident) <= 1.0 || !isMemoryOwn, "the memory grows");
        const qint64 allowed = std::max<qint64>(m_before.allocated / 100, 65536); // the journal's last calls differ in size
        QVERIFY2(m_most.allocated - m_before.allocated <= allowed || !isMemoryOwn, "memory is left over");
        QVERIFY2(m_most.files <= m_before.files, "file descriptors are left over");
        QVERIFY2(m_most.threads <= m_before.threads, "threads are left over");
        QVERIFY2(m_most.objects <= m_before.objects, "objects are left over");
    }

private:
    static double growth(qint64 before, qint64 most)
    {
        return 100.0 * double(most - before) / double(std::max<qint64>(1, before));
    }

    Usage m_before;
    Usage m_most;
    qint64 m_first = 0;
    qint64 m_last = 0;
};

} // namespace

class tst_Endurance : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void refreshes();
    void writes();

private:
    const QString m_wall = qEnvironmentVariable("CORRECTION_TRUST_WALL", QStringLiteral("demo"));
    ScreenManager *m_manager = nullptr;
};

void tst_Endurance::initTestCase()
{
    if (!QFile::exists(QStringLiteral("/proc/self/statm")))
        QSKIP("needs /proc");
    QLoggingCategory::setFilterRules(QStringLiteral("correction*=false")); // a line for every device that comes or goes
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    QVERIFY(wall.load(m_wall));
    wall.journal().setLimit(100);
    m_manager = ScreenManager::getInstance();
    m_manager->init();
    QCOMPARE(m_manager->refreshScreen(), enSuccess);
}

/// One device is gone at every second refresh, another one each time.
void tst_Endurance::refreshes()
{
    const int count = numberOf("CORRECTION_TRUST_REFRESHES", 200);
    Simulator::VirtualWall &wall = Simulator::VirtualWall::instance();
    const QList<Simulator::Device> devices = wall.pluggedDevices();
    QVERIFY(devices.size() > 1);
    const int screens = m_manager->getNameMapping().size();
    Trial trial;
    trial.run(count, [&](int i) {
        const QString key = devices.at(i / 2 % devices.size()).key;
        QVERIFY(i % 2 == 0 ? wall.unplug(key) : wall.plug(key));
        QCOMPARE(m_manager->refreshScreen(), enSuccess);
        if (i % 2 == 1)
            QCOMPARE(m_manager->getNameMapping().size(), screens);
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    });
    if (wall.pluggedDevices().size() < devices.size())
        wall.plug(devices.at((count - 1) / 2 % devices.size()).key);
    trial.check("refreshes", count);
}

void tst_Endurance::writes()
{
    const int count = numberOf("CORRECTION_TRUST_WRITES", 3000);
    QCOMPARE(m_manager->refreshScreen(), enSuccess);
    IScreen *const screen = m_manager->tryGetScreen(m_manager->getNameMapping().firstKey());
    QVERIFY(screen);
    QRect whole;
    QCOMPARE(screen->tryGetRect(whole), enSuccess);
    Trial trial;
    trial.run(count, [&](int i) {
        Coefficient grid(2, 1);
        QVector<unsigned short> values(18, static_cast<unsigned short>(30000 + i % 1000));
        QCOMPARE(grid.setCoefficient(values), enSuccess);
        const QRect part(whole.x() + i % 97, whole.y() + i % 31, 2, 1);
        QCOMPARE(screen->setCoefficients(part, grid), enSuccess);
    });
    trial.check("writes of two pixels", count);
}

QTEST_GUILESS_MAIN(tst_Endurance)
#include "tst_endurance.moc"
