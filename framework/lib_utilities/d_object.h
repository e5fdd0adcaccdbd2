#pragma once

#include <lib_utilities/lib_utilities_global.h>

#include <QObject>
#include <QString>

// Base of the host's small value-carrying objects. It only gives them a name.
class LIB_UTILITIES_EXPORT DObject : public QObject
{
    Q_OBJECT

public:
    // `name` becomes the Qt object name; by convention it is the class name of the derived class.
    explicit DObject(const QString& name, QObject* parent = nullptr);
    ~DObject() override;
};
