// The built program with configurations, plug-ins and files that are not as they should be.

#include "tests/support/bench_program.h"
#include "tests/support/sample_folder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QVector>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int c_programTimeout = 30000; // ms; the longest case waits 3 s for an answer

BenchEnd runBench(const QStringList& arguments)
{
    return endOf(*startBench(arguments), c_programTimeout);
}

// One that nobody listens to.
quint16 freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost) ? server.serverPort() : quint16(0);
}

bool takesConnections(quint16 port)
{
    QTcpSocket socket;
    socket.connectToHost(QHostAddress::LocalHost, port);
    return socket.waitForConnected(100);
}

bool hasGroupOfHisOwn()
{
    const passwd* const user = getpwuid(geteuid());
    const group* const own = getgrgid(getegid());
    return user != nullptr && own != nullptr && qstrcmp(user->pw_name, own->gr_name) == 0 &&
           *own->gr_mem == nullptr;
}

// The folder with copies of the plug-ins, in this one.
QString copiedPlugins(const QTemporaryDir& folder)
{
    QString plugins = folder.filePath("plugins");
    bool isMade = QDir().mkdir(plugins);
    for (const char* const name : {"libp_device_mdc.so", "libp_driver_modbus.so"})
        isMade =
            isMade && QFile::copy(QString(MDC_BINARY_DIRECTORY "/plugins/") + name, plugins + '/' + name);
    return isMade ? plugins : QString();
}

// In the place of the page's frame: says so when it is run.
const QByteArray c_trapPage = R"(import QtQuick 2.12
Item {
    property bool dark
    property var names
    function addPage(page) {}
    Component.onCompleted: console.warn("the trap was run")
}
)";

// A folder that somebody else has prepared for whoever starts a program in it.
class TrapFolder
{
public:
    bool make()
    {
        // Qt looks for the compiled form of "qrc:/x.qml" in "./:/x.qmlc".
        const QString page = QStringLiteral("applications/Kivora/gui/PanelShell.qml");
        if (!put("trap.qml", c_trapPage) || !put(":/applications/Kivora/gui/PanelShell.qml", c_trapPage))
            return false;
        QProcess compiler;
        compiler.start(MDC_QMLCACHEGEN,
                       {"--resource-path", page, "-o", path(":/" + page + "c"), path("trap.qml")});
        if (!compiler.waitForFinished() || compiler.exitCode() != 0)
            return false;
        for (const char* const name : {"qmldir",
                                       "QtQuick/qmldir",
                                       "QtQuick.2/qmldir",
                                       ":/applications/Kivora/gui/panels/qmldir",
                                       "qt.conf",
                                       ":/qt/etc/qt.conf",
                                       "qtquickcontrols2.conf",
                                       ":/qtquickcontrols2.conf",
                                       "translations/panel_en.qm",
                                       ":/translations/panel_en.qm",
                                       "configuration.schema.json",
                                       ":/configuration.schema.json",
                                       "bench.json",
                                       "properties.json",
                                       "platforms/libqoffscreen.so",
                                       "plugins/libp_device_mdc.so",
                                       "plugins/platforms/libqoffscreen.so",
                                       "imageformats/libqpng.so",
                                       "styles/libstyle.so",
                                       "canbus/libcan.so",
                                       "lib_host.so",
                                       "lib_utilities.so",
                                       "lib_plugins_management.so",
                                       "lib_panel.so",
                                       "lib/lib_panel.so",
                                       "libp_device_mdc.so",
                                       "libp_driver_modbus.so",
                                       "libQt5Core.so.5",
                                       "libQt5Qml.so.5",
                                       "libc.so.6"}) {
            if (!put(QLatin1String(name), "a trap"))
                return false;
        }
        return true;
    }

    QString path() const { return m_folder.path(); }
    // Not the folder's own filePath(), which takes what begins with ":" for a resource.
    QString path(const QString& name) const { return path() + QLatin1Char('/') + name; }

private:
    bool put(const QString& name, const QByteArray& content)
    {
        return QDir().mkpath(QFileInfo(path(name)).absolutePath()) && writeFile(path(name), content);
    }

    QTemporaryDir m_folder;
};

// The first character that has no place in a line, as its code; or a line that begins with what was to begin
// it.
QString steeringPart(const QString& output)
{
    const QVector<uint> codes = output.toUcs4();
    for (const uint code : codes) {
        const QChar::Category category = QChar::category(code);
        if (code != '\n' && (category == QChar::Other_Control || category == QChar::Other_Format ||
                             category == QChar::Separator_Line || category == QChar::Separator_Paragraph))
            return QString::number(code, 16);
    }
    return output.contains("\nforged") ? QStringLiteral("a forged line") : QString();
}

// What a program opened, or tried to, by a relative name or below the folder, as strace told.
QStringList opensBelow(const QString& folder, const QString& record)
{
    QFile file(record);
    if (!file.open(QIODevice::ReadOnly))
        return {QStringLiteral("no record")};
    static const QRegularExpression c_open("(?:open|openat|execve)\\((?:AT_FDCWD, )?\"([^\"]+)\"");
    QStringList found;
    int opens = 0;
    while (!file.atEnd()) {
        const QString name = c_open.match(QString::fromUtf8(file.readLine())).captured(1);
        opens += name.isEmpty() ? 0 : 1;
        const bool isBelow = name.startsWith(folder + QLatin1Char('/'));
        if (!name.isEmpty() && (isBelow || !name.startsWith(QLatin1Char('/'))))
            found.append(name);
    }
    return opens > 0 ? found : QStringList{QStringLiteral("nothing was recorded")};
}

} // namespace

class TstBenchSetup : public QObject
{
    Q_OBJECT

