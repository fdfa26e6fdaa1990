#include "DeviceFolder.h"

#include "device/Act.h"
#include "files/Checksum.h"

#include <adapter/json/Reader.h>

#include <QtCore/QCryptographicHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QUrl>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace Simulator {

namespace {

constexpr int stateVersion = 3;
// Versions that are read, too.
constexpr int versionWithoutChecksum = 1;
constexpr int versionWithSha1OfPlanes = 2; ///< As the one before.
constexpr int sha1Length = 20;             // bytes
constexpr int xxh128Length = 16;           // bytes
constexpr int largestPack = 999999999;
constexpr int anyInt = std::numeric_limits<int>::max();

const QLatin1String stateFormat("led-wall-state");
const QLatin1String stateName("state.json");
const char *const packEnd = ".planes";

/// `state.json` ends with its own checksum, which begins so and covers everything before.
constexpr const char *checksumStart = ",\n\"sha1\": \"";
constexpr const char *checksumEnd = "\"}\n";
/// In place of the checksum: the file was edited by hand and is not verified.
const QLatin1String acceptedEdit("edited");

/// A value that goes into a pack: a plane, or the configuration file.
struct Slot {
    int number;
    const char *kind; ///< Null for the configuration file.
    const char *store;
    Kind kindValue;
    Store storeValue;
};

constexpr int configSlot = kindCount * storeCount;
constexpr std::array<const char *, kindCount> kindNames{"chroma", "multilayer", "lowGray"};
constexpr std::array<const char *, storeCount> storeNames{"working", "user", "factory", "module", "flash"};
constexpr std::array<const char *, 3> channelNames{"red", "green", "blue"};

const QVector<Slot> &lastingSlots()
{
    static const QVector<Slot> result = [] {
        QVector<Slot> all;
        for (int kind = 0; kind < kindCount; ++kind) {
            for (const Store store : lastingStores) {
                const int number = kind * storeCount + static_cast<int>(store);
                all.append({number, kindNames[static_cast<std::size_t>(kind)], storeNames[static_cast<std::size_t>(store)],
                            static_cast<Kind>(kind), store});
            }
        }
        all.append({configSlot, nullptr, nullptr, Kind::Chroma, Store::User});
        return all;
    }();
    return result;
}

Plane planeAt(const CabinetState &cabinet, const Slot &slot)
{
    return slot.kind ? cabinet.planes(slot.kindValue).stored(slot.storeValue) : Plane(cabinet.configFile);
}

/// Whether `bytes`, those of a plane, consist of default pixels.
bool isDefault(Planes planes, Store store, const QByteArray &bytes, const QByteArray &pixel)
{
    if (!bytes.isEmpty())
        planes.setBytes(store, bytes);
    return planes.isDefault(store, pixel);
}

/// Whether a plane has the bytes of the present one, as far as both can be read.
bool isKnownToBe(const Plane &value, const Plane &present)
{
    try {
        return value.hasBytesOf(present);
    } catch (const Refusal &) {
        return false;
    }
}

bool fail(QString *error, const QString &text)
{
    if (error)
        *error = text;
    return false;
}

QString packName(int number)
{
    return QString::number(number) + QLatin1String(packEnd);
}

/// The number in a pack's name, or 0 for any other name. Does not allocate, so that it cannot fail.
int packNumber(const QByteArray &name)
{
    int number = 0;
    int digits = 0;
    for (; digits < name.size() && name[digits] >= (digits == 0 ? '1' : '0') && name[digits] <= '9'; ++digits) {
        if (digits == 9)
            return 0; // beyond the largest
        number = 10 * number + (name[digits] - '0');
    }
    return digits > 0 && name.size() == digits + static_cast<int>(std::strlen(packEnd)) && name.endsWith(packEnd) ? number
                                                                                                                  : 0;
}

QByteArray sha1(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha1);
}

// Texts

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray quoted(const QString &text)
{
    const QByteArray list = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact);
    return list.mid(1, list.size() - 2);
}

/// Whether all strings of a line can be written as UTF-8: half of a surrogate pair cannot. A line has only what differs from
/// the wall's description.
bool isText(const QJsonObject &line)
{
    return std::all_of(line.begin(), line.end(), [](const QJsonValue &value) {
        return value.isObject() ? isText(value.toObject()) : value.toString().isValidUtf16();
    });
}

QJsonObject gammaObject(const std::array<QList<int>, 3> &gamma)
{
    QJsonObject result;
    for (std::size_t i = 0; i < gamma.size(); ++i) {
        QJsonArray table;
        for (const int value : gamma[i])
            table.append(value);
        if (!table.isEmpty())
            result.insert(QLatin1String(channelNames[i]), table);
    }
    return result;
}

/// Integers only, as the requests have checked.
QJsonObject parameterObject(const QMap<QString, QVariant> &parameter)
{
    QJsonObject result;
    for (auto it = parameter.cbegin(); it != parameter.cend(); ++it)
        result.insert(it.key(), it.value().toLongLong());
    return result;
}

template <typename Value>
void insertUnless(QJsonObject &object, const QString &key, const Value &value, const Value &delivered)
{
    if (value != delivered)
        object.insert(key, value);
}

