#pragma once

#include "tests/driver_contract/driver_under_test.h"
#include "tests/support/scripted_peer.h"
#ifdef Q_OS_UNIX
#include "tests/support/serial_peer.h"
#endif

class ModbusUnderTest : public LineUnderTest
{
public:
    std::optional<int> listenedRanges() const override;

protected:
    std::unique_ptr<DAbstractPlugin> makeInstance(const QUuid& uuid) override;
};

// On the loopback.
class ModbusTcpUnderTest : public ModbusUnderTest
{
public:
    ModbusTcpUnderTest();
    ~ModbusTcpUnderTest() override;
    Q_DISABLE_COPY_MOVE(ModbusTcpUnderTest)

    QString problem() const override;
    void setBehaviour(Behaviour behaviour) override;
    void setAnswerDelay(int delay) override { m_peer.setAnswerDelay(delay); }
    void goAway() override { m_peer.refuse(); }
    bool comeBack() override { return m_peer.listen(); }
    QList<QByteArray> requests() const override { return m_peer.requests; }
    QList<qint64> requestTimes() const override { return m_peer.requestTimes; }
    int connectionCount() const override { return m_peer.connections; }
    bool isLeft() const override { return m_peer.openConnections() == 0; }
    QJsonObject wrongMember() const override { return {{"unitId", 300}}; }
    QJsonObject goodMember() const override { return {{"unitId", 5}}; }

protected:
    QJsonObject configuration() const override { return {{"transport", "tcp"}, {"port", m_peer.port()}}; }

private:
    ScriptedPeer m_peer;
    bool m_listens = false;
};

#ifdef Q_OS_UNIX
// On a pseudo-terminal.
class ModbusRtuUnderTest : public ModbusUnderTest
{
public:
    ModbusRtuUnderTest() = default;
    ~ModbusRtuUnderTest() override;
    Q_DISABLE_COPY_MOVE(ModbusRtuUnderTest)

    QString problem() const override;
    void setBehaviour(Behaviour behaviour) override;
    void setAnswerDelay(int delay) override;
    void goAway() override { m_peer.unplug(); }
    bool comeBack() override { return m_peer.plugIn(); }
    QList<QByteArray> requests() const override { return m_peer.requests; }
    QList<qint64> requestTimes() const override { return m_peer.requestTimes; }
    bool isLeft() const override;
    int pace() const override { return 3; }
    QJsonObject wrongMember() const override { return {{"unitId", 0}}; }
    QJsonObject goodMember() const override { return {{"unitId", 1}}; }

protected:
    QJsonObject configuration() const override;

private:
    void tellPeer();

    SerialPeer m_peer;
    Behaviour m_behaviour = Behaviour::Answers;
};
#endif
