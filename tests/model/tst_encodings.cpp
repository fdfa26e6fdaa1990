#include "ForeignGrids.h"
#include "support/LogCapture.h"
#include "support/Values.h"

#include <Correction/Coefficient.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/MultilayerCoefficient.h>
#include <Correction/RequestParser.h>

#include <QtCore/QRandomGenerator>
#include <QtCore/QVariant>

#include <new>
#include <optional>
#include <utility>

using namespace Correction;
using TestSupport::base64;
using TestSupport::bytesOf;
using TestSupport::jsonOf;
using TestSupport::randomBytes;
using TestSupport::valuesOf;

using Values = QVector<unsigned short>;

namespace {

Values randomValues(int size, QRandomGenerator &random)
{
    Values values(size);
    for (unsigned short &value : values)
        value = static_cast<unsigned short>(random.bounded(65536));
    return values;
}

QString unit(uint code)
{
    return QString(QChar(static_cast<ushort>(code)));
}

/// What a host's own grid is given for a text: the values, and whether it was given any.
struct Decoder {
    ForeignGrids::Chroma chroma;
    ForeignGrids::Multilayer multilayer{enCommonCoefficient};

    /// An empty text when both decoders agree with Qt's, else what is wrong.
    QString difference(const QString &text)
    {
        const QByteArray bytes = QByteArray::fromBase64(text.toUtf8());
        QList<QVariant> reply{QVariantMap{{QStringLiteral("coefficients"), text}}};

        chroma.m_pastes.clear();
        const EnumErrorCode chromaCode = RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 1, 1), reply, chroma);
        chroma.m_calls.clear();
        const Values values = valuesOf(bytes);
        if (chromaCode != (values.isEmpty() ? enArgumentMismatch : enSuccess))
            return QStringLiteral("chroma answers %1 for \"%2\"").arg(chromaCode).arg(text);
        if (chroma.m_pastes.size() != (values.isEmpty() ? 0 : 1))
            return QStringLiteral("%1 chroma blocks for \"%2\"").arg(chroma.m_pastes.size()).arg(text);
        if (!values.isEmpty() && chroma.m_pastes.constFirst().values != values)
            return QStringLiteral("other chroma values for \"%1\"").arg(text);

        multilayer.m_pastes.clear();
        const EnumErrorCode code = RequestParser::toCabinetMultilayerCoefficient(QRect(0, 0, 1, 1), reply, multilayer);
        multilayer.m_calls.clear();
        if (code != enSuccess || multilayer.m_pastes.size() != 1)
            return QStringLiteral("multilayer answers %1 for \"%2\"").arg(code).arg(text);
        if (multilayer.m_pastes.constFirst().values != bytes)
            return QStringLiteral("other bytes for \"%1\"").arg(text);
        return QString();
    }
};

} // namespace

class tst_Encodings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // The test library installs its own handler before the first test and takes it away after the last.
    void init() { m_log.emplace(); }
    void cleanup()
    {
        VERIFY_NO_CRITICAL(*m_log);
        m_log.reset();
    }

    void charactersWhoseLowByteIsBase64AreSkipped()
    {
        Decoder decoder;
        for (int position = 0; position < 192; ++position) {
            QString text(192, QLatin1Char('k'));
            text[position] = QChar(ushort(0x0141)); // its low byte is that of an A
            QCOMPARE(decoder.difference(text), QString());
        }
    }

    void base64OfNineValues();
    void base64OfBytesIsTheStandardOne_data();
    void base64OfBytesIsTheStandardOne();
    void base64OfEveryLength();
    void base64OfEveryPairOfCharacters();
    void base64OfChromaAndLowGrayStandsLowByteFirst();
    void base64OfLargeGrids();
    void base64OfAnEmptyGridIsEmpty();
    void base64OfAnInvalidGridIsThatOfItsValues();
    void base64ThatFitsNoTextIsEmpty();

    void jsonOfNineValues();
    void jsonOfEveryNumber();
    void jsonOfRandomGrids();
    void jsonOfAnEmptyGridIsTwoBrackets();
    void jsonThatFitsNoTextIsEmpty();

    void bytesAreNotAvailable();

    void decodesAsQtDoes_data();
    void decodesAsQtDoes();
    void decodesEveryLength();
    void decodesEveryCharacterAtEveryPosition();
    void decodesEveryCharacter();
    void decodesRandomText();
    void decodesLargeText();
    void decodesWhatItEncodes();

