#pragma once

#include <QByteArray>
#include <QStringList>
#include <QTemporaryDir>

/// A tmux terminal that runs the client program. When the program has ended, its output stays on the screen, followed
/// by "exit code N".
class TerminalScreen
{
public:
    /// `environment` is of the form "NAME=VALUE", or empty.
    TerminalScreen(int columns, int rows, const QStringList &arguments, const QString &environment = QString());
    ~TerminalScreen();
    TerminalScreen(const TerminalScreen &) = delete;
    TerminalScreen &operator=(const TerminalScreen &) = delete;

    /// A character, a string, or a key by its name in tmux, such as "PageUp".
    void press(const QString &key);
    void resize(int columns, int rows);

    /// What is on the screen, without the empty lines at its end.
    QStringList lines() const;
    QString line(int i) const { return lines().value(i); }
    /// The last line.
    QString status() const;
    bool has(const char *text) const;
    /// The symbols at the beginning of lines.
    QStringList symbols() const;
    /// The line of a symbol with its escape sequences.
    QByteArray colours(const QByteArray &symbol) const;

private:
    QByteArray tmux(const QStringList &arguments) const;

    QTemporaryDir m_folder;
    const QString m_socket = m_folder.filePath(QStringLiteral("socket"));
};
