#pragma once

#include <simulator/SimulatorGlobal.h>
#include <simulator/WallDescription.h>

#include <QtCore/QString>

namespace Simulator {

struct Wall;

/// Faults of a wall's devices. See VirtualWall::faults().
class SIMULATOR_API Faults
{
public:
    /// Adds a fault to those of a device; its call counts begin here. False for an unknown key.
    bool add(const QString &deviceKey, const Fault &fault);
    /// Leaves only the faults that belong to the device's personality; their call counts restart. False for an unknown
    /// key.
    bool clear(const QString &deviceKey);
    /// See WallDescription::chaos.
    void setChaos(double share);
    /// See WallDescription::seed. Restarts the random sequence.
    void setSeed(quint64 seed);

private:
    friend struct Wall;
    explicit Faults(Wall &wall) : m_wall(wall) {}

    Wall &m_wall;
};

} // namespace Simulator
