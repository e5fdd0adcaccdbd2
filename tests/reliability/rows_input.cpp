#include "tests/reliability/event_wait.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/reliability/simulated_bench.h"
#include "tests/support/scripted_peer.h"

#include "applications/simulator/controller_profile.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <lib_plugins_management/d_abstract_plugin.h>

#include <QJsonArray>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>

namespace {

const QString c_group = QStringLiteral("Input");
constexpr int c_orderTime = 2000;
constexpr quint8 c_readHolding = 0x03;
constexpr quint8 c_writeSingle = 0x06;
constexpr quint8 c_identify = 0x11;
constexpr int c_longestRead = 125;
constexpr int c_longestWrite = 123;
const QString c_registerType = QStringLiteral("registerType");
// The command that makes a stored program, the one of these registers.
constexpr int c_triggerFirst = 561;
constexpr int c_triggerLast = 600;
const QString c_writesPrograms = QStringLiteral("SetTriggerProgram");

// What a device of generation 2 may ask for, by its configuration.
class RegisterMap
{
public:
    explicit RegisterMap(const QJsonObject& root)
    {
        const QJsonObject device = root.value(QStringLiteral("objects")).toArray().at(1).toObject();
        const QJsonArray channels = device.value(QStringLiteral("configuration"))
                                        .toObject()
                                        .value(QStringLiteral("channels"))
                                        .toArray();
        for (const QJsonValue& channel : channels) {
            int address = -1;
            int size = 1;
            bool isWritten = false;
            bool isRead = false;
            const QJsonArray entries = channel.toObject().value(QStringLiteral("value")).toArray();
            for (const QJsonValue& value : entries) {
                const QJsonObject entry = value.toObject();
                const QString id = entry.value(QStringLiteral("id")).toString();
                if (id == QLatin1String("register"))
                    address = entry.value(QStringLiteral("value")).toInt();
                else if (id == QLatin1String("size"))
                    size = entry.value(QStringLiteral("value")).toInt();
                isWritten = isWritten || id == QLatin1String("writeRegisterType");
                isRead = isRead || id == QLatin1String("readRegisterType");
            }
            // "getRegister" of a channel that names no register, as the one of the presets, reads register 0.
            if (address < 0 && isRead)
                m_read.insert(0);
            for (int i = 0; address >= 0 && i < size; ++i)
                (isWritten ? m_written : m_read).insert(address + i);
        }
        for (int i = 1; i <= SimulatedBench::c_registers; ++i)
            m_read.insert(i);
    }

    // Nothing when the request (unit and protocol data unit) is one that the configuration allows.
    QString objection(const QByteArray& request, const QString& command) const
    {
        const auto function = static_cast<quint8>(request.at(1));
        if (request.at(0) != 1)
            return QStringLiteral("another unit");
        if (function == c_identify)
            return request.size() == 2 ? QString() : QStringLiteral("an identification with data");
        if ((function != c_readHolding && function != c_writeSingle) || request.size() != 6)
            return QStringLiteral("another function");
        const int address = word(request, 2);
        if (function == c_writeSingle)
            return m_written.contains(address) || (isOfTriggerProgram(address) && command == c_writesPrograms)
                       ? QString()
                       : QStringLiteral("a register that is not written");
        const int count = word(request, 4);
        if (count < 1 || count > c_longestRead)
            return QStringLiteral("a size of %1").arg(count);
        for (int i = 0; i < count; ++i) {
            if (!m_read.contains(address + i))
                return QStringLiteral("a register that is not read");
        }
        return {};
    }

    static bool isOfTriggerProgram(int address)
    {
        return address >= c_triggerFirst && address <= c_triggerLast;
    }

    static int word(const QByteArray& bytes, int at)
    {
        return static_cast<quint8>(bytes.at(at)) << 8 | static_cast<quint8>(bytes.at(at + 1));
    }

private:
    QSet<int> m_read;
    QSet<int> m_written;
};

// Calls as a program with errors makes them, from a seed.
class RandomCall
{
public:
    RandomCall(quint32 seed, QStringList commands, const QString& folder)
        : m_random(seed)
        , m_commands(std::move(commands))
        , m_folder(folder)
    {}

