// Every bit of every file of a wall directory is flipped, every file is cut at every length, made longer, removed and
// exchanged for another one. Opening such a directory names the file, or shows the values that were saved; the same for
// planes that are read while the wall is open.

#include "simulator/DiskSteps.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "trust/DiskWork.h"
#include "trust/Options.h"

#include <simulator/WallFile.h>

#include <QtTest/QtTest>

#include <memory>

using namespace Simulator;
using DiskWork::differences;
using DiskWork::Kept;
using DiskWork::kept;
using TestSupport::Files;
using Trust::isLong;

namespace {

const QString lockFile = QStringLiteral("/lock");

/// With the description.
Kept everything(VirtualWall &wall)
{
    Kept values = kept(wall);
    values.insert(QStringLiteral("description"), wallToJson(wall.wall()));
    return values;
}

} // namespace

class tst_DiskDamage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyDamageIsNamed_data();
    void everyDamageIsNamed();
    void damageOfAnOpenWallIsNoticed();
    void cleanupTestCase();

private:
    /// Writes a wall's files; returns what it keeps.
    Kept make(int size, Files &files);
    void tryDamage(const Files &files, const QString &damaged, const QByteArray &context);

    const QTemporaryDir m_folder{TestSupport::folderTemplate()};
    const QString m_directory = m_folder.filePath(QStringLiteral("wall"));
    Kept m_expected;
    int m_number = 0;
    int m_bits = 0;
    int m_lengths = 0;
    int m_others = 0;
    int m_named = 0;
    int m_unchanged = 0;
    int m_openBits = 0;
    int m_planes = 0;
};

void tst_DiskDamage::cleanupTestCase()
{
    qInfo("measured: %d bits flipped, files cut at %d lengths, %d other changes: %d times named, %d times all values as "
          "saved; %d bits flipped while a wall was open, %d planes not returned, none with other values",
          m_bits, m_lengths, m_others, m_named, m_unchanged, m_openBits, m_planes);
}

Kept tst_DiskDamage::make(int size, Files &files)
{
    QDir(m_directory).removeRecursively();
    VirtualWall wall;
    wall.journal().setLimit(1);
    if (!wall.create(m_directory, DiskWork::wallOfSize(size)))
        qFatal("no wall");
    for (int number = 1; number < 40; ++number)
        DiskWork::request(wall, 5, number);
    wall.reset();
    if (!wall.open(m_directory)) // without what was only uploaded
        qFatal("not opened");
    const Kept expected = everything(wall);
    wall.reset();
    files = TestSupport::filesBelow(m_directory);
    // A process of this host that was killed left it.
    files.insert(lockFile, "99999999\nhost\n" + QSysInfo::machineHostName().toUtf8() + '\n');
    return expected;
}

void tst_DiskDamage::tryDamage(const Files &files, const QString &damaged, const QByteArray &context)
{
    TestSupport::restoreFiles(m_directory, files);
    VirtualWall wall;
    QString error;
    // In turn with and without the lock.
    const bool isRead = m_number++ % 2 == 0;
    if (isRead ? wall.loadReadOnly(m_directory, &error) : wall.open(m_directory, &error)) {
        ++m_unchanged;
        const QString difference = differences(m_expected, everything(wall));
        QVERIFY2(difference.isNull(), context + difference.toLocal8Bit());
        return;
    }
    ++m_named;
    const QString name = damaged.mid(damaged.lastIndexOf(QLatin1Char('/')) + 1);
    QVERIFY2(error.startsWith(m_directory) && error.contains(name), context + error.toLocal8Bit());
    // Refusing changed nothing but the lock.
    Files before = files;
    Files after = TestSupport::filesBelow(m_directory);
    before.remove(lockFile);
    after.remove(lockFile);
    QVERIFY2(before == after, context);
}

void tst_DiskDamage::everyDamageIsNamed_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("one device") << 0;
    QTest::newRow("two devices") << 2;
}

