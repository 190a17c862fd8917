#pragma once

#include <lxdouble/messages.h>

/// Packs rows of keys and values into an LxDouble::Body.
class LXDOUBLE_EXPORT CPackMessageCommon
{
public:
    CPackMessageCommon();

    void AddVaule(const QString &key, const QVariant &value);
    void AddRow();
    void SetCurrentRow(int row);
    QVariant GetValue(const QString &key) const;
    QVariant GetPackedMsg(bool flag);

private:
    void openRow();

    LxDouble::Body m_body;
    int m_current = 0;
};
