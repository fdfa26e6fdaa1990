#include <files/Files.h>
#include <files/GridFile.h>
#include <files/Npy.h>
#include <files/Npz.h>
#include <files/SnapshotFile.h>
#include <terminal/ExitCodes.h>

#include <QtCore/QTemporaryDir>
#include <QtCore/QtEndian>
#include <QtGui/QImage>
#include <QtGui/QImageReader>
#include <QtTest/QtTest>

#include <csignal>
#include <cstring>
#include <limits>
#include <random>

#include <sys/resource.h>

using namespace Correction;
using namespace Ctl;

namespace {

/// A `.npy` file: the header as it is given, padded as NumPy does, and the bytes of the values.
QByteArray npy(const QByteArray &dictionary, const QByteArray &values, int version = 1)
{
    const int prefix = version == 1 ? 10 : 12;
    QByteArray header = dictionary;
    header += QByteArray((64 - (prefix + header.size() + 1) % 64) % 64, ' ') + '\n';
    QByteArray file = "\x93NUMPY" + QByteArray(1, char(version)) + '\0';
    file += char(header.size() & 0xff);
    file += char(header.size() >> 8);
    if (version > 1)
        file += QByteArray(2, '\0');
    return file + header + values;
}

QByteArray dictionary(const QByteArray &type, const QByteArray &shape, bool fortran = false)
{
    return "{'descr': '" + type + "', 'fortran_order': " + (fortran ? "True" : "False") + ", 'shape': " + shape + ", }";
}

/// A number as it is in a file.
QByteArray bytesOf(qint64 number, int size, bool bigEndian)
{
    QByteArray bytes;
    for (int i = 0; i < size; ++i) {
        const int place = bigEndian ? size - 1 - i : i;
        bytes += char((number >> (8 * place)) & 0xff);
    }
    return bytes;
}

constexpr int rows = 2;
constexpr int columns = 3;

/// The value of each place: all different, and none the same in another byte order.
qint64 valueAt(int row, int column, int k, int length, int largest)
{
    const int index = (row * columns + column) * length + k;
    return largest < 256 ? index + 1 : 1000 + 257 * index + index;
}

QByteArray valuesOf(int size, bool bigEndian, bool fortran, int length, int largest)
{
    QByteArray bytes;
    if (!fortran) {
        for (int row = 0; row < rows; ++row) {
            for (int column = 0; column < columns; ++column) {
                for (int k = 0; k < length; ++k)
                    bytes += bytesOf(valueAt(row, column, k, length, largest), size, bigEndian);
            }
        }
        return bytes;
    }
    for (int k = 0; k < length; ++k) {
        for (int column = 0; column < columns; ++column) {
            for (int row = 0; row < rows; ++row)
                bytes += bytesOf(valueAt(row, column, k, length, largest), size, bigEndian);
        }
    }
    return bytes;
}

const QByteArray shape9("(2, 3, 9)");

} // namespace

/// The readers of files, for every kind of content: exactly its values, or a refusal with the reason.
class CtlFilesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void arraysAreConvertedExactly_data();
    void arraysAreConvertedExactly();
    void headersAreReadAsPythonDoes_data();
    void headersAreReadAsPythonDoes();
    void arraysAreRefused_data();
    void arraysAreRefused();
    void everyCutIsRefused();
    void lightIsRead_data();
    void lightIsRead();
    void lightThatIsNotFloatingPointIsRefused_data();
    void lightThatIsNotFloatingPointIsRefused();
    void everyDamageOfAnArchiveIsFound();
    void onlyTheKindsOwnValuesAreTaken_data();
    void onlyTheKindsOwnValuesAreTaken();
    void gridsOfTheLibraryKeepTheirValues_data();
    void gridsOfTheLibraryKeepTheirValues();
    void aByteOrderMarkIsNoNumber();
    void picturesAreGreyAndAlike();
    void onlyChromaHasAJsonText();
    void contentsTellTheFormOfAStream();
    void aFileBeyondTheContainersIsRefused();
    void aFullDiskLeavesNoFile_data();
    void aFullDiskLeavesNoFile();
    void everyResultHasAName();
    void gridsAreReadInParts_data();
    void gridsAreReadInParts();
    void gridsAreWrittenInParts_data();
    void gridsAreWrittenInParts();
    void everyDamageOfASnapshotIsFound();
    void aSnapshotsNumbersAreChecked_data();
    void aSnapshotsNumbersAreChecked();
    void aSnapshotsSizesAreChecked();
    void aSnapshotThatCannotBeReadIsNotWritten();
    void emptyAndUnknownGammaTablesDiffer();

private:
    /// A snapshot of two cabinets.
    QByteArray snapshot();
    /// What is wrong with a snapshot, by its reader. Null if it was read and has the contents of snapshot().
    QString complaintOf(const QByteArray &bytes);

    QTemporaryDir m_folder;
};

void CtlFilesTest::arraysAreConvertedExactly_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<int>("size");
    QTest::addColumn<bool>("bigEndian");
    QTest::addColumn<bool>("fortran");
    QTest::addColumn<int>("version");
    struct Type {
        const char *name;
        int size;
        bool bigEndian;
    };
    for (const Type type :
         {Type{"<u2", 2, false}, Type{">u2", 2, true}, Type{"<i2", 2, false}, Type{">i2", 2, true}, Type{"<u4", 4, false},
          Type{">u4", 4, true}, Type{"<i4", 4, false}, Type{">i4", 4, true}, Type{"<u8", 8, false}, Type{">u8", 8, true},
          Type{"<i8", 8, false}, Type{">i8", 8, true}, Type{"|u1", 1, false}, Type{"<u1", 1, false}, Type{">u1", 1, false},
          Type{"=u1", 1, false}, Type{"u1", 1, false}, Type{"|i1", 1, false}}) {
        for (const bool fortran : {false, true}) {
            for (const int version : {1, 2, 3})
                QTest::newRow(qPrintable(QStringLiteral("%1, %2 order, version %3")
                                             .arg(QLatin1String(type.name), QLatin1String(fortran ? "Fortran" : "C"))
                                             .arg(version)))
                    << QByteArray(type.name) << type.size << type.bigEndian << fortran << version;
        }
    }
}

