#pragma once
// The Transmit page of the options window, without its widgets: the values it
// shows, the checks made when it is accepted (in their order, with their texts),
// and the saving rule: each method's values are saved as soon as its own checks
// have passed, so an earlier method stays saved when a later check fails; the
// prompt flag and the length limit are saved last.
//
// Threading contract: any thread (the page calls it on the GUI thread).

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "transmit/ftp/ftp_settings.h"
#include "transmit/mail/email_address.h"

namespace vocarta {

struct TransmitPageValues {
    struct Email {
        bool enabled = false;
        std::string to;
    };
    struct Ftp {
        bool enabled = false;
        std::string server, userName, password, directory;
        FtpTlsMode tls = FtpTlsMode::kExplicitIfOffered;

        // What the FTP client (and the connection test) takes from the page.
        FtpSettings Settings() const;
    };
    // Not on the page (nothing checked or saved) while unset.
    std::optional<Email> email;
    std::optional<Ftp> ftp;
    bool sendFolder = false;
    std::string sendFolderDir;
    bool sendRun = false;
    std::string sendRunExe;
    bool prompt = true;
    int32_t lengthLimitSeconds = 0;
};

// The field a failed check points at, for the page to give it the focus.
enum class TransmitField { EmailTo, FtpServer, FtpUserName, SendFolderDir, SendRunExe };

struct TransmitPageProblem {
    TransmitField field;
    std::string text;
    std::string caption;
};

// What is stored now.
TransmitPageValues ReadTransmitPageValues();

// Checks and saves. nullopt when every value was saved; else the first failed
// check (later values unsaved). `recordFolder` is the recordings' folder, which
// cannot be the mirror folder.
std::optional<TransmitPageProblem> ApplyTransmitPage(const TransmitPageValues& values,
                                                     const std::string& recordFolder);

// The writability test: creates "__wt" in `folder` (under an exclusive lock,
// limit 5000 ms) and deletes it again. A "__wt" that is already there is not
// ours to delete: then a temporary name beside it is used for the test.
bool FolderIsWritable(const std::string& folder);

}  // namespace vocarta
