#include "applications/bench/core/bench_problem.h"

#include "applications/bench/core/console.h"

void BenchProblem::tell(Console& console) const
{
    for (const QString& message : messages)
        console.error(message);
    if (!hint.isEmpty())
        console.hint(hint);
}
