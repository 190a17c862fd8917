#pragma once

#include <exitcode.h>
#include <programbus.h>

#include <QCommandLineParser>
#include <QObject>
#include <QStringList>

/// The quotation library, loaded as a plug-in, on the bus that the command line names: one through a broker, where
/// others serve, or else one within the process, where the program serves itself.
///
/// Lives on the main thread. One at a time.
class BusSession : public QObject
{
    Q_OBJECT

public:
    struct Options
    {
        BusSettings bus;
        QString folder; ///< where the names of securities are; of recordings too, if the program serves itself
        bool named = true; ///< false: nobody asked for names
    };

    /// Adds --data and the options of the bus.
    static void addOptions(QCommandLineParser &parser);
    /// Reads them. False, with the reason in `error`, also if an option of `ownOnly` is given with a shared bus: those
    /// for a program that serves itself.
    static bool readOptions(const QCommandLineParser &parser, const QStringList &ownOnly, Options *options,
                            QString *error);

    /// Adds --timeout, in seconds.
    static void addTimeoutOption(QCommandLineParser &parser);
    static bool readTimeout(const QCommandLineParser &parser, int *milliseconds, QString *error);

    explicit BusSession(Options options);

    bool isShared() const { return m_options.bus.isShared(); }
    const QString &folder() const { return m_options.folder; }

    /// Joins the bus.
    ExitCode join(QString *error, int requestTimeoutMs = LxBusOptions().requestTimeoutMs);
    /// Loads the securities table, if there is one, and the library.
    ExitCode loadLibrary(QString *error);
    /// Prints a warning for each symbol that the securities table does not have, or one if there is no table.
    void warnOfUnknown(const QStringList &symbols) const;

    LxBusState state() const { return m_bus.state(); }
    /// Prints each change of the connection's state on standard error.
    void printStates();

Q_SIGNALS:
    void stateChanged(const LxBusState &state);
    /// Nothing will come any more.
    void failed(const QString &reason);

private:
    const Options m_options;
    ProgramBus m_bus;
    bool m_hasSecurities = false;
};
