#pragma once

#include "applications/bench/core/bench_session.h"
#include "applications/bench/probe/register_reader.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

// What a controller does with a request for a unit.
struct UnitAnswer
{
    int unit = 0;
    bool isAnswered = false;
    QString text; // "answers", "refused: …"
};

struct LinkFacts
{
    // Connections that were served at the same time, that of the bench among them; nothing when the link is
    // none of which there could be several.
    std::optional<int> connections;
    bool areMore = false; // so many at least
    // Milliseconds between requests, with which it answered all of them; nothing when it missed some anyhow.
    std::optional<int> pause;
    QList<UnitAnswer> units;
    // What there was no more time for.
    QStringList unprobed;
};

// Other links to the controller that a driver object leads to, by the same kind of driver: how many it serves
// at once, and whom it takes requests for. On a serial line nobody else is asked. `request` is one that the
// controller answers. Reads only, and as long as there is time.
LinkFacts probeLink(BenchSession& session, DAbstractPlugin& driver, const ReadRequest& request,
                    Console& console, Interrupt& interrupt, const std::function<bool()>& isOutOfTime);

// The shortest pause of some, from 0 on, with which a row of reads is answered; `wait` waits so many ms.
std::optional<int> neededPause(const RegisterReader& reader, const ReadRequest& request,
                               const std::function<void(int milliseconds)>& wait);

QString connectionsText(const LinkFacts& facts);
QString pauseText(const LinkFacts& facts);
QJsonObject toJson(const LinkFacts& facts);
