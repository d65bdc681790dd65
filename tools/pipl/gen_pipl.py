#!/usr/bin/env python3
"""Writes a plug-in module's Windows resources from its JSON description.

    gen_pipl.py DESCRIPTION RC_FILE [--kind FOURCC] [--entry NAME]
    gen_pipl.py DESCRIPTION --beside MODULE

Filters (kind 8BFM) carry modes, filter cases, the enabling expression and
the required host; automation modules (kind 8LIZ, interface version 1.0) none
of these, only their name, menu group, entry point and terminology.

With --beside, the two resources are written as MODULE.pipl and MODULE.aete
instead: shared objects carry no resources, so a Linux host reads them from
beside the module.

RC_FILE is a windres script naming two binary files written beside it:
  PIPL 16000  the plug-in property list a host reads to list and load us;
  AETE 16000  the scripting terminology: the event and its keys, so that a
              host records the filter's parameters in actions and plays them.

Windows byte order throughout: integers little-endian, and every
four-character code stored as the little-endian integer of its big-endian
value (so '8BIM' lands in the file as "MIB8"). Both resources start with the
reserved word 1 of the Windows form. --kind and --entry override the
description, to make the broken modules the loader tests refuse.
"""
import argparse
import json
import os
import struct
import sys

# Image mode flags: a 16-bit set stored most significant byte first, bitmap
# in the top bit of the first byte (the order the host's mode test reads).
MODE_BITS = {
    "bitmap": 15, "grey": 14, "indexed": 13, "rgb": 12, "cmyk": 11, "hsl": 10,
    "hsb": 9, "multichannel": 8, "duotone": 7, "lab": 6, "grey16": 5,
    "rgb48": 4, "lab48": 3, "cmyk64": 2, "deep_multichannel": 1, "duotone16": 0,
}

FILTER_CASES = [
    "flat", "flat_selection", "floating_selection", "editable_transparency",
    "editable_transparency_selection", "protected_transparency",
    "protected_transparency_selection",
]
DATA_HANDLING = {
    "cant_filter": 0, "none": 1, "black_mat": 2, "grey_mat": 3, "white_mat": 4,
    "defringe": 5, "black_zap": 6, "grey_zap": 7, "white_zap": 8,
    "fill_mask": 9, "background_zap": 10, "foreground_zap": 11,
}
CASE_FLAGS = {
    "dont_copy_to_destination": 1 << 0, "works_with_blank_data": 1 << 1,
    "filters_layer_mask": 1 << 2, "writes_outside_selection": 1 << 3,
}

# Terminology constants: aete format 1.0, English, Roman script, suite level
# and version 1; the event replies nothing and takes the target image as its
# optional direct parameter.
AETE_VERSION = (1, 0)
TYPE_NULL = "null"
TYPE_IMAGE_REFERENCE = "#ImR"
FLAGS_OPTIONAL = 0x8000
FLAGS_ENUMERATED = 0x2000
FLAGS_CHANGES = 0x1000
BASIC_TYPES = {"doub", "long", "TEXT", "bool", "UntF"}


def fourcc(code):
    raw = code.encode("ascii")
    if len(raw) != 4:
        sys.exit("gen_pipl: not a four-character code: %r" % code)
    return struct.pack("<I", struct.unpack(">I", raw)[0])


def pascal(text):
    raw = text.encode("mac_roman")
    if len(raw) > 255:
        sys.exit("gen_pipl: text longer than 255 bytes: %r" % text)
    return bytes([len(raw)]) + raw


def pad4(data):
    return data + b"\0" * (-len(data) % 4)


def prop(key, data):
    # vendor, key, id, length of the data, then the data padded to 4 bytes.
    return fourcc("8BIM") + fourcc(key) + struct.pack("<ii", 0, len(data)) + pad4(data)


