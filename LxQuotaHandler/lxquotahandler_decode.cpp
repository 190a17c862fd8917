#include "lxquotahandler.h"

#include "lxquotaindexes_p.h"

#include <lxbusinessdata/businessdatabase.h>
#include <lxmsg/unpackmessagecommon.h>
#include <summitutils/summitbusiutils.h>

#include <cmath>

namespace {

constexpr double Percent = 100.0;
constexpr double Negligible = 1e-8;

// The phase code of a stock that is halted.
const QString HALTED_PHASE_CODE = QStringLiteral("8");

const QVariant absentField { QString::fromLatin1("") };

// What a variant converts to, without a call for what most fields are: a number of the right type, or the empty text of
// an absent or empty field, which is 0.
bool isEmptyText(const QVariant &value)
{
    return value.data_ptr().type == QVariant::String && static_cast<const QString *>(value.constData())->isEmpty();
}

double toDouble(const QVariant &value)
{
    const QVariant::DataPtr &data = value.data_ptr();
    if (data.type == QVariant::Double)
        return data.data.d;
    return isEmptyText(value) ? 0.0 : value.toDouble();
}

qint64 toLongLong(const QVariant &value)
{
    const QVariant::DataPtr &data = value.data_ptr();
    if (data.type == QVariant::LongLong)
        return data.data.ll;
    return isEmptyText(value) ? 0 : value.toLongLong();
}

// Reads the current row by key. An absent key reads as "", hence as "" or 0, whatever the field.
class RowReader
{
public:
    explicit RowReader(const QVariant &msg) { m_unpack.SetUnPackMsg(msg, false); }

    void read(const QString &key, QString &field) const
    {
        Value value(m_unpack, key);
        QVariant &text = *value;
        if (text.data_ptr().type == QVariant::String)
            field.swap(*static_cast<QString *>(text.data())); // spares the count of the text's owners a way up and down
        else
            field = text.toString();
    }
    void read(const QString &key, double &field) const { field = toDouble(*Value(m_unpack, key)); }
    void read(const QString &key, qint64 &field) const { field = toLongLong(*Value(m_unpack, key)); }
    void read(const QString &key, int &field) const { field = (*Value(m_unpack, key)).toInt(); }

    int rowCount() const { return m_unpack.GetRowCount(); }
    void setCurrentRow(int row) { m_unpack.SetCurrentRow(row); }
    double latestPrice() const { return SummitBusiUtils::GetLastPriceFromTick(m_unpack.GetRowValue()); }

private:
    // A value that is read and dropped: Qt's destructor is called for those only that hold more than a number.
    class Value
    {
    public:
        Value(const CUnPackMessageCommon &row, const QString &key) : m_value(row.GetValue(key, absentField)) { }
        ~Value()
        {
            if (m_value.data_ptr().type > QVariant::Char)
                m_value.~QVariant();
        }
        Q_DISABLE_COPY(Value)

        const QVariant &operator*() const { return m_value; }
        QVariant &operator*() { return m_value; }

    private:
        union {
            QVariant m_value;
        };
    };

    CUnPackMessageCommon m_unpack;
};

template<typename Record, typename Type>
struct Field
{
    QString key;
    Type Record::*member;
};

// The loops stay functions: inlined a dozen times into one decoder, they run slower.
template<typename Record, typename Type, size_t Count>
Q_NEVER_INLINE void readFields(const RowReader &row, const Field<Record, Type> (&fields)[Count], Record &out)
{
    for (const auto &field : fields)
        row.read(field.key, out.*field.member);
}

// The keys of the order book, level by level: "Buy1Price" is the best bid, at index 0.
struct BookKeys
{
    BookKeys()
    {
        for (int level = 0; level < STOCK_BOOK_LEVELS; ++level) {
            const QString number = QString::number(level + 1);
            buyPrice[level] = QLatin1String("Buy") + number + QLatin1String("Price");
            sellPrice[level] = QLatin1String("Sell") + number + QLatin1String("Price");
            sellQty[level] = QLatin1String("Sell") + number + QLatin1String("OrderQty");
            buyQty[level] = QLatin1String("Buy") + number + QLatin1String("OrderQty");
        }
    }

