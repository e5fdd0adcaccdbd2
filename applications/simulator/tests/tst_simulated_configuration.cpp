#include "applications/simulator/device_object.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/tests/sample_configuration.h"

#include <QTest>

using Words = QVector<quint16>;

namespace {

const QStringList c_torqueUnits{"torqueUnit", "torqueUnitGen1V1", "torqueUnitV2"};
const QStringList c_presetKeys{"presetDataKeys", "presetDataKeysV2"};

} // namespace

// What a controller says of a configuration that it cannot use.
class TestSimulatedConfiguration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void badKeyListIsSaid_data();
    void badKeyListIsSaid();
    void missingEntryIsSaid_data();
    void missingEntryIsSaid();
    void wrongEntryIsSaid_data();
    void wrongEntryIsSaid();
    void badBackupRangeIsSaid_data();
    void badBackupRangeIsSaid();
    void findsDeviceObject_data();
    void findsDeviceObject();
};

void TestSimulatedConfiguration::initTestCase()
{
    QVERIFY2(sampleProblems().isEmpty(), qPrintable(sampleProblems()));
}

void TestSimulatedConfiguration::badKeyListIsSaid_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<QJsonValue>("keys");
    QTest::addColumn<QString>("named");

    const QJsonValue missing(QJsonValue::Undefined);
    const QString plain = QStringLiteral("eventDataKeys");
    const auto row = [](const char* name, const QString& list, const QJsonValue& keys, const char* named) {
        QTest::newRow(name) << list << keys << named;
    };
    QJsonArray names = sampleEventNames();
    row("no names", plain, missing, "is no list of names");
    row("names of an object", plain, QJsonObject(), "is no list of names");
    names.removeLast();
    row("a name too few", plain, names, "has 11 names for 12 registers");
    row("a name too many", plain, names + QJsonValue("a") + QJsonValue("b"), "has 13 names for 12 registers");
    row("no name at all", plain, QJsonArray(), "has 0 names for 12 registers");
    row("an empty name", plain, names + QJsonValue(""), "entry 12 is no name");
    row("a number as name", plain, names + QJsonValue(5), "entry 12 is no name");
    row("descriptors for names", plain, sampleEventDescriptors(), "entry 1 is no name");

    for (const bool isEvent : {true, false}) {
        const QString list = isEvent ? QStringLiteral("eventDataKeysV2") : QStringLiteral("presetDataKeysV2");
        const int first = isEvent ? 6201 : 1;
        const int last = isEvent ? 6216 : 40;
        const auto described = [&](const char* name, const QJsonValue& keys, const QString& named) {
            QTest::newRow(qPrintable(list + ' ' + name)) << list << keys << named;
        };
        const auto one = [](const char* name, int start, int end, const char* type) {
            return QJsonArray{descriptor(name, start, end, type)};
        };
        if (isEvent)
            described("missing", missing, "is no list of descriptors");
        described("a text", "x", "is no list of descriptors");
        described("names for descriptors", QJsonArray{"torque"}, "entry 1 (\"\") has no \"parameter_name\"");
        described("no name", one("", first, first, "int"), "has no \"parameter_name\"");
        described("type", one("a", first, first, "Int"),
                  "entry 1 (\"a\") has the type \"Int\", which is not one of int, list, float");
        described("before the block", one("a", first - 1, first, "list"),
                  QStringLiteral("is at %1 to %2, which is not in the block's %2 to %3")
                      .arg(first - 1)
                      .arg(first)
                      .arg(last));
        described("behind the block", one("a", last, last + 1, "float"), "which is not in the block's");
        described("backwards", one("a", first + 1, first, "list"), "which is not in the block's");
        described("float of one", one("a", first, first, "float"), "is a float of 1 registers");
        described("float of three", one("a", first, first + 2, "float"), "is a float of 3 registers");
        described("overlap",
                  QJsonArray{descriptor("a", first, first + 2, "list"),
                             descriptor("b", first + 2, first + 3, "float")},
                  QStringLiteral("entry 2 (\"b\") overlaps \"a\" at %1").arg(first + 2));
        QJsonObject broken = descriptor("a", first, first, "int");
        broken.remove(QStringLiteral("end_address"));
        described("no end", QJsonArray{broken}, "has no \"start_address\" and \"end_address\"");
        broken.insert(QStringLiteral("end_address"), first + 0.5);
        described("end with a fraction", QJsonArray{broken}, "has no \"start_address\" and \"end_address\"");
    }
}

