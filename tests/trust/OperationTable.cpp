#include "OperationTable.h"

#include <adapter/Operations.h>

#include <Correction/CabinetManager.h>
#include <Correction/LowGrayCoefficient.h>
#include <Correction/ScreenReader.h>

#include <QtCore/QFile>
#include <QtCore/QSet>
#include <QtCore/QTimer>

#include <algorithm>
#include <new>
#include <stdexcept>
#include <string>

namespace Trust {
namespace {

using Map = QVariantMap;
using List = QVariantList;
using Headers = QMap<QString, QString>;

const QRect wholeScreen(0, 0, 8, 1);
const QRect wholeSubScreen(0, 0, 4, 1); ///< of the first device
const QString headersQuery = QStringLiteral("ScreenInfo::setCheckerBoardImage(responseHeader)");
const QString deviceList = QStringLiteral("HttpProxy::getDeviceList");
const QMap<EnumGammaType, QList<int>> sentGamma{{enRedGamma, {1}}, {enGreenGamma, {2}}, {enBlueGamma, {3}}};
const QString initialization = QStringLiteral("HttpProxy::initialize");

Map cards(const QString &id)
{
    const Map module{{text("id"), text("m")}, {text("flag"), text("f")}, {text("x"), 1},
                     {text("y"), 2},          {text("width"), 16},       {text("height"), 8}};
    Map card = module;
    card.insert(text("width"), 128);
    card.insert(text("height"), 64);
    card.insert(text("moduleflags"), List{module});
    return {{text("id"), id}, {text("flag"), QString(text("flag of ") + id)}, {text("recvcardflags"), List{card}}};
}

Map screenOf(const QString &device)
{
    List cabinets;
    for (const QString &id : cabinetsOf(device)) {
        cabinets.append(Map{{text("cabinetID"), id},
                            {text("outputID"), text("1")},
                            {text("position.x"), 2 * cabinets.size()},
                            {text("position.y"), 0},
                            {text("size.width"), 2},
                            {text("size.height"), 1}});
    }
    const int x = device == deviceKeys[0] ? 0 : 4;
    const Map part{{text("position.x"), 0}, {text("position.y"), 0}, {text("cabinets"), cabinets}};
    return {{text("screenUUID"), text("s")},
            {text("screenName"), QString(text("screen of ") + device)},
            {text("expendInfo.isAllowSingleDev"), device != deviceKeys[0]},
            {text("position.x"), x},
            {text("position.y"), 0},
            {text("subScreens"), List{part}}};
}

QString base64Of(int value, int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(char(value)).append('\0');
    return QString::fromLatin1(bytes.toBase64());
}

template <class Curve>
Map gammaOf(int first)
{
    const auto curve = [first](int value) {
        Curve values;
        values.append(first + value);
        values.append(first + value + 1);
        return QVariant::fromValue(values);
    };
    return {{text("redGamma"), curve(1)}, {text("greenGamma"), curve(3)}, {text("blueGamma"), curve(5)}};
}

/// The reply of a device without faults. Values differ by device and cabinet.
QVariant makeReply(const QString &operation, const QString &device, const QString &target)
{
    const int cabinet = target.toInt();
    const int first = device == deviceKeys[0] ? 0 : 10;
    if (operation.startsWith(text("Correctionop::load"))) {
        return List{Map{{text("area.point.x"), 0},
                        {text("area.point.y"), 0},
                        {text("area.size.width"), 2},
                        {text("area.size.height"), 1},
                        {text("coefficients"), base64Of(cabinet, 18)}}};
    }
    if (operation == text("Correctionop::getCabinetEffectMode"))
        return Map{{text("mode"), 10 * cabinet}};
    if (operation == text("Correctionop::getFlashCheckCode")) {
        const Map module{
            {text("size.w"), 64}, {text("size.h"), 32}, {text("point.x"), 1}, {text("point.y"), 2}, {text("checkCode"), 0}};
        return List{Map{{text("rvcardId"), 7}, {text("outputId"), 8}, {text("flashCheckResults"), List{module}}}};
    }
    if (operation == text("CabinetInfoOperator::getCabinetBrightnessRange")) {
        return Map{
            {text("brightness.min"), uint(cabinet)}, {text("brightness.max"), 90u}, {text("brightness.default"), 50u}};
    }
    if (operation == text("CabinetInfoOperator::getCabinetGammaCustomValue"))
        return gammaOf<QList<int>>(first);
    if (operation == text("CabinetInfoOperator::getConfigFile"))
        return Map{{text("config"), QString::fromLatin1(QByteArray("of the device").toBase64())}};
    if (operation == text("CabinetInfoOperator::getCabinetsBaseInfo")) {
        const Map table{{text("multilayercorrection"), true},
                        {text("multilayerCorrectionLayer"), uint(first + 3)},
                        {text("fineGrayscale"), true},
                        {text("xBitPlus"), true},
                        {text("magicGray"), true}};
        return List{Map{{text("functionTable"), table}}};
    }
    if (operation == text("CabinetInfoOperator::getAllCabinetsInfo")) {
        List reply;
        for (const QString &id : cabinetsOf(device))
            reply.append(Map{{text("id"), id}, {text("outputID"), text("1")}});
        return reply;
    }
    if (operation == text("CabinetInfoOperator::getCabAllFlags")) {
        List reply;
        for (const QString &id : cabinetsOf(device))
            reply.append(cards(id));
        return reply;
    }
    if (operation == text("ScreenInfo::getScreens"))
        return screenOf(device);
    if (operation == text("ScreenInfo::getGammaAllList"))
        return gammaOf<List>(first);
    if (operation == text("HWInfo::getHWInfo"))
        return Map{{text("customName"), QString(text("named ") + device)}};
    return Map{{text("note"), 1}};
}

/// The calls of an operation: "Correctionop::loadCoefficient A 1".
QString callText(const QString &operation, const QString &device, const QString &target)
{
    return QStringList{operation, device, target}.join(QLatin1Char(' ')).trimmed();
}

/// Made once: a QMap of a braced list leaks when memory runs out.
QVariant healthyReply(const QString &operation, const QString &device, const QString &target)
{
    static QMap<QString, QVariant> replies;
    const QString call = callText(operation, device, target);
    if (!replies.contains(call))
        replies.insert(call, makeReply(operation, device, target));
    return replies.value(call);
}

bool isContainer(const QVariant &value)
{
    return value.userType() == QMetaType::QVariantMap || value.userType() == QMetaType::QVariantList;
}

/// The same containers with a map in place of every other value.
QVariant bare(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantMap) {
        Map map = value.toMap();
        for (QVariant &entry : map)
            entry = bare(entry);
        return map;
    }
    if (value.userType() == QMetaType::QVariantList) {
        List list = value.toList();
        for (QVariant &entry : list)
            entry = bare(entry);
        return list;
    }
    return Map{{text("wrong"), 1}};
}

/// A string in place of every element of a list, and of every container in a map.
QVariant flat(const QVariant &reply)
{
    const QVariant wrong = text("wrong");
    if (reply.userType() == QMetaType::QVariantList) {
        List list = reply.toList();
        for (QVariant &entry : list)
            entry = wrong;
        return list;
    }
    Map map = reply.toMap();
    for (QVariant &entry : map) {
        if (isContainer(entry))
            entry = wrong;
    }
    return map;
}

bool hasContainers(const QString &operation)
{
    const QVariant reply = healthyReply(operation, deviceKeys[0], cabinetsOf(deviceKeys[0])[0]);
    if (reply.userType() == QMetaType::QVariantList)
        return true;
    const Map map = reply.toMap();
    return std::any_of(map.cbegin(), map.cend(), isContainer);
}

/// Whether a call of the operation can fail in this way.
bool applies(Kind kind, const QString &operation)
{
    const Adapter::Operation &row = *Adapter::findOperation(operation);
    const bool hasReply = row.reply == Adapter::Form::Map || row.reply == Adapter::Form::List;
    switch (kind) {
    case Kind::None:
        return false;
    case Kind::Throws:
    case Kind::ThrowsNumber:
    case Kind::Exhausted:
        return true;
    case Kind::False:
        return operation != initialization;
    case Kind::FalseWithReply:
    case Kind::Empty:
    case Kind::OtherForm:
        return hasReply;
    case Kind::Bare:
        return hasReply && !row.replyFields.isEmpty();
    case Kind::Flat:
        return hasReply && !row.replyFields.isEmpty() && hasContainers(operation);
    case Kind::Rejected:
    case Kind::RejectedNumber:
    case Kind::RejectedLater:
    case Kind::FalseLater:
        return row.reply == Adapter::Form::Promise;
    }
    return false;
}

} // namespace

