#include "messagecommon.h"

#include <lxdouble/messages.h>

#include <QMutex>
#include <QSet>

namespace {

struct LiveMessages
{
    QMutex mutex;
    QSet<CMessageCommon *> messages;
};

// Constructed when the library is loaded, so that it outlives every thread that a static object of the client ends.
LiveMessages live;

} // namespace

CMessageCommon::CMessageCommon()
{
    QMutexLocker locker(&live.mutex);
    live.messages.insert(this);
}

CMessageCommon::~CMessageCommon()
{
    QMutexLocker locker(&live.mutex);
    live.messages.remove(this);
}

void CMessageCommon::SetType(const QVariant &type)
{
    m_type = type;
}

QVariant CMessageCommon::GetType() const
{
    return m_type;
}

void CMessageCommon::SetMsg(const QVariant &msg)
{
    m_msg = msg;
}

QVariant CMessageCommon::GetMsg() const
{
    return m_msg;
}

void CMessageCommon::SetSrcid(const QString &srcid)
{
    m_srcid = srcid;
}

QString CMessageCommon::GetSrcid() const
{
    return m_srcid;
}

int LxDouble::liveMessages()
{
    QMutexLocker locker(&live.mutex);
    return live.messages.size();
}

void LxDouble::deleteLiveMessages()
{
    QSet<CMessageCommon *> left;
    {
        QMutexLocker locker(&live.mutex);
        left = live.messages;
    }
    qDeleteAll(left);
}
