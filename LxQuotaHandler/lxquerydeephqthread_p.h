#pragma once

#include <lxutils/lxthread.h>

#include <QStringList>

class LxPresenterClass;

/// Requests the deep data of a list of symbols, 100 a request with pauses of 10 ms, and tells when it has sent the last.
class LxQueryDeepHQThread : public LxThread
{
    Q_OBJECT

public:
    /// Without a presenter the thread ends at once and tells nothing.
    explicit LxQueryDeepHQThread(LxPresenterClass *presenter);
    ~LxQueryDeepHQThread() override;

    /// Before the thread starts.
    void setSymbols(const QStringList &symbols) { m_symbols = symbols; }

Q_SIGNALS:
    /// This thread; after the last request.
    void sigThreadRunFinish(QThread *thread);

protected:
    void run() override;

private:
    QStringList m_symbols;
    LxPresenterClass *const m_presenter;
};
