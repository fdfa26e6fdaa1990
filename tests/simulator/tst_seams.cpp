// Test patterns over many devices, sent through the library and drawn by the virtual wall from each device's own request:
// compared with the pattern drawn at once, and with the formulas by which the library cuts it up.

#include <Correction/Correction.h>

#include <simulator/VirtualWall.h>
#include <support/LogCapture.h>
#include <support/Pictures.h>

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <algorithm>
#include <optional>

using namespace Correction;
using Simulator::VirtualWall;
using TestSupport::difference;

namespace {

constexpr quint32 partitions = 300;

const QString screenId = QStringLiteral("screen");

VirtualWall &wall()
{
    return VirtualWall::instance();
}

// Random walls

/// Cuts a rectangle into up to `cuts` + 1 rectangles.
void cut(const QRect &rect, int cuts, QRandomGenerator &random, QVector<QRect> &parts)
{
    const bool across = random.bounded(2) == 0;
    const int length = across ? rect.width() : rect.height();
    if (cuts <= 0 || length < 2) {
        parts += rect;
        return;
    }
    const int at = random.bounded(1, length);
    QRect first = rect;
    QRect second = rect;
    if (across) {
        first.setWidth(at);
        second.setLeft(rect.left() + at);
    } else {
        first.setHeight(at);
        second.setTop(rect.top() + at);
    }
    const int firstCuts = random.bounded(cuts);
    cut(first, firstCuts, random, parts);
    cut(second, cuts - 1 - firstCuts, random, parts);
}

QPoint somewhere(QRandomGenerator &random)
{
    return QPoint(random.bounded(-200, 200), random.bounded(-200, 200));
}

/// The cabinets of a device, screen coordinates.
struct Part {
    QString deviceKey;
    QVector<QRect> cabinets;

    QRect frame() const
    {
        QRect united;
        for (const QRect &cabinet : cabinets)
            united |= cabinet;
        return united;
    }
};

/// A screen whose devices take whole rectangles, or cabinets from anywhere; with holes.
QVector<Part> randomParts(QRandomGenerator &random)
{
    const QRect area(somewhere(random), QSize(random.bounded(4, 90), random.bounded(4, 70)));
    QVector<QRect> frames;
    cut(area, random.bounded(9), random, frames);
    QVector<Part> parts;
    for (int i = 0; i < frames.size(); ++i) {
        Part part{QStringLiteral("%1-%2").arg(random.bounded(100)).arg(i), {}};
        QVector<QRect> cabinets;
        cut(frames[i], random.bounded(7), random, cabinets);
        for (const QRect &cabinet : qAsConst(cabinets)) {
            if (part.cabinets.isEmpty() || random.bounded(6) > 0)
                part.cabinets += cabinet;
        }
        parts += part;
    }
    const bool scattered = random.bounded(4) == 0;
    for (int i = 0; scattered && i < parts.size(); ++i) {
        Part &other = parts[random.bounded(parts.size())];
        QRect &mine = parts[i].cabinets[random.bounded(parts[i].cabinets.size())];
        std::swap(mine, other.cabinets[random.bounded(other.cabinets.size())]);
    }
    return parts;
}

/// The device that has these cabinets, spread over sub-screens of any origin.
Simulator::Device device(const Part &part, int &lastId, QRandomGenerator &random)
{
    Simulator::Device device;
    device.key = part.deviceKey;
    device.screenId = screenId;
    device.screenName = QStringLiteral("Screen");
    device.screenPosition = somewhere(random);
    for (int i = random.bounded(1, 4); i > 0; --i)
        device.subScreens += Simulator::SubScreen{somewhere(random), {}};
    for (const QRect &rect : part.cabinets) {
        Simulator::SubScreen &subScreen = device.subScreens[random.bounded(device.subScreens.size())];
        Simulator::Cabinet cabinet;
        cabinet.id = QString::number(++lastId);
        cabinet.position = rect.topLeft() - device.screenPosition - subScreen.position;
        cabinet.size = rect.size();
        subScreen.cabinets += cabinet;
    }
    return device;
}

// Random patterns

/// A rectangle that meets the screen more often than not, or just the screen's.
QRect randomRegion(const QRect &screen, QRandomGenerator &random)
{
    if (random.bounded(3) == 0)
        return screen;
    const QSize size(random.bounded(1, screen.width() + 20), random.bounded(1, screen.height() + 20));
    return QRect(
        screen.topLeft() + QPoint(random.bounded(-10, screen.width() + 3), random.bounded(-10, screen.height() + 3)), size);
}

QColor randomColor(QRandomGenerator &random)
{
    return QColor(random.bounded(256), random.bounded(256), random.bounded(256));
}

/// A board whose last column and row are those that its region leaves over.
DrawingCheckerboard randomBoard(const QRect &screen, QRandomGenerator &random)
{
    DrawingCheckerboard board;
    board.regionRect = randomRegion(screen, random);
    board.squareW = random.bounded(1, 30);
    board.squareH = random.bounded(1, 30);
    board.lastSquareColumnW = (board.regionRect.width() - 1) % board.squareW + 1;
    board.lastSquareRowH = (board.regionRect.height() - 1) % board.squareH + 1;
    for (int i = random.bounded(2, 7); i > 0; --i)
        board.colors += randomColor(random);
    return board;
}

DrawingParameter randomPixels(const QRect &screen, QRandomGenerator &random)
{
    DrawingParameter pixels;
    pixels.screenPartRect = randomRegion(screen, random);
    pixels.pixelBlockInRect = QRect(0, 0, 1, 1);
    pixels.pixelBlockIntervalX = random.bounded(9);
    pixels.pixelBlockIntervalY = random.bounded(9);
    pixels.color = randomColor(random);
    return pixels;
}

// Expected pictures

/// A picture of the screen, black where there is no cabinet; `colorAt` returns the colour of a pixel of a device.
template <typename ColorAt>
QImage drawn(const QVector<Part> &parts, ColorAt colorAt)
{
    QRect screen;
    for (const Part &part : parts)
        screen |= part.frame();
    QImage image(screen.size(), QImage::Format_RGB32);
    image.fill(Qt::black);
    for (const Part &part : parts) {
        for (const QRect &cabinet : part.cabinets) {
            for (int y = cabinet.top(); y <= cabinet.bottom(); ++y) {
                for (int x = cabinet.left(); x <= cabinet.right(); ++x)
                    image.setPixel(QPoint(x, y) - screen.topLeft(), colorAt(part, QPoint(x, y)).rgb());
            }
        }
    }
    return image;
}

QColor boardColor(const DrawingCheckerboard &board, const QPoint &pixel)
{
    if (!board.regionRect.contains(pixel))
        return Qt::black;
    const QPoint place = pixel - board.regionRect.topLeft();
    return board.colors[(place.x() / board.squareW + place.y() / board.squareH) % board.colors.size()];
}

/// One axis of the piece of a board that a device draws, by the formulas: the sizes of its first and last square, the number
/// of the first one modulo the number of colours, and the square of each pixel.
struct Axis {
    int first = 0;
    int last = 0;
    int phase = 0;
    QVector<int> squares;

