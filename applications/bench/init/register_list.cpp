#include "applications/bench/init/register_list.h"

#include "applications/bench/init/csv_table.h"
#include "applications/bench/init/list_heading.h"
#include "applications/bench/init/listed_address.h"
#include "applications/bench/init/plain_words.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

constexpr int c_headingWithin = 40; // rows: titles and remarks stand before it
constexpr int c_lastAddress = 65536;
constexpr int c_floatRegisters = 2;

struct FoundHeading
{
    QChar separator;
    QList<CsvRow> rows; // those behind the heading
    QStringList remarks;
    ListHeading heading;
};

QString separatorText(QChar separator)
{
    switch (separator.unicode()) {
    case ',':
        return QStringLiteral("comma");
    case ';':
        return QStringLiteral("semicolon");
    case '\t':
        return QStringLiteral("tab");
    default:
        return QString(separator);
    }
}

bool isRemark(const CsvRow& row)
{
    return row.cells.constFirst().startsWith(QLatin1Char('#'));
}

std::optional<FoundHeading> headingBy(const QString& text, QChar separator)
{
    FoundHeading found;
    found.separator = separator;
    QList<CsvRow> rows = csvRows(text, separator);
    for (const CsvRow& row : qAsConst(rows)) {
        if (isRemark(row))
            found.remarks.append(row.cells.join(QLatin1Char(' ')));
    }
    rows.erase(std::remove_if(rows.begin(), rows.end(), isRemark), rows.end());
    for (int i = 0; i < std::min<int>(rows.size(), c_headingWithin); ++i) {
        if (const auto heading = listHeading(rows.at(i).cells)) {
            found.heading = *heading;
            found.rows = rows.mid(i + 1);
            return found;
        }
    }
    return std::nullopt;
}

// The separator that is told, else the one by which the heading has the most columns.
std::optional<FoundHeading> findHeading(const QString& text)
{
    const QChar told = toldSeparator(text);
    if (!told.isNull())
        return headingBy(text, told);
    std::optional<FoundHeading> best;
    for (const char separator : {';', '\t', ',', '|'}) {
        const auto found = headingBy(text, QLatin1Char(separator));
        if (found && (!best || found->heading.columns.size() > best->heading.columns.size()))
            best = found;
    }
    return best;
}

RegisterAccess accessOf(const QStringList& words)
{
    const QString all = words.join(QString());
    const bool reads = hasWord(words, {"read", "r", "ro", "lecture", "lesen", "readonly", "get"});
    const bool writes = hasWord(words, {"write", "w", "wo", "ecriture", "schreiben", "writeonly", "set"});
    if (all == QLatin1String("rw") || all == QLatin1String("wr") || (reads && writes))
        return RegisterAccess::ReadWrite;
    if (reads)
        return RegisterAccess::Read;
    return writes ? RegisterAccess::Write : RegisterAccess::NotTold;
}

// Function codes and the names of tables.
void readTable(const QStringList& words, ListedRegister& listed)
{
    QList<int> codes;
    for (const QString& word : words) {
        bool isNumber = false;
        const int code = word.toInt(&isNumber);
        if (isNumber)
            codes.append(code);
    }
    const auto has = [&codes](int code) { return codes.contains(code); };
    if (hasWord(words, {"holding"}) || has(3) || has(6) || has(16))
        listed.table = RegisterTable::Holding;
    else if (hasWord(words, {"discrete"}) || has(2))
        listed.table = RegisterTable::Discrete;
    else if (hasWord(words, {"input", "inputs"}) || has(4))
        listed.table = RegisterTable::Input;
    else if (hasWord(words, {"coil", "coils"}) || has(1) || has(5) || has(15))
        listed.table = RegisterTable::Coil;
    const bool reads = has(1) || has(2) || has(3) || has(4);
    const bool writes = has(5) || has(6) || has(15) || has(16);
    if (listed.access == RegisterAccess::NotTold && (reads || writes))
        listed.access = reads && writes ? RegisterAccess::ReadWrite
                        : reads         ? RegisterAccess::Read
                                        : RegisterAccess::Write;
    listed.isWrittenAsSeveral = has(16) && !has(6);
}

bool hasSwappedWords(const QString& text)
{
    static const QRegularExpression c_swapped(
        QStringLiteral("swap|cdab|dcba|little|low[ -]?word[ -]?first|lsw[ -]?first"),
        QRegularExpression::CaseInsensitiveOption);
    return c_swapped.match(text).hasMatch();
}

