#include "command_rows.h"

#include "tests/support/typed_text.h"

namespace {

// As many words as a preset has in the generation 1 that commands are tested with.
QVariantList presetWords()
{
    QVariantList words;
    for (int number = 1; number <= 20; ++number)
        words.append(number * 10);
    return words;
}

QList<ExecutionRow> executions()
{
    const QVariantMap first{{"preset", 1}};
    const auto noPreset = [](const char* given) {
        return QStringList{QStringLiteral("ERROR: failure to get preset value: ") + given};
    };
    return {
        execution("good", first, 1, CeDevice, true, true, sentBlockRead(1, 20, "holdingRegisters"), {}),
        execution("base refuses", first, 1, CeDevice, false, false, {}, {}),
        execution("foreign parent", first, 1, CeForeign, true, false, {},
                  {"ERROR: failure to get device pointer"}),
        execution("no parent", first, 1, CeNoParent, true, false, {},
                  {"ERROR: failure to get device pointer"}),
        execution("no version", first, {}, CeDevice, true, true, sentBlockRead(1, 20, "holdingRegisters"),
                  {c_noVersion}),
        execution("version 2", first, 2, CeDevice, true, true, sentBlockRead(1, 40, "inputRegisters"), {}),
        execution("version 2, third", {{"preset", 3}}, 2, CeDevice, true, true,
                  sentBlockRead(81, 40, "inputRegisters"), {}),
        execution("version 65538 is 2", first, 65538, CeDevice, true, true,
                  sentBlockRead(1, 40, "inputRegisters"), {}),
        execution("register 65561 is 25", {{"preset", 1640}}, 2, CeDevice, true, true,
                  sentBlockRead(25, 40, "inputRegisters"), {}),
        execution("the last", {{"preset", 8}}, 1, CeDevice, true, true,
                  sentBlockRead(141, 20, "holdingRegisters"), {}),
        execution("as text", {{"preset", "3"}}, 1, CeDevice, true, true,
                  sentBlockRead(41, 20, "holdingRegisters"), {}),
        execution("0", {{"preset", 0}}, 1, CeDevice, true, false, {}, noPreset("QVariant(int, 0)")),
        execution("negative", {{"preset", -2}}, 1, CeDevice, true, false, {}, noPreset("QVariant(int, -2)")),
        execution("no number", {{"preset", "first"}}, 1, CeDevice, true, false, {},
                  noPreset("QVariant(QString, first)")),
        execution("no argument", {}, 1, CeDevice, true, false, {}, noPreset("QVariant(Invalid)")),
        execution("no entry for the version", first, 9, CeDevice, true, false, {},
                  {"ERROR: failure to get current preset size value"}),
    };
}

QList<ReplyRow> replies()
{
    const QString notManaged = QStringLiteral("ERROR: Reply data format not managed");
    const char* const oneWord = "QVariant(QVariantList, (QVariant(int, 1)))";
    const char* const zeroWord = "QVariant(QVariantList, (QVariant(int, 0)))";
    const char* const oneWordMap =
        "QVariant(QVariantMap, QMap((values, QVariant(QVariantList, (QVariant(int, 1))))))";
    QVariantMap preset{{"preset", 0}};
    for (int place = 1; place <= 20; ++place)
        preset.insert("p" + QString::number(place), place * 10);
    return {
        reply("as many as a preset", values(presetWords()), true,
              {QStringLiteral("results {presetData={presetData=%1}}").arg(typedText(preset))}, {}),
        reply("one word too few", values({1}), true, {}, {unwaitedNumber(1, 20, oneWord)}),
        reply("empty list", values({}), true, {}, {unwaitedNumber(0, 20, "QVariant(QVariantList, ())")}),
        reply("a number, no list", numberForList(), true, {},
              {notManaged, unwaitedNumber(0, 20, "QVariant(int, 5)")}),
        reply("a text, no list", textForList(), true, {},
              {notManaged, unwaitedNumber(0, 20, "QVariant(QString, 1)")}),
        reply("a map with another number", mapForList(), true, {}, {unwaitedNumber(1, 20, oneWordMap)}),
        reply("null", nullForList(), true, {}, {notManaged, unwaitedNumber(0, 20, "QVariant(Invalid)")}),
        reply("no values", noValues(), true, {}, {}),
        reply("failure notice", timedOut(), true, {}, {}),
        reply("refused", refused(), true, {}, {unwaitedNumber(1, 20, zeroWord)}),
    };
}

// The names alone stand one level deeper.
QList<RunRow> runs()
{
    return {
        {"getPresetData preset=2", "", 0, R"("name":"presetData","value":{"acceleration":)", nullptr, 0,
         R"("name":"presetData","value":{"presetData":{)"},
        {"getPresetData preset=999", "", 1, R"("name":"presetData","value":{})", "preset 999 is beyond", 1},
        {"getPresetData preset=0", "", 2, nullptr, "it is from 1 on", 1},
        {"getPresetData preset=0 --force", "", 1, nullptr, "failure to get preset value", 1},
        {"getPresetData preset=2", "exception=2", 7, nullptr, c_refusal, 1},
        {"getPresetData preset=2", "no-answer", 6, nullptr, c_noAnswer, 1},
        {"getPresetData preset=2", "cut-middle", 6, nullptr, c_noAnswer, 1},
        {"getPresetData preset=2", "short", 5, nullptr, c_invalidAnswer, 2},
    };
}

CommandRows rows()
{
    CommandRows rows;
    rows.command = "getPresetData";
    rows.className = "DCmdGetPresetData";
    rows.source = "d_cmd_getPresetData";
    rows.description = "Return the mesured value on GPIO pins";
    rows.parameters = QStringList{"preset|int|Channel of the first gpio|invalid"};
    rows.results = QStringList{"presetData|varM|Return event data values|invalid"};
    rows.arguments = QVariantMap{{"preset", 1}};
    rows.executions = executions();
    rows.replies = replies();
    rows.lateReplies = {{values(presetWords()), false}};
    rows.runs = runs();
    return rows;
}

const KnownRows c_known(rows);

} // namespace
