# SPDX-License-Identifier: MIT
"""decode and capture: what mvrpctl reads off frames, held against tshark."""

import json
import pathlib
import subprocess
import tempfile
import unittest

import expect
from support import BUILD, NetworkTest, cable

CAPTURES = pathlib.Path(__file__).resolve().parents[1] / "data" / "captures"
TWENTY = {2, 7, 8, 9, 40, 99, 100, 101, 256, 511, 512, 1000, 1023, 1024, 2047, 2048, 3000, 4000,
          4093, 4094}


def mvrpctl(*words, **options):
    return subprocess.run([BUILD / "cli" / "mvrpctl", *map(str, words)], timeout=60, check=False,
                          capture_output=True, **options)


def decode(*words, **options):
    done = mvrpctl("-j", "decode", *words, **options)
    if done.returncode != 0:
        raise AssertionError(done.stderr)
    return json.loads(done.stdout)["frames"]


class Decode(unittest.TestCase):
    """No daemon runs."""

    def vlans(self, name, form):
        vlans = set()
        for frame in decode(CAPTURES / name):
            self.assertEqual((frame["form"], frame["problem"]), (form, None))
            for event in frame["events"]:
                if event["vlans"] is not None:
                    vlans |= expect.parse(event["vlans"])
        return vlans

    def test_both_protocols_of_a_real_kernel_are_read(self):
        self.assertEqual(self.vlans("mvrp-20-vlans.pcap", "ieee"), TWENTY)
        self.assertEqual(self.vlans("gvrp-20-vlans.pcap", "gvrp"), TWENTY)

    def test_the_number_of_frames_and_the_events_agree_with_tshark(self):
        for name, filter_ in (("mvrp-leaveall.pcap", "mrp-mvrp"), ("gvrp-leaveall.pcap", "gvrp")):
            frames = decode(CAPTURES / name)
            done = subprocess.run(["tshark", "-r", CAPTURES / name, "-Y", filter_], timeout=60,
                                  capture_output=True, text=True, check=True)
            self.assertEqual(len([f for f in frames if f["form"]]),
                             len(done.stdout.splitlines()))
            self.assertTrue(any(event["event"] == "LeaveAll"
                                for frame in frames for event in frame["events"]))

    def test_a_native_frame_in_hexadecimal_is_read(self):
        frame = "0180c2000021 020000000102 0013 aaaa03 000000 88f5 000101 2004 000a 46 00 0000"
        events = decode(*frame.split())[0]["events"]
        self.assertEqual([(event["event"], event["vlans"]) for event in events],
                         [("LeaveAll", None), ("JoinIn", "10"), ("Lv", "11"), ("Mt", "12"),
                          ("New", "13")])

    def test_a_capture_comes_through_a_pipe(self):
        frames = decode("-", input=(CAPTURES / "mvrp-one-vlan.pcap").read_bytes())
        self.assertGreater(len(frames), 0)

    def test_what_wireshark_saves_is_read_as_the_same_frames(self):
        capture = CAPTURES / "mvrp-20-vlans.pcap"
        with tempfile.TemporaryDirectory(prefix="mvrp-test-") as directory:
            saved = pathlib.Path(directory) / "saved.pcapng"
            subprocess.run(["editcap", "-F", "pcapng", capture, saved], timeout=60, check=True)
            self.assertEqual(decode(saved), decode(capture))

    def test_a_capture_that_does_not_say_has_neither_port_nor_direction(self):
        with tempfile.TemporaryDirectory(prefix="mvrp-test-") as directory:
            saved = pathlib.Path(directory) / "saved.pcapng"
            subprocess.run(["editcap", "-F", "pcapng", CAPTURES / "mvrp-one-vlan.pcap", saved],
                           timeout=60, check=True)
            for file in (saved, CAPTURES / "mvrp-one-vlan.pcap"):
                self.assertEqual({(frame["port"], frame["direction"]) for frame in decode(file)},
                                 {(None, None)})

    def test_what_can_not_be_read_says_why(self):
        frame = decode("0180c2000021", "020000000102", "88f5", "00", "01", "03", "0001")[0]
        self.assertEqual(frame["problem"], "malformed PDU")
        done = mvrpctl("decode", "no-such-file")
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"hexadecimal", done.stderr)
        done = mvrpctl("decode", __file__)
        self.assertEqual(done.returncode, 2)


class Capture(NetworkTest):
    def setUp(self):
        super().setUp()
        self.net = self.start({"west": "10-12", "middle": "-"},
                              [cable("west", "middle", wire_format="ieee")])
        self.middle = self.net.nodes["middle"]
        self.file = self.directory / "frames.pcap"

    def test_both_directions_come_into_the_file(self):
        macs = {self.middle.query("show port west")["ports"][0]["macAddress"],
                self.net.nodes["west"].query("show port middle")["ports"][0]["macAddress"]}

        def capture():
            done = self.middle.control(f"capture {self.file} --seconds 3")
            self.assertEqual(done.returncode, 0, done.stderr)
            return {frame["source"] for frame in decode(self.file)}
        self.assertEqual(self.await_true(lambda: (seen := capture()) >= macs and seen), macs)
        frames = decode(self.file)
        shown = subprocess.run(["tshark", "-r", self.file, "-Y", "mrp-mvrp"], timeout=60,
                               capture_output=True, text=True, check=True)
        self.assertEqual(len(shown.stdout.splitlines()), len(frames))

    def test_a_pcapng_has_port_and_direction_for_us_and_for_wireshark(self):
        file = self.directory / "frames.pcapng"
        other = self.net.nodes["west"].query("show port middle")["ports"][0]["macAddress"]

        def capture():
            self.assertEqual(self.middle.control(f"capture {file} --seconds 2").returncode, 0)
            frames = decode(file)
            return len({frame["direction"] for frame in frames}) == 2 and frames
        frames = self.await_true(capture)
        self.assertEqual({frame["port"] for frame in frames}, {"west"})
        for frame in frames:
            self.assertEqual(frame["direction"], "in" if frame["source"] == other else "out")
        words = ["tshark", "-r", file, "-T", "fields", "-e", "frame.interface_name",
                 "-e", "frame.packet_flags_direction"]
        shown = subprocess.run(words, timeout=60, capture_output=True, text=True,
                               check=True).stdout.splitlines()
        self.assertEqual([tuple(line.split("\t")) for line in shown],
                         [("west", "0x00000001" if frame["direction"] == "in" else "0x00000002")
                          for frame in frames])
        text = self.middle.control(f"decode {file}").stdout
        self.assertRegex(text, r"frame 1  [0-9:.]+  west (in|out)  from ")

    def test_count_and_ports_limit_it(self):
        answer = self.middle.query(f"capture {self.file} west --count 2 --seconds 20")
        self.assertEqual((answer["frames"], answer["lost"]), (2, 0))
        self.assertEqual(len(decode(self.file)), 2)
        self.assertEqual(self.middle.control(f"capture {self.file} north").returncode, 1)

    def test_the_standard_output_takes_it(self):
        done = subprocess.run([self.middle.mvrpctl, "capture", "-", "--count", "1"], timeout=30,
                              env=self.middle.environment, capture_output=True, check=True)
        self.assertEqual(len(decode("-", input=done.stdout)), 1)

    def test_a_file_that_can_not_be_written_is_refused(self):
        done = self.middle.control("capture /no/such/directory/file")
        self.assertEqual(done.returncode, 2)
        self.assertIn("cannot write", done.stderr)


if __name__ == "__main__":
    unittest.main()
