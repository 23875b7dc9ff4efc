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

    def span(self):
        """When the bulk began and ended: the first and the last time the count moved by much."""
        moves = [b[0] for a, b in zip(self.marks, self.marks[1:]) if b[1] - a[1] > 500]
        return moves[0], moves[-1]


def shape(mbit):
    # A queue that never overflows: what is lost would show as a stall, which is not the record's doing.
    burst = max(5000, mbit * 1250)  # 10 ms, or some packets
    for prefix, dev in (([], "near"), (["ip", "netns", "exec", "far"], "away")):
        subprocess.run([*prefix, "tc", "qdisc", "replace", "dev", dev, "root", "tbf", "rate", f"{mbit}mbit",
                        "burst", str(burst), "limit", "100000000"], check=True)
    return burst


def measure(kind, size):
    """Runs a test; its record, its traces, and the link."""
    if kind != "put":
        os.truncate("/tmp/srv/file", size)
    elif os.path.exists("/tmp/srv/pub/up"):
        os.remove("/tmp/srv/pub/up")
    command = {"http": ["-m", "2", "-dst", "http://10.3.0.2/file"],
               "get": ["-m", "0", "-f", "/file", *FTP],
               "put": ["-m", "1", "-f", "/pub/up", "-size", str(size), *FTP]}[kind]
    link = Link("tx" if kind == "put" else "rx")
    link.start()
    traces = subprocess.run([f"{BIN}/net-test", *command], stdout=subprocess.PIPE, text=True).stdout
    link.over = True
    link.join()
    path = {"http": "/tmp/httpdata", "get": "/tmp/ftpgetrst", "put": "/tmp/ftpputrst"}[kind]
    record = {k: int(v) for k, v in re.findall(r"(\w+)[:,](\d+)", open(path).read())}
    if record["overall_step"] != 6:
        sys.exit(f"{kind} of {size} bytes failed: {record}")
    return record, traces, link


def check(what, shown, truth, bound):
    global missed
    error = 100 * (shown / truth - 1)
    ok = abs(error) <= bound
    missed += not ok
    print(f"    {what:22} {shown:12.0f} B/s, at the link {truth:12.0f}: {error:+6.2f} % "
          f"(bound {bound} %){'' if ok else '  MISSED'}")


def download(kind, mbit, size):
    record, traces, link = measure(kind, size)
    begin, end = link.span()
    check("average", record["avgspeed"], (link.at(end) - link.at(begin - 0.01)) / (end - begin), 0.5)
    seconds = [link.at(begin + s + 1) - link.at(begin + s) for s in range(int(end - begin))]
    check("minimum", record["minspeed"], min(seconds), 4)
    check("maximum", record["maxspeed"], max(seconds), 4)
    print(f"    first second {100 * (seconds[0] / (sum(seconds[1:]) / len(seconds[1:])) - 1):+.2f} % above the others")
    if kind == "get":
        samples, due = traces.count("speed: "), record["trtime"] // 1000 + 1
        global missed
        missed += samples != due
        print(f"    {samples} samples in {record['trtime']} ms, {due} due")


def upload(size, bound):
    record, _, link = measure("put", size)
    begin, end = link.span()
    check("average", record["avgspeed"], (link.at(end) - link.at(begin - 0.01)) / (end - begin), bound)


for mbit, bound in ((2, 12), (10, 6), (100, 5), (500, 1.5)):
    print(f"{mbit} Mbit/s, a burst of {shape(mbit)} bytes")
    for kind in ("http", "get"):
        print(f"  {kind}, 8 s")
        download(kind, mbit, mbit * 1000000)
    print("  put, 8 s")
    upload(mbit * 1000000, bound)
shape(20)
print("20 Mbit/s, put of 8 MiB")
upload(8 << 20, 10)
sys.exit(1 if missed else 0)
