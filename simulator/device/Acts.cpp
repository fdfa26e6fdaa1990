#include "Acts.h"

#include "Base64.h"
#include "Entries.h"

#include <adapter/json/Describe.h>

#include <QtCore/QHash>
#include <QtCore/QVector>

namespace Simulator::Acts {

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;
using Adapter::Operation;

Answer done()
{
    return {true, Map(), {}};
}

Answer withReply(const QVariant &reply)
{
    return {true, reply, {}};
}

// Cabinets

/// The cabinet's own id for one in a request: a string, or a signed or unsigned 64-bit integer.
QString cabinetId(const DeviceState &device, const QVariant &id)
{
    const bool isText = id.userType() == QMetaType::QString;
    if (isText || id.userType() == QMetaType::LongLong || id.userType() == QMetaType::ULongLong) {
        const QString text = id.toString();
        if (device.cabinets.contains(text))
            return text;
        const QString known = isText ? QString() : device.idWithNumber(id.toULongLong());
        if (!known.isNull()) // ids such as "007" are numbers, too
            return known;
    }
    throw Refusal{QStringLiteral("unknown cabinet %1").arg(Json::describeValue(id, 64)), {}};
}

const CabinetState &targetCabinet(const DeviceState &device, const Call &call)
{
    return *device.cabinets.constFind(cabinetId(device, call.target));
}

CabinetState &targetCabinet(DeviceState &device, const Call &call)
{
    return device.cabinets[cabinetId(device, call.target)];
}

QStringList cabinetIds(const DeviceState &device, const List &ids)
{
    QStringList result;
    for (const QVariant &id : ids)
        result += cabinetId(device, id);
    return result;
}

QVariant only(const List &list, const char *what)
{
    if (list.size() != 1)
        throw Refusal{QStringLiteral("%1 holds %2 elements, not one").arg(QLatin1String(what)).arg(list.size()), {}};
    return list.first();
}

QByteArray decoded(const QString &text, const QString &what)
{
    QByteArray bytes;
    if (!Base64::decode(text, bytes))
        throw Refusal{what + QLatin1String(" is not base64"), {}};
    return bytes;
}

// Blocks

struct Block {
    QString cabinetId;
    QRect rect;
    QByteArray bytes;
};

/// A block from a map with "area" and the values under `valuesKey`, checked against the cabinet's plane.
Block block(const DeviceState &device, Kind kind, const QString &id, const QVariant &map, const char *valuesKey)
{
    Entries entries(map, QStringLiteral("block"));
    Entries area = entries.map("area");
    Entries size = area.map("size");
    Entries point = area.map("point");
    const qint64 x = point.take<int>("x");
    const qint64 y = point.take<int>("y");
    const qint64 width = size.take<int>("width");
    const qint64 height = size.take<int>("height");
    const QByteArray bytes = decoded(entries.take<QString>(valuesKey), entries.path(valuesKey));
    size.done();
    point.done();
    area.done();
    entries.done();

    const Planes &planes = device.cabinets.constFind(id)->planes(kind);
    const QSize whole = planes.size();
    if (x < 0 || y < 0 || width <= 0 || height <= 0 || x + width > whole.width() || y + height > whole.height()) {
        throw Refusal{QStringLiteral("block %1,%2 %3x%4 outside cabinet %5 of %6x%7")
                          .arg(QString::number(x), QString::number(y), QString::number(width), QString::number(height), id,
                               QString::number(whole.width()), QString::number(whole.height())),
                      {}};
    }
    const qint64 expected = width * height * planes.bytesPerPixel();
    if (bytes.size() != expected) {
        throw Refusal{QStringLiteral("block of %1x%2 for cabinet %3 has %4 bytes, not %5")
                          .arg(QString::number(width), QString::number(height), id, QString::number(bytes.size()),
                               QString::number(expected)),
                      {}};
    }
    return {id, QRect(int(x), int(y), int(width), int(height)), bytes};
}

void paste(WallState &state, DeviceState &device, Kind kind, const Block &block,
           const std::shared_ptr<Disk::Scratch> &scratch)
{
    device.cabinets[block.cabinetId].planes(kind).paste(block.rect, block.bytes,
                                                        state.defaultPixel(kind, device.description), scratch);
}

/// Calls `change` for the planes of every cabinet that a list names.
template <typename Change>
void changePlanes(DeviceState &device, Kind kind, const List &ids, Change change)
{
    const QStringList cabinets = cabinetIds(device, ids);
    for (const QString &id : cabinets)
        change(device.cabinets[id].planes(kind));
}

/// An act on the planes of the cabinets under "cids".
template <typename Change>
Act planesAct(Kind kind, bool typed, Change change)
{
    return [=](WallState &, DeviceState *device, const Call &call) {
        Entries entries(call.request);
        const List ids = entries.list("cids");
        if (typed)
            entries.take<int>("type");
        entries.done();
        changePlanes(*device, kind, ids, change);
        return done();
    };
}

// Values

int checkedBrightness(const DeviceState &device, int brightness)
{
    if (brightness < device.description.brightnessMin || brightness > device.description.brightnessMax)
        throw Refusal{QStringLiteral("brightness %1 out of range").arg(brightness), {}};
    return brightness;
}

/// Stores a gamma request ("type", "gammaTable") in the table `order`["type"].
Answer setGamma(std::array<QList<int>, 3> &tables, const std::array<Channel, 3> &order, const Call &call)
{
    Entries entries(call.request);
    const int type = entries.take<int>("type");
    const QList<int> table = entries.take<QList<int>>("gammaTable");
    entries.done();
    if (type < 0 || type >= static_cast<int>(order.size()))
        throw Refusal{QStringLiteral("unknown gamma type %1").arg(type), {}};
    tables[static_cast<std::size_t>(order[static_cast<std::size_t>(type)])] = table;
    return done();
}

template <typename Convert>
Answer gammaReply(const std::array<QList<int>, 3> &tables, Convert convert)
{
    return withReply(Map{{QStringLiteral("redGamma"), convert(tables[0])},
                         {QStringLiteral("greenGamma"), convert(tables[1])},
                         {QStringLiteral("blueGamma"), convert(tables[2])}});
}

int takeMode(const Call &call, const char *key)
{
    Entries entries(call.request);
    const int mode = entries.take<int>(key);
    entries.done();
    return mode;
}

Map withRect(Map map, const QRect &rect)
{
    map[QStringLiteral("x")] = rect.x();
    map[QStringLiteral("y")] = rect.y();
    map[QStringLiteral("width")] = rect.width();
    map[QStringLiteral("height")] = rect.height();
    return map;
}

/// Refuses a colour that is not made of "r", "g" and "b" between 0 and 255.
void checkColor(Entries entries)
{
    for (const char *key : {"r", "g", "b"}) {
        const int component = entries.take<int>(key);
        if (component < 0 || component > 255)
            throw Refusal{QStringLiteral("%1 is %2").arg(entries.path(key)).arg(component), {}};
    }
    entries.done();
}

} // namespace

