// Values as JSON and back: nothing is lost on the way.

#include "support/Nested.h"

#include <adapter/json/Describe.h>
#include <adapter/json/Reader.h>
#include <adapter/json/TypedJson.h>
#include <adapter/json/Writer.h>

#include <QtCore/QDateTime>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPoint>
#include <QtCore/QRect>
#include <QtCore/QUrl>
#include <QtCore/QVector>
#include <QtTest/QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

using namespace Json;

namespace Sample {
enum Wide : qint64 { Far = std::numeric_limits<qint64>::max() - 1 };
enum class Narrow : qint8 { Less = -3, More = 100 };
enum Middle : qint16 { Low = -300 };
struct Opaque {
    int number;
};
} // namespace Sample
Q_DECLARE_METATYPE(Sample::Wide)
Q_DECLARE_METATYPE(Sample::Narrow)
Q_DECLARE_METATYPE(Sample::Middle)
Q_DECLARE_METATYPE(Sample::Opaque)

namespace {

using Map = QMap<QString, QVariant>;
using List = QList<QVariant>;

QJsonValue parsed(const QByteArray &json)
{
    QJsonParseError problem;
    const QJsonDocument document = QJsonDocument::fromJson('[' + json + ']', &problem);
    if (problem.error != QJsonParseError::NoError)
        qWarning("%s at %d of %s", qPrintable(problem.errorString()), problem.offset, json.constData());
    return document.array().at(0);
}

QVariant read(const QByteArray &json, QString *problem = nullptr)
{
    Reader reader{QString()};
    const Reader::At at(reader, "request");
    const QVariant value = fromTypedJson(reader, parsed(json));
    if (problem)
        *problem = reader.problems();
    else if (!reader.isGood())
        qWarning("%s", qPrintable(reader.problems()));
    return value;
}

/// "path: reason" of what is wrong with a text; empty when nothing is.
QString problemOf(const QByteArray &json)
{
    QString problem;
    read(json, &problem);
    return problem;
}

bool same(const QString &one, const QString &other)
{
    return one == other && one.isNull() == other.isNull();
}

/// Exact equality: types, bits of numbers, null and empty distinguished.
bool same(const QVariant &one, const QVariant &other)
{
    if (one.userType() != other.userType())
        return false;
    switch (one.userType()) {
    case QMetaType::UnknownType:
        return true;
    case QMetaType::Double: {
        const double a = one.toDouble();
        const double b = other.toDouble();
        return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0;
    }
    case QMetaType::Float: {
        const auto a = one.value<float>();
        const auto b = other.value<float>();
        return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0;
    }
    case QMetaType::QString:
        return same(one.toString(), other.toString());
    case QMetaType::QByteArray:
        return one.toByteArray() == other.toByteArray() && one.toByteArray().isNull() == other.toByteArray().isNull();
    case QMetaType::QStringList: {
        const QStringList a = one.toStringList();
        const QStringList b = other.toStringList();
        bool equal = a.size() == b.size();
        for (int i = 0; equal && i < a.size(); ++i)
            equal = same(a[i], b[i]);
        return equal;
    }
    case QMetaType::QVariantList: {
        const List a = one.toList();
        const List b = other.toList();
        bool equal = a.size() == b.size();
        for (int i = 0; equal && i < a.size(); ++i)
            equal = same(a[i], b[i]);
        return equal;
    }
    case QMetaType::QVariantMap: {
        const Map a = one.toMap();
        const Map b = other.toMap();
        bool equal = a.keys() == b.keys();
        for (auto it = a.cbegin(); equal && it != a.cend(); ++it)
            equal = same(it.value(), b.value(it.key()));
        return equal;
    }
    default:
        if (one.userType() == qMetaTypeId<QList<int>>())
            return one.value<QList<int>>() == other.value<QList<int>>();
        if (one.userType() == qMetaTypeId<QVector<int>>())
            return one.value<QVector<int>>() == other.value<QVector<int>>();
        if (one.userType() == qMetaTypeId<Sample::Wide>())
            return one.value<Sample::Wide>() == other.value<Sample::Wide>();
        if (one.userType() == qMetaTypeId<Sample::Narrow>())
            return one.value<Sample::Narrow>() == other.value<Sample::Narrow>();
        return one == other; // Built-in types.
    }
}

/// Draws values.
class Dice
{
public:
    explicit Dice(quint32 seed) : m_engine(seed) {}

