#include "lxframe_p.h"

LxFrame::LxFrame(std::function<void()> flush) : m_flush(std::move(flush)), m_timer(this)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &LxFrame::run);
}

void LxFrame::request()
{
    if (!m_requested.exchange(true))
        QMetaObject::invokeMethod(
            this, [this] { schedule(); }, Qt::QueuedConnection);
}

void LxFrame::schedule()
{
    const qint64 left = m_sinceFlush.isValid() ? m_interval - m_sinceFlush.elapsed() : 0;
    m_timer.start(static_cast<int>(qMax<qint64>(left, 0)));
}

void LxFrame::run()
{
    // Reset before the flush: what arrives during the flush may not be part of it and must request the next one.
    m_requested = false;
    m_flush();
    m_sinceFlush.start();
}
