#include "applications/panel/panel_window.h"

#include <QCoreApplication>
#include <QMouseEvent>
#include <QQuickItem>

namespace {

const QUrl c_shellUrl(QStringLiteral("qrc:/applications/Kivora/gui/PanelShell.qml"));

QQuickItem* visibleItem(QQuickItem* from, const QString& ending)
{
    if (!from->isVisible())
        return nullptr;
    if (from->objectName().endsWith(ending))
        return from;
    const QList<QQuickItem*> children = from->childItems();
    for (QQuickItem* const child : children) {
        QQuickItem* const found = visibleItem(child, ending);
        if (found != nullptr)
            return found;
    }
    return nullptr;
}

} // namespace

void readNoCompiledPages()
{
    // This one would have the last word.
    qunsetenv("QML_FORCE_DISK_CACHE");
    qputenv("QML_DISABLE_DISK_CACHE", QByteArrayLiteral("1"));
}

PanelWindow::PanelWindow(const PanelRequest& request)
    : m_devices(request.devices)
    , m_pages(static_cast<std::size_t>(request.devices.size()))
{
    readNoCompiledPages();
    setTitle(request.title);
    setResizeMode(QQuickView::SizeRootObjectToView);
    resize(request.size);
    setMinimumSize(QSize(320, 240));
    QStringList names;
    for (const PanelDevice& device : request.devices)
        names.append(device.name);
    setInitialProperties({{QStringLiteral("dark"), request.dark}, {QStringLiteral("names"), names}});
    setSource(c_shellUrl);
    if (rootObject() == nullptr) {
        m_error = QStringLiteral("the window cannot be shown");
        const QList<QQmlError> all = errors();
        for (const QQmlError& one : all)
            m_error += QLatin1Char('\n') + one.toString();
        return;
    }
    for (const PanelDevice& device : m_devices) {
        if (m_error.isEmpty())
            m_error = PanelPage::missingText(device);
    }
    if (m_error.isEmpty())
        m_error = makePage(0);
    if (m_error.isEmpty())
        connect(rootObject(), SIGNAL(currentIndexChanged()), this, SLOT(showChosenPage()));
}

PanelWindow::~PanelWindow()
{
    // Before the engine of their items.
    m_pages.clear();
}

QString PanelWindow::makePage(std::size_t index)
{
    auto page = std::make_unique<PanelPage>(*engine(), m_devices.at(static_cast<int>(index)));
    if (!page->error().isEmpty())
        return page->error();
    QMetaObject::invokeMethod(rootObject(), "addPage",
                              Q_ARG(QVariant, QVariant::fromValue<QObject*>(page->item())),
                              Q_ARG(QVariant, static_cast<int>(index)));
    m_pages.at(index) = std::move(page);
    return {};
}

// Made once more where that has failed.
void PanelWindow::showChosenPage()
{
    const auto index = static_cast<std::size_t>(rootObject()->property("currentIndex").toInt());
    if (index >= m_pages.size())
        return;
    rootObject()->setProperty("problem", m_pages.at(index) == nullptr ? makePage(index) : QString());
}

QQuickItem* PanelWindow::itemNamed(const QString& ending) const
{
    return m_pages.empty() || m_pages.front() == nullptr ? nullptr
                                                         : visibleItem(m_pages.front()->item(), ending);
}

void PanelWindow::press(const QQuickItem& item)
{
    const QPointF middle = item.mapToScene(QPointF(item.width() / 2, item.height() / 2));
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, middle, middle, mapToGlobal(middle.toPoint()), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(this, &event);
    }
}
