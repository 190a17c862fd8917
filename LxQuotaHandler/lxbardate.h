#pragma once

#include <QDate>
#include <QString>

/// The dates of K-line bars. Any thread.
namespace LxBarDate {

/// QDate::fromString(text, "yyyyMMdd"), for whatever text; eight plain digits, which is what bars have, are read
/// without Qt's parser, which costs several microseconds.
QDate fromString(const QString &text);

} // namespace LxBarDate
