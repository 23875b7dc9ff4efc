"""Measures net-test beside other clients and bare sinks, interleaved; prints medians and ratios.

bench.py BINDIR [DOCS]: runs on a host of its own, with nginx on port 80 and vsftpd on port 21,
which serve /tmp/srv/file and take /tmp/srv/pub/up. Their processes are pinned to CPU 0. Writes
DOCS/performance.md and its chart when a folder is given.
"""
import os
import platform
import re
import resource
import statistics
import subprocess
import sys
import time

BIN = sys.argv[1]
KINDS = os.environ.get("KINDS", "http get put").split()
ROUNDS = int(os.environ.get("ROUNDS", "7"))
SIZE = os.path.getsize("/tmp/srv/file")
GIB = 2.0**30
DOWN = "http://127.0.0.1/file"
FTP = "ftp://127.0.0.1"
LOGIN = ["-dst", "127.0.0.1", "-us", "anonymous", "-pw", "a", "-t", "0"]

SINKS = {"receives": "plain", "drops": "drop", "drops and paces": "pace256"}

CLIENTS = {
    "http": {
        "net-test": [f"{BIN}/net-test", "-m", "2", "-dst", DOWN],
        **{f"sink: {how}": [f"{BIN}/sink", "http", arg, "127.0.0.1", "80", "/file", str(SIZE)]
           for how, arg in SINKS.items()},
        "curl": ["curl", "-s", "-o", "/dev/null", DOWN],
        "wget": ["wget", "-q", "-O", "/dev/null", DOWN],
        "lftp": ["lftp", "-c", f"set net:socket-buffer 0; cat {DOWN}"],
    },
    "get": {
        "net-test": [f"{BIN}/net-test", "-m", "0", "-f", "/file", *LOGIN],
        **{f"sink: {how}": [f"{BIN}/sink", "get", arg, "127.0.0.1", "21", "/file", str(SIZE)]
           for how, arg in SINKS.items()},
        "curl": ["curl", "-s", "-o", "/dev/null", f"{FTP}/file"],
        "wget": ["wget", "-q", "-O", "/dev/null", f"{FTP}/file"],
        "lftp": ["lftp", "-c", f"cat {FTP}/file"],
    },
    "put": {
        "net-test": [f"{BIN}/net-test", "-m", "1", "-f", "/pub/up", "-size", str(SIZE), *LOGIN],
        "sink: sends": [f"{BIN}/sink", "put", "plain", "127.0.0.1", "21", "/pub/up", str(SIZE)],
        "curl": ["curl", "-s", "-T", "/tmp/srv/file", f"{FTP}/pub/up"],
        "lftp": ["lftp", "-c", f"put /tmp/srv/file -o {FTP}/pub/up"],
    },
}
TITLES = {"http": "HTTP download", "get": "FTP download", "put": "FTP upload"}
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
    """Rounds of all clients, one after another; their medians: seconds, CPU ms, the machine's."""
    results = {name: [] for name in CLIENTS[kind]}
    for _ in range(ROUNDS):
        for name, command in CLIENTS[kind].items():
            results[name].append(run(command, cpu))
    return {name: [statistics.median(row[i] for row in rows) for i in range(3)]
            for name, rows in results.items()}


def compared(kind, place, medians):
    """The medians in words, and what a table shows of them."""
    sinks = {name: row for name, row in medians.items() if name.startswith("sink")}
    bare = next(iter(sinks))
    best = min(row[0] for row in sinks.values())
    print(f"{kind}, {SIZE / GIB:.1f} GiB, {place}, {ROUNDS} rounds")
    rows = []
    for name, (seconds, cpu_ms, machine) in medians.items():
        row = {"client": name, "speed": SIZE / seconds / 1e6, "cpu": cpu_ms / (SIZE / GIB),
               "bare": sinks[bare][0] / seconds, "best": best / seconds,
               "curl": medians["curl"][0] / seconds, "bare_cpu": cpu_ms / sinks[bare][1],
               "bare_machine": machine / sinks[bare][2]}
        rows.append(row)
        print(f"  {name:22} {row['speed']:8.0f} MB/s  of the bare sink {row['bare']:5.2f}, of the best {row['best']:5.2f},"
              f" of curl {row['curl']:5.2f}  {row['cpu']:5.0f} CPU ms/GiB, of the bare sink {row['bare_cpu']:5.2f}"
              f" (with the server's {row['bare_machine']:4.2f})")
    return rows


def piped_traces():
    """Time with the traces read through a pipe, over that with none."""
    command = CLIENTS["http"]["net-test"]
    quoted = " ".join(command)
    plain, piped = [], []
    for _ in range(ROUNDS):
        plain.append(run(["sh", "-c", f"{quoted} >/dev/null"], 1)[0])
        piped.append(run(["sh", "-c", f"{quoted} | cat >/dev/null"], 1)[0])
    return statistics.median(piped) / statistics.median(plain)


