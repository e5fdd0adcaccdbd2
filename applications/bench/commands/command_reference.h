#pragma once

#include "plugins/p_device_mdc/model/command_needs.h"

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonObject>
#include <QList>
#include <QString>

// What a command declares, free of the plug-in it was read from, and what is known of it besides.
struct CommandDescription
{
    QString name;
    QString stopName; // empty for a command that ends by itself
    QString description;
    QList<DCommandValue> parameters;
    QList<DCommandValue> results;
    // What it does and what its arguments and results mean on the controller; null when nobody wrote it down.
    const CommandNeeds* known = nullptr;
};

// The commands of one plug-in kind.
struct PluginCommands
{
    QString plugin;  // name of the kind
    QString version; // "1.0"
    QString object;  // name of the object they were read from
    QList<CommandDescription> commands;
};

PluginCommands describeCommands(const DAbstractPlugin& plugin);

// "whole number 0…65535" for "ui16" and so on; the code itself when it is unknown.
QString typeText(const QString& typeCode);

QString commandsAsText(const QList<PluginCommands>& plugins);
QJsonObject commandAsJson(const PluginCommands& plugin, const CommandDescription& command);
// A page that depends on nothing but what is declared and known, so that it can be compared with a stored
// one.
QString commandsAsMarkdown(const QList<PluginCommands>& plugins);
