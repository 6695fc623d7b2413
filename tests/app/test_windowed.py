"""End to end: the windowed running copy on a private Xvfb display, driven by
second launches; and the fall-back to headless when the display is dead."""

import os
import shutil
import subprocess
import time
import unittest

from vocarta_testlib import VocartaEnv

TITLE = "Vocarta Sound Recorder"


def free_display():
    for n in range(100 + os.getpid() % 400, 1000):
        if not os.path.exists("/tmp/.X11-unix/X%d" % n) and \
                not os.path.exists("/tmp/.X%d-lock" % n):
            return n
    raise RuntimeError("no free X display number")


class WindowedTest(unittest.TestCase):
    def setUp(self):
        for tool in ("Xvfb", "xdotool"):
            if not shutil.which(tool):
                self.fail(tool + " is missing: run scripts/install-deps.sh --with-tests")
        self.env = VocartaEnv()
        # Xvfb picks a free display itself and writes its number to the pipe.
        read_fd, write_fd = os.pipe()
        self.xvfb = subprocess.Popen(["Xvfb", "-displayfd", str(write_fd), "-nolisten", "tcp",
                                      "-screen", "0", "1024x768x24"], pass_fds=(write_fd,),
                                     stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_fd)
        with os.fdopen(read_fd) as numbers:
            number = numbers.readline().strip()
        if not number:
            self.fail("Xvfb did not start")
        self.env.env["DISPLAY"] = ":" + number

    def tearDown(self):
        self.env.close()
        self.xvfb.terminate()
        self.xvfb.wait()

    def visible_windows(self):
        r = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", TITLE],
                           env=self.env.env, capture_output=True, text=True)
        return r.stdout.split()

    def wait_visible(self, visible, timeout=10):
        deadline = time.monotonic() + timeout
        while bool(self.visible_windows()) != visible:
            if time.monotonic() > deadline:
                self.fail("window %s within %ss" % ("not shown" if visible else "still shown",
                                                    timeout))
            time.sleep(0.05)

    def test_window_follows_forwarded_switches(self):
        env = self.env
        copy = env.start(nogui=False)
        self.wait_visible(True)
        env.launch("-hide")
        env.wait_for_log("HideWindow")
        self.wait_visible(False)
        result, _ = env.launch()  # bare launch: back to the front
        self.assertEqual(result.returncode, 0)
        env.wait_for_log("BringToFront")
        self.wait_visible(True)
        env.launch("-exit")
        self.assertEqual(copy.wait(timeout=20), 0)
        self.assertFalse(os.path.lexists(env.socket_path))

    def test_hidden_at_start_when_the_setting_says_so(self):
        env = self.env
        env.write_setting("Settings", "MainWindowShownAtStartup", "0")
        env.start(nogui=False)
        time.sleep(0.5)
        self.assertEqual(self.visible_windows(), [])
        env.launch("-show")
        self.wait_visible(True)

    def test_dead_display_falls_back_to_headless(self):
        env = self.env
        env.env["DISPLAY"] = ":%d" % free_display()  # Xvfb holds its own number by now
        copy = env.start(nogui=False)
        env.launch("-exit")
        self.assertEqual(copy.wait(timeout=20), 0)


if __name__ == "__main__":
    unittest.main()
