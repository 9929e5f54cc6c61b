"""Image: depths, palettes, files, the memory's description, other libraries."""
import os

import numpy as np
import pytest

import velmaths
from conftest import photo

Image = velmaths.Image


@pytest.mark.parametrize("bits", [1, 4, 8])
@pytest.mark.parametrize("width", [1, 2, 7, 8, 9, 33])
def test_indexes_there_and_back(bits, width):
    indexes = np.random.default_rng(width).integers(0, 2**bits, (5, width), dtype=np.uint8)
    palette = np.random.default_rng(1).integers(0, 256, (2**bits, 3), dtype=np.uint8)
    image = Image.from_indexes(indexes, bits, palette)
    assert (image.width, image.height, image.bits_per_pixel) == (width, 5, bits)
    np.testing.assert_array_equal(image.indexes(), indexes)
    np.testing.assert_array_equal(image.palette, palette)
    np.testing.assert_array_equal(image.to_array(), palette[indexes])
    np.testing.assert_array_equal(image.to_array("bgr"), palette[indexes][..., ::-1])
    image.palette = None
    assert image.palette is None
    np.testing.assert_array_equal(image.to_array(), indexes * (255 // (2**bits - 1)))


def test_rows_of_bits_are_packed_high_bit_first():
    image = Image.from_indexes(np.array([[1, 0, 0, 0, 0, 0, 1, 1, 1]], np.uint8), 1)
    assert np.asarray(image).tolist() == [[0b10000011, 0b10000000]]
    image = Image.from_indexes(np.array([[1, 2, 3]], np.uint8), 4)
    assert np.asarray(image).tolist() == [[0x12, 0x30]]


def test_array_interface_is_the_memory():
    image = Image.new(5, 4, 24)
    view = np.asarray(image)
    assert view.shape == (4, 5, 3) and not view.any()
    view[2, 3] = (1, 2, 3)  # blue first
    assert image.to_array()[2, 3].tolist() == [3, 2, 1]
    assert np.shares_memory(view, np.asarray(image))
    assert np.asarray(Image.new(5, 4, 16)).dtype == np.uint16
    assert np.asarray(Image.new(5, 4, 32, "mono")).dtype == np.int32
    assert np.asarray(Image.new(5, 4, 32)).shape == (4, 5, 4)


@pytest.mark.parametrize("shape", [(6, 5), (6, 5, 3), (6, 5, 4)])
@pytest.mark.parametrize("channels", ["rgb", "bgr"])
def test_arrays_there_and_back(shape, channels):
    array = photo(shape)
    image = Image.from_array(array[::-1], channels)
    np.testing.assert_array_equal(image.to_array(channels), array[::-1])


def test_sixteen_bits():
    image = Image.new(2, 1, 16)
    np.asarray(image)[0] = (0xF800, 0x07E1)
    assert image.to_array().tolist() == [[[255, 0, 0], [0, 255, 8]]]


@pytest.mark.parametrize("bits", [1, 4, 8, 16, 24, 32])
def test_operations_take_and_give_images(bits):
    image = Image.new(9, 7, bits)
    rows = np.asarray(image)
    rows[...] = np.random.default_rng(bits).integers(0, 255, rows.shape).astype(rows.dtype)
    before = rows.copy()
    flipped = velmaths.flip(image)
    assert isinstance(flipped, Image) and (flipped.width, flipped.height, flipped.bits_per_pixel) == (9, 7, bits)
    np.testing.assert_array_equal(np.asarray(flipped), before[::-1])
    complement = velmaths.negative(image)
    np.testing.assert_array_equal(rows, before)
    if bits in (8, 24):
        np.testing.assert_array_equal(np.asarray(complement), 255 - before)
    assert velmaths.negative(image, out=image) is image
    np.testing.assert_array_equal(np.asarray(image), np.asarray(complement))


def test_depths_that_no_array_has_become_images():
    grey = photo((4, 5))
    low = velmaths.create_dest_image(grey, depth=4)
    assert isinstance(low, Image) and low.bits_per_pixel == 4
    assert isinstance(velmaths.increase_bpp(Image.new(3, 3, 1), depth=24), Image)


@pytest.mark.parametrize("name, shape", [("a.png", (7, 9)), ("a.png", (7, 9, 3)), ("a.png", (7, 9, 4)), ("a.bmp", (7, 9, 3)),
                                         ("a.tif", (7, 9, 3)), ("a.tif", (7, 9))])
def test_files_there_and_back(tmp_path, name, shape):
    array = photo(shape)
    path = tmp_path / name
    velmaths.save(path, array)
    np.testing.assert_array_equal(velmaths.load(path), array)
    with pytest.raises(FileExistsError):
        velmaths.save(path, array)
    velmaths.save(path, array[::-1], overwrite=True)
    np.testing.assert_array_equal(velmaths.load(path.read_bytes()), array[::-1])


def test_palette_survives_a_file(tmp_path):
    indexes = np.arange(12, dtype=np.uint8).reshape(3, 4)
    palette = np.random.default_rng(3).integers(0, 256, (16, 3), dtype=np.uint8)
    Image.from_indexes(indexes, 4, palette).save(tmp_path / "p.png")
    again = Image.load(tmp_path / "p.png")
    assert again.bits_per_pixel == 4
    np.testing.assert_array_equal(again.indexes(), indexes)
    np.testing.assert_array_equal(again.palette, palette)


def test_file_failures(tmp_path):
    with pytest.raises(FileNotFoundError, match="nothing.png"):
        velmaths.load(tmp_path / "nothing.png")
    (tmp_path / "text.png").write_text("no picture")
    with pytest.raises(velmaths.PictureError):
        velmaths.load(tmp_path / "text.png")
    with pytest.raises(ValueError):
        velmaths.save(tmp_path / "x.unknown", photo((3, 3)))
    assert not (tmp_path / "x.unknown").exists()


def test_encode():
    image = Image.from_array(photo((5, 6, 3)))
    np.testing.assert_array_equal(Image.load(image.encode("png")).to_array(), image.to_array())


@pytest.mark.parametrize("call", [
    lambda: Image.new(3, 3, 7), lambda: Image.new(-1, 3, 8), lambda: Image.new(3, 3, 8, "yuv"),
    lambda: Image.from_indexes(np.full((2, 2), 2, np.uint8), 1), lambda: Image.from_indexes(np.zeros((2, 2), np.uint8), 16),
    lambda: Image.new(3, 3, 24).indexes(), lambda: setattr(Image.new(3, 3, 1), "palette", np.zeros((3, 3), int)),
    lambda: setattr(Image.new(3, 3, 8), "palette", [[1, 2]]), lambda: Image.load(b"", convert="nonsense"),
    lambda: Image.new(3, 3, 8).to_array("gbr")])
def test_nonsense_is_a_value_error(call):
    with pytest.raises(ValueError):
        call()


def test_pillow_round_trip():
    pillow = pytest.importorskip("PIL.Image")
    array = photo((11, 8, 3))
    picture = pillow.fromarray(velmaths.mirror(np.asarray(pillow.fromarray(array))))
    np.testing.assert_array_equal(np.asarray(picture), array[:, ::-1])
    np.testing.assert_array_equal(np.asarray(pillow.fromarray(array).transpose(pillow.Transpose.FLIP_TOP_BOTTOM)),
                                  velmaths.flip(array))


def test_opencv_round_trip(tmp_path):
    cv2 = pytest.importorskip("cv2")
    bgr = photo((11, 8, 3))
    cv2.imwrite(str(tmp_path / "a.png"), bgr)
    np.testing.assert_array_equal(velmaths.load(tmp_path / "a.png", channels="bgr"), bgr)
    np.testing.assert_array_equal(velmaths.mirror(bgr, channels="bgr"), cv2.flip(bgr, 1))


def test_repr():
    assert repr(Image.new(3, 2, 24)) == "<velmaths.Image 3x2, 24 bits, bgr>"
    assert "2 colours" in repr(Image.from_indexes(np.zeros((1, 1), np.uint8), 1, [[0, 0, 0], [9, 9, 9]]))


@pytest.mark.parametrize("name, shape", [
    ("lineart_crawfish.png", (477, 459, 4)), ("palette8_coffee.bmp", (400, 600, 3)), ("palette8_coffee.png", (400, 600, 3)),
    ("document_text_1bit.png", (172, 448)), ("alpha_magnifier.png", (438, 438, 4))])
def test_load_gives_an_array(source_folder, name, shape):
    file = os.path.join(source_folder, "examples", name)
    image = velmaths.load(file)
    assert image.shape == shape and image.dtype == np.uint8
    pillow = pytest.importorskip("PIL.Image")
    mode = {2: "L", 3: "RGB", 4: "RGBA"}[shape[2] if len(shape) == 3 else 2]
    np.testing.assert_array_equal(image, np.asarray(pillow.open(file).convert(mode)))


@pytest.mark.parametrize("name", ["measure16_dem.png", "measure16_dem.tif"])
def test_load_loses_nothing_unasked(source_folder, name):
    file = os.path.join(source_folder, "examples", name)
    metres = velmaths.load(file)
    assert metres.dtype == np.int32 and (metres.min(), metres.max()) == (236, 1076)
    pillow = pytest.importorskip("PIL.Image")
    np.testing.assert_array_equal(metres, np.asarray(pillow.open(file)))
    for convert in ("eight-bit", "8bit", "all"):
        cut = velmaths.load(file, convert=convert)
        assert cut.dtype == np.uint8
        np.testing.assert_array_equal(cut, np.rint(metres / 257))  # 65535 becomes 255
    with pytest.raises(velmaths.PictureError, match="widen"):
        velmaths.Image.load(file)
