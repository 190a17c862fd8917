#include "importer.h"

#include "csvreader.h"
#include "datafolder.h"
#include "dates.h"
#include "storeconnection.h"
#include "storesources.h"
#include "storestate.h"
#include "translated.h"

#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSqlError>
#include <QSqlQuery>
#include <QtEndian>
#include <QtNumeric>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using StoreSchema::Column;
using StoreSchema::Kind;
using StoreSchema::Presence;
using StoreSchema::Table;

namespace {

/// Estimates how much of a file has been read from the size of the cells that were read.
class ReadingProgress
{
public:
    explicit ReadingProgress(const CsvReader &reader) : m_size(unpackedSize(reader.path()))
    {
        for (const QString &name : reader.header())
            m_read += name.toUtf8().size() + 1;
    }

    /// The new percentage, or -1 if it has not changed.
    int advance(const QVector<QByteArray> &cells)
    {
        m_read += cells.size(); // one separator or line end per cell
        for (const QByteArray &cell : cells)
            m_read += cell.size();
        const int percent = m_size > 0 ? static_cast<int>(qMin<qint64>(100, m_read * 100 / m_size)) : 0;
        if (percent == m_percent)
            return -1;
        return m_percent = percent;
    }

private:
    static qint64 unpackedSize(const QString &path)
    {
        if (!path.endsWith(QLatin1String(".gz")))
            return QFileInfo(path).size();
        // A gzip file ends with its unpacked size.
        QFile file(path);
        quint32 size = 0;
        if (file.open(QIODevice::ReadOnly) && file.seek(file.size() - 4)
            && file.read(reinterpret_cast<char *>(&size), 4) == 4)
            return qFromLittleEndian(size);
        return 0;
    }

    const qint64 m_size;
    qint64 m_read = 0;
    int m_percent = -1;
};

QString quoted(const QByteArray &cell)
{
    return QLatin1Char('"') + QString::fromUtf8(cell.left(40)) + QLatin1Char('"');
}

// A code, a dot and a market; some codes contain dots themselves.
bool isSymbol(const QByteArray &cell)
{
    const int point = cell.lastIndexOf('.');
    return point > 0 && point < cell.size() - 1;
}

/// Flushes a file, or the entries of a folder, to the disk.
bool syncToDisk(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (descriptor < 0)
        return false;
    const bool synced = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return synced;
}

} // namespace

Importer::Importer(const QString &folder, const QString &store, ImportObserver *observer)
    : m_folder(folder), m_store(store), m_observer(observer)
{
}

Importer::~Importer() = default;

bool Importer::findFiles(QString *error)
{
    DataFolder folder;
    if (!folder.open(m_folder, error))
        return false;
    for (const Table &table : StoreSchema::tables()) {
        const std::optional<QString> path = folder.file(table.name, error);
        if (!path)
            return false;
        m_paths.insert(table.name, *path);
    }
    return true;
}

bool Importer::run(QString *error)
{
    m_symbols.clear();
    if (!findFiles(error))
        return false;
    if (!mayReplaceStore(error))
        return false;
    const QString built = m_store + QStringLiteral(".importing");
    QLockFile lock(m_store + QStringLiteral(".lock"));
    lock.setStaleLockTime(0); // an import may take long; only the lock of a process that has ended is stale
    if (!lock.tryLock()) {
        *error = lock.error() == QLockFile::LockFailedError
            ? translated("%1: another import is writing it").arg(m_store)
            : translated("%1: cannot write to its folder").arg(m_store);
        return false;
    }
    QFile::remove(built); // left by an import that was interrupted
    if (build(built, error) && replaceStore(built, error))
        return true;
    QFile::remove(built);
    return false;
}

// Refuses to replace a file that is not a store: it was probably named by mistake.
bool Importer::mayReplaceStore(QString *error) const
{
    QString reason;
    StoreConnection connection;
    const StoreState state = openStore(m_store, &connection, &reason);
    if (state != StoreState::NotAStore && state != StoreState::Unreadable)
        return true;
    *error = translated("%1; it is left unchanged").arg(reason);
    return false;
}

