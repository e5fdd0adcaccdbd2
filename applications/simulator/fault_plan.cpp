#include "applications/simulator/fault_plan.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace {

constexpr int c_lastAddress = 0xFFFF;

const FaultDescription& description(FaultKind kind)
{
    const QList<FaultDescription>& all = faultDescriptions();
    const auto found = std::find_if(all.cbegin(), all.cend(),
                                    [kind](const FaultDescription& one) { return one.kind == kind; });
    Q_ASSERT(found != all.cend());
    return *found;
}

std::optional<int> number(const QString& text, int minimum, int maximum)
{
    // Digits only: toInt() alone accepts blanks and signs.
    static const QRegularExpression decimal(QStringLiteral("^[0-9]+$"));
    static const QRegularExpression hexadecimal(QStringLiteral("^0x[0-9a-fA-F]+$"));
    bool ok = false;
    int value = 0;
    if (decimal.match(text).hasMatch())
        value = text.toInt(&ok, 10);
    else if (hexadecimal.match(text).hasMatch())
        value = text.mid(2).toInt(&ok, 16);
    if (!ok || value < minimum || value > maximum)
        return std::nullopt;
    return value;
}

// "7" or "5-7".
std::optional<Fault::Range> parseRange(const QString& text, int minimum, int maximum)
{
    const int dash = static_cast<int>(text.indexOf(QLatin1Char('-')));
    const auto first = number(text.left(dash), minimum, maximum);
    const auto last = dash < 0 ? first : number(text.mid(dash + 1), minimum, maximum);
    if (!first || !last || *last < *first)
        return std::nullopt;
    return Fault::Range{*first, *last};
}

std::optional<QList<Fault::Range>> parseRequests(const QString& text)
{
    QList<Fault::Range> ranges;
    const QStringList parts = text.split(QLatin1Char(','));
    for (const QString& part : parts) {
        const auto range = parseRange(part, 1, std::numeric_limits<int>::max());
        if (!range)
            return std::nullopt;
        ranges.append(*range);
    }
    return ranges;
}

QString toText(Fault::Range range)
{
    return range.first == range.last ? QString::number(range.first)
                                     : QStringLiteral("%1-%2").arg(range.first).arg(range.last);
}

QString allowedNames()
{
    QStringList names;
    for (const FaultDescription& one : faultDescriptions())
        names.append(QString::fromLatin1(one.name));
    return names.join(QStringLiteral(", "));
}

std::nullopt_t failed(QString* error, const QString& text)
{
    if (error != nullptr)
        *error = text;
    return std::nullopt;
}

// Each reads its part of a fault's text, and says behind the text what is wrong with it: nothing when it is
// as it should be, or not there.

QString readKind(const QRegularExpressionMatch& match, Fault& fault)
{
    const QString name = match.captured(1);
    const QList<FaultDescription>& all = faultDescriptions();
    const auto found = std::find_if(all.cbegin(), all.cend(), [&name](const FaultDescription& one) {
        return name == QLatin1String(one.name);
    });
    if (found == all.cend())
        return QStringLiteral(" is no fault: the name \"%1\" is not one of %2").arg(name, allowedNames());
    fault.kind = found->kind;
    const bool hasValue = match.capturedStart(2) >= 0;
    if (found->valueName == nullptr)
        return hasValue ? QStringLiteral(": %1 takes no value").arg(name) : QString();
    const auto value = number(match.captured(3), found->minimum, found->maximum);
    if (!value) {
        return QStringLiteral(": %1 needs a value \"%1=%2\" from %3 to %4")
            .arg(name, QString::fromLatin1(found->valueName))
            .arg(found->minimum)
            .arg(found->maximum);
    }
    fault.value = *value;
    return {};
}

QString readWhen(const QRegularExpressionMatch& match, Fault& fault)
{
    if (match.capturedStart(4) < 0)
        return {};
    const QString when = match.captured(5);
    if (when == QLatin1String("once")) {
        fault.when = Fault::When::Once;
        return {};
    }
    const auto requests = parseRequests(when);
    if (!requests)
        return QStringLiteral(": what follows \"@\" is \"once\" or request numbers from 1, as \"3\" or "
                              "\"5-7,9\"");
    fault.when = Fault::When::AtRequests;
    fault.requests = *requests;
    return {};
}

QString readFunction(const QRegularExpressionMatch& match, Fault& fault)
{
    if (match.capturedStart(6) < 0)
        return {};
    const auto function = number(match.captured(7), 1, 127);
    if (!function)
        return QStringLiteral(": what follows \"/\" is a function code from 1 to 127, as \"6\" or \"0x06\"");
    fault.function = static_cast<quint8>(*function);
    return {};
}

QString readRegisters(const QRegularExpressionMatch& match, Fault& fault)
{
    if (match.capturedStart(8) < 0)
        return {};
    fault.registers = parseRange(match.captured(9), 0, c_lastAddress);
    if (!fault.registers)
        return QStringLiteral(
            ": what follows \"#\" is a register from 0 to 65535, as \"117\", or from one to "
            "another, as \"100-199\"");
    return {};
}

bool isOver(const Fault& fault, int seen)
{
    switch (fault.when) {
    case Fault::When::Always:
        return false;
    case Fault::When::Once:
        return seen > 0;
    case Fault::When::AtRequests:
        return std::all_of(fault.requests.cbegin(), fault.requests.cend(),
                           [seen](Fault::Range range) { return range.last <= seen; });
    }
    return false;
}

bool strikes(const Fault& fault, int seen)
{
    return fault.when != Fault::When::AtRequests ||
           std::any_of(fault.requests.cbegin(), fault.requests.cend(),
                       [seen](Fault::Range range) { return range.first <= seen && seen <= range.last; });
}

} // namespace

