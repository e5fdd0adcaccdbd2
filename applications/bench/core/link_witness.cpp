#include "applications/bench/core/link_witness.h"

#include "applications/bench/core/link_watch.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>

LinkWitness::LinkWitness(const DAbstractPlugin* driver)
    : m_driver(driver)
{}

void LinkWitness::beforeQuestion()
{
    // Without a link it is answered by the next one.
    m_asked = connections() + (isDown() ? 1 : 0);
    m_isKnown = false;
    m_hasSeenAnother = false;
}

void LinkWitness::afterQuestion()
{
    // With more of them nobody knows which one the answer came by.
    const int now = connections();
    m_isKnown = now == 0 || now == m_asked;
    m_asked = now;
    m_sent = counted(driver_contract::c_sent);
}

void LinkWitness::note()
{
    m_hasSeenAnother = m_hasSeenAnother || !isOfQuestion();
    m_sent = counted(driver_contract::c_sent);
}

bool LinkWitness::isLostBetween() const
{
    // One that was sent before tells itself what came of it.
    return isLost() && counted(driver_contract::c_sent) == m_sent;
}

bool LinkWitness::isLost() const
{
    return !isOfQuestion() || isDown();
}

bool LinkWitness::isDown() const
{
    return m_driver != nullptr && !isConnected(*m_driver);
}

int LinkWitness::counted(QLatin1String name) const
{
    if (m_driver == nullptr)
        return 0;
    return m_driver->getProperty(driver_contract::c_statistics, QVariant()).toMap().value(name).toInt();
}

int LinkWitness::connections() const
{
    return counted(driver_contract::c_connections);
}
