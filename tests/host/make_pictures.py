#!/usr/bin/env python3
"""Pictures made by other programs, and other programs' reading of ours.

    make_pictures.py pillow FOLDER       writes files with Pillow and FOLDER/pillow.txt
    make_pictures.py magick FOLDER       writes files with ImageMagick's convert and FOLDER/magick.txt
    make_pictures.py plain FOLDER        writes TIFF files byte by byte, of kinds that those do not write
    make_pictures.py check-pillow LIST   reads the files of LIST with Pillow
    make_pictures.py check-magick LIST   the same with convert

The lines of the written lists:
    NAME RAW CONVERT PAGE WIDTH HEIGHT BITS CODE ORDER TOLERANCE PALETTE
        how the picture must arrive: CONVERT is a list of conversions or "-", ORDER "top" or "bottom", PALETTE a list
        of rrggbb or "-"; the file RAW holds the bytes of the rows without padding
    NAME refused TEXT                   it is refused without a conversion, and the message holds TEXT
    NAME colours PPM                    a palette image with the colours of that file
    NAME info ALPHA ORIENTATION PROFILE PAGES STORED
                                        what the file says of itself
A line of LIST is "NAME MODE"; NAME.raw holds the expected pixels of that mode of Pillow. Differences are printed, and
nothing otherwise.
"""
import os
import struct
import subprocess
import sys

CONVERT = os.environ.get("CONVERT", "convert")
WIDTH, HEIGHT = 37, 23


def value(x, y, channel=0):
    return (x * 7 + y * 13 + channel * 57 + x * y) % 256


def grid(function):
    return [function(x, y) for y in range(HEIGHT) for x in range(WIDTH)]


def packed(values, bits):
    """Rows of 1-, 2- or 4-bit values, leftmost in the high bits."""
    out = bytearray()
    per = 8 // bits
    for y in range(HEIGHT):
        row = values[y * WIDTH:(y + 1) * WIDTH]
        row += [0] * (-WIDTH % per)
        for i in range(0, len(row), per):
            byte = 0
            for v in row[i:i + per]:
                byte = byte << bits | v
            out.append(byte)
    return bytes(out)


GREY = grid(value)
ALPHA = grid(lambda x, y: value(y, x, 2))
RGB = grid(lambda x, y: (value(x, y), value(x, y, 1), value(x, y, 2)))
GREY16 = grid(lambda x, y: value(x, y) * 256 + value(y, x, 1))
SMOOTH = grid(lambda x, y: (x * 6, y * 10, 255 - x * 3 - y * 3))
INT32 = grid(lambda x, y: (value(x, y) - 128) * 16777216 + value(x, y, 1) * 257 + value(x, y, 2))


def bgr(pixels):
    return b"".join(bytes((b, g, r)) for r, g, b in pixels)


def bgra(pixels, alphas):
    return b"".join(bytes((b, g, r, a)) for (r, g, b), a in zip(pixels, alphas))


def grey_bgra(greys, alphas):
    return bgra([(g, g, g) for g in greys], alphas)


def ints(values):
    return struct.pack("=%di" % len(values), *values)


