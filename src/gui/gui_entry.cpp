#include "gui/gui_entry.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <QDir>
#include <QLibraryInfo>
#include <cstdlib>

#include "app/instance/instance_socket.h"
#include "app/qt_main_loop.h"
#include "app/running_copy.h"
#include "app/windowed_entry.h"
#include "gui/hotkey_service.h"
#include "gui/main_window.h"
#include "gui/options_dialog.h"
#include "settings/settings.h"
#include "toolkit/paths.h"
#include "toolkit/text.h"

namespace vocarta {

namespace {
std::string Env(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::string(value) : std::string();
}
}  // namespace

bool DisplaylessPlatformChosen() {
    const std::string platform = Env("QT_QPA_PLATFORM");
    return StartsWithNoCase(platform, "offscreen") || StartsWithNoCase(platform, "minimal") ||
           StartsWithNoCase(platform, "vnc");
}

bool ProbeX11Display() {
    if (Env("DISPLAY").empty()) return false;
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool ok = connection && xcb_connection_has_error(connection) == 0;
    if (connection) xcb_disconnect(connection);
    return ok;
}

bool ProbeWaylandDisplay() {
    std::string name = Env("WAYLAND_DISPLAY");
    if (name.empty()) return false;
    const QDir plugins(QLibraryInfo::path(QLibraryInfo::PluginsPath) + "/platforms");
    if (plugins.entryList({"libqwayland*"}, QDir::Files).isEmpty()) return false;
    const std::string path = name[0] == '/' ? name : JoinPath(Env("XDG_RUNTIME_DIR"), name);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    CopyText(address.sun_path, sizeof address.sun_path, path);
    int s = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (s < 0) return false;
    const bool ok = connect(s, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(s);
    return ok;
}

bool CanOpenDisplay() {
    return DisplaylessPlatformChosen() || ProbeX11Display() || ProbeWaylandDisplay();
}

int RunWindowed(InstanceSocket& socket, const std::vector<std::string>& args) {
    // Qt is given no arguments of ours: they are switches for the controller.
    int argc = 1;
    char program[] = "vocarta";
    char* argv[] = {program, nullptr};
    QApplication application(argc, argv);
    // No application display name: Qt would add it to every window title, and the
    // message boxes keep their titles exactly.
    // The controller ends the program; a hidden window or a closed message box must not.
    QApplication::setQuitOnLastWindowClosed(false);
    // Lets a Wayland desktop match the windows to the installed desktop entry.
    QGuiApplication::setDesktopFileName(QString::fromUtf8(kAppDomain));
    QtMainLoop loop;
    MainWindow window;
    RunningCopy copy(loop, window, socket);
    window.AttachCommands(&copy.Commands());
    HotkeyService hotkeys(loop, window, copy.Commands());
    QObject::connect(&window, &MainWindow::OptionsOpened, [&](OptionsDialog* options) {
        hotkeys.AttachOptions(*options, WindowShortcuts(window.Actions()));
    });
    copy.Start(args);
    // After the own command line, which may ask for a recording to start now.
    loop.Post([&hotkeys] { hotkeys.Start(); });
    const int status = copy.Run();
    window.AttachCommands(nullptr);
    return status;
}

}  // namespace vocarta
