#pragma once

#include "applications/panel/panel_library.h"
#include "applications/panel/panel_page.h"

#include <QQuickView>
#include <QString>

#include <memory>
#include <vector>

// Makes Qt compile every page from its text, in this process and whatever its environment asks for. Qt looks
// for a compiled form of "qrc:/x.qml" in the file ":/x.qmlc" of the current folder, and runs what whoever
// prepared that folder put there. To be called before any page is loaded: Qt asks once.
void readNoCompiledPages();

// A window with the pages of some devices, one tab each.
class PanelWindow : public QQuickView
{
    Q_OBJECT

public:
    explicit PanelWindow(const PanelRequest& request);
    ~PanelWindow() override;

    // Why it cannot be shown; empty when it can.
    QString error() const { return m_error; }
    const std::vector<std::unique_ptr<PanelPage>>& pages() const { return m_pages; }

    // The visible item whose object name ends so, on the first page; null when there is none.
    QQuickItem* itemNamed(const QString& ending) const;
    // A click of the mouse into its middle.
    void press(const QQuickItem& item);

private:
    QString m_error;
    std::vector<std::unique_ptr<PanelPage>> m_pages;
};
