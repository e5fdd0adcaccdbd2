#pragma once

// How long a serial line is listened to after a missed or broken answer, before the next request is
// sent: an answer there does not tell which request it belongs to. Times are in milliseconds.

// The line must have been silent for so long; each byte that is heard starts this anew.
constexpr int c_quietTime = 100;

// `allowedTime` is what the request had: whoever is slow enough to miss that may need it twice.
int drainTimeAfter(int allowedTime);

// What remains of a drain when a byte is heard with `remainingTime` of it to go.
int drainTimeAfterByte(int remainingTime);
