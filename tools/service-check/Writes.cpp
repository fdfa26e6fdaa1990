// Operations that change a device. The change is undone at once where the old state can be read.

#include "Check.h"

#include <Correction/Enumerations.h>

#include <QtCore/QRect>

#include <algorithm>
#include <functional>

namespace ServiceCheck {

/// A change of a readable value.
struct ChangeRequest {
    QVariant request;
    QVector<QVariant> undo; ///< The requests that put the old state back.
    /// Reads the value back and compares it. Null when any result is valid.
    std::function<QVariant(const QVariant &reply)> part;
    QVariant expected;
};

/// An operation that changes what another one reads.
struct Probe {
    Operation::Id write;
    Operation::Id read;
    Operation::Id undo;
    /// The changes to try, from what was read; empty where there is nothing to write back.
    std::function<QVector<ChangeRequest>(const QVariant &reply)> changes;
};

namespace {

QVariantMap map(const char *key, const QVariant &value)
{
    return {{QLatin1String(key), value}};
}

QVariantMap rectangle(const QRect &rect)
{
    return {{QStringLiteral("x"), rect.x()},
            {QStringLiteral("y"), rect.y()},
            {QStringLiteral("width"), rect.width()},
            {QStringLiteral("height"), rect.height()}};
}

/// How coefficients travel: the request for one block, for a cabinet or for many.
QVariant uploadRequest(bool isForMany, const QString &id, const QRect &rect, const QByteArray &bytes)
{
    QVariantMap block = map(isForMany ? "coefficient" : "coefficients", QString::fromLatin1(bytes.toBase64()));
    block.insert(
        QStringLiteral("area"),
        QVariantMap{{QStringLiteral("point"), QVariantMap{{QStringLiteral("x"), rect.x()}, {QStringLiteral("y"), rect.y()}}},
                    {QStringLiteral("size"),
                     QVariantMap{{QStringLiteral("height"), rect.height()}, {QStringLiteral("width"), rect.width()}}}});
    if (!isForMany)
        return QVariantList{block};
    return QVariantList{
        QVariantMap{{QStringLiteral("cid"), id.toLongLong()}, {QStringLiteral("coefficientList"), QVariantList{block}}}};
}

QRect rectOf(const QVariantMap &block)
{
    return {block.value(QStringLiteral("area.point.x")).toInt(), block.value(QStringLiteral("area.point.y")).toInt(),
            block.value(QStringLiteral("area.size.width")).toInt(), block.value(QStringLiteral("area.size.height")).toInt()};
}

QByteArray bytesOf(const QVariantMap &block)
{
    return QByteArray::fromBase64(block.value(QStringLiteral("coefficients")).toString().toUtf8());
}

/// The first pixel of the first block, or empty.
QByteArray firstPixel(const QVariant &reply)
{
    const QVariantMap block = reply.toList().value(0).toMap();
    const QRect rect = rectOf(block);
    const QByteArray bytes = bytesOf(block);
    return rect.isEmpty() ? QByteArray() : bytes.left(bytes.size() / (rect.width() * rect.height()));
}

Probe uploadProbe(Operation::Id write, Operation::Id read, const QString &id)
{
    const bool isForMany = Adapter::operations()[write].address == Adapter::Address::Device;
    return {write, read, write, [=](const QVariant &reply) -> QVector<ChangeRequest> {
                const QByteArray pixel = firstPixel(reply);
                if (pixel.isEmpty())
                    return {};
                QByteArray changed = pixel;
                changed[0] = char(changed.at(0) ^ 1);
                const QRect rect(rectOf(reply.toList().value(0).toMap()).topLeft(), QSize(1, 1));
                return {{uploadRequest(isForMany, id, rect, changed),
                         {uploadRequest(isForMany, id, rect, pixel)},
                         [](const QVariant &now) { return QString::fromLatin1(firstPixel(now).toBase64()); },
                         QString::fromLatin1(changed.toBase64())}};
            }};
}

/// Shows stored coefficients; undone by an upload of those that were shown before.
Probe showProbe(Operation::Id write, const QString &id, const QVariantMap &request)
{
    return {write, Operation::Correctionop_loadCoefficient, Operation::Correctionop_uploadCoefficient,
            [=](const QVariant &reply) -> QVector<ChangeRequest> {
                ChangeRequest change{request, {}, nullptr, {}};
                const QVariantList blocks = reply.toList();
                for (const QVariant &block : blocks)
                    change.undo += uploadRequest(false, id, rectOf(block.toMap()), bytesOf(block.toMap()));
                return {change};
            }};
}

/// `keys`: of the reply, in the order of the channel numbers of the request.
Probe gammaProbe(Operation::Id write, Operation::Id read, const QStringList &keys)
{
    return {write, read, write, [=](const QVariant &reply) {
                QVector<ChangeRequest> changes;
                for (int type = 0; type < keys.size(); ++type) {
                    const QString key = keys[type];
                    const auto table = [key](const QVariant &any) {
                        QList<int> values;
                        const QVariant curve = any.toMap().value(key); // the iterable refers to it
                        for (const QVariant &value : curve.value<QSequentialIterable>())
                            values += value.toInt();
                        return QVariant::fromValue(values);
                    };
                    const auto request = [type](const QVariant &values) {
                        return QVariantMap{{QStringLiteral("type"), type}, {QStringLiteral("gammaTable"), values}};
                    };
                    QList<int> changed = table(reply).value<QList<int>>();
                    if (changed.isEmpty())
                        continue;
                    changed.last() += changed.last() > 0 ? -1 : 1;
                    const QVariant expected = QVariant::fromValue(changed);
                    changes.append({request(expected), {request(table(reply))}, table, expected});
                }
                return changes;
            }};
}

/// Writes what was read: other values may not suit the device.
Probe sameValueProbe(Operation::Id write, Operation::Id read, const char *key,
                     const std::function<QVariantMap(QVariant)> &request)
{
    return {write, read, write, [=](const QVariant &reply) -> QVector<ChangeRequest> {
                const auto part = [key](const QVariant &now) { return now.toMap().value(QLatin1String(key)); };
                const QVariant value = part(reply);
                if (value.toString().isEmpty())
                    return {};
                return {{request(value), {request(value)}, part, value}};
            }};
}

QVariantMap cabinetIn(const QVariant &flags, const QString &id)
{
    const QVariantList cabinets = flags.toList();
    for (const QVariant &cabinet : cabinets) {
        if (cabinet.toMap().value(QStringLiteral("id")).toString() == id)
            return cabinet.toMap();
    }
    return {};
}

/// The first module of a cabinet's flags, or empty.
QVariantMap moduleIn(const QVariantMap &cabinet)
{
    const QVariantList cards = cabinet.value(QStringLiteral("recvcardflags")).toList();
    for (const QVariant &card : cards) {
        const QVariantList modules = card.toMap().value(QStringLiteral("moduleflags")).toList();
        if (!modules.isEmpty())
            return modules.first().toMap();
    }
    return {};
}

/// `holder` finds the map with the flag in a cabinet's flags.
Probe flagProbe(Operation::Id write, const QString &id, const std::function<QVariantMap(QVariantMap)> &holder,
                const std::function<QVariant(const QVariantMap &holder, const QString &flag)> &request)
{
    return {
        write, Operation::CabinetInfoOperator_getCabAllFlags, write, [=](const QVariant &reply) -> QVector<ChangeRequest> {
            const QVariantMap before = holder(cabinetIn(reply, id));
            if (before.isEmpty())
                return {};
            const QString flag = before.value(QStringLiteral("flag")).toString();
            const QString changed = flag == QLatin1String("1") ? QStringLiteral("2") : QStringLiteral("1");
            const auto part = [=](const QVariant &now) { return holder(cabinetIn(now, id)).value(QStringLiteral("flag")); };
            return {{request(before, changed), {request(before, flag)}, part, changed}};
        }};
}

/// Starts with uploads of chroma coefficients: they also undo the last ones.
QVector<Probe> probesOf(const Device &device, const Cabinet &cabinet)
{
    const QString id = cabinet.id;
    const QVariantList numbers{id.toULongLong()};
    const auto itself = [](const QVariantMap &map) { return map; };
    QVector<Probe> probes{
        uploadProbe(Operation::Correctionop_uploadCoefficient, Operation::Correctionop_loadCoefficient, id),
        uploadProbe(Operation::Correctionop_uploadCoefficientAsync, Operation::Correctionop_loadCoefficient, id),
        sameValueProbe(Operation::Correctionop_setCabinetEffectMode, Operation::Correctionop_getCabinetEffectMode, "mode",
                       [](const QVariant &mode) { return map("type", mode.toInt()); }),
        gammaProbe(Operation::CabinetInfoOperator_setCabinetGammaCustomValue,
                   Operation::CabinetInfoOperator_getCabinetGammaCustomValue,
                   {QStringLiteral("redGamma"), QStringLiteral("blueGamma"), QStringLiteral("greenGamma")}),
        gammaProbe(Operation::ScreenInfo_setGammaTable, Operation::ScreenInfo_getGammaAllList,
                   {QStringLiteral("redGamma"), QStringLiteral("greenGamma"), QStringLiteral("blueGamma")}),
        sameValueProbe(Operation::CabinetInfoOperator_setSingleConfigFile, Operation::CabinetInfoOperator_getConfigFile,
                       "config",
                       [numbers](const QVariant &config) {
                           return QVariantMap{{QStringLiteral("idList"), numbers}, {QStringLiteral("config"), config}};
                       }),
        flagProbe(Operation::CabinetInfoOperator_setCabinetFlag, id, itself,
                  [](const QVariantMap &, const QString &flag) { return map("flag", flag); }),
        flagProbe(
            Operation::CabinetInfoOperator_setCabinetSnflags, id, itself,
            [id](const QVariantMap &, const QString &flag) {
                return QVariantList{QVariantMap{{QStringLiteral("id"), id.toULongLong()}, {QStringLiteral("flag"), flag}}};
            }),
        flagProbe(Operation::CabinetInfoOperator_setModuleflags, id, moduleIn,
                  [id](const QVariantMap &module, const QString &flag) {
                      const QVariantMap one{{QStringLiteral("id"), module.value(QStringLiteral("id")).toString()},
                                            {QStringLiteral("flag"), flag}};
                      return QVariantList{QVariantMap{{QStringLiteral("id"), id.toULongLong()},
                                                      {QStringLiteral("moduleflags"), QVariantList{one}}}};
                  }),
    };
    if (device.hasMultilayer) {
        for (const auto write :
             {Operation::Correctionop_uploadMultilayerCoefficient, Operation::Correctionop_uploadMultilayerCoefficientAsync})
            probes += uploadProbe(write, Operation::Correctionop_loadMultilayerCoefficient, id);
    }
    for (const auto show :
         {Operation::Correctionop_showCabinetsCoefficient, Operation::Correctionop_showCabinetsFactoryCoefficient,
          Operation::Correctionop_showCabinetsModuleCoefficient})
        probes += showProbe(show, id, map("cids", QVariantList{id}));
    probes += showProbe(Operation::CabinetInfoOperator_reloadModuleCoefficient, id,
                        {{QStringLiteral("cids"), numbers}, {QStringLiteral("type"), 1}});
    return probes;
}

struct Request {
    Operation::Id operation;
    QVariant request;
};

bool hasOnlyScalars(Adapter::Fields fields)
{
    return std::all_of(fields.begin(), fields.end(), [](const Adapter::Field &field) {
        return field.type == Adapter::Type::Int || field.type == Adapter::Type::Bool;
    });
}

QVariantMap zerosOf(Adapter::Fields fields)
{
    QVariantMap zeros;
    for (const Adapter::Field &field : fields)
        zeros.insert(QLatin1String(field.key), field.type == Adapter::Type::Bool ? QVariant(false) : QVariant(0));
    return zeros;
}

/// The operations whose old state cannot be read, in an order in which each has something to work on.
QVector<Request> unrestoredRequests(const Cabinet &cabinet, int brightness)
{
    const qlonglong id = cabinet.id.toLongLong();
    const QVariantList ids{id};
    const QVariantMap cids = map("cids", ids);
    const QVariantMap flash{{QStringLiteral("cids"), QVariantList{cabinet.id.toULongLong()}}, {QStringLiteral("type"), 1}};
    const QVariantMap red{{QStringLiteral("r"), 255}, {QStringLiteral("g"), 0}, {QStringLiteral("b"), 0}};
    const QVariantMap whole = rectangle(QRect(QPoint(0, 0), cabinet.size));
    const QRect pixel(0, 0, 1, 1);
    const QByteArray pixelBytes(18, '\0');

    QVariantMap limits;
    for (const char *key : {"inLayer1", "inLayer2", "inLayer3", "inLayer4"})
        limits.insert(QLatin1String(key), 0u);
    for (const char *key : {"inVldBitLayer01", "inVldBitLayer12", "inVldBitLayer23", "inVldBitLayer34"})
        limits.insert(QLatin1String(key), 0);
    const QVariantMap layer{{QStringLiteral("inLayer"), 0u}, {QStringLiteral("inVldBitLayer"), 0}};
    QVariantMap checkerboard{{QStringLiteral("regionRect"), whole}, {QStringLiteral("regionColor"), QVariantList{red}}};
    for (const char *key : {"firstSquareW", "firstSquareH", "squareW", "squareH", "lastSquareColumnW", "lastSquareRowH"})
        checkerboard.insert(QLatin1String(key), 1);

    QVector<Request> requests{
        {Operation::ScreenInfo_setPixelImageMode, map("mode", 0)},
        {Operation::ScreenInfo_setPixelImage, QVariantMap{{QStringLiteral("regionrect"), whole},
                                                          {QStringLiteral("singlerect"), rectangle(pixel)},
                                                          {QStringLiteral("color"), red},
                                                          {QStringLiteral("intervalX"), 1},
                                                          {QStringLiteral("intervalY"), 1}}},
        {Operation::ScreenInfo_setCheckerBoardImage, checkerboard},
        {Operation::ScreenInfo_setCorrectClearImage, QVariantMap()},
        {Operation::ScreenInfo_setBrightness, map("brightness", brightness)},
        {Operation::CabinetInfoOperator_setCabSingleBrightness, map("value", brightness)},
        {Operation::Correctionop_setCabinetsMultilayerParameter,
         QVariantMap{{QStringLiteral("cids"), ids}, {QStringLiteral("param"), limits}}},
        {Operation::Correctionop_setCabinetsMultilayerParameterV2,
         QVariantMap{{QStringLiteral("cids"), ids}, {QStringLiteral("multilayerParams"), QVariantList{layer}}}},
        {Operation::Correctionop_uploadLowgrayCoefficient, uploadRequest(false, cabinet.id, pixel, pixelBytes)},
        {Operation::Correctionop_uploadLowGrayCoefficientAsync, uploadRequest(true, cabinet.id, pixel, pixelBytes)},
        {Operation::Correctionop_saveCabinetsCoeffcient, cids},
        {Operation::Correctionop_saveCabinetsMultilayerCoeffcient, cids},
        {Operation::Correctionop_saveCabinetsLowgrayCoeffcient, cids},
        {Operation::Correctionop_applyCabinetsLowgrayCoeffcient, cids},
        {Operation::Correctionop_setMutiCabinetSolid,
         QVariantMap{{QStringLiteral("idList"), ids},
                     {QStringLiteral("type"), QVariant::fromValue(Correction::enSaveCommonCoefficient)}}},
        {Operation::Correctionop_saveCabinetsFactoryCoefficient, cids},
        {Operation::Correctionop_saveCabinetsModuleCoefficient, cids},
        {Operation::CabinetInfoOperator_saveModuleCoefficient, flash},
        {Operation::CabinetInfoOperator_clearModuleCoefficient, flash},
        {Operation::Correctionop_clearCabinetsUserCoefficient, cids},
        {Operation::Correctionop_clearCabinetsMultilayerCoefficient, cids},
        {Operation::Correctionop_clearCabinetsLowgrayCoefficient, cids},
    };
    // Settings of the device that are numbers and switches alone: 0 and off.
    for (const Operation &operation : Adapter::operations()) {
        if (operation.address == Adapter::Address::Screen && operation.effect == Adapter::Effect::Changes
            && operation.id != Operation::ScreenInfo_setBrightness && hasOnlyScalars(operation.requestFields))
            requests.insert(4, {operation.id, zerosOf(operation.requestFields)});
    }
    return requests;
}

QString targetOf(Operation::Id operation, const Cabinet &cabinet)
{
    switch (Adapter::operations()[operation].address) {
    case Adapter::Address::Cabinet:
        return cabinet.id;
    case Adapter::Address::Screen:
        return QStringLiteral("255"); // the selector of a device's settings
    case Adapter::Address::Device:
    case Adapter::Address::Wall:
        break;
    }
    return {};
}

} // namespace

bool isUnrestored(Operation::Id operation)
{
    const QVector<Request> all = unrestoredRequests({}, 0);
    return std::any_of(all.begin(), all.end(), [operation](const Request &each) { return each.operation == operation; });
}

void Check::write(const Device &device)
{
    const QVariantMap owner = map("appids", QVariantList{QStringLiteral("service-check")});
    const Exchange lock = ask(Operation::HWInfo_lock, device.key, {}, owner);
    lock.finish(m_report);
    if (!lock.isGood()) {
        skip(Operation::HWInfo_unLock, device.key, QStringLiteral("was not locked; nothing was written to this device"));
        return;
    }
    bool canUpload = false;
    const QVector<Probe> probes = probesOf(device, device.cabinets.first());
    for (const Probe &probe : probes) {
        if (probe.undo == Operation::Correctionop_uploadCoefficient && probe.undo != probe.write && !canUpload) {
            skip(probe.write, device.key, QStringLiteral("could not be undone, for uploadCoefficient is not in order"));
            continue;
        }
        const bool isGood = tryChanges(device, probe);
        if (probe.write == Operation::Correctionop_uploadCoefficient)
            canUpload = isGood;
    }
    if (m_options.unrestored)
        writeUnrestored(device);
    ask(Operation::HWInfo_unLock, device.key, {}, QVariantMap()).finish(m_report);
}

/// Returns whether all steps were tried without a finding.
bool Check::tryChanges(const Device &device, const Probe &probe)
{
    const Cabinet &cabinet = device.cabinets.first();
    const QString reader = Adapter::operations()[probe.read].name;
    const Exchange before = readState(probe.read, device, cabinet);
    if (!before.isGood()) {
        skip(probe.write, device.key, QStringLiteral("could not be undone, for %1 is not in order").arg(reader));
        return false;
    }
    const QVector<ChangeRequest> changes = probe.changes(before.reply());
    if (changes.isEmpty())
        skip(probe.write, device.key, QStringLiteral("%1 returns nothing that could be written back").arg(reader));
    bool isGood = !changes.isEmpty();
    for (const ChangeRequest &change : changes) {
        Exchange written = ask(probe.write, device.key, targetOf(probe.write, cabinet), change.request);
        const Exchange now = readState(probe.read, device, cabinet);
        if (written.isGood() && now.isGood() && change.part && toJson(change.part(now.reply())) != toJson(change.expected)) {
            written.bad(Finding::NotKept,
                        QStringLiteral("%1 then returns %2, not %3")
                            .arg(reader, shortText(change.part(now.reply()), 60), shortText(change.expected, 60)));
        }
        if (!now.isGood() || toJson(now.reply()) != toJson(before.reply())) {
            for (const QVariant &undo : change.undo)
                ask(probe.undo, device.key, targetOf(probe.undo, cabinet), undo);
            const Exchange after = readState(probe.read, device, cabinet);
            if (!after.isGood() || toJson(after.reply()) != toJson(before.reply()))
                written.bad(Finding::NotRestored,
                            QStringLiteral("%1 does not return the old values after they were written again").arg(reader));
        }
        written.finish(m_report, QStringLiteral("undone"));
        isGood = isGood && written.isGood();
    }
    return isGood;
}

void Check::writeUnrestored(const Device &device)
{
    const Cabinet &cabinet = device.cabinets.first();
    const Exchange range = readState(Operation::CabinetInfoOperator_getCabinetBrightnessRange, device, cabinet);
    const int brightness = range.reply().toMap().value(QStringLiteral("brightness.default")).toInt();
    const QVector<Request> requests = unrestoredRequests(cabinet, brightness);
    for (const Request &each : requests) {
        if (each.operation == Operation::ScreenInfo_setCheckerBoardImage && !device.hasCheckerboard)
            skip(each.operation, device.key, QStringLiteral("the device has no checkerboard"));
        else
            ask(each.operation, device.key, targetOf(each.operation, cabinet), each.request).finish(m_report);
    }
}

} // namespace ServiceCheck
