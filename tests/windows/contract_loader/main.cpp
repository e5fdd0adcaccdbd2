// The smallest host: loads the two plug-ins of the package, gives them a configuration, and runs three orders
// on a controller that listens somewhere. It has the contract's headers and libraries, and nothing of the
// reference host.
//
//   contract_loader PLUGINS CONFIGURATIONS PORT

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/i_order.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QPluginLoader>
#include <QTimer>

#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace {

const QUuid c_driver(QStringLiteral("{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}"));
const QUuid c_device(QStringLiteral("{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f22}"));

struct Outcome
{
    bool ok = false;
    int code = 0;
    QString message;
    QVariantMap results;
};

struct Instances
{
    std::unique_ptr<IPlugin> driver;
    std::unique_ptr<IPlugin> device;
};

DAbstractPlugin* objectOf(const std::unique_ptr<IPlugin>& plugin)
{
    return dynamic_cast<DAbstractPlugin*>(plugin.get());
}

// Runs one command of one instance; its instructions are orders of the same kind.
class Order : public QObject, public IOrder
{
    Q_OBJECT
    Q_INTERFACES(IOrder)

public:
    using EndHandler = std::function<void(const Outcome&)>;

    Order(const Instances& instances, DAbstractPlugin* plugin, const QString& command,
          const QVariantMap& arguments, int timeout, quint64 caller, EndHandler onEnd)
        : m_instances(instances)
        , m_caller(caller)
        , m_deadline(timeout > 0 ? QDeadlineTimer(timeout) : QDeadlineTimer(QDeadlineTimer::Forever))
        , m_onEnd(std::move(onEnd))
    {
        DAbstractCommand* const prototype = plugin == nullptr ? nullptr : plugin->commandPrototype(command);
        if (prototype != nullptr)
            m_made = prototype->createCommand(arguments);
        m_command = dynamic_cast<DAbstractCommand*>(m_made.data());
        QTimer::singleShot(0, this, [this] { start(); });
    }

    quint64 orderId() const override { return m_id; }
    quint64 callerOrderId() const override { return m_caller; }
    bool isOpen() const override { return m_open; }
    QDeadlineTimer deadline() const override { return m_deadline; }

    quint64 addInstruction(const QString& target, const QString& instruction, const QVariantMap& arguments,
                           int timeout) override
    {
        if (!m_open)
            return 0;
        DAbstractPlugin* const plugin =
            objectOf(target == QLatin1String("driver") ? m_instances.driver : m_instances.device);
        ++m_inFlight;
        auto order =
            std::make_unique<Order>(m_instances, plugin, instruction, arguments, timeout, m_id, EndHandler());
        const quint64 id = order->orderId();
        order->m_onEnd = [this, id](const Outcome& outcome) { onReply(id, outcome); };
        m_instructions.push_back(std::move(order));
        return id;
    }

    bool updateResults(const QVariantMap& results) override
    {
        for (auto it = results.begin(); it != results.end(); ++it)
            m_outcome.results.insert(it.key(), it.value());
        return m_open;
    }

    bool setReply(const QVariantMap& reply) override { return updateResults(reply); }

    bool finish(bool ok, IMessenger::EnErrorCode code, const QString& message) override
    {
        if (!m_open)
            return false;
        m_open = false;
        m_outcome.ok = ok;
        m_outcome.code = code;
        m_outcome.message = message;
        QTimer::singleShot(0, this, [this] {
            if (m_command != nullptr)
                m_command->orderEnded(m_outcome.ok);
            m_onEnd(m_outcome);
        });
        return true;
    }

    bool reportFailure(IMessenger::EnErrorCode, const QString&) override { return m_open; }

private:
    void start()
    {
        if (m_command == nullptr) {
            finish(false, IMessenger::CeEcUnknownCommand, QStringLiteral("no such command"));
            return;
        }
        m_command->linkWithItsOrder(this);
        goOn(m_command->commandExecute());
    }

    void onReply(quint64 id, const Outcome& outcome)
    {
        --m_inFlight;
        QVariantMap reply = outcome.results;
        if (!outcome.ok) {
            reply.insert(QStringLiteral("errorCode"), outcome.code);
            reply.insert(QStringLiteral("errorMessage"), outcome.message);
        }
        const bool verdict = m_command->setReply(id, reply);
        m_command->forgetInstruction(id);
        if (!outcome.ok)
            m_outcome.message = outcome.message;
        goOn(verdict && outcome.ok);
    }

