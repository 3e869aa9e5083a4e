# SPDX-License-Identifier: MIT
"""Metrics: the text against Prometheus' own checker, the endpoint against clients of all manners and a real
Prometheus, and what stands on them: alerts and the dashboard."""

import http.client
import json
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import unittest
import urllib.error
import urllib.parse
import urllib.request

import topology
from support import TIMERS, NetworkTest, cable

MONITORING = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "monitoring"
PORT = 9620
MOST_CLIENTS = 16
needs_promtool = unittest.skipUnless(shutil.which("promtool"), "promtool is not installed")
OPEN = {"Accept": "application/openmetrics-text; version=1.0.0"}


def address(number, last=1):
    """Of the loopback, and nobody else's."""
    return f"127.{70 + os.getpid() % 100}.{last}.{number}"


def setting(host):
    return f'\n[metrics]\nlisten = "{host}:{PORT}"\n'


def get(host, path="/metrics", headers=None, method="GET", port=PORT):
    """(status, content type, text) of an answer; nothing when there is none."""
    request = urllib.request.Request(f"http://{host}:{port}{path}", headers=headers or {}, method=method)
    try:
        with urllib.request.urlopen(request, timeout=30) as answer:
            return answer.status, answer.headers["Content-Type"], answer.read().decode()
    except urllib.error.HTTPError as answer:
        return answer.code, answer.headers["Content-Type"], answer.read().decode()
    except (urllib.error.URLError, ConnectionError, http.client.HTTPException):
        return None


def promtool(*words, **options):
    return subprocess.run(["promtool", *words], text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=60, check=False, **options)


def families(text):
    return set(re.findall(r"^# TYPE (\w+) ", text, re.MULTILINE))


def names_in(expression):
    return set(re.findall(r"\bmvrp_\w+", expression))


class Endpoint(NetworkTest):
    def setUp(self):
        super().setUp()
        self.host = address(1)
        switch = topology.Switch("sw", "10-12")
        switch.add_port("p1", timers=TIMERS)
        self.node = self.run_topology(topology.Topology("test", {"sw": switch}, []),
                                      {"sw": setting(self.host)}).nodes["sw"]
        self.await_true(lambda: get(self.host))

    def exporter(self):
        """The process id of the daemon's child; nothing while there is none."""
        children = [pathlib.Path(f"/proc/{self.node.process.pid}/task/{task}/children").read_text().split()
                    for task in os.listdir(f"/proc/{self.node.process.pid}/task")]
        return next((int(child) for each in children for child in each), None)

    def test_both_formats_are_served(self):
        status, kind, text = get(self.host)
        self.assertEqual((status, kind), (200, "text/plain; version=0.0.4; charset=utf-8"))
        self.assertIn('mvrp_port_vlans{port="p1",unit="1",state="declared"}', text)
        status, kind, opened = get(self.host, headers=OPEN)
        self.assertEqual((status, kind),
                         (200, "application/openmetrics-text; version=1.0.0; charset=utf-8"))
        self.assertTrue(opened.endswith("# EOF\n"))
        self.assertEqual(families(text), families(self.node.control("metrics").stdout))

    def test_it_only_reads_and_says_what_there_is(self):
        self.assertEqual(get(self.host, "/")[0], 200)
        self.assertEqual(get(self.host, "/other")[0], 404)
        for method in ("POST", "PUT", "DELETE", "OPTIONS"):
            self.assertEqual(get(self.host, method=method)[0], 405)
        self.assertEqual(get(self.host, method="HEAD")[::2], (200, ""))

    def test_clients_that_stand_still_hold_up_nobody_for_long_and_never_the_daemon(self):
        idle = [socket.create_connection((self.host, PORT)) for _ in range(2 * MOST_CLIENTS)]
        for each in idle:
            self.addCleanup(each.close)
            each.sendall(b"GET /metrics HTTP/1.1\r\nHost: ")
        self.assert_serves(self.node)
        self.await_true(lambda: get(self.host), 60)

    def test_garbage_ends_its_connection_and_nothing_else(self):
        for garbage in (b"\x00" * 200, b"GET /metrics\r\n\r\n", b"A" * 100_000,
                        b"GET /%00/../metrics HTTP/9.9\r\n\r\n",
                        b"POST /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: 99999999999999999999\r\n\r\n",
                        b"GET /metrics HTTP/1.1\r\n" + b"A: b\r\n" * 10_000 + b"\r\n"):
            with socket.create_connection((self.host, PORT), timeout=30) as client:
                try:
                    client.sendall(garbage)
                    client.shutdown(socket.SHUT_WR)
                    while client.recv(65536):
                        pass
                except OSError:
                    pass  # cut off while it sent
            self.assertEqual(get(self.host)[0], 200, garbage[:40])
        self.assert_serves(self.node)

    def test_it_has_no_capabilities_and_ends_with_the_daemon(self):
        child = self.exporter()
        status = pathlib.Path(f"/proc/{child}/status").read_text(encoding="utf-8")
        for kind in ("CapPrm", "CapEff", "CapAmb"):
            self.assertRegex(status, rf"{kind}:\s+0+\n")
        self.assertRegex(status, r"NoNewPrivs:\s+1\n")
        names = [os.readlink(path) for path in pathlib.Path(f"/proc/{child}/fd").iterdir()
                 if path.is_symlink()]
        self.assertFalse([name for name in names if "mvrpcmd" in name], names)
        self.node.kill()
        self.await_true(lambda: not pathlib.Path(f"/proc/{child}").exists())
        self.assertIsNone(get(self.host))

    def test_it_is_started_again(self):
        child = self.exporter()
        os.kill(child, signal.SIGKILL)
        self.await_true(lambda: self.exporter() not in (None, child) and get(self.host))
        self.assertRegex(self.node.log.read_text(encoding="utf-8"), "mvrp-exporter ended with signal 9")

    def test_without_an_answer_of_the_daemon_there_is_none_of_the_endpoint(self):
        os.kill(self.node.process.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, self.node.process.pid, signal.SIGCONT)
        status, _, text = self.await_true(lambda: (answer := get(self.host)) and answer[0] != 200 and answer)
        self.assertEqual(status, 503)
        self.assertIn("did not answer", text)


