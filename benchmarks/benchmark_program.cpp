#include "benchmarks/benchmark_program.h"

#include "benchmarks/served_controllers.h"

#include <lib_host/event_dispatcher.h>

namespace {

const QString c_serve = QStringLiteral("serve");

// Before the application object is made.
int& withQtDispatcher(int& argc)
{
    preferQtEventDispatcher();
    return argc;
}

} // namespace

BenchmarkProgram::BenchmarkProgram(int& argc, char** argv, const char* description)
    : m_application(withQtDispatcher(argc), argv)
{
    m_parser.setApplicationDescription(QString::fromUtf8(description));
    m_parser.addHelpOption();
    QCommandLineOption serve(c_serve, QStringLiteral("Be the other process"), QStringLiteral("N"));
    serve.setFlags(QCommandLineOption::HiddenFromHelp);
    m_parser.addOption(serve);
}

void BenchmarkProgram::addOption(const char* name, const char* text, const char* defaultValue)
{
    QCommandLineOption option(QString::fromUtf8(name), QString::fromUtf8(text), QStringLiteral("VALUE"));
    if (*defaultValue != '\0')
        option.setDefaultValue(QString::fromUtf8(defaultValue));
    m_parser.addOption(option);
}

std::optional<int> BenchmarkProgram::parse()
{
    m_parser.process(m_application);
    quietLog();
    if (!m_parser.isSet(c_serve))
        return std::nullopt;
    return serveControllers(m_parser.value(c_serve).toInt(), [](Simulator&) {});
}

QString BenchmarkProgram::text(const char* name) const
{
    return m_parser.value(QString::fromUtf8(name));
}

QStringList BenchmarkProgram::texts(const char* name) const
{
    return m_parser.values(QString::fromUtf8(name));
}

int BenchmarkProgram::number(const char* name, int least, int most) const
{
    return qBound(least, text(name).toInt(), most);
}
