#include "model/Codec.h"
#include "support/Values.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <cstring>
#include <memory>

using namespace Correction;
using TestSupport::base64;
using TestSupport::jsonOf;
using TestSupport::randomBytes;
using TestSupport::valuesOf;

using Values = QVector<unsigned short>;

namespace {

/// Longer than what three of the widest vectors take in at once.
constexpr int longest = 300;

/// A copy that ends where its memory does, and begins `shift` bytes behind an aligned place: a sanitizer reports what is
/// read beside it.
class Exact
{
public:
    Exact(const void *bytes, int size, int shift = 0)
        : m_memory(new char[size_t(size + shift)]), m_begin(&m_memory[0] + shift)
    {
        std::memcpy(m_begin, bytes, size_t(size));
    }

    const char *begin() const { return m_begin; }

private:
    std::unique_ptr<char[]> m_memory;
    char *m_begin;
};

QString encoded(const QByteArray &bytes, int shift)
{
    const Exact exact(bytes.constData(), bytes.size(), shift);
    return Codec::toBase64(QByteArray::fromRawData(exact.begin(), bytes.size()));
}

QByteArray qtBytes(const QString &text)
{
    return QByteArray::fromBase64(text.toUtf8());
}

/// Whether both decoders give what Qt gives, in containers that are consistent.
bool decodesAsQtDoes(const QString &text)
{
    const Exact exact(text.constData(), text.size() * int(sizeof(QChar)));
    const QString there = QString::fromRawData(reinterpret_cast<const QChar *>(exact.begin()), text.size());
    const QByteArray expected = qtBytes(text);
    const QByteArray bytes = Codec::decodeBytes(there);
    return bytes == expected && bytes.constData()[bytes.size()] == '\0' && Codec::decodeValues(there) == valuesOf(expected);
}

/// Clean text without padding.
QString cleanText(int length, QRandomGenerator &random)
{
    return base64(randomBytes((length + 3) / 4 * 3, random)).left(length);
}

} // namespace

/// The loops themselves, on the instruction set that the program runs on, against Qt.
class tst_Codec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void encodesEveryLength();
    void encodesFromEveryAddress();
    void encodesValuesLowByteFirst();
    void encodesEveryGroupOfTwelveBits();

    void decodesEveryLength();
    void decodesEveryLengthOfPaddedText();
    void decodesFromOddAddresses();
    void decodesEveryCharacterAtEveryPositionOfAShortText();
    void decodesSuspiciousCharactersAtEveryPositionOfALongText();
    void decodesAMillionRandomTexts();

    void writesEveryNumber();
    void writesEveryCountOfNumbers();

    void sumsEveryNumberOfPixels();
    void sumsTheLargestValues();
};

void tst_Codec::encodesEveryLength()
{
    QRandomGenerator random(21);
    for (int size = 0; size <= longest; ++size) {
        const QByteArray bytes = randomBytes(size, random);
        const QString text = encoded(bytes, 0);
        QCOMPARE(text, base64(bytes));
        QVERIFY2(text.constData()[text.size()].isNull(), "the text's end is overwritten");
    }
}

void tst_Codec::encodesFromEveryAddress()
{
    QRandomGenerator random(22);
    for (int shift = 0; shift < 64; ++shift) {
        for (const int size : {1, 15, 16, 17, 47, 48, 49, 64, 65, 128, 191, 192, 257}) {
            const QByteArray bytes = randomBytes(size, random);
            QCOMPARE(encoded(bytes, shift), base64(bytes));
        }
    }
}

void tst_Codec::encodesValuesLowByteFirst()
{
    QRandomGenerator random(23);
    for (int count = 0; count <= longest; ++count) {
        const QByteArray bytes = randomBytes(count * 2, random);
        QCOMPARE(Codec::toBase64(valuesOf(bytes)), base64(bytes));
    }
}

void tst_Codec::encodesEveryGroupOfTwelveBits()
{
    // As the first and, backwards, as the second half of three bytes, and at every place of a vector.
    for (int shift = 0; shift < 16; ++shift) {
        QByteArray bytes(3 * shift, '\0');
        for (int bits = 0; bits < 4096; ++bits) {
            const int group = bits << 12 | (4095 - bits);
            bytes.append(static_cast<char>(group >> 16));
            bytes.append(static_cast<char>(group >> 8));
            bytes.append(static_cast<char>(group));
        }
        QCOMPARE(Codec::toBase64(bytes), base64(bytes));
    }
}

void tst_Codec::decodesEveryLength()
{
    QRandomGenerator random(24);
    for (int length = 0; length <= longest; ++length) {
        const QString text = cleanText(length, random);
        QVERIFY2(decodesAsQtDoes(text), qPrintable(text));
    }
}

void tst_Codec::decodesEveryLengthOfPaddedText()
{
    QRandomGenerator random(25);
    for (int length = 0; length <= longest; ++length) {
        for (int padding = 1; padding <= 5; ++padding) {
            const QString text = cleanText(length, random) + QString(padding, QLatin1Char('='));
            QVERIFY2(decodesAsQtDoes(text), qPrintable(text));
        }
    }
}

