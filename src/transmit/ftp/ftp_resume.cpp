#include "transmit/ftp/ftp_resume.h"

#include <sys/stat.h>

#include <ctime>

#include "toolkit/lfile.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"
#include "transmit/ftp/ftp_reply.h"

namespace vocarta {

namespace {

constexpr std::size_t kMaxEntries = 100;
constexpr int64_t kMaxAgeSeconds = 30 * 24 * 3600;
constexpr int kLockWaitMs = 5000;
constexpr std::size_t kFieldCount = 8;

std::vector<std::string> SplitFields(std::string_view line) {
    std::vector<std::string> fields(1);
    for (std::size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '\t') {
            fields.emplace_back();
        } else if (c == '\\' && i + 1 < line.size()) {
            const char n = line[++i];
            fields.back() += n == 't' ? '\t' : n == 'n' ? '\n' : n == 'r' ? '\r' : n;
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

// Held while the list is read and replaced, so two senders never lose each
// other's entries.
class ListLock {
  public:
    explicit ListLock(const std::string& path) {
        MakeDirs(DirName(path));
        if (file_.Open(path + ".lock", LFile::Mode::OpenOrCreate, 0600))
            file_.LockWait(LFile::LockKind::Exclusive, kLockWaitMs);
    }

  private:
    LFile file_;
};

}  // namespace

LResult<FtpResumeKey> MakeFtpResumeKey(const std::string& server, const std::string& user,
                                       const std::string& directory, const std::string& remoteName,
                                       const std::string& localPath) {
    struct stat info {};
    if (stat(localPath.c_str(), &info) != 0)
        return MakeError(LErrorCode::kIo, "cannot read \"%s\"", localPath.c_str());
    FtpResumeKey key{server, user, directory, remoteName, localPath, info.st_size, 0};
    key.localTimeNs = int64_t(info.st_mtim.tv_sec) * 1000000000 + info.st_mtim.tv_nsec;
    return key;
}

FtpResumeStore::FtpResumeStore(std::string path) : path_(std::move(path)) {}

std::string FtpResumeStore::DefaultPath() {
    return JoinPath(AppDataDir(), "ftp-resume.lst");
}

std::vector<FtpResumeStore::Entry> FtpResumeStore::Load() const {
    std::vector<Entry> entries;
    std::string text;
    if (!LFile::ReadAll(path_, text)) return entries;
    std::size_t start = 0;
    while (start < text.size() && entries.size() < kMaxEntries * 2) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        const std::vector<std::string> f =
            SplitFields(std::string_view(text).substr(start, end - start));
        start = end + 1;
        if (f.size() != kFieldCount) continue;
        auto noted = ParseDecimal(f[0]);
        auto size = ParseDecimal(f[6]);
        auto timeNs = ParseDecimal(f[7]);
        if (!noted || !size || !timeNs) continue;
        entries.push_back({*noted, {f[1], f[2], f[3], f[4], f[5], *size, *timeNs}});
    }
    return entries;
}

LStatus FtpResumeStore::Save(const std::vector<Entry>& entries) const {
    const int64_t now = int64_t(std::time(nullptr));
    std::vector<const Entry*> kept;
    for (const Entry& e : entries)
        if (now - e.noted <= kMaxAgeSeconds) kept.push_back(&e);
    if (kept.size() > kMaxEntries) kept.erase(kept.begin(), kept.end() - kMaxEntries);
    std::string text;
    for (const Entry* e : kept) {
        const FtpResumeKey& k = e->key;
        text += std::to_string(e->noted) + '\t' + EscapeRecordField(k.server) + '\t' +
                EscapeRecordField(k.user) + '\t' + EscapeRecordField(k.directory) + '\t' +
                EscapeRecordField(k.remoteName) + '\t' + EscapeRecordField(k.localPath) + '\t' +
                std::to_string(k.localSize) + '\t' + std::to_string(k.localTimeNs) + '\n';
    }
    if (!MakeDirs(DirName(path_)) || !LFile::WriteAtomically(path_, text, 0600))
        return MakeError(LErrorCode::kIo, "cannot write %s", path_.c_str());
    return {};
}

bool FtpResumeStore::Has(const FtpResumeKey& key) const {
    for (const Entry& e : Load())
        if (e.key == key) return true;
    return false;
}

LStatus FtpResumeStore::Remember(const FtpResumeKey& key) {
    ListLock lock(path_);
    std::vector<Entry> entries = Load();
    std::erase_if(entries, [&](const Entry& e) { return e.key == key; });
    entries.push_back({int64_t(std::time(nullptr)), key});
    return Save(entries);
}

LStatus FtpResumeStore::Forget(const FtpResumeKey& key) {
    ListLock lock(path_);
    std::vector<Entry> entries = Load();
    const std::size_t before = entries.size();
    std::erase_if(entries, [&](const Entry& e) { return e.key == key; });
    if (entries.size() == before) return {};
    return Save(entries);
}

std::vector<FtpResumeKey> FtpResumeStore::Entries() const {
    std::vector<FtpResumeKey> keys;
    for (const Entry& e : Load()) keys.push_back(e.key);
    return keys;
}

}  // namespace vocarta
