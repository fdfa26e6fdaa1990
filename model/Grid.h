#pragma once

#include "model/Arithmetic.h"
#include "model/Logging.h"

#include <Correction/Enumerations.h>

#include <QtCore/QDebug>
#include <QtCore/QRect>
#include <QtCore/QVector>

#include <hwy/cache_control.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <type_traits>

/// Shared code of the three kinds of grids. `Values` is QVector<unsigned short> or QByteArray.
namespace Correction {
namespace Grid {

/// The names of a kind's three logging operations in log lines.
struct Names {
    const char *setCoefficient;
    const char *setPartCoefficient;
    const char *tryGetPart;
};

struct Shape {
    int columns;
    int rows;
    int length; ///< values for one pixel
};

/// Qt's containers hold a little less than 2 GiB, their own header included.
constexpr qint64 maxContainerBytes = std::numeric_limits<int>::max() - 64;

/// Number of values of a shape, or -1 when it has a negative size or its values do not fit into one container.
inline int valueCount(const Shape &shape, qint64 bytesPerValue)
{
    if (shape.columns < 0 || shape.rows < 0 || shape.length < 0)
        return -1;
    const qint64 limit = maxContainerBytes / bytesPerValue;
    const qint64 pixels = qint64(shape.columns) * shape.rows;
    if (pixels == 0 || shape.length == 0)
        return 0;
    if (pixels > limit || pixels * shape.length > limit) // the product of two 31-bit numbers does not overflow
        return -1;
    return static_cast<int>(pixels * shape.length);
}

template <class Values>
int valueCount(const Shape &shape)
{
    return valueCount(shape, sizeof(typename Values::value_type));
}

template <class Values>
bool isValid(const Shape &shape, const Values &values)
{
    return valueCount<Values>(shape) == values.size();
}

/// The values of a new grid: zeros, or none for a shape that does not fit into a container.
template <class Values>
Values zeros(const Shape &shape)
{
    return Values(std::max(valueCount<Values>(shape), 0), 0);
}

/// A container of `count` uninitialized values, for a caller that overwrites them all: filling costs as much as a cut.
inline QVector<unsigned short> unfilled(int count, const QVector<unsigned short> &)
{
    using Storage = QTypedArrayData<unsigned short>;
    if (count == 0)
        return {};
    Storage *const storage = Storage::allocate(size_t(count));
    Q_CHECK_PTR(storage);
    storage->size = count;
    return QVector<unsigned short>(QArrayDataPointerRef<unsigned short>{storage});
}

inline QByteArray unfilled(int count, const QByteArray &)
{
    return QByteArray(count, Qt::Uninitialized);
}

inline const QVector<unsigned short> &owned(const QVector<unsigned short> &values)
{
    return values;
}

/// A byte array made by QByteArray::fromRawData(), and its copies, refer to memory that the host may free. Such an array has
/// a capacity of 0.
inline QByteArray owned(QByteArray values)
{
    if (values.capacity() == 0 && !values.isEmpty())
        values.detach();
    return values;
}

/// Replaces all values of a grid.
template <class Values>
EnumErrorCode assign(const Names &names, const Shape &shape, Values &values, const Values &replacement)
{
    if (!isValid(shape, replacement)) {
        qCDebug(lcCorrection) << names.setCoefficient << "coefficient count:" << values.size()
                              << "m_pixelCol:" << shape.columns << "m_pixelRow:" << shape.rows;
        return enOutOfRange;
    }
    values = owned(replacement);
    return enSuccess;
}

/// A part rectangle as numbers, with the log items at the end of every message about it.
struct Block {
    int x;
    int y;
    int w;
    int h;

    explicit Block(const QRect &rect) : x(rect.x()), y(rect.y()), w(widthOf(rect)), h(heightOf(rect)) {}

    bool endsInside(const Shape &shape) const { return qint64(x) + w <= shape.columns && qint64(y) + h <= shape.rows; }

    bool covers(const Shape &shape) const { return x == 0 && y == 0 && w == shape.columns && h == shape.rows; }

