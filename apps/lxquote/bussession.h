#pragma once

#include <datafolder.h>
#include <exitcode.h>
#include <options.h>
#include <presencewatch.h>
#include <programbus.h>

#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>

#include <memory>

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

        Settings() { sinceStart.start(); }
        /// Adds --data and the options of the bus.
        void addOptions(Options *common);
        /// The end of a time that began when the program did.
        QDeadlineTimer deadline(int timeoutMs) const;

        QElapsedTimer sinceStart; ///< of the program, which creates its settings first
    };

    explicit BusSession(Settings settings);

    bool isShared() const { return m_settings.bus.isShared(); }
    const QString &folder() const { return m_settings.folder; }

    /// Joins the bus.
    ExitCode join(QString *error);
    /// Loads the library.
    ExitCode loadLibrary(QString *error);
    /// Begins to watch the services of a shared bus. Does nothing on a bus within the process, where the program itself
    /// serves.
    void watchPresence();
    /// Null unless the services are watched.
    const PresenceWatch *presence() const { return m_presence.get(); }

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
    std::unique_ptr<PresenceWatch> m_presence;
};

/// False, with the reason in `error`, if the bus is shared and one of the options `names`, which require a bus within
/// the process, is given on the command line itself.
bool checkOwnOptions(const BusSettings &bus, const Options &options, const QStringList &names, QString *error);
