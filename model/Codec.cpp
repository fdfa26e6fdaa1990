#include "model/Codec.h"

#include "model/Grid.h"
#include "model/Logging.h"

#include <Correction/Coefficient.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>

#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>
#include <type_traits>

// Highway compiles this file once for every instruction set, each time into another HWY_NAMESPACE, and picks the best one at
// run time. What must be compiled once only is below HWY_ONCE.
#define HWY_WANT_AVX3_DL // the newest set, which Highway leaves out by default
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "model/Codec.cpp"
#include <hwy/foreach_target.h> // before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace Correction {
namespace Codec {
namespace HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE; // NOLINT(misc-unused-alias-decls): the plain loops use no vectors

#if HWY_TARGET == HWY_SCALAR || HWY_TARGET == HWY_EMU128 || Q_BYTE_ORDER != Q_LITTLE_ENDIAN
// Highway's emulated vectors are slower than the scalar tail loops, which do all the work here. The vectors below need
// lanes whose low byte is the first one.

qint64 encodeVectors(const uchar *, qint64, char16_t *)
{
    return 0;
}

qint64 decodeVectors(const char16_t *, qint64, uchar *)
{
    return 0;
}

qint64 writeVectors(const ushort *, qint64 count, char16_t *&)
{
    return count;
}

#else
// Both directions work in blocks of 16 bytes, as many at once as a vector holds: one block is 12 bytes of data or 16
// characters.
constexpr hn::ScalableTag<uint8_t> d8{};
constexpr hn::ScalableTag<uint16_t> d16{};
constexpr hn::ScalableTag<uint32_t> d32{};
constexpr hn::RebindToSigned<decltype(d16)> i16{};
constexpr hn::RebindToSigned<decltype(d32)> i32{};
constexpr hn::Half<decltype(d8)> halfOf8{};
using V8 = hn::Vec<decltype(d8)>;

/// The same sixteen numbers in every block.
HWY_INLINE V8 inEveryBlock(const uint8_t (&numbers)[16])
{
    return hn::LoadDup128(d8, numbers);
}

/// Source indexes of the 32-bit lanes, for spreading contiguous data over the first three lanes of each block and for
/// gathering it from them.
enum class Move { Spread, Gather };

HWY_INLINE auto lanesOf(Move move)
{
    HWY_ALIGN uint32_t from[hn::MaxLanes(d32)] = {};
    const auto lanes = uint32_t(hn::Lanes(d32));
    for (uint32_t lane = 0; lane < lanes; ++lane) {
        from[lane] =
            move == Move::Spread ? lane / 4 * 3 + std::min(lane % 4, 2u) : std::min(lane / 3 * 4 + lane % 3, lanes - 1);
    }
    return hn::SetTableIndices(d32, from);
}

template <class Indices>
HWY_INLINE V8 moved(V8 bytes, Indices lanes)
{
    if constexpr (hn::MaxLanes(d8) == 16) // a single block needs no permutation
        return bytes;
    else
        return hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(d32, bytes), lanes));
}

/// The characters of six bits each.
HWY_INLINE V8 charactersOf(V8 digits)
{
    // What to add: at 0 for a-z, at 1 to 10 for 0-9, at 11 for +, at 12 for /, at 13 for A-Z.
    constexpr auto number = uint8_t('0' - 52);
    alignas(16) static constexpr uint8_t distances[16] = {
        'a' - 26,          number, number, number, number, number, number, number, number, number, number, uint8_t('+' - 62),
        uint8_t('/' - 63), 'A'};
    const auto capital = hn::IfThenElseZero(hn::Lt(digits, hn::Set(d8, 26)), hn::Set(d8, 13));
    const auto range = hn::Or(hn::SaturatedSub(digits, hn::Set(d8, 51)), capital);
    return hn::Add(digits, hn::TableLookupBytes(inEveryBlock(distances), range));
}