void TestSimulatedConfiguration::badKeyListIsSaid()
{
    QFETCH(QString, list);
    QFETCH(QJsonValue, keys);
    QFETCH(QString, named);
    QJsonObject configuration = sampleConfiguration();
    QJsonObject parameters = configuration.value(QStringLiteral("parameters")).toObject();
    parameters.insert(list, keys);
    configuration.insert(QStringLiteral("parameters"), parameters);
    const int generation = list.endsWith(QLatin1String("V2")) ? 2 : 1;
    SimulatedController controller(configuration, profileOfGeneration(generation));
    QCOMPARE(controller.problems().size(), 1);
    const QString problem = controller.problems().first();
    QVERIFY2(problem.startsWith(QStringLiteral("parameter \"%1\" ").arg(list)), qPrintable(problem));
    QVERIFY2(problem.contains(named), qPrintable(problem));
    // The registers are there all the same.
    Words read;
    const auto holding = QModbusDataUnit::HoldingRegisters;
    QCOMPARE(controller.read(holding, generation == 1 ? 5201 : 6201, 12, &read), quint8(0));
    QCOMPARE(read, Words(12, 0));
    QCOMPARE(controller.read(holding, 1, 20, &read), quint8(0));
    QCOMPARE(controller.tighten(), c_presetKeys.contains(list));
    // It is of no concern to the other generation.
    SimulatedController other(configuration, profileOfGeneration(3 - generation));
    QVERIFY2(other.problems().isEmpty(), qPrintable(other.problems().join('\n')));
    QVERIFY(other.tighten());
}

void TestSimulatedConfiguration::missingEntryIsSaid_data()
{
    QTest::addColumn<int>("generation");
    QTest::addColumn<int>("address");
    QTest::addColumn<int>("problems");

    QTest::newRow("directionChange") << 1 << 5001 << 1;
    QTest::newRow("presetChange") << 1 << 5002 << 1;
    QTest::newRow("alarmReset") << 1 << 5003 << 1;
    QTest::newRow("direction") << 1 << 5101 << 1;
    QTest::newRow("motorRun") << 1 << 5102 << 1;
    QTest::newRow("alarm") << 1 << 5104 << 1;
    // Registers of the range that nothing else takes are plain ones.
    QTest::newRow("presets") << 1 << 0 << 1;
    QTest::newRow("torqueUnit") << 1 << 0 << 1;
    QTest::newRow("torqueUnitV2") << 2 << 0 << 1;
    // Its size is the programs' size: they go with it.
    QTest::newRow("currentPreset") << 1 << 5103 << 2;
    QTest::newRow("lock") << 1 << 5105 << 1;
    QTest::newRow("screenLock") << 1 << 5106 << 1;
    QTest::newRow("lockChange") << 1 << 5004 << 1;
    QTest::newRow("lockScreen") << 1 << 5005 << 1;
    QTest::newRow("eventData") << 1 << 5201 << 1;
    QTest::newRow("lockChangeV2") << 2 << 6004 << 1;
    QTest::newRow("lockScreenV2") << 2 << 6005 << 1;
    QTest::newRow("eventDataV2") << 2 << 6201 << 1;
    QTest::newRow("directionChangeV2") << 2 << 6001 << 1;
    QTest::newRow("directionV2") << 2 << 6101 << 1;
    QTest::newRow("currentPresetV2") << 2 << 6103 << 2;
}

