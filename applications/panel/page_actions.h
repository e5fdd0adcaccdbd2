#pragma once

#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QVariantMap>

// The buttons of a page, each of which says by its property "command" what it runs. The one that was pressed
// says that its action is under way, then what was done and when; all of that command wait meanwhile, and
// another one of them that is pressed says that it was not sent. What a button's style has no property for is
// not shown.
class PageActions : public QObject
{
    Q_OBJECT

public:
    // Both outlive this object.
    PageActions(const QQuickItem& page, const DAbstractPluginBackend& backend);

    // A command of the page's has ended, as it should or not.
    void ended(const QString& commandName, bool done);
    // What has been done is told no more: nobody knows whether it is so still.
    void forget();

private Q_SLOTS:
    void pressed();

private:
    struct Action
    {
        QVariantMap arguments;
        QPointer<QObject> button; // that was pressed; null for a command that was queued otherwise
    };

    void queued(const QString& commandName, const QVariantMap& arguments);
    void refuse(QObject& button, const QString& note) const;
    QList<QObject*> buttonsOf(const QString& commandName) const;
    void show(const QString& commandName, const QObject* pressed, bool running, const QString& note) const;

    const DAbstractPluginBackend& m_backend;
    QList<QPointer<QObject>> m_buttons;
    QMap<QString, Action> m_underWay; // by command
};