    QString command()
    {
        constexpr int c_unknownEvery = 20;
        if (below(c_unknownEvery) == 0)
            return QStringList{QString(), QStringLiteral("getregister"), QStringLiteral("read"),
                               QStringLiteral("\u00e9"), QString(1000, QLatin1Char('x'))}
                .at(below(5));
        return m_commands.at(below(m_commands.size()));
    }

    QVariantMap arguments()
    {
        QVariantMap map;
        for (const QString& name : qAsConst(m_names)) {
            if (below(3) != 0)
                map.insert(name, value(name));
        }
        // Where a good backup may come to stand.
        map.insert(QStringLiteral("folderPath"), m_folder);
        map.insert(QStringLiteral("backupName"), QStringLiteral("N"));
        return map;
    }

private:
    int below(int bound) { return static_cast<int>(m_random.bounded(bound)); }

    QVariant value(const QString& name)
    {
        static const QStringList c_channels{"direction", "alarm", "motorRun",   "currentPreset", "presets",
                                            "nowhere",   "",      "direction ", "eventData"};
        if (name == QLatin1String("channel") && below(2) == 0)
            return c_channels.at(below(c_channels.size()));
        switch (below(14)) {
        case 0:
            return {};
        case 1:
            return QString();
        case 2:
            return QStringLiteral("abc");
        case 3:
            return QStringLiteral("65536");
        case 4:
            return -1;
        case 5:
            return std::numeric_limits<int>::max();
        case 6:
            return std::numeric_limits<qint64>::min();
        case 7:
            return std::numeric_limits<double>::quiet_NaN();
        case 8:
            return 65536 + below(60);
        case 9:
            return QVariantList{1, 2};
        case 10:
            return QVariantMap{{"a", 1}};
        case 11:
            return QByteArray("\0\xff", 2);
        case 12:
            return below(2) == 0;
        default:
            break;
        }
        return below(60);
    }

    // Those that hosts are told of, of all commands together.
    static QStringList declaredNames()
    {
        QStringList names;
        for (const CommandNeeds& needs : commandNeeds()) {
            for (const CommandArgument& argument : needs.arguments) {
                if (argument.isDeclared)
                    names.append(argument.name);
            }
        }
        names.removeDuplicates();
        return names + QStringList{"unknown"};
    }

