#include "support/temp_dir.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vocarta::test {

TempDir::TempDir(const std::string& prefix) {
    const char* base = std::getenv("TMPDIR");
    std::string tmpl = std::string(base && *base ? base : "/tmp") + "/" + prefix + "-XXXXXX";
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed: " + tmpl);
    path_ = tmpl;
}

TempDir::~TempDir() {
    RemoveTree(path_);
}

void RemoveTree(const std::string& path) {
    std::error_code ignored;  // symbolic links are removed, never followed
    std::filesystem::remove_all(path, ignored);
}

bool WriteFile(const std::string& path, const std::string& contents) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << contents;
    return bool(out);
}

std::string ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

}  // namespace vocarta::test
