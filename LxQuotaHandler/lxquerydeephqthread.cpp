#include "lxquerydeephqthread.h"

#include "lxquotahandler.h"

namespace {

constexpr int SymbolsPerRequest = 100;
constexpr unsigned long PauseMs = 10;

} // namespace

LxQueryDeepHQThread::LxQueryDeepHQThread(LxPresenterClass *presenter) : m_presenter(presenter) { }

LxQueryDeepHQThread::~LxQueryDeepHQThread() = default;

void LxQueryDeepHQThread::run()
{
    if (!m_presenter)
        return;
    LxQuotaHandler &handler = LxQuotaHandler::instance();
    QStringList batch;
    for (const QString &symbol : std::as_const(m_symbols)) {
        if (isInterruptionRequested())
            return;
        batch.append(symbol);
        if (batch.size() == SymbolsPerRequest) {
            handler.QueryStockDeepDataFromBackendServiceImpl(batch);
            batch.clear();
            msleep(PauseMs);
        }
    }
    // Also when nothing is left: a list of whole hundreds ends with a request without symbols. Meant.
    handler.QueryStockDeepDataFromBackendServiceImpl(batch);
    Q_EMIT sigThreadRunFinish(this);
}
