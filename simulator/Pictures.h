#pragma once

#include <simulator/VirtualWall.h>

#include <QtCore/QList>
#include <QtGui/QImage>

#include <functional>

/// The pictures of VirtualWall, drawn from descriptions. All devices of a list are on one screen.
namespace Simulator {

QList<Device> devicesOf(const QList<Device> &devices, const QString &screenId);

QImage drawLayout(const QList<Device> &devices);
/// `plane` gives a cabinet's working plane as raw bytes.
QImage drawCoefficients(const QList<Device> &devices, Kind kind, int channel,
                        const std::function<QByteArray(const Device &, const Cabinet &)> &plane);
QImage drawPatterns(const QList<Device> &devices, const std::function<Pattern(const Device &)> &pattern);

} // namespace Simulator
