#pragma once

#include <adapter/ExchangeTap.h>

namespace Adapter {

class JournalFile;

/// Writes every call with its result to a journal file, one JSON object a line (docs/journal.md): in the order in which the
/// calls returned, an upload when its promise settles. A virtual wall replays it (Simulator::Replay). Replies are written as
/// observers get them.
class ADAPTER_API Recorder : public ExchangeTap
{
    Q_OBJECT

public:
    /// `inner` must outlive the filter.
    explicit Recorder(DeviceBackend &inner, QObject *parent = nullptr);
    ~Recorder() override;

    /// Opens a file, which must be new or empty. Call it once, before the recorder is installed. False, with the reason in
    /// `error`, when it cannot be written, or after close().
    bool open(const QString &path, QString &error);
    /// Closes the file; uploads whose promise is pending are written as not settled. False, with the reason in `error`, when
    /// a call could not be written: the file ends before the first such call.
    bool close(QString &error);

private:
    Recorder(DeviceBackend &inner, std::shared_ptr<JournalFile> file, QObject *parent);

    std::shared_ptr<JournalFile> m_file;
    bool m_isClosed = false;
};

} // namespace Adapter
