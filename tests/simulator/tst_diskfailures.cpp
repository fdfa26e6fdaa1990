// One system call or allocation after the other fails while a wall is made, opened and saved. Whatever was answered true is
// found by the next open(), and a wall can be used after every failure.

#include "support/Allocations.h"

#include "DiskSteps.h"
#include "Generations.h"
#include "support/Files.h"

#include <adapter/journal/Journal.h>
#include <simulator/WallFile.h>

#include <QtTest/QtTest>

#include <cerrno>
#include <dlfcn.h>
#include <new>
#include <utility>

using namespace Simulator;
using Generations::found;
using Generations::key;
using Generations::saveFlags;
using Generations::savePlanes;
using TestSupport::Files;
using TestSupport::filesBelow;

namespace {

const QString one = QStringLiteral("1");
const QString stateFile = QStringLiteral("/devices/A/state.json");

VirtualWall &wall()
{
    return VirtualWall::instance();
}

/// A folder for a wall. Closes the wall at the end.
struct Folder {
    ~Folder()
    {
        DiskSteps::watch(QByteArray());
        wall().reset();
    }
    QTemporaryDir parent{TestSupport::folderTemplate()};
    QString directory = parent.filePath(QStringLiteral("wall"));
};

void write(const QString &path, const QByteArray &bytes)
{
    QVERIFY(QDir().mkpath(QFileInfo(path).path()));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

/// Closes the wall, and makes its directory hold these files and no others.
void restore(const QString &directory, const Files &files)
{
    wall().reset();
    TestSupport::restoreFiles(directory, files);
}

void reopen(const QString &directory)
{
    QString error;
    QVERIFY2(wall().open(directory, &error), qPrintable(error));
}

/// The next request after `saved` ones.
bool saveNext(int saved)
{
    const int generation = saved / 2 + 1;
    return saved % 2 == 0 ? savePlanes(generation) : saveFlags(generation);
}

/// Whether a message names what could not be done, and the system's reason.
bool namesReason(const QString &message, int error)
{
    static const QRegularExpression what(
        QStringLiteral("[: ]cannot be (listed|locked|made|opened|read|replaced|synchronised|written): "));
    return message.contains(what) && message.contains(qt_error_string(error));
}

/// The files of a wall after so many requests.
Files filesOfWall(const QString &directory, int saved)
{
    QDir(directory).removeRecursively();
    QString error;
    if (!wall().create(directory, Generations::wall(), &error))
        qFatal("%s", qPrintable(error));
    for (int i = 0; i < saved; ++i)
        saveNext(i);
    wall().reset();
    return filesBelow(directory);
}

/// The saved requests whose values are in memory, counted as by found().
int remembered()
{
    return wall().state().chroma(key(), one, Store::User).value(0) + wall().state().flag(key(), one).toInt();
}

/// A request that changes nothing.
bool saveAgain()
{
    return saveFlags(wall().state().flag(key(), one).toInt());
}

void addFailures()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("lasting");
    QTest::newRow("the disk is broken once") << EIO << false;
    QTest::newRow("the disk is broken") << EIO << true;
    QTest::newRow("the disk is full once") << ENOSPC << false;
    QTest::newRow("the disk is full") << ENOSPC << true;
    QTest::newRow("reads and writes are cut in half once") << 0 << false;
    QTest::newRow("reads and writes are cut in half") << 0 << true;
}

} // namespace

class tst_DiskFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anyStepOfOpeningMayFail_data();
    void anyStepOfOpeningMayFail();
    void anyStepOfASaveMayFail_data();
    void anyStepOfASaveMayFail();
    void anyStepOfMakingMayFail_data();
    void anyStepOfMakingMayFail();

    void anyAllocationOfOpeningMayFail();
    void anyAllocationOfASaveMayFail();
    void anyAllocationOfMakingMayFail();

    void aParentThatCannotBeReadNeedNoSync();
    void aPackThatIsCutWhileItIsReadIsNoticed();
    void readersGiveUpWhileEveryReadIsOutdated();
    void readersNoticeAStateThatVanishes();

    void anUploadEndsAnUncertainState();
    void everyFlippedBitIsNoticed();
    void textFilesKeepTheReason_data();
    void textFilesKeepTheReason();
    void aLongHeaderOfAJournalKeepsTheReason();

    void cleanupTestCase();

