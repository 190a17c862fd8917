#pragma once

#include "bussession.h"

#include <QEventLoop>
#include <QString>

#include <memory>

class RequestService;

/// A service that answers requests, with the quotation library loaded as a plug-in: those of a shared bus, or one
/// within the process that answers from a store.
///
/// Lives on the main thread. One at a time.
class QuerySession
{
public:
    struct Options
    {
        BusSession::Options bus;
        QString store; ///< empty: a store of the folder's own in the user's cache, built when it is missing or old
        int timeoutMs = 0;
    };

    /// Adds the options of the bus, --store and --timeout.
    static void addOptions(QCommandLineParser &parser);
    static bool readOptions(const QCommandLineParser &parser, Options *options, QString *error);

    explicit QuerySession(Options options);
    ~QuerySession();

    /// Anything but ExitOk comes with a reason in `error`.
    ExitCode open(QString *error);
    int timeoutMs() const { return m_options.timeoutMs; }
    BusSession &bus() { return m_bus; }

private:
    bool prepareStore(QString *error);

    Options m_options;
    BusSession m_bus;
    std::unique_ptr<RequestService> m_service;
};

/// Runs the main thread's event loop until finish(), a time-out or a failure of the bus.
class AnswerWait : public QObject
{
public:
    explicit AnswerWait(QuerySession &session);

    /// ExitOk, ExitTimeout, or ExitFailure if the bus has failed: it has printed that then.
    ExitCode run();
    /// Main thread, also before run().
    void finish() { end(ExitOk); }

private:
    void end(ExitCode code);

    QuerySession &m_session;
    QEventLoop m_loop;
    bool m_ended = false;
    ExitCode m_code = ExitOk;
};
