#include "applications/bench/core/subcommand.h"

#include <QCoreApplication>

#include <algorithm>

Subcommand::Subcommand(const SubcommandDescription& description)
    : m_description(description)
{}

Subcommand::~Subcommand() = default;

QString Subcommand::contradiction(const GeneralOptions& general) const
{
    return formatProblem(general);
}

std::unique_ptr<QCoreApplication> Subcommand::makeApplication(int& argc, char** argv,
                                                              BenchProblem* /*problem*/) const
{
    return std::make_unique<QCoreApplication>(argc, argv);
}

QString Subcommand::formatProblem(const GeneralOptions& general) const
{
    if (m_description.formats.contains(general.format))
        return {};
    const OutputFormatDescription format = outputFormatDescription(general.format);
    if (!format.onlyOf.isEmpty())
        return QStringLiteral("--format %1 is for \"%2\" only")
            .arg(QLatin1String(format.name), format.onlyOf.join(QStringLiteral("\" and \"")));
    return QString::fromLatin1(m_description.otherFormat);
}

QString firstProblem(std::initializer_list<QString> problems)
{
    const auto* const found =
        std::find_if(problems.begin(), problems.end(), [](const QString& text) { return !text.isEmpty(); });
    return found == problems.end() ? QString() : *found;
}
