#include "requestserviceworker.h"

#include "requestservice.h"
#include "storefigures.h"
#include "storetime.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>
#include <summitdefines/summitfields.h>

#include <QLoggingCategory>

#include <algorithm>

Q_LOGGING_CATEGORY(lxRequestLog, "lx.marketd.requests")

namespace TradingDayFields = Summit_Fields::QuantizationInformationMsgCode;
using Orca_Values::RequestExeStatus::success;

namespace {

constexpr int BarsPerMessage = 1000;

const QString symbolKey = QStringLiteral("Symbol");
const QString dateKey = QStringLiteral("MDDate");
const QString figureKey = QStringLiteral("36046");
const QString valueKey = QStringLiteral("36034");

/// A figure of the deep data, and the unit in which it goes over the bus.
struct DeepFigure
{
    QString name;
    std::optional<double> StoreFundamentals::*value;
    double unit;
};

const DeepFigure deepFigures[] = {
    { QStringLiteral("TotalShare"), &StoreFundamentals::totalShare, 10000 },
    { QStringLiteral("ListedShare"), &StoreFundamentals::listedShare, 10000 },
    { QStringLiteral("NetAssets"), &StoreFundamentals::netAssets, 1 },
    { QStringLiteral("DividentRate"), &StoreFundamentals::dividentRate, 100 },
};

CUnPackMessageCommon unpacked(const LxBusRequest &request)
{
    CUnPackMessageCommon rows;
    rows.SetUnPackMsg(request.body, false);
    return rows;
}

QString textOf(const CUnPackMessageCommon &row, const QString &key)
{
    return row.GetValue(key, QVariant()).toString();
}

CPackMessageCommon answerHead(const QString &type, const QString &status)
{
    CPackMessageCommon answer;
    answer.AddVaule(Orca_Fields::System::requestExeStatus, status);
    answer.AddVaule(Orca_Fields::System::msgType, type);
    return answer;
}

void addIfKnown(CPackMessageCommon *row, const QString &key, std::optional<double> value)
{
    if (value)
        row->AddVaule(key, *value);
}

std::optional<StoreMoment> parseMoment(const QString &text)
{
    const QByteArray digits = text.toLatin1();
    const std::optional<int> date = StoreTime::parseDate(digits.left(8));
    const std::optional<int> time = StoreTime::parseTime(digits.mid(8) + "000");
    return date && time ? std::optional<StoreMoment>({ *date, *time }) : std::nullopt;
}

/// Turns bars into the maps that clients read.
class BarWriter
{
public:
    BarWriter(const QString &symbol, int periodType, Store::Period period)
        : m_symbol(symbol), m_periodType(periodType), m_period(period)
    { }

    QVariantMap write(const StoreBar &bar)
    {
        if (bar.date != m_date) {
            m_date = bar.date;
            m_dateText = StoreTime::formatDate(bar.date);
        }
        QVariantMap map {
            { QStringLiteral("PeriodType"), m_periodType },
            { symbolKey, m_symbol },
            { dateKey, m_dateText },
            { QStringLiteral("OpenPx"), bar.open },
            { QStringLiteral("HighPx"), bar.high },
            { QStringLiteral("LowPx"), bar.low },
            { QStringLiteral("ClosePx"), bar.close },
        };
        if (m_period == Store::Minute)
            map.insert(QStringLiteral("MDTime"), StoreTime::formatTime(bar.time));
        if (bar.volume)
            map.insert(QStringLiteral("TotalVolumeTrade"), *bar.volume);
        if (bar.value)
            map.insert(QStringLiteral("TotalValueTrade"), *bar.value);
        return map;
    }

private:
    const QVariant m_symbol;
    const QVariant m_periodType;
    const Store::Period m_period;
    int m_date = 0;
    QVariant m_dateText;
};

} // namespace

const QHash<QString, RequestServiceWorker::Handler> &RequestServiceWorker::handlers()
{
    static const QHash<QString, Handler> all {
        { QStringLiteral("KLineRequest"), { QStringLiteral("KLineResponse"), &RequestServiceWorker::answerBars } },
        { QStringLiteral("MSG_QUERY_P_E_RATIO_REQUEST"),
          { QStringLiteral("MSG_QUERY_P_E_RATIO_RESPONSE"), &RequestServiceWorker::answerPriceEarnings } },
        { QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_REQUEST"),
          { QStringLiteral("MSG_QUERY_QUANTITY_RELATIVE_RATIO_RESPONSE"),
            &RequestServiceWorker::answerVolumePerMinute } },
        { QStringLiteral("MSG_QUERY_UP_N_DAY_REQUEST"),
          { QStringLiteral("MSG_QUERY_UP_N_DAY_RESPONSE"), &RequestServiceWorker::answerRisingDays } },
        { QStringLiteral("181063"), { QStringLiteral("181064"), &RequestServiceWorker::answerTradingDay } },
        { QStringLiteral("181027"), { QStringLiteral("181028"), &RequestServiceWorker::answerDeepData } },
    };
    return all;
}

