"""The command line, the configuration file and everything that stops a start."""

import pathlib
import signal
import subprocess

import pytest

from support.daemon import BINARY, KEYS, Daemon, ends_cleanly  # noqa: F401

USAGE = """usage: wirelark run <wirelark.conf>
       wirelark run-stdout <wirelark.conf>
       wirelark print-psl
       wirelark version
"""
SUFFIXES = pathlib.Path(__file__).parents[2] / "data/icann_suffixes.txt"
PSL = "".join(f"domain-suffix {rule}\n" for rule in SUFFIXES.read_text().split())
assert PSL.count("\n") == 6933


def call(*words, cwd=None):
    done = subprocess.run([BINARY, *words], capture_output=True, cwd=cwd, timeout=20, stdin=subprocess.DEVNULL)
    return done.returncode, done.stdout.decode(), done.stderr.decode()


def opening(directory, path):
    return f"[INFO] Started\n[INFO] Changing directory to {directory}\n[INFO] Reading config from {path}\n"


def unreadable(path):
    return f"[ERROR] Run failed: ifstream({path}) failed to open: No such file or directory\n"


@pytest.mark.parametrize("words, expected", [
    ("", (1, "", USAGE)),
    ("run-stdout", (1, "", USAGE)),
    ("RUN w.conf", (1, "", USAGE)),
    ("version and more", (0, "2.4.4\n", "")),
    ("print-psl and more", (0, PSL, "")),
    ("run /nowhere/w.conf", (0, opening("/nowhere", "/nowhere/w.conf"), unreadable("/nowhere/w.conf"))),
    ("run /w.conf more words", (0, opening("", "/w.conf"), unreadable("/w.conf"))),
    ("run w.conf", (0, opening(".", "w.conf"), unreadable("w.conf"))),
    # The path counts from the directory that the daemon has just changed to, so a directory in it is looked for twice.
    ("run-stdout sub/w.conf", (0, opening("sub", "sub/w.conf"), unreadable("sub/w.conf"))),
])
def test_command_line(words, expected, tmp_path):
    (tmp_path / "sub").mkdir()
    (tmp_path / "sub/w.conf").write_text("")
    assert call(*words.split(), cwd=tmp_path) == expected


def failure(tmp_path, config):
    """What the run fails with."""
    (tmp_path / "w.conf").write_text(config, newline="")
    status, out, err = call("run", "w.conf", cwd=tmp_path)
    assert (status, out) == (0, opening(".", "w.conf"))
    [error] = [line for line in err.split("\n") if line.startswith("[ERROR] ")]
    return error.removeprefix("[ERROR] Run failed: ")


# The last key to be read: a run that fails with it has accepted all others.
ACCEPTED = "Invalid metrics-format specified in config file: end"


def unknown(key, value, word="Unknown", reason=""):
    return f"{key} {value}", f"{word} {key} specified in config file{reason}: {value}"


def invalid(key, value):
    return unknown(key, value, "Invalid")


def refused(key, value, reason):
    return unknown(key, value, "Invalid", f" ({reason})")


def taken(*lines):
    return "\n".join(lines), ACCEPTED


def options(key, endpoint, table):
    """Rows of one option each: name, refused values and accepted ones, blank between them."""
    for name, bad, good in table:
        yield from (refused(key, f"{endpoint} {name}={value}", f"Invalid {name} option") for value in bad.split())
        yield from (taken(f"{key} {endpoint} {name}={value}") for value in good.split())


