#pragma once

#include <QCommandLineParser>
#include <QEventLoop>
#include <QString>

#include <memory>

class RequestService;

/// A market-data service that answers requests from a store, with the quotation library loaded as a plug-in, all within
/// the process.
class QuerySession
{
public:
    struct Options
    {
        QString folder;
        QString store; ///< empty: a store of the folder's own in the user's cache, built when it is missing or old
        int timeoutMs = 0;
    };

    /// Adds --data, --store and --timeout.
    static void addOptions(QCommandLineParser &parser);
    static bool readOptions(const QCommandLineParser &parser, Options *options, QString *error);

    explicit QuerySession(Options options);
    ~QuerySession();

    bool open(QString *error);
    int timeoutMs() const { return m_options.timeoutMs; }

private:
    bool prepareStore(QString *error);

    Options m_options;
    std::unique_ptr<RequestService> m_service;
};

/// Runs the main thread's event loop until finish() or a time-out.
class AnswerWait
{
public:
    /// False on time-out.
    bool run(int timeoutMs);
    /// Main thread, also before run().
    void finish();

private:
    QEventLoop m_loop;
    bool m_finished = false;
};
