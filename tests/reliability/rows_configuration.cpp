#include "applications/bench/check/bench_check.h"
#include "tests/reliability/event_wait.h"
#include "tests/reliability/row_report.h"
#include "tests/reliability/row_table.h"
#include "tests/support/bench_program.h"
#include "tests/support/process_watch.h"
#include "tests/support/sample_bench.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTemporaryFile>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <optional>

#include <unistd.h>

namespace {

const QString c_group = QStringLiteral("Input");
const QString c_bench = QStringLiteral("bench.json");
constexpr int c_linkTime = 2000;

enum class ChangeKind { Removed, Misspelt, Mistyped, Misnamed };

// One change of one key; Misnamed is one of the name that an entry of a channel has as its "id".
struct Change
{
    ChangeKind kind;
    QString file;
    QStringList place; // of the object that has the key
    QString key;
    QString newName; // of Misspelt and Misnamed

    QString pointer() const { return QLatin1Char('/') + (place + QStringList{key}).join(QLatin1Char('/')); }
    QString toString() const
    {
        static const QMap<ChangeKind, QString> c_verbs{{ChangeKind::Removed, QStringLiteral("removed")},
                                                       {ChangeKind::Misspelt, QStringLiteral("misspelt")},
                                                       {ChangeKind::Mistyped, QStringLiteral("mistyped")},
                                                       {ChangeKind::Misnamed, QStringLiteral("misnamed")}};
        return QStringLiteral("%1 %2 %3%4")
            .arg(file, pointer(), c_verbs.value(kind),
                 newName.isEmpty() ? QString() : QStringLiteral(" as ") + newName);
    }
};

// What need not be named, and why.
struct Exemption
{
    ChangeKind kind;
    const char* place; // a regular expression for the whole of "file pointer"
    const char* why;
    // The check complains all the same, of what the change leads to.
    bool isFelt;
};
constexpr Exemption c_exemptions[]{
    {ChangeKind::Removed, "\\S+ /description", "a text for people", false},
    {ChangeKind::Removed, "\\S+ /\\$schema", "for editors", false},
    {ChangeKind::Removed, "\\S+ /channels/\\d+/name", "a text for people", false},
    {ChangeKind::Removed, "bench.json /objects/0/configuration/(host|unitId)", "has a default", false},
    {ChangeKind::Removed, "bench.json /objects/0/configuration/port", "has a default", true},
    {ChangeKind::Removed, "bench.json /objects/1/configuration", "the files may have everything", false},
    {ChangeKind::Removed, "bench.json /objects/1/configurationFiles", "\"configuration\" may have everything",
     true},
    {ChangeKind::Removed, "backup_ranges.json /parameters/MD(gen1V1|C-..)_config",
     "of a controller that is not connected", false},
    {ChangeKind::Mistyped, "\\S+ /channels/\\d+/value/\\d+/value",
     "of an entry for the maintenance page, which takes anything", false},
};

const Exemption* exemptionOf(const Change& change)
{
    const QString place = change.file + QLatin1Char(' ') + change.pointer();
    const auto* const found =
        std::find_if(std::cbegin(c_exemptions), std::cend(c_exemptions), [&](const Exemption& exemption) {
            return exemption.kind == change.kind &&
                   QRegularExpression(QRegularExpression::anchoredPattern(QLatin1String(exemption.place)))
                       .match(place)
                       .hasMatch();
        });
    return found == std::cend(c_exemptions) ? nullptr : found;
}

// Everything that is written to standard output while it lives.
class CapturedOutput
{
public:
    CapturedOutput()
    {
        std::fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        if (m_file.open())
            dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~CapturedOutput()
    {
        std::fflush(stdout);
        dup2(m_saved, STDOUT_FILENO);
        close(m_saved);
    }
    Q_DISABLE_COPY_MOVE(CapturedOutput)

    QString take()
    {
        std::fflush(stdout);
        m_file.seek(0);
        return QString::fromUtf8(m_file.readAll());
    }

private:
    QTemporaryFile m_file;
    int m_saved = -1;
};

// The value with the object at `place` changed.
QJsonValue changedAt(const QJsonValue& value, const QStringList& place,
                     const std::function<void(QJsonObject&)>& change)
{
    if (place.isEmpty()) {
        QJsonObject object = value.toObject();
        change(object);
        return object;
    }
    const QStringList rest = place.mid(1);
    if (value.isArray()) {
        QJsonArray list = value.toArray();
        const int index = place.constFirst().toInt();
        list.replace(index, changedAt(list.at(index), rest, change));
        return list;
    }
    QJsonObject object = value.toObject();
    object.insert(place.constFirst(), changedAt(object.value(place.constFirst()), rest, change));
    return object;
}

// Something of another type that looks like it.
QJsonValue mistyped(const QJsonValue& value)
{
    switch (value.type()) {
    case QJsonValue::Double:
        return QString::number(value.toDouble());
    case QJsonValue::String:
        return value.toString().size();
    case QJsonValue::Array:
        return QJsonObject{{"0", value.toArray().at(0)}};
    default:
        return QJsonArray{value};
    }
}

// All that differ from the text by two neighbours that have changed places.
QStringList misspellings(const QString& text)
{
    QStringList all;
    for (int i = 0; i + 1 < text.size(); ++i) {
        QString swapped = text;
        swapped[i] = text.at(i + 1);
        swapped[i + 1] = text.at(i);
        if (swapped != text)
            all.append(swapped);
    }
    return all;
}

// Every change of every key, in the order of the files.
class Changes
{
public:
    // With `everyMisspelling` all of a key's, else one by chance.
    Changes(quint32 seed, bool everyMisspelling)
        : m_random(seed)
        , m_everyMisspelling(everyMisspelling)
    {}

