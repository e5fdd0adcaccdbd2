#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/i_host.h>
#include <QDebug>
#include <QJsonArray>
#include <QJsonObject>
#include <QUuid>

#include <algorithm>

namespace {

const QString c_connected = driver_contract::c_connected;

} // namespace

DAbstractPluginBackend::DAbstractPluginBackend(const QString& name, QObject* parent)
    : QObject(parent)
{
    setObjectName(name);
}

DAbstractPluginBackend::~DAbstractPluginBackend() = default;

QString DAbstractPluginBackend::name() const
{
    return m_name;
}

void DAbstractPluginBackend::setName(const QString& name)
{
    if (m_name == name)
        return;
    m_name = name;
    Q_EMIT nameChanged();
}

QString DAbstractPluginBackend::objectId() const
{
    return m_objectId;
}

void DAbstractPluginBackend::setObjectId(const QString& objectId)
{
    if (m_objectId == objectId)
        return;
    m_objectId = objectId;
    if (m_complete) {
        detach();
        attach();
    }
    Q_EMIT objectIdChanged();
}

QString DAbstractPluginBackend::reference() const
{
    return m_reference;
}

void DAbstractPluginBackend::setReference(const QString& reference)
{
    if (m_reference == reference)
        return;
    m_reference = reference;
    Q_EMIT referenceChanged();
}

bool DAbstractPluginBackend::isConnected() const
{
    return m_connected;
}

QSharedPointer<const QVariantMap> DAbstractPluginBackend::configuration() const
{
    if (m_plugin.isNull())
        return {};
    const QUuid uuid = m_plugin->objectUuid();
    const QJsonArray objects =
        m_plugin->getInMainConfig(QStringLiteral("objects"), QJsonArray(), nullptr).toArray();
    for (const QJsonValue& element : objects) {
        const QJsonObject object = element.toObject();
        const QJsonValue config = object.value(QLatin1String("configuration"));
        if (QUuid::fromString(object.value(QLatin1String("id")).toString()) == uuid && config.isObject())
            return QSharedPointer<const QVariantMap>(new QVariantMap(config.toObject().toVariantMap()));
    }
    return {};
}

bool DAbstractPluginBackend::queueTreatment(int index, const QString& commandName,
                                            const QVariantMap& parameters)
{
    if (m_queue.size() >= c_queueCapacity || (m_takesOnce && isUnderWay(index, commandName)))
        return false;
    m_queue.append({m_objectId, index, currentLink(), commandName, parameters});
    scheduleNext();
    Q_EMIT treatmentQueued(index, commandName, parameters);
    return true;
}

void DAbstractPluginBackend::setTakesOnce(bool takesOnce)
{
    m_takesOnce = takesOnce;
}

bool DAbstractPluginBackend::isUnderWay(int index, const QString& commandName) const
{
    if (commandName.isEmpty())
        return false;
    const auto isIt = [&](const Treatment& treatment) {
        return treatment.index == index && treatment.commandName == commandName &&
               treatment.objectId == m_objectId;
    };
    return (m_running && isIt(m_current)) || std::any_of(m_queue.cbegin(), m_queue.cend(), isIt);
}

bool DAbstractPluginBackend::hasPendingTreatments() const
{
    return m_running || !m_queue.isEmpty();
}

quint64 DAbstractPluginBackend::sendAnInstruction(const QString& commandName, const QVariantMap& parameters,
                                                  ReplyDelegate onReply, int index, ErrorDelegate onError)
{
    Q_UNUSED(index)
    return run(commandName, {parameters, onReply, onError});
}

quint64 DAbstractPluginBackend::repeatInstruction(const QString& commandName)
{
    const auto latest = m_instructions.constFind(commandName);
    return latest == m_instructions.cend() ? 0 : run(commandName, Instruction(*latest));
}

quint64 DAbstractPluginBackend::runningInstruction(const QString& commandName) const
{
    return m_instructions.value(commandName).running;
}

quint64 DAbstractPluginBackend::run(const QString& commandName, const Instruction& instruction)
{
    IHost* const host = m_host.isNull() ? IHost::current() : m_host.data();
    if (host == nullptr)
        return 0;
    const quint64 id =
        host->runCommand(QUuid::fromString(m_objectId), commandName, instruction.parameters, 0, this,
                         [this, commandName, instruction](quint64 ended, const DOrderOutcome& outcome) {
                             endInstruction(ended, commandName, instruction, outcome);
                         });
    Instruction& latest = m_instructions[commandName];
    latest = instruction;
    latest.running = id;
    return id;
}

void DAbstractPluginBackend::endInstruction(quint64 id, const QString& commandName,
                                            const Instruction& instruction, const DOrderOutcome& outcome)
{
    Instruction& latest = m_instructions[commandName];
    if (latest.running == id)
        latest.running = 0;
    // The callback may close the page.
    const QPointer<DAbstractPluginBackend> self(this);
    if (outcome.ok)
        instruction.onReply(id, outcome.results);
    else
        instruction.onError(id, outcome.errorCode,
                            {{QStringLiteral("errorCode"), outcome.errorCode},
                             {QStringLiteral("errorMessage"), outcome.errorMessage}});
    if (!self.isNull())
        Q_EMIT instructionEnded(id, commandName, outcome);
}

void DAbstractPluginBackend::applyTreatmentReply(int index, const QString& commandName,
                                                 const QVariantMap& reply)
{
    Q_UNUSED(index)
    Q_UNUSED(commandName)
    Q_UNUSED(reply)
}

void DAbstractPluginBackend::classBegin()
{}