void tst_DiskDamage::everyDamageIsNamed()
{
    QFETCH(int, size);
    const TestSupport::LogCapture log(DiskWork::logCategory);
    Files files;
    m_expected = make(size, files);
    DiskSteps::watch(m_directory.toLocal8Bit()); // no waiting for the disk
    int stride = isLong() ? 1 : 97;
    if (size != 0)
        stride *= 11;
    int turn = 0;
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        const QByteArray &bytes = *it;
        for (int bit = turn++ % stride; bit < 8 * bytes.size(); bit += stride) {
            Files damaged = files;
            QByteArray &each = damaged[it.key()];
            each[bit / 8] = static_cast<char>(each[bit / 8] ^ (1 << bit % 8));
            ++m_bits;
            tryDamage(damaged, it.key(), "bit " + QByteArray::number(bit) + " of " + it.key().toLocal8Bit() + ": ");
            if (QTest::currentTestFailed())
                return;
        }
        const int steps = (stride + 4) / 5;
        for (int length = turn % steps; length < bytes.size(); length += steps) {
            Files damaged = files;
            damaged[it.key()].truncate(length);
            ++m_lengths;
            tryDamage(damaged, it.key(), "cut at " + QByteArray::number(length) + " of " + it.key().toLocal8Bit() + ": ");
            if (QTest::currentTestFailed())
                return;
        }
        // Longer, zeros of the same length, removed, another file of the wall.
        QVector<Files> others(3, files);
        others[0][it.key()].append('\0');
        others[1][it.key()].fill('\0');
        others[2].remove(it.key());
        for (auto other = files.cbegin(); other != files.cend(); ++other) {
            if (other == it)
                continue;
            others += files;
            others.last()[it.key()] = *other;
        }
        for (int i = 0; i < others.size(); ++i) {
            ++m_others;
            tryDamage(others[i], it.key(), "change " + QByteArray::number(i) + " of " + it.key().toLocal8Bit() + ": ");
            if (QTest::currentTestFailed())
                return;
        }
    }
    TestSupport::restoreFiles(m_directory, files);
    VirtualWall wall;
    QVERIFY(wall.open(m_directory));
    QCOMPARE(differences(m_expected, everything(wall)), QString());
    QVERIFY(m_named > 100);
}

void tst_DiskDamage::damageOfAnOpenWallIsNoticed()
{
    TestSupport::LogCapture log(DiskWork::logCategory);
    Files files;
    m_expected = make(0, files);
    VirtualWall wall;
    QVERIFY(wall.open(m_directory));
    const int stride = isLong() ? 1 : 23;
    const QString end = QStringLiteral(".planes");
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        if (!it.key().endsWith(end))
            continue;
        QFile file(m_directory + it.key());
        QVERIFY(file.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        for (int bit = 0; bit < 8 * it->size(); bit += stride) {
            const QByteArray context = "bit " + QByteArray::number(bit) + " of " + it.key().toLocal8Bit();
            QVERIFY(file.seek(bit / 8) && file.putChar(static_cast<char>((*it)[bit / 8] ^ (1 << bit % 8))));
            ++m_openBits;
            log.clear();
            const Kept found = everything(wall);
            int missing = 0;
            for (auto value = m_expected.cbegin(); value != m_expected.cend(); ++value) {
                if (found.value(value.key()) == value.value())
                    continue;
                QVERIFY2(value.key().contains(QStringLiteral("plane")) && found.value(value.key()).startsWith("0 "),
                         context + ": " + value.key().toLocal8Bit());
                ++missing;
            }
            QVERIFY2(missing == log.takeWarning().size(), context);
            m_planes += missing;
            QVERIFY(file.seek(bit / 8) && file.putChar((*it)[bit / 8]));
        }
    }
    QCOMPARE(differences(m_expected, everything(wall)), QString());
    QVERIFY(m_planes > 0);
}

QTEST_GUILESS_MAIN(tst_DiskDamage)
#include "tst_diskdamage.moc"
