#include "applications/simulator/simulator.h"

#include "applications/simulator/paced_line.h"
#include "applications/simulator/pseudo_terminal.h"
#include "applications/simulator/replay_plan.h"
#include "applications/simulator/serial_relay.h"
#include "applications/simulator/simulated_controller.h"
#include "applications/simulator/simulated_server.h"
#include "applications/simulator/tcp_relay.h"
#include "applications/simulator/tightening_cycles.h"

#include <QModbusRtuSerialSlave>
#include <QModbusTcpServer>
#include <QSerialPort>
#include <QTimer>

#include <utility>
#include <vector>

namespace {

std::optional<QSerialPort::Parity> parityOf(char letter)
{
    switch (letter) {
    case 'n':
    case 'N':
        return QSerialPort::NoParity;
    case 'e':
    case 'E':
        return QSerialPort::EvenParity;
    case 'o':
    case 'O':
        return QSerialPort::OddParity;
    default:
        return std::nullopt;
    }
}

void setText(QString* error, const QString& text)
{
    if (error != nullptr)
        *error = text;
}

} // namespace

class Simulator::Private
{
public:
    struct SerialTransport
    {
        // The server goes first: it holds the far end of the relay's inner pseudo-terminal.
        std::unique_ptr<SerialRelay> relay;
        std::unique_ptr<SimulatedServer<QModbusRtuSerialSlave>> server;
    };

    Private(Simulator* owner, const QJsonObject& deviceConfiguration, const ControllerProfile& profile)
        : q(owner)
        , controller(deviceConfiguration, profile)
        , tightening(controller)
    {}

    bool isOff() const { return isDown || isAway || plan.isRefusing(); }
    void applyState();
    void goDown(int milliseconds);
    bool serve(std::unique_ptr<QIODevice> line, QString* error);
    std::optional<Delivery> replayed(const QByteArray& request, std::optional<quint16> transaction);
    void goAway(int milliseconds);

    Simulator* q;
    SimulatedController controller;
    TighteningCycles tightening;
    FaultPlan plan;
    RelayContext context;
    std::unique_ptr<SimulatedServer<QModbusTcpServer>> tcpServer;
    std::unique_ptr<TcpRelay> tcpRelay;
    std::vector<SerialTransport> serial;
    std::unique_ptr<ReplayPlan> replay;
    double replaySpeed = 1;
    // The recorded controller refused connections.
    bool isAway = false;
    QTimer backUp;
    QTimer backAgain;
    bool isDown = false;
    int pace = 0;
};

void Simulator::Private::applyState()
{
    if (tcpRelay)
        tcpRelay->setRefusing(isOff());
    for (const SerialTransport& transport : serial)
        transport.relay->setSilent(isOff());
}

void Simulator::Private::goDown(int milliseconds)
{
    isDown = true;
    applyState();
    if (tcpRelay)
        tcpRelay->dropClients();
    backUp.start(milliseconds);
    Q_EMIT q->message(QStringLiteral("controller down for %1 ms").arg(milliseconds));
}

std::optional<Delivery> Simulator::Private::replayed(const QByteArray& request,
                                                     std::optional<quint16> transaction)
{
    const ReplayPlan::Step step = replay->next(request);
    if (step.exchange == nullptr) {
        if (step.isNews)
            Q_EMIT q->message(QStringLiteral("never recorded: %1; refused with exception %2")
                                  .arg(requestText(request))
                                  .arg(c_neverRecorded));
        return std::nullopt;
    }
    if (step.isNews)
        Q_EMIT q->message(QStringLiteral("%1 was recorded %2 times: it gets its last answer from now on")
                              .arg(requestText(request))
                              .arg(step.count));
    if (step.exchange->refusal && !step.isRepeated)
        goAway(*step.exchange->refusal);
    return deliveryOf(*step.exchange, transaction, replaySpeed);
}

