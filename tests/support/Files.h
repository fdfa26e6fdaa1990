#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QMap>
#include <QtCore/QString>

namespace TestSupport {

/// The contents of all files below a folder by their paths from there, such as "/devices/A/state.json".
using Files = QMap<QString, QByteArray>;

inline Files filesBelow(const QString &folder)
{
    Files files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        QFile file(it.next());
        if (!file.open(QIODevice::ReadOnly))
            qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
        files.insert(file.fileName().mid(folder.size()), file.readAll());
    }
    return files;
}

/// Makes a folder hold these files and no others; folders that are there stay. Writes only what differs.
inline void restoreFiles(const QString &folder, const Files &files)
{
    const Files present = filesBelow(folder);
    for (auto it = present.cbegin(); it != present.cend(); ++it) {
        if (!files.contains(it.key()) && !QFile::remove(folder + it.key()))
            qFatal("%s cannot be removed", qPrintable(folder + it.key()));
    }
    for (auto it = files.cbegin(); it != files.cend(); ++it) {
        const auto there = present.constFind(it.key());
        if (there != present.cend() && *there == *it)
            continue;
        QFile file(folder + it.key());
        if (!QDir().mkpath(QFileInfo(file).path()) || !file.open(QIODevice::WriteOnly) || file.write(*it) != it->size())
            qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(file.errorString()));
    }
}

/// For QTemporaryDir: in memory where that is possible, for tests that write many files.
inline QString folderTemplate()
{
    const QString memory = QStringLiteral("/dev/shm");
    return (QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) + QStringLiteral("/correction-XXXXXX");
}

} // namespace TestSupport
