// The cost of a quote by the number of symbols in the cache.

#include "benchcase.h"
#include "hostedlibrary.h"
#include "measure.h"
#include "recordsource.h"

#include <memory>
#include <random>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int Rounds = 7;
constexpr int Few = 100;
constexpr int MaxSymbolsWithTarget = 10000; // more than any market lists

// Nanoseconds per quote with this many symbols in the cache. The bodies are made a few at a time, in random order of
// the symbols, so that they are equally warm for any number of symbols: only the cache differs.
double costWithSymbols(const RecordSource &source, int symbols)
{
    constexpr int BodiesAtATime = 256;
    constexpr int Bodies = 40000;

    LxQuotaHandler &handler = hostedLibrary();
    const QVariant type(source.topic());
    std::mt19937 random(1);
    std::uniform_int_distribution<int> anySymbol(0, symbols - 1);
    qint64 nanoseconds = 0;
    Measure::runOn(&handler, [&] {
        for (int done = 0; done < Bodies; done += BodiesAtATime) {
            QVector<QVariant> records;
            for (int i = 0; i < BodiesAtATime; ++i)
                records.append(source.record(done + i, RecordSource::symbol(anySymbol(random))));
            const qint64 begin = Measure::nowNs();
            for (const QVariant &record : std::as_const(records))
                handler.slotProcessQuotaMsg(type, record);
            nanoseconds += Measure::nowNs() - begin;
        }
    });
    return static_cast<double>(nanoseconds) / Bodies;
}

// A process whose cache has this many symbols. Caches only grow, so each number needs its own process; their rounds are
// interleaved. Construct it before the handler: a process with threads cannot be forked.
class Cache
{
public:
    Cache(const RecordSource &source, int symbols) : m_symbols(symbols)
    {
        int commands[2];
        int results[2];
        if (pipe(commands) != 0 || pipe(results) != 0)
            qFatal("no pipes");
        m_process = fork();
        if (m_process < 0)
            qFatal("no process");
        if (m_process == 0) {
            close(commands[1]);
            close(results[0]);
            serve(source, symbols, commands[0], results[1]);
            _exit(0);
        }
        close(commands[0]);
        close(results[1]);
        m_commandPipe = commands[1];
        m_resultPipe = results[0];
    }
    ~Cache()
    {
        // Closing the pipe is not enough, since the processes forked later have it open, too.
        if (write(m_commandPipe, &End, 1) == 1)
            waitpid(m_process, nullptr, 0);
        close(m_commandPipe);
        close(m_resultPipe);
    }
    Q_DISABLE_COPY(Cache)

    int symbols() const { return m_symbols; }
    double cost()
    {
        double result = 0;
        if (write(m_commandPipe, &MeasureCost, 1) != 1 || read(m_resultPipe, &result, sizeof(result)) != sizeof(result))
            qFatal("the process with %d symbols does not answer", m_symbols);
        return result;
    }

private:
    static constexpr char MeasureCost = 'm';
    static constexpr char End = 'e';

    static void serve(const RecordSource &source, int symbols, int commands, int results)
    {
        LxQuotaHandler &handler = hostedLibrary();
        const QVariant type(source.topic());
        Measure::runOn(&handler, [&] {
            for (int i = 0; i < symbols; ++i)
                handler.slotProcessQuotaMsg(type, source.record(i, RecordSource::symbol(i)));
        });
        char command = 0;
        while (read(commands, &command, 1) == 1 && command == MeasureCost) {
            const double result = costWithSymbols(source, symbols);
            if (write(results, &result, sizeof(result)) != sizeof(result))
                return;
        }
    }

    const int m_symbols;
    pid_t m_process = 0;
    int m_commandPipe = -1;
    int m_resultPipe = -1;
};

} // namespace

QVector<BenchRow> costBySymbolCount()
{
    const RecordSource source = RecordSource::stockQuotes();
    std::vector<std::unique_ptr<Cache>> caches;
    for (int symbols : { Few, 1000, 10000, 100000 })
        caches.push_back(std::make_unique<Cache>(source, symbols));
    std::vector<std::vector<double>> costs(caches.size());
    std::vector<std::vector<double>> ratios(caches.size());
    for (int round = -1; round < Rounds; ++round) {
        double few = 0;
        for (size_t i = 0; i < caches.size(); ++i) {
            const double cost = caches[i]->cost();
            if (i == 0)
                few = cost;
            if (round < 0) // the first round warms up
                continue;
            costs[i].push_back(cost);
            ratios[i].push_back(cost / few);
        }
    }
    QVector<BenchRow> rows;
    for (size_t i = 1; i < caches.size(); ++i) {
        const int symbols = caches[i]->symbols();
        rows.append({ QStringLiteral("10 %1").arg(symbols),
                      QStringLiteral("cost of a quote with %1 symbols / with %2").arg(symbols).arg(Few),
                      QStringLiteral("ns"), Measure::median(costs[i]), Measure::median(costs[0]),
                      Measure::median(ratios[i]),
                      symbols <= MaxSymbolsWithTarget ? BenchRow::AtMost : BenchRow::NoTarget, 2 });
    }
    return rows;
}
