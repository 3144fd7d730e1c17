"""The examples as runs for the campaigns: each as it stands and by every solver, and some steps of the diode's.

A host is a command that makes one run in its working directory. Standard library only.
"""

import importlib.util
import re
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
EXAMPLES = ROOT / "examples"
HOST_SOURCE = ROOT / "tests/install/host/host.c"
END_OF_RUN = b"    === The end. ===\n"
TIME_STAMP = re.compile(rb"[A-Z][a-z]{2} \d{2},\d{4}\([A-Z][a-z]+\) \d{2}:\d{2}:\d{2}")
SKYLINE_IN_BLOCKS = "150000 20 20\n" + "".join(f"skyline-{k}.tmp\n" for k in range(1, 21))
SOLVERS = {  # name: lines 4 and 5 of the control file, "t-skylin.txt"
    "cg": ("1 0\n5000 1e-12 1.0\n", None),
    "scg": ("1 2\n5000 1e-12 1.0\n", None),
    "gauss_seidel": ("2 0\n200 1e-12 1.5\n", None),  # does not converge in 200 sweeps, and need not
    "gauss_seidel_both_ways": ("2 1\n200 1e-12 1.0\n", None),
    "skyline": ("0 0\n", "3000000 1 20\nskyline-1.tmp\n"),
    "skyline_in_blocks": ("0 0\n", SKYLINE_IN_BLOCKS),
}
DIODE_STEPS = (3, 2)  # before the voltage turns, and after


def examples():
    return sorted(path.parent.name for path in EXAMPLES.glob("*/expected.txt"))


def run_quietly(*command, environment=None):
    """Returns what the command said; a failure ends the script."""
    outcome = subprocess.run(command, env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, text=True, errors="replace", check=False)
    if outcome.returncode != 0:
        sys.exit(f"{outcome.stdout}{' '.join(map(str, command))}: status {outcome.returncode}")
    return outcome.stdout


def host_of(build):
    """The smallest host, linked to the library of a build on this machine."""
    cache = dict(re.findall(r"^(\w+):\w+=(.*)$", (build / "CMakeCache.txt").read_text(), re.MULTILINE))
    library = (build / "src/libtarnel.so").resolve()
    host = build.resolve() / "smallest-host"
    sanitizers = [f"-fsanitize={cache['TARNEL_SANITIZE']}"] if cache.get("TARNEL_SANITIZE") else []
    # The C++ compiler brings the sanitizers' parts for C++.
    run_quietly(cache["CMAKE_CXX_COMPILER"], *sanitizers, f"-I{ROOT}/include", "-x", "c", HOST_SOURCE, "-x", "none",
                "-o", host, library, f"-Wl,-rpath,{library.parent}")
    return [str(host)]


def run_host(host, folder, environment=None):
    """One run; its log must end with the end line."""
    (folder / "tarnel.log").unlink(missing_ok=True)
    outcome = subprocess.run(host, cwd=folder, env=environment, stdin=subprocess.DEVNULL, capture_output=True,
                             check=False)
    log = folder / "tarnel.log"
    text = log.read_bytes().replace(b"\r\n", b"\n") if log.exists() else b""
    if outcome.returncode != 0 or not text.endswith(END_OF_RUN):
        raise RuntimeError(f"{folder}: the run did not reach its end, status {outcome.returncode}\n"
                           f"{(text[-500:] + outcome.stdout + outcome.stderr).decode(errors='replace')}")


def files_of(folder):
    """Every file of a finished run; line ends of texts as newlines, the log without its time stamps."""
    files = {}
    for path in folder.iterdir():
        content = path.read_bytes()
        if path.suffix in (".txt", ".log"):
            content = content.replace(b"\r\n", b"\n")
        files[path.name] = TIME_STAMP.sub(b"<time>", content) if path.suffix == ".log" else content
    return files


def copy_example(name, folder):
    folder.mkdir(parents=True)
    for path in (EXAMPLES / name).iterdir():
        if path.suffix in (".txt", ".tmp") and not path.name.startswith("expected"):
            shutil.copyfile(path, folder / path.name)


def choose_solver(solver, folder):
    lines, skyline = SOLVERS[solver]
    control = (folder / "at-cntl-data.txt").read_text().splitlines(keepends=True)
    (folder / "at-cntl-data.txt").write_text("".join(control[:3]) + lines + "".join(control[5:]))
    if skyline is not None:
        (folder / "t-skylin.txt").write_text(skyline)


def diode_steps(run, folder):
    """The script's own first steps forward and backward: files of the last one, and what each left for the next."""
    spec = importlib.util.spec_from_file_location("run_example", EXAMPLES / "electromagnet_diode/run_example.py")
    example = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(example)
    folder.mkdir(parents=True)
    for name in example.FIELD_INPUTS:
        shutil.copyfile(example.FIELD / name, folder / name)
    for name in example.OWN_INPUTS:
        shutil.copyfile(example.HERE / name, folder / name)
    example.write_circuit(folder)
    forward, backward = DIODE_STEPS
    files = {}
    for step in range(1, forward + backward + 1):
        voltage = example.source_voltage(1 if step <= forward else example.STEPS_FORWARD + 1)
        (folder / "t-voltr-vector.tmp").write_bytes(example.integers(1) + example.reals(voltage))
        run(folder)
        files.update({f"step {step} {name}": content for name, content in files_of(folder).items()})
        (folder / "at-nresl-struct.tmp").replace(folder / "at-npresl-struct.tmp")
        (folder / "t-voltr-solution.tmp").replace(folder / "t-voltp-solution.tmp")
    return files


def results_of_all(run, folder, solvers_of=lambda name: [None, *SOLVERS]):
    """Makes every run with run(FOLDER), below the folder, which is made anew; returns {run: {file: content}}.
    solvers_of(EXAMPLE) chooses; None is the example as it stands."""
    shutil.rmtree(folder, ignore_errors=True)
    results = {}
    for name in examples():
        for solver in solvers_of(name):
            title = name if solver is None else f"{name} {solver}"
            here = folder / title.replace(" ", "-")
            copy_example(name, here)
            if solver is not None:
                choose_solver(solver, here)
            run(here)
            results[title] = files_of(here)
    results["electromagnet_diode"] = diode_steps(run, folder / "electromagnet_diode")
    return results


def differences(wanted, got):
    """The files that differ, one text a file."""
    found = []
    for title in sorted(set(wanted) | set(got)):
        left, right = wanted.get(title, {}), got.get(title, {})
        for name in sorted(set(left) | set(right)):
            if name not in left or name not in right:
                found.append(f"{title}: {name} is there in one only")
            elif left[name] != right[name]:
                both = zip(left[name], right[name])
                at = next((k for k, (a, b) in enumerate(both) if a != b), min(len(left[name]), len(right[name])))
                found.append(f"{title}: {name} differs from byte {at} on ({len(left[name])}, {len(right[name])} bytes)")
    return found


def size_of(results):
    """How much that is, in words."""
    files = [content for run in results.values() for content in run.values()]
    return f"{len(results)} models, {len(files)} files, {sum(map(len, files)) / 1e6:.0f} MB"
