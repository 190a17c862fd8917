#pragma once

#include <lxmsg/lxmsg_export.h>

#include <QString>
#include <QVariant>

/// A message for the bus: its type, its body and the id of the plug-in that sends it.
///
/// Whoever hands a message to the bus (LxPresenterClass::Put and the requests) gives it away; allocate it with new.
class LXMSG_EXPORT CMessageCommon
{
public:
    CMessageCommon();

    void SetType(const QVariant &type);
    QVariant GetType() const;
    void SetMsg(const QVariant &msg);
    QVariant GetMsg() const;
    void SetSrcid(const QString &srcid);
    QString GetSrcid() const;

private:
    QVariant m_type;
    QVariant m_msg;
    QString m_srcid;
};