void CtlFilesTest::arraysAreConvertedExactly()
{
    QFETCH(QByteArray, type);
    QFETCH(int, size);
    QFETCH(bool, bigEndian);
    QFETCH(bool, fortran);
    QFETCH(int, version);
    const int largest = size == 1 ? 127 : 65535;
    const QByteArray file = npy(dictionary(type, shape9, fortran), valuesOf(size, bigEndian, fortran, 9, largest), version);
    Grid grid;
    QString reason;
    QVERIFY2(parseNpy(file, grid, reason), qPrintable(reason));
    QCOMPARE(grid.size, QSize(columns, rows));
    QCOMPARE(grid.length, 9);
    QCOMPARE(grid.bytes, size == 1);
    QCOMPARE(grid.values.size(), rows * columns * 9);
    for (int row = 0; row < rows; ++row) {
        for (int column = 0; column < columns; ++column) {
            for (int k = 0; k < 9; ++k)
                QCOMPARE(qint64(grid.values[(row * columns + column) * 9 + k]), valueAt(row, column, k, 9, largest));
        }
    }
}

void CtlFilesTest::headersAreReadAsPythonDoes_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<bool>("good");
    const auto row = [](const char *header, bool good) { QTest::newRow(header) << QByteArray(header) << good; };
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9), }", true);
    row("{'shape': (2, 3, 9), 'descr': '<u2', 'fortran_order': False}", true);
    row("{\"fortran_order\":False,\"shape\":(2,3,9,),\"descr\":\"<u2\",}", true);
    row("  {\t'descr' :\n'<u2' , 'fortran_order' : False , 'shape' : ( 2 , 3 , 9 , ) , } ", true);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2L, 3L, 9L), }", true);
    row("", false);
    row("{}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9)", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9)} }", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9),, }", false);
    row("{, 'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2' 'fortran_order': False, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False}", false);
    row("{'descr': '<u2', 'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 9), 'more': 1}", false);
    row("{'descr': '<u2', 'fortran_order': 0, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': false, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': Falsehood, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': [2, 3, 9]}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, -3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (02, 3, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3.0, 9)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (2, 3, 99999999999999999999)}", false);
    row("{'descr': '<u2', 'fortran_order': False, 'shape': (54)}", false);
    row("{'descr': '<u2\\x00', 'fortran_order': False, 'shape': (2, 3, 9)}", false);
    row("{'descr': '<u2, 'fortran_order': False, 'shape': (2, 3, 9)}", false);
    row("{'descr': [('a', '<u2'), 'fortran_order': False, 'shape': (2, 3, 9)}", false);
    row("{descr: '<u2', 'fortran_order': False, 'shape': (2, 3, 9)}", false);
}

void CtlFilesTest::headersAreReadAsPythonDoes()
{
    QFETCH(QByteArray, header);
    QFETCH(bool, good);
    for (const int version : {1, 2, 3}) {
        Grid grid;
        QString reason;
        QCOMPARE(parseNpy(npy(header, valuesOf(2, false, false, 9, 65535), version), grid, reason), good);
        QCOMPARE(reason, good ? QString()
                              : QStringLiteral("its header is not a dictionary of 'descr', 'fortran_order' and 'shape'"));
        if (good)
            QCOMPARE(qint64(grid.values[53]), valueAt(1, 2, 8, 9, 65535));
    }
}