private:
    std::optional<TestSupport::LogCapture> m_log;
};

void tst_Encodings::base64OfNineValues()
{
    Values values{1, 2, 3, 4, 5, 6, 7, 8, 9};
    Coefficient chroma(1, 1);
    QCOMPARE(chroma.setCoefficient(values), enSuccess);
    QCOMPARE(chroma.toBase64(), QStringLiteral("AQACAAMABAAFAAYABwAIAAkA"));
    LowGrayCoefficient lowGray(1, 1);
    QCOMPARE(lowGray.setCoefficient(values), enSuccess);
    QCOMPARE(lowGray.toBase64(), QStringLiteral("AQACAAMABAAFAAYABwAIAAkA"));
    MultilayerCoefficient multilayer(1, 1);
    QByteArray bytes("0123456789abcdef");
    QCOMPARE(multilayer.setCoefficient(bytes), enSuccess);
    QCOMPARE(multilayer.toBase64(), QStringLiteral("MDEyMzQ1Njc4OWFiY2RlZg=="));
}

void tst_Encodings::base64OfBytesIsTheStandardOne_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("text");
    QTest::newRow("nothing") << QByteArray() << QString();
    QTest::newRow("one byte") << QByteArray("f") << QStringLiteral("Zg==");
    QTest::newRow("two bytes") << QByteArray("fo") << QStringLiteral("Zm8=");
    QTest::newRow("three bytes") << QByteArray("foo") << QStringLiteral("Zm9v");
    QTest::newRow("four bytes") << QByteArray("foob") << QStringLiteral("Zm9vYg==");
    QTest::newRow("five bytes") << QByteArray("fooba") << QStringLiteral("Zm9vYmE=");
    QTest::newRow("six bytes") << QByteArray("foobar") << QStringLiteral("Zm9vYmFy");
    QTest::newRow("the last two characters of the alphabet") << QByteArray("\xfb\xff\xbf") << QStringLiteral("+/+/");
    QTest::newRow("zeros") << QByteArray(4, 0) << QStringLiteral("AAAAAA==");
    QTest::newRow("all bits") << QByteArray(2, '\xff') << QStringLiteral("//8=");
}

void tst_Encodings::base64OfBytesIsTheStandardOne()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, text);
    MultilayerCoefficient grid(bytes.size(), 1, 1);
    QCOMPARE(grid.setCoefficient(bytes), enSuccess);
    QCOMPARE(grid.toBase64(), text);
}

void tst_Encodings::base64OfEveryLength()
{
    QRandomGenerator random(11);
    for (int length = 0; length <= 300; ++length) {
        MultilayerCoefficient grid(length, 1, 1);
        QByteArray bytes = randomBytes(length, random);
        QCOMPARE(grid.setCoefficient(bytes), enSuccess);
        QCOMPARE(grid.toBase64(), base64(bytes));
    }
}

void tst_Encodings::base64OfEveryPairOfCharacters()
{
    QByteArray bytes;
    for (int bits = 0; bits < 4096; ++bits) {
        // The pair as the first and, backwards, as the second half of a group of three bytes.
        const int group = bits << 12 | (4095 - bits);
        bytes.append(static_cast<char>(group >> 16));
        bytes.append(static_cast<char>(group >> 8));
        bytes.append(static_cast<char>(group));
    }
    MultilayerCoefficient grid(4096, 1, 3);
    QCOMPARE(grid.setCoefficient(bytes), enSuccess);
    QCOMPARE(grid.toBase64(), base64(bytes));
}

void tst_Encodings::base64OfChromaAndLowGrayStandsLowByteFirst()
{
    QRandomGenerator random(12);
    for (int pixels = 0; pixels <= 34; ++pixels) {
        Values values = randomValues(pixels * 9, random);
        Coefficient chroma(1, pixels);
        QCOMPARE(chroma.setCoefficient(values), enSuccess);
        QCOMPARE(chroma.toBase64(), base64(bytesOf(values)));
        LowGrayCoefficient lowGray(pixels, 1);
        QCOMPARE(lowGray.setCoefficient(values), enSuccess);
        QCOMPARE(lowGray.toBase64(), base64(bytesOf(values)));
    }
}

