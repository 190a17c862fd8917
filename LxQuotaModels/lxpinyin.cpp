#include "lxpinyin.h"

#include <QStringList>

#include <unicode/translit.h>
#include <unicode/unistr.h>

#include <memory>

namespace {

// ICU transliterates each character by itself. These are words in names of securities in which a character is
// pronounced differently.
const char16_t *const readings = u"银行 > ' yin hang ';"
                                 u"长 > ' chang ';"
                                 u"厦 > ' xia ';"
                                 u"都 > ' du ';"
                                 u"西藏 > ' xi zang '; 藏药 > ' zang yao ';"
                                 u"重药 > ' chong yao '; 重啤 > ' chong pi ';"
                                 u"音乐 > ' yin yue ';"
                                 u"调味 > ' tiao wei '; 空调 > ' kong tiao ';"
                                 u"会稽 > ' kuai ji ';"
                                 u":: Han-Latin; :: Latin-ASCII;";

const icu::Transliterator *transliterator()
{
    static const std::unique_ptr<const icu::Transliterator> instance([] {
        UErrorCode status = U_ZERO_ERROR;
        UParseError error;
        icu::Transliterator *result = icu::Transliterator::createFromRules(
            u"Security names", icu::UnicodeString(readings), UTRANS_FORWARD, error, status);
        return U_SUCCESS(status) ? result : nullptr;
    }());
    return instance.get();
}

bool isHan(QChar character)
{
    return character.script() == QChar::Script_Han;
}

} // namespace

// Names are padded to a common width with white space, and may contain full-width letters.
QString LxPinyin::normalized(const QString &text)
{
    QString result;
    for (const QChar character : text.normalized(QString::NormalizationForm_KC)) {
        if (!character.isSpace())
            result += character.toUpper();
    }
    // Accents may have lost the white space before them, and belong to the letter there now.
    return result.normalized(QString::NormalizationForm_KC);
}

QString LxPinyin::initialsOf(const QString &name)
{
    const QString plain = normalized(name);
    QString result;
    for (int i = 0; i < plain.size();) {
        if (!isHan(plain.at(i))) {
            if (plain.at(i).isLetterOrNumber())
                result += plain.at(i);
            ++i;
            continue;
        }
        int end = i;
        while (end < plain.size() && isHan(plain.at(end)))
            ++end;
        icu::UnicodeString syllables(reinterpret_cast<const char16_t *>(plain.constData()) + i, end - i);
        if (transliterator())
            transliterator()->transliterate(syllables);
        const QString latin = QString::fromUtf16(syllables.getBuffer(), syllables.length());
        for (const QString &syllable : latin.split(QLatin1Char(' '), Qt::SkipEmptyParts))
            result += syllable.at(0).toUpper();
        i = end;
    }
    return result;
}
