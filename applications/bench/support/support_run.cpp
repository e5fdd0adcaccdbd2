#include "applications/bench/support/support_run.h"

#include "applications/bench/check/page_file.h"
#include "applications/bench/core/driver_description.h"
#include "applications/bench/core/result_writer.h"
#include "applications/bench/core/version_text.h"
#include "applications/bench/list/bench_listing.h"
#include "applications/bench/support/log_record.h"
#include "applications/bench/support/source_text.h"

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QJsonDocument>
#include <QSysInfo>

namespace {

QString mainConfiguration(const GeneralOptions& general)
{
    return general.configFile.isEmpty() ? QStringLiteral(":/configurations/bench.json") : general.configFile;
}

// What "check" tells, for this and not for the console; no trace is written.
GeneralOptions quietly(const GeneralOptions& general)
{
    GeneralOptions options = general;
    options.format = OutputFormat::Json;
    options.traceFile.clear();
    return options;
}

QJsonValue originsOf(const QJsonObject& names)
{
    // Each says that it is a serial number: a short one could be anything.
    QJsonObject origins;
    for (auto it = names.constBegin(); it != names.constEnd(); ++it)
        origins.insert(it.key(), QJsonObject{{QStringLiteral("serial"), it.value()}});
    return origins;
}

} // namespace

SupportRun::SupportRun(const GeneralOptions& general, const SupportOptions& options, Console& console,
                       Interrupt& interrupt)
    : m_general(general)
    , m_options(options)
    , m_console(console)
    , m_interrupt(interrupt)
    , m_anonymiser(ComputerIdentity::ofThisComputer())
    , m_ownFiles(mainConfiguration(general), options.added)
{}

ExitCode SupportRun::run()
{
    std::optional<BenchProblem> problem = pageFileProblem(m_options.file, m_options.replaces);
    if (!problem)
        problem = addNamedFiles();
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    const ExitCode checked = lookOverBench();
    return m_interrupt.requested() ? ExitCode::Interrupted : write(checked);
}

std::optional<BenchProblem> SupportRun::addNamedFiles()
{
    QStringList files = m_options.added;
    if (!m_general.traceFile.isEmpty())
        files.prepend(m_general.traceFile);
    for (const QString& file : files) {
        const SourceBytes source = endOfFile(file);
        if (!source.reason.isEmpty())
            return BenchProblem{ExitCode::CommandFailed,
                                {QStringLiteral("%1 cannot be packed: %2").arg(file, source.reason)},
                                QStringLiteral("correct its name, or do without it")};
        const bool isTrace = file == m_general.traceFile;
        m_list.add((isTrace ? QStringLiteral("trace/") : QStringLiteral("added/")) +
                       QFileInfo(file).fileName(),
                   source.bytes, source.cut);
    }
    return std::nullopt;
}

ExitCode SupportRun::lookOverBench()
{
    const GeneralOptions general = quietly(m_general);
    CheckOptions options;
    options.linkWait = m_options.linkWait;
    options.isProbing = m_options.isProbing;
    const LogRecord log;
    BenchCheck check(general, options, m_console, m_interrupt);
    check.session().judgeFiles(
        [this](const QString& path, const QByteArray& text) { return m_ownFiles.reasonAgainst(path, text); });
    const ExitCode code = check.run();
    addConfiguration();
    if (m_interrupt.requested())
        return code;
    addDocument(QStringLiteral("check.json"), m_console.document().value_or(QJsonObject()));
    addDocument(QStringLiteral("list.json"), benchListing(check.session()));
    addVersions(check.session());
    addTraces(check.session());
    addProperties(check.session());
    m_list.add(QStringLiteral("log.txt"), log.text().toUtf8());
    knowControllers(check.session());
    return code;
}

void SupportRun::addDocument(const QString& name, const QJsonObject& document)
{
    m_list.add(name, QJsonDocument(document).toJson(QJsonDocument::Indented));
}

void SupportRun::addFile(const QString& name, const QString& path)
{
    const SourceBytes source = endOfFile(path);
    if (source.reason.isEmpty())
        m_list.add(name, source.bytes, source.cut);
    else
        m_list.leaveOut(name, QStringLiteral("%1 cannot be read: %2").arg(path, source.reason));
}

void SupportRun::addVersions(BenchSession& session)
{
    const QStringList lines{versionText(session.host().pluginReports()) +
                                QStringLiteral("%1, %2 %3, %4")
                                    .arg(QSysInfo::prettyProductName(), QSysInfo::kernelType(),
                                         QSysInfo::kernelVersion(), QSysInfo::currentCpuArchitecture()),
                            QStringLiteral("program %1").arg(QCoreApplication::applicationFilePath()),
                            QStringLiteral("plug-ins of %1").arg(session.pluginFolder()),
                            QStringLiteral("configuration %1").arg(session.configurationName()), QString()};
    m_list.add(QStringLiteral("versions.txt"), lines.join(QLatin1Char('\n')).toUtf8());
}

