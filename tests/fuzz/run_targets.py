#!/usr/bin/env python3
"""Runs fuzz targets one after another, each from its seed corpus and what earlier campaigns have kept, and prints what
they did; the exit status is 1 after a finding."""
import argparse
import os
import re
import subprocess
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent
MEMORY_MB = 256
SANITIZERS = {
    # A large array is refused, which the targets take for a finding; little is held back after it is freed.
    "ASAN_OPTIONS": "allocator_may_return_null=1:max_allocation_size_mb=64:quarantine_size_mb=8",
    "UBSAN_OPTIONS": "print_stacktrace=1",
}


def run_target(program, seconds, findings, kept):
    name = program.name.removesuffix("_fuzz")
    seeds = HERE / "corpus" / name
    corpus = kept / name
    corpus.mkdir(parents=True, exist_ok=True)
    artifacts = findings / name
    command = [
        str(program), f"-max_total_time={seconds}", f"-rss_limit_mb={MEMORY_MB}", "-timeout=20", "-max_len=2000",
        f"-artifact_prefix={artifacts}-", f"-dict={HERE / 'numbers.dict'}", "-print_final_stats=1",
        str(corpus), str(seeds),
    ]
    before = os.times()
    started = time.monotonic()
    done = subprocess.run(command, env={**os.environ, **SANITIZERS}, stdout=subprocess.DEVNULL,
                          stderr=subprocess.PIPE, text=True, errors="replace", check=False)
    after = os.times()
    cpu = after.children_user + after.children_system - before.children_user - before.children_system
    units = re.search(r"number_of_executed_units:\s*(\d+)", done.stderr)
    covered = re.findall(r"cov: (\d+)", done.stderr)
    memory = re.search(r"peak_rss_mb:\s*(\d+)", done.stderr)
    executions = int(units.group(1)) if units else 0
    print(f"{name:<14} {executions:>9} {covered[-1] if covered else '-':>8} {memory.group(1) if memory else '-':>7}"
          f" {time.monotonic() - started:>8.0f} {cpu:>7.0f}  {'ok' if done.returncode == 0 else 'FINDING'}", flush=True)
    if done.returncode != 0:
        print(done.stderr[-6000:], flush=True)
        return False
    return executions > 0


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--programs", type=Path, required=True)
    parser.add_argument("--findings", type=Path, required=True)
    parser.add_argument("--seconds", type=int, default=5)
    parser.add_argument("targets", nargs="*")
    given = parser.parse_args()
    findings = given.findings.resolve()
    findings.mkdir(parents=True, exist_ok=True)
    programs = sorted(given.programs.resolve().glob("*_fuzz"))
    if given.targets:
        programs = [p for p in programs if p.name.removesuffix("_fuzz") in given.targets]
    if not programs:
        sys.exit("no fuzz targets")
    print("target            runs    edges  MB peak  seconds     CPU")
    clean = [run_target(p, given.seconds, findings, given.programs.resolve() / "kept") for p in programs]
    sys.exit(0 if all(clean) else 1)


if __name__ == "__main__":
    main()
