import Murmora

NoteText {
    objectName: "aiUnavailableNote"
    headline: "AI isn't set up on this build"
    detail: "This build has no Murmora AI relay configured. Install the claude CLI and sign in, then relaunch — or deploy the relay (see relay/README.md) so AI just works."
}
