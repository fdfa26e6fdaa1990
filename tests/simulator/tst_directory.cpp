// Walls on disk: what open() gives back, what it refuses, and what happens when the disk fails.

#include "DiskSteps.h"
#include "Generations.h"
#include "support/Files.h"

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCryptographicHash>
#include <QtTest/QtTest>

#include <array>
#include <cerrno>
#include <functional>
#include <random>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace Simulator;
using Generations::found;
using Generations::key;
using Generations::saveFlags;
using Generations::savePlanes;
using TestSupport::filesBelow;

using Damage = std::function<void(const QString &directory)>;
Q_DECLARE_METATYPE(Damage)

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

const QString one = QStringLiteral("1");
const QString state = QStringLiteral("/devices/A/state.json");

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
    QTemporaryDir parent;
    QString directory = parent.filePath(QStringLiteral("wall"));
};

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void overwrite(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
}

/// Changes a text that is there once in a file.
Damage replacing(const QString &file, const QByteArray &before, const QByteArray &after)
{
    return [=](const QString &directory) {
        QByteArray bytes = contents(directory + file);
        QCOMPARE(bytes.count(before), 1);
        overwrite(directory + file, bytes.replace(before, after));
    };
}

/// Changes a text of `state.json` and marks the file as edited on purpose.
Damage editing(const QByteArray &before, const QByteArray &after)
{
    return [=](const QString &directory) {
        replacing(state, before, after)(directory);
        QByteArray bytes = contents(directory + state);
        const int checksum = bytes.lastIndexOf("\"sha1\": ");
        QVERIFY(checksum > 0);
        overwrite(directory + state, bytes.left(checksum) + "\"sha1\": \"edited\"}\n");
    };
}

/// Gives `state.json` the form of version 2: the SHA-1 of every plane in place of its own checksum.
void makeVersion2(const QString &directory)
{
    QString text = QString::fromUtf8(contents(directory + state));
    const QRegularExpression place(
        QStringLiteral("\"length\":(\\d+),\"offset\":(\\d+),\"pack\":\"([^\"]+)\",\"xxh128\":\"[0-9a-f]{32}\""));
    int places = 0;
    for (auto match = place.match(text); match.hasMatch(); match = place.match(text)) {
        const QByteArray bytes = contents(directory + QStringLiteral("/devices/A/") + match.captured(3))
                                     .mid(match.captured(2).toInt(), match.captured(1).toInt());
        const QByteArray sum = QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex();
        const QString found = match.captured();
        text.replace(found, found.left(found.lastIndexOf(QLatin1String("\"xxh128\"")))
                                + QStringLiteral("\"sha1\":\"%1\"").arg(QString::fromLatin1(sum)));
        ++places;
    }
    QVERIFY(places > 0);
    text.replace(QStringLiteral("\"version\": 3"), QStringLiteral("\"version\": 2"));
    text = text.left(text.lastIndexOf(QLatin1String(",\n\"sha1\"")));
    const QByteArray bytes = text.toUtf8();
    overwrite(directory + state,
              bytes + ",\n\"sha1\": \"" + QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex() + "\"}\n");
}

QStringList packs(const QString &directory, const QString &device = QStringLiteral("A"))
{
    return QDir(directory + QStringLiteral("/devices/") + device).entryList({QStringLiteral("*.planes")}, QDir::Files);
}

/// Makes a wall with one saved generation.
void makeWall(const QString &directory)
{
    QString error;
    QVERIFY2(wall().create(directory, Generations::wall(), &error), qPrintable(error));
    QVERIFY(savePlanes(1));
    QVERIFY(saveFlags(1));
    QCOMPARE(found(), 2);
}

void reopen(const QString &directory)
{
    QString error;
    QVERIFY2(wall().open(directory, &error), qPrintable(error));
}

/// A process that has the wall open, or tried to.
struct Other {
    explicit Other(const QString &directory)
    {
        process.start(QStringLiteral(WALLWRITER), {directory, QStringLiteral("hold")});
        while (!process.canReadLine() && process.waitForReadyRead(-1)) {
        }
        said = QString::fromLocal8Bit(process.readLine()).trimmed();
    }
    void end(bool killed)
    {
        if (killed)
            process.kill();
        else
            process.closeWriteChannel();
        if (process.state() != QProcess::NotRunning)
            process.waitForFinished(-1);
    }
    ~Other() { end(true); }
    QProcess process;
    QString said;
};

const QSize largeSize(64, 64);
constexpr int largePlane = 64 * 64 * 18; ///< Bytes; large enough for the file without a name.

/// Makes a wall of three cabinets with large planes.
void makeLargeWall(const QString &directory)
{
    WallDescription description;
    description.devices = {gridDevice(key(), QPoint(), 3, 1, largeSize)};
    QString error;
    QVERIFY2(wall().create(directory, description, &error), qPrintable(error));
}

/// A block of pixels of which every byte is `value`, with its bytes under `bytesKey`.
Map blockOf(const QRect &rect, char value, const QString &bytesKey)
{
    const Map area{
        {QStringLiteral("point"), Map{{QStringLiteral("x"), rect.x()}, {QStringLiteral("y"), rect.y()}}},
        {QStringLiteral("size"), Map{{QStringLiteral("width"), rect.width()}, {QStringLiteral("height"), rect.height()}}}};
    const QByteArray bytes(rect.width() * rect.height() * 18, value);
    return {{QStringLiteral("area"), area}, {bytesKey, QString::fromLatin1(bytes.toBase64())}};
}

bool upload(const QString &id, const QRect &rect, char value)
{
    Map reply;
    return Correctionop::getInstance()->uploadCoefficient(key(), id, {blockOf(rect, value, QStringLiteral("coefficients"))},
                                                          reply);
}

/// The sizes of the open files of this process that are in a directory and have no name there.
QList<qint64> namelessFiles(const QString &directory)
{
    QList<qint64> sizes;
    const QFileInfoList files = QDir(QStringLiteral("/proc/self/fd")).entryInfoList(QDir::Files | QDir::System);
    for (const QFileInfo &file : files) {
        const QString target = QFile::symLinkTarget(file.filePath());
        if (target.startsWith(directory + QLatin1Char('/')) && target.endsWith(QLatin1String(" (deleted)")))
            sizes += QFileInfo(file.filePath()).size();
    }
    return sizes;
}

bool hasNamelessFiles(const QString &directory)
{
    const int file = ::open(QFile::encodeName(directory).constData(), O_TMPFILE | O_RDWR, 0600);
    if (file >= 0)
        ::close(file);
    return file >= 0;
}

} // namespace

class tst_Directory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatWasSavedIsThereAgain();
    void anOpenDirectoryHasAName();
    void nothingIsSavedAfterClosing();
    void anotherWallClosesTheDirectory_data();
    void anotherWallClosesTheDirectory();
    void addedDevicesLiveInMemoryOnly();
    void uploadsArePendingNoMoreWhenAWallIsOpened();
    void openingAgainReadsAgain();
    void everyKeyHasAFolder();

    void aSaveWritesWhatChanged();
    void oneRequestMakesOnePack();
    void defaultPixelsTakeNoPlace();
    void aPackMostlyUnusedIsRewritten();
    void foldersDoNotGrowForEver();

    void aWallIsNotMadeWhereOneIs();
    void makingAWallFailsWhole();
    void aFailingStepChangesNothing_data();
    void aFailingStepChangesNothing();
    void aFolderThatIsGoneIsNoticed();
    void strayPacksDoNotEndAWall();
    void otherFilesStayWhereTheyAre();
    void afterTheLargestPackASmallOneMayBeInUse();
    void aPackThatIsThereIsNeverWrittenTo();
    void aDirectoryOfVersion2GoesOnInVersion3();
    void planesThatChangeOnTheDiskAreRefused();
    void planesOutliveTheirPack();
    void manyPacksLeaveFilesToOthers();
    void savesWorkBesideAnUnreadablePlane();
    void anUploadThatCannotBeReadAgainIsNotSaved();
    void aModulesFlagIsSavedOrRefused();
    void aLoadReadsAPlaneOnce();
    void uploadsGoToAFileWithoutAName();
    void uploadsLeaveSpaceForTheSave();
    void aRequestThatNamesACabinetTwiceReadsNoFile();
    void aFailedOpeningTakesNothingFromTheOpenWall();
    void whatADeviceForgotIsForgottenWithTheNextSave();
    void textsThatCannotBeWrittenAreRefused();
    void describedTextsThatCannotBeWrittenStayThere();

    void aWallNeedsNoDevices();
    void aWallThatCannotBeReadAgainIsNotMade();
    void manyProblemsAreCutShort();
    void damageIsFound_data();
    void damageIsFound();
    void editsByHandAreAccepted();
    void whatAKilledProcessLeftIsRemoved();

    void twoProcessesCannotShare();
    void readersNeedNoLock();
    void readersSeeWholeStatesBesideAWriter();
    void damageIsFoundByReaders();
    void theLockOfADeadProcessIsTakenOver();
    void aLockFileCutShortLocksNobodyOut();
    void aLockOfAnotherHostStays();
    void aDirectoryInPlaceOfTheOpenOneHasItsOwnLock();

    void threadsSaveTogether();
};

void tst_Directory::whatWasSavedIsThereAgain()
{
    const Folder folder;
    WallDescription description = Generations::wall();
    description.title = QStringLiteral("A title");
    description.replyBlockHeight = 3;
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    QVERIFY(savePlanes(1));
    QVERIFY(saveFlags(1));
    QVERIFY(wall().state().setChroma(key(), one, QVector<quint16>(8 * 8 * 9, 77))); // only uploaded
    wall().reset();

    QSignalSpy changed(Quorvex::Communicator::HttpDevice::HttpProxy::getInstance(),
                       &Quorvex::Communicator::HttpDevice::HttpProxy::deviceChanged);
    reopen(folder.directory);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(found(), 2);
    QCOMPARE(wall().state().shown(key(), one), Store::User);
    QCOMPARE(wall().wall().title, description.title);
    QCOMPARE(wall().wall().replyBlockHeight, 3);
    QCOMPARE(wall().pluggedDevices().size(), 1);
    QCOMPARE(wall().pluggedDevices().first().rect(), description.devices.first().rect());
}

