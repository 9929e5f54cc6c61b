#!/usr/bin/python3
"""Writes velmaths/operations.py and operations.pyi from the operations that libvel lists.

usage: generate.py [--library LIBVEL] [--out DIR]

The two files are committed; a test generates them again and compares.
"""
import argparse
import ctypes
import json
import os
import re
import textwrap

from examples import EXAMPLES

HERE = os.path.dirname(os.path.abspath(__file__))
WIDTH = 120
ARRAY = {"integer": "int", "float": "float", "boolean": "bool", "colour": "Colour", "size": "Union[Tuple[int, int], str]",
         "point": "Tuple[float, float]", "table": "Table", "kernel": "Kernel", "mapping": "MapLike"}
DOC_TYPE = {"integer": "int", "float": "float", "boolean": "bool", "colour": "sequence of 3 int or str",
            "size": "(int, int) or str", "point": "(float, float)", "table": "array_like of 256 int, or str",
            "kernel": "array_like of int, shape (N, N), or str", "mapping": "callable, ndarray of shape (H, W, 2), or str"}
DOC_EXTRA = {
    "colour": "In the order of the channels, like a pixel; a text '#rrggbb' is the same colour in every order.",
    "size": "As (width, height); as text, '160x' and 'x120' keep the proportion.",
    "point": "As (x, y).",
    "table": "256 values, or a curve of in:out points joined by straight lines, such as '0:255,255:0'.",
    "mapping": "A callable gets arrays x and y of the positions of a row and returns the source's; it must answer for each "
               "position by itself. An array holds the source's x and y for every new pixel. Texts: identity, "
               "affine:a,b,c,d,e,f, projective:..., polynomial:..., lens:..., grid:..., @FILE.json.",
}
# Results whose array may have another element type or be an Image.
HYPHENATED = set()  # names of operations, parameters and choices; filled by main
ANY_RESULT = {"scale", "increase-bpp", "create-dest-image"}


def operations(library):
    lib = ctypes.CDLL(library)
    text = ctypes.c_char_p()
    if lib.vel_operations_json(ctypes.byref(text)) != 0:
        raise SystemExit("generate.py: the library does not list its operations")
    return json.loads(text.value)["operations"]


def snake(name):
    return name.replace("-", "_")


def shown(name):
    """The name of an image argument in Python."""
    return "image" if name == "input" else snake(name)


def annotation(parameter):
    if parameter["type"] != "enumeration":
        kind = ARRAY[parameter["type"]]
    else:
        names = [c["name"] for c in parameter["choices"] if not c["name"].isdigit()]
        kind = "Union[Literal[" + ", ".join(f'"{snake(n)}"' for n in names) + "], int]" if names else "int"
        if len(names) > 6:
            kind = "Union[SamplingMethod, int]"
    return kind if parameter["required"] or parameter["default"] is not None else f"Optional[{kind}]"


def default(parameter):
    value = parameter["default"]
    if value is None:
        return None if parameter["required"] else "None"
    if parameter["type"] == "enumeration":
        return value if value.isdigit() else f'"{snake(value)}"'
    if parameter["type"] == "size":
        return "(%s)" % value.replace("x", ", ")
    if parameter["type"] == "point":
        return "(%s)" % value.replace(",", ", ")
    return repr(value)


def optional(image):
    return not image["required"]


def signature(op, image_type, result, out_type, literal_count=None):
    """A function's head for arguments of one kind."""
    parts = [f"{shown(i['name'])}: {image_type(i)}" for i in op["images"] if not optional(i)]
    parts.append("*")
    for i in op["images"]:
        if optional(i):
            parts.append(f"{shown(i['name'])}: Optional[{image_type(i)}] = None")
    for p in sorted(op["parameters"], key=lambda p: not p["required"]):
        value = default(p)
        parts.append(f"{snake(p['name'])}: {annotation(p)}" + ("" if value is None else f" = {value}"))
    if op["counts"]:
        kind, value = ("bool", " = False") if literal_count is None else (
            f"Literal[{literal_count}]", " = False" if not literal_count else "")
        if literal_count:  # no default behind defaults is needed for keywords
            value = ""
        parts.append(f"with_count: {kind}{value}")
    parts += [f"out: Optional[{out_type}] = None", 'channels: Channels = "rgb"']
    head = f"def {snake(op['name'])}("
    tail = f") -> {result}:".replace(" ", "\0")  # a line must not end there
    return textwrap.fill(head + ", ".join(parts) + tail, WIDTH, subsequent_indent=" " * len(head),
                         break_long_words=False, break_on_hyphens=False).replace("\0", " ")


def paragraph(text, indent="    "):
    hanging = indent + ("  " if text.startswith("- ") else "")
    return textwrap.fill(pythonic(text), WIDTH - 4, initial_indent=indent, subsequent_indent=hanging,
                         break_on_hyphens=False, break_long_words=False)


