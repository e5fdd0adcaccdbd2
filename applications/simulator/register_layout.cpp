#include "applications/simulator/register_layout.h"

#include <QJsonArray>
#include <QJsonObject>

#include <cmath>
#include <cstring>
#include <limits>

namespace {

constexpr int c_floatRegisters = 2;

std::optional<RegisterField::Type> typeOf(const QString& name)
{
    if (name == QLatin1String("int"))
        return RegisterField::Type::Int;
    if (name == QLatin1String("list"))
        return RegisterField::Type::List;
    if (name == QLatin1String("float"))
        return RegisterField::Type::Float;
    return std::nullopt;
}

std::optional<int> addressOf(const QJsonValue& value)
{
    const double number = value.toDouble(-1);
    if (number < 0 || number > std::numeric_limits<quint16>::max() || number != std::floor(number))
        return std::nullopt;
    return static_cast<int>(number);
}

// What is wrong with a descriptor, or nothing.
QString readDescriptor(const QJsonObject& descriptor, int base, int size, RegisterField* field)
{
    field->name = descriptor.value(QLatin1String("parameter_name")).toString();
    if (field->name.isEmpty())
        return QStringLiteral("has no \"parameter_name\"");
    const QString typeName = descriptor.value(QLatin1String("type")).toString();
    const auto type = typeOf(typeName);
    if (!type)
        return QStringLiteral("has the type \"%1\", which is not one of int, list, float").arg(typeName);
    field->type = *type;
    const auto start = addressOf(descriptor.value(QLatin1String("start_address")));
    const auto end = addressOf(descriptor.value(QLatin1String("end_address")));
    if (!start || !end)
        return QStringLiteral("has no \"start_address\" and \"end_address\" from 0 to 65535");
    field->first = *start - base;
    field->last = *end - base;
    if (field->first < 0 || field->last >= size || field->last < field->first)
        return QStringLiteral("is at %1 to %2, which is not in the block's %3 to %4")
            .arg(*start)
            .arg(*end)
            .arg(base)
            .arg(base + size - 1);
    const int count = field->last - field->first + 1;
    if (field->type == RegisterField::Type::Float && count != c_floatRegisters)
        return QStringLiteral("is a float of %1 registers; it needs exactly two").arg(count);
    return {};
}

quint16 toRegister(double number)
{
    return static_cast<quint16>(std::lround(qBound(0.0, number, 65535.0)));
}

} // namespace

std::optional<RegisterLayout> layoutOfNames(const QJsonValue& keys, int size, QString* error)
{
    if (!keys.isArray()) {
        *error = QStringLiteral("is no list of names");
        return std::nullopt;
    }
    const QJsonArray names = keys.toArray();
    RegisterLayout layout;
    for (int i = 0; i < names.size(); ++i) {
        const QString name = names.at(i).toString();
        if (name.isEmpty()) {
            *error = QStringLiteral("entry %1 is no name").arg(i + 1);
            return std::nullopt;
        }
        layout.append({name, i, i, RegisterField::Type::Int});
    }
    if (layout.size() != size) {
        *error = QStringLiteral("has %1 names for %2 registers").arg(layout.size()).arg(size);
        return std::nullopt;
    }
    return layout;
}

std::optional<RegisterLayout> layoutOfDescriptors(const QJsonValue& keys, int base, int size, QString* error)
{
    if (!keys.isArray()) {
        *error = QStringLiteral("is no list of descriptors");
        return std::nullopt;
    }
    const QJsonArray descriptors = keys.toArray();
    RegisterLayout layout;
    QVector<QString> ownerOf(size);
    for (int i = 0; i < descriptors.size(); ++i) {
        RegisterField field;
        QString wrong = readDescriptor(descriptors.at(i).toObject(), base, size, &field);
        for (int at = field.first; wrong.isEmpty() && at <= field.last; ++at) {
            if (!ownerOf[at].isEmpty())
                wrong = QStringLiteral("overlaps \"%1\" at %2").arg(ownerOf[at]).arg(base + at);
            else
                ownerOf[at] = field.name;
        }
        if (!wrong.isEmpty()) {
            *error = QStringLiteral("entry %1 (\"%2\") %3").arg(QString::number(i + 1), field.name, wrong);
            return std::nullopt;
        }
        layout.append(field);
    }
    return layout;
}

void putField(QVector<quint16>& block, const RegisterField& field, const QVector<double>& numbers,
              double scale)
{
    if (field.type == RegisterField::Type::Float) {
        const auto number = static_cast<float>(numbers.value(0));
        quint32 bits = 0;
        static_assert(sizeof bits == sizeof number, "a register pair holds one float");
        std::memcpy(&bits, &number, sizeof bits);
        block[field.first] = static_cast<quint16>(bits >> 16);
        block[field.last] = static_cast<quint16>(bits & 0xFFFF);
        return;
    }
    const int used = field.type == RegisterField::Type::Int ? 1 : field.last - field.first + 1;
    for (int at = field.first; at <= field.last; ++at) {
        const int index = at - field.first;
        block[at] = index < used ? toRegister(numbers.value(index) * scale) : quint16(0);
    }
}
