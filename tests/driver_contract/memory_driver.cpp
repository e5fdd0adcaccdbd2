// A driver whose device is a row of registers in memory, each its own address until it is written.

#include <lib_plugins_management/d_abstract_command.h>
#include <lib_plugins_management/d_abstract_plugin.h>
#include <lib_plugins_management/driver_contract.h>
#include <lib_plugins_management/variant_conversion.h>

#include <QMap>
#include <QPointer>
#include <QTimer>

#include <utility>

using namespace driver_contract;

class PMemoryDriver : public DAbstractPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.PMemoryDriver")
    // What the device does: it "answers" after "answerDelay" ms, "refuses", is "silent" or is "gone".
    Q_PROPERTY(QString behaviour MEMBER behaviour NOTIFY behaviourChanged)
    Q_PROPERTY(int answerDelay MEMBER answerDelay)
    Q_PROPERTY(int requests MEMBER requests) // that have been sent

public:
    explicit PMemoryDriver(const QUuid& uuid = QUuid(), QObject* parent = nullptr)
        : DAbstractPlugin(QUuid(QStringLiteral("{9e0f6a52-7c1d-4d38-8a35-60b1d4f7c2e9}")),
                          QStringLiteral("Plugin Driver Memory"), CeTypeDriver, 1, uuid, parent, false)
    {
        setProperty(c_connected, false, false);
        // From the event loop, as everything that happens to a link.
        connect(this, &PMemoryDriver::behaviourChanged, this, &PMemoryDriver::tellOfLink,
                Qt::QueuedConnection);
    }
    ~PMemoryDriver() override { Q_EMIT lost(true); }
    IPlugin* createInstance(const QUuid& uuid) const override { return new PMemoryDriver(uuid); }
    QString pluginSubTypeName() const override { return {}; }
    void initPluginCommands() override;

    QString behaviour = QStringLiteral("answers");
    int answerDelay = 0;
    int requests = 0;
    QMap<int, int> written;

Q_SIGNALS:
    void behaviourChanged();
    void lost(bool instanceGoes); // to the commands that are running

private:
    void tellOfLink();
};

// All four instructions: they differ in what is sent and in how often.
class DCmdMemory : public DAbstractCommand
{
    Q_OBJECT

public:
    DCmdMemory(const QString& name, const QVariantMap& arguments, PMemoryDriver* driver);
    QSharedPointer<ICommand> createCommand(const QVariantMap& arguments) const override
    {
        return QSharedPointer<DCmdMemory>(new DCmdMemory(commandName(), arguments, m_driver));
    }
    bool commandExecute() override;

private:
    QString wrongArgument();
    void send();
    void answer();
    void fail(IMessenger::EnErrorCode code, const QString& message);
    void linkLost(bool instanceGoes);

    PMemoryDriver* const m_driver;
    const bool m_isWrite = commandName() == c_write;
    const bool m_isListening = commandName() == c_listen;
    int m_start = 0;
    int m_size = 0;
    QVariantList m_data;
    QTimer m_sending;
    QTimer m_outcome; // of what was sent: the answer, or the deadline
    bool m_isAnswered = false;
    bool m_failureIsTold = false;
};

void PMemoryDriver::initPluginCommands()
{
    const QPointer<PMemoryDriver> self(this);
    Q_EMIT lost(true);
    // Whoever is told of something may end the instance.
    if (!self.isNull())
        setProperty(c_connected, false, false);
    if (self.isNull())
        return;
    setProperty(c_address, QStringLiteral("memory"), false);
    initAbstractCommands();
    for (const QLatin1String name : {c_read, c_write, c_listen, c_deviceInformation})
        declareInstructionCommand(new DCmdMemory(name, {}, this));
    QMetaObject::invokeMethod(this, &PMemoryDriver::tellOfLink, Qt::QueuedConnection);
    Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
}

void PMemoryDriver::tellOfLink()
{
    const QPointer<PMemoryDriver> self(this);
    const bool isThere = behaviour != QLatin1String("gone");
    if (!isThere)
        Q_EMIT lost(false);
    if (!self.isNull())
        setProperty(c_connected, isThere, false);
}

DCmdMemory::DCmdMemory(const QString& name, const QVariantMap& arguments, PMemoryDriver* driver)
    : DAbstractCommand(name, name == c_listen ? QString(c_stopListening) : QString(), arguments, driver)
    , m_driver(driver)
{
    setDescription(QStringLiteral("Does \"%1\" in memory.").arg(name));
    setEndsByItself(true);
    if (name == c_deviceInformation) {
        declareAResult(c_deviceInformation, QStringLiteral("varM"), QStringLiteral("\"info\": bytes"));
    } else {
        declareAParameter(c_register, QStringLiteral("ui16"), QStringLiteral("The first one"));
        declareAParameter(c_registerType, QStringLiteral("strg"), QStringLiteral("Its kind"));
        declareAParameter(c_dataSize, QStringLiteral("ui16"), QStringLiteral("How many"),
                          m_isWrite ? QVariant() : QVariant(1));
        declareAResult(c_values, QStringLiteral("varL"), QStringLiteral("What is read; 1 for a write"));
    }
    if (m_isWrite)
        declareAParameter(c_data, QStringLiteral("vart"), QStringLiteral("A value or a list of values"));
    if (m_isListening)
        declareAParameter(c_recurrentInterval, QStringLiteral("ui16"), QStringLiteral("ms"),
                          c_defaultInterval);
    for (QTimer* const timer : {&m_sending, &m_outcome}) {
        timer->setTimerType(Qt::PreciseTimer);
        connect(this, SIGNAL(sigCommandFinished(bool)), timer, SLOT(stop()));
    }
    m_sending.setSingleShot(!m_isListening);
    m_outcome.setSingleShot(true);
    connect(&m_sending, &QTimer::timeout, this, &DCmdMemory::send);
    connect(&m_outcome, &QTimer::timeout, this, &DCmdMemory::answer);
}

