#pragma once

#include "lxquote.h"

#include <QAbstractTableModel>
#include <QColor>

#include <memory>

/// The order book of one symbol as a ladder: the asks from the highest to the best, then the bids from the best down;
/// ten levels per side, five for a future. An index has no order book and therefore no rows.
///
/// Follows the quotes of the symbol as LxQuoteTableModel does. Lives on the GUI thread.
class LXQUOTAMODELS_EXPORT LxDepthModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_PROPERTY(QString symbol READ symbol WRITE setSymbol NOTIFY symbolChanged)

public:
    /// The columns. Quantity is in lots.
    enum Column { Level, Price, Quantity, ColumnCount };
    Q_ENUM(Column)

    /// What a row is besides its text.
    enum Role {
        RawRole = Qt::UserRole + 1, ///< the number of the cell; NaN if missing
        IsAskRole,
        LevelRole, ///< 1 for the best price of the side
        FractionRole, ///< quantity of the row / the largest quantity of the book, 0 to 1
        DirectionRole, ///< 1 if the price is above the previous close, -1 below it, 0 equal or unknown
        PriceRole,
        QuantityRole
    };
    Q_ENUM(Role)

    /// A ladder without rows until setSymbol() is called.
    explicit LxDepthModel(QObject *parent = nullptr);
    ~LxDepthModel() override;

    /// The symbol whose order book is shown.
    QString symbol() const;
    /// An empty symbol shows nothing.
    void setSymbol(const QString &symbol);
    /// The quote whose order book is shown.
    const LxQuote &quote() const;
    /// Colours of prices above and below the previous close.
    void setColors(const QColor &rising, const QColor &falling);

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
    /// A more recent quote is shown.
    void quoteChanged();

private:
    class Private;
    const std::unique_ptr<Private> d;
};