def pythonic(text):
    """Names as Python has them, in texts that are written for the command line too."""
    text = re.sub(r"--([a-z][a-z0-9-]*)", r"\1", text)
    return re.sub(r"\b(" + "|".join(sorted(HYPHENATED, key=len, reverse=True)) + r")\b", lambda m: snake(m[1]), text)


def sentence(text):
    text = text[0].upper() + text[1:]
    return text if text.endswith(".") else text + "."


def image_doc(image):
    role = {"source": "Not changed unless `out` is the same array.", "mask": "",
            "destination": "Not changed unless `out` is the same array."}[image["role"]]
    kind = "ndarray or Image" + (", optional" if optional(image) else "")
    return [f"    {shown(image['name'])} : {kind}", paragraph(f"{sentence(image['doc'])} {role}".strip(), " " * 8)]


def parameter_doc(parameter):
    kind = DOC_TYPE.get(parameter["type"])
    if kind is None:
        names = [c["name"] for c in parameter["choices"]]
        kind = "{" + ", ".join(n if n.isdigit() else f'"{snake(n)}"' for n in names) + "} or int"
    text = sentence(parameter["doc"])
    if parameter["type"] == "integer" or parameter["type"] == "float":
        text += f" {sentence(parameter['allowed'])}"
    if parameter.get("unit"):
        text += f" In {parameter['unit']}." if parameter["type"] != "size" else ""
    text += " " + DOC_EXTRA.get(parameter["type"], "")
    head = f"{snake(parameter['name'])} : {kind}" + ("" if parameter["required"] else ", optional")
    lines = [textwrap.fill(head, WIDTH - 4, initial_indent="    ", subsequent_indent=" " * 8, break_on_hyphens=False),
             paragraph(text.strip(), " " * 8)]
    if parameter["type"] == "enumeration":
        for choice in parameter["choices"]:
            if choice["doc"]:
                lines.append(paragraph(f"- {choice['number']}, {snake(choice['name'])}: {choice['doc']}", " " * 8))
    return lines


def result_doc(op):
    name = "ndarray or Image"
    text = {"in-place": "A changed copy of the image.", "replaces": "The changed image, as a new object.",
            "new-image": "A new image.", "destination": "The destination's changed copy, or a new image."}[op["result"]]
    text += " `out` where that is given; an Image where the first argument is one."
    if op["name"] in ANY_RESULT:
        text += " Depths that no array has (1, 4 and 16 bits, palettes) give an Image."
    lines = [f"    {name}", paragraph(text, " " * 8)]
    if op["counts"]:
        lines += ["    int", paragraph(f"With `with_count`: {op['counts']}.", " " * 8)]
    return lines


def rule_lines(op):
    rules = op["rules"]
    depths = "Computes " + ", ".join(map(str, rules["acts"])) + " bits"
    if rules["leaves-alone"]:
        depths += "; leaves " + ", ".join(map(str, rules["leaves-alone"])) + " bits alone"
    if rules["refuses"]:
        depths += "; refuses " + ", ".join(map(str, rules["refuses"])) + " bits"
    rows = [("Depths", sentence(depths) + (" " + sentence(rules["depths"]) if rules["depths"] else "")),
            ("Outside", rules["border"]), ("Rounding", rules["rounding"]), ("Saturation", rules["saturation"]),
            ("Alpha", rules["alpha"]), ("Window", rules["window"]), ("In parts", rules["tiling"])]
    if rules["random-draws"]:
        rows.append(("Random", rules["random-draws"]))
    if rules["blue-first"]:
        rows.append(("Channels", f"at {' and '.join(map(str, rules['blue-first']))} bits blue and red are treated "
                                 "differently, so with channels=\"rgb\" the pixels of an array are copied blue first for the "
                                 "call; \"bgr\" needs no copy"))
    return [paragraph(f"- {name}: {sentence(text)}" if text else f"- {name}: none.") for name, text in rows]


def docstring(op):
    lines = [f'    """{sentence(op["summary"])}', ""]
    if op["details"]:
        lines += [paragraph(op["details"]), ""]
    lines += ["    Parameters", "    ----------"]
    for image in sorted(op["images"], key=optional):
        lines += image_doc(image)
    for parameter in sorted(op["parameters"], key=lambda p: not p["required"]):
        lines += parameter_doc(parameter)
    if op["counts"]:
        lines += ["    with_count : bool, optional", paragraph("Also return what is counted.", " " * 8)]
    lines += ["    out : ndarray or Image, optional",
              paragraph("Where the result goes: the result's shape and type, any row stride; an input is allowed.", " " * 8),
              '    channels : {"rgb", "bgr"}, optional', paragraph("Order of the channels of arrays; alpha is last.", " " * 8),
              "", "    Returns", "    -------"] + result_doc(op)
    lines += ["", "    Raises", "    ------", "    TypeError, ValueError",
              paragraph("An argument does not fit; the text says what to write instead.", " " * 8), "    velmaths.Error",
              paragraph("The operation answered a failure: " + "; ".join(
                  f"{r['code']}: {r['meaning']}" for r in op["rules"]["results"] if r["code"].startswith("E_")) + ".",
                  " " * 8),
              "", "    Notes", "    -----"] + rule_lines(op)
    lines += ["", "    Examples", "    --------"] + ["    " + line if line else "" for line in EXAMPLES[op["name"]]]
    return "\n".join(line.rstrip() for line in lines) + '\n    """'


