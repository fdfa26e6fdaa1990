#pragma once

#include <simulator/DeviceSettings.h>
#include <simulator/SimulatorGlobal.h>
#include <simulator/StateTypes.h>

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

namespace Simulator {

struct Wall;

/// What the devices of a wall hold. See VirtualWall::state().
///
/// Every function returns an empty value, 0 or false for an unknown device or cabinet. A setter also returns false when an
/// open directory could not save the value; a warning line has the reason.
class SIMULATOR_API State
{
public:
    /// A plane, row by row: 9 values for each pixel.
    QVector<quint16> chroma(const QString &deviceKey, const QString &cabinetId, Store store = Store::Working) const;
    /// As chroma().
    QVector<quint16> lowGray(const QString &deviceKey, const QString &cabinetId, Store store = Store::Working) const;
    /// A plane, row by row: Device::multilayerBytesPerPixel bytes for each pixel.
    QByteArray multilayer(const QString &deviceKey, const QString &cabinetId, Store store = Store::Working) const;
    /// A plane of any kind as raw bytes, 16-bit values low byte first.
    QByteArray plane(const QString &deviceKey, const QString &cabinetId, Kind kind, Store store = Store::Working) const;
    /// Replaces a plane, without journal entry and scripts. False unless the number of values fits the cabinet.
    bool setPlane(const QString &deviceKey, const QString &cabinetId, Kind kind, const QByteArray &bytes,
                  Store store = Store::Working);
    /// setPlane() of this kind, by values; likewise the next two.
    bool setChroma(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values,
                   Store store = Store::Working);
    /// See setChroma().
    bool setLowGray(const QString &deviceKey, const QString &cabinetId, const QVector<quint16> &values,
                    Store store = Store::Working);
    /// See setChroma().
    bool setMultilayer(const QString &deviceKey, const QString &cabinetId, const QByteArray &values,
                       Store store = Store::Working);
    /// Where the values of Store::Working come from: the store that was last shown, applied or reloaded, or Working
    /// itself after an upload or a clear.
    Store shown(const QString &deviceKey, const QString &cabinetId, Kind kind = Kind::Chroma) const;

    /// The settings of a whole device.
    DeviceSettings settings(const QString &deviceKey) const;
    /// The brightness of a cabinet, in steps of Device::brightnessMin to brightnessMax.
    int brightness(const QString &deviceKey, const QString &cabinetId) const;
    /// Gamma tables, initially empty.
    QList<int> gamma(const QString &deviceKey, const QString &cabinetId, Channel channel) const;
    /// Replaces the table of a device.
    bool setGamma(const QString &deviceKey, Channel channel, const QList<int> &table);
    /// Replaces the table of a cabinet.
    bool setGamma(const QString &deviceKey, const QString &cabinetId, Channel channel, const QList<int> &table);
    /// The correction effect mode of a cabinet.
    int effectMode(const QString &deviceKey, const QString &cabinetId) const;
    /// The mode of test images.
    int imageMode(const QString &deviceKey) const;
    /// The application that holds the lock; empty when the device is not locked.
    QString lockOwner(const QString &deviceKey) const;
    /// The test image of a device.
    Pattern pattern(const QString &deviceKey) const;

    /// The last "param" map that was sent to the cabinet, or empty.
    QMap<QString, QVariant> multilayerParameter(const QString &deviceKey, const QString &cabinetId) const;
    /// The last "multilayerParams" list that was sent to the cabinet, or empty.
    QList<QVariant> multilayerParameters(const QString &deviceKey, const QString &cabinetId) const;
    /// The configuration file of a cabinet.
    QByteArray configFile(const QString &deviceKey, const QString &cabinetId) const;
    /// Replaces the configuration file of a cabinet.
    bool setConfigFile(const QString &deviceKey, const QString &cabinetId, const QByteArray &bytes);
    /// The flag of a cabinet.
    QString flag(const QString &deviceKey, const QString &cabinetId) const;
    /// The flag of a module.
    QString moduleFlag(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const;
    /// Flash check code of a module; 0, the initial value, is good.
    int flashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId) const;
    /// Sets the flash check code of a module.
    bool setFlashCheckCode(const QString &deviceKey, const QString &cabinetId, const QString &moduleId, int code);
    /// The argument of the last HttpProxy::initialize(). Devices are listed in any case.
    bool isDiscovering() const;

    /// Splits loaded coefficients into bands of this many rows, the last one lower if need be. 0, the default: one
    /// block.
    void setReplyBlockHeight(int rows);
    /// The pixel that cleared and never written planes consist of: raw bytes, 16-bit values low byte first. An empty
    /// array means zeros, but for the chroma and low-gray pixels of devices whose LEDs are described: these have the
    /// values that change nothing, Device::coefficientUnit at 0, 4 and 8. Shorter ones are padded with zeros, longer
    /// ones cut.
    void setDefaultPixel(Kind kind, const QByteArray &pixel);

private:
    friend struct Wall;
    explicit State(Wall &wall) : m_wall(wall) {}

    Wall &m_wall;
};

} // namespace Simulator
