#include <simulator/Uploads.h>

#include "Wall.h"

namespace Simulator {

namespace {

/// Settles a device's oldest pending upload: with a value, or by rejecting it without one.
bool settleOldest(Wall &wall, const QString &deviceKey, std::optional<bool> value)
{
    Aftermath after;
    {
        const std::lock_guard<std::mutex> lock(wall.mutex);
        const std::optional<PendingUpload> upload =
            wall.pending.take([&](const PendingUpload &each) { return each.call.deviceKey == deviceKey; });
        if (!upload)
            return false;
        Answer answer{value.value_or(false), {}, {}};
        if (!value) {
            wall.log.note(upload->begun.serial, QStringLiteral("rejected"));
            answer.error = rejection(QStringLiteral("the upload was rejected"));
        } else if (*value) {
            wall.answers.perform(upload->begun.serial, upload->call, upload->act);
        }
        wall.pending.settle(*upload, answer, after);
    }
    wall.time.tell(after);
    return true;
}

} // namespace

int Uploads::pending() const
{
    return pendingDevices().size();
}

QStringList Uploads::pendingDevices() const
{
    const std::lock_guard<std::mutex> lock(m_wall.mutex);
    QStringList keys;
    for (const PendingUpload &upload : m_wall.pending.all())
        keys += upload.call.deviceKey;
    return keys;
}

bool Uploads::waitForPending(int count, int milliseconds) const
{
    std::unique_lock<std::mutex> lock(m_wall.mutex);
    return m_wall.pending.waitFor(count, std::chrono::milliseconds(milliseconds), lock);
}

bool Uploads::settle(const QString &deviceKey, bool value)
{
    return settleOldest(m_wall, deviceKey, value);
}

bool Uploads::reject(const QString &deviceKey)
{
    return settleOldest(m_wall, deviceKey, std::nullopt);
}

} // namespace Simulator
