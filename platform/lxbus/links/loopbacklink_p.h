#pragma once

#include "links/link_p.h"

#include <atomic>

/// The link within one process: hands messages over as they are, on the caller's thread.
class LxLoopbackLink final : public LxLink
{
public:
    void start(LxLinkObserver *observer) override { m_observer = observer; }
    void close() override { m_closed = true; }

    bool isLocal() const override { return true; }
    QString addressOf(const QString &name) override { return name; }

    void openRoute(quint64, const QString &, const QString &) override { }
    void closeRoute(quint64) override { }
    void openService(const QString &) override { }
    void closeService(const QString &) override { }

    int publish(const QString &topic, const QString &key, const QVariant &body) override;
    LxBusEndpoint::Result send(const LxBusRequest &request) override;
    void publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body) override;
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body) override;
    void refuse(const LxBusRequest &request, LxBusEndpoint::Result reason) override;
    bool flush(QDeadlineTimer) override { return true; }
    void beginDay() override { } // it keeps the latest records only

private:
    LxLinkObserver *m_observer = nullptr; // constant after start()
    std::atomic<bool> m_closed { false };
};
