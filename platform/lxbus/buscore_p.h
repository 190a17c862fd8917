#pragma once

#include "deliverypool_p.h"
#include "requesttable_p.h"
#include "servicetable_p.h"
#include "subscriptionbook_p.h"

/// The bus: endpoints, services and publishers of this process, whatever the link that connects them.
///
/// Endpoints, services and publishers share its ownership, but not its threads: close(), which is called by
/// LxBus::stop() or at the end of the process, closes the link and joins the pool. Objects that are still open then
/// stay valid, but send and receive nothing. The last reference may therefore be released on any thread.
class LxBusCore final : public LxBusTransport, public std::enable_shared_from_this<LxBusCore>, private LxLinkObserver
{
public:
    using Service = LxServiceTable::Service;

    LxBusCore(const LxBusOptions &options, std::unique_ptr<LxLink> link);
    ~LxBusCore() override;

    /// Ends the bus once the callbacks in progress have returned. Must not be called from one.
    void close();

    std::unique_ptr<LxBusEndpoint> openEndpoint(const QString &name, LxBusListener *listener) override;
    std::unique_ptr<LxBusServicePort> openService(LxBusService *service) override;
    std::unique_ptr<LxBusPublisher> openPublisher() override;
    const LxBusStatistics &statistics() const override { return m_statistics; }
    quint64 waitingMessages() const override;
    LxBusConnection &connection() override { return m_connection; }

    void subscribe(LxBusClient *client, const QString &topic);
    void put(LxBusClient *client, const QString &type, const QVariant &body);
    int requestAsync(const LxBusClient &client, const QString &type, const QVariant &body);
    int requestSync(const LxBusClient &client, const QString &type, const QVariant &body, QVariant *answer);
    void closeClient(LxBusClient *client);

    void publishTo(const LxBusRequest &request, const QString &topic, const QVariant &body);
    void answer(const LxBusRequest &request, const QString &type, const QVariant &body);
    void closeService(Service *service);

    int publish(const QString &topic, const QString &key, const QVariant &body);
    bool hasListeners(const QString &topic, const QString &key) const;
    bool flush(int timeoutMs);
    void beginDay() { m_link->beginDay(); }

private:
    int recordArrived(quint64 route, const QString &topic, const QString &key, const QVariant &body) override;
    void messageArrived(const QString &client, const QString &topic, const QVariant &body) override;
    LxBusEndpoint::Result requestArrived(LxArrivingRequest request) override;
    void answerArrived(quint64 id, LxBusEndpoint::Result result, const QString &type, const QVariant &body) override;
    void connectionLost(const QString &reason) override;
    void connectionRestored() override;
    void connectionClosed(const QString &reason) override;
    void connectionRefused(const QString &reason) override;
    void dropped(LxBusDrop reason, const QString &type, quint64 count) override;

    LxBusEndpoint::Result send(const QString &client, const QString &type, const QVariant &body, quint64 id);
    void settle(const QString &type, const LxReception &reception);
    void countWithoutReceiver(const QString &type, quint64 count);
    void closeMailbox(LxMailbox *mailbox);
    std::shared_ptr<LxMailbox> openMailbox(int limit, LxMailbox::Receiver receiver, LxMailbox::SlowReport reportSlow);
    void noteSlow(bool slow);
    void showState();

    const LxBusOptions m_options;
    LxBusStatistics m_statistics;
    LxBusConnection m_connection;
    const std::unique_ptr<LxLink> m_link;
    LxSubscriptionBook m_book;
    LxRequestTable m_requests;
    LxServiceTable m_services;

    mutable QMutex m_mutex; // guards what follows
    QHash<QString, std::shared_ptr<LxBusClient>> m_clients; // by address
    QVector<std::shared_ptr<LxMailbox>> m_mailboxes; // of clients and services
    int m_lastNumber = 1; // appended to a name that is taken
    bool m_closed = false;

    QMutex m_stateMutex; // guards what follows
    QString m_lost; // the reason while the connection is lost, otherwise empty
    int m_slowClients = 0;
    bool m_showingState = false; // a thread is announcing the state
    bool m_stateChanged = false; // since that thread last read the state

    LxDeliveryPool m_pool; // last, since its threads use everything above
};
