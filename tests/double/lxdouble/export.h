#pragma once

#include <QtGlobal>

/// The double is only ever built and used as shared libraries of one tool chain, so one macro serves all eight.
#define LXDOUBLE_EXPORT Q_DECL_EXPORT
