#pragma once

#include <QString>

/// Fills the process's table of securities (CBusinessDataBase) from a CSV file with the columns "Symbol",
/// "SecurityName" and "SecurityType". False, with the reason in `error` and the table unchanged, if the file cannot be
/// read, lacks a column or has a row whose number of cells differs from the header's.
bool loadSecurities(const QString &path, QString *error);
