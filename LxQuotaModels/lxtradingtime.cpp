#include "lxtradingtime.h"

#include <algorithm>

namespace {

constexpr int MsPerMinute = 60 * 1000;
constexpr int MorningOpen = 9 * 60 + 30;
constexpr int AfternoonOpen = 13 * 60;
constexpr int SessionMinutes = LxTradingTime::MinutesPerDay / 2;

} // namespace

int LxTradingTime::fromText(const QString &time)
{
    bool isNumber = false;
    const int number = time.toInt(&isNumber);
    if (time.size() != 9 || !isNumber || number < 0)
        return -1;
    const int hours = number / 10000000;
    const int minutes = number / 100000 % 100;
    const int milliseconds = number % 100000;
    return (hours * 60 + minutes) * MsPerMinute + milliseconds;
}

int LxTradingTime::elapsed(int time)
{
    constexpr int SessionMs = SessionMinutes * MsPerMinute;
    return std::clamp(time - MorningOpen * MsPerMinute, 0, SessionMs)
        + std::clamp(time - AfternoonOpen * MsPerMinute, 0, SessionMs);
}

int LxTradingTime::barMinute(int time)
{
    // The bar of 09:31 holds the trades after 09:30:00.000 up to 09:31:00.000.
    return minuteOfBar(barIndex((time + MsPerMinute - 1) / MsPerMinute));
}

int LxTradingTime::barIndex(int minute)
{
    if (minute <= MorningOpen + SessionMinutes)
        return std::max(minute - MorningOpen - 1, 0);
    // The record that is stamped with the end of the midday break still belongs to the morning.
    return std::clamp(minute - AfternoonOpen - 1, -1, SessionMinutes - 1) + SessionMinutes;
}

int LxTradingTime::minuteOfBar(int index)
{
    return index < SessionMinutes ? MorningOpen + index + 1 : AfternoonOpen + index - SessionMinutes + 1;
}