void CtlFilesTest::arraysAreRefused_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("said");
    const auto row = [](const QByteArray &title, const QByteArray &file, const char *said) {
        QTest::newRow(title.constData()) << file << QString::fromLatin1(said);
    };
    const auto typed = [&row](const char *type, int size, const char *said) {
        row(type, npy(dictionary(type, shape9), QByteArray(54 * size, '\0')), said);
    };
    typed("=u2", 2, "byte order depends on the machine that wrote them; there: np.save(path, a.astype('<i8'))");
    typed("u2", 2, "byte order depends on");
    typed("|u2", 2, "byte order depends on");
    typed("=i8", 8, "byte order depends on");
    typed("uint16", 2, "values of the type 'uint16': expected '<u2', or '|u1' for multilayer");
    typed("<u3", 3, "expected '<u2'");
    typed("<u16", 16, "expected '<u2'");
    typed("<f2", 2, "values of the type '<f2': coefficients are whole numbers in the units of the device");
    typed("<f4", 4, "for values in these units: np.save(path, np.rint(a).astype('<i8'))");
    typed(">f8", 8, "np.rint(a)");
    typed("<f16", 16, "np.rint(a)");
    typed("|b1", 1, "truth values are not coefficients");
    typed("<c8", 8, "complex numbers are not coefficients");
    typed("<c16", 16, "complex numbers are not coefficients");
    typed("|S5", 5, "strings are not read; for decimal numbers: np.save(path, a.astype('<i8'))");
    typed("<U5", 20, "strings are not read");
    typed("|O", 8, "Python objects are not read; for whole numbers: np.save(path, a.astype('<i8'))");
    typed("<M8[ns]", 8, "expected '<u2'");
    typed("<m8", 8, "expected '<u2'");
    typed("|V2", 2, "expected '<u2'");
    typed("", 2, "expected '<u2'");
    typed("><u2", 2, "expected '<u2'");
    typed("%1%2", 2, "values of the type '%1%2': expected '<u2'");
    const QByteArray structured("{'descr': [('red', '<u2', (3,)), ('it\"s]', '<u2', (6,))], 'fortran_order': False, "
                                "'shape': (2, 3), }");
    row("a structured type", npy(structured, QByteArray(108, '\0')),
        "np.save(path, numpy.lib.recfunctions.structured_to_unstructured(a))");
    row("a type of arrays", npy("{'descr': ('<u2', (9,)), 'fortran_order': False, 'shape': (2, 3)}", QByteArray(108, '\0')),
        "structured");

    const auto shaped = [&row](const char *shape, const char *said) {
        row(QByteArray("the shape ") + shape, npy(dictionary("<u2", shape), QByteArray(108, '\0')), said);
    };
    shaped("()", "shape (); expected (rows, columns, values), none of them 0");
    shaped("(54,)", "shape (54,); expected (rows, columns, values), none of them 0; for values in the order row, column, "
                    "value: np.save(path, a.reshape(rows, columns, -1))");
    shaped("(6, 9)", "np.save(path, a.reshape(rows, columns, -1))");
    shaped("(2, 3, 3, 3)", "np.save(path, a.reshape(2, 3, -1)) puts the values of a pixel row by row");
    shaped("(1, 2, 3, 9)", "np.save(path, a[0])");
    shaped("(2, 3, 9, 1)", "shape (2, 3, 9, 1); expected (rows, columns, values)");
    shaped("(0, 3, 9)", "shape (0, 3, 9); expected (rows, columns, values), none of them 0");
    shaped("(2, 3, 0)", "none of them 0");
    shaped("(0,)", "none of them 0");
    shaped("(2147483647, 2147483647, 9)", "shape (2147483647, 2147483647, 9); a grid has at most 2147483647 values");
    shaped("(9223372036854775807, 9223372036854775807, 9223372036854775807)", "; a grid has at most ");
    shaped("(4294967296, 4294967296, 9)", "; a grid has at most ");
    shaped("(238609295, 1, 9)", "shape (238609295, 1, 9); a grid has at most ");
    shaped("(238609294, 1, 9)", "cut short: ");
    shaped("(2, 3, 8)", "12 bytes too many behind its values");
    shaped("(2, 3, 10)", "cut short: ");

    const auto holding = [&row](const char *type, int size, bool bigEndian, qint64 value, const char *said) {
        QByteArray values;
        for (int index = 0; index < 54; ++index)
            values += bytesOf(index == 40 ? value : 5, size, bigEndian);
        row(QByteArray("a value of the type ") + type, npy(dictionary(type, shape9), values), said);
    };
    holding("|i1", 1, false, -1, "value -1 at [1, 1, 4]; coefficients are whole numbers from 0 to 65535");
    holding("<i2", 2, false, -32768, "value -32768 at [1, 1, 4]");
    holding(">i2", 2, true, -2, "value -2 at [1, 1, 4]");
    holding("<i4", 4, false, 65536, "value 65536 at [1, 1, 4]");
    holding(">u4", 4, true, 4294967295, "value 4294967295 at [1, 1, 4]");
    holding("<i8", 8, false, qint64(1) << 62, "value 4611686018427387904 at [1, 1, 4]");
    holding(">i8", 8, true, std::numeric_limits<qint64>::min(), "value -9223372036854775808 at [1, 1, 4]");
    holding("<u8", 8, false, -1, "value 18446744073709551615 at [1, 1, 4]");
    QByteArray values(54 * 4, '\0');
    values[4 * 11 + 2] = 1; // row 1, column 2, value 1 where the first index runs fastest
    row("a value in Fortran order", npy(dictionary("<u4", shape9, true), values), "value 65536 at [1, 2, 1]");

    const QByteArray good = npy(dictionary("<u2", shape9), QByteArray(108, '\0'));
    row("version 0.0", QByteArray(good).replace(6, 2, QByteArray("\0\0", 2)), "format version 0.0");
    row("version 1.1", QByteArray(good).replace(6, 2, QByteArray("\1\1", 2)), "format version 1.1");
    row("version 4.0", QByteArray(good).replace(6, 2, QByteArray("\4\0", 2)), "format version 4.0");
    row("a header of 4 GiB", QByteArray(good).replace(6, 6, QByteArray("\2\0\xff\xff\xff\xff", 6)),
        "cut short inside its header");
}

void CtlFilesTest::arraysAreRefused()
{
    QFETCH(QByteArray, file);
    QFETCH(QString, said);
    Grid grid;
    QString reason;
    QVERIFY(!parseNpy(file, grid, reason));
    QVERIFY2(reason.contains(said), qPrintable(reason));
}

void CtlFilesTest::everyCutIsRefused()
{
    for (const int version : {1, 2, 3}) {
        const QByteArray file = npy(dictionary(">i4", shape9), valuesOf(4, true, false, 9, 65535), version);
        for (int length = 0; length < file.size(); ++length) {
            Grid grid;
            QString reason;
            QVERIFY2(!parseNpy(file.left(length), grid, reason) && !reason.isEmpty(), qPrintable(QString::number(length)));
        }
        Grid grid;
        QString reason;
        QVERIFY(!parseNpy(file + '\0', grid, reason));
        QCOMPARE(reason, QStringLiteral("1 bytes too many behind its values"));
    }
}

void CtlFilesTest::lightIsRead_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<bool>("fortran");
    for (const char *type : {"<f4", ">f4", "<f8", ">f8"}) {
        QTest::newRow(type) << QByteArray(type) << false;
        QTest::newRow(type + QByteArray(", Fortran order")) << QByteArray(type) << true;
    }
}

