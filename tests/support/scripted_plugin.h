#pragma once

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QMap>
#include <QSharedPointer>
#include <QVariantMap>

#include <functional>

class ScriptedCommand;

// What a command of a test's plug-in kind does.
struct Script
{
    std::function<bool(ScriptedCommand&)> execute = nullptr;
    std::function<bool(ScriptedCommand&, quint64, const QVariantMap&)> reply = nullptr;
    bool endsByItself = false;
    QString stopName = QString();
    QStringList results = {"values"};
    bool makesNoClone = false;
};

using Scripts = QMap<QString, Script>;

// A command that does what its script says, and lets a test see how many of them live.
class ScriptedCommand : public DAbstractCommand
{
    Q_OBJECT

public:
    ScriptedCommand(const QString& name, const Script& script, const QVariantMap& arguments, QObject* parent)
        : DAbstractCommand(name, script.stopName, arguments, parent)
        , m_script(script)
    {
        for (const QString& result : script.results)
            declareAResult(result, "vart", result);
        setEndsByItself(script.endsByItself);
        ++s_alive;
    }
    ~ScriptedCommand() override { --s_alive; }

    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override
    {
        if (m_script.makesNoClone)
            return {};
        auto* const clone = new ScriptedCommand(commandName(), m_script, arguments, parent());
        return QSharedPointer<ScriptedCommand>(clone);
    }

    bool commandExecute() override
    {
        if (!DAbstractCommand::commandExecute())
            return false;
        return !m_script.execute || m_script.execute(*this);
    }

    quint64 place(const QString& target, const QString& instruction, const QVariantMap& arguments = {},
                  int timeout = 3000)
    {
        return addInstruction(target, instruction, arguments, timeout, {this, &ScriptedCommand::onReply});
    }

    bool finish(bool ok)
    {
        finishTheCommand(ok);
        return ok;
    }

    // Prototypes and clones together.
    static int alive() { return s_alive; }

private:
    bool onReply(quint64 id, const QVariantMap& reply)
    {
        return !m_script.reply || m_script.reply(*this, id, reply);
    }

    static inline int s_alive = 0;
    const Script m_script;
};

// A plug-in kind made of scripts.
class ScriptedPlugin : public DAbstractPlugin
{
    Q_OBJECT

public:
    ScriptedPlugin(const QUuid& kind, IPlugin::Type type, const Scripts& scripts,
                   const QUuid& objectUuid = {}, bool unique = false, const QList<QUuid>& compatible = {})
        : DAbstractPlugin(kind, type == CeTypeDriver ? "Scripted driver" : "Scripted device", type, 1,
                          objectUuid, nullptr, unique)
        , m_scripts(scripts)
        , m_compatible(compatible)
    {}

    QList<QUuid> compatiblePlugins() const override { return m_compatible; }
    QString pluginSubTypeName() const override { return {}; }
    IPlugin* createInstance(const QUuid& objectUuid) const override
    {
        return new ScriptedPlugin(pluginUuid(), pluginType(), m_scripts, objectUuid, isUnique(),
                                  m_compatible);
    }
    void initPluginCommands() override
    {
        initAbstractCommands();
        for (auto it = m_scripts.cbegin(); it != m_scripts.cend(); ++it)
            declareInstructionCommand(new ScriptedCommand(it.key(), it.value(), {}, this));
        Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
    }

private:
    const Scripts m_scripts;
    const QList<QUuid> m_compatible;
};
