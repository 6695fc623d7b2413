#include "transmit/command_template.h"

namespace vocarta {

namespace {

// "%s" -> path, "%%" -> "%"; any other "%" stays as it is.
std::string Substitute(std::string_view word, std::string_view path) {
    std::string out;
    for (std::size_t i = 0; i < word.size(); ++i) {
        if (word[i] == '%' && i + 1 < word.size() && (word[i + 1] == 's' || word[i + 1] == '%')) {
            if (word[++i] == 's')
                out += path;
            else
                out += '%';
        } else {
            out += word[i];
        }
    }
    return out;
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

}  // namespace

LResult<std::vector<std::string>> BuildCommandArguments(std::string_view text,
                                                        std::string_view path) {
    std::vector<std::string> args;
    std::string word;
    bool inWord = false;
    std::size_t i = 0;
    while (i < text.size()) {
        const char c = text[i];
        if (IsBlank(c)) {
            if (inWord) args.push_back(Substitute(word, path));
            word.clear();
            inWord = false;
            ++i;
            continue;
        }
        inWord = true;
        if (c == '\'') {
            const std::size_t end = text.find('\'', i + 1);
            if (end == std::string_view::npos)
                return MakeError(LErrorCode::kInvalid, "the command has an unclosed ' quote");
            word.append(text.substr(i + 1, end - i - 1));
            i = end + 1;
        } else if (c == '"') {
            ++i;
            while (i < text.size() && text[i] != '"') {
                if (text[i] == '\\' && i + 1 < text.size() &&
                    (text[i + 1] == '"' || text[i + 1] == '\\'))
                    ++i;
                word += text[i++];
            }
            if (i == text.size())
                return MakeError(LErrorCode::kInvalid, "the command has an unclosed \" quote");
            ++i;
        } else if (c == '\\' && i + 1 < text.size()) {
            word += text[i + 1];
            i += 2;
        } else {
            word += c;
            ++i;
        }
    }
    if (inWord) args.push_back(Substitute(word, path));
    if (args.empty() || args.front().empty())
        return MakeError(LErrorCode::kInvalid, "the command names no program");
    return args;
}

std::string RunTemplateForProgram(std::string_view program) {
    std::string out = "\"";
    for (char c : program) {
        if (c == '"' || c == '\\') out += '\\';
        if (c == '%') out += '%';
        out += c;
    }
    out += "\" \"%s\"";
    return out;
}

}  // namespace vocarta
