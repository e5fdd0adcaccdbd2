#include "tests/support/configuration_errors.h"

#include <lib_host/configuration.h>
#include <lib_host/schema_check.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/plugin_description.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonValue>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

#include <algorithm>

#ifdef Q_OS_UNIX
#include <sys/stat.h>
#endif

namespace {

QJsonObject objectFrom(const char* json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (document.isNull())
        qFatal("test data is no JSON: %s", qPrintable(error.errorString()));
    return document.object();
}

// Takes apart "name=value" paths so that a test row can damage one place of a good document.
QJsonValue replaced(const QJsonValue& node, QStringList path, const QJsonValue& value)
{
    if (path.isEmpty())
        return value;
    const QString token = path.takeFirst();
    if (node.isArray()) {
        QJsonArray array = node.toArray();
        const int index = token.toInt();
        array.replace(index, replaced(array.at(index), path, value));
        return array;
    }
    QJsonObject object = node.toObject();
    if (path.isEmpty() && value.isUndefined())
        object.remove(token);
    else
        object.insert(token, replaced(object.value(token), path, value));
    return object;
}

const char* const c_bench = R"({
  "version": 1,
  "objects": [
    {"id": "{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}", "name": "modbus",
     "plugin": "{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}",
     "configuration": {"transport": "tcp", "port": 1502}},
    {"id": "{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f22}", "name": "mdc",
     "plugin": "{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}", "reference": "MDC",
     "driver": "{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}",
     "configurationFiles": ["map.json"],
     "configuration": {"channels": [{"id": "own", "value": [{"id": "register", "value": 1}]}],
                       "parameters": {"p": 1}}}
  ]
})";

const char* const c_map = R"({
  "description": "d",
  "channels": [
    {"id": "directionChange", "name": "n",
     "value": [{"id": "register", "value": 5001}, {"id": "writeRegisterType", "value": "singleRegister"}]}
  ],
  "parameters": {"q": [1, 2]}
})";

// A kind that describes the configuration of its objects, or none.
class DescribedKind : public DAbstractPlugin
{
public:
    explicit DescribedKind(const QByteArray& schema)
        : DAbstractPlugin(QUuid("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}"), "Described", CeTypeDriver, 1, {},
                          nullptr, false)
    {
        if (!schema.isNull())
            QObject::setProperty(plugin_description::c_configurationSchema, schema);
    }

    void initPluginCommands() override {}
    IPlugin* createInstance(const QUuid&) const override { return nullptr; }
    QString pluginSubTypeName() const override { return {}; }
};

DLoadedConfiguration loadWith(DescribedKind& kind, const QString& path)
{
    return loadConfiguration(path, {{kind.pluginUuid(), &kind}});
}

// As the driver plug-in describes itself.
DLoadedConfiguration load(const QString& path)
{
    QFile schema(MDC_SOURCE_DIRECTORY "/plugins/p_driver_modbus/configuration.schema.json");
    if (!schema.open(QIODevice::ReadOnly))
        qFatal("the driver's schema cannot be read");
    DescribedKind kind(schema.readAll());
    return loadWith(kind, path);
}

const QJsonObject c_descriptor{
    {"parameter_name", "torque"}, {"start_address", 6205}, {"end_address", 6206}, {"type", "float"}};

} // namespace

class tst_Configuration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void bundledIsGood();
    void joinsFiles();
    void refuses_data();
    void refuses();
    void everyKeyMisspelt();
    void missingFile();
    void folder();
    void endless();        // docs/security.md
    void sizeLimit();      // docs/security.md
    void totalSizeLimit(); // docs/security.md
    void zeroCharacter();  // docs/security.md
    void countLimits_data();
    void countLimits();  // docs/security.md
    void entriesLimit(); // docs/security.md
    void errorsLimit();  // docs/security.md
    void noJson();
    void missingPart();
    void syntax_data();
    void syntax();
    void everyFaultyFile();
    void fileOfTwoObjects();
    void entries_data();
    void entries();
    void duplicates();
    void deviceWithoutChannels();
    void kindWithoutSchema();
    void kindWithSchema_data();
    void kindWithSchema();
    void acceptsParameters_data();
    void acceptsParameters();
    void bundledKeyLists_data();
    void bundledKeyLists();
    void schemaCheck();
    void schemasExplainThemselves_data();
    void schemasExplainThemselves();

private:
    void write(const QString& name, const QByteArray& text);
    QString path(const QString& name) const { return m_folder->filePath(name); }

    std::unique_ptr<QTemporaryDir> m_folder;
};

void tst_Configuration::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    write("bench.json", c_bench);
    write("map.json", c_map);
}

// A device whose only key is misspelt looks like any other object but for its driver.
void tst_Configuration::deviceWithoutChannels()
{
    QJsonObject bench = replaced(objectFrom(c_bench), {"objects", "1", "configuration"},
                                 QJsonObject{{"chanels", QJsonArray()}})
                            .toObject();
    bench =
        replaced(bench, {"objects", "1", "configurationFiles"}, QJsonValue(QJsonValue::Undefined)).toObject();
    write("bench.json", QJsonDocument(bench).toJson());
    const QList<DConfigurationError> errors = load(path("bench.json")).errors;
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.at(0).path, QString("/objects/1/configuration/chanels"));
}

void tst_Configuration::write(const QString& name, const QByteArray& text)
{
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), qint64(text.size()));
}

