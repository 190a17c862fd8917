#pragma once

#include <csvrecording.h>
#include <replay.h>
#include <requestservice.h>

#include <QString>

#include <functional>
#include <memory>

/// Serves the service's metrics over HTTP: /metrics for Prometheus, /healthz for health checks (200, or 503 while the
/// bus is not connected). Any thread.
class Metrics
{
public:
    /// Functions that return the current values. Called for each HTTP request, on threads of the HTTP server.
    struct Sources
    {
        std::function<ReplayCount(RecordingKind)> replayCount; ///< empty if nothing is replayed
        std::function<int()> waitingRequests; ///< empty if no requests are answered
        std::function<bool()> isConnected;
    };

    explicit Metrics(Sources sources);
    ~Metrics();
    Metrics(const Metrics &) = delete;
    Metrics &operator=(const Metrics &) = delete;

    /// True if `text` has the form HOST:PORT.
    static bool isAddress(const QString &text);
    /// Listens on `address`, which must be one. False, with the reason in `error`, on failure.
    bool listen(const QString &address, QString *error);
    /// Stops listening. Afterwards the sources are not called any more.
    void close();
    void addRequest(const RequestOutcome &outcome);

private:
    struct Private;
    const std::unique_ptr<Private> d;
};
