#include "applications/bench/check/command_requirements.h"
#include "applications/bench/commands/command_reference.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/log_line.h"
#include "applications/bench/core/output_format.h"
#include "applications/bench/core/suggestion.h"
#include "applications/bench/demo/demo_subcommand.h"
#include "applications/bench/results/results_subcommand.h"
#include "applications/bench/run/order_arguments.h"
#include "applications/bench/run/run_subcommand.h"
#include "applications/bench/tests/parsed_call.h"
#include "plugins/p_device_mdc/model/channel_names.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTimeZone>
#include <QtTest>

#include <limits>

namespace {

const RegisterTypes c_registerTypes{
    {"holdingRegisters", "singleRegister", "inputRegisters", "coils", "discreteInputs"},
    {"holdingRegisters", "singleRegister", "coils"}};

QList<DCommandValue> someParameters()
{
    return {{QStringLiteral("direction"), QStringLiteral("ui16"), {}, {}},
            {QStringLiteral("reference"), QStringLiteral("strg"), {}, {}},
            {QStringLiteral("locked"), QStringLiteral("bool"), {}, {}},
            {QStringLiteral("offset"), QStringLiteral("int"), {}, {}},
            {QStringLiteral("keys"), QStringLiteral("varL"), {}, {}},
            {QStringLiteral("options"), QStringLiteral("varM"), {}, {}},
            {QStringLiteral("anything"), QStringLiteral("vart"), {}, {}}};
}

QJsonObject channel(const QString& id, const QJsonObject& entries)
{
    QJsonArray values;
    for (auto it = entries.constBegin(); it != entries.constEnd(); ++it)
        values.append(QJsonObject{{QStringLiteral("id"), it.key()}, {QStringLiteral("value"), it.value()}});
    return {{QStringLiteral("id"), id}, {QStringLiteral("value"), values}};
}

QJsonObject writable(const QString& id, int address)
{
    return channel(id, {{QStringLiteral("register"), address},
                        {QStringLiteral("writeRegisterType"), QStringLiteral("singleRegister")}});
}

QJsonObject configurationOf(const QJsonArray& channels)
{
    return {{QStringLiteral("channels"), channels}};
}

// Everything that the five commands need, for generations 1 and 2.
QJsonArray completeChannels()
{
    return {writable(QStringLiteral("directionChange"), 5001), writable(QStringLiteral("presetChange"), 5002),
            writable(QStringLiteral("alarmReset"), 5003), writable(QStringLiteral("directionChangeV2"), 6001),
            writable(QStringLiteral("presetChangeV2"), 6002)};
}

QJsonArray without(const QJsonArray& channels, const QString& id)
{
    QJsonArray rest;
    for (const QJsonValue& element : channels) {
        if (element.toObject().value(QLatin1String("id")).toString() != id)
            rest.append(element);
    }
    return rest;
}

QJsonArray with(const QJsonArray& channels, const QJsonObject& added)
{
    QJsonArray all = without(channels, added.value(QLatin1String("id")).toString());
    all.append(added);
    return all;
}

QString levelName(FindingLevel level)
{
    switch (level) {
    case FindingLevel::Ok:
        return QStringLiteral("ok");
    case FindingLevel::Warning:
        return QStringLiteral("warning");
    case FindingLevel::Error:
        return QStringLiteral("error");
    }
    return {};
}

// "error: setDirection, generation 2: …" of everything that is not ok.
QStringList complaints(const QList<Finding>& findings)
{
    QStringList lines;
    for (const Finding& finding : findings) {
        if (finding.level != FindingLevel::Ok)
            lines.append(levelName(finding.level) + QStringLiteral(": ") + finding.subject +
                         QStringLiteral(": ") + finding.message);
    }
    return lines;
}

} // namespace

