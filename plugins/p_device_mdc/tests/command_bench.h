#pragma once

#include "p_device_mdc.h"
#include "tests/commands/command_rows.h"
#include "tests/support/fake_order.h"
#include "tests/support/log_capture.h"
#include "tests/support/typed_text.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSharedPointer>

// A plug-in of another kind, as the parent that a device command must not have.
class ForeignPlugin : public DAbstractPlugin
{
    Q_OBJECT

public:
    ForeignPlugin();
    void initPluginCommands() override {}
    IPlugin* createInstance(const QUuid&) const override { return nullptr; }
    QString pluginSubTypeName() const override { return {}; }
};

// The commands of the plug-in, in its order.
QStringList pluginCommands();

// Replaces the channels: {"channel": {"register": 1, …}, …}.
void setChannels(DAbstractPlugin& plugin, const QJsonObject& entries);
// Replaces channels and parameters by those that the rows of commands count on. A configuration may hold
// numbers that no register has.
void configure(DAbstractPlugin& plugin);

// One command, made for an order as the host makes it, with what it needs around it.
class Bench
{
public:
    Bench(const QString& command, const QVariantMap& arguments, Parent parent = CeDevice);

    PDeviceMdc& device() { return m_device; }
    FakeOrder& order() { return m_order; }
    DAbstractCommand& command() { return *m_command; }
    bool reply(const QVariantMap& reply) { return m_command->setReply(m_order.lastInstruction(), reply); }
    bool replyWords(const QVariantList& words) { return reply({{"values", words}}); }
    // What getInfo tells of a controller; an invalid one is left unknown.
    void identify(const QVariant& softwareVersion, const QVariant& version = QVariant(),
                  const QVariant& controllerModel = QVariant());
    // The messages of all lines so far, each of which must come from the command's own source.
    QStringList logged() const;

private:
    QString m_name;
    LogCapture m_log;
    PDeviceMdc m_device;
    ForeignPlugin m_foreign;
    FakeOrder m_order;
    QSharedPointer<ICommand> m_pointer;
    DAbstractCommand* m_command = nullptr;
};
