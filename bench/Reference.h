#pragma once

#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QRect>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <functional>

/// The library's coefficient paths written the obvious Qt way: byte arrays on the way to and from a text, loops over
/// elements, records copied as a whole, plain qDebug. The benchmarks compare with it, and the tests use it as the expected
/// result. Keep it simple; do not optimise it.
///
/// It serves well-formed input alone: rectangles inside their grids, replies that are complete. Of the library it uses
/// nothing.
namespace Reference {

using Values = QVector<unsigned short>;

/// Base64 of the values' bytes, low byte first, and back.
QString encode(const Values &values);
Values decode(const QString &text);

/// "[1,2,3]"
QString json(const Values &values);

/// Chroma values of a rectangle of pixels: 9 for each, pixel by pixel, row by row.
struct Grid {
    static constexpr int pixelLength = 9;

    Grid(int columns, int rows);
    Grid(int columns, int rows, const Values &values);

    int columns;
    int rows;
    Values values;
};

Grid cut(const Grid &grid, const QRect &rect);
void paste(Grid &grid, const QRect &rect, const Grid &block);
/// The 9 means over all pixels, fractions dropped.
Values average(const Grid &grid);

/// Fills a grid of a cabinet's size from a device's reply.
Grid parse(const QSize &cabinet, const QVariantList &reply);

/// A receiving card or a module.
struct Part {
    QString id;
    QString flag;
    QRect rect;
};

/// Description of a cabinet. Copies are deep.
class Cabinet
{
public:
    Cabinet() = default;
    Cabinet(const Cabinet &other);
    Cabinet &operator=(const Cabinet &other);
    ~Cabinet();

    QString id;
    QString flag;
    QString deviceKey;
    QRect rect;            ///< Screen pixels.
    QList<Part *> cards;   ///< Owned.
    QList<Part *> modules; ///< Owned.
};

/// One device and its cabinets.
class SubScreen
{
public:
    explicit SubScreen(const QString &deviceKey);
    ~SubScreen();
    SubScreen(const SubScreen &) = delete;
    SubScreen &operator=(const SubScreen &) = delete;

    void add(const Cabinet &cabinet);
    /// The cabinets' rectangles united.
    QRect rect() const;
    /// The upload that writes `grid`, laid out over `rect`: one map for each cabinet that overlaps it.
    QVariantList uploadOf(const QRect &rect, const Grid &grid) const;
    /// Returns a cabinet's coefficient reply.
    using Load = std::function<QVariantList(const QString &deviceKey, const QString &cabinetId)>;
    /// Reads the cabinets that overlap `rect` into `grid`, laid out over the sub-screen.
    void read(const QRect &rect, const Load &load, Grid &grid) const;

private:
    Cabinet cabinetOf(const QString &id) const;

    QString m_deviceKey;
    QMap<QString, Cabinet *> m_cabinets; // owned
};

/// A screen read over one sub-screen: a grid of the part, then the part into the caller's grid, laid out over `rect`.
void read(const SubScreen &subScreen, const QRect &rect, const SubScreen::Load &load, Grid &grid);

/// The log line of a grid that gets the wrong number of values.
void logLine(int count, int columns, int rows);

} // namespace Reference