    QRandomGenerator m_random;
    const QStringList m_commands;
    const QStringList m_names = declaredNames();
    const QString m_folder;
};

// The arguments that become a register's value or address: those that are declared as a register's value,
// and these. What the other commands send does not depend on a number that they are given.
struct NumberArgument
{
    QString command;
    QString name;
    quint8 function; // 0: it is not sent, but chooses among what is
};
const NumberArgument c_otherNumbers[]{{"getPresetData", "preset", c_readHolding},
                                      {"restoreBackup", "startPreset", 0},
                                      {"restoreBackup", "endPreset", 0}};

// Says which numbers of commands nobody knows the way of.
QString numberArguments(QList<NumberArgument>& arguments)
{
    QStringList unknown;
    for (const CommandNeeds& needs : commandNeeds()) {
        for (const CommandArgument& argument : needs.arguments) {
            if (argument.type == QLatin1String("ui16")) {
                arguments.append({needs.command, argument.name, c_writeSingle});
                continue;
            }
            if (!argument.lowest)
                continue;
            const auto* const other = std::find_if(
                std::cbegin(c_otherNumbers), std::cend(c_otherNumbers), [&](const NumberArgument& number) {
                    return number.command == needs.command && number.name == argument.name;
                });
            if (other == std::cend(c_otherNumbers))
                unknown.append(needs.command + QLatin1Char(' ') + argument.name);
            else if (other->function != 0)
                arguments.append(*other);
        }
    }
    return unknown.join(QLatin1String(", "));
}

// The number that such an argument holds, when the request is one that it goes into.
std::optional<qlonglong> givenNumber(const QList<NumberArgument>& numbers, const QByteArray& request,
                                     const QString& command, const QVariantMap& arguments)
{
    for (const NumberArgument& argument : numbers) {
        if (command != argument.command || static_cast<quint8>(request.at(1)) != argument.function)
            continue;
        const QVariant value = arguments.value(argument.name);
        bool isNumber = false;
        const qlonglong given = value.toLongLong(&isNumber);
        return isNumber && !std::isnan(value.toDouble()) ? std::optional<qlonglong>(given) : std::nullopt;
    }
    return std::nullopt;
}

// Of a number no other one is made by cutting it. Says which one was; nothing when none was.
QString cutNumber(const QList<NumberArgument>& numbers, const QByteArray& request, const QString& command,
                  const QVariantMap& arguments)
{
    constexpr int c_programSize = 40;
    const std::optional<qlonglong> given = givenNumber(numbers, request, command, arguments);
    if (!given)
        return {};
    const bool isAddress = static_cast<quint8>(request.at(1)) == c_readHolding;
    qlonglong wanted = isAddress ? (*given - 1) * c_programSize + 1 : *given;
    // It takes its argument as 16 bits, as its description says, and writes any such value.
    if (command == QLatin1String("setLock"))
        wanted = static_cast<quint16>(wanted);
    const int sent = RegisterMap::word(request, isAddress ? 2 : 4);
    return sent == wanted ? QString() : QStringLiteral("%1 was sent as %2").arg(*given).arg(sent);
}

void runGeneratedCalls(RowReport& report)
{
    ScriptedPeer peer;
    SimulatedBench bench(report);
    const QTemporaryDir folder;
    peer.identification = ControllerProfile::byName(QStringLiteral("mdc32-gen2"))->identificationBlock();
    if (!report.check('X', peer.listen(), QStringLiteral("the peer cannot listen")) ||
        !bench.start({{"port", peer.port()}}))
        return;
    QList<NumberArgument> numbers;
    const QString unknown = numberArguments(numbers);
    report.check('X', unknown.isEmpty(), QStringLiteral("nobody knows where these go: ") + unknown);
    const RegisterMap map(bench.configuration());
    constexpr int c_calls = 10000;
    constexpr quint32 c_seed = 20261120;
    RandomCall random(c_seed, bench.device()->commandNames(), folder.path());
    QHash<QString, int> codes;
    int requests = 0;
    int compared = 0;
    for (int i = 0; i < c_calls && report.isGood(); ++i) {
        const QString command = random.command();
        const QVariantMap arguments = random.arguments();
        peer.requests.clear();
        peer.requestTimes.clear();
        const quint64 id = bench.place(command, arguments, c_orderTime);
        if (command.startsWith(QLatin1String("listen"))) {
            waitUntil([&] { return !peer.requests.isEmpty() || bench.hasEnded(id); }, c_orderTime);
            bench.run(QStringLiteral("stopListening"));
        }
        const MeasuredEnd end = bench.await(id);
        ++codes[QLatin1String(codeName(end.outcome.errorCode))];
        for (const QByteArray& request : qAsConst(peer.requests)) {
            const QString objection = map.objection(request, command);
            report.check('C', objection.isEmpty(),
                         QStringLiteral("call %1, %2: %3 was sent: %4")
                             .arg(i)
                             .arg(command, QString::fromLatin1(request.toHex(' ')), objection));
            const QString cut = cutNumber(numbers, request, command, arguments);
            report.check('C', cut.isEmpty(), QStringLiteral("call %1, %2: %3").arg(i).arg(command, cut));
            compared += givenNumber(numbers, request, command, arguments) ? 1 : 0;
        }
        requests += peer.requests.size();
    }
    bench.recover();
    QStringList texts;
    for (auto code = codes.cbegin(); code != codes.cend(); ++code)
        texts.append(QStringLiteral("%1 %2").arg(code.value()).arg(code.key()));
    texts.sort();
    report.check('X', compared > c_calls / 100, QStringLiteral("%1 numbers were compared").arg(compared));
    report.seen(QStringLiteral("%1 calls (seed %2): %3; %4 requests, all of them valid; %5 numbers in them "
                               "as they were given")
                    .arg(c_calls)
                    .arg(c_seed)
                    .arg(texts.join(QLatin1String(", ")))
                    .arg(requests)
                    .arg(compared));
    bench.finish();
}

// Instructions of the driver with sizes and places that no frame has.
void runSizes(RowReport& report)
{
    ScriptedPeer peer;
    SimulatedBench bench(report);
    peer.identification = ControllerProfile::byName(QStringLiteral("mdc32-gen2"))->identificationBlock();
    if (!report.check('X', peer.listen(), QStringLiteral("the peer cannot listen")) ||
        !bench.start({{"port", peer.port()}}))
        return;
    const auto listOf = [](int values) {
        QVariantList list;
        for (int i = 0; i < values; ++i)
            list.append(i);
        return list;
    };
    const QString coils = QStringLiteral("coils");
    const QString inputs = QStringLiteral("discreteInputs");
    const QString several = QStringLiteral("holdingRegisters");
    const QVector<QPair<QString, QVariantMap>> calls{
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", 0}, {"registerType", coils}}},
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", 2001}, {"registerType", coils}}},
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", 2001}, {"registerType", inputs}}},
        {QStringLiteral("write"), {{"register", 1}, {"data", listOf(0)}, {"registerType", several}}},
        {QStringLiteral("write"),
         {{"register", 1}, {"data", listOf(c_longestWrite + 1)}, {"registerType", several}}},
        {QStringLiteral("write"), {{"register", 65530}, {"data", listOf(7)}, {"registerType", several}}},
        {QStringLiteral("write"), {{"register", 1}, {"data", listOf(2)}}},
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", 0}}},
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", c_longestRead + 1}}},
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", -1}}},
        {QStringLiteral("read"), {{"register", 1}, {"dataSize", 65537}}},
        {QStringLiteral("read"), {{"register", 65530}, {"dataSize", 7}}},
        {QStringLiteral("read"), {{"register", 65536}, {"dataSize", 1}}},
        {QStringLiteral("read"), {{"register", -1}, {"dataSize", 1}}},
        {QStringLiteral("listen"), {{"register", 1}, {"dataSize", 0}}},
        {QStringLiteral("listen"), {{"register", 1}, {"dataSize", c_longestRead + 1}}},
        {QStringLiteral("listen"), {{"register", 65530}, {"dataSize", 7}}},
        {QStringLiteral("write"), {{"register", 65536}, {"data", 1}}},
        {QStringLiteral("write"), {{"register", 1}, {"data", 65536}}},
        {QStringLiteral("write"), {{"register", 1}, {"data", -1}}}};
    peer.requests.clear();
    int refused = 0;
    for (const auto& call : calls) {
        QVariantMap arguments = call.second;
        const bool isWrite = call.first == QLatin1String("write");
        if (!arguments.contains(c_registerType))
            arguments.insert(c_registerType, isWrite ? QStringLiteral("singleRegister") : several);
        const QVariant data = arguments.value(QStringLiteral("data"));
        const QString text =
            QStringLiteral("%1 of %2 from %3 (%4)")
                .arg(call.first,
                     isWrite ? QString::number(data.type() == QVariant::List ? data.toList().size() : 1)
                             : arguments.value(QStringLiteral("dataSize")).toString(),
                     arguments.value(QStringLiteral("register")).toString(),
                     arguments.value(c_registerType).toString());
        bool isOver = false;
        bench.host().runCommand(bench.driver()->objectUuid(), call.first, arguments, c_orderTime, nullptr,
                                [&](quint64 /*id*/, const DOrderOutcome& outcome) {
                                    isOver = true;
                                    refused += outcome.errorCode == IMessenger::CeEcInvalidArguments ? 1 : 0;
                                    report.check('X', outcome.errorCode == IMessenger::CeEcInvalidArguments,
                                                 QStringLiteral("%1 ended as %2 (%3)")
                                                     .arg(text, QLatin1String(codeName(outcome.errorCode)),
                                                          outcome.errorMessage));
                                });
        report.check('A', waitUntil([&] { return isOver; }, 2 * c_orderTime),
                     text + QStringLiteral(" has not ended"));
        report.check('C', peer.requests.isEmpty(), text + QStringLiteral(": a request was sent"));
    }
    report.seen(QStringLiteral("%1 refused as invalid arguments, nothing sent").arg(refused));
    bench.recover();
    bench.finish();
}

} // namespace

void addInputRows(RowTable& table)
{
    table.add({"input.generated-calls", c_group,
               "Unknown commands, arguments missing, of wrong types, out of range: 10,000 calls", "an order",
               "each ends once; addresses, functions and sizes as configured; no value cut but that of "
               "setLock, which is read modulo 65536",
               runGeneratedCalls});
    table.add({"input.sizes", c_group,
               "Read sizes 0, 126, 2001 and worse, lists of 0, 124 and of several values to write, ranges "
               "past 65535, "
               "values past 65535",
               "an instruction of the driver", "invalid arguments, nothing sent", runSizes});
}
