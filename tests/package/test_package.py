"""End to end: the Debian package as a user gets it. scripts/check-package.sh
builds it from the normal build and checks it (desktop entries, AppStream,
lintian, manual pages); then it is unpacked into a fresh root, every program's
libraries must resolve, and the installed programs - not the build's - list the
devices, record, open the record folder, play a file and complete on Tab
against a private sound server."""

import os
import stat
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "app"))
from session_e2e_support import SessionEnv, require_tools, run

SOURCE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BASH_COMPLETION = "/usr/share/bash-completion/bash_completion"


def exec_lines(path):
    """The Exec line of each group of a desktop entry, split into words."""
    lines, group = {}, None
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.strip()
            if line.startswith("["):
                group = line[1:-1]
            elif line.startswith("Exec="):
                lines[group] = line[len("Exec="):].split()
    return lines


class PackageTest(unittest.TestCase):
    def setUp(self):
        require_tools(self, ("pulseaudio", "pactl", "sox", "soxi", "flac", "dpkg-deb", "ldd",
                             "lintian", "desktop-file-validate", "appstreamcli", "man"))
        self.assertTrue(os.path.exists(BASH_COMPLETION),
                        "bash-completion is missing (scripts/install-deps.sh --with-tests)")

    def complete(self, env, bin_dir, *words):
        """What Tab offers after `words` (the last one is being typed)."""
        script = ('source %s; source %s; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); '
                  'COMP_LINE="$*"; COMP_POINT=${#COMP_LINE}; '
                  '$(complete -p "$1" | sed "s/.*-F \\([^ ]*\\) .*/\\1/"); '
                  'printf "%%s\\n" "${COMPREPLY[@]}"'
                  % (BASH_COMPLETION,
                     os.path.join(bin_dir, "..", "share", "bash-completion", "completions",
                                  words[0])))
        environ = dict(env.env, PATH=bin_dir + ":" + env.env["PATH"])
        result = subprocess.run(["bash", "-c", script, "complete"] + list(words), env=environ,
                                capture_output=True, text=True, timeout=60)
        self.assertEqual(result.returncode, 0, result.stderr)
        return set(line for line in result.stdout.splitlines() if line)

    def test_installed_package_records(self):
        with SessionEnv(mic=True) as env:
            out = os.path.join(env.root, "package")
            check = subprocess.run([os.path.join(SOURCE, "scripts", "check-package.sh"),
                                    os.environ["VOCARTA_BUILD_DIR"], out],
                                   capture_output=True, text=True, timeout=500)
            self.assertEqual(check.returncode, 0, check.stdout + check.stderr)
            deb = check.stdout.splitlines()[-1]

            root = os.path.join(env.root, "installed")
            run("dpkg-deb", "-x", deb, root)
            bin_dir = os.path.join(root, "usr", "bin")
            programs = sorted(os.listdir(bin_dir))
            self.assertEqual(programs, ["vocarta", "vocarta-defaults"])
            fields = run("dpkg-deb", "-f", deb, "Depends", "Recommends").stdout
            self.assertIn("libqt6widgets6", fields)
            self.assertRegex(fields, r"Recommends: .*libmp3lame0")
            for name in programs:
                path = os.path.join(bin_dir, name)
                self.assertTrue(os.stat(path).st_mode & stat.S_IXOTH)
                libraries = run("ldd", path).stdout
                self.assertNotIn("not found", libraries, name)
            # The installed files never point back into the source or build trees.
            for folder, _, files in os.walk(root):
                for name in files:
                    with open(os.path.join(folder, name), "rb") as f:
                        data = f.read()
                    for tree in (SOURCE, os.path.realpath(os.environ["VOCARTA_BUILD_DIR"])):
                        self.assertNotIn(tree.encode(), data, os.path.join(folder, name))
            for size in (16, 32, 48, 64, 128, 256):
                icon = os.path.join(root, "usr/share/icons/hicolor/%dx%d/apps" % (size, size),
                                    "com.vocarta.SoundRecorder.png")
                self.assertIn("%d x %d" % (size, size), run("file", icon).stdout)

            # From here on only the installed programs run.
            env.program = os.path.join(bin_dir, "vocarta")
            env.defaults_program = os.path.join(bin_dir, "vocarta-defaults")
            devices, _ = env.launch("-devices")
            self.assertEqual(devices.returncode, 0, devices.stderr)
            self.assertIn("[mic]", devices.stdout.decode())

            # The desktop entries' own Exec lines drive the installed program.
            apps = os.path.join(root, "usr", "share", "applications")
            actions = exec_lines(os.path.join(apps, "com.vocarta.SoundRecorder.desktop"))
            player = exec_lines(os.path.join(apps, "com.vocarta.SoundRecorder.Player.desktop"))
            self.assertEqual(actions["Desktop Entry"], ["vocarta"])

            def launch(words, *files):
                self.assertEqual(words[0], "vocarta")
                args = [a for w in words[1:] for a in (files if w == "%f" else (w,))]
                result, _ = env.launch(*args)
                self.assertEqual(result.returncode, 0, (words, result.stderr))

            # Record starts a copy (headless here: no display), Stop ends the take.
            env.write_settings("Settings", Format=3)  # FLAC
            running = env.popen(*actions["Desktop Action Record"][1:], nogui=False)
            env.wait_for_log("Recording into ", 1, 20, running)
            take = env.take(0, ".flac")
            env.wait_for_audio(take)
            time.sleep(1)
            launch(actions["Desktop Action Stop"])
            env.wait_for_log("Recording complete for file: " + take, 1, 10, running)
            run("flac", "--test", "--silent", take)
            self.assertGreater(SessionEnv.duration(take), 0.5)
            self.assertGreater(SessionEnv.rms(take), 0.01, "the microphone's sound")

            # Find Recordings hands the record folder to the desktop's opener.
            opener_dir = os.path.join(env.root, "opener")
            os.makedirs(opener_dir)
            opened = os.path.join(env.root, "opened.txt")
            with open(os.path.join(opener_dir, "xdg-open"), "w") as f:
                f.write('#!/bin/sh\nprintf "%%s\\n" "$@" > %s\n' % opened)
            os.chmod(os.path.join(opener_dir, "xdg-open"), 0o755)
            env.env["PATH"] = opener_dir + ":" + env.env["PATH"]
            launch(actions["Desktop Action FindRecordings"])
            env.wait_until(lambda: os.path.exists(opened) and os.path.getsize(opened), 10,
                           "xdg-open started")
            with open(opened) as f:
                self.assertEqual(f.read().splitlines(), [env.rec])

            # A file opened from the file manager is played by the running copy; Ogg
            # is one of the types the entry claims.
            ogg = os.path.join(env.root, "talk.ogg")
            run("sox", take, ogg)
            launch(player["Desktop Entry"], "talk.ogg")
            env.wait_for_log("Playing " + ogg, 1, 10, running)
            env.command("-exit")
            self.assertEqual(running.wait(timeout=20), 0, env.describe())

            # Tab: the switches, the format words and the device names.
            help_text = run(env.program, "--help").stdout
            switches = self.complete(env, bin_dir, "vocarta", "-")
            listed = {line.split()[0].rstrip(",") for line in help_text.splitlines()
                      if line.startswith("  -")} - {"-h", "-V"}
            self.assertGreaterEqual(len(listed), 19)
            self.assertLessEqual(listed, switches)
            self.assertEqual(self.complete(env, bin_dir, "vocarta", "-record", "f"), {"flac"})
            devices = self.complete(env, bin_dir, "vocarta-defaults", "write",
                                    "Settings/RecordDevice", "")
            self.assertTrue({"mic", "nul.monitor"} <= devices, devices)
            self.assertIn("Settings/RecordDevice",
                          self.complete(env, bin_dir, "vocarta-defaults", "read", "Settings/R"))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v"])
