#include "tests/support/fake_host.h"

#include "tests/support/typed_text.h"

#include <utility>

FakeHost::~FakeHost()
{
    qDeleteAll(m_instances);
}

DAbstractPlugin* FakeHost::add(std::unique_ptr<DAbstractPlugin> instance)
{
    DAbstractPlugin* const added = instance.release();
    m_instances.insert(added->objectUuid(), added);
    Q_EMIT instanceAdded(added->objectUuid());
    return added;
}

void FakeHost::remove(const QUuid& uuid)
{
    Q_EMIT instanceAboutToGo(uuid);
    delete m_instances.take(uuid);
}

DAbstractPlugin* FakeHost::findTarget(const QUuid& uuid, const QString& target) const
{
    return target == QLatin1String("driver") ? findInstance(m_drivers.value(uuid)) : nullptr;
}

quint64 FakeHost::runCommand(const QUuid& uuid, const QString& command, const QVariantMap& arguments,
                             int timeout, QObject* context, EndHandler onEnd)
{
    const quint64 id = ++m_lastId;
    QString text = command + QLatin1Char(' ') + typedText(arguments);
    if (findInstance(uuid) == nullptr)
        text.prepend(QLatin1String("no such instance: "));
    if (timeout != 0)
        text.prepend(QStringLiteral("within %1 ms: ").arg(timeout));
    m_begun.append(text);

    const Run run{id, uuid, command, arguments, context, std::move(onEnd)};
    if (!answer || command == held)
        runs.append(run);
    else
        QMetaObject::invokeMethod(
            this, [this, run] { end(run, answer(run)); }, Qt::QueuedConnection);
    return id;
}

void FakeHost::endFirst(bool ok, const QVariantMap& results)
{
    endFirst(DOrderOutcome{ok, ok ? IMessenger::CeEcNone : IMessenger::CeEcTimeout,
                           ok ? QString() : QStringLiteral("too late"), results});
}

void FakeHost::endFirst(const DOrderOutcome& outcome)
{
    end(runs.takeFirst(), outcome);
}

QStringList FakeHost::takeBegun()
{
    return std::exchange(m_begun, {});
}

void FakeHost::end(const Run& run, const DOrderOutcome& outcome)
{
    if (!run.context.isNull())
        run.onEnd(run.id, outcome);
}
