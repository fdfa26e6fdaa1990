#pragma once

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

/// What the tests of the wall's behaviour over time share: a small wall, called as the library calls it.
namespace WallTests {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Headers = QMap<QString, QString>;
using Promise = QtPromise::QPromise<bool>;

inline Simulator::VirtualWall &wall()
{
    return Simulator::VirtualWall::instance();
}

/// Device "A": cabinets 1 and 2 of 4 x 2 pixels side by side. Device "B": cabinet 3 to their right.
inline Simulator::WallDescription smallWall()
{
    Simulator::WallDescription description;
    description.devices = {
        Simulator::gridDevice(QStringLiteral("A"), QPoint(0, 0), 2, 1, QSize(4, 2)),
        Simulator::gridDevice(QStringLiteral("B"), QPoint(8, 0), 1, 1, QSize(4, 2), 3),
    };
    return description;
}

inline Simulator::Fault fault(Simulator::Fault::Type type, const char *operation = nullptr)
{
    Simulator::Fault result;
    result.type = type;
    if (operation)
        result.operation = QString::fromLatin1(operation);
    return result;
}

inline Simulator::Event eventAt(qint64 at, Simulator::Event::Type type, const char *deviceKey)
{
    Simulator::Event result;
    result.at = at;
    result.type = type;
    result.deviceKey = QString::fromLatin1(deviceKey);
    return result;
}

/// `pixels` chroma pixels, all of whose values are `value`.
inline QVector<quint16> plane(int pixels, quint16 value)
{
    return QVector<quint16>(pixels * 9, value);
}

/// A whole cabinet of 4 x 2 pixels for an upload with a promise.
inline List uploadOf(qlonglong cabinet, quint16 value)
{
    QByteArray bytes;
    for (int i = 0; i < 4 * 2 * 9; ++i) {
        bytes += static_cast<char>(value & 0xff);
        bytes += static_cast<char>(value >> 8);
    }
    const Map size{{QStringLiteral("height"), 2}, {QStringLiteral("width"), 4}};
    const Map point{{QStringLiteral("x"), 0}, {QStringLiteral("y"), 0}};
    const Map area{{QStringLiteral("size"), size}, {QStringLiteral("point"), point}};
    const Map block{{QStringLiteral("area"), area}, {QStringLiteral("coefficient"), QString::fromLatin1(bytes.toBase64())}};
    List blocks;
    blocks.append(block);
    List request;
    request.append(Map{{QStringLiteral("cid"), cabinet}, {QStringLiteral("coefficientList"), blocks}});
    return request;
}

inline Promise upload(const char *deviceKey, qlonglong cabinet, quint16 value)
{
    return Correctionop::getInstance()->uploadCoefficientAsync(QString::fromLatin1(deviceKey), uploadOf(cabinet, value));
}

/// Makes the device save the chroma coefficients of a cabinet.
inline bool save(const char *deviceKey, qlonglong cabinet)
{
    Map reply;
    List ids;
    ids.append(cabinet);
    return Correctionop::getInstance()->saveCabinetsCoeffcient(QString::fromLatin1(deviceKey),
                                                               Map{{QStringLiteral("cids"), ids}}, reply);
}

/// Any operation that changes nothing; it takes the device's latency.
inline bool ask(const char *deviceKey)
{
    Map reply;
    return HWInfo::getInstance()->getHWInfo(QString::fromLatin1(deviceKey), reply, true);
}

inline QStringList discovered()
{
    QStringList keys;
    const auto devices = Quorvex::Communicator::HttpDevice::HttpProxy::getInstance()->getDeviceList();
    for (const auto &device : devices)
        keys += device.key;
    return keys;
}

inline Simulator::Call lastCall()
{
    return wall().journal().calls().isEmpty() ? Simulator::Call() : wall().journal().calls().last();
}

} // namespace WallTests
