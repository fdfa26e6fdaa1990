// Programs of operations on the three kinds of grids, against the index formula written out.

#include "Fuzz.h"

#include <Correction/Coefficient.h>
#include <Correction/CoefficientPtr.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>
#include <Correction/RequestParser.h>

#include <QtCore/QRect>
#include <QtCore/QVector>

#include <memory>
#include <vector>

using namespace Correction;

namespace {

using Numbers = std::vector<int>;
constexpr qint64 containerBytes = 2147483647 - 64;

struct Model {
    EnumCoefficientType kind;
    qint64 columns;
    qint64 rows;
    qint64 length;
    Numbers values;

    qint64 bytesPerValue() const { return kind == enMultilayerCoefficient ? 1 : 2; }
    /// -1: there is no grid of this size.
    static qint64 count(qint64 columns, qint64 rows, qint64 length, qint64 bytesPerValue)
    {
        if (columns < 0 || rows < 0 || length < 0)
            return -1;
        const qint64 pixels = columns * rows;
        if (length > 0 && pixels > containerBytes)
            return -1;
        return pixels * length > containerBytes / bytesPerValue ? -1 : pixels * length;
    }
    bool isValid() const { return count(columns, rows, length, bytesPerValue()) == qint64(values.size()); }
};

struct Grid {
    CoefficientPtr grid;
    Model model;
};

/// Width and height as QRect stores them, wrapped to 32 bits.
struct Block {
    qint64 x;
    qint64 y;
    qint64 w;
    qint64 h;

