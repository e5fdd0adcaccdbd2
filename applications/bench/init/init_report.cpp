#include "applications/bench/init/init_report.h"

#include "applications/bench/core/result_writer.h"

#include <QDir>

namespace {

QString orDash(const QString& text)
{
    return text.isEmpty() ? QStringLiteral("-") : text;
}

QStringList pathsOf(const InitOutcome& outcome)
{
    QStringList paths;
    for (const ConfigurationFile& file : outcome.files)
        paths.append(QDir(outcome.folder).filePath(file.name));
    return paths;
}

QJsonValue toJson(const std::optional<MetController>& controller)
{
    if (!controller)
        return QJsonValue::Null;
    const DeviceInformation& information = controller->information;
    return QJsonObject{{QStringLiteral("controllerModel"), information.controllerModel},
                       {QStringLiteral("screwdriverModel"), information.screwdriverModel},
                       {QStringLiteral("version"), information.version},
                       {QStringLiteral("screwdriverSN"), information.screwdriverSN},
                       {QStringLiteral("generation"), information.softwareVersion}};
}

void addRegisters(QJsonObject& document, const ReadRegisters& registers)
{
    QJsonArray understood;
    for (const UnderstoodRow& row : registers.meaning.understood)
        understood.append(QJsonObject{{QStringLiteral("line"), row.line},
                                      {QStringLiteral("name"), row.name},
                                      {QStringLiteral("is"), row.meaning},
                                      {QStringLiteral("registers"), row.registers},
                                      {QStringLiteral("type"), row.type},
                                      {QStringLiteral("remark"), row.remark}});
    QJsonArray leftOut;
    for (const LeftOutRow& row : registers.meaning.leftOut)
        leftOut.append(QJsonObject{{QStringLiteral("line"), row.line},
                                   {QStringLiteral("name"), row.text},
                                   {QStringLiteral("why"), row.why}});
    document.insert(QStringLiteral("understood"), understood);
    document.insert(QStringLiteral("leftOut"), leftOut);
}

void tellTables(const InitOutcome& outcome, const QList<OpenEntry>& open, Console& console)
{
    QStringList generations;
    for (const int generation : outcome.plan.generations)
        generations.append(QString::number(generation));
    console.out(formatTable(
        {}, {{QStringLiteral("controller"),
              outcome.controller ? outcome.controller->text() : QStringLiteral("nobody answered")},
             {QStringLiteral("line"), outcome.plan.line.text()},
             {QStringLiteral("offset"), QString::number(outcome.plan.line.addressOffset)},
             {QStringLiteral("reference"), orDash(outcome.plan.reference)},
             {QStringLiteral("generations"), generations.join(QStringLiteral(", "))}}));
    console.out(QStringLiteral("\nwritten:\n"));
    for (const QString& path : pathsOf(outcome))
        console.out(QStringLiteral("  %1\n").arg(path));
    if (!open.isEmpty()) {
        QList<QStringList> rows;
        for (const OpenEntry& entry : open)
            rows.append({entry.name, orDash(entry.entry), entry.commands.join(QStringLiteral(", "))});
        console.out(QStringLiteral("\nstill to be told, by the controller's documentation:\n") +
                    formatTable({QStringLiteral("CHANNEL OR LIST"), QStringLiteral("ENTRY"),
                                 QStringLiteral("NEEDED BY")},
                                rows));
    }
    console.out(QStringLiteral("\nnext: mdc-bench --config %1 check\n").arg(pathsOf(outcome).constFirst()));
}

} // namespace

void tellRegisters(const ReadRegisters& registers, Console& console)
{
    const RegisterMeaning& meaning = registers.meaning;
    console.out(
        formatTable({}, {{QStringLiteral("separator"), registers.list.separator},
                         {QStringLiteral("addresses"), registers.list.notation},
                         {QStringLiteral("offset"),
                          QStringLiteral("%1 (%2)").arg(meaning.addressOffset).arg(meaning.offsetReason)}}));
    QList<QStringList> rows;
    for (const UnderstoodRow& row : meaning.understood)
        rows.append({QString::number(row.line), row.name, row.meaning, orDash(row.registers),
                     orDash(row.type), row.remark});
    if (!rows.isEmpty())
        console.out(QStringLiteral("\nunderstood:\n") +
                    formatTable({QStringLiteral("LINE"), QStringLiteral("NAME"), QStringLiteral("IS"),
                                 QStringLiteral("REGISTER"), QStringLiteral("TYPE"), QString()},
                                rows));
    rows.clear();
    for (const LeftOutRow& row : meaning.leftOut)
        rows.append({QString::number(row.line), row.text, row.why});
    if (!rows.isEmpty())
        console.out(
            QStringLiteral("\nleft out:\n") +
            formatTable({QStringLiteral("LINE"), QStringLiteral("NAME"), QStringLiteral("WHY")}, rows));
    console.out(QStringLiteral("\n"));
}

QList<OpenEntry> openEntries(const PlannedConfiguration& plan)
{
    QList<OpenEntry> open;
    for (const PlannedChannel& channel : plan.channels) {
        for (const QString& entry : channel.open)
            open.append({channel.id, entry, channel.commands});
    }
    for (const PlannedKeyList& list : plan.keyLists) {
        if (list.keys.isEmpty())
            open.append({list.name, {}, list.commands});
    }
    if (!plan.missingRange.isEmpty())
        open.append({plan.missingRange, {}, {QStringLiteral("backup"), QStringLiteral("restoreBackup")}});
    return open;
}

void tellOutcome(const InitOutcome& outcome, OutputFormat format, Console& console)
{
    const QList<OpenEntry> open = openEntries(outcome.plan);
    if (format == OutputFormat::Table)
        tellTables(outcome, open, console);
    ResultWriter writer(console, format);
    QJsonArray openArray;
    for (const OpenEntry& entry : open) {
        const QJsonObject object{{QStringLiteral("name"), entry.name},
                                 {QStringLiteral("entry"), entry.entry},
                                 {QStringLiteral("commands"), QJsonArray::fromStringList(entry.commands)}};
        openArray.append(object);
        writer.record(entry.name, object);
    }
    QJsonArray generations;
    for (const int generation : outcome.plan.generations)
        generations.append(generation);
    QJsonObject document{{QStringLiteral("folder"), outcome.folder},
                         {QStringLiteral("files"), QJsonArray::fromStringList(pathsOf(outcome))},
                         {QStringLiteral("controller"), toJson(outcome.controller)},
                         {QStringLiteral("reference"), outcome.plan.reference},
                         {QStringLiteral("addressOffset"), outcome.plan.line.addressOffset},
                         {QStringLiteral("generations"), generations},
                         {QStringLiteral("open"), openArray}};
    if (outcome.registers)
        addRegisters(document, *outcome.registers);
    writer.document(document);
}
