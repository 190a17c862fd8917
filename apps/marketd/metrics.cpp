#include "metrics.h"

#include "translated.h"

#include <lxbus/bus.h>

#include <CivetServer.h>
#include <prometheus/collectable.h>
#include <prometheus/counter.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

#include <QRegularExpression>

#include <cerrno>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using prometheus::MetricFamily;
using prometheus::MetricType;

MetricFamily family(const char *name, const char *help, MetricType type)
{
    MetricFamily result;
    result.name = name;
    result.help = help;
    result.type = type;
    return result;
}

void add(MetricFamily *family, std::vector<prometheus::ClientMetric::Label> labels, double value)
{
    prometheus::ClientMetric metric;
    metric.label = std::move(labels);
    (family->type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
    family->metric.push_back(std::move(metric));
}

std::vector<MetricFamily> replayFamilies(const std::function<ReplayCount(RecordingKind)> &countOf)
{
    MetricFamily read =
        family("marketd_records_read_total", "Valid records read from recordings.", MetricType::Counter);
    MetricFamily published = family("marketd_records_published_total", "Records published.", MetricType::Counter);
    MetricFamily broken = family("marketd_records_broken_total", "Broken rows of recordings.", MetricType::Counter);
    for (int i = 0; i < RecordingKinds; ++i) {
        const auto kind = static_cast<RecordingKind>(i);
        const ReplayCount count = countOf(kind);
        const std::vector<prometheus::ClientMetric::Label> labels {
            { "topic", recordingKindInfo(kind).topic.toStdString() },
        };
        add(&read, labels, static_cast<double>(count.read));
        add(&published, labels, static_cast<double>(count.published));
        add(&broken, labels, static_cast<double>(count.skipped));
    }
    return { read, published, broken };
}

MetricFamily dropFamily()
{
    MetricFamily drops = family("marketd_bus_dropped_total", "Messages dropped by the bus.", MetricType::Counter);
    const LxBusStatistics &statistics = LxBus::current()->statistics();
    for (int i = 0; i <= static_cast<int>(LxBusDrop::Conflated); ++i) {
        const auto reason = static_cast<LxBusDrop>(i);
        add(&drops, { { "reason", LxBusStatistics::text(reason).toStdString() } },
            static_cast<double>(statistics.dropped(reason)));
    }
    return drops;
}

// HOST:PORT, the host being a name, an IPv4 address, or an IPv6 address in brackets.
struct Address
{
    QByteArray host;
    QByteArray port;
};

std::optional<Address> parseAddress(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(R"(^(?:\[([0-9A-Fa-f:.]+)\]|([0-9A-Za-z.-]+)):([0-9]{1,5})$)"));
    const QRegularExpressionMatch match = form.match(text);
    const int port = match.captured(3).toInt();
    if (!match.hasMatch() || port < 1 || port > 65535)
        return std::nullopt;
    return Address { (match.captured(1) + match.captured(2)).toLatin1(), match.captured(3).toLatin1() };
}

// Why a server cannot listen there. The HTTP server does not tell.
QString reasonAgainst(const Address &address)
{
    addrinfo wanted {};
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    if (const int code = getaddrinfo(address.host.constData(), address.port.constData(), &wanted, &found))
        return QString::fromLocal8Bit(code == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(code));
    const int on = 1;
    const int socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    errno = 0;
    if (socket >= 0 && setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0
        && bind(socket, found->ai_addr, found->ai_addrlen) == 0)
        listen(socket, 1);
    const int reason = errno;
    freeaddrinfo(found);
    if (socket >= 0)
        close(socket);
    return reason == 0 ? translated("unknown reason") : QString::fromLocal8Bit(std::strerror(reason));
}

std::string toString(RequestOutcome::Result result)
{
    switch (result) {
    case RequestOutcome::Answered:
        return "answered";
    case RequestOutcome::BadRequest:
        return "bad_request";
    case RequestOutcome::NotFound:
        return "not_found";
    case RequestOutcome::Failed:
        return "failed";
    }
    return {};
}

} // namespace

