#include "klinecommand.h"

#include "answerwait.h"
#include "candlechart.h"
#include "querysession.h"
#include "recordwriter.h"
#include "symboltable.h"

#include <commandline.h>
#include <dates.h>
#include <lxdefine/lxkline.h>
#include <lxquotahandler.h>
#include <terminal.h>

#include <QCoreApplication>

#include <algorithm>
#include <iterator>

namespace {

// An answer comes in messages of this many bars; one with fewer is the last.
constexpr int BarsPerMessage = 1000;
constexpr int ChartRows = 20;

const QString chart = QStringLiteral("candles");

struct Named
{
    QString name;
    int number;
};

const Named periods[] {
    { QStringLiteral("1m"), LxKLine::OneMinute },       { QStringLiteral("5m"), LxKLine::FiveMinutes },
    { QStringLiteral("15m"), LxKLine::FifteenMinutes }, { QStringLiteral("30m"), LxKLine::ThirtyMinutes },
    { QStringLiteral("60m"), LxKLine::SixtyMinutes },   { QStringLiteral("day"), LxKLine::Day },
    { QStringLiteral("week"), LxKLine::Week },          { QStringLiteral("month"), LxKLine::Month },
};

const Named adjustments[] {
    { QStringLiteral("none"), LxKLine::Unadjusted },
    { QStringLiteral("forward"), LxKLine::Forward },
    { QStringLiteral("backward"), LxKLine::Backward },
};

template<size_t Count>
QStringList namesOf(const Named (&table)[Count])
{
    QStringList names;
    for (const Named &entry : table)
        names.append(entry.name);
    return names;
}

template<size_t Count>
int numberOf(const Named (&table)[Count], const QString &name)
{
    const auto entry = std::find_if(std::begin(table), std::end(table),
                                    [&name](const Named &candidate) { return candidate.name == name; });
    return entry->number;
}

const QStringList fields { QStringLiteral("Symbol"),         QStringLiteral("MDDate"),
                           QStringLiteral("MDTime"),         QStringLiteral("OpenPx"),
                           QStringLiteral("HighPx"),         QStringLiteral("LowPx"),
                           QStringLiteral("ClosePx"),        QStringLiteral("TotalVolumeTrade"),
                           QStringLiteral("TotalValueTrade") };

class KLineCommand
{
    Q_DECLARE_TR_FUNCTIONS(KLineCommand)

public:
    KLineCommand(Options options, const BusSession::Settings *bus);
    ExitCode run(QString *error);

    static CommandLine::Command description();

private:
    void addDate(const QString &name, QDate *date, const QString &help);
    bool check(QString *error) const;
    ExitCode request(QuerySession &session, QList<QVariantMap> *bars, QString *error) const;
    QString candles(const QList<QVariantMap> &bars) const;

