#include "transmit/ftp/ftp_session.h"

#include "toolkit/log.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
// QUIT on the way out is a courtesy; a server that does not answer soon is left.
constexpr int kQuitReplyTimeoutMs = 2000;
constexpr std::size_t kDataChunk = 65536;
}  // namespace

const char* FtpStateName(FtpState state) {
    switch (state) {
        case FtpState::kClosed:
            return "closed";
        case FtpState::kConnecting:
            return "connecting";
        case FtpState::kGreeting:
            return "greeting";
        case FtpState::kAuthTls:
            return "AUTH TLS";
        case FtpState::kUser:
            return "USER";
        case FtpState::kPass:
            return "PASS";
        case FtpState::kReady:
            return "logged in";
    }
    return "?";
}

FtpSession::FtpSession(FtpObserver observer)
    : observer_(std::move(observer)), control_(observer_.stop) {}

FtpSession::~FtpSession() {
    Close();
}

void FtpSession::Status(const std::string& text) const {
    if (observer_.status) observer_.status(text);
}

void FtpSession::Progress(double fraction) const {
    if (observer_.progress) observer_.progress(fraction);
}

void FtpSession::Log(const std::string& text) const {
    if (observer_.log)
        observer_.log(text);
    else
        LogError("%s", text.c_str());
}

void FtpSession::Go(FtpState next) {
    state_ = next;
}

LError FtpSession::Refused(const FtpReply& reply, const char* what) const {
    return MakeError(
        LErrorCode::kProtocol, "the FTP server refused %s: %s", what,
        CutText(reply.lines.empty() ? std::string() : reply.lines.front(), 200).c_str());
}

LResult<FtpReply> FtpSession::Command(std::string_view verb, std::string_view argument,
                                      int replyTimeoutMs) {
    const std::size_t length = verb.size() + 1 + argument.size() + 2;
    return control_.Exchange(verb, argument, FtpCommandTimeoutMs(std::string(length, ' ')),
                             replyTimeoutMs);
}

LStatus FtpSession::Connect(const FtpLogin& login) {
    Close();
    login_ = login;
    features_ = FtpFeatures();
    featuresAsked_ = false;
    Go(FtpState::kConnecting);
    return RunLogin();
}

LStatus FtpSession::RunLogin() {
    while (state_ != FtpState::kReady) {
        LResult<FtpState> next = [this]() -> LResult<FtpState> {
            switch (state_) {
                case FtpState::kConnecting:
                    return OnConnecting();
                case FtpState::kGreeting:
                    return OnGreeting();
                case FtpState::kAuthTls:
                    return OnAuthTls();
                case FtpState::kUser:
                    return OnUser();
                case FtpState::kPass:
                    return OnPass();
                case FtpState::kClosed:
                case FtpState::kReady:
                    break;
            }
            return LError(LErrorCode::kInvalid, "the FTP session is not logging in");
        }();
        if (!next) {
            control_.Close(kFtpCloseWaitMs);
            Go(FtpState::kClosed);
            return next.Error();
        }
        Go(next.Value());
    }
    return {};
}

LResult<FtpState> FtpSession::OnConnecting() {
    const bool implicit = login_.tls == FtpTlsMode::kImplicit;
    if (LStatus opened = control_.Open(login_.server, implicit ? kFtpImplicitTlsPort : kFtpPort,
                                       kFtpConnectTimeoutMs);
        !opened)
        return opened.Error();
    if (implicit) {
        if (LStatus secured = control_.StartTls(kFtpControlTlsTimeoutMs); !secured)
            return secured.Error();
    }
    return FtpState::kGreeting;
}

LResult<FtpState> FtpSession::OnGreeting() {
    auto greeting = control_.Read(kFtpReplyTimeoutMs);
    if (!greeting) return greeting.Error();
    if (!greeting.Value().Positive()) return Refused(greeting.Value(), "the connection");
    const bool explicitTls =
        login_.tls == FtpTlsMode::kExplicitIfOffered || login_.tls == FtpTlsMode::kExplicitRequired;
    return explicitTls ? FtpState::kAuthTls : FtpState::kUser;
}

LResult<FtpState> FtpSession::OnAuthTls() {
    auto reply = control_.Exchange("AUTH", "TLS", kFtpShortCommandTimeoutMs);
    if (!reply) return reply.Error();
    if (reply.Value().code == 234) {
        if (LStatus secured = control_.StartTls(kFtpControlTlsTimeoutMs); !secured)
            return secured.Error();
        return FtpState::kUser;
    }
    // A server without TLS is used in clear unless TLS was required, in which
    // case the password never leaves.
    if (login_.tls == FtpTlsMode::kExplicitRequired)
        return MakeError(LErrorCode::kTls,
                         "the FTP server does not offer TLS, which is required (AUTH TLS: %s)",
                         CutText(reply.Value().lines.front(), 200).c_str());
    return FtpState::kUser;
}

