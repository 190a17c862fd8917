#include "programbus.h"

#include <QCoreApplication>
#include <QStringList>

ProgramBus::~ProgramBus()
{
    LxBus::stop();
}

bool ProgramBus::join(const BusSettings &settings, QString *error)
{
    if (!LxBus::start(settings.url, settings.options, error))
        return false;
    const LxBusConnection *connection = &LxBus::current()->connection();
    connect(connection, &LxBusConnection::stateChanged, this, [this](const LxBusState &state) {
        Q_EMIT stateChanged(state);
        if (state.kind == LxBusState::Closed)
            fail(QStringLiteral("the connection to the bus is %1").arg(state.text()));
    });
    connect(connection, &LxBusConnection::refused, this, [this](const QString &reason) {
        fail(QStringLiteral("the broker refuses: %1").arg(reason));
    });
    return true;
}

bool ProgramBus::check(QString *error)
{
    QCoreApplication::sendPostedEvents(this);
    *error = m_failure;
    return m_failure.isEmpty();
}

void ProgramBus::fail(const QString &reason)
{
    if (!m_failure.isEmpty())
        return;
    m_failure = reason;
    Q_EMIT failed(reason);
}

QString ProgramBus::dropsText()
{
    const LxBusStatistics &statistics = LxBus::current()->statistics();
    QStringList drops;
    for (int i = 0; i <= static_cast<int>(LxBusDrop::Conflated); ++i) {
        const auto reason = static_cast<LxBusDrop>(i);
        if (const quint64 count = statistics.dropped(reason))
            drops.append(QStringLiteral("%1 (%2)").arg(count).arg(LxBusStatistics::text(reason)));
    }
    return drops.join(QStringLiteral(", "));
}
