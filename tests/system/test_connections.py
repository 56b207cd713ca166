"""What breaks on a connection: that it is told in the right words, harms nothing else, and mends as it should."""

import contextlib
import os
import re
import socket
import ssl
import stat
import subprocess
import time

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import UNIX, Daemon, ends_cleanly, new_home  # noqa: F401
from support.model import Model
from support.peers import Collector, Sender, free_port
from support.traffic import Traffic

START = wire.control(wire.START, wire.CONTENT_TYPE)
READY = wire.control(wire.READY, wire.CONTENT_TYPE)
NO_CONTENT_TYPE = "Expected content type of protobuf:dnstap.Dnstap but did not get it"
CUT = "recv() failed: socket closed"
SILENT = "recv() failed: wait() timed out"
RING = 300000
PAST, BOUNDS = " runs past the end of a control frame of {} bytes", " is out of bounds for data of {} bytes"

# What a peer sends, cut into writes; what it does then; what its receiver dies of.
RECEIVER = {
    "nothing at all": ([], "close", CUT),
    "a reset": ([READY, START], "reset", "recv() failed: Connection reset by peer"),
    "silence": ([], "", SILENT),
    "READY, then no START": ([READY], "", SILENT),
    "half a frame, then silence": ([START, wire.frame(b"whole"), wire.frame(b"12345678")[:9]], "", SILENT),
    "half a frame, then the end": ([START, wire.frame(b"12345678")[:9]], "close", CUT),
    "idle": ([START, wire.frame(b"a")], "", "Connection timed out"),
    "another protocol": ([b"GET / HTTP/1.1\r\n\r\n"], "", "Expected control message preamble of 0 but got 1195725856"),
    "a control frame past the limit": ([wire.word(0, 65537)], "",
                                       "Control frame length 65537 is larger than the configured limit 65536"),
    "START of another content type": ([wire.control(2, b"protobuf:dnstap.DnstaP")], "", NO_CONTENT_TYPE),
    "half a START": ([START[:20]], "close", CUT),
    "a control frame without a type": ([wire.word(0, 3)], "",
                                       "Expected control message length of at least 4 bytes but got 3"),
    "START without content type": ([wire.word(0, 4, 2)], "", NO_CONTENT_TYPE),
    "START of half a content type": ([wire.word(0, 13, 2, 1, 1) + b"p"], "", NO_CONTENT_TYPE),
    "an unknown field past the end": ([wire.word(0, 13, 2, 2, 22) + b"p"], "", NO_CONTENT_TYPE),
    "a content type past the end that starts wrong": ([wire.word(0, 13, 2, 1, 22) + b"q"], "", NO_CONTENT_TYPE),
    "a content type past the end": ([wire.word(0, 13, 2, 1, 22) + b"p"], "",
                                    "Control field of 22 bytes at offset 12" + PAST.format(13)),
    "a field that leads back to itself": ([wire.word(0, 12, 2, 2, 2**32 - 8)], "",
                                          "Control field of 4294967288 bytes at offset 12" + PAST.format(12)),
    "a field that wraps around": ([wire.word(0, 12, 2, 2, 2**32 - 1)], "",
                                  "Read uint32_t failed: Offset 11 + 4" + BOUNDS.format(12)),
    "a field that is cut off": ([wire.word(0, 6, 2) + b"\0\0"], "",
                                "Read uint32_t failed: Offset 4 + 4" + BOUNDS.format(6)),
    "STOP first": ([wire.control(3, wire.CONTENT_TYPE)], "", "Unexpected control message type 3"),
    "READY twice": ([READY, READY], "", "Unexpected control message type 4"),
    "START in the data": ([START, wire.frame(b"a"), START], "", "Unexpected control message type 2"),
    "a frame past the limit": ([START, wire.word(262145)], "",
                               "Data frame length 262145 is larger than the configured limit 262144"),
    "a frame past the ring": ([START, wire.frame(bytes(900))], "ring",
                              "value length 900 is larger than the size of the queue 900"),
}


