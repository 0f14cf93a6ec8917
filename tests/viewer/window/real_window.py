#!/usr/bin/env python3
"""The viewer in a real X window.

Starts Xvfb and the viewer under Wine's X11 driver, drives the window with
xdotool (wheel, drag, keys, a second window) and checks after each action
that the window's client area equals, pixel for pixel, the headless render
(viewer --render) of the same view steps.

  real_window.py --viewer VIEWER.exe --wine-x11 wine-x11.sh --prefix DIR
                 --drawing FILE.csv --work DIR [--size W H] [--save PNG]

Exits 0 when every picture matched, 1 otherwise, naming what was expected and
what was seen; the screenshots of a failure and the viewer's trace are left
in --work. Standard library only.
"""

import argparse
import os
import re
import select
import signal
import struct
import subprocess
import sys
import time
import zlib

WAIT = 20  # seconds for a window or a picture to appear
BUDGET = 150  # seconds for the whole run, below CTest's timeout
SCREEN = "1280x1024x24"


class Failure(Exception):
    pass


def windows_path(path):
    """An absolute Unix path as Wine's Z: drive names it."""
    return "Z:" + os.path.abspath(path).replace("/", "\\")


# Pictures are rows of packed blue-green-red bytes, top row first, so that a
# screenshot's rows and a bitmap's compare as plain bytes.
class Picture:
    def __init__(self, width, rows):
        self.width, self.height, self.rows = width, len(rows), rows

    def __eq__(self, other):
        return self.width == other.width and self.rows == other.rows


def bgr(data, step, offsets):
    """Packed blue-green-red bytes from pixels of `step` bytes whose blue,
    green and red lie at `offsets` within each pixel."""
    if step == 3 and offsets == (0, 1, 2):
        return bytes(data)
    out = bytearray(len(data) // step * 3)
    for channel, at in enumerate(offsets):
        out[channel::3] = data[at::step]
    return bytes(out)


def read_bmp(path):
    """A 24- or 32-bit uncompressed (or plain bit-field) bitmap file."""
    with open(path, "rb") as f:
        data = f.read()
    if len(data) < 54 or data[:2] != b"BM":
        raise Failure(f"{path} is not a bitmap file")
    bits_at = struct.unpack_from("<I", data, 10)[0]
    header, width, height, _, bits, compression = struct.unpack_from("<IiiHHI", data, 14)
    masks = struct.unpack_from("<III", data, 54) if compression == 3 else (0xFF0000, 0xFF00, 0xFF)
    if bits not in (24, 32) or compression not in (0, 3) or masks != (0xFF0000, 0xFF00, 0xFF) or width <= 0:
        raise Failure(f"{path}: {bits}-bit bitmap of compression {compression} is not read here")
    step, stride, count = bits // 8, (width * bits + 31) // 32 * 4, abs(height)
    if bits_at + stride * count > len(data):
        raise Failure(f"{path} is cut short")
    rows = []
    for j in range(count):
        start = bits_at + stride * (j if height < 0 else count - 1 - j)
        rows.append(bgr(data[start : start + width * step], step, (0, 1, 2)))
    return Picture(width, rows)


def write_png(path, picture):
    raw = bytearray()
    for row in picture.rows:
        rgb = bytearray(len(row))
        rgb[0::3], rgb[1::3], rgb[2::3] = row[2::3], row[1::3], row[0::3]
        raw += b"\0" + rgb

    def chunk(kind, body):
        return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))

    header = struct.pack(">IIBBBBB", picture.width, picture.height, 8, 2, 0, 0, 0)
    with open(path, "wb") as f:
        f.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(bytes(raw), 6)))
        f.write(chunk(b"IEND", b""))