    int below(int count) { return static_cast<int>(bits() % static_cast<quint64>(count)); }
    quint64 bits() { return m_engine(); }

    /// Also with control characters, quotes, surrogates in pairs and alone.
    QString text()
    {
        if (below(12) == 0)
            return QString();
        QString result(QLatin1String(""));
        const int size = below(8);
        for (int i = 0; i < size; ++i) {
            switch (below(8)) {
            case 0:
                result += QChar(below(0x20));
                break;
            case 1:
                result += QChar(0xd800 + below(0x800));
                break;
            case 2:
                result += QString::fromUcs4(QVector<uint>{0x1f600u + static_cast<uint>(below(64))}.constData(), 1);
                break;
            case 3:
                result += QLatin1String("\"\\/$\x7f\xe9")[below(6)];
                break;
            case 4:
                result += QChar(static_cast<ushort>(bits()));
                break;
            default:
                result += QLatin1Char(static_cast<char>('a' + below(26)));
            }
        }
        return result;
    }
    QString key()
    {
        const QString result = below(10) == 0 ? QStringLiteral("$type") : text();
        return result.isNull() ? QString(QLatin1String("")) : result;
    }
    QVariant leaf()
    {
        const quint64 number = bits() >> below(64);
        switch (below(22)) {
        case 0:
            return {};
        case 1:
            return below(2) == 0;
        case 2:
            return static_cast<int>(number);
        case 3:
            return static_cast<uint>(number);
        case 4:
            return static_cast<qlonglong>(number);
        case 5:
            return static_cast<qulonglong>(number);
        case 6:
            return QVariant::fromValue(static_cast<long>(number));
        case 7:
            return QVariant::fromValue(static_cast<short>(number));
        case 8:
            return QVariant::fromValue(static_cast<uchar>(number));
        case 9:
            return QVariant::fromValue(static_cast<char>(number));
        case 10:
            return QVariant::fromValue(static_cast<signed char>(number));
        case 11: {
            double value = 0;
            std::memcpy(&value, &number, sizeof value);
            return value;
        }
        case 12: {
            const auto half = static_cast<quint32>(number);
            float value = 0;
            std::memcpy(&value, &half, sizeof value);
            return value;
        }
        case 13: {
            QList<int> list;
            for (int i = below(4); i > 0; --i)
                list += static_cast<int>(bits());
            return QVariant::fromValue(list);
        }
        case 14: {
            QStringList list;
            for (int i = below(4); i > 0; --i)
                list += text();
            return list;
        }
        case 15: {
            QByteArray bytes;
            for (int i = below(9); i > 0; --i)
                bytes += static_cast<char>(bits());
            return bytes;
        }
        case 16:
            return QVariant::fromValue(static_cast<Sample::Wide>(number));
        case 17:
            return QVariant::fromValue(static_cast<Sample::Narrow>(number));
        case 18:
            return QRect(below(9), below(9), below(9), below(9));
        case 19:
            return QVariant::fromValue(QVector<int>{below(5), -below(5)});
        case 20:
            return static_cast<double>(below(1000)) / 8 - 40;
        default:
            return text();
        }
    }
    QVariant tree(int depth)
    {
        if (depth == 0 || below(3) == 0)
            return leaf();
        if (below(2) == 0) {
            List list;
            for (int i = below(4); i > 0; --i)
                list += tree(depth - 1);
            return list;
        }
        Map map;
        for (int i = below(4); i > 0; --i)
            map.insert(key(), tree(depth - 1));
        return map;
    }

private:
    std::mt19937_64 m_engine;
};

} // namespace