@pytest.fixture(scope="module")
def receivers():
    """One daemon that all those peers bother, and a good connection to it that must live through it all."""
    with Daemon(UNIX + " read-timeout=1 keepalive=0", UNIX.replace("dnstap", "Good"), f"message-queue-size {RING}",
                "metrics-interval 1") as daemon, Daemon(UNIX, "message-queue-size 900") as small:
        good = Sender(daemon.address("good.sock"))
        for idle in (daemon, small):
            idle.wait("Socket[0]: Listening on dnstap.sock")
        daemon.wait("Receiver[0]: Handling connection from")
        yield daemon, small
        assert [r["listener"] for r in daemon.next_report()["receiver"]] == [1]
        good.send(b"still here")
        good.stop()


@pytest.mark.parametrize("case", RECEIVER)
def test_a_peer_that_breaks_the_rules_loses_its_own_connection(case, receivers):
    pieces, then, text = RECEIVER[case]
    daemon = receivers[then == "ring"]
    before = len(daemon.lines)
    peer = Sender(daemon.address(), hello=False)
    peer.raw(*pieces)
    if then == "reset":
        peer.sock.recv(1, socket.MSG_PEEK)  # a Unix socket resets by being closed on unread data, here the ACCEPT
    if then in ("close", "reset"):
        peer.sock.close()
    daemon.wait("Process loop failed",
                count=len([line for line in daemon.lines[:before] if "Process loop failed" in line]) + 1)
    number = re.search(r"Receiver\[(\d+)", daemon.find("Process loop failed")[-1])[1]
    daemon.wait(f"Receiver[{number}]: Finished process loop")
    assert [line for line in daemon.lines[before:] if "Metrics" not in line] == [
        "[INFO] Listener[0]: Handling connection", f"[INFO] Receiver[{number}]: Starting process loop",
        f"[INFO] Receiver[{number}]: Handling connection from uid={os.getuid()} gid={os.getgid()} pid={os.getpid()}",
        f"[ERROR] Receiver[{number}]: Process loop failed: {text}",
        f"[INFO] Listener[0]: Receiver[{number}] Is finished", f"[INFO] Receiver[{number}]: Finished process loop"]
    if not then:
        peer.until(lambda: peer.closed)


@pytest.mark.parametrize("pieces", [
    [bytes([b]) for b in START + wire.frame(b"a") + wire.control(3)],
    [START + wire.frame(b"a" * 262144) + wire.control(3, b"what", b"ever")],
    [wire.word(0, 65536, 2, 7, 65536 - 42) + bytes(65536 - 42) + START[12:] + wire.control(3)],
    [wire.control(2, b"abc", wire.CONTENT_TYPE), wire.word(0, 7, 3) + b"\xff\xff\xff"],
], ids=["byte by byte", "the longest frame", "the longest control frame", "more fields"])
def test_a_peer_that_keeps_the_rules_in_its_own_way_is_served(pieces, receivers):
    failures = receivers[0].find("Process loop failed")
    peer = Sender(receivers[0].address(), hello=False)
    peer.raw(*pieces)
    peer.ended()
    assert receivers[0].find("Process loop failed") == failures


def test_the_idle_count_starts_again_with_each_frame():
    with Daemon(UNIX + " read-timeout=1 keepalive=1") as daemon:
        peer = Sender(daemon.address())
        for pause in (1.4, 1.4):  # one time-out each, so that a count that went on would end here
            time.sleep(pause)
            peer.nudge()
        begun = time.monotonic()
        daemon.wait("Receiver[0]: Process loop failed: Connection timed out")
        assert 1.8 < time.monotonic() - begun < 4
        peer.ended()


def test_max_connections():
    """One too many is closed at once and without a word; its place is there again when the first has gone."""
    with Daemon(UNIX + " max-connections=1", "metrics-interval 1") as daemon:
        first = Sender(daemon.address())
        for _ in range(2):
            extra = Sender(daemon.address(), hello=False)
            extra.ended()
        first.stop()
        daemon.wait("Receiver[0]: Finished")
        Sender(daemon.address()).stop()
        last = daemon.next_report()["listener"][0]
        assert (len(daemon.find("Handling connection from")), len(daemon.find("]: Handling connection"))) == (2, 4)
        assert (daemon.total("listener", "accepts"), last["activeReceivers"], last["peakReceivers"]) == ([2], 0, 1)