class Text(NetworkTest):
    @needs_promtool
    def test_promtool_finds_nothing_wrong(self):
        text = self.start_one("10-12", ports=("p1", "p2")).control("metrics").stdout
        self.assertGreater(len(families(text)), 20)
        done = promtool("check", "metrics", input=text)
        self.assertEqual((done.returncode, done.stdout), (0, ""))
        self.assertNotEqual(promtool("check", "metrics", input=re.sub("# HELP .*\n", "", text)).returncode, 0)

    def test_an_address_that_is_taken_is_named_and_keeps_nobody_from_starting(self):
        host = address(2)
        with socket.create_server((host, PORT)):
            switch = topology.Switch("sw", "10-12")
            node = self.run_topology(topology.Topology("test", {"sw": switch}, []),
                                     {"sw": setting(host)}).nodes["sw"]
            self.await_true(lambda: f"metrics: {host}:{PORT}: Address already in use"
                            in node.log.read_text(encoding="utf-8"))
            self.assert_serves(node)


class Prometheus(NetworkTest):
    SWITCHES = 20

    def query(self, expression):
        """The values of an instant query, by switch."""
        answer = get(self.server, f"/api/v1/query?query={urllib.parse.quote(expression)}", port=9090)
        if answer is None or answer[0] != 200:
            return {}
        return {each["metric"].get("switch", ""): float(each["value"][1])
                for each in json.loads(answer[2])["data"]["result"]}

    def start_prometheus(self, hosts):
        self.server = address(1, last=2)
        document = {"global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
                    "rule_files": [str(MONITORING / "mvrp.rules.yml")],
                    "scrape_configs": [{"job_name": "mvrp", "static_configs": [
                        {"targets": [f"{host}:{PORT}"], "labels": {"switch": name}}
                        for name, host in hosts.items()]}]}
        file = self.directory / "prometheus.yml"
        file.write_text(json.dumps(document), encoding="utf-8")  # JSON is YAML
        with open(self.directory / "prometheus.log", "wb") as log:
            process = subprocess.Popen(
                ["prometheus", f"--config.file={file}", f"--storage.tsdb.path={self.directory}/prometheus",
                 f"--web.listen-address={self.server}:9090"], stdout=log, stderr=log)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    @unittest.skipUnless(shutil.which("prometheus"), "prometheus is not installed")
    def test_a_real_one_scrapes_twenty_switches(self):
        names = [f"s{number}" for number in range(1, self.SWITCHES + 1)]
        hosts = {name: address(number) for number, name in enumerate(names, 1)}
        document = {"title": "test", "timers": TIMERS,
                    "switch": [{"name": name, "vlans": "77" if name == "s1" else "-"} for name in names],
                    "cable": [cable(*pair) for pair in zip(names, names[1:])]}
        net = self.run_topology(topology.build(document, self.directory),
                                {name: setting(host) for name, host in hosts.items()})
        self.start_prometheus(hosts)
        everywhere = dict.fromkeys(names, 1.0)
        self.await_true(lambda: self.query('up{job="mvrp"}') == everywhere, 60)
        self.assertEqual(self.query("mvrp_enabled"), everywhere)
        # VLAN 77 goes down the line.
        learnt = 'sum by (switch) (mvrp_port_vlans{state="learnt"})'
        self.await_true(lambda: self.query(learnt).get("s20") == 1)
        net.nodes["s20"].kill()
        self.await_true(lambda: self.query('ALERTS{alertname="MvrpDown"}') == {"s20": 1.0})
        self.assertEqual(self.query('up{job="mvrp"}'), everywhere | {"s20": 0.0})

    @unittest.skipUnless(shutil.which("prometheus"), "prometheus is not installed")
    def test_a_real_one_puts_the_ends_of_a_cable_side_by_side(self):
        names = ("west", "middle", "east")
        hosts = {name: address(number) for number, name in enumerate(names, 1)}
        document = {"title": "test", "timers": TIMERS, "corrections": "all",
                    "switch": [{"name": "west", "vlans": "30-32"}, {"name": "middle"}, {"name": "east"}],
                    "cable": [cable("west", "middle"), cable("middle", "east")]}
        net = self.run_topology(topology.build(document, self.directory),
                                {name: setting(host) for name, host in hosts.items()})
        self.assert_state(net, east={"learnt": "30-32"})
        self.start_prometheus(hosts)
        # The other ends, by what they declare: VLAN 1 and, away from west, its three.
        far = "mvrp:cable_declared:far"
        self.await_true(lambda: self.query(far + '{port!="east"}') == {"west": 1, "middle": 4, "east": 4}, 60)
        self.assertEqual(self.query(far + f'{{far_instance="{hosts["west"]}:{PORT}", far_port="middle"}}'),
                         {"middle": 4})
        # West has three static ones that middle does not declare.
        apart = 'mvrp:cable_unregistered:at_least{port!="east"}'
        well = {"west": -3, "middle": 0, "east": 0}
        self.await_true(lambda: self.query(apart) == well)
        net.nodes["middle"].change("set port west registration forbidden")
        self.await_true(lambda: self.query(f"{apart} > 0") == {"middle": 3})
        pending = 'ALERTS{alertname="MvrpCableOneSided", alertstate="pending"}'
        self.await_true(lambda: self.query(pending) == {"middle": 1})
        net.nodes["middle"].change("set port west registration normal")
        self.await_true(lambda: self.query(apart) == well)
        self.await_true(lambda: self.query(pending) == {})


