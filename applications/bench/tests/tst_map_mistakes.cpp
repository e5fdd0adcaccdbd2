// What people get wrong in a register map, each mistake made in a copy of the sample, held against a
// simulated controller with the right one: what a look at the configuration, or reading from the controller,
// says of it.

#include "applications/bench/check/device_check.h"
#include "applications/bench/probe/probe_findings.h"
#include "applications/bench/probe/write_proof.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "plugins/p_device_mdc/model/command_needs.h"
#include "tests/support/markdown_table.h"
#include "tests/support/sample_bench.h"
#include "tests/support/table_gaps.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QMap>
#include <QSet>
#include <QTest>
#include <QVector>

namespace {

const QString c_holding = "holdingRegisters";
const RegisterTypes c_registerTypes{
    {"holdingRegisters", "singleRegister", "inputRegisters", "coils", "discreteInputs"},
    {"holdingRegisters", "singleRegister", "coils"}};

// How the controller differs from the sample's, and its driver.
struct Circumstances
{
    int wireShift = 0; // of the controller's registers against the map that it has
    int offset = 0;    // "addressOffset" of the driver
    QSet<int> holes;   // registers of the map that are not there
    int mostAtOnce = 125;
    bool isLowFirst = false; // the halves of its floats
    QString refusal;         // of whatever is asked
    bool isSilent = false;
    bool isWriting = false; // the channels that are written are proven too
};

struct Mistake
{
    const char* name;
    std::function<void(QJsonObject& configuration)> make;
    // Parts of one line, in their order: the channel and the remedy among them.
    QStringList finding;
    Circumstances controller = {};
};

using Channels = std::function<void(QJsonObject& channel)>;

void forEveryChannel(QJsonObject& configuration, const Channels& change)
{
    QJsonArray channels = configuration.value("channels").toArray();
    for (int i = 0; i < channels.size(); ++i) {
        QJsonObject channel = channels.at(i).toObject();
        change(channel);
        channels.replace(i, channel);
    }
    configuration.insert("channels", channels);
}

void setEntry(QJsonObject& channel, const QString& entry, const QJsonValue& value)
{
    QJsonArray entries = channel.value("value").toArray();
    for (int i = entries.size() - 1; i >= 0; --i) {
        if (entries.at(i).toObject().value("id") == entry)
            entries.removeAt(i);
    }
    if (!value.isUndefined())
        entries.append(QJsonObject{{"id", entry}, {"value", value}});
    channel.insert("value", entries);
}

// An undefined value takes the entry away.
std::function<void(QJsonObject&)> entry(const QString& id, const QString& name, const QJsonValue& value)
{
    return [=](QJsonObject& configuration) {
        forEveryChannel(configuration, [&](QJsonObject& channel) {
            if (channel.value("id") == id)
                setEntry(channel, name, value);
        });
    };
}

std::function<void(QJsonObject&)> both(const std::function<void(QJsonObject&)>& one,
                                       const std::function<void(QJsonObject&)>& other)
{
    return [=](QJsonObject& configuration) {
        one(configuration);
        other(configuration);
    };
}

std::function<void(QJsonObject&)> at(const QString& id, int address)
{
    return entry(id, "register", address);
}

// Every register that stands in the map, by so many.
std::function<void(QJsonObject&)> allShifted(int step)
{
    return [step](QJsonObject& configuration) {
        forEveryChannel(configuration, [step](QJsonObject& channel) {
            const QJsonArray entries = channel.value("value").toArray();
            for (const QJsonValue& entry : entries) {
                if (entry.toObject().value("id") == QString("register"))
                    setEntry(channel, "register", entry.toObject().value("value").toInt() + step);
            }
        });
        QJsonObject parameters = configuration.value("parameters").toObject();
        QJsonArray keys = parameters.value("eventDataKeysV2").toArray();
        for (int i = 0; i < keys.size(); ++i) {
            QJsonObject key = keys.at(i).toObject();
            for (const char* const end : {"start_address", "end_address"})
                key.insert(end, key.value(end).toInt() + step);
            keys.replace(i, key);
        }
        parameters.insert("eventDataKeysV2", keys);
        configuration.insert("parameters", parameters);
    };
}

// One value of the event block.
std::function<void(QJsonObject&)> eventValue(const QString& name, int first, int last, const QString& type)
{
    return [=](QJsonObject& configuration) {
        QJsonObject parameters = configuration.value("parameters").toObject();
        QJsonArray keys = parameters.value("eventDataKeysV2").toArray();
        for (int i = 0; i < keys.size(); ++i) {
            QJsonObject key = keys.at(i).toObject();
            if (key.value("parameter_name") != name)
                continue;
            key.insert("start_address", first);
            key.insert("end_address", last);
            key.insert("type", type);
            keys.replace(i, key);
        }
        parameters.insert("eventDataKeysV2", keys);
        configuration.insert("parameters", parameters);
    };
}

std::function<void(QJsonObject&)> withChannel(const QString& id, const QJsonObject& entries)
{
    return [=](QJsonObject& configuration) {
        QJsonObject channel{{"id", id}};
        for (auto it = entries.begin(); it != entries.end(); ++it)
            setEntry(channel, it.key(), it.value());
        QJsonArray channels = configuration.value("channels").toArray();
        channels.append(channel);
        configuration.insert("channels", channels);
    };
}

void nothing(QJsonObject& /*configuration*/)
{}

Circumstances holes(const QSet<int>& registers)
{
    Circumstances circumstances;
    circumstances.holes = registers;
    return circumstances;
}

QList<Mistake> shiftedOnes()
{
    Circumstances wantsOffset;
    wantsOffset.wireShift = -1;
    Circumstances wantsNone;
    wantsNone.offset = -1;
    return {
        {"one register too high",
         at("screenLockV2", 6107),
         {"error", "channel screenLockV2", "register 6107", "6106 can be read", "shifted by one"}},
        {"one register too low",
         at("directionV2", 6100),
         {"error", "channel directionV2", "register 6100", "6101 can be read", "shifted by one"}},
        {"a register of another state",
         at("currentPresetV2", 6105),
         {"error", "channel lockV2", "6105", "\"currentPresetV2\" is there too", "→"}},
        {"every register too high",
         allShifted(1),
         {"error", "registers", "shifted by one", "currentPresetV2", "one register lower", "→",
          "every \"register\" of the map by one lower"}},
        {"every register too low",
         allShifted(-1),
         {"error", "registers", "shifted by one", "directionV2", "one register higher", "→",
          "every \"register\" of the map by one higher"}},
        {"the driver's offset is missing",
         nothing,
         {"error", "registers", "shifted by one", "one register lower", "→",
          "\"addressOffset\": -1 in the driver's configuration"},
         wantsOffset},
        {"an offset that is not wanted",
         nothing,
         {"error", "registers", "shifted by one", "one register higher", "→",
          "\"addressOffset\": 0 in the driver's configuration"},
         wantsNone},
        {"the event block begins too high",
         at("eventDataV2", 6202),
         {"error", "listenEventsData, generation 2", "eventCountNo", "6201", "→"}},
        {"a value of the block begins too high",
         eventValue("torque", 6206, 6207, "float"),
         {"error", "channel eventDataV2", "\"torque\"", "6206 to 6207", "→", "where the list has the value"}},
    };
}

QList<Mistake> swappedAndOverlapping()
{
    return {
        {"two states swapped",
         both(at("directionV2", 6103), at("currentPresetV2", 6101)),
         {"error", "channel currentPresetV2", "6101 holds 0", "1 to 50", "→", "swapped",
          "6103 of \"directionV2\" holds 1"}},
        {"an action writes another state",
         at("lockChangeV2", 6101),
         {"error", "channel lockChangeV2", "6101", "writes what \"directionV2\" shows", "→"}},
        {"two states at one register",
         at("motorRunV2", 6101),
         {"error", "channel motorRunV2", "6101", "\"directionV2\" is there too", "→"}},
        {"two actions at one register",
         at("presetChangeV2", 6001),
         {"error", "channel presetChangeV2", "6001", "\"directionChangeV2\" writes it too", "→"}},
        {"a state inside the event block",
         at("alarmV2", 6205),
         {"error", "channel alarmV2", "6205", "the event block", "→"}},
        {"an action inside the stored programs",
         at("directionChangeV2", 601),
         {"error", "channel directionChangeV2", "601", "the stored programs", "→"}},
        {"the event block inside the stored programs",
         at("eventDataV2", 1201),
         {"error", "channel eventDataV2", "1201 to 1216", "the stored programs", "→"}},
    };
}

QList<Mistake> stridesAndHoles()
{
    Circumstances ten;
    ten.mostAtOnce = 10;
    return {
        {"programs too long",
         entry("currentPresetV2", "size", 41),
         {"error", "channel presetsV2", "program 50", "→", "\"size\" of \"currentPreset\""}},
        {"programs too short",
         entry("currentPresetV2", "size", 39),
         {"error", "generation 2", "\"size\"", "currentPresetV2", "39", "\"preset1\"", "→"}},
        {"no length of a program",
         entry("currentPresetV2", "size", QJsonValue::Undefined),
         {"error", "SetTriggerProgram", "currentPresetV2", "\"size\"", "→"}},
        {"too many programs",
         entry("presetsV2", "size", 60),
         {"error", "channel presetsV2", "program 60", "→", "\"presets\""}},
        {"the event block is too long",
         entry("eventDataV2", "size", 18),
         {"error", "channel eventDataV2", "has holes", "6217 to 6218", "→", "\"size\""}},
        {"a hole in the event block",
         nothing,
         {"error", "channel eventDataV2", "has holes", "6209 are refused", "→"},
         holes({6209})},
        {"more at once than the controller reads",
         nothing,
         {"error", "channel eventDataV2", "refused as one block", "one by one", "→"},
         ten},
        {"a register that is not there",
         at("alarmV2", 7104),
         {"error", "channel alarmV2", "register 7104", "→", "documentation"}},
    };
}

QList<Mistake> typesAndBases()
{
    Circumstances lowFirst;
    lowFirst.isLowFirst = true;
    Circumstances otherUnit;
    otherUnit.refusal = "refused: gateway target failed to respond (11)";
    Circumstances silent;
    silent.isSilent = true;
    return {
        {"the wrong table",
         entry("directionV2", "readRegisterType", "inputRegisters"),
         {"error", "channel directionV2", "\"inputRegisters\"", "→", "\"holdingRegisters\"",
          "\"readRegisterType\""}},
        {"bits instead of registers",
         entry("lockV2", "readRegisterType", "coils"),
         {"error", "channel lockV2", "\"coils\"", "→", "\"readRegisterType\""}},
        {"a type that there is not",
         entry("alarmV2", "readRegisterType", "register"),
         {"error", "channel alarmV2", "\"readRegisterType\" is \"register\"", "→"}},
        {"the event block in the wrong table",
         entry("eventDataV2", "readRegisterType", "inputRegisters"),
         {"error", "channel eventDataV2", "\"inputRegisters\"", "→", "\"holdingRegisters\""}},
        {"numbered as in manuals",
         at("directionV2", 46102),
         {"error", "channel directionV2", "46102", "→", "\"register\" 6101"}},
        {"a float that is none",
         eventValue("program", 6202, 6203, "float"),
         {"error", "channel eventDataV2", "\"program\"", "→", "\"type\""}},
        {"a float read as a whole number",
         eventValue("torque", 6205, 6206, "int"),
         {"warning", "listenEventsData, generation 2", "\"torque\"", "2 registers", "→"}},
        {"a float of one register",
         eventValue("torque", 6205, 6205, "float"),
         {"error", "listenEventsData, generation 2", "\"torque\"", "→"}},
        {"the halves of floats swapped in the controller",
         nothing,
         {"error", "channel eventDataV2", "\"torque\"", "upper half first", "the other way round", "→",
          "word order"},
         lowFirst},
        {"the halves of a float swapped in the map",
         withChannel("lastTorqueV2", {{"register", 6205},
                                      {"readRegisterType", c_holding},
                                      {"encoding", "float"},
                                      {"wordOrder", "lowFirst"}}),
         {"error", "channel lastTorqueV2", "lower half first", "→", "\"wordOrder\""}},
        {"the wrong unit",
         nothing,
         {"error", "registers", "everything is refused", "(11)", "→", "unit"},
         otherUnit},
        {"nobody there", nothing, {"error", "probe", "0 of", "no answer", "→", "unit id"}, silent},
    };
}

// What only a write shows.
QList<Mistake> mistakesOfActions()
{
    Circumstances writing;
    writing.isWriting = true;
    return {
        {"two actions swapped",
         both(at("directionChangeV2", 6002), at("presetChangeV2", 6001)),
         {"error", "channel directionChangeV2", "6002", "\"directionV2\" does not show it",
          "\"currentPresetV2\" has changed instead", "→", "swapped"},
         writing},
        {"state and action swapped",
         both(at("presetChangeV2", 6103), at("currentPresetV2", 6002)),
         {"error", "channel presetChangeV2", "not written to register 6103", "→", "\"register\""},
         writing},
        {"an action that is not there",
         at("lockChangeV2", 7004),
         {"error", "channel lockChangeV2", "not written to register 7004", "→", "\"writeRegisterType\""},
         writing},
        {"an action in the wrong table",
         entry("lockChangeV2", "writeRegisterType", "coils"),
         {"error", "channel lockChangeV2", "as \"coils\"", "→", "\"writeRegisterType\""},
         writing},
    };
}

QList<Mistake> allMistakes()
{
    return shiftedOnes() + swappedAndOverlapping() + stridesAndHoles() + typesAndBases() +
           mistakesOfActions();
}

QModbusDataUnit::RegisterType tableNamed(const QString& type)
{
    if (type == "inputRegisters")
        return QModbusDataUnit::InputRegisters;
    if (type == "coils")
        return QModbusDataUnit::Coils;
    return type == "discreteInputs" ? QModbusDataUnit::DiscreteInputs : QModbusDataUnit::HoldingRegisters;
}

// The registers that hold a float of the newest event, the first ones of each pair.
const QSet<int> c_floats{6205, 6207, 6210};

// Reads as a driver with these circumstances would.
RegisterReader readerOf(const SimulatedController& controller, const Circumstances& circumstances)
{
    return [&controller, circumstances](const ReadRequest& request) -> ReadReply {
        if (circumstances.isSilent)
            return {ExitCode::TimedOut, {}, "no answer within 250 ms", 0};
        if (!circumstances.refusal.isEmpty())
            return {ExitCode::Refused, {}, circumstances.refusal, 0};
        const int first = request.address + circumstances.offset - circumstances.wireShift;
        QVector<quint16> values;
        bool isThere = request.count <= circumstances.mostAtOnce && first >= 0 &&
                       controller.read(tableNamed(request.type), static_cast<quint16>(first), request.count,
                                       &values) == SimulatedController::c_accepted;
        for (int i = 0; i < request.count; ++i)
            isThere = isThere && !circumstances.holes.contains(first + i);
        if (!isThere)
            return {ExitCode::Refused, {}, "refused: illegal data address (2)", 0};
        for (int i = 0; circumstances.isLowFirst && i + 1 < values.size(); ++i) {
            if (c_floats.contains(first + i))
                std::swap(values[i], values[i + 1]);
        }
        QList<int> numbers;
        for (const quint16 value : qAsConst(values))
            numbers.append(value);
        return {ExitCode::Done, numbers, {}, 1};
    };
}

// How the write of a number ends, counted from 1, and how all others do.
enum class WriteEnd { Done, Unanswered, Lost, Refused };
using WriteEnds = QMap<int, WriteEnd>;

// Notes each write of this register, and lets it end as it is asked to: an unanswered one is done, a lost one
// is not, and neither is acknowledged.
RegisterWriter scriptedWriter(SimulatedController& controller, int address, const WriteEnds& ends,
                              QStringList* written)
{
    return [&controller, address, ends, written](int target, const QString& type, int value) -> WriteReply {
        if (target == address)
            written->append(QString::number(value));
        const WriteEnd end = target == address ? ends.value(written->size()) : WriteEnd::Done;
        if (end == WriteEnd::Refused)
            return {ExitCode::Refused, "refused: device busy (6)"};
        const bool isDone =
            end != WriteEnd::Lost &&
            controller.write(tableNamed(type), static_cast<quint16>(target), {static_cast<quint16>(value)}) ==
                SimulatedController::c_accepted;
        if (end != WriteEnd::Done)
            return {ExitCode::Uncertain, "no answer", true};
        return {isDone ? ExitCode::Done : ExitCode::Refused, {}};
    };
}

RegisterWriter writerOf(SimulatedController& controller, int* writes)
{
    return [&controller, writes](int address, const QString& type, int value) -> WriteReply {
        ++*writes;
        const bool isDone =
            controller.write(tableNamed(type), static_cast<quint16>(address),
                             {static_cast<quint16>(value)}) == SimulatedController::c_accepted;
        return {isDone ? ExitCode::Done : ExitCode::Refused,
                isDone ? QString() : "refused: illegal data address (2)"};
    };
}

const ConnectedController c_connected{2, 4012, false, "MDgen2"};

QString lineOf(const Finding& finding)
{
    return QString("%1 %2: %3 → %4")
        .arg(finding.level == FindingLevel::Error ? "error" : "warning", finding.subject, finding.message,
             finding.remedy);
}

QStringList namesOfCommands()
{
    QStringList names;
    for (const CommandNeeds& needs : commandNeeds())
        names.append(needs.command);
    return names;
}

// All that is said, but for what is well.
QStringList complaintsOf(const QJsonObject& configuration, const Circumstances& circumstances)
{
    const auto profile = ControllerProfile::byName("mdc32-gen2");
    Simulator simulator(deviceConfiguration(sampleBench()), *profile);
    simulator.controller().tighten();
    const AddressOffset offset{"addressOffset", circumstances.offset};
    CheckedDevice device{namesOfCommands(), configuration, 2, "MDgen2"};
    device.types = c_registerTypes;
    device.offset = offset;
    QList<Finding> findings = checkConfigurationOf(device);
    DeviceProbe probe(configuration, c_connected, readerOf(simulator.controller(), circumstances));
    QList<ProbeFinding> found = probeFindings(probe.run(), configuration, offset);
    if (circumstances.isWriting) {
        // Another one than what a direction may be.
        simulator.controller().setValue("currentPreset", 3);
        int writes = 0;
        for (const ProbeFinding& one : qAsConst(found))
            findings.append(one.finding);
        found = proveWrites(configuration, c_connected,
                            {readerOf(simulator.controller(), circumstances),
                             writerOf(simulator.controller(), &writes), [](const QString&) { return true; },
                             [](int) {}},
                            findings);
    }
    for (const ProbeFinding& one : found)
        findings.append(one.finding);
    QStringList lines;
    for (const Finding& finding : qAsConst(findings)) {
        if (finding.level != FindingLevel::Ok)
            lines.append(lineOf(finding));
    }
    return lines;
}

bool hasParts(const QString& line, const QStringList& parts)
{
    int from = 0;
    for (const QString& part : parts) {
        from = line.indexOf(part, from);
        if (from < 0)
            return false;
        from += part.size();
    }
    return line.startsWith(parts.constFirst());
}

} // namespace

