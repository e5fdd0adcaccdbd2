#include "applications/bench/init/register_meaning.h"

#include "applications/bench/init/channel_words.h"
#include "applications/bench/init/plain_words.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonObject>
#include <QSet>

#include <algorithm>

namespace {

const QString c_register = QStringLiteral("register");
const QString c_size = QStringLiteral("size");
const QString c_readType = QStringLiteral("readRegisterType");
const QString c_writeType = QStringLiteral("writeRegisterType");
const QString c_eventData = QStringLiteral("eventData");
const QString c_currentPreset = QStringLiteral("currentPreset");
const QString c_presets = QStringLiteral("presets");
const QString c_eventKeys = QStringLiteral("eventDataKeys");
const QString c_presetKeys = QStringLiteral("presetDataKeys");
// The value that commands look for to tell one event from the next.
const QString c_counter = QStringLiteral("eventCountNo");

constexpr int c_lastRegister = 65535;

QString readTypeOf(const ListedRegister& listed)
{
    switch (listed.table) {
    case RegisterTable::Input:
        return QStringLiteral("inputRegisters");
    case RegisterTable::Coil:
        return QStringLiteral("coils");
    case RegisterTable::Discrete:
        return QStringLiteral("discreteInputs");
    case RegisterTable::Holding:
    case RegisterTable::NotTold:
        break;
    }
    return QStringLiteral("holdingRegisters");
}

// Empty for a table that cannot be written.
QString writeTypeOf(const ListedRegister& listed)
{
    switch (listed.table) {
    case RegisterTable::Coil:
        return QStringLiteral("coils");
    case RegisterTable::Input:
    case RegisterTable::Discrete:
        return {};
    case RegisterTable::Holding:
    case RegisterTable::NotTold:
        break;
    }
    return listed.isWrittenAsSeveral ? QStringLiteral("holdingRegisters") : QStringLiteral("singleRegister");
}

// The value of an event or of a program that the row is.
QString fieldName(const ListedRegister& listed, const QString& list)
{
    const QStringList words = plainWords(listed.name);
    const bool counts =
        hasWord(words, {"counter", "count", "compteur", "zahler"}) || listed.name == c_counter;
    if (list == c_eventKeys && counts)
        return c_counter;
    // By this name the log of tightenings knows it.
    const QStringList numbers{"number", "no", "nr", "id", "num", "numero", "nummer"};
    if (list == c_eventKeys && isAboutPrograms(words.mid(0, 1)) &&
        (words.size() == 1 || hasWord(words, numbers)))
        return QStringLiteral("program");
    return nameOfWords(words);
}

QString spanText(int first, int count)
{
    return count == 1 ? QString::number(first) : QStringLiteral("%1-%2").arg(first).arg(first + count - 1);
}

QString torqueUnitOf(const ConnectedController& controller)
{
    return controller.modelName.isEmpty() ? torqueUnitChannel(controller.generation, QString())
                                          : torqueUnitChannel(controller.modelName);
}

class Reader
{
public:
    Reader(const RegisterList& list, const ConnectedController& controller, std::optional<int> offset)
        : m_suffix(generationSuffix(controller.generation))
        , m_generation(controller.generation)
        , m_lockScreen(lockScreenChannel(controller.generation, static_cast<quint16>(controller.firmware),
                                         controller.isBm))
        , m_torqueUnit(torqueUnitOf(controller))
    {
        chooseOffset(list, offset);
        m_meaning.leftOut = list.leftOut;
        for (ListedRegister listed : list.registers) {
            if (listed.number >= 0)
                listed.number += m_shift;
            m_rows.append(listed);
        }
    }

    RegisterMeaning read()
    {
        dropImpossible();
        // Names of channels before words about them, and blocks before what lies in them.
        takeRows(&Reader::takeNamed);
        takeRows(&Reader::takeEventBlock);
        takeEventGroup();
        takeRows(&Reader::takeEventField);
        takeRows(&Reader::takeProgramStart);
        finishPrograms();
        takeRows(&Reader::takeProgramField);
        takeRows(&Reader::takeOwn);
        takeRows(&Reader::takeByWords);
        for (const ListedRegister& row : qAsConst(m_rows))
            leaveOut(row,
                     QStringLiteral("no command has a use for it; head its column \"channel\" to have it "
                                    "read by that name"));
        writeFields(c_eventKeys, m_eventFields, m_eventFirst, m_eventSize);
        writeFields(c_presetKeys, m_programFields, 1, m_meaning.programSize);
        const auto byLine = [](const auto& a, const auto& b) { return a.line < b.line; };
        std::stable_sort(m_meaning.understood.begin(), m_meaning.understood.end(), byLine);
        std::stable_sort(m_meaning.leftOut.begin(), m_meaning.leftOut.end(), byLine);
        return m_meaning;
    }

private:
    struct Field
    {
        QString name;
        int first = 0;
        int count = 1;
        QString type;
    };
    // Whether the row is dealt with.
    using Step = bool (Reader::*)(const ListedRegister& row);

