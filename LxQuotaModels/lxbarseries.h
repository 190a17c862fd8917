#pragma once

#include "lxquote.h"

#include <lxdefine/lxkline.h>

#include <QAbstractTableModel>
#include <QVector>

#include <memory>

/// The bars of one symbol, the oldest first: those that the service has, and those of the current day, which grow as
/// quotes arrive.
///
///     LxBarSeries series;
///     series.load(QStringLiteral("600000.SH"), LxBarSeries::Day, LxBarSeries::Forward);
///     // rowsInserted(), dataChanged() and modelReset() announce what bars() holds
///
/// The current day is built from the quotes received since any model subscribed to the symbol; volumes are in shares
/// (futures: lots). A live bar replaces a bar of the service with the same time.
///
/// The service's answers contain a symbol and a period, but do not identify the request. If two series load the same
/// symbol and period with different adjustments at the same time, each therefore receives the bars of both answers.
/// Lives on the GUI thread.
class LXQUOTAMODELS_EXPORT LxBarSeries : public QAbstractTableModel
{
    Q_OBJECT
    Q_PROPERTY(QString symbol READ symbol NOTIFY loaded)

public:
    /// What a bar comprises; the values are those of LxKLine.
    enum Period {
        OneMinute = LxKLine::OneMinute,
        FiveMinutes = LxKLine::FiveMinutes,
        FifteenMinutes = LxKLine::FifteenMinutes,
        ThirtyMinutes = LxKLine::ThirtyMinutes,
        SixtyMinutes = LxKLine::SixtyMinutes,
        Day = LxKLine::Day,
        Week = LxKLine::Week,
        Month = LxKLine::Month
    };
    Q_ENUM(Period)

    /// How prices are adjusted for dividends and splits; the values are those of LxKLine.
    enum Adjustment { Unadjusted = LxKLine::Unadjusted, Forward = LxKLine::Forward, Backward = LxKLine::Backward };
    Q_ENUM(Adjustment)

    /// The columns. All are numbers except Time.
    enum Column { Time, Open, High, Low, Close, Volume, Amount, ColumnCount };
    Q_ENUM(Column)

    /// RawRole is the number of the cell or the date and time; the others are columns of the row, for QML.
    enum Role { RawRole = Qt::UserRole + 1, TimeRole, OpenRole, HighRole, LowRole, CloseRole, VolumeRole, AmountRole };
    Q_ENUM(Role)

    /// A series without bars until load() is called.
    explicit LxBarSeries(QObject *parent = nullptr);
    ~LxBarSeries() override;

    ///@{
    /// What load() was called with last.
    QString symbol() const;
    Period period() const;
    Adjustment adjustment() const;
    ///@}

    /// Shows the bars of `symbol` from now on. Requests as many past bars as a chart shows: ten days of one-minute
    /// bars, three months of 5- to 60-minute bars, four years of daily bars, and all weekly and monthly bars.
    void load(const QString &symbol, Period period, Adjustment adjustment = Unadjusted);

    /// The bars, the oldest first: a row of the model for each.
    const QVector<LxBar> &bars() const;
    /// The average close of the last `length` bars, for each bar; LxNoValue for the first ones.
    QVector<double> movingAverage(int length) const;
    /// The latest quote of the symbol.
    const LxQuote &quote() const;
    /// Converts a volume of a bar to lots: a lot of a stock is 100 shares, futures are counted in lots already.
    double inLots(double volume) const;

    ///@{
    /// As QAbstractItemModel describes it.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    ///@}

Q_SIGNALS:
    /// load() was called.
    void loaded();
    /// bars() has changed in any way. Emitted at most once per frame.
    void changed();

private:
    class Private;
    const std::unique_ptr<Private> d;
};
