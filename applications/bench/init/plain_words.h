#pragma once

#include <QString>
#include <QStringList>

// The words of a name as they are compared: in small letters, without accents, "motorRun" and "Motor-Run"
// alike "motor", "run"; numbers are words of their own.
QStringList plainWords(const QString& name);

// One of the words is one of these.
bool hasWord(const QStringList& words, const QStringList& wanted);

// "Target torque" as "targetTorque"; empty for what has no letter.
QString nameOfWords(const QStringList& words);