const QVector<QPair<Kind, QString>> kinds{
    {Kind::False, text("false")},
    {Kind::FalseWithReply, text("false with a reply")},
    {Kind::Throws, text("throws")},
    {Kind::ThrowsNumber, text("throws a number")},
    {Kind::Exhausted, text("throws std::bad_alloc")},
    {Kind::Empty, text("an empty reply")},
    {Kind::OtherForm, text("a string as the reply")},
    {Kind::Bare, text("maps as values")},
    {Kind::Flat, text("strings as containers")},
    {Kind::Rejected, text("rejects")},
    {Kind::RejectedNumber, text("rejects with a number")},
    {Kind::RejectedLater, text("rejects later")},
    {Kind::FalseLater, text("false later")},
};

QStringList cabinetsOf(const QString &device)
{
    return device == deviceKeys[0] ? QStringList{QStringLiteral("1"), QStringLiteral("2")}
                                   : QStringList{QStringLiteral("3"), QStringLiteral("4")};
}

bool Fault::hits(int position, const QString &operation) const
{
    return (lasting ? position >= first : position == first) && applies(kind, operation);
}

void FaultyBackend::initialize(bool)
{
    isFaulty(initialization, QString(), QString());
}

QList<Adapter::DeviceInfo> FaultyBackend::devices()
{
    if (isFaulty(deviceList, QString(), QString()))
        return {};
    QList<Adapter::DeviceInfo> list;
    for (const QString &key : deviceKeys)
        list.append({key, QString(text("label ") + key)});
    return list;
}

Adapter::Answer FaultyBackend::answer(const Adapter::Call &call)
{
    const bool faulty = isFaulty(call.operation, call.deviceKey, call.target);
    Adapter::Answer answer;
    answer.reply = healthyReply(call.operation, call.deviceKey, call.target);
    static const Headers headers{{text("HttpResponse_StateCode"), text("200")}, {text("Server"), text("x")}};
    if (call.operation == headersQuery)
        answer.headers = headers;
    if (!faulty)
        return answer;
    if (fault.kind == Kind::False)
        return {false, {}, {}};
    if (fault.kind == Kind::Empty)
        return {};
    if (fault.kind == Kind::FalseWithReply)
        answer.result = false;
    else if (fault.kind == Kind::OtherForm)
        answer.reply = text("wrong");
    else if (fault.kind == Kind::Bare)
        answer.reply = bare(answer.reply);
    else
        answer.reply = flat(answer.reply);
    return answer;
}

QtPromise::QPromise<bool> FaultyBackend::upload(const Adapter::Call &call)
{
    using Promise = QtPromise::QPromise<bool>;
    const Kind kind = isFaulty(call.operation, call.deviceKey, call.target) ? fault.kind : Kind::None;
    if (kind == Kind::Rejected)
        return Promise::reject(std::runtime_error("no network"));
    if (kind == Kind::RejectedNumber)
        return Promise::reject(42);
    const bool taken = kind == Kind::None;
    if (kind == Kind::False || (taken && !settlesLater))
        return Promise::resolve(taken);
    return Promise(
        [kind, taken](const QtPromise::QPromiseResolve<bool> &resolve, const QtPromise::QPromiseReject<bool> &reject) {
            QTimer::singleShot(0, [=] {
                if (kind == Kind::RejectedLater)
                    reject(std::runtime_error("no network"));
                else
                    resolve(taken);
            });
        });
}

/// Notes the call. Throws where the fault is an exception.
bool FaultyBackend::isFaulty(const QString &operation, const QString &device, const QString &target)
{
    const int position = calls.size();
    calls.append(callText(operation, device, target));
    if (position == hookedCall) {
        hookedCall = -1;
        hook();
    }
    if (!fault.hits(position, operation))
        return false;
    if (fault.kind == Kind::Throws)
        throw std::runtime_error("no network");
    if (fault.kind == Kind::ThrowsNumber)
        throw 42;
    if (fault.kind == Kind::Exhausted)
        throw std::bad_alloc();
    return true;
}

Got Model::call(const QString &operation, const QString &device, const QString &target)
{
    const int position = calls.size();
    calls.append(callText(operation, device, target));
    if (!m_fault.hits(position, operation))
        return Got::Good;
    isReached = true;
    const Kind kind = m_fault.kind;
    if (kind == Kind::Exhausted)
        throw std::bad_alloc();
    if (kind == Kind::Throws || kind == Kind::ThrowsNumber) {
        line(text("the device service threw an exception"));
        return Got::Failed;
    }
    if (kind == Kind::OtherForm || kind == Kind::Bare || kind == Kind::Flat)
        ++mismatches;
    if (kind == Kind::OtherForm && operation == headersQuery)
        return Got::Good; // the headers are not part of the reply
    return kind == Kind::Empty || kind == Kind::OtherForm ? Got::Empty
           : kind == Kind::Bare                           ? Got::Bare
           : kind == Kind::Flat                           ? Got::Flat
           : kind == Kind::FalseWithReply                 ? Got::FailedWithReply
                                                          : Got::Failed;
}

bool Model::isTaken(const char *operation, const QString &device, const QString &target)
{
    const Got got = call(text(operation), device, target);
    return got != Got::Failed && got != Got::FailedWithReply;
}

void Model::line(const char *message, const QString &first, const QString &second)
{
    line(text(message).replace(text("%1"), first).replace(text("%2"), second));
}