void tst_Directory::anOpenDirectoryHasAName()
{
    const Folder folder;
    QCOMPARE(wall().directory(), QString());
    makeWall(folder.directory + QStringLiteral("/deeper/still/"));
    QCOMPARE(wall().directory(), folder.directory + QStringLiteral("/deeper/still"));
    wall().close();
    QCOMPARE(wall().directory(), QString());
    QVERIFY(wall().load(folder.directory + QStringLiteral("/deeper/still")));
    QCOMPARE(wall().directory(), folder.directory + QStringLiteral("/deeper/still"));
}

void tst_Directory::nothingIsSavedAfterClosing()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().close();
    const auto before = filesBelow(folder.directory);
    QVERIFY(!before.contains(QStringLiteral("/lock")));
    QVERIFY(savePlanes(2));
    QCOMPARE(found(), 3);
    QCOMPARE(filesBelow(folder.directory), before);
    reopen(folder.directory);
    QCOMPARE(found(), 2);
}

void tst_Directory::anotherWallClosesTheDirectory_data()
{
    QTest::addColumn<int>("how");
    QTest::newRow("reset") << 0;
    QTest::newRow("other devices") << 1;
    QTest::newRow("another description") << 2;
}

void tst_Directory::anotherWallClosesTheDirectory()
{
    QFETCH(int, how);
    const Folder folder;
    makeWall(folder.directory);
    if (how == 0)
        wall().reset();
    else if (how == 1)
        wall().setDevices(Generations::wall().devices);
    else
        wall().setWall(Generations::wall());
    QCOMPARE(wall().directory(), QString());
    if (how != 0)
        QVERIFY(savePlanes(9));
    reopen(folder.directory);
    QCOMPARE(found(), 2);
}

void tst_Directory::addedDevicesLiveInMemoryOnly()
{
    const Folder folder;
    makeWall(folder.directory);
    const auto before = filesBelow(folder.directory);
    wall().addDevice(gridDevice(QStringLiteral("B"), QPoint(100, 0), 1, 1, QSize(8, 8)));
    QVERIFY(wall().state().setChroma(QStringLiteral("B"), one, QVector<quint16>(8 * 8 * 9, 5), Store::User));
    Map reply;
    QVERIFY(Correctionop::getInstance()->uploadCoefficient(
        QStringLiteral("B"), one, {blockOf(QRect(0, 0, 8, 8), 'u', QStringLiteral("coefficients"))}, reply));
    wall().addDevice(Generations::wall().devices.first()); // in place of the one that saved
    QVERIFY(savePlanes(4));
    QVERIFY(wall().removeDevice(key()));
    QCOMPARE(filesBelow(folder.directory), before);
    reopen(folder.directory);
    QCOMPARE(wall().pluggedDevices().size(), 1);
    QCOMPARE(found(), 2);
}

void tst_Directory::uploadsArePendingNoMoreWhenAWallIsOpened()
{
    const Folder folder;
    makeWall(folder.directory);
    Fault fault;
    fault.type = Fault::NeverSettle;
    QVERIFY(wall().faults().add(key(), fault));
    bool rejected = false;
    auto promise = Correctionop::getInstance()->uploadCoefficientAsync(key(), {}).fail([&] {
        rejected = true;
        return false;
    });
    QCOMPARE(wall().uploads().pending(), 1);
    reopen(folder.directory);
    QCOMPARE(wall().uploads().pending(), 0);
    promise.wait();
    QVERIFY(rejected);
}

void tst_Directory::openingAgainReadsAgain()
{
    const Folder folder;
    makeWall(folder.directory);
    QVERIFY(wall().state().setChroma(key(), one, QVector<quint16>(8 * 8 * 9, 77)));
    QCOMPARE(found(), -1);
    reopen(folder.directory + QStringLiteral("/../wall"));
    QCOMPARE(found(), 2);
    // A second time it fails, and all is as it was: still locked, still saving.
    const QByteArray description = contents(folder.directory + QStringLiteral("/wall.json"));
    QVERIFY(QFile::remove(folder.directory + QStringLiteral("/wall.json")));
    QVERIFY(!wall().open(folder.directory));
    overwrite(folder.directory + QStringLiteral("/wall.json"), description);
    QVERIFY(Other(folder.directory).said.contains(QStringLiteral("in use")));
    QVERIFY(savePlanes(2));
    reopen(folder.directory);
    QCOMPARE(found(), 3);
}

void tst_Directory::everyKeyHasAFolder()
{
    const Folder folder;
    const QStringList keys{QStringLiteral("."),
                           QStringLiteral(".."),
                           QStringLiteral("/"),
                           QStringLiteral("../../outside"),
                           QStringLiteral("a/b"),
                           QStringLiteral("%"),
                           QStringLiteral("%2E"),
                           QStringLiteral("192.168.0.1:8001"),
                           QStringLiteral("A b\n"),
                           QStringLiteral("wand \u00e9\u4e2d\U0001f600"),
                           QString(500, QLatin1Char('x')),
                           QString(500, QLatin1Char('x')) + QLatin1Char('y'),
                           QString(90, QChar(0x4e2d))};
    WallDescription description;
    for (int i = 0; i < keys.size(); ++i)
        description.devices += gridDevice(keys[i], QPoint(8 * i, 0), 1, 1, QSize(2, 2));
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    for (int i = 0; i < keys.size(); ++i)
        QVERIFY(
            wall().state().setChroma(keys[i], one, QVector<quint16>(2 * 2 * 9, static_cast<quint16>(i + 1)), Store::User));
    wall().reset();
    reopen(folder.directory);
    for (int i = 0; i < keys.size(); ++i)
        QCOMPARE(wall().state().chroma(keys[i], one), QVector<quint16>(2 * 2 * 9, static_cast<quint16>(i + 1)));
    QCOMPARE(QDir(folder.parent.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
             QStringList(QStringLiteral("wall")));
    // Long ones end with the SHA-1 of the key.
    const QString half(100, QLatin1Char('x'));
    const QStringList names{QStringLiteral("%25"),
                            QStringLiteral("%252E"),
                            QStringLiteral("%2E"),
                            QStringLiteral("%2E%2E"),
                            QStringLiteral("%2E%2E%2F%2E%2E%2Foutside"),
                            QStringLiteral("%2F"),
                            QStringLiteral("%E4%B8%AD").repeated(11)
                                + QStringLiteral("%%-84f9281211b9693c4d9c33b8bfedfb6d9f6c407e"),
                            QStringLiteral("192%2E168%2E0%2E1%3A8001"),
                            QStringLiteral("A%20b%0A"),
                            QStringLiteral("a%2Fb"),
                            QStringLiteral("wand%20%C3%A9%E4%B8%AD%F0%9F%98%80"),
                            half + QStringLiteral("%-72f56654d620eed30c708863fb82506a78aac73f"),
                            half + QStringLiteral("%-dc31b173a0a99f4123f43c4c18e291f1101d5b0c")};
    const QDir devices(folder.directory + QStringLiteral("/devices"));
    const auto present = devices.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::NoSort);
    QCOMPARE(QSet<QString>(present.begin(), present.end()), QSet<QString>(names.begin(), names.end()));
}

void tst_Directory::aSaveWritesWhatChanged()
{
    const Folder folder;
    makeWall(folder.directory);
    const QStringList before = packs(folder.directory);
    QCOMPARE(before.size(), 1);
    const QByteArray stateBefore = contents(folder.directory + state);

    DiskSteps::watch((folder.directory + QStringLiteral("/devices")).toLocal8Bit());
    QCOMPARE(wall().state().chroma(key(), one).size(), 8 * 8 * 9);
    List reply;
    QVERIFY(Correctionop::getInstance()->loadCoefficient(key(), one, reply));
    QVERIFY(wall().state().setChroma(key(), one, QVector<quint16>(8 * 8 * 9, 77)));
    QCOMPARE(DiskSteps::count(), 0); // reading and uploading

    QVERIFY(saveFlags(1)); // as they are
    QCOMPARE(DiskSteps::count(), 0);

    QVERIFY(saveFlags(2));
    QVERIFY(DiskSteps::count() > 0);
    QCOMPARE(packs(folder.directory), before);
    QVERIFY(contents(folder.directory + state) != stateBefore);

    // A plane of one cabinet out of three: the others stay where they are.
    QVERIFY(wall().state().setChroma(key(), one, QVector<quint16>(8 * 8 * 9, 78), Store::User));
    QCOMPARE(packs(folder.directory).size(), 2);
    QCOMPARE(QFileInfo(folder.directory + QStringLiteral("/devices/A/2.planes")).size(), qint64(8 * 8 * 18));
}

void tst_Directory::oneRequestMakesOnePack()
{
    const Folder folder;
    makeWall(folder.directory);
    for (int generation = 2; generation < 6; ++generation) {
        QVERIFY(savePlanes(generation));
        QCOMPARE(packs(folder.directory), QStringList(QString::number(generation) + QStringLiteral(".planes")));
        QCOMPARE(QFileInfo(folder.directory + QStringLiteral("/devices/A/") + packs(folder.directory).first()).size(),
                 qint64(3 * 8 * 8 * 18));
    }
}

void tst_Directory::defaultPixelsTakeNoPlace()
{
    const Folder folder;
    WallDescription description = Generations::wall();
    description.defaultPixels[0] = QByteArray::fromHex("0080");
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    const QByteArray plane = wall().state().plane(key(), one, Kind::Chroma, Store::Working);
    QCOMPARE(plane.left(3), QByteArray::fromHex("008000"));
    QVERIFY(wall().state().setPlane(key(), one, Kind::Chroma, plane, Store::User));
    QCOMPARE(packs(folder.directory), QStringList());

    QByteArray other = plane;
    other[other.size() - 1] = 1;
    QVERIFY(wall().state().setPlane(key(), one, Kind::Chroma, other, Store::User));
    QCOMPARE(packs(folder.directory).size(), 1);
    reopen(folder.directory);
    QCOMPARE(wall().state().plane(key(), one, Kind::Chroma), other);

    Map reply;
    QVERIFY(Correctionop::getInstance()->clearCabinetsUserCoefficient(key(), {{QStringLiteral("cids"), List{one}}}, reply));
    QCOMPARE(packs(folder.directory), QStringList());
    QVERIFY(contents(folder.directory + state).contains("\"cabinets\": {\n}"));
    reopen(folder.directory);
    QCOMPARE(wall().state().plane(key(), one, Kind::Chroma), plane);
}