void tst_Configuration::bundledIsGood()
{
    const DLoadedConfiguration loaded = load(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    QVERIFY2(loaded.errors.isEmpty(), qPrintable(errorText(loaded.errors)));
    const QJsonArray objects = loaded.configuration.value("objects").toArray();
    QCOMPARE(objects.size(), 2);
    QVERIFY(objects.at(1).toObject().value("configuration").toObject().value("channels").toArray().size() >
            10);
}

void tst_Configuration::joinsFiles()
{
    const DLoadedConfiguration loaded = load(path("bench.json"));
    QVERIFY(loaded.errors.isEmpty());
    const QJsonObject device = loaded.configuration.value("objects").toArray().at(1).toObject();
    QVERIFY(!device.contains("configurationFiles"));
    const QJsonObject configuration = device.value("configuration").toObject();
    const QJsonArray channels = configuration.value("channels").toArray();
    QCOMPARE(channels.size(), 2);
    QCOMPARE(channels.at(0).toObject().value("id").toString(), QString("own"));
    QCOMPARE(channels.at(1).toObject().value("id").toString(), QString("directionChange"));
    QCOMPARE(configuration.value("parameters").toObject().keys(), (QStringList{"p", "q"}));
    QVERIFY(!configuration.contains("description"));
    // The driver's part is untouched.
    QCOMPARE(
        loaded.configuration.value("objects").toArray().at(0).toObject().value("configuration").toObject(),
        objectFrom(R"({"transport": "tcp", "port": 1502})"));
}

void tst_Configuration::refuses_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("place");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("errorPath");
    QTest::addColumn<QString>("errorText");

    const QJsonValue gone(QJsonValue::Undefined);
    QTest::newRow("version missing") << "bench.json"
                                     << "version" << gone << ""
                                     << "\"version\" is missing; needed is the number 1";
    QTest::newRow("version 2") << "bench.json"
                               << "version" << QJsonValue(2) << "/version"
                               << "2 is not allowed; needed is the number 1";
    QTest::newRow("objects no list") << "bench.json"
                                     << "objects" << QJsonValue(5) << "/objects"
                                     << "5 is not allowed; needed is a list of objects";
    QTest::newRow("id no UUID") << "bench.json"
                                << "objects/0/id" << QJsonValue("x") << "/objects/0/id"
                                << "\"x\" is not allowed; needed is a UUID in braces";
    QTest::newRow("name missing") << "bench.json"
                                  << "objects/0/name" << gone << "/objects/0"
                                  << "\"name\" is missing; needed is a text that is not empty";
    QTest::newRow("name empty") << "bench.json"
                                << "objects/0/name" << QJsonValue("") << "/objects/0/name"
                                << "\"\" is not allowed";
    QTest::newRow("name a number") << "bench.json"
                                   << "objects/0/name" << QJsonValue(7) << "/objects/0/name"
                                   << "7 is not allowed";
    QTest::newRow("unknown key") << "bench.json"
                                 << "objects/0/nmae" << QJsonValue("x") << "/objects/0/nmae"
                                 << "unknown key \"nmae\"; allowed are configuration, configurationFiles, "
                                    "driver, id, name, plugin, reference";
    QTest::newRow("port too large") << "bench.json"
                                    << "objects/0/configuration/port" << QJsonValue(65536)
                                    << "/objects/0/configuration/port"
                                    << "65536 is not allowed; needed is a whole number from 1 to 65535";
    QTest::newRow("port a text") << "bench.json"
                                 << "objects/0/configuration/port" << QJsonValue("1502")
                                 << "/objects/0/configuration/port"
                                 << "\"1502\" is not allowed";
    QTest::newRow("port with fraction")
        << "bench.json"
        << "objects/0/configuration/port" << QJsonValue(1.5) << "/objects/0/configuration/port"
        << "1.5 is not allowed";
    QTest::newRow("unknown driver key")
        << "bench.json"
        << "objects/0/configuration/prot" << QJsonValue(1) << "/objects/0/configuration/prot"
        << "unknown key \"prot\"; allowed are addressOffset";
    QTest::newRow("transport missing")
        << "bench.json"
        << "objects/0/configuration/transport" << gone << "/objects/0/configuration"
        << "\"transport\" is missing; needed is \"tcp\" or \"rtu\"";
    QTest::newRow("register too large")
        << "map.json"
        << "channels/0/value/0/value" << QJsonValue(65536) << "/channels/0/value/0/value"
        << "channel \"directionChange\", entry \"register\": 65536 is not allowed; needed is a whole number "
           "from 0 to 65535";
    QTest::newRow("register a text") << "map.json"
                                     << "channels/0/value/0/value" << QJsonValue("5001")
                                     << "/channels/0/value/0/value"
                                     << "\"5001\" is not allowed";
    QTest::newRow("write type read-only")
        << "map.json"
        << "channels/0/value/1/value" << QJsonValue("inputRegisters") << "/channels/0/value/1/value"
        << "\"inputRegisters\" is not allowed";
    QTest::newRow("entry without value") << "map.json"
                                         << "channels/0/value/0/value" << gone << "/channels/0/value/0"
                                         << "\"value\" is missing";
    QTest::newRow("channel id empty") << "map.json"
                                      << "channels/0/id" << QJsonValue("") << "/channels/0/id"
                                      << "\"\" is not allowed";
    QTest::newRow("unknown part key")
        << "map.json"
        << "chanels" << QJsonValue(QJsonArray()) << "/chanels"
        << "unknown key \"chanels\"; allowed are channels, description, parameters";
    QTest::newRow("own channel wrong") << "bench.json"
                                       << "objects/1/configuration/channels/0/value/0/value" << QJsonValue(-1)
                                       << "/objects/1/configuration/channels/0/value/0/value"
                                       << "-1 is not allowed";
    QTest::newRow("unknown device key")
        << "bench.json"
        << "objects/1/configuration/x" << QJsonValue(3) << "/objects/1/configuration/x"
        << "unknown key \"x\"; allowed are channels";
    QTest::newRow("UUID in capitals")
        << "bench.json"
        << "objects/0/plugin" << QJsonValue("{C7A3F1DE-52B8-4A0E-9C64-1F0D8E2B7A95}") << "/objects/0/plugin"
        << "needed is the UUID of a plug-in kind, in braces and small letters";
    QTest::newRow("host of blanks") << "bench.json" << QString("objects/0/configuration/host")
                                    << QJsonValue("  ") << "/objects/0/configuration/host"
                                    << "a host name";
    QTest::newRow("driver without a configuration") << "bench.json" << QString("objects/0/configuration")
                                                    << QJsonValue(QJsonValue::Undefined) << "/objects/0"
                                                    << "key \"configuration\" is missing";
    QTest::newRow("rtu without a port")
        << "bench.json"
        << "objects/0/configuration/transport" << QJsonValue("rtu") << "/objects/0/configuration"
        << "key \"serialPort\" is missing; needed is the name of a serial device";
    QTest::newRow("parameters a list") << "map.json"
                                       << "parameters" << QJsonValue(QJsonArray()) << "/parameters"
                                       << "[] is not allowed; needed is a map";

    const char* const plain = "parameters/eventDataKeys";
    const QString plainPath = "/parameters/eventDataKeys";
    QTest::newRow("plain keys an object") << "map.json" << plain << QJsonValue(QJsonObject()) << plainPath
                                          << "{} is not allowed; needed is a list of names, one for each";
    QTest::newRow("plain keys with a number")
        << "map.json" << plain << QJsonValue(QJsonArray{"a", 5}) << plainPath + "/1"
        << "5 is not allowed; needed is a name that is not empty";
    QTest::newRow("plain keys with an empty name")
        << "map.json" << plain << QJsonValue(QJsonArray{"", "b"}) << plainPath + "/0"
        << "\"\" is not allowed; needed is a name that is not empty";
    QTest::newRow("plain keys with a descriptor")
        << "map.json"
        << "parameters/presetDataKeys" << QJsonValue(QJsonArray{c_descriptor})
        << "/parameters/presetDataKeys/0"
        << "is not allowed; needed is a name that is not empty";
    const auto described = [](const char* row, const char* key, const QJsonValue& value, const QString& place,
                              const char* text) {
        QJsonObject descriptor = c_descriptor;
        if (value.isUndefined())
            descriptor.remove(key);
        else
            descriptor.insert(key, value);
        QTest::newRow(row) << "map.json"
                           << "parameters/eventDataKeysV2" << QJsonValue(QJsonArray{c_descriptor, descriptor})
                           << "/parameters/eventDataKeysV2/1" + place << text;
    };
    described("descriptor without name", "parameter_name", gone, "",
              "key \"parameter_name\" is missing; needed is a name that is not empty");
    described("descriptor without start", "start_address", gone, "", "key \"start_address\" is missing");
    described("descriptor without end", "end_address", gone, "", "key \"end_address\" is missing");
    described("descriptor without type", "type", gone, "",
              "key \"type\" is missing; needed is \"int\", \"list\" or \"float\"");
    described("descriptor with one key more", "unit", "Nm", "/unit",
              "unknown key \"unit\"; allowed are end_address, parameter_name, start_address, type");
    described("descriptor name empty", "parameter_name", "", "/parameter_name", "\"\" is not allowed");
    described("descriptor start a text", "start_address", "6201", "/start_address",
              "\"6201\" is not allowed; needed is a whole number from 0 to 65535");
    described("descriptor start with fraction", "start_address", 1.5, "/start_address", "1.5 is not allowed");
    described("descriptor end too large", "end_address", 65536, "/end_address", "65536 is not allowed");
    described("descriptor end negative", "end_address", -1, "/end_address", "-1 is not allowed");
    described("descriptor type in capitals", "type", "Int", "/type",
              "\"Int\" is not allowed; needed is \"int\", \"list\" or \"float\"");
    QTest::newRow("descriptor keys with a plain name")
        << "map.json"
        << "parameters/presetDataKeysV12" << QJsonValue(QJsonArray{"torque"})
        << "/parameters/presetDataKeysV12/0"
        << "\"torque\" is not allowed; needed is an object with \"parameter_name\"";
    QTest::newRow("backup ranges a list")
        << "map.json"
        << "parameters/MDgen2_config" << QJsonValue(QJsonArray{"torque"}) << "/parameters/MDgen2_config"
        << "needed is a text that names the registers of a backup";
    QTest::newRow("backup ranges empty")
        << "map.json"
        << "parameters/MDC-26_config" << QJsonValue("") << "/parameters/MDC-26_config"
        << "\"\" is not allowed; needed is a text that names the registers";
}

