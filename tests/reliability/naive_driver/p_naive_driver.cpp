#include "tests/reliability/naive_driver/p_naive_driver.h"

#include <lib_utilities/version.h>

#include <QJsonArray>
#include <QJsonObject>
#include <QModbusReply>
#include <QModbusRtuSerialMaster>
#include <QModbusTcpClient>
#include <QSerialPort>
#include <QTimer>

namespace {

const QString c_read = QStringLiteral("read");
const QString c_write = QStringLiteral("write");
const QString c_listen = QStringLiteral("listen");
const QString c_deviceInformation = QStringLiteral("deviceInformation");
const QString c_values = QStringLiteral("values");

QModbusDataUnit::RegisterType typeOf(const QString& name)
{
    if (name == QLatin1String("coils"))
        return QModbusDataUnit::Coils;
    if (name == QLatin1String("inputRegisters"))
        return QModbusDataUnit::InputRegisters;
    if (name == QLatin1String("discreteInputs"))
        return QModbusDataUnit::DiscreteInputs;
    return QModbusDataUnit::HoldingRegisters;
}

} // namespace

PNaiveDriver::PNaiveDriver(const QUuid& objectUuid, QObject* parent)
    : DAbstractPlugin(QUuid(QStringLiteral("{c7a3f1de-52b8-4a0e-9c64-1f0d8e2b7a95}")),
                      QStringLiteral("Naive Modbus driver"), IPlugin::CeTypeDriver,
                      versionFromString(QStringLiteral("1.0")), objectUuid, parent, false)
{}

PNaiveDriver::~PNaiveDriver() = default;

void PNaiveDriver::initPluginCommands()
{
    initAbstractCommands();
    for (const QString& name : {c_read, c_write, c_deviceInformation})
        declareInstructionCommand(new DCmdNaive(name, {}, {}, this));
    declareInstructionCommand(new DCmdNaive(c_listen, QStringLiteral("stopListening"), {}, this));

    const QJsonObject settings = configuration();
    const bool rtu = settings.value(QStringLiteral("transport")).toString() == QLatin1String("rtu");
    if (m_client != nullptr) {
        m_client->disconnectDevice();
    } else {
        if (rtu)
            m_client = std::make_unique<QModbusRtuSerialMaster>();
        else
            m_client = std::make_unique<QModbusTcpClient>();
        connect(m_client.get(), &QModbusClient::stateChanged, this, [this](QModbusDevice::State state) {
            setProperty(QStringLiteral("connected"), state == QModbusDevice::ConnectedState, false);
        });
    }
    if (rtu) {
        m_client->setConnectionParameter(QModbusDevice::SerialPortNameParameter,
                                         settings.value(QStringLiteral("serialPort")).toString());
        m_client->setConnectionParameter(QModbusDevice::SerialBaudRateParameter,
                                         settings.value(QStringLiteral("baudRate")).toInt());
        m_client->setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::NoParity);
    } else {
        m_client->setConnectionParameter(QModbusDevice::NetworkAddressParameter,
                                         settings.value(QStringLiteral("host")).toString());
        m_client->setConnectionParameter(QModbusDevice::NetworkPortParameter,
                                         settings.value(QStringLiteral("port")).toInt());
    }
    m_client->connectDevice();
    Q_EMIT sigCommandsInitDone(objectUuid(), commandNames());
}

IPlugin* PNaiveDriver::createInstance(const QUuid& objectUuid) const
{
    return new PNaiveDriver(objectUuid, nullptr);
}

QString PNaiveDriver::pluginSubTypeName() const
{
    return {};
}

QModbusClient* PNaiveDriver::client()
{
    if (m_client->state() == QModbusDevice::UnconnectedState)
        m_client->connectDevice();
    return m_client.get();
}

int PNaiveDriver::unitId() const
{
    return configuration().value(QStringLiteral("unitId")).toInt(1);
}

