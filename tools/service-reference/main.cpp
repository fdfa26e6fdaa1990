// Prints the generated files of the source tree: docs/service.md, the comments of the operations in the headers of service/,
// and the schemas of wall files and journals.
//
// usage: service-reference [FILE]   FILE relative to the sources' folder, which is the current one; without it: lists the
//                                   files
//        service-reference --reference FILE   a header for the API reference: the comment of each operation gets the
//        requests
//                                             that it sends, an enumeration from a table gets the table's rows, and
//                                             special member functions without a comment get one

#include <adapter/Operations.h>
#include <adapter/journal/Journal.h>
#include <simulator/WallFile.h>

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>

using namespace Adapter;

namespace {

const char *const introduction = R"(# The device service

The operations that the library calls on devices. The owner of hardware provides these operations in one of two
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
- A refresh calls getDeviceList, and then for each device getHWInfo, getScreens, getAllCabinetsInfo and getCabAllFlags, in this
  order.
- The reply is passed in empty. After false the library does not look at it, with two exceptions: `getHWInfo` in a refresh, and
  the response headers of the checkerboard query.
- A key that a reply lacks, and a value that does not convert to the type given here, reads as 0, empty or false. `QList<int>`
  is exactly that type: a QVariantList does not convert to it, nor it to a QVariantList. The adapter writes a warning line with
  operation, device and place for the first value of a reply that does not convert; missing keys are not reported. Additional keys
  are ignored. An id that is not a decimal number counts as 0.
- "Reply: not read" means that nothing depends on it; some of these replies are written to the log.
- Numbers are `int` where nothing else is said. Coefficients travel as base64 (RFC 4648, section 4) of the values row by row,
  16-bit values low byte first.
- The library calls on the threads of its callers and takes no lock.

## Signals

ScreenManager::init connects to both. They may be emitted on any thread; hosts get them as signals of ScreenManager.

- `HttpProxy::deviceChanged()`, of a backend `DeviceBackend::devicesChanged()`: a device appeared or vanished.
- `ScreenInfo::signal_screenNameChanged(deviceKey, name)`, of a backend `DeviceBackend::screenRenamed(deviceKey, name)`: the user
  renamed the screen of a device.
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

/// The argument after request and reply; null without one.
QString extraOf(const Operation &operation)
{
    switch (operation.extra) {
    case Extra::None:
        break;
    case Extra::Enable:
        return QStringLiteral("bool: true");
    case Extra::Refresh:
        return operation.id == Operation::HWInfo_getHWInfo
                   ? QStringLiteral("bool: true in a refresh, false from IScreen::getSubScreenNames")
                   : QStringLiteral("bool: true");
    case Extra::Allowance:
        return QStringLiteral("int: how long the device may take, in the service's time unit");
    case Extra::Headers:
        return QStringLiteral("response headers, QMap<QString, QString>");
    }
    return QString();
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
        arguments =
            QStringList{QStringLiteral("device key"),
                        QStringLiteral("screen selector \"%1\"")
                            .arg(QLatin1String(operation.id == Operation::ScreenInfo_getGammaAllList ? "0" : "255"))};
        break;
    case Address::Cabinet:
        arguments = QStringList{QStringLiteral("device key"), QStringLiteral("cabinet id")};
        break;
    }
    if (operation.request != Form::None)
        arguments += QStringLiteral("request");
    if (operation.reply == Form::Map || operation.reply == Form::List)
        arguments += QStringLiteral("reply");
    const QString extra = extraOf(operation);
    if (!extra.isEmpty())
        arguments += extra;
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

QByteArray page()
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
        if (*operation.afterFailure)
            lines += QStringLiteral("- After false: %1").arg(QString::fromUtf8(operation.afterFailure));
        lines += described("Request", operation.request, operation.requestFields, ", empty.");
        lines += described("Reply", operation.reply, operation.replyFields, ", which the library does not read.");
        lines += QString();
    }
    return lines.join(QLatin1Char('\n')).toUtf8();
}

// Headers

