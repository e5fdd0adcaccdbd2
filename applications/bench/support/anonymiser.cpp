#include "applications/bench/support/anonymiser.h"

#include "applications/bench/core/platform.h"
#include "applications/bench/support/coded_text.h"

#include <lib_utilities/printable_text.h>

#include <QDir>
#include <QRegularExpression>
#include <QSysInfo>
#include <QUrl>

#include <algorithm>
#include <array>
#include <utility>

// What words are made of, and what joins some of them to one.
struct WordRule
{
    bool (*isPart)(QChar);
    const char* separators;
};

namespace {

using Options = QRegularExpression::PatternOptions;

constexpr int c_shortestKnownSerial = 4;

const QString c_thisComputer = QStringLiteral("localhost");

// A text that could be a serial number: there is a digit in it.
const QString c_serial =
    QStringLiteral("((?=[A-Za-z.-]{0,500}+[0-9])[A-Za-z0-9](?:[A-Za-z0-9.-]{0,500}[A-Za-z0-9])?)");

// Members of JSON that hold one.
const QString c_serialMember = QStringLiteral(
    "(?:(?:screwdriver|controller|driver|device)?_?(?:serial|sn)_?(?:number|no|nr)?|seriennummer)");

QRegularExpression pattern(const QString& text, Options options = QRegularExpression::NoPatternOption)
{
    QRegularExpression made(text, options | QRegularExpression::UseUnicodePropertiesOption);
    made.optimize();
    return made;
}

// Places that say that what stands there is a serial number, group 1: members of JSON, the heading of a
// backup, lines of a log of tightenings, and what programs and people write.
const QList<QRegularExpression>& serialPlaces()
{
    constexpr auto c_anyCase = QRegularExpression::CaseInsensitiveOption;
    constexpr auto c_lines = QRegularExpression::MultilineOption;
    static const QList<QRegularExpression> c_places{
        pattern(QStringLiteral("\"%1\"\\s*+:\\s*+\"((?:[^\"\\\\]|\\\\.){1,500}+)\"").arg(c_serialMember),
                c_anyCase),
        pattern(QStringLiteral("\"id\"\\s*+:\\s*+\"screwdriverSN\"[^{}]{0,300}?\"value\"\\s*+:\\s*+\"?+"
                               "([^\",{}\\s]++)"),
                c_anyCase),
        pattern(QStringLiteral("^[ \\t]*+Driver serial[ \\t]*+[,;][ \\t]*+\"?+([^\",;\\r\\n]++)"),
                c_anyCase | c_lines),
        pattern(QStringLiteral("^(?:sequence|event|gap|reset),[^,\\n]*+,\"?+([^\",\\r\\n]++)"), c_lines),
        pattern(
            QStringLiteral("(?<![A-Za-z])(?:serial(?:[ _-]?(?:numbers?|no\\.?|nr\\.?))?|s/n|screwdriverSN|"
                           "seriennummer|serien-?nr\\.?|num[e\u00e9]ro de s[e\u00e9]rie|"
                           "s\\.?n\\.?(?=\\s{0,20}+[:=#]))(?![A-Za-z0-9-])[\"']?+\\s{0,20}+"
                           "(?:is|was|of|[:=,#])?+\\s{0,20}+[\"']?+") +
                c_serial,
            c_anyCase),
        pattern(QStringLiteral("serial[^\\n]{0,100}?\\b(?:instead of|controller has|was)\\s{1,20}+") +
                    c_serial,
                c_anyCase)};
    return c_places;
}

// Members of a configuration that hold an address, group 1; without its quotes, or one of them, in one that
// is broken.
const QList<QRegularExpression>& addressPlaces()
{
    static const QString c_member = QStringLiteral("\"(?:host|host_?name|server|serial_?port)\"\\s*+:\\s*+");
    static const QList<QRegularExpression> c_places{
        pattern(c_member + QStringLiteral("\"((?:[^\"\\\\]|\\\\.){1,500}+)\""),
                QRegularExpression::CaseInsensitiveOption),
        pattern(c_member + QStringLiteral(
                               "(?:(?!\")|\"(?![^\"\\n]{0,500}+\"))(?!(?:null|true|false|[0-9]++)(?![\\w.-]))"
                               "([^\"\\s,{}\\[\\]]{1,500}+)"),
                QRegularExpression::CaseInsensitiveOption)};
    return c_places;
}

bool isIpv6(const QString& text)
{
    const QString address = text.section(QLatin1Char('%'), 0, 0);
    const int gap = address.indexOf(QLatin1String("::"));
    if (address.count(QLatin1String("::")) > 1 || address.contains(QLatin1String(":::")) ||
        address == QLatin1String("::") ||
        address.startsWith(QLatin1Char(':')) != address.startsWith(QLatin1String("::")) ||
        address.endsWith(QLatin1Char(':')) != address.endsWith(QLatin1String("::")))
        return false;
    const QStringList groups = address.split(QLatin1Char(':'), Qt::SkipEmptyParts);
    int words = 0;
    for (const QString& group : groups) {
        // The last four bytes may be written as in IPv4.
        const bool isIpv4 = group.contains(QLatin1Char('.'));
        if (!isIpv4 && group.size() > 4)
            return false;
        words += isIpv4 ? 2 : 1;
    }
    constexpr int c_words = 8;
    return gap < 0 ? words == c_words : words < c_words;
}

// Letters that JSON need not write as "\u0041", and slashes as "\/", as themselves.
QString withoutNeedlessEscapes(const QString& text)
{
    QString result;
    result.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const QChar next = i + 1 < text.size() ? text.at(i + 1) : QChar();
        if (text.at(i) != QLatin1Char('\\') || next.isNull()) {
            result += text.at(i);
            continue;
        }
        bool isCode = false;
        const QChar coded(text.mid(i + 2, 4).toUShort(&isCode, 16));
        isCode = isCode && next == QLatin1Char('u') && i + 6 <= text.size() && coded != QLatin1Char('"') &&
                 coded != QLatin1Char('\\') && printableText(coded) == QString(coded);
        if (isCode) {
            result += coded;
            i += 5;
        } else if (next == QLatin1Char('/')) {
            result += next;
            ++i;
        } else {
            // A backslash that stands for itself hides nothing of what follows.
            result += text.at(i);
            result += next;
            ++i;
        }
    }
    return result;
}

