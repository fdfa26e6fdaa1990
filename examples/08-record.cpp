// Filters before a backend: a dry run that holds changes back, then a recording of the calls as they are.

#include <Correction/Correction.h>
#include <adapter/DryRun.h>
#include <adapter/Recorder.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QLoggingCategory>

using namespace Correction;

namespace {

/// What the host does with the wall, whatever backend is behind it.
int work()
{
    const int found = ScreenManager::getInstance()->refreshScreen();
    IScreen *const screen = ScreenManager::getInstance()->tryGetScreen(QStringLiteral("arena-main"));
    return screen ? screen->setBrightness(4000) : found;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("correction=false")); // result codes alone
    Simulator::VirtualWall backend;                                       // or the one of real devices
    if (!backend.load(QStringLiteral("demo")))
        return 1;

    Adapter::DryRun dryRun(backend);
    Adapter::setBackend(&dryRun);
    qInfo("dry run: %d", work());
    const QVector<Adapter::Call> heldBack = dryRun.heldBack();
    for (const Adapter::Call &call : heldBack)
        qInfo("not sent to %s: %s", qPrintable(call.deviceKey), qPrintable(call.operation));

    QString error;
    const QString journal = QStringLiteral("night.jsonl"); // must be new
    Adapter::Recorder recorder(backend);
    if (!recorder.open(journal, error)) {
        qCritical("%s", qPrintable(error));
        return 1;
    }
    Adapter::setBackend(&recorder);
    qInfo("with changes: %d", work());
    if (!recorder.close(error)) {
        qCritical("%s", qPrintable(error));
        return 1;
    }
    QFile file(journal);
    if (!file.open(QIODevice::ReadOnly))
        return 1;
    const QList<QByteArray> lines = file.readAll().trimmed().split('\n');
    qInfo("%s has %d lines", qPrintable(journal), lines.size());
    return 0;
}
