// Library-level load state.
#pragma once

namespace kel {

// How many times the library is attached to the process (1 while loaded).
int process_attaches();

}  // namespace kel