namespace {

bool hasFailed(Got got)
{
    return got == Got::Failed || got == Got::FailedWithReply;
}

using Run = decltype(Row::run);
using Output = decltype(Row::output);
using Expect = decltype(Row::expect);

QString nothing(Host &)
{
    return QString();
}

QString joined(const QList<int> &values)
{
    QStringList texts;
    for (const int value : values)
        texts.append(QString::number(value));
    return texts.join(QLatin1Char(','));
}

QString modeOf(Host &host)
{
    return QString::number(host.variables.mode);
}

QString rangeOf(Host &host)
{
    return QStringLiteral("%1 %2 %3")
        .arg(host.variables.range.min)
        .arg(host.variables.range.max)
        .arg(host.variables.range.defaultValue);
}

QString gammaText(const QMap<int, QList<int>> &table)
{
    QStringList texts;
    for (auto entry = table.cbegin(); entry != table.cend(); ++entry)
        texts.append(QStringLiteral("%1=%2").arg(entry.key()).arg(joined(entry.value())));
    return texts.join(QLatin1Char(';'));
}

QString gammaOfHost(Host &host)
{
    QMap<int, QList<int>> table;
    for (auto entry = host.variables.gamma.cbegin(); entry != host.variables.gamma.cend(); ++entry)
        table.insert(entry.key(), entry.value());
    return gammaText(table);
}

QString featuresOf(Host &host)
{
    QStringList texts;
    for (auto entry = host.variables.features.cbegin(); entry != host.variables.features.cend(); ++entry)
        texts.append(entry.key() + (entry.value() ? text(" yes") : text(" no")));
    return texts.join(QLatin1Char(';'));
}

QString supportText(const CabinetBaseInfo &info)
{
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(info.multilayercorrection)
        .arg(info.multilayerCorrectionLayer)
        .arg(info.fineGrayscale)
        .arg(info.xBitPlus)
        .arg(info.magicGray);
}

QString supportOf(Host &host)
{
    QStringList texts;
    for (const CabinetBaseInfo &info : qAsConst(host.variables.support))
        texts.append(supportText(info));
    return texts.join(QLatin1Char(';'));
}

QString baseInfoOf(Host &host)
{
    return supportText(host.variables.baseInfo);
}

QString flashOf(Host &host)
{
    QStringList texts;
    for (const RxCardFlashCheckInfo &card : qAsConst(host.variables.flash)) {
        QString line = QStringLiteral("%1/%2:").arg(card.rxcardId).arg(card.outPutId);
        for (const FlashCheckInfo &module : card.flashList)
            line += QStringLiteral(" %1,%2 %3x%4 %5")
                        .arg(module.point.x())
                        .arg(module.point.y())
                        .arg(module.size.width())
                        .arg(module.size.height())
                        .arg(module.resutlt);
        texts.append(line);
    }
    return texts.join(QLatin1Char(';'));
}

QString fileOf(Host &host)
{
    QFile file(host.path);
    return file.open(QIODevice::ReadOnly) ? QString::fromLatin1(file.readAll()) : text("no file");
}

QString flagOf(Host &host)
{
    QString flag;
    host.cabinet->getFlag(flag);
    return flag;
}

/// The values of the grid's pixels, all nine of a pixel being the same.
QString gridOf(Host &host)
{
    if (!host.variables.grid)
        return QString();
    const QVector<unsigned short> values = static_cast<Coefficient &>(*host.variables.grid).getCoefficient();
    QStringList texts;
    for (int i = 0; i < values.size(); i += 9) {
        const bool same = std::all_of(values.cbegin() + i, values.cbegin() + i + 9,
                                      [&](unsigned short value) { return value == values[i]; });
        texts.append(same ? QString::number(values[i]) : text("mixed"));
    }
    return texts.join(QLatin1Char(' '));
}

QString multilayerOf(Host &host)
{
    return host.variables.multilayer
               ? QString::fromLatin1(static_cast<MultilayerCoefficient &>(*host.variables.multilayer).getCoefficient())
               : QString();
}

/// The screens, sub-screens and cabinets that discovery made.
QString treeOf(Host &)
{
    QStringList texts;
    ScreenManager *const manager = ScreenManager::getInstance();
    const QMap<QString, QString> names = manager->getNameMapping();
    for (auto entry = names.cbegin(); entry != names.cend(); ++entry) {
        texts.append(QStringLiteral("screen '%1' '%2'").arg(entry.key(), entry.value()));
        for (const QString &key : deviceKeys) {
            ISubScreen *const subScreen = manager->tryGetScreen(entry.key())->tryGetSubScreen(key);
            if (!subScreen)
                continue;
            QString line = QStringLiteral("sub-screen %1:").arg(key);
            QList<CabinetInfo> infos;
            if (subScreen->tryGetAllCabinetInfoList(infos) != enSuccess)
                line += text(" incomplete");
            for (const CabinetInfo &info : qAsConst(infos))
                line += QStringLiteral(" '%1'@%2 %3,%4 %5x%6")
                            .arg(info.id, info.deviceKey)
                            .arg(info.rect.x())
                            .arg(info.rect.y())
                            .arg(info.rect.width())
                            .arg(info.rect.height());
            texts.append(line);
        }
    }
    return texts.join(QLatin1Char(';'));
}

QString number(int value)
{
    return QString::number(value);
}

/// Screens: one operation on every sub-screen, until one fails.
template <class OnSubScreen>
EnumErrorCode fanOut(Model &model, const char *line, OnSubScreen onSubScreen)
{
    for (const QString &device : deviceKeys) {
        const EnumErrorCode code = onSubScreen(device);
        if (code != enSuccess) {
            model.line(line, device, number(code));
            return code;
        }
    }
    return enSuccess;
}

/// Screens: the first sub-screen that answers.
template <class OnSubScreen>
EnumErrorCode firstAnswer(Model &model, const char *line, OnSubScreen onSubScreen)
{
    EnumErrorCode code = enTimeout;
    for (const QString &device : deviceKeys) {
        code = onSubScreen(device);
        if (code == enSuccess)
            return enSuccess;
    }
    model.line(line, QString(), number(code));
    return enTimeout;
}

class Table
{
public:
    Table()
    {
        addSetters();
        addGetters();
        addReads();
        addWrites();
        addCabinetOperations();
        addModuleOperations();
        addGroupOperations();
        addDiscovery();
    }

    std::vector<Row> rows;

private:
    void add(const QString &name, Run run, Output output, Expect expect)
    {
        rows.push_back({name, std::move(run), std::move(output), std::move(expect)});
    }
    void add(const char *name, Run run, Output output, Expect expect)
    {
        add(text(name), std::move(run), std::move(output), std::move(expect));
    }

    /// A setting of a sub-screen and of a screen: one call for each device.
    template <class Call>
    void setter(const char *name, const char *operation, const char *target, const char *line, const std::string &screenLine,
                Call call)
    {
        const auto onDevice = [=](Model &model, const QString &device) {
            if (model.isTaken(operation, device, text(target)))
                return enSuccess;
            model.line(line, device);
            return enTimeout;
        };
        add(
            text("ISubScreen::") + text(name), [call](Host &host) { return call(*host.subScreen); }, nothing,
            [=](Model &model) { return onDevice(model, deviceKeys[0]); });
        add(
            text("IScreen::") + text(name), [call](Host &host) { return call(*host.screen); }, nothing,
            [=](Model &model) {
                return fanOut(model, screenLine.c_str(), [&](const QString &device) { return onDevice(model, device); });
            });
    }

