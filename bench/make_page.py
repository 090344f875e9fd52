#!/usr/bin/env python3
"""Writes docs/performance.md and its picture from bench/results.json, which tools/bench --page makes.

    bench/make_page.py             writes both
    bench/make_page.py --check     compares them with what would be written; exit code 1 when they differ

Every figure of the page, and every sentence that depends on one, is made here from the results.
"""
import json
import sys
from pathlib import Path

from page_chart import chart
from page_texts import BEFORE, CLOSING, DONE, METHOD, WHY
from ratios import Results

ROOT = Path(__file__).resolve().parent.parent
WINE, SCREEN, NATIVE, WHOLE = "under Wine", "under Wine, with a display", "native", "whole"
CONNECTIONS = (1, 16, 64)
SERVICES = (1, 8, 64, 256, 512)
FLOOR, ASIO, LIBUV, HELPER = "raw overlapped calls", "Boost.Asio", "libuv", "nexlet.exe"


def plural(number, word):
    return f"{number} {word}" + ("" if number == 1 else "s")


def aims(results):
    """(what, the aim in words, ratio, whether a ratio meets it, key of the reason in WHY)"""
    def reply(number):
        return (WINE, f"request to reply, {number}")

    yield ("request to reply, 1 connection, p50 / libuv's", "below 1",
           results.ratio(*reply(1), HELPER, LIBUV, "p50"), lambda x: x < 1, "reply")
    for number in CONNECTIONS[1:]:
        yield (f"requests a second, {number} connections / libuv's", "at least 1",
               results.ratio(*reply(number), HELPER, LIBUV, "rate"), lambda x: x >= 1, "rate")
    for number in CONNECTIONS:
        yield (f"p99, {plural(number, 'connection')} / Boost.Asio's", "at most 1",
               results.ratio(*reply(number), HELPER, ASIO, "p99"), lambda x: x <= 1, "p99")
    for where, words in ((WINE, "without a display"), (SCREEN, "with a display")):
        yield (f"start to the ready notice, {words} / a program with a message window", "at most 1.05",
               results.ratio(where, "start to first word", "nexlet.exe, with a channel", "program with a message window",
                             "time"), lambda x: x <= 1.05, "start")
    yield ("a block of the envelope / OpenSSL's public operation", "at most 1.5",
           results.ratio(NATIVE, "the envelope, one block of 1024 bits", "RsaPublicBlock", "OpenSSL, public operation",
                         "time"), lambda x: x <= 1.5, "envelope")
    yield ("signer check / opening the file and reading its table", "at most 1.15",
           results.ratio(WINE, "the signer, a file on disk", "IsTrustedSigner", "open the file and read the table",
                         "time"), lambda x: x <= 1.15, "signer")
    yield ("icon from a PNG of 2048 pixels / ImageMagick's", "at most 0.35",
           results.ratio(WHOLE, "icon from a png picture of 2048 pixels", "TuFileToIcoFile", "ImageMagick", "time"),
           lambda x: x <= 0.35, "icon")
    one, many = (f"one request at a time, {number}" for number in (SERVICES[0], SERVICES[-1]))
    yield ("a request with 512 services / with 1, each beside raw calls with as many pipes", "at most 1.05",
           results.ratio_of_ratios(WINE, many, one, HELPER, FLOOR, "p50"), lambda x: x <= 1.05, "services")


def table(*rows):
    head, *body = rows
    lines = [f"| {' | '.join(head)} |", "|" + "---|" * len(head)]
    return "\n".join(lines + [f"| {' | '.join(row)} |" for row in body])


def scaled(value, unit):
    """A value with three digits, in the unit that suits it."""
    steps = {"ns": ("ns", "us", "ms", "s"), "us": ("us", "ms", "s"), "ms": ("ms", "s")}.get(unit)
    if steps is None:
        return f"{value:,.0f}"
    index = 0
    while value >= 1000 and index + 1 < len(steps):
        value, index = value / 1000, index + 1
    return f"{value:.3g} {steps[index]}" if value < 1000 else f"{value:.0f} {steps[index]}"


def compared(results, where, name, base, rows, measure="time", labels=None):
    """A table: each row's median, and its ratio to the row base."""
    out = [("", measure if measure != "time" else "median", f"beside {labels.get(base, base) if labels else base}")]
    for row in rows:
        ratio = results.ratio(where, name, row, base, measure)
        median, unit = results.median(where, name, row, measure)
        out.append(((labels or {}).get(row, row), scaled(median, unit), "1" if row == base else str(ratio)))
    return table(*out)


def reply_table(results, number):
    name = f"request to reply, {number}"
    out = [(plural(number, "connection"), "p50", "beside libuv", "p99", "beside Asio", "a second", "beside libuv")]
    for row in (FLOOR, ASIO, LIBUV, HELPER):
        cells = [f"`{row}`" if row == HELPER else row]
        for measure, base in (("p50", LIBUV), ("p99", ASIO), ("rate", LIBUV)):
            median, unit = results.median(WINE, name, row, measure)
            cells += [scaled(median, unit), "1" if row == base else str(results.ratio(WINE, name, row, base, measure))]
        out.append(tuple(cells))
    return table(*out)


def services_table(results):
    out = [("services", "p50 of `nexlet.exe`", "p50 of raw overlapped calls", "ratio", "handles", "threads", "private MiB")]
    for number in SERVICES:
        name = f"one request at a time, {number}"
        sizes = [results.median(WINE, name, HELPER, measure)[0] for measure in ("handles", "threads", "private")]
        out.append((str(number), scaled(*results.median(WINE, name, HELPER, "p50")),
                    scaled(*results.median(WINE, name, FLOOR, "p50")),
                    str(results.ratio(WINE, name, HELPER, FLOOR, "p50")), f"{sizes[0]:.0f}", f"{sizes[1]:.0f}",
                    f"{sizes[2] / 2**20:.1f}"))
    return table(*out)


