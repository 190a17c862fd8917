#pragma once

#include "lxquotamodels_export.h"

#include <QAbstractTableModel>
#include <QSortFilterProxyModel>
#include <QVector>

#include <memory>

/// A security that can be found.
struct LxSecurity
{
    QString symbol; ///< code and market suffix
    QString name; ///< in Chinese
    QString type; ///< as the host names it
};

/// The securities of a market, with the pinyin initials of their Chinese names: PAYH for 平安银行.
///
/// The host fills it, since the library does not list securities. Lives on the GUI thread.
class LXQUOTAMODELS_EXPORT LxSymbolModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    /// The columns.
    enum Column { Code, Name, Initials, Type, ColumnCount };
    Q_ENUM(Column)

    /// The columns of a row, for QML.
    enum Role { SymbolRole = Qt::UserRole + 1, NameRole, InitialsRole, TypeRole };
    Q_ENUM(Role)

    /// A model without securities.
    explicit LxSymbolModel(QObject *parent = nullptr);
    ~LxSymbolModel() override;

    /// Replaces the securities. Initials are computed when they are first needed, in about 10 microseconds per
    /// security.
    void setSecurities(const QVector<LxSecurity> &securities);
    /// What setSecurities() was called with last.
    const QVector<LxSecurity> &securities() const;

    /// The pinyin initials, in capitals, of a Chinese name. Letters and digits are kept, all other characters are
    /// removed.
    static QString initialsOf(const QString &name);

    ///@{
    /// As QAbstractItemModel describes it.
    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    int columnCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;
    ///@}

private:
    QString initials(int row) const;

    QVector<LxSecurity> m_securities;
    mutable QVector<QString> m_initials; // null until they are known
};

/// The securities of an LxSymbolModel whose code, initials or name contains the pattern that was typed, the best
/// matches first: those that begin with it. An empty pattern matches nothing.
class LXQUOTAMODELS_EXPORT LxSymbolFilterModel : public QSortFilterProxyModel
{
    Q_OBJECT
    Q_PROPERTY(QString pattern READ pattern WRITE setPattern NOTIFY patternChanged)

public:
    /// A filter without a source model and with an empty pattern.
    explicit LxSymbolFilterModel(QObject *parent = nullptr);

    ///@{
    /// The pattern that was typed. Case and white space are ignored.
    QString pattern() const { return m_pattern; }
    void setPattern(const QString &pattern);
    ///@}

Q_SIGNALS:
    /// setPattern() was called with another pattern.
    void patternChanged();

protected:
    ///@{
    /// As QSortFilterProxyModel describes it.
    bool filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const override;
    bool lessThan(const QModelIndex &left, const QModelIndex &right) const override;
    ///@}

private:
    int rank(const QModelIndex &index) const;

    QString m_pattern;
};
