#include "framework/lib_host/tests/plugins/empty_plugin.h"

#include <lib_host/d_host.h>
#include <lib_host/exchange_rights.h>
#include <lib_plugins_management/contract_version.h>
#include <lib_plugins_management/d_abstract_plugin.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLibrary>
#include <QMap>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QUuid>

namespace {

const QUuid c_goodKind("{33333333-0000-0000-0000-000000000001}");

// The file of a plug-in built for this test.
QString builtFile(const QString& target)
{
    const QDir folder(TEST_PLUGIN_DIRECTORY);
    const QStringList files = folder.entryList({target + ".*", "lib" + target + ".*"}, QDir::Files);
    for (const QString& file : files) {
        if (QLibrary::isLibrary(file))
            return folder.filePath(file);
    }
    return {};
}

// Copies it into `folder`, where nothing but what a test puts is found.
QString put(const QString& target, const QTemporaryDir& folder, const QString& name = {})
{
    const QString source = builtFile(target);
    const QString suffix = QFileInfo(source).suffix();
    const QString copy = folder.filePath((name.isEmpty() ? target : name) + "." + suffix);
    return QFile::copy(source, copy) ? copy : QString();
}

QString librarySuffix()
{
    return QFileInfo(builtFile("tst_good_plugin")).suffix();
}

} // namespace

class tst_PluginLoader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void good();
    void contractIsTheHeaders();
    void refused_data();
    void refused();
    void textNamedLikeALibrary();
    void otherQt_data();
    void otherQt();
    void cutOff();
    void otherFilesAreIgnored();
    void kindTwice();
    void kindLinkedIn();
    void orderAndMixture();
    void folderNotThere();
    void folderWithoutPlugins();
    void twoHosts();
    void exchangers_data();
    void exchangers(); // docs/security.md
    void privateGroups_data();
    void privateGroups(); // docs/security.md
    void linkedFile();    // docs/security.md
};

void tst_PluginLoader::good()
{
    QTemporaryDir folder;
    const QString file = put("tst_good_plugin", folder);
    QVERIFY(!file.isEmpty());
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.first().error, QString());
    QCOMPARE(QFileInfo(reports.first().file), QFileInfo(file));
    QCOMPARE(reports.first().pluginUuid, c_goodKind);
    QCOMPARE(reports.first().name, QString("Good plug-in"));
    QCOMPARE(reports.first().version, Q_UINT64_C(0x0001000000000000));
    QCOMPARE(reports.first().type, IPlugin::CeTypeDevice);
    QCOMPARE(host.pluginReports().size(), 1);

    const QUuid uuid("{44444444-0000-0000-0000-000000000001}");
    const QJsonObject object{{"id", uuid.toString()}, {"name", "one"}, {"plugin", c_goodKind.toString()}};
    QCOMPARE(host.configure({{"objects", QJsonArray{object}}}), QStringList());
    const DAbstractPlugin* const instance = host.findInstance(uuid);
    QVERIFY(instance != nullptr);
    QCOMPARE(instance->pluginUuid(), c_goodKind);
    QCOMPARE(instance->objectUuid(), uuid);
}

// What the metadata of plug-ins tells is what the headers are.
void tst_PluginLoader::contractIsTheHeaders()
{
    QFile file(MDC_SOURCE_DIRECTORY "/framework/lib_plugins_management/contract.json");
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.errorString()));
    const QJsonObject told = QJsonDocument::fromJson(file.readAll()).object();
    QCOMPARE(told.value(contract_version::c_contract).toString(),
             QString("%1.%2").arg(contract_version::c_breaking).arg(contract_version::c_compatible));
}

