#pragma once

#include <QString>

/// Certificates for the brokers of tests, made with openssl.
namespace Certificates {

/// Writes an authority (ca.pem) and a certificate that it gives for `host` (server-cert.pem, server-key.pem) into
/// `folder`. `host`: "IP:127.0.0.1" or "DNS:localhost". False if openssl fails.
bool make(const QString &folder, const QString &host = QStringLiteral("IP:127.0.0.1"));

} // namespace Certificates
