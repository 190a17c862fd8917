#pragma once

#include "market.h"
#include "natsbroker.h"
#include "program.h"
#include "runningprogram.h"

#include <importer.h>

#include <QtTest>

#include <csignal>

const QString marketd = QStringLiteral(LX_MARKETD_PROGRAM);
const QString lxquote = QStringLiteral(LX_QUOTE_PROGRAM);
const QString symbol = QStringLiteral("600519.SH");

inline QStringList words(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

/// For what other programs do; far longer than they take.
#define VERIFY_SOON(condition) QTRY_VERIFY_WITH_TIMEOUT(condition, 60000)

/// A store of the recorded data, and an environment that names no bus.
class BusProgramsTest : public QObject
{
    Q_OBJECT

protected Q_SLOTS:
    void initTestCase()
    {
        m_store = m_folder.filePath(QStringLiteral("store"));
        Importer importer(QStringLiteral(LX_DATA_DIR), m_store, nullptr);
        QVERIFY2(importer.run() == Importer::Imported, qPrintable(importer.errorString()));
        for (const char *name : { "LX_BUS_URL", "LX_BUS_CA", "LX_BUS_CREDENTIALS" })
            qunsetenv(name);
    }

protected:
    QTemporaryDir m_folder;
    QString m_store;
};

/// And a broker for each test, which logs who subscribes what.
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