def test_a_listener_that_cannot_listen_tries_again():
    """Each failure costs that listener three seconds and nobody else anything."""
    busy = socket.create_server(("127.0.0.1", 0))
    port, home = busy.getsockname()[1], new_home({"dnstap.sock": b"in the way, as after a crash"})
    os.mkdir(home.name + "/folder")
    failing = [(UNIX.replace("dnstap.sock", "later/x.sock"), "bind() failed: No such file or directory"),
               (f"listener ipv4 127.0.0.1 {port}", "bind() failed: Address already in use"),
               ("listener unix a.sock group=nosuchgroup", "getgrnam(nosuchgroup) failed: Success"),
               ("listener ipv4 localhost 6000", "Parse IPv4 address failed: Success"),
               ("listener ipv6 127.0.0.1 6000", "Parse IPv6 address failed: Success"),
               (UNIX.replace("dnstap.sock", "folder"), "unlink(folder failed: Is a directory"),
               (UNIX.replace("dnstap.sock", "wirelark.conf/x"), "stat64(wirelark.conf/x) failed: Not a directory")]
    with Daemon(*[line for line, _ in failing], UNIX + " mode=0640", home=home) as daemon:
        begun = time.monotonic()
        for number, (_, text) in enumerate(failing):
            assert daemon.wait(f"Listener{number}: ")[0] == f"[ERROR] Listener{number}: Listen error: {text}"
        daemon.wait("Socket[7]: Listening on dnstap.sock")
        assert os.stat(daemon.address()).st_mode == stat.S_IFSOCK | 0o640
        Sender(daemon.address()).stop()
        os.mkdir(daemon.address("later"))
        busy.close()
        daemon.wait("Socket[0]: Listening on later/x.sock")
        daemon.wait(f"Socket[1]: Listening on 127.0.0.1:{port}")
        assert 2.5 < time.monotonic() - begun < 6
        Sender(daemon.address("later/x.sock")).stop()
        Sender(("127.0.0.1", port)).stop()
        assert [len(daemon.find(f"Listener{n}: ")) for n in (0, 1, 7)] == [1, 1, 0]


# How a collector spoils the opening of a dnstap stream, and the forwarder's words for it.
OPENING = {
    "silence": (b"", SILENT),
    "the end": (None, CUT),
    "ACCEPT without content type": (wire.control(1), NO_CONTENT_TYPE),
    "FINISH": (wire.control(5, wire.CONTENT_TYPE), "Expected ACCEPT(1) control message but got 5"),
    "a data frame": (wire.frame(b"abc"), "Expected control message preamble of 0 but got 3"),
    "a long control frame": (wire.word(0, 65), "Control frame length 65 is larger than the configured limit 64"),
}


def test_a_target_that_spoils_the_opening():
    collectors = [Collector() for _ in OPENING]
    ports = [c.port for c in collectors] + [free_port()]
    with Daemon(*[f"forwarder ipv4 127.0.0.1 {p} read-timeout={60 if n else 1} fstrm-control-frame-max-size=64"
                  for n, p in enumerate(ports)],  # the first target is the silent one
                "forwarder ipv6 127.0.0.1 6000", "forwarder ipv4 a..b 6000", f"forwarder ipv4 localhost {ports[-1]}",
                "message-format dnstap") as daemon:
        streams = [collector.accept() for collector in collectors]
        for stream, (answer, _) in zip(streams, OPENING.values()):
            stream.expect(READY)
            if answer is None:
                stream.sock.close()
            else:
                stream.raw(answer)
        texts = [text for _, text in OPENING.values()] + ["connect() failed: Connection refused"]
        for number, text in enumerate(texts):
            told = f"Forwarder[{number}]: Connection error: "
            assert daemon.wait(told) == [f"[ERROR] {told}{text}"]
        number = len(texts)
        assert daemon.wait(f"Forwarder[{number}]: Connection error: ")[0].startswith(
            f"[ERROR] Forwarder[{number}]: Connection error: Parse IPv6 address failed: ")
        assert "getaddrinfo(a..b/A) failed: " in daemon.wait(f"Forwarder[{number + 1}]: Connection error: ")[0]
        assert daemon.wait(f"[{number + 2}]: Connect", count=2) == [
            f"[WARN] Socket[{number + 2}]: Connect to 127.0.0.1:{ports[-1]} failed: "
            "connect() failed: Connection refused",
            f"[ERROR] Forwarder[{number + 2}]: Connection error: Failed to connect to any host"]
        begun = time.monotonic()
        daemon.stop()  # all of them are in their pause of ten seconds
        assert time.monotonic() - begun < 5


