#include "applications/simulator/simulated_controller.h"

#include "applications/simulator/backed_up_registers.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QSet>

#include <limits>

namespace {

using RegisterType = QModbusDataUnit::RegisterType;

// A channel that means something to the controller.
struct KnownChannel
{
    // The unit of torque lies where the firmware's number says, also in a BM, which has the first layout
    // with any firmware.
    enum class Layouts { All, NotTheFirst, TheFirst, NotFirmware1, Firmware1 };

    enum class Access { Read, Write, Both };

    const char* name;
    Layouts layouts;
    bool versioned;
    Access access;
    // Values a client may write; a maximum of 0 stands for the number of programs.
    quint16 minimum;
    quint16 maximum;
    // The status channel that shows a write; null for none.
    const char* target;
    bool clearsTarget;
    // Value at power-on.
    quint16 initial;
};

using Layouts = KnownChannel::Layouts;
using Access = KnownChannel::Access;

constexpr char c_torqueUnit[] = "torqueUnit";
constexpr char c_torqueUnitOfFirmware1[] = "torqueUnitGen1V1";
constexpr quint16 c_largestUnit = SimulatedController::c_maximumTorqueUnit;

// Status channels stand before the channels that act on them.
const KnownChannel c_knownChannels[] = {
    {"direction", Layouts::All, true, Access::Read, 0, 0, nullptr, false, 0},
    {"motorRun", Layouts::All, true, Access::Read, 0, 0, nullptr, false, 0},
    {"currentPreset", Layouts::All, true, Access::Read, 0, 0, nullptr, false, 1},
    {"alarm", Layouts::All, true, Access::Read, 0, 0, nullptr, false, 0},
    {"lock", Layouts::All, true, Access::Read, 0, 0, nullptr, false, 0},
    // Not 0 at power-on: 0 and 2 are what a host writes, and both must show.
    {"screenLock", Layouts::All, true, Access::Read, 0, 0, nullptr, false, 1},
    {"directionChange", Layouts::All, true, Access::Write, 0, 1, "direction", false, 0},
    {"presetChange", Layouts::All, true, Access::Write, 1, 0, "currentPreset", false, 1},
    {"alarmReset", Layouts::All, false, Access::Write, 1, 1, "alarm", true, 0},
    // Values above 3 lock nothing, and are acknowledged like the others.
    {"lockChange", Layouts::All, true, Access::Write, 0, 0xFFFF, "lock", false, 0},
    {"lockScreen", Layouts::NotTheFirst, true, Access::Write, 0, 0xFFFF, "screenLock", false, 1},
    {"lockScreenGen1V1", Layouts::TheFirst, false, Access::Write, 0, 0xFFFF, "screenLock", false, 1},
    {c_torqueUnit, Layouts::NotFirmware1, true, Access::Both, 0, c_largestUnit, nullptr, false, 0},
    {c_torqueUnitOfFirmware1, Layouts::Firmware1, false, Access::Both, 0, c_largestUnit, nullptr, false, 0},
};

constexpr char c_presets[] = "presets";
constexpr char c_eventData[] = "eventData";
constexpr char c_eventKeys[] = "eventDataKeys";
constexpr char c_presetKeys[] = "presetDataKeys";
constexpr int c_addressCount = 0x10000;

std::optional<RegisterType> tableOf(const QString& registerType)
{
    static const QHash<QString, RegisterType> tables = {
        {QStringLiteral("holdingRegisters"), QModbusDataUnit::HoldingRegisters},
        {QStringLiteral("singleRegister"), QModbusDataUnit::HoldingRegisters},
        {QStringLiteral("inputRegisters"), QModbusDataUnit::InputRegisters},
        {QStringLiteral("coils"), QModbusDataUnit::Coils},
        {QStringLiteral("discreteInputs"), QModbusDataUnit::DiscreteInputs},
    };
    const auto found = tables.constFind(registerType);
    if (found == tables.cend())
        return std::nullopt;
    return *found;
}

bool isBitTable(RegisterType table)
{
    return table == QModbusDataUnit::Coils || table == QModbusDataUnit::DiscreteInputs;
}

bool isWritableTable(RegisterType table)
{
    return table == QModbusDataUnit::HoldingRegisters || table == QModbusDataUnit::Coils;
}

// Channel entries by id, each with its values by id.
QHash<QString, QJsonObject> channelsOf(const QJsonObject& deviceConfiguration)
{
    QHash<QString, QJsonObject> result;
    const QJsonArray channels = deviceConfiguration.value(QStringLiteral("channels")).toArray();
    for (const QJsonValue& channel : channels) {
        QJsonObject values;
        const QJsonArray entries = channel[QStringLiteral("value")].toArray();
        for (const QJsonValue& entry : entries)
            values.insert(entry[QStringLiteral("id")].toString(), entry[QStringLiteral("value")]);
        result.insert(channel[QStringLiteral("id")].toString(), values);
    }
    return result;
}

// A whole number from 0 on, written as a number or as a text of digits.
std::optional<qint64> wholeNumber(const QJsonValue& value)
{
    bool ok = value.isDouble();
    const double number = value.isString() ? value.toString().toUInt(&ok, 10) : value.toDouble(-1);
    if (!ok || number < 0 || number > std::numeric_limits<quint32>::max())
        return std::nullopt;
    return static_cast<qint64>(number);
}

// "V2" of "directionV2"; empty for a name of generation 1, "lockScreenGen1V1" among them.
QString suffixOf(const QString& channel)
{
    static const QRegularExpression suffix(QStringLiteral("V([2-9]|[1-9][0-9]+)$"));
    return suffix.match(channel).captured(0);
}

bool isIn(const KnownChannel& known, const ControllerProfile& profile)
{
    switch (known.layouts) {
    case Layouts::All:
        return true;
    case Layouts::NotTheFirst:
    case Layouts::TheFirst:
        return (known.layouts == Layouts::TheFirst) == profile.hasFirstRegisterLayout();
    case Layouts::NotFirmware1:
    case Layouts::Firmware1:
        return (known.layouts == Layouts::Firmware1) == profile.hasFirstFirmware();
    }
    return false;
}

// Why the lock keeps the tool from running in a direction; empty when it does not.
QString lockedText(quint16 lock, quint16 direction)
{
    enum Lock : quint16 { Both = 1, Loosening = 2, Fastening = 3 };
    const bool isFastening = direction == 0;
    if (lock != Both && lock != (isFastening ? Fastening : Loosening))
        return {};
    return QStringLiteral("%1 is locked (lock = %2)")
        .arg(isFastening ? QStringLiteral("fastening") : QStringLiteral("loosening"))
        .arg(lock);
}

// Looks like a tightening program and differs from its neighbours, so that a value read from the wrong
// place is noticed.
quint16 presetValue(int program, int position)
{
    switch (position) {
    case 0:
        return 1;
    case 1:
        return static_cast<quint16>(100 + 5 * program);
    default:
        return static_cast<quint16>((37 * program + 11 * position) % 1000);
    }
}

// Of all sizes a register takes: a value that is read as a signed one is noticed, one from the wrong place
// too.
quint16 parameterValue(int address)
{
    return static_cast<quint16>(4001U * static_cast<quint32>(address));
}

} // namespace

