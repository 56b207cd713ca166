"""The programs beside the daemon: what they say of a configuration and of a queue file, held against the daemon."""

import grp
import json
import os
import pathlib
import re
import shutil
import socket
import subprocess

import pytest

from support import wire
from support.certs import certs  # noqa: F401
from support.daemon import BINARY, GROUP, new_home
from support.traffic import Traffic

RECORDS = Traffic("tools").records(4) + [wire.NUDGE]
FILE = wire.queue_file(RECORDS)


def call(tool, *words, cwd=None, stdin=b""):
    done = subprocess.run([f"{os.path.dirname(BINARY)}/wirelark-{tool}", *words], cwd=cwd, input=stdin,
                          capture_output=True, timeout=60)
    return done.returncode, done.stdout, done.stderr.decode()


def check(home, lines, *options):
    """Status and findings of a configuration: quiet lines, and from line 5 on those given. Line 0 stands for none."""
    os.environ["SSL_CERT_DIR"] = "/nonexistent"  # else each validating listener is told of the system's authorities
    quiet = [f"listener unix {home}/quiet.sock group={GROUP} keepalive=719",
             f"message-queue-filename {home}/message.queue", "forwarder ipv4 127.0.0.1 7", "metrics-interval 60"]
    config = pathlib.Path(home, "w.conf")
    lines = [*quiet, *lines]
    lines += [] if any("message-format" in line for line in lines) else ["message-format dnstap"]
    config.write_bytes("\n".join([*lines, ""]).encode("latin-1"))
    status, out, err = call("check", *options, str(config))
    assert re.sub("==.*Sanitizer failed to allocate.*\n", "", err.decode() if isinstance(err, bytes) else err) == ""
    out = out.decode().replace("in 9 days", "in 8 days")  # of certificates made within this second
    return status, [re.sub("^ ", "0: ", line.removeprefix(f"{config}:")) for line in out.splitlines()]


IDLE = "a connection without events is closed after {} seconds; keepalive={} makes it an hour"
TEXT = ("text formats refuse resolver, forwarder and zone messages, and the owner of a zone can forge records with "
        "them: set edition 2, log only CLIENT_* and AUTH_QUERY messages, or use message-format dnstap")
