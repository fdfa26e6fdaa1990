// A process is killed while it saves; what it leaves behind is the state of one request, whole, and no older than the last
// one that was answered.

#include "DiskSteps.h"
#include "Generations.h"

#include <QtTest/QtTest>

#include <algorithm>
#include <random>

using namespace Simulator;

namespace {

/// Waits until a process has ended.
bool isOver(QProcess &process)
{
    return process.state() == QProcess::NotRunning || process.waitForFinished(-1);
}

} // namespace

class tst_Crash : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void everyStepOfASaveMayBeTheLast();
    void anyMomentMayBeTheLast();

private:
    QProcess *start(const QStringList &arguments);
    /// Reads the process's output until it ends or has printed `lines` lines; returns the number of the last answered
    /// request.
    int follow(QProcess &process, int lines);
    void check(int answered);

    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_directory;
    int m_found = 0;
};

void tst_Crash::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    m_directory = m_folder->filePath(QStringLiteral("wall"));
    m_found = 0;
    QString error;
    QVERIFY2(VirtualWall::instance().create(m_directory, Generations::wall(), &error), qPrintable(error));
    VirtualWall::instance().reset();
}

void tst_Crash::cleanup()
{
    VirtualWall::instance().reset();
    m_folder.reset();
}

QProcess *tst_Crash::start(const QStringList &arguments)
{
    auto *const process = new QProcess(this);
    process->start(QStringLiteral(WALLWRITER), QStringList{m_directory} + arguments);
    return process;
}

int tst_Crash::follow(QProcess &process, int lines)
{
    int answered = m_found;
    for (int line = 0; line < lines; ++line) {
        while (!process.canReadLine() && process.waitForReadyRead(-1)) {
        }
        const QByteArray text = process.readLine().trimmed();
        if (text.isEmpty())
            break;
        if (text.startsWith("saved "))
            answered = text.mid(6).toInt();
    }
    return answered;
}

void tst_Crash::check(int answered)
{
    QString error;
    QVERIFY2(VirtualWall::instance().open(m_directory, &error), qPrintable(error));
    m_found = Generations::found();
    VirtualWall::instance().reset();
    QVERIFY2(m_found == answered || m_found == answered + 1,
             qPrintable(QStringLiteral("found %1, answered %2").arg(m_found).arg(answered)));

    // No other files are left.
    const QStringList files = QDir(m_directory + QStringLiteral("/devices/A")).entryList(QDir::Files | QDir::Hidden);
    QVERIFY2(files.size() <= 2 && files.contains(QStringLiteral("state.json")), qPrintable(files.join(QLatin1Char(' '))));
    QCOMPARE(QDir(m_directory).entryList(QDir::Files | QDir::Hidden),
             (QStringList{QStringLiteral("wall.json"), QStringLiteral("wall.sha1")}));
}

void tst_Crash::everyStepOfASaveMayBeTheLast()
{
    // From the lock on over two generations and a bit.
    for (int step = 1; step <= 40; ++step) {
        const std::unique_ptr<QProcess> process(start({QStringLiteral("save"), QString::number(step)}));
        const int answered = follow(*process, std::numeric_limits<int>::max());
        QVERIFY(isOver(*process));
        QCOMPARE(process->exitStatus(), QProcess::CrashExit);
        check(answered);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("killed at step %1").arg(step)));
    }
    QVERIFY(m_found > 40); // most of the rounds saved something
}

void tst_Crash::anyMomentMayBeTheLast()
{
    for (int round = 0; round < 60; ++round) {
        std::mt19937 random(static_cast<std::mt19937::result_type>(round));
        // In turn at a given step of the process itself, and by a signal after some answers, at any point of its work.
        const bool byItself = round % 2 == 0;
        QStringList arguments{QStringLiteral("save")};
        if (byItself)
            arguments += QString::number(1 + random() % 60);
        const std::unique_ptr<QProcess> process(start(arguments));
        int answered = follow(*process, byItself ? std::numeric_limits<int>::max() : 1 + int(random() % 6));
        if (!byItself) {
            process->kill();
            QVERIFY(isOver(*process));
            const int more = follow(*process, std::numeric_limits<int>::max());
            answered = std::max(answered, more);
        }
        QVERIFY(isOver(*process));
        check(answered);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QStringLiteral("round %1").arg(round)));
    }
}

QTEST_GUILESS_MAIN(tst_Crash)
#include "tst_crash.moc"