    void chooseOffset(const RegisterList& list, std::optional<int> offset)
    {
        const int natural = list.base.value_or(0) == 1 ? -1 : 0;
        m_meaning.addressOffset = offset.value_or(natural);
        // The wire has the list's number less its base, and the driver adds the offset to ours.
        if (list.base)
            m_shift = -*list.base - m_meaning.addressOffset;
        if (offset)
            m_meaning.offsetReason = QStringLiteral("told");
        else if (list.base)
            m_meaning.offsetReason = QStringLiteral("the list counts from %1").arg(*list.base);
        else
            m_meaning.offsetReason = QStringLiteral(
                "assumed: the list does not tell where it counts from; give --offset -1 if it is from 1");
    }

    void leaveOut(const ListedRegister& row, const QString& why)
    {
        m_meaning.leftOut.append({row.line, row.name, why});
    }

    void takeRows(Step step)
    {
        QList<ListedRegister> rest;
        for (const ListedRegister& row : qAsConst(m_rows)) {
            if (!(this->*step)(row))
                rest.append(row);
        }
        m_rows = rest;
    }

    void dropImpossible()
    {
        QList<ListedRegister> kept;
        for (const ListedRegister& row : qAsConst(m_rows)) {
            const bool isAlone = row.number == -1 && row.size;
            if (!isAlone && (row.number < 0 || row.number + row.count - 1 > c_lastRegister))
                leaveOut(row, QStringLiteral("register %1 is outside of 0 to 65535").arg(row.number));
            else
                kept.append(row);
        }
        m_rows = kept;
    }

    QString idOf(const QString& channel) const
    {
        // One for all generations, and those with a name of their own, have no suffix.
        if (channel == QLatin1String("alarmReset") || versionedName(channel).base != channel ||
            channel.contains(QLatin1String("Gen1")))
            return channel;
        if (channel == QLatin1String("lockScreen"))
            return m_lockScreen;
        return channel == QLatin1String("torqueUnit") ? m_torqueUnit : channel + m_suffix;
    }

    void tell(const ListedRegister& row, const QString& meaning, const QString& type,
              const QString& remark = {})
    {
        m_meaning.understood.append({row.line, row.name, meaning,
                                     row.number < 0 ? QString() : spanText(row.number, row.count), type,
                                     remark});
    }

    // False, with the row left out, when the channel is another row's.
    bool takeChannel(const ListedRegister& row, const QString& id, bool isToWrite, const QString& remark = {})
    {
        ChannelEntries& known = m_meaning.entries[id];
        if (known.contains(c_register) && row.number >= 0) {
            leaveOut(row, QStringLiteral("\"%1\" is line %2 already; give the row that is meant the name of "
                                         "the channel")
                              .arg(id)
                              .arg(m_lines.value(id)));
            return false;
        }
        m_lines.insert(id, row.line);
        const QString type = isToWrite ? writeTypeOf(row) : readTypeOf(row);
        if (row.number >= 0) {
            known.insert(c_register, row.number);
            known.insert(isToWrite ? c_writeType : c_readType, type);
        }
        if (!isToWrite && id != c_eventData + m_suffix)
            describe(row, known);
        if (row.size) {
            known.insert(c_size, *row.size);
            tell(row, id, type, QStringLiteral("size %1").arg(*row.size));
        } else {
            tell(row, id, type, remark);
        }
        return true;
    }

    // The channel that the name is; nothing where it is no more than a word of the language.
    QString channelOf(const ListedRegister& row) const
    {
        const QString channel = channelNamed(row.name);
        if (row.isChannel || channel.isEmpty())
            return channel;
        const bool isOnlyRead = row.access == RegisterAccess::Read || row.access == RegisterAccess::NotTold;
        const bool isSpelt = row.name == channel || row.name == channel + m_suffix;
        return isSpelt && (isWritten(channel) || isOnlyRead) ? channel : QString();
    }