    void addSetters();
    void addGetters();
    void addReads();
    void addWrites();
    void addCabinetOperations();
    void addModuleOperations();
    void addGroupOperations();
    void addDiscovery();
};

void Table::addSetters()
{
    const char *const saveLine = "Failed to save subscreen parameter. SubScreen key: %1 code: %2 save type: ";
    const char *const clearLine = "Failed to clear subscreen parameter. SubScreen key: %1 code: %2 save type: ";
    const auto withType = [](const char *line, int type) { return line + std::to_string(type); };

    setter("setABLEnable", "Correctionop::setScreenABLEnable", "255", "setABLEnable timeout. device:%1",
           "Failed to set subscreen abl enable. SubScreen key: %1 enable: 1",
           [](auto &target) { return target.setABLEnable(true); });
    setter("setXBit", "Correctionop::setScreenXBit", "255", "setXBit timeout. device:%1",
           "Failed to set subscreen abl enable. SubScreen key: %1 code: 2 save type: 1",
           [](auto &target) { return target.setXBit(EnumXBitMode(2), true); });
    setter("lock", "HWInfo::lock", "", "lock timeout. device:%1", "Failed to lock. SubScreen key: %1 code: %2",
           [](auto &target) { return target.lock(); });
    setter("unLock", "HWInfo::unLock", "", "unlock timeout. device:%1", "Failed to unlock. SubScreen key: %1 code: %2",
           [](auto &target) { return target.unLock(); });
    setter("setEffectMode", "Correctionop::setScreenEffectMode", "255", "setBrightness timeout. device:%1",
           "Failed to set correction mode. SubScreen key: %1 code:%2",
           [](auto &target) { return target.setEffectMode(EnumEffectMode(4)); });
    setter("setBrightness", "ScreenInfo::setBrightness", "255", "setBrightness timeout. device:%1",
           "Failed to set brightness. SubScreen key: %1 code:%2", [](auto &target) { return target.setBrightness(60); });
    setter("setGammaTable", "ScreenInfo::setGammaTable", "255", "setBrightness timeout. device:%1",
           "Failed to set gamma table. SubScreen key: %1 code:%2",
           [](auto &target) { return target.setGammaTable(sentGamma); });
    setter("setMultilayerParameter", "Correctionop::setCabinetsMultilayerParameter", "",
           "setCabinetsMultilayerParameter timeout. device:%1",
           "Failed to set multilayer parameter. SubScreen key: %1 code:%2",
           [](auto &target) { return target.setMultilayerParameter(MultilayerParam()); });
    setter("setMultilayerParameterV2", "Correctionop::setCabinetsMultilayerParameterV2", "",
           "setCabinetsMultilayerParameterV2 timeout. device:%1",
           "Failed to set setMultilayerParameterV2 parameter. SubScreen key: %1 code:%2", [](auto &target) {
               MultilayerParamV2 param;
               param.params.append(MultilayerParamInfo());
               return target.setMultilayerParameterV2(param);
           });
    setter("setMutiCabinetSolid", "Correctionop::setMutiCabinetSolid", "", "setMutiCabinetSolid timeout. device:%1",
           withType(saveLine, 1), [](auto &target) { return target.setMutiCabinetSolid(enSaveMultilayerCoefficient); });
    setter("setPixelImageMode", "ScreenInfo::setPixelImageMode", "", "setPixelImageMode timeout. device:%1",
           "Failed to set Image enable. SubScreen key: %1 code:%2",
           [](auto &target) { return target.setPixelImageMode(3); });
    setter("setPixelImage", "ScreenInfo::setPixelImage", "", "setPixelImage timeout. device:%1",
           "Failed to draw. SubScreen key: %1 code: %2", [](auto &target) {
               DrawingParameter param;
               param.screenPartRect = wholeScreen;
               param.pixelBlockInRect = QRect(0, 0, 1, 1);
               param.color = Qt::white;
               return target.setPixelImage(param);
           });
    const auto board = [](const QRect &region) {
        DrawingCheckerboard param;
        param.regionRect = region;
        param.colors = {QColor(Qt::white), QColor(Qt::black)};
        param.squareW = param.squareH = param.lastSquareColumnW = param.lastSquareRowH = 1;
        return param;
    };
    const char *const boardLine = "call ScreenV4::setCheckerboardlImage() Failed to draw. SubScreen key: %1 code: %2";
    setter("setCheckerboardlImage", "ScreenInfo::setCheckerBoardImage", "",
           "call setCheckerBoardImage() fail. timeout. device:%1", boardLine,
           [board](auto &target) { return target.setCheckerboardlImage(board(wholeScreen)); });
    setter("setCheckerboardlImage elsewhere", "ScreenInfo::setCorrectClearImage", "",
           "call setCorrectClearImage timeout. device:%1", boardLine,
           [board](auto &target) { return target.setCheckerboardlImage(board(QRect(100, 100, 4, 4))); });

    const struct {
        EnumSaveType type;
        const char *operation;
        const char *line;
    } saves[] = {
        {enSaveCommonCoefficient, "Correctionop::saveCabinetsCoeffcient", "saveCabinetsCoeffcient timeout. device:%1"},
        {enSaveMultilayerCoefficient, "Correctionop::saveCabinetsMultilayerCoeffcient",
         "saveCabinetsMultilayerCoeffcient timeout. device:%1"},
        {enSaveLowgrayCoefficient, "Correctionop::saveCabinetsLowgrayCoeffcient",
         "saveCabinetsLowgrayCoeffcient timeout. device:%1"},
    };
    const char *const saveNames[] = {"saveParameter chroma", "saveParameter multilayer", "saveParameter low-gray"};
    for (const auto &save : saves) {
        setter(saveNames[save.type], save.operation, "", save.line, withType(saveLine, save.type),
               [type = save.type](auto &target) { return target.saveParameter(type); });
    }
    setter("applyCoeffcient low-gray", "Correctionop::applyCabinetsLowgrayCoeffcient", "",
           "applyCabinetsLowgrayCoeffcient timeout. device:%1", withType(saveLine, enLowgrayCoefficient),
           [](auto &target) { return target.applyCoeffcient(enLowgrayCoefficient); });
    setter("clearCoefficient chroma", "Correctionop::clearCabinetsUserCoefficient", "",
           "clearCabinetsCoeffcient timeout. device:%1", withType(clearLine, enCommonCoefficient),
           [](auto &target) { return target.clearCoefficient(enCommonCoefficient); });
    setter("clearCoefficient low-gray", "Correctionop::clearCabinetsLowgrayCoefficient", "",
           "clearCabinetsLowgrayCoefficient timeout. device:%1", withType(clearLine, enLowgrayCoefficient),
           [](auto &target) { return target.clearCoefficient(enLowgrayCoefficient); });

    // Logged, but not returned.
    const auto clearMultilayer = [](Model &model, const QString &device) {
        if (!model.isTaken("Correctionop::clearCabinetsMultilayerCoefficient", device))
            model.line("clearCabinetsMultilayerCoeffcient timeout. device:%1", device);
        return enSuccess;
    };
    add(
        "ISubScreen::clearCoefficient multilayer",
        [](Host &host) { return host.subScreen->clearCoefficient(enMultilayerCoefficient); }, nothing,
        [=](Model &model) { return clearMultilayer(model, deviceKeys[0]); });
    add(
        "IScreen::clearCoefficient multilayer",
        [](Host &host) { return host.screen->clearCoefficient(enMultilayerCoefficient); }, nothing,
        [=](Model &model) {
            return fanOut(model, "", [&](const QString &device) { return clearMultilayer(model, device); });
        });
}

void Table::addGetters()
{
    // The first cabinet that answers; no line by the sub-screen.
    const auto ofCabinets = [](const QString &operation, const std::function<void(Model &, Got, const QString &)> &fill) {
        return [=](Model &model, const QString &device) {
            for (const QString &cabinet : cabinetsOf(device)) {
                const Got got = model.call(operation, device, cabinet);
                if (!hasFailed(got)) {
                    fill(model, got, cabinet);
                    return enSuccess;
                }
            }
            return enTimeout;
        };
    };
    const auto mode = ofCabinets(text("Correctionop::getCabinetEffectMode"), [](Model &model, Got got, const QString &id) {
        model.output = got == Got::Good ? id + QLatin1Char('0') : text("0");
    });
    const auto range =
        ofCabinets(text("CabinetInfoOperator::getCabinetBrightnessRange"), [](Model &model, Got got, const QString &id) {
            model.output = got == Got::Good ? id + text(" 90 50") : text("0 0 0");
        });
    const auto gamma = [](Model &model, const QString &device) {
        const Got got = model.call(text("ScreenInfo::getGammaAllList"), device, text("0"));
        if (hasFailed(got)) {
            model.line("getGammaTable timeout. device:%1", device);
            return enTimeout;
        }
        const int first = device == deviceKeys[0] ? 0 : 10;
        const QList<int> none = got == Got::Bare ? QList<int>{0, 0} : QList<int>{};
        QMap<int, QList<int>> table{{5, {8}}};
        for (int channel = 0; channel < 3; ++channel)
            table.insert(channel, got == Got::Good ? QList<int>{first + 2 * channel + 1, first + 2 * channel + 2} : none);
        model.output = gammaText(table);
        return enSuccess;
    };
    const auto both = [&](const char *name, const char *line, const auto &call, const Output &output, const auto &onDevice) {
        add(
            text("ISubScreen::") + text(name), [call](Host &host) { return call(*host.subScreen, host); }, output,
            [=](Model &model) { return onDevice(model, deviceKeys[0]); });
        add(
            text("IScreen::") + text(name), [call](Host &host) { return call(*host.screen, host); }, output,
            [=](Model &model) {
                return firstAnswer(model, line, [&](const QString &device) { return onDevice(model, device); });
            });
    };
    both(
        "tryGetEffectMode", "Failed to get effect mode. code:%2",
        [](auto &target, Host &host) { return target.tryGetEffectMode(host.variables.mode); }, modeOf, mode);
    both(
        "getBrightnessRange", "Failed to get brightness range. code:%2",
        [](auto &target, Host &host) { return target.getBrightnessRange(host.variables.range); }, rangeOf, range);
    both(
        "getGammaTable", "Failed to get gamma table. code:%2",
        [](auto &target, Host &host) { return target.getGammaTable(host.variables.gamma); }, gammaOfHost, gamma);

    const auto support = [](Model &model, const QString &device) {
        const Got got = model.call(text("CabinetInfoOperator::getCabinetsBaseInfo"), device);
        if (hasFailed(got)) {
            model.line("call getScreenSupport() fail. timeout. device:%1", device);
            return enTimeout;
        }
        if (got != Got::Empty) {
            const QString found =
                got == Got::Good ? QStringLiteral("1 %1 1 1 1").arg(device == deviceKeys[0] ? 3 : 13) : text("0 0 0 0 0");
            model.output += (model.output.isEmpty() ? QString() : text(";")) + found;
        }
        return enSuccess;
    };
    add(
        "ISubScreen::getScreenSupport", [](Host &host) { return host.subScreen->getScreenSupport(host.variables.support); },
        supportOf, [=](Model &model) { return support(model, deviceKeys[0]); });
    add(
        "IScreen::getScreenSupport", [](Host &host) { return host.screen->getScreenSupport(host.variables.support); },
        supportOf,
        [=](Model &model) {
            return fanOut(model, "Failed to set getScreenSupport parameter. SubScreen key: %1 code:%2",
                          [&](const QString &device) { return support(model, device); });
        });

    const auto checkerboard = [](Model &model, const QString &device) {
        const Got got = model.call(headersQuery, device);
        const bool hasHeaders = got == Got::Good || got == Got::FailedWithReply;
        const QString key = QStringLiteral("\"%1\"").arg(device);
        const QString headers =
            hasHeaders ? text("QMap((\"HttpResponse_StateCode\", \"200\")(\"Server\", \"x\"))") : text("QMap()");
        const QString reply = got == Got::FailedWithReply ? text("QMap((\"note\", QVariant(int, 1)))") : text("QMap()");
        if (hasFailed(got)) {
            model.line(QStringList{text("call isCheckerboardlImage() fail. timeout. device :"), key,
                                   text(" responseHeader: "), headers, text("result :"), reply, text("\n")}
                           .join(QLatin1Char(' ')));
        }
        if (hasHeaders)
            return enSuccess;
        model.line(QStringList{text("call isCheckerboardlImage() timout. m_deviceKey: "), key, text(" responseHeader: "),
                               headers, text("\n")}
                       .join(QLatin1Char(' ')));
        return enTimeout;
    };
    add(
        "ISubScreen::isCheckerboardlImage", [](Host &host) { return host.subScreen->isCheckerboardlImage(); }, nothing,
        [=](Model &model) { return checkerboard(model, deviceKeys[0]); });
    add(
        "IScreen::getFeatures", [](Host &host) { return host.screen->getFeatures(host.variables.features); }, featuresOf,
        [=](Model &model) {
            model.output = text("checkerBoardltFeature yes");
            for (const QString &device : deviceKeys) {
                if (checkerboard(model, device) != enSuccess) {
                    model.output = text("checkerBoardltFeature no");
                    break;
                }
            }
            return enSuccess;
        });
    add(
        "IScreen::getSubScreenNames", [](Host &host) { return host.screen->getSubScreenNames({}); }, nothing,
        [](Model &model) {
            for (const QString &device : deviceKeys) {
                if (!model.isTaken("HWInfo::getHWInfo", device)) {
                    model.line(text("getHWInfo error"));
                    return enInvalidParameter;
                }
            }
            return enSuccess;
        });
}

/// Sets the model's output at the end, also when memory runs out.
class OutputAtEnd
{
public:
    OutputAtEnd(Model &model, std::function<QString()> output) : m_model(model), m_output(std::move(output)) {}
    ~OutputAtEnd() { m_model.output = m_output(); }
    OutputAtEnd(const OutputAtEnd &) = delete;
    OutputAtEnd &operator=(const OutputAtEnd &) = delete;

private:
    Model &m_model;
    const std::function<QString()> m_output;
};

/// Both pixels of a cabinet; `pixels` is unchanged after a failed call.
EnumErrorCode readCabinet(Model &model, const QString &device, const QString &cabinet, QStringList &pixels)
{
    const Got got = model.call(text("Correctionop::loadCoefficient"), device, cabinet);
    if (hasFailed(got))
        return enTimeout;
    const QString value = got == Got::Good ? cabinet : text("0");
    pixels = QStringList{value, value};
    if (got == Got::Good || got == Got::Empty)
        return enSuccess;
    model.line(text("invalid coefficient data \n"));
    return enArgumentMismatch;
}

/// Reads the cabinets of a device into `pixels`, from the first on, until one fails.
EnumErrorCode readCabinets(Model &model, const QString &device, QStringList &pixels, int at)
{
    for (const QString &cabinet : cabinetsOf(device)) {
        QStringList read;
        const EnumErrorCode code = readCabinet(model, device, cabinet, read);
        if (code != enSuccess) {
            model.line("Failed to get coefficient. cabinet key: %1 code: %2", cabinet, number(code));
            return code;
        }
        pixels[at] = read[0];
        pixels[at + 1] = read[1];
        at += 2;
    }
    return enSuccess;
}

void Table::addReads()
{
    const auto split = [](const Model &model) { return model.output.split(QLatin1Char(' ')); };
    const auto keep = [](Model &model, const QStringList &pixels) { model.output = pixels.join(QLatin1Char(' ')); };
    add(
        "ICabinet::tryGetCoefficients chroma",
        [](Host &host) {
            auto *const grid = new Coefficient(2, 1);
            host.variables.grid.reset(grid);
            QVector<unsigned short> values(18, 7);
            grid->setCoefficient(values);
            return host.cabinet->tryGetCoefficients(*host.variables.grid);
        },
        gridOf,
        [=](Model &model) {
            model.output = text("7 7");
            QStringList pixels = split(model);
            const EnumErrorCode code = readCabinet(model, deviceKeys[0], text("1"), pixels);
            keep(model, pixels);
            return code;
        });
    add(
        "ICabinet::tryGetCoefficients multilayer",
        [](Host &host) {
            auto *const grid = new MultilayerCoefficient(1, 1, 2);
            host.variables.multilayer.reset(grid);
            QByteArray values("77");
            grid->setCoefficient(values);
            return host.cabinet->tryGetCoefficients(*host.variables.multilayer);
        },
        multilayerOf,
        [](Model &model) {
            model.output = text("77");
            // No reply is accepted for a multilayer grid.
            return model.isTaken("Correctionop::loadMultilayerCoefficient", deviceKeys[0], text("1")) ? enArgumentMismatch
                                                                                                      : enTimeout;
        });
    const auto prepare = [](Host &host, int columns) {
        auto *const grid = new Coefficient(columns, 1);
        host.variables.grid.reset(grid);
        QVector<unsigned short> values(9 * columns, 7);
        grid->setCoefficient(values);
    };
    add(
        "ISubScreen::tryGetCoefficients",
        [=](Host &host) {
            prepare(host, 4);
            return host.subScreen->tryGetCoefficients(wholeSubScreen, *host.variables.grid);
        },
        gridOf,
        [=](Model &model) {
            QStringList pixels{text("7"), text("7"), text("7"), text("7")};
            const OutputAtEnd output(model, [&] { return pixels.join(QLatin1Char(' ')); });
            return readCabinets(model, deviceKeys[0], pixels, 0);
        });
    add(
        "IScreen::tryGetCoefficients",
        [=](Host &host) {
            prepare(host, 8);
            return host.screen->tryGetCoefficients(wholeScreen, *host.variables.grid);
        },
        gridOf,
        [=](Model &model) {
            QStringList pixels;
            for (int i = 0; i < 8; ++i)
                pixels.append(text("7"));
            keep(model, pixels);
            for (int i = 0; i < deviceKeys.size(); ++i) {
                // A device's part is pasted as a whole.
                QStringList part{QString(), QString(), QString(), QString()};
                const EnumErrorCode code = readCabinets(model, deviceKeys[i], part, 0);
                if (code != enSuccess) {
                    model.line("try get Coefficients failed. SubScreen key: %1 code: %2", deviceKeys[i], number(code));
                    return code;
                }
                for (int pixel = 0; pixel < 4; ++pixel)
                    pixels[4 * i + pixel] = part[pixel];
                keep(model, pixels);
            }
            return enSuccess;
        });
    add(
        "ScreenReader::tryGetCoefficients",
        [=](Host &host) {
            prepare(host, 8);
            return ScreenReader(*host.screen).tryGetCoefficients(wholeScreen, *host.variables.grid);
        },
        gridOf,
        [=](Model &model) {
            QStringList pixels;
            for (int i = 0; i < 8; ++i)
                pixels.append(text("7"));
            const OutputAtEnd output(model, [&] { return pixels.join(QLatin1Char(' ')); });
            for (int i = 0; i < deviceKeys.size(); ++i) {
                const EnumErrorCode code = readCabinets(model, deviceKeys[i], pixels, 4 * i);
                if (code != enSuccess)
                    return code;
            }
            return enSuccess;
        });
}

/// A grid of one of the three kinds.
template <class Grid>
struct KindOf;
template <>
struct KindOf<Coefficient> {
    static QString name() { return text("chroma"); }
    static const char *upload() { return "Correctionop::uploadCoefficient"; }
    static QString uploadAsync() { return text("uploadCoefficientAsync"); }
};
template <>
struct KindOf<MultilayerCoefficient> {
    static QString name() { return text("multilayer"); }
    static const char *upload() { return "Correctionop::uploadMultilayerCoefficient"; }
    static QString uploadAsync() { return text("uploadMultilayerCoefficientAsync"); }
};
template <>
struct KindOf<LowGrayCoefficient> {
    static QString name() { return text("low-gray"); }
    static const char *upload() { return "Correctionop::uploadLowgrayCoefficient"; }
    static QString uploadAsync() { return text("uploadLowGrayCoefficientAsync"); }
};

template <class Grid, class Add>
void addWritesOf(Add add)
{
    const auto named = [](const char *operation) { return text(operation) + QLatin1Char(' ') + KindOf<Grid>::name(); };
    add(
        named("ICabinet::setCoefficients"),
        [](Host &host) {
            Grid grid(2, 1);
            return host.cabinet->setCoefficients(QPoint(0, 0), grid);
        },
        nothing,
        [](Model &model) {
            return model.isTaken(KindOf<Grid>::upload(), deviceKeys[0], text("1")) ? enSuccess : enTimeout;
        });
    add(
        named("ISubScreen::setCoefficients"),
        [](Host &host) {
            Grid grid(4, 1);
            return host.subScreen->setCoefficients(wholeSubScreen, grid);
        },
        nothing,
        [](Model &model) {
            for (const QString &cabinet : cabinetsOf(deviceKeys[0])) {
                if (!model.isTaken(KindOf<Grid>::upload(), deviceKeys[0], cabinet)) {
                    model.line("Failed to set cabinet coefficient. sreenId:%1 cabinetId:%1", cabinet);
                    return enTimeout;
                }
            }
            return enSuccess;
        });
    const auto upload = [](Model &model, const QString &device) {
        const QString operation = KindOf<Grid>::uploadAsync();
        if (!hasFailed(model.call(text("Correctionop::") + operation, device)))
            return enSuccess;
        model.line(text("call ") + operation + text("() timeout. device:") + device);
        return enTimeout;
    };
    add(
        named("ISubScreen::setCoefficientsAsync"),
        [](Host &host) {
            Grid grid(4, 1);
            EnumErrorCode code = EnumErrorCode(-1);
            host.subScreen->setCoefficientsAsync(wholeSubScreen, grid)
                .then([&](EnumErrorCode value) { code = value; })
                .wait();
            return code;
        },
        nothing, [=](Model &model) { return upload(model, deviceKeys[0]); });
    add(
        named("IScreen::setCoefficients"),
        [](Host &host) {
            Grid grid(8, 1);
            return host.screen->setCoefficients(wholeScreen, grid);
        },
        nothing,
        [=](Model &model) {
            // Every device is tried, also when memory runs out for one of them.
            int codes = enSuccess;
            bool isExhausted = false;
            for (const QString &device : deviceKeys) {
                try {
                    codes |= upload(model, device);
                } catch (const std::bad_alloc &) {
                    isExhausted = true;
                }
            }
            if (isExhausted)
                throw std::bad_alloc();
            return EnumErrorCode(codes);
        });
}

void Table::addWrites()
{
    const auto row = [this](const QString &name, Run run, Output output, Expect expect) {
        add(name, std::move(run), std::move(output), std::move(expect));
    };
    addWritesOf<Coefficient>(row);
    addWritesOf<MultilayerCoefficient>(row);
    addWritesOf<LowGrayCoefficient>(row);
}

void Table::addCabinetOperations()
{
    const QString device = deviceKeys[0];
    const QString id = QStringLiteral("1");
    const auto taken = [=](const char *operation, const char *line, bool isAddressed) -> Expect {
        return [=](Model &model) {
            if (model.isTaken(operation, device, isAddressed ? id : QString()))
                return enSuccess;
            if (line)
                model.line(line, device, id);
            return enTimeout;
        };
    };
    add(
        "ICabinet::saveParameter chroma", [](Host &host) { return host.cabinet->saveParameter(enSaveCommonCoefficient); },
        nothing, taken("Correctionop::saveCabinetsCoeffcient", "saveParameter enCommonCoefficient timeout. cid:%2", false));
    add(
        "ICabinet::saveParameter multilayer",
        [](Host &host) { return host.cabinet->saveParameter(enSaveMultilayerCoefficient); }, nothing,
        taken("Correctionop::saveCabinetsMultilayerCoeffcient", "saveParameter enCommonCoefficient timeout. cid:%2", false));
    add(
        "ICabinet::saveParameter low-gray", [](Host &host) { return host.cabinet->saveParameter(enSaveLowgrayCoefficient); },
        nothing,
        taken("Correctionop::saveCabinetsLowgrayCoeffcient", "saveParameter enLowgrayCoefficient timeout. cid:%2", false));
    add(
        "ICabinet::applyCoeffcient low-gray", [](Host &host) { return host.cabinet->applyCoeffcient(enLowgrayCoefficient); },
        nothing,
        taken("Correctionop::applyCabinetsLowgrayCoeffcient", "saveParameter enLowgrayCoefficient timeout. cid:%2", false));
    add(
        "ICabinet::setEffectMode", [](Host &host) { return host.cabinet->setEffectMode(EnumEffectMode(4)); }, nothing,
        taken("Correctionop::setCabinetEffectMode", nullptr, true));
    add(
        "ICabinet::tryGetEffectMode", [](Host &host) { return host.cabinet->tryGetEffectMode(host.variables.mode); }, modeOf,
        [=](Model &model) {
            const Got got = model.call(text("Correctionop::getCabinetEffectMode"), device, id);
            if (hasFailed(got))
                return enTimeout;
            model.output = got == Got::Good ? text("10") : text("0");
            return enSuccess;
        });
    add(
        "ICabinet::setBrightness", [](Host &host) { return host.cabinet->setBrightness(60); }, nothing,
        [=](Model &model) {
            model.isTaken("CabinetInfoOperator::setCabSingleBrightness", device, id);
            return enSuccess; // whatever the device answered
        });
    add(
        "ICabinet::getBrightnessRange", [](Host &host) { return host.cabinet->getBrightnessRange(host.variables.range); },
        rangeOf,
        [=](Model &model) {
            const Got got = model.call(text("CabinetInfoOperator::getCabinetBrightnessRange"), device, id);
            if (hasFailed(got))
                return enTimeout;
            model.output = got == Got::Good ? text("1 90 50") : text("0 0 0");
            return enSuccess;
        });
    add(
        "ICabinet::getGammaTable", [](Host &host) { return host.cabinet->getGammaTable(host.variables.gamma); }, gammaOfHost,
        [=](Model &model) {
            const Got got = model.call(text("CabinetInfoOperator::getCabinetGammaCustomValue"), device, id);
            if (hasFailed(got))
                return enTimeout;
            // Channel 1 is blue, channel 2 green.
            model.output = got == Got::Good ? text("0=1,2;1=5,6;2=3,4;5=8") : text("0=;1=;2=;5=8");
            return enSuccess;
        });
    add(
        "ICabinet::setGammaTable", [](Host &host) { return host.cabinet->setGammaTable(sentGamma); }, nothing,
        [=](Model &model) {
            for (int channel = 0; channel < 3; ++channel) {
                if (!model.isTaken("CabinetInfoOperator::setCabinetGammaCustomValue", device, id))
                    return enTimeout;
            }
            return enSuccess;
        });
    add(
        "ICabinet::getConfigFile", [](Host &host) { return host.cabinet->getConfigFile(host.path); }, fileOf,
        [=](Model &model) {
            const Got got = model.call(text("CabinetInfoOperator::getConfigFile"), device, id);
            if (hasFailed(got)) {
                model.line("call getConfigFile() fail. timeout. device:%1", device);
                return enTimeout;
            }
            model.output = got == Got::Good ? text("of the device") : QString();
            return enSuccess;
        });
    add(
        "ICabinet::setConfigFile", [](Host &host) { return host.cabinet->setConfigFile(host.path); }, fileOf,
        taken("CabinetInfoOperator::setSingleConfigFile", "call setSingleConfigFile() fail. timeout. device:%1", true));
    add(
        "ICabinet::setFlag", [](Host &host) { return host.cabinet->setFlag(text("new")); }, flagOf,
        [=](Model &model) {
            if (!model.isTaken("CabinetInfoOperator::setCabinetFlag", device, id))
                return enTimeout;
            model.output = text("new");
            return enSuccess;
        });
    add(
        "ICabinet::setCabinetflags", [](Host &host) { return host.cabinet->setCabinetflags(text("new")); }, flagOf,
        taken("CabinetInfoOperator::setCabinetSnflags", "call setCabinetSnflags() fail. timeout. device:%1", false));
    add(
        "ICabinet::setModuleflags",
        [](Host &host) {
            QList<CabinetsModuleFlag> flags{CabinetsModuleFlag()};
            return host.cabinet->setModuleflags(flags);
        },
        nothing, taken("CabinetInfoOperator::setModuleflags", "call setModuleflags() fail. timeout. device:%1", false));
    add(
        "ICabinet::getCabinetSupport", [](Host &host) { return host.cabinet->getCabinetSupport(host.variables.baseInfo); },
        baseInfoOf,
        [=](Model &model) {
            const Got got = model.call(text("CabinetInfoOperator::getCabinetsBaseInfo"), device);
            if (hasFailed(got)) {
                model.line("call getScreenSupport() fail. timeout. device:%1", device);
                return enTimeout;
            }
            if (got == Got::Empty) {
                model.line(text("call getScreenBaseInfo() fail. result.length()<=0 "));
                model.line("call getScreenSupport.pasrseJson() fail. device:%1", device);
                return enInvalidParameter;
            }
            model.output = got == Got::Good ? text("1 3 1 1 1") : text("0 0 0 0 0");
            return enSuccess;
        });
}

void Table::addModuleOperations()
{
    const QString device = deviceKeys[0];
    const QString id = QStringLiteral("1");
    // Cards and modules of the reply: without a check code a module counts as valid.
    const auto check = [=](Model &model, Got &got) {
        got = model.call(text("Correctionop::getFlashCheckCode"), device, id);
        if (!hasFailed(got))
            return enSuccess;
        model.line("call getFlashCheckCode() fail. timeout. device:%1", device);
        return enTimeout;
    };
    add(
        "ICabinet::getFlashCheckInfo", [](Host &host) { return host.cabinet->getFlashCheckInfo(host.variables.flash); },
        flashOf,
        [=](Model &model) {
            Got got = Got::Good;
            const EnumErrorCode code = check(model, got);
            if (code == enSuccess) {
                model.output = got == Got::Good   ? text("7/8: 1,2 64x32 1")
                               : got == Got::Bare ? text("0/0: 0,0 0x0 1")
                               : got == Got::Flat ? text("0/0:")
                                                  : QString();
            }
            return code;
        });
    add(
        "ICabinet::IsSupportFlash", [](Host &host) { return host.cabinet->IsSupportFlash(); }, nothing,
        [=](Model &model) {
            Got got = Got::Good;
            if (check(model, got) != enSuccess) {
                model.line("call IsSupportFlash() fail. timeout. device:%1", device);
                return enTimeout;
            }
            if (got == Got::Good || got == Got::Bare)
                return enSuccess;
            model.line(got == Got::Empty ? "call IsSupportFlash().lenth == 0  fail device:%1"
                                         : "call IsSupportFlash().flashList.lenth == 0  fail device:%1",
                       device);
            return enNotSupported;
        });
    const auto checked = [=](const QString &name) -> Expect {
        return [=](Model &model) {
            Got got = Got::Good;
            if (check(model, got) != enSuccess) {
                model.line(text("call ") + name + text(".getFlashCheckInfo() fail. timeout. device:") + device);
                return enTimeout;
            }
            if (got == Got::Empty || got == Got::Flat) {
                model.line(text("call ") + name
                           + text(got == Got::Empty ? ".getFlashCheckInfo().lenth == 0  fail device:"
                                                    : ".getFlashCheckInfo().flashList.lenth == 0  fail device:")
                           + device);
                return enNotSupported;
            }
            if (!hasFailed(model.call(text("CabinetInfoOperator::") + name, device)))
                return enSuccess;
            model.line(text("call ") + name + text("() fail. timeout. device:") + device);
            return enTimeout;
        };
    };
    add(
        "ICabinet::saveModuleCoefficient", [](Host &host) { return host.cabinet->saveModuleCoefficient(3); }, nothing,
        checked(text("saveModuleCoefficient")));
    add(
        "ICabinet::reloadModuleCoefficient", [](Host &host) { return host.cabinet->reloadModuleCoefficient(3); }, nothing,
        checked(text("reloadModuleCoefficient")));
    add(
        "ICabinet::clearModuleCoefficient", [](Host &host) { return host.cabinet->clearModuleCoefficient(3); }, nothing,
        [=](Model &model) {
            if (model.isTaken("CabinetInfoOperator::clearModuleCoefficient", device))
                return enSuccess;
            model.line("call clearModuleCoefficient() fail. timeout. device:%1", device);
            return enTimeout;
        });
}

void Table::addGroupOperations()
{
    const struct {
        const char *name;
        EnumErrorCode (ICabinets::*operation)();
        const char *service;
        const char *line;
    } groups[] = {
        {"clearUserCoefficient", &ICabinets::clearUserCoefficient, "Correctionop::clearCabinetsUserCoefficient",
         "save cabinets coefficient timeout!"},
        {"saveUserCoefficient", &ICabinets::saveUserCoefficient, "Correctionop::saveCabinetsCoeffcient",
         "save cabinets coefficient timeout!"},
        {"saveFactoryCoefficient", &ICabinets::saveFactoryCoefficient, "Correctionop::saveCabinetsFactoryCoefficient",
         "save cabinets factory coefficient timeout!"},
        {"showUserCoefficient", &ICabinets::showUserCoefficient, "Correctionop::showCabinetsCoefficient",
         "show cabinets user coefficient timeout!"},
        {"showFactoryCoefficient", &ICabinets::showFactoryCoefficient, "Correctionop::showCabinetsFactoryCoefficient",
         "show cabinets user coefficient timeout!"},
        {"showModuleCoefficient", &ICabinets::showModuleCoefficient, "Correctionop::showCabinetsModuleCoefficient",
         "show module user coefficient timeout!"},
        {"saveModuleCoefficient", &ICabinets::saveModuleCoefficient, "Correctionop::saveCabinetsModuleCoefficient",
         "show module user coefficient timeout!"},
    };
    for (const auto &group : groups) {
        const QString line =
            QStringLiteral("Correction::CabinetsV4::%1 %2").arg(QLatin1String(group.name), QLatin1String(group.line));
        add(
            text("ICabinets::") + text(group.name),
            [operation = group.operation](Host &host) { return ((*host.group).*operation)(); }, nothing,
            [service = group.service, line](Model &model) {
                for (const QString &device : deviceKeys) {
                    if (!model.isTaken(service, device)) {
                        model.line(line);
                        return enTimeout;
                    }
                }
                return enSuccess;
            });
    }
}

/// What a refresh builds.
struct Built {
    struct Cabinet {
        QString id;
        QString device;
        QRect rect;
    };
    struct Screen {
        QString name;
        QMap<QString, QStringList> subScreens; ///< cabinet ids by device
    };
    QMap<QString, Screen> screens;
    QMap<QString, Cabinet> registry;

