#include "be_maintenance_plugin.h"

#include "log_line.h"

using namespace mdc;

const QMap<QString, int> BeMaintenanceDeviceMdc::c_commandsChannelsIndex{
    {QStringLiteral("setLock"), 100},
    {QStringLiteral("setProgram"), 200},
    {QStringLiteral("setDirection"), 300},
};

BeMaintenanceDeviceMdc::BeMaintenanceDeviceMdc(QObject* parent)
    : DAbstractPluginBackend(QStringLiteral("PlgLibDeviceMdc"), parent)
{
    // The page reads the model from a property; without an owner QML might take it for its own.
    QQmlEngine::setObjectOwnership(&m_statusChannelsModel, QQmlEngine::CppOwnership);
    connect(this, &DAbstractPluginBackend::abstractBackendInitialized, this,
            &BeMaintenanceDeviceMdc::initBackend);
    connect(this, &BeMaintenanceDeviceMdc::delayingClickedOnChannel, this,
            &BeMaintenanceDeviceMdc::clickedOnChannel, Qt::QueuedConnection);
}

BeMaintenanceDeviceMdc::~BeMaintenanceDeviceMdc() = default;

QString BeMaintenanceDeviceMdc::connectionPath() const
{
    return m_connectionPath;
}

void BeMaintenanceDeviceMdc::setConnectionPath(const QString& connectionPath)
{
    if (m_connectionPath == connectionPath)
        return;
    m_connectionPath = connectionPath;
    Q_EMIT connectionPathChanged();
}

QString BeMaintenanceDeviceMdc::version() const
{
    return m_version;
}

void BeMaintenanceDeviceMdc::setVersion(const QString& version)
{
    if (m_version == version)
        return;
    m_version = version;
    Q_EMIT versionChanged();
}

QVariantList BeMaintenanceDeviceMdc::deviceInfo() const
{
    return m_deviceInfo;
}

void BeMaintenanceDeviceMdc::setDeviceInfo(const QVariantList& deviceInfo)
{
    if (m_deviceInfo == deviceInfo)
        return;
    m_deviceInfo = deviceInfo;
    Q_EMIT channelsModelChanged();
}

OLM_DMdcChannel* BeMaintenanceDeviceMdc::statusChannelsModel()
{
    return &m_statusChannelsModel;
}

QSharedPointer<DMdcChannel> BeMaintenanceDeviceMdc::getChannelAt(int index) const
{
    return m_statusChannelsModel.at(index);
}

void BeMaintenanceDeviceMdc::initBackend()
{
    const QSharedPointer<const QVariantMap> config = configuration();
    if (config.isNull())
        return;
    const QVariant channels = config->value(QStringLiteral("channels"));
    if (channels.userType() == QMetaType::QVariantList) {
        const QVariantList descriptions = channels.toList();
        for (const QVariant& description : descriptions) {
            if (description.userType() == QMetaType::QVariantMap)
                addChannel(description.toMap());
        }
    }
    getDeviceInfo();
}

// One channel per entry of the description: a row for an entry "information", and the latest of the
// others under the channel's id.
void BeMaintenanceDeviceMdc::addChannel(const QVariantMap& description)
{
    const QVariantList entries = description.value(QStringLiteral("value")).toList();
    for (const QVariant& entry : entries) {
        if (entry.userType() != QMetaType::QVariantMap)
            continue;
        const QSharedPointer<DMdcChannel> channel = DMdcChannel::create(description);
        if (channel.isNull())
            continue;
        if (entry.toMap().value(QStringLiteral("value")).toString() == QLatin1String("information")) {
            m_statusChannelsModel.append(channel);
            Q_EMIT m_statusChannelsModel.changed();
        } else {
            m_channelsById.insert(description.value(QStringLiteral("id")).toString(), channel);
        }
    }
}

void BeMaintenanceDeviceMdc::getDeviceInfo()
{
    sendAnInstruction(QStringLiteral("getInfo"), {{QStringLiteral("reference"), reference()}},
                      {this, &BeMaintenanceDeviceMdc::cbGetInfoReply}, -1, {});
}

bool BeMaintenanceDeviceMdc::cbGetInfoReply(quint64 /*requestId*/, const QVariantMap& reply)
{
    const auto deviceInformation = reply.constFind(QStringLiteral("deviceInformation"));
    if (deviceInformation != reply.cend())
        setDeviceInfo(deviceInformation->toList());
    return true;
}

void BeMaintenanceDeviceMdc::applyTreatmentReply(int index, const QString& commandName,
                                                 const QVariantMap& reply)
{
    if (commandName != QLatin1String("getRegister")) {
        DAbstractPluginBackend::applyTreatmentReply(index, commandName, reply);
        return;
    }
    const QSharedPointer<DMdcChannel> channel = getChannelAt(index);
    if (channel.isNull()) {
        logCritical(this) << "BeMaintenanceDeviceMdc::applyTreatmentReply: channel is null at index" << index;
        return;
    }
    channel->setValue(reply.value(QStringLiteral("values")));
}

void BeMaintenanceDeviceMdc::updateChannelsValue()
{
    if (hasPendingTreatments())
        return;
    for (int i = 0; i < m_statusChannelsModel.length(); ++i) {
        const QSharedPointer<DMdcChannel> channel = getChannelAt(i);
        if (channel.isNull()) {
            logCritical(this) << "BeMaintenanceDeviceMdc::updateChannelsValue: channel is null at index" << i;
            continue;
        }
        queueTreatment(i, QStringLiteral("getRegister"), {{QStringLiteral("channel"), channel->id()}});
    }
}

void BeMaintenanceDeviceMdc::clickedOnChannel(int channelIndex)
{
    const QSharedPointer<DMdcChannel> channel = getChannelAt(channelIndex);
    if (channel.isNull()) {
        logCritical(this) << "BeMaintenanceDeviceMdc::clickedOnChannel: channel is null at index"
                          << channelIndex;
        return;
    }
    const QVariantMap parameters{{QStringLiteral("channel"), channel->id()},
                                 {QStringLiteral("value"), !channel->value().toBool()}};
    // What an empty command name runs is the framework's decision.
    if (!queueTreatment(channelIndex, QString(), parameters))
        Q_EMIT delayingClickedOnChannel(channelIndex);
}

void BeMaintenanceDeviceMdc::setLock(const bool& lockStatus)
{
    const QString command = QStringLiteral("setLock");
    queueTreatment(c_commandsChannelsIndex.value(command), command,
                   {{QStringLiteral("lock"), static_cast<int>(lockStatus)}});
}

void BeMaintenanceDeviceMdc::setProgram(const QString& program)
{
    bool isNumber = false;
    const int number = program.toInt(&isNumber, 10);
    if (!isNumber || number < 0)
        return;
    const QString command = QStringLiteral("setProgram");
    queueTreatment(c_commandsChannelsIndex.value(command), command, {{QStringLiteral("program"), number}});
}

void BeMaintenanceDeviceMdc::setDirection(const bool& directionStatus)
{
    const QString command = QStringLiteral("setDirection");
    queueTreatment(c_commandsChannelsIndex.value(command), command,
                   {{QStringLiteral("direction"), static_cast<int>(directionStatus)}});
}

void BeMaintenanceDeviceMdc::resetBackend()
{
    m_statusChannelsModel.clear();
    Q_EMIT m_statusChannelsModel.changed();
    m_channelsById.clear();
    initBackend();
}
