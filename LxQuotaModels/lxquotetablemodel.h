#pragma once

#include "lxquote.h"
#include "lxquotetext.h"

#include <QAbstractTableModel>
#include <QColor>
#include <QStringList>

#include <memory>

/// Live quotes of a list of symbols: a row for each symbol, a column for each figure.
///
///     LxQuoteTableModel model;
///     model.setSymbols({ QStringLiteral("600000.SH"), QStringLiteral("000001.SZ") });
///     QTableView view;
///     view.setModel(&model);
///
/// The model subscribes to its symbols, requests the figures from which ratios and market values are derived, and
/// unsubscribes when it is destroyed. If several models show a symbol, they share its subscription.
///
/// The latest quote of each symbol is collected off the GUI thread and shown once per frame, with at most 32
/// dataChanged() signals. While the rows are sorted by a column, their order is updated at most once per
/// sortInterval(). Lives on the GUI thread.
class LXQUOTAMODELS_EXPORT LxQuoteTableModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_PROPERTY(QStringList symbols READ symbols WRITE setSymbols NOTIFY symbolsChanged)
    Q_PROPERTY(Status status READ status NOTIFY statusChanged)
    Q_PROPERTY(int staleAfter READ staleAfter WRITE setStaleAfter)
    Q_PROPERTY(int flushInterval READ flushInterval WRITE setFlushInterval)
    Q_PROPERTY(int sortInterval READ sortInterval WRITE setSortInterval)

public:
    /// The columns. Units are those of LxQuote unless stated otherwise.
    enum Column {
        Code,
        Name,
        Last,
        Change,
        ChangeRatio,
        Volume, ///< in lots of 100 shares; of an index and a future in the unit of the record
        Amount,
        Bid,
        BidQuantity, ///< in the unit of Volume
        Ask,
        AskQuantity,
        High,
        Low,
        Open,
        PreviousClose,
        Average,
        Amplitude,
        TurnoverRate,
        QuantityRelativeRatio,
        PERatio,
        PBRatio,
        TotalMarketValue,
        CirculatingMarketValue,
        Time,
        ColumnCount
    };
    Q_ENUM(Column)

    /// What a cell or row is besides its text.
    enum Role {
        RawRole = Qt::UserRole + 1, ///< the number of the cell (NaN: missing), or its string
        SymbolRole,
        DirectionRole, ///< 1 rising, -1 falling, 0 neither; determines the colour of the cell
        StatusRole, ///< a Status
        FirstColumnRole = Qt::UserRole + 100 ///< + a Column: the display string of that column; named in QML ("last")
    };
    Q_ENUM(Role)

    /// How recent a row is, the best last.
    enum Status {
        NoService, ///< nothing has been received yet, or the service is known to be unreachable
        Stale, ///< no update for staleAfter() seconds of trading time
        Live
    };
    Q_ENUM(Status)

    /// Colours of the figures that have a direction. By default rising ones are red, as is usual in China.
    struct Colors
    {
        QColor rising = QColor(0xd0, 0x21, 0x2b); ///< above the previous close
        QColor falling = QColor(0x0a, 0x84, 0x3d); ///< below the previous close
        QColor neutral; ///< invalid: the view's own text colour
    };

    /// A model without symbols.
    explicit LxQuoteTableModel(QObject *parent = nullptr);
    ~LxQuoteTableModel() override;

    /// The symbols in the order of the list, regardless of how the rows are sorted.
    QStringList symbols() const;
    /// Replaces the list. Duplicate symbols are ignored, here and in insertSymbols().
    void setSymbols(const QStringList &symbols);
    /// Inserts symbols before the list's element `index`.
    void insertSymbols(int index, const QStringList &symbols);
    /// Removes those of the symbols that are in the list.
    void removeSymbols(const QStringList &symbols);
    /// Moves an element of the list so that it has the index `to` afterwards.
    void moveSymbol(int from, int to);

    /// The symbol of a row of the model; empty if there is no such row.
    QString symbolAt(int row) const;
    /// The row of a symbol; -1 if it is not in the list.
    int rowOf(const QString &symbol) const;
    /// The latest quote of a row.
    LxQuote quoteAt(int row) const;

    ///@{
    /// The colours of Qt::ForegroundRole.
    Colors colors() const;
    void setColors(const Colors &colors);
    ///@}
    /// The units of amounts and market values (default: LxQuoteText::localUnits()).
    void setUnits(LxQuoteText::Units units);

    /// The best status of a row; NoService of an empty list.
    Status status() const;
    /// For hosts that know whether the service can be reached. The default is true.
    void setServiceAvailable(bool available);

    /// Requests the share capital, earnings and volumes that have not been answered yet once more. For hosts that know
    /// that the service has become reachable. The model itself requests them once, after the first quote of each stock.
    void requestFigures();

    /// Milliseconds between the announcement of a quote and its appearance in the model: the maximum in the last flush;
    /// -1 before the first one.
    int delay() const;

    ///@{
    /// Seconds of trading time without an update after which a row is stale (default: 60).
    int staleAfter() const;
    void setStaleAfter(int seconds);
    ///@}
    ///@{
    /// Milliseconds between two updates of the rows (default: 33).
    int flushInterval() const;
    void setFlushInterval(int milliseconds);
    ///@}
    ///@{
    /// Milliseconds between two changes of the order of sorted rows (default: 300).
    int sortInterval() const;
    void setSortInterval(int milliseconds);
    ///@}

    ///@{
    /// How sort() was called last.
    int sortColumn() const;
    Qt::SortOrder sortOrder() const;
    ///@}
    /// Keeps the rows sorted by a column from now on; rows whose value is missing come last in both orders. Column -1
    /// restores the order of the list.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

    ///@{
    /// As QAbstractItemModel describes it.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    ///@}

    /// The heading of a column.
    static QString title(Column column);

Q_SIGNALS:
    /// The list has other symbols or another order.
    void symbolsChanged();
    /// status() has changed.
    void statusChanged(LxQuoteTableModel::Status status);
    /// The rows have been updated with `quotes` quotes.
    void flushed(int quotes);

private:
    class Private;
    const std::unique_ptr<Private> d;
};