bool Importer::build(const QString &path, QString *error)
{
    StoreConnection connection;
    if (!connection.open(path, StoreConnection::ReadWrite, error))
        return false;
    // Other processes do not open the file before it is complete, so it needs no journal.
    const QStringList preparations {
        QStringLiteral("PRAGMA journal_mode = OFF"),
        QStringLiteral("PRAGMA synchronous = OFF"),
        QStringLiteral("PRAGMA locking_mode = EXCLUSIVE"),
        QStringLiteral("PRAGMA application_id = %1").arg(StoreSchema::ApplicationId),
        QStringLiteral("PRAGMA user_version = %1").arg(StoreSchema::Version),
        QStringLiteral("BEGIN"),
    };
    for (const QString &statement : preparations) {
        if (!connection.execute(statement, error))
            return false;
    }
    for (const Table &table : StoreSchema::tables()) {
        if (!connection.execute(table.createStatement(), error))
            return false;
    }
    m_insertSymbol = std::make_unique<QSqlQuery>(connection.database());
    m_insertSymbol->prepare(QStringLiteral("INSERT INTO securities (Symbol) VALUES (?)"));
    bool imported = true;
    for (const Table &table : StoreSchema::tables())
        imported = imported && importTable(table, &connection, error);
    m_insertSymbol.reset();
    return imported && StoreSources::write(m_paths.values(), &connection, error)
        && connection.execute(QStringLiteral("COMMIT"), error);
}

bool Importer::importTable(const Table &table, StoreConnection *connection, QString *error)
{
    const QString path = m_paths.value(table.name);
    const QString file = QFileInfo(path).fileName();
    CsvReader reader;
    if (!reader.open(path, error))
        return false;
    QVector<Field> fields;
    for (const Column &column : table.columns) {
        fields.append({ &column, reader.column(column.name) });
        if (fields.last().index < 0 && column.presence != Presence::Optional) {
            *error = translated("%1: the column %2 is missing").arg(path, column.name);
            return false;
        }
    }

    QSqlQuery insert(connection->database());
    if (!insert.prepare(table.insertStatement())) {
        *error = QStringLiteral("%1: %2").arg(m_store, insert.lastError().text());
        return false;
    }

    qint64 rows = 0;
    qint64 broken = 0;
    QString firstBroken;
    ReadingProgress progress(reader);
    while (reader.next(error)) {
        QString reason;
        switch (importRow(reader, fields, &insert, &reason)) {
        case RowResult::Inserted:
            ++rows;
            break;
        case RowResult::Broken:
            if (++broken == 1)
                firstBroken = QStringLiteral("%1:%2: %3").arg(path).arg(reader.line()).arg(reason);
            if (m_observer)
                m_observer->brokenRow(file, reader.line(), reason);
            break;
        case RowResult::DatabaseFailed:
            *error = QStringLiteral("%1: %2").arg(m_store, reason);
            return false;
        }
        const int percent = progress.advance(reader.cells());
        if (m_observer && percent >= 0)
            m_observer->progress(file, percent);
    }
    if (!error->isEmpty())
        return false;
    if (broken > 0) {
        *error =
            broken == 1 ? firstBroken : translated("%1 (the first of %2 broken rows)").arg(firstBroken).arg(broken);
        return false;
    }
    if (m_observer)
        m_observer->fileDone(file, rows);
    return true;
}

