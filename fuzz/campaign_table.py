"""The table of the last fuzzing campaign in docs/reliability.md, between two marks."""
import re

BEGIN, END = "<!-- fuzz: written by tools/fuzz -->", "<!-- fuzz: end -->"
# Aims: so many executions, depending on what one takes.
QUICK_MICROSECONDS, QUICK_AIM, SLOW_AIM = 10, 10**8, 10**7
STILL_SECONDS = 3600


def microseconds(state):
    return state["seconds"] * 1e6 / max(1, state["executions"])


def aim(state):
    return QUICK_AIM if microseconds(state) < QUICK_MICROSECONDS else SLOW_AIM


def seconds_to_aim(state):
    """How much longer it has to run for its number of executions, 0 when it has them."""
    return max(0, aim(state) - state["executions"]) * microseconds(state) / 1e6


def duration(seconds):
    return f"{seconds:.0f} s" if seconds < 120 else f"{seconds / 60:.0f} min" if seconds < 7200 else f"{seconds / 3600:.1f} h"


def table(states, date, findings):
    """The text between the marks."""
    total = sum(state["executions"] for state in states.values())
    hours = sum(state["seconds"] for state in states.values()) / 3600
    enough = sum(state["executions"] >= aim(state) for state in states.values())
    still = sum(state["seconds"] - state["new_at"] >= STILL_SECONDS for state in states.values())
    lines = [f"As of {date}: {total:,} executions in {hours:.2f} processor hours, "
             f"{'without a finding' if not findings else 'with findings in ' + ', '.join(findings)}. The aim is 10^8 executions "
             f"of a fuzzer where one takes less than {QUICK_MICROSECONDS} microseconds and 10^7 elsewhere, and coverage that "
             f"has not grown for an hour of the fuzzer's own time. Of {len(states)} fuzzers, {enough} have reached the number and "
             f"{still} the hour.", "",
             "| fuzzer | executions | of its aim | us each | coverage | features | inputs kept | new coverage last | time in all | "
             "slowest input of 1 MiB |",
             "|---|---|---|---|---|---|---|---|---|---|"]
    for name, state in states.items():
        large = state.get("large", {}).get("slowest_ms")
        lines.append(f"| {name} | {state['executions']:,} | {min(1, state['executions'] / aim(state)):.1%} | "
                     f"{microseconds(state):.0f} | {state['coverage']} | {state['features']} | {state['inputs']} | "
                     f"after {duration(state['new_at'])} | {duration(state['seconds'])} | "
                     f"{'' if large is None else f'{large} ms'} |")
    return "\n".join(lines)


def write_table(page, states, date, findings):
    text = page.read_text(encoding="utf-8")
    between = re.compile(re.escape(BEGIN) + ".*?" + re.escape(END), re.S)
    if not between.search(text):
        raise SystemExit(f"{page} lacks the marks of the table")
    page.write_text(between.sub(lambda _: f"{BEGIN}\n\n{table(states, date, findings)}\n\n{END}", text), encoding="utf-8")
