// An archive for whoever is asked for help: that others can unpack it, what is in it, and that nothing in it
// tells whose it is.

#include "applications/bench/support/anonymiser.h"
#include "applications/bench/support/masked_trace.h"
#include "applications/bench/support/own_files.h"
#include "applications/bench/support/packing_list.h"
#include "applications/bench/support/source_text.h"
#include "applications/bench/support/zip_archive.h"
#include "applications/simulator/simulator.h"
#include "tests/support/bench_program.h"
#include "tests/support/sample_bench.h"
#include "tests/support/sample_folder.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QMap>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>

namespace {

using Files = QMap<QString, QByteArray>;

const QByteArray c_unpack = "import base64, json, sys, zipfile\n"
                            "z = zipfile.ZipFile(sys.argv[1])\n"
                            "assert z.testzip() is None\n"
                            "for i in z.infolist():\n"
                            "    assert i.flag_bits & 0x800, 'no flag of UTF-8'\n"
                            "    assert i.external_attr >> 16 == 0o100600\n"
                            "print(json.dumps({i.filename: base64.b64encode(z.read(i)).decode()\n"
                            "                  for i in z.infolist()}))\n";

QString python()
{
    return QStandardPaths::findExecutable(QStringLiteral("python3"));
}

// What another program finds in the archive; empty when it finds it faulty.
Files unpacked(const QString& archive)
{
    QProcess process;
    process.start(python(), {"-c", QString::fromUtf8(c_unpack), archive});
    process.waitForFinished();
    Files files;
    const QJsonObject object = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    for (auto it = object.constBegin(); it != object.constEnd(); ++it)
        files.insert(it.key(), QByteArray::fromBase64(it.value().toString().toLatin1()));
    if (process.exitCode() != 0)
        qWarning().noquote() << process.readAllStandardError();
    return files;
}

Anonymiser annasAnonymiser()
{
    return Anonymiser({"/home/anna", "anna", "bench12"});
}

QJsonObject changed(const QString& path, const std::function<void(QJsonObject& driver)>& change)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    QJsonObject bench = QJsonDocument::fromJson(file.readAll()).object();
    QJsonArray objects = bench.value("objects").toArray();
    for (int i = 0; i < objects.size(); ++i) {
        QJsonObject object = objects.at(i).toObject();
        QJsonObject configuration = object.value("configuration").toObject();
        if (!configuration.contains("host"))
            continue;
        change(configuration);
        object.insert("configuration", configuration);
        objects.replace(i, object);
    }
    bench.insert("objects", objects);
    return bench;
}

// Of the profile "mdc32-gen2", by its identification.
const QByteArray c_serial = "1907150042";
const QByteArray c_serialInHex = "2a 00 0f 07 13";

} // namespace

class TstSupport : public QObject
{
    Q_OBJECT

    SampleFolder m_folder;
    std::unique_ptr<Simulator> m_simulator;
    QString m_bench;

