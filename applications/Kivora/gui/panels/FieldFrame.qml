import QtQuick 2.15
import "../widgets"

// Lies on a field of the page, and goes and grows with it: what can be written into looks like it, and what
// cannot be applied says so, with the reason beside it.
Item {
    id: frame

    // Has a text `problem`, empty for none.
    property Item field
    // Beside the field, for the reason.
    property real room: 0

    parent: field
    anchors.fill: parent

    Rectangle {
        // Behind the text: a child of the field's own, which is painted before what is typed.
        parent: frame.field
        z: -1
        anchors.fill: parent
        anchors.margins: 1
        color: frame.enabled ? Style.buttonColor : "transparent"
    }

    Rectangle {
        anchors.fill: parent
        visible: reason.text !== ""
        color: "transparent"
        border.color: Style.badColor
        border.width: 2
    }

    Text {
        id: reason
        objectName: "idFieldProblem"
        anchors.right: parent.left
        anchors.rightMargin: Style.baseWidth / 2
        anchors.top: parent.top
        width: frame.room
        visible: text !== ""
        text: frame.field ? frame.field.problem : ""
        font: Style.fontSmall
        color: Style.badColor
        // Beside the field it begins at.
        horizontalAlignment: Text.AlignRight
        wrapMode: Text.Wrap
        textFormat: Text.PlainText
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }
}