void tst_Directory::aPackMostlyUnusedIsRewritten()
{
    for (const bool isReopened : {false, true}) {
        const Folder folder;
        QVERIFY(wall().create(folder.directory, Generations::wall()));
        if (isReopened)
            reopen(folder.directory);
        QVERIFY(savePlanes(1)); // of three cabinets
        if (isReopened)
            reopen(folder.directory);
        const QVector<quint16> values(8 * 8 * 9, 5);
        QVERIFY(wall().state().setChroma(key(), one, values, Store::User));
        QCOMPARE(packs(folder.directory), (QStringList{QStringLiteral("1.planes"), QStringLiteral("2.planes")}));
        QVERIFY(wall().state().setChroma(key(), QStringLiteral("2"), values, Store::User));
        QCOMPARE(packs(folder.directory), (QStringList{QStringLiteral("2.planes"), QStringLiteral("3.planes")}));
        QCOMPARE(QFileInfo(folder.directory + QStringLiteral("/devices/A/3.planes")).size(), qint64(2 * 8 * 8 * 18));
        reopen(folder.directory);
        QCOMPARE(wall().state().chroma(key(), QStringLiteral("3")), QVector<quint16>(8 * 8 * 9, 1));
        QVERIFY(wall().state().setChroma(key(), QStringLiteral("3"), values, Store::User));
        QVERIFY(packs(folder.directory).contains(QStringLiteral("4.planes")));
    }
}

void tst_Directory::foldersDoNotGrowForEver()
{
    const Folder folder;
    makeWall(folder.directory);
    std::mt19937 random(1);
    const std::array<Store, 4> stores{Store::User, Store::Factory, Store::Module, Store::Flash};
    QMap<QString, QVector<quint16>> expected;
    for (int i = 0; i < 150; ++i) {
        const QString id = QString::number(1 + random() % 3);
        const Store store = stores[random() % stores.size()];
        const QVector<quint16> values(8 * 8 * 9, static_cast<quint16>(i + 1));
        QVERIFY(wall().state().setChroma(key(), id, values, store));
        expected[id + QString::number(int(store))] = values;
        qint64 size = 0;
        const QStringList names = packs(folder.directory);
        for (const QString &name : names)
            size += QFileInfo(folder.directory + QStringLiteral("/devices/A/") + name).size();
        QVERIFY(size <= 2 * 12 * 8 * 8 * 18);
    }
    reopen(folder.directory);
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        QCOMPARE(wall().state().chroma(key(), it.key().left(1), Store(it.key().mid(1).toInt())), it.value());
}

void tst_Directory::aWallIsNotMadeWhereOneIs()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    const auto before = filesBelow(folder.directory);
    QString error;
    QVERIFY(!wall().create(folder.directory, WallDescription(), &error));
    QCOMPARE(error,
             folder.directory + QStringLiteral("/wall.json: is there already; open that wall, or choose another directory"));
    QCOMPARE(filesBelow(folder.directory), before);

    QVERIFY(QFile::remove(folder.directory + QStringLiteral("/wall.json")));
    QVERIFY(!wall().create(folder.directory, Generations::wall(), &error));
    QCOMPARE(error,
             folder.directory
                 + QStringLiteral("/devices: is there, but no wall.json: the wall's description was lost, or its making "
                                  "was interrupted; restore it, or choose another directory"));
    QCOMPARE(filesBelow(folder.directory).size(), before.size() - 1);

    const QString file = folder.parent.filePath(QStringLiteral("file"));
    overwrite(file, "text");
    QVERIFY(!wall().create(file, Generations::wall(), &error));
    QVERIFY2(error.startsWith(file), qPrintable(error));
    QCOMPARE(contents(file), QByteArray("text"));
    QVERIFY(wall().pluggedDevices().isEmpty());
}

void tst_Directory::makingAWallFailsWhole()
{
    const Folder folder;
    QString error;
    WallDescription twice = Generations::wall();
    twice.devices += twice.devices.first();
    QVERIFY(!wall().create(folder.directory, twice, &error));
    QVERIFY2(error.contains(QStringLiteral("two devices have the key \"A\"")), qPrintable(error));
    QCOMPARE(filesBelow(folder.directory), TestSupport::Files());

    // Count the steps of a success, then let each of them fail.
    DiskSteps::watch(folder.directory.toLocal8Bit());
    QVERIFY2(wall().create(folder.directory, Generations::wall(), &error), qPrintable(error));
    const int steps = DiskSteps::count();
    QVERIFY(steps > 8);
    for (int step = 1; step <= steps; ++step) {
        wall().reset();
        DiskSteps::watch(QByteArray());
        QVERIFY(QDir(folder.directory).removeRecursively());
        DiskSteps::watch(folder.directory.toLocal8Bit());
        DiskSteps::failAt(step, ENOSPC, false);
        error.clear();
        if (!wall().create(folder.directory, Generations::wall(), &error)) {
            QVERIFY(!error.isEmpty());
            QVERIFY(wall().pluggedDevices().isEmpty());
            DiskSteps::watch(QByteArray());
            QVERIFY2(wall().create(folder.directory, Generations::wall(), &error), qPrintable(error));
        }
        DiskSteps::watch(QByteArray());
        reopen(folder.directory);
        QCOMPARE(wall().pluggedDevices().size(), 1);
    }
}

void tst_Directory::aFailingStepChangesNothing_data()
{
    QTest::addColumn<int>("error");
    QTest::addColumn<bool>("lasting");
    QTest::newRow("the disk is full") << ENOSPC << true;
    QTest::newRow("the disk is full once") << ENOSPC << false;
    QTest::newRow("the file system is read-only") << EROFS << true;
    QTest::newRow("the disk is broken") << EIO << true;
    QTest::newRow("the disk is broken once") << EIO << false;
}

void tst_Directory::aFailingStepChangesNothing()
{
    QFETCH(int, error);
    QFETCH(bool, lasting);
    const Folder folder;
    makeWall(folder.directory);
    const QByteArray devices = (folder.directory + QStringLiteral("/devices")).toLocal8Bit();

    int refused = 0;
    int uncertain = 0;
    int answered = 2;
    bool isHarmed = true;
    for (int step = 1; isHarmed; ++step) {
        isHarmed = false;
        for (const bool planes : {true, false}) { // a request that writes a pack, and one that does not
            const int generation = answered / 2 + 1;
            wall().journal().clear();
            DiskSteps::watch(devices);
            DiskSteps::failAt(step, error, lasting);
            const bool result = planes ? savePlanes(generation) : saveFlags(generation);
            const bool hadFailure = DiskSteps::count() >= step;
            DiskSteps::watch(QByteArray());
            isHarmed = isHarmed || hadFailure;
            if (!result) {
                ++refused;
                QVERIFY(hadFailure);
                const QString note = wall().journal().calls().last().note;
                QVERIFY2(note.startsWith(QStringLiteral("not saved: ") + folder.directory), qPrintable(note));
                QVERIFY2(note.contains(QStringLiteral(": cannot be ")), qPrintable(note));
                QVERIFY2(note.endsWith(qt_error_string(error)), qPrintable(note));
                // Memory is as before; the uploaded planes are still there.
                QCOMPARE(wall().state().chroma(key(), one, Store::User).first(), quint16((answered + 1) / 2));
                QCOMPARE(wall().state().flag(key(), one).toInt(), answered / 2);
                if (planes)
                    QCOMPARE(wall().state().chroma(key(), one).first(), quint16(generation));
                reopen(folder.directory);
                // When the folder cannot be synchronised from then on, the new state may stay, whole.
                uncertain += found() == answered ? 0 : 1;
                QVERIFY(found() == answered || (lasting && found() == answered + 1));
                QVERIFY(planes ? savePlanes(generation) : saveFlags(generation)); // the next success
            }
            ++answered;
            reopen(folder.directory);
            QCOMPARE(found(), answered);
        }
    }
    QVERIFY2(refused >= 7, qPrintable(QString::number(refused)));
    QCOMPARE(uncertain, lasting ? 2 : 0); // one for each kind of request
}

void tst_Directory::aFolderThatIsGoneIsNoticed()
{
    const Folder folder;
    makeWall(folder.directory);
    const QString away = folder.parent.filePath(QStringLiteral("away"));
    QVERIFY(QDir().rename(folder.directory, away));
    QVERIFY(!savePlanes(2));
    QVERIFY2(wall().journal().calls().last().note.startsWith(QStringLiteral("not saved: ") + folder.directory),
             qPrintable(wall().journal().calls().last().note));
    QVERIFY(!saveFlags(2));
    QVERIFY(!QFileInfo::exists(folder.directory));
    QVERIFY(QDir().rename(away, folder.directory));
    QVERIFY(savePlanes(2));
    reopen(folder.directory);
    QCOMPARE(found(), 3);

    // What other planes need is gone: the new state would be damaged.
    const QString pack = folder.directory + QStringLiteral("/devices/A/") + packs(folder.directory).first();
    QVERIFY(QFile::rename(pack, away));
    QVERIFY(!saveFlags(2));
    QVERIFY2(wall().journal().calls().last().note.endsWith(pack + QStringLiteral(": is gone")),
             qPrintable(wall().journal().calls().last().note));
    QVERIFY(QFile::rename(away, pack));
    QVERIFY(saveFlags(2));
}

