"""Measures net-test beside other clients and the bare sink, interleaved; prints medians and ratios.

bench.py BINDIR: runs on a host of its own, with nginx on port 80 and vsftpd on port 21, which
serve /tmp/srv/file and take /tmp/srv/pub/up. Their processes are pinned to CPU 0.
"""
import os
import re
import resource
import statistics
import subprocess
import sys
import time

BIN = sys.argv[1]
KINDS = os.environ.get("KINDS", "http get put").split()
ROUNDS = int(os.environ.get("ROUNDS", "5"))
SIZE = os.path.getsize("/tmp/srv/file")
GIB = 2.0**30
DOWN = "http://127.0.0.1/file"
FTP = "ftp://127.0.0.1"
LOGIN = ["-dst", "127.0.0.1", "-us", "anonymous", "-pw", "a", "-t", "0"]

CLIENTS = {
    "http": {
        "net-test": [f"{BIN}/net-test", "-m", "2", "-dst", DOWN],
        "sink": [f"{BIN}/sink", "http", "127.0.0.1", "80", "/file", str(SIZE)],
        "curl": ["curl", "-s", "-o", "/dev/null", DOWN],
        "wget": ["wget", "-q", "-O", "/dev/null", DOWN],
        "lftp": ["lftp", "-c", f"set net:socket-buffer 0; cat {DOWN}"],
    },
    "get": {
        "net-test": [f"{BIN}/net-test", "-m", "0", "-f", "/file", *LOGIN],
        "sink": [f"{BIN}/sink", "get", "127.0.0.1", "21", "/file", str(SIZE)],
        "curl": ["curl", "-s", "-o", "/dev/null", f"{FTP}/file"],
        "wget": ["wget", "-q", "-O", "/dev/null", f"{FTP}/file"],
        "lftp": ["lftp", "-c", f"cat {FTP}/file"],
    },
    "put": {
        "net-test": [f"{BIN}/net-test", "-m", "1", "-f", "/pub/up", "-size", str(SIZE), *LOGIN],
        "sink": [f"{BIN}/sink", "put", "127.0.0.1", "21", "/pub/up", str(SIZE)],
        "sink-short": [f"{BIN}/sink", "put-short", "127.0.0.1", "21", "/pub/up", str(SIZE)],
        "curl": ["curl", "-s", "-T", "/tmp/srv/file", f"{FTP}/pub/up"],
        "lftp": ["lftp", "-c", f"put /tmp/srv/file -o {FTP}/pub/up"],
    },
}
SMALL = {
    "net-test": [f"{BIN}/net-test", "-m", "2", "-dst", "http://127.0.0.1/small"],
    "curl": ["curl", "-s", "-o", "/dev/null", "http://127.0.0.1/small"],
    "wget": ["wget", "-q", "-O", "/dev/null", "http://127.0.0.1/small"],
}


def busy():
    """Milliseconds of CPU time that the machine has worked."""
    user, nice, system, _, _, irq, softirq = map(int, open("/proc/stat").readline().split()[1:8])
    return (user + nice + system + irq + softirq) * 1000 / os.sysconf("SC_CLK_TCK")


def run(command, cpu):
    """Seconds, CPU milliseconds, and those of the whole machine, of one run on a CPU."""
    if os.path.exists("/tmp/srv/pub/up"):
        os.remove("/tmp/srv/pub/up")
    machine = busy()
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(["taskset", "-c", str(cpu), *command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    seconds = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if "/pub/up" in " ".join(command) and os.path.getsize("/tmp/srv/pub/up") < SIZE:
        sys.exit(f"{command[0]} did not upload the file")
    own = after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime
    return seconds, 1000 * own, busy() - machine


def peak(command):
    """Peak KiB of resident memory, looked at until the end."""
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    most = 0
    while process.poll() is None:
        try:
            most = max(most, int(re.search(r"VmHWM:\s+(\d+)", open(f"/proc/{process.pid}/status").read())[1]))
        except (OSError, TypeError):
            pass
        time.sleep(0.005)
    return most


def calls(command):
    """All system calls of a run, and those among them that moved data."""
    text = subprocess.run(["strace", "-f", "-c", *command], stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True).stderr
    counts = {m[2]: int(m[1]) for m in re.finditer(
        r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", text, re.M)}
    counts.pop("total", None)
    return sum(counts.values()), max(counts.values())


def transfers(kind, cpu):
    results = {name: [] for name in CLIENTS[kind]}
    for _ in range(ROUNDS):
        for name, command in CLIENTS[kind].items():
            results[name].append(run(command, cpu))
    # One CPU is steady: medians. With a CPU each a machine has a fast and a slow mode: the best.
    pick = statistics.median if cpu == 0 else min
    base = pick(r[0] for r in results["sink"])
    base_cpu = pick(r[1] for r in results["sink"])
    base_machine = pick(r[2] for r in results["sink"])
    for name, rows in results.items():
        seconds, cpu_ms, machine = (pick(r[i] for r in rows) for i in range(3))
        print(f"  {name:10} {SIZE / seconds / 1e6:8.0f} MB/s  {base / seconds:5.3f} of the sink"
              f"  {cpu_ms / (SIZE / GIB):5.0f} CPU ms/GiB, {cpu_ms / base_cpu:5.2f} of the sink"
              f" (with the server's {machine / base_machine:4.2f})")
    own = pick(r[0] for r in results["net-test"])
    print("  net-test against " + ", ".join(
        f"{name} {pick(r[0] for r in rows) / own:.2f}" for name, rows in results.items()
        if name != "net-test" and "sink" not in name))


for kind in KINDS:
    for cpu, placement in ((0, "on one CPU with the server"), (1, "on a CPU of its own")):
        print(f"{kind}, {SIZE / GIB:.1f} GiB, {placement}, {ROUNDS} rounds")
        transfers(kind, cpu)
    for name in ("net-test", "sink"):
        total, moving = calls(CLIENTS[kind][name])
        print(f"  {name:10} {total / (SIZE / GIB):6.0f} system calls/GiB, {total / moving:.2f} a receive or send,"
              f" {peak(CLIENTS[kind][name])} KiB peak")

print("start-up: a fetch of 1 KiB, 60 rounds")
times = {name: [] for name in SMALL}
for _ in range(60):
    for name, command in SMALL.items():
        start = time.perf_counter()
        subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        times[name].append(time.perf_counter() - start)
for name, rows in times.items():
    print(f"  {name:10} {1000 * statistics.median(rows):6.2f} ms  "
          f"{statistics.median(rows) / statistics.median(times['curl']):.2f} of curl")
subprocess.run(["strip", "-o", "/tmp/stripped", f"{BIN}/net-test"])
print(f"program: {os.path.getsize('/tmp/stripped') / 1024:.0f} KiB stripped")
