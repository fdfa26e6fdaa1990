#include "Csv.h"

#include <QtCore/QList>

#include <limits>

namespace Ctl {

bool parseCsv(const QByteArray &file, Grid &grid, QString &reason)
{
    constexpr int greatest = 65535;
    int fields = 0;
    int x = 0;
    int y = 0;
    int width = 0; // of the rows, once the first one has ended
    int number = 0;
    for (int begin = 0; begin < file.size();) {
        const int found = file.indexOf('\n', begin);
        const int end = found < 0 ? file.size() : found;
        QByteArray line = file.mid(begin, end - begin).trimmed();
        begin = end + 1;
        ++number;
        const auto refuse = [&reason, number](const QString &what) {
            reason = QStringLiteral("line %1: %2").arg(QString::number(number), what);
            return false;
        };
        if (number == 1 && line.startsWith("\xef\xbb\xbf"))
            line.remove(0, 3);
        if (line.isEmpty() || (number == 1 && line.startsWith('x')))
            continue;
        const QList<QByteArray> texts = line.replace(';', ',').split(',');
        if (fields == 0)
            fields = texts.size();
        if (texts.size() != fields || fields < 3)
            return refuse(QStringLiteral("%1 fields; expected x, y and the values of a pixel, as many in each line")
                              .arg(texts.size()));
        QVector<int> numbers;
        for (const QByteArray &text : texts) {
            bool isNumber = false;
            numbers.append(text.trimmed().toInt(&isNumber));
            const int most = numbers.size() > 2 ? greatest : std::numeric_limits<int>::max();
            if (!isNumber || numbers.last() < 0 || numbers.last() > most)
                return refuse(QStringLiteral("\"%1\"; expected a whole number from 0 to %2")
                                  .arg(QString::fromUtf8(text.left(40)), QString::number(most)));
        }
        if (width == 0 && y == 0 && x > 0 && numbers[0] == 0 && numbers[1] == 1)
            width = x;
        if (width > 0 && x == width) {
            x = 0;
            ++y;
        }
        if (numbers[0] != x || numbers[1] != y)
            return refuse(QStringLiteral("pixel %1,%2; expected %3,%4: pixels come row by row, none left out")
                              .arg(numbers[0])
                              .arg(numbers[1])
                              .arg(x)
                              .arg(y));
        ++x;
        for (int i = 2; i < fields; ++i)
            grid.values.append(quint16(numbers[i]));
    }
    if (fields == 0) {
        reason = QStringLiteral("no pixels");
        return false;
    }
    if (width > 0 && x != width) {
        reason = QStringLiteral("cut short: its last row has %1 pixels, the others %2").arg(x).arg(width);
        return false;
    }
    grid.size = QSize(x, y + 1);
    grid.length = fields - 2;
    return true;
}

QByteArray toCsv(const Grid &grid)
{
    QByteArray text = "x,y";
    for (int k = 0; k < grid.length; ++k)
        text += ',' + QByteArray::number(k);
    text += '\n';
    auto value = grid.values.cbegin();
    for (int y = 0; y < grid.size.height(); ++y) {
        for (int x = 0; x < grid.size.width(); ++x) {
            text += QByteArray::number(x) + ',' + QByteArray::number(y);
            for (int k = 0; k < grid.length; ++k)
                text += ',' + QByteArray::number(*value++);
            text += '\n';
        }
    }
    return text;
}

} // namespace Ctl