QString ControllerWrite::toText() const
{
    QStringList parts;
    for (const quint16 value : values)
        parts.append(QString::number(value));
    QString text = QStringLiteral("%1: %2%3 = %4")
                       .arg(transport, table == QModbusDataUnit::Coils ? QStringLiteral("coil ") : QString())
                       .arg(address)
                       .arg(parts.join(QLatin1Char(' ')));
    if (!isAccepted())
        text += QStringLiteral(": refused with exception %1").arg(exception);
    return text;
}

SimulatedController::SimulatedController(const QJsonObject& deviceConfiguration,
                                         const ControllerProfile& profile, QObject* parent)
    : QObject(parent)
    , m_profile(profile)
{
    const QHash<QString, QJsonObject> channels = channelsOf(deviceConfiguration);
    const QString suffix = profile.channelSuffix();
    // The number of programs bounds what presetChange accepts.
    const QJsonObject parameters = deviceConfiguration.value(QStringLiteral("parameters")).toObject();
    definePresets(channels, parameters, suffix);
    defineKnownChannels(channels, suffix);
    defineEvents(channels, parameters, suffix);
    defineOtherChannels(channels, suffix);
    defineParameters(parameters);
}

QString SimulatedController::torqueUnitChannel() const
{
    return QLatin1String(m_profile.hasFirstFirmware() ? c_torqueUnitOfFirmware1 : c_torqueUnit);
}

