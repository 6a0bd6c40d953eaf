#!/usr/bin/python3 -B
"""One corpus and 300 queries at three archives: ours, dcmqrscp and Orthanc, each asked by findscu. What they answer is
compared as sets of the attributes that were asked for, and each kind of difference stands in a table here, with its
reason; any other is a fault. Exit status 77 without one of the programs.
Usage: archive_compare.py ORVKIT [QUERIES [SEED]]"""
import json
import os
import random
import re
import socket
import subprocess
import sys
import warnings
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from tempfile import TemporaryDirectory

from peers import fault, need, need_index, numbers, processes, run, until, work

need("pydicom", "findscu", "storescu", "dcmqrscp", "Orthanc")
from pydicom import dcmread
from pydicom.dataset import Dataset, FileDataset, FileMetaDataset
from pydicom.sequence import Sequence

orvkit = sys.argv[1]
wanted, seed = numbers(300, 1)
need_index(orvkit)
warnings.simplefilter("ignore")
os.environ["TCP_NODELAY"] = "1"  # of the peers
chance = random.Random(seed)

LEVELS = ("PATIENT", "STUDY", "SERIES", "IMAGE")
UNIQUE = {"PATIENT": "PatientID", "STUDY": "StudyInstanceUID", "SERIES": "SeriesInstanceUID", "IMAGE": "SOPInstanceUID"}
RETURNED = {
    "PATIENT": ["PatientName", "PatientBirthDate", "PatientSex"],
    "STUDY": ["StudyDate", "StudyTime", "AccessionNumber", "StudyID", "StudyDescription", "ReferringPhysicianName",
              "PatientName", "PatientID", "ModalitiesInStudy", "NumberOfStudyRelatedInstances"],
    "SERIES": ["Modality", "SeriesNumber", "SeriesDescription", "BodyPartExamined", "NumberOfSeriesRelatedInstances"],
    "IMAGE": ["InstanceNumber", "SOPClassUID", "ContentDate"],
}
NAMES = [("", "Doe^John"), ("", "Doe^Jane"), ("", "DOE^Joan^Q"), ("", "Smith^Anna^^Dr"), ("", "O'Neil^Pat"), ("", None),
         ("ISO_IR 100", "Müller^Jürgen"), ("ISO_IR 144", "Люкceмбypг"), ("ISO_IR 192", "Wang^XiaoDong=王^小東"),
         ("\\ISO 2022 IR 87", "Yamada^Tarou=山田^太郎=やまだ^たろう"), ("ISO_IR 126", "Διονυσιος"), ("", "Doehler^Jo")]


# ---- the corpus ------------------------------------------------------------------------------------------------

def make(path, patient, study, series, image):
    charset, name = NAMES[patient]
    uid = f"1.3.6.1.4.1.70707.77.{patient + 1}.{study + 1}"
    d = FileDataset(path, {}, preamble=b"\0" * 128, file_meta=FileMetaDataset())
    d.is_little_endian, d.is_implicit_VR = True, False
    if charset:
        d.SpecificCharacterSet = charset.split("\\")
    d.SOPClassUID = "1.2.840.10008.5.1.4.1.1.7" if series else "1.2.840.10008.5.1.4.1.1.2"
    d.SOPInstanceUID = f"{uid}.{series + 1}.{image + 1}"
    d.StudyInstanceUID, d.SeriesInstanceUID = uid, f"{uid}.{series + 1}"
    d.PatientName, d.PatientID = name, f"PID{patient:02}"
    d.PatientBirthDate = "" if patient % 4 == 3 else f"19{50 + patient}0{1 + patient % 9}15"
    d.PatientSex = "MFO"[patient % 3]
    d.StudyDate = "" if patient == 5 else f"20{10 + patient:02}0{1 + study}{10 + study:02}"
    d.StudyTime = ["093000", "101530.250", "235959", ""][(patient + study) % 4]
    d.AccessionNumber = f"ACC{patient}{study}" if patient % 3 else ""
    d.StudyID = str(patient * 10 + study)
    d.StudyDescription = ["Head", "HEAD routine", "Chest [low dose]", "Abdomen*"][(patient + study) % 4]
    d.ReferringPhysicianName = "Ref^One" if patient % 2 else ""
    d.Modality = "OT" if series else "CT"
    d.SeriesNumber, d.InstanceNumber = str(series + 1), str(image + 1)
    d.SeriesDescription, d.BodyPartExamined = f"series {series}", ["HEAD", "CHEST"][series]
    d.ContentDate = d.StudyDate
    request = Dataset()
    request.RequestedProcedureID, request.ScheduledProcedureStepID = f"RP{patient}", f"SP{study}"
    d.RequestAttributesSequence = Sequence([request] if patient % 2 else [])
    d.Rows, d.Columns, d.SamplesPerPixel, d.PhotometricInterpretation = 4, 4, 1, "MONOCHROME2"
    d.BitsAllocated, d.BitsStored, d.HighBit, d.PixelRepresentation = 8, 8, 7, 0
    d.PixelData = bytes([patient, study, series, image] * 4)
    d["PixelData"].VR = "OB"
    d.file_meta.MediaStorageSOPClassUID, d.file_meta.MediaStorageSOPInstanceUID = d.SOPClassUID, d.SOPInstanceUID
    d.file_meta.TransferSyntaxUID = "1.2.840.10008.1.2.1"
    d.save_as(path, write_like_original=False)
    return d


