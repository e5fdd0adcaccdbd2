#include <QObject>
#include <QtPlugin>

// Has the right interface identifier and nothing behind it.
class OtherRoot : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.mdcbench.OtherRoot")
};

#include "other_root.moc"