    // What the list says of a value for people.
    static void describe(const ListedRegister& row, ChannelEntries& known)
    {
        if (row.scale != 1)
            known.insert(QStringLiteral("scale"), row.scale);
        if (!row.unit.isEmpty())
            known.insert(QStringLiteral("unit"), row.unit);
        if (row.data != RegisterData::Float || row.count != 2)
            return;
        known.insert(QStringLiteral("encoding"), QStringLiteral("float"));
        if (row.hasSwappedWords)
            known.insert(QStringLiteral("wordOrder"), QStringLiteral("lowFirst"));
    }

    bool takeNamed(const ListedRegister& row)
    {
        const VersionedName version = versionedName(row.name);
        if (version.generation > 1 && version.generation != m_generation &&
            !channelNamed(row.name).isEmpty()) {
            leaveOut(row, QStringLiteral("it is of generation %1").arg(version.generation));
            return true;
        }
        const QString channel = channelOf(row);
        if (channel.isEmpty())
            return false;
        const QString id = idOf(channel);
        const bool isToWrite = isWritten(channel);
        if (isToWrite && writeTypeOf(row).isEmpty()) {
            leaveOut(row, QStringLiteral("\"%1\" is written, and its table cannot be").arg(id));
            return true;
        }
        if (channel == c_presets)
            return takePresets(row, id);
        if (!takeChannel(row, id, isToWrite))
            return true;
        if (channel == c_eventData)
            rememberEvent(row);
        if (channel == c_currentPreset && row.size)
            m_meaning.programSize = *row.size;
        return true;
    }

    // A channel of somebody's own, for "getRegister".
    bool takeOwn(const ListedRegister& row)
    {
        if (!row.isChannel)
            return false;
        const bool isToWrite = row.access == RegisterAccess::Write && !writeTypeOf(row).isEmpty();
        takeChannel(row, row.name + m_suffix, isToWrite);
        return true;
    }

    // Programs are counted from register 1: an address is of no use.
    bool takePresets(ListedRegister row, const QString& id)
    {
        if (row.size)
            m_meaning.programCount = *row.size;
        const QString type = readTypeOf(row);
        row.number = -1;
        ChannelEntries& known = m_meaning.entries[id];
        known.insert(c_readType, type);
        if (row.size)
            known.insert(c_size, *row.size);
        tell(row, id, type, row.size ? QStringLiteral("%1 programs").arg(*row.size) : QString());
        return true;
    }

    void rememberEvent(const ListedRegister& row)
    {
        m_eventFirst = row.number;
        m_eventType = readTypeOf(row);
        // Of an address alone the length is not known: it is left open.
        m_eventSize = row.size.value_or(row.count > 1 ? row.count : 0);
        if (m_eventSize == 0)
            return;
        m_meaning.entries[c_eventData + m_suffix].insert(c_size, m_eventSize);
    }

    bool takeEventBlock(const ListedRegister& row)
    {
        if (m_eventSize > 0 || row.count < 2 ||
            channelsByWords(plainWords(row.name), RegisterAccess::Read).read != c_eventData)
            return false;
        if (takeChannel(row, c_eventData + m_suffix, false))
            rememberEvent(row);
        return true;
    }

    // Rows of a group about events are the block where no row is: from the first to the last of them.
    void takeEventGroup()
    {
        if (m_eventSize > 0)
            return;
        QList<ListedRegister> rows;
        for (const ListedRegister& row : qAsConst(m_rows)) {
            if (row.number >= 0 && isAboutEvents(plainWords(row.block)))
                rows.append(row);
        }
        if (rows.size() < 2 || m_meaning.entries.value(c_eventData + m_suffix).contains(c_register))
            return;
        const auto byNumber = [](const ListedRegister& a, const ListedRegister& b) {
            return a.number < b.number;
        };
        std::stable_sort(rows.begin(), rows.end(), byNumber);
        ListedRegister block = rows.constFirst();
        block.name = QStringLiteral("(%1)").arg(block.block);
        block.count = rows.constLast().number + rows.constLast().count - block.number;
        if (takeChannel(block, c_eventData + m_suffix, false))
            rememberEvent(block);
    }

