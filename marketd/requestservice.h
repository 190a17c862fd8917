#pragma once

#include <lxbus/bus.h>

#include <QStringList>

#include <memory>

/// The "requestExeStatus" of answers other than Orca_Values::RequestExeStatus::success.
namespace RequestStatus {
extern const QString badRequest; ///< "1": a field is missing or malformed
extern const QString nothingKnown; ///< "2": the store has nothing to answer with
extern const QString storeFailure; ///< "3": the store could not be read
} // namespace RequestStatus

/// The service that answers the requests of clients from a store: bars, price-earnings figures, volume per minute,
/// rising days, trading days and deep data. docs/store.md describes the answers.
///
/// The bus's threads only hand requests over; they are answered one after the other on a thread of the service, to
/// which the store belongs. Requests that have no answer to be refused with are dropped, counted and logged.
class RequestService final : public LxBusService
{
public:
    RequestService();
    /// Leaves the bus and answers what was handed over before.
    ~RequestService();
    RequestService(const RequestService &) = delete;
    RequestService &operator=(const RequestService &) = delete;

    /// Opens the store and joins the process's bus (LxBus::current()). False, with the reason in `error`, if the store
    /// cannot be opened. To be called once.
    bool start(const QString &storePath, QString *error);

    /// Any thread.
    quint64 droppedRequests() const;

    QStringList requestTypes() const override;
    void handle(const LxBusRequest &request) override; // bus threads

private:
    struct Private;
    const std::unique_ptr<Private> d;
};
