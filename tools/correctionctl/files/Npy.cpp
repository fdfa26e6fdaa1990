#include "Npy.h"

#include "Files.h"

#include <QtCore/QMap>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>

namespace Ctl {

namespace {

const QByteArray magic("\x93NUMPY");

/// Reads the header's dictionary: just the literals that NumPy writes there.
class HeaderReader
{
public:
    explicit HeaderReader(const QByteArray &text) : m_text(text) {}

    bool read()
    {
        if (!take('{'))
            return false;
        while (!take('}')) {
            QByteArray key;
            if (!string(key) || !take(':') || m_seen.contains(key))
                return false;
            const bool known = (key == "descr" && type()) || (key == "fortran_order" && boolean(fortranOrder))
                               || (key == "shape" && tuple(shape));
            if (!known)
                return false;
            m_seen.insert(key, true);
            if (!take(',') && !peek('}'))
                return false;
        }
        blanks();
        return m_at == m_text.size() && m_seen.size() == 3;
    }

    QByteArray descr; ///< A structured type as it is written, from its bracket on.
    bool fortranOrder = false;
    QVector<qint64> shape;

private:
    void blanks()
    {
        while (m_at < m_text.size() && std::strchr(" \t\r\n\f", m_text[m_at]) && m_text[m_at])
            ++m_at;
    }
    bool peek(char wanted)
    {
        blanks();
        return m_at < m_text.size() && m_text[m_at] == wanted;
    }
    bool take(char wanted)
    {
        const bool found = peek(wanted);
        m_at += found ? 1 : 0;
        return found;
    }
    bool string(QByteArray &value)
    {
        const char quote = peek('\'') ? '\'' : '"';
        if (!take(quote))
            return false;
        const int end = m_text.indexOf(quote, m_at);
        if (end < 0)
            return false;
        value = m_text.mid(m_at, end - m_at);
        m_at = end + 1;
        return !value.contains('\\');
    }
    /// A string, or a list or tuple, whose brackets are balanced.
    bool type()
    {
        if (!peek('[') && !peek('('))
            return string(descr);
        const int begin = m_at;
        int depth = 0;
        while (m_at < m_text.size()) {
            const char at = m_text[m_at];
            QByteArray inner;
            if ((at == '\'' || at == '"') && !string(inner))
                return false;
            if (at == '\'' || at == '"')
                continue;
            ++m_at;
            depth += at == '[' || at == '(' ? 1 : at == ']' || at == ')' ? -1 : 0;
            if (depth == 0) {
                descr = m_text.mid(begin, m_at - begin);
                return true;
            }
        }
        return false;
    }
    bool boolean(bool &value)
    {
        blanks();
        for (const bool candidate : {true, false}) {
            const QByteArray word = candidate ? "True" : "False";
            if (m_text.mid(m_at, word.size()) == word) {
                m_at += word.size();
                value = candidate;
                return true;
            }
        }
        return false;
    }
    bool tuple(QVector<qint64> &values)
    {
        if (!take('('))
            return false;
        while (!take(')')) {
            blanks();
            const int begin = m_at;
            while (m_at < m_text.size() && m_text[m_at] >= '0' && m_text[m_at] <= '9')
                ++m_at;
            const QByteArray digits = m_text.mid(begin, m_at - begin);
            bool good = false;
            values.append(digits.toLongLong(&good));
            if (!good || (digits.startsWith('0') && values.last() != 0))
                return false;
            if (m_at < m_text.size() && m_text[m_at] == 'L') // as Python 2 wrote it
                ++m_at;
            // In parentheses alone it is a number.
            if (!take(',') && (values.size() == 1 || !peek(')')))
                return false;
        }
        return true;
    }

    const QByteArray m_text;
    int m_at = 0;
    QMap<QByteArray, bool> m_seen;
};

/// The whole numbers that are converted: every other type is refused.
struct Integers {
    int size = 0; ///< bytes
    bool isSigned = false;
    bool bigEndian = false;

