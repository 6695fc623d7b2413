#!/usr/bin/python3
# A stand-in for the desktop's GlobalShortcuts portal, for tests, on the session
# bus named by DBUS_SESSION_BUS_ADDRESS (a private one the test started).
#
# It binds every shortcut it is given and reports its trigger as the preferred
# trigger followed by " (test desktop)", as a desktop that took the proposal would.
# The test presses a shortcut with the method Press(shortcut id) of the interface
# org.vocarta.test.Control: Activated then Deactivated for the last bound session.
#
# Usage: fake_portal.py FD  -- writes "ready" to descriptor FD once it owns its name.

import os
import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

PATH = "/org/freedesktop/portal/desktop"
IFACE = "org.freedesktop.portal.GlobalShortcuts"


def sender_part(sender):
    return sender[1:].replace(".", "_")


class Request(dbus.service.Object):
    @dbus.service.signal("org.freedesktop.portal.Request", signature="ua{sv}")
    def Response(self, response, results):
        pass


class Session(dbus.service.Object):
    @dbus.service.method("org.freedesktop.portal.Session")
    def Close(self):
        self.remove_from_connection()


class Portal(dbus.service.Object):
    def __init__(self, bus):
        super().__init__(bus, PATH)
        self.bus = bus
        self.session = ""
        self.keep = []  # request objects stay exported until the end

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        if interface == IFACE and name == "version":
            return dbus.UInt32(1)
        raise dbus.exceptions.DBusException(
            "no such property", name="org.freedesktop.DBus.Error.UnknownProperty")

    def answer(self, sender, token, results):
        path = "%s/request/%s/%s" % (PATH, sender_part(sender), token)
        request = Request(self.bus, path)
        self.keep.append(request)

        def respond():
            request.Response(dbus.UInt32(0), dbus.Dictionary(results, signature="sv"))
            return False
        GLib.idle_add(respond)
        return dbus.ObjectPath(path)

    @dbus.service.method(IFACE, in_signature="a{sv}", out_signature="o", sender_keyword="sender")
    def CreateSession(self, options, sender):
        path = "%s/session/%s/%s" % (PATH, sender_part(sender), options["session_handle_token"])
        Session(self.bus, path)
        # Version 1 portals give the session handle as a string.
        return self.answer(sender, options["handle_token"], {"session_handle": dbus.String(path)})

    @dbus.service.method(IFACE, in_signature="oa(sa{sv})sa{sv}", out_signature="o",
                         sender_keyword="sender")
    def BindShortcuts(self, session, shortcuts, parent, options, sender):
        self.session = str(session)
        bound = []
        for shortcut_id, props in shortcuts:
            trigger = str(props.get("preferred_trigger", "")) + " (test desktop)"
            bound.append(dbus.Struct((shortcut_id, dbus.Dictionary(
                {"description": props["description"],
                 "trigger_description": dbus.String(trigger)}, signature="sv"))))
        return self.answer(sender, options["handle_token"],
                           {"shortcuts": dbus.Array(bound, signature="(sa{sv})")})

    @dbus.service.signal(IFACE, signature="osta{sv}")
    def Activated(self, session, shortcut_id, timestamp, options):
        pass

    @dbus.service.signal(IFACE, signature="osta{sv}")
    def Deactivated(self, session, shortcut_id, timestamp, options):
        pass

    @dbus.service.method("org.vocarta.test.Control", in_signature="s")
    def Press(self, shortcut_id):
        session = dbus.ObjectPath(self.session or "/none")
        self.Activated(session, shortcut_id, dbus.UInt64(1), dbus.Dictionary({}, signature="sv"))
        self.Deactivated(session, shortcut_id, dbus.UInt64(2), dbus.Dictionary({}, signature="sv"))


def main():
    ready_fd = int(sys.argv[1])
    DBusGMainLoop(set_as_default=True)
    bus = dbus.SessionBus()
    name = dbus.service.BusName("org.freedesktop.portal.Desktop", bus)
    portal = Portal(bus)
    os.write(ready_fd, b"ready\n")
    os.close(ready_fd)
    GLib.MainLoop().run()
    del name, portal


if __name__ == "__main__":
    main()
