"""Records what a real resolver tells by dnstap: unbound in front of another, and questions from many clients."""

import contextlib
import os
import random
import select
import shutil
import socket
import struct
import subprocess
import time

from harness import frames

NUMBERS = {
    "A": 1,
    "NS": 2,
    "SOA": 6,
    "PTR": 12,
    "MX": 15,
    "TXT": 16,
    "AAAA": 28,
    "SRV": 33,
    "DS": 43,
    "DNSKEY": 48,
    "HTTPS": 65,
}
COMMON = """server:
  interface: 127.0.0.1
  port: {port}
  access-control: 127.0.0.0/8 allow
  do-ip6: no
  directory: "{folder}"
  chroot: ""
  username: ""
  pidfile: ""
  use-syslog: no
  do-daemonize: no
  module-config: iterator
  num-threads: 1
  msg-buffer-size: 65552
  max-udp-size: 4096
"""
RESOLVER = (
    COMMON
    + """  do-not-query-localhost: no
  root-hints: /dev/null
  qname-minimisation: no
{stubs}dnstap:
  dnstap-enable: yes
  dnstap-bidirectional: yes
  dnstap-socket-path: "{folder}/dnstap.sock"
  dnstap-send-identity: yes
  dnstap-identity: res1
  dnstap-send-version: yes
  dnstap-log-resolver-query-messages: yes
  dnstap-log-resolver-response-messages: yes
  dnstap-log-client-query-messages: yes
  dnstap-log-client-response-messages: yes
"""
)
STUB = """stub-zone:
  name: {zone}
  stub-addr: 127.0.0.1@{upstream}
"""


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as probe:
        return probe.getsockname()[1]


def query(number, name, kind, edns):
    labels = b"".join(bytes([len(label)]) + label.encode() for label in name.split("."))
    packet = struct.pack(">6H", number, 0x0100, 1, 0, 0, edns) + labels + b"\0" + struct.pack(">2H", NUMBERS[kind], 1)
    return packet + (b"\0" + struct.pack(">2HIH", 41, 4096, 0x8000 * (number & 1), 0) if edns else b"")


def ask(port, questions):
    """Sends all questions, from many addresses and with a few dozen under way at a time."""
    random.seed(2)
    clients = []
    for number in range(200):
        client = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        client.bind((f"127.{number % 7}.{number}.{number * 7 % 250 + 1}", 0))
        client.connect(("127.0.0.1", port))
        clients.append(client)
    waiting = []
    for name, kind in questions:
        client = random.choice(clients)
        client.send(query(random.randrange(65536), name, kind, random.random() < 0.6))
        waiting.append(client)
        if len(waiting) >= 40:
            collect(waiting)
    collect(waiting)
    for client in clients:
        client.close()


def collect(waiting):
    for client in waiting:
        if select.select([client], [], [], 1)[0]:
            client.recv(65536)
    waiting.clear()


def answers(port):
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.connect(("127.0.0.1", port))
        with contextlib.suppress(OSError):
            probe.send(query(1, "ready.localhost", "A", False))
            return bool(select.select([probe], [], [], 0.2)[0] and probe.recv(512))
        time.sleep(0.1)


def wait_until(done, what):
    end = time.monotonic() + 30
    while not done():
        if time.monotonic() > end:
            raise SystemExit(f"bench: {what}")


def unbound(folder, name, config, port, running):
    # A copy, since a profile of AppArmor that knows /usr/sbin/unbound would keep it out of the folder.
    program = shutil.copy(shutil.which("unbound", path=os.environ["PATH"] + ":/usr/sbin"), f"{folder}/{name}")
    with open(f"{folder}/{name}.conf", "w") as file:
        file.write(config)
    process = subprocess.Popen([program, "-d", "-c", f"{folder}/{name}.conf"], stderr=open(f"{folder}/{name}.log", "w"))
    running.callback(process.wait)
    running.callback(process.terminate)
    wait_until(lambda: answers(port), f"unbound does not answer, see {folder}/{name}.log")
    return process


def capture(folder, questions, zone_lines, stubs):
    """The records of one resolver's life in which it was asked these questions."""
    upstream, port = free_port(), free_port()
    with contextlib.ExitStack() as running:
        taker = subprocess.Popen(
            ["fstrm_capture", "-t", frames.TYPE.decode(), "-u", f"{folder}/dnstap.sock", "-w", f"{folder}/raw.fstrm"],
            stderr=subprocess.DEVNULL,
        )
        running.callback(taker.wait)
        running.callback(taker.terminate)
        wait_until(lambda: os.path.exists(f"{folder}/dnstap.sock"), "fstrm_capture does not start")
        zone = COMMON.format(port=upstream, folder=folder) + "".join(f"  {line}\n" for line in zone_lines)
        unbound(folder, "server", zone, upstream, running)
        config = RESOLVER.format(
            port=port, folder=folder, stubs="".join(STUB.format(zone=zone, upstream=upstream) for zone in stubs)
        )
        resolver = unbound(folder, "resolver", config, port, running)
        ask(port, questions)
        resolver.terminate()
        resolver.wait()
    return [frames.without_query_zone(record) for record in frames.read(f"{folder}/raw.fstrm")]
