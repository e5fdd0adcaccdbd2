import QtQuick 2.15
import QtQuick.Controls 2.15
import "widgets"

// The window's inside: a tab for each page when there are several, and the page that is chosen.
Rectangle {
    id: shell
    objectName: "panel_shell"

    property bool dark: false
    property var names: []
    property int currentIndex: 0
    // Why the chosen page cannot be shown; empty when it can.
    property string problem

    color: Style.backgroundColor

    // Mirrored here, and nowhere else, for whoever reads from right to left.
    LayoutMirroring.enabled: Qt.application.layoutDirection === Qt.RightToLeft
    LayoutMirroring.childrenInherit: true

    // Takes the root item of the page of this name.
    function addPage(page, index) {
        page.parent = pages
        page.anchors.fill = pages
        page.visible = Qt.binding(function() { return shell.currentIndex === index })
    }

    Binding {
        target: Style
        property: "dark"
        value: shell.dark
    }

    Binding {
        target: Style
        property: "compact"
        // Not before the window has a size.
        value: shell.width > 0 && shell.width < 440
    }

    TabBar {
        id: tabs
        objectName: shell.objectName + ".idTabs"
        width: parent.width
        height: visible ? implicitHeight : 0
        visible: shell.names.length > 1
        currentIndex: shell.currentIndex
        onCurrentIndexChanged: shell.currentIndex = currentIndex
        background: Rectangle {
            color: Style.surfaceColor
        }

        Repeater {
            model: shell.names

            TabButton {
                objectName: tabs.objectName + ".idTab_" + index
                text: modelData
            }
        }
    }

    Item {
        id: pages
        objectName: shell.objectName + ".idPages"
        readonly property real margin: Style.compact ? Style.baseHeight : Style.baseHeight * 2
        anchors.top: tabs.bottom
        anchors.topMargin: margin
        anchors.bottom: parent.bottom
        anchors.bottomMargin: Style.baseHeight
        anchors.horizontalCenter: parent.horizontalCenter
        // Even, so that its halves end on whole pixels.
        width: 2 * Math.floor(Math.min(shell.width, Style.widestPage) / 2 - margin)
    }

    UiLabel {
        objectName: shell.objectName + ".idProblem"
        anchors.fill: pages
        visible: shell.problem !== ""
        text: shell.problem
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }
}
