#pragma once

/// The codes of bar lengths and price adjustments in K-line requests and answers.
namespace LxKLine {

/// "PeriodType". This platform's services support all of them; other platforms may support only the first two.
enum Period : int {
    OneMinute = 1,
    Day = 2,
    FiveMinutes = 3,
    FifteenMinutes = 4,
    ThirtyMinutes = 5,
    SixtyMinutes = 6,
    Week = 7,
    Month = 8,
};

/// "ExrightsType": how prices before a cash dividend, a bonus or a rights offering are made comparable with later ones.
enum Adjustment : int {
    Unadjusted = 11,
    Forward = 12, ///< the latest prices are the traded ones, earlier ones are scaled
    Backward = 13, ///< the earliest prices are the traded ones, later ones are scaled
};

} // namespace LxKLine
