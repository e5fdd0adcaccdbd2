#pragma once

#include "applications/bench/core/command_line.h"
#include "applications/bench/subcommand_table.h"

#include <QStringList>

// A command line as the program parses it, with the subcommands that it was parsed for.
class ParsedCall
{
public:
    explicit ParsedCall(const QStringList& arguments)
        : m_subcommands(makeSubcommands())
        , m_parsed(parseCommandLine(m_subcommands, arguments))
    {}

    const ParsedCommandLine* operator->() const { return &m_parsed; }
    // The subcommand that is asked for; null when it is another one, or none.
    template <class S>
    const S* as() const
    {
        return dynamic_cast<const S*>(m_parsed.subcommand);
    }

private:
    const Subcommands m_subcommands;
    const ParsedCommandLine m_parsed;
};
