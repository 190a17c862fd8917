#pragma once

#include "bussession.h"
#include "localservice.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QString>

#include <optional>

/// Provides answers to requests, with the quotation library loaded as a plug-in: from the services of a shared bus, or
/// from a service within the process.
///
/// Lives on the main thread. One at a time.
class QuerySession
{
    Q_DECLARE_TR_FUNCTIONS(QuerySession)

public:
    struct Settings
    {
        QString store; ///< empty: that of the folder of recordings, see LocalService
        int timeoutMs = 10000; ///< on a shared bus from the start of the program, otherwise of the service within it

        /// Adds --store and --timeout.
        void addOptions(Options *options);
        /// False, with the reason in `error`, if a store is given with a shared bus.
        static bool check(const BusSettings &bus, const Options &options, QString *error);
    };

    QuerySession(const BusSession::Settings &bus, Settings settings);

    /// Anything but ExitOk comes with a reason in `error`.
    ExitCode open(QString *error);
    /// The time until which to wait for answers.
    const QDeadlineTimer &deadline() const { return m_deadline; }
    BusSession &bus() { return m_bus; }

private:
    const BusSession::Settings m_busSettings;
    const Settings m_settings;
    QDeadlineTimer m_deadline;
    BusSession m_bus;
    std::optional<LocalService> m_service;
};
