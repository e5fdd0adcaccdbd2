#include <lib_host/configuration.h>

#include <lib_host/json_scan.h>
#include <lib_host/schema_check.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/plugin_description.h>
#include <lib_utilities/plain_file.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

#include <algorithm>

namespace {

const QString c_objects = QStringLiteral("objects");
const QString c_channels = QStringLiteral("channels");
const QString c_parameters = QStringLiteral("parameters");
const QString c_configuration = QStringLiteral("configuration");
const QString c_configurationFiles = QStringLiteral("configurationFiles");
const QString c_id = QStringLiteral("id");
const QString c_allChannels = QStringLiteral("channels of all objects together");
const QString c_benchSchema = QStringLiteral("bench.schema.json");
const QString c_deviceSchema = QStringLiteral("device_configuration.schema.json");

// A device is reached through a driver and has channels and parameters; a driver's configuration has
// keys of its own.
bool isDeviceConfiguration(const QJsonObject& object)
{
    const QJsonObject configuration = object.value(c_configuration).toObject();
    return object.contains(QLatin1String("driver")) || object.contains(c_configurationFiles) ||
           configuration.contains(c_channels) || configuration.contains(c_parameters);
}

// "channel "alarm", entry "register": " of a place within a device's configuration, which a number in a list
// does not tell; empty where there is no channel.
QString namesAt(const QJsonObject& configuration, const QString& pointer)
{
    const QStringList tokens = pointer.split(QLatin1Char('/')).mid(1);
    if (tokens.size() < 2 || tokens.at(0) != c_channels)
        return {};
    const auto idOf = [](const QJsonValue& list, const QString& index) {
        return list.toArray().at(index.toInt()).toObject().value(c_id).toString();
    };
    const QString channel = idOf(configuration.value(c_channels), tokens.at(1));
    if (channel.isEmpty())
        return {};
    QString names = QStringLiteral("channel \"%1\"").arg(channel);
    if (tokens.size() > 3 && tokens.at(2) == QLatin1String("value")) {
        const QJsonObject object =
            configuration.value(c_channels).toArray().at(tokens.at(1).toInt()).toObject();
        const QString entry = idOf(object.value(tokens.at(2)), tokens.at(3));
        if (!entry.isEmpty())
            names += QStringLiteral(", entry \"%1\"").arg(entry);
    }
    return names + QStringLiteral(": ");
}

// Where an escaped zero character stands in a JSON text; -1 where none does. It cuts a name short where the
// system takes it.
int zeroCharacter(const QByteArray& text)
{
    for (int at = text.indexOf("\\u0000"); at >= 0; at = text.indexOf("\\u0000", at + 1)) {
        int first = at;
        while (first > 0 && text.at(first - 1) == '\\')
            --first;
        if ((at - first) % 2 == 0)
            return at;
    }
    return -1;
}

// Compiled in, or in a file whoever wrote it. False with the reason.
bool readConfigurationText(const QString& path, QByteArray* text, QString* reason)
{
    if (QFileInfo(path).isDir()) {
        *reason = QStringLiteral("is a folder; a file is needed");
        return false;
    }
    QString why;
    bool isRead = false;
    if (path.startsWith(QLatin1Char(':'))) {
        QFile resource(path);
        isRead = resource.open(QIODevice::ReadOnly);
        *text = resource.readAll();
        why = resource.errorString();
    } else {
        isRead = readInputFile(path, c_configurationSizeLimit, text, &why);
    }
    if (!isRead)
        *reason = QStringLiteral("cannot be read: %1").arg(why);
    return isRead;
}

class Loader
{
public:
    Loader(const DPluginKinds& kinds, const DFileJudge& judge)
        : m_kinds(kinds)
        , m_judge(judge)
    {}

    DLoadedConfiguration load(const QString& path)
    {
        DLoadedConfiguration loaded;
        const QJsonObject root = readFile(path, c_benchSchema);
        checkByPlugins(root, path);
        // Whatever is wrong so far: the files that it names may be wrong too, and all are told at once.
        loaded.configuration = resolveObjects(root, path);
        if (!m_errors.isEmpty())
            loaded.configuration = {};
        loaded.errors = m_errors;
        return loaded;
    }

private:
    // Where a channel or parameter was first given.
    using Origins = QHash<QString, QString>;

    void fail(const QString& file, const QString& path, const QString& message)
    {
        if (m_errors.size() < c_configurationErrorsLimit)
            m_errors.append({file, path, message});
    }