def function(op):
    head = signature(op, lambda i: "ImageLike", "Any", "ImageLike")
    images = ", ".join(f'"{i["name"]}": {shown(i["name"])}' for i in op["images"])
    parameters = ", ".join(f'"{snake(p["name"])}": {snake(p["name"])}' for p in op["parameters"])
    body = textwrap.fill(f"call(_{snake(op['name']).upper()}, {{{images}}}, {{{parameters}}}, out, channels)", WIDTH - 4,
                         initial_indent="    result, count = ", subsequent_indent=" " * 24, break_on_hyphens=False)
    last = "    return (result, count) if with_count else result" if op["counts"] else "    return result"
    if not op["counts"]:
        body = body.replace("result, count =", "result, _ =", 1).replace("\n" + " " * 24, "\n" + " " * 20)
    return f"{head}\n{docstring(op)}\n{body}\n{last}\n"


def constant(op):
    images = "".join(f'("{i["name"]}", "{i["role"]}"), ' for i in op["images"]).strip()
    parameters = ", ".join(f'"{snake(p["name"])}": "{p["type"]}"' for p in op["parameters"])
    rules = op["rules"]
    head = f"_{snake(op['name']).upper()} = Operation("
    return textwrap.fill(f'{head}"{op["name"]}", ({images}), {{{parameters}}}, "{op["result"]}", '
                         f'{tuple(rules["blue-first"])}, {rules["names-channels"]})', WIDTH,
                         subsequent_indent=" " * len(head), break_on_hyphens=False)


def methods(ops):
    """The names of the sampling methods, as a type."""
    choices = next(p for op in ops if op["name"] == "rotate" for p in op["parameters"] if p["name"] == "method")["choices"]
    head = "SamplingMethod = Literal["
    return textwrap.fill(head + ", ".join(f'"{snake(c["name"])}"' for c in choices) + "]", WIDTH,
                         subsequent_indent=" " * len(head))


HEADER = '''"""The operations, one function each. Generated by generate.py; changes belong there or into the registry."""

'''


def all_names(ops):
    names = ", ".join(f'"{snake(op["name"])}"' for op in ops)
    return textwrap.fill(f"__all__ = [{names}]", WIDTH, subsequent_indent=" " * 11)


def module(ops):
    text = HEADER + "from typing import Any, Literal, Optional, Tuple, Union\n\n"
    text += "from ._call import Operation, call\nfrom ._image import ImageLike\nfrom ._types import Channels, Colour, Kernel, MapLike, Table\n\n"
    text += all_names(ops) + "\n\n" + methods(ops) + "\n\n"
    text += "\n".join(map(constant, ops)) + "\n\n\n"
    return text + "\n\n".join(map(function, ops))


def stub(ops):
    text = HEADER + "from typing import Any, Literal, Optional, Tuple, Union, overload\n\n"
    text += "from ._image import Image\n"
    text += "from ._types import Array, Array8, Array32, Channels, Colour, Kernel, MapLike, Table\n\n"
    text += all_names(ops) + "\n\n" + methods(ops) + "\n\n"
    for op in ops:
        kinds = [("Image", "Image", "Image"), ("Array8", "Array8", "Array8"), ("Array32", "Array32", "Array32")]
        if op["name"] in ANY_RESULT:
            kinds = [("Image", "Image", "Image"), ("Array", "Any", "Array")]
        elif op["name"] == "scale8":
            kinds = [("Image", "Image", "Image"), ("Array32", "Array8", "Array8")]
        for kind, result, out in kinds:
            def typed(image, kind=kind):
                return "Union[Array8, Image]" if image["role"] == "mask" else kind
            counts = (False, True) if op["counts"] else (None,)
            for count in counts:
                answer = f"Tuple[{result}, int]" if count else result
                text += "@overload\n" + signature(op, typed, answer, out, count) + " ...\n"
    return text


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--library", dest="libvel", default=os.path.join(HERE, "..", "build", "release", "lib", "libvel.so"))
    parser.add_argument("--out", default=os.path.join(HERE, "velmaths"))
    args = parser.parse_args()
    ops = sorted(operations(args.libvel), key=lambda op: op["name"])
    for op in ops:
        named = [op] + op["parameters"] + [c for p in op["parameters"] for c in p.get("choices", [])]
        HYPHENATED.update(n["name"] for n in named if "-" in n["name"])
    os.makedirs(args.out, exist_ok=True)
    for name, text in (("operations.py", module(ops)), ("operations.pyi", stub(ops))):
        with open(os.path.join(args.out, name), "w", encoding="utf-8") as f:
            f.write(text)


if __name__ == "__main__":
    main()
