#include "State/Store.h"

#include "Foundation/Json.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>
#include <QStandardPaths>

namespace murmora {
namespace {

constexpr const char* snapshotFile = "snapshot.json";
constexpr const char* artifactsFile = "artifacts.json";

template <class Record> void write(const QString& path, const Record& record) {
    std::string bytes;
    try {
        bytes = nlohmann::json(record).dump();
    } catch (const nlohmann::json::exception&) {
        return; // cannot encode (e.g. text that is not UTF-8): nothing is written
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        return;
    }
    if (file.write(bytes.data(), static_cast<qint64>(bytes.size())) != static_cast<qint64>(bytes.size())) {
        file.cancelWriting();
        return;
    }
    file.commit();
}

template <class Record> std::optional<Record> read(const QString& path, bool* damaged = nullptr) {
    QFile file(path);
    if (damaged != nullptr) {
        *damaged = file.exists();
    }
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QByteArray bytes = file.readAll();
    try {
        const nlohmann::json document =
            nlohmann::json::parse(bytes.constData(), bytes.constData() + bytes.size());
        Record record;
        from_json(document, record);
        if (damaged != nullptr) {
            *damaged = false;
        }
        return record;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    } catch (const dovrel::json::DecodeError&) {
        return std::nullopt;
    }
}

} // namespace

Store::Store()
    : Store(defaultFolder()) {}

Store::Store(QString folder)
    : folder_(std::move(folder)) {}

QString Store::defaultFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + QStringLiteral("/Murmora");
}

QString Store::path(const char* name) const {
    // Made each time a path is needed; if that fails, the write that follows fails by itself.
    QDir().mkpath(folder_);
    return folder_ + QLatin1Char('/') + QLatin1String(name);
}

void Store::save(const dovrel::Snapshot& snapshot) const {
    write(path(snapshotFile), snapshot);
}

void Store::save(const dovrel::Artifacts& artifacts) const {
    write(path(artifactsFile), artifacts);
}

std::optional<dovrel::Snapshot> Store::readSnapshot() const {
    return read<dovrel::Snapshot>(folder_ + QLatin1Char('/') + QLatin1String(snapshotFile));
}

std::optional<dovrel::Artifacts> Store::readArtifacts(bool* damaged) const {
    return read<dovrel::Artifacts>(folder_ + QLatin1Char('/') + QLatin1String(artifactsFile), damaged);
}

QString Store::setAsideArtifacts(QDate date) const {
    const QString base = folder_ + QStringLiteral("/artifacts.damaged-") + date.toString(Qt::ISODate);
    QString target = base + QStringLiteral(".json");
    for (int n = 2; QFile::exists(target); ++n) {
        target = base + QLatin1Char('-') + QString::number(n) + QStringLiteral(".json");
    }
    return QFile::rename(folder_ + QLatin1Char('/') + QLatin1String(artifactsFile), target) ? target
                                                                                            : QString();
}

} // namespace murmora