SECONDS = ("0 121 x -1", "1 120 120s")
BYTES = ("0 x -1 2147483648", "1 2147483647")
SWITCH = ("ON true", "on off")
ROWS = [
    *[unknown("edition", value) for value in ("3", "0", "two", "")], taken("edition 1"), taken("edition 2"),
    *[invalid("message-line-limit", value) for value in ("x", "-1", "4294967296")],
    taken("message-line-limit 0", "edition 2"),
    unknown("message-fqdn-format", "With-Trailing-Dot"), unknown("message-fqdn-format", ""),
    unknown("domain-suffix-mode", "ALL"),
    *[taken(f"domain-suffix-mode {m}") for m in ("all", "builtin", "config", "off")],
    unknown("domain-suffix", ""), unknown("domain-suffix", ".."), taken("domain-suffix .a..", "domain-suffix b"),
    ("domain-suffix-mode off\ndomain-suffix .", "Unknown domain-suffix specified in config file: ."),
    unknown("message-querylog-format", "full"), unknown("message-format", "JSON"),
    taken("MESSAGE-Format json", "message-format no"),
    unknown("message-syslog-format", "RFC3164"),
    *[taken(f"message-syslog-format {f}") for f in ("bsd", "rfc3164", "rfc5424", "none")],
    invalid("message-syslog-priority", "0"), invalid("message-syslog-priority", "x"),
    taken("message-syslog-priority -5x"),
    invalid("message-queue-size", "0"), invalid("message-queue-size", "MB"), taken("message-queue-size 10MB"),
    unknown("message-queue-recovery", "ON"), taken("message-hostname", "message-queue-filename", "no-such-key = 1"),
    invalid("metrics-interval", "0"), invalid("metrics-interval", "-1"), invalid("metrics-interval", "x"),
    invalid("metrics-format", ""),
    taken("message-hostname two  words # and a comment", "  json", "metrics-interval 7s"),
    # How a value is read: of its key, of blanks, comments and lines that go on.
    *[(text, f"Unknown message-format specified in config file: {value}") for text, value in (
        ("Message-FORMAT # json", ""), ("message-format", ""), ("message-format \t a  b\tC \t # rest", "a  b\tC"),
        ("message-format ab#c d", "ab"),
        ("# message-format a\n \t\r\n\n  # message-format b\n  message-format c", "c"),
        ("message-format \"a = 'b'", "\"a = 'b'"),
        ("message-format 1\nmessage-format 2", "1"), ("message-format\n  # between\n\tjson x", "json x"),
        ("message-format \u00e4", "\u00e4"),
        ("message-format a\n \t b\n\tc\nl d", "a b c"), ("message-format a\n  # no\n# no\n b", "a b"),
        ("message-format a\n \t\n l b", "a"),
        ("message-format a # no\n b\nl c", "a"), ("message-format a\r\n b\r\nl c\r\n", "a\r b"),
        ("\f\nmessage-format a\n\f\n b\n\v\nl c", "a \f b"), ("message-format a\0 b\n c\nl d", "a"))],
    ("l x\0\nmessage-format b", "Unknown message-format specified in config file: b"),
    # Positional words of a forwarder.
    *[refused("forwarder", *row) for row in (
        ("", "Invalid protocol"), ("tcp 127.0.0.1 6000", "Invalid protocol"), ("unix /a", "Invalid protocol"),
        ("ipv4", "Invalid host"),
        ("ipv4 h", "Invalid port"), ("ipv4 h 0", "Invalid port"), ("ipv4 h 65536", "Invalid port"),
        ("ipv4 h x1", "Invalid port"),
        ("ipv4 h 1 color=red", "Unknown parameter 'color'"), ("ipv4 h 1 COLOR=", "Invalid parameter 'color'"),
        ("ipv4 h 1 color", "Invalid parameter 'color'"), ("ipv4 h 1 =5", "Unknown parameter ''"),
        ("ipv4 h 1 batch-size =5", "Invalid batch-size option"),
        ("ipv4 h 1 keepalive=5", "Unknown parameter 'keepalive'"),
        ("ipv4 h 1 fstrm-data-frame-max-size=5", "Unknown parameter 'fstrm-data-frame-max-size'"))],
    taken("forwarder IPV6 ::1 65535x", "forwarder ipv4  H\t1  BATCH-size  7 tls= off recovery=drop recovery=durable"),
    taken('forwarder ipv4 h 1 tls-cipher-list="a b" tls-cipher-suites="unclosed tls=maybe',
          'forwarder ipv4 h 1 tls-min-version=9'),
    *options("forwarder", "ipv4 h 1", [
        ("connect-timeout", *SECONDS), ("read-timeout", *SECONDS), ("write-timeout", *SECONDS),
        ("send-buffer-size", *BYTES), ("recv-buffer-size", *BYTES), ("batch-size", "0 x", "1 5x"),
        ("recovery", "Durable", "drop best-effort durable"), ("fstrm-mode", "both", "bidirectional unidirectional"),
        ("fstrm-control-frame-max-size", "0 x", "1"), ("tls", *SWITCH), ("tls-validate", *SWITCH),
        ("tls-client-certificate", *SWITCH),
        *[(name, "", 'x ""') for name in ("tls-validate-server-name", "tls-validate-ca-file",
                                          "tls-client-certificate-cert-file",
                                             "tls-client-certificate-key-file", "tls-max-version")]]),
    # The same of a listener.
    *[refused("listener", *row) for row in (
        ("tcp h 1", "Invalid protocol"), ("unix", "Invalid path"), ("ipv6", "Invalid host"),
        ("ipv4 127.0.0.1", "Invalid port"),
        ("ipv4 h 0", "Invalid port"), ("ipv4 h 65536", "Invalid port"),
        ("unix /" + "a" * 107, "Path length 107 is larger than limit of 107"),
        ("unix /a keepalive", "Invalid parameter 'keepalive'"), ("unix /a color=red", "Unknown parameter 'color'"),
        ("unix /a mode =0660", "stoul"), ("unix /a mode=999", "stoul"), ("unix /a mode=rw", "stoul"),
        ("unix /a mode=1000", "Invalid mode option"), ("unix /a mode=0", "Invalid mode option"),
        ('unix /a group=""', "Invalid group option"), ("unix /a batch-size=5", "Unknown parameter 'batch-size'"))],
    taken("listener unix /" + "a" * 106, "listener UNIX /A mode 0660 MODE= 777 group=\"a b\" keepalive=x"),
    *options("listener", "ipv6 h 1", [
        ("keepalive", "-1 4294967296", "0 4294967295 x"), ("read-timeout", *SECONDS), ("write-timeout", *SECONDS),
        ("send-buffer-size", *BYTES), ("recv-buffer-size", *BYTES),
        ("listen-backlog", "0 x 4294967296", "1 4294967295"),
        ("max-connections", "0 x 4294967296", "1 4294967295"), ("fstrm-control-frame-max-size", "0 x", "1 4294967297"),
        ("fstrm-data-frame-max-size", "0 x", "1 4294967297"), ("tls", *SWITCH), ("tls-validate", *SWITCH),
        *[(name, "", 'x ""') for name in ("tls-server-name", "tls-validate-ca-file", "tls-certificate-cert-file",
                                          "tls-cipher-list",
                                          "tls-certificate-key-file", "tls-min-version", "tls-max-version",
                                          "tls-cipher-suites")]]),
]