template <typename Value>
void insertUnless(QJsonObject &object, const char *key, const Value &value, const Value &delivered)
{
    insertUnless(object, QString::fromLatin1(key), value, delivered);
}

void insertUnlessEmpty(QJsonObject &object, const char *key, const QJsonObject &value)
{
    if (!value.isEmpty())
        object.insert(QLatin1String(key), value);
}

/// False when a string cannot be written.
bool deviceLine(const DeviceState &device, QByteArray &line)
{
    QJsonObject object;
    insertUnless(object, "screenName", device.description.screenName, device.original.screenName);
    const DeviceSettings delivered = DeviceState::deliveredSettings(device.original);
    DeviceSettings::fields([&](const char *key, auto member, Adapter::Operation::Id, const char *) {
        insertUnless(object, key, device.settings.*member, delivered.*member);
    });
    insertUnlessEmpty(object, "gamma", gammaObject(device.settings.gamma));
    line = compact(object);
    return isText(object);
}

/// The module flags of a cabinet that differ from the delivered ones.
QJsonObject moduleFlags(const Cabinet &cabinet, const Cabinet &delivered)
{
    QJsonObject result;
    for (int i = 0; i < cabinet.receivingCards.size(); ++i) {
        const QList<Module> &modules = cabinet.receivingCards[i].modules;
        for (int j = 0; j < modules.size(); ++j)
            insertUnless(result, modules[j].id, modules[j].flag, delivered.receivingCards[i].modules[j].flag);
    }
    return result;
}

bool sameFlags(const Cabinet &a, const Cabinet &b)
{
    return a.flag == b.flag && (a.receivingCards.isSharedWith(b.receivingCards) || moduleFlags(a, b).isEmpty());
}

/// Whether nothing but long values of a cabinet may differ.
bool sameSettings(const CabinetState &a, const CabinetState &b)
{
    return a.brightness == b.brightness && a.effectMode == b.effectMode && a.gamma == b.gamma
           && a.multilayerParameter == b.multilayerParameter && a.multilayerParameters == b.multilayerParameters
           && a.flashCheckCodes == b.flashCheckCodes;
}

} // namespace

DeviceFolder::DeviceFolder(const QString &path, const std::array<QByteArray, kindCount> &defaultPixels)
    : m_path(path), m_defaultPixels(defaultPixels)
{
}

QString DeviceFolder::nameFor(const QString &deviceKey)
{
    constexpr int longest = 200; // of the 255 bytes that file systems allow
    const QByteArray encoded = QUrl::toPercentEncoding(deviceKey, QByteArray(), QByteArrayLiteral("."));
    if (encoded.size() <= longest)
        return QString::fromLatin1(encoded);
    // A percent sign without two digits after it never occurs in an encoded string.
    return QString::fromLatin1(encoded.left(longest / 2)) + QLatin1String("%-")
           + QString::fromLatin1(QCryptographicHash::hash(deviceKey.toUtf8(), QCryptographicHash::Sha1).toHex());
}

QMap<int, qint64> DeviceFolder::usedBytes(const Saved &saved)
{
    QMap<int, qint64> used;
    for (const SavedCabinet &cabinet : saved.cabinets) {
        for (const Place &place : cabinet.places)
            used[place.pack] += place.length;
    }
    return used;
}

QByteArray DeviceFolder::stateText(const QString &deviceKey, const Saved &saved)
{
    // One line a cabinet, so that a change of one leaves the others' bytes as they are.
    QByteArray text = "{\"format\": " + quoted(stateFormat) + ", \"version\": " + QByteArray::number(stateVersion)
                      + ", \"key\": " + quoted(deviceKey) + ",\n\"device\": " + saved.line + ",\n\"cabinets\": {";
    const char *separator = "\n";
    for (auto it = saved.cabinets.cbegin(); it != saved.cabinets.cend(); ++it) {
        if (it->line.isEmpty())
            continue;
        text += separator + quoted(it.key()) + ": " + it->line;
        separator = ",\n";
    }
    text += "\n}";
    return text + checksumStart + sha1(text).toHex() + checksumEnd;
}

bool DeviceFolder::create(const DeviceState &device, Disk::Making &making, QString *error)
{
    if (!device.description.screenName.isValidUtf16()) // not in the line, but in the description
        return fail(error, QStringLiteral("%1: the screen name is not valid UTF-16").arg(m_path));
    deviceLine(device, m_saved.line);
    if (const int failure = making.folder(Disk::encoded(m_path)))
        return fail(error, Disk::problem(m_path, "cannot be made", failure));
    const QString path = filePath(stateName);
    if (const int failure = making.file(Disk::encoded(path), {stateText(device.description.key, m_saved)}))
        return fail(error, Disk::problem(path, "cannot be written", failure));
    return true;
}

int DeviceFolder::nextPack() const
{
    int number = m_lastPack;
    do {
        number = number < largestPack ? number + 1 : 1;
    } while (m_packSizes.contains(number) || m_leftoverPacks.contains(number));
    return number;
}

bool DeviceFolder::save(const DeviceState &before, const DeviceState &after, QString *error)
{
    try {
        return trySave(before, after, error);
    } catch (const Refusal &refusal) { // a plane could not be read again
        return fail(error, refusal.reason);
    }
}