void TestSimulatedConfiguration::missingEntryIsSaid()
{
    QFETCH(int, generation);
    QFETCH(int, address);
    QFETCH(int, problems);
    const QString missing = QString::fromLatin1(QTest::currentDataTag());
    SimulatedController controller(configurationOf(without(sampleChannels(), missing)),
                                   profileOfGeneration(generation));
    QCOMPARE(controller.problems().size(), problems);
    QVERIFY2(controller.problems().first().contains(QLatin1Char('"') + missing + QLatin1Char('"')),
             qPrintable(controller.problems().first()));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, static_cast<quint16>(address), 1, &read),
             SimulatedController::c_illegalAddress);
    const bool hasPrograms = problems == 1 && missing != QLatin1String("presets");
    QCOMPARE(controller.presetCount() > 0, hasPrograms);
    QCOMPARE(controller.setTorqueUnit(1), !c_torqueUnits.contains(missing));
    // Writing what shows in a status that is missing still works.
    if (missing == QLatin1String("direction"))
        QCOMPARE(controller.write(QModbusDataUnit::HoldingRegisters, 5001, {1}), quint8(0));
    SimulatedController other(configurationOf(without(sampleChannels(), missing)),
                              profileOfGeneration(3 - generation));
    QCOMPARE(other.problems().size(), missing == QLatin1String("alarmReset") ? 1 : 0);
}

void TestSimulatedConfiguration::wrongEntryIsSaid_data()
{
    QTest::addColumn<QJsonObject>("entry");
    QTest::addColumn<QString>("named");

    QTest::newRow("no register") << channel("direction", {{QStringLiteral("readRegisterType"),
                                                           QStringLiteral("holdingRegisters")}})
                                 << "\"direction\" has no \"register\"";
    QTest::newRow("negative register") << readEntry("direction", -1) << "\"direction\" has no \"register\"";
    QTest::newRow("no type") << channel("direction", {{QStringLiteral("register"), 5}})
                             << "\"readRegisterType\" is \"\", which is not one of holdingRegisters";
    QTest::newRow("unknown type") << readEntry("direction", 5, "words") << "\"words\", which is not one of";
    QTest::newRow("write to inputs") << writeEntry("directionChange", 5, "inputRegisters")
                                     << "\"inputRegisters\", which is not one of singleRegister";
    QTest::newRow("taken") << readEntry("direction", 5102) << "register 5102 is taken already";
    QTest::newRow("taken by a program") << readEntry("direction", 600) << "register 600 is taken already";
    QTest::newRow("event without size") << readEntry("eventData", 7000) << "\"eventData\" has no \"size\"";
    QTest::newRow("event over the end")
        << readEntry("eventData", 65525, "holdingRegisters", 12) << "\"eventData\" has no \"size\"";
    QTest::newRow("event of bits") << readEntry("eventData", 7000, "coils", 12)
                                   << "\"eventData\": an event needs registers";
    QTest::newRow("event over a status")
        << readEntry("eventData", 5100, "holdingRegisters", 12) << "register 5101 is taken already";
    QTest::newRow("no programs") << readEntry("presets", 1) << "\"presets\" has no \"size\"";
    QTest::newRow("programs without type")
        << channel("presets", {{QStringLiteral("size"), 30}}) << "unknown \"readRegisterType\" \"\"";
    QTest::newRow("too many programs")
        << readEntry("presets", 1, "holdingRegisters", 4000) << "4000 programs of 20 registers do not fit";
}

void TestSimulatedConfiguration::wrongEntryIsSaid()
{
    QFETCH(QJsonObject, entry);
    QFETCH(QString, named);
    QJsonArray channels = without(sampleChannels(), entry[QStringLiteral("id")].toString());
    channels.append(entry);
    SimulatedController controller(configurationOf(channels), profileOfGeneration(1));
    QCOMPARE(controller.problems().size(), 1);
    QVERIFY2(controller.problems().first().contains(named), qPrintable(controller.problems().first()));
}