def start_up():
    times = {name: [] for name in SMALL}
    for _ in range(60):
        for name, command in SMALL.items():
            start = time.perf_counter()
            subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            times[name].append(time.perf_counter() - start)
    return {name: 1000 * statistics.median(rows) for name, rows in times.items()}


def chart(path, tables):
    """Speed and CPU per GiB as an SVG."""
    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "net-test", "font.size": 8})
    from matplotlib import pyplot
    figure, axes = pyplot.subplots(len(tables), 2, figsize=(9, 1.9 * len(tables)), squeeze=False)
    for (kind, place, rows), (left, right) in zip(tables, axes):
        names = [row["client"] for row in rows][::-1]
        colours = ["tab:blue" if n == "net-test" else "tab:gray" if n.startswith("sink") else "tab:orange"
                   for n in names]
        left.barh(names, [row["speed"] / 1000 for row in rows][::-1], color=colours)
        right.barh(names, [row["cpu"] for row in rows][::-1], color=colours)
        left.set_title(f"{kind}, {place}: GB/s")
        right.set_title("client's CPU ms per GiB")
        right.set_yticklabels([])
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def report(folder, tables, costs, starts, piped):
    chart(f"{folder}/performance.svg", tables)
    cpu = re.search(r"model name\s*: (.*)", open("/proc/cpuinfo").read())
    lines = [
        "# Speed and cost", "",
        "Written by `./scripts/bench --report` from a run of its own, which is how to repeat it; the",
        f"medians of {ROUNDS} interleaved rounds over loopback, {SIZE / GIB:.0f} GiB each, from nginx and vsftpd on CPU 0.",
        f"Machine: {cpu[1] if cpu else platform.machine()}, {os.cpu_count()} CPUs, Linux {platform.release()}.", "",
        "The sinks are the least that can be written by hand: connect, ask, and one call after another.",
        "They receive, let the kernel drop the bytes, or do that and are woken for batches of 256 KiB.", "",
        "![speed and CPU time](performance.svg)"]
    for kind, place, rows in tables:
        lines += ["", f"## {kind}, {place}", "",
                  "| client | MB/s | of the bare sink | of the best sink | of curl | CPU ms/GiB | of the bare sink |",
                  "|---|---|---|---|---|---|---|"]
        lines += [f"| {r['client']} | {r['speed']:.0f} | {r['bare']:.2f} | {r['best']:.2f} | {r['curl']:.2f} |"
                  f" {r['cpu']:.0f} | {r['bare_cpu']:.2f} |" for r in rows]
    lines += ["", "## Memory and calls", "", "| client | peak KiB | system calls per GiB | calls a receive or send |",
              "|---|---|---|---|"]
    lines += [f"| {name} | {most} | {total / (SIZE / GIB):.0f} | {total / moving:.2f} |"
              for name, (total, moving, most) in costs.items()]
    lines += ["", "## Start-up: a fetch of 1 KiB", "", "| client | ms |", "|---|---|"]
    lines += [f"| {name} | {ms:.2f} |" for name, ms in starts.items()]
    lines += ["", f"Traces to a pipe that is read: {100 * (piped - 1):+.1f} % of the time of an HTTP download.", ""]
    open(f"{folder}/performance.md", "w").write("\n".join(lines))


tables, costs = [], {}
for kind in KINDS:
    for cpu, place in ((0, "one CPU"), (1, "a CPU each")):
        tables.append((TITLES[kind], place, compared(TITLES[kind], place, transfers(kind, cpu))))
    for name, command in CLIENTS[kind].items():
        total, moving = calls(command)
        costs[f"{name} ({kind})"] = total, moving, peak(command)
        print(f"  {name:22} {total / (SIZE / GIB):6.0f} system calls/GiB, {total / moving:.2f} a receive or send,"
              f" {costs[f'{name} ({kind})'][2]} KiB peak")
print("start-up: a fetch of 1 KiB, 60 rounds")
starts = start_up()
for name, ms in starts.items():
    print(f"  {name:10} {ms:6.2f} ms  {ms / starts['curl']:.2f} of curl")
piped = piped_traces()
print(f"traces to a pipe that is read: {100 * (piped - 1):+.1f} %")
subprocess.run(["strip", "-o", "/tmp/stripped", f"{BIN}/net-test"])
print(f"program: {os.path.getsize('/tmp/stripped') / 1024:.0f} KiB stripped")
if len(sys.argv) > 2:
    report(sys.argv[2], tables, costs, starts, piped)