    static Field fieldOf(const ListedRegister& row, const QString& name, int first)
    {
        const bool isFloat = row.data == RegisterData::Float && row.count == 2 && !row.hasSwappedWords;
        const bool isList = !isFloat && row.count > 1;
        return {name, first, row.count,
                isFloat  ? QStringLiteral("float")
                : isList ? QStringLiteral("list")
                         : QStringLiteral("int")};
    }

    bool takeField(const ListedRegister& row, QList<Field>& fields, const QString& list, int first)
    {
        const QString name = fieldName(row, list);
        if (name.isEmpty()) {
            leaveOut(row, QStringLiteral("its name has no letter"));
            return true;
        }
        fields.append(fieldOf(row, name, first));
        if (list == c_eventKeys)
            describeField(row, fields.constLast());
        tell(row, QStringLiteral("%1: %2").arg(list + m_suffix, name), fields.constLast().type,
             row.hasSwappedWords && row.count > 1
                 ? QStringLiteral("its words are swapped: commands give both, and no float of them")
                 : QString());
        return true;
    }

    // Commands give a float of a block in hundredths from generation 2 on.
    void describeField(const ListedRegister& row, const Field& field)
    {
        const bool isInHundredths = m_generation > 1 && field.type == QLatin1String("float");
        const double scale = row.scale * (isInHundredths ? 0.01 : 1);
        QJsonObject description;
        if (scale != 1)
            description.insert(QStringLiteral("scale"), scale);
        if (!row.unit.isEmpty())
            description.insert(QStringLiteral("unit"), row.unit);
        const bool isTold = row.scale != 1 || !row.unit.isEmpty();
        if (!isTold || field.type == QLatin1String("list"))
            return;
        QJsonValue& values = m_meaning.entries[c_eventData + m_suffix][QStringLiteral("values")];
        QJsonObject all = values.toObject();
        all.insert(field.name, description);
        values = all;
    }

    bool takeEventField(const ListedRegister& row)
    {
        if (m_eventSize == 0 || row.number < m_eventFirst || row.number >= m_eventFirst + m_eventSize ||
            readTypeOf(row) != m_eventType)
            return false;
        return takeField(row, m_eventFields, c_eventKeys, row.number);
    }

    // "Program 3", at its first register.
    bool takeProgramStart(const ListedRegister& row)
    {
        const QStringList words = plainWords(row.name);
        bool isNumber = false;
        const int program = words.value(1).toInt(&isNumber);
        if (words.size() != 2 || !isNumber || program < 1 || !isAboutPrograms(words) || row.number < 0)
            return false;
        m_programs.append(row);
        m_programNumbers.append(program);
        return true;
    }

    // The same number of registers from each to the next, and the first at register 1, where commands count
    // from.
    void finishPrograms()
    {
        if (m_programs.isEmpty())
            return;
        int size = m_programs.constFirst().count;
        for (int i = 1; i < m_programs.size() && size > 0; ++i) {
            const int programs = m_programNumbers.at(i) - m_programNumbers.at(i - 1);
            const int registers = m_programs.at(i).number - m_programs.at(i - 1).number;
            const int stride = programs > 0 && registers % programs == 0 ? registers / programs : 0;
            size = i == 1 || stride == size ? stride : 0;
        }
        const qint64 expected = (m_programNumbers.constFirst() - qint64{1}) * size + 1;
        const bool isGood = size > 1 && m_programs.constFirst().number == expected;
        for (const ListedRegister& row : qAsConst(m_programs)) {
            if (isGood)
                tell(row, c_presets + m_suffix, QString(),
                     QStringLiteral("%1 registers a program").arg(size));
            else
                leaveOut(row, QStringLiteral("programs do not lie one behind the other from register 1 on, "
                                             "as commands count them"));
        }
        if (!isGood)
            return;
        m_meaning.programSize = size;
        m_meaning.programCount = *std::max_element(m_programNumbers.cbegin(), m_programNumbers.cend());
        m_meaning.entries[c_currentPreset + m_suffix].insert(c_size, size);
        m_meaning.entries[c_presets + m_suffix].insert(c_size, m_meaning.programCount);
    }

    // Of a group about programs, within the first one.
    bool takeProgramField(const ListedRegister& row)
    {
        if (row.number < 1 || row.number + row.count - 1 > m_meaning.programSize ||
            !isAboutPrograms(plainWords(row.block)))
            return false;
        return takeField(row, m_programFields, c_presetKeys, row.number);
    }

