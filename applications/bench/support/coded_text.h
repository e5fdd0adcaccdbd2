#pragma once

#include <QChar>
#include <QList>
#include <QString>

// A text that another one holds in base64 or in hexadecimal digits, and where.
struct CodedText
{
    enum class Coding { Base64, UrlBase64, Hexadecimal };

    int begin = 0;
    int length = 0;
    Coding coding = Coding::Base64;
    QString text;
};

// Those that are UTF-8 without a control character, in their order, of which none lies in another. What is
// shorter than a serial number is none, and neither is c_codedTextEnd in one.
QList<CodedText> codedTexts(const QString& text);
// Never in one of them.
constexpr QChar c_codedTextEnd(0xE000);
// In the coding of that one.
QString codedAs(const CodedText& coded, const QString& text);
