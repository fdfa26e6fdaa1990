#include "PackCases.h"

#include <simulator/disk/DeviceFolder.h>
#include <simulator/files/Checksum.h>

#include <QtCore/QTemporaryDir>

#include <memory>

namespace Bench {
namespace {

using Simulator::DeviceFolder;
using Simulator::DeviceState;

constexpr QSize cabinetSize(64, 64);
constexpr int cabinetCount = 16;

Simulator::Device description()
{
    Simulator::SubScreen subScreen;
    for (int i = 0; i < cabinetCount; ++i) {
        Simulator::Cabinet cabinet;
        cabinet.id = QString::number(i + 1);
        cabinet.position = QPoint(i * cabinetSize.width(), 0);
        cabinet.size = cabinetSize;
        subScreen.cabinets.append(cabinet);
    }
    Simulator::Device device;
    device.key = QStringLiteral("A");
    device.subScreens.append(subScreen);
    return device;
}

/// A device that has saved a plane of each cabinet; removed with the object.
class SavedDevice
{
public:
    SavedDevice()
    {
        QString error;
        Simulator::Disk::Making making;
        if (!m_folder.create(m_saved, making, &error))
            qFatal("%s", qPrintable(error));
        making.keep();
        save();
    }

    /// Saves planes with other values.
    void save()
    {
        DeviceState next = m_saved;
        ++m_value;
        for (Simulator::CabinetState &cabinet : next.cabinets) {
            Simulator::Planes &planes = cabinet.planes(Simulator::Kind::Chroma);
            planes.setBytes(Simulator::Store::User, QByteArray(planes.byteCount(), m_value));
        }
        QString error;
        if (!m_folder.save(m_saved, next, &error))
            qFatal("%s", qPrintable(error));
        m_saved = next;
    }

    void read() const
    {
        DeviceState device{description()};
        QString error;
        if (!DeviceFolder(path(), {}).read(device, &error))
            qFatal("%s", qPrintable(error));
    }

private:
    QString path() const { return m_directory.filePath(QStringLiteral("A")); }

    QTemporaryDir m_directory;
    DeviceFolder m_folder{path(), {}};
    DeviceState m_saved{description()};
    char m_value = 0;
};

Case counted(const char *name, const Prepare &library)
{
    Case result;
    result.name = QLatin1String(name);
    result.library = library;
    return result;
}

} // namespace

QVector<Case> packCases()
{
    const Prepare write = [] { return [device = std::make_shared<SavedDevice>()] { device->save(); }; };
    const Prepare read = [] { return [device = std::make_shared<SavedDevice>()] { device->read(); }; };
    const Prepare sum = [] {
        return [bytes = QByteArray(128 * 128 * 18, '\1')] {
            if (Checksum::xxh128(bytes).isEmpty())
                qFatal("no checksum");
        };
    };
    return {counted("pack_write_16_cabinets", write), counted("pack_read_16_cabinets", read),
            counted("xxh128_128x128", sum)};
}

} // namespace Bench
