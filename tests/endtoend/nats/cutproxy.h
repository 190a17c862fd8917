#pragma once

#include <QSemaphore>

#include <cerrno>
#include <vector>

#include <arpa/inet.h>
#include <atomic>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

/// Forwards TCP connections to a port of this machine, and cuts them when the test wants: simulates a network that
/// fails while both sides go on. It runs on a thread of its own.
class CutProxy
{
public:
    explicit CutProxy(int target) : m_target(target)
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = addressOf(0);
        socklen_t size = sizeof address;
        if (m_listener < 0 || ::bind(m_listener, reinterpret_cast<sockaddr *>(&address), size) != 0
            || ::listen(m_listener, 16) != 0
            || ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size) != 0
            || ::pipe2(m_wake, O_CLOEXEC | O_NONBLOCK) != 0)
            qFatal("cannot listen");
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { run(); });
    }
    ~CutProxy()
    {
        m_ending = true;
        wake();
        m_thread.join();
        closeAll();
        for (int descriptor : { m_listener, m_wake[0], m_wake[1] })
            ::close(descriptor);
    }

    int port() const { return m_port; }
    /// Breaks all connections, and new ones at once, until mend().
    void cut()
    {
        m_isCut = true;
        wake();
        m_wasCut.acquire();
    }
    void mend() { m_isCut = false; }

private:
    struct Pair
    {
        int ends[2];
    };

    static sockaddr_in addressOf(int port)
    {
        sockaddr_in address {};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        return address;
    }

    void wake()
    {
        if (::write(m_wake[1], "", 1) < 0)
            qFatal("cannot wake the proxy");
    }

    void closeAll()
    {
        for (const Pair &pair : m_pairs) {
            ::close(pair.ends[0]);
            ::close(pair.ends[1]);
        }
        m_pairs.clear();
    }

    void accept()
    {
        const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return;
        const int server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_in address = addressOf(m_target);
        const bool connected =
            !m_isCut && ::connect(server, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
        if (connected) {
            m_pairs.push_back({ { client, server } });
        } else {
            ::close(client);
            ::close(server);
        }
    }

    // False if the connection has ended.
    static bool forward(int from, int to)
    {
        char buffer[65536];
        const ssize_t size = ::recv(from, buffer, sizeof buffer, 0);
        for (ssize_t sent = 0; sent < size;) {
            const ssize_t step = ::send(to, buffer + sent, static_cast<size_t>(size - sent), MSG_NOSIGNAL);
            if (step <= 0)
                return false;
            sent += step;
        }
        return size > 0;
    }

    void forwardAll(const std::vector<pollfd> &polled)
    {
        for (size_t i = m_pairs.size(); i-- > 0;) {
            const Pair pair = m_pairs[i];
            const bool alive = (polled[2 + 2 * i].revents == 0 || forward(pair.ends[0], pair.ends[1]))
                && (polled[3 + 2 * i].revents == 0 || forward(pair.ends[1], pair.ends[0]));
            if (alive)
                continue;
            ::close(pair.ends[0]);
            ::close(pair.ends[1]);
            m_pairs.erase(m_pairs.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }

    void run()
    {
        while (!m_ending) {
            std::vector<pollfd> polled { { m_listener, POLLIN, 0 }, { m_wake[0], POLLIN, 0 } };
            for (const Pair &pair : m_pairs) {
                polled.push_back({ pair.ends[0], POLLIN, 0 });
                polled.push_back({ pair.ends[1], POLLIN, 0 });
            }
            if (::poll(polled.data(), polled.size(), -1) < 0 && errno != EINTR)
                qFatal("cannot poll");
            char ignored[16];
            while (polled[1].revents != 0 && ::read(m_wake[0], ignored, sizeof ignored) > 0) { }
            if (m_isCut && !m_pairs.empty())
                closeAll();
            else
                forwardAll(polled);
            if (polled[1].revents != 0)
                m_wasCut.release();
            if (polled[0].revents != 0)
                accept();
        }
    }

    const int m_target;
    int m_listener = -1;
    int m_port = 0;
    int m_wake[2] { -1, -1 };
    std::atomic<bool> m_isCut { false };
    std::atomic<bool> m_ending { false };
    QSemaphore m_wasCut;
    std::vector<Pair> m_pairs; // of the thread
    std::thread m_thread;
};