void SupportRun::addConfiguration()
{
    const QString path = mainConfiguration(m_general);
    const QString folder = QStringLiteral("configuration/");
    addFile(folder + QFileInfo(path).fileName(), path);
    const QByteArray mainFile = endOfFile(path).bytes;
    m_objects = benchObjects(QJsonDocument::fromJson(mainFile).object());
    const QStringList names = namedConfigurationFiles(mainFile);
    for (const QString& name : names) {
        const QString file = QDir::cleanPath(QFileInfo(path).dir().filePath(name));
        const SourceBytes source = endOfFile(file);
        QString problem = source.reason.isEmpty()
                              ? m_ownFiles.reasonAgainst(file, source.bytes)
                              : QStringLiteral("%1 cannot be read: %2").arg(file, source.reason);
        if (problem.isEmpty())
            m_list.add(folder + QFileInfo(name).fileName(), source.bytes, source.cut);
        else
            m_list.leaveOut(folder + name, problem);
    }
}

void SupportRun::addTraces(BenchSession& session)
{
    for (const BenchObject& object : qAsConst(m_objects)) {
        const DriverDescription driver(session.host().kinds().value(object.kind));
        const QString path = driver.traceFile(object.configuration);
        if (path.isEmpty())
            continue;
        const QString name = QStringLiteral("trace/") + QFileInfo(path).fileName();
        const QString start = QString::fromUtf8(endOfFile(path).bytes.left(c_packedLineLimit));
        // A configuration may name any file as its trace, and be somebody else's.
        if (QFileInfo::exists(path) && !isTraceLine(start.section(QLatin1Char('\n'), 0, 0)))
            m_list.leaveOut(name,
                            QStringLiteral("%1 holds something else than a trace of frames; --add packs "
                                           "any file")
                                .arg(path));
        else
            addFile(name, path);
    }
}

void SupportRun::addProperties(const BenchSession& session)
{
    const QString name = QStringLiteral("properties.json");
    const QString path = session.propertiesFile();
    if (path.isEmpty() || !QFileInfo::exists(path)) {
        m_list.leaveOut(name, QStringLiteral("no persistent properties were kept"));
        return;
    }
    const SourceBytes source = endOfFile(path);
    const QJsonObject all = QJsonDocument::fromJson(source.bytes).object();
    if (!source.reason.isEmpty() || all.isEmpty()) {
        m_list.leaveOut(name, QStringLiteral("%1 cannot be read%2")
                                  .arg(path, source.reason.isEmpty()
                                                 ? QStringLiteral(": it is no JSON, or too large")
                                                 : QStringLiteral(": ") + source.reason));
        return;
    }
    QJsonObject objects;
    QJsonObject origins;
    for (const BenchObject& object : qAsConst(m_objects)) {
        const QString id = object.uuid.toString();
        const QJsonObject values = all.value(QLatin1String("objects")).toObject().value(id).toObject();
        const QJsonObject known = all.value(QLatin1String("origins")).toObject().value(id).toObject();
        if (!values.isEmpty())
            objects.insert(id, values);
        if (!known.isEmpty())
            origins.insert(id, originsOf(known));
    }
    addDocument(name, {{QStringLiteral("file"), path},
                       {QStringLiteral("objects"), objects},
                       {QStringLiteral("origins"), origins}});
}

void SupportRun::knowControllers(BenchSession& session)
{
    const QList<DAbstractPlugin*> plugins = session.plugins();
    for (const DAbstractPlugin* const plugin : plugins) {
        m_anonymiser.knowSerial(session.serialOf(*plugin));
        m_anonymiser.knowAddress(plugin->getProperty(driver_contract::c_address, QVariant()).toString());
    }
}

ExitCode SupportRun::write(ExitCode checked)
{
    if (!m_options.withIdentity)
        m_list.anonymise(m_anonymiser);
    QJsonObject document = m_list.toJson();
    document.insert(QStringLiteral("identity"),
                    m_options.withIdentity ? QStringLiteral("kept") : QStringLiteral("replaced"));
    document.insert(QStringLiteral("checkExitCode"), static_cast<int>(checked));
    addDocument(QStringLiteral("contents.json"), document);

    QList<ZipEntry> entries;
    for (const PackedFile& file : m_list.files())
        entries.append({file.name, file.bytes});
    const QByteArray archive = zipArchive(entries, QDateTime::currentDateTime());
    ResultWriter writer(m_console, m_general.format);
    document.insert(QStringLiteral("files"), m_list.toJson().value(QLatin1String("files")));
    document.insert(QStringLiteral("archive"), m_options.file);
    document.insert(QStringLiteral("bytes"), archive.size());
    writer.document(document);
    const std::optional<BenchProblem> problem = writePrivateFile(m_options.file, archive, m_options.replaces);
    if (problem) {
        problem->tell(m_console);
        return problem->code;
    }
    writer.record(QStringLiteral("archive"), document);
    if (m_general.format == OutputFormat::Table)
        m_console.out(m_list.toText() +
                      QStringLiteral("\n%1: %2 bytes; serial numbers and addresses %3\n")
                          .arg(m_options.file)
                          .arg(archive.size())
                          .arg(m_options.withIdentity
                                   ? QStringLiteral("are in it")
                                   : QStringLiteral("are replaced, as far as they are known: look it "
                                                    "through before it leaves the house")));
    return ExitCode::Done;
}
