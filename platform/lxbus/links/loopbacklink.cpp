#include "links/loopbacklink_p.h"

int LxLoopbackLink::publish(const QString &topic, const QString &key, const QVariant &body)
{
    return m_closed ? 0 : m_observer->recordArrived(0, topic, key, body);
}

LxBusEndpoint::Result LxLoopbackLink::send(const LxBusRequest &request)
{
    if (m_closed)
        return LxBusEndpoint::Closed;
    LxArrivingRequest arriving { request, request.client, 0 };
    arriving.returnAddress = QByteArray::number(request.id);
    return m_observer->requestArrived(std::move(arriving));
}

void LxLoopbackLink::publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body)
{
    if (!m_closed)
        m_observer->messageArrived(request.client, topic, body);
}

void LxLoopbackLink::answer(const LxBusRequest &request, const QString &type, const QVariant &body)
{
    if (!m_closed)
        m_observer->answerArrived(request.returnAddress.toULongLong(), LxBusEndpoint::Ok, type, body);
}

void LxLoopbackLink::refuse(const LxBusRequest &request, LxBusEndpoint::Result reason)
{
    if (!m_closed)
        m_observer->answerArrived(request.returnAddress.toULongLong(), reason, QString(), QVariant());
}