void tst_Encodings::base64OfLargeGrids()
{
    QRandomGenerator random(13);
    Coefficient chroma(160, 90);
    Values values = randomValues(160 * 90 * 9, random);
    QCOMPARE(chroma.setCoefficient(values), enSuccess);
    QCOMPARE(chroma.toBase64(), base64(bytesOf(values)));
    for (const int rows : {101, 102, 103}) {
        MultilayerCoefficient multilayer(64, rows, 31);
        QByteArray bytes = randomBytes(64 * rows * 31, random);
        QCOMPARE(multilayer.setCoefficient(bytes), enSuccess);
        QCOMPARE(multilayer.toBase64(), base64(bytes));
    }
}

void tst_Encodings::base64OfAnEmptyGridIsEmpty()
{
    QCOMPARE(Coefficient(0, 0).toBase64(), QString(QLatin1String("")));
    QCOMPARE(LowGrayCoefficient(0, 5).toBase64(), QString(QLatin1String("")));
    QCOMPARE(MultilayerCoefficient(5, 0).toBase64(), QString(QLatin1String("")));
    QCOMPARE(MultilayerCoefficient(5, 5, 0).toBase64(), QString(QLatin1String("")));
    Coefficient from(2, 2);
    const Coefficient to(std::move(from));
    QCOMPARE(from.toBase64(), QString(QLatin1String("")));
}

void tst_Encodings::base64OfAnInvalidGridIsThatOfItsValues()
{
    Coefficient grid(1, 1);
    Values values{1, 2, 3, 4, 5, 6, 7, 8, 9};
    grid.setCoefficient(values);
    grid.setPixelCol(7);
    QCOMPARE(grid.toBase64(), QStringLiteral("AQACAAMABAAFAAYABwAIAAkA"));
    QCOMPARE(grid.toJsonData(), QStringLiteral("[1,2,3,4,5,6,7,8,9]"));
}

void tst_Encodings::base64ThatFitsNoTextIsEmpty()
{
    // The bytes stay unwritten, so they take address space only.
    constexpr int size = 810000000;
    QByteArray bytes(size, Qt::Uninitialized);
    MultilayerCoefficient grid(0, 0, 1);
    grid.setPixelCol(size);
    grid.setPixelRow(1);
    QCOMPARE(grid.setCoefficient(bytes), enSuccess);
    QCOMPARE(grid.toBase64(), QString());
    QCOMPARE(m_log->takeCritical(), QStringList(QStringLiteral("base64 text too long. bytes:%1").arg(size)));
}

void tst_Encodings::jsonOfNineValues()
{
    Coefficient grid(1, 1);
    Values values{0, 65535, 7, 10, 99, 100, 9999, 10000, 1};
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(grid.toJsonData(), QStringLiteral("[0,65535,7,10,99,100,9999,10000,1]"));
}

void tst_Encodings::jsonOfEveryNumber()
{
    Values values(65538); // the next multiple of 9
    for (int i = 0; i < values.size(); ++i)
        values[i] = static_cast<unsigned short>(i);
    Coefficient grid(values.size() / 9, 1);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(grid.toJsonData(), jsonOf(values));
}

void tst_Encodings::jsonOfRandomGrids()
{
    QRandomGenerator random(14);
    for (int round = 0; round < 200; ++round) {
        const int columns = random.bounded(1, 6);
        const int rows = random.bounded(1, 6);
        Values values = randomValues(columns * rows * 9, random);
        const int shift = random.bounded(16);
        for (unsigned short &value : values)
            value = static_cast<unsigned short>(value >> shift);
        Coefficient grid(columns, rows);
        QCOMPARE(grid.setCoefficient(values), enSuccess);
        QCOMPARE(grid.toJsonData(), jsonOf(values));
    }
}

void tst_Encodings::jsonOfAnEmptyGridIsTwoBrackets()
{
    QCOMPARE(Coefficient(0, 0).toJsonData(), QStringLiteral("[]"));
    QCOMPARE(Coefficient(-1, 4).toJsonData(), QStringLiteral("[]"));
    Coefficient from(2, 2);
    const Coefficient to(std::move(from));
    QCOMPARE(from.toJsonData(), QStringLiteral("[]"));
}

