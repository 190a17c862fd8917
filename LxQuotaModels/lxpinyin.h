#pragma once

#include <QString>

/// The form in which the names of securities are typed and compared. Any thread.
namespace LxPinyin {

/// `text` in capitals, without white space, and with ordinary letters in place of full-width ones.
QString normalized(const QString &text);
/// The pinyin initials, in capitals, of a Chinese name: PAYH for 平安银行. Letters and digits are kept, all other
/// characters are removed.
QString initialsOf(const QString &name);

} // namespace LxPinyin
