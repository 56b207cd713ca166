"""Programs under measurement and the load generator: started, watched by the kernel's own clocks, stopped."""

import os
import resource
import socket
import subprocess
import time


class Failed(Exception):
    pass


def free_port():
    with socket.create_server(("127.0.0.1", 0)) as probe:
        return probe.getsockname()[1]


def raise_file_limit():
    """A thousand connections need more descriptors than the usual soft limit; children inherit it."""
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))


class Process:
    """A program under measurement; its output goes to a file in `folder`."""

    def __init__(self, folder, name, argv):
        self.name, self.log = name, f"{folder}/{name}.log"
        with open(self.log, "w") as log:
            self.process = subprocess.Popen(argv, cwd=folder, stdin=subprocess.DEVNULL, stdout=log, stderr=log)
        self.pid = self.process.pid
        self.clock = (~self.pid << 3) | 2  # the clock of all threads' user and system time: linux/posix-timers.h

    def cpu(self):
        """Seconds of processor time so far, in nanoseconds' precision, threads that have ended included."""
        return time.clock_gettime(self.clock)

    def memory(self):
        """Resident bytes."""
        with open(f"/proc/{self.pid}/status") as file:
            return next(int(line.split()[1]) * 1024 for line in file if line.startswith("VmRSS"))

    def alive(self):
        if self.process.poll() is not None:
            with open(self.log, errors="replace") as log:
                raise Failed(f"{self.name} ended with {self.process.returncode}: {log.read()[-500:]}")

    def settle(self):
        """Waits until the program has nothing to do any more."""
        before = self.cpu()
        for _ in range(100):
            time.sleep(0.01)
            now = self.cpu()
            if now - before < 20e-6:
                return
            before = now

    def wait_listening(self, endpoint, deadline=10):
        end = time.monotonic() + deadline
        while not is_listening(endpoint):
            self.alive()
            if time.monotonic() > end:
                raise Failed(f"{self.name} does not listen on {endpoint}")
            time.sleep(0.01)

    def stop(self):
        if self.process.poll() is None:
            self.process.terminate()
            try:
                self.process.wait(15)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()


def is_listening(endpoint):
    """Asks the kernel, since to connect would be an event to the program."""
    kind, place = endpoint.split(":", 1)
    if kind == "unix":
        with open("/proc/net/unix") as file:  # flag 0x10000: it listens
            return any(
                line.split()[3] == "00010000" and line.rstrip().endswith(os.path.basename(place))
                for line in file.readlines()[1:]
            )
    with open("/proc/net/tcp") as file:
        return any(line.split()[1].endswith(f":{int(place):04X}") and line.split()[3] == "0A" for line in file)


class Load:
    """The load generator: a command out, a line of figures back."""

    def __init__(self, program, **options):
        argv = [program] + [word for name, value in options.items() if value for word in (f"--{name}", str(value))]
        self.process = subprocess.Popen(argv, stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.answer()

    def answer(self):
        line = self.process.stdout.readline()
        if not line:
            raise Failed("the load generator has ended")
        return dict(item.split("=", 1) for item in line.split() if "=" in item)

    def __call__(self, *words):
        self.process.stdin.write(" ".join(map(str, words)) + "\n")
        self.process.stdin.flush()
        return self.answer()

    def stop(self):
        if self.process.poll() is None:
            self.process.stdin.close()
            try:
                self.process.wait(5)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        self.process.stdout.close()
