#include "applications/bench/demo/demonstration.h"

#include "applications/bench/device_configuration/channel_entry.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulator.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>

namespace {

constexpr quint16 c_shownDirection = 1; // loosening; 0 is where the controller starts
constexpr quint16 c_shownProgram = 3;
constexpr quint16 c_shownAlarm = 12;

QString argumentsText(const QVariantMap& arguments)
{
    QString text;
    for (auto it = arguments.cbegin(); it != arguments.cend(); ++it)
        text += QStringLiteral(" %1=%2").arg(it.key(), valueText(it.value()));
    return text;
}

QString wireText(const ControllerWrite& write)
{
    QStringList values;
    for (const quint16 value : write.values)
        values.append(QString::number(value));
    return QStringLiteral("%1 written to register %2, %3")
        .arg(values.join(QLatin1Char(' ')))
        .arg(write.address)
        .arg(write.isAccepted() ? QStringLiteral("accepted")
                                : QStringLiteral("refused with exception %1").arg(write.exception));
}

} // namespace

Demonstration::Demonstration(const GeneralOptions& general, Console& console, Interrupt& interrupt)
    : m_isTcp(general.simulation == GeneralOptions::Simulation::Tcp)
    , m_console(console)
    , m_session(general, QString(), console, interrupt)
{}

SimulatedController& Demonstration::controller()
{
    return m_session.simulator()->controller();
}

int Demonstration::registerOf(const QString& channel) const
{
    const QJsonObject configuration = m_session.describe(*m_device).configuration;
    return channelEntry(configuration, channel, QStringLiteral("register")).toInt(-1);
}

ExitCode Demonstration::run()
{
    const ExitCode opened = m_session.open();
    if (opened != ExitCode::Done)
        return opened;
    m_device = m_session.chosenObject();
    if (m_device == nullptr || m_session.simulator() == nullptr) {
        m_console.error(QStringLiteral("the bundled configuration has no device to show"));
        return ExitCode::Configuration;
    }
    m_session.startFaults();
    introduce();
    // Each step builds on the one before it.
    using Step = void (Demonstration::*)();
    const Step steps[] = {&Demonstration::showGetInfo, &Demonstration::showSetDirection,
                          &Demonstration::showSetProgram, &Demonstration::showResetAlarm,
                          &Demonstration::showGetRegister};
    for (const Step step : steps) {
        (this->*step)();
        if (m_code != ExitCode::Done)
            return m_code;
    }
    return m_code;
}

void Demonstration::introduce()
{
    const DAbstractPlugin* const driver = m_session.driverOf(*m_device);
    m_console.out(QStringLiteral("%1\n\nThe controller is simulated inside this program: %2 (profile %3).\n"
                                 "Orders go to the object \"%4\" (%5). It asks its driver \"%6\"\n"
                                 "(%7) to read and write the controller's registers\n"
                                 "at %8.\n")
                      .arg(m_isTcp ? QStringLiteral("=== Modbus TCP ===")
                                   : QStringLiteral("=== Modbus RTU, on a pair of pseudo-terminals ==="),
                           controller().profile().title(), controller().profile().name, m_device->getName(),
                           m_device->pluginName(), driver == nullptr ? QString() : driver->getName(),
                           driver == nullptr ? QString() : driver->pluginName(),
                           driver == nullptr
                               ? QString()
                               : driver->getProperty(driver_contract::c_address, QVariant()).toString()));
}

bool Demonstration::show(const QString& command, const QVariantMap& arguments, const QString& purpose)
{
    controller().clearWrites();
    const qint64 requests = m_session.simulator()->faults().requestCount();
    m_console.out(QStringLiteral("\n%1. %2%3\n").arg(++m_orders).arg(command, argumentsText(arguments)));
    line(QStringLiteral("asked"), purpose);
    m_end = m_session.runOrder(*m_device, command, arguments);
    showWrites(requests);
    showResults();
    if (m_end.code == ExitCode::Done)
        return true;
    m_code = m_end.code;
    m_console.error(QStringLiteral("\"%1\" failed: %2").arg(command, m_end.outcome.errorMessage));
    return false;
}

void Demonstration::showWrites(qint64 requestsBefore)
{
    const QList<ControllerWrite> writes = controller().writes();
    for (const ControllerWrite& write : writes)
        line(QStringLiteral("wire"), wireText(write));
    if (writes.isEmpty())
        line(QStringLiteral("wire"),
             QStringLiteral("requests: %1, nothing written")
                 .arg(m_session.simulator()->faults().requestCount() - requestsBefore));
}

void Demonstration::showResults()
{
    QList<NamedValue> values;
    for (auto it = m_end.outcome.results.cbegin(); it != m_end.outcome.results.cend(); ++it)
        values.append({it.key(), it.value()});
    const QList<QStringList> rows = valueRows(values);
    for (const QStringList& row : rows)
        line(QStringLiteral("result"), row.join(QStringLiteral(" = ")));
    if (rows.isEmpty() && m_end.code == ExitCode::Done)
        line(QStringLiteral("result"), QStringLiteral("none: this command only succeeds or fails"));
}

