#include "boardstatus.h"

#include "markethost.h"

#include <lxquotetext.h>

#include <QLabel>

namespace {

constexpr int CountIntervalMs = 1000;
constexpr int JumpShownMs = 10000;

} // namespace

BoardStatus::BoardStatus(MarketHost *host, LxQuoteTableModel *model, QWidget *parent)
    : QStatusBar(parent), m_host(host), m_model(model), m_connection(new QLabel(this)), m_service(new QLabel(this)),
      m_delay(new QLabel(this)), m_rate(new QLabel(this)), m_dropped(new QLabel(this))
{
    setObjectName(QStringLiteral("boardStatus"));
    setAccessibleName(tr("Status"));
    m_connection->setObjectName(QStringLiteral("connectionStatus"));
    m_service->setObjectName(QStringLiteral("serviceStatus"));
    m_rate->setObjectName(QStringLiteral("rateStatus"));
    m_dropped->setObjectName(QStringLiteral("droppedStatus"));
    for (QLabel *label : { m_connection, m_service, m_delay, m_rate, m_dropped })
        label->setContentsMargins(4, 0, 8, 0);
    addWidget(m_connection);
    addWidget(m_service, 1);
    for (QLabel *label : { m_delay, m_rate, m_dropped })
        addPermanentWidget(label);

    connect(host, &MarketHost::stateChanged, this, &BoardStatus::showConnection);
    connect(model, &LxQuoteTableModel::statusChanged, this, &BoardStatus::showService);
    connect(model, &LxQuoteTableModel::flushed, this, [this](int quotes) { m_updates += quotes; });
    if (const PresenceWatch *presence = host->presence()) {
        connect(presence, &PresenceWatch::changed, this, &BoardStatus::showService);
        connect(presence, &PresenceWatch::jumped, this, &BoardStatus::noteJump);
    }
    m_jumpTimer.setSingleShot(true);
    connect(&m_jumpTimer, &QTimer::timeout, this, &BoardStatus::showService);
    connect(&m_timer, &QTimer::timeout, this, &BoardStatus::count);
    m_timer.start(CountIntervalMs);
    m_sinceCount.start();
    showConnection(host->state());
    showService();
    count();
}

void BoardStatus::setNotice(const QString &notice)
{
    m_notice = notice;
    showService();
}

void BoardStatus::showConnection(const LxBusState &state)
{
    if (!m_host->isShared()) {
        m_connection->setText(tr("In process"));
        m_connection->setToolTip(tr("This program itself replays recordings and answers requests"));
        return;
    }
    switch (state.kind) {
    case LxBusState::Connected:
        m_connection->setText(tr("Connected"));
        break;
    case LxBusState::Reconnecting:
        m_connection->setText(tr("Reconnecting since %1").arg(state.since.toString(QStringLiteral("HH:mm:ss"))));
        break;
    case LxBusState::SlowConsumer:
        m_connection->setText(tr("Connected, behind the market"));
        break;
    case LxBusState::Closed:
        m_connection->setText(tr("Connection closed"));
        break;
    }
    m_connection->setToolTip(state.reason);
    showService();
}

// What the replay's end, or the absence of a service, explains comes before how old the quotes are.
QString BoardStatus::serviceText() const
{
    const PresenceWatch *watch = m_host->presence();
    if (watch && m_host->state().kind != LxBusState::Reconnecting) {
        const ServicePresence &presence = watch->presence();
        if (presence.state() == ServicePresence::Absent) {
            const QDateTime since = presence.absentSince();
            return since.isValid() ? tr("No service since %1").arg(since.toString(QStringLiteral("HH:mm:ss")))
                                   : tr("No service");
        }
        if (presence.publishing() == ServicePresence::Nobody)
            return presence.publisher() ? tr("The replay has ended") : tr("No service publishes");
    }
    switch (m_model->status()) {
    case LxQuoteTableModel::Live:
        return tr("Live");
    case LxQuoteTableModel::Stale:
        return tr("Stale: no update for %1 s of trading").arg(m_model->staleAfter());
    case LxQuoteTableModel::NoService:
        return tr("No quotes yet");
    }
    return QString();
}

void BoardStatus::showService()
{
    QStringList parts { serviceText(), m_jumpTimer.isActive() ? m_jump : QString(), m_notice };
    parts.removeAll(QString());
    m_service->setText(parts.join(QStringLiteral(" · ")));
}

void BoardStatus::noteJump(const ServicePresence::Jump &jump)
{
    m_jump = jump.from.date() == jump.to.date()
        ? tr("The market time has gone back to %1").arg(jump.to.toString(QStringLiteral("HH:mm:ss")))
        : tr("Another day is replayed: %1").arg(jump.to.toString(QStringLiteral("yyyy-MM-dd")));
    m_jumpTimer.start(JumpShownMs);
    showService();
}

void BoardStatus::count()
{
    const double seconds = static_cast<double>(m_sinceCount.restart()) / 1000;
    const double rate = seconds > 0 ? static_cast<double>(m_updates) / seconds : 0;
    m_updates = 0;
    m_rate->setText(tr("%1 updates/s").arg(LxQuoteText::count(rate)));
    const int delay = m_model->delay();
    m_delay->setText(delay < 0 ? tr("Delay –") : tr("Delay %1 ms").arg(delay));
    m_dropped->setText(tr("Dropped %1, conflated %2").arg(m_host->dropped()).arg(m_host->conflated()));
}
