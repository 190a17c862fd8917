// A plug-in: a library with a static plug-in object. The host that loads the library calls initialize().
#include <lxquotahandler.h>
#include <lxwidget/lxpluginbaseobject.h>

#include <QTextStream>

class HighWatch : public LxPluginBaseObject
{
public:
    void initialize() override
    {
        LxQuotaHandler &quota = LxQuotaHandler::instance();
        connect(&quota, &LxQuotaHandler::signalStockQuotaUpdate, this, &HighWatch::showHigh);
        QStringList symbols { QStringLiteral("600519.SH") };
        quota.SubscribeQuote(symbols, true);
    }

private:
    void showHigh(const StockQuotaData &quote)
    {
        if (quote.HighPx <= m_high)
            return;
        m_high = quote.HighPx;
        QTextStream(stdout) << quote.MDTime << " new high of " << quote.SecurityName << ": " << m_high << Qt::endl;
    }

    double m_high = 0;
};

static HighWatch plugin;
