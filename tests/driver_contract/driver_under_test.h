#pragma once

#include "tests/support/fake_order.h"
#include "tests/support/platform.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonObject>
#include <QStringList>

#include <memory>
#include <optional>

// An instance of some kind of driver and the device at its other end, as the suites of the driver contract
// need them. A register of the device reads as its own address until it is written.
class DriverUnderTest
{
public:
    enum class Behaviour { Answers, Refuses, Silent };

    DriverUnderTest() = default;
    virtual ~DriverUnderTest() = default;
    Q_DISABLE_COPY_MOVE(DriverUnderTest)

    // Empty when everything that the test needs could be had.
    virtual QString problem() const { return {}; }
    // A fresh instance in place of the one before, with these members of its configuration besides those that
    // it needs. It finds the device, unless that is away.
    void start(const QJsonObject& more = {});

    // What the device does with every request from now on; at the start it answers at once.
    virtual void setBehaviour(Behaviour behaviour) = 0;
    // Of each of its answers, in ms.
    virtual void setAnswerDelay(int delay) = 0;
    // The link is lost, and cannot be had again until the device comes back.
    virtual void goAway() = 0;
    virtual bool comeBack() = 0;
    // Requests that have reached the device, and their times in ms from some moment on; no times where the
    // device does not take them down.
    virtual int requestCount() const = 0;
    virtual QList<qint64> requestTimes() const { return {}; }
    // That were made to the device, where it counts them.
    virtual int connectionCount() const { return 0; }
    // Nothing of a driver is left at the device's end of the link.
    virtual bool isLeft() const { return true; }

    // A member that the configuration must not have, and one with which it is good again; empty for a driver
    // without a configuration.
    virtual QJsonObject wrongMember() const { return {}; }
    virtual QJsonObject goodMember() const { return {}; }
    // How many times longer the intervals have to be in which the link is read.
    virtual int pace() const { return 1; }
    // How many ranges are read for listenings, of a driver that shows it.
    virtual std::optional<int> listenedRanges() const { return std::nullopt; }

    bool isConnected() const;
    QVariantMap statistics() const;
    int statistic(const QString& entry) const { return statistics().value(entry).toInt(); }
    // An order of this command, begun. It drops its command when the driver goes, as a host's does.
    std::unique_ptr<FakeOrder> run(const QString& command, const QVariantMap& arguments,
                                   int timeout = c_timeout);

    inline static const int c_timeout = 250 * patience();
    // For what is not to be missed: a serial line needs its time after a missed answer.
    static constexpr int c_longTimeout = 3000;

    std::unique_ptr<DAbstractPlugin> driver;

protected:
    virtual std::unique_ptr<DAbstractPlugin> makeInstance(const QUuid& uuid) = 0;
    virtual QJsonObject configuration() const = 0;
};

// A driver with one link, on which requests wait for each other.
class LineUnderTest : public DriverUnderTest
{
public:
    // As they came: unit, function, two bytes of address and the rest.
    virtual QList<QByteArray> requests() const = 0;
    int requestCount() const override { return static_cast<int>(requests().size()); }
    // Of the requests, in their order.
    QList<int> addresses() const;
    int writeCount() const;
};

// The kinds that are tested: "memory", "tcp" and, where there are pseudo-terminals, "rtu".
QStringList kindsOfDriver();
// Those with a line.
QStringList kindsOfLine();
std::unique_ptr<DriverUnderTest> makeDriver(const QString& kind);
std::unique_ptr<LineUnderTest> makeLine(const QString& kind);

// A test's data: a column "kind" and a row for each.
void addKinds(const QStringList& kinds);