    bool takeByWords(const ListedRegister& row)
    {
        if (row.number < 0)
            return false;
        RegisterAccess access = row.access;
        if (access == RegisterAccess::NotTold && writeTypeOf(row).isEmpty())
            access = RegisterAccess::Read;
        MeantChannels meant = channelsByWords(plainWords(row.name), access);
        if (meant.read.isEmpty() && meant.written.isEmpty())
            meant = channelsByWords(plainWords(row.description), access);
        // A block of its own is no single value.
        if (meant.read == c_eventData)
            meant.read.clear();
        if (meant.read.isEmpty() && meant.written.isEmpty())
            return false;
        const QString remark =
            row.access == RegisterAccess::NotTold
                ? QStringLiteral("by its words; the list does not say that it is %1")
                      .arg(meant.written.isEmpty() ? QStringLiteral("read") : QStringLiteral("written"))
                : QString();
        if (!meant.written.isEmpty() && row.count > 1)
            leaveOut(row, QStringLiteral("\"%1\" is written as one register, and these are %2")
                              .arg(meant.written)
                              .arg(row.count));
        else if (!meant.written.isEmpty() && writeTypeOf(row).isEmpty())
            leaveOut(row, QStringLiteral("\"%1\" is written, and its table cannot be").arg(meant.written));
        else if (!meant.written.isEmpty())
            takeChannel(row, idOf(meant.written), true, remark);
        if (!meant.read.isEmpty())
            takeChannel(row, idOf(meant.read), false, remark);
        return true;
    }

    void writeFields(const QString& list, QList<Field> fields, int first, int size)
    {
        if (fields.isEmpty())
            return;
        std::stable_sort(fields.begin(), fields.end(),
                         [](const Field& a, const Field& b) { return a.first < b.first; });
        m_meaning.keyLists.insert(list + m_suffix,
                                  m_generation > 1 ? descriptors(fields) : names(fields, first, size));
    }

    static QJsonArray descriptors(const QList<Field>& fields)
    {
        QJsonArray array;
        for (const Field& field : fields)
            array.append(QJsonObject{{"parameter_name", field.name},
                                     {"start_address", field.first},
                                     {"end_address", field.first + field.count - 1},
                                     {"type", field.type}});
        return array;
    }

    // One for each register of the block, those that nobody names as well.
    static QJsonArray names(const QList<Field>& fields, int first, int size)
    {
        QStringList all;
        for (int i = 0; i < size; ++i)
            all.append(QStringLiteral("reserved%1").arg(i + 1));
        for (const Field& field : fields) {
            for (int i = 0; i < field.count; ++i) {
                const int at = field.first - first + i;
                if (at >= 0 && at < size)
                    all[at] = i == 0 ? field.name : QStringLiteral("%1%2").arg(field.name).arg(i + 1);
            }
        }
        return QJsonArray::fromStringList(all);
    }

    const QString m_suffix;
    const int m_generation;
    // By the layout of registers.
    const QString m_lockScreen;
    const QString m_torqueUnit;
    int m_shift = 0;
    RegisterMeaning m_meaning;
    QList<ListedRegister> m_rows; // not dealt with yet
    QHash<QString, int> m_lines;  // of the channels that are taken
    QString m_eventType;
    int m_eventFirst = 0;
    int m_eventSize = 0;
    QList<Field> m_eventFields;
    QList<Field> m_programFields;
    QList<ListedRegister> m_programs;
    QList<int> m_programNumbers;
};

} // namespace

RegisterMeaning meaningOf(const RegisterList& list, const ConnectedController& controller,
                          std::optional<int> offset)
{
    return Reader(list, controller, offset).read();
}

QString backupRangeText(const RegisterMeaning& meaning, const ConnectedController& controller)
{
    const qint64 registers = qint64{meaning.programSize} * meaning.programCount;
    if (registers < 2 || registers > c_lastRegister)
        return {};
    const QString unit = torqueUnitOf(controller);
    const int last =
        std::max(static_cast<int>(registers), meaning.entries.value(unit).value(c_register).toInt());
    QStringList items{QStringLiteral("\"backup_range\": [1-%1];").arg(last)};
    for (int program = 1; program <= meaning.programCount; ++program)
        items.append(QStringLiteral("\"preset%1\": [%2-%3];")
                         .arg(program)
                         .arg((program - 1) * meaning.programSize + 1)
                         .arg(program * meaning.programSize));
    return items.join(QLatin1Char(' '));
}
