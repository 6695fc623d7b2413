#pragma once
// The input device list as `vocarta -devices` prints it: each device under its
// display name with its channels, and the text to store in "RecordDevice" to
// choose it. Asks the sound server directly; a running copy of the program is
// neither needed nor contacted.

#include <cstdio>

namespace vocarta {

// Returns the exit status: 0 when the list was printed (even when empty), 1 with
// a message on `out` when no sound server answered.
int PrintInputDeviceList(FILE* out);

}  // namespace vocarta
