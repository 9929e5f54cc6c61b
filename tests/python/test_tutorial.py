"""The tutorial runs, and says what its committed page says."""
import importlib.util
import os
import re

import numpy as np
import pytest

import rules  # conftest puts its folder on the path

pytest.importorskip("matplotlib")
pytest.importorskip("cv2")


@pytest.fixture(scope="module")
def fresh(source_folder, tmp_path_factory):
    """A page made now, its folder, and what the program computed."""
    folder = os.path.join(source_folder, "docs", "tutorial")
    loader = importlib.util.spec_from_file_location("run_tutorial", os.path.join(folder, "run.py"))
    run = importlib.util.module_from_spec(loader)
    loader.loader.exec_module(run)
    made = tmp_path_factory.mktemp("tutorial")
    with open(os.path.join(folder, "tutorial.py"), encoding="utf-8") as file:
        source = file.read()
    here = os.getcwd()
    os.chdir(source_folder)
    try:
        text, names = run.page(source, str(made))
    finally:
        os.chdir(here)
    with open(os.path.join(folder, "README.md"), encoding="utf-8") as file:
        committed = file.read()
    return text, committed, folder, made, names, run.MEASURED


def test_the_page_is_what_comes_out(fresh):
    text, committed, _, _, _, mark = fresh

    def lasting(page):
        kept, count = re.subn(re.escape(mark) + r"\n```text\n.*?\n```\n", "", page, flags=re.DOTALL)
        assert count == 1
        return kept.splitlines()

    assert lasting(text) == lasting(committed), "run docs/tutorial/run.py -o docs/tutorial"


def test_pictures_are_the_committed_ones(fresh):
    text, _, folder, made, _, _ = fresh
    named = re.findall(r"!\[.*?\]\((.*?)\)", text)
    assert len(named) == len(set(named)) >= 9
    assert sorted(os.listdir(made)) == sorted(named)
    assert sorted(named) == sorted(name for name in os.listdir(folder) if name.endswith((".png", ".jpg", ".svg")))
    image = pytest.importorskip("PIL.Image")
    for name in named:
        with image.open(os.path.join(folder, name)) as old, image.open(made / name) as new:
            # Another Matplotlib may set text by a pixel more or less.
            assert abs(np.subtract(old.size, new.size)).max() <= 8


def test_links_lead_somewhere(fresh):
    _, committed, folder, _, _, _ = fresh
    for link in re.findall(r"\]\(([^)#]+)\)", committed):
        assert os.path.exists(os.path.join(folder, link)), link


@pytest.mark.parametrize("method", sorted(rules.SAMPLING))
def test_the_curves_are_the_kernels(fresh, method):
    names = fresh[4]
    distance, weight = names["distance"], names["measured_kernel"](method)
    reach = 6 if method == "lanczos6" else 2
    expected = np.where(abs(distance) < reach, rules.SAMPLING[method](distance), 0)
    steps = np.isclose(np.abs(distance) % 0.5, 0, atol=0.02) | np.isclose(np.abs(distance) % 0.5, 0.5, atol=0.02)
    inner = (~steps) & (np.arange(len(distance)) > 10) & (np.arange(len(distance)) < len(distance) - 10)
    assert inner.sum() > 800 and expected[inner].max() > 0.6
    assert abs(weight - expected)[inner].max() < 0.03
