// Prints docs/service.md: the operations of the device service, from the adapter's table.

#include <adapter/Operations.h>

#include <QtCore/QFile>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>

using namespace Adapter;

namespace {

const char *const introduction = R"(# The device service

What the library asks of the devices, operation by operation. Whoever owns hardware provides these operations in one of two
ways:

- implement `Adapter::DeviceBackend` ([`adapter/DeviceBackend.h`](../adapter/DeviceBackend.h)), link `Correction::Adapter` and
  install the backend with `Adapter::setBackend()`. Every call then arrives as one value, `Adapter::Call`.
- or define the five classes of [`service/`](../service) directly, with exactly the signatures of those headers.

This page is generated from the table in [`adapter/Operations.def`](../adapter/Operations.def); `scripts/test` checks that it is
current. `scripts/service-page` writes it.

## Conventions

- A device key (QString) names one controller device, a cabinet id (QString) holds a decimal number. Cabinet ids are unique over
  all devices. The screen selector is a fixed string of the library: "255" for settings, "0" for reading gamma tables.
- Requests and replies are `QMap<QString, QVariant>` (map) or `QList<QVariant>` of such maps (list). A place such as
  `["area"]["point"]["x"]` is a key in a map in a map; `[]` is each element of a list. A dot belongs to its key.
- A call blocks until the device has answered; the three uploads with a promise return at once. It returns true, or false when
  the device did not answer in time or refused. A null `getInstance()` and an exception count as false; of exceptions only
  `std::bad_alloc` reaches the host.
- The reply is passed in empty. After false the library does not look at it, with two exceptions: `getHWInfo` in a refresh, and
  the response headers of the checkerboard query.
- A key that a reply lacks, and a value that does not convert to the type given here, reads as 0, empty or false. The adapter
  writes a warning line with operation, device and place for the first such value of a reply. Additional keys are ignored.
- Numbers are `int` where nothing else is said. Coefficients travel as base64 (RFC 4648, section 4) of the values row by row,
  16-bit values low byte first.
- The library calls on the threads of its callers and takes no lock.
)";

QString typeName(const Field &field)
{
    switch (field.type) {
    case Type::Bool:
        return QStringLiteral("bool");
    case Type::Int:
        return QStringLiteral("int");
    case Type::UInt:
        return QStringLiteral("uint");
    case Type::LongLong:
        return QStringLiteral("qlonglong");
    case Type::ULongLong:
        return QStringLiteral("qulonglong");
    case Type::Text:
        return QStringLiteral("QString");
    case Type::Base64:
        return QStringLiteral("QString");
    case Type::Kind:
        return QStringLiteral("EnumSaveType");
    case Type::CabinetId:
        return QStringLiteral("QString or qlonglong");
    case Type::IntList:
        return QStringLiteral("QList<int>");
    case Type::List:
        return QStringLiteral("QVariantList");
    case Type::Map:
        return QStringLiteral("QVariantMap");
    }
    return QString();
}

void appendRows(QStringList &rows, const QString &place, Fields fields)
{
    for (const Field &field : fields) {
        const QString here =
            place + (field.key ? QStringLiteral("[\"%1\"]").arg(QLatin1String(field.key)) : QStringLiteral("[]"));
        rows += QStringLiteral("| `%1` | `%2` | %3 |")
                    .arg(here, typeName(field),
                         (field.type == Type::Base64 ? QStringLiteral("base64: ") : QString())
                             + QString::fromUtf8(field.meaning));
        appendRows(rows, here, field.fields);
    }
}

/// A request or a reply: its form, and a table of its places, or `ofEmpty` without any.
QStringList described(const char *name, Form form, Fields fields, const char *ofEmpty)
{
    QString whole;
    QString place;
    switch (form) {
    case Form::None:
        return {};
    case Form::Promise:
        return {QString(), QStringLiteral("Returns a promise of bool, which may settle on any thread.")};
    case Form::Map:
        whole = QStringLiteral("map");
        break;
    case Form::List:
        whole = QStringLiteral("list of maps");
        place = QStringLiteral("[]");
        break;
    case Form::Devices:
        whole = QStringLiteral("`QList<HttpDeviceInfo>`");
        place = QStringLiteral("[]");
        break;
    }
    const QString line = QStringLiteral("%1: %2").arg(QLatin1String(name), whole);
    if (fields.isEmpty())
        return {QString(), line + QLatin1String(ofEmpty)};
    QStringList lines{QString(), line + QLatin1Char('.'), QString(), QStringLiteral("| place | type | meaning |"),
                      QStringLiteral("|---|---|---|")};
    appendRows(lines, place, fields);
    return lines;
}

QString argumentsOf(const Operation &operation)
{
    QStringList arguments;
    switch (operation.address) {
    case Address::Wall:
        break;
    case Address::Device:
        arguments = QStringList{QStringLiteral("device key")};
        break;
    case Address::Screen:
        arguments = QStringList{QStringLiteral("device key"), QStringLiteral("screen selector")};
        break;
    case Address::Cabinet:
        arguments = QStringList{QStringLiteral("device key"), QStringLiteral("cabinet id")};
        break;
    }
    if (operation.request != Form::None)
        arguments += QStringLiteral("request");
    if (operation.reply == Form::Map || operation.reply == Form::List)
        arguments += QStringLiteral("reply");
    switch (operation.extra) {
    case Extra::None:
        break;
    case Extra::Enable:
        arguments += QStringLiteral("bool: true to start");
        break;
    case Extra::Refresh:
        arguments += QStringLiteral("bool: true to ask the device instead of a cache");
        break;
    case Extra::Allowance:
        arguments += QStringLiteral("int: how long the device may take, in the service's time unit");
        break;
    case Extra::Headers:
        arguments += QStringLiteral("response headers");
        break;
    }
    return arguments.isEmpty() ? QStringLiteral("none") : arguments.join(QStringLiteral(", "));
}

QString effectOf(const Operation &operation)
{
    switch (operation.effect) {
    case Effect::Discovers:
        return QStringLiteral("discovers");
    case Effect::Reads:
        return QStringLiteral("reads");
    case Effect::Changes:
        return QStringLiteral("changes");
    case Effect::Locks:
        return QStringLiteral("locks");
    }
    return QString();
}

} // namespace

int main()
{
    QStringList lines = QString::fromUtf8(introduction).split(QLatin1Char('\n'));
    QString service;
    for (const Operation &operation : operations()) {
        const QString ownService = operation.name.section(QStringLiteral("::"), 0, 0);
        if (ownService != service) {
            service = ownService;
            lines += QStringLiteral("## %1\n").arg(service);
        }
        lines += QStringLiteral("### %1\n").arg(operation.name);
        lines += QString::fromUtf8(operation.summary);
        lines += QString();
        lines += QStringLiteral("- Effect: %1").arg(effectOf(operation));
        lines += QStringLiteral("- Arguments: %1").arg(argumentsOf(operation));
        lines += QStringLiteral("- Called by: %1").arg(QString::fromUtf8(operation.callers));
        lines += QStringLiteral("- After false: %1").arg(QString::fromUtf8(operation.afterFailure));
        lines += described("Request", operation.request, operation.requestFields, ", empty.");
        lines += described("Reply", operation.reply, operation.replyFields, ", which the library does not read.");
        lines += QString();
    }
    QFile out;
    if (!out.open(stdout, QIODevice::WriteOnly))
        return 1;
    const QByteArray page = lines.join(QLatin1Char('\n')).toUtf8();
    return out.write(page) == page.size() && out.flush() ? 0 : 1;
}
