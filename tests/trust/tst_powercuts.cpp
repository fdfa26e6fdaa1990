// The power fails at any moment while a wall directory is made, opened or changed. What requests asked of the system is
// recorded; a disk that keeps no more than it must is rebuilt from it, with what was not synchronised there, gone, or there
// in part. Every state of that disk must open, with everything that was answered true until then.

#include "simulator/DiskSteps.h"
#include "support/Files.h"
#include "trust/DiskWork.h"
#include "trust/Options.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <cerrno>
#include <map>
#include <random>

using namespace Simulator;
using DiskSteps::Change;
using DiskWork::differences;
using DiskWork::Kept;
using DiskWork::kept;
using Trust::isLong;

namespace {

/// Files by path; folders are those without bytes whose path ends with a slash.
using Tree = QMap<QByteArray, QByteArray>;

/// A disk: what was synchronised, and what came after that. A folder's names are synchronised by the folder, the bytes of a
/// file by the file. What was not may be on the disk all the same, each change for itself; a renaming is there or not.
class Disk
{
public:
    /// With a wall's files, all synchronised; `root` is the folder of its directory.
    Disk(const QByteArray &root, const TestSupport::Files &files) : m_root(root)
    {
        m_names[root] = isFolder;
        int number = 0;
        for (auto it = files.cbegin(); it != files.cend(); ++it) {
            const QByteArray path = root + "/wall" + it.key().toLocal8Bit();
            for (QByteArray folder = parentOf(path); folder.size() > root.size(); folder = parentOf(folder))
                m_names[folder] = isFolder;
            m_names[path] = --number - 1;
            m_files[number - 1] = {it.value(), it.value(), false};
        }
    }

    void apply(const Change &change)
    {
        const QByteArray path = QByteArray::fromStdString(change.path);
        const QByteArray bytes = QByteArray::fromStdString(change.bytes);
        File &file = m_files[change.file];
        switch (change.kind) {
        case Change::Make:
            m_unsynced += {change.kind, path, {}, change.file};
            break;
        case Change::Rename:
            m_unsynced += {change.kind, path, QByteArray::fromStdString(change.to), numberOf(path)};
            break;
        case Change::MakeFolder:
        case Change::Remove:
        case Change::RemoveFolder:
            m_unsynced += {change.kind, path, {}, isFolder};
            break;
        case Change::Write: {
            const int end = static_cast<int>(change.offset) + bytes.size();
            if (file.now.size() < end)
                file.now.append(QByteArray(end - file.now.size(), '\0'));
            file.now.replace(static_cast<int>(change.offset), bytes.size(), bytes);
            break;
        }
        case Change::Cut:
            file.now.truncate(static_cast<int>(change.offset));
            file.isLost = file.isLost && change.offset > 0;
            break;
        case Change::Sync:
            if (!file.isLost)
                file.synced = file.now;
            break;
        case Change::FailedSync: // the system may forget the bytes, and call the file synchronised the next time
            file.isLost = true;
            break;
        case Change::SyncFolder: {
            QVector<Name> others;
            for (const Name &name : qAsConst(m_unsynced)) {
                if (parentOf(name.path) == path)
                    put(m_names, name);
                else
                    others += name;
            }
            m_unsynced = others;
            break;
        }
        }
    }

    /// What may be on the disk if the power fails now; first what must be there.
    QVector<Tree> states(std::mt19937 &random) const
    {
        const int count = m_unsynced.size();
        QSet<QByteArray> masks; // a byte for each change of a name
        for (int i = 0; i <= count; ++i) {
            masks += QByteArray(i, 1) + QByteArray(count - i, 0); // in their order
            if (i < count) {
                QByteArray one(count, 0);
                one[i] = 1;
                masks += one;
                QByteArray allButOne(count, 1);
                allButOne[i] = 0;
                masks += allButOne;
            }
        }
        for (int i = 0; i < 4 && count > 2; ++i) {
            QByteArray any(count, 0);
            for (char &each : any)
                each = static_cast<char>(random() % 2);
            masks += any;
        }
        QVector<Tree> result{treeOf(m_names, 0)};
        for (const QByteArray &mask : qAsConst(masks)) {
            std::map<QByteArray, int> names = m_names;
            for (int i = 0; i < count; ++i) {
                if (mask[i] != 0)
                    put(names, m_unsynced[i]);
            }
            for (int part = 0; part < 4; ++part) {
                const Tree tree = treeOf(names, part);
                if (!result.contains(tree))
                    result += tree;
            }
        }
        return result;
    }

private:
    static constexpr int isFolder = -1;
    struct File {
        QByteArray synced;
        QByteArray now;
        bool isLost = false;
    };
    /// A change of names.
    struct Name {
        Change::Kind kind;
        QByteArray path;
        QByteArray to;
        int file;
    };