void CtlFilesTest::lightIsRead()
{
    QFETCH(QByteArray, type);
    QFETCH(bool, fortran);
    // Values that 32 bits hold, the last one NaN.
    const auto valueOf = [](int index) { return index == 17 ? qQNaN() : 0.375 * index - 1; };
    const int size = type.mid(2).toInt();
    QByteArray values;
    for (int place = 0; place < rows * columns * 3; ++place) {
        const int index = fortran ? (place % rows * columns + place / rows % columns) * 3 + place / (rows * columns) : place;
        qint64 bits = 0;
        const double value = valueOf(index);
        const auto shortened = float(value);
        if (size == 8)
            std::memcpy(&bits, &value, 8);
        else
            bits = qFromUnaligned<qint32>(&shortened);
        values += bytesOf(bits, size, type.startsWith('>'));
    }
    Light light;
    QString reason;
    const QByteArray file = npy(dictionary(type, "(2, 3, 3)", fortran), values);
    QVERIFY2(parseNpyLight(file, light, reason), qPrintable(reason));
    QCOMPARE(light.size, QSize(columns, rows));
    QCOMPARE(light.length, 3);
    for (int i = 0; i < 17; ++i)
        QCOMPARE(light.values[i], float(valueOf(i)));
    QVERIFY(qIsNaN(light.values[17]));
    QVERIFY(!parseNpyLight(file.left(file.size() - 1), light, reason));
    QVERIFY2(reason.startsWith(QLatin1String("cut short")), qPrintable(reason));
    QVERIFY(!parseNpyLight(file + '0', light, reason));
    if (type == "<f4" && !fortran)
        QCOMPARE(npyLightHeader(light.size, 3) + values, file);
}

void CtlFilesTest::lightThatIsNotFloatingPointIsRefused_data()
{
    QTest::addColumn<QByteArray>("type");
    for (const char *type : {"<u2", "|u1", "<i4", "<f2", "<f16", "f4", "=f4", "<c8", "|O", "<F4"})
        QTest::newRow(type) << QByteArray(type);
}

void CtlFilesTest::lightThatIsNotFloatingPointIsRefused()
{
    QFETCH(QByteArray, type);
    Light light;
    QString reason;
    QVERIFY(!parseNpyLight(npy(dictionary(type, "(1, 1, 3)"), QByteArray(48, '\0')), light, reason));
    QCOMPARE(reason, QStringLiteral("values of the type '%1'; light is X, Y, Z in cd/m2: np.save(path, a.astype('<f4'))")
                         .arg(QLatin1String(type)));
}

/// Of every bit of a small archive: either the values are the same, or the file is refused.
void CtlFilesTest::everyDamageOfAnArchiveIsFound()
{
    Grid grid;
    grid.size = QSize(columns, rows);
    grid.length = 9;
    for (int i = 0; i < rows * columns * 9; ++i)
        grid.values.append(quint16(1000 + 257 * i));
    const QByteArray whole = toNpz(grid);
    int refused = 0;
    const auto isFound = [&](const QByteArray &bytes) {
        Grid read;
        QString reason;
        if (parseNpz(bytes, read, reason))
            return read.size == grid.size && read.length == grid.length && read.values == grid.values;
        ++refused;
        return !reason.isEmpty();
    };
    QVERIFY(isFound(whole));
    QCOMPARE(refused, 0);
    for (int place = 0; place < whole.size(); ++place) {
        QVERIFY2(isFound(whole.left(place)), qPrintable(QString::number(place)));
        for (int bit = 0; bit < 8; ++bit) {
            QByteArray damaged = whole;
            damaged[place] = char(damaged[place] ^ (1 << bit));
            QVERIFY2(isFound(damaged), qPrintable(QStringLiteral("bit %1 of byte %2").arg(bit).arg(place)));
        }
    }
    QVERIFY2(refused > 4 * whole.size(), qPrintable(QString::number(refused)));
}

void CtlFilesTest::onlyTheKindsOwnValuesAreTaken_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("said"); // null where the values are taken
    const auto row = [](const char *title, EnumCoefficientType kind, const QByteArray &file, const char *said) {
        QTest::newRow(title) << int(kind) << file << QString::fromLatin1(said);
    };
    const QByteArray bytes9 = npy(dictionary("|u1", shape9), valuesOf(1, false, false, 9, 255));
    const QByteArray bytes16 = npy(dictionary("|u1", "(2, 3, 16)"), valuesOf(1, false, false, 16, 255));
    const QByteArray signed9 = npy(dictionary("|i1", shape9), valuesOf(1, false, false, 9, 127));
    const QByteArray wide9 = npy(dictionary("<i8", shape9), valuesOf(8, false, false, 9, 65535));
    row("chroma of 16 bits", enCommonCoefficient, npy(dictionary("<u2", shape9), valuesOf(2, false, false, 9, 65535)),
        nullptr);
    row("low-gray of 16 bits", enLowgrayCoefficient, npy(dictionary("<u2", shape9), valuesOf(2, false, false, 9, 65535)),
        nullptr);
    row("chroma of 64 bits", enCommonCoefficient, wide9, nullptr);
    row("multilayer of 8 bits", enMultilayerCoefficient, bytes16, nullptr);
    row("multilayer of 16 bits, all of them bytes", enMultilayerCoefficient,
        npy(dictionary(">u2", "(2, 3, 16)"), valuesOf(2, true, false, 16, 255)), nullptr);
    row("chroma of 8 bits", enCommonCoefficient, bytes9,
        "values of 8 bits; chroma coefficients have 16. If numbers from 0 to 255 are meant: np.save(path, a.astype('<u2'))");
    row("chroma of 8 bits with a sign", enCommonCoefficient, signed9, "values of 8 bits; chroma");
    row("low-gray of 8 bits", enLowgrayCoefficient, bytes9, "values of 8 bits; lowgray");
    row("multilayer above 255", enMultilayerCoefficient,
        npy(dictionary("<u2", "(2, 3, 16)"), valuesOf(2, false, false, 16, 65535)),
        "value 1000 at [0, 0, 0]; multilayer values are bytes from 0 to 255");
    QByteArray last = valuesOf(2, false, false, 16, 255);
    last[last.size() - 1] = 1;
    row("multilayer above 255 at the end", enMultilayerCoefficient, npy(dictionary("<u2", "(2, 3, 16)"), last),
        "value 352 at [1, 2, 15]");
    row("rows and columns exchanged", enCommonCoefficient,
        npy(dictionary("<u2", "(3, 2, 9)"), valuesOf(2, false, false, 9, 65535)),
        "2x3 pixels; the rectangle has 3x2; np.save(path, a.transpose(1, 0, 2)) exchanges rows and columns");
    row("values first", enCommonCoefficient, npy(dictionary("<u2", "(9, 2, 3)"), valuesOf(2, false, false, 9, 65535)),
        "np.save(path, np.moveaxis(a, 0, -1)) puts the values last");
}

