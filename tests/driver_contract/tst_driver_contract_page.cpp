#include <QFile>
#include <QRegularExpression>
#include <QTest>

// docs/driver-contract.md prints a whole driver: the one that keeps the contract in the suites beside this
// file.
class TestDriverContractPage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void printedDriver();
    void printedNames();

private:
    static QByteArray contentOf(const QString& path)
    {
        QFile file(QStringLiteral(MDC_SOURCE_DIRECTORY "/") + path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
};

void TestDriverContractPage::printedDriver()
{
    const QByteArray page = contentOf("docs/driver-contract.md");
    const QByteArray driver = contentOf("tests/driver_contract/memory_driver.cpp");
    QVERIFY(!driver.isEmpty());
    const QByteArray begin = "```cpp\n";
    QCOMPARE(page.count(begin), 1);
    const int from = page.indexOf(begin) + begin.size();
    QCOMPARE(QString::fromUtf8(page.mid(from, page.indexOf("```", from) - from)), QString::fromUtf8(driver));
}

// Every name of the contract is explained.
void TestDriverContractPage::printedNames()
{
    const QByteArray page = contentOf("docs/driver-contract.md");
    for (const char* const header : {"driver_contract.h", "plugin_description.h"}) {
        const QString text =
            QString::fromUtf8(contentOf(QStringLiteral("framework/lib_plugins_management/") + header));
        static const QRegularExpression c_name(QStringLiteral("constexpr [^\\n]*\"(\\w+)\""));
        int names = 0;
        for (auto match = c_name.globalMatch(text); match.hasNext(); ++names) {
            const QByteArray name = '"' + match.next().captured(1).toUtf8() + '"';
            QVERIFY2(page.contains(name), name.constData());
        }
        QVERIFY(names >= 10);
    }
}

QTEST_GUILESS_MAIN(TestDriverContractPage)
#include "tst_driver_contract_page.moc"
