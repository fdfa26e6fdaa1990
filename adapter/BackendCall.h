#pragma once

#include <adapter/DeviceBackend.h>
#include <adapter/Operations.h>

namespace Adapter {

/// One call of an operation, to be passed to the installed backend.
class BackendCall
{
public:
    explicit BackendCall(Operation::Id operation);

    void address(const QString &deviceKey);
    void address(const QString &deviceKey, const QString &target);
    void request(const QVariant &request) { m_call.request = request; }
    void extra(const QVariant &extra) { m_call.extra = extra; }
    /// Where the response headers go.
    void headers(QMap<QString, QString> &headers) { m_headers = &headers; }

    bool answer();
    /// `Reply` is a map or a list.
    template <typename Reply>
    bool answer(Reply &reply)
    {
        if (!reply.isEmpty())
            m_call.note = QStringLiteral("the reply was not passed in empty");
        const Answer answer = send();
        reply = answer.reply.value<Reply>();
        return answer.result;
    }
    QtPromise::QPromise<bool> upload();

    static void initialize(bool enable);
    static QList<DeviceInfo> devices();

private:
    Answer send();

    const Operation &m_operation;
    Call m_call;
    QMap<QString, QString> *m_headers = nullptr;
};

} // namespace Adapter
