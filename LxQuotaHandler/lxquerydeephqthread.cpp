#include "lxquerydeephqthread_p.h"

#include "lxconstants_p.h"
#include "lxquotahandler.h"

namespace {

constexpr unsigned long RequestPauseMs = 10;

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
        if (batch.size() == LxConstants::SymbolsPerDeepDataRequest) {
            handler.QueryStockDeepDataFromBackendServiceImpl(batch);
            batch.clear();
            msleep(RequestPauseMs);
        }
    }
    // Fixed behaviour: also if no symbol is left, in which case the request is empty.
    handler.QueryStockDeepDataFromBackendServiceImpl(batch);
    Q_EMIT sigThreadRunFinish(this);
}
