// The library's main job on a virtual wall of two controllers: discover it, write a chroma correction over a rectangle that
// spans both, save it, read it back, draw a checkerboard. Pictures go to the folder given as the first argument, the wall
// itself is saved in the folder "wall" there: the next run continues with it.

#include <Correction/Correction.h>
#include <simulator/VirtualWall.h>
#include <simulator/WallFile.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTextStream>
#include <QtGui/QImage>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace Correction;

namespace {

constexpr int cabinetSize = 128;
constexpr int valuesPerPixel = chromaPixelLength; // a 3x3 colour matrix: its diagonal is the gain of red, green and blue
constexpr unsigned short unity = 32768;

QTextStream &out()
{
    static QTextStream stream(stdout);
    return stream;
}

QString text(const QRect &rect)
{
    return QStringLiteral("%1x%2 at (%3, %4)").arg(rect.width()).arg(rect.height()).arg(rect.x()).arg(rect.y());
}

/// The library's log lines, with a prefix that separates them from the demo's own output.
void printLogLine(QtMsgType, const QMessageLogContext &, const QString &message)
{
    out() << "   log: " << message << Qt::endl;
}

/// All checks of the demo; the exit code depends on them.
class Checks
{
public:
    bool expect(bool good, const QString &what)
    {
        if (!good) {
            ++m_failures;
            out() << "   FAILED: " << what << Qt::endl;
        }
        return good;
    }
    bool succeeds(EnumErrorCode code, const QString &what)
    {
        return expect(code == enSuccess, QStringLiteral("%1: result code %2").arg(what).arg(code));
    }
    int failures() const { return m_failures; }

private:
    int m_failures = 0;
};

/// Opens the wall of an earlier run, or makes one. Whether it was there already; no value when it is unusable.
std::optional<bool> openWall(Simulator::VirtualWall &wall, const QString &folder)
{
    const bool isThere = QFileInfo::exists(folder);
    Simulator::WallDescription description;
    QString error;
    if (isThere ? wall.open(folder, &error)
                : Simulator::presetWall(QStringLiteral("demo"), description) && wall.create(folder, description, &error))
        return isThere;
    out() << error << "\nTo start again, remove the folder " << folder << Qt::endl;
    return std::nullopt;
}

/// Seams between cabinets are visible: pixels near an edge get more gain, the outermost a quarter more.
unsigned short seamGain(int x, int y)
{
    const auto distance = [](int position) {
        const int inCabinet = position % cabinetSize;
        return std::min(inCabinet, cabinetSize - 1 - inCabinet);
    };
    const double nearest = std::min(distance(x), distance(y));
    return static_cast<unsigned short>(std::lround(unity * (1.0 + 0.25 * std::exp(-nearest / 8.0))));
}

/// The correction of a pixel; red increases slightly towards the left end of the wall, blue towards the right end.
unsigned short correction(int x, int y, int value)
{
    switch (value) {
    case 0:
        return static_cast<unsigned short>(seamGain(x, y) - x);
    case 4:
        return seamGain(x, y);
    case 8:
        return static_cast<unsigned short>(seamGain(x, y) + x);
    default:
        return static_cast<unsigned short>(x + y);
    }
}

unsigned short unchanged(int value)
{
    return value % 4 == 0 ? unity : 0;
}

/// The devices of a screen, from its cabinets.
QStringList devicesOf(const QList<CabinetInfo> &cabinets)
{
    QStringList keys;
    for (const CabinetInfo &cabinet : cabinets) {
        if (!keys.contains(cabinet.deviceKey))
            keys.append(cabinet.deviceKey);
    }
    return keys;
}

/// Whether a controller ever saved a correction: its factory store, which this program does not write, shows what it has
/// otherwise.
bool hasSaved(const Simulator::VirtualWall &wall, const QString &key, const QList<CabinetInfo> &cabinets)
{
    return std::any_of(cabinets.cbegin(), cabinets.cend(), [&](const CabinetInfo &cabinet) {
        return cabinet.deviceKey == key
               && wall.state().chroma(key, cabinet.id, Simulator::Store::User)
                      != wall.state().chroma(key, cabinet.id, Simulator::Store::Factory);
    });
}

void printTree(IScreen &screen, const QList<CabinetInfo> &cabinets, const QRect &screenRect)
{
    out() << "   screen \"" << screen.getName() << "\" (" << screen.getID() << "), " << text(screenRect) << '\n';
    for (const QString &key : devicesOf(cabinets)) {
        QRect rect;
        screen.tryGetSubScreen(key)->tryGetRect(rect);
        out() << "     sub-screen of controller \"" << key << "\", " << text(rect) << '\n';
        for (const CabinetInfo &cabinet : cabinets) {
            if (cabinet.deviceKey == key)
                out() << "       cabinet " << cabinet.id.rightJustified(2) << "  " << text(cabinet.rect) << '\n';
        }
    }
    out().flush();
}

/// Compares the values read from a sub-screen with those written over `written`. Returns the number of pixels inside it.
int compareSubScreen(ISubScreen &subScreen, const QString &key, const QRect &written, Checks &checks)
{
    QRect rect;
    checks.succeeds(subScreen.tryGetRect(rect), QStringLiteral("rectangle of %1").arg(key));
    Coefficient grid(rect.width(), rect.height());
    if (!checks.succeeds(subScreen.tryGetCoefficients(rect, grid), QStringLiteral("reading %1").arg(key)))
        return 0;

    const QVector<unsigned short> values = grid.getCoefficient();
    int inside = 0;
    int differing = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        for (int x = rect.left(); x <= rect.right(); ++x) {
            const bool corrected = written.contains(x, y);
            inside += corrected ? 1 : 0;
            for (int k = 0; k < valuesPerPixel; ++k) {
                const int index = ((y - rect.top()) * rect.width() + x - rect.left()) * valuesPerPixel + k;
                if (values[index] != (corrected ? correction(x, y, k) : unchanged(k)))
                    ++differing;
            }
        }
    }
    checks.expect(differing == 0, QStringLiteral("%1 values of %2 differ").arg(differing).arg(key));
    out() << "   " << key << ": " << values.size() << " values compared, " << differing << " differ" << Qt::endl;
    return inside;
}

