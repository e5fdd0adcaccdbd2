#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    const QStringList askItself{"myself getInfo {} 3000"};
    return {
        execution("good", {}, 1, CeDevice, true, true, askItself, {}),
        execution("no version: it is about to be read", {}, {}, CeDevice, true, true, askItself, {}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent does not matter", {}, 1, CeForeign, true, true, askItself, {}),
        execution("no parent does not matter", {}, 1, CeNoParent, true, true, askItself, {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList noRestore{"results {statusData={doneOk=int:3, message=QString:"
                                "DCmdRestore_device_info_empty}}",
                                "failed"};
    const QStringList noInformation{"ERROR: device information is empty"};
    return {
        reply("no information", noValues(), false, noRestore, noInformation),
        reply("values instead", values({1}), false, noRestore, noInformation),
        reply("no list", {{"deviceInformation", 5}}, false, noRestore, noInformation),
        reply("null", {{"deviceInformation", QVariant()}}, false, noRestore, noInformation),
        reply("failure notice", timedOut(), false, noRestore,
              {"ERROR: device information is empty", "error 1 no answer"}),
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "restoreBackup";
    rows.className = "DCmdRestore";
    rows.source = "d_cmd_restore";
    rows.description = "Restore mdc registers";
    rows.parameters = QStringList{
        "filePath|strg|Backup file path|QString:", "startPreset|int|Start preset|int:0",
        "endPreset|int|End preset|int:0", "loadControllerParams|bool|Load controller parameters|invalid"};
    rows.results = QStringList{"statusData|vart|Restoring progress/status|invalid"};
    rows.stopName = "stopListening";
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{noValues(), false}};
    rows.exemptions.insert("runs", "tst_bench_backup runs it with its files");
    return rows;
}

const KnownRows c_known(rows);

} // namespace
