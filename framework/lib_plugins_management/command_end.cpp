#include <lib_plugins_management/command_end.h>

#include <lib_plugins_management/d_abstract_command.h>

#include <utility>

namespace {

// Goes with its context.
class EndReceiver : public QObject
{
    Q_OBJECT

public:
    EndReceiver(QObject* context, std::function<void(bool)> onEnd)
        : QObject(context)
        , m_onEnd(std::move(onEnd))
    {}

public Q_SLOTS:
    void receive(bool ok)
    {
        // The context, and this with it, may go in the call.
        const std::function<void(bool)> onEnd = m_onEnd;
        onEnd(ok);
    }

private:
    std::function<void(bool)> m_onEnd;
};

} // namespace

void whenCommandFinished(const DAbstractCommand& command, QObject* context, std::function<void(bool)> onEnd)
{
    QObject::connect(&command, SIGNAL(sigCommandFinished(bool)), new EndReceiver(context, std::move(onEnd)),
                     SLOT(receive(bool)));
}

#include "command_end.moc"
