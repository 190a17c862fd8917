#pragma once

#include "bustesting.h"

#include <natsbroker.h>

#include <QtTest>

namespace BusTesting {

/// A test of the bus that runs once within the process and once through a broker.
class LinkTest : public QObject
{
    Q_OBJECT

protected:
    bool isLocal() const { return !m_broker; }
    QString url() const { return m_broker ? m_broker->url() : QStringLiteral("inproc:"); }
    /// What publish() returns if this number of receivers accepts the record; a broker counts as one.
    int accepted(int receivers) const { return m_broker ? 1 : receivers; }

private Q_SLOTS:
    void initTestCase_data()
    {
        QTest::addColumn<bool>("local");
        QTest::newRow("within the process") << true;
        QTest::newRow("through a broker") << false;
    }
    void init()
    {
        QFETCH_GLOBAL(bool, local);
        m_broker.reset(local ? nullptr : new NatsBroker); // without the records of other tests
        if (m_broker)
            QVERIFY2(m_broker->start(), m_broker->log().constData());
    }

private:
    std::unique_ptr<NatsBroker> m_broker;
};

} // namespace BusTesting
