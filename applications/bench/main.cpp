#include "applications/bench/bench.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("mdc-bench"));
    QStringList arguments;
#ifdef Q_OS_WIN
    arguments = QCoreApplication::arguments().mid(1);
#else
    // The bytes as they are, whatever the locale of a script is: file names and values are UTF-8.
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
#endif
    return runBench(arguments);
}
