// Processes that are killed at any moment while they make, open or write to a wall directory, and several that open one at
// once. Whatever was answered true is there afterwards.

#include "simulator/DiskSteps.h"
#include "support/Files.h"
#include "trust/DiskWork.h"
#include "trust/Options.h"
#include "trust/Process.h"

#include <QtTest/QtTest>

#include <memory>
#include <random>
#include <unistd.h>

using namespace Simulator;
using Trust::isLong;

namespace {

constexpr int isOpen = -1;
constexpr int isRefused = -2;
constexpr int isWrong = -3;

/// What a wall directory must hold: the answered requests, and the next one or not.
class Reference
{
public:
    explicit Reference(const WallDescription &description, quint32 seed) : m_seed(seed)
    {
        for (VirtualWall *const wall : {m_answered.get(), m_inFlight.get()}) {
            wall->journal().setLimit(1);
            wall->setWall(description);
        }
    }
    int number() const { return m_number; }
    /// False when the wall in memory refuses a request.
    bool answered(int number)
    {
        for (; m_number < number; ++m_number) {
            if (!DiskWork::request(*m_answered, m_seed, m_number + 1)
                || !DiskWork::request(*m_inFlight, m_seed, m_number + 1))
                return false;
        }
        return true;
    }
    /// Compares a wall that was opened with what it must hold. Continues from there. Null, or what differs.
    QString compare(VirtualWall &found, bool mayBeInFlight, const QString &directory)
    {
        const DiskWork::Kept present = DiskWork::kept(found);
        if (mayBeInFlight)
            DiskWork::request(*m_inFlight, m_seed, m_number + 1);
        DiskWork::restart(*m_answered);
        const QString difference = DiskWork::differences(DiskWork::kept(*m_answered), present);
        if (!difference.isNull() && mayBeInFlight) {
            DiskWork::restart(*m_inFlight);
            if (!DiskWork::differences(DiskWork::kept(*m_inFlight), present).isNull())
                return difference;
            std::swap(m_answered, m_inFlight);
            ++m_number;
            wasInFlight = true;
        } else if (!difference.isNull()) {
            return difference;
        }
        QString error;
        m_inFlight->loadReadOnly(directory, &error); // it was found to be equal
        m_inFlight->journal().setLimit(1);
        return error;
    }
    bool wasInFlight = false; ///< Set when the request in flight was found.

private:
    quint32 m_seed;
    int m_number = 0; ///< Requests that the wall holds.
    std::unique_ptr<VirtualWall> m_answered = std::make_unique<VirtualWall>();
    std::unique_ptr<VirtualWall> m_inFlight = std::make_unique<VirtualWall>();
};

} // namespace

class tst_KilledWriters : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingAnsweredIsThere();
    void oneOfThreeMayWrite_data();
    void oneOfThreeMayWrite();
};

void tst_KilledWriters::everythingAnsweredIsThere()
{
    const int rounds = isLong() ? 10000 : 80;
    const int roundsOfAWall = isLong() ? 50 : 13;
    int answers = 0;
    int unanswered = 0;
    int inMaking = 0;
    int inOpening = 0;
    std::unique_ptr<QTemporaryDir> folder;
    std::unique_ptr<Reference> reference;
    QString directory;
    WallDescription description;
    bool isMade = false;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray context = "round " + QByteArray::number(round) + ": ";
        const int turn = round / roundsOfAWall;
        const auto seed = static_cast<quint32>(turn);
        std::mt19937 random(static_cast<std::mt19937::result_type>(round));
        if (round % roundsOfAWall == 0) {
            folder = std::make_unique<QTemporaryDir>(TestSupport::folderTemplate());
            directory = folder->filePath(QStringLiteral("wall"));
            description = DiskWork::wallOfSize(turn % DiskWork::wallSizes);
            reference = std::make_unique<Reference>(description, seed);
            isMade = false;
        }
        // In turn by itself in the middle of a step to the disk, and from outside at any moment.
        const bool byItself = round % 3 == 0;
        const int step = byItself ? 1 + int(random() % (isMade ? 200 : 40)) : 0;
        Process process([&](int output) {
            VirtualWall wall;
            wall.journal().setLimit(1);
            DiskSteps::watch(directory.toLocal8Bit());
            DiskSteps::killAt(step);
            if (!(isMade ? wall.open(directory) : wall.create(directory, description))) {
                writeNumber(output, isRefused);
                return;
            }
            writeNumber(output, isOpen);
            for (int next = reference->number() + 1;; ++next) {
                if (!DiskWork::request(wall, seed, next)) {
                    writeNumber(output, isRefused);
                    return;
                }
                writeNumber(output, next);
            }
        });
        if (!byItself) {
            ::usleep(static_cast<useconds_t>(random() % 12000));
            process.kill();
        }
        const QVector<int> written = process.finish();
        QVERIFY2(process.wasKilled(), context);
        QVERIFY2(!written.contains(isRefused), context + "refused");
        inMaking += written.isEmpty() && !isMade ? 1 : 0;
        inOpening += written.isEmpty() && isMade ? 1 : 0;
        if (!isMade) {
            isMade = QFileInfo::exists(directory + QStringLiteral("/wall.json"));
            QVERIFY2(isMade || written.isEmpty(), context + "no wall");
            if (!isMade) { // the next process makes one in its place
                QVERIFY2(QDir(directory).removeRecursively(), context);
                continue;
            }
        }
        if (!written.isEmpty() && written.last() > 0) {
            answers += written.last() - reference->number();
            QVERIFY2(reference->answered(written.last()), context + "refused in memory");
        }

        // Without tidying up in every other round, so that the next process finds what this one left.
        VirtualWall found;
        QString error;
        const bool isTidied = random() % 2 == 0;
        QVERIFY2(isTidied ? found.open(directory, &error) : found.loadReadOnly(directory, &error),
                 context + error.toLocal8Bit());
        if (isTidied)
            QVERIFY2(DiskWork::leftovers(directory).isEmpty(), context + DiskWork::leftovers(directory).toLocal8Bit());
        const QString difference = reference->compare(found, !written.isEmpty(), directory);
        QVERIFY2(difference.isNull(), context + difference.toLocal8Bit());
        unanswered += reference->wasInFlight ? 1 : 0;
        reference->wasInFlight = false;
    }
    QVERIFY(answers > rounds);
    QVERIFY(unanswered > 0);
    qInfo(
        "measured: %d processes killed (%d while they made a wall, %d while they opened one); %d requests of %d operations "
        "answered true, all there afterwards; %d requests that were not yet answered there as a whole",
        rounds, inMaking, inOpening, answers, int(DiskWork::sent().size()), unanswered);
}