bool DeviceFolder::trySave(const DeviceState &before, const DeviceState &after, QString *error)
{
    Saved next = m_saved;
    if (!deviceLine(after, next.line))
        return fail(error, QStringLiteral("%1: the screen name is not valid UTF-16").arg(filePath(stateName)));
    bool changed = next.line != m_saved.line || !m_isCertain;

    // The differences. Unchanged values still share their data with the saved ones.
    const int pack = nextPack();
    QVector<QByteArray> values;
    qint64 packSize = 0;
    const auto put = [&](const QByteArray &value) {
        const Place place{pack, packSize, value.size(), Checksum::xxh128(value)};
        values += value;
        packSize += value.size();
        return place;
    };
    QSet<QString> newLines;
    if (!after.cabinets.isSharedWith(before.cabinets)) {
        auto old = before.cabinets.cbegin();
        for (auto it = after.cabinets.cbegin(); it != after.cabinets.cend(); ++it, ++old) {
            Q_ASSERT(old != before.cabinets.cend() && old.key() == it.key());
            if (!sameSettings(*it, *old))
                newLines += it.key();
            for (const Slot &slot : lastingSlots()) {
                const Plane value = planeAt(*it, slot);
                const Plane present = planeAt(*old, slot);
                if (value.isSharedWith(present) || isKnownToBe(value, present))
                    continue;
                const QByteArray bytes = value.bytes(); // read from its file once
                if (slot.kind ? isDefault(it->planes(slot.kindValue), slot.storeValue, bytes,
                                          m_defaultPixels[static_cast<std::size_t>(slot.kindValue)])
                              : bytes.isEmpty())
                    next.cabinets[it.key()].places.remove(slot.number);
                else
                    next.cabinets[it.key()].places.insert(slot.number, put(bytes));
                newLines += it.key();
            }
        }
    }
    if (!after.description.subScreens.isSharedWith(before.description.subScreens)) {
        for (auto it = after.cabinets.cbegin(); it != after.cabinets.cend(); ++it) {
            if (!sameFlags(*after.describedCabinet(it.key()), *before.describedCabinet(it.key())))
                newLines += it.key();
        }
    }
    changed = changed || !newLines.isEmpty();
    if (!changed)
        return true;

    // Packs of which less than half is in use are rewritten: the values in use move to the new pack. So a folder takes at
    // most about twice the size of its values.
    if (!values.isEmpty()) {
        const QMap<int, qint64> used = usedBytes(next);
        const auto isMostlyUnused = [&](int number) {
            return number != pack && 2 * used.value(number) < m_packSizes.value(number);
        };
        for (auto it = next.cabinets.begin(); it != next.cabinets.end(); ++it) {
            for (const Slot &slot : lastingSlots()) {
                const auto place = qAsConst(it->places).constFind(slot.number);
                if (place == it->places.constEnd() || !isMostlyUnused(place->pack))
                    continue;
                try {
                    it->places.insert(slot.number, put(planeAt(*after.cabinets.constFind(it.key()), slot).bytes()));
                    newLines += it.key();
                } catch (const Refusal &) { // it stays where it is
                }
            }
        }
    }

    for (const QString &id : qAsConst(newLines)) {
        SavedCabinet &cabinet = next.cabinets[id];
        if (!cabinetLine(after, id, cabinet, cabinet.line))
            return fail(error, QStringLiteral("%1: a flag of cabinet %2 is not valid UTF-16").arg(filePath(stateName), id));
    }
    return commit(after.description.key, next, pack, values, error);
}

bool DeviceFolder::cabinetLine(const DeviceState &device, const QString &id, const SavedCabinet &saved, QByteArray &line)
{
    const CabinetState &state = *device.cabinets.constFind(id);
    const Cabinet &described = *device.describedCabinet(id);
    const Cabinet &delivered = *device.deliveredCabinet(id);

    QJsonObject object;
    insertUnless(object, "flag", described.flag, delivered.flag);
    insertUnlessEmpty(object, "moduleFlags", moduleFlags(described, delivered));
    insertUnless(object, "brightness", state.brightness, device.original.brightnessDefault);
    insertUnless(object, "effectMode", state.effectMode, 0);
    insertUnlessEmpty(object, "gamma", gammaObject(state.gamma));
    insertUnlessEmpty(object, "multilayerParameter", parameterObject(state.multilayerParameter));
    QJsonArray layers;
    for (const QVariant &layer : state.multilayerParameters)
        layers.append(parameterObject(layer.toMap()));
    if (!layers.isEmpty())
        object.insert(QLatin1String("multilayerParameters"), layers);
    QJsonObject codes;
    for (auto it = state.flashCheckCodes.cbegin(); it != state.flashCheckCodes.cend(); ++it)
        insertUnless(codes, it.key(), it.value(), 0);
    insertUnlessEmpty(object, "flashCheckCodes", codes);

    QJsonObject planes;
    for (const Slot &slot : lastingSlots()) {
        const auto place = saved.places.constFind(slot.number);
        if (place == saved.places.constEnd())
            continue;
        const QJsonObject entry{{QLatin1String("pack"), packName(place->pack)},
                                {QLatin1String("offset"), place->offset},
                                {QLatin1String("length"), place->length},
                                {QLatin1String("xxh128"), QString::fromLatin1(place->sum.toHex())}};
        if (!slot.kind) {
            object.insert(QLatin1String("configFile"), entry);
            continue;
        }
        QJsonObject stores = planes.value(QLatin1String(slot.kind)).toObject();
        stores.insert(QLatin1String(slot.store), entry);
        planes.insert(QLatin1String(slot.kind), stores);
    }
    if (!planes.isEmpty()) {
        const QSize size = state.planes(Kind::Chroma).size();
        object.insert(QLatin1String("size"), QJsonArray{size.width(), size.height()});
        object.insert(QLatin1String("planes"), planes);
    }
    line = object.isEmpty() ? QByteArray() : compact(object);
    return isText(object);
}

