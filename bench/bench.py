"""Measures net-test beside other clients and bare sinks, interleaved; prints medians and ratios.

bench.py BINDIR [DOCS]: runs on a host of its own, with nginx on port 80 and vsftpd on port 21,
which serve /tmp/srv/file and take /tmp/srv/pub/up, a device that stores nothing. Their processes are pinned to CPU 0. Writes
DOCS/performance.md and its chart when a folder is given.

How a kernel doses what it sends (tcp_congestion_control) decides more than anything else, so all is
measured with the machine's own way and then with cubic, which most machines have.
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
GIB = 2.0**30
DOWN = "http://127.0.0.1/file"
FTP = "ftp://127.0.0.1"
LOGIN = ["-dst", "127.0.0.1", "-us", "anonymous", "-pw", "a", "-t", "0"]

SINKS = {"receives": "plain", "drops": "drop", "drops and paces": "pace256"}

CLIENTS = {
    "http": {
        "net-test": [f"{BIN}/net-test", "-m", "2", "-dst", DOWN],
        **{f"sink: {how}": [f"{BIN}/sink", "http", arg, "127.0.0.1", "80", "/file", "BYTES"]
           for how, arg in SINKS.items()},
        "curl": ["curl", "-s", "-o", "/dev/null", DOWN],
        "wget": ["wget", "-q", "-O", "/dev/null", DOWN],
        "lftp": ["lftp", "-c", f"set net:socket-buffer 0; cat {DOWN}"],
    },
    "get": {
        "net-test": [f"{BIN}/net-test", "-m", "0", "-f", "/file", *LOGIN],
        **{f"sink: {how}": [f"{BIN}/sink", "get", arg, "127.0.0.1", "21", "/file", "BYTES"]
           for how, arg in SINKS.items()},
        "curl": ["curl", "-s", "-o", "/dev/null", f"{FTP}/file"],
        "wget": ["wget", "-q", "-O", "/dev/null", f"{FTP}/file"],
        "lftp": ["lftp", "-c", f"cat {FTP}/file"],
    },
    "put": {
        "net-test": [f"{BIN}/net-test", "-m", "1", "-f", "/pub/up", "-size", "BYTES", *LOGIN],
        "sink: sends": [f"{BIN}/sink", "put", "plain", "127.0.0.1", "21", "/pub/up", "BYTES"],
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


size = 0


def use_control(name):
    """Has all connections over loopback dosed in this way."""
    for net in "127.0.0.0/8", "127.0.0.1/32":
        subprocess.run(["ip", "route", "replace", "local", net, "dev", "lo", "proto", "kernel", "scope", "host",
                        "src", "127.0.0.1", "table", "local", "congctl", name], check=True)


def serve(bytes_):
    """Makes the file that is served, and sent, that long."""
    global size
    size = bytes_
    os.truncate("/tmp/srv/file", size)


def sized(command):
    return [str(size) if word == "BYTES" else word for word in command]


def serve_enough():
    """Makes it so long that a bare sink takes a third of a second at least."""
    serve(2**31)
    while size < 2**34 and run(CLIENTS["http"]["sink: receives"], 1)[0] < 1 / 3:
        serve(2 * size)


def busy():
    """Milliseconds of CPU time that the machine has worked."""
    user, nice, system, _, _, irq, softirq = map(int, open("/proc/stat").readline().split()[1:8])
    return (user + nice + system + irq + softirq) * 1000 / os.sysconf("SC_CLK_TCK")


def run(command, cpu):
    """Seconds, CPU milliseconds, and those of the whole machine, of one run on a CPU."""
    machine = busy()
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(["taskset", "-c", str(cpu), *sized(command)], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   check=True)
    seconds = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if command[0].endswith("/net-test"):
        test = {"2": "http", "0": "get", "1": "put"}[command[2]]
        subprocess.run([f"{BIN}/net-test-show", test], stdout=subprocess.DEVNULL, check=True)
    own = after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime
    return seconds, 1000 * own, busy() - machine


def peak(command):
    """Peak KiB of resident memory, looked at until the end."""
    process = subprocess.Popen(sized(command), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    most = 0
    while process.poll() is None:
        try:
            most = max(most, int(re.search(r"VmHWM:\s+(\d+)", open(f"/proc/{process.pid}/status").read())[1]))
        except (OSError, TypeError):
            pass
        time.sleep(0.005)
    return most


def calls(command):
    """System calls of a run for each GiB, and for each of them that moved data."""
    text = subprocess.run(["strace", "-f", "-c", *sized(command)], stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True).stderr
    counts = {m[2]: int(m[1]) for m in re.finditer(
        r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", text, re.M)}
    counts.pop("total", None)
    total = sum(counts.values())
    return total / (size / GIB), total / max(counts.values())


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
    print(f"{kind}, {size / GIB:.0f} GiB, {place}, {ROUNDS} rounds", flush=True)
    rows = []
    for name, (seconds, cpu_ms, machine) in medians.items():
        row = {"client": name, "speed": size / seconds / 1e6, "cpu": cpu_ms / (size / GIB),
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
    chart(f"{folder}/performance.svg", [table for table in tables if CONTROLS[0] in table[1]])
    cpu = re.search(r"model name\s*: (.*)", open("/proc/cpuinfo").read())
    lines = [
        "# Speed and cost", "",
        "Written by `./scripts/bench --report` from a run of its own, which is how to repeat it; the",
        f"medians of {ROUNDS} interleaved rounds over loopback, 2 to 16 GiB each, from nginx and vsftpd on CPU 0.",
        f"Machine: {cpu[1] if cpu else platform.machine()}, {os.cpu_count()} CPUs, Linux {platform.release()}.", "",
        "How the sender's kernel doses (`tcp_congestion_control`) decides more than the client does, and with",
        f"bbr each run is another; so all is measured with {' and with '.join(CONTROLS)}. The chart shows the first.",
        "",
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
    lines += [f"| {name} | {most} | {per_gib:.0f} | {per_move:.2f} |"
              for name, (per_gib, per_move, most) in costs.items()]
    lines += ["", "## Start-up: a fetch of 1 KiB", "", "| client | ms |", "|---|---|"]
    lines += [f"| {name} | {ms:.2f} |" for name, ms in starts.items()]
    lines += ["", f"Traces to a pipe that is read: {100 * (piped - 1):+.1f} % of the time of an HTTP download.", ""]
    open(f"{folder}/performance.md", "w").write("\n".join(lines))


CONTROLS = [open("/proc/sys/net/ipv4/tcp_congestion_control").read().strip()]
if "cubic" not in CONTROLS and "cubic" in open("/proc/sys/net/ipv4/tcp_available_congestion_control").read():
    CONTROLS.append("cubic")

tables, costs = [], {}
for control in CONTROLS:
    use_control(control)
    serve_enough()
    for kind in KINDS:
        for cpu, place in ((0, "one CPU"), (1, "a CPU each")):
            place = f"{place}, {control}"
            tables.append((TITLES[kind], place, compared(TITLES[kind], place, transfers(kind, cpu))))
for kind in KINDS:
    serve(2**30)
    for name, command in CLIENTS[kind].items():
        per_gib, per_move = calls(command)
        costs[f"{name} ({kind})"] = per_gib, per_move, peak(command)
        print(f"  {name:22} {per_gib:6.0f} system calls/GiB, {per_move:.2f} a receive or send,"
              f" {costs[f'{name} ({kind})'][2]} KiB peak")
print("start-up: a fetch of 1 KiB, 60 rounds")
starts = start_up()
for name, ms in starts.items():
    print(f"  {name:10} {ms:6.2f} ms  {ms / starts['curl']:.2f} of curl")
serve_enough()
piped = piped_traces()
print(f"traces to a pipe that is read: {100 * (piped - 1):+.1f} %")
subprocess.run(["strip", "-o", "/tmp/stripped", f"{BIN}/net-test"])
print(f"program: {os.path.getsize('/tmp/stripped') / 1024:.0f} KiB stripped")
if len(sys.argv) > 2:
    report(sys.argv[2], tables, costs, starts, piped)
