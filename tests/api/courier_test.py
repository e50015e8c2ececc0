#!/usr/bin/env python3
"""Couriers of both platforms talk to each other over loopback."""
import socket
import subprocess
import time
import unittest

from zutheader import SOURCE

LINUX = [SOURCE / "build" / "linux" / "bin" / "courier"]
WINDOWS = [SOURCE / "tools" / "wine.sh", SOURCE / "build" / "win32" / "bin" / "courier.exe"]


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def start(program):
    return subprocess.Popen([str(word) for word in program], stdin=subprocess.PIPE,
                            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)


def wait_for(port):
    for _ in range(300):
        try:
            return socket.create_connection(("127.0.0.1", port), timeout=1)
        except OSError:
            time.sleep(0.1)
    raise AssertionError("nobody listens")


class Couriers(unittest.TestCase):
    def talk(self, server_program, client_program):
        if not LINUX[0].exists():
            self.skipTest("the Linux programs are not built")
        port = free_port()
        server = start(server_program)
        server.stdin.write(f"listen {port}\nawait 2 60\nsetopt Compression true\n"
                           'broadcast "well received"\n')
        server.stdin.close()
        with wait_for(port):
            client = start(client_program)
            said, _ = client.communicate(
                f"setopt Compression true\nconnect localhost {port}\n"
                'send "compressed text"\nsetopt Compression false\nsend plain\nawait 1 60\n',
                timeout=100)
            heard = server.stdout.read()
            server.wait(timeout=100)
        self.assertIn("says: well received", said)
        self.assertIn("says: compressed text", heard)
        self.assertIn("says: plain", heard)

    def test_linux_serves_windows(self):
        self.talk(LINUX, WINDOWS)

    def test_windows_serves_linux(self):
        self.talk(WINDOWS, LINUX)


if __name__ == "__main__":
    unittest.main()
