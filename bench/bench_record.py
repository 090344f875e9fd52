"""What a benchmark in Python prints for tools/bench; see bench_record.h."""
import os


def rounds(usual):
    """The number of rounds to make: what tools/bench --rounds sets, or usual."""
    return int(os.environ.get("NEXLET_BENCH_ROUNDS", usual))


def record(table, row, measure, unit, values):
    if "NEXLET_BENCH_RECORD" in os.environ:
        print("record", table, row, measure, unit, " ".join(f"{value:.6g}" for value in values), sep="\t", flush=True)
