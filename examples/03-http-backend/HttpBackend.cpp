#include "HttpBackend.h"

#include <adapter/Operations.h>

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QNetworkRequest>

#include <future>

using namespace Adapter;

namespace {

constexpr int timeout = 3000; // milliseconds

/// A request as JSON. Numbers of 64 bits are cabinet ids, which a double holds exactly up to 2^53.
QJsonValue toJson(const QVariant &value)
{
    if (value.userType() == QMetaType::QVariantMap) {
        QJsonObject object;
        const QVariantMap map = value.toMap();
        for (auto entry = map.cbegin(); entry != map.cend(); ++entry)
            object.insert(entry.key(), toJson(entry.value()));
        return object;
    }
    if (value.userType() == QMetaType::QVariantList || value.userType() == qMetaTypeId<QList<int>>()) {
        QJsonArray array;
        for (const QVariant &element : value.value<QSequentialIterable>())
            array.append(toJson(element));
        return array;
    }
    if (QMetaType(value.userType()).flags() & QMetaType::IsEnumeration)
        return value.toInt();
    return QJsonValue::fromVariant(value);
}

/// A reply as the service has it: the types of its values are those of the operation table.
QVariant typed(const QJsonValue &value, const Field &field)
{
    switch (field.type) {
    case Type::Map: {
        QVariantMap map;
        const QJsonObject object = value.toObject();
        for (const Field &each : field.fields) {
            const auto entry = object.constFind(QLatin1String(each.key));
            if (entry != object.constEnd())
                map.insert(entry.key(), typed(entry.value(), each));
        }
        return map;
    }
    case Type::List: {
        QVariantList list;
        for (const QJsonValue element : value.toArray())
            list.append(typed(element, *field.fields.begin()));
        return list;
    }
    case Type::IntList: {
        QList<int> list;
        for (const QJsonValue element : value.toArray())
            list.append(element.toInt());
        return QVariant::fromValue(list);
    }
    case Type::Bool:
        return value.toBool();
    case Type::Int:
    case Type::Kind:
        return value.toInt();
    case Type::UInt:
        return value.toVariant().toUInt();
    case Type::LongLong:
        return value.toVariant().toLongLong();
    case Type::ULongLong:
        return value.toVariant().toULongLong();
    case Type::Text:
    case Type::Base64:
    case Type::CabinetId:
        return value.toString();
    }
    return value.toVariant();
}

Answer answerOf(QNetworkReply &reply, const Operation &operation)
{
    const QJsonObject body = QJsonDocument::fromJson(reply.readAll()).object();
    Answer answer;
    if (reply.error() != QNetworkReply::NoError)
        answer.note = reply.errorString();
    answer.result = reply.error() == QNetworkReply::NoError && body.value(QLatin1String("result")).toBool();
    const Field map[] = {{nullptr, Type::Map, "", operation.replyFields}};
    const Field list{nullptr, Type::List, "", map};
    if (answer.result && (operation.reply == Form::Map || operation.reply == Form::List))
        answer.reply = typed(body.value(QLatin1String("reply")), operation.reply == Form::Map ? map[0] : list);
    const auto pairs = reply.rawHeaderPairs();
    for (const auto &pair : pairs)
        answer.headers.insert(QString::fromLatin1(pair.first), QString::fromLatin1(pair.second));
    const QVariant status = reply.attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid())
        answer.headers.insert(QStringLiteral("HttpResponse_StateCode"), status.toString());
    return answer;
}

} // namespace

HttpBackend::HttpBackend(const QMap<QString, QUrl> &devices) : m_devices(devices), m_network(new QNetworkAccessManager)
{
    m_network->setProxy(QNetworkProxy::NoProxy);
    m_network->moveToThread(&m_thread);
    connect(&m_thread, &QThread::finished, m_network, &QObject::deleteLater);
    m_thread.start();
}

HttpBackend::~HttpBackend()
{
    Adapter::setBackend(nullptr);
    m_thread.quit();
    m_thread.wait();
}

QList<DeviceInfo> HttpBackend::devices()
{
    QList<DeviceInfo> list;
    for (auto device = m_devices.cbegin(); device != m_devices.cend(); ++device)
        list.append({device.key(), device.value().toString()});
    return list;
}

void HttpBackend::post(const Call &call, const std::function<void(const Answer &)> &done)
{
    const Operation *const operation = findOperation(call.operation);
    const auto url = m_devices.constFind(call.deviceKey);
    if (!operation || url == m_devices.cend())
        return done({false, {}, {}, nullptr, QStringLiteral("no such operation or device")});
    QJsonObject body{{QStringLiteral("operation"), call.operation}};
    if (!call.target.isNull())
        body.insert(QStringLiteral("target"), call.target);
    if (call.request.isValid())
        body.insert(QStringLiteral("request"), toJson(call.request));
    QNetworkRequest request(*url);
    request.setHeader(QNetworkRequest::ContentTypeHeader, QStringLiteral("application/json"));
    request.setTransferTimeout(timeout);
    const QByteArray bytes = QJsonDocument(body).toJson(QJsonDocument::Compact);
    QMetaObject::invokeMethod(m_network, [this, request, bytes, operation, done] {
        QNetworkReply *const reply = m_network->post(request, bytes);
        connect(reply, &QNetworkReply::finished, m_network, [reply, operation, done] {
            done(answerOf(*reply, *operation));
            reply->deleteLater();
        });
    });
}

Answer HttpBackend::answer(const Call &call)
{
    std::promise<Answer> answered;
    post(call, [&answered](const Answer &answer) { answered.set_value(answer); });
    return answered.get_future().get();
}

QtPromise::QPromise<bool> HttpBackend::upload(const Call &call)
{
    return QtPromise::QPromise<bool>([this, call](const QtPromise::QPromiseResolve<bool> &resolve) {
        post(call, [resolve](const Answer &answer) { resolve(answer.result); });
    });
}
