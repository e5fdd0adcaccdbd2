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

// A window with the pages of some devices, one tab each. A page is made when its tab is first chosen, and
// stays: fifty of them take seconds.
class PanelWindow : public QQuickView
{
    Q_OBJECT

public:
    explicit PanelWindow(const PanelRequest& request);
    ~PanelWindow() override;

    // Why it cannot be shown; empty when it can. What is wrong with a page that is made later stands in its
    // place.
    QString error() const { return m_error; }
    // One for each device; null where it has not been made, which the first one always is.
    const std::vector<std::unique_ptr<PanelPage>>& pages() const { return m_pages; }

    // The visible item whose object name ends so, on the first page; null when there is none.
    QQuickItem* itemNamed(const QString& ending) const;
    // A click of the mouse into its middle.
    void press(const QQuickItem& item);

private Q_SLOTS:
    void showChosenPage();

private:
    // Returns why it cannot be shown.
    QString makePage(std::size_t index);

    const QList<PanelDevice> m_devices;
    QString m_error;
    std::vector<std::unique_ptr<PanelPage>> m_pages;
};
