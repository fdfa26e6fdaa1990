#include "PendingUploads.h"

#include "WakeUps.h"

#include <algorithm>
#include <utility>

namespace Simulator {

void PendingUploads::add(PendingUpload &&upload)
{
    m_uploads.push_back(std::move(upload));
    m_added.notify_all();
}

bool PendingUploads::waitFor(int count, std::chrono::milliseconds time, std::unique_lock<std::mutex> &lock) const
{
    return m_added.wait_for(lock, time, [&] { return m_uploads.size() >= static_cast<std::size_t>(std::max(count, 0)); });
}

std::optional<qint64> PendingUploads::nextDue() const
{
    std::optional<qint64> next;
    for (const PendingUpload &upload : m_uploads) {
        if (upload.due && (!next || *upload.due < *next))
            next = upload.due;
    }
    return next;
}

bool PendingUploads::isWaiting() const
{
    return std::any_of(m_uploads.begin(), m_uploads.end(), [](const PendingUpload &each) { return !each.isHeldByScript(); });
}

void PendingUploads::settle(const PendingUpload &upload, const Answer &answer, Aftermath &after)
{
    m_log.end(upload.begun.serial, answer, m_clock.now(), bool(answer.error));
    std::function<void()> settle = [fulfil = upload.fulfil, value = answer.result] { fulfil(value); };
    if (answer.error)
        settle = [reject = upload.reject, error = answer.error] { reject(error); };
    if (!upload.begun.inThread) {
        after.settle.push_back(settle);
        return;
    }
    after.settle.push_back([settle] {
        if (isWallThread())
            settle();
        else
            runInWallThread(settle);
    });
}

void PendingUploads::reject(const PendingUpload &upload, const QString &reason, Aftermath &after)
{
    m_log.note(upload.begun.serial, reason);
    settle(upload, {false, {}, {}, rejection(reason)}, after);
}

} // namespace Simulator