QStringList RequestServiceWorker::requestTypes()
{
    return handlers().keys();
}

bool RequestServiceWorker::start(LxBusService *service, const QString &storePath, QString *error)
{
    if (!m_store.open(storePath)) {
        *error = m_store.takeError();
        return false;
    }
    m_port = LxBus::current()->openService(service);
    return true;
}

void RequestServiceWorker::stop()
{
    m_port.reset();
    m_store.close();
}

void RequestServiceWorker::answer(const LxBusRequest &request)
{
    if (!m_port) {
        drop(request, "the service has left the bus");
        return;
    }
    const auto handler = handlers().constFind(request.type);
    if (handler == handlers().constEnd()) {
        drop(request, "no request of this service");
        return;
    }
    (this->*handler->answer)(request, handler->answerType);
}

bool RequestServiceWorker::storeFailed(const LxBusRequest &request)
{
    const QString error = m_store.takeError();
    if (error.isEmpty())
        return false;
    qCWarning(lxRequestLog).noquote() << "cannot answer" << request.type << "-" << error;
    return true;
}

void RequestServiceWorker::drop(const LxBusRequest &request, const char *reason)
{
    const quint64 dropped = ++m_dropped;
    if (dropped < m_nextLogged)
        return;
    m_nextLogged *= 10;
    qCWarning(lxRequestLog).noquote() << "dropped" << request.type << "-" << reason << "-" << dropped << "so far";
}

void RequestServiceWorker::answerBars(const LxBusRequest &request, const QString &answerType)
{
    const CUnPackMessageCommon fields = unpacked(request);
    const QString symbol = textOf(fields, symbolKey);
    const std::optional<StoreMoment> first = parseMoment(textOf(fields, QStringLiteral("StartTime")));
    const std::optional<StoreMoment> last = parseMoment(textOf(fields, QStringLiteral("StopTime")));
    // All recorded prices are unadjusted, whatever the request's "ExrightsType".
    const int periodType = fields.GetValue(QStringLiteral("PeriodType"), QVariant()).toInt();
    enum PeriodType { OneMinute = 1, OneDay = 2 };
    if (symbol.isEmpty())
        return drop(request, "no symbol");
    if (!first || !last)
        return drop(request, "no valid StartTime or StopTime");
    if (periodType != OneMinute && periodType != OneDay)
        return drop(request, "no valid PeriodType");

    const Store::Period period = periodType == OneMinute ? Store::Minute : Store::Daily;
    BarWriter writer(symbol, periodType, period);
    QVariantList bars;
    bool sent = false;
    const auto send = [&] {
        m_port->publishTo(request.client, answerType, bars);
        bars = QVariantList();
        sent = true;
    };
    m_store.readBars(period, symbol, *first, *last, [&](const StoreBar &bar) {
        bars.append(writer.write(bar));
        if (bars.size() == BarsPerMessage)
            send();
        return true;
    });
    if (storeFailed(request))
        return drop(request, "the store cannot be read");
    if (!bars.isEmpty() || !sent)
        send();
}

template<typename Fill>
void RequestServiceWorker::answerIndicator(const LxBusRequest &request, const QString &answerType, Fill fill)
{
    const auto publish = [&](CPackMessageCommon answer) {
        m_port->publishTo(request.client, answerType, answer.GetPackedMsg(false));
    };
    const CUnPackMessageCommon fields = unpacked(request);
    const QString symbol = textOf(fields, symbolKey);
    const QString dateText = textOf(fields, dateKey);
    const std::optional<int> date = StoreTime::parseDate(dateText.toLatin1());
    // Without a data row the head tells the client which of its symbols it is about.
    const auto refuse = [&](const QString &status) {
        CPackMessageCommon head = answerHead(answerType, status);
        head.AddVaule(symbolKey, symbol);
        publish(head);
    };
    if (symbol.isEmpty() || !date)
        return refuse(RequestStatus::badRequest);

    CPackMessageCommon answer = answerHead(answerType, success);
    answer.AddRow();
    answer.AddVaule(symbolKey, symbol);
    answer.AddVaule(dateKey, dateText);
    const bool known = fill(symbol, *date, &answer);
    if (storeFailed(request))
        refuse(RequestStatus::storeFailure);
    else if (!known)
        refuse(RequestStatus::nothingKnown);
    else
        publish(answer);
}