void tst_PluginLoader::refused_data()
{
    QTest::addColumn<QString>("target");
    QTest::addColumn<QString>("why");
    QTest::newRow("a library that is no plug-in") << "tst_no_plugin"
                                                  << "is no plug-in";
    QTest::newRow("another interface")
        << "tst_foreign_interface"
        << "\"com.example.ForeignInterface\".*\"org.mdcbench.ForeignInterface\"";
    QTest::newRow("another root object") << "tst_other_root"
                                         << "OtherRoot.*is no plug-in object";
    QTest::newRow("another contract") << "tst_other_contract"
                                      << "version 2\\.0 of the contract.*this host has 1\\.1.*build it";
#ifdef Q_OS_WIN
    // Which one it is the system keeps to itself.
    QTest::newRow("lacks a library") << "tst_needs_missing_library"
                                     << "cannot be loaded";
#else
    QTest::newRow("lacks a library") << "tst_needs_missing_library"
                                     << "cannot be loaded.*tst_missing_library";
    QTest::newRow("lacks a function") << "tst_undefined_symbol"
                                      << "cannot be loaded.*defineThisNowhere";
#endif
}

void tst_PluginLoader::refused()
{
    QFETCH(QString, target);
    QFETCH(QString, why);
    QTemporaryDir folder;
    const QString file = put(target, folder);
    QVERIFY(!file.isEmpty());
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 1);
    QVERIFY2(reports.first().error.contains(QFileInfo(file).fileName()), qPrintable(reports.first().error));
    QVERIFY2(reports.first().error.contains(QRegularExpression(why)), qPrintable(reports.first().error));
    QVERIFY(reports.first().pluginUuid.isNull());
}

void tst_PluginLoader::textNamedLikeALibrary()
{
    QTemporaryDir folder;
    QFile file(folder.filePath("text." + librarySuffix()));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("This is no library.\n");
    file.close();
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 1);
    QVERIFY2(reports.first().error.contains("is no plug-in"), qPrintable(reports.first().error));
}

void tst_PluginLoader::otherQt_data()
{
    QTest::addColumn<int>("major");
    QTest::addColumn<int>("minor");
    QTest::newRow("the next minor version") << QT_VERSION_MAJOR << QT_VERSION_MINOR + 1;
    QTest::newRow("the next major version") << QT_VERSION_MAJOR + 1 << 0;
    QTest::newRow("the major version before") << QT_VERSION_MAJOR - 1 << QT_VERSION_MINOR;
}

void tst_PluginLoader::otherQt()
{
    QFETCH(int, major);
    QFETCH(int, minor);
    QTemporaryDir folder;
    const QString path = put("tst_good_plugin", folder);
    QFile file(path);
    QVERIFY(file.open(QIODevice::ReadWrite));
    QByteArray bytes = file.readAll();
    // The metadata block: the magic, then its version, Qt's major, Qt's minor, flags.
    const QByteArray magic("QTMETADATA !");
    const int at = bytes.indexOf(magic);
    QVERIFY(at > 0);
    const int version = at + magic.size();
    QCOMPARE(int(bytes.at(version + 1)), QT_VERSION_MAJOR);
    QCOMPARE(int(bytes.at(version + 2)), QT_VERSION_MINOR);
    bytes[version + 1] = char(major);
    bytes[version + 2] = char(minor);
    QVERIFY(file.seek(0));
    QCOMPARE(file.write(bytes), qint64(bytes.size()));
    file.close();
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 1);
    const QString told = QString("%1.%2").arg(major).arg(minor);
    QVERIFY2(reports.first().error.contains(told), qPrintable(reports.first().error));
}

void tst_PluginLoader::cutOff()
{
    QTemporaryDir folder;
    const QString path = put("tst_good_plugin", folder);
    QVERIFY(QFile::resize(path, 2000));
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 1);
    QVERIFY2(reports.first().error.contains("is no plug-in"), qPrintable(reports.first().error));
}

