#pragma once
// Whether a text is an e-mail address, or a list of them, as the Transmit page
// and the "Email Settings" window accept them.
//
// Threading: pure functions.

#include <string_view>

namespace vocarta {

// local@domain: a dot-separated local part of letters, digits, bytes of UTF-8
// and !#$%&'*+/=?^_`{|}~-, and a domain of letter-digit-hyphen labels (no dot
// needed) or a [literal] of hex digits, dots and colons.
bool IsValidEmailAddress(std::string_view address);
// A list of addresses split at blanks, tabs and commas, each well formed, at
// least one.
bool IsValidEmailList(std::string_view list);

}  // namespace vocarta
