#pragma once

#include <QtGlobal>

/// Counts the heap allocations of a thread. This program's malloc() replaces that of the C library.
namespace AllocationCount {

/// Starts counting on the calling thread, from zero.
void start();
/// Allocations of the calling thread since start(); stops counting.
qint64 stop();

} // namespace AllocationCount
