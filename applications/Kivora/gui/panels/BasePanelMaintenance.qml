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
    property real spacing: Style.baseHeight * 1.5
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

    readonly property bool usable: connected && identified
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

    // A page gives its plain texts no colour, for it does not know what it stands on, and its fields and
    // lamps no name of their own. Colours that a page has chosen stay. Rows that come later are adopted as well.
    function adopt(item) {
        if (item instanceof Text || item instanceof TextInput) {
            if (Qt.colorEqual(item.color, "#000000"))
                item.color = Qt.binding(function() { return Style.textColor })
        }
        if (item instanceof TextInput) {
            // What can be written into looks like it.
            if (item.parent instanceof Rectangle && item.parent.color.a === 0)
                item.parent.color = Qt.binding(function() { return Style.buttonColor })
            item.activeFocusOnTab = true
            item.selectByMouse = true
            item.selectionColor = Qt.binding(function() { return Style.accentColor })
            item.Accessible.role = Accessible.EditableText
            item.Accessible.name = labelBeside(item)
        }
        if (item instanceof UiLedIndicator)
            item.label = Qt.binding(function() { return panel ? panel.labelBeside(item) : "" })
        // Once, however often it is adopted. Qt's WeakSet of items, which would tell, does not outlive
        // the collection of garbage.
        item.childrenChanged.disconnect(panel.adoptLater)
        item.childrenChanged.connect(panel.adoptLater)
        for (let i = 0; i < item.children.length; ++i)
            adopt(item.children[i])
    }

    // Rows come with many children, and leave with them, some of them when the panel has gone.
    function adoptLater() {
        if (panel)
            Qt.callLater(panel.adoptContent)
    }

    function adoptContent() {
        if (contentItem)
            adopt(contentItem)
    }

    // The first label of the smallest group around an item that has one.
    function labelBeside(item) {
        for (let group = item.parent; group && group !== holder; group = group.parent) {
            const label = firstLabel(group)
            if (label !== "")
                return label
        }
        return panel.name
    }

    function firstLabel(group) {
        for (let i = 0; i < group.children.length; ++i) {
            const child = group.children[i]
            const label = child instanceof UiLabel ? child.text : firstLabel(child)
            if (label !== "")
                return label
        }
        return ""
    }

    // The content scrolls so far that the item with the keyboard's focus is in sight.
    function reveal(item) {
        let ancestor = item
        while (ancestor && ancestor !== holder)
            ancestor = ancestor.parent
        if (!ancestor)
            return
        const top = item.mapToItem(holder, 0, 0).y - panel.spacing
        const bottom = top + item.height + 2 * panel.spacing
        if (top < view.contentY)
            view.contentY = Math.max(0, top)
        else if (bottom > view.contentY + view.height)
            view.contentY = Math.max(0, Math.min(bottom, view.contentHeight) - view.height)
    }

    function dismissFailure() {
        failureTitle = ""
        failureReason = ""
        failureDetail = ""
        failureTime = ""
    }

    onContentItemChanged: {
        if (contentItem) {
            contentItem.parent = holder
            adoptContent()
        }
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

    ColumnLayout {
        anchors.fill: parent
        spacing: panel.spacing

        RowLayout {
            Layout.fillWidth: true
            spacing: Style.baseWidth * 2

            Text {
                objectName: panel.objectName + ".idTitle"
                Layout.fillWidth: true
                text: panel.name
                font: Style.fontTitle
                color: Style.textColor
                textFormat: Text.PlainText
                elide: Text.ElideRight
                Accessible.role: Accessible.Heading
            }

            Rectangle {
                id: link
                objectName: panel.objectName + ".idLink"
                readonly property color stateColor: panel.connected ? Style.goodColor : Style.badColor
                implicitWidth: linkRow.implicitWidth + Style.baseWidth * 3
                implicitHeight: Style.baseHeight * 4
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

        NoticeStrip {
            id: failure
            objectName: panel.objectName + ".idFailure"
            Layout.fillWidth: true
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
            Layout.fillWidth: true
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
            Layout.fillWidth: true
            visible: panel.usable && panel.unreadValues > 0
            glyphName: "failed"
            tint: Style.doubtfulColor
            surface: Style.doubtfulSurfaceColor
            //% "Values that could not be read: %1"
            title: qsTrId("panel_unread_values").replace("%1", panel.unreadValues)
            text: panel.valuesTime > 0 ? ageOfValues.text : ""
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
                x: panel.width
                y: view.y
                height: view.height
                policy: view.contentHeight > view.height ? ScrollBar.AlwaysOn : ScrollBar.AlwaysOff
            }

            Item {
                id: holder
                objectName: view.objectName + ".idHolder"
                width: view.width
                height: panel.contentItem ? panel.contentItem.height : 0
                enabled: panel.usable
                opacity: panel.usable ? 1 : 0.6

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
