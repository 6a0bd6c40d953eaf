#!/usr/bin/python3 -B
"""Two servers of one archive, over one PostgreSQL database and one directory. Both are sent to at once, by storescu and
by our own command, some of it to both: nothing is lost or doubled, and both find and give all of it. Then the database
is stopped while objects arrive: these are refused (A700) until it is back, and taken then by the same servers.
Usage: archive_servers.py ORVKIT"""
import os
import subprocess
import sys
from concurrent.futures import ThreadPoolExecutor

import peers
from peers import Archive, Database, dataset, fault, files, need, need_index, uid_of, until, work

orvkit = sys.argv[1]
need_index(orvkit)
need("storescu", "findscu", "getscu")


def must(*words):
    done = peers.run(*words)
    if done.returncode != 0:
        fault(f"{' '.join(words)}: {done.stdout[-600:]}{done.stderr[-600:]}")
    return done.stdout + done.stderr


def objects(name, seed, images, size="32"):
    must(orvkit, "phantom", name, "--size", size, "--images", str(images), "--seed", str(seed))
    return {uid_of(data): data for data in map(dataset, files(name))}


def agree(place, sent):
    """Index and files, with one another and with what was sent."""
    for words in (("check",), ("verify",)):
        must(orvkit, "index", *words, "in", "--index", place)
    kept = [dataset(path) for path in files("in") if path.endswith(".dcm")]
    if len(kept) != len(sent) or {uid_of(data): data for data in kept} != sent:
        fault(f"{len(kept)} files of {len(sent)} objects, or others than these")


def ask(server, get, sent):
    """What one of them finds and gives."""
    port = server.peer.split(":")[1]
    studies = {uid.rsplit(".", 2)[0] for uid in sent}
    said = must("findscu", "-S", "-k", "QueryRetrieveLevel=STUDY", "-k", "StudyInstanceUID", "localhost", port)
    if said.count("(Pending)") != len(studies):
        fault(f"{said.count('(Pending)')} studies are found, of {len(studies)}")
    got = "got" + port
    os.mkdir(got)
    for study in studies:
        key = f"StudyInstanceUID={study}"
        if get == "getscu":
            must(get, "-S", "+B", "-od", got, "-k", "QueryRetrieveLevel=STUDY", "-k", key, "localhost", port)
        else:
            must(orvkit, "get", server.peer, got, "--level", "study", "-k", key)
    if {uid_of(data): data for data in map(dataset, files(got))} != sent:
        fault(f"{get}: {len(files(got))} objects come back, of {len(sent)}, or others than these")


def flood(servers):
    """Two senders at each; what the last study has, both get."""
    sent = {}
    for seed in (1, 2, 3):
        sent.update(objects(f"set{seed}", seed, 10))
    sends = [[orvkit, "send", "-j", "4", server.peer, name, "set3"] for server, name in zip(servers, ("set1", "set2"))]
    sends += [["storescu", "+sd", "+r", "localhost", server.peer.split(":")[1], "set3"] for server in servers]
    with ThreadPoolExecutor(len(sends)) as pool:
        list(pool.map(lambda words: must(*words), sends))
    return sent


def outage(database, servers):
    """The database goes in the middle, and comes back: what is sent then."""
    sent = objects("set4", 4, 40)
    begun = sum(server.said().count(" stored ") for server in servers)
    sending = [subprocess.Popen([orvkit, "send", "-j", "4", server.peer, "set4"], stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True) for server in servers]
    until(lambda: sum(server.said().count(" stored ") for server in servers) > begun + 20, sending[0])
    database.tell("stop")
    said = [process.communicate()[0] for process in sending]
    if not any("0xA700" in text for text in said):
        fault("nothing is refused while there is no database: " + said[0][-600:])
    refused = peers.run(orvkit, "send", servers[0].peer, "set4")
    if refused.returncode == 0 or "0xA700" not in refused.stdout + refused.stderr:
        fault("without a database objects are taken: " + refused.stdout[-300:])
    database.tell("again")
    for server in servers:
        must(orvkit, "send", "-j", "4", server.peer, "set4")
    return sent


def main():
    database = Database(orvkit)
    servers = [Archive(orvkit, "in", f"log{i}", "--index", database.place) for i in range(2)]
    if not all([server.listens() for server in servers]):
        return
    sent = flood(servers)
    agree(database.place, sent)
    for server, get in zip(servers, ("getscu", "get")):
        ask(server, get, sent)
    sent.update(outage(database, servers))
    agree(database.place, sent)
    print(f"{len(sent)} objects")


work(main)