    QString buyPrice[STOCK_BOOK_LEVELS];
    QString sellPrice[STOCK_BOOK_LEVELS];
    QString sellQty[STOCK_BOOK_LEVELS];
    QString buyQty[STOCK_BOOK_LEVELS];
};

// Not local to its function: the worker thread still decodes when what is constructed on first use, and so later than
// the handler, has been destroyed at exit.
const BookKeys bookKeys;

template<typename Type, size_t Levels>
Q_NEVER_INLINE void readLevels(const RowReader &row, const QString *keys, Type (&levels)[Levels])
{
    for (size_t level = 0; level < Levels; ++level)
        row.read(keys[level], levels[level]);
}

template<typename Record>
void readBook(const RowReader &row, Record &out)
{
    readLevels(row, bookKeys.buyPrice, out.BuyPrice);
    readLevels(row, bookKeys.sellPrice, out.SellPrice);
    readLevels(row, bookKeys.sellQty, out.SellOrderQty);
    readLevels(row, bookKeys.buyQty, out.BuyOrderQty);
}

template<size_t Levels>
double sum(const qint64 (&quantities)[Levels])
{
    double total = 0.0;
    for (qint64 quantity : quantities)
        total += static_cast<double>(quantity);
    return total;
}

template<typename Record>
void deriveChange(Record &out)
{
    out.Change = out.LastPx - out.PreClosePx;
    if (out.PreClosePx > 0)
        out.ChangeRatio = out.Change / out.PreClosePx * Percent;
}

template<typename Record>
void readSecurityName(Record &out)
{
    out.SecurityName = CBusinessDataBase::GetInstance()->GetSecurityChineseName(out.Symbol, QString::fromLatin1(""));
}

double priceToBook(double price, double netAssets)
{
    const bool known = std::fabs(netAssets) > Negligible && netAssets != QUOTA_INVALID_VALUE;
    return known ? price / netAssets : QUOTA_INVALID_VALUE;
}

} // namespace

void LxQuotaHandler::AssembleStockQuotaData(const QVariant &msg, StockQuotaData &out)
{
    using Record = StockQuotaData;
    static const QString phaseCode = QStringLiteral("TradingPhaseCode");
    static const QString preClose = QStringLiteral("PreClosePx");
    static const QString symbol = QStringLiteral("Symbol");
    static const Field<Record, double> beforeLast[] {
        { QStringLiteral("ClosePx"), &Record::ClosePx },
        { QStringLiteral("HighPx"), &Record::HighPx },
    };
    static const Field<Record, double> afterLast[] {
        { QStringLiteral("LowPx"), &Record::LowPx },
        { QStringLiteral("MaxPx"), &Record::MaxPx },
        { QStringLiteral("MinPx"), &Record::MinPx },
        { QStringLiteral("OpenPx"), &Record::OpenPx },
        { QStringLiteral("TotalBidQty"), &Record::TotalBidQty },
        { QStringLiteral("TotalOfferQty"), &Record::TotalOfferQty },
        { QStringLiteral("TotalValueTrade"), &Record::TotalValueTrade },
        { QStringLiteral("TotalVolumeTrade"), &Record::TotalVolumeTrade },
        { QStringLiteral("WeightedAvgBidPx"), &Record::WeightedAvgBidPx },
        { QStringLiteral("WeightedAvgOfferPx"), &Record::WeightedAvgOfferPx },
    };
    static const QString numTrades = QStringLiteral("NumTrades");
    static const Field<Record, QString> stamps[] {
        { QStringLiteral("MDDate"), &Record::MDDate },
        { QStringLiteral("MDTime"), &Record::MDTime },
    };

    const RowReader row(msg);
    row.read(phaseCode, out.TradingPhaseCode);
    row.read(preClose, out.PreClosePx);
    row.read(symbol, out.Symbol);
    const bool halted = out.TradingPhaseCode == HALTED_PHASE_CODE;

    // A halted quote keeps the marks of no value in its trading fields: meant.
    if (!halted) {
        readBook(row, out);
        const double bids = sum(out.BuyOrderQty);
        const double asks = sum(out.SellOrderQty);
        if (bids > 0 || asks > 0)
            out.BidAskRatio = (bids - asks) * Percent / (bids + asks);
        readFields(row, beforeLast, out);
        out.LastPx = row.latestPrice();
        readFields(row, afterLast, out);
        row.read(numTrades, out.NumTrades);
        deriveChange(out);
        // Unguarded: no volume or no previous close gives inf or NaN, which is meant.
        out.AvgPx = out.TotalValueTrade / out.TotalVolumeTrade;
        out.Amplitude = (out.HighPx - out.LowPx) / out.PreClosePx * Percent;
    }
    readFields(row, stamps, out);
    readSecurityName(out);

    QMutexLocker locker(m_pStockDeepDataMutex);
    const LxStockDeepData *deepData = m_indexes->stockDeepData.constFind(m_mapStockDeepData, out.Symbol);
    if (!deepData)
        return;
    // Shares that have not arrived enter as the invalid mark: meant.
    if (!halted)
        out.TurnoverRate = out.TotalVolumeTrade / deepData->TotalShare * Percent;
    const double price = halted ? out.PreClosePx : out.LastPx;
    out.TotalMarketValue = price * deepData->TotalShare;
    out.PBRatio = priceToBook(price, deepData->NetAssets);
    out.CirculatingMarketValue = price * deepData->ListedShare;
}

