#pragma once

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QTemporaryDir>

#include <memory>

/// A nats-server for a test, on a free port of the loopback interface. It is killed by the destructor, or by the kernel
/// if the test crashes. Must be used on one thread, which must outlive it.
///
///     NatsBroker broker;
///     QVERIFY2(broker.start(), broker.log());
///     LxBus::start(broker.url());
class NatsBroker
{
public:
    /// `config`: text of its configuration file, without an address (users, TLS, limits). Paths in it are relative to
    /// folder(). The broker keeps its streams there, unless `config` configures JetStream itself.
    explicit NatsBroker(const QByteArray &config = QByteArray());
    /// Sets the configuration for the next start().
    void configure(const QByteArray &config);
    ~NatsBroker();
    NatsBroker(const NatsBroker &) = delete;
    NatsBroker &operator=(const NatsBroker &) = delete;

    /// Starts the broker and returns when it accepts connections; after kill(), on the same port as before. False if
    /// the broker exits; log() then contains the reason.
    bool start();
    /// Kills the broker (SIGKILL), which also breaks its connections.
    void kill();
    /// Stops the broker (SIGSTOP) and continues it: simulates a broker that hangs while its connections stay open.
    void freeze();
    void thaw();

    /// Empties the streams.
    void forgetRecords();

    /// The port of the last start.
    int port() const { return m_port; }
    /// "nats://127.0.0.1:port", or with `user` ("name:password") and another scheme.
    QString url(const QString &user = QString(), const QString &scheme = QStringLiteral("nats")) const;

    QString folder() const { return m_folder.path(); }
    QString filePath(const QString &name) const { return m_folder.filePath(name); }
    /// Everything that the broker has logged.
    QByteArray log() const;

private:
    bool readPort();

    QTemporaryDir m_folder;
    std::unique_ptr<QProcess> m_process;
    int m_port = 0;
};
