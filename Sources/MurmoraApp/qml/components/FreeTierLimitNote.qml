import Murmora

NoteText {
    objectName: "freeTierLimitNote"
    headline: "You've hit today's free-tier limit"
    detail: "Murmora AI is free while we're small, so each day has a cap. Your coach is back tomorrow — everything else keeps working."
}
