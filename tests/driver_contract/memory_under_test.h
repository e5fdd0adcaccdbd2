#pragma once

#include "tests/driver_contract/driver_under_test.h"

#include <QPluginLoader>

// The driver of memory_driver.cpp, from its built file.
class MemoryUnderTest : public DriverUnderTest
{
public:
    MemoryUnderTest();

    QString problem() const override;
    void setBehaviour(Behaviour behaviour) override;
    void setAnswerDelay(int delay) override;
    void goAway() override;
    bool comeBack() override;
    int requestCount() const override;

protected:
    std::unique_ptr<DAbstractPlugin> makeInstance(const QUuid& uuid) override;
    QJsonObject configuration() const override { return {}; }

private:
    // Of the instance, once there is one.
    void tell(const char* property, const QVariant& value);
    void tellBehaviour();

    QPluginLoader m_loader;
    Behaviour m_behaviour = Behaviour::Answers;
    bool m_isAway = false;
    int m_delay = 0;
};
