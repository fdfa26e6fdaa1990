#pragma once

#include <simulator/SimulatorGlobal.h>
#include <simulator/WallDescription.h>

#include <QtCore/QString>

namespace Simulator {

struct Wall;

/// What goes wrong on a wall. See VirtualWall::faults().
class SIMULATOR_API Faults
{
public:
    /// Adds a fault to those of a device; it counts calls from here on. False for an unknown key.
    bool add(const QString &deviceKey, const Fault &fault);
    /// Leaves only the faults that belong to the device's personality; they begin to count anew. False for an unknown
    /// key.
    bool clear(const QString &deviceKey);
    /// See WallDescription::chaos.
    void setChaos(double share);
    /// See WallDescription::seed. What is drawn begins anew.
    void setSeed(quint64 seed);

private:
    friend struct Wall;
    explicit Faults(Wall &wall) : m_wall(wall) {}

    Wall &m_wall;
};

} // namespace Simulator