    /// `distance`: from the board to the piece. All in pixels.
    Axis(int distance, int piece, int board, int square, int boardLast, int colors)
    {
        const int rest = square - distance % square;
        if (distance + piece >= board) {
            first = distance + rest + boardLast <= board ? rest : piece;
            last = distance + rest + boardLast <= board ? boardLast : piece;
        } else if (piece >= rest) {
            first = rest;
            last = (distance + piece) % square == 0 ? square : (distance + piece) % square;
        } else {
            first = piece;
            last = piece;
        }
        const int from = distance + piece >= board && piece < boardLast ? distance + piece - boardLast : distance;
        phase = from % (colors * square) / square;

        squares.fill(0, std::min(first, piece));
        int number = 1;
        for (; squares.size() < piece - last; ++number) {
            for (int i = 0; i < square && squares.size() < piece - last; ++i)
                squares += number;
        }
        while (squares.size() < piece)
            squares += number;
    }
};

QColor boardColorByFormulas(const DrawingCheckerboard &board, const QRect &frame, const QPoint &pixel)
{
    if (!board.regionRect.contains(pixel))
        return Qt::black;
    const QRect piece = frame & board.regionRect;
    const QPoint distance = piece.topLeft() - board.regionRect.topLeft();
    const int count = board.colors.size();
    const Axis columns(distance.x(), piece.width(), board.regionRect.width(), board.squareW, board.lastSquareColumnW, count);
    const Axis rows(distance.y(), piece.height(), board.regionRect.height(), board.squareH, board.lastSquareRowH, count);
    const QPoint place = pixel - piece.topLeft();
    const int square = columns.phase + rows.phase + columns.squares[place.x()] + rows.squares[place.y()];
    return board.colors[square % count];
}

/// Whether a pixel of a piece is lit along one axis; `place` is counted from the piece, `distance` from the pattern to it.
bool litByFormulas(int place, int distance, int offset, int block, int interval)
{
    int phase = distance % (block * (interval + 1));
    if (phase != 0)
        phase = interval + 1 - phase;
    const int first = phase + offset;
    if (place < first)
        return false;
    return (place - first) % (block * (interval + 1)) < block;
}

QColor pixelColorByFormulas(const DrawingParameter &pixels, const QRect &frame, const QPoint &pixel)
{
    if (!pixels.screenPartRect.contains(pixel))
        return Qt::black;
    const QRect piece = frame & pixels.screenPartRect;
    const QPoint distance = piece.topLeft() - pixels.screenPartRect.topLeft();
    const QPoint place = pixel - piece.topLeft();
    const QRect &block = pixels.pixelBlockInRect;
    const bool lit = litByFormulas(place.x(), distance.x(), block.x(), block.width(), pixels.pixelBlockIntervalX)
                     && litByFormulas(place.y(), distance.y(), block.y(), block.height(), pixels.pixelBlockIntervalY);
    return lit ? pixels.color : QColor(Qt::black);
}

} // namespace

