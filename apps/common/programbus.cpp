#include "programbus.h"

#include "translated.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QStringList>

namespace {

constexpr int ReadyTimeoutMs = 4000;
constexpr int ReadyCheckMs = 100;

} // namespace

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
            fail(tr("the connection to the bus is %1").arg(text(state)));
    });
    connect(connection, &LxBusConnection::refused, this,
            [this](const QString &reason) { fail(tr("the broker refuses: %1").arg(reason)); });
    return true;
}

bool ProgramBus::check(QString *error)
{
    QCoreApplication::sendPostedEvents(this);
    *error = m_failure;
    return m_failure.isEmpty();
}

bool ProgramBus::waitUntilReady(QString *error)
{
    const auto publisher = LxBus::current()->openPublisher();
    const QDeadlineTimer deadline(ReadyTimeoutMs);
    while (!publisher->flush(ReadyCheckMs)) {
        if (!check(error))
            return false;
        if (deadline.hasExpired()) {
            *error = tr("the broker does not answer");
            return false;
        }
    }
    return check(error);
}

void ProgramBus::fail(const QString &reason)
{
    if (!m_failure.isEmpty())
        return;
    m_failure = reason;
    Q_EMIT failed(reason);
}

QString ProgramBus::text(const LxBusState &state)
{
    const QString time = state.since.toString(QStringLiteral("hh:mm:ss"));
    const QString why = state.reason.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(state.reason);
    switch (state.kind) {
    case LxBusState::Connected:
        return tr("connected since %1").arg(time);
    case LxBusState::Reconnecting:
        return tr("reconnecting since %1").arg(time) + why;
    case LxBusState::SlowConsumer:
        return tr("slow consumer since %1").arg(time) + why;
    case LxBusState::Closed:
        return tr("closed at %1").arg(time) + why;
    }
    return QString();
}

QString ProgramBus::dropsText()
{
    const LxBusStatistics &statistics = LxBus::current()->statistics();
    QStringList drops;
    for (int i = 0; i <= static_cast<int>(LxBusDrop::Conflated); ++i) {
        const auto reason = static_cast<LxBusDrop>(i);
        if (const quint64 count = statistics.dropped(reason))
            drops.append(
                QStringLiteral("%1 (%2)").arg(count).arg(translated(qUtf8Printable(LxBusStatistics::text(reason)))));
    }
    return drops.join(QStringLiteral(", "));
}
