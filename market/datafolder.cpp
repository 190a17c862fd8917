#include "datafolder.h"

#include "translated.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

const QString plainEnding = QStringLiteral(".csv");
const QString gzipEnding = QStringLiteral(".csv.gz");

// Also true for a link to a missing file.
bool hasEntry(const QString &path)
{
    const QFileInfo entry(path);
    return entry.exists() || entry.isSymLink();
}

} // namespace

QString DataFolder::standard()
{
    // Beside the program, whatever the prefix; for a program elsewhere, in the system's data folders.
    const QDir programs(QCoreApplication::applicationDirPath());
    QString ofProgram = QDir::cleanPath(programs.filePath(QStringLiteral(LX_DATA_FROM_PROGRAMS)));
    if (QFileInfo::exists(ofProgram))
        return ofProgram;
    const QString ofSystem = QStandardPaths::locate(
        QStandardPaths::GenericDataLocation, QStringLiteral("lxquotahandler/data"), QStandardPaths::LocateDirectory);
    return ofSystem.isEmpty() ? QStringLiteral("data") : ofSystem;
}

bool DataFolder::open(const QString &path, QString *error)
{
    const QFileInfo folder(path);
    QString reason;
    if (!folder.exists())
        reason = translated("no such folder");
    else if (!folder.isDir())
        reason = translated("not a folder");
    else if (!folder.isReadable() || !folder.isExecutable())
        reason = translated("the folder cannot be read (permission denied)");
    if (!reason.isEmpty()) {
        *error = QStringLiteral("%1: %2").arg(path, reason);
        return false;
    }
    m_folder.setPath(path);
    return true;
}

QStringList DataFolder::names() const
{
    QStringList names;
    const QStringList entries = m_folder.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &entry : entries) {
        for (const QString &ending : { plainEnding, gzipEnding }) {
            const QString name = entry.chopped(qMin(entry.size(), ending.size()));
            if (entry.endsWith(ending) && !names.contains(name))
                names.append(name);
        }
    }
    return names;
}

std::optional<QString> DataFolder::file(const QString &name, QString *error) const
{
    const QString plain = m_folder.filePath(name + plainEnding);
    const QString gzip = m_folder.filePath(name + gzipEnding);
    const auto fail = [error](const QString &path, const QString &reason) {
        *error = QStringLiteral("%1: %2").arg(path, reason);
        return std::nullopt;
    };
    if (hasEntry(plain) && hasEntry(gzip))
        return fail(plain, translated("there is also %1.gz; remove one of the two").arg(QFileInfo(plain).fileName()));
    if (!hasEntry(plain) && !hasEntry(gzip))
        return fail(path(), translated("no file %1.csv or %1.csv.gz").arg(name));
    const QString path = hasEntry(plain) ? plain : gzip;
    const QFileInfo file(path);
    if (!file.exists())
        return fail(path, translated("a link to a missing file"));
    if (file.isDir())
        return fail(path, translated("a folder, not a file"));
    if (!file.isReadable())
        return fail(path, translated("the file cannot be read (permission denied)"));
    return path;
}
