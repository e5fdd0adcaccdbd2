#include <lib_host/json_scan.h>

#include <QJsonDocument>
#include <QTest>

namespace {

// "line 1, column 2: message"; empty for JSON.
QString faultOf(const QByteArray& text)
{
    const DJsonScan scan = scanJson(text);
    return scan.fault ? positionInText(text, scan.fault->offset) + ": " + scan.fault->message : QString();
}

QStringList repeatedIn(const QByteArray& text)
{
    QStringList keys;
    const DJsonScan scan = scanJson(text);
    for (const DRepeatedKey& repeated : scan.repeatedKeys)
        keys.append(QString("%1 %2 %3").arg(repeated.key).arg(repeated.offset).arg(repeated.firstOffset));
    return keys;
}

void addGood()
{
    for (const char* const text : {"{}", "[]", " { \"a\" : [ 1 , -2.5e+3, \"x\", true, false, null, {} ] } ",
                                   "\xef\xbb\xbf{}", R"({"a": "}]\",\\"})", "[[[[]]]]", "[0, -0, 1E5]"})
        QTest::newRow(text) << QByteArray(text) << QString();
}

void addFaults()
{
    const auto row = [](const char* name, const char* text, const char* fault) {
        QTest::newRow(name) << QByteArray(text) << QString(fault);
    };
    row("comma in an object", "{\"a\": 1\n \"b\": 2}",
        "line 2, column 2: a comma or } is missing before \"b\"");
    row("comma behind an object", "{\"a\": {}\n\"b\": 2}",
        "line 2, column 1: a comma or } is missing before \"b\"");
    row("comma in a list", "[1 2]", "line 1, column 4: a comma or ] is missing before 2");
    row("comma between objects", "[{}\n  {}]", "line 2, column 3: a comma or ] is missing before {");
    row("wrong bracket", "{\"a\": 1]", "line 1, column 8: a comma or } is missing before ]");
    row("comma too many", "{\"a\": 1,}",
        "line 1, column 9: a key is missing before }, or the comma is one too many");
    row("comma too many in a list", "[1,]",
        "line 1, column 4: a value is missing before ], or the comma is one too many");
    row("two commas", "{\"a\": 1,,}", "line 1, column 9: a key between quotes is missing before ,");
    row("colon", "{\"a\" 1}", "line 1, column 6: a colon is missing before 1");
    row("value", "{\"a\": }", "line 1, column 7: a value is missing before }");
    row("key without quotes", "{a: 1}", "line 1, column 2: a key between quotes is missing before a");
    row("text without quotes", "{\"a\": tcp}",
        "line 1, column 7: tcp is no value; a text stands between quotes");
    row("number with a comma", "{\"a\": 1,5}", "line 1, column 9: a key between quotes is missing before 5");
    row("number with a zero before it", "[01]",
        "line 1, column 2: 01 is no value; a text stands between quotes");
    row("single quotes", "{'a': 1}", "line 1, column 2: a key between quotes is missing before '");
    row("comment", "{ // x\n}", "line 1, column 3: a key between quotes is missing before /");
    row("quote", "{\n\"a\": \"tcp,\n\"b\": 2}", "line 2, column 6: the closing \" is missing of \"tcp,");
    row("quote at the end", "[\"a", "line 1, column 2: the closing \" is missing of \"a");
    row("backslash at the end", "[\"a\\", "line 1, column 2: the closing \" is missing of \"a\\");
    row("end of an object", "{\n  \"a\": {\"b\": 1}\n",
        "line 3, column 1: the closing } is missing of what begins at line 1, column 1");
    row("end of a list", "{\"a\": [1",
        "line 1, column 9: the closing ] is missing of what begins at line 1, "
        "column 7");
    row("two documents", "{} {}", "line 1, column 4: { stands behind the end");
    row("bracket too many", "{}}", "line 1, column 3: } stands behind the end");
    row("nothing", " \n", "line 2, column 1: there is nothing in it");
    row("behind other letters", "[\"\xc3\xa9\xe2\x82\xac\" 1]",
        "line 1, column 7: a comma or ] is missing before 1");
    row("a letter of several bytes", "[1 \xe2\x82\xac]",
        "line 1, column 4: a comma or ] is missing before \xe2\x82\xac");
}

} // namespace

class TstJsonScan : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fault_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QString>("expected");
        addGood();
        addFaults();
    }

    // Qt's parser refuses the same texts.
    void fault()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, expected);
        QCOMPARE(faultOf(text), expected);
        const bool isRead = !QJsonDocument::fromJson(text).isNull();
        // It counts zeroes before a number as nothing.
        if (text != "[01]")
            QCOMPARE(isRead, expected.isEmpty());
    }

    void repeatedKeys_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char* name, const char* text, const QStringList& keys) {
            QTest::newRow(name) << QByteArray(text) << keys;
        };
        row("none", R"({"a": {"a": 1}, "b": [{"a": 1}, {"a": 2}], "A": "a"})", {});
        row("two", R"({"a": 1, "a": 2})", {"a 9 1"});
        row("three", R"({"a": 1, "a": 2, "a": 3})", {"a 9 1", "a 17 1"});
        row("inside", R"([{"a": {"x": 1, "x": 1}}])", {"x 16 8"});
        row("around", R"({"a": {"a": 1}, "a": 1})", {"a 16 1"});
        row("escaped", R"({"id": 1, "\u0069d": 2})", {"id 10 1"});
        row("empty", R"({"": 1, "": 2})", {" 8 1"});
        row("before a fault", R"({"a": 1, "a": 2 "b")", {"a 9 1"});
    }

    void repeatedKeys()
    {
        QFETCH(QByteArray, text);
        QTEST(repeatedIn(text), "expected");
    }

    void deepNesting()
    {
        constexpr int c_depth = 200000;
        QCOMPARE(faultOf(QByteArray(c_depth, '[') + QByteArray(c_depth, ']')), QString());
    }
};

QTEST_GUILESS_MAIN(TstJsonScan)
#include "tst_json_scan.moc"
