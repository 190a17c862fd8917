#include "csvreader.h"

#include <QFile>

#include <csv.h>
#include <zlib.h>

#include <algorithm>
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
    gzFile file = nullptr;
    csv_parser parser {};
    bool parserReady = false;
    bool atEnd = false;

    // The records of the block that was read last. They, their cells and the memory of the cells are used again for the
    // next block.
    std::vector<Record> records;
    size_t recordCount = 0;
    size_t nextRecord = 0; // the one behind the current one
    const Record noRecord {};
    QVector<QByteArray> cells; // of the record being parsed, and behind them some of an earlier one
    int cellCount = 0;
    qint64 lines = 0; // lines parsed so far, the header included
    qint64 quotedLines = 0; // line breaks within the quoted cells of the record being parsed
    int lastTerminator = 0;

    QVector<QString> header;
    QString error;

    ~Private()
    {
        if (parserReady)
            csv_free(&parser);
        if (file)
            gzclose(file);
    }

    static void onCell(void *text, size_t length, void *self)
    {
        auto *d = static_cast<Private *>(self);
        if (d->cellCount == d->cells.size()) {
            d->cells.append(QByteArray());
            d->cells.last().reserve(UsualCellSize); // also has it keep its memory when it becomes shorter
        }
        QByteArray &cell = d->cells[d->cellCount++];
        cell.resize(static_cast<int>(length));
        if (length > 0)
            std::memcpy(cell.data(), text, length);
        d->quotedLines += std::count(cell.cbegin(), cell.cend(), '\n');
    }

    static void onRecord(int terminator, void *self)
    {
        auto *d = static_cast<Private *>(self);
        const bool secondHalfOfCrLf = terminator == '\n' && d->lastTerminator == '\r' && d->cellCount == 0;
        d->lastTerminator = terminator;
        if (secondHalfOfCrLf)
            return;
        const qint64 line = ++d->lines;
        if (d->cellCount == 0) // a blank line
            return;
        d->lines += std::exchange(d->quotedLines, 0);
        if (d->recordCount == d->records.size())
            d->records.emplace_back();
        Record &record = d->records[d->recordCount++];
        record.line = line;
        d->cells.resize(std::exchange(d->cellCount, 0));
        record.cells.swap(d->cells);
    }

    // An empty one before the first record and behind the last.
    const Record &current() const { return nextRecord > 0 ? records[nextRecord - 1] : noRecord; }

    void readBlock()
    {
        char block[BlockSize];
        const int count = gzread(file, block, BlockSize);
        if (count > 0) {
            if (csv_parse(&parser, block, static_cast<size_t>(count), onCell, onRecord, this)
                != static_cast<size_t>(count)) {
                error = QString::fromUtf8(csv_strerror(csv_error(&parser)));
                atEnd = true;
            }
            return;
        }
        atEnd = true;
        int status = Z_OK;
        const char *reason = gzerror(file, &status);
        if (count < 0 || (status != Z_OK && status != Z_STREAM_END))
            error = QString::fromLocal8Bit(status == Z_ERRNO ? "read error" : reason);
        else
            csv_fini(&parser, onCell, onRecord, this); // after an error the record under way is only a part
    }
};

CsvReader::CsvReader() : d(std::make_unique<Private>()) { }

CsvReader::~CsvReader() = default;

bool CsvReader::open(const QString &path)
{
    d = std::make_unique<Private>();
    d->file = gzopen(QFile::encodeName(path).constData(), "rb");
    if (!d->file) {
        d->error = QStringLiteral("cannot open the file");
        return false;
    }
    gzbuffer(d->file, BlockSize);
    // CSV_REPALL_NL reports blank lines too, so that lines can be counted.
    csv_init(&d->parser, CSV_REPALL_NL | CSV_APPEND_NULL);
    d->parserReady = true;
    if (!next()) {
        if (d->error.isEmpty())
            d->error = QStringLiteral("the file is empty");
        return false;
    }
    for (const QByteArray &cell : d->current().cells)
        d->header.append(QString::fromUtf8(cell));
    return true;
}

const QVector<QString> &CsvReader::header() const
{
    return d->header;
}

int CsvReader::column(const QString &name) const
{
    return d->header.indexOf(name);
}

bool CsvReader::next()
{
    while (d->nextRecord == d->recordCount) {
        if (d->atEnd)
            return false;
        d->nextRecord = 0;
        d->recordCount = 0;
        d->readBlock();
    }
    ++d->nextRecord;
    return true;
}

const QVector<QByteArray> &CsvReader::cells() const
{
    return d->current().cells;
}

qint64 CsvReader::line() const
{
    return d->current().line;
}

bool CsvReader::hasError() const
{
    return !d->error.isEmpty();
}

QString CsvReader::errorString() const
{
    return d->error;
}
