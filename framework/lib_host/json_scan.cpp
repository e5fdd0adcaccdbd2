#include <lib_host/json_scan.h>

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QVector>

namespace {

// Of the text that a message shows.
constexpr int c_shownLength = 30;

class Scan
{
public:
    explicit Scan(const QByteArray& text)
        : m_text(text)
    {
        if (m_text.startsWith("\xef\xbb\xbf"))
            m_at = 3;
    }

    DJsonScan run()
    {
        skipBlanks();
        while (!m_result.fault && m_expected != Expected::End)
            step();
        skipBlanks();
        if (!m_result.fault && m_at < m_text.size())
            fail(QStringLiteral("%1 stands behind the end").arg(shown()));
        // Where quotes are missing the rest is read inside out: the first text of several lines is to blame.
        if (m_result.fault && m_openText >= 0)
            m_result.fault = DJsonFault{m_openText, QStringLiteral("the closing \" is missing of %1")
                                                        .arg(QString::fromUtf8(firstLine(m_openText)))};
        return m_result;
    }

private:
    enum class Expected { Value, FirstValue, FirstKey, Key, Colon, Separator, End };

    // An object or a list that is not closed yet.
    struct Level
    {
        bool isObject = false;
        int offset = 0;
        QHash<QString, int> keys = {}; // with their offsets
    };

    void step()
    {
        skipBlanks();
        if (m_at >= m_text.size()) {
            failAtEnd();
            return;
        }
        switch (m_expected) {
        case Expected::Value:
        case Expected::FirstValue:
            takeValue();
            break;
        case Expected::FirstKey:
        case Expected::Key:
            takeKey();
            break;
        case Expected::Colon:
            takeColon();
            break;
        case Expected::Separator:
            takeSeparator();
            break;
        case Expected::End:
            break;
        }
    }

    char current() const { return m_text.at(m_at); }

    void takeValue()
    {
        const char first = current();
        if (first == '{' || first == '[') {
            m_levels.append({first == '{', m_at});
            m_expected = first == '{' ? Expected::FirstKey : Expected::FirstValue;
            ++m_at;
        } else if (first == ']' && m_expected == Expected::FirstValue) {
            close();
        } else if (first == '"') {
            takeText();
            afterValue();
        } else if (isWordCharacter(first)) {
            takeWord();
        } else if (first == ']' && !m_levels.isEmpty() && !m_levels.constLast().isObject) {
            fail(QStringLiteral("a value is missing before ], or the comma is one too many"));
        } else {
            fail(QStringLiteral("a value is missing before %1").arg(shown()));
        }
    }

    void takeWord()
    {
        static const QRegularExpression c_value(
            QStringLiteral("^(true|false|null|-?(0|[1-9][0-9]*)(\\.[0-9]+)?([eE][+-]?[0-9]+)?)$"));
        int end = m_at;
        while (end < m_text.size() && isWordCharacter(m_text.at(end)))
            ++end;
        if (!c_value.match(QString::fromLatin1(m_text.mid(m_at, end - m_at))).hasMatch()) {
            fail(QStringLiteral("%1 is no value; a text stands between quotes").arg(shown()));
            return;
        }
        m_at = end;
        afterValue();
    }

    void takeKey()
    {
        const char first = current();
        if (first == '}' && m_expected == Expected::FirstKey) {
            close();
        } else if (first == '"') {
            const int offset = m_at;
            const QString key = takeText();
            QHash<QString, int>& keys = m_levels.last().keys;
            if (keys.contains(key))
                m_result.repeatedKeys.append({key, offset, keys.value(key)});
            else
                keys.insert(key, offset);
            m_expected = Expected::Colon;
        } else if (first == '}') {
            fail(QStringLiteral("a key is missing before }, or the comma is one too many"));
        } else {
            fail(QStringLiteral("a key between quotes is missing before %1").arg(shown()));
        }
    }

    void takeColon()
    {
        if (current() != ':') {
            fail(QStringLiteral("a colon is missing before %1").arg(shown()));
            return;
        }
        ++m_at;
        m_expected = Expected::Value;
    }