void tst_Encodings::jsonThatFitsNoTextIsEmpty()
{
    // Six characters for each value: a little more than 2 GiB of text from 360 MB of values.
    const int pixels = 19900000;
    Values values;
    try {
        values.fill(65535, pixels * 9);
    } catch (const std::bad_alloc &) {
        QSKIP("too little memory");
    }
    Coefficient grid(0, 0);
    grid.setPixelCol(pixels);
    grid.setPixelRow(1);
    QCOMPARE(grid.setCoefficient(values), enSuccess);
    QCOMPARE(grid.toJsonData(), QString());
    QCOMPARE(m_log->takeCritical().size(), 1);
}

void tst_Encodings::bytesAreNotAvailable()
{
    Coefficient grid(2, 2);
    QByteArray bytes("left alone");
    QCOMPARE(grid.toByteArray(bytes), enNotSupported);
    QCOMPARE(bytes, QByteArray("left alone"));
    QCOMPARE(m_log->takeDebug(), QStringList());
    QCOMPARE(m_log->takeWarning(), QStringList());
}

void tst_Encodings::decodesAsQtDoes_data()
{
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QString &text) { QTest::newRow(name) << text; };
    row("null", QString());
    row("clean without padding", QStringLiteral("Zm9vYmFy"));
    row("one padding", QStringLiteral("Zm9vYmE="));
    row("two paddings", QStringLiteral("Zm9vYg=="));
    row("one padding left out", QStringLiteral("Zm9vYmE"));
    row("two paddings left out", QStringLiteral("Zm9vYg"));
    row("one of two paddings", QStringLiteral("Zm9vYg="));
    row("needless padding", QStringLiteral("Zm9v="));
    row("two needless paddings", QStringLiteral("Zm9v=="));
    row("three paddings", QStringLiteral("Zm9vYg==="));
    row("many paddings", QStringLiteral("Zm9vYg========"));
    row("only padding", QStringLiteral("=="));
    row("padding at the start", QStringLiteral("=Zm9v"));
    row("padding inside", QStringLiteral("Zm==9vYm"));
    row("two texts in a row", QStringLiteral("Zg==Zm8=Zm9v"));
    row("one character", QStringLiteral("Z"));
    row("five characters", QStringLiteral("Zm9vY"));
    row("bits that padding should leave zero", QStringLiteral("Zh=="));
    row("blanks around", QStringLiteral("  Zm9vYmFy  "));
    row("blanks inside", QStringLiteral("Zm 9v Ym Fy"));
    row("line ends", QStringLiteral("Zm9v\r\nYmFy\r\n"));
    row("a tab before the padding", QStringLiteral("Zm9vYg\t=="));
    row("a blank after the padding", QStringLiteral("Zm9vYg== "));
    row("only blanks", QStringLiteral(" \n\t "));
    row("letters of the URL alphabet", QStringLiteral("-_-_Zm9v"));
    row("the last two characters of the alphabet", QStringLiteral("+/+/"));
    row("punctuation", QStringLiteral("Zm9v,YmFy.\"!"));
    row("a zero character", QStringLiteral("Zm9v") + unit(0) + QStringLiteral("YmFy"));
    row("a letter with an accent", QStringLiteral("Zm9v\u00e9YmFy"));
    row("a letter beyond Latin-1 with the low byte of A", QStringLiteral("Zm9v\u0141YmFy"));
    row("a full-width letter", QStringLiteral("\uff21Zm9v"));
    row("a byte order mark", QStringLiteral("\ufeffZm9vYmFy"));
    row("a pair of surrogates", QStringLiteral("Zm9v\U0001f600YmFy"));
    row("a lone surrogate", QStringLiteral("Zm9v") + unit(0xd83d) + QStringLiteral("YmFy"));
    row("a lone second surrogate at the end", QStringLiteral("Zm9v") + unit(0xde00));
    row("the last character of all", unit(0xffff) + QStringLiteral("Zm9v"));
    row("one byte", QStringLiteral("Zg=="));
    row("an odd number of bytes", QStringLiteral("Zm9v"));
    row("the bytes 01 00", QStringLiteral("AQA="));
}

