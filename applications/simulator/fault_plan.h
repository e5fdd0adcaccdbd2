#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <functional>
#include <optional>

// What can go wrong between a client and the controller. The table behind faultDescriptions() says
// what each does on the wire and which value it takes.
enum class FaultKind {
    NoAnswer,
    Lost,
    Late,
    Twice,
    CutHeader,
    CutMiddle,
    Short,
    Exception,
    Close,
    Reset,
    Refuse,
    Restart
};

// The registers, or bits, that a request reads or writes.
struct TouchedRegisters
{
    int first = 0;
    int count = 0; // from 1
};

// One misbehaviour and the requests it hits.
struct Fault
{
    enum class When {
        Always,    // every matching request, until cleared
        Once,      // the next matching request
        AtRequests // the matching requests whose numbers stand in `requests`
    };
    // Both ends belong to it; numbers count from 1.
    struct Range
    {
        int first = 0;
        int last = 0;
    };

    FaultKind kind = FaultKind::NoAnswer;
    // Milliseconds or an exception code, see faultDescriptions(); 0 for kinds without a value.
    int value = 0;
    When when = When::Always;
    // Counted from the moment the fault is added, and only the requests that `function` and `registers`
    // let through.
    QList<Range> requests;
    // Only requests with this function code.
    std::optional<quint8> function;
    // Only requests that read or write one of these addresses, 0 to 65535.
    std::optional<Range> registers;

    // Whether such a request counts for this fault. `touched`: nothing for a request that has no address.
    bool concerns(quint8 requestFunction, const std::optional<TouchedRegisters>& touched) const;
    // A lasting refusal of everybody has no request to wait for: it refuses the connections that requests
    // would come over.
    bool refusesAtOnce() const;

    // name[=value][@when][/function][#register]: "no-answer", "late=4000@3", "exception=2@5-7,9",
    // "close@once", "twice@2/0x06", "exception=2@once/0x06#117", "restart=500#100-199". Empty with a text
    // that names what is allowed when that does not read so.
    static std::optional<Fault> parse(const QString& text, QString* error = nullptr);
    // The same form; parse(toText()) gives the fault again.
    QString toText() const;
};

// One row per kind, for help texts and the parser.
struct FaultDescription
{
    FaultKind kind;
    const char* name;
    // Name of the value that "=" introduces; null when the kind takes none.
    const char* valueName;
    int minimum;
    int maximum;
    const char* meaning;
};
const QList<FaultDescription>& faultDescriptions();

// Which request meets which fault. Pure bookkeeping without clock or input: who relays requests
// asks next() once per request and does what it says.
class FaultPlan
{
public:
    struct Hit
    {
        qint64 request = 0; // number of the request, from 1
        quint8 function = 0;
        std::optional<TouchedRegisters> registers;
        Fault fault;
    };
    // The newest hits that hits() keeps.
    static constexpr int c_maximumHits = 10000;

    void add(const Fault& fault);
    // False with a text, and nothing added, when the text is no fault.
    bool add(const QString& text, QString* error = nullptr);
    // Ends every fault, a refusal too. The request counter and the hits stay.
    void clear();
    QList<Fault> faults() const;

    // Counts a request and says which fault hits it: the first added of those that match. Faults
    // behind it count the request too.
    std::optional<Fault> next(quint8 function, const std::optional<TouchedRegisters>& touched = std::nullopt);
    // Whether new connections are refused: a lasting "refuse" was added, or one was hit.
    bool isRefusing() const { return m_refusing; }

    qint64 requestCount() const { return m_requestCount; }
    qint64 hitCount() const { return m_hitCount; }
    // Oldest first.
    QList<Hit> hits() const { return m_hits; }

    // Called after every change of isRefusing().
    void setRefusalObserver(std::function<void()> observer) { m_refusalObserver = std::move(observer); }

private:
    struct Entry
    {
        Fault fault;
        int seen = 0;
    };
    void setRefusing(bool refusing);

    QList<Entry> m_entries;
    QList<Hit> m_hits;
    qint64 m_requestCount = 0;
    qint64 m_hitCount = 0;
    bool m_refusing = false;
    std::function<void()> m_refusalObserver;
};
