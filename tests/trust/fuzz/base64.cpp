// Coefficient texts: the codec on every instruction set against plain loops.

#include "Fuzz.h"

#include "model/Codec.h"
#include "support/Values.h"

#define HWY_WANT_AVX3_DL // as in the codec
#include <hwy/highway.h>

#include <QtCore/QVector>

#include <memory>
#include <vector>

using namespace Correction;
using TestSupport::base64;
using TestSupport::jsonOf;
using TestSupport::valuesOf;

namespace {

std::vector<int64_t> sets;

int digitOf(ushort character)
{
    static const QByteArray alphabet("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    return character < 128 && character > 0 ? alphabet.indexOf(char(character)) : -1;
}

/// All characters outside of the alphabet are skipped, the padding as well.
QByteArray decoded(const QString &text)
{
    QByteArray bytes;
    uint bits = 0;
    int count = 0;
    for (const QChar character : text) {
        const int digit = digitOf(character.unicode());
        if (digit < 0)
            continue;
        bits = (bits << 6 | uint(digit)) & 0xffff;
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.append(char(bits >> count & 0xff));
        }
    }
    return bytes;
}

QString textOf(Fuzz::Bytes &input)
{
    switch (input.below(3)) {
    case 0:
        return QString::fromLatin1(input.rest());
    case 1: {
        QString text;
        while (!input.isAtEnd())
            text.append(QChar(ushort(input.byte() << 8 | input.byte())));
        return text;
    }
    default: { // clean but for a few characters
        QVector<QPair<int, ushort>> dirt;
        for (int left = input.below(6); left > 0; --left) {
            const int at = input.below(65536);
            dirt.append({at, ushort(input.byte() << (input.flag() ? 8 : 0))});
        }
        QString text = QString::fromLatin1(input.rest().toBase64());
        for (const auto &spot : dirt)
            text.insert(spot.first % (text.size() + 1), QChar(spot.second));
        return text;
    }
    }
}

} // namespace

void Fuzz::setUp()
{
    constexpr int64_t standIns = HWY_SCALAR | HWY_EMU128; // the loops without vectors, one of the two
    for (int64_t left = (hwy::SupportedTargets() | standIns) & HWY_TARGETS; left != 0; left &= left - 1) {
        const int64_t set = left & -left;
        sets.push_back((set & standIns) != 0 ? standIns : set);
    }
    require(!sets.empty(), "no instruction set");
}

void Fuzz::run(Bytes &input)
{
    const auto misplaced = std::size_t(input.below(16));
    const QString text = textOf(input);
    const QByteArray bytes = decoded(text);
    const QVector<unsigned short> values = valuesOf(bytes);
    require(QByteArray::fromBase64(text.toUtf8()) == bytes, "the reference is not QByteArray::fromBase64");
    // In memory of its own size, at any alignment, so that a read behind the end is seen.
    const auto size = std::size_t(text.size());
    const std::unique_ptr<QChar[]> memory(new QChar[misplaced + size + 1]);
    std::copy(text.begin(), text.end(), memory.get() + misplaced);
    const std::unique_ptr<QChar[]> exact(new QChar[size]);
    std::copy(text.begin(), text.end(), exact.get());
    const QString sources[] = {text, QString::fromRawData(memory.get() + misplaced, text.size()),
                               QString::fromRawData(exact.get(), text.size())};
    Codec::PixelSums sums{};
    for (int i = 0; i < values.size() / chromaPixelLength * chromaPixelLength; ++i)
        sums[std::size_t(i % chromaPixelLength)] += values[i];

    for (const int64_t set : sets) {
        hwy::SetSupportedTargetsForTest(set);
        hwy::GetChosenTarget().Update(set);
        for (const QString &source : sources) {
            require(Codec::decodeValues(source) == values, "decoded values differ");
            require(Codec::decodeBytes(source) == bytes, "decoded bytes differ");
        }
        same(Codec::toBase64(bytes), base64(bytes), "the text of bytes");
        same(Codec::toBase64(values), base64(values), "the text of values");
        same(Codec::toJson(values), jsonOf(values), "the JSON text");
        require(Codec::sumPixels(values) == sums, "the sums of pixels differ");
    }
}
