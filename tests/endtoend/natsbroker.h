#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

/// A nats-server of the test's own on the loopback, on a port that is free. Killed by the destructor, and by the kernel
/// if the test dies. Used on one thread, which has to outlive it.
///
///     NatsBroker broker;
///     QVERIFY2(broker.start(), broker.log());
///     LxBus::start(broker.url());
class NatsBroker
{
public:
    /// `config`: text of its configuration file, without an address (users, TLS, limits). Paths in it are relative to
    /// folder().
    explicit NatsBroker(const QByteArray &config = QByteArray());
    /// Gives it another configuration, for the next start().
    void configure(const QByteArray &config);
    ~NatsBroker();
    NatsBroker(const NatsBroker &) = delete;
    NatsBroker &operator=(const NatsBroker &) = delete;

    /// Starts it and returns when it takes connections; after kill() on the same port as before. False if it ends
    /// instead; log() tells why.
    bool start();
    /// Ends it at once (SIGKILL), connections and all.
    void kill();
    /// Stops and continues it: a broker that hangs, with its connections open.
    void freeze();
    void thaw();

    /// The port of the last start.
    int port() const { return m_port; }
    /// "nats://127.0.0.1:port", or with `user` ("name:password") and another scheme.
    QString url(const QString &user = QString(), const QString &scheme = QStringLiteral("nats")) const;

    QString folder() const { return m_folder.path(); }
    QString filePath(const QString &name) const { return m_folder.filePath(name); }
    /// All that it has logged.
    QByteArray log() const;

private:
    bool readPort();

    QTemporaryDir m_folder;
    std::unique_ptr<QProcess> m_process;
    int m_port = 0;
};