def corpus():
    os.mkdir("corpus")
    return [make(f"corpus/{p}_{st}_{se}_{im}", p, st, se, im) for p in range(len(NAMES)) for st in range(1 + p % 3)
            for se in range(1 + (p + st) % 2) for im in range(1 + (p + se) % 3)]


# ---- queries ---------------------------------------------------------------------------------------------------

def matching(level, root, d):
    """A key of one kind that some object of the corpus inspires."""
    date, end = d.StudyDate or "20150101", "20180110"
    name = str(d.PatientName or "Doe^John")
    kinds = {
        "STUDY": [("StudyDate", date, "single date"), ("StudyDate", f"{date}-", "range of dates"),
                  ("StudyDate", f"-{date}", "range of dates"), ("StudyDate", f"20120101-{end}", "range of dates"),
                  ("StudyTime", "090000-120000", "range of times"), ("StudyTime", d.StudyTime or "093000", "single time"),
                  ("AccessionNumber", d.AccessionNumber or "ACC10", "single value"), ("AccessionNumber", "ACC*", "wild card"),
                  ("AccessionNumber", "ACC?0", "wild card"), ("StudyID", d.StudyID, "single value"),
                  ("StudyDescription", d.StudyDescription, "text"), ("StudyDescription", "Head*", "wild card"),
                  ("StudyDescription", "*", "stars alone"), ("ModalitiesInStudy", "OT", "modalities"),
                  ("ReferringPhysicianName", "Ref*", "wild card"),
                  ("StudyInstanceUID", d.StudyInstanceUID, "unique"),
                  ("StudyInstanceUID", d.StudyInstanceUID + "\\1.3.6.1.4.1.70707.77.3.2", "list of UID")],
        "SERIES": [("Modality", d.Modality, "single value"), ("SeriesNumber", "1", "number"),
                   ("SeriesDescription", "series*", "wild card"), ("BodyPartExamined", "?EAD", "wild card"),
                   ("RequestAttributesSequence[0].RequestedProcedureID", "RP1", "sequence"),
                   ("SeriesInstanceUID", d.SeriesInstanceUID + "\\" + d.StudyInstanceUID + ".2", "list of UID")],
        "IMAGE": [("InstanceNumber", "1", "number"), ("SOPClassUID", d.SOPClassUID, "unique"),
                  ("ContentDate", f"20100101-{end}", "range of dates"),
                  ("SOPInstanceUID", d.SOPInstanceUID + "\\" + d.SeriesInstanceUID + ".2", "list of UID")],
        "PATIENT": [("PatientName", name.split("=")[0], "name"), ("PatientName", "Doe*", "wild card in a name"),
                    ("PatientName", "doe^j*", "wild card in a name, other case"), ("PatientName", "*", "stars alone"),
                    ("PatientName", "D?e^J*", "wild card in a name"), ("PatientID", d.PatientID, "single value"),
                    ("PatientID", "PID0*", "wild card"), ("PatientSex", d.PatientSex, "single value"),
                    ("PatientBirthDate", d.PatientBirthDate or "19530415", "single date"),
                    ("PatientBirthDate", "19500101-19551231", "range of dates")],
    }
    return chance.choice(kinds[level] + (kinds["PATIENT"] if level == "STUDY" and root == "S" else []))


