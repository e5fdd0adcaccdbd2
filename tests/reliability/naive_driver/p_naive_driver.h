#pragma once

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QModbusDataUnit>

#include <memory>
#include <optional>

class QModbusClient;
class QModbusReply;

// A driver as somebody writes it who has tried it on a working bench only: Qt's client with its defaults,
// every reply taken that comes without an error. It has the identity and the commands of the real one,
// and shows which faults of the table are no faults to anybody.
class PNaiveDriver : public DAbstractPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.PNaiveDriver")

public:
    explicit PNaiveDriver(const QUuid& objectUuid = QUuid(), QObject* parent = nullptr);
    ~PNaiveDriver() override;

    void initPluginCommands() override;
    IPlugin* createInstance(const QUuid& objectUuid) const override;
    QString pluginSubTypeName() const override;

    // Connected, or trying to be.
    QModbusClient* client();
    int unitId() const;

private:
    QJsonObject configuration() const;

    std::unique_ptr<QModbusClient> m_client;
};

// The four commands are one class: they differ in the request that they send.
class DCmdNaive : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdNaive(const QString& name, const QString& stopName, const QVariantMap& arguments, QObject* parent);

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override;
    bool commandExecute() override;

private:
    QModbusReply* send(PNaiveDriver& driver) const;
    QModbusDataUnit dataUnit() const;
    bool request();
    void onReply(QModbusReply* reply);
};
