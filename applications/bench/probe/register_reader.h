#pragma once

#include "applications/bench/core/exit_code.h"

#include <QList>
#include <QString>

#include <functional>

// One request of a driver to read, in registers as they are configured.
struct ReadRequest
{
    int address = 0;
    int count = 1;
    QString type; // "holdingRegisters"
};

struct ReadReply
{
    ExitCode code = ExitCode::CommandFailed;
    QList<int> values; // as many as were asked for when it is Done
    QString message;   // of a failure
    qint64 microseconds = 0;

    bool isDone() const { return code == ExitCode::Done; }
};

// Reads, once, and waits for the answer.
using RegisterReader = std::function<ReadReply(const ReadRequest& request)>;
