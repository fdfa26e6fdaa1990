#include <adapter/Recorder.h>

#include <adapter/journal/Journal.h>

namespace Adapter {

Recorder::Recorder(DeviceBackend &inner, QObject *parent) : Recorder(inner, std::make_shared<JournalFile>(), parent) {}

Recorder::Recorder(DeviceBackend &inner, std::shared_ptr<JournalFile> file, QObject *parent)
    : ExchangeTap(
        inner,
        [file](const Call &call) {
            if (file->isOpen())
                file->append(call);
        },
        parent),
      m_file(std::move(file))
{
}

Recorder::~Recorder() = default;

bool Recorder::open(const QString &path, QString &error)
{
    if (m_isClosed) {
        error = QStringLiteral("%1: a recorder writes one file").arg(path);
        return false;
    }
    return m_file->open(path, QStringLiteral("device backend"), &error);
}

bool Recorder::close(QString &error)
{
    stop();
    m_isClosed = true;
    if (m_file->error().isNull())
        return true;
    error = m_file->error();
    return false;
}

} // namespace Adapter
