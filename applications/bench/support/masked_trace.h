#pragma once

#include <QString>

// A text in which identities were replaced, and how often.
struct ReplacedText
{
    QString text;
    int replaced = 0;
};

// Is this a line of a trace of frames, "date time tx|rx hex", or of what became of the connection?
bool isTraceLine(const QString& line);

// The text with "xx" for each byte that answers the question who a controller is: the answer holds its serial
// number. That is whatever comes between that question and the next one, in however many pieces, what comes
// before the first question of all, and an answer that says so itself. Lines that are none of a trace stay.
ReplacedText maskedTrace(const QString& text);