// Coefficients

Act load(Kind kind)
{
    return [kind](WallState &state, DeviceState *device, const Call &call) {
        const Planes &planes = targetCabinet(qAsConst(*device), call).planes(kind);
        const QSize size = planes.size();
        const QByteArray pixel = state.defaultPixel(kind, device->description);
        const QByteArray plane = planes.bytes(Store::Working, pixel);
        const int stride = size.width() * planes.bytesPerPixel();
        const int step = state.replyBlockHeight > 0 ? state.replyBlockHeight : size.height();
        List blocks;
        for (int y = 0; y < size.height(); y += step) {
            const int rows = qMin(step, size.height() - y);
            blocks += Map{{QStringLiteral("area.point.x"), 0},
                          {QStringLiteral("area.point.y"), y},
                          {QStringLiteral("area.size.width"), size.width()},
                          {QStringLiteral("area.size.height"), rows},
                          {QStringLiteral("coefficients"), Base64::encode(plane.mid(y * stride, rows * stride))}};
        }
        return withReply(blocks);
    };
}

Act upload(Kind kind)
{
    return [kind](WallState &state, DeviceState *device, const Call &call) {
        const QString id = cabinetId(*device, call.target);
        paste(state, *device, kind, block(*device, kind, id, only(call.request.toList(), "request"), "coefficients"),
              state.scratch.lock());
        return done();
    };
}

