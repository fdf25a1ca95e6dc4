import QtQuick
import Murmora

// The tiles of "The dynamic" for one person, in their order, each only when its figure is there, marked when
// it stands out.
QtObject {
    function percent(rate) {
        return Math.trunc(rate * 100) + "%"
    }

    function tiles(person, name) {
        const tiles = []
        const add = (label, value, context, highlight) =>
            tiles.push({ label: label, value: value, context: context || "", highlight: !!highlight })
        if (person.myMedianReplySeconds !== undefined) {
            const ratio = person.replyVsBaseline
            add("You reply in", Fmt.replySpeed(person.myMedianReplySeconds),
                ratio === undefined ? "" : Fmt.ratioChip(ratio, "faster than", "slower than", "your usual"),
                ratio !== undefined && (ratio <= 0.6 || ratio >= 1.6))
        }
        if (person.theirMedianReplySeconds !== undefined)
            add(name + " replies", Fmt.replySpeed(person.theirMedianReplySeconds))
        if (person.myInitiationRate !== undefined)
            add("Conversations you start", percent(person.myInitiationRate), "",
                person.myInitiationRate <= 0.35 || person.myInitiationRate >= 0.65)
        if (person.myAverageLength !== undefined) {
            const ratio = person.lengthVsBaseline
            add("Your message length", Math.trunc(person.myAverageLength) + " chars",
                ratio === undefined ? "" : Fmt.ratioChip(ratio, "shorter than", "longer than", "your average"),
                ratio !== undefined && (ratio <= 0.6 || ratio >= 1.6))
        }
        if (person.myDoubleTextRate !== undefined && person.myDoubleTextRate > 0)
            add("Your double-text rate", percent(person.myDoubleTextRate), "", person.myDoubleTextRate >= 0.15)
        if (person.myLaughter.total >= 1)
            add("Laughs with them", String(person.myLaughter.total))
        if (person.myQuestionRate !== undefined)
            add("Your questions", percent(person.myQuestionRate), "of your messages to them")
        return tiles
    }
}