void CtlFilesTest::onlyTheKindsOwnValuesAreTaken()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, file);
    QFETCH(QString, said);
    const QString path = m_folder.filePath(QStringLiteral("x.npy"));
    writeFile(path, file);
    Grid grid;
    int exit = ExitSuccess;
    QString text;
    try {
        grid = readGridFor(path, QSize(columns, rows), EnumCoefficientType(kind));
    } catch (const Failure &failure) {
        exit = failure.exit();
        text = failure.text();
    }
    QVERIFY2(exit == (said.isNull() ? ExitSuccess : ExitBadData), qPrintable(text));
    QVERIFY2(said.isNull() || text.contains(said), qPrintable(text));
    if (said.isNull())
        QCOMPARE(qint64(grid.values.last()),
                 valueAt(1, 2, grid.length - 1, grid.length, kind == enMultilayerCoefficient ? 255 : 65535));
}

namespace {

/// A grid of four pixels.
Grid smallGrid(int length, bool bytes = false)
{
    Grid grid;
    grid.size = QSize(2, 2);
    grid.length = length;
    grid.bytes = bytes;
    for (int i = 0; i < 4 * length; ++i)
        grid.values.append(quint16(bytes ? 255 - i : 65535 - 7 * i));
    return grid;
}

/// The exit code and the text of the Failure that a function throws; 0 and no text without one.
template <typename Function>
QPair<int, QString> failureOf(Function function)
{
    try {
        function();
    } catch (const Failure &failure) {
        return {failure.exit(), failure.text()};
    }
    return {};
}

} // namespace

void CtlFilesTest::gridsOfTheLibraryKeepTheirValues_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("length");
    QTest::newRow("chroma") << int(enCommonCoefficient) << 9;
    QTest::newRow("low gray") << int(enLowgrayCoefficient) << 9;
    QTest::newRow("multilayer") << int(enMultilayerCoefficient) << 16;
    QTest::newRow("multilayer of another length") << int(enMultilayerCoefficient) << 5;
}

void CtlFilesTest::gridsOfTheLibraryKeepTheirValues()
{
    QFETCH(int, kind);
    QFETCH(int, length);
    const bool bytes = kind == enMultilayerCoefficient;
    const Grid grid = smallGrid(length, bytes);
    const CoefficientPtr made = toLibrary(grid, EnumCoefficientType(kind));
    const Grid back = fromLibrary(*made);
    QCOMPARE(int(made->getType()), kind);
    QCOMPARE(back.size, grid.size);
    QCOMPARE(back.length, length);
    QCOMPARE(back.bytes, bytes);
    QCOMPARE(back.values, grid.values);

    // The file of that grid, and the picture of one of its values.
    const QString path = m_folder.filePath(QStringLiteral("kind.npy"));
    writeGrid(path, grid, 0);
    QCOMPARE(readGrid(path).values, grid.values);
    const QString picture = m_folder.filePath(QStringLiteral("kind.png"));
    writeGrid(picture, grid, 3);
    const Grid shown = readGrid(picture);
    QCOMPARE(shown.bytes, bytes);
    for (int pixel = 0; pixel < 4; ++pixel)
        QCOMPARE(shown.values.value(pixel), grid.values[pixel * length + 3]);
}

void CtlFilesTest::aByteOrderMarkIsNoNumber()
{
    const QString path = m_folder.filePath(QStringLiteral("mark.csv"));
    for (const char *header : {"", "x,y,value\n"}) {
        writeFile(path, QByteArray("\xef\xbb\xbf") + header + "0,0,7\n1,0,8\n");
        QCOMPARE(readGrid(path).values, (QVector<quint16>{7, 8}));
    }
}

void CtlFilesTest::picturesAreGreyAndAlike()
{
    const QString colours = m_folder.filePath(QStringLiteral("colours.png"));
    QImage picture(2, 2, QImage::Format_RGB32);
    picture.fill(Qt::red);
    QVERIFY(picture.save(colours));
    QCOMPARE(failureOf([&] { readGrid(colours); }),
             qMakePair(int(ExitBadData),
                       colours + QStringLiteral(": not a grey picture of 16 or 8 bits, as a preview of coefficients is")));

    const QString names = m_folder.filePath(QStringLiteral("part%.png"));
    writeGrid(names, smallGrid(3), 0);
    QCOMPARE(readGrid(names).values, smallGrid(3).values);
    const QString second = m_folder.filePath(QStringLiteral("part1.png"));
    for (const QImage &other : {QImage(2, 1, QImage::Format_Grayscale16), QImage(2, 2, QImage::Format_Grayscale8)}) {
        QImage filled = other;
        filled.fill(0);
        QVERIFY(filled.save(second));
        QCOMPARE(failureOf([&] { readGrid(names); }),
                 qMakePair(int(ExitBadData),
                           second + QStringLiteral(": another size or depth than that of the pictures before it")));
    }
}

void CtlFilesTest::onlyChromaHasAJsonText()
{
    const QString path = m_folder.filePath(QStringLiteral("other.json"));
    QCOMPARE(
        failureOf([&] { writeGrid(path, smallGrid(16, true), 0); }),
        qMakePair(int(ExitUsage), path + QStringLiteral(": only grids of 9 values a pixel have a JSON text; take .npy")));
    QVERIFY(!QFile::exists(path));
}