    static QByteArray parentOf(const QByteArray &path) { return path.left(path.lastIndexOf('/')); }

    static void put(std::map<QByteArray, int> &names, const Name &name)
    {
        names.erase(name.path);
        if (name.kind == Change::Make || name.kind == Change::MakeFolder)
            names[name.path] = name.file;
        else if (name.kind == Change::Rename)
            names[name.to] = name.file;
    }

    /// As the running system sees it.
    int numberOf(const QByteArray &path) const
    {
        std::map<QByteArray, int> names = m_names;
        for (const Name &name : m_unsynced)
            put(names, name);
        return names.at(path);
    }

    Tree treeOf(const std::map<QByteArray, int> &names, int part) const
    {
        Tree tree;
        for (const auto &name : names) {
            bool isReached = true;
            for (QByteArray folder = parentOf(name.first); folder.size() >= m_root.size(); folder = parentOf(folder))
                isReached = isReached && names.count(folder) > 0;
            if (!isReached)
                continue;
            if (name.second == isFolder) {
                tree[name.first + '/'] = QByteArray();
                continue;
            }
            const File &file = m_files.at(name.second);
            QByteArray bytes = part == 0 ? file.synced : file.now;
            const int more = file.now.size() - file.synced.size();
            if (part == 2 && more > 0) // the first half of what came
                bytes.truncate(file.synced.size() + more / 2);
            else if (part == 3 && file.now != file.synced) // the length alone
                bytes = QByteArray(bytes.size(), '\0');
            tree[name.first] = bytes;
        }
        return tree;
    }

    QByteArray m_root;
    std::map<int, File> m_files;
    std::map<QByteArray, int> m_names; ///< Synchronised.
    QVector<Name> m_unsynced;
};

void write(const Tree &tree, const QByteArray &root, const QString &copy)
{
    QDir(copy).removeRecursively();
    for (auto it = tree.cbegin(); it != tree.cend(); ++it) {
        const QString path = copy + QString::fromLocal8Bit(it.key().mid(root.size()));
        QFile file(path);
        if (it.key().endsWith('/') ? !QDir().mkpath(path)
                                   : !file.open(QIODevice::WriteOnly) || file.write(it.value()) != it->size())
            qFatal("%s cannot be written", qPrintable(path));
    }
}

/// Requests that a wall got, in their order.
using Requests = QVector<int>;
constexpr int restarts = -1; ///< Instead of a request: the wall was opened again.

} // namespace

class tst_PowerCuts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void everythingAnsweredSurvives_data();
    void everythingAnsweredSurvives();
    void cleanupTestCase();

private:
    void begin(int size, quint32 seed, bool isMade);
    /// Sends a request; false when the wall answers so.
    bool request(VirtualWall &wall, int number);
    /// From this moment on one of these is on the disk.
    void expect(const QVector<Requests> &possible) { m_moments += qMakePair(int(DiskSteps::changes().size()), possible); }
    QByteArray diskPath() const { return m_folder->filePath(QStringLiteral("disk")).toLocal8Bit(); }
    Kept keptAfter(const Requests &requests);
    void checkAllMoments(int stride);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_directory;
    QString m_start; ///< A copy of the directory as it was at first.
    TestSupport::Files m_files;
    WallDescription m_description;
    quint32 m_seed = 0;
    int m_madeAt = 0; ///< The number of changes until the wall was made.
    Requests m_base;  ///< What is answered.
    QVector<Requests> m_possible;
    QVector<QPair<int, QVector<Requests>>> m_moments;
    std::map<Requests, Kept> m_kept;
    int m_changes = 0;
    int m_states = 0;
    int m_answers = 0;
    int m_others = 0;
};