void tst_Configuration::refuses()
{
    QFETCH(QString, file);
    QFETCH(QString, place);
    QFETCH(QJsonValue, value);
    QFETCH(QString, errorPath);
    QFETCH(QString, errorText);
    const QJsonObject good = objectFrom(file == "map.json" ? c_map : c_bench);
    const QJsonObject bad = replaced(good, place.split('/'), value).toObject();
    QVERIFY(bad != good);
    write(file, QJsonDocument(bad).toJson());

    const DLoadedConfiguration loaded = load(path("bench.json"));
    QVERIFY(loaded.configuration.isEmpty());
    QStringList all;
    for (const DConfigurationError& error : loaded.errors)
        all.append(error.toString());
    QVERIFY2(loaded.errors.size() == 1, qPrintable(all.join('\n')));
    QCOMPARE(loaded.errors.at(0).file, path(file));
    QCOMPARE(loaded.errors.at(0).path, errorPath);
    QVERIFY2(loaded.errors.at(0).message.contains(errorText), qPrintable(all.join('\n')));
}

// Renames each key of each bundled file in turn: something must say so, naming the new key or the
// missing one. Free maps ("parameters") are the only place where any key is allowed.
void tst_Configuration::everyKeyMisspelt()
{
    int tried = 0;
    for (const QString& file : {QString("bench.json"), QString("map.json")}) {
        const QJsonObject good = objectFrom(file == "map.json" ? c_map : c_bench);
        QList<QStringList> places;
        const std::function<void(const QJsonValue&, const QStringList&)> collect =
            [&](const QJsonValue& node, const QStringList& at) {
                if (node.isArray()) {
                    for (int i = 0; i < node.toArray().size(); ++i)
                        collect(node.toArray().at(i), at + QStringList{QString::number(i)});
                } else if (node.isObject()) {
                    const QJsonObject object = node.toObject();
                    for (auto it = object.begin(); it != object.end(); ++it) {
                        if (!at.contains("parameters"))
                            places.append(at + QStringList{it.key()});
                        collect(it.value(), at + QStringList{it.key()});
                    }
                }
            };
        collect(good, {});
        for (const QStringList& place : qAsConst(places)) {
            QStringList parent = place;
            const QString key = parent.takeLast();
            QJsonValue node = good;
            for (const QString& token : parent)
                node = node.isArray() ? node.toArray().at(token.toInt()) : node.toObject().value(token);
            QJsonObject object = node.toObject();
            object.insert(key + "X", object.take(key));
            write(file, QJsonDocument(replaced(good, parent, object).toObject()).toJson());
            const DLoadedConfiguration loaded = load(path("bench.json"));
            QVERIFY2(!loaded.errors.isEmpty(), qPrintable(place.join('/')));
            bool named = false;
            for (const DConfigurationError& error : loaded.errors)
                named = named || error.toString().contains(key + "X");
            QVERIFY2(named, qPrintable(place.join('/') + " -> " + loaded.errors.at(0).toString()));
            ++tried;
        }
        write(file, QJsonDocument(good).toJson());
    }
    QVERIFY(tried > 30);
}

