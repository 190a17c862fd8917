#pragma once

#include <QtGlobal>

/// Counts what a thread allocates on the heap, by a malloc() of this program that stands before the C library's.
namespace AllocationCount {

/// Starts counting on the calling thread, from zero.
void start();
/// Allocations of the calling thread since start(); stops counting.
qint64 stop();

} // namespace AllocationCount
