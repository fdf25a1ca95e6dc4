import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Murmora

// A deep dive's answer in its "## " sections; text before the first heading is the overview.
ColumnLayout {
    id: result

    property string markdown
    readonly property var sections: {
        const found = []
        for (const piece of markdown.split(/\n(?=## )/)) {
            if (piece.startsWith("## ")) {
                const end = piece.indexOf("\n")
                found.push({ title: (end < 0 ? piece : piece.slice(0, end)).slice(3).trim(),
                             body: end < 0 ? "" : piece.slice(end + 1).trim() })
            } else if (piece.trim() !== "") {
                found.push({ title: "Overview", body: piece.trim() })
            }
        }
        return found
    }

    spacing: 14

    Repeater {
        model: result.sections
        delegate: ColumnLayout {
            required property var modelData
            Layout.fillWidth: true
            spacing: 3
            Label {
                objectName: "diveSectionTitle"
                text: modelData.title
                font.pixelSize: 13
                font.weight: Font.DemiBold
                color: Theme.primary
            }
            TextEdit {
                Layout.fillWidth: true
                readOnly: true
                selectByMouse: true
                textFormat: TextEdit.MarkdownText
                text: modelData.body
                wrapMode: TextEdit.Wrap
                font.pixelSize: 13
                color: Theme.primary
            }
        }
    }
}
