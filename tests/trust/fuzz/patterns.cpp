// Test patterns on a screen of one to three devices: what the virtual wall shows is compared pixel by pixel with the pattern
// of the whole screen. Numbers at the limits are only required to leave a result code.

#include "Fuzz.h"

#include "support/Pictures.h"

#include <Correction/CabinetManager.h>
#include <Correction/ScreenManager.h>

#include <simulator/VirtualWall.h>

#include <QtCore/QVector>
#include <QtGui/QImage>

#include <functional>

using namespace Correction;

namespace {

const QString screenId = QStringLiteral("screen");

Simulator::VirtualWall &wall()
{
    return Simulator::VirtualWall::instance();
}

/// The cabinets' rectangles, and the devices' ones.
struct Layout {
    QVector<QRect> cabinets;
    QVector<QRect> devices;
};

Layout build(Fuzz::Bytes &input)
{
    Layout layout;
    QList<Simulator::Device> devices;
    QPoint corner(input.between(-20, 20), input.between(-20, 20));
    const bool isRow = input.flag();
    int id = 1;
    for (int left = 1 + input.below(3); left > 0; --left) {
        const QSize size(1 + input.below(7), 1 + input.below(7));
        const int columns = 1 + input.below(3);
        const int rows = 1 + input.below(3);
        devices.append(Simulator::gridDevice(QStringLiteral("device %1").arg(left), corner, columns, rows, size, id));
        id += columns * rows;
        // A hole here and there.
        QList<Simulator::Cabinet> &cabinets = devices.last().subScreens[0].cabinets;
        if (input.flag() && cabinets.size() > 1)
            cabinets.removeAt(input.below(cabinets.size()));
        for (const Simulator::Cabinet &cabinet : cabinets)
            layout.cabinets.append(devices.constLast().rect(devices.constLast().subScreens[0], cabinet));
        layout.devices.append(devices.constLast().rect());
        if (isRow)
            corner.rx() += columns * size.width() + input.below(3);
        else
            corner.ry() += rows * size.height() + input.below(3);
    }
    wall().setDevices(devices);
    wall().journal().clear();
    return layout;
}

void check(const Layout &layout, const std::function<QColor(const QPoint &)> &colorAt, const char *what)
{
    QRect bounds;
    for (const QRect &cabinet : layout.cabinets)
        bounds |= cabinet;
    QImage expected(bounds.size(), QImage::Format_RGB32);
    expected.fill(Qt::black);
    for (const QRect &cabinet : layout.cabinets) {
        for (int y = cabinet.top(); y <= cabinet.bottom(); ++y) {
            for (int x = cabinet.left(); x <= cabinet.right(); ++x)
                expected.setPixelColor(QPoint(x, y) - bounds.topLeft(), colorAt(QPoint(x, y)));
        }
    }
    const QString difference = TestSupport::difference(wall().pictures().pattern(screenId), expected);
    if (!difference.isEmpty())
        Fuzz::fail(QString::fromLatin1(what) + QStringLiteral(": ") + difference);
}

const QVector<QColor> fiveColors{QColor(255, 0, 0), QColor(0, 255, 0), QColor(0, 0, 255), QColor(9, 8, 7),
                                 QColor(100, 200, 50)};

void checkBoard(IScreen &screen, const Layout &layout, Fuzz::Bytes &input)
{
    DrawingCheckerboard board;
    board.squareW = 1 + input.below(8);
    board.squareH = 1 + input.below(8);
    board.lastSquareColumnW = 1 + input.below(board.squareW);
    board.lastSquareRowH = 1 + input.below(board.squareH);
    board.colors = fiveColors.mid(0, 2 + input.below(4));
    const QSize size(input.below(7) * board.squareW + board.lastSquareColumnW,
                     input.below(7) * board.squareH + board.lastSquareRowH);
    board.regionRect = QRect(QPoint(input.between(-60, 60), input.between(-60, 60)), size);
    Fuzz::same<int>(screen.setCheckerboardlImage(board), enSuccess, "the code of a board");
    check(
        layout,
        [&](const QPoint &pixel) {
            if (!board.regionRect.contains(pixel))
                return QColor(0, 0, 0);
            const QPoint place = pixel - board.regionRect.topLeft();
            return board.colors[(place.x() / board.squareW + place.y() / board.squareH) % board.colors.size()];
        },
        "a checkerboard");
}

/// Blocks of one pixel are in step on several devices. Larger ones, and an offset, on a device on which the pattern begins.
void checkPixels(IScreen &screen, const Layout &layout, Fuzz::Bytes &input)
{
    DrawingParameter param;
    param.pixelBlockInRect = QRect(0, 0, 1, 1);
    param.screenPartRect = QRect(input.between(-60, 60), input.between(-60, 60), 1 + input.below(60), 1 + input.below(60));
    if (layout.devices.size() == 1 && layout.devices[0].contains(param.screenPartRect.topLeft()))
        param.pixelBlockInRect = QRect(input.below(6), input.below(6), 1 + input.below(5), 1 + input.below(5));
    param.pixelBlockIntervalX = input.below(8);
    param.pixelBlockIntervalY = input.below(8);
    param.color = QColor(1, 20, 255);
    Fuzz::same<int>(screen.setPixelImage(param), enSuccess, "the code of a pixel image");
    const auto isLit = [](int place, int first, int length, int interval) {
        return place >= first && (place - first) / length % (interval + 1) == 0;
    };
    check(
        layout,
        [&](const QPoint &pixel) {
            const QPoint place = pixel - param.screenPartRect.topLeft();
            const QRect &block = param.pixelBlockInRect;
            return param.screenPartRect.contains(pixel)
                           && isLit(place.x(), block.x(), block.width(), param.pixelBlockIntervalX)
                           && isLit(place.y(), block.y(), block.height(), param.pixelBlockIntervalY)
                       ? param.color
                       : QColor(0, 0, 0);
        },
        "a pixel image");
}

QRect anyRect(Fuzz::Bytes &input)
{
    QRect rect;
    rect.setCoords(input.number(), input.number(), input.number(), input.number());
    return rect;
}

void anyNumbers(IScreen &screen, Fuzz::Bytes &input)
{
    int code = enSuccess;
    if (input.flag()) {
        DrawingCheckerboard board;
        board.regionRect = anyRect(input);
        board.squareW = input.number();
        board.squareH = input.number();
        board.lastSquareColumnW = input.number();
        board.lastSquareRowH = input.number();
        board.colors = fiveColors.mid(0, input.below(6));
        code = screen.setCheckerboardlImage(board);
    } else {
        DrawingParameter param;
        param.screenPartRect = anyRect(input);
        param.pixelBlockInRect = anyRect(input);
        param.pixelBlockIntervalX = input.number();
        param.pixelBlockIntervalY = input.number();
        param.color = QColor(255, 255, 255);
        code = screen.setPixelImage(param);
    }
    // A device refuses what it cannot draw.
    Fuzz::require(code == enSuccess || code == enArgumentMismatch || code == enTimeout, "the code of a pattern");
    wall().pictures().pattern(screenId);
}

} // namespace

void Fuzz::setUp()
{
    wall();
}

void Fuzz::run(Bytes &input)
{
    const Layout layout = build(input);
    same<int>(ScreenManager::getInstance()->refreshScreen(), enSuccess, "the code of the refresh");
    IScreen *const screen = ScreenManager::getInstance()->tryGetScreen(screenId);
    require(screen, "no screen");
    for (int left = 8; left > 0 && !input.isAtEnd(); --left) {
        switch (input.below(4)) {
        case 0:
            anyNumbers(*screen, input);
            break;
        case 1:
            checkPixels(*screen, layout, input);
            break;
        default:
            checkBoard(*screen, layout, input);
        }
    }
}