Act uploadMany(Kind kind)
{
    return [kind](WallState &state, DeviceState *device, const Call &call) {
        QVector<Block> blocks;
        const List elements = call.request.toList();
        for (const QVariant &element : elements) {
            Entries entries(element, QStringLiteral("element"));
            const QString id = cabinetId(*device, entries.any("cid"));
            blocks += block(*device, kind, id, only(entries.list("coefficientList"), "coefficientList"), "coefficient");
            entries.done();
        }
        QHash<QString, int> blocksLeft;
        for (const Block &each : qAsConst(blocks)) { // before the first plane changes
            device->cabinets[each.cabinetId].planes(kind).prepare(each.rect);
            ++blocksLeft[each.cabinetId];
        }
        // A later block of the cabinet may need the plane, so it stays in memory until then: reading a file could fail.
        const std::shared_ptr<Disk::Scratch> scratch = state.scratch.lock();
        for (const Block &each : qAsConst(blocks))
            paste(state, *device, kind, each, --blocksLeft[each.cabinetId] == 0 ? scratch : nullptr);
        return done();
    };
}

Act copy(Kind kind, Store from, Store to)
{
    return planesAct(kind, false, [=](Planes &planes) { planes.copy(from, to); });
}

Act clear(Kind kind)
{
    return planesAct(kind, false, [](Planes &planes) { planes.clear(); });
}

Act copyTyped(Store from, Store to)
{
    return planesAct(Kind::Chroma, true, [=](Planes &planes) { planes.copy(from, to); });
}

Act clearTyped(Store store)
{
    return planesAct(Kind::Chroma, true, [=](Planes &planes) { planes.clear(store); });
}

Answer saveSolid(WallState &, DeviceState *device, const Call &call)
{
    Entries entries(call.request);
    const List ids = entries.list("idList");
    const QVariant type = entries.any("type");
    entries.done();
    if (!(QMetaType(type.userType()).flags() & QMetaType::IsEnumeration) || type.toInt() < 0 || type.toInt() >= kindCount)
        throw Refusal{QStringLiteral("type is %1, which is not a kind of coefficients").arg(Json::describeValue(type, 64)),
                      {}};
    changePlanes(*device, static_cast<Kind>(type.toInt()), ids,
                 [](Planes &planes) { planes.copy(Store::Working, Store::User); });
    return done();
}

// Settings of devices

Act setting(Operation::Id operation)
{
    return [operation](WallState &, DeviceState *device, const Call &call) {
        Entries entries(call.request);
        DeviceSettings settings = device->settings;
        DeviceSettings::fields([&](const char *, auto member, Operation::Id setter, const char *key) {
            if (setter == operation)
                settings.*member = entries.take<std::decay_t<decltype(settings.*member)>>(key);
        });
        entries.done();
        device->settings = settings;
        return done();
    };
}

Answer setScreenEffectMode(WallState &, DeviceState *device, const Call &call)
{
    device->settings.effectMode = takeMode(call, "mode");
    for (CabinetState &cabinet : device->cabinets)
        cabinet.effectMode = device->settings.effectMode;
    return done();
}

Answer setScreenBrightness(WallState &, DeviceState *device, const Call &call)
{
    device->settings.brightness = checkedBrightness(*device, takeMode(call, "brightness"));
    for (CabinetState &cabinet : device->cabinets)
        cabinet.brightness = device->settings.brightness;
    return done();
}

Answer setScreenGamma(WallState &, DeviceState *device, const Call &call)
{
    return setGamma(device->settings.gamma, {Channel::Red, Channel::Green, Channel::Blue}, call);
}

Answer screenGamma(WallState &, DeviceState *device, const Call &)
{
    return gammaReply(device->settings.gamma, [](const QList<int> &table) {
        List values;
        for (const int value : table)
            values += value;
        return values;
    });
}

Answer setMultilayerParameter(WallState &, DeviceState *device, const Call &call)
{
    Entries entries(call.request);
    const QStringList ids = cabinetIds(*device, entries.list("cids"));
    Entries parameter = entries.map("param");
    for (const char *key : {"inLayer1", "inLayer2", "inLayer3", "inLayer4"})
        parameter.take<uint>(key);
    for (const char *key : {"inVldBitLayer01", "inVldBitLayer12", "inVldBitLayer23", "inVldBitLayer34"})
        parameter.take<int>(key);
    parameter.done();
    entries.done();
    for (const QString &id : ids)
        device->cabinets[id].multilayerParameter = call.request.toMap().value(QStringLiteral("param")).toMap();
    return done();
}

