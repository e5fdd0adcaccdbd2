#include "applications/bench/init/configuration_files.h"

#include "plugins/p_device_mdc/model/channel_names.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace {

// The kinds of plug-in whose objects are written: a Modbus link and an MDC device.
const QString c_driverKind = QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}");
const QString c_deviceKind = QStringLiteral("{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}");

const QString c_bench = QStringLiteral("bench.json");
const QString c_common = QStringLiteral("register_map_common.json");
const QString c_parameters = QStringLiteral("parameters.json");
const QString c_benchSchema = QStringLiteral("schema/bench.schema.json");
const QString c_deviceSchema = QStringLiteral("schema/device_configuration.schema.json");
const QString c_ranges = QStringLiteral("backup_ranges.json");

QString mapName(int generation)
{
    return QStringLiteral("register_map_generation%1.json").arg(generation);
}

QString json(const QJsonValue& value)
{
    // Qt writes no value alone: a list of it, without its brackets.
    const QByteArray list = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(list.mid(1, list.size() - 2));
}

// "{ "id": "register", "value": 5003 }": the members in this order, on one line.
QString lineOf(const QList<QPair<QString, QJsonValue>>& members)
{
    QStringList texts;
    for (const auto& [name, value] : members)
        texts.append(QStringLiteral("%1: %2").arg(json(name), json(value)));
    return QStringLiteral("{ %1 }").arg(texts.join(QStringLiteral(", ")));
}

QString indented(const QString& text, int depth)
{
    return QString(2 * depth, QLatin1Char(' ')) + text;
}

// The lines of a list or an object, with commas between them.
QString listed(const QStringList& lines, int depth)
{
    QStringList texts;
    for (const QString& line : lines)
        texts.append(indented(line, depth));
    return texts.join(QStringLiteral(",\n"));
}

QString member(const QString& name, const QJsonValue& value, int depth)
{
    return indented(QStringLiteral("%1: %2").arg(json(name), json(value)), depth);
}

// With the schema by which an editor completes and explains it.
QByteArray objectText(const QString& schema, const QStringList& members)
{
    const QStringList all = QStringList{member(QStringLiteral("$schema"), schema, 1)} + members;
    return (QStringLiteral("{\n") + all.join(QStringLiteral(",\n")) + QStringLiteral("\n}\n")).toUtf8();
}

QStringList lineSettings(const ControllerLine& line)
{
    QStringList settings;
    const auto add = [&settings](const char* name, const QJsonValue& value) {
        settings.append(QStringLiteral("%1: %2").arg(json(QLatin1String(name)), json(value)));
    };
    if (line.isSerial()) {
        add("transport", QStringLiteral("rtu"));
        add("serialPort", line.serialPort);
        add("baudRate", line.baudRate);
        add("parity", line.parity);
    } else {
        add("transport", QStringLiteral("tcp"));
        add("host", line.host);
        add("port", line.port);
    }
    add("unitId", line.unitId);
    add("addressOffset", line.addressOffset);
    return settings;
}

QByteArray benchText(const PlannedConfiguration& plan, const QStringList& parts)
{
    QStringList names;
    for (const QString& part : parts)
        names.append(json(part));
    const QString driver = QStringLiteral("    {\n") +
                           QStringList{member(QStringLiteral("id"), plan.driver.toString(), 3),
                                       member(QStringLiteral("name"), QStringLiteral("modbus"), 3),
                                       member(QStringLiteral("plugin"), c_driverKind, 3),
                                       indented(QStringLiteral("\"configuration\": {\n"), 3) +
                                           listed(lineSettings(plan.line), 4) + QStringLiteral("\n      }")}
                               .join(QStringLiteral(",\n")) +
                           QStringLiteral("\n    }");
    const QString device = QStringLiteral("    {\n") +
                           QStringList{member(QStringLiteral("id"), plan.device.toString(), 3),
                                       member(QStringLiteral("name"), QStringLiteral("mdc"), 3),
                                       member(QStringLiteral("plugin"), c_deviceKind, 3),
                                       member(QStringLiteral("reference"), plan.reference, 3),
                                       member(QStringLiteral("driver"), plan.driver.toString(), 3),
                                       indented(QStringLiteral("\"configurationFiles\": [\n"), 3) +
                                           listed(names, 4) + QStringLiteral("\n      ]"),
                                       indented(QStringLiteral("\"configuration\": {}"), 3)}
                               .join(QStringLiteral(",\n")) +
                           QStringLiteral("\n    }");
    return objectText(
        c_benchSchema,
        {member(QStringLiteral("description"),
                QStringLiteral("A bench with one MDC controller, %1.").arg(plan.line.text()), 1),
         member(QStringLiteral("version"), 1, 1),
         indented(QStringLiteral("\"objects\": [\n"), 1) + driver + QStringLiteral(",\n") + device +
             QStringLiteral("\n  ]")});
}

// In the order in which the bundled maps have them.
const QStringList& entryOrder()
{
    static const QStringList c_order{QStringLiteral("register"), QStringLiteral("size"),
                                     QStringLiteral("readRegisterType"), QStringLiteral("writeRegisterType")};
    return c_order;
}

