#include "tests/driver_contract/modbus_under_test.h"

#include "plugins/p_driver_modbus/source/p_driver_modbus.h"
#include "plugins/p_driver_modbus/source/poll_schedule.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

std::optional<int> ModbusUnderTest::listenedRanges() const
{
    return static_cast<const PDriverModbus*>(driver.get())->schedule()->rangeCount();
}

std::unique_ptr<DAbstractPlugin> ModbusUnderTest::makeInstance(const QUuid& uuid)
{
    return std::make_unique<PDriverModbus>(uuid);
}

ModbusTcpUnderTest::ModbusTcpUnderTest()
{
    m_listens = m_peer.listen();
}

ModbusTcpUnderTest::~ModbusTcpUnderTest()
{
    driver.reset();
}

QString ModbusTcpUnderTest::problem() const
{
    return m_listens ? QString() : QStringLiteral("no port to listen on");
}

void ModbusTcpUnderTest::setBehaviour(Behaviour behaviour)
{
    if (behaviour == Behaviour::Answers)
        m_peer.setFault(ScriptedPeer::None);
    else
        m_peer.setFault(behaviour == Behaviour::Refuses ? ScriptedPeer::Exception : ScriptedPeer::NoAnswer,
                        -1);
}

#ifdef Q_OS_UNIX
ModbusRtuUnderTest::~ModbusRtuUnderTest()
{
    driver.reset();
}

QString ModbusRtuUnderTest::problem() const
{
    return m_peer.device.isEmpty() ? QStringLiteral("no pseudo-terminal") : QString();
}

void ModbusRtuUnderTest::setBehaviour(Behaviour behaviour)
{
    m_behaviour = behaviour;
    tellPeer();
}

void ModbusRtuUnderTest::setAnswerDelay(int delay)
{
    m_peer.lateBy = delay;
    tellPeer();
}

bool ModbusRtuUnderTest::isLeft() const
{
    const QString terminal = QFileInfo(m_peer.device).canonicalFilePath();
    const QFileInfoList files =
        QDir("/proc/self/fd").entryInfoList(QDir::System | QDir::Files | QDir::NoDotAndDotDot);
    const auto users = std::count_if(files.cbegin(), files.cend(), [&terminal](const QFileInfo& file) {
        return file.symLinkTarget() == terminal;
    });
    // The peer itself holds the terminal open.
    return users <= 1;
}

QJsonObject ModbusRtuUnderTest::configuration() const
{
    return {{"transport", "rtu"}, {"serialPort", m_peer.device}, {"baudRate", 115200}, {"parity", "none"}};
}

void ModbusRtuUnderTest::tellPeer()
{
    m_peer.faultsLeft = -1;
    switch (m_behaviour) {
    case Behaviour::Answers:
        m_peer.fault = m_peer.lateBy > 0 ? SerialPeer::LateAnswer : SerialPeer::None;
        break;
    case Behaviour::Refuses:
        m_peer.fault = SerialPeer::Exception;
        break;
    case Behaviour::Silent:
        m_peer.fault = SerialPeer::NoAnswer;
        break;
    }
}
#endif
