#include "applications/panel/page_actions.h"

#include "applications/panel/action_failure.h"

#include <QLocale>
#include <QTime>

namespace {

constexpr char c_command[] = "command";

void set(QObject& object, const char* property, const QVariant& value)
{
    if (object.metaObject()->indexOfProperty(property) >= 0)
        object.setProperty(property, value);
}

} // namespace

PageActions::PageActions(const QQuickItem& page, const DAbstractPluginBackend& backend)
    : m_backend(backend)
{
    const QList<QQuickItem*> items = page.findChildren<QQuickItem*>();
    for (QQuickItem* const item : items) {
        const QMetaObject* const type = item->metaObject();
        if (type->indexOfProperty(c_command) < 0 || type->indexOfSignal("clicked()") < 0)
            continue;
        m_buttons.append(item);
        // After the page's own handler, in which the command is queued.
        connect(item, SIGNAL(clicked()), this, SLOT(pressed()));
    }
    connect(&backend, &DAbstractPluginBackend::treatmentQueued, this,
            [this](int, const QString& commandName, const QVariantMap& arguments) {
                queued(commandName, arguments);
            });
}

void PageActions::queued(const QString& commandName, const QVariantMap& arguments)
{
    if (!buttonsOf(commandName).isEmpty())
        m_underWay.insert(commandName, {arguments, nullptr});
}

// A press that has queued nothing, with nothing to send or of the button whose action is under way, changes
// nothing. Another button's has to be told: what it stands for is not what will be done.
void PageActions::pressed()
{
    QObject* const button = sender();
    const QString commandName = button->property(c_command).toString();
    const auto action = m_underWay.find(commandName);
    if (action == m_underWay.end() || action->button == button)
        return;
    if (!action->button.isNull()) {
        //% "Not sent: one at a time"
        refuse(*button, qtTrId("panel_action_not_sent"));
        return;
    }
    action->button = button;
    //% "Under way…"
    show(commandName, button, true, qtTrId("panel_action_under_way"));
}

void PageActions::ended(const QString& commandName, bool done)
{
    if (!m_underWay.contains(commandName))
        return;
    const Action action = m_underWay.take(commandName);
    QString note;
    if (done)
        //% "%1, %2"
        note = qtTrId("panel_action_done")
                   .replace(QStringLiteral("%2"),
                            QLocale().toString(QTime::currentTime(), QStringLiteral("HH:mm:ss")))
                   .replace(QStringLiteral("%1"), doneText(m_backend, commandName, action.arguments));
    show(commandName, action.button, false, note);
}

void PageActions::forget()
{
    for (const QPointer<QObject>& button : m_buttons) {
        if (button.isNull() || m_underWay.contains(button->property(c_command).toString()))
            continue;
        set(*button, "note", QString());
        set(*button, "refused", false);
    }
}

void PageActions::refuse(QObject& button, const QString& note) const
{
    set(button, "refused", true);
    set(button, "note", note);
}

QList<QObject*> PageActions::buttonsOf(const QString& commandName) const
{
    QList<QObject*> buttons;
    for (const QPointer<QObject>& button : m_buttons) {
        if (!button.isNull() && button->property(c_command).toString() == commandName)
            buttons.append(button);
    }
    return buttons;
}

void PageActions::show(const QString& commandName, const QObject* pressed, bool running,
                       const QString& note) const
{
    const QList<QObject*> buttons = buttonsOf(commandName);
    for (QObject* const button : buttons) {
        const bool isPressed = button == pressed;
        set(*button, "running", running && isPressed);
        set(*button, "held", running);
        // That it was not sent is told until one of them is pressed again.
        if (!running && !isPressed && button->property("refused").toBool())
            continue;
        set(*button, "refused", false);
        set(*button, "note", isPressed ? note : QString());
    }
}
