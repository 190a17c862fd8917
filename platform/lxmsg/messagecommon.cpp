#include "messagecommon.h"

CMessageCommon::CMessageCommon() = default;

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