/// A file in /dev is read as a stream.
void CtlFilesTest::contentsTellTheFormOfAStream()
{
    const QTemporaryDir folder(QStringLiteral("/dev/shm/tst_ctlfiles-XXXXXX"));
    if (!folder.isValid())
        QSKIP("needs /dev/shm");
    const Grid grid = smallGrid(1);
    const QByteArrayList formats = QImageReader::supportedImageFormats();
    for (const char *extension : {"npy", "npz", "csv", "png", "tif"}) {
        if (extension == QByteArray("tif") && !formats.contains("tiff"))
            continue;
        const QString file = m_folder.filePath(QStringLiteral("stream.") + QLatin1String(extension));
        writeGrid(file, grid, 0);
        const QString stream = folder.filePath(QStringLiteral("stream"));
        QFile::remove(stream);
        QVERIFY(QFile::copy(file, stream));
        const Grid back = readGrid(stream);
        QCOMPARE(back.size, grid.size);
        QCOMPARE(back.values, grid.values);
    }
}

void CtlFilesTest::aFileBeyondTheContainersIsRefused()
{
    const QString path = m_folder.filePath(QStringLiteral("large.csv"));
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    if (!file.resize(qint64(1) << 31))
        QSKIP("needs a file system with holes");
    const QPair<int, QString> failure = failureOf([&] { readGrid(path); });
    file.remove();
    QCOMPARE(failure, qMakePair(int(ExitBadData), path + QStringLiteral(": too large: 2.1 GB")));
}

void CtlFilesTest::aFullDiskLeavesNoFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("inParts");
    for (const char *name : {"full.npy", "full.npz", "full.csv", "full.json", "full.png"})
        QTest::newRow(name) << QString::fromLatin1(name) << false;
    for (const char *name : {"full.npy", "full.json"})
        QTest::addRow("%s in parts", name) << QString::fromLatin1(name) << true;
}

void CtlFilesTest::aFullDiskLeavesNoFile()
{
    QFETCH(QString, name);
    QFETCH(bool, inParts);
    Grid grid;
    grid.size = QSize(64, 64);
    grid.length = 9;
    std::mt19937 random(1); // nothing that a ZIP archive or a picture makes small
    for (int i = 0; i < 64 * 64 * 9; ++i)
        grid.values.append(quint16(random()));
    const QString path = m_folder.filePath(name);
    const QStringList before = QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden);
    rlimit old{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &old), 0);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    for (const rlim_t size : {0, 100, 5000}) {
        const rlimit full{size, old.rlim_max};
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &full), 0);
        const QPair<int, QString> failure = failureOf([&] {
            if (!inParts)
                return writeGrid(path, grid, 0);
            GridWriter writer(path, grid.size);
            writer.put(QRect(QPoint(), grid.size), grid.values);
            writer.finish();
        });
        setrlimit(RLIMIT_FSIZE, &old);
        QCOMPARE(failure, qMakePair(int(ExitCannotWrite), path + QStringLiteral(": File too large")));
        QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files | QDir::Hidden), before);
    }
    std::signal(SIGXFSZ, handler);
    writeGrid(path, grid, 0);
    QVERIFY(QFile::remove(path));
}

/// A screen write returns the codes of its devices in one number.
void CtlFilesTest::everyResultHasAName()
{
    for (int code = 1; code <= ExitLargestResult; ++code) {
        if (explain(code))
            QCOMPARE(resultName(code), QString::fromLatin1(explain(code)->name));
    }
    QCOMPARE(resultName(9), resultName(1) + QLatin1Char('|') + resultName(8));
    QCOMPARE(resultName(15), QStringLiteral("enArgumentMismatch|enOutOfRange|enFileError|enCabinetNotFound"));
    QCOMPARE(resultName(-1), QStringLiteral("-1"));
    QCOMPARE(resultName(99), QStringLiteral("99"));
}

void CtlFilesTest::gridsAreReadInParts_data()
{
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<bool>("inPlace");
    QTest::newRow("as it is written") << QByteArray("<u2") << true;
    QTest::newRow("another byte order") << QByteArray(">u2") << false;
    QTest::newRow("wider numbers") << QByteArray("<i4") << false;
}

void CtlFilesTest::gridsAreReadInParts()
{
    QFETCH(const QByteArray, type);
    QFETCH(const bool, inPlace);
    const QString path = m_folder.filePath(QStringLiteral("parts.npy"));
    writeFile(path, npy(dictionary(type, shape9), valuesOf(type[2] - '0', type[0] == '>', false, 9, 65535)));
    QCOMPARE(GridSource::isInPlace(path), inPlace);
    for (const EnumCoefficientType kind : {enCommonCoefficient, enLowgrayCoefficient}) {
        GridSource source(path, QSize(columns, rows), kind);
        int parts = 0;
        for (int y = 0; y < rows; ++y) {
            for (int x = 0; x < columns; ++x) {
                for (int height = 1; y + height <= rows; ++height) {
                    for (int width = 1; x + width <= columns; ++width) {
                        const Grid part = source.part(QRect(x, y, width, height));
                        QCOMPARE(part.size, QSize(width, height));
                        QCOMPARE(part.values.size(), width * height * 9);
                        for (int i = 0; i < part.values.size(); ++i)
                            QCOMPARE(qint64(part.values[i]), valueAt(y + i / 9 / width, x + i / 9 % width, i % 9, 9, 65535));
                        ++parts;
                    }
                }
            }
        }
        QCOMPARE(parts, 18);
    }
    if (!inPlace)
        return;
    GridSource source(path, QSize(columns, rows), enCommonCoefficient);
    QVERIFY(QFile::resize(path, QFileInfo(path).size() - 1));
    source.part(QRect(0, 0, columns, 1));
    QVERIFY_EXCEPTION_THROWN(source.part(QRect(0, 1, columns, 1)), Failure);
    QVERIFY_EXCEPTION_THROWN(source.part(QRect(2, 0, 1, 2)), Failure);
}

