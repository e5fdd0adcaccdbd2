#pragma once

#include <QVector>

// What the rounds of a benchmark have in common. Values of one unit, at least one.
double median(QVector<double> values);
// The value that so many per cent of the others are not above.
double percentile(QVector<double> values, double percent);
double worst(const QVector<double>& values);

// Binds this process to one processor, so that rounds are alike; processes that it starts later inherit
// it unless they bind themselves. Without an effect when there are fewer processors.
void bindToProcessor(int number);
// Seconds of processor time that this process has used.
double processorSeconds();
// Bytes of memory that this process has resident.
qint64 residentBytes();

// One line of the table: what, in figures of its own, its ratio to a baseline of the same rounds, and the
// ratio wanted. Prints it as "what | median | baseline | ratio median | ratio worst | wanted" on standard
// output.
void printRatio(const char* what, const char* unit, const QVector<double>& values, const char* baseline,
                const QVector<double>& baselineValues, double wanted);
