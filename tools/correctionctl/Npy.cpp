#include "Npy.h"

#include "Files.h"

#include <QtCore/QMap>
#include <QtCore/QtEndian>

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
            const bool known = (key == "descr" && string(descr)) || (key == "fortran_order" && boolean(fortranOrder))
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

    QByteArray descr;
    bool fortranOrder = false;
    QVector<qint64> shape;

private:
    void blanks()
    {
        while (m_at < m_text.size() && (m_text[m_at] == ' ' || m_text[m_at] == '\n'))
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
            bool good = false;
            values.append(m_text.mid(begin, m_at - begin).toLongLong(&good));
            if (!good || (!take(',') && !peek(')')))
                return false;
        }
        return true;
    }

    QByteArray m_text;
    int m_at = 0;
    QMap<QByteArray, bool> m_seen;
};

} // namespace

bool parseNpy(const QByteArray &file, Grid &grid, QString &reason)
{
    const auto refuse = [&reason](const QString &why) {
        reason = why;
        return false;
    };
    const auto cut = [&refuse] { return refuse(QStringLiteral("cut short inside its header")); };
    if (!file.startsWith(magic))
        return refuse(QStringLiteral("no NumPy file: it does not begin with \\x93NUMPY"));
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
        return refuse(QStringLiteral("its header is no dictionary of 'descr', 'fortran_order' and 'shape'"));

    const bool bytes = header.descr == "|u1" || header.descr == "<u1";
    if (!bytes && header.descr != "<u2")
        return refuse(QStringLiteral("values of the type '%1'; expected '<u2' (or '|u1' for multilayer)")
                          .arg(QString::fromUtf8(header.descr)));
    if (header.fortranOrder)
        return refuse(QStringLiteral("Fortran order; expected C order"));
    constexpr qint64 greatest = std::numeric_limits<int>::max();
    qint64 count = header.shape.size() == 3 ? 1 : 0;
    for (const qint64 extent : qAsConst(header.shape)) {
        if (extent < 1 || extent > greatest / std::max<qint64>(count, 1))
            count = 0;
        count *= extent;
    }
    if (count == 0) {
        QStringList extents;
        for (const qint64 extent : qAsConst(header.shape))
            extents.append(QString::number(extent));
        return refuse(QStringLiteral("shape (%1); expected (rows, columns, values), none of them 0")
                          .arg(extents.join(QStringLiteral(", "))));
    }
    const qint64 expected = begin + headerSize + count * (bytes ? 1 : 2);
    if (file.size() < expected)
        return refuse(QStringLiteral("cut short: %1 bytes, its header promises %2").arg(file.size()).arg(expected));
    if (file.size() > expected)
        return refuse(QStringLiteral("%1 bytes too many behind its values").arg(file.size() - expected));

    grid.size = QSize(int(header.shape[1]), int(header.shape[0]));
    grid.length = int(header.shape[2]);
    grid.bytes = bytes;
    grid.values.resize(int(count));
    const char *const source = file.constData() + begin + headerSize;
    if (bytes)
        std::transform(source, source + count, grid.values.begin(), [](char byte) { return quint8(byte); });
    else
        qFromLittleEndian<quint16>(source, count, grid.values.data());
    return true;
}

QByteArray npyHeader(const QSize &size, int length, bool bytes)
{
    QByteArray dictionary = "{'descr': '" + QByteArray(bytes ? "|u1" : "<u2") + "', 'fortran_order': False, 'shape': ("
                            + QByteArray::number(size.height()) + ", " + QByteArray::number(size.width()) + ", "
                            + QByteArray::number(length) + "), }";
    // The values begin at a multiple of 64; the header ends in a line feed.
    const int unpadded = magic.size() + 4 + dictionary.size() + 1;
    dictionary += QByteArray((64 - unpadded % 64) % 64, ' ') + '\n';
    QByteArray header = magic + QByteArray("\x01\x00", 2) + QByteArray(2, '\0');
    qToLittleEndian<quint16>(quint16(dictionary.size()), header.data() + 8);
    return header + dictionary;
}

} // namespace Ctl
