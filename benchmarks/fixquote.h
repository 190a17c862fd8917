#pragma once

#include <memory>
#include <string>

/// The figures of a stock quote as a FIX message carries them.
struct FixFigures
{
    static constexpr int Levels = 10;
    static constexpr int Others = 15;

    std::string symbol;
    std::string date;
    std::string time;
    std::string phase;
    double others[Others] = {}; ///< previous close, last price, volume, ...
    double buyPrice[Levels] = {};
    double sellPrice[Levels] = {};
    double buyQty[Levels] = {};
    double sellQty[Levels] = {};
};

/// A quote as a FIX 4.4 MarketDataSnapshotFullRefresh message, parsed by QuickFIX.
class FixQuote
{
public:
    explicit FixQuote(const FixFigures &figures);
    ~FixQuote();

    void parseAndExtract(FixFigures *figures) const;

private:
    struct Private;
    const std::unique_ptr<Private> d;
};