void SimulatedController::definePresets(const QHash<QString, QJsonObject>& channels,
                                        const QJsonObject& parameters, const QString& suffix)
{
    const QString sizeName = QStringLiteral("currentPreset") + suffix;
    const QString countName = QLatin1String(c_presets) + suffix;
    const auto size = wholeNumber(channels.value(sizeName).value(QStringLiteral("size")));
    const auto count = wholeNumber(channels.value(countName).value(QStringLiteral("size")));
    if (!size || *size == 0)
        m_problems.append(
            QStringLiteral("channel \"%1\" has no \"size\" (registers of one program): no stored "
                           "programs")
                .arg(sizeName));
    if (!count || *count == 0)
        m_problems.append(
            QStringLiteral("channel \"%1\" has no \"size\" (number of programs): no stored programs")
                .arg(countName));
    if (!size || !count || *size == 0 || *count == 0)
        return;
    if (*size * *count >= c_addressCount) {
        m_problems.append(
            QStringLiteral("channels \"%1\" and \"%2\": %3 programs of %4 registers do not fit: "
                           "no stored programs")
                .arg(sizeName, countName)
                .arg(*count)
                .arg(*size));
        return;
    }
    const QString type =
        channels.value(countName).value(QStringLiteral("readRegisterType")).toString(QString());
    const auto table = tableOf(type);
    if (!table) {
        m_problems.append(QStringLiteral("channel \"%1\": unknown \"readRegisterType\" \"%2\": no stored "
                                         "programs")
                              .arg(countName, type));
        return;
    }
    m_presetSize = static_cast<int>(*size);
    m_presetCount = static_cast<int>(*count);
    const RegisterLayout layout = presetLayout(parameters, suffix);
    for (int program = 1; program <= m_presetCount; ++program) {
        QVector<quint16> values(m_presetSize);
        for (int position = 0; position < m_presetSize; ++position)
            values[position] = presetValue(program, position);
        for (const RegisterField& field : layout) {
            // Quarters: exact as a float, and exact in hundredths.
            if (field.type == RegisterField::Type::Float)
                putField(values, field, {0.25 * values.at(field.first)}, 1);
        }
        for (int position = 0; position < m_presetSize; ++position) {
            Register content;
            content.value = values.at(position);
            content.writable = isWritableTable(*table);
            const int address = (program - 1) * m_presetSize + position + 1;
            define(countName, {*table, static_cast<quint16>(address)}, content);
        }
    }
}

RegisterLayout SimulatedController::presetLayout(const QJsonObject& parameters, const QString& suffix)
{
    const QString name = QLatin1String(c_presetKeys) + suffix;
    const QJsonValue keys = parameters.value(name);
    // Only descriptors say more than which register is which; without them the programs are as good.
    if (suffix.isEmpty() || keys.isUndefined())
        return {};
    QString error;
    const auto layout = layoutOfDescriptors(keys, 1, m_presetSize, &error);
    if (!layout) {
        m_problems.append(
            QStringLiteral("parameter \"%1\" %2: no floats in stored programs").arg(name, error));
        return {};
    }
    return *layout;
}

