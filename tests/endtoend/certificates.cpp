#include "certificates.h"

#include <QFile>
#include <QProcess>

namespace {

constexpr int PatienceMs = 30000;

bool openssl(const QString &folder, const char *arguments)
{
    QProcess program;
    program.setWorkingDirectory(folder);
    program.setStandardErrorFile(QProcess::nullDevice());
    program.start(QStringLiteral("openssl"), QString::fromLatin1(arguments).split(QLatin1Char(' ')));
    return program.waitForFinished(PatienceMs) && program.exitStatus() == QProcess::NormalExit
        && program.exitCode() == 0;
}

} // namespace

bool Certificates::make(const QString &folder, const QString &host)
{
    QFile extensions(folder + QStringLiteral("/extensions"));
    if (!extensions.open(QIODevice::WriteOnly) || extensions.write("subjectAltName=" + host.toLatin1() + '\n') < 0)
        return false;
    extensions.close();
    return openssl(folder,
                   "req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=authority "
                   "-keyout ca-key.pem -out ca.pem")
        && openssl(folder,
                   "req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=broker "
                   "-keyout server-key.pem -out server.csr")
        && openssl(folder,
                   "x509 -req -in server.csr -CA ca.pem -CAkey ca-key.pem -CAcreateserial -days 2 "
                   "-extfile extensions -out server-cert.pem");
}
