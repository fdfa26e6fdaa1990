#include "SaveFile.h"

#include <QtCore/QSaveFile>

#include <cerrno>

#include <unistd.h>

namespace Json {

bool commit(QSaveFile &file, QString &reason)
{
    if (file.error() != QFileDevice::NoError || !file.flush())
        reason = file.errorString();
    else if (::fsync(file.handle()) != 0 && errno != EINVAL) // EINVAL: nothing to synchronise, as a pipe
        reason = qt_error_string(errno);
    else if (file.commit())
        return true;
    else
        reason = file.errorString();
    return false;
}

} // namespace Json