    void goOn(bool ok)
    {
        if (!ok)
            finish(false, IMessenger::CeEcInternal, m_outcome.message);
        else if (m_inFlight == 0 && !m_command->endsByItself())
            finish(true, IMessenger::CeEcNone, {});
    }

    static quint64 nextId()
    {
        static quint64 id = 0;
        return ++id;
    }

    const Instances& m_instances;
    const quint64 m_id = nextId();
    const quint64 m_caller;
    const QDeadlineTimer m_deadline;
    EndHandler m_onEnd;
    QSharedPointer<ICommand> m_made;
    DAbstractCommand* m_command = nullptr;
    std::vector<std::unique_ptr<Order>> m_instructions;
    int m_inFlight = 0;
    bool m_open = true;
    Outcome m_outcome;
};

QJsonObject objectIn(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

QJsonObject mainConfiguration(const QDir& folder, int port)
{
    QJsonArray channels;
    QJsonObject parameters;
    for (const char* const name : {"register_map_common.json", "register_map_generation1.json",
                                   "register_map_generation2.json", "parameters.json"}) {
        const QJsonObject part = objectIn(folder.filePath(QLatin1String(name)));
        for (const QJsonValue& channel : part.value(QLatin1String("channels")).toArray())
            channels.append(channel);
        const QJsonObject more = part.value(QLatin1String("parameters")).toObject();
        for (auto it = more.begin(); it != more.end(); ++it)
            parameters.insert(it.key(), it.value());
    }
    const QJsonObject driver{{"transport", "tcp"}, {"host", "127.0.0.1"}, {"port", port}, {"unitId", 1}};
    return {
        {"objects",
         QJsonArray{QJsonObject{{"id", c_driver.toString()}, {"name", "modbus"}, {"configuration", driver}},
                    QJsonObject{{"id", c_device.toString()},
                                {"name", "mdc"},
                                {"reference", "MDC"},
                                {"configuration",
                                 QJsonObject{{"channels", channels}, {"parameters", parameters}}}}}}};
}

std::unique_ptr<IPlugin> instanceOf(const QString& file, const QUuid& uuid,
                                    const QSharedPointer<QJsonObject>& config)
{
    QPluginLoader loader(file);
    const auto* const root = qobject_cast<DAbstractPlugin*>(loader.instance());
    if (root == nullptr) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.errorString()));
        return nullptr;
    }
    std::unique_ptr<IPlugin> instance(root->createInstance(uuid));
    instance->setMainConfig(config);
    objectOf(instance)->initPluginCommands();
    return instance;
}

bool run(const Instances& instances, const QString& command, const QVariantMap& arguments)
{
    QEventLoop loop;
    Outcome end;
    end.message = QStringLiteral("it did not end");
    Order order(instances, objectOf(instances.device), command, arguments, 0, 0, [&](const Outcome& outcome) {
        end = outcome;
        loop.quit();
    });
    QTimer::singleShot(10000, &loop, &QEventLoop::quit);
    loop.exec();
    std::printf(
        "%s: %s %s %s\n", qPrintable(command), end.ok ? "done" : "failed", qPrintable(end.message),
        QJsonDocument(QJsonObject::fromVariantMap(end.results)).toJson(QJsonDocument::Compact).constData());
    return end.ok;
}

} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: contract_loader PLUGINS CONFIGURATIONS PORT\n");
        return 2;
    }
    const auto config = QSharedPointer<QJsonObject>::create(
        mainConfiguration(QDir(arguments.at(1)), arguments.at(2).toInt()));
    Instances instances;
    instances.driver = instanceOf(
        QDir(arguments.at(0)).absoluteFilePath(QStringLiteral("p_driver_modbus.dll")), c_driver, config);
    instances.device = instanceOf(QDir(arguments.at(0)).absoluteFilePath(QStringLiteral("p_device_mdc.dll")),
                                  c_device, config);
    if (!instances.driver || !instances.device)
        return 1;
    QElapsedTimer clock;
    clock.start();
    while (!instances.driver->getProperty(QStringLiteral("connected"), QVariant(false)).toBool()) {
        if (clock.elapsed() > 10000) {
            std::fprintf(stderr, "the controller is not there\n");
            return 1;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    }
    const bool ok = run(instances, QStringLiteral("getInfo"), {}) &&
                    run(instances, QStringLiteral("setDirection"), {{QStringLiteral("direction"), 1}}) &&
                    run(instances, QStringLiteral("getRegister"),
                        {{QStringLiteral("channel"), QStringLiteral("direction")}});
    return ok ? 0 : 1;
}

#include "main.moc"
