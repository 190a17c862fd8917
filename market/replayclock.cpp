#include "replayclock.h"

#include <algorithm>
#include <vector>

namespace {

constexpr int LongestPauseMs = 5 * 60 * 1000;

struct Session
{
    QTime begin;
    QTime end;
};

const std::vector<Session> &sessionsOf(ReplayClock::Hours hours)
{
    static const std::vector<Session> stocks {
        { QTime(9, 15), QTime(11, 30) },
        { QTime(13, 0), QTime(15, 30) },
    };
    static const std::vector<Session> futures {
        { QTime(0, 0), QTime(2, 30) },
        { QTime(8, 55), QTime(11, 30) },
        { QTime(13, 0), QTime(15, 30) },
        { QTime(20, 55), QTime(23, 59, 59, 999) },
    };
    return hours == ReplayClock::Hours::Futures ? futures : stocks;
}

// The trading time of a day before `time`, in milliseconds.
int tradingTimeBefore(QTime time, ReplayClock::Hours hours)
{
    int sum = 0;
    for (const Session &session : sessionsOf(hours))
        sum += session.begin.msecsTo(std::clamp(time, session.begin, session.end));
    return sum;
}

} // namespace

ReplayClock::ReplayClock(double speed, Hours hours, bool keepPauses)
    : m_speed(speed), m_hours(hours), m_keepPauses(keepPauses)
{
}

double ReplayClock::due(QDate date, QTime time)
{
    if (date == m_date)
        m_due += pauseBefore(time) / m_speed;
    m_date = date;
    m_time = time;
    return m_due;
}

int ReplayClock::pauseBefore(QTime time) const
{
    const int pause = m_time.msecsTo(time);
    if (m_keepPauses)
        return pause;
    return pause > LongestPauseMs ? 0 : tradingTimeBefore(time, m_hours) - tradingTimeBefore(m_time, m_hours);
}
