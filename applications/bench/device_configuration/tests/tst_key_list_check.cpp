#include "applications/bench/device_configuration/key_list_check.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QJsonValue>
#include <QTest>

namespace {

QJsonObject descriptor(const QString& name, const QJsonValue& first, const QJsonValue& last,
                       const QString& type)
{
    return {{"parameter_name", name}, {"start_address", first}, {"end_address", last}, {"type", type}};
}

QJsonObject channel(const QString& id, const QJsonObject& entries)
{
    QJsonArray values;
    for (auto it = entries.constBegin(); it != entries.constEnd(); ++it)
        values.append(QJsonObject{{"id", it.key()}, {"value", it.value()}});
    return {{"id", id}, {"value", values}};
}

QJsonArray names(int count)
{
    QJsonArray list{"eventCountNo"};
    while (list.size() < count)
        list.append(QString("name%1").arg(list.size()));
    return list;
}

// "error: …" and "warning: …" of what is not ok.
QStringList complaints(const QList<Finding>& findings)
{
    QStringList lines;
    for (const Finding& finding : findings) {
        if (finding.level != FindingLevel::Ok)
            lines.append((finding.level == FindingLevel::Error ? "error: " : "warning: ") + finding.message);
    }
    return lines;
}

} // namespace

class TstKeyListCheck : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainNames_data();
    void plainNames();
    void descriptors_data();
    void descriptors();
    void blocks_data();
    void blocks();
    void everyFindingSaysWhatToDo();
};

void TstKeyListCheck::plainNames_data()
{
    QTest::addColumn<QJsonArray>("list");
    QTest::addColumn<QStringList>("expected");
    QTest::newRow("fits") << names(3) << QStringList{};
    QTest::newRow("one short") << names(2)
                               << QStringList{"error: \"keys\": it holds 2 names for a block of 3 registers"};
    QTest::newRow("one long") << names(4)
                              << QStringList{"error: \"keys\": it holds 4 names for a block of 3 registers"};
    QTest::newRow("empty") << QJsonArray{}
                           << QStringList{"error: \"keys\": it holds 0 names for a block of 3 registers"};
    QTest::newRow("twice") << QJsonArray{"a", "b", "a"}
                           << QStringList{"warning: \"keys\": \"a\" is named 2 times, the last one counts"};
    QTest::newRow("no text") << QJsonArray{"a", 5, ""}
                             << QStringList{"error: \"keys\": entry 2 is no name",
                                            "error: \"keys\": entry 3 is no name"};
}

void TstKeyListCheck::plainNames()
{
    QFETCH(QJsonArray, list);
    QTEST(complaints(checkNames(list, {"subject", "keys", 5201, 3})), "expected");
}