class Shot:
    """A screenshot of one window in xwd's format: a Z pixmap of 24 or 32
    bits a pixel."""

    def __init__(self, data):
        if len(data) < 100:
            raise Failure("xwd wrote no screenshot")
        f = struct.unpack(">25I", data[:100])
        header, pixmap_format, self.width, self.height, byte_order = f[0], f[2], f[4], f[5], f[7]
        bits, self.stride, masks, colours = f[11], f[12], f[14:17], f[19]
        if pixmap_format != 2 or bits not in (24, 32) or masks != (0xFF0000, 0xFF00, 0xFF):
            raise Failure(f"screenshot of {bits} bits a pixel in format {pixmap_format} is not read here")
        self.step = bits // 8
        # Where blue, green and red lie in a pixel, by the server's byte order.
        lsb_first = (0, 1, 2)
        self.offsets = lsb_first if byte_order == 0 else tuple(self.step - 1 - b for b in lsb_first)
        self.pixels = data[header + 12 * colours :]
        if len(self.pixels) < self.stride * self.height:
            raise Failure("the screenshot is cut short")

    def picture(self, x=0, y=0, width=None, height=None):
        """The pixels of a rectangle (the whole shot by default), clipped."""
        x1 = self.width if width is None else min(x + width, self.width)
        y1 = self.height if height is None else min(y + height, self.height)
        rows = []
        for row in range(y, y1):
            start = row * self.stride
            rows.append(bgr(self.pixels[start + x * self.step : start + x1 * self.step], self.step, self.offsets))
        return Picture(max(x1 - x, 0), rows)


def find_picture(shot, picture, at=None):
    """Where `picture` lies whole inside the shot, or None: the frame around
    a client area is all the tolerance there is. Only `at` is tried when
    given."""
    whole = shot.picture()
    candidates = [at] if at else [(dx, dy) for dy in range(whole.height - picture.height + 1)
                                  for dx in range(whole.width - picture.width + 1)]
    for dx, dy in candidates:
        if dx + picture.width > whole.width or dy + picture.height > whole.height:
            continue
        a, b = 3 * dx, 3 * (dx + picture.width)
        if all(whole.rows[dy + j][a:b] == row for j, row in enumerate(picture.rows)):
            return dx, dy
    return None