    QStringList call(const QStringList& words) const
    {
        return QStringList{"--config", m_bench, "--properties", m_folder.filePath("properties.json"),
                           "support"} +
               words;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_folder.isValid());
        qputenv("XDG_DATA_HOME", m_folder.path().toLocal8Bit());
        qputenv("USER", "anna");
        const auto profile = ControllerProfile::byName("mdc32-gen2");
        m_simulator = std::make_unique<Simulator>(deviceConfiguration(sampleBench()), *profile);
        QVERIFY(m_simulator->listenTcp());
        m_bench = m_folder.filePath("bench.json");
        QVERIFY(writeBenchFor(*m_simulator, profile->reference, m_bench));
    }

    void archive()
    {
        QCOMPARE(crc32Of("123456789"), 0xcbf43926U);
        QCOMPARE(crc32Of({}), 0U);
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        QByteArray noise;
        for (quint32 i = 0, number = 1; i < 3000; ++i, number = number * 1664525U + 1013904223U)
            noise.append(static_cast<char>(number >> 24U));
        const Files files{{"empty.txt", {}},
                          {"long.txt", QByteArray(300000, 'x')},
                          {"noise.bin", noise},
                          {"folder/für 線.txt", "ä\n"}};
        QList<ZipEntry> entries;
        for (auto it = files.cbegin(); it != files.cend(); ++it)
            entries.append({it.key(), it.value()});
        const QByteArray bytes = zipArchive(entries, QDateTime(QDate(2026, 3, 1), QTime(9, 30)));
        QVERIFY2(bytes.size() < 5000, QByteArray::number(bytes.size()));
        QVERIFY(writeFile(m_folder.filePath("own.zip"), bytes));
        QCOMPARE(unpacked(m_folder.filePath("own.zip")), files);
        QVERIFY(writeFile(m_folder.filePath("none.zip"), zipArchive({}, QDateTime())));
        QCOMPARE(unpacked(m_folder.filePath("none.zip")), Files());
    }

    void replacing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const auto add = [](const char* name, const QString& text, const QString& expected) {
            QTest::newRow(name) << text << expected;
        };
        add("nothing", "direction 1, \"register\": 6101\n", "direction 1, \"register\": 6101\n");
        add("IPv4", "tcp 10.0.0.7:502, v1.2.3", "tcp host-1:502, v1.2.3");
        add("the same and another", "10.0.0.7 10.0.0.8 10.0.0.7", "host-1 host-2 host-1");
        add("no IPv4", "10.0.0.256 1.2.3", "10.0.0.256 1.2.3");
        add("IPv4 with what follows behind a dot", "192.168.1.20.502 > 10.0.0.7.1: 1.2.3.4.5",
            "host-1.502 > host-2.1: host-3.5");
        add("IPv4 with letters before it", "x10.0.0.7_", "xhost-1_");
        add("IPv6", "[2001:db8::7]:502 fe80::1%eth0 ::1", "[host-1]:502 host-2 host-3");
        add("IPv6, whole", "1:2:3:4:5:6:7:8", "host-1");
        add("IPv6 of IPv4", "::ffff:10.0.0.7", "host-1");
        add("no IPv6", "09:30:00.125 DHost::run a::: 1:2:3", "09:30:00.125 DHost::run a::: 1:2:3");
        add("a time", "2026-03-01T09:30:00.125+01:00", "2026-03-01T09:30:00.125+01:00");
        add("IPv6 behind a label", "addr:fe80::1 inet6 addr: ::1 host:2001:db8::7%eth0",
            "addr:host-1 inet6 addr: host-2 host:host-3");
        add("no IPv6 behind a label", "std::abc::def at:09:30:00 DHost::run",
            "std::abc::def at:09:30:00 DHost::run");
        add("MAC behind a label", "MAC:00:1b:44:11:3a:b7: mac=00:1b:44:11:3a:b7", "MAC:host-1: mac=host-1");
        add("MAC of a switch", "001b.4411.3ab7 1.001b.4411.3ab7", "host-1 1.001b.4411.3ab7");
        add("no MAC", "00:1b:44:11:3a:b7:00 00:1b:44:11:3a", "00:1b:44:11:3a:b7:00 00:1b:44:11:3a");
        add("MAC", "52:54:00:12:ab:cd 52-54-00-12-AB-CD", "host-1 host-2");
        add("this computer", "on BENCH12, bench123, bench12.json", "on host-1, bench123, host-1.json");
        add("a host that the text names",
            R"({"host": "mdc7.plant.example", "x": "to MDC7.plant.example:502"})",
            R"({"host": "host-1", "x": "to host-1:502"})");
        add("the first word of a host's name",
            R"({"host": "plc7.factory.example", "x": "PLC7 plc7:502 plc71 plc7.factory.example"})",
            R"({"host": "host-1", "x": "host-1 host-1:502 plc71 host-1"})");
        add("a host without quotes", "{\"host\": plc7.factory, \"port\": 502} to plc7.factory:502",
            "{\"host\": host-1, \"port\": 502} to host-1:502");
        add("a host with half of its quotes", "{\"host\": \"plc7, \n\"port\": 502} to plc7:502",
            "{\"host\": \"host-1, \n\"port\": 502} to host-1:502");
        add("a serial port without quotes", "{\"serialPort\": /srv/port7}\n/srv/port7 is busy",
            "{\"serialPort\": port-1}\nport-1 is busy");
        add("no host without quotes", R"({"host": null, "server": 5} null 5)",
            R"({"host": null, "server": 5} null 5)");
        add("no host", R"({"host": "localhost"} localhost)", R"({"host": "localhost"} localhost)");
        add("JSON escapes", "{\"host\": \"\\u0031\\u0030.0.0.7\", \"x\": \"a\\/b \\\\u0031 \\u0022\"}",
            "{\"host\": \"host-1\", \"x\": \"a/b \\\\u0031 \\u0022\"}");
        add("escapes that are none", "\\u12 \\ \\u", "\\u12 \\ \\u");
        add("what steers a terminal stays escaped", "\\u001b[31m \\u202e", "\\u001b[31m \\u202e");
        add("serial ports", "/dev/ttyUSB0 COM3 /dev/serial/by-id/usb-FTDI_A9 COM300X /dev/ttyUSB0.",
            "port-1 port-2 port-3 COM300X port-1.");
        add("a serial port of a configuration", R"({"serialPort": "\\\\.\\COM12"} \\.\COM12)",
            R"({"serialPort": "\\\\.\\port-1"} \\.\port-1)");
        add("home", "/home/anna/x \"/home/anna\" /home/annabel/y", "home-1/x \"home-1\" /home/user-1/y");
        add("another's home", "/home/bert/x /Users/bert", "/home/user-1/x /Users/user-1");
        add("homes elsewhere", "/var/home/otto/x /export/home/otto",
            "/var/home/user-1/x /export/home/user-1");
        add("home on Windows", R"(C:\Users\Anna Maier\x "C:\\Users\\anna" C:/Users/anna/y)",
            R"(C:\Users\user-2\x "C:\\Users\\user-1" C:/Users/user-1/y)");
        add("the user", "/media/anna/stick anna@x hanna anna annabel x.anna",
            "/media/user-1/stick user-1@x hanna user-1 annabel x.anna");
        add("the user in an address", "x=%2Fmedia%2fanna%2Fy anna%40x %2Fanna-1",
            "x=%2Fmedia%2fuser-1%2Fy user-1%40x %2Fanna-1");
        add("homes in an address", "x=%2Fhome%2Fanna%2Fy&z=%2FUsers%2Fotto%20may%2F1 C%3A%5CUsers%5Cbert",
            "x=home-1%2Fy&z=%2FUsers%2Fuser-1%2F1 C%3A%5CUsers%5Cuser-2");
        add("whoever owns a file",
            "it belongs to \"cloudsdk\", {\"x\": \"the group \\\"staff\\\" may write to it, it belongs to "
            "\\\"cloudsdk\\\"\"}",
            "it belongs to \"user-1\", {\"x\": \"the group \\\"user-2\\\" may write to it, it belongs to "
            "\\\"user-1\\\"\"}");
        add("the user of a system", "user=anna uid=1000(anna) ~anna/x ~annabel =anna-1",
            "user=user-1 uid=1000(user-1) ~user-1/x ~annabel =anna-1");
        add("serial number", R"({"serial": "1907150042", "x": [1907150042, 19071500421]})",
            R"({"serial": "serial-1", "x": ["serial-1", 19071500421]})");
        add("serial number as a number", R"({"serialNumber": 7})", R"({"serialNumber": "serial-1"})");
        add("a short one, elsewhere any number", R"({"serial": "7", "register": 7, "x": "serial 7"})",
            R"({"serial": "serial-1", "register": 7, "x": "serial serial-1"})");
        add("device information",
            R"({"id": "screwdriverSN", "name": "SN", "value": "07.03.0125"} 07.03.0125.)",
            R"({"id": "screwdriverSN", "name": "SN", "value": "serial-1"} serial-1.)");
        add("with dots, in longer ones", "serial 07.03.0125, 107.03.0125, 07.03.01259, 07.03.0125.5",
            "serial serial-1, 107.03.0125, 07.03.01259, 07.03.0125.5");
        add("backup", "Driver model,MDC-32\nDriver serial,7\nA0007,7\n",
            "Driver model,MDC-32\nDriver serial,serial-1\nA0007,7\n");
        add("log of tightenings", "kind,time,serial\nevent,2026,1907150042,7\nevent,2026,5,7\n",
            "kind,time,serial\nevent,2026,serial-1,7\nevent,2026,serial-2,7\n");
        add("messages", "another controller answers: serial 12345 instead of 54321",
            "another controller answers: serial serial-1 instead of serial-2");
        add("no serial number", "serial line, a serial number of letters, serial port 3",
            "serial line, a serial number of letters, serial port 3");
        add("in a file's name", "serial 1907150042, backup_1907150042.csv",
            "serial serial-1, backup_serial-1.csv");
        add("labels of others", "SN:A7-1, S/N 7B, Seriennummer: 7C, numéro de série : 7D, sn=7E",
            "SN:serial-1, S/N serial-2, Seriennummer: serial-3, numéro de série : serial-4, sn=serial-5");
        add("members of others", R"({"sn_number": "7", "Seriennummer": "8", "sn_no": 9})",
            R"({"sn_number": "serial-2", "Seriennummer": "serial-3", "sn_no": "serial-1"})");
        add("large and small letters", "serial AB1907x, ab1907X", "serial serial-1, serial-1");
        add("among letters", "serial 1907150042: SN1907150042, x1907150042x, SN11907150042",
            "serial serial-1: SNserial-1, xserial-1x, SN11907150042");
        add("as a number with a fraction",
            R"({"serial": "1907150042", "x": 1907150042.0, "y": 1907150042.5})",
            R"({"serial": "serial-1", "x": "serial-1", "y": 1907150042.5})");
        add("on the next line", "serial number\n1907150042", "serial number\nserial-1");
        add("behind many empty lines", "serial" + QString(3000, '\n') + "?\nserial number 2011999902\n",
            "serial" + QString(3000, '\n') + "?\nserial number serial-1\n");
        const QString t = "2026-03-01 09:30:00.125 ";
        const QString read = t + "tx 01 03 00 01 00 01\n";
        add("in bytes of a trace, one on a line",
            "serial 1907150042\n" + read + t + "rx 2a 00\n" + t + "rx 0f\n" + t + "rx 07 13 aa\n" + read + t +
                "rx 01\n",
            "serial serial-1\n" + read + t + "rx xx xx\n" + t + "rx xx\n" + t + "rx xx xx xx\n" + read + t +
                "rx 01\n");
        add("in bytes", "serial 1907150042: 2A000F0713, 2a 00 0f 07 13",
            "serial serial-1: xxxxxxxxxx, xx xx xx xx xx");
        add("in registers, as a number",
            "serial 1907150042\n" + read + t + "rx 01 03 04 71 ac cc da\n" + read + t +
                "rx 01 03 04 cc da\n" + t + "rx 71 ac\n" + read + t + "rx 01\n",
            "serial serial-1\n" + read + t + "rx xx xx xx xx xx xx xx\n" + read + t + "rx xx xx xx xx xx\n" +
                t + "rx xx xx\n" + read + t + "rx 01\n");
        add("in registers, as a text",
            "serial AB1907\n" + read + t + "rx 01 03 06 41 42 31 39 30 37\n" + read + t +
                "rx 01 03 06 42 41 39 31 37 30\n" + read + t + "rx 01\n",
            "serial serial-1\n" + read + t + "rx xx xx xx xx xx xx xx xx xx\n" + read + t +
                "rx xx xx xx xx xx xx xx xx xx\n" + read + t + "rx 01\n");
        const auto base64 = [](const char* text) { return QString::fromLatin1(QByteArray(text).toBase64()); };
        add("in base64", base64("serial 1907150042 of 10.0.0.7") + " " + base64("nothing of it"),
            base64("serial serial-1 of host-1") + " " + base64("nothing of it"));
        add("learned from base64", base64(R"({"host": "plc7.factory"})") + ", to plc7",
            base64(R"({"host": "host-1"})") + ", to host-1");
        add("base64 in base64", base64(base64("/home/anna/x").toLatin1()),
            base64(base64("home-1/x").toLatin1()));
        add("base64 in lines",
            base64(QByteArray("key " + QByteArray(60, 'x') + " to 10.0.0.7 and back")).insert(76, "\n"),
            base64(QByteArray("key " + QByteArray(60, 'x') + " to host-1 and back")));
        add("base64 for addresses of pages", "id=" + base64("to 10.0.0.7?>").replace('/', '_') + ";",
            "id=" + base64("to host-1?>").replace('/', '_').remove('=') + ";");
        add("in hexadecimal digits", QByteArray("to 10.0.0.7").toHex() + " 0xdeadbeefdeadbeef",
            QByteArray("to host-1").toHex() + " 0xdeadbeefdeadbeef");
        add("no base64", "configurationFiles register_map_generation2 SetTriggerProgram",
            "configurationFiles register_map_generation2 SetTriggerProgram");
        add("an address of another form", R"({"host": "two words", "server": "a/b", "x": "two words"})",
            R"({"host": "host-1", "server": "host-2", "x": "two words"})");
        add("a serial number of letters", R"({"serial": "none", "x": "none"})",
            R"({"serial": "serial-1", "x": "none"})");
        add("done already", R"({"serial": "serial-1"} host-1)", R"({"serial": "serial-1"} host-1)");
    }

    void replacing() // docs/security.md
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        Anonymiser anonymiser = annasAnonymiser();
        anonymiser.learn(text);
        const ReplacedText replaced = anonymiser.replaced(text);
        QCOMPARE(replaced.text, expected);
        QVERIFY((replaced.replaced == 0) == (text == expected) || text.contains("\\u"));
    }

    void hostileTexts_data()
    {
        QTest::addColumn<QByteArray>("piece");
        for (const char* const piece :
             {"serial ", "\n", "/", "\\", "a:", "1.", "\"serial\":\"", "\"host\":\"\\",
              "{\"id\":\"screwdriverSN\"", " ", "x", "serial 1234567 "})
            QTest::newRow(piece) << QByteArray(piece);
    }

    // Whatever stands before it, an address is found, and in a time that grows with the text: with its square
    // it would be hours.
    void hostileTexts()
    {
        QFETCH(QByteArray, piece);
        constexpr int c_size = 1 << 18;
        QString text = "\"serial\":";
        while (text.size() < c_size)
            text += QString::fromLatin1(piece);
        text += "\n{\"host\": \"mdc7\"} serial 1907150042 to 10.0.0.7\n";
        Anonymiser anonymiser = annasAnonymiser();
        anonymiser.learn(text);
        const QString end = anonymiser.replaced(text).text.right(80).section("\n{", -1);
        QVERIFY2(!end.contains("mdc7") && !end.contains("1907150042") && !end.contains("10.0.0.7"),
                 qPrintable(end));
    }

    // One thing is called the same everywhere, and what one text tells is known in the others.
    void allTextsTogether() // docs/security.md
    {
        PackingList list;
        list.add("a_1907150042.txt", "to 10.0.0.7 at 1907150042\n");
        list.add("A_1907150042.txt", "Driver serial,1907150042\n10.0.0.8 10.0.0.7\n");
        list.add("b:c.bin", QByteArray("1907150042\0", 11));
        list.add("2001:db8::7.log", "x\n");
        list.add("latin.txt", "\xe4\xff");
        list.leaveOut("trace/x", "/home/anna/x cannot be read");
        Anonymiser anonymiser = annasAnonymiser();
        list.anonymise(anonymiser);
        QCOMPARE(list.files().size(), 3);
        QCOMPARE(list.files().at(2).name, QString("host-3.log"));
        QCOMPARE(list.files().at(0).name, QString("a_serial-1.txt"));
        QCOMPARE(list.files().at(0).bytes, QByteArray("to host-1 at serial-1\n"));
        QCOMPARE(list.files().at(0).replaced, 2);
        QCOMPARE(list.files().at(1).name, QString("A_serial-1-2.txt"));
        QCOMPARE(list.files().at(1).bytes, QByteArray("Driver serial,serial-1\nhost-2 host-1\n"));
        QStringList leftOut;
        for (const LeftOut& left : list.leftOut())
            leftOut.append(left.name);
        QCOMPARE(leftOut, (QStringList{"trace/x", "b_c.bin", "latin.txt"}));
        QCOMPARE(list.leftOut().constFirst().reason, QString("home-1/x cannot be read"));
    }

    // What cannot be searched to its end must not be packed as if it had been.
    void unsearchableTexts() // docs/security.md
    {
        const QString half = QString("serial 1907150042 ") + QChar(0xd800);
        Anonymiser anonymiser = annasAnonymiser();
        QVERIFY(!anonymiser.learn(half));
        QVERIFY(!anonymiser.replaced(half).isWhole);
        QVERIFY(anonymiser.learn("serial 7"));
        QVERIFY(anonymiser.replaced("serial 7").isWhole);
        QVERIFY(!maskedTrace(half).isWhole);
        PackingList list;
        list.add(half, "one\n");
        list.add("two.txt", "two\n");
        list.anonymise(anonymiser);
        QCOMPARE(list.files().size(), 1);
        QCOMPARE(list.files().constFirst().name, QString("two.txt"));
        QCOMPARE(list.leftOut().size(), 1);
        QVERIFY(!list.leftOut().constFirst().name.contains("1907150042"));
        QVERIFY(list.leftOut().constFirst().reason.contains("searched"));
    }

    void whoPacks() // docs/security.md
    {
        if (QStandardPaths::findExecutable("id").isEmpty())
            QSKIP("id tells who this is");
        QProcess id;
        id.start("id", {"-un"});
        QVERIFY(id.waitForFinished());
        const QByteArray user = qgetenv("USER");
        const QByteArray logName = qgetenv("LOGNAME");
        for (const char* const name : {"USER", "USERNAME", "LOGNAME"})
            qunsetenv(name);
        const ComputerIdentity identity = ComputerIdentity::ofThisComputer();
        qputenv("USER", user);
        qputenv("LOGNAME", logName);
        QCOMPARE(identity.user, QString::fromLocal8Bit(id.readAllStandardOutput()).trimmed());
    }

    void masking_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const QString t = "2026-03-01 09:30:00.125 ";
        QTest::newRow("no trace") << "a\nrx 01 11\n"
                                  << "a\nrx 01 11\n";
        QTest::newRow("over TCP") << t + "tx 01 11\n" + t + "rx 00 01 00 00 00 04 01 11 01 ff\n" + t +
                                         "tx 01 03 00 01 00 01\n" + t +
                                         "rx 00 02 00 00 00 05 01 03 02 00 07\n"
                                  << t + "tx 01 11\n" + t + "rx xx xx xx xx xx xx xx xx xx xx\n" + t +
                                         "tx 01 03 00 01 00 01\n" + t +
                                         "rx 00 02 00 00 00 05 01 03 02 00 07\n";
        QTest::newRow("in pieces") << t + "tx 01 11\n" + t + "rx 01\n" + t + "rx 11 02 ff\n" + t + "rx 07\n" +
                                          t + "tx 01 06 00 01 00 01\n" + t + "rx 01 06\n"
                                   << t + "tx 01 11\n" + t + "rx xx\n" + t + "rx xx xx xx\n" + t + "rx xx\n" +
                                          t + "tx 01 06 00 01 00 01\n" + t + "rx 01 06\n";
        QTest::newRow("the beginning is missing") << t + "rx 07 13\n" << t + "rx xx xx\n";
        QTest::newRow("too late") << t + "tx 01 03 00 01 00 01\n" + t + "rx 01 11 02 ff 07\n"
                                  << t + "tx 01 03 00 01 00 01\n" + t + "rx xx xx xx xx xx\n";
        const QString read = t + "tx 01 03 00 01 00 01\n";
        const QString answer = t + "rx 01 03 02 00 07 aa bb\n";
        QTest::newRow("too late, one byte on a line")
            << read + answer + read + t + "rx 01\n" + t + "rx 11\n" + t + "rx 02\n" + t + "rx ff\n" + t +
                   "rx 07\n" + read + answer
            << read + answer + read + t + "rx xx\n" + t + "rx xx\n" + t + "rx xx\n" + t + "rx xx\n" + t +
                   "rx xx\n" + read + answer;
        QTest::newRow("too late, behind another answer")
            << read + answer + read + answer + t + "rx 01 11\n" + t + "rx 02 ff 07 aa bb\n" + read + answer
            << read + answer + read + t + "rx xx xx xx xx xx xx xx\n" + t + "rx xx xx\n" + t +
                   "rx xx xx xx xx xx\n" + read + answer;
        QTest::newRow("too late, in pieces over TCP")
            << read + answer + read + t + "rx 00 01 00\n" + t + "rx 00 00 05 01\n" + t + "rx 11 02 ff 07\n" +
                   read + answer
            << read + answer + read + t + "rx xx xx xx\n" + t + "rx xx xx xx xx\n" + t + "rx xx xx xx xx\n" +
                   read + answer;
        QTest::newRow("with a question in between")
            << t + "tx 01 11\n" + t + "rx 01\n" + read + t + "rx 11 02\n" + read + t + "rx ff 07\n" + read +
                   answer
            << t + "tx 01 11\n" + t + "rx xx\n" + read + t + "rx xx xx\n" + read + t + "rx xx xx\n" + read +
                   answer;
        QTest::newRow("another connection")
            << read + answer + t + "open rtu\n" + t + "rx 13\n" + read + answer + read + answer
            << read + answer + t + "open rtu\n" + t + "rx xx\n" + read + t + "rx xx xx xx xx xx xx xx\n" +
                   read + answer;
        QTest::newRow("in a journal")
            << "Mar 01 plant mdc[7]: " + t + "tx 01 11\nMar 01 plant mdc[7]: " + t + "rx 01 11\n"
            << "Mar 01 plant mdc[7]: " + t + "tx 01 11\nMar 01 plant mdc[7]: " + t + "rx xx xx\n";
        QTest::newRow("what became of the connection")
            << t + "open tcp\n" + t + "tx 01 11\n" + t + "lost 11 07\n"
            << t + "open tcp\n" + t + "tx 01 11\n" + t + "lost 11 07\n";
        QTest::newRow("torn") << t + "tx 01 11\n" + t + "rx 01 1" << t + "tx 01 11\n" + t + "rx xx xx";
    }

    void masking() // docs/security.md
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(maskedTrace(text).text, expected);
        QCOMPARE(isTraceLine(text.section('\n', 0, 0)), text.startsWith("2026"));
    }

    void endOfALongFile() // docs/security.md
    {
        const QString path = m_folder.filePath("long.log");
        QVERIFY(writeFile(path, "first line\nsecond\nthird\n"));
        SourceBytes source = endOfFile(path, 16);
        QCOMPARE(source.bytes, QByteArray("second\nthird\n"));
        QCOMPARE(source.cut, qint64(11));
        source = endOfFile(path, 24);
        QCOMPARE(source.bytes.size(), 24);
        QCOMPARE(source.cut, qint64(0));
        // As much as an archive takes of a file, and one byte more.
        QFile large(m_folder.filePath("large.log"));
        QVERIFY(large.open(QIODevice::WriteOnly) && large.resize(8 << 20));
        source = endOfFile(large.fileName());
        QCOMPARE(source.bytes.size(), 8 << 20);
        QCOMPARE(source.cut, qint64(0));
        QVERIFY(large.resize((8 << 20) + 1));
        source = endOfFile(large.fileName());
        QCOMPARE(source.bytes.size(), 8 << 20);
        QCOMPARE(source.cut, qint64(1));
        QVERIFY(!endOfFile(m_folder.path()).reason.isEmpty());
        QVERIFY(!endOfFile(m_folder.filePath("absent")).reason.isEmpty());
    }

    void namesOfAConfiguration()
    {
        QCOMPARE(namedConfigurationFiles(R"({"objects": [{"configurationFiles": ["a.json", "b"]}, {}]})"),
                 (QStringList{"a.json", "b"}));
        QCOMPARE(namedConfigurationFiles(R"({"objects": [{"configurationFiles": ["maps/a.json", "b")"),
                 (QStringList{"maps/a.json"}));
    }

    // Everything that there is, and nothing in it that tells whose it is; with it when that is wanted.
    void wholeArchive() // docs/security.md
    {
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString trace = m_folder.filePath("frames.txt");
        QFile::remove(trace);
        const BenchEnd traced = endOf(*startBench({"--config", m_bench, "--trace", trace, "run", "getInfo"}));
        QCOMPARE(traced.exitCode, 0);
        const QString log = m_folder.filePath("tightenings.jsonl");
        QVERIFY(writeFile(log, "{\"kind\":\"event\",\"serial\":\"" + c_serial + "\"}\n"));
        const QString binary = m_folder.filePath("core.bin");
        QVERIFY(writeFile(binary, QByteArray("\0\1", 2) + c_serial));
        const QString archive = m_folder.filePath("whole.zip");
        const QStringList words{archive, "--probe", "--trace", trace, "--add", log, "--add", binary};
        const BenchEnd end = endOf(*startBench(call(words) + QStringList{"--format", "json"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        const QJsonObject told = QJsonDocument::fromJson(end.out.toUtf8()).object();
        QCOMPARE(told.value("identity").toString(), QString("replaced"));
        QCOMPARE(told.value("leftOut").toArray().first().toObject().value("name").toString(),
                 QString("properties.json"));
        const Files files = unpacked(archive);
        for (const char* const name :
             {"configuration/bench.json", "check.json", "list.json", "versions.txt", "log.txt",
              "trace/frames.txt", "added/tightenings.jsonl", "contents.json"})
            QVERIFY2(files.contains(name), name);
        QVERIFY(!files.contains("added/core.bin"));
        QCOMPARE(told.value("files").toArray().size(), files.size());
        for (auto it = files.cbegin(); it != files.cend(); ++it) {
            for (const QByteArray& secret :
                 {c_serial, c_serialInHex, QByteArray("127.0.0.1"), QByteArray("anna")})
                QVERIFY2(!it.value().contains(secret), qPrintable(it.key() + ": " + secret));
            if (it.key().endsWith(".json"))
                QVERIFY2(QJsonDocument::fromJson(it.value()).isObject(), qPrintable(it.key()));
        }
        QVERIFY(files.value("trace/frames.txt").contains(" rx xx xx"));
        QVERIFY(
            !QJsonDocument::fromJson(files.value("check.json")).object().value("values").toArray().isEmpty());

        const BenchEnd again = endOf(*startBench(call(words) + QStringList{"--with-identity"}));
        QCOMPARE(again.exitCode, 1);
        QVERIFY2(again.err.contains("is there already"), qPrintable(again.err));
        const BenchEnd open = endOf(*startBench(call(words) + QStringList{"--with-identity", "--force"}));
        QVERIFY2(open.exitCode == 0 && open.out.contains("are in it"), qPrintable(open.out + open.err));
        const Files known = unpacked(archive);
        QVERIFY(known.value("trace/frames.txt").contains(c_serialInHex));
        QVERIFY(known.value("configuration/bench.json").contains("127.0.0.1"));
        QVERIFY(known.value("added/core.bin").endsWith(c_serial));
    }

    // Help is asked for when nothing works.
    void brokenBenches_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("finding");
        QTest::newRow("no JSON") << QByteArray("{\"objects\": [{\"host\": \"10.0.0.7\", "
                                               "\"configurationFiles\": [\"map.json\"]")
                                 << QByteArray("is missing");
        QTest::newRow("nothing that it needs") << QByteArray("{\"objects\": [{\"name\": 5, "
                                                             "\"configurationFiles\": [\"map.json\"]}]}")
                                               << QByteArray("needed is");
    }

    void brokenBenches()
    {
        QFETCH(QByteArray, content);
        QFETCH(QByteArray, finding);
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString bench = m_folder.filePath("broken.json");
        QVERIFY(writeFile(bench, content));
        QVERIFY(writeFile(m_folder.filePath("map.json"), R"({"channels": [], "x": "10.0.0.7"})"));
        const QString archive = m_folder.filePath("broken.zip");
        const BenchEnd end = endOf(*startBench({"--config", bench, "support", archive, "--force"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        const Files files = unpacked(archive);
        QVERIFY2(files.value("check.json").contains(finding), files.value("check.json"));
        QCOMPARE(files.value("configuration/map.json"), QByteArray(R"({"channels": [], "x": "host-1"})"));
        QCOMPARE(files.value("configuration/broken.json"), content.replace("10.0.0.7", "host-1"));
    }

    // Nobody is there: that is what somebody has to be told.
    void withoutAController()
    {
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString archive = m_folder.filePath("nobody.zip");
        const QJsonObject bench = changed(m_bench, [](QJsonObject& driver) { driver.insert("port", 1); });
        const QString path = m_folder.filePath("nobody.json");
        QVERIFY(writeFile(path, QJsonDocument(bench).toJson()));
        const BenchEnd end =
            endOf(*startBench({"--config", path, "support", archive, "--probe", "--timeout", "500"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        QVERIFY(unpacked(archive).value("check.json").contains("host-1:1 cannot be reached"));
    }

    // A configuration of somebody else is no way to have the files of this computer sent.
    void filesThatAConfigurationMayNotName() // docs/security.md
    {
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString secret = m_folder.filePath("secret.txt");
        QVERIFY(writeFile(secret, "key of the safe\n"));
        const QJsonObject bench =
            changed(m_bench, [&secret](QJsonObject& driver) { driver.insert("frameTrace", secret); });
        QByteArray text = QJsonDocument(bench).toJson();
        text.replace("\"configurationFiles\": [", "\"configurationFiles\": [\"secret.txt\",");
        const QString path = m_folder.filePath("nasty.json");
        QVERIFY(writeFile(path, text));
        const QString archive = m_folder.filePath("nasty.zip");
        const BenchEnd end = endOf(*startBench({"--config", path, "support", archive}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        const Files files = unpacked(archive);
        QVERIFY(files.contains("contents.json"));
        for (const QByteArray& content : files)
            QVERIFY(!content.contains("key of the safe"));
        QVERIFY2(end.out.contains("something else than a trace"), qPrintable(end.out));
        QFile left(secret);
        QVERIFY(left.open(QIODevice::ReadOnly));
        QCOMPARE(left.readAll(), QByteArray("key of the safe\n"));
    }

    void filesElsewhere() // docs/security.md
    {
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString folder = m_folder.filePath("theirs");
        QVERIFY(QDir().mkpath(folder + "/maps"));
        QVERIFY(QDir().mkpath(m_folder.filePath("outside")));
        // Each is something that "check" would quote.
        const QByteArray secret = R"({"channels": "key of the safe", "auths": "key of the safe"})";
        QVERIFY(writeFile(m_folder.filePath("outside/secret.json"), secret));
        QVERIFY(QDir().mkpath(folder + "/.hidden"));
        QVERIFY(writeFile(folder + "/.hidden/secret.json", secret));
        QVERIFY(writeFile(folder + "/.secret.json", secret));
        QVERIFY(writeFile(folder + "/notes.json", R"({"auths": "key of the safe"})"));
        QVERIFY(writeFile(folder + "/list.json", R"(["key of the safe"])"));
        QVERIFY(writeFile(folder + "/torn.json", R"({"auths": "key of the safe")"));
        QVERIFY(writeFile(folder + "/maps/map.json", R"({"channels": []})"));
        QVERIFY(writeFile(folder + "/parameters.json", R"({"parameters": {}})"));
        QStringList names{"../outside/secret.json",
                          m_folder.filePath("outside/secret.json"),
                          ".hidden/secret.json",
                          ".secret.json",
                          "notes.json",
                          "list.json",
                          "torn.json",
                          "maps/map.json",
                          "parameters.json",
                          "absent.json"};
        if (QFile::link("../outside/secret.json", folder + "/link.json") &&
            QFile::link("../outside", folder + "/folder"))
            names += {"link.json", "folder/secret.json"};
        const QJsonObject object{{"configurationFiles", QJsonArray::fromStringList(names)}};
        const QString path = folder + "/bench.json";
        QVERIFY(writeFile(path, QJsonDocument(QJsonObject{{"objects", QJsonArray{object}}}).toJson()));
        const QString archive = m_folder.filePath("elsewhere.zip");
        const BenchEnd end =
            endOf(*startBench({"--config", path, "support", archive, "--with-identity", "--format", "json"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        const Files files = unpacked(archive);
        for (const QByteArray& content : files)
            QVERIFY2(!content.contains("key of the safe"), content);
        for (const char* const name : {"bench.json", "map.json", "parameters.json"})
            QVERIFY2(files.contains(QByteArray("configuration/") + name), name);
        int left = 0;
        const QJsonArray leftOut =
            QJsonDocument::fromJson(end.out.toUtf8()).object().value("leftOut").toArray();
        for (const QJsonValue& file : leftOut) {
            if (!file["name"].toString().startsWith("configuration/"))
                continue;
            ++left;
            const QString reason = file["reason"].toString();
            QVERIFY2(reason.contains("--add") || file["name"].toString().contains("absent"),
                     qPrintable(reason));
        }
        QCOMPARE(left, names.size() - 2);
        // What the person names himself may be told.
        const BenchEnd added = endOf(*startBench({"--config", path, "support", archive, "--force", "--add",
                                                  m_folder.filePath("outside/secret.json")}));
        QVERIFY2(added.exitCode == 0, qPrintable(added.err));
        QVERIFY(unpacked(archive).value("check.json").contains("key of the safe"));
    }

    void ownFiles_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<bool>("isOwn");
        QTest::newRow("a map") << QByteArray(R"({"channels": []})") << true;
        QTest::newRow("parameters") << QByteArray(R"({"parameters": {}})") << true;
        QTest::newRow("something else") << QByteArray(R"({"auths": "channels"})") << false;
        QTest::newRow("a list") << QByteArray(R"(["channels"])") << false;
        QTest::newRow("torn") << QByteArray(R"({"channels": [{"id": "a")") << true;
        QTest::newRow("without a quote") << QByteArray("{\"channels: [{\"id\": \"a\"}]}") << true;
        QTest::newRow("with a comment") << QByteArray("// ours\n{\"parameters\": {}}") << true;
        QTest::newRow("a word of it, torn") << QByteArray("{\"auths\": \"channels") << true;
        QTest::newRow("nothing of it, torn") << QByteArray(R"({"auths": {"x": "y")") << false;
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("no text") << QByteArray("{\"channels\": [\xff\xfe") << false;
        QTest::newRow("a zero character") << QByteArray("{\"channels\": [\0", 15) << false;
        const QByteArray start = "{\"channels\": [";
        QTest::newRow("torn, as large as a configuration may be")
            << start + QByteArray((4 << 20) - start.size(), ' ') << true;
        QTest::newRow("torn, one byte more")
            << start + QByteArray((4 << 20) - start.size() + 1, ' ') << false;
    }

    // A mistake in it must not keep it from whoever is asked for help.
    void ownFiles() // docs/security.md
    {
        QFETCH(QByteArray, content);
        QFETCH(bool, isOwn);
        const QString folder = m_folder.filePath("own");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(writeFile(folder + "/map.json", content));
        const OwnFiles files(folder + "/bench.json", {});
        const QString reason = files.reasonAgainst(folder + "/map.json", content);
        QVERIFY2(reason.isEmpty() == isOwn, qPrintable(reason));
        QVERIFY2(isOwn || reason.contains("--add"), qPrintable(reason));
        QVERIFY(!files.reasonAgainst(folder + "/../elsewhere.json", content).isEmpty());
    }

    // The one that is wanted, and nothing in it tells whose it is.
    void tornFiles() // docs/security.md
    {
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString bench = m_folder.filePath("torn_bench.json");
        QVERIFY(writeFile(bench, R"({"objects": [{"configurationFiles": ["torn_map.json"]}]})"));
        QVERIFY(writeFile(m_folder.filePath("torn_map.json"),
                          "{\"channels\": [{\"id\": \"a\"\n\"x\": \"10.0.0.7 /home/anna/x\", \"serial\": "
                          "\"1907150042\"}"));
        const QString archive = m_folder.filePath("torn.zip");
        const BenchEnd end = endOf(*startBench({"--config", bench, "support", archive, "--timeout", "100"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        const Files files = unpacked(archive);
        QCOMPARE(files.value("configuration/torn_map.json"),
                 QByteArray("{\"channels\": [{\"id\": \"a\"\n\"x\": \"host-1 /home/user-1/x\", \"serial\": "
                            "\"serial-1\"}"));
        QVERIFY2(files.value("check.json").contains("is missing before"), files.value("check.json"));
    }

    // The files that come with the program lie in it.
    void builtInConfiguration()
    {
        if (python().isEmpty())
            QSKIP("Python reads the archive");
        const QString archive = m_folder.filePath("built-in.zip");
        const BenchEnd end = endOf(*startBench({"support", archive, "--timeout", "100"}));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        const Files files = unpacked(archive);
        for (const char* const name : {"bench.json", "parameters.json", "register_map_common.json"})
            QVERIFY2(files.contains(QByteArray("configuration/") + name), name);
    }

    // Whoever made the file that it replaces decides nothing about who may read the archive.
    void archiveIsPrivate() // docs/security.md
    {
        const QString archive = m_folder.filePath("open.zip");
        QVERIFY(writeFile(archive, "another"));
        QFile file(archive);
        constexpr auto c_others =
            QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther | QFile::ExeOwner;
        if (!file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | c_others) ||
            (QFileInfo(archive).permissions() & c_others) != c_others)
            QSKIP("files have no such permissions here");
        const BenchEnd end = endOf(*startBench(call({archive, "--force", "--timeout", "100"})));
        QVERIFY2(end.exitCode == 0, qPrintable(end.err));
        QVERIFY(QFileInfo(archive).size() > 100);
        QVERIFY(!(QFileInfo(archive).permissions() & c_others));
    }
};

QTEST_GUILESS_MAIN(TstSupport)
#include "tst_support.moc"
