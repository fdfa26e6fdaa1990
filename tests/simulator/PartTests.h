#pragma once

#include "SettingTests.h"

#include <service/CabinetInfoOperator.h>
#include <service/Correctionop.h>
#include <service/HWInfo.h>
#include <service/HttpProxy.h>
#include <service/ScreenInfo.h>
#include <simulator/VirtualWall.h>
#include <support/Maps.h>

#include <QtTest/QtTest>

#include <functional>

using MapOperation = bool (Correctionop::*)(const QString &, const QMap<QString, QVariant> &, QMap<QString, QVariant> &);
using RequestOperation = std::function<bool(const QVariant &)>;

namespace Sample {
enum SaveKind { Chroma, Multilayer, LowGray };
}
Q_DECLARE_METATYPE(MapOperation)
Q_DECLARE_METATYPE(RequestOperation)
Q_DECLARE_METATYPE(Sample::SaveKind)
Q_DECLARE_METATYPE(Simulator::Store)
Q_DECLARE_METATYPE(Simulator::Channel)

/// What the tests of the wall's parts share: two devices, called as the library calls them.
namespace PartTests {

using namespace SettingTests;
using namespace Simulator;
using Quorvex::Communicator::HttpDevice::HttpDeviceInfo;
using Quorvex::Communicator::HttpDevice::HttpProxy;
using TestSupport::map;

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Headers = QMap<QString, QString>;
using Promise = QtPromise::QPromise<bool>;

const QString a = QStringLiteral("A");
const QString b = QStringLiteral("B");
const QString one = QStringLiteral("1");
const QString two = QStringLiteral("2");
const QString all = QStringLiteral("255");

/// A text with every single quote turned into a double one, for expected lines.
inline QString quoted(const char *text)
{
    return QString::fromLatin1(text).replace(QLatin1Char('\''), QLatin1Char('"'));
}

inline VirtualWall &wall()
{
    return VirtualWall::instance();
}

inline Correctionop &correction()
{
    return *Correctionop::getInstance();
}

inline CabinetInfoOperator &cabinets()
{
    return *CabinetInfoOperator::getInstance();
}

inline ScreenInfo &screens()
{
    return *ScreenInfo::getInstance();
}

inline Map rectMap(int x, int y, int width, int height)
{
    return map({{"x", x}, {"y", y}, {"width", width}, {"height", height}});
}

inline Map colorMap(int red, int green, int blue)
{
    return map({{"r", red}, {"g", green}, {"b", blue}});
}

inline Map area(int x, int y, int width, int height)
{
    return map({{"size", map({{"height", height}, {"width", width}})}, {"point", map({{"x", x}, {"y", y}})}});
}

inline QString base64(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.toBase64());
}

inline List blockRequest(const QRect &rect, const QByteArray &bytes)
{
    return {map({{"area", area(rect.x(), rect.y(), rect.width(), rect.height())}, {"coefficients", base64(bytes)}})};
}

inline Map manyElement(const QVariant &cid, const QRect &rect, const QByteArray &bytes)
{
    const Map block = map({{"area", area(rect.x(), rect.y(), rect.width(), rect.height())}, {"coefficient", base64(bytes)}});
    return map({{"cid", cid}, {"coefficientList", List{block}}});
}

/// `pixels` pixels of 9 values, all `value`.
inline QByteArray chromaBytes(int pixels, quint16 value)
{
    QByteArray bytes;
    for (int i = 0; i < pixels * 9; ++i) {
        bytes += static_cast<char>(value & 0xff);
        bytes += static_cast<char>(value >> 8);
    }
    return bytes;
}

inline QVector<quint16> chromaValues(int pixels, quint16 value)
{
    return QVector<quint16>(pixels * 9, value);
}

inline Map cids(const List &ids)
{
    return map({{"cids", ids}});
}

inline QString lastNote()
{
    return wall().journal().calls().isEmpty() ? QStringLiteral("no call") : wall().journal().calls().last().note;
}

/// A value that a promise that is settled already was fulfilled with; empty when it is pending or rejected.
inline QVariant settledValue(const Promise &promise)
{
    QVariant result;
    promise.then([&result](bool value) { result = value; }, [] {}).wait();
    return result;
}

/// The picture as rows of letters: black is '.', the others are named by `letters`.
inline QStringList rows(const QImage &image, const QMap<QRgb, char> &letters)
{
    QStringList result;
    for (int y = 0; y < image.height(); ++y) {
        QString row;
        for (int x = 0; x < image.width(); ++x)
            row += QLatin1Char(image.pixel(x, y) == 0xff000000 ? '.' : letters.value(image.pixel(x, y), '?'));
        result += row;
    }
    return result;
}

/// Every copy of a request that is changed in one place: an entry more, an entry less, an entry of another type.
inline List spoilt(const QVariant &request)
{
    List result;
    if (request.userType() == QMetaType::QVariantList) {
        const List list = request.toList();
        for (int i = 0; i < list.size(); ++i) {
            const List elements = spoilt(list[i]);
            for (const QVariant &element : elements) {
                List copy = list;
                copy[i] = element;
                result.append(QVariant(copy));
            }
        }
    } else if (request.userType() == QMetaType::QVariantMap) {
        const Map whole = request.toMap();
        Map copy = whole;
        copy.insert(QStringLiteral("zz"), 1);
        result.append(copy);
        for (auto it = whole.cbegin(); it != whole.cend(); ++it) {
            copy = whole;
            copy.remove(it.key());
            result.append(copy);
            List values = spoilt(it.value());
            values.append(1.5);
            for (const QVariant &value : qAsConst(values)) {
                copy = whole;
                copy[it.key()] = value;
                result.append(copy);
            }
        }
    } else {
        result.append(1.5);
    }
    return result;
}

inline QStringList lines(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '));
}

/// Device A: cabinets 1 and 2 of 4 x 2 pixels side by side; device B: cabinet 3 of the same size to their right.
inline void setUpWall()
{
    wall().reset();
    Device right = gridDevice(b, QPoint(8, 0), 1, 1, QSize(4, 2), 3);
    wall().setDevices({gridDevice(a, QPoint(0, 0), 2, 1, QSize(4, 2)), right});
    wall().journal().clear();
}

} // namespace PartTests