/// Encodes from the front what fills whole vectors. Returns the number of bytes done, a multiple of 12.
qint64 encodeVectors(const uchar *bytes, qint64 size, char16_t *out)
{
    alignas(16) static constexpr uint8_t triples[16] = {1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10};
    const auto spread = lanesOf(Move::Spread);
    const auto characters = qint64(hn::Lanes(d8));
    qint64 done = 0;
    for (; size - done >= characters; done += characters / 4 * 3, out += characters) { // a load reads more than it uses
        // Of three bytes a b c, in the order b a c b, two products move the four times six bits into a byte each.
        const auto in = hn::TableLookupBytes(moved(hn::LoadU(d8, bytes + done), spread), inEveryBlock(triples));
        const auto even = hn::BitCast(d16, hn::And(hn::BitCast(d32, in), hn::Set(d32, 0x0fc0fc00)));
        const auto odd = hn::BitCast(d16, hn::And(hn::BitCast(d32, in), hn::Set(d32, 0x003f03f0)));
        const auto digits = hn::Or(hn::MulHigh(even, hn::BitCast(d16, hn::Set(d32, 0x04000040))),
                                   hn::Mul(odd, hn::BitCast(d16, hn::Set(d32, 0x01000010))));
        const auto text = charactersOf(hn::BitCast(d8, digits));
        auto *const units = reinterpret_cast<uint16_t *>(out);
        hn::StoreU(hn::PromoteTo(d16, hn::LowerHalf(halfOf8, text)), d16, units);
        hn::StoreU(hn::PromoteTo(d16, hn::UpperHalf(halfOf8, text)), d16, units + characters / 2);
    }
    return done;
}

/// Decodes from the front what fills whole vectors, into `out` with room for 6 bits for each of the `length` characters.
/// Returns the number of characters done, a multiple of 16, or -1 when one of them does not belong to the alphabet.
qint64 decodeVectors(const char16_t *text, qint64 length, uchar *out)
{
    // A character belongs to the alphabet when the entries of its high and of its low four bits have no bit in common.
    alignas(16) static constexpr uint8_t highEntries[16] = {0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                                                            0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10};
    alignas(16) static constexpr uint8_t lowEntries[16] = {0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                                           0x11, 0x11, 0x13, 0x1a, 0x1b, 0x1b, 0x1b, 0x1a};
    // From a character to its six bits: what to add, at its high four bits. The slash, which shares them with the plus,
    // looks one place before.
    alignas(16) static constexpr uint8_t distances[16] = {
        0, 63 - '/', 62 - '+', uint8_t(52 - '0'), uint8_t(-'A'), uint8_t(-'A'), uint8_t(26 - 'a'), uint8_t(26 - 'a')};
    alignas(16) static constexpr uint8_t highByteFirst[16] = {2, 1,  0,  6,  5,    4,    10,   9,
                                                              8, 14, 13, 12, 0x80, 0x80, 0x80, 0x80};
    const auto gather = lanesOf(Move::Gather);
    const auto fourBits = hn::Set(d8, 0x0f);
    const auto characters = qint64(hn::Lanes(d8));
    auto units = hn::Zero(d16);
    auto foreign = hn::Zero(d8);
    qint64 done = 0;
    for (; (length - done) / 4 * 3 >= characters; done += characters, out += characters / 4 * 3) { // stores more than needed
        const auto *const from = reinterpret_cast<const uint16_t *>(text + done);
        const auto first = hn::LoadU(d16, from);
        const auto second = hn::LoadU(d16, from + characters / 2);
        units = hn::Or(units, hn::Or(first, second));
        const auto in = hn::ConcatEven(d8, hn::BitCast(d8, second), hn::BitCast(d8, first));

        const auto high = hn::And(hn::BitCast(d8, hn::ShiftRight<4>(hn::BitCast(d16, in))), fourBits);
        const auto low = hn::And(in, fourBits);
        foreign = hn::OrAnd(foreign, hn::TableLookupBytes(inEveryBlock(highEntries), high),
                            hn::TableLookupBytes(inEveryBlock(lowEntries), low));
        const auto slash = hn::VecFromMask(d8, hn::Eq(in, hn::Set(d8, '/'))); // -1
        const auto distance = hn::TableLookupBytes(inEveryBlock(distances), hn::Add(high, slash));
        const auto digits = hn::BitCast(d16, hn::Add(in, distance));

        // Two times six bits make twelve, two times twelve make three bytes.
        const auto twelve = hn::OrAnd(hn::ShiftRight<8>(digits), hn::ShiftLeft<6>(digits), hn::Set(d16, 0x0fc0));
        auto rest = hn::Zero(i32);
        const auto products = hn::ReorderWidenMulAccumulate(i32, hn::BitCast(i16, twelve),
                                                            hn::BitCast(i16, hn::Set(d32, 0x00011000)), hn::Zero(i32), rest);
        const auto groups = hn::RearrangeToOddPlusEven(products, rest);
        hn::StoreU(moved(hn::TableLookupBytes(hn::BitCast(d8, groups), inEveryBlock(highByteFirst)), gather), d8, out);
    }
    const bool clean = hn::AllTrue(d8, hn::Eq(foreign, hn::Zero(d8))) && hn::AllTrue(d16, hn::Lt(units, hn::Set(d16, 0x80)));
    return clean ? done : -1;
}

