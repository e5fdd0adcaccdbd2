#pragma once

#include "applications/simulator/platform.h"

#include <QIODevice>
#include <QSocketNotifier>

#include <memory>

// The near end of a pseudo-terminal; a client (or a server) opens the far end by its name like a
// serial device. Once the system's buffer is full of bytes that the far end does not take away, a write
// takes fewer bytes than it was given, or none: nothing is kept here, as on a line where nobody listens.
class PseudoTerminal : public QIODevice
{
    Q_OBJECT

public:
    explicit PseudoTerminal(QObject* parent = nullptr);
    ~PseudoTerminal() override;

    // Empty with a text on failure.
    QString openPair(QString* error);
    void close() override;

    bool isSequential() const override { return true; }

protected:
    qint64 readData(char* data, qint64 maximum) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    // The far end stays open here too: without it the near end would report a hang-up for as long as
    // no client is there.
    PseudoTerminalPair m_pair;
    std::unique_ptr<QSocketNotifier> m_notifier;
};