def idle_table(results):
    seconds = results.median(WINE, "idle", "nexlet.exe, one service", "seconds")[0]
    out = [(f"{seconds:.0f} seconds", "CPU s", "private MiB", "handles", "threads")]
    for row in ("program that waits", "program with watchdogs' rounds", "nexlet.exe, one service"):
        value = {measure: results.median(WINE, "idle", row, measure)[0] for measure in ("cpu", "private", "handles", "threads")}
        out.append((row, f"{value['cpu']:.2f}", f"{value['private'] / 2**20:.1f}", f"{value['handles']:.0f}",
                    f"{value['threads']:.0f}"))
    return table(*out)


def page(results):
    facts = results.facts
    machine, installed = facts["machine"], facts["packages"]
    judged = [(*aim[:3], aim[3](aim[2].median), aim[4]) for aim in aims(results)]
    met = sum(good for *_, good, _ in judged)
    rows = [("what, as a ratio", "aim", "median", "quartiles", "")]
    rows += [(what, words, f"{ratio.median:.2f}", f"{ratio.low:.2f} to {ratio.high:.2f}", "met" if good else "**missed**")
             for what, words, ratio, good, _ in judged]
    missed = dict.fromkeys(why for *_, good, why in judged if not good)
    parts = [
        BEFORE,
        f"This run: {facts['date']}, {machine['processor']}, {plural(machine['processors'], 'processor')}, "
        f"{machine['system']}, {machine['wine']}, {machine['compiler']}; "
        + ", ".join(f"{name} {version}" for name, version in installed.items())
        + f". It took {facts['seconds'] / 60:.0f} minutes. The load of the machine just before was {machine['load'][0]:.1f}."
        + (f" It was a short run of {plural(facts['rounds'], 'round')}: its figures say little." if facts["rounds"] else ""),
        "## Aims", f"Of {len(judged)} aims, {met} are met.", table(*rows),
        "![The ratios of the table above as bars, each with its aim as a line: green where it is met, red where not]"
        "(pictures/performance.svg)",
    ]
    if missed:
        parts += ["### Why a peer is ahead", *(WHY[key] for key in missed)]
    parts += [
        "## From a request to its reply",
        METHOD["reply"], *(reply_table(results, number) for number in CONNECTIONS),
        "## One process, many services", METHOD["services"], services_table(results),
        "## Start", METHOD["start"],
        *(f"{words}:\n\n" + compared(results, where, "start to first word", "program with a message window",
                                     ("program with a message window", "nexlet.exe", "nexlet.exe, with a channel"))
          for where, words in ((WINE, "Without a display"), (SCREEN, "With a display"))),
        "## Idle, and memory", METHOD["idle"], idle_table(results),
        "## The envelope", METHOD["envelope"],
        compared(results, NATIVE, "the envelope, one block of 1024 bits", "OpenSSL, public operation",
                 ("OpenSSL, public operation", "RsaPublicBlock", "RsaEncryptToString, 1 block",
                  "RsaEncryptToString, 100 blocks: each")),
        "## The signer of a file", METHOD["signer"],
        compared(results, WINE, "the signer, a file on disk", "open the file and read the table",
                 ("open the file and read the table", "IsTrustedSigner", "GetSignInfo")),
        compared(results, NATIVE, "the signer, a file in memory", "OpenSSL, name of the signer",
                 ("OpenSSL, name of the signer", "IsTrustedSigner", "GetSignInfo")),
        compared(results, WHOLE, "signer of one file, whole programs", "osslsigncode verify",
                 ("osslsigncode verify", "check_signer", "a program that does nothing")),
        "## Icons", METHOD["icon"],
        *(compared(results, WHOLE, f"icon from a {kind} picture of {pixels} pixels", "ImageMagick",
                   ("ImageMagick", "TuFileToIcoFile"),
                   labels={"ImageMagick": f"ImageMagick, {kind.upper()} of {pixels} pixels", "TuFileToIcoFile": "the helper's code"})
          for kind in ("png", "jpg") for pixels in (512, 2048)),
        "## Beacons", METHOD["beacons"],
        compared(results, WINE, "beacons", "bare WinINet loop", ("bare WinINet loop", "COvHttpTransfer"), "rate",
                 labels={"COvHttpTransfer": "the helper's worker"}),
        "## A status request", METHOD["status"],
        compared(results, WINE, "a status request among a hundred processes", "go through the processes once",
                 ("go through the processes once", "GetWxAppStatus")),
        DONE, CLOSING,
    ]
    return "\n\n".join(parts) + "\n", chart([(what, words, ratio, good) for what, words, ratio, good, _ in judged])


def main():
    results = Results(ROOT / "bench/results.json")
    text, picture = page(results)
    stale = False
    for path, content in ((ROOT / "docs/performance.md", text), (ROOT / "docs/pictures/performance.svg", picture)):
        if sys.argv[1:] == ["--check"]:
            if not path.is_file() or path.read_text(encoding="utf-8") != content:
                stale = True
                print(f"{path.relative_to(ROOT)} is not what bench/make_page.py makes of bench/results.json", file=sys.stderr)
        else:
            path.write_text(content, encoding="utf-8")
    sys.exit(stale)


if __name__ == "__main__":
    main()
