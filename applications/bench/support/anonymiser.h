#pragma once

#include "applications/bench/support/masked_trace.h"

#include <QHash>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>

class QRegularExpression;
class QRegularExpressionMatch;
struct WordRule;

// Whose computer it is that texts come from; what is empty is not known.
struct ComputerIdentity
{
    QString homeFolder;
    QString user;
    QString hostName;

    static ComputerIdentity ofThisComputer();
};

// Replaces in texts what tells whose they are: serial numbers of controllers, addresses (host names, IPv4,
// IPv6, MAC, serial ports), home folders and their users. One thing has one placeholder in all texts:
// "serial-1", "host-1", "port-1", "home-1", "user-1".
//
// What has no form of its own, as a name of a host, is replaced once it is known: all texts are learned from
// before the first one is replaced. A serial number of less than four characters is replaced only where the
// text says that it is one: elsewhere it is any number.
class Anonymiser
{
public:
    explicit Anonymiser(const ComputerIdentity& computer);

    void knowSerial(const QString& serial);
    // The name of a host, or what a driver calls its address: "10.0.0.7:502", "/dev/ttyUSB0".
    void knowAddress(const QString& address);
    // What the text itself says is one of them.
    // False when it could not be searched to its end.
    bool learn(const QString& text);

    // The text with placeholders, and how many there are. A number of a JSON text becomes a text, so that it
    // is JSON afterwards. Escapes of JSON for letters that need none are undone, so that nothing hides in
    // them.
    ReplacedText replaced(const QString& text) const;

private:
    enum class Kind { Serial, Host, Port, Home, User };
    // Null for what stays.
    using Placeholder = std::function<QString(const QRegularExpressionMatch&)>;

    QString placeholder(Kind kind, const QString& value) const;
    Placeholder numbered(Kind kind) const;
    void replaceLabelledSerials(ReplacedText& text) const;
    void replaceFolders(ReplacedText& text) const;
    void replaceAddresses(ReplacedText& text) const;
    void replaceSerials(ReplacedText& text) const;
    // Each word, or words in a row, that `accepts` says of its beginning and end.
    template <typename Accept>
    void replaceWords(ReplacedText& text, const WordRule& rule, Kind kind, const Accept& accepts) const;
    void replaceBytes(ReplacedText& text) const;
    // In base64 and hexadecimal digits, so many times one in another.
    void replaceCoded(ReplacedText& text, int depth) const;
    ReplacedText replaced(const QString& text, int depth) const;
    bool learn(const QString& text, int depth);
    // Replaces group 1 of each match, or the match when the pattern has no group.
    static void replaceEach(ReplacedText& text, const QRegularExpression& pattern,
                            const Placeholder& placeholder);

    const ComputerIdentity m_computer;
    QSet<QString> m_serials;              // in lower case
    QSet<QString> m_hosts;                // in lower case
    QHash<QString, QString> m_firstWords; // of names of hosts, and whose
    QStringList m_ports;
    QList<QByteArray> m_codes; // serial numbers in bytes, as the identification and as registers have them
    int m_furtherCodes = 0;    // of them
    // Numbers of what has been met, by kind and value.
    mutable QMap<Kind, QHash<QString, int>> m_met;
};