void SimulatedController::defineEvents(const QHash<QString, QJsonObject>& channels,
                                       const QJsonObject& parameters, const QString& suffix)
{
    const QString name = QLatin1String(c_eventData) + suffix;
    const auto entry = channels.constFind(name);
    if (entry == channels.cend()) {
        m_problems.append(QStringLiteral("no channel \"%1\" in the configuration").arg(name));
        return;
    }
    const auto place = placeOf(name, *entry, false);
    if (!place)
        return;
    if (isBitTable(place->table)) {
        m_problems.append(QStringLiteral("channel \"%1\": an event needs registers, not bits").arg(name));
        return;
    }
    const auto size = wholeNumber(entry->value(QStringLiteral("size")));
    if (!size || *size == 0 || place->address + *size > c_addressCount) {
        m_problems.append(
            QStringLiteral("channel \"%1\" has no \"size\" (registers of an event, up to address 65535)")
                .arg(name));
        return;
    }
    EventBlock block{*place, static_cast<int>(*size), {}};
    for (int position = 0; position < block.size; ++position) {
        Register content;
        content.channel = name;
        if (!define(name, {place->table, static_cast<quint16>(place->address + position)}, content))
            return;
    }
    const QString keysName = QLatin1String(c_eventKeys) + suffix;
    const QJsonValue keys = parameters.value(keysName);
    QString error;
    const auto layout = suffix.isEmpty() ? layoutOfNames(keys, block.size, &error)
                                         : layoutOfDescriptors(keys, place->address, block.size, &error);
    if (!layout) {
        m_problems.append(QStringLiteral("parameter \"%1\" %2: no events").arg(keysName, error));
        return;
    }
    block.layout = *layout;
    m_eventBlock = block;
}

void SimulatedController::defineKnownChannels(const QHash<QString, QJsonObject>& channels,
                                              const QString& suffix)
{
    for (const KnownChannel& known : c_knownChannels) {
        if (!isIn(known, m_profile))
            continue;
        const QString base = QLatin1String(known.name);
        const QString name = known.versioned ? base + suffix : base;
        const auto entry = channels.constFind(name);
        if (entry == channels.cend()) {
            m_problems.append(QStringLiteral("no channel \"%1\" in the configuration").arg(name));
            continue;
        }
        const auto place = placeOf(name, *entry, known.access == Access::Write);
        if (!place)
            continue;
        Register content;
        content.value = known.initial;
        content.writable = known.access != Access::Read && isWritableTable(place->table);
        content.minimum = known.minimum;
        if (known.access != Access::Read) {
            content.maximum = known.maximum != 0 ? known.maximum : static_cast<quint16>(m_presetCount);
            content.target = QLatin1String(known.target);
            content.clearsTarget = known.clearsTarget;
        }
        content.channel = base;
        if (define(name, *place, content))
            m_places.insert(base, *place);
    }
}

void SimulatedController::defineOtherChannels(const QHash<QString, QJsonObject>& channels,
                                              const QString& suffix)
{
    QSet<QString> done = {QLatin1String(c_presets) + suffix, QLatin1String(c_eventData) + suffix};
    for (const KnownChannel& known : c_knownChannels)
        done.insert(known.versioned ? QLatin1String(known.name) + suffix : QLatin1String(known.name));

    // Sorted: which of two channels wins a register is the same in every run.
    QStringList names = channels.keys();
    names.sort();
    for (const QString& name : qAsConst(names)) {
        const QJsonObject& entry = *channels.constFind(name);
        if (done.contains(name) || suffixOf(name) != suffix || !entry.contains(QStringLiteral("register")))
            continue;
        const bool toWrite = entry.contains(QStringLiteral("writeRegisterType"));
        const auto place = placeOf(name, entry, toWrite);
        if (!place)
            continue;
        const qint64 size = wholeNumber(entry.value(QStringLiteral("size"))).value_or(1);
        for (qint64 position = 0; position < qMin<qint64>(size, c_addressCount); ++position) {
            Register content;
            content.writable = toWrite;
            if (isBitTable(place->table))
                content.maximum = 1;
            const Place here{place->table, static_cast<quint16>(place->address + position)};
            if (!define(name, here, content))
                break;
        }
    }
}