Importer::RowResult Importer::importRow(const CsvReader &reader, const QVector<Field> &fields, QSqlQuery *insert,
                                        QString *error)
{
    const auto broken = [error](const QString &reason) {
        *error = reason;
        return RowResult::Broken;
    };
    const QVector<QByteArray> &cells = reader.cells();
    if (cells.size() != reader.header().size())
        return broken(translated("%1 cells instead of %2").arg(cells.size()).arg(reader.header().size()));

    QByteArray symbol;
    int symbolField = -1;
    std::optional<double> high;
    std::optional<double> low;
    for (int i = 0; i < fields.size(); ++i) {
        const Column &column = *fields.at(i).column;
        const QByteArray cell = fields.at(i).index < 0 ? QByteArray() : cells.at(fields.at(i).index);
        QVariant value;
        if (cell.isEmpty() && column.presence != Presence::Optional)
            return broken(translated("%1 is missing").arg(column.name));
        if (!cell.isEmpty() && !readCell(cell, column.kind, &value))
            return broken(translated("invalid %1 %2").arg(column.name, quoted(cell)));
        if (column.kind == Kind::Security || column.kind == Kind::Symbol) {
            symbol = cell;
            symbolField = i;
        } else if (column.name == QLatin1String("HighPx")) {
            high = value.toDouble();
        } else if (column.name == QLatin1String("LowPx")) {
            low = value.toDouble();
        }
        insert->bindValue(i, value);
    }
    if (high && low && *high < *low)
        return broken(translated("HighPx %1 is below LowPx %2").arg(*high).arg(*low));
    // After all other cells, so that only valid rows add a symbol.
    const bool isSecurity = symbolField >= 0 && fields.at(symbolField).column->kind == Kind::Security;
    if (symbolField >= 0 && !isSecurity) {
        const std::optional<QVariant> id = symbolId(symbol, error);
        if (!id)
            return RowResult::DatabaseFailed;
        insert->bindValue(symbolField, *id);
    }
    if (!insert->exec()) {
        *error = insert->lastError().text();
        return RowResult::DatabaseFailed;
    }
    if (insert->numRowsAffected() == 0)
        return broken(translated("repeats the key of an earlier row"));
    if (isSecurity)
        m_symbols.insert(symbol, insert->lastInsertId());
    return RowResult::Inserted;
}

bool Importer::readCell(const QByteArray &cell, Kind kind, QVariant *value)
{
    switch (kind) {
    case Kind::Security:
    case Kind::Symbol:
        *value = QString::fromUtf8(cell);
        return isSymbol(cell);
    case Kind::Date: {
        const std::optional<QDate> date = Dates::parseCompactDate(cell);
        *value = date ? Dates::toNumber(*date) : 0;
        return date.has_value();
    }
    case Kind::Time: {
        const std::optional<QTime> time = Dates::parseCompactTime(cell);
        *value = time ? Dates::toNumber(*time) : 0;
        return time.has_value();
    }
    case Kind::Number:
    case Kind::Amount: {
        bool valid = false;
        const double number = cell.toDouble(&valid);
        *value = number;
        return valid && qIsFinite(number) && (number >= 0 || kind == Kind::Number);
    }
    case Kind::Text:
        *value = QString::fromUtf8(cell);
        return true;
    }
    return false;
}

std::optional<QVariant> Importer::symbolId(const QByteArray &symbol, QString *error)
{
    const auto known = m_symbols.constFind(symbol);
    if (known != m_symbols.constEnd())
        return *known;
    m_insertSymbol->bindValue(0, QString::fromUtf8(symbol));
    if (!m_insertSymbol->exec()) {
        *error = m_insertSymbol->lastError().text();
        return std::nullopt;
    }
    return *m_symbols.insert(symbol, m_insertSymbol->lastInsertId());
}

bool Importer::replaceStore(const QString &built, QString *error)
{
    if (syncToDisk(built)
        && std::rename(QFile::encodeName(built).constData(), QFile::encodeName(m_store).constData()) == 0
        && syncToDisk(QFileInfo(m_store).absolutePath()))
        return true;
    *error = QStringLiteral("%1: %2").arg(m_store, QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

bool ensureStore(const QString &folder, const QString &path, ImportObserver *observer, QString *error)
{
    QString reason;
    switch (checkStore(path, &reason)) {
    case StoreState::Current:
        return true;
    case StoreState::Unreadable:
        *error = reason;
        return false;
    case StoreState::NotAStore:
        QFile::remove(path);
        break;
    default:
        break;
    }
    return Importer(folder, path, observer).run(error);
}
