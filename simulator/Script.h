#pragma once

#include <simulator/Call.h>
#include <simulator/SimulatorGlobal.h>

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <exception>
#include <functional>
#include <memory>
#include <mutex>

namespace Simulator {

struct ScriptData;

/// What happens when a certain operation is called, made by Scripts::on(). A script with an answer replaces the
/// wall's own behaviour: the call is recorded, but nothing changes on the wall. Of several answers the last one set is used.
/// Every function may be called from any thread; a call sees the script as it is at that moment.
class SIMULATOR_API Script
{
public:
    ~Script();
    Script(const Script &) = delete;
    Script &operator=(const Script &) = delete;

    /// Serves only `count` calls; later ones go to older scripts or the wall. Default: no limit.
    Script &times(int count);
    /// Leaves the first `count` matching calls to older scripts or the wall. All matching calls since on() count, also those
    /// that other scripts or the wall served.
    Script &after(int count);

    /// The operation returns false with an empty reply; an upload's promise is fulfilled with false; discovery lists no
    /// device.
    Script &answerFalse();
    /// The operation returns true with exactly this reply (a map or a list, as the operation has it), but for what is nested
    /// deeper than 100 levels. Discovery lists the devices of a list of maps with "key" and "label".
    Script &answer(const QVariant &reply);
    /// The operation returns false and fills the reply nevertheless.
    Script &answerFalseWith(const QVariant &reply);
    /// Response headers for the operation that has them, together with any answer or instead of the wall's own headers.
    /// Without them answer() sets the headers of a success and answerFalse() sets none.
    Script &responseHeader(const QMap<QString, QString> &headers);

    /// An upload's promise stays pending until Uploads::settle() or reject(). Only for the uploads with a
    /// promise, as are the next three.
    Script &settleLater();
    /// The promise is fulfilled with `value`.
    Script &resolveWith(bool value);
    /// The promise is rejected with a std::runtime_error.
    Script &reject();
    /// The promise is rejected with `error`.
    Script &rejectWith(std::exception_ptr error);

    /// The operation itself throws.
    Script &throwException(std::exception_ptr error);

    /// Called on the caller's thread when the operation is called, before its result is made; the call's result fields are
    /// not set yet. The hook may call any function of the wall and of the service. If the script has no answer, the wall
    /// then acts as usual.
    Script &run(std::function<void(const Call &)> hook);
    /// Called with the reply before it is returned (also the wall's own), for changing it, to any nesting.
    /// Only when the operation returns true.
    Script &editReply(std::function<void(QVariant &)> hook);

private:
    friend class Scripts;
    template <typename Change>
    Script &change(Change change);
    Script(std::mutex &mutex, const QString &operation, const QString &deviceKey, const QString &target);

    std::mutex &m_mutex; ///< The wall's.
    std::unique_ptr<ScriptData> d;
};

} // namespace Simulator
