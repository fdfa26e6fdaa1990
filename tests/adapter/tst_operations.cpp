// The table of the service's operations, compared with the headers of service/ read as text.

#include <adapter/Operations.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

using namespace Adapter;

namespace {

/// The operations that a header declares, in its order, with the types of their parameters.
struct Declared {
    QString name;
    QStringList parameters;
};

QVector<Declared> declaredIn(const QString &service)
{
    QFile file(QStringLiteral(SERVICE_HEADERS "/%1.h").arg(service));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("no header of %s", qPrintable(service));
    QString text = QString::fromUtf8(file.readAll());
    text.remove(QRegularExpression(QStringLiteral("//[^\\n]*")));
    text = text.mid(text.indexOf(QStringLiteral("public:"))).section(QStringLiteral("Q_SIGNALS"), 0, 0).simplified();
    static const QRegularExpression function(
        QStringLiteral("(?:bool|void|QList<HttpDeviceInfo>|QtPromise::QPromise<bool>) (\\w+)\\(([^)]*)\\);"));
    QVector<Declared> result;
    auto matches = function.globalMatch(text);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        Declared declared{service + QStringLiteral("::") + match.captured(1), {}};
        static const QRegularExpression comma(QStringLiteral(", (?=const |QMap<|QList<|bool |int )"));
        const QStringList parameters = match.captured(2).split(comma, Qt::SkipEmptyParts);
        for (const QString &parameter : parameters)
            declared.parameters +=
                parameter.section(QRegularExpression(QStringLiteral("[ &]")), 0, -2).remove(QLatin1Char('&')).trimmed();
        result += declared;
    }
    return result;
}

/// The parameters that a row describes.
QStringList parametersOf(const Operation &operation)
{
    QStringList types;
    const QString text = QStringLiteral("const QString");
    if (operation.address != Address::Wall)
        types += text;
    if (operation.address == Address::Screen || operation.address == Address::Cabinet)
        types += text;
    if (operation.request == Form::Map)
        types += QStringLiteral("QMap<QString, QVariant>");
    if (operation.request == Form::List)
        types += QStringLiteral("const QList<QVariant>");
    if (operation.reply == Form::Map)
        types += QStringLiteral("QMap<QString, QVariant>");
    if (operation.reply == Form::List)
        types += QStringLiteral("QList<QVariant>");
    if (operation.extra == Extra::Enable || operation.extra == Extra::Refresh)
        types += QStringLiteral("bool");
    if (operation.extra == Extra::Allowance)
        types += QStringLiteral("int");
    if (operation.extra == Extra::Headers)
        types += QStringLiteral("QMap<QString, QString>");
    return types;
}

/// As docs/service.md names them.
QString nameOf(Type type)
{
    static const QMap<Type, const char *> names{{Type::Bool, "bool"},
                                                {Type::Int, "int"},
                                                {Type::UInt, "uint"},
                                                {Type::LongLong, "qlonglong"},
                                                {Type::ULongLong, "qulonglong"},
                                                {Type::Text, "QString"},
                                                {Type::Base64, "QString"},
                                                {Type::Kind, "EnumSaveType"},
                                                {Type::CabinetId, "QString or qlonglong"},
                                                {Type::IntList, "QList<int>"},
                                                {Type::List, "QVariantList"},
                                                {Type::Map, "QVariantMap"}};
    return QString::fromUtf8(names.value(type));
}

QString nameOf(Effect effect)
{
    static const QMap<Effect, const char *> names{
        {Effect::Discovers, "discovers"}, {Effect::Reads, "reads"}, {Effect::Changes, "changes"}, {Effect::Locks, "locks"}};
    return QString::fromUtf8(names.value(effect));
}

/// How the page's list of arguments begins.
QString patternOf(Address address)
{
    static const QMap<Address, const char *> patterns{{Address::Wall, "(none|bool: true)"},
                                                      {Address::Device, "device key, (request|reply)"},
                                                      {Address::Screen, "device key, screen selector "},
                                                      {Address::Cabinet, "device key, cabinet id, "}};
    return QStringLiteral("^- Arguments: ") + QString::fromUtf8(patterns.value(address));
}

/// A row of the page for each field: its place, its type and its meaning.
void appendRows(QStringList &rows, const QString &place, Fields fields)
{
    for (const Field &field : fields) {
        const QString here =
            place + (field.key ? QStringLiteral("[\"%1\"]").arg(QLatin1String(field.key)) : QStringLiteral("[]"));
        rows += here + QStringLiteral(": ") + nameOf(field.type)
                + QLatin1String(field.type == Type::Base64 ? ": base64: " : ": ") + QString::fromUtf8(field.meaning);
        appendRows(rows, here, field.fields);
    }
}

} // namespace

class tst_Operations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyDeclaredOperationHasItsRow_data();
    void everyDeclaredOperationHasItsRow();
    void rowsStandAtTheirIds();
    void operationsAreFoundByName();
    void fieldsAreComplete_data();
    void fieldsAreComplete();
    void thePageSaysTheSame_data() { fieldsAreComplete_data(); }
    void thePageSaysTheSame();
};

void tst_Operations::everyDeclaredOperationHasItsRow_data()
{
    QTest::addColumn<QString>("service");
    for (const char *service : {"Correctionop", "CabinetInfoOperator", "ScreenInfo", "HWInfo", "HttpProxy"})
        QTest::newRow(service) << QString::fromLatin1(service);
}