    void addFile(const QString& file, const QJsonValue& document) { collect(file, document, {}); }
    const QVector<Change>& all() const { return m_changes; }
    int keys() const { return m_keys; }

private:
    void collect(const QString& file, const QJsonValue& value, const QStringList& place)
    {
        const QJsonArray list = value.toArray();
        for (int i = 0; i < list.size(); ++i)
            collect(file, list.at(i), place + QStringList{QString::number(i)});
        const QJsonObject object = value.toObject();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it) {
            ++m_keys;
            m_changes.append({ChangeKind::Removed, file, place, it.key(), {}});
            m_changes.append({ChangeKind::Mistyped, file, place, it.key(), {}});
            addMisspellings({ChangeKind::Misspelt, file, place, it.key(), {}}, it.key());
            const bool isEntry = place.size() > 1 && place.at(place.size() - 2) == QLatin1String("value");
            if (isEntry && it.key() == QLatin1String("id"))
                addMisspellings({ChangeKind::Misnamed, file, place, it.key(), {}}, it.value().toString());
            collect(file, it.value(), place + QStringList{it.key()});
        }
    }

    void addMisspellings(Change change, const QString& text)
    {
        QStringList all = misspellings(text);
        if (!m_everyMisspelling)
            all = QStringList(all.at(static_cast<int>(m_random.bounded(all.size()))));
        for (const QString& misspelling : qAsConst(all)) {
            change.newName = misspelling;
            m_changes.append(change);
        }
    }

    QRandomGenerator m_random;
    const bool m_everyMisspelling;
    QVector<Change> m_changes;
    int m_keys = 0;
};

// What a check says and ends with.
struct CheckEnd
{
    int code = 0;
    QString out;

    // Lines that are not "ok", without what is to be done about them.
    QStringList complaints() const
    {
        return out.split(QLatin1Char('\n'))
            .filter(QRegularExpression(QStringLiteral("^(error|warning) |^ +→")));
    }
};

// A folder with the sample configuration on a simulated controller, to be changed and checked.
class CheckedConfiguration
{
public:
    explicit CheckedConfiguration(RowReport& report)
        : m_report(report)
        , m_simulator(deviceConfiguration(sampleBench()),
                      *ControllerProfile::byName(QStringLiteral("mdc32-gen2")))
    {}

    bool start()
    {
        QString error;
        if (!m_report.check('X', m_simulator.listenTcp(0, &error), error))
            return false;
        const QDir folder(MDC_SOURCE_DIRECTORY "/configurations");
        const QStringList names = folder.entryList({QStringLiteral("*.json")}, QDir::Files, QDir::Name);
        for (const QString& name : names) {
            QFile file(folder.filePath(name));
            m_report.check('X', file.open(QIODevice::ReadOnly), name + QStringLiteral(" cannot be read"));
            QJsonValue document = QJsonDocument::fromJson(file.readAll()).object();
            if (name == c_bench)
                document = changedAt(document, {"objects", "0", "configuration"}, [this](QJsonObject& link) {
                    link.insert(QStringLiteral("port"), m_simulator.tcpPort());
                });
            m_documents.insert(name, document);
            write(name, document);
        }
        return m_report.isGood();
    }