class TstBench : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void exitCodeOfErrorCode_data()
    {
        QTest::addColumn<int>("errorCode");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("none") << int(IMessenger::CeEcNone) << 0;
        QTest::newRow("timeout") << int(IMessenger::CeEcTimeout) << 6;
        QTest::newRow("unknown target") << int(IMessenger::CeEcUnknownTarget) << 3;
        QTest::newRow("unknown command") << int(IMessenger::CeEcUnknownCommand) << 3;
        QTest::newRow("not connected") << int(IMessenger::CeEcNotConnected) << 5;
        QTest::newRow("refused") << int(IMessenger::CeEcRefused) << 7;
        QTest::newRow("uncertain") << int(IMessenger::CeEcUncertain) << 9;
        QTest::newRow("invalid arguments") << int(IMessenger::CeEcInvalidArguments) << 1;
        QTest::newRow("stopped") << int(IMessenger::CeEcStopped) << 1;
        QTest::newRow("queue full") << int(IMessenger::CeEcQueueFull) << 1;
        QTest::newRow("internal") << int(IMessenger::CeEcInternal) << 1;
        QTest::newRow("a code of tomorrow") << 99 << 1;
    }

    void exitCodeOfErrorCode()
    {
        QFETCH(int, errorCode);
        QTEST(static_cast<int>(exitCodeFor(static_cast<IMessenger::EnErrorCode>(errorCode))), "exitCode");
    }

    void exitCodeOfOutcome_data()
    {
        QTest::addColumn<bool>("ok");
        QTest::addColumn<int>("errorCode");
        QTest::addColumn<QVariantMap>("results");
        QTest::addColumn<int>("exitCode");
        const QString doneOk = QStringLiteral("doneOk");
        QTest::newRow("ok") << true << 0 << QVariantMap{} << 0;
        QTest::newRow("done") << true << 0 << QVariantMap{{doneOk, true}} << 0;
        QTest::newRow("says it is not done") << true << 0 << QVariantMap{{doneOk, false}} << 1;
        QTest::newRow("says nothing") << true << 0 << QVariantMap{{doneOk, QVariant()}} << 0;
        QTest::newRow("failed without a code") << false << 0 << QVariantMap{} << 1;
        QTest::newRow("refused, and says so") << false << 5 << QVariantMap{{doneOk, false}} << 7;
    }

    void exitCodeOfOutcome()
    {
        QFETCH(bool, ok);
        QFETCH(int, errorCode);
        QFETCH(QVariantMap, results);
        QTEST(static_cast<int>(
                  exitCodeFor({ok, static_cast<IMessenger::EnErrorCode>(errorCode), QString(), results})),
              "exitCode");
    }

    // Scripts depend on the numbers.
    void exitCodes()
    {
        int previous = -1;
        for (const ExitCodeDescription& description : exitCodeDescriptions()) {
            QVERIFY(static_cast<int>(description.code) > previous);
            previous = static_cast<int>(description.code);
        }
        QCOMPARE(exitCodeDescriptions().size(), 11);
        QCOMPARE(static_cast<int>(ExitCode::Different), 8);
    }

    void distance_data()
    {
        QTest::addColumn<QString>("a");
        QTest::addColumn<QString>("b");
        QTest::addColumn<int>("distance");
        QTest::newRow("equal") << "getInfo"
                               << "getInfo" << 0;
        QTest::newRow("case") << "getinfo"
                              << "getInfo" << 0;
        QTest::newRow("both empty") << ""
                                    << "" << 0;
        QTest::newRow("one empty") << ""
                                   << "abc" << 3;
        QTest::newRow("other empty") << "abc"
                                     << "" << 3;
        QTest::newRow("replaced") << "getInfo"
                                  << "getInfa" << 1;
        QTest::newRow("left out") << "getIfo"
                                  << "getInfo" << 1;
        QTest::newRow("too many") << "gettInfo"
                                  << "getInfo" << 1;
        QTest::newRow("swapped") << "gteInfo"
                                 << "getInfo" << 1;
        QTest::newRow("swapped at the end") << "getInof"
                                            << "getInfo" << 1;
        QTest::newRow("different") << "abc"
                                   << "xyz" << 3;
    }

    void distance()
    {
        QFETCH(QString, a);
        QFETCH(QString, b);
        QTEST(editDistance(a, b), "distance");
    }

    void suggestion_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("near");
        QTest::newRow("swapped letters") << "setDirectoin" << QStringList{"setDirection"};
        QTest::newRow("other case") << "SETPROGRAM" << QStringList{"setProgram"};
        QTest::newRow("beginning") << "reset" << QStringList{"resetAlarm"};
        QTest::newRow("beginning of several") << "get" << QStringList{"getInfo", "getRegister"};
        QTest::newRow("nearest first") << "setLok" << QStringList{"setLock", "setLick"};
        QTest::newRow("too short for a beginning") << "ge" << QStringList{};
        QTest::newRow("nothing near") << "calibrate" << QStringList{};
        QTest::newRow("empty") << "" << QStringList{};
    }

    void suggestion()
    {
        QFETCH(QString, text);
        QTEST(namesNear(text, {"getInfo", "setDirection", "setProgram", "resetAlarm", "getRegister",
                               "setLick", "setLock"}),
              "near");
    }

    void suggestionText()
    {
        QCOMPARE(didYouMean("setLok", {"setLock", "other"}), QStringLiteral("; did you mean \"setLock\"?"));
        QCOMPARE(didYouMean("get", {"getA", "getB"}), QStringLiteral("; did you mean \"getA\" or \"getB\"?"));
        QCOMPARE(didYouMean("unlike", {"setLock"}), QString());
    }

    void argument_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value"); // invalid: refused
        QTest::addColumn<QString>("error");  // a part of it
        const QVariant refused;
        QTest::newRow("number") << "direction=1" << QVariant(1U) << "";
        QTest::newRow("highest") << "direction=65535" << QVariant(65535U) << "";
        QTest::newRow("too high") << "direction=65536" << refused << "0 to 65535";
        QTest::newRow("negative") << "direction=-1" << refused << "0 to 65535";
        QTest::newRow("fraction") << "direction=1.5" << refused << "whole number";
        QTest::newRow("no number") << "direction=left" << refused << "\"direction\" cannot be \"left\"";
        QTest::newRow("no value") << "direction=" << refused << "whole number";
        QTest::newRow("text") << "reference=MDC" << QVariant("MDC") << "";
        QTest::newRow("text with quotes") << "reference=a \"b\" 'c'" << QVariant("a \"b\" 'c'") << "";
        QTest::newRow("text with =") << "reference=a=b" << QVariant("a=b") << "";
        QTest::newRow("empty text") << "reference=" << QVariant("") << "";
        QTest::newRow("text that reads as a number") << "reference=12" << QVariant("12") << "";
        QTest::newRow("yes") << "locked=yes" << QVariant(true) << "";
        QTest::newRow("off") << "locked=off" << QVariant(false) << "";
        QTest::newRow("no truth") << "locked=maybe" << refused << "true or false";
        QTest::newRow("negative number") << "offset=-12" << QVariant(-12) << "";
        QTest::newRow("too big") << "offset=2147483648" << refused << "whole number";
        QTest::newRow("list") << "keys=[1, \"a\"]" << QVariant(QVariantList{1.0, "a"}) << "";
        QTest::newRow("no list") << "keys={\"a\": 1}" << refused << "JSON list";
        QTest::newRow("broken list") << "keys=[1," << refused << "JSON list";
        QTest::newRow("map") << "options={\"a\": true}" << QVariant(QVariantMap{{"a", true}}) << "";
        QTest::newRow("no map") << "options=[1]" << refused << "JSON object";
        QTest::newRow("anything: number") << "anything=3" << QVariant(qlonglong(3)) << "";
        QTest::newRow("anything: text") << "anything=three" << QVariant("three") << "";
        QTest::newRow("misspelt") << "directon=1" << refused << "did you mean \"direction\"";
        QTest::newRow("no =") << "direction" << refused << "name=value";
        QTest::newRow("no name") << "=1" << refused << "name=value";
    }

    void argument()
    {
        QFETCH(QString, text);
        QFETCH(QVariant, value);
        QFETCH(QString, error);
        const OrderArguments arguments = parseOrderArguments("someCommand", {text}, someParameters());
        QVERIFY(arguments.warnings.isEmpty());
        if (!value.isValid()) {
            QCOMPARE(arguments.errors.size(), 1);
            QVERIFY2(arguments.errors.constFirst().contains(error),
                     qPrintable(arguments.errors.constFirst()));
            QVERIFY(arguments.values.isEmpty());
            return;
        }
        QCOMPARE(arguments.errors, QStringList());
        const QString name = text.section('=', 0, 0);
        QCOMPARE(arguments.values.keys(), QStringList{name});
        QCOMPARE(arguments.values.value(name), value);
        if (value.userType() != QMetaType::QVariantList)
            QCOMPARE(arguments.values.value(name).userType(), value.userType());
    }

    void argumentTwice()
    {
        const OrderArguments arguments =
            parseOrderArguments("c", {"direction=1", "direction=0"}, someParameters());
        QCOMPARE(arguments.errors.size(), 1);
        QVERIFY(arguments.errors.constFirst().contains("twice"));
    }

    void undeclaredArgument_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QVariant>("value");
        QTest::newRow("text") << "colour=green" << QVariant("green");
        QTest::newRow("number") << "colour=5" << QVariant(qlonglong(5));
        QTest::newRow("fraction") << "colour=0.5" << QVariant(0.5);
        QTest::newRow("truth") << "colour=true" << QVariant(true);
        QTest::newRow("quoted") << "colour=\"5\"" << QVariant("5");
        QTest::newRow("list") << "colour=[\"a\"]" << QVariant(QVariantList{"a"});
        QTest::newRow("two values") << "colour=1,2" << QVariant("1,2");
        QTest::newRow("empty") << "colour=" << QVariant("");
    }

    void undeclaredArgument()
    {
        QFETCH(QString, text);
        QFETCH(QVariant, value);
        const OrderArguments arguments = parseOrderArguments("someCommand", {text}, someParameters());
        QCOMPARE(arguments.errors, QStringList());
        QCOMPARE(arguments.warnings.size(), 1);
        QVERIFY(arguments.warnings.constFirst().contains("\"colour\""));
        QCOMPARE(arguments.values.value("colour"), value);
        QCOMPARE(arguments.values.value("colour").userType(), value.userType());
    }

    void time_data()
    {
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("text");
        QTest::newRow("UTC") << 0 << "2026-03-01T09:30:00.125+00:00";
        QTest::newRow("east") << 3600 << "2026-03-01T09:30:00.125+01:00";
        QTest::newRow("half an hour west") << -12600 << "2026-03-01T09:30:00.125-03:30";
    }

    void time()
    {
        QFETCH(int, offset);
        QTEST(isoTime(QDateTime(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, offset)), "text");
    }

    // The language that a program is started in cannot be changed from inside.
    void timeInAnyLanguage()
    {
        if (qEnvironmentVariableIsSet("MDC_TEST_LANGUAGE"))
            QSKIP("this is the other program");
        QProcess again;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LC_ALL", "ar_EG.UTF-8");
        environment.insert("MDC_TEST_LANGUAGE", "1");
        again.setProcessEnvironment(environment);
        again.setProcessChannelMode(QProcess::MergedChannels);
        again.start(QCoreApplication::applicationFilePath(), {"time", "line"});
        QVERIFY(again.waitForFinished());
        QVERIFY2(again.exitStatus() == QProcess::NormalExit && again.exitCode() == 0, again.readAll());
    }

    void line()
    {
        const QDateTime at(QDate(2026, 3, 1), QTime(9, 30, 0, 125), Qt::OffsetFromUTC, 3600);
        QCOMPARE(jsonLine(7, at, {"values", QVariantList{1, 2}}),
                 QByteArray("{\"v\":1,\"time\":\"2026-03-01T09:30:00.125+01:00\",\"seq\":7,"
                            "\"name\":\"values\",\"value\":[1,2]}"));
        const QByteArray line = jsonLine(8, at, {"a \"quoted\"\nname", QString("x\"y\nz")});
        QVERIFY(!line.contains('\n'));
        const QJsonObject object = QJsonDocument::fromJson(line).object();
        QCOMPARE(object.value("name").toString(), QString("a \"quoted\"\nname"));
        QCOMPARE(object.value("value").toString(), QString("x\"y\nz"));
    }

    void jsonValue_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("null") << QVariant() << QByteArray("null");
        QTest::newRow("number") << QVariant(5U) << QByteArray("5");
        QTest::newRow("truth") << QVariant(true) << QByteArray("true");
        QTest::newRow("bytes") << QVariant(QByteArray("\x01\xff", 2)) << QByteArray("\"01 ff\"");
        QTest::newRow("bytes inside") << QVariant(QVariantMap{{"a", QVariantList{QByteArray("\x02", 1)}}})
                                      << QByteArray("{\"a\":[\"02\"]}");
        QTest::newRow("no number") << QVariant(std::numeric_limits<double>::quiet_NaN())
                                   << QByteArray("\"nan\"");
    }

    void jsonValue()
    {
        QFETCH(QVariant, value);
        QTEST(compactJson(toJson(value)), "json");
    }

    void text_data()
    {
        QTest::addColumn<QVariant>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("nothing") << QVariant() << "-";
        QTest::newRow("truth") << QVariant(true) << "true";
        QTest::newRow("number") << QVariant(12) << "12";
        QTest::newRow("whole double") << QVariant(1200000.0) << "1200000";
        QTest::newRow("text") << QVariant("MD3202") << "MD3202";
        QTest::newRow("text that would steer the terminal") << QVariant("a\x1b[31m\nb") << "a\\x1b[31m\\nb";
        QTest::newRow("list") << QVariant(QVariantList{1, 2}) << "[1,2]";
        QTest::newRow("bytes") << QVariant(QByteArray("\x0a\x0b", 2)) << "0a 0b";
    }

    void text()
    {
        QFETCH(QVariant, value);
        QTEST(valueText(value), "text");
    }

    void rows()
    {
        const QVariantList record{QVariantMap{{"id", "version"}, {"name", "Version"}, {"value", "4.00.5"}},
                                  QVariantMap{{"id", "softwareVersion"}, {"value", 2}}};
        QCOMPARE(
            valueRows({{"deviceInformation", record}, {"values", QVariantList{1}}, {"none", QVariantList{}}}),
            (QList<QStringList>{{"deviceInformation.version", "4.00.5"},
                                {"deviceInformation.softwareVersion", "2"},
                                {"values", "[1]"},
                                {"none", "[]"}}));
    }

    void tableLayout()
    {
        QCOMPARE(formatTable({"a", "long name"}, {{"wider", ""}, {"x", "y"}}),
                 QStringLiteral("a      long name\nwider\nx      y\n"));
        QCOMPARE(formatTable({}, {}), QString());
        QCOMPARE(formatTable({}, {{"a"}, {"b", "c"}}), QStringLiteral("a\nb  c\n"));
    }

    void logLine()
    {
        const QString line = QStringLiteral(
            "\n 2026-03-01 09:30:00.125 ;\t Thread = QThread(0x55) ;\t This = 0x66 ;\t "
            "plugins/p_device_mdc/source/d_cmd_setDirection ;\t 42 ;\t ERROR: Direction not applied");
        QCOMPARE(readableLogLine(line, false),
                 QStringLiteral("ERROR: Direction not applied (d_cmd_setDirection:42)"));
        QCOMPARE(readableLogLine(line, true),
                 QStringLiteral("2026-03-01 09:30:00.125 ; Thread = QThread(0x55) ; This = 0x66 ; "
                                "plugins/p_device_mdc/source/d_cmd_setDirection ; 42 ; "
                                "ERROR: Direction not applied"));
        QCOMPARE(readableLogLine("plain\n  text", false), QStringLiteral("plain text"));
    }

    void shownLogLines_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<bool>("plain");
        QTest::addColumn<bool>("verbose");
        QTest::addColumn<bool>("quiet");
        QTest::newRow("debug") << int(QtDebugMsg) << false << true << false;
        QTest::newRow("info") << int(QtInfoMsg) << false << true << false;
        QTest::newRow("warning") << int(QtWarningMsg) << true << true << false;
        QTest::newRow("critical") << int(QtCriticalMsg) << true << true << false;
        QTest::newRow("fatal") << int(QtFatalMsg) << true << true << true;
    }

    void shownLogLines()
    {
        QFETCH(int, type);
        const auto messageType = static_cast<QtMsgType>(type);
        QTEST(showsLogLine(messageType, false, false), "plain");
        QTEST(showsLogLine(messageType, true, false), "verbose");
        QTEST(showsLogLine(messageType, false, true), "quiet");
    }

    void everyCommandFindsWhatItNeeds()
    {
        const QStringList commands{"getInfo", "setDirection", "setProgram", "resetAlarm", "getRegister"};
        const QList<Finding> findings = checkRequirements(
            commandNeeds(), commands, configurationOf(completeChannels()), 2, c_registerTypes);
        QCOMPARE(complaints(findings), QStringList());
        // Two generations of two commands, the reset and the register read; getInfo needs nothing.
        QCOMPARE(findings.size(), 6);
    }

    void requirement_data()
    {
        QTest::addColumn<QJsonArray>("channels");
        QTest::addColumn<int>("generation"); // 0: not identified
        QTest::addColumn<QString>("command");
        QTest::addColumn<QStringList>("expected");
        const QJsonArray complete = completeChannels();
        QTest::newRow("missing for the connected generation")
            << without(complete, "directionChangeV2") << 2 << "setDirection"
            << QStringList{"error: setDirection, generation 2: the channel \"directionChangeV2\" is missing"};
        QTest::newRow("missing for another generation")
            << without(complete, "directionChangeV2") << 1 << "setDirection"
            << QStringList{
                   "warning: setDirection, generation 2: the channel \"directionChangeV2\" is missing"};
        QTest::newRow("missing, nothing identified")
            << without(complete, "presetChange") << 0 << "setProgram"
            << QStringList{"warning: setProgram, generation 1: the channel \"presetChange\" is missing"};
        QTest::newRow("a generation that nobody describes")
            << complete << 3 << "setProgram"
            << QStringList{"error: setProgram, generation 3: the channel \"presetChangeV3\" is missing"};
        QTest::newRow("the reset has no generation")
            << without(complete, "alarmReset") << 2 << "resetAlarm"
            << QStringList{"error: resetAlarm: the channel \"alarmReset\" is missing"};
        QTest::newRow("no type")
            << with(complete, channel("directionChange", {{"register", 1}})) << 1 << "setDirection"
            << QStringList{"error: setDirection, generation 1: the channel \"directionChange\" has no "
                           "\"writeRegisterType\""};
        QTest::newRow("no register and no type")
            << with(complete, channel("alarmReset", {})) << 1 << "resetAlarm"
            << QStringList{"error: resetAlarm: the channel \"alarmReset\" has no \"register\", "
                           "\"writeRegisterType\""};
        QTest::newRow("a channel to read without any type")
            << with(complete, channel("pressure", {{"register", 1}})) << 1 << "getRegister"
            << QStringList{"error: getRegister: the channel \"pressure\" has no \"readRegisterType\" or "
                           "\"writeRegisterType\""};
        QTest::newRow("a channel without a register is no register")
            << with(complete, channel("note", {{"size", 3}})) << 1 << "getRegister" << QStringList{};
        QTest::newRow("no register at all")
            << QJsonArray{} << 1 << "getRegister"
            << QStringList{"error: getRegister: no channel has a \"register\""};
        QTest::newRow("highest address")
            << with(complete, writable("alarmReset", 65535)) << 1 << "resetAlarm" << QStringList{};
        QTest::newRow("address too high")
            << with(complete, writable("alarmReset", 65536)) << 1 << "resetAlarm"
            << QStringList{"error: channel alarmReset: \"register\" is 65536"};
        QTest::newRow("address negative") << with(complete, writable("alarmReset", -1)) << 1 << "resetAlarm"
                                          << QStringList{"error: channel alarmReset: \"register\" is -1"};
        QTest::newRow("address a fraction")
            << with(complete, channel("alarmReset", {{"register", 1.5}, {"writeRegisterType", "coils"}})) << 1
            << "resetAlarm" << QStringList{"error: channel alarmReset: \"register\" is 1.5"};
        QTest::newRow("address a text")
            << with(complete, channel("alarmReset", {{"register", "5003"}, {"writeRegisterType", "coils"}}))
            << 1 << "resetAlarm" << QStringList{"error: channel alarmReset: \"register\" is a text"};
        QTest::newRow("unknown type")
            << with(complete, channel("alarmReset", {{"register", 1}, {"writeRegisterType", "holding"}})) << 1
            << "resetAlarm" << QStringList{"error: channel alarmReset: \"writeRegisterType\" is \"holding\""};
        QTest::newRow("type that cannot be written")
            << with(complete,
                    channel("alarmReset", {{"register", 1}, {"writeRegisterType", "inputRegisters"}}))
            << 1 << "resetAlarm"
            << QStringList{"error: channel alarmReset: \"writeRegisterType\" is \"inputRegisters\", which "
                           "cannot be written"};
        QTest::newRow("type that can be read")
            << with(complete, channel("input", {{"register", 1}, {"readRegisterType", "discreteInputs"}}))
            << 1 << "getRegister" << QStringList{};
        QTest::newRow("no size")
            << with(complete, channel("currentPreset", {{"register", 1}, {"readRegisterType", "coils"}})) << 1
            << "SetTriggerProgram"
            << QStringList{
                   "error: SetTriggerProgram, generation 1: the channel \"currentPreset\" has no \"size\": "
                   "it "
                   "would overwrite registers 1 to 6, those of program 1",
                   "warning: SetTriggerProgram, generation 2: the channel \"currentPresetV2\" is missing: it "
                   "would overwrite registers 1 to 6, those of program 1"};
        QTest::newRow("size 0") << with(complete, channel("currentPreset", {{"register", 1}, {"size", 0}}))
                                << 1 << "resetAlarm"
                                << QStringList{"error: channel currentPreset: \"size\" is 0"};
        QTest::newRow("size a text") << with(complete,
                                             channel("currentPreset", {{"register", 1}, {"size", "20"}}))
                                     << 1 << "resetAlarm"
                                     << QStringList{"error: channel currentPreset: \"size\" is a text"};
        QTest::newRow("a list of keys of the generation")
            << with(with(complete,
                         channel("eventData", {{"register", 1}, {"size", 2}, {"readRegisterType", "coils"}})),
                    channel("eventDataV2", {{"register", 1}, {"size", 2}, {"readRegisterType", "coils"}}))
            << 2 << "listenEventsData"
            << QStringList{
                   "warning: listenEventsData, generation 1: the parameter \"eventDataKeys\" is missing",
                   "error: listenEventsData, generation 2: the parameter \"eventDataKeysV2\" is missing"};
        QTest::newRow("a channel of some controllers")
            << with(with(complete, writable("lockScreen", 1)), writable("lockScreenV2", 2)) << 1
            << "setLockScreen"
            << QStringList{"warning: setLockScreen, some controllers of generation 1: the channel "
                           "\"lockScreenGen1V1\" is missing"};
        QTest::newRow("a command of tomorrow")
            << complete << 1 << "polish"
            << QStringList{"warning: polish: what it needs from the configuration is not known here"};
    }

    void requirement()
    {
        QFETCH(QJsonArray, channels);
        QFETCH(int, generation);
        QFETCH(QString, command);
        const std::optional<int> connected = generation == 0 ? std::nullopt : std::optional<int>(generation);
        const QList<Finding> findings = checkRequirements(
            commandNeeds(), {command}, configurationOf(channels), connected, c_registerTypes);
        QTEST(complaints(findings), "expected");
        for (const Finding& finding : findings)
            QCOMPARE(finding.remedy.isEmpty(), finding.level == FindingLevel::Ok);
    }

    void registerTypesOfTheDriver()
    {
        const QJsonObject configuration = configurationOf(
            with(completeChannels(), channel("tag", {{"register", 1}, {"readRegisterType", "tags"}})));
        const QStringList commands{"getRegister"};
        const auto told = [&](const RegisterTypes& types) {
            return complaints(checkRequirements(commandNeeds(), commands, configuration, 2, types));
        };
        QCOMPARE(told(c_registerTypes), QStringList{"error: channel tag: \"readRegisterType\" is \"tags\""});
        QCOMPARE(told({{"tags", "singleRegister"}, {"singleRegister"}}), QStringList());
        QCOMPARE(told({{"tags"}, {}}).size(), completeChannels().size());
        // Nobody knows.
        QCOMPARE(told({}), QStringList());
    }

    void requiredParameter()
    {
        const QList<CommandNeeds> table{{"save", {}, {}, {{"ranges"}}}};
        QCOMPARE(complaints(checkRequirements(table, {"save"}, configurationOf({}), 1, c_registerTypes)),
                 QStringList{"error: save: the parameter \"ranges\" is missing"});
        QJsonObject configuration = configurationOf({});
        configuration.insert("parameters", QJsonObject{{"ranges", QJsonArray{}}});
        QCOMPARE(complaints(checkRequirements(table, {"save"}, configuration, 1, c_registerTypes)),
                 QStringList());
    }

    void generations()
    {
        QCOMPARE(generationSuffix(0), QString());
        QCOMPARE(generationSuffix(1), QString());
        QCOMPARE(generationSuffix(2), QStringLiteral("V2"));
        QCOMPARE(describedGenerations(commandNeeds(), configurationOf(completeChannels())),
                 (QList<int>{1, 2}));
        QCOMPARE(describedGenerations(commandNeeds(), configurationOf({writable("presetChangeV10", 1),
                                                                       writable("otherV3", 2)})),
                 QList<int>{10});
    }

    void markdown()
    {
        PluginCommands plugin;
        plugin.plugin = "Plugin X";
        plugin.version = "1.0";
        plugin.object = "x";
        plugin.commands.append({"look",
                                "stopLooking",
                                "Looks | listens",
                                {{"channel", "strg", "Which\none", QVariant("a")}},
                                {}});
        const QString page = commandsAsMarkdown({plugin});
        QVERIFY(page.contains("## Plugin X 1.0\n\n### look\n\nLooks \\| listens\n\n"
                              "Listens until it is stopped with `stopLooking`.\n\n"
                              "| Parameters | Type | Meaning | Default |\n|---|---|---|---|\n"
                              "| `channel` | `strg` | Which one | `a` |\n\nResults: none.\n"));
        // Nothing of the bench at hand: the page is the same everywhere.
        QVERIFY(!page.contains("\"x\""));
        const QJsonObject object = commandAsJson(plugin, plugin.commands.constFirst());
        QCOMPARE(object.value("parameters").toArray().at(0).toObject().value("default").toString(),
                 QString("a"));
        QCOMPARE(object.value("stopName").toString(), QString("stopLooking"));
    }

    void commandLine()
    {
        const ParsedCall parsed({"-v", "--config", "bench.json", "run", "setProgram", "program=3", "--object",
                                 "mdc", "--timeout", "2000", "--format", "jsonl", "--", "offset=-1",
                                 "--odd=1"});
        const auto* const run = parsed.as<RunSubcommand>();
        QVERIFY2(run != nullptr, qPrintable(parsed->text));
        QCOMPARE(parsed->general.configFile, QStringLiteral("bench.json"));
        QCOMPARE(run->options().command, QStringLiteral("setProgram"));
        QCOMPARE(run->options().arguments, (QStringList{"program=3", "offset=-1", "--odd=1"}));
        QCOMPARE(run->options().object, QStringLiteral("mdc"));
        QCOMPARE(run->options().timeout, 2000);
        QCOMPARE(parsed->general.format, OutputFormat::JsonLines);
        QCOMPARE(parsed->general.simulation, GeneralOptions::Simulation::None);
        QVERIFY(parsed->general.verbose);
        QVERIFY(!run->options().withoutIdentification);
    }

    void defaults()
    {
        const ParsedCall getInfo({"run", "getInfo"});
        const auto* const run = getInfo.as<RunSubcommand>();
        QVERIFY(run != nullptr);
        QCOMPARE(getInfo->general.simulation, GeneralOptions::Simulation::Tcp);
        QCOMPARE(run->options().timeout, 0);
        QCOMPARE(getInfo->general.format, OutputFormat::Table);
        const ParsedCall listening(
            {"run", "listenEventsData", "--count", "3", "--seconds", "1.5", "--changes"});
        const auto* const listen = listening.as<RunSubcommand>();
        QVERIFY(listen != nullptr);
        QCOMPARE(listen->options().bounds.count, 3);
        QCOMPARE(listen->options().bounds.duration, 1500);
        QVERIFY(listen->options().changesOnly);
        const ParsedCall logging({"results", "--output", "x", "--rotate-size", "9"});
        const auto* const results = logging.as<ResultsSubcommand>();
        QVERIFY(results != nullptr);
        QCOMPARE(logging->general.format, OutputFormat::JsonLines);
        QCOMPARE(results->options().rotateSize, qint64(9));
        QCOMPARE(results->options().keptFiles, 5);
        QCOMPARE(results->options().programName, QStringLiteral("program"));
        const ParsedCall both({"demo"});
        const auto* const demo = both.as<DemoSubcommand>();
        QVERIFY(demo != nullptr);
        QVERIFY(demo->options().showsTcp() && demo->options().showsRtu());
        const ParsedCall one({"demo", "--rtu"});
        const auto* const rtu = one.as<DemoSubcommand>();
        QVERIFY(rtu != nullptr);
        QVERIFY(!rtu->options().showsTcp() && rtu->options().showsRtu());
    }

    void unusableCommandLine_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("text"); // a part of it
        QTest::newRow("nothing") << QStringList{} << "mdc-bench demo";
        QTest::newRow("subcommand") << QStringList{"lits"} << "did you mean \"list\"?";
        QTest::newRow("no subcommand") << QStringList{"-v"} << "subcommand is required";
        QTest::newRow("option") << QStringList{"list", "--formt", "json"} << "did you mean \"--format\"?";
        QTest::newRow("option with =") << QStringList{"list", "--formt=json"} << "did you mean \"--format\"?";
        QTest::newRow("option before")
            << QStringList{"--nonsense", "list"} << "unknown option \"--nonsense\"";
        QTest::newRow("short option") << QStringList{"list", "-x"} << "unknown option \"-x\"";
        QTest::newRow("hint") << QStringList{"list", "--nonsense"} << "See \"mdc-bench list --help\".";
        QTest::newRow("extra word") << QStringList{"list", "mdc"} << "unexpected argument \"mdc\"";
        QTest::newRow("format") << QStringList{"list", "--format", "xml"} << "xml";
        QTest::newRow("format of another subcommand")
            << QStringList{"list", "--format", "markdown"} << "\"commands\" only";
        QTest::newRow("no command") << QStringList{"run"} << "COMMAND is required";
        QTest::newRow("time-out 0") << QStringList{"run", "getInfo", "--timeout", "0"} << "--timeout";
        QTest::newRow("time-out text") << QStringList{"run", "getInfo", "--timeout", "soon"} << "--timeout";
        QTest::newRow("loud and quiet") << QStringList{"list", "-v", "--quiet"} << "--quiet";
        QTest::newRow("no controller") << QStringList{"run", "getInfo", "--simulate", "none"} << "--config";
        QTest::newRow("fault without simulation")
            << QStringList{"run", "getInfo", "--config", "x", "--fault", "lost"} << "--simulate";
        QTest::newRow("profile without simulation")
            << QStringList{"check", "--config", "x", "--profile", "bm-gen2"} << "--simulate";
        QTest::newRow("demo with a configuration") << QStringList{"demo", "--config", "x"} << "--config";
        QTest::newRow("count 0") << QStringList{"run", "listenEventsData", "--count", "0"} << "--count";
        QTest::newRow("seconds 0") << QStringList{"run", "listenEventsData", "--seconds", "0"} << "--seconds";
        QTest::newRow("csv of another subcommand")
            << QStringList{"run", "getInfo", "--format", "csv"} << "\"results\" only";
        QTest::newRow("results as a table") << QStringList{"results", "--format", "table"} << "jsonl or csv";
        QTest::newRow("rotation without a file")
            << QStringList{"results", "--rotate-size", "1000"} << "--output FILE";
        QTest::newRow("rotation at nothing")
            << QStringList{"results", "--output", "x", "--rotate-size", "0"} << "--rotate-size";
        QTest::newRow("results without a controller")
            << QStringList{"results", "--simulate", "none"} << "--config";
        QTest::newRow("demo for machines") << QStringList{"demo", "--format", "json"} << "--format";
    }

    void unusableCommandLine()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, text);
        const ParsedCall parsed(arguments);
        QVERIFY(parsed->subcommand == nullptr);
        QCOMPARE(static_cast<int>(parsed->exitCode), 2);
        QVERIFY2(parsed->text.contains(text), qPrintable(parsed->text));
    }

    void help_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QStringList>("parts");
        QTest::newRow("program") << QStringList{"--help"}
                                 << QStringList{"demo", "Examples:", "Exit codes:", "130", "--config"};
        QTest::newRow("run") << QStringList{"run", "--help"}
                             << QStringList{"name=value", "--no-identify", "--config", "Examples:"};
        QTest::newRow("version") << QStringList{"--version"} << QStringList{"mdc-bench", "Qt 5."};
    }

    void help()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QStringList, parts);
        const ParsedCall parsed(arguments);
        QVERIFY(parsed->subcommand == nullptr);
        QCOMPARE(static_cast<int>(parsed->exitCode), 0);
        for (const QString& part : parts)
            QVERIFY2(parsed->text.contains(part), qPrintable(parsed->text));
    }
};

QTEST_GUILESS_MAIN(TstBench)
#include "tst_bench.moc"