private:
    int m_calls = 0; ///< That failed; likewise the next one.
    int m_allocations = 0;
};

void tst_DiskFailures::cleanupTestCase()
{
    qInfo("measured: %d calls and %d allocations failed while a wall was made, opened or saved", m_calls, m_allocations);
}

void tst_DiskFailures::anyStepOfOpeningMayFail_data()
{
    addFailures();
}

void tst_DiskFailures::anyStepOfOpeningMayFail()
{
    QFETCH(int, error);
    QFETCH(bool, lasting);
    const Folder folder;
    Files files = filesOfWall(folder.directory, 2);
    // What open() repairs.
    files.insert(QStringLiteral("/devices/A/7.planes"), "left");
    files.insert(stateFile + QStringLiteral(".xYzabc"), "left");
    files.insert(QStringLiteral("/wall.json.xYzabc"), "left");
    for (const bool hasChecksum : {true, false}) {
        if (!hasChecksum)
            files.remove(QStringLiteral("/wall.sha1"));
        int refused = 0;
        bool isReached = true;
        for (int step = 1; isReached; ++step) {
            restore(folder.directory, files);
            QString message;
            DiskSteps::watch(folder.directory.toLocal8Bit(), DiskSteps::Everything);
            DiskSteps::failAt(step, error, lasting);
            const bool isOpen = wall().open(folder.directory, &message);
            isReached = DiskSteps::count() >= step;
            m_calls += isReached ? 1 : 0;
            QVERIFY(!isOpen || !hasChecksum || !DiskSteps::hasFailedToSync());
            QVERIFY(!isOpen || !DiskSteps::hasFailedToList());
            // Else the state from before, whose packs are removed now, could come back.
            for (const char *folderName : {"", "/devices", "/devices/A"})
                QVERIFY(!isOpen || DiskSteps::synced().contains(folder.directory.toLocal8Bit() + folderName));
            QCOMPARE(DiskSteps::unsyncedAtRenaming(), QByteArrayList());
            DiskSteps::watch(QByteArray());

            if (!isOpen) {
                ++refused;
                QVERIFY(isReached && error != 0);
                QVERIFY2(message.startsWith(folder.directory), qPrintable(message));
                QVERIFY2(namesReason(message, error), qPrintable(message));
                QCOMPARE(message.contains(QLatin1String("/1.planes cannot be read: ")),
                         message.contains(QLatin1String(".planes.chroma.user.pack: ")));
                QCOMPARE(wall().directory(), QString());
                QVERIFY(lasting || !QFileInfo::exists(folder.directory + QStringLiteral("/lock")));
                reopen(folder.directory);
            }
            QCOMPARE(found(), 2);
            QVERIFY(saveNext(2));
            reopen(folder.directory);
            QCOMPARE(found(), 3);
            QCOMPARE(filesBelow(folder.directory).keys().filter(QStringLiteral(".xYzabc")), QStringList());
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(QStringLiteral("step %1").arg(step)));
        }
        QVERIFY2(error == 0 ? refused == 0 : refused >= 20, qPrintable(QString::number(refused)));
    }
}

void tst_DiskFailures::anyStepOfASaveMayFail_data()
{
    addFailures();
}

