#include "applications/panel/panel_picture.h"

#include "applications/panel/panel_window.h"

#include <lib_utilities/plain_file.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QImage>
#include <QQuickItem>
#include <QQuickItemGrabResult>
#include <QTimer>

namespace {

constexpr int c_look = 10;    // ms
constexpr int c_smallest = 0; // of the file's size; nothing is lost

enum class Waited { Yes, TooLong, Quit };

// Looks again and again: what is waited for has no signal of its own.
Waited waitFor(const std::function<bool()>& condition, int patience)
{
    QEventLoop loop;
    QElapsedTimer time;
    time.start();
    Waited result = Waited::Quit;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (condition()) {
            result = Waited::Yes;
            loop.quit();
        } else if (time.elapsed() > patience) {
            result = Waited::TooLong;
            loop.quit();
        }
    });
    look.start(c_look);
    QObject::connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, &loop, &QEventLoop::quit);
    loop.exec();
    return result;
}

// The window itself cannot be copied without a display; its root item can be drawn anew.
QImage draw(const PanelWindow& window, int patience)
{
    // In the screen's own pixels.
    const QSize size = (QSizeF(window.size()) * window.effectiveDevicePixelRatio()).toSize();
    const QSharedPointer<const QQuickItemGrabResult> result = window.rootObject()->grabToImage(size);
    if (result.isNull())
        return {};
    waitFor([&] { return !result->image().isNull(); }, patience);
    return result->image();
}

// Until everything has its place: layouts are done with the next frame.
void waitForFrame(PanelWindow& window, int patience)
{
    bool isDrawn = false;
    const QMetaObject::Connection connection =
        QObject::connect(&window, &QQuickWindow::frameSwapped, &window, [&isDrawn] { isDrawn = true; });
    window.update();
    waitFor([&] { return isDrawn; }, patience);
    QObject::disconnect(connection);
}

// As a person scrolls to it; a frame that does not scroll has all in sight.
void reveal(PanelWindow& window, QQuickItem* item, int patience)
{
    waitForFrame(window, patience);
    QObject* const frame = window.pages().front()->item();
    if (frame->metaObject()->indexOfMethod("reveal(QVariant)") >= 0)
        QMetaObject::invokeMethod(frame, "reveal", Q_ARG(QVariant, QVariant::fromValue(item)));
    waitForFrame(window, patience);
}

bool save(const QImage& image, const QString& path, QString* error)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QString reason;
    if (buffer.open(QIODevice::WriteOnly) &&
        image.convertToFormat(QImage::Format_RGB888).save(&buffer, "PNG", c_smallest) &&
        putFile(path, bytes, &reason) && QImage(path).size() == image.size())
        return true;
    *error = QStringLiteral("the picture cannot be written to \"%1\": %2").arg(path, reason);
    return false;
}

} // namespace

PanelEnd takePicture(PanelWindow& window, const PanelRequest& request, QString* error)
{
    // Without a display Qt takes the size for one in the screen's own pixels.
    window.resize(request.size);
    PanelPage& page = *window.pages().front();
    Waited complete = waitFor([&] { return page.isComplete() && request.isIdle(); }, request.patience);
    if (complete == Waited::Quit)
        return PanelEnd::Closed;
    for (const QString& ending : request.presses) {
        QQuickItem* const item = window.itemNamed(ending);
        if (item == nullptr) {
            *error = QStringLiteral("the page has no visible item whose name ends with \"%1\"").arg(ending);
            return PanelEnd::Failed;
        }
        reveal(window, item, request.patience);
        window.press(*item);
        page.awaitValues();
        // What was pressed may have cost the connection.
        const auto isSettled = [&] {
            return request.isIdle() && !page.isWaiting() && (page.isAnswered() || !page.isConnected());
        };
        const Waited settled = waitFor(isSettled, request.patience);
        if (settled == Waited::Quit)
            return PanelEnd::Closed;
        if (settled == Waited::TooLong)
            complete = settled;
    }
    const bool showsAll = complete == Waited::Yes && !page.hasUnreadValues();
    const QImage image = draw(window, request.patience);
    if (image.isNull()) {
        *error = QStringLiteral("the window cannot be drawn");
        return PanelEnd::Failed;
    }
    if (!save(image, request.screenshotFile, error))
        return PanelEnd::Failed;
    return showsAll ? PanelEnd::Saved : PanelEnd::SavedWithout;
}
