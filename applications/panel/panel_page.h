#pragma once

#include "applications/panel/page_actions.h"
#include "applications/panel/page_states.h"
#include "applications/panel/panel_library.h"

#include <lib_plugins_management/d_abstract_plugin_backend.h>
#include <lib_plugins_management/i_host.h>

#include <QObject>
#include <QPointer>
#include <QQmlComponent>
#include <QQuickItem>
#include <QSet>
#include <QString>
#include <QTimer>

#include <memory>

class QQmlEngine;

// The maintenance page of one device, made from the text in its plug-in's resources, and the
// go-between of the page's backend and its frame: what failed, how old the values are, and whether the
// controller that answers has been identified. That is done anew with every connection, before anything
// else is read or written: the generation decides which registers these are, and another controller may
// have taken the place of the one before.
//
// Everything happens on the thread of the host and the engine, which both outlive it.
class PanelPage : public QObject
{
    Q_OBJECT

public:
    PanelPage(QQmlEngine& engine, const PanelDevice& device);
    // Deletes the page's items.
    ~PanelPage() override;

    // Why the plug-in of this device has no page that could be made; empty when it has one.
    static QString missingText(const PanelDevice& device);
    // Why there is no page; empty when there is one.
    QString error() const { return m_error; }
    // Its root item; null without a page.
    QQuickItem* item() const { return m_item.get(); }
    DAbstractPluginBackend* backend() const { return m_backend; }

    bool isConnected() const;
    // Every value has been asked for since the controller was identified, or since awaitValues(), and no
    // answer is missing; some may have been refusals.
    bool isAnswered() const;
    // The same, and every value could be read.
    bool isComplete() const;
    // Some values could not be read the last time.
    bool hasUnreadValues() const;
    // Something that the page has asked for is under way.
    bool isWaiting() const;
    // Not answered before the values have been read once more, from the first to the last.
    void awaitValues();

private Q_SLOTS:
    void updateAsked();

private:
    void follow();
    void forgetValues();
    void valueEnded(int row, bool read, bool isOfBefore);
    void stateEnded(bool read);
    void showStates();
    void showUnread();
    void connectionChanged();
    void identify();
    void instructionEnded(quint64 id, const QString& commandName, const DOrderOutcome& outcome);
    void identityKnown();
    void treatmentEnded(int index, const QString& commandName, const DOrderOutcome& outcome);
    void tellFrame(const char* property, const QVariant& value);

    const PanelDevice m_device;
    QString m_error;
    std::unique_ptr<QQmlComponent> m_component;
    std::unique_ptr<QQuickItem> m_item;
    QPointer<DAbstractPluginBackend> m_backend;
    // Of a page that can be shown.
    std::unique_ptr<PageActions> m_actions;
    std::unique_ptr<PageStates> m_states;
    QVariantList m_shownStates;
    QTimer m_retry;
    // The page's own instruction, which tells the page what the device is and the frame that it has told;
    // 0 when none runs.
    quint64 m_identification = 0;
    quint64 m_askedAtTheStart = 0;
    bool m_identified = false;
    // What the page shows of the controller is missing or of the connection before.
    bool m_outdated = false;
    bool m_polled = false;
    // What is under way was asked for before the connection changed or awaitValues() was called.
    bool m_leftOver = false;
    QSet<int> m_unread; // rows
};
