#include "lxlocaltime.h"

#include <QDateTime>

#include <atomic>

namespace {

constexpr qint64 MsPerMinute = 60 * 1000;
constexpr qint64 MsPerDay = 24 * 60 * MsPerMinute;

// What is added to the time of day of UTC to get the local one, 0 to 24 hours, and in which minute since 1970. Both in
// one number, the minute in the upper half, so that a reader needs no lock. At first that of a minute far from now.
constexpr int OffsetBits = 32;
std::atomic<quint64> knownOffset { Q_UINT64_C(1) << 63 };

qint64 modulo(qint64 number, qint64 divisor)
{
    const qint64 rest = number % divisor;
    return rest < 0 ? rest + divisor : rest;
}

QTime systemTime()
{
    return LxLocalTime::at(QDateTime::currentMSecsSinceEpoch());
}

LxLocalTime::Source clockSource = &systemTime;

} // namespace

// The system looks at its time-zone file several times for every local time that it tells.
QTime LxLocalTime::at(qint64 utcMs)
{
    const qint64 utcTime = modulo(utcMs, MsPerDay);
    const auto minute = static_cast<quint32>((utcMs - modulo(utcMs, MsPerMinute)) / MsPerMinute);
    const quint64 known = knownOffset.load(std::memory_order_relaxed);
    qint64 offset = static_cast<quint32>(known);
    if (known >> OffsetBits != minute) {
        const QTime local = QDateTime::fromMSecsSinceEpoch(utcMs).time();
        offset = modulo(local.msecsSinceStartOfDay() - utcTime, MsPerDay);
        knownOffset.store(quint64(minute) << OffsetBits | static_cast<quint64>(offset), std::memory_order_relaxed);
    }
    return QTime::fromMSecsSinceStartOfDay(static_cast<int>((utcTime + offset) % MsPerDay));
}

QTime LxLocalTime::now()
{
    return clockSource();
}

void LxLocalTime::setSource(Source source)
{
    clockSource = source ? source : &systemTime;
}
