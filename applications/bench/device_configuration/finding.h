#pragma once

#include <QString>
#include <QStringList>

enum class FindingLevel { Ok, Warning, Error };

// What a look at one thing of a bench found.
struct Finding
{
    FindingLevel level = FindingLevel::Ok;
    // What was looked at: "setDirection, generation 2".
    QString subject;
    QString message;
    // What to do about it; empty when all is well.
    QString remedy;
    // The channels that it is about, where that is not to be read from the subject.
    QStringList channels = {};
};
