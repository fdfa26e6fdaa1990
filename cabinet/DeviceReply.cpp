#include "cabinet/DeviceReply.h"

#include "model/Logging.h"
#include "values/Nesting.h"

#include <QtCore/QByteArray>
#include <QtCore/QMetaType>
#include <QtCore/QStringList>

#include <algorithm>
#include <type_traits>

namespace Correction {
namespace {

template <class Container>
void limit(Container &reply, const QString &deviceKey)
{
    if (!Nesting::limit(reply))
        return;
    qCWarning(lcCorrection).noquote() << QStringLiteral(
                                             "reply nested deeper than %1 levels: the rest is left out. device:%2")
                                             .arg(Nesting::deepest)
                                             .arg(deviceKey);
}

/// Prints values as QDebug does, and stops soon after a length.
class LimitedPrinter
{
public:
    explicit LimitedPrinter(int length) : m_length(length) {}

    void print(const QString &text) { printWhole(text.left(longestPart())); }

    void print(const QVariant &value)
    {
        const auto printHeld = [&](const auto &held) {
            m_text += QLatin1String("QVariant(") + QLatin1String(value.typeName()) + QLatin1String(", ");
            printEntries(held);
            m_text += QLatin1Char(')');
        };
        if (Nesting::visit(value, printHeld))
            return;
        switch (value.userType()) {
        case QMetaType::QString:
            printWhole(QVariant(static_cast<const QString *>(value.constData())->left(longestPart())));
            break;
        case QMetaType::QByteArray:
            printWhole(QVariant(static_cast<const QByteArray *>(value.constData())->left(longestPart())));
            break;
        case QMetaType::QStringList:
            printHeld(*static_cast<const QStringList *>(value.constData()));
            break;
        default:
            printWhole(value);
        }
    }

    template <class Container>
    void printEntries(const Container &container)
    {
        constexpr bool isHash = std::is_same_v<Container, QVariantHash>;
        constexpr bool isList = std::is_same_v<Container, QVariantList> || std::is_same_v<Container, QStringList>;
        m_text += QLatin1String(isList ? "(" : isHash ? "QHash(" : "QMap(");
        for (auto entry = container.cbegin(); entry != container.cend() && !isTooLong(); ++entry) {
            if constexpr (isList) {
                m_text += QLatin1String(entry == container.cbegin() ? "" : ", ");
                print(*entry);
            } else {
                m_text += QLatin1Char('(');
                print(entry.key());
                m_text += QLatin1String(", ");
                print(entry.value());
                m_text += QLatin1Char(')');
            }
        }
        m_text += QLatin1Char(')');
    }

    QString text() const { return m_text.left(m_length); }
    bool isTooLong() const { return m_text.size() > m_length; }

private:
    /// The characters or bytes of a string that are needed: none is printed as less than one character, and the first half
    /// of a surrogate pair is not the last one that is shown.
    int longestPart() const { return std::max(m_length - m_text.size(), 0) + 2; }

    template <class Value>
    void printWhole(const Value &value)
    {
        QString text;
        QDebug(&text).nospace() << value;
        m_text += text;
    }

    QString m_text;
    const int m_length;
};

QDebug write(QDebug stream, const LimitedPrinter &printer)
{
    {
        const QDebugStateSaver saver(stream);
        stream.noquote() << printer.text();
    }
    return printer.isTooLong() ? stream << "(cut)" : stream;
}

template <class Map>
QDebug print(const QDebug &stream, const Map &reply)
{
    LimitedPrinter printer(maxLoggedReply);
    printer.printEntries(reply);
    return write(stream, printer);
}

} // namespace

void limitDepth(QVariantMap &reply, const QString &deviceKey)
{
    limit(reply, deviceKey);
}

void limitDepth(QVariantList &reply, const QString &deviceKey)
{
    limit(reply, deviceKey);
}

QDebug operator<<(QDebug stream, const LoggedReply<QVariantMap> &logged)
{
    return print(stream, logged.reply);
}

QDebug operator<<(QDebug stream, const LoggedReply<QMap<QString, QString>> &logged)
{
    return print(stream, logged.reply);
}

QDebug operator<<(QDebug stream, const LoggedReply<QString> &logged)
{
    LimitedPrinter printer(maxLoggedReply);
    printer.print(logged.reply);
    return write(stream, printer);
}

} // namespace Correction
