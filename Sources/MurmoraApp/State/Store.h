#pragma once

#include "Persistence/Artifacts.h"
#include "Persistence/Snapshot.h"

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

    // A missing, unreadable or undecodable file counts as no file.
    std::optional<dovrel::Snapshot> readSnapshot() const;
    std::optional<dovrel::Artifacts> readArtifacts() const;

private:
    QString path(const char* name) const;

    QString folder_;
};

} // namespace murmora
