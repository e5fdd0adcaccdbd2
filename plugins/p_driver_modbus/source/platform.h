#pragma once

#include <QSerialPort>

// What each operating system does in its own way.

// Whether an open serial port is the terminal that this process runs in.
bool isTerminalOfProcess(const QSerialPort& port);
