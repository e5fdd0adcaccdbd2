#include "applications/bench/check/bench_check.h"

#include "applications/bench/check/check_page.h"
#include "applications/bench/check/page_file.h"
#include "applications/bench/core/device_choice.h"
#include "applications/bench/core/question.h"
#include "applications/bench/core/version_text.h"
#include "applications/bench/device_configuration/connected_controller.h"
#include "applications/bench/probe/driver_reader.h"
#include "applications/bench/probe/link_probe.h"
#include "applications/bench/probe/probe_findings.h"
#include "applications/bench/probe/probe_rows.h"
#include "applications/bench/probe/round_trips.h"
#include "plugins/p_device_mdc/model/command_needs.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_utilities/version.h>
#include <QFileInfo>

#include <algorithm>

BenchCheck::BenchCheck(const GeneralOptions& general, const CheckOptions& options, Console& console,
                       Interrupt& interrupt)
    : m_options(options)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_session(general, options.object, console, interrupt)
    , m_report(console, general.format)
{
    m_session.ignoreConfiguredTraces();
}

ExitCode BenchCheck::run()
{
    if (m_options.pageFile.isEmpty())
        return look();
    const std::optional<BenchProblem> problem = pageFileProblem(m_options.pageFile, m_options.replacesPage);
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    const ExitCode code = look();
    return m_interrupt.requested() ? code : writePage(code);
}