void tst_PluginLoader::otherFilesAreIgnored()
{
    QTemporaryDir folder;
    for (const char* name : {"readme.txt", "plugin.so.txt", "noextension"}) {
        QFile file(folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("text");
    }
    QVERIFY(QDir(folder.path()).mkdir("folder." + librarySuffix()));
    DHost host;
    QVERIFY(host.loadPlugins(folder.path()).isEmpty());
}

void tst_PluginLoader::kindTwice()
{
    QTemporaryDir folder;
    QVERIFY(!put("tst_good_plugin", folder, "a").isEmpty());
    QVERIFY(!put("tst_good_plugin", folder, "b").isEmpty());
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 2);
    QCOMPARE(reports.first().error, QString());
    QVERIFY2(reports.last().error.contains(c_goodKind.toString()), qPrintable(reports.last().error));
    // The one that was there first still makes instances.
    const QJsonObject object{
        {"id", "{44444444-0000-0000-0000-000000000001}"}, {"name", "one"}, {"plugin", c_goodKind.toString()}};
    QCOMPARE(host.configure({{"objects", QJsonArray{object}}}), QStringList());
    // The same file again is refused as well.
    QCOMPARE(host.loadPlugins(folder.path()).size(), 2);
    QVERIFY(!host.pluginReports().at(2).error.isEmpty());
    QCOMPARE(host.pluginReports().size(), 4);
    QCOMPARE(host.configure({{"objects", QJsonArray{object}}}), QStringList());
}

void tst_PluginLoader::kindLinkedIn()
{
    QTemporaryDir folder;
    QVERIFY(!put("tst_good_plugin", folder).isEmpty());
    DHost host;
    EmptyPlugin root(c_goodKind, "Linked in", QUuid());
    QVERIFY(host.addPlugin(&root));
    QVERIFY(host.loadPlugins(folder.path()).value(0).error.contains("Linked in"));
}

void tst_PluginLoader::orderAndMixture()
{
    QTemporaryDir folder;
    put("tst_no_plugin", folder, "a");
    put("tst_good_plugin", folder, "b");
    put("tst_other_root", folder, "c");
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 3);
    for (int i = 0; i < reports.size(); ++i)
        QCOMPARE(QFileInfo(reports.at(i).file).baseName(), QString(QChar('a' + i)));
    QVERIFY(!reports.at(0).error.isEmpty());
    QCOMPARE(reports.at(1).error, QString());
    QVERIFY(!reports.at(2).error.isEmpty());
}

void tst_PluginLoader::folderNotThere()
{
    QTemporaryDir folder;
    const QString path = folder.filePath("nowhere");
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(path);
    QCOMPARE(reports.size(), 1);
    QCOMPARE(reports.first().file, path);
    QVERIFY(reports.first().error.contains(path));
    QCOMPARE(host.loadPlugins(put("tst_no_plugin", folder)).size(), 1); // a file is no folder
    QCOMPARE(host.loadPlugins(QString()).size(), 1);
    QCOMPARE(host.pluginReports().size(), 3);
}

void tst_PluginLoader::folderWithoutPlugins()
{
    QTemporaryDir folder;
    DHost host;
    QVERIFY(host.loadPlugins(folder.path()).isEmpty());
}

void tst_PluginLoader::twoHosts()
{
    QTemporaryDir folder;
    QVERIFY(!put("tst_good_plugin", folder).isEmpty());
    {
        DHost first;
        QCOMPARE(first.loadPlugins(folder.path()).value(0).error, QString());
    }
    DHost second;
    QCOMPARE(second.loadPlugins(folder.path()).value(0).error, QString());
    const QJsonObject object{
        {"id", "{44444444-0000-0000-0000-000000000001}"}, {"name", "one"}, {"plugin", c_goodKind.toString()}};
    QCOMPARE(second.configure({{"objects", QJsonArray{object}}}), QStringList());
}