void tst_KilledWriters::oneOfThreeMayWrite_data()
{
    QTest::addColumn<bool>("isMade");
    QTest::newRow("three open a wall") << true;
    QTest::newRow("three make a wall") << false;
}

void tst_KilledWriters::oneOfThreeMayWrite()
{
    QFETCH(bool, isMade);
    constexpr int timeout = 60000; // milliseconds, for a busy machine
    const int rounds = isLong() ? 500 : 6;
    const QTemporaryDir folder(TestSupport::folderTemplate());
    const QString directory = folder.filePath(QStringLiteral("wall"));
    const WallDescription description = DiskWork::wallOfSize(1);
    std::unique_ptr<Reference> reference;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray context = "round " + QByteArray::number(round) + ": ";
        if (!isMade || !reference) {
            VirtualWall wall;
            QVERIFY(QDir(directory).removeRecursively());
            QVERIFY(!isMade || wall.create(directory, description));
            reference = std::make_unique<Reference>(description, 1);
        }
        int start[2] = {};
        int end[2] = {};
        QVERIFY(::pipe(start) == 0 && ::pipe(end) == 0);
        const int number = reference->number();
        const auto work = [&](int output) {
            char byte = 0;
            ::close(start[1]);
            ::close(end[1]);
            while (::read(start[0], &byte, 1) > 0) {
            }
            VirtualWall wall;
            QString error;
            if (!(isMade ? wall.open(directory, &error) : wall.create(directory, description, &error))) {
                const bool isClear = error.startsWith(directory + QStringLiteral("/lock: the wall is in use"))
                                     || (!isMade && error.contains(QStringLiteral("/wall.json: is there already")));
                writeNumber(output, isClear ? isRefused : isWrong);
                if (!isClear)
                    qWarning("%s", qPrintable(error));
                return;
            }
            writeNumber(output, isOpen);
            for (int next = number + 1; next <= number + 5; ++next)
                writeNumber(output, DiskWork::request(wall, 1, next) ? next : isWrong);
            while (::read(end[0], &byte, 1) > 0) {
            }
        };
        Process processes[]{Process(work), Process(work), Process(work)};
        ::close(start[0]);
        ::close(end[0]);
        ::close(start[1]); // starts all three
        int open = -1;
        int openCount = 0;
        for (int i = 0; i < 3; ++i) {
            int first = isWrong;
            QVERIFY2(processes[i].readNumber(first, timeout), context);
            QVERIFY2(first == isOpen || first == isRefused, context + QByteArray::number(first));
            openCount += first == isOpen ? 1 : 0;
            open = first == isOpen ? i : open;
        }
        const bool isAsked = openCount == 1;
        const bool isKilled = round % 2 == 0;
        QVector<int> answered;
        for (int each = 0; isAsked && answered.size() < 5 && processes[open].readNumber(each, timeout);)
            answered += each;
        if (isAsked && isKilled)
            processes[open].kill(); // and leaves its lock file
        ::close(end[1]);
        for (Process &process : processes)
            process.finish();
        QCOMPARE(openCount, 1);
        QVERIFY2(!answered.contains(isWrong), context);
        QCOMPARE(answered.size(), 5);
        QVERIFY2(reference->answered(answered.last()), context);
        VirtualWall found;
        QString error;
        QVERIFY2(found.loadReadOnly(directory, &error), context + error.toLocal8Bit());
        const QString difference = reference->compare(found, false, directory);
        QVERIFY2(difference.isNull(), context + difference.toLocal8Bit());
        QCOMPARE(QFileInfo::exists(directory + QStringLiteral("/lock")), isKilled);
    }
    qInfo("measured: %d times three processes that %s one wall at once, one of them could write", rounds,
          isMade ? "opened" : "made");
}

QTEST_GUILESS_MAIN(tst_KilledWriters)
#include "tst_killedwriters.moc"
