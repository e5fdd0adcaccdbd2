#pragma once

#include "applications/bench/probe/probe_plan.h"

#include <QHash>
#include <QString>

#include <optional>

// What reading has found of a controller's registers so far.
class RegisterImage
{
public:
    // The whole request was answered with these values.
    void take(const ReadRequest& request, const QList<int>& values);
    // The controller has refused to read this one, alone.
    void refuse(const QString& type, int address, const QString& message);

    std::optional<int> value(const QString& type, int address) const;
    // The controller's words; empty for one that it has not refused.
    QString refusal(const QString& type, int address) const;
    // All of them; empty when one is missing.
    QList<int> values(const ProbedRange& range) const;
    // Those of the range that the controller refuses.
    QList<int> refused(const ProbedRange& range) const;
    // One answer has brought them all.
    bool wasReadWhole(const ProbedRange& range) const;

private:
    struct Cell
    {
        int value = -1;
        QString refusal;
    };
    static QString keyOf(const QString& type, int address);

    QHash<QString, Cell> m_cells;
    QList<ReadRequest> m_answered;
};
