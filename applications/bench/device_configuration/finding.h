#pragma once

#include <QString>

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
};