void tst_Codec::decodesFromOddAddresses()
{
    QRandomGenerator random(26);
    for (int shift = 0; shift < 64; shift += 2) {
        for (const int length : {1, 22, 23, 43, 64, 86, 87, 171, 300}) {
            const QString text = cleanText(length, random);
            const Exact exact(text.constData(), length * int(sizeof(QChar)), shift);
            const QString there = QString::fromRawData(reinterpret_cast<const QChar *>(exact.begin()), length);
            QCOMPARE(Codec::decodeBytes(there), qtBytes(text));
        }
    }
}

void tst_Codec::decodesEveryCharacterAtEveryPositionOfAShortText()
{
    QRandomGenerator random(27);
    const QString clean = cleanText(24, random);
    for (int position = 0; position < clean.size(); ++position) {
        QString text = clean;
        for (int unit = 0; unit <= 0xffff; ++unit) {
            text[position] = QChar(static_cast<ushort>(unit));
            QVERIFY2(Codec::decodeBytes(text) == qtBytes(text),
                     qPrintable(QStringLiteral("U+%1 at %2").arg(unit, 4, 16, QLatin1Char('0')).arg(position)));
        }
    }
}

void tst_Codec::decodesSuspiciousCharactersAtEveryPositionOfALongText()
{
    // Everything near the alphabet, and what becomes a character of it when a half of its bits gets lost.
    QVector<int> units;
    for (int unit = 0; unit < 0x100; ++unit)
        units.append(unit);
    for (int high = 1; high < 0x100; high += 7) {
        for (const int low : {0x00, 0x2b, 0x2f, 0x3d, 0x41, 0x7a, 0xff})
            units.append(high << 8 | low);
    }
    units += {0x7f41, 0x8041, 0xd800, 0xdbff, 0xdc00, 0xdfff, 0xffff};

    QRandomGenerator random(28);
    const QString clean = cleanText(200, random);
    for (int position = 0; position < clean.size(); ++position) {
        QString text = clean;
        for (const int unit : qAsConst(units)) {
            text[position] = QChar(static_cast<ushort>(unit));
            QVERIFY2(Codec::decodeBytes(text) == qtBytes(text),
                     qPrintable(QStringLiteral("U+%1 at %2").arg(unit, 4, 16, QLatin1Char('0')).arg(position)));
        }
    }
}

void tst_Codec::decodesAMillionRandomTexts()
{
    // Half of them clean; the others with one to four characters from anywhere.
    QRandomGenerator random(29);
    const QString source = cleanText(4096, random);
    for (int round = 0; round < 1000000; ++round) {
        const int length = random.bounded(160);
        QString text = source.mid(random.bounded(source.size() - length), length);
        if (round % 2 == 0 && length > 0) {
            for (int changes = random.bounded(1, 5); changes > 0; --changes) {
                const int range = random.bounded(2) ? 0x80 : 0x10000;
                text[random.bounded(length)] = QChar(static_cast<ushort>(random.bounded(range)));
            }
        }
        text += QString(random.bounded(3), QLatin1Char('='));
        const QByteArray expected = qtBytes(text);
        const bool same =
            round % 4 < 2 ? Codec::decodeBytes(text) == expected : Codec::decodeValues(text) == valuesOf(expected);
        QVERIFY2(same, qPrintable(QStringLiteral("round %1: %2").arg(round).arg(text)));
    }
}

void tst_Codec::writesEveryNumber()
{
    Values values(65536);
    for (int i = 0; i < values.size(); ++i)
        values[i] = static_cast<unsigned short>(i);
    QCOMPARE(Codec::toJson(values), jsonOf(values));
}

void tst_Codec::writesEveryCountOfNumbers()
{
    // Of every length; short ones leave the least room before them.
    QRandomGenerator random(31);
    for (int count = 0; count <= 100; ++count) {
        for (const int limit : {1, 10, 100, 1000, 10000, 65536}) {
            Values values(count);
            for (unsigned short &value : values)
                value = static_cast<unsigned short>(random.bounded(limit));
            const QString text = Codec::toJson(values);
            QCOMPARE(text, jsonOf(values));
            QVERIFY2(text.constData()[text.size()].isNull(), "the text's end is overwritten");
        }
    }
}

void tst_Codec::sumsEveryNumberOfPixels()
{
    QRandomGenerator random(30);
    for (int pixels = 0; pixels <= 100; ++pixels) {
        const int rest = pixels % chromaPixelLength; // values that make no whole pixel do not count
        const Values values = valuesOf(randomBytes((pixels * chromaPixelLength + rest) * 2, random));
        Codec::PixelSums expected{};
        for (int i = 0; i < pixels * chromaPixelLength; ++i)
            expected[size_t(i % chromaPixelLength)] += values[i];
        QVERIFY2(Codec::sumPixels(values) == expected, qPrintable(QString::number(pixels)));
    }
}

void tst_Codec::sumsTheLargestValues()
{
    // More than 2^32 / 65535 rows of sixteen pixels: 32 bits hold no sum of them.
    const int pixels = 16 * 65540 + 3;
    const Codec::PixelSums sums = Codec::sumPixels(Values(pixels * chromaPixelLength, 65535));
    for (const quint64 sum : sums)
        QCOMPARE(sum, quint64(pixels) * 65535);
}

QTEST_GUILESS_MAIN(tst_Codec)
#include "tst_codec.moc"
