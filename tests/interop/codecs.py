#!/usr/bin/python3 -B
"""Pixels between the command and independent decoders, both ways: what they make of encapsulated samples is what we
make of them, and what we pack they unpack to the pixels that were packed.
Exit status 77 without pydicom or any of the programs. Usage: codecs.py ORVKIT SAMPLES"""
import array
import os
import shutil
import sys
import warnings

from peers import fault, need, pnm, run, skip, work

need('pydicom')
import pydicom
from pydicom.encaps import generate_pixel_data_frame

warnings.simplefilter('ignore')
orvkit, samples = map(os.path.abspath, (sys.argv[1], os.environ.get('ORVKIT_SAMPLES', sys.argv[2])))
# The programs, and the syntaxes that each is asked about: by the last part of the UID.
PEERS = {'dcmdjpeg': ('4.50', '4.51', '4.57', '4.70'), 'dcmdjpls': ('4.80', '4.81'), 'dcmdrle': ('2.5',),
         'gdcmconv': ('4.50', '4.51', '4.57', '4.70', '4.80', '4.81', '4.90', '4.91', '2.5')}
# Two sound decoders of 12-bit DCTs differ by one where a value falls between two: who rounds how is not laid down.
ROUNDED = {'4.51': 1, '4.50': 1}
# Named in their index: bytes of the codestream were overwritten, or it is video.
# Those that know codestreams alone, the suffix that each goes by, and the syntaxes.
PROGRAMS = {'djpeg': ('.jpg', ('4.50',)), 'jpeg': ('.jpg', ('4.51', '4.57', '4.70', '4.80', '4.81')),
            'opj_decompress': ('.j2k', ('4.90', '4.91', '4.201', '4.202', '4.203')),
            'djxl': ('.jxl', ('4.110', '4.111', '4.112'))}
# pydicom's own plug-ins, and what they take.
PLUGINS = {'gdcm': PEERS['gdcmconv'][:-1], 'pillow': ('4.50', '4.90', '4.91'), 'rle': ('2.5',)}
NOT_WHOLE = ('j2k_embedded_delimiter', 'hevc', 'mpeg')
peers = [name for name in PEERS if shutil.which(name)]
if not peers or not os.path.isdir(samples):
    skip('no peers or no samples')
offered = run(orvkit, 'convert', '--help').stdout
if not all(codec in offered for codec in ('jpeg,', 'jpegls', 'j2k', 'htj2k', 'jxl')):
    skip('codecs are left out of this build')
ready = {handler.HANDLER_NAME.split()[0].lower() for handler in pydicom.config.pixel_data_handlers
         if handler.is_available()}
compared, decoders = 0, {}


def kind(dataset):
    return dataset.file_meta.TransferSyntaxUID.replace('1.2.840.10008.1.', '').replace('2.4.', '4.')


def by_peer(name, source):
    """The data set as a peer unpacks it; None where it cannot."""
    target = 'peer.dcm'
    if os.path.exists(target):
        os.remove(target)
    raw = ['--raw'] if name == 'gdcmconv' else []
    if run(name, *raw, source, target).returncode != 0 or not os.path.exists(target):
        return None
    dataset = pydicom.dcmread(target)
    return None if dataset.file_meta.TransferSyntaxUID.is_compressed else dataset


def by_plugins(what, source, ours, most):
    """The same by pydicom alone, which needs numpy for any."""
    for plugin, kinds in PLUGINS.items():
        theirs = pydicom.dcmread(source)
        alike = theirs.PhotometricInterpretation == ours.PhotometricInterpretation
        if kind(theirs) not in kinds or plugin not in ready or not alike:
            continue
        try:
            theirs.convert_pixel_data(plugin)
            pixels = theirs.pixel_array.astype('int32').ravel().tolist()
        except (NotImplementedError, RuntimeError, ValueError, OSError) as error:
            print(f'passed over: {what} by pydicom with {plugin}: {str(error)[:90]}')
            continue
        compare(what, 'pydicom with ' + plugin, ours.pixel_array.astype('int32').ravel().tolist(), pixels, most)


def compare(what, peer, ours, theirs, most):
    global compared
    compared += 1
    decoders.setdefault(what, []).append(peer)
    if ours == theirs:
        return
    apart = max(abs(a - b) for a, b in zip(ours, theirs)) if len(ours) == len(theirs) else 256
    if apart > most:
        fault(f'{what} by {peer}: differs by {apart}')


def unpack_samples():
    folder = os.path.join(samples, 'encapsulated')
    for name in sorted(os.listdir(folder)) + ['../icon/jpeg_with_icon.dcm']:
        if name.startswith(NOT_WHOLE):
            continue
        source = os.path.join(folder, name)
        done = run(orvkit, 'convert', source, 'ours.dcm', '--to', 'explicit')
        if done.returncode != 0:
            fault(f'{name}: {done.stderr.strip()}')
            continue
        ours, syntax = pydicom.dcmread('ours.dcm'), kind(pydicom.dcmread(source))
        for peer in peers:
            theirs = by_peer(peer, source) if syntax in PEERS[peer] else None
            if theirs is not None and theirs.PhotometricInterpretation == ours.PhotometricInterpretation:
                compare(name, peer, ours.PixelData, theirs.PixelData, ROUNDED.get(syntax, 0))
        by_plugins(name, source, ours, ROUNDED.get(syntax, 0))
        by_programs(name, source)


