#include "applications/bench/probe/register_image.h"

#include <algorithm>

QString RegisterImage::keyOf(const QString& type, int address)
{
    return tableOf(type) + QLatin1Char(' ') + QString::number(address);
}

void RegisterImage::take(const ReadRequest& request, const QList<int>& values)
{
    for (int i = 0; i < values.size(); ++i)
        m_cells.insert(keyOf(request.type, request.address + i), {values.at(i), {}});
    m_answered.append(request);
}

void RegisterImage::refuse(const QString& type, int address, const QString& message)
{
    m_cells.insert(keyOf(type, address), {-1, message});
}

std::optional<int> RegisterImage::value(const QString& type, int address) const
{
    const int value = m_cells.value(keyOf(type, address)).value;
    return value < 0 ? std::nullopt : std::optional(value);
}

QString RegisterImage::refusal(const QString& type, int address) const
{
    return m_cells.value(keyOf(type, address)).refusal;
}

QList<int> RegisterImage::values(const ProbedRange& range) const
{
    QList<int> values;
    for (int address = range.address; address <= range.last(); ++address) {
        const std::optional<int> read = value(range.type, address);
        if (!read)
            return {};
        values.append(*read);
    }
    return values;
}

QList<int> RegisterImage::refused(const ProbedRange& range) const
{
    QList<int> addresses;
    for (int address = range.address; address <= range.last(); ++address) {
        if (!refusal(range.type, address).isEmpty())
            addresses.append(address);
    }
    return addresses;
}

bool RegisterImage::wasReadWhole(const ProbedRange& range) const
{
    return std::any_of(m_answered.cbegin(), m_answered.cend(), [&range](const ReadRequest& request) {
        return isOneTable(request.type, range.type) && request.address <= range.address &&
               request.address + request.count > range.last();
    });
}