// JSON takes eight numbers at a time, whatever the machine's vectors hold.
constexpr hn::FixedTag<uint16_t, 8> eight16{};
constexpr hn::FixedTag<uint32_t, 4> four32{};
constexpr hn::FixedTag<uint64_t, 2> two64{};
using V16 = hn::Vec<decltype(eight16)>;

HWY_INLINE V16 tenthOf(V16 numbers)
{
    return hn::ShiftRight<3>(hn::MulHigh(numbers, hn::Set(eight16, 52429))); // for every 16-bit number
}

HWY_INLINE V16 lastDigitOf(V16 numbers, V16 tenths)
{
    return hn::Add(hn::Sub(numbers, hn::Mul(tenths, hn::Set(eight16, 10))), hn::Set(eight16, '0'));
}

/// -1 for every zero, 0 for all others.
HWY_INLINE V16 isZero(V16 numbers)
{
    return hn::VecFromMask(eight16, hn::Eq(numbers, hn::Zero(eight16)));
}

/// Writes four numbers, the last one first: each as eight characters whose last `lengths[i]` are its own. The
/// characters before them are overwritten by the number before. Each vector holds the two characters that its name states.
template <class V>
HWY_INLINE void writeFour(V digits12, V digits34, V digit5Comma, const uint16_t *lengths, char16_t *&end)
{
    const auto write = [&end](auto number, uint16_t length) HWY_ATTR {
        hn::StoreU(hn::BitCast(eight16, number), eight16, reinterpret_cast<uint16_t *>(end) - 8);
        end -= length;
    };
    const auto writeTwo = [&](auto front, auto back, const uint16_t *twoLengths) HWY_ATTR {
        write(hn::InterleaveUpper(two64, hn::BitCast(two64, front), hn::BitCast(two64, back)), twoLengths[1]);
        write(hn::InterleaveLower(two64, hn::BitCast(two64, front), hn::BitCast(two64, back)), twoLengths[0]);
    };
    writeTwo(hn::InterleaveUpper(four32, digits12, digits12), hn::InterleaveUpper(four32, digits34, digit5Comma),
             lengths + 2);
    writeTwo(hn::InterleaveLower(four32, digits12, digits12), hn::InterleaveLower(four32, digits34, digit5Comma), lengths);
}

/// Writes numbers from the last one backwards, with a comma behind each, and moves `end` to the front of what it wrote.
/// Returns the count of those that are left, enough of them to fill the eight characters before `end`.
qint64 writeVectors(const ushort *values, qint64 count, char16_t *&end)
{
    char16_t *to = end;
    const auto comma = hn::Set(eight16, ',');
    for (; count >= 16; count -= 8) {
        const auto number = hn::LoadU(eight16, values + count - 8);
        const auto tens = tenthOf(number);
        const auto hundreds = tenthOf(tens);
        const auto thousands = tenthOf(hundreds);
        const auto myriads = tenthOf(thousands);
        HWY_ALIGN uint16_t lengths[8];
        hn::Store(hn::Add(hn::Add(hn::Set(eight16, 6), isZero(tens)),
                          hn::Add(isZero(hundreds), hn::Add(isZero(thousands), isZero(myriads)))),
                  eight16, lengths);
        const auto digit1 = hn::Add(myriads, hn::Set(eight16, '0'));
        const auto digit2 = lastDigitOf(thousands, myriads);
        const auto digit3 = lastDigitOf(hundreds, thousands);
        const auto digit4 = lastDigitOf(tens, hundreds);
        const auto digit5 = lastDigitOf(number, tens);
        const auto upper = [](V16 a, V16 b) HWY_ATTR { return hn::BitCast(four32, hn::InterleaveUpper(eight16, a, b)); };
        const auto lower = [](V16 a, V16 b) HWY_ATTR { return hn::BitCast(four32, hn::InterleaveLower(eight16, a, b)); };
        writeFour(upper(digit1, digit2), upper(digit3, digit4), upper(digit5, comma), lengths + 4, to);
        writeFour(lower(digit1, digit2), lower(digit3, digit4), lower(digit5, comma), lengths, to);
    }
    end = to;
    return count;
}
#endif

