#pragma once

#include <lxmsg/lxmsg_export.h>

#include <QString>
#include <QVariant>

/// A message for the bus: its type, its body and the id of the sending plug-in.
///
/// LxPresenterClass::Put() and the request functions take ownership, so messages are allocated with new.
class LXMSG_EXPORT CMessageCommon
{
public:
    CMessageCommon();

    /// The type of the message.
    void SetType(const QVariant &type);
    /// The type of the message; invalid if it has none.
    QVariant GetType() const;
    /// The body.
    void SetMsg(const QVariant &msg);
    /// The body; invalid if there is none.
    QVariant GetMsg() const;
    /// The address of the sender.
    void SetSrcid(const QString &srcid);
    /// The address of the sender.
    QString GetSrcid() const;

private:
    QVariant m_type;
    QVariant m_msg;
    QString m_srcid;
};