void LxQuotaHandler::AssembleFutureQuotaData(const QVariant &msg, FutureQuotaData &out)
{
    using Record = FutureQuotaData;
    static const Field<Record, double> beforeLast[] {
        { QStringLiteral("ClosePx"), &Record::ClosePx },
        { QStringLiteral("HighPx"), &Record::HighPx },
    };
    static const Field<Record, double> afterLast[] {
        { QStringLiteral("LowPx"), &Record::LowPx },
        { QStringLiteral("MaxPx"), &Record::MaxPx },
        { QStringLiteral("MinPx"), &Record::MinPx },
        { QStringLiteral("OpenPx"), &Record::OpenPx },
        { QStringLiteral("PreClosePx"), &Record::PreClosePx },
        { QStringLiteral("TotalValueTrade"), &Record::TotalValueTrade },
        { QStringLiteral("TotalVolumeTrade"), &Record::TotalVolumeTrade },
    };
    static const Field<Record, QString> texts[] {
        { QStringLiteral("MDDate"), &Record::MDDate },
        { QStringLiteral("MDTime"), &Record::MDTime },
        { QStringLiteral("Symbol"), &Record::Symbol },
        { QStringLiteral("TradingDate"), &Record::TradingDate },
    };
    static const Field<Record, double> futureFigures[] {
        { QStringLiteral("PreOpenInterest"), &Record::PreOpenInterest },
        { QStringLiteral("PreSettlePrice"), &Record::PreSettlePrice },
        { QStringLiteral("OpenInterest"), &Record::OpenInterest },
        { QStringLiteral("SettlePrice"), &Record::SettlePrice },
        { QStringLiteral("PreDelta"), &Record::PreDelta },
        { QStringLiteral("CurrDelta"), &Record::CurrDelta },
    };

    const RowReader row(msg);
    readBook(row, out);
    // Test and order of the operations differ from those of a stock: meant.
    const double bids = sum(out.BuyOrderQty);
    const double asks = sum(out.SellOrderQty);
    if (bids + asks > 0)
        out.BidAskRatio = (bids - asks) / (bids + asks) * Percent;
    readFields(row, beforeLast, out);
    out.LastPx = row.latestPrice();
    readFields(row, afterLast, out);
    readFields(row, texts, out);
    readFields(row, futureFigures, out);
    readSecurityName(out);
    deriveChange(out);

    {
        QMutexLocker locker(m_pStockDeepDataMutex);
        const LxStockDeepData *deepData = m_indexes->stockDeepData.constFind(m_mapStockDeepData, out.Symbol);
        if (deepData) {
            // A plain ratio, where a stock has a percentage: meant.
            out.TurnoverRate = out.TotalVolumeTrade / deepData->TotalShare;
            out.TotalMarketValue = deepData->TotalShare * out.LastPx;
            out.PBRatio = priceToBook(out.LastPx, deepData->NetAssets);
            out.CirculatingMarketValue = deepData->ListedShare * out.LastPx;
        }
    }
    out.AvgPx = out.TotalValueTrade / out.TotalVolumeTrade;
}

