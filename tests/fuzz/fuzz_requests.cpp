// Any body of a request is answered or dropped: a service answers a valid request that comes after it.

#include "fuzzing.h"

#include <importer.h>
#include <requestserviceworker.h>

#include <lxbus/bus.h>
#include <lxmsg/packmessagecommon.h>

#include <QCborStreamReader>
#include <QCborValue>
#include <QTemporaryDir>

namespace {

// Whether all lengths in a value are within `size`. QCborValue reserves the memory that an input announces.
bool lengthsFit(QCborStreamReader *reader, quint64 size, int depth = 0)
{
    constexpr int MostNested = 100;
    while (reader->lastError() == QCborError::NoError && reader->hasNext()) {
        const bool hasLength = reader->isContainer() || reader->isString() || reader->isByteArray();
        if (hasLength && (!reader->isLengthKnown() || reader->length() > size || depth == MostNested))
            return false;
        if (!reader->isContainer()) {
            reader->next();
        } else if (!reader->enterContainer() || !lengthsFit(reader, size, depth + 1) || !reader->leaveContainer()) {
            return false;
        }
    }
    return reader->lastError() == QCborError::NoError;
}

// Bodies are what a packer makes of rows; other values go out as they are.
QVariant bodyOf(const QVariant &value)
{
    const QVariantList rows = value.toList();
    if (value.userType() != QMetaType::QVariantList || rows.isEmpty())
        return value;
    CPackMessageCommon pack;
    for (int i = 0; i < rows.size(); ++i) {
        if (i > 0)
            pack.AddRow();
        const QVariantMap row = rows.at(i).toMap();
        for (auto field = row.cbegin(); field != row.cend(); ++field)
            pack.AddVaule(field.key(), field.value());
    }
    return pack.GetPackedMsg(false);
}

class Service final : public LxBusService
{
public:
    Service() : m_worker(nullptr)
    {
        QString error;
        const QString store = m_folder.filePath(QStringLiteral("store"));
        if (!ensureStore(QStringLiteral(LX_DATA_DIR), store, nullptr, &error) || !m_worker.start(this, store, &error)) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            std::exit(1);
        }
    }
    ~Service() { m_worker.stop(); }

    QStringList requestTypes() const override { return RequestServiceWorker::requestTypes(); }
    void handle(const LxBusRequest &request) override { answer(request.type, request.body); }

    RequestOutcome::Result answer(const QString &type, const QVariant &body)
    {
        LxBusRequest request;
        request.type = type;
        request.body = body;
        return m_worker.answer(request);
    }

private:
    QTemporaryDir m_folder { QStringLiteral("/dev/shm/fuzz_requests-XXXXXX") };
    RequestServiceWorker m_worker;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *bytes, size_t size)
{
    static const std::shared_ptr<LxBusTransport> bus = LxBus::current(); // outlives the service
    static Service service;
    if (size == 0)
        return 0;
    static const QStringList types = [] {
        QStringList sorted = RequestServiceWorker::requestTypes(); // in an order of their own in each process
        sorted.sort();
        return sorted;
    }();
    const QByteArray cbor(reinterpret_cast<const char *>(bytes + 1), static_cast<int>(size - 1));
    QCborStreamReader lengths(cbor);
    if (!lengthsFit(&lengths, size))
        return 0;
    service.answer(types.at(bytes[0] % types.size()), bodyOf(QCborValue::fromCbor(cbor).toVariant()));

    const QVariantMap valid { { QStringLiteral("Symbol"), QStringLiteral("600000.SH") },
                              { QStringLiteral("MDDate"), QStringLiteral("20230201") } };
    fuzzRequire(service.answer(QStringLiteral("MSG_QUERY_P_E_RATIO_REQUEST"), bodyOf(QVariantList { valid }))
                    == RequestOutcome::Answered,
                "a valid request is answered");
    return 0;
}
