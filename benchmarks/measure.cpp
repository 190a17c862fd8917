#include "measure.h"

#include <QFile>

#include <algorithm>
#include <chrono>

#include <unistd.h>

namespace {

// The value that the share `quantile` of `sorted` does not exceed.
double quantileOfSorted(const std::vector<qint64> &sorted, double quantile)
{
    const auto index = static_cast<size_t>(quantile * static_cast<double>(sorted.size()));
    return static_cast<double>(sorted[std::min(index, sorted.size() - 1)]);
}

} // namespace

namespace Measure {

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

qint64 nowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Comparison interleave(int rounds, const std::function<double()> &subject, const std::function<double()> &reference)
{
    // Warm-up.
    subject();
    reference();
    std::vector<double> figures;
    std::vector<double> references;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        figures.push_back(subject());
        references.push_back(reference());
        ratios.push_back(figures.back() / references.back());
    }
    return { median(figures), median(references), median(ratios) };
}

void Percentiles::add(const std::vector<qint64> &subject, const std::vector<qint64> &reference)
{
    for (Quantile &quantile : m_quantiles) {
        quantile.figures.push_back(quantileOfSorted(subject, quantile.share));
        quantile.references.push_back(quantileOfSorted(reference, quantile.share));
        quantile.ratios.push_back(quantile.figures.back() / quantile.references.back());
    }
}

QVector<BenchRow> Percentiles::rows(const QString &number, const QString &name, double target) const
{
    QVector<BenchRow> rows;
    for (const Quantile &quantile : m_quantiles) {
        rows.append({ number + QLatin1Char(' ') + quantile.name, name.arg(quantile.name), QStringLiteral("us"),
                      median(quantile.figures) / 1000, median(quantile.references) / 1000, median(quantile.ratios),
                      BenchRow::AtMost, target });
    }
    return rows;
}

void runOn(QObject *object, const std::function<void()> &work)
{
    QMetaObject::invokeMethod(object, work, Qt::BlockingQueuedConnection);
}

qint64 residentBytes()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}

} // namespace Measure

void EmitterWindow::endBatch()
{
    m_inBatch = 0;
    m_room.acquire();
    QMetaObject::invokeMethod(
        m_receiver, [this] { m_room.release(); }, Qt::QueuedConnection);
    // Continues as soon as the receiver has processed the previous batch.
    m_room.acquire();
    m_room.release();
}

void EmitterWindow::drain()
{
    QSemaphore reached;
    QMetaObject::invokeMethod(
        m_receiver, [&reached] { reached.release(); }, Qt::QueuedConnection);
    reached.acquire();
}
