#pragma once

#include "applications/bench/core/bench_problem.h"
#include "applications/bench/core/console.h"
#include "applications/bench/core/exit_code.h"
#include "applications/bench/core/general_options.h"
#include "applications/bench/core/interrupt.h"
#include "applications/bench/core/output_format.h"

#include <QList>
#include <QString>

#include <initializer_list>
#include <memory>
#include <vector>

class OptionSet;
class QCoreApplication;

// What the command line and its help need to know of a subcommand before any option is read.
struct SubcommandDescription
{
    const char* name;
    const char* summary; // one line of the program's help
    const char* details; // below the options in its own help; ends with "Examples:" and some
    // Forms that its results may have; the first one is what --format is without being given.
    QList<OutputFormat> formats{OutputFormat::Table, OutputFormat::Json, OutputFormat::JsonLines};
    // What is said when it is asked for one that it does not have, and that others do.
    const char* otherFormat = "";
};

// One subcommand: its options, what its help says of them, and what it does. The options live in it, so
// that an object is good for one command line.
class Subcommand
{
public:
    explicit Subcommand(const SubcommandDescription& description);
    virtual ~Subcommand();
    Q_DISABLE_COPY_MOVE(Subcommand)

    const SubcommandDescription& description() const { return m_description; }
    QString name() const { return QString::fromLatin1(m_description.name); }

    // Adds its options, each bound to a member.
    virtual void addTo(OptionSet& options) = 0;
    // After parsing. A combination that the parser's rules cannot tell; empty when there is nothing to
    // complain about. One that overrides this asks for formatProblem() too.
    virtual QString contradiction(const GeneralOptions& general) const;
    // After parsing. What run() needs as the application object; null with a problem.
    virtual std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv,
                                                              BenchProblem* problem) const;
    // Does the work, speaks on the console, returns what the program exits with. Needs the application
    // object, and makes its own bench.
    virtual ExitCode run(const GeneralOptions& general, Console& console, Interrupt& interrupt) = 0;

protected:
    // Whether it has the form that is asked for.
    QString formatProblem(const GeneralOptions& general) const;

private:
    const SubcommandDescription m_description;
};

// In the order of the program's help.
using Subcommands = std::vector<std::unique_ptr<Subcommand>>;

// The first text that is not empty, if there is one.
QString firstProblem(std::initializer_list<QString> problems);
