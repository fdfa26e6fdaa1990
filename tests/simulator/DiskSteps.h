#pragma once

#include <QtCore/QByteArrayList>

#include <functional>
#include <string>
#include <vector>

/// Counts what this process does to the files below one folder, step by step, and makes steps fail or the process die. A
/// step is to open for writing, write, cut, synchronise, rename, remove or make a folder; a write that goes wrong has
/// written its first half, unless it was interrupted (EINTR). On demand reading steps count, too: to open for reading, to
/// read, to list a folder (and to begin so), to look for a file, to lock, to close.
///
/// In programs that are linked with DiskSteps.cpp its functions have priority over those of the C library. Synchronising is
/// a step there, but writes nothing to the disk: only a power failure would show the difference.
namespace DiskSteps {

enum Kinds { Changes, Everything };

/// Counts from 0 on; an empty path: counts nothing.
void watch(const QByteArray &folder, Kinds kinds = Changes);
int count();

/// The step with this number (from 1) fails with `error`, an errno; with `lasting` all later ones fail, too. Error 0: reads
/// and writes are cut in half and return the shorter length, and everything else succeeds.
void failAt(int step, int error, bool lasting);
/// fstatvfs() of a file below the folder reports so many free bytes; until the next watch().
void setFreeBytes(qint64 bytes);
/// Called before a file or folder below the folder is opened, and before a file there is read at a position, with its path;
/// until the next watch(). Not for what the call itself does. For one thread at a time.
enum class Access { Opening, Reading };
void beforeAccess(std::function<void(const std::string &path, Access access)> call);
/// Whether a step failed that was to synchronise.
bool hasFailedToSync();
/// Whether a step failed that was to list a folder.
bool hasFailedToList();
/// The files and folders that were synchronised.
QByteArrayList synced();
/// What a power failure could undo: paths of files whose bytes, or whose names, were not synchronised after they were
/// written, made or renamed. Not those that were removed.
QByteArrayList unsynced();
/// The same at the moment when a file was renamed, without that file's own name, for all renamings.
QByteArrayList unsyncedAtRenaming();

/// A change to the files below the folder, as the system was asked for it.
struct Change {
    enum Kind { Make, MakeFolder, Write, Cut, Sync, FailedSync, SyncFolder, Rename, Remove, RemoveFolder };
    Kind kind;
    std::string path;  ///< The name that is made, removed or given away; the folder of SyncFolder; else empty.
    std::string to;    ///< Of Rename: the new name.
    int file = 0;      ///< Of Make, Write, Cut and Sync: a number that every file has for itself, from 1.
    qint64 offset = 0; ///< Of Write; of Cut: the new size.
    std::string bytes; ///< Of Write.
};
/// Keeps the changes that are made from now on, also behind further calls of watch(). Of files that were there before, only
/// names are noticed.
void record();
const std::vector<Change> &changes();

/// The process is killed with SIGKILL when it comes to this step.
void killAt(int step);

} // namespace DiskSteps