    SampleFolder m_samples;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_samples.isValid());
        // Nothing of the person who runs the tests, and nothing left behind.
        qputenv("XDG_DATA_HOME", m_samples.path().toLocal8Bit());
        qunsetenv("NO_COLOR");
    }

    void currentFolder_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("forcesCache");
        const QString picture = m_samples.filePath("trapped.png");
        QTest::newRow("list") << "mdc-bench" << QStringList{"list"} << false;
        QTest::newRow("run") << "mdc-bench" << QStringList{"run", "getInfo"} << false;
        QTest::newRow("check") << "mdc-bench" << QStringList{"check"} << false;
        QTest::newRow("probe") << "mdc-bench" << QStringList{"check", "--probe"} << false;
        QTest::newRow("watch") << "mdc-bench" << QStringList{"watch", "--count", "1"} << false;
        QTest::newRow("panel") << "mdc-bench" << QStringList{"panel", "--screenshot", picture} << false;
        QTest::newRow("panel, cache forced")
            << "mdc-bench" << QStringList{"panel", "--screenshot", picture} << true;
        QTest::newRow("init") << "mdc-bench" << QStringList{"init",         m_samples.filePath("made"),
                                                            "--host",       "127.0.0.1",
                                                            "--port",       "1",
                                                            "--generation", "2",
                                                            "--yes"}
                              << false;
        QTest::newRow("simulator, its profiles")
            << "mdc-simulator" << QStringList{"--list-profiles"} << false;
        QTest::newRow("simulator") << "mdc-simulator" << QStringList{"--help"} << false;
    }

    // Where a program is started is nobody's reason to load anything from there.
    void currentFolder() // docs/security.md
    {
        QFETCH(QString, program);
        QFETCH(QStringList, arguments);
        QFETCH(bool, forcesCache);
        TrapFolder traps;
        QVERIFY(traps.make());
        const QString record = m_samples.filePath("opened.txt");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (forcesCache)
            environment.insert("QML_FORCE_DISK_CACHE", "1");
        // Who looks for leaks stops a program as strace does, and both cannot.
        environment.insert("ASAN_OPTIONS", "detect_leaks=0");
        const auto run = [&](const QString& file, const QStringList& all) {
            QProcess process;
            process.setWorkingDirectory(traps.path());
            process.setProcessEnvironment(environment);
            process.start(file, all);
            process.closeWriteChannel();
            return endOf(process, 2 * c_programTimeout);
        };
        const QString path = MDC_BINARY_DIRECTORY "/bin/" + program;
        const BenchEnd plain = run(path, arguments);
        QVERIFY2(plain.exitCode == 0, qPrintable(plain.err));
        QVERIFY2(!plain.err.contains("trap"), qPrintable(plain.err));
        const QStringList watched{"-f", "-qq", "-s", "4096", "-e", "trace=open,openat,execve", "-o", record};
        if (run("strace", watched + QStringList{"true"}).exitCode != 0)
            QSKIP("strace is missing (scripts/setup.sh), or this machine does not let it look");
        // What "init" has made, it makes once.
        QVERIFY(QDir(m_samples.filePath("made")).removeRecursively());
        const BenchEnd ended = run("strace", watched + QStringList{path} + arguments);
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.err));
        QCOMPARE(opensBelow(traps.path(), record), QStringList());
    }

    void exchangedPlugins_data()
    {
        QTest::addColumn<QString>("changed"); // below the folder that holds "plugins"
        QTest::addColumn<int>("mode");
        QTest::addColumn<bool>("isOfAnother");
        QTest::addColumn<QString>("message"); // empty: they are loaded
        const QString file = "plugins/libp_device_mdc.so";
        QTest::newRow("one's own") << "plugins" << 0700 << false << "";
        QTest::newRow("for all to read") << "plugins" << 0755 << false << "";
        QTest::newRow("of one's own group") << "plugins" << 0775 << false << "";
        QTest::newRow("in a folder like /tmp") << "." << 01777 << false << "";
        QTest::newRow("everybody's folder") << "plugins" << 0777 << false << "everybody may write to it";
        QTest::newRow("everybody's, as /tmp is")
            << "plugins" << 01777 << false << "everybody may write to it";
        QTest::newRow("everybody's file") << file << 0666 << false << "everybody may write to it";
        QTest::newRow("in everybody's folder") << "." << 0777 << false << "everybody may write to \"";
        QTest::newRow("another's folder") << "plugins" << 0755 << true << "it belongs to \"4711\"";
        QTest::newRow("another's file") << file << 0644 << true << "it belongs to \"4711\"";
        QTest::newRow("in another's folder") << "." << 0755 << true << "\" belongs to \"4711\"";
        QTest::newRow("in another's like /tmp") << "." << 01777 << true << "\" belongs to \"4711\"";
        QTest::newRow("in another group's folder") << "." << 0775 << true << "may write to \"";
        QTest::newRow("another group's folder") << "plugins" << 0775 << true << "may write to it";
    }

    // A plug-in is code: it is nobody else's.
    void exchangedPlugins() // docs/security.md
    {
        QFETCH(QString, changed);
        QFETCH(int, mode);
        QFETCH(bool, isOfAnother);
        QFETCH(QString, message);
        if (qstrcmp(QTest::currentDataTag(), "of one's own group") == 0 && !hasGroupOfHisOwn())
            QSKIP("this user's group is others' as well");
        const QTemporaryDir folder;
        const QString plugins = copiedPlugins(folder);
        const QByteArray path = QFile::encodeName(folder.path() + '/' + changed);
        constexpr unsigned c_another = 4711;
        if (isOfAnother && ::chown(path.constData(), c_another, c_another) != 0)
            QSKIP("only root makes another's files");
        QCOMPARE(::chmod(path.constData(), static_cast<mode_t>(mode)), 0);
        const BenchEnd ended = runBench({"run", "getInfo", "--plugins", plugins});
        QVERIFY2(ended.exitCode == (message.isEmpty() ? 0 : 4), qPrintable(ended.err));
        QVERIFY2(ended.err.contains(message), qPrintable(ended.err));
        QVERIFY2(message.isEmpty() || ended.err.contains("chmod go-w"), qPrintable(ended.err));
    }

    // Where all users have one primary group, it is nobody's own.
    void pluginsOfEverybodysGroup() // docs/security.md
    {
        constexpr gid_t c_nogroup = 65534;
        const QTemporaryDir folder;
        const QString plugins = copiedPlugins(folder);
        const QByteArray path = QFile::encodeName(plugins);
        if (::chown(path.constData(), geteuid(), c_nogroup) != 0)
            QSKIP("only root gives files to any group");
        QCOMPARE(::chmod(path.constData(), 0775), 0);
        const gid_t own = getegid();
        QCOMPARE(setregid(c_nogroup, c_nogroup), 0);
        const BenchEnd ended = runBench({"run", "getInfo", "--plugins", plugins});
        QCOMPARE(setregid(own, own), 0);
        QCOMPARE(ended.exitCode, 4);
        QVERIFY2(ended.err.contains("the group \""), qPrintable(ended.err));
        QVERIFY2(ended.err.contains("chmod go-w"), qPrintable(ended.err));
    }

    void plantedFiles_data()
    {
        QTest::addColumn<QStringList>("arguments"); // the file's name follows
        QTest::newRow("trace") << QStringList{"run", "getInfo", "--trace"};
        QTest::newRow("record") << QStringList{"run", "getInfo", "--record"};
        QTest::newRow("values") << QStringList{"watch", "--count", "1", "--csv"};
        QTest::newRow("log") << QStringList{"results", "--count", "1", "--output"};
    }

    // An empty file that another user has put there would have for its owner what is written.
    void plantedFiles() // docs/security.md
    {
        QFETCH(QStringList, arguments);
        const QTemporaryDir folder;
        const QString path = folder.filePath("planted");
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const QByteArray name = QFile::encodeName(path);
        QCOMPARE(::chmod(QFile::encodeName(folder.path()).constData(), 0777), 0);
        QCOMPARE(::chmod(name.constData(), 0666), 0);
        constexpr unsigned c_another = 4711;
        if (::chown(name.constData(), c_another, c_another) != 0)
            QSKIP("only root makes another's files");
        const BenchEnd ended = runBench(arguments + QStringList{path, "--simulate", "tcp"});
        QVERIFY2(ended.err.contains("belongs to \"") || ended.err.contains(" is there already"),
                 qPrintable(ended.err));
        QCOMPARE(QFileInfo(path).size(), qint64(0));
    }

    void rightsOfFiles_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("backup") << QStringList{"backup", "--folder", m_samples.path(), "--force"};
        QTest::newRow("page") << QStringList{"check", "--report", m_samples.filePath("rights.html"),
                                             "--force"};
        QTest::newRow("archive") << QStringList{"support", m_samples.filePath("rights.zip"), "--force"};
    }

    // A name may be a link to anywhere by the time that its rights are set: they are set of the open file.
    void rightsOfFiles() // docs/security.md
    {
        QFETCH(QStringList, arguments);
        const QString record = m_samples.filePath("rights.txt");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("ASAN_OPTIONS", "detect_leaks=0");
        // One that is there has rights to keep.
        const BenchEnd first = runBench(arguments);
        QVERIFY2(first.exitCode == 0, qPrintable(first.err));
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start("strace", QStringList{"-f", "-qq", "-e", "trace=chmod,fchmod,fchmodat,rename,renameat2",
                                            "-o", record, MDC_BINARY_DIRECTORY "/bin/mdc-bench"} +
                                    arguments);
        if (!process.waitForStarted())
            QSKIP("strace is missing (scripts/setup.sh)");
        const BenchEnd ended = endOf(process, 2 * c_programTimeout);
        QFile file(record);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray calls = file.readAll();
        if (ended.exitCode != 0 && calls.isEmpty())
            QSKIP("this machine does not let strace look");
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.err));
        QVERIFY2(calls.contains("rename"), calls);
        QVERIFY2(!calls.contains(" chmod(") && !calls.contains("fchmodat"), calls);
    }

    void brokenConfiguration_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("from");
        QTest::addColumn<QByteArray>("to");
        QTest::addColumn<QString>("message");
        QTest::newRow("no JSON") << "bench.json" << QByteArray("\"version\": 1,")
                                 << QByteArray("\"version\": ,") << "JSON";
        QTest::newRow("unknown driver") << "bench.json" << QByteArray("\"driver\": \"{7d0f")
                                        << QByteArray("\"driver\": \"{8d0f") << "driver";
        QTest::newRow("driver setting")
            << "bench.json" << QByteArray("\"unitId\": 1") << QByteArray("\"unitId\": 300") << "unitId";
        QTest::newRow("missing register map")
            << "bench.json" << QByteArray("register_map_common.json") << QByteArray("register_map_none.json")
            << "register_map_none.json";
    }

    void brokenConfiguration()
    {
        QFETCH(QString, file);
        QFETCH(QByteArray, from);
        QFETCH(QByteArray, to);
        QFETCH(QString, message);
        const QString path = m_samples.configuration(file, from, to);
        QVERIFY(!path.isEmpty());
        const BenchEnd ended = runBench({"run", "getInfo", "--config", path, "--simulate", "tcp"});
        QCOMPARE(ended.exitCode, 3);
        QVERIFY(ended.out.isEmpty());
        QVERIFY2(ended.err.contains(message), qPrintable(ended.err));
        const BenchEnd checked = runBench({"check", "--config", path, "--simulate", "tcp"});
        QCOMPARE(checked.exitCode, 3);
        QVERIFY2(checked.out.contains(message), qPrintable(checked.out));
    }

    void ownConfiguration()
    {
        const QString path = m_samples.configuration("bench.json", "\"name\": \"mdc\"", "\"name\": \"left\"");
        const BenchEnd ended =
            runBench({"--config", path, "run", "getInfo", "--simulate", "tcp", "--object", "left"});
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.err));
        QVERIFY(ended.out.contains("MD3202"));
    }

    // Behind a gateway every controller of the line carries it out, and none answers.
    void unitOfAll() // docs/security.md
    {
        const QString path = m_samples.configuration("bench.json", "\"unitId\": 1", "\"unitId\": 0");
        const auto run = [&path](const QStringList& arguments) {
            return runBench(arguments + QStringList{"--config", path, "--simulate", "tcp", "--verbose"});
        };
        QTemporaryDir folder;
        const BenchEnd backup = run({"backup", "--folder", folder.path()});
        QVERIFY2(backup.exitCode == 0, qPrintable(backup.err));
        const QString file = backup.out.trimmed();
        const QList<QStringList> writing{
            {"run", "setLock", "lock=1"},
            {"run", "SetTriggerProgram"},
            {"run", "write", "register=6004", "data=1", "registerType=singleRegister", "--object", "modbus"},
            {"restore", file, "--presets", "3", "--no-snapshot"},
            {"check", "--probe", "--write", "--yes"}};
        for (const QStringList& arguments : writing) {
            const BenchEnd ended = run(arguments);
            const QString all = arguments.join(' ') + '\n' + ended.out + ended.err;
            QVERIFY2(ended.exitCode == 3, qPrintable(all));
            for (const QString& part :
                 {QString("nothing was written"), QString("\"unitId\" of object \"modbus\""),
                  QString("broadcast"), path})
                QVERIFY2(all.contains(part), qPrintable(all + part));
            QVERIFY2(!ended.err.contains(" = 1\n"), qPrintable(all));
        }
        const BenchEnd forced = run({"run", "setLock", "lock=1", "--force"});
        QVERIFY2(forced.exitCode == 0 && forced.err.contains(": 6004 = 1\n"), qPrintable(forced.err));
        QVERIFY2(forced.err.contains("warning: \"unitId\" of object"), qPrintable(forced.err));
        const QList<QStringList> reading{{"run", "getRegister", "channel=direction"},
                                         {"restore", file, "--presets", "3", "--dry-run"},
                                         {"check"}};
        for (const QStringList& arguments : reading) {
            const BenchEnd ended = run(arguments);
            QVERIFY2(ended.exitCode == 0, qPrintable(arguments.join(' ') + ended.out + ended.err));
            QCOMPARE((ended.out + ended.err).contains("broadcast"), arguments.contains("check"));
        }
    }

    // The simulated controller has the unit and counts the registers as the driver is configured to: its
    // program is read back from where it was written.
    void simulatedAsTheDriverSpeaks_data()
    {
        QTest::addColumn<QString>("transport");
        QTest::newRow("tcp") << "tcp";
        QTest::newRow("rtu") << "rtu";
    }

    void simulatedAsTheDriverSpeaks()
    {
        QFETCH(QString, transport);
        const QString path =
            m_samples.configuration("bench.json", "\"unitId\": 1", "\"unitId\": 7, \"addressOffset\": -1");
        const BenchEnd ended = runBench(
            {"run", "setProgram", "program=1", "--config", path, "--simulate", transport, "--verbose"});
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.err));
        QVERIFY2(ended.err.contains(transport + ": 6002 = 1\n"), qPrintable(ended.err));
        QVERIFY2(ended.err.contains("unit 7, address offset -1"), qPrintable(ended.err));
    }

    void unreachableController()
    {
        // Nobody listens on the port: it is the discard port of this machine.
        const QString path = m_samples.configuration("bench.json", "\"port\": 1502", "\"port\": 9");
        const BenchEnd ended = runBench({"run", "getInfo", "--config", path});
        QVERIFY2(ended.exitCode == 5, qPrintable(ended.err));
        QVERIFY(ended.out.isEmpty());
    }

    void gapInTheRegisterMap()
    {
        const QString path = m_samples.configuration("register_map_generation2.json", "\"directionChangeV2\"",
                                                     "\"somethingV2\"");
        const BenchEnd connected = runBench({"check", "--config", path, "--simulate", "tcp"});
        QVERIFY2(connected.exitCode == 3, qPrintable(connected.out + connected.err));
        QVERIFY(connected.out.contains(
            "error    setDirection, generation 2: the channel \"directionChangeV2\" is missing"));
        const BenchEnd other =
            runBench({"check", "--config", path, "--simulate", "tcp", "--profile", "mdc26-gen1v2"});
        QVERIFY2(other.exitCode == 0, qPrintable(other.out + other.err));
        QVERIFY(other.out.contains("warning  setDirection, generation 2"));
    }

    // A command is not run with what is wrong for it, and what is wrong for another one keeps nobody.
    void runWithAGap()
    {
        const QString path = m_samples.configuration("register_map_generation2.json", "\"directionChangeV2\"",
                                                     "\"somethingV2\"");
        const QString trace = m_samples.filePath("gap.txt");
        const QStringList setDirection{"run",        "setDirection", "direction=1", "--config", path,
                                       "--simulate", "tcp",          "--trace",     trace};
        const BenchEnd refused = runBench(setDirection);
        QVERIFY2(refused.exitCode == 3, qPrintable(refused.err));
        QVERIFY(refused.out.isEmpty());
        QVERIFY2(refused.err.contains("error: setDirection, generation 2: the channel \"directionChangeV2\" "
                                      "is missing"),
                 qPrintable(refused.err));
        QVERIFY2(refused.err.contains("--force"), qPrintable(refused.err));
        QFile frames(trace);
        QVERIFY(frames.open(QIODevice::ReadOnly));
        // Report Server ID of the identification, and no write of a register.
        QVERIFY(!frames.readAll().contains(" 06 "));

        const BenchEnd forced = runBench(setDirection + QStringList{"--force"});
        QVERIFY2(forced.exitCode == 1, qPrintable(forced.err));
        QVERIFY2(forced.err.contains("the channel \"directionChangeV2\" is missing"), qPrintable(forced.err));
        for (const QStringList& command :
             {QStringList{"getInfo"}, QStringList{"setLock", "lock=3"}, QStringList{"resetAlarm"},
              QStringList{"getRegister", "channel=direction"}}) {
            const BenchEnd other =
                runBench(QStringList{"run"} + command + QStringList{"--config", path, "--simulate", "tcp"});
            QVERIFY2(other.exitCode == 0, qPrintable(command.constFirst() + ": " + other.err));
        }
    }

    // The driver's offset is the link's own setting.
    void addressBelowZero()
    {
        const QString path = m_samples.configuration("register_map_common.json", "5003", "0");
        QFile bench(path);
        QVERIFY(bench.open(QIODevice::ReadOnly));
        QByteArray text = bench.readAll();
        text.replace("\"unitId\": 1", "\"unitId\": 1, \"addressOffset\": -1");
        QVERIFY(writeFile(path, text));
        const BenchEnd checked = runBench({"check", "--config", path, "--simulate", "tcp"});
        QVERIFY2(checked.exitCode == 3, qPrintable(checked.out + checked.err));
        QVERIFY2(
            checked.out.contains(
                "error    channel alarmReset: \"register\" is 0 and the driver's \"addressOffset\" is -1"),
            qPrintable(checked.out));
        const BenchEnd run = runBench({"run", "resetAlarm", "--config", path, "--simulate", "tcp"});
        QVERIFY2(run.exitCode == 3, qPrintable(run.err));
        QVERIFY2(run.err.contains("\"addressOffset\" is -1"), qPrintable(run.err));
    }

    // Which of two devices a line is about is to be read from it.
    void twoDevices()
    {
        const QString path = m_samples.configuration("bench.json", R"("configuration": {}
    }
  ])",
                                                     R"("configuration": {}
    },
    {
      "id": "{2b9c1d74-8e0a-4f6b-b1d3-95e7a4c60f23}",
      "name": "right",
      "plugin": "{5b1e07c4-3d9a-4f62-a8b7-91c2e4d0f3a6}",
      "driver": "{7d0f6f0e-3c55-4b5d-9a51-6a3b8c0f2d11}",
      "configurationFiles": ["register_map_generation2.json"]
    }
  ])");
        QVERIFY(!path.isEmpty());
        const BenchEnd checked =
            runBench({"check", "--config", path, "--simulate", "tcp", "--format", "json"});
        QVERIFY2(checked.exitCode == 3, qPrintable(checked.out + checked.err));
        const QJsonArray findings = QJsonDocument::fromJson(checked.out.toUtf8())["findings"].toArray();
        QMap<QString, int> counts;
        for (const QJsonValue& finding : findings) {
            const QString subject = finding["subject"].toString();
            static const QRegularExpression c_ofTheBench("^(configuration|plug-in .*|objects|link \".*\")$");
            if (c_ofTheBench.match(subject).hasMatch())
                continue;
            const bool isOfRight = subject.startsWith("device \"right\"");
            QVERIFY2(isOfRight || subject.startsWith("device \"mdc\""), qPrintable(subject));
            ++counts[isOfRight ? "right" : "mdc"];
        }
        QVERIFY(counts.value("mdc") > 10);
        QVERIFY(counts.value("right") > 10);
        const BenchEnd table = runBench({"check", "--config", path, "--simulate", "tcp"});
        QVERIFY2(table.out.contains(
                     "error    device \"right\", resetAlarm: the channel \"alarmReset\" is missing"),
                 qPrintable(table.out));
    }

    void brokenPlugin()
    {
        const QString folder = m_samples.filePath("broken");
        QVERIFY(QDir().mkpath(folder));
        const BenchEnd empty = runBench({"run", "getInfo", "--plugins", folder});
        QVERIFY2(empty.exitCode == 4, qPrintable(empty.err));
        QVERIFY(writeFile(folder + "/libp_device_mdc.so", "this is no library"));
        QVERIFY(QFile::copy(MDC_BINARY_DIRECTORY "/plugins/libp_driver_modbus.so",
                            folder + "/libp_driver_modbus.so"));
        const BenchEnd ended = runBench({"run", "getInfo", "--plugins", folder});
        QVERIFY2(ended.exitCode == 4, qPrintable(ended.err));
        QVERIFY(ended.out.isEmpty());
        QVERIFY2(ended.err.contains("libp_device_mdc.so"), qPrintable(ended.err));
        const BenchEnd checked = runBench({"check", "--plugins", folder});
        QVERIFY2(checked.exitCode == 4, qPrintable(checked.out));
        // One that nothing needs is no reason to stop.
        QVERIFY(QFile::rename(folder + "/libp_device_mdc.so", folder + "/libother.so"));
        QVERIFY(
            QFile::copy(MDC_BINARY_DIRECTORY "/plugins/libp_device_mdc.so", folder + "/libp_device_mdc.so"));
        const BenchEnd rest = runBench({"run", "getInfo", "--plugins", folder});
        QVERIFY2(rest.exitCode == 0, qPrintable(rest.err));
        QVERIFY2(rest.err.contains("warning: ") && rest.err.contains("libother.so"), qPrintable(rest.err));
    }

    // A driver that does not describe itself is used as it is configured, and not otherwise.
    void silentDriver()
    {
        const QString folder = m_samples.filePath("silent");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(
            QFile::copy(MDC_BINARY_DIRECTORY "/plugins/libp_device_mdc.so", folder + "/libp_device_mdc.so"));
        QVERIFY(QFile::copy(MDC_BINARY_DIRECTORY "/tests/naive_driver/libp_naive_driver.so",
                            folder + "/libp_naive_driver.so"));
        const BenchEnd simulated = runBench({"run", "getInfo", "--plugins", folder});
        QVERIFY2(simulated.exitCode == 3, qPrintable(simulated.err));
        QVERIFY2(
            simulated.err.contains("the driver \"Naive Modbus driver\" does not say how it is pointed at a "
                                   "TCP port: no controller can be simulated for it"),
            qPrintable(simulated.err));
        const BenchEnd serial = runBench({"run", "getInfo", "--plugins", folder, "--simulate", "rtu"});
        QVERIFY2(serial.exitCode == 3, qPrintable(serial.err));
        QVERIFY2(serial.err.contains("pointed at a serial device"), qPrintable(serial.err));

        const QString path = m_samples.configuration("bench.json", "\"port\": 1502", "\"port\": 9");
        const BenchEnd traced = runBench(
            {"run", "getInfo", "--plugins", folder, "--config", path, "--trace", folder + "/frames"});
        QVERIFY2(traced.exitCode == 3, qPrintable(traced.err));
        QVERIFY2(
            traced.err.contains("does not say how its frames are traced: --trace cannot be used with it"),
            qPrintable(traced.err));
        const BenchEnd recorded = runBench(
            {"run", "getInfo", "--plugins", folder, "--config", path, "--record", folder + "/session"});
        QVERIFY2(recorded.exitCode == 3, qPrintable(recorded.err));
        QVERIFY2(recorded.err.contains("does not say how its frames are recorded"), qPrintable(recorded.err));
        // Its settings are its own matter, and its register types as well.
        const QString own = m_samples.configuration("bench.json", "\"port\": 1502", "\"prot\": 9");
        const BenchEnd checked =
            runBench({"check", "--plugins", folder, "--config", own, "--timeout", "100"});
        QVERIFY2(checked.exitCode == 5, qPrintable(checked.out + checked.err));
        QVERIFY2(
            checked.out.contains("warning  driver \"modbus\": \"Naive Modbus driver\" does not say which "
                                 "register types it knows: they are not checked"),
            qPrintable(checked.out));
    }

    void withoutIdentification()
    {
        // Generation 1 is taken, whose registers this controller does not have.
        const BenchEnd ended = runBench({"run", "setDirection", "direction=1", "--no-identify"});
        QVERIFY2(ended.exitCode == 7, qPrintable(ended.err));
        QVERIFY2(ended.err.contains("version number is not found. using version 1 (d_cmd_setDirection:"),
                 qPrintable(ended.err));
    }

    void trace()
    {
        const QString path = m_samples.filePath("frames.txt");
        const BenchEnd ended = runBench({"run", "setDirection", "direction=1", "--trace", path});
        QCOMPARE(ended.exitCode, 0);
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        // Write single register 6001 (0x1771) with 1.
        QVERIFY(file.readAll().contains("06 17 71 00 01"));
    }

    void record()
    {
        const QString path = m_samples.filePath("session.rec");
        const QStringList order{"run", "setDirection", "direction=1", "--record", path};
        const BenchEnd ended = runBench(order);
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.out + ended.err));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray session = file.readAll();
        QVERIFY2(session.left(session.indexOf('\n')).contains(" record 1 "), session.constData());
        QVERIFY(session.contains(" open tcp\n"));
        QVERIFY(session.contains("06 17 71 00 01"));
        // It holds one session, and is not asked for in vain.
        const BenchEnd again = runBench(order);
        QCOMPARE(again.exitCode, 1);
        QVERIFY2(again.err.contains(path + ": it is there already; name another file"),
                 qPrintable(again.err));
        file.seek(0);
        QVERIFY(file.readAll() == session);
        const QString nowhere = m_samples.filePath("none/session.rec");
        const BenchEnd lost = runBench({"run", "getInfo", "--record", nowhere});
        QCOMPARE(lost.exitCode, 1);
        QVERIFY2(lost.err.contains("cannot be recorded to " + nowhere), qPrintable(lost.err));
    }

    // A shell runs what has such a name, in a home folder.
    void hiddenTrace() // docs/security.md
    {
        for (const char* const member : {"frameTrace", "frameRecord"}) {
            for (const char* const name : {".bash_login", ".config/session"}) {
                QVERIFY(QDir(m_samples.path()).mkpath(".config"));
                const QString trace = m_samples.filePath(name);
                const QString path = m_samples.configuration("bench.json", "\"unitId\": 1",
                                                             "\"unitId\": 1, \"" + QByteArray(member) +
                                                                 "\": \"" + trace.toUtf8() + '"');
                const QStringList general{"--config", path, "--simulate", "tcp"};
                const BenchEnd ended = runBench(QStringList{"run", "getInfo"} + general);
                QVERIFY2(ended.exitCode == 3, qPrintable(ended.out + ended.err));
                for (const QString& part : {trace, QString(member), QString("--trace or --record")})
                    QVERIFY2(ended.err.contains(part), qPrintable(ended.err));
                QVERIFY(!QFile::exists(trace));
                const BenchEnd checked = runBench(QStringList{"check"} + general);
                QVERIFY2(checked.exitCode == 0, qPrintable(checked.out + checked.err));
                const BenchEnd own =
                    runBench(QStringList{"run", "getInfo"} + general +
                             QStringList{qstrcmp(member, "frameTrace") == 0 ? "--trace" : "--record", trace});
                QVERIFY2(own.exitCode == 0 && QFile::remove(trace), qPrintable(own.err));
            }
        }
    }

    void configuredTrace_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("isWritten");
        QTest::newRow("check") << QStringList{"check"} << false;
        QTest::newRow("list") << QStringList{"list"} << false;
        QTest::newRow("commands") << QStringList{"commands", "getInfo"} << false;
        QTest::newRow("run") << QStringList{"run", "getInfo"} << true;
    }

    // Who looks over somebody's configuration writes nothing that it names.
    void configuredTrace() // docs/security.md
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, isWritten);
        const QString trace = m_samples.filePath("configured-" + arguments.first());
        const QString path = m_samples.configuration(
            "bench.json", "\"unitId\": 1", "\"unitId\": 1, \"frameTrace\": \"" + trace.toUtf8() + '"');
        const BenchEnd ended = runBench(arguments + QStringList{"--config", path, "--simulate", "tcp"});
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.out + ended.err));
        QCOMPARE(QFile::exists(trace), isWritten);
        const QString told =
            "\"frameTrace\" of object \"modbus\" in " + path + " has frames written to " + trace;
        QVERIFY2(ended.err.contains(told) == isWritten, qPrintable(ended.err));
        // Asked for by the person, it is.
        const QString own = trace + "-own";
        const BenchEnd traced =
            runBench(arguments + QStringList{"--config", path, "--simulate", "tcp", "--trace", own,
                                             "--record", own + "-record"});
        QVERIFY2(traced.exitCode == 0, qPrintable(traced.out + traced.err));
        QVERIFY(QFile::exists(own));
        QVERIFY(QFile::exists(own + "-record"));
    }

    void steeringTexts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("controls") << QString::fromUtf8("\x1b[2J\x1b]0;t\x07\x08\x7f\xc2\x9b\x33\x31m\t");
        QTest::newRow("lines") << QString::fromUtf8("\n\r\xc2\x85\xe2\x80\xa8\xe2\x80\xa9");
        QTest::newRow("order of letters")
            << QString::fromUtf8("\xe2\x80\xae\xe2\x81\xa6\xe2\x80\x8f\xd8\x9c");
        QTest::newRow("unseen") << QString::fromUtf8("\xe2\x80\x8b\xef\xbb\xbf\xf3\xa0\x80\x81");
    }

    // What somebody wrote into a configuration or a backup steers no terminal and forges no line of a
    // message.
    void steeringTexts() // docs/security.md
    {
        QFETCH(QString, text);
        const QString name = "mdc" + text + "forged";
        const QByteArray quoted = QJsonDocument(QJsonArray{name}).toJson(QJsonDocument::Compact);
        const QString path = m_samples.configuration("bench.json", "\"name\": \"mdc\"",
                                                     "\"name\": " + quoted.mid(1, quoted.size() - 2));
        const QStringList bench{"--config", path, "--simulate", "tcp"};
        for (const QStringList& arguments :
             {QStringList{"list"}, QStringList{"check"}, QStringList{"commands", "getInfo"},
              QStringList{"run", "getInfo", "--object", "none"}, QStringList{"-v", "run", "getInfo"}}) {
            const BenchEnd ended = runBench(arguments + bench);
            QVERIFY2(ended.out.contains("forged") || ended.err.contains("forged") || arguments.size() == 3,
                     qPrintable(arguments.join(' ') + ended.out + ended.err));
            QCOMPARE(steeringPart(ended.out), QString());
            QCOMPARE(steeringPart(ended.err), QString());
        }
        const BenchEnd listed = runBench(QStringList{"list", "--format", "json"} + bench);
        const QJsonArray objects = QJsonDocument::fromJson(listed.out.toUtf8())["objects"].toArray();
        QCOMPARE(objects.last()["name"].toString(), name);

        QVERIFY(QDir().mkpath(m_samples.filePath("saved")));
        const BenchEnd saved = runBench({"backup", "--folder", m_samples.filePath("saved"), "--force"});
        QVERIFY2(saved.exitCode == 0, qPrintable(saved.err));
        QFile file(saved.out.trimmed());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QByteArray content = file.readAll();
        QString serial = text + "forged";
        serial.remove('\n').remove('\r');
        QVERIFY(content.contains("Driver serial,1907150042"));
        content.replace("Driver serial,1907150042", "Driver serial," + serial.toUtf8());
        const QString changed = m_samples.filePath("changed.csv");
        QVERIFY(writeFile(changed, content));
        const BenchEnd compared = runBench({"compare", file.fileName(), changed});
        QVERIFY2(compared.out.contains("forged"), qPrintable(compared.out + compared.err));
        QCOMPARE(steeringPart(compared.out + compared.err), QString());
        const BenchEnd restored = runBench({"restore", changed, "--presets", "1", "--dry-run"});
        QVERIFY2(restored.err.contains("forged"), qPrintable(restored.out + restored.err));
        QCOMPARE(steeringPart(restored.out + restored.err), QString());
    }

    void endlessInput_data()
    {
        QTest::addColumn<QStringList>("arguments"); // "%1" stands for what never ends
        QTest::addColumn<int>("code");
        QTest::newRow("configuration") << QStringList{"list", "--config", "%1"} << 3;
        QTest::newRow("properties") << QStringList{"run", "getInfo", "--properties", "%1"} << 0;
        QTest::newRow("trace") << QStringList{"run", "getInfo", "--trace", "%1"} << 0;
        QTest::newRow("compare") << QStringList{"compare", "%1", "%1"} << 1;
        QTest::newRow("restore") << QStringList{"restore", "%1", "--presets", "1"} << 1;
        QTest::newRow("restore by its command")
            << QStringList{"run", "restoreBackup", "filePath=%1", "startPreset=1", "endPreset=1"} << 1;
        QTest::newRow("list of registers") << QStringList{"init",         m_samples.filePath("new"),
                                                          "--host",       "localhost",
                                                          "--generation", "2",
                                                          "--from-csv",   "%1",
                                                          "--yes"}
                                           << 3;
        QTest::newRow("results") << QStringList{"results", "--output", "%1", "--seconds", "1"} << 1;
    }

    // A pipe without a writer and a device without an end are waited for by nobody.
    void endlessInput() // docs/security.md
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, code);
        const QString pipe = m_samples.filePath("pipe");
        if (!QFile::exists(pipe))
            QCOMPARE(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
        for (const QString& endless : {pipe, QString("/dev/zero")}) {
            QStringList words = arguments;
            words.replaceInStrings("%1", endless);
            const BenchEnd ended = runBench(words);
            QVERIFY2(ended.exitCode == code, qPrintable(words.join(' ') + ended.out + ended.err));
            QVERIFY2(ended.err.contains("no file") && ended.err.contains(endless),
                     qPrintable(words.join(' ') + ended.err));
        }
    }

    // Where somebody has put a link, nothing is made or overwritten behind it.
    void refusedLinks() // docs/security.md
    {
        const QString theirs = m_samples.filePath("theirs");
        const QString link = m_samples.filePath("link");
        QVERIFY(QFile::link(theirs, link));
        const QStringList ways[] = {{"panel", "--screenshot", link},
                                    {"run", "getInfo", "--trace", link},
                                    {"run", "getInfo", "--record", link},
                                    {"run", "getInfo", "--properties", link},
                                    {"results", "--seconds", "1", "--output", link},
                                    {"check", "--report", link, "--force"},
                                    {"watch", "--seconds", "1", "--csv", link, "--force"}};
        for (const bool isThere : {false, true}) {
            QVERIFY(!isThere || writeFile(theirs, "{\"mine\": 1}\n"));
            for (const QStringList& words : ways) {
                const BenchEnd ended = runBench(words);
                QVERIFY2(ended.err.contains("symbolic link") && ended.err.contains(link),
                         qPrintable(words.join(' ') + ended.out + ended.err));
                QCOMPARE(QFile::exists(theirs), isThere);
                QCOMPARE(QFileInfo(theirs).size(), isThere ? 12 : 0);
            }
        }
    }

    // A model that nobody knows is told by the controller as question marks, which a shell would expand.
    void patternAsName() // docs/security.md
    {
        const QString path = m_samples.configuration("backup_ranges.json", "MDC-32_config", "????_config");
        const BenchEnd ended = runBench({"backup", "--folder", m_samples.path(), "--config", path,
                                         "--simulate", "tcp", "--profile", "unknown-gen1v2"});
        QVERIFY2(ended.exitCode == 0, qPrintable(ended.out + ended.err));
        const QString file = ended.out.trimmed();
        QVERIFY2(QFileInfo(file).fileName().startsWith("????_"), qPrintable(file));
        QVERIFY2(ended.err.contains("quote it, '" + file + '\''), qPrintable(ended.err));
        QVERIFY(QFile::remove(file));
    }

    void closedStreams_data()
    {
        QTest::addColumn<QString>("closing");
        for (const char* const closing : {"<&-", ">&-", "2>&-", "<&- >&- 2>&-"})
            QTest::newRow(closing) << QString(closing);
    }

    // What the program opens instead of a stream that it was not given has nothing of the stream's texts.
    void closedStreams() // docs/security.md
    {
        QFETCH(QString, closing);
        const QString bench = QString("'%1' run listen register=6101 registerType=holdingRegisters "
                                      "recurrentInterval=20 --object modbus --count 3 -v ")
                                  .arg(benchProgram());
        QProcess shell;
        shell.start("sh", {"-c", bench + closing});
        QVERIFY(shell.waitForFinished(c_programTimeout));
        QVERIFY2(shell.exitCode() == 0, shell.readAllStandardError().constData());
        const quint16 port = freePort();
        QProcess simulator;
        simulator.start("sh", {"-c", QString("exec '%1/bin/mdc-simulator' --port %2 %3")
                                         .arg(MDC_BINARY_DIRECTORY)
                                         .arg(port)
                                         .arg(closing)});
        QVERIFY(simulator.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(takesConnections(port), c_programTimeout);
        // Its end would be told within this time.
        QVERIFY(!simulator.waitForFinished(500));
        simulator.terminate();
        QVERIFY(simulator.waitForFinished(c_programTimeout));
        QCOMPARE(simulator.exitStatus(), QProcess::NormalExit);
        QCOMPARE(simulator.exitCode(), 0);
    }

    void withoutAHomeFolder() // docs/security.md
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove("HOME");
        environment.remove("XDG_DATA_HOME");
        const QStringList before = QDir::root().entryList(QDir::AllEntries | QDir::Hidden);
        QProcess process;
        process.setProcessEnvironment(environment);
        const QString path = m_samples.configuration("bench.json", "1502", "9");
        process.start(benchProgram(), {"run", "setDirection", "direction=1", "--config", path});
        QVERIFY(process.waitForFinished(c_programTimeout));
        const QByteArray messages = process.readAllStandardError();
        QVERIFY2(process.exitCode() == 5, messages.constData());
        QVERIFY2(messages.contains("no home folder") && messages.contains("--properties"),
                 messages.constData());
        QCOMPARE(QDir::root().entryList(QDir::AllEntries | QDir::Hidden), before);
    }

    void unusablePropertiesFile()
    {
        const BenchEnd ended = runBench({"run", "getInfo", "--properties", m_samples.path()});
        QCOMPARE(ended.exitCode, 0);
        QVERIFY2(ended.err.contains("neither restored nor saved"), qPrintable(ended.err));
    }
};

QTEST_GUILESS_MAIN(TstBenchSetup)
#include "tst_bench_setup.moc"
