import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import "../widgets"

// What a person must know now: a shape, a title and what to do about it; a button when it can be put away.
// Details are those of the log, in its language, and are marked as such.
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

    //% "Technical details:"
    readonly property string detailMark: qsTrId("panel_technical_details")

    Accessible.role: Accessible.AlertMessage
    Accessible.name: title + " " + text + (detail === "" ? "" : " " + detailMark + " " + detail)

    GridLayout {
        id: row
        anchors.fill: parent
        anchors.margins: Style.baseHeight
        columns: Style.compact ? 2 : 3
        columnSpacing: Style.baseWidth
        rowSpacing: Style.baseHeight / 2

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
            }

            UiLabel {
                objectName: strip.objectName + ".idText"
                Layout.fillWidth: true
                visible: text !== ""
                text: strip.text
            }

            UiLabel {
                objectName: strip.objectName + ".idDetailMark"
                Layout.fillWidth: true
                visible: strip.detail !== ""
                text: strip.detailMark
                font.pixelSize: Style.fontSmall.pixelSize
                font.bold: true
                color: Style.secondaryTextColor
            }

            UiLabel {
                objectName: strip.objectName + ".idDetail"
                Layout.fillWidth: true
                visible: text !== ""
                text: strip.detail
                font.pixelSize: Style.fontSmall.pixelSize
                color: Style.secondaryTextColor
            }
        }

        Button {
            objectName: strip.objectName + ".idButton"
            Layout.alignment: Style.compact ? Qt.AlignRight : Qt.AlignTop
            Layout.columnSpan: Style.compact ? 2 : 1
            visible: strip.buttonText !== ""
            text: strip.buttonText
            onClicked: strip.pressed()
        }
    }
}
