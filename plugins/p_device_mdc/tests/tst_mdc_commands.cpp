#include "command_bench.h"

#include "d_cmd_getInfo.h"
#include "log_line.h"
#include "model/identification_block.h"
#include "register_map.h"

#include <QPointer>
#include <QSignalSpy>
#include <QtTest>

#include <memory>

namespace {

// Words stand in the block low byte first.
QByteArray block(int length, quint16 family, quint16 tool, quint16 version, const QByteArray& serial)
{
    QByteArray bytes(2, '\xEE');
    for (const quint16 word : {family, tool, version}) {
        bytes.append(static_cast<char>(word & 0xFFU));
        bytes.append(static_cast<char>(word >> 8U));
    }
    bytes.append(serial);
    return bytes.leftJustified(length, '\x55', true);
}

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (const int value : values)
        result.append(static_cast<char>(value));
    return result;
}

QVariantMap informationReply(const QByteArray& info)
{
    return {{"deviceInformation", QVariantMap{{"info", info}}}};
}

QString recordText(const QString& controller, const QString& tool, const QString& version,
                   const QString& serial, int generation)
{
    return QStringLiteral(
               "[{id=QString:controllerModel, name=QString:DCmdGetInfo_Controller_model, value=QString:%1}, "
               "{id=QString:screwdriverModel, name=QString:DCmdGetInfo_Screwdriver_model, value=QString:%2}, "
               "{id=QString:version, name=QString:DCmdGetInfo_Version, value=QString:%3}, "
               "{id=QString:screwdriverSN, name=QString:DCmdGetInfo_Screwdriver_S_N, value=QString:%4}, "
               "{id=QString:softwareVersion, name=QString:DCmdGetInfo_Software_version, value=int:%5}]")
        .arg(controller, tool, version, serial, QString::number(generation));
}

// As many words as the bench's generation 1 stores of a preset.
QVariantList presetWords(int count)
{
    QVariantList words;
    for (int number = 1; number <= count; ++number)
        words.append(number * 10);
    return words;
}

} // namespace

class TestMdcCommands : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declarations_data();
    void declarations();
    void copies_data();
    void copies();
    void executes_data();
    void executes();
    void refusedInstruction_data();
    void refusedInstruction();
    void replies_data();
    void replies();
    void resultsAfterTheEnd_data();
    void resultsAfterTheEnd();
    void logSourceNames_data();
    void logSourceNames();
    void toolModels_data();
    void toolModels();
    void blocks_data();
    void blocks();
    void blockLengths();
    void versionTexts_data();
    void versionTexts();
    void references_data();
    void references();
    void informationSetsProperties();
    void informationKeepsTheLastReference();
    void informationWithoutADeviceParent();
};

void TestMdcCommands::declarations_data()
{
    QTest::addColumn<QString>("description");
    QTest::addColumn<QStringList>("parameters");
    QTest::addColumn<QStringList>("results");
    QTest::addColumn<QString>("stopName");

    const QString notStopped;
    const QString listened = QStringLiteral("stopListening");
    const QString changed = QStringLiteral(
        "Recieving events of the connected device and send a notification when the value changed");
    QTest::newRow("getInfo") << "Get the connected device information"
                             << QStringList{"reference|strg|Channel of the first gpio|QString:"}
                             << QStringList{"deviceInformation|varL|Return device information|invalid"}
                             << notStopped;
    QTest::newRow("setDirection")
        << "Set the direction of rotation of the screwdriver"
        << QStringList{"direction|ui16|Direction of rotation of the screwdriver (0: Forward 1: Loosening)|"
                       "QString:"}
        << QStringList{"doneOk|bool|lock done|invalid"} << notStopped;
    QTest::newRow("setProgram") << "Set the tightening program by its number"
                                << QStringList{"program|ui16|Program number|invalid"}
                                << QStringList{"doneOk|bool|lock done|invalid"} << notStopped;
    QTest::newRow("SetTriggerProgram") << "Set the tightening program by its number"
                                       << QStringList{"resetMode|bool|Reset program 15|bool:false"}
                                       << QStringList{"doneOk|bool|lock done|invalid"} << notStopped;
    QTest::newRow("setLock")
        << "Set the lock state of the screwdriver Driver Lock"
        << QStringList{"lock|ui16|Lock state (0: Unlock 1: Lock all directions 2: Lock Loosening 3: Lock "
                       "Fastening)|QString:"}
        << QStringList{"lockStatus|strg|Chaine de caracters indiquant l'etat du lock|invalid",
                       "fasteningLocked|bool|Etat du lock en mode serrage|invalid",
                       "looseningLocked|bool|Etat du lock en mode desserrage|invalid",
                       "doneOk|bool|lock done|invalid"}
        << notStopped;
    QTest::newRow("setLockScreen") << "Set the lock screen" << QStringList{}
                                   << QStringList{"doneOk|bool|lock done|invalid"} << notStopped;
    QTest::newRow("listenEventsData") << "Return the mesured value on the GPIO pin" << QStringList{}
                                      << QStringList{"values|vart|" + changed + "|invalid"} << listened;
    QTest::newRow("listenMotorRunState") << "Return the mesured value on the GPIO pin" << QStringList{}
                                         << QStringList{"isRunning|bool|" + changed + "|invalid"} << listened;
    QTest::newRow("getPresetData") << "Return the mesured value on GPIO pins"
                                   << QStringList{"preset|int|Channel of the first gpio|invalid"}
                                   << QStringList{"presetData|varM|Return event data values|invalid"}
                                   << notStopped;
    QTest::newRow("backup") << "Backup all mdc registers"
                            << QStringList{"backupName|strg|Backup name|invalid",
                                           "folderPath|strg|Folder path|invalid"}
                            << QStringList{"filePath|strg|full path of the written file|invalid",
                                           "doneOk|bool|backup status|invalid",
                                           "errorMessage|strg|translated failure text|invalid"}
                            << notStopped;
    QTest::newRow("restoreBackup") << "Restore mdc registers"
                                   << QStringList{"filePath|strg|Backup file path|QString:",
                                                  "startPreset|int|Start preset|int:0",
                                                  "endPreset|int|End preset|int:0",
                                                  "loadControllerParams|bool|Load controller parameters|"
                                                  "invalid"}
                                   << QStringList{"statusData|vart|Restoring progress/status|invalid"}
                                   << listened;
    QTest::newRow("resetAlarm") << "Set the lock state of the screwdriver Driver Lock" << QStringList{}
                                << QStringList{} << notStopped;
    QTest::newRow("getRegister") << "Return the mesured value on GPIO pins"
                                 << QStringList{"channel|strg|Channel name|invalid"}
                                 << QStringList{"values|vart|Return register data values|invalid"}
                                 << notStopped;
}

void TestMdcCommands::declarations()
{
    QFETCH(QString, description);
    QFETCH(QStringList, parameters);
    QFETCH(QStringList, results);
    QFETCH(QString, stopName);
    const QString name = QTest::currentDataTag();

    PDeviceMdc device;
    device.initPluginCommands();
    QCOMPARE(device.getFunctionDescription(name), description);
    const auto entries = [&](const QString& kind) {
        QStringList texts;
        const QVariantList list = device.getCommandParameters(name).value(kind).toList();
        for (const QVariant& item : list) {
            const QVariantMap entry = item.toMap();
            texts.append(entry.value("id").toString() + '|' + entry.value("type").toString() + '|' +
                         entry.value("description").toString() + '|' + typedText(entry.value("default")));
        }
        return texts;
    };
    QCOMPARE(entries("parameters"), parameters);
    QCOMPARE(entries("results"), results);

    const std::unique_ptr<DAbstractCommand> command = prototype(name, &device);
    QCOMPARE(command->commandName(), name);
    QCOMPARE(command->stopCommandName(), stopName);
    QVERIFY(command->isValid());
    QCOMPARE(command->isRecurrent(), !stopName.isEmpty());
    QCOMPARE(command->commandArguments(), QVariantMap());
}