void Demonstration::line(const QString& label, const QString& text)
{
    m_console.out(QStringLiteral("   %1 %2\n").arg(label.leftJustified(8), text));
}

void Demonstration::expect(bool met, const QString& what, const QString& found)
{
    line(QStringLiteral("check"),
         QStringLiteral("%1: %2").arg(
             what, met ? m_console.tinted(QStringLiteral("yes"), Console::Tint::Good)
                       : m_console.tinted(QStringLiteral("NO, ") + found, Console::Tint::Bad)));
    if (met)
        return;
    m_code = ExitCode::CommandFailed;
    m_console.error(QStringLiteral("not as expected: %1: %2").arg(what, found));
}

void Demonstration::expectWrite(const QString& channel, quint16 value)
{
    const int address = registerOf(channel);
    const QList<ControllerWrite> writes = controller().writes();
    const bool met = writes.size() == 1 && writes.constFirst().isAccepted() &&
                     writes.constFirst().address == address &&
                     writes.constFirst().values == QVector<quint16>{value};
    expect(
        met,
        QStringLiteral("register %1 (channel \"%2\") was written once with %3")
            .arg(address)
            .arg(channel)
            .arg(value),
        writes.isEmpty()
            ? QStringLiteral("nothing was written")
            : QStringLiteral("%1 writes, the first %2").arg(writes.size()).arg(writes.constFirst().toText()));
}

QString Demonstration::suffix()
{
    return generationSuffix(m_device->getProperty(QStringLiteral("softwareVersion"), QVariant(1)).toInt());
}

void Demonstration::showGetInfo()
{
    const QString reference = m_session.describe(*m_device).reference;
    if (!show(QStringLiteral("getInfo"), {{QStringLiteral("reference"), reference}},
              QStringLiteral("who are you? (the reference chooses the table of tools)")))
        return;
    const int generation = m_device->getProperty(QStringLiteral("softwareVersion"), QVariant()).toInt();
    expect(generation == controller().profile().generation(),
           QStringLiteral("software generation %1 was recognised").arg(controller().profile().generation()),
           QStringLiteral("it is %1").arg(generation));
    line(QStringLiteral("so"),
         suffix().isEmpty()
             ? QStringLiteral("channels are looked up by their plain names from now on")
             : QStringLiteral("channels are looked up with \"%1\" behind their names from now on")
                   .arg(suffix()));
}

void Demonstration::showSetDirection()
{
    if (!show(QStringLiteral("setDirection"), {{QStringLiteral("direction"), uint{c_shownDirection}}},
              QStringLiteral("turn the other way (0 fastening, 1 loosening)")))
        return;
    expectWrite(QStringLiteral("directionChange") + suffix(), c_shownDirection);
    expect(controller().direction() == c_shownDirection, QStringLiteral("the controller turns the other way"),
           QStringLiteral("its direction is %1").arg(controller().direction()));
}

void Demonstration::showSetProgram()
{
    if (!show(QStringLiteral("setProgram"), {{QStringLiteral("program"), uint{c_shownProgram}}},
              QStringLiteral("tighten with program %1 from now on").arg(c_shownProgram)))
        return;
    expectWrite(QStringLiteral("presetChange") + suffix(), c_shownProgram);
    expect(controller().currentPreset() == c_shownProgram,
           QStringLiteral("the controller uses program %1").arg(c_shownProgram),
           QStringLiteral("it uses %1").arg(controller().currentPreset()));
}

void Demonstration::showResetAlarm()
{
    controller().raiseAlarm(c_shownAlarm);
    if (!show(QStringLiteral("resetAlarm"), {},
              QStringLiteral("clear the alarm (alarm %1 was raised in the controller just now)")
                  .arg(c_shownAlarm)))
        return;
    expectWrite(QStringLiteral("alarmReset"), 1);
    expect(controller().alarm() == 0, QStringLiteral("the alarm is gone"),
           QStringLiteral("alarm %1 is active").arg(controller().alarm()));
}

void Demonstration::showGetRegister()
{
    const QString channel = QStringLiteral("direction");
    if (!show(QStringLiteral("getRegister"), {{QStringLiteral("channel"), channel}},
              QStringLiteral("which way do you turn? (channel \"%1\", register %2)")
                  .arg(channel + suffix())
                  .arg(registerOf(channel + suffix()))))
        return;
    const QVariant values = m_end.outcome.results.value(QStringLiteral("values"));
    const QVariantList list = values.toList();
    expect(list.size() == 1 && list.constFirst().toInt() == c_shownDirection,
           QStringLiteral("what step 2 wrote is read back"),
           QStringLiteral("it is %1").arg(valueText(values)));
}
