"""A one-time schedule made in the "Schedule Recording" window and carried out by
Debian's cron daemon, end to end: the windowed program runs on a private Xvfb
display, and xdotool opens Recording > Scheduled Recordings..., presses New...,
and fills the name, the type, the dates and the times a minute ahead from the
keyboard. The crontab (the job launcher where no user manager answers) must hold
the job for that minute; the program is closed, cron starts Vocarta at the start
minute and it records from the clock-paced test microphone until the scheduled
end. Runs as root in a private mount namespace (private_cron.py)."""

import os
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import private_cron  # noqa: E402

private_cron.enter_private_namespace()

import cron_take  # noqa: E402
from cron_take import stamp  # noqa: E402
from vocarta_testlib import XDisplay, start_xvfb  # noqa: E402

LENGTH = 8  # seconds scheduled
NAME = "Window take 'late show' 50% & more"
MAIN = "^Vocarta Sound Recorder$"
LIST = "^Scheduled Recordings$"
DIALOG = "^Schedule Recording$"


def fill_schedule(display, dialog, start, end):
    """Name, one time, start and end from the keyboard. Each date and time edit
    takes its digits section by section; Tab goes on to the next field."""
    day = lambda t: time.strftime("%Y%m%d", time.localtime(t))  # noqa: E731
    clock = lambda t: time.strftime("%H%M%S", time.localtime(t))  # noqa: E731
    display.keys(dialog, "ctrl+a")  # the proposed name
    display.type(NAME)
    # Past "Active" and the log-in box to the first type, One time; Space picks it.
    display.keys(dialog, "Tab", "Tab", "Tab", "space")
    for text in (day(start), clock(start), day(end), clock(end)):
        display.keys(dialog, "Tab")
        display.type(text)
    display.keys(dialog, "Return")


def main():
    with cron_take.CronWorld("Xvfb", "xdotool") as world:
        env = world.env
        world.xvfb = start_xvfb(env.env)
        env.env.pop("DBUS_SESSION_BUS_ADDRESS", None)  # no tray over D-Bus: X only
        # The window offers the type chosen last: Daily, so One time must be picked.
        env.write_settings("VCScheduleRecordingDlg", ScheduleType=1)
        display = XDisplay(env)

        program = env.start(nogui=False)
        main_window = display.wait_for(MAIN)
        display.keys(main_window, "alt+r", "c")  # Recording > Scheduled Recordings...
        schedules = display.wait_for(LIST)
        display.keys(schedules, "Tab", "space")  # from the table to New...
        dialog = display.wait_for(DIALOG)
        start = cron_take.next_minute(20)  # time to fill the window before its minute
        end = start + LENGTH
        fill_schedule(display, dialog, start, end)
        display.wait_for(DIALOG, shown=False)
        assert env.read_setting("VCScheduleRecordingDlg", "ScheduleType") == "0"

        jobs = world.job_lines()
        at = time.localtime(start)
        fields = "%d %d %d %d * " % (at.tm_min, at.tm_hour, at.tm_mday, at.tm_mon)
        assert jobs[0].startswith(fields), (fields, jobs[0])
        assert world.schedules() == ["%s\t%s\t%s\tActive\t00-00-%02d\t%s"
                                     % (NAME, stamp(start), stamp(end), LENGTH, stamp(start))]

        # The window closed: what follows is the job's alone.
        display.keys(schedules, "Escape")
        display.wait_for(LIST, shown=False)
        env.command("-exit")
        assert program.wait(timeout=20) == 0
        assert env.files() == [], env.files()
        world.record(start, end)
    print("the schedule made in the window was recorded by cron")


main()