void tst_Operations::everyDeclaredOperationHasItsRow()
{
    QFETCH(QString, service);
    QStringList declared;
    const QVector<Declared> found = declaredIn(service);
    for (const Declared &each : found) {
        QStringList parameters = each.parameters;
        // Maps of requests are const in some operations and not in others.
        for (QString &parameter : parameters)
            parameter.replace(QStringLiteral("const QMap"), QStringLiteral("QMap"));
        declared += each.name + QLatin1Char('(') + parameters.join(QStringLiteral("; ")) + QLatin1Char(')');
    }
    QVERIFY(!declared.isEmpty());
    QStringList rows;
    for (const Operation &operation : operations()) {
        if (operation.name.startsWith(service + QStringLiteral("::"))) {
            QString name = operation.name;
            rows += name.remove(QStringLiteral("(responseHeader)")) + QLatin1Char('(')
                    + parametersOf(operation).join(QStringLiteral("; ")) + QLatin1Char(')');
        }
    }
    QCOMPARE(rows, declared);
}

void tst_Operations::rowsStandAtTheirIds()
{
    QCOMPARE(operations().size(), int(Operation::Count));
    for (int i = 0; i < operations().size(); ++i)
        QCOMPARE(int(operations()[i].id), i);
}

void tst_Operations::operationsAreFoundByName()
{
    for (const Operation &operation : operations())
        QCOMPARE(findOperation(operation.name), &operation);
    QCOMPARE(findOperation(QStringLiteral("Correctionop::nothing")), nullptr);
    QCOMPARE(findOperation(QString()), nullptr);
    QCOMPARE(findOperation(QStringLiteral("ScreenInfo::setCheckerBoardImage(responseHeader)"))->extra, Extra::Headers);
    QCOMPARE(findOperation(QStringLiteral("ScreenInfo::setCheckerBoardImage"))->extra, Extra::None);
}

void tst_Operations::fieldsAreComplete_data()
{
    QTest::addColumn<int>("id");
    for (const Operation &operation : operations())
        QTest::newRow(qPrintable(operation.name)) << int(operation.id);
}

/// Lists hold one field without a key, maps hold fields with keys that differ, and nothing else holds any.
void tst_Operations::fieldsAreComplete()
{
    QFETCH(int, id);
    const std::function<void(Fields)> check = [&check](Fields fields) {
        QStringList keys;
        for (const Field &field : fields) {
            QVERIFY(field.meaning);
            keys += QString::fromLatin1(field.key);
            if (field.type == Type::List) {
                QVERIFY(!field.fields.isEmpty());
                QCOMPARE(int(field.fields.end() - field.fields.begin()), 1);
                QVERIFY(!field.fields.begin()->key);
                check(field.fields.begin()->fields);
            } else {
                QVERIFY(field.key);
                QCOMPARE(field.fields.isEmpty(), field.type != Type::Map);
                check(field.fields);
            }
        }
        QCOMPARE(keys.removeDuplicates(), 0);
    };
    const Operation &operation = operations()[id];
    check(operation.requestFields);
    check(operation.replyFields);
    QVERIFY(qstrlen(operation.summary) > 10);
    QVERIFY(qstrlen(operation.callers) > 10);
    QCOMPARE(qstrlen(operation.afterFailure) > 5, operation.address != Address::Wall);
}

void tst_Operations::thePageSaysTheSame()
{
    QFETCH(int, id);
    const Operation &operation = operations()[id];
    QFile page(QStringLiteral(SERVICE_HEADERS "/../docs/service.md"));
    QVERIFY(page.open(QIODevice::ReadOnly));
    QString section = QString::fromUtf8(page.readAll()).section(QStringLiteral("\n### %1\n").arg(operation.name), 1, 1);
    section = section.section(QStringLiteral("\n### "), 0, 0).section(QStringLiteral("\n## "), 0, 0);
    QStringList described;
    QStringList places;
    for (const QString &line : section.split(QLatin1Char('\n'), Qt::SkipEmptyParts)) {
        if (line.startsWith(QLatin1String("| `"))) {
            const QStringList cells = line.mid(3).split(QStringLiteral(" | "));
            QCOMPARE(cells.size(), 3);
            places += cells[0].chopped(1) + QStringLiteral(": ") + cells[1].mid(1).chopped(1) + QStringLiteral(": ")
                      + cells[2].chopped(2);
        } else if (!line.startsWith(QLatin1Char('|'))) {
            described += line;
        }
    }
    QStringList rows;
    appendRows(rows, operation.request == Form::List ? QStringLiteral("[]") : QString(), operation.requestFields);
    const bool isListed = operation.reply == Form::List || operation.reply == Form::Devices;
    appendRows(rows, isListed ? QStringLiteral("[]") : QString(), operation.replyFields);
    QCOMPARE(places, rows);
    QCOMPARE(described[0], QString::fromUtf8(operation.summary));
    QVERIFY(described.contains(QStringLiteral("- Effect: ") + nameOf(operation.effect)));
    QCOMPARE(described.filter(QRegularExpression(patternOf(operation.address))).size(), 1);
    QVERIFY(described.contains(QStringLiteral("- Called by: ") + QString::fromUtf8(operation.callers)));
    QCOMPARE(described.contains(QStringLiteral("- After false: ") + QString::fromUtf8(operation.afterFailure)),
             operation.address != Address::Wall);
    QCOMPARE(qstrlen(operation.afterFailure) == 0, operation.address == Address::Wall);
}

QTEST_GUILESS_MAIN(tst_Operations)
#include "tst_operations.moc"
