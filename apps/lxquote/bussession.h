#pragma once

#include <datafolder.h>
#include <exitcode.h>
#include <options.h>
#include <programbus.h>

#include <QObject>
#include <QStringList>

/// The quotation library, loaded as a plug-in, on the bus that the command line specifies: through a broker, where
/// other processes publish and answer requests (a shared bus), or within the process, where this program does so
/// itself.
///
/// Lives on the main thread. One at a time.
class BusSession : public QObject
{
    Q_OBJECT

public:
    struct Settings
    {
        BusSettings bus;
        /// Folder of recordings and of securities.csv, with the names of securities.
        QString folder = DataFolder::standard();

        /// Adds --data and the options of the bus.
        void addOptions(Options *common);
    };

    explicit BusSession(Settings settings);

    bool isShared() const { return m_settings.bus.isShared(); }
    const QString &folder() const { return m_settings.folder; }

    /// Joins the bus.
    ExitCode join(QString *error);
    /// Loads the library.
    ExitCode loadLibrary(QString *error);

    LxBusState state() const { return m_bus.state(); }
    /// Prints each change of the connection's state on standard error.
    void printStates();

Q_SIGNALS:
    void stateChanged(const LxBusState &state);
    /// The bus has become unusable.
    void failed(const QString &reason);

private:
    const Settings m_settings;
    ProgramBus m_bus;
};

/// False, with the reason in `error`, if the bus is shared and one of the options `names`, which require a bus within
/// the process, is given on the command line itself.
bool checkOwnOptions(const BusSettings &bus, const Options &options, const QStringList &names, QString *error);
