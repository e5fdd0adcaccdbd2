#include <lib_utilities/printable_text.h>

#include <QStringList>

namespace {

bool isPrintable(uint code)
{
    switch (QChar::category(code)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return false;
    default:
        return !QChar::isNonCharacter(code);
    }
}

QString codeText(uint code)
{
    constexpr int c_hexadecimal = 16;
    constexpr uint c_lastOfByte = 0xff;
    constexpr uint c_lastOfPlane = 0xffff;
    if (code == '\n')
        return QStringLiteral("\\n");
    if (code == '\t')
        return QStringLiteral("\\t");
    const QChar zero = QLatin1Char('0');
    if (code <= c_lastOfByte)
        return QStringLiteral("\\x%1").arg(code, 2, c_hexadecimal, zero);
    return code <= c_lastOfPlane ? QStringLiteral("\\u%1").arg(code, 4, c_hexadecimal, zero)
                                 : QStringLiteral("\\U%1").arg(code, 8, c_hexadecimal, zero);
}

} // namespace

QString printableText(const QString& text)
{
    QString result;
    result.reserve(text.size());
    for (int i = 0; i < text.size(); ++i) {
        const bool isPair =
            text.at(i).isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate();
        const uint code =
            isPair ? QChar::surrogateToUcs4(text.at(i), text.at(i + 1)) : uint{text.at(i).unicode()};
        result += isPrintable(code) ? text.mid(i, isPair ? 2 : 1) : codeText(code);
        i += isPair ? 1 : 0;
    }
    return result;
}

QString printableLines(const QString& text)
{
    QStringList lines = text.split(QLatin1Char('\n'));
    for (QString& line : lines)
        line = printableText(line);
    return lines.join(QLatin1Char('\n'));
}