void LxQuotaHandler::AssembleIndexQuotaData(const QVariant &msg, IndexQuotaData &out)
{
    using Record = IndexQuotaData;
    static const Field<Record, double> beforeLast[] {
        { QStringLiteral("ClosePx"), &Record::ClosePx },
        { QStringLiteral("HighPx"), &Record::HighPx },
    };
    static const Field<Record, double> afterLast[] {
        { QStringLiteral("LowPx"), &Record::LowPx },
        { QStringLiteral("OpenPx"), &Record::OpenPx },
        { QStringLiteral("PreClosePx"), &Record::PreClosePx },
        { QStringLiteral("TotalValueTrade"), &Record::TotalValueTrade },
        { QStringLiteral("TotalVolumeTrade"), &Record::TotalVolumeTrade },
    };
    static const Field<Record, QString> texts[] {
        { QStringLiteral("MDDate"), &Record::MDDate },
        { QStringLiteral("MDTime"), &Record::MDTime },
        { QStringLiteral("Symbol"), &Record::Symbol },
    };

    const RowReader row(msg);
    readFields(row, beforeLast, out);
    out.LastPx = row.latestPrice();
    readFields(row, afterLast, out);
    readFields(row, texts, out);
    readSecurityName(out);
    deriveChange(out);
}

void LxQuotaHandler::AssembleStockTransactionRecordData(const QVariant &msg, StockTransactionRecordData &out)
{
    using Record = StockTransactionRecordData;
    static const Field<Record, QString> texts[] {
        { QStringLiteral("MDDate"), &Record::MDDate },
        { QStringLiteral("MDTime"), &Record::MDTime },
        { QStringLiteral("Symbol"), &Record::Symbol },
        { QStringLiteral("TradingPhaseCode"), &Record::TradingPhaseCode },
    };
    static const Field<Record, qint64> numbers[] {
        // The serial number is filled from the buy number too: meant.
        { QStringLiteral("TradeBuyNo"), &Record::TradeSerialNo },
        { QStringLiteral("TradeBuyNo"), &Record::TradeBuyNo },
        { QStringLiteral("TradeSellNo"), &Record::TradeSellNo },
    };
    static const QString type = QStringLiteral("TradeType");
    static const QString price = QStringLiteral("TradePrice");
    static const QString quantity = QStringLiteral("TradeQty");
    static const QString money = QStringLiteral("TradeMoney");
    static const QString side = QStringLiteral("TradeBSFlag");

    const RowReader row(msg);
    readFields(row, texts, out);
    readFields(row, numbers, out);
    row.read(type, out.TradeType);
    row.read(price, out.TradePrice);
    row.read(quantity, out.TradeQty);
    row.read(money, out.TradeMoney);
    row.read(side, out.TradeBSFlag);
}

