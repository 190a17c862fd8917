#include "configurationfile.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("ConfigurationFile", text);
}

QString withoutQuotes(const QString &value)
{
    for (const char quote : { '"', '\'' }) {
        const QLatin1Char character(quote);
        if (value.size() > 1 && value.startsWith(character) && value.endsWith(character))
            return value.mid(1, value.size() - 2);
    }
    return value;
}

} // namespace

bool ConfigurationFile::read(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = tr("the configuration file %1 cannot be read").arg(path);
        return false;
    }
    QString command;
    for (int line = 1; !file.atEnd(); ++line) {
        const QString text = QString::fromUtf8(file.readLine()).trimmed();
        if (text.isEmpty() || text.startsWith(QLatin1Char('#')) || text.startsWith(QLatin1Char(';')))
            continue;
        const QString origin = QStringLiteral("%1:%2").arg(path).arg(line);
        if (text.startsWith(QLatin1Char('[')) && text.endsWith(QLatin1Char(']'))) {
            command = text.mid(1, text.size() - 2).trimmed();
            continue;
        }
        const int equals = text.indexOf(QLatin1Char('='));
        const QString name = text.left(std::max(0, equals)).trimmed();
        if (name.isEmpty()) {
            *error = tr("%1: neither NAME=VALUE nor [COMMAND]: %2").arg(origin, text);
            return false;
        }
        const auto isSame = [&](const Setting &other) { return other.command == command && other.name == name; };
        const auto first = std::find_if(settings.cbegin(), settings.cend(), isSame);
        if (first != settings.cend()) {
            *error = tr("%1: %2 is already set at %3").arg(origin, name, first->origin);
            return false;
        }
        settings.append({ command, name, withoutQuotes(text.mid(equals + 1).trimmed()), origin });
    }
    return true;
}
