#!/usr/bin/env python3
"""Turn the layout fact sheet (JSON) into compile-time layout checks.

For one layout (linux_x86_64 or windows_x64) it writes a header of static
assertions: every record's size and alignment, every field's offset and
size. The header compiles as C11 and as C++20 and expects
"host/photoshop_api.h" to be included first.

Usage: gen_layout_checks.py FACTS.json LAYOUT OUTPUT.h
(tests/host/CMakeLists.txt runs it at build time on tools/abi/photoshop-abi.json.)
"""
import json
import re
import sys

# Records the fact sheet names differently from our C types.
TYPE_NAMES = {
    "PIDescriptorSimpleReference_keyData": "PS_LAYOUT_KEYDATA_T",
}

GUARDS = {
    "linux_x86_64": "defined(__x86_64__) && defined(__LP64__) && !defined(_WIN32)",
    "windows_x64": "defined(_WIN64) && PS_PACK_FILTER_RECORD",
}


# Four-character codes of the fact sheet and the names we give them.
FOURCC_NAMES = {
    "8BIM": "kPhotoshopSignature",
    "EXIF": "propEXIFData",
    "Parm": "kSPBadParameterError",
    "doub": "typeFloat",
    "long": "typeInteger",
    "enum": "typeEnumerated",
    "TEXT": "typeChar",
    "bool": "typeBoolean",
    "UntF": "typeUnitFloat",
    "Objc": "typeObject",
    "type": "typeClass",
    "alis": "typeAlias",
    "null": "typeNull",
}


# Automation constants we declare (host/ps_automation.h, ps_constants.h); the
# sheet lists more than the interface we use needs.
AUTOMATION_FOURCCS = {
    "classDocument", "classApplication", "classProperty", "typeOrdinal", "enumTarget",
    "keyWidth", "keyHeight", "keyResolution", "keyMode", "keyDepth", "keyNumberOfChannels",
    "keyNumberOfLayers", "keyNumberOfDocuments", "keyTitle", "keyDocumentID", "keyMessage",
    "typeColorSpace", "typeSInt64", "typeAEList", "typeRawData", "typeObjectReference",
    "typeGlobalObject", "typeGlobalClass", "unitPixels", "unitDistance", "unitDensity",
    "unitNone", "formClass", "formEnumerated", "formIdentifier", "formIndex", "formName",
    "formOffset", "formProperty", "enumBitmap", "enumGrayscale", "enumIndexedColor",
    "enumRGBColor", "enumCMYKColor", "enumHSLColor", "enumHSBColor", "enumMultichannel",
    "enumDuotone", "enumLabColor", "enumGray16", "enumRGB48", "enumLab48", "enumCMYK64",
    "typeObject", "typeClass", "typeFloat", "typeInteger", "typeEnumerated", "typeChar",
    "typeBoolean", "typeUnitFloat", "typeAlias",
}
AUTOMATION_NUMBERS = {
    "kPSActionControlSuiteVersion", "kPSActionControlSuiteVersion2",
    "kPSBasicActionControlSuiteVersion", "kPSActionDescriptorSuiteVersion",
    "kPSActionDescriptorSuiteVersion2", "kPSActionReferenceSuiteVersion",
    "kPSActionReferenceSuitePrevVersion", "kPSActionListSuiteVersion",
    "kPSActionListSuiteVersion1", "kPSDescriptorRegistrySuiteVersion", "kPSUIHooksSuiteVersion1",
    "kPSUIHooksSuiteVersion4", "kASZStringSuiteVersion1", "plugInDialogDontDisplay",
    "plugInDialogDisplay", "plugInDialogSilent", "plugInDialogOptional", "plugInDialogRequired",
    "plugInDialogNone", "kSPValidSPMessageData", "PIHasTerminologyProperty",
    "PITerminologyMinSize", "latestActionsPlugInVersion", "userCanceledErr",
    "errMissingParameter",
}
AUTOMATION_STRINGS = {
    "kPSActionControlSuite", "kPSBasicActionControlSuite", "kPSActionDescriptorSuite",
    "kPSActionListSuite", "kPSActionReferenceSuite", "kPSDescriptorRegistrySuite",
    "kPSUIHooksSuite", "kPSPhotoshopCaller", "kPSDoIt", "kSPInterfaceCaller",
    "kSPInterfaceStartupSelector", "kSPInterfaceShutdownSelector", "kSPInterfaceAboutSelector",
    "kSPAccessCaller", "kSPAccessReloadSelector", "kSPAccessUnloadSelector",
    "kSPPropertiesCaller", "kSPCacheCaller", "kASZStringSuite",
}


