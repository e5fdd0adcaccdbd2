#include <lib_plugins_management/i_host.h>

namespace {

IHost*& currentHost()
{
    static IHost* s_current = nullptr;
    return s_current;
}

} // namespace

IHost::IHost(QObject* parent)
    : QObject(parent)
{
    if (currentHost() == nullptr)
        currentHost() = this;
}

IHost::~IHost()
{
    if (currentHost() == this)
        currentHost() = nullptr;
}

IHost* IHost::current()
{
    return currentHost();
}