void readType(const QString& text, ListedRegister& listed)
{
    static const QRegularExpression c_long(QStringLiteral("32|double word|dword|long|dint"),
                                           QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression c_longest(QStringLiteral("64|lreal|\\bdouble\\b(?! word)"),
                                              QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression c_array(QStringLiteral("\\[([0-9]{1,4})\\]"));
    const QStringList words = plainWords(text);
    const bool isFloat = hasWord(words, {"float", "real", "single", "ieee", "flottant"});
    const bool isText = hasWord(words, {"string", "char", "ascii", "text", "array", "list"});
    const QRegularExpressionMatch array = c_array.match(text);
    if (c_longest.match(text).hasMatch()) {
        listed.data = RegisterData::List;
        listed.count = std::max(listed.count, 2 * c_floatRegisters);
    } else if (isFloat) {
        listed.data = RegisterData::Float;
        listed.count = std::max(listed.count, c_floatRegisters);
    } else if (c_long.match(text).hasMatch()) {
        listed.data = RegisterData::List;
        listed.count = std::max(listed.count, c_floatRegisters);
    } else if (isText) {
        listed.data = RegisterData::List;
    }
    if (array.hasMatch()) {
        listed.data = RegisterData::List;
        listed.count = std::max(listed.count, array.captured(1).toInt());
    }
    listed.hasSwappedWords = listed.hasSwappedWords || hasSwappedWords(text);
}

// "0.01", "0,01", "1/100", "x 0.1"; 1 for another text.
double scaleOf(const QString& text)
{
    static const QRegularExpression c_scale(QStringLiteral("^[x*×]?\\s*([0-9.,]+)(?:\\s*/\\s*([0-9]+))?$"));
    const QRegularExpressionMatch match = c_scale.match(text);
    const double number = match.captured(1).replace(QLatin1Char(','), QLatin1Char('.')).toDouble();
    const int divisor = match.captured(2).isEmpty() ? 1 : match.captured(2).toInt();
    return match.hasMatch() && number > 0 && divisor > 0 ? number / divisor : 1;
}

class ListReader
{
public:
    explicit ListReader(const FoundHeading& found)
        : m_heading(found.heading)
        , m_base(found.heading.base)
        , m_isNotation(found.heading.isNotation)
        , m_isNotationOpen(!found.heading.isNotation && !found.heading.base)
    {
        for (const QString& remark : found.remarks)
            readRemark(remark);
    }

    RegisterList read(const QList<CsvRow>& rows)
    {
        for (const CsvRow& row : rows)
            readRow(row);
        if (m_isNotationOpen)
            m_isNotation = isNotationFound();
        if (m_isNotation)
            takeDigits();
        RegisterList list;
        finish(list);
        list.registers = m_registers;
        list.leftOut = m_leftOut;
        return list;
    }

private:
    // "# base: 1", "# addresses: plain".
    void readRemark(const QString& remark)
    {
        static const QRegularExpression c_base(QStringLiteral("base\\s*[:=]?\\s*([01])\\b"),
                                               QRegularExpression::CaseInsensitiveOption);
        static const QRegularExpression c_addresses(QStringLiteral("addresses\\s*[:=]?\\s*(plain|4x)"),
                                                    QRegularExpression::CaseInsensitiveOption);
        const QRegularExpressionMatch base = c_base.match(remark);
        if (base.hasMatch())
            m_base = base.captured(1).toInt();
        const QRegularExpressionMatch addresses = c_addresses.match(remark);
        if (!addresses.hasMatch())
            return;
        m_isNotationOpen = false;
        m_isNotation = addresses.captured(1).toLower() == QLatin1String("4x");
    }

    QString cell(const CsvRow& row, ListColumn column) const
    {
        return row.cells.value(m_heading.columns.value(column, -1));
    }

    void leaveOut(const CsvRow& row, const QString& why)
    {
        QStringList cells = row.cells;
        cells.removeAll(QString());
        m_leftOut.append({row.line, cells.join(QStringLiteral(" | ")), why});
    }

    void readRow(const CsvRow& row)
    {
        ListedRegister listed;
        listed.line = row.line;
        listed.name = cell(row, ListColumn::Channel);
        listed.isChannel = !listed.name.isEmpty();
        listed.description = cell(row, ListColumn::Description);
        for (const QString& name : {cell(row, ListColumn::Name), listed.description}) {
            if (listed.name.isEmpty())
                listed.name = name;
        }
        listed.block = cell(row, ListColumn::Block);
        if (listed.name.isEmpty())
            return leaveOut(row, QStringLiteral("it has no name"));
        const int bytes = cell(row, ListColumn::CountInBytes).toInt();
        listed.count = std::max({1, cell(row, ListColumn::Count).toInt(), (bytes + 1) / 2});
        if (listed.count > c_lastAddress)
            return leaveOut(row, QStringLiteral("%1 registers are more than there are").arg(listed.count));
        const int size = cell(row, ListColumn::Size).toInt();
        if (size > 0 && size < c_lastAddress)
            listed.size = size;
        QString why;
        const auto address = listedAddress(cell(row, ListColumn::Address), m_heading.isHexadecimal, &why);
        // What has a size alone is told by it: how many programs there are.
        if (!address && !(listed.size && cell(row, ListColumn::Address).isEmpty()))
            return leaveOut(row, why);
        if (!address)
            return takeSizeAlone(listed);
        listed.number = address->number;
        listed.count = std::max(listed.count, address->count);
        listed.access = accessOf(plainWords(cell(row, ListColumn::Access)));
        readTable(plainWords(cell(row, ListColumn::Table)), listed);
        readType(cell(row, ListColumn::Type), listed);
        listed.hasSwappedWords = listed.hasSwappedWords || hasSwappedWords(cell(row, ListColumn::WordOrder));
        listed.scale = scaleOf(cell(row, ListColumn::Scale));
        listed.unit = cell(row, ListColumn::Unit);
        if (listed.number >= c_lastAddress && !digitOfNotation(listed.number))
            return leaveOut(row, QStringLiteral("%1 is above 65535").arg(listed.number));
        m_addresses.append(*address);
        m_registers.append(listed);
    }

    void takeSizeAlone(ListedRegister listed)
    {
        listed.number = -1;
        m_addresses.append(ListedAddress{});
        m_registers.append(listed);
    }

    // Every decimal number has the digit of a table, none contradicts a table that is told, and not all are
    // as small as coils: a list of plain addresses is seldom so.
    bool isNotationFound() const
    {
        bool isSeen = false;
        for (int i = 0; i < m_registers.size(); ++i) {
            const ListedRegister& listed = m_registers.at(i);
            const ListedAddress& address = m_addresses.at(i);
            if (listed.number < 0)
                continue;
            if (address.hasTableDigit) {
                isSeen = true;
                continue;
            }
            const std::optional<int> digit = digitOfNotation(listed.number);
            if (address.isHexadecimal || !digit || !fits(listed, *digit))
                return false;
            isSeen = isSeen || *digit >= 3;
        }
        return isSeen;
    }

    static RegisterTable tableOf(int digit)
    {
        switch (digit) {
        case 0:
            return RegisterTable::Coil;
        case 1:
            return RegisterTable::Discrete;
        case 3:
            return RegisterTable::Input;
        default:
            return RegisterTable::Holding;
        }
    }

    static bool fits(const ListedRegister& listed, int digit)
    {
        return listed.table == RegisterTable::NotTold || listed.table == tableOf(digit);
    }

    void takeDigits()
    {
        QList<ListedRegister> kept;
        for (int i = 0; i < m_registers.size(); ++i) {
            ListedRegister listed = m_registers.at(i);
            const ListedAddress& address = m_addresses.at(i);
            const std::optional<int> digit = address.hasTableDigit ? std::optional<int>(address.tableDigit)
                                                                   : digitOfNotation(listed.number);
            if (listed.number < 0) {
                kept.append(listed);
            } else if (!digit || address.isHexadecimal || !fits(listed, *digit)) {
                m_leftOut.append({listed.line, listed.name,
                                  QStringLiteral("%1 is not written as 4xxxx, as the others are, or names "
                                                 "another table than the row tells")
                                      .arg(listed.number)});
            } else {
                listed.table = tableOf(*digit);
                if (!address.hasTableDigit)
                    listed.number = withoutDigit(listed.number);
                kept.append(listed);
            }
        }
        m_registers = kept;
    }

    void finish(RegisterList& list) const
    {
        if (m_isNotation) {
            list.notation = QStringLiteral("4xxxx, counted from 1");
            list.base = 1;
            return;
        }
        list.base = m_base;
        const bool hasZero = std::any_of(m_registers.cbegin(), m_registers.cend(),
                                         [](const ListedRegister& listed) { return listed.number == 0; });
        if (m_base) {
            list.notation = QStringLiteral("counted from %1, as the list says").arg(*m_base);
        } else if (hasZero) {
            list.base = 0;
            list.notation = QStringLiteral("counted from 0, since there is a register 0");
        } else {
            list.notation = QStringLiteral("not told where they are counted from");
        }
    }

    const ListHeading& m_heading;
    std::optional<int> m_base;
    bool m_isNotation;
    bool m_isNotationOpen;
    QList<ListedRegister> m_registers;
    QList<ListedAddress> m_addresses; // of each
    QList<LeftOutRow> m_leftOut;
};

} // namespace

RegisterList readRegisterList(const QByteArray& bytes)
{
    const std::optional<FoundHeading> found = findHeading(csvText(bytes));
    if (!found) {
        RegisterList list;
        list.error =
            QStringLiteral("no row of the first %1 is a heading with an address and a name: name the "
                           "columns, as \"Name;Address;Type;Access\"")
                .arg(c_headingWithin);
        return list;
    }
    RegisterList list = ListReader(*found).read(found->rows);
    list.separator = separatorText(found->separator);
    if (list.registers.isEmpty())
        list.error = QStringLiteral("no row below the heading has a name and an address");
    return list;
}