void tst_Configuration::missingFile()
{
    const DLoadedConfiguration loaded = load(path("none.json"));
    QCOMPARE(loaded.errors.size(), 1);
    QCOMPARE(loaded.errors.at(0).file, path("none.json"));
    QVERIFY(loaded.errors.at(0).message.contains("cannot be read"));
}

void tst_Configuration::folder()
{
    const DLoadedConfiguration loaded = load(m_folder->path());
    QCOMPARE(loaded.errors.size(), 1);
    QVERIFY(loaded.errors.at(0).message.contains("folder"));
}

void tst_Configuration::endless()
{
#ifdef Q_OS_UNIX
    QCOMPARE(mkfifo(QFile::encodeName(path("pipe")).constData(), 0600), 0);
    for (const QString& endless : {path("pipe"), QString("/dev/zero")}) {
        const DLoadedConfiguration loaded = load(endless);
        QCOMPARE(loaded.errors.size(), 1);
        QCOMPARE(loaded.errors.at(0).file, endless);
        QVERIFY(loaded.errors.at(0).message.contains("no file"));
    }
    // As one of the files that a configuration names.
    QVERIFY(QFile::remove(path("map.json")));
    QVERIFY(QFile::rename(path("pipe"), path("map.json")));
    const DLoadedConfiguration loaded = load(path("bench.json"));
    QCOMPARE(loaded.errors.size(), 1);
    QCOMPARE(loaded.errors.at(0).file, path("map.json"));
#else
    QSKIP("no pipe has a name in a folder here");
#endif
}

void tst_Configuration::zeroCharacter()
{
    const QByteArray good(c_bench);
    for (const char* const text : {"a\\u0000b", "\\u0000", "\\\\\\u0000"}) {
        write("bench.json", QByteArray(good).replace("\"mdc\"", '"' + QByteArray(text) + '"'));
        const DLoadedConfiguration loaded = load(path("bench.json"));
        QVERIFY(!loaded.errors.isEmpty());
        QVERIFY2(loaded.errors.at(0).message.contains("zero character") &&
                     loaded.errors.at(0).message.contains("line 7"),
                 qPrintable(loaded.errors.at(0).message));
    }
    // A text that only looks like it.
    write("bench.json", QByteArray(good).replace("\"mdc\"", "\"a\\\\u0000b\""));
    QVERIFY(load(path("bench.json")).errors.isEmpty());
}

// At each limit, and one above.
void tst_Configuration::countLimits_data()
{
    QTest::addColumn<int>("objects");
    QTest::addColumn<int>("files");
    QTest::addColumn<int>("channels");
    QTest::addColumn<int>("rows");
    QTest::addColumn<QString>("error");
    QTest::newRow("at all of them") << c_objectsLimit << c_objectFilesLimit << c_channelsLimit
                                    << c_pageRowsLimit << QString();
    QTest::newRow("objects") << c_objectsLimit + 1 << 1 << 1 << 1 << "more than 1000 objects";
    QTest::newRow("files") << 1 << c_objectFilesLimit + 1 << 1 << 1 << "more than 100 configuration files";
    QTest::newRow("channels") << 1 << 1 << c_channelsLimit + 1 << 1 << "more than 10000 channels";
    QTest::newRow("rows") << 1 << 1 << c_pageRowsLimit + 1 << c_pageRowsLimit + 1 << "more than 500 rows";
}

void tst_Configuration::countLimits()
{
    QFETCH(int, objects);
    QFETCH(int, files);
    QFETCH(int, channels);
    QFETCH(int, rows);
    QFETCH(QString, error);
    QJsonArray list;
    QJsonArray names;
    for (int i = 0; i < files; ++i) {
        names.append(QString("part%1.json").arg(i));
        write(names.at(i).toString(), "{}");
    }
    for (int i = 0; i < objects; ++i)
        list.append(QJsonObject{{"id", QUuid::createUuid().toString()},
                                {"name", QString::number(i)},
                                {"plugin", "{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}"}});
    QJsonArray map;
    for (int i = 0; i < channels; ++i) {
        const QJsonObject entry{{"id", "display"}, {"value", i < rows ? "information" : "command"}};
        map.append(QJsonObject{{"id", QString("c%1").arg(i)}, {"value", QJsonArray{entry}}});
    }
    QJsonObject device = list.at(0).toObject();
    device.insert("driver", device.value("id"));
    device.insert("configurationFiles", names);
    device.insert("configuration", QJsonObject{{"channels", map}});
    list.replace(0, device);
    write("bench.json", QJsonDocument(QJsonObject{{"version", 1}, {"objects", list}}).toJson());
    const DLoadedConfiguration loaded = load(path("bench.json"));
    QCOMPARE(loaded.errors.size(), error.isEmpty() ? 0 : 1);
    QVERIFY2(error.isEmpty() || loaded.errors.at(0).message.contains(error),
             qPrintable(loaded.errors.value(0).toString()));
}

void tst_Configuration::entriesLimit()
{
    for (const int count : {c_channelEntriesLimit, c_channelEntriesLimit + 1}) {
        QJsonArray entries;
        for (int i = 0; i < count; ++i)
            entries.append(QJsonObject{{"id", QString::number(i)}, {"value", i}});
        const QJsonArray channels{QJsonObject{{"id", "many"}, {"value", entries}}};
        write("map.json", QJsonDocument(QJsonObject{{"channels", channels}}).toJson());
        const DLoadedConfiguration loaded = load(path("bench.json"));
        QCOMPARE(loaded.errors.isEmpty(), count == c_channelEntriesLimit);
        QVERIFY(loaded.errors.isEmpty() || loaded.errors.at(0).message.contains("more than 100 entries"));
    }
}

