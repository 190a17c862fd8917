#include "importer.h"

#include "store.h"
#include "storeconnection.h"
#include "storetime.h"

#include <lxutils/csvreader.h>

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

/// Tells how much of a file has been read from the cells that came out of it.
class ReadingProgress
{
public:
    explicit ReadingProgress(const QString &path) : m_size(textSize(path)) { }

    /// The new percentage, or -1 if it is still the same.
    int advance(const QVector<QByteArray> &cells)
    {
        m_read += cells.size(); // a separator each, or the line's end
        for (const QByteArray &cell : cells)
            m_read += cell.size();
        const int percent = m_size > 0 ? static_cast<int>(qMin<qint64>(100, m_read * 100 / m_size)) : 0;
        if (percent == m_percent)
            return -1;
        return m_percent = percent;
    }

private:
    static qint64 textSize(const QString &path)
    {
        const QFileInfo info(path);
        if (!info.isFile() || !path.endsWith(QLatin1String(".gz")))
            return info.size();
        // A gzip file ends with the size of what it holds.
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

// A code, a point and a market; some codes have points of their own.
bool isSymbol(const QByteArray &text)
{
    const int point = text.lastIndexOf('.');
    return point > 0 && point < text.size() - 1;
}

/// Writes what the system still holds of a file, or of the entries of a folder, to the disk.
bool syncToDisk(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY);
    if (descriptor < 0)
        return false;
    const bool synced = ::fsync(descriptor) == 0;
    ::close(descriptor);
    return synced;
}

QString systemError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

} // namespace

Importer::Importer(const QString &folder, const QString &store, ImportObserver *observer)
    : m_folder(folder), m_store(store), m_observer(observer)
{ }

Importer::~Importer() = default;

Importer::Result Importer::fail(Result result, const QString &reason)
{
    m_error = reason;
    return result;
}

bool Importer::findFiles()
{
    const QFileInfo folder(m_folder);
    if (!folder.isDir()) {
        m_error = QStringLiteral("%1: no such folder").arg(m_folder);
        return false;
    }
    for (const Table &table : StoreSchema::tables()) {
        QString path = QStringLiteral("%1/%2.csv").arg(m_folder, table.name);
        if (!QFileInfo::exists(path))
            path += QStringLiteral(".gz");
        const QFileInfo file(path);
        if (!file.exists()) {
            m_error = QStringLiteral("%1: no file %2.csv or %2.csv.gz").arg(m_folder, table.name);
            return false;
        }
        if (file.isDir() || !file.isReadable()) {
            m_error = QStringLiteral("%1: cannot be read").arg(path);
            return false;
        }
        m_paths.insert(table.name, path);
    }
    return true;
}

Importer::Result Importer::run()
{
    m_symbols.clear();
    m_databaseError.clear();
    if (!findFiles())
        return BadInput;
    // Whatever else stands in the store's place was not meant to be overwritten.
    if (QFileInfo::exists(m_store) && !Store::isStore(m_store))
        return fail(BadStore, QStringLiteral("%1: not a store; it is left as it is").arg(m_store));

    const QString built = m_store + QStringLiteral(".importing");
    QLockFile lock(m_store + QStringLiteral(".lock"));
    lock.setStaleLockTime(0); // an import may take its time; the lock of a process that is gone does not count
    if (!lock.tryLock()) {
        return fail(BadStore,
                    lock.error() == QLockFile::LockFailedError
                        ? QStringLiteral("%1: another import is writing it").arg(m_store)
                        : QStringLiteral("%1: cannot write to its folder").arg(m_store));
    }
    QFile::remove(built); // left by an import that was cut off
    Result result = build(built);
    if (result == Imported)
        result = replaceStore(built);
    if (result != Imported)
        QFile::remove(built);
    return result;
}

Importer::Result Importer::build(const QString &path)
{
    StoreConnection connection;
    // The file is nobody's before it is complete, so it needs no journal.
    const bool ready = connection.open(path, StoreConnection::ReadWrite)
        && connection.execute(QStringLiteral("PRAGMA journal_mode = OFF"))
        && connection.execute(QStringLiteral("PRAGMA synchronous = OFF"))
        && connection.execute(QStringLiteral("PRAGMA locking_mode = EXCLUSIVE"))
        && connection.execute(QStringLiteral("PRAGMA application_id = %1").arg(StoreSchema::ApplicationId))
        && connection.execute(QStringLiteral("PRAGMA user_version = %1").arg(StoreSchema::Version))
        && connection.execute(QStringLiteral("BEGIN"));
    if (!ready)
        return fail(BadStore, QStringLiteral("%1: %2").arg(path, connection.errorString()));

    for (const Table &table : StoreSchema::tables()) {
        if (!connection.execute(table.createStatement()))
            return fail(BadStore, QStringLiteral("%1: %2").arg(path, connection.errorString()));
    }
    m_insertSymbol = std::make_unique<QSqlQuery>(connection.database());
    m_insertSymbol->prepare(QStringLiteral("INSERT INTO securities (Symbol) VALUES (?)"));
    Result result = Imported;
    for (const Table &table : StoreSchema::tables()) {
        if (result == Imported)
            result = importTable(table, &connection);
    }
    m_insertSymbol.reset();
    if (result == Imported && !connection.execute(QStringLiteral("COMMIT")))
        result = fail(BadStore, QStringLiteral("%1: %2").arg(path, connection.errorString()));
    return result;
}