PLAIN = "without TLS to another machine: whoever is on the way can read the events, which are personal data"
NO_NAME = "tls-validate-server-name is empty: any valid certificate passes, whatever name it is for"
WEAK = "{} lets TLS 1.2 use suites without {}: {}"
REMEDY = "tls-cipher-list=ECDHE+AESGCM:ECDHE+CHACHA20 or tls-min-version=1.3 leaves them out"
UNKNOWN = "unknown key '{}' is ignored; the nearest known one is '{}'"
TCP = "listener ipv4 127.0.0.1 7 keepalive=719"
TLS = " tls=on tls-min-version=1.3 tls-certificate-cert-file={c}/{0}.pem tls-certificate-key-file={c}/{1}.key"
# Name; lines from line 5 on; findings, "w" for a warning and "e" for an error.
CHECKS = [
    ("nothing", [], []),
    ("misspelt keys", ["Message-Formt json", "listen x", "zzz"], [
        "5 w " + UNKNOWN.format("message-formt", "message-format"), "6 w " + UNKNOWN.format("listen", "listener"),
        "7 w unknown key 'zzz' is ignored"]),
    ("an equals sign", ["message-queue-size=9"],
     ["5 w " + UNKNOWN.format("message-queue-size=9", "message-queue-size")]),
    ("a single key twice", ["METRICS-interval x", "domain-suffix a", "domain-suffix b"], [
        "5 w metrics-interval is ignored: the one in line 4 counts"]),
    ("capitals in a path", ["listener unix {h}/X.Sock keepalive=719 group={g}"],
     ["5 w the path is taken in lower case: {h}/x.sock"]),
    ("a relative path", ["listener unix x.sock keepalive=719 group={g}"],
     ["5 w the path is relative to the folder of this file"]),
    ("a file in the way", ["listener unix {h}/w.conf keepalive=719 group={g}"], [
        "5 w {h}/w.conf is no socket, and is removed when the listener opens"]),
    ("no folder, no group", ["listener unix {h}/no/x keepalive=719 group=nosuchgroup"], [
        "5 w the folder {h}/no is not there (yet): the listener opens once it is",
        "5 e there is no group 'nosuchgroup': the listener never opens"]),
    ("TLS on a path", ["listener unix {h}/x mode=0600", "\tkeepalive=719 tls=on group={g}"], [
        "5 w the mode lets nobody but this user connect", "5 e tls=on never works on a Unix path: connections fail"]),
    ("idle cuts", ["listener unix {h}/a group={g}", "listener unix {h}/b group={g} read-timeout=7 keepalive=513",
                   "listener unix {h}/c group={g} "
      "read-timeout=7 keepalive=514"], ["5 w " + IDLE.format(105, 720), "6 w " + IDLE.format(3598, 515)]),
    ("open to the network", ["listener ipv4 0.0.0.0 7 keepalive=719",
                             "listener ipv6 :: 7 keepalive=719" + TLS.format("server", "server", c="{c}")], [
        "5 w without TLS on an address that other machines can reach: anyone there may send events",
        "6 w {soon}", "6 w without tls-validate=on no certificate is asked for: anyone who connects may send events"]),
    ("listeners on no address", [TCP.replace("127.0.0.1", "localhost"), TCP.replace("127.0.0.1", "::1")], [
        "5 e 'localhost' is no IPv4 address: the listener never opens",
        "6 e '::1' is no IPv4 address: the listener never opens"]),
    ("twice the same", [TCP, TCP, "listener unix {h}/quiet.sock group={g} keepalive=719"], [
        "6 e line 5 listens there already", "7 e line 1 listens there already"]),
    ("a forwarder to the wrong family", ["forwarder ipv6 127.0.0.1 7", "forwarder ipv4 a.example 7 tls-validate=off"], [
        "5 e '127.0.0.1' is no IPv6 address: the forwarder never connects",
        "6 w tls-validate has no effect without tls=on", "6 w " + PLAIN]),
    ("numbers", [TCP + " read-timeout=10s mode=0660x", "forwarder ipv4 localhost 7 batch-size=4294967297",
                 "message-syslog-priority 192 x"], [
        "5 w read-timeout '10s' is read as 10",
        "5 w mode '0660x' is read up to its first character that is no octal digit",
        "6 e batch-size '4294967297' is read as 1", "7 w message-syslog-priority '192 x' is read as 192",
        "7 w syslog receivers take priorities up to 191"]),
    ("certificates",
     [TCP + TLS.format("no", "no", c="."), TCP.replace(" 7", " 8") + TLS.format("server", "client", c="{c}"),
                      TCP.replace(" 7", " 9") + TLS.format("expired", "expired", c="{c}"),
                      "forwarder ipv4 a.example 7 tls=on tls-validate=off tls-min-version=1.3",
                      "forwarder ipv4 a.example 7 tls=on tls-min-version=1.1 tls-validate-ca-file={c}/ca.pem"], [
        "5 e './no.pem' can't be read: No such file or directory",
        "5 e './no.key' can't be read: No such file or directory",
        "6 e TLS handshake failed: SSL_CTX_use_PrivateKey_file({c}/client.key) failed: *key values mismatch)",
        "6 w {soon}",
        "7 e a certificate in {c}/expired.pem has expired",
        "8 w tls-validate=off: any certificate passes as the target's",
        "9 e TLS handshake failed: Parse minimum TLS version failed: Unknown SSL error",
        "9 w a certificate in {c}/ca.pem expires in 8 days"]),
    ("numbers cut to 0", [TCP + " fstrm-data-frame-max-size=8589934592",
                          "forwarder ipv6 ::1 7 batch-size=4294967296 fstrm-control-frame-max-size=4294967296"], [
        "5 e fstrm-data-frame-max-size '8589934592' is read as 0: no frame is short enough",
        "6 e batch-size '4294967296' is read as 0: no event ever goes out",
        "6 e fstrm-control-frame-max-size '4294967296' is read as 0: no frame is short enough"]),
    ("options as values", ["forwarder ipv4 a.example 7 tls=on tls-min-version=1.3",
                           "  tls-validate-server-name= TLS-client-certificate=on",
                           "listener unix {h}/a keepalive=719 group= mode=0600",
                           "forwarder ipv4 127.0.0.1 7 tls-cipher-list= a=b"], [
        "5 e tls-validate-server-name takes the option 'TLS-client-certificate=on' as its value",
        "7 e group takes the option 'mode=0600' as its value",
        "7 e there is no group 'mode=0600': the listener never opens",
        "8 w tls-cipher-list has no effect without tls=on"]),
    ("who reads what is sent", ["forwarder ipv4 127.9.9.9 7", "forwarder ipv6 0::1 7", "forwarder ipv4 LocalHost 7",
                                "forwarder ipv6 ::7f00:1 7", "forwarder ipv4 127.0.0.example 7",
                                'forwarder ipv4 a.example 7 tls=on tls-min-version=1.3 tls-validate-server-name=""'], [
        "8 w " + PLAIN, "9 w " + PLAIN, "10 w " + NO_NAME]),
    ("suites", [f"forwarder ipv4 a.example 7 tls=on {options}" for options in (
        "recovery=drop", "tls-min-version=1.3 tls-cipher-list=AES256-GCM-SHA384",
        "tls-max-version=1.2 tls-cipher-list=ECDHE+AESGCM:AES256-SHA:AES128-GCM-SHA256",
        "tls-cipher-list=DHE+AESGCM:ECDHE+CHACHA20", "tls-cipher-list=AES256-SHA:@SECLEVEL=3",
        "tls-cipher-list=NULL-SHA256:AECDH-AES128-SHA:@SECLEVEL=0")], [
        "5 w " + WEAK.format("OpenSSL's default list", "forward secrecy", REMEDY),
        "7 w " + WEAK.format("tls-cipher-list", "forward secrecy", "AES256-SHA AES128-GCM-SHA256"),
        "10 w " + WEAK.format("tls-cipher-list", "encryption", "NULL-SHA256"),
        "10 w " + WEAK.format("tls-cipher-list", "certificates", "AECDH-AES128-SHA"),
        "10 w " + WEAK.format("tls-cipher-list", "forward secrecy", "NULL-SHA256")]),
    ("a text format", ["message-format querylog"], ["5 w " + TEXT]),
    ("the default format", ["# no message-format", "edition 1"], ["0 w " + TEXT]),
    ("a text format that shows all", ["message-format json", "edition 2"], []),
    ("lines", ["domain-suffix a#b", "domain-suffix c \t", "domain-suffix d # e", " # f", " g", "",
               " domain-suffix .h\r", "domain-suffix\t*.i\r"], [
        "5 w the value ends in front of the '#', which begins a comment",
        "6 w blanks at the end of the line are not part of the value",
        "9 w not read: the line continues a comment, that of line 7",
        "11 w lines end in carriage returns: in a continued value they stay part of it",
        "11 w no name ends in '.h': there are no wildcards, exceptions or leading dots",
        "12 w no name ends in '*.i': there are no wildcards, exceptions or leading dots"]),
]


