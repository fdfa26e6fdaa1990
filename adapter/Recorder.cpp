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
    return m_file->open(path, QStringLiteral("device backend"), &error);
}

bool Recorder::close(QString &error)
{
    stop();
    if (m_file->error().isNull())
        return true;
    error = m_file->error();
    return false;
}

} // namespace Adapter
