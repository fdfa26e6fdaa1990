#pragma once

#include <QtCore/QByteArray>

/// Counts what this process does to the files below one folder, step by step, and makes steps fail or the process die. A
/// step is to open for writing, write, synchronise, rename, remove or make a folder; a write that goes wrong has written its
/// first half.
///
/// Programs that are linked with DiskSteps.cpp have its functions before those of the C library. There synchronising is a
/// step, but takes no time: only a power failure could tell the difference.
namespace DiskSteps {

/// Counts from 0 on; an empty path: counts nothing.
void watch(const QByteArray &folder);
int count();

/// The step with this number (from 1) fails with `error`, an errno; with `lasting` all later ones fail, too.
void failAt(int step, int error, bool lasting);
/// The process is killed with SIGKILL when it comes to this step.
void killAt(int step);

} // namespace DiskSteps
