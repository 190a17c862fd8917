#pragma once

#include "benchcase.h"

#include <QObject>
#include <QSemaphore>
#include <QThread>
#include <QVariant>

#include <functional>
#include <vector>

/// What the cases share: medians, the window that keeps an emitter near its receiver, and the bare queued signal that
/// they are compared with.
namespace Measure {

double median(std::vector<double> values);

/// Nanoseconds of a clock that never goes back.
qint64 nowNs();

/// Medians of a subject and its reference, measured in turn so that both see the same machine.
struct Comparison
{
    double figure = 0;
    double reference = 0;
    double ratio = 0; ///< the median of the rounds' ratios
};
Comparison interleave(int rounds, const std::function<double()> &subject, const std::function<double()> &reference);

/// Latencies of a subject and its reference, round by round.
class Percentiles
{
public:
    /// One round: nanoseconds, in order of size.
    void add(const std::vector<qint64> &subject, const std::vector<qint64> &reference);
    /// A row for the median and one for the 99th percentile, in microseconds. "%1" in `name` stands for which it is.
    QVector<BenchRow> rows(const QString &number, const QString &name, double target) const;

private:
    struct Quantile
    {
        QString name;
        double share;
        std::vector<double> figures;
        std::vector<double> references;
        std::vector<double> ratios;
    };

    Quantile m_quantiles[2] { { QStringLiteral("p50"), 0.5, {}, {}, {} }, { QStringLiteral("p99"), 0.99, {}, {}, {} } };
};

/// Runs `work` on the thread of `object` and waits for it.
void runOn(QObject *object, const std::function<void()> &work);

/// Resident memory of the process, in bytes.
qint64 residentBytes();

} // namespace Measure

/// Keeps an emitter at most 2,048 records ahead of a receiver that works off its event queue.
class EmitterWindow
{
public:
    explicit EmitterWindow(QObject *receiver) : m_receiver(receiver), m_room(Batches) { }
    ~EmitterWindow() { drain(); }

    /// To be called after each record.
    void sent()
    {
        if (++m_inBatch == RecordsPerBatch)
            endBatch();
    }
    /// Waits until the receiver has taken everything.
    void drain();

private:
    static constexpr int Batches = 2;
    static constexpr int RecordsPerBatch = 1024;

    void endBatch();

    QObject *const m_receiver;
    QSemaphore m_room; // one for each batch that may be on its way
    int m_inBatch = 0;
};

/// The sender of the bare queued signal: the two values that the library hands to its worker thread.
class BareSender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void record(const QVariant &type, const QVariant &data);
};

/// Its receiver, on a plain QThread: an empty slot.
class BareReceiver : public QObject
{
    Q_OBJECT

public:
    explicit BareReceiver(QThread *thread) { moveToThread(thread); }

public Q_SLOTS:
    void take(const QVariant &, const QVariant &) { }
};

/// A plain QThread that runs its event loop.
class PlainThread : public QThread
{
public:
    PlainThread() { start(); }
    ~PlainThread() override
    {
        quit();
        wait();
    }
};