@pytest.mark.parametrize("config, expected", ROWS, ids=lambda text: text if text.isprintable() else None)
def test_a_value_is_taken_or_refused(config, expected, tmp_path):
    assert failure(tmp_path, config + ("" if "metrics-format" in config else "\nmetrics-format end\n")) == expected


def test_mistakes_are_found_in_the_order_of_reading(tmp_path):
    keys = ("edition message-line-limit message-fqdn-format domain-suffix-mode domain-suffix "
            "message-querylog-format message-format message-syslog-format message-syslog-priority "
            "message-queue-size message-queue-recovery forwarder "
            "listener metrics-interval metrics-format").split()
    assert keys == [k for k in KEYS if k not in ("message-hostname", "message-queue-filename")]  # which take any text
    for n, key in enumerate(keys):
        text = failure(tmp_path, "".join(f"{k} .\n" for k in reversed(keys[n:])))
        assert text.split(" specified")[0].split()[1] == key
    assert failure(tmp_path, "message-queue-size -1") == "malloc(18446744073709551615) failed: Cannot allocate memory"


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_a_daemon_with_nothing_to_do_starts_and_stops(number):
    with Daemon("metrics-interval 1") as daemon:
        daemon.next_report()
        log = list(dict.fromkeys(daemon.stop(number)))  # one report or more, all the same
    assert log == [f"[INFO] {text}" for text in (
        "Started", f"Changing directory to {daemon.path}", f"Reading config from {daemon.config}",
        "BackgroundLogger: Starting process loop",
        "Metrics: queue[type=message eventsProcessed=0 eventsQueued=0 eventsDropped=0]",
        "BackgroundLogger: Finished process loop", "Stopped")]
