#include "applications/simulator/tests/simulator_fixture.h"

#include "applications/simulator/simulated_controller.h"

#include <QTest>

void SimulatorFixture::initTestCase()
{
    QVERIFY2(sampleProblems().isEmpty(), qPrintable(sampleProblems()));
}

void SimulatorFixture::init()
{
    m_simulator = std::make_unique<Simulator>(sampleConfiguration(),
                                              *ControllerProfile::byName(QStringLiteral("mdc32-gen2")));
    const QStringList problems = m_simulator->controller().problems();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join('\n')));
    QString error;
    QVERIFY2(m_simulator->listenTcp(0, &error), qPrintable(error));
    QVERIFY(m_simulator->tcpPort() != 0);
}

void SimulatorFixture::cleanup()
{
    m_line.reset();
    m_fromLine.clear();
    m_simulator.reset();
}

void SimulatorFixture::openLine(const QString& name)
{
    m_line = std::make_unique<QSerialPort>(name);
    m_line->setBaudRate(QSerialPort::Baud19200);
    QVERIFY2(m_line->open(QIODevice::ReadWrite), qPrintable(m_line->errorString()));
    connect(m_line.get(), &QSerialPort::readyRead, this, [this] { m_fromLine += m_line->readAll(); });
}
