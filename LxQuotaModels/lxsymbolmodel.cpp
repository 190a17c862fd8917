#include "lxsymbolmodel.h"

#include "lxpinyin.h"

LxSymbolModel::LxSymbolModel(QObject *parent) : QAbstractTableModel(parent) { }

LxSymbolModel::~LxSymbolModel() = default;

void LxSymbolModel::setSecurities(const QVector<LxSecurity> &securities)
{
    beginResetModel();
    m_securities = securities;
    m_initials.fill(QString(), securities.size());
    endResetModel();
}

const QVector<LxSecurity> &LxSymbolModel::securities() const
{
    return m_securities;
}

QString LxSymbolModel::initialsOf(const QString &name)
{
    return LxPinyin::initialsOf(name);
}

QString LxSymbolModel::initials(int row) const
{
    QString &known = m_initials[row];
    if (known.isNull())
        known = initialsOf(m_securities.at(row).name);
    return known;
}

int LxSymbolModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_securities.size();
}

int LxSymbolModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant LxSymbolModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return QVariant();
    const LxSecurity &security = m_securities.at(index.row());
    if (role == Qt::DisplayRole) {
        switch (index.column()) {
        case Code:
            return security.symbol;
        case Name:
            return security.name;
        case Initials:
            return initials(index.row());
        default:
            return security.type;
        }
    }
    switch (role) {
    case SymbolRole:
        return security.symbol;
    case NameRole:
        return security.name;
    case InitialsRole:
        return initials(index.row());
    case TypeRole:
        return security.type;
    default:
        return QVariant();
    }
}

QVariant LxSymbolModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole || section < 0 || section >= ColumnCount)
        return QAbstractTableModel::headerData(section, orientation, role);
    const QString titles[ColumnCount] { tr("Code"), tr("Name"), tr("Initials"), tr("Type") };
    return titles[section];
}

QHash<int, QByteArray> LxSymbolModel::roleNames() const
{
    QHash<int, QByteArray> names = QAbstractTableModel::roleNames();
    names.insert(SymbolRole, QByteArrayLiteral("symbol"));
    names.insert(NameRole, QByteArrayLiteral("name"));
    names.insert(InitialsRole, QByteArrayLiteral("initials"));
    names.insert(TypeRole, QByteArrayLiteral("type"));
    return names;
}

LxSymbolFilterModel::LxSymbolFilterModel(QObject *parent) : QSortFilterProxyModel(parent)
{
    sort(0);
}

void LxSymbolFilterModel::setPattern(const QString &pattern)
{
    const QString next = LxPinyin::normalized(pattern);
    if (next == m_pattern)
        return;
    m_pattern = next;
    invalidate();
    Q_EMIT patternChanged();
}

bool LxSymbolFilterModel::filterAcceptsRow(int sourceRow, const QModelIndex &sourceParent) const
{
    return !m_pattern.isEmpty() && rank(sourceModel()->index(sourceRow, 0, sourceParent)) >= 0;
}

bool LxSymbolFilterModel::lessThan(const QModelIndex &left, const QModelIndex &right) const
{
    const int a = rank(left);
    const int b = rank(right);
    if (a != b)
        return a < b;
    return left.data(LxSymbolModel::SymbolRole).toString() < right.data(LxSymbolModel::SymbolRole).toString();
}

// The quality of a match, 0 being the best; -1 if the row does not match.
int LxSymbolFilterModel::rank(const QModelIndex &index) const
{
    const QString strings[] { index.data(LxSymbolModel::SymbolRole).toString(),
                              index.data(LxSymbolModel::InitialsRole).toString(),
                              LxPinyin::normalized(index.data(LxSymbolModel::NameRole).toString()) };
    constexpr int Strings = 3;
    for (int i = 0; i < Strings; ++i) {
        if (strings[i].startsWith(m_pattern))
            return i;
    }
    for (int i = 0; i < Strings; ++i) {
        if (strings[i].contains(m_pattern))
            return Strings + i;
    }
    return -1;
}
