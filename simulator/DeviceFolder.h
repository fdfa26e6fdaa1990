#pragma once

#include "WallStore.h"

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace Simulator {

/// What one device saved, on disk: `state.json`, which is replaced as a whole, and packs of long values (planes and
/// configuration files) that it refers to by place and checksum. A pack is written once and never changed. So whatever
/// happens in between, the folder holds what `state.json` says. docs/store.md describes the files.
///
/// Has no lock of its own.
class DeviceFolder
{
public:
    /// `defaultPixels` by Kind: a plane that consists of them takes no place.
    DeviceFolder(const QString &path, const std::array<QByteArray, kindCount> &defaultPixels);

    /// The folder's name for a device key. Different keys have different names.
    static QString nameFor(const QString &deviceKey);

    /// Makes the folder of a device that has saved nothing yet.
    bool create(const DeviceState &device, QString *error);
    /// Reads and checks everything into a device that is as delivered.
    bool read(DeviceState &device, QString *error);
    /// Saves what lasts of `after` and differs from `before`, which is what was saved last: whole or not at all.
    bool save(const DeviceState &before, const DeviceState &after, QString *error);
    /// Removes what a process left behind that was killed: files of ours that `state.json` does not refer to.
    void tidy() const;

private:
    /// Where a value's bytes are.
    struct Place {
        int pack = 0;
        qint64 offset = 0;
        int length = 0;
        QByteArray sha1; ///< 20 bytes.
    };
    struct SavedCabinet {
        QMap<int, Place> places; ///< By slot: see slots() in the source.
        QByteArray line;         ///< The cabinet's JSON text; empty when it is as delivered.
    };
    struct Saved {
        QMap<QString, SavedCabinet> cabinets; ///< By id.
        QByteArray line;                      ///< The JSON text of the device's own settings.
    };
    class Reader;

    QString filePath(const QString &name) const { return m_path + QLatin1Char('/') + name; }
    /// A cabinet's JSON text; empty when it is as delivered.
    static QByteArray cabinetLine(const DeviceState &device, const QString &id, const SavedCabinet &saved);
    /// Bytes in use, by pack.
    static QMap<int, qint64> usedBytes(const Saved &saved);
    QStringList packNames() const;
    /// Makes `next` what is saved; `values` are those of a new pack.
    bool commit(const QString &deviceKey, const Saved &next, const QVector<QByteArray> &values, qint64 packSize,
                QString *error);
    bool writePack(int number, const QVector<QByteArray> &values, QString *error) const;
    bool writeState(const QString &deviceKey, const Saved &saved, QString *error) const;

    QString m_path;
    std::array<QByteArray, kindCount> m_defaultPixels;
    Saved m_saved;
    QMap<int, qint64> m_packSizes; ///< Of the packs that `m_saved` refers to.
    int m_lastPack = 0;            ///< Numbers are not used again.
};

} // namespace Simulator