// What is wrong a million times is told a thousand times.
void tst_Configuration::errorsLimit()
{
    for (const int wrong : {c_configurationErrorsLimit - 1, c_configurationErrorsLimit,
                            c_configurationErrorsLimit + 1, 3 * c_configurationErrorsLimit}) {
        // Each but the first one is there already.
        const QByteArray channel = R"({"id": "same", "value": []})";
        write("map.json", "{\"channels\": [" + channel + ("," + channel).repeated(wrong) + "]}");
        QCOMPARE(load(path("bench.json")).errors.size(), std::min(wrong, c_configurationErrorsLimit));
    }
}

void tst_Configuration::sizeLimit()
{
    for (const qint64 size : {c_configurationSizeLimit, c_configurationSizeLimit + 1}) {
        QByteArray text(c_map);
        text += QByteArray(static_cast<int>(size) - text.size(), ' ');
        write("map.json", text);
        const DLoadedConfiguration loaded = load(path("bench.json"));
        QCOMPARE(loaded.errors.isEmpty(), size == c_configurationSizeLimit);
        QVERIFY(loaded.errors.isEmpty() || loaded.errors.at(0).message.contains("4194304 bytes"));
    }
}

void tst_Configuration::totalSizeLimit()
{
    QJsonArray names{"map.json"};
    for (int i = 1; i <= 8; ++i)
        names.append(QString("part%1.json").arg(i));
    QJsonObject bench = objectFrom(c_bench);
    bench = replaced(bench, {"objects", "1", "configurationFiles"}, names).toObject();
    const QByteArray main = QJsonDocument(bench).toJson();
    write("bench.json", main);
    qint64 left = c_configurationTotalLimit - main.size() - QByteArray(c_map).size();
    for (int i = 1; i <= 8; ++i) {
        const qint64 size = std::min(left, c_configurationSizeLimit);
        left -= size;
        write(QString("part%1.json").arg(i), QByteArray("{}").leftJustified(static_cast<int>(size)));
    }
    QCOMPARE(left, 0);
    QCOMPARE(errorText(load(path("bench.json")).errors), QString());
    write("bench.json", main + ' ');
    const QList<DConfigurationError> errors = load(path("bench.json")).errors;
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.at(0).file, path("part8.json"));
    QVERIFY(errors.at(0).message.contains("more than 33554432 bytes"));
}

void tst_Configuration::noJson()
{
    write("bench.json", "{\n  \"version\": 1,\n  oops\n}");
    const DLoadedConfiguration loaded = load(path("bench.json"));
    QCOMPARE(loaded.errors.size(), 1);
    QVERIFY2(loaded.errors.at(0).message.contains("line 3"), qPrintable(loaded.errors.at(0).message));
    write("bench.json", "[]");
    QVERIFY(!load(path("bench.json")).errors.isEmpty());
    write("bench.json", "");
    QVERIFY(!load(path("bench.json")).errors.isEmpty());
}

void tst_Configuration::missingPart()
{
    QVERIFY(QFile::remove(path("map.json")));
    const DLoadedConfiguration loaded = load(path("bench.json"));
    QCOMPARE(loaded.errors.size(), 1);
    QCOMPARE(loaded.errors.at(0).file, path("map.json"));
}

void tst_Configuration::syntax_data()
{
    QTest::addColumn<QByteArray>("from");
    QTest::addColumn<QByteArray>("to");
    QTest::addColumn<QString>("message");
    QTest::newRow("comma behind a text")
        << QByteArray("\"d\",") << QByteArray("\"d\"")
        << "a comma or } is missing before \"channels\", at line 3, column 3";
    QTest::newRow("comma behind an entry") << QByteArray("5001},") << QByteArray("5001}")
                                           << "a comma or ] is missing before {, at line 5, column 50";
    QTest::newRow("quote") << QByteArray("\"d\",") << QByteArray("\"d,")
                           << "the closing \" is missing of \"d,, at line 2, column 18";
    QTest::newRow("bracket") << QByteArray("[1, 2]") << QByteArray("[1, 2")
                             << "a comma or ] is missing before }, at line 7, column 28";
    // What only the parser knows.
    QTest::newRow("letters") << QByteArray("\"d\"") << QByteArray("\"\xff\"") << "is no JSON: ";
}

void tst_Configuration::syntax()
{
    QFETCH(QByteArray, from);
    QFETCH(QByteArray, to);
    QFETCH(QString, message);
    QByteArray map(c_map);
    QVERIFY(map.contains(from));
    write("map.json", map.replace(from, to));
    const QList<DConfigurationError> errors = load(path("bench.json")).errors;
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.at(0).file, path("map.json"));
    QVERIFY2(errors.at(0).message.contains(message), qPrintable(errors.at(0).message));
}

// What is wrong in one file keeps nobody from being told of the next one.
void tst_Configuration::everyFaultyFile()
{
    QJsonObject bench = objectFrom(c_bench);
    bench = replaced(bench, {"version"}, 2).toObject();
    bench = replaced(bench, {"objects", "0", "configuration", "port"}, 0).toObject();
    bench = replaced(bench, {"objects", "1", "configurationFiles"},
                     QJsonArray{"map.json", "absent.json", "comma.json"})
                .toObject();
    write("bench.json", QJsonDocument(bench).toJson());
    write("map.json", QByteArray(c_map).replace("5001", "-1"));
    write("comma.json", "{\"description\": \"d\" \"channels\": []}");
    QStringList places;
    const QList<DConfigurationError> errors = load(path("bench.json")).errors;
    for (const DConfigurationError& error : errors)
        places.append(QFileInfo(error.file).fileName() + error.path);
    QCOMPARE(places, (QStringList{"bench.json/version", "bench.json/objects/0/configuration/port",
                                  "map.json/channels/0/value/0/value", "absent.json", "comma.json"}));
}

