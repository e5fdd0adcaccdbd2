import QtQuick 2.15

// A lamp. Lit it is a filled disc with a bright centre, else an empty ring: its shape tells what its
// colour tells.
Item {
    id: indicator

    property color statusColor: Style.toolStatusInactive
    // What is on or off, for readers of the screen; the frame takes it from the label beside the lamp.
    property string label
    readonly property bool lit: statusColor != Style.toolStatusInactive

    implicitWidth: Style.baseHeight * 4
    implicitHeight: implicitWidth

    Accessible.role: Accessible.Indicator
    //% "on"
    readonly property string onText: qsTrId("panel_indicator_on")
    //% "off"
    readonly property string offText: qsTrId("panel_indicator_off")
    readonly property string stateText: lit ? onText : offText
    Accessible.name: label === "" ? stateText : label + ", " + stateText

    Rectangle {
        id: lamp
        anchors.centerIn: parent
        width: Math.min(parent.width, parent.height) * 0.62
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
}