void tst_PowerCuts::init()
{
    m_folder = std::make_unique<QTemporaryDir>(TestSupport::folderTemplate());
    m_directory = m_folder->filePath(QStringLiteral("disk/wall"));
    m_start = m_folder->filePath(QStringLiteral("start"));
}

void tst_PowerCuts::cleanup()
{
    DiskSteps::watch(QByteArray());
}

void tst_PowerCuts::cleanupTestCase()
{
    qInfo("measured: power cut at %d moments, %d states of the disk opened; %d requests answered true, all there; %d states "
          "with a request that was not answered",
          m_changes, m_states, m_answers, m_others);
}

void tst_PowerCuts::begin(int size, quint32 seed, bool isMade)
{
    m_description = DiskWork::wallOfSize(size);
    m_seed = seed;
    m_madeAt = 0;
    m_base.clear();
    m_moments.clear();
    m_kept.clear();
    m_files.clear();
    QDir(m_directory).removeRecursively();
    QVERIFY(QDir().mkpath(m_folder->filePath(QStringLiteral("disk"))));
    QDir(m_start).removeRecursively();
    if (isMade) {
        VirtualWall wall;
        wall.journal().setLimit(1);
        QVERIFY(wall.create(m_directory, m_description));
        for (int number = 1001; number < 1020; ++number)
            QVERIFY(DiskWork::request(wall, seed, number));
        wall.close();
        m_files = TestSupport::filesBelow(m_directory);
        TestSupport::restoreFiles(m_start, m_files);
    }
    DiskSteps::watch(diskPath());
    DiskSteps::record();
    m_possible = {m_base};
    expect(m_possible);
}

bool tst_PowerCuts::request(VirtualWall &wall, int number)
{
    m_possible += m_base + Requests{number};
    expect(m_possible);
    if (!DiskWork::request(wall, m_seed, number))
        return false;
    ++m_answers;
    m_base += number;
    m_possible = {m_base};
    expect(m_possible);
    return true;
}

Kept tst_PowerCuts::keptAfter(const Requests &requests)
{
    const auto known = m_kept.find(requests);
    if (known != m_kept.end())
        return known->second;
    VirtualWall wall;
    wall.journal().setLimit(1);
    if (m_files.isEmpty())
        wall.setWall(m_description);
    else
        wall.loadReadOnly(m_start);
    for (const int number : requests) {
        if (number == restarts)
            DiskWork::restart(wall);
        else
            DiskWork::request(wall, m_seed, number);
    }
    DiskWork::restart(wall);
    return m_kept[requests] = kept(wall);
}

