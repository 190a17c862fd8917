#include "csvreader.h"

#include "translated.h"

#include <QFile>
#include <QFileInfo>

#include <csv.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

namespace {

constexpr unsigned BlockSize = 64 * 1024;
constexpr int UsualCellSize = 15;

struct Record
{
    QVector<QByteArray> cells;
    qint64 line = 0;
};

} // namespace

struct CsvReader::Private
{
    QString path;
    gzFile file = nullptr;
    csv_parser parser {};
    bool parserReady = false;
    bool atEnd = false;

    // The records of the block that was read last. They and the memory of their cells are reused for the next block.
    std::vector<Record> records;
    size_t recordCount = 0;
    size_t nextRecord = 0; // index of the record after the current one
    const Record noRecord {};
    QVector<QByteArray> cells; // of the record being parsed, followed by cells to be reused
    int cellCount = 0;
    qint64 lines = 0; // complete lines parsed so far, the header included
    qint64 quotedLines = 0; // line breaks within the quoted cells of the record being parsed
    int lastTerminator = 0;
    int recordSize = 0; // bytes of the cells of the record being parsed
    int unfinishedSize = 0; // bytes of blocks that were read without finding the end of the record being parsed

    QVector<QString> header;
    QString error;

    ~Private()
    {
        if (parserReady)
            csv_free(&parser);
        if (file)
            gzclose(file);
    }

    static void onCell(void *characters, size_t length, void *self)
    {
        auto *d = static_cast<Private *>(self);
        d->recordSize += static_cast<int>(length) + 1; // and a separator
        if (d->cellCount == d->cells.size()) {
            d->cells.append(QByteArray());
            d->cells.last().reserve(UsualCellSize); // reserved memory is kept when the cell becomes shorter
        }
        QByteArray &cell = d->cells[d->cellCount++];
        cell.resize(static_cast<int>(length));
        if (length > 0)
            std::memcpy(cell.data(), characters, length);
        d->quotedLines += std::count(cell.cbegin(), cell.cend(), '\n');
    }

    static void onRecord(int terminator, void *self)
    {
        auto *d = static_cast<Private *>(self);
        if (!d->error.isEmpty()) // the rest of a block whose last record was too long
            return;
        const bool secondHalfOfCrLf = terminator == '\n' && d->lastTerminator == '\r' && d->cellCount == 0;
        d->lastTerminator = terminator;
        if (secondHalfOfCrLf)
            return;
        const qint64 line = ++d->lines;
        if (d->cellCount == 0) // a blank line
            return;
        d->lines += std::exchange(d->quotedLines, 0);
        if (std::exchange(d->recordSize, 0) > MaxRecordSize)
            return d->failTooLong(line);
        if (d->recordCount == d->records.size())
            d->records.emplace_back();
        Record &record = d->records[d->recordCount++];
        record.line = line;
        d->cells.resize(std::exchange(d->cellCount, 0));
        record.cells.swap(d->cells);
    }

    // Empty before the first record and after the last.
    const Record &current() const { return nextRecord > 0 ? records[nextRecord - 1] : noRecord; }

    void fail(const QString &reason)
    {
        error = QStringLiteral("%1: %2").arg(path, reason);
        atEnd = true;
    }

    void failAtLine(qint64 line, const QString &reason)
    {
        error = QStringLiteral("%1:%2: %3").arg(path).arg(line).arg(reason);
        atEnd = true;
    }

    void parse(const char *block, size_t size)
    {
        const qint64 linesBefore = lines;
        if (csv_parse(&parser, block, size, onCell, onRecord, this) != size) {
            if (csv_error(&parser) == CSV_EPARSE)
                failAtLine(lines + 1, translated("a quotation mark within a cell"));
            else
                failAtLine(lines + 1, QString::fromUtf8(csv_strerror(csv_error(&parser))));
            return;
        }
        unfinishedSize = lines == linesBefore ? unfinishedSize + static_cast<int>(size) : 0;
        if (unfinishedSize > MaxRecordSize)
            failTooLong(lines + 1);
    }

    void failTooLong(qint64 line) { failAtLine(line, translated("a record of more than %1 bytes").arg(MaxRecordSize)); }

    void finish()
    {
        if (csv_fini(&parser, onCell, onRecord, this) != 0)
            failAtLine(lines + 1, translated("the file ends within a quoted cell of the record at this line"));
    }

    void readBlock()
    {
        char block[BlockSize];
        const int count = gzread(file, block, BlockSize);
        if (count > 0) {
            parse(block, static_cast<size_t>(count));
            return;
        }
        atEnd = true;
        int status = Z_OK;
        const char *reason = gzerror(file, &status);
        if (count < 0 || (status != Z_OK && status != Z_STREAM_END)) {
            QString text = QString::fromLocal8Bit(status == Z_ERRNO ? std::strerror(errno) : reason);
            const QString prefix = path + QStringLiteral(": "); // that zlib writes
            fail(text.startsWith(prefix) ? text.mid(prefix.size()) : text);
        } else {
            finish(); // not after an error: the record being parsed is incomplete
        }
    }

    bool next(QString *reason)
    {
        while (nextRecord == recordCount) {
            if (atEnd) {
                nextRecord = 0;
                recordCount = 0;
                *reason = error;
                return false;
            }
            nextRecord = 0;
            recordCount = 0;
            readBlock();
        }
        ++nextRecord;
        return true;
    }
};

CsvReader::CsvReader() : d(std::make_unique<Private>()) { }

CsvReader::~CsvReader() = default;

bool CsvReader::open(const QString &path, QString *error)
{
    d = std::make_unique<Private>();
    d->path = path;
    const auto fail = [&](const QString &reason) {
        d->fail(reason);
        *error = d->error;
        return false;
    };
    if (QFileInfo(path).isDir())
        return fail(translated("a folder, not a file"));
    d->file = gzopen(QFile::encodeName(path).constData(), "rb");
    if (!d->file)
        return fail(QString::fromLocal8Bit(std::strerror(errno)));
    gzbuffer(d->file, BlockSize);
    // CSV_REPALL_NL reports blank lines too, so that lines can be counted.
    csv_init(&d->parser, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL | CSV_APPEND_NULL);
    d->parserReady = true;
    if (!d->next(error)) {
        if (error->isEmpty())
            return fail(translated("the file is empty"));
        return false;
    }
    for (const QByteArray &cell : d->current().cells)
        d->header.append(QString::fromUtf8(cell));
    return true;
}

QString CsvReader::path() const
{
    return d->path;
}

const QVector<QString> &CsvReader::header() const
{
    return d->header;
}

int CsvReader::column(const QString &name) const
{
    return d->header.indexOf(name);
}

bool CsvReader::next(QString *error)
{
    return d->next(error);
}

const QVector<QByteArray> &CsvReader::cells() const
{
    return d->current().cells;
}

qint64 CsvReader::line() const
{
    return d->current().line;
}
