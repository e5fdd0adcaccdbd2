#include <lib_utilities/d_object.h>

DObject::DObject(const QString& name, QObject* parent)
    : QObject(parent)
{
    setObjectName(name);
}

DObject::~DObject() = default;