def test_a_target_that_spoils_the_end():
    collectors = [Collector(), Collector()]
    with Daemon(*[f"forwarder ipv4 127.0.0.1 {c.port}" for c in collectors], "message-format dnstap") as daemon:
        streams = [collector.accept("bidirectional") for collector in collectors]
        daemon.terminate()
        for stream, answer in zip(streams, (wire.control(5, b""), wire.control(3))):
            stream.expect(wire.control(3))
            stream.raw(answer)
            stream.ended()
        daemon.ended()
    assert daemon.find("ERROR") == [
        "[ERROR] Forwarder[1]: Connection error: Expected FINISH(5) control message but got 3"]


def test_the_pause_after_a_failed_attempt_is_ten_seconds():
    port = free_port()
    with Daemon(f"forwarder ipv4 127.0.0.1 {port}") as daemon:
        daemon.wait("Connection error: connect() failed: Connection refused")
        begun = time.monotonic()
        Collector(port=port).accept()
        assert 9 < time.monotonic() - begun < 14
        assert len(daemon.find("Connection error")) == 1


def records(*letters):
    return [wire.Record(b"\x0a" + wire.varint(len(text)) + text)
            for text in (letter.encode() * 9 for letter in letters)]


# With a batch size of 3 and events 1 to 5 sent, event 6 in hand: what returns, and what the next connection gets. The
# bytes of the failed batch lead, since they still stand in the send buffer.
RECOVERY = {
    "drop": ((), "6 7", 1),
    "best-effort": (("1 current",), "6 6 7", 2),
    "durable": (("2 previous", "1 current"), "6 4 5 6 7", 4),
}


@pytest.mark.parametrize("mode", RECOVERY)
def test_a_broken_connection(mode):
    returned, wanted, counted = RECOVERY[mode]
    collector = Collector()
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port} batch-size=3 recovery={mode}",
                "message-format dnstap",
                "metrics-interval 1") as daemon:
        sender = Sender(daemon.address(), bidirectional=False)
        held = collector.accept()
        held.expect(READY)
        sender.send(*records(*"12345"))
        sender.stop()  # so all five are in the queue before the stream opens
        held.raw(wire.control(1, wire.CONTENT_TYPE))
        held.expect(START, *map(wire.frame, records(*"12345")))
        held.reset()
        sender = Sender(daemon.address())
        sender.send(*records("6"))
        again = collector.accept(deadline=5)  # at once, as the connection had been a good one
        again.expect(READY)
        sender.send(*records("7"))
        sender.stop()
        again.raw(wire.control(1, wire.CONTENT_TYPE))
        again.expect(START, *map(wire.frame, records(*wanted.split())))
        daemon.next_report()
        sent = daemon.total("forwarder", "connects", "eventsSent", "bytesSent")
        assert sent == [2, 5 + counted, 15 * (5 + len(wanted.split()))]
        daemon.terminate()
        again.expect(wire.control(3))
        again.raw(wire.control(5))
    errors = [line for line in daemon.lines if "Connection error" in line or "Returning" in line]
    assert errors == ["[ERROR] Forwarder[0]: Connection error: send() failed: Connection reset by peer"] + [
        f"[INFO] Forwarder[0]: Returning {n} events back to the event queue" for n in returned]


