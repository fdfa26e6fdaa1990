// Snapshots, with the checksums set right where the first byte asks for it: what can be read is written and read again, and
// is equal.

#include "Fuzz.h"

#include <files/SnapshotFile.h>
#include <simulator/files/Checksum.h>
#include <terminal/ExitCodes.h>

#include <QtCore/QRegularExpression>

using namespace Ctl;

namespace {

void setSum(QByteArray &line, const char *key, const QByteArray &sum)
{
    const QByteArray begin = QByteArray("\"") + key + "\":\"";
    const int at = line.indexOf(begin);
    const int end = at < 0 ? -1 : line.indexOf('"', at + begin.size());
    if (end > 0)
        line.replace(at + begin.size(), end - at - begin.size(), sum.toHex());
}

/// Sets every checksum, going by the lines as far as they are understood.
QByteArray withSums(const QByteArray &file)
{
    QByteArray result;
    QCryptographicHash lines(QCryptographicHash::Sha256);
    for (int at = 0; at < file.size();) {
        const int end = file.indexOf('\n', at);
        QByteArray line = file.mid(at, end < 0 ? -1 : end - at + 1);
        at += line.size();
        static const QRegularExpression length(QStringLiteral("\"bytes\":([0-9]{1,6})[,}]"));
        const auto match = length.match(QString::fromLatin1(line));
        const QByteArray bytes = match.hasMatch() ? file.mid(at, match.captured(1).toInt()) : QByteArray();
        at += bytes.size();
        if (match.hasMatch()) {
            setSum(line, "xxh128", Checksum::xxh128(bytes));
            setSum(line, "sha256", QCryptographicHash::hash(bytes, QCryptographicHash::Sha256));
        } else if (line.startsWith("{\"end\"")) {
            setSum(line, "sha256", lines.result());
        }
        lines.addData(line);
        result += line + bytes;
        if (match.hasMatch() && at < file.size())
            result += file[at++];
    }
    return result;
}

} // namespace

void Fuzz::setUp() {}

void Fuzz::run(Bytes &input)
{
    const bool isMended = input.flag();
    const QByteArray file = input.rest();
    const QString path = folder() + QStringLiteral("/a.snapshot");
    Fuzz::write(path, isMended ? withSums(file) : file);
    try {
        SnapshotReader reader(path);
        QVector<QByteArray> planes;
        for (const SnapshotCabinet &cabinet : reader.cabinets()) {
            planes.append(reader.bytesOf(cabinet));
            require(planes.constLast().size() == cabinet.bytes
                        && cabinet.bytes == qint64(cabinet.rect.width()) * cabinet.rect.height() * 18,
                    "a cabinet's bytes do not fit its size");
        }
        const QString other = folder() + QStringLiteral("/b.snapshot");
        SnapshotWriter writer(other, reader.screenId(), reader.cabinets().size(), reader.settings());
        for (int i = 0; i < planes.size(); ++i)
            writer.add(reader.cabinets()[i], planes[i]);
        writer.finish();
        try {
            SnapshotReader again(other);
            same(again.screenId(), reader.screenId(), "the screen");
            same(again.cabinets().size(), reader.cabinets().size(), "the number of cabinets");
            for (int i = 0; i < planes.size(); ++i) {
                const SnapshotCabinet &got = again.cabinets()[i];
                const SnapshotCabinet &expected = reader.cabinets()[i];
                require(got.id == expected.id && got.device == expected.device && got.rect == expected.rect
                            && again.bytesOf(got) == planes[i],
                        "a cabinet differs");
            }
            same(again.settings().size(), reader.settings().size(), "the number of settings");
            for (int i = 0; i < again.settings().size(); ++i) {
                const SnapshotSettings &got = again.settings()[i];
                const SnapshotSettings &expected = reader.settings()[i];
                require(got.device == expected.device && got.effect == expected.effect && got.gamma == expected.gamma,
                        "the settings of a device differ");
            }
        } catch (const Failure &failure) {
            fail(QStringLiteral("what was written cannot be read: %1").arg(failure.text()));
        }
    } catch (const Failure &) {
        // refused, with a reason
    }
}