// Last of all: what a backup reads and nobody says the meaning of.
void SimulatedController::defineParameters(const QJsonObject& parameters)
{
    const QString name = m_profile.configurationName();
    // A host looks nothing up for a model without a name.
    if (name.isEmpty())
        return;
    const QString key = name + QStringLiteral("_config");
    const QJsonValue text = parameters.value(key);
    if (!text.isString()) {
        m_problems.append(
            QStringLiteral("parameter \"%1\" is %2: no backup range")
                .arg(key, text.isUndefined() ? QStringLiteral("missing") : QStringLiteral("no text")));
        return;
    }
    const auto range = backedUpRegisters(text.toString());
    if (!range) {
        m_problems.append(QStringLiteral("parameter \"%1\" has no valid \"backup_range\"").arg(key));
        return;
    }
    Table& table = m_tables[QModbusDataUnit::HoldingRegisters];
    for (int address = range->first; address < qMin(range->last + 1, c_addressCount); ++address) {
        if (table.contains(static_cast<quint16>(address)))
            continue;
        Register content;
        content.value = parameterValue(address);
        content.writable = true;
        table.insert(static_cast<quint16>(address), content);
    }
}

std::optional<SimulatedController::Place> SimulatedController::placeOf(const QString& name,
                                                                       const QJsonObject& entry, bool toWrite)
{
    const auto address = wholeNumber(entry.value(QStringLiteral("register")));
    if (!address) {
        m_problems.append(QStringLiteral("channel \"%1\" has no \"register\"").arg(name));
        return std::nullopt;
    }
    const QString key = toWrite ? QStringLiteral("writeRegisterType") : QStringLiteral("readRegisterType");
    const QString type = entry.value(key).toString();
    const auto table = tableOf(type);
    if (!table || (toWrite && !isWritableTable(*table))) {
        m_problems.append(
            QStringLiteral("channel \"%1\": \"%2\" is \"%3\", which is not one of %4")
                .arg(name, key, type,
                     toWrite
                         ? QStringLiteral("singleRegister, holdingRegisters, coils")
                         : QStringLiteral(
                               "holdingRegisters, singleRegister, inputRegisters, coils, discreteInputs")));
        return std::nullopt;
    }
    return Place{*table, static_cast<quint16>(*address & 0xFFFF)};
}

bool SimulatedController::define(const QString& name, const Place& place, const Register& content)
{
    Table& table = m_tables[place.table];
    const auto existing = table.constFind(place.address);
    if (existing != table.cend()) {
        m_problems.append(QStringLiteral("channel \"%1\": register %2 is taken already%3")
                              .arg(name)
                              .arg(place.address)
                              .arg(existing->channel.isEmpty()
                                       ? QString()
                                       : QStringLiteral(" by \"%1\"").arg(existing->channel)));
        return false;
    }
    table.insert(place.address, content);
    return true;
}

quint8 SimulatedController::read(RegisterType table, quint16 address, int count,
                                 QVector<quint16>* values) const
{
    const Table& registers = m_tables.value(table);
    QVector<quint16> result;
    result.reserve(count);
    for (int i = 0; i < count; ++i) {
        // Behind the last address nothing is defined: no wrap to 0.
        const auto found = address + i < c_addressCount
                               ? registers.constFind(static_cast<quint16>(address + i))
                               : registers.cend();
        if (found == registers.cend())
            return c_illegalAddress;
        result.append(found->value);
    }
    if (count < 1)
        return c_illegalAddress;
    *values = result;
    return c_accepted;
}

