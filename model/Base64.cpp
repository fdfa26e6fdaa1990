#include "model/Base64.h"

#include "model/Grid.h"
#include "model/Logging.h"

#include <QtCore/QtEndian>

#include <array>

namespace Correction {
namespace Base64 {
namespace {

constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Two characters for every 12 bits: three bytes of input take two look-ups.
struct PairTable {
    std::array<quint32, 4096> pairs{};

    PairTable()
    {
        for (unsigned bits = 0; bits < pairs.size(); ++bits) {
            const std::array<ushort, 2> pair{ushort(alphabet[bits >> 6]), ushort(alphabet[bits & 63])};
            std::memcpy(&pairs[bits], pair.data(), sizeof pair);
        }
    }
};

constexpr quint32 foreign = 0x80000000;

/// The six bits of every character of the alphabet, at each of the four places of a group of 24 bits; `foreign` for others.
struct DigitTable {
    std::array<std::array<quint32, 128>, 4> places{};

    DigitTable()
    {
        for (size_t place = 0; place < places.size(); ++place) {
            places[place].fill(foreign);
            for (quint32 digit = 0; digit < 64; ++digit)
                places[place][size_t(alphabet[digit])] = digit << (18 - 6 * place);
        }
    }

    /// The 24 bits of four characters, or something with `foreign` in it.
    quint32 group(const ushort *text) const
    {
        if ((text[0] | text[1] | text[2] | text[3]) >= 128)
            return foreign;
        return places[0][text[0]] | places[1][text[1]] | places[2][text[2]] | places[3][text[3]];
    }
    quint32 digit(ushort character) const { return character < 128 ? places[3][character] : foreign; }
};

/// `size` bytes, read three at a time in the order in which they travel.
QString encodeBytes(const uchar *bytes, qint64 size)
{
    static const PairTable table;

    const qint64 length = (size + 2) / 3 * 4;
    if (length * qint64(sizeof(QChar)) > Grid::maxContainerBytes) {
        logFailure("base64 text too long. bytes:%1", static_cast<int>(size));
        return QString();
    }
    QString text(static_cast<int>(length), Qt::Uninitialized);
    auto *out = reinterpret_cast<uchar *>(text.data());
    const auto put = [&out](unsigned bits) {
        std::memcpy(out, &table.pairs[bits], sizeof(quint32));
        out += sizeof(quint32);
    };
    const uchar *const end = bytes + size;
    for (; end - bytes >= 3; bytes += 3) {
        const unsigned group = unsigned(bytes[0]) << 16 | unsigned(bytes[1]) << 8 | bytes[2];
        put(group >> 12);
        put(group & 0xfff);
    }
    if (end != bytes) {
        const bool two = end - bytes == 2;
        const unsigned group = unsigned(bytes[0]) << 16 | (two ? unsigned(bytes[1]) << 8 : 0u);
        QChar *const last = text.data() + length - 4;
        last[0] = QLatin1Char(alphabet[group >> 18]);
        last[1] = QLatin1Char(alphabet[group >> 12 & 63]);
        last[2] = two ? QLatin1Char(alphabet[group >> 6 & 63]) : QLatin1Char('=');
        last[3] = QLatin1Char('=');
    }
    return text;
}

/// Decodes clean text (characters of the alphabet, then at most two paddings) into `out`, which has room for 6 bits for each
/// character. False for any other text.
bool decodeClean(const ushort *text, qint64 length, uchar *out)
{
    static const DigitTable table;

    qint64 i = 0;
    for (; i + 4 <= length; i += 4) {
        const quint32 group = table.group(text + i);
        if (group & foreign)
            return false;
        out[0] = uchar(group >> 16);
        out[1] = uchar(group >> 8);
        out[2] = uchar(group);
        out += 3;
    }
    unsigned group = 0;
    int bits = 0;
    for (; i < length; ++i) {
        const quint32 digit = table.digit(text[i]);
        if (digit == foreign)
            return false;
        group = group << 6 | digit;
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            *out++ = uchar(group >> bits);
        }
    }
    return true;
}

/// The length of the text without its padding.
qint64 unpadded(const QString &text)
{
    qint64 length = text.size();
    for (int padding = 0; padding < 2 && length > 0 && text[int(length) - 1] == QLatin1Char('='); ++padding)
        --length;
    return length;
}

qint64 decodedSize(qint64 length)
{
    return length * 6 / 8;
}

const ushort *utf16(const QString &text)
{
    return reinterpret_cast<const ushort *>(text.constData());
}

} // namespace

QString encode(const QVector<unsigned short> &values)
{
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
    return encodeBytes(reinterpret_cast<const uchar *>(values.constData()), qint64(values.size()) * 2);
#else
    QVector<unsigned short> swapped(values);
    qToLittleEndian<unsigned short>(values.constData(), values.size(), swapped.data());
    return encodeBytes(reinterpret_cast<const uchar *>(swapped.constData()), qint64(swapped.size()) * 2);
#endif
}

QString encode(const QByteArray &bytes)
{
    return encodeBytes(reinterpret_cast<const uchar *>(bytes.constData()), bytes.size());
}

QByteArray decodeBytes(const QString &text)
{
    const qint64 length = unpadded(text);
    QByteArray bytes(static_cast<int>(decodedSize(length)), Qt::Uninitialized);
    if (decodeClean(utf16(text), length, reinterpret_cast<uchar *>(bytes.data())))
        return bytes;
    return QByteArray::fromBase64(text.toUtf8());
}

QVector<unsigned short> decodeValues(const QString &text)
{
    // One value more than needed gives the last, odd byte a place to be dropped from.
    const qint64 length = unpadded(text);
    const int count = static_cast<int>(decodedSize(length) / 2);
    QVector<unsigned short> values(count + 1);
    if (decodeClean(utf16(text), length, reinterpret_cast<uchar *>(values.data()))) {
        values.resize(count);
    } else {
        const QByteArray bytes = QByteArray::fromBase64(text.toUtf8());
        values.resize(bytes.size() / 2);
        std::memcpy(values.data(), bytes.constData(), size_t(values.size()) * sizeof(unsigned short));
    }
    qFromLittleEndian<unsigned short>(values.constData(), values.size(), values.data());
    return values;
}

} // namespace Base64
} // namespace Correction