class WhatStandsOnThem(NetworkTest):
    ONLY_IN_A_PAIR = {"mvrp_peer_connected", "mvrp_two_actives"}

    @needs_promtool
    def test_the_rules_do_what_their_tests_say(self):
        done = promtool("test", "rules", "mvrp.rules.test.yml", cwd=MONITORING)
        self.assertEqual(done.returncode, 0, done.stdout)
        self.assertEqual(promtool("check", "config", MONITORING / "prometheus.yml").returncode, 0)
        rules = (MONITORING / "mvrp.rules.yml").read_text(encoding="utf-8")
        tested = (MONITORING / "mvrp.rules.test.yml").read_text(encoding="utf-8")
        self.assertEqual(set(re.findall(r"alert: (\w+)", rules)),
                         set(re.findall(r"alertname: (\w+)", tested)))

    def test_they_ask_for_what_is_there(self):
        text = self.start_one("10-12").control("metrics").stdout
        known = families(text)
        rules = (MONITORING / "mvrp.rules.yml").read_text(encoding="utf-8")
        asked = set().union(*(names_in(line) for line in rules.splitlines() if "mvrp_" in line))
        self.assertEqual(asked - known, self.ONLY_IN_A_PAIR)
        dashboard = json.loads((MONITORING / "grafana-dashboard.json").read_text(encoding="utf-8"))
        shown = set().union(*(names_in(target["expr"]) for panel in dashboard["panels"]
                              for target in panel["targets"]))
        self.assertGreater(len(shown), 8)
        self.assertEqual(shown - known, set())
        # Labels and their values, too.
        for name, value in re.findall(r'\b(reason|state|kind|direction)=~?"([^"$]+)"',
                                      rules + json.dumps(dashboard).replace('\\"', '"')):
            for word in value.split("|"):
                self.assertIn(f'{name}="{word}"', text)


if __name__ == "__main__":
    unittest.main()
