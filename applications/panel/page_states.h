#pragma once

#include "applications/panel/panel_library.h"

#include <lib_plugins_management/d_abstract_plugin_backend.h>
#include <lib_plugins_management/i_host.h>

#include <QList>
#include <QObject>
#include <QString>
#include <QVariantList>

// What the device tells of the things that a page's actions change and the page has no row for, such as
// whether the tool is locked: the channels that the page's backend names as "state.<command>", as far as the
// configuration has them.
class PageStates : public QObject
{
    Q_OBJECT

public:
    // The backend outlives this object, and is complete.
    PageStates(const PanelDevice& device, const DAbstractPluginBackend& backend);

    // Asks for each once more, unless that is under way.
    void read();
    // Not fresh before each has been read, or could not be, once more from now on.
    void await();
    // What was read is of a controller that may have been replaced.
    void forget();

    bool isWaiting() const;
    bool isFresh() const;
    // How many could not be read the last time.
    int unread() const;
    // A `name` and a `value` each; no value before the first was read.
    QVariantList rows() const;

Q_SIGNALS:
    // One was read, or could not be.
    void ended(bool read);

private:
    struct State
    {
        QString command;
        QString channel;
        QString value;
        quint64 order = 0; // that reads it; 0 when none runs
        bool isFresh = false;
        bool isUnread = false;
    };

    void readEnded(int index, quint64 orderId, const DOrderOutcome& outcome);

    const PanelDevice m_device;
    const DAbstractPluginBackend& m_backend;
    QList<State> m_states;
};
