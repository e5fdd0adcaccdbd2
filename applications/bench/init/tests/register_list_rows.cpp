#include "applications/bench/init/tests/register_list_rows.h"

namespace {

QList<RegisterListRow> rowsOfDialects()
{
    const QStringList known{"lockChangeV2.register=6004", "lockChangeV2.writeRegisterType=singleRegister"};
    return {
        {"comma", "Name,Address,Access\nTool lock,6004,W\n", known},
        {"semicolon, with remarks above",
         "Controller X; manual 3.1\n\nName;Address;Access\nTool lock;6004;write\n", known},
        {"tab", "Name\tAddress\tAccess\nTool lock\t6004\tW\n", known},
        {"a bar", "Name|Address|Access\nTool lock|6004|W\n", known},
        {"told separator", "sep=;\nName;Address;Access\nTool lock;6004;W\n", known},
        {"CR LF and a mark", "\xEF\xBB\xBFName;Address;Access\r\nTool lock;6004;W\r\n", known},
        {"UTF-16",
         QByteArray("\xFF\xFE") + QByteArray::fromHex("4e0061006d0065003b00410064006400720065007300"
                                                      "73003b004100630063006500730073000a004c006f00"
                                                      "63006b003b0036003000300034003b0057000a00"),
         known},
        {"Latin-1, French",
         "D\xE9signation;Adresse;Acc\xE8s\nVerrouillage;6004;\xE9"
         "criture\n",
         known},
        {"German", "Bezeichnung;Adresse;Zugriff\nVerriegelung;6004;schreiben\n", known},
        {"quotes, separators and line feeds in a cell",
         "Name,Address,Access\n\"Tool lock, \"\"hard\"\"\nof all kinds\",6004,W\n", known},
        {"columns in another order", "Modbus address;R/W;Description\n6004;W;Tool lock\n", known},
        {"remarks of its own", "# made by hand\nName,Address,Access\n# locks\nTool lock,6004,W\n", known},
    };
}

QList<RegisterListRow> rowsOfAddresses()
{
    const QByteArray head = "Name,Address,Access\n";
    const auto lock = [](int number) {
        return QStringList{QString("lockChangeV2.register=%1").arg(number),
                           "lockChangeV2.writeRegisterType=singleRegister"};
    };
    return {
        {"4xxxx", head + "Tool lock,40107,W\n", lock(107), {}, 2, 1, -1},
        {"4xxxx, wire addresses wanted", head + "Tool lock,40107,W\n", lock(106), {}, 2, 0, 0},
        {"4xxxxx", head + "Tool lock,400107,W\n", lock(107), {}, 2, 1, -1},
        {"4x", head + "Tool lock,4x0107,W\n", lock(107), {}, 2, 1, -1},
        {"3xxxx is read",
         head + "Current program,30019,R\nTool lock,40107,W\n",
         QStringList{"currentPresetV2.readRegisterType=inputRegisters", "currentPresetV2.register=19"} +
             lock(107),
         {},
         2,
         1,
         -1},
        {"0xxxx is a coil",
         head + "Alarm reset,00013,W\nTool lock,40107,W\n",
         QStringList{"alarmReset.register=13", "alarmReset.writeRegisterType=coils"} + lock(107),
         {},
         2,
         1,
         -1},
        {"40107 beside 25000 is plain", head + "Tool lock,40107,W\nDirection,25000,R\n",
         QStringList{"directionV2.readRegisterType=holdingRegisters", "directionV2.register=25000"} +
             lock(40107)},
        {"40107 is plain where the list says so", "# addresses: plain\n" + head + "Tool lock,40107,W\n",
         lock(40107)},
        {"40107 is plain where the table is another",
         "Name,Address,Access,Table\nTool lock,40107,W,Holding\nAlarm,813,R,Holding\n",
         QStringList{"alarmV2.readRegisterType=holdingRegisters", "alarmV2.register=813"} + lock(40107)},
        {"from 1 by its heading",
         "Name,Address (1-based),Access\nTool lock,107,W\n",
         lock(107),
         {},
         2,
         1,
         -1},
        {"from 1, offset 0 wanted", "Name,Address (1-based),Access\nTool lock,107,W\n", lock(106), {}, 2, 0},
        {"from 0 by its heading", "Name,Address (0-based),Access\nTool lock,106,W\n", lock(106)},
        {"from 0, offset -1 wanted",
         "Name,Address (0-based),Access\nTool lock,106,W\n",
         lock(107),
         {},
         2,
         -1,
         -1},
        {"from 0 since there is a register 0", head + "Tool lock,107,W\nDirection,0,R\n",
         QStringList{"directionV2.readRegisterType=holdingRegisters", "directionV2.register=0"} + lock(107)},
        {"told base", "# base: 1\n" + head + "Tool lock,107,W\n", lock(107), {}, 2, 1, -1},
        {"nothing told, offset -1 wanted", head + "Tool lock,107,W\n", lock(107), {}, 2, -1, -1},
        {"hexadecimal by itself", head + "Tool lock,0x1774,W\n", lock(6004)},
        {"hexadecimal with an h", head + "Tool lock,1774h,W\n", lock(6004)},
        {"hexadecimal by its heading", "Name,Address (hex),Access\nTool lock,1774,W\n", lock(6004)},
        {"what is no address",
         head + "Tool lock,6004,W\nAlarm,see below,R\nDirection,,R\nMotor run,6102.3,R\nLock,70000,R\n"
                "Torque unit,12-4,R\n,17,R\n",
         lock(6004),
         {"3: \"see below\" is no address", "4: it has no address", "5: \"6102.3\" is a bit of a register",
          "6: 70000 is above 65535", "7: the range \"12-4\" runs backwards", "8: it has no name"}},
        {"below 0 on the wire",
         "Name,Address (1-based),Access\nTool lock,0,W\n",
         {},
         {"2: register -1 is outside"},
         2,
         0},
    };
}

QList<RegisterListRow> rowsOfMeanings()
{
    const QByteArray head = "Name,Address,Access\n";
    const auto written = [](const QString& channel, int number, const QString& type = "singleRegister") {
        return QStringList{QString("%1.register=%2").arg(channel).arg(number),
                           QString("%1.writeRegisterType=%2").arg(channel, type)};
    };
    const auto read = [](const QString& channel, int number, const QString& type = "holdingRegisters") {
        return QStringList{QString("%1.readRegisterType=%2").arg(channel, type),
                           QString("%1.register=%2").arg(channel).arg(number)};
    };
    return {
        {"what is written, by words",
         head +
             "Set direction,1,W\nSelect program,2,W\nTool lock,3,W\nLock of display,4,W\nFault reset,5,W\n",
         written("alarmReset", 5) + written("directionChangeV2", 1) + written("lockChangeV2", 3) +
             written("lockScreenV2", 4) + written("presetChangeV2", 2)},
        {"what is read, by words",
         head + "Direction,1,R\nActive pset,2,R\nTool lock,3,R\nDisplay locked,4,R\nActive alarm,5,R\n"
                "Motor running,6,R\nTorque unit,7,R\n",
         read("alarmV2", 5) + read("currentPresetV2", 2) + read("directionV2", 1) + read("lockV2", 3) +
             read("motorRunV2", 6) + read("screenLockV2", 4) + read("torqueUnitV2", 7)},
        {"what is both is two channels", head + "Direction,9,R/W\n",
         written("directionChangeV2", 9) + read("directionV2", 9)},
        {"nothing said of access", "Name,Address\nChange direction,1\nDirection,2\n",
         written("directionChangeV2", 1) + read("directionV2", 2)},
        {"names of channels, without and with the generation",
         "Channel,Register\nlockChange,1\npresetChangeV2,2\nalarmReset,3\n",
         written("alarmReset", 3) + written("lockChangeV2", 1) + written("presetChangeV2", 2)},
        {"of generation 1",
         "Channel,Register\nlockChange,1\nlockScreenGen1V1,2\npresetChangeV2,3\n",
         written("lockChange", 1) + written("lockScreenGen1V1", 2),
         {"4: it is of generation 2"},
         1},
        {"of generation 1 with its first layout",
         head + "Lock of display,4,W\nTorque unit,7,R\n",
         written("lockScreenGen1V1", 4) + read("torqueUnitGen1V1", 7),
         {},
         1,
         1,
         0,
         1500},
        {"values for people",
         "Name,Address,Access,Type,Length,Scale,Unit\nTorque unit,7,R,,,,\nTool lock,1,W,,,2,V\n"
         "Motor running,9,R,Float CDAB,2,1/100,\"A\"\nDirection,2,R,,,\"0,1\",\"\u00b0\"\n",
         QStringList{"directionV2.scale=0.1", "directionV2.unit=\u00b0", "motorRunV2.encoding=float",
                     "motorRunV2.scale=0.01", "motorRunV2.unit=A", "motorRunV2.wordOrder=lowFirst"} +
             written("lockChangeV2", 1) + read("torqueUnitV2", 7) + read("motorRunV2", 9) +
             read("directionV2", 2)},
        {"a channel of somebody's own", "Channel,Register,Access\nspindleTemperature,77,R\n",
         read("spindleTemperatureV2", 77)},
        {"a name goes before words",
         head + "Tool lock,1,W\nlockChange,2,W\n",
         written("lockChangeV2", 2),
         {"2: \"lockChangeV2\" is line 3 already"}},
        {"functions",
         "Name,Address,Function code\nTool lock,1,16\nSelect program,2,6\nFault reset,3,5\nMotor "
         "running,4,4\n",
         written("alarmReset", 3, "coils") + written("lockChangeV2", 1, "holdingRegisters") +
             read("motorRunV2", 4, "inputRegisters") + written("presetChangeV2", 2)},
        {"what cannot be written",
         "Name,Address,Table,Access\nTool lock,1,Input registers,W\nSelect program,2-3,Holding,W\n",
         {},
         {"2: \"lockChange\" is written, and its table cannot be",
          "3: \"presetChange\" is written as one register, and these are 2"}},
        {"more than there is",
         "Name,Address,Access,Length,Size\nTool lock,1,W,2000000000,\nSelect program,2,W,65536,\n"
         "Direction,3,R,,70000\n",
         read("directionV2", 3),
         {"2: 2000000000 registers are more than there are", "3: register 2 is outside of 0 to 65535"}},
        {"what nobody reads", head + "Serial number,1,R\n", {}, {"2: no command has a use for it"}},
    };
}

QList<RegisterListRow> rowsOfBlocks()
{
    const QStringList block{"eventDataV2.readRegisterType=holdingRegisters", "eventDataV2.register=6201",
                            "eventDataV2.size=6"};
    const QString keys =
        R"(eventDataKeysV2=[{"end_address":6201,"parameter_name":"eventCountNo","start_address":6201,"type":"int"},)"
        R"({"end_address":6202,"parameter_name":"program","start_address":6202,"type":"int"},)"
        R"({"end_address":6204,"parameter_name":"finalTorque","start_address":6203,"type":"float"},)"
        R"({"end_address":6206,"parameter_name":"serial","start_address":6205,"type":"list"}])";
    const QByteArray fields = "Tightening counter,6201,1,UINT16\nProgram number,6202,1,UINT16\n"
                              "Final torque,6203,2,FLOAT\nSerial,6205,2,ASCII\n";
    return {
        {"a block, and what lies in it", "Name,Address,Length,Type\nResult data,6201,6,\n" + fields,
         block + QStringList{keys}},
        {"a block by its group",
         "Group,Name,Address,Length,Type\nResults,Tightening counter,6201,1,UINT16\n"
         "Results,Program number,6202,1,UINT16\nResults,Final "
         "torque,6203,2,FLOAT\nResults,Serial,6205,2,ASCII\n",
         block + QStringList{keys}},
        {"a block under the heading of channels",
         "Channel,Address,Length\neventData,6201,2\nalarmCode,6202,1\nhours,6300,1\n",
         {"eventDataV2.readRegisterType=holdingRegisters", "eventDataV2.register=6201", "eventDataV2.size=2",
          R"(eventDataKeysV2=[{"end_address":6202,"parameter_name":"alarmCode","start_address":6202,"type":"int"}])",
          "hoursV2.readRegisterType=holdingRegisters", "hoursV2.register=6300"}},
        {"a block whose length nobody tells",
         "Channel,Address\neventData,6201\n",
         {"eventDataV2.readRegisterType=holdingRegisters", "eventDataV2.register=6201"}},
        {"units of a block",
         "Name,Address,Length,Type,Unit,Scale\nResult data,6201,3,,,\nTorque,6201,2,FLOAT,Nm,\n"
         "Angle,6203,1,INT,deg,0.1\n",
         {"eventDataV2.readRegisterType=holdingRegisters", "eventDataV2.register=6201", "eventDataV2.size=3",
          R"(eventDataV2.values={"angle":{"scale":0.1,"unit":"deg"},"torque":{"scale":0.01,"unit":"Nm"}})",
          R"(eventDataKeysV2=[{"end_address":6202,"parameter_name":"torque","start_address":6201,"type":"float"},)"
          R"({"end_address":6203,"parameter_name":"angle","start_address":6203,"type":"int"}])"}},
        {"swapped words are no float",
         "Name,Address,Length,Type\nResult data,6201,2,\nTorque,6201,2,Float CDAB\n",
         {"eventDataV2.readRegisterType=holdingRegisters", "eventDataV2.register=6201", "eventDataV2.size=2",
          R"(eventDataKeysV2=[{"end_address":6202,"parameter_name":"torque","start_address":6201,"type":"list"}])"}},
        {"generation 1 names each register",
         "Name,Address,Length\nResult data,5201,4\nCounter,5201,1\nTorque,5203,2\n",
         {"eventData.readRegisterType=holdingRegisters", "eventData.register=5201", "eventData.size=4",
          R"(eventDataKeys=["eventCountNo","reserved2","torque","torque2"])"},
         {},
         1},
        {"programs by their beginnings",
         "Name,Address\nProgram 1,1\nProgram 2,41\nProgram 3,81\n",
         {"currentPresetV2.size=40", "presetsV2.size=3"}},
        {"programs by their ranges",
         "Name,Address\nPreset 1,1-20\nPreset 2,21-40\n",
         {"currentPresetV2.size=20", "presetsV2.size=2"}},
        {"programs elsewhere",
         "Name,Address\nProgram 1,101\nProgram 2,141\n",
         {},
         {"2: programs do not lie one behind the other from register 1 on", "3: programs do not lie"}},
        {"a program that nobody has",
         "Name,Address\nProgram 2000000000,1-60000\n",
         {},
         {"2: programs do not lie"}},
        {"programs by channels",
         "Channel,Register,Size,Access\ncurrentPreset,6103,40,R\npresets,,50,R\n",
         {"currentPresetV2.readRegisterType=holdingRegisters", "currentPresetV2.register=6103",
          "currentPresetV2.size=40", "presetsV2.readRegisterType=holdingRegisters", "presetsV2.size=50"}},
        {"what a program holds",
         "Group,Name,Address,Length,Type\n,Program 1,1,3,\n,Program 2,4,3,\nProgram 1,Target "
         "torque,1,2,float\nProgram 1,Steps,3,1,\n",
         {"currentPresetV2.size=3", "presetsV2.size=2",
          R"(presetDataKeysV2=[{"end_address":2,"parameter_name":"targetTorque","start_address":1,"type":"float"},)"
          R"({"end_address":3,"parameter_name":"steps","start_address":3,"type":"int"}])"}},
    };
}

} // namespace

QList<RegisterListRow> registerListRows()
{
    return rowsOfDialects() + rowsOfAddresses() + rowsOfMeanings() + rowsOfBlocks();
}

QList<UnreadableListRow> unreadableListRows()
{
    return {
        {"nothing", "", "is a heading with an address and a name"},
        {"no heading", "Tool lock,6004,W\nMotor,6102,R\n", "is a heading"},
        {"no rows", "Name,Address\n", "no row below the heading"},
        {"no good row", "Name,Address\nx,y\n", "no row below the heading"},
        {"bytes", QByteArray("\x00\x01\x02\xff\n\x00", 6), "is a heading"},
    };
}