Answer setMultilayerParameters(WallState &, DeviceState *device, const Call &call)
{
    Entries entries(call.request);
    const QStringList ids = cabinetIds(*device, entries.list("cids"));
    const List layers = entries.list("multilayerParams");
    entries.done();
    for (const QVariant &layer : layers) {
        Entries parameter(layer, QStringLiteral("multilayerParams"));
        parameter.take<uint>("inLayer");
        parameter.take<int>("inVldBitLayer");
        parameter.done();
    }
    for (const QString &id : ids)
        device->cabinets[id].multilayerParameters = layers;
    return done();
}

Answer lock(WallState &, DeviceState *device, const Call &call)
{
    Entries entries(call.request);
    const QVariant owner = only(entries.list("appids"), "appids");
    entries.done();
    if (owner.userType() != QMetaType::QString)
        throw Refusal{QStringLiteral("appids holds %1, which is not a string").arg(Json::describeValue(owner, 64)), {}};
    device->lockOwner = owner.toString();
    return done();
}

Answer unlock(WallState &, DeviceState *device, const Call &call)
{
    Entries(call.request).done();
    device->lockOwner.clear();
    return done();
}

// Settings of cabinets

Answer setCabinetEffectMode(WallState &, DeviceState *device, const Call &call)
{
    targetCabinet(*device, call).effectMode = takeMode(call, "type");
    return done();
}

Answer cabinetEffectMode(WallState &, DeviceState *device, const Call &call)
{
    return withReply(Map{{QStringLiteral("mode"), targetCabinet(qAsConst(*device), call).effectMode}});
}

Answer setCabinetBrightness(WallState &, DeviceState *device, const Call &call)
{
    targetCabinet(*device, call).brightness = checkedBrightness(*device, takeMode(call, "value"));
    return done();
}

Answer brightnessRange(WallState &, DeviceState *device, const Call &call)
{
    cabinetId(*device, call.target);
    const Device &description = device->description;
    return withReply(Map{{QStringLiteral("brightness.min"), static_cast<uint>(description.brightnessMin)},
                         {QStringLiteral("brightness.max"), static_cast<uint>(description.brightnessMax)},
                         {QStringLiteral("brightness.default"), static_cast<uint>(description.brightnessDefault)}});
}

Answer setCabinetGamma(WallState &, DeviceState *device, const Call &call)
{
    return setGamma(targetCabinet(*device, call).gamma, {Channel::Red, Channel::Blue, Channel::Green}, call);
}

Answer cabinetGamma(WallState &, DeviceState *device, const Call &call)
{
    return gammaReply(targetCabinet(qAsConst(*device), call).gamma,
                      [](const QList<int> &table) { return QVariant::fromValue(table); });
}

Answer setConfigFile(WallState &, DeviceState *device, const Call &call)
{
    cabinetId(*device, call.target);
    Entries entries(call.request);
    const QStringList ids = cabinetIds(*device, entries.list("idList"));
    const QByteArray bytes = decoded(entries.take<QString>("config"), entries.path("config"));
    entries.done();
    for (const QString &id : ids)
        device->cabinets[id].configFile = bytes;
    return done();
}

Answer configFile(WallState &, DeviceState *device, const Call &call)
{
    return withReply(Map{{QStringLiteral("config"), Base64::encode(targetCabinet(qAsConst(*device), call).configFile)}});
}

Answer setCabinetFlag(WallState &, DeviceState *device, const Call &call)
{
    const QString id = cabinetId(*device, call.target);
    Entries entries(call.request);
    const QString flag = entries.take<QString>("flag");
    entries.done();
    device->describedCabinet(id)->flag = flag;
    return done();
}

Answer setCabinetFlags(WallState &, DeviceState *device, const Call &call)
{
    QMap<QString, QString> flags;
    const List elements = call.request.toList();
    for (const QVariant &element : elements) {
        Entries entries(element, QStringLiteral("element"));
        const QString id = cabinetId(*device, entries.any("id"));
        flags[id] = entries.take<QString>("flag");
        entries.done();
    }
    for (auto it = flags.cbegin(); it != flags.cend(); ++it)
        device->describedCabinet(it.key())->flag = it.value();
    return done();
}

