// Every text that the sources ask for exists in every language, and the program speaks it.

#include "text_check.h"

#include "applications/bench/core/translations.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QTest>

namespace {

const QString c_sources = QStringLiteral(MDC_SOURCE_DIRECTORY);
const QString c_program = QStringLiteral(MDC_BINARY_DIRECTORY "/bin/mdc-bench");

struct Catalogue
{
    QString name;
    QStringList folders; // of the sources that it is for
    int least = 0;       // ids that they have at least
};

QList<Catalogue> catalogues()
{
    return {{"p_device_mdc", {c_sources + "/plugins/p_device_mdc", c_sources + "/applications/bench"}, 36},
            {"panel", {c_sources + "/applications/Kivora", c_sources + "/applications/panel"}, 24}};
}

QString catalogueFile(const QString& catalogue, const QString& language)
{
    return QStringLiteral("%1/translations/%2_%3.ts").arg(c_sources, catalogue, language);
}

bool writeFile(const QString& path, const QByteArray& content)
{
    QFile file(path);
    return QDir().mkpath(QFileInfo(path).path()) && file.open(QIODevice::WriteOnly) &&
           file.write(content) == content.size();
}

QByteArray message(const QByteArray& id, const QByteArray& text, const QByteArray& attributes = {})
{
    return "<message id=\"" + id + "\"><source>x</source><translation" + attributes + ">" + text +
           "</translation></message>";
}

QByteArray catalogueText(const QByteArray& language, const QByteArray& messages)
{
    return "<?xml version=\"1.0\"?><TS version=\"2.1\" language=\"" + language + "\"><context><name></name>" +
           messages + "</context></TS>";
}

QString outputOf(const QStringList& arguments, const QStringList& environment, int* exitCode)
{
    QProcess process;
    QProcessEnvironment variables = QProcessEnvironment::systemEnvironment();
    for (const char* const name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"})
        variables.remove(QLatin1String(name));
    for (const QString& variable : environment)
        variables.insert(variable.section('=', 0, 0), variable.section('=', 1));
    process.setProcessEnvironment(variables);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(c_program, arguments);
    process.closeWriteChannel();
    if (!process.waitForFinished())
        process.kill();
    *exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return QString::fromUtf8(process.readAll());
}

} // namespace

class TestTranslations : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idsOfASource_data();
    void idsOfASource();
    void idsOfTheSources();
    void faultsAreFound_data();
    void faultsAreFound();
    void everyIdHasATextInEveryLanguage_data();
    void everyIdHasATextInEveryLanguage();
    void everyCatalogueIsChecked();
    void languagesThereAre();
    void bestLanguage_data();
    void bestLanguage();
    void programSpeaks_data();
    void programSpeaks();
    void programRefusesAnUnknownLanguage();
};

void TestTranslations::idsOfASource_data()
{
    QTest::addColumn<QString>("source");
    QTest::addColumn<QString>("ids");
    QTest::newRow("nothing") << "int a = 0; // \"b\""
                             << "";
    QTest::newRow("qtTrId") << R"(f(qtTrId("a_b"));)"
                            << "a_b";
    QTest::newRow("qsTrId") << R"(text: qsTrId("a"))"
                            << "a";
    QTest::newRow("marked only") << R"(const char* const a = QT_TRID_NOOP("a");)"
                                 << "a";
    QTest::newRow("line breaks") << "qtTrId(\n    \"a\")"
                                 << "a";
    QTest::newRow("several") << R"(qtTrId("b") + qtTrId("a") + qtTrId("b"))"
                             << "a b";
    QTest::newRow("no literal") << "qtTrId(id)"
                                << "";
    QTest::newRow("another function") << R"(myqtTrId("a"); qtTrIds("b"))"
                                      << "";
    QTest::newRow("with its text") << "//% \"The a\"\nqtTrId(\"a\"), qtTrId(\"b\")"
                                   << "a=The a b";
    QTest::newRow("a long text") << "//% \"One \"\n    //% \"two\"\nqtTrId(\"a\")"
                                 << "a=One two";
    QTest::newRow("quotes in the text") << R"(//% "say \"a\""
                                              text: qsTrId("a"))"
                                        << "a=say \"a\"";
    QTest::newRow("text at a later use") << "qtTrId(\"a\")\n//% \"A\"\nqtTrId(\"a\")"
                                         << "a=A";
    QTest::newRow("text at an earlier use") << "//% \"A\"\nqtTrId(\"a\")\nqtTrId(\"a\")"
                                            << "a=A";
}

void TestTranslations::idsOfASource()
{
    QFETCH(QString, source);
    QStringList found;
    const QMap<QString, QString> ids = idsIn(source);
    for (auto id = ids.cbegin(); id != ids.cend(); ++id)
        found.append(id.value().isNull() ? id.key() : id.key() + '=' + id.value());
    QTEST(found.join(' '), "ids");
}

