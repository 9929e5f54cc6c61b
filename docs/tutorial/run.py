#!/usr/bin/python3
"""Runs the tutorial and writes it down as a page with its outputs and pictures.

    PYTHONPATH=build/release/python /usr/bin/python3 docs/tutorial/run.py -o docs/tutorial

Cells of tutorial.py begin with `# %%`: `# %% [markdown]` is text, `# %% measured` is code whose output depends on the
machine. A figure becomes a picture named by its label: PNG, or JPEG where it shows photos only.
"""
import argparse
import contextlib
import io
import os
import re
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
MEASURED = "<!-- measured on one machine -->"


def cells(source):
    """(kind, text) of each cell; a cell without text is none."""
    parts = re.split(r"^# %% *(.*)\n", source, flags=re.MULTILINE)[1:]
    for kind, text in zip(parts[0::2], parts[1::2]):
        if text.strip():
            yield kind, text.strip("\n")


def prose(text):
    return "\n".join(re.sub(r"^# ?", "", line) for line in text.splitlines())


def save_figures(plt, folder, made):
    for number in plt.get_fignums():
        figure = plt.figure(number)
        photos = all(axes.images and not axes.lines and not axes.patches for axes in figure.axes)
        name = figure.get_label() + (".jpg" if photos else ".png")
        options = {"quality": 88} if photos else {"optimize": True}
        figure.savefig(os.path.join(folder, name), dpi=90, pil_kwargs=options)
        made.append((figure.get_label(), name))
    plt.close("all")


def page(source, folder):
    """Runs the cells in one namespace; the page's text and that namespace. Pictures go to the folder."""
    import matplotlib
    matplotlib.use("Agg")
    import matplotlib.pyplot as plt
    made = []
    plt.show = lambda: save_figures(plt, folder, made)
    names = {"__name__": "tutorial"}
    out = []
    for kind, text in cells(source):
        if kind == "[markdown]":
            out.append(prose(text))
            continue
        printed = io.StringIO()
        with contextlib.redirect_stdout(printed):
            exec(compile(text, "tutorial.py", "exec"), names)  # pylint: disable=exec-used
        out.append(f"```python\n{text}\n```")
        if printed.getvalue():
            mark = MEASURED + "\n" if kind == "measured" else ""
            out.append(f"{mark}```text\n{printed.getvalue().rstrip()}\n```")
        out.extend(f"![{label.replace('-', ' ')}]({name})" for label, name in made)
        made.clear()
    return "\n\n".join(out) + "\n", names


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("-o", dest="folder", default=HERE, help="where README.md and the pictures go")
    folder = os.path.abspath(parser.parse_args().folder)
    with open(os.path.join(HERE, "tutorial.py"), encoding="utf-8") as file:
        source = file.read()
    os.chdir(os.path.join(HERE, "..", ".."))
    text, _ = page(source, folder)
    with open(os.path.join(folder, "README.md"), "w", encoding="utf-8") as file:
        file.write(text)


if __name__ == "__main__":
    sys.exit(main())