const QList<FaultDescription>& faultDescriptions()
{
    static const QList<FaultDescription> descriptions = {
        {FaultKind::NoAnswer, "no-answer", nullptr, 0, 0,
         "the request is carried out and its answer is lost"},
        {FaultKind::Lost, "lost", nullptr, 0, 0, "the request never reaches the controller"},
        {FaultKind::Late, "late", "ms", 1, 3600000,
         "the answer comes after so many milliseconds, later answers behind it"},
        {FaultKind::Twice, "twice", nullptr, 0, 0, "the answer comes twice"},
        {FaultKind::CutHeader, "cut-header", nullptr, 0, 0,
         "only the header of the answer comes (TCP: 7 bytes; serial line: unit and function)"},
        {FaultKind::CutMiddle, "cut-middle", nullptr, 0, 0,
         "the answer ends in the middle of what follows the header"},
        {FaultKind::Short, "short", nullptr, 0, 0,
         "the answer is a proper frame with too little in it: a register, or a byte, is missing"},
        {FaultKind::Exception, "exception", "code", 1, 255,
         "the request is not carried out and answered with this exception code"},
        {FaultKind::Close, "close", nullptr, 0, 0,
         "the request is carried out, then the connection closes instead of an answer (serial line: no "
         "answer)"},
        {FaultKind::Reset, "reset", nullptr, 0, 0,
         "as close, with a connection reset (serial line: no answer)"},
        {FaultKind::Refuse, "refuse", nullptr, 0, 0,
         "new connections are refused from now or from the named request on; open ones stay (serial line: "
         "silence)"},
        {FaultKind::Restart, "restart", "ms", 1, 3600000,
         "the controller goes down without carrying the request out and is back after so many milliseconds "
         "(serial line: silence meanwhile)"},
    };
    return descriptions;
}

std::optional<Fault> Fault::parse(const QString& text, QString* error)
{
    static const QRegularExpression form(
        QStringLiteral("^([^=@/#]*)(=([^=@/#]*))?(@([^=@/#]*))?(/([^=@/#]*))?(#([^=@/#]*))?$"));
    const QRegularExpressionMatch match = form.match(text);
    if (!match.hasMatch()) {
        return failed(error, QStringLiteral(
                                 "\"%1\" is no fault: it reads name[=value][@when][/function][#register], as "
                                 "\"late=4000@3\" or \"exception=2@once/0x06#117\"")
                                 .arg(text));
    }
    Fault fault;
    for (const auto readPart : {readKind, readWhen, readFunction, readRegisters}) {
        const QString wrong = readPart(match, fault);
        if (!wrong.isEmpty())
            return failed(error, QStringLiteral("\"%1\"").arg(text) + wrong);
    }
    return fault;
}

QString Fault::toText() const
{
    const FaultDescription& what = description(kind);
    QString text = QString::fromLatin1(what.name);
    if (what.valueName != nullptr)
        text += QStringLiteral("=%1").arg(value);
    if (when == When::Once) {
        text += QStringLiteral("@once");
    } else if (when == When::AtRequests) {
        QStringList parts;
        for (const Range& range : requests)
            parts.append(::toText(range));
        text += QLatin1Char('@') + parts.join(QLatin1Char(','));
    }
    if (function)
        text += QStringLiteral("/0x%1").arg(*function, 2, 16, QLatin1Char('0'));
    if (registers)
        text += QLatin1Char('#') + ::toText(*registers);
    return text;
}

bool Fault::concerns(quint8 requestFunction, const std::optional<TouchedRegisters>& touched) const
{
    if (function && *function != requestFunction)
        return false;
    return !registers || (touched && touched->first <= registers->last &&
                          registers->first < touched->first + touched->count);
}

bool Fault::refusesAtOnce() const
{
    return kind == FaultKind::Refuse && when == When::Always && !function && !registers;
}

void FaultPlan::add(const Fault& fault)
{
    m_entries.append({fault, 0});
    if (fault.refusesAtOnce())
        setRefusing(true);
}

bool FaultPlan::add(const QString& text, QString* error)
{
    const auto fault = Fault::parse(text, error);
    if (fault)
        add(*fault);
    return fault.has_value();
}

void FaultPlan::clear()
{
    m_entries.clear();
    setRefusing(false);
}

QList<Fault> FaultPlan::faults() const
{
    QList<Fault> result;
    for (const Entry& entry : m_entries)
        result.append(entry.fault);
    return result;
}

std::optional<Fault> FaultPlan::next(quint8 function, const std::optional<TouchedRegisters>& touched)
{
    ++m_requestCount;
    std::optional<Fault> hit;
    for (Entry& entry : m_entries) {
        const Fault& fault = entry.fault;
        if (fault.refusesAtOnce() || !fault.concerns(function, touched))
            continue;
        // A one-shot that stands behind another fault waits for a request of its own.
        if (hit && fault.when == Fault::When::Once)
            continue;
        // A lasting fault has no number to reach; counting it would only run over.
        if (fault.when != Fault::When::Always)
            ++entry.seen;
        if (!hit && strikes(fault, entry.seen))
            hit = fault;
    }
    m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(),
                                   [](const Entry& entry) { return isOver(entry.fault, entry.seen); }),
                    m_entries.end());
    if (hit) {
        ++m_hitCount;
        m_hits.append({m_requestCount, function, touched, *hit});
        if (m_hits.size() > c_maximumHits)
            m_hits.removeFirst();
        if (hit->kind == FaultKind::Refuse)
            setRefusing(true);
    }
    return hit;
}

void FaultPlan::setRefusing(bool refusing)
{
    if (m_refusing == refusing)
        return;
    m_refusing = refusing;
    if (m_refusalObserver)
        m_refusalObserver();
}
