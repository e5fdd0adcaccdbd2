#include "applications/bench/core/link_watch.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>

namespace {

constexpr int c_pollInterval = 20; // ms

bool isSettled(const DAbstractPlugin* driver)
{
    const QVariantMap statistics = driver->getProperty(driver_contract::c_statistics, QVariant()).toMap();
    return isConnected(*driver) || statistics.value(driver_contract::c_failedOpenings).toULongLong() > 0;
}

} // namespace

bool isConnected(const DAbstractPlugin& driver)
{
    return driver.getProperty(driver_contract::c_connected, QVariant(false)).toBool();
}

void LinkWatch::add(DAbstractPlugin& driver)
{
    m_drivers.append(&driver);
    const QUuid uuid = driver.objectUuid();
    connect(&driver, &DAbstractPlugin::sigPropertyChanged, this,
            [this, uuid](const QString& name, const QVariant& value) {
                if (name == driver_contract::c_connected && value.toBool())
                    m_everConnected.insert(uuid);
            });
}

bool LinkWatch::wasEverConnected(const DAbstractPlugin& driver) const
{
    return m_everConnected.contains(driver.objectUuid()) || isConnected(driver);
}

bool LinkWatch::areAllSettled() const
{
    return std::all_of(m_drivers.cbegin(), m_drivers.cend(), isSettled);
}

void LinkWatch::wait(int milliseconds, const Interrupt& interrupt) const
{
    if (areAllSettled() || milliseconds <= 0 || interrupt.requested())
        return;
    QEventLoop loop;
    // The count of failed attempts is read, not announced.
    QTimer poll;
    connect(&poll, &QTimer::timeout, &loop, [this, &loop] {
        if (areAllSettled())
            loop.quit();
    });
    poll.start(c_pollInterval);
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    connect(&interrupt, &Interrupt::interrupted, &loop, &QEventLoop::quit);
    loop.exec();
}
