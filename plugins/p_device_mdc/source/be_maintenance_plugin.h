#pragma once

#include "olm_d_mdc_channel.h"

#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QVariantList>

// The object behind the maintenance page of one device: it lists the configuration's status channels,
// polls them through "getRegister", shows what "getInfo" tells, and runs the commands of the page's
// buttons. Created and owned by the QML engine; everything happens on its thread.
class BeMaintenanceDeviceMdc : public DAbstractPluginBackend
{
    Q_OBJECT
    // For a frame around the page: the command that identifies the controller and has to come before all
    // others, the one that reads a row, and what the operator knows the others as.
    Q_CLASSINFO("identification", "getInfo")
    Q_CLASSINFO("reading", "getRegister")
    //% "Set program"
    Q_CLASSINFO("action.setProgram", QT_TRID_NOOP("BeMaintenance_action_setProgram"))
    //% "Tool lock"
    Q_CLASSINFO("action.setLock", QT_TRID_NOOP("BeMaintenance_action_setLock"))
    //% "Set direction"
    Q_CLASSINFO("action.setDirection", QT_TRID_NOOP("BeMaintenance_action_setDirection"))
    // What it is told once they are done, by their arguments.
    //% "Program %1 set"
    Q_CLASSINFO("done.setProgram", QT_TRID_NOOP("BeMaintenance_done_setProgram"))
    //% "Unlocked"
    Q_CLASSINFO("done.setLock.0", QT_TRID_NOOP("BeMaintenance_lock_none"))
    //% "Locked"
    Q_CLASSINFO("done.setLock.1", QT_TRID_NOOP("BeMaintenance_lock_both"))
    //% "Fastening"
    Q_CLASSINFO("done.setDirection.0", QT_TRID_NOOP("BeMaintenance_direction_fastening"))
    //% "Loosening"
    Q_CLASSINFO("done.setDirection.1", QT_TRID_NOOP("BeMaintenance_direction_loosening"))
    // The channel that tells whether the tool is locked, which has no row, and what its values mean.
    Q_CLASSINFO("state.setLock", "lock")
    Q_CLASSINFO("state.setLock.0", QT_TRID_NOOP("BeMaintenance_lock_none"))
    Q_CLASSINFO("state.setLock.1", QT_TRID_NOOP("BeMaintenance_lock_both"))
    //% "Loosening locked"
    Q_CLASSINFO("state.setLock.2", QT_TRID_NOOP("BeMaintenance_lock_loosening"))
    //% "Fastening locked"
    Q_CLASSINFO("state.setLock.3", QT_TRID_NOOP("BeMaintenance_lock_fastening"))
    Q_PROPERTY(QString connectionPath READ connectionPath NOTIFY connectionPathChanged FINAL)
    Q_PROPERTY(QString version READ version NOTIFY versionChanged FINAL)
    Q_PROPERTY(QVariantList deviceInfo READ deviceInfo NOTIFY channelsModelChanged FINAL)
    Q_PROPERTY(
        OLM_DMdcChannel* statusChannelsModel READ statusChannelsModel NOTIFY channelsModelChanged FINAL)

public:
    // The treatment index of each command of the page: beyond any row, since a poll's index is its row.
    static const QMap<QString, int> c_commandsChannelsIndex;

    explicit BeMaintenanceDeviceMdc(QObject* parent = nullptr);
    ~BeMaintenanceDeviceMdc() override;

    QString connectionPath() const;
    void setConnectionPath(const QString& connectionPath);
    QString version() const;
    void setVersion(const QString& version);
    QVariantList deviceInfo() const;
    void setDeviceInfo(const QVariantList& deviceInfo);
    // A member of this object.
    OLM_DMdcChannel* statusChannelsModel();

    // The channel of a row; null outside the rows.
    QSharedPointer<DMdcChannel> getChannelAt(int index) const;

    // Makes the channels that the configuration describes and asks for the device information.
    void initBackend();
    void getDeviceInfo();
    bool cbGetInfoReply(quint64 requestId, const QVariantMap& reply);
    void applyTreatmentReply(int index, const QString& commandName, const QVariantMap& reply) override;

Q_SIGNALS:
    void connectionPathChanged();
    void versionChanged();
    void channelsModelChanged();
    // A tap that the treatment queue did not take: it comes again with the next turn of the event loop.
    void delayingClickedOnChannel(int channelIndex);

public Q_SLOTS:
    // Reads every status channel once, unless the reading before is still under way.
    void updateChannelsValue();
    // Asks for the opposite of a channel's value.
    void clickedOnChannel(int channelIndex);
    void setLock(const bool& lockStatus);
    // Ignores a text that is no whole number from 0 up.
    void setProgram(const QString& program);
    // true loosens, false fastens.
    void setDirection(const bool& directionStatus);
    // Drops all channels and starts again from the configuration.
    void resetBackend();

private:
    void addChannel(const QVariantMap& description);

    QString m_connectionPath;
    QString m_version;
    QVariantList m_deviceInfo;
    OLM_DMdcChannel m_statusChannelsModel;
    QMap<QString, QSharedPointer<DMdcChannel>> m_channelsById;
};