    QString toText() const
    {
        QStringList texts;
        for (auto screen = screens.cbegin(); screen != screens.cend(); ++screen) {
            texts.append(QStringLiteral("screen '%1' '%2'").arg(screen.key(), screen->name));
            for (auto part = screen->subScreens.cbegin(); part != screen->subScreens.cend(); ++part) {
                QString line = QStringLiteral("sub-screen %1:").arg(part.key());
                for (const QString &id : *part) {
                    const Cabinet &cabinet = *registry.constFind(id);
                    line += QStringLiteral(" '%1'@%2 %3,%4 %5x%6")
                                .arg(id, cabinet.device)
                                .arg(cabinet.rect.x())
                                .arg(cabinet.rect.y())
                                .arg(cabinet.rect.width())
                                .arg(cabinet.rect.height());
                }
                texts.append(line);
            }
        }
        return texts.join(QLatin1Char(';'));
    }
};

EnumErrorCode refresh(Model &model, Built &built)
{
    if (hasFailed(model.call(deviceList))) {
        model.line(text("hwList.isEmpty()"));
        return enNoDevice;
    }
    built = Built();
    QSet<QString> placements;
    QMap<QString, QString> records; ///< cabinet id -> device
    for (const QString &device : deviceKeys) {
        const Got hardware = model.call(text("HWInfo::getHWInfo"), device);
        const bool isNamed = hardware == Got::Good || hardware == Got::FailedWithReply; // its result is not looked at
        const Got layout = model.call(text("ScreenInfo::getScreens"), device);
        if (hasFailed(layout)) {
            model.line("getScreens error \"%1\"", device);
            continue;
        }
        const Got listed = model.call(text("CabinetInfoOperator::getAllCabinetsInfo"), device);
        if (hasFailed(listed)) {
            model.line("getAllCabinetsInfo error \"%1\"", device);
            continue;
        }
        if (listed == Got::Good) {
            for (const QString &id : cabinetsOf(device))
                placements.insert(id + text("-1"));
        } else if (listed != Got::Empty) {
            placements.insert(text("-"));
        }
        const Got described = model.call(text("CabinetInfoOperator::getCabAllFlags"), device);
        if (hasFailed(described))
            continue; // a debug line alone
        if (described == Got::Good) {
            for (const QString &id : cabinetsOf(device))
                records.insert(id, device);
        } else if (described != Got::Empty) {
            records.insert(QString(), device);
        }

        const bool isRead = layout == Got::Good || layout == Got::Flat;
        const QString screenId = isRead ? text("s") : QString();
        if (!built.screens.contains(screenId)) {
            const bool hasOwnName = isRead && device != deviceKeys[0];
            built.screens[screenId].name = hasOwnName ? text("screen of ") + device
                                           : isNamed  ? text("named ") + device
                                                      : QString();
        }
        model.line("Cannot find SubScreen. SubScreen key: %1", device);
        QStringList &cabinets = built.screens[screenId].subScreens[device];
        if (layout != Got::Good && layout != Got::Bare)
            continue;
        const QStringList ids = layout == Got::Good ? cabinetsOf(device) : QStringList{QString(), QString()};
        int x = device == deviceKeys[0] ? 0 : 4;
        for (const QString &id : ids) {
            const QString placement = layout == Got::Good ? id + text("-1") : text("-");
            if (!placements.contains(placement)) {
                model.line(" deviceInfo.deviceKey :  \"label %1\" screenInfo:   \"%2\"", device, placement);
                return enCabinetNotFound;
            }
            const QRect rect = layout == Got::Good ? QRect(x, 0, 2, 1) : QRect(0, 0, 0, 0);
            x += 2;
            if (!records.contains(id))
                continue;
            const QString owner = records.value(id);
            const bool isNew = !built.registry.contains(id);
            if (isNew)
                built.registry.insert(id, {id, owner, rect});
            if (cabinets.contains(id))
                continue;
            cabinets.append(id);
            const QString first = built.registry.value(id).device;
            if (!isNew && first != device) {
                model.warnings.append(
                    QStringLiteral("Cabinet id %1 is on two devices, %2 and %3. Only the cabinet of %2 can be addressed.")
                        .arg(id, first, device));
            }
        }
    }
    return enSuccess;
}

void Table::addDiscovery()
{
    add(
        "ScreenManager::init",
        [](Host &) {
            ScreenManager::getInstance()->init();
            return enSuccess;
        },
        nothing,
        [](Model &model) {
            model.call(initialization);
            return enSuccess;
        });
    add(
        "ScreenManager::refreshScreen", [](Host &) { return ScreenManager::getInstance()->refreshScreen(); }, treeOf,
        [](Model &model) {
            Built built;
            Model healthy{Fault()};
            refresh(healthy, built); // what was there before
            const OutputAtEnd output(model, [&] { return built.toText(); });
            return refresh(model, built);
        });
}

} // namespace

Host::Host(const QString &file) : path(file)
{
    if (ScreenManager::getInstance()->refreshScreen() != enSuccess)
        return;
    find();
    group.reset(CabinetManager::getInstance()->tryGetCabinets({text("1"), text("3"), text("2")}));
    reset();
}

Host::Host(const Host &other, const QString &file)
    : screen(other.screen), subScreen(other.subScreen), cabinet(other.cabinet), path(file)
{
    group.reset(CabinetManager::getInstance()->tryGetCabinets({text("1"), text("3"), text("2")}));
    reset();
}

void Host::find()
{
    screen = ScreenManager::getInstance()->tryGetScreen(text("s"));
    subScreen = screen ? screen->tryGetSubScreen(deviceKeys[0]) : nullptr;
    cabinet = CabinetManager::getInstance()->tryGetCabinet(text("1"));
}

void Host::reset()
{
    variables = Variables();
    const QByteArray content("before");
    QFile file(path);
    if (file.open(QIODevice::ReadOnly) && file.readAll() == content) // a write takes long
        return;
    file.close();
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(content);
}

const std::vector<Row> &operations()
{
    static const Table table;
    return table.rows;
}

} // namespace Trust
