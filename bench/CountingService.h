#pragma once

#include <QtCore/QRect>
#include <QtCore/QSize>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

/// A device service that does nothing but count its calls and keep the uploads, so that a benchmark measures the library
/// alone. Every operation returns true at once; the replies are made before the first call. It replaces the virtual wall or
/// a real service: it defines the classes of `<service/...>`.
namespace CountingService {

/// Devices side by side, each driving a part of the screen of the size `area`, covered with cabinets row by row. Cabinets at
/// its right and bottom edge may be smaller. Every cabinet has one receiving card.
struct Wall {
    int devices = 1;
    QSize area;
    QSize cabinet;
    int modules = 4; ///< For each cabinet.
};

struct CabinetPlace {
    QString deviceKey;
    QString id;
    QRect rect; ///< Screen pixels.
};

/// Makes the replies of a wall.
void setWall(const Wall &wall);
/// Its cabinets, device after device.
const QVector<CabinetPlace> &cabinets();
/// A cabinet's reply when its coefficients are read: one block for the whole cabinet.
void setCoefficients(const QString &cabinetId, const QString &text);
QVariantList coefficients(const QString &cabinetId);

/// How long an asynchronous upload takes; 0, the default, settles it at once.
void setLatency(int milliseconds);

qint64 callCount();
/// The asynchronous uploads since the last `dropUploads()`. They hold all texts.
const QVector<QVariantList> &uploads();
void dropUploads();

} // namespace CountingService
