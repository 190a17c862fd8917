#pragma once

#include "lxquote.h"

#include <QAbstractTableModel>
#include <QColor>

#include <memory>

/// The last transactions of one symbol, the latest first.
///
/// Until the first transaction arrives (a service may not have any), the rows are derived from quotes: one row for what
/// was traded between two successive quotes. If the symbol was already subscribed, the last 20 of these are shown from
/// the start. Transactions are shown from setSymbol() on.
///
/// The rows are updated once per frame as in LxQuoteTableModel; of a burst only the last capacity() transactions are
/// kept. Lives on the GUI thread.
class LXQUOTAMODELS_EXPORT LxTradeListModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_PROPERTY(QString symbol READ symbol WRITE setSymbol NOTIFY symbolChanged)
    Q_PROPERTY(int capacity READ capacity WRITE setCapacity)
    Q_PROPERTY(Source source READ source NOTIFY sourceChanged)

public:
    /// The columns.
    enum Column { Time, Price, Lots, Side, ColumnCount };
    Q_ENUM(Column)

    /// What a cell or row is besides its text.
    enum Role {
        RawRole = Qt::UserRole + 1, ///< the number of the cell, the time as HHmmssSSS, or the LxTrade::Side
        TimeRole,
        PriceRole,
        LotsRole,
        SideRole
    };
    Q_ENUM(Role)

    /// What the rows are derived from.
    enum Source { Quotes, Transactions };
    Q_ENUM(Source)

    /// A list without rows until setSymbol() is called.
    explicit LxTradeListModel(QObject *parent = nullptr);
    ~LxTradeListModel() override;

    ///@{
    /// The symbol whose transactions are shown; an empty symbol shows nothing.
    QString symbol() const;
    void setSymbol(const QString &symbol);
    ///@}
    ///@{
    /// The maximum number of rows (default: 200).
    int capacity() const;
    void setCapacity(int rows);
    ///@}
    /// What the rows are derived from at present.
    Source source() const;
    /// Colours of transactions initiated by buyers and by sellers.
    void setColors(const QColor &buy, const QColor &sell);

    ///@{
    /// As QAbstractItemModel describes it.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    ///@}

Q_SIGNALS:
    /// setSymbol() was called with another symbol.
    void symbolChanged();
    /// source() has changed.
    void sourceChanged(LxTradeListModel::Source source);

private:
    class Private;
    const std::unique_ptr<Private> d;
};
