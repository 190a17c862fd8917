#include "fixquote.h"

#include <quickfix/DataDictionary.h>
#include <quickfix/fix44/MarketDataSnapshotFullRefresh.h>

namespace {

using Snapshot = FIX44::MarketDataSnapshotFullRefresh;

// Entry types: bids and offers by their standard letters, each other figure by a letter of its own.
constexpr char FirstOther = 'a';

FIX::DataDictionary dictionaryWithEntries()
{
    FIX::DataDictionary entry;
    const int order[] = { FIX::FIELD::MDEntryType, FIX::FIELD::MDEntryPx, FIX::FIELD::MDEntrySize,
                          FIX::FIELD::MDEntryPositionNo, 0 };
    for (const int *field = order; *field; ++field)
        entry.addField(*field);
    FIX::DataDictionary dictionary;
    dictionary.addGroup("W", FIX::FIELD::NoMDEntries, FIX::FIELD::MDEntryType, entry);
    return dictionary;
}

void addEntry(Snapshot *message, char type, double price, double size, int position)
{
    Snapshot::NoMDEntries entry;
    entry.set(FIX::MDEntryType(type));
    entry.set(FIX::MDEntryPx(price));
    if (position > 0) {
        entry.set(FIX::MDEntrySize(size));
        entry.set(FIX::MDEntryPositionNo(position));
    }
    message->addGroup(entry);
}

} // namespace

struct FixQuote::Private
{
    FIX::DataDictionary dictionary = dictionaryWithEntries();
    std::string text;
};

FixQuote::FixQuote(const FixFigures &figures) : d(new Private)
{
    Snapshot message;
    message.set(FIX::Symbol(figures.symbol));
    message.setField(FIX::FIELD::MDEntryDate, figures.date);
    message.setField(FIX::FIELD::MDEntryTime, figures.time);
    message.setField(FIX::FIELD::TradingSessionID, figures.phase);
    for (int i = 0; i < FixFigures::Others; ++i)
        addEntry(&message, static_cast<char>(FirstOther + i), figures.others[i], 0, 0);
    for (int i = 0; i < FixFigures::Levels; ++i) {
        addEntry(&message, FIX::MDEntryType_BID, figures.buyPrice[i], figures.buyQty[i], i + 1);
        addEntry(&message, FIX::MDEntryType_OFFER, figures.sellPrice[i], figures.sellQty[i], i + 1);
    }
    d->text = message.toString();
}

FixQuote::~FixQuote() = default;

void FixQuote::parseAndExtract(FixFigures *figures) const
{
    Snapshot message;
    message.setString(d->text, false, &d->dictionary);
    figures->symbol = message.getField(FIX::FIELD::Symbol);
    figures->date = message.getField(FIX::FIELD::MDEntryDate);
    figures->time = message.getField(FIX::FIELD::MDEntryTime);
    figures->phase = message.getField(FIX::FIELD::TradingSessionID);

    FIX::MDEntryType type;
    FIX::MDEntryPx price;
    FIX::MDEntrySize size;
    FIX::MDEntryPositionNo position;
    const int entries = static_cast<int>(message.groupCount(FIX::FIELD::NoMDEntries));
    for (int i = 1; i <= entries; ++i) {
        const FIX::FieldMap &entry = message.getGroupRef(i, FIX::FIELD::NoMDEntries);
        entry.getField(type);
        entry.getField(price);
        const char letter = type.getValue();
        if (letter != FIX::MDEntryType_BID && letter != FIX::MDEntryType_OFFER) {
            figures->others[letter - FirstOther] = price.getValue();
            continue;
        }
        entry.getField(size);
        entry.getField(position);
        const int level = position.getValue() - 1;
        const bool buy = letter == FIX::MDEntryType_BID;
        (buy ? figures->buyPrice : figures->sellPrice)[level] = price.getValue();
        (buy ? figures->buyQty : figures->sellQty)[level] = size.getValue();
    }
}