    /// The bits of a value, sign extended.
    quint64 bits(const char *at) const
    {
        quint64 value = 0;
        for (int i = 0; i < size; ++i)
            value = (value << 8) | quint8(at[bigEndian ? i : size - 1 - i]);
        const int unused = 64 - 8 * size;
        return isSigned && unused > 0 ? quint64(qint64(value << unused) >> unused) : value;
    }
    QString text(quint64 value) const { return isSigned ? QString::number(qint64(value)) : QString::number(value); }
};

/// False with the reason, and with the NumPy expression that mends the array `a` where there is one.
bool integersOf(const QByteArray &descr, Integers &type, QString &reason)
{
    const QString name = QString::fromUtf8(descr);
    const auto refuse = [&reason, &name](const char *what) {
        reason = QStringLiteral("values of the type '%1': %2").arg(name, QLatin1String(what));
        return false;
    };
    if (descr.startsWith('[') || descr.startsWith('('))
        return refuse("structured ones are not read; np.save(path, "
                      "numpy.lib.recfunctions.structured_to_unstructured(a)) puts the fields of an element one behind "
                      "the other");
    static const QRegularExpression form(QStringLiteral("\\A([<>=|]?)([A-Za-z])([0-9]{0,4})\\z"));
    const auto match = form.match(name);
    const QString order = match.captured(1);
    const int size = match.captured(3).toInt();
    switch (match.hasMatch() ? match.captured(2).at(0).toLatin1() : '\0') {
    case 'u':
    case 'i':
        if (size != 1 && size != 2 && size != 4 && size != 8)
            break;
        if (size > 1 && order != QLatin1String("<") && order != QLatin1String(">"))
            return refuse("their byte order depends on the machine that wrote them; there: np.save(path, a.astype('<i8'))");
        type.size = size;
        type.isSigned = match.captured(2) == QLatin1String("i");
        type.bigEndian = order == QLatin1String(">");
        return true;
    case 'f':
        return refuse("coefficients are whole numbers in the units of the device; for values in these units: np.save(path, "
                      "np.rint(a).astype('<i8'))");
    case 'O':
        return refuse("Python objects are not read; for whole numbers: np.save(path, a.astype('<i8'))");
    case 'S':
    case 'U':
        return refuse("strings are not read; for decimal numbers: np.save(path, a.astype('<i8'))");
    case 'b':
        return refuse("truth values are not coefficients");
    case 'c':
        return refuse("complex numbers are not coefficients");
    default:
        break;
    }
    return refuse("expected '<u2', or '|u1' for multilayer");
}

QString tupleText(const QVector<qint64> &numbers)
{
    QStringList texts;
    for (const qint64 number : numbers)
        texts.append(QString::number(number));
    return texts.join(QStringLiteral(", ")) + QLatin1String(numbers.size() == 1 ? "," : "");
}

/// The expression that gives an array the shape (rows, columns, values) without a change of order; empty if none is known.
QString reshaped(const QVector<qint64> &shape)
{
    if (shape.contains(0) || shape.isEmpty())
        return {};
    if (shape.size() < 3)
        return QStringLiteral("; for values in the order row, column, value: np.save(path, a.reshape(rows, columns, -1))");
    if (shape.size() == 4 && shape[0] == 1)
        return QStringLiteral("; np.save(path, a[0])");
    if (shape.size() == 4 && shape[2] == shape[3])
        return QStringLiteral("; np.save(path, a.reshape(%1, %2, -1)) puts the values of a pixel row by row")
            .arg(shape[0])
            .arg(shape[1]);
    return {};
}

/// Number of values of the shape (rows, columns, values), 0 for any other, for an empty one and for one that is too large.
int countOf(const QVector<qint64> &shape)
{
    constexpr qint64 greatest = std::numeric_limits<int>::max();
    qint64 count = shape.size() == 3 ? 1 : 0;
    for (const qint64 extent : shape) {
        if (count == 0 || extent < 1 || extent > greatest / count)
            return 0;
        count *= extent;
    }
    return int(count);
}

/// What comes before the values of a file.
struct Start {
    QByteArray descr;
    bool fortranOrder = false;
    QVector<qint64> shape;
    qint64 bytes = 0; ///< Where the values begin.
};

bool readStart(const QByteArray &file, Start &start, QString &reason)
{
    const auto refuse = [&reason](const QString &why) {
        reason = why;
        return false;
    };
    const auto cut = [&refuse] { return refuse(QStringLiteral("cut short inside its header")); };
    if (!file.startsWith(magic))
        return refuse(QStringLiteral("not a NumPy file: it does not begin with \\x93NUMPY"));
    if (file.size() < 8)
        return cut();
    const int version = quint8(file[6]);
    if (version < 1 || version > 3 || file[7] != 0)
        return refuse(QStringLiteral("format version %1.%2 of NumPy files is unknown").arg(version).arg(quint8(file[7])));
    const int begin = version == 1 ? 10 : 12;
    if (file.size() < begin)
        return cut();
    const qint64 headerSize =
        version == 1 ? qFromLittleEndian<quint16>(file.constData() + 8) : qFromLittleEndian<quint32>(file.constData() + 8);
    if (headerSize > file.size() - begin)
        return cut();
    HeaderReader header(file.mid(begin, int(headerSize)));
    if (!header.read())
        return refuse(QStringLiteral("its header is not a dictionary of 'descr', 'fortran_order' and 'shape'"));
    start = {header.descr, header.fortranOrder, header.shape, begin + headerSize};
    return true;
}

/// Number of values of a file of the shape (rows, columns, values) with all its bytes. 0 with the reason for any other.
int checkedCount(const QByteArray &file, const Start &start, int valueSize, QString &reason)
{
    const auto refuse = [&reason](const QString &why) {
        reason = why;
        return 0;
    };
    const QVector<qint64> &shape = start.shape;
    const int count = countOf(shape);
    const bool isEmpty = std::any_of(shape.cbegin(), shape.cend(), [](qint64 extent) { return extent < 1; });
    if (count == 0 && shape.size() == 3 && !isEmpty)
        return refuse(QStringLiteral("shape (%1); a grid has at most %2 values")
                          .arg(tupleText(shape), QString::number(std::numeric_limits<int>::max())));
    if (count == 0)
        return refuse(QStringLiteral("shape (%1); expected (rows, columns, values), none of them 0%2")
                          .arg(tupleText(shape), reshaped(shape)));
    const qint64 expected = start.bytes + qint64(count) * valueSize;
    if (file.size() < expected)
        return refuse(QStringLiteral("cut short: %1 bytes, its header promises %2").arg(file.size()).arg(expected));
    if (file.size() > expected)
        return refuse(QStringLiteral("%1 bytes too many behind its values").arg(file.size() - expected));
    return count;
}

QByteArray headerOf(const QSize &size, int length, const char *descr)
{
    QByteArray dictionary = "{'descr': '" + QByteArray(descr) + "', 'fortran_order': False, 'shape': ("
                            + QByteArray::number(size.height()) + ", " + QByteArray::number(size.width()) + ", "
                            + QByteArray::number(length) + "), }";
    // The values begin at a multiple of 64; the header ends in a line feed.
    const int unpadded = magic.size() + 4 + dictionary.size() + 1;
    dictionary += QByteArray((64 - unpadded % 64) % 64, ' ') + '\n';
    QByteArray header = magic + QByteArray("\x01\x00", 2) + QByteArray(2, '\0');
    qToLittleEndian<quint16>(quint16(dictionary.size()), header.data() + 8);
    return header + dictionary;
}

} // namespace

bool parseNpy(const QByteArray &file, Grid &grid, QString &reason)
{
    const auto refuse = [&reason](const QString &why) {
        reason = why;
        return false;
    };
    Start header;
    Integers type;
    if (!readStart(file, header, reason) || !integersOf(header.descr, type, reason))
        return false;
    const int count = checkedCount(file, header, type.size, reason);
    if (count == 0)
        return false;
    const QVector<qint64> &shape = header.shape;

    grid.size = QSize(int(shape[1]), int(shape[0]));
    grid.length = int(shape[2]);
    grid.bytes = type.size == 1;
    grid.values.resize(count);
    const char *const source = file.constData() + header.bytes;
    if (type.size == 2 && !type.isSigned && !type.bigEndian && !header.fortranOrder) {
        qFromLittleEndian<quint16>(source, count, grid.values.data());
        return true;
    }
    // In Fortran order the first index runs fastest.
    const qint64 rows = shape[0];
    const qint64 columns = shape[1];
    auto target = grid.values.begin();
    qint64 next = 0;
    for (qint64 row = 0; row < rows; ++row) {
        for (qint64 column = 0; column < columns; ++column) {
            for (qint64 k = 0; k < shape[2]; ++k) {
                const qint64 place = header.fortranOrder ? row + rows * (column + columns * k) : next++;
                const quint64 value = type.bits(source + place * type.size);
                if (value > std::numeric_limits<quint16>::max())
                    return refuse(QStringLiteral("value %1 at [%2]; coefficients are whole numbers from 0 to 65535")
                                      .arg(type.text(value), tupleText({row, column, k})));
                *target++ = quint16(value);
            }
        }
    }
    return true;
}

bool parseNpyLight(const QByteArray &file, Light &light, QString &reason)
{
    Start header;
    if (!readStart(file, header, reason))
        return false;
    static const QRegularExpression form(QStringLiteral("\\A([<>])f([48])\\z"));
    const auto match = form.match(QString::fromUtf8(header.descr));
    if (!match.hasMatch()) {
        reason = QStringLiteral("values of the type '%1'; light is X, Y, Z in cd/m2: np.save(path, a.astype('<f4'))")
                     .arg(QString::fromUtf8(header.descr));
        return false;
    }
    const int valueSize = match.captured(2).toInt();
    const bool isBig = match.captured(1) == QLatin1String(">");
    const int count = checkedCount(file, header, valueSize, reason);
    if (count == 0)
        return false;
    light.size = QSize(int(header.shape[1]), int(header.shape[0]));
    light.length = int(header.shape[2]);
    light.values.resize(count);
    const char *const source = file.constData() + header.bytes;
    const auto valueAt = [=](qint64 place) {
        const char *const at = source + place * valueSize;
        if (valueSize == 4)
            return isBig ? qFromBigEndian<float>(at) : qFromLittleEndian<float>(at);
        return float(isBig ? qFromBigEndian<double>(at) : qFromLittleEndian<double>(at));
    };
    float *to = light.values.data();
    if (!header.fortranOrder) {
        for (int i = 0; i < count; ++i)
            *to++ = valueAt(i);
        return true;
    }
    const qint64 rows = header.shape[0];
    const qint64 columns = header.shape[1];
    for (qint64 row = 0; row < rows; ++row) {
        for (qint64 column = 0; column < columns; ++column) {
            for (qint64 k = 0; k < light.length; ++k)
                *to++ = valueAt(row + rows * (column + columns * k));
        }
    }
    return true;
}

bool isPlainNpy(const QByteArray &start, qint64 fileSize, Grid &grid, qint64 &offset)
{
    constexpr int begin = 10; // of the header's dictionary in version 1
    if (!start.startsWith(magic + QByteArray("\x01\x00", 2)) || start.size() < begin)
        return false;
    const int headerSize = qFromLittleEndian<quint16>(start.constData() + 8);
    HeaderReader header(start.mid(begin, headerSize));
    if (start.size() < begin + headerSize || !header.read() || header.descr != "<u2" || header.fortranOrder)
        return false;
    const int count = countOf(header.shape);
    offset = begin + headerSize;
    if (count == 0 || fileSize != offset + 2 * qint64(count))
        return false;
    grid.size = QSize(int(header.shape[1]), int(header.shape[0]));
    grid.length = int(header.shape[2]);
    return true;
}

QByteArray npyHeader(const QSize &size, int length, bool bytes)
{
    return headerOf(size, length, bytes ? "|u1" : "<u2");
}

QByteArray npyLightHeader(const QSize &size, int length)
{
    return headerOf(size, length, "<f4");
}

} // namespace Ctl
