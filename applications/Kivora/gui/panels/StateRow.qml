import QtQuick 2.15
import "../widgets"

// A state that the program has read, which the page itself has no row for; looks like a row of the page.
Row {
    id: row

    property string name
    property string value

    height: Style.baseHeight * 5
    Accessible.role: Accessible.StaticText
    Accessible.name: name + ": " + value

    UiGlyph {
        id: glyph
        anchors.verticalCenter: parent.verticalCenter
        name: "icon-tighteningfromdata"
    }

    Item {
        id: nameFrame
        width: parent.width / 2
        height: parent.height

        UiLabel {
            objectName: row.objectName + ".idName"
            anchors.verticalCenter: parent.verticalCenter
            width: parent.width
            text: row.name
            font.bold: true
        }
    }

    Rectangle {
        width: parent.width - glyph.width - nameFrame.width
        height: parent.height
        color: "transparent"
        border.color: Style.widgetDisabledBorderColor

        UiLabel {
            objectName: row.objectName + ".idText"
            anchors.centerIn: parent
            width: parent.width - Style.baseWidth
            horizontalAlignment: Text.AlignHCenter
            text: row.value
        }
    }
}
