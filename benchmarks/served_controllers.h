#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>

#include <functional>

class Simulator;

// Simulated controllers in a process of their own, so that what is measured in this one is this side's.
class ServedControllers
{
public:
    // Starts this program again as the other process, with the hidden option "--serve"; empty ports when
    // it does not come up.
    explicit ServedControllers(int count);
    // Ends the other process.
    ~ServedControllers();
    Q_DISABLE_COPY(ServedControllers)

    // On the loopback interface.
    const QList<int>& ports() const { return m_ports; }

private:
    QProcess m_process;
    QList<int> m_ports;
};

// The other process: `prepare` is called for each controller before it is announced. Returns when the
// first process ends it.
int serveControllers(int count, const std::function<void(Simulator&)>& prepare);

// The bundled bench, and the same with a driver and a device per port; the device's own configuration
// passes through `changeDevice`.
QJsonObject sampleBench();
QJsonObject benchFor(const QList<int>& ports,
                     const std::function<QJsonObject(const QJsonObject&)>& changeDevice = {});

// From here on only warnings and worse are told: connections by the hundred are no news to a benchmark.
void quietLog();
