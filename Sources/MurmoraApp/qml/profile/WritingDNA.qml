import QtQuick
import Murmora

// The tiles of "Writing DNA", in their order, each only when its figure is there.
QtObject {
    function percent(rate) {
        return Math.trunc(rate * 100) + "%"
    }

    function tiles(stats) {
        const tiles = []
        const add = (label, value, context) => tiles.push({ label: label, value: value, context: context || "" })
        if (stats.myMedianReplySeconds !== undefined)
            add("Reply speed", Fmt.replySpeed(stats.myMedianReplySeconds), "median, across everyone")
        if (stats.myMedianLength !== undefined)
            add("Median message", stats.myMedianLength + " characters", Fmt.lengthLine(stats.myMedianLength))
        if (stats.myInitiationRate !== undefined)
            add("Conversations you start", percent(stats.myInitiationRate))
        if (stats.myQuestionRate !== undefined)
            add("Messages that ask a question", percent(stats.myQuestionRate))
        if (stats.myEmojiRate !== undefined)
            add("Messages with emoji", percent(stats.myEmojiRate))
        const laughs = Fmt.laughRows(stats.laughter)
        if (laughs.length > 0)
            add("Signature laugh", laughs[0].label, stats.laughter.total + " laughs recorded")
        if (stats.medianLastTextMinute !== undefined)
            add("Last text of the day", Fmt.clockTime(stats.medianLastTextMinute), "typically")
        if (stats.doubleTextChampion !== undefined)
            add("Double-texts", String(stats.doubleTextChampion.count),
                "most of them to " + AppState.name(stats.doubleTextChampion.handleID,
                                                   stats.doubleTextChampion.displayName || undefined))
        return tiles
    }
}
