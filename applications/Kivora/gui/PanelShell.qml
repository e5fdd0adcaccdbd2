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

    color: Style.backgroundColor

    // Takes a page's root item, in the order of the names.
    function addPage(page) {
        const index = pages.children.length
        page.parent = pages
        page.anchors.fill = pages
        page.visible = Qt.binding(function() { return shell.currentIndex === index })
    }

    Binding {
        target: Style
        property: "dark"
        value: shell.dark
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
        anchors.top: tabs.bottom
        anchors.bottom: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        anchors.margins: Style.baseHeight * 2
    }
}
