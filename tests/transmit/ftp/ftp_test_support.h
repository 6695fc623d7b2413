#pragma once
// Servers for the FTP tests, started by the tests on loopback: the scripted
// reply server (tests/support/ftp_script_server.py), pyftpdlib (plain,
// explicit and implicit TLS) and vsftpd with TLS and session reuse required;
// plus files to upload and the transcript a server printed.

#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "support/net_servers.h"
#include "support/temp_dir.h"
#include "toolkit/process_helpers.h"
#include "transmit/ftp/ftp_session.h"

namespace vocarta::test {

inline std::string SupportScript(const std::string& name) {
    return std::string(VOCARTA_SOURCE_DIR) + "/tests/support/" + name;
}

// The lines a server printed that begin with `prefix`, without it.
inline std::vector<std::string> PrintedLines(const ServerProcess& server,
                                             const std::string& prefix = "CMD ") {
    std::vector<std::string> lines;
    const std::string text = server.Output();
    for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1)
        if (text.compare(at, prefix.size(), prefix) == 0)
            lines.push_back(text.substr(at + prefix.size(), end - at - prefix.size()));
    return lines;
}

// The commands joined by "|", for comparing a whole transcript at once.
inline std::string Transcript(const ServerProcess& server) {
    std::string joined;
    for (const std::string& line : PrintedLines(server))
        joined += (joined.empty() ? "" : "|") + line;
    return joined;
}

// `size` random bytes in `path`.
inline bool WriteRandomFile(const std::string& path, std::size_t size, unsigned seed = 7) {
    std::mt19937 random(seed);
    std::string bytes(size, '\0');
    for (char& c : bytes) c = char(random());
    return WriteFile(path, bytes);
}

// A real recording: a stereo WAV made by sox.
inline bool MakeWavFile(const std::string& path, double seconds) {
    return RunProgram({"sox", "-q", "-n", "-r", "44100", "-c", "2", "-b", "16", path, "synth",
                       std::to_string(seconds), "sine", "440", "sine", "660"}) == 0;
}

// The scripted server with `scriptJson`; its uploads also land in `Dump()`.
class ScriptServer {
  public:
    bool Start(const std::string& scriptJson, std::string* error) {
        std::string script = scriptJson;
        const std::string dump = "\"dump_dir\": \"" + folder_.Path() + "\"";
        script.insert(script.find('{') + 1,
                      dump + (script.find(':') == std::string::npos ? "" : ","));
        WriteFile(folder_.File("script.json"), script);
        return server_.Start({"/usr/bin/python3", SupportScript("ftp_script_server.py"),
                              folder_.File("script.json")},
                             error);
    }
    std::string Address() const { return "127.0.0.1:" + std::to_string(server_.Port()); }
    const ServerProcess& Process() const { return server_; }
    std::string Transcript() const { return test::Transcript(server_); }
    // What the client stored as `name`.
    std::string Stored(const std::string& name) const { return ReadFile(folder_.File(name)); }

  private:
    TempDir folder_{"vocarta-ftp-script"};
    ServerProcess server_;
};

}  // namespace vocarta::test
