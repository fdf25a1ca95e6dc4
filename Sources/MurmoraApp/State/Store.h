#pragma once

#include "Persistence/Artifacts.h"
#include "Persistence/Snapshot.h"

#include <QDate>
#include <QString>
#include <optional>

namespace murmora {

// Keeps "snapshot.json" and "artifacts.json" in the application-data folder ("Murmora" under the generic
// data location: ~/.local/share/Murmora on Linux, ~/Library/Application Support/Murmora on macOS).
// Every save rewrites the whole file atomically; every failure is silent and leaves the old file in place.
class Store {
public:
    // The standard folder, or another one (tests).
    Store();
    explicit Store(QString folder);

    static QString defaultFolder();
    const QString& folder() const { return folder_; }

    void save(const dovrel::Snapshot& snapshot) const;
    void save(const dovrel::Artifacts& artifacts) const;

    // A missing, unreadable or undecodable file counts as no file. `damaged` tells the last two from a
    // missing one: such a file still holds what the user made, in a form this build cannot read.
    std::optional<dovrel::Snapshot> readSnapshot() const;
    std::optional<dovrel::Artifacts> readArtifacts(bool* damaged = nullptr) const;

    // Moves "artifacts.json" aside as "artifacts.damaged-<date>.json" (with "-2", "-3"… when that name is
    // taken), so the next save does not replace it. The new path, or empty when the move failed.
    QString setAsideArtifacts(QDate date) const;

private:
    QString path(const char* name) const;

    QString folder_;
};

} // namespace murmora
