#pragma once

#include "benchcase.h"

#include <QJsonObject>
#include <QTextStream>

/// Writes rows as a table and as JSON.
namespace Report {

QJsonObject toJson(const BenchRow &row);
BenchRow fromJson(const QJsonObject &object);

void printHead(QTextStream &out);
void printRow(QTextStream &out, const BenchRow &row);

} // namespace Report