void TestTranslations::idsOfTheSources()
{
    // One of each kind of place, so that a scan which reads nothing is noticed.
    const QMap<QString, QString> ids = idsBelow({c_sources + "/plugins/p_device_mdc"});
    QCOMPARE(ids.value("DCmdGetInfo_Controller_model"), QString("Controller model"));
    QCOMPARE(ids.value("maintenance_panel_Apply"), QString("Apply"));
    QVERIFY(ids.contains("DCmdBackup_deviceMdc_no_file_error"));
    QVERIFY(ids.contains("DCmdRestore_torque_unit_incorrect"));
}

void TestTranslations::faultsAreFound_data()
{
    QTest::addColumn<QByteArray>("source");
    QTest::addColumn<QByteArray>("english");
    QTest::addColumn<QByteArray>("french");
    QTest::addColumn<QStringList>("faults");
    const QByteArray source = "//% \"One %1\"\nqtTrId(\"a\"); qtTrId(\"b\");";
    const QByteArray english = catalogueText("en_GB", message("a", "One %1") + message("b", "Two"));
    const QByteArray french = catalogueText("fr_FR", message("a", "Un %1") + message("b", "Deux"));
    const auto row = [&](const char* name, const QByteArray& changed, const QStringList& faults) {
        QTest::newRow(name) << source << english << changed << faults;
    };
    row("all is well", french, {});
    row("no text", catalogueText("fr_FR", message("a", "Un %1")), {"x_fr.ts: b: no text"});
    row("text for no id",
        catalogueText("fr_FR", message("a", "Un %1") + message("b", "D") + message("c", "T")),
        {"x_fr.ts: c: a text for an id that nothing asks for"});
    row("two texts", catalogueText("fr_FR", message("a", "Un %1") + message("b", "D") + message("b", "E")),
        {"x_fr.ts: b: two texts"});
    row("empty", catalogueText("fr_FR", message("a", "Un %1") + message("b", " ")),
        {"x_fr.ts: b: empty text"});
    row("unfinished",
        catalogueText("fr_FR", message("a", "Un %1") + message("b", "Deux", " type=\"unfinished\"")),
        {"x_fr.ts: b: unfinished text"});
    row("placeholder lost", catalogueText("fr_FR", message("a", "Un") + message("b", "Deux")),
        {"x_fr.ts: a: other placeholders than the English text"});
    row("placeholder too many", catalogueText("fr_FR", message("a", "Un %1") + message("b", "Deux %1")),
        {"x_fr.ts: b: other placeholders than the English text"});
    row("another placeholder", catalogueText("fr_FR", message("a", "Un %2") + message("b", "Deux")),
        {"x_fr.ts: a: other placeholders than the English text"});
    row("placeholder elsewhere", catalogueText("fr_FR", message("a", "%1 Un") + message("b", "Deux")), {});
    row("another language", catalogueText("de_DE", message("a", "Un %1") + message("b", "Deux")),
        {"x_fr.ts: its language is \"de_DE\""});
    QTest::newRow("placeholder in English only")
        << source << catalogueText("en_GB", message("a", "One %1") + message("b", "Two %1")) << french
        << QStringList{"x_fr.ts: b: other placeholders than the English text"};
    QTest::newRow("English without it") << source << catalogueText("en_GB", message("a", "One %1")) << french
                                        << QStringList{"x_en.ts: b: no text"};
    QTest::newRow("English unlike the source")
        << source << catalogueText("en_GB", message("a", "Any %1") + message("b", "Two")) << french
        << QStringList{"x_en.ts: a: the source says \"One %1\""};
    QTest::newRow("id gone from the source")
        << QByteArray("qtTrId(\"a\")") << english << french
        << QStringList{"x_en.ts: b: a text for an id that nothing asks for",
                       "x_fr.ts: b: a text for an id that nothing asks for"};
    QTest::newRow("id new in the source") << QByteArray(source + "QT_TRID_NOOP(\"c\")") << english << french
                                          << QStringList{"x_en.ts: c: no text", "x_fr.ts: c: no text"};
}

void TestTranslations::faultsAreFound()
{
    QFETCH(QByteArray, source);
    QFETCH(QByteArray, english);
    QFETCH(QByteArray, french);
    const QTemporaryDir folder;
    QVERIFY(folder.isValid());
    const QStringList files{folder.filePath("x_en.ts"), folder.filePath("x_fr.ts")};
    QVERIFY(writeFile(folder.filePath("code/source/x.cpp"), source));
    QVERIFY(writeFile(folder.filePath("code/tests/tst_x.cpp"), "qtTrId(\"of_a_test\")"));
    QVERIFY(writeFile(files.first(), english));
    QVERIFY(writeFile(files.last(), french));
    QStringList found = textFaults(idsBelow({folder.filePath("code")}), files);
    found.sort();
    QTEST(found, "faults");
    QVERIFY(writeFile(files.last(), french.chopped(5)));
    QVERIFY2(textFaults({}, {files.last()}).join('\n').startsWith("x_fr.ts: "), "a torn file");
    QVERIFY(QFile::remove(files.last()));
    QVERIFY2(textFaults({}, {files.last()}).join('\n').startsWith("x_fr.ts: "), "no file");
}

