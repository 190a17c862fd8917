#pragma once

#include "benchcase.h"

#include <QObject>
#include <QSemaphore>
#include <QThread>
#include <QVariant>

#include <functional>
#include <vector>

/// What the cases share: medians, the window that limits how far an emitter is ahead of its receiver, and the bare
/// queued signal, which is the baseline of several cases.
namespace Measure {

double median(std::vector<double> values);

/// Nanoseconds of a monotonic clock.
qint64 nowNs();

/// Medians of a subject and its reference, measured alternately so that both see the same state of the machine.
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
    /// Adds one round: sorted nanoseconds.
    void add(const std::vector<qint64> &subject, const std::vector<qint64> &reference);
    /// A row for the median and one for the 99th percentile, in microseconds. "%1" in `name` is replaced by "p50" and
    /// "p99".
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

/// Runs `work` on the thread of `object` and waits until it has finished.
void runOn(QObject *object, const std::function<void()> &work);

/// Resident memory of the process, in bytes.
qint64 residentBytes();

} // namespace Measure

/// Keeps an emitter at most 2,048 records ahead of the receiver's event queue.
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
    /// Waits until the receiver's event queue has been processed.
    void drain();

private:
    static constexpr int Batches = 2;
    static constexpr int RecordsPerBatch = 1024;

    void endBatch();

    QObject *const m_receiver;
    QSemaphore m_room; // one permit for each batch that may be under way
    int m_inBatch = 0;
};

/// The sender of the bare queued signal, which carries the two values that the library passes to its worker thread.
class BareSender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void record(const QVariant &type, const QVariant &data);
};

/// The receiver of the bare queued signal, an empty slot on a plain QThread.
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
