#pragma once

#include <lxbus/bus.h>

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>

/// The values of "requestExeStatus" other than Orca_Values::RequestExeStatus::success.
namespace RequestStatus {
extern const QString badRequest; ///< "1": a field is missing or malformed
extern const QString notFound; ///< "2": the store does not have what was requested
extern const QString storeFailure; ///< "3": the store could not be read
} // namespace RequestStatus

class CurrentDayBars;

/// The outcome of a request.
struct RequestOutcome
{
    enum Result { Answered, BadRequest, NotFound, Failed };

    QString type;
    Result result = Answered;
    double seconds = 0; ///< from its arrival to its answer
};

/// The service that answers the requests of clients from a store: bars, price-earnings figures, volume per minute,
/// rising days, trading days and deep data. docs/store.md describes the answers.
///
/// Requests are answered one after the other on a thread of the service, which owns the store. A malformed request is
/// answered with a status. A type whose answers have no status is dropped, counted and logged instead.
class RequestService final : public LxBusService
{
public:
    /// Bars of the current day are taken from `live`, unless it is null; it must outlive the service.
    explicit RequestService(const CurrentDayBars *live = nullptr);
    /// Leaves the bus after answering the requests received so far.
    ~RequestService();
    RequestService(const RequestService &) = delete;
    RequestService &operator=(const RequestService &) = delete;

    /// Opens the store and joins the process's bus (LxBus::current()). False, with the reason in `error`, if the store
    /// cannot be opened. Call it once.
    bool start(const QString &storePath, QString *error);

    /// `observe` is called on the service's thread for each request. Must be set before start().
    void setObserver(std::function<void(const RequestOutcome &)> observe);

    /// Any thread.
    quint64 droppedRequests() const;
    /// Requests that have not been answered yet, without those that wait in the bus. Any thread.
    int waitingRequests() const;

    QStringList requestTypes() const override;
    void handle(const LxBusRequest &request) override; // bus threads

private:
    struct Private;
    const std::unique_ptr<Private> d;
};
