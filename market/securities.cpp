#include "securities.h"

#include "csvreader.h"
#include "translated.h"

#include <lxbusinessdata/businessdatabase.h>

bool loadSecurities(const QString &path, QString *error)
{
    CsvReader reader;
    if (!reader.open(path, error))
        return false;
    const int symbol = reader.column(QStringLiteral("Symbol"));
    const int name = reader.column(QStringLiteral("SecurityName"));
    const int type = reader.column(QStringLiteral("SecurityType"));
    if (symbol < 0 || name < 0 || type < 0) {
        *error = translated("%1: the column Symbol, SecurityName or SecurityType is missing").arg(path);
        return false;
    }

    QHash<QString, CBusinessDataBase::Security> securities;
    while (reader.next(error)) {
        const QVector<QByteArray> &cells = reader.cells();
        if (cells.size() != reader.header().size()) {
            *error = translated("%1:%2: %3 cells instead of %4")
                         .arg(path)
                         .arg(reader.line())
                         .arg(cells.size())
                         .arg(reader.header().size());
            return false;
        }
        securities.insert(QString::fromUtf8(cells.at(symbol)),
                          { QString::fromUtf8(cells.at(name)), QString::fromUtf8(cells.at(type)) });
    }
    if (!error->isEmpty())
        return false;
    CBusinessDataBase::GetInstance()->SetSecurities(securities);
    return true;
}