def constant_checks(constants):
    """Static assertions that our named constants hold the sheet's values."""
    out = []
    for group in ("filter_selectors", "error_codes", "image_modes", "color_spaces"):
        for name, value in constants[group].items():
            out.append("PS_STATIC_ASSERT(%s == %d, \"%s\");" % (name, value, name))
    for label, value in constants["sp_error_codes_int32"].items():
        name = label.split()[0]
        number = int(str(value).split()[0], 0)
        decimal = re.search(r"\((-?\d+)\)", str(value))
        if decimal and int(decimal.group(1)) & 0xFFFFFFFF != number:
            # A sheet once gave "0xFFFFFF6C (-108)" for the out-of-memory code;
            # the hex is a slip (-108 is 0xFFFFFF94), the decimal is the value.
            sys.stderr.write("note: %s: %s disagrees with its decimal; using %s\n"
                             % (name, str(value).split()[0], decimal.group(1)))
            number = int(decimal.group(1)) & 0xFFFFFFFF
        out.append("PS_STATIC_ASSERT((uint32_t)%s == 0x%08Xu, \"%s\");" % (name, number, name))
    for code, value in constants["four_char_codes"].items():
        name = FOURCC_NAMES[code]
        number = int(value, 0)
        chars = ", ".join("'%s'" % c for c in code)
        out.append("PS_STATIC_ASSERT((uint32_t)%s == 0x%08Xu, \"%s\");" % (name, number, name))
        out.append("PS_STATIC_ASSERT(PS_FOURCC(%s) == 0x%08Xu, \"'%s'\");" % (chars, number, code))
    return out


def automation_constant_checks(constants):
    """The automation interface's codes, strings and numbers under our names."""
    out = []
    for name, entry in constants.get("four_char_codes", {}).items():
        if name in AUTOMATION_FOURCCS:
            out.append("PS_STATIC_ASSERT((uint32_t)%s == %su, \"%s\");" % (name, entry["uint32"], name))
    for name, value in constants.get("numeric", {}).items():
        if name in AUTOMATION_NUMBERS:
            out.append("PS_STATIC_ASSERT((int64_t)%s == %dLL, \"%s\");" % (name, value, name))
    for name, text in constants.get("strings", {}).items():
        if name in AUTOMATION_STRINGS:
            # Same length and same bytes: sizeof counts the terminator of both.
            out.append("PS_STATIC_ASSERT(sizeof(%s) == %d, \"%s\");" % (name, len(text) + 1, name))
            # Characters of a literal are constant expressions in C++ only.
            out.append("#ifdef __cplusplus")
            for i, ch in enumerate(text):
                out.append("PS_STATIC_ASSERT(%s[%d] == %d, \"%s\");" % (name, i, ord(ch), name))
            out.append("#endif")
    return out


def main(argv):
    if len(argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    facts_path, layout, out_path = argv[1:]
    with open(facts_path, encoding="utf-8") as f:
        facts = json.load(f)
    if layout not in GUARDS:
        sys.stderr.write("unknown layout %s (known: %s)\n" % (layout, ", ".join(GUARDS)))
        return 2

    lines = []
    emit = lines.append
    guard = "ORTAVEL_TESTS_HOST_LAYOUT_%s_H" % layout.upper()
    emit("/* Generated by tools/abi/gen_layout_checks.py for the %s layout; do not edit." % layout)
    emit(" * Every record size and alignment and every field offset and size. */")
    emit("#ifndef %s" % guard)
    emit("#define %s" % guard)
    emit("")
    emit('#include "host/photoshop_api.h"')
    emit("")
    emit("#ifdef __cplusplus")
    emit("#define PS_LAYOUT_ALIGNOF(t) alignof(t)")
    emit("#define PS_LAYOUT_KEYDATA_T PIDescriptorSimpleReference::_keyData")
    emit("#else")
    emit("#define PS_LAYOUT_ALIGNOF(t) _Alignof(t)")
    emit("#define PS_LAYOUT_KEYDATA_T struct _keyData")
    emit("#endif")
    emit("#define PS_LAYOUT_FIELD(t, f, off, size)                          \\")
    emit("  PS_STATIC_ASSERT(offsetof(t, f) == (off), #t \".\" #f \" offset\"); \\")
    emit("  PS_STATIC_ASSERT(sizeof(((t *)0)->f) == (size), #t \".\" #f \" size\")")
    emit("#define PS_LAYOUT_RECORD(t, size, align)             \\")
    emit("  PS_STATIC_ASSERT(sizeof(t) == (size), #t \" size\"); \\")
    emit("  PS_STATIC_ASSERT(PS_LAYOUT_ALIGNOF(t) == (align), #t \" alignment\")")
    emit("")
    emit("#if %s" % GUARDS[layout])
    emit("#define PS_LAYOUT_%s_CHECKED 1" % layout.upper())
    count = 0
    records = list(facts["structs"].items()) + list(facts.get("automation_structs", {}).items())
    for name, record in records:
        ctype = TYPE_NAMES.get(name, name)
        emit("")
        emit("PS_LAYOUT_RECORD(%s, %d, %d);" % (ctype, record["size"][layout], record["align"][layout]))
        for field in record["fields"]:
            where = field[layout]
            emit("PS_LAYOUT_FIELD(%s, %s, %d, %d);" % (ctype, field["name"], where["offset"], where["size"]))
            count += 1
    emit("")
    emit("#define PS_LAYOUT_%s_FIELD_COUNT %d" % (layout.upper(), count))
    emit("#endif")
    emit("")
    emit("/* Constants: the same on every platform. */")
    for line in constant_checks(facts["constants"]):
        emit(line)
    emit("")
    emit("#endif")
    with open(out_path, "w", encoding="utf-8") as f:
        f.write("\n".join(lines) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
