#include "watchlists.h"

#include <QRegularExpression>
#include <QSettings>

namespace {

const QString groupKey = QStringLiteral("watchLists");
const QString nameKey = QStringLiteral("name");
const QString symbolsKey = QStringLiteral("symbols");

} // namespace

WatchLists::WatchLists(QObject *parent) : QObject(parent) { }

int WatchLists::add(const QString &name, const QStringList &symbols)
{
    m_lists.append({ freeName(name, -1), symbols });
    Q_EMIT listsChanged();
    return m_lists.size() - 1;
}

void WatchLists::remove(int index)
{
    m_lists.remove(index);
    Q_EMIT listsChanged();
}

void WatchLists::rename(int index, const QString &name)
{
    m_lists[index].name = freeName(name, index);
    Q_EMIT listsChanged();
}

void WatchLists::setSymbols(int index, const QStringList &symbols)
{
    m_lists[index].symbols = symbols;
}

QString WatchLists::freeName(const QString &name, int except) const
{
    const auto isTaken = [&](const QString &candidate) {
        for (int i = 0; i < m_lists.size(); ++i) {
            if (i != except && m_lists.at(i).name == candidate)
                return true;
        }
        return false;
    };
    QString result = name;
    for (int number = 2; isTaken(result); ++number)
        result = QStringLiteral("%1 %2").arg(name).arg(number);
    return result;
}

void WatchLists::load(const QSettings &settings)
{
    m_lists.clear();
    // A settings array would change the settings object, which is only read here.
    for (int i = 0;; ++i) {
        const QString prefix = QStringLiteral("%1/%2/").arg(groupKey).arg(i + 1);
        if (!settings.contains(prefix + nameKey))
            break;
        m_lists.append(
            { settings.value(prefix + nameKey).toString(), settings.value(prefix + symbolsKey).toStringList() });
    }
    Q_EMIT listsChanged();
}

void WatchLists::save(QSettings *settings) const
{
    settings->remove(groupKey);
    for (int i = 0; i < m_lists.size(); ++i) {
        const QString prefix = QStringLiteral("%1/%2/").arg(groupKey).arg(i + 1);
        settings->setValue(prefix + nameKey, m_lists.at(i).name);
        settings->setValue(prefix + symbolsKey, m_lists.at(i).symbols);
    }
}

QString WatchLists::toText(const QStringList &symbols)
{
    return symbols.join(QLatin1Char('\n')) + QLatin1Char('\n');
}

QStringList WatchLists::fromText(const QString &text, QStringList *rejected)
{
    static const QRegularExpression comment(QStringLiteral("#[^\n]*"));
    static const QRegularExpression separator(QStringLiteral("[\\s,;]+"));
    static const QRegularExpression symbol(QStringLiteral("^[A-Z0-9]+\\.[A-Z]+$"));
    QStringList symbols;
    for (const QString &word : QString(text).remove(comment).split(separator, Qt::SkipEmptyParts)) {
        const QString candidate = word.toUpper();
        if (!symbol.match(candidate).hasMatch())
            rejected->append(word);
        else if (!symbols.contains(candidate))
            symbols.append(candidate);
    }
    return symbols;
}
