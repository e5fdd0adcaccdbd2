#include "d_cmd_setLock.h"

#include "log_line.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

namespace {

constexpr qint32 c_nothingWanted = -1; // as constructed
constexpr qint32 c_unlocked = 0;
constexpr qint32 c_locked = 1;
constexpr qint32 c_looseningLocked = 2;
constexpr qint32 c_fasteningLocked = 3;

qint32 withLooseningUnlocked(qint32 lock)
{
    switch (lock) {
    case c_locked:
        return c_fasteningLocked;
    case c_looseningLocked:
        return c_unlocked;
    default:
        return lock;
    }
}

// The text names the direction that is still free, not the one that is locked.
QString lockStatus(qint32 lock)
{
    switch (lock) {
    case c_unlocked:
        return QStringLiteral("unlocked");
    case c_locked:
        return QStringLiteral("locked");
    case c_looseningLocked:
        return QStringLiteral("fastening");
    case c_fasteningLocked:
        return QStringLiteral("loosening");
    default:
        return QStringLiteral("Error");
    }
}

} // namespace

DCmdSetLock::DCmdSetLock(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("setLock"), arguments, parent)
{
    setDescription(QStringLiteral("Set the lock state of the screwdriver Driver Lock"));
    declareAParameter(
        QStringLiteral("lock"), QStringLiteral("ui16"),
        QStringLiteral("Lock state (0: Unlock 1: Lock all directions 2: Lock Loosening 3: Lock Fastening)"),
        QLatin1String(""));
    declareAResult(QStringLiteral("lockStatus"), QStringLiteral("strg"),
                   QStringLiteral("Chaine de caracters indiquant l'etat du lock"));
    declareAResult(QStringLiteral("fasteningLocked"), QStringLiteral("bool"),
                   QStringLiteral("Etat du lock en mode serrage"));
    declareAResult(QStringLiteral("looseningLocked"), QStringLiteral("bool"),
                   QStringLiteral("Etat du lock en mode desserrage"));
    declareAResult(QStringLiteral("doneOk"), QStringLiteral("bool"), QStringLiteral("lock done"));
}

DCmdSetLock::DCmdSetLock(QObject* parent)
    : DCmdSetLock(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdSetLock::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdSetLock>(new DCmdSetLock(arguments, parent()));
}

bool DCmdSetLock::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr) {
        logCritical(this) << "ERROR: DCmdSetLock: parent is not PDeviceMdc";
        return false;
    }
    const QString channel = QStringLiteral("lockChange") + softwareVersionSuffix(*plugin, *this);
    const RegisterEntry entry = registerForWrite(*this, channel);
    const qint32 lock = static_cast<quint16>(getParameterValue(QStringLiteral("lock"), QVariant()).toUInt());
    const bool unlockLoosening = getParameterValue(QStringLiteral("unlockLoosening"), false).toBool();
    const qint32 data = unlockLoosening ? withLooseningUnlocked(lock) : lock;
    if (wantedLock != c_nothingWanted) {
        logCritical(this) << "WARNING: The lock status is not available for change; old wanted = " +
                                 QString::number(wantedLock) + ", new ="
                          << data;
        return true;
    }
    wantedLock = data;
    addInstruction(QStringLiteral("driver"), QStringLiteral("write"), writeArguments(entry, wantedLock),
                   c_instructionTimeout, {this, &DCmdSetLock::rplSetLock});
    return true;
}

bool DCmdSetLock::rplSetLock(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues values(reply);
    if (!values.isPresent()) {
        logCritical(this) << "ERROR: Invalid reply format";
        return false;
    }
    if (values.first().toInt() == 0) {
        logCritical(this) << "ERROR: Device is not locked as wanted";
        return false;
    }
    const bool both = wantedLock == c_locked;
    commandUpdateResults({{QStringLiteral("lockStatus"), lockStatus(wantedLock)},
                          {QStringLiteral("fasteningLocked"), both || wantedLock == c_fasteningLocked},
                          {QStringLiteral("looseningLocked"), both || wantedLock == c_looseningLocked},
                          {QStringLiteral("doneOk"), true}});
    return true;
}
