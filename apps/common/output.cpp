#include "output.h"

#include <QCoreApplication>

#include <cerrno>
#include <csignal>
#include <cstring>

#include <unistd.h>

Output::Output()
{
    // If the reader of a pipe has closed it, write() fails, and the program ends regularly.
    std::signal(SIGPIPE, SIG_IGN);
}

bool Output::open(const QString &path, QString *error)
{
    if (path.isEmpty())
        return true;
    m_file.setFileName(path);
    if (m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered))
        return true;
    *error = QCoreApplication::translate("Output", "cannot write %1: %2").arg(path, m_file.errorString());
    return false;
}

bool Output::write(const QString &text)
{
    return write(text.toUtf8());
}

bool Output::write(const QByteArray &bytes)
{
    const int descriptor = isStandardOutput() ? STDOUT_FILENO : m_file.handle();
    int written = 0;
    while (written < bytes.size() && isUsable()) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (count >= 0)
            written += static_cast<int>(count);
        else if (errno != EINTR)
            fail(errno);
    }
    return isUsable();
}

bool Output::finish(QString *error)
{
    *error = m_error;
    return m_error.isEmpty();
}

void Output::fail(int code)
{
    m_readerLeft = code == EPIPE;
    if (m_readerLeft)
        return;
    m_error =
        QCoreApplication::translate("Output", "cannot write %1: %2")
            .arg(isStandardOutput() ? QCoreApplication::translate("Output", "standard output") : m_file.fileName(),
                 QString::fromLocal8Bit(std::strerror(code)));
}
