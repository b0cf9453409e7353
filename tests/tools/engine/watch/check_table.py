#!/usr/bin/python3
"""Usage: check_table.py ENGINE MODULE...: the table of krel5-engine watch on a terminal, which becomes smaller meanwhile."""
import fcntl
import os
import pty
import re
import select
import signal
import struct
import sys
import termios
import time

SIZES = [(30, 100), (9, 40), (24, 80)]


def resize(terminal, size):
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", *size, 0, 0))


process, terminal = pty.fork()
if process == 0:
    os.environ.update(TERM="xterm", LANG="C.UTF-8")
    words = [word for module in sys.argv[2:] for word in ("--modules", module)]
    os.execv(sys.argv[1], [sys.argv[1], "watch", "--only-modules", "--interval", "0.1", *words])
resize(terminal, SIZES[0])


def read(until):
    """What is written until the moment or the end."""
    got = b""
    while time.monotonic() < until:
        if select.select([terminal], [], [], 0.05)[0]:
            try:
                got += os.read(terminal, 65536)
            except OSError:
                break
    return got.decode("utf-8", "replace")


def lines_of(frame):
    return [re.sub(r"\x1b\[[0-9;]*[A-Za-z]", "", line) for line in frame.replace("\r", "").split("\n")]


wrong = []
for size in SIZES:
    resize(terminal, size)
    read(time.monotonic() + 1.5)  # the last frame of another size, and the first of this one
    frames = re.findall(r"\r(Watching.*?)\x1b\[J", read(time.monotonic() + 1.5), re.S)
    if len(frames) < 3:
        wrong.append(f"{size}: {len(frames)} frames")
    for frame in frames:
        lines = lines_of(frame)
        if len(lines) >= size[0] or max(map(len, lines)) >= size[1]:
            wrong.append(f"{size}: {len(lines)} lines of {max(map(len, lines))}")
        if not any("Temperature" in line and "°C" in line for line in lines):
            wrong.append(f"{size}: no temperature: {lines}")
        if "\x1b[2J" in frame:
            wrong.append("a name of a device clears the terminal")
os.kill(process, signal.SIGINT)
rest = read(time.monotonic() + 20)
status = os.waitstatus_to_exitcode(os.waitpid(process, 0)[1])
last = lines_of(rest.rsplit("\x1b[J", 1)[-1])
if status != 0 or sum(line.startswith("READING") for line in last) != 1 or not last[-1] == "":
    wrong.append(f"ended with {status}, and left {last}")
print("\n".join(wrong))
sys.exit(1 if wrong else 0)
