// Which values of a reply the library can read, type by type.

#include <adapter/ReplyCheck.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

using namespace Adapter;

Q_DECLARE_METATYPE(Adapter::Type)

namespace {

struct Opaque {
};

constexpr Field inner[] = {{"first", Type::Int, ""}, {"second", Type::Text, ""}};
constexpr Field innerList[] = {{nullptr, Type::Map, "", inner}};
constexpr Field outer[] = {{"list", Type::List, "", innerList}, {"number", Type::Int, ""}};

Operation operationOf(Form reply)
{
    return {Operation::Count,
            QStringLiteral("Made::up"),
            Address::Device,
            Form::None,
            reply,
            Extra::None,
            Effect::Reads,
            {},
            outer,
            "",
            "",
            ""};
}

/// The places that are visited, those of missing values with a question mark, up to the one named `last`.
QStringList visited(Form form, const QVariant &reply, const QString &last = QStringLiteral("none"))
{
    QStringList places;
    walkReply(operationOf(form), reply, [&](const ReplyValue &value) {
        places += value.place() + QLatin1String(value.value ? "" : "?");
        return value.place() != last;
    });
    return places;
}

} // namespace

Q_DECLARE_METATYPE(Opaque)

class tst_ReplyCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aValueConvertsToItsType_data();
    void aValueConvertsToItsType();
    void everyNamedValueIsVisited();
    void aVisitCanEndEarly();
    void repliesOfOtherFormsAreNotVisited();
};

void tst_ReplyCheck::aValueConvertsToItsType_data()
{
    QTest::addColumn<Type>("type");
    QTest::addColumn<QVariantList>("good");
    QTest::addColumn<QVariantList>("bad");
    QTest::addColumn<QString>("name");
    const QVariant opaque = QVariant::fromValue(Opaque());
    const QVariantList numbers{7, 7u, qlonglong(7), qulonglong(7), 7.0, QStringLiteral("7")};
    const QVariantList noNumbers{QStringLiteral("seven"), QVariantList{7}, opaque, QVariant()};
    QTest::newRow("bool") << Type::Bool << QVariantList{true, 1, QStringLiteral("true")}
                          << QVariantList{QVariantList{true}, opaque} << QStringLiteral("a bool");
    QTest::newRow("int") << Type::Int << numbers << noNumbers << QStringLiteral("an int");
    QTest::newRow("uint") << Type::UInt << numbers << noNumbers + QVariantList{QStringLiteral("-7")}
                          << QStringLiteral("a uint");
    QTest::newRow("qlonglong") << Type::LongLong << numbers + QVariantList{QStringLiteral("-9223372036854775808")}
                               << noNumbers + QVariantList{QStringLiteral("9223372036854775808")}
                               << QStringLiteral("a qlonglong");
    QTest::newRow("qulonglong") << Type::ULongLong << numbers + QVariantList{QStringLiteral("18446744073709551615")}
                                << noNumbers + QVariantList{QStringLiteral("18446744073709551616")}
                                << QStringLiteral("a qulonglong");
    const QVariantList texts{QStringLiteral("x"), QString(), 7, QByteArray("x")};
    const QVariantList noTexts{QVariantList{QStringLiteral("x")}, QVariantMap(), opaque};
    QTest::newRow("QString") << Type::Text << texts << noTexts << QStringLiteral("a QString");
    QTest::newRow("base64") << Type::Base64 << texts << noTexts << QStringLiteral("a QString of base64");
    QTest::newRow("cabinet id") << Type::CabinetId << texts << noTexts << QStringLiteral("a cabinet id");
    QTest::newRow("kind") << Type::Kind << QVariantList{0, 2u, QStringLiteral("1")} << QVariantList{QVariantList{0}, opaque}
                          << QStringLiteral("a kind");
    QTest::newRow("QList<int>") << Type::IntList << QVariantList{QVariant::fromValue(QList<int>{1})}
                                << QVariantList{QVariantList{1}, 1, opaque} << QStringLiteral("a QList<int>");
    QTest::newRow("list") << Type::List << QVariantList{QVariantList{1}, QStringList{QStringLiteral("x")}, QJsonArray{1}}
                          << QVariantList{QVariant::fromValue(QList<int>{1}), QVariantMap(), QStringLiteral("x"), opaque}
                          << QStringLiteral("a QVariantList");
    QTest::newRow("map") << Type::Map << QVariantList{QVariantMap(), QVariantHash(), QJsonObject()}
                         << QVariantList{QVariantList(), QStringLiteral("x"), opaque} << QStringLiteral("a QVariantMap");
}

void tst_ReplyCheck::aValueConvertsToItsType()
{
    QFETCH(Type, type);
    QFETCH(QVariantList, good);
    QFETCH(QVariantList, bad);
    QFETCH(QString, name);
    const Field field{"value", type, ""};
    for (const QVariant &value : qAsConst(good))
        QVERIFY2((ReplyValue{field, &value, nullptr, -1}).converts(), value.typeName());
    for (const QVariant &value : qAsConst(bad)) {
        const ReplyValue checked{field, &value, nullptr, -1};
        QVERIFY2(!checked.converts(), value.typeName());
        const QString found = value.isValid() ? QString::fromLatin1(value.typeName()) : QStringLiteral("invalid QVariant");
        QCOMPARE(checked.mismatch(), QStringLiteral("a %1, not %2").arg(found, name));
    }
    const ReplyValue missing{field, nullptr, nullptr, -1};
    QVERIFY(!missing.converts());
    QCOMPARE(missing.mismatch(), QStringLiteral("a invalid QVariant, not %1").arg(name));
}

void tst_ReplyCheck::everyNamedValueIsVisited()
{
    const QVariantMap element{{QStringLiteral("second"), QStringLiteral("x")}, {QStringLiteral("unknown"), 1}};
    const QVariantMap map{{QStringLiteral("list"), QVariantList{element, 7}}};
    const QStringList ofMap{QStringLiteral("[\"list\"]"),
                            QStringLiteral("[\"list\"][0]"),
                            QStringLiteral("[\"list\"][0][\"first\"]?"),
                            QStringLiteral("[\"list\"][0][\"second\"]"),
                            QStringLiteral("[\"list\"][1]"),
                            QStringLiteral("[\"number\"]?")};
    QCOMPARE(visited(Form::Map, map), QStringList{QString()} + ofMap);
    QStringList ofList{QString(), QStringLiteral("[0]")};
    for (const QString &place : ofMap)
        ofList += QStringLiteral("[0]") + place;
    QCOMPARE(visited(Form::List, QVariantList{map}), ofList);
    QCOMPARE(visited(Form::Map, QVariantList{map}), QStringList{QString()}); // of a wrong type
}

void tst_ReplyCheck::aVisitCanEndEarly()
{
    const QVariantMap map{{QStringLiteral("list"), QVariantList{QVariantMap(), QVariantMap()}}};
    QCOMPARE(visited(Form::Map, map, QString()), QStringList{QString()});
    QCOMPARE(visited(Form::Map, map, QStringLiteral("[\"list\"][0][\"first\"]")).size(), 4);
    QCOMPARE(visited(Form::Map, map, QStringLiteral("[\"number\"]")).last(), QStringLiteral("[\"number\"]?"));
}

void tst_ReplyCheck::repliesOfOtherFormsAreNotVisited()
{
    QCOMPARE(visited(Form::Map, QVariant()), QStringList());
    for (const Form form : {Form::None, Form::Promise, Form::Devices})
        QCOMPARE(visited(form, QVariantMap()), QStringList());
}

QTEST_GUILESS_MAIN(tst_ReplyCheck)
#include "tst_replycheck.moc"
