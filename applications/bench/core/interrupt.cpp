#include "applications/bench/core/interrupt.h"

#include <utility>

void Interrupt::request()
{
    QMetaObject::invokeMethod(this, &Interrupt::tell, Qt::QueuedConnection);
}

void Interrupt::tell()
{
    calmDown();
    if (std::exchange(m_requested, true))
        return;
    Q_EMIT interrupted();
}