void tst_DiskFailures::anyStepOfASaveMayFail()
{
    QFETCH(int, error);
    QFETCH(bool, lasting);
    const Folder folder;
    int refused = 0;
    for (int answered : {2, 3}) { // the next request writes a pack, or none
        const Files files = filesOfWall(folder.directory, answered);
        bool isReached = true;
        for (int step = 1; isReached; ++step) {
            restore(folder.directory, files);
            reopen(folder.directory);
            QCOMPARE(found(), answered);
            QVERIFY(saveAgain());
            DiskSteps::watch(folder.directory.toLocal8Bit(), DiskSteps::Everything);
            DiskSteps::failAt(step, error, lasting);
            const bool isSaved = saveNext(answered);
            isReached = DiskSteps::count() >= step;
            m_calls += isReached ? 1 : 0;
            QVERIFY(!isSaved || !(DiskSteps::hasFailedToSync() || DiskSteps::hasFailedToList()));
            QCOMPARE(isSaved ? DiskSteps::unsynced() : QByteArrayList(), QByteArrayList());
            QCOMPARE(DiskSteps::unsyncedAtRenaming(), QByteArrayList());
            DiskSteps::watch(QByteArray());

            if (!isSaved) {
                ++refused;
                QVERIFY(isReached && error != 0);
                const QString note = wall().journal().calls().last().note;
                QVERIFY2(note.startsWith(QStringLiteral("not saved: ") + folder.directory), qPrintable(note));
                QVERIFY2(namesReason(note, error), qPrintable(note));
                QCOMPARE(remembered(), answered);
                if (!lasting) {
                    const QRegularExpression pack(QStringLiteral("\\.planes$"));
                    QCOMPARE(filesBelow(folder.directory).keys().filter(pack), files.keys().filter(pack));
                }
                // Once anything is answered true, the disk holds what memory does.
                QVERIFY2(saveAgain(), qPrintable(wall().journal().calls().last().note));
                reopen(folder.directory);
                QCOMPARE(found(), answered);
                QVERIFY(saveNext(answered));
            }
            QCOMPARE(remembered(), answered + 1);
            reopen(folder.directory);
            QCOMPARE(found(), answered + 1);
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(QStringLiteral("step %1 of a save after %2").arg(step).arg(answered)));
        }
    }
    QVERIFY2(error == 0 ? refused == 0 : refused >= 20, qPrintable(QString::number(refused)));
}

void tst_DiskFailures::anyStepOfMakingMayFail_data()
{
    addFailures();
}

void tst_DiskFailures::anyStepOfMakingMayFail()
{
    QFETCH(int, error);
    QFETCH(bool, lasting);
    const Folder folder;
    const QString made = folder.parent.filePath(QStringLiteral("made"));
    int refused = 0;
    bool isReached = true;
    for (int step = 1; isReached; ++step) {
        const QString directory = made + QStringLiteral("/on/the/way");
        QString message;
        wall().reset();
        QVERIFY(QDir(made).removeRecursively());
        DiskSteps::watch(folder.parent.path().toLocal8Bit(), DiskSteps::Everything);
        DiskSteps::failAt(step, error, lasting);
        const bool isMade = wall().create(directory, Generations::wall(), &message);
        isReached = DiskSteps::count() >= step;
        m_calls += isReached ? 1 : 0;
        QVERIFY(!isMade || !DiskSteps::hasFailedToSync());
        QCOMPARE(isMade ? DiskSteps::unsynced() : QByteArrayList(), QByteArrayList());
        QCOMPARE(DiskSteps::unsyncedAtRenaming(), QByteArrayList());
        DiskSteps::watch(QByteArray());

        if (!isMade) {
            ++refused;
            QVERIFY(isReached && error != 0);
            QVERIFY2(message.startsWith(made), qPrintable(message));
            QVERIFY2(namesReason(message, error), qPrintable(message));
            QVERIFY(wall().pluggedDevices().isEmpty());
            if (lasting)
                QVERIFY(QDir(made).removeRecursively());
            QVERIFY2(!QFileInfo::exists(made), qPrintable(filesBelow(made).keys().join(QLatin1Char(' '))));
            QVERIFY2(wall().create(directory, Generations::wall(), &message), qPrintable(message));
        }
        QVERIFY(saveNext(0));
        reopen(directory);
        QCOMPARE(found(), 1);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("step %1").arg(step)));
    }
    QVERIFY2(error == 0 ? refused == 0 : refused >= 25, qPrintable(QString::number(refused)));
}

#ifdef COUNTS_ALLOCATIONS
/// Has priority over Qt's own: the parser ends the process when it runs out of memory.
QJsonDocument QJsonDocument::fromJson(const QByteArray &json, QJsonParseError *error)
{
    using Function = QJsonDocument(const QByteArray &, QJsonParseError *);
    static auto *const real =
        reinterpret_cast<Function *>(::dlsym(RTLD_NEXT, "_ZN13QJsonDocument8fromJsonERK10QByteArrayP15QJsonParseError"));
    const bool wasArmed = std::exchange(Allocations::armed, false);
    const QJsonDocument document = real(json, error);
    Allocations::armed = wasArmed;
    return document;
}

