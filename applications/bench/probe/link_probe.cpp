#include "applications/bench/probe/link_probe.h"

#include "applications/bench/core/driver_description.h"
#include "applications/bench/probe/driver_reader.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/plugin_description.h>

#include <QJsonArray>

#include <array>

namespace {

// Beyond the bench's own: more than anybody needs of a controller.
constexpr int c_mostConnections = 7;
constexpr int c_linkWait = 1000;   // ms
constexpr int c_answerWait = 1000; // ms
constexpr int c_readsInARow = 10;

// What has no unit of its own is asked by these.
constexpr std::array<int, 2> c_units{0, 255};

// Links of a driver's kind beside those of the session.
class OtherLinks
{
public:
    OtherLinks(BenchSession& session, const BenchObject& driver, Console& console, Interrupt& interrupt)
        : m_kind(session.host().kinds().value(driver.kind))
        , m_driver(driver)
        , m_console(console)
        , m_interrupt(interrupt)
    {}

    // How many of these links bring an answer, all of them open at once.
    QList<ReadReply> read(const QList<QJsonObject>& configurations, const ReadRequest& request);

private:
    DAbstractPlugin* const m_kind;
    const BenchObject m_driver;
    Console& m_console;
    Interrupt& m_interrupt;
};

QJsonObject benchOf(const BenchObject& driver, const QList<QJsonObject>& configurations)
{
    QJsonArray objects;
    for (int i = 0; i < configurations.size(); ++i)
        objects.append(QJsonObject{{QStringLiteral("id"), QUuid::createUuid().toString()},
                                   {QStringLiteral("name"), QStringLiteral("probe %1").arg(i)},
                                   {QStringLiteral("plugin"), driver.kind.toString()},
                                   {QStringLiteral("configuration"), configurations.at(i)}});
    return {{QStringLiteral("version"), 1}, {QStringLiteral("objects"), objects}};
}

QList<ReadReply> OtherLinks::read(const QList<QJsonObject>& configurations, const ReadRequest& request)
{
    DHost host;
    if (m_kind == nullptr || !host.addPlugin(m_kind) ||
        !host.configure(benchOf(m_driver, configurations)).isEmpty())
        return {};
    LinkWatch links;
    QList<DAbstractPlugin*> drivers;
    const QList<QUuid> uuids = host.objectUuids();
    for (const QUuid& uuid : uuids) {
        drivers.append(host.findInstance(uuid));
        links.add(*drivers.constLast());
    }
    links.wait(c_linkWait, m_interrupt);
    QList<ReadReply> replies;
    for (DAbstractPlugin* const driver : qAsConst(drivers)) {
        const QStringList errors =
            driver->getProperty(driver_contract::c_configurationErrors, QVariant(QStringList()))
                .toStringList();
        if (!errors.isEmpty()) {
            replies.append({ExitCode::Configuration, {}, errors.join(QStringLiteral("; ")), 0});
            continue;
        }
        OrderTerms terms;
        terms.timeout = c_answerWait;
        OrderRun run(host, *driver, terms, m_console, m_interrupt);
        const OrderEnd end = run.run(driver_contract::c_read, readArguments(request));
        replies.append({end.code, {}, end.outcome.errorMessage, 0});
    }
    return replies;
}

// A request must not be missed for the driver's own patience.
int servedAtOnce(OtherLinks& links, const QJsonObject& configuration, const ReadRequest& request)
{
    QList<QJsonObject> configurations;
    for (int i = 0; i < c_mostConnections; ++i)
        configurations.append(configuration);
    int served = 0;
    const QList<ReadReply> replies = links.read(configurations, request);
    for (const ReadReply& reply : replies)
        served += reply.isDone() ? 1 : 0;
    return served;
}

UnitAnswer unitAnswer(int unit, const QList<ReadReply>& replies)
{
    const ReadReply reply = replies.value(0);
    const bool isDone = !replies.isEmpty() && reply.isDone();
    return {unit, isDone, isDone ? QStringLiteral("answers") : reply.message};
}

} // namespace

std::optional<int> neededPause(const RegisterReader& reader, const ReadRequest& request,
                               const std::function<void(int milliseconds)>& wait)
{
    for (const int pause : {0, 5, 10, 20, 50, 100, 200, 500}) {
        int answered = 0;
        while (answered < c_readsInARow) {
            wait(pause);
            if (!reader(request).isDone())
                break;
            ++answered;
        }
        if (answered == c_readsInARow)
            return pause;
    }
    return std::nullopt;
}

LinkFacts probeLink(BenchSession& session, DAbstractPlugin& driver, const ReadRequest& request,
                    Console& console, Interrupt& interrupt, const std::function<bool()>& isOutOfTime)
{
    LinkFacts facts;
    bool isLate = isOutOfTime();
    const RegisterReader reader = driverReader(session, driver);
    const RegisterReader inTime = [&](const ReadRequest& asked) {
        isLate = isLate || isOutOfTime();
        return isLate || interrupt.requested() ? ReadReply{ExitCode::TimedOut, {}, {}, 0} : reader(asked);
    };
    facts.pause = neededPause(inTime, request, [&isLate](int pause) {
        if (!isLate)
            passTime(pause);
    });
    if (isLate && !facts.pause)
        facts.unprobed.append(QStringLiteral("pause"));
    const BenchObject object = session.describe(driver);
    const DriverDescription description(&driver);
    if (!description.isTcp(object.configuration) || interrupt.requested())
        return facts;
    if (isLate) {
        facts.unprobed += QStringList{QStringLiteral("connections"), QStringLiteral("units")};
        return facts;
    }
    const QJsonObject configuration = description.untraced(object.configuration);
    OtherLinks links(session, object, console, interrupt);
    facts.connections = 1 + servedAtOnce(links, configuration, request);
    facts.areMore = *facts.connections > c_mostConnections;
    for (const int unit : c_units) {
        const std::optional<QJsonObject> other = description.withUnit(configuration, unit);
        if (other && !interrupt.requested())
            facts.units.append(unitAnswer(unit, links.read({*other}, request)));
    }
    // A controller that serves one client may have sent the bench's own away.
    session.waitForLinks(c_linkWait);
    return facts;
}

QString connectionsText(const LinkFacts& facts)
{
    return QStringLiteral("%1 at the same time%2")
        .arg(facts.connections.value_or(0))
        .arg(facts.areMore ? QStringLiteral(" or more") : QString());
}

QString pauseText(const LinkFacts& facts)
{
    if (!facts.pause)
        return QStringLiteral("some requests are missed with any pause up to 500 ms");
    return *facts.pause == 0 ? QStringLiteral("none needed between requests")
                             : QStringLiteral("%1 ms needed between requests").arg(*facts.pause);
}

QJsonObject toJson(const LinkFacts& facts)
{
    QJsonObject object;
    if (facts.connections)
        object.insert(QStringLiteral("connections"),
                      QJsonObject{{QStringLiteral("atOnce"), *facts.connections},
                                  {QStringLiteral("orMore"), facts.areMore}});
    object.insert(QStringLiteral("pause"), facts.pause ? QJsonValue(*facts.pause) : QJsonValue());
    QJsonArray units;
    for (const UnitAnswer& unit : facts.units)
        units.append(QJsonObject{{QStringLiteral("unit"), unit.unit},
                                 {QStringLiteral("answered"), unit.isAnswered},
                                 {QStringLiteral("text"), unit.text}});
    object.insert(QStringLiteral("units"), units);
    return object;
}
