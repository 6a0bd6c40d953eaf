"""What the scripts in Python share: what must be installed, faults, and a working directory that goes with all that was
started in it."""
import array
import importlib.util
import os
import shutil
import subprocess
import sys
import tempfile
import time

faults = 0
processes = []


def skip(why):
    print("skipped:", why)
    sys.exit(77)


def need(*names):
    """Programs, or modules."""
    for name in names:
        if not shutil.which(name) and not importlib.util.find_spec(name):
            skip(f"{name} is not installed")


def need_index(orvkit):
    if "left out" in run(orvkit, "index").stderr:
        skip("no index in this build")


def fault(text):
    global faults
    faults += 1
    print("FAULT:", text, flush=True)


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, errors="replace", timeout=120)


def until(condition, process, seconds=30):
    """Whether a condition holds in time, while a process runs."""
    end = time.monotonic() + seconds
    while time.monotonic() < end and process.poll() is None:
        if condition():
            return True
        time.sleep(0.01)
    return False


def work(main):
    """Runs it in a directory of its own; the end of the script."""
    with tempfile.TemporaryDirectory() as folder:
        os.chdir(folder)
        try:
            main()
        finally:
            for process in processes:
                process.kill()
                process.wait()
            os.chdir("/")
    print(f"{faults} faults")
    sys.exit(1 if faults else 0)


def dataset(path):
    """The bytes behind the meta information."""
    with open(path, "rb") as file:
        data = file.read()
    return data[144 + int.from_bytes(data[140:144], "little"):]


def pnm(name):
    """Kind and size of a binary PNM file, its samples, and the greatest that there may be."""
    with open(name, "rb") as file:
        data = file.read()
    fields, at = [], 0
    while len(fields) < 4:
        end = at
        while data[end:end + 1] not in b" \t\n":
            end += 1
        if data[at:at + 1] == b"#":
            end = data.index(b"\n", at)
        elif end > at:
            fields.append(data[at:end])
        at = end + 1
    words = array.array("H" if int(fields[3]) > 255 else "B", data[at:])
    if words.itemsize == 2:
        words.byteswap()
    return fields[:3], words, int(fields[3])
