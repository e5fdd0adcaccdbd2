import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import PlgLibDeviceMdc 1.0
import "../../../applications/Kivora/gui/panels"
import "../../../applications/Kivora/gui/widgets"

// The maintenance page of one MDC device. The host replaces the three texts in braces below before it
// loads the page. Every visible item has an object name, by which automated tests find it.
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

        ListView {
            id: idDeviceInfo
            objectName: idColumn.objectName + ".idDeviceInfo"
            width: parent.width
            height: childrenRect.height
            model: be.deviceInfo

            delegate: RowLayout {
                id: idDeviceInfoRow
                objectName: idDeviceInfo.objectName + ".idDeviceInfoRow_" + index
                width: idDeviceInfo.width
                height: Style.baseHeight * 3
                spacing: 10

                UiLabel {
                    objectName: idDeviceInfoRow.objectName + ".idName"
                    text: modelData.name
                    font.bold: true
                }

                Item {
                    objectName: idDeviceInfoRow.objectName + ".idFiller"
                    Layout.fillWidth: true
                }

                UiLabel {
                    objectName: idDeviceInfoRow.objectName + ".idValue"
                    text: modelData.value
                }
            }
        }

        Text {
            id: idTitleCommand
            objectName: idColumn.objectName + ".idTitleCommand"
            font: Style.fontLabel
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
                        objectName: idFrameLabelSetProgram.objectName + ".idLabelSetProgram"
                        anchors.verticalCenter: parent.verticalCenter
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
                            horizontalAlignment: TextInput.AlignHCenter
                            verticalAlignment: TextInput.AlignVCenter
                            validator: IntValidator {
                                bottom: 1
                            }
                        }
                    }

                    Button {
                        objectName: idColumnSetProgram.objectName + ".idButtonApply"
                        width: parent.width
                        height: parent.height / 2
                        //% "Apply"
                        text: qsTrId("maintenance_panel_Apply")
                        // The validator lets 0 stand, as the beginning of a number that it may become.
                        onClicked: be.setProgram(idInputProgram.acceptableInput ? idInputProgram.text : "")
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
                        width: parent.width / 2
                        height: parent.height
                        //% "Lock"
                        text: qsTrId("maintenance_panel_Lock")
                        onClicked: be.setLock(true)
                    }

                    Button {
                        objectName: idButtonsSetLock.objectName + ".idButtonUnlock"
                        width: parent.width / 2
                        height: parent.height
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
                        width: parent.width / 2
                        height: parent.height
                        //% "Fastening"
                        text: qsTrId("maintenance_panel_Fastening")
                        onClicked: be.setDirection(false)
                    }

                    Button {
                        objectName: idButtonsSetDirection.objectName + ".idButtonLoosening"
                        width: parent.width / 2
                        height: parent.height
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
            font: Style.fontLabel
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
                            text: idChannelItem.currentChannel ? idChannelItem.currentChannel.name : ""
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
                                // Nothing has been read yet: no value to show.
                                visible: idChannelItem.channelValue !== undefined
                                text: String(idChannelItem.channelValue)
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
                        }
                    }
                }
            }
        }
    }
}
