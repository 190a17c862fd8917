#pragma once

#include <lxutils/lxthread.h>

#include <functional>

/// The thread that runs a program's replay.
class ReplayThread final : public LxThread
{
public:
    explicit ReplayThread(std::function<void()> work) : m_work(std::move(work)) { }

private:
    void run() override { m_work(); }

    const std::function<void()> m_work;
};
