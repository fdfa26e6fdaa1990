#pragma once

#include <adapter/AdapterGlobal.h>

#include <QtCore/QString>
#include <QtCore/QVector>

/// The operations of the device service and of discovery: what each addresses, its request and its reply. The single
/// description from which the service's definitions, its documentation, journals and tools are derived. Its rows are in
/// Operations.def.
namespace Adapter {

/// The type of a value in a request or a reply, as its QVariant holds it.
enum class Type {
    Bool,
    Int,       ///< int
    UInt,      ///< uint
    LongLong,  ///< qlonglong
    ULongLong, ///< qulonglong
    Text,      ///< QString
    Base64,    ///< QString: bytes as base64 (RFC 4648, section 4)
    Kind,      ///< The enumeration Correction::EnumSaveType
    CabinetId, ///< QString or qlonglong: a decimal number
    IntList,   ///< QList<int>
    List,      ///< QVariantList; Field::fields holds one entry without a key, the element
    Map        ///< QVariantMap with Field::fields
};

struct Field;

/// A constant list of fields.
class Fields
{
public:
    constexpr Fields() = default;
    /// Of an array that outlives this list.
    template <int count>
    constexpr Fields(const Field (&fields)[count]) : m_first(fields), m_count(count)
    {
    }
    /// The first field.
    constexpr const Field *begin() const { return m_first; }
    /// The place behind the last field.
    constexpr const Field *end() const;
    /// Whether there are no fields.
    constexpr bool isEmpty() const { return m_count == 0; }

private:
    const Field *m_first = nullptr;
    int m_count = 0;
};

/// A named value in a request or a reply.
struct Field {
    const char *key;     ///< The whole key, which may have dots in it. Null for the element of a list.
    Type type;           ///< As it is in a QVariant.
    const char *meaning; ///< With its unit; empty when the key is clear enough.
    Fields fields = {};  ///< Of a map; of a list its element.
};

constexpr const Field *Fields::end() const
{
    return m_first + m_count;
}

/// What an operation addresses: its arguments before the request.
enum class Address {
    Wall,   ///< None: discovery.
    Device, ///< A device key.
    Screen, ///< A device key and the service's screen selector.
    Cabinet ///< A device key and a cabinet id.
};

/// A request or a reply as a whole.
enum class Form {
    None,
    Map,     ///< QMap<QString, QVariant>
    List,    ///< QList<QVariant> of maps
    Promise, ///< Of a reply: QtPromise::QPromise<bool>
    Devices  ///< Of a reply: QList<HttpDeviceInfo>
};

/// The argument after request and reply.
enum class Extra {
    None,
    Enable,    ///< bool
    Refresh,   ///< bool: true queries the device even if the service has a cached reply
    Allowance, ///< int: how long the device may take, in the service's own time unit
    Headers    ///< QMap<QString, QString> &: the response headers
};

/// What a call does to a device.
enum class Effect {
    Discovers, ///< Called by a refresh.
    Reads,
    Changes, ///< A device, or what it shows.
    Locks
};

/// One row of the table.
struct Operation {
    /// CLASS_OPERATION, in the order of the rows.
    enum Id {
#define OPERATION(service, name, ...) service##_##name,
#define OPERATION_WITH_HEADERS(service, name, ...) service##_##name##_Headers,
#include <adapter/Operations.def>
#undef OPERATION
#undef OPERATION_WITH_HEADERS
        Count
    };

    Id id; ///< Its place in operations().
    /// Class and operation, such as "Correctionop::loadCoefficient". The setCheckerBoardImage with response headers is
    /// "ScreenInfo::setCheckerBoardImage(responseHeader)".
    QString name;
    Address address;          ///< The arguments before the request.
    Form request;             ///< Form of the request.
    Form reply;               ///< Form of the reply.
    Extra extra;              ///< The argument after both.
    Effect effect;            ///< What it does to a device.
    Fields requestFields;     ///< Of the map, or of each map of the list.
    Fields replyFields;       ///< Likewise.
    const char *summary;      ///< What the device does.
    const char *callers;      ///< The library's operations that call it.
    const char *afterFailure; ///< What these return when it returned false. Empty for discovery.

    /// Whether it changes a device or its lock; all others only read.
    bool isChange() const
    {
        return effect == Effect::Changes || effect == Effect::Locks;
    }
};

/// Every operation, by its id.
ADAPTER_API const QVector<Operation> &operations();
/// Null for an unknown name.
ADAPTER_API const Operation *findOperation(const QString &name);

} // namespace Adapter
