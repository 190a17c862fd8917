#pragma once

#include <QString>
#include <QVector>

/// The configuration file of a program. A line `NAME = VALUE` sets an option of all commands that have it; below a line
/// `[COMMAND]` it sets that of one command. VALUE may be quoted. Empty lines, and those that begin with `#` or `;`, are
/// ignored.
struct ConfigurationFile
{
    struct Setting
    {
        QString command; ///< empty: all commands
        QString name;
        QString value;
        QString origin; ///< "FILE:LINE", for messages
    };

    QVector<Setting> settings;

    /// False, with the reason in `error`, if the file cannot be read or has an invalid line.
    bool read(const QString &path, QString *error);
};
