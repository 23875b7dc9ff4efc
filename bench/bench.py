"""Measures net-test beside other clients and bare sinks, interleaved; prints medians and quartiles.

bench.py BINDIR [DOCS]: runs on a host of its own. nginx on port 80 and vsftpd on port 21, pinned to
CPU 0, serve /tmp/srv/file and take /tmp/srv/pub/up, a device that stores nothing. nginx on
10.3.0.2, behind a link of 1 Gbit/s, serves the first 256 MiB as /link. Writes DOCS/performance.md
and its chart when a folder is given.

How a kernel paces what it sends (tcp_congestion_control) changes the outcome, so everything is
measured with each way that the machine has, cubic first.
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
WEB = "http://127.0.0.1/file"
FTP = "ftp://127.0.0.1"
LOGIN = ["-dst", "127.0.0.1", "-us", "anonymous", "-pw", "a", "-t", "0"]
SINKS = {"receives": "plain", "discards": "drop"}


def net_test(*arguments, program="net-test"):
    return [f"{BIN}/{program}", *arguments]


def sinks(kind, address, port, path, size):
    return {f"sink that {how}": (how, [f"{BIN}/sink", kind, argument, address, port, path, str(size)])
            for how, argument in SINKS.items()}


# Each client, what it does with the bytes, and its command.
CLIENTS = {
    "http": {
        "net-test": ("discards", net_test("-m", "2", "-dst", WEB)),
        **sinks("http", "127.0.0.1", "80", "/file", SIZE),
        "curl": ("writes to /dev/null", ["curl", "-s", "-o", "/dev/null", WEB]),
        "wget": ("writes to /dev/null", ["wget", "-q", "-O", "/dev/null", WEB]),
        "lftp": ("writes to /dev/null", ["lftp", "-c", f"set net:socket-buffer 0; cat {WEB}"]),
    },
    "get": {
        "net-test": ("discards", net_test("-m", "0", "-f", "/file", *LOGIN)),
        **sinks("get", "127.0.0.1", "21", "/file", SIZE),
        "curl": ("writes to /dev/null", ["curl", "-s", "-o", "/dev/null", f"{FTP}/file"]),
        "wget": ("writes to /dev/null", ["wget", "-q", "-O", "/dev/null", f"{FTP}/file"]),
        "lftp": ("writes to /dev/null", ["lftp", "-c", f"cat {FTP}/file"]),
    },
    "put": {
        "net-test": ("sends a buffer", net_test("-m", "1", "-f", "/pub/up", "-size", str(SIZE), *LOGIN)),
        "sink that sends": ("sends a buffer",
                            [f"{BIN}/sink", "put", "plain", "127.0.0.1", "21", "/pub/up", str(SIZE)]),
        "curl": ("reads a file", ["curl", "-s", "-T", "/tmp/srv/file", f"{FTP}/pub/up"]),
        "lftp": ("reads a file", ["lftp", "-c", f"put /tmp/srv/file -o {FTP}/pub/up"]),
    },
}
TITLES = {"http": "HTTP download", "get": "FTP download", "put": "FTP upload"}
LINK = {
    "net-test": ("discards", net_test("-m", "2", "-dst", "http://10.3.0.2/link")),
    **sinks("http", "10.3.0.2", "80", "/link", 2**28),
    "curl": ("writes to /dev/null", ["curl", "-s", "-o", "/dev/null", "http://10.3.0.2/link"]),
}
SMALL = {
    "net-test": net_test("-m", "2", "-dst", "http://127.0.0.1/small"),
    "curl": ["curl", "-s", "-o", "/dev/null", "http://127.0.0.1/small"],
    "wget": ["wget", "-q", "-O", "/dev/null", "http://127.0.0.1/small"],
}
TRACES = {
    "no traces": net_test("-m", "2", "-dst", WEB, program="quiet"),
    "to /dev/null": net_test("-m", "2", "-dst", WEB),
    "to a pipe": ["sh", "-c", " ".join(net_test("-m", "2", "-dst", WEB)) + " | cat >/dev/null"],
}


def use_control(name):
    """Has all connections over loopback paced in this way."""
    for net in "127.0.0.0/8", "127.0.0.1/32":
        subprocess.run(["ip", "route", "replace", "local", net, "dev", "lo", "proto", "kernel", "scope", "host",
                        "src", "127.0.0.1", "table", "local", "congctl", name], check=True)


def run(command, cpu):
    """Seconds and CPU milliseconds of one run on a CPU."""
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    start = time.perf_counter()
    subprocess.run(["taskset", "-c", str(cpu), *command], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                   check=True)
    seconds = time.perf_counter() - start
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    if command[0].endswith("/net-test"):
        test = {"2": "http", "0": "get", "1": "put"}[command[2]]
        subprocess.run([f"{BIN}/net-test-show", test], stdout=subprocess.DEVNULL, check=True)
    return seconds, 1000 * (after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime)


def rounds(commands, cpu, count=ROUNDS):
    """The runs of all commands, one after another in each round."""
    results = {name: [] for name in commands}
    for _ in range(count):
        for name, command in commands.items():
            results[name].append(run(command, cpu))
    return results


def quartiles(values):
    return statistics.quantiles(values, n=4, method="inclusive")


def compared(title, clients, size, cpu):
    """Rows of a table: what a client does, its speed in MB/s and CPU ms per GiB, and their ratios."""
    runs = rounds({name: command for name, (_, command) in clients.items()}, cpu)
    rows = {}
    for name, (does, _) in clients.items():
        speeds = quartiles([size / seconds / 1e6 for seconds, _ in runs[name]])
        cost = statistics.median(ms for _, ms in runs[name]) / (size / GIB)
        rows[name] = {"does": does, "speed": speeds[1], "range": (speeds[0], speeds[2]), "cpu": cost}
    sink_rows = [row for name, row in rows.items() if name.startswith("sink")]
    for row in rows.values():
        row["of_sink"] = row["speed"] / max(sink["speed"] for sink in sink_rows)
        row["of_sink_cpu"] = row["cpu"] / sink_rows[-1]["cpu"]
        row["of_curl"] = row["speed"] / rows["curl"]["speed"]
        row["of_curl_cpu"] = row["cpu"] / rows["curl"]["cpu"]
    print(title)
    for line in table_of(rows):
        print(f"  {line}", flush=True)
    return title, rows


def table_of(rows):
    """A table in Markdown."""
    lines = ["| client | what it does | MB/s | quartiles | speed / faster sink | speed / curl | CPU ms/GiB | CPU / last sink |",
             "|---|---|---|---|---|---|---|---|"]
    return lines + [f"| {name} | {r['does']} | {r['speed']:.0f} | {r['range'][0]:.0f} to {r['range'][1]:.0f} |"
                    f" {r['of_sink']:.2f} | {r['of_curl']:.2f} | {r['cpu']:.0f} | {r['of_sink_cpu']:.2f} |"
                    for name, r in rows.items()]


def cost_of(command):
    """Peak KiB of memory, system calls per GiB, and system calls for each that moved data."""
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    peak = 0
    while process.poll() is None:
        try:
            peak = max(peak, int(re.search(r"VmHWM:\s+(\d+)", open(f"/proc/{process.pid}/status").read())[1]))
        except (OSError, TypeError):
            pass
        time.sleep(0.005)
    text = subprocess.run(["strace", "-f", "-c", *command], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                          text=True).stderr
    counts = {m[2]: int(m[1]) for m in re.finditer(
        r"^\s*[\d.]+\s+[\d.]+\s+\d+\s+(\d+)\s+(?:\d+\s+)?(\w+)$", text, re.M)}
    counts.pop("total", None)
    total = sum(counts.values())
    return peak, total / (SIZE / GIB), total / max(counts.values())


def traces():
    """Seconds of a download over those without traces, for each place to which they go."""
    lines = []
    for cpu, place in PLACES:
        runs = rounds(TRACES, cpu, 2 * ROUNDS + 1)
        medians = {name: quartiles([seconds for seconds, _ in rows])[1] for name, rows in runs.items()}
        lines.append(f"| {place} | " + " | ".join(f"{100 * (medians[name] / medians['no traces'] - 1):+.1f} %"
                                                   for name in list(TRACES)[1:]) + " |")
    return ["| place | " + " | ".join(list(TRACES)[1:]) + " |", "|---|---|---|"] + lines


def chart(path, tables):
    """Speed and CPU time of the HTTP downloads with a CPU each, as an SVG."""
    import matplotlib
    matplotlib.use("svg")
    matplotlib.rcParams.update({"svg.hashsalt": "net-test", "svg.fonttype": "none", "font.size": 8})
    from matplotlib import pyplot
    tables = [(title, rows) for title, rows in tables if title.startswith(f"{TITLES['http']}, a CPU each")]
    figure, axes = pyplot.subplots(len(tables), 2, figsize=(9, 1.7 * len(tables)), squeeze=False)
    for (title, rows), (left, right) in zip(tables, axes):
        names = list(rows)[::-1]
        colours = ["tab:blue" if n == "net-test" else "tab:gray" if n.startswith("sink") else "tab:orange"
                   for n in names]
        left.barh(names, [rows[n]["speed"] / 1000 for n in names], color=colours)
        right.barh(names, [rows[n]["cpu"] for n in names], color=colours)
        left.set_title(f"{title}: GB/s")
        right.set_title("client's CPU ms per GiB")
        right.set_yticklabels([])
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})


def span(values, form="{:.2f}"):
    return f"{form.format(min(values))} to {form.format(max(values))}"


def summary(tables):
    downs = [rows for title, rows in tables if "download" in title]
    ups = [rows["net-test"] for title, rows in tables if "upload" in title]
    ours = [rows["net-test"] for rows in downs]
    return [f"Over loopback, net-test downloads {span([r['of_curl'] for r in ours])} times as fast as curl, for"
            f" {span([r['of_curl_cpu'] for r in ours])} of curl's CPU time.",
            f"Compared with the faster of two minimal programs, of which one receives and one discards, it downloads at"
            f" {span([r['of_sink'] for r in ours])} of the speed.",
            f"It uploads at {span([r['of_sink'] for r in ups])} of the speed of a minimal sender, for"
            f" {span([r['of_sink_cpu'] for r in ups])} of its CPU time."]


def version(*command):
    """The first number of the kind 1.2 that a program prints; vsftpd prints it to its standard input."""
    text = subprocess.run(["sh", "-c", '"$@" 2>&1 0>&1 | cat', "sh", *command], stdout=subprocess.PIPE, text=True).stdout
    return re.search(r"\d+(\.\d+)+", text)[0]


def report(folder, tables, link, costs, trace_rows, starts, size):
    chart(f"{folder}/performance.svg", tables)
    cpu = re.search(r"model name\s*: (.*)", open("/proc/cpuinfo").read())
    names = ["curl", "wget", "lftp"]
    peer = f"{folder}/../scripts/peer"
    lines = ["# Speed and cost", "", *summary(tables), "",
             "![speed and CPU time of HTTP downloads with a CPU each](performance.svg)", "",
             "## How it was measured", "",
             f"The figures are from a run of `./scripts/bench --report` on {time.strftime('%Y-%m-%d')}, at commit"
             f" {os.environ.get('COMMIT', 'unknown')}.",
             f"Machine: {cpu[1] if cpu else platform.machine()}, {os.cpu_count()} CPUs, Linux {platform.release()}.",
             f"Servers: nginx {version(peer, 'nginx', '-v')} and vsftpd {version(peer, 'vsftpd', '-v')}, on CPU 0. Clients:"
             f" {', '.join(f'{n} ' + version(n, '--version') for n in names)}.", "",
             f"Each figure is the median of {ROUNDS} runs of {SIZE / GIB:g} GiB of random bytes. The clients take turns in",
             "each round. Half of a client's runs lie between its quartiles. \"One CPU\" means that the client shares CPU 0 with",
             "the server; with \"a CPU each\" it has CPU 1. cubic and bbr are the congestion controls of the sending kernel.",
             "",
             "A sink is the least that can be written by hand: connect, ask, then one call after another. One receives into a",
             "buffer, one has the kernel discard the bytes (MSG_TRUNC), as net-test does. The other clients copy the bytes",
             "and write them to /dev/null, or read them from a file, so they do more work.", "",
             "The CPU time is the client's own, without the server's."]
    for title, rows in [*tables, link]:
        lines += ["", f"## {title}", "", *table_of(rows)]
    lines += ["", "## Memory and system calls", "",
              "| client | peak KiB | system calls per GiB | system calls per receive or send |", "|---|---|---|---|"]
    lines += [f"| {name} | {peak} | {per_gib:.0f} | {per_move:.2f} |" for name, (peak, per_gib, per_move) in costs.items()]
    lines += ["", "## Traces", "", "Extra time of an HTTP download with traces, compared with a build that prints nothing:", "", *trace_rows, "",
              "The runs vary by some 5 %.",
              "", "## A fetch of 1 KiB", "", "| client | ms |", "|---|---|"]
    lines += [f"| {name} | {ms:.2f} |" for name, ms in starts.items()]
    lines += ["", "## Size", "", f"net-test has {size:.0f} KiB, stripped. Its C++ runtime is linked in.", ""]
    open(f"{folder}/performance.md", "w").write("\n".join(lines))


available = open("/proc/sys/net/ipv4/tcp_available_congestion_control").read().split()
CONTROLS = [name for name in ("cubic", "bbr") if name in available] or available[:1]
PLACES = ((0, "one CPU"), (1, "a CPU each"))

tables = []
for control in CONTROLS:
    use_control(control)
    for kind in KINDS:
        for cpu, place in PLACES:
            tables.append(compared(f"{TITLES[kind]}, {place}, {control}", CLIENTS[kind], SIZE, cpu))
use_control(CONTROLS[0])
link = compared(f"HTTP download over a link of 1 Gbit/s, segments of 1500 bytes, {CONTROLS[0]}", LINK, 2**28, 1)
costs = {f"{name} ({TITLES[kind]})": cost_of(command) for kind in KINDS for name, (_, command) in CLIENTS[kind].items()}
trace_rows = traces()
starts = {name: 1000 * quartiles([seconds for seconds, _ in rows])[1] for name, rows in rounds(SMALL, 1, 61).items()}
subprocess.run(["strip", "-o", "/tmp/stripped", f"{BIN}/net-test"], check=True)
size = os.path.getsize("/tmp/stripped") / 1024
for name, (peak, per_gib, per_move) in costs.items():
    print(f"{name:40} {peak} KiB, {per_gib:.0f} system calls/GiB, {per_move:.2f} per receive or send")
print("traces:", *trace_rows[2:], sep="\n  ")
print("a fetch of 1 KiB:", ", ".join(f"{name} {ms:.2f} ms" for name, ms in starts.items()))
print(f"size: {size:.0f} KiB stripped")
if len(sys.argv) > 2:
    report(sys.argv[2], tables, link, costs, trace_rows, starts, size)
