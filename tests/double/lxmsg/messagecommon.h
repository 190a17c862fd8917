#pragma once

#include <lxdouble/export.h>

#include <QString>
#include <QVariant>

/// A message for the bus. Existing messages are counted; see <lxdouble/messages.h>.
class LXDOUBLE_EXPORT CMessageCommon
{
public:
    CMessageCommon();
    ~CMessageCommon();
    Q_DISABLE_COPY(CMessageCommon)

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