void LxQuotaHandler::AssemblePEData(const QVariant &msg, PEData &out)
{
    static const Field<PEData, QString> texts[] {
        { QStringLiteral("Symbol"), &PEData::Symbol },
        { QStringLiteral("MDDate"), &PEData::MDDate },
        { QStringLiteral("tradeDay"), &PEData::tradeDay },
    };
    static const Field<PEData, double> figures[] {
        { QStringLiteral("ClosePx"), &PEData::ClosePx },
        { QStringLiteral("eps"), &PEData::eps },
        { QStringLiteral("ttmEps"), &PEData::ttmEps },
        { QStringLiteral("staticPE"), &PEData::staticPE },
        { QStringLiteral("dynamicPE"), &PEData::dynamicPE },
        { QStringLiteral("ttmPE"), &PEData::ttmPE },
    };

    RowReader row(msg);
    if (row.rowCount() < 2)
        return;
    row.setCurrentRow(1);
    readFields(row, texts, out);
    readFields(row, figures, out);
}

void LxQuotaHandler::AssembleQRRData(const QVariant &msg, QRRData &out)
{
    static const Field<QRRData, QString> texts[] {
        { QStringLiteral("Symbol"), &QRRData::Symbol },
        { QStringLiteral("MDDate"), &QRRData::MDDate },
    };
    static const QString volumePerMinute = QStringLiteral("last5DayVolumePerMinute");

    RowReader row(msg);
    if (row.rowCount() < 2)
        return;
    row.setCurrentRow(1);
    readFields(row, texts, out);
    row.read(volumePerMinute, out.last5DayVolumePerMinute);
}

void LxQuotaHandler::AssembleBaseQuotaData(const StockQuotaData &src, BaseQuotaData &dst)
{
    dst.RecordKind = QUOTA_RECORD_STOCK;
    dst.LastPx = src.LastPx;
    dst.MDTime = src.MDTime;
    dst.OpenPx = src.OpenPx;
    dst.ClosePx = src.ClosePx;
    dst.HighPx = src.HighPx;
    dst.LowPx = src.LowPx;
    dst.MaxPx = src.MaxPx;
    dst.MinPx = src.MinPx;
    dst.PreClosePx = src.PreClosePx;
    dst.TotalVolumeTrade = src.TotalVolumeTrade;
    dst.TotalValueTrade = src.TotalValueTrade;
    dst.NumTrades = static_cast<double>(src.NumTrades);
    dst.TotalBidQty = src.TotalBidQty;
    dst.TotalOfferQty = src.TotalOfferQty;
    dst.Buy1Price = src.BuyPrice[0];
    dst.Sell1Price = src.SellPrice[0];
    dst.Symbol = src.Symbol;
}

void LxQuotaHandler::AssembleBaseFutureQuotaData(const FutureQuotaData &src, BaseQuotaData &dst)
{
    dst.RecordKind = QUOTA_RECORD_FUTURE;
    dst.LastPx = src.LastPx;
    dst.MDTime = src.MDTime;
    dst.OpenPx = src.OpenPx;
    dst.ClosePx = src.ClosePx;
    dst.HighPx = src.HighPx;
    dst.LowPx = src.LowPx;
    dst.MaxPx = src.MaxPx;
    dst.MinPx = src.MinPx;
    dst.PreClosePx = src.PreClosePx;
    dst.TotalVolumeTrade = src.TotalVolumeTrade;
    dst.TotalValueTrade = src.TotalValueTrade;
    dst.Buy1Price = src.BuyPrice[0];
    dst.Sell1Price = src.SellPrice[0];
    dst.Symbol = src.Symbol;
}

void LxQuotaHandler::AssembleBaseIndexQuotaData(const IndexQuotaData &src, BaseQuotaData &dst)
{
    dst.RecordKind = QUOTA_RECORD_INDEX;
    dst.LastPx = src.LastPx;
    dst.MDTime = src.MDTime;
    dst.OpenPx = src.OpenPx;
    dst.ClosePx = src.ClosePx;
    dst.HighPx = src.HighPx;
    dst.LowPx = src.LowPx;
    dst.PreClosePx = src.PreClosePx;
    dst.TotalVolumeTrade = src.TotalVolumeTrade;
    dst.TotalValueTrade = src.TotalValueTrade;
    dst.Symbol = src.Symbol;
}
