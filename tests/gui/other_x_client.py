#!/usr/bin/python3
"""Another program on the X display (DISPLAY): a small window named "Other
Program" that takes the focus, and optionally passive grabs of keys on the root
window, as a program that holds a hot-key would. Prints "ready" once all is in
place, then "pressed" for every grabbed key that reaches it, until ended.

Usage: other_x_client.py [ctrl+alt+s ...]
"""
import ctypes
import sys

MODIFIERS = {"shift": 1 << 0, "ctrl": 1 << 2, "alt": 1 << 3, "super": 1 << 6}
KEY_PRESS, GRAB_MODE_ASYNC, REVERT_TO_PARENT = 2, 1, 2

x = ctypes.CDLL("libX11.so.6")
x.XOpenDisplay.restype = ctypes.c_void_p
x.XOpenDisplay.argtypes = [ctypes.c_char_p]
x.XDefaultRootWindow.restype = ctypes.c_ulong
x.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
x.XCreateSimpleWindow.restype = ctypes.c_ulong
x.XCreateSimpleWindow.argtypes = [ctypes.c_void_p, ctypes.c_ulong] + [ctypes.c_int] * 2 + \
    [ctypes.c_uint] * 3 + [ctypes.c_ulong] * 2
x.XStoreName.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_char_p]
x.XMapRaised.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x.XSetInputFocus.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_ulong]
x.XStringToKeysym.restype = ctypes.c_ulong
x.XStringToKeysym.argtypes = [ctypes.c_char_p]
x.XKeysymToKeycode.restype = ctypes.c_ubyte
x.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x.XGrabKey.argtypes = [ctypes.c_void_p, ctypes.c_int, ctypes.c_uint, ctypes.c_ulong,
                       ctypes.c_int, ctypes.c_int, ctypes.c_int]
x.XSync.argtypes = [ctypes.c_void_p, ctypes.c_int]
x.XNextEvent.argtypes = [ctypes.c_void_p, ctypes.c_void_p]


def main():
    display = x.XOpenDisplay(None)
    if not display:
        sys.exit("no X display")
    root = x.XDefaultRootWindow(display)
    window = x.XCreateSimpleWindow(display, root, 600, 400, 200, 100, 0, 0, 0xffffff)
    x.XStoreName(display, window, b"Other Program")
    x.XMapRaised(display, window)
    x.XSync(display, 0)
    x.XSetInputFocus(display, window, REVERT_TO_PARENT, 0)
    for combination in sys.argv[1:]:
        *mods, key = combination.split("+")
        code = x.XKeysymToKeycode(display, x.XStringToKeysym(key.encode()))
        mask = sum(MODIFIERS[m] for m in mods)
        x.XGrabKey(display, code, mask, root, 1, GRAB_MODE_ASYNC, GRAB_MODE_ASYNC)
    x.XSync(display, 0)
    print("ready", flush=True)
    event = ctypes.create_string_buffer(192)  # XEvent: a union of 24 longs
    while True:
        x.XNextEvent(display, event)
        if ctypes.c_int.from_buffer(event).value == KEY_PRESS:
            print("pressed", flush=True)


if __name__ == "__main__":
    main()