void TestTranslations::everyIdHasATextInEveryLanguage_data()
{
    QTest::addColumn<QStringList>("folders");
    QTest::addColumn<int>("least");
    const QList<Catalogue> all = catalogues();
    for (const Catalogue& one : all)
        QTest::newRow(qPrintable(one.name)) << one.folders << one.least;
}

void TestTranslations::everyIdHasATextInEveryLanguage()
{
    QFETCH(QStringList, folders);
    QFETCH(int, least);
    const QMap<QString, QString> ids = idsBelow(folders);
    QVERIFY2(ids.size() >= least, qPrintable(QString("only %1 ids found").arg(ids.size())));
    QStringList files;
    for (const char* const language : {"en", "fr"})
        files.append(catalogueFile(QTest::currentDataTag(), language));
    const QStringList faults = textFaults(ids, files);
    QVERIFY2(faults.isEmpty(), qPrintable(faults.join('\n')));
}

// The files that there are, are the ones that are checked.
void TestTranslations::everyCatalogueIsChecked()
{
    QStringList checked;
    const QList<Catalogue> all = catalogues();
    for (const Catalogue& one : all) {
        for (const char* const language : {"en", "fr"})
            checked.append(QFileInfo(catalogueFile(one.name, language)).fileName());
    }
    checked.sort();
    QCOMPARE(QDir(c_sources + "/translations").entryList({"*.ts"}, QDir::Files, QDir::Name), checked);
}

void TestTranslations::languagesThereAre()
{
    QCOMPARE(availableLanguages(), (QStringList{"en", "fr"}));
}

void TestTranslations::bestLanguage_data()
{
    QTest::addColumn<QStringList>("preferred");
    QTest::addColumn<QString>("best");
    QTest::newRow("nothing") << QStringList() << "en";
    QTest::newRow("French") << QStringList{"fr"} << "fr";
    QTest::newRow("of Canada") << QStringList{"fr-CA"} << "fr";
    QTest::newRow("as in the environment") << QStringList{"fr_FR"} << "fr";
    QTest::newRow("English first") << QStringList{"en-US", "fr"} << "en";
    QTest::newRow("German, then French") << QStringList{"de-DE", "fr-FR"} << "fr";
    QTest::newRow("German") << QStringList{"de"} << "en";
    QTest::newRow("no locale") << QStringList{"C"} << "en";
    QTest::newRow("another that begins so") << QStringList{"frr"} << "en";
}

void TestTranslations::bestLanguage()
{
    QFETCH(QStringList, preferred);
    QTEST(::bestLanguage(preferred), "best");
}

void TestTranslations::programSpeaks_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QStringList>("environment");
    QTest::addColumn<QString>("name");
    const QString english = "\"Screwdriver model\"";
    const QString french = "\"Modèle de la visseuse\"";
    QTest::newRow("no locale") << QStringList() << QStringList() << english;
    QTest::newRow("French locale") << QStringList() << QStringList{"LANG=fr_FR.UTF-8"} << french;
    QTest::newRow("German locale") << QStringList() << QStringList{"LANG=de_DE.UTF-8"} << english;
    QTest::newRow("French asked for") << QStringList{"--language", "fr"} << QStringList() << french;
    QTest::newRow("English asked for")
        << QStringList{"--language", "en"} << QStringList{"LANG=fr_FR.UTF-8"} << english;
}

void TestTranslations::programSpeaks()
{
    QFETCH(QStringList, options);
    QFETCH(QStringList, environment);
    QFETCH(QString, name);
#ifdef Q_OS_WIN
    if (!environment.isEmpty() && options.isEmpty())
        QSKIP("the language is the user's setting here, and no variable of the environment");
#endif
    int exitCode = -1;
    const QString output =
        outputOf(QStringList{"run", "getInfo", "--format", "jsonl"} + options, environment, &exitCode);
    QCOMPARE(exitCode, 0);
    QVERIFY2(output.contains(name), qPrintable(output));
    QVERIFY2(!output.contains("DCmdGetInfo_"), qPrintable(output));
}

void TestTranslations::programRefusesAnUnknownLanguage()
{
    int exitCode = -1;
    const QString output = outputOf({"list", "--language", "de"}, {}, &exitCode);
    QCOMPARE(exitCode, 2);
    QCOMPARE(output,
             QString("mdc-bench: error: there are no texts in the language \"de\"; there are: en, fr\n"));
}

QTEST_GUILESS_MAIN(TestTranslations)

#include "tst_translations.moc"
