import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import "../widgets"

// What a person must know now: a shape, a title and what to do about it; a button when it can be put away.
Rectangle {
    id: strip

    property string glyphName
    property color tint: Style.textColor
    property color surface: Style.surfaceColor
    property string title
    property string text
    property string detail
    property string buttonText
    signal pressed()

    implicitHeight: row.implicitHeight + Style.baseHeight * 2
    radius: 4
    color: surface
    border.color: tint
    border.width: 1

    Accessible.role: Accessible.AlertMessage
    Accessible.name: title + " " + text + " " + detail

    RowLayout {
        id: row
        anchors.fill: parent
        anchors.margins: Style.baseHeight
        spacing: Style.baseWidth

        UiGlyph {
            objectName: strip.objectName + ".idGlyph"
            Layout.alignment: Qt.AlignTop
            name: strip.glyphName
            color: strip.tint
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: Style.baseHeight / 2

            UiLabel {
                objectName: strip.objectName + ".idTitle"
                Layout.fillWidth: true
                text: strip.title
                font.bold: true
                color: strip.tint
                wrapMode: Text.Wrap
            }

            UiLabel {
                objectName: strip.objectName + ".idText"
                Layout.fillWidth: true
                visible: text !== ""
                text: strip.text
                wrapMode: Text.Wrap
            }

            UiLabel {
                objectName: strip.objectName + ".idDetail"
                Layout.fillWidth: true
                visible: text !== ""
                text: strip.detail
                font.pixelSize: Style.fontSmall.pixelSize
                color: Style.secondaryTextColor
                wrapMode: Text.Wrap
                maximumLineCount: 4
                elide: Text.ElideRight
            }
        }

        Button {
            objectName: strip.objectName + ".idButton"
            Layout.alignment: Qt.AlignTop
            visible: strip.buttonText !== ""
            text: strip.buttonText
            onClicked: strip.pressed()
        }
    }
}
