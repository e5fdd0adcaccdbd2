#include "applications/bench/core/option_set.h"

#include "applications/bench/core/literal_words.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

constexpr double c_millisecondsPerSecond = 1000;

CLI::Option* addTexts(CLI::App& app, const std::string& name, QStringList& values,
                      const std::string& description)
{
    return app.add_option_function<std::vector<std::string>>(
        name,
        [&values](const std::vector<std::string>& words) {
            for (const std::string& word : words)
                values.append(withoutMark(word));
        },
        description);
}

// "nan" is within every range.
std::string numberComplaint(const std::string& text)
{
    double number = 0;
    return CLI::detail::lexical_cast(text, number) && std::isnan(number) ? text + " is no number"
                                                                         : std::string();
}

std::string emptyComplaint(const std::string& text)
{
    return withoutMark(text).isEmpty() ? "the value is empty; is a variable not set?" : std::string();
}

} // namespace

AddedOption AddedOption::required() const
{
    m_option->required();
    return *this;
}

AddedOption AddedOption::excludes(AddedOption other) const
{
    m_option->excludes(other.m_option);
    return *this;
}

AddedOption AddedOption::needs(const char* name) const
{
    m_option->needs(name);
    return *this;
}

AddedOption AddedOption::oneOf(std::initializer_list<const char*> texts) const
{
    m_option->check(CLI::IsMember(std::vector<std::string>(texts.begin(), texts.end())).description(""));
    return *this;
}

AddedOption AddedOption::check(const std::function<std::string(const std::string& text)>& complaint) const
{
    m_option->check(complaint, "");
    return *this;
}

AddedOption AddedOption::describe(const QString& type, const QString& description) const
{
    m_option->type_name(type.toStdString())->description(description.toStdString());
    if (description.isEmpty())
        m_option->group("");
    return *this;
}

AddedOption AddedOption::inGroup(const char* heading) const
{
    m_option->group(heading);
    return *this;
}

AddedOption OptionSet::flag(const std::string& name, bool& value, const std::string& description)
{
    return AddedOption(m_app.add_flag(name, value, description));
}

AddedOption OptionSet::text(const std::string& name, const char* type, QString& value,
                            const std::string& description)
{
    return anyText(name, type, value, description).check(&emptyComplaint);
}

AddedOption OptionSet::anyText(const std::string& name, const char* type, QString& value,
                               const std::string& description)
{
    return converted(
        name, type, [&value](const QString& text) { value = text; }, description);
}

AddedOption OptionSet::texts(const std::string& name, const char* type, QStringList& values,
                             const std::string& description)
{
    return AddedOption(addTexts(m_app, name, values, description)
                           ->type_name(type)
                           ->check(emptyComplaint, "")
                           ->expected(1)
                           ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll));
}

AddedOption OptionSet::converted(const std::string& name, const char* type,
                                 const std::function<void(const QString& text)>& take,
                                 const std::string& description)
{
    return AddedOption(
        m_app
            .add_option_function<std::string>(
                name, [take](const std::string& text) { take(withoutMark(text)); }, description)
            ->type_name(type));
}

AddedOption OptionSet::number(const std::string& name, const char* type, int& value, int lowest, int highest,
                              const std::string& description)
{
    return AddedOption(m_app.add_option(name, value, description)
                           ->type_name(type)
                           ->check(CLI::Range(lowest, highest).description("")));
}

AddedOption OptionSet::positiveNumber(const std::string& name, const char* type, qint64& value,
                                      const std::string& description)
{
    return AddedOption(m_app.add_option(name, value, description)
                           ->type_name(type)
                           ->check(CLI::PositiveNumber.description("")));
}

AddedOption OptionSet::seconds(const std::string& name, int& milliseconds, double lowest, double highest,
                               const std::string& description)
{
    return AddedOption(m_app
                           .add_option_function<double>(
                               name,
                               [&milliseconds](const double& seconds) {
                                   milliseconds = static_cast<int>(seconds * c_millisecondsPerSecond);
                               },
                               description)
                           ->type_name("S")
                           ->check(numberComplaint, "")
                           ->check(CLI::Range(lowest, highest).description("")));
}

AddedOption OptionSet::word(const std::string& name, QString& value, const std::string& description)
{
    return text(name, "", value, description);
}

AddedOption OptionSet::words(const std::string& name, QStringList& values, int fewest, int most,
                             const std::string& description)
{
    return AddedOption(addTexts(m_app, name, values, description)
                           ->type_name("")
                           ->check(emptyComplaint, "")
                           ->expected(fewest, most));
}

void OptionSet::requireOneOf(std::initializer_list<AddedOption> options, const char* complaint)
{
    m_app.final_callback([alternatives = std::vector<AddedOption>(options), complaint] {
        const bool isGiven =
            std::any_of(alternatives.cbegin(), alternatives.cend(),
                        [](const AddedOption& option) { return option.m_option->count() > 0; });
        if (!isGiven)
            throw CLI::RequiredError(complaint, CLI::ExitCodes::RequiredError);
    });
}
