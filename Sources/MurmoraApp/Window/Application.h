#pragma once

namespace murmora {

// The window application: one state, one window. With `--self-test` it loads the window on the current home,
// waits until it shows the learned data and exits 0, or exits 1 and says why.
int runApplication(int argc, char* argv[]);

} // namespace murmora
