#include "fuzz/require.h"
#include "plugins/p_driver_modbus/source/modbus_configuration.h"

#include <lib_host/configuration.h>
#include <lib_host/properties_file.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/plugin_description.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QMap>
#include <QSet>
#include <QTemporaryDir>
#include <QUuid>

#include <cstddef>
#include <cstdint>

// A file that the host reads. The first byte says which: "m" the main configuration, "s" the saved
// properties, anything else a part that a main configuration names, such as a register map.

namespace {

constexpr char c_mainWithPart[] = R"({"version": 1, "objects": [
    {"id": "{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f22}", "name": "mdc",
     "plugin": "{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}", "reference": "MDC",
     "configurationFiles": ["part.json"], "configuration": {}}]})";
constexpr char c_part[] = R"({"channels": [{"id": "direction", "value": [{"id": "register", "value": 5101}]}],
    "parameters": {"eventDataKeys": ["eventCountNo"]}})";
const QString c_driverKind = QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}");

// The driver as far as it knows what its configuration may have.
class DescribedDriver : public DAbstractPlugin
{
public:
    DescribedDriver()
        : DAbstractPlugin(QUuid(c_driverKind), QStringLiteral("driver"), CeTypeDriver, 1, {}, nullptr, false)
    {
        QFile schema(QStringLiteral(":/%1/configuration.schema.json").arg(c_driverKind));
        require(schema.open(QIODevice::ReadOnly), "the driver's schema is there");
        QObject::setProperty(plugin_description::c_configurationSchema, schema.readAll());
    }

    void initPluginCommands() override {}
    IPlugin* createInstance(const QUuid&) const override { return nullptr; }
    QString pluginSubTypeName() const override { return {}; }
};

DLoadedConfiguration load(const QString& path)
{
    static DescribedDriver c_driver;
    return loadConfiguration(path, {{c_driver.pluginUuid(), &c_driver}});
}

class Folder
{
public:
    QString write(const char* name, const QByteArray& bytes) const
    {
        QFile file(path(name));
        require(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size(), "a file is written");
        return file.fileName();
    }
    QByteArray read(const char* name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString path(const char* name) const { return m_folder.filePath(QLatin1String(name)); }

private:
    QTemporaryDir m_folder;
};

void requireUnique(const QJsonArray& list)
{
    QSet<QString> ids;
    for (const QJsonValue& element : list) {
        const QString id = element.toObject().value(QLatin1String("id")).toString();
        require(!id.isEmpty() && !ids.contains(id), "identities are there and differ");
        ids.insert(id);
    }
}

void requireSound(const QJsonObject& configuration)
{
    const QJsonArray objects = configuration.value(QLatin1String("objects")).toArray();
    requireUnique(objects);
    for (const QJsonValue& element : objects) {
        const QJsonObject object = element.toObject();
        require(!QUuid::fromString(object.value(QLatin1String("id")).toString()).isNull() ||
                    object.value(QLatin1String("id")).toString().contains(QLatin1String("{00000000-")),
                "an object's identity is a UUID");
        require(!object.contains(QLatin1String("configurationFiles")), "parts are joined");
        const QJsonObject own = object.value(QLatin1String("configuration")).toObject();
        requireUnique(own.value(QLatin1String("channels")).toArray());
        if (object.value(QLatin1String("plugin")).toString() == c_driverKind &&
            !own.contains(QLatin1String("channels"))) {
            QStringList errors;
            parseModbusConfiguration(own, &errors);
            require(errors.isEmpty(), "the driver takes what the schema takes");
        }
    }
}

void checkConfiguration(const Folder& folder, const QString& path)
{
    const DLoadedConfiguration loaded = load(path);
    if (!loaded.errors.isEmpty()) {
        require(loaded.configuration.isEmpty(), "what is refused is not handed out");
        for (const DConfigurationError& error : loaded.errors)
            require(!error.file.isEmpty() && !error.message.isEmpty() &&
                        error.toString().contains(error.message),
                    "an error names its file and says what is wrong");
        return;
    }
    requireSound(loaded.configuration);
    // What is loaded is complete: written into one file it is the same configuration.
    const DLoadedConfiguration again =
        load(folder.write("again.json", QJsonDocument(loaded.configuration).toJson()));
    require(again.errors.isEmpty() && again.configuration == loaded.configuration,
            "a loaded configuration is one that can be loaded");
}

void checkProperties(const Folder& folder, const QByteArray& bytes)
{
    const QString path = folder.write("properties.json", bytes);
    DPropertiesFile properties;
    QString error;
    if (!properties.open(path, &error)) {
        require(!error.isEmpty(), "what is refused is told why");
        require(!properties.save(&error) && folder.read("properties.json") == bytes,
                "what is not understood is not written over");
        return;
    }
    const QUuid object(QStringLiteral("{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f22}"));
    const QVariantMap before = properties.values(object);
    properties.set(object, QStringLiteral("triggerBackupRegister"), 15, QStringLiteral("1907150042"));
    require(properties.save(&error), "what is understood can be saved");
    DPropertiesFile again;
    require(again.open(path, &error), "what is saved can be read");
    QVariantMap expected = before;
    expected.insert(QStringLiteral("triggerBackupRegister"), 15);
    require(QJsonObject::fromVariantMap(again.values(object)) == QJsonObject::fromVariantMap(expected),
            "what is saved is what was there");
    require(again.origin(object, QStringLiteral("triggerBackupRegister")) == QLatin1String("1907150042"),
            "what is saved is told of what it is");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Folder c_folder;
    if (size == 0)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1), static_cast<int>(size - 1));
    switch (data[0]) {
    case 'm':
        c_folder.write("part.json", c_part);
        checkConfiguration(c_folder, c_folder.write("main.json", bytes));
        break;
    case 's':
        checkProperties(c_folder, bytes);
        break;
    default:
        c_folder.write("part.json", bytes);
        checkConfiguration(c_folder, c_folder.write("main.json", c_mainWithPart));
        break;
    }
    return 0;
}