/// The board as one picture, drawn without the library.
QImage directBoard(const DrawingCheckerboard &board)
{
    QImage image(board.regionRect.size(), QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            const int square = x / board.squareW + y / board.squareH;
            image.setPixelColor(x, y, board.colors[square % board.colors.size()]);
        }
    }
    return image;
}

void savePicture(const QImage &image, const QDir &folder, const QString &name, Checks &checks)
{
    const QString path = folder.filePath(name);
    if (checks.expect(image.save(path), QStringLiteral("cannot write %1").arg(path)))
        out() << "   " << path << Qt::endl;
}

int run(const QDir &folder)
{
    Checks checks;
    checks.expect(folder.mkpath(QStringLiteral(".")), QStringLiteral("cannot make %1").arg(folder.path()));
    auto &wall = Simulator::VirtualWall::instance();
    const std::optional<bool> isKept = openWall(wall, folder.filePath(QStringLiteral("wall")));
    if (!checks.expect(isKept.has_value(), QStringLiteral("no wall")))
        return checks.failures();

    out() << "1. Discovering the wall" << (*isKept ? " of an earlier run" : "") << " in " << wall.directory() << Qt::endl;
    ScreenManager *const manager = ScreenManager::getInstance();
    manager->init();
    checks.succeeds(manager->refreshScreen(), QStringLiteral("refresh"));
    IScreen *const screen = manager->tryGetScreen(QStringLiteral("arena-main"));
    if (!checks.expect(screen, QStringLiteral("the screen was not found")))
        return checks.failures();
    QRect screenRect;
    checks.succeeds(screen->tryGetRect(screenRect), QStringLiteral("screen rectangle"));
    QList<CabinetInfo> cabinets;
    checks.succeeds(screen->tryGetAllCabinetInfoList(cabinets), QStringLiteral("cabinet list"));
    out() << "   (Discovery logs each new sub-screen as not found before it makes it.)\n";
    printTree(*screen, cabinets, screenRect);

    const QRect part(64, 64, 640, 384);
    if (*isKept) {
        out() << "   What it kept:" << Qt::endl;
        for (const QString &key : devicesOf(cabinets)) {
            if (hasSaved(wall, key, cabinets))
                compareSubScreen(*screen->tryGetSubScreen(key), key, part, checks);
            else
                out() << "   " << key << ": nothing, that run ended before it had saved" << Qt::endl;
        }
    }

    out() << "2. Writing a seam correction over " << text(part) << ", across both controllers" << Qt::endl;
    const CoefficientPtr made(CoefficientFactory::getCoefficient(enCommonCoefficient, part.height(), part.width()));
    auto &grid = dynamic_cast<IChromaCoefficient &>(*made);
    QVector<unsigned short> values;
    values.reserve(part.width() * part.height() * valuesPerPixel);
    for (int y = part.top(); y <= part.bottom(); ++y) {
        for (int x = part.left(); x <= part.right(); ++x) {
            for (int k = 0; k < valuesPerPixel; ++k)
                values.append(correction(x, y, k));
        }
    }
    checks.succeeds(grid.setCoefficient(values), QStringLiteral("filling the grid"));
    checks.succeeds(screen->setCoefficients(part, grid), QStringLiteral("writing"));

    out() << "3. Saving it on every cabinet" << Qt::endl;
    checks.succeeds(screen->saveParameter(enSaveCommonCoefficient), QStringLiteral("saving"));
    for (const CabinetInfo &cabinet : qAsConst(cabinets)) {
        checks.expect(wall.state().chroma(cabinet.deviceKey, cabinet.id, Simulator::Store::User)
                          == wall.state().chroma(cabinet.deviceKey, cabinet.id),
                      QStringLiteral("cabinet %1 did not save what it shows").arg(cabinet.id));
    }

    out() << "4. Reading it back, controller by controller" << Qt::endl;
    int found = 0;
    for (const QString &key : devicesOf(cabinets))
        found += compareSubScreen(*screen->tryGetSubScreen(key), key, part, checks);
    checks.expect(found == part.width() * part.height(), QStringLiteral("pixels are missing"));

    out() << "5. Drawing a checkerboard over the whole wall" << Qt::endl;
    DrawingCheckerboard board;
    board.regionRect = screenRect;
    board.colors = {QColor(Qt::white), QColor(0, 90, 200), QColor(240, 130, 0)};
    board.squareW = 50;
    board.squareH = 50;
    board.lastSquareColumnW = screenRect.width() % board.squareW;
    board.lastSquareRowH = screenRect.height() % board.squareH;
    checks.succeeds(screen->setCheckerboardlImage(board), QStringLiteral("drawing"));
    const QImage shown = wall.pictures().pattern(screen->getID());
    const bool seamless = shown.convertToFormat(QImage::Format_RGB32) == directBoard(board);
    checks.expect(seamless, QStringLiteral("the board has a seam between the controllers"));

    out() << "6. Pictures" << Qt::endl;
    savePicture(wall.pictures().layout(screen->getID()), folder, QStringLiteral("layout.png"), checks);
    savePicture(wall.pictures().coefficients(screen->getID(), 4), folder, QStringLiteral("coefficients-green.png"), checks);
    savePicture(shown, folder, QStringLiteral("checkerboard.png"), checks);

    out() << '\n';
    if (checks.failures() == 0) {
        out() << "All good: " << cabinets.size() << " cabinets on " << devicesOf(cabinets).size()
              << " controllers took a correction of " << part.width() * part.height() << " pixels (" << values.size()
              << " values),\nsaved it and gave every value back; the checkerboard runs over the border"
              << " between the controllers without a seam." << Qt::endl;
    } else {
        out() << checks.failures() << " checks FAILED, see above." << Qt::endl;
    }
    return checks.failures();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    qInstallMessageHandler(printLogLine);
    QLoggingCategory::setFilterRules(QStringLiteral("correction.debug=false"));
    const QStringList arguments = application.arguments();
    const int failures = run(QDir(arguments.value(1, QStringLiteral("."))));
    return failures == 0 ? 0 : 1;
}