bool DeviceFolder::commit(const QString &deviceKey, Saved &next, int pack, const QVector<QByteArray> &values, QString *error)
{
    // Whatever allocates comes before the new state takes the old one's place. From then on memory must follow the disk.
    const QString path = filePath(stateName);
    const QByteArray folder = Disk::encoded(m_path);
    const QByteArray state = Disk::encoded(path);
    const auto failed = [&](const QString &where, const char *what, int failure) {
        return fail(error, Disk::problem(where, what, failure));
    };
    QVector<QByteArray> names;
    if (const int failure = Disk::list(folder, names))
        return failed(m_path, "cannot be listed", failure);
    QSet<int> present;
    QVector<QByteArray> unused;
    const QMap<int, qint64> used = usedBytes(next);
    for (const QByteArray &name : qAsConst(names)) {
        const int number = packNumber(name);
        present += number;
        if (number > 0 && !used.contains(number))
            unused += folder + '/' + name;
    }
    QMap<int, qint64> sizes;
    for (auto it = used.cbegin(); it != used.cend(); ++it) {
        if (it.key() != pack && !present.contains(it.key()))
            return fail(error, QStringLiteral("%1: is gone").arg(filePath(packName(it.key()))));
        sizes.insert(it.key(), it.key() == pack ? it.value() : m_packSizes.value(it.key()));
    }

    Disk::Making making;
    const QString packPath = filePath(packName(pack));
    const QByteArray encodedPack = Disk::encoded(packPath);
    if (!values.isEmpty()) {
        m_lastPack = pack;
        if (const int failure = making.file(encodedPack, values))
            return failed(packPath, "cannot be written", failure);
        if (const int failure = Disk::syncFolder(folder))
            return failed(m_path, "cannot be synchronised", failure);
    }
    if (const int failure = Disk::writeReplacement(state, stateText(deviceKey, next)))
        return failed(path, "cannot be written", failure);
    if (const int failure = Disk::replace(state))
        return failed(path, "cannot be written", failure);

    making.keep();
    if (const int failure = Disk::syncFolder(folder)) {
        // Either state may be there after a power failure, so the packs of both must be.
        m_isCertain = false;
        if (restore(deviceKey)) {
            m_isCertain = true;
            if (!values.isEmpty())
                Disk::remove(encodedPack);
        }
        return failed(m_path, "cannot be synchronised", failure);
    }
    m_isCertain = true;
    std::swap(m_saved, next);
    m_packSizes.swap(sizes);
    for (const QByteArray &each : qAsConst(unused))
        Disk::remove(each); // retried later
    return true;
}

bool DeviceFolder::restore(const QString &deviceKey) const
{
    try {
        const QByteArray state = Disk::encoded(filePath(stateName));
        return Disk::writeReplacement(state, stateText(deviceKey, m_saved)) == 0 && Disk::replace(state) == 0
               && Disk::syncFolder(Disk::encoded(m_path)) == 0;
    } catch (const std::bad_alloc &) {
        return false;
    }
}

void DeviceFolder::tidy() noexcept
{
    for (const QByteArray &path : qAsConst(m_leftover))
        Disk::remove(path);
}

/// Reads `state.json` and the packs into a device, and finds everything that is wrong with them.
class DeviceFolder::Reader
{
public:
    Reader(const DeviceFolder &folder, DeviceState &device)
        : m_folder(folder), m_device(device), m_json(folder.filePath(stateName))
    {
    }

    bool read(Saved &saved, QMap<int, qint64> &packSizes, QString *error)
    {
        readState();
        if (m_json.isGood())
            readPacks(packSizes);
        if (m_json.isGood())
            describe(saved);
        return m_json.isGood() || fail(error, shortened(m_json.problems()));
    }

private:
    /// The place of a slot's value according to `state.json`.
    struct Found {
        QByteArray id;
        const Slot *slot;
        Place place;
        QByteArray sha1; ///< In place of the place's own checksum, in older versions.
    };

    /// A folder that lost its packs would otherwise report each of its values.
    static QString shortened(const QString &problems)
    {
        constexpr int longest = 20;
        const QStringList lines = problems.split(QLatin1Char('\n'));
        if (lines.size() <= longest)
            return problems;
        return QStringList(lines.mid(0, longest)).join(QLatin1Char('\n'))
               + QStringLiteral("\n... and %1 more").arg(lines.size() - longest);
    }

    // Values; errors are reported at the key.

