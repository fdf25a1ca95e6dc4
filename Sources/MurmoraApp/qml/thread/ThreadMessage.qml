import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// One message of the thread pane, with the day's heading above it when it is the first of its day.
Column {
    id: row

    required property string text
    required property date date
    required property bool isFromMe
    required property bool startsDay

    spacing: 0

    Label {
        objectName: "daySeparator"
        visible: row.startsDay
        width: row.width
        padding: 8
        horizontalAlignment: Text.AlignHCenter
        text: row.startsDay ? Fmt.dayHeading(row.date) : ""
        font.pixelSize: 10
        color: Theme.secondary
    }
    Item {
        width: row.width
        height: bubble.height

        Rectangle {
            id: bubble
            readonly property real widest: row.width - 40 - 20
            anchors.right: row.isFromMe ? parent.right : undefined
            anchors.left: row.isFromMe ? undefined : parent.left
            anchors.leftMargin: 10
            anchors.rightMargin: 10
            width: Math.min(body.implicitWidth, widest - 20) + 20
            height: body.height + 12
            radius: 13
            color: row.isFromMe ? Theme.accent : Theme.tint(Theme.primary, 0.07)

            Label {
                id: body
                x: 10
                y: 6
                width: Math.min(implicitWidth, bubble.widest - 20)
                text: row.text
                wrapMode: Text.Wrap
                font.pixelSize: 12
                color: row.isFromMe ? "white" : Theme.primary
            }
        }
    }
}