def test_a_failed_batch_of_text_comes_back_shifted(certs):
    """A skipped record's bytes stay in the batch, so they come back in place of as many bytes of the event behind."""
    first, second, third = [r for r in Traffic(5).records(90) if len(r) % 2 == 0 and Model()([r])][:3]
    skipped = wire.Record(wire.NUDGE * (len(second) // 2))
    collector = Collector(tls=certs.context("server", server=True, verify=False))
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port} tls=on tls-validate=off recovery=durable") as daemon:
        daemon.wait("Socket[0]: Connected")
        sender = Sender(daemon.address(), bidirectional=False)
        sender.send(first, skipped, second)
        sender.stop()  # all queued before the TLS handshake lets the forwarder fill its batch
        model = Model(pid=daemon.pid)
        stream = collector.accept()
        stream.expect(model([first, second]))
        stream.reset()
        Sender(daemon.address()).send(third)
        collector.accept().expect(model([third, first, third]))
        assert daemon.find("Returning") == [f"[INFO] Forwarder[0]: Returning {n} events back to the event queue"
                                            for n in ("2 previous", "1 current")]


def test_a_target_that_stops_reading():
    """The send times out, and the batch comes whole on the next connection, and once more from the queue's end."""
    collector = Collector()
    collector.listening.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    with Daemon(UNIX, f"forwarder ipv4 127.0.0.1 {collector.port} write-timeout=1 send-buffer-size=4096",
                "message-format dnstap") as daemon:
        stuck = collector.accept()
        events = [wire.Record(b"%04d" % n * 250) for n in range(250)]
        sender = Sender(daemon.address())
        sender.send(*events)
        sender.stop()
        stuck.raw(wire.control(1, wire.CONTENT_TYPE))
        daemon.wait("Forwarder[0]: Connection error: send() failed: wait() timed out")
        collector.accept("bidirectional").expect(*map(wire.frame, events + events[:100]))
        assert daemon.find("Returning") == ["[INFO] Forwarder[0]: Returning 100 current events back to the event queue"]


# What a peer does to a TLS listener, whose options stand beside the good ones; a pattern of the receiver's last words.
ALERT = r"SSL_do_handshake\(\) failed: SSL_get_error=1 \(error:[^;]*:"
UNKNOWN = " failed: Unknown SSL error"
NO_CIPHER = UNKNOWN + r" \(error:0A0000B9:SSL routines::no cipher match\)"
NO_FILE = UNKNOWN + (r" \(error:80000002:system library::No such file or directory; "
                     r"error:10080002:BIO routines::system lib; "
                     r"error:0A080002:SSL routines::system lib\)")
OLD = {"newest": ssl.TLSVersion.TLSv1_2}
SERVER = {
    "silence": (b"", "read-timeout=2 keepalive=0", r"TLS read failed: wait\(\) timed out"),
    "no certificate": ({}, "", ALERT + r"peer did not return a certificate\)"),
    "a stranger's certificate": ({"name": "foreign"}, "", ALERT + r"certificate verify failed\)"),
    "an expired certificate": ({"name": "expired"}, "", ALERT + r"certificate verify failed\)"),
    "no trust": ({"trusted": "stranger"}, "", ALERT + r"tlsv1 alert unknown ca\)"),
    "an old version": ({"name": "client", **OLD}, "tls-min-version=1.3", ALERT + r"unsupported protocol\)"),
    "the end": (None, "", r"recv\(\) failed: socket closed"),
    "another protocol": (wire.control(4), "", ALERT + r"wrong version number\)"),
    "no certificate file": ({}, "tls-certificate-cert-file=no.pem",
                            r"SSL_CTX_use_certificate_chain_file\(no.pem\)" + NO_FILE),
    "no key file": ({}, "tls-certificate-key-file=no.key", r"SSL_CTX_use_PrivateKey_file\(no.key\)" + NO_FILE),
    "another's key": ({}, "tls-certificate-key-file=DIR/client.key",
                      r"SSL_CTX_use_PrivateKey_file\(.*/client.key\)" + UNKNOWN +
                      r" \(error:05800074:x509 certificate routines::key values mismatch\)"),
    "an encrypted key, which nobody is asked to open": (
        {}, "tls-certificate-key-file=DIR/encrypted.key",
        r"SSL_CTX_use_PrivateKey_file\(.*/encrypted.key\)" + UNKNOWN +
        r" \(error:.*unable to get passphrase;.*\)"),
    "no authorities": ({}, "tls-validate-ca-file=no.pem", r"SSL_CTX_load_verify_locations\(no.pem\)" + NO_FILE.replace(
        "system lib; error:0A080002:SSL routines",
        "no such file; error:05880002:x509 certificate routines").replace("080002", "000080")),
    "unknown ciphers": ({}, "tls-cipher-list=A:B", r"SSL_CTX_set_cipher_list\(A:B\)" + NO_CIPHER),
    "unknown cipher suites": ({}, "tls-cipher-suites=C", r"SSL_CTX_set_ciphersuites\(C\)" + NO_CIPHER),
    "an unknown lowest version": ({}, "tls-min-version=1.1", "Parse minimum TLS version" + UNKNOWN),
    "an unknown highest version": ({}, "tls-max-version=2", "Parse maximum TLS version" + UNKNOWN),
}
# The forwarder's options, its target's certificate (a context's options, bytes instead of TLS), the words ("": none).
CLIENT = {
    "an unknown authority": ("", {"name": "server"}, ALERT + r"certificate verify failed\)"),
    "another name": ("CA", {"name": "misnamed"}, ALERT + r"certificate verify failed\)"),
    "another name, which is asked for": ("CA tls-validate-server-name=elsewhere.example", {"name": "misnamed"}, ""),
    "another name, which does not matter": ("tls-validate=off", {"name": "misnamed"}, ""),
    "an expired certificate": ("CA", {"name": "expired"}, ALERT + r"certificate verify failed\)"),
    "no client certificate": ("CA tls-max-version=1.2", {"name": "server", "verify": True},
                              ALERT + r"sslv3 alert handshake failure\)"),
    "an old version": ("CA tls-min-version=1.3", {"name": "server", **OLD}, ALERT + r"tlsv1 alert protocol version\)"),
    "silence": ("CA read-timeout=1", b"", r"TLS read failed: wait\(\) timed out"),
}


def told(daemon, who, words, count=1):
    line = daemon.wait(who, count)[-1]
    assert re.fullmatch(rf"\[ERROR\] \w+\[\d+\]: [\w ]+: TLS handshake failed: {words}", line), line


def test_a_peer_that_spoils_the_tls_handshake(certs):
    ports = [free_port() for _ in SERVER]
    good = certs.options("server", "listener")
    with Daemon(*[f"listener ipv4 127.0.0.1 {port} read-timeout=60{good} {case[1].replace('DIR', certs.directory)}"
                  for port, case in zip(ports, SERVER.values())], stdin=subprocess.PIPE) as daemon:
        for count, (port, (act, _, words)) in enumerate(zip(ports, SERVER.values()), 1):
            # Under TLS 1.3 a client may learn of it later only.
            with contextlib.suppress(ssl.SSLError, ConnectionResetError):
                peer = Sender(("127.0.0.1", port), certs.context(**act) if isinstance(act, dict) else None, hello=False)
                if act is None:
                    peer.sock.close()
                elif isinstance(act, bytes):
                    peer.raw(act)
            told(daemon, "Receiver[0]: Process loop failed", words, count)
        peer = Sender(("127.0.0.1", ports[0]), certs.context("client"))
        # One TLS record: nothing tells the receiver of what it has decrypted.
        peer.raw(wire.frame(b"one") + wire.control(3))
        assert daemon.wait("Connection timed out") == ["[ERROR] Receiver[1]: Process loop failed: Connection timed out"]
        peer.ended()
        peer, large = Sender(("127.0.0.1", ports[1]), certs.context("client")), os.urandom(200000)
        peer.raw(wire.frame(large))
        peer.sock.settimeout(0.1)
        with contextlib.suppress(TimeoutError):
            peer.sock.unwrap()  # the close notification, without STOP; the answer comes when the connection ends
        peer.sock.shutdown(socket.SHUT_WR)
        assert daemon.wait("SSL_read") == [
            "[ERROR] Receiver[1]: Process loop failed: SSL_read() failed: TLS connection closed"]
        daemon.stop()
        # "one" may be there or not.
        assert open(daemon.address("message.queue"), "rb").read().endswith(wire.queue_file([large])[4:])


def test_a_target_that_spoils_the_tls_handshake(certs):
    collectors = [Collector(tls=certs.context(**{"server": True, "verify": False, **act}) if act else None)
                  for _, act, _ in CLIENT.values()]
    trust = f"tls-validate-ca-file={certs['ca.pem']}"
    with Daemon(*[f"forwarder ipv4 127.0.0.1 {collector.port} tls=on read-timeout=60 {case[0].replace('CA', trust)}"
                  for collector, case in zip(collectors, CLIENT.values())]) as daemon:
        kept = []
        for number, (collector, (_, _, words)) in enumerate(zip(collectors, CLIENT.values())):
            with contextlib.suppress(ssl.SSLError if words else ()):
                kept.append(collector.accept())
            if words:
                told(daemon, f"Forwarder[{number}]: Connection error", words)
            else:
                daemon.wait(f"TlsSocket[{number}]: TLS handshake complete")