def differences(seen, expected):
    """How many pixels differ, and the rectangle around them."""
    count, box = 0, None
    for y, (s, e) in enumerate(zip(seen.rows, expected.rows)):
        if s == e:
            continue
        for x in range(min(len(s), len(e)) // 3):
            if s[3 * x : 3 * x + 3] != e[3 * x : 3 * x + 3]:
                count += 1
                box = (x, y, x, y) if box is None else (min(box[0], x), min(box[1], y), max(box[2], x), max(box[3], y))
    return count, box


class Session:
    """Xvfb, the viewer's processes and the prefix's wineserver, all stopped
    by close() on every path."""

    def __init__(self, args):
        self.args = args
        self.work = args.work
        self.xvfb = None
        self.viewers = []
        self.shots = 0
        self.env = dict(os.environ)
        self.env.pop("WAYLAND_DISPLAY", None)

    def start_xvfb(self):
        read_end, write_end = os.pipe()
        log = open(os.path.join(self.work, "xvfb.log"), "wb")
        self.xvfb = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write_end), "-screen", "0", SCREEN, "-nolisten", "tcp", "-noreset"],
            pass_fds=(write_end,), stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        os.close(write_end)
        log.close()
        number, end = b"", time.monotonic() + WAIT
        try:
            while not number.endswith(b"\n"):
                left = end - time.monotonic()
                if left <= 0 or not select.select([read_end], [], [], left)[0]:
                    raise Failure(f"Xvfb named no display within {WAIT} s")
                chunk = os.read(read_end, 16)
                if not chunk:
                    raise Failure("Xvfb ended before naming its display; see xvfb.log")
                number += chunk
        finally:
            os.close(read_end)
        self.env["DISPLAY"] = ":" + number.decode().strip()

    def wine(self, *args):
        return [self.args.wine_x11, "--prefix", self.args.prefix, *args]

    def run(self, command, timeout):
        try:
            done = subprocess.run(command, env=self.env, stdin=subprocess.DEVNULL, capture_output=True,
                                  timeout=timeout, cwd=self.work)
        except subprocess.TimeoutExpired:
            raise Failure(f"{' '.join(command)} did not finish within {timeout} s") from None
        return done

    def xdotool(self, *args):
        done = self.run(["xdotool", *map(str, args)], WAIT)
        if done.returncode != 0:
            raise Failure(f"xdotool {' '.join(map(str, args))}: {done.stderr.decode(errors='replace').strip()}")
        return done.stdout.decode()

    def render(self, steps, size, out):
        """The headless render of `steps` (the view fitted first)."""
        command = self.wine(self.args.viewer, "--render", windows_path(self.args.drawing), windows_path(out),
                            "--size", str(size[0]), str(size[1]), "--view", ";".join(steps))
        # Into a file, not a pipe: the wineserver the first run starts holds
        # on to its output, and a pipe would stay open as long.
        errors = os.path.join(self.work, "render.log")
        with open(errors, "wb") as log:
            try:
                # The first run may prepare the prefix.
                code = subprocess.run(command, env=self.env, cwd=self.work, stdin=subprocess.DEVNULL, stdout=log,
                                      stderr=log, timeout=120).returncode
            except subprocess.TimeoutExpired:
                raise Failure("viewer --render did not finish within 120 s") from None
        if code != 0:
            with open(errors, "rb") as log:
                raise Failure(f"viewer --render ... --view \"{';'.join(steps)}\" exited with {code}: "
                              f"{log.read().decode(errors='replace').strip()}")
        return read_bmp(out)

    def start_viewer(self, size, at):
        log = open(os.path.join(self.work, "viewer.log"), "wb")
        env = dict(self.env, QORDEBUGPRINTFILE=windows_path(os.path.join(self.work, "viewer-trace.txt")))
        command = self.wine(self.args.viewer, windows_path(self.args.drawing), "--size", str(size[0]),
                            str(size[1]), "--at", str(at[0]), str(at[1]))
        self.viewers.append(subprocess.Popen(command, env=env, cwd=self.work, stdin=subprocess.DEVNULL,
                                             stdout=log, stderr=log))
        log.close()

    def windows(self):
        """The visible windows whose title names the drawing."""
        name = re.escape(os.path.basename(self.args.drawing))
        done = self.run(["xdotool", "search", "--onlyvisible", "--name", name], WAIT)
        return [int(w) for w in done.stdout.split()]

    def wait_windows(self, count):
        end = time.monotonic() + WAIT
        while len(found := self.windows()) != count:
            if self.viewers[0].poll() is not None:
                raise Failure(f"the viewer exited with {self.viewers[0].returncode}; see viewer.log")
            if time.monotonic() > end:
                raise Failure(f"expected {count} viewer window(s) within {WAIT} s, found {len(found)}")
            time.sleep(0.1)
        return found

    def position(self, window):
        """Where the window's top left corner, frame and all, is on the screen."""
        values = dict(line.split("=", 1) for line in self.xdotool("getwindowgeometry", "--shell", window).split())
        return int(values["X"]), int(values["Y"])

    def screenshot(self, window):
        """The window, frame and all, as the screen shows it. (xwd -root
        reads a screen that holds windows with colormaps of their own, as
        Wine's are, window by window, and has been seen to return black.)"""
        done = self.run(["xwd", "-id", str(window), "-silent", "-display", self.env["DISPLAY"]], WAIT)
        if done.returncode != 0:
            raise Failure(f"xwd: {done.stderr.decode(errors='replace').strip()}")
        return Shot(done.stdout)

    def wait_picture(self, label, window, expected, at=None):
        """Polls screenshots until the window shows `expected`; where its
        client area lies in the window. With `at`, only there."""
        end = time.monotonic() + WAIT
        while True:
            shot = self.screenshot(window)
            if found := find_picture(shot, expected, at):
                return found, shot
            if time.monotonic() > end:
                self.explain(label, shot, expected, at)
            time.sleep(0.05)

    def explain(self, label, shot, expected, at):
        self.shots += 1
        stem = os.path.join(self.work, f"failed-{self.shots}-{label.replace(' ', '-').replace(',', '')}")
        write_png(stem + "-window.png", shot.picture())
        write_png(stem + "-expected.png", expected)
        text = [f"{label}: the {shot.width} x {shot.height} window did not show the expected "
                f"{expected.width} x {expected.height} picture within {WAIT} s"]
        if at:
            seen = shot.picture(at[0], at[1], expected.width, expected.height)
            write_png(stem + "-seen.png", seen)
            count, box = differences(seen, expected)
            text.append(f"  at its client area {at}, {count} pixels differ, within {box} (x0, y0, x1, y1)")
        text.append(f"  screenshots: {stem}-*.png")
        raise Failure("\n".join(text))

    def trace(self, lines=40):
        """The end of the viewer's trace (the debug stream's file)."""
        try:
            with open(os.path.join(self.work, "viewer-trace.txt"), "rb") as f:
                data = f.read()
        except OSError:
            return ""
        encoding = "utf-16" if data[:2] in (b"\xff\xfe", b"\xfe\xff") else "utf-8-sig"
        return "\n".join(data.decode(encoding, errors="replace").splitlines()[-lines:])

    def close(self):
        for viewer in self.viewers:
            if viewer.poll() is None:
                viewer.terminate()
        # Every process of the prefix, wine's own services too.
        env = dict(self.env, WINEPREFIX=os.path.abspath(self.args.prefix))
        for option in ("-k", "-w"):
            try:
                subprocess.run(["/usr/lib/wine/wineserver", option], env=env, timeout=WAIT,
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            except (OSError, subprocess.TimeoutExpired):
                pass
        for viewer in self.viewers:
            try:
                viewer.wait(5)
            except subprocess.TimeoutExpired:
                viewer.kill()
                viewer.wait()
        if self.xvfb:
            self.xvfb.terminate()
            try:
                self.xvfb.wait(5)
            except subprocess.TimeoutExpired:
                self.xvfb.kill()
                self.xvfb.wait()


def drive(session, size, save):
    """The actions and the view steps each leaves the window in."""
    w, h = size
    cx, cy = f"{w / 2:g}", f"{h / 2:g}"
    wheel_in, wheel_out = (w * 3 // 10, h * 4 // 10), (w * 7 // 10, h * 2 // 3)
    drag_from, drag_to = (w // 2, h // 2), (w // 2 + 60, h // 2 - 35)
    # Each: a label, its xdotool arguments (points in the first window's
    # client area as tuples), the window that shows the result (0: the first,
    # 1: the second) and the view steps it shows.
    steps = []
    plan = [("fit", [], 0, [])]

    def act(label, command, window, *new):
        steps.extend(new)
        plan.append((label, command, window, list(steps)))

    act("wheel in", ["mousemove", wheel_in, "click", 4], 0, f"zoom,1,{wheel_in[0]},{wheel_in[1]}")
    act("drag", ["mousemove", drag_from, "mousedown", 1, "mousemove", drag_to, "mouseup", 1], 0,
        f"pan,{drag_to[0] - drag_from[0]},{drag_to[1] - drag_from[1]}")
    act("r", ["key", "r"], 0, f"rotate,1,{cx},{cy}")
    act("shift+r", ["key", "shift+r"], 0, f"rotate,-1,{cx},{cy}")
    act("m", ["key", "m"], 0, f"mirror,{cx}")
    act("wheel out", ["mousemove", wheel_out, "click", 5], 0, f"zoom,-1,{wheel_out[0]},{wheel_out[1]}")
    shared = list(steps)
    # The second window takes the first one's view, and the keys.
    act("ctrl+n", ["key", "ctrl+n"], 1)
    act("r in the second window", ["key", "r"], 1, f"rotate,1,{cx},{cy}")
    plan.append(("ctrl+w, the first window", ["key", "ctrl+w"], 0, shared))
    plan.append(("Home", ["key", "Home"], 0, []))

    # Every view rendered first. An action whose picture equals the one
    # before it would pass without being done.
    started = time.monotonic()
    pictures = {}
    for _, _, _, view in plan:
        key = ";".join(view)
        if key not in pictures:
            pictures[key] = session.render(view, size, os.path.join(session.work, f"expected-{len(pictures)}.bmp"))
    for (label, _, _, view), (_, _, _, before) in zip(plan[1:], plan):
        if label != "ctrl+n" and pictures[";".join(view)] == pictures[";".join(before)]:
            raise Failure(f"{label}: the drawing looks the same before and after; choose another drawing")

    print(f"{len(pictures)} views rendered headless in {time.monotonic() - started:.1f} s")
    started = time.monotonic()
    session.start_viewer(size, (40, 30))
    first = session.wait_windows(1)[0]
    print(f"the window appeared after {time.monotonic() - started:.1f} s")
    origins = {}  # of each window's client area in the window, once found
    for label, command, which, view in plan:
        started = time.monotonic()
        if command:
            corner = session.position(first)
            x, y = corner[0] + origins[first][0], corner[1] + origins[first][1]
            arguments = []
            for a in command:
                arguments += [x + a[0], y + a[1]] if isinstance(a, tuple) else [a]
            session.xdotool(*arguments)
        windows = session.wait_windows(which + 1)
        window = first if which == 0 else next(w for w in windows if w != first)
        origin, shot = session.wait_picture(label, window, pictures[";".join(view)], origins.get(window))
        origins[window] = origin
        print(f"{label:26} {';'.join(view) or '(fitted)':64} {time.monotonic() - started:5.2f} s")
        if label == "fit":
            x, y = origin
            print(f"the frame around the client area: left {x}, top {y}, "
                  f"right {shot.width - x - w}, bottom {shot.height - y - h}")
            if save:
                write_png(save, shot.picture())


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--viewer", required=True)
    parser.add_argument("--wine-x11", required=True)
    parser.add_argument("--prefix", required=True)
    parser.add_argument("--drawing", required=True)
    parser.add_argument("--work", required=True)
    parser.add_argument("--size", type=int, nargs=2, default=(480, 360), metavar=("W", "H"))
    parser.add_argument("--save", help="a PNG of the first window, frame and all, as first shown")
    args = parser.parse_args()
    # The programs run in the work folder.
    for name in ("viewer", "wine_x11", "prefix", "drawing", "work", "save"):
        if getattr(args, name):
            setattr(args, name, os.path.abspath(getattr(args, name)))
    os.makedirs(args.work, exist_ok=True)
    # What a run leaves there is the last run's alone (the trace would append).
    for name in os.listdir(args.work):
        if name.startswith("failed-") or name == "viewer-trace.txt":
            os.remove(os.path.join(args.work, name))

    # A signal or the run's own deadline ends it through close(), before
    # CTest's timeout would kill the processes and leave Xvfb behind.
    def stop(signum, _):
        raise Failure(f"stopped by signal {signum}" if signum != signal.SIGALRM else f"over {BUDGET} s")

    for signum in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGALRM):
        signal.signal(signum, stop)
    signal.alarm(BUDGET)
    session = Session(args)
    started = time.monotonic()
    try:
        session.start_xvfb()
        drive(session, tuple(args.size), args.save)
    except (Failure, OSError) as e:
        print(f"FAILED: {e}", file=sys.stderr)
        if trace := session.trace():
            print("the viewer's trace:\n" + trace, file=sys.stderr)
        return 1
    finally:
        signal.alarm(0)
        session.close()
    print(f"every picture matched in {time.monotonic() - started:.1f} s")
    return 0


if __name__ == "__main__":
    sys.exit(main())
