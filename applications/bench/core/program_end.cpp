#include "applications/bench/core/program_end.h"

#include <QJsonDocument>

namespace {

void writeDocument(Console& console, OutputFormat format, ExitCode code)
{
    const bool isDone = code == ExitCode::Done;
    if (format == OutputFormat::Json && (console.document() || !isDone)) {
        QJsonObject document = console.document().value_or(
            QJsonObject{{QStringLiteral("v"), c_jsonFormatVersion},
                        {QStringLiteral("time"), isoTime(QDateTime::currentDateTime())}});
        if (!isDone)
            document = completedDocument(document, code, console.errors());
        console.out(QJsonDocument(document).toJson(QJsonDocument::Indented));
    }
    if (format == OutputFormat::JsonLines && !isDone)
        console.out(
            jsonLine(console.nextSequence(), QDateTime::currentDateTime(),
                     {QStringLiteral("end"), completedDocument({}, code, console.errors()).toVariantMap()}) +
            '\n');
}

} // namespace

std::optional<OutputFormat> askedFormat(const QStringList& arguments)
{
    const QString option = QStringLiteral("--format");
    std::optional<OutputFormat> format;
    for (int i = 0; i < arguments.size() && arguments.at(i) != QLatin1String("--"); ++i) {
        if (arguments.at(i) == option)
            format = outputFormatByName(arguments.value(i + 1));
        else if (arguments.at(i).startsWith(option + QLatin1Char('=')))
            format = outputFormatByName(arguments.at(i).mid(option.size() + 1));
    }
    return format;
}

QJsonObject completedDocument(const QJsonObject& document, ExitCode code, const QStringList& errors)
{
    QJsonObject completed = document;
    completed.insert(QStringLiteral("ok"), false);
    if (!completed.contains(QLatin1String("exitCode")))
        completed.insert(QStringLiteral("exitCode"), static_cast<int>(code));
    if (!completed.contains(QLatin1String("error"))) {
        QString text = errors.join(QLatin1Char('\n'));
        for (const ExitCodeDescription& description : exitCodeDescriptions()) {
            if (text.isEmpty() && description.code == code)
                text = QString::fromUtf8(description.text);
        }
        completed.insert(QStringLiteral("error"), text);
    }
    return completed;
}

ExitCode endProgram(Console& console, std::optional<OutputFormat> format, ExitCode code)
{
    if (format)
        writeDocument(console, *format, code);
    const std::optional<QString> loss = console.outputLoss();
    if (!loss || loss->isEmpty())
        return code;
    console.error(
        QStringLiteral("the results cannot be written to standard output: %1; make room, or send them "
                       "elsewhere")
            .arg(*loss));
    return ExitCode::CommandFailed;
}
