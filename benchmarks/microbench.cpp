#include "microbench.h"

#include "measure.h"

#include <benchmark/benchmark.h>

#include <cstdlib>

namespace {

constexpr int Repetitions = 9;

void initializeOnce()
{
    static const bool done = [] {
        std::string arguments[] { "lxbench", "--benchmark_enable_random_interleaving=true",
                                  "--benchmark_min_time=0.05" };
        char *pointers[] { arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr };
        int count = 3;
        benchmark::Initialize(&count, pointers);
        return true;
    }();
    Q_UNUSED(done)
}

// The allocator consolidates the small blocks that the preparation has freed at the next large allocation. This
// allocation makes it do so before the measurement.
void consolidateFreedMemory()
{
    constexpr size_t LargeEnough = 64 * 1024;
    void *memory = std::malloc(LargeEnough);
    benchmark::DoNotOptimize(memory);
    std::free(memory);
}

} // namespace

// Collects the times instead of printing them.
class MicroBench::Reporter : public benchmark::BenchmarkReporter
{
public:
    explicit Reporter(MicroBench *bench) : m_bench(bench) { }

    bool ReportContext(const Context &) override { return true; }

    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            const std::string &name = run.run_name.function_name;
            m_bench->m_times[name].push_back(run.GetAdjustedCPUTime() / m_bench->m_items.at(name));
        }
    }

private:
    MicroBench *const m_bench;
};

void MicroBench::add(const std::string &name, std::function<void()> work, int items)
{
    m_items[name] = items;
    benchmark::RegisterBenchmark(name.c_str(), [work = std::move(work)](benchmark::State &state) {
        for (auto iteration : state) {
            Q_UNUSED(iteration)
            work();
        }
    })->Repetitions(Repetitions);
}

void MicroBench::addPrepared(const std::string &name, std::function<void()> prepare, std::function<void()> work,
                             int items)
{
    m_items[name] = items;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [prepare = std::move(prepare), work = std::move(work)](benchmark::State &state) {
                                     for (auto iteration : state) {
                                         Q_UNUSED(iteration)
                                         state.PauseTiming();
                                         prepare();
                                         consolidateFreedMemory();
                                         state.ResumeTiming();
                                         work();
                                     }
                                 })
        ->Repetitions(Repetitions);
}

void MicroBench::run()
{
    initializeOnce();
    Reporter reporter(this);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::ClearRegisteredBenchmarks();
}

double MicroBench::median(const std::string &name) const
{
    return Measure::median(m_times.at(name));
}

double MicroBench::ratio(const std::string &subject, const std::string &reference) const
{
    const std::vector<double> &figures = m_times.at(subject);
    const std::vector<double> &references = m_times.at(reference);
    std::vector<double> ratios;
    for (size_t i = 0; i < figures.size(); ++i)
        ratios.push_back(figures[i] / references[i]);
    return Measure::median(ratios);
}
