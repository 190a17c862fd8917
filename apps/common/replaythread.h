#pragma once

#include <lxutils/lxthread.h>

#include <functional>

/// The thread on which a program runs its replay.
class ReplayThread final : public LxThread
{
public:
    explicit ReplayThread(std::function<void()> work) : m_work(std::move(work)) { }

private:
    void run() override { m_work(); }

    const std::function<void()> m_work;
};