    const QMap<QString, QJsonValue>& documents() const { return m_documents; }

    void apply(const Change& change)
    {
        write(change.file,
              changedAt(m_documents.value(change.file), change.place, [&change](QJsonObject& object) {
                  const QJsonValue value = object.value(change.key);
                  if (change.kind == ChangeKind::Mistyped)
                      object.insert(change.key, mistyped(value));
                  else if (change.kind == ChangeKind::Misnamed)
                      object.insert(change.key, change.newName);
                  else
                      object.remove(change.key);
                  if (change.kind == ChangeKind::Misspelt)
                      object.insert(change.newName, value);
              }));
    }
    void revert(const Change& change) { write(change.file, m_documents.value(change.file)); }

    // What the subcommand does, in this process.
    CheckEnd check(Interrupt& interrupt) const
    {
        QFile::remove(properties());
        GeneralOptions general;
        general.configFile = m_folder.filePath(c_bench);
        general.propertiesFile = properties();
        CheckOptions options;
        options.linkWait = c_linkTime;
        CapturedOutput output;
        CheckEnd end;
        {
            Console console(false, true);
            BenchCheck benchCheck(general, options, console, interrupt);
            end.code = static_cast<int>(benchCheck.run());
        }
        end.out = output.take();
        return end;
    }

    CheckEnd checkByProcess() const
    {
        QFile::remove(properties());
        const std::unique_ptr<QProcess> process =
            startBench({"--config", m_folder.filePath(c_bench), "--properties", properties(), "--quiet",
                        "check", "--timeout", QString::number(c_linkTime)});
        constexpr int c_longest = 20000;
        if (!waitUntil([&] { return process->state() == QProcess::NotRunning; }, c_longest)) {
            process->kill();
            process->waitForFinished();
        }
        return {process->exitStatus() == QProcess::NormalExit ? process->exitCode() : -1,
                QString::fromUtf8(process->readAllStandardOutput())};
    }

private:
    QString properties() const { return m_folder.filePath(QStringLiteral("properties")); }

    void write(const QString& name, const QJsonValue& document)
    {
        const QByteArray text = QJsonDocument(document.toObject()).toJson();
        QFile file(m_folder.filePath(name));
        m_report.check('X', file.open(QIODevice::WriteOnly) && file.write(text) == text.size(),
                       name + QStringLiteral(" cannot be written"));
    }

