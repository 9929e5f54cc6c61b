# %% [markdown]
# # VELMaths from Python: a tour
#
# A notebook of half an hour. Every picture and every line of output below was made by the code above it; the source is
# [tutorial.py](tutorial.py), whose cells editors such as VS Code, Spyder and PyCharm run one by one from the project's
# folder. `./dev build` builds the package; besides it the tour uses NumPy, Matplotlib and, at the end, OpenCV:
#
# ```
# apt-get install python3-numpy python3-matplotlib python3-opencv
# PYTHONPATH=build/release/python /usr/bin/python3 docs/tutorial/run.py -o docs/tutorial
# ```
#
# The second line runs it all on your machine and writes this page anew.
#
# ## First pictures
#
# An image is a NumPy array: `uint8`, height x width x 3 (or 4, with alpha), or height x width for greys. `load` and `save`
# know PNG, JPEG, TIFF, WebP and BMP.

# %%
import matplotlib.pyplot as plt
import numpy as np

import velmaths

cat = velmaths.load("examples/nature_chelsea.png")
print(cat.shape, cat.dtype)

# %% [markdown]
# Operations are functions: the image first, everything else by name. They give a new array and leave the input as it is.

# %%
def show(name, pictures, columns=3, width=9.0):
    """A row or a grid of titled pictures."""
    rows = -(-len(pictures) // columns)
    height, across = next(iter(pictures.values())).shape[:2]
    figure, axes = plt.subplots(rows, columns, num=name, squeeze=False, layout="constrained",
                                figsize=(width, rows * (width / columns * height / across + 0.3)))
    for place, (title, picture) in zip(axes.flat, pictures.items()):
        place.imshow(picture, cmap="gray", vmin=0, vmax=255, interpolation="nearest")
        place.set_title(title, fontsize=9)
    for place in axes.flat:
        place.axis("off")
    plt.show()


bright = velmaths.light(velmaths.gamma(cat, value=1.6), contrast=25)
show("first-pictures", {"cat": cat, "gamma 1.6, contrast 25": bright, "negative": velmaths.negative(cat),
                        "turned by 20 degrees": velmaths.rotate(cat, angle=20, keep_size=True),
                        "edge": velmaths.edge(cat, size=3), "swirl": velmaths.circle_transform(cat, mode="swirl")})

# %% [markdown]
# Around the turned cat is the colour of its first pixel: outside an image there is always that colour. This and every other
# rule is in `help(velmaths.rotate)`.
#
# Nothing is converted behind your back. What does not fit is an error that says what to write:

# %%
try:
    velmaths.erode(cat / 255.0, size=5)
except TypeError as error:
    print(error)

# %% [markdown]
# Views are as good as arrays: a crop or an image upside down is read where it lies. `out=` takes the result, and a part of
# an image can be changed in place by giving it as both:

# %%
page = cat.copy()
face = page[60:180, 150:300]
velmaths.negative(face, out=face)
velmaths.flip(page[:, :100], out=page[:, :100])
print("changed pixels:", int((page != cat).any(axis=2).sum()), "of", page.shape[0] * page.shape[1])
show("in-place", {"before": cat, "two parts changed in place": page}, columns=2, width=7)

# %% [markdown]
# ## Sixteen ways to sample
#
# Turning and resizing ask for colours between pixels. `method=` chooses among sixteen kernels. What does a kernel look like?
# Let the package tell: put single bright pixels on a grey ground, far apart, and take the picture together by one column in
# a thousand. Each new pixel then lies a little further from its bright pixel than the one before, and its value tells the
# weight at that distance. The same picture without bright pixels is subtracted, which keeps negative weights visible; and as
# bytes are coarse, the mean over many strips is taken, each with its own grey and its own brightness.

# %%
METHODS = ["nearest_neighbour", "integer_bilinear", "b_spline", "bicubic_sharp", "catmull_rom", "lanczos6", "box", "hermite",
           "hermite_scaled", "sinc", "blackman_window", "bessel", "gaussian", "quadratic", "mitchell", "catmull_rom_half"]
WIDTH, APART, STRIPS, TALL = 1000, 14, 120, 13

strip = np.arange(STRIPS)
ground, amount = 24 + strip % 16, 60 + strip % 31
plain = np.repeat(ground, TALL)[:, None].repeat(WIDTH, axis=1).astype(np.uint8)
bright = np.arange(APART // 2, WIDTH, APART)
dotted = plain.copy()
dotted[TALL // 2::TALL, bright] += amount[:, None].astype(np.uint8)
sampled_at = (np.arange(WIDTH - 1) + 0.5) * (WIDTH / (WIDTH - 1)) - 0.5
distance = bright[np.minimum(sampled_at // APART, len(bright) - 1).astype(int)] - sampled_at


def measured_kernel(method):
    """The weight of a method at each distance, seen through `resample`."""
    with_dots, without = (velmaths.resample(image, size=(WIDTH - 1, STRIPS * TALL), method=method)[TALL // 2::TALL]
                          for image in (dotted, plain))
    weights = (with_dots.astype(int) - without).sum(axis=0) / amount.sum()
    return weights / np.sqrt(weights[abs(distance) < 0.02].max())  # strips have the weight at 0 from row to row, too


figure, axes = plt.subplots(4, 4, num="kernels", figsize=(11, 8.5), sharey=True, layout="constrained")
for place, method in zip(axes.flat, METHODS):
    weight = measured_kernel(method)
    reach = 6.5 if method == "lanczos6" else 2.5
    near = [n for n in np.argsort(distance) if abs(distance[n]) < reach]
    place.axhline(0, color="0.8", linewidth=0.8)
    place.plot(distance[near], weight[near], linewidth=1.2)
    place.set_title(method, fontsize=9)
    place.set_xlim(-reach, reach)
figure.supxlabel("distance from the sampled point, in pixels", fontsize=9)
plt.show()

# %% [markdown]
# (Small ripples are the truncation to whole levels.) The curves are what the rules say, odd ones included: `integer_bilinear` takes the pixel to the left whatever the fraction,
# `sinc` is cut off hard after two pixels, `blackman_window` counts pixels at distance 2 fully again, `hermite_scaled` ends in
# a step, and several do not sum to 1, so they change the brightness. How much, a flat grey tells:

# %%
flat = np.full((40, 40, 3), 100, np.uint8)
for method in METHODS:
    turned = velmaths.rotate(flat, angle=30, method=method, keep_size=True)[10:30, 10:30]
    print(f"{method:18} a grey of 100 becomes {turned.min():3d} to {turned.max():3d}")

# %% [markdown]
# ## What that does to detail
#
# Twelve turns by 30 degrees bring a picture back to where it was; what is lost or added, sampling did: blur, jagged
# edges, halos.

# %%
eye = cat[60:188, 110:238]


def full_circle(image, method):
    for _ in range(12):
        image = velmaths.rotate(image, angle=30, method=method, keep_size=True)
    return image


def error(a, b):
    """Root of the mean squared difference in levels, in the middle, which never leaves the picture."""
    middle = slice(40, -40)
    difference = a[middle, middle].astype(float) - b[middle, middle]
    return np.sqrt((difference ** 2).mean())


circled = {method: full_circle(eye, method) for method in METHODS}
for method in sorted(METHODS, key=lambda m: error(circled[m], eye)):
    print(f"{method:18} {error(circled[method], eye):6.1f} levels off")
shown = ["nearest_neighbour", "b_spline", "hermite", "mitchell", "catmull_rom", "bicubic_sharp", "lanczos6"]
show("detail", {"original": eye[32:96, 32:96], **{method: circled[method][32:96, 32:96] for method in shown}}, columns=4)

# %% [markdown]
# ## Noise, and getting rid of it
#
# `median` takes the pixel of middle brightness of a window: single wrong pixels vanish and edges stay, where a blur smears
# both. Here one pixel in twelve is set to black or white.

# %%
random = np.random.default_rng(5)
speckled = cat.copy()
wrong = random.random(cat.shape[:2]) < 1 / 12
speckled[wrong] = random.choice([0, 255], (wrong.sum(), 1))
cleaned = {"speckled": speckled, "median, 3 x 3": velmaths.median(speckled, size=3),
           "median, 5 x 5": velmaths.median(speckled, size=5), "blur": velmaths.blur(speckled),
           "Gaussian blur": velmaths.gaussian_blur(speckled, level="widest"),
           "erode, then dilate": velmaths.dilate(velmaths.erode(speckled, size=2), size=2)}
for name, picture in cleaned.items():
    print(f"{name:20} {error(picture, cat):5.1f} levels from the original")
show("noise", {name: picture[60:200, 100:310] for name, picture in cleaned.items()})

# %% [markdown]
# `noise` and `jitter` go the other way. They draw from the C library's generator, so seed that one for the same picture again.

# %%
import ctypes

ctypes.CDLL(None).srand(7)
show("random", {"noise": velmaths.noise(cat, level=120), "jitter": velmaths.jitter(cat, radius=6)}, columns=2, width=7)

# %% [markdown]
# ## Arithmetic and masks
#
# `add`, `subtract` and `add_scale` combine two images. A mask is a grey array: where it is not 0, the result is written. Here
# a tinted cat is mixed in within a circle.

# %%
y, x = np.mgrid[0:300, 0:451]
circle = (((x - 215) ** 2 + (y - 120) ** 2 < 100 ** 2) * 255).astype(np.uint8)
tinted = velmaths.colorize(cat, hue=140, saturation=180)
spot = velmaths.add_scale(tinted, cat, onto=cat, mask=circle, first_factor=0.7, second_factor=0.3)
fur = velmaths.add_scale(velmaths.dilate(cat, size=3), cat, first_factor=3.0, second_factor=-3.0)
show("masks", {"mask": circle, "tinted where the mask is set": spot, "dilated minus original, times 3": fur})

# %% [markdown]
# `subtract` also counts the colour values that differ by more than one level, which answers "are these the same?":

# %%
_, count = velmaths.subtract(spot, cat, mode="absolute", with_count=True)
print(count, "values differ;", velmaths.subtract(cat, cat, with_count=True)[1], "when nothing was done")

# %% [markdown]
# ## Your own mapping
#
# `transform` asks, for each new pixel, where to take it from. The answer is a function of whole rows of positions (never
# one Python call a pixel), or an array of coordinates. Outside the image is black.

# %%
def ripple(x, y):
    away = np.hypot(x - 225, y - 150)
    push = 8 * np.sin(away / 9) * np.exp(-away / 150)
    return x + push * (x - 225) / (away + 1e-9), y + push * (y - 150) / (away + 1e-9)


def tilted(x, y):
    depth = 1 + y / 300
    return 225 + (x - 225) * 1.6 / depth, 300 * (1 - (2 - depth) / depth)


coordinates = np.stack(np.meshgrid(np.linspace(150, 300, 451), np.linspace(60, 160, 300)), axis=-1)
show("mappings", {"ripple": velmaths.transform(cat, map=ripple), "a plane, tilted": velmaths.transform(cat, map=tilted),
                  "an array: enlarged three times": velmaths.transform(cat, map=coordinates)})

# %% [markdown]
# An exception in the function ends the call and arrives where you called:

# %%
def broken(x, y):
    raise RuntimeError("row at y = %g" % y[0])


try:
    velmaths.transform(cat, map=broken)
except RuntimeError as error_of_mine:
    print("caught:", error_of_mine)

# %% [markdown]
# ## How fast is it?
#
# Measure on your own machine. Each pair below does the same work as OpenCV, one thread each, into an array that is there
# already; the best of several interleaved runs counts. Where both follow the same rule the results are compared, too. (The
# window filters differ at the border in what they take for the outside, and OpenCV rounds the blur.)

# %% measured
import platform
import time

import cv2

cv2.setNumThreads(1)
astronaut = velmaths.load("examples/people_astronaut.png")
photo = np.tile(astronaut[..., ::-1], (2, 2, 1))  # 1024 x 1024, blue first as OpenCV has it
other = np.ascontiguousarray(photo[::-1])
table = (255 * (np.arange(256) / 255) ** 0.6).astype(np.uint8)
square = {size: np.ones((size, size), np.uint8) for size in (3, 5, 15)}
grey = np.ascontiguousarray(photo[..., 1])
bgr = {"channels": "bgr"}
PAIRS = {
    "negative": (lambda out: velmaths.negative(photo, out=out, **bgr), lambda out: cv2.bitwise_not(photo, dst=out)),
    "table": (lambda out: velmaths.lut(photo, table=table, out=out, **bgr), lambda out: cv2.LUT(photo, table, dst=out)),
    "add": (lambda out: velmaths.add(photo, other, out=out, **bgr), lambda out: cv2.add(photo, other, dst=out)),
    "difference": (lambda out: velmaths.subtract(photo, other, mode="absolute", out=out, **bgr),
                   lambda out: cv2.absdiff(photo, other, dst=out)),
    "flip": (lambda out: velmaths.flip(photo, out=out, **bgr), lambda out: cv2.flip(photo, 0, dst=out)),
    "mirror": (lambda out: velmaths.mirror(photo, out=out, **bgr), lambda out: cv2.flip(photo, 1, dst=out)),
    "quarter turn": (lambda out: velmaths.rotate4(photo, angle=90, out=out, **bgr),
                     lambda out: cv2.rotate(photo, cv2.ROTATE_90_CLOCKWISE, dst=out)),
    "blur 3 x 3": (lambda out: velmaths.blur(photo, out=out, **bgr), lambda out: cv2.blur(photo, (3, 3), dst=out)),
    "erode 3 x 3": (lambda out: velmaths.erode(photo, size=3, out=out, **bgr), lambda out: cv2.erode(photo, square[3], dst=out)),
    "dilate 15 x 15": (lambda out: velmaths.dilate(photo, size=15, out=out, **bgr),
                       lambda out: cv2.dilate(photo, square[15], dst=out)),
    "median 3 x 3, grey": (lambda out: velmaths.median(grey, size=3, out=out), lambda out: cv2.medianBlur(grey, 3, dst=out)),
    "median 5 x 5, grey": (lambda out: velmaths.median(grey, size=5, out=out), lambda out: cv2.medianBlur(grey, 5, dst=out)),
}


def milliseconds(function, out):
    begin = time.perf_counter()
    function(out)
    return 1000 * (time.perf_counter() - begin)


times = {}
for name, pair in PAIRS.items():
    out = np.empty_like(grey if "grey" in name else photo)
    runs = [[milliseconds(function, out) for function in pair] for _ in range(25)]
    times[name] = np.min(runs, axis=0)
    ours, theirs = (function(np.empty_like(out)) for function in pair)
    inner = slice(8, -8)
    assert name == "blur 3 x 3" or np.array_equal(ours[inner, inner], theirs[inner, inner]), name

with open("/proc/cpuinfo", encoding="ascii", errors="replace") as cpuinfo:
    models = [line.split(":")[1].strip() for line in cpuinfo if line.startswith("model name")]
machine = f"{models[0] if models else platform.machine()}, velmaths {velmaths.__version__}, OpenCV {cv2.__version__}, " \
          f"Python {platform.python_version()}, {time.strftime('%Y-%m-%d %H:%M')}"
print(machine)
for name, (ours, theirs) in times.items():
    print(f"{name:20} velmaths {ours:7.3f} ms   OpenCV {theirs:7.3f} ms   OpenCV / velmaths {theirs / ours:5.2f}")

figure, place = plt.subplots(num="speed", figsize=(9, 4.5), layout="constrained")
ratios = [theirs / ours for ours, theirs in times.values()]
place.barh(list(times), np.array(ratios) - 1, left=1, color=["tab:blue" if ratio >= 1 else "tab:orange" for ratio in ratios])
place.axvline(1, color="0.3", linewidth=1)
place.invert_yaxis()
place.set_xscale("log")
place.set_xlim(min(ratios + [0.5]) / 1.3, max(ratios + [2]) * 1.3)
place.set_xticks([t for t in (0.1, 0.2, 0.5, 1, 2, 5, 10, 20) if min(ratios) / 1.3 < t < max(ratios) * 1.3])
place.get_xaxis().set_major_formatter("{x:g}")
place.minorticks_off()
place.set_xlabel("times as fast as OpenCV (right of the line: faster), 1024 x 1024, one thread, from Python")
place.set_title(machine, fontsize=8)
plt.show()

# %% [markdown]
# The figure and the numbers come from the one run that is named in them, on a machine that did other work at the time; take
# them for an example and run the cell yourself.
#
# ## On from here
#
# - [The package](../python.md): arrays, channels, palettes, Pillow and OpenCV, threads, errors.
# - [The manual](../manual/README.md): every operation with pictures and all its rules.
