#pragma once

#include <lxmarkethost_export.h>

#include <QObject>
#include <QString>

#include <memory>

/// The market of a small program that uses the quotation library: the bus, the names of securities, and the library as
/// an initialised plug-in. A trading client does all this for its plug-ins; a program of its own does it with this
/// class.
///
/// With a URL of a bus in LX_BUS_URL of the environment the market is that of a broker, where others publish and
/// answer. Without one the program serves itself, within the process: a recorded day is replayed and requests are
/// answered from a store of the recordings. The recordings, and securities.csv with the names, are those of LX_DATA_DIR
/// of the environment, or the installed ones.
///
///     LxMarketHost market;
///     QString error;
///     if (!market.open(&error)) qFatal("%s", qPrintable(error));
///     // connect to LxQuotaHandler::instance(), subscribe
///     market.start();
///
/// Lives on the main thread, as long as the application. One at a time.
class LXMARKETHOST_EXPORT LxMarketHost : public QObject
{
    Q_OBJECT

public:
    LxMarketHost();
    /// Ends the replay and leaves the bus.
    ~LxMarketHost() override;

    /// Joins the bus, reads the names of securities, opens the recordings of the latest day with quotes of stocks, and
    /// loads the library. False, with the reason in `error`.
    bool open(QString *error);
    /// Answers requests for past bars and figures from now on; with a broker, where others answer, it does nothing. The
    /// first time for a folder of recordings this builds a store in the user's cache, which takes some seconds. False,
    /// with the reason in `error`. Call it after open().
    bool serveHistory(QString *error);
    /// Starts the replay at `speed` times real time, or as fast as the library takes it if that is 0, from the opening
    /// at 9:30 on. With a broker it does nothing.
    void start(double speed = 60);

Q_SIGNALS:
    /// The replay has ended.
    void ended();
    /// Nothing will come any more: the broker has closed the connection or refuses what the program needs, or a
    /// recording cannot be read.
    void failed(const QString &reason);

private:
    struct Private;
    const std::unique_ptr<Private> d;
};
