#!/usr/bin/env python3
"""The signer check as a whole program, beside osslsigncode, on the same file.

    signer_peer.py CHECK_SIGNER FILE

osslsigncode also hashes the file and builds the chain, which the helper's check is not for. What starting a program takes
is measured too.
"""
import statistics
import subprocess
import sys
import time

import bench_record

PROGRAM, FILE = sys.argv[1:3]
COMMANDS = (("a program that does nothing", ("true",)), ("check_signer", (PROGRAM, FILE)),
            ("osslsigncode verify", ("osslsigncode", "verify", "-in", FILE)))
TIMES = 20  # starts in one round


def milliseconds(command):
    begin = time.perf_counter()
    for _ in range(TIMES):
        # osslsigncode ends with 1 for a file whose root nobody knows.
        subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return (time.perf_counter() - begin) * 1e3 / TIMES


said = subprocess.run(COMMANDS[1][1], capture_output=True, check=True, text=True).stdout.strip()
if said not in subprocess.run(COMMANDS[-1][1], capture_output=True, text=True).stdout:
    sys.exit(f"osslsigncode does not name {said} as the signer of {FILE}")
taken = {name: [] for name, _ in COMMANDS}
for _ in range(bench_record.rounds(15)):
    for name, command in COMMANDS:
        taken[name].append(milliseconds(command))
print(f"\nthe signer of one file, each check a program, median of {len(taken[name])} rounds of {TIMES}")
floor = statistics.median(taken["check_signer"])
for name, values in taken.items():
    print(f"  {name:44} {statistics.median(values):8.3f} ms  {statistics.median(values) / floor:6.2f} x")
    bench_record.record("signer of one file, whole programs", name, "time", "ms", values)