@pytest.mark.parametrize("lines, findings", [c[1:] for c in CHECKS], ids=[c[0] for c in CHECKS])
def test_what_the_daemon_accepts_in_silence(lines, findings, certs):
    with new_home() as home:
        fill = lambda text: text.replace("{h}", home).replace("{c}", certs.directory).replace("{g}", GROUP).replace(
            "{soon}", f"a certificate in {certs['server.pem']} expires in 8 days")
        status, found = check(home, map(fill, lines))
        expected = [fill(re.sub("^(\\d+) ([we])", lambda m: f"{m[1]}: " + {"w": "warning:", "e": "error:"}[m[2]], f))
                    for f in findings]
        assert len(found) == len(expected) and all(
            re.fullmatch(re.escape(e).replace("\\*", ".*"), f) or e == f for e, f in zip(expected, found)), found
        assert status == any(": error:" in f for f in found)
        assert check(home, map(fill, lines), "--start")[0] == 0
        found = [json.loads(line) for line in check(home, map(fill, lines), "--json")[1]]
        assert [f"{f['line']}: {f['severity']}: {f['text']}" for f in found] == check(home, map(fill, lines))[1]


CUT = wire.queue_file(RECORDS)[:-1]
REFUSED = [  # the line that is told of, further lines, what stands in the queue file
    (5, ["message-format JSON"], None), (6, ["domain-suffix a", "domain-suffix ..", "domain-suffix"], None),
    (5, ["message-queue-size -1"], None),
    (6, ["forwarder ipv4 ::1 7", "forwarder ipv4 ::1"], None), (5, ["listener unix /x mode=9"], None),
    (5, ["metrics-format x"], None),
    (5, ["listener unix /" + "x" * 107], None), (2, [], b""), (2, [], b"sslx"), (2, [], CUT),
    (2, [], FILE[:9] + b"?" + FILE[10:]), (2, ["message-queue-size 40"], FILE)]


