#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

// Where a device's configuration says that tightening events are, for one generation.
struct EventSource
{
    // What "getRegister" takes as "channel" to read the event counter.
    QString counterChannel;
    // Names of the event's values in the order of the key list, each once, without "eventCountNo".
    QStringList valueNames;
    // Empty when events can be told apart; each says what to do.
    QStringList errors;
};

// `configuration` is a device object's "configuration".
// The counter's register needs a channel of its own generation with this register and the event
// block's register type: "eventData" itself is one when the block begins with the counter.
EventSource eventSource(const QJsonObject& configuration, int generation);
