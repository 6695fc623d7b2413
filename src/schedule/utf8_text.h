#pragma once
// Checks on text that goes into files other programs read line by line (unit
// files, desktop entries): whether it is valid UTF-8, and a one-line readable
// form of it.
//
// Threading: any thread.

#include <string>
#include <string_view>

namespace vocarta {

bool IsValidUtf8(std::string_view text);

// `text` with every control byte and every byte of an invalid UTF-8 sequence
// replaced by "?".
std::string PrintableUtf8(std::string_view text);

}  // namespace vocarta
