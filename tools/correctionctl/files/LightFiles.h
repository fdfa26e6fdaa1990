#pragma once

#include "Npy.h"

#include <calibration/Measurement.h>
#include <calibration/Plan.h>
#include <calibration/Target.h>

#include <QtCore/QDir>
#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtGui/QTransform>

namespace Ctl {

/// Files of a calibration. Light is in ".npy" files of 32-bit floating-point numbers: photos and light images have the shape
/// (height, width, 3), measurements (height, width, 9). All functions throw a Failure that names the file and the reason.

/// Light with three or nine values for each pixel.
Light readLight(const QString &path);
/// The same with this number of values.
Light readLight(const QString &path, int length);
void writeLight(const QString &path, const QSize &size, int length, const QVector<float> &values);
/// Throws unless light can be written there.
void checkLightWritable(const QString &path);

/// A pixel without a single known value is a hole; dead ones are marked.
Calibration::Measurement measurementOf(const Light &light);
/// Nine values of NaN for each hole, so that a file keeps it.
void markHole(Calibration::Measurement &measurement, int x, int y);

/// The plan of a measurement, `plan.json` in the folder of its photos.
struct PlanFile {
    QRect screen; ///< Screen pixels.
    int interval = 0;
    /// Nine numbers, row by row: maps the screen, in pixels from the corner of `screen`, to a photo's photosites. Empty: a
    /// photo has a point for each pixel.
    QVector<double> homography;
    QStringList photos; ///< Their files' names in the folder, by shot.

    /// With the usual names of photos.
    explicit PlanFile(const Calibration::Plan &plan);
    /// From the folder.
    explicit PlanFile(const QDir &folder);
    PlanFile() = default;

    void write(const QDir &folder) const;
};

/// "red-1-0": the light and the first lit pixel of a test image.
QString nameOf(const Calibration::Shot &shot);
QTransform transformOf(const QVector<double> &homography);

/// A target: XYZ of full red, green and blue.
Calibration::Target readTarget(const QString &path);
void writeTarget(const QString &path, const Calibration::Target &target);

} // namespace Ctl