class tst_Seams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { ScreenManager::getInstance()->init(); }
    void init()
    {
        wall().reset();
        m_log.emplace();
    }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        QCOMPARE(m_log->takeWarning(), QStringList());
        QCOMPARE(wall().journal().notes(), QStringList());
    }
    void cleanupTestCase() { m_log.reset(); }

    void aCheckerboardHasNoSeam_data() { addSeeds(); }
    void aCheckerboardHasNoSeam();
    void aBoardWithAWideEndFollowsTheFormulas_data() { addSeeds(); }
    void aBoardWithAWideEndFollowsTheFormulas();
    void aSubScreensBoardLeavesTheOthersAlone_data() { addSeeds(); }
    void aSubScreensBoardLeavesTheOthersAlone();
    void onePixelBlocksHaveNoSeam_data() { addSeeds(); }
    void onePixelBlocksHaveNoSeam();
    void pixelBlocksFollowTheFormulas_data() { addSeeds(); }
    void pixelBlocksFollowTheFormulas();
    void aCabinetWithoutPlaceDoesNotMoveThePattern();

private:
    static void addSeeds()
    {
        QTest::addColumn<quint32>("seed");
        for (quint32 seed = 1; seed <= partitions; ++seed)
            QTest::addRow("seed %u", seed) << seed;
    }

    /// Puts the devices up and discovers them.
    void discover(const QList<Simulator::Device> &devices)
    {
        wall().setDevices(devices);
        QCOMPARE(ScreenManager::getInstance()->refreshScreen(), enSuccess);
        m_log->clear(); // Discovery mentions each new sub-screen as missing.
        m_screen = ScreenManager::getInstance()->tryGetScreen(screenId);
        QVERIFY(m_screen);
    }

    void discoverRandomWall(QRandomGenerator &random)
    {
        m_parts = randomParts(random);
        QList<Simulator::Device> devices;
        int lastId = 0;
        m_rect = QRect();
        for (const Part &part : qAsConst(m_parts)) {
            devices += device(part, lastId, random);
            m_rect |= part.frame();
        }
        discover(devices);
    }

    std::optional<TestSupport::LogCapture> m_log; // one for each test: Qt Test installs its own handler first
    QVector<Part> m_parts;
    QRect m_rect;                // of the screen
    IScreen *m_screen = nullptr; // the manager's
};

void tst_Seams::aCheckerboardHasNoSeam()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(seed);
    discoverRandomWall(random);
    for (int i = 0; i < 4; ++i) {
        const DrawingCheckerboard board = randomBoard(m_rect, random);
        QCOMPARE(m_screen->setCheckerboardlImage(board), enSuccess);
        const QImage direct = drawn(m_parts, [&](const Part &, const QPoint &pixel) { return boardColor(board, pixel); });
        QCOMPARE(difference(wall().pictures().pattern(screenId), direct), QString());
    }
}

