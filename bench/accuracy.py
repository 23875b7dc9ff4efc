"""Holds the result records against the payload bytes counted at a shaped link.

accuracy.py BINDIR: runs on a host of its own whose device "near" leads to the servers of the
namespace "far" at 10.3.0.2 (nginx, vsftpd). Exit status 1 when a bound is missed.
"""
import os
import re
import subprocess
import sys
import threading
import time

BIN = sys.argv[1]
FTP = ["-dst", "10.3.0.2", "-us", "anonymous", "-pw", "a", "-t", "0"]
HEADERS = 14 + 20 + 32  # Ethernet, IPv4, TCP with time stamps
SEGMENT = 1448
missed = 0


class Link(threading.Thread):
    """Counts the payload that leaves ("tx") or reaches ("rx") this host, every few milliseconds."""

    def __init__(self, way):
        super().__init__()
        base = f"/sys/class/net/near/statistics/{way}_"
        self.files = [open(base + name) for name in ("bytes", "packets")]
        self.marks = []
        self.over = False

    def run(self):
        while not self.over:
            for f in self.files:
                f.seek(0)
            size, packets = (int(f.read()) for f in self.files)
            self.marks.append((time.monotonic(), size - packets * HEADERS))
            time.sleep(0.002)

    def at(self, when):
        """The payload counted by a time."""
        return next((bytes_ for t, bytes_ in self.marks if t >= when), self.marks[-1][1])

    def next(self, when):
        """When the count moved for the first time after a time."""
        before = self.at(when)
        return next((t for t, bytes_ in self.marks if t >= when and bytes_ > before), when)

    def span(self):
        """When the bulk began and ended: the first and the last time the count moved by much."""
        moves = [b[0] for a, b in zip(self.marks, self.marks[1:]) if b[1] - a[1] > 500]
        return moves[0], moves[-1]


def shape(mbit):
    # A queue that never overflows: what is lost would show as a stall, which is not the record's doing.
    burst = max(5000, int(mbit * 1250))  # 10 ms, or some packets
    for prefix, dev in (([], "near"), (["ip", "netns", "exec", "far"], "away")):
        subprocess.run([*prefix, "tc", "qdisc", "replace", "dev", dev, "root", "tbf", "rate", f"{mbit}mbit",
                        "burst", str(burst), "limit", "100000000"], check=True)
    return burst


def measure(kind, size, meanwhile=None):
    """Runs a test, and meanwhile something else; its record, its traces, and the link."""
    if kind != "put":
        os.truncate("/tmp/srv/file", size)
    elif os.path.exists("/tmp/srv/pub/up"):
        os.remove("/tmp/srv/pub/up")
    command = {"http": ["-m", "2", "-dst", "http://10.3.0.2/file"],
               "get": ["-m", "0", "-f", "/file", *FTP],
               "put": ["-m", "1", "-f", "/pub/up", "-size", str(size), *FTP]}[kind]
    link = Link("tx" if kind == "put" else "rx")
    link.start()
    other = threading.Thread(target=meanwhile or (lambda: None))
    other.start()
    traces = subprocess.run([f"{BIN}/net-test", *command], stdout=subprocess.PIPE, text=True).stdout
    other.join()
    link.over = True
    link.join()
    path = {"http": "/tmp/httpdata", "get": "/tmp/ftpgetrst", "put": "/tmp/ftpputrst"}[kind]
    record = {k: int(v) for k, v in re.findall(r"(\w+)[:,](\d+)", open(path).read())}
    if record["overall_step"] != 6:
        sys.exit(f"{kind} of {size} bytes failed: {record}")
    return record, traces, link


def check(what, shown, truth, bound, least=0.0):
    """Within `bound` per cent, or `least` bytes per second."""
    global missed
    error = 100 * (shown / truth - 1)
    ok = abs(error) <= bound or abs(shown - truth) <= least
    missed += not ok
    print(f"    {what:22} {shown:12.0f} B/s, at the link {truth:12.0f}: {error:+6.2f} % "
          f"(bound {bound} %{f' or {least:.0f} B/s' if least else ''}){'' if ok else '  MISSED'}")