void tst_Directory::strayPacksDoNotEndAWall()
{
    const Folder folder;
    makeWall(folder.directory);
    const QString device = folder.directory + QStringLiteral("/devices/A/");
    const QString last = QStringLiteral("999999999.planes");
    overwrite(device + last, "somebody's own");
    QVERIFY(QDir().mkpath(device + QStringLiteral("2.planes/x"))); // cannot be removed
    QVERIFY(saveFlags(2));
    wall().reset();
    overwrite(device + last, "somebody's own");
    overwrite(device + QStringLiteral("1000000000.planes"), "not a pack's name");
    reopen(folder.directory);
    QVERIFY(savePlanes(2));
    QCOMPARE(packs(folder.directory), (QStringList{QStringLiteral("1000000000.planes"), QStringLiteral("3.planes")}));
    reopen(folder.directory);
    QCOMPARE(found(), 4);

    // After the largest number the smallest that is free.
    wall().reset();
    QVERIFY(QFile::rename(device + QStringLiteral("3.planes"), device + last));
    QByteArray bytes = contents(folder.directory + state).replace("\"3.planes\"", "\"999999999.planes\"");
    overwrite(folder.directory + state, bytes.left(bytes.lastIndexOf("\"sha1\": ")) + "\"sha1\": \"edited\"}\n");
    reopen(folder.directory);
    QCOMPARE(found(), 4);
    QVERIFY(savePlanes(3));
    QVERIFY(packs(folder.directory).contains(QStringLiteral("1.planes")));
    reopen(folder.directory);
    QVERIFY(saveFlags(3));
    QCOMPARE(found(), 6);
}

void tst_Directory::otherFilesStayWhereTheyAre()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    const QString device = folder.directory + QStringLiteral("/devices/A/");
    const QStringList names{QStringLiteral("2"),         QStringLiteral("123456789"), QStringLiteral("1234567890"),
                            QStringLiteral("2.planez"),  QStringLiteral("0.planes"),  QStringLiteral(".planes"),
                            QStringLiteral("2.planes~"), QStringLiteral("2a.planes"), QStringLiteral("1234567."),
                            QStringLiteral("notes.txt")};
    for (const QString &name : names)
        overwrite(device + name, "somebody's own");
    overwrite(folder.directory + QStringLiteral("/devices/notes.txt"), "somebody's own");
    reopen(folder.directory);
    QVERIFY(savePlanes(2));
    QVERIFY(saveFlags(2));
    reopen(folder.directory);
    QCOMPARE(found(), 4);
    for (const QString &name : names)
        QCOMPARE(contents(device + name), QByteArray("somebody's own"));
    QCOMPARE(contents(folder.directory + QStringLiteral("/devices/notes.txt")), QByteArray("somebody's own"));
    QCOMPARE(packs(folder.directory).filter(QStringLiteral("2.planes")), QStringList{QStringLiteral("2.planes")});
}

void tst_Directory::afterTheLargestPackASmallOneMayBeInUse()
{
    const Folder folder;
    makeWall(folder.directory);
    QVERIFY(wall().state().setConfigFile(key(), one, "settings"));
    wall().reset();
    const QString device = folder.directory + QStringLiteral("/devices/A/");
    QVERIFY(QFile::rename(device + QStringLiteral("2.planes"), device + QStringLiteral("999999999.planes")));
    editing("\"2.planes\"", "\"999999999.planes\"")(folder.directory);
    reopen(folder.directory);
    const QVector<quint16> values(8 * 8 * 9, 7);
    QVERIFY(wall().state().setChroma(key(), one, values, Store::Factory));
    QCOMPARE(packs(folder.directory),
             (QStringList{QStringLiteral("1.planes"), QStringLiteral("2.planes"), QStringLiteral("999999999.planes")}));
    reopen(folder.directory);
    QCOMPARE(found(), 2);
    QCOMPARE(wall().state().chroma(key(), one, Store::Factory), values);
    QCOMPARE(wall().state().configFile(key(), one), QByteArray("settings"));
}

void tst_Directory::aPackThatIsThereIsNeverWrittenTo()
{
    const Folder folder;
    makeWall(folder.directory);
    const QString other = folder.directory + QStringLiteral("/devices/A/2.planes");
    overwrite(other, "somebody's own");
    QVERIFY(!savePlanes(2));
    QCOMPARE(wall().journal().calls().last().note,
             QStringLiteral("not saved: %1: cannot be written: %2").arg(other, qt_error_string(EEXIST)));
    QCOMPARE(contents(other), QByteArray("somebody's own"));
    QVERIFY(savePlanes(2));
    reopen(folder.directory);
    QCOMPARE(found(), 3);
}

void tst_Directory::aDirectoryOfVersion2GoesOnInVersion3()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    makeVersion2(folder.directory);
    const QByteArray old = contents(folder.directory + state);
    QVERIFY(old.contains("\"version\": 2"));
    reopen(folder.directory);
    QCOMPARE(contents(folder.directory + state), old); // opening changes nothing
    QCOMPARE(found(), 2);
    QVERIFY(saveFlags(2));
    const QByteArray saved = contents(folder.directory + state);
    QVERIFY(saved.contains("\"version\": 3"));
    QCOMPARE(saved.count("\"xxh128\""), 3);
    QCOMPARE(saved.count("\"sha1\""), 1);
    QCOMPARE(packs(folder.directory), QStringList{QStringLiteral("1.planes")});
    reopen(folder.directory);
    QVERIFY(savePlanes(2));
    QCOMPARE(found(), 4);
}

void tst_Directory::planesThatChangeOnTheDiskAreRefused()
{
    const QVector<quint16> first(8 * 8 * 9, 1);
    for (const bool isCut : {false, true}) {
        const Folder folder;
        makeWall(folder.directory);
        reopen(folder.directory);
        const QString pack = folder.directory + QStringLiteral("/devices/A/1.planes");
        QFile file(pack);
        QVERIFY(file.open(QIODevice::ReadWrite));
        if (isCut)
            QVERIFY(file.resize(1200));
        else
            QVERIFY(file.seek(1200) && file.write("x") == 1);
        file.close();

        const auto refused = [&] {
            return wall().journal().calls().last().note.contains(
                pack + QStringLiteral(": the 1152 bytes from 1152 on are no longer those that were saved"));
        };
        const QString two = QStringLiteral("2");
        List blocks;
        QVERIFY(!Correctionop::getInstance()->loadCoefficient(key(), two, blocks));
        QVERIFY2(refused(), qPrintable(wall().journal().calls().last().note));
        QVERIFY(Correctionop::getInstance()->loadCoefficient(key(), one, blocks));
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("no longer those that were saved")));
        QVERIFY(wall().state().chroma(key(), two).isEmpty());

        // A part of a cabinet needs the rest of it. Then no cabinet of the request changes.
        const QString pixel = QString::fromLatin1(QByteArray(18, 'x').toBase64());
        const Map area{{QStringLiteral("point"), Map{{QStringLiteral("x"), 0}, {QStringLiteral("y"), 0}}},
                       {QStringLiteral("size"), Map{{QStringLiteral("width"), 1}, {QStringLiteral("height"), 1}}}};
        List elements;
        for (const QString &id : {one, two}) {
            const Map block{{QStringLiteral("area"), area}, {QStringLiteral("coefficient"), pixel}};
            elements += Map{{QStringLiteral("cid"), id}, {QStringLiteral("coefficientList"), List{block}}};
        }
        bool uploaded = true;
        Correctionop::getInstance()
            ->uploadCoefficientAsync(key(), elements)
            .then([&](bool value) { uploaded = value; })
            .wait();
        QVERIFY(!uploaded);
        QVERIFY2(refused(), qPrintable(wall().journal().calls().last().note));
        QCOMPARE(wall().state().chroma(key(), one), first);

        // Whole planes replace what is damaged.
        QVERIFY(savePlanes(2));
        QVERIFY(saveFlags(2));
        reopen(folder.directory);
        QCOMPARE(found(), 4);
    }
}

void tst_Directory::planesOutliveTheirPack()
{
    const Folder folder;
    makeWall(folder.directory);
    reopen(folder.directory);
    const QVector<quint16> first(8 * 8 * 9, 1);
    const QVector<quint16> second(8 * 8 * 9, 2);
    for (const QString &id : Generations::cabinets())
        QVERIFY(wall().state().setChroma(key(), id, second, Store::User));
    QVERIFY(!packs(folder.directory).contains(QStringLiteral("1.planes")));
    for (const QString &id : Generations::cabinets()) {
        QCOMPARE(wall().state().chroma(key(), id), first);
        QCOMPARE(wall().state().chroma(key(), id, Store::User), second);
    }
}

void tst_Directory::manyPacksLeaveFilesToOthers()
{
    constexpr int cabinets = 60;
    const Folder folder;
    WallDescription description;
    description.devices = {gridDevice(key(), QPoint(), cabinets, 1, QSize(1, 1))};
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    const auto values = [](int id) { return QVector<quint16>(9, quint16(id)); };
    for (int id = 1; id <= cabinets; ++id)
        QVERIFY(wall().state().setChroma(key(), QString::number(id), values(id), Store::User));
    QCOMPARE(packs(folder.directory).size(), cabinets);
    wall().reset();

    rlimit before{};
    QCOMPARE(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit few{cabinets, before.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &few), 0);
    const bool isOpen = wall().open(folder.directory, &error);
    QFile other(folder.parent.filePath(QStringLiteral("other")));
    const bool leavesFiles = other.open(QIODevice::WriteOnly);
    QCOMPARE(setrlimit(RLIMIT_NOFILE, &before), 0);
    QVERIFY2(isOpen, qPrintable(error));
    QVERIFY(leavesFiles);
    for (int id = 1; id <= cabinets; ++id)
        QCOMPARE(wall().state().chroma(key(), QString::number(id)), values(id));
}

