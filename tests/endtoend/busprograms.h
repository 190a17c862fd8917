#pragma once

#include "market.h"
#include "natsbroker.h"
#include "program.h"
#include "runningprogram.h"

#include <importer.h>

#include <QtTest>

#include <csignal>

inline const QString marketd = QStringLiteral(LX_MARKETD_PROGRAM);
inline const QString lxquote = QStringLiteral(LX_QUOTE_PROGRAM);
inline const QString symbol = QStringLiteral("600519.SH");

/// A recording of two symbols, and its file name.
inline const QByteArray smallRecording = "MDDate,MDTime,Symbol,PreClosePx,LastPx,TotalVolumeTrade,TotalValueTrade\n"
                                         "20230201,093000000,600519.SH,1800,1800,100,180000\n"
                                         "20230201,093000000,000333.SZ,55,55,100,5500\n"
                                         "20230201,093001000,600519.SH,1800,1790,200,359000\n"
                                         "20230201,093002000,600519.SH,1800,1810.25,300,540025\n";
inline const QString smallFile = QStringLiteral("stock_snapshots_20230201.csv");

inline QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// Waits for other programs; the limit is far longer than they need.
#define VERIFY_SOON(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 60000)

/// Builds a store of the recorded data, and removes the bus settings from the environment.
class BusProgramsTest : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase()
    {
        m_store = m_folder.filePath(QStringLiteral("store"));
        Importer importer(QStringLiteral(LX_DATA_DIR), m_store, nullptr);
        QString error;
        QVERIFY2(importer.run(&error), qPrintable(error));
        for (const char *name : { "LX_BUS_URL", "LX_BUS_CA", "LX_BUS_CREDENTIALS" })
            qunsetenv(name);
    }

protected:
    QTemporaryDir m_folder;
    QString m_store;
};

/// Adds a broker for each test, which logs the subscriptions.
class BrokerTest : public BusProgramsTest
{
    Q_OBJECT

protected Q_SLOTS:
    void init()
    {
        m_broker = std::make_unique<NatsBroker>("trace: true\nmax_traced_msg_len: 16\n");
        QVERIFY2(m_broker->start(), m_broker->log());
    }
    void cleanup() { m_broker.reset(); }

protected:
    QStringList serve(const QStringList &more) const
    {
        return QStringList { QStringLiteral("serve"), QStringLiteral("--bus"), m_broker->url() } + more;
    }
    QStringList serveStore() const { return serve({ QStringLiteral("--store"), m_store }); }
    QStringList serveFolder(const QString &folder, const char *more) const
    {
        return serve(QStringList { QStringLiteral("--data"), folder } + words(more));
    }
    Program::Result ask(const QStringList &command) const
    {
        return Program::run(command + QStringList { QStringLiteral("--bus"), m_broker->url() });
    }

    std::unique_ptr<NatsBroker> m_broker;
};
