"""The generated code is what the registry says, documented, typed and complete."""
import doctest
import inspect
import json
import os
import re
import subprocess
import sys
import sysconfig

import numpy as np
import pytest

import velmaths
import velmaths.operations as operations
from conftest import CALLS, RANDOM, photo, run


def tool(name):
    path = os.path.join("/usr/bin", name)
    return path if os.path.exists(path) else None


def test_the_generated_files_are_fresh(source_folder, tmp_path):
    library = os.path.join(os.path.dirname(velmaths.__file__), "_lib", "libvel.so")
    subprocess.run([sys.executable, "-B", os.path.join(source_folder, "python", "generate.py"), "--library", library,
                    "--out", str(tmp_path)], check=True)
    for name in ("operations.py", "operations.pyi"):
        with open(os.path.join(source_folder, "python", "velmaths", name), encoding="utf-8") as f:
            assert (tmp_path / name).read_text(encoding="utf-8") == f.read(), f"run python/generate.py: {name}"


@pytest.mark.filterwarnings("error::velmaths.Note")
def test_examples_of_the_docstrings():
    assert doctest.testmod(velmaths).failed == 0
    result = doctest.testmod(operations)
    assert result.failed == 0 and result.attempted > 150


def test_examples_of_the_guide(source_folder, tmp_path, monkeypatch):
    """docs/python.md, from a folder that has the example pictures."""
    pytest.importorskip("PIL")
    pytest.importorskip("cv2")
    (tmp_path / "examples").symlink_to(os.path.join(source_folder, "examples"))
    monkeypatch.chdir(tmp_path)
    result = doctest.testfile(os.path.join(source_folder, "docs", "python.md"), module_relative=False)
    assert result.failed == 0 and result.attempted > 30


@pytest.mark.filterwarnings("ignore::velmaths.Note")
@pytest.mark.parametrize("name", operations.__all__)
def test_the_manuals_python_line(name, source_folder):
    with open(os.path.join(source_folder, "docs", "manual", name.replace("_", "-") + ".md"), encoding="utf-8") as f:
        line, = re.findall(r"```python\n(velmaths\..*)\n```", f.read())
    assert line.startswith(f"velmaths.{name}(")
    integers = np.arange(1200, dtype=np.int32).reshape(30, 40)
    for image in (integers,) if name in ("kernel", "scale8") else (photo((30, 40, 4)),):
        names = {"velmaths": velmaths, "image": image, "source": image, "first": image, "model": image,
                 "second": image[::-1].copy(), "onto": photo((60, 70, 4)) if name != "transform_paste" else image.copy()}
        assert isinstance(eval(line, names), np.ndarray)


def test_every_operation_has_a_function_and_a_call_here():
    assert len(operations.__all__) == 47
    known = set(CALLS) | set(RANDOM) | {"kernel", "scale", "scale8"}
    assert set(operations.__all__) == known


@pytest.mark.parametrize("name", operations.__all__)
def test_docstring_has_its_sections_and_parameters(name):
    function = getattr(velmaths, name)
    text = inspect.getdoc(function)
    for section in ("Parameters", "Returns", "Raises", "Notes", "Examples"):
        assert f"\n{section}\n{'-' * len(section)}\n" in text
    for parameter in inspect.signature(function).parameters.values():
        assert f"\n{parameter.name} : " in text
        first_image = parameter.kind is inspect.Parameter.POSITIONAL_OR_KEYWORD
        assert first_image or parameter.kind is inspect.Parameter.KEYWORD_ONLY
    assert not re.search(r"(^|\s)--[a-z]", text)  # options of the command line have no place here


