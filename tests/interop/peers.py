"""What the scripts in Python share: what must be installed, faults, and a working directory that goes with all that was
started in it."""
import array
import importlib.util
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

faults = 0
processes = []
endings = []  # what is called at the end


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
            for end in endings:
                end()
            os.chdir("/")
    print(f"{faults} faults")
    sys.exit(1 if faults else 0)


def numbers(*usual):
    """What the command line has behind the program, or what is usual."""
    given = [int(word) for word in sys.argv[2:] if word.isdigit()]
    return given + list(usual[len(given):])


def files(folder):
    return [os.path.join(base, name) for base, _, names in os.walk(folder) for name in names]


def uid_of(data):
    """The SOP Instance UID of a data set in explicit VR little endian."""
    at = data.index(b"\x08\0\x18\0UI")
    return data[at + 8:at + 8 + data[at + 6]].decode().rstrip("\0")


class Archive:
    """`serve --archive` on a port of its own, which says what it does in a log."""

    def __init__(self, orvkit, folder, log, *words):
        self.log = log
        self.process = subprocess.Popen([orvkit, "serve", folder, "--archive", "--port", "0", *words],
                                        stderr=open(log, "w"))
        processes.append(self.process)

    def said(self):
        with open(self.log) as log:
            return log.read()

    def listens(self):
        def told():
            found = re.search(r"listening on port (\d+)", self.said())
            self.peer = "A@127.0.0.1:" + found[1] if found else None
            return found
        if until(told, self.process):
            return True
        fault(f"the server does not start ({self.process.poll()}): " + self.said())
        return False

    def kill(self):
        self.process.kill()
        self.process.wait()


class Database:
    """A PostgreSQL server of the script's own, which ends with it; without one, the script."""
    script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "../support/postgresql.sh")

    def __init__(self, orvkit):
        self.folder = tempfile.mkdtemp(prefix="orvkit-pg-", dir="/tmp")  # a socket's name is short
        self.process = subprocess.Popen([self.script, "run", self.folder], stdin=subprocess.PIPE)
        endings.append(self.end)
        ready = self.folder + "/ready"
        until(lambda: os.path.exists(ready) and open(ready).read().endswith("\n"), self.process)
        said = open(ready).read().strip() if os.path.exists(ready) else "the database does not start"
        self.place = f"postgresql://orvkit@/postgres?host={self.folder}"
        if said != "ready" or "without PostgreSQL" in run(orvkit, "index", "stats", ".", "--index", self.place).stderr:
            self.end()
            skip(said if said != "ready" else "this build has no PostgreSQL")

    def tell(self, what):
        """crash, stop, or again"""
        if run(self.script, what, self.folder).returncode != 0:
            fault(f"the database: {what}")

    def end(self):
        if not self.process.stdin.closed:
            self.process.stdin.close()
            self.process.wait()
            shutil.rmtree(self.folder, ignore_errors=True)


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
