#pragma once

#include <QDebug>
#include <QLoggingCategory>

/// The library's logging category, "lx.quota". Debug lines are off unless a filter rule turns them on. Any thread.
const QLoggingCategory &lxQuotaLog();

// The source file name and the line number of a log line are fixed, hence literals; lines without an established number
// use __LINE__. The operands of
// << are evaluated only if the level is enabled.
#define LX_DEBUG(file, line)                                                                                           \
    for (bool lxEnabled = lxQuotaLog().isDebugEnabled(); lxEnabled; lxEnabled = false)                                 \
    QMessageLogger(file, line, Q_FUNC_INFO, lxQuotaLog().categoryName()).debug()
#define LX_WARNING(file, line)                                                                                         \
    for (bool lxEnabled = lxQuotaLog().isWarningEnabled(); lxEnabled; lxEnabled = false)                               \
    QMessageLogger(file, line, Q_FUNC_INFO, lxQuotaLog().categoryName()).warning()