@pytest.mark.skipif(tool("mypy") is None, reason="mypy is not installed")
def test_mypy_strict(tmp_path):
    package = os.path.dirname(velmaths.__file__)
    environment = dict(os.environ, MYPYPATH=os.path.dirname(package))
    mypy = [tool("mypy"), "--strict", "--cache-dir", str(tmp_path / "cache")]
    assert subprocess.run(mypy + [package], env=environment, cwd=tmp_path).returncode == 0
    right = tmp_path / "right.py"
    right.write_text("""
import numpy as np
from numpy.typing import NDArray
import velmaths
image: NDArray[np.uint8] = np.zeros((4, 4, 3), np.uint8)
turned: NDArray[np.uint8] = velmaths.rotate(image, angle=30, method="catmull_rom", out=None, channels="bgr")
kept: velmaths.Image = velmaths.erode(velmaths.Image.new(4, 4, 1), size=3)
bytes_: NDArray[np.uint8] = velmaths.scale8(np.zeros((4, 4), np.int32), offset=1)
pair = velmaths.subtract(image, image, with_count=True)
count: int = pair[1]
warped: NDArray[np.uint8] = velmaths.transform(image, map=lambda x, y: (x + 1, y))
""")
    assert subprocess.run(mypy + [str(right)], env=environment, cwd=tmp_path).returncode == 0
    for wrong in ('velmaths.rotate(image, angle="30")', 'velmaths.erode(image, 3)', 'velmaths.erode(image, sise=3)',
                  'velmaths.rotate(image, angle=3, method="cubic")', 'velmaths.blur([1, 2])',
                  'velmaths.blur(image, channels="gbr")'):
        file = tmp_path / "wrong.py"
        file.write_text("import numpy as np\nimport velmaths\nimage = np.zeros((4, 4), np.uint8)\n" + wrong + "\n")
        found = subprocess.run(mypy + [str(file)], env=environment, cwd=tmp_path, capture_output=True, text=True)
        assert found.returncode == 1 and "wrong.py:4: error" in found.stdout, wrong


def test_wheel_in_a_fresh_environment(source_folder, tmp_path):
    if not os.environ.get("VELMATHS_BUILD"):
        pytest.skip("VELMATHS_BUILD does not name a build")
    probe = subprocess.run([sys.executable, "-c", "import setuptools, wheel, pip, venv"], capture_output=True)
    if probe.returncode:
        pytest.skip("pip, setuptools, wheel or venv is not installed")
    source = tmp_path / "source"
    source.mkdir()
    # The build leaves traces in its source folder, so a copy is built.
    subprocess.run(["cp", "-r", os.path.join(source_folder, "python"), str(source / "python")], check=True)
    subprocess.run(["cp", os.path.join(source_folder, "CMakeLists.txt"), str(source)], check=True)
    subprocess.run([sys.executable, "-m", "pip", "wheel", "--no-build-isolation", "--no-deps", "--no-index", "-q", "-w",
                    str(tmp_path / "wheels"), str(source / "python")], check=True)
    wheel, = (tmp_path / "wheels").glob("*.whl")
    assert wheel.name.startswith("velmaths-") and "-py3-none-" in wheel.name
    environment = tmp_path / "environment"
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", str(environment)], check=True)
    python = str(environment / "bin" / "python")
    clean = {name: value for name, value in os.environ.items() if name not in ("PYTHONPATH", "VELMATHS_LIBRARY")}
    subprocess.run([python, "-m", "pip", "install", "--no-index", "--no-deps", "-q", str(wheel)], check=True, env=clean)
    told = subprocess.run([python, "-c", "import velmaths, numpy, json; print(json.dumps([velmaths.__file__, "
                           "velmaths.dilate(numpy.eye(3, dtype=numpy.uint8)).tolist()]))"], check=True, env=clean,
                          capture_output=True, text=True, cwd=tmp_path).stdout
    file, pixels = json.loads(told)
    assert file.startswith(str(environment)) and pixels == [[1, 1, 1]] * 3 or pixels == [[1, 1, 0], [1, 1, 1], [0, 1, 1]]
    # And the package's own tests, but for this one.
    tests = os.path.dirname(os.path.abspath(__file__))
    subprocess.run([python, "-m", "pytest", "-q", "-x", "-p", "no:cacheprovider", os.path.join(tests, "test_arrays.py"),
                    os.path.join(tests, "test_image.py")], check=True, env=dict(clean, VEL_SOURCE=source_folder),
                   cwd=tmp_path)


def test_the_stub_and_the_module_agree():
    stub = open(os.path.join(os.path.dirname(velmaths.__file__), "operations.pyi"), encoding="utf-8").read()
    for name in operations.__all__:
        assert f"def {name}(" in stub


def test_notes_are_warnings():
    with pytest.warns(velmaths.Note):
        velmaths.rotate(photo((9, 9)), angle=30)  # scattered at 8 bits


def test_the_table_of_calls_acts():
    """Guards the other tests: each call of the table changes a picture."""
    image = photo((14, 13, 4))
    for name in sorted(set(CALLS) - {"create_dest_image", "increase_bpp"}):
        result = run(velmaths, name, image)
        assert result.shape != image.shape or not np.array_equal(result, image), name


def test_platform_is_linux():
    assert sysconfig.get_platform().startswith("linux")