// Connections that there are stay. Queued: the relay that calls is in the middle of a request.
void Simulator::Private::goAway(int milliseconds)
{
    const int time = scaledTime(milliseconds, replaySpeed);
    if (time == 0)
        return;
    QMetaObject::invokeMethod(
        q,
        [this, time] {
            isAway = true;
            applyState();
            if (time > 0)
                backAgain.start(time);
        },
        Qt::QueuedConnection);
}

bool Simulator::Private::serve(std::unique_ptr<QIODevice> line, QString* error)
{
    auto inner = std::make_unique<PseudoTerminal>();
    const QString innerName = inner->openPair(error);
    if (innerName.isEmpty())
        return false;
    SerialTransport transport;
    transport.server =
        std::make_unique<SimulatedServer<QModbusRtuSerialSlave>>(controller, QStringLiteral("rtu"));
    transport.server->setServerAddress(context.unitId);
    transport.server->setAddressOffset(context.addressOffset);
    transport.server->setConnectionParameter(QModbusDevice::SerialPortNameParameter, innerName);
    transport.server->setConnectionParameter(QModbusDevice::SerialBaudRateParameter, QSerialPort::Baud115200);
    transport.server->setConnectionParameter(QModbusDevice::SerialParityParameter, QSerialPort::NoParity);
    if (!transport.server->connectDevice()) {
        setText(error, QStringLiteral("the serial server cannot use %1: %2")
                           .arg(innerName, transport.server->errorString()));
        return false;
    }
    transport.relay = std::make_unique<SerialRelay>(line.release(), inner.release(), context);
    transport.relay->setSilent(isOff());
    serial.push_back(std::move(transport));
    return true;
}

Simulator::Simulator(const QJsonObject& deviceConfiguration, const ControllerProfile& profile,
                     QObject* parent)
    : QObject(parent)
    , d(std::make_unique<Private>(this, deviceConfiguration, profile))
{
    d->context.plan = &d->plan;
    d->context.message = [this](const QString& text) { Q_EMIT message(text); };
    d->context.refused = [this](const QString& transport, const QByteArray& pdu, quint8 code) {
        const QModbusRequest request(static_cast<QModbusPdu::FunctionCode>(static_cast<quint8>(pdu[0])),
                                     pdu.mid(1));
        noteWrite(d->controller, transport, request, d->context.addressOffset, code);
    };
    d->context.restart = [this](int milliseconds) {
        // Queued: the relay that calls is in the middle of a request of a client that goes.
        QMetaObject::invokeMethod(
            this, [this, milliseconds] { d->goDown(milliseconds); }, Qt::QueuedConnection);
    };
    d->plan.setRefusalObserver([this] { d->applyState(); });
    d->backAgain.setSingleShot(true);
    d->backAgain.setTimerType(Qt::PreciseTimer);
    connect(&d->backAgain, &QTimer::timeout, this, [this] {
        d->isAway = false;
        d->applyState();
    });
    d->backUp.setSingleShot(true);
    d->backUp.setTimerType(Qt::PreciseTimer);
    connect(&d->backUp, &QTimer::timeout, this, [this] {
        d->isDown = false;
        d->applyState();
        Q_EMIT message(QStringLiteral("controller up again"));
    });
    connect(&d->controller, &SimulatedController::writeNoted, this,
            [this](const ControllerWrite& write) { Q_EMIT message(write.toText()); });
    connect(&d->controller, &SimulatedController::eventPosted, this,
            [this](const TighteningEvent& event) { Q_EMIT message(event.toText()); });
    connect(&d->tightening, &TighteningCycles::refused, this,
            [this](const QString& text) { Q_EMIT message(QStringLiteral("no tightening: %1").arg(text)); });
}

Simulator::~Simulator()
{
    // Nobody listens to what a half-gone object says.
    blockSignals(true);
    close();
}