def query(objects):
    root = chance.choice("PS")
    level = chance.choice(LEVELS[0 if root == "P" else 1:])
    d = chance.choice(objects)
    keys = {"QueryRetrieveLevel": level, UNIQUE[level]: ""}
    for upper in LEVELS[0 if root == "P" else 1:LEVELS.index(level)]:
        keys[UNIQUE[upper]] = str(d[UNIQUE[upper]].value)
    returned = RETURNED[level] if not (level == "STUDY" and root == "P") else RETURNED[level][:6] + RETURNED[level][8:]
    keys.update(dict.fromkeys(chance.sample(returned, chance.randint(1, len(returned))), ""))
    kinds = set()
    for _ in range(chance.choice((0, 1, 1, 1, 2))):
        key, value, kind = matching(level, root, d)
        if keys.get(key):
            continue
        keys[key] = value
        kinds.add(kind if value.isascii() else kind + ", characters beyond ASCII")
    if any(not value.isascii() for value in keys.values()):
        keys["SpecificCharacterSet"] = "ISO_IR 192"
    return root, keys, kinds or {"universal"}


# ---- the archives ----------------------------------------------------------------------------------------------

def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def start(port, *words):
    process = subprocess.Popen(words, stdout=open(f"log{port}", "w"), stderr=subprocess.STDOUT)
    processes.append(process)

    def listens():
        with socket.socket() as s:
            return s.connect_ex(("127.0.0.1", port)) == 0
    if not until(listens, process):
        sys.exit(f"{words[0]} does not listen: " + open(f"log{port}").read()[-500:])


def archives():
    at = {"ours": ("ORVKIT", free_port()), "dcmqrscp": ("QR", free_port()), "Orthanc": ("ORTHANC", free_port())}
    start(at["ours"][1], orvkit, "serve", "in", "--archive", "--port", str(at["ours"][1]))
    os.mkdir("db")
    with open("qr.cfg", "w") as f:
        f.write(f"NetworkTCPPort = {at['dcmqrscp'][1]}\nMaxPDUSize = 16384\nMaxAssociations = 16\nHostTable BEGIN\n"
                f"HostTable END\nVendorTable BEGIN\nVendorTable END\n"
                f"AETable BEGIN\nQR {os.getcwd()}/db RW (200, 1024mb) ANY\nAETable END\n")
    start(at["dcmqrscp"][1], "dcmqrscp", "+B", "-c", "qr.cfg")
    with open("orthanc.json", "w") as f:
        json.dump({"StorageDirectory": "orthanc", "IndexDirectory": "orthanc", "DicomPort": at["Orthanc"][1],
                   "DicomAet": "ORTHANC", "DefaultEncoding": "Utf8", "HttpServerEnabled": False, "Plugins": [], "DicomAlwaysAllowEcho": True,
                   "DicomAlwaysAllowStore": True, "DicomAlwaysAllowFind": True}, f)
    start(at["Orthanc"][1], "Orthanc", "orthanc.json")
    return at


def text(value):
    return "" if value is None else re.sub(r"[\^=]+(?==|$)", "", str(value).strip())


def valueOf(answer, key):
    at = answer
    for word in re.split(r"\[0\]\.", key):
        if word not in at:
            return None
        value = at[word].value
        at = value[0] if isinstance(value, Sequence) and len(value) else at
    if key in ("ModalitiesInStudy",):
        return "\\".join(sorted([value] if isinstance(value, str) else list(value or [])))
    return text(value)


def ask(archive, root, keys):
    """The answers by their unique key: what they have of the keys; None when the archive refuses."""
    words = [word for key, value in keys.items() for word in ("-k", f"{key}={value}" if value else key)]
    answers = {}
    with TemporaryDirectory(dir=".") as folder:
        done = run("findscu", "-v", "-" + root, "-X", "-od", folder, "-aec", archive[0], *words, "127.0.0.1",
                   str(archive[1]))
        if "Success" not in done.stdout + done.stderr:
            return None
        for name in sorted(os.listdir(folder)):
            answer = dcmread(folder + "/" + name, force=True)
            answer.decode()
            unique = valueOf(answer, UNIQUE[keys["QueryRetrieveLevel"]]) or ""
            answers[unique] = {key: valueOf(answer, key) for key in keys
                               if key not in ("QueryRetrieveLevel", "SpecificCharacterSet")}
    return answers


