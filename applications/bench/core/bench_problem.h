#pragma once

#include "applications/bench/core/exit_code.h"

#include <QString>
#include <QStringList>

class Console;

// What keeps a bench from being used.
struct BenchProblem
{
    ExitCode code = ExitCode::Configuration;
    QStringList messages;
    QString hint = QString(); // what to do; may be empty

    void tell(Console& console) const;
};
