#include "plugins/p_driver_modbus/source/modbus_configuration.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonValue>

#include <cmath>

namespace {

QString show(const QJsonValue& value)
{
    // A bare value is no document in Qt 5: wrap it in a list and take the brackets off again.
    const QByteArray text = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return QString::fromUtf8(text.mid(1, text.size() - 2));
}

// Takes the known keys out of the object, so that what is left is unknown.
class Reader
{
public:
    Reader(const QJsonObject& object, QStringList* errors)
        : m_object(object)
        , m_errors(errors)
    {}

    int integer(const QString& key, int defaultValue, int least, int most)
    {
        const QJsonValue value = take(key);
        if (value.isUndefined())
            return defaultValue;
        const double number = value.toDouble(NAN);
        if (std::isnan(number) || std::trunc(number) != number || number < least || number > most) {
            refuse(key, value,
                   least == most
                       ? QStringLiteral("only %1 is allowed").arg(least)
                       : QStringLiteral("a whole number from %1 to %2 is needed").arg(least).arg(most));
            return defaultValue;
        }
        return static_cast<int>(number);
    }

    QString text(const QString& key, const QString& defaultValue)
    {
        const QJsonValue value = take(key);
        if (value.isUndefined())
            return defaultValue;
        // Blanks are those of ASCII, as for the schema of the file.
        if (!value.isString() || value.toString().toUtf8().trimmed().isEmpty()) {
            refuse(key, value, QStringLiteral("a text that is not empty is needed"));
            return defaultValue;
        }
        return value.toString();
    }

    // Index of the value among the choices.
    int choice(const QString& key, const QStringList& choices, int defaultIndex)
    {
        const QJsonValue value = take(key);
        if (value.isUndefined() && defaultIndex >= 0)
            return defaultIndex;
        const auto index = value.isString() ? choices.indexOf(value.toString()) : -1;
        if (index >= 0)
            return index;
        const QString allowed =
            QStringLiteral("one of \"%1\" is needed").arg(choices.join(QLatin1String("\", \"")));
        if (value.isUndefined())
            m_errors->append(QStringLiteral("\"%1\" is missing: %2").arg(key, allowed));
        else
            refuse(key, value, allowed);
        return 0;
    }

    void refuseTheRest()
    {
        for (auto it = m_object.constBegin(); it != m_object.constEnd(); ++it) {
            refuse(it.key(), it.value(),
                   QStringLiteral("the key is unknown; known keys are %1")
                       .arg(m_known.join(QLatin1String(", "))));
        }
    }

private:
    QJsonValue take(const QString& key)
    {
        m_known.append(key);
        return m_object.take(key);
    }

    void refuse(const QString& key, const QJsonValue& value, const QString& allowed)
    {
        m_errors->append(QStringLiteral("\"%1\": %2 is refused, %3").arg(key, show(value), allowed));
    }

    QJsonObject m_object;
    QStringList* m_errors;
    QStringList m_known;
};

} // namespace

QString ModbusConfiguration::address() const
{
    if (transport == Transport::Rtu)
        return serialPort;
    const QString name = host.contains(QLatin1Char(':')) ? QStringLiteral("[%1]").arg(host) : host;
    return QStringLiteral("%1:%2").arg(name).arg(port);
}

ModbusConfiguration parseModbusConfiguration(const QJsonObject& object, QStringList* errors)
{
    using Transport = ModbusConfiguration::Transport;
    using Parity = ModbusConfiguration::Parity;
    ModbusConfiguration result;
    Reader reader(object, errors);
    result.transport =
        reader.choice(QStringLiteral("transport"), {QStringLiteral("tcp"), QStringLiteral("rtu")}, -1) == 0
            ? Transport::Tcp
            : Transport::Rtu;
    const bool rtu = result.transport == Transport::Rtu;
    result.host = reader.text(QStringLiteral("host"), result.host);
    result.port = reader.integer(QStringLiteral("port"), result.port, 1, 65535);
    const bool hasSerialPort = object.contains(QStringLiteral("serialPort"));
    result.serialPort = reader.text(QStringLiteral("serialPort"), result.serialPort);
    if (rtu && !hasSerialPort)
        errors->append(
            QStringLiteral("\"serialPort\" is missing: \"transport\" \"rtu\" needs the name of a port"));
    result.baudRate = reader.integer(QStringLiteral("baudRate"), result.baudRate, 300, 4000000);
    constexpr Parity c_parities[]{Parity::None, Parity::Even, Parity::Odd};
    result.parity =
        c_parities[reader.choice(QStringLiteral("parity"),
                                 {QStringLiteral("none"), QStringLiteral("even"), QStringLiteral("odd")}, 1)];
    result.dataBits = reader.integer(QStringLiteral("dataBits"), result.dataBits, 8, 8);
    result.stopBits = reader.integer(QStringLiteral("stopBits"), result.stopBits, 1, 2);
    // On a line those above 247 are reserved; a device behind no gateway may want 255 over TCP.
    result.unitId = reader.integer(QStringLiteral("unitId"), result.unitId, rtu ? 1 : 0, rtu ? 247 : 255);
    result.addressOffset = reader.integer(QStringLiteral("addressOffset"), result.addressOffset, -1, 0);
    result.interFrameDelay =
        reader.integer(QStringLiteral("interFrameDelay"), result.interFrameDelay, 0, 10000);
    result.settleDelay = reader.integer(QStringLiteral("settleDelay"), result.settleDelay, 0, 60000);
    result.connectTimeout =
        reader.integer(QStringLiteral("connectTimeout"), result.connectTimeout, 10, 60000);
    result.answerTimeout = reader.integer(QStringLiteral("answerTimeout"), result.answerTimeout, 50,
                                          ModbusConfiguration::c_longestAnswerTimeout);
    result.queueCapacity = reader.integer(QStringLiteral("queueCapacity"), result.queueCapacity, 1, 10000);
    result.frameTrace = reader.text(QStringLiteral("frameTrace"), result.frameTrace);
    result.frameRecord = reader.text(QStringLiteral("frameRecord"), result.frameRecord);
    reader.refuseTheRest();
    return result;
}
