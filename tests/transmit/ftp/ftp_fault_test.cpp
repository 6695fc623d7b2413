// The FTP client against the scripted server: each case is one way a server
// answers (refusals at every step, odd passive replies, replies cut into
// pieces, a server that goes silent, hostile replies) with the result and the
// exact commands the client must (and must not) send.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <sstream>
#include <thread>

#include "ftp_test_support.h"
#include "toolkit/lsignal_object.h"
#include "transmit/ftp/ftp_session.h"
#include "transmit/ftp/ftp_upload.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

enum class Op { kLogin, kUpload, kAppend, kBadName, kList, kSize, kPwd, kDelete };

struct Outcome {
    LStatus status;
    std::string transcript, log, local, stored, errorText;  // local: uploaded, stored: received
    FtpUploadStats stats;
    std::vector<FtpListEntry> entries;
    int64_t size = -1;
    std::string text;       // PWD
    long long stopMs = -1;  // from the stop request to the return
    bool encrypted = false;
};

constexpr LErrorCode kOk{};  // the case succeeds
constexpr std::size_t kKiB = 1024;
using Check = std::function<void(const Outcome&)>;

struct FaultCase {
    const char* name;
    const char* script;
    Op op;
    LErrorCode error;
    const char* sent;     // "|"-separated, in this order (not necessarily adjacent)
    const char* notSent;  // never, as a whole command or its verb
    Check check = {};
    FtpTlsMode tls = FtpTlsMode::kNone;
    std::size_t fileSize = 50 * kKiB;
    int stopAfterMs = 0;
};

std::vector<std::string> Split(const std::string& text) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, '|');) parts.push_back(part);
    return parts;
}

std::string Expand(std::string script) {
    auto replace = [&](const std::string& from, const std::string& to) {
        for (std::size_t at; (at = script.find(from)) != std::string::npos;)
            script.replace(at, from.size(), to);
    };
    replace("$TLS", "\"tls\": {\"cert\": \"" + TestCert("good") + "\", \"key\": \"" +
                        TestKey("good") + "\"}");
    replace("$LONG", std::string(5000, 'x'));
    replace("$PREFIX", std::string(1000, 'A'));
    std::string lines;
    for (int i = 0; i < 1500; ++i) lines += " X\\r\\n";
    replace("$FEATLINES", lines);
    return script;
}

void SameBytes(const std::string& got, const std::string& want) {
    EXPECT_TRUE(got == want) << "stored " << got.size() << " bytes, expected " << want.size();
}
const Check kStoredWhole = [](const Outcome& o) { SameBytes(o.stored, o.local); };
Check StopWithin200Ms() {
    return [](const Outcome& o) { EXPECT_LE(o.stopMs, 200); };
}
Check SizeIs(int64_t size) {
    return [size](const Outcome& o) { EXPECT_EQ(o.size, size); };
}

Outcome RunCase(const FaultCase& c, TempDir& folder) {
    Outcome out;
    ScriptServer server;
    std::string error;
    EXPECT_TRUE(server.Start(Expand(c.script), &error)) << error;
    const std::string local = folder.File("take.wav");
    WriteRandomFile(local, c.fileSize);
    out.local = ReadFile(local);

    LSignalObject stop;
    FtpObserver observer{
        StopFlag::FromSignal(stop), {}, {}, [&](const std::string& t) { out.log += t + "\n"; }};
    FtpSession session(observer);
    session.SetKeepAliveTiming({300, 200, 5000});
    std::chrono::steady_clock::time_point stoppedAt;
    std::thread stopper([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(c.stopAfterMs));
        stoppedAt = std::chrono::steady_clock::now();
        if (c.stopAfterMs > 0) stop.Set();
    });
    auto take = [&](auto result, auto& into) {
        if (result) into = result.Value();
        if (!result) out.status = result.Error();
    };
    out.status = session.Connect({server.Address(), "user", "pw", c.tls});
    out.encrypted = session.IsEncrypted();
    const bool upload = c.op == Op::kUpload || c.op == Op::kAppend || c.op == Op::kBadName;
    if (out.status && upload) {
        FtpUploadStats ignored;
        take(session.Upload(c.op == Op::kBadName ? "take.wav\r\nDELE other.wav" : "take.wav", local,
                            c.op == Op::kAppend, &out.errorText),
             ignored);
        out.stats = session.LastUploadStats();
    }
    if (out.status && c.op == Op::kList) take(session.List(), out.entries);
    if (out.status && c.op == Op::kSize) take(session.RemoteSize("take.wav"), out.size);
    if (out.status && c.op == Op::kPwd) take(session.PrintDirectory(), out.text);
    if (out.status && c.op == Op::kDelete) out.status = session.Delete("nothing.wav");
    out.stopMs = std::chrono::duration_cast<std::chrono::milliseconds>(
                     std::chrono::steady_clock::now() - stoppedAt)
                     .count();
    stopper.join();
    session.Close();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the last lines printed
    out.transcript = server.Transcript();
    out.stored = server.Stored("take.wav");
    return out;
}

