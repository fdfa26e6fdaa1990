#include "Reference.h"

#include <QtCore/QByteArray>
#include <QtCore/QDebug>
#include <QtCore/QtEndian>

#include <array>

namespace Reference {
namespace {

QString key(const char *name)
{
    return QLatin1String(name);
}

} // namespace

QString encode(const Values &values)
{
    QByteArray bytes(values.size() * 2, '\0');
    qToLittleEndian<unsigned short>(values.constData(), values.size(), bytes.data());
    return QString::fromLatin1(bytes.toBase64());
}

Values decode(const QString &text)
{
    const QByteArray bytes = QByteArray::fromBase64(text.toUtf8());
    Values values(bytes.size() / 2);
    qFromLittleEndian<unsigned short>(bytes.constData(), values.size(), values.data());
    return values;
}

QString json(const Values &values)
{
    QString text = key("[");
    for (int i = 0; i < values.size(); ++i) {
        if (i > 0)
            text.append(key(","));
        text.append(QString::number(values.at(i)));
    }
    text.append(key("]"));
    return text;
}

Grid::Grid(int ofColumns, int ofRows) : Grid(ofColumns, ofRows, Values(ofColumns * ofRows * pixelLength, 0)) {}

Grid::Grid(int ofColumns, int ofRows, const Values &ofValues) : columns(ofColumns), rows(ofRows), values(ofValues) {}

Grid cut(const Grid &grid, const QRect &rect)
{
    Grid block(rect.width(), rect.height());
    for (int row = 0; row < rect.height(); ++row) {
        for (int column = 0; column < rect.width(); ++column) {
            for (int k = 0; k < Grid::pixelLength; ++k) {
                const int from = ((rect.y() + row) * grid.columns + rect.x() + column) * Grid::pixelLength + k;
                block.values[(row * rect.width() + column) * Grid::pixelLength + k] = grid.values.at(from);
            }
        }
    }
    return block;
}

void paste(Grid &grid, const QRect &rect, const Grid &block)
{
    for (int row = 0; row < rect.height(); ++row) {
        for (int column = 0; column < rect.width(); ++column) {
            for (int k = 0; k < Grid::pixelLength; ++k) {
                const int to = ((rect.y() + row) * grid.columns + rect.x() + column) * Grid::pixelLength + k;
                grid.values[to] = block.values.at((row * rect.width() + column) * Grid::pixelLength + k);
            }
        }
    }
}

Values average(const Grid &grid)
{
    std::array<double, Grid::pixelLength> sums{};
    const int pixels = grid.columns * grid.rows;
    for (int pixel = 0; pixel < pixels; ++pixel) {
        for (int k = 0; k < Grid::pixelLength; ++k)
            sums[size_t(k)] += grid.values.at(pixel * Grid::pixelLength + k);
    }
    Values means;
    for (const double sum : sums)
        means.append(static_cast<unsigned short>(sum / pixels));
    return means;
}

Grid parse(const QSize &cabinet, const QVariantList &reply)
{
    Grid grid(cabinet.width(), cabinet.height());
    for (const QVariant &element : reply) {
        const QVariantMap block = element.toMap();
        const QRect rect(block.value(key("area.point.x")).toInt(), block.value(key("area.point.y")).toInt(),
                         block.value(key("area.size.width")).toInt(), block.value(key("area.size.height")).toInt());
        paste(grid, rect, Grid(rect.width(), rect.height(), decode(block.value(key("coefficients")).toString())));
    }
    return grid;
}

Cabinet::Cabinet(const Cabinet &other)
{
    *this = other;
}

Cabinet &Cabinet::operator=(const Cabinet &other)
{
    if (this == &other)
        return *this;
    id = other.id;
    flag = other.flag;
    deviceKey = other.deviceKey;
    rect = other.rect;
    qDeleteAll(cards);
    cards.clear();
    for (const Part *card : other.cards)
        cards.append(new Part(*card));
    qDeleteAll(modules);
    modules.clear();
    for (const Part *module : other.modules)
        modules.append(new Part(*module));
    return *this;
}

Cabinet::~Cabinet()
{
    qDeleteAll(cards);
    qDeleteAll(modules);
}

SubScreen::SubScreen(const QString &deviceKey) : m_deviceKey(deviceKey) {}

SubScreen::~SubScreen()
{
    qDeleteAll(m_cabinets);
}

void SubScreen::add(const Cabinet &cabinet)
{
    m_cabinets.insert(cabinet.id, new Cabinet(cabinet));
}

Cabinet SubScreen::cabinetOf(const QString &id) const
{
    return *m_cabinets.value(id);
}

QRect SubScreen::rect() const
{
    QRect rect;
    const QList<QString> ids = m_cabinets.keys();
    for (const QString &id : ids) {
        const Cabinet cabinet = cabinetOf(id);
        rect = rect.united(cabinet.rect);
    }
    return rect;
}

QVariantList SubScreen::uploadOf(const QRect &rect, const Grid &grid) const
{
    QVariantList request;
    const QList<QString> ids = m_cabinets.keys();
    for (const QString &id : ids) {
        const Cabinet cabinet = cabinetOf(id);
        qDebug() << " cabInfo.rect.intersects " << cabinet.rect.x() << cabinet.rect.y() << cabinet.rect.width()
                 << cabinet.rect.height();
        if (!cabinet.rect.intersects(rect))
            continue;
        const QRect overlap = cabinet.rect.intersected(rect);
        qDebug() << " inRect" << overlap.x() << overlap.y() << overlap.width() << overlap.height();
        qDebug() << " yuan Rect" << rect.x() << rect.y() << rect.width() << rect.height();
        const Grid block = cut(grid, overlap.translated(-rect.topLeft()));

        QVariantMap size;
        size.insert(key("height"), block.rows);
        size.insert(key("width"), block.columns);
        QVariantMap point;
        point.insert(key("x"), overlap.x() - cabinet.rect.x());
        point.insert(key("y"), overlap.y() - cabinet.rect.y());
        QVariantMap area;
        area.insert(key("size"), size);
        area.insert(key("point"), point);
        QVariantMap entry;
        entry.insert(key("area"), area);
        entry.insert(key("coefficient"), encode(block.values));
        QVariantMap element;
        element.insert(key("cid"), cabinet.id.toLongLong());
        element.insert(key("coefficientList"), QVariantList{entry});
        request.append(element);
    }
    return request;
}

void SubScreen::read(const QRect &rect, const Load &load, Grid &grid) const
{
    const QPoint origin = this->rect().topLeft();
    const QList<QString> ids = m_cabinets.keys();
    for (const QString &id : ids) {
        const Cabinet cabinet = cabinetOf(id);
        if (!cabinet.rect.intersects(rect))
            continue;
        const QRect overlap = cabinet.rect.intersected(rect);
        qDebug() << "Correction::SubScreenV4::tryGetCoefficients"
                 << "insRect x:" << overlap.x() << "y:" << overlap.y() << "w:" << overlap.width() << "h" << overlap.height();
        const Grid whole = parse(cabinet.rect.size(), load(m_deviceKey, id));
        const Grid block = cut(whole, overlap.translated(-cabinet.rect.topLeft()));
        paste(grid, overlap.translated(-origin), block);
    }
}

void read(const SubScreen &subScreen, const QRect &rect, const SubScreen::Load &load, Grid &grid)
{
    const QRect part = subScreen.rect().intersected(rect);
    Grid partGrid(part.width(), part.height());
    subScreen.read(part, load, partGrid);
    paste(grid, part.translated(-rect.topLeft()), partGrid);
}

void logLine(int count, int columns, int rows)
{
    qDebug() << "Correction::Coefficient::setCoefficient"
             << "coefficient count:" << count << "m_pixelCol:" << columns << "m_pixelRow:" << rows;
}

} // namespace Reference
