#pragma once

#include <QHash>
#include <QString>

#include <functional>

/// Lists the first broken rows of each file and counts the others, so that a damaged file does not fill a log.
class BrokenRowLog
{
public:
    static constexpr int MostListed = 10; ///< per file

    /// `write` receives each line.
    explicit BrokenRowLog(std::function<void(const QString &)> write);

    void add(const QString &file, qint64 line, const QString &reason);
    /// Writes how many rows of each file have not been listed since the last call.
    void writeCounts();

private:
    struct Count
    {
        int listed = 0;
        qint64 others = 0;
    };

    const std::function<void(const QString &)> m_write;
    QHash<QString, Count> m_counts;
};
