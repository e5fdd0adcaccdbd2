#pragma once

#include <QHash>
#include <QString>
#include <QVector>

#include <functional>

class RowReport;

// One fault: what is done to the running chain, and what is then to be seen.
struct Row
{
    QString id;       // "tcp.half-frame": letters, digits, '.' and '-'; part of the test's name
    QString group;    // heading in the table
    QString fault;    // as the table shows it
    QString where;    // where it is injected
    QString expected; // besides what holds for every row
    std::function<void(RowReport& report)> run;
    // What is exchanged for a naive one to show that the fault bites. Empty: there is none of what the row
    // is about, and with another driver it would only say the same.
    QString naive = QStringLiteral("driver");

    // It repeats itself, and does so more often when it is asked to: its texts say how often.
    bool hasFullNumber() const
    {
        const QString option = QStringLiteral("--full");
        return fault.contains(option) || where.contains(option);
    }
};

// All rows in their order. A row that has no id or one that is there already ends the program.
class RowTable
{
public:
    void add(Row row);
    const QVector<Row>& rows() const { return m_rows; }
    // Null when there is none.
    const Row* find(const QString& id) const;

private:
    QVector<Row> m_rows;
    QHash<QString, int> m_positions;
};

// One function per group, in a file of its own.
void addTcpRows(RowTable& table);
void addRtuRows(RowTable& table);
void addFilesRows(RowTable& table);
void addKeptRows(RowTable& table);
void addInputRows(RowTable& table);
void addConfigurationRows(RowTable& table);
void addLifetimeRows(RowTable& table);
void addLoadRows(RowTable& table);