    Options m_options;
    const BusSession::Settings &m_bus;
    QuerySession::Settings m_settings;
    OutputSettings m_output;
    QStringList m_argument;
    QString m_symbol;
    QString m_period = QStringLiteral("day");
    QString m_adjustment = QStringLiteral("none");
    QDate m_from;
    QDate m_to;
};

CommandLine::Command KLineCommand::description()
{
    return { QStringLiteral("kline"), tr("Print the bars of a symbol, or draw them as candles"),
             tr("Candles are the default on a terminal, a table elsewhere.\n"
                "Exit codes: 0; 1 if there are no bars; 2 for a usage error; 3 if nobody answers.") };
}

KLineCommand::KLineCommand(Options options, const BusSession::Settings *bus) : m_options(options), m_bus(*bus)
{
    m_options.addChoice(QStringLiteral("period"), QStringLiteral("PERIOD"), namesOf(periods), &m_period,
                        tr("Length of a bar"));
    m_options.addChoice(QStringLiteral("adjust"), QStringLiteral("HOW"), namesOf(adjustments), &m_adjustment,
                        tr("Adjustment of prices for dividends, bonus and rights issues, which leaves the latest "
                           "(forward) or the earliest (backward) prices as they were traded"));
    addDate(QStringLiteral("from"), &m_from, tr("First day, yyyy-MM-dd or yyyyMMdd"));
    addDate(QStringLiteral("to"), &m_to, tr("Last day, yyyy-MM-dd or yyyyMMdd"));
    m_settings.addOptions(&m_options);
    m_output.addOptions(&m_options, OutputSettings::recordFormats() + QStringList { chart }, fields);
    if (Terminal::isInteractive())
        m_output.format = chart;
    m_options.addArgument(QStringLiteral("SYMBOL"), Options::One, &m_argument,
                          tr("A symbol (600519.SH), code, name or its pinyin initials (mdjt)"));
}

void KLineCommand::addDate(const QString &name, QDate *date, const QString &help)
{
    m_options.add(name, QStringLiteral("DATE"), help, [date](const QString &value, QString *error) {
        *date = Dates::parseDate(value).value_or(QDate());
        if (!date->isValid())
            *error = tr("\"%1\" is not a date").arg(value);
        return date->isValid();
    });
}

bool KLineCommand::check(QString *error) const
{
    if (!m_from.isValid() || !m_to.isValid())
        *error = tr("--from and --to are missing");
    else if (m_to < m_from)
        *error = tr("--to is before --from");
    else if (m_output.format == chart && !m_output.fields.isEmpty())
        *error = tr("candles have no fields: combine --fields with another --format");
    else
        return QuerySession::Settings::check(m_bus.bus, m_options, error);
    return false;
}

ExitCode KLineCommand::run(QString *error)
{
    // Candles are only the default.
    if (!m_output.fields.isEmpty() && !m_options.isGiven(QStringLiteral("format")))
        m_output.format = OutputSettings::recordFormats().constFirst();
    SymbolTable table;
    if (!check(error) || !table.load(m_bus, error))
        return ExitUsage;
    const std::optional<QString> symbol = table.resolve(m_argument.constFirst(), error);
    if (!symbol)
        return ExitUsage;
    m_symbol = *symbol;
    Output output;
    if (!output.open(m_output.path, error))
        return ExitFailure;
    QuerySession session(m_bus, m_settings);
    if (const ExitCode code = session.open(error))
        return code;
    QList<QVariantMap> bars;
    if (const ExitCode code = request(session, &bars, error))
        return code;
    if (bars.isEmpty()) {
        *error = tr("no bars of %1 in this range").arg(m_symbol);
        return ExitFailure;
    }
    if (m_output.format == chart) {
        if (m_output.limit > 0)
            bars = bars.mid(0, m_output.limit);
        output.write(candles(bars));
        return output.finish(error) ? ExitOk : ExitFailure;
    }
    RecordWriter writer(&output, m_output);
    for (const QVariantMap &bar : qAsConst(bars)) {
        Record record(QStringLiteral("bar"), m_symbol);
        for (const QString &field : fields)
            record.add(field, bar.value(field));
        if (!writer.add(record))
            break;
    }
    return writer.finish(error) ? ExitOk : ExitFailure;
}

// Requests the bars and collects the messages of the answer.
ExitCode KLineCommand::request(QuerySession &session, QList<QVariantMap> *bars, QString *error) const
{
    AnswerWait wait(&session.bus(), session.deadline());
    QObject receiver;
    // The library does not announce empty messages by signalKLineResponse.
    QObject::connect(&LxQuotaHandler::instance(), &LxQuotaHandler::sigRecvQuotaData, &receiver,
                     [&](const QVariant &type, const QVariant &data) {
                         if (type.toString() != QLatin1String("KLineResponse"))
                             return;
                         const QVariantList list = data.toList();
                         for (const QVariant &bar : list)
                             bars->append(bar.toMap());
                         if (list.size() < BarsPerMessage)
                             wait.finish();
                     });
    const auto period = static_cast<EMD_KLINE_PERIOD>(numberOf(periods, m_period));
    const auto adjustment = static_cast<EMD_EXRIGHTS_TYPE>(numberOf(adjustments, m_adjustment));
    const QDateTime start(m_from, QTime(0, 0));
    const QDateTime stop(m_to, QTime(23, 59, 59));
    const auto query = [symbol = m_symbol, start, stop, period, adjustment] {
        LxQuotaHandler::instance().AsyncRequestKLineData(symbol, start, stop, period, adjustment);
    };
    return wait.run(query, error);
}

QString KLineCommand::candles(const QList<QVariantMap> &bars) const
{
    const auto number = [](const QVariantMap &bar, const char *key) {
        return bar.value(QString::fromLatin1(key)).toDouble();
    };
    QVector<Candle> candles;
    for (const QVariantMap &bar : bars) {
        const QString time = bar.value(QStringLiteral("MDTime")).toString();
        QString label =
            Dates::toString(Dates::parseDate(bar.value(QStringLiteral("MDDate")).toString()).value_or(QDate()));
        if (!time.isEmpty())
            label += QLatin1Char(' ') + time.mid(0, 2) + QLatin1Char(':') + time.mid(2, 2);
        candles.append(
            { label, number(bar, "OpenPx"), number(bar, "HighPx"), number(bar, "LowPx"), number(bar, "ClosePx") });
    }
    const int rows = std::min(ChartRows, Terminal::rows() - 4);
    // Few candles leave no room for the last date below them.
    return tr("%1, %2 bars, %3 to %4")
               .arg(m_symbol, QString::number(bars.size()), candles.constFirst().label, candles.constLast().label)
        + QLatin1Char('\n') + drawCandles(candles, Terminal::columns(), rows);
}

} // namespace

void addKLineCommand(CommandLine *commandLine, const BusSession::Settings *bus)
{
    commandLine->addCommand<KLineCommand>(KLineCommand::description(), bus);
}