namespace {

enum class Outcome { True, False, Thrown };

/// Runs `operation` with one failing allocation; `isReached` is whether it came to that.
template <typename Operation>
Outcome withoutMemory(int allocation, bool &isReached, Operation operation)
{
    Outcome outcome = Outcome::Thrown;
    Allocations::untilFailure = allocation;
    Allocations::armed = true;
    try {
        outcome = operation() ? Outcome::True : Outcome::False;
    } catch (const std::bad_alloc &) {
    }
    Allocations::armed = false;
    isReached = Allocations::untilFailure < 0;
    Allocations::untilFailure = -1;
    return outcome;
}

} // namespace

void tst_DiskFailures::anyAllocationOfOpeningMayFail()
{
    const Folder folder;
    const Files files = filesOfWall(folder.directory, 2);
    for (const bool isAgain : {false, true}) {
        bool isReached = true;
        int thrown = 0;
        for (int allocation = 0; isReached; ++allocation) {
            restore(folder.directory, files);
            if (isAgain)
                reopen(folder.directory);
            const Outcome outcome = withoutMemory(allocation, isReached, [&] { return wall().open(folder.directory); });
            thrown += outcome == Outcome::Thrown ? 1 : 0;
            m_allocations += isReached ? 1 : 0;
            if (outcome != Outcome::True) {
                QVERIFY(isReached);
                QCOMPARE(wall().directory(), isAgain ? folder.directory : QString());
                QCOMPARE(QFileInfo::exists(folder.directory + QStringLiteral("/lock")), isAgain);
                if (!isAgain)
                    reopen(folder.directory);
            }
            QCOMPARE(found(), 2);
            QVERIFY(saveNext(2));
            reopen(folder.directory);
            QCOMPARE(found(), 3);
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(QStringLiteral("allocation %1").arg(allocation)));
        }
        QVERIFY2(thrown > 100, qPrintable(QString::number(thrown)));
    }
}

void tst_DiskFailures::anyAllocationOfASaveMayFail()
{
    const Folder folder;
    int thrown = 0;
    for (int answered : {2, 3}) {
        const Files files = filesOfWall(folder.directory, answered);
        bool isReached = true;
        for (int allocation = 0; isReached; ++allocation) {
            restore(folder.directory, files);
            reopen(folder.directory);
            QCOMPARE(found(), answered);
            const Outcome outcome = withoutMemory(allocation, isReached, [&] { return saveNext(answered); });
            thrown += outcome == Outcome::Thrown ? 1 : 0;
            m_allocations += isReached ? 1 : 0;
            // Which of both an exception leaves is open, but memory and disk agree.
            const int expected = outcome == Outcome::True ? answered + 1 : remembered();
            QVERIFY(outcome == Outcome::True || isReached);
            QVERIFY(remembered() == expected && (expected == answered || expected == answered + 1));
            const Files left = filesBelow(folder.directory);
            QVERIFY(saveAgain());
            reopen(folder.directory);
            QCOMPARE(found(), expected);
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(QStringLiteral("allocation %1 of a save after %2").arg(allocation).arg(answered)));

            // The same, with the process killed at once; then it is started again.
            restore(folder.directory, left);
            reopen(folder.directory);
            QCOMPARE(found(), expected);
            QVERIFY(saveNext(expected));
            reopen(folder.directory);
            QCOMPARE(found(), expected + 1);
        }
    }
    QVERIFY2(thrown > 100, qPrintable(QString::number(thrown)));
}

void tst_DiskFailures::anyAllocationOfMakingMayFail()
{
    const Folder folder;
    bool isReached = true;
    int thrown = 0;
    for (int allocation = 0; isReached; ++allocation) {
        wall().reset();
        QVERIFY(QDir(folder.directory).removeRecursively());
        const WallDescription description = Generations::wall();
        const Outcome outcome =
            withoutMemory(allocation, isReached, [&] { return wall().create(folder.directory, description); });
        thrown += outcome == Outcome::Thrown ? 1 : 0;
        m_allocations += isReached ? 1 : 0;
        if (outcome != Outcome::True) {
            QVERIFY(isReached);
            // Nothing, or all of it.
            if (QFileInfo::exists(folder.directory)) {
                QVERIFY2(QFileInfo::exists(folder.directory + QStringLiteral("/wall.json")),
                         qPrintable(filesBelow(folder.directory).keys().join(QLatin1Char(' '))));
                reopen(folder.directory);
            } else {
                QVERIFY(wall().create(folder.directory, description));
            }
        }
        QVERIFY(saveNext(0));
        reopen(folder.directory);
        QCOMPARE(found(), 1);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("allocation %1").arg(allocation)));
    }
    QVERIFY2(thrown > 100, qPrintable(QString::number(thrown)));
}
#else
void tst_DiskFailures::anyAllocationOfOpeningMayFail()
{
    QSKIP("another allocator");
}
void tst_DiskFailures::anyAllocationOfASaveMayFail()
{
    QSKIP("another allocator");
}
void tst_DiskFailures::anyAllocationOfMakingMayFail()
{
    QSKIP("another allocator");
}
#endif

