import QtQuick
import Murmora

// The application's own icon.
SymbolIcon {
    name: "murmora"
    Accessible.ignored: true
}