void tst_PowerCuts::checkAllMoments(int stride)
{
    const std::vector<Change> changes = DiskSteps::changes();
    DiskSteps::watch(QByteArray());
    const QByteArray root = diskPath();
    const QString disks = m_folder->filePath(QStringLiteral("cut"));
    const QString copy = disks + QStringLiteral("/wall");
    Disk disk(root, m_files);
    std::mt19937 random(m_seed);
    QSet<QByteArray> seen;
    int moment = 0;
    for (int done = 0; done <= int(changes.size()); ++done) {
        if (done > 0)
            disk.apply(changes[std::size_t(done - 1)]);
        while (moment + 1 < m_moments.size() && m_moments[moment + 1].first <= done)
            ++moment;
        ++m_changes;
        const QVector<Tree> trees = disk.states(random);
        for (const Tree &tree : trees) {
            QByteArray key = QByteArray::number(moment);
            for (auto it = tree.cbegin(); it != tree.cend(); ++it)
                key += it.key() + '\n' + QCryptographicHash::hash(it.value(), QCryptographicHash::Md5);
            key = QCryptographicHash::hash(key, QCryptographicHash::Md5);
            if (seen.contains(key))
                continue;
            seen += key;
            if (&tree != &trees.first() && random() % static_cast<unsigned>(stride) != 0)
                continue;
            write(tree, root, disks);
            ++m_states;
            const QByteArray context =
                "seed " + QByteArray::number(m_seed) + ", after " + QByteArray::number(done) + " changes: ";
            VirtualWall wall;
            QString error;
            if (done < m_madeAt && !tree.contains(root + "/wall/wall.json")) {
                QVERIFY2(!wall.open(copy, &error), context);
                QVERIFY2(error.endsWith(QStringLiteral("/wall.json: is missing")), context + error.toLocal8Bit());
                continue;
            }
            QVERIFY2(wall.open(copy, &error), context + error.toLocal8Bit());
            const Kept found = kept(wall);
            const QVector<Requests> &possible = m_moments[moment].second;
            QString difference;
            int which = 0;
            for (; which < possible.size(); ++which) {
                const QString other = differences(keptAfter(possible[which]), found);
                if (other.isNull())
                    break;
                difference = which == 0 ? other : difference;
            }
            QVERIFY2(which < possible.size(), context + difference.toLocal8Bit());
            m_others += which > 0 ? 1 : 0;
            QCOMPARE(DiskWork::leftovers(copy), QString());
        }
    }
}

void tst_PowerCuts::everythingAnsweredSurvives_data()
{
    QTest::addColumn<QString>("what");
    for (const char *const what : {"made", "opened", "killed", "not synchronised"})
        QTest::newRow(what) << QString::fromLatin1(what);
}

void tst_PowerCuts::everythingAnsweredSurvives()
{
    QFETCH(QString, what);
    const int rounds = isLong() ? 30 : 6;
    const int stride = isLong() ? 1 : 25;
    for (int round = 0; round < rounds; ++round) {
        const bool isMade = what != QLatin1String("made");
        // A failed request to one device may come back until the next one to that device: here there is only one.
        const int size = what == QLatin1String("not synchronised") ? round % 2 : round % DiskWork::wallSizes;
        begin(size, static_cast<quint32>(round), isMade);
        auto wall = std::make_unique<VirtualWall>();
        wall->journal().setLimit(1);
        if (!isMade && round % 2 == 0)
            QVERIFY(QDir().mkdir(m_directory)); // by someone else, and not synchronised
        QVERIFY(isMade ? wall->open(m_directory) : wall->create(m_directory, m_description));
        m_madeAt = isMade ? 0 : int(DiskSteps::changes().size());
        int number = 0;
        if (what == QLatin1String("killed")) {
            // Nothing reaches the disk any more, as after a kill. The next process finds that, synchronised or not.
            DiskSteps::watch(diskPath());
            DiskSteps::failAt(1 + 3 * round % 40, EIO, true);
            while (number < 60 && request(*wall, number + 1))
                ++number;
            QVERIFY(number < 60);
            const QVector<Requests> possible = m_possible;
            wall = std::make_unique<VirtualWall>();
            wall->journal().setLimit(1);
            DiskSteps::watch(diskPath());
            QVERIFY(wall->open(m_directory));
            const Kept found = kept(*wall);
            const auto shown = std::find_if(possible.begin(), possible.end(),
                                            [&](const Requests &each) { return keptAfter(each) == found; });
            QVERIFY(shown != possible.end());
            m_base = *shown + Requests{restarts};
            m_possible = {m_base};
            expect(m_possible); // what it shows, too, is there from now on
            number = 100;
        } else if (what == QLatin1String("not synchronised")) {
            DiskSteps::watch(diskPath());
            DiskSteps::failAt(1 + round % 40, EIO, round / 2 % 2 == 1);
        }
        for (const int last = number + 8; number < last;) {
            if (!request(*wall, ++number))
                DiskSteps::watch(diskPath()); // the disk works again
        }
        checkAllMoments(stride);
        if (QTest::currentTestFailed())
            return;
        wall.reset();
    }
}

QTEST_GUILESS_MAIN(tst_PowerCuts)
#include "tst_powercuts.moc"