void tst_Configuration::fileOfTwoObjects()
{
    QJsonObject bench = objectFrom(c_bench);
    QJsonArray objects = bench.value("objects").toArray();
    QJsonObject second = objects.at(1).toObject();
    second.insert("id", "{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f23}");
    second.insert("name", "right");
    objects.append(second);
    bench.insert("objects", objects);
    write("bench.json", QJsonDocument(bench).toJson());
    QCOMPARE(errorText(load(path("bench.json")).errors), QString());
    write("map.json", QByteArray(c_map).replace("5001", "-1"));
    QCOMPARE(load(path("bench.json")).errors.size(), 1);
}

void tst_Configuration::entries_data()
{
    QTest::addColumn<QString>("entry");
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("needed");
    const QString writable = "one of holdingRegisters, singleRegister, coils";
    QTest::newRow("register") << "register" << QJsonValue(65536) << "a whole number from 0 to 65535";
    QTest::newRow("register a text") << "register" << QJsonValue("1") << "a whole number from 0 to 65535";
    QTest::newRow("size") << "size" << QJsonValue(0) << "a whole number from 1 to 65535";
    QTest::newRow("dataSize") << "dataSize" << QJsonValue(0) << "a whole number from 1 to 65535";
    QTest::newRow("type to write") << "writeRegisterType" << QJsonValue("inputRegisters") << writable;
    QTest::newRow("type to read") << "readRegisterType" << QJsonValue("holding")
                                  << "one of holdingRegisters, singleRegister, inputRegisters, coils, "
                                     "discreteInputs";
}

// The rule of this entry, and no other one's.
void tst_Configuration::entries()
{
    QFETCH(QString, entry);
    QFETCH(QJsonValue, value);
    QFETCH(QString, needed);
    const QJsonObject described{{"id", entry}, {"value", value}};
    const QJsonObject channel{{"id", "own"}, {"value", QJsonArray{described}}};
    write("map.json", QJsonDocument(QJsonObject{{"channels", QJsonArray{channel}}}).toJson());
    const QString shown = value.isString() ? "\"" + value.toString() + "\"" : value.toVariant().toString();
    const QString told =
        QString("channel \"own\", entry \"%1\": %2 is not allowed; needed is %3").arg(entry, shown, needed);
    QList<DConfigurationError> errors = load(path("bench.json")).errors;
    QCOMPARE(errors.size(), 2);
    QCOMPARE(errors.at(0).message, told);
    // The second one is that the object's own configuration has such a channel.
    QVERIFY(errors.at(1).message.startsWith("channel \"own\" is given twice"));

    write("map.json", c_map);
    const QJsonObject own{{"channels", QJsonArray{channel}}};
    write("bench.json",
          QJsonDocument(replaced(objectFrom(c_bench), {"objects", "1", "configuration"}, own).toObject())
              .toJson());
    errors = load(path("bench.json")).errors;
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.at(0).path, QString("/objects/1/configuration/channels/0/value/0/value"));
    QCOMPARE(errors.at(0).message, "object \"mdc\", " + told);
}

void tst_Configuration::duplicates()
{
    QJsonObject map = objectFrom(c_map);
    QJsonArray channels = map.value("channels").toArray();
    QJsonObject again = channels.at(0).toObject();
    channels.append(again);
    again.insert("id", "own");
    channels.append(again);
    map.insert("channels", channels);
    map.insert("parameters", QJsonObject{{"p", 2}});
    write("map.json", QJsonDocument(map).toJson());
    const QList<DConfigurationError> errors = load(path("bench.json")).errors;
    QCOMPARE(errors.size(), 3);
    QCOMPARE(errors.at(0).path, QString("/channels/1"));
    QVERIFY(errors.at(0).message.contains("channel \"directionChange\" is given twice, first in " +
                                          path("map.json")));
    QCOMPARE(errors.at(1).path, QString("/channels/2"));
    QVERIFY(errors.at(1).message.contains("first in " + path("bench.json")));
    QCOMPARE(errors.at(2).path, QString("/parameters/p"));

    QJsonObject bench = objectFrom(c_bench);
    write("map.json", c_map);
    bench = replaced(bench, {"objects", "1", "id"}, "{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}").toObject();
    bench = replaced(bench, {"objects", "1", "name"}, "modbus").toObject();
    write("bench.json", QJsonDocument(bench).toJson());
    const QList<DConfigurationError> objectErrors = load(path("bench.json")).errors;
    QCOMPARE(objectErrors.size(), 2);
    QCOMPARE(objectErrors.at(0).path, QString("/objects/1/id"));
    QCOMPARE(objectErrors.at(1).path, QString("/objects/1/name"));
}

// What nobody knows the plug-in of, or what its plug-in says nothing of, is left to the plug-in.
void tst_Configuration::kindWithoutSchema()
{
    const QJsonObject own{{"trnsport", 5}};
    write("bench.json",
          QJsonDocument(replaced(objectFrom(c_bench), {"objects", "0", "configuration"}, own).toObject())
              .toJson());
    QVERIFY(!load(path("bench.json")).errors.isEmpty());
    DescribedKind silent{QByteArray()};
    DescribedKind empty("");
    for (const DLoadedConfiguration& loaded :
         {loadConfiguration(path("bench.json")), loadWith(silent, path("bench.json")),
          loadWith(empty, path("bench.json"))}) {
        QVERIFY(loaded.errors.isEmpty());
        QCOMPARE(loaded.configuration.value("objects").toArray().at(0)["configuration"].toObject(), own);
    }
}