void tst_Directory::savesWorkBesideAnUnreadablePlane()
{
    const Folder folder;
    makeWall(folder.directory);
    reopen(folder.directory);
    const QString two = QStringLiteral("2");
    const QString three = QStringLiteral("3");
    const QString pack = folder.directory + QStringLiteral("/devices/A/1.planes");
    const QByteArray undamaged = contents(pack);
    const auto damage = [&] { // cabinet 2
        QByteArray bytes = undamaged;
        bytes[1200] = static_cast<char>(~bytes[1200]);
        overwrite(pack, bytes);
    };
    const auto values = [](int value) { return QVector<quint16>(8 * 8 * 9, quint16(value)); };

    // With the second save less than half of the pack is in use.
    damage();
    QVERIFY(wall().state().setChroma(key(), one, values(2), Store::User));
    QVERIFY(wall().state().setChroma(key(), three, values(3), Store::User));
    QVERIFY(wall().state().setChroma(key(), one, values(4), Store::User));
    QVERIFY(packs(folder.directory).contains(QStringLiteral("1.planes")));
    overwrite(pack, undamaged);
    reopen(folder.directory);
    QCOMPARE(wall().state().chroma(key(), one), values(4));
    QCOMPARE(wall().state().chroma(key(), two), values(1));
    QCOMPARE(wall().state().chroma(key(), three), values(3));

    // The same bytes as those that cannot be read are written again.
    damage();
    QVERIFY(wall().state().setChroma(key(), two, values(1), Store::User));
    QVERIFY(!packs(folder.directory).contains(QStringLiteral("1.planes")));
    reopen(folder.directory);
    QCOMPARE(wall().state().chroma(key(), two), values(1));
}

void tst_Directory::anUploadThatCannotBeReadAgainIsNotSaved()
{
    const Folder folder;
    if (!hasNamelessFiles(folder.parent.path()))
        QSKIP("the file system has no files without a name");
    makeLargeWall(folder.directory);
    QVERIFY(upload(one, QRect(QPoint(), largeSize), 'a'));
    QCOMPARE(namelessFiles(folder.directory), QList<qint64>{largePlane});
    const auto before = filesBelow(folder.directory);
    const Map request{{QStringLiteral("cids"), List{one}}};
    Map reply;
    DiskSteps::watch(folder.directory.toLocal8Bit(), DiskSteps::Everything);
    int reads = 0;
    DiskSteps::beforeAccess([&](const std::string &, DiskSteps::Access access) {
        if (access == DiskSteps::Access::Reading) {
            ++reads;
            DiskSteps::failAt(DiskSteps::count() + 1, EIO, false);
        }
    });
    QVERIFY(!Correctionop::getInstance()->saveCabinetsCoeffcient(key(), request, reply));
    DiskSteps::watch(QByteArray());
    QVERIFY(reads > 0);
    const QString note = wall().journal().calls().last().note;
    QVERIFY2(note.startsWith(QStringLiteral("not saved: ")) && note.contains(qt_error_string(EIO)), qPrintable(note));
    QCOMPARE(filesBelow(folder.directory), before);

    QVERIFY(Correctionop::getInstance()->saveCabinetsCoeffcient(key(), request, reply));
    reopen(folder.directory);
    QVERIFY(wall().state().plane(key(), one, Kind::Chroma, Store::User) == QByteArray(largePlane, 'a'));
}

void tst_Directory::aModulesFlagIsSavedOrRefused()
{
    const Folder folder;
    makeWall(folder.directory);
    const auto setFlag = [](const QString &flag) {
        const Map module{{QStringLiteral("id"), QStringLiteral("0")}, {QStringLiteral("flag"), flag}};
        Map reply;
        return CabinetInfoOperator::getInstance()->setModuleflags(
            key(), {Map{{QStringLiteral("id"), qulonglong(1)}, {QStringLiteral("moduleflags"), List{module}}}}, reply);
    };
    const auto flag = [] { return wall().state().moduleFlag(key(), one, QStringLiteral("0")); };
    QVERIFY(setFlag(QStringLiteral("repaired")));
    reopen(folder.directory);
    QCOMPARE(flag(), QStringLiteral("repaired"));
    const auto before = filesBelow(folder.directory);
    QVERIFY(!setFlag(QString(QChar(0xd83d))));
    const QString note = wall().journal().calls().last().note;
    QVERIFY2(note.endsWith(QStringLiteral("a flag of cabinet 1 is not valid UTF-16")), qPrintable(note));
    QCOMPARE(flag(), QStringLiteral("repaired"));
    QVERIFY(setFlag(QStringLiteral("repaired"))); // changes nothing
    QCOMPARE(filesBelow(folder.directory), before);
}

void tst_Directory::aLoadReadsAPlaneOnce()
{
    const Folder folder;
    makeWall(folder.directory);
    reopen(folder.directory);
    wall().state().setReplyBlockHeight(1);
    DiskSteps::watch(folder.directory.toLocal8Bit(), DiskSteps::Everything);
    List blocks;
    QVERIFY(Correctionop::getInstance()->loadCoefficient(key(), one, blocks));
    QCOMPARE(blocks.size(), 8);
    QCOMPARE(DiskSteps::count(), 1);
}

void tst_Directory::uploadsGoToAFileWithoutAName()
{
    const Folder folder;
    makeLargeWall(folder.directory);
    if (!hasNamelessFiles(folder.directory))
        QSKIP("the file system has no files without a name");

    const QRect whole(QPoint(0, 0), largeSize);
    const QStringList ids = Generations::cabinets();
    for (int round = 1; round <= 5; ++round) { // space is used again
        for (const QString &id : ids)
            QVERIFY(upload(id, whole, char(id.toInt() + round)));
    }
    QCOMPARE(namelessFiles(folder.directory), QList<qint64>{4 * largePlane});
    QVERIFY(upload(ids[1], QRect(1, 0, 1, 1), 'x'));
    const auto expected = [&](const QString &id) {
        QByteArray plane(largePlane, char(id.toInt() + 5));
        if (id == ids[1])
            plane.replace(18, 18, QByteArray(18, 'x'));
        return plane;
    };
    for (const QString &id : ids)
        QCOMPARE(wall().state().plane(key(), id, Kind::Chroma), expected(id));
    Map reply;
    QVERIFY(Correctionop::getInstance()->saveCabinetsCoeffcient(
        key(), {{QStringLiteral("cids"), List{ids[0], ids[1], ids[2]}}}, reply));
    wall().reset();
    QCOMPARE(namelessFiles(folder.directory).size(), 0);
    reopen(folder.directory);
    for (const QString &id : ids)
        QCOMPARE(wall().state().plane(key(), id, Kind::Chroma), expected(id));
}

void tst_Directory::uploadsLeaveSpaceForTheSave()
{
    const Folder folder;
    makeLargeWall(folder.directory);
    if (!hasNamelessFiles(folder.directory))
        QSKIP("the file system has no files without a name");

    constexpr qint64 textSize = 1 << 20;
    const QRect whole(QPoint(0, 0), largeSize);
    DiskSteps::watch(folder.directory.toLocal8Bit());
    const auto sizeAfterUpload = [&](const QString &id, char value, qint64 freeBytes) {
        DiskSteps::setFreeBytes(freeBytes);
        return upload(id, whole, value) ? namelessFiles(folder.directory).value(0, -1) : -1;
    };
    // The disk counts blocks.
    const qint64 block = qMax(QStorageInfo(folder.directory).blockSize(), 4096);
    QCOMPARE(sizeAfterUpload(QStringLiteral("1"), 'a', 2 * largePlane + textSize - block), qint64(0));
    QCOMPARE(sizeAfterUpload(QStringLiteral("1"), 'b', 2 * largePlane + textSize + block), qint64(largePlane));
    QCOMPARE(sizeAfterUpload(QStringLiteral("2"), 'c', 3 * largePlane + textSize - block), qint64(largePlane));
    QCOMPARE(sizeAfterUpload(QStringLiteral("2"), 'd', 3 * largePlane + textSize + block), qint64(2 * largePlane));
    QCOMPARE(sizeAfterUpload(QStringLiteral("3"), 'e', 0), qint64(2 * largePlane));
    QCOMPARE(wall().state().plane(key(), QStringLiteral("1"), Kind::Chroma), QByteArray(largePlane, 'b'));
    QCOMPARE(wall().state().plane(key(), QStringLiteral("2"), Kind::Chroma), QByteArray(largePlane, 'd'));
    QCOMPARE(wall().state().plane(key(), QStringLiteral("3"), Kind::Chroma), QByteArray(largePlane, 'e'));
}

void tst_Directory::aRequestThatNamesACabinetTwiceReadsNoFile()
{
    const Folder folder;
    makeLargeWall(folder.directory);
    if (!hasNamelessFiles(folder.directory))
        QSKIP("the file system has no files without a name");

    const QString two = QStringLiteral("2");
    const QRect whole(QPoint(0, 0), largeSize);
    QVERIFY(upload(one, whole, 'a')); // makes the file
    List elements;
    const auto add = [&](const QString &id, const QRect &rect, char value) {
        elements += Map{{QStringLiteral("cid"), id},
                        {QStringLiteral("coefficientList"), List{blockOf(rect, value, QStringLiteral("coefficient"))}}};
    };
    add(one, whole, 'b');
    add(two, whole, 'c');
    add(two, QRect(1, 0, 1, 1), 'd');

    DiskSteps::watch(folder.directory.toLocal8Bit(), DiskSteps::Everything);
    DiskSteps::failAt(1, EIO, true);
    bool uploaded = false;
    Correctionop::getInstance()->uploadCoefficientAsync(key(), elements).then([&](bool value) { uploaded = value; }).wait();
    DiskSteps::watch(QByteArray());
    QVERIFY2(uploaded, qPrintable(wall().journal().calls().last().note));
    QCOMPARE(wall().state().plane(key(), one, Kind::Chroma), QByteArray(largePlane, 'b'));
    QCOMPARE(wall().state().plane(key(), two, Kind::Chroma),
             QByteArray(largePlane, 'c').replace(18, 18, QByteArray(18, 'd')));
}

