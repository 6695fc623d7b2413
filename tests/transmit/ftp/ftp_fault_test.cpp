// The FTP client against the scripted server: each case is one way a server
// answers (refusals at every step, odd passive replies, replies cut into
// pieces, a server that goes silent, hostile replies) with the result and the
// exact commands the client must (and must not) send.

#include <gtest/gtest.h>

#include <cctype>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "ftp_test_support.h"
#include "toolkit/lsignal_object.h"
#include "transmit/ftp/ftp_session.h"
#include "transmit/ftp/ftp_upload.h"

using namespace vocarta;
using namespace vocarta::test;

namespace {

enum class Op { kLogin, kUpload, kAppend, kBadName, kList, kSize, kPwd, kCwd, kDelete };

struct Outcome {
    LStatus status;
    std::string transcript;
    std::string log;
    std::string local;   // what was uploaded
    std::string stored;  // what the server stored
    std::string errorText;
    FtpUploadStats stats;
    std::vector<FtpListEntry> entries;
    int64_t size = -1;
    std::string text;       // PWD
    long long stopMs = -1;  // from the stop request to the return
    bool encrypted = false;
};

struct FaultCase {
    const char* name;
    const char* script;
    Op op;
    std::optional<LErrorCode> error = {};   // nullopt: success
    std::vector<std::string> sent = {};     // in this order (not necessarily adjacent)
    std::vector<std::string> notSent = {};  // never, as a whole command or its verb
    FtpTlsMode tls = FtpTlsMode::kNone;
    std::size_t fileSize = 50 * 1024;
    std::function<void(const Outcome&)> check = {};
    int stopAfterMs = 0;
};

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

long long ElapsedMs(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 since)
        .count();
}

void ExpectSameBytes(const std::string& got, const std::string& want) {
    EXPECT_TRUE(got == want) << "stored " << got.size() << " bytes, expected " << want.size();
}

bool Sent(const std::vector<std::string>& commands, const std::string& command) {
    for (const std::string& c : commands)
        if (c == command || c.rfind(command + " ", 0) == 0) return true;
    return false;
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
    std::thread stopper;
    if (c.stopAfterMs > 0) {
        stopper = std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(c.stopAfterMs));
            stoppedAt = std::chrono::steady_clock::now();
            stop.Set();
        });
    }
    out.status = session.Connect({server.Address(), "user", "pw", c.tls});
    out.encrypted = session.IsEncrypted();
    if (out.status) {
        switch (c.op) {
            case Op::kLogin:
                break;
            case Op::kUpload:
            case Op::kAppend: {
                auto r = session.Upload("take.wav", local, c.op == Op::kAppend, &out.errorText);
                if (!r) out.status = r.Error();
                out.stats = session.LastUploadStats();
                break;
            }
            case Op::kBadName: {
                auto r = session.Upload("take.wav\r\nDELE other.wav", local, false);
                if (!r) out.status = r.Error();
                break;
            }
            case Op::kList: {
                auto r = session.List();
                if (r)
                    out.entries = r.Value();
                else
                    out.status = r.Error();
                break;
            }
            case Op::kSize: {
                auto r = session.RemoteSize("take.wav");
                if (r)
                    out.size = r.Value();
                else
                    out.status = r.Error();
                break;
            }
            case Op::kPwd: {
                auto r = session.PrintDirectory();
                if (r)
                    out.text = r.Value();
                else
                    out.status = r.Error();
                break;
            }
            case Op::kCwd:
                out.status = session.ChangeDirectory("/missing");
                break;
            case Op::kDelete:
                out.status = session.Delete("nothing.wav");
                break;
        }
    }
    if (c.stopAfterMs > 0) {
        out.stopMs = ElapsedMs(stoppedAt);
        stopper.join();
    }
    session.Close();
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // the last lines printed
    out.transcript = server.Transcript();
    out.stored = server.Stored("take.wav");
    return out;
}

