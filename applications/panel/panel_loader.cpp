#include "applications/panel/panel_library.h"

#include <QLibrary>

const PanelLibrary* loadPanelLibrary(const QString& programFolder, QString* error)
{
    // Built and installed apart from the programs; beside them where libraries are found so.
    for (const char* const folder : {"/../lib/", "/"}) {
        QLibrary library(programFolder + QLatin1String(folder) + QStringLiteral("lib_panel"));
        const auto function = reinterpret_cast<PanelLibraryFunction>(library.resolve(c_panelLibraryFunction));
        if (function != nullptr)
            return function();
        if (error->isEmpty())
            *error = library.errorString();
    }
    return nullptr;
}