void DAbstractPluginBackend::componentComplete()
{
    m_complete = true;
    m_host = IHost::current();
    if (!m_host.isNull()) {
        connect(m_host, &IHost::instanceAdded, this, [this](const QUuid& uuid) {
            if (uuid == QUuid::fromString(m_objectId))
                attach();
        });
        connect(m_host, &IHost::instanceAboutToGo, this, [this](const QUuid& uuid) {
            if (!m_plugin.isNull() && m_plugin->objectUuid() == uuid)
                detach();
            else if (!m_driver.isNull() && m_driver->objectUuid() == uuid)
                setConnected(false);
            else
                return;
        });
        // A driver may come after its device.
        connect(m_host, &IHost::instanceAdded, this, [this] { followDriver(); });
    }
    attach();
}

void DAbstractPluginBackend::attach()
{
    if (m_host.isNull() || !m_plugin.isNull())
        return;
    m_plugin = m_host->findInstance(QUuid::fromString(m_objectId));
    if (m_plugin.isNull())
        return;
    followDriver();
    // Once: who builds a page from it would build everything a second time.
    if (m_initialized)
        return;
    m_initialized = true;
    Q_EMIT abstractBackendInitialized();
}

void DAbstractPluginBackend::detach()
{
    if (!m_driver.isNull())
        m_driver->disconnect(this);
    m_driver.clear();
    m_plugin.clear();
    setConnected(false);
}

void DAbstractPluginBackend::followDriver()
{
    if (m_host.isNull() || m_plugin.isNull())
        return;
    DAbstractPlugin* const driver = m_host->findTarget(m_plugin->objectUuid(), QStringLiteral("driver"));
    if (driver == m_driver)
        return;
    if (!m_driver.isNull())
        m_driver->disconnect(this);
    m_driver = driver;
    if (driver == nullptr) {
        setConnected(false);
        return;
    }
    connect(driver, &DAbstractPlugin::sigPropertyChanged, this,
            [this](const QString& name, const QVariant& value) {
                if (name == c_connected)
                    setConnected(value.toBool());
            });
    setConnected(driver->getProperty(c_connected, nullptr).toBool());
}

void DAbstractPluginBackend::setConnected(bool connected)
{
    if (m_connected == connected)
        return;
    m_connected = connected;
    if (!connected)
        ++m_losses;
    Q_EMIT isConnectedChanged();
}

int DAbstractPluginBackend::currentLink() const
{
    const QVariantMap statistics =
        m_driver.isNull() ? QVariantMap()
                          : m_driver->getProperty(driver_contract::c_statistics, nullptr).toMap();
    const auto connections = statistics.constFind(driver_contract::c_connections);
    // A driver tells of a loss a moment later; its count knows at once that there is another link.
    return connections == statistics.cend() ? m_losses : connections->toInt() + (m_connected ? 0 : 1);
}

// Behind the next link there may be another controller.
bool DAbstractPluginBackend::isOfLostLink(const Treatment& treatment) const
{
    return treatment.objectId == m_objectId && treatment.link != currentLink();
}

void DAbstractPluginBackend::scheduleNext()
{
    if (m_running || m_scheduled || m_queue.isEmpty())
        return;
    m_scheduled = true;
    QMetaObject::invokeMethod(
        this, [this] { runNext(); }, Qt::QueuedConnection);
}

void DAbstractPluginBackend::runNext()
{
    m_scheduled = false;
    if (m_running || m_queue.isEmpty())
        return;
    const Treatment treatment = m_queue.takeFirst();
    m_current = treatment;
    m_running = true;
    if (treatment.commandName.isEmpty()) {
        const QString message =
            QStringLiteral("treatment %1 names no command and is released as failed").arg(treatment.index);
        qWarning().noquote() << objectName() << ":" << message;
        release(treatment, {false, IMessenger::CeEcUnknownCommand, message, {}});
        return;
    }
    if (isOfLostLink(treatment)) {
        release(treatment, {false,
                            IMessenger::CeEcNotConnected,
                            QStringLiteral("not sent: the connection was lost while it waited"),
                            {}});
        return;
    }
    IHost* const host = m_host.isNull() ? IHost::current() : m_host.data();
    if (host == nullptr) {
        release(treatment, {false, IMessenger::CeEcUnknownTarget, QStringLiteral("no host is running"), {}});
        return;
    }
    host->runCommand(
        QUuid::fromString(treatment.objectId), treatment.commandName, treatment.parameters, 0, this,
        [this, treatment](quint64, const DOrderOutcome& outcome) { release(treatment, outcome); });
}

void DAbstractPluginBackend::release(const Treatment& treatment, const DOrderOutcome& outcome)
{
    const QPointer<DAbstractPluginBackend> self(this);
    logFailure(treatment, outcome);
    if (outcome.ok)
        applyTreatmentReply(treatment.index, treatment.commandName, outcome.results);
    // The reply, or who hears of the end, may have closed the page.
    if (self.isNull())
        return;
    m_running = false;
    Q_EMIT treatmentEnded(treatment.index, treatment.commandName, outcome);
    if (!self.isNull())
        Q_EMIT treatmentReleased(treatment.index, treatment.commandName, outcome.ok);
    if (!self.isNull())
        scheduleNext();
}

void DAbstractPluginBackend::logFailure(const Treatment& treatment, const DOrderOutcome& outcome)
{
    if (treatment.commandName.isEmpty())
        return;
    const QPair<int, QString> key(treatment.index, treatment.commandName);
    if (outcome.ok) {
        m_toldFailures.remove(key);
        return;
    }
    QString& told = m_toldFailures[key];
    if (told == outcome.errorMessage)
        return;
    told = outcome.errorMessage;
    qWarning().noquote() << objectName() << ": treatment" << treatment.index << treatment.commandName
                         << "failed:" << outcome.errorMessage;
}
