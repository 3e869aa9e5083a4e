# SPDX-License-Identifier: MIT
"""mvrpctl support: what a dump has, that it says so, and that masked addresses are gone from it."""

import json
import os
import pathlib
import re
import shutil
import stat
import subprocess
import unittest

from support import NetworkTest, cable
from test_mvrpctl_json import validate

SCHEMA = pathlib.Path(__file__).resolve().parents[2] / "schema" / "support.schema.json"
MAC = re.compile(rb"\b(?:[0-9a-f]{2}:){5}[0-9a-f]{2}\b")


@unittest.skipUnless(shutil.which("zstd"), "zstd is not installed")
class Support(NetworkTest):
    def setUp(self):
        super().setUp()
        net = self.start({"west": "10-12", "middle": "-"}, [cable("west", "middle")])
        self.switch = net.nodes["middle"]
        self.assert_state(net, middle={"learnt": "10-12"})

    def dump(self, *words, name="dump"):
        """(what the command said, {name: content} of the archive)"""
        file = self.directory / f"{name}.tar.zst"
        done = self.switch.control(" ".join(["-j support", str(file), *words]))
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(validate(done.stdout, SCHEMA), 1)
        self.assertEqual(stat.S_IMODE(os.stat(file).st_mode), 0o600)
        subprocess.run(["tar", "--zstd", "-xf", file, "-C", self.directory], check=True, timeout=30)
        top = self.directory / name
        return json.loads(done.stdout), {str(path.relative_to(top)): path.read_bytes()
                                         for path in top.rglob("*") if path.is_file()}

    def test_it_contains_what_it_says(self):
        said, files = self.dump()
        entries = {entry["name"]: entry for entry in said["entries"]}
        self.assertEqual(set(entries), set(files))
        for name, entry in entries.items():
            self.assertEqual(entry["bytes"], len(files[name]), name)
        manifest = json.loads(files["manifest.json"])
        self.assertEqual({each["name"] for each in manifest["entries"]}, set(files))
        self.assertEqual(files[f"config/{self.switch.configuration_file.name}"],
                         self.switch.configuration_file.read_bytes())
        self.assertIn(b"10-12", files["snapshot.json"])
        self.assertIn(b"VLANs 10-12", files["log.txt"])
        self.assertTrue(json.loads(files["doctor.json"]))
        for name in ("status.txt", "config-running.toml", "config-diff.json", "metrics.txt",
                     "corrections.json", "system/kernel.txt"):
            self.assertIsNone(entries[name]["problem"], name)
            self.assertTrue(files[name], name)

    def test_list_says_so_before(self):
        done = self.switch.control("-j support --list --capture")
        self.assertEqual(validate(done.stdout, SCHEMA), 1)
        listed = {entry["name"] for entry in json.loads(done.stdout)["entries"]}
        self.assertIn("capture.pcap", listed)
        said, _ = self.dump()
        found = {re.sub(r"^config/.*", "config/", entry["name"]) for entry in said["entries"]}
        self.assertEqual(found - {"manifest.json"}, listed - {"capture.pcap"})

    def test_masked_addresses_are_nowhere_and_stay_told_apart(self):
        _, plain = self.dump(name="plain")
        own = {mac for text in plain.values() for mac in MAC.findall(text)
               if not int(mac[:2], 16) & 1 and mac != b"00:00:00:00:00:00"}
        self.assertGreaterEqual(len(own), 2)
        _, masked = self.dump("--mask", "--capture", name="masked")
        for name, text in masked.items():
            if name != "capture.pcap":
                self.assertEqual({mac for mac in MAC.findall(text)} & own, set(), name)
            for mac in own:
                self.assertNotIn(bytes.fromhex(mac.decode().replace(":", "")), text, name)
        self.assertIn(b"02:00:00:00:00:01", masked["snapshot.json"])
        self.assertTrue(json.loads(masked["manifest.json"])["masked"])
        self.assertGreater(len(masked["capture.pcap"]), 24, "no frame in 10 s")
        decoded = self.switch.control(f"decode {self.directory}/masked/capture.pcap")
        self.assertEqual(decoded.returncode, 0, decoded.stderr)
        self.assertIn("02:00:00:00:00:0", decoded.stdout)

    def test_without_a_daemon_the_rest_is_there(self):
        self.switch.stop()
        said, files = self.dump()
        entries = {entry["name"]: entry for entry in said["entries"]}
        self.assertIn("cannot connect", entries["snapshot.json"]["problem"])
        self.assertTrue(files["system/kernel.txt"])
        self.assertTrue(files["doctor.json"])

    def test_a_file_that_is_there_or_of_another_name_is_refused(self):
        self.dump()
        file = self.directory / "dump.tar.zst"
        done = self.switch.control(f"support {file}")
        self.assertEqual(done.returncode, 1)
        self.assertIn("allowed is a new file", done.stderr)
        for words in ("support x.zip", "support", "support .tar.zst"):
            done = self.switch.control(words)
            self.assertEqual(done.returncode, 2, words)
            self.assertIn("FILE.tar.zst", done.stderr)


if __name__ == "__main__":
    unittest.main()
