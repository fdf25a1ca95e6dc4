#pragma once

#include <QStringList>
#include <iosfwd>

namespace murmora {

// The headless entry: runs one command on the same AppState as the window and returns the exit code.
// Needs a QCoreApplication (or QGuiApplication) to exist.
int runCommandLine(const QStringList& arguments, std::ostream& out, std::ostream& err);

} // namespace murmora
