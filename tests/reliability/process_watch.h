#pragma once

#include <QtGlobal>

// What this process uses, of the kernel and of Qt.

// Counts the objects of Qt that are made from now on; called once, at the start.
void countQtObjects();
int liveQtObjects();

int openDescriptors();
// Bytes that the program has from malloc; 0 where another allocator serves it (sanitizers).
qint64 heapInUse();
// Milliseconds of processor time of all threads so far.
double processorTime();
// Milliseconds for which the calling thread could have run and the machine was busy with others; 0
// where the kernel does not tell.
double waitedForProcessor();
