#pragma once

#include <QJsonObject>
#include <QList>
#include <QProcess>

#include <functional>

class Simulator;

// Who answers. The simulator's own time is on both sides of a ratio and draws it towards one; the costless
// peer's is next to nothing.
enum class Peer { Simulator, Costless };
constexpr Peer c_peers[] = {Peer::Simulator, Peer::Costless};
// As the tables name it.
const char* nameOf(Peer peer);

// Controllers in a process of their own, so that what is measured in this one is this side's.
class ServedControllers
{
public:
    // Simulators are this program again, with the hidden option "--serve"; the costless peer is the program
    // beside it. Empty ports when it does not come up.
    explicit ServedControllers(int count, Peer peer = Peer::Simulator);
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

// From here on only the first warnings and worse are told: connections by the hundred are no news to a
// benchmark, and a thousand devices that fail must not spend the machine on telling so.
void quietLog();