void CtlFilesTest::gridsAreWrittenInParts_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("npy") << QStringLiteral("written.npy");
    QTest::newRow("json") << QStringLiteral("written.json");
}

void CtlFilesTest::gridsAreWrittenInParts()
{
    QFETCH(const QString, name);
    Grid whole;
    whole.size = QSize(300, 250); // more than the library makes a JSON text of at once
    whole.length = 9;
    whole.values.resize(300 * 250 * 9);
    const QString path = m_folder.filePath(name);
    QVERIFY(GridWriter::takes(path));
    const QStringList before = QDir(m_folder.path()).entryList(QDir::Files);
    for (const bool finished : {false, true}) {
        GridWriter writer(path, whole.size);
        // The middle stays without a part.
        for (const QRect &rect : {QRect(100, 0, 200, 90), QRect(0, 0, 100, 250), QRect(100, 100, 200, 150)}) {
            QVector<quint16> values(rect.width() * rect.height() * 9);
            for (int i = 0; i < values.size(); ++i) {
                const int place = ((rect.y() + i / 9 / rect.width()) * 300 + rect.x() + i / 9 % rect.width()) * 9 + i % 9;
                values[i] = quint16(place * 31);
                whole.values[place] = values[i];
            }
            writer.put(rect, values);
        }
        if (finished)
            writer.finish();
    }
    const QByteArray inParts = readFile(path);
    QFile::remove(path);
    QCOMPARE(QDir(m_folder.path()).entryList(QDir::Files), before); // nothing else was left behind
    writeGrid(path, whole, 0);
    QVERIFY(inParts == readFile(path));
}

namespace {

struct Contents {
    const char *id;
    const char *device;
    QRect rect;
    QByteArray bytes;
};

const Contents *contents()
{
    static const Contents list[] = {{"1", "A", QRect(0, -3, 2, 1), QByteArray(36, 'p')},
                                    {"12", "B \xc3\xa4", QRect(2, 0, 1, 3), QByteArray(54, '\n')}};
    return list;
}

} // namespace

QByteArray CtlFilesTest::snapshot()
{
    const QString path = m_folder.filePath(QStringLiteral("good.snapshot"));
    SnapshotWriter writer(path, QStringLiteral("main"), 2);
    for (int i = 0; i < 2; ++i) {
        SnapshotCabinet cabinet;
        cabinet.id = QString::fromUtf8(contents()[i].id);
        cabinet.device = QString::fromUtf8(contents()[i].device);
        cabinet.rect = contents()[i].rect;
        writer.add(cabinet, contents()[i].bytes);
    }
    writer.finish();
    return readFile(path);
}

QString CtlFilesTest::complaintOf(const QByteArray &bytes)
{
    const QString path = m_folder.filePath(QStringLiteral("x.snapshot"));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        return QStringLiteral("the test cannot write its file");
    file.close();
    try {
        SnapshotReader reader(path);
        if (reader.screenId() != QLatin1String("main") || reader.cabinets().size() != 2)
            return QStringLiteral("read as another snapshot");
        for (int i = 0; i < 2; ++i) {
            const SnapshotCabinet &cabinet = reader.cabinets()[i];
            const Contents &expected = contents()[i];
            if (cabinet.id != QString::fromUtf8(expected.id) || cabinet.device != QString::fromUtf8(expected.device)
                || cabinet.rect != expected.rect || reader.bytesOf(cabinet) != expected.bytes)
                return QStringLiteral("read as another cabinet");
        }
    } catch (const Failure &failure) {
        const bool named = failure.exit() == ExitBadData && failure.text().startsWith(path + QStringLiteral(": "));
        return named ? failure.text().mid(path.size() + 2)
                     : QStringLiteral("the test expected another failure than ") + failure.text();
    }
    return {};
}

void CtlFilesTest::everyDamageOfASnapshotIsFound()
{
    const QByteArray good = snapshot();
    QCOMPARE(complaintOf(good), QString());
    const auto check = [this](const QByteArray &bytes, int at) {
        const QString complaint = complaintOf(bytes);
        const bool found = complaint.contains(QLatin1String("damaged")) || complaint.contains(QLatin1String("cut short"))
                           || complaint.contains(QLatin1String("not a snapshot"))
                           || complaint.contains(QLatin1String("a snapshot of version"));
        if (!found)
            qWarning("byte %d: \"%s\" of %s", at, qPrintable(complaint), bytes.constData());
        return found;
    };
    int damages = 0;
    for (int at = 0; at < good.size(); ++at) {
        QVERIFY(check(good.left(at), at));
        QByteArray others("\0\n \"-.09e}\x7f\x80\xff", 13);
        others += char(good[at] ^ 1);
        others += char(good[at] ^ 0x20);
        for (const char other : qAsConst(others)) {
            if (other == good[at])
                continue;
            QByteArray bytes = good;
            bytes[at] = other;
            QVERIFY(check(bytes, at));
            ++damages;
        }
    }
    QVERIFY(damages > 5000);
}