    void log(QDebug &stream, const Shape &shape) const
    {
        stream << "x:" << x << "y:" << y << "w:" << w << "h:" << h << "m_pixelCol:" << shape.columns
               << "m_pixelRow:" << shape.rows;
    }
};

/// Rows of a block between a grid and a dense buffer.
///
/// Row i of the block is at pixel x + (y + i) * columns of the grid, and at pixel i * w of the buffer: the part test
/// lets negative positions through, so a row may begin before the grid's first value or reach into the neighbouring row.
/// Calls `copy(gridIndex, bufferIndex, count)` for the part of each row that is inside both, and visits no other row,
/// however large the block is. Returns whether that was the whole block.
template <class Copy>
bool forEachRow(const Shape &shape, const Block &block, qint64 gridValues, qint64 bufferValues, Copy copy)
{
    if (block.w <= 0 || block.h <= 0 || shape.length <= 0)
        return true;
    const qint64 length = shape.length;
    const qint64 columns = shape.columns;
    const qint64 gridPixels = (gridValues + length - 1) / length;
    const qint64 first = block.x + block.y * columns;

    // The rows whose pixels [first + i * columns, ... + w) overlap [0, gridPixels) ...
    const auto floorDivide = [](qint64 a, qint64 b) { return a / b - (a % b != 0 && (a < 0) != (b < 0) ? 1 : 0); };
    qint64 begin = 0;
    qint64 end = block.h;
    if (columns > 0) {
        begin = std::max(begin, floorDivide(-first - block.w, columns) + 1);
        end = std::min(end, floorDivide(gridPixels - first - 1, columns) + 1);
    } else if (columns < 0) {
        begin = std::max(begin, floorDivide(first - gridPixels, -columns) + 1);
        end = std::min(end, floorDivide(first + block.w - 1, -columns) + 1);
    } else if (first + block.w <= 0 || first >= gridPixels) {
        end = 0;
    }
    // ... and that begin inside the buffer.
    const qint64 rowLength = block.w * length;
    end = std::min(end, (bufferValues + rowLength - 1) / rowLength);

    bool whole = begin == 0 && end == block.h;
    for (qint64 i = begin; i < end; ++i) {
        const qint64 inGrid = (first + i * columns) * length;
        const qint64 inBuffer = i * rowLength;
        const qint64 from = std::max<qint64>(0, -inGrid);
        const qint64 to = std::min({rowLength, gridValues - inGrid, bufferValues - inBuffer});
        whole = whole && from == 0 && to == rowLength;
        if (from < to)
            copy(inGrid + from, inBuffer + from, to - from);
    }
    return whole;
}

/// Prefetches the `count` values four rows below `index`. The rows of a large grid are pages apart, where the hardware does
/// not prefetch by itself. It speeds up cuts, but not pastes.
template <class Value>
void askForLaterRow(const Shape &shape, const Value *values, qint64 size, qint64 index, qint64 count)
{
    constexpr qint64 cacheLine = 64 / sizeof(Value);
    const qint64 begin = index + 4 * qint64(shape.columns) * shape.length;
    const qint64 end = std::min(begin + count, size);
    for (qint64 i = std::max<qint64>(begin, 0); i < end; i += cacheLine)
        hwy::Prefetch(values + i);
}

/// Pastes a block, given row by row, into a grid.
template <class Values>
EnumErrorCode paste(const Names &names, const Shape &shape, bool valid, Values &values, const QRect &rect,
                    const Values &source)
{
    const Block block(rect);
    if (!block.endsInside(shape) || !valid) {
        if (lcCorrection().isCriticalEnabled())
            block.log(qCritical(lcCorrection) << "x + w > m_pixelCol || y + h > m_pixelRow:", shape);
        return enInvalidParameter;
    }
    if (lcCorrection().isDebugEnabled())
        block.log(qDebug(lcCorrection) << names.setPartCoefficient, shape);

    // A cabinet's reply is one block as large as its grid. Byte arrays may refer to foreign memory and are copied.
    if constexpr (std::is_same_v<Values, QVector<unsigned short>>) {
        if (block.covers(shape) && source.size() == values.size()) {
            values = source;
            return enSuccess;
        }
    }
    using Value = typename Values::value_type;
    const Value *const from = source.constData();
    const bool whole =
        forEachRow(shape, block, values.size(), source.size(), [&](qint64 inGrid, qint64 inBlock, qint64 count) {
            Value *const to = values.data(); // detaches only when there is a row to copy
            std::memmove(to + inGrid, from + inBlock, size_t(count) * sizeof(Value));
        });
    if (!whole && lcCorrection().isWarningEnabled())
        block.log(qWarning(lcCorrection) << names.setPartCoefficient << "values left alone:" << source.size(), shape);
    return enSuccess;
}

/// Cuts a block out of a grid into `part`. False when there is no such block.
template <class Values>
bool cut(const Names &names, const Shape &shape, const Values &values, const QRect &rect, Values &part)
{
    const Block block(rect);
    const Shape partShape{block.w, block.h, shape.length};
    const bool inside = block.endsInside(shape);
    if (!inside || valueCount<Values>(partShape) < 0) {
        if (lcCorrection().isCriticalEnabled()) {
            block.log(qCritical(lcCorrection)
                          << names.tryGetPart
                          << (inside ? "no block of this size:" : "x + w > m_pixelCol || y + h > m_pixelRow:"),
                      shape);
        }
        return false;
    }
    if (lcCorrection().isDebugEnabled())
        block.log(qDebug(lcCorrection) << names.tryGetPart, shape);

    // A whole cabinet is cut in most reads. Values of no pixels may be null; those of a part are not.
    if (block.covers(shape) && isValid(shape, values) && !values.isEmpty()) {
        part = owned(values);
        return true;
    }
    using Value = typename Values::value_type;
    // Only a block that is wholly inside the grid overwrites all values of `part`.
    const bool covered = isValid(shape, values) && block.x >= 0 && block.y >= 0;
    part = covered ? unfilled(valueCount<Values>(partShape), values) : zeros<Values>(partShape);
    Value *const to = part.data();
    const Value *const from = values.constData();
    const bool whole =
        forEachRow(shape, block, values.size(), part.size(), [&](qint64 inGrid, qint64 inBlock, qint64 count) {
            askForLaterRow(shape, from, values.size(), inGrid, count);
            std::memcpy(to + inBlock, from + inGrid, size_t(count) * sizeof(Value));
        });
    if (!whole && lcCorrection().isWarningEnabled())
        block.log(qWarning(lcCorrection) << names.tryGetPart << "reaches outside the values:" << values.size(), shape);
    return true;
}

} // namespace Grid
} // namespace Correction