void tst_DiskFailures::aParentThatCannotBeReadNeedNoSync()
{
    for (const int error : {EACCES, EIO}) {
        const Folder folder;
        QVERIFY(QDir().mkdir(folder.directory));
        DiskSteps::watch(folder.parent.path().toLocal8Bit(), DiskSteps::Everything);
        int opened = 0;
        DiskSteps::beforeAccess([&](const std::string &path, DiskSteps::Access) {
            if (path == folder.parent.path().toStdString()) {
                ++opened;
                DiskSteps::failAt(DiskSteps::count() + 1, error, false);
            }
        });
        QString message;
        const bool isMade = wall().create(folder.directory, Generations::wall(), &message);
        DiskSteps::watch(QByteArray());
        QCOMPARE(opened, 1);
        QCOMPARE(isMade, error == EACCES);
        QCOMPARE(message,
                 isMade
                     ? QString()
                     : QStringLiteral("%1: cannot be synchronised: %2").arg(folder.parent.path(), qt_error_string(error)));
        QCOMPARE(filesBelow(folder.directory).isEmpty(), !isMade);
    }
}

void tst_DiskFailures::aPackThatIsCutWhileItIsReadIsNoticed()
{
    const Folder folder;
    filesOfWall(folder.directory, 2);
    const QString pack = folder.directory + QStringLiteral("/devices/A/1.planes");
    DiskSteps::watch(folder.directory.toLocal8Bit());
    DiskSteps::beforeAccess([&](const std::string &path, DiskSteps::Access access) {
        if (access == DiskSteps::Access::Reading && path == pack.toStdString())
            QVERIFY(QFile::resize(pack, 1000));
    });
    QString message;
    QVERIFY(!wall().open(folder.directory, &message));
    DiskSteps::watch(QByteArray());
    QVERIFY2(message.startsWith(
                 folder.directory + stateFile
                 + QStringLiteral(": cabinets.1.planes.chroma.user.pack: %1 cannot be read: it ends too early").arg(pack)),
             qPrintable(message));
}

void tst_DiskFailures::readersGiveUpWhileEveryReadIsOutdated()
{
    const Folder folder;
    const Files files = filesOfWall(folder.directory, 2);
    const QString path = folder.directory + stateFile;
    int opened = 0;
    DiskSteps::watch(folder.directory.toLocal8Bit());
    DiskSteps::beforeAccess([&](const std::string &name, DiskSteps::Access access) {
        if (access == DiskSteps::Access::Opening && name == path.toStdString())
            write(path, files.value(stateFile) + QByteArray::number(++opened));
    });
    QString message;
    QVERIFY(!wall().loadReadOnly(folder.directory, &message));
    DiskSteps::watch(QByteArray());
    QCOMPARE(message, folder.directory + QStringLiteral("/devices/A: is saved faster than it can be read; try again"));
    QCOMPARE(opened, 300); // before, meanwhile and afterwards, a hundred times
}

void tst_DiskFailures::readersNoticeAStateThatVanishes()
{
    const Folder folder;
    filesOfWall(folder.directory, 2);
    const QString path = folder.directory + stateFile;
    write(path, "{}");
    int opened = 0;
    DiskSteps::watch(folder.directory.toLocal8Bit());
    DiskSteps::beforeAccess([&](const std::string &name, DiskSteps::Access access) {
        if (access == DiskSteps::Access::Opening && name == path.toStdString() && ++opened == 3)
            QVERIFY(QFile::remove(path));
    });
    QString message;
    QVERIFY(!wall().loadReadOnly(folder.directory, &message));
    DiskSteps::watch(QByteArray());
    QCOMPARE(opened, 3);
    QCOMPARE(message, path + QStringLiteral(": format: expected \"led-wall-state\", got nothing"));
}