def pipl(desc, kind, entry):
    term = desc["terminology"]
    modes = 0
    for name in desc.get("modes", []):
        modes |= 1 << MODE_BITS[name]
    cases = b""
    for case in FILTER_CASES if "filter_cases" in desc else []:
        inp, out, flags, flags2 = desc["filter_cases"][case]
        bits = 0
        for f in flags:
            bits |= CASE_FLAGS[f]
        cases += bytes([DATA_HANDLING[inp], DATA_HANDLING[out], bits, flags2])
    major, minor = desc["interface_version"]
    props = [
        prop("kind", fourcc(kind)),
        prop("name", pascal(desc["name"])),
        prop("catg", pascal(desc["category"])),
        prop("vers", struct.pack("<I", major << 16 | minor)),
    ]
    for key, name in desc["entry_points"].items():
        props.append(prop(key, (entry or name).encode("ascii") + b"\0"))
    if kind == "8BFM":
        props += [
            prop("mode", struct.pack(">H", modes) + b"\0\0"),
            prop("enbl", desc["enable"].encode("ascii") + b"\0"),
            prop("fici", cases),
            prop("host", fourcc(desc["required_host"])),
        ]
    elif "enable" in desc:
        props.append(prop("enbl", desc["enable"].encode("ascii") + b"\0"))
    props += [
        prop("hstm", struct.pack("<i", 0) + fourcc(term["class"]) + fourcc(term["event"]) +
             struct.pack("<h", desc["resource_id"]) + term["scope"].encode("ascii") + b"\0"),
    ]
    return struct.pack("<hii", 1, 0, len(props)) + b"".join(props)


def aete(desc):
    term = desc["terminology"]
    enum_types = {e["type"] for e in term["enumerations"]}
    out = struct.pack("<h", 1) + bytes(AETE_VERSION) + struct.pack("<hhh", 0, 0, 1)
    # The suite: vendor, description, id, level, version, one event.
    out += pascal(term["vendor"]) + pascal("") + fourcc(term["class"]) + struct.pack("<hhh", 1, 1, 1)
    out += pascal(term["event_name"]) + pascal(term["event_description"])
    out += fourcc(term["class"]) + fourcc(term["event"])
    out += fourcc(TYPE_NULL) + pascal("") + struct.pack("<H", 0)
    out += fourcc(term.get("direct_parameter", TYPE_IMAGE_REFERENCE)) + pascal("")
    out += struct.pack("<H", FLAGS_OPTIONAL | FLAGS_ENUMERATED | FLAGS_CHANGES)
    params = term["parameters"]
    out += struct.pack("<h", len(params))
    for p in params:
        if p["type"] not in BASIC_TYPES and p["type"] not in enum_types:
            sys.exit("gen_pipl: parameter %s has unknown type %s" % (p["key"], p["type"]))
        flags = FLAGS_OPTIONAL | (FLAGS_ENUMERATED if p["type"] in enum_types else 0)
        out += pascal(p["name"]) + fourcc(p["key"]) + fourcc(p["type"])
        out += pascal(p["description"]) + struct.pack("<H", flags)
    # No classes, no comparison operators, then the enumerations.
    out += struct.pack("<hhh", 0, 0, len(term["enumerations"]))
    for e in term["enumerations"]:
        out += fourcc(e["type"]) + struct.pack("<h", len(e["values"]))
        for v in e["values"]:
            out += pascal(v["name"]) + fourcc(v["key"]) + pascal(v["description"])
    return out


def main():
    ap = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    ap.add_argument("description")
    ap.add_argument("rc_file", nargs="?")
    ap.add_argument("--beside", help="write MODULE.pipl and MODULE.aete, no resource script")
    ap.add_argument("--kind", help="kind code instead of the description's")
    ap.add_argument("--entry", help="entry point name instead of the description's")
    args = ap.parse_args()
    with open(args.description, encoding="utf-8") as f:
        desc = json.load(f)
    if args.beside:
        with open(args.beside + ".pipl", "wb") as f:
            f.write(pipl(desc, args.kind or desc["kind"], args.entry))
        with open(args.beside + ".aete", "wb") as f:
            f.write(aete(desc))
        return
    if not args.rc_file:
        ap.error("an RC_FILE or --beside MODULE is needed")
    base = os.path.splitext(os.path.abspath(args.rc_file))[0]
    files = {"PIPL": (base + ".pipl", pipl(desc, args.kind or desc["kind"], args.entry)),
             "AETE": (base + ".aete", aete(desc))}
    lines = ["/* Generated by tools/pipl/gen_pipl.py from %s; do not edit. */" %
             os.path.basename(args.description)]
    for rtype, (path, data) in files.items():
        with open(path, "wb") as f:
            f.write(data)
        lines.append('%d %s "%s"' % (desc["resource_id"], rtype, path.replace("\\", "/")))
    with open(args.rc_file, "w", encoding="ascii") as f:
        f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
