#!/usr/bin/env python3
"""What psd-tools shows of each document in a folder, as text: a line for each layer, one for the picture.

readers-psd-tools.py DOCUMENTS_FOLDER OUTPUT_FOLDER
A document that it does not open gets no text, and its reason on the standard output.
"""
import hashlib
import logging
import pathlib
import sys

from psd_tools import PSDImage


def pixels(array):
    if array is None:
        return "none"
    return f"{array.shape} {hashlib.sha256(array.tobytes()).hexdigest()}"


def mask(layer):
    if not layer.has_mask():
        return "no mask"
    of = layer.mask
    return f"mask {of.bbox} {of.background_color} {of.disabled} {pixels(layer.numpy('mask'))}"


def lines(layers, depth=0):
    for layer in layers:
        picture = "group" if layer.is_group() else pixels(layer.numpy())
        look = f"{layer.blend_mode} {layer.opacity} {layer.clipping_layer} {layer.visible}"
        yield "  " * depth + f"{layer.name!r} | {layer.bbox} | {picture} | {mask(layer)} | {look}"
        if layer.is_group():
            yield from lines(layer, depth + 1)


def main():
    logging.disable(logging.CRITICAL)
    documents, output = map(pathlib.Path, sys.argv[1:])
    for document in sorted(documents.iterdir()):
        try:
            psd = PSDImage.open(document)
            text = [f"picture {pixels(psd.numpy())}", *lines(psd)]
        except Exception as error:  # whatever keeps the reader from showing it
            print(f"{document.name}: {type(error).__name__} {error}")
            continue
        (output / f"{document.stem}.txt").write_text("\n".join(text) + "\n")


main()
