#include "tests/driver_contract/driver_under_test.h"

#include "tests/driver_contract/memory_under_test.h"
#include "tests/driver_contract/modbus_under_test.h"

#include <lib_plugins_management/driver_contract.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QSharedPointer>
#include <QTest>
#include <QUuid>

#include <algorithm>

namespace {

const QString c_objectId = QStringLiteral("{11111111-2222-3333-4444-555555555555}");
const QString c_memory = QStringLiteral("memory");
const QString c_tcp = QStringLiteral("tcp");
const QString c_rtu = QStringLiteral("rtu");

} // namespace

void DriverUnderTest::start(const QJsonObject& more)
{
    driver = makeInstance(QUuid(c_objectId));
    QJsonObject members = configuration();
    for (auto member = more.constBegin(); member != more.constEnd(); ++member)
        members.insert(member.key(), member.value());
    const QJsonObject object{{"id", c_objectId}, {"name", "controller"}, {"configuration", members}};
    driver->setMainConfig(QSharedPointer<QJsonObject>::create(QJsonObject{{"objects", QJsonArray{object}}}));
    driver->initPluginCommands();
}

bool DriverUnderTest::isConnected() const
{
    return driver->getProperty(driver_contract::c_connected, nullptr).toBool();
}

QVariantMap DriverUnderTest::statistics() const
{
    return driver->getProperty(driver_contract::c_statistics, nullptr).toMap();
}

std::unique_ptr<FakeOrder> DriverUnderTest::run(const QString& command, const QVariantMap& arguments,
                                                int timeout)
{
    auto order = std::make_unique<FakeOrder>(driver.get(), command, arguments, timeout);
    QObject::connect(driver.get(), &DAbstractPlugin::sigAboutToBeDestroyed, order.get(),
                     [raw = order.get()] { raw->dropCommand(); });
    order->execute();
    return order;
}

QList<int> LineUnderTest::addresses() const
{
    QList<int> all;
    for (const QByteArray& request : requests())
        all.append(static_cast<quint8>(request.at(2)) << 8 | static_cast<quint8>(request.at(3)));
    return all;
}

int LineUnderTest::writeCount() const
{
    const QList<QByteArray> all = requests();
    return static_cast<int>(std::count_if(all.cbegin(), all.cend(), [](const QByteArray& request) {
        const auto function = static_cast<quint8>(request.at(1));
        return function == 0x05 || function == 0x06 || function == 0x10;
    }));
}

QStringList kindsOfDriver()
{
    return QStringList{c_memory} + kindsOfLine();
}

QStringList kindsOfLine()
{
#ifdef Q_OS_UNIX
    return {c_tcp, c_rtu};
#else
    return {c_tcp};
#endif
}

std::unique_ptr<DriverUnderTest> makeDriver(const QString& kind)
{
    if (kind == c_memory)
        return std::make_unique<MemoryUnderTest>();
    return makeLine(kind);
}

std::unique_ptr<LineUnderTest> makeLine(const QString& kind)
{
#ifdef Q_OS_UNIX
    if (kind == c_rtu)
        return std::make_unique<ModbusRtuUnderTest>();
#endif
    return kind == c_tcp ? std::make_unique<ModbusTcpUnderTest>() : nullptr;
}

void addKinds(const QStringList& kinds)
{
    QTest::addColumn<QString>("kind");
    for (const QString& kind : kinds)
        QTest::newRow(qPrintable(kind)) << kind;
}