// Of texts that are not part of a longer word, the longest first.
QRegularExpression anyOf(QStringList texts, const QString& before, const QString& behind, Options options)
{
    std::sort(texts.begin(), texts.end(),
              [](const QString& left, const QString& right) { return left.size() > right.size(); });
    for (QString& text : texts)
        text = QRegularExpression::escape(text);
    return pattern(QStringLiteral("(?<!%1)(?:%2)(?!%3)").arg(before, texts.join(QLatin1Char('|')), behind),
                   options);
}

bool isSerialPart(QChar one)
{
    return one.unicode() < 0x80 && one.isLetterOrNumber();
}

bool isDigit(QChar one)
{
    return one >= QLatin1Char('0') && one <= QLatin1Char('9');
}

bool isDigitAt(const QString& text, int at)
{
    return at >= 0 && at < text.size() && isDigit(text.at(at));
}

// Programs that take a number for one with a fraction write "1907150042.0".
QString serialKey(const QString& serial)
{
    static const QRegularExpression c_whole(QStringLiteral("^(\\d{1,500})\\.0{1,500}$"));
    return serial.trimmed().toLower().replace(c_whole, QStringLiteral("\\1"));
}

bool isHostPart(QChar one)
{
    return one.isLetterOrNumber() || one == QLatin1Char('_') || one == QLatin1Char('-');
}

// Where the word at `begin` ends, and it with those that follow: a serial number has dots, a host's name too.
// One that is longer than anything known is not looked at.
constexpr int c_longestWord = 500;

