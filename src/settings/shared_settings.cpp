// SharedSettings.xml is shared by every user of the machine, so it is written in
// place under an advisory lock rather than replaced by rename: in the sticky
// shared folder only a file's owner may rename over it.

#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <pugixml.hpp>
#include <sstream>

#include "settings/settings.h"
#include "toolkit/lfile.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr int kSharedLockLimitMs = 10000;

bool IsXmlName(std::string_view name) {
    if (name.empty()) return false;
    auto start = [](unsigned char c) { return std::isalpha(c) || c == '_' || c >= 0x80; };
    if (!start(uint8_t(name[0]))) return false;
    for (char ch : name) {
        unsigned char c = uint8_t(ch);
        if (!(start(c) || std::isdigit(c) || c == '-' || c == '.')) return false;
    }
    return true;
}

bool LoadLocked(LFile& file, pugi::xml_document& doc) {
    std::string text;
    int64_t size = file.GetFileSizeBytes64();
    if (size < 0) return false;
    text.resize(size_t(size));
    if (size > 0 && file.ReadAt(0, text.data(), size) != size) return false;
    if (text.empty()) return true;
    pugi::xml_parse_result result = doc.load_string(text.c_str());
    if (!result) {
        // pugixml keeps what it parsed before the fault; those values stay usable
        // and are written back by the next change.
        LogError("SharedSettings: %s is damaged at byte %lld (%s); keeping what precedes it",
                 file.Path().c_str(), (long long)result.offset, result.description());
    }
    return true;
}

bool OpenShared(LFile& file, bool forWriting) {
    // The shared folder is writable by every user: never follow a link planted there.
    std::string path = SharedSettingsPath();
    if (!forWriting) return file.Open(path, LFile::Mode::Read, 0, true);
    if (!MakeDirs(SharedDir())) {
        LogError("SetSharedSetting mkdir FAILED: %s", SharedDir().c_str());
        return false;
    }
    if (!file.Open(path, LFile::Mode::OpenOrCreate, 0666, true)) return false;
    // Other users must be able to write it too, whatever our umask is.
    struct stat st;
    if (fstat(file.Descriptor(), &st) == 0 && st.st_uid == geteuid() &&
        (st.st_mode & 0777) != 0666 && fchmod(file.Descriptor(), 0666) != 0)
        LogSystemFailure("SetSharedSetting", "fchmod");
    return true;
}

// New contents go over the old from offset 0 before the tail is cut, so a crash
// part-way leaves the old length rather than an empty file.
bool WriteInPlace(LFile& file, const pugi::xml_document& doc) {
    std::ostringstream text;
    doc.save(text, "  ");
    std::string data = text.str();
    return file.WriteAt(0, data.data(), int64_t(data.size())) == int64_t(data.size()) &&
           file.Truncate(int64_t(data.size())) && file.Sync();
}

}  // namespace

std::string SharedSettingsPath() {
    return JoinPath(SharedDir(), "SharedSettings.xml");
}

bool GetSharedSetting(std::string_view section, std::string_view key, std::string_view def,
                      std::string& out) {
    out = CutText(def);
    if (!IsXmlName(section) || !IsXmlName(key)) return false;
    LFile file;
    if (!OpenShared(file, false)) return false;
    // A writer stuck for this long must not stop the reader; read what is there.
    if (!file.LockWait(LFile::LockKind::Shared, kSharedLockLimitMs))
        LogError("GetSharedSetting flock FAILED: %s: still locked after %d ms", file.Path().c_str(),
                 kSharedLockLimitMs);
    pugi::xml_document doc;
    if (!LoadLocked(file, doc)) return false;
    pugi::xml_node node =
        doc.document_element().child(std::string(section).c_str()).child(std::string(key).c_str());
    pugi::xml_attribute value = node.attribute("value");
    if (!value) return false;
    out = CutText(value.value());
    return true;
}

bool SetSharedSetting(std::string_view section, std::string_view key, std::string_view value) {
    if (!IsXmlName(section) || !IsXmlName(key)) {
        LogError("SetSharedSetting: \"%.*s/%.*s\" is not a valid XML name", int(section.size()),
                 section.data(), int(key.size()), key.data());
        return false;
    }
    LFile file;
    if (!OpenShared(file, true)) return false;
    if (!file.LockWait(LFile::LockKind::Exclusive, kSharedLockLimitMs)) {
        LogError("SetSharedSetting flock FAILED: %s: still locked after %d ms", file.Path().c_str(),
                 kSharedLockLimitMs);
        return false;
    }
    pugi::xml_document doc;
    if (!LoadLocked(file, doc)) return false;
    pugi::xml_node root = doc.document_element();
    if (!root) root = doc.append_child("SharedSettings");
    std::string sectionName(section), keyName(key), text(value);
    pugi::xml_node sectionNode = root.child(sectionName.c_str());
    if (!sectionNode) sectionNode = root.append_child(sectionName.c_str());
    pugi::xml_node keyNode = sectionNode.child(keyName.c_str());
    if (!keyNode) keyNode = sectionNode.append_child(keyName.c_str());
    pugi::xml_attribute attr = keyNode.attribute("value");
    if (attr && text == attr.value()) return true;  // nothing to change
    if (!attr) attr = keyNode.append_attribute("value");
    attr.set_value(text.c_str());
    return WriteInPlace(file, doc);
}

}  // namespace vocarta
