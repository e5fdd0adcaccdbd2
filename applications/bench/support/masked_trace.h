#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// A text in which identities were replaced, and how often.
struct ReplacedText
{
    QString text;
    int replaced = 0;
    // Not when a search gave up before the end of the text: something may be left in it then.
    bool isWhole = true;
};

// Is this a line of a trace of frames, "date time tx|rx hex", or of what became of the connection?
bool isTraceLine(const QString& line);

// The text with "xx" for each byte that answers the question who a controller is: the answer holds its serial
// number. All that comes between two questions is masked when one of its bytes belongs to such an answer, in
// however many pieces and however late it comes: what follows that question, up to the answer's end, and the
// first question of a connection or of all; what has the form of the answer; and what holds one of `serials`,
// known serial numbers in bytes. Lines that are none of a trace stay.
ReplacedText maskedTrace(const QString& text, const QList<QByteArray>& serials = {});
