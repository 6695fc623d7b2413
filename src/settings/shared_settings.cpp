// SharedSettings.xml is shared by every user of the machine, so it is written in
// place under an advisory lock rather than replaced by rename: in the sticky
// shared folder only a file's owner may rename over it.

#include <pugixml.hpp>
#include <sys/stat.h>

#include <cctype>
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
        LogError("SharedSettings: %s is not valid XML (%s); starting afresh",
                 file.Path().c_str(), result.description());
        doc.reset();
    }
    return true;
}

}  // namespace

std::string SharedSettingsPath() { return JoinPath(SharedDir(), "SharedSettings.xml"); }

bool GetSharedSetting(std::string_view section, std::string_view key, std::string_view def,
                      std::string& out) {
    out = CutText(def);
    if (!IsXmlName(section) || !IsXmlName(key)) return false;
    LFile file;
    if (!file.Open(SharedSettingsPath(), LFile::Mode::Read)) return false;
    file.LockWait(LFile::LockKind::Shared, kSharedLockLimitMs);
    pugi::xml_document doc;
    if (!LoadLocked(file, doc)) return false;
    pugi::xml_node node = doc.document_element()
                              .child(std::string(section).c_str())
                              .child(std::string(key).c_str());
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
    std::string path = SharedSettingsPath();
    LFile file;
    if (!file.Open(path, LFile::Mode::OpenOrCreate, 0666)) return false;
    // Other users must be able to write it too, whatever our umask is.
    struct stat st;
    if (fstat(file.Descriptor(), &st) == 0 && st.st_uid == geteuid() && (st.st_mode & 0777) != 0666)
        fchmod(file.Descriptor(), 0666);
    file.LockWait(LFile::LockKind::Exclusive, kSharedLockLimitMs);

    pugi::xml_document doc;
    if (!LoadLocked(file, doc)) return false;
    pugi::xml_node root = doc.document_element();
    if (!root) root = doc.append_child("SharedSettings");
    std::string sectionName(section), keyName(key);
    pugi::xml_node sectionNode = root.child(sectionName.c_str());
    if (!sectionNode) sectionNode = root.append_child(sectionName.c_str());
    pugi::xml_node keyNode = sectionNode.child(keyName.c_str());
    if (!keyNode) keyNode = sectionNode.append_child(keyName.c_str());
    pugi::xml_attribute attr = keyNode.attribute("value");
    if (!attr) attr = keyNode.append_attribute("value");
    attr.set_value(std::string(value).c_str());

    std::ostringstream text;
    doc.save(text, "  ");
    std::string data = text.str();
    return file.Truncate(0) && file.WriteAt(0, data.data(), int64_t(data.size())) ==
                                   int64_t(data.size()) &&
           file.Sync();
}

}  // namespace vocarta
