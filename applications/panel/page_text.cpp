#include "applications/panel/page_text.h"

#include <QList>

namespace {

bool isSafe(QChar character)
{
    const ushort code = character.unicode();
    // Line and paragraph separators end a line in a script; surrogates may stand alone in a name.
    return code >= 0x20 && code != '"' && code != '\\' && code != 0x7f && code != 0x2028 && code != 0x2029 &&
           !character.isSurrogate();
}

} // namespace

QString jsonSafe(const QString& text)
{
    QString safe;
    for (const QChar character : text) {
        if (isSafe(character))
            safe += character;
        else
            safe += QStringLiteral("\\u%1").arg(character.unicode(), 4, 16, QLatin1Char('0'));
    }
    return safe;
}

QByteArray filledPage(const QByteArray& page, const PageValues& values)
{
    struct Placeholder
    {
        QByteArray text;
        QByteArray value;
    };
    const QList<Placeholder> placeholders{
        {QByteArrayLiteral("{OBJECT_NAME}"), jsonSafe(values.name).toUtf8()},
        {QByteArrayLiteral("{OBJECT_ID}"), jsonSafe(values.id).toUtf8()},
        {QByteArrayLiteral("{OBJECT_REFERENCE}"), jsonSafe(values.reference).toUtf8()},
    };
    QByteArray filled;
    int from = 0;
    for (;;) {
        int at = -1;
        const Placeholder* next = nullptr;
        for (const Placeholder& placeholder : placeholders) {
            const int found = page.indexOf(placeholder.text, from);
            if (found >= 0 && (at < 0 || found < at)) {
                at = found;
                next = &placeholder;
            }
        }
        if (next == nullptr)
            return filled + page.mid(from);
        filled += page.mid(from, at - from) + next->value;
        from = at + next->text.size();
    }
}
