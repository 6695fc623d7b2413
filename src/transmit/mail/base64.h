#pragma once
// Base64 (RFC 4648 alphabet, with padding) for AUTH LOGIN and attachments.
//
// Threading: pure functions.

#include <cstddef>
#include <string>
#include <string_view>

namespace vocarta {

// Appends the encoding of `length` bytes to `out`.
void AppendBase64(std::string& out, const unsigned char* bytes, std::size_t length);
std::string Base64(std::string_view bytes);

// The encoding of `bytes` in lines of at most 76 characters, each followed by
// `lineEnd`.
std::string Base64Lines(std::string_view bytes, std::string_view lineEnd);

}  // namespace vocarta
