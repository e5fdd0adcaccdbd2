#include "applications/bench/watch/watch_run.h"

#include "applications/bench/core/driver_description.h"
#include "applications/bench/probe/driver_reader.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_utilities/plain_file.h>

#include <QEventLoop>
#include <QFileInfo>
#include <QLocale>
#include <QTimer>

#include <algorithm>

bool WatchedController::isSame(const WatchedController& other) const
{
    return model == other.model && serial == other.serial && facts.generation == other.facts.generation &&
           facts.firmware == other.facts.firmware;
}

QString WatchedController::toText() const
{
    return QStringLiteral("%1, generation %2, serial number %3")
        .arg(model.isEmpty() ? QStringLiteral("an unknown model") : model)
        .arg(facts.generation)
        .arg(serial.isEmpty() ? QStringLiteral("unknown") : serial);
}

WatchRun::WatchRun(BenchSession& session, DAbstractPlugin& device, DAbstractPlugin& driver,
                   const WatchOptions& options, WatchOutput& output, Console& console, Interrupt& interrupt)
    : m_session(session)
    , m_device(device)
    , m_driver(driver)
    , m_options(options)
    , m_output(output)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_configuration(session.describe(device).configuration)
    , m_offset(DriverDescription(&driver).addressOffset(session.describe(driver).configuration))
{}

ExitCode WatchRun::run()
{
    m_controller = controllerNow();
    m_connections = connections();
    const ExitCode selected = select();
    if (selected != ExitCode::Done)
        return selected;
    const ExitCode opened = openCsv();
    if (opened != ExitCode::Done)
        return opened;
    m_clock.start();
    while (!isOver()) {
        const qint64 begin = m_clock.elapsed();
        // What the driver logs of a request that fails is told as an outage. Nothing is kept from one reading
        // to the next: an outage may be long.
        m_console.holdLog();
        const bool isKept = readOnce();
        ++m_readings;
        if (isKept && !isOver())
            pause(begin + m_options.interval - m_clock.elapsed());
        m_console.releaseLog([](const QString&) { return true; });
        if (!isKept)
            return ExitCode::CommandFailed;
    }
    return ExitCode::Done;
}

bool WatchRun::isOver() const
{
    return m_interrupt.requested() || (m_options.bounds.count > 0 && m_readings >= m_options.bounds.count) ||
           (m_options.bounds.duration > 0 && m_clock.elapsed() >= m_options.bounds.duration);
}

ExitCode WatchRun::select()
{
    const ConnectedController controller = connectedController(m_device);
    m_selection = watchSelection(m_options.channels, probedRanges(m_configuration, controller),
                                 m_configuration, generationSuffix(controller.generation));
    if (!m_selection.error.isEmpty()) {
        m_console.error(m_selection.error);
        return ExitCode::Usage;
    }
    if (m_selection.shown.isEmpty()) {
        m_console.error(QStringLiteral("%1: nothing is configured that could be read")
                            .arg(m_session.configurationName()));
        return ExitCode::Configuration;
    }
    m_requests = probeRequests(m_selection.ranges);
    m_reading.names = m_selection.shown;
    return ExitCode::Done;
}

ExitCode WatchRun::openCsv()
{
    if (m_options.csvFile.isEmpty())
        return ExitCode::Done;
    const QString& path = m_options.csvFile;
    const QByteArray header = watchCsvHeader(m_reading.names);
    QString reason;
    // What is replaced is not written to: the file may have another name, or another owner.
    const bool replaces = m_options.replacesCsv && QFileInfo::exists(path);
    bool isOpen = replaces ? isFreeForFile(path, &reason) && putFile(path, header, &reason) &&
                                 openPlainFile(m_csv, path, &reason)
                           : openNewFile(m_csv, path, &reason);
    if (!isOpen && !m_options.replacesCsv && QFileInfo(path).isFile() && !QFileInfo(path).isSymLink()) {
        m_console.error(QStringLiteral("%1 is there already and was left alone").arg(path));
        m_console.hint(QStringLiteral("name another file, or replace this one with --force"));
        return ExitCode::CommandFailed;
    }
    if (isOpen && !replaces && !(m_csv.write(header) == header.size() && m_csv.flush())) {
        reason = m_csv.errorString();
        isOpen = false;
    }
    if (isOpen)
        return ExitCode::Done;
    m_console.error(QStringLiteral("%1 cannot be written: %2").arg(path, reason));
    return ExitCode::CommandFailed;
}

WatchedController WatchRun::controllerNow() const
{
    return {m_device.getProperty(QStringLiteral("controllerModel"), QVariant()).toString(),
            m_session.serialOf(m_device), connectedController(m_device)};
}

int WatchRun::connections() const
{
    // A driver that does not count them is asked after what it tells as failed alone.
    return m_driver.getProperty(driver_contract::c_statistics, QVariant())
        .toMap()
        .value(driver_contract::c_connections)
        .toInt();
}

bool WatchRun::mayBeAnother() const
{
    return m_isOutOfSight || connections() != m_connections;
}