    QRect rect() const
    {
        QRect rect;
        rect.setCoords(int(x), int(y), int(uint(x) + uint(w) - 1), int(uint(y) + uint(h) - 1));
        return rect;
    }
};

Block blockOf(Fuzz::Bytes &input, const Model &model)
{
    if (input.flag())
        return {input.number(), input.number(), input.number(), input.number()};
    const auto within = [&input](qint64 size) { return size > 0 && size < 1000 ? input.below(int(size) + 2) - 1 : 0; };
    const int x = within(model.columns);
    const int y = within(model.rows);
    return {x, y, within(model.columns - x) + 1, within(model.rows - y) + 1};
}

template <class Values>
Values valuesOf(const Numbers &numbers)
{
    Values values;
    for (const int number : numbers)
        values.append(typename Values::value_type(number));
    return values;
}

template <class Values>
Numbers numbersOf(const Values &values)
{
    Numbers numbers;
    for (const auto value : values)
        numbers.push_back(std::is_same<Values, QByteArray>::value ? uchar(value) : ushort(value));
    return numbers;
}

QByteArray bytesOf(const Model &model)
{
    QByteArray bytes;
    for (const int value : model.values) {
        bytes.append(char(value & 255));
        if (model.bytesPerValue() == 2)
            bytes.append(char(value >> 8));
    }
    return bytes;
}

/// Calls `use` with the grid by its own class.
template <class Use>
auto as(ICoefficient &grid, Use use)
{
    if (grid.getType() == enCommonCoefficient)
        return use(static_cast<Coefficient &>(grid));
    if (grid.getType() == enLowgrayCoefficient)
        return use(static_cast<LowGrayCoefficient &>(grid));
    return use(static_cast<MultilayerCoefficient &>(grid));
}

void compare(ICoefficient &grid, const Model &model)
{
    using Fuzz::require;
    require(grid.getType() == model.kind, "the kind differs");
    require(grid.getPixelCol() == model.columns, "the columns differ");
    require(grid.getPixelRow() == model.rows, "the rows differ");
    require(grid.getPixelLength() == model.length, "the length differs");
    require(as(grid, [](auto &own) { return numbersOf(own.getCoefficient()); }) == model.values, "the values differ");
}

EnumErrorCode paste(Model &model, const Block &block, const Numbers &source)
{
    if (block.x + block.w > model.columns || block.y + block.h > model.rows || !model.isValid())
        return enInvalidParameter;
    if (block.w <= 0 || block.h <= 0 || model.length <= 0)
        return enSuccess;
    for (std::size_t i = 0; i < source.size(); ++i) {
        const qint64 pixel = qint64(i) / model.length;
        if (pixel / block.w >= block.h)
            break;
        const qint64 place = block.x + pixel % block.w + (block.y + pixel / block.w) * model.columns;
        const qint64 index = place * model.length + qint64(i) % model.length;
        if (index >= 0 && index < qint64(model.values.size()))
            model.values[std::size_t(index)] = source[i];
    }
    return enSuccess;
}

constexpr qint64 most = 5000; ///< Values of a grid that a test makes.

Model modelOf(EnumCoefficientType kind, qint64 columns, qint64 rows, qint64 length)
{
    Model model{kind, columns, rows, length, {}};
    const qint64 count = Model::count(columns, rows, length, model.bytesPerValue());
    Fuzz::require(count <= most, "a grid that needs too much memory");
    model.values.assign(std::size_t(std::max<qint64>(count, 0)), 0);
    return model;
}

/// Whether a grid of this size is made, or refused without taking memory.
bool isCheap(qint64 columns, qint64 rows, qint64 length, qint64 bytesPerValue)
{
    return Model::count(columns, rows, length, bytesPerValue) <= most;
}

void add(std::vector<Grid> &grids, Fuzz::Bytes &input)
{
    const auto kind = EnumCoefficientType(input.below(3));
    int columns = input.below(12);
    int rows = input.below(12);
    if (input.below(16) == 15) {
        columns = input.number();
        rows = input.number();
    }
    const int length = kind == enMultilayerCoefficient ? (input.flag() ? input.below(20) : 16) : 9;
    const Model probe{kind, columns, rows, length, {}};
    if (!isCheap(columns, rows, length, probe.bytesPerValue()))
        return;
    CoefficientPtr grid(kind == enCommonCoefficient    ? static_cast<ICoefficient *>(new Coefficient(columns, rows))
                        : kind == enLowgrayCoefficient ? static_cast<ICoefficient *>(new LowGrayCoefficient(columns, rows))
                        : length == 16 ? static_cast<ICoefficient *>(new MultilayerCoefficient(columns, rows))
                                       : static_cast<ICoefficient *>(new MultilayerCoefficient(columns, rows, length)));
    grids.push_back({std::move(grid), modelOf(kind, columns, rows, length)});
}

Numbers someValues(Fuzz::Bytes &input, qint64 count, qint64 bytesPerValue)
{
    Numbers values;
    uint state = input.byte();
    for (qint64 i = 0; i < count; ++i) {
        state = state * 1664525u + 1013904223u;
        values.push_back(int(state >> 16) & (bytesPerValue == 1 ? 255 : 65535));
    }
    return values;
}

void parseReply(Grid &target, Fuzz::Bytes &input)
{
    const int columns = input.below(10);
    const int rows = input.below(10);
    const auto name = [](const char *key) { return QString::fromLatin1(key); };
    QVariantList reply;
    Model expected = modelOf(enCommonCoefficient, columns, rows, 9);
    EnumErrorCode code = enSuccess;
    for (int left = input.below(4); left > 0; --left) {
        const Block block = blockOf(input, expected);
        const Model values{enCommonCoefficient, 0, 0, 9, someValues(input, input.below(400), 2)};
        reply.append(QVariantMap{{name("area.point.x"), int(block.x)},
                                 {name("area.point.y"), int(block.y)},
                                 {name("area.size.width"), int(block.w)},
                                 {name("area.size.height"), int(block.h)},
                                 {name("coefficients"), QString::fromLatin1(bytesOf(values).toBase64())}});
        if (code == enSuccess)
            code = values.values.empty() ? enArgumentMismatch : paste(expected, block, values.values);
    }
    const EnumErrorCode got = RequestParser::toCabinetChromaCoefficient(QRect(0, 0, columns, rows), reply, *target.grid);
    if (target.model.kind == enCommonCoefficient) {
        Fuzz::same<int>(got, code, "the code of a reply");
        target.model = expected;
    } else {
        Fuzz::same<int>(got, enArgumentMismatch, "the code of a reply for another kind");
    }
}

void step(std::vector<Grid> &grids, Fuzz::Bytes &input)
{
    using namespace Fuzz;
    Grid &target = grids[std::size_t(input.below(int(grids.size())))];
    Model &model = target.model;
    ICoefficient &grid = *target.grid;
    switch (input.below(12)) {
    case 0:
        if (grids.size() < 6)
            add(grids, input);
        break;
    case 1: { // replaces all values
        const qint64 wanted = Model::count(model.columns, model.rows, model.length, model.bytesPerValue());
        const qint64 count = input.flag() && wanted >= 0 && wanted <= most ? wanted : input.below(300);
        const Numbers numbers = someValues(input, count, model.bytesPerValue());
        const EnumErrorCode code = as(grid, [&](auto &own) {
            auto values = valuesOf<decltype(own.getCoefficient())>(numbers);
            return own.setCoefficient(values);
        });
        same<int>(code, count == wanted ? enSuccess : enOutOfRange, "the code of a replacement");
        if (count == wanted)
            model.values = numbers;
        break;
    }
    case 2: { // pastes values
        const Block block = blockOf(input, model);
        const Numbers numbers = someValues(input, input.below(600), model.bytesPerValue());
        const EnumErrorCode code = as(grid, [&](auto &own) {
            auto values = valuesOf<decltype(own.getCoefficient())>(numbers);
            return own.setPartCoefficient(block.rect(), values);
        });
        same<int>(code, paste(model, block, numbers), "the code of a paste of values");
        break;
    }
    case 3: { // pastes a grid, perhaps itself
        Grid &source = grids[std::size_t(input.below(int(grids.size())))];
        const Block block = blockOf(input, model);
        const Numbers numbers = source.model.values;
        const EnumErrorCode expected = source.model.kind == model.kind ? paste(model, block, numbers) : enArgumentMismatch;
        same<int>(grid.setPartCoefficient(block.rect(), *source.grid), expected, "the code of a paste of a grid");
        break;
    }
    case 4: { // cuts
        const Block block = blockOf(input, model);
        const qint64 count = Model::count(block.w, block.h, model.length, model.bytesPerValue());
        if (count > most)
            break;
        CoefficientPtr part(grid.tryGetPart(block.rect()));
        const bool isCut = block.x + block.w <= model.columns && block.y + block.h <= model.rows && count >= 0;
        require(bool(part) == isCut, "a cut that should not be there, or should");
        if (!isCut)
            break;
        Model expected = modelOf(model.kind, block.w, block.h, model.length);
        for (qint64 i = 0; i < count; ++i) {
            const qint64 pixel = i / model.length;
            const qint64 place = block.x + pixel % block.w + (block.y + pixel / block.w) * model.columns;
            const qint64 index = place * model.length + i % model.length;
            if (index >= 0 && index < qint64(model.values.size()))
                expected.values[std::size_t(i)] = model.values[std::size_t(index)];
        }
        compare(*part, expected);
        target.grid = std::move(part);
        model = expected;
        break;
    }
    case 5: { // copies by getCopy()
        const qint64 length = model.kind == enMultilayerCoefficient ? 16 : 9;
        if (!isCheap(model.columns, model.rows, length, model.bytesPerValue()) || grids.size() >= 6)
            break;
        Model expected = modelOf(model.kind, model.columns, model.rows, length);
        if (expected.isValid() && expected.values.size() == model.values.size())
            expected.values = model.values;
        grids.push_back({CoefficientPtr(grid.getCopy()), expected});
        break;
    }
    case 6: { // copies, moves and assigns by class
        Grid &source = grids[std::size_t(input.below(int(grids.size())))];
        if (source.model.kind != model.kind || &source == &target)
            break;
        const bool isMoved = input.flag();
        as(grid, [&](auto &own) {
            auto &other = static_cast<decltype(own)>(*source.grid);
            if (isMoved) {
                auto copy = other;
                own = std::move(copy);
            } else {
                own = other;
            }
        });
        model = source.model;
        break;
    }
    case 7:
        model.rows = input.number();
        grid.setPixelRow(int(model.rows));
        break;
    case 8:
        model.columns = input.number();
        grid.setPixelCol(int(model.columns));
        break;
    case 9: // back to a valid grid
        if (model.length > 0 && qint64(model.values.size()) % model.length == 0) {
            model.columns = qint64(model.values.size()) / model.length;
            model.rows = 1;
            grid.setPixelCol(int(model.columns));
            grid.setPixelRow(1);
        }
        break;
    case 10:
        same(grid.toBase64(), QString::fromLatin1(bytesOf(model).toBase64()), "the base64 text");
        if (model.kind == enCommonCoefficient) {
            auto &chroma = static_cast<Coefficient &>(grid);
            QVector<unsigned short> average{7};
            const EnumErrorCode code = chroma.tryGetAvg(average);
            same<int>(code, model.isValid() ? enSuccess : enInvalidParameter, "the code of an average");
            Numbers expected{7};
            if (model.isValid()) {
                std::vector<qint64> sums(9);
                for (std::size_t i = 0; i < model.values.size(); ++i)
                    sums[i % 9] += model.values[i];
                const qint64 pixels = qint64(model.values.size()) / 9;
                expected.clear();
                for (const qint64 sum : sums)
                    expected.push_back(pixels > 0 ? int(sum / pixels) : 0);
            }
            require(numbersOf(average) == expected, "the average differs");
        }
        break;
    default:
        parseReply(target, input);
    }
}

} // namespace

void Fuzz::setUp() {}

void Fuzz::run(Bytes &input)
{
    std::vector<Grid> grids;
    grids.push_back({CoefficientPtr(new Coefficient(4, 3)), modelOf(enCommonCoefficient, 4, 3, 9)});
    for (int left = 64; left > 0 && !input.isAtEnd(); --left) {
        step(grids, input);
        compare(*grids.back().grid, grids.back().model);
    }
    for (const Grid &grid : grids)
        compare(*grid.grid, grid.model);
}
