import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import "../widgets"

T.TabButton {
    id: control

    implicitWidth: implicitContentWidth + leftPadding + rightPadding
    implicitHeight: Style.baseHeight * 5
    padding: Style.baseHeight
    horizontalPadding: Style.baseWidth * 2
    font.pixelSize: Style.fontLabel.pixelSize
    font.bold: checked

    Accessible.role: Accessible.PageTab
    Accessible.name: text

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.checked ? Style.textColor : Style.secondaryTextColor
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }

    background: Rectangle {
        color: control.checked ? Style.backgroundColor : Style.surfaceColor
        border.color: Style.accentColor
        border.width: control.visualFocus ? 2 : 0

        Rectangle {
            width: parent.width
            height: 3
            visible: control.checked
            color: Style.accentColor
        }
    }
}