    void takeSeparator()
    {
        const bool isObject = m_levels.constLast().isObject;
        const char closing = isObject ? '}' : ']';
        if (current() == closing) {
            close();
        } else if (current() == ',') {
            ++m_at;
            m_expected = isObject ? Expected::Key : Expected::Value;
        } else {
            fail(QStringLiteral("a comma or %1 is missing before %2").arg(QLatin1Char(closing)).arg(shown()));
        }
    }

    void close()
    {
        ++m_at;
        m_levels.removeLast();
        afterValue();
    }

    void afterValue() { m_expected = m_levels.isEmpty() ? Expected::End : Expected::Separator; }

    // From the quote at the place to the one that ends it.
    QString takeText()
    {
        const int begin = m_at++;
        while (m_at < m_text.size() && current() != '"') {
            if (current() == '\n' && m_openText < 0)
                m_openText = begin;
            m_at += current() == '\\' ? 2 : 1;
        }
        if (m_at >= m_text.size()) {
            m_at = m_text.size();
            if (m_openText < 0)
                m_openText = begin;
            return {};
        }
        ++m_at;
        const QByteArray quoted = m_text.mid(begin, m_at - begin);
        if (!quoted.contains('\\'))
            return QString::fromUtf8(quoted.mid(1, quoted.size() - 2));
        return QJsonDocument::fromJson('[' + quoted + ']').array().at(0).toString();
    }

    void skipBlanks()
    {
        while (m_at < m_text.size() &&
               (current() == ' ' || current() == '\t' || current() == '\n' || current() == '\r'))
            ++m_at;
    }

    static bool isWordCharacter(char character)
    {
        return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
               (character >= 'A' && character <= 'Z') || character == '-' || character == '+' ||
               character == '.' || character == '_';
    }

    QByteArray firstLine(int offset) const
    {
        const int end = m_text.indexOf('\n', offset);
        return m_text.mid(offset, end < 0 ? -1 : end - offset).trimmed();
    }

    // What stands at the place: a text, a word, a sign.
    QString shown() const
    {
        int end = m_at + 1;
        if (current() == '"') {
            while (end < m_text.size() && m_text.at(end) != '"' && m_text.at(end) != '\n')
                ++end;
            ++end;
        } else if (isWordCharacter(current())) {
            while (end < m_text.size() && isWordCharacter(m_text.at(end)))
                ++end;
        } else {
            // The whole of a character of several bytes.
            while (end < m_text.size() && (static_cast<quint8>(m_text.at(end)) & 0xC0) == 0x80)
                ++end;
        }
        const QString text = QString::fromUtf8(m_text.mid(m_at, end - m_at)).trimmed();
        return text.size() > c_shownLength ? text.left(c_shownLength) + QStringLiteral("…") : text;
    }

    void fail(const QString& message) { m_result.fault = DJsonFault{m_at, message}; }

    void failAtEnd()
    {
        if (m_levels.isEmpty()) {
            fail(QStringLiteral("there is nothing in it"));
            return;
        }
        const Level& level = m_levels.constLast();
        fail(QStringLiteral("the closing %1 is missing of what begins at %2")
                 .arg(QLatin1Char(level.isObject ? '}' : ']'))
                 .arg(positionInText(m_text, level.offset)));
    }

    const QByteArray& m_text;
    int m_at = 0;
    Expected m_expected = Expected::Value;
    QVector<Level> m_levels;
    // Where the first text of more than one line begins; -1 without one.
    int m_openText = -1;
    DJsonScan m_result;
};

} // namespace

DJsonScan scanJson(const QByteArray& text)
{
    return Scan(text).run();
}

QString positionInText(const QByteArray& text, int offset)
{
    const QByteArray before = text.left(offset);
    const int line = before.count('\n') + 1;
    const QByteArray inLine = before.mid(before.lastIndexOf('\n') + 1);
    return QStringLiteral("line %1, column %2").arg(line).arg(QString::fromUtf8(inLine).size() + 1);
}
