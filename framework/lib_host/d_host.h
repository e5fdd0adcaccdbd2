#pragma once

#include <lib_host/configuration.h>
#include <lib_host/lib_host_global.h>

#include <lib_plugins_management/i_host.h>
#include <lib_plugins_management/i_plugin.h>

#include <QJsonObject>
#include <QList>
#include <QSharedPointer>
#include <QStringList>

#include <memory>

class DAbstractPlugin;
class DOrderNotices;

// What became of one file of a plug-in folder.
struct DPluginReport
{
    QString file;
    // Empty when the plug-in is loaded; else why it is refused, naming the file.
    QString error;
    // The rest is set only when it is loaded.
    QUuid pluginUuid;
    QString name;
    quint64 version = 0;
    IPlugin::Type type = IPlugin::CeTypeDevice;
};

// The reference host: loads plug-ins, makes one instance per configured object, runs orders.
//
// Everything happens on the thread that made the host, which needs an event loop; no call blocks.
// Orders end, and replies reach their handlers, from the event loop only.
class LIB_HOST_EXPORT DHost : public IHost
{
    Q_OBJECT

public:
    explicit DHost(QObject* parent = nullptr);
    // Ends every order as failed, then deletes the instances.
    ~DHost() override;

    // Loads every library of the folder, in file name order. A file is refused, and the others go
    // on, when it is no plug-in, has another interface, lacks a library, was built with another Qt,
    // or is of a kind that is loaded already. A folder that cannot be read is one report.
    QList<DPluginReport> loadPlugins(const QString& folder);
    // The reports of all loads so far.
    QList<DPluginReport> pluginReports() const;
    // Adds a plug-in kind that is linked into the program instead of loaded. `root` is not owned
    // and must outlive the host. False with `error` for a null or repeated kind.
    bool addPlugin(DAbstractPlugin* root, QString* error = nullptr);
    // The root objects of all kinds, loaded and added; they make the instances and describe the kinds.
    DPluginKinds kinds() const;

    // Persistent properties are restored from and saved to this file (JSON, by object identity). What an
    // order sets is on the disk before its next instruction starts; where that cannot be the order fails
    // there. Called before configure(). A missing file is an empty one; an unreadable one is an error: it is
    // left alone and nothing is saved over it as long as it is so.
    bool setPropertiesFile(const QString& path, QString* error = nullptr);

    // Of what the persistent properties are that this object sets from now on, as a serial number of the
    // device; empty, as it is at the start, when nobody knows. It is saved beside each of them.
    void setPropertyOrigin(const QUuid& objectUuid, const QString& origin);
    // What was known of a persistent property when it was set; empty for nothing.
    QString propertyOrigin(const QUuid& objectUuid, const QString& name) const;

    // Makes the instances of the configuration's "objects", in their order: createInstance,
    // restored properties, setMainConfig, initPluginCommands. Each element:
    //   "id" (UUID of the object), "name", "plugin" (UUID of the plug-in kind), "reference" (text),
    //   "driver" (UUID of the object its target "driver" means, optional), "configuration" (object).
    // Returns what is wrong, naming object and key; an object with an error has no instance.
    QStringList configure(const QJsonObject& configuration);
    QSharedPointer<QJsonObject> configuration() const;

    // Identities of the instances, in configuration order.
    QList<QUuid> objectUuids() const;
    // By UUID text or by configured name; null when there is none.
    DAbstractPlugin* findObject(const QString& idOrName) const;
    // Ends the orders of one instance and deletes it.
    bool removeInstance(const QUuid& objectUuid);

    DAbstractPlugin* findInstance(const QUuid& objectUuid) const override;
    DAbstractPlugin* findTarget(const QUuid& objectUuid, const QString& target) const override;

    // Runs a command of an instance, or, given a stop name, ends the running orders that have it.
    // `timeout` in milliseconds bounds the whole order, 0 for no bound. Returns the order's
    // identifier, never 0: an unknown object or command is an outcome, told by orderFinished.
    quint64 startOrder(const QUuid& objectUuid, const QString& command, const QVariantMap& arguments,
                       int timeout = 0);
    quint64 runCommand(const QUuid& objectUuid, const QString& command, const QVariantMap& arguments,
                       int timeout, QObject* context, EndHandler onEnd) override;
    // Ends one order as its stop command would: a listening order as succeeded, any other as failed
    // with CeEcStopped. False for an order that is not running.
    bool stopOrder(quint64 orderId);
    // Orders that have not ended, those placed as instructions included.
    int runningOrderCount() const;

Q_SIGNALS:
    // Both for orders placed with startOrder only. A plain command delivers once, when it ends
    // (in the outcome); a command with a stop name delivers every update here.
    void orderUpdated(quint64 orderId, const QVariantMap& results);
    // A listening order missed a reply and goes on.
    void orderFailureReported(quint64 orderId, int errorCode, const QString& errorMessage);
    void orderFinished(quint64 orderId, const DOrderOutcome& outcome);
    // An instruction that such an order placed has ended, and how; told before the order's handler hears
    // of it. One that was under way when the order ended is told too, before the order's end, with
    // CeEcStopped: whether the device has done it is not known. An order that is stopped from here comes to
    // place its next instruction, but not to start it.
    void instructionFinished(quint64 orderId, const QString& instruction, const QVariantMap& arguments,
                             const DOrderOutcome& outcome);
    // Persistent properties could not be saved; what the file held is still there. Of those that an order has
    // set its outcome tells.
    void propertiesNotSaved(const QString& error);

private:
    friend class DOrderNotices; // asks whether anybody listens to a signal
    class Private;
    std::unique_ptr<Private> d;
};