QJsonObject PNaiveDriver::configuration() const
{
    const QJsonArray objects = getInMainConfig(QStringLiteral("objects"), {}, nullptr).toArray();
    for (const QJsonValue& value : objects) {
        if (QUuid::fromString(value.toObject().value(QStringLiteral("id")).toString()) == objectUuid())
            return value.toObject().value(QStringLiteral("configuration")).toObject();
    }
    return {};
}

DCmdNaive::DCmdNaive(const QString& name, const QString& stopName, const QVariantMap& arguments,
                     QObject* parent)
    : DAbstractCommand(name, stopName, arguments, parent)
{
    setDescription(name);
    declareAResult(name == c_deviceInformation ? name : c_values, QStringLiteral("vart"), name);
    setEndsByItself(true);
}

QSharedPointer<ICommand> DCmdNaive::createCommand(const QVariantMap& arguments) const
{
    return QSharedPointer<DCmdNaive>(new DCmdNaive(commandName(), stopCommandName(), arguments, parent()));
}

bool DCmdNaive::commandExecute()
{
    return DAbstractCommand::commandExecute() && request();
}

QModbusReply* DCmdNaive::send(PNaiveDriver& driver) const
{
    QModbusClient* const client = driver.client();
    if (commandName() == c_deviceInformation)
        return client->sendRawRequest(QModbusRequest(QModbusRequest::ReportServerId), driver.unitId());
    return commandName() == c_write ? client->sendWriteRequest(dataUnit(), driver.unitId())
                                    : client->sendReadRequest(dataUnit(), driver.unitId());
}

QModbusDataUnit DCmdNaive::dataUnit() const
{
    const QVariantMap arguments = commandArguments();
    QModbusDataUnit unit(typeOf(arguments.value(QStringLiteral("registerType")).toString()),
                         arguments.value(QStringLiteral("register")).toInt(),
                         arguments.value(QStringLiteral("dataSize"), 1).value<quint16>());
    const QVariant data = arguments.value(QStringLiteral("data"));
    if (data.isValid()) {
        QVector<quint16> values;
        const QVariantList list = data.type() == QVariant::List ? data.toList() : QVariantList{data};
        for (const QVariant& value : list)
            values.append(value.value<quint16>());
        unit.setValues(values);
    }
    return unit;
}

bool DCmdNaive::request()
{
    auto* const driver = qobject_cast<PNaiveDriver*>(parent());
    QModbusReply* const reply = driver == nullptr ? nullptr : send(*driver);
    if (reply == nullptr) {
        failTheCommand(IMessenger::CeEcNotConnected, QStringLiteral("not connected"));
        return false;
    }
    connect(reply, &QModbusReply::finished, this, [this, reply] { onReply(reply); });
    return true;
}

void DCmdNaive::onReply(QModbusReply* reply)
{
    reply->deleteLater();
    // Its answer is correct and still comes as an error, because the library does not know the function.
    const bool identification = commandName() == c_deviceInformation && reply->rawResult().isValid();
    if (reply->error() != QModbusDevice::NoError && !identification) {
        if (reply->error() == QModbusDevice::TimeoutError)
            failTheCommand(IMessenger::CeEcTimeout, reply->errorString());
        else
            failTheCommand(IMessenger::CeEcRefused, reply->errorString());
        return;
    }
    if (commandName() == c_deviceInformation) {
        commandUpdateResult(c_deviceInformation,
                            QVariantMap{{QStringLiteral("info"), reply->rawResult().data().mid(1)}});
    } else if (commandName() == c_write) {
        commandUpdateResult(c_values, QVariantList{1});
    } else {
        QVariantList values;
        for (const quint16 value : reply->result().values())
            values.append(static_cast<int>(value));
        commandUpdateResult(c_values, values);
    }
    if (commandName() == c_listen) {
        const int interval = commandArguments().value(QStringLiteral("recurrentInterval"), 100).toInt();
        QTimer::singleShot(interval, this, [this] { request(); });
        return;
    }
    bool ok = true;
    finishTheCommand(ok);
}