quint8 SimulatedController::checkWrite(RegisterType table, quint16 address,
                                       const QVector<quint16>& values) const
{
    const Table& registers = m_tables.value(table);
    quint8 result = values.isEmpty() ? c_illegalValue : c_accepted;
    for (int i = 0; i < values.size(); ++i) {
        const auto found = address + i < c_addressCount
                               ? registers.constFind(static_cast<quint16>(address + i))
                               : registers.cend();
        // The address comes before the value, wherever in the block it is.
        if (found == registers.cend() || !found->writable)
            return c_illegalAddress;
        if (values[i] < found->minimum || values[i] > found->maximum)
            result = c_illegalValue;
    }
    return result;
}

quint8 SimulatedController::write(RegisterType table, quint16 address, const QVector<quint16>& values)
{
    const quint8 exception = checkWrite(table, address, values);
    if (exception != c_accepted)
        return exception;
    for (int i = 0; i < values.size(); ++i) {
        Register& content = m_tables[table][static_cast<quint16>(address + i)];
        content.value = values[i];
        const QString target = content.target;
        const quint16 shown = content.clearsTarget ? quint16(0) : values[i];
        if (!target.isEmpty())
            setValue(target, shown);
    }
    return c_accepted;
}

void SimulatedController::noteWrite(const ControllerWrite& write)
{
    if (write.isAccepted())
        ++m_acceptedWriteCount;
    else
        ++m_refusedWriteCount;
    m_writes.append(write);
    if (m_writes.size() > c_maximumWrites)
        m_writes.removeFirst();
    Q_EMIT writeNoted(write);
}

std::optional<quint16> SimulatedController::value(const QString& channel) const
{
    const auto place = m_places.constFind(channel);
    if (place == m_places.cend())
        return std::nullopt;
    return m_tables.value(place->table).value(place->address).value;
}

bool SimulatedController::setValue(const QString& channel, quint16 value)
{
    const auto found = m_places.constFind(channel);
    if (found == m_places.cend())
        return false;
    Register& content = m_tables[found->table][found->address];
    // A bit table holds only whether.
    const quint16 kept = isBitTable(found->table) ? quint16(value != 0 ? 1 : 0) : value;
    if (content.value == kept)
        return true;
    content.value = kept;
    Q_EMIT valueChanged(channel, kept);
    return true;
}

bool SimulatedController::startCycle(QString* error)
{
    const Cycle cycle{currentPreset(), direction()};
    QString refusal;
    if (!m_eventBlock)
        refusal = QStringLiteral("the configuration describes no event block");
    else if (m_cycle)
        refusal = QStringLiteral("a tightening cycle is running");
    else
        refusal = lockedText(value(QStringLiteral("lock")).value_or(0), cycle.direction);
    if (!refusal.isEmpty()) {
        if (error != nullptr)
            *error = refusal;
        return false;
    }
    m_cycle = cycle;
    setMotorRunning(true);
    return true;
}

bool SimulatedController::finishCycle()
{
    if (!m_cycle)
        return false;
    const auto count = static_cast<quint16>(m_lastEvent.count + 1);
    // A copy: who hears of it may run the next cycle at once.
    const TighteningEvent event =
        TighteningEvent::ofCount(count, m_cycle->program, m_cycle->direction, m_eventSeed);
    m_lastEvent = event;
    m_cycle.reset();
    showEvent();
    setMotorRunning(false);
    Q_EMIT eventPosted(event);
    return true;
}

bool SimulatedController::tighten(QString* error)
{
    return startCycle(error) && finishCycle();
}

void SimulatedController::setEventCount(quint16 count)
{
    m_lastEvent.count = count;
    showEvent();
}

void SimulatedController::showEvent()
{
    if (!m_eventBlock)
        return;
    const QVector<quint16> words = encodeEvent(m_eventBlock->layout, m_eventBlock->size, m_lastEvent);
    Table& registers = m_tables[m_eventBlock->place.table];
    for (int i = 0; i < words.size(); ++i)
        registers[static_cast<quint16>(m_eventBlock->place.address + i)].value = words.at(i);
}

void SimulatedController::clearWrites()
{
    m_writes.clear();
    m_acceptedWriteCount = 0;
    m_refusedWriteCount = 0;
}
