// "Email Settings", offscreen: what it shows when it opens, the provider list,
// the refusals with their captions in order, and what OK saves.

#include "gui/email_settings_dialog.h"

#include <QComboBox>
#include <QLineEdit>
#include <tuple>

#include "gui/gui_test_support.h"
#include "settings/settings.h"
#include "transmit/mail/mail_request.h"
#include "transmit/mail/mail_settings.h"

using namespace vocarta;
using namespace vocarta::test;

TEST(EmailSettingsDialogTest, RefusesInOrderThenSavesWhatTheSenderReads) {
    EnsureApplication();
    DeleteSettingTree(mail_settings::kSection);
    SetSettingBool(mail_settings::kSection, mail_settings::kUseDesktopMailKey, false);
    FakeView view;
    EmailSettingsDialog dialog(view);
    dialog.show();
    EXPECT_EQ(dialog.windowTitle(), "Email Settings");
    // Nothing chosen yet: direct sending, as the sender would do.
    ExpectShown(dialog, "emailDirect=1;emailSmtp=0;emailHost.enabled=0;emailReplyTo=");

    Enter(dialog, "emailSmtp=1");
    ExpectShown(dialog, "emailHost.enabled=1;emailPassword.enabled=1");
    const char* const captions[] = {"Reply Email Required", "Reply Email Required",
                                    "Mail host required", "User Name Required",
                                    "Password Required"};
    const char* const entries[] = {"emailReplyTo=me@", "emailReplyTo=me@mail.test",
                                   "emailHost=Gmail [smtp.gmail.com:587]", "emailUserName=me",
                                   "emailPassword=s3cret"};
    for (int i = 0; i < 5; ++i) {
        const std::size_t before = view.messages.size();
        dialog.accept();
        ASSERT_EQ(view.messages.size(), before + 1) << i;
        EXPECT_EQ(view.messages.back().title, captions[i]);
        EXPECT_TRUE(dialog.isVisible());
        Enter(dialog, entries[i]);
    }
    Enter(dialog, "emailUseTls=1");
    dialog.accept();
    EXPECT_EQ(view.messages.size(), 5u);

    const MailRequest r = MailRequestFromSettings();
    EXPECT_EQ(std::tuple(r.host, r.userName, r.password, r.sender, r.useTls, r.sendDirect),
              std::tuple("smtp.gmail.com:587", "me", "s3cret", "me@mail.test", true, false));
    EXPECT_EQ(Child<QLineEdit>(dialog, "emailPassword")->echoMode(), QLineEdit::Password);
}
