#pragma once

#include <QString>
#include <QStringList>

/// The log of a program: the messages of Qt's logging categories, written to standard error.
namespace Logging {

/// "debug", "info", "warning" and "critical".
const QStringList &levels();

/// Starts logging to standard error in the form given by `pattern` (see qSetMessagePattern()).
void start(const QString &pattern);
/// Logs messages of at least this severity, one of levels(). The environment variable QT_LOGGING_RULES takes
/// precedence.
void setLevel(const QString &level);

/// Suppresses warnings without a category during its lifetime.
///
/// Used around the first call of LxQuotaHandler::instance(), which intentionally requests a string-based connection
/// that Qt refuses with a warning.
class UncategorizedWarningsMuted
{
public:
    UncategorizedWarningsMuted();
    ~UncategorizedWarningsMuted();
    UncategorizedWarningsMuted(const UncategorizedWarningsMuted &) = delete;
    UncategorizedWarningsMuted &operator=(const UncategorizedWarningsMuted &) = delete;
};

/// Stops logging the messages of a category. For a program that is about to end.
void mute(const QString &category);

} // namespace Logging