@pytest.mark.parametrize("line, lines, queue", REFUSED, ids=[" ".join(r[1])[:40] or repr(r[2])[:20] for r in REFUSED])
def test_what_the_daemon_refuses_is_told_in_its_words(line, lines, queue):
    with new_home({"message.queue": queue} if queue is not None else ()) as home:
        status, found = check(home, lines, "--start")
        kept = os.path.exists(f"{home}/message.queue") and pathlib.Path(home, "message.queue").read_bytes()
        assert status == 1 and (kept or None) == (queue or None)
        daemon = subprocess.run([BINARY, "run", f"{home}/w.conf"], capture_output=True, text=True, timeout=60)
        said = daemon.stderr.split("[ERROR] Run failed: ")[1].rstrip("\n")
        # An errno of nothing, after a cut file.
        said = re.sub("failed: (Success|No such file or directory)$", "failed: *", said)
        wanted = re.escape(f"{line}: error: {said}").replace("\\*", ".*")
        assert any(re.fullmatch(wanted, f) for f in found), (said, found)


@pytest.mark.skipif(os.getuid() != 0, reason="becomes another user")
def test_findings_as_another_user(certs):
    """What root may, the daemon's user may not."""
    with new_home() as home:
        os.chmod(home, 0o755)
        pathlib.Path(home, "server.key").write_bytes(pathlib.Path(certs["server.key"]).read_bytes())
        os.chmod(f"{home}/server.key", 0o600)
        shutil.copy(certs["ca.pem"], f"{home}/server.pem")
        pathlib.Path(home, "message.queue.tmp").touch(0o600)
        line = TCP + TLS.format("server", "server", c=home)
        status, found = check(home, [line], "--user", "nobody")
        assert status == 1 and [f.split(" failed: ")[0] for f in found if "expires" not in f] == [
            f"1: error: this user can't make a socket in {home}",
            f"1: error: this user is not in the group '{grp.getgrgid(0).gr_name}' and can't give the socket to it",
            *[f"2: error: this user can't write to {path} (Permission denied): the queue is lost at a stop"
              for path in (home, f"{home}/message.queue.tmp")],
            f"5: error: '{home}/server.key' can't be read: Permission denied"]
        pathlib.Path(home, "w.conf").chmod(0o600)
        assert call("check", "--user", "nobody", f"{home}/w.conf")[:2] == (
            1, f"{home}/w.conf: error: ifstream({home}/w.conf) failed to open: Permission denied\n".encode())
        for words in (("--user", "nosuchuser", f"{home}/w.conf"), (), ("--jsn", "x")):
            assert call("check", *words)[0] == 2


