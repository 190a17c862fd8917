#include "busconnection.h"

LxBusConnection::LxBusConnection()
{
    qRegisterMetaType<LxBusState>();
    m_state.since = QDateTime::currentDateTime();
}

LxBusState LxBusConnection::state() const
{
    QMutexLocker locker(&m_mutex);
    return m_state;
}

void LxBusConnection::setState(LxBusState::Kind kind, const QString &reason)
{
    LxBusState state { kind, QDateTime::currentDateTime(), reason };
    {
        QMutexLocker locker(&m_mutex);
        if (m_state.kind == kind || m_state.kind == LxBusState::Closed)
            return;
        m_state = state;
    }
    Q_EMIT stateChanged(state);
}

QString LxBusState::text() const
{
    const QString time = since.toString(QStringLiteral("hh:mm:ss"));
    const QString why = reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(reason);
    switch (kind) {
    case Connected:
        return QStringLiteral("connected since %1").arg(time);
    case Reconnecting:
        return QStringLiteral("reconnecting since %1").arg(time) + why;
    case SlowConsumer:
        return QStringLiteral("slow consumer since %1").arg(time) + why;
    case Closed:
        return QStringLiteral("closed at %1").arg(time) + why;
    }
    return QString();
}
