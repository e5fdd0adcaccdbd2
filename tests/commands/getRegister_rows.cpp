#include "command_rows.h"

namespace {

QList<ExecutionRow> executions()
{
    const QVariantMap channel{{"channel", "direction"}};
    const QVariantMap pressure{{"channel", "pressure"}};
    return {
        execution("good", channel, 1, CeDevice, true, true, sentRead(5101), {}),
        execution("base refuses", channel, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent", channel, 1, CeForeign, true, false, {},
                  {"ERROR: DCmdGetRegister: parent is not PDeviceMdc"}),
        execution("no parent", channel, 1, CeNoParent, true, false, {},
                  {"ERROR: DCmdGetRegister: parent is not PDeviceMdc"}),
        execution("no version", channel, {}, CeDevice, true, true, sentRead(5101), {c_noVersion}),
        execution("version 2", channel, 2, CeDevice, true, true, sentRead(6101, "inputRegisters"), {}),
        execution("address 70000 is 4464", pressure, 1, CeDevice, true, true, sentRead(4464), {}),
        execution("version 3", pressure, 3, CeDevice, true, true, sentRead(65535, "coils"), {}),
        execution("address 65536 is 0", {{"channel", "last"}}, 1, CeDevice, true, true, sentRead(0), {}),
        execution("unknown channel", {{"channel", "nowhere"}}, 1, CeDevice, true, true, sentRead(0, ""), {}),
        execution("no argument", {}, 1, CeDevice, true, true, sentRead(0, ""), {}),
    };
}

QList<ReplyRow> replies()
{
    const QStringList noKey{"ERROR: Reply does not contain values key"};
    return {
        reply("one word", values({7}), true, {"results {values=[int:7]}"}, {}),
        reply("four words", values({1, 2u, 3, 65535}), true,
              {"results {values=[int:1, uint:2, int:3, int:65535]}"}, {}),
        reply("empty list", values({}), true, {"results {values=[]}"}, {}),
        reply("a number, no list", numberForList(), true, {"results {values=int:5}"}, {}),
        reply("a map, no list", mapForList(), true, {"results {values={values=[int:1]}}"}, {}),
        reply("null", nullForList(), true, {"results {values=invalid}"}, {}),
        reply("no values", noValues(), false, {}, noKey),
        reply("failure notice", timedOut(), false, {}, noKey),
        reply("refused", refused(), true, {"results {values=[int:0]}"}, {}),
    };
}

QList<RunRow> runs()
{
    return {
        {"getRegister channel=direction", "", 0, R"("name":"values","value":[0])", nullptr, 0},
        {"getRegister channel=direction", "exception=2", 7, nullptr, c_refusal, 1},
        {"getRegister channel=direction", "no-answer", 6, nullptr, c_noAnswer, 1},
        {"getRegister channel=direction", "short", 5, nullptr, c_invalidAnswer, 2},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "getRegister";
    rows.className = "DCmdGetRegister";
    rows.source = "d_cmd_getRegister";
    rows.description = "Return the mesured value on GPIO pins";
    rows.parameters = QStringList{"channel|strg|Channel name|invalid"};
    rows.results = QStringList{"values|vart|Return register data values|invalid"};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values({1}), false}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