const std::vector<FaultCase>& Cases() {
    using E = LErrorCode;
    using T = FtpTlsMode;
    static const std::vector<FaultCase> cases = {
        // Log-in.
        {"greeting 120 is refused", R"({"greeting": "120 Ready in 5 minutes"})", Op::kLogin,
         E::kProtocol, "", "USER"},
        {"greeting 421 is refused", R"({"greeting": "421 Too many users"})", Op::kLogin,
         E::kProtocol, "", "USER"},
        {"USER answered 230 logs in without PASS", R"({"replies": {"USER": ["230 Welcome"]}})",
         Op::kLogin, kOk, "USER user", "PASS"},
        {"USER answered 530 is refused before PASS",
         R"({"replies": {"USER": ["530 Not allowed"]}})", Op::kLogin, E::kProtocol, "USER user",
         "PASS"},
        {"PASS answered 530 is refused", R"({"replies": {"PASS": ["530 Login incorrect."]}})",
         Op::kLogin, E::kProtocol, "USER user|PASS ****", ""},
        {"PASS answered 332 counts as logged in", R"({"replies": {"PASS": ["332 Need account"]}})",
         Op::kLogin, kOk, "PASS ****", ""},
        {"AUTH TLS refused: the server is used in clear", R"({})", Op::kLogin, kOk,
         "AUTH TLS|USER user", "", nullptr, T::kExplicitIfOffered},
        {"AUTH TLS refused while TLS is required: no password leaves", R"({})", Op::kLogin, E::kTls,
         "AUTH TLS", "USER|PASS", nullptr, T::kExplicitRequired},
        {"clear text sent behind the 234 reply is refused",
         R"({$TLS, "replies": {"AUTH": [{"chunks": ["234 Go\r\n220 injected\r\n"]}]}})", Op::kLogin,
         E::kProtocol, "AUTH TLS", "USER", nullptr, T::kExplicitIfOffered},
        {"log-in over explicit TLS", R"({$TLS})", Op::kLogin, kOk, "AUTH TLS|USER user", "",
         [](const Outcome& o) { EXPECT_TRUE(o.encrypted); }, T::kExplicitRequired},
        {"a reply without a code", R"({"greeting": "hello there"})", Op::kLogin, E::kProtocol, "",
         "USER"},
        {"a reply line over the limit", R"({"greeting": "220 $LONG"})", Op::kLogin, E::kProtocol,
         "", "USER"},
        {"the server closes at USER", R"({"replies": {"USER": [{"close": true}]}})", Op::kLogin,
         E::kNetwork, "USER user", ""},
        {"a silent server: the stop request is honoured within 200 ms",
         R"({"replies": {"USER": [{"hang": true}]}})", Op::kLogin, E::kCancelled, "USER user",
         "PASS", StopWithin200Ms(), T::kNone, kKiB, 400},
        // Passive connections.
        {"plain upload", R"({})", Op::kUpload, kOk, "TYPE I|PASV|STOR take.wav|FEAT|MFMT",
         "PBSZ|APPE",
         [](const Outcome& o) {
             SameBytes(o.stored, o.local);
             EXPECT_EQ(o.stats.bytesSent, int64_t(o.local.size()));
             EXPECT_TRUE(o.stats.keptTime);
         }},
        {"227 naming another host: the server's own address is used",
         R"({"pasv_host": "192,0,2,7"})", Op::kUpload, kOk, "PASV|STOR take.wav", ""},
        {"227 with a private address (10,0,0,5) is replaced", R"({"pasv_host": "10,0,0,5"})",
         Op::kUpload, kOk, "STOR take.wav", ""},
        {"227 with five numbers fails the upload",
         R"({"replies": {"PASV": ["227 Entering Passive Mode (127,0,0,1,19)."]}})", Op::kUpload,
         E::kProtocol, "PASV", "STOR|APPE"},
        {"PASV answered 425", R"({"replies": {"PASV": ["425 No passive port"]}})", Op::kUpload,
         E::kProtocol, "PASV", "STOR"},
        {"the passive port is closed", R"({"pasv_closed": true})", Op::kUpload, E::kNetwork, "PASV",
         "STOR"},
        {"TYPE I refused", R"({"replies": {"TYPE": ["504 Type not implemented"]}})", Op::kUpload,
         E::kProtocol, "TYPE I", "PASV"},
        // STOR, APPE and their retries.
        {"STOR answered 550 is retried once as STOR", R"({"replies": {"STOR": ["550 Busy"]}})",
         Op::kUpload, kOk, "PASV|STOR take.wav|PASV|STOR take.wav", "APPE", kStoredWhole},
        {"STOR answered 553 is not retried", R"({"replies": {"STOR": ["553 Not allowed"]}})",
         Op::kUpload, E::kProtocol, "STOR take.wav", "",
         [](const Outcome& o) {
             EXPECT_EQ(o.errorText, "553 Not allowed");
             EXPECT_EQ(o.transcript.find("STOR", o.transcript.find("STOR") + 1), std::string::npos);
         }},
        {"STOR answered 550 twice fails",
         R"({"replies": {"STOR": ["550 Busy", "550 Still busy"]}})", Op::kUpload, E::kProtocol,
         "STOR take.wav|STOR take.wav", "MFMT"},
        {"APPE continues from the server's size", R"({"files": {"take.wav": "$PREFIX"}})",
         Op::kAppend, kOk, "MLST take.wav|PASV|APPE take.wav", "STOR",
         [](const Outcome& o) {
             SameBytes(o.stored, std::string(1000, 'A') + o.local.substr(1000));
             EXPECT_EQ(o.stats.startOffset, 1000);
             EXPECT_EQ(o.stats.bytesSent, int64_t(o.local.size()) - 1000);
         }},
        {"APPE answered 502 is retried as STOR from the start",
         R"({"files": {"take.wav": "$PREFIX"}, "replies": {"APPE": ["502 Not implemented"]}})",
         Op::kAppend, kOk, "APPE take.wav|PASV|STOR take.wav", "",
         [](const Outcome& o) {
             SameBytes(o.stored, o.local);
             EXPECT_FALSE(o.stats.appended);
         }},
        {"APPE of a file the server lacks starts at 0", R"({})", Op::kAppend, kOk,
         "MLST take.wav|APPE take.wav", "", kStoredWhole},
        {"APPE asks SIZE after TYPE I without MLST",
         R"({"features": [" SIZE"], "files": {"take.wav": "$PREFIX"}})", Op::kAppend, kOk,
         "TYPE I|SIZE take.wav|APPE take.wav", "MLST"},
        // The final reply.
        {"final 426 with the whole file there counts as success",
         R"({"store_final": "426 Connection closed; transfer aborted."})", Op::kUpload, kOk,
         "STOR take.wav|MLST take.wav", ""},
        {"final 426 with part of the file fails",
         R"({"store_final": "426 Aborted.", "replies": {"MLST": ["250-x\n type=file;size=10; take.wav\n250 End."]}})",
         Op::kUpload, E::kProtocol, "MLST take.wav", "MFMT"},
        {"final 550 is logged", R"({"store_final": "550 Disk full"})", Op::kUpload, E::kProtocol,
         "STOR take.wav", "MFMT",
         [](const Outcome& o) {
             EXPECT_NE(o.log.find("Error uploading to server: 550 Disk full"), std::string::npos);
         }},
        {"final 451 fails though the whole file is there", R"({"store_final": "451 Local error"})",
         Op::kUpload, E::kProtocol, "STOR take.wav", "MLST|MFMT"},
        {"data connection reset mid-transfer: ABOR", R"({"cut_after": 65536})", Op::kUpload,
         E::kNetwork, "STOR take.wav|ABOR", "MFMT",
         [](const Outcome& o) {
             EXPECT_TRUE(o.stats.transferStarted);
             EXPECT_GT(o.stats.bytesSent, 0);
         },
         T::kNone, 8 << 20},
        {"keep-alive replies that come after the final one are read", R"({"data_pause_ms": 20})",
         Op::kUpload, kOk, "STOR take.wav|NOOP|MFMT", "",
         [](const Outcome& o) {
             SameBytes(o.stored, o.local);
             EXPECT_TRUE(o.stats.keptTime);  // MFMT got its own reply, not a NOOP's
         },
         T::kNone, 2 << 20},
        {"keep-alive answered during the transfer",
         R"({"data_pause_ms": 20, "answer_during_transfer": true})", Op::kUpload, kOk,
         "STOR take.wav|NOOP|MFMT", "", [](const Outcome& o) { EXPECT_TRUE(o.stats.keptTime); },
         T::kNone, 2 << 20},
        {"a stalled transfer: the stop request is honoured within 200 ms",
         R"({"data_pause_ms": 3000})", Op::kUpload, E::kCancelled, "STOR take.wav", "ABOR",
         StopWithin200Ms(), T::kNone, 8 << 20, 800},
        {"a name holding CR LF is refused before any command", R"({})", Op::kBadName, E::kInvalid,
         "USER user", "TYPE|PASV|STOR|DELE"},
        // TLS.
        {"upload over TLS with protected data", R"({$TLS})", Op::kUpload, kOk,
         "AUTH TLS|PBSZ 0|PROT P|PASV|STOR take.wav", "", kStoredWhole, T::kExplicitRequired,
         200 * kKiB},
        {"PROT P refused with 534 is logged",
         R"({$TLS, "replies": {"PROT": ["534 Protection level not supported"]}})", Op::kUpload,
         E::kProtocol, "PBSZ 0|PROT P", "PASV",
         [](const Outcome& o) { EXPECT_NE(o.log.find(kFtpProtRefusedText), std::string::npos); },
         T::kExplicitRequired, kKiB},
        {"PBSZ refused", R"({$TLS, "replies": {"PBSZ": ["500 No"]}})", Op::kUpload, E::kProtocol,
         "PBSZ 0", "PROT|PASV", nullptr, T::kExplicitRequired},
        // Features and MFMT.
        {"MFMT refused: the upload stands", R"({"replies": {"MFMT": ["550 Not allowed"]}})",
         Op::kUpload, kOk, "MFMT", "", [](const Outcome& o) { EXPECT_FALSE(o.stats.keptTime); },
         T::kNone, kKiB},
        {"no MFMT offered: none sent", R"({"features": [" SIZE"]})", Op::kUpload, kOk, "FEAT",
         "MFMT"},
        {"multi-line FEAT sets each flag",
         R"({"features": [" MDTM", " MLST size*;type*;", " MLSD", " UTF8"], "listing": ""})",
         Op::kList, kOk, "FEAT|OPTS UTF8 ON|TYPE A|PASV|MLSD", "LIST"},
        {"FEAT refused: SIZE is assumed", R"({"features": null, "files": {"take.wav": "12345"}})",
         Op::kSize, kOk, "FEAT|TYPE I|SIZE take.wav", "MLST", SizeIs(5)},
        {"an endless FEAT reply is cut off and the connection dropped",
         R"({"replies": {"FEAT": [{"chunks": ["211-x\r\n$FEATLINES"]}]}})", Op::kSize, E::kNetwork,
         "FEAT", "SIZE|MLST"},
        // Sizes, listings, folders.
        {"MLST 550: no such file", R"({})", Op::kSize, E::kNotFound, "MLST take.wav", ""},
        {"the size from a listing",
         R"({"features": [], "listing": "-rw-r--r-- 1 o g 4321 Jan 10 12:34 take.wav\r\n"})",
         Op::kSize, kOk, "TYPE A|LIST take.wav", "SIZE|MLST", SizeIs(4321)},
        {"MLSD listing, entries that could steer a command skipped",
         R"({"features": [" MLSD"], "listing": "type=cdir; .\r\ntype=pdir; ..\r\ntype=file;size=7; a.wav\r\ntype=dir; sub\r\ntype=file;size=1; x/y\r\ntype=OS.unix=slink:/t; l\r\n"})",
         Op::kList, kOk, "MLSD", "LIST",
         [](const Outcome& o) {
             ASSERT_EQ(o.entries.size(), 3u);
             EXPECT_EQ(o.entries[0], (FtpListEntry{"a.wav", FtpEntryType::kFile, 7, ""}));
             EXPECT_EQ(o.entries[1].type, FtpEntryType::kFolder);
             EXPECT_EQ(o.entries[2].type, FtpEntryType::kLink);
         }},
        {"LIST listing in Unix form",
         R"({"features": [], "listing": "total 2\r\ndrwxr-xr-x 2 o g 4096 Jan 10 12:34 .\r\n-rw-r--r-- 1 o g 99 Feb 3 2021 b c.wav\r\n"})",
         Op::kList, kOk, "TYPE A|LIST", "MLSD|OPTS",
         [](const Outcome& o) {
             ASSERT_EQ(o.entries.size(), 1u);
             EXPECT_EQ(o.entries[0].name, "b c.wav");
             EXPECT_EQ(o.entries[0].size, 99);
         }},
        {"LIST refused", R"({"features": [], "replies": {"LIST": ["550 No access"]}})", Op::kList,
         E::kProtocol, "LIST", ""},
        {"a listing over 16 MB is refused", R"({"features": [], "listing_bytes": 17000000})",
         Op::kList, E::kProtocol, "LIST", ""},
        {"PWD without a quoted path", R"({"replies": {"PWD": ["257 /x"]}})", Op::kPwd, E::kProtocol,
         "PWD", ""},
        {"DELE answered 550", R"({})", Op::kDelete, E::kProtocol, "DELE nothing.wav", ""},
    };
    return cases;
}

