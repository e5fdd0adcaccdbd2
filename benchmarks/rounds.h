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

// What a line of the table says beside its figures.
struct RatioRow
{
    const char* what;
    const char* unit;
    const char* peer;     // who answered
    const char* baseline; // of what the other values are
    double wanted;        // 0 for none
};

// Prints "what | peer | median | baseline | ratio median | ratio worst | wanted" on standard output; a ratio
// is of two values of the same round.
void printRatio(const RatioRow& row, const QVector<double>& values, const QVector<double>& baselineValues);
