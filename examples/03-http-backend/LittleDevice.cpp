#include "LittleDevice.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

namespace {

constexpr int width = 8;
constexpr int height = 4;

QJsonObject object(std::initializer_list<QPair<const char *, QJsonValue>> entries)
{
    QJsonObject result;
    for (const auto &entry : entries)
        result.insert(QLatin1String(entry.first), entry.second);
    return result;
}

QJsonArray listOf(const QJsonValue &element)
{
    QJsonArray list;
    list.append(element);
    return list;
}

/// The body of a whole HTTP request; null while some of it is missing.
QByteArray bodyOf(const QByteArray &received)
{
    const int head = received.indexOf("\r\n\r\n");
    const int length = received.left(head).toLower().indexOf("content-length:");
    if (head < 0 || length < 0)
        return {};
    const int number = length + 15;
    const int bytes = received.mid(number, received.indexOf('\r', number) - number).trimmed().toInt();
    return received.size() < head + 4 + bytes ? QByteArray() : received.mid(head + 4, bytes);
}

} // namespace

LittleDevice::LittleDevice() : m_shown(QString::fromLatin1(QByteArray(width * height * 18, '\0').toBase64()))
{
    start();
    m_url = m_started.get_future().get();
}

LittleDevice::~LittleDevice()
{
    quit();
    wait();
}

void LittleDevice::run()
{
    QTcpServer server;
    const bool listens = server.listen(QHostAddress::LocalHost);
    m_started.set_value(listens ? QUrl(QStringLiteral("http://127.0.0.1:%1/call").arg(server.serverPort())) : QUrl());
    connect(&server, &QTcpServer::newConnection, &server, [&server, this] {
        QTcpSocket *const socket = server.nextPendingConnection();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [socket, this] {
            const QByteArray body = bodyOf(socket->peek(socket->bytesAvailable()));
            if (body.isNull())
                return;
            socket->readAll();
            const QByteArray json = QJsonDocument(answer(QJsonDocument::fromJson(body).object())).toJson();
            socket->write("HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: "
                          + QByteArray::number(json.size()) + "\r\n\r\n" + json);
            socket->disconnectFromHost();
        });
    });
    exec();
}

QJsonObject LittleDevice::answer(const QJsonObject &call)
{
    const QString operation = call.value(QLatin1String("operation")).toString();
    QJsonValue reply = QJsonObject();
    if (operation == QLatin1String("HWInfo::getHWInfo")) {
        reply = object({{"customName", QStringLiteral("Little wall")}});
    } else if (operation == QLatin1String("ScreenInfo::getScreens")) {
        const QJsonObject cabinet = object({{"cabinetID", QStringLiteral("1")},
                                            {"outputID", QStringLiteral("1")},
                                            {"position.x", 0},
                                            {"position.y", 0},
                                            {"size.width", width},
                                            {"size.height", height}});
        const QJsonObject subScreen = object({{"position.x", 0}, {"position.y", 0}, {"cabinets", listOf(cabinet)}});
        reply = object({{"screenUUID", QStringLiteral("little")},
                        {"screenName", QStringLiteral("Little wall")},
                        {"expendInfo.isAllowSingleDev", false}, // called as its device
                        {"position.x", 0},
                        {"position.y", 0},
                        {"subScreens", listOf(subScreen)}});
    } else if (operation == QLatin1String("CabinetInfoOperator::getAllCabinetsInfo")) {
        reply = listOf(object({{"id", QStringLiteral("1")}, {"outputID", QStringLiteral("1")}}));
    } else if (operation == QLatin1String("CabinetInfoOperator::getCabAllFlags")) {
        reply = listOf(object({{"id", QStringLiteral("1")}, {"flag", QString()}, {"recvcardflags", QJsonArray()}}));
    } else if (operation == QLatin1String("Correctionop::uploadCoefficientAsync")) {
        // One block for the one cabinet. A device that takes parts of a cabinet evaluates "area", too.
        const QJsonObject cabinet = call.value(QLatin1String("request")).toArray().first().toObject();
        const QJsonObject block = cabinet.value(QLatin1String("coefficientList")).toArray().first().toObject();
        const QString text = block.value(QLatin1String("coefficient")).toString();
        if (text.size() != m_shown.size())
            return object({{"result", false}});
        m_shown = text;
    } else if (operation == QLatin1String("Correctionop::loadCoefficient")) {
        reply = listOf(object({{"area.point.x", 0},
                               {"area.point.y", 0},
                               {"area.size.width", width},
                               {"area.size.height", height},
                               {"coefficients", m_shown}}));
    } else if (operation == QLatin1String("Correctionop::saveCabinetsCoeffcient")) {
        m_saved = m_shown;
    } else {
        return object({{"result", false}});
    }
    return object({{"result", true}, {"reply", reply}});
}
