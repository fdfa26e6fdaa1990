#include "Rows.h"
#include "files/Files.h"
#include "files/Json.h"
#include "session/Service.h"
#include "session/Session.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>

namespace Ctl {

namespace {
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
    Service::PictureForm form;
    form.channel = session.arguments().integer("--channel");
    form.width = session.arguments().integer("--width");
    if (session.arguments().has("--range")) {
        static const QRegularExpression numbers(QStringLiteral("\\A([0-9]{1,5}):([0-9]{1,5})\\z"));
        const auto match = numbers.match(session.arguments().text("--range"));
        form.least = match.captured(1).toInt();
        form.greatest = match.captured(2).toInt();
        if (!match.hasMatch() || form.greatest <= form.least)
            throw Failure(ExitUsage, QStringLiteral("--range %1: expected LEAST:GREATEST, such as 32000:36000")
                                         .arg(session.arguments().text("--range")));
    }
    const QString id = session.screenOf(session.arguments().text("SCREEN")).getID();
    const QString what = session.arguments().text("--what", QStringLiteral("layout"));
    const auto picture = what == QLatin1String("layout")    ? Service::Picture::Layout
                         : what == QLatin1String("pattern") ? Service::Picture::Pattern
                                                            : Service::Picture::Coefficients;
    if (session.arguments().has("--range") && picture != Service::Picture::Coefficients)
        throw Failure(ExitUsage, QStringLiteral("--range belongs to --what coefficients"));
    const QImage image = Service::render(picture, id, form);
    if (image.isNull())
        throw Failure(ExitNoMemory, QStringLiteral("screen %1: no picture: it is too large (choose a --width), or saved "
                                                   "coefficients cannot be read (--verbose shows the reason)")
                                        .arg(id));
    writePicture(path, image);
    session.out().data({{QStringLiteral("target"), id},
                        {QStringLiteral("done"), QStringLiteral("rendered")},
                        {QStringLiteral("file"), path}});
    session.out().line(QStringLiteral("%1: %2 drawn into %3").arg(id, what, path));
    if (picture == Service::Picture::Pattern)
        session.out().line(
            QStringLiteral("the picture is black: the virtual wall starts with this program and shows no test "
                           "image yet"));
}

} // namespace

QVector<Verb> wallVerbs()
{
    Parameter rangeOption = option("--range", Value::Text, "colour scale of the coefficients; default: that of the values");
    rangeOption.metavar = "LEAST:GREATEST";
    return {
        virtualOnly(reads("wall create", "Make a wall directory: a virtual wall that keeps what was saved",
                          {argument("DIRECTORY", Value::Directory, "where; must not hold a wall yet")},
                          "correctionctl --wall demo wall create ./arena", "done", wallCreate, "")),
        virtualOnly(reads("wall describe", "Print the description of the wall as a wall file",
                          {optional(argument("FILE", Value::File, "write it there instead"))},
                          "correctionctl --wall demo wall describe arena.json", "description", wallDescribe, "")),
        virtualOnly(reads(
            "wall render", "Draw what a screen is made of, holds or shows",
            {screenArgument, argument("FILE", Value::File, "the picture, a .png"),
             choice(option("--what", Value::Choice, "default: layout"), "layout|coefficients|pattern"),
             number(option("--channel", Value::Number, "which value of each pixel the coefficients show; default: 0"), 0, 8),
             rangeOption, widthOption},
            "correctionctl --wall ./arena wall render arena-main green.png --what coefficients --channel 4", "done",
            wallRender, "")),
        virtualOnly(wrapping(reads("record", "Run another verb and keep its conversation with the devices in a new file",
                                   {argument("FILE", Value::File, "JSON Lines, one call a line")},
                                   "correctionctl record night.jsonl write arena-main before.npy", "", nullptr, ""))),
        virtualOnly(wrapping(reads("replay", "Run another verb against a recorded conversation",
                                   {argument("FILE", Value::File, "what `record` wrote")},
                                   "correctionctl replay night.jsonl write arena-main before.npy", "", nullptr, ""))),
    };
}

} // namespace Ctl