def samples(record, traces, link, bound):
    """Holds every sample of an FTP test against the link: when it came, and what it says."""
    global missed
    begin, _ = link.span()
    found = [tuple(map(int, m)) for m in re.findall(
        r"bytes=(\d+), msecs=(\d+)transfer all min is (\d+)", traces)]

    def excess(bytes_, msecs, end, start):
        """How many times the bound a sample is off: per cent of it, or two segments."""
        truth = link.at(start + end / 1000) - link.at(start + (end - msecs) / 1000)
        return abs(bytes_ - truth) / max(truth * bound / 100, 2 * SEGMENT)

    # The first holds the shaper's burst. The test's clock began a little before or after the first
    # bytes were seen: the best fit tells.
    worst, start = min(
        (max((excess(*sample, begin + shift / 1000) for sample in found[1:] if sample[1] > 500), default=0),
         begin + shift / 1000) for shift in range(-20, 21))
    worst_delay = max((1000 * (start + end / 1000 - link.next(start + end // 1000))
                       for _, _, end in found if end < record["trtime"]), default=0)
    seconds = len({end // 1000 for _, _, end in found if end < record["trtime"]})
    due = record["trtime"] // 1000
    ok = worst <= 1 and worst_delay <= 250
    missed += not ok
    print(f"    {seconds} samples on the second of {due} due, at most {worst_delay:.0f} ms after data moved, off by "
          f"{worst:.2f} of the bound at most ({bound} % or two segments){'' if ok else '  MISSED'}")
    return seconds, due


def all_samples(*arguments):
    global missed
    seconds, due = samples(*arguments)
    if seconds != due:
        missed += 1
        print("    samples are missing  MISSED")


def download(kind, mbit, size):
    record, traces, link = measure(kind, size)
    begin, end = link.span()
    check("average", record["avgspeed"], (link.at(end) - link.at(begin - 0.01)) / (end - begin), 0.5,
          2 * SEGMENT / (end - begin))
    if mbit >= 2:  # below, a segment more or less in a short last sample is too much
        seconds = [link.at(begin + s + 1) - link.at(begin + s) for s in range(int(end - begin))]
        check("minimum", record["minspeed"], min(seconds), 4)
        check("maximum", record["maxspeed"], max(seconds), 4)
        print(f"    first second {100 * (seconds[0] / (sum(seconds[1:]) / len(seconds[1:])) - 1):+.2f} % above the others")
    if kind == "get":
        all_samples(record, traces, link, 4)


def upload(size):
    record, traces, link = measure("put", size)
    begin, end = link.span()
    check("average", record["avgspeed"], (link.at(end) - link.at(begin - 0.01)) / (end - begin), 0.3,
          2 * SEGMENT / (end - begin))
    all_samples(record, traces, link, 4)


def changing_link(kind):
    """100 Mbit/s, 1 for three seconds, and 100 again."""
    def link(verb, mbit):  # unlike tbf, it keeps what is queued when its rate changes
        subprocess.run([*tc, "class", verb, "dev", dev, "parent", "1:", "classid", "1:1", "htb",
                        "rate", f"{mbit}mbit", "burst", "5000", "quantum", "1514"], check=True)

    def change():
        for mbit, pause in ((1, 2.5), (100, 3)):  # in the middle of a second
            time.sleep(pause)
            link("change", mbit)
    dev, tc = ("near", ["tc"]) if kind == "put" else ("away", ["ip", "netns", "exec", "far", "tc"])
    shape(1000)
    subprocess.run([*tc, "qdisc", "replace", "dev", dev, "root", "handle", "1:", "htb", "default", "1"], check=True)
    link("add", 100)
    all_samples(*measure(kind, 70000000, change), 4)


def stalling_server(kind):
    """It stops after 2 s, for 3 s. What is not received can't be sampled: a long sample covers it."""
    def stall():
        for signal, pause in (("STOP", 2.5), ("CONT", 3)):
            time.sleep(pause)
            subprocess.run(["pkill", f"-{signal}", "vsftpd"], check=True)
    shape(100)
    samples(*measure(kind, 70000000, stall), 4)


for mbit in 0.2, 2, 10, 100, 500:
    print(f"{mbit} Mbit/s, a burst of {shape(mbit)} bytes")
    for kind in ("http", "get"):
        print(f"  {kind}, 8 s")
        download(kind, mbit, int(mbit * 1000000))
    size = max(int(mbit * 1000000), 524288)
    print(f"  put, {size * 8 / mbit / 1e6:.0f} s")
    upload(size)
shape(20)
print("20 Mbit/s, put of 8 MiB")
upload(8 << 20)
for kind in "get", "put":
    print(f"100, 1 and 100 Mbit/s, {kind}")
    changing_link(kind)
    print(f"a server that stalls for 3 s, {kind}")
    stalling_server(kind)
sys.exit(1 if missed else 0)