    bool integer(const QJsonObject &object, const char *key, qint64 least, qint64 greatest, qint64 &result)
    {
        const QJsonValue value = object.value(QString::fromUtf8(key));
        const Json::Reader::At at(m_json, key);
        return integer(value, least, greatest, result);
    }
    bool integer(const QJsonValue &value, qint64 least, qint64 greatest, qint64 &result)
    {
        const double number = value.toDouble();
        if (value.isDouble() && std::floor(number) == number && number >= static_cast<double>(least)
            && number <= static_cast<double>(greatest)) {
            result = static_cast<qint64>(number);
            return true;
        }
        m_json.expected(least == -qint64(anyInt) - 1 ? QStringLiteral("an integer of 32 bits")
                                                     : QStringLiteral("an integer from %1 to %2").arg(least).arg(greatest),
                        value);
        return false;
    }
    /// Does not change `result` when there is no such entry.
    void optional(const QJsonObject &object, const char *key, int &result, int least = -anyInt - 1, int greatest = anyInt)
    {
        qint64 value = 0;
        if (object.contains(QString::fromUtf8(key)) && integer(object, key, least, greatest, value))
            result = static_cast<int>(value);
    }
    void optional(const QJsonObject &object, const char *key, bool &result)
    {
        const QJsonValue value = object.value(QString::fromUtf8(key));
        const Json::Reader::At at(m_json, key);
        if (value.isBool())
            result = value.toBool();
        else if (!value.isUndefined())
            m_json.expected(QStringLiteral("true or false"), value);
    }
    void optional(const QJsonObject &object, const char *key, QString &result)
    {
        const QJsonValue value = object.value(QString::fromUtf8(key));
        const Json::Reader::At at(m_json, key);
        if (value.isString())
            result = value.toString();
        else if (!value.isUndefined())
            m_json.expected(QStringLiteral("a text"), value);
    }
    /// Calls `read` with an object that is there, at its key.
    template <typename Read>
    void object(const QJsonObject &parent, const char *key, Read read)
    {
        const QJsonValue value = parent.value(QString::fromUtf8(key));
        const Json::Reader::At at(m_json, key);
        if (value.isObject())
            read(value.toObject());
        else if (!value.isUndefined())
            m_json.expected(QStringLiteral("an object"), value);
    }
    /// Calls `read` with each element of a list that is there, at its index.
    template <typename Read>
    void list(const QJsonObject &parent, const char *key, Read read)
    {
        const QJsonValue value = parent.value(QString::fromUtf8(key));
        const Json::Reader::At at(m_json, key);
        if (!value.isArray()) {
            if (!value.isUndefined())
                m_json.expected(QStringLiteral("a list"), value);
            return;
        }
        const QJsonArray elements = value.toArray();
        for (int i = 0; i < elements.size(); ++i) {
            const Json::Reader::At element(m_json, i);
            read(elements[i]);
        }
    }
    void known(const QJsonObject &object, std::initializer_list<const char *> keys)
    {
        QStringList names;
        for (const char *const key : keys)
            names += QString::fromUtf8(key);
        m_json.unknownKeys(object, names);
    }

    // Parts

    /// The name of a place's checksum.
    const char *sumKey() const { return m_version == stateVersion ? "xxh128" : "sha1"; }

    void readState()
    {
        QByteArray text;
        if (const int failure = Disk::readFile(Disk::encoded(m_folder.filePath(stateName)), text)) {
            m_json.problem(QStringLiteral("cannot be read: %1").arg(qt_error_string(failure)));
            return;
        }
        QJsonObject state;
        if (!m_json.parse(text, state) || !readHead(state))
            return;
        m_version = state.value(QLatin1String("version")).toInt();
        if (m_version == versionWithoutChecksum) {
            known(state, {"format", "version", "key", "device", "cabinets"});
        } else {
            known(state, {"format", "version", "key", "device", "cabinets", "sha1"});
            if (!checkSum(text, state))
                return;
        }
        object(state, "device", [&](const QJsonObject &device) { readDevice(device); });
        object(state, "cabinets", [&](const QJsonObject &cabinets) {
            for (auto it = cabinets.begin(); it != cabinets.end(); ++it) {
                const QByteArray id = it.key().toUtf8();
                if (m_device.cabinets.contains(it.key())) {
                    object(cabinets, id.constData(),
                           [&](const QJsonObject &cabinet) { readCabinet(it.key(), id, cabinet); });
                } else {
                    const Json::Reader::At at(m_json, id.constData());
                    m_json.problem(
                        QStringLiteral("wall.json has no such cabinet in device \"%1\"").arg(m_device.description.key));
                }
            }
        });
        for (const char *const key : {"device", "cabinets"}) {
            const Json::Reader::At at(m_json, key);
            if (!state.contains(QString::fromUtf8(key)))
                m_json.problem(QStringLiteral("is missing"));
        }
    }

    /// What `state.json` would hold for the device in this version.
    void describe(Saved &saved) const
    {
        deviceLine(m_device, saved.line);
        for (const Found &found : qAsConst(m_found))
            saved.cabinets[QString::fromUtf8(found.id)].places.insert(found.slot->number, found.place);
        for (auto it = m_device.cabinets.cbegin(); it != m_device.cabinets.cend(); ++it) {
            QByteArray line;
            cabinetLine(m_device, it.key(), saved.cabinets.value(it.key()), line);
            if (!line.isEmpty())
                saved.cabinets[it.key()].line = line;
        }
    }

