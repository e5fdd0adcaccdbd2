#pragma once

#include <QCoreApplication>
#include <QList>
#include <QSize>
#include <QString>
#include <QStringList>
#include <QUuid>

#include <functional>
#include <memory>

// One device whose page is shown.
struct PanelDevice
{
    QUuid kind; // of its plug-in, below which the page lies in the resources
    QUuid uuid;
    QString name;
    QString reference;
};

struct PanelRequest
{
    QList<PanelDevice> devices; // not empty
    QString title;              // of the window
    QSize size = QSize(600, 800);
    bool dark = false;
    // Where a picture of the first page goes; empty: a window is shown until it is closed.
    QString screenshotFile;
    // With a picture: the items that are pressed one after the other before it is taken, each by the
    // end of its object name.
    QStringList presses;
    // With a picture: false while an order runs that may change what the page shows.
    std::function<bool()> isIdle;
    // With a picture: how long, in milliseconds, a page may take to read its values, and then to do
    // what a press asks for.
    int patience = 10000;
};

enum class PanelEnd {
    Closed,       // the window was closed, or the application told to quit
    Saved,        // the picture shows a page with all its values
    SavedWithout, // the picture shows a page without them: no connection, or some could not be read
    Failed,       // `error` tells why
};

// Shows maintenance pages. Made by a library that programs load when they show one, so that Qt Quick
// costs nothing when they do not.
class PanelLibrary
{
public:
    virtual ~PanelLibrary() = default;

    // The application object that show() needs; null with `error` where no window can be. `offScreen`
    // works without any display.
    virtual std::unique_ptr<QCoreApplication> makeApplication(int& argc, char** argv, bool offScreen,
                                                              QString* error) const = 0;
    // Runs the event loop until there is nothing more to show. The host runs, with the plug-ins loaded.
    virtual PanelEnd show(const PanelRequest& request, QString* error) const = 0;
};

// The library's only exported name, and its type. The object lives as long as the library.
using PanelLibraryFunction = const PanelLibrary* (*)();
constexpr const char* c_panelLibraryFunction = "mdcPanelLibrary";

// The library, loaded from beside the program in `programFolder` (of itself or in "../lib"); null with
// `error`. Never unloaded.
const PanelLibrary* loadPanelLibrary(const QString& programFolder, QString* error);