void TestSimulatedConfiguration::badBackupRangeIsSaid_data()
{
    QTest::addColumn<QJsonValue>("text");
    QTest::addColumn<QString>("named");

    QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << "\"MDC-22_config\" is missing";
    QTest::newRow("no text") << QJsonValue(5) << "\"MDC-22_config\" is no text";
    const QString invalid = QStringLiteral("\"MDC-22_config\" has no valid \"backup_range\"");
    QTest::newRow("empty") << QJsonValue("") << invalid;
    QTest::newRow("no range") << QJsonValue("\"preset1\": [1-20]") << invalid;
    QTest::newRow("from 0") << QJsonValue("\"backup_range\": [0-99]") << invalid;
    QTest::newRow("single") << QJsonValue("\"backup_range\": [5-5]") << invalid;
    QTest::newRow("too many") << QJsonValue("\"backup_range\": [1-2000000000]") << invalid;
}

void TestSimulatedConfiguration::badBackupRangeIsSaid()
{
    QFETCH(QJsonValue, text);
    QFETCH(QString, named);
    QJsonObject configuration = sampleConfiguration();
    QJsonObject parameters = configuration.value(QStringLiteral("parameters")).toObject();
    if (text.isUndefined())
        parameters.remove(QStringLiteral("MDC-22_config"));
    else
        parameters.insert(QStringLiteral("MDC-22_config"), text);
    configuration.insert(QStringLiteral("parameters"), parameters);
    SimulatedController controller(configuration, profileOfGeneration(1));
    QCOMPARE(controller.problems().size(), 1);
    QVERIFY2(controller.problems().first().contains(named), qPrintable(controller.problems().first()));
    Words read;
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 603, 1, &read), quint8(2));
    QCOMPARE(controller.read(QModbusDataUnit::HoldingRegisters, 601, 1, &read), quint8(0));
}

void TestSimulatedConfiguration::findsDeviceObject_data()
{
    QTest::addColumn<QStringList>("devices");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("found");
    QTest::addColumn<QString>("error");

    const QStringList one{QStringLiteral("left")};
    const QStringList two{QStringLiteral("left"), QStringLiteral("right")};
    QTest::newRow("the only one") << one << ""
                                  << "left"
                                  << "";
    QTest::newRow("by name") << two << "right"
                             << "right"
                             << "";
    QTest::newRow("several") << two << ""
                             << ""
                             << "--object: left, right";
    QTest::newRow("unknown") << two << "top"
                             << ""
                             << "no device \"top\"; there is left, right";
    QTest::newRow("a driver's name") << one << "modbus"
                                     << ""
                                     << "no device \"modbus\"; there is left";
    QTest::newRow("none") << QStringList() << ""
                          << ""
                          << "no object of the kind {5b1e07c4";
}

void TestSimulatedConfiguration::findsDeviceObject()
{
    QFETCH(QStringList, devices);
    QFETCH(QString, name);
    QFETCH(QString, found);
    QFETCH(QString, error);
    QJsonArray objects{
        QJsonObject{{QStringLiteral("name"), QStringLiteral("modbus")},
                    {QStringLiteral("plugin"), QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}")}}};
    for (const QString& device : devices) {
        objects.append(QJsonObject{
            {QStringLiteral("name"), device},
            {QStringLiteral("plugin"), QStringLiteral("{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}")}});
    }
    QString text;
    const auto object = findDeviceObject({{QStringLiteral("objects"), objects}}, name, &text);
    QCOMPARE(object.has_value(), !found.isEmpty());
    if (object)
        QCOMPARE(object->value(QStringLiteral("name")).toString(), found);
    QVERIFY2(text.contains(error), qPrintable(text));
}

QTEST_GUILESS_MAIN(TestSimulatedConfiguration)
#include "tst_simulated_configuration.moc"
