#pragma once

#include <QDebug>
#include <QMessageLogger>

// Log lines carry the name of a source file and a line number that readers of the logs search for; both are given
// by hand, so that they outlive changes of the code. Lines that nobody searches for use __LINE__.
#define LX_LOG(file, line) QMessageLogger(file, line, Q_FUNC_INFO)
