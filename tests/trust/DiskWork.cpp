#include "DiskWork.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <algorithm>
#include <random>
#include <vector>

using namespace Simulator;

Q_DECLARE_METATYPE(Simulator::Kind)

namespace DiskWork {

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

constexpr int kindCount = 3;
constexpr int storeCount = 5;

QMap<QString, int> sentRequests;

QString text(const char *latin1)
{
    return QString::fromLatin1(latin1);
}

/// What a request is made of.
class Work
{
public:
    Work(VirtualWall &served, quint32 seed, int number)
        : wall(served), m_random(seed * 1000003u + static_cast<quint32>(number))
    {
        const QList<Device> devices = wall.pluggedDevices();
        device = devices[below(devices.size())];
        for (const SubScreen &subScreen : qAsConst(device.subScreens))
            cabinets += subScreen.cabinets;
        cabinet = cabinets[below(cabinets.size())];
    }

    int below(int limit) { return static_cast<int>(m_random() % static_cast<unsigned>(limit)); }
    QByteArray bytes(int count)
    {
        QByteArray result(count, '\0');
        for (char &each : result)
            each = static_cast<char>(m_random());
        return result;
    }
    QString name() { return text("n") + QString::number(m_random()) + QChar(0x20ac) + text("\"\\"); }
    QList<int> table()
    {
        QList<int> result;
        for (int i = below(20); i >= 0; --i)
            result += below(65536);
        return result;
    }
    /// Now and then the plane that is there, and one of default pixels: these are saved in other ways.
    QByteArray plane(Kind kind, Store store)
    {
        const QByteArray present = wall.state().plane(device.key, cabinet.id, kind, store);
        const int choice = below(8);
        return choice == 0 ? present : choice == 1 ? QByteArray(present.size(), '\0') : bytes(present.size());
    }
    List ids(bool areNumbers = false)
    {
        List result;
        const bool all = below(2) == 0;
        for (const Cabinet &each : qAsConst(cabinets)) {
            if (all || each.id == cabinet.id)
                result += areNumbers ? QVariant(each.id.toULongLong()) : QVariant(each.id);
        }
        return result;
    }

    bool ask(const char *operation, const QString &target, const QVariant &requested, const QVariant &extra = QVariant())
    {
        return wall.answer(call(operation, target, requested, extra)).result;
    }
    bool askDevice(const char *operation, const QVariant &requested) { return ask(operation, QString(), requested); }
    bool askScreen(const char *operation, const Map &requested) { return ask(operation, text("255"), requested); }
    bool askCabinet(const char *operation, const QVariant &requested) { return ask(operation, cabinet.id, requested); }
    bool askFlash(const char *operation)
    {
        return ask(operation, QString(), Map{{text("cids"), ids()}, {text("type"), 1}}, 100);
    }
    bool done(const char *what, bool result)
    {
        ++sentRequests[text(what)];
        return result;
    }

    /// A list of one block that covers the cabinet.
    List blocks(Kind kind, const char *valuesKey)
    {
        const Map size{{text("width"), cabinet.size.width()}, {text("height"), cabinet.size.height()}};
        const Map area{{text("size"), size}, {text("point"), Map{{text("x"), 0}, {text("y"), 0}}}};
        const QByteArray values = plane(kind, Store::Working);
        return {Map{{text("area"), area}, {text(valuesKey), QString::fromLatin1(values.toBase64())}}};
    }
    bool upload(const char *operation, Kind kind) { return askCabinet(operation, blocks(kind, "coefficients")); }
    /// All cabinets in one request, as when a snapshot is restored. Without latency the promise is settled when it returns.
    bool uploadAll(const char *operation, Kind kind)
    {
        List elements;
        for (const Cabinet &each : qAsConst(cabinets)) {
            cabinet = each;
            elements += Map{{text("cid"), each.id.toULongLong()}, {text("coefficientList"), blocks(kind, "coefficient")}};
        }
        wall.upload(call(operation, QString(), elements, QVariant()));
        return wall.journal().calls().last().result;
    }

