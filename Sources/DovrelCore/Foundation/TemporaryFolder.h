#pragma once

#include <filesystem>

namespace dovrel {

// The user's temporary folder: TMPDIR when it names a folder, else the system's default ("/tmp"). An empty or
// stale TMPDIR is not an error. The name is taken as the bytes the environment holds, whatever their
// encoding.
std::filesystem::path temporaryFolder();

} // namespace dovrel