void tst_Directory::aFailedOpeningTakesNothingFromTheOpenWall()
{
    // Devices that forget when they are opened, which no failure may bring about halfway.
    WallDescription description = Generations::wall();
    description.devices += gridDevice(QStringLiteral("B"), QPoint(100, 0), 1, 1, QSize(8, 8));
    for (Device &device : description.devices)
        device.personality = QStringLiteral("forgets on restart");
    const QVector<quint16> values(8 * 8 * 9, 5);
    int failed = 0;
    for (int step = 1;; ++step) {
        const Folder folder;
        QString error;
        QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
        QVERIFY(savePlanes(1));
        QVERIFY(saveFlags(1));
        QVERIFY(wall().state().setChroma(QStringLiteral("B"), one, values, Store::User));
        DiskSteps::watch((folder.directory + QStringLiteral("/devices")).toLocal8Bit());
        DiskSteps::failAt(step, EIO, true);
        const bool isOpen = wall().open(folder.directory);
        DiskSteps::watch(QByteArray());
        if (isOpen)
            break;
        ++failed;
        QCOMPARE(found(), 2);
        QVERIFY(saveFlags(1)); // as they are
        wall().reset();
        QByteArray bytes = contents(folder.directory + QStringLiteral("/wall.json"));
        overwrite(folder.directory + QStringLiteral("/wall.json"), bytes.replace("forgets on restart", "obedient"));
        QFile::remove(folder.directory + QStringLiteral("/wall.sha1"));
        reopen(folder.directory);
        QCOMPARE(found(), 2);
    }
    QVERIFY(failed > 0);
}

void tst_Directory::whatADeviceForgotIsForgottenWithTheNextSave()
{
    const Folder folder;
    WallDescription description = Generations::wall();
    description.devices.first().personality = QStringLiteral("forgets on restart");
    QVERIFY(wall().create(folder.directory, description));
    QVERIFY(savePlanes(1));
    QVERIFY(saveFlags(7));
    reopen(folder.directory);
    QCOMPARE(wall().state().flag(key(), QStringLiteral("2")), QString());
    QVERIFY(
        wall().state().setChroma(key(), one, QVector<quint16>(8 * 8 * 9, 2), Store::User)); // the others have only forgotten
    wall().reset();
    replacing(QStringLiteral("/wall.json"), "forgets on restart", "obedient")(folder.directory);
    QVERIFY(QFile::remove(folder.directory + QStringLiteral("/wall.sha1")));
    reopen(folder.directory);
    QCOMPARE(wall().state().flag(key(), QStringLiteral("2")), QString());
    QCOMPARE(wall().state().chroma(key(), one, Store::User).first(), quint16(2));
}

void tst_Directory::textsThatCannotBeWrittenAreRefused()
{
    const Folder folder;
    makeWall(folder.directory);
    const QString half(QChar(0xd83d));
    Map request{{QStringLiteral("flag"), half}};
    Map reply;
    QVERIFY(!CabinetInfoOperator::getInstance()->setCabinetFlag(key(), one, request, reply));
    QVERIFY2(wall().journal().calls().last().note.contains(QStringLiteral("a flag of cabinet 1 is not valid UTF-16")),
             qPrintable(wall().journal().calls().last().note));
    QCOMPARE(wall().state().flag(key(), one), one);
    QVERIFY(!wall().renameScreen(key(), half));
    QCOMPARE(wall().pluggedDevices().first().screenName, QStringLiteral("Screen"));
    QVERIFY(saveFlags(2));

    const Folder other;
    WallDescription description = Generations::wall();
    description.devices.first().screenName = half;
    QString error;
    QVERIFY(!wall().create(other.directory, description));
    QVERIFY(!wall().create(other.directory, description, &error));
    QVERIFY2(error.endsWith(QStringLiteral("/devices/A: the screen name is not valid UTF-16")), qPrintable(error));
}

void tst_Directory::describedTextsThatCannotBeWrittenStayThere()
{
    const Folder folder;
    WallDescription description = Generations::wall();
    SubScreen &subScreen = description.devices.first().subScreens.first();
    subScreen.cabinets.first().receivingCards.first().modules.first().flag = QChar(0xd83d);
    QVERIFY(wall().create(folder.directory, description));
    wall().reset();
    replacing(QStringLiteral("/wall.json"), "\"Screen\"", "\"\\ud83d\"")(folder.directory);
    QVERIFY(QFile::remove(folder.directory + QStringLiteral("/wall.sha1")));
    reopen(folder.directory);
    QVERIFY(savePlanes(1));
    QVERIFY(saveFlags(1));
    reopen(folder.directory);
    QCOMPARE(found(), 2);
}

void tst_Directory::aWallNeedsNoDevices()
{
    const Folder folder;
    QString error;
    QVERIFY2(wall().create(folder.directory, WallDescription(), &error), qPrintable(error));
    reopen(folder.directory);
    QVERIFY(wall().pluggedDevices().isEmpty());
    QCOMPARE(wall().directory(), folder.directory);
    QVERIFY(QDir(folder.directory).mkdir(QStringLiteral("devices")));
    reopen(folder.directory);
    QCOMPARE(wall().directory(), folder.directory);
}

void tst_Directory::aWallThatCannotBeReadAgainIsNotMade()
{
    const Folder folder;
    WallDescription description = Generations::wall();
    description.devices.first().key = QLatin1String("");
    QString error;
    QVERIFY(!wall().create(folder.directory, description, &error));
    QCOMPARE(error,
             folder.directory + QStringLiteral("/wall.json: devices[0].key: expected a text that is not empty, got \"\""));
    QVERIFY(!wall().create(folder.directory, description));
    QVERIFY(!QFileInfo::exists(folder.directory));
}

void tst_Directory::manyProblemsAreCutShort()
{
    const Folder folder;
    WallDescription description;
    description.devices = {gridDevice(key(), QPoint(), 25, 1, QSize(2, 2))};
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    const QVector<quint16> values(2 * 2 * 9, 7);
    for (int id = 1; id <= 25; ++id)
        QVERIFY(wall().state().setChroma(key(), QString::number(id), values, Store::User));
    wall().reset();
    const QStringList found = packs(folder.directory);
    QCOMPARE(found.size(), 25);
    for (const QString &pack : found)
        QVERIFY(QFile::remove(folder.directory + QStringLiteral("/devices/A/") + pack));
    QVERIFY(!wall().open(folder.directory, &error));
    const QStringList lines = error.split(QLatin1Char('\n'));
    QCOMPARE(lines.size(), 21);
    QCOMPARE(lines.filter(QStringLiteral(".planes cannot be read: ")).size(), 20);
    QCOMPARE(lines.last(), QStringLiteral("... and 5 more"));
}

