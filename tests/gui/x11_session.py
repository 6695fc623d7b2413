# Shared by the window tests on a private X display.
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from session_e2e_support import TOOLS, SessionEnv, require_tools  # noqa: E402
from vocarta_testlib import XDisplay, end_process, start_xvfb  # noqa: E402

TITLE = "Vocarta Sound Recorder"


def x11_session(test, tools=(), **env_args):
    # A session environment on a private Xvfb, its record folder made (else the
    # first take asks to create it) and no session bus (keys through X grabs and
    # the tray through X, not through a desktop's D-Bus services): (env, xvfb, display).
    require_tools(test, TOOLS + ("Xvfb", "xdotool") + tuple(tools))
    env = SessionEnv(**env_args)
    test.addCleanup(env.close)
    xvfb = start_xvfb(env.env)
    test.addCleanup(end_process, xvfb)
    os.makedirs(env.rec)
    env.env.pop("DBUS_SESSION_BUS_ADDRESS", None)
    return env, xvfb, XDisplay(env)