void tst_DiskFailures::anUploadEndsAnUncertainState()
{
    const Folder folder;
    const Files files = filesOfWall(folder.directory, 2);
    const QVariantMap size{{QStringLiteral("width"), 8}, {QStringLiteral("height"), 8}};
    const QVariantMap point{{QStringLiteral("x"), 0}, {QStringLiteral("y"), 0}};
    const QVariantMap area{{QStringLiteral("size"), size}, {QStringLiteral("point"), point}};
    const QString values = QString::fromLatin1(QByteArray(8 * 8 * 18, 'u').toBase64());
    const QList<QVariant> blocks{QVariantMap{{QStringLiteral("area"), area}, {QStringLiteral("coefficients"), values}}};
    const auto upload = [&] {
        QMap<QString, QVariant> reply;
        return Correctionop::getInstance()->uploadCoefficient(key(), one, blocks, reply);
    };
    int uncertain = 0;
    bool isReached = true;
    for (int step = 1; isReached; ++step) {
        restore(folder.directory, files);
        reopen(folder.directory);
        DiskSteps::watch(folder.directory.toLocal8Bit());
        DiskSteps::failAt(step, EIO, true);
        const bool isSaved = saveNext(2);
        isReached = DiskSteps::count() >= step;
        const bool isUploaded = isSaved || upload();
        DiskSteps::watch(QByteArray());
        if (!isUploaded) {
            ++uncertain;
            const QString note = wall().journal().calls().last().note;
            QVERIFY2(note.endsWith(qt_error_string(EIO)), qPrintable(note));
        }
        QVERIFY(upload());
        wall().reset(); // as if the process was killed
        reopen(folder.directory);
        QCOMPARE(found(), isSaved ? 3 : 2);
    }
    QVERIFY(uncertain > 0);
}

void tst_DiskFailures::everyFlippedBitIsNoticed()
{
    const Folder folder;
    WallDescription description;
    description.title = QStringLiteral("T");
    description.devices = {gridDevice(key(), QPoint(), 1, 1, QSize(2, 2))};
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    QVERIFY(wall().state().setChroma(key(), one, QVector<quint16>(2 * 2 * 9, 0x1234), Store::User));
    QVERIFY(wall().state().setFlashCheckCode(key(), one, QStringLiteral("0"), 17));
    QVERIFY(wall().renameScreen(key(), QStringLiteral("Stage")));
    const auto values = [] {
        return QVariantList{wallToJson(wall().wall()), wall().state().plane(key(), one, Kind::Chroma, Store::User),
                            wall().state().flashCheckCode(key(), one, QStringLiteral("0"))};
    };
    reopen(folder.directory);
    const QVariantList expected = values();
    wall().reset();

    DiskSteps::watch(folder.directory.toLocal8Bit()); // no waiting for the disk
    const Files files = filesBelow(folder.directory);
    QCOMPARE(files.size(), 4);
    int refused = 0;
    int flips = 0;
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        QFile file(folder.directory + it.key());
        QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        for (int bit = 0; bit < 8 * it->size(); ++bit) {
            file.seek(bit / 8);
            QVERIFY(file.putChar(static_cast<char>((*it)[bit / 8] ^ (1 << bit % 8))));
            ++flips;
            const QString place = QStringLiteral("bit %1 of %2").arg(bit).arg(it.key());
            if (wall().open(folder.directory, &error)) {
                QVERIFY2(values() == expected, qPrintable(place));
                wall().reset();
            } else {
                ++refused;
                QVERIFY2(error.startsWith(folder.directory), qPrintable(place + QStringLiteral(": ") + error));
            }
            file.seek(bit / 8);
            QVERIFY(file.putChar((*it)[bit / 8]));
        }
    }
    reopen(folder.directory);
    QVERIFY(values() == expected);
    QCOMPARE(refused, flips); // all bytes of this wall are in use
}

