#include "command_rows.h"

#include "tests/support/identification_samples.h"

namespace {

QList<ExecutionRow> executions()
{
    const QStringList information{"driver deviceInformation {} 3000"};
    return {
        execution("good", {}, {}, CeDevice, true, true, information, {}),
        execution("sends before the base refuses", {}, {}, CeDevice, false, false, information, {}),
        execution("foreign parent", {}, {}, CeForeign, true, true, information, {}),
        execution("no parent", {}, {}, CeNoParent, true, true, information, {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList unknown{QStringLiteral("results {deviceInformation=%1}")
                                  .arg(informationRecord("????", "????", QString(), QString(), 1))};
    return {
        reply("13 bytes",
              informationReply(identificationBlock(13, 2, 7, 4005, identificationBytes({42, 0, 15, 7, 19}))),
              true,
              {QStringLiteral("results {deviceInformation=%1}")
                   .arg(informationRecord("MDC-32", "MDC-32", "4.00.5", "1907150042", 2))},
              {}),
        reply("short block",
              informationReply(identificationBlock(11, 2, 7, 4005, identificationBytes({42, 0, 15}))), true,
              unknown, {}),
        reply("empty block", informationReply({}), true, unknown, {}),
        reply("no block", {{"deviceInformation", QVariantMap()}}, true, unknown, {}),
        reply("no map", {{"deviceInformation", 5}}, true, unknown, {}),
        reply("null", {{"deviceInformation", QVariant()}}, true, unknown, {}),
        reply("no information", noValues(), true, {}, {}),
        reply("values instead", values({1}), true, {}, {}),
        reply("failure notice", timedOut(), true, {}, {}),
    };
}

QList<RunRow> runs()
{
    return {
        {"getInfo", "", 0, R"("name":"deviceInformation")", nullptr, 0},
        {"getInfo", "exception=1", 7, nullptr, c_refusal, 1},
        {"getInfo", "no-answer", 6, nullptr, c_noAnswer, 1},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "getInfo";
    rows.className = "DCmdGetInfo";
    rows.source = "d_cmd_getInfo";
    rows.description = "Get the connected device information";
    rows.parameters = QStringList{"reference|strg|Channel of the first gpio|QString:"};
    rows.results = QStringList{"deviceInformation|varL|Return device information|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{informationReply({}), false}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
