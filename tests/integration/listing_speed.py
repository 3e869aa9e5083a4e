#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""How long mvrpctl takes to list 48 ports with 4094 VLANs each while frames go on being handled.

usage: listing_speed.py [--build DIRECTORY] [--scattered] [--rate N] [--times N]

A measurement for a quiet machine, not a test: it prints the shortest and the longest time of each
listing, what mvrpctl and the daemon's command task used of a processor for it, and how many frames were
handled meanwhile. Each port has a peer that declares all VLANs."""

import argparse
import contextlib
import multiprocessing
import os
import pathlib
import resource
import select
import socket
import sys
import tempfile
import time

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parent.parent
sys.path[:0] = [str(ROOT / "lab")]

import node  # noqa: E402  (beside the lab)
import topology  # noqa: E402  (beside the lab)

PORTS = 48
TIMERS = {"join": 1000, "leave": 10000, "leave-all": 30000}
COMMANDS = ("show summary", "show running", "show ports", "show vlans", "show vlan 20", "show config",
            "show state p1", "explain p1 20", "metrics", "-j show summary", "-j show running",
            "-j show ports")
GROUP_ADDRESS, PEER = bytes.fromhex("0180c2000021"), bytes.fromhex("02000000aa01")
JOIN_IN, VLANS_PER_FRAME, LAST_VLAN = 1, 2000, 4094
EVENTS_PER_BYTE = 3


def join_frames():
    """Frames in the form of IEEE 802.1Q that declare VLANs 2 to 4094."""
    frames = []
    for first in range(2, LAST_VLAN + 1, VLANS_PER_FRAME):
        count = min(VLANS_PER_FRAME, LAST_VLAN + 1 - first)
        packed = (JOIN_IN * 36 + JOIN_IN * 6 + JOIN_IN).to_bytes(1, "big")
        vector = (count.to_bytes(2, "big") + first.to_bytes(2, "big")
                  + packed * -(-count // EVENTS_PER_BYTE))
        frames.append(GROUP_ADDRESS + PEER + bytes.fromhex("88f5" "000102") + vector + bytes(4))
    return frames


class Peers:
    """The other ends of all cables: they declare at a rate and take what the switch sends."""

    def __init__(self, directory):
        self.ends = []
        for index in range(PORTS):
            here, there = directory / f"peer{index}", directory / f"port{index}"
            end = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
            end.bind(str(here))
            end.setblocking(False)
            self.ends.append((end, here, there))

    def take(self):
        ready = select.epoll()
        by_descriptor = {end.fileno(): end for end, _, _ in self.ends}
        for descriptor in by_descriptor:
            ready.register(descriptor, select.EPOLLIN)
        while True:
            for descriptor, _ in ready.poll():
                with contextlib.suppress(BlockingIOError):
                    while True:
                        by_descriptor[descriptor].recv(65536)

    def declare(self, rate):
        frames, due = join_frames(), time.monotonic()
        while True:
            for end, _, there in self.ends:
                for frame in frames:
                    with contextlib.suppress(OSError):
                        end.sendto(frame, str(there))
                    due += 1 / rate
                    time.sleep(max(0.0, due - time.monotonic()))


def frames_in(switch):
    counters = switch.query("show counters")["counters"]
    return sum(c["framesIn"] for c in counters), sum(c["droppedOverflow"] for c in counters)


def processor_seconds(switch):
    """What the daemon's command task, and every mvrpctl that has ended, used of processors."""
    used = resource.getrusage(resource.RUSAGE_CHILDREN)
    for task in pathlib.Path(f"/proc/{switch.process.pid}/task").iterdir():
        if (task / "comm").read_text().strip().startswith("mvrpcmd"):
            nanoseconds = int((task / "schedstat").read_text().split()[0])
            return used.ru_utime + used.ru_stime + nanoseconds / 1e9
    sys.exit("the daemon has no command task")


def measure(switch, command, times):
    """Seconds, shortest and longest, of a processor, and the bytes of the answer."""
    spent, before = [], processor_seconds(switch)
    for _ in range(times):
        begin = time.monotonic()
        done = switch.control(command)
        spent.append(time.monotonic() - begin)
        if done.returncode != 0:
            sys.exit(f"mvrpctl {command}: {done.stderr}")
    used = (processor_seconds(switch) - before) / times
    return min(spent), max(spent), used, len(done.stdout)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build")
    parser.add_argument("--scattered", action="store_true", help="every second VLAN is static")
    parser.add_argument("--rate", type=float, default=100, help="frames a second, all peers (100)")
    parser.add_argument("--times", type=int, default=10, help="how often each is run (10)")
    arguments = parser.parse_args()
    with tempfile.TemporaryDirectory(prefix="mvrp-listing-") as directory:
        peers = Peers(pathlib.Path(directory))
        vlans = ",".join(map(str, range(3, LAST_VLAN, 2))) if arguments.scattered else "2-4094"
        plan = topology.Switch("listed", vlans)
        for index, (_, here, there) in enumerate(peers.ends):
            plan.add_port(f"p{index + 1}", cable=f"unix:{there},{here}", timers=TIMERS)
        switch = node.Node(plan, pathlib.Path(directory) / "switch", arguments.build.resolve())
        for work in ((peers.take,), (peers.declare, arguments.rate)):
            multiprocessing.get_context("fork").Process(target=work[0], args=work[1:],
                                                        daemon=True).start()
        switch.start()
        try:
            switch.wait_ready(60)
            report(switch, arguments)
        finally:
            switch.stop()


def report(switch, arguments):
    print(switch.control("show summary").stdout.splitlines()[1])
    print(f"load of the machine: {os.getloadavg()[0]:.1f} on {os.cpu_count()} processors")
    begin, (frames, lost) = time.monotonic(), frames_in(switch)
    print(f"{'mvrpctl':<18}{'shortest':>10}{'longest':>10}{'processor':>12}{'bytes':>10}")
    for command in COMMANDS:
        shortest, longest, used, size = measure(switch, command, arguments.times)
        print(f"{command:<18}{shortest:>8.3f} s{longest:>8.3f} s{used:>10.3f} s{size:>10}")
    later, lost_later = frames_in(switch)
    print(f"meanwhile {(later - frames) / (time.monotonic() - begin):.0f} frames a second were "
          f"handled, {lost_later - lost} were lost")


if __name__ == "__main__":
    main()
