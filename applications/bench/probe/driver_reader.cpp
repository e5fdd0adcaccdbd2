#include "applications/bench/probe/driver_reader.h"

#include <lib_plugins_management/driver_contract.h>

#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

namespace {

constexpr qint64 c_nanosecondsPerMicrosecond = 1000;

QList<int> numbers(const QVariantList& values)
{
    QList<int> result;
    for (const QVariant& value : values)
        result.append(value.toInt());
    return result;
}

} // namespace

QVariantMap readArguments(const ReadRequest& request)
{
    return {{driver_contract::c_register, request.address},
            {driver_contract::c_registerType, request.type},
            {driver_contract::c_dataSize, request.count}};
}

RegisterReader driverReader(BenchSession& session, DAbstractPlugin& driver, const OrderTerms& terms)
{
    return [&session, &driver, terms](const ReadRequest& request) {
        QElapsedTimer clock;
        clock.start();
        const OrderEnd end = session.runOrder(driver, driver_contract::c_read, readArguments(request), terms);
        ReadReply reply{end.code, numbers(end.outcome.results.value(driver_contract::c_values).toList()),
                        end.outcome.errorMessage, clock.nsecsElapsed() / c_nanosecondsPerMicrosecond};
        if (reply.isDone() && reply.values.size() != request.count) {
            reply.code = ExitCode::NotConnected;
            reply.message =
                QStringLiteral("%1 registers came for %2").arg(reply.values.size()).arg(request.count);
        }
        return reply;
    };
}

RegisterWriter driverWriter(BenchSession& session, DAbstractPlugin& driver, const OrderTerms& terms)
{
    return [&session, &driver, terms](int address, const QString& type, int value) -> WriteReply {
        const OrderEnd end = session.runOrder(driver, driver_contract::c_write,
                                              {{driver_contract::c_register, address},
                                               {driver_contract::c_registerType, type},
                                               {driver_contract::c_data, value}},
                                              terms);
        return {end.code, end.outcome.errorMessage, writeStateOf(end.outcome) == WriteState::Uncertain};
    };
}

void passTime(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}
