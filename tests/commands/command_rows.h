#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// What is known of each command's behaviour, as rows of the suites that run over all commands. Each
// command has a file here, named after it, with a function that gives its rows and a KnownRows that makes
// them known. The suites take the commands from the built plug-in, and fail for one that has no rows, or
// none for one of the tables. Nothing here knows the plug-in's code: the whole chain is tested by the
// same rows.

// What a command is made below.
enum Parent { CeDevice, CeForeign, CeNoParent };

// One execution: what it answers, sends and logs. Nothing is published by it.
struct ExecutionRow
{
    const char* title;
    QVariantMap arguments;
    QVariant softwareVersion; // of the device; invalid when it has not been identified
    Parent parent;
    bool isOpen; // else the order refuses to be run
    bool ok;
    QStringList sent;
    QStringList logged;
};

inline ExecutionRow execution(const char* title, const QVariantMap& arguments,
                              const QVariant& softwareVersion, Parent parent, bool isOpen, bool ok,
                              const QStringList& sent, const QStringList& logged)
{
    return {title, arguments, softwareVersion, parent, isOpen, ok, sent, logged};
}

// One reply to the first instruction of an execution in generation 1, the firmware unknown.
struct ReplyRow
{
    const char* title;
    QVariantMap reply;
    bool ok;
    QStringList published;
    QStringList logged;
    int sentMore; // instructions behind the first one
};

inline ReplyRow reply(const char* title, const QVariantMap& reply, bool ok, const QStringList& published,
                      const QStringList& logged, int sentMore = 0)
{
    return {title, reply, ok, published, logged, sentMore};
}

// What a reply is answered with that comes when the order has ended and takes no results.
struct LateReplyRow
{
    QVariantMap reply;
    bool ok;
};

// One "mdc-bench run" on a simulated controller.
struct RunRow
{
    const char* commandLine;
    const char* fault; // empty for none
    int exitCode;
    const char* out;                        // part of standard output; null: nothing is printed there
    const char* err;                        // part of standard error; null: nothing is printed there
    int times;                              // how often
    const char* outOfGeneration1 = nullptr; // where it differs from `out`
};

struct CommandRows
{
    QString command;
    QByteArray className;
    QString source; // its file in the plug-in's source folder, without extension

    // What it declares: "id|type|description|default", the default with its type.
    QString description;
    QStringList parameters;
    QStringList results;
    QString stopName;

    // The channels that it reads and writes and that the samples of the tests lack: {"<channel>":
    // {"register": …, "writeRegisterType": …}}, each generation's, at registers of the rows' own choice. A
    // test that reads the bundled maps would follow their mistakes.
    QJsonObject channels;

    // What an execution needs that is to be answered.
    QVariantMap arguments;

    QList<ExecutionRow> executions;
    QList<ReplyRow> replies;
    QList<LateReplyRow> lateReplies;
    QList<RunRow> runs;

    // Tables in which it has no rows, and why.
    QMap<QString, QString> exemptions;
};

class KnownRows
{
public:
    explicit KnownRows(CommandRows (*rows)());
};

// The rows of all commands in the order of their names; an empty one when there is none of the command.
const QMap<QString, CommandRows>& knownRows();
CommandRows rowsOf(const QString& command);
// Of all rows, by name.
QJsonObject knownChannels();
// Why the rows of `command` are not complete; empty when they are.
QString objectionTo(const CommandRows& rows, const QString& command);

// Instructions as a fake order takes them down.
QStringList sentWrite(const char* data, int address, const char* type = "singleRegister");
QStringList sentRead(int address, const char* type = "holdingRegisters");
QStringList sentBlockRead(int address, int size, const char* type = "holdingRegisters");
QStringList sentListen(int address, int size, const char* type);

// Replies that are what commands meet, well formed or not.
inline QVariantMap values(const QVariantList& list)
{
    return {{QStringLiteral("values"), list}};
}
QVariantMap noValues();
QVariantMap numberForList();
QVariantMap textForList();
QVariantMap nullForList();
QVariantMap mapForList();
QVariantMap timedOut();
QVariantMap refused();
// A block that is one word short of or beyond what was asked for, as commands log it.
QString unwaitedNumber(int count, int size, const char* received);

constexpr const char* c_noVersion = "ERROR: version number is not found. using version 1";
constexpr const char* c_noVersions = "ERROR: software Version number is not found. using version 1";

// Of "mdc-bench run".
constexpr const char* c_doneOk = R"("name":"doneOk","value":true)";
constexpr const char* c_notDone = R"("name":"doneOk","value":false)";
constexpr const char* c_refusal = "refused";
constexpr const char* c_invalidAnswer = "is not valid";
constexpr const char* c_uncertain = "read the state back";
constexpr const char* c_noAnswer = "check that the controller is on";
constexpr const char* c_goesOn = "; listening goes on";
