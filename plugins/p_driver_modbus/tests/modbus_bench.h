#pragma once

#include "plugins/p_driver_modbus/source/p_driver_modbus.h"
#include "tests/support/fake_order.h"
#include "tests/support/platform.h"
#include "tests/support/scripted_peer.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <memory>

// An instance of the driver and what runs on it.
class ModbusBench
{
public:
    // A fresh instance with this configuration.
    void startWith(const QJsonObject& configuration);

    bool isConnected() const;
    int statistic(const char* name) const;
    // A command belongs to its order, which may outlive the driver in a test, but is its child.
    std::unique_ptr<FakeOrder> run(const QString& command, const QVariantMap& arguments,
                                   int timeout = c_timeout);

    inline static const int c_timeout = 250 * patience();
    // A poll has that at least, however soon its caller gives up.
    inline static const int c_pollTimeout = 500 * patience();

    std::unique_ptr<PDriverModbus> driver;
};

// Over TCP on the loopback: an instance and, unless a test says otherwise, its peer.
class ModbusTcpBench : public ModbusBench
{
public:
    ModbusTcpBench() { listening = peer.listen(); }
    // The instance goes before its peer.
    ~ModbusTcpBench() { driver.reset(); }
    Q_DISABLE_COPY_MOVE(ModbusTcpBench)

    void start(const QJsonObject& more = {});
    int received(quint8 function) const;

    ScriptedPeer peer;
    bool listening = false;
};

// What a fault did to an instruction, as a table that is printed at the end.
class FaultTable
{
public:
    explicit FaultTable(int width)
        : m_width(width)
    {}

    // `row` is the name of the test's row, "fault, instruction".
    void add(const QString& row, const QString& instruction, IMessenger::EnErrorCode code, qint64 after);
    void print(const QString& title) const;

private:
    int m_width;
    QStringList m_lines;
};

// The link tells on stderr of each connection it makes and loses: hundreds in a test of faults.
void keepLinkMessagesBack();
