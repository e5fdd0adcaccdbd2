#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    const QStringList askItself{"myself getInfo {} 3000"};
    return {
        execution("good", {}, 1, CeDevice, true, true, askItself, {}),
        execution("no version: it is about to be read", {}, {}, CeDevice, true, true, askItself, {}),
        execution("base refuses", {}, 1, CeDevice, false, false, {}, {}),
        execution("base refuses before the parent counts", {}, 1, CeForeign, false, false, {}, {}),
        execution("foreign parent", {}, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdBackup: parent is not PDeviceMdc"}),
        execution("no parent", {}, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdBackup: parent is not PDeviceMdc"}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList noBackup{"results {doneOk=bool:false, errorMessage=QString:"
                               "DCmdBackup_deviceMdc_dev_info_data_incorrect_error}",
                               "failed"};
    const QStringList notIdentified{"ERROR: device information is incorrect"};
    return {
        reply("no information", noValues(), false, noBackup, notIdentified),
        reply("values instead", values({1}), false, noBackup, notIdentified),
        reply("no list", {{"deviceInformation", 5}}, false, noBackup, notIdentified),
        reply("null", {{"deviceInformation", QVariant()}}, false, noBackup, notIdentified),
        reply("failure notice", timedOut(), false, noBackup,
              {"ERROR: device information is incorrect", "error 1 no answer"}),
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "backup";
    rows.className = "DCmdBackup";
    rows.source = "d_cmd_backup";
    rows.description = "Backup all mdc registers";
    rows.parameters =
        QStringList{"backupName|strg|Backup name|invalid", "folderPath|strg|Folder path|invalid"};
    rows.results =
        QStringList{"filePath|strg|full path of the written file|invalid",
                    "doneOk|bool|backup status|invalid", "errorMessage|strg|translated failure text|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{noValues(), false}};
    rows.exemptions.insert("runs", "tst_bench_backup runs it with its files");
    return rows;
}

const KnownRows c_known(rows);

} // namespace
