#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <initializer_list>
#include <string>

namespace CLI {
class App;
class Option;
} // namespace CLI

// One option, or one positional word, for what the line that adds it has not said.
class AddedOption
{
public:
    explicit AddedOption(CLI::Option* option)
        : m_option(option)
    {}

    AddedOption required() const;
    AddedOption excludes(AddedOption other) const;
    // The other one, by its name, must be given too.
    AddedOption needs(const char* name) const;
    // Nothing but these texts.
    AddedOption oneOf(std::initializer_list<const char*> texts) const;
    // What is wrong with a text; empty for a good one.
    AddedOption check(const std::function<std::string(const std::string& text)>& complaint) const;
    // What the help says of it from now on; nothing at all without a description.
    AddedOption describe(const QString& type, const QString& description) const;
    // The heading of the help under which it stands.
    AddedOption inGroup(const char* heading) const;

private:
    friend class OptionSet;

    CLI::Option* m_option;
};

// The options of a subcommand, or those of the program, as they are added to the command line. Each is bound
// to a value of ours, which keeps what it is unless the option is given. `type` is what the help calls the
// value: "FILE".
class OptionSet
{
public:
    explicit OptionSet(CLI::App& app)
        : m_app(app)
    {}

    AddedOption flag(const std::string& name, bool& value, const std::string& description);
    // An empty one is refused: it is a variable of a script that is not set, and the value would be another
    // one than was meant.
    AddedOption text(const std::string& name, const char* type, QString& value,
                     const std::string& description);
    // For which empty means something.
    AddedOption anyText(const std::string& name, const char* type, QString& value,
                        const std::string& description);
    // One text each time that it is given, none of them empty.
    AddedOption texts(const std::string& name, const char* type, QStringList& values,
                      const std::string& description);
    // A text that goes through `take`.
    AddedOption converted(const std::string& name, const char* type,
                          const std::function<void(const QString& text)>& take,
                          const std::string& description);
    // From `lowest` to `highest`, both included.
    AddedOption number(const std::string& name, const char* type, int& value, int lowest, int highest,
                       const std::string& description);
    AddedOption positiveNumber(const std::string& name, const char* type, qint64& value,
                               const std::string& description);
    // From `lowest` to `highest` seconds, as milliseconds.
    AddedOption seconds(const std::string& name, int& milliseconds, double lowest, double highest,
                        const std::string& description);
    // Positional: a word without a name in front of it, and several; none is empty.
    AddedOption word(const std::string& name, QString& value, const std::string& description);
    AddedOption words(const std::string& name, QStringList& values, int fewest, int most,
                      const std::string& description);
    // Of these at least one must be given. Once.
    void requireOneOf(std::initializer_list<AddedOption> options, const char* complaint);
    // As many as there are.
    static constexpr int c_any = -1;

private:
    CLI::App& m_app;
};