def cut16(values):
    """16 bits to 8, to the nearest."""
    return bytes((2 * v + 257) // 514 for v in values)


def hexes(palette):
    return ",".join("%02x%02x%02x" % entry for entry in palette)


class List:
    def __init__(self, folder, name):
        self.folder = folder
        self.file = open(os.path.join(folder, name), "w")

    def path(self, name):
        return os.path.join(self.folder, name)

    def add(self, name, bits, code, raw, convert="-", page=0, order="top", tolerance=0, palette="-", reading=None):
        """`reading` keeps several expectations of one file apart."""
        raw_name = name + (reading or "") + ".raw"
        with open(self.path(raw_name), "wb") as out:
            out.write(raw)
        self.file.write(" ".join(str(v) for v in (
            name, raw_name, convert, page, WIDTH, HEIGHT, bits, code, order, tolerance, palette)) + "\n")

    def info(self, name, stored, alpha=False, orientation=1, profile=False, pages=1):
        self.file.write("%s info %d %d %d %d %s\n" % (name, alpha, orientation, profile, pages, stored))

    def refused(self, name, text):
        self.file.write("%s refused %s\n" % (name, text))


# ----------------------------------------------------------------------------------------------------------------
# Pillow

def pillow(folder):
    from PIL import Image
    out = List(folder, "pillow.txt")

    def image(mode, data):
        made = Image.new(mode, (WIDTH, HEIGHT))
        made.putdata(data)
        return made

    grey = image("L", GREY)
    rgb = image("RGB", RGB)
    rgba = image("RGBA", [(r, g, b, a) for (r, g, b), a in zip(RGB, ALPHA)])
    grey_alpha = image("LA", list(zip(GREY, ALPHA)))
    smooth = image("RGB", SMOOTH)
    grey16 = Image.frombytes("I;16", (WIDTH, HEIGHT), struct.pack("<%dH" % len(GREY16), *GREY16))
    int32 = Image.frombytes("I", (WIDTH, HEIGHT), ints(INT32))

    def with_palette(entries):
        indexes = [v % entries for v in GREY]
        palette = [((i * 5) % 256, (255 - i * 3) % 256, (i * i) % 256) for i in range(entries)]
        made = Image.new("P", (WIDTH, HEIGHT))
        made.putdata(indexes)
        made.putpalette([c for entry in palette for c in entry])
        return made, indexes, palette

    p200, indexes200, palette200 = with_palette(200)
    p16, indexes16, palette16 = with_palette(16)
    p4, indexes4, palette4 = with_palette(4)
    p2, indexes2, palette2 = with_palette(2)
    bits1 = [v & 1 for v in GREY]
    one = image("1", [255 * v for v in bits1])

    # PNG
    grey.save(out.path("l.png"))
    out.add("l.png", 8, "MONO", bytes(GREY))
    one.save(out.path("1.png"))
    out.add("1.png", 1, "MONO", packed(bits1, 1))
    rgb.save(out.path("rgb.png"))
    out.add("rgb.png", 24, "BGR", bgr(RGB))
    rgba.save(out.path("rgba.png"))
    out.add("rgba.png", 32, "ARGB", bgra(RGB, ALPHA))
    p200.save(out.path("p200.png"))
    out.add("p200.png", 8, "BGR", bytes(indexes200), palette=hexes(palette200))
    p16.save(out.path("p16.png"), bits=4)
    out.add("p16.png", 4, "BGR", packed(indexes16, 4), palette=hexes(palette16))
    p4.save(out.path("p4.png"), bits=2)
    out.add("p4.png", 4, "BGR", packed(indexes4, 4), palette=hexes(palette4))
    p2.save(out.path("p2.png"), bits=1)
    out.add("p2.png", 1, "BGR", packed(indexes2, 1), palette=hexes(palette2))

    grey_alpha.save(out.path("la.png"))
    out.refused("la.png", "'widen'")
    out.add("la.png", 32, "ARGB", grey_bgra(GREY, ALPHA), convert="widen")
    grey16.save(out.path("i16.png"))
    out.refused("i16.png", "16-bit grey")
    out.add("i16.png", 32, "MONO", ints(GREY16), convert="widen")
    out.add("i16.png", 8, "MONO", cut16(GREY16), convert="8bit", reading="8")
    p16.save(out.path("p_clear.png"), bits=4, transparency=bytes([0, 128]))
    opaque = [0 if i == 0 else 128 if i == 1 else 255 for i in indexes16]
    out.refused("p_clear.png", "transparent entries")
    out.add("p_clear.png", 32, "ARGB", bgra([palette16[i] for i in indexes16], opaque), convert="widen")
    rgb.save(out.path("rgb_clear.png"), transparency=RGB[5])
    out.refused("rgb_clear.png", "transparent colour")
    out.add("rgb_clear.png", 32, "ARGB", bgra(RGB, [0 if c == RGB[5] else 255 for c in RGB]), convert="widen")
    grey.save(out.path("l_clear.png"), transparency=GREY[5])
    out.add("l_clear.png", 32, "ARGB", grey_bgra(GREY, [0 if c == GREY[5] else 255 for c in GREY]), convert="widen")

    # JPEG: the expectation is Pillow's own decoding
    def reread(name):
        return Image.open(out.path(name)).convert("RGB")

    grey.save(out.path("l.jpg"), quality=95)
    out.add("l.jpg", 8, "MONO", reread("l.jpg").getchannel(0).tobytes())
    smooth.save(out.path("rgb.jpg"), quality=95, subsampling=0)
    out.add("rgb.jpg", 24, "BGR", bgr(list(reread("rgb.jpg").getdata())))
    smooth.save(out.path("progressive.jpg"), quality=80, subsampling=2, progressive=True)
    out.add("progressive.jpg", 24, "BGR", bgr(list(reread("progressive.jpg").getdata())))
    smooth.convert("CMYK").save(out.path("cmyk.jpg"), quality=95)
    out.refused("cmyk.jpg", "'rgb'")
    out.add("cmyk.jpg", 24, "BGR", bgr(SMOOTH), convert="rgb", tolerance=12)

    # TIFF
    for compression in ("raw", "tiff_lzw", "packbits", "tiff_adobe_deflate"):
        short = compression.replace("tiff_", "")
        grey.save(out.path("l_%s.tif" % short), compression=compression)
        out.add("l_%s.tif" % short, 8, "MONO", bytes(GREY))
        rgb.save(out.path("rgb_%s.tif" % short), compression=compression)
        out.add("rgb_%s.tif" % short, 24, "BGR", bgr(RGB))
    for compression in ("raw", "group3", "group4"):
        one.save(out.path("1_%s.tif" % compression), compression=compression)
        out.add("1_%s.tif" % compression, 1, "MONO", packed(bits1, 1))
    p200.save(out.path("p200.tif"))
    out.add("p200.tif", 8, "BGR", bytes(indexes200), palette=hexes(palette200))
    rgba.save(out.path("rgba.tif"))
    out.add("rgba.tif", 32, "ARGB", bgra(RGB, ALPHA))
    int32.save(out.path("i.tif"))
    out.add("i.tif", 32, "MONO", ints(INT32))
    grey16.save(out.path("i16.tif"))
    out.refused("i16.tif", "'widen'")
    out.add("i16.tif", 32, "MONO", ints(GREY16), convert="widen")
    out.add("i16.tif", 8, "MONO", cut16(GREY16), convert="8bit", reading="8")
    grey_alpha.save(out.path("la.tif"))
    out.refused("la.tif", "'widen'")
    out.add("la.tif", 32, "ARGB", grey_bgra(GREY, ALPHA), convert="widen")
    floats = image("F", [v / 255 for v in GREY])
    floats.save(out.path("f.tif"))
    out.refused("f.tif", "'round'")
    out.add("f.tif", 8, "MONO", bytes(GREY), convert="8bit")
    image("F", [v * 1000 + 0.25 for v in GREY]).save(out.path("f_large.tif"))
    out.add("f_large.tif", 32, "MONO", ints([v * 1000 for v in GREY]), convert="round")
    smooth.convert("CMYK").save(out.path("cmyk.tif"))
    out.refused("cmyk.tif", "'rgb'")
    out.add("cmyk.tif", 24, "BGR", bgr(SMOOTH), convert="rgb", tolerance=1)
    smooth.save(out.path("jpeg.tif"), compression="jpeg", quality=95)
    out.add("jpeg.tif", 24, "BGR", bgr(SMOOTH), tolerance=30)
    grey.save(out.path("pages.tif"), save_all=True, append_images=[rgb, one])
    out.add("pages.tif", 8, "MONO", bytes(GREY), reading="0")
    out.add("pages.tif", 24, "BGR", bgr(RGB), page=1, reading="1")
    out.add("pages.tif", 1, "MONO", packed(bits1, 1), page=2, reading="2")

    out.info("pages.tif", "8-bit grey", pages=3)
    out.info("cmyk.tif", "8-bit CMYK")

    # What files say of themselves
    from PIL import ImageCms
    profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
    exif = Image.Exif()
    exif[0x0112] = 6
    smooth.save(out.path("turned.jpg"), exif=exif, icc_profile=profile)
    out.info("turned.jpg", "8-bit YCbCr", orientation=6, profile=True)
    rgba.save(out.path("turned.png"), exif=exif, icc_profile=profile)
    out.info("turned.png", "8-bit RGB with alpha", alpha=True, orientation=6, profile=True)
    rgba.save(out.path("turned.webp"), lossless=True, exif=exif, icc_profile=profile)
    out.info("turned.webp", "8-bit RGB, lossless with alpha", alpha=True, orientation=6, profile=True)
    smooth.save(out.path("turned.tif"), tiffinfo={274: 6}, icc_profile=profile)
    out.info("turned.tif", "8-bit RGB", orientation=6, profile=True)
    out.add("turned.tif", 24, "BGR", bgr(SMOOTH))
    out.info("l.jpg", "8-bit grey")
    out.info("cmyk.jpg", "8-bit CMYK")
    out.info("p_clear.png", "4-bit palette with transparent entries", alpha=True)

    # WebP
    rgb.save(out.path("rgb.webp"), lossless=True)
    out.add("rgb.webp", 24, "BGR", bgr(RGB))
    rgba.save(out.path("rgba.webp"), lossless=True, exact=True)
    out.add("rgba.webp", 32, "ARGB", bgra(RGB, ALPHA))
    smooth.save(out.path("lossy.webp"), quality=80)
    out.add("lossy.webp", 24, "BGR", bgr(list(reread("lossy.webp").getdata())))
    rgb.save(out.path("animated.webp"), save_all=True, append_images=[smooth])
    out.refused("animated.webp", "animated")
    out.info("animated.webp", "animation")

    # BMP
    grey.save(out.path("l.bmp"))
    out.add("l.bmp", 8, "MONO", bytes(GREY), order="bottom")
    one.save(out.path("1.bmp"))
    out.add("1.bmp", 1, "MONO", packed(bits1, 1), order="bottom")
    p200.save(out.path("p200.bmp"))
    out.add("p200.bmp", 8, "BGR", bytes(indexes200), order="bottom", palette=hexes(palette200))
    rgb.save(out.path("rgb.bmp"))
    out.add("rgb.bmp", 24, "BGR", bgr(RGB), order="bottom")


# ----------------------------------------------------------------------------------------------------------------
# ImageMagick

def magick(folder):
    out = List(folder, "magick.txt")
    with open(out.path("rgb.ppm"), "wb") as ppm:
        ppm.write(b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + b"".join(bytes(p) for p in RGB))
    with open(out.path("grey.pgm"), "wb") as pgm:
        pgm.write(b"P5 %d %d 255\n" % (WIDTH, HEIGHT) + bytes(GREY))
    with open(out.path("grey16.pgm"), "wb") as pgm:
        pgm.write(b"P5 %d %d 65535\n" % (WIDTH, HEIGHT) + struct.pack(">%dH" % len(GREY16), *GREY16))
    with open(out.path("rgba.rgba"), "wb") as raw:
        raw.write(b"".join(bytes((*p, a)) for p, a in zip(RGB, ALPHA)))
    # Levels of 5 and 6 bits, in 8 bits such that both rounding and truncation lead back to them.
    for name, green in (("565.ppm", 6), ("555.ppm", 5)):
        levels = [(r >> 3, g >> (8 - green), b >> 3) for r, g, b in RGB]
        up = [(-(-r * 255 // 31), -(-g * 255 // (2 ** green - 1)), -(-b * 255 // 31)) for r, g, b in levels]
        with open(out.path(name), "wb") as ppm:
            ppm.write(b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + b"".join(bytes(p) for p in up))
    runs = [[(0, 0, 0), (255, 0, 0), (0, 0, 255), (255, 255, 255)][(x // 9 + y // 5) % 4]
            for y in range(HEIGHT) for x in range(WIDTH)]
    with open(out.path("runs.ppm"), "wb") as ppm:
        ppm.write(b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + b"".join(bytes(p) for p in runs))
    rgba = ["-size", "%dx%d" % (WIDTH, HEIGHT), "-depth", "8", out.path("rgba.rgba")]

    def convert(*arguments):
        subprocess.run([CONVERT, *arguments], check=True)

    # PNG
    convert(out.path("rgb.ppm"), "-define", "png:color-type=2", "-interlace", "PNG",
            out.path("interlaced.png"))
    out.add("interlaced.png", 24, "BGR", bgr(RGB))
    convert(*rgba, "-interlace", "PNG", out.path("interlaced_alpha.png"))
    out.add("interlaced_alpha.png", 32, "ARGB", bgra(RGB, ALPHA))
    two = [v >> 6 for v in GREY]
    with open(out.path("two.pgm"), "wb") as pgm:
        pgm.write(b"P5 %d %d 255\n" % (WIDTH, HEIGHT) + bytes(v * 85 for v in two))
    convert(out.path("two.pgm"), "-define", "png:bit-depth=2", "-define", "png:color-type=0", out.path("grey2.png"))
    out.add("grey2.png", 4, "MONO", packed([v * 5 for v in two], 4))
    convert(out.path("two.pgm"), "-define", "png:bit-depth=2", "-define", "png:color-type=0", "-interlace", "PNG",
            out.path("grey2_interlaced.png"))
    out.add("grey2_interlaced.png", 4, "MONO", packed([v * 5 for v in two], 4))
    convert(out.path("grey16.pgm"), "-interlace", "PNG", "-define", "png:bit-depth=16", out.path("grey16.png"))
    out.add("grey16.png", 32, "MONO", ints(GREY16), convert="widen")
    convert(out.path("rgb.ppm"), "-define", "png:bit-depth=16", "-define", "png:color-type=2", out.path("rgb48.png"))
    out.refused("rgb48.png", "'8bit'")
    out.add("rgb48.png", 24, "BGR", bgr(RGB), convert="8bit")
    convert(*rgba, "-define", "png:bit-depth=16", "-define", "png:color-type=6", out.path("rgba64.png"))
    out.add("rgba64.png", 32, "ARGB", bgra(RGB, ALPHA), convert="8bit")

    # TIFF
    tiff_kinds = {
        "msb": ["-endian", "MSB", "-compress", "none"],
        "planar": ["-interlace", "Plane", "-compress", "lzw"],
        "tiled": ["-define", "tiff:tile-geometry=16x32", "-compress", "zip"],
        "strips": ["-define", "tiff:rows-per-strip=5", "-compress", "lzw"],
        "lsb_bits": ["-define", "tiff:fill-order=lsb", "-compress", "none"],
    }
    one_bit = [out.path("grey.pgm"), "-threshold", "50%", "-type", "bilevel", "-depth", "1"]
    for name, options in tiff_kinds.items():
        convert(out.path("rgb.ppm"), *options, out.path("rgb_%s.tif" % name))
        out.add("rgb_%s.tif" % name, 24, "BGR", bgr(RGB))
        convert(*rgba, *options, out.path("rgba_%s.tif" % name))
        out.add("rgba_%s.tif" % name, 32, "ARGB", bgra(RGB, ALPHA))
        convert(out.path("grey16.pgm"), "-depth", "16", *options, out.path("grey16_%s.tif" % name))
        out.add("grey16_%s.tif" % name, 32, "MONO", ints(GREY16), convert="widen")
        bits = [v >> 7 for v in GREY]
        convert(*one_bit, *options, out.path("1_%s.tif" % name))
        out.add("1_%s.tif" % name, 1, "MONO", packed(bits, 1))
    convert(*one_bit, "-define", "quantum:polarity=min-is-white", out.path("white_is_zero.tif"))
    out.add("white_is_zero.tif", 1, "BGR", packed([1 - (v >> 7) for v in GREY], 1), palette="ffffff,000000")
    convert(out.path("rgb.ppm"), "-depth", "16", "-compress", "none", out.path("rgb48.tif"))
    out.refused("rgb48.tif", "'8bit'")
    out.add("rgb48.tif", 24, "BGR", bgr(RGB), convert="8bit")
    convert(out.path("rgb.ppm"), "-colorspace", "Lab", "-depth", "8", out.path("lab.tif"))
    out.refused("lab.tif", "L*a*b*")

    # BMP. What convert writes is bottom-up.
    def bmp(name, *arguments):
        convert(*arguments[:-1], arguments[-1] + ":" + out.path(name))

    bmp("v3.bmp", out.path("rgb.ppm"), "-type", "truecolor", "bmp3")
    out.add("v3.bmp", 24, "BGR", bgr(RGB), order="bottom")
    bmp("core.bmp", out.path("rgb.ppm"), "-type", "truecolor", "bmp2")
    out.add("core.bmp", 24, "BGR", bgr(RGB), order="bottom")
    bmp("alpha.bmp", *rgba, "-type", "truecoloralpha", "bmp")
    out.add("alpha.bmp", 32, "ARGB", bgra(RGB, ALPHA), order="bottom")
    bmp("565.bmp", out.path("565.ppm"), "-type", "truecolor", "-define", "bmp:subtype=RGB565", "bmp")
    words = b"".join(struct.pack("<H", b >> 3 | g >> 2 << 5 | r >> 3 << 11) for r, g, b in RGB)
    out.add("565.bmp", 16, "BGR", words, order="bottom")
    bmp("555.bmp", out.path("555.ppm"), "-type", "truecolor", "-define", "bmp:subtype=RGB555", "bmp")
    out.refused("555.bmp", "5-5-5")
    words = b"".join(struct.pack("<H", b >> 3 | (g >> 3 << 1 | g >> 7) << 5 | r >> 3 << 11) for r, g, b in RGB)
    out.add("555.bmp", 16, "BGR", words, convert="widen", order="bottom")

    for name, options, kind in (("rle8.bmp", ["-compress", "RLE"], "bmp3"), ("p8.bmp", ["-compress", "none"], "bmp3"),
                                ("p8_core.bmp", [], "bmp2")):
        bmp(name, out.path("runs.ppm"), "-type", "palette", *options, kind)
        out.file.write("%s colours runs.ppm\n" % name)


# ----------------------------------------------------------------------------------------------------------------
# TIFF byte by byte

BLACK_IS_ZERO, WHITE_IS_ZERO, COLOURS, PALETTE, INKS = 1, 0, 2, 3, 5


def tiff(path, photometric, bits, data, samples=1, sample_format=1, extra=None, planes=None, palette=None):
    """One strip, or one per plane; little-endian."""
    strips = planes if planes else [data]
    entries = [(256, 4, [WIDTH]), (257, 4, [HEIGHT]), (258, 3, [bits] * samples), (259, 3, [1]),
               (262, 3, [photometric]), (277, 3, [samples]), (278, 4, [HEIGHT]), (284, 3, [2 if planes else 1]),
               (339, 3, [sample_format] * samples), (273, 4, [0] * len(strips)),
               (279, 4, [len(strip) for strip in strips])]
    if extra is not None:
        entries.append((338, 3, extra))
    if palette:
        table = palette + [(0, 0, 0)] * (2 ** bits - len(palette))
        entries.append((320, 3, [entry[c] * 257 for c in range(3) for entry in table]))
    entries.sort()
    directory_end = 8 + 2 + 12 * len(entries) + 4
    spill = bytearray()
    for _ in range(2):  # once for the sizes, once with the places that follow from them
        directory = bytearray()
        at = directory_end + len(spill)
        spill = bytearray()
        for tag, kind, values in entries:
            if tag == 273:
                offsets, position = [], at
                for strip in strips:
                    offsets.append(position)
                    position += len(strip)
                values = offsets
            raw = struct.pack("<%d%s" % (len(values), "H" if kind == 3 else "I"), *values)
            if len(raw) > 4:
                where = struct.pack("<I", directory_end + len(spill))
                spill += raw + bytes(len(raw) % 2)
            else:
                where = raw.ljust(4, b"\0")
            directory += struct.pack("<HHI", tag, kind, len(values)) + where
    with open(path, "wb") as out:
        out.write(struct.pack("<2sHIH", b"II", 42, 8, len(entries)) + directory + bytes(4) + spill + b"".join(strips))


def plain(folder):
    out = List(folder, "plain.txt")

    def words(code, values):
        return struct.pack("<%d%s" % (len(values), code), *values)

    def make(name, *arguments, **options):
        tiff(out.path(name), *arguments, **options)

    make("grey8_white.tif", WHITE_IS_ZERO, 8, bytes(GREY))
    out.add("grey8_white.tif", 8, "BGR", bytes(GREY), palette=hexes([(255 - i,) * 3 for i in range(256)]))
    two = [v >> 6 for v in GREY]
    make("grey2.tif", BLACK_IS_ZERO, 2, packed(two, 2))
    out.add("grey2.tif", 4, "MONO", packed([5 * v for v in two], 4))
    four = [(1, 2, 3), (40, 50, 60), (7, 8, 9), (255, 254, 253)]
    make("palette2.tif", PALETTE, 2, packed(two, 2), palette=four)
    out.add("palette2.tif", 4, "BGR", packed(two, 4), palette=hexes(four))
    sixteen = [v >> 4 for v in GREY]
    make("grey4.tif", BLACK_IS_ZERO, 4, packed(sixteen, 4))
    out.add("grey4.tif", 4, "MONO", packed(sixteen, 4))

    signed8 = [v - 128 for v in GREY]
    make("int8.tif", BLACK_IS_ZERO, 8, words("b", signed8), sample_format=2)
    out.refused("int8.tif", "8-bit signed grey")
    out.add("int8.tif", 32, "MONO", ints(signed8), convert="widen")
    signed16 = [v - 32768 for v in GREY16]
    make("int16.tif", BLACK_IS_ZERO, 16, words("h", signed16), sample_format=2)
    out.refused("int16.tif", "'widen'")
    out.add("int16.tif", 32, "MONO", ints(signed16), convert="widen")
    unsigned32 = [v * 65537 for v in GREY16]
    make("uint32.tif", BLACK_IS_ZERO, 32, words("I", unsigned32))
    out.refused("uint32.tif", "'round'")
    out.add("uint32.tif", 32, "MONO", ints([min(v, 2147483647) for v in unsigned32]), convert="round")
    out.add("uint32.tif", 8, "MONO", bytes(v >> 24 for v in unsigned32), convert="8bit", reading="8")
    doubles = [(v - 100) * 1e8 + 0.75 for v in GREY]
    doubles[:3] = [float("nan"), float("inf"), float("-inf")]
    rounded = [max(-2147483648, min(2147483647, (v - 100) * 10 ** 8 + 1)) for v in GREY]
    rounded[:3] = [0, 2147483647, -2147483648]
    make("float64.tif", BLACK_IS_ZERO, 64, words("d", doubles), sample_format=3)
    out.refused("float64.tif", "64-bit float grey")
    out.add("float64.tif", 32, "MONO", ints(rounded), convert="round")
    make("float_rgb.tif", COLOURS, 32, words("f", [c / 255 for p in RGB for c in p]), samples=3, sample_format=3)
    out.refused("float_rgb.tif", "'8bit'")
    out.add("float_rgb.tif", 24, "BGR", bgr(RGB), convert="8bit")

    rgba = [(*p, a) for p, a in zip(RGB, ALPHA)]
    make("fourth.tif", COLOURS, 8, b"".join(bytes(p) for p in rgba), samples=4, extra=[0])
    out.add("fourth.tif", 32, "BGR", bgra(RGB, ALPHA))
    premultiplied = [(*((c * a + 127) // 255 for c in p), a) for p, a in zip(RGB, ALPHA)]
    make("premultiplied.tif", COLOURS, 8, b"".join(bytes(p) for p in premultiplied), samples=4, extra=[1])
    out.refused("premultiplied.tif", "premultiplied")
    straight = [tuple(0 if a == 0 else min(255, (2 * c * 255 + a) // (2 * a)) for c in (r, g, b))
                for r, g, b, a in premultiplied]
    out.add("premultiplied.tif", 32, "ARGB", bgra(straight, ALPHA), convert="rgb", tolerance=1)
    make("planes.tif", COLOURS, 8, None, samples=4, extra=[2],
         planes=[bytes(p[c] for p in rgba) for c in range(4)])
    out.add("planes.tif", 32, "ARGB", bgra(RGB, ALPHA))
    make("planes16.tif", COLOURS, 16, None, samples=3,
         planes=[words("H", [p[c] * 257 for p in RGB]) for c in range(3)])
    out.add("planes16.tif", 24, "BGR", bgr(RGB), convert="8bit")
    make("grey_alpha16.tif", BLACK_IS_ZERO, 16, words("H", [v for p in zip(GREY16, GREY16) for v in p]), samples=2,
         extra=[2])
    out.refused("grey_alpha16.tif", "'8bit'")
    out.add("grey_alpha16.tif", 32, "ARGB", grey_bgra(cut16(GREY16), cut16(GREY16)), convert="8bit,widen")

    make("bits12.tif", BLACK_IS_ZERO, 12, bytes((WIDTH * 12 + 7) // 8 * HEIGHT))
    out.refused("bits12.tif", "12-bit grey")
    make("five.tif", COLOURS, 8, bytes(5 * WIDTH * HEIGHT), samples=5, extra=[0, 0])
    out.refused("five.tif", "5 samples")
    make("complex.tif", BLACK_IS_ZERO, 64, bytes(8 * WIDTH * HEIGHT), sample_format=6)
    out.refused("complex.tif", "complex")


# ----------------------------------------------------------------------------------------------------------------
# Other programs' reading of our files

def compare(name, mode, got, expected):
    if got == expected:
        return
    first = next((i for i, (a, b) in enumerate(zip(got, expected)) if a != b), min(len(got), len(expected)))
    print("%s as %s: %d bytes, %d expected, first difference at %d" % (name, mode, len(got), len(expected), first))


def entries(listing):
    for line in open(listing):
        name, mode = line.split()
        path = os.path.join(os.path.dirname(listing), name)
        yield name, mode, path, open(path + ".raw", "rb").read()


def check_pillow(listing):
    from PIL import Image
    for name, mode, path, expected in entries(listing):
        try:
            image = Image.open(path)
            if image.mode == "I" and mode != "I":
                print("%s: unexpectedly integers" % name)
            compare(name, mode, image.convert(mode).tobytes(), expected)
        except Exception as error:  # whatever it is, the file was not read
            print("%s as %s: %s" % (name, mode, error))


def check_magick(listing):
    for name, mode, path, expected in entries(listing):
        run = subprocess.run([CONVERT, path, "-depth", "8", mode.lower() + ":-"], capture_output=True)
        if run.returncode != 0:
            print("%s: %s" % (name, run.stderr.decode().replace("\n", " ")))
        compare(name, mode, run.stdout, expected)


if __name__ == "__main__":
    verbs = {"pillow": pillow, "magick": magick, "plain": plain, "check-pillow": check_pillow,
             "check-magick": check_magick}
    verbs[sys.argv[1]](sys.argv[2])
