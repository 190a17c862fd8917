#include "brokenrowlog.h"

#include "translated.h"

#include <algorithm>
#include <utility>

BrokenRowLog::BrokenRowLog(std::function<void(const QString &)> write) : m_write(std::move(write)) { }

void BrokenRowLog::add(const QString &file, qint64 line, const QString &reason)
{
    Count &count = m_counts[file];
    if (count.listed == MostListed) {
        ++count.others;
        return;
    }
    ++count.listed;
    m_write(QStringLiteral("%1:%2: %3").arg(file).arg(line).arg(reason));
}

void BrokenRowLog::writeCounts()
{
    QStringList files = m_counts.keys();
    std::sort(files.begin(), files.end());
    for (const QString &file : qAsConst(files)) {
        if (const qint64 others = std::exchange(m_counts[file].others, 0))
            m_write(translated("%1: further broken rows: %2").arg(file).arg(others));
    }
}
