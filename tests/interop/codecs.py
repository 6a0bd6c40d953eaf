#!/usr/bin/python3
"""Pixels between the command and independent decoders, both ways: what they make of encapsulated samples is what we
make of them, and what we pack they unpack to the pixels that were packed.
Exit status 77 without pydicom or any of the programs. Usage: codecs.py ORVKIT SAMPLES"""
import os
import shutil
import subprocess
import sys
import tempfile
import warnings

try:
    import pydicom
    from pydicom.encaps import generate_pixel_data_frame
except ImportError:
    print('skipped: pydicom is not installed')
    sys.exit(77)
warnings.simplefilter('ignore')
orvkit, samples = sys.argv[1], os.environ.get('ORVKIT_SAMPLES', sys.argv[2])
# The programs, and the syntaxes that each is asked about: by the last part of the UID.
PEERS = {'dcmdjpeg': ('4.50', '4.51', '4.57', '4.70'), 'dcmdjpls': ('4.80', '4.81'), 'dcmdrle': ('2.5',),
         'gdcmconv': ('4.50', '4.51', '4.57', '4.70', '4.80', '4.81', '4.90', '4.91', '2.5')}
# Two sound decoders of 12-bit DCTs differ by one where a value falls between two: who rounds how is not laid down.
ROUNDED = {'4.51': 1, '4.50': 1}
# Named in their index: bytes of the codestream were overwritten, or it is video.
NOT_WHOLE = ('j2k_embedded_delimiter', 'hevc', 'mpeg')
peers = [name for name in PEERS if shutil.which(name)]
if not peers or not os.path.isdir(samples):
    print('skipped: no peers or no samples')
    sys.exit(77)
offered = subprocess.run([orvkit, 'convert', '--help'], capture_output=True, text=True, check=True).stdout
if not all(codec in offered for codec in ('jpeg,', 'jpegls', 'j2k', 'htj2k', 'jxl')):
    print('skipped: codecs are left out of this build')
    sys.exit(77)
work = tempfile.TemporaryDirectory()
faults, compared = [], 0


def path(name):
    return os.path.join(work.name, name)


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=False)


def kind(dataset):
    return dataset.file_meta.TransferSyntaxUID.replace('1.2.840.10008.1.', '').replace('2.4.', '4.')


def by_peer(name, source):
    """The data set as a peer unpacks it; None where it cannot."""
    target = path('peer.dcm')
    if os.path.exists(target):
        os.remove(target)
    raw = ['--raw'] if name == 'gdcmconv' else []
    if run(name, *raw, source, target).returncode != 0 or not os.path.exists(target):
        return None
    dataset = pydicom.dcmread(target)
    return None if dataset.file_meta.TransferSyntaxUID.is_compressed else dataset


def compare(what, ours, theirs, most):
    global compared
    compared += 1
    if ours == theirs:
        return
    apart = max(abs(a - b) for a, b in zip(ours, theirs)) if len(ours) == len(theirs) else 256
    if apart > most:
        faults.append(f'{what}: differs by {apart}')


def unpack_samples():
    folder = os.path.join(samples, 'encapsulated')
    for name in sorted(os.listdir(folder)) + ['../icon/jpeg_with_icon.dcm']:
        if name.startswith(NOT_WHOLE):
            continue
        source = os.path.join(folder, name)
        done = run(orvkit, 'convert', source, path('ours.dcm'), '--to', 'explicit')
        if done.returncode != 0:
            faults.append(f'{name}: {done.stderr.strip()}')
            continue
        ours, syntax = pydicom.dcmread(path('ours.dcm')), kind(pydicom.dcmread(source))
        for peer in peers:
            theirs = by_peer(peer, source) if syntax in PEERS[peer] else None
            if theirs is not None and theirs.PhotometricInterpretation == ours.PhotometricInterpretation:
                compare(f'{name} by {peer}', ours.PixelData, theirs.PixelData, ROUNDED.get(syntax, 0))


def pack_for_peers():
    for name in ('basic/ct_explicit_le.dcm', 'basic/sc_rgb_odd_pixels.dcm'):
        source = os.path.join(samples, name)
        plain = pydicom.dcmread(source)
        for way in ('rle', 'jpeg-lossless', 'jpeg-process14', 'jpegls', 'j2k', 'htj2k', 'htj2k-rpcl', 'jxl'):
            target = path('packed.dcm')
            done = run(orvkit, 'convert', source, target, '--to', way)
            if done.returncode != 0:
                if 'cannot hold' not in done.stderr:
                    faults.append(f'{name} to {way}: {done.stderr.strip()}')
                continue
            packed = pydicom.dcmread(target)
            for peer in peers:
                theirs = by_peer(peer, target) if kind(packed) in PEERS[peer] else None
                if theirs is not None:
                    compare(f'{name} to {way}, by {peer}', plain.PixelData, theirs.PixelData, 0)
            back = run(orvkit, 'convert', target, path('back.dcm'), '--to', 'explicit')
            if back.returncode != 0 or pydicom.dcmread(path('back.dcm')).PixelData != plain.PixelData:
                faults.append(f'{name} to {way} and back')


def opj_decompress():
    if not shutil.which('opj_decompress'):
        return
    source = os.path.join(samples, 'encapsulated/j2k_lossless.dcm')
    dataset = pydicom.dcmread(source)
    with open(path('frame.j2k'), 'wb') as file:
        file.write(next(generate_pixel_data_frame(dataset.PixelData, 1)))
    run(orvkit, 'convert', source, path('ours.dcm'), '--to', 'explicit')
    run('opj_decompress', '-i', path('frame.j2k'), '-o', path('frame.rawl'))
    with open(path('frame.rawl'), 'rb') as file:
        compare('j2k_lossless by opj_decompress', pydicom.dcmread(path('ours.dcm')).PixelData, file.read(), 0)


unpack_samples()
pack_for_peers()
opj_decompress()
if compared < 10:
    faults.append('next to nothing was compared')
for fault in faults:
    print('FAULT:', fault)
print(f'{compared} comparisons with {", ".join(peers)}, {len(faults)} faults')
sys.exit(1 if faults else 0)
