#!/usr/bin/python3 -B
"""Servers of one archive, killed at random while objects arrive, are found and are deleted. After each kill the next
server starts: files and index must agree, both ways, and what was logged as stored (which comes before the sender
hears of it) must be there, byte for byte, unless a deletion was under way. The script tells how many kills met a
server at work.
Usage: archive_kills.py ORVKIT [ROUNDS [SERVERS [SEED]]]"""
import os
import random
import re
import subprocess
import sys
import time

import peers
from peers import dataset, fault, need_index, processes, until, work

orvkit = sys.argv[1]
rounds, servers, seed = [int(word) for word in (sys.argv[2:] + ["8", "1", "1"][len(sys.argv) - 2:])]
chance = random.Random(seed)
need_index(orvkit)


def run(*words):
    return peers.run(orvkit, *words)


def files(folder):
    return [os.path.join(base, name) for base, _, names in os.walk(folder) for name in names]


class Server:
    def __init__(self, number):
        self.log = f"log{number}"
        self.process = subprocess.Popen([orvkit, "serve", "in", "--archive", "--port", "0"],
                                        stderr=open(self.log, "w"))
        processes.append(self.process)

    def listens(self):
        def told():
            found = re.search(r"listening on port (\d+)", open(self.log).read())
            self.peer = "A@127.0.0.1:" + found[1] if found else None
            return found
        if until(told, self.process):
            return True
        fault("the server does not start: " + open(self.log).read())
        return False

    def kill(self):
        self.process.kill()
        self.process.wait()


class Archive:
    """What is known of it."""

    def __init__(self):
        self.sent = {}      # the data set of each instance
        self.stored = {}    # paths of what was told as stored
        self.touched = set()  # patients of whom a deletion had begun
        self.kills = 0

    def objects(self, number):
        """A set of new objects."""
        name = f"set{number}"
        run("phantom", name, "--size", "16", "--images", "12", "--seed", str(number))
        for path in files(name):
            data = dataset(path)
            at = data.index(b"\x08\0\x18\0UI")
            uid = data[at + 8:at + 8 + data[at + 6]].decode().rstrip("\0")
            self.sent[uid] = (data, number)
        return name

    def read(self, log):
        for line in open(log):
            found = re.search(r"stored (\S+/([0-9.]+?)(?:-\d+)?\.dcm)[ ;]", line)
            if found:
                self.stored[found[2]] = found[1]

    def look(self):
        for words in (("index", "check", "in"), ("index", "verify", "in")):
            done = run(*words)
            if done.returncode != 0:
                fault(f"{' '.join(words)}: {done.stdout}{done.stderr[:600]}")
        for uid, path in self.stored.items():
            data, number = self.sent[uid]
            if number in self.touched:
                continue
            if not os.path.exists("in/" + path):
                fault(f"{path} was told as stored, and is gone")
            elif dataset("in/" + path) != data:
                fault(f"{path} is not what was sent")

    def round(self, number):
        working = [Server(i) for i in range(servers)]
        if not all([server.listens() for server in working]):
            return
        self.look()
        names = [self.objects(number * 10 + i) for i in range(3)]
        started = [subprocess.Popen([orvkit, "send", chance.choice(working).peer, name, *again],
                                    stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
                   for name in names for again in ([], ["--timeout", "5"])]
        if number % 3 == 2:
            patient = (number - 1) * 10 + chance.randrange(3)
            self.touched.add(patient)
            started.append(subprocess.Popen([orvkit, "index", "delete", "in", "--root", "patient", "--level",
                                             "patient", "-k", f"PatientID=PHANTOM-{patient}"],
                                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        # At any number of objects, and at any time in the next one.
        most = chance.randrange(72)
        while sum(open(server.log).read().count(" stored ") for server in working) < most and \
                any(process.poll() is None for process in started):
            time.sleep(0.002)
        time.sleep(chance.random() * 0.02)
        if number % 3 == 2:
            started[-1].kill()
        for server in working:
            self.kills += any(process.poll() is None for process in started)
            server.kill()
        for process in started:
            process.wait()
        for server in working:
            self.read(server.log)


def main():
    archive = Archive()
    for number in range(rounds):
        archive.round(number)
    last = Server(0)
    if last.listens():
        archive.look()
        if run("send", last.peer, *[f"set{n * 10}" for n in range(max(0, rounds - 5), rounds)]).returncode != 0:
            fault("objects are not taken again")
        archive.look()
        last.process.terminate()
        last.process.wait()
    print(f"{archive.kills} kills of servers at work, {len(archive.stored)} objects told as stored")


work(main)