    VirtualWall &wall;
    Device device;
    QList<Cabinet> cabinets;
    Cabinet cabinet;

private:
    Adapter::Call call(const char *operation, const QString &target, const QVariant &requested, const QVariant &extra) const
    {
        Adapter::Call result;
        result.deviceKey = device.key;
        result.operation = text(operation);
        result.target = target;
        result.request = requested;
        result.extra = extra;
        ++sentRequests[result.operation];
        return result;
    }

    std::mt19937 m_random;
};

using Request = bool (*)(Work &);

/// What saves planes comes more than once.
const std::vector<Request> &requests()
{
    static const std::vector<Request> all{
        [](Work &w) { return w.upload("Correctionop::uploadCoefficient", Kind::Chroma); },
        [](Work &w) { return w.upload("Correctionop::uploadMultilayerCoefficient", Kind::Multilayer); },
        [](Work &w) { return w.upload("Correctionop::uploadLowgrayCoefficient", Kind::LowGray); },
        [](Work &w) { return w.uploadAll("Correctionop::uploadCoefficientAsync", Kind::Chroma); },
        [](Work &w) { return w.uploadAll("Correctionop::uploadLowGrayCoefficientAsync", Kind::LowGray); },
        [](Work &w) {
            return w.askDevice("Correctionop::saveCabinetsCoeffcient", Map{{text("cids"), w.ids()}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::saveCabinetsCoeffcient", Map{{text("cids"), w.ids()}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::saveCabinetsMultilayerCoeffcient", Map{{text("cids"), w.ids()}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::saveCabinetsLowgrayCoeffcient", Map{{text("cids"), w.ids()}});
        },
        [](Work &w) {
            return w.askDevice(
                "Correctionop::setMutiCabinetSolid",
                Map{{text("idList"), w.ids()}, {text("type"), QVariant::fromValue(Kind(w.below(kindCount)))}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::saveCabinetsFactoryCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::saveCabinetsModuleCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::showCabinetsCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::showCabinetsFactoryCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::showCabinetsModuleCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::applyCabinetsLowgrayCoeffcient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::clearCabinetsUserCoefficient", Map{{text("cids"), w.ids()}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::clearCabinetsMultilayerCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) {
            return w.askDevice("Correctionop::clearCabinetsLowgrayCoefficient", Map{{text("cids"), w.ids(true)}});
        },
        [](Work &w) { return w.askFlash("CabinetInfoOperator::saveModuleCoefficient"); },
        [](Work &w) { return w.askFlash("CabinetInfoOperator::reloadModuleCoefficient"); },
        [](Work &w) { return w.askFlash("CabinetInfoOperator::clearModuleCoefficient"); },
        [](Work &w) {
            const auto kind = Kind(w.below(kindCount));
            const auto store = Store(1 + w.below(storeCount - 1)); // not Working: uploads write that
            return w.done("State::setPlane",
                          w.wall.state().setPlane(w.device.key, w.cabinet.id, kind, w.plane(kind, store), store));
        },
        [](Work &w) {
            const auto kind = Kind(w.below(kindCount));
            return w.done("State::setPlane", w.wall.state().setPlane(w.device.key, w.cabinet.id, kind,
                                                                     w.plane(kind, Store::User), Store::User));
        },
        [](Work &w) {
            const QString module = QString::number(w.below(4));
            return w.done("State::setFlashCheckCode",
                          w.wall.state().setFlashCheckCode(w.device.key, w.cabinet.id, module, w.below(3)));
        },
        [](Work &w) {
            return w.done("VirtualWall::renameScreen",
                          w.wall.renameScreen(w.device.key, w.below(4) == 0 ? text("Screen") : w.name()));
        },
        [](Work &w) { return w.done("VirtualWall::restartDevice", w.wall.restartDevice(w.device.key)); },
        [](Work &w) {
            return w.askScreen("ScreenInfo::setBrightness", {{text("brightness"), w.below(10001)}});
        },
        [](Work &w) {
            return w.askScreen("Correctionop::setScreenEffectMode", {{text("mode"), w.below(5)}});
        },
        [](Work &w) {
            return w.askScreen("Correctionop::setScreenXBit",
                               {{text("mode"), w.below(5)}, {text("xbitEnable"), w.below(2) == 0}});
        },
        [](Work &w) {
            return w.askScreen("Correctionop::setScreenABLEnable", {{text("enable"), w.below(2) == 0}});
        },
        [](Work &w) {
            return w.askScreen("ScreenInfo::setGammaTable",
                               {{text("type"), w.below(3)}, {text("gammaTable"), QVariant::fromValue(w.table())}});
        },
        [](Work &w) {
            return w.askCabinet("CabinetInfoOperator::setCabSingleBrightness", Map{{text("value"), w.below(10001)}});
        },
        [](Work &w) {
            return w.askCabinet("Correctionop::setCabinetEffectMode", Map{{text("type"), w.below(5)}});
        },
        [](Work &w) {
            return w.askCabinet("CabinetInfoOperator::setCabinetGammaCustomValue",
                                Map{{text("type"), w.below(3)}, {text("gammaTable"), QVariant::fromValue(w.table())}});
        },
        [](Work &w) {
            Map parameter;
            for (const char *const key : {"inLayer1", "inLayer2", "inLayer3", "inLayer4"})
                parameter.insert(text(key), static_cast<uint>(w.below(100000)));
            for (const char *const key : {"inVldBitLayer01", "inVldBitLayer12", "inVldBitLayer23", "inVldBitLayer34"})
                parameter.insert(text(key), w.below(16));
            return w.askDevice("Correctionop::setCabinetsMultilayerParameter",
                               Map{{text("cids"), w.ids()}, {text("param"), parameter}});
        },
        [](Work &w) {
            List layers;
            for (int i = w.below(4); i >= 0; --i)
                layers += Map{{text("inLayer"), static_cast<uint>(w.below(1000))}, {text("inVldBitLayer"), w.below(16)}};
            return w.askDevice("Correctionop::setCabinetsMultilayerParameterV2",
                               Map{{text("cids"), w.ids()}, {text("multilayerParams"), layers}});
        },
        [](Work &w) {
            const QString config = QString::fromLatin1(w.bytes(w.below(3000)).toBase64());
            return w.askCabinet("CabinetInfoOperator::setSingleConfigFile",
                                Map{{text("idList"), List{w.cabinet.id}}, {text("config"), config}});
        },
        [](Work &w) {
            return w.askCabinet("CabinetInfoOperator::setCabinetFlag", Map{{text("flag"), w.name()}});
        },
        [](Work &w) {
            List elements;
            for (const Cabinet &each : qAsConst(w.cabinets))
                elements += Map{{text("id"), each.id}, {text("flag"), w.name()}};
            return w.askDevice("CabinetInfoOperator::setCabinetSnflags", elements);
        },
        [](Work &w) {
            const List flags{Map{{text("id"), QString::number(w.below(4))}, {text("flag"), w.name()}}};
            return w.askDevice("CabinetInfoOperator::setModuleflags",
                               List{Map{{text("id"), w.cabinet.id}, {text("moduleflags"), flags}}});
        },
    };
    return all;
}

} // namespace

WallDescription wallOfSize(int size)
{
    WallDescription description;
    const QString a = text("A");
    switch (size) {
    case 0:
        description.devices = {gridDevice(a, QPoint(), 1, 1, QSize(2, 2))};
        break;
    case 1:
        description.devices = {gridDevice(a, QPoint(), 3, 1, QSize(8, 8))};
        break;
    case 2: {
        Device forgetful = gridDevice(QStringLiteral("b/\u00e9"), QPoint(0, 100), 2, 1, QSize(8, 4), 11);
        forgetful.personality = text("forgets on restart");
        description.devices = {gridDevice(a, QPoint(), 2, 2, QSize(16, 8)), forgetful};
        description.defaultPixels[0] = QByteArray::fromHex("0180");
        break;
    }
    default:
        description.devices = {gridDevice(a, QPoint(), 2, 1, QSize(64, 64))};
        break;
    }
    return description;
}

bool request(VirtualWall &wall, quint32 seed, int number)
{
    Work work(wall, seed, number);
    const auto choice = static_cast<std::size_t>(work.below(int(requests().size())));
    return requests()[choice](work);
}

const QMap<QString, int> &sent()
{
    return sentRequests;
}

void restart(VirtualWall &wall)
{
    const QList<Device> devices = wall.pluggedDevices();
    for (const Device &device : devices)
        wall.restartDevice(device.key);
}

Kept kept(VirtualWall &wall)
{
    Kept result;
    const State &state = wall.state();
    const auto put = [&](const QString &place, const QVariant &value) {
        result.insert(place, CallJournal::describe(value).toUtf8());
    };
    const auto tables = [](const std::array<QList<int>, 3> &gamma) {
        return List{QVariant::fromValue(gamma[0]), QVariant::fromValue(gamma[1]), QVariant::fromValue(gamma[2])};
    };
    const QList<Device> devices = wall.pluggedDevices();
    for (const Device &device : devices) {
        const QString &key = device.key;
        put(key + text(" screen name"), device.screenName);
        const DeviceSettings settings = state.settings(key);
        DeviceSettings::fields([&](const char *name, auto member, Adapter::Operation::Id, const char *) {
            put(key + QLatin1Char(' ') + text(name), settings.*member);
        });
        put(key + text(" gamma"), tables(settings.gamma));
        for (const SubScreen &subScreen : device.subScreens) {
            for (const Cabinet &cabinet : subScreen.cabinets) {
                const QString place = key + QLatin1Char('/') + cabinet.id + QLatin1Char(' ');
                put(place + text("brightness"), state.brightness(key, cabinet.id));
                put(place + text("effect mode"), state.effectMode(key, cabinet.id));
                put(place + text("gamma"),
                    tables({state.gamma(key, cabinet.id, Channel::Red), state.gamma(key, cabinet.id, Channel::Green),
                            state.gamma(key, cabinet.id, Channel::Blue)}));
                put(place + text("layer"), state.multilayerParameter(key, cabinet.id));
                put(place + text("layers"), state.multilayerParameters(key, cabinet.id));
                put(place + text("flag"), state.flag(key, cabinet.id));
                result.insert(place + text("configuration"), state.configFile(key, cabinet.id));
                for (int i = 0; i < 4; ++i) {
                    const QString module = QString::number(i);
                    put(place + text("module flag ") + module, state.moduleFlag(key, cabinet.id, module));
                    put(place + text("check code ") + module, state.flashCheckCode(key, cabinet.id, module));
                }
                for (int kind = 0; kind < kindCount; ++kind) {
                    for (int store = 0; store < storeCount; ++store) {
                        const QByteArray bytes = state.plane(key, cabinet.id, Kind(kind), Store(store));
                        result.insert(place + QStringLiteral("plane %1 %2").arg(kind).arg(store),
                                      QByteArray::number(bytes.size()) + ' '
                                          + QCryptographicHash::hash(bytes, QCryptographicHash::Md5));
                    }
                }
            }
        }
    }
    return result;
}

QString differences(const Kept &a, const Kept &b)
{
    QStringList result;
    for (auto it = a.cbegin(); it != a.cend(); ++it) {
        if (b.value(it.key()) != it.value())
            result += it.key();
    }
    return a.size() == b.size() ? result.join(text(", ")) : text("other places");
}

bool ask(VirtualWall &wall)
{
    bool good = true;
    const QList<Device> devices = wall.pluggedDevices();
    for (const Device &device : devices) {
        const QString &id = device.subScreens.first().cabinets.first().id;
        const QString module = text("0");
        State &state = wall.state();
        good = state.setFlashCheckCode(device.key, id, module, state.flashCheckCode(device.key, id, module)) && good;
    }
    return good;
}

QString leftovers(const QString &directory)
{
    static const QRegularExpression pack(QStringLiteral("\"pack\":\"([^\"]*)\""));
    const QString stateName = QStringLiteral("state.json");
    QStringList result;
    const QDir devices(directory + QStringLiteral("/devices"));
    const QStringList folders = devices.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString &folder : folders) {
        const QDir inside(devices.filePath(folder));
        QFile file(inside.filePath(stateName));
        if (!file.open(QIODevice::ReadOnly))
            return file.fileName();
        const QString state = QString::fromUtf8(file.readAll());
        const QStringList names = inside.entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
        QStringList known{stateName};
        for (auto it = pack.globalMatch(state); it.hasNext();)
            known += it.next().captured(1);
        for (const QString &name : names) {
            if (!known.contains(name))
                result += inside.filePath(name);
        }
    }
    return result.join(QLatin1Char(' '));
}

} // namespace DiskWork
