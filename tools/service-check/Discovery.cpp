// The requests of a refresh of the library, and whether the replies are consistent.

#include "Check.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <set>

namespace ServiceCheck {

namespace {

QString textOf(const QVariant &map, const char *key)
{
    return map.toMap().value(QLatin1String(key)).toString();
}

int numberOf(const QVariant &map, const char *key)
{
    return map.toMap().value(QLatin1String(key)).toInt();
}

QVariantList listIn(bool isAnswered, const QVariant &reply)
{
    return isAnswered ? reply.toList() : QVariantList();
}

QString cabinetAtOutput(const QString &id, const QString &output)
{
    return QStringLiteral("cabinet %1 at output %2").arg(id, output);
}

/// Processes the events and signals of a search.
void waitForEvents(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

} // namespace

QString Check::findDevices(QVector<Device> &devices)
{
    ask(Operation::HttpProxy_initialize, {}).finish(m_report);
    const QDeadlineTimer deadline(m_options.search);
    Exchange list = ask(Operation::HttpProxy_getDeviceList, {});
    while (list.isGood() && list.reply().toList().isEmpty() && !deadline.hasExpired()) {
        waitForEvents(50);
        list = ask(Operation::HttpProxy_getDeviceList, {});
    }
    QStringList keys;
    const QVariantList found = list.reply().toList();
    for (const QVariant &device : found) {
        const QString key = textOf(device, "key");
        if (keys.contains(key))
            list.bad(Finding::DuplicateDevice, QStringLiteral("device %1 is listed twice").arg(key));
        else
            keys += key;
    }
    if (list.isGood() && keys.isEmpty())
        list.bad(Finding::EmptyDeviceList, QStringLiteral("no device is listed"));
    list.finish(m_report);
    for (const QString &key : qAsConst(keys)) {
        Device device;
        device.key = key;
        if (m_options.device.isEmpty() || key == m_options.device)
            devices.append(device);
    }
    if (keys.isEmpty())
        return QStringLiteral("no device was found");
    if (devices.isEmpty())
        return QStringLiteral("there is no device %1, only %2").arg(m_options.device, keys.join(QLatin1String(", ")));
    return {};
}

void Check::describe(Device &device)
{
    Exchange hardware = ask(Operation::HWInfo_getHWInfo, device.key);
    Exchange screens = ask(Operation::ScreenInfo_getScreens, device.key);
    Exchange list = ask(Operation::CabinetInfoOperator_getAllCabinetsInfo, device.key);
    Exchange flags = ask(Operation::CabinetInfoOperator_getCabAllFlags, device.key);
    device.isReached = screens.isAnswered() && list.isAnswered() && flags.isAnswered();

    // Consequences of a wrong reply are not reported again.
    const bool screensFit = screens.isGood();
    const bool listFits = list.isGood();
    const bool flagsFit = flags.isGood();
    const auto checkId = [](Exchange &exchange, const QString &id, std::set<QString> &ids) {
        bool isNumber = false;
        static_cast<void>(id.toLongLong(&isNumber));
        if (!isNumber)
            exchange.bad(Finding::BadId, QStringLiteral("cabinet id \"%1\" is not a decimal number").arg(id));
        if (!ids.insert(id).second)
            exchange.bad(Finding::DuplicateId, QStringLiteral("cabinet %1 is there twice").arg(id));
    };
    std::set<QString> listed;
    std::set<QString> described;
    std::set<QString> placed;

    for (const QVariant &cabinet : listIn(list.isAnswered(), list.reply())) {
        const QString id = textOf(cabinet, "id");
        if (listFits)
            checkId(list, id, listed);
        const QString owner = m_owners.value(id, device.key);
        if (listFits && owner != device.key)
            list.bad(Finding::DuplicateId, QStringLiteral("cabinet %1 is also on device %2").arg(id, owner), owner);
        m_owners.insert(id, owner);
        m_listed.insert(cabinetAtOutput(id, textOf(cabinet, "outputID")));
    }
    for (const QVariant &cabinet : listIn(flags.isAnswered(), flags.reply())) {
        const QString id = textOf(cabinet, "id");
        if (flagsFit)
            checkId(flags, id, described);
        m_described.insert(id);
    }
    for (const QVariant &subScreen :
         listIn(screens.isAnswered(), screens.reply().toMap().value(QStringLiteral("subScreens")))) {
        for (const QVariant &cabinet : listIn(true, subScreen.toMap().value(QStringLiteral("cabinets")))) {
            const QString id = textOf(cabinet, "cabinetID");
            const QString place = cabinetAtOutput(id, textOf(cabinet, "outputID"));
            const QSize size(numberOf(cabinet, "size.width"), numberOf(cabinet, "size.height"));
            if (screensFit) {
                checkId(screens, id, placed);
                if (size.isEmpty())
                    screens.bad(Finding::EmptyRectangle,
                                QStringLiteral("%1 is %2x%3").arg(place).arg(size.width()).arg(size.height()));
                if (listFits && !m_listed.contains(place))
                    screens.bad(Finding::NotListed,
                                place + QStringLiteral(" is placed, but getAllCabinetsInfo does not list it there"));
                if (flagsFit && !m_described.contains(id))
                    flags.bad(Finding::NoFlags,
                              QStringLiteral("cabinet %1 is placed by getScreens, but not described").arg(id));
            }
            if (m_described.contains(id) && m_owners.value(id) == device.key && !size.isEmpty())
                device.cabinets.append({id, size});
        }
    }
    for (const QString &id : listed) {
        if (screensFit && placed.count(id) == 0)
            screens.bad(Finding::NotPlaced, QStringLiteral("cabinet %1 is listed, but not placed").arg(id));
    }
    for (const Exchange *exchange : {&hardware, &screens, &list, &flags})
        exchange->finish(m_report);
}

} // namespace ServiceCheck