Q_DECLARE_METATYPE(WriteEnds)
Q_DECLARE_METATYPE(ExitCode)

class TstMapMistakes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void mistake_data()
    {
        QTest::addColumn<int>("row");
        const QList<Mistake> mistakes = allMistakes();
        for (int i = 0; i < mistakes.size(); ++i)
            QTest::newRow(mistakes.at(i).name) << i;
    }

    void mistake()
    {
        QFETCH(int, row);
        const Mistake mistake = allMistakes().at(row);
        QJsonObject configuration = deviceConfiguration(sampleBench());
        mistake.make(configuration);
        const QStringList lines = complaintsOf(configuration, mistake.controller);
        const auto line = std::find_if(lines.cbegin(), lines.cend(), [&mistake](const QString& said) {
            return hasParts(said, mistake.finding);
        });
        QVERIFY2(line != lines.cend(), qPrintable(lines.join('\n')));
        QVERIFY2(!line->endsWith("→ "), qPrintable(*line));
        for (const QStringList& documented :
             markdownTable(MDC_SOURCE_DIRECTORY "/docs/bench.md", "### Mistakes in a map")) {
            if (documented.value(0) == QTest::currentDataTag())
                QVERIFY2(line->startsWith(documented.value(1) + ' ') && line->contains(documented.value(2)),
                         qPrintable(documented.join(" | ") + '\n' + *line));
        }
    }

    // The right map has nothing to complain of, for a controller that counts as it does.
    void rightMap() { QCOMPARE(complaintsOf(deviceConfiguration(sampleBench()), {}).join('\n'), QString()); }

    void provenWrites_data()
    {
        QTest::addColumn<bool>("agrees");
        QTest::addColumn<bool>("motorRuns");
        QTest::addColumn<int>("writes");
        QTest::addColumn<QString>("levels");
        // Four there and back, and the reset of the alarm.
        QTest::newRow("with a yes to all") << true << false << 9 << "ok ok ok ok ok";
        QTest::newRow("with a no to all") << false << false << 0 << "warning warning warning warning warning";
        QTest::newRow("while the motor runs") << true << true << 0 << "error";
    }

    void provenWrites()
    {
        QFETCH(bool, agrees);
        QFETCH(bool, motorRuns);
        QFETCH(int, writes);
        QFETCH(QString, levels);
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        controller.setMotorRunning(motorRuns);
        controller.raiseAlarm(7);
        const auto states = [&controller] {
            QStringList values;
            for (const char* const name : {"direction", "currentPreset", "lock", "screenLock"})
                values.append(QString::number(controller.value(name).value_or(0)));
            return values.join(' ');
        };
        const QString before = states();
        int written = 0;
        const QList<ProbeFinding> findings =
            proveWrites(configuration, c_connected,
                        {readerOf(controller, {}), writerOf(controller, &written),
                         [agrees](const QString& text) { return agrees && text.contains('?'); }, [](int) {}},
                        {});
        QStringList told;
        for (const ProbeFinding& one : findings)
            told.append(one.finding.level == FindingLevel::Ok        ? "ok"
                        : one.finding.level == FindingLevel::Warning ? "warning"
                                                                     : "error");
        QCOMPARE(told.join(' '), levels);
        QCOMPARE(written, writes);
        QCOMPARE(states(), before);
        QCOMPARE(controller.alarm() == 0, writes > 0);
    }

    void unansweredWrites_data()
    {
        QTest::addColumn<WriteEnds>("ends");
        QTest::addColumn<QString>("written");
        QTest::addColumn<int>("lock"); // of the controller afterwards, 1 before
        QTest::addColumn<ExitCode>("code");
        QTest::addColumn<QStringList>("told");

        const auto row = [](const char* name, const WriteEnds& ends, const QString& written, int lock,
                            ExitCode code, const QStringList& told) {
            QTest::newRow(name) << ends << written << lock << code << told;
        };
        row("all answered", {}, "0 1", 1, ExitCode::Done, {"0 was written to register 6004", "1 is back"});
        row("done without an answer", {{1, WriteEnd::Unanswered}}, "0 1", 1, ExitCode::Uncertain,
            {"0 may have been written to register 6004", "no answer", "\"lockV2\" shows 0", "1 is back"});
        row("neither answered nor done", {{1, WriteEnd::Lost}}, "0", 1, ExitCode::Uncertain,
            {"0 may have been written to register 6004", "\"lockV2\" does not show it",
             "0 may be in it now"});
        row("refused", {{1, WriteEnd::Refused}}, "0", 1, ExitCode::Refused,
            {"0 is not written to register 6004", "device busy"});
        row("put back without an answer", {{2, WriteEnd::Unanswered}}, "0 1", 1, ExitCode::Uncertain,
            {"0 was written", "1 is back", "no answer"});
        row("not put back, nobody says so", {{2, WriteEnd::Lost}}, "0 1", 0, ExitCode::Uncertain,
            {"0 was written", "1, which was there before, is not back", "no answer"});
        row("the putting back is refused", {{2, WriteEnd::Refused}}, "0 1", 0, ExitCode::Refused,
            {"0 was written", "1, which was there before, is not back", "device busy"});
    }

    void unansweredWrites() // docs/security.md
    {
        QFETCH(WriteEnds, ends);
        QFETCH(QString, written);
        QFETCH(int, lock);
        QFETCH(ExitCode, code);
        QFETCH(QStringList, told);
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        controller.setValue("lock", 1);
        QStringList values;
        const QList<ProbeFinding> findings =
            proveWrites(configuration, c_connected,
                        {readerOf(controller, {}), scriptedWriter(controller, 6004, ends, &values),
                         [](const QString& text) { return text.contains("\"lockChangeV2\""); }, [](int) {}},
                        {});
        const auto found = std::find_if(findings.cbegin(), findings.cend(), [](const ProbeFinding& one) {
            return one.finding.subject == "channel lockChangeV2";
        });
        QVERIFY(found != findings.cend());
        QVERIFY2(hasParts(found->finding.message, told), qPrintable(found->finding.message));
        QCOMPARE(found->code, code);
        QCOMPARE(found->finding.level == FindingLevel::Ok, code == ExitCode::Done);
        QCOMPARE(found->finding.remedy.isEmpty(), code == ExitCode::Done);
        QCOMPARE(values.join(' '), written);
        QCOMPARE(int(controller.value("lock").value_or(99)), lock);
    }

    // Each of its answers takes nearly as long as it may: a person who has pressed Ctrl-C does not wait for
    // twenty of them.
    void slowStates_data()
    {
        QTest::addColumn<bool>("isInterrupted");
        QTest::addColumn<int>("reads"); // of the state: before, while it may come, and of what has changed
        QTest::newRow("waited for") << false << 6;
        QTest::newRow("interrupted") << true << 5;
    }

    void slowStates() // docs/security.md
    {
        QFETCH(bool, isInterrupted);
        QFETCH(int, reads);
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        controller.setValue("lock", 1);
        QStringList values;
        qint64 time = 0;
        int read = 0;
        WriteMeans means{readerOf(controller, {}),
                         scriptedWriter(controller, 6004, {{1, WriteEnd::Lost}}, &values),
                         [](const QString& text) { return text.contains("\"lockChangeV2\""); }, [](int) {}};
        means.read = [&, reader = means.read](const ReadRequest& request) {
            time += 2800;
            read += request.address == 6105 && !values.isEmpty() ? 1 : 0;
            return reader(request);
        };
        means.now = [&time] { return time; };
        means.isInterrupted = [&] { return isInterrupted && !values.isEmpty(); };
        proveWrites(configuration, c_connected, means, {});
        QCOMPARE(values.join(' '), QString("0"));
        QVERIFY2(read <= reads, qPrintable(QString::number(read)));
        QCOMPARE(int(controller.value("lock").value_or(99)), 1);
    }

    void putsBackNothingElse_data()
    {
        QTest::addColumn<QString>("channel"); // whose register is another one in the map
        QTest::addColumn<int>("address");
        QTest::addColumn<WriteEnds>("ends");
        QTest::addColumn<QString>("written"); // to the register of the lock, or of the program
        QTest::addColumn<QStringList>("told");

        const auto row = [](const char* name, const char* channel, int address, const WriteEnds& ends,
                            const QString& written, const QStringList& told) {
            QTest::newRow(name) << channel << address << ends << written << told;
        };
        row("the state is read where no lock is", "lockV2", 1990, {}, "",
            {"not proven: \"lockV2\" shows 169", "0 to 3"});
        row("the state is read where 0 is", "lockV2", 1991, {}, "1",
            {"1 was written to register 6004", "\"lockV2\" does not show it", "is not known",
             "1 is in it now"});
        row("another state changes", "lockChangeV2", 6002, {}, "1 3",
            {"1 was written to register 6002", "\"currentPresetV2\" has changed instead", "3 is back"});
        row("another state changes and stays so", "lockChangeV2", 6002, {{2, WriteEnd::Refused}}, "1 3",
            {"1 was written to register 6002", "has changed instead",
             "3, which was there before, is not back", "device busy"});
        row("another state changes, without an answer", "lockChangeV2", 6002, {{1, WriteEnd::Unanswered}},
            "1 3", {"1 may have been written to register 6002", "has changed instead", "3 is back"});
    }

    void putsBackNothingElse() // docs/security.md
    {
        QFETCH(QString, channel);
        QFETCH(int, address);
        QFETCH(WriteEnds, ends);
        QFETCH(QString, written);
        QFETCH(QStringList, told);
        QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        controller.write(QModbusDataUnit::HoldingRegisters, 1990, {169});
        controller.write(QModbusDataUnit::HoldingRegisters, 1991, {0});
        controller.setValue("currentPreset", 3);
        at(channel, address)(configuration);
        QStringList values;
        const int target = channel == "lockChangeV2" ? address : 6004;
        const QList<ProbeFinding> findings =
            proveWrites(configuration, c_connected,
                        {readerOf(controller, {}), scriptedWriter(controller, target, ends, &values),
                         [](const QString& text) { return text.contains("\"lockChangeV2\""); }, [](int) {}},
                        {});
        const auto found = std::find_if(findings.cbegin(), findings.cend(), [](const ProbeFinding& one) {
            return one.finding.subject == "channel lockChangeV2";
        });
        QVERIFY(found != findings.cend());
        const QString& message = found->finding.message;
        QVERIFY2(hasParts(message, told), qPrintable(message));
        QVERIFY(found->finding.level != FindingLevel::Ok);
        QCOMPARE(values.join(' '), written);
    }

    // A write goes where the map says: where the map is in doubt, or the tool may run, there is none.
    void provesNothingDoubtful() // docs/security.md
    {
        QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        int written = 0;
        const auto prove = [&](const Circumstances& circumstances, const QList<Finding>& known) {
            written = 0;
            return proveWrites(configuration, c_connected,
                               {readerOf(controller, circumstances), writerOf(controller, &written),
                                [](const QString&) { return true; }, [](int) {}},
                               known);
        };
        QVERIFY(!prove({}, {{FindingLevel::Warning, "channel lockChangeV2", "m", "r"}}).isEmpty());
        QCOMPARE(written, 9);
        prove({}, {{FindingLevel::Error, "channel lockChangeV2", "m", "r"}});
        QCOMPARE(written, 7);
        prove({}, {{FindingLevel::Error, "channel currentPresetV2", "m", "r"}});
        QCOMPARE(written, 7);
        prove({}, {{FindingLevel::Error, "programs", "m", "r", {"lockV2", "directionChangeV2"}}});
        QCOMPARE(written, 5);
        const QList<ProbeFinding> shifted = prove({}, {{FindingLevel::Error, "registers", "m", "r"}});
        QCOMPARE(written, 0);
        QVERIFY2(shifted.constFirst().finding.message.contains("nothing was written"),
                 qPrintable(shifted.constFirst().finding.message));

        Circumstances unread;
        unread.holes = {6102}; // where the map has "motorRunV2"
        for (const bool isConfigured : {true, false}) {
            if (!isConfigured)
                entry("motorRunV2", "register", QJsonValue::Undefined)(configuration);
            const QList<ProbeFinding> unknown = prove(isConfigured ? unread : Circumstances(), {});
            QCOMPARE(written, 0);
            QCOMPARE(unknown.constFirst().finding.level, FindingLevel::Error);
            QVERIFY2(unknown.constFirst().finding.message.contains("nothing was written"),
                     qPrintable(unknown.constFirst().finding.message));
        }
    }

    // What is so when somebody has agreed, and not what was so when they were asked.
    void changesWhileItIsAsked() // docs/security.md
    {
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        controller.setValue("currentPreset", 3);
        QString change;
        const auto ask = [&](const QString& text) {
            if (!text.contains("\"presetChangeV2\""))
                return false;
            controller.setValue(change, change == "motorRun" ? 1 : 7);
            return true;
        };
        for (const char* const changed : {"currentPreset", "motorRun"}) {
            change = changed;
            int written = 0;
            proveWrites(configuration, c_connected,
                        {readerOf(controller, {}), writerOf(controller, &written), ask, [](int) {}}, {});
            QCOMPARE(written, 0);
            QCOMPARE(int(controller.currentPreset()), 7);
        }
    }

    // What cannot be read for a while shows nothing else, and what was there before is known.
    void cannotBeReadMeanwhile() // docs/security.md
    {
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        const auto proof = [&configuration](int missed, ExitCode code, QStringList* written,
                                            QString* message) {
            Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
            SimulatedController& controller = simulator.controller();
            controller.setValue("lock", 3);
            const RegisterReader answered = readerOf(controller, {});
            int reads = 0;
            const auto read = [&](const ReadRequest& request) -> ReadReply {
                const bool isMissed = !written->isEmpty() && ++reads <= missed;
                return isMissed ? ReadReply{code, {}, "away", 0} : answered(request);
            };
            const QList<ProbeFinding> findings = proveWrites(
                configuration, c_connected,
                {read, scriptedWriter(controller, 6004, {}, written),
                 [](const QString& text) { return text.contains("\"lockChangeV2\""); }, [](int) {}},
                {});
            for (const ProbeFinding& one : findings) {
                if (one.finding.subject == "channel lockChangeV2")
                    *message = one.finding.message + one.finding.remedy;
            }
            return int(controller.value("lock").value_or(99));
        };
        for (const ExitCode code : {ExitCode::NotConnected, ExitCode::Refused}) {
            QStringList written;
            QString message;
            QCOMPARE(proof(60, code, &written, &message), 3);
            QCOMPARE(written, (QStringList{"0", "3"}));
            QVERIFY2(message.contains("shows 0; 3 is back"), qPrintable(message));
            written.clear();
            QCOMPARE(proof(100000, code, &written, &message), 3);
            QCOMPARE(written, (QStringList{"0", "3"}));
            for (const char* const part :
                 {"\"lockV2\" cannot be read", "3, which was there before", "write 3 to register 6004"})
                QVERIFY2(message.contains(part), qPrintable(message));
            QVERIFY2(!message.contains("is not known"), qPrintable(message));
        }
    }

    // Behind a link that was lost there may be anybody: they get neither a value nor what another one had.
    void writesToNoOtherController() // docs/security.md
    {
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        const QString another = "another controller answers: MDC-22";
        for (const int writtenBefore : {0, 1}) {
            Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
            SimulatedController& controller = simulator.controller();
            controller.setValue("lock", 3);
            int written = 0;
            const QList<ProbeFinding> findings =
                proveWrites(configuration, c_connected,
                            {readerOf(controller, {}),
                             writerOf(controller, &written),
                             [](const QString& text) { return !text.contains("\"directionChangeV2\""); },
                             [](int) {},
                             {},
                             [&] { return written >= writtenBefore ? another : QString(); }},
                            {});
            QCOMPARE(written, writtenBefore);
            const auto doubts =
                std::count_if(findings.cbegin(), findings.cend(), [&](const ProbeFinding& one) {
                    return one.finding.message.contains(another) &&
                           one.finding.message.contains(writtenBefore == 0
                                                            ? "not proven, and no further action is"
                                                            : "which was there before, is not back") &&
                           one.finding.level == FindingLevel::Error && one.code == ExitCode::CommandFailed;
                });
            QCOMPARE(int(doubts), 1);
        }
    }

    // One read that is not answered is enough for who has had enough.
    void interruptedAndSilent()
    {
        const QJsonObject configuration = deviceConfiguration(sampleBench());
        Simulator simulator(configuration, *ControllerProfile::byName("mdc32-gen2"));
        SimulatedController& controller = simulator.controller();
        int written = 0;
        int reads = 0;
        const RegisterReader answered = readerOf(controller, {});
        const auto read = [&](const ReadRequest& request) -> ReadReply {
            if (written == 0)
                return answered(request);
            ++reads;
            return {ExitCode::TimedOut, {}, "no answer", 0};
        };
        const QList<ProbeFinding> findings =
            proveWrites(configuration, c_connected,
                        {read, writerOf(controller, &written),
                         [](const QString& text) { return text.contains("\"lockChangeV2\""); }, [](int) {},
                         [&] { return written > 0; }},
                        {});
        QCOMPARE(reads, 1);
        QVERIFY(std::any_of(findings.cbegin(), findings.cend(), [](const ProbeFinding& one) {
            return one.finding.message.contains("1 is in it now");
        }));
    }

    void everyMistakeIsDocumented()
    {
        QStringList names;
        for (const Mistake& mistake : allMistakes())
            names.append(mistake.name);
        QVERIFY(names.size() >= 30);
        QStringList documented;
        for (const QStringList& row :
             markdownTable(MDC_SOURCE_DIRECTORY "/docs/bench.md", "### Mistakes in a map"))
            documented.append(row.value(0));
        const QString gaps = tableGaps("docs/bench.md, \"Mistakes in a map\"", names, documented);
        QVERIFY2(gaps.isEmpty(), qPrintable(gaps));
    }
};

QTEST_GUILESS_MAIN(TstMapMistakes)
#include "tst_map_mistakes.moc"
