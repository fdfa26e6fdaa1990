#include "Patterns.h"
#include "Rows.h"
#include "files/Json.h"
#include "session/Transfer.h"

using namespace Correction;

namespace Ctl {
namespace {

void report(Session &session, const QString &screenId, const QString &pattern, const QRect &rect)
{
    session.out().data({{QStringLiteral("target"), screenId},
                        {QStringLiteral("pattern"), pattern},
                        {QStringLiteral("rect"), rectJson(rect)}});
    if (!session.dryRun())
        session.out().line(QStringLiteral("%1: %2 over %3").arg(screenId, pattern, rectText(rect)));
}

void patternPixel(Session &session)
{
    const Arguments &arguments = session.arguments();
    IScreen &screen = session.screen();
    DrawingParameter parameter;
    parameter.screenPartRect = chosenRect(session, screen);
    parameter.pixelBlockInRect = QRect(QPoint(arguments.integer("--offset-x"), arguments.integer("--offset-y")),
                                       parseSize(arguments.text("--block", QStringLiteral("1x1"))).value_or(QSize(1, 1)));
    parameter.color = arguments.color("--color", Qt::white);
    parameter.pixelBlockIntervalX = arguments.integer("--interval-x", 1);
    parameter.pixelBlockIntervalY = arguments.integer("--interval-y", 1);
    check(screen.setPixelImage(parameter), QStringLiteral("screen %1: drawing the pixel image").arg(screen.getID()));
    report(session, screen.getID(), QStringLiteral("pixel"), parameter.screenPartRect);
}

void patternCheckerboard(Session &session)
{
    const Arguments &arguments = session.arguments();
    DrawingCheckerboard board;
    for (const QString &text : arguments.texts("--color"))
        board.colors.append(parseColor(text).value_or(QColor()));
    if (board.colors.isEmpty())
        board.colors = {QColor(Qt::white), QColor(Qt::black)};
    if (board.colors.size() < 2)
        throw Failure(ExitUsage, QStringLiteral("--color: a checkerboard has at least two colours"));
    IScreen &screen = session.screen();
    board.regionRect = chosenRect(session, screen);
    const QSize square = parseSize(arguments.text("--square", QStringLiteral("64x64"))).value_or(QSize(64, 64));
    // The last column and row have the remaining size, or a full square without a remainder.
    const auto last = [](int length, int side) { return length % side == 0 ? side : length % side; };
    board.squareW = square.width();
    board.squareH = square.height();
    board.lastSquareColumnW = last(board.regionRect.width(), board.squareW);
    board.lastSquareRowH = last(board.regionRect.height(), board.squareH);
    check(screen.setCheckerboardlImage(board), QStringLiteral("screen %1: drawing the checkerboard").arg(screen.getID()));
    report(session, screen.getID(), QStringLiteral("checkerboard"), board.regionRect);
}

void patternMode(Session &session)
{
    IScreen &screen = session.screen();
    const int mode = session.arguments().integer("MODE");
    check(screen.setPixelImageMode(static_cast<unsigned char>(mode)),
          QStringLiteral("screen %1: choosing image mode %2").arg(screen.getID(), QString::number(mode)));
    report(session, screen.getID(), QStringLiteral("mode %1").arg(mode), Session::rectOf(screen));
}

void patternClear(Session &session)
{
    IScreen &screen = session.screen();
    check(clearTestImage(screen), QStringLiteral("screen %1: clearing the test image").arg(screen.getID()));
    report(session, screen.getID(), QStringLiteral("clear"), Session::rectOf(screen));
}

} // namespace

EnumErrorCode clearTestImage(IScreen &screen)
{
    QRect rect;
    const EnumErrorCode code = screen.tryGetRect(rect);
    if (code != enSuccess)
        return code;
    // A board that misses every sub-screen makes each show the plain corrected image.
    DrawingCheckerboard board;
    board.colors = {QColor(Qt::black), QColor(Qt::black)};
    board.regionRect = QRect(rect.x() - 2, rect.y() - 2, 2, 2);
    board.squareW = board.squareH = board.lastSquareColumnW = board.lastSquareRowH = 1;
    return screen.setCheckerboardlImage(board);
}

QVector<Verb> patternVerbs()
{
    return {
        transient(writes(
            "pattern pixel", "Light pixel blocks at equal distances on black",
            {screenArgument, rectOption, option("--block", Value::Size, "size of a lit block; default: 1x1"),
             number(option("--offset-x", Value::Number, "where the first block begins, in pixels; default: 0"), 0, intMax),
             number(option("--offset-y", Value::Number, "the same downwards; default: 0"), 0, intMax),
             number(option("--interval-x", Value::Number, "block widths left dark between two blocks; default: 1"), 0,
                    65535),
             number(option("--interval-y", Value::Number, "block heights left dark between two blocks; default: 1"), 0,
                    65535),
             option("--color", Value::Color, "default: white"), deviceOption},
            "correctionctl pattern pixel arena-main --interval-x 3 --interval-y 3 --color '#00ff00'", "pattern",
            patternPixel, "IScreen::setPixelImage ISubScreen::setPixelImage")),
        transient(
            writes("pattern checkerboard", "Show a checkerboard",
                   {screenArgument, rectOption, option("--square", Value::Size, "size of a square; default: 64x64"),
                    repeated(option("--color", Value::Color, "one of the colours, at least two; default: white and black")),
                    deviceOption},
                   "correctionctl pattern checkerboard arena-main --square 50x50 --color white --color '#f08200'", "pattern",
                   patternCheckerboard, "IScreen::setCheckerboardlImage ISubScreen::setCheckerboardlImage")),
        transient(
            writes("pattern mode", "Choose the image mode",
                   {screenArgument, number(argument("MODE", Value::Number, "the device's number of the mode"), 0, 255, ""),
                    deviceOption},
                   "correctionctl pattern mode arena-main 1", "pattern", patternMode,
                   "IScreen::setPixelImageMode ISubScreen::setPixelImageMode")),
        transient(writes("pattern clear", "Take the test image away", {screenArgument, deviceOption},
                         "correctionctl pattern clear arena-main", "pattern", patternClear,
                         "IScreen::setCheckerboardlImage ISubScreen::setCheckerboardlImage")),
    };
}

} // namespace Ctl