/// A scalar loop: the compiler vectorises it for each instruction set.
PixelSums sumWhole(const ushort *values, qint64 count)
{
    // Rows of many pixels are added up in 32 bits, for as many rows as these hold.
    constexpr int rowLength = 16 * chromaPixelLength;
    constexpr qint64 rowsAtOnce = 0xffffffff / 0xffff;
    PixelSums sums{};
    const ushort *const end = values + count;
    while (end - values >= rowLength) {
        std::array<quint32, rowLength> partial{};
        for (qint64 rows = std::min<qint64>((end - values) / rowLength, rowsAtOnce); rows > 0; --rows) {
            for (int i = 0; i < rowLength; ++i)
                partial[size_t(i)] += values[i];
            values += rowLength;
        }
        for (size_t i = 0; i < partial.size(); ++i)
            sums[i % chromaPixelLength] += partial[i];
    }
    for (; values != end; values += chromaPixelLength) {
        for (size_t i = 0; i < sums.size(); ++i)
            sums[i] += values[i];
    }
    return sums;
}

/// The digits of all numbers; as plain, in chunks whose count fits 16 bits like the numbers themselves.
qint64 countDigits(const ushort *values, qint64 count)
{
    constexpr qint64 chunk = 0xffff / 5;
    qint64 digits = 0;
    while (count > 0) {
        const qint64 here = std::min(count, chunk);
        ushort inChunk = 0;
        for (qint64 i = 0; i < here; ++i) {
            const ushort value = values[i];
            inChunk = ushort(inChunk + 1 + (value > 9) + (value > 99) + (value > 999) + (value > 9999));
        }
        digits += inChunk;
        values += here;
        count -= here;
    }
    return digits;
}

} // namespace HWY_NAMESPACE
} // namespace Codec
} // namespace Correction
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace Correction {
namespace Codec {
namespace {

HWY_EXPORT(encodeVectors);
HWY_EXPORT(decodeVectors);
HWY_EXPORT(writeVectors);
HWY_EXPORT(countDigits);
HWY_EXPORT(sumWhole);

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr uchar foreign = 0xff;

constexpr std::array<uchar, 128> digitTable()
{
    std::array<uchar, 128> digits{};
    for (uchar &digit : digits)
        digit = foreign;
    for (uchar digit = 0; digit < 64; ++digit)
        digits[uchar(alphabet[digit])] = digit;
    return digits;
}

/// The six bits of a character, or `foreign`.
uchar digitOf(char16_t character)
{
    static constexpr std::array<uchar, 128> digits = digitTable();
    return character < digits.size() ? digits[character] : foreign;
}

qint64 base64Length(qint64 bytes)
{
    return (bytes + 2) / 3 * 4;
}

/// The bytes of values in transfer order (low byte first), for machines with another byte order.
struct LowByteFirst {
    const ushort *values;
    uchar operator[](qint64 i) const { return uchar(values[i / 2] >> i % 2 * 8); }
};

/// `size` bytes, read three at a time in transfer order (low byte first).
template <class Bytes>
QString encodeBytes(Bytes bytes, qint64 size)
{
    if (!fitsBase64(size)) {
        logFailure("base64 text too long. bytes:%1", static_cast<int>(size));
        return QString();
    }
    QString text(static_cast<int>(base64Length(size)), Qt::Uninitialized);
    auto *out = reinterpret_cast<char16_t *>(text.data());
    qint64 done = 0;
    if constexpr (std::is_pointer_v<Bytes>)
        done = HWY_DYNAMIC_DISPATCH(encodeVectors)(bytes, size, out);
    out += done / 3 * 4;
    const auto put = [&out](unsigned group, int characters) {
        for (int i = 0; i < 4; ++i)
            *out++ = i < characters ? char16_t(alphabet[group >> (18 - 6 * i) & 63]) : u'=';
    };
    for (; size - done >= 3; done += 3)
        put(unsigned(bytes[done]) << 16 | unsigned(bytes[done + 1]) << 8 | bytes[done + 2], 4);
    if (size - done == 2)
        put(unsigned(bytes[done]) << 16 | unsigned(bytes[done + 1]) << 8, 3);
    else if (size - done == 1)
        put(unsigned(bytes[done]) << 16, 2);
    return text;
}

/// The length of base64 without its padding.
qint64 unpadded(const QString &text)
{
    qint64 length = text.size();
    for (int padding = 0; padding < 2 && length > 0 && text[int(length) - 1] == QLatin1Char('='); ++padding)
        --length;
    return length;
}

/// Bytes of so many characters. Bits that fill none are dropped.
int decodedSize(qint64 length)
{
    return static_cast<int>(length * 6 / 8);
}

/// Decodes the first `length` characters into `out`, which has room for their bytes. False when one of them does not belong
/// to the alphabet.
bool decodeClean(const QString &text, qint64 length, void *out)
{
    const auto *const units = reinterpret_cast<const char16_t *>(text.constData());
    auto *to = static_cast<uchar *>(out);
    qint64 done = HWY_DYNAMIC_DISPATCH(decodeVectors)(units, length, to);
    if (done < 0)
        return false;
    to += done / 4 * 3;
    for (; length - done >= 4; done += 4, to += 3) {
        const std::array<uchar, 4> digits{digitOf(units[done]), digitOf(units[done + 1]), digitOf(units[done + 2]),
                                          digitOf(units[done + 3])};
        if ((digits[0] | digits[1] | digits[2] | digits[3]) == foreign)
            return false;
        to[0] = uchar(digits[0] << 2 | digits[1] >> 4);
        to[1] = uchar(digits[1] << 4 | digits[2] >> 2);
        to[2] = uchar(digits[2] << 6 | digits[3]);
    }
    unsigned group = 0;
    int bits = 0;
    for (; done < length; ++done) {
        const uchar digit = digitOf(units[done]);
        if (digit == foreign)
            return false;
        group = group << 6 | digit;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            *to++ = uchar(group >> bits);
        }
    }
    return true;
}

} // namespace

QString toBase64(const QVector<unsigned short> &values)
{
    const qint64 size = qint64(values.size()) * 2;
    if constexpr (Q_BYTE_ORDER == Q_LITTLE_ENDIAN)
        return encodeBytes(reinterpret_cast<const uchar *>(values.constData()), size);
    else
        return encodeBytes(LowByteFirst{values.constData()}, size);
}

QString toBase64(const QByteArray &bytes)
{
    return encodeBytes(reinterpret_cast<const uchar *>(bytes.constData()), bytes.size());
}

bool fitsBase64(qint64 bytes)
{
    return bytes <= Grid::maxContainerBytes / (4 * qint64(sizeof(QChar))) * 3;
}

bool tryEncode(ICoefficient &grid, QString &text)
{
    text = grid.toBase64();
    // From the library's grids a null string means that the values do not fit; a host's grid may return one for another
    // reason.
    return !text.isNull()
           || !(dynamic_cast<Coefficient *>(&grid) || dynamic_cast<LowGrayCoefficient *>(&grid)
                || dynamic_cast<MultilayerCoefficient *>(&grid));
}

QByteArray decodeBytes(const QString &text)
{
    const qint64 length = unpadded(text);
    QByteArray bytes(decodedSize(length), Qt::Uninitialized);
    return decodeClean(text, length, bytes.data()) ? bytes : QByteArray::fromBase64(text.toUtf8());
}

QVector<unsigned short> decodeValues(const QString &text)
{
    const qint64 length = unpadded(text);
    const int size = decodedSize(length);
    QVector<unsigned short> values = Grid::unfilled((size + 1) / 2, QVector<unsigned short>());
    if (decodeClean(text, length, values.data())) {
        values.resize(size / 2); // drops an odd byte
    } else {
        const QByteArray bytes = QByteArray::fromBase64(text.toUtf8());
        values = Grid::unfilled(bytes.size() / 2, values);
        std::memcpy(values.data(), bytes.constData(), size_t(values.size()) * sizeof(unsigned short));
    }
    if constexpr (Q_BYTE_ORDER != Q_LITTLE_ENDIAN)
        qFromLittleEndian<unsigned short>(values.constData(), values.size(), values.data());
    return values;
}

QString toJson(const QVector<unsigned short> &values)
{
    qint64 left = values.size();
    const qint64 length = 1 + std::max<qint64>(1, HWY_DYNAMIC_DISPATCH(countDigits)(values.constData(), left) + left);
    if (length * qint64(sizeof(QChar)) > Grid::maxContainerBytes) {
        logFailure("JSON text too long. values:%1", values.size());
        return QString();
    }
    QString text(static_cast<int>(length), Qt::Uninitialized);
    auto *const begin = reinterpret_cast<char16_t *>(text.data());
    char16_t *end = begin + length;
    left = HWY_DYNAMIC_DISPATCH(writeVectors)(values.constData(), left, end);
    while (left > 0) {
        unsigned value = values[int(--left)];
        *--end = u',';
        do {
            *--end = char16_t(u'0' + value % 10);
            value /= 10;
        } while (value != 0);
    }
    *begin = u'[';
    begin[length - 1] = u']'; // in the place of the last comma
    return text;
}

PixelSums sumPixels(const QVector<unsigned short> &values)
{
    return HWY_DYNAMIC_DISPATCH(sumWhole)(values.constData(), qint64(values.size() / chromaPixelLength) * chromaPixelLength);
}

} // namespace Codec
} // namespace Correction
#endif
