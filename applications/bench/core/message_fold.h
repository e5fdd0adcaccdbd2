#pragma once

#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>

// Which of the messages that come again and again are shown. A message is of one kind with those that differ
// from it in nothing but numbers, and begin alike.
//
// The first of a kind is shown at once, and the first few that differ from it; the rest is counted, and the
// count told at growing intervals, and at the end. A kind that has not come for ten minutes is new.
// However much each message differs from the others, an hour has less than 100 kB of them, and the memory
// does not grow: what that leaves out is counted as well.
//
// It has no clock: `now` is in milliseconds and does not go back.
class MessageFold
{
public:
    struct Message
    {
        QString label; // what stands before the text: messages of two labels are of two kinds
        QString text;
        int tint = 0; // for whoever shows it
    };

    static constexpr qint64 c_quietTime = 600'000; // ms, after which a kind is new
    static constexpr int c_textsOfKind = 4;        // that differ, and are shown
    static constexpr int c_mostKinds = 32;

    MessageFold();

    // What messages of one kind have in common.
    static QString kindOf(const Message& message);

    // What is to be shown now: counts that are due, and the message unless it is counted.
    QList<Message> take(qint64 now, const Message& message);
    // The counts that are due.
    QList<Message> due(qint64 now);
    // When due() has something, unless take() comes before; nothing when nothing is counted.
    std::optional<qint64> nextDue() const;
    // All counts.
    QList<Message> rest(qint64 now);

private:
    struct Count
    {
        QStringList shown;
        Message newest;
        int count = 0;
        qint64 since = 0; // the count before, or the message that was shown
        qint64 last = 0;
        qint64 interval = 0; // the longest time until the count is told

        qint64 dueTime() const;
    };

    void refill(qint64 now);
    Message spent(const Message& message);
    void leaveOut(qint64 now, int count);
    void makeRoom(qint64 now);
    QList<Count*> pending(qint64 dueUntil);
    Message told(qint64 now, Count& count);

    QHash<QString, Count> m_kinds;
    Count m_leftOut;
    double m_credit; // bytes that may be shown at once
    qint64 m_refilled = 0;
};
