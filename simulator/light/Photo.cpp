#include <simulator/Camera.h>

#include <adapter/json/SaveFile.h>

#include <QtCore/QSaveFile>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cmath>

namespace Simulator {

namespace {

/// Levels of sRGB by linear light, in steps of 1 / 65535.
std::vector<uchar> makeLevels()
{
    std::vector<uchar> levels(65536);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        const double linear = static_cast<double>(i) / 65535.0;
        const double level = linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1.0 / 2.4) - 0.055;
        levels[i] = static_cast<uchar>(std::floor(255.0 * level + 0.5));
    }
    return levels;
}

} // namespace

Homography Camera::tilted(const QSize &screen, double tilt)
{
    const double share = tilt / std::max(screen.width(), 1);
    return {{1.0 + tilt, 0.0, 0.0, share * screen.height() / 2.0, 1.0, 0.0, share, 0.0, 1.0}};
}

QImage Photo::image(double white) const
{
    if (isNull() || !(white > 0.0))
        return QImage();
    QImage image(size, QImage::Format_RGB32);
    if (image.isNull())
        return image;
    static const std::vector<uchar> levels = makeLevels();
    const auto level = [](double linear) {
        return levels[static_cast<std::size_t>(std::min(std::max(linear, 0.0), 1.0) * 65535.0 + 0.5)];
    };
    const float *value = xyz.data();
    for (int row = 0; row < size.height(); ++row) {
        QRgb *const line = reinterpret_cast<QRgb *>(image.scanLine(row));
        for (int column = 0; column < size.width(); ++column, value += 3) {
            const double x = static_cast<double>(value[0]) / white;
            const double y = static_cast<double>(value[1]) / white;
            const double z = static_cast<double>(value[2]) / white;
            line[column] = qRgb(level(3.2406 * x - 1.5372 * y - 0.4986 * z), level(-0.9689 * x + 1.8758 * y + 0.0415 * z),
                                level(0.0557 * x - 0.2040 * y + 1.0570 * z));
        }
    }
    return image;
}

bool Photo::writeNpy(const QString &path, QString *error) const
{
    constexpr int alignment = 64;
    QByteArray header = "{'descr': '<f4', 'fortran_order': False, 'shape': (" + QByteArray::number(size.height()) + ", "
                        + QByteArray::number(size.width()) + ", 3), }";
    const QByteArray magic("\x93NUMPY\x01\x00", 8);
    const int unpadded = magic.size() + 2 + header.size() + 1;
    header += QByteArray((alignment - unpadded % alignment) % alignment, ' ') + '\n';
    QByteArray length(2, '\0');
    qToLittleEndian(static_cast<quint16>(header.size()), length.data());

    QSaveFile file(path);
    QByteArray start = magic + length + header;
    bool isWritten = file.open(QIODevice::WriteOnly) && file.write(start) == start.size();
    const qint64 values = 3 * qint64(size.width());
    QByteArray row(static_cast<int>(values * 4), '\0');
    for (int y = 0; y < size.height() && isWritten; ++y) {
        qToLittleEndian<quint32>(xyz.data() + y * values, values, row.data());
        isWritten = file.write(row) == row.size();
    }
    QString reason = file.errorString();
    if (isWritten && Json::commit(file, reason))
        return true;
    if (error)
        *error = path + QLatin1String(": ") + reason;
    return false;
}

} // namespace Simulator
