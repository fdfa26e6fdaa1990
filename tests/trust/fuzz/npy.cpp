// Files of grids and of light, in memory: what can be read is written and read again, and is equal. The first byte is the
// form.

#include "Fuzz.h"

#include <files/Csv.h>
#include <files/Files.h>
#include <files/Npy.h>
#include <files/Npz.h>

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <cstring>

using namespace Ctl;

namespace {

void checkShape(const Grid &grid)
{
    Fuzz::require(grid.size.isValid() && qint64(grid.size.width()) * grid.size.height() * grid.length == grid.values.size(),
                  "a grid whose values do not fit its size");
    for (const quint16 value : grid.values)
        Fuzz::require(!grid.bytes || value < 256, "a byte that is none");
}

void compare(const Grid &got, const Grid &expected)
{
    Fuzz::require(got.size == expected.size && got.length == expected.length && got.bytes == expected.bytes,
                  "the shape of what was written differs");
    Fuzz::require(got.values == expected.values, "the values of what was written differ");
}

/// The values of an array, read byte by byte, where the header is as NumPy writes it; else those of `grid`.
QVector<quint64> valuesOf(const QByteArray &file, const Grid &grid)
{
    static const QRegularExpression form(
        QStringLiteral("^\\{'descr': '([<>|])([ui])([1248])', 'fortran_order': (True|False), "
                       "'shape': \\(([0-9]{1,4}), ([0-9]{1,4}), ([0-9]{1,4})\\)"));
    const int start = file[6] == 1 ? 10 : 12;
    const auto match = form.match(QString::fromLatin1(file.mid(start)));
    if (!match.hasMatch()) {
        QVector<quint64> values;
        for (const quint16 value : grid.values)
            values.append(value);
        return values;
    }
    int length = 0;
    for (int i = start - 1; i >= 8; --i)
        length = length * 256 + uchar(file[i]);
    const int size = match.captured(3).toInt();
    const int rows = match.captured(5).toInt();
    const int columns = match.captured(6).toInt();
    const int depth = match.captured(7).toInt();
    QVector<quint64> values;
    for (int i = 0; i < rows * columns * depth; ++i) {
        const int row = i / depth / columns;
        const int column = i / depth % columns;
        const int place = match.captured(4) == QLatin1String("True") ? row + rows * (column + columns * (i % depth)) : i;
        quint64 value = 0;
        for (int byte = 0; byte < size; ++byte) {
            const int at = match.captured(1) == QLatin1String(">") ? size - 1 - byte : byte;
            value |= quint64(uchar(file[start + length + place * size + at])) << (8 * byte);
        }
        values.append(value);
    }
    return values;
}

void npy(const QByteArray &file)
{
    Grid grid;
    QString reason;
    const bool isGood = parseNpy(file, grid, reason);
    Fuzz::require(isGood || !reason.isEmpty(), "refused without a reason");
    Grid plain;
    qint64 offset = 0;
    const bool isPlain = isPlainNpy(file.left(256), file.size(), plain, offset);
    if (isPlain) {
        Fuzz::require(isGood, "a plain file that cannot be read");
        Fuzz::require(plain.size == grid.size && plain.length == grid.length, "a plain file has another shape");
        Fuzz::require(file.mid(int(offset)) == toBytes(grid), "a plain file has other values");
    }
    if (!isGood)
        return;
    checkShape(grid);
    const QVector<quint64> values = valuesOf(file, grid);
    Fuzz::require(std::equal(values.cbegin(), values.cend(), grid.values.cbegin(), grid.values.cend()),
                  "values that are not those of the file");
    Grid again;
    Fuzz::require(parseNpy(npyHeader(grid.size, grid.length, grid.bytes) + toBytes(grid), again, reason),
                  "what was written cannot be read");
    compare(again, grid);
}

void light(const QByteArray &file)
{
    Light light;
    QString reason;
    if (!parseNpyLight(file, light, reason)) {
        Fuzz::require(!reason.isEmpty(), "refused without a reason");
        return;
    }
    Fuzz::require(light.size.isValid()
                      && qint64(light.size.width()) * light.size.height() * light.length == light.values.size(),
                  "light whose values do not fit its size");
    // The bytes of a machine that stores the low one first.
    QByteArray bytes = npyLightHeader(light.size, light.length);
    for (const float value : qAsConst(light.values)) {
        quint32 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        for (int i = 0; i < 4; ++i)
            bytes.append(char(bits >> (8 * i)));
    }
    Light again;
    Fuzz::require(parseNpyLight(bytes, again, reason), "light that was written cannot be read");
    Fuzz::require(again.size == light.size && again.length == light.length
                      && std::memcmp(again.values.constData(), light.values.constData(),
                                     std::size_t(light.values.size()) * sizeof(float))
                             == 0,
                  "light that was written differs");
}

void npz(const QByteArray &file)
{
    Grid grid;
    QString reason;
    if (!parseNpz(file, grid, reason)) {
        Fuzz::require(!reason.isEmpty(), "refused without a reason");
        return;
    }
    checkShape(grid);
    Grid again;
    Fuzz::require(parseNpz(toNpz(grid), again, reason), "an archive that was written cannot be read");
    compare(again, grid);
}

void csv(const QByteArray &file)
{
    Grid grid;
    QString reason;
    if (!parseCsv(file, grid, reason)) {
        Fuzz::require(!reason.isEmpty(), "refused without a reason");
        return;
    }
    checkShape(grid);
    Grid again;
    Fuzz::require(parseCsv(toCsv(grid), again, reason), "a table that was written cannot be read");
    compare(again, grid);
}

} // namespace

void Fuzz::setUp() {}

void Fuzz::run(Bytes &input)
{
    void (*const forms[])(const QByteArray &) = {npy, npy, light, npz, csv};
    const auto form = input.pick(forms);
    form(input.rest());
}
