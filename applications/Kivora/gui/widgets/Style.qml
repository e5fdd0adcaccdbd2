pragma Singleton
import QtQuick 2.15

// Sizes, fonts and colours of every page, in a light and a dark form. Texts have a contrast of at least
// 4.5 : 1 against what they stand on, and outlines of controls one of 3 : 1, also where nothing can be
// used; no state is told by colour alone.
QtObject {
    property bool dark: false
    // For a window that is narrower than a page needs with fonts and gaps of their usual sizes.
    property bool compact: false

    // The unit of heights, widths and gaps, in device-independent pixels: every distance is a half, one or
    // several of it. A row of controls has five, so that a finger in a glove finds it (44 at least).
    readonly property real baseHeight: 9
    readonly property real baseWidth: 9

    // Of a page's text and controls; a wider window leaves room at both sides.
    readonly property real widestPage: 900

    readonly property font fontLabel: Qt.font({ pixelSize: compact ? 13 : 15 })
    readonly property font fontTitle: Qt.font({ pixelSize: compact ? 18 : 22, bold: true })
    readonly property font fontSmall: Qt.font({ pixelSize: compact ? 12 : 13 })

    readonly property color backgroundColor: dark ? "#12171d" : "#f3f5f7"
    readonly property color surfaceColor: dark ? "#1b222a" : "#ffffff"
    readonly property color textColor: dark ? "#e8edf2" : "#18222c"
    // Also of what cannot be used.
    readonly property color secondaryTextColor: dark ? "#a9b8c6" : "#4d5c6a"
    readonly property color accentColor: dark ? "#7ab8f5" : "#0b5cad"
    readonly property color widgetDisabledBorderColor: dark ? "#6d8092" : "#75879a"

    readonly property color buttonColor: dark ? "#2b3641" : "#ffffff"
    readonly property color buttonPressedColor: dark ? "#374653" : "#d5e4f3"
    readonly property color buttonBorderColor: dark ? "#8496a8" : "#66788a"

    // A tool's LED, on and off.
    readonly property color toolStatusIn: dark ? "#4fd07a" : "#1f9d4d"
    readonly property color toolStatusInactive: dark ? "#7b8a98" : "#76869a"

    readonly property color goodColor: dark ? "#63d68b" : "#13743a"
    readonly property color badColor: dark ? "#ff9a90" : "#ad1f17"
    readonly property color badSurfaceColor: dark ? "#3a1f1f" : "#fdecea"
    readonly property color doubtfulColor: dark ? "#ffcf70" : "#7a4d00"
    readonly property color doubtfulSurfaceColor: dark ? "#37301b" : "#fff4d9"
}
