#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <lib_utilities/version.h>
#include <QDebug>
#include <QJsonArray>

#include <algorithm>

namespace {

const QString c_objects = QStringLiteral("objects");
const QString c_configuration = QStringLiteral("configuration");
const QString c_id = QStringLiteral("id");
const QString c_value = QStringLiteral("value");
const QString c_name = QStringLiteral("name");

// Position of the instance's element in "objects"; -1 when there is none.
int objectIndex(const QJsonArray& objects, const QUuid& uuid)
{
    for (int i = 0; i < objects.size(); ++i) {
        const QString id = objects.at(i).toObject().value(c_id).toString();
        if (!id.isEmpty() && QUuid::fromString(id) == uuid && (!uuid.isNull() || id == uuid.toString()))
            return i;
    }
    return -1;
}

QVariantList describe(const QList<DCommandValue>& values)
{
    QVariantList list;
    for (const DCommandValue& value : values) {
        list.append(QVariantMap{{QStringLiteral("id"), value.id},
                                {QStringLiteral("type"), value.type},
                                {QStringLiteral("description"), value.description},
                                {QStringLiteral("default"), value.defaultValue}});
    }
    return list;
}

// Equal with their types, at every depth: 1 and "1" are equal to QVariant, not to a reader.
bool isSame(const QVariant& left, const QVariant& right)
{
    if (left.userType() != right.userType())
        return false;
    if (left.userType() == QMetaType::QVariantList) {
        const QVariantList these = left.toList();
        const QVariantList those = right.toList();
        return std::equal(these.cbegin(), these.cend(), those.cbegin(), those.cend(), isSame);
    }
    if (left.userType() == QMetaType::QVariantMap) {
        const QVariantMap these = left.toMap();
        const QVariantMap those = right.toMap();
        return these.keys() == those.keys() &&
               std::equal(these.cbegin(), these.cend(), those.cbegin(), isSame);
    }
    return left == right;
}

} // namespace

struct DAbstractPlugin::ConfigCache
{
    // What it was made from. Whoever else writes to the shared configuration gets a copy of the data, and
    // the two differ; to compare them otherwise is to compare two pointers.
    QJsonObject source;
    QHash<QString, QHash<QString, QVariant>> channels;
    QHash<QString, QVariantMap> sections;
};

DAbstractPlugin::DAbstractPlugin(const QUuid& pluginUuid, const QString& pluginName, IPlugin::Type type,
                                 quint64 pluginVersion, const QUuid& objectUuid, QObject* parent, bool unique)
    : QObject(parent)
    , m_pluginUuid(pluginUuid)
    , m_pluginName(pluginName)
    , m_pluginType(type)
    , m_pluginVersion(pluginVersion)
    , m_objectUuid(objectUuid)
    , m_unique(unique)
    , m_mainConfig(new QJsonObject)
{}

DAbstractPlugin::~DAbstractPlugin()
{
    Q_EMIT sigAboutToBeDestroyed(this);
}

QUuid DAbstractPlugin::objectUuid() const
{
    return m_objectUuid;
}

QString DAbstractPlugin::getName() const
{
    const QJsonArray objects = m_mainConfig->value(c_objects).toArray();
    const int index = objectIndex(objects, m_objectUuid);
    const QString name = index < 0 ? QString() : objects.at(index).toObject().value(c_name).toString();
    return name.isEmpty() ? m_pluginName : name;
}

QUuid DAbstractPlugin::pluginUuid() const
{
    return m_pluginUuid;
}

QString DAbstractPlugin::pluginName() const
{
    return m_pluginName;
}

quint64 DAbstractPlugin::pluginVersion() const
{
    return m_pluginVersion;
}

IPlugin::Type DAbstractPlugin::pluginType() const
{
    return m_pluginType;
}

QList<QUuid> DAbstractPlugin::compatiblePlugins() const
{
    return {};
}

QString DAbstractPlugin::compatibilityString() const
{
    return QStringLiteral("%1 %2").arg(m_pluginName, versionToString(m_pluginVersion));
}

QVariant DAbstractPlugin::getProperty(const QString& name, bool* found) const
{
    const auto it = m_properties.constFind(name);
    if (found != nullptr)
        *found = it != m_properties.cend();
    return it == m_properties.cend() ? QVariant() : it.value();
}

QVariant DAbstractPlugin::getProperty(const QString& name, const QVariant& defaultValue) const
{
    return m_properties.value(name, defaultValue);
}

QStringList DAbstractPlugin::getFunctions(bool withStopCommands) const
{
    QStringList names = m_commandNames;
    if (withStopCommands) {
        for (const QString& name : m_commandNames) {
            const QString stopName = m_prototypes.value(name)->stopCommandName();
            if (!stopName.isEmpty() && !names.contains(stopName))
                names.append(stopName);
        }
    }
    return names;
}

QString DAbstractPlugin::getFunctionDescription(const QString& name) const
{
    const DAbstractCommand* command = commandPrototype(name);
    return command == nullptr ? QString() : command->description();
}

QVariantMap DAbstractPlugin::getCommandParameters(const QString& name) const
{
    const DAbstractCommand* command = commandPrototype(name);
    if (command == nullptr)
        return {};
    return {{QStringLiteral("parameters"), describe(command->parameters())},
            {QStringLiteral("results"), describe(command->results())}};
}

void DAbstractPlugin::setMainConfig(QSharedPointer<QJsonObject> config)
{
    m_mainConfig = config.isNull() ? QSharedPointer<QJsonObject>(new QJsonObject) : std::move(config);
    m_cache.reset();
}

