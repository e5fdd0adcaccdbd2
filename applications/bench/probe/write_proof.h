#pragma once

#include "applications/bench/probe/probe_findings.h"

#include <functional>

struct WriteReply
{
    ExitCode code = ExitCode::CommandFailed;
    QString message; // of a failure
    // It failed, and the register may hold the value all the same: nobody has said that it does not.
    bool isUncertain = false;

    bool isDone() const { return code == ExitCode::Done; }
};

// Writes one register as it is configured, once, and waits for the answer.
using RegisterWriter = std::function<WriteReply(int address, const QString& type, int value)>;

// What the proof is made with. `ask` is whether a person lets it do what the text says, `wait` lets so many
// ms pass.
struct WriteMeans
{
    RegisterReader read;
    RegisterWriter write;
    std::function<bool(const QString& text)> ask;
    std::function<void(int milliseconds)> wait;
    // Somebody has had enough: what was written is still put back, but nobody who is silent is waited for.
    std::function<bool()> isInterrupted = {};
    // Why nobody can say that it is still the controller that the map was chosen for; empty when it is.
    std::function<QString()> doubtOfController = {};
    // Milliseconds since some moment; without it the proof looks at a clock itself.
    std::function<qint64()> now = {};
};

// Proves the channels that are written: each is written a value that the channel of its state does not show,
// the state is read, and what was there before is written back and read. Written back is what a state has
// shown that the write has changed, and nothing else. Nothing is written without a yes, while the motor runs
// or may run, to a channel that `known`, found of this map before, has an error of, or of its state, and to
// another controller than at the beginning.
// `configuration` is the device object's.
QList<ProbeFinding> proveWrites(const QJsonObject& configuration, const ConnectedController& controller,
                                const WriteMeans& means, const QList<Finding>& known);
