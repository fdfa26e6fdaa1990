#pragma once

#include "device/WallState.h"

#include <QtCore/QVector>

#include <mutex>

/// The places of a screen's cabinets.
namespace Simulator {

/// The devices of a screen at this moment. Planes are shared with the wall, not copied.
WallState screenState(std::mutex &mutex, const WallState &state, const QString &screenId);

/// A cabinet with its place, screen coordinates.
struct Part {
    int device; ///< Its number on the screen.
    const Cabinet *cabinet;
    QRect rect;
};

/// The cabinets that have a place.
QVector<Part> partsOf(const WallState &screen);
QRect unitedRect(const QVector<Part> &parts);

} // namespace Simulator
