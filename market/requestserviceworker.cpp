#include "requestserviceworker.h"

#include "barhistory.h"
#include "barmessages.h"
#include "dates.h"
#include "messagevalues.h"
#include "requestservice.h"
#include "storefigures.h"

#include <lxdefine/lxfields.h>
#include <lxmsg/packmessagecommon.h>
#include <lxmsg/unpackmessagecommon.h>
#include <summitdefines/summitfields.h>

#include <QLoggingCategory>

#include <algorithm>

Q_LOGGING_CATEGORY(lxMarketLog, "lx.market")

namespace TradingDayFields = Summit_Fields::QuantizationInformationMsgCode;
using Orca_Values::RequestExeStatus::success;

namespace {

constexpr int BarsPerMessage = 1000;

const QString symbolKey = QStringLiteral("Symbol");
const QString dateKey = QStringLiteral("MDDate");
const QString figureKey = QStringLiteral("36046");
const QString valueKey = QStringLiteral("36034");

/// A figure of the deep data, and its unit on the bus.
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

QString stringOf(const CUnPackMessageCommon &row, const QString &key)
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
    if (!m_store.open(storePath, error))
        return false;
    m_port = LxBus::current()->openService(service);
    return true;
}

void RequestServiceWorker::stop()
{
    m_port.reset();
    m_store.close();
}

RequestOutcome::Result RequestServiceWorker::answer(const LxBusRequest &request)
{
    m_result = RequestOutcome::Answered;
    const auto handler = handlers().constFind(request.type);
    if (!m_port)
        drop(request, RequestOutcome::Failed, QStringLiteral("the service has left the bus"));
    else if (handler == handlers().constEnd())
        drop(request, RequestOutcome::BadRequest, QStringLiteral("not a request of this service"));
    else
        (this->*handler->answer)(request, handler->answerType);
    return m_result;
}

void RequestServiceWorker::drop(const LxBusRequest &request, RequestOutcome::Result result, const QString &reason)
{
    m_result = result;
    const quint64 dropped = ++m_dropped;
    if (dropped < m_nextLogged)
        return;
    m_nextLogged *= 10;
    qCWarning(lxMarketLog).noquote() << "dropped" << request.type << "-" << reason << "-" << dropped << "so far";
}

void RequestServiceWorker::logFailure(const LxBusRequest &request, const QString &reason)
{
    const std::optional<quint64> unlogged = m_failureLog.admit();
    if (!unlogged)
        return;
    const QString others = *unlogged > 0 ? QStringLiteral("- %1 others not logged").arg(*unlogged) : QString();
    qCWarning(lxMarketLog).noquote() << "cannot answer" << request.type << "-" << reason << others;
}

void RequestServiceWorker::noteStatus(const QString &status)
{
    if (status == RequestStatus::badRequest)
        m_result = RequestOutcome::BadRequest;
    else if (status == RequestStatus::notFound)
        m_result = RequestOutcome::NotFound;
    else if (status == RequestStatus::storeFailure)
        m_result = RequestOutcome::Failed;
}

void RequestServiceWorker::answerBars(const LxBusRequest &request, const QString &answerType)
{
    QString reason;
    const std::optional<BarQuery> query = BarMessages::readRequest(unpacked(request), &reason);
    if (!query)
        return drop(request, RequestOutcome::BadRequest, reason);
    const std::optional<QVector<StoreBar>> bars = readBarHistory(&m_store, m_live, *query, &reason);
    if (!bars)
        return drop(request, RequestOutcome::Failed, reason);
    // The last message has fewer bars than the others, possibly none; that is how clients recognise it.
    for (int i = 0; i <= bars->size(); i += BarsPerMessage)
        m_port->publishTo(request, answerType, BarMessages::write(*query, bars->mid(i, BarsPerMessage)));
}

template<typename Fill>
void RequestServiceWorker::answerIndicator(const LxBusRequest &request, const QString &answerType, Fill fill)
{
    const auto publish = [&](CPackMessageCommon answer) {
        m_port->publishTo(request, answerType, answer.GetPackedMsg(false));
    };
    const CUnPackMessageCommon fields = unpacked(request);
    const QString symbol = stringOf(fields, symbolKey);
    const QString dateString = stringOf(fields, dateKey);
    const std::optional<QDate> date = Dates::parseCompactDate(dateString.toLatin1());
    // If an answer has no data row, its head row contains the symbol.
    const auto refuse = [&](const QString &status) {
        noteStatus(status);
        CPackMessageCommon head = answerHead(answerType, status);
        head.AddVaule(symbolKey, symbol);
        publish(head);
    };
    if (symbol.isEmpty() || !date)
        return refuse(RequestStatus::badRequest);

    CPackMessageCommon answer = answerHead(answerType, success);
    answer.AddRow();
    answer.AddVaule(symbolKey, symbol);
    answer.AddVaule(dateKey, dateString);
    QString error;
    if (fill(symbol, Dates::toNumber(*date), &answer, &error))
        return publish(answer);
    if (!error.isEmpty())
        logFailure(request, error);
    refuse(error.isEmpty() ? RequestStatus::notFound : RequestStatus::storeFailure);
}

