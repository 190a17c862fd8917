import QtQuick 2.15
import QtQuick.Window 2.15

Window {
    width: 400; height: 400; visible: true
    ListView {
        anchors.fill: parent
        model: quotes
        delegate: Row { // each column of the model is a role
            Text { width: 110; text: symbol }
            Text { width: 110; text: name }
            Text { width: 90; text: last; horizontalAlignment: Text.AlignRight; color: direction < 0 ? "green" : "red" }
        }
    }
}