void tst_Directory::damageIsFound_data()
{
    QTest::addColumn<Damage>("damage");
    QTest::addColumn<QString>("expected"); // after the directory's path
    QTest::addColumn<int>("problems");
    const auto row = [](const char *name, const Damage &damage, const char *expected, int problems = 1) {
        QTest::newRow(name) << damage << QString::fromUtf8(expected).replace(QLatin1Char('\''), QLatin1Char('"'))
                            << problems;
    };
    const auto rowOfState = [&](const char *name, const char *before, const char *after, const char *expected,
                                int problems = 1) {
        row(name,
            editing(QByteArray(before).replace('\'', '"').constData(), QByteArray(after).replace('\'', '"').constData()),
            (QByteArray("/devices/A/state.json: ") + expected).constData(), problems);
    };
    const auto remove = [](const QString &name) {
        return [name](const QString &directory) { QVERIFY(QFile::remove(directory + name)); };
    };
    const QString pack = QStringLiteral("/devices/A/1.planes");
    row("no description", remove(QStringLiteral("/wall.json")), "/wall.json: is missing");
    row(
        "a description cut short",
        [](const QString &directory) {
            overwrite(directory + QStringLiteral("/wall.json"),
                      contents(directory + QStringLiteral("/wall.json")).left(100));
        },
        "/wall.json:");
    row("no state", remove(state), "/devices/A/state.json: cannot be read: No such file or directory");
    row(
        "no state at all",
        [](const QString &directory) { QVERIFY(QDir(directory + QStringLiteral("/devices")).removeRecursively()); },
        "/devices/A/state.json: cannot be read: No such file or directory");
    row("another description", replacing(QStringLiteral("/wall.json"), "\"Device A\"", "\"Device B\""),
        "/wall.json: does not match the checksum in wall.sha1; if it was edited on purpose, remove wall.sha1");
    row("another checksum of the description", replacing(QStringLiteral("/wall.sha1"), "wall.json", "wail.json"),
        "/wall.json: does not match the checksum in wall.sha1");
    row("another state",
        replacing(state, "{\"flag\":\"1\",\"planes\":{\"chroma\":{\"user\":{\"length\":1152,\"offset\":0",
                  "{\"flag\":\"5\",\"planes\":{\"chroma\":{\"user\":{\"length\":1152,\"offset\":0"),
        "/devices/A/state.json: sha1: does not match the file; if the file was edited on purpose, write 'edited' here");
    row(
        "an empty state", [](const QString &directory) { overwrite(directory + state, QByteArray()); },
        "/devices/A/state.json:");
    row(
        "a state cut short",
        [](const QString &directory) { overwrite(directory + state, contents(directory + state).left(300)); },
        "/devices/A/state.json:");
    rowOfState("another format", "led-wall-state", "led-wall", "format: expected 'led-wall-state', got 'led-wall'");
    rowOfState("another version", "'version': 3", "'version': 4", "version: expected a version from 1 to 3, got 4");
    rowOfState("a version of another type", "'version': 3", "'version': '3'",
               "version: expected a version from 1 to 3, got '3'");
    rowOfState("another key", "'key': 'A'", "'key': 'B'", "key: expected 'A', got 'B'");
    rowOfState("an unknown entry", "'device': {", "'devices': {", "unknown key 'devices', did you mean 'device'?", 2);
    rowOfState("an unknown cabinet", "'3': {", "'33': {", "cabinets.33: wall.json has no such cabinet");
    rowOfState("an unknown module whose id is not ASCII", "'3': {'flag':'1'", "'3': {'moduleFlags':{'größe':'x'}",
               "cabinets.3.moduleFlags.größe: wall.json has no such module in cabinet 3");
    rowOfState("a flag of another type", "'3': {'flag':'1'", "'3': {'flag':1", "cabinets.3.flag: expected a text, got 1");
    rowOfState("a brightness out of range", "'3': {'flag':'1'", "'3': {'brightness':10001",
               "cabinets.3.brightness: expected an integer from 0 to 10000, got 10001");
    rowOfState("a brightness that is not an integer", "'device': {", "'device': {'brightness':1.5",
               "device.brightness: expected an integer from 0 to 10000, got 1.5");
    rowOfState("an effect mode beyond 32 bits", "'device': {", "'device': {'effectMode':3000000000",
               "device.effectMode: expected an integer of 32 bits, got 3000000000");
    rowOfState("ABL of another type", "'device': {", "'device': {'ablEnabled':1",
               "device.ablEnabled: expected true or false, got 1");
    rowOfState("a gamma table of another type", "'device': {", "'device': {'gamma':{'red':[0,'1']}",
               "device.gamma.red[1]: expected an integer of 32 bits, got '1'");
    rowOfState("an unknown gamma table", "'device': {", "'device': {'gamma':{'pink':[0]}",
               "device.gamma: unknown key 'pink'");
    rowOfState("a gamma table that is not a list", "'device': {", "'device': {'gamma':{'red':3}",
               "device.gamma.red: expected a list, got 3");
    rowOfState("gamma tables that are not an object", "'device': {", "'device': {'gamma':[1]",
               "device.gamma: expected an object, got a list");
    rowOfState("a parameter that is not an object", "'3': {'flag':'1'", "'3': {'multilayerParameter':3",
               "cabinets.3.multilayerParameter: expected an object, got 3");
    rowOfState("layers that are not a list", "'3': {'flag':'1'", "'3': {'multilayerParameters':{}",
               "cabinets.3.multilayerParameters: expected a list, got an object");
    rowOfState("a parameter that is incomplete", "'3': {'flag':'1'", "'3': {'multilayerParameters':[{'inLayer':-1}]",
               "cabinets.3.multilayerParameters[0].inLayer: expected an integer from 0 to 4294967295, got -1", 2);
    rowOfState("a parameter with an unknown key", "'3': {'flag':'1'",
               "'3': {'multilayerParameters':[{'inLayer':1,'inVldBitLayer':1,'inLayers':1}]",
               "cabinets.3.multilayerParameters[0]: unknown key 'inLayers', did you mean 'inLayer'?");
    rowOfState("a flag of an unknown module", "'3': {'flag':'1'", "'3': {'moduleFlags':{'9':'x'}",
               "cabinets.3.moduleFlags.9: wall.json has no such module in cabinet 3");
    rowOfState("a check code of another type", "'3': {'flag':'1'", "'3': {'flashCheckCodes':{'0':true}",
               "cabinets.3.flashCheckCodes.0: expected an integer of 32 bits, got true");
    for (const char *size : {"[8]", "['8',8]", "[8,'8']", "[8,8,8]", "8"}) {
        rowOfState(QByteArray("the size ").append(size).constData(), "'size':[8,8]}\n}",
                   QByteArray("'size':").append(size).append("}\n}").constData(),
                   "cabinets.3.size: expected a list of width and height, got ");
    }
    rowOfState("an offset beyond the pack", "'offset':1152", "'offset':2305", "cabinets.2.planes.chroma.user.offset: ");
    rowOfState("an offset far beyond the pack", "'offset':1152", "'offset':4000",
               "cabinets.2.planes.chroma.user.offset: 1152 bytes from 4000 on reach beyond ");
    for (const char *digits : {"ab", "zz"}) { // too many, and such that are none
        rowOfState(QByteArray("a checksum with ").append(digits).constData(), "'offset':1152,'pack':'1.planes','xxh128':'",
                   QByteArray("'offset':1152,'pack':'1.planes','xxh128':'").append(digits).constData(),
                   "cabinets.2.planes.chroma.user.xxh128: expected 32 hexadecimal digits, got ");
    }
    rowOfState("an offset of another type", "'offset':1152", "'offset':'1152'",
               "cabinets.2.planes.chroma.user.offset: expected an integer from 0 to 9007199254740992, got '1152'");
    rowOfState("an offset below zero", "'offset':1152", "'offset':-1",
               "cabinets.2.planes.chroma.user.offset: expected an integer from 0 to ");
    rowOfState("another offset", "'offset':1152", "'offset':1",
               "cabinets.2.planes.chroma.user.xxh128: the 1152 bytes from 1 on in ");
    rowOfState("another length", "'length':1152,'offset':1152", "'length':1150,'offset':1152",
               "cabinets.2.planes.chroma.user.length: a plane of this cabinet has 1152 bytes, not 1150");
    rowOfState("a place outside the folder", "'offset':1152,'pack':'1.planes'", "'offset':1152,'pack':'../A/1.planes'",
               "cabinets.2.planes.chroma.user.pack: expected a name such as '1.planes', got '../A/1.planes'");
    rowOfState("a name of a pack with another ending", "'offset':1152,'pack':'1.planes'", "'offset':1152,'pack':'1.planet'",
               "cabinets.2.planes.chroma.user.pack: expected a name such as '1.planes', got '1.planet'");
    rowOfState("a name of a pack that begins with zero", "'offset':1152,'pack':'1.planes'",
               "'offset':1152,'pack':'01.planes'",
               "cabinets.2.planes.chroma.user.pack: expected a name such as '1.planes', got '01.planes'");
    rowOfState("an unknown store", "'3': {'flag':'1','planes':{'chroma':{'user'",
               "'3': {'flag':'1','planes':{'chroma':{'users'",
               "cabinets.3.planes.chroma: unknown key 'users', did you mean 'user'?");
    rowOfState("an unknown entry of a place", "'length':1152,'offset':1152", "'lenght':1152,'offset':1152",
               "cabinets.2.planes.chroma.user: unknown key 'lenght', did you mean 'length'?", 2);
    row("a checksum on a line with something else", replacing(state, ",\n\"sha1\": ", ", \"sha1\": "),
        "/devices/A/state.json: sha1: does not match the file");
    row("no pack", remove(pack), "/devices/A/state.json: cabinets.1.planes.chroma.user.pack: ");
    row(
        "a pack cut short",
        [pack](const QString &directory) { overwrite(directory + pack, contents(directory + pack).left(3000)); },
        "/devices/A/state.json: cabinets.3.planes.chroma.user.offset: 1152 bytes from 2304 on reach beyond ");
    row(
        "a changed byte in a pack",
        [pack](const QString &directory) {
            QByteArray bytes = contents(directory + pack);
            bytes[1200] = char(bytes[1200] + 1);
            overwrite(directory + pack, bytes);
        },
        "/devices/A/state.json: cabinets.2.planes.chroma.user.xxh128: the 1152 bytes from 1152 on in ");
    row(
        "a changed byte in a pack of version 2",
        [pack](const QString &directory) {
            makeVersion2(directory);
            QByteArray bytes = contents(directory + pack);
            bytes[1200] = char(bytes[1200] + 1);
            overwrite(directory + pack, bytes);
        },
        "/devices/A/state.json: cabinets.2.planes.chroma.user.sha1: the 1152 bytes from 1152 on in ");
    row(
        "a changed byte of a configuration file",
        [](const QString &directory) {
            const QString second = QStringLiteral("/devices/A/2.planes");
            reopen(directory);
            QVERIFY(wall().state().setConfigFile(key(), one, "settings"));
            QCOMPARE(contents(directory + second), QByteArray("settings"));
            wall().reset();
            overwrite(directory + second, "settinks");
        },
        "/devices/A/state.json: cabinets.1.configFile.xxh128: the 8 bytes from 0 on in ");
    row(
        "a folder that cannot be looked at",
        [](const QString &directory) {
            QVERIFY(QFile::link(QStringLiteral("loop"), directory + QStringLiteral("/devices/loop")));
        },
        "/devices/loop: cannot be read: Too many levels of symbolic links");
    const auto redescribed = [](const std::function<void(WallDescription &)> &change) {
        return [change](const QString &directory) {
            WallDescription description = Generations::wall();
            change(description);
            QTemporaryDir elsewhere;
            QVERIFY(wall().create(elsewhere.filePath(QStringLiteral("x")), description));
            const QByteArray json = contents(elsewhere.filePath(QStringLiteral("x/wall.json")));
            wall().reset();
            overwrite(directory + QStringLiteral("/wall.json"), json);
            QVERIFY(QFile::remove(directory + QStringLiteral("/wall.sha1")));
        };
    };
    row("a cabinet of another size", redescribed([](WallDescription &description) {
            Cabinet &cabinet = description.devices[0].subScreens[0].cabinets[2];
            cabinet.size = QSize(4, 16); // as many pixels
            cabinet.receivingCards.clear();
        }),
        "/devices/A/state.json: cabinets.3.size: saved from a cabinet of 8x8 pixels, but wall.json has 4x16");
    row("a cabinet that vanished",
        redescribed([](WallDescription &description) { description.devices[0].subScreens[0].cabinets.removeLast(); }),
        "/devices/A/state.json: cabinets.3: wall.json has no such cabinet in device 'A'");
    row("a device that vanished", redescribed([](WallDescription &description) { description.devices.clear(); }),
        "/devices/A: holds what a device saved that wall.json does not describe");
    row("a device that is new", redescribed([](WallDescription &description) {
            description.devices += gridDevice(QStringLiteral("B"), QPoint(100, 0), 1, 1, QSize(8, 8));
        }),
        "/devices/B/state.json: cannot be read: No such file or directory");
}

void tst_Directory::damageIsFound()
{
    QFETCH(Damage, damage);
    QFETCH(QString, expected);
    QFETCH(int, problems);
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    damage(folder.directory);
    if (QTest::currentTestFailed())
        return;
    const auto before = filesBelow(folder.directory);
    wall().setDevices({gridDevice(QStringLiteral("Z"), QPoint(), 1, 1, QSize(1, 1))});

    QString error;
    QVERIFY(!wall().open(folder.directory, &error));
    QVERIFY2(error.startsWith(folder.directory + expected), qPrintable(error));
    QVERIFY2(error.count(QLatin1Char('\n')) + 1 == problems, qPrintable(error));
    QVERIFY(!wall().open(folder.directory));
    QCOMPARE(filesBelow(folder.directory), before); // nothing overwritten, and no lock
    QCOMPARE(wall().pluggedDevices().size(), 1);
    QCOMPARE(wall().pluggedDevices().first().key, QStringLiteral("Z"));
    QCOMPARE(wall().directory(), QString());
}