    bool readHead(const QJsonObject &state)
    {
        {
            const QJsonValue format = state.value(QLatin1String("format"));
            const Json::Reader::At at(m_json, "format");
            if (format != QJsonValue(stateFormat))
                m_json.expected(QStringLiteral("\"%1\"").arg(stateFormat), format);
        }
        if (m_json.isGood()) {
            const QJsonValue version = state.value(QLatin1String("version"));
            const Json::Reader::At at(m_json, "version");
            if (version != QJsonValue(stateVersion) && version != QJsonValue(versionWithSha1OfPlanes)
                && version != QJsonValue(versionWithoutChecksum)) {
                m_json.expected(QStringLiteral("a version from %1 to %2").arg(versionWithoutChecksum).arg(stateVersion),
                                version);
            }
        }
        if (m_json.isGood()) {
            const QJsonValue key = state.value(QLatin1String("key"));
            const Json::Reader::At at(m_json, "key");
            if (key != QJsonValue(m_device.description.key))
                m_json.expected(QStringLiteral("\"%1\"").arg(m_device.description.key), key);
        }
        return m_json.isGood();
    }

    bool checkSum(const QByteArray &text, const QJsonObject &state)
    {
        if (state.value(QLatin1String("sha1")) == QJsonValue(acceptedEdit))
            return true;
        const int start = text.lastIndexOf(checksumStart);
        if (start >= 0 && text.mid(start) == checksumStart + sha1(text.left(start)).toHex() + checksumEnd)
            return true;
        const Json::Reader::At at(m_json, "sha1");
        m_json.problem(QStringLiteral("does not match the file; if the file was edited on purpose, write \"%1\" here")
                           .arg(acceptedEdit));
        return false;
    }

    void readDevice(const QJsonObject &device)
    {
        QStringList keys{QStringLiteral("screenName"), QStringLiteral("gamma")};
        DeviceSettings::fields(
            [&](const char *key, auto, Adapter::Operation::Id, const char *) { keys += QLatin1String(key); });
        m_json.unknownKeys(device, keys);
        optional(device, "screenName", m_device.description.screenName);
        DeviceSettings::fields([&](const char *key, auto member, Adapter::Operation::Id setter, const char *) {
            if (setter == Adapter::Operation::ScreenInfo_setBrightness)
                optional(device, key, m_device.settings.brightness, m_device.description.brightnessMin,
                         m_device.description.brightnessMax);
            else
                optional(device, key, m_device.settings.*member);
        });
        readGamma(device, m_device.settings.gamma);
    }

    void readGamma(const QJsonObject &owner, std::array<QList<int>, 3> &gamma)
    {
        object(owner, "gamma", [&](const QJsonObject &tables) {
            known(tables, {channelNames[0], channelNames[1], channelNames[2]});
            for (std::size_t i = 0; i < gamma.size(); ++i) {
                list(tables, channelNames[i], [&](const QJsonValue &element) {
                    qint64 value = 0;
                    if (integer(element, -qint64(anyInt) - 1, anyInt, value))
                        gamma[i] += static_cast<int>(value);
                });
            }
        });
    }

    /// A map of unsigned and signed 32-bit numbers, all of them required.
    QMap<QString, QVariant> parameter(const QJsonValue &value, std::initializer_list<const char *> unsignedKeys,
                                      std::initializer_list<const char *> signedKeys)
    {
        QMap<QString, QVariant> result;
        if (!value.isObject()) {
            m_json.expected(QStringLiteral("an object"), value);
            return result;
        }
        const QJsonObject entries = value.toObject();
        QStringList names;
        qint64 number = 0;
        for (const char *const key : unsignedKeys) {
            names += QString::fromUtf8(key);
            if (integer(entries, key, 0, std::numeric_limits<uint>::max(), number))
                result.insert(names.last(), static_cast<uint>(number));
        }
        for (const char *const key : signedKeys) {
            names += QString::fromUtf8(key);
            if (integer(entries, key, -qint64(anyInt) - 1, anyInt, number))
                result.insert(names.last(), static_cast<int>(number));
        }
        m_json.unknownKeys(entries, names);
        return result;
    }

    void readCabinet(const QString &id, const QByteArray &idBytes, const QJsonObject &cabinet)
    {
        known(cabinet, {"flag", "moduleFlags", "brightness", "effectMode", "gamma", "multilayerParameter",
                        "multilayerParameters", "flashCheckCodes", "configFile", "size", "planes"});
        const Device &description = m_device.description;
        CabinetState &state = m_device.cabinets[id];
        if (cabinet.contains(QLatin1String("flag")))
            optional(cabinet, "flag", m_device.describedCabinet(id)->flag);
        eachModule(id, cabinet, "moduleFlags", [&](const QJsonObject &flags, const char *module) {
            optional(flags, module, m_device.describedModule(id, QString::fromUtf8(module))->flag);
        });
        optional(cabinet, "brightness", state.brightness, description.brightnessMin, description.brightnessMax);
        optional(cabinet, "effectMode", state.effectMode);
        readGamma(cabinet, state.gamma);
        if (cabinet.contains(QLatin1String("multilayerParameter"))) {
            const Json::Reader::At at(m_json, "multilayerParameter");
            state.multilayerParameter = parameter(
                cabinet.value(QLatin1String("multilayerParameter")), {"inLayer1", "inLayer2", "inLayer3", "inLayer4"},
                {"inVldBitLayer01", "inVldBitLayer12", "inVldBitLayer23", "inVldBitLayer34"});
        }
        list(cabinet, "multilayerParameters", [&](const QJsonValue &layer) {
            state.multilayerParameters += QVariant(parameter(layer, {"inLayer"}, {"inVldBitLayer"}));
        });
        eachModule(id, cabinet, "flashCheckCodes", [&](const QJsonObject &codes, const char *module) {
            int code = 0;
            optional(codes, module, code);
            state.flashCheckCodes.insert(QString::fromUtf8(module), code);
        });
        if (cabinet.contains(QLatin1String("configFile"))) {
            object(cabinet, "configFile",
                   [&](const QJsonObject &place) { readPlace(idBytes, lastingSlots().last(), -1, place); });
        }
        if (cabinet.contains(QLatin1String("planes")) && checkSize(id, cabinet))
            object(cabinet, "planes", [&](const QJsonObject &planes) { readPlanes(idBytes, state, planes); });
    }

