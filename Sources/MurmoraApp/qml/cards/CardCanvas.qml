import QtQuick
import QtQuick.Layouts
import Murmora

// A year-recap card in one of seven templates and two formats.
CardFrame {
    id: card

    // "Archetype", "Laugh audit", "Night owl", "Top five", "Streak", "Double-text" or "Summary".
    property string template: "Summary"
    // "Story" (540 × 960) or "Post" (540 × 675).
    property string format: "Post"
    property wrappedStats stats
    property string archetypeTitle

    readonly property var captions: ({
        "Archetype": "My texter archetype",
        "Laugh audit": "My laugh, audited",
        "Night owl": "My last text of the day, typically",
        "Top five": "My top texters",
        "Streak": "Longest daily streak",
        "Double-text": "The double-text award",
        "Summary": "My year in texts"
    })
    readonly property string yearLine: Fmt.thousands(stats.totalMessages) + " messages · " + stats.peopleCount
                                       + " people · one year"

    width: 540
    height: format === "Story" ? 960 : 675
    caption: captions[template] || ""

    Loader {
        Layout.fillWidth: true
        sourceComponent: {
            switch (card.template) {
            case "Archetype": return archetype
            case "Laugh audit": return laughAudit
            case "Night owl": return nightOwl
            case "Top five": return topFive
            case "Streak": return streak
            case "Double-text": return doubleText
            default: return summary
            }
        }
    }

    Component {
        id: archetype
        ColumnLayout {
            spacing: 18
            CardText {
                objectName: "archetypeTitle"
                Layout.fillWidth: true
                Layout.preferredHeight: 64
                text: card.archetypeTitle
                font.pixelSize: 52
                font.weight: Font.Bold
                fontSizeMode: Text.HorizontalFit
                minimumPixelSize: 29 // 0.55 of 52
                elide: Text.ElideRight
                verticalAlignment: Text.AlignVCenter
            }
            CardText {
                text: card.yearLine
                font.pixelSize: 16
                color: CardStyle.secondary
            }
        }
    }
    Component {
        id: laughAudit
        CardLaughAudit {
            stats: card.stats
        }
    }
    Component {
        id: nightOwl
        ColumnLayout {
            spacing: 14
            readonly property bool known: card.stats.medianLastTextMinute !== undefined
            CardText {
                Layout.fillWidth: true
                Layout.preferredHeight: 100
                visible: parent.known
                text: parent.known ? Fmt.clockTime(card.stats.medianLastTextMinute) : ""
                font.pixelSize: 84
                font.weight: Font.Bold
                fontSizeMode: Text.HorizontalFit
                minimumPixelSize: 42
                verticalAlignment: Text.AlignVCenter
            }
            CardText {
                visible: parent.known
                text: parent.known ? Fmt.nightLine(card.stats.medianLastTextMinute) : ""
                font.pixelSize: 17
            }
            CardText {
                text: "What's yours?"
                color: CardStyle.secondary
            }
        }
    }
    Component {
        id: topFive
        ColumnLayout {
            spacing: 14
            CardRankRows {
                Layout.fillWidth: true
                contacts: card.stats.topContacts.slice(0, 5)
                large: true
            }
            CardText {
                Layout.fillWidth: true
                text: Fmt.thousands(card.stats.totalMessages) + " messages this year. Who's in your top five?"
                font.pixelSize: 14
                color: CardStyle.secondary
                wrapMode: Text.WordWrap
            }
        }
    }
    Component {
        id: streak
        CardHero {
            hero: (card.stats.longestStreak ? card.stats.longestStreak.count : 0) + " days"
            heroSize: 76
            line: "straight, texting " + (card.stats.longestStreak ? AppState.name(card.stats.longestStreak.handleID, card.stats.longestStreak.displayName) : "")
            aside: "A streak Duolingo would envy."
        }
    }
    Component {
        id: doubleText
        CardHero {
            hero: (card.stats.doubleTextChampion ? card.stats.doubleTextChampion.count : 0) + "×"
            heroSize: 84
            line: "double-texted " + (card.stats.doubleTextChampion ? AppState.name(card.stats.doubleTextChampion.handleID, card.stats.doubleTextChampion.displayName) : "")
            aside: "They know I'm keen."
        }
    }
    Component {
        id: summary
        CardSummary {
            stats: card.stats
            archetypeTitle: card.archetypeTitle
            yearLine: card.yearLine
        }
    }
}
