#pragma once
// The "SendRunExe" command template: a program and its arguments, in which
// "%s" stands for the recording's path, turned into an argument vector. No
// shell ever sees it.
//
// Quoting, as a user of a shell would write it: blanks separate words; "..."
// keeps blanks, with \" and \\ standing for " and \ inside; '...' keeps every
// character as it is; outside quotes a backslash keeps the next character as it
// is. In each word "%s" becomes the path and "%%" a single "%". The path is put
// in after the words are split, so whatever it holds (quotes, blanks, $(...),
// back-quotes, ";", line feeds) reaches the program as part of one argument.
//
// Threading: pure functions; any thread.

#include <string>
#include <string_view>
#include <vector>

#include "toolkit/result.h"

namespace vocarta {

// The argument vector (program first); kInvalid for an empty template or an
// unclosed quote.
LResult<std::vector<std::string>> BuildCommandArguments(std::string_view commandTemplate,
                                                        std::string_view path);

// The template the program chooser stores for `program`: "<program>" "%s",
// with " and \ in the program's path escaped and % doubled, so that it reads
// back as exactly that program.
std::string RunTemplateForProgram(std::string_view program);

}  // namespace vocarta