    RowReport& m_report;
    Simulator m_simulator;
    QTemporaryDir m_folder;
    QMap<QString, QJsonValue> m_documents;
};

// The key, at its place in its file; one that the files have together, which all are joined to, by its name
// alone.
bool isNamed(const Change& change, const CheckEnd& end)
{
    const auto quoted = [](const QString& text) { return QLatin1Char('"') + text + QLatin1Char('"'); };
    QStringList names{quoted(change.key), change.pointer()};
    if (!change.newName.isEmpty())
        names = QStringList(quoted(change.newName));
    const QString object = QLatin1Char('/') + change.place.join(QLatin1Char('/'));
    const bool isShared =
        change.kind == ChangeKind::Misnamed || !object.startsWith(QLatin1String("/channels/"));
    if (isShared && change.kind == ChangeKind::Misspelt)
        names.append(quoted(change.key));
    const QStringList complaints = end.complaints();
    return std::any_of(complaints.cbegin(), complaints.cend(), [&](const QString& text) {
        const bool hasName = std::any_of(names.cbegin(), names.cend(),
                                         [&text](const QString& name) { return text.contains(name); });
        const bool hasPlace = text.contains(QLatin1Char('/') + change.file) &&
                              (change.place.isEmpty() || text.contains(object));
        return hasName && (hasPlace || isShared);
    });
}

void runConfigurationKeys(RowReport& report)
{
    constexpr quint32 c_seed = 20261121;
    CheckedConfiguration configuration(report);
    if (!configuration.start())
        return;
    Interrupt interrupt;
    const CheckEnd good = configuration.check(interrupt);
    if (!report.check('X', good.code == 0 && good.complaints().isEmpty(),
                      QStringLiteral("the sample is not clean: ") + good.complaints().join(QLatin1Char(' '))))
        return;
    Changes changes(c_seed, report.options().full);
    for (auto file = configuration.documents().cbegin(); file != configuration.documents().cend(); ++file)
        changes.addFile(file.key(), *file);

    // The first process of a program leaves something behind.
    const CheckEnd goodThere = configuration.checkByProcess();
    report.check('X', goodThere.code == good.code && goodThere.out == good.out,
                 QStringLiteral("the program finds the sample not clean: ") + goodThere.out);
    watchFor(c_linkTime);
    const int objects = liveQtObjects();
    const int descriptors = openDescriptors();
    const int half = changes.all().size() / 2;
    qint64 heap = 0;
    int named = 0;
    int warnings = 0;
    int felt = 0;
    QMap<QString, int> accepted; // by the reason
    QSet<QLatin1String> used;
    for (int i = 0; i < changes.all().size(); ++i) {
        const Change& change = changes.all().at(i);
        if (i == half)
            heap = heapInUse();
        configuration.apply(change);
        const CheckEnd end = configuration.check(interrupt);
        configuration.revert(change);
        if (isNamed(change, end)) {
            ++named;
            warnings += end.code == 0 ? 1 : 0;
            continue;
        }
        const Exemption* const exemption = exemptionOf(change);
        if (!report.check('X', exemption != nullptr,
                          QStringLiteral("%1 is not named: %2 %3")
                              .arg(change.toString())
                              .arg(end.code)
                              .arg(end.complaints().join(QLatin1Char(' ')).left(300))))
            continue;
        report.check('X', exemption->isFelt != end.complaints().isEmpty(),
                     change.toString() + QStringLiteral(": the check says ") +
                         end.complaints().join(QLatin1Char(' ')).left(300));
        used.insert(QLatin1String(exemption->place));
        felt += exemption->isFelt ? 1 : 0;
        if (!exemption->isFelt)
            ++accepted[QLatin1String(exemption->why)];
    }
    const qint64 growth = heapInUse() - heap;
    for (const Exemption& exemption : c_exemptions)
        report.check('X', used.contains(QLatin1String(exemption.place)),
                     QStringLiteral("nothing is exempt by ") + QLatin1String(exemption.place));

    // The program says the same.
    constexpr int c_sample = 10;
    QRandomGenerator random(c_seed);
    for (int i = 0; i < c_sample; ++i) {
        const Change& change = changes.all().at(static_cast<int>(random.bounded(changes.all().size())));
        configuration.apply(change);
        const CheckEnd here = configuration.check(interrupt);
        const CheckEnd there = configuration.checkByProcess();
        configuration.revert(change);
        report.check('X', here.code == there.code && here.out == there.out,
                     QStringLiteral("%1: the program ends with %2 where %3 is expected: %4")
                         .arg(change.toString())
                         .arg(there.code)
                         .arg(here.code)
                         .arg(there.complaints().join(QLatin1Char(' ')).left(300)));
        report.check('X', isNamed(change, there) || exemptionOf(change) != nullptr,
                     change.toString() + QStringLiteral(" is not named by the program"));
    }
    // A check's timer for the links outlives it.
    constexpr int c_settlingTime = c_linkTime + 1500;
    waitUntil([&] { return liveQtObjects() <= objects && openDescriptors() <= descriptors; }, c_settlingTime);
    report.check('E', liveQtObjects() <= objects,
                 QStringLiteral("%1 objects where %2 were before").arg(liveQtObjects()).arg(objects));
    report.check(
        'E', openDescriptors() <= descriptors,
        QStringLiteral("%1 open descriptors where %2 were before").arg(openDescriptors()).arg(descriptors));
    constexpr qint64 c_allowed = 256 * 1024;
    report.check('E', growth < c_allowed,
                 QStringLiteral("the memory grew by %1 bytes in the second half").arg(growth));
    QStringList reasons;
    for (auto reason = accepted.cbegin(); reason != accepted.cend(); ++reason)
        reasons.append(QStringLiteral("%1 %2").arg(*reason).arg(reason.key()));
    report.seen(
        QStringLiteral("%1 changes of %2 keys (seed %3): %4 named, %5 of them by a warning; %6 told by "
                       "what they lead to; accepted: %7; %8 of them by the program itself, which says "
                       "the same")
            .arg(changes.all().size())
            .arg(changes.keys())
            .arg(c_seed)
            .arg(named)
            .arg(warnings)
            .arg(felt)
            .arg(reasons.join(QLatin1String(", ")))
            .arg(c_sample));
}

} // namespace

void addConfigurationRows(RowTable& table)
{
    table.add(
        {"input.configuration-keys", c_group,
         "Every key removed, misspelt (in every way with --full) and mistyped, the entries' names misspelt",
         "the files of the configuration", "named by \"mdc-bench check\", unless it may be missing",
         runConfigurationKeys, QString()});
}
