#include "Fuzz.h"

#include "support/Files.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QRect>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <limits>

namespace {

bool isFolderUsed = false;

QTemporaryDir &temporary()
{
    static QTemporaryDir directory(TestSupport::folderTemplate());
    return directory;
}

void removeAll(const QString &path)
{
    QDir folder(path);
    for (const QFileInfo &entry :
         folder.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        if (entry.isDir() && !entry.isSymLink())
            QDir(entry.filePath()).removeRecursively();
        else
            QFile::remove(entry.filePath());
    }
}

} // namespace

namespace Fuzz {

int Bytes::number()
{
    constexpr int least = std::numeric_limits<int>::min();
    constexpr int greatest = std::numeric_limits<int>::max();
    static const int limits[] = {least,        least + 1, -(1 << 30),    (1 << 30),
                                 greatest - 1, greatest,  least / 2 - 1, greatest / 2};
    const int value = byte();
    return value < 64 ? value : value < 96 ? 63 - value : value < 128 ? limits[value % 8] : value - 128;
}

QByteArray Bytes::bytes(int length)
{
    const std::size_t taken = qMin(m_left, std::size_t(qMax(length, 0)));
    const QByteArray result(reinterpret_cast<const char *>(m_at), int(taken));
    m_at += taken;
    m_left -= taken;
    return result;
}

QString Bytes::text()
{
    static const char *const known[] = {"",    "1",  "2",   "3",   "A",          "B",   "s",
                                        "255", "-1", "007", "1e3", "4294967297", "0x1", " 1"};
    switch (byte() % 4) {
    case 0:
        return QString::fromLatin1(pick(known));
    case 1: {
        QString text;
        for (int left = below(6); left > 0; --left)
            text.append(QChar(ushort(byte() << 8 | byte())));
        return text;
    }
    case 2:
        return QString::fromLatin1(bytes(below(40)).toBase64());
    default:
        return QString::fromLatin1(bytes(below(20)));
    }
}

QVariant anyValue(Bytes &input, const QStringList &keys, int depth)
{
    switch (input.below(depth < 4 ? 20 : 14)) {
    case 0:
        return input.number();
    case 1:
        return input.text();
    case 2:
        return input.flag();
    case 3:
        return uint(input.number());
    case 4:
        return qlonglong(input.number()) * (input.flag() ? 65537 : 1);
    case 5:
        return qulonglong(input.number()) * (input.flag() ? 65537 : 1);
    case 6: {
        static const double numbers[] = {0.5,
                                         -0.0,
                                         1e300,
                                         -1e300,
                                         std::numeric_limits<double>::infinity(),
                                         std::numeric_limits<double>::quiet_NaN(),
                                         2147483648.0,
                                         1e-300};
        return input.pick(numbers);
    }
    case 7:
        return QVariant();
    case 8:
        return input.bytes(input.below(24));
    case 9: {
        QList<int> list;
        for (int left = input.below(8); left > 0; --left)
            list.append(input.number());
        return QVariant::fromValue(list);
    }
    case 10: {
        QStringList list;
        for (int left = input.below(4); left > 0; --left)
            list.append(input.text());
        return list;
    }
    case 11:
        return QRect(QPoint(input.number(), input.number()), QPoint(3, 3));
    case 12:
        return QChar(ushort(input.byte()));
    case 13:
        return QVariant::fromValue<void *>(nullptr);
    case 14:
        return QVariant::fromValue(QJsonObject::fromVariantMap({{keys.value(input.below(8)), input.number()}}));
    case 15:
        return QVariantHash{{keys.value(input.below(8)), input.number()}};
    case 16:
    case 17: {
        QVariantList list;
        for (int left = input.below(6); left > 0; --left)
            list.append(anyValue(input, keys, depth + 1));
        return list;
    }
    default: {
        QVariantMap map;
        for (int left = input.below(8); left > 0; --left) {
            const QString key = keys.isEmpty() || input.below(8) == 7 ? input.text() : input.pick(keys);
            map.insert(key, anyValue(input, keys, depth + 1));
        }
        return map;
    }
    }
}

void addKeys(const Adapter::Fields &fields, QStringList &keys)
{
    for (const Adapter::Field &field : fields) {
        const QString key = QString::fromLatin1(field.key ? field.key : "");
        if (!key.isEmpty() && !keys.contains(key))
            keys.append(key);
        addKeys(field.fields, keys);
    }
}

namespace {

void editOnce(QVariant &value, Bytes &input, const QStringList &keys)
{
    const bool isMap = value.userType() == QMetaType::QVariantMap;
    const bool isList = value.userType() == QMetaType::QVariantList;
    const int size = isMap ? value.toMap().size() : isList ? value.toList().size() : 0;
    const int step = input.below(16);
    if (size == 0 && !((isMap || isList) && step == 1)) {
        value = anyValue(input, keys, 1);
        return;
    }
    const int at = size > 0 ? input.below(size) : 0;
    if (isMap) {
        QVariantMap map = value.toMap();
        value.clear();
        if (step == 1) {
            map.insert(keys.isEmpty() || input.below(8) == 7 ? input.text() : input.pick(keys), anyValue(input, keys, 1));
        } else if (step == 2) {
            map.erase(map.begin() + at);
        } else if (step == 3) {
            map[(map.begin() + at).key()] = anyValue(input, keys, 1);
        } else {
            editOnce(*(map.begin() + at), input, keys);
        }
        value = map;
        return;
    }
    QVariantList list = value.toList();
    value.clear();
    if (step == 1)
        list.insert(at, anyValue(input, keys, 1));
    else if (step == 2)
        list.removeAt(at);
    else if (step == 3)
        list[at] = anyValue(input, keys, 1);
    else if (step == 4)
        list.append(list[at]);
    else
        editOnce(list[at], input, keys);
    value = list;
}

} // namespace

void edit(QVariant &value, Bytes &input, const QStringList &keys)
{
    for (int left = 1 + input.below(4); left > 0; --left)
        editOnce(value, input, keys);
}

void fail(const QString &text)
{
    std::fprintf(stderr, "%s\n", qPrintable(text));
    std::fflush(stderr);
    std::abort();
}

void different(const QString &got, const QString &expected, const char *what)
{
    fail(QStringLiteral("%1 differs\n     got: %2\nexpected: %3").arg(QString::fromLatin1(what), got, expected));
}

QString folder()
{
    isFolderUsed = true;
    return temporary().path();
}

void write(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    require(file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size(),
            "cannot write a file");
}

QByteArray read(const QString &path)
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), "cannot read a file");
    return file.readAll();
}

} // namespace Fuzz

// Entry points, named by libFuzzer.

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    static int count = 1;
    static char name[] = "fuzz";
    static char *arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    QLoggingCategory::setFilterRules(QStringLiteral("*=false")); // for speed
    Fuzz::require(temporary().isValid(), "no temporary folder");
    Fuzz::setUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uchar *data, std::size_t size)
{
    Fuzz::Bytes input(data, size);
    Fuzz::run(input);
    if (isFolderUsed)
        removeAll(temporary().path());
    isFolderUsed = false;
    return 0;
}