class FtpFaultTest : public ::testing::TestWithParam<std::size_t> {};

TEST_P(FtpFaultTest, ClientMeetsTheServerAsExpected) {
    const FaultCase& c = Cases()[GetParam()];
    SCOPED_TRACE(c.name);
    std::string certError;
    ASSERT_FALSE(TestCertFolder(&certError).empty()) << certError;
    TempDir folder("vocarta-ftp-fault");
    const Outcome o = RunCase(c, folder);
    EXPECT_EQ(ErrorCodeName(o.status.Ok() ? kOk : o.status.Error().Code()),
              std::string(ErrorCodeName(c.error)))
        << (o.status.Ok() ? "" : o.status.Error().Message());
    const std::vector<std::string> commands = Split(o.transcript);
    auto matches = [](const std::string& command, const std::string& want) {
        return command == want || command.rfind(want + " ", 0) == 0;
    };
    std::size_t from = 0;
    for (const std::string& want : Split(c.sent)) {
        while (from < commands.size() && !matches(commands[from], want)) ++from;
        EXPECT_LT(from++, commands.size())
            << "not sent in order: " << want << "\ntranscript: " << o.transcript;
    }
    for (const std::string& never : Split(c.notSent))
        for (const std::string& command : commands)
            EXPECT_FALSE(matches(command, never)) << "sent: " << never << "\n" << o.transcript;
    if (c.check) c.check(o);
}

INSTANTIATE_TEST_SUITE_P(Cases, FtpFaultTest, ::testing::Range<std::size_t>(0, Cases().size()));

}  // namespace