void tst_PluginLoader::exchangers_data()
{
    QTest::addColumn<unsigned>("owner");
    QTest::addColumn<unsigned>("group");
    QTest::addColumn<unsigned>("mode");
    QTest::addColumn<char>("itself"); // by whom: nobody, everybody, the group or the owner
    QTest::addColumn<char>("above");
    QTest::newRow("root's") << 0U << 0U << 0755U << '-' << '-';
    QTest::newRow("one's own") << 1000U << 1000U << 0700U << '-' << '-';
    QTest::newRow("one's own group writes") << 1000U << 1000U << 0775U << '-' << '-';
    QTest::newRow("a group of many reads") << 1000U << 100U << 0750U << '-' << '-';
    QTest::newRow("a group of many writes") << 1000U << 100U << 0775U << 'g' << 'g';
    QTest::newRow("root's, a group of many writes") << 0U << 65534U << 0775U << 'g' << 'g';
    QTest::newRow("everybody writes") << 0U << 0U << 0777U << 'e' << 'e';
    QTest::newRow("everybody and no group") << 0U << 0U << 0702U << 'e' << 'e';
    QTest::newRow("like /tmp") << 0U << 0U << 01777U << 'e' << '-';
    QTest::newRow("like /tmp for a group") << 0U << 100U << 01775U << 'g' << '-';
    QTest::newRow("another's") << 1001U << 1001U << 0700U << 'o' << 'o';
    QTest::newRow("another's with one's own group") << 1001U << 1000U << 0775U << 'o' << 'o';
    QTest::newRow("another's like /tmp") << 1001U << 1001U << 01777U << 'e' << 'o';
}

void tst_PluginLoader::exchangers()
{
    QFETCH(unsigned, owner);
    QFETCH(unsigned, group);
    QFETCH(unsigned, mode);
    QFETCH(char, itself);
    QFETCH(char, above);
    const QMap<char, Exchanger> names{{'-', Exchanger::Nobody},
                                      {'e', Exchanger::Everybody},
                                      {'g', Exchanger::Group},
                                      {'o', Exchanger::Owner}};
    const ExchangeTrust trust{{0, 1000}, {0, 1000}};
    QVERIFY(exchangerOf({owner, group, mode}, trust) == names.value(itself));
    QVERIFY(exchangerAbove({owner, group, mode}, trust) == names.value(above));
}

void tst_PluginLoader::privateGroups_data()
{
    QTest::addColumn<QString>("group");
    QTest::addColumn<QStringList>("members");
    QTest::addColumn<QString>("user");
    QTest::addColumn<bool>("isPrivate");
    QTest::newRow("his own") << "eva" << QStringList() << "eva" << true;
    QTest::newRow("his own, which lists him") << "eva" << QStringList{"eva"} << "eva" << true;
    QTest::newRow("his own, with a colleague") << "eva" << QStringList{"eva", "ben"} << "eva" << false;
    QTest::newRow("of all users") << "users" << QStringList() << "eva" << false;
    QTest::newRow("of nobody") << "nogroup" << QStringList() << "nobody" << false;
    QTest::newRow("without names") << "" << QStringList() << "" << false;
}

void tst_PluginLoader::privateGroups()
{
    QFETCH(QString, group);
    QFETCH(QStringList, members);
    QFETCH(QString, user);
    QFETCH(bool, isPrivate);
    QCOMPARE(isPrivateGroup(group, members, user), isPrivate);
}

// A link is what it leads to.
void tst_PluginLoader::linkedFile()
{
#ifdef Q_OS_UNIX
    const QTemporaryDir away;
    const QTemporaryDir folder;
    const QString file = put("tst_good_plugin", away);
    const QString link = folder.filePath("linked." + librarySuffix());
    QVERIFY(QFile::link(file, link));
    {
        DHost host;
        const QList<DPluginReport> reports = host.loadPlugins(folder.path());
        QCOMPARE(reports.size(), 1);
        QCOMPARE(reports.first().error, QString());
        QCOMPARE(reports.first().pluginUuid, c_goodKind);
    }
    // Whoever may change the folder that it leads to exchanges it.
    QVERIFY(QFile::setPermissions(away.path(), QFile::Permissions(0x7777)));
    DHost host;
    const QList<DPluginReport> reports = host.loadPlugins(folder.path());
    QCOMPARE(reports.size(), 1);
    QVERIFY2(reports.first().error.contains(away.path()), qPrintable(reports.first().error));
#else
    QSKIP("links need a right here");
#endif
}

QTEST_GUILESS_MAIN(tst_PluginLoader)
#include "tst_plugin_loader.moc"
