// Files of grids and of light, in memory: what can be read is written and read again, and is equal. The first byte is the
// form.

#include "Fuzz.h"

#include <files/Csv.h>
#include <files/Files.h>
#include <files/Npy.h>
#include <files/Npz.h>

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
