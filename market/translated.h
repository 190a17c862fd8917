#pragma once

#include <QCoreApplication>
#include <QString>

/// `text` in the user's language, if the program has installed a translator. For messages to users.
inline QString translated(const char *text)
{
    return QCoreApplication::translate("market", text);
}
