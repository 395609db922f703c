"""What users feel: how long the port is silent around apply and stop, with each service manager.

The whole of it happens in a network of its own, as the port is a fixed one, and as a user of its own with a home that is
gone afterwards: felt_scene.py is what that user does.
"""

import json
import shlex
import shutil
import subprocess

from proxies import BUILD, ROOT

MANAGERS = ("runit", "systemd")
SKIPPED = 77  # what as-fresh-user.sh ends with where the machine does not allow it
LIMIT = 110  # seconds; as-fresh-user.sh ends after 90 by itself
STAGED = ("bin/ferrin-relay", "bin/ferrin-bench-load", "bin/ferrin-bench-stop", "libexec", "share")


def stage(folder):
    """The programs and the scene, where another user can read them: the build tree may be closed to others."""
    stage = folder / "stage"
    if stage.exists():
        return stage
    for name in STAGED:
        source, target = BUILD / name, stage / name
        target.parent.mkdir(parents=True, exist_ok=True)
        shutil.copytree(source, target) if source.is_dir() else shutil.copy(source, target)
    shutil.copy(ROOT / "bench" / "felt_scene.py", stage)
    return stage


def play(folder, manager):
    """Milliseconds by measure; or the reason why there are none."""
    program = folder / f"felt-{manager}"
    program.write_text(f'#!/bin/sh\nexec python3 -B "$(dirname "$0")/stage/felt_scene.py" {shlex.quote(manager)}\n')
    program.chmod(0o755)
    support = ROOT / "tests" / "support"
    done = subprocess.run([support / "own-network.sh", support / "as-fresh-user.sh", "--with", stage(folder), program],
                          capture_output=True, text=True, timeout=LIMIT)
    if done.returncode == SKIPPED:
        return done.stdout.strip()
    if done.returncode != 0:
        raise RuntimeError(f"{manager}: {done.stdout}{done.stderr}")
    return json.loads(done.stdout.splitlines()[-1])


def measure_felt(results, folder, _turn):
    for manager in MANAGERS:
        figures = play(folder, manager)
        if isinstance(figures, str):
            results.missing[manager] = figures
            continue
        for measure, value in figures.items():
            results.add(f"{measure}, ms", manager, value)
