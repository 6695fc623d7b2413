// The two POST forms: a form body, and a file as multipart/form-data.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "net/http_client.h"
#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {

constexpr std::size_t kFileBlock = 4096;

// The file name as a form part's filename parameter: a quote or a line break
// would end the parameter or the header, so they are percent-encoded, as web
// browsers do.
std::string QuotedFileName(std::string_view name) {
    std::string out;
    for (char c : name) {
        if (c == '"')
            out += "%22";
        else if (c == '\r')
            out += "%0D";
        else if (c == '\n')
            out += "%0A";
        else
            out += c;
    }
    return out;
}

class FileDescriptor {
  public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0) close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    int Get() const { return fd_; }

  private:
    int fd_;
};

LStatus SendFileBlocks(SecureSocket& socket, const std::string& path, uint64_t size,
                       const HttpOptions& options) {
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() < 0) {
        const int error = errno;
        LogSystemFailure("HttpPostFile", "open", error);
        return MakeError(LErrorCode::kIo, "cannot open %s: %s", path.c_str(), std::strerror(error));
    }
    char block[kFileBlock];
    uint64_t done = 0;
    if (options.onProgress) options.onProgress(0, size);
    while (done < size) {
        const std::size_t want = std::size_t(std::min<uint64_t>(kFileBlock, size - done));
        ssize_t got;
        do {
            got = read(file.Get(), block, want);
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            const int error = errno;
            LogSystemFailure("HttpPostFile", "read", error);
            return MakeError(LErrorCode::kIo, "cannot read %s: %s", path.c_str(),
                             std::strerror(error));
        }
        if (got == 0)
            return MakeError(LErrorCode::kIo, "%s became shorter while it was being sent",
                             path.c_str());
        if (LStatus sent = socket.Send(block, std::size_t(got), options.readTimeoutMs); !sent)
            return sent;
        done += uint64_t(got);
        if (options.onProgress) options.onProgress(done, size);
    }
    return {};
}

}  // namespace

LResult<HttpResponse> HttpPostForm(std::string_view url, std::string_view body,
                                   const HttpOptions& options) {
    HttpRequest request;
    request.method = "POST";
    request.contentType = "application/x-www-form-urlencoded";
    request.contentLength = body.size();
    request.sendBody = [text = std::string(body)](SecureSocket& socket,
                                                  const HttpOptions& options) {
        return socket.Send(text, options.readTimeoutMs);
    };
    return HttpExchange(url, std::move(request), options);
}

LResult<HttpResponse> HttpPostFile(std::string_view url, const std::string& path,
                                   std::string_view contentType, const HttpOptions& options) {
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) {
        const int error = errno;
        return MakeError(error == ENOENT ? LErrorCode::kNotFound : LErrorCode::kIo,
                         "cannot open %s: %s", path.c_str(), std::strerror(error));
    }
    if (!S_ISREG(info.st_mode))
        return MakeError(LErrorCode::kInvalid, "%s is not a file", path.c_str());
    if (contentType.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos)
        return MakeError(LErrorCode::kInvalid, "the content type is not valid");

    const uint64_t size = uint64_t(info.st_size);
    const std::string partHeader = StringPrintf(
        "--%s\r\nContent-Disposition: form-data; name=\"file\"; filename=\"%s\"\r\n"
        "Content-Type: %.*s\r\n\r\n",
        kHttpFileBoundary, QuotedFileName(BaseName(path)).c_str(), int(contentType.size()),
        contentType.data());
    const std::string closing = StringPrintf("\r\n--%s--\r\n", kHttpFileBoundary);

    HttpRequest request;
    request.method = "POST";
    request.contentType = std::string("multipart/form-data; boundary=") + kHttpFileBoundary;
    request.contentLength = partHeader.size() + size + closing.size();
    request.sendBody = [=](SecureSocket& socket, const HttpOptions& options) -> LStatus {
        if (LStatus sent = socket.Send(partHeader, options.readTimeoutMs); !sent) return sent;
        if (LStatus sent = SendFileBlocks(socket, path, size, options); !sent) return sent;
        return socket.Send(closing, options.readTimeoutMs);
    };
    return HttpExchange(url, std::move(request), options);
}

}  // namespace vocarta