QList<int> wordEnds(const QString& text, int begin, const WordRule& rule)
{
    constexpr int c_mostParts = 16;
    QList<int> ends;
    int end = begin;
    while (ends.size() < c_mostParts) {
        while (end < text.size() && rule.isPart(text.at(end)))
            ++end;
        if (ends.isEmpty() || end - begin <= c_longestWord)
            ends.append(end);
        else
            break;
        if (end + 1 >= text.size() || !QLatin1String(rule.separators).contains(text.at(end)) ||
            !rule.isPart(text.at(end + 1)))
            break;
        ++end;
    }
    return ends;
}

// A path however its parts are separated, as in JSON "C:\\Users" and in an address "%2Fhome".
QString pathPattern(const QString& path)
{
    QStringList parts = path.split(QRegularExpression(QStringLiteral("[\\\\/]+")), Qt::SkipEmptyParts);
    for (QString& part : parts)
        part = QRegularExpression::escape(part);
    const QString separator = QStringLiteral("(?:[\\\\/]|%2F|%5C)+");
    return (path.startsWith(QLatin1Char('/')) ? separator : QString()) + parts.join(separator);
}

// A name that tells who somebody is wherever it stands. Short ones are parts of anything, and what accounts
// of many computers are called, or what the texts themselves speak of, tells nobody apart.
bool isTelling(const QString& user)
{
    constexpr int c_shortest = 4;
    static const QStringList c_common{
        QStringLiteral("admin"),  QStringLiteral("administrator"), QStringLiteral("bench"),
        QStringLiteral("client"), QStringLiteral("controller"),    QStringLiteral("debian"),
        QStringLiteral("device"), QStringLiteral("driver"),        QStringLiteral("guest"),
        QStringLiteral("home"),   QStringLiteral("host"),          QStringLiteral("line"),
        QStringLiteral("local"),  QStringLiteral("modbus"),        QStringLiteral("nobody"),
        QStringLiteral("office"), QStringLiteral("operator"),      QStringLiteral("public"),
        QStringLiteral("serial"), QStringLiteral("server"),        QStringLiteral("service"),
        QStringLiteral("test"),   QStringLiteral("tester"),        QStringLiteral("tool"),
        QStringLiteral("ubuntu"), QStringLiteral("user"),          QStringLiteral("users"),
    };
    return user.size() >= c_shortest && !c_common.contains(user.toLower());
}

bool isPlaceholder(const QString& text)
{
    static const QRegularExpression c_placeholder(QStringLiteral("^(?:serial|host|port|home|user)-\\d+$"));
    return c_placeholder.match(text).hasMatch();
}

bool isInJson(const QString& text)
{
    const auto first =
        std::find_if(text.cbegin(), text.cend(), [](QChar character) { return !character.isSpace(); });
    return first != text.cend() && (*first == QLatin1Char('{') || *first == QLatin1Char('['));
}

// Is what begins and ends there a number of JSON, and no part of a text?
bool isBare(const QString& text, int begin, int end)
{
    while (begin > 0 && text.at(begin - 1).isSpace())
        --begin;
    while (end < text.size() && text.at(end).isSpace())
        ++end;
    return begin > 0 && end < text.size() && QStringLiteral("[:,").contains(text.at(begin - 1)) &&
           QStringLiteral("]},").contains(text.at(end));
}

// What stands for a bare number of JSON has to be a text.
QString quotedNumber(const QString& placeholder, const QString& value, bool isBare)
{
    const bool isNumber = std::all_of(value.cbegin(), value.cend(),
                                      [](QChar one) { return isDigit(one) || one == QLatin1Char('.'); });
    return isBare && isNumber ? QLatin1Char('"') + placeholder + QLatin1Char('"') : placeholder;
}