void TestMdcCommands::copies_data()
{
    QTest::addColumn<QByteArray>("className");
    QTest::newRow("getInfo") << QByteArray("DCmdGetInfo");
    QTest::newRow("setDirection") << QByteArray("DCmdSetDirection");
    QTest::newRow("setProgram") << QByteArray("DCmdSetProgram");
    QTest::newRow("SetTriggerProgram") << QByteArray("DCmdSetTriggerProgram");
    QTest::newRow("setLock") << QByteArray("DCmdSetLock");
    QTest::newRow("setLockScreen") << QByteArray("DCmdSetLockScreen");
    QTest::newRow("listenEventsData") << QByteArray("DCmdListenEvents");
    QTest::newRow("listenMotorRunState") << QByteArray("DCmdListenMotorRun");
    QTest::newRow("getPresetData") << QByteArray("DCmdGetPresetData");
    QTest::newRow("backup") << QByteArray("DCmdBackup");
    QTest::newRow("restoreBackup") << QByteArray("DCmdRestore");
    QTest::newRow("resetAlarm") << QByteArray("DCmdResetAlarm");
    QTest::newRow("getRegister") << QByteArray("DCmdGetRegister");
}

void TestMdcCommands::copies()
{
    QFETCH(QByteArray, className);
    PDeviceMdc device;
    const QVariantMap arguments{{"key", 7}};
    const std::unique_ptr<DAbstractCommand> original = prototype(QTest::currentDataTag(), &device);
    QSharedPointer<ICommand> copy = original->createCommand(arguments);
    QCOMPARE(copy->commandArguments(), arguments);
    const QPointer<QObject> object = dynamic_cast<QObject*>(copy.data());
    QVERIFY(!object.isNull());
    QCOMPARE(QByteArray(object->metaObject()->className()), className);
    QCOMPARE(object->parent(), &device);
    copy.clear();
    QVERIFY2(object.isNull(), "the pointer owns the command although it has a parent");
}

