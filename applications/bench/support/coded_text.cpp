#include "applications/bench/support/coded_text.h"

#include "applications/bench/support/source_text.h"

#include <QByteArray>
#include <QRegularExpression>

#include <algorithm>
#include <optional>

namespace {

using Coding = CodedText::Coding;

constexpr int c_base64Piece = 4; // characters that hold three bytes

struct Form
{
    Coding coding;
    QRegularExpression pattern;
};

// Programs break lines of base64.
const QList<Form>& forms()
{
    static const QList<Form> c_forms{
        {Coding::Hexadecimal, QRegularExpression(QStringLiteral(
                                  "(?<![0-9A-Za-z])(?:0[xX])?+((?:[0-9A-Fa-f]{2}){6,}+)(?![0-9A-Za-z])"))},
        {Coding::Base64,
         QRegularExpression(QStringLiteral("(?<![A-Za-z0-9+/])((?:(?:[A-Za-z0-9+/]{60,76}+\\r?\\n)++"
                                           "[A-Za-z0-9+/]{1,76}+|[A-Za-z0-9+/]{8,}+)={0,2}+)"))},
        {Coding::UrlBase64,
         QRegularExpression(QStringLiteral("(?<![A-Za-z0-9_-])([A-Za-z0-9_-]{8,}+={0,2}+)"))}};
    return c_forms;
}

QByteArray decoded(Coding coding, const QString& word)
{
    QByteArray code = word.toLatin1();
    if (coding == Coding::Hexadecimal)
        return QByteArray::fromHex(code);
    code.replace("\r", "").replace("\n", "");
    const int rest = code.size() - code.count('=');
    // One character more than that holds nothing.
    return rest % c_base64Piece == 1
               ? QByteArray()
               : QByteArray::fromBase64(code, coding == Coding::Base64 ? QByteArray::Base64Encoding
                                                                       : QByteArray::Base64UrlEncoding);
}

bool isReadable(const QString& text)
{
    constexpr ushort c_firstPrintable = 0x20;
    return std::all_of(text.cbegin(), text.cend(), [](QChar one) {
        return one.unicode() >= c_firstPrintable || one == QLatin1Char('\t') || one == QLatin1Char('\r') ||
               one == QLatin1Char('\n');
    });
}

std::optional<CodedText> codedText(Coding coding, const QRegularExpressionMatch& match)
{
    const std::optional<QString> text = plainText(decoded(coding, match.captured(1)));
    constexpr int c_shortest = 6;
    if (!text || text->size() < c_shortest || !isReadable(*text) || text->contains(c_codedTextEnd))
        return std::nullopt;
    return CodedText{match.capturedStart(1), match.capturedLength(1), coding, *text};
}

} // namespace

QList<CodedText> codedTexts(const QString& text)
{
    QList<CodedText> found;
    for (const Form& form : forms()) {
        for (auto it = form.pattern.globalMatch(text); it.hasNext();) {
            if (const std::optional<CodedText> coded = codedText(form.coding, it.next()))
                found.append(*coded);
        }
    }
    // A word of one alphabet of base64 is, or has in it, one of the other.
    std::sort(found.begin(), found.end(), [](const CodedText& left, const CodedText& right) {
        return left.begin != right.begin ? left.begin < right.begin : left.length > right.length;
    });
    QList<CodedText> apart;
    for (const CodedText& coded : qAsConst(found)) {
        if (apart.isEmpty() || apart.constLast().begin + apart.constLast().length <= coded.begin)
            apart.append(coded);
    }
    return apart;
}

QString codedAs(const CodedText& coded, const QString& text)
{
    const QByteArray bytes = text.toUtf8();
    switch (coded.coding) {
    case Coding::Hexadecimal:
        return QString::fromLatin1(bytes.toHex());
    case Coding::UrlBase64:
        return QString::fromLatin1(
            bytes.toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals));
    case Coding::Base64:
        break;
    }
    return QString::fromLatin1(bytes.toBase64());
}
