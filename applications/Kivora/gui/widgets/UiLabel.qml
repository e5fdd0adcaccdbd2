import QtQuick 2.15

// A short text beside a value or a control.
Text {
    font.pixelSize: Style.fontLabel.pixelSize
    color: Style.textColor
    textFormat: Text.PlainText
}
