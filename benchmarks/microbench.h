#pragma once

#include <QString>
#include <QVector>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// Runs small pieces of work under Google Benchmark: several repetitions each, in random order over all of them.
class MicroBench
{
public:
    /// `work` is called again and again; each call counts as `items` pieces of work.
    void add(const std::string &name, std::function<void()> work, int items = 1);
    /// As add(); `prepare` runs before each call and is not measured.
    void addPrepared(const std::string &name, std::function<void()> prepare, std::function<void()> work, int items);

    /// Measures on the calling thread.
    void run();

    /// Median nanoseconds of processor time for one piece of work.
    double median(const std::string &name) const;
    /// Median of the repetitions' ratios.
    double ratio(const std::string &subject, const std::string &reference) const;

private:
    class Reporter;

    std::map<std::string, std::vector<double>> m_times; // by name: a piece of work, one entry a repetition
    std::map<std::string, int> m_items;
};
