#pragma once

#include "bussession.h"

class CommandLine;

/// Adds `lxquote tradeday`: the trading day a number of trading days after, or before, a date.
void addTradingDayCommand(CommandLine *commandLine, const BusSession::Settings *bus);
