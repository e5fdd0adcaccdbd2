#pragma once

#include <QObject>

#include <functional>

// Tells once when whoever reads standard output through a pipe has gone, also while there is nothing to
// write: a command that listens would go on for nobody. Needs an event loop; on a terminal, a file and where
// the platform cannot tell it does nothing.
class ReaderWatch : public QObject
{
    Q_OBJECT

public:
    explicit ReaderWatch(std::function<void()> onGone);
};