/// The entries of a map, such as `"size" {"width" int, "height" int}, "coefficients" QString (base64: row by row)`.
QString entriesOf(Fields fields)
{
    QStringList entries;
    for (const Field &field : fields) {
        QString entry = field.key ? QStringLiteral("\"%1\" ").arg(QLatin1String(field.key)) : QString();
        if (field.type == Type::Map)
            entry += QStringLiteral("{%1}").arg(entriesOf(field.fields));
        else if (field.type == Type::List)
            entry += QStringLiteral("[%1]").arg(entriesOf(field.fields));
        else
            entry += typeName(field);
        QString meaning = QString::fromUtf8(field.meaning);
        if (field.type == Type::Base64)
            meaning.prepend(QStringLiteral("base64: "));
        if (!meaning.isEmpty())
            entry += QStringLiteral(" (%1)").arg(meaning);
        entries += entry;
    }
    return entries.join(QStringLiteral(", "));
}

/// {...} for a map, [{...}] for a list of maps; nothing for any other form.
QString valueOf(Form form, Fields fields, const char *ofEmpty)
{
    if (form != Form::Map && form != Form::List)
        return {};
    if (fields.isEmpty())
        return QLatin1String(ofEmpty);
    const QString entries = QStringLiteral("{%1}").arg(entriesOf(fields));
    return form == Form::List ? QStringLiteral("[%1]").arg(entries) : entries;
}

/// Lines of at most 125 characters.
void appendWrapped(QStringList &lines, const QString &text, const char *indent)
{
    constexpr int longest = 125;
    QString line = QStringLiteral("    ///");
    const QStringList words = text.split(QLatin1Char(' '));
    for (const QString &word : words) {
        if (line.size() + 1 + word.size() > longest) {
            lines += line;
            line = QStringLiteral("    ///") + QLatin1String(indent);
        }
        line += QLatin1Char(' ') + word;
    }
    lines += line;
}

QStringList commentOf(const Operation &operation)
{
    QStringList lines;
    appendWrapped(lines, QString::fromUtf8(operation.summary), "");
    const auto item = [&](const char *name, const QString &text) {
        if (!text.isEmpty())
            appendWrapped(lines, QStringLiteral("- %1: %2").arg(QLatin1String(name), text), "  ");
    };
    item("Request", valueOf(operation.request, operation.requestFields, "empty"));
    item("Reply", valueOf(operation.reply, operation.replyFields, "not read"));
    item("Last argument", extraOf(operation));
    item("Called by", QString::fromUtf8(operation.callers));
    const QString afterFailure = QString::fromUtf8(operation.afterFailure);
    if (afterFailure != QLatin1String("The caller returns enTimeout."))
        item("After false", afterFailure);
    return lines;
}

/// A header's text; the comment above the declaration of each operation comes from the table.
QByteArray header(const QString &path, const QByteArray &text)
{
    const QString service = QFileInfo(path).baseName();
    const QRegularExpression declaration(QStringLiteral("^    \\S.*?(\\w+)\\("));
    QStringList lines;
    const QStringList present = QString::fromUtf8(text).split(QLatin1Char('\n'));
    for (int i = 0; i < present.size(); ++i) {
        QString name = declaration.match(present[i]).captured(1);
        for (int j = i; !name.isEmpty() && j < present.size(); ++j) { // to the declaration's end
            if (present[j].contains(QLatin1String("responseHeader")))
                name += QStringLiteral("(responseHeader)");
            if (present[j].contains(QLatin1Char(';')))
                break;
        }
        if (const Operation *const operation = findOperation(service + QStringLiteral("::") + name)) {
            while (!lines.isEmpty() && lines.last().startsWith(QLatin1String("    ///")))
                lines.removeLast();
            if (!lines.isEmpty() && !lines.last().isEmpty())
                lines += QString();
            lines += commentOf(*operation);
        }
        lines += present[i];
    }
    return lines.join(QLatin1Char('\n')).toUtf8();
}

// Headers in the API reference

/// An operation of the library.
struct Caller {
    QString ownClass;
    QString name;
};

