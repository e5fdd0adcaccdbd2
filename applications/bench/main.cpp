#include "applications/bench/core/bench.h"
#include "applications/bench/subcommand_table.h"

#include <lib_host/event_dispatcher.h>
#include <lib_utilities/platform.h>

int main(int argc, char* argv[])
{
    const StandardStreams streams;
    preferQtEventDispatcher();
    return runBench(makeSubcommands(), programArguments(argc, argv), argc, argv);
}
