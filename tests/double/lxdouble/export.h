#pragma once

#include <QtGlobal>

/// The eight libraries of the double are always shared libraries, built with the same tool chain, so one macro
/// suffices.
#define LXDOUBLE_EXPORT Q_DECL_EXPORT