def pack_for_peers():
    run(orvkit, 'phantom', 'phantom', '--size', '100', '--series', '1', '--images', '1')
    ways = {'rle': True, 'jpeg-lossless': True, 'jpeg-process14': True, 'jpegls': True, 'j2k': True, 'htj2k': True,
            'htj2k-rpcl': True, 'jxl': True, 'jpeg-extended': False, 'jpegls-near': False, 'j2k-lossy': False}
    for name in ('basic/ct_explicit_le.dcm', 'basic/sc_rgb_odd_pixels.dcm', 'phantom/SE000001/IM000001'):
        source = os.path.join(samples, name) if name.startswith('basic') else name
        plain = pydicom.dcmread(source)
        for way, lossless in ways.items():
            target = 'packed.dcm'
            done = run(orvkit, 'convert', source, target, '--to', way)
            if done.returncode != 0:
                if 'cannot hold' not in done.stderr:
                    fault(f'{name} to {way}: {done.stderr.strip()}')
                continue
            packed = pydicom.dcmread(target)
            back = run(orvkit, 'convert', target, 'back.dcm', '--to', 'explicit')
            ours = pydicom.dcmread('back.dcm').PixelData if back.returncode == 0 else b''
            if not ours or (lossless and ours != plain.PixelData):
                fault(f'{name} to {way} and back')
                continue
            by_plugins(f'{name} to {way}', target, pydicom.dcmread('back.dcm'), ROUNDED.get(kind(packed), 0))
            by_programs(f'{name} to {way}', target)
            for peer in peers:
                theirs = by_peer(peer, target) if kind(packed) in PEERS[peer] else None
                if theirs is not None and (lossless or plain.SamplesPerPixel == 1):
                    words = 'H' if plain.BitsAllocated == 16 else 'B'
                    compare(f'{name} to {way}', peer, array.array(words, ours), array.array(words, theirs.PixelData),
                            ROUNDED.get(kind(packed), 0))


def words_of(name, kind_of_word):
    with open(name, 'rb') as file:
        return array.array(kind_of_word, file.read())


def first_frame(dataset):
    words = array.array({8: 'B', 16: 'H'}[dataset.BitsAllocated], dataset.PixelData)
    return words[:dataset.Rows * dataset.Columns * dataset.SamplesPerPixel]


def by_programs(name, source):
    """The first frame as the codestream that it is, by decoders that know nothing of DICOM."""
    dataset = pydicom.dcmread(source)
    for program, (suffix, kinds) in PROGRAMS.items():
        # A bare codestream of three colours is taken for YBR by one of them.
        unlike = program == 'jpeg' and dataset.PhotometricInterpretation == 'RGB'
        if kind(dataset) not in kinds or unlike or not shutil.which(program):
            continue
        plain = program == 'opj_decompress' and dataset.SamplesPerPixel == 1  # a PNM file has no signs
        picture = 'frame.' + ('rawl' if plain else 'pgm' if dataset.SamplesPerPixel == 1 else 'ppm')
        stream = 'frame' + suffix
        count = int(dataset.get('NumberOfFrames', 1))
        with open(stream, 'wb') as file:
            file.write(next(generate_pixel_data_frame(dataset.PixelData, count)))
        run(orvkit, 'convert', source, 'ours.dcm', '--to', 'explicit')
        ours = first_frame(pydicom.dcmread('ours.dcm'))
        told = run(program, *{'djpeg': ('-pnm', '-outfile', picture, stream),
                              'opj_decompress': ('-i', stream, '-o', picture)}.get(program, (stream, picture)))
        if told.returncode != 0 or not os.path.exists(picture):
            print(f'passed over: {name} by {program}: {told.stderr.strip()[-90:]}')
            continue
        theirs, most = (words_of(picture, ours.typecode), 65535) if plain else pnm(picture)[1:]
        os.remove(picture)
        if program == 'djxl' and 255 < most < 65535:  # its words are shifted to the left
            theirs = array.array('H', (word >> 16 - most.bit_length() for word in theirs))
        compare(name, program, array.array('H', (word & most for word in ours)), array.array('H', theirs),
                ROUNDED.get(kind(dataset), 0))


def main():
    unpack_samples()
    pack_for_peers()
    for name in os.listdir(os.path.join(samples, 'encapsulated')):
        if name not in decoders and not name.startswith(NOT_WHOLE):
            fault(f'{name}: no decoder beside ours')
    if compared < 10:
        fault('next to nothing was compared')
    alone = [f'{what} by {", ".join(by)} alone' for what, by in decoders.items() if len(set(by)) < 2]
    print('compared once:', '; '.join(alone))
    print(f'{compared} comparisons with {", ".join(peers)}')


work(main)