void tst_Encodings::decodesAsQtDoes()
{
    QFETCH(QString, text);
    Decoder decoder;
    QCOMPARE(decoder.difference(text), QString());
    m_log->clear();
}

void tst_Encodings::decodesEveryLength()
{
    Decoder decoder;
    QRandomGenerator random(15);
    for (int length = 0; length <= 300; ++length) {
        const QString padded = base64(randomBytes(length, random));
        QString unpadded = padded;
        unpadded.remove(QLatin1Char('='));
        QCOMPARE(decoder.difference(padded), QString());
        QCOMPARE(decoder.difference(unpadded), QString());
        QCOMPARE(decoder.difference(unpadded.left(length)), QString());
        QCOMPARE(decoder.difference(padded + QLatin1Char('\n')), QString());
    }
    m_log->clear();
}

void tst_Encodings::decodesEveryCharacterAtEveryPosition()
{
    Decoder decoder;
    const QString clean = QStringLiteral("Zm9vYmFyZw==");
    for (uint code = 0; code < 0x180; ++code) {
        for (int position = 0; position <= clean.size(); ++position) {
            const QString character = unit(code);
            QString inserted = clean;
            inserted.insert(position, character);
            QString difference = decoder.difference(inserted);
            if (difference.isEmpty() && position < clean.size()) {
                QString replaced = clean;
                replaced[position] = character[0];
                difference = decoder.difference(replaced);
            }
            QCOMPARE(difference, QString());
        }
    }
    m_log->clear();
}

void tst_Encodings::decodesEveryCharacter()
{
    // Inside a group of four, and in the rest behind the last one.
    Decoder decoder;
    for (uint code = 0; code < 0x10000; ++code) {
        QString difference = decoder.difference(QStringLiteral("Zm") + unit(code) + QStringLiteral("vYmFy"));
        if (difference.isEmpty() && (code < 0x1000 || (code & 0xff) < 0x80))
            difference = decoder.difference(QStringLiteral("Zm9vY") + unit(code));
        QCOMPARE(difference, QString());
    }
    m_log->clear();
}

void tst_Encodings::decodesRandomText()
{
    Decoder decoder;
    QRandomGenerator random(16);
    const QString alphabet = QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    const QString dirt = QStringLiteral("== \n\r-_.%\u00e9\u0141\u20ac") + unit(0xd800) + unit(0xdc00) + unit(0);
    for (int round = 0; round < 4000; ++round) {
        QString text;
        const int length = random.bounded(60);
        const int oneIn = random.bounded(1, 40);
        for (int i = 0; i < length; ++i) {
            const QString &from = random.bounded(oneIn) == 0 ? dirt : alphabet;
            text.append(from[random.bounded(from.size())]);
        }
        QCOMPARE(decoder.difference(text), QString());
    }
    m_log->clear();
}

void tst_Encodings::decodesLargeText()
{
    Decoder decoder;
    QRandomGenerator random(17);
    const QString clean = base64(randomBytes(200000, random));
    QCOMPARE(decoder.difference(clean), QString());
    for (const int position : {0, 1, 100000, clean.size() - 4, clean.size() - 1, clean.size()}) {
        QString dirty = clean;
        dirty.insert(position, QStringLiteral("\u00e9"));
        QCOMPARE(decoder.difference(dirty), QString());
    }
    m_log->clear();
}

void tst_Encodings::decodesWhatItEncodes()
{
    QRandomGenerator random(18);
    Values values = randomValues(7 * 5 * 9, random);
    Coefficient source(7, 5);
    QCOMPARE(source.setCoefficient(values), enSuccess);
    QList<QVariant> reply{QVariantMap{{QStringLiteral("area.size.width"), 7},
                                      {QStringLiteral("area.size.height"), 5},
                                      {QStringLiteral("coefficients"), source.toBase64()}}};
    Coefficient target;
    QCOMPARE(RequestParser::toCabinetChromaCoefficient(QRect(0, 0, 7, 5), reply, target), enSuccess);
    QCOMPARE(target.getCoefficient(), values);
    QCOMPARE(m_log->takeWarning(), QStringList());
}

QTEST_GUILESS_MAIN(tst_Encodings)
#include "tst_encodings.moc"
