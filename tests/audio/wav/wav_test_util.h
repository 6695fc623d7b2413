#pragma once
// Helpers shared by the WAV tests: hex comparison of header bytes, tones, and
// running the independent command-line tools (sox, soxi) with an argument vector.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "audio/sound_format.h"
#include "audio/wav/wav_sink.h"
#include "support/temp_dir.h"

namespace vocarta::test {

// "52494646 3a000000" -> bytes (blanks ignored).
inline std::string FromHex(const std::string& hex) {
    std::string out, digits;
    for (char c : hex)
        if (c != ' ') digits += c;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        out += char(std::stoi(digits.substr(i, 2), nullptr, 16));
    return out;
}

inline std::string ToHex(const std::string& bytes) {
    static const char* kDigits = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i > 0 && i % 4 == 0) out += ' ';
        out += kDigits[uint8_t(bytes[i]) >> 4];
        out += kDigits[uint8_t(bytes[i]) & 15];
    }
    return out;
}

inline std::vector<float> Tone(uint64_t frames, unsigned channels, double hz, double amplitude,
                               double rate) {
    std::vector<float> v(frames * channels);
    for (uint64_t f = 0; f < frames; ++f)
        for (unsigned c = 0; c < channels; ++c)
            v[f * channels + c] = float(amplitude * std::sin(2 * M_PI * hz * double(f) / rate));
    return v;
}

inline LSoundFormat Format(uint16_t tag, uint32_t rate, uint16_t channels, uint16_t bits) {
    LSoundFormat f(rate, uint8_t(channels), bits);
    f.formatTag = tag;
    return f;
}

struct CommandResult {
    int status = -1;  // exit status; 127 when the program could not be started
    std::string out;  // standard output and standard error together
};

// Runs argv[0] from PATH with the arguments as they are (no shell).
inline CommandResult RunCommand(const std::vector<std::string>& argv) {
    CommandResult result;
    int fds[2];
    if (pipe(fds) != 0) return result;
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[1], 1);
        dup2(fds[1], 2);
        close(fds[0]);
        close(fds[1]);
        std::vector<char*> args;
        for (const auto& a : argv) args.push_back(const_cast<char*>(a.c_str()));
        args.push_back(nullptr);
        execvp(args[0], args.data());
        _exit(127);
    }
    close(fds[1]);
    char buf[4096];
    ssize_t n;
    while ((n = read(fds[0], buf, sizeof buf)) > 0) result.out.append(buf, size_t(n));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// Runs a tool the test needs; a missing tool fails the test loudly.
inline std::string Tool(const std::vector<std::string>& argv) {
    CommandResult r = RunCommand(argv);
    EXPECT_NE(r.status, 127) << argv[0] << " is not installed (scripts/install-deps.sh --with-tests)";
    EXPECT_EQ(r.status, 0) << argv[0] << " failed: " << r.out;
    return r.out;
}

}  // namespace vocarta::test
