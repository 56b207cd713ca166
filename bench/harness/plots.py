"""The figures as plots: gnuplot writes SVG."""

import shutil
import subprocess

from harness.subjects import word

COLOURS = {
    "wirelark": "#0b6e4f",
    "pump": "#9aa5b1",
    "relay": "#9aa5b1",
    "go dnstap": "#d1495b",
    "go dnstap, /dev/null": "#e9a6af",
    "dnstap-ldns": "#edae49",
    "fstrm_capture": "#30638e",
}
CHART = ["mix", "single", "json", "querylog", "ingest", "ingest100"]
LABELS = {
    "mix": "through",
    "single": "through,\\none write\\na frame",
    "json": "JSON",
    "querylog": "query log",
    "ingest": "ingest,\\n1 connection",
    "ingest100": "ingest,\\n100 connections",
}
STYLE = """set terminal svg size 900,440 font "sans-serif,13" background "#ffffff"
set border 3 lc rgb "#52606d"
set rmargin 4
set tics nomirror
set grid ytics lc rgb "#e4e7eb" lt 1
set key outside top center horizontal
"""


def block(name, lines):
    return f"${name} << EOD\n" + "\n".join(" ".join(map(str, line)) for line in lines) + "\nEOD\n"


def costs(rows):
    """Bars, wirelark's first in each group, on a scale of powers of ten: some cost a hundred times others."""
    shown = [key for key in CHART if key in rows]
    data, width = {}, 0.8
    for place, key in enumerate(shown):
        # A pump makes no text, so it is no measure there.
        present = [name for name in COLOURS if name in rows[key] and (name != "pump" or key in ("mix", "single"))]
        step = width / max(len(present), 3)
        for number, name in enumerate(present):
            at = place + (number - (len(present) - 1) / 2) * step
            value = rows[key][name]["cpu"] * 1e6
            data.setdefault(name, []).append(
                (f"{at:.3f}", value, f"{step * 0.9:.3f}", f'"{value:.2g}"' if value < 10 else f'"{value:.0f}"')
            )
    tics = ", ".join(f'"{LABELS[key]}" {place}' for place, key in enumerate(shown))
    plot = ", ".join(
        f'${word(name)} using 1:2:3 with boxes lc rgb "{COLOURS[name]}" '
        f'title "{name.replace("_", chr(92) * 2 + "_")}", '
        f'${word(name)} using 1:2:4 with labels offset 0,0.6 font ",11" notitle'
        for name in data
    )
    return (
        "".join(block(word(name), lines) for name, lines in data.items())
        + f"""set logscale y
set style fill solid
set yrange [0.03:100]
set xrange [-0.6:{len(shown) - 0.4}]
set ylabel "CPU time an event, µs"
set bmargin 4.5
set xtics scale 0 ({tics})
plot {plot}
"""
    )


def connections(rows):
    numbers = [number for number in (1, 10, 100, 1000) if f"crowd{number}" in rows]
    names = [name for name in ("wirelark", "go dnstap") if all(name in rows[f"crowd{number}"] for number in numbers)]
    data = "".join(
        block(word(name), [(number, rows[f"crowd{number}"][name]["cpu"] * 1e6) for number in numbers]) for name in names
    )
    plot = ", ".join(
        f'${word(name)} with linespoints lw 2 pt 7 lc rgb "{COLOURS[name]}" title "{name}"' for name in names
    )
    return (
        data
        + f"""set logscale x
set yrange [0:*]
set xlabel "connections"
set ylabel "CPU time an event, µs"
plot {plot}
"""
    )


def latency(percentiles):
    data = "".join(
        block(word(name), [(p, value * 1e6) for p, value in enumerate(values)]) for name, values in percentiles.items()
    )
    plot = ", ".join(f'${word(name)} with lines lw 2 lc rgb "{COLOURS[name]}" title "{name}"' for name in percentiles)
    return (
        data
        + f"""set logscale y
set xlabel "percentile"
set ylabel "from write to read, µs"
plot {plot}
"""
    )


def draw(folder, results):
    if not shutil.which("gnuplot"):
        return
    wanted = {"cpu": (costs, results["rows"]), "connections": (connections, results["rows"])}
    if "latency" in results:
        wanted["latency"] = latency, results["latency"]["percentiles"]
    for name, (what, figures) in wanted.items():
        script = STYLE + f'set output "{folder}/{name}.svg"\n' + what(figures)
        subprocess.run(["gnuplot"], input=script, text=True, check=True)