/// Those that call an operation of the service, from "setXBit of ISubScreen and IScreen" and "ICabinet::setFlag".
QVector<Caller> callersOf(const Operation &operation)
{
    static const QRegularExpression ofClasses(QStringLiteral("(\\w+) of (I\\w+\\b(?!::)(?:(?:, | and )I\\w+\\b(?!::))*)"));
    static const QRegularExpression ofOne(QStringLiteral("(\\w+)::(\\w+)"));
    static const QRegularExpression between(QStringLiteral(", | and "));
    const QString text = QString::fromUtf8(operation.callers);
    QVector<Caller> callers;
    for (auto it = ofClasses.globalMatch(text); it.hasNext();) {
        const auto match = it.next();
        const QStringList classes = match.captured(2).split(between);
        for (const QString &each : classes)
            callers.append({each, match.captured(1)});
    }
    for (auto it = ofOne.globalMatch(text); it.hasNext();) {
        const auto match = it.next();
        callers.append({match.captured(1), match.captured(2)});
    }
    return callers;
}

QStringList requestOf(const Operation &operation)
{
    QString name = operation.name.section(QLatin1Char('('), 0, 0);
    if (name.startsWith(QLatin1String("HttpProxy::")))
        name.prepend(QStringLiteral("Quorvex::Communicator::HttpDevice::"));
    QStringList lines{QString(), QStringLiteral("@par Sends %1").arg(name), QString::fromUtf8(operation.summary),
                      QStringLiteral("- Operation: %1").arg(name),
                      QStringLiteral("- Arguments: %1").arg(argumentsOf(operation))};
    if (*operation.afterFailure)
        lines += QStringLiteral("- After false: %1").arg(QString::fromUtf8(operation.afterFailure));
    lines += described("Request", operation.request, operation.requestFields, ", empty.");
    lines += described("Reply", operation.reply, operation.replyFields, ", which the library does not read.");
    return lines;
}

/// Rows of a table in place of their #include, each an enumerator with its comment.
QStringList enumerators(const QString &line)
{
    QStringList rows;
    if (line == QLatin1String("#include <adapter/Operations.def>")) {
#define OPERATION(service, name, ...) rows += QStringLiteral(#service "_" #name);
#define OPERATION_WITH_HEADERS(service, name, ...) rows += QStringLiteral(#service "_" #name "_Headers");
#include <adapter/Operations.def>
#undef OPERATION
#undef OPERATION_WITH_HEADERS
        for (const Operation &operation : operations())
            rows[operation.id] += QStringLiteral(", ///< %1").arg(QString::fromUtf8(operation.summary));
    } else if (line == QLatin1String("#include <simulator/FaultTypes.def>")) {
#define FAULT(type, name, calls, note, about) rows += QStringLiteral(#type ", ///< " about);
#include <simulator/FaultTypes.def>
    }
    return rows;
}

/// The kind of a special member function, from its declaration; null for anything else.
QString specialMember(const QString &line)
{
    static const QRegularExpression copyOrMove(
        QStringLiteral("^    (?:(\\w+)|\\w+ &operator=)\\((?:const (\\w+) &|(\\w+) &&)\\w*\\)(?: noexcept)?( = delete)?;$"));
    static const QRegularExpression destructor(QStringLiteral("^    (?:virtual )?~\\w+\\(\\)(?: override)?;$"));
    if (destructor.match(line).hasMatch())
        return QStringLiteral("Destructor.");
    const auto match = copyOrMove.match(line);
    const QString constructed = match.captured(1);
    if (!match.hasMatch() || (!constructed.isEmpty() && constructed != match.captured(2) + match.captured(3)))
        return {};
    if (!match.captured(4).isEmpty())
        return QStringLiteral("Not copyable.");
    return (match.captured(2).isEmpty() ? QStringLiteral("Move %1.") : QStringLiteral("Copy %1."))
        .arg(constructed.isEmpty() ? QStringLiteral("assignment") : QStringLiteral("constructor"));
}

