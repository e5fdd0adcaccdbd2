#include "plugins/p_driver_modbus/tests/modbus_bench.h"

#include <QJsonArray>

#include <cstdio>

namespace {

const QString c_objectId = QStringLiteral("{11111111-2222-3333-4444-555555555555}");

const char* codeName(IMessenger::EnErrorCode code)
{
    switch (code) {
    case IMessenger::CeEcNone:
        return "ok";
    case IMessenger::CeEcTimeout:
        return "timeout";
    case IMessenger::CeEcNotConnected:
        return "not connected";
    case IMessenger::CeEcRefused:
        return "refused";
    case IMessenger::CeEcUncertain:
        return "uncertain";
    case IMessenger::CeEcInvalidArguments:
        return "invalid arguments";
    case IMessenger::CeEcQueueFull:
        return "queue full";
    default:
        return "other";
    }
}

} // namespace

void ModbusBench::startWith(const QJsonObject& configuration)
{
    driver = std::make_unique<PDriverModbus>(QUuid(c_objectId));
    const QJsonObject object{{"id", c_objectId}, {"name", "controller"}, {"configuration", configuration}};
    driver->setMainConfig(QSharedPointer<QJsonObject>::create(QJsonObject{{"objects", QJsonArray{object}}}));
    driver->initPluginCommands();
}

bool ModbusBench::isConnected() const
{
    return driver->getProperty(QStringLiteral("connected"), nullptr).toBool();
}

int ModbusBench::statistic(const char* name) const
{
    return driver->getProperty(QStringLiteral("statistics"), nullptr)
        .toMap()
        .value(QLatin1String(name))
        .toInt();
}

std::unique_ptr<FakeOrder> ModbusBench::run(const QString& command, const QVariantMap& arguments, int timeout)
{
    auto order = std::make_unique<FakeOrder>(driver.get(), command, arguments, timeout);
    QObject::connect(driver.get(), &DAbstractPlugin::sigAboutToBeDestroyed, order.get(),
                     [raw = order.get()] { raw->dropCommand(); });
    order->execute();
    return order;
}

void ModbusTcpBench::start(const QJsonObject& more)
{
    QJsonObject configuration{{"transport", "tcp"}, {"port", peer.port()}};
    for (auto it = more.constBegin(); it != more.constEnd(); ++it)
        configuration.insert(it.key(), it.value());
    startWith(configuration);
}

int ModbusTcpBench::received(quint8 function) const
{
    int count = 0;
    for (const QByteArray& request : peer.requests)
        count += static_cast<quint8>(request.at(1)) == function ? 1 : 0;
    return count;
}

void FaultTable::add(const QString& row, const QString& instruction, IMessenger::EnErrorCode code,
                     qint64 after)
{
    m_lines.append(QStringLiteral("%1%2%3%4 ms")
                       .arg(row.section(',', 0, -2), -m_width)
                       .arg(instruction, -19)
                       .arg(QLatin1String(codeName(code)), -17)
                       .arg(after));
}

void FaultTable::print(const QString& title) const
{
    std::printf("%s%s\n", qPrintable(title.leftJustified(m_width)),
                qPrintable(QStringLiteral("instruction").leftJustified(19) +
                           QStringLiteral("outcome").leftJustified(17) + QStringLiteral("after")));
    for (const QString& line : m_lines)
        std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

void keepLinkMessagesBack()
{
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
        if (type == QtCriticalMsg || type == QtFatalMsg)
            std::fprintf(stderr, "%s\n", qPrintable(text));
    });
}