const std::vector<FaultCase>& Cases() {
    using E = LErrorCode;
    static const std::vector<FaultCase> cases = {
        // Log-in.
        {"greeting 120 is refused",
         R"({"greeting": "120 Ready in 5 minutes"})",
         Op::kLogin,
         E::kProtocol,
         {},
         {"USER"}},
        {"greeting 421 is refused",
         R"({"greeting": "421 Too many users"})",
         Op::kLogin,
         E::kProtocol,
         {},
         {"USER"}},
        {"greeting split across reads",
         R"({"greeting": {"chunks": ["2", "20 rea", "dy\r", "\n"]}})",
         Op::kLogin,
         {},
         {"USER user", "PASS ****"}},
        {"multi-line greeting",
         R"({"greeting": "220-Welcome\n220-to the\n220 server"})",
         Op::kLogin,
         {},
         {"USER user", "PASS ****"}},
        {"USER answered 230 logs in without PASS",
         R"({"replies": {"USER": ["230 Welcome"]}})",
         Op::kLogin,
         {},
         {"USER user"},
         {"PASS"}},
        {"USER answered 530 is refused before PASS",
         R"({"replies": {"USER": ["530 Not allowed"]}})",
         Op::kLogin,
         E::kProtocol,
         {"USER user"},
         {"PASS"}},
        {"PASS answered 530 is refused",
         R"({"replies": {"PASS": ["530 Login incorrect."]}})",
         Op::kLogin,
         E::kProtocol,
         {"USER user", "PASS ****"}},
        {"PASS answered 332 counts as logged in",
         R"({"replies": {"PASS": ["332 Need account"]}})",
         Op::kLogin,
         {},
         {"PASS ****"}},
        {"AUTH TLS refused: the server is used in clear",
         R"({})",
         Op::kLogin,
         {},
         {"AUTH TLS", "USER user"},
         {},
         FtpTlsMode::kExplicitIfOffered},
        {"AUTH TLS refused while TLS is required: no password leaves",
         R"({})",
         Op::kLogin,
         E::kTls,
         {"AUTH TLS"},
         {"USER", "PASS"},
         FtpTlsMode::kExplicitRequired},
        {"clear text sent behind the 234 reply is refused",
         R"({$TLS, "replies": {"AUTH": [{"chunks": ["234 Go\r\n220 injected\r\n"]}]}})",
         Op::kLogin,
         E::kProtocol,
         {"AUTH TLS"},
         {"USER"},
         FtpTlsMode::kExplicitIfOffered},
        {"log-in over explicit TLS",
         R"({$TLS})",
         Op::kLogin,
         {},
         {"AUTH TLS", "USER user"},
         {},
         FtpTlsMode::kExplicitRequired,
         50 * 1024,
         [](const Outcome& o) { EXPECT_TRUE(o.encrypted); }},
        {"a reply without a code",
         R"({"greeting": "hello there"})",
         Op::kLogin,
         E::kProtocol,
         {},
         {"USER"}},
        {"a reply line over the limit",
         R"({"greeting": "220 $LONG"})",
         Op::kLogin,
         E::kProtocol,
         {},
         {"USER"}},
        {"the server closes at USER",
         R"({"replies": {"USER": [{"close": true}]}})",
         Op::kLogin,
         E::kNetwork,
         {"USER user"}},
        {"a silent server: the stop request is honoured within 200 ms",
         R"({"replies": {"USER": [{"hang": true}]}})",
         Op::kLogin,
         E::kCancelled,
         {"USER user"},
         {"PASS"},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) { EXPECT_LE(o.stopMs, 200); },
         400},
        // Passive connections.
        {"plain upload",
         R"({})",
         Op::kUpload,
         {},
         {"TYPE I", "PASV", "STOR take.wav", "FEAT", "MFMT"},
         {"PBSZ", "APPE"},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) {
             ExpectSameBytes(o.stored, o.local);
             EXPECT_EQ(o.stats.bytesSent, int64_t(o.local.size()));
             EXPECT_TRUE(o.stats.keptTime);
         }},
        {"227 naming another host: the server's own address is used",
         R"({"pasv_host": "192,0,2,7"})",
         Op::kUpload,
         {},
         {"PASV", "STOR take.wav"}},
        {"227 with a private address (10,0,0,5) is replaced",
         R"({"pasv_host": "10,0,0,5"})",
         Op::kUpload,
         {},
         {"STOR take.wav"}},
        {"227 with five numbers fails the upload",
         R"({"replies": {"PASV": ["227 Entering Passive Mode (127,0,0,1,19)."]}})",
         Op::kUpload,
         E::kProtocol,
         {"PASV"},
         {"STOR", "APPE"}},
        {"227 without parentheses fails",
         R"({"replies": {"PASV": ["227 Entering Passive Mode 127,0,0,1,19,137"]}})",
         Op::kUpload,
         E::kProtocol,
         {"PASV"},
         {"STOR"}},
        {"PASV answered 425",
         R"({"replies": {"PASV": ["425 No passive port"]}})",
         Op::kUpload,
         E::kProtocol,
         {"PASV"},
         {"STOR"}},
        {"PASV answered 500",
         R"({"replies": {"PASV": ["500 PASV not understood"]}})",
         Op::kUpload,
         E::kProtocol,
         {"PASV"},
         {"STOR"}},
        {"the passive port is closed",
         R"({"pasv_closed": true})",
         Op::kUpload,
         E::kNetwork,
         {"PASV"},
         {"STOR"}},
        {"TYPE I refused",
         R"({"replies": {"TYPE": ["504 Type not implemented"]}})",
         Op::kUpload,
         E::kProtocol,
         {"TYPE I"},
         {"PASV"}},
        // STOR, APPE and their retries.
        {"STOR answered 550 is retried once as STOR",
         R"({"replies": {"STOR": ["550 Busy"]}})",
         Op::kUpload,
         {},
         {"PASV", "STOR take.wav", "PASV", "STOR take.wav"},
         {"APPE"},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) { ExpectSameBytes(o.stored, o.local); }},
        {"STOR answered 553 is not retried",
         R"({"replies": {"STOR": ["553 Not allowed"]}})",
         Op::kUpload,
         E::kProtocol,
         {"STOR take.wav"},
         {},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) {
             EXPECT_EQ(o.errorText, "553 Not allowed");
             EXPECT_EQ(o.transcript.find("STOR", o.transcript.find("STOR") + 1), std::string::npos);
         }},
        {"STOR answered 425",
         R"({"replies": {"STOR": ["425 Cannot open data connection"]}})",
         Op::kUpload,
         E::kProtocol,
         {"STOR take.wav"}},
        {"STOR answered 550 twice fails",
         R"({"replies": {"STOR": ["550 Busy", "550 Still busy"]}})",
         Op::kUpload,
         E::kProtocol,
         {"STOR take.wav", "STOR take.wav"},
         {"MFMT"}},
        {"APPE continues from the server's size",
         R"({"files": {"take.wav": "$PREFIX"}})",
         Op::kAppend,
         {},
         {"MLST take.wav", "PASV", "APPE take.wav"},
         {"STOR"},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) {
             ExpectSameBytes(o.stored, std::string(1000, 'A') + o.local.substr(1000));
             EXPECT_EQ(o.stats.startOffset, 1000);
             EXPECT_EQ(o.stats.bytesSent, int64_t(o.local.size()) - 1000);
         }},
        {"APPE answered 502 is retried as STOR from the start",
         R"({"files": {"take.wav": "$PREFIX"}, "replies": {"APPE": ["502 Not implemented"]}})",
         Op::kAppend,
         {},
         {"APPE take.wav", "PASV", "STOR take.wav"},
         {},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) {
             ExpectSameBytes(o.stored, o.local);
             EXPECT_FALSE(o.stats.appended);
         }},
        {"APPE of a file the server lacks starts at 0",
         R"({})",
         Op::kAppend,
         {},
         {"MLST take.wav", "APPE take.wav"},
         {},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) { ExpectSameBytes(o.stored, o.local); }},
        {"APPE asks SIZE after TYPE I without MLST",
         R"({"features": [" SIZE"], "files": {"take.wav": "$PREFIX"}})",
         Op::kAppend,
         {},
         {"TYPE I", "SIZE take.wav", "APPE take.wav"},
         {"MLST"}},
        // The final reply.
        {"final 426 with the whole file there counts as success",
         R"({"store_final": "426 Connection closed; transfer aborted."})",
         Op::kUpload,
         {},
         {"STOR take.wav", "MLST take.wav"}},
        {"final 426 with part of the file fails",
         R"({"store_final": "426 Aborted.", "replies": {"MLST": ["250-x\n type=file;size=10; take.wav\n250 End."]}})",
         Op::kUpload,
         E::kProtocol,
         {"MLST take.wav"},
         {"MFMT"}},
        {"final 550 is logged",
         R"({"store_final": "550 Disk full"})",
         Op::kUpload,
         E::kProtocol,
         {"STOR take.wav"},
         {"MFMT"},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) {
             EXPECT_NE(o.log.find("Error uploading to server: 550 Disk full"), std::string::npos);
         }},
        {"final 451 fails", R"({"store_final": "451 Local error"})", Op::kUpload, E::kProtocol},
        {"every reply one byte at a time",
         R"({"split": true})",
         Op::kUpload,
         {},
         {"STOR take.wav", "MFMT"},
         {},
         FtpTlsMode::kNone,
         50 * 1024,
         [](const Outcome& o) { ExpectSameBytes(o.stored, o.local); }},
        {"data connection reset mid-transfer: ABOR",
         R"({"cut_after": 65536})",
         Op::kUpload,
         E::kNetwork,
         {"STOR take.wav", "ABOR"},
         {"MFMT"},
         FtpTlsMode::kNone,
         8 << 20,
         [](const Outcome& o) {
             EXPECT_TRUE(o.stats.transferStarted);
             EXPECT_GT(o.stats.bytesSent, 0);
         }},
        {"keep-alive replies that come after the final one are read",
         R"({"data_pause_ms": 20})",
         Op::kUpload,
         {},
         {"STOR take.wav", "NOOP", "MFMT"},
         {},
         FtpTlsMode::kNone,
         2 << 20,
         [](const Outcome& o) {
             ExpectSameBytes(o.stored, o.local);
             EXPECT_TRUE(o.stats.keptTime);  // MFMT got its own reply, not a NOOP's
         }},
        {"keep-alive answered during the transfer",
         R"({"data_pause_ms": 20, "answer_during_transfer": true})",
         Op::kUpload,
         {},
         {"STOR take.wav", "NOOP", "MFMT"},
         {},
         FtpTlsMode::kNone,
         2 << 20,
         [](const Outcome& o) { EXPECT_TRUE(o.stats.keptTime); }},
        {"a stalled transfer: the stop request is honoured within 200 ms",
         R"({"data_pause_ms": 3000})",
         Op::kUpload,
         E::kCancelled,
         {"STOR take.wav"},
         {"ABOR"},
         FtpTlsMode::kNone,
         8 << 20,
         [](const Outcome& o) { EXPECT_LE(o.stopMs, 200); },
         800},
        {"a name holding CR LF is refused before any command",
         R"({})",
         Op::kBadName,
         E::kInvalid,
         {"USER user"},
         {"TYPE", "PASV", "STOR", "DELE"}},
        // TLS.
        {"upload over TLS with protected data",
         R"({$TLS})",
         Op::kUpload,
         {},
         {"AUTH TLS", "PBSZ 0", "PROT P", "PASV", "STOR take.wav"},
         {},
         FtpTlsMode::kExplicitRequired,
         200 * 1024,
         [](const Outcome& o) { ExpectSameBytes(o.stored, o.local); }},
        {"PROT P refused with 534 is logged",
         R"({$TLS, "replies": {"PROT": ["534 Protection level not supported"]}})",
         Op::kUpload,
         E::kProtocol,
         {"PBSZ 0", "PROT P"},
         {"PASV"},
         FtpTlsMode::kExplicitRequired,
         1024,
         [](const Outcome& o) { EXPECT_NE(o.log.find(kFtpProtRefusedText), std::string::npos); }},
        {"PBSZ refused",
         R"({$TLS, "replies": {"PBSZ": ["500 No"]}})",
         Op::kUpload,
         E::kProtocol,
         {"PBSZ 0"},
         {"PROT", "PASV"},
         FtpTlsMode::kExplicitRequired},
        // Features and MFMT.
        {"MFMT refused: the upload stands",
         R"({"replies": {"MFMT": ["550 Not allowed"]}})",
         Op::kUpload,
         {},
         {"MFMT"},
         {},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) { EXPECT_FALSE(o.stats.keptTime); }},
        {"no MFMT offered: none sent",
         R"({"features": [" SIZE"]})",
         Op::kUpload,
         {},
         {"FEAT"},
         {"MFMT"}},
        {"multi-line FEAT sets each flag",
         R"({"features": [" MDTM", " MLST size*;type*;", " MLSD", " UTF8"], "listing": ""})",
         Op::kList,
         {},
         {"FEAT", "OPTS UTF8 ON", "TYPE A", "PASV", "MLSD"},
         {"LIST"}},
        {"FEAT refused: SIZE is assumed",
         R"({"features": null, "files": {"take.wav": "12345"}})",
         Op::kSize,
         {},
         {"FEAT", "TYPE I", "SIZE take.wav"},
         {"MLST"},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) { EXPECT_EQ(o.size, 5); }},
        {"an endless FEAT reply is cut off and the connection dropped",
         R"({"replies": {"FEAT": [{"chunks": ["211-x\r\n$FEATLINES"]}]}})",
         Op::kSize,
         E::kNetwork,
         {"FEAT"},
         {"SIZE", "MLST"}},
        // Sizes, listings, folders.
        {"MLST gives the size",
         R"({"files": {"take.wav": "12345"}})",
         Op::kSize,
         {},
         {"MLST take.wav"},
         {"SIZE"},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) { EXPECT_EQ(o.size, 5); }},
        {"MLST 550: no such file", R"({})", Op::kSize, E::kNotFound, {"MLST take.wav"}},
        {"the size from a listing",
         R"({"features": [], "listing": "-rw-r--r-- 1 o g 4321 Jan 10 12:34 take.wav\r\n"})",
         Op::kSize,
         {},
         {"TYPE A", "LIST take.wav"},
         {"SIZE", "MLST"},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) { EXPECT_EQ(o.size, 4321); }},
        {"MLSD listing, entries that could steer a command skipped",
         R"({"features": [" MLSD"], "listing": "type=cdir; .\r\ntype=pdir; ..\r\ntype=file;size=7; a.wav\r\ntype=dir; sub\r\ntype=file;size=1; x/y\r\ntype=OS.unix=slink:/t; l\r\n"})",
         Op::kList,
         {},
         {"MLSD"},
         {"LIST"},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) {
             ASSERT_EQ(o.entries.size(), 3u);
             EXPECT_EQ(o.entries[0], (FtpListEntry{"a.wav", FtpEntryType::kFile, 7, ""}));
             EXPECT_EQ(o.entries[1].type, FtpEntryType::kFolder);
             EXPECT_EQ(o.entries[2].type, FtpEntryType::kLink);
         }},
        {"LIST listing in Unix form",
         R"({"features": [], "listing": "total 2\r\ndrwxr-xr-x 2 o g 4096 Jan 10 12:34 .\r\n-rw-r--r-- 1 o g 99 Feb 3 2021 b c.wav\r\n"})",
         Op::kList,
         {},
         {"TYPE A", "LIST"},
         {"MLSD", "OPTS"},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) {
             ASSERT_EQ(o.entries.size(), 1u);
             EXPECT_EQ(o.entries[0].name, "b c.wav");
             EXPECT_EQ(o.entries[0].size, 99);
         }},
        {"LIST refused",
         R"({"features": [], "replies": {"LIST": ["550 No access"]}})",
         Op::kList,
         E::kProtocol,
         {"LIST"}},
        {"a listing over 16 MB is refused",
         R"({"features": [], "listing_bytes": 17000000})",
         Op::kList,
         E::kProtocol,
         {"LIST"}},
        {"PWD with doubled quotes",
         R"({"replies": {"PWD": ["257 \"/a \"\"b\"\" c\" is current"]}})",
         Op::kPwd,
         {},
         {"PWD"},
         {},
         FtpTlsMode::kNone,
         1024,
         [](const Outcome& o) { EXPECT_EQ(o.text, "/a \"b\" c"); }},
        {"PWD without a quoted path",
         R"({"replies": {"PWD": ["257 /x"]}})",
         Op::kPwd,
         E::kProtocol,
         {"PWD"}},
        {"CWD answered 550",
         R"({"missing_dirs": ["/missing"]})",
         Op::kCwd,
         E::kProtocol,
         {"CWD /missing"}},
        {"DELE answered 550", R"({})", Op::kDelete, E::kProtocol, {"DELE nothing.wav"}},
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
    if (c.error) {
        ASSERT_FALSE(o.status.Ok()) << "expected " << ErrorCodeName(*c.error);
        EXPECT_EQ(o.status.Error().Code(), *c.error) << o.status.Error().Message();
    } else {
        EXPECT_TRUE(o.status.Ok()) << o.status.Error().Message();
    }
    std::vector<std::string> commands;
    for (std::size_t at = 0, next; at < o.transcript.size(); at = next + 1) {
        next = o.transcript.find('|', at);
        if (next == std::string::npos) next = o.transcript.size();
        commands.push_back(o.transcript.substr(at, next - at));
    }
    std::size_t from = 0;
    for (const std::string& want : c.sent) {
        bool found = false;
        for (; from < commands.size() && !found; ++from)
            found = commands[from] == want || commands[from].rfind(want + " ", 0) == 0;
        EXPECT_TRUE(found) << "not sent in order: " << want << "\ntranscript: " << o.transcript;
    }
    for (const std::string& never : c.notSent)
        EXPECT_FALSE(Sent(commands, never)) << "sent: " << never << "\n" << o.transcript;
    if (c.check) c.check(o);
}

std::string CaseName(const ::testing::TestParamInfo<std::size_t>& info) {
    std::string name;
    for (char ch : std::string(Cases()[info.param].name))
        name += std::isalnum(static_cast<unsigned char>(ch)) ? ch : '_';
    return std::to_string(info.param) + "_" + name.substr(0, 60);
}

INSTANTIATE_TEST_SUITE_P(Cases, FtpFaultTest, ::testing::Range<std::size_t>(0, Cases().size()),
                         CaseName);

TEST(FtpFaultCases, CoverAtLeastFortyWaysAServerAnswers) {
    EXPECT_GE(Cases().size(), 40u);
}

}  // namespace
