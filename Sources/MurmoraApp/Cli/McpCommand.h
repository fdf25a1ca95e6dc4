#pragma once

#include "Cli/Arguments.h"

#include <iosfwd>

namespace murmora {

// `murmora-cli mcp`: serves the coach's tools to a Model Context Protocol client on standard input and
// output until the input ends. Returns the exit code.
int mcpCommand(const cli::Invocation& invocation, std::ostream& out, std::ostream& err);

} // namespace murmora
