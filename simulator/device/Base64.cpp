#include "Base64.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

namespace Simulator::Base64 {

namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr quint32 foreign = 1u << 31;
constexpr int digitBits = 6;
constexpr qint64 longestText = 0x3fffff00; ///< Of a QString, in characters.

using Pair = std::array<ushort, 2>;

/// The two characters of every twelve bits.
const std::array<Pair, 4096> &pairs()
{
    static const std::array<Pair, 4096> all = [] {
        std::array<Pair, 4096> made{};
        for (std::size_t bits = 0; bits < made.size(); ++bits)
            made[bits] = {static_cast<uchar>(alphabet[bits >> digitBits]), static_cast<uchar>(alphabet[bits & 63])};
        return made;
    }();
    return all;
}

/// The six bits of a character, at their place in a group of four characters; `foreign` for those that do not belong to the
/// alphabet.
using Digits = std::array<quint32, 256>;

constexpr std::array<Digits, 4> makeDigits()
{
    std::array<Digits, 4> digits{};
    for (std::size_t place = 0; place < digits.size(); ++place) {
        for (quint32 &digit : digits[place])
            digit = foreign;
        for (quint32 digit = 0; digit < 64; ++digit)
            digits[place][static_cast<uchar>(alphabet[digit])] = digit << digitBits * (3 - place);
    }
    return digits;
}

constexpr std::array<Digits, 4> digits = makeDigits();

bool decodeByQt(const QString &text, QByteArray &bytes)
{
    const auto result = QByteArray::fromBase64Encoding(text.toLatin1(),
                                                       QByteArray::Base64Encoding | QByteArray::AbortOnBase64DecodingErrors);
    if (result)
        bytes = *result;
    return bool(result);
}

} // namespace

QString encode(const QByteArray &bytes)
{
    const int whole = bytes.size() / 3;
    const QString rest = QString::fromLatin1(bytes.mid(3 * whole).toBase64());
    if (4 * qint64(whole) + rest.size() > longestText)
        throw std::bad_alloc();
    QString text(4 * whole + rest.size(), Qt::Uninitialized);
    const auto *in = reinterpret_cast<const uchar *>(bytes.constData());
    auto *out = reinterpret_cast<ushort *>(text.data());
    const std::array<Pair, 4096> &characters = pairs();
    for (int i = 0; i < whole; ++i, in += 3, out += 4) {
        const std::size_t bits = std::size_t(in[0]) << 16 | std::size_t(in[1]) << 8 | in[2];
        std::memcpy(out, characters[bits >> 12].data(), sizeof(Pair));
        std::memcpy(out + 2, characters[bits & 4095].data(), sizeof(Pair));
    }
    std::copy(rest.utf16(), rest.utf16() + rest.size(), out);
    return text;
}

bool decode(const QString &text, QByteArray &bytes)
{
    // The last characters, with their padding, are Qt's.
    const int whole = qMax(0, text.size() - 1) / 4;
    QByteArray rest;
    if (!decodeByQt(text.mid(4 * whole), rest))
        return false;
    QByteArray result(3 * whole + rest.size(), Qt::Uninitialized);
    const auto *in = reinterpret_cast<const ushort *>(text.constData());
    auto *out = reinterpret_cast<uchar *>(result.data());
    unsigned seen = 0; // the bits of all characters
    quint32 found = 0; // those of all groups
    for (int i = 0; i < whole; ++i, in += 4, out += 3) {
        seen |= unsigned(in[0]) | in[1] | in[2] | in[3];
        const quint32 group =
            digits[0][in[0] & 0xff] | digits[1][in[1] & 0xff] | digits[2][in[2] & 0xff] | digits[3][in[3] & 0xff];
        found |= group;
        out[0] = static_cast<uchar>(group >> 16);
        out[1] = static_cast<uchar>(group >> 8);
        out[2] = static_cast<uchar>(group);
    }
    if (seen > 0xff || (found & foreign) != 0)
        return false;
    std::copy(rest.cbegin(), rest.cend(), result.end() - rest.size());
    bytes = result;
    return true;
}

} // namespace Simulator::Base64