void TestMdcCommands::executes_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QVariantMap>("arguments");
    QTest::addColumn<QVariant>("softwareVersion");
    QTest::addColumn<int>("parent");
    QTest::addColumn<bool>("open");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("sent");
    QTest::addColumn<QStringList>("logged");

    const QVariant none;
    const QStringList nothing;
    const auto write = [](const char* data, int address, const char* type = "singleRegister") {
        return QStringList{
            QStringLiteral("driver write {data=%1, register=int:%2, registerType=QString:%3} 3000")
                .arg(data, QString::number(address), type)};
    };
    const auto read = [](int address, const char* type = "holdingRegisters") {
        return QStringList{QStringLiteral("driver read {register=int:%1, registerType=QString:%2} 3000")
                               .arg(QString::number(address), type)};
    };
    const auto row = [](const char* title, const char* command, const QVariantMap& arguments,
                        const QVariant& version, Parent parent, bool open, bool ok, const QStringList& sent,
                        const QStringList& logged) {
        QTest::addRow("%s: %s", command, title)
            << QString(command) << arguments << version << int(parent) << open << ok << sent << logged;
    };

    const QStringList information{"driver deviceInformation {} 3000"};
    row("good", "getInfo", {}, none, CeDevice, true, true, information, {});
    row("sends before the base refuses", "getInfo", {}, none, CeDevice, false, false, information, {});
    row("foreign parent", "getInfo", {}, none, CeForeign, true, true, information, {});
    row("no parent", "getInfo", {}, none, CeNoParent, true, true, information, {});

    const QVariantMap direction{{"direction", 1u}};
    const char* const c_direction = "setDirection";
    row("good", c_direction, direction, 1, CeDevice, true, true, write("uint:1", 5001), {});
    row("data as text goes unchanged", c_direction, {{"direction", "1"}}, 1, CeDevice, true, true,
        write("QString:1", 5001), {});
    row("data out of range goes unchanged", c_direction, {{"direction", -5}}, 1, CeDevice, true, true,
        write("int:-5", 5001), {});
    row("no argument: the declared default", c_direction, {}, 1, CeDevice, true, true,
        write("QString:", 5001), {});
    row("base refuses", c_direction, direction, 1, CeDevice, false, false, nothing, {});
    row("base refuses before the parent counts", c_direction, direction, 1, CeForeign, false, false, nothing,
        {});
    row("foreign parent", c_direction, direction, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdSetDirection: parent is not PDeviceMdc"});
    row("no parent", c_direction, direction, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdSetDirection: parent is not PDeviceMdc"});
    row("no version", c_direction, direction, none, CeDevice, true, true, write("uint:1", 5001),
        {c_noVersion});
    row("null text as version", c_direction, direction, QString(), CeDevice, true, true,
        write("uint:1", 5001), {c_noVersion});
    row("version 0", c_direction, direction, 0, CeDevice, true, true, write("uint:1", 5001), {});
    row("version 2", c_direction, direction, 2, CeDevice, true, true,
        write("uint:1", 6001, "holdingRegisters"), {});
    row("version 2 as text", c_direction, direction, "2", CeDevice, true, true,
        write("uint:1", 6001, "holdingRegisters"), {});
    row("version 65538 is 2", c_direction, direction, 65538, CeDevice, true, true,
        write("uint:1", 6001, "holdingRegisters"), {});
    row("version 65537 is 1", c_direction, direction, 65537, CeDevice, true, true, write("uint:1", 5001), {});
    row("version 65536 is 0", c_direction, direction, 65536, CeDevice, true, true, write("uint:1", 5001), {});
    row("address 70001 is 4465", c_direction, direction, 65535, CeDevice, true, true, write("uint:1", 4465),
        {});
    row("no entry for the version", c_direction, direction, 9, CeDevice, true, true, write("uint:1", 0, ""),
        {});

    const QVariantMap program{{"program", 12u}};
    const char* const c_program = "setProgram";
    row("good", c_program, program, 1, CeDevice, true, true, write("uint:12", 5002), {});
    row("no argument", c_program, {}, 1, CeDevice, true, true, write("invalid", 5002), {});
    row("base refuses", c_program, program, 1, CeDevice, false, false, nothing, {});
    row("foreign parent", c_program, program, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdSetProgram: parent is not PDeviceMdc"});
    row("no parent", c_program, program, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdSetProgram: parent is not PDeviceMdc"});
    row("no version", c_program, program, none, CeDevice, true, true, write("uint:12", 5002), {c_noVersion});
    row("version 2", c_program, program, 2, CeDevice, true, true, write("uint:12", 6002), {});
    row("version 3", c_program, program, 3, CeDevice, true, true, write("uint:12", 7002), {});
    row("no entry for the version", c_program, program, 9, CeDevice, true, true, write("uint:12", 0, ""), {});

    const char* const c_alarm = "resetAlarm";
    row("good", c_alarm, {}, 1, CeDevice, true, true, write("int:1", 5003), {});
    row("base refuses", c_alarm, {}, 1, CeDevice, false, false, nothing, {});
    row("foreign parent does not matter", c_alarm, {}, 1, CeForeign, true, true, write("int:1", 5003), {});
    row("no parent: no entry", c_alarm, {}, 1, CeNoParent, true, true, write("int:1", 0, ""), {});
    row("no version: not asked for", c_alarm, {}, none, CeDevice, true, true, write("int:1", 5003), {});
    row("version 2: never versioned", c_alarm, {}, 2, CeDevice, true, true, write("int:1", 5003), {});
    row("version 3: never versioned", c_alarm, {}, 3, CeDevice, true, true, write("int:1", 5003), {});

    const QVariantMap channel{{"channel", "direction"}};
    const QVariantMap pressure{{"channel", "pressure"}};
    const char* const c_read = "getRegister";
    row("good", c_read, channel, 1, CeDevice, true, true, read(5101), {});
    row("base refuses", c_read, channel, 1, CeDevice, false, false, nothing, {});
    row("foreign parent", c_read, channel, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdGetRegister: parent is not PDeviceMdc"});
    row("no parent", c_read, channel, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdGetRegister: parent is not PDeviceMdc"});
    row("no version", c_read, channel, none, CeDevice, true, true, read(5101), {c_noVersion});
    row("version 2", c_read, channel, 2, CeDevice, true, true, read(6101, "inputRegisters"), {});
    row("address 70000 is 4464", c_read, pressure, 1, CeDevice, true, true, read(4464), {});
    row("version 3", c_read, pressure, 3, CeDevice, true, true, read(65535, "coils"), {});
    row("address 65536 is 0", c_read, {{"channel", "last"}}, 1, CeDevice, true, true, read(0), {});
    row("unknown channel", c_read, {{"channel", "nowhere"}}, 1, CeDevice, true, true, read(0, ""), {});
    row("no argument", c_read, {}, 1, CeDevice, true, true, read(0, ""), {});

    const QVariantMap lock{{"lock", 1u}};
    const char* const c_lock = "setLock";
    row("good", c_lock, lock, 1, CeDevice, true, true, write("int:1", 5004), {});
    row("data as text is a number", c_lock, {{"lock", "2"}}, 1, CeDevice, true, true, write("int:2", 5004),
        {});
    row("data out of range: its low 16 bits", c_lock, {{"lock", 65539}}, 1, CeDevice, true, true,
        write("int:3", 5004), {});
    row("no argument: the declared default is 0", c_lock, {}, 1, CeDevice, true, true, write("int:0", 5004),
        {});
    row("base refuses", c_lock, lock, 1, CeDevice, false, false, nothing, {});
    row("base refuses before the parent counts", c_lock, lock, 1, CeForeign, false, false, nothing, {});
    row("foreign parent", c_lock, lock, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdSetLock: parent is not PDeviceMdc"});
    row("no parent", c_lock, lock, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdSetLock: parent is not PDeviceMdc"});
    row("no version", c_lock, lock, none, CeDevice, true, true, write("int:1", 5004), {c_noVersion});
    row("version 0", c_lock, lock, 0, CeDevice, true, true, write("int:1", 5004), {});
    row("version 2", c_lock, lock, 2, CeDevice, true, true, write("int:1", 6004, "holdingRegisters"), {});
    row("version 65538 is 2", c_lock, lock, 65538, CeDevice, true, true,
        write("int:1", 6004, "holdingRegisters"), {});
    row("address 70004 is 4468", c_lock, lock, 3, CeDevice, true, true, write("int:1", 4468), {});
    row("no entry for the version", c_lock, lock, 9, CeDevice, true, true, write("int:1", 0, ""), {});

    // Without the firmware number, which goes with the version as one answer of the controller.
    const char* const c_screen = "setLockScreen";
    row("firmware unknown", c_screen, {}, 1, CeDevice, true, true, write("int:0", 5005), {c_noVersions});
    row("firmware unknown, version 2", c_screen, {}, 2, CeDevice, true, true, write("int:0", 5005),
        {c_noVersions});
    row("no version", c_screen, {}, none, CeDevice, true, true, write("int:0", 5005), {c_noVersions});
    row("base refuses", c_screen, {}, 1, CeDevice, false, false, nothing, {});
    row("foreign parent: silence", c_screen, {}, 1, CeForeign, true, false, nothing, {});
    row("no parent: silence", c_screen, {}, 1, CeNoParent, true, false, nothing, {});

    const auto readOne = [](int address) {
        return QStringList{QStringLiteral("driver read {dataSize=int:1, register=int:%1, "
                                          "registerType=QString:holdingRegisters} 3000")
                               .arg(address)};
    };
    const char* const c_trigger = "SetTriggerProgram";
    row("firmware unknown", c_trigger, {}, 1, CeDevice, true, true, readOne(281), {c_noVersions});
    row("firmware unknown, version 2", c_trigger, {}, 2, CeDevice, true, true, readOne(281), {c_noVersions});
    row("no version", c_trigger, {}, none, CeDevice, true, true, readOne(281), {c_noVersions});
    row("base refuses", c_trigger, {}, 1, CeDevice, false, false, nothing, {});
    row("foreign parent: silence", c_trigger, {}, 1, CeForeign, true, false, nothing, {});
    row("no parent: silence", c_trigger, {}, 1, CeNoParent, true, false, nothing, {});

    const auto listen = [](int address, int size, const char* type) {
        return QStringList{QStringLiteral("driver listen {dataSize=int:%1, recurrentInterval=int:100, "
                                          "register=int:%2, registerType=QString:%3} 3000")
                               .arg(QString::number(size), QString::number(address), type)};
    };
    const char* const c_events = "listenEventsData";
    row("good", c_events, {}, 1, CeDevice, true, true, listen(5200, 3, "holdingRegisters"), {});
    row("base refuses", c_events, {}, 1, CeDevice, false, false, nothing, {});
    row("foreign parent", c_events, {}, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdListenEvents: parent is not PDeviceMdc"});
    row("no parent", c_events, {}, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdListenEvents: parent is not PDeviceMdc"});
    row("no version", c_events, {}, none, CeDevice, true, true, listen(5200, 3, "holdingRegisters"),
        {c_noVersion});
    row("version 0", c_events, {}, 0, CeDevice, true, true, listen(5200, 3, "holdingRegisters"), {});
    row("version 2", c_events, {}, 2, CeDevice, true, true, listen(6200, 12, "inputRegisters"), {});
    row("version 65538 is 2", c_events, {}, 65538, CeDevice, true, true, listen(6200, 12, "inputRegisters"),
        {});
    row("address 70200 is 4664, size 65538 is 2", c_events, {}, 3, CeDevice, true, true,
        listen(4664, 2, "inputRegisters"), {});
    row("no entry for the version", c_events, {}, 9, CeDevice, true, true, listen(0, 0, ""), {});

    const char* const c_motor = "listenMotorRunState";
    row("good", c_motor, {}, 1, CeDevice, true, true, listen(5102, 1, "holdingRegisters"), {});
    row("base refuses", c_motor, {}, 1, CeDevice, false, false, nothing, {});
    row("foreign parent", c_motor, {}, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdListenMotorRun: parent is not PDeviceMdc"});
    row("no parent", c_motor, {}, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdListenMotorRun: parent is not PDeviceMdc"});
    row("no version", c_motor, {}, none, CeDevice, true, true, listen(5102, 1, "holdingRegisters"),
        {c_noVersion});
    row("version 2", c_motor, {}, 2, CeDevice, true, true, listen(6102, 1, "coils"), {});
    row("version 65538 is 2", c_motor, {}, 65538, CeDevice, true, true, listen(6102, 1, "coils"), {});
    row("address 70102 is 4566", c_motor, {}, 3, CeDevice, true, true, listen(4566, 1, "coils"), {});
    row("no entry for the version", c_motor, {}, 9, CeDevice, true, true, listen(0, 1, ""), {});

    const auto readPreset = [](int address, int size, const char* type) {
        return QStringList{
            QStringLiteral("driver read {dataSize=int:%1, register=int:%2, registerType=QString:%3} 3000")
                .arg(QString::number(size), QString::number(address), type)};
    };
    const QVariantMap first{{"preset", 1}};
    const char* const c_preset = "getPresetData";
    row("good", c_preset, first, 1, CeDevice, true, true, readPreset(1, 20, "holdingRegisters"), {});
    row("base refuses", c_preset, first, 1, CeDevice, false, false, nothing, {});
    row("foreign parent", c_preset, first, 1, CeForeign, true, false, nothing,
        {"ERROR: failure to get device pointer"});
    row("no parent", c_preset, first, 1, CeNoParent, true, false, nothing,
        {"ERROR: failure to get device pointer"});
    row("no version", c_preset, first, none, CeDevice, true, true, readPreset(1, 20, "holdingRegisters"),
        {c_noVersion});
    row("version 2", c_preset, first, 2, CeDevice, true, true, readPreset(1, 40, "inputRegisters"), {});
    row("version 2, third", c_preset, {{"preset", 3}}, 2, CeDevice, true, true,
        readPreset(81, 40, "inputRegisters"), {});
    row("version 65538 is 2", c_preset, first, 65538, CeDevice, true, true,
        readPreset(1, 40, "inputRegisters"), {});
    row("register 65561 is 25", c_preset, {{"preset", 1640}}, 2, CeDevice, true, true,
        readPreset(25, 40, "inputRegisters"), {});
    row("the last", c_preset, {{"preset", 8}}, 1, CeDevice, true, true,
        readPreset(141, 20, "holdingRegisters"), {});
    row("as text", c_preset, {{"preset", "3"}}, 1, CeDevice, true, true,
        readPreset(41, 20, "holdingRegisters"), {});
    const auto noPreset = [](const char* given) {
        return QStringList{QStringLiteral("ERROR: failure to get preset value: ") + given};
    };
    row("0", c_preset, {{"preset", 0}}, 1, CeDevice, true, false, nothing, noPreset("QVariant(int, 0)"));
    row("negative", c_preset, {{"preset", -2}}, 1, CeDevice, true, false, nothing,
        noPreset("QVariant(int, -2)"));
    row("no number", c_preset, {{"preset", "first"}}, 1, CeDevice, true, false, nothing,
        noPreset("QVariant(QString, first)"));
    row("no argument", c_preset, {}, 1, CeDevice, true, false, nothing, noPreset("QVariant(Invalid)"));
    row("no entry for the version", c_preset, first, 9, CeDevice, true, false, nothing,
        {"ERROR: failure to get current preset size value"});

    const QStringList askItself{"myself getInfo {} 3000"};
    const char* const c_backup = "backup";
    row("good", c_backup, {}, 1, CeDevice, true, true, askItself, {});
    row("no version: it is about to be read", c_backup, {}, none, CeDevice, true, true, askItself, {});
    row("base refuses", c_backup, {}, 1, CeDevice, false, false, nothing, {});
    row("base refuses before the parent counts", c_backup, {}, 1, CeForeign, false, false, nothing, {});
    row("foreign parent", c_backup, {}, 1, CeForeign, true, false, nothing,
        {"ERROR: DCmdBackup: parent is not PDeviceMdc"});
    row("no parent", c_backup, {}, 1, CeNoParent, true, false, nothing,
        {"ERROR: DCmdBackup: parent is not PDeviceMdc"});

    const char* const c_restore = "restoreBackup";
    row("good", c_restore, {}, 1, CeDevice, true, true, askItself, {});
    row("no version: it is about to be read", c_restore, {}, none, CeDevice, true, true, askItself, {});
    row("base refuses", c_restore, {}, 1, CeDevice, false, false, nothing, {});
    row("foreign parent does not matter", c_restore, {}, 1, CeForeign, true, true, askItself, {});
    row("no parent does not matter", c_restore, {}, 1, CeNoParent, true, true, askItself, {});
}

void TestMdcCommands::executes()
{
    QFETCH(QString, command);
    QFETCH(QVariantMap, arguments);
    QFETCH(QVariant, softwareVersion);
    QFETCH(int, parent);
    QFETCH(bool, open);
    QFETCH(bool, ok);
    QFETCH(QStringList, sent);
    QFETCH(QStringList, logged);

    Bench bench(command, arguments, static_cast<Parent>(parent));
    if (softwareVersion.isValid())
        bench.device().setProperty("softwareVersion", softwareVersion, false);
    bench.order().setOpen(open);
    QCOMPARE(bench.command().commandExecute(), ok);
    QCOMPARE(bench.order().sent(), sent);
    QCOMPARE(bench.order().published(), QStringList());
    QCOMPARE(bench.logged(), logged);
}

void TestMdcCommands::refusedInstruction_data()
{
    PDeviceMdc device;
    device.initPluginCommands();
    const QStringList names = device.commandNames();
    QTest::addColumn<QString>("command");
    for (const QString& name : names) {
        if (prototype(name, nullptr))
            QTest::newRow(qPrintable(name)) << name;
    }
}

// Whether the instruction was taken is not this command's to judge: its order knows.
void TestMdcCommands::refusedInstruction()
{
    QFETCH(QString, command);
    Bench bench(command, {{"preset", 1}});
    bench.identify(1, 3000, "MDC-32");
    bench.order().setTakesInstructions(false);
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.order().published().isEmpty());
}

void TestMdcCommands::replies_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<bool>("ok");
    QTest::addColumn<QStringList>("published");
    QTest::addColumn<QStringList>("logged");
    QTest::addColumn<int>("sentMore");

    const auto values = [](const QVariantList& list) { return QVariantMap{{"values", list}}; };
    const QVariantMap empty;
    const QVariantMap number{{"values", 5}};
    const QVariantMap text{{"values", "1"}};
    const QVariantMap null{{"values", QVariant()}};
    const QVariantMap map{{"values", QVariantMap{{"values", QVariantList{1}}}}};
    const QVariantMap timedOut{{"errorCode", 1}, {"errorMessage", "no answer"}};
    const QVariantMap refused{{"errorCode", 5}, {"errorMessage", "refused"}, {"values", QVariantList{0}}};
    const QStringList nothing;
    const auto row = [](const char* title, const char* command, const QVariantMap& reply, bool ok,
                        const QStringList& published, const QStringList& logged, int sentMore = 0) {
        QTest::addRow("%s: %s", command, title)
            << QString(command) << reply << ok << published << logged << sentMore;
    };
    const QStringList done{"results {doneOk=bool:true}"};
    const QStringList notDone{"results {doneOk=bool:false}"};

    const QStringList notApplied{"ERROR: Direction not applied"};
    const char* const c_direction = "setDirection";
    row("acknowledged", c_direction, values({1}), true, done, {});
    row("any other number", c_direction, values({2}), true, done, {});
    row("negative", c_direction, values({-1}), true, done, {});
    row("as bool", c_direction, values({true}), true, done, {});
    row("more than one", c_direction, values({1, 0}), true, done, {});
    row("first is 0 of more", c_direction, values({0, 1}), false, nothing, notApplied);
    row("0", c_direction, values({0}), false, nothing, notApplied);
    row("no number", c_direction, values({"yes"}), false, nothing, notApplied);
    row("null element", c_direction, values({QVariant()}), false, nothing, notApplied);
    row("empty list", c_direction, values({}), false, nothing, notApplied);
    row("a number, no list", c_direction, number, false, nothing, notApplied);
    row("a text, no list", c_direction, text, false, nothing, notApplied);
    row("a map, no list", c_direction, map, false, nothing, notApplied);
    row("null", c_direction, null, false, nothing, notApplied);
    row("no values", c_direction, empty, true, nothing, {});
    row("failure notice", c_direction, timedOut, true, nothing, {});
    row("refused", c_direction, refused, false, nothing, notApplied);

    const QStringList noValues{"ERROR: Reply data is not in the correct format"};
    const QStringList noList{"ERROR: Values list in reply data is not in the correct format"};
    const QStringList noElement{"ERROR: Reply Values list is empty"};
    const char* const c_program = "setProgram";
    row("acknowledged", c_program, values({1}), true, done, {});
    row("any other number", c_program, values({12}), true, done, {});
    row("more than one", c_program, values({1, 0}), true, done, {});
    row("0", c_program, values({0}), true, notDone, {});
    row("null element", c_program, values({QVariant()}), true, notDone, {});
    row("empty list", c_program, values({}), false, nothing, noElement);
    row("a number, no list", c_program, number, false, nothing, noList);
    row("a text, no list", c_program, text, false, nothing, noList);
    row("a map, no list", c_program, map, false, nothing, noList);
    row("null", c_program, null, false, nothing, noList);
    row("no values", c_program, empty, false, nothing, noValues);
    row("failure notice", c_program, timedOut, false, nothing, noValues);
    row("refused", c_program, refused, true, notDone, {});

    const QStringList ended{"reply {}"};
    const char* const c_alarm = "resetAlarm";
    row("acknowledged", c_alarm, values({1}), true, ended, {});
    row("0", c_alarm, values({0}), true, ended, {});
    row("more than one", c_alarm, values({1, 2}), true, ended, {});
    row("empty list", c_alarm, values({}), true, nothing, noElement);
    row("a number, no list", c_alarm, number, true, nothing, noList);
    row("a map, no list", c_alarm, map, true, nothing, noList);
    row("null", c_alarm, null, true, nothing, noList);
    row("no values", c_alarm, empty, true, nothing, noValues);
    row("failure notice", c_alarm, timedOut, true, nothing, noValues);
    row("refused", c_alarm, refused, true, ended, {});

    const QStringList noKey{"ERROR: Reply does not contain values key"};
    const char* const c_read = "getRegister";
    row("one word", c_read, values({7}), true, {"results {values=[int:7]}"}, {});
    row("four words", c_read, values({1, 2u, 3, 65535}), true,
        {"results {values=[int:1, uint:2, int:3, int:65535]}"}, {});
    row("empty list", c_read, values({}), true, {"results {values=[]}"}, {});
    row("a number, no list", c_read, number, true, {"results {values=int:5}"}, {});
    row("a map, no list", c_read, map, true, {"results {values={values=[int:1]}}"}, {});
    row("null", c_read, null, true, {"results {values=invalid}"}, {});
    row("no values", c_read, empty, false, nothing, noKey);
    row("failure notice", c_read, timedOut, false, nothing, noKey);
    row("refused", c_read, refused, true, {"results {values=[int:0]}"}, {});

    const QStringList unknown{QStringLiteral("results {deviceInformation=%1}")
                                  .arg(recordText("????", "????", QString(), QString(), 1))};
    const char* const c_info = "getInfo";
    row("13 bytes", c_info, informationReply(block(13, 2, 7, 4005, bytes({42, 0, 15, 7, 19}))), true,
        {QStringLiteral("results {deviceInformation=%1}")
             .arg(recordText("MDC-32", "MDC-32", "4.00.5", "1907150042", 2))},
        {});
    row("short block", c_info, informationReply(block(11, 2, 7, 4005, bytes({42, 0, 15}))), true, unknown,
        {});
    row("empty block", c_info, informationReply({}), true, unknown, {});
    row("no block", c_info, {{"deviceInformation", QVariantMap()}}, true, unknown, {});
    row("no map", c_info, {{"deviceInformation", 5}}, true, unknown, {});
    row("null", c_info, {{"deviceInformation", QVariant()}}, true, unknown, {});
    row("no information", c_info, empty, true, nothing, {});
    row("values instead", c_info, values({1}), true, nothing, {});
    row("failure notice", c_info, timedOut, true, nothing, {});

    const QStringList notLocked{"ERROR: Device is not locked as wanted"};
    const QStringList wrongReply{"ERROR: Invalid reply format"};
    const QStringList unlocked{"results {doneOk=bool:true, fasteningLocked=bool:false, "
                               "lockStatus=QString:unlocked, looseningLocked=bool:false}"};
    const char* const c_lock = "setLock";
    row("acknowledged", c_lock, values({1}), true, unlocked, {});
    row("any other number", c_lock, values({2}), true, unlocked, {});
    row("negative", c_lock, values({-1}), true, unlocked, {});
    row("as bool", c_lock, values({true}), true, unlocked, {});
    row("more than one", c_lock, values({1, 0}), true, unlocked, {});
    row("first is 0 of more", c_lock, values({0, 1}), false, nothing, notLocked);
    row("0", c_lock, values({0}), false, nothing, notLocked);
    row("no number", c_lock, values({"yes"}), false, nothing, notLocked);
    row("null element", c_lock, values({QVariant()}), false, nothing, notLocked);
    row("empty list", c_lock, values({}), false, nothing, notLocked);
    row("a number, no list", c_lock, number, false, nothing, notLocked);
    row("a text, no list", c_lock, text, false, nothing, notLocked);
    row("a map, no list", c_lock, map, false, nothing, notLocked);
    row("null", c_lock, null, false, nothing, notLocked);
    row("no values", c_lock, empty, false, nothing, wrongReply);
    row("failure notice", c_lock, timedOut, false, nothing, wrongReply);
    row("refused", c_lock, refused, false, nothing, notLocked);

    const char* const c_screen = "setLockScreen";
    const QStringList asIfUnidentified{c_noVersions};
    const QStringList wrongScreenReply{c_noVersions, "ERROR: Invalid reply format"};
    row("acknowledged", c_screen, values({1}), true, done, asIfUnidentified);
    row("any other number", c_screen, values({2}), true, done, asIfUnidentified);
    row("0", c_screen, values({0}), true, notDone, asIfUnidentified);
    row("false", c_screen, values({false}), true, notDone, asIfUnidentified);
    row("null element", c_screen, values({QVariant()}), true, notDone, asIfUnidentified);
    row("more than one", c_screen, values({1, 2}), true, nothing, wrongScreenReply);
    row("empty list", c_screen, values({}), true, nothing, wrongScreenReply);
    row("a number, no list", c_screen, number, true, nothing, wrongScreenReply);
    row("a text, no list", c_screen, text, true, nothing, wrongScreenReply);
    row("a map, no list", c_screen, map, true, nothing, wrongScreenReply);
    row("null", c_screen, null, true, nothing, wrongScreenReply);
    row("no values", c_screen, empty, true, nothing, wrongScreenReply);
    row("failure notice", c_screen, timedOut, true, nothing, wrongScreenReply);
    row("refused", c_screen, refused, true, notDone, asIfUnidentified);

    const QStringList noWord{c_noVersions,
                             "ERROR: the reply holds no value of register 281 , 0 is saved in its place"};
    const auto stopped = [](const char* error) {
        return QStringList{c_noVersions,
                           QStringLiteral("ERROR: trigger program stopped: the read of register 281 failed "
                                          "with error %1 ; nothing has been written or saved")
                               .arg(error)};
    };
    const char* const c_trigger = "SetTriggerProgram";
    row("one word", c_trigger, values({7}), true, nothing, asIfUnidentified, 1);
    row("0", c_trigger, values({0}), true, nothing, asIfUnidentified, 1);
    row("more than one", c_trigger, values({7, 8}), true, nothing, asIfUnidentified, 1);
    row("no number", c_trigger, values({"seven"}), true, nothing, noWord, 1);
    row("null element", c_trigger, values({QVariant()}), true, nothing, noWord, 1);
    row("empty list", c_trigger, values({}), true, nothing, noWord, 1);
    row("a number, no list", c_trigger, number, true, nothing, noWord, 1);
    row("a map, no list", c_trigger, map, true, nothing, noWord, 1);
    row("null", c_trigger, null, true, nothing, noWord, 1);
    row("no values", c_trigger, empty, true, nothing, noWord, 1);
    row("failure notice", c_trigger, timedOut, false, nothing, stopped("1 no answer"));
    row("refused", c_trigger, refused, false, nothing, stopped("5 refused"));

    const auto unwaited = [](int count, int size, const char* received) {
        return QStringLiteral("ERROR: Command returns unwaited number of data : %1 expected %2 , "
                              "receivedData = %3")
            .arg(QString::number(count), QString::number(size), received);
    };
    const QString notManaged = QStringLiteral("ERROR: Reply data format not managed");
    const QString oneWord = QStringLiteral("QVariant(QVariantList, (QVariant(int, 1)))");
    const QString zeroWord = QStringLiteral("QVariant(QVariantList, (QVariant(int, 0)))");
    const QString oneWordMap =
        QStringLiteral("QVariant(QVariantMap, QMap((values, QVariant(QVariantList, (QVariant(int, 1))))))");
    const QStringList noEvent{"results {values=invalid}"};
    const char* const c_events = "listenEventsData";
    row("as many as the block", c_events, values({7, 250, 65535u}), true,
        {"results {values={angle=uint:65535, eventCountNo=int:-1, torque=int:250}}"}, {});
    row("one word too few", c_events, values({1}), true, noEvent, {unwaited(1, 3, qPrintable(oneWord))});
    row("empty list", c_events, values({}), true, noEvent, {unwaited(0, 3, "QVariant(QVariantList, ())")});
    row("a number, no list", c_events, number, true, noEvent,
        {notManaged, unwaited(0, 3, "QVariant(int, 5)")});
    row("a text, no list", c_events, text, true, noEvent,
        {notManaged, unwaited(0, 3, "QVariant(QString, 1)")});
    row("a map with another number", c_events, map, true, noEvent, {unwaited(1, 3, qPrintable(oneWordMap))});
    row("null", c_events, null, true, noEvent, {notManaged, unwaited(0, 3, "QVariant(Invalid)")});
    row("no values", c_events, empty, false, nothing, noKey);
    row("failure notice", c_events, timedOut, false, nothing, noKey);
    row("refused", c_events, refused, true, noEvent, {unwaited(1, 3, qPrintable(zeroWord))});

    const QStringList running{"results {isRunning=bool:true}"};
    const QStringList standing{"results {isRunning=bool:false}"};
    const char* const c_motor = "listenMotorRunState";
    row("1", c_motor, values({1}), true, running, {});
    row("any other number", c_motor, values({512}), true, running, {});
    row("negative", c_motor, values({-1}), true, running, {});
    row("as bool", c_motor, values({true}), true, running, {});
    row("0", c_motor, values({0}), true, standing, {});
    row("0, unsigned", c_motor, values({0u}), true, standing, {});
    row("null element", c_motor, values({QVariant()}), true, standing, {});
    row("two words", c_motor, values({1, 0}), false, nothing, {});
    row("empty list", c_motor, values({}), false, nothing, {});
    row("a number, no list", c_motor, number, false, nothing, {});
    row("a text, no list", c_motor, text, false, nothing, {});
    row("a map, no list", c_motor, map, false, nothing, {});
    row("null", c_motor, null, false, nothing, {});
    row("no values", c_motor, empty, false, nothing, noKey);
    row("failure notice", c_motor, timedOut, false, nothing, noKey);
    row("refused", c_motor, refused, true, standing, {});

    QVariantMap preset{{"preset", 0}};
    for (int place = 1; place <= 20; ++place)
        preset.insert("p" + QString::number(place), place * 10);
    const char* const c_preset = "getPresetData";
    row("as many as a preset", c_preset, values(presetWords(20)), true,
        {QStringLiteral("results {presetData={presetData=%1}}").arg(typedText(preset))}, {});
    row("one word too few", c_preset, values({1}), true, nothing, {unwaited(1, 20, qPrintable(oneWord))});
    row("empty list", c_preset, values({}), true, nothing, {unwaited(0, 20, "QVariant(QVariantList, ())")});
    row("a number, no list", c_preset, number, true, nothing,
        {notManaged, unwaited(0, 20, "QVariant(int, 5)")});
    row("a text, no list", c_preset, text, true, nothing,
        {notManaged, unwaited(0, 20, "QVariant(QString, 1)")});
    row("a map with another number", c_preset, map, true, nothing, {unwaited(1, 20, qPrintable(oneWordMap))});
    row("null", c_preset, null, true, nothing, {notManaged, unwaited(0, 20, "QVariant(Invalid)")});
    row("no values", c_preset, empty, true, nothing, {});
    row("failure notice", c_preset, timedOut, true, nothing, {});
    row("refused", c_preset, refused, true, nothing, {unwaited(1, 20, qPrintable(zeroWord))});

    const QStringList noBackup{"results {doneOk=bool:false, errorMessage=QString:"
                               "DCmdBackup_deviceMdc_dev_info_data_incorrect_error}",
                               "failed"};
    const QStringList notIdentified{"ERROR: device information is incorrect"};
    const char* const c_backup = "backup";
    row("no information", c_backup, empty, false, noBackup, notIdentified);
    row("values instead", c_backup, values({1}), false, noBackup, notIdentified);
    row("no list", c_backup, {{"deviceInformation", 5}}, false, noBackup, notIdentified);
    row("null", c_backup, {{"deviceInformation", QVariant()}}, false, noBackup, notIdentified);
    row("failure notice", c_backup, timedOut, false, noBackup,
        {"ERROR: device information is incorrect", "error 1 no answer"});

    const QStringList noRestore{"results {statusData={doneOk=int:3, message=QString:"
                                "DCmdRestore_device_info_empty}}",
                                "failed"};
    const QStringList noInformation{"ERROR: device information is empty"};
    const char* const c_restore = "restoreBackup";
    row("no information", c_restore, empty, false, noRestore, noInformation);
    row("values instead", c_restore, values({1}), false, noRestore, noInformation);
    row("no list", c_restore, {{"deviceInformation", 5}}, false, noRestore, noInformation);
    row("null", c_restore, {{"deviceInformation", QVariant()}}, false, noRestore, noInformation);
    row("failure notice", c_restore, timedOut, false, noRestore,
        {"ERROR: device information is empty", "error 1 no answer"});
}

void TestMdcCommands::replies()
{
    QFETCH(QString, command);
    QFETCH(QVariantMap, reply);
    QFETCH(bool, ok);
    QFETCH(QStringList, published);
    QFETCH(QStringList, logged);
    QFETCH(int, sentMore);

    // The one argument that a command cannot do without.
    Bench bench(command, {{"preset", 1}});
    bench.device().setProperty("softwareVersion", 1, false);
    QVERIFY(bench.command().commandExecute());
    QCOMPARE(bench.order().sent().size(), 1);
    QCOMPARE(bench.reply(reply), ok);
    QCOMPARE(bench.order().published(), published);
    QCOMPARE(bench.logged(), logged);
    QCOMPARE(bench.order().sent().size(), 1 + sentMore);
}

// A command whose order has ended cannot publish any more; most say so, some do not look.
void TestMdcCommands::resultsAfterTheEnd_data()
{
    QTest::addColumn<QVariantMap>("reply");
    QTest::addColumn<bool>("ok");
    const QVariantMap acknowledged{{"values", QVariantList{1}}};
    QTest::newRow("setDirection") << acknowledged << true;
    QTest::newRow("setProgram") << acknowledged << false;
    QTest::newRow("resetAlarm") << acknowledged << false;
    QTest::newRow("getRegister") << acknowledged << false;
    QTest::newRow("getInfo") << informationReply({}) << false;
    QTest::newRow("setLock") << acknowledged << true;
    QTest::newRow("setLockScreen") << acknowledged << true;
    QTest::newRow("listenEventsData") << acknowledged << false;
    QTest::newRow("listenMotorRunState") << acknowledged << false;
    QTest::newRow("getPresetData") << QVariantMap{{"values", presetWords(20)}} << false;
    QTest::newRow("backup") << QVariantMap() << false;
    QTest::newRow("restoreBackup") << QVariantMap() << false;
}

void TestMdcCommands::resultsAfterTheEnd()
{
    QFETCH(QVariantMap, reply);
    QFETCH(bool, ok);
    Bench bench(QTest::currentDataTag(), {{"preset", 1}});
    bench.device().setProperty("softwareVersion", 1, false);
    QVERIFY(bench.command().commandExecute());
    bench.order().setOpen(false);
    QCOMPARE(bench.reply(reply), ok);
    QCOMPARE(bench.order().published(), QStringList());
}

void TestMdcCommands::logSourceNames_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QString>("name");
    const QString lock = QStringLiteral("plugins/p_device_mdc/source/d_cmd_setLock");
    QTest::newRow("absolute") << QByteArray("/home/x/plugins/p_device_mdc/source/d_cmd_setLock.cpp") << lock;
    QTest::newRow("from the root") << QByteArray("plugins/p_device_mdc/source/d_cmd_setLock.cpp") << lock;
    QTest::newRow("from a build folder")
        << QByteArray("../../plugins/p_device_mdc/source/d_cmd_setLock.cpp") << lock;
    QTest::newRow("from its folder") << QByteArray("d_cmd_setLock.cpp") << lock;
    QTest::newRow("Windows") << QByteArray("C:\\work\\plugins\\p_device_mdc\\source\\d_cmd_setLock.cpp")
                             << lock;
    QTest::newRow("mixed") << QByteArray("C:\\work/plugins\\p_device_mdc/source\\d_cmd_setLock.cpp") << lock;
    QTest::newRow("dots in folders") << QByteArray("/x.y/plugins/p_device_mdc/source/d_cmd_setLock") << lock;
}

void TestMdcCommands::logSourceNames()
{
    QFETCH(QByteArray, path);
    QFETCH(QString, name);
    QCOMPARE(logSourceName(path.constData()), name);
}

void TestMdcCommands::toolModels_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("mdc");
    QTest::addColumn<QString>("mdtc");
    QTest::addColumn<QString>("bm");
    const char* const u = "????";
    const struct
    {
        int code;
        const char* mdc;
        const char* mdtc;
        const char* bm;
    } c_rows[] = {
        {0, u, u, u},
        {1, "MD2601", "T2604", "3201"},
        {2, "MD2602", "T2611", "3202"},
        {3, "MD2604", "T2616", "3204"},
        {4, "MD2611", "T3204", "3206"},
        {5, "MD2616", "T3211", "3211"},
        {6, "MD3201", "T3216", "3216"},
        {7, "MD3202", "T3228", "3224"},
        {8, "MD3204", "T3258", "3236"},
        {9, "MD3211", "TP3204", "3245"},
        {10, "MD3216", "TP3206", "3264"},
        {11, "MD3236", "TP3211", u},
        {12, "MD3264", "TP3216", u},
        {13, "MD2201", "TP3220", u},
        {14, "MD3208", "TP3224", u},
        {15, "MD3210", "TP3236", u},
        {16, "MD2203", "TP3245", u},
        {17, "MD2202", "TP3264", u},
        {18, "MD3203", "T3208", u},
        {19, u, "T3243", u},
        {20, u, "T2628", u},
        {21, u, "TP3280", u},
        {22, u, u, u},
        {256, u, u, u},
        {65535, u, u, u},
    };
    for (const auto& row : c_rows)
        QTest::addRow("%d", row.code) << row.code << QString(row.mdc) << QString(row.mdtc) << QString(row.bm);
}

void TestMdcCommands::toolModels()
{
    QFETCH(int, code);
    QFETCH(QString, mdc);
    QFETCH(QString, mdtc);
    QFETCH(QString, bm);
    const QByteArray info = block(13, 1, static_cast<quint16>(code), 4000, bytes({0, 0, 0, 0, 0}));
    QCOMPARE(decodeIdentification(info, &mdcToolTable()).toolModel, mdc);
    QCOMPARE(decodeIdentification(info, &mdtcToolTable()).toolModel, mdtc);
    QCOMPARE(decodeIdentification(info, &bmToolTable()).toolModel, bm);
    QCOMPARE(decodeIdentification(info, nullptr).toolModel, QStringLiteral("MDC-26"));
}

void TestMdcCommands::blocks_data()
{
    QTest::addColumn<QByteArray>("info");
    QTest::addColumn<QString>("controller");
    QTest::addColumn<QString>("tool");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QString>("serial");
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("generation");

    // Byte by byte, to hold the order of the bytes of a word: 0x0FA5 is 4005.
    QTest::newRow("13, golden") << QByteArray::fromHex("0000 0200 0700 a50f 2a000f0713") << "MDC-32"
                                << "MD3202"
                                << "4.00.5"
                                << "1907150042" << 4005 << 2;
    QTest::newRow("12, golden") << QByteArray::fromHex("ffff 0100 0d00 210c 7d000307") << "MDC-26"
                                << "MD2201"
                                << "3.10.5"
                                << "07.03.0125" << 3105 << 1;
    QTest::newRow("17, golden") << QByteArray::fromHex("0000 0100 0100 ac0f 01020f040506070809") << "MDT"
                                << "MD2601"
                                << "4.01.2"
                                << "0504150201" << 4012 << 2;

    QTest::newRow("12, family 2") << block(12, 2, 1, 1, bytes({0, 0, 0, 0})) << "MDC-32"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "00.00.0000" << 1 << 1;
    QTest::newRow("12, family 3") << block(12, 3, 1, 1, bytes({0, 0, 0, 0})) << "????"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "00.00.0000" << 1 << 1;
    QTest::newRow("12, family 0") << block(12, 0, 1, 1, bytes({0, 0, 0, 0})) << "????"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "00.00.0000" << 1 << 1;
    QTest::newRow("12, family 256") << block(12, 256, 1, 1, bytes({0, 0, 0, 0})) << "????"
                                    << "MD2601"
                                    << "0.00.1"
                                    << "00.00.0000" << 1 << 1;
    QTest::newRow("12, wide serial") << block(12, 1, 1, 1, bytes({255, 255, 100, 255})) << "MDC-26"
                                     << "MD2601"
                                     << "0.00.1"
                                     << "255.100.65535" << 1 << 1;
    QTest::newRow("13, family 1") << block(13, 1, 1, 1, bytes({1, 2, 3, 4, 5})) << "MDC-26"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "0504030201" << 1 << 1;
    QTest::newRow("13, family 3") << block(13, 3, 1, 1, bytes({1, 2, 3, 4, 5})) << "MDC-22"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "0504030201" << 1 << 1;
    QTest::newRow("13, family 4") << block(13, 4, 1, 1, bytes({1, 2, 3, 4, 5})) << "????"
                                  << "MD2601"
                                  << "0.00.1"
                                  << "0504030201" << 1 << 1;
    QTest::newRow("13, wide serial") << block(13, 1, 1, 1, bytes({99, 100, 255, 9, 10})) << "MDC-26"
                                     << "MD2601"
                                     << "0.00.1"
                                     << "100925510099" << 1 << 1;
    QTest::newRow("13, unknown tool") << block(13, 1, 19, 1, bytes({1, 2, 3, 4, 5})) << "MDC-26"
                                      << "????"
                                      << "0.00.1"
                                      << "0504030201" << 1 << 1;

    const struct
    {
        int family;
        int byte;
        const char* controller;
    } c_long[] = {
        {1, 1, "MD"},    {1, 2, "AD"},   {1, 10, "BM"},    {1, 15, "MDT"}, {1, 19, "BMT"},
        {1, 0, ""},      {1, 3, ""},     {1, 255, ""},     {2, 1, "????"}, {2, 15, "????"},
        {3, 10, "????"}, {0, 1, "????"}, {257, 1, "????"},
    };
    for (const auto& row : c_long) {
        QTest::addRow("17, family %d, byte %d", row.family, row.byte)
            << block(17, static_cast<quint16>(row.family), 2, 3999, bytes({1, 2, row.byte, 4, 5}))
            << QString(row.controller) << "MD2602"
            << "3.99.9"
            << "0504" + QString::number(row.byte).rightJustified(2, '0') + "0201" << 3999 << 1;
    }
}

void TestMdcCommands::blocks()
{
    QFETCH(QByteArray, info);
    QFETCH(QString, controller);
    QFETCH(QString, tool);
    QFETCH(QString, version);
    QFETCH(QString, serial);
    QFETCH(int, number);
    QFETCH(int, generation);

    const Identification found = decodeIdentification(info, &mdcToolTable());
    QCOMPARE(found.controllerModel, controller);
    QCOMPARE(found.toolModel, tool);
    QCOMPARE(found.version, version);
    QCOMPARE(found.serial, serial);
    QCOMPARE(int(found.versionNumber), number);
    QCOMPARE(found.generation, generation);
    QCOMPARE(decodeIdentification(info, nullptr).toolModel, controller);
    // Empty is a value: a reader of the properties takes null for "never set".
    QVERIFY(!found.controllerModel.isNull());
    QVERIFY(!decodeIdentification({}, nullptr).version.isNull());
    QVERIFY(!decodeIdentification({}, nullptr).serial.isNull());
}

void TestMdcCommands::blockLengths()
{
    const QByteArray longest = block(64, 1, 1, 4000, bytes({1, 2, 1, 4, 5}));
    for (int length = 0; length <= longest.size(); ++length) {
        const Identification found = decodeIdentification(longest.left(length), &mdcToolTable());
        const bool known = length == 12 || length == 13 || length == 17;
        const QByteArray place = QByteArray::number(length) + " bytes";
        QVERIFY2(found.controllerModel == (length == 17 ? "MD" : known ? "MDC-26" : "????"), place);
        QVERIFY2(found.toolModel == (known ? "MD2601" : "????"), place);
        QVERIFY2(found.version == (known ? "4.00.0" : ""), place);
        QVERIFY2(found.serial == (length == 12 ? "04.01.0513" : known ? "0504010201" : ""), place);
        QVERIFY2(found.versionNumber == (known ? 4000 : 0), place);
        QVERIFY2(found.generation == (known ? 2 : 1), place);
        QVERIFY2(known || decodeIdentification(longest.left(length), nullptr).toolModel == "????", place);
    }
}

void TestMdcCommands::versionTexts_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("generation");
    QTest::newRow("0") << 0 << "0.00.0" << 1;
    QTest::newRow("9") << 9 << "0.00.9" << 1;
    QTest::newRow("315") << 315 << "0.31.5" << 1;
    QTest::newRow("3105") << 3105 << "3.10.5" << 1;
    QTest::newRow("3999") << 3999 << "3.99.9" << 1;
    QTest::newRow("4000") << 4000 << "4.00.0" << 2;
    QTest::newRow("4012") << 4012 << "4.01.2" << 2;
    QTest::newRow("65535") << 65535 << "65.53.5" << 2;
}

void TestMdcCommands::versionTexts()
{
    QFETCH(int, number);
    QFETCH(QString, text);
    QFETCH(int, generation);
    for (const int length : {12, 13, 17}) {
        const Identification found = decodeIdentification(
            block(length, 1, 1, static_cast<quint16>(number), bytes({0, 0, 0, 0, 0})), nullptr);
        QCOMPARE(found.version, text);
        QCOMPARE(int(found.versionNumber), number);
        QCOMPARE(found.generation, generation);
    }
}

void TestMdcCommands::references_data()
{
    QTest::addColumn<QString>("tool");
    QTest::newRow("MDC") << "MD3202";
    QTest::newRow("MDTC") << "T3228";
    QTest::newRow("BM") << "3224";
    QTest::newRow("MDTC and BM") << "T3228";
    QTest::newRow("BM, MDC") << "MD3202";
    QTest::newRow("MDC before MDTC") << "T3228";
    QTest::newRow("xMDCx") << "MD3202";
    QTest::newRow("mdc mdtc bm") << "MDC-32";
    QTest::newRow("MD TC") << "MDC-32";
    QTest::newRow("") << "MDC-32";
}

void TestMdcCommands::references()
{
    QFETCH(QString, tool);
    Bench bench("getInfo", {{"reference", QString(QTest::currentDataTag())}});
    QVERIFY(bench.command().commandExecute());
    QVERIFY(bench.reply(informationReply(block(13, 2, 7, 4005, bytes({42, 0, 15, 7, 19})))));
    QCOMPARE(bench.order().published(),
             QStringList{QStringLiteral("results {deviceInformation=%1}")
                             .arg(recordText("MDC-32", tool, "4.00.5", "1907150042", 2))});
    QCOMPARE(bench.logged(), QStringList());
}

void TestMdcCommands::informationSetsProperties()
{
    Bench bench("getInfo", {{"reference", "MDC"}});
    QSignalSpy changed(&bench.device(), &DAbstractPlugin::sigPropertyChanged);
    QVERIFY(bench.command().commandExecute());
    const auto changes = [&changed] {
        QStringList texts;
        while (!changed.isEmpty()) {
            const QVariantList change = changed.takeFirst();
            texts.append(change.at(0).toString() + ' ' + typedText(change.at(1).value<QVariant>()) + ' ' +
                         (change.at(2).toBool() ? "persistent" : "session"));
        }
        return texts;
    };

    QVERIFY(bench.reply(informationReply(block(13, 2, 7, 4005, bytes({42, 0, 15, 7, 19})))));
    QCOMPARE(changes(), (QStringList{"softwareVersion int:2 session", "version int:4005 session",
                                     "controllerModel QString:MDC-32 session"}));
    QVERIFY(bench.reply({}));
    QCOMPARE(changes(), QStringList());
    QCOMPARE(bench.device().getProperty("softwareVersion", nullptr), QVariant(2));
    // A block that cannot be read is an answer as well: nothing is known any more.
    QVERIFY(bench.reply(informationReply("short")));
    QCOMPARE(changes(), (QStringList{"softwareVersion int:1 session", "version int:0 session",
                                     "controllerModel QString:???? session"}));
}

void TestMdcCommands::informationKeepsTheLastReference()
{
    PDeviceMdc device;
    FakeOrder order;
    DCmdGetInfo command({{"reference", "BM"}}, &device);
    command.linkWithItsOrder(&order);
    const QVariantMap reply = informationReply(block(13, 2, 7, 4005, bytes({0, 0, 0, 0, 0})));
    QVERIFY(command.rplGetInfo(1, reply));
    QVERIFY(order.published().constLast().contains("id=QString:screwdriverModel, name=QString:"
                                                   "DCmdGetInfo_Screwdriver_model, value=QString:MDC-32"));
    QVERIFY(command.commandExecute());
    QVERIFY(command.rplGetInfo(1, reply));
    QVERIFY(order.published().constLast().contains("id=QString:screwdriverModel, name=QString:"
                                                   "DCmdGetInfo_Screwdriver_model, value=QString:3224"));
}

void TestMdcCommands::informationWithoutADeviceParent()
{
    for (const Parent parent : {CeForeign, CeNoParent}) {
        Bench bench("getInfo", {{"reference", "MDC"}}, parent);
        QVERIFY(bench.command().commandExecute());
        QVERIFY(bench.reply(informationReply(block(13, 2, 7, 4005, bytes({42, 0, 15, 7, 19})))));
        QCOMPARE(bench.logged(), QStringList{"DCmdGetInfo::rplGetInfodeviceInfo: parent is not PDeviceMdc"});
        QCOMPARE(bench.order().published(),
                 QStringList{QStringLiteral("results {deviceInformation=%1}")
                                 .arg(recordText("MDC-32", "MD3202", "4.00.5", "1907150042", 2))});
    }
}

QTEST_GUILESS_MAIN(TestMdcCommands)
#include "tst_mdc_commands.moc"