void CtlFilesTest::aSnapshotsNumbersAreChecked_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::addColumn<QString>("said");
    const auto row = [](const char *from, const char *to, const char *said) {
        QTest::newRow(to) << QByteArray(from) << QByteArray(to) << QString::fromLatin1(said);
    };
    const char *const damaged = "cabinet 1 of 2: its line is damaged";
    const char *const size = "\"width\":2,";
    row(size, "\"width\":2147483647,", damaged);
    row(size, "\"width\":-2147483648,", damaged);
    row(size, "\"width\":1e308,", damaged);
    row(size, "\"width\":2.5,", damaged);
    row(size, "\"width\":\"2\",", damaged);
    row(size, "\"width\":[2],", damaged);
    row(size, "\"width\":0,", damaged);
    row("\"height\":1,", "\"height\":2147483647,", damaged);
    row("\"x\":0,", "\"x\":2147483647,", damaged);
    row("\"x\":0,", "\"x\":9999999999,", damaged);
    row("\"x\":0,", "\"x\":null,", damaged);
    row("\"y\":-3}", "\"y\":1e9999}", "no line of JSON");
    row("\"y\":-3}", "\"y\":-2147483649}", damaged);
    row("\"bytes\":36,", "\"bytes\":2147483647,", damaged);
    row("\"bytes\":36,", "\"bytes\":-36,", damaged);
    row("\"bytes\":36,", "\"bytes\":37,", damaged);
    row("\"cabinets\":2,", "\"cabinets\":2147483647,", "cabinet 3 of 2147483647: its line is damaged");
    row("\"cabinets\":2,", "\"cabinets\":-1,", "its first line is damaged");
    row("\"cabinets\":2,", "\"cabinets\":9999999999,", "its first line is damaged");
    row("\"x\":0,", "\"x\":0,\"x\":1,", "no line of JSON");
    row("\"x\":0,", "\"x\":0,\"z\":0,", damaged);
    row("\"xxh128\":", "\"sha256\":", damaged); // that of version 1
    row("\"version\":2", "\"version\":1", damaged);
    row("\"version\":2", "\"version\":4294967297", "a snapshot of version 4294967297");
}

void CtlFilesTest::aSnapshotsNumbersAreChecked()
{
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);
    QFETCH(QString, said);
    QByteArray bytes = snapshot();
    const int at = bytes.indexOf(from);
    QVERIFY(at > 0);
    bytes.replace(at, from.size(), to);
    const QString complaint = complaintOf(bytes);
    QVERIFY2(complaint.contains(said), qPrintable(complaint));
}

/// Sizes whose sums and products do not fit into any integer.
void CtlFilesTest::aSnapshotsSizesAreChecked()
{
    const QByteArray good = snapshot();
    const QList<QByteArray> sizes{"-2147483648", "-1", "0", "65536", "119304647", "2147483647"};
    for (const QByteArray &width : sizes) {
        for (const QByteArray &height : sizes) {
            for (const QByteArray &count : {QByteArray("36"), QByteArray("2147483647"), QByteArray("-18")}) {
                QByteArray bytes = good;
                bytes.replace("\"width\":2,", "\"width\":" + width + ",");
                bytes.replace("\"height\":1,", "\"height\":" + height + ",");
                bytes.replace("\"bytes\":36,", "\"bytes\":" + count + ",");
                const QString complaint = complaintOf(bytes);
                QVERIFY2(complaint.contains(QLatin1String("cabinet 1 of 2: its line is damaged")), qPrintable(complaint));
            }
        }
    }
}

void CtlFilesTest::aSnapshotThatCannotBeReadIsNotWritten()
{
    const QString path = m_folder.filePath(QStringLiteral("long.snapshot"));
    SnapshotCabinet cabinet;
    cabinet.device = QStringLiteral("A");
    cabinet.rect = QRect(0, 0, 1, 1);
    const QByteArray bytes(18, 'p');
    // The longest line of a cabinet that is read back, and one byte more.
    const auto write = [&](int length) {
        cabinet.id = QString(length, QLatin1Char('c'));
        SnapshotWriter writer(path, QStringLiteral("main"), 1);
        writer.add(cabinet, bytes);
        writer.finish();
    };
    write(1);
    const int others = readFile(path).split('\n').at(1).size(); // without the line break
    const int longest = (1 << 16) - 1 - others;
    write(longest);
    QCOMPARE(SnapshotReader(path).cabinets().at(0).id.size(), longest);
    QVERIFY(QFile::remove(path));
    try {
        write(longest + 1);
        QFAIL("a line of a cabinet that is too long is written");
    } catch (const Failure &failure) {
        QCOMPARE(failure.exit(), int(ExitCannotWrite));
        QVERIFY2(failure.text().contains(QLatin1String("the line of cabinet number 1 would have 65536 bytes")),
                 qPrintable(failure.text()));
    }
    QVERIFY(!QFile::exists(path));

    SnapshotSettings settings;
    settings.device = QStringLiteral("A");
    settings.gamma[0].emplace();
    for (int i = 0; i < (1 << 26) / 11 + 1; ++i) // "2147483647," each
        settings.gamma[0]->append(std::numeric_limits<int>::max());
    try {
        SnapshotWriter writer(path, QStringLiteral("main"), 0, {settings});
        writer.finish();
        QFAIL("a first line that is too long is written");
    } catch (const Failure &failure) {
        QCOMPARE(failure.exit(), int(ExitCannotWrite));
        QVERIFY2(failure.text().startsWith(path + QStringLiteral(": its first line, with the settings of the devices,")),
                 qPrintable(failure.text()));
    }
    QVERIFY(!QFile::exists(path));
}

void CtlFilesTest::emptyAndUnknownGammaTablesDiffer()
{
    const QString path = m_folder.filePath(QStringLiteral("gamma.snapshot"));
    SnapshotSettings settings;
    settings.device = QStringLiteral("A");
    settings.gamma = {QList<int>{1, 2}, QList<int>(), std::nullopt};
    SnapshotWriter writer(path, QStringLiteral("main"), 0, {settings});
    writer.finish();
    const QVector<SnapshotSettings> read = SnapshotReader(path).settings();
    QCOMPARE(read.size(), 1);
    QVERIFY(read.at(0).gamma == settings.gamma);
}

QTEST_GUILESS_MAIN(CtlFilesTest)
#include "tst_ctlfiles.moc"
