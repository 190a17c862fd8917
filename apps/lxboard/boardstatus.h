#pragma once

#include <lxbus/busconnection.h>
#include <lxquotetablemodel.h>
#include <servicepresence.h>

#include <QElapsedTimer>
#include <QStatusBar>
#include <QTimer>

class MarketHost;
class QLabel;

/// The status bar: connection; whether there is a service, and how current the quotes are; delay, updates per second,
/// dropped and conflated messages.
class BoardStatus : public QStatusBar
{
    Q_OBJECT

public:
    BoardStatus(MarketHost *host, LxQuoteTableModel *model, QWidget *parent = nullptr);

    /// Of the replay, or of the bus if it has failed; empty: nothing to say.
    void setNotice(const QString &notice);

private:
    void showConnection(const LxBusState &state);
    void showService();
    QString serviceText() const;
    void noteJump(const ServicePresence::Jump &jump);
    void count();

    MarketHost *const m_host;
    LxQuoteTableModel *const m_model;
    QLabel *const m_connection;
    QLabel *const m_service;
    QLabel *const m_delay;
    QLabel *const m_rate;
    QLabel *const m_dropped;
    QString m_notice;
    QString m_jump; // of the market time
    QTimer m_jumpTimer; // runs while the jump is shown
    QTimer m_timer;
    QElapsedTimer m_sinceCount;
    qint64 m_updates = 0; // since the last count
};
