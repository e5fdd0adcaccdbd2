import QtQuick 2.15
import QtQuick.Shapes 1.15

// An icon by its name, drawn as lines on a grid of 24 × 24, so that it is sharp at every size. It says
// nothing that a text beside it does not say: readers of the screen pass over it.
Item {
    id: glyph

    property string name
    property color color: enabled ? Style.accentColor : Style.secondaryTextColor
    // Of the icon; the item keeps a gap behind it.
    property real size: Style.compact ? Style.baseHeight * 2 : Style.baseHeight * 3

    width: size + (Style.compact ? Math.floor(Style.baseWidth / 2) : Style.baseWidth)
    height: size

    readonly property var paths: ({
        // Sliders, and an arrow that takes their positions up.
        "icon-uploadsettings":
            "M3 6h5 M12 6h3 M10 4a2 2 0 1 0 0.01 0 M3 13h1 M8 13h5 M6 11a2 2 0 1 0 0.01 0 "
            + "M3 20h5 M12 20h1 M10 18a2 2 0 1 0 0.01 0 M19 21V10 M15.5 13.5L19 10l3.5 3.5",
        // A screw with its thread, and the curve of a tightening.
        "icon-tighteningfromdata":
            "M3 3h8v3h-8z M5 6v13l2 3l2 -3v-13 M5 10l4 -1.5 M5 13.5l4 -1.5 M5 17l4 -1.5 "
            + "M13 20h9 M13 20v-9 M13 18c4 0 3.5 -7 8 -8",
        "link-up": "M4 12.5l5.5 5.5l10.5 -12",
        "link-down": "M5 5l14 14 M19 5l-14 14",
        "failed": "M12 2.5L22.5 21.5H1.5z M12 9v6 M12 18v0.6",
        "uncertain": "M12 1.5L22.5 12L12 22.5L1.5 12z M9.5 10a2.5 2.5 0 1 1 3.5 2.3q-1 0.5 -1 2 M12 16.8v0.6",
        "waiting": "M12 2a10 10 0 1 0 0.01 0 M12 6.5v5.5l4 2.5"
    })

    // Drawn in software, a shape that is clipped away altogether would be drawn all the same.
    readonly property Flickable scrolled: {
        let ancestor = parent
        while (ancestor && !(ancestor instanceof Flickable))
            ancestor = ancestor.parent
        return ancestor
    }
    readonly property bool inSight: {
        if (!scrolled)
            return true
        // Whatever moves the glyph changes one of these.
        const places = [scrolled.contentY, scrolled.contentHeight, scrolled.height, scrolled.width, y]
        const top = mapToItem(scrolled, 0, 0).y
        return places.length > 0 && top + height > 0 && top < scrolled.height
    }

    Accessible.ignored: true

    // At the side where the glyph begins, which is the right one where one reads from there.
    Item {
        anchors.left: parent.left
        width: glyph.size
        height: glyph.size
        visible: glyph.inSight

        Shape {
            width: 24
            height: 24
            scale: glyph.size / 24
            transformOrigin: Item.TopLeft

            ShapePath {
                strokeColor: glyph.color
                strokeWidth: 1.8
                fillColor: "transparent"
                capStyle: ShapePath.RoundCap
                joinStyle: ShapePath.RoundJoin

                PathSvg {
                    // A frame for a name without an icon: something is meant to be there.
                    path: glyph.paths[glyph.name] || "M4 4h16v16h-16z"
                }
            }
        }
    }
}
