#pragma once

#include <lib_utilities/d_object.h>

#include <QMap>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVariantMap>

// One live value of the maintenance page: an entry of the configuration's "channels" and the value that
// was last read for it. Lives on the page's thread; owned by shared pointers in the model.
class DMdcChannel : public DObject
{
    Q_OBJECT
    Q_PROPERTY(QString id READ id NOTIFY idChanged FINAL)
    Q_PROPERTY(QString name READ name NOTIFY nameChanged FINAL)
    Q_PROPERTY(QString label READ label NOTIFY labelChanged FINAL)
    Q_PROPERTY(QVariant value READ value NOTIFY valueChanged FINAL)
    Q_PROPERTY(EnChannelType type READ type NOTIFY typeChanged FINAL)

public:
    // How the page presents the value.
    enum EnChannelType {
        CeCtUnknown = 0,
        CeCtString = 1,
        CeCtBool = 2,
        _CeCtNbr = 3 // NOLINT(bugprone-reserved-identifier): the number of types, a name that pages know
    };
    Q_ENUM(EnChannelType)

    // The type of a channel by its id; any other channel is CeCtUnknown.
    static const QMap<QString, EnChannelType> c_channelTypesMap;
    // The word for a direction code. Two codes have none.
    static const QStringList c_directionCodeToString;

    explicit DMdcChannel(QObject* parent = nullptr);
    ~DMdcChannel() override;

    // A channel from its description {"id", "name", "value": [{"id", "value"}, …]}; null for an empty
    // one. The "value" list gives the attributes; one of them named "type" asks for the type that
    // belongs to the channel's id.
    static QSharedPointer<DMdcChannel> create(const QVariantMap& description);

    QString id() const;
    void setId(const QString& id);
    QString name() const;
    void setName(const QString& name);
    QString label() const;
    void setLabel(const QString& label);
    QVariant value() const;
    // Takes what a register read brings: a list of exactly one element. Anything else is ignored. The
    // channel "direction" shows the word for its code, nothing for a code without one.
    void setValue(const QVariant& value);
    EnChannelType type() const;
    void setType(EnChannelType type);
    // The values of the description's list, by their ids.
    QMap<QString, QVariant> attributes() const;

Q_SIGNALS:
    void idChanged();
    void nameChanged();
    void labelChanged();
    void valueChanged();
    void typeChanged();
    // For pages; nothing here emits it.
    void sigSwitchChannelValue(const QString& channelId);

private:
    QString m_id;
    QString m_name;
    QString m_label;
    QVariant m_value;
    EnChannelType m_type = CeCtUnknown;
    QMap<QString, QVariant> m_attributes;
};
