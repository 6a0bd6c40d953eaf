#!/usr/bin/python3 -B
"""Servers of one archive, killed at random while objects arrive, are found and are deleted. After each kill the next
server starts, with another layout: files and index must agree, both ways, and what was logged as stored (which comes
before the sender hears of it) must be there, byte for byte, unless a deletion was under way. The script tells how many
kills met a server at work.
With --database they share a PostgreSQL server, which is killed, too.
Usage: archive_kills.py ORVKIT [ROUNDS [SERVERS [SEED]]] [--database]"""
import os
import random
import re
import subprocess
import sys
import time

import peers
from peers import Archive, Database, dataset, fault, files, need_index, numbers, uid_of, work

orvkit = sys.argv[1]
rounds, servers, seed = numbers(8, 1, 1)
chance = random.Random(seed)
need_index(orvkit)
database = Database(orvkit) if "--database" in sys.argv else None
place = ["--index", database.place] if database else []
layouts = [[], ["--layout", "{PatientID}/{SeriesNumber}/{SOPInstanceUID}"]]


def run(*words):
    return peers.run(orvkit, *words)


class Known:
    """What is known of it."""

    def __init__(self):
        self.sent = {}      # the data set of each instance
        self.stored = {}    # paths of what was told as stored
        self.touched = set()  # patients of whom a deletion had begun
        self.kills = 0
        self.databases = 0

    def objects(self, number):
        """A set of new objects."""
        name = f"set{number}"
        run("phantom", name, "--size", "16", "--images", "12", "--seed", str(number))
        for path in files(name):
            data = dataset(path)
            self.sent[uid_of(data)] = (data, number)
        return name

    def read(self, log):
        for line in open(log):
            found = re.search(r"stored (\S+/([0-9.]+?)(?:-\d+)?\.dcm)[ ;]", line)
            if found:
                self.stored[found[2]] = found[1]

    def look(self):
        for words in (("index", "check", "in", *place), ("index", "verify", "in", *place)):
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
        working = [Archive(orvkit, "in", f"log{i}", *place, *layouts[(number + i) % 2]) for i in range(servers)]
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
            started.append(subprocess.Popen([orvkit, "index", "delete", "in", *place, "--root", "patient", "--level",
                                             "patient", "-k", f"PatientID=PHANTOM-{patient}"],
                                            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        # At any number of objects, and at any time in the next one.
        most = chance.randrange(72)
        while sum(server.said().count(" stored ") for server in working) < most and \
                any(process.poll() is None for process in started):
            time.sleep(0.002)
        time.sleep(chance.random() * 0.02)
        if number % 3 == 2:
            started[-1].kill()
        how = chance.choice(("", "crash", "stop")) if database else ""
        if how:
            self.databases += 1
            database.tell(how)
            if chance.random() < 0.5:
                database.tell("again")
                time.sleep(chance.random() * 0.05)
                how = ""
        for server in working:
            self.kills += any(process.poll() is None for process in started)
            server.kill()
        for process in started:
            process.wait()
        if how:
            database.tell("again")
        for server in working:
            self.read(server.log)


def main():
    archive = Known()
    for number in range(rounds):
        archive.round(number)
    last = Archive(orvkit, "in", "last", *place)
    if last.listens():
        archive.look()
        for number in range(max(0, rounds - 5), rounds):
            if run("send", last.peer, f"set{number * 10}").returncode != 0:
                fault(f"objects of set{number * 10} are not taken again")
        archive.look()
        last.process.terminate()
        last.process.wait()
    print(f"{archive.kills} kills of servers at work, {archive.databases} of the database, "
          f"{len(archive.stored)} objects told as stored")


work(main)
