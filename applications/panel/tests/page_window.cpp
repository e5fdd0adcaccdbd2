#include "page_window.h"

#include <QAccessible>
#include <QQuickStyle>
#include <QQuickWindow>

namespace {

QStringList g_complaints;
QtMessageHandler g_handler = nullptr;

void watchMessages(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type != QtDebugMsg && (message.contains("qrc:") || message.contains("file:") ||
                               message.contains("QML") || message.contains("QString")))
        g_complaints.append(message);
    g_handler(type, context, message);
}

QString accessibleText(QQuickItem* item, QAccessible::Text kind)
{
    const QAccessibleInterface* const found = QAccessible::queryAccessibleInterface(item);
    return found == nullptr ? QString("none") : found->text(kind);
}

} // namespace

QString channelItem(int row)
{
    return QString("idColumn.idRepeater.idChannelItem_%1").arg(row);
}

QString channelValue(int row)
{
    return channelItem(row) + ".idChannelRow.idChannelValue";
}

void preparePanels()
{
    QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
    QQuickStyle::setStyle(":/applications/Kivora/gui/style");
    g_handler = qInstallMessageHandler(watchMessages);
}

QString takeComplaints()
{
    return std::exchange(g_complaints, {}).join('\n');
}

QQuickItem* findItem(QQuickItem* from, const QString& name)
{
    if (from->objectName() == name)
        return from;
    const QList<QQuickItem*> children = from->childItems();
    for (QQuickItem* const child : children) {
        if (QQuickItem* const found = findItem(child, name))
            return found;
    }
    return nullptr;
}

QString accessibleName(QQuickItem* item)
{
    return accessibleText(item, QAccessible::Name);
}

QString accessibleDescription(QQuickItem* item)
{
    return accessibleText(item, QAccessible::Description);
}

QList<QQuickItem*> shownItems(QQuickItem* from)
{
    if (!from->isVisible())
        return {};
    QList<QQuickItem*> items{from};
    const QList<QQuickItem*> children = from->childItems();
    for (QQuickItem* const child : children)
        items += shownItems(child);
    return items;
}

QRectF sceneRect(const QQuickItem& item)
{
    return item.mapRectToScene(QRectF(0, 0, item.width(), item.height()));
}

PanelRequest Window::request(PageHost& host, const QString& name, bool dark, const QSize& size)
{
    PanelRequest request;
    request.devices = {{PDeviceMdc::getPluginId(), host.device.objectUuid(), name, "MDC-7"}};
    request.dark = dark;
    request.size = size;
    return request;
}
