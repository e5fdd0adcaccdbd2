import QtQuick 2.15

// A short text beside a value or a control. Given a width it goes on in the next line.
Text {
    font.pixelSize: Style.fontLabel.pixelSize
    color: enabled ? Style.textColor : Style.secondaryTextColor
    textFormat: Text.PlainText
    wrapMode: Text.Wrap
    // Said, so that it is mirrored with everything else.
    horizontalAlignment: Text.AlignLeft
}
