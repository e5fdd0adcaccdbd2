#include "tests/driver_contract/memory_under_test.h"

MemoryUnderTest::MemoryUnderTest()
    : m_loader(QStringLiteral(MDC_MEMORY_DRIVER_FILE))
{}

QString MemoryUnderTest::problem() const
{
    return const_cast<QPluginLoader&>(m_loader).instance() == nullptr ? m_loader.errorString() : QString();
}

void MemoryUnderTest::setBehaviour(Behaviour behaviour)
{
    m_behaviour = behaviour;
    tellBehaviour();
}

void MemoryUnderTest::setAnswerDelay(int delay)
{
    m_delay = delay;
    tell("answerDelay", m_delay);
}

void MemoryUnderTest::goAway()
{
    m_isAway = true;
    tellBehaviour();
}

bool MemoryUnderTest::comeBack()
{
    m_isAway = false;
    tellBehaviour();
    return true;
}

int MemoryUnderTest::requestCount() const
{
    return driver->property("requests").toInt();
}

std::unique_ptr<DAbstractPlugin> MemoryUnderTest::makeInstance(const QUuid& uuid)
{
    const auto* const root = qobject_cast<DAbstractPlugin*>(m_loader.instance());
    driver.reset(dynamic_cast<DAbstractPlugin*>(root->createInstance(uuid)));
    tellBehaviour();
    tell("answerDelay", m_delay);
    return std::move(driver);
}

void MemoryUnderTest::tell(const char* property, const QVariant& value)
{
    if (driver != nullptr)
        static_cast<QObject*>(driver.get())->setProperty(property, value);
}

void MemoryUnderTest::tellBehaviour()
{
    static const QMap<Behaviour, QString> c_names{{Behaviour::Answers, QStringLiteral("answers")},
                                                  {Behaviour::Refuses, QStringLiteral("refuses")},
                                                  {Behaviour::Silent, QStringLiteral("silent")}};
    tell("behaviour", m_isAway ? QStringLiteral("gone") : c_names.value(m_behaviour));
}
