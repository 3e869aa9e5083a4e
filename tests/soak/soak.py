#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A daemon under load for a long time: many ports, joins, leaves, garbage, and requests all along.

Memory and descriptors are sampled, the delay of every request is measured, and every registration
that should be there is looked for. Exit status 1 when memory or descriptors grow after the first
minutes, a registration is missing, a request is not answered, or the daemon does not end well."""

import argparse
import json
import multiprocessing
import os
import pathlib
import struct
import sys
import tempfile
import threading
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path[:0] = [str(ROOT / "lab"), str(ROOT / "tests" / "integration"), str(HERE)]

TIMERS = {"join": 1000, "leave": 10000, "leave-all": 30000}
STEADY_VLANS = 20      # of each port
STEADY_FIRST = 100     # VLAN ID of the first port's
CHURN = range(2000, 3000)
SAMPLE_SECONDS = 10
WARM_UP_SHARE = 0.1    # of the time, before memory must not grow any more
WARM_UP_SECONDS = 30   # at least: so long until as many clients are there as stay
GROWTH_ALLOWED_KIB = 1024
PORT_GET, SCALAR_GET, PORT_SET = 3, 6, 4
HOST_INFO, PORT_LIST, PORT_COUNTERS, PORT_MACHINES, SWITCH_CHANGE = 256, 257, 260, 261, 288
VLAN_CREATE, VLAN_DELETE = 20, 21
REGISTERED_FLAG = 2
COUNTERS = struct.Struct("=11Q")
COUNTER_NAMES = ("framesIn", "framesOut", "bytesIn", "bytesOut", "droppedMalformed",
                 "droppedOverflow", "droppedDisabled", "droppedTunnel", "sendFailed", "forwarded",
                 "ignored")


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./dev soak", description=__doc__.split("\n\n")[0])
    parser.add_argument("--minutes", type=float, default=60, help="how long (60)")
    parser.add_argument("--ports", type=int, default=48, help="ports, each with a peer (48)")
    parser.add_argument("--rate", type=int, default=2000, help="frames a second, all peers (2000)")
    parser.add_argument("--everything", action="store_true",
                        help="with all corrections, a standby, recordings, reloads and clients as well")
    parser.add_argument("--seed", type=int, default=1, help="of what the peers do (1)")
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build",
                        help="directory of the build to soak (build)")
    parser.add_argument("--log", type=pathlib.Path, default=ROOT / "out" / "soak.jsonl",
                        help="samples, a JSON object a line (out/soak.jsonl)")
    return parser.parse_args()


def vlan_bitmap(vlans):
    bits = bytearray(512)
    for vlan in vlans:
        bits[(vlan - 1) // 8] |= 0x80 >> (vlan - 1) % 8
    return bytes(bits)


def switch_change(kind, vlans):
    return struct.pack("=III6s2s512s256s", kind, 0, 0, b"", b"", vlan_bitmap(vlans), b"")


class Requests(threading.Thread):
    """A client that asks one thing after the other and keeps the longest delay of each kind."""

    KINDS = (("scalar", SCALAR_GET, 0, 7, b""), ("port attribute", PORT_GET, 1, 6, b""),
             ("host", HOST_INFO, 0, 0, b""), ("port list", PORT_LIST, 0, 0, b""),
             ("counters", PORT_COUNTERS, 2, 0, b""), ("machines", PORT_MACHINES, 3, 0, b""),
             ("participant mode 3", PORT_SET, 4, 3, struct.pack("=I", 2)),
             ("participant mode 1", PORT_SET, 4, 3, struct.pack("=I", 1)),
             ("create VLANs", SWITCH_CHANGE, 0, 0, switch_change(VLAN_CREATE, range(50, 60))),
             ("delete VLANs", SWITCH_CHANGE, 0, 0, switch_change(VLAN_DELETE, range(50, 60))))

    def __init__(self, channel):
        super().__init__(daemon=True)
        self.channel = channel
        self.ended = threading.Event()
        self.count = 0
        self.total = 0.0
        self.longest = {}
        self.problem = ""

    def run(self):
        try:
            while not self.ended.wait(0.02):
                name, *request = self.KINDS[self.count % len(self.KINDS)]
                begin = time.monotonic()
                status, _ = self.channel.request(*request)
                spent = time.monotonic() - begin
                self.count += 1
                self.total += spent
                self.longest[name] = max(spent, self.longest.get(name, 0.0))
                if status != 0:
                    self.problem = f"request '{name}' was answered with {status:#x}"
                    return
        except Exception as error:  # what ends the thread is the result
            self.problem = f"{type(error).__name__}: {error}"


class Soak:
    def __init__(self, arguments, directory):
        import node
        import topology
        from support import Channel
        switch = topology.Switch("soaked", "10-12")
        self.ends, self.steady = [], []
        for index in range(arguments.ports):
            here, port = directory / f"peer{index}", directory / f"port{index}"
            switch.add_port(f"p{index + 1}", cable=f"unix:{port},{here}", timers=TIMERS)
            self.ends.append((here, port))
            self.steady.append((STEADY_FIRST + index * STEADY_VLANS, STEADY_VLANS))
        self.arguments = arguments
        self.node = node.Node(switch, directory / "switch", arguments.build.resolve())
        self.company = None
        if arguments.everything:
            from company import Company
            self.company = Company(self.node, directory, arguments.build.resolve())
        self.new_channel = lambda: Channel(self.node.directory / "mvrpcmd.socket")
        self.samples, self.problems = [], []
        self.checked = 0  # registrations looked for

    def run(self):
        from traffic import Peers
        self.node.start()
        self.node.wait_ready()
        ended, counts = multiprocessing.Event(), multiprocessing.Array("Q", 3)
        peers = Peers(self.ends, self.steady, CHURN, self.arguments.seed)
        sender = multiprocessing.Process(target=peers.run, daemon=True,
                                         args=(self.arguments.rate, ended, counts))
        sender.start()
        requests = Requests(self.new_channel())
        requests.start()
        if self.company:
            self.company.begin(self.new_channel)
        self.watch(counts, requests)
        ended.set()
        requests.ended.set()
        requests.join(60)
        sender.join(10)
        if self.company:
            self.company.end()
            self.problems += self.company.problems
        status = self.node.stop()
        if status != 0:
            self.problems.append(f"the daemon ended with {status}: {self.node.log_tail()}")
        self.judge(requests)
        return self.report(requests)

    def watch(self, counts, requests):
        begin = time.monotonic()
        with self.new_channel() as channel, open(self.arguments.log, "w", encoding="utf-8") as log:
            while (now := time.monotonic() - begin) < self.arguments.minutes * 60:
                time.sleep(min(SAMPLE_SECONDS, max(0.1, self.arguments.minutes * 6)))
                if self.node.process.poll() is not None or requests.problem:
                    self.problems.append(requests.problem or "the daemon is gone")
                    return
                if self.company and not self.company.is_alive():
                    return
                sample = self.sample(channel, counts)
                sample["second"] = round(time.monotonic() - begin, 1)
                sample["longestRequestMs"] = round(1000 * max(requests.longest.values(), default=0), 1)
                # Right after the start the first declarations are still on their way.
                if now > 15:
                    sample["missing"] = self.missing(channel)
                    self.problems += sample["missing"]
                self.samples.append(sample)
                print(json.dumps(sample), file=log, flush=True)

    def sample(self, channel, counts):
        process = pathlib.Path("/proc") / str(self.node.process.pid)
        status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
        ports = [COUNTERS.unpack(channel.request(PORT_COUNTERS, unit + 1)[1][:COUNTERS.size])
                 for unit in range(self.arguments.ports)]
        spent = (process / "stat").read_text().rsplit(")", 1)[1].split()[11:13]
        return {
            **(self.company.sample() if self.company else {}),
            "rssKib": int(status["VmRSS"].split()[0]), "threads": int(status["Threads"]),
            "descriptors": len(os.listdir(process / "fd")),
            "cpuSeconds": sum(map(int, spent)) / os.sysconf("SC_CLK_TCK"),
            "sent": counts[0], "refused": counts[1], "read": counts[2],
            **{name: sum(port[at] for port in ports) for at, name in enumerate(COUNTER_NAMES)}}

    def missing(self, channel):
        """Registrations that should be there and are not, as texts."""
        texts = []
        for index, (first, count) in enumerate(self.steady):
            _, machines = channel.request(PORT_MACHINES, index + 1)
            self.checked += count
            lost = [vlan for vlan in range(first, first + count)
                    if not machines[3 * (vlan - 1) + 2] & REGISTERED_FLAG]
            if lost:
                texts.append(f"port {index + 1} has lost {lost}")
        return texts

    def warm(self):
        """The samples after the first minutes."""
        begin = max(self.arguments.minutes * 60 * WARM_UP_SHARE, WARM_UP_SECONDS)
        return [s for s in self.samples if s["second"] > begin]

    def judge(self, requests):
        if requests.is_alive():
            self.problems.append("a request is not answered")
        warm = self.warm()
        if len(warm) < 2:
            self.problems.append("too few samples to judge; let it run longer")
            return
        # Recordings and clients come and go: what stays is the least of a time.
        quarter = max(1, len(warm) // 4)
        for name in ("rssKib", "standbyRssKib", "descriptors", "standbyDescriptors"):
            if name not in warm[0]:
                continue
            before, after = (min(s[name] for s in part) for part in (warm[:quarter], warm[-quarter:]))
            if after - before > (GROWTH_ALLOWED_KIB if name.endswith("Kib") else 0):
                self.problems.append(f"{name} grew from {before} to {after} after the first minutes")

    def report(self, requests):
        last = self.samples[-1] if self.samples else {}
        warm = self.warm()
        seconds = last.get("second", 0) or 1
        print(f"{seconds / 60:.1f} minutes, {self.arguments.ports} ports")
        print(f"frames sent to the daemon: {last.get('sent', 0)}, {last.get('sent', 0) / seconds:.0f} "
              f"a second; refused by a full socket: {last.get('refused', 0)}")
        for name in COUNTER_NAMES:
            print(f"  {name}: {last.get(name, 0)}")
        if self.company:
            self.company.report()
        for name in ("rssKib", "descriptors", "threads", "standbyRssKib", "standbyDescriptors"):
            values = [s[name] for s in warm if name in s]
            if not values:
                continue
            print(f"{name} after the first tenth: first {values[0]}, least {min(values)}, "
                  f"most {max(values)}, last {values[-1]}")
        print(f"processor time of the daemon: {last.get('cpuSeconds', 0):.0f} s")
        mean = 1000 * requests.total / max(requests.count, 1)
        print(f"requests: {requests.count}, mean {mean:.1f} ms; longest, by kind, in ms: " +
              ", ".join(f"{name} {1000 * spent:.0f}" for name, spent in requests.longest.items()))
        print(f"registrations looked for: {self.checked}")
        for problem in self.problems[:20]:
            print(f"PROBLEM: {problem}")
        print("0 problems" if not self.problems else f"{len(self.problems)} problems")
        return 1 if self.problems else 0


def main():
    arguments = parse_arguments()
    os.environ["MVRP_BUILD"] = str(arguments.build.resolve())
    arguments.log.parent.mkdir(parents=True, exist_ok=True)
    with tempfile.TemporaryDirectory(prefix="mvrp-soak-") as directory:
        return Soak(arguments, pathlib.Path(directory)).run()


if __name__ == "__main__":
    sys.exit(main())
