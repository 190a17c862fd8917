#include "links/natsurl_p.h"

#include <QUrl>

namespace {

const QString plainScheme = QStringLiteral("nats://");
const QString encryptedScheme = QStringLiteral("tls://");
constexpr int DefaultPort = 4222;

} // namespace

bool LxNatsUrl::hasScheme(const QString &text)
{
    return text.startsWith(plainScheme) || text.startsWith(encryptedScheme);
}

bool LxNatsUrl::parse(const QString &text, LxNatsUrl *url, QString *error)
{
    if (!hasScheme(text)) {
        *error = QStringLiteral("the URL of a broker begins with %1 or %2").arg(plainScheme, encryptedScheme);
        return false;
    }
    url->encrypted = text.startsWith(encryptedScheme);
    const QStringList servers =
        text.mid((url->encrypted ? encryptedScheme : plainScheme).size()).split(QLatin1Char(','));
    for (const QString &server : servers) {
        const QUrl parsed(plainScheme + server, QUrl::StrictMode);
        const bool rest = !parsed.path().isEmpty() && parsed.path() != QLatin1String("/");
        if (!parsed.isValid() || parsed.host().isEmpty() || rest || parsed.hasQuery() || parsed.hasFragment()) {
            *error =
                QStringLiteral("\"%1\" is not the host and port of a broker").arg(server.section(QLatin1Char('@'), -1));
            return false;
        }
        if (!parsed.userName().isEmpty()) {
            url->user = parsed.userName().toUtf8();
            url->password = parsed.password().toUtf8();
        }
        QUrl address;
        address.setScheme(QStringLiteral("nats"));
        address.setHost(parsed.host());
        address.setPort(parsed.port(DefaultPort));
        url->servers.append(address.toEncoded());
    }
    return true;
}

QString LxNatsUrl::hosts() const
{
    QStringList hosts;
    for (const QByteArray &server : servers)
        hosts.append(QString::fromUtf8(server).mid(plainScheme.size()));
    return hosts.join(QLatin1String(", "));
}