QJsonValue DAbstractPlugin::getInMainConfig(const QString& key, const QJsonValue& defaultValue,
                                            bool* found) const
{
    const auto it = m_mainConfig->constFind(key);
    if (found != nullptr)
        *found = it != m_mainConfig->constEnd();
    return it == m_mainConfig->constEnd() ? defaultValue : it.value();
}

QJsonValue DAbstractPlugin::getInPluginConfig(const QString& key, const QJsonValue& defaultValue,
                                              bool* found) const
{
    const QJsonObject config = pluginConfig();
    const auto it = config.constFind(key);
    if (found != nullptr)
        *found = it != config.constEnd();
    return it == config.constEnd() ? defaultValue : it.value();
}

QString DAbstractPlugin::getDebugIdentification() const
{
    return QStringLiteral("%1 \"%2\" %3").arg(m_pluginName, getName(), m_objectUuid.toString());
}

QSharedPointer<QJsonObject> DAbstractPlugin::getMainConfig() const
{
    return m_mainConfig;
}

void DAbstractPlugin::setInPluginConfig(const QString& key, const QJsonValue& value)
{
    QJsonArray objects = m_mainConfig->value(c_objects).toArray();
    const int index = objectIndex(objects, m_objectUuid);
    QJsonObject object =
        index < 0 ? QJsonObject{{c_id, m_objectUuid.toString()}} : objects.at(index).toObject();
    QJsonObject config = object.value(c_configuration).toObject();
    config.insert(key, value);
    object.insert(c_configuration, config);
    if (index < 0)
        objects.append(object);
    else
        objects.replace(index, object);
    m_mainConfig->insert(c_objects, objects);
}

void DAbstractPlugin::setInMainConfig(const QString& key, const QJsonValue& value)
{
    m_mainConfig->insert(key, value);
}

void DAbstractPlugin::initAbstractCommands()
{
    qDeleteAll(m_prototypes);
    m_prototypes.clear();
    m_commandNames.clear();
}

void DAbstractPlugin::declareInstructionCommand(DAbstractCommand* command)
{
    if (command == nullptr) {
        qCritical().noquote() << getDebugIdentification() << ": a null command cannot be declared";
        return;
    }
    const QString name = command->commandName();
    if (!command->isValid()) {
        qCritical().noquote() << getDebugIdentification() << ": command" << name
                              << "is not declared: its declarations are not valid";
        return;
    }
    if (command->parent() != this) {
        qCritical().noquote() << getDebugIdentification() << ": command" << name
                              << "is not declared: its parent is another object";
        return;
    }
    if (m_prototypes.contains(name)) {
        qCritical().noquote() << getDebugIdentification() << ": command" << name
                              << "is not declared: the name is taken";
        return;
    }
    m_commandNames.append(name);
    m_prototypes.insert(name, command);
}

QStringList DAbstractPlugin::commandNames() const
{
    return m_commandNames;
}

DAbstractCommand* DAbstractPlugin::commandPrototype(const QString& name) const
{
    return m_prototypes.value(name, nullptr);
}

bool DAbstractPlugin::isUnique() const
{
    return m_unique;
}

void DAbstractPlugin::setProperty(const QString& name, const QVariant& value, bool persistent)
{
    const auto it = m_properties.constFind(name);
    const bool same = it != m_properties.cend() && isSame(it.value(), value);
    if (!same)
        m_properties.insert(name, value);
    if (!same || persistent)
        Q_EMIT sigPropertyChanged(name, value, persistent);
}

QVariantMap DAbstractPlugin::properties() const
{
    return m_properties;
}

QVariant DAbstractPlugin::channelInfo(const QString& channel, const QString& info) const
{
    return cache().channels.value(channel).value(info);
}

QVariantMap DAbstractPlugin::configSection(const QString& section) const
{
    return cache().sections.value(section);
}

QJsonObject DAbstractPlugin::pluginConfig() const
{
    const QJsonArray objects = m_mainConfig->value(c_objects).toArray();
    const int index = objectIndex(objects, m_objectUuid);
    return index < 0 ? QJsonObject() : objects.at(index).toObject().value(c_configuration).toObject();
}

const DAbstractPlugin::ConfigCache& DAbstractPlugin::cache() const
{
    if (m_cache && m_cache->source == *m_mainConfig)
        return *m_cache;
    m_cache = std::make_unique<ConfigCache>();
    m_cache->source = *m_mainConfig;
    const QJsonObject config = pluginConfig();
    const QJsonArray channels = config.value(QLatin1String("channels")).toArray();
    for (const QJsonValue& element : channels) {
        const QJsonObject channel = element.toObject();
        const QString id = channel.value(c_id).toString();
        if (id.isEmpty() || m_cache->channels.contains(id))
            continue;
        QHash<QString, QVariant>& entries = m_cache->channels[id];
        const QJsonArray values = channel.value(c_value).toArray();
        for (const QJsonValue& entryValue : values) {
            const QJsonObject entry = entryValue.toObject();
            const QString entryId = entry.value(c_id).toString();
            if (!entryId.isEmpty() && !entries.contains(entryId))
                entries.insert(entryId, entry.value(c_value).toVariant());
        }
    }
    for (auto it = config.constBegin(); it != config.constEnd(); ++it) {
        if (it.value().isObject())
            m_cache->sections.insert(it.key(), it.value().toObject().toVariantMap());
    }
    return *m_cache;
}
