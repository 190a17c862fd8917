#include "recorder.h"

#include "dates.h"

#include <lxbus/bustopics.h>
#include <lxmsg/packedbody.h>
#include <lxmsg/packmessagecommon.h>

#include <QDir>
#include <QMutexLocker>

#include <algorithm>
#include <charconv>
#include <cmath>

namespace {

constexpr size_t MostOpenFiles = 64; // of a recorder that runs for months

std::optional<RecordingKind> kindOfTopic(const QString &topic)
{
    for (int i = 0; i < RecordingKinds; ++i) {
        const auto kind = static_cast<RecordingKind>(i);
        if (recordingKindInfo(kind).topic == topic)
            return kind;
    }
    return std::nullopt;
}

// The shortest string that reads as the same number, without an exponent.
QByteArray toCell(double number)
{
    if (!std::isfinite(number))
        return QByteArray();
    char text[400]; // the largest double has 309 digits, the smallest 324 decimals
    const auto result = std::to_chars(std::begin(text), std::end(text), number, std::chars_format::fixed);
    return QByteArray(text, static_cast<int>(result.ptr - text));
}

QByteArray quoted(QByteArray cell)
{
    const bool isPlain =
        std::none_of(cell.cbegin(), cell.cend(), [](char c) { return c == ',' || c == '"' || c == '\n' || c == '\r'; });
    return isPlain ? cell : '"' + cell.replace('"', "\"\"") + '"';
}

QByteArray toCell(const QVariant &value)
{
    return value.userType() == QMetaType::Double ? toCell(value.toDouble()) : quoted(value.toString().toUtf8());
}

template<typename Values>
QByteArray toLine(const Values &values)
{
    QByteArray line;
    for (const auto &value : values)
        line += toCell(value) + ',';
    line.back() = '\n';
    return line;
}

// The text under a key of a row; empty if there is none.
QString textOf(const LxPackedRow &row, const QString &key)
{
    const int index = row.layout->find(key, -1);
    return index < 0 ? QString() : row.values.at(index).toString();
}

} // namespace

Recorder::Recorder(const QString &folder) : m_folder(folder) { }

Recorder::~Recorder()
{
    m_endpoint.reset(); // its callbacks use the rest
}

void Recorder::start(const QStringList &symbols)
{
    constexpr int Subscribe = 1;
    m_endpoint = LxBus::current()->openEndpoint(QStringLiteral("Recorder"), this);
    for (int i = 0; i < RecordingKinds; ++i)
        m_endpoint->subscribe(recordingKindInfo(static_cast<RecordingKind>(i)).topic);
    CPackMessageCommon request;
    bool isFirst = true;
    for (const LxRecordKind kind : { LxRecordKind::Quote, LxRecordKind::Transaction, LxRecordKind::Order }) {
        for (const QString &symbol : symbols) {
            if (!isFirst)
                request.AddRow();
            isFirst = false;
            request.AddVaule(QStringLiteral("MDRecordTypes"), static_cast<int>(kind));
            request.AddVaule(QStringLiteral("ActionType"), Subscribe);
            request.AddVaule(QStringLiteral("Symbol"), symbol);
        }
    }
    m_endpoint->put(LxBusTopics::subscribeRequest, request.GetPackedMsg(false));
}

// The bus's threads.
void Recorder::published(const QString &, const QString &topic, const QVariant &body)
{
    const std::optional<RecordingKind> kind = kindOfTopic(topic);
    const LxPackedRow *row = LxPackedBody::fromVariant(body).row(0);
    QMutexLocker locker(&m_mutex);
    if (!m_error.isEmpty())
        return;
    const QString date = row ? textOf(*row, QStringLiteral("MDDate")) : QString();
    const bool isRecord = kind && Dates::parseCompactDate(date.toLatin1())
        && Dates::parseCompactTime(textOf(*row, QStringLiteral("MDTime")).toLatin1())
        && !textOf(*row, QStringLiteral("Symbol")).isEmpty();
    if (!isRecord) {
        ++m_dropped;
        return;
    }
    File *file = fileFor(*kind, date, row->layout);
    if (file && write(file, toLine(row->values)))
        ++m_counts[static_cast<size_t>(*kind)];
}

// Null if it cannot be written.
Recorder::File *Recorder::fileFor(RecordingKind kind, const QString &date, const LxRowLayout::Pointer &layout)
{
    for (auto file = m_files.rbegin(); file != m_files.rend(); ++file) {
        if ((*file)->kind == kind && (*file)->date == date
            && ((*file)->layout == layout || (*file)->layout->keys() == layout->keys()))
            return file->get();
    }
    if (m_files.size() == MostOpenFiles) {
        if (!m_files.front()->file.flush()) {
            fail(m_files.front()->file);
            return nullptr;
        }
        m_files.erase(m_files.begin());
    }
    auto created = std::make_unique<File>();
    created->kind = kind;
    created->date = date;
    created->layout = layout;
    const QDir folder(m_folder);
    const QString prefix = folder.filePath(recordingKindInfo(kind).filePrefix);
    const QString plain = prefix + date + QStringLiteral(".csv");
    const QString gzip = plain + QStringLiteral(".gz");
    QString path = plain;
    for (int number = 2; QFile::exists(path) || QFile::exists(path + QStringLiteral(".gz")); ++number)
        path = QStringLiteral("%1%2_%3.csv").arg(prefix).arg(number).arg(date);
    created->file.setFileName(path);
    if (!created->file.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        fail(created->file);
        return nullptr;
    }
    m_files.push_back(std::move(created));
    Q_EMIT fileBegun(path, path == plain ? QString() : QFile::exists(plain) ? plain : gzip);
    return write(m_files.back().get(), toLine(layout->keys())) ? m_files.back().get() : nullptr;
}

bool Recorder::write(File *file, const QByteArray &line)
{
    const bool written = file->file.write(line) == line.size();
    if (!written)
        fail(file->file);
    return written;
}

void Recorder::fail(const QFile &file)
{
    if (!m_error.isEmpty())
        return;
    m_error = QStringLiteral("%1: %2").arg(file.fileName(), file.errorString());
    Q_EMIT failed(m_error);
}

void Recorder::flush()
{
    QMutexLocker locker(&m_mutex);
    for (const auto &file : m_files) {
        if (!file->file.flush())
            fail(file->file);
    }
}

bool Recorder::finish(QString *error)
{
    m_endpoint.reset();
    flush();
    QMutexLocker locker(&m_mutex);
    m_files.clear();
    *error = m_error;
    return m_error.isEmpty();
}

quint64 Recorder::count(RecordingKind kind) const
{
    QMutexLocker locker(&m_mutex);
    return m_counts[static_cast<size_t>(kind)];
}

quint64 Recorder::dropped() const
{
    QMutexLocker locker(&m_mutex);
    return m_dropped;
}