// The bytes of a serial number as the identification has them: two digits each, the last ones first, or
// "07.03.0125" with its last group in two bytes.
QByteArray bytesOf(const QString& serial)
{
    static const QRegularExpression c_groups(QStringLiteral("^(\\d\\d)\\.(\\d\\d)\\.(\\d{4,5})$"));
    static const QRegularExpression c_digits(QStringLiteral("^\\d{10}$"));
    QByteArray bytes;
    const QRegularExpressionMatch groups = c_groups.match(serial);
    if (groups.hasMatch()) {
        const uint last = groups.captured(3).toUInt();
        bytes.append(static_cast<char>(last & 0xffU)).append(static_cast<char>((last >> 8U) & 0xffU));
        bytes.append(static_cast<char>(groups.captured(2).toUInt()));
        bytes.append(static_cast<char>(groups.captured(1).toUInt()));
    } else if (c_digits.match(serial).hasMatch()) {
        for (int at = serial.size() - 2; at >= 0; at -= 2)
            bytes.append(static_cast<char>(serial.midRef(at, 2).toUInt()));
    }
    // Nearly nothing but zeros is found everywhere.
    return bytes.size() - bytes.count('\0') < 2 ? QByteArray() : bytes;
}

// As registers have it: its characters, two in a register, and the number in two registers, with either half
// of each first.
QList<QByteArray> registersOf(const QString& serial)
{
    constexpr int c_shortestText = 6;
    constexpr quint32 c_shortestNumber = 1U << 24U;
    QList<QByteArray> codes;
    for (const QByteArray& text : {serial.toUpper().toLatin1(), serial.toLower().toLatin1()}) {
        if (text.size() < c_shortestText || codes.contains(text))
            continue;
        QByteArray swapped = text.left(text.size() / 2 * 2);
        for (int at = 0; at < swapped.size(); at += 2)
            std::iter_swap(swapped.begin() + at, swapped.begin() + at + 1);
        codes += QList<QByteArray>{text, swapped};
    }
    bool isNumber = false;
    const quint32 number = serial.toUInt(&isNumber);
    if (isNumber && number >= c_shortestNumber) {
        for (const auto& order : {std::array{3, 2, 1, 0}, {1, 0, 3, 2}, {2, 3, 0, 1}, {0, 1, 2, 3}}) {
            QByteArray bytes;
            for (const int byte : order)
                bytes.append(static_cast<char>((number >> (8U * static_cast<uint>(byte))) & 0xffU));
            codes.append(bytes);
        }
    }
    return codes;
}

// One in another, as in a mail that holds a mail.
constexpr int c_mostDepth = 2;

} // namespace

ComputerIdentity ComputerIdentity::ofThisComputer()
{
    ComputerIdentity computer{QDir::homePath(), {}, QSysInfo::machineHostName()};
    for (const char* const name : {"USER", "USERNAME", "LOGNAME"}) {
        if (computer.user.isEmpty())
            computer.user = qEnvironmentVariable(name);
    }
    if (computer.user.isEmpty())
        computer.user = QString::fromLocal8Bit(accountName().c_str());
    return computer;
}

Anonymiser::Anonymiser(const ComputerIdentity& computer)
    : m_computer(computer)
{
    knowAddress(computer.hostName);
}

void Anonymiser::knowSerial(const QString& serial)
{
    // Of so many the bytes are looked for: those that controllers have told are known first.
    constexpr int c_mostInBytes = 100;
    const QString known = serialKey(serial);
    const bool hasDigit = std::any_of(known.cbegin(), known.cend(), [](QChar one) { return one.isDigit(); });
    if (!hasDigit || known.size() < c_shortestKnownSerial || isPlaceholder(known) ||
        m_serials.contains(known))
        return;
    m_serials.insert(known);
    const QByteArray code = bytesOf(known);
    if (!code.isEmpty() && m_codes.size() - m_furtherCodes < c_mostInBytes)
        m_codes.append(code);
    const QList<QByteArray> further = registersOf(known);
    if (m_furtherCodes + further.size() > c_mostInBytes)
        return;
    m_codes += further;
    m_furtherCodes += further.size();
}

