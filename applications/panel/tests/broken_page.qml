import QtQuick 2.15

Item {
    noSuchProperty: 1
}