void tst_Configuration::kindWithSchema_data()
{
    QTest::addColumn<QByteArray>("schema");
    QTest::addColumn<QJsonValue>("own");
    // Of the errors, one per line.
    QTest::addColumn<QStringList>("errors");

    const QJsonValue gone(QJsonValue::Undefined);
    const QByteArray optional(
        R"({"additionalProperties": false, "properties": {"x": {"type": "integer", "description": "a number"}}})");
    const QByteArray needed(
        R"({"required": ["x"], "properties": {"x": {"type": "integer", "description": "a number"}}})");
    QTest::newRow("good") << optional << QJsonValue(QJsonObject{{"x", 1}}) << QStringList();
    QTest::newRow("wrong") << optional << QJsonValue(QJsonObject{{"x", "1"}})
                           << QStringList{
                                  "/objects/0/configuration/x: \"1\" is not allowed; needed is a number"};
    QTest::newRow("unknown and wrong")
        << optional << QJsonValue(QJsonObject{{"x", "1"}, {"y", 1}})
        << QStringList{"/objects/0/configuration/x: \"1\" is not allowed; needed is a number",
                       "/objects/0/configuration/y: unknown key \"y\"; allowed are x"};
    QTest::newRow("none, none needed") << optional << gone << QStringList();
    QTest::newRow("none, one needed")
        << needed << gone
        << QStringList{"/objects/0: key \"configuration\" is missing; needed is the "
                       "object's own configuration"};
    QTest::newRow("empty, one needed")
        << needed << QJsonValue(QJsonObject())
        << QStringList{"/objects/0/configuration: key \"x\" is missing; needed is a number"};
    QTest::newRow("no object") << needed << QJsonValue(5)
                               << QStringList{
                                      "/objects/0/configuration: 5 is not allowed; needed is the object's "
                                      "own configuration"};
    QTest::newRow("reference") << QByteArray(R"({"properties": {"x": {"$ref": "#/definitions/d"}},
                                   "definitions": {"d": {"type": "integer", "description": "a number"}}})")
                               << QJsonValue(QJsonObject{{"x", "1"}})
                               << QStringList{
                                      "/objects/0/configuration/x: \"1\" is not allowed; needed is a number"};
    // A plug-in's mistake, which is no reason to fall over it.
    QTest::newRow("schema no JSON") << QByteArray("{") << QJsonValue(QJsonObject())
                                    << QStringList{
                                           "/objects/0/configuration: cannot be checked: the schema of the "
                                           "plug-in \"Described\" is no JSON object"};
    QTest::newRow("schema a list") << QByteArray("[]") << QJsonValue(QJsonObject())
                                   << QStringList{
                                          "/objects/0/configuration: cannot be checked: the schema of the "
                                          "plug-in \"Described\" is no JSON object"};
    QTest::newRow("schema without sense")
        << QByteArray(R"({"properties": 5})") << QJsonValue(QJsonObject())
        << QStringList{"/objects/0/configuration: cannot be checked: the schema is none"};
    QTest::newRow("schema with a broken pattern")
        << QByteArray(R"({"properties": {"x": {"pattern": "("}}})") << QJsonValue(QJsonObject{{"x", "1"}})
        << QStringList{"/objects/0/configuration: cannot be checked: the schema is none"};
}

void tst_Configuration::kindWithSchema()
{
    QFETCH(QByteArray, schema);
    QFETCH(QJsonValue, own);
    QFETCH(QStringList, errors);
    write("bench.json",
          QJsonDocument(replaced(objectFrom(c_bench), {"objects", "0", "configuration"}, own).toObject())
              .toJson());
    DescribedKind kind(schema);
    const DLoadedConfiguration loaded = loadWith(kind, path("bench.json"));
    QStringList told;
    for (const DConfigurationError& error : loaded.errors) {
        QCOMPARE(error.file, path("bench.json"));
        told.append(error.path + ": " + error.message);
    }
    QVERIFY2(told.size() == errors.size(), qPrintable(told.join('\n')));
    for (int i = 0; i < told.size(); ++i)
        QVERIFY2(told.at(i).startsWith(errors.at(i)), qPrintable(told.join('\n')));
    QCOMPARE(loaded.configuration.isEmpty(), !errors.isEmpty());
}

void tst_Configuration::acceptsParameters_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QJsonValue>("value");

    const QJsonValue plain(QJsonArray{"eventCountNo", "torque"});
    const QJsonValue described(QJsonArray{c_descriptor});
    QTest::newRow("plain event keys") << "eventDataKeys" << plain;
    QTest::newRow("plain preset keys") << "presetDataKeys" << plain;
    QTest::newRow("described event keys") << "eventDataKeysV2" << described;
    QTest::newRow("described preset keys of a later generation") << "presetDataKeysV12" << described;
    // What no command of ours reads is left to who does.
    QTest::newRow("unknown name") << "eventDataKeysX" << QJsonValue(5);
    // What matches it against the names that are known must not need a stack for each character.
    constexpr int c_digits = 300000;
    QTest::newRow("endless generation") << "eventDataKeysV" + QString(c_digits, '1') << QJsonValue(5);
    QTest::newRow("known name inside") << "myEventDataKeys" << QJsonValue(true);
    QTest::newRow("suffix without a number") << "eventDataKeysV" << QJsonValue("text");
    QTest::newRow("backup ranges") << "MDgen2_config" << QJsonValue("\"backup_range\": [1-2040];");
    QTest::newRow("backup ranges, other name") << "MDgen2_configuration" << QJsonValue(5);
}

void tst_Configuration::acceptsParameters()
{
    QFETCH(QString, name);
    QFETCH(QJsonValue, value);
    QJsonObject map = objectFrom(c_map);
    map.insert("parameters", QJsonObject{{name, value}});
    write("map.json", QJsonDocument(map).toJson());
    const DLoadedConfiguration loaded = load(path("bench.json"));
    for (const DConfigurationError& error : loaded.errors)
        qWarning("%s", qPrintable(error.toString()));
    QVERIFY(loaded.errors.isEmpty());
    QCOMPARE(loaded.configuration.value("objects")
                 .toArray()
                 .at(1)
                 .toObject()
                 .value("configuration")
                 .toObject()
                 .value("parameters")
                 .toObject()
                 .value(name),
             value);
}

void tst_Configuration::bundledKeyLists_data()
{
    QTest::addColumn<QString>("channel");
    QTest::addColumn<bool>("described");
    // Address or position of the first register; 0 for plain names.
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("size");
    // Beside others.
    QTest::addColumn<QStringList>("expectedNames");

    const QStringList ofEvents{"eventCountNo", "program", "torque",   "angle",
                               "duration",     "result",  "direction"};
    QTest::newRow("eventDataKeys") << "eventData" << false << 0 << 12 << ofEvents;
    QTest::newRow("eventDataKeysV2") << "eventDataV2" << true << 6201 << 16 << ofEvents;
    QTest::newRow("presetDataKeys") << "currentPreset" << false << 0 << 20 << QStringList();
    QTest::newRow("presetDataKeysV2") << "currentPresetV2" << true << 1 << 40 << QStringList();
}

