#pragma once

#include <lxutils/lxthread.h>

#include <QStringList>

class LxPresenterClass;

/// Requests the deep data of a list of symbols, 100 symbols per request with pauses of 10 ms, and signals when the last
/// request has been sent.
class LxQueryDeepHQThread : public LxThread
{
    Q_OBJECT

public:
    /// If `presenter` is null, the thread ends at once and does not emit its signal.
    explicit LxQueryDeepHQThread(LxPresenterClass *presenter);
    ~LxQueryDeepHQThread() override;

    /// Must be called before the thread is started.
    void setSymbols(const QStringList &symbols) { m_symbols = symbols; }

Q_SIGNALS:
    /// Emitted by the thread after its last request, unless it was interrupted. `thread` is this object.
    void sigThreadRunFinish(QThread *thread);

protected:
    void run() override;

private:
    QStringList m_symbols;
    LxPresenterClass *const m_presenter;
};
