#include "applications/panel/panel_library.h"

#include "applications/panel/panel_picture.h"
#include "applications/panel/panel_window.h"
#include "applications/panel/platform.h"

#include <QGuiApplication>
#include <QQuickStyle>
#include <QQuickWindow>

namespace {

QtMessageHandler s_told = nullptr; // who is told what ends the program

void dropAllButFatal(QtMsgType type, const QMessageLogContext& context, const QString& message)
{
    if (type == QtFatalMsg && s_told != nullptr)
        s_told(type, context, message);
}

class QuickPanelLibrary final : public PanelLibrary
{
public:
    std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv, bool offScreen,
                                                      QString* error) const override
    {
        if (offScreen) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
            // The screen that there is not has a number of dots per inch which would enlarge the picture.
            if (qEnvironmentVariableIsEmpty("QT_FONT_DPI"))
                qputenv("QT_FONT_DPI", "96");
            useSystemFonts();
        } else if (!hasDisplay()) {
            *error = QStringLiteral("there is no display to show a window on");
            return nullptr;
        }
        readNoCompiledPages();
        // As large on a screen of many pixels as on another one; factors like 1.25 are taken as they are.
        QCoreApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
        QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
        QGuiApplication::setHighDpiScaleFactorRoundingPolicy(
            Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);
        // A few texts and lines need no graphics card, and where there is none Qt ends the program.
        QQuickWindow::setSceneGraphBackend(QSGRendererInterface::Software);
        QQuickStyle::setStyle(QStringLiteral(":/applications/Kivora/gui/style"));
        // Without a display there is no session either, which Qt complains of.
        if (offScreen)
            s_told = qInstallMessageHandler(dropAllButFatal);
        auto application = std::make_unique<QGuiApplication>(argc, argv);
        if (offScreen)
            qInstallMessageHandler(s_told);
        return application;
    }

    PanelEnd show(const PanelRequest& request, QString* error) const override
    {
        if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) {
            *error = QStringLiteral("this application has no windows");
            return PanelEnd::Failed;
        }
        PanelWindow window(request);
        *error = window.error();
        if (!error->isEmpty())
            return PanelEnd::Failed;
        window.show();
        if (!request.screenshotFile.isEmpty())
            return takePicture(window, request, error);
        QCoreApplication::exec();
        return PanelEnd::Closed;
    }
};

} // namespace

extern "C" Q_DECL_EXPORT const PanelLibrary* mdcPanelLibrary()
{
    static const QuickPanelLibrary library;
    return &library;
}
