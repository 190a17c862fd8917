#pragma once

#include <QDir>
#include <QString>
#include <QStringList>

#include <optional>

/// A folder of CSV files, each NAME.csv or, compressed, NAME.csv.gz.
class DataFolder
{
public:
    /// The recordings that are installed with the programs; "data" in the current folder if there are none.
    static QString standard();

    /// False, with the reason in `error`, if `path` is not a folder that can be read.
    bool open(const QString &path, QString *error);

    QString path() const { return m_folder.path(); }
    /// The NAMEs in the folder, sorted, whether or not their files can be read.
    QStringList names() const;
    /// The path of the file NAME. Absent, with the reason in `error`, if the file does not exist, exists both plain and
    /// compressed, or cannot be read.
    std::optional<QString> file(const QString &name, QString *error) const;

private:
    QDir m_folder;
};