class TypedJson : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        qRegisterMetaType<Sample::Wide>();
        qRegisterMetaType<Sample::Narrow>();
        qRegisterMetaType<Sample::Middle>();
        qRegisterMetaType<Sample::Opaque>();
    }

    void readsBackEveryRandomTree()
    {
        for (quint32 seed = 0; seed < 20000; ++seed) {
            const QVariant value = Dice(seed).tree(5);
            const QByteArray json = toTypedJson(value);
            QVERIFY2(!json.contains('\n'), json.constData());
            const QVariant back = read(json);
            if (!same(value, back) || toTypedJson(back) != json)
                QFAIL(("seed " + QByteArray::number(seed) + ": " + json + " came back as " + toTypedJson(back)).constData());
        }
    }

    void writesEachTypeInItsForm_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("json");
        const auto row = [](const char *name, const QVariant &value, const char *json) {
            // Single quotes in place of double ones.
            QTest::newRow(name) << value << QByteArray(json).replace('\'', '"');
        };
        row("a text", QStringLiteral("a\"\\\n"), "'a\\\"\\\\\\u000a'");
        row("an empty text", QStringLiteral(""), "''");
        row("a null text", QString(), "{'$type': 'QString', 'value': null}");
        row("a lone high surrogate", QString(QChar(0xd801)), "'\\ud801'");
        row("a lone low surrogate", QString(QChar(0xdc01)) + QLatin1Char('x'), "'\\udc01x'");
        row("a surrogate pair", QString(QChar(0xd83d)) + QChar(0xde00), "'\xf0\x9f\x98\x80'");
        row("a pair after a lone one", QString(QChar(0xd83d)) + QChar(0xd83d) + QChar(0xde00), "'\\ud83d\xf0\x9f\x98\x80'");
        row("a zero character", QString(QChar(0)), "'\\u0000'");
        row("the last control character and a blank", QStringLiteral("\x1f "), "'\\u001f '");
        row("the delete character between others", QStringLiteral("~\x7f\u0080"), "'~\\u007f\xc2\x80'");
        row("true", true, "true");
        row("the least int", -2147483647 - 1, "-2147483648");
        row("the greatest int", 2147483647, "2147483647");
        row("nothing", QVariant(), "null");
        row("a list", List{1, List{}}, "[1, []]");
        row("a map", Map{{QStringLiteral("k"), 1}}, "{'k': 1}");
        row("a map that looks like a tag", Map{{QStringLiteral("$type"), QStringLiteral("uint")}},
            "{'$type': 'QVariantMap', 'value': {'$type': 'uint'}}");
        row("a char", QVariant::fromValue('\xff'), "{'$type': 'char', 'value': -1}");
        row("an uint", 5u, "{'$type': 'uint', 'value': 5}");
        row("a 64-bit integer", std::numeric_limits<qlonglong>::min(),
            "{'$type': 'qlonglong', 'value': '-9223372036854775808'}");
        row("an unsigned 64-bit integer", std::numeric_limits<qulonglong>::max(),
            "{'$type': 'qulonglong', 'value': '18446744073709551615'}");
        row("a double", 0.1, "{'$type': 'double', 'value': 0.1}");
        row("a negative zero", -0.0, "{'$type': 'double', 'value': '-0'}");
        row("no number", std::numeric_limits<double>::quiet_NaN(), "{'$type': 'double', 'value': 'nan'}");
        row("an infinite float", -std::numeric_limits<float>::infinity(), "{'$type': 'float', 'value': '-inf'}");
        row("ints", QVariant::fromValue(QList<int>{1, -2}), "{'$type': 'QList<int>', 'value': [1, -2]}");
        row("texts", QStringList{QStringLiteral("a"), QString()}, "{'$type': 'QStringList', 'value': ['a', null]}");
        row("empty bytes", QByteArray(""), "{'$type': 'QByteArray', 'value': ''}");
        row("null bytes", QByteArray(), "{'$type': 'QByteArray', 'value': null}");
        row("bytes", QByteArray("\0\xff", 2), "{'$type': 'QByteArray', 'value': 'AP8='}");
        row("an enumeration", QVariant::fromValue(Sample::Narrow::Less), "{'$type': 'Sample::Narrow', 'value': -3}");
        row("an enumeration of 16 bits", QVariant::fromValue(Sample::Low), "{'$type': 'Sample::Middle', 'value': -300}");
        row("an ushort", QVariant::fromValue<ushort>(65535), "{'$type': 'ushort', 'value': 65535}");
        row("an ulong", QVariant::fromValue<ulong>(7), "{'$type': 'ulong', 'value': '7'}");
        row("infinity", std::numeric_limits<double>::infinity(), "{'$type': 'double', 'value': 'inf'}");
        row("a wide enumeration", QVariant::fromValue(Sample::Far),
            "{'$type': 'Sample::Wide', 'value': '9223372036854775806'}");
        row("a point", QPoint(1, -1), "{'$type': 'QPoint', 'value': 'AAAAAf////8='}");
        row("a lone low surrogate after a letter", QStringLiteral("x") + QChar(0xdc01), "'x\\udc01'");
    }
    void writesEachTypeInItsForm()
    {
        QFETCH(QVariant, value);
        QFETCH(QByteArray, json);
        QCOMPARE(toTypedJson(value), json);
        QVERIFY(same(read(json), value));
    }

    void writesWithoutSpaces()
    {
        Writer out(Writer::Compact);
        out.open('{');
        out.key("a");
        out.open('[');
        out.next();
        out.number(qint64(1));
        out.next();
        out.flag(true);
        out.close(']');
        out.key("b");
        out.text(QStringLiteral("x"));
        out.close('}');
        QCOMPARE(out.json(), QByteArray("{'a':[1,true],'b':'x'}").replace('\'', '"'));
    }

    void laysOutOnLinesOfLimitedLength()
    {
        const auto document = [](int size, const char *separator, const char *end) {
            return "{\n  \"list\": [" + QByteArray(separator) + '"' + QByteArray(size, 'x') + '"' + end + "]\n}";
        };
        for (const int size : {0, 115, 116})
            QCOMPARE(layOut("{\"list\": [\"" + QByteArray(size, 'x') + "\"]}"), document(size, "", ""));
        QCOMPARE(layOut("{\"list\": [\"" + QByteArray(117, 'x') + "\"]}"), document(117, "\n    ", "\n  "));
        const QByteArray entry("\"a\": {\"b\": \"}]\\\"\"}");
        QCOMPARE(layOut('{' + entry + ", \"c\": []}"), "{\n  " + entry + ",\n  \"c\": []\n}");
    }

    void describesACharAsASignedNumber()
    {
        QCOMPARE(describeValue(QVariant::fromValue('\xff'), -1), QStringLiteral("char -1"));
    }

    void describesWhatItCannotMake()
    {
        const QByteArray opaque = QByteArray("{'$type': 'Foreign::Mode', 'text': 'Mode(\\'on\\')'}").replace('\'', '"');
        QCOMPARE(describeValue(read(opaque), 2), QStringLiteral("Mode(\"on\")"));
        const QByteArray text = QByteArray("{'$type': 'Foreign::Mode', 'value': 'wide'}").replace('\'', '"');
        QCOMPARE(describeValue(read(text), 4), QStringLiteral("Foreign::Mode \"wide\""));
        QCOMPARE(describeValue(read(text), 3), QStringLiteral("Foreign::Mode \"wid...\" (4 characters)"));
        QCOMPARE(describeText(QStringLiteral("wide"), 0), QStringLiteral("\"...\" (4 characters)"));
    }

    void writesTheShortEscapesExceptInLines()
    {
        const QString text = QStringLiteral("\"\\\b\f\n\r\t\u0001\u007f");
        Writer file;
        file.text(text);
        QCOMPARE(file.json(), QByteArray("\"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\x7f\""));
        Writer line(Writer::Lines);
        line.text(text);
        QCOMPARE(line.json(), QByteArray("\"\\\"\\\\\\u0008\\u000c\\u000a\\u000d\\u0009\\u0001\\u007f\""));
    }

    void describesCharactersThatCannotBeShown()
    {
        const QString smile = QString(QChar(0xd83d)) + QChar(0xde00);
        QCOMPARE(describeText(QStringLiteral("\t\r\n\"\\\u0001é") + smile, -1),
                 QStringLiteral("\"\\t\\r\\n\\\"\\\\\\u0001é") + smile + QStringLiteral("\""));
    }

    void readsWhatOthersWrite_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QVariant>("value");
        const auto row = [](const char *name, const char *json, const QVariant &value) {
            QTest::newRow(name) << QByteArray(json).replace('\'', '"') << value;
        };
        row("a 64-bit integer as a number", "{'value':64,'$type':'qlonglong'}", 64LL);
        row("the largest integer as a number", "{'$type': 'qlonglong', 'value': 9007199254740992}", 9007199254740992LL);
        row("a 64-bit integer by its other name", "{'$type': 'long long', 'value': '64'}", 64LL);
        row("an uint as a text", "{'$type': 'uint', 'value': '4294967295'}", 4294967295u);
        row("a tagged bool", "{'$type': 'bool', 'value': true}", true);
        row("a tagged int", "{'$type': 'int', 'value': 7}", 7);
        row("a double as a text", "{'$type': 'double', 'value': '0.25'}", 0.25);
        row("an int with an exponent", "1e3", 1000);
        row("a solidus escaped", "'\\/'", QStringLiteral("/"));
    }
    void readsWhatOthersWrite()
    {
        QFETCH(QByteArray, json);
        QFETCH(QVariant, value);
        QVERIFY(same(read(json), value));
    }

    void keepsWhatItCannotMake()
    {
        const QByteArray foreign =
            QByteArray("{'$type': 'Foreign::Mode', 'value': {'a': [1, {'$type': 'uint', 'value': 2}]}}").replace('\'', '"');
        const QVariant value = read(foreign);
        QCOMPARE(value.userType(), qMetaTypeId<KeptValue>());
        QCOMPARE(toTypedJson(value), foreign);
        QCOMPARE(describeValue(value, -1), QStringLiteral("Foreign::Mode {\"a\": [int 1, uint 2]}"));

        const QVariant opaque = QVariant::fromValue(Sample::Opaque{3});
        const QByteArray json = toTypedJson(opaque);
        QVERIFY2(json.startsWith("{\"$type\": \"Sample::Opaque\", \"text\": \""), json.constData());
        QCOMPARE(toTypedJson(read(json)), json);
        QCOMPARE(describeValue(read(json), -1), describeValue(opaque, -1));

        // Its texts are not cut.
        const QByteArray texts = toTypedJson(QVariant::fromValue(QVector<QString>{QStringLiteral("long")}));
        QCOMPARE(texts,
                 QByteArray("{'$type': 'QVector<QString>', 'text': 'QVector<QString> [\\'long\\']'}").replace('\'', '"'));
    }

    void refusesDeepNesting_data()
    {
        QTest::addColumn<QByteArray>("open");
        QTest::addColumn<QByteArray>("close");
        QTest::addColumn<int>("longest"); // what fits into the nesting that QJsonDocument reads
        QTest::addRow("lists") << QByteArray("[") << QByteArray("]") << 1000;
        QTest::addRow("maps") << QByteArray("{\"in\": ") << QByteArray("}") << 1000;
        QTest::addRow("both") << QByteArray("[{\"in\": ") << QByteArray("}]") << 1000;
        QTest::addRow("typed maps") << QByteArray("{\"$type\": \"QVariantMap\", \"value\": {\"$in\": ") << QByteArray("}}")
                                    << 500;
        QTest::addRow("typed lists") << QByteArray("{\"$type\": \"QVariantList\", \"value\": [") << QByteArray("]}") << 500;
        QTest::addRow("unknown types") << QByteArray("{\"$type\": \"Foreign\", \"value\": ") << QByteArray("}") << 1000;
    }
    void refusesDeepNesting()
    {
        QFETCH(QByteArray, open);
        QFETCH(QByteArray, close);
        QFETCH(int, longest);
        const int levelsEach = open.startsWith("[{") ? 2 : 1;
        const auto json = [&](int levels) {
            return open.repeated(levels / levelsEach) + '1' + close.repeated(levels / levelsEach);
        };
        QCOMPARE(problemOf(json(Nesting::deepest)), QString());
        QVERIFY2(problemOf(json(Nesting::deepest + levelsEach)).endsWith(QLatin1String(": nested deeper than 100 levels")),
                 qPrintable(problemOf(json(Nesting::deepest + levelsEach))));
        QString problem;
        TestSupport::onSmallStack([&] { problem = problemOf(json(longest)); });
        QVERIFY2(problem.endsWith(QLatin1String(": nested deeper than 100 levels")), qPrintable(problem));
        QCOMPARE(problem.count(QLatin1Char('\n')), 0);
    }

    void namesWhatIsWrong_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("problem");
        const auto row = [](const char *name, const char *json, const char *problem) {
            QTest::newRow(name) << QByteArray(json).replace('\'', '"')
                                << QString::fromLatin1(problem).replace(QLatin1Char('\''), QLatin1Char('"'));
        };
        row("a fraction", "[{'a': [0, 1.5]}]", "request[0].a[1]: 1.5 is not a 32-bit integer and needs a '$type'");
        row("more than 32 bits", "{'a b': 2147483648}",
            "request['a b']: 2147483648 is not a 32-bit integer and needs a '$type'");
        const QByteArray key63 = QByteArray(62, 'k') + '-';
        row("a long key", "{'" + key63 + "-': 1.5}",
            "request['" + key63 + "-']: 1.5 is not a 32-bit integer and needs a '$type'");
        row("a longer key", "{'" + key63 + "--': 1.5}",
            "request['" + key63 + "-...' (65 characters)]: 1.5 is not a 32-bit integer and needs a '$type'");
        row("an uint below zero", "{'$type': 'uint', 'value': -1}",
            "request.value: expected an integer from 0 to 4294967295, got -1");
        row("a 64-bit integer past its range", "{'$type': 'qlonglong', 'value': '9223372036854775808'}",
            "request.value: expected an integer from -9223372036854775808 to 9223372036854775807, got "
            "'9223372036854775808'");
        row("a 64-bit integer that a number cannot hold", "{'$type': 'qulonglong', 'value': 1e19}",
            "request.value: expected an integer from 0 to 18446744073709551615, got 10000000000000000000");
        row("a type that is not a name", "{'$type': 3, 'value': 1}", "request.$type: expected the name of a type, got 3");
        row("a tag without a value", "{'$type': 'uint'}", "request: expected one of 'value' and 'text' beside '$type'");
        row("a tag with two values", "{'$type': 'uint', 'value': 1, 'text': '1'}",
            "request: expected one of 'value' and 'text' beside '$type'");
        row("a tag with something else", "{'$type': 'uint', 'value': 1, 'unit': 'mm'}",
            "request.unit: unknown key beside '$type'");
        row("bytes that are no base64", "{'$type': 'QByteArray', 'value': 'a*b'}",
            "request.value: expected base64, got 'a*b'");
        row("a list that is none", "{'$type': 'QList<int>', 'value': {}}", "request.value: expected a list, got an object");
        row("a list with a wrong element", "{'$type': 'QList<int>', 'value': [1, true]}",
            "request.value[1]: expected an integer from -2147483648 to 2147483647, got true");
        row("a text that is none", "{'$type': 'QString', 'value': 1}", "request.value: expected a text, got 1");
        row("an escaped map that is none", "{'$type': 'QVariantMap', 'value': []}",
            "request.value: expected an object, got a list");
        row("a double that is none", "{'$type': 'double', 'value': 'x'}", "request.value: expected a number, got 'x'");
        row("a point cut short", "{'$type': 'QPoint', 'value': 'AAAA'}", "request.value: no QPoint");
        row("a bool that is none", "{'$type': 'bool', 'value': 1}", "request.value: expected true or false, got 1");
        row("bytes that are no text", "{'$type': 'QByteArray', 'value': 1}", "request.value: expected a text, got 1");
        row("a fraction for an integer", "{'$type': 'uint', 'value': 1.5}",
            "request.value: expected an integer from 0 to 4294967295, got 1.5");
        row("less than 16 bits", "{'$type': 'short', 'value': -32769}",
            "request.value: expected an integer from -32768 to 32767, got -32769");
        row("less than 32 bits", "[-2147483649]", "request[0]: -2147483649 is not a 32-bit integer and needs a '$type'");
        row("an int that is none", "{'$type': 'int', 'value': null}",
            "request.value: expected an integer from -2147483648 to 2147483647, got null");
        row("a point with more behind it", "{'$type': 'QPoint', 'value': 'AAAAAf////8AAA=='}", "request.value: no QPoint");
        row("below an empty key", "{'': {'a_b': 1.5}}", "request[''].a_b: 1.5 is not a 32-bit integer and needs a '$type'");
        row("a tag with text and something else", "{'$type': 'x', 'text': '1', 'unit': 'mm'}",
            "request.unit: unknown key beside '$type'");
        row("an enumeration past its size", "{'$type': 'Sample::Narrow', 'value': 300}",
            "request.value: expected an integer from -128 to 127, got 300");
        row("an enumeration of 16 bits past its size", "{'$type': 'Sample::Middle', 'value': 40000}",
            "request.value: expected an integer from -32768 to 32767, got 40000");
    }
    void namesWhatIsWrong()
    {
        QFETCH(QByteArray, json);
        QFETCH(QString, problem);
        QCOMPARE(problemOf(json), problem);
    }
};

QTEST_GUILESS_MAIN(TypedJson)
#include "tst_typedjson.moc"