    /// Calls `read` for every module that an object has as a key.
    template <typename Read>
    void eachModule(const QString &id, const QJsonObject &cabinet, const char *key, Read read)
    {
        object(cabinet, key, [&](const QJsonObject &modules) {
            const QStringList names = modules.keys();
            for (const QString &name : names) {
                const QByteArray module = name.toUtf8();
                if (qAsConst(m_device).describedModule(id, name)) {
                    read(modules, module.constData());
                } else {
                    const Json::Reader::At at(m_json, module.constData());
                    m_json.problem(QStringLiteral("wall.json has no such module in cabinet %1").arg(id));
                }
            }
        });
    }

    bool checkSize(const QString &id, const QJsonObject &cabinet)
    {
        const Json::Reader::At at(m_json, "size");
        const QJsonValue value = cabinet.value(QLatin1String("size"));
        const QJsonArray size = value.toArray();
        if (size.size() != 2 || !size[0].isDouble() || !size[1].isDouble()) {
            m_json.expected(QStringLiteral("a list of width and height"), value);
            return false;
        }
        const QSize described = m_device.cabinets.constFind(id)->planes(Kind::Chroma).size();
        if (size == QJsonArray{described.width(), described.height()})
            return true;
        m_json.problem(QStringLiteral("saved from a cabinet of %1x%2 pixels, but wall.json has %3x%4")
                           .arg(size[0].toDouble())
                           .arg(size[1].toDouble())
                           .arg(described.width())
                           .arg(described.height()));
        return false;
    }

    void readPlanes(const QByteArray &id, const CabinetState &state, const QJsonObject &planes)
    {
        known(planes, {kindNames[0], kindNames[1], kindNames[2]});
        for (const char *const kind : kindNames) {
            object(planes, kind, [&](const QJsonObject &stores) {
                known(stores, {storeNames[1], storeNames[2], storeNames[3], storeNames[4]});
                for (const Slot &slot : lastingSlots()) {
                    if (slot.kind != kind)
                        continue;
                    object(stores, slot.store, [&](const QJsonObject &place) {
                        readPlace(id, slot, state.planes(slot.kindValue).byteCount(), place);
                    });
                }
            });
        }
    }

    /// `expectedLength` is negative where any length will do.
    void readPlace(const QByteArray &id, const Slot &slot, int expectedLength, const QJsonObject &entry)
    {
        known(entry, {"pack", "offset", "length", sumKey()});
        Found found{id, &slot, {}, {}};
        qint64 length = 0;
        bool good = integer(entry, "offset", 0, qint64(1) << 53, found.place.offset);
        good = integer(entry, "length", 1, anyInt, length) && good;
        found.place.length = static_cast<int>(length);
        if (good && expectedLength >= 0 && length != expectedLength) {
            const Json::Reader::At at(m_json, "length");
            m_json.problem(QStringLiteral("a plane of this cabinet has %1 bytes, not %2").arg(expectedLength).arg(length));
            good = false;
        }
        {
            const Json::Reader::At at(m_json, "pack");
            const QJsonValue pack = entry.value(QLatin1String("pack"));
            found.place.pack = packNumber(pack.toString().toUtf8());
            if (found.place.pack == 0) {
                m_json.expected(QStringLiteral("a name such as \"1.planes\""), pack);
                good = false;
            }
        }
        {
            const Json::Reader::At at(m_json, sumKey());
            const QJsonValue digits = entry.value(QLatin1String(sumKey()));
            const int sumLength = m_version == stateVersion ? xxh128Length : sha1Length;
            const QByteArray sum = QByteArray::fromHex(digits.toString().toLatin1());
            if (sum.size() != sumLength || digits.toString().size() != 2 * sumLength) {
                m_json.expected(QStringLiteral("%1 hexadecimal digits").arg(2 * sumLength), digits);
                good = false;
            }
            (m_version == stateVersion ? found.place.sum : found.sha1) = sum;
        }
        if (good)
            m_found += found;
    }

    // Packs