KINDS = {"a folder": os.mkdir, "a FIFO": os.mkfifo, "a device": lambda path: os.symlink("/dev/zero", path),
         "a socket": lambda path: socket.socket(socket.AF_UNIX).bind(path)}


@pytest.mark.parametrize("kind", KINDS)
def test_what_is_no_file(kind, certs):
    """Such a thing is told as what it is, and never opened: it would wait for its other end, or not end."""
    with new_home() as home:
        for name in ("x", "message.queue.tmp"):
            KINDS[kind](f"{home}/{name}")
        status, out, _ = call("check", "--json", f"{home}/x")
        told = json.loads(out)
        assert (status, told["text"]) == (1, f"this is {kind}, not a file: nothing was checked")
        assert told["starts"] == (kind in ("a folder", "a device")) == (call("check", "--start", f"{home}/x")[0] == 0)

        server = f"{certs.directory}/server"
        lines = [f"{TCP.replace(' 7', f' {port}')} tls=on tls-min-version=1.3 tls-certificate-{wrong}-file={home}/x"
                 f" tls-certificate-{good}-file={server}.{suffix}"
                 for port, wrong, good, suffix in ((7, "cert", "key", "key"), (8, "key", "cert", "pem"))]
        lines.append(f"forwarder ipv4 a.example 7 tls=on tls-min-version=1.3 tls-validate-ca-file={home}/x")
        status, found = check(home, lines)
        assert status == 1 and found == [
            f"2: error: {home}/message.queue.tmp is {kind}, not a file: the queue is lost at a stop",
            *[f"{line}: error: '{home}/x' is {kind}, not a file" for line in (5, 6, 7)]]
        KINDS[kind](f"{home}/message.queue")
        assert check(home, [], "--start") == (
            1, [f"2: error: {home}/message.queue is {kind}, not a file: no queue can be loaded from it"])


def test_where_no_queue_can_be_saved():
    with new_home({"file": b""}) as home:
        for place, reason in (("none", "No such file or directory"), ("file", "Not a directory")):
            pathlib.Path(home, "w.conf").write_text(f"message-queue-filename {home}/{place}/q\n")
            told = call("check", f"{home}/w.conf")[1].decode()
            assert f":1: error: this user can't write to {home}/{place} ({reason}): the queue is lost" in told


def test_every_cut_of_a_queue_file():
    """All whole records come out, and what is good is what a start would take: also a header that is cut short."""
    records = [b"abc", b"d" * 40, b"ef"]
    file, ends = wire.queue_file(records), [4 + sum(5 + len(r) for r in records[:n]) for n in range(4)]
    with new_home() as home:
        for size in range(4, len(file) + 1):
            pathlib.Path(home, "in").write_bytes(file[:size])
            whole = sum(end <= size for end in ends) - 1
            good = size - ends[whole] < 5
            told = f"in: good, {whole} events\n".encode() * good
            assert call("queue", "verify", "in", cwd=home)[:2] == (not good, told)
            status, out, err = call("queue", "salvage", "in", "out", cwd=home)
            told = f"out: {whole} events kept, {size - ends[whole]} bytes left out\n"
            assert (status, out) == (0, told.encode()), size
            assert ("damaged at byte" in err, pathlib.Path(home, "out").read_bytes()) == (not good, file[:ends[whole]])
            os.remove(f"{home}/out")


