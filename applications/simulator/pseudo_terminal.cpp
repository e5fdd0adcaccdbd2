#include "applications/simulator/pseudo_terminal.h"

PseudoTerminal::PseudoTerminal(QObject* parent)
    : QIODevice(parent)
{}

PseudoTerminal::~PseudoTerminal()
{
    PseudoTerminal::close();
}

QString PseudoTerminal::openPair(QString* error)
{
    close();
    m_pair = openPseudoTerminalPair(error);
    if (m_pair.master < 0)
        return {};
    QIODevice::open(QIODevice::ReadWrite | QIODevice::Unbuffered);
    m_notifier = std::make_unique<QSocketNotifier>(m_pair.master, QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &QIODevice::readyRead);
    return m_pair.slaveName;
}

void PseudoTerminal::close()
{
    if (m_pair.master < 0)
        return;
    m_notifier->setEnabled(false);
    // Not deleted at once: this may run below the notifier's own signal.
    m_notifier.release()->deleteLater();
    QIODevice::close();
    closeHandle(m_pair.master);
    closeHandle(m_pair.slave);
    m_pair = {};
}

qint64 PseudoTerminal::readData(char* data, qint64 maximum)
{
    return readHandle(m_pair.master, data, maximum);
}

qint64 PseudoTerminal::writeData(const char* data, qint64 size)
{
    return writeHandle(m_pair.master, data, size);
}