    // Once for each limit.
    void failBeyond(int limit, const QString& what, const QString& file, const QString& path)
    {
        if (m_exceeded.contains(what))
            return;
        m_exceeded.append(what);
        fail(file, path, QStringLiteral("there are more than %1 %2; take some away").arg(limit).arg(what));
    }

    // Each file once: what is wrong with one that two objects name is told once.
    QJsonObject readPart(const QString& path)
    {
        if (!m_parts.contains(path))
            m_parts.insert(path, readFile(path, c_deviceSchema));
        return m_parts.value(path);
    }

    QJsonObject readFile(const QString& path, const QString& schemaName)
    {
        QByteArray text;
        QString reason;
        if (m_textSize > c_configurationTotalLimit)
            return {};
        const bool isRead = readConfigurationText(path, &text, &reason);
        if (isRead && m_judge && schemaName == c_deviceSchema) {
            const QString problem = m_judge(path, text);
            reason = problem.isEmpty() ? QString() : QStringLiteral("is not used: %1").arg(problem);
        }
        if (!isRead || !reason.isEmpty()) {
            fail(path, {}, reason);
            return {};
        }
        m_textSize += text.size();
        if (m_textSize > c_configurationTotalLimit) {
            fail(path, {},
                 QStringLiteral("with this file the configuration has more than %1 bytes; take some away")
                     .arg(c_configurationTotalLimit));
            return {};
        }
        const DJsonScan scan = scanJson(text);
        QJsonParseError parseError;
        const QJsonDocument document = QJsonDocument::fromJson(text, &parseError);
        if (document.isNull()) {
            // The parser tells what it met, the scan what is missing.
            fail(path, {},
                 QStringLiteral("is no JSON: %1, at %2")
                     .arg(scan.fault ? scan.fault->message : parseError.errorString(),
                          positionInText(text, scan.fault ? scan.fault->offset : parseError.offset)));
            return {};
        }
        if (!hasFewEnough(document.object(), path))
            return {};
        for (const DRepeatedKey& repeated : scan.repeatedKeys) {
            // To find the place takes its time.
            if (m_errors.size() >= c_configurationErrorsLimit)
                break;
            fail(path, {},
                 QStringLiteral("the key \"%1\" is given twice in one object, at %2 and first at %3; one of "
                                "them is to go")
                     .arg(repeated.key, positionInText(text, repeated.offset),
                          positionInText(text, repeated.firstOffset)));
        }
        if (const int zero = zeroCharacter(text); zero >= 0)
            fail(path, {},
                 QStringLiteral("a zero character (\\u0000) is no part of any text, at %1")
                     .arg(positionInText(text, zero)));
        const QJsonValue value =
            document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
        const QList<DSchemaError> errors = checkAgainstSchema(value, schema(schemaName));
        for (const DSchemaError& error : errors)
            fail(path, error.path, namesAt(document.object(), error.path) + error.message);
        return document.object();
    }

    // Before anything is done with each of them.
    bool hasFewEnough(const QJsonObject& part, const QString& file)
    {
        const QJsonArray objects = part.value(c_objects).toArray();
        if (objects.size() > c_objectsLimit) {
            failBeyond(c_objectsLimit, QStringLiteral("objects"), file, QStringLiteral("/objects"));
            return false;
        }
        bool isGood = hasFewEnoughChannels(part, file, {});
        for (int i = 0; i < objects.size(); ++i)
            isGood = hasFewEnoughChannels(objects.at(i).toObject().value(c_configuration).toObject(), file,
                                          QStringLiteral("/objects/%1/configuration").arg(i)) &&
                     isGood;
        return isGood;
    }

    bool hasFewEnoughChannels(const QJsonObject& part, const QString& file, const QString& path)
    {
        const QJsonArray channels = part.value(c_channels).toArray();
        const bool isGood = channels.size() <= c_channelsLimit &&
                            std::all_of(channels.begin(), channels.end(), [](const QJsonValue& channel) {
                                return channel.toObject().value(QLatin1String("value")).toArray().size() <=
                                       c_channelEntriesLimit;
                            });
        if (channels.size() > c_channelsLimit)
            failBeyond(c_channelsLimit, c_allChannels, file, path + QStringLiteral("/channels"));
        else if (!isGood)
            failBeyond(c_channelEntriesLimit, QStringLiteral("entries of one channel"), file,
                       path + QStringLiteral("/channels"));
        return isGood;
    }

