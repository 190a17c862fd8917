#include "csvreader.h"

#include <QFile>

#include <csv.h>
#include <zlib.h>

#include <deque>
#include <utility>

namespace {

constexpr unsigned BlockSize = 64 * 1024;

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

    std::deque<Record> pending;
    QVector<QByteArray> cells; // of the record being parsed
    qint64 lines = 0;          // lines parsed so far, the header included
    qint64 quotedLines = 0;    // line breaks within the quoted cells of the record being parsed
    int lastTerminator = 0;

    QVector<QString> header;
    Record current;
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
        d->cells.append(QByteArray(static_cast<const char *>(text), static_cast<int>(length)));
        d->quotedLines += d->cells.constLast().count('\n');
    }

    static void onRecord(int terminator, void *self)
    {
        auto *d = static_cast<Private *>(self);
        const bool secondHalfOfCrLf = terminator == '\n' && d->lastTerminator == '\r' && d->cells.isEmpty();
        d->lastTerminator = terminator;
        if (secondHalfOfCrLf)
            return;
        const qint64 line = ++d->lines;
        if (d->cells.isEmpty()) // a blank line
            return;
        d->lines += std::exchange(d->quotedLines, 0);
        Record record;
        record.line = line;
        record.cells.swap(d->cells);
        d->cells.reserve(record.cells.size());
        d->pending.push_back(std::move(record));
    }

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
    for (const QByteArray &cell : std::as_const(d->current.cells))
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
    while (d->pending.empty()) {
        if (d->atEnd)
            return false;
        d->readBlock();
    }
    d->current = std::move(d->pending.front());
    d->pending.pop_front();
    return true;
}

const QVector<QByteArray> &CsvReader::cells() const
{
    return d->current.cells;
}

qint64 CsvReader::line() const
{
    return d->current.line;
}

bool CsvReader::hasError() const
{
    return !d->error.isEmpty();
}

QString CsvReader::errorString() const
{
    return d->error;
}
