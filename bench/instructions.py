#!/usr/bin/python3
"""Counts instructions an event and compares them with bench/instructions.txt; a rise of more than 5 % is a failure.

instructions.py --program <build>/tests/instructions --compiler <as the file has it> [--update]

With --update it writes the file: for a change that is worth its price, or a gain that shall stay.
"""

import argparse
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.realpath(__file__))
FILE = HERE + "/instructions.txt"
RISE = 0.05
SKIP = 77
FEW, MANY = 256, 1024  # events, as in instructions.cpp
# glibc picks its memory functions by what the processor can do: these are off, so that all processors count the same.
ENVIRONMENT = {
    "PATH": os.environ["PATH"],
    "GLIBC_TUNABLES": "glibc.cpu.hwcaps=-AVX2,-AVX512F,-AVX512VL,-EVEX,-ERMS,-FSRM,-RTM,-BMI2,-MOVBE",
}


def skip(why):
    print(f"skipped: {why}")
    sys.exit(SKIP)


def run(program):
    """Of each dump the instructions, by its name."""
    with tempfile.TemporaryDirectory() as folder:
        done = subprocess.run(
            [
                "valgrind",
                "--tool=callgrind",
                "--dump-line=no",
                f"--callgrind-out-file={folder}/%p",
                program,
                HERE + "/data/sample.fstrm",
            ],
            env=ENVIRONMENT,
            capture_output=True,
            text=True,
        )
        if done.returncode or not done.stdout.endswith("done\n"):
            raise SystemExit(f"{program} failed:\n{done.stdout[-500:]}{done.stderr[-1500:]}")
        counts = {}
        for name in glob.glob(folder + "/*"):
            with open(name) as file:
                text = file.read()
            trigger = re.search(r"^desc: Trigger: Client Request: (.+)$", text, re.M)
            if trigger:
                counts[trigger.group(1)] = int(re.search(r"^(?:totals|summary): (\d+)", text, re.M).group(1))
        return counts


def each(counts):
    """Instructions an event."""
    out = {}
    for name, count in counts.items():
        if name.endswith(" many"):
            name = name.removesuffix(" many")
            out[name] = round((count - counts[name + " few"]) / (MANY - FEW))
        elif not name.endswith(" few"):
            out[name] = round(count / FEW)
    return out


def read():
    with open(FILE) as file:
        lines = [line.rsplit(None, 1) for line in file if line.strip() and not line.startswith("#")]
    values = dict(lines)
    return values.pop("compiler"), {name: int(value) for name, value in values.items()}


def write(compiler, now):
    with open(FILE, "w") as file:
        file.write("# Instructions an event of the checked-in sample; see instructions.py.\n")
        file.write(f"compiler {compiler}\n")
        for name in sorted(now):
            file.write(f"{name} {now[name]}\n")


def compare(before, now):
    """Prints a line for each count; returns those that have risen, or came or went without the file saying so."""
    risen = sorted(set(before) ^ set(now))
    for name in sorted(set(before) & set(now)):
        change = now[name] / before[name] - 1
        note = "  has risen" if change > RISE else "  --update keeps this" if change < -RISE else ""
        print(f"{name:20} {before[name]:6} -> {now[name]:6}  {change * 100:+6.1f} %{note}")
        if change > RISE:
            risen.append(name)
    return risen


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--program", default="")
    parser.add_argument("--compiler", required=True)
    parser.add_argument("--update", action="store_true")
    options = parser.parse_args()
    if not shutil.which("valgrind") or not options.program:
        skip("valgrind is not installed")
    if options.update:
        now = each(run(options.program))
        write(options.compiler, now)
        print("\n".join(f"{name:20} {value:6}" for name, value in sorted(now.items())))
        return
    compiler, before = read()
    if compiler != options.compiler:
        skip(f"the counts are those of {compiler}, this is {options.compiler}")
    risen = compare(before, each(run(options.program)))
    if risen:
        raise SystemExit(
            f"not as in bench/instructions.txt: {', '.join(risen)}. "
            "If it is worth it: instructions.py --update, with the same arguments"
        )


main()
