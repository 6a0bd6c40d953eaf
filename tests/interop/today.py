#!/usr/bin/python3 -B
"""What came after 2008, from files of others: deflated, without a header, with new VRs, in every character set. Each
is converted to every transfer syntax that can hold it; what pydicom reads of that are the values that the sample's
reference table has, dcmdump and gdcmdump read all of it, and the way back leads to the same bytes. Exit status 77
without one of the programs.
Usage: today.py ORVKIT SAMPLES"""
import hashlib
import os
import sys
import warnings

from peers import fault, need, run, skip, work

need("pydicom", "dcmdump", "gdcmdump")
import pydicom

orvkit, samples = map(os.path.abspath, (sys.argv[1], os.environ.get("ORVKIT_SAMPLES", sys.argv[2])))
if not os.path.isdir(samples):
    skip("no samples")
warnings.simplefilter("ignore")

UNITS = {**dict.fromkeys("US SS OW AT US/SS OB/OW".split(), 2), **dict.fromkeys("UL SL FL OF OL".split(), 4),
         **dict.fromkeys("FD OD OV SV UV".split(), 8)}
NAMELESS = ("empty_charset.dcm", "meta_without_preamble.dcm")
compared = 0


def convert(source, target, *options):
    done = run(orvkit, "convert", source, target, *options)
    if done.returncode != 0:
        fault(f"{source} {' '.join(options)}: {done.stderr.strip()}")
    return done.returncode == 0


def turned(value, vr):
    unit = UNITS.get(vr, 1)
    return b"".join(value[i:i + unit][::-1] for i in range(0, len(value), unit))


def reference(sample):
    """Depth, tag, VR, value or its digest; big endian turned."""
    rows = []
    with open(f"{samples}/reference/{sample}.tsv", encoding="utf-8") as table:
        lines = table.read().splitlines()
    big = any("explicit BE" in line or line.endswith("1.2.840.10008.1.2.2") for line in lines if line[0] == "#")
    for line in lines:
        if line[0] == "#":
            continue
        depth, tag, vr, _, _, _, value = line.split("\t")
        if tag[4:] == "0000" or tag.startswith("0002") or vr == "--":
            continue
        if value.startswith("hex:"):
            raw = bytes.fromhex(value[4:])
            value = (turned(raw, vr) if big else raw).rstrip(b" \0")
        elif big and value.startswith("sha256:") and UNITS.get(vr, 1) > 1:
            value = None  # of bytes in the other order
        rows.append((int(depth), int(tag, 16), vr, value))
    return rows


def packed(value):
    """Of what pydicom does not leave as it is, such as Specific Character Set."""
    if isinstance(value, (bytes, type(None))):
        return value or b""
    return ("\\".join(value) if isinstance(value, (list, pydicom.multival.MultiValue)) else str(value)).encode()


def found(dataset, depth=0):
    little = dataset.is_little_endian is not False
    for tag in sorted(dataset.keys()):
        if tag.element == 0:
            continue
        item = dataset.get_item(tag)
        raw = item.value if isinstance(item, pydicom.dataelem.RawDataElement) else None
        element = dataset[tag] if raw is None or item.VR in (None, "SQ", "UN") else None
        if element is not None and element.VR == "SQ":
            yield depth, int(tag), "SQ", "-"
            for nested in element.value:
                nested.is_little_endian = little
                yield from found(nested, depth + 2)
            continue
        vr = item.VR or element.VR
        value = raw if raw is not None else packed(element.value if element is not None else item.value)
        yield depth, int(tag), vr, (value or b"") if little else turned(value or b"", vr)


def same(wanted, value):
    if wanted is None or wanted == "-":
        return True
    if isinstance(wanted, bytes):
        return value.rstrip(b" \0") == wanted
    return wanted[7:] in (hashlib.sha256(v).hexdigest() for v in (value, value[:-1], value.rstrip(b" \0")))


def compare(name, rows, path):
    global compared
    dataset = pydicom.dcmread(path)
    explicit = not dataset.is_implicit_VR
    ours = list(found(dataset))
    if len(ours) != len(rows):
        return fault(f"{name}: pydicom sees {len(ours)} elements instead of {len(rows)}")
    for (depth, tag, vr, wanted), mine in zip(rows, ours):
        known = explicit and "/" not in vr and not (tag >> 16) % 2
        if (depth, tag) != mine[:2] or (known and vr != mine[2]) or not same(wanted, mine[3]):
            return fault(f"{name}: ({tag:08x}) {vr} at depth {depth} is {mine[1]:08x} {mine[2]} {str(mine[3])[:60]}")
    compared += len(rows)


def accepted(name, path, rows):
    for program in (["dcmdump", "-q", "+L"], ["gdcmdump"]):
        done = run(*program, path)
        shown = sum(1 for line in done.stdout.splitlines() if line.lstrip(" >").startswith("(") and
                    line.lstrip(" >")[1:5] not in ("0002", "fffe") and line.lstrip(" >")[6:10] != "0000")
        # Of implicit streams gdcm knows the sequences of its own dictionary.
        part = program[0] == "gdcmdump" and path.endswith("implicit.dcm") and 0 < shown < len(rows)
        if done.returncode != 0 or "E:" in done.stderr or (shown != len(rows) and not part):
            fault(f"{name}: {program[0]} sees {shown} elements instead of {len(rows)}: {done.stderr[:200]}")


def try_sample(sample):
    rows, source = reference(sample), f"{samples}/{sample}"
    plain, back = "plain.dcm", "back.dcm"
    if not convert(source, plain, "--force"):
        return
    if pydicom.dcmread(plain, stop_before_pixels=True).file_meta.TransferSyntaxUID.is_encapsulated:
        compare(sample, rows, plain)  # in its own syntax: of what unpacked frames change, codecs.py knows
        accepted(sample, plain, rows)
        return
    convert(source, plain, "--force", "--to", "explicit")
    compare(sample, rows, plain)
    accepted(sample, plain, rows)
    private = any(tag >> 16 & 1 for _, tag, _, _ in rows)
    for to in ("implicit", "big", "deflated"):
        there = f"{to}.dcm"
        if not convert(plain, there, "--to", to) or not convert(there, back, "--to", "explicit"):
            continue
        compare(f"{sample} to {to}", rows, there)
        accepted(f"{sample} to {to}", there, rows)
        # Implicit streams do not carry the VRs of private elements, and leave some of the others open.
        if to == "implicit" and (private or b"UN" in open(back, "rb").read()):
            continue
        if open(plain, "rb").read() != open(back, "rb").read():
            fault(f"{sample}: other bytes by way of {to}")


def main():
    deflates = "deflated" in run(orvkit, "convert", "--help").stdout
    tried = 0
    for folder in ("deflated", "nometa", "newvr", "charset"):
        for name in sorted(os.listdir(f"{samples}/{folder}")):
            # Without zlib there is nothing to read; without a SOP class there is no file to write.
            if (folder == "deflated" and not deflates) or name in NAMELESS:
                continue
            tried += 1
            try_sample(f"{folder}/{name}")
    print(f"{tried} samples, {compared} elements compared")
    if tried == 0:
        fault("nothing was tried")


work(main)
