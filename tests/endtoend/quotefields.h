#pragma once

#include "csvtable.h"

#include <recordfields.h>

#include <QHash>
#include <QString>

/// The names of securities by symbol, from securities.csv.
const QHash<QString, QString> &securityNames();

/// The record that a row of a recording has to become, without deep data.
StockQuotaData expectedStock(const CsvRow &row);
FutureQuotaData expectedFuture(const CsvRow &row);
IndexQuotaData expectedIndex(const CsvRow &row);

/// The figures of `deepData` for a quote that is not halted.
void applyDeepData(const LxStockDeepData &deepData, StockQuotaData *quote);
