import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import QtQuick.Window 2.15
import "../widgets"

// The frame of every maintenance page. A page gives its name, the state of its link and its content, and
// is told by updateData when to read its values anew. The frame shows name and link, scrolls, keeps the
// content from being used while nothing can be sent, and keeps the last failed action in sight.
//
// The program that shows the page writes the properties under "from the program".
Item {
    id: panel

    // From the page.
    property string name
    property bool connected: false
    property Item contentItem
    property real spacing: Style.baseHeight / 2
    signal updateData()

    // From the program.
    property int updatePeriod: 500 // ms
    // The controller that answers is known to be the one whose registers the page reads and writes.
    property bool identified: true
    // Why it is not, once that was tried in vain.
    property string identificationFailure
    // When the newest value was read, in milliseconds since 1970; 0 for never.
    property double valuesTime: 0
    // How many values could not be read the last time.
    property int unreadValues: 0
    // The last action that failed, or of which nobody knows whether it was done; no title for none.
    property string failureTitle
    property string failureReason
    property string failureDetail
    property string failureTime
    property bool failureUncertain: false
    // What the page has no row for, each with a `name` and a `value`.
    property var states: []
    // The page's fields, each with a `problem`.
    property var fields: []

    readonly property bool usable: connected && identified
    // As the shell has it.
    readonly property bool mirrored: LayoutMirroring.enabled
    property double now: Date.now()

    implicitWidth: 600
    implicitHeight: 800

    function age(milliseconds) {
        const seconds = Math.max(0, Math.floor(milliseconds / 1000))
        if (seconds < 60)
            //% "%1 s"
            return qsTrId("panel_age_seconds").replace("%1", seconds)
        if (seconds < 3600)
            //% "%1 min"
            return qsTrId("panel_age_minutes").replace("%1", Math.floor(seconds / 60))
        //% "%1 h"
        return qsTrId("panel_age_hours").replace("%1", Math.floor(seconds / 3600))
    }

    // What is scrolled scrolls so far that the item with the keyboard's focus is in sight.
    function reveal(item) {
        for (const flickable of [view, notices]) {
            let ancestor = item
            while (ancestor && ancestor !== flickable.contentItem)
                ancestor = ancestor.parent
            if (!ancestor)
                continue
            const top = item.mapToItem(flickable.contentItem, 0, 0).y - Style.baseHeight
            const bottom = top + item.height + 2 * Style.baseHeight
            if (top < flickable.contentY)
                flickable.contentY = Math.max(0, top)
            else if (bottom > flickable.contentY + flickable.height)
                scrollTo(flickable, bottom - flickable.height)
        }
    }

    function scrollTo(flickable, y) {
        flickable.contentY = Math.max(0, Math.min(y, flickable.contentHeight - flickable.height))
    }

    function dismissFailure() {
        failureTitle = ""
        failureReason = ""
        failureDetail = ""
        failureTime = ""
    }

    onContentItemChanged: {
        if (contentItem)
            contentItem.parent = holder
    }

    Accessible.role: Accessible.Pane
    Accessible.name: name

    Timer {
        objectName: panel.objectName + ".idUpdateTimer"
        interval: panel.updatePeriod
        repeat: true
        triggeredOnStart: true
        running: panel.usable && panel.visible
        onTriggered: panel.updateData()
    }

    Timer {
        interval: 1000
        repeat: true
        triggeredOnStart: true
        running: panel.visible && (!panel.usable || panel.unreadValues > 0)
        onTriggered: panel.now = Date.now()
    }

    Connections {
        target: panel.Window.window
        ignoreUnknownSignals: true
        function onActiveFocusItemChanged() {
            if (panel.Window.window.activeFocusItem)
                panel.reveal(panel.Window.window.activeFocusItem)
        }
    }

    // The keyboard scrolls too, wherever its focus is: most rows have nothing that could have it.
    Shortcut {
        sequence: "PgDown"
        enabled: panel.visible
        onActivated: panel.scrollTo(view, view.contentY + view.height * 0.9)
    }

    Shortcut {
        sequence: "PgUp"
        enabled: panel.visible
        onActivated: panel.scrollTo(view, view.contentY - view.height * 0.9)
    }

    Shortcut {
        sequence: "Down"
        enabled: panel.visible && !notices.activeFocus
        onActivated: panel.scrollTo(view, view.contentY + Style.baseHeight * 5)
    }

    Shortcut {
        sequence: "Up"
        enabled: panel.visible && !notices.activeFocus
        onActivated: panel.scrollTo(view, view.contentY - Style.baseHeight * 5)
    }

    Shortcut {
        sequence: "Home"
        enabled: panel.visible
        onActivated: panel.scrollTo(view, 0)
    }

    Shortcut {
        sequence: "End"
        enabled: panel.visible
        onActivated: panel.scrollTo(view, view.contentHeight)
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: Style.baseHeight

        RowLayout {
            Layout.fillWidth: true
            spacing: Style.baseWidth

            Text {
                objectName: panel.objectName + ".idTitle"
                Layout.fillWidth: true
                text: panel.name
                font: Style.fontTitle
                color: Style.textColor
                textFormat: Text.PlainText
                horizontalAlignment: Text.AlignLeft
                wrapMode: Text.Wrap
                maximumLineCount: 2
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }

            Rectangle {
                id: link
                objectName: panel.objectName + ".idLink"
                readonly property color stateColor: panel.connected ? Style.goodColor : Style.badColor
                implicitWidth: linkRow.implicitWidth + Style.baseWidth * 2
                implicitHeight: Style.baseHeight * 3
                radius: panel.connected ? height / 2 : 3
                color: "transparent"
                border.color: stateColor
                border.width: 2
                Accessible.role: Accessible.StaticText
                Accessible.name: linkText.text

                Row {
                    id: linkRow
                    anchors.centerIn: parent
                    spacing: Style.baseWidth / 2

                    UiGlyph {
                        objectName: link.objectName + ".idGlyph"
                        anchors.verticalCenter: parent.verticalCenter
                        name: panel.connected ? "link-up" : "link-down"
                        color: link.stateColor
                        size: Style.baseHeight * 2
                    }

                    Text {
                        id: linkText
                        objectName: link.objectName + ".idText"
                        anchors.verticalCenter: parent.verticalCenter
                        font: Style.fontLabel
                        color: link.stateColor
                        //% "Connected"
                        readonly property string connectedText: qsTrId("panel_link_connected")
                        //% "Not connected"
                        readonly property string disconnectedText: qsTrId("panel_link_disconnected")
                        text: panel.connected ? connectedText : disconnectedText
                    }
                }
            }
        }

        Rectangle {
            Layout.fillWidth: true
            implicitHeight: 1
            color: Style.widgetDisabledBorderColor
        }

        // Never so high that they would push the page out of sight: what does not fit scrolls.
        Flickable {
            id: notices
            objectName: panel.objectName + ".idNotices"
            Layout.fillWidth: true
            Layout.preferredHeight: Math.min(noticeColumn.height, Math.floor(panel.height / 3))
            visible: panel.failureTitle !== "" || !panel.usable || panel.unreadValues > 0
            contentWidth: width
            contentHeight: noticeColumn.height
            boundsBehavior: Flickable.StopAtBounds
            clip: true
            readonly property bool overflows: contentHeight > height + 1
            activeFocusOnTab: overflows
            onContentHeightChanged: contentY = 0

            Keys.onDownPressed: panel.scrollTo(notices, contentY + Style.baseHeight * 3)
            Keys.onUpPressed: panel.scrollTo(notices, contentY - Style.baseHeight * 3)

            ScrollBar.vertical: ScrollBar {
                objectName: notices.objectName + ".idScrollBar"
                parent: panel
                x: panel.mirrored ? -width : panel.width
                y: notices.y
                height: notices.height
                visible: notices.visible && notices.overflows
                policy: ScrollBar.AlwaysOn
            }

            Column {
                id: noticeColumn
                width: notices.width
                spacing: Style.baseHeight / 2

                NoticeStrip {
                    id: failure
                    objectName: panel.objectName + ".idFailure"
                    width: parent.width
                    visible: panel.failureTitle !== ""
                    glyphName: panel.failureUncertain ? "uncertain" : "failed"
                    tint: panel.failureUncertain ? Style.doubtfulColor : Style.badColor
                    surface: panel.failureUncertain ? Style.doubtfulSurfaceColor : Style.badSurfaceColor
                    title: panel.failureTime === "" ? panel.failureTitle
                                                    : panel.failureTime + "  " + panel.failureTitle
                    text: panel.failureReason
                    detail: panel.failureDetail
                    //% "Dismiss"
                    buttonText: qsTrId("panel_failure_dismiss")
                    onPressed: panel.dismissFailure()
                }

                NoticeStrip {
                    objectName: panel.objectName + ".idReason"
                    width: parent.width
                    visible: !panel.usable
                    glyphName: panel.connected && panel.identificationFailure === "" ? "waiting" : "link-down"
                    tint: panel.connected && panel.identificationFailure === "" ? Style.doubtfulColor : Style.badColor
                    surface: panel.connected && panel.identificationFailure === "" ? Style.doubtfulSurfaceColor
                                                                                   : Style.badSurfaceColor
                    //% "There is no connection to the controller."
                    readonly property string noLink: qsTrId("panel_reason_no_link")
                    //% "The controller is being identified."
                    readonly property string identifying: qsTrId("panel_reason_identifying")
                    //% "The controller does not tell what it is."
                    readonly property string unidentified: qsTrId("panel_reason_unidentified")
                    //% "Nothing can be sent until it is back; it is tried again and again."
                    readonly property string waitForLink: qsTrId("panel_reason_wait_for_link")
                    //% "Nothing can be sent until its registers are known; it is asked again and again."
                    readonly property string waitForIdentity: qsTrId("panel_reason_wait_for_identity")
                    title: !panel.connected ? noLink
                                            : panel.identificationFailure === "" ? identifying : unidentified
                    text: (panel.connected ? waitForIdentity : waitForLink)
                          + (panel.valuesTime > 0 ? " " + ageOfValues.text : "")
                    detail: panel.connected ? panel.identificationFailure : ""
                }

                NoticeStrip {
                    objectName: panel.objectName + ".idUnread"
                    width: parent.width
                    visible: panel.usable && panel.unreadValues > 0
                    glyphName: "failed"
                    tint: Style.doubtfulColor
                    surface: Style.doubtfulSurfaceColor
                    //% "Values that could not be read: %1"
                    title: qsTrId("panel_unread_values").replace("%1", panel.unreadValues)
                    text: panel.valuesTime > 0 ? ageOfValues.text : ""
                }
            }

            Rectangle {
                parent: notices
                anchors.fill: parent
                visible: notices.activeFocus
                color: "transparent"
                border.color: Style.accentColor
                border.width: 3
            }
        }

        QtObject {
            id: ageOfValues
            //% "The newest value is %1 old."
            readonly property string text:
                qsTrId("panel_age_of_values").replace("%1", panel.age(panel.now - panel.valuesTime))
        }

        Flickable {
            id: view
            objectName: panel.objectName + ".idView"
            Layout.fillWidth: true
            Layout.fillHeight: true
            contentWidth: width
            contentHeight: holder.height
            boundsBehavior: Flickable.StopAtBounds
            clip: true

            // In the margin beside the page, which uses the whole width.
            ScrollBar.vertical: ScrollBar {
                objectName: view.objectName + ".idScrollBar"
                parent: panel
                x: panel.mirrored ? -width : panel.width
                y: view.y
                height: view.height
                policy: view.contentHeight > view.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
            }

            Item {
                id: holder
                objectName: view.objectName + ".idHolder"
                width: view.width
                height: stateColumn.y + stateColumn.height
                enabled: panel.usable
                // Before the first value a lamp is neither on nor off.
                readonly property bool valuesKnown: panel.valuesTime > 0

                Column {
                    id: stateColumn
                    y: panel.contentItem ? panel.contentItem.height + (height > 0 ? panel.spacing : 0) : 0
                    width: parent.width
                    spacing: panel.spacing

                    Repeater {
                        model: panel.states

                        StateRow {
                            objectName: panel.objectName + ".idState_" + index
                            width: stateColumn.width
                            name: modelData.name
                            value: modelData.value
                        }
                    }
                }

                Repeater {
                    model: panel.fields

                    Item {
                        FieldFrame {
                            field: modelData
                            room: holder.width / 2 - Style.baseWidth
                        }
                    }
                }

                // Lies on the field, so that it goes and grows with it.
                Rectangle {
                    objectName: panel.objectName + ".idFocusFrame"
                    readonly property Item focusItem: panel.Window.activeFocusItem
                    readonly property Item field: focusItem instanceof TextInput && isWithin(focusItem)
                                                  ? focusItem : null
                    parent: field ? field : holder
                    anchors.fill: parent
                    visible: field !== null
                    color: "transparent"
                    radius: 3
                    border.color: Style.accentColor
                    border.width: 3

                    function isWithin(item) {
                        while (item && item !== holder)
                            item = item.parent
                        return item === holder
                    }
                }
            }
        }
    }
}