void TstKeyListCheck::descriptors_data()
{
    QTest::addColumn<QJsonArray>("list");
    QTest::addColumn<QStringList>("expected");
    const QJsonObject first = descriptor("a", 6201, 6201, "int");
    const QJsonObject rest = descriptor("b", 6202, 6204, "list");
    const QString outside = "outside of the block's registers 6201 to 6204";
    QTest::newRow("fits") << QJsonArray{first, rest} << QStringList{};
    QTest::newRow("float") << QJsonArray{descriptor("a", 6201, 6202, "float"),
                                         descriptor("b", 6203, 6204, "float")}
                           << QStringList{};
    QTest::newRow("float of one") << QJsonArray{descriptor("a", 6201, 6201, "float"), rest}
                                  << QStringList{"error: \"keys\": \"a\" is a float of 1 registers"};
    QTest::newRow("float of three") << QJsonArray{first, descriptor("b", 6202, 6204, "float")}
                                    << QStringList{"error: \"keys\": \"b\" is a float of 3 registers"};
    QTest::newRow("unknown type") << QJsonArray{descriptor("a", 6201, 6201, "Int"), rest}
                                  << QStringList{"error: \"keys\": \"a\" has the unknown type \"Int\""};
    QTest::newRow("no type") << QJsonArray{descriptor("a", 6201, 6201, ""), rest}
                             << QStringList{"error: \"keys\": \"a\" has the unknown type \"\""};
    QTest::newRow("wide int")
        << QJsonArray{first, descriptor("b", 6202, 6204, "int")}
        << QStringList{"warning: \"keys\": \"b\" is an int of 3 registers, only the first is read"};
    QTest::newRow("before the block") << QJsonArray{descriptor("z", 6200, 6201, "list"), rest}
                                      << QStringList{"error: \"keys\": \"z\" reaches to 6200, " + outside};
    QTest::newRow("behind the block") << QJsonArray{first, descriptor("b", 6202, 6205, "list")}
                                      << QStringList{"error: \"keys\": \"b\" reaches to 6205, " + outside};
    QTest::newRow("far away") << QJsonArray{first, rest, descriptor("c", 1, 1, "int")}
                              << QStringList{"error: \"keys\": \"c\" reaches to 1, " + outside};
    QTest::newRow("backwards") << QJsonArray{first, descriptor("b", 6204, 6202, "list")}
                               << QStringList{
                                      "error: \"keys\": \"b\" ends at 6202, before its start at 6204",
                                      "warning: \"keys\": nothing names registers 6202 to 6204 of the block"};
    QTest::newRow("overlap") << QJsonArray{first, descriptor("b", 6201, 6202, "float"),
                                           descriptor("c", 6202, 6204, "list")}
                             << QStringList{"warning: \"keys\": \"a\" and \"b\" overlap in register 6201",
                                            "warning: \"keys\": \"b\" and \"c\" overlap in register 6202"};
    QTest::newRow("overlap of two")
        << QJsonArray{first, rest, descriptor("c", 6203, 6204, "float")}
        << QStringList{"warning: \"keys\": \"b\" and \"c\" overlap in registers 6203 to 6204"};
    QTest::newRow("gaps") << QJsonArray{descriptor("b", 6202, 6202, "int")}
                          << QStringList{
                                 "warning: \"keys\": nothing names register 6201 of the block",
                                 "warning: \"keys\": nothing names registers 6203 to 6204 of the block"};
    QTest::newRow("empty") << QJsonArray{}
                           << QStringList{
                                  "warning: \"keys\": nothing names registers 6201 to 6204 of the block"};
    QTest::newRow("twice") << QJsonArray{descriptor("b", 6201, 6201, "int"), rest}
                           << QStringList{"warning: \"keys\": \"b\" is named 2 times, the last one counts"};
    QTest::newRow("no name") << QJsonArray{descriptor("", 6201, 6201, "int"), first, rest}
                             << QStringList{"error: \"keys\": entry 1 has no \"parameter_name\""};
    QTest::newRow("a name alone") << QJsonArray{first, rest, "torque"}
                                  << QStringList{"error: \"keys\": entry 3 has no \"parameter_name\""};
    QTest::newRow("address a text")
        << QJsonArray{first, rest, descriptor("c", "6201", 6201, "int")}
        << QStringList{"error: \"keys\": \"c\" has no \"start_address\" that is a whole number"};
    QTest::newRow("address a fraction")
        << QJsonArray{first, rest, descriptor("c", 6201, 6201.5, "int")}
        << QStringList{"error: \"keys\": \"c\" has no \"end_address\" that is a whole number"};
}

void TstKeyListCheck::descriptors()
{
    QFETCH(QJsonArray, list);
    QTEST(complaints(checkDescriptors(list, {"subject", "keys", 6201, 4})), "expected");
}

