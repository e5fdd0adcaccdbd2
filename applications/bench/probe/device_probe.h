#pragma once

#include "applications/bench/probe/probe_plan.h"
#include "applications/bench/probe/register_image.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

// What became of one range.
struct ProbedValue
{
    ProbedRange range;
    QList<int> values;  // empty when one is missing
    QList<int> refused; // registers that the controller does not read
    QString message;    // why it was not read; empty when it was
    // Done, Refused, or why there was no answer.
    ExitCode code = ExitCode::Done;
    // One answer has brought all of it.
    bool wasReadWhole = false;

    bool isRead() const { return !values.isEmpty(); }
};

// Where else a range may be that the controller refuses, or whose value makes no sense.
struct Elsewhere
{
    enum class Place { OneLower, OneHigher, WithoutNotation, OtherTable };

    Place place = Place::OneLower;
    int range = 0; // index of the value
    ReadRequest request;
    QList<int> values;
};

struct ProbeResult
{
    QList<ProbedValue> values;
    QList<Elsewhere> elsewhere; // where reading has brought something
    QList<qint64> roundTrips;   // µs of each request that was answered, the oldest first
    int requests = 0;           // that were sent to read the values
    // What there was no more time for.
    QStringList unprobed;
    // Why the rest was not read: the controller does not answer; empty when it does.
    QString end;
    ExitCode code = ExitCode::Done; // of that
};

// Reads everything that a configuration names for this controller, once, and looks for what is not there
// where it may be. Never writes.
class DeviceProbe
{
public:
    // Is there no more time? What is left undone then is told.
    using Clock = std::function<bool()>;

    DeviceProbe(const QJsonObject& configuration, const ConnectedController& controller,
                RegisterReader reader, std::function<bool()> isCancelled = {}, Clock isOutOfTime = {});

    // Once.
    ProbeResult run();

private:
    ReadReply read(const ReadRequest& request);
    bool isOver() const;
    bool isLate() const { return m_isOutOfTime && m_isOutOfTime(); }
    void readAll();
    // After a refusal: what the request has for one range or another, and these register by register.
    void readParts(const ReadRequest& request, const QString& refusal);
    void readSingly(const ReadRequest& request, const QString& refusal);
    void lookElsewhere();
    void lookElsewhere(int range);
    void measure();

    const QJsonObject m_configuration;
    const ConnectedController m_controller;
    const RegisterReader m_reader;
    const std::function<bool()> m_isCancelled;
    const Clock m_isOutOfTime;
    QList<ProbedRange> m_ranges;
    RegisterImage m_image;
    ProbeResult m_result;
    int m_missed = 0; // requests in a row that nobody has answered
};

// Registers of another notation, 40107 for the holding register 106, as requests; the type follows from the
// first digit. Nothing for a number that is none.
std::optional<ReadRequest> withoutNotation(const ReadRequest& request);