    void readPacks(QMap<int, qint64> &packSizes)
    {
        std::sort(m_found.begin(), m_found.end(), [](const Found &a, const Found &b) {
            return a.place.pack != b.place.pack ? a.place.pack < b.place.pack : a.place.offset < b.place.offset;
        });
        std::shared_ptr<Disk::Input> file;
        bool isKept = false;
        QString path;
        int pack = 0;
        for (Found &found : m_found) {
            if (found.place.pack != pack) {
                pack = found.place.pack;
                path = m_folder.filePath(packName(pack));
                file = std::make_shared<Disk::Input>();
                if (const int failure = file->open(Disk::encoded(path))) {
                    problemOf(found, "pack", QStringLiteral("%1 cannot be read: %2").arg(path, qt_error_string(failure)));
                    continue;
                }
                packSizes.insert(pack, file->size());
                isKept = file->keep();
            }
            if (file->isOpen())
                readValue(found, path, *file, isKept ? file : nullptr);
        }
    }

    /// A plane stays in `kept`, unless that is null.
    void readValue(Found &found, const QString &path, const Disk::Input &file,
                   const std::shared_ptr<const Disk::Input> &kept)
    {
        Place &place = found.place;
        if (place.offset > file.size() || place.length > file.size() - place.offset) {
            problemOf(
                found, "offset",
                QStringLiteral("%1 bytes from %2 on reach beyond %3, which has %4")
                    .arg(QString::number(place.length), QString::number(place.offset), path, QString::number(file.size())));
            return;
        }
        QByteArray bytes;
        const int failure = file.read(place.offset, place.length, bytes);
        if (failure != 0 || bytes.size() != place.length) {
            problemOf(found, "pack",
                      QStringLiteral("%1 cannot be read: %2")
                          .arg(path, failure != 0 ? qt_error_string(failure) : QStringLiteral("it ends too early")));
            return;
        }
        const QByteArray sum = Checksum::xxh128(bytes);
        if (found.sha1.isEmpty() ? sum != place.sum : sha1(bytes) != found.sha1) {
            problemOf(found, sumKey(),
                      QStringLiteral("the %1 bytes from %2 on in %3 have another checksum")
                          .arg(QString::number(place.length), QString::number(place.offset), path));
            return;
        }
        CabinetState &cabinet = m_device.cabinets[QString::fromUtf8(found.id)];
        place.sum = sum;
        if (!found.slot->kind)
            cabinet.configFile = bytes;
        else
            cabinet.planes(found.slot->kindValue)
                .setStored(found.slot->storeValue,
                           kept ? Plane(Plane::Stored{kept, path, place.offset, place.length, sum}) : Plane(bytes));
    }

    void problemOf(const Found &found, const char *key, const QString &reason)
    {
        const Json::Reader::At cabinets(m_json, "cabinets");
        const Json::Reader::At id(m_json, found.id.constData());
        const Json::Reader::At group(m_json, found.slot->kind ? "planes" : "configFile");
        if (!found.slot->kind) {
            const Json::Reader::At at(m_json, key);
            m_json.problem(reason);
            return;
        }
        const Json::Reader::At kind(m_json, found.slot->kind);
        const Json::Reader::At store(m_json, found.slot->store);
        const Json::Reader::At at(m_json, key);
        m_json.problem(reason);
    }

    const DeviceFolder &m_folder;
    DeviceState &m_device;
    Json::Reader m_json;
    QVector<Found> m_found;
    int m_version = stateVersion;
};

bool DeviceFolder::read(DeviceState &device, QString *error)
{
    Saved saved;
    QMap<int, qint64> packSizes;
    if (!Reader(*this, device).read(saved, packSizes, error))
        return false;
    const QByteArray folder = Disk::encoded(m_path);
    QVector<QByteArray> names;
    if (const int failure = Disk::list(folder, names))
        return fail(error, Disk::problem(m_path, "cannot be listed", failure));
    // A killed process may not have synchronised the folder: until then a power failure may bring the previous state back.
    if (const int failure = Disk::syncFolder(folder))
        return fail(error, Disk::problem(m_path, "cannot be synchronised", failure));
    for (const QByteArray &name : qAsConst(names)) {
        const int number = packNumber(name);
        if (number > 0 && packSizes.contains(number))
            continue;
        if (number > 0)
            m_leftoverPacks += number;
        if (number > 0 || Disk::isReplacement(name, "state.json"))
            m_leftover += folder + '/' + name;
    }
    m_saved = saved;
    m_packSizes = packSizes;
    m_lastPack = packSizes.isEmpty() ? 0 : packSizes.lastKey();
    return true;
}

bool DeviceFolder::readBesideWriter(DeviceState &device, QString *error)
{
    // A save removes the packs that the state.json before it referred to. Without a newer state.json the folder is damaged.
    constexpr int mostTries = 100;
    const QByteArray path = Disk::encoded(filePath(stateName));
    for (int tries = 0; tries < mostTries; ++tries) {
        QByteArray before;
        QByteArray after;
        static_cast<void>(Disk::readFile(path, before)); // Reader reports the reason
        DeviceState state = device;
        Saved saved;
        QMap<int, qint64> packSizes;
        if (Reader(*this, state).read(saved, packSizes, error)) {
            device = state;
            return true;
        }
        if (Disk::readFile(path, after) != 0 || after == before)
            return false;
    }
    return fail(error, QStringLiteral("%1: is saved faster than it can be read; try again").arg(m_path));
}

} // namespace Simulator
