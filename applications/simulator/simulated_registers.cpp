#include "applications/simulator/simulated_registers.h"

#include "applications/simulator/backed_up_registers.h"
#include "applications/simulator/channel_meaning.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QSet>

#include <limits>

namespace {

using Kind = ChannelMeaning::Kind;
using RegisterType = QModbusDataUnit::RegisterType;
using Channels = QHash<QString, QJsonObject>;

constexpr char c_currentProgram[] = "currentPreset";
constexpr char c_eventKeys[] = "eventDataKeys";
constexpr char c_programKeys[] = "presetDataKeys";
constexpr int c_addressCount = RegisterBank::c_addressCount;

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

// Channel entries by id, each with its values by id.
Channels channelsOf(const QJsonObject& configuration)
{
    Channels result;
    const QJsonArray channels = configuration.value(QStringLiteral("channels")).toArray();
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

// Looks like a tightening program and differs from its neighbours, so that a value read from the wrong
// place is noticed.
quint16 programValue(int program, int position)
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

QVector<quint16> programValues(int program, int size, const RegisterLayout& layout)
{
    QVector<quint16> values(size);
    for (int position = 0; position < size; ++position)
        values[position] = programValue(program, position);
    for (const RegisterField& field : layout) {
        // Hundredths, which hardly any float holds exactly: whoever rounds what is to be cut off is noticed.
        constexpr double c_hundredths = 100;
        if (field.type == RegisterField::Type::Float)
            putField(values, field, {values.at(field.first) / c_hundredths}, 1);
    }
    return values;
}

// Of all sizes a register takes: a value that is read as a signed one is noticed, one from the wrong place
// too.
quint16 parameterValue(int address)
{
    return static_cast<quint16>(4001U * static_cast<quint32>(address));
}

// Reads a configuration into registers, each kind of them by itself.
class RegisterReading
{
public:
    RegisterReading(const QJsonObject& configuration, const ControllerProfile& profile)
        : m_profile(profile)
        , m_suffix(profile.channelSuffix())
        , m_channels(channelsOf(configuration))
        , m_parameters(configuration.value(QStringLiteral("parameters")).toObject())
    {}

    SimulatedRegisters read()
    {
        // The number of programs bounds what a channel accepts.
        definePrograms();
        defineSingleRegisters();
        defineEvents();
        defineOtherChannels();
        defineParameters();
        return m_result;
    }

private:
    bool readProgramSize();
    void definePrograms();
    RegisterLayout programLayout();
    void defineSingleRegisters();
    RegisterBank::Register contentOf(const ChannelMeaning& meaning, const TableAddress& place) const;
    void defineEvents();
    void readEventKeys(const SimulatedRegisters::EventBlock& block);
    void defineOtherChannels();
    void defineOtherChannel(const QString& name, const QJsonObject& entry);
    void defineParameters();

    QJsonValue size(const QString& channel) const
    {
        return m_channels.value(channel).value(QStringLiteral("size"));
    }
    std::optional<TableAddress> placeOf(const QString& name, const QJsonObject& entry, bool toWrite);
    bool define(const QString& name, const TableAddress& place, const RegisterBank::Register& content);
    void say(const QString& problem) { m_result.problems.append(problem); }

    const ControllerProfile& m_profile;
    const QString m_suffix;
    const Channels m_channels;
    const QJsonObject m_parameters;
    SimulatedRegisters m_result;
};

// False, and said why, when the configuration has no stored programs.
bool RegisterReading::readProgramSize()
{
    const QString sizeName = QLatin1String(c_currentProgram) + m_suffix;
    const QString countName = channelMeaning(Kind::Programs).nameIn(m_profile);
    const qint64 registers = wholeNumber(size(sizeName)).value_or(0);
    const qint64 count = wholeNumber(size(countName)).value_or(0);
    if (registers == 0)
        say(QStringLiteral("channel \"%1\" has no \"size\" (registers of one program): no stored programs")
                .arg(sizeName));
    if (count == 0)
        say(QStringLiteral("channel \"%1\" has no \"size\" (number of programs): no stored programs")
                .arg(countName));
    if (registers == 0 || count == 0)
        return false;
    if (registers * count >= c_addressCount) {
        say(QStringLiteral("channels \"%1\" and \"%2\": %3 programs of %4 registers do not fit: "
                           "no stored programs")
                .arg(sizeName, countName)
                .arg(count)
                .arg(registers));
        return false;
    }
    m_result.programSize = static_cast<int>(registers);
    m_result.programCount = static_cast<int>(count);
    return true;
}

void RegisterReading::definePrograms()
{
    if (!readProgramSize())
        return;
    const QString name = channelMeaning(Kind::Programs).nameIn(m_profile);
    const QString type = m_channels.value(name).value(QStringLiteral("readRegisterType")).toString();
    const auto table = tableOf(type);
    if (!table) {
        m_result.programSize = 0;
        m_result.programCount = 0;
        say(QStringLiteral("channel \"%1\": unknown \"readRegisterType\" \"%2\": no stored programs")
                .arg(name, type));
        return;
    }
    const int registers = m_result.programSize;
    const RegisterLayout layout = programLayout();
    for (int program = 1; program <= m_result.programCount; ++program) {
        const QVector<quint16> values = programValues(program, registers, layout);
        for (int position = 0; position < registers; ++position) {
            RegisterBank::Register content;
            content.value = values.at(position);
            content.writable = isWritableTable(*table);
            const int address = (program - 1) * registers + position + 1;
            define(name, {*table, static_cast<quint16>(address)}, content);
        }
    }
}

RegisterLayout RegisterReading::programLayout()
{
    const QString name = QLatin1String(c_programKeys) + m_suffix;
    const QJsonValue keys = m_parameters.value(name);
    // Only descriptors say more than which register is which; without them the programs are as good.
    if (m_suffix.isEmpty() || keys.isUndefined())
        return {};
    QString error;
    const auto layout = layoutOfDescriptors(keys, 1, m_result.programSize, &error);
    if (!layout) {
        say(QStringLiteral("parameter \"%1\" %2: no floats in stored programs").arg(name, error));
        return {};
    }
    return *layout;
}

void RegisterReading::defineSingleRegisters()
{
    for (const ChannelMeaning& meaning : channelMeanings()) {
        if (meaning.kind == Kind::Programs || meaning.kind == Kind::Event || !meaning.isIn(m_profile))
            continue;
        const QString name = meaning.nameIn(m_profile);
        const auto entry = m_channels.constFind(name);
        if (entry == m_channels.cend()) {
            say(QStringLiteral("no channel \"%1\" in the configuration").arg(name));
            continue;
        }
        const auto place = placeOf(name, *entry, meaning.kind == Kind::Action);
        if (place && define(name, *place, contentOf(meaning, *place)))
            m_result.places.insert(QLatin1String(meaning.name), *place);
    }
}

RegisterBank::Register RegisterReading::contentOf(const ChannelMeaning& meaning,
                                                  const TableAddress& place) const
{
    RegisterBank::Register content;
    content.value = meaning.initial;
    content.writable = meaning.kind != Kind::Status && isWritableTable(place.table);
    content.lowest = meaning.lowest;
    content.highest = meaning.upToPrograms ? static_cast<quint16>(m_result.programCount) : meaning.highest;
    content.channel = QLatin1String(meaning.name);
    content.changes = QLatin1String(meaning.changes);
    content.clears = meaning.clears;
    return content;
}

void RegisterReading::defineEvents()
{
    const QString name = channelMeaning(Kind::Event).nameIn(m_profile);
    const auto entry = m_channels.constFind(name);
    if (entry == m_channels.cend()) {
        say(QStringLiteral("no channel \"%1\" in the configuration").arg(name));
        return;
    }
    const auto place = placeOf(name, *entry, false);
    if (!place)
        return;
    if (isBitTable(place->table)) {
        say(QStringLiteral("channel \"%1\": an event needs registers, not bits").arg(name));
        return;
    }
    const auto registers = wholeNumber(size(name));
    if (!registers || *registers == 0 || place->address + *registers > c_addressCount) {
        say(QStringLiteral("channel \"%1\" has no \"size\" (registers of an event, up to address 65535)")
                .arg(name));
        return;
    }
    const SimulatedRegisters::EventBlock block{*place, static_cast<int>(*registers), {}};
    for (int position = 0; position < block.size; ++position) {
        RegisterBank::Register content;
        content.channel = name;
        if (!define(name, {place->table, static_cast<quint16>(place->address + position)}, content))
            return;
    }
    readEventKeys(block);
}

void RegisterReading::readEventKeys(const SimulatedRegisters::EventBlock& block)
{
    const QString name = QLatin1String(c_eventKeys) + m_suffix;
    const QJsonValue keys = m_parameters.value(name);
    QString error;
    const auto layout = m_suffix.isEmpty()
                            ? layoutOfNames(keys, block.size, &error)
                            : layoutOfDescriptors(keys, block.place.address, block.size, &error);
    if (!layout) {
        say(QStringLiteral("parameter \"%1\" %2: no events").arg(name, error));
        return;
    }
    m_result.eventBlock = block;
    m_result.eventBlock->layout = *layout;
}

void RegisterReading::defineOtherChannels()
{
    QSet<QString> done;
    for (const ChannelMeaning& meaning : channelMeanings())
        done.insert(meaning.nameIn(m_profile));
    // Sorted: which of two channels wins a register is the same in every run.
    QStringList names = m_channels.keys();
    names.sort();
    for (const QString& name : qAsConst(names)) {
        const QJsonObject& entry = *m_channels.constFind(name);
        if (!done.contains(name) && suffixOf(name) == m_suffix && entry.contains(QStringLiteral("register")))
            defineOtherChannel(name, entry);
    }
}

void RegisterReading::defineOtherChannel(const QString& name, const QJsonObject& entry)
{
    const bool toWrite = entry.contains(QStringLiteral("writeRegisterType"));
    const auto place = placeOf(name, entry, toWrite);
    if (!place)
        return;
    RegisterBank::Register content;
    content.writable = toWrite;
    if (isBitTable(place->table))
        content.highest = 1;
    const qint64 registers = qMin<qint64>(wholeNumber(size(name)).value_or(1), c_addressCount);
    for (qint64 position = 0; position < registers; ++position) {
        if (!define(name, {place->table, static_cast<quint16>(place->address + position)}, content))
            return;
    }
}

// Last of all: what a backup reads and nobody says the meaning of.
void RegisterReading::defineParameters()
{
    const QString name = m_profile.configurationName();
    // A host looks nothing up for a model without a name.
    if (name.isEmpty())
        return;
    const QString key = name + QStringLiteral("_config");
    const QJsonValue text = m_parameters.value(key);
    if (!text.isString()) {
        say(QStringLiteral("parameter \"%1\" is %2: no backup range")
                .arg(key, text.isUndefined() ? QStringLiteral("missing") : QStringLiteral("no text")));
        return;
    }
    const auto range = backedUpRegisters(text.toString());
    if (!range) {
        say(QStringLiteral("parameter \"%1\" has no valid \"backup_range\"").arg(key));
        return;
    }
    for (int address = range->first; address <= qMin(range->last, c_addressCount - 1); ++address) {
        RegisterBank::Register content;
        content.value = parameterValue(address);
        content.writable = true;
        // Where there is one already it stays.
        m_result.bank.define({QModbusDataUnit::HoldingRegisters, static_cast<quint16>(address)}, content);
    }
}

std::optional<TableAddress> RegisterReading::placeOf(const QString& name, const QJsonObject& entry,
                                                     bool toWrite)
{
    const auto address = wholeNumber(entry.value(QStringLiteral("register")));
    if (!address) {
        say(QStringLiteral("channel \"%1\" has no \"register\"").arg(name));
        return std::nullopt;
    }
    const QString key = toWrite ? QStringLiteral("writeRegisterType") : QStringLiteral("readRegisterType");
    const QString type = entry.value(key).toString();
    const auto table = tableOf(type);
    if (!table || (toWrite && !isWritableTable(*table))) {
        const QString toRead =
            QStringLiteral("holdingRegisters, singleRegister, inputRegisters, coils, discreteInputs");
        say(QStringLiteral("channel \"%1\": \"%2\" is \"%3\", which is not one of %4")
                .arg(name, key, type,
                     toWrite ? QStringLiteral("singleRegister, holdingRegisters, coils") : toRead));
        return std::nullopt;
    }
    return TableAddress{*table, static_cast<quint16>(*address & 0xFFFF)};
}

bool RegisterReading::define(const QString& name, const TableAddress& place,
                             const RegisterBank::Register& content)
{
    if (m_result.bank.define(place, content))
        return true;
    const QString owner = m_result.bank.find(place)->channel;
    say(QStringLiteral("channel \"%1\": register %2 is taken already%3")
            .arg(name)
            .arg(place.address)
            .arg(owner.isEmpty() ? QString() : QStringLiteral(" by \"%1\"").arg(owner)));
    return false;
}

} // namespace

SimulatedRegisters SimulatedRegisters::describedBy(const QJsonObject& configuration,
                                                   const ControllerProfile& profile)
{
    return RegisterReading(configuration, profile).read();
}
