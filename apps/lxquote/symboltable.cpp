#include "symboltable.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxpinyin.h>
#include <securities.h>
#include <suggestion.h>
#include <terminal.h>

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <algorithm>
#include <utility>

namespace {

constexpr int MostCandidates = 8;

// How well `text` matches, 0 best; -1 if it does not.
int rank(const SymbolTable::Security &security, const QString &text)
{
    const QString strings[] { security.symbol, security.initials, LxPinyin::normalized(security.name) };
    constexpr int Strings = 3;
    for (int i = 0; i < Strings; ++i) {
        if (strings[i].startsWith(text))
            return i;
    }
    for (int i = 0; i < Strings; ++i) {
        if (strings[i].contains(text))
            return Strings + i;
    }
    return -1;
}

// False of a single letter or digit, which countless securities contain.
bool isDistinctive(const QString &text)
{
    const auto isAscii = [](QChar character) { return character.unicode() < 0x80; };
    const auto letters =
        std::count_if(text.cbegin(), text.cend(), [](QChar character) { return character.isLetterOrNumber(); });
    return letters > 1 || !std::all_of(text.cbegin(), text.cend(), isAscii);
}

bool isSymbol(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^[A-Z0-9]+\\.[A-Z]+$"));
    return pattern.match(text).hasMatch();
}

// "SH600519" as 600519.SH; other strings as they are.
QString withMarketLast(const QString &text)
{
    static const QRegularExpression pattern(QStringLiteral("^(SH|SZ|CF)\\.?([A-Z]*[0-9]+)$"));
    const QRegularExpressionMatch match = pattern.match(text);
    return match.hasMatch() ? match.captured(2) + QLatin1Char('.') + match.captured(1) : text;
}

QStringList words(const QString &text)
{
    static const QRegularExpression separator(QStringLiteral("[\\s,，、]+"));
    return text.split(separator, Qt::SkipEmptyParts);
}

} // namespace

bool SymbolTable::load(const BusSession::Settings &bus, QString *error)
{
    m_isReplayed = !bus.bus.isShared();
    m_folder = bus.folder;
    const QString path = QDir(bus.folder).filePath(QStringLiteral("securities.csv"));
    if (!QFile::exists(path)) {
        const bool isWanted = !bus.bus.isShared() || bus.folder != BusSession::Settings().folder;
        if (isWanted && QDir(bus.folder).exists())
            Terminal::complain(tr("%1 has no securities.csv: securities have no names").arg(bus.folder));
        return true;
    }
    if (!loadSecurities(path, error))
        return false;
    const auto all = CBusinessDataBase::GetInstance()->Securities();
    for (auto security = all.cbegin(); security != all.cend(); ++security)
        m_securities.append({ security.key(), security->name, security->type, QString() });
    std::sort(m_securities.begin(), m_securities.end(),
              [](const Security &a, const Security &b) { return a.symbol < b.symbol; });
    return true;
}

// Takes longer than the rest of a short command, and a symbol that is given in full does not need it.
void SymbolTable::findInitials() const
{
    if (std::exchange(m_hasInitials, true))
        return;
    for (Security &security : m_securities)
        security.initials = LxPinyin::initialsOf(security.name);
}

QStringList SymbolTable::symbols() const
{
    QStringList all;
    for (const Security &security : m_securities)
        all.append(security.symbol);
    return all;
}

QStringList SymbolTable::recorded() const
{
    return m_isReplayed ? recordedDays().symbols() : symbols();
}

const RecordedDays &SymbolTable::recordedDays() const
{
    if (!m_recordedDays)
        m_recordedDays.emplace(m_folder);
    return *m_recordedDays;
}

