#include "applications/bench/probe/driver_reader.h"

#include <lib_plugins_management/driver_contract.h>

#include <QElapsedTimer>

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

RegisterReader driverReader(BenchSession& session, DAbstractPlugin& driver)
{
    return [&session, &driver](const ReadRequest& request) {
        using namespace driver_contract;
        QElapsedTimer clock;
        clock.start();
        const OrderEnd end = session.runOrder(
            driver, c_read,
            {{c_register, request.address}, {c_registerType, request.type}, {c_dataSize, request.count}});
        ReadReply reply{end.code, numbers(end.outcome.results.value(c_values).toList()),
                        end.outcome.errorMessage, clock.nsecsElapsed() / c_nanosecondsPerMicrosecond};
        if (reply.isDone() && reply.values.size() != request.count) {
            reply.code = ExitCode::NotConnected;
            reply.message =
                QStringLiteral("%1 registers came for %2").arg(reply.values.size()).arg(request.count);
        }
        return reply;
    };
}
