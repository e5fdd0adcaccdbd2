#include "log_line.h"

#include <QTest>

using namespace mdc;

class TestMdcLogLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void logSourceNames_data();
    void logSourceNames();
};

void TestMdcLogLine::logSourceNames_data()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QString>("name");
    const QString lock = QStringLiteral("plugins/p_device_mdc/source/d_cmd_setLock");
    QTest::newRow("absolute") << QByteArray("/home/x/plugins/p_device_mdc/source/d_cmd_setLock.cpp") << lock;
    QTest::newRow("from the root") << QByteArray("plugins/p_device_mdc/source/d_cmd_setLock.cpp") << lock;
    QTest::newRow("from a build folder")
        << QByteArray("../../plugins/p_device_mdc/source/d_cmd_setLock.cpp") << lock;
    QTest::newRow("from its folder") << QByteArray("d_cmd_setLock.cpp") << lock;
    QTest::newRow("Windows") << QByteArray("C:\\work\\plugins\\p_device_mdc\\source\\d_cmd_setLock.cpp")
                             << lock;
    QTest::newRow("mixed") << QByteArray("C:\\work/plugins\\p_device_mdc/source\\d_cmd_setLock.cpp") << lock;
    QTest::newRow("dots in folders") << QByteArray("/x.y/plugins/p_device_mdc/source/d_cmd_setLock") << lock;
}

void TestMdcLogLine::logSourceNames()
{
    QFETCH(QByteArray, path);
    QFETCH(QString, name);
    QCOMPARE(logSourceName(path.constData()), name);
}

QTEST_GUILESS_MAIN(TestMdcLogLine)
#include "tst_mdc_log_line.moc"
