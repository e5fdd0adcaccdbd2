import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import "../widgets"

T.Button {
    id: control

    implicitWidth: Math.max(implicitBackgroundWidth, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight, implicitContentHeight + topPadding + bottomPadding)
    padding: Style.baseHeight / 2
    horizontalPadding: Style.baseWidth * 1.5
    font.pixelSize: Style.fontLabel.pixelSize
    focusPolicy: Qt.StrongFocus

    Accessible.role: Accessible.Button
    Accessible.name: text

    // Enter presses the button that has the focus, as the space bar does.
    Keys.onReturnPressed: control.clicked()
    Keys.onEnterPressed: control.clicked()

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled ? Style.textColor : Style.secondaryTextColor
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }

    background: Item {
        implicitWidth: Style.baseWidth * 12
        implicitHeight: Style.baseHeight * 4

        Rectangle {
            anchors.fill: parent
            anchors.margins: 2
            radius: 5
            color: control.down ? Style.buttonPressedColor
                                : control.hovered ? Qt.tint(Style.buttonColor, "#12408cd8") : Style.buttonColor
            border.color: control.visualFocus ? Style.accentColor
                                              : control.enabled ? Style.buttonBorderColor
                                                                : Style.widgetDisabledBorderColor
            border.width: control.visualFocus ? 3 : 1
        }
    }
}
