// What names and dates are read from: dates and times of day survive being written and read, names of recordings and of
// securities are read without harm.

#include "fuzzing.h"

#include <csvrecording.h>
#include <dates.h>
#include <lxpinyin.h>
#include <recordeddates.h>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(bytes), static_cast<int>(size));
    const QString string = QString::fromUtf8(text);
    if (const std::optional<QDate> date = Dates::parseCompactDate(text)) {
        fuzzRequire(Dates::toCompactString(*date).toLatin1() == text, "a compact date is written as it was read");
        fuzzRequire(Dates::dateFromNumber(Dates::toNumber(*date)) == *date, "a date survives as a number");
    }
    if (const std::optional<QTime> time = Dates::parseCompactTime(text)) {
        fuzzRequire(Dates::toCompactString(*time).toLatin1() == text, "a compact time is written as it was read");
        fuzzRequire(Dates::timeFromNumber(Dates::toNumber(*time)) == *time, "a time survives as a number");
    }
    if (const std::optional<QDate> date = Dates::parseDate(string))
        fuzzRequire(Dates::parseDate(Dates::toString(*date)) == date, "a date survives as people write it");
    if (const std::optional<QTime> time = Dates::parseTime(string))
        fuzzRequire(time->isValid(), "a time of day is valid");
    CsvRecording::kindOfName(string);
    RecordedDates::ofName(string);
    fuzzRequire(LxPinyin::normalized(LxPinyin::normalized(string)) == LxPinyin::normalized(string),
                "a normalized name stays as it is");
    return 0;
}
