import QtQuick 2.15

// A lamp, and under it whether it is on, in a word, once something is known. Lit it is a filled disc with a
// bright centre, else an empty ring: its shape tells what its colour tells.
Item {
    id: indicator

    property color statusColor: Style.toolStatusInactive
    readonly property bool lit: statusColor != Style.toolStatusInactive

    implicitWidth: Style.baseHeight * 5
    implicitHeight: implicitWidth

    //% "on"
    readonly property string onText: qsTrId("panel_indicator_on")
    //% "off"
    readonly property string offText: qsTrId("panel_indicator_off")
    readonly property string stateText: lit ? onText : offText
    // As the frame around has it, if there is one that says it.
    readonly property bool known: {
        let ancestor = parent
        while (ancestor && ancestor.valuesKnown === undefined)
            ancestor = ancestor.parent
        return !ancestor || ancestor.valuesKnown
    }

    Accessible.role: Accessible.Indicator
    Accessible.name: stateText

    Column {
        anchors.centerIn: parent

        Rectangle {
            anchors.horizontalCenter: parent.horizontalCenter
            width: Style.baseHeight * 2
            height: width
            radius: width / 2
            color: indicator.lit ? indicator.statusColor : "transparent"
            border.color: indicator.lit ? Qt.darker(indicator.statusColor, 1.3) : indicator.statusColor
            border.width: indicator.lit ? 1 : 3

            Rectangle {
                anchors.centerIn: parent
                width: parent.width * 0.4
                height: width
                radius: width / 2
                visible: indicator.lit
                color: Qt.lighter(indicator.statusColor, 1.7)
            }
        }

        Text {
            objectName: "idLampWord"
            anchors.horizontalCenter: parent.horizontalCenter
            text: indicator.known ? indicator.stateText : ""
            font: Style.fontSmall
            color: indicator.enabled ? Style.textColor : Style.secondaryTextColor
            Accessible.ignored: true
        }
    }
}
