#pragma once

#include <QStringList>

/// The commands that ask for figures of symbols, and for a trading day. `arguments` are those behind the command. They
/// return the exit code.
int deepCommand(const QStringList &arguments);
int priceEarningsCommand(const QStringList &arguments);
int volumeRatioCommand(const QStringList &arguments);
int risingDaysCommand(const QStringList &arguments);
int tradingDayCommand(const QStringList &arguments);