Answer setModuleFlags(WallState &, DeviceState *device, const Call &call)
{
    QVector<QPair<Module *, QString>> flags;
    const List elements = call.request.toList();
    for (const QVariant &element : elements) {
        Entries entries(element, QStringLiteral("element"));
        const QString id = cabinetId(*device, entries.any("id"));
        const List modules = entries.list("moduleflags");
        entries.done();
        for (const QVariant &each : modules) {
            Entries moduleEntries(each, QStringLiteral("moduleflags"));
            const QString moduleId = moduleEntries.take<QString>("id");
            const QString flag = moduleEntries.take<QString>("flag");
            moduleEntries.done();
            Module *const module = device->describedModule(id, moduleId);
            if (!module) {
                throw Refusal{QStringLiteral("unknown module %1 of cabinet %2").arg(Json::describeText(moduleId, 64), id),
                              {}};
            }
            flags.append(qMakePair(module, flag));
        }
    }
    for (const auto &each : qAsConst(flags))
        each.first->flag = each.second;
    return done();
}

Answer flashCheckCodes(WallState &, DeviceState *device, const Call &call)
{
    const QString id = cabinetId(*device, call.target);
    Entries(call.request).done();
    const QMap<QString, int> codes = device->cabinets.constFind(id)->flashCheckCodes;
    const Cabinet &cabinet = *qAsConst(*device).describedCabinet(id);
    List cards;
    for (const ReceivingCard &card : cabinet.receivingCards) {
        List results;
        for (const Module &module : card.modules) {
            results += Map{{QStringLiteral("size.w"), module.rect.width()},
                           {QStringLiteral("size.h"), module.rect.height()},
                           {QStringLiteral("point.x"), module.rect.x()},
                           {QStringLiteral("point.y"), module.rect.y()},
                           {QStringLiteral("checkCode"), codes.value(module.id)}};
        }
        cards += Map{{QStringLiteral("rvcardId"), card.id.toInt()},
                     {QStringLiteral("outputId"), cabinet.outputId.toInt()},
                     {QStringLiteral("flashCheckResults"), results}};
    }
    return withReply(cards);
}

// Descriptions

Answer baseInfo(WallState &, DeviceState *device, const Call &)
{
    const Device &description = device->description;
    const Map features{
        {QStringLiteral("multilayercorrection"), description.multilayerCorrection},
        {QStringLiteral("multilayerCorrectionLayer"), static_cast<uint>(description.multilayerCorrectionLayers)},
        {QStringLiteral("fineGrayscale"), description.fineGrayscale},
        {QStringLiteral("xBitPlus"), description.xBitPlus},
        {QStringLiteral("magicGray"), description.magicGray}};
    return withReply(List{Map{{QStringLiteral("functionTable"), features}}});
}

Answer allCabinets(WallState &, DeviceState *device, const Call &)
{
    List cabinets;
    for (const SubScreen &subScreen : qAsConst(device->description.subScreens)) {
        for (const Cabinet &cabinet : subScreen.cabinets) {
            if (cabinet.listed)
                cabinets += Map{{QStringLiteral("id"), cabinet.id}, {QStringLiteral("outputID"), cabinet.outputId}};
        }
    }
    return withReply(cabinets);
}

Answer allFlags(WallState &, DeviceState *device, const Call &)
{
    const auto entry = [](const QString &id, const QString &flag) {
        return Map{{QStringLiteral("id"), id}, {QStringLiteral("flag"), flag}};
    };
    List cabinets;
    for (const SubScreen &subScreen : qAsConst(device->description.subScreens)) {
        for (const Cabinet &cabinet : subScreen.cabinets) {
            List cards;
            for (const ReceivingCard &card : cabinet.receivingCards) {
                List modules;
                for (const Module &module : card.modules)
                    modules += withRect(entry(module.id, module.flag), module.rect);
                Map cardMap = withRect(entry(card.id, card.flag), card.rect);
                cardMap[QStringLiteral("moduleflags")] = modules;
                cards += cardMap;
            }
            Map cabinetMap = entry(cabinet.id, cabinet.flag);
            cabinetMap[QStringLiteral("recvcardflags")] = cards;
            cabinets += cabinetMap;
        }
    }
    return withReply(cabinets);
}

