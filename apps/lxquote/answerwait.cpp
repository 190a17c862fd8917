#include "answerwait.h"

#include <logging.h>

#include <QTimer>

namespace {

constexpr int ServiceCheckMs = 20;

} // namespace

AnswerWait::AnswerWait(BusSession *bus, const QDeadlineTimer &deadline) : m_deadline(deadline)
{
    connect(bus, &BusSession::failed, this, [this](const QString &reason) { end(ExitFailure, reason); });
}

AnswerWait::~AnswerWait()
{
    if (!m_thread)
        return;
    if (m_code != ExitOk) {
        // The query may still wait for an answer. The end of the bus is what ends such a request.
        Logging::mute(QStringLiteral("lx.bus")); // it would report what is left unread as dropped
        LxBus::stop();
    }
    m_thread->wait();
}

ExitCode AnswerWait::run(std::function<void()> query, QString *error)
{
    m_thread.reset(QThread::create(std::move(query)));
    connect(m_thread.get(), &QThread::finished, this, [this] {
        checkService();
        Q_EMIT queryReturned();
    });
    m_thread->start();
    QTimer check;
    connect(&check, &QTimer::timeout, this, &AnswerWait::checkService);
    check.start(ServiceCheckMs);
    if (!m_code)
        m_loop.exec();
    *error = m_reason;
    return *m_code;
}

void AnswerWait::checkService()
{
    if (LxBus::current()->statistics().dropped(LxBusDrop::NoService) > 0)
        end(ExitTimeout, tr("nobody on the bus serves this request"));
    else if (m_deadline.hasExpired())
        end(ExitTimeout, tr("no answer in time"));
}

void AnswerWait::end(ExitCode code, const QString &reason)
{
    if (m_code)
        return;
    m_code = code;
    m_reason = reason;
    m_loop.quit();
}
