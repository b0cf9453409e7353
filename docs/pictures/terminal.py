#!/usr/bin/env python3
"""Draws what a program shows on a terminal, as it stands at one moment.
Usage: terminal.py [--at TEXT [--after SECONDS]] [--columns N] PICTURE.svg COMMAND [ARGUMENT...]
With --at, so long after TEXT appeared; else the end. make.sh makes the pictures of this folder with it."""
import argparse
import html
import os
import pty
import re
import select
import struct
import fcntl
import sys
import termios
import time

ROWS = 40
COLOURS = {"31": "#ff8a80", "32": "#5fd17f", "33": "#e3b341", "90": "#9aa4ad"}


class Screen:
    """As much of a terminal as krel5-engine uses."""

    def __init__(self, columns):
        self.lines, self.row, self.column, self.columns, self.look = [[]], 0, 0, columns, ()

    def feed(self, text):
        for part in re.findall(r"\x1b\[[0-9;?]*[A-Za-z]|.", text, re.S):
            if part.startswith("\x1b["):
                self.control(part[2:-1], part[-1])
            elif part == "\r":
                self.column = 0
            elif part == "\n":
                self.down()
            elif part >= " ":
                if self.column == self.columns:
                    self.column = 0
                    self.down()
                line = self.lines[self.row]
                line.extend([(" ", ())] * (self.column + 1 - len(line)))
                line[self.column] = (part, self.look)
                self.column += 1

    def down(self):
        self.row += 1
        if self.row == len(self.lines):
            self.lines.append([])

    def control(self, numbers, letter):
        number = int(numbers) if numbers.isdigit() else 0
        if letter == "A":
            self.row = max(self.row - max(number, 1), 0)
        elif letter == "J":
            del self.lines[self.row][self.column:]
            del self.lines[self.row + 1:]
        elif letter == "K":
            del self.lines[self.row][self.column:]
        elif letter == "m":
            self.look = () if numbers in ("", "0") else self.look + tuple(numbers.split(";"))


def run(command, columns, until, after):
    child, terminal = pty.fork()
    if child == 0:
        os.environ.update(TERM="xterm-256color", LANG="C.UTF-8")
        os.execvp(command[0], command)
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", ROWS, columns, 0, 0))
    screen, said, end = Screen(columns), "", None
    while end is None or time.time() < end:
        if not select.select([terminal], [], [], 0.1)[0]:
            continue
        try:
            text = os.read(terminal, 65536).decode(errors="replace")
        except OSError:
            break
        screen.feed(text)
        said += text
        if until and end is None and until in said:
            end = time.time() + after
    if until and end is None:
        sys.exit('it never said "%s"' % until)
    os.close(terminal)  # which ends what still runs
    os.waitpid(child, 0)
    return screen


def picture(screen, prompt):
    width, height, margin = 8.4, 18, 14
    lines = [[(letter, ("1",)) for letter in "# " + prompt]] + screen.lines[-ROWS:]
    while lines and not lines[-1]:
        lines.pop()
    out = ['<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" role="img" font-family="ui-monospace, Menlo, Consolas, '
           'DejaVu Sans Mono, monospace" font-size="14">' % (screen.columns * width + 2 * margin, len(lines) * height + 2 * margin),
           "<title>%s</title>" % html.escape(prompt), '<rect width="100%" height="100%" rx="6" fill="#1d2329"/>']
    for number, line in enumerate(lines):
        column = 0
        while column < len(line):
            look, start = line[column][1], column
            while column < len(line) and line[column][1] == look:
                column += 1
            text = "".join(letter for letter, _ in line[start:column])
            if not text.strip():
                continue
            fill = next((COLOURS[one] for one in look if one in COLOURS), "#e6e9ec")
            out.append('<text x="%.1f" y="%d" fill="%s"%s xml:space="preserve" textLength="%.1f" lengthAdjust="spacingAndGlyphs">%s</text>' % (
                margin + start * width, margin + number * height + 13, fill, ' font-weight="bold"' if "1" in look else "",
                len(text) * width, html.escape(text, quote=False)))
    return "\n".join(out + ["</svg>", ""])


options = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
options.add_argument("--at", default="")
options.add_argument("--after", type=float, default=0.5)
options.add_argument("--columns", type=int, default=100)
options.add_argument("picture")
options.add_argument("command", nargs=argparse.REMAINDER)
asked = options.parse_args()
shown = run(asked.command, asked.columns, asked.at, asked.after)
with open(asked.picture, "w", encoding="utf-8") as file:
    file.write(picture(shown, " ".join([os.path.basename(asked.command[0])] + asked.command[1:])))