ExitCode BenchCheck::writePage(ExitCode code)
{
    CheckPage page = m_report.page();
    page.time = isoTime(QDateTime::currentDateTime());
    page.configurationName = m_session.configurationName();
    page.versions =
        versionText(m_session.host().pluginReports()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    page.isGood = code == ExitCode::Done;
    // There is none where it could not be read.
    if (const QSharedPointer<QJsonObject> bench = m_session.host().configuration())
        page.objects = bench->value(QLatin1String("objects")).toArray();
    const std::optional<BenchProblem> problem =
        writePageFile(m_options.pageFile, checkPage(page), m_options.replacesPage);
    if (!problem)
        return code;
    problem->tell(m_console);
    return code == ExitCode::Done ? problem->code : code;
}

ExitCode BenchCheck::look()
{
    if (!checkConfigurationFile() || !checkPlugins())
        return m_report.finish();
    const std::optional<BenchProblem> simulation = m_session.startSimulator();
    if (simulation && simulation->code == ExitCode::Usage) {
        // Nothing that the bench lacks: the object that was asked for is not there.
        simulation->tell(m_console);
        return simulation->code;
    }
    if (!checkObjects(simulation))
        return m_report.finish();

    m_session.startFaults();
    m_session.waitForLinks(m_options.linkWait);
    if (!m_interrupt.requested())
        checkLinks();
    const QList<DAbstractPlugin*> all = devices();
    for (DAbstractPlugin* const device : all) {
        if (!m_interrupt.requested())
            checkDevice(*device);
    }
    return m_interrupt.requested() ? ExitCode::Interrupted : m_report.finish();
}

bool BenchCheck::checkConfigurationFile()
{
    const std::optional<BenchProblem> problem = m_session.loadConfigurationFile();
    m_report.add(QStringLiteral("configuration"), problem, m_session.configurationName(),
                 QStringLiteral("correct the file at the place named"));
    return !problem;
}

bool BenchCheck::checkPlugins()
{
    const std::optional<BenchProblem> problem = m_session.checkPlugins();
    const QList<DPluginReport> files = m_session.host().pluginReports();
    for (const DPluginReport& file : files) {
        if (file.error.isEmpty())
            m_report.add({FindingLevel::Ok,
                          QStringLiteral("plug-in %1").arg(QFileInfo(file.file).fileName()),
                          QStringLiteral("%1 %2").arg(file.name, versionToString(file.version)),
                          {}});
        else
            // An error only when an object needs it, which the problem tells.
            m_report.add({FindingLevel::Warning,
                          QStringLiteral("plug-in %1").arg(QFileInfo(file.file).fileName()), file.error,
                          QStringLiteral("replace or remove this file")});
    }
    if (problem)
        m_report.add(QStringLiteral("plug-ins"),
                     BenchProblem{problem->code, {problem->messages.constFirst()}}, {},
                     QStringLiteral("name the folder of the plug-ins with --plugins DIR"));
    return !problem;
}

bool BenchCheck::checkObjects(const std::optional<BenchProblem>& simulation)
{
    const std::optional<BenchProblem> problem = simulation ? simulation : m_session.makeObjects();
    m_report.add(QStringLiteral("objects"), problem,
                 QStringLiteral("%1 made").arg(m_session.host().objectUuids().size()),
                 QStringLiteral("correct the object named"));
    return !problem;
}

QList<DAbstractPlugin*> BenchCheck::devices() const
{
    QList<DAbstractPlugin*> result =
        m_options.object.isEmpty() ? m_session.plugins() : QList<DAbstractPlugin*>{m_session.chosenObject()};
    result.erase(std::remove_if(result.begin(), result.end(),
                                [](const DAbstractPlugin* plugin) {
                                    return plugin->pluginType() != IPlugin::CeTypeDevice;
                                }),
                 result.end());
    return result;
}

bool BenchCheck::hasSeveralDevices() const
{
    const QList<DAbstractPlugin*> all = m_session.plugins();
    return std::count_if(all.cbegin(), all.cend(), [](const DAbstractPlugin* plugin) {
               return plugin->pluginType() == IPlugin::CeTypeDevice;
           }) > 1;
}

QList<DAbstractPlugin*> BenchCheck::links() const
{
    if (m_options.object.isEmpty())
        return m_session.drivers();
    QList<DAbstractPlugin*> result{m_session.driverOf(*m_session.chosenObject())};
    result.removeAll(nullptr);
    return result;
}

void BenchCheck::checkLinks()
{
    const QList<DAbstractPlugin*> all = links();
    for (const DAbstractPlugin* const driver : all) {
        const QString subject = QStringLiteral("link \"%1\"").arg(driver->getName());
        const QString address = driver->getProperty(driver_contract::c_address, QVariant()).toString();
        if (isConnected(*driver)) {
            m_report.add({FindingLevel::Ok, subject, QStringLiteral("connected with %1").arg(address), {}});
        } else {
            m_report.add({FindingLevel::Error, subject, QStringLiteral("%1 cannot be reached").arg(address),
                          QStringLiteral("check the address, the cable and that the controller is on")},
                         ExitCode::NotConnected);
            m_unreachable.append(driver);
        }
        if (const std::optional<BenchProblem> problem = broadcastProblem(m_session, *driver))
            m_report.add({FindingLevel::Warning, subject, problem->messages.constFirst(), problem->hint});
    }
}

void BenchCheck::checkDevice(DAbstractPlugin& device)
{
    if (hasSeveralDevices())
        m_report.speakOf(device.getName());
    const std::optional<int> generation = identify(device);
    CheckedDevice checked{device.commandNames(), m_session.describe(device).configuration, generation};
    if (generation)
        checked.modelName = connectedController(device).modelName;
    const DAbstractPlugin* const driver = m_session.driverOf(device);
    checked.types = registerTypes(driver);
    if (driver != nullptr)
        checked.offset = DriverDescription(driver).addressOffset(m_session.describe(*driver).configuration);
    const QList<Finding> findings = checkConfigurationOf(checked);
    for (const Finding& finding : findings)
        m_report.add(finding);
    if (m_options.isProbing && !m_interrupt.requested())
        probe(checked, findings, device);
    m_report.speakOf({});
}

void BenchCheck::probe(const CheckedDevice& checked, const QList<Finding>& configured,
                       DAbstractPlugin& device)
{
    DAbstractPlugin* const driver = m_session.driverOf(device);
    // That it has none, or has not been there, has been told. One that is lost meanwhile is waited for by the
    // requests, which tell when it does not come back.
    if (driver == nullptr || (!isConnected(*driver) && m_unreachable.contains(driver)))
        return;
    if (!isStillThere(device, false))
        return;
    ConnectedController controller = connectedController(device);
    if (!checked.generation) {
        const QList<int> described = describedGenerations(commandNeeds(), checked.configuration);
        controller.generation = described.isEmpty() ? 1 : described.constLast();
    }
    // What the driver says of a refusal is told as a finding.
    m_console.holdLog();
    if (!m_probeEnd)
        m_probeEnd = QDeadlineTimer(m_options.probeTime);
    DeviceProbe deviceProbe(
        checked.configuration, controller, driverReader(m_session, *driver),
        [this] { return m_interrupt.requested(); }, [this] { return m_probeEnd->hasExpired(); });
    const ProbeResult result = deviceProbe.run();
    m_console.releaseLog([](const QString&) { return true; });
    if (m_interrupt.requested())
        return;
    m_report.addRows(probeRows(result, checked.configuration, checked.offset));
    QList<Finding> known = configured;
    const QList<ProbeFinding> findings = probeFindings(result, checked.configuration, checked.offset);
    for (const ProbeFinding& found : findings) {
        m_report.add(found.finding, found.code);
        known.append(found.finding);
    }
    // That nobody answers any more has been told.
    if (!isStillThere(device, result.end.isEmpty()))
        return;
    if (m_options.isProvingWrites && isIdentified(checked, device) && hasOwnUnit(device))
        proveWrites(checked, controller, known, device);
    measure(result, *driver);
}

// A map is chosen by who answers: by another one's the writes would go elsewhere.
bool BenchCheck::isIdentified(const CheckedDevice& checked, const DAbstractPlugin& device)
{
    const QString answer = m_session.unreadableAnswer(device);
    if (checked.generation && answer.isEmpty())
        return true;
    m_report.add({FindingLevel::Error, QStringLiteral("device \"%1\"").arg(device.getName()),
                  (answer.isEmpty() ? QStringLiteral("it is not identified")
                                    : QStringLiteral("not identified: it gave %1").arg(answer)) +
                      QStringLiteral("; nothing was written, no action is proven"),
                  QStringLiteral("look whether it is a controller of a supported family and what else is on "
                                 "its line")},
                 ExitCode::NotConnected);
    return false;
}

bool BenchCheck::hasOwnUnit(const DAbstractPlugin& device)
{
    const std::optional<BenchProblem> problem = broadcastProblem(m_session, device);
    if (!problem)
        return true;
    m_report.add(
        {FindingLevel::Error, QStringLiteral("device \"%1\"").arg(device.getName()),
         QStringLiteral("nothing was written, no action is proven: %1").arg(problem->messages.constFirst()),
         problem->hint},
        problem->code);
    return false;
}

void BenchCheck::proveWrites(const CheckedDevice& checked, const ConnectedController& controller,
                             const QList<Finding>& known, DAbstractPlugin& device)
{
    DAbstractPlugin& driver = *m_session.driverOf(device);
    // What is written is to be put back, whoever has had enough meanwhile.
    OrderTerms terms;
    terms.isUninterrupted = true;
    const auto ask = [this](const QString& text) {
        return !m_interrupt.requested() && (m_options.isAgreed || agreesTo(text, m_console, m_interrupt));
    };
    const QList<ProbeFinding> findings = ::proveWrites(
        checked.configuration, controller,
        {driverReader(m_session, driver, terms), driverWriter(m_session, driver, terms), ask, passTime,
         [this] { return m_interrupt.requested(); }, [this, &device] { return reunite(device).doubt; }},
        known);
    for (const ProbeFinding& found : findings)
        m_report.add(found.finding, found.code);
}

Reunion BenchCheck::reunite(DAbstractPlugin& device)
{
    if (!m_link || !m_link->isLost())
        return {};
    // One that is away for some seconds comes back: what it was told is to be put back.
    constexpr int c_longestAbsence = 10'000; // ms
    constexpr int c_pause = 100;             // ms
    constexpr int c_mostQuestions = 3;
    OrderTerms terms;
    terms.isUninterrupted = true;
    Reunion reunion;
    for (int asked = 0; asked < c_mostQuestions; ++asked) {
        for (int waited = 0; m_link->isDown() && waited < c_longestAbsence; waited += c_pause)
            passTime(c_pause);
        m_link->beforeQuestion();
        reunion = askAgain(m_session, device, m_identity, terms);
        if (reunion.doubt.isEmpty())
            m_link->afterQuestion();
        if (reunion.doubt.isEmpty() || reunion.code == ExitCode::CommandFailed || m_interrupt.requested())
            break;
    }
    return reunion;
}

// What is read of another one says nothing of the one that was identified.
bool BenchCheck::isStillThere(DAbstractPlugin& device, bool isAsked)
{
    const Reunion reunion = reunite(device);
    if (reunion.doubt.isEmpty() || (!isAsked && reunion.code != ExitCode::CommandFailed))
        return true;
    m_report.add(
        {FindingLevel::Error, QStringLiteral("device \"%1\"").arg(device.getName()),
         QStringLiteral("the link was lost, and %1; what was read may be of either").arg(reunion.doubt),
         QStringLiteral("look which controller is at this address, and check it again")},
        reunion.code);
    return false;
}

void BenchCheck::measure(const ProbeResult& result, DAbstractPlugin& driver)
{
    if (const std::optional<RoundTrips> trips = roundTrips(result.roundTrips))
        m_report.addMeasurement(QStringLiteral("round trip"), toText(*trips),
                                {{QStringLiteral("roundTrip"), toJson(*trips)}});
    const auto readable = std::find_if(result.values.cbegin(), result.values.cend(),
                                       [](const ProbedValue& value) { return value.isRead(); });
    if (readable == result.values.cend() || m_interrupt.requested())
        return;
    m_console.holdLog();
    const LinkFacts facts = probeLink(m_session, driver, {readable->range.address, 1, readable->range.type},
                                      m_console, m_interrupt, [this] { return m_probeEnd->hasExpired(); });
    m_console.releaseLog([](const QString&) { return true; });
    if (!facts.unprobed.isEmpty())
        m_report.add({FindingLevel::Warning, QStringLiteral("link \"%1\"").arg(driver.getName()),
                      unprobedText(facts.unprobed), remedyOfTime()});
    if (!facts.unprobed.contains(QLatin1String("pause")))
        m_report.addMeasurement(QStringLiteral("pause"), pauseText(facts),
                                {{QStringLiteral("pause"), toJson(facts).value(QLatin1String("pause"))}});
    if (facts.connections)
        m_report.addMeasurement(
            QStringLiteral("connections"), connectionsText(facts),
            {{QStringLiteral("connections"), toJson(facts).value(QLatin1String("connections"))}});
    for (const UnitAnswer& unit : facts.units)
        m_report.addMeasurement(
            QStringLiteral("unit %1").arg(unit.unit), unit.text,
            {{QStringLiteral("unit"), unit.unit}, {QStringLiteral("answered"), unit.isAnswered}});
}

RegisterTypes BenchCheck::registerTypes(const DAbstractPlugin* driver)
{
    const RegisterTypes types = DriverDescription(driver).registerTypes();
    if (driver != nullptr && !types.areKnown())
        m_report.add(
            {FindingLevel::Warning, QStringLiteral("driver \"%1\"").arg(driver->getName()),
             QStringLiteral("\"%1\" does not say which register types it knows: they are not checked")
                 .arg(driver->pluginName()),
             QStringLiteral("compare them with the driver's documentation")});
    return types;
}

std::optional<int> BenchCheck::identify(DAbstractPlugin& device)
{
    const QString subject = QStringLiteral("device \"%1\"").arg(device.getName());
    const DAbstractPlugin* const driver = m_session.driverOf(device);
    m_link.reset();
    if (driver == nullptr) {
        m_report.add({FindingLevel::Error, subject, QStringLiteral("it has no driver"),
                      QStringLiteral("give the identity of the driver object as \"driver\"")});
        return std::nullopt;
    }
    if (!isConnected(*driver)) {
        m_report.add({FindingLevel::Warning, subject, QStringLiteral("not identified: its link is down"),
                      QStringLiteral("the register map is checked without knowing the controller")});
        return std::nullopt;
    }
    if (!device.commandNames().contains(QStringLiteral("getInfo")))
        return std::nullopt;
    if (m_session.describe(device).reference.isEmpty())
        m_report.add({FindingLevel::Warning, subject,
                      QStringLiteral("no \"reference\": its tool is not recognised"),
                      QStringLiteral("give the controller's order reference as \"reference\"")});
    m_link.emplace(driver);
    m_link->beforeQuestion();
    const OrderEnd end = m_session.identify(device);
    m_link->afterQuestion();
    m_identity = identityOf(end.outcome);
    if (end.code != ExitCode::Done) {
        m_link.reset();
        m_report.add({FindingLevel::Error, subject,
                      QStringLiteral("not identified: %1").arg(end.outcome.errorMessage),
                      remedyFor(end.code)},
                     end.code);
        return std::nullopt;
    }
    const int generation = device.getProperty(QStringLiteral("softwareVersion"), QVariant(1)).toInt();
    reportIdentity(subject, device, generation);
    return generation;
}

void BenchCheck::reportIdentity(const QString& subject, const DAbstractPlugin& device, int generation)
{
    const QString model = device.getProperty(QStringLiteral("controllerModel"), QVariant()).toString();
    if (model.isEmpty() || model.contains(QLatin1Char('?')))
        m_report.add(
            {FindingLevel::Warning, subject,
             QStringLiteral("an unknown controller answers, taken for generation %1").arg(generation),
             QStringLiteral("check that it is a controller of a supported family")});
    else
        m_report.add(
            {FindingLevel::Ok, subject, QStringLiteral("%1, generation %2").arg(model).arg(generation), {}});
}
