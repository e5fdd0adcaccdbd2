#include "applications/bench/core/bench.h"
#include "applications/bench/subcommand_table.h"

#include <lib_host/event_dispatcher.h>
#include <QCoreApplication>

int main(int argc, char* argv[])
{
    preferQtEventDispatcher();
    QStringList arguments;
#ifndef Q_OS_WIN
    // The bytes as they are, whatever the locale of a script is: file names and values are UTF-8.
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
#else
    {
        const QCoreApplication probe(argc, argv);
        arguments = QCoreApplication::arguments().mid(1);
    }
#endif
    return runBench(makeSubcommands(), arguments, argc, argv);
}