struct Metrics::Private
{
    /// Answers GET requests with what `respond(&status)` returns.
    class Handler final : public CivetHandler
    {
    public:
        using Respond = std::function<std::string(int *status)>;
        explicit Handler(Respond respond) : m_respond(std::move(respond)) { }

        bool handleGet(CivetServer *, mg_connection *connection) override
        {
            int status = 200;
            const std::string body = m_respond(&status);
            mg_printf(connection,
                      "HTTP/1.1 %d %s\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\n"
                      "Content-Length: %zu\r\nConnection: close\r\n\r\n",
                      status, status == 200 ? "OK" : "Service Unavailable", body.size());
            mg_write(connection, body.data(), body.size());
            return true;
        }

    private:
        const Respond m_respond;
    };

    explicit Private(Sources from) : sources(std::move(from)) { }

    std::string metrics() const
    {
        std::vector<MetricFamily> families = registry.Collect();
        if (sources.replayCount) {
            for (MetricFamily &replay : replayFamilies(sources.replayCount))
                families.push_back(std::move(replay));
        }
        if (sources.waitingRequests) {
            families.push_back(family("marketd_requests_waiting", "Requests not answered yet.", MetricType::Gauge));
            add(&families.back(), {}, sources.waitingRequests());
        }
        families.push_back(family("marketd_bus_connected", "1 while the bus is connected.", MetricType::Gauge));
        add(&families.back(), {}, sources.isConnected() ? 1 : 0);
        families.push_back(dropFamily());
        families.push_back(family("marketd_bus_messages_waiting", "Messages and requests that wait for a receiver.",
                                  MetricType::Gauge));
        add(&families.back(), {}, static_cast<double>(LxBus::current()->waitingMessages()));
        return prometheus::TextSerializer().Serialize(families);
    }

    std::string health(int *status) const
    {
        if (sources.isConnected())
            return "ok\n";
        *status = 503;
        return "the bus is not connected\n";
    }

    const Sources sources;
    prometheus::Registry registry;
    prometheus::Family<prometheus::Counter> &requests = prometheus::BuildCounter()
                                                            .Name("marketd_requests_total")
                                                            .Help("Requests by type and result.")
                                                            .Register(registry);
    prometheus::Family<prometheus::Histogram> &latencies =
        prometheus::BuildHistogram()
            .Name("marketd_request_seconds")
            .Help("Time from the arrival of a request to its answer.")
            .Register(registry);
    Handler metricsHandler { [this](int *) { return metrics(); } };
    Handler healthHandler { [this](int *status) { return health(status); } };
    std::unique_ptr<CivetServer> server; // last, since its threads use the other members
};

Metrics::Metrics(Sources sources) : d(std::make_unique<Private>(std::move(sources))) { }

Metrics::~Metrics() = default;

bool Metrics::isAddress(const QString &text)
{
    return parseAddress(text).has_value();
}

bool Metrics::listen(const QString &address, QString *error)
{
    try {
        d->server = std::make_unique<CivetServer>(
            std::vector<std::string> { "listening_ports", address.toStdString(), "num_threads", "2" });
    } catch (const CivetException &) {
        *error = translated("metrics cannot be served at %1: %2").arg(address, reasonAgainst(*parseAddress(address)));
        return false;
    }
    d->server->addHandler("/metrics$", d->metricsHandler);
    d->server->addHandler("/healthz$", d->healthHandler);
    return true;
}

void Metrics::close()
{
    d->server.reset();
}

void Metrics::addRequest(const RequestOutcome &outcome)
{
    static const prometheus::Histogram::BucketBoundaries seconds { 0.0001, 0.0003, 0.001, 0.003, 0.01,
                                                                   0.03,   0.1,    0.3,   1,     3 };
    const std::string type = outcome.type.toStdString();
    d->requests.Add({ { "type", type }, { "result", toString(outcome.result) } }).Increment();
    d->latencies.Add({ { "type", type } }, seconds).Observe(outcome.seconds);
}
