// The hooks of this repository's platform.

#include "hooks.h"

#include <lxbus/bus.h>
#include <lxbusinessdata/businessdatabase.h>
#include <lxwidget/lxpluginhost.h>

#include <vector>

namespace {

class Service final : public LxBusService
{
public:
    Service(QString type, QString answerType, std::function<QVariant(const QVariant &)> answer)
        : m_type(std::move(type)), m_answerType(std::move(answerType)), m_answer(std::move(answer)),
          m_port(LxBus::current()->openService(this))
    {
    }
    ~Service() { m_port.reset(); }

    QStringList requestTypes() const override { return { m_type }; }
    void handle(const LxBusRequest &request) override
    {
        const QVariant answer = m_answer(request.body);
        if (request.id != 0)
            m_port->answer(request, m_answerType, answer);
    }

private:
    const QString m_type;
    const QString m_answerType;
    const std::function<QVariant(const QVariant &)> m_answer;
    std::unique_ptr<LxBusServicePort> m_port;
};

std::vector<std::unique_ptr<Service>> services;
std::unique_ptr<LxBusPublisher> publisher;
QHash<QString, CBusinessDataBase::Security> securities;

} // namespace

bool LxConformance::start(QString *error)
{
    if (!LxBus::start(QStringLiteral("inproc:"), {}, error))
        return false;
    publisher = LxBus::current()->openPublisher();
    return true;
}

void LxConformance::setSecurity(const QString &symbol, const QString &type, const QString &name)
{
    securities.insert(symbol, { name, type });
    CBusinessDataBase::GetInstance()->SetSecurities(securities);
}

bool LxConformance::load(const QString &library, QString *error)
{
    return LxPluginHost::load(library, error);
}

void LxConformance::publish(const QString &topic, const QString &symbol, const QVariant &body)
{
    publisher->publish(topic, symbol, body);
}

void LxConformance::serve(const QString &type, const QString &answerType,
                          const std::function<QVariant(const QVariant &)> &answer)
{
    services.push_back(std::make_unique<Service>(type, answerType, answer));
}

void LxConformance::receive(const QString &type, const std::function<void(const QVariant &)> &receive)
{
    serve(type, QString(), [receive](const QVariant &body) {
        receive(body);
        return QVariant();
    });
}

void LxConformance::stop()
{
    services.clear();
    publisher.reset();
    LxBus::stop();
}