LResult<FtpState> FtpSession::OnUser() {
    auto reply = control_.Exchange("USER", login_.user, kFtpShortCommandTimeoutMs);
    if (!reply) return reply.Error();
    if (reply.Value().code == 230) return FtpState::kReady;
    if (reply.Value().code == 530) return Refused(reply.Value(), "the user name");
    return FtpState::kPass;
}

LResult<FtpState> FtpSession::OnPass() {
    auto reply = control_.Exchange("PASS", login_.password, kFtpShortCommandTimeoutMs);
    if (!reply) return reply.Error();
    if (!reply.Value().Positive()) return Refused(reply.Value(), "the log-in");
    return FtpState::kReady;
}

const FtpFeatures& FtpSession::QueryFeatures() {
    if (featuresAsked_) return features_;
    featuresAsked_ = true;
    auto reply = Command("FEAT", "");
    if (reply && reply.Value().Positive()) {
        features_ = ParseFeatures(reply.Value().lines);
    } else {
        features_ = FtpFeatures();
        features_.size = true;
    }
    return features_;
}

LStatus FtpSession::ChangeDirectory(const std::string& dir) {
    auto reply = Command("CWD", dir);
    if (!reply) return reply.Error();
    if (!reply.Value().Positive()) return Refused(reply.Value(), "to change the folder");
    return {};
}

LResult<std::string> FtpSession::PrintDirectory() {
    auto reply = Command("PWD", "");
    if (!reply) return reply.Error();
    if (!reply.Value().Positive()) return Refused(reply.Value(), "PWD");
    auto path = ParsePwdReply(reply.Value().Text());
    if (!path)
        return MakeError(LErrorCode::kProtocol, "the FTP server's PWD reply holds no path: %s",
                         CutText(reply.Value().lines.front(), 200).c_str());
    return *path;
}

LStatus FtpSession::Delete(const std::string& name) {
    auto reply = Command("DELE", name);
    if (!reply) return reply.Error();
    if (!reply.Value().Positive()) return Refused(reply.Value(), "to delete the file");
    return {};
}

LResult<int64_t> FtpSession::RemoteSize(const std::string& name) {
    const FtpFeatures& features = QueryFeatures();
    auto absent = [&] {
        return MakeError(LErrorCode::kNotFound, "the FTP server has no file \"%s\"",
                         CutText(name, 200).c_str());
    };
    if (features.mlst) {
        auto reply = Command("MLST", name);
        if (!reply) return reply.Error();
        if (reply.Value().lines.front().rfind("550 ", 0) == 0) return absent();
        if (!reply.Value().Positive()) return Refused(reply.Value(), "MLST");
        if (auto size = ParseMlstSize(reply.Value())) return *size;
        return MakeError(LErrorCode::kProtocol, "the FTP server's MLST reply gives no size");
    }
    if (features.size) {
        auto type = Command("TYPE", "I");
        if (!type) return type.Error();
        auto reply = Command("SIZE", name);
        if (!reply) return reply.Error();
        if (reply.Value().code == 550) return absent();
        if (auto size = ParseSizeReply(reply.Value())) return *size;
        return Refused(reply.Value(), "SIZE");
    }
    return SizeFromListing(name);
}

LResult<int64_t> FtpSession::SizeFromListing(const std::string& name) {
    auto entries = List(name);
    if (!entries) {
        if (entries.Error().Code() == LErrorCode::kProtocol &&
            (LastReply().code == 450 || LastReply().code == 550))
            return MakeError(LErrorCode::kNotFound, "the FTP server has no file \"%s\"",
                             CutText(name, 200).c_str());
        return entries.Error();
    }
    const std::string base = BaseName(name);
    for (const FtpListEntry& entry : entries.Value())
        if (entry.name == base && entry.size >= 0) return entry.size;
    // Some servers list a file under its full path, which is never returned as a
    // name; a listing of that one file then holds a single entry.
    if (entries.Value().size() == 1 && entries.Value().front().size >= 0)
        return entries.Value().front().size;
    return MakeError(LErrorCode::kNotFound, "the FTP server has no file \"%s\"",
                     CutText(name, 200).c_str());
}

