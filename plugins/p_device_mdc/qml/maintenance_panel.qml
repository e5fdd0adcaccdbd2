import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import PlgLibDeviceMdc 1.0
import "../../../applications/Kivora/gui/panels"
import "../../../applications/Kivora/gui/widgets"

// The maintenance page of one MDC device. The host replaces the three texts in braces below before it
// loads the page. Every visible item has an object name, by which automated tests find it.
//
// Keyboard and readers of the screen need no help of the host's frame. Two properties are for a frame that
// wants to show more: "command" of a button, the command that it runs, and "problem" of a field, why its
// text cannot be applied.
BasePanelMaintenance {
    id: rootItem
    objectName: "maintenance_panel_device_mdc"

    name: be.name
    connected: be.isConnected

    onUpdateData: be.updateChannelsValue()

    BeMaintenanceDeviceMdc {
        id: be
        name: "{OBJECT_NAME}"
        objectId: "{OBJECT_ID}"
        reference: "{OBJECT_REFERENCE}"
    }

    contentItem: Column {
        id: idColumn
        objectName: rootItem.objectName + ".idColumn"
        width: rootItem.width
        spacing: rootItem.spacing

        // Of the host's labels, as far as they have one: the page does not know what it stands on.
        readonly property color labelColor: idLabelSetProgram.color || "black"

        ListView {
            id: idDeviceInfo
            objectName: idColumn.objectName + ".idDeviceInfo"
            width: parent.width
            height: childrenRect.height
            // All its rows are shown: a drag is the page's.
            interactive: false
            model: be.deviceInfo
            Accessible.role: Accessible.List

            delegate: RowLayout {
                id: idDeviceInfoRow
                objectName: idDeviceInfo.objectName + ".idDeviceInfoRow_" + index
                width: idDeviceInfo.width
                height: Style.baseHeight * 3
                spacing: 10
                Accessible.role: Accessible.ListItem
                Accessible.name: modelData.name + ": " + modelData.value

                UiLabel {
                    objectName: idDeviceInfoRow.objectName + ".idName"
                    Layout.maximumWidth: idDeviceInfoRow.width * 0.62
                    text: modelData.name
                    font.bold: true
                }

                Item {
                    objectName: idDeviceInfoRow.objectName + ".idFiller"
                    Layout.fillWidth: true
                }

                UiLabel {
                    objectName: idDeviceInfoRow.objectName + ".idValue"
                    Layout.maximumWidth: idDeviceInfoRow.width * 0.38 - 2 * idDeviceInfoRow.spacing
                    text: modelData.value
                }
            }
        }

        Text {
            id: idTitleCommand
            objectName: idColumn.objectName + ".idTitleCommand"
            topPadding: Style.baseHeight * 3
            font: Style.fontLabel
            color: idColumn.labelColor
            Accessible.role: Accessible.Heading
            Accessible.name: text
            //% "Controller commands"
            text: qsTrId("maintenance_panel_Controller_commands")
        }

        Column {
            id: idRowCommandMain
            objectName: idColumn.objectName + ".idRowCommandMain"
            width: parent.width
            spacing: Style.baseHeight * 4

            Row {
                id: idRowSetProgram
                objectName: idRowCommandMain.objectName + ".idRowSetProgram"
                width: parent.width
                height: Style.baseHeight * 10

                UiGlyph {
                    id: idGlyphSetProgram
                    objectName: idRowSetProgram.objectName + ".idGlyphSetProgram"
                    anchors.verticalCenter: parent.verticalCenter
                    name: "icon-uploadsettings"
                }

                Rectangle {
                    id: idFrameLabelSetProgram
                    objectName: idRowSetProgram.objectName + ".idFrameLabelSetProgram"
                    width: idRowCommandMain.width / 2
                    height: parent.height
                    color: "transparent"

                    UiLabel {
                        id: idLabelSetProgram
                        objectName: idFrameLabelSetProgram.objectName + ".idLabelSetProgram"
                        anchors.verticalCenter: parent.verticalCenter
                        width: parent.width
                        //% "Set program"
                        text: qsTrId("maintenance_panel_Set_program")
                    }
                }

                Column {
                    id: idColumnSetProgram
                    objectName: idRowSetProgram.objectName + ".idColumnSetProgram"
                    width: parent.width - idGlyphSetProgram.width - idFrameLabelSetProgram.width
                    height: parent.height

                    Rectangle {
                        id: idFrameProgram
                        objectName: idColumnSetProgram.objectName + ".idFrameProgram"
                        width: parent.width
                        height: parent.height / 2
                        color: "transparent"
                        border.color: Style.widgetDisabledBorderColor

                        TextInput {
                            id: idInputProgram
                            objectName: idFrameProgram.objectName + ".idInputProgram"
                            anchors.fill: parent
                            font: Style.fontLabel
                            color: idColumn.labelColor
                            horizontalAlignment: TextInput.AlignHCenter
                            verticalAlignment: TextInput.AlignVCenter
                            activeFocusOnTab: true
                            selectByMouse: true
                            inputMethodHints: Qt.ImhDigitsOnly
                            validator: IntValidator {
                                bottom: 1
                            }

                            // It was applied as it stands, and is no program.
                            property bool refused: false
                            //% "Enter a program number"
                            readonly property string missing: qsTrId("maintenance_panel_Program_missing")
                            //% "Whole number from 1 up"
                            readonly property string impossible: qsTrId("maintenance_panel_Program_impossible")
                            readonly property string problem: !refused ? "" : text === "" ? missing : impossible

                            onTextChanged: refused = false
                            // A key that is held does not apply again and again.
                            Keys.onReturnPressed: if (!event.isAutoRepeat) idButtonApply.clicked()
                            Keys.onEnterPressed: if (!event.isAutoRepeat) idButtonApply.clicked()

                            Accessible.role: Accessible.EditableText
                            Accessible.name: idLabelSetProgram.text
                            Accessible.description: problem
                        }
                    }

                    Button {
                        id: idButtonApply
                        objectName: idColumnSetProgram.objectName + ".idButtonApply"
                        readonly property string command: "setProgram"
                        width: parent.width
                        height: parent.height / 2
                        activeFocusOnTab: true
                        //% "Apply"
                        text: qsTrId("maintenance_panel_Apply")
                        // The validator lets 0 stand, as the beginning of a number that it may become.
                        onClicked: {
                            idInputProgram.refused = !idInputProgram.acceptableInput
                            be.setProgram(idInputProgram.acceptableInput ? idInputProgram.text : "")
                        }
                    }
                }
            }

            Row {
                id: idRowSetLock
                objectName: idRowCommandMain.objectName + ".idRowSetLock"
                width: parent.width
                height: Style.baseHeight * 5

                UiGlyph {
                    id: idGlyphSetLock
                    objectName: idRowSetLock.objectName + ".idGlyphSetLock"
                    anchors.verticalCenter: parent.verticalCenter
                    name: "icon-uploadsettings"
                }

                Rectangle {
                    id: idFrameLabelSetLock
                    objectName: idRowSetLock.objectName + ".idFrameLabelSetLock"
                    width: idRowCommandMain.width * 0.3
                    height: parent.height
                    color: "transparent"

                    UiLabel {
                        objectName: idFrameLabelSetLock.objectName + ".idLabelSetLock"
                        anchors.verticalCenter: parent.verticalCenter
                        width: parent.width
                        //% "Set lock"
                        text: qsTrId("maintenance_panel_Set_lock")
                    }
                }

                Row {
                    id: idButtonsSetLock
                    objectName: idRowSetLock.objectName + ".idButtonsSetLock"
                    width: parent.width - idGlyphSetLock.width - idFrameLabelSetLock.width
                    height: parent.height

                    Button {
                        objectName: idButtonsSetLock.objectName + ".idButtonLock"
                        readonly property string command: "setLock"
                        width: parent.width / 2
                        height: parent.height
                        activeFocusOnTab: true
                        //% "Lock"
                        text: qsTrId("maintenance_panel_Lock")
                        onClicked: be.setLock(true)
                    }

                    Button {
                        objectName: idButtonsSetLock.objectName + ".idButtonUnlock"
                        readonly property string command: "setLock"
                        width: parent.width / 2
                        height: parent.height
                        activeFocusOnTab: true
                        //% "Unlock"
                        text: qsTrId("maintenance_panel_Unlock")
                        onClicked: be.setLock(false)
                    }
                }
            }

            Row {
                id: idRowSetDirection
                objectName: idRowCommandMain.objectName + ".idRowSetDirection"
                width: parent.width
                height: Style.baseHeight * 5

                UiGlyph {
                    id: idGlyphSetDirection
                    objectName: idRowSetDirection.objectName + ".idGlyphSetDirection"
                    anchors.verticalCenter: parent.verticalCenter
                    name: "icon-uploadsettings"
                }

                Rectangle {
                    id: idFrameLabelSetDirection
                    objectName: idRowSetDirection.objectName + ".idFrameLabelSetDirection"
                    width: idRowCommandMain.width * 0.3
                    height: parent.height
                    color: "transparent"

                    UiLabel {
                        objectName: idFrameLabelSetDirection.objectName + ".idLabelSetDirection"
                        anchors.verticalCenter: parent.verticalCenter
                        width: parent.width
                        //% "Set direction"
                        text: qsTrId("maintenance_panel_Set_direction")
                    }
                }

                Row {
                    id: idButtonsSetDirection
                    objectName: idRowSetDirection.objectName + ".idButtonsSetDirection"
                    width: parent.width - idGlyphSetDirection.width - idFrameLabelSetDirection.width
                    height: parent.height

                    Button {
                        objectName: idButtonsSetDirection.objectName + ".idButtonFastening"
                        readonly property string command: "setDirection"
                        width: parent.width / 2
                        height: parent.height
                        activeFocusOnTab: true
                        //% "Fastening"
                        text: qsTrId("maintenance_panel_Fastening")
                        onClicked: be.setDirection(false)
                    }

                    Button {
                        objectName: idButtonsSetDirection.objectName + ".idButtonLoosening"
                        readonly property string command: "setDirection"
                        width: parent.width / 2
                        height: parent.height
                        activeFocusOnTab: true
                        //% "Loosening"
                        text: qsTrId("maintenance_panel_Loosening")
                        onClicked: be.setDirection(true)
                    }
                }
            }
        }

        Text {
            id: idTitleStatus
            objectName: idColumn.objectName + ".idTitleStatus"
            topPadding: Style.baseHeight * 3
            font: Style.fontLabel
            color: idColumn.labelColor
            Accessible.role: Accessible.Heading
            Accessible.name: text
            //% "Controller Status"
            text: qsTrId("maintenance_panel_Controller_Status")
        }

        Repeater {
            id: idRepeater
            objectName: idColumn.objectName + ".idRepeater"
            model: be.statusChannelsModel

            // The types of the channels by their rows. Written in place: nothing binds to it.
            property var previousChannelTypes: []

            // Keeps the type of a row and tells whether another group of channels begins there. Rows are
            // made in their order, so that the row before has been kept already.
            function beginsGroup(row, type) {
                previousChannelTypes[row] = type
                return row > 0 && previousChannelTypes[row - 1] !== type
            }

            delegate: Item {
                id: idChannelItem
                objectName: idRepeater.objectName + ".idChannelItem_" + index
                width: idColumn.width
                height: idChannelRow.height + topGap

                property DMdcChannel currentChannel: modelData
                // The channel goes before its row does when the list is cleared.
                readonly property int channelType: currentChannel ? currentChannel.type
                                                                  : DMdcChannel.CeCtUnknown
                readonly property var channelValue: currentChannel ? currentChannel.value : undefined
                readonly property string channelName: currentChannel ? currentChannel.name : ""
                readonly property real topGap: currentChannel && idRepeater.beginsGroup(index, channelType)
                                               ? Style.baseHeight : 0

                Row {
                    id: idChannelRow
                    objectName: idChannelItem.objectName + ".idChannelRow"
                    y: idChannelItem.topGap
                    width: parent.width
                    height: Style.baseHeight * 5

                    UiGlyph {
                        id: idChannelGlyph
                        objectName: idChannelRow.objectName + ".idChannelGlyph"
                        anchors.verticalCenter: parent.verticalCenter
                        name: "icon-tighteningfromdata"
                    }

                    Rectangle {
                        id: idFrameChannelName
                        objectName: idChannelRow.objectName + ".idFrameChannelName"
                        width: parent.width / 2
                        height: parent.height
                        color: "transparent"

                        UiLabel {
                            objectName: idFrameChannelName.objectName + ".idChannelName"
                            anchors.verticalCenter: parent.verticalCenter
                            width: parent.width
                            text: idChannelItem.channelName
                            font.bold: true
                        }
                    }

                    Item {
                        id: idChannelValue
                        objectName: idChannelRow.objectName + ".idChannelValue"
                        width: parent.width - idChannelGlyph.width - idFrameChannelName.width
                        height: parent.height

                        Rectangle {
                            id: idFrameChannelText
                            objectName: idChannelValue.objectName + ".idFrameChannelText"
                            anchors.fill: parent
                            visible: idChannelItem.channelType === DMdcChannel.CeCtString
                            color: "transparent"
                            border.color: Style.widgetDisabledBorderColor

                            Text {
                                objectName: idFrameChannelText.objectName + ".idChannelText"
                                anchors.centerIn: parent
                                font: Style.fontLabel
                                color: idColumn.labelColor
                                // Nothing has been read yet: no value to show.
                                visible: idChannelItem.channelValue !== undefined
                                text: String(idChannelItem.channelValue)
                                Accessible.role: Accessible.StaticText
                                Accessible.name: idChannelItem.channelName + ": " + text
                            }
                        }

                        UiLedIndicator {
                            objectName: idChannelValue.objectName + ".idChannelLed"
                            anchors.centerIn: parent
                            width: height
                            height: parent.height
                            visible: idChannelItem.channelType === DMdcChannel.CeCtBool
                            statusColor: idChannelItem.channelValue === 1 ? Style.toolStatusIn
                                                                          : Style.toolStatusInactive
                            //% "on"
                            readonly property string onText: qsTrId("maintenance_panel_On")
                            //% "off"
                            readonly property string offText: qsTrId("maintenance_panel_Off")
                            Accessible.role: Accessible.Indicator
                            Accessible.name: idChannelItem.channelName
                                             + (idChannelItem.channelValue === undefined ? ""
                                                : ": " + (idChannelItem.channelValue === 1 ? onText : offText))
                        }
                    }
                }
            }
        }
    }
}
