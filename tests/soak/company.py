# SPDX-License-Identifier: MIT
"""What else goes on around a soaked switch: a standby that mirrors it and stands still now and then,
recordings that begin and end, files that are read again, whole and cut off, clients that come, say something
or nothing, and go."""

import os
import pathlib
import signal
import threading

TURN_SECONDS = 1.0
IDLE_CLIENTS = 20
STANDBY_RESTS = 3         # turns that it stands still
STANDBY_ROUND = 60        # turns from one rest to the next
CONNECTED_WITHIN = 30     # turns after a rest
HALF_A_REQUEST = bytes(10)
PERMITS = ("1-4094", "1-3900")


class Company(threading.Thread):
    """Acts once a second until `ended`. What goes wrong is in `problems`."""

    def __init__(self, node, directory, build):
        """node: the switch that is soaked, not started yet"""
        import node as nodes
        import topology
        super().__init__(daemon=True)
        self.node, self.directory = node, directory
        link = directory / "standby-link"
        node.switch.corrections = "all"
        node.extra_configuration += f'\n[standby]\nrole = "active"\npeer = "{link}"\n'
        mirror = topology.Switch("mirror", node.switch.vlans, managed=False)
        mirror.corrections = "all"
        for port in node.switch.ports:
            mirror.add_port(port.name)
        self.standby = nodes.Node(mirror, directory / "mirror", build)
        self.standby.extra_configuration = f'\n[standby]\nrole = "standby"\nlisten = "{link}"\n'
        self.ended = threading.Event()
        self.turn = 0
        self.lines = []     # clients that are there
        self.counts = {"reloads": 0, "cut files": 0, "recordings": 0, "clients": 0, "rests": 0}
        self.problems = []
        self.whole = ""

    def begin(self, new_channel):
        """Once the switch serves."""
        self.new_channel = new_channel
        self.whole = self.node.configuration_file.read_text(encoding="utf-8")
        self.standby.start()
        self.standby.wait_ready()
        self.start()

    def end(self):
        self.ended.set()
        self.join(60)
        if self.is_alive():
            self.problems.append("the company does not end: something does not answer")
        os.kill(self.standby.process.pid, signal.SIGCONT)
        if (status := self.standby.stop()) != 0:
            self.problems.append(f"the standby ended with {status}: {self.standby.log_tail()}")

    def run(self):
        try:
            while not self.ended.wait(TURN_SECONDS):
                self.turn += 1
                for act in (self.reload, self.record, self.visit, self.rest):
                    act()
        except Exception as error:  # what ends the thread is the result
            self.problems.append(f"{type(error).__name__}: {error}")

    def reload(self):
        """Every third turn another permit list at the last port, or a part of the file."""
        if self.turn % 3:
            return
        text = self.whole
        if self.turn % 9 == 0:
            text = text[:self.turn * 37 % len(text)]
            self.counts["cut files"] += 1
        else:
            name = f'name = "{self.node.switch.ports[-1].name}"'
            permit = PERMITS[self.turn // 3 % len(PERMITS)]
            text = text.replace(name, f'{name}\npermit = "{permit}"')
            self.counts["reloads"] += 1
        self.node.configuration_file.write_text(text, encoding="utf-8")
        self.node.process.send_signal(signal.SIGHUP)

    def record(self):
        file = self.directory / "recorded.pcap"
        if self.turn % 5 == 1:
            self.node.change(f"switch port record {self.node.switch.ports[0].name} {file}")
            self.counts["recordings"] += 1
        elif self.turn % 5 == 4:
            self.node.change(f"switch port record {self.node.switch.ports[0].name} none")
            if file.stat().st_size == 0:
                self.problems.append("a recording is empty")
            file.unlink()

    def visit(self):
        """Some ask, some send half of a request, some say nothing; the oldest go."""
        line = self.new_channel()
        self.lines.append(line)
        self.counts["clients"] += 1
        if self.turn % 3 == 0:
            line.socket.sendall(HALF_A_REQUEST)
        elif self.turn % 3 == 1:
            line.request(257)
        while len(self.lines) > IDLE_CLIENTS:
            self.lines.pop(0).socket.close()

    def rest(self):
        at = self.turn % STANDBY_ROUND
        if at == 0:
            os.kill(self.standby.process.pid, signal.SIGSTOP)
            self.counts["rests"] += 1
        elif at == STANDBY_RESTS:
            os.kill(self.standby.process.pid, signal.SIGCONT)
        elif at == STANDBY_RESTS + CONNECTED_WITHIN:
            facts = self.node.query("show")
            if not facts["standbyConnected"] or facts["role"] != "active":
                self.problems.append(f"after a rest of the standby: role {facts['role']}, "
                                     f"connected {facts['standbyConnected']}")

    def sample(self):
        """Of the standby."""
        process = pathlib.Path("/proc") / str(self.standby.process.pid)
        status = dict(line.split(":", 1) for line in (process / "status").read_text().splitlines())
        return {"standbyRssKib": int(status["VmRSS"].split()[0]),
                "standbyDescriptors": len(os.listdir(process / "fd"))}

    def report(self):
        print("beside it: " + ", ".join(f"{count} {name}" for name, count in self.counts.items()))