LResult<SecureSocket> FtpSession::OpenPassive() {
    passiveFailed_ = true;
    auto reply = control_.Exchange("PASV", "", kFtpShortCommandTimeoutMs);
    if (!reply) return reply.Error();
    if (reply.Value().code != 227) return Refused(reply.Value(), "passive mode (PASV)");
    auto numbers = ParsePassiveReply(reply.Value().Text());
    if (!numbers)
        return MakeError(LErrorCode::kProtocol,
                         "the FTP server's passive reply holds no address: %s",
                         CutText(reply.Value().lines.front(), 200).c_str());
    const unsigned long port = numbers->Port();
    if (port == 0 || port > 65535)
        return MakeError(LErrorCode::kProtocol, "the FTP server gave the passive port %lu", port);
    // Data goes only to the server the control connection reached.
    SocketAddress address = control_.Socket().PeerAddress();
    address.SetPort(uint16_t(port));
    SecureSocket data(observer_.stop);
    if (LStatus connected = data.Connect(address, kFtpDataConnectTimeoutMs); !connected)
        return connected.Error().Within("the passive data connection");
    data.SetPeerHostName(control_.Socket().PeerHostName());
    passiveFailed_ = false;
    return data;
}

LStatus FtpSession::ProtectDataConnections() {
    if (!control_.IsTls()) return {};
    auto pbsz = control_.Exchange("PBSZ", "0", kFtpShortCommandTimeoutMs);
    if (!pbsz) return pbsz.Error();
    if (!pbsz.Value().Positive()) return Refused(pbsz.Value(), "PBSZ 0");
    auto prot = control_.Exchange("PROT", "P", kFtpShortCommandTimeoutMs);
    if (!prot) return prot.Error();
    if (!prot.Value().Positive()) {
        if (prot.Value().code == 534) Log(kFtpProtRefusedText);
        return Refused(prot.Value(), "protected data connections (PROT P)");
    }
    return {};
}

LStatus FtpSession::SecureData(SecureSocket& data) {
    if (!control_.IsTls()) return {};
    data.SetPeerHostName(control_.Socket().PeerHostName());
    if (LStatus secured = data.StartTls(kDataTlsTimeoutMs, &control_.Socket()); !secured)
        return secured.Error().Within("the data connection");
    return {};
}

LResult<std::string> FtpSession::ReadData(SecureSocket& data, std::size_t limit) {
    std::string received;
    std::string chunk(kDataChunk, '\0');
    while (true) {
        auto got = data.Receive(chunk.data(), chunk.size(), kFtpReplyTimeoutMs);
        if (!got) {
            if (data.AtEnd()) return received;
            return got.Error().Within("the data connection");
        }
        if (received.size() + got.Value() > limit)
            return MakeError(LErrorCode::kProtocol, "the FTP server's listing is over %zu bytes",
                             limit);
        received.append(chunk.data(), got.Value());
    }
}

LResult<std::vector<FtpListEntry>> FtpSession::List(const std::string& dir) {
    const FtpFeatures& features = QueryFeatures();
    const bool mlsd = features.mlsd;
    if (features.utf8) {
        // Only asked for; a server that declines still lists.
        auto utf8 = Command("OPTS", "UTF8 ON");
        if (!utf8) return utf8.Error();
    }
    auto type = Command("TYPE", "A");
    if (!type) return type.Error();
    if (!type.Value().Positive()) return Refused(type.Value(), "TYPE A");
    if (LStatus protectedData = ProtectDataConnections(); !protectedData)
        return protectedData.Error();
    auto data = OpenPassive();
    if (!data) return data.Error();
    auto start = Command(mlsd ? "MLSD" : "LIST", dir);
    if (!start) return start.Error();
    if (!start.Value().Preliminary()) return Refused(start.Value(), mlsd ? "MLSD" : "LIST");
    if (LStatus secured = SecureData(data.Value()); !secured) return secured.Error();
    auto listing = ReadData(data.Value(), kFtpListingLimit);
    data.Value().Close(kFtpCloseWaitMs);
    if (!listing) return listing.Error();
    auto done = control_.Read(kFtpReplyTimeoutMs);
    if (!done) return done.Error();
    if (!done.Value().Positive()) return Refused(done.Value(), mlsd ? "MLSD" : "LIST");
    return ParseListing(listing.Value(), mlsd);
}

void FtpSession::Close() {
    if (state_ == FtpState::kReady && control_.IsOpen() && !observer_.stop.Requested()) {
        if (control_.Send("QUIT", "", kFtpShortCommandTimeoutMs))
            (void)control_.Read(kQuitReplyTimeoutMs);
    }
    control_.Close(kFtpCloseWaitMs);
    Go(FtpState::kClosed);
}

}  // namespace vocarta
