#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <memory>

// SIGINT and SIGTERM as a Qt signal. One at a time in a process; needs an event loop.
class TerminationSignal : public QObject
{
    Q_OBJECT

public:
    explicit TerminationSignal(QObject* parent = nullptr);
    // Gives the signals back to what handled them before.
    ~TerminationSignal() override;

Q_SIGNALS:
    void received();

private:
    class Handlers;
    std::unique_ptr<Handlers> m_handlers;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