bool Simulator::listenTcp(quint16 port, QString* error)
{
    if (d->tcpRelay) {
        setText(error, QStringLiteral("listening on port %1 already").arg(d->tcpRelay->port()));
        return false;
    }
    auto server = std::make_unique<SimulatedServer<QModbusTcpServer>>(d->controller, QStringLiteral("tcp"));
    server->setServerAddress(d->context.unitId);
    server->setAddressOffset(d->context.addressOffset);
    // It never listens itself: everybody would get past the relay and its fault plan.
    auto* const answering = server.get();
    auto relay = std::make_unique<TcpRelay>(
        [answering](const QByteArray& pdu) { return answering->answer(pdu); }, d->context);
    if (!relay->listen(port, error))
        return false;
    d->tcpServer = std::move(server);
    d->tcpRelay = std::move(relay);
    d->applyState();
    return true;
}

quint16 Simulator::tcpPort() const
{
    return d->tcpRelay ? d->tcpRelay->port() : quint16(0);
}

bool Simulator::listenSerial(const QString& device, int baudRate, char parity, QString* error)
{
    const auto qtParity = parityOf(parity);
    if (!qtParity) {
        setText(error, QStringLiteral("parity '%1' is not one of N, E, O").arg(QLatin1Char(parity)));
        return false;
    }
    auto port = std::make_unique<QSerialPort>();
    port->setPortName(device);
    if (!port->setBaudRate(baudRate) || !port->setParity(*qtParity) || !port->open(QIODevice::ReadWrite)) {
        setText(error, QStringLiteral("cannot open %1: %2").arg(device, port->errorString()));
        return false;
    }
    auto* line = port.get();
    connect(line, &QSerialPort::errorOccurred, this, [this, line, device](QSerialPort::SerialPortError code) {
        if (code != QSerialPort::ResourceError)
            return;
        Q_EMIT message(QStringLiteral("%1 is gone: %2").arg(device, line->errorString()));
        // An unplugged device reports itself without end; queued, for the port is in its own signal.
        QMetaObject::invokeMethod(
            line, [line] { line->close(); }, Qt::QueuedConnection);
    });
    return d->serve(std::move(port), error);
}

QString Simulator::openPseudoTerminal(QString* error)
{
    auto terminal = std::make_unique<PseudoTerminal>();
    QString name = terminal->openPair(error);
    if (name.isEmpty())
        return {};
    std::unique_ptr<QIODevice> line = std::move(terminal);
    if (d->pace > 0)
        line = std::make_unique<PacedLine>(std::move(line), d->pace);
    return d->serve(std::move(line), error) ? name : QString();
}

void Simulator::setUnitId(int unitId)
{
    d->context.unitId = unitId;
    if (d->tcpServer)
        d->tcpServer->setServerAddress(unitId);
    for (const Private::SerialTransport& transport : d->serial)
        transport.server->setServerAddress(unitId);
}

void Simulator::setAddressOffset(int offset)
{
    d->context.addressOffset = offset;
    if (d->tcpServer)
        d->tcpServer->setAddressOffset(offset);
    for (const Private::SerialTransport& transport : d->serial)
        transport.server->setAddressOffset(offset);
}

void Simulator::setPace(int baudRate)
{
    d->pace = baudRate;
}

void Simulator::setReplay(const RecordedSession& session, double speed)
{
    d->replay = std::make_unique<ReplayPlan>(session);
    d->replaySpeed = speed;
    d->context.replay = [this](const QByteArray& request, std::optional<quint16> transaction) {
        return d->replayed(request, transaction);
    };
}

const ReplayPlan* Simulator::replay() const
{
    return d->replay.get();
}

void Simulator::restart(int milliseconds)
{
    d->goDown(milliseconds);
}

void Simulator::close()
{
    d->backUp.stop();
    d->backAgain.stop();
    d->isDown = false;
    d->isAway = false;
    d->tcpRelay.reset();
    d->tcpServer.reset();
    d->serial.clear();
}

SimulatedController& Simulator::controller()
{
    return d->controller;
}

TighteningCycles& Simulator::tightening()
{
    return d->tightening;
}

FaultPlan& Simulator::faults()
{
    return d->plan;
}