// The bundled lists name every register of their block once.
void tst_Configuration::bundledKeyLists()
{
    QFETCH(QString, channel);
    QFETCH(bool, described);
    QFETCH(int, first);
    QFETCH(int, size);
    QFETCH(QStringList, expectedNames);
    const DLoadedConfiguration loaded = load(MDC_SOURCE_DIRECTORY "/configurations/bench.json");
    QVERIFY2(loaded.errors.isEmpty(), qPrintable(errorText(loaded.errors)));
    const QJsonObject configuration =
        loaded.configuration.value("objects").toArray().at(1).toObject().value("configuration").toObject();
    int configuredSize = 0;
    const QJsonArray channels = configuration.value("channels").toArray();
    for (const QJsonValue& one : channels) {
        const QJsonArray values = one["value"].toArray();
        for (const QJsonValue& value : values) {
            if (one["id"] == channel && value["id"] == QString("size"))
                configuredSize = value["value"].toInt();
        }
    }
    QCOMPARE(configuredSize, size);

    const QJsonArray keys =
        configuration.value("parameters").toObject().value(QTest::currentDataTag()).toArray();
    QSet<QString> names;
    QSet<QString> types;
    int next = first;
    for (const QJsonValue& key : keys) {
        names.insert(described ? key["parameter_name"].toString() : key.toString());
        types.insert(key["type"].toString());
        if (described) {
            QCOMPARE(key["start_address"].toInt(), next);
            QVERIFY(key["end_address"].toInt() >= next);
            QVERIFY(key["type"] != QString("float") || key["end_address"].toInt() == next + 1);
            next = key["end_address"].toInt() + 1;
        }
    }
    QCOMPARE(names.size(), keys.size());
    if (described) {
        QCOMPARE(next, first + size);
        QCOMPARE(types, (QSet<QString>{"int", "list", "float"}));
    } else {
        QCOMPARE(keys.size(), size);
    }
    for (const QString& name : expectedNames)
        QVERIFY2(names.contains(name), qPrintable(name));
}

void tst_Configuration::schemaCheck()
{
    const QJsonObject schema = objectFrom(
        R"({"type": "object", "properties": {"a": {"type": "integer", "description": "a number"}}})");
    QVERIFY(checkAgainstSchema(QJsonObject{{"a", 1}}, schema).isEmpty());
    const QList<DSchemaError> errors = checkAgainstSchema(QJsonObject{{"a", true}}, schema);
    QCOMPARE(errors.size(), 1);
    QCOMPARE(errors.at(0).path, QString("/a"));
    QCOMPARE(errors.at(0).message, QString("true is not allowed; needed is a number"));
    QCOMPARE(checkAgainstSchema(QJsonValue("text"), schema).at(0).path, QString());
}

namespace {

QJsonObject referred(const QJsonObject& node, const QJsonObject& schema)
{
    const QString name = node.value("$ref").toString().section('/', -1);
    QJsonObject target = schema.value("definitions").toObject().value(name).toObject();
    for (auto it = node.begin(); it != node.end(); ++it)
        target.insert(it.key(), it.value());
    target.remove("$ref");
    return target;
}

// What an editor shows of each key, and an example that is as the schema says.
void explain(const QJsonObject& node, const QJsonObject& schema, const QString& place)
{
    const QJsonObject whole = referred(node, schema);
    for (const char* const key : {"title", "description"})
        QVERIFY2(!whole.value(key).toString().isEmpty(), qPrintable(QString("%1 has no %2").arg(place, key)));
    QVERIFY2(whole.contains("examples") || whole.contains("properties") || place.endsWith("/items"),
             qPrintable(place + " has no examples"));
    const QJsonArray examples = whole.value("examples").toArray();
    QJsonObject alone = whole;
    alone.insert("definitions", schema.value("definitions"));
    for (const QJsonValue& example : examples)
        QVERIFY2(checkAgainstSchema(example, alone).isEmpty(),
                 qPrintable(QString("an example of %1: %2")
                                .arg(place, checkAgainstSchema(example, alone).value(0).message)));
}

void explainAll(const QJsonValue& value, const QJsonObject& schema, const QString& place)
{
    const QJsonObject node = value.toObject();
    for (const char* const kind : {"properties", "patternProperties"}) {
        const QJsonObject members = node.value(kind).toObject();
        for (auto it = members.begin(); it != members.end(); ++it) {
            explain(it->toObject(), schema, place + '/' + it.key());
            explainAll(it.value(), schema, place + '/' + it.key());
        }
    }
    if (node.contains("items")) {
        explain(node.value("items").toObject(), schema, place + "/items");
        explainAll(node.value("items"), schema, place + "/items");
    }
    const QJsonArray conditions = node.value("allOf").toArray();
    for (const QJsonValue& condition : conditions) {
        const QJsonValue entry =
            condition.toObject().value("then").toObject().value("properties").toObject().value("value");
        if (entry.isObject())
            explain(entry.toObject(), schema, place + "/then");
    }
}

} // namespace

void tst_Configuration::schemasExplainThemselves_data()
{
    QTest::addColumn<QString>("file");
    QTest::newRow("bench") << "configurations/schema/bench.schema.json";
    QTest::newRow("device") << "configurations/schema/device_configuration.schema.json";
    QTest::newRow("driver") << "plugins/p_driver_modbus/configuration.schema.json";
}

void tst_Configuration::schemasExplainThemselves()
{
    QFETCH(QString, file);
    QFile stored(MDC_SOURCE_DIRECTORY "/" + file);
    QVERIFY(stored.open(QIODevice::ReadOnly));
    const QJsonObject schema = objectFrom(stored.readAll());
    QVERIFY(!schema.isEmpty());
    explainAll(schema, schema, file);
}

QTEST_GUILESS_MAIN(tst_Configuration)
#include "tst_configuration.moc"
