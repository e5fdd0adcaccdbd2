#pragma once

#include "applications/bench/core/bench_session.h"

#include <QString>
#include <QVariantMap>

class SimulatedController;

// One demonstration over one transport: each order with what it asks, what it wrote and what it gave, and
// whether the controller did it.
class Demonstration
{
public:
    // `general` is of the bundled configuration, with a simulated controller.
    Demonstration(const GeneralOptions& general, Console& console, Interrupt& interrupt);

    // Once. Done when all is as expected; else what was not has been told.
    ExitCode run();
    int orderCount() const { return m_orders; }

private:
    SimulatedController& controller();
    // The configured protocol address of a channel; -1 when it has none.
    int registerOf(const QString& channel) const;

    void introduce();
    // Runs the order and prints what became of it; false when it did not succeed.
    bool show(const QString& command, const QVariantMap& arguments, const QString& purpose);
    void showWrites(qint64 requestsBefore);
    void showResults();
    void line(const QString& label, const QString& text);
    void expect(bool met, const QString& what, const QString& found);
    // The write that a command should have caused, and no other.
    void expectWrite(const QString& channel, quint16 value);
    QString suffix();

    void showGetInfo();
    void showSetDirection();
    void showSetProgram();
    void showResetAlarm();
    void showGetRegister();

    const bool m_isTcp;
    Console& m_console;
    BenchSession m_session;
    DAbstractPlugin* m_device = nullptr;
    OrderEnd m_end;
    ExitCode m_code = ExitCode::Done;
    int m_orders = 0;
};