bool DCmdMemory::commandExecute()
{
    if (!DAbstractCommand::commandExecute())
        return false;
    const QString wrong = commandName() == c_deviceInformation ? QString() : wrongArgument();
    if (!wrong.isEmpty()) {
        failTheCommand(IMessenger::CeEcInvalidArguments, wrong);
        return false;
    }
    connect(m_driver, &PMemoryDriver::lost, this, &DCmdMemory::linkLost);
    m_sending.start(0); // from the event loop: the caller has its identifier before the outcome
    return true;
}

QString DCmdMemory::wrongArgument()
{
    const QString type = getParameterValue(c_registerType, {}).toString();
    if (type != c_holdingRegisters && type != c_singleRegister)
        return QStringLiteral("\"registerType\" is \"%1\": there are holdingRegisters and singleRegister")
            .arg(type);
    QStringList wrong;
    const auto number = [&wrong](const QString& name, const QVariant& value, int least, int most) {
        const int result = convertVariant(value, QMetaType::Int, -1).toInt();
        if (result < least || result > most)
            wrong.append(QStringLiteral("\"%1\" is %2: a whole number from %3 to %4 is needed")
                             .arg(name, value.toString(), QString::number(least), QString::number(most)));
        return result;
    };
    const QVariant data = getParameterValue(c_data, {});
    const bool isList = static_cast<QMetaType::Type>(data.userType()) == QMetaType::QVariantList;
    m_data = isList ? data.toList() : QVariantList{data};
    const int mostWritten = type == c_holdingRegisters ? 123 : 1;
    m_size =
        number(c_dataSize, getParameterValue(c_dataSize, m_data.size()), 1, m_isWrite ? mostWritten : 125);
    m_start = number(c_register, getParameterValue(c_register, {}), 0, 65536 - m_size);
    if (m_isWrite && m_size != m_data.size())
        wrong.append(QStringLiteral("\"dataSize\" is %1, \"data\" has %2").arg(m_size).arg(m_data.size()));
    for (QVariant& value : m_data)
        value = m_isWrite ? number(c_data, value, 0, 65535) : 0;
    if (m_isListening)
        number(c_recurrentInterval, getParameterValue(c_recurrentInterval, {}), 1, 65535);
    return wrong.value(0);
}

void DCmdMemory::send()
{
    if (m_isListening && m_sending.interval() == 0)
        m_sending.start(getParameterValue(c_recurrentInterval, {}).toInt());
    if (m_outcome.isActive()) // a listening's read that is due while the one before is not done
        return;
    if (m_driver->behaviour == QLatin1String("gone")) {
        fail(IMessenger::CeEcNotConnected, QStringLiteral("memory is gone"));
        return;
    }
    ++m_driver->requests;
    const auto left = static_cast<int>(deadline().remainingTime());
    // A caller may give up more often than a listening is to read.
    const int limit = left < 0 || (left == 0 && m_isListening) ? c_defaultDeadline : left;
    m_isAnswered = m_driver->behaviour != QLatin1String("silent") && m_driver->answerDelay < limit;
    m_outcome.start(m_isAnswered ? m_driver->answerDelay : limit);
}

void DCmdMemory::answer()
{
    if (!m_isAnswered) { // whether a write was done nobody knows
        fail(m_isWrite ? IMessenger::CeEcUncertain : IMessenger::CeEcTimeout,
             QStringLiteral("memory is silent"));
        return;
    }
    if (m_driver->behaviour == QLatin1String("refuses")) {
        if (m_isWrite)
            commandUpdateResult(c_values, QVariantList{0});
        fail(IMessenger::CeEcRefused, QStringLiteral("memory refuses"));
        return;
    }
    m_failureIsTold = false;
    QVariantList values;
    for (int i = m_start; i < m_start + m_size; ++i) {
        if (m_isWrite)
            m_driver->written[i] = m_data.at(i - m_start).toInt();
        else
            values.append(m_driver->written.value(i, i));
    }
    bool ok = commandName() == c_deviceInformation
                  ? commandUpdateResult(c_deviceInformation, QVariantMap{{c_info, QByteArray("memory")}})
                  : commandUpdateResult(c_values, m_isWrite ? QVariantList{1} : values);
    if (!m_isListening)
        finishTheCommand(ok);
}

void DCmdMemory::fail(IMessenger::EnErrorCode code, const QString& message)
{
    m_outcome.stop();
    if (!m_isListening || code == IMessenger::CeEcInternal)
        failTheCommand(code, message);
    else if (!std::exchange(m_failureIsTold, true)) // an outage is told once
        reportFailure(code, message);
}

void DCmdMemory::linkLost(bool instanceGoes)
{
    const QString why = instanceGoes ? QStringLiteral("memory: the driver instance is ended")
                                     : QStringLiteral("memory is gone");
    if (instanceGoes && m_isListening)
        fail(IMessenger::CeEcInternal, why);
    else if (instanceGoes || m_outcome.isActive())
        fail(m_isWrite && m_outcome.isActive() ? IMessenger::CeEcUncertain : IMessenger::CeEcNotConnected,
             why);
}

#include "memory_driver.moc"
