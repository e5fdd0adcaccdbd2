#pragma once

#include "page_host.h"

#include "applications/panel/panel_window.h"

#include <lib_plugins_management/d_abstract_plugin_backend.h>

#include <QQuickItem>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QTest>

// What tests of the page and of the frame around it share.

// The name of the page's root item.
const QString c_root = QStringLiteral("maintenance_panel_device_mdc");

// Items by their names without the root's.
const QString c_commands = QStringLiteral("idColumn.idRowCommandMain");
const QString c_program = c_commands + QStringLiteral(".idRowSetProgram.idColumnSetProgram");
const QString c_field = c_program + QStringLiteral(".idFrameProgram.idInputProgram");
const QString c_apply = c_program + QStringLiteral(".idButtonApply");
const QString c_locks = c_commands + QStringLiteral(".idRowSetLock.idButtonsSetLock");
const QString c_lock = c_locks + QStringLiteral(".idButtonLock");
const QString c_unlock = c_locks + QStringLiteral(".idButtonUnlock");
const QString c_directions = c_commands + QStringLiteral(".idRowSetDirection.idButtonsSetDirection");
const QString c_fastening = c_directions + QStringLiteral(".idButtonFastening");
const QString c_loosening = c_directions + QStringLiteral(".idButtonLoosening");

// Of heights, widths and gaps, in pixels.
constexpr qreal c_unit = 9;

QString channelItem(int row);
QString channelValue(int row);

// Draws in software, with the program's own buttons, and takes down what the QML engine complains of.
void preparePanels();
// Since the last call, one per line; empty is as it should be.
QString takeComplaints();

QQuickItem* findItem(QQuickItem* from, const QString& name);
// What a reader of the screen calls it; "none" when it does not find it.
QString accessibleName(QQuickItem* item);
QString accessibleDescription(QQuickItem* item);
// The item and all below it that are shown.
QList<QQuickItem*> shownItems(QQuickItem* from);
// In the window.
QRectF sceneRect(const QQuickItem& item);

// A window with the page of the host's device.
class Window
{
public:
    explicit Window(PageHost& pageHost, const QString& name = "mdc", bool dark = false,
                    const QSize& size = {600, 800})
        : window(request(pageHost, name, dark, size))
    {
        window.show();
    }

    PanelPage& page() { return *window.pages().front(); }
    QQuickItem* root() { return page().item(); }
    QObject* backend() { return page().backend(); }
    // By the name without the root's.
    QQuickItem* item(const QString& name) { return findItem(root(), c_root + '.' + name); }
    QString text(const QString& name) { return item(name)->property("text").toString(); }
    bool isShown(const QString& name) { return item(name) != nullptr && item(name)->isVisible(); }
    void press(const QString& name) { window.press(*item(name)); }
    void type(const QString& text)
    {
        for (const QChar character : text)
            QTest::keyClick(&window, character.toLatin1());
    }

    PanelWindow window;

private:
    static PanelRequest request(PageHost& host, const QString& name, bool dark, const QSize& size);
};