void tst_Directory::editsByHandAreAccepted()
{
    const Folder folder;
    makeWall(folder.directory);
    const QString checksum = folder.directory + QStringLiteral("/wall.sha1");
    const QByteArray recorded = contents(checksum);
    wall().reset();
    replacing(QStringLiteral("/wall.json"), "\"Device A\"", "\"Another\"")(folder.directory);
    QVERIFY(!wall().open(folder.directory));
    QVERIFY(QFile::remove(checksum));
    editing("\"device\": {", "\"device\": {\"brightness\":77")(folder.directory);
    reopen(folder.directory);
    QCOMPARE(wall().pluggedDevices().first().label, QStringLiteral("Another"));
    QCOMPARE(wall().state().settings(key()).brightness, 77);
    QCOMPARE(found(), 2);
    QVERIFY(contents(checksum).endsWith("  wall.json\n") && contents(checksum) != recorded);
    QVERIFY(saveFlags(2));
    QVERIFY(!contents(folder.directory + state).contains("edited"));
    reopen(folder.directory);
    QCOMPARE(wall().state().settings(key()).brightness, 77);
    // From here on the checksums count again.
    wall().reset();
    replacing(QStringLiteral("/wall.json"), "\"Another\"", "\"Device A\"")(folder.directory);
    QVERIFY(!wall().open(folder.directory));
}

void tst_Directory::whatAKilledProcessLeftIsRemoved()
{
    const Folder folder;
    makeWall(folder.directory);
    QVERIFY(savePlanes(2)); // into 2.planes, and 1.planes is removed
    wall().reset();
    const auto before = filesBelow(folder.directory);
    for (const char *name :
         {"/wall.json.AbCdEf", "/devices/A/state.json.xYzabc", "/devices/A/1.planes", "/devices/A/7.planes"})
        overwrite(folder.directory + QLatin1String(name), "left");
    reopen(folder.directory);
    wall().close();
    QCOMPARE(filesBelow(folder.directory), before);
}

void tst_Directory::twoProcessesCannotShare()
{
    const Folder folder;
    makeWall(folder.directory);
    QVERIFY2(Other(folder.directory)
                 .said.contains(QStringLiteral("/lock: the wall is in use by process %1 (tst_directory) on ")
                                    .arg(QCoreApplication::applicationPid())),
             qPrintable(Other(folder.directory).said));
    wall().reset();

    Other other(folder.directory);
    QCOMPARE(other.said, QStringLiteral("open"));
    QString error;
    for (int attempt = 0; attempt < 2; ++attempt) {
        QVERIFY(!wall().open(folder.directory, &error));
        QCOMPARE(error, QStringLiteral("%1/lock: the wall is in use by process %2 (wallwriter) on %3")
                            .arg(folder.directory)
                            .arg(other.process.processId())
                            .arg(QSysInfo::machineHostName()));
        QVERIFY(!wall().create(folder.directory, Generations::wall(), &error));
    }
    other.end(false);
    QCOMPARE(other.process.exitCode(), 0);
    QVERIFY(!QFileInfo::exists(folder.directory + QStringLiteral("/lock"))); // it ended without close()
    reopen(folder.directory);
    QCOMPARE(found(), 2);
}

void tst_Directory::readersNeedNoLock()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    QVERIFY(QFile::remove(folder.directory + QStringLiteral("/wall.sha1")));
    Other other(folder.directory);
    QCOMPARE(other.said, QStringLiteral("open"));
    const auto before = filesBelow(folder.directory);

    QString error;
    QVERIFY2(wall().loadReadOnly(folder.directory, &error), qPrintable(error));
    QCOMPARE(found(), 2);
    QCOMPARE(wall().directory(), QString());
    QVERIFY(savePlanes(2)); // in memory only
    QCOMPARE(found(), 3);
    QCOMPARE(filesBelow(folder.directory), before);
    QVERIFY(!wall().open(folder.directory, &error));
    QVERIFY2(error.contains(QLatin1String("in use")), qPrintable(error));
    other.end(false);

    // The lock of this process ends as with load().
    reopen(folder.directory);
    QVERIFY(wall().loadReadOnly(folder.directory));
    const Other another(folder.directory);
    QCOMPARE(another.said, QStringLiteral("open"));
}

void tst_Directory::readersSeeWholeStatesBesideAWriter()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    QProcess writer;
    writer.setStandardOutputFile(QProcess::nullDevice());
    writer.start(QStringLiteral(WALLWRITER), {folder.directory, QStringLiteral("save")});
    QVERIFY(writer.waitForStarted(-1));
    std::array<QProcess, 2> readers;
    for (QProcess &reader : readers)
        reader.start(QStringLiteral(WALLWRITER), {folder.directory, QStringLiteral("read"), QStringLiteral("100")});
    for (QProcess &reader : readers) {
        QVERIFY(reader.waitForFinished(-1));
        QCOMPARE(reader.readAllStandardOutput().trimmed(), QByteArray("read"));
    }
    QCOMPARE(writer.state(), QProcess::Running);
    writer.kill();
    QVERIFY(writer.waitForFinished(-1));
}

void tst_Directory::damageIsFoundByReaders()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    const QStringList names = packs(folder.directory);
    QVERIFY(!names.isEmpty());
    const QString pack = folder.directory + QStringLiteral("/devices/A/") + names.first();
    QByteArray bytes = contents(pack);
    bytes[10] = char(bytes[10] ^ 1);
    overwrite(pack, bytes);
    QString error;
    QVERIFY(!wall().loadReadOnly(folder.directory, &error));
    QVERIFY2(error.contains(QLatin1String("have another checksum")), qPrintable(error));
    QVERIFY(QFile::remove(pack));
    QVERIFY(!wall().loadReadOnly(folder.directory, &error));
    QVERIFY2(error.contains(names.first()), qPrintable(error));
}

void tst_Directory::theLockOfADeadProcessIsTakenOver()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    Other other(folder.directory);
    QCOMPARE(other.said, QStringLiteral("open"));
    other.end(true);
    QVERIFY(QFileInfo::exists(folder.directory + QStringLiteral("/lock")));
    reopen(folder.directory);
    QCOMPARE(found(), 2);
}

void tst_Directory::aLockFileCutShortLocksNobodyOut()
{
    const Folder folder;
    makeWall(folder.directory);
    const QByteArray lock = contents(folder.directory + QStringLiteral("/lock"));
    QVERIFY(lock.size() > 10);
    wall().reset();
    for (int length = 0; length <= lock.size(); length += 7) {
        overwrite(folder.directory + QStringLiteral("/lock"), lock.left(length));
        reopen(folder.directory);
        wall().reset();
    }
}

void tst_Directory::aLockOfAnotherHostStays()
{
    const Folder folder;
    makeWall(folder.directory);
    wall().reset();
    // Also of one whose name is the beginning of this one's.
    for (const QString &host : {QStringLiteral("elsewhere.example"), QSysInfo::machineHostName().chopped(1)}) {
        const QByteArray lock = "1\nprogram\n" + host.toUtf8() + '\n';
        overwrite(folder.directory + QStringLiteral("/lock"), lock);
        QString error;
        QVERIFY(!wall().open(folder.directory, &error));
        QCOMPARE(error,
                 folder.directory + QStringLiteral("/lock: the wall is in use by process 1 (program) on %1").arg(host));
        QCOMPARE(contents(folder.directory + QStringLiteral("/lock")), lock);
    }
    QVERIFY(QFile::remove(folder.directory + QStringLiteral("/lock")));
    reopen(folder.directory);
}

void tst_Directory::aDirectoryInPlaceOfTheOpenOneHasItsOwnLock()
{
    const Folder folder;
    makeWall(folder.directory);
    const QString other = folder.parent.filePath(QStringLiteral("other"));
    for (const QString &name : {QStringLiteral("/wall.json"), state, QStringLiteral("/devices/A/1.planes")}) {
        QVERIFY(QDir().mkpath(QFileInfo(other + name).path()));
        QVERIFY(QFile::copy(folder.directory + name, other + name));
    }
    QVERIFY(QDir().rename(folder.directory, folder.parent.filePath(QStringLiteral("away"))));
    QVERIFY(QDir().rename(other, folder.directory));
    reopen(folder.directory);
    QVERIFY2(Other(folder.directory).said.contains(QStringLiteral("in use")), qPrintable(Other(folder.directory).said));
    wall().reset();
    QVERIFY(!QFileInfo::exists(folder.directory + QStringLiteral("/lock")));
}

void tst_Directory::threadsSaveTogether()
{
    const Folder folder;
    WallDescription description;
    const QStringList keys{QStringLiteral("A"), QStringLiteral("B"), QStringLiteral("C")};
    for (int i = 0; i < keys.size(); ++i)
        description.devices += gridDevice(keys[i], QPoint(100 * i, 0), 3, 1, QSize(4, 4));
    QString error;
    QVERIFY2(wall().create(folder.directory, description, &error), qPrintable(error));
    std::vector<std::thread> threads;
    std::atomic<int> failures{0};
    for (int i = 0; i < keys.size(); ++i) {
        threads.emplace_back([&, i] {
            for (int round = 1; round <= 10; ++round) {
                for (const QString &id : Generations::cabinets()) {
                    const QVector<quint16> values(4 * 4 * 9, static_cast<quint16>(100 * i + round));
                    failures += wall().state().setChroma(keys[(i + round) % 3], id, values, Store(1 + i)) ? 0 : 1;
                    failures += wall().directory() == folder.directory ? 0 : 1;
                }
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(failures.load(), 0);
    reopen(folder.directory);
    for (int i = 0; i < keys.size(); ++i) {
        for (int round = 8; round <= 10; ++round) {
            for (const QString &id : Generations::cabinets())
                QCOMPARE(wall().state().chroma(keys[(i + round) % 3], id, Store(1 + i)),
                         QVector<quint16>(4 * 4 * 9, static_cast<quint16>(100 * i + round)));
        }
    }
}

QTEST_GUILESS_MAIN(tst_Directory)
#include "tst_directory.moc"