Importer::Result Importer::importTable(const Table &table, StoreConnection *connection)
{
    const QString path = m_paths.value(table.name);
    const QString file = QFileInfo(path).fileName();
    CsvReader reader;
    if (!reader.open(path))
        return fail(BadInput, QStringLiteral("%1: %2").arg(path, reader.errorString()));
    QVector<Field> fields;
    for (const Column &column : table.columns) {
        fields.append({ &column, reader.column(column.name) });
        if (fields.last().position < 0 && column.presence != Presence::Optional)
            return fail(BadInput, QStringLiteral("%1: no column %2").arg(path, column.name));
    }

    QSqlQuery insert(connection->database());
    if (!insert.prepare(table.insertStatement()))
        return fail(BadStore, QStringLiteral("%1: %2").arg(m_store, insert.lastError().text()));

    qint64 rows = 0;
    qint64 broken = 0;
    ReadingProgress progress(path);
    while (reader.next()) {
        const QString flaw = importRow(reader, fields, &insert);
        if (!m_databaseError.isEmpty())
            return fail(BadStore, QStringLiteral("%1: %2").arg(m_store, m_databaseError));
        ++(flaw.isEmpty() ? rows : broken);
        if (!m_observer)
            continue;
        if (!flaw.isEmpty())
            m_observer->brokenRow(file, reader.line(), flaw);
        const int percent = progress.advance(reader.cells());
        if (percent >= 0)
            m_observer->progress(file, percent);
    }
    if (reader.hasError())
        return fail(BadInput, QStringLiteral("%1: %2").arg(path, reader.errorString()));
    if (m_observer)
        m_observer->fileDone(file, rows, broken);
    return Imported;
}

QString Importer::importRow(const CsvReader &reader, const QVector<Field> &fields, QSqlQuery *insert)
{
    const QVector<QByteArray> &cells = reader.cells();
    if (cells.size() != reader.header().size())
        return QStringLiteral("%1 cells instead of %2").arg(cells.size()).arg(reader.header().size());

    QByteArray symbol;
    int symbolField = -1;
    for (int i = 0; i < fields.size(); ++i) {
        const Column &column = *fields.at(i).column;
        const QByteArray cell = fields.at(i).position < 0 ? QByteArray() : cells.at(fields.at(i).position);
        if (cell.isEmpty()) {
            if (column.presence != Presence::Optional)
                return QStringLiteral("no %1").arg(column.name);
            insert->bindValue(i, QVariant());
            continue;
        }
        const auto wrong = [&] { return QStringLiteral("%1 is %2").arg(column.name, quoted(cell)); };
        switch (column.kind) {
        case Kind::Security:
        case Kind::Symbol:
            if (!isSymbol(cell))
                return wrong();
            symbol = cell;
            symbolField = i;
            break;
        case Kind::Date:
        case Kind::Time: {
            const std::optional<int> value =
                column.kind == Kind::Date ? StoreTime::parseDate(cell) : StoreTime::parseTime(cell);
            if (!value)
                return wrong();
            insert->bindValue(i, *value);
            break;
        }
        case Kind::Number: {
            bool ok = false;
            const double value = cell.toDouble(&ok);
            if (!ok || !qIsFinite(value))
                return wrong();
            insert->bindValue(i, value);
            break;
        }
        case Kind::Text:
            insert->bindValue(i, QString::fromUtf8(cell));
            break;
        }
    }
    // Last, so that only rows that are sound introduce a symbol.
    const bool isSecurity = symbolField >= 0 && fields.at(symbolField).column->kind == Kind::Security;
    if (isSecurity)
        insert->bindValue(symbolField, QString::fromUtf8(symbol));
    else if (symbolField >= 0)
        insert->bindValue(symbolField, symbolId(symbol));
    if (m_databaseError.isEmpty() && !insert->exec())
        m_databaseError = insert->lastError().text();
    if (!m_databaseError.isEmpty())
        return m_databaseError;
    if (insert->numRowsAffected() == 0)
        return QStringLiteral("repeats an earlier row's key");
    if (isSecurity)
        m_symbols.insert(symbol, insert->lastInsertId());
    return QString();
}

QVariant Importer::symbolId(const QByteArray &symbol)
{
    const auto known = m_symbols.constFind(symbol);
    if (known != m_symbols.constEnd())
        return *known;
    m_insertSymbol->bindValue(0, QString::fromUtf8(symbol));
    if (!m_insertSymbol->exec())
        m_databaseError = m_insertSymbol->lastError().text();
    return *m_symbols.insert(symbol, m_insertSymbol->lastInsertId());
}

Importer::Result Importer::replaceStore(const QString &built)
{
    if (!syncToDisk(built)
        || std::rename(QFile::encodeName(built).constData(), QFile::encodeName(m_store).constData()) != 0
        || !syncToDisk(QFileInfo(m_store).absolutePath())) {
        return fail(BadStore, QStringLiteral("%1: %2").arg(m_store, systemError()));
    }
    return Imported;
}
