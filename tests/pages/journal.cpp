#include <simulator/VirtualWall.h>

namespace Pages {

void replay(void (*runTheHost)())
{
    auto &wall = Simulator::VirtualWall::instance();
    QString error;
    if (!wall.replay().start(QStringLiteral("field.jsonl"), &error))
        qFatal("%s", qPrintable(error));
    runTheHost();
    const Simulator::ReplayReport report = wall.replay().report();
    if (!report.difference.isNull())
        qWarning("%s", qPrintable(report.difference));
}

} // namespace Pages