QString channelText(const PlannedChannel& channel)
{
    QStringList names = channel.entries.keys();
    std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
        const auto place = [](const QString& name) {
            const int at = entryOrder().indexOf(name);
            return at < 0 ? entryOrder().size() : at;
        };
        return std::make_pair(place(a), a) < std::make_pair(place(b), b);
    });
    QStringList entries;
    for (const QString& name : qAsConst(names))
        entries.append(
            lineOf({{QStringLiteral("id"), name}, {QStringLiteral("value"), channel.entries.value(name)}}));
    const QString value = entries.isEmpty() ? indented(QStringLiteral("\"value\": []"), 3)
                                            : indented(QStringLiteral("\"value\": [\n"), 3) +
                                                  listed(entries, 4) + QStringLiteral("\n      ]");
    return QStringLiteral("    {\n") +
           QStringList{member(QStringLiteral("id"), channel.id, 3),
                       member(QStringLiteral("name"), channel.name, 3), value}
               .join(QStringLiteral(",\n")) +
           QStringLiteral("\n    }");
}

ConfigurationFile mapFile(const QString& name, const QString& description,
                          const QList<PlannedChannel>& channels, int generation)
{
    QStringList texts;
    for (const PlannedChannel& channel : channels) {
        if (channel.generation == generation)
            texts.append(channelText(channel));
    }
    return {name,
            objectText(c_deviceSchema, {member(QStringLiteral("description"), description, 1),
                                        indented(QStringLiteral("\"channels\": [\n"), 1) +
                                            texts.join(QStringLiteral(",\n")) + QStringLiteral("\n  ]")})};
}

QString keyText(const QJsonValue& key)
{
    if (!key.isObject())
        return json(key);
    const QJsonObject object = key.toObject();
    QList<QPair<QString, QJsonValue>> members;
    for (const char* const name : {"parameter_name", "start_address", "end_address", "type"})
        members.append({QLatin1String(name), object.value(QLatin1String(name))});
    return lineOf(members);
}

// The lists that are known; the check tells of one that is missing, and of none that is empty.
ConfigurationFile parametersFile(const QList<PlannedKeyList>& lists)
{
    QStringList texts;
    for (const PlannedKeyList& list : lists) {
        if (list.keys.isEmpty())
            continue;
        QStringList keys;
        for (const QJsonValue& key : list.keys)
            keys.append(keyText(key));
        texts.append(QStringLiteral("%1: [\n").arg(json(list.name)) + listed(keys, 3) + QStringLiteral("\n") +
                     indented(QStringLiteral("]"), 2));
    }
    return {
        c_parameters,
        objectText(c_deviceSchema,
                   {member(QStringLiteral("description"),
                           QStringLiteral("What the registers of an event and of a stored program mean."), 1),
                    indented(QStringLiteral("\"parameters\": {\n"), 1) + listed(texts, 2) +
                        QStringLiteral("\n  }")})};
}

ConfigurationFile rangesFile(const QMap<QString, QString>& ranges)
{
    QStringList texts;
    for (auto it = ranges.cbegin(); it != ranges.cend(); ++it)
        texts.append(QStringLiteral("%1: %2").arg(json(it.key()), json(it.value())));
    return {
        c_ranges,
        objectText(c_deviceSchema,
                   {member(QStringLiteral("description"),
                           QStringLiteral("Which registers a backup reads, and where its programs lie."), 1),
                    indented(QStringLiteral("\"parameters\": {\n"), 1) + listed(texts, 2) +
                        QStringLiteral("\n  }")})};
}

QList<ConfigurationFile> partsOf(const PlannedConfiguration& plan)
{
    QList<ConfigurationFile> files{
        mapFile(c_common, QStringLiteral("Registers that every software generation has at one address."),
                plan.channels, 0)};
    for (const int generation : plan.generations)
        files.append(mapFile(
            mapName(generation),
            QStringLiteral("Register map of generation %1. A channel without \"register\" is one whose "
                           "address nobody has told yet: \"mdc-bench check\" names it.")
                .arg(generation),
            plan.channels, generation));
    if (std::any_of(plan.keyLists.cbegin(), plan.keyLists.cend(),
                    [](const PlannedKeyList& list) { return !list.keys.isEmpty(); }))
        files.append(parametersFile(plan.keyLists));
    if (!plan.backupRanges.isEmpty())
        files.append(rangesFile(plan.backupRanges));
    return files;
}

// The host's own, for editors.
QList<ConfigurationFile> schemas()
{
    QList<ConfigurationFile> files;
    for (const QString& name : {c_benchSchema, c_deviceSchema}) {
        QFile file(QStringLiteral(":/lib_host/") + name.section(QLatin1Char('/'), -1));
        // Compiled into the host, which cannot load a configuration without them.
        if (file.open(QIODevice::ReadOnly))
            files.append({name, file.readAll()});
    }
    return files;
}

} // namespace

QList<ConfigurationFile> configurationFiles(const PlannedConfiguration& plan)
{
    const QList<ConfigurationFile> parts = partsOf(plan);
    QStringList names;
    for (const ConfigurationFile& part : parts)
        names.append(part.name);
    return QList<ConfigurationFile>{{c_bench, benchText(plan, names)}} + parts + schemas();
}

QStringList possibleFileNames()
{
    QStringList names{c_bench, c_common, c_parameters, c_ranges, c_benchSchema, c_deviceSchema};
    for (int generation = 1; generation <= lastGeneration(); ++generation)
        names.append(mapName(generation));
    return names;
}
