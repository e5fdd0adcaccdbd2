#include "applications/bench/check/check_page.h"
#include "applications/bench/check/page_file.h"

#include "tests/support/sample_folder.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>
#include <QXmlStreamReader>

namespace {

const QString c_nasty = "<script>alert(\"1 & 2\")</script>'\x1b[31m";

CheckPage nastyPage()
{
    CheckPage page;
    page.time = "2026-03-01T09:30:00.125+01:00";
    page.configurationName = c_nasty;
    page.versions = QStringList{c_nasty};
    page.verdict = "1 ok, warnings: 0, errors: 1";
    page.objects = {QJsonObject{
        {"name", c_nasty},
        {"configuration",
         QJsonObject{
             {"host", c_nasty},
             {"channels", QJsonArray{QJsonObject{
                              {"id", c_nasty},
                              {"name", c_nasty},
                              {"value", QJsonArray{QJsonObject{{"id", c_nasty}, {"value", c_nasty}}}}}}}}}}};
    page.findings = {
        QJsonObject{{"level", "error"}, {"subject", c_nasty}, {"message", c_nasty}, {"remedy", c_nasty}}};
    page.valueHeader = QStringList{"CHANNEL", "VALUE"};
    page.values = {{c_nasty, "1"}};
    page.measurements = {{"round trip", c_nasty}};
    return page;
}

// Element names in their order, and the texts between them.
struct ReadPage
{
    QStringList elements;
    QString text;
    QString error;
};

ReadPage readPage(const QByteArray& html)
{
    ReadPage page;
    // The only thing on it that XML does not have.
    QXmlStreamReader reader(QByteArray(html).replace("<meta charset=\"utf-8\">", ""));
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement())
            page.elements.append(reader.name().toString());
        if (reader.isCharacters())
            page.text += reader.text();
    }
    page.error = reader.hasError() ? reader.errorString() : QString();
    return page;
}

} // namespace

class TstCheckPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    // What a configuration or a controller says cannot become a part of the page.
    void textIsOnlyText()
    {
        const QByteArray html = checkPage(nastyPage());
        QVERIFY(!html.contains("<script"));
        QVERIFY(!html.contains('\x1b'));
        const ReadPage page = readPage(html);
        QCOMPARE(page.error, QString());
        QVERIFY(!page.elements.contains("script"));
        // Each place where it was given has it, whole.
        QCOMPARE(page.text.count("<script>alert(\"1 & 2\")</script>"), 17);
    }

    void contents()
    {
        const ReadPage page = readPage(checkPage(nastyPage()));
        for (const char* const heading :
             {"Findings", "Values", "Measured", "Register map of", "Versions", "Signed", "Not good: 1 ok"})
            QVERIFY2(page.text.contains(heading), heading);
        CheckPage good = nastyPage();
        good.isGood = true;
        QVERIFY(readPage(checkPage(good)).text.contains("Good: 1 ok"));
    }

    // A column is as wide as its words; only what is too long for any is broken, wherever it ends.
    void longWords()
    {
        CheckPage page = nastyPage();
        const QString longWord(60, 'x');
        page.values = {{"holdingRegisters", "a " + longWord}, {"6201-6216", "-"}};
        const QByteArray html = checkPage(page);
        QVERIFY(html.contains("<td>holdingRegisters</td>"));
        QVERIFY(html.contains("<td class=\"long\">a " + longWord.toUtf8() + "</td>"));
        QVERIFY(html.contains("<td class=\"range\">6201-6216</td>"));
        // What is signed stands where it is signed.
        QCOMPARE(html.count("Not good: 1 ok"), 2);
        QVERIFY(html.contains(".long{overflow-wrap:anywhere}"));
        QVERIFY(!html.contains("th,td{border:1px solid #999;padding:.2em .5em;text-align:left;"
                               "vertical-align:top;overflow-wrap"));
        // The heading of a table stands on each page of print, and nobody signs on a page without his name.
        QVERIFY(html.contains("<thead>\n<tr><th>CHANNEL</th>"));
        QVERIFY(html.contains(".signed{break-inside:avoid}"));
    }

    // It is one file: nothing is fetched from anywhere.
    void needsNothingElse()
    {
        const QByteArray html = checkPage(nastyPage());
        for (const char* const reference : {"src=", "href=", "url(", "@import", "http"})
            QVERIFY2(!html.contains(reference), reference);
    }

    void file()
    {
        const SampleFolder folder;
        const QString path = folder.filePath("page.html");
        QVERIFY(!writePageFile(path, "one", false));
        const auto again = writePageFile(path, "two", false);
        QVERIFY(again && again->messages.constFirst().contains("is there already"));
        QVERIFY(again->hint.contains("--force"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("one"));
        file.close();
        QVERIFY(!writePageFile(path, "two", true));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("two"));
        QVERIFY(pageFileProblem(folder.path(), true));
        QVERIFY(pageFileProblem(folder.filePath("absent/page.html"), false));
    }
};

QTEST_GUILESS_MAIN(TstCheckPage)
#include "tst_check_page.moc"
