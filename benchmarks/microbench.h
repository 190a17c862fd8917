#pragma once

#include <QString>
#include <QVector>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// Measures short functions with Google Benchmark: several repetitions of each, interleaved in random order.
class MicroBench
{
public:
    /// Adds a function that is called repeatedly; each call counts as `items` operations.
    void add(const std::string &name, std::function<void()> work, int items = 1);
    /// As add(); `prepare` is called before each call of `work` and is not measured.
    void addPrepared(const std::string &name, std::function<void()> prepare, std::function<void()> work, int items);

    /// Measures on the calling thread.
    void run();

    /// The median processor time of an operation, in nanoseconds.
    double median(const std::string &name) const;
    /// The median of the repetitions' ratios.
    double ratio(const std::string &subject, const std::string &reference) const;

private:
    class Reporter;

    std::map<std::string, std::vector<double>> m_times; // by name; one entry per repetition, per operation
    std::map<std::string, int> m_items;
};
