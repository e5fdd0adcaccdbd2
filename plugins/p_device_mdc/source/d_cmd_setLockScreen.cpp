#include "d_cmd_setLockScreen.h"

#include "log_line.h"
#include "model/channel_names.h"
#include "p_device_mdc.h"
#include "register_map.h"
#include "reply_values.h"

using namespace mdc;

namespace {

constexpr int c_unknownGeneration = 0;

constexpr int c_lockData = 0;
constexpr int c_lockDataOfBm = 2;

} // namespace

DCmdSetLockScreen::DCmdSetLockScreen(const QVariantMap& arguments, QObject* parent)
    : DAbstractCommand(QStringLiteral("setLockScreen"), arguments, parent)
{
    setDescription(QStringLiteral("Set the lock screen"));
    declareAResult(QStringLiteral("doneOk"), QStringLiteral("bool"), QStringLiteral("lock done"));
}

DCmdSetLockScreen::DCmdSetLockScreen(QObject* parent)
    : DCmdSetLockScreen(QVariantMap(), parent)
{}

QSharedPointer<ICommand> DCmdSetLockScreen::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdSetLockScreen>(new DCmdSetLockScreen(arguments, parent()));
}

bool DCmdSetLockScreen::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const auto* const plugin = qobject_cast<const PDeviceMdc*>(parent());
    if (plugin == nullptr)
        return false;
    const QString model = plugin->getProperty(QStringLiteral("controllerModel"), nullptr).toString();
    const bool isBm = model.toLower().contains(QLatin1String("bm"));
    const RegisterEntry entry = registerForWrite(*this, registerKey(*plugin, isBm));
    addInstruction(QStringLiteral("driver"), QStringLiteral("write"),
                   writeArguments(entry, isBm ? c_lockDataOfBm : c_lockData), c_instructionTimeout,
                   {this, &DCmdSetLockScreen::rplSetLockScreen});
    return true;
}

// A malformed reply is logged and still no failure of this command.
bool DCmdSetLockScreen::rplSetLockScreen(quint64 /*instructionId*/, const QVariantMap& reply)
{
    const ReplyValues values(reply);
    if (values.list().size() != 1) {
        logCritical(this) << "ERROR: Invalid reply format";
        return true;
    }
    commandUpdateResults({{QStringLiteral("doneOk"), values.first().toBool()}});
    return true;
}

QString DCmdSetLockScreen::registerKey(const PDeviceMdc& plugin, bool isBm) const
{
    const QVariant softwareVersion = plugin.getProperty(QStringLiteral("softwareVersion"), nullptr);
    const QVariant version = plugin.getProperty(QStringLiteral("version"), nullptr);
    if (softwareVersion.isNull() || version.isNull()) {
        logCritical(this) << "ERROR: software Version number is not found. using version 1";
        return lockScreenChannel(c_unknownGeneration, 0, isBm);
    }
    const quint16 generation = softwareGeneration(softwareVersion);
    if (generation == c_unknownGeneration)
        logCritical(this) << "ERROR: version number is not found. using version gen 1 V2";
    return lockScreenChannel(generation, static_cast<quint16>(version.toUInt()), isBm);
}