void TstKeyListCheck::blocks_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QJsonObject>("size"); // of currentPreset, presets, eventData
    QTest::addColumn<QJsonObject>("parameters");
    QTest::addColumn<int>("connected");
    QTest::addColumn<QStringList>("expected");
    const QJsonObject sizes{{"currentPreset", 20}, {"presets", 30}, {"eventData", 12}};
    const auto with = [&sizes](const QString& name, const QJsonValue& size) {
        QJsonObject all = sizes;
        if (size.isUndefined())
            all.remove(name);
        else
            all.insert(name, size);
        return all;
    };
    const QJsonObject keys{{"eventDataKeys", names(12)}, {"presetDataKeys", names(20)}};
    QTest::newRow("events fit") << "listenEventsData" << sizes << keys << 1 << QStringList{};
    QTest::newRow("events too long")
        << "listenEventsData" << with("eventData", 11) << keys << 1
        << QStringList{"error: \"eventDataKeys\": it holds 12 names for a block of 11 registers"};
    QTest::newRow("events of another generation")
        << "listenEventsData" << with("eventData", 11) << keys << 2
        << QStringList{"warning: \"eventDataKeys\": it holds 12 names for a block of 11 registers"};
    QTest::newRow("events are no list")
        << "listenEventsData" << sizes << QJsonObject{{"eventDataKeys", "torque"}} << 1
        << QStringList{"error: \"eventDataKeys\": it is no list",
                       "warning: the list \"eventDataKeys\" names \"eventCountNo\" 0 times"};
    QTest::newRow("events without a list")
        << "listenEventsData" << sizes << QJsonObject{} << 1 << QStringList{};
    QTest::newRow("one read at most") << "getPresetData" << with("currentPreset", 125)
                                      << QJsonObject{{"presetDataKeys", names(125)}} << 1 << QStringList{};
    QTest::newRow("more than one read")
        << "getPresetData" << with("currentPreset", 126) << QJsonObject{{"presetDataKeys", names(126)}} << 1
        << QStringList{"error: \"currentPreset\" has 126 registers, one read takes 125"};
    QTest::newRow("programs fit") << "getPresetData" << sizes << keys << 1 << QStringList{};
    QTest::newRow("programs too short")
        << "getPresetData" << with("currentPreset", 21) << keys << 1
        << QStringList{"error: \"presetDataKeys\": it holds 20 names for a block of 21 registers"};
    QTest::newRow("other commands do not care")
        << "setLock" << with("currentPreset", 21) << keys << 1 << QStringList{};
    QTest::newRow("trigger program") << "SetTriggerProgram" << sizes << keys << 1 << QStringList{};
    QTest::newRow("trigger program without a size is told elsewhere")
        << "SetTriggerProgram" << with("currentPreset", QJsonValue::Undefined) << keys << 1 << QStringList{};
    QTest::newRow("trigger program, small programs")
        << "SetTriggerProgram" << with("currentPreset", 5) << keys << 1
        << QStringList{"error: it writes 6 registers of a program, \"currentPreset\" gives a program 5"};
    QTest::newRow("trigger program, fifteen programs")
        << "SetTriggerProgram" << with("presets", 15) << keys << 1 << QStringList{};
    QTest::newRow("trigger program, few programs")
        << "SetTriggerProgram" << with("presets", 14) << keys << 1
        << QStringList{"error: it replaces program 15, \"presets\" has 14 programs"};
    QTest::newRow("trigger program, last address")
        << "SetTriggerProgram" << with("currentPreset", 4680) << keys << 1 << QStringList{};
    QTest::newRow("trigger program, too far")
        << "SetTriggerProgram" << with("currentPreset", 4681) << keys << 1
        << QStringList{"error: program 15 would lie beyond register 65535"};
}

void TstKeyListCheck::blocks()
{
    QFETCH(QString, command);
    QFETCH(QJsonObject, size);
    QFETCH(QJsonObject, parameters);
    QFETCH(int, connected);
    QJsonArray channels;
    for (auto it = size.constBegin(); it != size.constEnd(); ++it)
        channels.append(channel(
            it.key(), {{"register", 5201}, {"readRegisterType", "holdingRegisters"}, {"size", it.value()}}));
    QTEST(complaints(
              checkBlocks({command}, {{"channels", channels}, {"parameters", parameters}}, {1}, connected)),
          "expected");
}

void TstKeyListCheck::everyFindingSaysWhatToDo()
{
    const QJsonArray bad{"x", descriptor("a", 1, 3, "Float"), descriptor("a", 3, 1, "list"),
                         descriptor("c", 1, 99, "int"), descriptor("d", "1", 1, "int")};
    const QList<Finding> findings = checkDescriptors(bad, {"subject", "keys", 1, 10}) +
                                    checkNames({"a", "a", 5}, {"subject", "keys", 1, 2});
    QVERIFY(findings.size() >= 9);
    for (const Finding& finding : findings) {
        QVERIFY2(!finding.remedy.isEmpty(), qPrintable(finding.message));
        QCOMPARE(finding.subject, QString("subject"));
    }
}

QTEST_GUILESS_MAIN(TstKeyListCheck)
#include "tst_key_list_check.moc"
