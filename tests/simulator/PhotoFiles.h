#pragma once

#include <simulator/Camera.h>

#include <QtCore/QDir>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

/// Photographs as the checks in Python read them.
namespace PhotoFiles {

inline QJsonArray jsonList(const Simulator::Homography &homography)
{
    QJsonArray list;
    for (const double each : homography)
        list += each;
    return list;
}

/// Writes a photograph as NAME.npy, and returns the file's name with the camera. Empty where it cannot be written.
inline QJsonObject written(const QDir &folder, const QString &name, const Simulator::Photo &photo,
                           const Simulator::Camera &camera)
{
    const QString file = name + QStringLiteral(".npy");
    if (photo.isNull() || !photo.writeNpy(folder.filePath(file)))
        return {};
    return {{QStringLiteral("file"), file},
            {QStringLiteral("homography"), jsonList(photo.homography)},
            {QStringLiteral("camera"), QJsonObject{{QStringLiteral("photosites"), camera.photosites},
                                                   {QStringLiteral("blur"), camera.blur},
                                                   {QStringLiteral("view"), jsonList(camera.view)},
                                                   {QStringLiteral("fullScale"), camera.fullScale},
                                                   {QStringLiteral("shotNoise"), camera.shotNoise},
                                                   {QStringLiteral("readNoise"), camera.readNoise},
                                                   {QStringLiteral("bits"), camera.bits},
                                                   {QStringLiteral("seed"), qint64(camera.seed)}}}};
}

} // namespace PhotoFiles