    static QJsonObject schema(const QString& name)
    {
        QFile file(QStringLiteral(":/lib_host/") + name);
        // Compiled in: a failure here is a fault of the build, and the tests load every schema.
        if (!file.open(QIODevice::ReadOnly))
            qFatal("schema %s is not compiled in", qPrintable(name));
        return QJsonDocument::fromJson(file.readAll()).object();
    }

    // What each plug-in says of the configuration of its objects.
    void checkByPlugins(const QJsonObject& root, const QString& file)
    {
        const QJsonArray objects = root.value(c_objects).toArray();
        for (int i = 0; i < objects.size(); ++i) {
            const QJsonObject object = objects.at(i).toObject();
            const QUuid kind = QUuid::fromString(object.value(QLatin1String("plugin")).toString());
            const DAbstractPlugin* const plugin = m_kinds.value(kind, nullptr);
            if (plugin != nullptr)
                checkByPlugin(*plugin, object, file, QStringLiteral("/objects/%1").arg(i));
        }
    }

    void checkByPlugin(const DAbstractPlugin& plugin, const QJsonObject& object, const QString& file,
                       const QString& objectPath)
    {
        const QString path = objectPath + QStringLiteral("/configuration");
        const QByteArray text = plugin.property(plugin_description::c_configurationSchema).toByteArray();
        if (text.isEmpty())
            return;
        QJsonParseError parseError;
        const QJsonDocument schema = QJsonDocument::fromJson(text, &parseError);
        if (!schema.isObject()) {
            fail(file, path,
                 QStringLiteral("cannot be checked: the schema of the plug-in \"%1\" is no JSON object (%2)")
                     .arg(plugin.pluginName(), parseError.errorString()));
            return;
        }
        const QJsonValue own = object.value(c_configuration);
        // What is not there is as good as what has nothing in it.
        const QList<DSchemaError> errors = checkAgainstSchema(own.toObject(), schema.object());
        if (own.isUndefined() && !errors.isEmpty()) {
            fail(
                file, objectPath,
                QStringLiteral("key \"configuration\" is missing; needed is the object's own configuration"));
        } else if (own.isObject()) {
            for (const DSchemaError& error : errors)
                fail(file, path + error.path, error.message);
        }
    }

    QJsonObject resolveObjects(QJsonObject root, const QString& path)
    {
        const QDir folder = QFileInfo(path).dir();
        QJsonArray objects = root.value(c_objects).toArray();
        Origins ids;
        Origins names;
        for (int i = 0; i < objects.size(); ++i) {
            const QString objectPath = QStringLiteral("/objects/%1").arg(i);
            QJsonObject object = objects.at(i).toObject();
            refuseRepeated(ids, object.value(c_id).toString().toLower(), path,
                           objectPath + QStringLiteral("/id"), QStringLiteral("id"));
            refuseRepeated(names, object.value(QLatin1String("name")).toString(), path,
                           objectPath + QStringLiteral("/name"), QStringLiteral("name"));
            if (isDeviceConfiguration(object)) {
                object.insert(c_configuration, joinedConfiguration(object, folder, path, objectPath));
                object.remove(c_configurationFiles);
            }
            objects.replace(i, object);
        }
        root.insert(c_objects, objects);
        root.remove(QStringLiteral("$schema"));
        return root;
    }

    void refuseRepeated(Origins& origins, const QString& value, const QString& file, const QString& path,
                        const QString& what)
    {
        // What is not there is told by the schema.
        if (value.isEmpty())
            return;
        if (origins.contains(value))
            fail(file, path,
                 QStringLiteral("%1 \"%2\" is given twice, first at %3")
                     .arg(what, value, origins.value(value)));
        else
            origins.insert(value, path);
    }