void tst_Seams::aBoardWithAWideEndFollowsTheFormulas()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(10000 + seed);
    discoverRandomWall(random);
    for (int i = 0; i < 4; ++i) {
        DrawingCheckerboard board = randomBoard(m_rect, random);
        if (random.bounded(2) == 0) {
            // A screen accepts what comes out even: its last column and row may be whole squares wider.
            const auto widen = [&](int last, int square, int length) {
                return last + random.bounded((length - last) / square + 1) * square;
            };
            board.lastSquareColumnW = widen(board.lastSquareColumnW, board.squareW, board.regionRect.width());
            board.lastSquareRowH = widen(board.lastSquareRowH, board.squareH, board.regionRect.height());
            QCOMPARE(m_screen->setCheckerboardlImage(board), enSuccess);
        } else {
            // A sub-screen accepts any.
            board.lastSquareColumnW = random.bounded(1, board.regionRect.width() + 1);
            board.lastSquareRowH = random.bounded(1, board.regionRect.height() + 1);
            for (const Part &part : qAsConst(m_parts))
                QCOMPARE(m_screen->tryGetSubScreen(part.deviceKey)->setCheckerboardlImage(board), enSuccess);
        }
        const QImage expected = drawn(m_parts, [&](const Part &part, const QPoint &pixel) {
            return boardColorByFormulas(board, part.frame(), pixel);
        });
        QCOMPARE(difference(wall().pictures().pattern(screenId), expected), QString());
    }
}

void tst_Seams::aSubScreensBoardLeavesTheOthersAlone()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(20000 + seed);
    discoverRandomWall(random);
    const DrawingCheckerboard board = randomBoard(m_rect, random);
    const DrawingCheckerboard other = randomBoard(m_rect, random);
    const QString key = m_parts[random.bounded(m_parts.size())].deviceKey;
    QCOMPARE(m_screen->setCheckerboardlImage(board), enSuccess);
    QCOMPARE(m_screen->tryGetSubScreen(key)->setCheckerboardlImage(other), enSuccess);
    const QImage expected = drawn(m_parts, [&](const Part &part, const QPoint &pixel) {
        return boardColor(part.deviceKey == key ? other : board, pixel);
    });
    QCOMPARE(difference(wall().pictures().pattern(screenId), expected), QString());
}

void tst_Seams::onePixelBlocksHaveNoSeam()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(30000 + seed);
    discoverRandomWall(random);
    for (int i = 0; i < 4; ++i) {
        const DrawingParameter pixels = randomPixels(m_rect, random);
        QCOMPARE(m_screen->setPixelImage(pixels), enSuccess);
        const QImage direct = drawn(m_parts, [&](const Part &, const QPoint &pixel) {
            const QPoint place = pixel - pixels.screenPartRect.topLeft();
            const bool lit = pixels.screenPartRect.contains(pixel) && place.x() % (pixels.pixelBlockIntervalX + 1) == 0
                             && place.y() % (pixels.pixelBlockIntervalY + 1) == 0;
            return lit ? pixels.color : QColor(Qt::black);
        });
        QCOMPARE(difference(wall().pictures().pattern(screenId), direct), QString());
    }
}

void tst_Seams::pixelBlocksFollowTheFormulas()
{
    QFETCH(quint32, seed);
    QRandomGenerator random(40000 + seed);
    discoverRandomWall(random);
    for (int i = 0; i < 4; ++i) {
        DrawingParameter pixels = randomPixels(m_rect, random);
        pixels.pixelBlockInRect =
            QRect(random.bounded(12), random.bounded(12), random.bounded(1, 12), random.bounded(1, 12));
        QCOMPARE(m_screen->setPixelImage(pixels), enSuccess);
        const QImage expected = drawn(m_parts, [&](const Part &part, const QPoint &pixel) {
            return pixelColorByFormulas(pixels, part.frame(), pixel);
        });
        QCOMPARE(difference(wall().pictures().pattern(screenId), expected), QString());
    }
}

void tst_Seams::aCabinetWithoutPlaceDoesNotMoveThePattern()
{
    Simulator::Device device = Simulator::gridDevice(QStringLiteral("A"), QPoint(7, 3), 3, 1, QSize(4, 2));
    device.screenId = screenId;
    device.subScreens[0].cabinets[0].placed = false;
    discover({device});
    DrawingParameter pixels;
    pixels.screenPartRect = QRect(11, 3, 8, 2);
    pixels.pixelBlockInRect = QRect(1, 0, 1, 2);
    pixels.pixelBlockIntervalX = 99;
    pixels.color = Qt::green;
    QCOMPARE(m_screen->setPixelImage(pixels), enSuccess);
    const QImage image = wall().pictures().pattern(screenId);
    QCOMPARE(image.size(), QSize(8, 2));
    for (int x = 0; x < 8; ++x)
        QCOMPARE(image.pixelColor(x, 1), QColor(x == 1 ? Qt::green : Qt::black));
}

QTEST_GUILESS_MAIN(tst_Seams)
#include "tst_seams.moc"