Answer screens(WallState &, DeviceState *device, const Call &)
{
    const auto place = [](Map map, const QPoint &position) {
        map[QStringLiteral("position.x")] = position.x();
        map[QStringLiteral("position.y")] = position.y();
        return map;
    };
    const Device &description = device->description;
    List subScreens;
    for (const SubScreen &subScreen : description.subScreens) {
        List cabinets;
        for (const Cabinet &cabinet : subScreen.cabinets) {
            if (!cabinet.placed)
                continue;
            cabinets += place({{QStringLiteral("cabinetID"), cabinet.id},
                               {QStringLiteral("outputID"), cabinet.outputId},
                               {QStringLiteral("size.width"), cabinet.size.width()},
                               {QStringLiteral("size.height"), cabinet.size.height()}},
                              cabinet.position);
        }
        subScreens += place({{QStringLiteral("cabinets"), cabinets}}, subScreen.position);
    }
    return withReply(place({{QStringLiteral("screenUUID"), description.screenId},
                            {QStringLiteral("screenName"), description.screenName},
                            {QStringLiteral("expendInfo.isAllowSingleDev"), description.useScreenName},
                            {QStringLiteral("subScreens"), subScreens}},
                           description.screenPosition));
}

Answer hardware(WallState &, DeviceState *device, const Call &)
{
    return withReply(Map{{QStringLiteral("customName"), device->description.customName}});
}

// Test images

Answer setPixelImage(WallState &, DeviceState *device, const Call &call)
{
    Entries entries(call.request);
    entries.takeRect("regionrect");
    entries.takeRect("singlerect");
    checkColor(entries.map("color"));
    entries.take<int>("intervalX");
    entries.take<int>("intervalY");
    entries.done();
    device->pattern = {Pattern::Pixels, call.request.toMap()};
    return done();
}

Answer setPixelImageMode(WallState &, DeviceState *device, const Call &call)
{
    device->imageMode = takeMode(call, "mode");
    return done();
}

Answer setCheckerboard(WallState &, DeviceState *device, const Call &call)
{
    if (!device->description.checkerboardSupported)
        throw Refusal{QStringLiteral("no checkerboard on this device"), {}};
    Entries entries(call.request);
    entries.takeRect("regionRect");
    for (const char *key : {"firstSquareW", "firstSquareH", "squareW", "squareH", "lastSquareColumnW", "lastSquareRowH"}) {
        if (entries.take<int>(key) <= 0)
            throw Refusal{QStringLiteral("%1 is not positive").arg(entries.path(key)), {}};
    }
    const List colors = entries.list("regionColor");
    entries.done();
    if (colors.isEmpty())
        throw Refusal{QStringLiteral("regionColor is empty"), {}};
    for (const QVariant &color : colors)
        checkColor(Entries(color, QStringLiteral("regionColor")));
    device->pattern = {Pattern::Checkers, call.request.toMap()};
    return done();
}

Answer askCheckerboard(WallState &state, DeviceState *device, const Call &call)
{
    const auto headers = [](const char *status) {
        QMap<QString, QString> map = okHeaders();
        map[QStringLiteral("HttpResponse_StateCode")] = QString::fromLatin1(status);
        return map;
    };
    if (!device->description.checkerboardSupported)
        throw Refusal{QStringLiteral("no checkerboard on this device"), headers("404")};
    if (!call.request.toMap().isEmpty()) {
        try {
            setCheckerboard(state, device, call);
        } catch (const Refusal &refusal) {
            throw Refusal{refusal.reason, headers("400")};
        }
    }
    return {true, Map(), headers("200")};
}

Answer clearImage(WallState &, DeviceState *device, const Call &call)
{
    Entries(call.request).done();
    device->pattern = {Pattern::Clear, {}};
    return done();
}

// Discovery

Answer initialize(WallState &state, DeviceState *, const Call &call)
{
    state.discovering = call.extra.toBool();
    return {true, {}, {}};
}

Answer deviceList(WallState &state, DeviceState *, const Call &)
{
    List devices;
    for (const DeviceState &device : qAsConst(state.devices)) {
        if (!device.plugged)
            continue;
        devices += Map{{QStringLiteral("key"), device.description.key}, {QStringLiteral("label"), device.description.label}};
    }
    return withReply(devices);
}

} // namespace Simulator::Acts
