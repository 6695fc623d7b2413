#!/usr/bin/python3
"""A clock-paced source that delivers in large blocks, for the benchmarks.

It feeds a PulseAudio pipe source like the 10 ms test microphone, paced by the
monotonic clock so the recorded time runs with the wall clock, but writes
BLOCK_MS (default 200) of sound at a time into a pipe large enough to hold a
whole block, so the pipe source reads and delivers each block in one piece.
Set beside the 10 ms microphone it shows what of a recorder's cost follows the
device's delivery size: the two differ in nothing else.

Usage:
  pactl load-module module-pipe-source source_name=coarse file=$DIR/coarse.fifo \
      format=s16le rate=44100 channels=2
  /usr/bin/python3 coarse-mic.py $DIR/coarse.fifo [BLOCK_MS] &
"""
import fcntl, math, os, struct, sys, time

RATE = 44100
F_SETPIPE_SZ = 1031


def main():
    path = sys.argv[1]
    block_ms = int(sys.argv[2]) if len(sys.argv) > 2 else 200
    if not 10 <= block_ms <= 2000:
        sys.exit("BLOCK_MS must be between 10 and 2000")
    frames = RATE * block_ms // 1000
    # One block of a 440 Hz tone at half scale; 440 Hz fits 200 ms whole, and
    # a phase step at a block's end is harmless for a CPU benchmark.
    one = b"".join(
        struct.pack("<hh", v, v)
        for v in (int(16000 * math.sin(2 * math.pi * 440 * i / RATE)) for i in range(frames)))
    fd = os.open(path, os.O_WRONLY)
    try:
        fcntl.fcntl(fd, F_SETPIPE_SZ, 2 * len(one))
    except OSError:
        pass
    t0, n = time.monotonic(), 0
    while True:
        now = time.monotonic()
        if (now - t0) * RATE - n > frames:   # a whole block behind: skip, as a device would
            n = int((now - t0) * RATE)
        n += frames
        wait = t0 + n / RATE - time.monotonic()
        if wait > 0:
            time.sleep(wait)
        os.write(fd, one)   # the block is written once it has been "heard"


if __name__ == "__main__":
    main()
