import QtQuick 2.15
import QtQuick.Templates 2.15 as T
import "../widgets"

T.Button {
    id: control

    // From the program. The button's action is under way.
    property bool running: false
    // It is, or another one that this one has to wait for.
    property bool held: running
    // Under the button: that its action is under way, was done, and when, or was not sent.
    property string note
    // It was pressed while another one was under way, and not sent.
    property bool refused: false

    implicitWidth: Math.max(implicitBackgroundWidth, implicitContentWidth + leftPadding + rightPadding)
    implicitHeight: Math.max(implicitBackgroundHeight, implicitContentHeight + topPadding + bottomPadding)
    padding: Style.baseHeight / 2
    horizontalPadding: Style.compact ? Style.baseWidth / 2 : Style.baseWidth
    font.pixelSize: Style.fontLabel.pixelSize
    focusPolicy: Qt.StrongFocus

    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.description: note

    // Enter presses the button that has the focus, as the space bar does; a key that is held comes again and
    // again, and presses once.
    Keys.onPressed: {
        const isEnter = event.key === Qt.Key_Return || event.key === Qt.Key_Enter
        if (isEnter && !event.isAutoRepeat)
            control.clicked()
        event.accepted = isEnter || (event.key === Qt.Key_Space && event.isAutoRepeat)
    }
    Keys.onReleased: event.accepted = event.key === Qt.Key_Space && event.isAutoRepeat

    contentItem: Text {
        text: control.text
        font: control.font
        color: control.enabled && !control.held ? Style.textColor : Style.secondaryTextColor
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        // Smaller rather than cut off.
        fontSizeMode: Text.HorizontalFit
        minimumPixelSize: 11
        elide: Text.ElideRight
        textFormat: Text.PlainText
    }

    background: Item {
        implicitWidth: Style.baseWidth * 10
        implicitHeight: Style.baseHeight * 5

        Rectangle {
            anchors.fill: parent
            anchors.margins: 2
            radius: 5
            color: !control.enabled ? "transparent"
                 : control.down || control.running ? Style.buttonPressedColor
                 : control.hovered ? Qt.tint(Style.buttonColor, "#12408cd8") : Style.buttonColor
            border.color: control.visualFocus ? Style.accentColor
                                              : control.enabled ? Style.buttonBorderColor
                                                                : Style.widgetDisabledBorderColor
            border.width: control.visualFocus ? 3 : 1
        }
    }

    Text {
        objectName: "idNote"
        anchors.top: parent.bottom
        anchors.left: parent.left
        anchors.right: parent.right
        visible: text !== ""
        text: control.note
        font: Style.fontSmall
        color: !control.enabled || control.running ? Style.secondaryTextColor
             : control.refused ? Style.doubtfulColor : Style.goodColor
        horizontalAlignment: Text.AlignHCenter
        wrapMode: Text.Wrap
        maximumLineCount: 2
        elide: Text.ElideRight
        textFormat: Text.PlainText
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