# ---- differences -----------------------------------------------------------------------------------------------

# Whose, what differs (entities that one has and the other has not, a value, a refusal), where; and why that is so.
UNKNOWN = {  # to dcmqrscp
    "ModalitiesInStudy", "NumberOfStudyRelatedInstances", "NumberOfSeriesRelatedInstances", "SOPClassUID", "ContentDate",
    "BodyPartExamined", "SeriesDescription", "RequestAttributesSequence[0].RequestedProcedureID"}
ALL_CASES = ("wild card in a name", "name")


def asksUnknown(kinds, keys, key):
    return any(name in UNKNOWN and value for name, value in keys.items())


REASONS = [
    ("dcmqrscp", ("value",), lambda kinds, keys, key: key in UNKNOWN, "an attribute that it does not keep"),
    ("dcmqrscp", ("more there",), asksUnknown, "it passes over a key for an attribute that it does not keep"),
    ("dcmqrscp", ("more here",), lambda kinds, keys, key: any(word in kind for kind in kinds for word in ALL_CASES),
     "names match by their case there, whatever their case here"),
    ("Orthanc", ("more there",), lambda kinds, keys, key: "sequence" in kinds, "it passes over keys in sequences"),
    ("Orthanc", ("more there",), lambda kinds, keys, key: "range of dates" in kinds,
     "an object without a date lies in each range that is open below"),
    ("Orthanc", ("more here",), lambda kinds, keys, key: "name" in kinds and "=" not in keys.get("PatientName", ""),
     "a name is compared as a whole there, by each of its component groups here"),
]


def reasonFor(who, what, kinds, keys, key):
    for row in REASONS:
        if row[0] == who and what in row[1] and row[2](kinds, keys, key):
            return row
    return None


def compare(who, root, keys, kinds, own, other, told):
    def differ(what, key, detail):
        row = reasonFor(who, what, kinds, keys, key)
        if row is None:
            fault(f"{who}: {what} {key}: {detail}; -{root} {keys} ({', '.join(sorted(kinds))})")
        else:
            told[(who, row[3])] += 1

    if own is None or other is None:
        if own is not other:
            differ("refused" if other is None else "refused here", "", "")
        return
    if set(own) != set(other):
        more, less = set(own) - set(other), set(other) - set(own)
        for what, which in (("more here", more), ("more there", less)):
            if which:
                differ(what, "", sorted(which)[:4])
    for unique in set(own) & set(other):
        for key in own[unique]:
            if own[unique][key] != other[unique][key]:
                differ("value", key, f"{own[unique][key]!r} here, {other[unique][key]!r} there")


def main():
    objects = corpus()
    at = archives()
    for title, port in at.values():
        done = run("storescu", "+sd", "-R", "-aec", title, "127.0.0.1", str(port), "corpus")
        if done.returncode != 0:
            sys.exit(f"storescu to {title}: {done.stderr}")
    told, kinds_asked, found = Counter(), Counter(), 0
    queries = [query(objects) for _ in range(wanted)]
    # Several at a time: most of each is waiting for the other side.
    with ThreadPoolExecutor(6) as pool:
        asked = [{name: pool.submit(ask, archive, root, keys) for name, archive in at.items()}
                 for root, keys, _ in queries]
        for (root, keys, kinds), answers in zip(queries, asked):
            kinds_asked.update(kinds)
            own = answers["ours"].result()
            found += len(own or {})
            for name in ("dcmqrscp", "Orthanc"):
                compare(name, root, keys, kinds, own, answers[name].result(), told)
    print(f"{len(objects)} objects, {wanted} queries, {found} answers; asked: "
          + ", ".join(f"{kind} {count}" for kind, count in sorted(kinds_asked.items())))
    for (who, reason), count in sorted(told.items()):
        print(f"{who}: {count} times: {reason}")


work(main)