void Anonymiser::knowAddress(const QString& address)
{
    static const QRegularExpression c_isPort(QStringLiteral("^(?:/|\\\\|COM\\d)"),
                                             QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression c_number(QStringLiteral(":\\d+$"));
    // Windows has its ports as "\\\\.\\COM12", too.
    static const QRegularExpression c_devices(QStringLiteral("^[\\\\]+[.?][\\\\]+"));
    QString known = address.trimmed().remove(c_devices);
    if (isPlaceholder(known))
        return;
    if (c_isPort.match(known).hasMatch()) {
        constexpr int c_mostPorts = 100;
        if (!m_ports.contains(known) && m_ports.size() < c_mostPorts)
            m_ports.append(known);
        return;
    }
    known = known.remove(c_number).toLower();
    // Others are known by their form; this one tells nobody apart.
    if (known.size() <= 1 || known == c_thisComputer)
        return;
    m_hosts.insert(known);
    // Nearby it is called by the first word of its name; an address in numbers is not.
    static const QRegularExpression c_firstWord(
        QStringLiteral("^((?=[^.]*[a-z])[\\w-]{3,63})\\.[\\w.-]*[a-z]"));
    const QString firstWord = c_firstWord.match(known).captured(1);
    if (!firstWord.isEmpty() && firstWord != c_thisComputer && !m_hosts.contains(firstWord)) {
        m_hosts.insert(firstWord);
        m_firstWords.insert(firstWord, known);
    }
}

bool Anonymiser::learn(const QString& text)
{
    return learn(text, 0);
}

bool Anonymiser::learn(const QString& text, int depth)
{
    const QString plain = withoutNeedlessEscapes(text);
    bool isWhole = true;
    for (const QRegularExpression& place : serialPlaces()) {
        auto it = place.globalMatch(plain);
        while (it.hasNext())
            knowSerial(it.next().captured(1));
        isWhole = isWhole && it.isValid();
    }
    for (const QRegularExpression& place : addressPlaces()) {
        auto it = place.globalMatch(plain);
        while (it.hasNext())
            knowAddress(it.next().captured(1).replace(QLatin1String("\\\\"), QLatin1String("\\")));
        isWhole = isWhole && it.isValid();
    }
    QString hidden;
    const QList<CodedText> coded = depth < c_mostDepth ? codedTexts(plain) : QList<CodedText>();
    for (const CodedText& one : coded)
        hidden += c_codedTextEnd + one.text;
    return (hidden.isEmpty() || learn(hidden, depth + 1)) && isWhole;
}

QString Anonymiser::placeholder(Kind kind, const QString& value) const
{
    static const QMap<Kind, QString> c_names{{Kind::Serial, QStringLiteral("serial-%1")},
                                             {Kind::Host, QStringLiteral("host-%1")},
                                             {Kind::Port, QStringLiteral("port-%1")},
                                             {Kind::Home, QStringLiteral("home-%1")},
                                             {Kind::User, QStringLiteral("user-%1")}};
    QHash<QString, int>& met = m_met[kind];
    QString key = kind == Kind::Serial ? serialKey(value) : value.toLower();
    if (kind == Kind::Host)
        key = m_firstWords.value(key, key);
    if (!met.contains(key))
        met.insert(key, met.size() + 1);
    return c_names.value(kind).arg(met.value(key));
}

Anonymiser::Placeholder Anonymiser::numbered(Kind kind) const
{
    return [this, kind](const QRegularExpressionMatch& match) {
        return placeholder(kind, match.captured(match.lastCapturedIndex() > 0 ? 1 : 0));
    };
}

void Anonymiser::replaceEach(ReplacedText& text, const QRegularExpression& pattern,
                             const Placeholder& placeholder)
{
    const bool isJson = isInJson(text.text);
    QString result;
    int end = 0;
    auto it = pattern.globalMatch(text.text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        const int group = match.lastCapturedIndex() > 0 ? 1 : 0;
        // What an earlier kind has replaced is done.
        const QString value = match.captured(group);
        QString instead = isPlaceholder(value) ? QString() : placeholder(match);
        if (instead.isNull())
            continue;
        instead =
            quotedNumber(instead, value,
                         isJson && isBare(text.text, match.capturedStart(group), match.capturedEnd(group)));
        result += text.text.midRef(end, match.capturedStart(group) - end);
        result += instead;
        end = match.capturedEnd(group);
        ++text.replaced;
    }
    text.isWhole = text.isWhole && it.isValid();
    if (end > 0)
        text.text = result + text.text.mid(end);
}

template <typename Accept>
void Anonymiser::replaceWords(ReplacedText& text, const WordRule& rule, Kind kind,
                              const Accept& accepts) const
{
    const bool isJson = isInJson(text.text);
    QString result;
    int done = 0;
    for (int at = 0; at < text.text.size();) {
        if (!rule.isPart(text.text.at(at))) {
            ++at;
            continue;
        }
        const QList<int> ends = wordEnds(text.text, at, rule);
        const auto end =
            std::find_if(ends.crbegin(), ends.crend(), [&](int candidate) { return accepts(at, candidate); });
        if (end == ends.crend()) {
            at = ends.constFirst();
            continue;
        }
        const QString value = text.text.mid(at, *end - at);
        result += text.text.midRef(done, at - done);
        result += quotedNumber(placeholder(kind, value), value, isJson && isBare(text.text, at, *end));
        at = done = *end;
        ++text.replaced;
    }
    if (done > 0)
        text.text = result + text.text.mid(done);
}

void Anonymiser::replaceLabelledSerials(ReplacedText& text) const
{
    static const QRegularExpression c_number =
        pattern(QStringLiteral("\"%1\"\\s*+:\\s*+(\\d++(?:\\.0++)?+)").arg(c_serialMember),
                QRegularExpression::CaseInsensitiveOption);
    replaceEach(text, c_number, numbered(Kind::Serial));
    for (const QRegularExpression& place : serialPlaces())
        replaceEach(text, place, numbered(Kind::Serial));
}

void Anonymiser::replaceFolders(ReplacedText& text) const
{
    // Whose home is the root of the file system has none.
    if (m_computer.homeFolder.size() > 1)
        replaceEach(text,
                    pattern(QStringLiteral("(?<![\\w.\\-/\\\\])%1(?![\\w-]|\\.\\w)")
                                .arg(pathPattern(m_computer.homeFolder)),
                            QRegularExpression::CaseInsensitiveOption),
                    [this](const QRegularExpressionMatch&) {
                        return placeholder(Kind::Home, m_computer.homeFolder);
                    });
    static const QRegularExpression c_unixUser =
        pattern(QStringLiteral("(?<![\\w.\\-/])(?:/++(?:var|export|usr|private|net|mnt))?+/++(?:home|Users)/"
                               "++([^\\\\/\\s\"':,;<>|]++)"));
    static const QRegularExpression c_windowsUser =
        pattern(QStringLiteral(
                    "(?<!\\w)[A-Z]:[\\\\/]+(?:Users|Documents and Settings)[\\\\/]+([^\\\\/\"':,;<>|\\r\\n]+"
                    "(?=[\\\\/])|[^\\\\/\\s\"':,;<>|]+)"),
                QRegularExpression::CaseInsensitiveOption);
    // As the bench itself tells of files that others may exchange, in JSON too.
    static const QRegularExpression c_owner =
        pattern(QStringLiteral(R"((?:belongs to|the group) \\?+"([^"\\\r\n]{1,100}+))"));
    replaceEach(text, c_owner, numbered(Kind::User));
    replaceEach(text, c_unixUser, numbered(Kind::User));
    replaceEach(text, c_windowsUser, numbered(Kind::User));
    static const QRegularExpression c_codedUser =
        pattern(QStringLiteral("(?:%2F|%5C)(?:home|Users)(?:%2F|%5C)"
                               "((?:[^%\\s\"'/\\\\&?#:,;<>|]|%(?!2F|5C)[0-9A-F]{2}){1,100}+)"),
                QRegularExpression::CaseInsensitiveOption);
    const Placeholder decoded = [this](const QRegularExpressionMatch& match) {
        const QString value = match.captured(match.lastCapturedIndex());
        return placeholder(Kind::User, QUrl::fromPercentEncoding(value.toUtf8()));
    };
    replaceEach(text, c_codedUser, decoded);
    // The administrator of every computer is called so.
    if (m_computer.user.isEmpty() || m_computer.user == QLatin1String("root"))
        return;
    const QString user = QRegularExpression::escape(m_computer.user);
    replaceEach(text,
                pattern(QStringLiteral(
                            "(?<=[\\\\/])%1(?=[\\\\/\\s\"']|$)|(?<![\\w.-])%1(?=@)|(?<=[=~(])%1(?![\\w.-])")
                            .arg(user),
                        QRegularExpression::MultilineOption),
                numbered(Kind::User));
    const QString coded =
        QRegularExpression::escape(QString::fromLatin1(QUrl::toPercentEncoding(m_computer.user)));
    replaceEach(text,
                pattern(QStringLiteral("(?<=%2F|%5C|%40)%1(?![\\w.-])|(?<![\\w.%-])%1(?=%40)").arg(coded),
                        QRegularExpression::CaseInsensitiveOption),
                decoded);
    if (isTelling(m_computer.user))
        replaceEach(text, pattern(QStringLiteral("(?<![\\w.-])%1(?![\\w-]|\\.\\w)").arg(user)),
                    numbered(Kind::User));
}

void Anonymiser::replaceAddresses(ReplacedText& text) const
{
    // Behind "MAC:" as well, but no part of a longer row of bytes.
    static const QRegularExpression c_mac = pattern(QStringLiteral(
        "(?<![0-9A-Za-z])(?<!(?<![0-9A-Za-z])[0-9A-Fa-f]{2}[:-])"
        "(?:(?:[0-9A-Fa-f]{2}:){5}|(?:[0-9A-Fa-f]{2}-){5})[0-9A-Fa-f]{2}"
        "(?![0-9A-Za-z])(?![:-][0-9A-Fa-f]{2}(?![0-9A-Za-z]))|"
        "(?<![0-9A-Za-z.])(?:[0-9A-Fa-f]{4}\\.){2}[0-9A-Fa-f]{4}(?![0-9A-Za-z]|\\.[0-9A-Za-z])"));
    // Behind "addr:", which is a word that is no part of it.
    static const QRegularExpression c_ipv6 = pattern(
        QStringLiteral("(?<![0-9A-Za-z:.])(?:(?=[0-9A-Fa-f]{0,40}+[G-Zg-z_-]|\\w{5})[A-Za-z][\\w-]{0,40}+:)?+"
                       "([0-9A-Fa-f]{0,4}:[0-9A-Fa-f:]*:[0-9A-Fa-f]{0,4}(?:(?:\\.\\d{1,3}){3})?"
                       "(?:%[\\w.-]+)?)(?![0-9A-Za-z:])"));
    static const QString c_octet = QStringLiteral("(?:25[0-5]|2[0-4]\\d|1\\d\\d|0{0,2}\\d?\\d)");
    // A port may follow behind a dot.
    static const QRegularExpression c_ipv4 =
        pattern(QStringLiteral("(?<!\\d)(?<!\\d\\.)%1(?:\\.%1){3}(?!\\d)").arg(c_octet));
    static const QRegularExpression c_port = pattern(
        QStringLiteral("/dev/(?:tty[A-Za-z]+\\d*|serial/by-[a-z]+/[^\\s\"',;]+|pts/\\d+|cu\\.[^\\s\"',;]+|"
                       "tty\\.[^\\s\"',;]+)|(?<![A-Za-z0-9_])COM\\d{1,3}(?![A-Za-z0-9_])"));
    if (!m_ports.isEmpty())
        replaceEach(text, anyOf(m_ports, QStringLiteral("[\\w-]"), QStringLiteral("[\\w-]"), {}),
                    numbered(Kind::Port));
    replaceEach(text, c_port, numbered(Kind::Port));
    replaceEach(text, c_mac, [this](const QRegularExpressionMatch& match) {
        return placeholder(Kind::Host, match.captured());
    });
    replaceEach(text, c_ipv6, [this](const QRegularExpressionMatch& match) {
        return isIpv6(match.captured(1)) ? placeholder(Kind::Host, match.captured(1)) : QString();
    });
    replaceEach(text, c_ipv4, numbered(Kind::Host));
    replaceWords(text, {&isHostPart, "."}, Kind::Host, [&](int begin, int end) {
        return m_hosts.contains(text.text.mid(begin, end - begin).toLower());
    });
    // What has no form that is known from elsewhere.
    static const QRegularExpression c_done(QStringLiteral("(?:host|port)-\\d"));
    const Placeholder address = [this](const QRegularExpressionMatch& match) {
        const QString value = match.captured(1);
        return value.contains(c_done) || value.toLower() == c_thisComputer ? QString()
                                                                           : placeholder(Kind::Host, value);
    };
    for (const QRegularExpression& place : addressPlaces())
        replaceEach(text, place, address);
}

void Anonymiser::replaceSerials(ReplacedText& text) const
{
    // No part of a longer number, nor of a fraction.
    const auto isKnown = [&](int begin, int end) {
        const bool isFraction =
            end < text.text.size() && text.text.at(end) == QLatin1Char('.') && isDigitAt(text.text, end + 1);
        return !isFraction && m_serials.contains(serialKey(text.text.mid(begin, end - begin)));
    };
    replaceWords(text, {&isSerialPart, ".-"}, Kind::Serial, isKnown);
    // Digits among letters, as in "SN1907150042"; a short one is found everywhere there.
    constexpr int c_shortestAmongLetters = 6;
    replaceWords(text, {&isDigit, ".-"}, Kind::Serial, [&](int begin, int end) {
        const bool isAmongLetters = (begin > 0 && isSerialPart(text.text.at(begin - 1))) ||
                                    (end < text.text.size() && isSerialPart(text.text.at(end)));
        return isAmongLetters && end - begin >= c_shortestAmongLetters && isKnown(begin, end);
    });
}

void Anonymiser::replaceBytes(ReplacedText& text) const
{
    if (m_codes.isEmpty())
        return;
    QStringList codes;
    for (const QByteArray& code : m_codes)
        codes.append(QString::fromLatin1(code.toHex(' ')).replace(QLatin1Char(' '), QLatin1String("[ :,]?")));
    replaceEach(text, pattern(codes.join(QLatin1Char('|')), QRegularExpression::CaseInsensitiveOption),
                [](const QRegularExpressionMatch& match) {
                    static const QRegularExpression c_byte(QStringLiteral("[0-9A-Fa-f]{2}"));
                    return match.captured().replace(c_byte, QStringLiteral("xx"));
                });
}

void Anonymiser::replaceCoded(ReplacedText& text, int depth) const
{
    const QList<CodedText> coded = codedTexts(text.text);
    QString hidden;
    for (const CodedText& one : coded)
        hidden += c_codedTextEnd + one.text;
    if (hidden.isEmpty())
        return;
    // All at once: there may be very many.
    const ReplacedText found = replaced(hidden, depth + 1);
    const QStringList texts = found.text.split(c_codedTextEnd);
    if (!found.isWhole || texts.size() != coded.size() + 1) {
        text.isWhole = false;
        return;
    }
    QString result;
    int done = 0;
    for (int i = 0; i < coded.size(); ++i) {
        const CodedText& one = coded.at(i);
        if (texts.at(i + 1) == one.text)
            continue;
        result += text.text.midRef(done, one.begin - done);
        result += codedAs(one, texts.at(i + 1));
        done = one.begin + one.length;
        ++text.replaced;
    }
    text.text = result + text.text.mid(done);
}

ReplacedText Anonymiser::replaced(const QString& text) const
{
    return replaced(text, 0);
}

ReplacedText Anonymiser::replaced(const QString& text, int depth) const
{
    ReplacedText result = maskedTrace(withoutNeedlessEscapes(text), m_codes);
    replaceLabelledSerials(result);
    replaceFolders(result);
    replaceAddresses(result);
    replaceSerials(result);
    replaceBytes(result);
    if (depth < c_mostDepth)
        replaceCoded(result, depth);
    return result;
}