    QJsonObject joinedConfiguration(const QJsonObject& object, const QDir& folder, const QString& file,
                                    const QString& objectPath)
    {
        const QString ownPath = objectPath + QStringLiteral("/configuration");
        const QJsonObject own = object.value(c_configuration).toObject();
        const QList<DSchemaError> errors = checkAgainstSchema(own, schema(c_deviceSchema));
        for (const DSchemaError& error : errors)
            fail(file, ownPath + error.path,
                 QStringLiteral("object \"%1\", ").arg(object.value(QLatin1String("name")).toString()) +
                     namesAt(own, error.path) + error.message);
        QJsonObject joined;
        Origins origins;
        join(joined, own, origins, file, ownPath);

        const QJsonArray files = object.value(c_configurationFiles).toArray();
        if (files.size() > c_objectFilesLimit) {
            failBeyond(c_objectFilesLimit, QStringLiteral("configuration files of one object"), file,
                       objectPath + QStringLiteral("/configurationFiles"));
            return joined;
        }
        for (const QJsonValue& name : files) {
            // Told by the schema.
            if (name.toString().isEmpty())
                continue;
            const QString part = QDir::cleanPath(folder.filePath(name.toString()));
            join(joined, readPart(part), origins, part, {});
        }
        return joined;
    }

    // Adds the members of `part` to `joined`; a name that is taken is an error that names both places.
    void join(QJsonObject& joined, const QJsonObject& part, Origins& origins, const QString& file,
              const QString& path)
    {
        QJsonArray channels = joined.value(c_channels).toArray();
        const QJsonArray partChannels = part.value(c_channels).toArray();
        m_channels += partChannels.size();
        if (m_channels > c_channelsLimit) {
            failBeyond(c_channelsLimit, c_allChannels, file, path + QStringLiteral("/channels"));
            return;
        }
        for (int i = 0; i < partChannels.size(); ++i) {
            const QString id = partChannels.at(i).toObject().value(c_id).toString();
            const QString place = QStringLiteral("%1/channels/%2").arg(path).arg(i);
            if (take(origins, QStringLiteral("channel \"%1\"").arg(id), file, place)) {
                channels.append(partChannels.at(i));
                refuseRepeatedEntries(partChannels.at(i).toObject(), file, place);
            }
        }
        QJsonObject parameters = joined.value(c_parameters).toObject();
        const QJsonObject partParameters = part.value(c_parameters).toObject();
        for (auto it = partParameters.begin(); it != partParameters.end(); ++it) {
            const QString place = QStringLiteral("%1/parameters/%2").arg(path, it.key());
            if (take(origins, QStringLiteral("parameter \"%1\"").arg(it.key()), file, place))
                parameters.insert(it.key(), it.value());
        }
        joined.insert(c_channels, channels);
        joined.insert(c_parameters, parameters);
    }

    bool take(Origins& origins, const QString& what, const QString& file, const QString& place)
    {
        if (origins.contains(what)) {
            fail(file, place,
                 QStringLiteral("%1 is given twice, first in %2").arg(what, origins.value(what)));
            return false;
        }
        origins.insert(what, file + QStringLiteral(" at ") + place);
        return true;
    }

    void refuseRepeatedEntries(const QJsonObject& channel, const QString& file, const QString& place)
    {
        Origins entries;
        const QJsonArray values = channel.value(QLatin1String("value")).toArray();
        const QString what = QStringLiteral("channel \"%1\": id").arg(channel.value(c_id).toString());
        for (int i = 0; i < values.size(); ++i) {
            if (values.at(i).toObject().value(QLatin1String("value")).toString() ==
                    QLatin1String("information") &&
                ++m_pageRows > c_pageRowsLimit)
                failBeyond(c_pageRowsLimit, QStringLiteral("rows of maintenance pages"), file,
                           place + QStringLiteral("/value"));
            refuseRepeated(entries, values.at(i).toObject().value(c_id).toString(), file,
                           QStringLiteral("%1/value/%2/id").arg(place).arg(i), what);
        }
    }

    const DPluginKinds& m_kinds;
    const DFileJudge& m_judge;
    QHash<QString, QJsonObject> m_parts; // by their paths
    qint64 m_textSize = 0;               // of all files so far
    QList<DConfigurationError> m_errors;
    QStringList m_exceeded; // limits that have been told
    int m_channels = 0;
    int m_pageRows = 0;
};

} // namespace

QString DConfigurationError::toString() const
{
    return path.isEmpty() ? QStringLiteral("%1: %2").arg(file, message)
                          : QStringLiteral("%1: %2: %3").arg(file, path, message);
}

DLoadedConfiguration loadConfiguration(const QString& path, const DPluginKinds& kinds)
{
    return loadConfiguration(path, kinds, {});
}

DLoadedConfiguration loadConfiguration(const QString& path, const DPluginKinds& kinds,
                                       const DFileJudge& judge)
{
    return Loader(kinds, judge).load(path);
}
