#include "Run.h"
#include "files/Files.h"
#include "files/Json.h"
#include "session/Service.h"
#include "session/Session.h"

#include <QtCore/QJsonDocument>

namespace Ctl {
namespace Run {

void wallCreate(Session &session)
{
    const QString directory = session.arguments().text("DIRECTORY");
    const QString source = session.arguments().text("--wall", QStringLiteral("demo"));
    Service::create(directory, source);
    session.out().data({{QStringLiteral("target"), directory}, {QStringLiteral("done"), QStringLiteral("created")}});
    session.out().line(QStringLiteral("%1: a wall directory, made from %2").arg(directory, source));
}

void wallDescribe(Session &session)
{
    session.openService();
    const QByteArray description = Service::describe();
    session.out().data({{QStringLiteral("wall"), QJsonDocument::fromJson(description).object()}});
    if (session.arguments().has("FILE")) {
        writeFile(session.arguments().text("FILE"), description);
        session.out().line(QStringLiteral("%1: written").arg(session.arguments().text("FILE")));
    } else if (!session.out().json()) {
        session.out().raw(description);
    }
}

void wallRender(Session &session)
{
    const QString path = session.arguments().text("FILE");
    if (formOf(path) != FileForm::Png)
        throw Failure(ExitUsage, path + QStringLiteral(": expected a .png"));
    checkWritable(path);
    const QString id = session.screenOf(session.arguments().text("SCREEN")).getID();
    const QString what = session.arguments().text("--what", QStringLiteral("layout"));
    const auto picture = what == QLatin1String("layout")    ? Service::Picture::Layout
                         : what == QLatin1String("pattern") ? Service::Picture::Pattern
                                                            : Service::Picture::Coefficients;
    writePicture(path, Service::render(picture, id, session.arguments().integer("--channel")));
    session.out().data({{QStringLiteral("target"), id},
                        {QStringLiteral("done"), QStringLiteral("rendered")},
                        {QStringLiteral("file"), path}});
    session.out().line(QStringLiteral("%1: %2 drawn into %3").arg(id, what, path));
}

} // namespace Run
} // namespace Ctl