void tst_DiskFailures::textFilesKeepTheReason_data()
{
    QTest::addColumn<bool>("isJournal");
    QTest::addColumn<int>("error");
    QTest::newRow("a journal, disk full") << true << ENOSPC;
    QTest::newRow("a journal, disk broken") << true << EIO;
    QTest::newRow("a journal, nothing to synchronise") << true << EINVAL;
    QTest::newRow("a wall file, disk full") << false << ENOSPC;
    QTest::newRow("a wall file, disk broken") << false << EIO;
}

void tst_DiskFailures::textFilesKeepTheReason()
{
    QFETCH(bool, isJournal);
    QFETCH(int, error);
    const Folder folder;
    const QString path = folder.parent.filePath(QStringLiteral("file"));
    wall().setWall(Generations::wall());
    int tolerated = 0;
    for (const int requests : {1, 500}) { // less than a buffer, and more
        for (int i = 0; i < requests; ++i)
            QVERIFY(saveFlags(i));
        const QByteArray expected = isJournal ? wall().journal().jsonLines() : wallToJson(wall().wall());
        for (int step = 1;; ++step) {
            write(path, "from before");
            QString message;
            DiskSteps::watch(folder.parent.path().toLocal8Bit());
            DiskSteps::failAt(step, error, false);
            const bool isSaved =
                isJournal ? wall().journal().save(path, &message) : writeWall(path, wall().wall(), &message);
            const bool isReached = DiskSteps::count() >= step;
            m_calls += isReached ? 1 : 0;
            tolerated += isSaved && DiskSteps::hasFailedToSync() ? 1 : 0;
            DiskSteps::watch(QByteArray());
            const QByteArray found = filesBelow(folder.parent.path()).value(QStringLiteral("/file"));
            QVERIFY(found == (isSaved ? expected : QByteArray("from before")));
            if (!isReached)
                break;
            QVERIFY2(isSaved || message.endsWith(qt_error_string(error)), qPrintable(message));
        }

        for (int step = 1;; ++step) {
            QString message;
            WallDescription description;
            DiskSteps::watch(folder.parent.path().toLocal8Bit(), DiskSteps::Everything);
            DiskSteps::failAt(step, error, false);
            const QList<Call> calls = isJournal ? CallJournal::read(path, &message) : QList<Call>();
            if (!isJournal)
                readWall(path, description, &message);
            const bool isReached = DiskSteps::count() >= step;
            m_calls += isReached ? 1 : 0;
            DiskSteps::watch(QByteArray());
            if (!isReached)
                break;
            const bool isWhole =
                isJournal ? calls.size() == wall().journal().calls().size() : wallToJson(description) == expected;
            QVERIFY2(message.isEmpty() ? isWhole : message.endsWith(qt_error_string(error)),
                     qPrintable(QStringLiteral("step %1: %2").arg(step).arg(message)));
        }
    }
    QCOMPARE(tolerated, error == EINVAL ? 4 : 2); // QSaveFile synchronises once more, and goes on when that fails
}

void tst_DiskFailures::aLongHeaderOfAJournalKeepsTheReason()
{
    const Folder folder;
    const QString path = folder.parent.filePath(QStringLiteral("journal"));
    const QString source(100000, QLatin1Char('s')); // more than a buffer
    int refused = 0;
    bool isReached = true;
    for (int step = 1; isReached; ++step) {
        QString message;
        DiskSteps::watch(folder.parent.path().toLocal8Bit());
        DiskSteps::failAt(step, ENOSPC, false);
        const bool isSaved = Adapter::saveJournal(path, source, {}, &message);
        isReached = DiskSteps::count() >= step;
        DiskSteps::watch(QByteArray());
        QCOMPARE(QFile::exists(path), isSaved);
        QVERIFY2(isSaved || message == path + QStringLiteral(": ") + qt_error_string(ENOSPC), qPrintable(message));
        refused += isSaved ? 0 : 1;
        QVERIFY(!isSaved || !isReached || QFile::remove(path));
    }
    QVERIFY2(refused >= 2, qPrintable(QString::number(refused))); // to write, to synchronise
    QString message;
    QVERIFY(Adapter::readJournal(path, &message).isEmpty());
    QCOMPARE(message, QString());
}

QTEST_GUILESS_MAIN(tst_DiskFailures)
#include "tst_diskfailures.moc"
