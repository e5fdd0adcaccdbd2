#pragma once

#include <lib_plugins_management/d_abstract_plugin.h>

#include <memory>

class ModbusLink;
class PollSchedule;

// Driver for controllers that speak Modbus, over TCP or a serial line (RTU). One instance is one
// link to one controller; it is kept up from initPluginCommands() until the instance goes.
//
// Properties for the session: "connected" (bool), "address" (text for people: "127.0.0.1:502"),
// "configurationErrors" (list of texts; only when the configuration is refused, in which case no
// link is opened and every command fails with them) and "statistics" (map, computed when it is
// read; see LinkStatistics). Whoever is told of a property may delete the instance there and then;
// an instance that goes tells of none any more.
class PDriverModbus : public DAbstractPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.PDriverModbus" FILE "lib_plugins_management/contract.json")
    Q_PROPERTY(QByteArray configurationSchema READ configurationSchema CONSTANT)
    Q_PROPERTY(QVariantMap driverDescription READ driverDescription CONSTANT)

public:
    explicit PDriverModbus(const QUuid& objectUuid = QUuid(), QObject* parent = nullptr);
    // Ends what is running, with its outcome, before anything goes.
    ~PDriverModbus() override;

    static QUuid getPluginId();
    static const char* getPluginName();
    static IPlugin::Type getPluginType();

    // Also reads the configuration and opens the link. Called again, it starts afresh with the
    // configuration of that moment.
    void initPluginCommands() override;
    IPlugin* createInstance(const QUuid& objectUuid) const override;
    QString pluginSubTypeName() const override;
    QVariant getProperty(const QString& name, bool* found) const override;
    QVariant getProperty(const QString& name, const QVariant& defaultValue) const override;
    // The schema of the keys that the configuration may have: configuration.schema.json.
    QByteArray configurationSchema() const;
    QVariantMap driverDescription() const;

    // Null before initPluginCommands() and when the configuration is refused.
    ModbusLink* link() const;
    PollSchedule* schedule() const;
    // Why there is no link.
    QString unusableReason() const;

private:
    QJsonObject ownConfiguration() const;
    void closeLink();
    // Returns false when a listener has deleted this instance.
    bool tell(const QString& name, const QVariant& value);

    std::unique_ptr<ModbusLink> m_link;
    std::unique_ptr<PollSchedule> m_schedule;
};