QVector<SymbolTable::Security> SymbolTable::find(const QString &text) const
{
    const QString wanted = withMarketLast(LxPinyin::normalized(text));
    findInitials();
    QVector<QPair<int, Security>> ranked;
    for (const Security &security : m_securities) {
        const int position = rank(security, wanted);
        if (position >= 0)
            ranked.append({ position, security });
    }
    std::stable_sort(ranked.begin(), ranked.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    QVector<Security> found;
    for (const auto &match : qAsConst(ranked))
        found.append(match.second);
    return found;
}

// The symbols for which `text`, normalized, is the symbol, else the code, the name or the initials.
QStringList SymbolTable::namedExactly(const QString &text) const
{
    const bool isKnown = std::any_of(m_securities.cbegin(), m_securities.cend(),
                                     [&text](const Security &security) { return security.symbol == text; });
    if (isKnown)
        return { text };
    findInitials();
    QStringList ofCode;
    QStringList named;
    for (const Security &security : m_securities) {
        if (security.symbol.section(QLatin1Char('.'), 0, 0) == text)
            ofCode.append(security.symbol);
        if (security.initials == text || LxPinyin::normalized(security.name) == text)
            named.append(security.symbol);
    }
    return ofCode.isEmpty() ? named : ofCode;
}

std::optional<QString> SymbolTable::resolve(const QString &text, QString *error) const
{
    const QString wanted = withMarketLast(LxPinyin::normalized(text));
    const QStringList exact = namedExactly(wanted);
    if (exact.size() == 1)
        return exact.constFirst();
    if (exact.isEmpty() && isSymbol(wanted)
        && (m_securities.isEmpty() || !m_isReplayed || recordedDays().contains(wanted)))
        return wanted;
    if (exact.isEmpty() && m_isReplayed) {
        // Contracts that have expired have recordings, but no name any more.
        const QStringList unnamed = recordedDays().symbols().filter(wanted + QLatin1Char('.'));
        if (unnamed.size() == 1 && unnamed.constFirst().startsWith(wanted))
            return unnamed.constFirst();
    }
    if (m_securities.isEmpty()) {
        *error = tr("\"%1\" is not a symbol such as 600519.SH").arg(text);
        return std::nullopt;
    }
    QStringList candidates;
    const bool isSearchable = !exact.isEmpty() || isDistinctive(wanted);
    for (const Security &security : isSearchable ? find(exact.isEmpty() ? text : wanted) : QVector<Security>()) {
        if (exact.isEmpty() || exact.contains(security.symbol))
            candidates.append(security.symbol + QLatin1Char(' ') + security.name);
    }
    if (candidates.isEmpty() && isSymbol(wanted)) {
        // The code in another market, or a mistyped digit.
        const QString code = wanted.section(QLatin1Char('.'), 0, 0);
        for (const Security &security : find(code + QLatin1Char('.')))
            candidates.append(security.symbol + QLatin1Char(' ') + security.name);
        const QString similar = candidates.isEmpty() ? suggestionFor(wanted, symbols()) : QString();
        if (!similar.isEmpty())
            candidates.append(similar);
    }
    const bool isAmbiguous = exact.size() > 1;
    const QString more = candidates.size() > MostCandidates ? QStringLiteral(", ...") : QString();
    const QString list = QStringList(candidates.mid(0, MostCandidates)).join(QStringLiteral(", ")) + more;
    *error = isAmbiguous       ? tr("\"%1\" is ambiguous: %2").arg(text, list)
        : candidates.isEmpty() ? tr("unknown symbol \"%1\"").arg(text)
                               : tr("unknown symbol \"%1\"; did you mean %2?").arg(text, list);
    return std::nullopt;
}

void SymbolSettings::addOptions(Options *options)
{
    const auto tr = [](const char *text) { return QCoreApplication::translate("SymbolTable", text); };
    options->beginGroup(tr("Symbols"));
    options->addString(QStringLiteral("symbols"), QStringLiteral("FILE"), &file,
                       tr("Read symbols from FILE, separated by blanks, commas or line ends"));
    options->addFlag(
        QStringLiteral("all"), &all,
        tr("All symbols that are recorded, in a replay those of its day; on a bus, all of securities.csv"));
    options->addArgument(QStringLiteral("SYMBOL"), Options::Any, &arguments,
                         tr("Symbols (600519.SH), codes (600519, SH600519), names, or their pinyin initials (mdjt), "
                            "separated by blanks or commas"));
}

QStringList SymbolSettings::resolve(const SymbolTable &table, QString *error) const
{
    const std::optional<QStringList> given = named(table, error);
    if (!given)
        return {};
    QStringList symbols = all ? table.recorded() : QStringList();
    if (all && table.isReplayed()) {
        for (const QString &fault : table.recordedDays().faults())
            Terminal::complain(fault);
    }
    symbols += *given;
    symbols.removeDuplicates();
    if (symbols.isEmpty())
        *error = SymbolTable::tr("no symbol is given");
    return symbols;
}

std::optional<QStringList> SymbolSettings::named(const SymbolTable &table, QString *error) const
{
    QStringList texts;
    for (const QString &argument : arguments)
        texts += words(argument);
    if (!file.isEmpty()) {
        QFile list(file);
        if (!list.open(QIODevice::ReadOnly)) {
            *error = SymbolTable::tr("cannot read %1: %2").arg(file, list.errorString());
            return std::nullopt;
        }
        texts += words(QString::fromUtf8(list.readAll()));
    }
    QStringList symbols;
    QStringList errors;
    for (const QString &text : qAsConst(texts)) {
        QString reason;
        if (const std::optional<QString> symbol = table.resolve(text, &reason))
            symbols.append(*symbol);
        else
            errors.append(reason);
    }
    symbols.removeDuplicates();
    *error = errors.join(QStringLiteral("\n"));
    return errors.isEmpty() ? std::make_optional(symbols) : std::nullopt;
}
