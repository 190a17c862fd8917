#pragma once

#include <lxdouble/export.h>

#include <functional>

namespace LxDouble {

/// Sets a function that is called when a signal of an LxThread is connected, on the same thread; null removes it.
LXDOUBLE_EXPORT void setThreadConnectHook(const std::function<void()> &hook);

} // namespace LxDouble
