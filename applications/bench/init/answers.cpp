#include "applications/bench/init/answers.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace {

QString takeNumber(const QString& answer, int lowest, int highest, int& value)
{
    bool isNumber = false;
    const int number = answer.toInt(&isNumber);
    if (!isNumber || number < lowest || number > highest)
        return QStringLiteral("a whole number from %1 to %2 is needed").arg(lowest).arg(highest);
    value = number;
    return {};
}

QString takeOneOf(const QString& answer, const QStringList& choices, QString& value)
{
    const QString choice = answer.toLower();
    if (!choices.contains(choice))
        return QStringLiteral("one of %1 is needed").arg(choices.join(QStringLiteral(", ")));
    value = choice;
    return {};
}

} // namespace

QString takeAddress(const QString& answer, InitOptions& options)
{
    static const QRegularExpression c_serial(QStringLiteral("^(/dev/.+|com[0-9]{1,3})$"),
                                             QRegularExpression::CaseInsensitiveOption);
    // A colon of its own: those of an IPv6 address are several.
    static const QRegularExpression c_withPort(QStringLiteral("^([^:\\s]+):([0-9]{1,6})$"));
    if (answer.isEmpty() || answer.contains(QLatin1Char(' ')))
        return QStringLiteral(
            "a name, an address or a serial line is needed, as 192.168.1.20 or /dev/ttyUSB0");
    options.host.clear();
    options.serialPort.clear();
    if (c_serial.match(answer).hasMatch()) {
        options.serialPort = answer;
        return {};
    }
    const QRegularExpressionMatch match = c_withPort.match(answer);
    options.host = match.hasMatch() ? match.captured(1) : answer;
    return match.hasMatch() ? takePort(match.captured(2), options) : QString();
}

QString takePort(const QString& answer, InitOptions& options)
{
    return takeNumber(answer, 1, 65535, options.port);
}

QString takeBaudRate(const QString& answer, InitOptions& options)
{
    return takeNumber(answer, 300, 4000000, options.baudRate);
}

QString takeParity(const QString& answer, InitOptions& options)
{
    return takeOneOf(answer, {"even", "odd", "none"}, options.parity);
}

QString takeUnit(const QString& answer, InitOptions& options)
{
    const bool isLine = !options.serialPort.isEmpty();
    return takeNumber(answer, isLine ? 1 : 0, isLine ? 247 : 255, options.unitId);
}

QString takeOffset(const QString& answer, InitOptions& options)
{
    return takeOneOf(answer, {"0", "-1"}, options.offset);
}

QString takeGeneration(const QString& answer, InitOptions& options)
{
    return takeOneOf(answer, {"1", "2", "all"}, options.generation);
}

QString takeReference(const QString& answer, InitOptions& options)
{
    options.reference = answer;
    return {};
}

QString takeRegisterList(const QString& answer, InitOptions& options)
{
    if (!answer.isEmpty() && !QFileInfo(answer).isFile())
        return QStringLiteral("there is no file %1").arg(answer);
    options.registerList = answer;
    return {};
}

std::optional<bool> yesOrNo(const QString& answer)
{
    const QString word = answer.toLower();
    if (word == QLatin1String("y") || word == QLatin1String("yes"))
        return true;
    if (word == QLatin1String("n") || word == QLatin1String("no"))
        return false;
    return std::nullopt;
}
