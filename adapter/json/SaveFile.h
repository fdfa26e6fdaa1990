#pragma once

#include <QtCore/QString>

class QSaveFile;

namespace Json {

/// As QSaveFile::commit(), which does not report bytes that could not be written or synchronised. `reason` is the system's
/// error message.
bool commit(QSaveFile &file, QString &reason);

} // namespace Json
