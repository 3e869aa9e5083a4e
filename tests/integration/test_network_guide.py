# SPDX-License-Identifier: MIT
"""The story of the network guide: twelve running switches of which three are not as they should be.
What stands behind $ is typed by a shell, and what comes out is what stands below."""

import os
import pathlib
import re
import subprocess
import time

import network
import terminal
import topology
from support import BUILD, NetworkTest

ROOT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = ROOT / "docs" / "network-guide.md"
TOPOLOGY = ROOT / "lab" / "topologies" / "racks.toml"
COLLECTS = "collect.sh "
SECONDS = 60


def blocks(text):
    """Blocks of (what is typed, what comes out)."""
    for block in re.findall(r"^```console\n(.*?)^```$", text, re.MULTILINE | re.DOTALL):
        parts = re.split(r"^\$ (.*)\n", block, flags=re.MULTILINE)
        yield list(zip(parts[1::2], parts[2::2]))


class Story(NetworkTest):
    def setUp(self):
        super().setUp()
        net = self.run_topology(topology.read(TOPOLOGY, self.directory))
        walk = network.Walk(net, terminal.Terminal())
        self.assertTrue(walk.run(), walk.results)
        self.desk = self.directory / "desk"
        self.desk.mkdir()
        (self.desk / "switches").write_text("".join(f"{name}\n" for name in net.nodes), encoding="utf-8")
        self.programs = self.directory / "programs"
        self.programs.mkdir()
        for program in (BUILD / "network" / "mvrp-net", next(iter(net.nodes.values())).mvrpctl,
                        ROOT / "packaging" / "examples" / "collect" / "collect.sh"):
            (self.programs / pathlib.Path(program).name).symlink_to(program)
        ssh = self.programs / "ssh"
        ssh.write_text("#!/bin/sh\nwhile [ \"$1\" = -o ]; do shift 2; done\nhost=$1\nshift\n"
                       f'MVRP_RUNTIME_DIR={self.directory}/$host exec "$@"\n', encoding="utf-8")
        ssh.chmod(0o755)

    def type(self, line):
        environment = os.environ | {"PATH": f"{self.programs}:/usr/bin:/bin"}
        return subprocess.run(["bash", "-c", line], cwd=self.desk, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=60,
                              check=False).stdout

    def follow(self, block):
        """Types a block. What a collection shows may be under way: it is made again until it fits."""
        deadline = time.monotonic() + SECONDS
        at = 0
        while at < len(block):
            line, expected = block[at]
            # A column is as wide as what is in it, also in lines that are not shown.
            said, expected = (re.sub(" {2,}", "  ", text) for text in (self.type(line), expected))
            if said == expected:
                at += 1
                continue
            again = [earlier for earlier in range(at) if block[earlier][0].startswith(COLLECTS)]
            if not again or time.monotonic() > deadline:
                self.assertEqual(said, expected, line)
            at = again[-1]
            time.sleep(0.2)

    def test_what_is_typed_and_what_comes_out(self):
        story = list(blocks(GUIDE.read_text(encoding="utf-8")))
        self.assertEqual(len(story), 6)
        for block in story:
            self.follow(block)

    def test_another_answer_is_noticed(self):
        with self.assertRaises(AssertionError):
            self.follow([("mvrp-net --version", "something else\n")])