void RequestServiceWorker::answerPriceEarnings(const LxBusRequest &request, const QString &answerType)
{
    answerIndicator(request, answerType, [this](const QString &symbol, int date, CPackMessageCommon *row) {
        const auto figures = StoreFigures::priceEarnings(&m_store, symbol, date);
        if (!figures)
            return false;
        if (figures->tradeDay)
            row->AddVaule(QStringLiteral("tradeDay"), StoreTime::formatDate(*figures->tradeDay));
        addIfKnown(row, QStringLiteral("ClosePx"), figures->close);
        addIfKnown(row, QStringLiteral("eps"), figures->eps);
        addIfKnown(row, QStringLiteral("ttmEps"), figures->ttmEps);
        addIfKnown(row, QStringLiteral("staticPE"), figures->staticPE);
        addIfKnown(row, QStringLiteral("dynamicPE"), figures->dynamicPE);
        addIfKnown(row, QStringLiteral("ttmPE"), figures->ttmPE);
        return true;
    });
}

void RequestServiceWorker::answerVolumePerMinute(const LxBusRequest &request, const QString &answerType)
{
    answerIndicator(request, answerType, [this](const QString &symbol, int date, CPackMessageCommon *row) {
        const std::optional<double> volume = StoreFigures::volumePerMinute(&m_store, symbol, date);
        addIfKnown(row, QStringLiteral("last5DayVolumePerMinute"), volume);
        return volume.has_value();
    });
}

void RequestServiceWorker::answerRisingDays(const LxBusRequest &request, const QString &answerType)
{
    answerIndicator(request, answerType, [this](const QString &symbol, int date, CPackMessageCommon *row) {
        const std::optional<int> days = StoreFigures::risingDays(&m_store, symbol, date);
        if (days)
            row->AddVaule(QStringLiteral("days"), *days);
        return days.has_value();
    });
}

void RequestServiceWorker::answerTradingDay(const LxBusRequest &request, const QString &answerType)
{
    const CUnPackMessageCommon fields = unpacked(request);
    const std::optional<int> start = StoreTime::parseDate(textOf(fields, TradingDayFields::InitStartDate).toLatin1());
    bool daysValid = false;
    const int days = fields.GetValue(TradingDayFields::Days, QVariant()).toInt(&daysValid);
    QString status = RequestStatus::badRequest;
    std::optional<int> found;
    if (start && daysValid) {
        found = m_store.tradingDay(*start, days);
        status = found ? success : RequestStatus::nothingKnown;
        if (storeFailed(request))
            status = RequestStatus::storeFailure;
    }
    CPackMessageCommon answer = answerHead(answerType, status);
    if (found) {
        answer.AddRow();
        answer.AddVaule(TradingDayFields::TradeDate, StoreTime::formatDate(*found));
    }
    m_port->answer(request, answerType, answer.GetPackedMsg(false));
}

void RequestServiceWorker::answerDeepData(const LxBusRequest &request, const QString &answerType)
{
    const auto refuse = [&](const QString &status) {
        m_port->answer(request, answerType, answerHead(answerType, status).GetPackedMsg(false));
    };
    CUnPackMessageCommon rows = unpacked(request);
    const int asked = rows.GetRowCount() - 1;
    // A body that was cut short must not pass for a smaller question.
    if (asked < 0 || rows.GetValue(Orca_Fields::System::subGroupNumber, asked).toInt() != asked)
        return refuse(RequestStatus::badRequest);

    CPackMessageCommon answer = answerHead(answerType, success);
    QHash<QString, StoreFundamentals> known; // the requests name each symbol once for every figure
    int answered = 0;
    for (int i = 1; i <= asked; ++i) {
        rows.SetCurrentRow(i);
        const QString code = textOf(rows, Orca_Fields::Security::securityID);
        const QString market = textOf(rows, Orca_Fields::UserAccount::SymbolPost);
        const QString name = textOf(rows, figureKey);
        const auto figure = std::find_if(std::begin(deepFigures), std::end(deepFigures),
                                         [&name](const DeepFigure &candidate) { return candidate.name == name; });
        if (figure == std::end(deepFigures))
            continue;
        const QString symbol = code + QLatin1Char('.') + market;
        auto company = known.constFind(symbol);
        if (company == known.constEnd()) {
            const QVector<StoreFundamentals> records = m_store.fundamentals(symbol);
            company = known.insert(symbol, records.isEmpty() ? StoreFundamentals() : records.last());
        }
        const std::optional<double> value = (*company).*(figure->value);
        if (!value)
            continue;
        answer.AddRow();
        answer.AddVaule(Orca_Fields::Security::securityID, code);
        answer.AddVaule(Orca_Fields::UserAccount::SymbolPost, market);
        answer.AddVaule(figureKey, figure->name);
        answer.AddVaule(valueKey, *value / figure->unit);
        ++answered;
    }
    if (storeFailed(request))
        return refuse(RequestStatus::storeFailure);
    answer.SetCurrentRow(0);
    answer.AddVaule(Orca_Fields::System::subGroupNumber, QString::number(answered));
    m_port->answer(request, answerType, answer.GetPackedMsg(false));
}