QString WatchRun::identifyAgain()
{
    const OrderEnd end = m_session.identify(m_device);
    if (m_interrupt.requested())
        return {};
    if (end.code != ExitCode::Done)
        return end.outcome.errorMessage;
    const QString unreadable = m_session.unreadableAnswer(m_device);
    if (!unreadable.isEmpty())
        return QStringLiteral("it is not known which controller answers: it gave %1").arg(unreadable);
    m_connections = connections();
    m_isOutOfSight = false;
    return {};
}

bool WatchRun::goOnWith(const WatchedController& now)
{
    const QString text = QStringLiteral("another controller answers: %1, instead of %2")
                             .arg(now.toText(), m_controller.toText());
    m_controller = now;
    m_swap = QStringLiteral("; %1").arg(text);
    if (!m_output.showsTrouble())
        m_console.recurringWarning(text);
    const QStringList before = m_reading.names;
    if (select() != ExitCode::Done) {
        m_console.hint(QStringLiteral("start this program again with values that this controller has"));
        return false;
    }
    if (m_reading.names == before || !(m_csv.isOpen() || m_output.hasColumns()))
        return true;
    m_console.error(QStringLiteral("%1: its values are other columns (%2) than those written so far (%3)")
                        .arg(now.toText(), m_reading.names.join(QStringLiteral(", ")),
                             before.join(QStringLiteral(", "))));
    m_console.hint(QStringLiteral("start this program again, with another file"));
    return false;
}

bool WatchRun::readOnce()
{
    QString trouble;
    if (mayBeAnother()) {
        trouble = identifyAgain();
        if (m_interrupt.requested())
            return true;
        const WatchedController now = controllerNow();
        if (trouble.isEmpty() && !now.isSame(m_controller) && !goOnWith(now))
            return false;
    }
    const RegisterReader reader = driverReader(m_session, m_driver);
    RegisterImage image;
    for (const ReadRequest& request : qAsConst(m_requests)) {
        // Of a controller that is not known no values are told.
        if (mayBeAnother())
            break;
        const ReadReply reply = reader(request);
        if (m_interrupt.requested())
            return true;
        // It may have waited for the next link.
        if (reply.isDone() && connections() != m_connections)
            break;
        if (reply.isDone())
            image.take(request, reply.values);
        else if (trouble.isEmpty())
            trouble = reply.message;
        // Nobody waits for each of them where one is not answered.
        m_isOutOfSight = !reply.isDone() && reply.code != ExitCode::Refused;
    }
    tellOutage(trouble);
    take(image);
    m_output.show(m_reading);
    return !m_csv.isOpen() || writeCsv();
}

bool WatchRun::writeCsv()
{
    const QByteArray line = watchCsvLine(m_reading);
    if (m_csv.write(line) == line.size() && m_csv.flush())
        return true;
    m_console.error(QStringLiteral("%1 cannot be written: %2").arg(m_options.csvFile, m_csv.errorString()));
    return false;
}

void WatchRun::take(const RegisterImage& image)
{
    m_reading.time = QDateTime::currentDateTime();
    m_reading.clock = m_clock.elapsed();
    m_reading.title =
        QStringLiteral("%1 at %2, %3")
            .arg(m_device.getName(), m_driver.getProperty(driver_contract::c_address, QVariant()).toString(),
                 QLocale::c().toString(m_reading.time.time(), QStringLiteral("HH:mm:ss"))) +
        m_swap;
    m_reading.read.clear();
    m_reading.changed.clear();
    const QList<ProbeRow> rows = watchedRows(m_selection, image, m_configuration, m_offset);
    for (const ProbeRow& row : rows) {
        m_reading.read.append(row.channel);
        m_reading.meanings.insert(row.channel, row.meaning);
        if (m_reading.histories[row.channel].take(m_reading.clock, row.value, row.number))
            m_reading.changed.append(row.channel);
    }
}

void WatchRun::tellOutage(const QString& trouble)
{
    const bool wasThere = m_reading.trouble.isEmpty();
    // On a screen it stands above the values; a line of its own would push them out of their place.
    const bool isTold = !m_output.showsTrouble();
    if (isTold && wasThere && !trouble.isEmpty())
        m_console.recurringWarning(QStringLiteral("%1; watching goes on").arg(trouble));
    if (isTold && !wasThere && trouble.isEmpty())
        m_console.recurringWarning(QStringLiteral("the controller answers again"));
    m_reading.trouble = trouble;
}

void WatchRun::pause(qint64 milliseconds)
{
    qint64 rest = milliseconds;
    if (m_options.bounds.duration > 0)
        rest = std::min(rest, m_options.bounds.duration - m_clock.elapsed());
    if (rest <= 0)
        return;
    QEventLoop loop;
    QTimer::singleShot(static_cast<int>(rest), Qt::PreciseTimer, &loop, &QEventLoop::quit);
    QObject::connect(&m_interrupt, &Interrupt::interrupted, &loop, &QEventLoop::quit);
    loop.exec();
}
