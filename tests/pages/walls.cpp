#include <simulator/VirtualWall.h>

#include <QtCore/QDebug>

namespace Pages {

void load()
{
    QString error;
    if (!Simulator::VirtualWall::instance().load(QStringLiteral("stadium"), &error)) // or the path of a file
        qCritical().noquote() << error;
}

} // namespace Pages