def test_show():
    times = [(1709967902, 5000), (1709967901, 999999999), (1709967903, 0)]
    timed = [wire.record(type=5 + n, **{f"{'query' if n % 2 == 0 else 'response'}_time_{unit}sec": t
                                        for unit, t in zip(("", "n"), time)})
             for n, time in enumerate(times)]
    with new_home({"q": wire.queue_file(timed + [wire.NUDGE, b"rubbish"]), "e": b"sslz",
                   "x": wire.queue_file(timed)[:-1], "y": b"abcd"}) as home:
        size = sum(map(len, timed))
        lines = "events   {}\nbytes    {}\nfirst    {}\nlast     {}\nuntimed  {}\n"
        for name, expected in (
                ("q", (0, lines.format(5, size + 9, "2024-03-09T07:05:01.999999Z",
                                       "2024-03-09T07:05:03.000000Z", 2), "")),
                ("e", (0, lines.format(0, 0, "-", "-", 0), "")),
                ("x", (1, lines.format(2, size - len(timed[2]), "2024-03-09T07:05:01.999999Z",
                                       "2024-03-09T07:05:02.000005Z", 0),
                       f"x: damaged at byte {4 + 5 * 2 + size - len(timed[2])}, behind 2 whole events: "
                       f"Read next event of {len(timed[2])} bytes from x failed: Success\n")),
                ("y", (1, "", "wirelark-queue: Read magic header from y failed: Expected 'sslz' but got abcd\n"))):
            status, out, err = call("queue", "show", name, cwd=home)
            assert (status, out.decode(), err) == expected


@pytest.mark.skipif(not shutil.which("fstrm_dump"), reason="no fstrm-bin")
def test_frame_streams_there_and_back():
    """Through Debian's tool, which copies the file's frames."""
    with new_home({"q": FILE}) as home:
        assert call("queue", "to-fstrm", "q", "f", cwd=home)[0] == 0
        dump = subprocess.run(["fstrm_dump", "f", "copy"], cwd=home, capture_output=True, text=True, check=True)
        assert (dump.stderr + dump.stdout).count("Data frame (") == len(RECORDS)
        copy = pathlib.Path(home, "copy").read_bytes()
        assert copy == pathlib.Path(home, "f").read_bytes() == call("queue", "to-fstrm", "q", "-", cwd=home)[1]
        assert call("queue", "from-fstrm", "copy", "back", cwd=home)[0] == 0
        assert call("queue", "from-fstrm", "-", "piped", stdin=copy, cwd=home)[0] == 0
        assert pathlib.Path(home, "back").read_bytes() == pathlib.Path(home, "piped").read_bytes() == FILE


START = wire.control(wire.START, wire.CONTENT_TYPE)


@pytest.mark.parametrize("content, failure", [
    (b"", "Byte 0: Expected a START control frame, so this is no Frame Streams file"),
    (START[:20], "Byte 20: The file ends within a frame"),
    (wire.control(wire.READY, wire.CONTENT_TYPE), "Byte 42: Expected START(2) control frame but got 4"),
    (wire.control(wire.START, b"other"), "Byte 25: Expected content type of protobuf:dnstap.Dnstap but did not get it"),
    (wire.word(0, 3), "Byte 8: Control frame length 3 is not sensible"),
    (START + b"\0\0", "Byte 44: The file ends within a length"),
    (START + wire.word(0x1000000),
     "Byte 46: Data frame length 16777216 is larger than the maximum allowed of 16777215"),
    (START + wire.frame(b"abc")[:-1], "Byte 48: The file ends within a frame"),
    (START + START, "Byte 84: Expected STOP(3) control frame but got 2"),
])
def test_files_that_are_no_frame_streams(content, failure):
    with new_home({"f": content}) as home:
        told = f"wirelark-queue: Read f failed: {failure}\n"
        assert call("queue", "from-fstrm", "f", "q", cwd=home) == (1, b"", told)
        assert os.listdir(home) == ["f"]


def test_a_capture_that_was_killed_and_files_that_are_there():
    with new_home({"f": START + wire.frame(b"abc")}) as home:
        told = "f: ends without STOP, as a capture that was killed\nq: 1 events\n"
        assert call("queue", "from-fstrm", "f", "q", cwd=home) == (0, b"", told)
        for words in ("from-fstrm f q", "salvage q f", "to-fstrm q f"):
            name = words.split()[-1]
            told = f"wirelark-queue: Open {name} failed: File exists\n"
            assert call("queue", *words.split(), cwd=home) == (1, b"", told)
        assert call("queue", "to-fstrm", "f", "x", cwd=home)[0] == 1 and not os.path.exists(f"{home}/x")
        assert call("queue", "show")[0] == 2