/// A header for the API reference. Empty when a row of the table names no operation of the library, one that the header
/// lacks, or one without a comment.
QByteArray referenceHeader(const QString &path, const QByteArray &text)
{
    const QString ownClass = QFileInfo(path).baseName();
    QMap<QString, QStringList> requests;
    for (const Operation &operation : operations()) {
        const QVector<Caller> callers = callersOf(operation);
        if (callers.isEmpty()) {
            qCritical("%s: no operation of the library calls it", qPrintable(operation.name));
            return {};
        }
        for (const Caller &caller : callers) {
            if (caller.ownClass == ownClass)
                requests[caller.name] += requestOf(operation);
        }
    }
    const QRegularExpression declaration(QStringLiteral("^    (?:virtual )?[\\w:<>]+ (\\w+)\\(.*;$"));
    QStringList lines;
    const QStringList present = QString::fromUtf8(text).split(QLatin1Char('\n'));
    for (const QString &line : present) {
        const QStringList request = requests.take(declaration.match(line).captured(1));
        if (!request.isEmpty() && !lines.last().startsWith(QLatin1String("    ///"))) {
            qCritical("%s: no comment: %s", qPrintable(path), qPrintable(line.trimmed()));
            return {};
        }
        for (const QString &added : request)
            lines += QStringLiteral("    /// ") + added;
        if (!request.isEmpty())
            lines +=
                QStringLiteral("    /// @see %1 for threads, ownership, and the results and log lines of all operations")
                    .arg(ownClass);
        const QString special = specialMember(line);
        if (!special.isEmpty() && !lines.isEmpty() && !lines.last().startsWith(QLatin1String("    ///")))
            lines += QStringLiteral("    /// ") + special;
        const QStringList rows = enumerators(line);
        lines += rows.isEmpty() ? QStringList{line} : rows;
    }
    if (!requests.isEmpty()) {
        qCritical("%s: not declared: %s", qPrintable(path), qPrintable(requests.keys().join(QLatin1String(", "))));
        return {};
    }
    return lines.join(QLatin1Char('\n')).toUtf8();
}

// Faults

/// A page's text; the rows of its table of faults come from FaultTypes.def.
QByteArray faultsPage(const QByteArray &text)
{
    const QByteArray begin = "<!-- table: faults -->\n| C++ | file | what happens |\n|---|---|---|\n";
    const int rows = text.indexOf(begin) + begin.size();
    QByteArray result = text.left(rows);
#define FAULT(type, name, calls, note, about) result += "| `" #type "` | `" name "` | " about " |\n";
#include <simulator/FaultTypes.def>
    return result + text.mid(text.indexOf("\n\n", rows) + 1);
}

} // namespace

int main(int argc, char **argv)
{
    QStringList files{QStringLiteral("docs/service.md"), QStringLiteral("docs/wall.schema.json"),
                      QStringLiteral("docs/journal.schema.json"), QStringLiteral("docs/faults.md")};
    for (const Operation &operation : operations())
        files += QStringLiteral("service/%1.h").arg(operation.name.section(QStringLiteral("::"), 0, 0));
    files.removeDuplicates();

    const QString which = argc > 1 ? QFile::decodeName(argv[1]) : QString();
    QByteArray text;
    if (which.isEmpty()) {
        text = files.join(QLatin1Char('\n')).toUtf8() + '\n';
    } else if (which == files[0]) {
        text = page();
    } else if (which == files[1]) {
        text = Simulator::wallSchema();
    } else if (which == files[2]) {
        text = journalSchema();
    } else if (files.contains(which)) {
        QFile file(which);
        if (file.open(QIODevice::ReadOnly))
            text = which == files[3] ? faultsPage(file.readAll()) : header(which, file.readAll());
    } else if (which == QLatin1String("--reference") && argc > 2) {
        QFile file(QFile::decodeName(argv[2]));
        if (file.open(QIODevice::ReadOnly))
            text = referenceHeader(file.fileName(), file.readAll());
    }
    if (text.isEmpty()) {
        qCritical("%s: cannot be read, or does not come from a table", argv[argc - 1]);
        return 1;
    }
    QFile out;
    return out.open(stdout, QIODevice::WriteOnly) && out.write(text) == text.size() && out.flush() ? 0 : 1;
}