void RequestServiceWorker::answerPriceEarnings(const LxBusRequest &request, const QString &answerType)
{
    answerIndicator(request, answerType,
                    [this](const QString &symbol, int date, CPackMessageCommon *row, QString *error) {
                        const auto figures = StoreFigures::priceEarnings(&m_store, symbol, date, error);
                        if (!figures)
                            return false;
                        if (figures->tradeDay)
                            row->AddVaule(QStringLiteral("tradeDay"),
                                          Dates::toCompactString(Dates::dateFromNumber(*figures->tradeDay)));
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
    answerIndicator(
        request, answerType, [this](const QString &symbol, int date, CPackMessageCommon *row, QString *error) {
            const std::optional<double> volume = StoreFigures::volumePerMinute(&m_store, symbol, date, error);
            addIfKnown(row, QStringLiteral("last5DayVolumePerMinute"), volume);
            return volume.has_value();
        });
}

void RequestServiceWorker::answerRisingDays(const LxBusRequest &request, const QString &answerType)
{
    answerIndicator(request, answerType,
                    [this](const QString &symbol, int date, CPackMessageCommon *row, QString *error) {
                        const std::optional<int> days = StoreFigures::risingDays(&m_store, symbol, date, error);
                        if (days)
                            row->AddVaule(QStringLiteral("days"), *days);
                        return days.has_value();
                    });
}

void RequestServiceWorker::answerTradingDay(const LxBusRequest &request, const QString &answerType)
{
    const CUnPackMessageCommon fields = unpacked(request);
    const std::optional<QDate> start =
        Dates::parseCompactDate(stringOf(fields, TradingDayFields::InitStartDate).toLatin1());
    const std::optional<int> days = readInteger(fields.GetValue(TradingDayFields::Days, QVariant()));
    QString status = RequestStatus::badRequest;
    std::optional<int> found;
    if (start && days) {
        QString error;
        found = m_store.tradingDay(Dates::toNumber(*start), *days, &error);
        status = found ? success : RequestStatus::notFound;
        if (!error.isEmpty()) {
            logFailure(request, error);
            status = RequestStatus::storeFailure;
        }
    }
    noteStatus(status);
    CPackMessageCommon answer = answerHead(answerType, status);
    if (found) {
        answer.AddRow();
        answer.AddVaule(TradingDayFields::TradeDate, Dates::toCompactString(Dates::dateFromNumber(*found)));
    }
    m_port->answer(request, answerType, answer.GetPackedMsg(false));
}

void RequestServiceWorker::answerDeepData(const LxBusRequest &request, const QString &answerType)
{
    const auto refuse = [&](const QString &status) {
        noteStatus(status);
        m_port->answer(request, answerType, answerHead(answerType, status).GetPackedMsg(false));
    };
    CUnPackMessageCommon rows = unpacked(request);
    const int requested = rows.GetRowCount() - 1;
    // A truncated body must not pass for a smaller request.
    if (requested < 0 || readInteger(rows.GetValue(Orca_Fields::System::subGroupNumber, requested)) != requested)
        return refuse(RequestStatus::badRequest);

    CPackMessageCommon answer = answerHead(answerType, success);
    QHash<QString, StoreFundamentals> known; // requests have one row per symbol and figure
    QString error;
    int answered = 0;
    for (int i = 1; i <= requested; ++i) {
        rows.SetCurrentRow(i);
        const QString code = stringOf(rows, Orca_Fields::Security::securityID);
        const QString market = stringOf(rows, Orca_Fields::UserAccount::SymbolPost);
        const QString name = stringOf(rows, figureKey);
        const auto figure = std::find_if(std::begin(deepFigures), std::end(deepFigures),
                                         [&name](const DeepFigure &candidate) { return candidate.name == name; });
        if (figure == std::end(deepFigures))
            continue;
        const QString symbol = code + QLatin1Char('.') + market;
        auto company = known.constFind(symbol);
        if (company == known.constEnd()) {
            const QVector<StoreFundamentals> records = m_store.fundamentals(symbol, &error);
            company = known.insert(symbol, records.isEmpty() ? StoreFundamentals() : records.last());
            if (records.isEmpty()) {
                // A row without a figure tells the client that none will come for this symbol.
                answer.AddRow();
                answer.AddVaule(Orca_Fields::Security::securityID, code);
                answer.AddVaule(Orca_Fields::UserAccount::SymbolPost, market);
                ++answered;
            }
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
    if (!error.isEmpty()) {
        logFailure(request, error);
        return refuse(RequestStatus::storeFailure);
    }
    answer.SetCurrentRow(0);
    answer.AddVaule(Orca_Fields::System::subGroupNumber, QString::number(answered));
    m_port->answer(request, answerType, answer.GetPackedMsg(false));
}
